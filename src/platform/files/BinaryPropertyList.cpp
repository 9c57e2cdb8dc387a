// The binary format of property lists: the header "bplist00", the objects, a table of their offsets, and a
// trailer of 32 bytes (unused, width of an offset, width of a reference, number of objects, number of the
// root, place of the table), all numbers big-endian. An object begins with a marker byte: type above, length
// or a power of two below.
#include <unicode/ustring.h>

#include <algorithm>
#include <array>
#include <bit>
#include <limits>

#include "platform/files/PropertyList.h"

namespace qw {
namespace {

constexpr std::string_view kHeader = "bplist00";
constexpr std::size_t kTrailerSize = 32;

enum Marker : std::uint8_t {
  kNullMarker = 0x00,
  kFalseMarker = 0x08,
  kTrueMarker = 0x09,
  kIntegerMarker = 0x10,
  kRealMarker = 0x20,
  kDateMarker = 0x30,
  kDataMarker = 0x40,
  kAsciiMarker = 0x50,
  kUTF16Marker = 0x60,
  kUIDMarker = 0x80,
  kArrayMarker = 0xA0,
  kSetMarker = 0xC0,
  kDictionaryMarker = 0xD0
};

std::uint64_t readNumber(const std::uint8_t* bytes, std::size_t width) {
  std::uint64_t number = 0;
  for (std::size_t i = 0; i < width; ++i) number = number << 8 | bytes[i];
  return number;
}

void appendNumber(std::vector<std::uint8_t>& out, std::uint64_t number, std::size_t width) {
  for (std::size_t i = width; i-- > 0;) out.push_back(static_cast<std::uint8_t>(number >> (8 * i)));
}

/// 1, 2, 4 or 8: the bytes that hold `number`; and which power of two that is.
std::size_t widthPower(std::uint64_t number) {
  return number <= 0xFF ? 0 : number <= 0xFFFF ? 1 : number <= 0xFFFF'FFFF ? 2 : 3;
}
std::size_t widthOf(std::uint64_t number) { return std::size_t{1} << widthPower(number); }

bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

}  // namespace

/// Reads all objects in one pass, each within the bytes that no other object has used up, then walks from the
/// root for cycles and depth.
class BinaryPropertyListReader {
 public:
  BinaryPropertyListReader(std::span<const std::uint8_t> bytes, const PropertyList::Limits& limits,
                           Error* error)
      : bytes_(bytes), limits_(limits), error_(error) {}

  std::optional<PropertyList> read() {
    if (!readTrailer() || !readObjects() || !checkReferences() || !checkDepth()) return std::nullopt;
    return std::move(list_);
  }

 private:
  using Index = PropertyList::Index;
  using Type = PropertyList::Type;
  using Node = PropertyList::Node;

  bool damaged(std::string_view what) {
    return Error::set(error_, PropertyList::kErrorDomain, PropertyList::kDamaged,
                      "The property list is damaged: " + std::string(what) + ".");
  }
  bool tooLarge(std::string_view what) {
    return Error::set(error_, PropertyList::kErrorDomain, PropertyList::kTooLarge,
                      "The property list is too large: " + std::string(what) + ".");
  }

