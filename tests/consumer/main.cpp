#include <platform/base/UUID.h>
#include <platform/base/internal/Resources.h>
#include <values/text/QWStringAdditions.h>

#include <cstdio>

int main() {
  const auto identifier = qw::UUID::random();
  if (qw::UUID::fromCanonicalText(identifier.text()) != identifier) return 1;
  if (QWStringAdditions::compareToVersion("1.10", "1.9") <= 0) return 2;
  if (qw::resource("no such resource")) return 3;
  std::puts("consumer runs");
}
