#include <gtest/gtest.h>

#include <limits>

#include "platform/loop/RunLoop.h"
#include "platform/system/Clock.h"
#include "store/Ledger.h"
#include "store/compare/QWSynchronizationComparison.h"

using namespace QWSynchronizationComparison;

/// This side is a copy of the store, the other side a second file with the same objects.
class Comparing : public OneStore {
 protected:
  void SetUp() override {
    OneStore::SetUp();
    addEntry(*account, "d");
    for (const char* name : {"Food", "Fun", "Rent"}) addTag(store->ledger().tags(), name);
    ASSERT_TRUE(store->save());
    qw::RunLoop::main().drain();  // the end of an undo step
    std::filesystem::copy_file(path(), otherPath());
    other = QWDatabaseManager::open<LedgerManager>(otherPath(), &error);
    ASSERT_TRUE(other);
    begin();
  }
  std::filesystem::path otherPath() const { return context_.directory() / "other.ledger"; }
  /// Takes a new copy of the store to compare.
  void begin() { mine = copyStore(); }
  Tag& addTag(qw::Children<Tag>& list, const std::string& name) {
    auto tag = list.empty() ? store->create<Tag>() : list[0].databaseManager()->create<Tag>();
    tag->setName(name);
    list.add(tag);
    return *tag;
  }
  template <class T>
  T& in(const LedgerManager& manager, const qw::ObjectID& id) {
    return static_cast<T&>(*manager.objectWithID(id));
  }
  Entry& entry(const LedgerManager& manager, std::size_t i) {
    return in<Entry>(manager, account->entries()[i].ID());
  }
  static std::string shown(const Change& change) {
    return !change ? "-"
                   : change->value() + change->imageText() + "|" + change->otherValue() +
                         change->otherImageText();
  }
  /// Takes everything that the other store has else.
  void takeAll() {
    std::vector<Change> changes;
    for (const auto& id : mine->objects().allKeys())
      if (const auto found = other->objectWithID(id))
        for (auto& change : mine->objectWithID(id)->compareWithObject(*found)) changes.push_back(change);
    for (const auto& change : changes) {
      change->keepOther = true;
      change->applyChoice();
    }
    store->removeAllObjectRequests();
  }

  std::shared_ptr<LedgerManager> mine, other;
};

