#include "model/Records.h"

#include <fmt/format.h>

#include <algorithm>

#include "platform/system/Clock.h"
#include "platform/system/DateText.h"
#include "platform/system/FileManager.h"

namespace {

constexpr std::size_t kMaximumReceipt = std::size_t{16} << 20;

using enum FieldType;

FieldType typeOf(const qw::Property& property) {
  using Kind = qw::Value::Kind;
  const qw::Relation* relation = property.storage ? property.storage->relation : nullptr;
  const qw::Class* target = relation ? &relation->targetClass() : nullptr;
  switch (property.valueKind) {
    case Kind::kDate:
      return kDate;
    case Kind::kDecimal:
      return property.isPercentage ? kPercentage : kAmount;
    case Kind::kInt:
      return kCount;
    case Kind::kBool:
      return kFlag;
    case Kind::kColor:
      return kColor;
    case Kind::kExtension:
      return kDuration;
    case Kind::kImage:
      return kImage;
    case Kind::kObject:
      return target == &Currency::kClass ? kCurrency : target == &Wallet::kClass ? kWallet : kCategory;
    default:
      return kText;
  }
}

/// The fields with these keys; "!" behind a key: required.
std::vector<Field> fieldsOf(const qw::Class& c, std::initializer_list<std::string_view> keys) {
  std::vector<Field> fields;
  for (std::string_view key : keys) {
    const bool isRequired = key.ends_with('!');
    if (isRequired) key.remove_suffix(1);
    const qw::Property& property = *c.property(key);
    fields.push_back({key, typeOf(property), isRequired, property.kind == qw::PropertyKind::kDerived});
  }
  return fields;
}

std::vector<RecordKind> makeKinds() {
  const auto kind = [](std::string_view name, std::string_view plural, const qw::Class& c,
                       std::initializer_list<std::string_view> keys) {
    return RecordKind{name, plural, &c, fieldsOf(c, keys)};
  };
  return {kind("expense", "expenses", Expense::kClass,
               {"date!", "payee", "amount!", "currency!", "category", "wallet!", "cleared", "memo",
                "warranty", "receipt", "month", "year"}),
          kind("wallet", "wallets", Wallet::kClass, {"name!", "currency!", "color"}),
          kind("category", "categories", Category::kClass,
               {"name!", "parent", "color", "budget", "share!", "path"}),
          kind("currency", "currencies", Currency::kClass, {"code!", "symbol", "fractionDigits!", "rate!"}),
          kind("book", "books", Book::kClass, {"homeCurrency!"})};
}

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 1, std::move(message));
}

template <class T>
qw::Value valueOf(const std::optional<T>& value) {
  return value ? qw::ValueTraits<T>::toValue(*value) : qw::Value();
}

qw::Value valueOf(QWDatabaseObject* record) { return record; }

std::optional<std::int64_t> readCount(std::string_view text) {
  const auto number = Texts::readNumber(text);
  return number && !number->isNegative() ? number->toInt64() : std::nullopt;
}

qw::Value readImage(std::string_view path) {
  auto bytes = qw::FileManager::contents(std::filesystem::path(path), kMaximumReceipt);
  return bytes ? valueOf(qw::Image::fromPNG(*std::move(bytes))) : qw::Value();
}

/// What the text should have been.
std::string_view expectation(FieldType type) {
  switch (type) {
    case kDate:
      return "a date";
    case kAmount:
      return "a number";
    case kCount:
      return "a whole number";
    case kPercentage:
      return "a percentage";
    case kFlag:
      return "\"yes\" or \"no\"";
    case kColor:
      return "a colour like #1e90ff";
    case kDuration:
      return "a duration like \"2 years\"";
    case kImage:
      return "a PNG file of at most 16 MiB";
    case kCurrency:
      return "a currency of the book";
    case kWallet:
      return "a wallet of the book";
    case kCategory:
      return "a category of the book";
    case kText:
      break;
  }
  return "a text";
}

/// Whether another record of the same list is called the same.
template <class T>
bool isTaken(const qw::Children<T>& siblings, const T& record, const std::string& (T::*name)() const) {
  return std::any_of(siblings.begin(), siblings.end(), [&](const T& sibling) {
    return &sibling != &record && (sibling.*name)() == (record.*name)();
  });
}

