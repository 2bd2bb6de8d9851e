// The float RGBA reader against libtiff's own RGBA reading (or, for float
// files, against the stored samples) over every pixel layout and several
// tile and strip shapes, and on directories it must refuse.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "texture/rgbafloat_pvt.h"
#include "texture/tiffwrite_util.h"

using slrt_detail::readRGBAFloatRect;
using tiffwrite::Layout;
using tiffwrite::SampleFn;

namespace {

constexpr float kSentinel = -7.0f;
using Pixels = std::vector<std::array<float, 4>>;

uint32_t scramble(uint32_t x, uint32_t y, uint32_t s) {
  uint32_t h = x * 73856093u ^ y * 19349663u ^ (s + 1) * 83492791u;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  return h ^ (h >> 15);
}

// Scrambled codes reach every value; float files get values outside [0, 1].
SampleFn samplesFor(const Layout& l) {
  if (l.sampleformat == SAMPLEFORMAT_IEEEFP)
    return [](uint32_t x, uint32_t y, uint16_t s) {
      return double(float(int(scramble(x, y, s) % 2001) - 500) / 400.0f);
    };
  return [bps = l.bps](uint32_t x, uint32_t y, uint16_t s) {
    return double(scramble(x, y, s) & ((1u << bps) - 1));
  };
}

Layout layoutOf(uint16_t photometric, uint16_t bps, uint16_t spp,
                uint16_t planar = PLANARCONFIG_CONTIG, int alpha = -1) {
  Layout l;
  l.photometric = photometric;
  l.bps = bps;
  l.spp = spp;
  l.planar = planar;
  if (alpha >= 0) l.extra = {uint16_t(alpha)};
  if (bps == 32) l.sampleformat = SAMPLEFORMAT_IEEEFP;
  if (photometric == PHOTOMETRIC_PALETTE) {
    l.colormap.resize(3u << bps);
    for (size_t i = 0; i < l.colormap.size(); ++i) l.colormap[i] = uint16_t(scramble(i, 7, 9));
  }
  if (photometric == PHOTOMETRIC_SEPARATED) l.inkset = INKSET_CMYK;
  if (photometric == PHOTOMETRIC_YCBCR) l.ycbcrH = l.ycbcrV = 1;
  return l;
}

std::vector<Layout> everyLayout() {
  std::vector<Layout> all;
  for (uint16_t bps : {1, 2, 4, 8, 16})
    for (uint16_t photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
      all.push_back(layoutOf(photometric, bps, 1));
  for (uint16_t bps : {1, 2, 4, 8}) all.push_back(layoutOf(PHOTOMETRIC_PALETTE, bps, 1));
  all.push_back(layoutOf(PHOTOMETRIC_PALETTE, 8, 1));
  for (uint16_t& entry : all.back().colormap) entry &= 255;  // an 8-bit colormap
  for (uint16_t bps : {8, 16, 32})
    for (uint16_t planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE}) {
      all.push_back(layoutOf(PHOTOMETRIC_RGB, bps, 3, planar));
      for (int alpha : {EXTRASAMPLE_ASSOCALPHA, EXTRASAMPLE_UNASSALPHA})
        all.push_back(layoutOf(PHOTOMETRIC_RGB, bps, 4, planar, alpha));
      if (bps == 8) all.push_back(layoutOf(PHOTOMETRIC_SEPARATED, 8, 4, planar));
      if (bps == 8) all.push_back(layoutOf(PHOTOMETRIC_YCBCR, 8, 3, planar));
    }
  for (uint16_t photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
    all.push_back(layoutOf(photometric, 32, 1));
  all.push_back(
      layoutOf(PHOTOMETRIC_MINISBLACK, 32, 2, PLANARCONFIG_SEPARATE, EXTRASAMPLE_ASSOCALPHA));
  for (auto [h, v] : {std::pair{2, 1}, {1, 2}, {2, 2}, {4, 1}, {4, 2}, {4, 4}}) {
    all.push_back(layoutOf(PHOTOMETRIC_YCBCR, 8, 3));
    all.back().ycbcrH = uint16_t(h);
    all.back().ycbcrV = uint16_t(v);
  }
  if (TIFFIsCODECConfigured(COMPRESSION_JPEG)) {
    all.push_back(layoutOf(PHOTOMETRIC_YCBCR, 8, 3));
    all.back().ycbcrH = 0;
    all.back().compression = COMPRESSION_JPEG;
    all.back().jpegFromRGB = true;
  }
  return all;
}

std::string nameOf(const Layout& l) {
  return "p" + std::to_string(l.photometric) + "_b" + std::to_string(l.bps) + "_s" +
         std::to_string(l.spp) + "_pl" + std::to_string(l.planar) + "_a" +
         std::to_string(l.extra.empty() ? 0 : l.extra[0]) + "_y" + std::to_string(l.ycbcrH) +
         std::to_string(l.ycbcrV) + "_c" + std::to_string(l.compression) + "_m" +
         std::to_string(l.colormap.empty() ? 0 : l.colormap[0]);
}

// The reader's view of the whole image, tile by tile; a pixel outside the
// image that the reader writes counts as a failure.
Pixels readAllTiles(TIFF* tif, const Layout& l, int& failures) {
  Pixels image(size_t(l.width) * l.height);
  std::vector<float> raster(64 * 64 * 4);
  for (uint32_t ty = 0; ty < l.height; ty += 64)
    for (uint32_t tx = 0; tx < l.width; tx += 64) {
      std::fill(raster.begin(), raster.end(), kSentinel);
      if (readRGBAFloatRect(tif, tx, ty, tx + 63, ty + 63, raster.data()) != 1) ++failures;
      for (uint32_t j = 0; j < 64; ++j)
        for (uint32_t i = 0; i < 64; ++i) {
          const float* p = &raster[(j * 64 + i) * 4];
          if (tx + i < l.width && ty + j < l.height)
            std::copy(p, p + 4, image[(ty + j) * size_t(l.width) + tx + i].begin());
          else if (p[0] != kSentinel || p[3] != kSentinel)
            ++failures;
        }
    }
  return image;
}

Pixels libtiffRGBA(const std::string& path, const Layout& l) {
  std::vector<uint32_t> abgr(size_t(l.width) * l.height);
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  const bool ok =
      tif && TIFFReadRGBAImageOriented(tif, l.width, l.height, abgr.data(), ORIENTATION_TOPLEFT, 0);
  if (tif) TIFFClose(tif);
  Pixels out;
  const bool alpha = !l.extra.empty();
  if (!ok) return out;
  for (uint32_t v : abgr)
    out.push_back({TIFFGetR(v) / 255.0f, TIFFGetG(v) / 255.0f, TIFFGetB(v) / 255.0f,
                   alpha ? TIFFGetA(v) / 255.0f : 0.0f});
  return out;
}

// Float samples are copied as stored (libtiff's RGBA reading refuses them).
Pixels storedFloats(const Layout& l) {
  const SampleFn f = samplesFor(l);
  const bool grey = l.photometric != PHOTOMETRIC_RGB;
  Pixels out;
  for (uint32_t y = 0; y < l.height; ++y)
    for (uint32_t x = 0; x < l.width; ++x) {
      const float a = l.extra.empty() ? 0.0f : float(f(x, y, grey ? 1 : 3));
      std::array<float, 4> p{0, 0, 0, a};
      for (int k = 0; k < 3; ++k) {
        p[k] = float(f(x, y, grey ? 0 : k));
        if (l.photometric == PHOTOMETRIC_MINISWHITE) p[k] = 1.0f - p[k];
        if (!l.extra.empty() && l.extra[0] == EXTRASAMPLE_UNASSALPHA) p[k] *= a;
      }
      out.push_back(p);
    }
  return out;
}

struct Shape {
  const char* name;
  uint32_t tileWidth, tileHeight, rowsPerStrip;
};
const Shape kShapes[] = {{"tiles64", 64, 64, 0},
                         {"tiles16", 16, 16, 0},
                         {"tiles48x32", 48, 32, 0},
                         {"strips7", 0, 0, 7}};

class RGBAFloatReader : public ::testing::Test {
 protected:
  tiffwrite::TempDir fDir;
};

TEST_F(RGBAFloatReader, AgreesWithLibtiffOnEveryLayoutAndTileShape) {
  for (const Layout& base : everyLayout())
    for (const Shape& shape : kShapes) {
      Layout l = base;
      const std::string name = nameOf(l) + "_" + shape.name;
      SCOPED_TRACE(name);
      l.tileWidth = shape.tileWidth;
      l.tileHeight = shape.tileHeight;
      // Strips hold whole sampling blocks (and JPEG MCUs).
      const uint32_t unit = l.jpegFromRGB ? 16 : std::max<uint32_t>(1, l.ycbcrV);
      l.rowsPerStrip = (shape.rowsPerStrip + unit - 1) / unit * unit;
      const std::string path = fDir.file(name + ".tif");
      ASSERT_TRUE(tiffwrite::writeTiff(path, l, samplesFor(l)));

      // libtiff's tile routines for 16-bit grey and 4x4 YCbCr misplace the
      // rows of partial edge tiles, and it reads no separate-plane YCbCr:
      // those take their reference from the same samples in contiguous strips.
      Pixels want;
      if (l.bps == 32) {
        want = storedFloats(l);
      } else if ((l.tileWidth && ((l.bps == 16 && l.spp == 1) || l.ycbcrH * l.ycbcrV == 16)) ||
                 (l.photometric == PHOTOMETRIC_YCBCR && l.planar == PLANARCONFIG_SEPARATE)) {
        Layout strips = l;
        strips.tileWidth = 0;
        strips.rowsPerStrip = 16;
        strips.planar = PLANARCONFIG_CONTIG;
        ASSERT_TRUE(tiffwrite::writeTiff(path + ".ref", strips, samplesFor(l)));
        want = libtiffRGBA(path + ".ref", strips);
      } else {
        want = libtiffRGBA(path, l);
      }
      ASSERT_EQ(want.size(), size_t(l.width) * l.height) << "libtiff cannot read the file";

      tiffwrite::TiffMessages messages;
      TIFF* tif = TIFFOpen(path.c_str(), "r");
      ASSERT_NE(tif, nullptr);
      int failures = 0;
      const Pixels ours = readAllTiles(tif, l, failures);
      TIFFClose(tif);
      EXPECT_EQ(failures, 0);
      EXPECT_TRUE(messages.errors.empty()) << messages.errors.front();
      const bool cmap8 = !l.colormap.empty() && std::all_of(l.colormap.begin(), l.colormap.end(),
                                                            [](uint16_t e) { return e < 256; });
      EXPECT_EQ(messages.warnings.empty(), !cmap8);
      if (cmap8) {
        EXPECT_EQ(messages.warnings[0], path + ": Assuming 8-bit colormap");
      }

      // One 8-bit step, or none for floats.  libtiff rounds 16-bit colour and
      // alpha to 8 bits before premultiplying, which can cost a second step.
      const bool unassoc16 = l.bps == 16 && !l.extra.empty() && l.extra[0] == 2;
      const float tolerance = l.bps == 32 ? 0.0f : (unassoc16 ? 2.0f : 1.0f) / 255.0f + 1e-6f;
      int bad = 0;
      for (size_t p = 0; p < want.size() && bad < 5; ++p)
        for (int k = 0; k < 4; ++k)
          if (!(std::fabs(ours[p][k] - want[p][k]) <= tolerance) && ++bad)
            ADD_FAILURE() << "pixel (" << p % l.width << ", " << p / l.width << ") channel " << k
                          << ": ours " << ours[p][k] << ", expected " << want[p][k];
    }
}

struct Refusal {
  const char* name;
  Layout layout;
  const char* message;
  std::function<void(TIFF*)> tamper = nullptr;  // changes made to the open directory
};

Layout with(Layout l, const std::function<void(Layout&)>& change) {
  change(l);
  return l;
}

TEST_F(RGBAFloatReader, RefusesWhatItCannotDecodeWithTheInterfaceMessage) {
  const char* const kNoPut = "No \"put\" routine setup; probably can not handle image format";
  const Refusal cases[] = {
      {"bits12", layoutOf(PHOTOMETRIC_MINISBLACK, 12, 1),
       "Sorry, can not handle images with 12-bit samples"},
      {"uint32",
       with(layoutOf(PHOTOMETRIC_MINISBLACK, 32, 1),
            [](Layout& l) { l.sampleformat = SAMPLEFORMAT_UINT; }),
       "Sorry, can not handle images with 32-bit samples"},
      {"half",
       with(layoutOf(PHOTOMETRIC_RGB, 16, 3),
            [](Layout& l) { l.sampleformat = SAMPLEFORMAT_IEEEFP; }),
       "Sorry, can not handle images with 16-bit samples"},
      {"lab", layoutOf(PHOTOMETRIC_CIELAB, 8, 3),
       "Sorry, can not handle image with PhotometricInterpretation=8"},
      {"rgb2", layoutOf(PHOTOMETRIC_RGB, 8, 2),
       "Sorry, can not handle RGB image with Color channels=2"},
      {"inkset",
       with(layoutOf(PHOTOMETRIC_SEPARATED, 8, 4), [](Layout& l) { l.inkset = INKSET_MULTIINK; }),
       "Sorry, can not handle separated image with InkSet=2"},
      {"cmy", layoutOf(PHOTOMETRIC_SEPARATED, 8, 3),
       "Sorry, can not handle separated image with Samples/pixel=3"},
      {"grey4x2", layoutOf(PHOTOMETRIC_MINISBLACK, 4, 2),
       "Sorry, can not handle contiguous data with Samples/pixel=2, and Bits/sample=4"},
      {"ycbcr22s",
       with(layoutOf(PHOTOMETRIC_YCBCR, 8, 3, PLANARCONFIG_SEPARATE),
            [](Layout& l) { l.ycbcrH = l.ycbcrV = 2; }),
       "Sorry, can not handle YCbCr images with Planarconfiguration=2"},
      {"rgb4", layoutOf(PHOTOMETRIC_RGB, 4, 3), kNoPut},
      {"ycbcr16", layoutOf(PHOTOMETRIC_YCBCR, 16, 3), kNoPut},
      {"nocolormap", layoutOf(PHOTOMETRIC_MINISBLACK, 8, 1), "Missing required \"Colormap\" tag",
       [](TIFF* tif) { TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE); }},
      // libtiff calls the second sample of grey data an extra sample; with
      // that undone, two colour channels and no photometric tag remain.
      {"nophotometric", layoutOf(PHOTOMETRIC_MINISBLACK, 8, 2),
       "Missing needed PhotometricInterpretation tag",
       [](TIFF* tif) {
         TIFFUnsetField(tif, TIFFTAG_PHOTOMETRIC);
         TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 0, nullptr);
       }},
      // Tiles and strips claiming gigabytes are refused before allocating.
      {"hugetile",
       with(layoutOf(PHOTOMETRIC_RGB, 8, 3), [](Layout& l) { l.tileWidth = l.tileHeight = 64; }),
       "No space for tile buffer",
       [](TIFF* tif) {
         TIFFSetField(tif, TIFFTAG_TILEWIDTH, 1u << 20);
         TIFFSetField(tif, TIFFTAG_TILELENGTH, 1u << 16);
       }},
      {"hugestrip", with(layoutOf(PHOTOMETRIC_RGB, 16, 4), [](Layout& l) { l.rowsPerStrip = 64; }),
       "No space for strip buffer",
       [](TIFF* tif) { TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 1u << 22); }},
  };
  for (const Refusal& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string path = fDir.file(std::string(c.name) + ".tif");
    tiffwrite::TiffMessages messages;
    ASSERT_TRUE(
        tiffwrite::writeTiff(path, c.layout, [](uint32_t, uint32_t, uint16_t) { return 1; }));
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    ASSERT_NE(tif, nullptr);
    if (c.tamper) c.tamper(tif);
    messages.errors.clear();
    std::vector<float> raster(64 * 64 * 4, kSentinel);
    EXPECT_EQ(readRGBAFloatRect(tif, 0, 0, 63, 63, raster.data()), 0);
    TIFFClose(tif);
    EXPECT_EQ(messages.errors, std::vector<std::string>{path + ": " + c.message});
    EXPECT_EQ(std::count(raster.begin(), raster.end(), kSentinel), long(raster.size()));
  }
  EXPECT_EQ(readRGBAFloatRect(nullptr, 0, 0, 63, 63, nullptr), 0);
}

