#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "values/numbers/NumberStyle.h"

// The input is a locale, a kind, how many digits are shown, a mantissa and an exponent. Whatever they are,
// the number is written as ICU writes it, and a decimal that is shown whole is read again.
namespace {

using Kind = qw::NumberStyle::Kind;

constexpr std::array kLocales = {"en_US", "fr_FR", "de_DE", "de_CH", "de_AT", "ja_JP", "ar_EG", "fa_IR",
                                 "he_IL", "hi_IN", "sv_SE", "es_ES", "pl_PL", "pt_PT", "bn_BD", "my_MM",
                                 "en_ZA", "tr_TR", "eu_ES", "nl_NL", "nb_NO", "es_CL"};
constexpr std::array kKinds = {UNUM_DECIMAL, UNUM_CURRENCY, UNUM_PERCENT};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  std::int64_t mantissa = 0;
  if (size < 4 + sizeof mantissa) return 0;
  const char* locale = kLocales[data[0] % kLocales.size()];
  const std::size_t kind = data[1] % kKinds.size();
  const int digits = data[2] % 8;
  std::memcpy(&mantissa, data + 4, sizeof mantissa);
  const qw::Decimal value = qw::Decimal::withMantissa(mantissa, data[3] % 24 - 16);

  qw::NumberStyle::Options options;
  options.kind = static_cast<Kind>(kind);
  qw::NumberStyle style(locale, options);
  style.setMinimumFractionDigits(0);
  style.setMaximumFractionDigits(digits);
  UErrorCode status = U_ZERO_ERROR;
  const std::unique_ptr<icu::NumberFormat> format(
      icu::NumberFormat::createInstance(icu::Locale(locale), kKinds[kind], status));
  format->setMinimumFractionDigits(0);
  format->setMaximumFractionDigits(digits);
  const int scale = digits + (static_cast<Kind>(kind) == Kind::kPercent ? 2 : 0);
  const qw::Decimal shown = value.rounded(scale, qw::RoundingMode::bankers);
  icu::UnicodeString expected;
  std::string expectedText;
  format->format(icu::StringPiece(shown.text()), expected, nullptr, status);
  const std::string text = style.format(value);
  if (U_FAILURE(status) || text != expected.toUTF8String(expectedText)) std::abort();
  if (static_cast<Kind>(kind) != Kind::kDecimal) return 0;
  for (const auto separators : {qw::NumberReader::Separators::kGuessed, qw::NumberReader::Separators::kOwn})
    if (style.reader().read(text, separators) != shown) std::abort();
  return 0;
}
