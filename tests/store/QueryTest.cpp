#include <gtest/gtest.h>

#include "platform/Clock.h"
#include "platform/Log.h"
#include "platform/TimeZone.h"
#include "store/Ledger.h"
#include "values/QWBoolean.h"

namespace {

/// Its stored name lacks the first two characters.
class QWKTClient : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
};
constinit const qw::Class QWKTClient::kClass =
    qw::define<QWKTClient, QWDatabaseObject>("QWKTClient", {}, [] { return qw::properties(); });

class QWKTOther : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
};
constinit const qw::Class QWKTOther::kClass =
    qw::define<QWKTOther, QWDatabaseObject>("QWKTOther", {}, [] { return qw::properties(); });

}  // namespace

class Query : public LedgerTest {
 protected:
  void SetUp() override {
    store = open();
    qw::ClassRegistry::add({&QWKTClient::kClass, &QWKTOther::kClass});
  }
  using Bind = std::function<void(QWDatabaseQuery&)>;
  using Rows = std::shared_ptr<QWDatabaseResultSet>;
  /// The row of values bound as "a", "aUnit" and "aScale".
  Rows row(const Bind& bind) {
    auto query = store->prepareQuery("SELECT :a AS a, :aUnit AS aUnit, :aScale AS aScale");
    EXPECT_TRUE(query);
    for (const char* name : {"a", "aUnit", "aScale"}) query->setNull(name);
    bind(*query);
    auto rows = store->executeQuery(query, &error);
    EXPECT_TRUE(rows && rows->next()) << error.localizedDescription;
    return rows;
  }
  Rows textRow(const std::string& text) {
    return row([&](QWDatabaseQuery& query) { query.setString(text, "a"); });
  }

  std::shared_ptr<LedgerManager> store;
};

TEST_F(Query, EveryTypeHasItsColumnFormat) {
  const qw::TimeZone::Override zone("Europe/Zurich");
  const qw::Date moment = *qw::DateText::readDateTime("2019-12-31 23:30:00");
  const auto icon = qw::Image::colorIcon({1, 0, 0, 1}, {4, 4}, 2);
  struct Case {
    Bind bind;
    std::string stored;  // of the columns that are not NULL, as SQLite shows them
    std::function<bool(const QWDatabaseResultSet&)> readsBack;
  };
  const Case cases[] = {
      {[](auto& q) { q.setBool(true, "a"); }, "1", [](auto& r) { return r.boolForColumn("a"); }},
      {[](auto& q) { q.setInt64(0x1ff, "a"); }, "511", [](auto& r) { return r.boolForColumn("a"); }},
      {[](auto& q) { q.setInt64(0x100, "a"); }, "256", [](auto& r) { return !r.boolForColumn("a"); }},
      {[](auto& q) { q.setInt(-7, "a"); }, "-7", [](auto& r) { return r.intForColumn("a") == -7; }},
      {[](auto& q) { q.setInt64(1LL << 62, "a"); }, "4611686018427387904",
       [](auto& r) { return r.int64ForColumn("a") == 1LL << 62; }},
      {[](auto& q) { q.setDouble(0.1, "a"); }, "0.1", [](auto& r) { return r.doubleForColumn("a") == 0.1; }},
      {[](auto& q) { q.setString("Zürich '\"", "a"); }, "Zürich '\"",
       [](auto& r) { return r.stringForColumn("a") == "Zürich '\""; }},
      {[](auto& q) { q.setString("", "a"); }, "", [](auto& r) { return r.stringForColumn("a") == ""; }},
      {[](auto& q) { q.setString(std::nullopt, "a"); }, "NULL",
       [](auto& r) { return !r.stringForColumn("a"); }},
      {[](auto& q) { q.setData(qw::Data::fromText("bytes"), "a"); }, "bytes",
       [](auto& r) { return r.dataForColumn("a") == qw::Data::fromText("bytes"); }},
      {[](auto& q) { q.setData(qw::Data(), "a"); }, "", [](auto& r) { return !r.dataForColumn("a"); }},
      {[](auto& q) { q.setData(std::nullopt, "a"); }, "NULL", [](auto& r) { return r.isNullForColumn("a"); }},
      {[&](auto& q) { q.setDate(moment, "a"); }, "2020-01-01",
       [&](auto& r) { return *r.dateForColumn("a") == moment.addingSeconds(-30 * 60); }},
      {[&](auto& q) { q.setDateTime(moment, "a"); }, "2019-12-31 23:30:00",
       [&](auto& r) { return r.dateTimeForColumn("a") == moment; }},
      {[](auto& q) { q.setDateTime(std::nullopt, "a"); }, "NULL",
       [](auto& r) { return !r.dateTimeForColumn("a"); }},
      {[](auto& q) { q.setDuration(QWDuration::durationWithMonths(3), "a"); }, "3|2",
       [](auto& r) { return r.durationForColumn("a") == QWDuration::durationWithMonths(3); }},
      {[](auto& q) { q.setDuration(std::nullopt, "a"); }, "NULL",
       [](auto& r) { return !r.durationForColumn("a") && r.isNullForColumn("aUnit"); }},
      {[](auto& q) { q.setDecimalNumber(qw::Decimal::fromText("1234.5"), "a"); }, "1234.5",
       [](auto& r) { return r.decimalNumberForColumn("a") == qw::Decimal::fromText("1234.50"); }},
      {[](auto& q) { q.setDecimalNumber(std::nullopt, "a"); }, "NULL",
       [](auto& r) { return !r.decimalNumberForColumn("a"); }},
      {[](auto& q) {
         q.setColor(qw::Color{0.25, 0.5, 1, 0}, "a");
       },
       "0.250000 0.500000 1.000000 0.000000",
       [](auto& r) {
         return r.colorForColumn("a") == qw::Color{0.25, 0.5, 1, 0};
       }},
      {[](auto& q) {
         q.setJSONObject(qw::Dictionary{{"k", qw::Array{1, false}}}, "a");
       },
       "{\"k\":[1,false]}",
       [](auto& r) {
         return r.JSONObjectForColumn("a") == qw::Value(qw::Dictionary{{"k", qw::Array{1, false}}});
       }},
      {[](auto& q) { q.setJSONObject({}, "a"); }, "NULL",
       [](auto& r) { return r.JSONObjectForColumn("a").isNull(); }},
      {[](auto& q) { q.setConstant(QWBoolean::trueBoolean(), "a"); }, QWBoolean::trueBoolean()->ID(),
       [](auto& r) { return r.constantForColumn("a") == QWBoolean::trueBoolean(); }},
      {[](auto& q) { q.setClass(&Ledger::kClass, "a"); }, "Ledger",
       [](auto& r) { return r.classForColumn("a") == &Ledger::kClass; }},
      {[](auto& q) { q.setClass(&QWKTClient::kClass, "a"); }, "KTClient",
       [](auto& r) { return r.classForColumn("a") == &QWKTClient::kClass; }},
      {[](auto& q) { q.setClass(&QWKTOther::kClass, "a"); }, "KTOther",
       [](auto& r) { return r.classForColumn("a") == nullptr; }},
      {[&](auto& q) { q.setImage(icon, "a"); }, "*", [&](auto& r) { return r.imageForColumn("a") == icon; }},
      {[](auto& q) { q.setImage(std::nullopt, "a"); }, "NULL",
       [](auto& r) { return !r.imageForColumn("a") && r.isNullForColumn("aScale"); }},
  };
  for (const Case& c : cases) {
    auto rows = row(c.bind);
    std::string stored = rows->stringForColumn("a").value_or("NULL");
    if (const auto unit = rows->stringForColumn("aUnit")) stored += "|" + *unit;
    if (c.stored != "*")
      EXPECT_EQ(stored, c.stored);
    else
      EXPECT_EQ(rows->stringForColumn("aScale"), "2");
    EXPECT_TRUE(c.readsBack(*rows)) << c.stored;
  }
}

