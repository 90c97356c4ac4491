// Videos' colors, against what the standards of television say about them.
#include "host/Yuv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "host/Failure.h"
#include "host/Y4mHeader.h"

namespace {

using Color = std::array<double, 3>;

/// Primaries, what they make together, and greys.
std::vector<Color> colors() {
  std::vector<Color> all;
  for (int n = 0; n < 8; ++n) all.push_back({n & 1 ? 255. : 0, n & 2 ? 255. : 0, n & 4 ? 255. : 0});
  for (int grey = 15; grey < 255; grey += 40) all.push_back({1. * grey, 1. * grey, 1. * grey});
  return all;
}

/// Y, Cb and Cr as ITU-R BT.601 and BT.709 define them.
std::array<unsigned, 3> yuvOf(const Color& c, const YuvLayout& layout) {
  const double red = layout.isBt709() ? 0.2126 : 0.299, blue = layout.isBt709() ? 0.0722 : 0.114;
  const double y = (red * c[0] + (1 - red - blue) * c[1] + blue * c[2]) / 255;
  const double cb = (c[2] / 255 - y) / (2 * (1 - blue)), cr = (c[0] / 255 - y) / (2 * (1 - red));
  const double unit = 1 << (layout.depth - 8), most = (1 << layout.depth) - 1;
  const auto rounded = [&](double value) {
    return static_cast<unsigned>(std::lround(std::min(value, most)));
  };
  if (layout.isFullRange)
    return {rounded(y * most), rounded(cb * most + 128 * unit), rounded(cr * most + 128 * unit)};
  return {rounded((16 + 219 * y) * unit), rounded((128 + 224 * cb) * unit),
          rounded((128 + 224 * cr) * unit)};
}

/// A frame whose samples `sample(plane, x, y)` are.
template <class Sample>
std::vector<std::uint8_t> frameOf(const YuvLayout& layout, const Sample& sample) {
  std::vector<std::uint8_t> bytes;
  for (int plane = 0; plane < (layout.hasChroma ? 3 : 1); ++plane) {
    const std::size_t width = plane ? layout.chromaWidth() : layout.width;
    const std::size_t height = plane ? layout.chromaHeight() : layout.height;
    for (std::size_t i = 0; i < width * height; ++i) {
      const unsigned value = sample(plane, i % width, i / width);
      bytes.push_back(static_cast<std::uint8_t>(value));
      if (layout.depth > 8) bytes.push_back(static_cast<std::uint8_t>(value >> 8));
    }
  }
  return bytes;
}

YuvLayout layoutOf(const std::string& parameters) {
  return y4mHeaderFrom("YUV4MPEG2 " + parameters).layout;
}

TEST(Yuv, WhatIsWrittenIsWhatTheStandardSays) {
  for (const std::size_t height : {360U, 720U}) {
    YuvFromPicture planes(33, height);
    const YuvLayout layout = layoutOf("W33 H" + std::to_string(height) + " C444");
    for (const Color& color : colors()) {
      ZQPixels picture{33, height, {}};
      for (std::size_t i = 0; i < 33 * height; ++i) {
        for (const double part : color) picture.rgba.push_back(static_cast<std::uint8_t>(part));
        picture.rgba.push_back(255);
      }
      const auto yuv = yuvOf(color, layout);
      EXPECT_EQ(planes.planesOf(picture),
                frameOf(layout, [&](int plane, auto, auto) { return yuv[plane]; }))
          << testing::PrintToString(color) << " at " << height;
      EXPECT_FALSE(planes.hadAlpha());
      picture.rgba[4 * (33 * height - 1) + 3] = 254;
      planes.planesOf(picture);
      EXPECT_TRUE(planes.hadAlpha());
    }
  }
}

TEST(Yuv, EveryKindOfVideoArrivesWithinOneOf255) {
  for (const std::string chroma : {"420", "420jpeg", "420mpeg2", "420paldv", "422", "444", "mono",
                                   "420p10", "422p10", "444p10", "mono10"}) {
    for (const std::string rest : {"W64 H36", "W65 H721", "W1 H1", "W3 H2", "W2 H3",
                                   "W64 H36 XCOLORRANGE=FULL", "W64 H720 XCOLORRANGE=FULL"}) {
      const YuvLayout layout = layoutOf(rest + " C" + chroma);
      PictureFromYuv pictures(layout);
      for (const Color& color : colors()) {
        if (!layout.hasChroma && (color[0] != color[1] || color[1] != color[2])) continue;
        const auto yuv = yuvOf(color, layout);
        const auto picture =
            pictures.pictureOf(frameOf(layout, [&](int plane, auto, auto) { return yuv[plane]; }));
        ASSERT_EQ(picture.rgba.size(), 4 * layout.width * layout.height);
        for (std::size_t i = 0; i < picture.rgba.size(); ++i) {
          ASSERT_NEAR(picture.rgba[i], i % 4 == 3 ? 255 : color[i % 4], 1)
              << chroma << " " << rest << " " << testing::PrintToString(color) << " at " << i;
        }
      }
    }
  }
}

TEST(Yuv, ChromaLiesWhereTheFormatSays) {
  struct Case {
    std::string chroma;
    double across, down;  // where the chroma of the first pixels lies, in pixels
  };
  for (const Case& c :
       {Case{"420jpeg", 0.5, 0.5}, Case{"420", 0.5, 0.5}, Case{"420mpeg2", 0, 0.5},
        Case{"420paldv", 0, 0}, Case{"420p10", 0, 0.5}, Case{"422", 0, 0}, Case{"444", 0, 0}}) {
    const YuvLayout layout = layoutOf("W32 H32 C" + c.chroma);
    const unsigned unit = 1U << (layout.depth - 8);
    // Red grows to the right by 3 a sample of chroma, blue to the bottom.
    const auto picture = PictureFromYuv(layout).pictureOf(
        frameOf(layout, [&](int plane, std::size_t x, std::size_t y) {
          const auto along = static_cast<unsigned>(plane == 0 ? 0 : plane == 1 ? y : x);
          return (128 + (plane == 0 ? 0 : 3 * along - 24)) * unit;
        }));
    const double x = (16 - c.across) / (1 << layout.chromaAcross);
    const double y = (16 - c.down) / (1 << layout.chromaDown);
    const std::uint8_t* const pixel = &picture.rgba[4 * (16 * 32 + 16)];
    const double light = (128 - 16) * 255 / 219.;
    EXPECT_NEAR(pixel[0], light + 2 * (1 - 0.299) * (3 * x - 24) * 255 / 224, 1) << c.chroma;
    EXPECT_NEAR(pixel[2], light + 2 * (1 - 0.114) * (3 * y - 24) * 255 / 224, 1) << c.chroma;
  }
}

TEST(Yuv, HeadersThatMakeNoSenseAreRefused) {
  for (const std::string header :
       {"", "YUV4MPEG", "YUV4MPEG2", "YUV4MPEG2 W2", "YUV4MPEG2 W0 H2", "YUV4MPEG2 W-1 H2",
        "YUV4MPEG2 W2x H2", "YUV4MPEG2 W16385 H2", "YUV4MPEG2 W2 H99999999999999999999",
        "YUV4MPEG2 W2 H2 C", "YUV4MPEG2 W2 H2 C420p9", "YUV4MPEG2 W2 H2 C444alpha"}) {
    EXPECT_THROW(y4mHeaderFrom(header), Failure) << header;
  }
  EXPECT_EQ(y4mHeaderFrom("YUV4MPEG2 W2 H2 F0:0 Ip Xsomething").rate, std::nullopt);
}

}  // namespace
