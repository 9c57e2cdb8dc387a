#include "values/NumberStyle.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/fpositer.h>
#include <unicode/locid.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "values/Blanks.h"
#include "values/ICUText.h"

namespace qw {

namespace {

using Symbol = icu::DecimalFormatSymbols::ENumberFormatSymbol;

// Longer ones are left to ICU, so that what is written here fits a buffer.
constexpr std::size_t kMaxDigits = 64;
constexpr std::size_t kMaxAffixSize = 64;
constexpr std::size_t kMaxSeparatorSize = 8;
constexpr std::size_t kMaxDigitSize = 4;
constexpr std::size_t kBufferSize = (kMaxDigits + NumberStyle::kMaxFractionDigits) * kMaxDigitSize +
                                    kMaxDigits * kMaxSeparatorSize + 2 * kMaxAffixSize;

std::unique_ptr<icu::DecimalFormat> makeFormat(const std::string& locale, NumberStyle::Kind kind) {
  const UNumberFormatStyle style = kind == NumberStyle::Kind::kCurrency  ? UNUM_CURRENCY
                                   : kind == NumberStyle::Kind::kPercent ? UNUM_PERCENT
                                                                         : UNUM_DECIMAL;
  // The second name is for locales that write numbers in words.
  for (const std::string& name :
       {locale, icu::Locale(locale.c_str()).getBaseName() + std::string("@numbers=latn")}) {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<icu::NumberFormat> format(
        icu::NumberFormat::createInstance(icu::Locale(name.c_str()), style, status));
    if (U_FAILURE(status)) continue;
    if (auto* decimal = dynamic_cast<icu::DecimalFormat*>(format.get())) {
      static_cast<void>(format.release());
      return std::unique_ptr<icu::DecimalFormat>(decimal);
    }
  }
  UErrorCode status = U_ZERO_ERROR;
  return std::make_unique<icu::DecimalFormat>(status);
}

bool isCurrencyCode(std::string_view code) {
  return code.size() == 3 &&
         std::all_of(code.begin(), code.end(), [](char c) { return c >= 'A' && c <= 'Z'; });
}

// Accounting parentheses and a minus sign behind the number give way to one before it.
void checkNegativeFormat(icu::DecimalFormat& format) {
  icu::UnicodeString pattern, suffix;
  format.toPattern(pattern);
  format.getNegativeSuffix(suffix);
  bool quoted = false;
  std::int32_t negative = 0;
  for (; negative < pattern.length() && (quoted || pattern[negative] != u';'); ++negative)
    quoted ^= pattern[negative] == u'\'';
  const icu::UnicodeString& minus =
      format.getDecimalFormatSymbols()->getConstSymbol(Symbol::kMinusSignSymbol);
  const bool isAccounting = pattern.indexOf(u'(', negative) >= 0 || pattern.indexOf(u')', negative) >= 0;
  if (!isAccounting && suffix.indexOf(u'-') < 0 && (minus.isEmpty() || suffix.indexOf(minus) < 0)) return;
  UErrorCode status = U_ZERO_ERROR;
  format.applyPattern(pattern.tempSubString(0, negative), status);
}

// An amount without a symbol has no blank in its place either.
void trimAffixes(icu::DecimalFormat& format) {
  const auto trimmed = [](const icu::UnicodeString& affix) { return utf16(qw::trimmed(utf8(affix))); };
  icu::UnicodeString affix;
  format.setPositivePrefix(trimmed(format.getPositivePrefix(affix)));
  format.setPositiveSuffix(trimmed(format.getPositiveSuffix(affix)));
  format.setNegativePrefix(trimmed(format.getNegativePrefix(affix)));
  format.setNegativeSuffix(trimmed(format.getNegativeSuffix(affix)));
}

}  // namespace

struct NumberStyle::Format {
  std::unique_ptr<icu::DecimalFormat> format;

  std::string write(const Decimal& value, std::int32_t* digitsBegin = nullptr,
                    std::int32_t* digitsEnd = nullptr) const {
    char text[Decimal::kMaxTextSize];
    const auto size = static_cast<std::int32_t>(value.write(text) - text);
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeString out;
    icu::FieldPositionIterator fields;
    format->format(icu::StringPiece(text, size), out, digitsBegin ? &fields : nullptr, status);
    if (digitsBegin) {
      icu::FieldPosition field;
      while (fields.next(field)) {
        if (field.getField() == UNUM_INTEGER_FIELD) *digitsBegin = field.getBeginIndex();
        if (field.getField() == UNUM_INTEGER_FIELD || field.getField() == UNUM_FRACTION_FIELD)
          *digitsEnd = std::max(*digitsEnd, field.getEndIndex());
      }
      *digitsBegin = utf8Offset(out, *digitsBegin);
      *digitsEnd = utf8Offset(out, *digitsEnd);
    }
    return utf8(out);
  }

