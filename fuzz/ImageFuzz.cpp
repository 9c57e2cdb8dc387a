#include <cstdlib>

#include "platform/base/Image.h"

// A picture that can be reduced fits, and can be decoded again; one that cannot is refused by every
// operation.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const auto image = qw::Image::fromPNG(qw::Data(std::span(bytes, size)), 2);
  if (!image || image->pixelWidth() > 2000 || image->pixelHeight() > 2000) return 0;
  const auto rounded = image->rounded({24, 24}, 2);
  const auto reduced = image->resizedToFit({8, 8});
  if (image->jpeg(0.5).has_value() != rounded.has_value()) std::abort();
  if (!rounded) return 0;
  if (!reduced || reduced->size().width > 8 || reduced->size().height > 8) std::abort();
  if (!rounded->jpeg(1) || !reduced->jpeg(1)) std::abort();
  return 0;
}
