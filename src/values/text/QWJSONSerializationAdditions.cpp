#include "values/text/QWJSONSerializationAdditions.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <vector>

namespace QWJSONSerializationAdditions {
namespace {

using JSON = nlohmann::json;

bool isContainer(const qw::Value& value) { return value.array() || value.dictionary(); }

/// Builds a value from the parser's events, with a stack of its own.
class Reader : public nlohmann::json_sax<JSON> {
 public:
  explicit Reader(qw::Error* error) : error_(error) {}
  qw::Value take() { return std::move(result_); }

  bool null() override { return add({}); }
  bool boolean(bool value) override { return add(value); }
  bool number_integer(number_integer_t value) override { return add(value); }
  bool number_unsigned(number_unsigned_t value) override {
    if (value <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) return add(value);
    return add(qw::Decimal(value));
  }
  bool number_float(number_float_t value, const string_t& text) override {
    const auto decimal = qw::Decimal::fromText(text);
    if (!decimal || (decimal->isZero() && value != 0)) return add(value);
    return add(*decimal);
  }
  bool string(string_t& value) override { return add(std::move(value)); }
  bool binary(binary_t&) override { return false; }

  bool start_object(std::size_t) override { return open(qw::Dictionary()); }
  bool key(string_t& value) override {
    levels_.back().key = std::move(value);
    return true;
  }
  bool end_object() override { return close(); }
  bool start_array(std::size_t) override { return open(qw::Array()); }
  bool end_array() override { return close(); }

  bool parse_error(std::size_t position, const std::string&, const JSON::exception& exception) override {
    std::string description = exception.what();
    // Without the library's own number of the error in brackets.
    if (const std::size_t end = description.find("] "); end != std::string::npos)
      description.erase(0, end + 2);
    return qw::Error::set(error_, kErrorDomain, kInvalidText,
                          "The text is not JSON (byte " + std::to_string(position) + "): " + description);
  }

 private:
  struct Level {
    qw::Value container;
    std::string key;
  };

  bool add(qw::Value value) {
    if (levels_.empty()) {
      result_ = std::move(value);
    } else if (Level& level = levels_.back(); level.container.array()) {
      level.container.mutableArray().push_back(std::move(value));
    } else {
      level.container.mutableDictionary().insert_or_assign(std::move(level.key), std::move(value));
    }
    return true;
  }

  bool open(qw::Value container) {
    if (levels_.size() == kMaximumDepth) {
      return qw::Error::set(error_, kErrorDomain, kTooDeep, "The JSON text is nested too deeply.");
    }
    levels_.push_back({std::move(container), {}});
    return true;
  }

  bool close() {
    qw::Value container = std::move(levels_.back().container);
    levels_.pop_back();
    return add(std::move(container));
  }

  qw::Error* error_;
  std::vector<Level> levels_;
  qw::Value result_;
};

class Writer {
 public:
  Writer(bool pretty, qw::Error* error) : pretty_(pretty), error_(error) {}
  std::string take() { return std::move(text_); }

  bool write(const qw::Value& value) {
    using Kind = qw::Value::Kind;
    switch (value.kind()) {
      case Kind::kNull:
        text_ += "null";
        return true;
      case Kind::kBool:
        text_ += value.boolValue() ? "true" : "false";
        return true;
      case Kind::kInt:
        text_ += std::to_string(value.int64Value());
        return true;
      case Kind::kDouble:
        return writeDouble(value.doubleValue());
      case Kind::kDecimal:
        return writeDecimal(*value.decimalValue());
      case Kind::kText:
        return writeText(*value.text());
      case Kind::kArray:
        return writeList('[', ']', *value.array(), [&](const qw::Value& element) { return write(element); });
      case Kind::kDictionary:
        return writeList('{', '}', *value.dictionary(), [&](const auto& entry) {
          if (!writeText(entry.first)) return false;
          text_ += pretty_ ? ": " : ":";
          return write(entry.second);
        });
      default:
        return fail("A value of this kind has no form in JSON: " + value.description());
    }
  }

 private:
  bool fail(std::string description) {
    return qw::Error::set(error_, kErrorDomain, kNotRepresentable, std::move(description));
  }

  bool writeDouble(double value) {
    if (!std::isfinite(value)) return fail("JSON has no form for a number that is not finite.");
    char buffer[32];
    text_.append(buffer, std::to_chars(buffer, buffer + sizeof buffer, value).ptr);
    return true;
  }

  bool writeDecimal(const qw::Decimal& value) {
    if (value.isNaN()) return fail("JSON has no form for not-a-number.");
    char buffer[qw::Decimal::kMaxTextSize];
    text_.append(buffer, value.write(buffer));
    return true;
  }

  bool writeText(const std::string& text) {
    try {
      text_ += JSON(text).dump();
      return true;
    } catch (const JSON::exception&) {
      return fail("A text is not UTF-8 and has no form in JSON.");
    }
  }

  template <class List, class WriteElement>
  bool writeList(char begin, char end, const List& list, WriteElement writeElement) {
    if (depth_ == kMaximumDepth) {
      return qw::Error::set(error_, kErrorDomain, kTooDeep, "The value is nested too deeply for JSON.");
    }
    text_ += begin;
    ++depth_;
    bool first = true;
    for (const auto& element : list) {
      if (!first) text_ += ',';
      first = false;
      breakLine();
      if (!writeElement(element)) return false;
    }
    --depth_;
    if (!first) breakLine();
    text_ += end;
    return true;
  }

  void breakLine() {
    if (pretty_) text_.append("\n").append(2 * depth_, ' ');
  }

  bool pretty_;
  qw::Error* error_;
  std::string text_;
  std::size_t depth_ = 0;
};

}  // namespace

std::optional<qw::Value> JSONObjectFromString(std::string_view text, JSONOptions options, qw::Error* error) {
  Reader reader(error);
  if (!JSON::sax_parse(text, &reader)) return std::nullopt;
  qw::Value value = reader.take();
  if (!options.fragmentsAllowed && !isContainer(value)) {
    qw::Error::set(error, kErrorDomain, kInvalidText, "The JSON text is neither an array nor a dictionary.");
    return std::nullopt;
  }
  return value;
}

std::optional<std::string> JSONRepresentationFromObject(const qw::Value& object, JSONOptions options,
                                                        qw::Error* error) {
  if (!options.fragmentsAllowed && !isContainer(object)) {
    qw::Error::set(error, kErrorDomain, kNotRepresentable,
                   "Only an array or a dictionary can be a JSON text.");
    return std::nullopt;
  }
  Writer writer(options.prettyPrinted, error);
  if (!writer.write(object)) return std::nullopt;
  return writer.take();
}

}  // namespace QWJSONSerializationAdditions
