// Test helpers: tiny map files written with libtiff (and, for damaged files,
// byte by byte) in a temporary folder.
#ifndef SLRT_TESTS_TEXTURE_MAPFILE_UTIL_H
#define SLRT_TESTS_TEXTURE_MAPFILE_UTIL_H

#include <dirent.h>
#include <slrt/runtime/error.h>
#include <tiffio.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "support/capture.h"

namespace maptest {

/// Records every report as "<code>|<severity>|<message>" while alive (the
/// handler level, so the exact code is seen too), starting after a repeat
/// barrier so that an identical earlier report cannot swallow the first one.
class ReportLog {
 public:
  ReportLog() : fSaved(Error::fHandler) {
    resetErrorRepeat();
    current() = this;
    setErrorHandler(&ReportLog::record);
  }
  ~ReportLog() {
    Error::fHandler = fSaved;
    current() = nullptr;
  }
  ReportLog(const ReportLog&) = delete;
  ReportLog& operator=(const ReportLog&) = delete;
  const std::vector<std::string>& lines() const { return fLines; }
  std::string text() const {
    std::string all;
    for (const std::string& l : fLines) all += (all.empty() ? "" : "\n") + l;
    return all;
  }
  bool has(const std::string& line) const {
    return std::find(fLines.begin(), fLines.end(), line) != fLines.end();
  }
  void clear() {
    fLines.clear();
    resetErrorRepeat();
  }

 private:
  static ReportLog*& current() {
    static ReportLog* log = nullptr;
    return log;
  }
  static void record(long code, long severity, char* message) {
    if (current())
      current()->fLines.push_back(std::to_string(code) + "|" + std::to_string(severity) + "|" +
                                  (message ? message : "(null)"));
  }
  std::vector<std::string> fLines;
  ErrorHandlerFunc fSaved;
};

/// A fresh folder under $TMPDIR (or /tmp), removed with its files.
class TempDir {
 public:
  TempDir() {
    const char* base = std::getenv("TMPDIR");
    std::string pattern = std::string(base && *base ? base : "/tmp") + "/slrt-map-XXXXXX";
    std::vector<char> buf(pattern.begin(), pattern.end());
    buf.push_back('\0');
    if (mkdtemp(buf.data())) fPath = buf.data();
  }
  ~TempDir() {
    if (fPath.empty()) return;
    if (DIR* d = opendir(fPath.c_str())) {
      while (dirent* e = readdir(d)) {
        std::string n = e->d_name;
        if (n != "." && n != "..") std::remove((fPath + "/" + n).c_str());
      }
      closedir(d);
    }
    rmdir(fPath.c_str());
  }
  TempDir(const TempDir&) = delete;
  TempDir& operator=(const TempDir&) = delete;
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
    if (m.samples == 2 || m.samples == 4) {
      uint16_t extra = EXTRASAMPLE_ASSOCALPHA;
      TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &extra);
    } else if (m.samples > 4) {
      std::vector<uint16_t> extra(m.samples - 3, EXTRASAMPLE_UNSPECIFIED);
      TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, uint16_t(extra.size()), extra.data());
    }
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, lv.height);
    if (lv.fullWidth >= 0) TIFFSetField(tif, TIFFTAG_PIXAR_IMAGEFULLWIDTH, uint32_t(lv.fullWidth));
    if (lv.fullLength >= 0)
      TIFFSetField(tif, TIFFTAG_PIXAR_IMAGEFULLLENGTH, uint32_t(lv.fullLength));
    if (m.description) TIFFSetField(tif, TIFFTAG_PIXAR_TEXTUREFORMAT, m.description);
    if (m.wraps) TIFFSetField(tif, TIFFTAG_PIXAR_WRAPMODES, m.wraps);
    if (m.fovCot) TIFFSetField(tif, TIFFTAG_PIXAR_FOVCOT, double(*m.fovCot));
    if (m.worldToScreen) TIFFSetField(tif, TIFFTAG_PIXAR_MATRIX_WORLDTOSCREEN, m.worldToScreen);
    if (m.worldToCamera) TIFFSetField(tif, TIFFTAG_PIXAR_MATRIX_WORLDTOCAMERA, m.worldToCamera);
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

