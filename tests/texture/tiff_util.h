// Test helpers: small TIFF and map files of any pixel layout written with
// libtiff (damaged ones byte by byte) in a temporary folder.
#ifndef SLRT_TESTS_TEXTURE_TIFF_UTIL_H
#define SLRT_TESTS_TEXTURE_TIFF_UTIL_H

#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <vector>

#include "support/capture.h"
#include "texture/map_pvt.h"

namespace tifftest {

/// True when the captured output holds `line` ("<severity>|<text>").
inline bool has(const ErrorCapture& cap, const std::string& line) {
  return cap.text().find(line) != std::string::npos;
}

/// A fresh folder under /tmp, removed with its files.
struct TempDir {
  const std::string path = [] {
    char pattern[] = "/tmp/slrt-tiff-XXXXXX";
    return std::string(mkdtemp(pattern) ? pattern : "/nonexistent");
  }();
  ~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path, ec);
  }
  std::string file(const std::string& name) const { return path + "/" + name; }
};

/// Everything that decides how the samples sit in one directory.
struct Layout {
  uint32_t width = 150, height = 101;
  uint16_t bps = 8, spp = 1;
  uint16_t photometric = PHOTOMETRIC_MINISBLACK, planar = PLANARCONFIG_CONTIG;
  uint16_t sampleformat = SAMPLEFORMAT_UINT, compression = COMPRESSION_NONE;
  std::vector<uint16_t> extra;             // ExtraSamples values, if any
  uint32_t tileWidth = 0, tileHeight = 0;  // 0: strips
  uint32_t rowsPerStrip = 7;
  std::vector<uint16_t> colormap;   // red, green then blue entries
  uint16_t ycbcrH = 0, ycbcrV = 0;  // raw YCbCr sampling blocks when set
  bool jpegFromRGB = false;         // JPEG YCbCr written from RGB samples
  std::function<void(TIFF*)> tags;  // further tags
};

/// Sample s of pixel (x, y): an integer code, or the value itself for floats.
/// For raw YCbCr, s = 1, 2 are the chroma of the block whose first pixel is (x, y).
using SampleFn = std::function<double(uint32_t x, uint32_t y, uint16_t s)>;

// Packs one tile or strip of uw x uh pixels whose top-left pixel is (ux, uy).
inline std::vector<uint8_t> packUnit(const Layout& l, const SampleFn& f, uint32_t ux, uint32_t uy,
                                     uint32_t uw, uint32_t uh, uint16_t plane) {
  std::vector<uint8_t> buf;
  if (l.ycbcrH && l.planar == PLANARCONFIG_CONTIG) {
    const uint32_t h = l.ycbcrH, v = l.ycbcrV;
    auto at = [&](uint32_t x, uint32_t y, uint16_t s) {
      return uint8_t(f(std::min(x, l.width - 1), std::min(y, l.height - 1), s));
    };
    for (uint32_t y0 = uy; y0 < uy + uh; y0 += v)
      for (uint32_t x0 = ux; x0 < ux + uw; x0 += h) {
        for (uint32_t j = 0; j < v; ++j)
          for (uint32_t i = 0; i < h; ++i) buf.push_back(at(x0 + i, y0 + j, 0));
        buf.push_back(at(x0, y0, 1));
        buf.push_back(at(x0, y0, 2));
      }
    return buf;
  }
  const bool contig = l.planar == PLANARCONFIG_CONTIG;
  const uint16_t perPixel = contig ? l.spp : 1, bps = l.bps;
  const size_t rowBytes = (size_t(uw) * perPixel * bps + 7) / 8;
  buf.assign(rowBytes * uh, 0);
  for (uint32_t y = 0; y < uh && uy + y < l.height; ++y)
    for (uint32_t x = 0; x < uw && ux + x < l.width; ++x)
      for (uint16_t s = 0; s < perPixel; ++s) {
        const double v = f(ux + x, uy + y, contig ? s : plane);
        const size_t bit = (size_t(x) * perPixel + s) * bps;
        uint8_t* at = &buf[y * rowBytes + bit / 8];
        if (bps == 32) {
          const float fv = float(v);
          std::memcpy(at, &fv, 4);
        } else if (bps == 16) {
          const uint16_t u = uint16_t(v);
          std::memcpy(at, &u, 2);
        } else if (bps <= 8) {  // 1, 2, 4 or 8
          *at |= uint8_t((unsigned(v) & ((1u << bps) - 1)) << (8 - bps - bit % 8));
        }
      }
  return buf;
}

