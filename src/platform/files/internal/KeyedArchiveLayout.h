#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The keyed-archive layout on a property list. The root is a dictionary: "$archiver", "$version", "$objects"
/// (an array whose first element stands for null) and "$top" (a dictionary whose UIDs are places in
/// "$objects"). A text, number or run of bytes stands in "$objects" as itself; everything else is a
/// dictionary of its keys, in which a UID leads to another object and "$class" to a dictionary of the class:
/// "$classname" and "$classes", the names up to the root class.
namespace qw::keyed {

inline constexpr std::string_view kArchiver = "NSKeyedArchiver";
inline constexpr std::int64_t kVersion = 100000;
inline constexpr std::string_view kNull = "$null";

inline constexpr std::string_view kArchiverKey = "$archiver";
inline constexpr std::string_view kVersionKey = "$version";
inline constexpr std::string_view kObjectsKey = "$objects";
inline constexpr std::string_view kTopKey = "$top";
inline constexpr std::string_view kClassKey = "$class";
inline constexpr std::string_view kClassNameKey = "$classname";
inline constexpr std::string_view kClassesKey = "$classes";

// Values that the layout knows, and their keys.
inline constexpr std::string_view kNullClass = "NSNull";
inline constexpr std::string_view kArrayClass = "NSArray";
inline constexpr std::string_view kSetClass = "NSSet";
inline constexpr std::string_view kDictionaryClass = "NSDictionary";
inline constexpr std::string_view kDateClass = "NSDate";
inline constexpr std::string_view kElementsKey = "NS.objects";
inline constexpr std::string_view kKeysKey = "NS.keys";
inline constexpr std::string_view kTimeKey = "NS.time";

// Values that it does not know: records of our own, their main content under "value".
inline constexpr std::string_view kDecimalClass = "qw.Decimal";  // its text
inline constexpr std::string_view kColorClass = "qw.Color";      // an array of four numbers
inline constexpr std::string_view kImageClass = "qw.Image";      // PNG bytes, and "scale"
inline constexpr std::string_view kClassClass = "qw.Class";      // its name
inline constexpr std::string_view kValueKey = "value";
inline constexpr std::string_view kScaleKey = "scale";

/// Objects within objects that a reader follows, and therefore a writer writes: each costs stack while it is
/// decoded.
inline constexpr std::size_t kDepth = 1000;

inline constexpr const char* kErrorDomain = "QWKeyedArchiveErrorDomain";
enum ErrorCode { kDamaged = 1, kTooLarge = 2, kClassNotAllowed = 3, kUnrepresentable = 4 };

/// A key that begins like those of the layout gets one more "$" in the archive.
inline std::string escaped(std::string_view key) { return "$" + std::string(key); }
inline bool needsEscape(std::string_view key) { return key.starts_with('$'); }

}  // namespace qw::keyed
