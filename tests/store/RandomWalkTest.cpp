#include <fmt/format.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "platform/system/Clock.h"
#include "store/Ledger.h"

namespace {

/// What a user sees of an object, kept outside of the store. Only `date` is the store's own.
struct Plain {
  std::string kind, parent, text, link, owned, scan, color;
  std::int64_t amount = 0;
  std::vector<std::string> entries;  // children, by ID
  std::optional<qw::Date> date;
  bool operator==(const Plain&) const = default;
};
using Model = std::map<std::string, Plain>;

std::string shown(const Model& model) {
  std::string text = "\n";
  const auto end = [](const std::string& id) { return id.size() > 30 ? id.substr(30) : id; };
  for (const auto& [id, o] : model) {
    text += fmt::format("{} {} '{}' {} in {} -> {} owns {} '{}' {} at {}:", o.kind, end(id), o.text, o.amount,
                        end(o.parent), end(o.link), end(o.owned), o.scan, o.color,
                        o.date ? o.date->microseconds() : 0);
    for (const std::string& child : o.entries) text += " " + end(child);
    text += "\n";
  }
  return text;
}

}  // namespace

class RandomWalk : public LedgerTest {
 protected:
  using Random = std::mt19937;

  std::size_t random(std::size_t bound) { return bound ? random_() % bound : 0; }

  // --- Reading the store.
  template <class List>
  void readChildren(List& list, const std::string& owner, Plain& into, Model& model) {
    for (std::size_t i = 0; i < list.size(); ++i) {
      auto& child = list[i];
      EXPECT_FALSE(child.isDeleted());
      EXPECT_EQ(child.index(), static_cast<std::int64_t>(i));
      into.entries.push_back(child.ID().text());
      read(child, owner, model);
    }
  }
  void place(const QWDatabaseObject& object, const std::string& owner, Plain plain, Model& model) {
    plain.kind = object.objectClass().name();
    plain.parent = owner;
    plain.date = object.lastModificationDate();
    EXPECT_TRUE(model.emplace(object.ID().text(), std::move(plain)).second) << "an ID twice";
  }
  void read(Account& account, const std::string& owner, Model& model) {
    Plain plain;
    plain.text = account.name();
    readChildren(account.entries(), account.ID().text(), plain, model);
    place(account, owner, plain, model);
  }
  void read(Tag& tag, const std::string& owner, Model& model) {
    Plain plain;
    plain.text = tag.name();
    if (auto* colored = dynamic_cast<ColoredTag*>(&tag))
      plain.color = colored->color() ? colored->color()->components() : "";
    readChildren(tag.tags(), tag.ID().text(), plain, model);
    place(tag, owner, plain, model);
  }
  void read(Entry& entry, const std::string& owner, Model& model) {
    Plain plain;
    plain.text = entry.payee();
    plain.amount = std::stoll(entry.amount().text());
    plain.link = entry.tag() ? entry.tag()->ID().text() : "";
    if (const auto receipt = entry.receipt()) {
      EXPECT_FALSE(receipt->isDeleted());
      plain.owned = receipt->ID().text();
      plain.scan = receipt->scan().text();
    }
    place(entry, owner, plain, model);
  }
  Model read(LedgerManager& manager) {
    Model model;
    Ledger& ledger = manager.ledger();
    Plain root;
    root.text = ledger.title();
    readChildren(ledger.accounts(), ledger.ID().text(), root, model);
    readChildren(ledger.tags(), ledger.ID().text(), root, model);
    place(ledger, "", root, model);
    std::size_t live = 0;
    manager.objects().forEach([&](const auto& object) { live += !object->isDeleted(); });
    for (const auto& [id, plain] : model) live -= plain.owned.empty() ? 1 : 2;
    EXPECT_EQ(live, 0u) << "something lives that nothing leads to, or is lead to twice" << label();
    for (const auto& [id, plain] : model) EXPECT_FALSE(manager.isObjectDeleted(id)) << id;
    return model;
  }

