#include "values/collections/QWBoolean.h"
#include "values/collections/QWCharacterSeparator.h"
#include "values/collections/QWStringEncoding.h"
#include "values/dates/QWDateFormatter.h"
#include "values/dates/QWDuration.h"
#include "values/numbers/QWCurrencyFormatter.h"
#include "values/numbers/QWPercentageFormatter.h"

// All that archives and stores find by name, for `qw::ClassRegistry::addFrameworkClasses`. Written down here
// and not said by each class, because a linker drops a static library's parts that nothing refers to.
extern "C" [[gnu::visibility("default")]] void qw_addFrameworkClasses();

void qw_addFrameworkClasses() {
  qw::ClassRegistry::add({&QWBoolean::kClass, &QWStringEncoding::kClass, &QWCharacterSeparator::kClass,
                          &QWDateFormatter::kClass, &QWNumberFormatter::kClass, &QWCurrencyFormatter::kClass,
                          &QWPercentageFormatter::kClass});
  QWDuration::addArchiveClasses();
  QWCurrency::addArchiveClasses();
}
