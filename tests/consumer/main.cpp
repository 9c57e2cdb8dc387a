#include <platform/base/UUID.h>
#include <platform/ui/Control.h>
#include <values/dates/QWDateAdditions.h>
#include <values/numbers/QWNumberFormatter.h>
#include <values/text/QWStringAdditions.h>

#include <cstdio>
#include <typeinfo>

// The program's own classes, under names that the framework uses for other things.
class NumberReader {
 public:
  static int current() { return 1; }
  double numbers[64] = {2};
};

class UserCalendar {
 public:
  static UserCalendar& current();
  int days[64] = {3};
};

UserCalendar& UserCalendar::current() {
  static UserCalendar calendar;
  return calendar;
}

int main() {
  const auto identifier = qw::UUID::random();
  if (qw::UUID::fromCanonicalText(identifier.text()) != identifier) return 1;
  if (QWStringAdditions::compareToVersion("1.10", "1.9") <= 0) return 2;

  const NumberReader reader;
  if (NumberReader::current() + reader.numbers[0] + UserCalendar::current().days[0] != 6) return 3;
  if (QWNumberFormatter::parseString("12.50 + 3 * 2") != qw::Decimal::fromText("18.5")) return 4;
  const qw::Date day = QWDateAdditions::dateWithYear(2024, 2, 29);
  if (QWDateAdditions::yearOfCommonEra(QWDateAdditions::dateByAddingYears(day, 1, 0, 0)) != 2025) return 5;

  // A property whose table lies in the library, set by an inline function: it is found by an address that
  // both share.
  const auto control = qw::Control::make(qw::Control::Kind::kSwitch, "Sound", true);
  int notices = 0;
  const auto observation = control->observe("hidden", [&](const auto&) { ++notices; });
  control->setHidden(true);
  if (!control->valueForKey("hidden").boolValue() || notices != 1) return 6;

  // Type information is shared, too.
  const std::shared_ptr<qw::Object> object = control;
  if (typeid(*object) != typeid(qw::Control) || !dynamic_cast<qw::Control*>(object.get())) return 7;
  if (qw::Value(object).objectAs<qw::Control>() != control) return 8;
  std::puts("consumer runs");
}
