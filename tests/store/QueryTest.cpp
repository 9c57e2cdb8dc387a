#include <gtest/gtest.h>

#include "platform/base/Log.h"
#include "platform/system/Clock.h"
#include "platform/system/TimeZone.h"
#include "store/Ledger.h"
#include "values/collections/QWBoolean.h"

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
  /// What SQLite shows of a bound value, with its unit, and what is read back.
  template <class Bound, class Read>
  void kept(void (QWDatabaseQuery::*set)(Bound, std::string_view),
            Read (QWDatabaseResultSet::*get)(std::string_view) const,
            const std::type_identity_t<std::remove_cvref_t<Bound>>& value, const std::string& stored,
            const std::type_identity_t<Read>& read) {
    const Rows rows = row([&](QWDatabaseQuery& query) { (query.*set)(value, "a"); });
    const auto unit = rows->stringForColumn("aUnit");
    EXPECT_EQ(rows->stringForColumn("a").value_or("NULL") + (unit ? "|" + *unit : ""), stored);
    EXPECT_TRUE(((*rows).*get)("a") == read) << stored;
  }
  template <class Bound, class Read>
  void kept(void (QWDatabaseQuery::*set)(Bound, std::string_view),
            Read (QWDatabaseResultSet::*get)(std::string_view) const,
            const std::type_identity_t<std::remove_cvref_t<Bound>>& value, const std::string& stored) {
    kept(set, get, value, stored, static_cast<Read>(value));
  }

  std::shared_ptr<LedgerManager> store;
};

TEST_F(Query, EveryTypeHasItsColumnFormat) {
  const qw::TimeZone::Override zone("Europe/Zurich");
  const qw::Date moment = *qw::DateText::readDateTime("2019-12-31 23:30:00");
  using Q = QWDatabaseQuery;
  using R = QWDatabaseResultSet;
  kept(&Q::setBool, &R::boolForColumn, true, "1");
  kept(&Q::setInt64, &R::boolForColumn, 0x1ff, "511", true);
  kept(&Q::setInt64, &R::boolForColumn, 0x100, "256", false);
  kept(&Q::setInt, &R::intForColumn, -7, "-7");
  kept(&Q::setInt64, &R::int64ForColumn, 1LL << 62, "4611686018427387904");
  kept(&Q::setDouble, &R::doubleForColumn, 0.1, "0.1");
  kept(&Q::setString, &R::stringForColumn, "Zürich '\"", "Zürich '\"");
  kept(&Q::setString, &R::stringForColumn, "", "");
  kept(&Q::setString, &R::stringForColumn, std::nullopt, "NULL");
  kept(&Q::setData, &R::dataForColumn, qw::Data::fromText("bytes"), "bytes");
  kept(&Q::setData, &R::dataForColumn, qw::Data(), "", std::nullopt);
  kept(&Q::setData, &R::dataForColumn, std::nullopt, "NULL");
  kept(&Q::setDate, &R::dateForColumn, moment, "2020-01-01", moment.addingSeconds(-30 * 60));
  kept(&Q::setDateTime, &R::dateTimeForColumn, moment, "2019-12-31 23:30:00");
  kept(&Q::setDateTime, &R::dateTimeForColumn, std::nullopt, "NULL");
  kept(&Q::setDuration, &R::durationForColumn, QWDuration::durationWithMonths(3), "3|2");
  kept(&Q::setDuration, &R::durationForColumn, std::nullopt, "NULL");
  kept(&Q::setDecimalNumber, &R::decimalNumberForColumn, qw::Decimal::fromText("1234.50"), "1234.5");
  kept(&Q::setDecimalNumber, &R::decimalNumberForColumn, std::nullopt, "NULL");
  kept(&Q::setColor, &R::colorForColumn, qw::Color{0.25, 0.5, 1, 0}, "0.250000 0.500000 1.000000 0.000000");
  const qw::Value json = qw::Dictionary{{"k", qw::Array{1, false}}};
  kept(&Q::setJSONObject, &R::JSONObjectForColumn, json, "{\"k\":[1,false]}");
  kept(&Q::setJSONObject, &R::JSONObjectForColumn, {}, "NULL");
  const auto yes = QWBoolean::trueBoolean();
  kept(&Q::setConstant, &R::constantForColumn, yes, yes->ID());
  kept(&Q::setClass, &R::classForColumn, &Ledger::kClass, "Ledger");
  kept(&Q::setClass, &R::classForColumn, &QWKTClient::kClass, "KTClient");
  kept(&Q::setClass, &R::classForColumn, &QWKTOther::kClass, "KTOther", nullptr);
  kept(&Q::setImage, &R::imageForColumn, std::nullopt, "NULL");
  const auto icon = qw::Image::colorIcon({1, 0, 0, 1}, {4, 4}, 2);
  const auto rows = row([&](QWDatabaseQuery& query) { query.setImage(icon, "a"); });
  EXPECT_EQ(rows->imageForColumn("a"), icon);
  EXPECT_EQ(rows->stringForColumn("aScale"), "2");
}

TEST_F(Query, MalformedTextsReadAsNone) {
  EXPECT_FALSE(textRow("2020-1-01")->dateForColumn("a"));
  EXPECT_FALSE(textRow("2020-01-01")->dateTimeForColumn("a"));
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
  EXPECT_EQ(textRow("0031-04-30")->dateForColumn("a"), qw::DateText::readDate("0031-04-30"));
  context_.change([](auto& context) { context.locale = "ja_JP@calendar=japanese"; });
  EXPECT_EQ(textRow("0031-04-30")->dateForColumn("a"), qw::DateText::readDate("2019-04-30"));
  EXPECT_EQ(textRow("0031-04-30 12:34:56")->dateTimeForColumn("a"),
            qw::DateText::readDateTime("2019-04-30 12:34:56"));
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
