-- The framework's own tables, present in every store. Indexes stand on what is looked up by value.
CREATE TABLE IF NOT EXISTS QWMetadata (version TEXT, password TEXT, localParameters TEXT);
CREATE TABLE IF NOT EXISTS QWDeletedID (ID TEXT, date TEXT);
CREATE TABLE IF NOT EXISTS QWSynchronizationHandler (description TEXT, identifier TEXT, active INTEGER,
  lastSynchronizationDate TEXT);
CREATE TABLE IF NOT EXISTS QWFiltersBarData ("sqlID" INTEGER PRIMARY KEY, "ID" TEXT, "lastModificationDate" TEXT,
  "name" TEXT, "values" TEXT, "condition" TEXT);
CREATE TABLE IF NOT EXISTS QWSavedCondition ("sqlID" INTEGER PRIMARY KEY, "ID" TEXT, "lastModificationDate" TEXT,
  "filtersBarData" TEXT, "index" INTEGER, "name" TEXT, "condition" TEXT);
CREATE TABLE IF NOT EXISTS QWRule ("sqlID" INTEGER PRIMARY KEY, "ID" TEXT, "lastModificationDate" TEXT, "class" TEXT,
  "parent" TEXT, "index" INTEGER, "name" TEXT, "active" INTEGER, "condition" TEXT);
CREATE TABLE IF NOT EXISTS QWCondition ("sqlID" INTEGER PRIMARY KEY, "ID" TEXT, "lastModificationDate" TEXT,
  "class" TEXT, "parent" TEXT, "index" INTEGER, "type" INTEGER, "keyPath" TEXT, "operator" TEXT, "parameter" TEXT);
CREATE TABLE IF NOT EXISTS QWAction ("sqlID" INTEGER PRIMARY KEY, "ID" TEXT, "lastModificationDate" TEXT, "rule" TEXT,
  "index" INTEGER, "name" TEXT, "parameter1" TEXT, "parameter2" TEXT, "parameter3" TEXT, "parameter4" TEXT,
  "parameter5" TEXT);
CREATE TABLE IF NOT EXISTS QWParameter ("sqlID" INTEGER PRIMARY KEY, "ID" TEXT, "lastModificationDate" TEXT,
  "class" TEXT, "string" TEXT, "number" TEXT, "color" TEXT, "constant" TEXT, "object" TEXT, "dateType" TEXT,
  "date" TEXT, "dateOperator" TEXT, "dateDuration" INTEGER, "dateDurationUnit" INTEGER);
CREATE INDEX IF NOT EXISTS QWFiltersBarDataID ON QWFiltersBarData ("ID");
CREATE INDEX IF NOT EXISTS QWSavedConditionID ON QWSavedCondition ("ID");
CREATE INDEX IF NOT EXISTS QWSavedConditionFiltersBarData ON QWSavedCondition ("filtersBarData");
CREATE INDEX IF NOT EXISTS QWRuleID ON QWRule ("ID");
CREATE INDEX IF NOT EXISTS QWRuleParent ON QWRule ("parent");
CREATE INDEX IF NOT EXISTS QWConditionID ON QWCondition ("ID");
CREATE INDEX IF NOT EXISTS QWConditionParent ON QWCondition ("parent");
CREATE INDEX IF NOT EXISTS QWActionID ON QWAction ("ID");
CREATE INDEX IF NOT EXISTS QWActionRule ON QWAction ("rule");
CREATE INDEX IF NOT EXISTS QWParameterID ON QWParameter ("ID");