  bool readTrailer() {
    if (bytes_.size() > std::min<std::size_t>(limits_.size, std::numeric_limits<std::uint32_t>::max())) {
      return tooLarge("its size exceeds the limit");
    }
    if (bytes_.size() < kHeader.size() + kTrailerSize) return damaged("it ends too early");
    if (!std::equal(kHeader.begin(), kHeader.end(), bytes_.begin())) return damaged("it has no header");
    const std::uint8_t* trailer = bytes_.data() + bytes_.size() - kTrailerSize;
    offsetWidth_ = trailer[6];
    referenceWidth_ = trailer[7];
    const std::uint64_t count = readNumber(trailer + 8, 8);
    const std::uint64_t root = readNumber(trailer + 16, 8);
    const std::uint64_t table = readNumber(trailer + 24, 8);
    if (offsetWidth_ < 1 || offsetWidth_ > 8 || referenceWidth_ < 1 || referenceWidth_ > 8) {
      return damaged("its trailer has a wrong width");
    }
    if (table < kHeader.size() || table > bytes_.size() - kTrailerSize)
      return damaged("it has no offset table");
    if (count == 0 || count > (bytes_.size() - kTrailerSize - table) / offsetWidth_) {
      return damaged("its number of objects is wrong");
    }
    if (count > limits_.objects) return tooLarge("it has more objects than the limit");
    if (root >= count) return damaged("its root does not exist");
    count_ = static_cast<std::size_t>(count);
    end_ = static_cast<std::size_t>(table);
    list_.root_ = static_cast<Index>(root);
    return true;
  }

  bool readObjects() {
    list_.nodes_.resize(count_);
    unused_ = end_ - kHeader.size();
    for (std::size_t i = 0; i < count_; ++i) {
      const std::uint64_t offset = readNumber(bytes_.data() + end_ + i * offsetWidth_, offsetWidth_);
      if (offset < kHeader.size() || offset >= end_) return damaged("an offset is wrong");
      position_ = static_cast<std::size_t>(offset);
      if (!readObject(list_.nodes_[i])) return false;
    }
    return true;
  }

  /// Takes `count` items of `width` bytes from the place of the current object; null after an error.
  const std::uint8_t* take(std::uint64_t count, std::size_t width = 1) {
    if (count > (end_ - position_) / width) {
      damaged("an object ends too late");
      return nullptr;
    }
    const std::size_t size = static_cast<std::size_t>(count) * width;
    if (size > unused_) {
      damaged("objects overlap");
      return nullptr;
    }
    const std::uint8_t* at = bytes_.data() + position_;
    unused_ -= size;
    position_ += size;
    return at;
  }

  bool readObject(Node& node) {
    const std::uint8_t* at = take(1);
    if (!at) return false;
    const std::uint8_t marker = *at;
    const std::uint8_t low = marker & 0x0F;
    switch (marker & 0xF0) {
      case 0:
        if (marker == kNullMarker) return true;
        if (marker != kFalseMarker && marker != kTrueMarker) break;
        node.type = Type::kBoolean;
        node.payload = marker == kTrueMarker;
        return true;
      case kIntegerMarker:
        node.type = Type::kInteger;
        return readInteger(low, node.payload);
      case kRealMarker:
        node.type = Type::kReal;
        return readReal(low, node.payload);
      case kDateMarker:
        return readDate(low, node);
      case kUIDMarker:
        if (low > 7) break;
        node.type = Type::kUID;
        at = take(low + 1U);
        if (!at) return false;
        node.payload = readNumber(at, low + 1U);
        return true;
      case kDataMarker:
      case kAsciiMarker:
      case kUTF16Marker:
        return readText(static_cast<Marker>(marker & 0xF0), low, node);
      case kArrayMarker:
        return readContainer(Type::kArray, low, node);
      case kSetMarker:
        return readContainer(Type::kSet, low, node);
      case kDictionaryMarker:
        return readContainer(Type::kDictionary, low, node);
      default:
        break;
    }
    return damaged("an object has an unknown type");
  }

  /// The bits of the number, with its sign.
  bool readInteger(std::uint8_t power, std::uint64_t& out) {
    if (power > 4) return damaged("an integer has a wrong width");
    const std::size_t width = std::size_t{1} << power;
    const std::uint8_t* at = take(width);
    if (!at) return false;
    if (width == 16) {
      const std::uint64_t high = readNumber(at, 8);
      at += 8;
      if (high != (at[0] & 0x80 ? ~std::uint64_t{0} : 0)) return damaged("an integer does not fit 64 bits");
    }
    out = readNumber(at, std::min<std::size_t>(width, 8));
    return true;
  }

