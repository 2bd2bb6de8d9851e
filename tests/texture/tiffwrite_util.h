// Test helpers: write small TIFF files of any pixel layout with libtiff, and
// capture what libtiff's error and warning handlers are given.
#ifndef SLRT_TESTS_TEXTURE_TIFFWRITE_UTIL_H
#define SLRT_TESTS_TEXTURE_TIFFWRITE_UTIL_H

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tiffwrite {

/// A temporary folder removed with everything in it on destruction.
class TempDir {
 public:
  TempDir() {
    char name[] = "/tmp/slrt-tiff-XXXXXX";
    fPath = mkdtemp(name) ? name : "/tmp";
  }
  ~TempDir() {
    std::error_code ec;
    if (fPath != "/tmp") std::filesystem::remove_all(fPath, ec);
  }
  std::string file(const std::string& name) const { return fPath + "/" + name; }

 private:
  std::string fPath;
};

/// Everything that decides how the samples sit in the file.
struct Layout {
  uint32_t width = 150, height = 101;
  uint16_t bps = 8, spp = 1;
  uint16_t photometric = PHOTOMETRIC_MINISBLACK;
  uint16_t planar = PLANARCONFIG_CONTIG;
  uint16_t sampleformat = SAMPLEFORMAT_UINT;
  uint16_t compression = COMPRESSION_NONE;
  std::vector<uint16_t> extra;             // ExtraSamples values, if any
  uint32_t tileWidth = 0, tileHeight = 0;  // 0: strips
  uint32_t rowsPerStrip = 7;
  uint16_t inkset = 0;              // 0: tag not written
  std::vector<uint16_t> colormap;   // red, green then blue entries
  uint16_t ycbcrH = 0, ycbcrV = 0;  // raw YCbCr sampling blocks when set
  bool jpegFromRGB = false;         // JPEG YCbCr written from RGB samples
};

/// Sample s of pixel (x, y): integer codes, or the float itself for 32-bit
/// float files.  For raw YCbCr, s = 0 is luma and s = 1, 2 are the chroma of
/// the sampling block whose first pixel is (x, y).
using SampleFn = std::function<double(uint32_t x, uint32_t y, uint16_t s)>;

inline void putSample(std::vector<uint8_t>& buf, size_t rowStart, size_t index, const Layout& l,
                      double v) {
  if (l.bps == 32) {
    const float f = float(v);
    std::memcpy(&buf[rowStart + index * 4], &f, 4);
  } else if (l.bps == 16) {
    const uint16_t u = uint16_t(v);
    std::memcpy(&buf[rowStart + index * 2], &u, 2);
  } else if (l.bps == 1 || l.bps == 2 || l.bps == 4 || l.bps == 8) {
    const size_t bit = index * l.bps;
    const unsigned code = unsigned(v) & ((1u << l.bps) - 1);
    buf[rowStart + bit / 8] |= uint8_t(code << (8 - l.bps - bit % 8));
  }
}

// Packs the samples of one tile or strip whose top-left pixel is (ux, uy).
inline std::vector<uint8_t> packUnit(const Layout& l, const SampleFn& f, uint32_t ux, uint32_t uy,
                                     uint32_t uw, uint32_t uh, uint16_t plane) {
  std::vector<uint8_t> buf;
  auto clampX = [&](uint32_t x) { return x < l.width ? x : l.width - 1; };
  auto clampY = [&](uint32_t y) { return y < l.height ? y : l.height - 1; };
  if (l.ycbcrH && l.planar == PLANARCONFIG_CONTIG) {
    const uint32_t h = l.ycbcrH, v = l.ycbcrV;
    for (uint32_t by = 0; by < (uh + v - 1) / v; ++by)
      for (uint32_t bx = 0; bx < (uw + h - 1) / h; ++bx) {
        const uint32_t x0 = ux + bx * h, y0 = uy + by * v;
        for (uint32_t j = 0; j < v; ++j)
          for (uint32_t i = 0; i < h; ++i)
            buf.push_back(uint8_t(f(clampX(x0 + i), clampY(y0 + j), 0)));
        buf.push_back(uint8_t(f(clampX(x0), clampY(y0), 1)));
        buf.push_back(uint8_t(f(clampX(x0), clampY(y0), 2)));
      }
    return buf;
  }
  const bool contig = l.planar == PLANARCONFIG_CONTIG;
  const uint16_t perPixel = contig ? l.spp : 1;
  const size_t rowBytes = (size_t(uw) * perPixel * l.bps + 7) / 8;
  buf.assign(rowBytes * uh, 0);
  for (uint32_t y = 0; y < uh; ++y)
    for (uint32_t x = 0; x < uw; ++x)
      for (uint16_t s = 0; s < perPixel; ++s) {
        const uint32_t px = ux + x, py = uy + y;
        if (px >= l.width || py >= l.height) continue;
        putSample(buf, y * rowBytes, size_t(x) * perPixel + s, l, f(px, py, contig ? s : plane));
      }
  return buf;
}

/// Writes a one-directory TIFF; false when libtiff refuses something.
inline bool writeTiff(const std::string& path, const Layout& l, const SampleFn& f) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  if (!tif) return false;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, l.width);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, l.height);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, l.bps);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, l.spp);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, l.sampleformat);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, l.photometric);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, l.planar);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, l.compression);
  if (!l.extra.empty())
    TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(l.extra.size()), l.extra.data());
  if (l.inkset) TIFFSetField(tif, TIFFTAG_INKSET, l.inkset);
  if (!l.colormap.empty()) {
    const size_t n = l.colormap.size() / 3;
    TIFFSetField(tif, TIFFTAG_COLORMAP, l.colormap.data(), l.colormap.data() + n,
                 l.colormap.data() + 2 * n);
  }
  if (l.ycbcrH) TIFFSetField(tif, TIFFTAG_YCBCRSUBSAMPLING, l.ycbcrH, l.ycbcrV);
  if (l.jpegFromRGB) {
    TIFFSetField(tif, TIFFTAG_YCBCRSUBSAMPLING, 2, 2);
    TIFFSetField(tif, TIFFTAG_JPEGQUALITY, 90);
    TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
  }
  const bool tiled = l.tileWidth != 0;
  if (tiled ? l.tileHeight == 0 : l.rowsPerStrip == 0) return false;
  if (tiled) {
    TIFFSetField(tif, TIFFTAG_TILEWIDTH, l.tileWidth);
    TIFFSetField(tif, TIFFTAG_TILELENGTH, l.tileHeight);
  } else {
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, l.rowsPerStrip);
  }
  const uint16_t planes = l.planar == PLANARCONFIG_CONTIG ? 1 : l.spp;
  bool ok = true;
  for (uint16_t p = 0; p < planes && ok; ++p) {
    if (tiled) {
      for (uint32_t y = 0; y < l.height; y += l.tileHeight)
        for (uint32_t x = 0; x < l.width; x += l.tileWidth) {
          std::vector<uint8_t> buf = packUnit(l, f, x, y, l.tileWidth, l.tileHeight, p);
          ok = ok && TIFFWriteEncodedTile(tif, TIFFComputeTile(tif, x, y, 0, p), buf.data(),
                                          tmsize_t(buf.size())) >= 0;
        }
    } else {
      for (uint32_t y = 0; y < l.height; y += l.rowsPerStrip) {
        const uint32_t rows = std::min(l.rowsPerStrip, l.height - y);
        std::vector<uint8_t> buf = packUnit(l, f, 0, y, l.width, rows, p);
        ok = ok && TIFFWriteEncodedStrip(tif, TIFFComputeStrip(tif, y, p), buf.data(),
                                         tmsize_t(buf.size())) >= 0;
      }
    }
  }
  TIFFClose(tif);
  return ok;
}