  // --- Edits, on the store and on the model.
  struct Edits {
    std::map<std::string, std::set<std::string>> keys;  // that were set, by ID
    std::set<std::string> created, deleted;
  };
  template <class T>
  std::shared_ptr<T> any(LedgerManager& manager) {
    std::vector<std::shared_ptr<T>> found;
    manager.objects().forEach([&](const auto& object) {
      if (auto typed = std::dynamic_pointer_cast<T>(object); typed && !typed->isDeleted())
        found.push_back(typed);
    });
    return found.empty() ? nullptr : found[random(found.size())];
  }
  static bool isBelow(Tag* tag, const Tag& other) {
    for (; tag; tag = tag->parent())
      if (tag == &other) return true;
    return false;
  }
  /// The list, in the model, that the children of a class are in: the root's holds accounts before tags.
  static void insert(Model& model, const std::string& owner, const std::string& id, std::size_t index) {
    auto& list = model[owner].entries;
    std::size_t from = 0;
    if (model[owner].kind == "Ledger" && model[id].kind != "Account")
      while (from < list.size() && model[list[from]].kind == "Account") ++from;
    list.insert(list.begin() + static_cast<std::ptrdiff_t>(from + index), id);
    model[id].parent = owner;
  }
  static void take(Model& model, const std::string& id) { std::erase(model[model[id].parent].entries, id); }
  static void erase(Model& model, const std::string& id, Edits& edits) {
    for (const std::string& child : std::vector(model[id].entries)) erase(model, child, edits);
    edits.deleted.insert(id);
    take(model, id);
    for (auto& [other, plain] : model)
      if (plain.link == id) plain.link.clear();
    model.erase(id);
  }