/// Byte-level writer for files libtiff would refuse to write: a little-endian
/// header and one directory of the given entries, the first directory offset
/// overridable (0 gives a file libtiff opens without any message).
class RawTiff {
 public:
  void entry(uint16_t tag, uint16_t type, uint32_t count, uint32_t value) {
    fEntries.push_back({tag, type, count, value});
  }
  /// An ASCII entry whose text is stored after the directory.
  void text(uint16_t tag, const std::string& s) { fTexts.push_back({tag, s}); }
  bool write(const std::string& path, int64_t firstOffset = -1) const {
    std::vector<uint8_t> b = {'I', 'I', 42, 0, 0, 0, 0, 0};
    size_t n = fEntries.size() + fTexts.size();
    uint32_t ifd = 8, after = uint32_t(8 + 2 + 12 * n + 4);
    put32(b, 4, firstOffset >= 0 ? uint32_t(firstOffset) : ifd);
    std::vector<Entry> all = fEntries;
    std::vector<uint8_t> tail;
    for (const auto& t : fTexts) {
      uint32_t at = after + uint32_t(tail.size());
      all.push_back({t.first, 2, uint32_t(t.second.size() + 1), at});
      tail.insert(tail.end(), t.second.begin(), t.second.end());
      tail.push_back(0);
    }
    std::sort(all.begin(), all.end(), [](const Entry& a, const Entry& c) { return a.tag < c.tag; });
    b.resize(after);
    put16(b, 8, uint16_t(n));
    for (size_t i = 0; i < all.size(); ++i) {
      size_t o = 10 + 12 * i;
      put16(b, o, all[i].tag);
      put16(b, o + 2, all[i].type);
      put32(b, o + 4, all[i].count);
      if (all[i].type == 3 && all[i].count == 1) {
        put16(b, o + 8, uint16_t(all[i].value));
      } else {
        put32(b, o + 8, all[i].value);
      }
    }
    put32(b, 10 + 12 * n, 0);
    b.insert(b.end(), tail.begin(), tail.end());
    b.resize(b.size() + 64, 0x55);  // a little pixel data to point at
    FILE* f = std::fopen(path.c_str(), "wb");
    if (!f) return false;
    bool ok = std::fwrite(b.data(), 1, b.size(), f) == b.size();
    return std::fclose(f) == 0 && ok;
  }

 private:
  struct Entry {
    uint16_t tag, type;
    uint32_t count, value;
  };
  static void put16(std::vector<uint8_t>& b, size_t o, uint16_t v) {
    b[o] = uint8_t(v);
    b[o + 1] = uint8_t(v >> 8);
  }
  static void put32(std::vector<uint8_t>& b, size_t o, uint32_t v) {
    for (int i = 0; i < 4; ++i) b[o + i] = uint8_t(v >> (8 * i));
  }
  std::vector<Entry> fEntries;
  std::vector<std::pair<uint16_t, std::string>> fTexts;
};

/// A one-directory 8-bit grey image of w x h whose single strip points at
/// stripOffset (by default bytes inside the file); the description tag is written when
/// given.
inline RawTiff rawGrey(uint32_t w, uint32_t h, const char* description, uint32_t stripOffset = 8) {
  RawTiff r;
  r.entry(256, 4, 1, w);
  r.entry(257, 4, 1, h);
  r.entry(258, 3, 1, 8);
  r.entry(259, 3, 1, 1);
  r.entry(262, 3, 1, 1);
  r.entry(273, 4, 1, stripOffset);  // by default, bytes inside the file
  r.entry(277, 3, 1, 1);
  r.entry(278, 4, 1, h);
  r.entry(279, 4, 1, 16);
  if (description) r.text(33302, description);
  return r;
}

/// Copies the first `bytes` bytes of a file to another.
inline bool truncateCopy(const std::string& from, const std::string& to, long bytes) {
  FILE* in = std::fopen(from.c_str(), "rb");
  if (!in) return false;
  std::vector<char> buf(size_t(bytes > 0 ? bytes : 0) + 1);  // never empty
  size_t got = std::fread(buf.data(), 1, buf.size() - 1, in);
  std::fclose(in);
  FILE* out = std::fopen(to.c_str(), "wb");
  if (!out) return false;
  bool ok = std::fwrite(buf.data(), 1, got, out) == got;
  return std::fclose(out) == 0 && ok;
}

/// Number of open descriptors of this process.
inline int openDescriptors() {
  int n = 0;
  if (DIR* d = opendir("/proc/self/fd")) {
    while (dirent* e = readdir(d))
      if (e->d_name[0] != '.') ++n;
    closedir(d);
    --n;  // the descriptor of the listing itself
  }
  return n;
}

}  // namespace maptest

#endif  // SLRT_TESTS_TEXTURE_MAPFILE_UTIL_H
