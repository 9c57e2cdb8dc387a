#include <gmock/gmock.h>

#include <random>
#include <set>

#include "Program.h"
#include "model/BookCheck.h"
#include "model/Records.h"
#include "platform/system/ApplicationContext.h"
#include "platform/system/Clock.h"
#include "sync/QWDatabaseSynchronizationSession.h"

// Two copies of a book, edited at random ------------------------------------------------------------------

class Convergence : public testing::Test {
 protected:
  using Session = QWDatabaseSynchronizationSession;

  std::filesystem::path path(const char* name) const { return context_.directory() / name; }
  std::shared_ptr<ExpenseBook> open(const char* name) {
    auto store = QWDatabaseManager::open<ExpenseBook>(path(name), &error);
    EXPECT_TRUE(store) << error.localizedDescription;
    return store;
  }
  void copy(const char* from, const char* to) { Files::copy(path(from), path(to)); }
  std::size_t below(std::size_t count) { return random_() % count; }
  std::string name() { return "n" + std::to_string(++names_); }

  void makeBook() {
    std::filesystem::remove(path("a"));
    auto store = open("a");
    Book& book = store->book();
    auto currency = store->create<Currency>();
    currency->setCode("EUR");
    book.currencies().add(currency);
    book.setHomeCurrency(currency.get());
    for (int i = 0; i < 3; ++i) addWallet(*store);
    for (int i = 0; i < 8; ++i) addCategory(*store);
    for (int i = 0; i < 30; ++i) addExpense(*store);
    ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  }
  void addWallet(ExpenseBook& store) {
    auto wallet = store.create<Wallet>();
    wallet->setName(name());
    wallet->setCurrency(&store.book().currencies()[0]);
    store.book().wallets().insert(wallet, below(store.book().wallets().size() + 1));
  }
  std::vector<Category*> categories(ExpenseBook& store) {
    std::vector<Category*> found{&store.book().rootCategory()};
    for (std::size_t i = 0; i < found.size(); ++i)
      for (Category& category : found[i]->categories()) found.push_back(&category);
    return found;
  }
  Category* anyCategory(ExpenseBook& store) {
    const auto all = categories(store);
    return all[below(all.size())];
  }
  void addCategory(ExpenseBook& store) {
    Category* parent = anyCategory(store);
    auto category = store.create<Category>();
    category->setName(name());
    parent->categories().insert(category, below(parent->categories().size() + 1));
  }
  void addExpense(ExpenseBook& store) {
    auto& wallets = store.book().wallets();
    if (wallets.empty()) return addWallet(store);
    auto expense = store.create<Expense>();
    expense->setDate(qw::Clock::now());
    expense->setPayee(name());
    expense->setCurrency(&store.book().currencies()[0]);
    if (Category* category = anyCategory(store); category->parent()) expense->setCategory(category);
    auto& list = wallets[below(wallets.size())].expenses();
    list.insert(expense, below(list.size() + 1));
  }
  void edit(ExpenseBook& store) {
    auto& wallets = store.book().wallets();
    Wallet* wallet = wallets.empty() ? nullptr : &wallets[below(wallets.size())];
    Expense* expense = wallet && !wallet->expenses().empty()
                           ? &wallet->expenses()[below(wallet->expenses().size())]
                           : nullptr;
    Category* category = anyCategory(store);
    const bool isRoot = !category->parent();
    switch (below(16)) {
      case 0:
        return addWallet(store);
      case 1:
      case 2:
        return addCategory(store);
      case 3:
      case 4:
        return addExpense(store);
      case 5:
        if (wallet && below(4) == 0) wallet->deleteObject();
        return;
      case 6:
        if (!isRoot && below(2) == 0) category->deleteObject();
        return;
      case 7:
        if (expense) expense->deleteObject();
        return;
      case 8:  // moves
        if (expense) wallets[below(wallets.size())].expenses().insert(expense->sharedAs<Expense>(), 0);
        return;
      case 9:
      case 10:
        if (Category* parent = anyCategory(store);
            !isRoot && parent != category && !parent->isBelow(*category))
          parent->categories().insert(category->sharedAs<Category>(), 0);
        return;
      case 11:  // orders
        if (expense) wallet->expenses().move(*expense, below(wallet->expenses().size()));
        return;
      case 12:
        if (wallet) store.book().wallets().move(*wallet, below(wallets.size()));
        return;
      case 13:
        if (expense) expense->setCategory(isRoot ? nullptr : category);
        return;
      case 14:
        if (!isRoot) category->setName(name());
        return;
      default:
        if (expense) below(2) ? expense->setAmount(static_cast<int>(below(1000))) : expense->setPayee(name());
        return;
    }
  }
  void editAtRandom(const char* file) {
    auto store = open(file);
    for (std::size_t i = below(40); i > 0; --i) {
      edit(*store);
      clock_.advanceSeconds(1 + static_cast<std::int64_t>(below(3)));
    }
    ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  }

