#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string_view>

#include "platform/base/internal/CivilDate.h"
#include "platform/system/DateText.h"
#include "platform/system/TimeZone.h"

// Whatever text is read as a date of a store: what is written for it fits its stated size, reads back as the
// same date, and is written the same again.
namespace {

using qw::Date;

using Read = std::optional<Date> (*)(std::string_view, qw::DateText::ShortYear);

void check(std::string_view text, Read read, char* (*write)(Date, char*)) {
  const auto date = read(text, qw::DateText::ShortYear::keep);
  const auto repaired = read(text, qw::DateText::ShortYear::japaneseEra);
  if (date.has_value() != repaired.has_value()) std::abort();
  if (!date) return;
  char buffer[qw::DateText::kMaxSize];
  const std::string_view written(buffer, static_cast<std::size_t>(write(*date, buffer) - buffer));
  if (written.size() > sizeof buffer) std::abort();
  // Years before 1 are counted as before Christ, without a sign.
  constexpr std::int64_t kFirst = qw::CivilDate::days(1, 1, 2) * qw::CivilDate::kSecondsPerDay;
  if (date->seconds() < kFirst || written.size() != text.size()) return;
  if (read(written, qw::DateText::ShortYear::keep) != date) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const qw::TimeZone::Override zone("America/Sao_Paulo");
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  check(text, qw::DateText::readDate, qw::DateText::writeDate);
  check(text, qw::DateText::readDateTime, qw::DateText::writeDateTime);
  return 0;
}
