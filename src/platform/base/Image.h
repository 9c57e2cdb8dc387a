#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "platform/base/Color.h"
#include "platform/base/Data.h"
#include "platform/base/Export.h"
#include "platform/base/Size.h"

namespace qw {

/// An immutable picture: PNG bytes (ISO/IEC 15948) and a scale, the number of pixels to a point. Copies share
/// one representation, which any thread may read. Pixels are decoded only by the operations that draw, each
/// time anew, so that a store full of icons costs no more than its bytes; these operations answer none when
/// the bytes turn out to be damaged or the result would exceed `kMaximumPixels`.
class QW_EXPORT Image {
 public:
  /// The largest picture that is decoded or drawn (256 MiB of pixels).
  static constexpr std::int64_t kMaximumPixels = 64 * 1024 * 1024;

  /// An image with exactly these bytes. None when they do not begin like a PNG, or when it is empty or larger
  /// than `kMaximumPixels`. A scale that is not a positive finite number counts as 1.
  static std::optional<Image> fromPNG(Data png, double scale = 1);
  /// The text, drawn in the colour in the middle of a transparent icon and as large as fits.
  static std::optional<Image> textIcon(std::string_view text, Size size, Color color, double scale = 1);
  /// A rectangle filled with the colour.
  static std::optional<Image> colorIcon(Color color, Size size, double scale = 1);

  /// In points: pixels divided by the scale.
  Size size() const;
  /// Pixels to a point; positive.
  double scale() const { return representation_->scale; }
  /// At least 1.
  int pixelWidth() const { return representation_->width; }
  /// At least 1.
  int pixelHeight() const { return representation_->height; }
  /// The bytes the image was made from, or those of what was drawn.
  const Data& png() const { return representation_->png; }

  /// The image reduced to fit into a size in points, keeping its aspect ratio (to the pixel) and its scale.
  /// An image that fits is returned as it is, undecoded.
  std::optional<Image> resizedToFit(Size maximum) const;
  /// An image of exactly this size in points: the receiver fitted into it, centred, its corners rounded.
  std::optional<Image> rounded(Size size, double cornerRadius) const;
  /// The JPEG form (ISO/IEC 10918-1) on a white background; quality from 0 to 1. Colours keep their full
  /// resolution.
  std::optional<Data> jpeg(double quality) const;

  /// Whether both are copies of one image, which is cheaper than comparing the bytes.
  bool isIdentical(const Image& other) const { return representation_ == other.representation_; }
  /// The same bytes at the same scale.
  friend bool operator==(const Image& a, const Image& b) {
    return a.isIdentical(b) || (a.scale() == b.scale() && a.png() == b.png());
  }

 private:
  struct Representation {
    Data png;
    double scale;
    int width;
    int height;
  };

  explicit Image(Representation representation)
      : representation_(std::make_shared<const Representation>(std::move(representation))) {}

  std::shared_ptr<const Representation> representation_;
};

}  // namespace qw
