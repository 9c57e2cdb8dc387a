// What the documents and headers show of values: dates, numbers, lists, encodings, constants, plug-ins.
#include <gmock/gmock.h>

#include "platform/files/PropertyList.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/TextEncoding.h"
#include "platform/system/TimeZone.h"
#include "shell/QWPluginsManager.h"
#include "values/collections/QWConstant.h"
#include "values/dates/QWDateAdditions.h"
#include "values/dates/QWDateFormatter.h"
#include "values/dates/QWDateLookupTable.h"
#include "values/numbers/QWCurrencyAdditions.h"
#include "values/numbers/QWCurrencyFormatter.h"
#include "values/numbers/QWPercentageFormatter.h"

namespace {

class Values : public testing::Test {
  qw::ApplicationContext::Override context_;
  qw::TimeZone::Override zone_{"Europe/Berlin"};
};

TEST_F(Values, Dates) {
  using namespace QWDateAdditions;
  using Style = QWDateFormatter::Style;

  qw::Date bought = dateWithYear(2024, 1, 31);
  qw::Date due = dateByAddingYears(bought, 0, 1, 0);  // February 29
  QWDuration warranty = QWDuration::durationWithYears(2);
  qw::Date ends = warranty.addToDate(bought, 1);  // January 31, 2026
  std::string duration = warranty.description();  // "2 years"

  std::string text = QWDateFormatter::formatDate(ends, Style::kLong);  // "January 31, 2026"
  auto typed = QWDateFormatter::parseString("310126", "dd.MM.yyyy");   // the same day

  QWDateLookupTable quarters;  // for a million rows: an index each
  quarters.setPeriod(QWDuration::durationWithMonths(3));
  auto quarter = quarters.beginDateForDate(bought);  // January 1, 2024

  EXPECT_EQ(due, dateWithYear(2024, 2, 29));
  EXPECT_EQ(duration, "2 years");
  EXPECT_EQ(text, "January 31, 2026");
  EXPECT_EQ(typed, ends);
  EXPECT_EQ(quarter, dateWithYear(2024, 1, 1));
}

TEST_F(Values, DatesOfHeaders) {
  const qw::Date bought = QWDateAdditions::dateWithYear(2024, 3, 15), date = bought;
  QWDateLookupTable quarters;
  quarters.setPeriod(QWDuration::durationWithMonths(3));
  auto quarter = quarters.beginDateForDate(bought);  // January 1, 2024
  EXPECT_EQ(quarter, QWDateAdditions::dateWithYear(2024, 1, 1));

  std::string text = QWDateFormatter::formatDate(date, QWDateFormatter::Style::kLong);  // "March 15, 2024"
  auto day = QWDateFormatter::parseString("150324", "dd.MM.yyyy");  // the same day, from digits alone
  EXPECT_EQ(text, "March 15, 2024");
  EXPECT_EQ(day, date);

  qw::Date end = QWDuration::durationWithYears(2).addToDate(bought, 1);
  EXPECT_EQ(end, QWDateAdditions::dateWithYear(2026, 3, 15));
}

TEST_F(Values, Numbers) {
  const auto sayThatItCannotBeRead = [] { ADD_FAILURE(); };
  const QWCurrency euro("EUR", "€", 2, 1), dollar("USD", "$", 2, qw::Decimal::withMantissa(92, -2));

  QWCurrencyFormatter formatter;
  formatter.setCurrency(euro);
  formatter.setCurrencies({euro, dollar});

  std::optional<qw::Decimal> amount;
  if (!formatter.getObjectValue(amount, "USD 10 + 3 * 2,50")) return sayThatItCannotBeRead();
  std::string text = formatter.stringForObjectValue(*amount);  // "€16.70", "16,70 €": as the locale writes it

  std::string dollars = QWCurrencyFormatter::formatValue(*amount, &dollar);  // for lists: a formatter
  std::string plain = QWNumberFormatter::formatValue(*amount, 2);            // that the thread keeps
  auto share = QWPercentageFormatter::parseString("12.5%");                  // 0.125
  qw::Decimal third = QWCurrencyAdditions::decimalNumberByDividingBy(*amount, 3, euro);  // in whole cents

  EXPECT_EQ(text, "€16.70");
  EXPECT_EQ(dollars, "$16.70");
  EXPECT_EQ(plain, "16.7");
  EXPECT_EQ(share, qw::Decimal::withMantissa(125, -3));
  EXPECT_EQ(third, qw::Decimal::withMantissa(557, -2));
}

TEST_F(Values, NumbersOfHeaders) {
  const auto sum = [] {
    QWNumberFormatter formatter;
    std::optional<qw::Decimal> value;
    bool isRead = formatter.getObjectValue(value, "12.50 + 3 * 2");  // 18.5
    EXPECT_TRUE(isRead);
    return value;
  };
  EXPECT_EQ(sum(), qw::Decimal::withMantissa(185, -1));

  const QWCurrency euro("EUR", "€", 2, 1), dollar("USD", "$", 2, qw::Decimal::withMantissa(92, -2));
  std::optional<qw::Decimal> value;
  QWCurrencyFormatter formatter;
  formatter.setCurrency(euro);
  formatter.setCurrencies({euro, dollar});
  bool isRead = formatter.getObjectValue(value, "USD 10 + 5");  // 14.2: in euros
  EXPECT_TRUE(isRead);
  EXPECT_EQ(value, qw::Decimal::withMantissa(142, -1));
}

TEST_F(Values, ListsAndEncodings) {
  qw::Error error;
  qw::PropertyList list;
  auto name = list.addText("name");
  auto text = list.addText("Rent");
  list.setRoot(list.addDictionary({{name}}, {{text}}));
  std::optional<qw::Data> bytes = list.write(&error);
  ASSERT_TRUE(bytes) << error.localizedDescription;
  EXPECT_TRUE(qw::PropertyList::read(bytes->bytes(), &error));

  const auto decoded = [&](std::string_view bytes) {
    auto encoding = qw::TextEncoding::named("windows-1252");
    auto text = encoding->decode(bytes, &error);
    return text;
  };
  EXPECT_EQ(decoded("Caf\xE9"), "Café");
}

TEST_F(Values, ApplicationsDescribeThemselves) {
  const auto info = qw::ApplicationInfo::fromJSON(R"(
      {"CFBundleIdentifier": "org.example.Expenses",
       "CFBundleName": "Expenses",
       "CFBundleShortVersionString": "1.2",
       "CFBundleDocumentTypes": [{"CFBundleTypeName": "Expense book", "CFBundleTypeExtensions": ["expenses"]}],
       "QWPlugins": {"QWDocumentSynchronizationHandler": ["FolderHandler"]}}
      )");
  ASSERT_TRUE(info);
  EXPECT_EQ(info->version, "1.2");
  EXPECT_EQ(info->documentTypes[0].extensions[0], "expenses");
}

class Priority : public QWConstantOf<Priority> {
 public:
  static const qw::Class kClass;  // qw::define<Priority, QWConstant>("Priority", {}, ...)
  static Pointer low() { return constantWithName("Low"); }
  static void addConstants(QWConstantsManager& manager) { manager.addConstant(make("Low", 1)); }
};
constinit const qw::Class Priority::kClass =
    qw::define<Priority, QWConstant>("Priority", {}, [] { return qw::properties(); });

TEST_F(Values, Constants) {
  EXPECT_EQ(Priority::low(), Priority::constantWithValue(1));
  EXPECT_EQ(Priority::low()->ID(), "Priority.Low");
}

class Handler : public qw::Object {
 public:
  static const qw::Class kClass;
};
class FolderHandler : public Handler {
 public:
  static const qw::Class kClass;
};
constinit const qw::Class Handler::kClass =
    qw::define<Handler, qw::Object>("Handler", {}, [] { return qw::properties(); });
constinit const qw::Class FolderHandler::kClass =
    qw::define<FolderHandler, Handler>("FolderHandler", {}, [] { return qw::properties(); });

TEST_F(Values, PlugIns) {
  ASSERT_TRUE(QWPluginsManager::sharedManager().registerPluginClass(FolderHandler::kClass, Handler::kClass));
  std::vector<std::shared_ptr<qw::Object>> handlers;
  for (const qw::Class* c : QWPluginsManager::sharedManager().pluginsOfType(Handler::kClass))
    handlers.push_back(c->create());
  ASSERT_EQ(handlers.size(), 1u);
  EXPECT_TRUE(handlers[0]->isKindOf(FolderHandler::kClass));
}

}  // namespace
