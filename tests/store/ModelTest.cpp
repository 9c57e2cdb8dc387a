#include <gtest/gtest.h>

#include "store/Ledger.h"

// Models with one fault each: a store with such a model is refused before its file is touched, and its
// classes do no harm outside of one.

namespace {

class Folder;

/// Its table and a column are called like words of SQL.
struct Sheet : QWDatabaseObject {
  qw::Back<Folder> folder_;
  qw::Stored<std::string> title;
  qw::Stored<qw::Reference<Sheet>> next;
  qw::Stored<qw::Decimal> share{1};
  qw::Stored<std::optional<int>> weight{7};
  std::string note_;
  static const qw::Class kClass;
  bool setNote(std::string note) { return assign<&Sheet::note_>(std::move(note)); }
  void setFolder(Folder* folder) { assign<&Sheet::folder_>(folder); }
  void setNext(Sheet* sheet) { set<&Sheet::next>(sheet); }
};

struct Folder : QWDatabaseObject {
  qw::Children<Sheet> sheets;
  std::shared_ptr<Sheet> cover_;
  static const qw::Class kClass;
  void setCover(std::shared_ptr<Sheet> cover) { assign<&Folder::cover_>(std::move(cover)); }
};

/// Forgets its kClass.
struct Special : Sheet {};

constinit const qw::Class Sheet::kClass =
    qw::define<Sheet, QWDatabaseObject>("Sheet", {.table = "Order"}, [] {
      return qw::properties(qw::parent<&Sheet::folder_>("folder", "sheets"),
                            qw::attribute<&Sheet::title>("title", {.column = "group"}),
                            qw::reference<&Sheet::next>("next"), qw::attribute<&Sheet::share>("share"),
                            qw::attribute<&Sheet::weight>("weight"));
    });
constinit const qw::Class Folder::kClass =
    qw::define<Folder, QWDatabaseObject>("Folder", {.table = "Folder"}, [] {
      return qw::properties(qw::children<&Folder::sheets>("sheets", "folder"),
                            qw::owned<&Folder::cover_>("cover"));
    });

/// Wrong variants; each has members of its own, as a member belongs to one class.
struct Box;
struct Thing : QWDatabaseObject {
  qw::Back<Box> box;
  std::string a, b;
  std::optional<QWDuration> term;
  static const qw::Class kClass;
};
struct Box : QWDatabaseObject {
  qw::Children<Thing> things;
  static const qw::Class kClass;
};
constinit const qw::Class Thing::kClass = qw::define<Thing, QWDatabaseObject>(
    "Thing", {.table = "Thing"}, [] { return qw::properties(qw::parent<&Thing::box>("box", "thingz")); });
constinit const qw::Class Box::kClass = qw::define<Box, QWDatabaseObject>(
    "Box", {.table = "Box"}, [] { return qw::properties(qw::children<&Box::things>("things", "box")); });

constexpr qw::Class kNoParent = qw::define<Box, QWDatabaseObject>(
    "NoParent", {.table = "Box"}, [] { return qw::properties(qw::children<&Box::things>("things", "a")); });
constexpr qw::Class kColumns = qw::define<Thing, QWDatabaseObject>("Columns", {.table = "Thing"}, [] {
  return qw::properties(qw::attribute<&Thing::term>("term"), qw::attribute<&Thing::a>("TERMUnit"));
});
constexpr qw::Class kRedeclared = qw::define<Thing, Sheet>(
    "Redeclared", {}, [] { return qw::properties(qw::attribute<&Thing::a>("title")); });
constexpr qw::Class kOverriding = qw::define<Thing, Sheet>(
    "Overriding", {}, [] { return qw::properties(qw::overriding(qw::attribute<&Thing::a>("tytle"))); });
constexpr qw::Class kSameTable = qw::define<Thing, QWDatabaseObject>(
    "SameTable", {.table = "ORDER"}, [] { return qw::properties(qw::attribute<&Thing::a>("a")); });
constexpr qw::Class kNoClassColumn = qw::define<Thing, Sheet>(
    "NoClassColumn", {}, [] { return qw::properties(qw::attribute<&Thing::a>("a")); });
constexpr qw::Class kOwnTable = qw::define<Thing, QWDatabaseObject>(
    "OwnTable", {.table = "QWMetadata"}, [] { return qw::properties(qw::attribute<&Thing::a>("a")); });
constexpr qw::Class kSameName = qw::define<Thing, QWDatabaseObject>(
    "Sheet", {.table = "Other"}, [] { return qw::properties(qw::attribute<&Thing::a>("a")); });

class FolderManager : public QWDatabaseManager {
 public:
  const qw::Class& rootObjectClass() const override { return *root; }
  std::vector<const qw::Class*> modelClasses() const override { return classes; }
  std::string version() const override { return modelVersion; }
  Folder& folder() const { return static_cast<Folder&>(*rootObject()); }

