#include "values/numbers/FastNumberWriter.h"

#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/fpositer.h>

#include <algorithm>
#include <cstring>
#include <string_view>
#include <utility>

#include "values/text/internal/ICUText.h"

namespace qw {

namespace {

// Longer ones are left to ICU, so that what is written here fits a buffer.
constexpr std::size_t kMaxDigits = 64;
constexpr std::size_t kMaxAffixSize = 64;
constexpr std::size_t kMaxSeparatorSize = 8;
constexpr std::size_t kMaxDigitSize = 4;
constexpr std::size_t kBufferSize = (kMaxDigits + -Decimal::kMinExponent) * kMaxDigitSize +
                                    kMaxDigits * kMaxSeparatorSize + 2 * kMaxAffixSize;

icu::UnicodeString writtenByICU(const icu::DecimalFormat& format, const Decimal& value,
                                icu::FieldPositionIterator* fields) {
  char text[Decimal::kMaxTextSize];
  const auto size = static_cast<std::int32_t>(value.write(text) - text);
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeString out;
  format.format(icu::StringPiece(text, size), out, fields, status);
  return out;
}

}  // namespace

std::string FastNumberWriter::writeWithICU(const icu::DecimalFormat& format, const Decimal& value) {
  return utf8(writtenByICU(format, value, nullptr));
}

FastNumberWriter::Affixes FastNumberWriter::affixes(const icu::DecimalFormat& format, const Decimal& value) {
  icu::FieldPositionIterator fields;
  const icu::UnicodeString text = writtenByICU(format, value, &fields);
  std::int32_t begin = 0, end = 0;
  icu::FieldPosition field;
  while (fields.next(field)) {
    if (field.getField() == UNUM_INTEGER_FIELD) begin = field.getBeginIndex();
    if (field.getField() == UNUM_INTEGER_FIELD || field.getField() == UNUM_FRACTION_FIELD)
      end = std::max(end, field.getEndIndex());
  }
  return {utf8(text.tempSubString(0, begin)), utf8(text.tempSubString(end))};
}

FastNumberWriter::FastNumberWriter(const icu::DecimalFormat& format, std::string decimalSeparator,
                                   std::string groupingSeparator, int powerOf10)
    : decimalSeparator_(std::move(decimalSeparator)),
      groupingSeparator_(std::move(groupingSeparator)),
      powerOf10_(powerOf10),
      positive_(affixes(format, Decimal(1).multipliedByPowerOf10(-powerOf10))),
      negative_(affixes(format, Decimal(-1).multipliedByPowerOf10(-powerOf10))) {
  const icu::DecimalFormatSymbols& symbols = *format.getDecimalFormatSymbols();
  primaryGroupingSize_ =
      format.isGroupingUsed() ? static_cast<std::size_t>(std::max(0, format.getGroupingSize())) : 0;
  const std::int32_t secondary = format.getSecondaryGroupingSize();
  secondaryGroupingSize_ = secondary > 0 ? static_cast<std::size_t>(secondary) : primaryGroupingSize_;
  for (std::size_t i = 0; i < digits_.size(); ++i)
    digits_[i] = utf8(symbols.getConstDigitSymbol(static_cast<std::int32_t>(i)));
  if (digits_.front() == "0" && digits_.back() == "9") digits_ = {};
}

bool FastNumberWriter::fits() const {
  const auto isShort = [](const Affixes& affixes) {
    return affixes.prefix.size() <= kMaxAffixSize && affixes.suffix.size() <= kMaxAffixSize;
  };
  return isShort(positive_) && isShort(negative_) && decimalSeparator_.size() <= kMaxSeparatorSize &&
         groupingSeparator_.size() <= kMaxSeparatorSize &&
         std::all_of(digits_.begin(), digits_.end(), [this](const std::string& digit) {
           return digit.size() <= kMaxDigitSize && digit.empty() == digits_.front().empty();
         });
}

bool FastNumberWriter::agreesWithICU(const icu::DecimalFormat& format) const {
  if (!fits()) return false;
  constexpr const char* kSamples[] = {"0",       "1",    "-1",           "0.05",     "12.5",
                                      "-999",    "1234", "-12345.678",   "999999.5", "1234567.891",
                                      "-123456", "1e12", "-9876543.2101"};
  return std::all_of(std::begin(kSamples), std::end(kSamples), [&](const char* sample) {
    const Decimal value = Decimal::fromText(sample)->rounded(format.getMaximumFractionDigits() + powerOf10_,
                                                             RoundingMode::bankers);
    return write(value, format.getMinimumFractionDigits()) == writeWithICU(format, value);
  });
}

std::optional<std::string> FastNumberWriter::write(const Decimal& value, int minimumFractionDigits) const {
  char plain[Decimal::kMaxTextSize];
  const Decimal shown = value.multipliedByPowerOf10(powerOf10_);
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
  const auto least = static_cast<std::size_t>(minimumFractionDigits);
  if (!fraction.empty() || least > 0) {
    put(decimalSeparator_);
    putDigits(fraction);
    for (std::size_t i = fraction.size(); i < least; ++i) putDigits("0");
  }
  put(affixes.suffix);
  return std::string(buffer, static_cast<std::size_t>(out - buffer));
}

}  // namespace qw
