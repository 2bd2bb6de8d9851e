// The float RGBA reader against libtiff's own RGBA reading, over every pixel
// layout and several tile and strip shapes, and on hostile directories.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
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

// A fixed scramble of (x, y, s): sample codes that exercise every value.
uint32_t scramble(uint32_t x, uint32_t y, uint32_t s) {
  uint32_t h = x * 73856093u ^ y * 19349663u ^ (s + 1) * 83492791u;
  h ^= h >> 13;
  h *= 0x5bd1e995u;
  return h ^ (h >> 15);
}

SampleFn codes(uint16_t bps) {
  return [bps](uint32_t x, uint32_t y, uint16_t s) {
    return double(scramble(x, y, s) & ((1u << bps) - 1));
  };
}

std::vector<uint16_t> randomColormap(uint16_t bps, uint16_t maxEntry) {
  std::vector<uint16_t> map(3u << bps);
  for (size_t i = 0; i < map.size(); ++i)
    map[i] = uint16_t(scramble(uint32_t(i), 7, 9) % (maxEntry + 1u));
  return map;
}

struct LayoutCase {
  std::string name;
  Layout layout;
  bool hasAlpha;
};

// Every integer layout the reader decodes, in every shape of file tile or
// strip; the reference is libtiff's RGBA reading of the same file.
std::vector<LayoutCase> integerLayouts() {
  std::vector<LayoutCase> cases;
  for (uint16_t photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
    for (uint16_t bps : {1, 2, 4, 8, 16}) {
      Layout l;
      l.bps = bps;
      l.photometric = photometric;
      cases.push_back(
          {std::string(photometric ? "white" : "black") + std::to_string(bps), l, false});
    }
  for (uint16_t bps : {1, 2, 4, 8}) {
    Layout l;
    l.bps = bps;
    l.photometric = PHOTOMETRIC_PALETTE;
    l.colormap = randomColormap(bps, 65535);
    cases.push_back({"palette" + std::to_string(bps), l, false});
  }
  Layout cmap8;
  cmap8.photometric = PHOTOMETRIC_PALETTE;
  cmap8.colormap = randomColormap(8, 255);
  cases.push_back({"palette8_8bitmap", cmap8, false});
  for (uint16_t bps : {8, 16})
    for (uint16_t planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE})
      for (int alpha : {-1, EXTRASAMPLE_ASSOCALPHA, EXTRASAMPLE_UNASSALPHA}) {
        Layout l;
        l.bps = bps;
        l.planar = planar;
        l.photometric = PHOTOMETRIC_RGB;
        l.spp = alpha < 0 ? 3 : 4;
        if (alpha >= 0) l.extra = {uint16_t(alpha)};
        cases.push_back({"rgb" + std::to_string(bps) + (planar == 1 ? "c" : "s") +
                             (alpha < 0    ? ""
                              : alpha == 1 ? "_assoc"
                                           : "_unassoc"),
                         l, alpha >= 0});
      }
  for (uint16_t planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE}) {
    Layout l;
    l.photometric = PHOTOMETRIC_SEPARATED;
    l.spp = 4;
    l.planar = planar;
    l.inkset = INKSET_CMYK;
    cases.push_back({std::string("cmyk8") + (planar == 1 ? "c" : "s"), l, false});
  }
  Layout ycc;
  ycc.photometric = PHOTOMETRIC_YCBCR;
  ycc.spp = 3;
  ycc.planar = PLANARCONFIG_SEPARATE;
  ycc.ycbcrH = ycc.ycbcrV = 1;
  cases.push_back({"ycbcr11s", ycc, false});
  for (auto [h, v] : std::vector<std::pair<uint16_t, uint16_t>>{
           {1, 1}, {2, 1}, {1, 2}, {2, 2}, {4, 1}, {4, 2}, {4, 4}}) {
    Layout l = ycc;
    l.planar = PLANARCONFIG_CONTIG;
    l.ycbcrH = h;
    l.ycbcrV = v;
    cases.push_back({"ycbcr" + std::to_string(h) + std::to_string(v), l, false});
  }
  if (TIFFIsCODECConfigured(COMPRESSION_JPEG)) {
    Layout l;
    l.photometric = PHOTOMETRIC_YCBCR;
    l.spp = 3;
    l.compression = COMPRESSION_JPEG;
    l.jpegFromRGB = true;
    cases.push_back({"jpeg_ycbcr", l, false});
  }
  return cases;
}

struct Shape {
  const char* name;
  uint32_t tileWidth, tileHeight, rowsPerStrip;
};
const Shape kShapes[] = {{"tiles64", 64, 64, 0},
                         {"tiles16", 16, 16, 0},
                         {"tiles48x32", 48, 32, 0},
                         {"strips7", 0, 0, 7}};