  static inline const qw::Class* root = &Folder::kClass;
  static inline std::vector<const qw::Class*> classes{&Folder::kClass, &Sheet::kClass};
  static inline std::string modelVersion = "1";
};

class Model : public LedgerTest {
 protected:
  ~Model() override {
    FolderManager::root = &Folder::kClass;
    FolderManager::classes = {&Folder::kClass, &Sheet::kClass};
    FolderManager::modelVersion = "1";
  }
  std::shared_ptr<FolderManager> openFolder() {
    auto store = QWDatabaseManager::open<FolderManager>(path(), &error);
    EXPECT_TRUE(store) << error.localizedDescription;
    return store;
  }
};

}  // namespace

TEST_F(Model, AWrongOneIsRefusedAndNamed) {
  const qw::Class* const folder = &Folder::kClass;
  const qw::Class* const sheet = &Sheet::kClass;
  const struct {
    const qw::Class* root;
    std::vector<const qw::Class*> classes;
    std::string_view fault;
  } cases[] = {
      {&Box::kClass,
       {&Box::kClass, &Thing::kClass},
       "Box.things names \"box\" of Thing as its other end, which names \"thingz\""},
      {&Thing::kClass,
       {&Thing::kClass},
       "Thing.box names \"thingz\" of Box as its other end, which it does not have"},
      {&kNoParent,
       {&kNoParent},
       "NoParent.things names \"a\" of Thing as its other end, which it does not have"},
      {folder, {folder}, "Folder.sheets leads to Sheet, which modelClasses() does not list"},
      {folder, {sheet}, "modelClasses() does not list Folder, the class of the root object"},
      {folder,
       {folder, sheet, &kColumns},
       "Columns.TERMUnit has the column \"TERMUnit\", which there is already"},
      {folder,
       {folder, sheet, &kRedeclared},
       "Redeclared.title takes the place of a superclass's property without qw::overriding"},
      {folder,
       {folder, sheet, &kOverriding},
       "Overriding.tytle is qw::overriding, but no superclass has the property"},
      {folder,
       {folder, sheet, &kSameTable},
       "Sheet and SameTable have the table \"ORDER\", but no superclass that has it"},
      {folder,
       {folder, sheet, &kNoClassColumn},
       "Sheet and NoClassColumn share the table \"Order\" without qw::classColumn()"},
      {folder,
       {folder, sheet, &kOwnTable},
       "OwnTable has the table \"QWMetadata\", which is the store's own"},
      {folder, {folder, sheet, &kSameName}, "there are two classes called Sheet"},
  };
  for (const auto& [root, classes, fault] : cases) {
    FolderManager::root = root;
    FolderManager::classes = classes;
    EXPECT_FALSE(QWDatabaseManager::open<FolderManager>(path(), &error));
    EXPECT_EQ(error.localizedDescription, "The model is wrong: " + std::string(fault));
    EXPECT_EQ(error.code, 1);
    EXPECT_FALSE(std::filesystem::exists(path()));
  }
}

TEST_F(Model, AWrongOneDoesNoHarmOutsideOfAStore) {
  qw::Log::Capture log;
  const auto nowhere = qw::make<QWDatabaseManager>();
  const auto box = nowhere->create<Box>();
  const auto thing = nowhere->create<Thing>();
  box->things.add(thing);
  box->things.set({thing});
  EXPECT_TRUE(box->things.empty());
  EXPECT_TRUE(thing->assign<&Thing::box>(box.get()) || !thing->box);
  EXPECT_FALSE(thing->assign<&Thing::b>("not in the table"));
  EXPECT_EQ(thing->b, "");
  qw::make<Folder>()->sheets.add(qw::make<Sheet>());
  nowhere->create<Special>();
  std::string told;
  for (const auto& message : log.take()) told += message.text + "\n";
  for (const std::string_view part : {"Box.things names \"box\"", "The table of Thing does not list",
                                      "Thing::b", "lacks a kClass of its own"})
    EXPECT_NE(told.find(part), std::string::npos) << part << " in\n" << told;
}

TEST_F(Model, OneVerbSetsEveryKindOfMember) {
  auto store = openFolder();
  const auto other = store->create<Folder>();
  const auto first = store->folder().sheets.create(), second = store->folder().sheets.create();
  const auto cover = store->create<Sheet>();
  store->folder().setCover(cover);
  second->setNext(first.get());
  EXPECT_TRUE(first->set<&Sheet::title>("A"));
  EXPECT_FALSE(first->set<&Sheet::title>("A"));
  EXPECT_EQ(second->next->title, "A") << "a link reads through";

  first->setFolder(other.get());
  EXPECT_EQ(first->folder_.get(), other.get());
  EXPECT_EQ(&other->sheets[0], first.get());
  EXPECT_EQ(store->folder().sheets.size(), 1u);
  store->folder().setCover(nullptr);
  EXPECT_TRUE(cover->isDeleted());
  second->setNext(nullptr);
  EXPECT_FALSE(*second->next);
  store->undoManager()->undo();
  EXPECT_EQ(store->folder().sheets.size(), 0u) << "one step, as it was before";

  const qw::Property& row = *Sheet::kClass.property("next");
  EXPECT_EQ(row.valueKind, qw::Value::Kind::kObject);
  EXPECT_EQ(Sheet::kClass.property("weight")->valueKind, qw::Value::Kind::kInt);
  EXPECT_EQ(Folder::kClass.property("sheets")->valueKind, qw::Value::Kind::kArray);
}