  /// Edits, and notes what came out different: setting an equal value is no edit, a move always is one.
  void edit(LedgerManager& manager, Model& model, Edits& edits) {
    const Model before = model;
    changed_.clear();
    editAnything(manager, model, edits);
    for (const auto& [id, key] : changed_)
      if (const auto former = before.find(id);
          key == "parent" || former == before.end() || !(former->second == model[id]))
        edits.keys[id].insert(key);
  }
  void editAnything(LedgerManager& manager, Model& model, Edits& edits) {
    const auto set = [&](const QWDatabaseObject& object, const char* key) -> Plain& {
      changed_.emplace_back(object.ID().text(), key);
      return model.at(object.ID().text());
    };
    const std::string text = "t" + std::to_string(random(1000));
    const auto create = [&](const std::shared_ptr<QWDatabaseObject>& object, const char* kind) {
      edits.created.insert(object->ID().text());
      model[object->ID().text()].kind = kind;
    };
    const auto entry = any<Entry>(manager);
    const auto account = any<Account>(manager), otherAccount = any<Account>(manager);
    const auto tag = any<Tag>(manager), otherTag = any<Tag>(manager);
    Ledger& ledger = manager.ledger();
    switch (random(16)) {
      case 0:
        ledger.setTitle(text);
        set(ledger, "text").text = text;
        break;
      case 1:
        if (!account) break;
        account->setName(text);
        set(*account, "text").text = text;
        break;
      case 2:
        if (!entry) break;
        entry->setPayee(text);
        set(*entry, "text").text = text;
        break;
      case 3: {
        if (!entry) break;
        const auto amount = static_cast<std::int64_t>(random(100));
        entry->setAmount(amount);
        set(*entry, "amount").amount = amount;
        break;
      }
      case 4: {
        if (!entry) break;
        Tag* target = random(3) ? tag.get() : nullptr;
        entry->setTag(target);
        set(*entry, "link").link = target ? target->ID().text() : "";
        break;
      }
      case 5: {
        if (!entry) break;
        auto receipt = random(3) ? manager.create<Receipt>() : nullptr;
        if (receipt) receipt->setScan(qw::Data::fromText(text));
        entry->setReceipt(receipt);
        Plain& plain = set(*entry, "owned");
        plain.owned = receipt ? receipt->ID().text() : "";
        plain.scan = receipt ? text : "";
        break;
      }
      case 6: {
        if (!tag) break;
        tag->setName(text);
        set(*tag, "text").text = text;
        break;
      }
      case 7: {
        const auto added = manager.create<Account>();
        create(added, "Account");
        const std::size_t index = random(ledger.accounts().size() + 1);
        ledger.accounts().insert(added, index);
        insert(model, ledger.ID().text(), added->ID().text(), index);
        break;
      }
      case 8:
      case 9: {
        if (!account) break;
        const auto added = manager.create<Entry>();
        added->setPayee(text);
        create(added, "Entry");
        const std::size_t index = random(account->entries().size() + 1);
        account->entries().insert(added, index);
        insert(model, account->ID().text(), added->ID().text(), index);
        model[added->ID().text()].text = text;
        break;
      }
      case 10: {
        const bool colored = random(2);
        const std::shared_ptr<Tag> added = colored ? manager.create<ColoredTag>() : manager.create<Tag>();
        create(added, colored ? "ColoredTag" : "Tag");
        if (colored) {
          std::static_pointer_cast<ColoredTag>(added)->setColor(qw::Color::black());
          model[added->ID().text()].color = qw::Color::black().components();
        }
        auto& list = tag && random(2) ? tag->tags() : ledger.tags();
        const std::string owner = list.owner()->ID().text();
        const std::size_t index = random(list.size() + 1);
        list.insert(added, index);
        insert(model, owner, added->ID().text(), index);
        break;
      }
      case 11: {  // a move, within a list or to another
        if (!entry || !account) break;
        const bool within = entry->account() == account.get();
        const std::size_t index = random(account->entries().size() + (within ? 0 : 1));
        if (within && entry->index() == static_cast<std::int64_t>(index)) break;
        set(*entry, "parent");
        if (within)
          account->entries().move(*entry, index);
        else
          account->entries().insert(entry, index);
        take(model, entry->ID().text());
        insert(model, account->ID().text(), entry->ID().text(), index);
        break;
      }
      case 12: {
        if (!tag || isBelow(otherTag.get(), *tag)) break;
        auto& list = otherTag && random(3) ? otherTag->tags() : ledger.tags();
        const std::string owner = list.owner()->ID().text();
        const bool within = model[tag->ID().text()].parent == owner;
        const std::size_t index = random(list.size() + (within ? 0 : 1));
        if (within && tag->index() == static_cast<std::int64_t>(index)) break;
        set(*tag, "parent");
        if (within)
          list.move(*tag, index);
        else
          list.insert(tag, index);
        take(model, tag->ID().text());
        insert(model, owner, tag->ID().text(), index);
        break;
      }
      case 13: {
        const std::shared_ptr<QWDatabaseObject> chosen[] = {entry, tag, random(4) ? nullptr : account};
        const auto object = chosen[random(3)];
        if (!object) break;
        erase(model, object->ID().text(), edits);
        object->deleteObject();
        break;
      }
      case 14: {
        if (!entry || isCopy_) break;
        const std::string former = entry->ID().text(),
                          id = "00000000-0000-4000-8001-" + std::to_string(100000000000 + random(999999999));
        if (model.contains(id)) break;
        entry->setID(id);
        auto& siblings = model[model[former].parent].entries;
        std::replace(siblings.begin(), siblings.end(), former, id);
        auto node = model.extract(former);
        node.key() = id;
        model.insert(std::move(node));
        break;
      }
      default: {  // another order
        if (!account) break;
        auto& list = account->entries();
        std::vector<std::shared_ptr<Entry>> order;
        for (std::size_t i = 0; i < list.size(); ++i) order.push_back(list.at(i));
        std::shuffle(order.begin(), order.end(), random_);
        list.set(order);
        auto& plain = set(*account, "order").entries;
        plain.clear();
        for (const auto& child : order) plain.push_back(child->ID().text());
      }
    }
  }