  /// What one change is about.
  using Key = std::pair<std::string, std::string>;
  /// Synchronizes `a` with the other file; `choose` is the review.
  void synchronize(const char* other,
                   const std::function<void(Session&, QWSynchronizationChangesGroup&)>& choose) {
    auto store = open("a");
    auto session = Session::create(store, path(other));
    ASSERT_TRUE(session->createOtherDatabaseManagerAndReturnError(&error)) << error.localizedDescription;
    for (int step = 1; step <= session->numberOfSteps(); ++step) {
      session->setCurrentStep(step);
      session->prepareSynchronization();
      session->computeChanges();
      for (const auto& group : session->changes()) choose(*session, *group);
      session->applyChanges();
    }
    ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  }
  void expectSound(const char* file) {
    const auto store = open(file);
    for (const auto& finding : BookCheck::check(*store))
      EXPECT_TRUE(finding.faults.empty())
          << file << ": " << finding.title << ": " << testing::PrintToString(finding.faults);
  }

  qw::ApplicationContext::Override context_;
  qw::Clock::Override clock_{qw::Date::fromSeconds(1'700'000'000)};
  qw::Error error;
  std::mt19937 random_{4};
  int names_ = 0;
};

TEST_F(Convergence, RandomlyEditedCopiesAgreeAfterwardsAndNothingChosenIsLost) {
  const int rounds = std::getenv("QW_LONG_TESTS") ? 3000 : 40;
  std::size_t proposals = 0, taken = 0;
  for (int round = 0; round < rounds && !HasFailure(); ++round) {
    SCOPED_TRACE("round " + std::to_string(round));
    if (round % 5 == 0) {  // else the copies go on from where they agreed
      makeBook();
      copy("a", "b");
    }
    editAtRandom("a");
    editAtRandom("b");
    const bool reviews = round % 2 == 1;
    std::set<Key> chosen;
    synchronize("b", [&](Session&, QWSynchronizationChangesGroup& group) {
      for (const auto& change : group.changes) {
        if (reviews) change->keepOther = below(2) == 0;
        ++proposals;
        if (!change->keepOther) continue;
        ++taken;
        chosen.insert({group.objectID.text(), change->title});
      }
    });
    expectSound("a");

    // Against the same other copy, what was taken is no difference any more. Places and links may have had
    // to give way to other choices: a circle, a target or parent that was not taken.
    synchronize("b", [&](Session& session, QWSynchronizationChangesGroup& group) {
      static const std::set<std::string> kAttributes = {"Expense.amount", "Expense.payee", "Expense.date",
                                                        "Category.name", "Wallet.name"};
      for (const auto& change : group.changes) {
        change->keepOther = false;
        if (!chosen.contains({group.objectID.text(), change->title})) continue;
        EXPECT_FALSE(kAttributes.contains(change->title)) << change->value() << " " << change->otherValue();
        if (!change->title.empty()) continue;
        const auto other = session.otherDatabaseManager()->objectWithID(group.objectID);
        const auto parent = other ? other->synchronizationParentID() : std::nullopt;
        EXPECT_FALSE(parent && session.databaseManager()->objectWithID(*parent))
            << "taken and not here: " << group.title;
      }
    });
    copy("a", "b");
    synchronize("b", [&](Session&, QWSynchronizationChangesGroup& group) {
      ADD_FAILURE() << "still different: " << group.title << " " << group.changes[0]->title;
    });
    expectSound("a");
    expectSound("b");
  }
  std::cout << rounds << " rounds, " << proposals << " proposals, " << taken
            << " taken from the other side\n";
  EXPECT_GT(taken, 100u);
}

// The command ---------------------------------------------------------------------------------------------

class Sync : public ProgramTest {
 protected:
  void SetUp() override {
    succeed("new b --symbol €");
    succeed("add b --kind category name=Food");
    succeed("add b payee=Bakery amount=4.20 date=2024-01-02 category=Food");
    succeed("add b payee=Rent amount=900 date=2024-01-01");
    std::filesystem::copy_file(path("b"), path("c"));
    // Dates have seconds: what is edited there is later.
    for (const char* book : {"b", "c"})
      SQLite(path(book)).execute("UPDATE Expense SET lastModificationDate = datetime('now', '-1 hour')");
    succeed("edit c --where payee=Bakery 'payee=The Bakery' amount=5 cleared=yes");
    succeed("add c --kind wallet name=Cash");
    succeed("add c payee=Coffee amount=2 wallet=Cash date=2024-01-03");
  }
  std::vector<std::string> payees(const std::string& book = "b") {
    std::vector<std::string> texts;
    for (const auto& record : nlohmann::json::parse(succeed({"list", book, "--format", "json"})))
      texts.push_back(record["payee"]);
    std::sort(texts.begin(), texts.end());
    return texts;
  }
  using Payees = std::vector<std::string>;
  const Payees kBefore{"Bakery", "Rent"}, kAfter{"Coffee", "Rent", "The Bakery"};
};

TEST_F(Sync, ShowsTheReviewAndChangesNothing) {
  const std::string before = Files::read(path("b")), other = Files::read(path("c"));
  const std::string table = succeed("sync b c");
  for (const char* part : {"2024-01-02 Bakery", "€4.20", "€5.00", "Amount", "theirs", "Cash", "Created",
                           "Coffee", "Nothing was changed"})
    EXPECT_THAT(table, testing::HasSubstr(part));
  const auto groups = nlohmann::json::parse(succeed("sync b c --json"))["groups"];
  ASSERT_EQ(groups.size(), 3u);
  EXPECT_EQ(groups[0]["step"], 1);
  EXPECT_EQ(groups[0]["title"], "Cash");
  EXPECT_EQ(groups[1]["changes"].size(), 3u);
  EXPECT_EQ(groups[1]["changes"][2],
            (nlohmann::json{{"title", "Cleared"}, {"value", "X"}, {"otherValue", "✓"}, {"keepOther", true}}));
  EXPECT_TRUE(Files::read(path("b")) == before);
  EXPECT_TRUE(Files::read(path("c")) == other);
}

TEST_F(Sync, TakesTheProposalsAndWritesBothOnlyWhenAsked) {
  const std::string other = Files::read(path("c"));
  succeed("edit b --where payee=Rent memo=mine");
  EXPECT_THAT(succeed("sync b c --yes"), testing::HasSubstr("4 records differed; 5 changes taken"));
  EXPECT_EQ(payees(), kAfter);
  EXPECT_TRUE(Files::read(path("c")) == other);
  EXPECT_THAT(succeed("sync b c --yes --write-both"), testing::HasSubstr("Wrote c"));
  EXPECT_EQ(payees("c"), kAfter);
  EXPECT_EQ(succeed("sync c b --yes"), "Both books agree.\n");
  // A book that has a password.
  succeed("add c payee=Later amount=1 wallet=Cash");
  succeed("password c --new secret");
  succeed("sync b c --yes --other-password secret");
  EXPECT_EQ(payees().size(), 4u);
  succeed("check b");
}

TEST_F(Sync, AsksAboutEachRecord) {
  for (const char* answers : {"\nq\n", "\n", ""}) {
    const std::string before = Files::read(path("b"));
    const Output output = run("sync b c --review", answers);
    EXPECT_EQ(output.status, 1) << answers;
    EXPECT_EQ(output.error, "expenses: cancelled; nothing was changed\n");
    EXPECT_TRUE(Files::read(path("b")) == before);
  }
  EXPECT_THAT(succeed("sync b c --review", "x\n\nm\na\n"), testing::HasSubstr("2 changes taken"));
  EXPECT_EQ(payees(), (Payees{"Bakery", "Coffee", "Rent"}));
}

TEST_F(Sync, IsOneStepThatCanBeUndoneAndIsThenProposedAgain) {
  const std::string first = succeed("sync b c");
  const std::string out = succeed("batch b", "sync c --yes\nundo\nsave\nsync c\n");
  EXPECT_THAT(out, testing::HasSubstr("Undid: Synchronization\nSaved.\n" + first));
  EXPECT_EQ(payees(), kBefore);
  EXPECT_EQ(succeed("sync b c"), first);
}

TEST_F(Sync, AnInterruptOfTheReviewCancels) {
  const std::string before = Files::read(path("b"));
  Files::write(path("script"), R"(
    mkfifo answers
    exec 9<>answers
    "$EXPENSES_PROGRAM" sync b c --review <&9 >seen &
    until grep -qs Enter seen; do sleep 0.02; done
    kill -INT $!
    wait $!
  )");
  const Output output = shell("timeout 60 bash script");
  EXPECT_EQ(output.status, 1);
  EXPECT_EQ(output.error, "expenses: cancelled; nothing was changed\n");
  EXPECT_TRUE(Files::read(path("b")) == before);
}
