#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <vector>

#include "bench/Bench.h"
#include "platform/system/ApplicationContext.h"
#include "values/numbers/QWCurrencyFormatter.h"

namespace {

using qw::Decimal;
using qw::bench::keep;

constexpr std::size_t kCount = 1'000'000;

/// Amounts as in a household book: most below a thousand, some of millions, every third an income or a
/// refund.
std::vector<Decimal> amounts() {
  std::vector<Decimal> result;
  std::mt19937_64 random(1);
  for (std::size_t i = 0; i < kCount; ++i) {
    const std::uint64_t bound = i % 16 == 0 ? 1'000'000'000 : i % 4 == 0 ? 1'000'000 : 50'000;
    const auto cents = static_cast<std::int64_t>(random() % bound);
    result.push_back(Decimal::withMantissa(i % 3 == 0 ? -cents : cents, -2));
  }
  return result;
}

/// What a program would write that uses ICU alone: exact decimals in and out, strict reading.
class ICUFormat {
 public:
  explicit ICUFormat(UNumberFormatStyle style) {
    UErrorCode status = U_ZERO_ERROR;
    format_.reset(icu::NumberFormat::createInstance(icu::Locale("en_US"), style, status));
    format_->setMinimumFractionDigits(2);
    format_->setMaximumFractionDigits(2);
    format_->setLenient(false);
  }

  const std::string& write(const Decimal& value) {
    char digits[Decimal::kMaxTextSize];
    const auto size = static_cast<std::int32_t>(value.write(digits) - digits);
    UErrorCode status = U_ZERO_ERROR;
    wide_.remove();
    format_->format(icu::StringPiece(digits, size), wide_, nullptr, status);
    text_.clear();
    return wide_.toUTF8String(text_);
  }

  std::optional<Decimal> read(const std::string& text) {
    const auto wide = icu::UnicodeString::fromUTF8(text);
    icu::ParsePosition position;
    icu::Formattable number;  // one that is used again would keep its first digits
    format_->parse(wide, number, position);
    if (position.getIndex() != wide.length()) return std::nullopt;
    UErrorCode status = U_ZERO_ERROR;
    const icu::StringPiece digits = number.getDecimalNumber(status);
    return Decimal::fromText({digits.data(), static_cast<std::size_t>(digits.size())});
  }

 private:
  std::unique_ptr<icu::NumberFormat> format_;
  icu::UnicodeString wide_;
  std::string text_;
};

class InEnglish {
 private:
  qw::ApplicationContext::Override context_;
};

void setUp(QWNumberFormatter& formatter) {
  formatter.setMinimumFractionDigits(2);
  formatter.setMaximumFractionDigits(2);
}

void setUp(QWCurrencyFormatter& formatter) {
  const QWCurrency dollar("USD", "$", 2, 1);
  formatter.setCurrency(dollar);
  formatter.setCurrencies({dollar, {"EUR", "€", 2, 2}, {"GBP", "£", 2, 2}, {"CHF", "CHF", 2, 1}});
}

template <class Formatter>
void measureFormat(qw::bench::Run& run, UNumberFormatStyle style) {
  const InEnglish english;
  const std::vector<Decimal> values = amounts();
  Formatter formatter;
  setUp(formatter);
  ICUFormat icu(style);
  run.measure(
      [&] {
        for (const Decimal& value : values) keep(formatter.stringForObjectValue(value));
      },
      [&] {
        for (const Decimal& value : values) keep(icu.write(value));
      });
}

template <class Formatter>
void measureParse(qw::bench::Run& run, UNumberFormatStyle style) {
  const InEnglish english;
  Formatter formatter;
  setUp(formatter);
  std::vector<std::string> texts;
  for (const Decimal& value : amounts()) texts.push_back(formatter.stringForObjectValue(value));
  ICUFormat icu(style);
  Decimal ours, theirs;
  run.measure(
      [&] {
        ours = 0;
        std::optional<Decimal> value;
        for (const std::string& text : texts) {
          if (formatter.getObjectValue(value, text)) ours += *value;
        }
      },
      [&] {
        theirs = 0;
        for (const std::string& text : texts) {
          if (const auto value = icu.read(text)) theirs += *value;
        }
      });
  run.figure("sums differ by", (ours - theirs).toDouble());
}

const qw::bench::Benchmark kFormat("format_amount_1m", [](qw::bench::Run& run) {
  measureFormat<QWNumberFormatter>(run, UNUM_DECIMAL);
});
const qw::bench::Benchmark kFormatCurrency("format_currency_1m", [](qw::bench::Run& run) {
  measureFormat<QWCurrencyFormatter>(run, UNUM_CURRENCY);
});
const qw::bench::Benchmark kParse("parse_amount_1m", [](qw::bench::Run& run) {
  measureParse<QWNumberFormatter>(run, UNUM_DECIMAL);
});
const qw::bench::Benchmark kParseCurrency("parse_currency_1m", [](qw::bench::Run& run) {
  measureParse<QWCurrencyFormatter>(run, UNUM_CURRENCY);
});

/// The limit is one addition of 128-bit integers for the three operations.
const qw::bench::Benchmark kArithmetic("decimal_add_mul_div_1m", [](qw::bench::Run& run) {
  const std::vector<Decimal> values = amounts();
  std::vector<unsigned __int128> integers;
  for (std::size_t i = 0; i < kCount; ++i) integers.push_back(static_cast<unsigned __int128>(i) << 40);
  const Decimal rate = *Decimal::fromText("1.19"), share(7);
  run.measure(
      [&] {
        for (std::size_t i = 1; i < kCount; ++i) keep((values[i] + values[i - 1]) * rate / share);
      },
      [&] {
        for (std::size_t i = 1; i < kCount; ++i) keep(integers[i] + integers[i - 1]);
      });
});

}  // namespace
