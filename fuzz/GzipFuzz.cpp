#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>

#include "values/text/QWDataAdditions.h"

// Whatever bytes are inflated: the result keeps its bound. Bytes survive compression, Base64 in lines or in
// one, and text that decodes as Base64 is exactly the text of what it decodes to.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace QWDataAdditions;
  constexpr std::size_t kLimit = 1 << 20;
  const qw::Data bytes(std::span<const std::uint8_t>(data, size));

  const auto inflated = gzipInflate(bytes, kLimit);
  if (inflated && inflated->size() > kLimit) std::abort();

  const auto deflated = gzipDeflate(bytes);
  if (!deflated || gzipInflate(*deflated, size) != bytes) std::abort();
  if (size > 0 && gzipInflate(*deflated, size - 1)) std::abort();

  for (const bool lines : {false, true}) {
    if (dataFromBase64String(base64EncodedString(bytes, lines)) != bytes) std::abort();
  }
  if (const auto decoded = dataFromBase64String(bytes.text())) {
    if (bytes.text().find_first_of("\r\n") == std::string_view::npos &&
        base64EncodedString(*decoded, false) != bytes.text()) {
      std::abort();
    }
  }
  return 0;
}
