#include "platform/object/SortDescriptor.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <deque>

#include "platform/system/Collation.h"

namespace qw {
namespace {

template <class T>
int order(const T& a, const T& b) {
  return a < b ? -1 : b < a ? 1 : 0;
}

/// As `Value::compare` for borrowed values; NaN comes before all other numbers.
int compareViews(const ValueView& a, const ValueView& b) {
  using Kind = ValueView::Kind;
  if (a.kind() != b.kind()) {
    return a.isNull() ? -1 : b.isNull() ? 1 : Value::compare(a.toValue(), b.toValue());
  }
  switch (a.kind()) {
    case Kind::kNull:
      return 0;
    case Kind::kBool:
    case Kind::kInt:
      return order(a.integer(), b.integer());
    case Kind::kDouble:
      if (std::isnan(a.real()) || std::isnan(b.real())) return std::isnan(b.real()) - std::isnan(a.real());
      return order(a.real(), b.real());
    case Kind::kDecimal:
      return order(a.decimal(), b.decimal());
    case Kind::kText:
      return order(a.text(), b.text());
    case Kind::kDate:
      return order(a.date(), b.date());
    case Kind::kObject:
      return a.object() == b.object() ? 0 : a.object()->compare(*b.object());
    case Kind::kValue:
      return Value::compare(a.value(), b.value());
  }
  return 0;
}

/// Kinds with one order among themselves, which a prefix can show.
enum class Family : std::uint8_t { kNull, kNumber, kText, kDate, kOther };

Family familyOf(const ValueView& view) {
  switch (view.kind()) {
    case ValueView::Kind::kNull:
      return Family::kNull;
    case ValueView::Kind::kBool:
    case ValueView::Kind::kInt:
    case ValueView::Kind::kDouble:
    case ValueView::Kind::kDecimal:
      return Family::kNumber;
    case ValueView::Kind::kText:
      return Family::kText;
    case ValueView::Kind::kDate:
      return Family::kDate;
    case ValueView::Kind::kObject:
      return Family::kOther;
    case ValueView::Kind::kValue:
      return view.value().isNumber() ? Family::kNumber : Family::kOther;
  }
  return Family::kOther;
}

double realOf(const ValueView& view) {
  switch (view.kind()) {
    case ValueView::Kind::kBool:
    case ValueView::Kind::kInt:
      return static_cast<double>(view.integer());
    case ValueView::Kind::kDouble:
      return view.real();
    case ValueView::Kind::kDecimal:
      return view.decimal().toDouble();
    default:
      return view.value().doubleValue();
  }
}

constexpr std::uint64_t kSignBit = std::uint64_t{1} << 63;

/// 64 bits that are never greater for a lesser value of the same family, so that most comparisons need no
/// more.
std::uint64_t prefixOf(const ValueView& view) {
  switch (familyOf(view)) {
    case Family::kNumber: {
      const double real = realOf(view) + 0.0;  // 0 and -0 are equal
      if (std::isnan(real)) return 0;
      const auto bits = std::bit_cast<std::uint64_t>(real);
      return bits & kSignBit ? ~bits : bits | kSignBit;
    }
    case Family::kText: {
      std::uint64_t prefix = 0;
      const std::string_view text = view.text();
      for (std::size_t i = 0; i < 8; ++i) {
        prefix = prefix << 8 | (i < text.size() ? static_cast<unsigned char>(text[i]) : 0);
      }
      return prefix;
    }
    case Family::kDate:
      return static_cast<std::uint64_t>(view.date().microseconds()) ^ kSignBit;
    default:
      return 0;
  }
}

}  // namespace

SortDescriptor::SortDescriptor(std::string_view keyPath, Order order, Comparison comparison)
    : keyPath_(keyPath), order_(order), comparison_(comparison) {}

SortDescriptor::SortDescriptor(std::string_view keyPath, Order order, Comparator comparator)
    : keyPath_(keyPath),
      order_(order),
      comparison_(Comparison::kCustom),
      comparator_(std::make_shared<const Comparator>(std::move(comparator))) {}

std::optional<std::vector<SortDescriptor>> SortDescriptor::fromText(std::string_view text, const Class* c,
                                                                    Error* error) {
  const auto fail = [error](std::string description) {
    Error::set(error, kErrorDomain, kUnreadable, std::move(description));
    return std::nullopt;
  };
  std::vector<SortDescriptor> descriptors;
  for (;;) {
    const std::size_t comma = text.find(',');
    std::string_view path = text.substr(0, comma);
    Order order = Order::kAscending;
    if (path.starts_with('-') || path.starts_with('+')) {
      if (path.front() == '-') order = Order::kDescending;
      path.remove_prefix(1);
    }
    Comparison comparison = Comparison::kNatural;
    if (const std::size_t colon = path.find(':'); colon != std::string_view::npos) {
      const std::string_view name = path.substr(colon + 1);
      if (name != "localized" && name != "nocase")
        return fail("Unknown comparison \"" + std::string(name) + "\".");
      comparison =
          name == "localized" ? Comparison::kLocalizedStandard : Comparison::kLocalizedCaseInsensitive;
      path = path.substr(0, colon);
    }
    if (path.empty()) return fail("A sort key is empty.");
    const std::string_view key = path.substr(0, path.find('.'));
    if (c && key != "self" && key != "class" && !c->property(key)) {
      return fail("Unknown sort key \"" + std::string(key) + "\".");
    }
    descriptors.emplace_back(path, order, comparison);
    if (comma == std::string_view::npos) return descriptors;
    text.remove_prefix(comma + 1);
  }
}

SortDescriptor SortDescriptor::reversed() const {
  SortDescriptor reversed = *this;
  reversed.order_ = order_ == Order::kAscending ? Order::kDescending : Order::kAscending;
  return reversed;
}

bool operator==(const SortDescriptor& a, const SortDescriptor& b) {
  return a.keyPath() == b.keyPath() && a.order_ == b.order_ && a.comparison_ == b.comparison_ &&
         a.comparator_ == b.comparator_;
}

/// What a descriptor's key path leads to, for all objects of a sort: borrowed where possible, texts that are
/// compared by the locale as their collation keys.
class SortDescriptor::Column {
 public:
  Column(const SortDescriptor& descriptor, std::span<const Object* const> objects) : descriptor_(descriptor) {
    keys_.reserve(objects.size());
    for (const Object* object : objects) keys_.push_back(keyOf(*object));
  }

