#pragma once

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/base/Data.h"
#include "platform/base/Export.h"
#include "platform/system/DateText.h"
#include "store/columns/ObjectID.h"

namespace qw {

/// Binds one row of values to a statement, parameter after parameter. Texts that are made for the row live in
/// a scratch buffer until `begin` starts the next row, everything else is bound where it stands: the source
/// must outlive the step.
class QW_EXPORT RowBinder {
 public:
  /// Starts a row at a parameter, counted from 1.
  void begin(sqlite3_stmt* statement, int firstParameter = 1) {
    statement_ = statement;
    next_ = firstParameter;
    used_ = 0;
    result_ = SQLITE_OK;
  }
  /// Binds copies in the same order, but to these parameters; those below 1 are skipped. For statements of
  /// foreign stores.
  void beginMapped(sqlite3_stmt* statement, std::vector<int> parameters) {
    begin(statement, 0);
    mapped_ = std::move(parameters);
  }

  /// What the first value that could not be bound failed with. Such a row must not be written.
  int result() const { return result_; }
  /// Gives the row up: a value of it has no column format.
  void fail() { note(SQLITE_MISMATCH); }

  /// The next parameter is NULL.
  void bindNull() { note(sqlite3_bind_null(statement_, parameter())); }
  /// The next parameter is an INTEGER.
  void bindInt64(std::int64_t value) { note(sqlite3_bind_int64(statement_, parameter(), value)); }
  /// The next parameter is a REAL.
  void bindDouble(double value) { note(sqlite3_bind_double(statement_, parameter(), value)); }
  /// The next parameter is a text, which must outlive the step.
  void bindText(std::string_view text) { bindText(text, lifetime()); }
  /// The next parameter is a copy of a text.
  void bindCopiedText(std::string_view text) { bindText(text, SQLITE_TRANSIENT); }
  /// The next parameter is a BLOB, which must outlive the step.
  void bindBlob(const Data& data) {
    if (data.empty())
      note(sqlite3_bind_zeroblob(statement_, parameter(), 0));
    else
      note(sqlite3_bind_blob64(statement_, parameter(), data.data(), data.size(), lifetime()));
  }
  /// The next parameter is a value as SQLite holds it.
  void bindValue(const sqlite3_value* value) { note(sqlite3_bind_value(statement_, parameter(), value)); }
  /// The empty identity binds NULL.
  void bindID(const ObjectID& id) {
    if (id.empty()) return bindNull();
    if (!id.isUUID()) return bindCopiedText(id.text());
    bindWritten(36, [&](char* out) {
      id.uuid().write(out);
      return out + 36;
    });
  }
  /// Binds what `write(char* out)`, which answers the end, leaves in at most `size` characters.
  template <class Write>
  void bindWritten(std::size_t size, Write write) {
    if (used_ + size <= sizeof buffer_) {
      char* room = buffer_ + used_;
      const auto length = static_cast<std::size_t>(write(room) - room);
      used_ += length;
      return bindText({room, length});
    }
    std::string text(size, '\0');
    text.resize(static_cast<std::size_t>(write(text.data()) - text.data()));
    bindCopiedText(text);
  }

 private:
  void note(int result) {
    if (result != SQLITE_OK && result_ == SQLITE_OK && !(result == SQLITE_RANGE && !mapped_.empty()))
      result_ = result;
  }
  /// 0, which SQLite refuses, for a value that is skipped.
  int parameter() {
    const int n = next_++;
    return mapped_.empty() ? n : std::max(0, mapped_[static_cast<std::size_t>(n)]);
  }
  sqlite3_destructor_type lifetime() const { return mapped_.empty() ? SQLITE_STATIC : SQLITE_TRANSIENT; }
  void bindText(std::string_view text, sqlite3_destructor_type lifetime) {
    note(sqlite3_bind_text64(statement_, parameter(), text.empty() ? "" : text.data(), text.size(), lifetime,
                             SQLITE_UTF8));
  }

  sqlite3_stmt* statement_ = nullptr;
  int result_ = SQLITE_OK;
  int next_ = 1;
  std::vector<int> mapped_;
  std::size_t used_ = 0;
  char buffer_[4096];
};

/// The current row of a statement. A column number below 0 stands for a column that the result lacks and
/// reads as NULL.
class QW_EXPORT RowReader {
 public:
  /// Reads rows of the statement, which it does not own.
  explicit RowReader(sqlite3_stmt* statement, DateText::ShortYear shortYear = DateText::ShortYear::keep)
      : statement_(statement), shortYear_(shortYear) {}

  /// How years of two digits are meant.
  DateText::ShortYear shortYear() const { return shortYear_; }

  /// Whether the column is NULL or is not there.
  bool isNull(int column) const {
    return column < 0 || sqlite3_column_type(statement_, column) == SQLITE_NULL;
  }
  /// 0 for NULL.
  std::int64_t int64(int column) const { return column < 0 ? 0 : sqlite3_column_int64(statement_, column); }
  /// 0 for NULL.
  double real(int column) const { return column < 0 ? 0 : sqlite3_column_double(statement_, column); }
  /// Valid until the next step. NULL reads as an empty text.
  std::string_view text(int column) const {
    if (column < 0) return {};
    // The value itself is read without the connection's mutex: a connection belongs to one thread.
    sqlite3_value* value = sqlite3_column_value(statement_, column);
    const auto* characters = reinterpret_cast<const char*>(sqlite3_value_text(value));
    return characters ? std::string_view(characters, static_cast<std::size_t>(sqlite3_value_bytes(value)))
                      : std::string_view();
  }
  /// A copy that lives on; NULL for a column that the result lacks.
  std::shared_ptr<sqlite3_value> value(int column) const {
    return {column < 0 ? nullptr : sqlite3_value_dup(sqlite3_column_value(statement_, column)),
            &sqlite3_value_free};
  }
  /// A copy of the bytes; none for NULL.
  Data blob(int column) const {
    if (column < 0) return {};
    const auto* bytes = static_cast<const std::uint8_t*>(sqlite3_column_blob(statement_, column));
    return Data(
        std::span(bytes, bytes ? static_cast<std::size_t>(sqlite3_column_bytes(statement_, column)) : 0));
  }

 private:
  sqlite3_stmt* statement_;
  DateText::ShortYear shortYear_;
};

}  // namespace qw
