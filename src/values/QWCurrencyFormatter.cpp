#include "values/QWCurrencyFormatter.h"

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/PerThread.h"
#include "platform/UserDefaults.h"

namespace {

std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

std::string withoutFirst(std::string_view text, std::string_view sign) {
  const std::size_t at = text.find(sign);
  std::string rest(text.substr(0, at));
  rest += text.substr(at + sign.size());
  return std::string(qw::NumberReader::trimmed(rest));
}

/// The formatters of the currencies that a thread wrote last.
class Writers {
 public:
  QWCurrencyFormatter& formatter(const QWCurrency* currency) {
    const auto writes = [currency](const auto& formatter) {
      return formatter->currency().has_value() == (currency != nullptr) &&
             (!currency || *formatter->currency() == *currency);
    };
    auto found = std::find_if(formatters_.begin(), formatters_.end(), writes);
    if (found == formatters_.end()) {
      if (formatters_.size() == kMostKept) formatters_.pop_back();
      auto formatter = std::make_unique<QWCurrencyFormatter>();
      formatter->setCurrency(currency ? std::optional(*currency) : std::nullopt);
      if (currency) formatter->setCurrencies({*currency});
      found = formatters_.insert(formatters_.end(), std::move(formatter));
    }
    std::rotate(formatters_.begin(), found, found + 1);
    return *formatters_.front();
  }

 private:
  static constexpr std::size_t kMostKept = 8;
  std::vector<std::unique_ptr<QWCurrencyFormatter>> formatters_;  // the last one used first
};

}  // namespace

std::string QWCurrencyFormatter::formatValue(const qw::Decimal& value, const QWCurrency* currency) {
  return qw::perThread<Writers>().formatter(currency).stringForObjectValue(value);
}

QWCurrencyFormatter::QWCurrencyFormatter() { setNumberStyle(Style::kCurrency); }

void QWCurrencyFormatter::setCurrency(std::optional<QWCurrency> currency) {
  currency_ = std::move(currency);
  updateCurrency();
}

void QWCurrencyFormatter::updateCurrency() {
  qw::NumberStyle::Wishes changed = wishes();
  changed.currencyCode = currency_ ? std::optional(currency_->code()) : std::nullopt;
  changed.currencySymbol = currency_ ? currency_->symbol() : std::string();
  changed.minimumFractionDigits = currency_ ? currency_->fractionDigits() : 0;
  changed.maximumFractionDigits = currency_ ? currency_->fractionDigits() : 6;
  setWishes(std::move(changed));
  setDecimalNumberBehavior(currency_ ? std::optional(currency_->behavior()) : std::nullopt);
}

void QWCurrencyFormatter::setCurrencies(std::vector<QWCurrency> currencies) {
  currencies_ = std::move(currencies);
  symbols_ = longestFirst(&QWCurrency::symbol);
  codes_ = longestFirst(&QWCurrency::code);
  beginsSign_ = {};
  std::vector<std::string> words;
  constexpr std::string_view kOperators = "()*/+-";
  for (const std::vector<Sign>* signs : {&symbols_, &codes_}) {
    for (const Sign& sign : *signs) {
      beginsSign_[static_cast<unsigned char>(sign.text.front())] = true;
      // A symbol of nothing but operators, however, is an operator.
      if (sign.text.find_first_of(kOperators) != sign.text.npos &&
          sign.text.find_first_not_of(kOperators) != sign.text.npos) {
        words.push_back(sign.text);
      }
    }
  }
  setWords(std::move(words));
}

void QWCurrencyFormatter::setCurrencyCode(std::string_view code) {
  if (wishes().currencyCode == code) return;
  qw::NumberStyle::Wishes changed = wishes();
  changed.currencyCode = code;
  changed.currencySymbol = std::nullopt;
  setWishes(std::move(changed));
}

void QWCurrencyFormatter::setCurrencySymbol(std::string_view symbol) {
  if (wishes().currencySymbol == symbol) return;
  qw::NumberStyle::Wishes changed = wishes();
  changed.currencySymbol = symbol;
  setWishes(std::move(changed));
}

