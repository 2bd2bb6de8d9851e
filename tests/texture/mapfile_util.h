// Test helpers: tiny map files written with libtiff (and, for damaged files,
// byte by byte) in a temporary folder.
#ifndef SLRT_TESTS_TEXTURE_MAPFILE_UTIL_H
#define SLRT_TESTS_TEXTURE_MAPFILE_UTIL_H

#include <tiffio.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "support/capture.h"
#include "texture/map_pvt.h"

namespace maptest {

/// True when the captured output holds `line` ("<severity>|<text>").
inline bool has(const ErrorCapture& cap, const std::string& line) {
  return cap.text().find(line) != std::string::npos;
}

/// A fresh folder under /tmp, removed with its files.
class TempDir {
 public:
  TempDir() {
    char pattern[] = "/tmp/slrt-map-XXXXXX";
    if (mkdtemp(pattern)) fPath = pattern;
  }
  ~TempDir() {
    std::error_code ec;
    if (!fPath.empty()) std::filesystem::remove_all(fPath, ec);
  }
  const std::string& path() const { return fPath; }
  std::string file(const std::string& name) const { return fPath + "/" + name; }

 private:
  std::string fPath;
};

struct Level {
  uint32_t width, height;
  int64_t fullWidth = -1;  // -1: tag left out
  int64_t fullLength = -1;
};

/// What to write.  Null strings and matrices leave their tags out.
struct MapFile {
  const char* description = nullptr;
  const char* wraps = nullptr;
  std::vector<Level> levels;
  uint16_t samples = 1;
  const float* fovCot = nullptr;
  const float* worldToScreen = nullptr;
  const float* worldToCamera = nullptr;
  /// 8-bit sample value at (level, x, y, channel); zero when unset.
  std::function<uint8_t(uint32_t, uint32_t, uint32_t, uint16_t)> pixel;
};

/// A MIP-map's levels for a w x h image, all the way down.
inline std::vector<Level> pyramid(uint32_t w, uint32_t h) {
  std::vector<Level> out;
  for (; w && h; w >>= 1, h >>= 1) out.push_back({w, h});
  return out;
}

/// Writes the map as a striped, uncompressed, 8-bit TIFF; false on failure.
inline bool writeMap(const std::string& path, const MapFile& m) {
  TIFF* tif = TIFFOpen(path.c_str(), "w");
  if (!tif) return false;
  for (size_t l = 0; l < m.levels.size(); ++l) {
    const Level& lv = m.levels[l];
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, lv.width);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, lv.height);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, m.samples);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC,
                 m.samples >= 3 ? PHOTOMETRIC_RGB : PHOTOMETRIC_MINISBLACK);
    if (m.samples > 3) {
      std::vector<uint16_t> extra(m.samples - 3, EXTRASAMPLE_UNSPECIFIED);
      TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(extra.size()), extra.data());
    }
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, lv.height);
    if (lv.fullWidth >= 0) TIFFSetField(tif, slrt_detail::kTagFullWidth, uint32_t(lv.fullWidth));
    if (lv.fullLength >= 0)
      TIFFSetField(tif, slrt_detail::kTagFullLength, uint32_t(lv.fullLength));
    if (m.description) TIFFSetField(tif, slrt_detail::kTagTextureFormat, m.description);
    if (m.wraps) TIFFSetField(tif, slrt_detail::kTagWrapModes, m.wraps);
    if (m.fovCot) TIFFSetField(tif, slrt_detail::kTagFovCot, double(*m.fovCot));
    if (m.worldToScreen) TIFFSetField(tif, slrt_detail::kTagWorldToScreen, m.worldToScreen);
    if (m.worldToCamera) TIFFSetField(tif, slrt_detail::kTagWorldToCamera, m.worldToCamera);
    std::vector<uint8_t> row(size_t(lv.width) * m.samples);
    for (uint32_t y = 0; y < lv.height; ++y) {
      for (uint32_t x = 0; x < lv.width; ++x)
        for (uint16_t c = 0; c < m.samples; ++c)
          row[size_t(x) * m.samples + c] = m.pixel ? m.pixel(uint32_t(l), x, y, c) : 0;
      if (TIFFWriteScanline(tif, row.data(), y, 0) < 0) {
        TIFFClose(tif);
        return false;
      }
    }
    if (!TIFFWriteDirectory(tif)) {
      TIFFClose(tif);
      return false;
    }
  }
  TIFFClose(tif);
  return true;
}

/// Writes, byte by byte, what libtiff would refuse to write: a little-endian
/// file of one 8-bit grey directory of w x h whose single strip starts at
/// stripOffset, with the description tag when given.  firstOffset replaces
/// the first directory's offset (0 gives a file libtiff gives up on without a
/// word).  64 filler bytes follow the directory.
inline bool writeRawGrey(const std::string& path, uint32_t w, uint32_t h, const char* description,
                         uint32_t stripOffset = 8, int64_t firstOffset = -1) {
  std::string desc = description ? description : "";
  struct Entry {
    uint16_t tag, type;
    uint32_t count, value;
  };
  std::vector<Entry> e = {{256, 4, 1, w}, {257, 4, 1, h}, {258, 3, 1, 8},
                          {259, 3, 1, 1}, {262, 3, 1, 1}, {273, 4, 1, stripOffset},
                          {277, 3, 1, 1}, {278, 4, 1, h}, {279, 4, 1, 16}};
  uint32_t after = uint32_t(8 + 2 + 12 * (e.size() + (description ? 1 : 0)) + 4);
  if (description) e.push_back({33302, 2, uint32_t(desc.size() + 1), after});
  std::vector<uint8_t> b;
  auto put = [&b](uint32_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) b.push_back(uint8_t(v >> (8 * i)));
  };
  b = {'I', 'I', 42, 0};
  put(firstOffset >= 0 ? uint32_t(firstOffset) : 8u, 4);
  put(uint32_t(e.size()), 2);
  for (const Entry& x : e) {
    put(x.tag, 2);
    put(x.type, 2);
    put(x.count, 4);
    put(x.value, 4);  // little-endian: a SHORT value sits in the first two bytes
  }
  put(0, 4);
  b.insert(b.end(), desc.begin(), desc.end());
  if (description) b.push_back(0);
  b.resize(b.size() + 64, 0x55);
  FILE* f = std::fopen(path.c_str(), "wb");
  if (!f) return false;
  bool ok = std::fwrite(b.data(), 1, b.size(), f) == b.size();
  return std::fclose(f) == 0 && ok;
}

/// A copy of a file cut to its first `bytes` bytes.
inline void truncateCopy(const std::string& from, const std::string& to, long bytes) {
  std::filesystem::copy_file(from, to, std::filesystem::copy_options::overwrite_existing);
  std::filesystem::resize_file(to, uintmax_t(bytes));
}

/// Number of open descriptors of this process.
inline int openDescriptors() {
  int n = 0;
  for (auto it = std::filesystem::directory_iterator("/proc/self/fd");
       it != std::filesystem::directory_iterator(); ++it)
    ++n;
  return n - 1;  // the listing's own descriptor
}

}  // namespace maptest

#endif  // SLRT_TESTS_TEXTURE_MAPFILE_UTIL_H
