#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/BookIndex.h"
#include "model/Texts.h"

/// What the texts of a property say: how they are read and written.
enum class FieldType : std::uint8_t {
  kText,
  kDate,
  kAmount,
  kCount,
  kPercentage,
  kFlag,
  kColor,
  kDuration,
  kImage,
  kCurrency,
  kWallet,
  kCategory
};

/// A property of a record by its key, as texts see it.
struct Field {
  std::string_view key;
  FieldType type;
  /// Null values are refused.
  bool required = false;
  /// Computed: only read.
  bool derived = false;
};

/// A class of records that people see, and which of its properties.
struct RecordKind {
  std::string_view name;
  std::string_view plural;
  const qw::Class* recordClass;
  std::vector<Field> fields;

  /// Null when no field has the key.
  const Field* field(std::string_view key) const;
};

/// A value for a field, read but not yet given to a record.
struct FieldValue {
  const Field* field;
  qw::Value value;
};

namespace Records {

inline constexpr std::string_view kErrorDomain = "ExpensesErrorDomain";

std::span<const RecordKind> kinds();
const RecordKind& expenses();
/// Null when there is none.
const RecordKind* kindNamed(std::string_view name);
const RecordKind* kindOf(const QWDatabaseObject& record);

/// All records of a kind in the book's order.
std::vector<QWDatabaseObject*> all(const RecordKind& kind, Book& book);
/// Reads "1 expense", "20,000 expenses".
std::string counted(std::size_t count, const RecordKind& kind);

/// What a text means for a field; an empty text is the null value.
std::optional<qw::Value> read(const Field& field, std::string_view text, const BookIndex& index,
                              qw::Error* error);
/// The value of a field as `read` reads it; an image as its size.
std::string text(const Field& field, const QWDatabaseObject& record);

/// A new record with the values and, where they name none, with the book's usual ones: today, the only
/// wallet, the wallet's currency. Null, with nothing made, when that fails.
std::shared_ptr<QWDatabaseObject> make(const RecordKind& kind, const std::vector<FieldValue>& values,
                                       BookIndex& index, qw::Error* error);
bool set(QWDatabaseObject& record, const std::vector<FieldValue>& values, qw::Error* error);

/// What is wrong with a record by itself; empty when nothing is.
std::string faultOf(const QWDatabaseObject& record);

}  // namespace Records
