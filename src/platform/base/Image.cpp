#include "platform/base/Image.h"

#include <cairo.h>
#include <glib.h>
#include <jpeglib.h>
#include <pango/pangocairo.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <csetjmp>
#include <cstdlib>
#include <cstring>
#include <numbers>
#include <vector>

namespace qw {
namespace {

struct Release {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
  void operator()(cairo_t* context) const { cairo_destroy(context); }
  void operator()(PangoLayout* layout) const { g_object_unref(layout); }
  void operator()(PangoFontDescription* font) const { pango_font_description_free(font); }
  void operator()(char* text) const { g_free(text); }
};
template <class T>
using Owned = std::unique_ptr<T, Release>;
using Surface = Owned<cairo_surface_t>;

// The largest side that cairo can draw, well below the 65,500 of JPEG.
constexpr int kMaximumSide = 32767;

struct PixelSize {
  int width;
  int height;
};

double validScale(double scale) { return std::isfinite(scale) && scale > 0 ? scale : 1; }

bool isDrawable(double width, double height) {
  return width >= 1 && height >= 1 && width <= kMaximumSide && height <= kMaximumSide &&
         width * height <= static_cast<double>(Image::kMaximumPixels);
}

std::optional<PixelSize> pixelSize(Size size, double scale) {
  const double width = std::round(size.width * scale);
  const double height = std::round(size.height * scale);
  if (!isDrawable(width, height)) return std::nullopt;
  return PixelSize{static_cast<int>(width), static_cast<int>(height)};
}

// Width and height as the header of a PNG states them, so that a small file that claims to be huge is never
// decoded.
std::optional<PixelSize> pngPixelSize(std::span<const std::uint8_t> png) {
  static constexpr std::uint8_t kStart[] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1A, '\n',
                                            0,    0,   0,   13,  'I',  'H',  'D',  'R'};
  if (png.size() < 33 || !std::equal(std::begin(kStart), std::end(kStart), png.begin())) return std::nullopt;
  const auto bigEndian = [&](std::size_t at) {
    return static_cast<double>(std::uint32_t{png[at]} << 24 | std::uint32_t{png[at + 1]} << 16 |
                               std::uint32_t{png[at + 2]} << 8 | png[at + 3]);
  };
  const double width = bigEndian(16);
  const double height = bigEndian(20);
  if (!isDrawable(width, height)) return std::nullopt;
  return PixelSize{static_cast<int>(width), static_cast<int>(height)};
}

Surface decode(const Data& png) {
  auto rest = png.bytes();
  const auto read = [](void* closure, unsigned char* out, unsigned int length) {
    auto& bytes = *static_cast<std::span<const std::uint8_t>*>(closure);
    if (bytes.size() < length) return CAIRO_STATUS_READ_ERROR;
    std::memcpy(out, bytes.data(), length);
    bytes = bytes.subspan(length);
    return CAIRO_STATUS_SUCCESS;
  };
  Surface surface(cairo_image_surface_create_from_png_stream(read, &rest));
  if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) return nullptr;
  return surface;
}