TEST_F(Model, MissingAndEmptyColumnsLeaveTheInitialValue) {
  auto store = openFolder();
  store->folder().sheets.create();
  ASSERT_TRUE(store->save());
  store->folder().sheets[0].deleteObject();
  auto added = store->folder().sheets.create();
  added->set<&Sheet::weight>(std::nullopt);
  added->set<&Sheet::title>("whole");
  ASSERT_TRUE(store->save());
  added->set<&Sheet::title>("last");
  ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  EXPECT_EQ(ask("SELECT \"group\" FROM \"Order\""), "last");
  const auto altered = [&](const std::string& sql) -> Sheet& {
    added.reset();
    store.reset();
    if (!sql.empty()) alter(path(), sql);
    store = openFolder();
    return store->folder().sheets[0];
  };
  const Sheet& sheet = altered("UPDATE \"Order\" SET share = NULL");
  EXPECT_EQ(sheet.share, 1);
  EXPECT_EQ(*sheet.weight, std::nullopt) << "it was set to none";
  Sheet& dropped = altered(
      "ALTER TABLE \"Order\" DROP COLUMN share; ALTER TABLE \"Order\" DROP COLUMN weight;"
      "ALTER TABLE \"Order\" DROP COLUMN \"group\"");
  EXPECT_EQ(dropped.share, 1);
  EXPECT_EQ(*dropped.weight, 7);
  FolderManager::modelVersion = "2";
  Sheet& upgraded = altered("");
  EXPECT_EQ(upgraded.share, 1) << "in the column that was added";
  EXPECT_EQ(*upgraded.weight, std::nullopt) << "an added column holds NULL, which is none";
  upgraded.set<&Sheet::title>("again");
  ASSERT_TRUE(store->save(&error)) << error.localizedDescription;
  EXPECT_EQ(ask("SELECT \"group\" FROM \"Order\""), "again");
}

TEST_F(LedgerTest, WrongValuesChangeNothing) {
  auto store = open();
  auto account = addAccount(*store, "Cash");
  addEntry(*account, "Baker");
  for (const qw::Value& wrong :
       {qw::Value(5), qw::Value("x"), qw::Value(), qw::Value(qw::Array{qw::Value()})})
    EXPECT_FALSE(account->setValueForKey(wrong, "entries")) << wrong.description();
  EXPECT_FALSE(account->entries().addObject(nullptr));
  EXPECT_FALSE(account->entries().setObjects({nullptr}));
  EXPECT_EQ(account->entries().size(), 1u);
  EXPECT_EQ(QWDatabaseManager::open<LedgerManager>("", &error), nullptr);
  EXPECT_EQ(qw::make<LedgerManager>()->copy(), nullptr) << "it was never opened";

  // A new object in two lists of changes is one row.
  auto added = addEntry(*account, "Butcher");
  const auto first = store->computeChanges();
  added->setPayee("Grocer");
  const auto second = store->computeChanges();
  ASSERT_TRUE(store->saveChanges(first) && store->saveChanges(second) && store->saveChanges(first));
  EXPECT_EQ(ask("SELECT count(*), count(DISTINCT ID) FROM Entry"), "2|2");
}

TEST_F(LedgerTest, WhatCannotBeReadStaysUntilItIsSet) {
  auto store = open();
  auto account = addAccount(*store, "Cash");
  addEntry(*account, "Baker", 5)->setWarranty(QWDuration(QWDuration::Unit::kYear, 2));
  ASSERT_TRUE(store->save());
  store.reset();
  alter(path(), "UPDATE Entry SET amount = '1,234.5', date = '2024-1-05', detailsJSON = '{bad'");
  const std::string columns = "SELECT amount, date, detailsJSON, warranty FROM Entry";
  store = open();
  auto* entry = &store->ledger().accounts()[0].entries()[0];
  EXPECT_EQ(entry->amount(), 0);
  EXPECT_FALSE(entry->date());
  entry->setPayee("Butcher");
  reopen(store);
  EXPECT_EQ(ask(columns), "1,234.5|2024-1-05|{bad|2");

  entry = &store->ledger().accounts()[0].entries()[0];
  step(*store, [&] { entry->setAmount(7); });
  step(*store, [&] { entry->setDate(std::nullopt); });
  const auto changes = store->computeChanges();
  store->undoManager()->undo();  // after the changes were computed: they hold the values of before
  store->undoManager()->undo();
  ASSERT_TRUE(store->saveChanges(changes, &error)) << error.localizedDescription;
  EXPECT_EQ(ask(columns), "7|NULL|{bad|2");
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask(columns), "1,234.5|2024-1-05|{bad|2") << "undone";
  store->undoManager()->redo();
  store->undoManager()->redo();
  ASSERT_TRUE(store->save());
  EXPECT_EQ(ask(columns), "7|NULL|{bad|2");
}