bool nameIsTaken(const QWDatabaseObject& record) {
  if (record.isKindOf(Wallet::kClass)) {
    const auto& wallet = static_cast<const Wallet&>(record);
    return isTaken(wallet.book()->wallets(), wallet, &Wallet::name);
  }
  if (record.isKindOf(Currency::kClass)) {
    const auto& currency = static_cast<const Currency&>(record);
    return isTaken(currency.book()->currencies(), currency, &Currency::code);
  }
  if (record.isKindOf(Category::kClass)) {
    const auto& category = static_cast<const Category&>(record);
    return category.parent() && isTaken(category.parent()->categories(), category, &Category::name);
  }
  return false;
}

}  // namespace

const Field* RecordKind::field(std::string_view key) const {
  const auto found = std::find_if(fields.begin(), fields.end(), [&](const Field& f) { return f.key == key; });
  return found == fields.end() ? nullptr : &*found;
}

namespace Records {

std::span<const RecordKind> kinds() {
  static const std::vector<RecordKind> kinds = makeKinds();
  return kinds;
}
const RecordKind& expenses() { return kinds()[0]; }

const RecordKind* kindNamed(std::string_view name) {
  for (const RecordKind& kind : kinds())
    if (kind.name == name) return &kind;
  return nullptr;
}

const RecordKind* kindOf(const QWDatabaseObject& record) {
  for (const RecordKind& kind : kinds())
    if (record.isKindOf(*kind.recordClass)) return &kind;
  return nullptr;
}

std::vector<QWDatabaseObject*> all(const RecordKind& kind, Book& book) {
  std::vector<QWDatabaseObject*> records;
  if (kind.recordClass == &Book::kClass) records.push_back(&book);
  if (kind.recordClass == &Currency::kClass)
    for (Currency& currency : book.currencies()) records.push_back(&currency);
  if (kind.recordClass == &Wallet::kClass)
    for (Wallet& wallet : book.wallets()) records.push_back(&wallet);
  if (kind.recordClass == &Expense::kClass)
    for (Wallet& wallet : book.wallets())
      for (Expense& expense : wallet.expenses()) records.push_back(&expense);
  if (kind.recordClass == &Category::kClass) {
    std::vector<Category*> open{&book.rootCategory()};
    while (!open.empty()) {
      Category* category = open.back();
      open.pop_back();
      if (category->parent()) records.push_back(category);
      for (std::size_t i = category->categories().size(); i-- > 0;)
        open.push_back(&category->categories()[i]);
    }
  }
  return records;
}

std::string counted(std::size_t count, const RecordKind& kind) {
  return Texts::counted(count, kind.name, kind.plural);
}

std::optional<qw::Value> read(const Field& field, std::string_view text, const BookIndex& index,
                              qw::Error* error) {
  text = Texts::trimmed(text);
  qw::Value value;
  switch (text.empty() ? kText : field.type) {
    case kText:
      value = text.empty() ? qw::Value() : qw::Value(text);
      break;
    case kDate:
      value = valueOf(Texts::readDate(text));
      break;
    case kAmount:
      value = valueOf(Texts::readNumber(text));
      break;
    case kCount:
      value = valueOf(readCount(text));
      break;
    case kPercentage:
      value = valueOf(Texts::readPercentage(text));
      break;
    case kFlag:
      value = valueOf(Texts::readFlag(text));
      break;
    case kColor:
      value = valueOf(qw::Color::fromWebColor(text));
      break;
    case kDuration:
      value = valueOf(Texts::readDuration(text));
      break;
    case kImage:
      value = readImage(text);
      break;
    case kCurrency:
      value = valueOf(index.currency(text));
      break;
    case kWallet:
      value = valueOf(index.wallet(text));
      break;
    case kCategory:
      value = valueOf(index.category(text));
      break;
  }
  if (value.isNull() && !text.empty()) {
    fail(error, fmt::format("{}: \"{}\" is not {}", field.key, text, expectation(field.type)));
    return std::nullopt;
  }
  if (value.isNull() && field.required) {
    fail(error, fmt::format("{} must not be empty", field.key));
    return std::nullopt;
  }
  return value;
}

std::string text(const Field& field, const QWDatabaseObject& record) {
  const qw::Value value = record.valueForKey(field.key);
  if (value.isNull()) return {};
  switch (field.type) {
    case kDate:
      return qw::DateText::dateText(*value.date());
    case kAmount:
      return value.decimalValue()->text();
    case kPercentage:
      return Texts::percentage(*value.decimalValue());
    case kFlag:
      return value.boolValue() ? "yes" : "no";
    case kColor:
      return value.color()->webColor();
    case kDuration:
      return Texts::duration(*qw::ValueTraits<QWDuration>::fromValue(value));
    case kImage:
      return fmt::format("{}x{}", value.image()->pixelWidth(), value.image()->pixelHeight());
    case kCurrency:
      return value.objectAs<Currency>()->code();
    case kWallet:
      return value.objectAs<Wallet>()->name();
    case kCategory:
      return value.objectAs<Category>()->path();
    case kText:
    case kCount:
      break;
  }
  return value.description();
}

bool set(QWDatabaseObject& record, const std::vector<FieldValue>& values, qw::Error* error) {
  for (const auto& [field, value] : values) {
    if (field->key == "parent") {
      // Below itself a category would be out of everybody's reach.
      const auto parent = value.objectAs<Category>();
      const auto& category = static_cast<const Category&>(record);
      if (parent && (parent.get() == &category || parent->isBelow(category)))
        return fail(error, "a category cannot lie below itself");
      QWDatabaseManager* store = record.databaseManager();
      auto& root = static_cast<Book&>(*store->rootObject()).rootCategory();
      if (!record.setValueForKey(parent ? value : valueOf(&root), field->key))
        return fail(error, fmt::format("{} cannot be set", field->key));
    } else if (!record.setValueForKey(value, field->key)) {
      return fail(error, fmt::format("{} cannot be set", field->key));
    }
  }
  if (const std::string fault = faultOf(record); !fault.empty()) return fail(error, fault);
  if (nameIsTaken(record))
    return fail(error, fmt::format("there is another {} of that name", kindOf(record)->name));
  return true;
}

std::shared_ptr<QWDatabaseObject> make(const RecordKind& kind, const std::vector<FieldValue>& values,
                                       BookIndex& index, qw::Error* error) {
  const auto given = [&](std::string_view key) {
    const auto found =
        std::find_if(values.begin(), values.end(), [&](const auto& v) { return v.field->key == key; });
    return found == values.end() ? qw::Value() : found->value;
  };
  Book& book = index.book();
  std::shared_ptr<QWDatabaseObject> record;
  if (kind.recordClass == &Expense::kClass) {
    auto wallet = given("wallet").objectAs<Wallet>();
    if (!wallet && book.wallets().size() == 1) wallet = book.wallets().at(0);
    if (!wallet) return fail(error, "say which wallet with wallet=NAME"), nullptr;
    if (given("amount").isNull()) return fail(error, "say the amount with amount=NUMBER"), nullptr;
    const auto expense = wallet->expenses().create();
    expense->setDate(*qw::DateText::readDate(qw::DateText::dateText(qw::Clock::now())));
    expense->setCurrency(wallet->currency());
    record = expense;
  } else if (kind.recordClass == &Wallet::kClass) {
    const auto wallet = book.wallets().create();
    wallet->setCurrency(book.homeCurrency());
    record = wallet;
  } else if (kind.recordClass == &Category::kClass) {
    record = book.rootCategory().categories().create();
  } else if (kind.recordClass == &Currency::kClass) {
    record = book.currencies().create();
  } else {
    return fail(error, "a file holds one book"), nullptr;
  }
  if (set(*record, values, error)) return record;
  record->deleteObject(false);
  return nullptr;
}

std::string faultOf(const QWDatabaseObject& record) {
  const RecordKind* kind = kindOf(record);
  if (!kind) return {};
  for (const Field& field : kind->fields) {
    const qw::Value value = record.valueForKey(field.key);
    const bool isEmpty = value.isNull() || (value.text() && value.text()->empty());
    // The root category stands above all names.
    const bool isRoot = record.isKindOf(Category::kClass) && !static_cast<const Category&>(record).parent();
    if (field.required && isEmpty && !isRoot) return fmt::format("{} must not be empty", field.key);
    if (field.type == kAmount && !isEmpty && value.decimalValue().value_or(qw::Decimal::nan()).isNaN())
      return fmt::format("{} is not a number", field.key);
  }
  if (record.isKindOf(Category::kClass) &&
      static_cast<const Category&>(record).name().find('/') != std::string::npos)
    return "the name of a category must not contain \"/\"";
  if (record.isKindOf(Currency::kClass)) {
    const auto& currency = static_cast<const Currency&>(record);
    if (currency.rate() <= 0) return "the rate must be above 0";
    if (currency.fractionDigits() < 0 || currency.fractionDigits() > 10)
      return "fractionDigits must be from 0 to 10";
  }
  return {};
}

}  // namespace Records