std::optional<Data> encode(cairo_surface_t* surface) {
  std::vector<std::uint8_t> png;
  const auto write = [](void* closure, const unsigned char* bytes, unsigned int length) {
    auto& out = *static_cast<std::vector<std::uint8_t>*>(closure);
    out.insert(out.end(), bytes, bytes + length);
    return CAIRO_STATUS_SUCCESS;
  };
  if (cairo_surface_write_to_png_stream(surface, write, &png) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  return Data(std::move(png));
}

// The PNG of what `paint` draws on a transparent surface in pixels; none when drawing failed anywhere.
template <class Paint>
std::optional<Data> draw(PixelSize size, Paint paint) {
  Surface surface(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, size.width, size.height));
  Owned<cairo_t> context(cairo_create(surface.get()));
  paint(context.get());
  if (cairo_status(context.get()) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  return encode(surface.get());
}

// Paints the source over a rectangle. Pixels beyond its edges repeat the edge, so that borders stay opaque.
void paintScaled(cairo_t* context, cairo_surface_t* source, PixelSize pixels, double x, double y,
                 double width, double height) {
  cairo_translate(context, x, y);
  cairo_scale(context, width / pixels.width, height / pixels.height);
  cairo_set_source_surface(context, source, 0, 0);
  cairo_pattern_set_filter(cairo_get_source(context), CAIRO_FILTER_GOOD);
  cairo_pattern_set_extend(cairo_get_source(context), CAIRO_EXTEND_PAD);
  cairo_rectangle(context, 0, 0, pixels.width, pixels.height);
  cairo_fill(context);
}

void addRoundedRectangle(cairo_t* context, double x, double y, double width, double height, double radius) {
  constexpr double kQuarter = std::numbers::pi / 2;
  cairo_new_sub_path(context);
  cairo_arc(context, x + width - radius, y + radius, radius, -kQuarter, 0);
  cairo_arc(context, x + width - radius, y + height - radius, radius, 0, kQuarter);
  cairo_arc(context, x + radius, y + height - radius, radius, kQuarter, 2 * kQuarter);
  cairo_arc(context, x + radius, y + radius, radius, 2 * kQuarter, 3 * kQuarter);
  cairo_close_path(context);
}

// libjpeg ends the process on an error unless its handler leaves by another way.
struct JPEGErrorHandler {
  jpeg_error_mgr manager;
  std::jmp_buf leave;
};

// Holds nothing with a destructor between setjmp and longjmp. The caller frees `*bytes` in any case.
bool compressJPEG(const unsigned char* pixels, std::size_t stride, PixelSize size, int quality,
                  unsigned char** bytes, unsigned long* length) {
  jpeg_compress_struct compressor;
  JPEGErrorHandler handler;
  compressor.err = jpeg_std_error(&handler.manager);
  handler.manager.error_exit = [](j_common_ptr failed) {
    std::longjmp(reinterpret_cast<JPEGErrorHandler*>(failed->err)->leave, 1);
  };
  handler.manager.output_message = [](j_common_ptr) {};
  if (setjmp(handler.leave)) {
    jpeg_destroy_compress(&compressor);
    return false;
  }
  jpeg_create_compress(&compressor);
  jpeg_mem_dest(&compressor, bytes, length);
  compressor.image_width = static_cast<JDIMENSION>(size.width);
  compressor.image_height = static_cast<JDIMENSION>(size.height);
  compressor.input_components = 4;
  compressor.in_color_space = std::endian::native == std::endian::little ? JCS_EXT_BGRX : JCS_EXT_XRGB;
  jpeg_set_defaults(&compressor);
  jpeg_set_quality(&compressor, quality, TRUE);
  for (int i = 0; i < compressor.num_components; ++i) {
    compressor.comp_info[i].h_samp_factor = 1;
    compressor.comp_info[i].v_samp_factor = 1;
  }
  jpeg_start_compress(&compressor, TRUE);
  while (compressor.next_scanline < compressor.image_height) {
    JSAMPROW row = const_cast<JSAMPROW>(pixels + stride * compressor.next_scanline);
    jpeg_write_scanlines(&compressor, &row, 1);
  }
  jpeg_finish_compress(&compressor);
  jpeg_destroy_compress(&compressor);
  return true;
}

}  // namespace

std::optional<Image> Image::fromPNG(Data png, double scale) {
  const auto pixels = pngPixelSize(png.bytes());
  if (!pixels) return std::nullopt;
  return Image({std::move(png), validScale(scale), pixels->width, pixels->height});
}

std::optional<Image> Image::textIcon(std::string_view text, Size size, Color color, double scale) {
  scale = validScale(scale);
  const auto pixels = pixelSize(size, scale);
  if (!pixels) return std::nullopt;
  auto png = draw(*pixels, [&](cairo_t* context) {
    Owned<PangoLayout> layout(pango_cairo_create_layout(context));
    Owned<PangoFontDescription> font(pango_font_description_from_string("Sans Bold"));
    pango_font_description_set_absolute_size(font.get(), pixels->height * 0.75 * PANGO_SCALE);
    pango_layout_set_font_description(layout.get(), font.get());
    const Owned<char> valid(g_utf8_make_valid(text.data(), static_cast<gssize>(text.size())));
    pango_layout_set_text(layout.get(), valid.get(), -1);
    PangoRectangle ink;
    pango_layout_get_pixel_extents(layout.get(), &ink, nullptr);
    if (ink.width <= 0 || ink.height <= 0) return;
    const double fit =
        std::min({1.0, pixels->width / double(ink.width), pixels->height / double(ink.height)});
    cairo_translate(context, (pixels->width - ink.width * fit) / 2, (pixels->height - ink.height * fit) / 2);
    cairo_scale(context, fit, fit);
    cairo_translate(context, -ink.x, -ink.y);
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
    pango_cairo_show_layout(context, layout.get());
  });
  if (!png) return std::nullopt;
  return Image({std::move(*png), scale, pixels->width, pixels->height});
}