// Strips must hold whole sampling blocks (and JPEG MCUs).
uint32_t stripRows(const Layout& l, uint32_t wanted) {
  const uint32_t unit = l.jpegFromRGB ? 16 : (l.ycbcrV ? l.ycbcrV : 1);
  return (wanted + unit - 1) / unit * unit;
}

// Reads the whole image tile by tile through the reader; every pixel of the
// image is written once and nothing outside it.
std::vector<float> readAllTiles(TIFF* tif, uint32_t width, uint32_t height, int& failures) {
  std::vector<float> image(size_t(width) * height * 4, kSentinel);
  std::vector<float> raster(64 * 64 * 4);
  for (uint32_t ty = 0; ty < height; ty += 64)
    for (uint32_t tx = 0; tx < width; tx += 64) {
      std::fill(raster.begin(), raster.end(), kSentinel);
      if (readRGBAFloatRect(tif, tx, ty, tx + 63, ty + 63, raster.data()) != 1) ++failures;
      for (uint32_t j = 0; j < 64; ++j)
        for (uint32_t i = 0; i < 64; ++i) {
          const float* p = &raster[(j * 64 + i) * 4];
          if (tx + i < width && ty + j < height)
            std::copy(p, p + 4, &image[((ty + j) * size_t(width) + tx + i) * 4]);
          else if (p[0] != kSentinel || p[3] != kSentinel)
            ++failures;
        }
    }
  return image;
}

class RGBAFloatReader : public ::testing::Test {
 protected:
  tiffwrite::TempDir fDir;
};

// libtiff's RGBA reading of the file at path, top row first.
std::vector<uint32_t> libtiffRGBA(const std::string& path, const Layout& l) {
  tiffwrite::TiffMessages messages;
  std::vector<uint32_t> ref(size_t(l.width) * l.height);
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  const int ok =
      tif && TIFFReadRGBAImageOriented(tif, l.width, l.height, ref.data(), ORIENTATION_TOPLEFT, 0);
  if (tif) TIFFClose(tif);
  if (!ok) {
    ADD_FAILURE() << "libtiff cannot read " << path << ": "
                  << (messages.errors.empty() ? "" : messages.errors.front());
    ref.clear();
  }
  return ref;
}

// Tolerance in 8-bit steps.  libtiff rounds 16-bit colour and alpha to 8 bits
// before premultiplying unassociated alpha, which can add a second step.
float stepsAllowed(const Layout& l, bool hasAlpha) {
  return l.bps == 16 && hasAlpha && l.extra[0] == EXTRASAMPLE_UNASSALPHA ? 2.0f : 1.0f;
}

void checkLayout(const tiffwrite::TempDir& dir, const LayoutCase& c, const Shape& shape) {
  Layout l = c.layout;
  l.tileWidth = shape.tileWidth;
  l.tileHeight = shape.tileHeight;
  l.rowsPerStrip = stripRows(l, shape.rowsPerStrip);
  const std::string path = dir.file(c.name + shape.name + ".tif");
  ASSERT_TRUE(tiffwrite::writeTiff(path, l, codes(l.bps)));

  // libtiff's reference: its RGBA reading of the same samples.  Its tile
  // routines for 16-bit grey and 4x4-subsampled YCbCr misplace the rows of
  // partial edge tiles, and it does not read separate-plane YCbCr at all, so
  // those take the reference from the same samples written in strips.
  Layout refLayout = l;
  std::string refPath = path;
  const bool libtiffTileBug =
      l.tileWidth && ((l.bps == 16 && l.spp == 1) || (l.ycbcrH == 4 && l.ycbcrV == 4));
  const bool separateYCbCr =
      l.photometric == PHOTOMETRIC_YCBCR && l.planar == PLANARCONFIG_SEPARATE;
  if (libtiffTileBug || separateYCbCr) {
    refLayout.tileWidth = refLayout.tileHeight = 0;
    refLayout.planar = PLANARCONFIG_CONTIG;
    refLayout.rowsPerStrip = 16;
    refPath = dir.file(c.name + shape.name + "_ref.tif");
    ASSERT_TRUE(tiffwrite::writeTiff(refPath, refLayout, codes(l.bps)));
  }
  const std::vector<uint32_t> ref = libtiffRGBA(refPath, refLayout);
  ASSERT_FALSE(ref.empty());

  tiffwrite::TiffMessages messages;
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  ASSERT_NE(tif, nullptr);
  int failures = 0;
  const std::vector<float> ours = readAllTiles(tif, l.width, l.height, failures);
  TIFFClose(tif);
  EXPECT_EQ(failures, 0);
  EXPECT_TRUE(messages.errors.empty()) << messages.errors.front();

  const float tolerance = stepsAllowed(l, c.hasAlpha) / 255.0f + 1e-6f;
  int bad = 0;
  for (size_t p = 0; p < ref.size() && bad < 5; ++p) {
    const float want[4] = {TIFFGetR(ref[p]) / 255.0f, TIFFGetG(ref[p]) / 255.0f,
                           TIFFGetB(ref[p]) / 255.0f,
                           c.hasAlpha ? TIFFGetA(ref[p]) / 255.0f : 0.0f};
    for (int k = 0; k < 4; ++k)
      if (!(std::fabs(ours[p * 4 + k] - want[k]) <= tolerance)) {
        ADD_FAILURE() << "pixel (" << p % l.width << ", " << p / l.width << ") channel " << k
                      << ": ours " << ours[p * 4 + k] << ", libtiff " << want[k];
        ++bad;
      }
  }
}

