#include "program/Selection.h"

#include <fmt/format.h>

#include <algorithm>

namespace {

bool fail(qw::Error* error, std::string message) {
  return qw::Error::set(error, Records::kErrorDomain, 4, std::move(message));
}

/// Equal, or for a category: in it.
bool fits(const QWDatabaseObject& record, const FieldValue& condition) {
  const qw::Value value = record.valueForKey(condition.field->key);
  if (condition.field->type == FieldType::kText && condition.value.isNull())
    return value.description().empty();
  if (value == condition.value) return true;
  const auto category = value.objectAs<Category>();
  const auto wanted = condition.value.objectAs<Category>();
  return category && wanted && category->isBelow(*wanted);
}

}  // namespace

std::optional<std::vector<std::pair<const Field*, std::string>>> parsePairs(
    const std::vector<std::string>& pairs, const RecordKind& kind, bool settable, qw::Error* error) {
  std::vector<std::pair<const Field*, std::string>> parsed;
  for (const std::string& pair : pairs) {
    const std::size_t equals = pair.find('=');
    if (equals == pair.npos)
      return fail(error, fmt::format("\"{}\" is not of the form key=text", pair)), std::nullopt;
    const Field* field = kind.field(pair.substr(0, equals));
    if (!field || (settable && field->derived)) {
      std::vector<std::string_view> keys;
      for (const Field& f : kind.fields)
        if (!settable || !f.derived) keys.push_back(f.key);
      return fail(error, fmt::format("\"{}\" is none of {}", pair.substr(0, equals), fmt::join(keys, ", "))),
             std::nullopt;
    }
    parsed.emplace_back(field, pair.substr(equals + 1));
  }
  return parsed;
}

std::optional<std::vector<FieldValue>> readValues(const std::vector<std::string>& pairs,
                                                  const RecordKind& kind, BookIndex& index,
                                                  qw::Error* error) {
  const auto parsed = parsePairs(pairs, kind, true, error);
  if (!parsed) return std::nullopt;
  std::vector<FieldValue> values;
  for (const auto& [field, text] : *parsed) {
    auto value = Records::read(*field, text, index, error);
    if (!value) return std::nullopt;
    values.push_back({field, *std::move(value)});
  }
  return values;
}

void Selection::declareKind(CLI::App& app) {
  std::vector<std::string> names;
  for (const RecordKind& known : Records::kinds()) names.emplace_back(known.name);
  app.add_option("--kind", kind, "what to look at: " + fmt::format("{}", fmt::join(names, ", ")))
      ->check(CLI::IsMember(names).description(""))
      ->type_name("KIND")
      ->capture_default_str();
}

void Selection::declareConditions(CLI::App& app) {
  app.add_option("--where", conditions, "only records with this text in a field; may be repeated")
      ->type_name("KEY=TEXT")
      ->allow_extra_args(false);
}

std::optional<std::vector<QWDatabaseObject*>> Selection::records(ExpenseBook& store, qw::Error* error) const {
  const RecordKind& known = *Records::kindNamed(kind);
  BookIndex index(store);
  const auto parsed = parsePairs(conditions, known, false, error);
  if (!parsed) return std::nullopt;
  std::vector<FieldValue> wanted;
  for (const auto& [field, text] : *parsed) {
    Field condition = *field;
    condition.required = false;
    auto value = Records::read(condition, text, index, error);
    if (!value) return std::nullopt;
    wanted.push_back({field, *std::move(value)});
  }
  auto records = Records::all(known, store.book());
  std::erase_if(records, [&](const QWDatabaseObject* record) {
    return !std::all_of(wanted.begin(), wanted.end(),
                        [&](const auto& condition) { return fits(*record, condition); });
  });
  return records;
}
