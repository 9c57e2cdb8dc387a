#include <gmock/gmock.h>

#include "model/ExpenseBook.h"
#include "model/Records.h"
#include "model/Summary.h"
#include "platform/system/DateText.h"
#include "platform/system/TemporaryDirectory.h"

namespace {

using testing::ElementsAre;

TEST(TextsTest, ReadsOnlyWhatIsMeant) {
  EXPECT_EQ(qw::DateText::dateText(Texts::readDate(" 2024-02-29 ").value_or(qw::Date())), "2024-02-29");
  for (const char* text : {"", "2023-02-29", "2024-2-29", "2024-13-01", "29.02.2024", "+2024-01-1"})
    EXPECT_FALSE(Texts::readDate(text)) << text;
  EXPECT_EQ(Texts::readNumber("12.50 + 3 * 2").value_or(0).text(), "18.5");
  for (const char* text : {"", "1,5", "1,234.56", "NaN", "1e3", "1.2.3", "five"})
    EXPECT_FALSE(Texts::readNumber(text)) << text;
  for (const char* text : {"1 day", "2 weeks", "30 months", "10000 years"})
    EXPECT_EQ(Texts::duration(*Texts::readDuration(text)), text);
  for (const char* text : {"", "years", "0 years", "-1 day", "10001 days", "2 moons"})
    EXPECT_FALSE(Texts::readDuration(text)) << text;
  EXPECT_EQ(Texts::percentage(*Texts::readPercentage("12.5 %")), "12.5 %");
  EXPECT_FALSE(Texts::readPercentage("%"));
  EXPECT_EQ(Texts::grouped(*qw::Decimal::fromText("-1234567.5"), 2), "-1,234,567.50");
  EXPECT_EQ(Texts::grouped(*qw::Decimal::fromText("-0.125"), 2), "-0.125");
}

class BookTest : public testing::Test {
 protected:
  BookTest() {
    book().currencies().add(euro_);
    euro_->setCode("EUR");
    book().currencies().add(franc_);
    franc_->setCode("CHF");
    franc_->setRate(*qw::Decimal::fromText("1.25"));
    book().setHomeCurrency(euro_.get());
    book().wallets().add(wallet_);
    wallet_->setName("Purse");
    wallet_->setCurrency(euro_.get());
  }

  Book& book() { return store_->book(); }
  std::shared_ptr<Expense> spend(const char* day, std::int64_t amount,
                                 const std::shared_ptr<Currency>& currency, Category* category) {
    auto expense = store_->create<Expense>();
    wallet_->expenses().add(expense);
    expense->setDate(*qw::DateText::readDate(day));
    expense->setAmount(amount);
    expense->setCurrency(currency.get());
    expense->setCategory(category);
    return expense;
  }
  std::shared_ptr<ExpenseBook> reopened() {
    EXPECT_TRUE(store_->save());
    return QWDatabaseManager::open<ExpenseBook>(store_->URL());
  }

  qw::TemporaryDirectory directory_ = *qw::TemporaryDirectory::create("book-test");
  std::shared_ptr<ExpenseBook> store_ = QWDatabaseManager::open<ExpenseBook>(directory_.path() / "book");
  std::shared_ptr<Currency> euro_ = store_->create<Currency>();
  std::shared_ptr<Currency> franc_ = store_->create<Currency>();
  std::shared_ptr<Wallet> wallet_ = store_->create<Wallet>();
};

TEST_F(BookTest, ObserversOfComputedAmountsHearOfRates) {
  const auto expense = spend("2024-05-01", 100, franc_, nullptr);
  std::string heard;
  const auto observation = expense->observe(
      "homeAmount", [&](const qw::Change& change) { heard = change.newValue.description(); });
  const auto hears = [&](const std::function<void()>& change) {
    heard = "nothing";
    change();
    return heard;
  };
  EXPECT_EQ(hears([&] { franc_->setRate(2); }), "200");
  EXPECT_EQ(hears([&] { euro_->setRate(4); }), "50");
  EXPECT_EQ(hears([&] { expense->setCurrency(euro_.get()); }), "100");
  EXPECT_EQ(hears([&] { franc_->setRate(3); }), "nothing");
  EXPECT_EQ(hears([&] { expense->setAmount(7); }), "7");
}

TEST_F(BookTest, EverythingIsThereInTheNextSession) {
  BookIndex index(*store_);
  Category* energy = index.makeCategory("Home/Energy");
  ASSERT_NE(energy, nullptr);
  EXPECT_EQ(index.makeCategory("Home//Heat"), nullptr);
  energy->setShare(*qw::Decimal::fromText("0.5"));
  energy->setBudget(90);
  const auto expense = spend("2024-05-01", 100, franc_, energy);
  expense->setWarranty(QWDuration::durationWithYears(2));
  expense->setReceipt(qw::Image::colorIcon(qw::Color::black(), {4, 3}));
  const auto store = reopened();
  ASSERT_NE(store, nullptr);
  const Expense& loaded = store->book().wallets()[0].expenses()[0];
  EXPECT_EQ(loaded.category()->path(), "Home/Energy");
  EXPECT_EQ(loaded.category()->share().text(), "0.5");
  EXPECT_EQ(loaded.currency()->code(), "CHF");
  EXPECT_EQ(loaded.homeAmount(), 125);
  EXPECT_EQ(qw::DateText::dateText(*loaded.warrantyEnd()), "2026-05-01");
  EXPECT_EQ(loaded.receipt(), expense->receipt());
  EXPECT_EQ(loaded.month(), "2024-05");
}

TEST_F(BookTest, SummariesConvertShareAndGroup) {
  BookIndex index(*store_);
  Category* rent = index.makeCategory("Home/Rent");
  rent->setShare(*qw::Decimal::fromText("0.5"));
  index.category("Home")->setColor(qw::Color::white());
  spend("2024-05-01", 1000, euro_, rent);
  spend("2024-05-31", 100, franc_, nullptr);
  spend("2024-07-01", -40, euro_, rent);
  std::vector<const Expense*> expenses;
  for (const Expense& expense : wallet_->expenses()) expenses.push_back(&expense);

  const Summary byCategory = Summary::of(expenses, Summary::By::kCategory);
  ASSERT_EQ(byCategory.lines.size(), 2u);
  EXPECT_EQ(byCategory.months, 2u);
  EXPECT_EQ(byCategory.total.total, 1085);
  EXPECT_EQ(byCategory.total.share, 605);
  EXPECT_EQ(byCategory.lines[0].title, "");
  EXPECT_EQ(byCategory.lines[0].total, 125);
  EXPECT_EQ(byCategory.lines[1].title, "Home/Rent");
  EXPECT_EQ(byCategory.lines[1].total, 960);
  EXPECT_EQ(byCategory.lines[1].color, qw::Color::white());

  const Summary byMonth = Summary::of(expenses, Summary::By::kMonth);
  ASSERT_EQ(byMonth.lines.size(), 2u);
  EXPECT_EQ(byMonth.lines[0].total, 1125);
  EXPECT_EQ(byMonth.lines[1].title, "2024-07");
  EXPECT_EQ(Summary::of(expenses, Summary::By::kWallet).lines.size(), 1u);
}

}  // namespace