TEST_F(RGBAFloatReader, AgreesWithLibtiffOnEveryIntegerLayout) {
  for (const LayoutCase& c : integerLayouts())
    for (const Shape& shape : kShapes) {
      SCOPED_TRACE(c.name + "/" + shape.name);
      checkLayout(fDir, c, shape);
    }
}

TEST_F(RGBAFloatReader, EightBitColormapIsDetectedWithAWarning) {
  Layout l;
  l.photometric = PHOTOMETRIC_PALETTE;
  l.colormap = randomColormap(8, 255);
  l.colormap[5] = 200;
  const std::string path = fDir.file("cmap.tif");
  ASSERT_TRUE(
      tiffwrite::writeTiff(path, l, [](uint32_t x, uint32_t, uint16_t) { return x % 256; }));
  tiffwrite::TiffMessages messages;
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  std::vector<float> raster(64 * 64 * 4);
  ASSERT_EQ(readRGBAFloatRect(tif, 0, 0, 63, 63, raster.data()), 1);
  TIFFClose(tif);
  EXPECT_FLOAT_EQ(raster[5 * 4], 200.0f / 255.0f);  // red of code 5, read as 8-bit
  ASSERT_EQ(messages.warnings.size(), 1u);
  EXPECT_EQ(messages.warnings[0], path + ": Assuming 8-bit colormap");
}

// Float samples are copied as stored: libtiff's RGBA reading refuses them,
// so the expected values come from the samples themselves.
TEST_F(RGBAFloatReader, FloatSamplesAreCopiedUnscaled) {
  const SampleFn floats = [](uint32_t x, uint32_t y, uint16_t s) {
    return double(float(int(scramble(x, y, s) % 2001) - 500) / 400.0f);
  };
  struct FloatCase {
    const char* name;
    uint16_t photometric, spp;
    int alpha;
  };
  const FloatCase cases[] = {{"black", PHOTOMETRIC_MINISBLACK, 1, -1},
                             {"white", PHOTOMETRIC_MINISWHITE, 1, -1},
                             {"greyalpha", PHOTOMETRIC_MINISBLACK, 2, EXTRASAMPLE_ASSOCALPHA},
                             {"rgb", PHOTOMETRIC_RGB, 3, -1},
                             {"rgba", PHOTOMETRIC_RGB, 4, EXTRASAMPLE_ASSOCALPHA},
                             {"rgba_unassoc", PHOTOMETRIC_RGB, 4, EXTRASAMPLE_UNASSALPHA}};
  for (const FloatCase& c : cases)
    for (uint16_t planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE})
      for (const Shape& shape : kShapes) {
        SCOPED_TRACE(std::string(c.name) + (planar == 1 ? "c/" : "s/") + shape.name);
        Layout l;
        l.bps = 32;
        l.sampleformat = SAMPLEFORMAT_IEEEFP;
        l.photometric = c.photometric;
        l.spp = c.spp;
        l.planar = planar;
        if (c.alpha >= 0) l.extra = {uint16_t(c.alpha)};
        l.tileWidth = shape.tileWidth;
        l.tileHeight = shape.tileHeight;
        l.rowsPerStrip = shape.rowsPerStrip;
        l.compression =
            planar == PLANARCONFIG_SEPARATE ? COMPRESSION_ADOBE_DEFLATE : COMPRESSION_NONE;
        const std::string path = fDir.file(std::string(c.name) + shape.name + ".tif");
        ASSERT_TRUE(tiffwrite::writeTiff(path, l, floats));
        TIFF* tif = TIFFOpen(path.c_str(), "r");
        ASSERT_NE(tif, nullptr);
        int failures = 0;
        const std::vector<float> ours = readAllTiles(tif, l.width, l.height, failures);
        TIFFClose(tif);
        EXPECT_EQ(failures, 0);
        int bad = 0;
        for (uint32_t y = 0; y < l.height && bad < 5; ++y)
          for (uint32_t x = 0; x < l.width && bad < 5; ++x) {
            const bool grey = c.photometric != PHOTOMETRIC_RGB;
            const float a = c.alpha >= 0 ? float(floats(x, y, grey ? 1 : 3)) : 0.0f;
            float want[4];
            for (int k = 0; k < 3; ++k) {
              float v = float(floats(x, y, grey ? 0 : k));
              if (c.photometric == PHOTOMETRIC_MINISWHITE) v = 1.0f - v;
              want[k] = c.alpha == EXTRASAMPLE_UNASSALPHA ? v * a : v;
            }
            want[3] = a;
            const float* got = &ours[(size_t(y) * l.width + x) * 4];
            if (!std::equal(want, want + 4, got)) {
              ADD_FAILURE() << "pixel (" << x << ", " << y << "): ours " << got[0] << " " << got[1]
                            << " " << got[2] << " " << got[3] << ", stored " << want[0] << " "
                            << want[1] << " " << want[2] << " " << want[3];
              ++bad;
            }
          }
      }
}

}  // namespace