TEST_F(Query, MalformedTextsReadAsNone) {
  for (const char* text : {"2020-1-01", "2020-01-011", "2020/01/01", "", "2020-01-01 00:00:00"})
    EXPECT_FALSE(textRow(text)->dateForColumn("a")) << text;
  for (const char* text : {"2020-01-01", "2020-01-01T00:00:00", "2020-01-01 00:00", "2020-01-01 00:00:000"})
    EXPECT_FALSE(textRow(text)->dateTimeForColumn("a")) << text;
  EXPECT_FALSE(textRow("no number")->decimalNumberForColumn("a"));
  EXPECT_FALSE(textRow("")->colorForColumn("a"));
  EXPECT_TRUE(textRow("{\"open\": ")->JSONObjectForColumn("a").isNull());
  EXPECT_FALSE(textRow("QWBoolean")->constantForColumn("a"));
  EXPECT_FALSE(textRow("QWBoolean.Maybe")->constantForColumn("a"));
  EXPECT_FALSE(textRow("NoSuchClass.x")->constantForColumn("a"));
  EXPECT_FALSE(textRow("NoSuchClass")->classForColumn("a"));
  EXPECT_FALSE(textRow("no picture")->imageForColumn("a"));
}

TEST_F(Query, YearsOfAJapaneseEraAreRepaired) {
  const std::pair<const char*, const char*> cases[] = {
      {"0031-04-30", "2019-04-30"}, {"0002-05-01", "2020-05-01"}, {"0009-01-01", "2027-01-01"},
      {"0010-01-01", "1998-01-01"}, {"0100-01-01", "0100-01-01"}, {"2020-01-01", "2020-01-01"}};
  for (const auto& [stored, meant] : cases)
    EXPECT_EQ(textRow(stored)->dateForColumn("a"), qw::DateText::readDate(stored)) << "another calendar";
  context_.change([](auto& context) { context.locale = "ja_JP@calendar=japanese"; });
  for (const auto& [stored, meant] : cases) {
    EXPECT_EQ(textRow(stored)->dateForColumn("a"), qw::DateText::readDate(meant));
    const std::string time = " 12:34:56";
    EXPECT_EQ(textRow(stored + time)->dateTimeForColumn("a"), qw::DateText::readDateTime(meant + time));
  }
}