std::optional<Image> Image::colorIcon(Color color, Size size, double scale) {
  scale = validScale(scale);
  const auto pixels = pixelSize(size, scale);
  if (!pixels) return std::nullopt;
  auto png = draw(*pixels, [&](cairo_t* context) {
    cairo_set_source_rgba(context, color.red, color.green, color.blue, color.alpha);
    cairo_paint(context);
  });
  if (!png) return std::nullopt;
  return Image({std::move(*png), scale, pixels->width, pixels->height});
}

Size Image::size() const { return {pixelWidth() / scale(), pixelHeight() / scale()}; }

std::optional<Image> Image::resizedToFit(Size maximum) const {
  const Size own = size();
  const double fit = std::min(maximum.width / own.width, maximum.height / own.height);
  if (fit >= 1) return *this;
  // A side of a very long image may come out below half a pixel.
  const auto side = [&](int pixels) { return std::max(1, static_cast<int>(std::lround(pixels * fit))); };
  if (!(fit > 0)) return std::nullopt;
  const PixelSize pixels{side(pixelWidth()), side(pixelHeight())};
  const Surface source = decode(png());
  if (!source) return std::nullopt;
  auto reduced = draw(pixels, [&](cairo_t* context) {
    paintScaled(context, source.get(), {pixelWidth(), pixelHeight()}, 0, 0, pixels.width, pixels.height);
  });
  if (!reduced) return std::nullopt;
  return Image({std::move(*reduced), scale(), pixels.width, pixels.height});
}

std::optional<Image> Image::rounded(Size size, double cornerRadius) const {
  const auto pixels = pixelSize(size, scale());
  if (!pixels) return std::nullopt;
  const Surface source = decode(png());
  if (!source) return std::nullopt;
  auto drawn = draw(*pixels, [&](cairo_t* context) {
    const double fit = std::min(pixels->width / double(pixelWidth()), pixels->height / double(pixelHeight()));
    const double width = pixelWidth() * fit;
    const double height = pixelHeight() * fit;
    const double x = (pixels->width - width) / 2;
    const double y = (pixels->height - height) / 2;
    addRoundedRectangle(context, x, y, width, height,
                        std::clamp(cornerRadius * scale(), 0.0, std::min(width, height) / 2));
    cairo_clip(context);
    paintScaled(context, source.get(), {pixelWidth(), pixelHeight()}, x, y, width, height);
  });
  if (!drawn) return std::nullopt;
  return Image({std::move(*drawn), scale(), pixels->width, pixels->height});
}

std::optional<Data> Image::jpeg(double quality) const {
  const Surface source = decode(png());
  if (!source) return std::nullopt;
  const PixelSize pixels{pixelWidth(), pixelHeight()};
  const Surface opaque(cairo_image_surface_create(CAIRO_FORMAT_RGB24, pixels.width, pixels.height));
  const Owned<cairo_t> context(cairo_create(opaque.get()));
  cairo_set_source_rgb(context.get(), 1, 1, 1);
  cairo_paint(context.get());
  cairo_set_source_surface(context.get(), source.get(), 0, 0);
  cairo_paint(context.get());
  if (cairo_status(context.get()) != CAIRO_STATUS_SUCCESS) return std::nullopt;
  cairo_surface_flush(opaque.get());
  unsigned char* bytes = nullptr;
  unsigned long length = 0;
  const int percent =
      std::isfinite(quality) ? static_cast<int>(std::lround(std::clamp(quality, 0.0, 1.0) * 100)) : 100;
  const bool done = compressJPEG(cairo_image_surface_get_data(opaque.get()),
                                 static_cast<std::size_t>(cairo_image_surface_get_stride(opaque.get())),
                                 pixels, percent, &bytes, &length);
  std::optional<Data> result;
  if (done) result = Data(std::span<const std::uint8_t>(bytes, length));
  std::free(bytes);
  return result;
}

}  // namespace qw
