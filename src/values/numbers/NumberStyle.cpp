#include "values/numbers/NumberStyle.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "values/text/internal/Blanks.h"
#include "values/text/internal/ICUText.h"

namespace qw {

namespace {

using Symbol = icu::DecimalFormatSymbols::ENumberFormatSymbol;

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

// The place of what separates the format of negative numbers; the length without one.
std::int32_t endOfPositive(const icu::UnicodeString& pattern) {
  bool quoted = false;
  std::int32_t end = 0;
  for (; end < pattern.length() && (quoted || pattern[end] != u';'); ++end) quoted ^= pattern[end] == u'\'';
  return end;
}

icu::UnicodeString patternOf(const icu::DecimalFormat& format) {
  icu::UnicodeString pattern;
  return format.toPattern(pattern);
}

bool hasAccountingFormat(const icu::DecimalFormat& format) {
  const icu::UnicodeString pattern = patternOf(format);
  const std::int32_t negative = endOfPositive(pattern);
  icu::UnicodeString suffix;
  format.getNegativeSuffix(suffix);
  const icu::UnicodeString& minus =
      format.getDecimalFormatSymbols()->getConstSymbol(Symbol::kMinusSignSymbol);
  return pattern.indexOf(u'(', negative) >= 0 || pattern.indexOf(u')', negative) >= 0 ||
         suffix.indexOf(u'-') >= 0 || (!minus.isEmpty() && suffix.indexOf(minus) >= 0);
}

// Accounting parentheses and a minus sign behind the number give way to one before it.
void checkNegativeFormat(icu::DecimalFormat& format) {
  if (!hasAccountingFormat(format)) return;
  const icu::UnicodeString pattern = patternOf(format);
  UErrorCode status = U_ZERO_ERROR;
  format.applyPattern(pattern.tempSubString(0, endOfPositive(pattern)), status);
}

void applyFormats(icu::DecimalFormat& format, const NumberStyle::Options& options) {
  if (!options.positiveFormat && !options.negativeFormat) return;
  icu::UnicodeString pattern = patternOf(format);
  const std::int32_t end = endOfPositive(pattern);
  pattern = options.positiveFormat ? utf16(*options.positiveFormat) : icu::UnicodeString(pattern, 0, end);
  if (options.negativeFormat) pattern += utf16(";" + *options.negativeFormat);
  UErrorCode status = U_ZERO_ERROR;
  format.applyPattern(pattern, status);
}

void applyAffixesAndGroups(icu::DecimalFormat& format, const NumberStyle::Options& options) {
  if (options.positivePrefix) format.setPositivePrefix(utf16(*options.positivePrefix));
  if (options.positiveSuffix) format.setPositiveSuffix(utf16(*options.positiveSuffix));
  if (options.negativePrefix) format.setNegativePrefix(utf16(*options.negativePrefix));
  if (options.negativeSuffix) format.setNegativeSuffix(utf16(*options.negativeSuffix));
  if (options.usesGroupingSeparator) format.setGroupingUsed(*options.usesGroupingSeparator);
  const auto cut = [](int size) { return std::clamp(size, 1, NumberStyle::kMaxGroupingSize); };
  if (options.groupingSize) format.setGroupingSize(cut(*options.groupingSize));
  if (options.secondaryGroupingSize) format.setSecondaryGroupingSize(cut(*options.secondaryGroupingSize));
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

NumberStyle::NumberStyle(const std::string& locale, const Options& options)
    : icu_(makeFormat(locale, options.kind)),
      roundingMode_(options.roundingMode),
      roundingIncrement_(options.roundingIncrement),
      reader_(NumberNotation()) {
  icu::DecimalFormat& format = *icu_;
  UErrorCode status = U_ZERO_ERROR;
  if (options.currencyCode && isCurrencyCode(*options.currencyCode))
    format.setCurrency(utf16(*options.currencyCode).getTerminatedBuffer(), status);
  format.setRoundingIncrement(0);
  format.setRoundingMode(icu::DecimalFormat::kRoundHalfEven);

  const bool isCurrency = options.kind == Kind::kCurrency;
  icu::DecimalFormatSymbols symbols(*format.getDecimalFormatSymbols());
  const auto choose = [&](Symbol plain, Symbol monetary, const std::optional<std::string>& wish) {
    if (wish) {
      symbols.setSymbol(plain, utf16(*wish));
      symbols.setSymbol(monetary, utf16(*wish));
    }
    return utf8(symbols.getConstSymbol(isCurrency ? monetary : plain));
  };
  decimalSeparator_ =
      choose(Symbol::kDecimalSeparatorSymbol, Symbol::kMonetarySeparatorSymbol, options.decimalSeparator);
  groupingSeparator_ = choose(Symbol::kGroupingSeparatorSymbol, Symbol::kMonetaryGroupingSeparatorSymbol,
                              options.groupingSeparator);
  if (options.currencySymbol) {
    symbols.setSymbol(Symbol::kCurrencySymbol, utf16(*options.currencySymbol));
  } else if (options.currencyCode && !isCurrencyCode(*options.currencyCode)) {
    symbols.setSymbol(Symbol::kCurrencySymbol, utf16(*options.currencyCode));
  }
  format.setDecimalFormatSymbols(symbols);
  checkNegativeFormat(format);
  applyFormats(format, options);
  if (isCurrency && options.currencySymbol && options.currencySymbol->empty()) trimAffixes(format);

  applyAffixesAndGroups(format, options);

  percentSign_ = utf8(symbols.getConstSymbol(Symbol::kPercentSymbol));
  minimumFractionDigits_ = format.getMinimumFractionDigits();
  maximumFractionDigits_ = format.getMaximumFractionDigits();
  if (options.minimumFractionDigits) setMinimumFractionDigits(*options.minimumFractionDigits);
  if (options.maximumFractionDigits) setMaximumFractionDigits(*options.maximumFractionDigits);
  for (int factor = format.getMultiplier(); factor >= 10; factor /= 10) ++powerOf10_;
  showDigits();
  writer_ = FastNumberWriter(format, decimalSeparator_, groupingSeparator_, powerOf10_);
  isFast_ = writer_.agreesWithICU(format);

  const auto size = [](std::int32_t groupingSize, std::size_t usual) {
    return groupingSize > 0 ? static_cast<std::size_t>(groupingSize) : usual;
  };
  const std::size_t primary = size(format.getGroupingSize(), NumberNotation().groupingSize);
  reader_ = NumberReader({.decimalSeparator = decimalSeparator_,
                          .groupingSeparator = groupingSeparator_,
                          .minusSign = utf8(symbols.getConstSymbol(Symbol::kMinusSignSymbol)),
                          .groupingSize = primary,
                          .secondaryGroupingSize = size(format.getSecondaryGroupingSize(), primary)});
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

std::string NumberStyle::format(const Decimal& value) const {
  const Decimal shown = rounded(value);
  if (isFast_) {
    if (auto text = writer_.write(shown, minimumFractionDigits_)) return *std::move(text);
  }
  showDigits();
  return FastNumberWriter::writeWithICU(*icu_, shown);
}

Decimal NumberStyle::rounded(const Decimal& value) const {
  Decimal result = value;
  if (!roundingIncrement_.isZero()) {
    const Decimal unit = roundingIncrement_.multipliedByPowerOf10(-powerOf10_);
    result = (value / unit).rounded(0, roundingMode_) * unit;
  }
  return result.rounded(maximumFractionDigits_ + powerOf10_, roundingMode_);
}

void NumberStyle::showDigits() const {
  if (icu_->getMinimumFractionDigits() == minimumFractionDigits_ &&
      icu_->getMaximumFractionDigits() == maximumFractionDigits_) {
    return;
  }
  icu_->setMinimumFractionDigits(minimumFractionDigits_);
  icu_->setMaximumFractionDigits(maximumFractionDigits_);
}

std::string NumberStyle::positiveFormat() const {
  const icu::UnicodeString pattern = patternOf(*icu_);
  return utf8(pattern.tempSubString(0, endOfPositive(pattern)));
}

std::string NumberStyle::negativeFormat() const {
  const icu::UnicodeString pattern = patternOf(*icu_);
  const std::int32_t end = endOfPositive(pattern);
  return end < pattern.length() ? utf8(pattern.tempSubString(end + 1)) : "-" + utf8(pattern);
}

std::string NumberStyle::affix(Affix affix) const {
  icu::UnicodeString text;
  switch (affix) {
    case Affix::kPositivePrefix:
      return utf8(icu_->getPositivePrefix(text));
    case Affix::kPositiveSuffix:
      return utf8(icu_->getPositiveSuffix(text));
    case Affix::kNegativePrefix:
      return utf8(icu_->getNegativePrefix(text));
    case Affix::kNegativeSuffix:
      break;
  }
  return utf8(icu_->getNegativeSuffix(text));
}

bool NumberStyle::usesGroupingSeparator() const { return icu_->isGroupingUsed(); }
int NumberStyle::groupingSize() const { return icu_->getGroupingSize(); }
int NumberStyle::secondaryGroupingSize() const { return icu_->getSecondaryGroupingSize(); }
bool NumberStyle::isAccounting() const { return hasAccountingFormat(*icu_); }

bool NumberStyle::isFormat(std::string_view text) {
  if (text.empty() || text.size() > kMaxFormatSize) return false;
  const icu::UnicodeString pattern = utf16(text);
  if (endOfPositive(pattern) != pattern.length()) return false;
  UErrorCode status = U_ZERO_ERROR;
  const icu::DecimalFormat format(pattern, icu::DecimalFormatSymbols(icu::Locale::getRoot(), status), status);
  return U_SUCCESS(status);
}

}  // namespace qw