TEST_F(Comparing, EachTypeIsToldApartAndShownInItsWay) {
  Entry& a = entry(*mine, 0);
  Entry& b = entry(*other, 0);
  const auto compare = [&](const auto& x, const auto& y, auto kind) {
    return shown(compareValue(
        x, a, y, b, "key", [](Entry&, const auto&) {}, kind));
  };
  const auto byType = [&](const auto& x, const std::remove_cvref_t<decltype(x)>& y) {
    return compare(x, y, qw::Comparison<std::remove_cvref_t<decltype(x)>>());
  };
  using Text = std::optional<std::string>;
  EXPECT_EQ(byType(Text("x"), "x"), "-");
  EXPECT_EQ(byType(Text(), Text()), "-");
  EXPECT_EQ(byType(Text(), "y"), "|y");
  EXPECT_EQ(byType(true, false), "✓|X");
  EXPECT_EQ(byType(1, 2), "1|2");
  EXPECT_EQ(byType(std::int64_t{1} << 40, 2), "1099511627776|2");
  // Doubles count as integers of 32 bits.
  const double infinite = std::numeric_limits<double>::infinity();
  EXPECT_EQ(byType(1.2, 1.7), "-");
  EXPECT_EQ(byType(-0.9, 0.9), "-");
  EXPECT_EQ(byType(1.7, 2.0), "1|2");
  EXPECT_EQ(byType(1e300, -infinite), "2147483647|-2147483648");
  EXPECT_EQ(byType(infinite, 3e9), "-");
  EXPECT_EQ(byType(std::nan(""), 0.0), "-");
  EXPECT_EQ(byType(qw::Date::fromSeconds(1'700'000'000), qw::Date::fromSeconds(0)), "11/14/23|1/1/70");
  EXPECT_EQ(byType(qw::Color{1, 0, 0.5}, qw::Color::black()), "#ff0080|#000000");
  EXPECT_EQ(byType(qw::Array{1}, qw::Array{}), "1 item|0 item");
  EXPECT_EQ(byType(qw::Array{1, 2}, qw::Array{2}), "2 items|1 item");
  EXPECT_EQ(byType(qw::Value(qw::Dictionary{{"k", 1}}), "x"), "1 item|x");
  const auto icon = *qw::Image::colorIcon(qw::Color::black(), {20, 10});
  const auto copy = *qw::Image::fromPNG(icon.png());
  const auto gray = *qw::Image::colorIcon({0.6, 0.6, 0.6}, {20, 10});
  const auto nearlyGray = *qw::Image::colorIcon({0.61, 0.61, 0.61}, {20, 10});
  const auto larger = *qw::Image::colorIcon(qw::Color::black(), {200, 100});
  EXPECT_EQ(byType(icon, copy), "-");
  ASSERT_TRUE(gray.png() != nearlyGray.png() && gray.jpeg(1)->size() == nearlyGray.jpeg(1)->size());
  EXPECT_EQ(byType(gray, nearlyGray), "-") << "only the lengths of the JPEG forms count";
  EXPECT_EQ(byType(icon, larger), "20 × 10|200 × 100");
  const auto change = compareValue(
      icon, a, larger, b, "key", [](Entry&, const auto&) {},
      qw::Comparison<qw::Image>{.maximumSize = {50, 50}});
  EXPECT_EQ(change->otherImage()->size(), (qw::Size{50, 25}));
  EXPECT_TRUE(change->image()->isIdentical(icon));
  EXPECT_FALSE(change->keepOther);

  using Decimal = std::optional<qw::Decimal>;
  EXPECT_EQ(byType(Decimal(3), Decimal()), "3|");
  EXPECT_EQ(compare(*qw::Decimal::fromText("0.125"), qw::Decimal(1), qw::PercentageComparison()),
            "12.5%|100%");
  mine->ledger().setCurrency({"EUR", "€", 2, 1});
  EXPECT_EQ(compare(Decimal(1234), Decimal(), qw::AmountComparison{"account.ledger.currency"}), "€1,234.00|");
  EXPECT_EQ(compare(Decimal(7), Decimal(8), qw::AmountComparison{"account.ledger.currency"}), "€7.00|8");
  a.setAmount(7);
  EXPECT_EQ(shown(a.compareWithObject(b).at(0)), "€7.00|0") << "as the property table says";

  double applied = 0;
  const auto half = compareValue(7.5, a, 2.7, b, "key", [&](Entry&, double value) { applied = value; });
  half->applyChoice();
  EXPECT_EQ(applied, 7) << "what gives way receives the integer";
  half->keepOther = true;
  half->applyChoice();
  EXPECT_EQ(applied, 2);
}

TEST_F(Comparing, EitherChoiceIsWrittenIntoTheSideThatGivesWay) {
  entry(*mine, 0).setPayee("mine");
  entry(*other, 0).setPayee("theirs");
  entry(*other, 0).setTag(&other->ledger().tags()[1]);
  auto changes = entry(*mine, 0).compareWithObject(entry(*other, 0));
  ASSERT_EQ(changes.size(), 2u);
  EXPECT_EQ(shown(changes[0]), "mine|theirs");
  EXPECT_EQ(shown(changes[1]), "|Fun");
  EXPECT_NE(changes[0]->ID(), changes[1]->ID());
  changes[0]->applyChoice();
  EXPECT_EQ(entry(*other, 0).payee(), "mine");
  for (const auto& change : changes) change->keepOther = true;
  for (const auto& change : changes) change->applyChoice();
  EXPECT_EQ(entry(*store, 0).payee(), "theirs");
  EXPECT_EQ(entry(*store, 0).tag(), &store->ledger().tags()[1]) << "found by its ID, not carried over";
  EXPECT_EQ(entry(*mine, 0).payee(), "mine");
  // A link whose target is not here leaves what is here.
  auto& added = addTag(other->ledger().tags(), "New");
  entry(*other, 0).setTag(&added);
  begin();
  takeAll();
  EXPECT_EQ(entry(*store, 0).tag(), &store->ledger().tags()[1]);
  entry(*other, 0).setTag(nullptr);
  begin();
  takeAll();
  EXPECT_EQ(entry(*store, 0).tag(), nullptr);
}

TEST_F(Comparing, OwnedObjectsAndSetsOfLinks) {
  Entry& a = entry(*mine, 1);
  Entry& b = entry(*other, 1);
  const auto receipt = other->create<Receipt>();
  receipt->setScan(qw::Data::fromText("scan"));
  b.setReceipt(receipt);
  takeAll();
  ASSERT_TRUE(entry(*store, 1).receipt());
  EXPECT_EQ(entry(*store, 1).receipt()->scan().text(), "scan");
  EXPECT_EQ(entry(*store, 1).receipt()->ID(), receipt->ID());

  struct Inline : Receipt {
    bool shouldSynchronizeProperties() const override { return false; }
  };
  const auto x = std::make_shared<Inline>(), y = std::make_shared<Inline>();
  EXPECT_TRUE(compareOwnedReference(nullptr, a, nullptr, b, "key", {}).empty());
  EXPECT_TRUE(compareOwnedReference(receipt, a, receipt, b, "key", {}).empty()) << "compared by itself";

  const auto tags = [](LedgerManager& manager, std::vector<std::size_t> which) {
    std::vector<ObjectPointer> set;
    for (const std::size_t i : which) set.push_back(manager.ledger().tags().at(i));
    return set;
  };
  EXPECT_FALSE(compareReferencesSet(tags(*mine, {0, 1}), a, tags(*other, {1, 0}), b, "key", {}));
  std::vector<std::string> got;
  const auto change = compareReferencesSet(tags(*mine, {0}), a, tags(*other, {2, 1}), b, "key",
                                           [&](QWDatabaseObject& target, const auto& set) {
                                             EXPECT_EQ(target.databaseManager(), store.get());
                                             for (const auto& tag : set) got.push_back(tag->description());
                                           });
  EXPECT_EQ(shown(change), "Food|Fun, Rent");
  change->otherBlock();
  EXPECT_EQ(got, (std::vector<std::string>{"Rent", "Fun"}));
}

TEST_F(Comparing, OrdersAreComparedByWhatBothSidesHave) {
  entry(*other, 1).deleteObject();
  addEntry(in<Account>(*other, account->ID()), "x");
  EXPECT_TRUE(
      in<Account>(*mine, account->ID()).compareWithObject(in<Account>(*other, account->ID())).empty());
  Account& theirs = in<Account>(*other, account->ID());
  theirs.entries().move(theirs.entries()[2], 0);
  const auto changes = in<Account>(*mine, account->ID()).compareWithObject(theirs);
  ASSERT_EQ(changes.size(), 1u);
  EXPECT_FALSE(changes[0]->block);
  changes[0]->applyChoice();
  takeAll();
  EXPECT_EQ(payees(*account), "dabc") << "what is only here stays behind what it stood behind";

  const auto reordered = [&](const std::string& order) {
    std::vector<qw::ObjectID> ids{"unknown"};
    for (const char c : order)
      for (Entry& entry : account->entries())
        if (entry.payee()[0] == c) ids.push_back(entry.ID());
    std::string text;
    for (const auto& entry : reorderedArrayWithIDs(account->entries().toVector(), ids))
      text += static_cast<Entry&>(*entry).payee();
    return text;
  };
  EXPECT_EQ(reordered("cba"), "dcba");
  EXPECT_EQ(reordered("bd"), "bdac");
  EXPECT_EQ(reordered(""), "dabc");
  EXPECT_EQ(reordered("ccaa"), "dcab");
}

TEST_F(Comparing, MovesGoToTheirPlaceAndNeverInCircles) {
  const auto tag = [](LedgerManager& manager, std::initializer_list<std::size_t> path) -> Tag& {
    auto* list = &manager.ledger().tags();
    Tag* found = nullptr;
    for (const std::size_t i : path) list = &(found = &(*list)[i])->tags();
    return *found;
  };
  const auto move = [](Tag& child, qw::Children<Tag>& to) { to.add(child.sharedAs<Tag>()); };
  const auto tree = [](LedgerManager& manager) {
    std::string text;
    const std::function<void(qw::Children<Tag>&)> write = [&](qw::Children<Tag>& tags) {
      for (Tag& tag : tags) {
        text += tag.name() + "(";
        write(tag.tags());
        text += ")";
      }
    };
    write(manager.ledger().tags());
    return text;
  };
  // Here Food > Fun > Rent, there the other way round: no single move is possible at first.
  move(tag(*store, {2}), tag(*store, {1}).tags());
  move(tag(*store, {1}), tag(*store, {0}).tags());
  move(tag(*other, {0}), tag(*other, {1}).tags());
  move(tag(*other, {0}), tag(*other, {1}).tags());
  ASSERT_EQ(tree(*store), "Food(Fun(Rent()))");
  ASSERT_EQ(tree(*other), "Rent(Fun(Food()))");
  begin();
  takeAll();
  EXPECT_EQ(tree(*store), "Rent(Fun(Food()))");
  // Here Fun below Rent, there Rent below Fun; of both moves only one can be.
  move(tag(*other, {0, 0}), other->ledger().tags());
  move(tag(*other, {0}), tag(*other, {1}).tags());
  ASSERT_EQ(tree(*other), "Fun(Food()Rent())");
  begin();
  const qw::ObjectID rent = tag(*store, {0}).ID();
  for (const auto& change : mine->objectWithID(rent)->compareWithObject(*other->objectWithID(rent)))
    change->otherBlock();
  store->removeAllObjectRequests();
  EXPECT_EQ(tree(*store), "Rent(Fun(Food()))") << "stays where it was";
  EXPECT_EQ(store->ledger().tags().size(), 1u);

  // A new one there that would close a circle here: Rent > Fun here; there Rent below it, and it below Fun.
  Tag& added = addTag(tag(*other, {0}).tags(), "New");
  move(tag(*other, {0, 1}), added.tags());
  ASSERT_EQ(tree(*other), "Fun(Food()New(Rent()))");
  begin();
  for (const auto& change : mine->objectWithID(rent)->compareWithObject(*other->objectWithID(rent)))
    change->otherBlock();
  added.importInDatabaseManager(*store);
  store->removeAllObjectRequests();
  EXPECT_EQ(tree(*store), "New(Rent(Fun(Food())))") << "nothing is left without a parent";

  // A place among new siblings.
  auto second = addAccount(*store, "B");
  ASSERT_TRUE(store->save());
  begin();
  second->importInDatabaseManager(*other);
  auto& there = in<Account>(*other, second->ID());
  for (const std::size_t i : {3u, 1u, 0u}) there.entries().insert(entry(*other, i).sharedAs<Entry>(), 0);
  takeAll();
  EXPECT_EQ(payees(*second), "abd");
  EXPECT_EQ(payees(*account), "c");
}

TEST_F(Comparing, OnlyEditsOfARecordMakeItNewer) {
  qw::Clock::Override clock(qw::Date::fromSeconds(1'700'000'000));
  const auto isNewer = [&](const QWDatabaseObject& object) {
    return object.lastModificationDate() == qw::Clock::now();
  };
  account->entries()[1].setTag(&store->ledger().tags()[0]);
  account->entries()[1].setLastModificationDate(qw::Date::fromSeconds(0));
  account->entries().insert(store->create<Entry>(), 0);
  store->ledger().tags()[0].deleteObject();
  ASSERT_TRUE(store->save());
  EXPECT_FALSE(isNewer(account->entries()[2])) << "it gave way to another, and lost its tag";
  EXPECT_FALSE(isNewer(*account));
  account->entries().move(account->entries()[3], 1);
  EXPECT_TRUE(isNewer(*account)) << "another order of its children";
  EXPECT_TRUE(reopen(store)->ledger().accounts()[0].lastModificationDate());
}
