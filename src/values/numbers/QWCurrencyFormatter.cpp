#include "values/numbers/QWCurrencyFormatter.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "platform/files/KeyedArchiver.h"
#include "platform/files/KeyedUnarchiver.h"
#include "platform/files/UserDefaults.h"
#include "platform/loop/internal/PerThread.h"
#include "values/text/internal/Blanks.h"
#include "values/text/internal/UTF8.h"

constinit const qw::Class QWCurrencyFormatter::kClass = qw::define<QWCurrencyFormatter, QWNumberFormatter>(
    "QWCurrencyFormatter", {}, [] { return qw::properties(); });

namespace {

std::size_t characters(std::string_view text) {
  return static_cast<std::size_t>(std::count_if(
      text.begin(), text.end(), [](char c) { return (static_cast<unsigned char>(c) & 0xC0) != 0x80; }));
}

bool hasDigit(std::string_view text) {
  for (qw::UTF8::Character c; (c = qw::UTF8::first(text)).length > 0; text.remove_prefix(c.length)) {
    if (u_charDigitValue(static_cast<UChar32>(c.codePoint)) >= 0) return true;
  }
  return false;
}

/// Takes a sign out of an amount, with the point of an abbreviation ("Rs.500"). False for a sign within the
/// number: what "10€50" means is not known.
bool takeOut(std::string& text, std::string_view sign) {
  const std::size_t at = text.find(sign);
  std::size_t size = sign.size();
  std::size_t last = size - 1;
  while (last > 0 && (static_cast<unsigned char>(sign[last]) & 0xC0) == 0x80) --last;
  const bool endsWithLetter =
      u_isalpha(static_cast<UChar32>(qw::UTF8::first(sign.substr(last)).codePoint)) != 0;
  if (endsWithLetter && text.compare(at + size, 1, ".") == 0) ++size;
  const std::string_view before = std::string_view(text).substr(0, at);
  if (hasDigit(before) && hasDigit(std::string_view(text).substr(at + size))) return false;
  text.erase(at, size);
  text = std::string(qw::trimmed(text));
  return true;
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
  Options changed = options();
  changed.currencyCode = currency_ ? std::optional(currency_->code()) : std::nullopt;
  changed.currencySymbol = currency_ ? currency_->symbol() : std::string();
  changed.minimumFractionDigits = currency_ ? currency_->fractionDigits() : 0;
  changed.maximumFractionDigits = currency_ ? currency_->fractionDigits() : 6;
  setOptions(std::move(changed));
  setDecimalNumberBehavior(currency_ ? std::optional(currency_->behavior()) : std::nullopt);
}

void QWCurrencyFormatter::setCurrencies(std::vector<QWCurrency> currencies) {
  currencies_ = std::move(currencies);
  signs_.clear();
  beginsSign_ = {};
  for (const bool isSymbol : {false, true}) {
    for (std::size_t i = 0; i < currencies_.size(); ++i) {
      // Texts are trimmed, too: Arabic symbols end with a mark of their writing direction.
      const std::string_view sign = qw::trimmed(isSymbol ? currencies_[i].symbol() : currencies_[i].code());
      if (!sign.empty()) signs_.push_back({std::string(sign), i, isSymbol});
    }
  }
  std::stable_sort(signs_.begin(), signs_.end(),
                   [](const Sign& a, const Sign& b) { return characters(a.text) > characters(b.text); });
  std::vector<std::string> words;
  constexpr std::string_view kOperators = "()*/+-";
  for (const Sign& sign : signs_) {
    beginsSign_[static_cast<unsigned char>(sign.text.front())] = true;
    // A symbol of nothing but operators, however, is an operator.
    if (sign.text.find_first_of(kOperators) != sign.text.npos &&
        sign.text.find_first_not_of(kOperators) != sign.text.npos) {
      words.push_back(sign.text);
    }
  }
  setWords(std::move(words));
}

void QWCurrencyFormatter::setCurrencyCode(std::string_view code) {
  if (options().currencyCode == code) return;
  Options changed = options();
  changed.currencyCode = code;
  changed.currencySymbol = std::nullopt;
  changed.roundingIncrement = 0;
  setOptions(std::move(changed));
}

void QWCurrencyFormatter::setCurrencySymbol(std::string_view symbol) {
  if (options().currencySymbol == symbol) return;
  Options changed = options();
  changed.currencySymbol = symbol;
  setOptions(std::move(changed));
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
    return component.kind == Kind::kText && std::any_of(signs_.begin(), signs_.end(), [&](const Sign& sign) {
             return sign.isSymbol && sign.text == component.text;
           });
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
  text = qw::trimmed(text);
  if (text.size() > qw::NumberReader::kMaxTextSize) return std::nullopt;
  const bool mayHaveSign = std::any_of(text.begin(), text.end(),
                                       [this](char c) { return beginsSign_[static_cast<unsigned char>(c)]; });
  if (!mayHaveSign) return evaluateNumber(text);
  std::string rest(text);
  std::vector<std::size_t> named;  // the currencies that all signs so far belong to
  for (int taken = 0;; ++taken) {
    const auto sign = std::find_if(signs_.begin(), signs_.end(),
                                   [&](const Sign& s) { return rest.find(s.text) != rest.npos; });
    if (sign == signs_.end()) break;
    if (taken == kMaxSigns || !takeOut(rest, sign->text)) return std::nullopt;
    const auto belongs = [&](std::size_t currency) {
      return std::any_of(signs_.begin(), signs_.end(),
                         [&](const Sign& s) { return s.currency == currency && s.text == sign->text; });
    };
    if (taken == 0) {
      for (const Sign& s : signs_)
        if (s.text == sign->text) named.push_back(s.currency);
    } else {
      std::erase_if(named, [&](std::size_t currency) { return !belongs(currency); });
    }
    if (named.empty()) return std::nullopt;
  }
  if (named.empty()) return evaluateNumber(text);
  if (rest.empty()) return qw::Decimal();
  const auto amount = QWNumberFormatter::evaluateString(rest);
  if (!amount) return std::nullopt;
  const bool hasRate = currency_ && !currency_->changeRate().isZero();
  const qw::Decimal value = *amount * (currencies_[named.front()].changeRate() /
                                       (hasRate ? currency_->changeRate() : qw::Decimal(1)));
  return value.isNaN() ? std::nullopt : std::optional(value);
}

std::optional<qw::Decimal> QWCurrencyFormatter::evaluateNumber(std::string_view text) const {
  const auto value = QWNumberFormatter::evaluateString(text);
  if (!value || !currency_ || !canInsertDecimalSeparator_ ||
      style().reader().containsDecimalSeparator(text, separators()) ||
      !qw::UserDefaults::standard().boolValue(kAutomaticallyInsertDecimalSeparatorKey)) {
    return value;
  }
  return value->multipliedByPowerOf10(-currency_->fractionDigits());
}

void QWCurrencyFormatter::encodeWithCoder(qw::KeyedArchiver& coder) const {
  using Traits = qw::ValueTraits<QWCurrency>;
  QWNumberFormatter::encodeWithCoder(coder);
  if (currency_) coder.encodeObject(Traits::toValue(*currency_), "currency");
  qw::Array currencies;
  for (const QWCurrency& currency : currencies_) currencies.push_back(Traits::toValue(currency));
  coder.encodeObject(std::move(currencies), "currencies");
}

void QWCurrencyFormatter::initWithCoder(qw::KeyedUnarchiver& coder) {
  using Traits = qw::ValueTraits<QWCurrency>;
  QWNumberFormatter::initWithCoder(coder);
  currency_ = Traits::fromValue(coder.decodeObject("currency"));
  const qw::Value archived = coder.decodeObject("currencies");
  std::vector<QWCurrency> currencies;
  for (const qw::Value& value : archived.array() ? *archived.array() : qw::Array()) {
    if (auto currency = Traits::fromValue(value)) currencies.push_back(*std::move(currency));
  }
  setCurrencies(std::move(currencies));
}