/// Writes the samples of one directory to an open file.
inline bool writeDirectory(TIFF* tif, const Layout& l, const SampleFn& f) {
  // Varargs pass 16-bit values as int-sized, so one type serves them all.
  const uint32_t fields[] = {
      TIFFTAG_IMAGEWIDTH,    l.width,        TIFFTAG_IMAGELENGTH,     l.height,
      TIFFTAG_BITSPERSAMPLE, l.bps,          TIFFTAG_SAMPLESPERPIXEL, l.spp,
      TIFFTAG_SAMPLEFORMAT,  l.sampleformat, TIFFTAG_PHOTOMETRIC,     l.photometric,
      TIFFTAG_PLANARCONFIG,  l.planar,       TIFFTAG_COMPRESSION,     l.compression};
  for (size_t i = 0; i < std::size(fields); i += 2) TIFFSetField(tif, fields[i], fields[i + 1]);
  if (!l.extra.empty())
    TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(l.extra.size()), l.extra.data());
  if (const size_t n = l.colormap.size() / 3)
    TIFFSetField(tif, TIFFTAG_COLORMAP, &l.colormap[0], &l.colormap[n], &l.colormap[2 * n]);
  if (l.ycbcrH) TIFFSetField(tif, TIFFTAG_YCBCRSUBSAMPLING, l.ycbcrH, l.ycbcrV);
  if (l.jpegFromRGB) {
    TIFFSetField(tif, TIFFTAG_YCBCRSUBSAMPLING, 2, 2);
    TIFFSetField(tif, TIFFTAG_JPEGQUALITY, 90);
    TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  if (l.tags) l.tags(tif);
  const bool tiled = l.tileWidth != 0;
  const uint32_t uw = tiled ? l.tileWidth : l.width, uh = tiled ? l.tileHeight : l.rowsPerStrip;
  if (uh == 0) return false;
  TIFFSetField(tif, tiled ? TIFFTAG_TILEWIDTH : TIFFTAG_ROWSPERSTRIP, tiled ? uw : uh);
  if (tiled) TIFFSetField(tif, TIFFTAG_TILELENGTH, uh);
  bool ok = true;
  for (uint16_t p = 0; p < (l.planar == PLANARCONFIG_CONTIG ? 1 : l.spp); ++p)
    for (uint32_t y = 0; y < l.height; y += uh)
      for (uint32_t x = 0; x < l.width; x += uw) {
        const uint32_t rows = tiled ? uh : std::min(uh, l.height - y);
        std::vector<uint8_t> buf = packUnit(l, f, x, y, uw, rows, p);
        ok = ok && (tiled ? TIFFWriteEncodedTile(tif, TIFFComputeTile(tif, x, y, 0, p), buf.data(),
                                                 tmsize_t(buf.size()))
                          : TIFFWriteEncodedStrip(tif, TIFFComputeStrip(tif, y, p), buf.data(),
                                                  tmsize_t(buf.size()))) >= 0;
      }
  return ok;
}

/// Writes a one-directory TIFF; false when libtiff refuses something.
inline bool writeTiff(const std::string& path, const Layout& l, const SampleFn& f) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  if (!tif) return false;
  const bool ok = writeDirectory(tif, l, f);
  TIFFClose(tif);
  return ok;
}

struct Level {
  uint32_t width, height;
  int64_t fullWidth = -1, fullLength = -1;  // -1: tag left out
};

/// A map file to write.  Null strings and matrices leave their tags out.
struct MapFile {
  const char *description = nullptr, *wraps = nullptr;
  std::vector<Level> levels;
  uint16_t samples = 1;
  const float *fovCot = nullptr, *worldToScreen = nullptr, *worldToCamera = nullptr;
  /// 8-bit sample value at (level, x, y, channel); zero when unset.
  std::function<uint8_t(uint32_t, uint32_t, uint32_t, uint16_t)> pixel;
};