// Compressed data overwritten in the middle: libtiff reports the decoding
// error, and the reader returns 0 without touching the tile's pixels.
TEST_F(RGBAFloatReader, CorruptDataFailsWithoutTouchingThePixels) {
  Layout l = layoutOf(PHOTOMETRIC_RGB, 8, 3);
  l.width = l.height = l.tileWidth = l.tileHeight = 64;
  l.compression = COMPRESSION_ADOBE_DEFLATE;
  const std::string path = fDir.file("corrupt.tif");
  ASSERT_TRUE(tiffwrite::writeTiff(path, l, samplesFor(l)));
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  uint64_t *offsets = nullptr, *counts = nullptr;
  ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_TILEOFFSETS, &offsets));
  ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_TILEBYTECOUNTS, &counts));
  const std::vector<uint8_t> junk(counts[0] / 2, 0xA5);
  FILE* f = std::fopen(path.c_str(), "r+b");
  ASSERT_NE(f, nullptr);
  std::fseek(f, long(offsets[0] + counts[0] / 4), SEEK_SET);
  std::fwrite(junk.data(), 1, junk.size(), f);
  std::fclose(f);
  TIFFClose(tif);

  tiffwrite::TiffMessages messages;
  tif = TIFFOpen(path.c_str(), "r");
  std::vector<float> raster(64 * 64 * 4, kSentinel);
  EXPECT_EQ(readRGBAFloatRect(tif, 0, 0, 63, 63, raster.data()), 0);
  TIFFClose(tif);
  EXPECT_FALSE(messages.errors.empty());
  EXPECT_EQ(std::count(raster.begin(), raster.end(), kSentinel), long(raster.size()));
}