  /// Dates are the store's: the model takes those that it finds.
  void expectModel(const char* what) {
    Model found = read(*store_);
    for (auto& [id, plain] : model_)
      if (const auto it = found.find(id); it != found.end()) plain.date = it->second.date;
    ASSERT_EQ(shown(found), shown(model_)) << what << label();
  }
  std::string label() const {
    return " in walk " + std::to_string(seed_) + ", step " + std::to_string(step_);
  }

  /// Runs an edit as one step; the model is remembered behind it if there is something to undo.
  void run(const std::function<void()>& edit, const std::function<void()>& check) {
    const std::uint64_t before = undo().lastGroup();
    step(*store_, edit);
    check();
    if (undo().lastGroup() != before) remember();
  }
  void remember() {
    history_.resize(position_ + 1);
    history_.push_back(model_);
    ++position_;
  }
  void start() {
    history_ = {model_};
    position_ = 0;
  }

  void save() {
    ASSERT_TRUE(store_->save(&error)) << error.localizedDescription << label();
    expectModel("after a save");
    const auto reader = QWDatabaseManager::open<LedgerManager>(
        path(), {.access = QWDatabaseManager::Access::kReadOnly}, &error);
    ASSERT_TRUE(reader) << error.localizedDescription;
    Model inFile = read(*reader), expected = model_;
    for (auto* model : {&inFile, &expected})
      for (auto& [id, plain] : *model)
        if (plain.date) plain.date = plain.date->truncatedToSecond();
    ASSERT_EQ(shown(inFile), shown(expected)) << "in the file" << label();
    ASSERT_TRUE(reader->unreachableRows().empty()) << label();
  }

  void failToSave() {
    static const char* const kFaults[] = {"ABORT", "FAIL", "ROLLBACK"};
    static const char* const kEvents[] = {"INSERT ON Entry", "UPDATE ON Entry", "DELETE ON Entry",
                                          "INSERT ON Tag", "UPDATE ON Account"};
    alter(path(), std::string("CREATE TRIGGER fault BEFORE ") + kEvents[random(5)] + " BEGIN SELECT RAISE(" +
                      kFaults[random(3)] + ", 'struck'); END");
    (void)store_->save(&error);
    alter(path(), "DROP TRIGGER fault");
    expectModel("after a failing save");
  }

  void workBehind() {
    auto copy = std::static_pointer_cast<LedgerManager>(store_->copy());
    Model theirs = model_;
    Edits work, user;
    isCopy_ = true;
    for (std::size_t i = random(6) + 1; i-- > 0;) edit(*copy, theirs, work);
    isCopy_ = false;
    for (std::size_t i = random(4); i-- > 0;) {
      qw::Clock::Override later(tick());
      isCopy_ = true;  // IDs stay, so that they can be compared
      run([&] { edit(*store_, model_, user); }, [&] { expectModel("beside a copy"); });
      isCopy_ = false;
    }
    const Model before = model_;
    run([&] { copy->commitChangesToOriginalDatabaseManager(); }, [&] { model_ = read(*store_); });
    const Model& after = model_;
    for (const auto& [id, plain] : after) {
      const auto mine = before.find(id);
      const auto there = theirs.find(id);
      const auto expect = [&](const char* key, auto member) {
        const auto edited = work.keys.find(id);
        const bool byWork = mine == before.end() || (there != theirs.end() && edited != work.keys.end() &&
                                                     edited->second.contains(key));
        const auto& wanted = byWork ? there->second.*member : mine->second.*member;
        if constexpr (std::is_same_v<decltype(member), std::string Plain::*>) {
          const bool vanished = (member == &Plain::link || member == &Plain::parent) && !wanted.empty() &&
                                !after.contains(wanted);
          const bool circle = member == &Plain::parent && plain.kind.ends_with("Tag");
          if (vanished || circle) return;
        }
        EXPECT_EQ(plain.*member, wanted)
            << key << " of " << id << label() << shown(before) << "+" << shown(theirs) << "=" << shown(after);
      };
      ASSERT_TRUE(mine != before.end() || there != theirs.end()) << id << label();
      expect("text", &Plain::text);
      expect("amount", &Plain::amount);
      expect("link", &Plain::link);
      expect("owned", &Plain::owned);
      expect("parent", &Plain::parent);
    }
    for (const auto& [id, plain] : before)
      if (!after.contains(id)) {
        EXPECT_TRUE(work.deleted.contains(id)) << plain.kind << " " << id << " is gone" << label();
      }
    for (const auto& [id, plain] : theirs)
      if (!after.contains(id) && work.created.contains(id)) {
        EXPECT_TRUE(user.deleted.contains(plain.parent) || !after.contains(plain.parent))
            << plain.kind << " " << id << " did not come" << label();
      }
    ASSERT_FALSE(HasFailure()) << label();
    if (random(3) == 0) eldest_ = copy;
  }

