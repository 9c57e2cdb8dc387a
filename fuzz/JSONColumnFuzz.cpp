#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "values/text/QWJSONSerializationAdditions.h"

// Whatever text is read: a failure says why; a value is written, read again as the same value and written as
// the same text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace QWJSONSerializationAdditions;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const JSONOptions options = {.fragmentsAllowed = true, .prettyPrinted = size % 2 == 1};
  qw::Error error;
  const auto value = JSONObjectFromString(text, options, &error);
  if (!value) {
    if (!error || error.localizedDescription.empty()) std::abort();
    return 0;
  }
  const auto written = JSONRepresentationFromObject(*value, options);
  if (!written) std::abort();
  const auto again = JSONObjectFromString(*written, options);
  if (!again || !(*again == *value)) std::abort();
  if (JSONRepresentationFromObject(*again, options) != written) std::abort();
  return 0;
}