 private:
  // The place in the UTF-8 form of what is a place in the text.
  static std::int32_t utf8Offset(const icu::UnicodeString& text, std::int32_t place) {
    return static_cast<std::int32_t>(utf8(text.tempSubString(0, place)).size());
  }
};

NumberStyle::NumberStyle(const std::string& locale, const Wishes& wishes)
    : icu_(std::make_unique<Format>()), kind_(wishes.kind), reader_(NumberNotation()) {
  icu_->format = makeFormat(locale, kind_);
  icu::DecimalFormat& format = *icu_->format;
  UErrorCode status = U_ZERO_ERROR;
  if (wishes.currencyCode && isCurrencyCode(*wishes.currencyCode))
    format.setCurrency(utf16(*wishes.currencyCode).getTerminatedBuffer(), status);
  format.setRoundingIncrement(0);
  format.setRoundingMode(icu::DecimalFormat::kRoundHalfEven);

  const bool isCurrency = kind_ == Kind::kCurrency;
  icu::DecimalFormatSymbols symbols(*format.getDecimalFormatSymbols());
  const auto choose = [&](Symbol plain, Symbol monetary, const std::optional<std::string>& wish) {
    if (wish) {
      symbols.setSymbol(plain, utf16(*wish));
      symbols.setSymbol(monetary, utf16(*wish));
    }
    return utf8(symbols.getConstSymbol(isCurrency ? monetary : plain));
  };
  decimalSeparator_ =
      choose(Symbol::kDecimalSeparatorSymbol, Symbol::kMonetarySeparatorSymbol, wishes.decimalSeparator);
  groupingSeparator_ = choose(Symbol::kGroupingSeparatorSymbol, Symbol::kMonetaryGroupingSeparatorSymbol,
                              wishes.groupingSeparator);
  if (wishes.currencySymbol) {
    symbols.setSymbol(Symbol::kCurrencySymbol, utf16(*wishes.currencySymbol));
  } else if (wishes.currencyCode && !isCurrencyCode(*wishes.currencyCode)) {
    symbols.setSymbol(Symbol::kCurrencySymbol, utf16(*wishes.currencyCode));
  }
  format.setDecimalFormatSymbols(symbols);
  checkNegativeFormat(format);
  if (isCurrency && wishes.currencySymbol && wishes.currencySymbol->empty()) trimAffixes(format);

  percentSign_ = utf8(symbols.getConstSymbol(Symbol::kPercentSymbol));
  minimumFractionDigits_ = format.getMinimumFractionDigits();
  maximumFractionDigits_ = format.getMaximumFractionDigits();
  if (wishes.minimumFractionDigits) setMinimumFractionDigits(*wishes.minimumFractionDigits);
  if (wishes.maximumFractionDigits) setMaximumFractionDigits(*wishes.maximumFractionDigits);
  canFormatHere_ = learn();

  reader_ = NumberReader({.decimalSeparator = decimalSeparator_,
                          .groupingSeparator = groupingSeparator_,
                          .minusSign = utf8(symbols.getConstSymbol(Symbol::kMinusSignSymbol)),
                          .secondaryGroupingSize = secondaryGroupingSize_});
}

NumberStyle::~NumberStyle() = default;

void NumberStyle::setMinimumFractionDigits(int digits) {
  minimumFractionDigits_ = std::clamp(digits, 0, kMaxFractionDigits);
  maximumFractionDigits_ = std::max(maximumFractionDigits_, minimumFractionDigits_);
}

void NumberStyle::setMaximumFractionDigits(int digits) {
  maximumFractionDigits_ = std::clamp(digits, 0, kMaxFractionDigits);
  minimumFractionDigits_ = std::min(minimumFractionDigits_, maximumFractionDigits_);
}

/// Finds out what ICU writes around and between the digits, and whether `formatHere` then writes the same.
bool NumberStyle::learn() {
  const icu::DecimalFormat& format = *icu_->format;
  const icu::DecimalFormatSymbols& symbols = *format.getDecimalFormatSymbols();
  primaryGroupingSize_ =
      format.isGroupingUsed() ? static_cast<std::size_t>(std::max(0, format.getGroupingSize())) : 0;
  const std::int32_t secondary = format.getSecondaryGroupingSize();
  secondaryGroupingSize_ = secondary > 0 ? static_cast<std::size_t>(secondary) : primaryGroupingSize_;
  for (std::size_t i = 0; i < digits_.size(); ++i)
    digits_[i] = utf8(symbols.getConstDigitSymbol(static_cast<std::int32_t>(i)));
  const bool hasShortDigits = std::all_of(digits_.begin(), digits_.end(), [](const std::string& digit) {
    return !digit.empty() && digit.size() <= kMaxDigitSize;
  });
  if (digits_.front() == "0" && digits_.back() == "9") digits_ = {};
  for (const bool negative : {false, true}) {
    std::int32_t begin = 0, end = 0;
    const std::string text = icu_->write(negative ? Decimal(-1) : Decimal(1), &begin, &end);
    Affixes& affixes = negative ? negative_ : positive_;
    affixes.prefix = text.substr(0, static_cast<std::size_t>(begin));
    affixes.suffix = text.substr(static_cast<std::size_t>(end));
    if (affixes.prefix.size() > kMaxAffixSize || affixes.suffix.size() > kMaxAffixSize) return false;
  }
  if (!hasShortDigits || decimalSeparator_.size() > kMaxSeparatorSize ||
      groupingSeparator_.size() > kMaxSeparatorSize) {
    return false;
  }
  constexpr const char* kSamples[] = {"0",       "1",    "-1",           "0.05",     "12.5",
                                      "-999",    "1234", "-12345.678",   "999999.5", "1234567.891",
                                      "-123456", "1e12", "-9876543.2101"};
  return std::all_of(std::begin(kSamples), std::end(kSamples), [this](const char* sample) {
    const Decimal value = Decimal::fromText(sample)->rounded(maximumFractionDigits_, RoundingMode::bankers);
    return formatHere(value) == formatWithICU(value);
  });
}

std::string NumberStyle::format(const Decimal& value) const {
  const int scale = maximumFractionDigits_ + (kind_ == Kind::kPercent ? 2 : 0);
  const Decimal shown = value.rounded(scale, RoundingMode::bankers);
  if (canFormatHere_) {
    if (auto text = formatHere(shown)) return *std::move(text);
  }
  return formatWithICU(shown);
}

std::string NumberStyle::formatWithICU(const Decimal& value) const {
  icu::DecimalFormat& format = *icu_->format;
  if (format.getMinimumFractionDigits() != minimumFractionDigits_ ||
      format.getMaximumFractionDigits() != maximumFractionDigits_) {
    format.setMinimumFractionDigits(minimumFractionDigits_);
    format.setMaximumFractionDigits(maximumFractionDigits_);
  }
  return icu_->write(value);
}

std::optional<std::string> NumberStyle::formatHere(const Decimal& value) const {
  char plain[Decimal::kMaxTextSize];
  const Decimal shown = kind_ == Kind::kPercent ? value.multipliedByPowerOf10(2) : value;
  if (shown.isNaN()) return std::nullopt;
  const char* const end = shown.write(plain);
  std::string_view integer(plain, static_cast<std::size_t>(end - plain));
  if (shown.isNegative()) integer.remove_prefix(1);
  if (integer.size() > kMaxDigits) return std::nullopt;
  const std::size_t point = std::min(integer.find('.'), integer.size());
  const std::string_view fraction = integer.substr(std::min(point + 1, integer.size()));
  integer = integer.substr(0, point);

  char buffer[kBufferSize];
  char* out = buffer;
  const auto put = [&out](std::string_view text) {
    std::memcpy(out, text.data(), text.size());
    out += text.size();
  };
  const auto putDigits = [&](std::string_view digits) {
    if (digits_.front().empty()) return put(digits);
    for (const char digit : digits) put(digits_[static_cast<std::size_t>(digit - '0')]);
  };
  const Affixes& affixes = shown.isNegative() ? negative_ : positive_;
  put(affixes.prefix);
  if (primaryGroupingSize_ == 0 || integer.size() <= primaryGroupingSize_) {
    putDigits(integer);
  } else {
    const std::size_t grouped = integer.size() - primaryGroupingSize_;
    std::size_t size = grouped % secondaryGroupingSize_;  // of the first group, which may be short
    if (size == 0) size = secondaryGroupingSize_;
    for (std::size_t at = 0; at < grouped; at += std::exchange(size, secondaryGroupingSize_)) {
      putDigits(integer.substr(at, size));
      put(groupingSeparator_);
    }
    putDigits(integer.substr(grouped));
  }
  const auto least = static_cast<std::size_t>(minimumFractionDigits_);
  if (!fraction.empty() || least > 0) {
    put(decimalSeparator_);
    putDigits(fraction);
    for (std::size_t i = fraction.size(); i < least; ++i) putDigits("0");
  }
  put(affixes.suffix);
  return std::string(buffer, static_cast<std::size_t>(out - buffer));
}

}  // namespace qw
