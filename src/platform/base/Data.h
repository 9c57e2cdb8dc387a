#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Export.h"

namespace qw {

/// An immutable run of bytes. Copies share the bytes; the empty value and "no data" are told apart by the
/// caller (an optional or a null `Value`), not here.
class QW_EXPORT Data {
 public:
  Data() = default;
  /// Takes the bytes over without a copy.
  explicit Data(std::vector<std::uint8_t> bytes)
      : bytes_(bytes.empty() ? nullptr
                             : std::make_shared<const std::vector<std::uint8_t>>(std::move(bytes))) {}
  /// A copy of the bytes.
  explicit Data(std::span<const std::uint8_t> bytes)
      : bytes_(bytes.empty()
                   ? nullptr
                   : std::make_shared<const std::vector<std::uint8_t>>(bytes.begin(), bytes.end())) {}
  /// The bytes of a text, without a terminating zero.
  static Data fromText(std::string_view text) {
    return Data(std::span(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
  }

  /// In bytes.
  std::size_t size() const { return bytes_ ? bytes_->size() : 0; }
  /// Whether there are no bytes.
  bool empty() const { return size() == 0; }
  /// Valid while any copy of this value lives; null when empty.
  const std::uint8_t* data() const { return bytes_ ? bytes_->data() : nullptr; }
  /// All bytes; valid while any copy of this value lives.
  std::span<const std::uint8_t> bytes() const { return {data(), size()}; }
  /// The bytes seen as text; nothing is decoded or checked.
  std::string_view text() const { return {reinterpret_cast<const char*>(data()), size()}; }

  friend bool operator==(const Data& a, const Data& b) {
    return a.bytes_ == b.bytes_ || a.text() == b.text();
  }

 private:
  std::shared_ptr<const std::vector<std::uint8_t>> bytes_;
};

}  // namespace qw
