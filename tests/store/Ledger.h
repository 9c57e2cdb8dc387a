#pragma once

#include "platform/system/ApplicationContext.h"
#include "platform/system/TemporaryDirectory.h"
#include "store/model/QWDatabaseManager.h"
#include "store/model/QWLibraryObject.h"
#include "values/numbers/QWCurrency.h"

// A small model with every kind of property: a root with ordered children, a tree, references, owned objects,
// and two classes in one table.

class Account;
class Entry;
class Tag;

class Ledger : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  qw::Children<Account>& accounts() { return accounts_; }
  qw::Children<Tag>& tags() { return tags_; }
  const std::string& title() const { return title_; }
  void setTitle(std::string title) { assign<&Ledger::title_>(std::move(title)); }
  /// Not stored.
  void setCurrency(QWCurrency currency) { currency_ = std::move(currency); }

 private:
  std::optional<QWCurrency> currency_;
  std::string title_;
  qw::Children<Account> accounts_;
  qw::Children<Tag> tags_;
};

class Account : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  Ledger* ledger() const { return ledger_.get(); }
  qw::Children<Entry>& entries() { return entries_; }
  const std::string& name() const { return name_; }
  void setName(std::string name) { assign<&Account::name_>(std::move(name)); }

 private:
  qw::Back<Ledger> ledger_;
  std::string name_;
  qw::Children<Entry> entries_;
};

/// Two classes in the table "Tag", nested to any depth.
class Tag : public QWLibraryObject {
 public:
  static const qw::Class kClass;
  qw::Children<Tag>& tags() { return tags_; }
  Tag* parent() const { return parent_.get(); }

 private:
  qw::Back<Ledger> ledger_;
  qw::Back<Tag> parent_;
  qw::Children<Tag> tags_;
};

class ColoredTag : public Tag {
 public:
  static const qw::Class kClass;
  const std::optional<qw::Color>& color() const { return color_; }
  void setColor(std::optional<qw::Color> color) { assign<&ColoredTag::color_>(color); }

 private:
  std::optional<qw::Color> color_;
};

class Receipt : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  const qw::Data& scan() const { return scan_; }
  void setScan(qw::Data scan) { assign<&Receipt::scan_>(std::move(scan)); }

 private:
  qw::Data scan_;
};

class Entry : public QWDatabaseObject {
 public:
  static const qw::Class kClass;
  const std::string& payee() const { return payee_; }
  void setPayee(std::string payee) { assign<&Entry::payee_>(std::move(payee)); }
  const qw::Decimal& amount() const { return amount_; }
  void setAmount(qw::Decimal amount) { assign<&Entry::amount_>(amount); }
  void setDate(std::optional<qw::Date> date) { assign<&Entry::date_>(date); }
  std::optional<qw::Date> date() const { return date_; }
  void setWarranty(std::optional<QWDuration> warranty) { assign<&Entry::warranty_>(warranty); }
  void setDetails(qw::Value details) { assign<&Entry::details_>(std::move(details)); }
  Tag* tag() const { return tag_.get(); }
  void setTag(Tag* tag) { assign<&Entry::tag_>(tag); }
  std::shared_ptr<Receipt> receipt() const { return receipt_; }
  void setReceipt(std::shared_ptr<Receipt> receipt) { assign<&Entry::receipt_>(std::move(receipt)); }
  Account* account() const { return account_.get(); }
  std::string title() const { return payee_ + " " + amount_.text(); }

 private:
  qw::Back<Account> account_;
  std::optional<qw::Date> date_;
  std::string payee_;
  qw::Decimal amount_;
  std::optional<QWDuration> warranty_;
  qw::Value details_;
  qw::Reference<Tag> tag_;
  std::shared_ptr<Receipt> receipt_;
};

class LedgerManager : public QWDatabaseManager {
 public:
  std::string version() const override { return version_; }
  const qw::Class& rootObjectClass() const override { return Ledger::kClass; }
  std::vector<const qw::Class*> modelClasses() const override;
  Ledger& ledger() const { return static_cast<Ledger&>(*rootObject()); }

  static inline std::string version_ = "1.2";
  int didLoad = 0;

 protected:
  void addInitialData() override { ledger().setTitle("New"); }
  void dataDidLoad() override { ++didLoad; }
};

/// A fresh place for files; nothing of the user's is touched.
class LedgerTest : public testing::Test {
 protected:
  std::filesystem::path path() const { return context_.directory() / "test.ledger"; }
  std::shared_ptr<LedgerManager> open(const QWDatabaseManager::OpenOptions& options = {}) {
    return QWDatabaseManager::open<LedgerManager>(path(), options, &error);
  }
  std::shared_ptr<LedgerManager> reopen(std::shared_ptr<LedgerManager>& store) {
    EXPECT_TRUE(store->save(&error)) << error.localizedDescription;
    store.reset();
    return store = open();
  }
  /// One text from the file, through a connection of its own.
  std::string ask(const std::string& sql) const { return ask(path(), sql); }
  static std::string ask(const std::filesystem::path& path, const std::string& sql);
  /// Every row of every table; the outcome of quick_check before it.
  static std::string dump(const std::filesystem::path& path);
  /// Runs statements of somebody else's on a file.
  static void alter(const std::filesystem::path& path, const std::string& sql);
  /// "QW_LONG_TESTS=1" in the environment asks for the whole of the long tests.
  static bool isLongRun();

  static std::shared_ptr<Account> addAccount(LedgerManager& store, const std::string& name);
  static std::shared_ptr<Entry> addEntry(Account& account, const std::string& payee, std::int64_t amount = 0);
  /// Runs an edit as one undo step.
  static void step(LedgerManager& store, const std::function<void()>& edit);

  qw::ApplicationContext::Override context_;
  qw::Error error;
};

/// A saved store with an account "A" of the entries a, with a receipt, b and c.
class OneStore : public LedgerTest {
 protected:
  void SetUp() override;
  std::shared_ptr<LedgerManager> copyStore() {
    return std::static_pointer_cast<LedgerManager>(store->copy());
  }
  static std::string payees(Account& account);

  std::shared_ptr<LedgerManager> store;
  std::shared_ptr<Account> account;
};
