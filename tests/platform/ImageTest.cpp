#include <cairo.h>
#include <gtest/gtest.h>
#include <jpeglib.h>

#include <cstring>
#include <vector>

#include "platform/base/Image.h"

namespace {

using qw::Color;
using qw::Data;
using qw::Image;
using qw::Size;

static_assert(sizeof(Image) <= 16);

constexpr Color kRed{1, 0, 0, 1};
constexpr Color kHalfBlue{0, 0, 1, 0.5};

// Premultiplied 0xAARRGGBB, decoded by cairo.
struct Pixels {
  int width = 0;
  std::vector<std::uint32_t> values;

  explicit Pixels(const Image& image) {
    auto rest = image.png().bytes();
    const auto read = [](void* closure, unsigned char* out, unsigned length) {
      auto& bytes = *static_cast<std::span<const std::uint8_t>*>(closure);
      std::memcpy(out, bytes.data(), length);
      bytes = bytes.subspan(length);
      return CAIRO_STATUS_SUCCESS;
    };
    cairo_surface_t* surface = cairo_image_surface_create_from_png_stream(read, &rest);
    const bool isOpaque = cairo_image_surface_get_format(surface) == CAIRO_FORMAT_RGB24;
    width = cairo_image_surface_get_width(surface);
    const int stride = cairo_image_surface_get_stride(surface);
    for (int y = 0; y < cairo_image_surface_get_height(surface); ++y) {
      const auto* row =
          reinterpret_cast<const std::uint32_t*>(cairo_image_surface_get_data(surface) + y * stride);
      for (int x = 0; x < width; ++x) values.push_back(row[x] | (isOpaque ? 0xFF000000 : 0));
    }
    cairo_surface_destroy(surface);
  }
  std::uint32_t at(int x, int y) const { return values[static_cast<std::size_t>(y * width + x)]; }
};

// An image whose left half is red and whose right half is half-transparent blue, written by cairo itself.
Data twoHalves(int width, int height) {
  std::vector<std::uint32_t> pixels;
  for (int i = 0; i < width * height; ++i) pixels.push_back(i % width * 2 < width ? 0xFFFF0000 : 0x80000080);
  cairo_surface_t* surface = cairo_image_surface_create_for_data(
      reinterpret_cast<unsigned char*>(pixels.data()), CAIRO_FORMAT_ARGB32, width, height, 4 * width);
  std::vector<std::uint8_t> png;
  const auto write = [](void* closure, const unsigned char* bytes, unsigned length) {
    auto& out = *static_cast<std::vector<std::uint8_t>*>(closure);
    out.insert(out.end(), bytes, bytes + length);
    return CAIRO_STATUS_SUCCESS;
  };
  cairo_surface_write_to_png_stream(surface, write, &png);
  cairo_surface_destroy(surface);
  return Data(std::move(png));
}

TEST(ImageTest, KeepsTheBytesItWasMadeFrom) {
  const Data png = twoHalves(64, 32);
  const auto image = Image::fromPNG(png, 2);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->png(), png);
  EXPECT_EQ(image->size(), (Size{32, 16}));
  EXPECT_EQ(image->scale(), 2);
  EXPECT_EQ(*image, *Image::fromPNG(Data(png.bytes()), 2));
  EXPECT_NE(*image, *Image::fromPNG(png, 1));
  EXPECT_EQ(Image::fromPNG(png, 0)->scale(), 1);
}