// The raster is one 64 x 64 tile: larger or misplaced rectangles are cut to
// it and to the image, never written past.
TEST_F(RGBAFloatReader, RectanglesAreCutToTheTileAndTheImage) {
  Layout l = layoutOf(PHOTOMETRIC_MINISBLACK, 8, 1);
  l.width = 100;
  l.height = 70;
  const std::string path = fDir.file("grey.tif");
  ASSERT_TRUE(tiffwrite::writeTiff(path, l,
                                   [](uint32_t x, uint32_t y, uint16_t) { return (x + y) % 256; }));
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  ASSERT_NE(tif, nullptr);
  std::vector<float> raster(64 * 64 * 4, kSentinel);
  EXPECT_EQ(readRGBAFloatRect(tif, 50, 10, 5000, 5000, raster.data()), 1);
  for (uint32_t y = 0; y < 64; ++y)
    for (uint32_t x = 0; x < 64; ++x) {
      const bool inside = 50 + x < 100 && 10 + y < 70;
      EXPECT_NEAR(raster[(y * 64 + x) * 4], inside ? float((60 + x + y) % 256) / 255.0f : kSentinel,
                  1e-6f)
          << x << ", " << y;
    }
  std::fill(raster.begin(), raster.end(), kSentinel);
  EXPECT_EQ(readRGBAFloatRect(tif, 100, 0, 163, 63, raster.data()), 1);
  EXPECT_EQ(readRGBAFloatRect(tif, 20, 20, 10, 10, raster.data()), 1);
  TIFFClose(tif);
  EXPECT_EQ(std::count(raster.begin(), raster.end(), kSentinel), long(raster.size()));
}

}  // namespace