  int compare(std::size_t a, std::size_t b) const { return descriptor_.compareKeys(keys_[a], keys_[b]); }

  /// For each object a number whose order agrees with that of the column where two differ.
  std::vector<std::uint64_t> prefixes() const {
    std::vector<std::uint64_t> prefixes(keys_.size(), 0);
    if (descriptor_.comparison_ == Comparison::kCustom) return prefixes;
    Family family = Family::kNull;
    for (const ValueView& key : keys_) {
      const Family own = familyOf(key);
      if (own == Family::kNull) continue;
      if (family != Family::kNull && own != family) return prefixes;
      family = own;
    }
    const std::uint64_t flip = descriptor_.order_ == Order::kDescending ? ~std::uint64_t{0} : 0;
    for (std::size_t i = 0; i < keys_.size(); ++i) prefixes[i] = prefixOf(keys_[i]) ^ flip;
    return prefixes;
  }

 private:
  ValueView keyOf(const Object& object) {
    Value scratch;
    const ValueView view = descriptor_.keyPath_.view(object, scratch);
    if (view.kind() == ValueView::Kind::kText && descriptor_.comparison_ != Comparison::kCustom) {
      if (descriptor_.comparison_ == Comparison::kLocalizedStandard)
        return kept(Collation::sortKey(view.text()));
      if (descriptor_.comparison_ == Comparison::kLocalizedCaseInsensitive) {
        return kept(Collation::caseInsensitiveSortKey(view.text()));
      }
    }
    return scratch.isNull() ? view : kept(std::move(scratch));
  }
  ValueView kept(Value value) { return ValueView(kept_.emplace_back(std::move(value))); }

  const SortDescriptor& descriptor_;
  std::vector<ValueView> keys_;
  std::deque<Value> kept_;
};

int SortDescriptor::compareKeys(const ValueView& a, const ValueView& b) const {
  int result;
  if (comparator_ && !a.isNull() && !b.isNull()) {
    result = (*comparator_)(a.toValue(), b.toValue());
  } else {
    result = compareViews(a, b);
  }
  return order_ == Order::kAscending ? result : result < 0 ? 1 : result > 0 ? -1 : 0;
}

int SortDescriptor::compare(const Object& a, const Object& b) const {
  const Object* const objects[] = {&a, &b};
  return Column(*this, objects).compare(0, 1);
}

int SortDescriptor::compare(const Object& a, const Object& b,
                            const std::vector<SortDescriptor>& descriptors) {
  for (const SortDescriptor& descriptor : descriptors) {
    if (const int result = descriptor.compare(a, b)) return result;
  }
  return 0;
}

std::vector<std::size_t> SortDescriptor::sortedPlaces(std::span<const Object* const> objects,
                                                      const std::vector<SortDescriptor>& descriptors) {
  struct Entry {
    std::uint64_t prefix;
    std::size_t place;
  };
  std::vector<Entry> entries(objects.size());
  for (std::size_t i = 0; i < entries.size(); ++i) entries[i] = {0, i};
  std::deque<Column> columns;
  for (const SortDescriptor& descriptor : descriptors) columns.emplace_back(descriptor, objects);
  if (!columns.empty()) {
    const std::vector<std::uint64_t> prefixes = columns.front().prefixes();
    for (Entry& entry : entries) entry.prefix = prefixes[entry.place];
  }
  // A merge sort, which stays within its bounds also when a closure contradicts itself.
  std::stable_sort(entries.begin(), entries.end(), [&columns](const Entry& a, const Entry& b) {
    if (a.prefix != b.prefix) return a.prefix < b.prefix;
    for (const Column& column : columns) {
      if (const int result = column.compare(a.place, b.place)) return result < 0;
    }
    return false;
  });
  std::vector<std::size_t> places;
  places.reserve(entries.size());
  for (const Entry& entry : entries) places.push_back(entry.place);
  return places;
}

}  // namespace qw