  void import() {
    if (!eldest_) return;
    const auto source = any<Entry>(*eldest_);
    if (!source || store_->objectWithID(source->ID()) || !source->account() ||
        !store_->objectWithID(source->account()->ID()))
      return;
    run(
        [&] {
          source->importInDatabaseManager(*store_);
          store_->removeAllObjectRequests();
        },
        [&] { model_ = read(*store_); });
    ASSERT_TRUE(model_.contains(source->ID().text())) << label();
  }

  void goTo(std::size_t position) {
    if (position >= history_.size()) return;
    const bool back = position < position_;
    ASSERT_TRUE(back ? undo().canUndo() : undo().canRedo()) << label();
    back ? undo().undo() : undo().redo();
    position_ = position;
    model_ = history_[position];
    ASSERT_EQ(shown(read(*store_)), shown(model_)) << (back ? "undone" : "redone") << label();
  }

  qw::UndoManager& undo() { return *store_->undoManager(); }
  qw::Date tick() { return qw::Date::fromSeconds(1'700'000'000 + ++time_); }

  void open() {
    store_ = LedgerTest::open();
    ASSERT_TRUE(store_) << error.localizedDescription;
    sqlite3_exec(store_->database(), "PRAGMA synchronous = OFF", nullptr, nullptr, nullptr);
    undo().setGroupsByEvent(false);
  }

  void walk(std::uint32_t seed) {
    seed_ = seed;
    random_.seed(seed);
    store_.reset();
    eldest_.reset();
    std::filesystem::remove(path());
    open();
    model_ = read(*store_);
    start();
    save();
    for (step_ = 0; step_ < 60 && !HasFailure(); ++step_) {
      qw::Clock::Override now(tick());
      const std::size_t what = random(20);
      if (what < 9) {
        run(
            [&] {
              Edits edits;
              for (std::size_t i = random(3) + 1; i-- > 0;) edit(*store_, model_, edits);
            },
            [&] { expectModel("edited"); });
      } else if (what < 13) {
        if (position_ > 0) goTo(position_ - 1);
      } else if (what < 15) {
        goTo(position_ + 1);
      } else if (what < 16) {
        save();
      } else if (what < 17) {
        failToSave();
      } else if (what < 18) {
        workBehind();
      } else if (what < 19) {
        import();
      } else if (random(3) == 0) {
        save();
        eldest_.reset();
        store_.reset();
        open();
        Model found = read(*store_);
        model_ = found;
        start();
      }
    }
  }

  Random random_;
  std::uint32_t seed_ = 0;
  int step_ = 0;
  std::int64_t time_ = 0;
  bool isCopy_ = false;
  std::shared_ptr<LedgerManager> store_, eldest_;
  Model model_;
  std::vector<Model> history_;
  std::size_t position_ = 0;
  std::vector<std::pair<std::string, std::string>> changed_;  // by the last edit, with what was set
};

TEST_F(RandomWalk, OfEverythingThatChangesAStoreKeepsItRight) {
  const std::uint32_t walks = isLongRun() ? 4000 : 200;
  std::uint32_t seed = 1;
  for (; seed <= walks && !HasFailure(); ++seed) walk(seed);
  if (isLongRun()) fmt::print("{} walks\n", seed - 1);
}