/// Records libtiff's errors and warnings as "module: text" while alive.
class TiffMessages {
 public:
  TiffMessages() {
    current() = this;
    fOldError = TIFFSetErrorHandler(&TiffMessages::onError);
    fOldWarning = TIFFSetWarningHandler(&TiffMessages::onWarning);
  }
  ~TiffMessages() {
    TIFFSetErrorHandler(fOldError);
    TIFFSetWarningHandler(fOldWarning);
    current() = nullptr;
  }
  TiffMessages(const TiffMessages&) = delete;
  TiffMessages& operator=(const TiffMessages&) = delete;

  std::vector<std::string> errors, warnings;

 private:
  static TiffMessages*& current() {
    static TiffMessages* c = nullptr;
    return c;
  }
  static std::string format(const char* module, const char* fmt, va_list ap) {
    char text[1024];
    std::vsnprintf(text, sizeof text, fmt, ap);
    return std::string(module ? module : "") + ": " + text;
  }
  static void onError(const char* module, const char* fmt, va_list ap) {
    if (current()) current()->errors.push_back(format(module, fmt, ap));
  }
  static void onWarning(const char* module, const char* fmt, va_list ap) {
    if (current()) current()->warnings.push_back(format(module, fmt, ap));
  }
  TIFFErrorHandler fOldError, fOldWarning;
};

}  // namespace tiffwrite

#endif  // SLRT_TESTS_TEXTURE_TIFFWRITE_UTIL_H