/// A MIP-map's levels for a w x h image, all the way down.
inline std::vector<Level> pyramid(uint32_t w, uint32_t h) {
  std::vector<Level> out;
  for (; w && h; w >>= 1, h >>= 1) out.push_back({w, h});
  return out;
}

/// Writes the map as 8-bit strips, one directory a level; false on failure.
inline bool writeMap(const std::string& path, const MapFile& m) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  bool ok = tif != nullptr;
  for (uint32_t i = 0; ok && i < m.levels.size(); ++i) {
    const Level& lv = m.levels[i];
    Layout l;
    l.width = lv.width;
    l.height = l.rowsPerStrip = lv.height;
    l.spp = m.samples;
    if (m.samples >= 3) l.photometric = PHOTOMETRIC_RGB;
    if (m.samples > 3) l.extra.assign(m.samples - 3, EXTRASAMPLE_UNSPECIFIED);
    l.tags = [&](TIFF* t) {
      using namespace slrt_detail;
      if (lv.fullWidth >= 0) TIFFSetField(t, kTagFullWidth, uint32_t(lv.fullWidth));
      if (lv.fullLength >= 0) TIFFSetField(t, kTagFullLength, uint32_t(lv.fullLength));
      if (m.description) TIFFSetField(t, kTagTextureFormat, m.description);
      if (m.wraps) TIFFSetField(t, kTagWrapModes, m.wraps);
      if (m.fovCot) TIFFSetField(t, kTagFovCot, double(*m.fovCot));
      if (m.worldToScreen) TIFFSetField(t, kTagWorldToScreen, m.worldToScreen);
      if (m.worldToCamera) TIFFSetField(t, kTagWorldToCamera, m.worldToCamera);
    };
    const SampleFn f = [&](uint32_t x, uint32_t y, uint16_t c) {
      return m.pixel ? m.pixel(i, x, y, c) : 0;
    };
    ok = writeDirectory(tif, l, f) && TIFFWriteDirectory(tif);
  }
  if (tif) TIFFClose(tif);
  return ok;
}

/// Writes, byte by byte, what libtiff would refuse to write: one little-endian
/// 8-bit grey directory of w x h whose single strip starts at stripOffset, with
/// the description tag when given, then 64 filler bytes.  firstOffset replaces
/// the first directory's offset.
inline bool writeRawGrey(const std::string& path, uint32_t w, uint32_t h, const char* description,
                         uint32_t stripOffset = 8, uint32_t firstOffset = 8) {
  const std::string desc = description ? std::string(description) + '\0' : "";
  // Tag, type, count, value; a SHORT value sits in the first two bytes.
  std::vector<uint32_t> e = {256, 4, 1, w, 257, 4, 1, h, 258, 3, 1, 8,
                             259, 3, 1, 1, 262, 3, 1, 1, 273, 4, 1, stripOffset,
                             277, 3, 1, 1, 278, 4, 1, h, 279, 4, 1, 16};
  if (description) e.insert(e.end(), {33302, 2, uint32_t(desc.size()), 8 + 2 + 12 * 10 + 4});
  std::string b = "II";
  auto put = [&b](uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) b += char(v >> (8 * i));
  };
  put(42, 2);
  put(firstOffset, 4);
  put(uint32_t(e.size() / 4), 2);
  for (size_t i = 0; i < e.size(); ++i) put(e[i], i % 4 < 2 ? 2 : 4);
  put(0, 4);
  std::ofstream out(path, std::ios::binary);
  return bool(out << b << desc << std::string(64, '\x55'));
}

/// Number of open descriptors of this process.
inline int openDescriptors() {
  using It = std::filesystem::directory_iterator;
  return int(std::distance(It("/proc/self/fd"), It())) - 1;  // less the listing's own
}

}  // namespace tifftest

#endif  // SLRT_TESTS_TEXTURE_TIFF_UTIL_H
