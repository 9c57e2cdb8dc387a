#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/object/Value.h"

/// Values as JSON texts (RFC 8259) and back. Free functions without state, callable from any thread.
///
/// Numbers stay exact: integers of 64 bits are integers, all others decimals of up to 38 digits; only what
/// the exponent of a decimal cannot hold becomes a double. Null, booleans, texts, arrays and dictionaries are
/// what they are in JSON; dictionaries are ordered by key, and of equal keys the last one counts.
namespace QW_EXPORT QWJSONSerializationAdditions {

/// The domain of `ErrorCode`.
inline constexpr std::string_view kErrorDomain = "QWJSONErrorDomain";
/// Why a text was not read, or a value not written.
enum ErrorCode { kInvalidText = 1, kTooDeep = 2, kNotRepresentable = 3 };

/// How many arrays and dictionaries may lie in each other.
inline constexpr std::size_t kMaximumDepth = 512;

/// How texts are read and written.
struct QW_EXPORT JSONOptions {
  bool fragmentsAllowed = false;  ///< whether a text may be a value other than an array or a dictionary
  bool prettyPrinted = false;     ///< writing: one element a line, indented by two blanks
};

/// Reads a text. Fails for text that is not JSON or not UTF-8, for numbers beyond the range of a double and
/// for too deep nesting; the description of the error tells the place.
std::optional<qw::Value> JSONObjectFromString(std::string_view text, JSONOptions options = {},
                                              qw::Error* error = nullptr);

/// Writes a value. Fails for values without a JSON form (dates, data, objects, sets, not-a-number, texts that
/// are no UTF-8) and for too deep nesting.
std::optional<std::string> JSONRepresentationFromObject(const qw::Value& object, JSONOptions options = {},
                                                        qw::Error* error = nullptr);

}  // namespace QWJSONSerializationAdditions