  /// The bits of the number as a double.
  bool readReal(std::uint8_t power, std::uint64_t& out) {
    if (power != 2 && power != 3) return damaged("a real number has a wrong width");
    const std::size_t width = std::size_t{1} << power;
    const std::uint8_t* at = take(width);
    if (!at) return false;
    out = readNumber(at, width);
    if (width == 4) {
      out = std::bit_cast<std::uint64_t>(double{std::bit_cast<float>(static_cast<std::uint32_t>(out))});
    }
    return true;
  }

  bool readDate(std::uint8_t power, Node& node) {
    std::uint64_t bits = 0;
    if (power != 3) return damaged("a date has a wrong width");
    if (!readReal(power, bits)) return false;
    const std::optional<Date> date = PropertyList::dateFromSecondsSince2001(std::bit_cast<double>(bits));
    if (!date) return damaged("a date is out of range");
    node.type = Type::kDate;
    node.payload = static_cast<std::uint64_t>(date->microseconds());
    return true;
  }

  bool readCount(std::uint8_t low, std::uint64_t& count) {
    count = low;
    if (low != 0x0F) return true;
    const std::uint8_t* at = take(1);
    if (!at) return false;
    if ((*at & 0xF0) != kIntegerMarker || !readInteger(*at & 0x0F, count) || count > bytes_.size()) {
      return damaged("an object has a wrong length");
    }
    return true;
  }

  bool readText(Marker marker, std::uint8_t low, Node& node) {
    std::uint64_t count = 0;
    if (!readCount(low, count)) return false;
    const std::uint8_t* at = take(count, marker == kUTF16Marker ? 2 : 1);
    if (!at) return false;
    node.type = marker == kDataMarker ? Type::kData : Type::kText;
    node.payload = list_.bytes_.size();
    if (marker != kUTF16Marker) {
      const std::string_view text(reinterpret_cast<const char*>(at), static_cast<std::size_t>(count));
      if (marker == kAsciiMarker && !isAscii(text)) return damaged("a text is not ASCII");
      list_.bytes_.append(text);
    } else if (!appendUTF16(at, static_cast<std::size_t>(count))) {
      return damaged("a text is not UTF-16");
    }
    node.count = static_cast<std::uint32_t>(list_.bytes_.size() - node.payload);
    return true;
  }

  bool appendUTF16(const std::uint8_t* at, std::size_t count) {
    units_.resize(count);
    for (std::size_t i = 0; i < count; ++i) units_[i] = static_cast<char16_t>(readNumber(at + 2 * i, 2));
    const std::size_t start = list_.bytes_.size();
    if (count > std::numeric_limits<std::int32_t>::max() / 3) return false;
    list_.bytes_.resize(start + count * 3);
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t length = 0;
    u_strToUTF8(list_.bytes_.data() + start, static_cast<std::int32_t>(count * 3), &length, units_.data(),
                static_cast<std::int32_t>(count), &status);
    if (U_FAILURE(status)) return false;
    list_.bytes_.resize(start + static_cast<std::size_t>(length));
    return true;
  }

  bool readContainer(Type type, std::uint8_t low, Node& node) {
    const std::size_t parts = type == Type::kDictionary ? 2 : 1;
    std::uint64_t count = 0;
    if (!readCount(low, count)) return false;
    const std::uint8_t* at = take(count, referenceWidth_ * parts);
    if (!at) return false;
    node.type = type;
    node.payload = list_.references_.size();
    node.count = static_cast<std::uint32_t>(count);
    for (std::size_t i = 0; i < count * parts; ++i) {
      const std::uint64_t reference = readNumber(at + i * referenceWidth_, referenceWidth_);
      if (reference >= count_) return damaged("a reference is wrong");
      list_.references_.push_back(static_cast<Index>(reference));
    }
    return true;
  }

  bool checkReferences() {
    for (Index i = 0; i < count_; ++i) {
      if (list_.type(i) != Type::kDictionary) continue;
      for (const Index key : list_.keys(i)) {
        if (list_.type(key) != Type::kText) return damaged("a key is no text");
      }
    }
    return true;
  }