TEST(ImageTest, WhatIsNoPNGAndAClaimedSizeBeyondTheBoundAreRefusedBeforeDecoding) {
  const Data good = twoHalves(8, 8);
  for (const Data& bad :
       {Data(), Data::fromText("GIF89a" + std::string(100, ' ')), Data(good.bytes().first(20))})
    EXPECT_FALSE(Image::fromPNG(bad));
  for (const std::uint32_t side : {0u, 20'000u, 0xFFFFFFFFu}) {
    std::vector<std::uint8_t> bytes(good.bytes().begin(), good.bytes().end());
    for (const std::size_t field : {16u, 20u}) {
      for (std::size_t i = 0; i < 4; ++i) bytes[field + i] = static_cast<std::uint8_t>(side >> (24 - 8 * i));
    }
    EXPECT_FALSE(Image::fromPNG(Data(std::move(bytes)))) << side;
  }
}

TEST(ImageTest, DamagedPixelsGiveNoResultAndNoCrash) {
  const Data good = twoHalves(200, 100);
  std::vector<std::uint8_t> flipped(good.bytes().begin(), good.bytes().end());
  flipped[flipped.size() / 2] ^= 0x55;
  for (const Data& bad : {Data(good.bytes().first(good.size() / 2)), Data(std::move(flipped))}) {
    const auto image = Image::fromPNG(bad);
    ASSERT_TRUE(image);
    EXPECT_FALSE(image->resizedToFit({10, 10}));
    EXPECT_FALSE(image->rounded({10, 10}, 2));
    EXPECT_FALSE(image->jpeg(1));
  }
}

TEST(ImageTest, ResizingKeepsTheAspectRatioAndTheScale) {
  const auto image = Image::fromPNG(twoHalves(200, 100), 2);
  const auto small = image->resizedToFit({32, 32});
  ASSERT_TRUE(small);
  EXPECT_EQ(small->size(), (Size{32, 16}));
  EXPECT_EQ(small->scale(), 2);
  const Pixels pixels(*small);
  EXPECT_EQ(pixels.at(0, 0), 0xFFFF0000);
  EXPECT_EQ(pixels.at(28, 16), 0xFFFF0000) << "just left of the middle";
  EXPECT_EQ(pixels.at(63, 31), 0x80000080);
  EXPECT_TRUE(image->resizedToFit({200, 200})->isIdentical(*image)) << "never enlarged";
  EXPECT_TRUE(image->resizedToFit({100, 50})->isIdentical(*image));
  EXPECT_EQ(Image::fromPNG(twoHalves(3000, 2))->resizedToFit({30, 30})->size(), (Size{30, 1}));
  EXPECT_FALSE(image->resizedToFit({0, 0}));
}

TEST(ImageTest, RoundingFillsTheSizeAndClearsTheCorners) {
  const auto image = Image::colorIcon(kRed, {32, 32})->rounded({24, 24}, 6);
  ASSERT_TRUE(image);
  EXPECT_EQ(image->size(), (Size{24, 24}));
  const Pixels pixels(*image);
  for (const auto& [x, y] : {std::pair{0, 0}, {23, 0}, {0, 23}, {23, 23}})
    EXPECT_EQ(pixels.at(x, y), 0u) << x << y;
  for (const auto& [x, y] : {std::pair{12, 0}, {0, 12}, {23, 12}, {12, 12}}) {
    EXPECT_EQ(pixels.at(x, y), 0xFFFF0000) << x << y;
  }
  const Pixels centred(*Image::colorIcon(kRed, {32, 16})->rounded({24, 24}, 0));
  for (const auto& [x, y, pixel] :
       {std::tuple{12, 5, 0u}, {0, 6, 0xFFFF0000}, {23, 17, 0xFFFF0000}, {12, 18, 0u}})
    EXPECT_EQ(centred.at(x, y), pixel) << x << y;
}

TEST(ImageTest, ColorIconsHoldTheirColor) {
  const auto icon = Image::colorIcon(kHalfBlue, {16, 16}, 2);
  ASSERT_TRUE(icon);
  EXPECT_EQ(icon->size(), (Size{16, 16}));
  EXPECT_EQ(icon->pixelWidth(), 32);
  EXPECT_EQ(Pixels(*icon).at(7, 7), 0x80000080);
  for (const Size size : {Size{0, 16}, Size{-1, -1}, Size{1e9, 1e9}, Size{100'000, 1}}) {
    EXPECT_FALSE(Image::colorIcon(kRed, size)) << size.width;
  }
}

TEST(ImageTest, TextIconsDrawTheTextInsideTheIcon) {
  const Size size{24, 24};
  for (const char* text : {"✓", "X", "a long text that has to shrink", "bad \xFF byte"}) {
    const auto icon = Image::textIcon(text, size, Color::darkGray());
    ASSERT_TRUE(icon) << text;
    const Pixels pixels(*icon);
    std::uint32_t strongest = 0;
    for (const auto value : pixels.values) strongest = std::max(strongest, value >> 24);
    EXPECT_GT(strongest, 100u) << text;
    EXPECT_EQ(pixels.at(0, 0), 0u) << text;
  }
  EXPECT_NE(*Image::textIcon("✓", size, Color::darkGray()), *Image::textIcon("X", size, Color::darkGray()));
  const auto empty = Image::textIcon("", size, Color::darkGray());
  EXPECT_EQ(*empty, *Image::colorIcon({0, 0, 0, 0}, size));
}

TEST(ImageTest, JPEGKeepsColorsOnWhite) {
  const auto jpeg = Image::fromPNG(twoHalves(40, 20))->jpeg(1);
  ASSERT_TRUE(jpeg);
  jpeg_decompress_struct reader;
  jpeg_error_mgr errors;
  reader.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&reader);
  jpeg_mem_src(&reader, jpeg->data(), jpeg->size());
  jpeg_read_header(&reader, TRUE);
  jpeg_start_decompress(&reader);
  ASSERT_EQ(reader.output_width, 40u);
  ASSERT_EQ(reader.output_height, 20u);
  std::vector<std::uint8_t> row(40 * 3);
  JSAMPROW rows = row.data();
  while (reader.output_scanline < 10) jpeg_read_scanlines(&reader, &rows, 1);
  jpeg_destroy_decompress(&reader);
  const int red[] = {255, 0, 0}, paleBlue[] = {127, 127, 255};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_NEAR(row[5 * 3 + i], red[i], 3);
    EXPECT_NEAR(row[35 * 3 + i], paleBlue[i], 3);
  }
  const auto image = Image::textIcon("text with many edges", {200, 50}, kRed);
  EXPECT_LT(image->jpeg(0.1)->size(), image->jpeg(1)->size());
  EXPECT_EQ(image->jpeg(2)->size(), image->jpeg(1)->size());
}

}  // namespace
