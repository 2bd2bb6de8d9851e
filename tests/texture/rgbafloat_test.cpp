// The float RGBA reader against libtiff's own RGBA reading (or, for float
// files, against the stored samples) over every pixel layout and several
// tile and strip shapes, and on directories it must refuse.
#include <gtest/gtest.h>

#include <array>
#include <cmath>

#include "texture/rgbafloat_pvt.h"
#include "texture/tiff_util.h"

using slrt_detail::readRGBAFloatRect;
using tifftest::Layout;
using tifftest::SampleFn;

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
  if (photometric == PHOTOMETRIC_YCBCR) l.ycbcrH = l.ycbcrV = 1;
  return l;
}

std::vector<Layout> everyLayout() {
  std::vector<Layout> all;
  for (uint16_t bps : {1, 2, 4, 8, 16})
    for (uint16_t photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
      all.push_back(layoutOf(photometric, bps, 1));
  for (uint16_t bps : {1, 2, 4, 8, 8}) all.push_back(layoutOf(PHOTOMETRIC_PALETTE, bps, 1));
  for (uint16_t& entry : all.back().colormap) entry &= 255;  // an 8-bit colormap
  for (uint16_t bps : {8, 16, 32})
    for (uint16_t planar : {PLANARCONFIG_CONTIG, PLANARCONFIG_SEPARATE}) {
      all.push_back(layoutOf(PHOTOMETRIC_RGB, bps, 3, planar));
      for (int alpha : {EXTRASAMPLE_ASSOCALPHA, EXTRASAMPLE_UNASSALPHA})
        all.push_back(layoutOf(PHOTOMETRIC_RGB, bps, 4, planar, alpha));
      if (bps == 8) all.push_back(layoutOf(PHOTOMETRIC_SEPARATED, 8, 4, planar));  // CMYK
      if (bps == 8) all.push_back(layoutOf(PHOTOMETRIC_YCBCR, 8, 3, planar));
    }
  for (uint16_t photometric : {PHOTOMETRIC_MINISBLACK, PHOTOMETRIC_MINISWHITE})
    all.push_back(layoutOf(photometric, 32, 1));
  all.push_back(
      layoutOf(PHOTOMETRIC_MINISBLACK, 32, 2, PLANARCONFIG_SEPARATE, EXTRASAMPLE_ASSOCALPHA));
  // YCbCr sampling blocks; 0 x 0 stands for JPEG-compressed YCbCr.
  for (auto [h, v] : {std::pair{2, 1}, {1, 2}, {2, 2}, {4, 1}, {4, 2}, {4, 4}, {0, 0}}) {
    Layout& l = all.emplace_back(layoutOf(PHOTOMETRIC_YCBCR, 8, 3));
    l.ycbcrH = uint16_t(h);
    l.ycbcrV = uint16_t(v);
    l.jpegFromRGB = h == 0;
    l.compression = h ? COMPRESSION_NONE : COMPRESSION_JPEG;
  }
  if (!TIFFIsCODECConfigured(COMPRESSION_JPEG)) all.pop_back();
  return all;
}

// Reads the rectangle from (x0, y0), asking for more than the 64 x 64 raster
// holds, into image; pixels written beyond the image count as failures.
int readRect(TIFF* tif, const Layout& l, uint32_t x0, uint32_t y0, Pixels& image) {
  std::vector<float> raster(64 * 64 * 4, kSentinel);
  int failures = readRGBAFloatRect(tif, x0, y0, x0 + 99, y0 + 99, raster.data()) != 1;
  for (uint32_t j = 0; j < 64; ++j)
    for (uint32_t i = 0; i < 64; ++i) {
      const float* p = &raster[(j * 64 + i) * 4];
      if (x0 + i < l.width && y0 + j < l.height)
        std::copy(p, p + 4, image[(y0 + j) * size_t(l.width) + x0 + i].begin());
      else
        failures += p[0] != kSentinel || p[3] != kSentinel;
    }
  return failures;
}

Pixels libtiffRGBA(const std::string& path, const Layout& l) {
  std::vector<uint32_t> abgr(size_t(l.width) * l.height);
  TIFF* tif = TIFFOpen(path.c_str(), "r");
  const bool ok =
      tif && TIFFReadRGBAImageOriented(tif, l.width, l.height, abgr.data(), ORIENTATION_TOPLEFT, 0);
  if (tif) TIFFClose(tif);
  Pixels out;
  for (uint32_t v : abgr)
    if (ok)
      out.push_back({TIFFGetR(v) / 255.0f, TIFFGetG(v) / 255.0f, TIFFGetB(v) / 255.0f,
                     l.extra.empty() ? 0.0f : TIFFGetA(v) / 255.0f});
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

TEST(RGBAFloatReader, AgreesWithLibtiffOnEveryLayoutAndTileShape) {
  tifftest::TempDir dir;
  // Tile width and height, or 0 and the rows per strip.
  const std::pair<uint32_t, uint32_t> kShapes[] = {{64, 64}, {16, 16}, {48, 32}, {0, 7}};
  int n = 0;
  for (const Layout& base : everyLayout())
    for (auto [tw, th] : kShapes) {
      Layout l = base;
      char name[96];
      std::snprintf(name, sizeof name, "%d_p%u_b%u_s%u_pl%u_a%u_y%u%u_c%u_t%ux%u.tif", n++,
                    l.photometric, l.bps, l.spp, l.planar, l.extra.empty() ? 0 : l.extra[0],
                    l.ycbcrH, l.ycbcrV, l.compression, tw, th);
      SCOPED_TRACE(name);
      l.tileWidth = tw;
      l.tileHeight = tw ? th : 0;
      // Strips hold whole sampling blocks (and JPEG MCUs).
      const uint32_t unit = l.jpegFromRGB ? 16 : std::max<uint32_t>(1, l.ycbcrV);
      l.rowsPerStrip = (th + unit - 1) / unit * unit;
      const std::string path = dir.file(name);
      ASSERT_TRUE(tifftest::writeTiff(path, l, samplesFor(l)));

      // libtiff's tile routines for 16-bit grey and 4x4 YCbCr misplace the
      // rows of partial edge tiles, and it reads no separate-plane YCbCr:
      // those take their reference from the same samples in contiguous strips.
      Pixels want;
      if (l.bps == 32) {
        want = storedFloats(l);
      } else if ((tw && ((l.bps == 16 && l.spp == 1) || l.ycbcrH * l.ycbcrV == 16)) ||
                 (l.photometric == PHOTOMETRIC_YCBCR && l.planar == PLANARCONFIG_SEPARATE)) {
        Layout strips = l;
        strips.tileWidth = 0;
        strips.rowsPerStrip = 16;
        strips.planar = PLANARCONFIG_CONTIG;
        ASSERT_TRUE(tifftest::writeTiff(path + ".ref", strips, samplesFor(l)));
        want = libtiffRGBA(path + ".ref", strips);
      } else {
        want = libtiffRGBA(path, l);
      }
      ASSERT_EQ(want.size(), size_t(l.width) * l.height) << "libtiff cannot read the file";

      ErrorCapture log;
      resetErrorRepeat();  // libtiff's reading above gave the same warnings
      TIFF* tif = TIFFOpen(path.c_str(), "r");
      ASSERT_NE(tif, nullptr);
      Pixels ours(size_t(l.width) * l.height);
      int failures = 0;
      for (uint32_t y = 0; y < l.height; y += 64)
        for (uint32_t x = 0; x < l.width; x += 64) failures += readRect(tif, l, x, y, ours);
      // A rectangle off the tile grid agrees with the tiles; one starting
      // past the image, or ending before it starts, writes nothing.
      Pixels shifted = ours;
      failures += readRect(tif, l, 37, 29, shifted) + readRect(tif, l, l.width, 0, shifted);
      EXPECT_TRUE(shifted == ours);
      std::vector<float> raster(64 * 64 * 4, kSentinel);
      failures += readRGBAFloatRect(tif, 20, 20, 10, 10, raster.data()) != 1;
      failures += int(std::count(raster.begin(), raster.end(), kSentinel) != long(raster.size()));
      TIFFClose(tif);
      EXPECT_EQ(failures, 0);
      const bool cmap8 = !l.colormap.empty() && std::all_of(l.colormap.begin(), l.colormap.end(),
                                                            [](uint16_t e) { return e < 256; });
      EXPECT_EQ(log.text(), cmap8 ? "1|warning: " + path + ": Assuming 8-bit colormap" : "");

      // One 8-bit step, or none for floats.  libtiff rounds 16-bit colour and
      // alpha to 8 bits before premultiplying, which can cost a second step.
      const bool unassoc16 = l.bps == 16 && !l.extra.empty() && l.extra[0] == 2;
      const float tolerance = l.bps == 32 ? 0.0f : (unassoc16 ? 2.0f : 1.0f) / 255.0f + 1e-6f;
      size_t bad = 0, first = 0;
      for (size_t i = 0; i < want.size() * 4; ++i)
        if (!(std::fabs(ours[i / 4][i % 4] - want[i / 4][i % 4]) <= tolerance) && !bad++) first = i;
      EXPECT_EQ(bad, 0u) << "first at (" << first / 4 % l.width << ", " << first / 4 / l.width
                         << ") channel " << first % 4 << ": ours " << ours[first / 4][first % 4]
                         << ", expected " << want[first / 4][first % 4];
    }
}

// Refusals name the file and leave the raster alone; so do decoding errors.
TEST(RGBAFloatReader, RefusesWhatItCannotDecodeWithTheInterfaceMessage) {
  const char* const kNoPut = "No \"put\" routine setup; probably can not handle image format";
  using Tamper = std::function<void(TIFF*)>;  // changes made to the open directory
  auto set = [](ttag_t tag, uint32_t v) { return [=](TIFF* t) { TIFFSetField(t, tag, v); }; };
  Layout tiled = layoutOf(PHOTOMETRIC_RGB, 8, 3), strips = layoutOf(PHOTOMETRIC_RGB, 16, 4);
  tiled.tileWidth = tiled.tileHeight = strips.rowsPerStrip = 64;
  const struct {
    Layout layout;
    const char* message;  // null: whatever the decoder says
    Tamper tamper = nullptr;
  } cases[] = {
      {layoutOf(PHOTOMETRIC_MINISBLACK, 12, 1), "Sorry, can not handle images with 12-bit samples"},
      {layoutOf(PHOTOMETRIC_MINISBLACK, 32, 1), "Sorry, can not handle images with 32-bit samples",
       set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT)},
      {layoutOf(PHOTOMETRIC_RGB, 16, 3), "Sorry, can not handle images with 16-bit samples",
       set(TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_IEEEFP)},
      {layoutOf(PHOTOMETRIC_CIELAB, 8, 3),
       "Sorry, can not handle image with PhotometricInterpretation=8"},
      {layoutOf(PHOTOMETRIC_RGB, 8, 2), "Sorry, can not handle RGB image with Color channels=2"},
      {layoutOf(PHOTOMETRIC_SEPARATED, 8, 4), "Sorry, can not handle separated image with InkSet=2",
       set(TIFFTAG_INKSET, INKSET_MULTIINK)},
      {layoutOf(PHOTOMETRIC_SEPARATED, 8, 3),
       "Sorry, can not handle separated image with Samples/pixel=3"},
      {layoutOf(PHOTOMETRIC_MINISBLACK, 4, 2),
       "Sorry, can not handle contiguous data with PhotometricInterpretation=1, and "
       "Samples/pixel=2"},
      {layoutOf(PHOTOMETRIC_YCBCR, 8, 3, PLANARCONFIG_SEPARATE),
       "Sorry, can not handle YCbCr images with Planarconfiguration=2",
       [](TIFF* t) { TIFFSetField(t, TIFFTAG_YCBCRSUBSAMPLING, 2, 2); }},
      {layoutOf(PHOTOMETRIC_RGB, 4, 3), kNoPut},
      {layoutOf(PHOTOMETRIC_YCBCR, 16, 3), kNoPut},
      {layoutOf(PHOTOMETRIC_MINISBLACK, 8, 1), "Missing required \"Colormap\" tag",
       set(TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_PALETTE)},
      // libtiff calls the second sample of grey data an extra sample; with
      // that undone, two colour channels and no photometric tag remain.
      {layoutOf(PHOTOMETRIC_MINISBLACK, 8, 2), "Missing needed PhotometricInterpretation tag",
       [](TIFF* t) {
         TIFFUnsetField(t, TIFFTAG_PHOTOMETRIC);
         TIFFSetField(t, TIFFTAG_EXTRASAMPLES, 0, nullptr);
       }},
      // Tiles and strips claiming gigabytes are refused before allocating.
      {tiled, "No space for tile buffer",
       [](TIFF* t) {
         TIFFSetField(t, TIFFTAG_TILEWIDTH, 1u << 20);
         TIFFSetField(t, TIFFTAG_TILELENGTH, 1u << 16);
       }},
      {strips, "No space for strip buffer", set(TIFFTAG_IMAGEWIDTH, 1u << 22)},
      // Plain samples read as compressed data: the decoder fails.
      {layoutOf(PHOTOMETRIC_RGB, 8, 3), nullptr,
       set(TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE)},
      {tiled, nullptr, set(TIFFTAG_COMPRESSION, COMPRESSION_ADOBE_DEFLATE)},
  };
  tifftest::TempDir dir;
  int n = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(n);
    const std::string path = dir.file("refused" + std::to_string(n++) + ".tif");
    ErrorCapture log;
    ASSERT_TRUE(
        tifftest::writeTiff(path, c.layout, [](uint32_t, uint32_t, uint16_t) { return 1; }));
    TIFF* tif = TIFFOpen(path.c_str(), "r");
    ASSERT_NE(tif, nullptr);
    if (c.tamper) c.tamper(tif);
    log.clear();
    std::vector<float> raster(64 * 64 * 4, kSentinel);
    EXPECT_EQ(readRGBAFloatRect(tif, 0, 0, 63, 63, raster.data()), 0);
    TIFFClose(tif);
    EXPECT_EQ(log.text(), c.message ? "2|error: " + path + ": " + c.message : log.text());
    EXPECT_TRUE(tifftest::has(log, "2|error: ")) << log.text();
    EXPECT_EQ(std::count(raster.begin(), raster.end(), kSentinel), long(raster.size()));
  }
  EXPECT_EQ(readRGBAFloatRect(nullptr, 0, 0, 63, 63, nullptr), 0);
}

}  // namespace