TEST_F(Query, UnknownNamesAreTold) {
  qw::Log::Capture log;
  auto query = store->prepareQuery("SELECT :a AS a");
  query->setString("a", "5");  // the arguments swapped
  using Message = qw::Log::Message;
  const std::string fault = "Parameter 5 not found in query : SELECT :a AS a";
  EXPECT_EQ(log.take(), (std::vector<Message>{{qw::Log::Level::kError, fault}}));
  EXPECT_FALSE(store->executeQuery(query, &error));
  EXPECT_EQ(error, (qw::Error{std::string(QWDatabaseErrorDomain), 3,
                              "Error while executing query : SELECT :a AS a\n" + fault}));
  query->setInt(5, "a");
  auto rows = store->executeQuery(query);
  ASSERT_TRUE(rows->next());
  EXPECT_EQ(rows->intForColumn("a"), 5);
  EXPECT_EQ(log.take(), std::vector<Message>{});
  EXPECT_TRUE(rows->isNullForColumn("z"));
  EXPECT_EQ(log.take(),
            (std::vector<Message>{
                {qw::Log::Level::kWarning, "Column z not found in result set from query : SELECT :a AS a"}}));
  EXPECT_EQ(rows->intForColumn("z"), 0);
  EXPECT_FALSE(rows->stringForColumn("z"));
  EXPECT_EQ(rows->indexForColumn("z"), -1);
}

TEST_F(Query, ErrorsSayWhatWasRun) {
  EXPECT_FALSE(store->prepareQuery("SELEKT 1", &error));
  EXPECT_EQ(error.code, 2);
  EXPECT_EQ(error.localizedDescription, "Invalid query : SELEKT 1\nnear \"SELEKT\": syntax error");
  EXPECT_FALSE(store->executeQuery(nullptr, &error));
  EXPECT_FALSE(error) << "no query, no error";
  ASSERT_TRUE(store->executeUpdate(store->prepareQuery("CREATE TABLE T (x INTEGER UNIQUE)")));
  const std::string insert = "INSERT INTO T VALUES (1)";
  ASSERT_TRUE(store->executeUpdate(store->prepareQuery(insert)));
  EXPECT_FALSE(store->executeUpdate(store->prepareQuery(insert), &error));
  EXPECT_EQ(error.code, 3);
  EXPECT_EQ(error.localizedDescription,
            "Error while executing update : " + insert + "\nUNIQUE constraint failed: T.x");
  EXPECT_FALSE(store->executeQuery(store->prepareQuery(insert), &error));
  EXPECT_EQ(error.localizedDescription,
            "Error while executing query : " + insert + "\nUNIQUE constraint failed: T.x");
  EXPECT_EQ(store->lastExecutedQuery(), insert);
}

TEST_F(Query, AStatementServesOneUserAtATime) {
  ASSERT_TRUE(store->executeUpdate(store->prepareQuery("CREATE TABLE T (x INTEGER)")));
  auto insert = store->prepareQuery("INSERT INTO T VALUES (:x)");
  for (int i = 1; i <= 3; ++i) {
    insert->setInt(i, "x");
    ASSERT_TRUE(store->executeUpdate(insert));  // and back into the cache each time
  }
  EXPECT_EQ(store->prepareQuery(insert->sql()), insert);
  EXPECT_NE(store->prepareQuery(insert->sql()), insert) << "it waited there once only";

  const std::string sql = "SELECT x FROM T ORDER BY x";
  const auto all = [&](QWDatabaseResultSet& rows) {
    std::string text;
    while (rows.next()) text += std::to_string(rows.intForColumn("x"));
    return text;
  };
  auto query = store->prepareQuery(sql);
  EXPECT_EQ(all(*store->executeQuery(query)), "123");
  auto outer = store->executeQuery(query);  // run again by the one who kept it
  ASSERT_TRUE(outer->next());
  EXPECT_EQ(all(*store->executeQuery(store->prepareQuery(sql))), "123");
  EXPECT_EQ(all(*outer), "23") << "nobody else moved it";
  EXPECT_FALSE(outer->next());

  auto abandoned = store->executeQuery(store->prepareQuery(sql));
  ASSERT_TRUE(abandoned->next());
  auto next = store->executeQuery(store->prepareQuery(sql));
  EXPECT_EQ(all(*next), "123");
  EXPECT_EQ(all(*abandoned), "23");
}

TEST_F(Query, ResultsMayOutliveTheirStore) {
  auto rows = store->executeQuery(store->prepareQuery("SELECT 1 AS x UNION SELECT 2"));
  ASSERT_TRUE(rows->next());
  store.reset();
  EXPECT_EQ(rows->intForColumn("x"), 1);
  while (rows->next()) {
  }
}