  std::span<const Index> childrenOf(Index index) const {
    const Node& node = list_.nodes_[index];
    if (node.type == Type::kDictionary) return list_.values(index);
    if (node.type == Type::kArray || node.type == Type::kSet) return list_.elements(index);
    return {};
  }

  /// One visit of each container reachable from the root: its height is one more than its highest child's.
  bool checkDepth() {
    constexpr std::uint32_t kOpen = UINT32_MAX;
    struct Visit {
      Index node;
      std::uint32_t next = 0;
      std::uint32_t height = 1;
    };
    std::vector<std::uint32_t> heights(count_, 0);
    std::vector<Visit> path{{list_.root()}};
    heights[list_.root()] = kOpen;
    while (!path.empty()) {
      Visit& visit = path.back();
      const std::span<const Index> children = childrenOf(visit.node);
      if (visit.next < children.size()) {
        const Index child = children[visit.next++];
        if (list_.type(child) < Type::kArray) continue;
        if (heights[child] == kOpen) return damaged("a container holds itself");
        if (path.size() + std::max(heights[child], 1U) > limits_.depth) {
          return tooLarge("its containers are nested too deeply");
        }
        if (heights[child] != 0) {
          visit.height = std::max(visit.height, heights[child] + 1);
        } else {
          heights[child] = kOpen;
          path.push_back({child});
        }
        continue;
      }
      const std::uint32_t height = visit.height;
      heights[visit.node] = height;
      path.pop_back();
      if (!path.empty()) path.back().height = std::max(path.back().height, height + 1);
    }
    return true;
  }

  std::span<const std::uint8_t> bytes_;
  const PropertyList::Limits& limits_;
  Error* error_;
  PropertyList list_;
  std::size_t offsetWidth_ = 0;
  std::size_t referenceWidth_ = 0;
  std::size_t count_ = 0;
  std::size_t end_ = 0;       // of the objects: where the offset table begins
  std::size_t unused_ = 0;    // bytes of objects not yet read; keeps overlapping objects from multiplying
  std::size_t position_ = 0;  // the next byte of the current object
  std::vector<char16_t> units_;
};

std::optional<PropertyList> PropertyList::read(std::span<const std::uint8_t> bytes, const Limits& limits,
                                               Error* error) {
  return BinaryPropertyListReader(bytes, limits, error).read();
}

namespace {

class BinaryPropertyListWriter {
 public:
  explicit BinaryPropertyListWriter(const PropertyList& list)
      : list_(list), referenceWidth_(widthOf(list.size() - 1)) {}

  /// Nothing when a text is not UTF-8.
  std::optional<std::vector<std::uint8_t>> write() {
    out_.insert(out_.end(), kHeader.begin(), kHeader.end());
    std::vector<std::uint64_t> offsets(list_.size());
    for (Index i = 0; i < list_.size(); ++i) {
      offsets[i] = out_.size();
      if (!writeObject(i)) return std::nullopt;
    }
    const std::size_t table = out_.size();
    const std::size_t offsetWidth = widthOf(offsets.back());
    for (const std::uint64_t offset : offsets) appendNumber(out_, offset, offsetWidth);
    out_.insert(out_.end(), 6, 0);
    appendNumber(out_, offsetWidth, 1);
    appendNumber(out_, referenceWidth_, 1);
    appendNumber(out_, list_.size(), 8);
    appendNumber(out_, list_.root(), 8);
    appendNumber(out_, table, 8);
    return std::move(out_);
  }

 private:
  using Index = PropertyList::Index;
  using Type = PropertyList::Type;

