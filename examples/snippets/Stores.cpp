// What docs/store.md, import.md and synchronization.md show, on the model of the expense book.
#include <gmock/gmock.h>

#include "import/CSVRecordReader.h"
#include "import/QWCSVImportController.h"
#include "model/ExpenseBook.h"
#include "platform/loop/RunLoop.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/FileManager.h"
#include "support/ScriptedPresenter.h"
#include "sync/QWDatabaseSynchronizationSessionController.h"

namespace {

void report(const qw::Error& error) { ADD_FAILURE() << error.localizedDescription; }

class Stores : public testing::Test {
 protected:
  void SetUp() override {
    store = QWDatabaseManager::open<ExpenseBook>(path, &error);
    ASSERT_TRUE(store) << error.localizedDescription;
    wallet = store->create<Wallet>();
    store->book().wallets().add(wallet);
    ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  }
  std::filesystem::path file(std::string_view text) {
    EXPECT_TRUE(qw::FileManager::writeAtomically(text, context.directory() / "bank.csv"));
    return context.directory() / "bank.csv";
  }

  qw::ApplicationContext::Override context;
  qw::Error error;
  const std::filesystem::path path = context.directory() / "home.book";
  std::shared_ptr<ExpenseBook> store;
  std::shared_ptr<Wallet> wallet;
  ScriptedPresenter presenter;
};

TEST_F(Stores, OpenAndSave) {
  wallet->setName("Cash");
  ASSERT_TRUE(store->save(&error));

  auto book = QWDatabaseManager::open<ExpenseBook>(path, &error);
  if (!book) return report(error);
  auto expense = book->create<Expense>();
  expense->setPayee("Bakery");
  expense->setAmount(qw::Decimal::withMantissa(450, -2));
  book->book().wallets()[0].expenses().add(expense);
  if (!book->save(&error)) return report(error);
  EXPECT_EQ(book->book().wallets()[0].expenses().size(), 1u);
}

TEST_F(Stores, Import) {
  presenter.willChooseFiles({file("date;payee;amount\n2024-03-15;Bakery;4.50\nnever;Bakery;2\n")});
  presenter.willPress("OK");
  std::vector<qw::CSVRecordReader::Rejection> rejections;
  bool isDone = false;
  const auto report = [&](const std::vector<qw::CSVRecordReader::Rejection>& all) {
    rejections = all;
    isDone = true;
  };

  auto importer = qw::make<QWCSVImportController>();
  importer->initWithBlock([&](QWCSVImportController& importer, const QWCSVRows* rows,
                              const QWCSVImportController::Mapping* mapping, QWDateFormatter* dates,
                              QWNumberFormatter* numbers) {
    if (!rows) return;  // cancelled, or the file could not be read
    qw::CSVRecordReader reader(*rows, *mapping, *dates, *numbers, importer.options().firstLine());
    const auto date = reader.column("date"), payee = reader.column("payee"), amount = reader.column("amount");
    while (reader.next()) {
      const auto day = reader.date(date);
      const auto sum = reader.number(amount);
      if (!day) reader.reject(date, "a date is needed");
      if (reader.isRejected()) continue;
      auto expense = store->create<Expense>();
      expense->setPayee(std::string(reader.text(payee)));
      expense->setDate(*day);
      expense->setAmount(sum.value_or(0));
      wallet->expenses().add(expense);
    }
    report(reader.rejections());  // line, column, text and reason of each field that was refused
  });
  importer->setKeyPaths({"date", "payee", "amount"});
  importer->setHasDates(true);
  importer->setHasNumbers(true);
  importer->setAutosaveName("Bank statements");
  importer->options().hasHeaderButton->enter(true);
  importer->options().dateFormatField->enter("yyyy-MM-dd");
  importer->showOpenPanelInWindow(presenter);

  EXPECT_TRUE(qw::RunLoop::main().runUntil([&] { return isDone; }, std::chrono::seconds(10)));
  ASSERT_EQ(wallet->expenses().size(), 1u);
  EXPECT_EQ(wallet->expenses()[0].amount().text(), "4.5");
  ASSERT_FALSE(rejections.empty());
  EXPECT_EQ(rejections[0].line, 3u);
}

TEST_F(Stores, Synchronize) {
  using Controller = QWDatabaseSynchronizationSessionController;
  const std::filesystem::path otherPath = context.directory() / "laptop.book";
  std::filesystem::copy_file(path, otherPath);
  wallet->setName("Purse");
  bool hasEnded = false;
  const auto book = store;

  auto controller = QWDatabaseSynchronizationSessionController::start(
      {book, otherPath, std::nullopt}, &presenter,
      [&](bool canceled, const std::optional<std::string>& message) {
        hasEnded = true;  // cancelled, or with a message if it failed
        EXPECT_FALSE(canceled || message);
      });
  auto review = controller->observe("state", [&](const qw::Change&) {
    if (controller->state() == Controller::State::kReviewing) {
      controller->changes()[0]->changes[0]->keepOther = true;
      controller->validate();
    }
  });

  EXPECT_TRUE(qw::RunLoop::main().runUntil([&] { return hasEnded; }, std::chrono::seconds(20)));
  EXPECT_EQ(wallet->name(), "") << "the other side's name was chosen";
}

}  // namespace