std::optional<QWNumberFormatter::Components> QWCurrencyFormatter::componentsFromString(
    std::string_view text) const {
  auto components = QWNumberFormatter::componentsFromString(text);
  if (components) fixEnglishNotation(*components);
  return components;
}

void QWCurrencyFormatter::fixEnglishNotation(Components& components) const {
  using Kind = Component::Kind;
  const auto isSymbol = [this](const Component& component) {
    return component.kind == Kind::kText &&
           std::any_of(symbols_.begin(), symbols_.end(),
                       [&](const Sign& symbol) { return symbol.text == component.text; });
  };
  std::size_t kept = 0;
  for (std::size_t i = 0; i < components.size(); ++i, ++kept) {
    if (components[i].kind == Kind::kArray) fixEnglishNotation(components[i].array);
    if (i + 2 < components.size() && components[i + 1].isOperator('-') &&
        components[i + 2].kind == Kind::kText && isSymbol(components[i])) {
      components[i + 2].text.insert(0, components[i].text);
      ++i;
    }
    if (kept != i) components[kept] = std::move(components[i]);
  }
  components.resize(kept);
}

std::optional<qw::Decimal> QWCurrencyFormatter::evaluateString(std::string_view text) const {
  return evaluateAmount(qw::NumberReader::trimmed(text), 0);
}

/// `taken` symbols and codes were taken out of the text before.
std::optional<qw::Decimal> QWCurrencyFormatter::evaluateAmount(std::string_view text, int taken) const {
  if (text.size() > qw::NumberReader::kMaxTextSize) return std::nullopt;
  const bool mayHaveSign = std::any_of(text.begin(), text.end(),
                                       [this](char c) { return beginsSign_[static_cast<unsigned char>(c)]; });
  if (!mayHaveSign) return evaluateNumber(text, taken);
  std::string rest(text);
  // A code outdoes a symbol.
  const QWCurrency* named = nullptr;
  for (const std::vector<Sign>* signs : {&symbols_, &codes_}) {
    const auto sign = std::find_if(signs->begin(), signs->end(),
                                   [&](const Sign& s) { return rest.find(s.text) != rest.npos; });
    if (sign == signs->end()) continue;
    named = &currencies_[sign->currency];
    rest = withoutFirst(rest, sign->text);
  }
  if (!named) return evaluateNumber(text, taken);
  if (rest.empty()) return qw::Decimal();
  if (taken == kMaxSigns) return std::nullopt;
  const auto amount = evaluateAmount(rest, taken + 1);
  if (!amount) return std::nullopt;
  const bool hasRate = currency_ && !currency_->changeRate().isZero();
  const qw::Decimal value =
      *amount * (named->changeRate() / (hasRate ? currency_->changeRate() : qw::Decimal(1)));
  return value.isNaN() ? std::nullopt : std::optional(value);
}

std::optional<qw::Decimal> QWCurrencyFormatter::evaluateNumber(std::string_view text, int taken) const {
  const auto value = QWNumberFormatter::evaluateString(text);
  if (!value || taken > 0 || !currency_ || !canInsertDecimalSeparator_ ||
      style().reader().containsDecimalSeparator(text, separators()) ||
      !qw::UserDefaults::standard().boolValue(kAutomaticallyInsertDecimalSeparatorKey)) {
    return value;
  }
  return value->multipliedByPowerOf10(-currency_->fractionDigits());
}

std::vector<QWCurrencyFormatter::Sign> QWCurrencyFormatter::longestFirst(
    const std::string& (QWCurrency::*text)() const) const {
  std::vector<Sign> signs;
  for (std::size_t i = 0; i < currencies_.size(); ++i) {
    // Texts are trimmed, too: Arabic symbols end with a mark of their writing direction.
    const std::string_view sign = qw::NumberReader::trimmed((currencies_[i].*text)());
    if (!sign.empty()) signs.push_back({std::string(sign), i});
  }
  std::stable_sort(signs.begin(), signs.end(),
                   [](const Sign& a, const Sign& b) { return characters(a.text) > characters(b.text); });
  return signs;
}
