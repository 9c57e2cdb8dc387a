#pragma once

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/base/Error.h"
#include "platform/base/Export.h"
#include "platform/base/Registration.h"
#include "platform/object/Value.h"

namespace qw {

/// Settings of the application by key, kept in a JSON file (RFC 8259) below the user's configuration
/// directory. Values may be null (which removes), bool, numbers, texts, dates, data, colours, and arrays and
/// dictionaries of these; dates, data, decimals and colours are written as objects with one member such as
/// "$date", so that they are restored exactly. Any thread may use one.
///
/// Changes are written together within a second while the main run loop turns, by `synchronize`, and at the
/// end. Only keys that were changed here are written, over what other processes have written meanwhile, and
/// always the whole file or nothing. A file that is damaged is put aside and logged, and the settings go on
/// from what is in memory.
class QW_EXPORT UserDefaults {
 public:
  /// The settings of the current application context: `<configuration
  /// directory>/<identifier>/defaults.json`. Never destroyed.
  static UserDefaults& standard();
  /// Settings in another file, which lies in a directory of its own. Reads it at once; it need not exist.
  explicit UserDefaults(std::filesystem::path file);
  /// Writes what is not written yet.
  ~UserDefaults();
  UserDefaults(const UserDefaults&) = delete;
  UserDefaults& operator=(const UserDefaults&) = delete;

  /// The value that was set, or else the registered one, or else null.
  Value value(std::string_view key) const;
  ///@{
  /// Numbers, and texts that are numbers, converted; false or 0 for anything else.
  bool boolValue(std::string_view key) const;
  std::int64_t intValue(std::string_view key) const;
  double doubleValue(std::string_view key) const;
  ///@}
  /// A text, or the text of a number.
  std::optional<std::string> text(std::string_view key) const;
  ///@{
  /// Empty when the value is of another kind.
  Array array(std::string_view key) const;
  Dictionary dictionary(std::string_view key) const;
  ///@}

  /// Sets a value, or brings the registered one back with null. False, and nothing changed, when the value
  /// holds what cannot be written: objects, images, sets, text that is no UTF-8, or more than `kMaximumDepth`
  /// nested containers.
  bool set(std::string_view key, Value value);
  /// Brings the registered value back, if there is one.
  void remove(std::string_view key) { set(key, nullptr); }
  /// Adds values for keys that are not set. They are not written.
  void registerDefaults(const Dictionary& values);

  /// Calls back with the new value after each change, on the thread that made it or, for a change by another
  /// process, on the one that synchronized. No lock is held meanwhile. Until the registration ends, from any
  /// thread.
  Registration observe(std::string_view key, std::function<void(const Value&)> observer);

  /// Writes what was changed here and takes over what others have changed. On failure, in the domain of
  /// `FileManager`, the changes are kept and written the next time.
  bool synchronize(Error* error = nullptr);

  /// Containers within each other.
  static constexpr int kMaximumDepth = 64;

 private:
  struct State;
  explicit UserDefaults(std::shared_ptr<State> state);

  std::shared_ptr<State> state_;
};

}  // namespace qw
