#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "values/numbers/QWNumberFormatter.h"
#include "values/text/internal/Blanks.h"

namespace {

using qw::Decimal;
using Component = QWNumberFormatter::Component;
using Kind = Component::Kind;

constexpr auto kIsOperator = [] {
  std::array<bool, 256> table{};
  for (const unsigned char c : {'(', ')', '*', '/', '+', '-'}) table[c] = true;
  return table;
}();

bool isOperator(char c) { return kIsOperator[static_cast<unsigned char>(c)]; }

Component textComponent(std::string_view text) { return {.kind = Kind::kText, .text = std::string(text)}; }

/// An operand, or an operator between operands.
struct Term {
  char operation = 0;  // 0 for an operand
  Decimal value;
};

Decimal apply(char operation, const Decimal& left, const Decimal& right) {
  switch (operation) {
    case '/':
      return left / right;
    case '*':
      return left * right;
    case '-':
      return left - right;
    default:
      return left + right;
  }
}

// The steps below leave an operator where it stands when it lacks an operand. No later step takes it away, so
// there is no result then, and they may as well end at once; the same holds for not-a-number.

/// Each "-" that begins the calculation or follows an operator joins the operand behind it.
void applyUnaryMinus(std::vector<Term>& terms) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    const bool isUnary = terms[i].operation == '-' && i + 1 < terms.size() &&
                         (kept == 0 || terms[kept - 1].operation) && !terms[i + 1].operation;
    if (isUnary) {
      terms[kept++] = {0, -terms[i + 1].value};
      ++i;
    } else {
      terms[kept++] = terms[i];
    }
  }
  terms.resize(kept);
}

/// All occurrences of one operator, from left to right.
bool applyOperator(char operation, std::vector<Term>& terms) {
  std::size_t kept = 0;
  for (std::size_t i = 0; i < terms.size(); ++i) {
    if (terms[i].operation != operation) {
      terms[kept++] = terms[i];
      continue;
    }
    if (i + 1 == terms.size() || terms[i + 1].operation) return false;
    const Decimal& right = terms[++i].value;
    if (kept == 0) {
      if (operation == '*' || operation == '/') return false;
      terms[kept++] = {0, operation == '-' ? -right : right};
    } else {
      Term& left = terms[kept - 1];
      if (left.operation) return false;
      left.value = apply(operation, left.value, right);
      if (left.value.isNaN()) return false;
    }
  }
  terms.resize(kept);
  return true;
}

}  // namespace

bool QWNumberFormatter::getObjectValue(std::optional<Decimal>& value, std::string_view text) const {
  value.reset();
  if (text.empty()) return true;
  if (text.size() > kMaxTextSize) return false;
  std::string plain;
  text = qw::NumberReader::withPlainSigns(text, plain);
  // A text without operators but a minus sign before it is a tree of one number, or of a minus and one.
  const std::string_view whole = qw::trimmed(text);
  const bool negative = whole.starts_with('-');
  const std::string_view number = negative ? qw::trimmed(whole.substr(1)) : whole;
  if (!number.empty() && std::none_of(number.begin(), number.end(), isOperator)) {
    value = evaluateString(number);
    if (value && negative) value = -*value;
  } else if (const auto components = componentsFromString(text)) {
    value = evaluateArray(*components);
  }
  if (value && behavior_) value = behavior_->apply(*value);
  return value.has_value();
}

std::size_t QWNumberFormatter::findOperator(std::string_view text) const {
  std::size_t at = 0;
  while (at < text.size()) {
    const auto word = std::find_if(words_.begin(), words_.end(),
                                   [rest = text.substr(at)](const auto& w) { return rest.starts_with(w); });
    if (word == words_.end() && isOperator(text[at])) break;
    at += word == words_.end() ? 1 : word->size();
  }
  return at;
}

std::optional<QWNumberFormatter::Components> QWNumberFormatter::componentsFromString(
    std::string_view text) const {
  if (text.size() > kMaxTextSize) return std::nullopt;
  std::string plain;
  text = qw::NumberReader::withPlainSigns(text, plain);
  std::vector<Components> open(1);
  while (!text.empty()) {
    const std::size_t at = findOperator(text);
    const std::string_view before = qw::trimmed(text.substr(0, at));
    const char operation = at < text.size() ? text[at] : '\0';
    text.remove_prefix(std::min(at + 1, text.size()));
    if (operation == '(') {
      if (!before.empty() || open.size() > kMaxDepth) return std::nullopt;
      open.emplace_back();
      continue;
    }
    if (!before.empty()) open.back().push_back(textComponent(before));
    if (operation == ')') {
      if (before.empty() || open.size() == 1) return std::nullopt;
      Component array{.kind = Kind::kArray, .array = std::move(open.back())};
      open.pop_back();
      open.back().push_back(std::move(array));
    } else if (operation) {
      open.back().push_back({.kind = Kind::kOperator, .operation = operation});
    }
  }
  if (open.size() != 1) return std::nullopt;
  return std::move(open.front());
}

std::optional<Decimal> QWNumberFormatter::evaluateObject(const Component& component) const {
  switch (component.kind) {
    case Kind::kText:
      return evaluateString(component.text);
    case Kind::kArray:
      return evaluateArray(component.array);
    case Kind::kValue:
      return component.value;
    case Kind::kOperator:
      break;
  }
  return std::nullopt;
}

std::optional<Decimal> QWNumberFormatter::evaluateArray(const Components& components) const {
  std::vector<Term> terms;
  terms.reserve(components.size());
  for (const Component& component : components) {
    if (component.kind == Kind::kOperator) {
      terms.push_back({component.operation, {}});
      continue;
    }
    const auto value = evaluateObject(component);
    if (!value || value->isNaN()) return std::nullopt;
    terms.push_back({0, *value});
  }
  applyUnaryMinus(terms);
  for (const char operation : {'/', '*', '-', '+'}) {
    if (!applyOperator(operation, terms)) return std::nullopt;
  }
  if (terms.size() != 1 || terms.front().operation) return std::nullopt;
  return terms.front().value;
}