  bool writeObject(Index index) {
    switch (list_.type(index)) {
      case Type::kNull:
        out_.push_back(kNullMarker);
        return true;
      case Type::kBoolean:
        out_.push_back(list_.boolean(index) ? kTrueMarker : kFalseMarker);
        return true;
      case Type::kInteger:
        writeInteger(list_.integer(index));
        return true;
      case Type::kReal:
        out_.push_back(kRealMarker | 3);
        appendNumber(out_, std::bit_cast<std::uint64_t>(list_.real(index)), 8);
        return true;
      case Type::kDate:
        out_.push_back(kDateMarker | 3);
        appendNumber(out_, std::bit_cast<std::uint64_t>(PropertyList::secondsSince2001(list_.date(index))),
                     8);
        return true;
      case Type::kUID: {
        const std::size_t width = widthOf(list_.uid(index));
        out_.push_back(static_cast<std::uint8_t>(kUIDMarker | (width - 1)));
        appendNumber(out_, list_.uid(index), width);
        return true;
      }
      case Type::kData: {
        const std::span<const std::uint8_t> bytes = list_.bytes(index);
        writeMarker(kDataMarker, bytes.size());
        out_.insert(out_.end(), bytes.begin(), bytes.end());
        return true;
      }
      case Type::kText:
        return writeText(list_.text(index));
      case Type::kArray:
        writeContainer(kArrayMarker, list_.elements(index), {});
        return true;
      case Type::kSet:
        writeContainer(kSetMarker, list_.elements(index), {});
        return true;
      case Type::kDictionary:
        writeContainer(kDictionaryMarker, list_.keys(index), list_.values(index));
        return true;
    }
    return false;
  }

  void writeInteger(std::int64_t number) {
    const std::uint64_t bits = static_cast<std::uint64_t>(number);  // a negative number has all 8 bytes
    out_.push_back(static_cast<std::uint8_t>(kIntegerMarker | widthPower(bits)));
    appendNumber(out_, bits, widthOf(bits));
  }

  void writeMarker(Marker marker, std::size_t count) {
    out_.push_back(static_cast<std::uint8_t>(marker | std::min<std::size_t>(count, 0x0F)));
    if (count >= 0x0F) writeInteger(static_cast<std::int64_t>(count));
  }

  bool writeText(std::string_view text) {
    if (isAscii(text)) {
      writeMarker(kAsciiMarker, text.size());
      out_.insert(out_.end(), text.begin(), text.end());
      return true;
    }
    if (text.size() > std::numeric_limits<std::int32_t>::max()) return false;
    units_.resize(text.size());
    UErrorCode status = U_ZERO_ERROR;
    std::int32_t length = 0;
    const auto size = static_cast<std::int32_t>(text.size());
    u_strFromUTF8(units_.data(), size, &length, text.data(), size, &status);
    if (U_FAILURE(status)) return false;
    writeMarker(kUTF16Marker, static_cast<std::size_t>(length));
    for (std::size_t i = 0; i < static_cast<std::size_t>(length); ++i) appendNumber(out_, units_[i], 2);
    return true;
  }

  void writeContainer(Marker marker, std::span<const Index> first, std::span<const Index> second) {
    writeMarker(marker, first.size());
    for (const Index index : first) appendNumber(out_, index, referenceWidth_);
    for (const Index index : second) appendNumber(out_, index, referenceWidth_);
  }

  const PropertyList& list_;
  std::size_t referenceWidth_;
  std::vector<std::uint8_t> out_;
  std::vector<char16_t> units_;
};

}  // namespace

std::optional<Data> PropertyList::write(Error* error) const {
  if (root_ >= nodes_.size() || overflowed_) {
    Error::set(
        error, kErrorDomain, kUnrepresentable,
        overflowed_ ? "The property list is too large for its format." : "The property list has no root.");
    return std::nullopt;
  }
  std::optional<std::vector<std::uint8_t>> bytes = BinaryPropertyListWriter(*this).write();
  if (!bytes) {
    Error::set(error, kErrorDomain, kUnrepresentable, "A text of the property list is not UTF-8.");
    return std::nullopt;
  }
  return Data(std::move(*bytes));
}

}  // namespace qw