namespace {

struct HostileCase {
  std::string name;
  Layout layout;
  std::function<void(TIFF*)> tamper;  // changes made to the open directory, if any
  std::string message;
};

Layout layoutOf(uint16_t photometric, uint16_t bps, uint16_t spp) {
  Layout l;
  l.width = 40;
  l.height = 30;
  l.photometric = photometric;
  l.bps = bps;
  l.spp = spp;
  return l;
}

std::vector<HostileCase> hostileCases() {
  std::vector<HostileCase> cases;
  auto add = [&](std::string name, Layout l, std::string message,
                 std::function<void(TIFF*)> tamper = nullptr) {
    cases.push_back({std::move(name), l, std::move(tamper), std::move(message)});
  };
  add("bits12", layoutOf(PHOTOMETRIC_MINISBLACK, 12, 1),
      "Sorry, can not handle images with 12-bit samples");
  add("uint32", layoutOf(PHOTOMETRIC_MINISBLACK, 32, 1),
      "Sorry, can not handle images with 32-bit samples");
  Layout half = layoutOf(PHOTOMETRIC_RGB, 16, 3);
  half.sampleformat = SAMPLEFORMAT_IEEEFP;
  add("half", half, "Sorry, can not handle images with 16-bit samples");
  add("lab", layoutOf(PHOTOMETRIC_CIELAB, 8, 3),
      "Sorry, can not handle image with PhotometricInterpretation=8");
  add("rgb2", layoutOf(PHOTOMETRIC_RGB, 8, 2),
      "Sorry, can not handle RGB image with Color channels=2");
  Layout rgbExtra = layoutOf(PHOTOMETRIC_RGB, 8, 4);
  rgbExtra.extra = {EXTRASAMPLE_UNSPECIFIED, EXTRASAMPLE_UNSPECIFIED};
  add("rgbextras", rgbExtra, "Sorry, can not handle RGB image with Color channels=2");
  Layout inks = layoutOf(PHOTOMETRIC_SEPARATED, 8, 4);
  inks.inkset = INKSET_MULTIINK;
  add("inkset", inks, "Sorry, can not handle separated image with InkSet=2");
  add("cmy", layoutOf(PHOTOMETRIC_SEPARATED, 8, 3),
      "Sorry, can not handle separated image with Samples/pixel=3");
  add("grey4x2", layoutOf(PHOTOMETRIC_MINISBLACK, 4, 2),
      "Sorry, can not handle contiguous data with Samples/pixel=2, and Bits/sample=4");
  Layout ycc = layoutOf(PHOTOMETRIC_YCBCR, 8, 3);
  ycc.planar = PLANARCONFIG_SEPARATE;
  ycc.ycbcrH = ycc.ycbcrV = 2;
  add("ycbcr22s", ycc, "Sorry, can not handle YCbCr images with Planarconfiguration=2");
  add("rgb4", layoutOf(PHOTOMETRIC_RGB, 4, 3),
      "No \"put\" routine setup; probably can not handle image format");
  add("ycbcr16", layoutOf(PHOTOMETRIC_YCBCR, 16, 3),
      "No \"put\" routine setup; probably can not handle image format",
      [](TIFF* tif) { TIFFSetField(tif, TIFFTAG_YCBCRSUBSAMPLING, 1, 1); });
  add("nocolormap", layoutOf(PHOTOMETRIC_MINISBLACK, 8, 1), "Missing required \"Colormap\" tag",
      [](TIFF* tif) { TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE); });
  // libtiff itself calls the second sample of grey data an extra sample;
  // with that undone, two colour channels and no photometric tag remain.
  add("nophotometric", layoutOf(PHOTOMETRIC_MINISBLACK, 8, 2),
      "Missing needed PhotometricInterpretation tag", [](TIFF* tif) {
        TIFFUnsetField(tif, TIFFTAG_PHOTOMETRIC);
        TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 0, nullptr);
      });
  // Tiles and strips claiming gigabytes: refused before any allocation.
  Layout bigTile = layoutOf(PHOTOMETRIC_RGB, 8, 3);
  bigTile.tileWidth = bigTile.tileHeight = 64;
  add("hugetile", bigTile, "No space for tile buffer", [](TIFF* tif) {
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, 1u << 20);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, 1u << 16);
  });
  Layout wide = layoutOf(PHOTOMETRIC_RGB, 16, 4);
  wide.compression = COMPRESSION_ADOBE_DEFLATE;
  wide.rowsPerStrip = 64;
  add("hugestrip", wide, "No space for strip buffer",
      [](TIFF* tif) { TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, 1u << 22); });
  return cases;
}

TEST_F(RGBAFloatReader, RefusesWhatItCannotDecodeWithTheInterfaceMessage) {
  for (const HostileCase& c : hostileCases()) {
    SCOPED_TRACE(c.name);
    const std::string path = fDir.file(c.name + ".tif");
    {
      tiffwrite::TiffMessages quiet;  // the writer's own complaints are not under test
      ASSERT_TRUE(
          tiffwrite::writeTiff(path, c.layout, [](uint32_t, uint32_t, uint16_t) { return 1; }));
    }
    tiffwrite::TiffMessages messages;
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
}

// Compressed data cut short or overwritten: libtiff reports the decoding
// error, the reader returns 0 and leaves the tiles it could not decode alone.
TEST_F(RGBAFloatReader, CorruptDataFailsWithoutTouchingThePixels) {
  Layout l = layoutOf(PHOTOMETRIC_RGB, 8, 3);
  l.width = l.height = 64;
  l.tileWidth = l.tileHeight = 64;
  l.compression = COMPRESSION_ADOBE_DEFLATE;
  const std::string path = fDir.file("corrupt.tif");
  ASSERT_TRUE(tiffwrite::writeTiff(path, l, codes(8)));
  uint64_t* offsets = nullptr;
  uint64_t* counts = nullptr;
  {
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_TILEOFFSETS, &offsets));
    ASSERT_TRUE(TIFFGetField(tif, TIFFTAG_TILEBYTECOUNTS, &counts));
    const uint64_t at = offsets[0] + counts[0] / 4, n = counts[0] / 2;
    TIFFClose(tif);
    FILE* f = std::fopen(path.c_str(), "r+b");
    ASSERT_NE(f, nullptr);
    std::fseek(f, long(at), SEEK_SET);
    const std::vector<uint8_t> junk(n, 0xA5);
    std::fwrite(junk.data(), 1, junk.size(), f);
    std::fclose(f);
  }
  tiffwrite::TiffMessages messages;
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  ASSERT_NE(tif, nullptr);
  std::vector<float> raster(64 * 64 * 4, kSentinel);
  EXPECT_EQ(readRGBAFloatRect(tif, 0, 0, 63, 63, raster.data()), 0);
  TIFFClose(tif);
  EXPECT_FALSE(messages.errors.empty());
  EXPECT_EQ(std::count(raster.begin(), raster.end(), kSentinel), long(raster.size()));
  EXPECT_EQ(readRGBAFloatRect(nullptr, 0, 0, 63, 63, raster.data()), 0);
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
      const float* p = &raster[(y * 64 + x) * 4];
      const bool inside = 50 + x < 100 && 10 + y < 70;
      EXPECT_NEAR(p[0], inside ? float((60 + x + y) % 256) / 255.0f : kSentinel, 1e-6f)
          << x << ", " << y;
    }
  std::fill(raster.begin(), raster.end(), kSentinel);
  EXPECT_EQ(readRGBAFloatRect(tif, 100, 0, 163, 63, raster.data()), 1);
  EXPECT_EQ(readRGBAFloatRect(tif, 20, 20, 10, 10, raster.data()), 1);
  TIFFClose(tif);
  EXPECT_EQ(std::count(raster.begin(), raster.end(), kSentinel), long(raster.size()));
}

}  // namespace
