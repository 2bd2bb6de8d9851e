// Float RGBA reader: turns any rectangle (at most one 64 x 64 cache tile) of
// a TIFF directory into four floats a pixel.
//
// The work is split the way a general RGBA image reader is usually split:
//   begin  inspects the directory once, refuses what it cannot decode, builds
//          the lookup tables the pixel layout needs and picks two routines;
//   get    walks the file's own tiles or strips that meet the rectangle and
//          reads each into a work buffer (one plane after the other for
//          separate data);
//   put    converts the part of that buffer inside the rectangle to floats;
//   end    frees the work buffers (data, B&W or palette map, YCbCr tables).
// Put routines are stamped out from a handful of pixel functors by one
// template over sample type, alpha handling and planar layout, so every
// layout shares one loop.
#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <type_traits>

#include "texture/rgbafloat_pvt.h"

namespace slrt_detail {
namespace {

constexpr uint32_t kRasterWidth = kRGBAFloatRasterWidth;
constexpr size_t kRasterStride = kRasterWidth * 4;  // floats per raster row

// Largest work buffer the reader allocates for one tile or strip, all planes
// together.  Directories claiming larger tiles or strips are refused instead
// of being trusted with an allocation of whatever size they name.
constexpr uint64_t kMaxWorkBuffer = uint64_t(256) << 20;

enum class Alpha { kNone, kAssociated, kUnassociated };

struct RGBAFloatImage;

// Where a put routine finds its samples: the decoded buffer of one tile or
// strip (one buffer per plane for separate data), the byte distance between
// rows (between rows of sampling blocks for subsampled YCbCr), and the first
// wanted pixel relative to the buffer's top-left corner.
struct Source {
  const uint8_t* plane[4];
  size_t rowBytes;
  uint32_t x0, y0;
};

using PutRoutine = void (*)(const RGBAFloatImage&, float* dst, uint32_t w, uint32_t h,
                            const Source& src);
using GetRoutine = int (*)(RGBAFloatImage&, float* raster, uint32_t col0, uint32_t row0, uint32_t w,
                           uint32_t h);

// Float YCbCr -> RGB conversion tables, one entry per 8-bit code; the sums
// are in 0..255 units and are clamped before scaling to [0, 1].
struct YCbCrTables {
  float y[256];
  float crR[256], crG[256];
  float cbB[256], cbG[256];
};

struct RGBAFloatImage {
  TIFF* tif = nullptr;
  uint32_t width = 0, height = 0;
  uint16_t bitspersample = 1, samplesperpixel = 1, sampleformat = SAMPLEFORMAT_UINT;
  uint16_t photometric = PHOTOMETRIC_MINISBLACK, planarconfig = PLANARCONFIG_CONTIG;
  uint16_t compression = COMPRESSION_NONE;
  int colorchannels = 1;
  Alpha alpha = Alpha::kNone;
  uint16_t ycbcrH = 1, ycbcrV = 1;  // >1 only on the raw subsampled YCbCr path
  bool isContig = true;             // one plane holds every sample
  bool isTiled = false;
  uint16_t nplanes = 1;  // planes the separate get routines read

  float scale = 1.0f;     // 1 / largest sample value (1 for float samples)
  float greyBias = 0.0f;  // grey = greyBias + greyScale * sample
  float greyScale = 1.0f;

  // The three work buffers.
  uint8_t* data = nullptr;  // raw tile or strip samples, all planes
  bool dataReused = false;  // data is the persistent buffer, not ours to free
  float* map = nullptr;     // 4 floats per code: B&W or palette lookups
  YCbCrTables* ycbcr = nullptr;

  GetRoutine get = nullptr;
  PutRoutine put = nullptr;
};

void reportError(TIFF* tif, const char* fmt, ...) __attribute__((format(printf, 2, 3)));
void reportError(TIFF* tif, const char* fmt, ...) {
  // libtiff has no va_list entry point for the extended handler, so the text
  // is formatted here and handed over as an argument, never as a format.
  char text[512];
  va_list ap;
  va_start(ap, fmt);
  std::vsnprintf(text, sizeof text, fmt, ap);
  va_end(ap);
  TIFFErrorExt(TIFFClientdata(tif), TIFFFileName(tif), "%s", text);
}

// ---------------------------------------------------------------------------
// Put routines

template <typename T>
inline T load(const uint8_t* p) {
  T v;
  std::memcpy(&v, p, sizeof v);
  return v;
}

// 8-bit codes scaled to [0, 1]: a table lookup is cheaper than converting
// and multiplying, and gives the correctly rounded quotient code / 255.
struct UnitTable8 {
  float value[256];
  constexpr UnitTable8() : value() {
    for (int i = 0; i < 256; ++i) value[i] = float(i) / 255.0f;
  }
};
constexpr UnitTable8 kUnit8;

// A sample scaled to [0, 1] by the image's largest value (scale is its
// reciprocal; 1 for float samples).
template <typename T>
inline float unit(T v, float scale) {
  if constexpr (std::is_same_v<T, uint8_t>)
    return kUnit8.value[v];
  else
    return float(v) * scale;
}

inline float clamp255(float v) {
  return v > 0.0f ? (v < 255.0f ? v : 255.0f) : 0.0f;
}

inline void ycbcrToFloat(const YCbCrTables& t, unsigned y, unsigned cb, unsigned cr, float* o) {
  const float lum = t.y[y];
  o[0] = clamp255(lum + t.crR[cr]) / 255.0f;
  o[1] = clamp255(lum + t.crG[cr] + t.cbG[cb]) / 255.0f;
  o[2] = clamp255(lum + t.cbB[cb]) / 255.0f;
  o[3] = 0.0f;
}

// Pixel functors: each turns the samples of one pixel, handed over by a
// getter get(i) -> sample i, into four floats.  Unassociated alpha is
// multiplied into the colour so that every layout yields premultiplied
// colour, as the associated layouts store it.

template <typename T, Alpha A>
struct GreyPixel {
  using Sample = T;
  float bias, sign, scale;
  explicit GreyPixel(const RGBAFloatImage& img)
      : bias(img.greyBias), sign(img.greyBias != 0.0f ? -1.0f : 1.0f), scale(img.scale) {}
  template <class Get>
  void operator()(float* o, const Get& get) const {
    float v = bias + sign * unit(get(0), scale);
    float a = 0.0f;
    if constexpr (A != Alpha::kNone) a = unit(get(1), scale);
    if constexpr (A == Alpha::kUnassociated) v *= a;
    o[0] = v;
    o[1] = v;
    o[2] = v;
    o[3] = a;
  }
};

template <typename T, Alpha A>
struct RGBPixel {
  using Sample = T;
  float scale;
  explicit RGBPixel(const RGBAFloatImage& img) : scale(img.scale) {}
  template <class Get>
  void operator()(float* o, const Get& get) const {
    float r = unit(get(0), scale), g = unit(get(1), scale), b = unit(get(2), scale);
    float a = 0.0f;
    if constexpr (A != Alpha::kNone) a = unit(get(3), scale);
    if constexpr (A == Alpha::kUnassociated) {
      r *= a;
      g *= a;
      b *= a;
    }
    o[0] = r;
    o[1] = g;
    o[2] = b;
    o[3] = a;
  }
};

template <typename T>
struct CMYKPixel {
  using Sample = T;
  float scale;
  explicit CMYKPixel(const RGBAFloatImage& img) : scale(img.scale) {}
  template <class Get>
  void operator()(float* o, const Get& get) const {
    const float k = 1.0f - unit(get(3), scale);
    o[0] = (1.0f - unit(get(0), scale)) * k;
    o[1] = (1.0f - unit(get(1), scale)) * k;
    o[2] = (1.0f - unit(get(2), scale)) * k;
    o[3] = 0.0f;
  }
};

struct PalettePixel {
  using Sample = uint8_t;
  const float* map;
  explicit PalettePixel(const RGBAFloatImage& img) : map(img.map) {}
  template <class Get>
  void operator()(float* o, const Get& get) const {
    std::memcpy(o, map + 4 * size_t(get(0)), 4 * sizeof(float));
  }
};

struct YCbCrPixel {
  using Sample = uint8_t;
  const YCbCrTables* tables;
  explicit YCbCrPixel(const RGBAFloatImage& img) : tables(img.ycbcr) {}
  template <class Get>
  void operator()(float* o, const Get& get) const {
    ycbcrToFloat(*tables, get(0), get(1), get(2), o);
  }
};

// The one loop behind every whole-byte layout.  kSpp fixes the contiguous
// pixel stride at compile time for the common 8-bit RGB and RGBA files, so
// the compiler can unroll and vectorise them; 0 reads it from the image.
template <class Pixel, bool kSeparate, int kSpp = 0>
void putPixels(const RGBAFloatImage& img, float* dst, uint32_t w, uint32_t h, const Source& src) {
  using T = typename Pixel::Sample;
  const Pixel pixel(img);
  const size_t step = kSeparate ? sizeof(T) : sizeof(T) * (kSpp ? kSpp : img.samplesperpixel);
  for (uint32_t y = 0; y < h; ++y, dst += kRasterStride) {
    const size_t offset = size_t(src.y0 + y) * src.rowBytes + size_t(src.x0) * step;
    float* o = dst;
    if constexpr (kSeparate) {
      const uint8_t* p[4];
      for (int i = 0; i < 4; ++i) p[i] = src.plane[i] ? src.plane[i] + offset : nullptr;
      for (uint32_t x = 0; x < w; ++x, o += 4) {
        const size_t at = size_t(x) * sizeof(T);
        pixel(o, [&p, at](int i) { return load<T>(p[i] + at); });
      }
    } else {
      const uint8_t* s = src.plane[0] + offset;
      for (uint32_t x = 0; x < w; ++x, o += 4, s += step)
        pixel(o, [s](int i) { return load<T>(s + size_t(i) * sizeof(T)); });
    }
  }
}

// Grey and palette codes of 1, 2 or 4 bits, one sample a pixel, most
// significant bits first, looked up in the image's map.
template <int kBits>
void putPacked(const RGBAFloatImage& img, float* dst, uint32_t w, uint32_t h, const Source& src) {
  constexpr unsigned kMask = (1u << kBits) - 1;
  for (uint32_t y = 0; y < h; ++y, dst += kRasterStride) {
    const uint8_t* row = src.plane[0] + size_t(src.y0 + y) * src.rowBytes;
    float* o = dst;
    for (uint32_t x = 0; x < w; ++x, o += 4) {
      const size_t bit = size_t(src.x0 + x) * kBits;
      const unsigned code = (row[bit >> 3] >> (8 - kBits - (bit & 7))) & kMask;
      std::memcpy(o, img.map + 4 * code, 4 * sizeof(float));
    }
  }
}

// Subsampled YCbCr: the buffer holds sampling blocks of kH x kV luma codes
// followed by one Cb and one Cr code; each pixel finds its block.
template <int kH, int kV>
void putYCbCrBlocks(const RGBAFloatImage& img, float* dst, uint32_t w, uint32_t h,
                    const Source& src) {
  constexpr size_t kBlock = kH * kV + 2;
  const YCbCrTables& t = *img.ycbcr;
  for (uint32_t y = 0; y < h; ++y, dst += kRasterStride) {
    const uint32_t by = src.y0 + y;
    const uint8_t* blocks = src.plane[0] + size_t(by / kV) * src.rowBytes;
    const unsigned lumaRow = (by % kV) * kH;
    float* o = dst;
    for (uint32_t x = 0; x < w; ++x, o += 4) {
      const uint32_t bx = src.x0 + x;
      const uint8_t* b = blocks + size_t(bx / kH) * kBlock;
      ycbcrToFloat(t, b[lumaRow + bx % kH], b[kH * kV], b[kH * kV + 1], o);
    }
  }
}

template <template <typename, Alpha> class Pixel, typename T, bool kSeparate>
PutRoutine pickAlpha(Alpha a) {
  switch (a) {
    case Alpha::kAssociated:
      return putPixels<Pixel<T, Alpha::kAssociated>, kSeparate>;
    case Alpha::kUnassociated:
      return putPixels<Pixel<T, Alpha::kUnassociated>, kSeparate>;
    default:
      return putPixels<Pixel<T, Alpha::kNone>, kSeparate>;
  }
}

// Whole-byte layouts of grey and RGB data by sample width.
template <template <typename, Alpha> class Pixel, bool kSeparate>
PutRoutine pickBySampleType(const RGBAFloatImage& img) {
  switch (img.bitspersample) {
    case 8:
      return pickAlpha<Pixel, uint8_t, kSeparate>(img.alpha);
    case 16:
      return pickAlpha<Pixel, uint16_t, kSeparate>(img.alpha);
    case 32:
      return pickAlpha<Pixel, float, kSeparate>(img.alpha);
    default:
      return nullptr;
  }
}

PutRoutine pickPacked(const RGBAFloatImage& img) {
  switch (img.bitspersample) {
    case 1:
      return putPacked<1>;
    case 2:
      return putPacked<2>;
    case 4:
      return putPacked<4>;
    default:
      return nullptr;
  }
}

PutRoutine pickContigRGB(const RGBAFloatImage& img) {
  // Fixed-stride instances for the files met most often.
  if (img.bitspersample == 8 && img.alpha == Alpha::kNone && img.samplesperpixel == 3)
    return putPixels<RGBPixel<uint8_t, Alpha::kNone>, false, 3>;
  if (img.bitspersample == 8 && img.samplesperpixel == 4) {
    if (img.alpha == Alpha::kAssociated)
      return putPixels<RGBPixel<uint8_t, Alpha::kAssociated>, false, 4>;
    if (img.alpha == Alpha::kUnassociated)
      return putPixels<RGBPixel<uint8_t, Alpha::kUnassociated>, false, 4>;
  }
  return pickBySampleType<RGBPixel, false>(img);
}

PutRoutine pickYCbCrBlocks(uint16_t h, uint16_t v) {
  switch ((h << 4) | v) {
    case 0x12:
      return putYCbCrBlocks<1, 2>;
    case 0x14:
      return putYCbCrBlocks<1, 4>;
    case 0x21:
      return putYCbCrBlocks<2, 1>;
    case 0x22:
      return putYCbCrBlocks<2, 2>;
    case 0x24:
      return putYCbCrBlocks<2, 4>;
    case 0x41:
      return putYCbCrBlocks<4, 1>;
    case 0x42:
      return putYCbCrBlocks<4, 2>;
    case 0x44:
      return putYCbCrBlocks<4, 4>;
    default:
      return nullptr;
  }
}

// Chooses the put routine for the pixel layout; null when none fits.
PutRoutine pickPut(const RGBAFloatImage& img) {
  const bool isFloat = img.sampleformat == SAMPLEFORMAT_IEEEFP;
  const uint16_t bps = img.bitspersample;
  switch (img.photometric) {
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_MINISWHITE:
      if (!img.isContig) return pickBySampleType<GreyPixel, true>(img);
      return bps < 8 ? pickPacked(img) : pickBySampleType<GreyPixel, false>(img);
    case PHOTOMETRIC_PALETTE:
      if (bps == 8)
        return img.isContig ? putPixels<PalettePixel, false> : putPixels<PalettePixel, true>;
      return img.isContig ? pickPacked(img) : nullptr;
    case PHOTOMETRIC_RGB:
      return img.isContig ? pickContigRGB(img) : pickBySampleType<RGBPixel, true>(img);
    case PHOTOMETRIC_SEPARATED:
      if (isFloat) return nullptr;
      if (bps == 8)
        return img.isContig ? putPixels<CMYKPixel<uint8_t>, false>
                            : putPixels<CMYKPixel<uint8_t>, true>;
      if (bps == 16)
        return img.isContig ? putPixels<CMYKPixel<uint16_t>, false>
                            : putPixels<CMYKPixel<uint16_t>, true>;
      return nullptr;
    case PHOTOMETRIC_YCBCR:
      if (bps != 8 || img.samplesperpixel != 3) return nullptr;
      if (img.ycbcrH == 1 && img.ycbcrV == 1)
        return img.isContig ? putPixels<YCbCrPixel, false> : putPixels<YCbCrPixel, true>;
      return img.isContig ? pickYCbCrBlocks(img.ycbcrH, img.ycbcrV) : nullptr;
    default:
      return nullptr;
  }
}

// ---------------------------------------------------------------------------
// Get routines

// A tile-cache miss on a map whose TIFF tiles match the cache's 64 x 64 tiles
// reads exactly one file tile; that read goes into this buffer, kept from
// call to call instead of being allocated and freed each time.  The library
// runs on one shading thread, so one buffer serves every file.
struct ReusedBuffer {
  std::unique_ptr<uint8_t[]> bytes;
  size_t size = 0;
};
ReusedBuffer& reusedBuffer() {
  static ReusedBuffer buffer;
  return buffer;
}

// Takes a work buffer of the given size for the raw samples; refuses sizes
// above kMaxWorkBuffer as if the allocation had failed.
bool takeDataBuffer(RGBAFloatImage& img, uint64_t bytes, bool reuse, const char* failure) {
  if (bytes > kMaxWorkBuffer) {
    reportError(img.tif, "%s", failure);
    return false;
  }
  const size_t size = size_t(bytes ? bytes : 1);
  if (reuse) {
    ReusedBuffer& r = reusedBuffer();
    if (r.size < size) {
      r.bytes.reset(new (std::nothrow) uint8_t[size]);
      r.size = r.bytes ? size : 0;
    }
    img.data = r.bytes.get();
    img.dataReused = true;
  } else {
    img.data = new (std::nothrow) uint8_t[size];
    img.dataReused = false;
  }
  if (!img.data) {
    reportError(img.tif, "%s", failure);
    return false;
  }
  return true;
}

// Bytes a buffer row of cols pixels takes in one plane (a row of sampling
// blocks for subsampled YCbCr).
uint64_t bufferRowBytes(const RGBAFloatImage& img, uint64_t cols) {
  if (img.ycbcrH * img.ycbcrV > 1)
    return (cols + img.ycbcrH - 1) / img.ycbcrH * (uint64_t(img.ycbcrH) * img.ycbcrV + 2);
  const uint64_t spp = img.isContig ? img.samplesperpixel : 1;
  return (cols * spp * img.bitspersample + 7) / 8;
}

// rowBytes x rows x planes, or UINT64_MAX when that would not fit.
uint64_t bufferBytes(uint64_t rowBytes, uint64_t rows, uint64_t planes) {
  if (rows && rowBytes > UINT64_MAX / rows) return UINT64_MAX;
  const uint64_t plane = rowBytes * rows;
  if (planes && plane > UINT64_MAX / planes) return UINT64_MAX;
  return plane * planes;
}

// The codec fills what it can; anything it did not deliver is zeroed rather
// than left as stale bytes from an earlier tile.
bool finishRead(tmsize_t got, uint8_t* buf, size_t size) {
  if (got < 0) return false;
  if (size_t(got) < size) std::memset(buf + got, 0, size - size_t(got));
  return true;
}

// Reads each file tile meeting the rectangle (all planes of it), then puts
// the part inside the rectangle.  A tile that cannot be read is skipped, its
// pixels left as they were, and the call reports failure at the end.
int getTiles(RGBAFloatImage& img, float* raster, uint32_t col0, uint32_t row0, uint32_t w,
             uint32_t h) {
  uint32_t tw = 0, th = 0;
  TIFFGetField(img.tif, TIFFTAG_TILEWIDTH, &tw);
  TIFFGetField(img.tif, TIFFTAG_TILELENGTH, &th);
  if (tw == 0 || th == 0) {
    reportError(img.tif, "No space for tile buffer");
    return 0;
  }
  const uint64_t rowBytes = bufferRowBytes(img, tw);
  const uint64_t rows = (uint64_t(th) + img.ycbcrV - 1) / img.ycbcrV;
  const uint64_t planeBytes = bufferBytes(rowBytes, rows, 1);
  const bool reuse = tw == kRasterWidth && th == kRasterWidth && col0 % tw == 0 && row0 % th == 0;
  if (!takeDataBuffer(img, bufferBytes(rowBytes, rows, img.nplanes), reuse,
                      "No space for tile buffer"))
    return 0;

  Source src{};
  src.rowBytes = size_t(rowBytes);
  for (uint16_t s = 0; s < img.nplanes; ++s) src.plane[s] = img.data + s * size_t(planeBytes);

  int ok = 1;
  const uint64_t colEnd = uint64_t(col0) + w, rowEnd = uint64_t(row0) + h;
  for (uint64_t ty = row0 - row0 % th; ty < rowEnd; ty += th) {
    for (uint64_t tx = col0 - col0 % tw; tx < colEnd; tx += tw) {
      bool read = true;
      for (uint16_t s = 0; s < img.nplanes && read; ++s) {
        uint8_t* buf = img.data + s * size_t(planeBytes);
        const ttile_t tile = TIFFComputeTile(img.tif, uint32_t(tx), uint32_t(ty), 0, s);
        read = finishRead(TIFFReadEncodedTile(img.tif, tile, buf, tmsize_t(planeBytes)), buf,
                          size_t(planeBytes));
      }
      if (!read) {
        ok = 0;
        continue;
      }
      const uint64_t x0 = std::max<uint64_t>(col0, tx), y0 = std::max<uint64_t>(row0, ty);
      const uint64_t x1 = std::min(colEnd, tx + tw), y1 = std::min(rowEnd, ty + th);
      src.x0 = uint32_t(x0 - tx);
      src.y0 = uint32_t(y0 - ty);
      img.put(img, raster + (y0 - row0) * kRasterStride + (x0 - col0) * 4, uint32_t(x1 - x0),
              uint32_t(y1 - y0), src);
    }
  }
  return ok;
}

// Strips: reads, strip by strip, the rows of each strip down to the last
// one the rectangle needs.  JPEG strips are decoded whole, since that codec
// does not stop cleanly part way through a strip.
int getStrips(RGBAFloatImage& img, float* raster, uint32_t col0, uint32_t row0, uint32_t w,
              uint32_t h) {
  uint32_t rps = 0;
  TIFFGetFieldDefaulted(img.tif, TIFFTAG_ROWSPERSTRIP, &rps);
  if (rps == 0 || rps > img.height) rps = img.height;
  const bool wholeStrips =
      img.compression == COMPRESSION_JPEG || img.compression == COMPRESSION_OJPEG;
  const uint64_t rowBytes = bufferRowBytes(img, img.width);
  const uint64_t rowEnd = uint64_t(row0) + h;
  const uint64_t firstStart = row0 - row0 % rps;
  const uint64_t maxRows = wholeStrips ? rps : std::min<uint64_t>(rps, rowEnd - firstStart);
  const uint64_t planeBytes = bufferBytes(rowBytes, (maxRows + img.ycbcrV - 1) / img.ycbcrV, 1);
  if (!takeDataBuffer(img,
                      bufferBytes(rowBytes, (maxRows + img.ycbcrV - 1) / img.ycbcrV, img.nplanes),
                      false, "No space for strip buffer"))
    return 0;

  Source src{};
  src.rowBytes = size_t(rowBytes);
  src.x0 = col0;
  for (uint16_t s = 0; s < img.nplanes; ++s) src.plane[s] = img.data + s * size_t(planeBytes);

  int ok = 1;
  for (uint64_t start = firstStart; start < rowEnd; start += rps) {
    const uint64_t stripEnd = std::min<uint64_t>(start + rps, img.height);
    const uint64_t readRows = (wholeStrips ? stripEnd : std::min(stripEnd, rowEnd)) - start;
    const size_t readBytes = size_t((readRows + img.ycbcrV - 1) / img.ycbcrV * rowBytes);
    bool read = true;
    for (uint16_t s = 0; s < img.nplanes && read; ++s) {
      uint8_t* buf = img.data + s * size_t(planeBytes);
      const tstrip_t strip = TIFFComputeStrip(img.tif, uint32_t(start), s);
      read = finishRead(TIFFReadEncodedStrip(img.tif, strip, buf, tmsize_t(readBytes)), buf,
                        readBytes);
    }
    if (!read) {
      ok = 0;
      continue;
    }
    const uint64_t y0 = std::max<uint64_t>(row0, start), y1 = std::min(rowEnd, stripEnd);
    src.y0 = uint32_t(y0 - start);
    img.put(img, raster + (y0 - row0) * kRasterStride, w, uint32_t(y1 - y0), src);
  }
  return ok;
}

// ---------------------------------------------------------------------------
// Begin and end

bool buildGreyMap(RGBAFloatImage& img) {
  const unsigned n = 1u << img.bitspersample;
  img.map = new (std::nothrow) float[4 * n];
  if (!img.map) {
    reportError(img.tif, "No space for B&W mapping table");
    return false;
  }
  for (unsigned code = 0; code < n; ++code) {
    const float v = img.greyBias + img.greyScale * float(code);
    float* e = img.map + 4 * code;
    e[0] = e[1] = e[2] = v;
    e[3] = 0.0f;
  }
  return true;
}

bool buildPaletteMap(RGBAFloatImage& img) {
  uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
  if (!TIFFGetField(img.tif, TIFFTAG_COLORMAP, &red, &green, &blue) || !red || !green || !blue) {
    reportError(img.tif, "Missing required \"Colormap\" tag");
    return false;
  }
  // Only codes of up to 8 bits are decoded; wider palettes fail later for
  // want of a put routine, and their colormaps are not scanned.
  if (img.bitspersample > 8) return true;
  const unsigned n = 1u << img.bitspersample;
  // Colormap entries are 16-bit by definition, but some writers store 8-bit
  // values; a map with no entry above 255 is taken to be one of those.
  bool eightBit = true;
  for (unsigned i = 0; i < n && eightBit; ++i)
    eightBit = red[i] < 256 && green[i] < 256 && blue[i] < 256;
  if (eightBit)
    TIFFWarningExt(TIFFClientdata(img.tif), TIFFFileName(img.tif), "Assuming 8-bit colormap");
  const float maxEntry = eightBit ? 255.0f : 65535.0f;
  img.map = new (std::nothrow) float[4 * n];
  if (!img.map) {
    reportError(img.tif, "No space for Palette mapping table");
    return false;
  }
  for (unsigned i = 0; i < n; ++i) {
    float* e = img.map + 4 * i;
    e[0] = float(red[i]) / maxEntry;
    e[1] = float(green[i]) / maxEntry;
    e[2] = float(blue[i]) / maxEntry;
    e[3] = 0.0f;
  }
  return true;
}

// Float tables for the YCbCr -> RGB conversion: codes are first mapped to
// full-range values through ReferenceBlackWhite (luma to 0..255, chroma to
// -127..127), then R = Y + Cr (2 - 2 Lr), B = Y + Cb (2 - 2 Lb) and
// G = (Y - Lr R - Lb B) / Lg, written as per-code offsets.
bool buildYCbCrTables(RGBAFloatImage& img) {
  img.ycbcr = new (std::nothrow) YCbCrTables;
  if (!img.ycbcr) {
    reportError(img.tif, "No space for YCbCr->RGB conversion state");
    return false;
  }
  float* luma = nullptr;
  float* refBW = nullptr;
  TIFFGetFieldDefaulted(img.tif, TIFFTAG_YCBCRCOEFFICIENTS, &luma);
  TIFFGetFieldDefaulted(img.tif, TIFFTAG_REFERENCEBLACKWHITE, &refBW);
  static const float kLuma[3] = {0.299f, 0.587f, 0.114f};
  static const float kRefBW[6] = {0.0f, 255.0f, 128.0f, 255.0f, 128.0f, 255.0f};
  if (!luma) luma = const_cast<float*>(kLuma);
  if (!refBW) refBW = const_cast<float*>(kRefBW);
  const float lr = luma[0], lg = luma[1], lb = luma[2];
  const float crToR = 2.0f - 2.0f * lr, cbToB = 2.0f - 2.0f * lb;
  const float crToG = lg != 0.0f ? -lr * crToR / lg : 0.0f;
  const float cbToG = lg != 0.0f ? -lb * cbToB / lg : 0.0f;
  auto fullRange = [](float code, float black, float white, float range) {
    const float span = white - black;
    return (code - black) * range / (span != 0.0f ? span : 1.0f);
  };
  YCbCrTables& t = *img.ycbcr;
  for (int code = 0; code < 256; ++code) {
    const float c = float(code);
    t.y[code] = fullRange(c, refBW[0], refBW[1], 255.0f);
    // Chroma is bounded so that absurd reference values cannot produce
    // infinities; the sums are clamped to 0..255 afterwards anyway.
    const float cb = std::clamp(fullRange(c, refBW[2], refBW[3], 127.0f), -4096.0f, 4096.0f);
    const float cr = std::clamp(fullRange(c, refBW[4], refBW[5], 127.0f), -4096.0f, 4096.0f);
    t.crR[code] = crToR * cr;
    t.crG[code] = crToG * cr;
    t.cbB[code] = cbToB * cb;
    t.cbG[code] = cbToG * cb;
  }
  return true;
}

// Inspects the current directory, refuses what cannot be decoded, and sets
// up the tables and routines for the rest.  Returns 1 when the image can be
// read, 0 after reporting why not.
int rgbaFloatBegin(RGBAFloatImage& img, TIFF* tif) {
  img.tif = tif;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &img.width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &img.height);
  TIFFGetFieldDefaulted(tif, TIFFTAG_BITSPERSAMPLE, &img.bitspersample);
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLEFORMAT, &img.sampleformat);
  const bool isFloat = img.sampleformat == SAMPLEFORMAT_IEEEFP;
  const uint16_t bps = img.bitspersample;
  const bool integerOk = !isFloat && (bps == 1 || bps == 2 || bps == 4 || bps == 8 || bps == 16);
  if (!integerOk && !(isFloat && bps == 32)) {
    reportError(tif, "Sorry, can not handle images with %d-bit samples", int(bps));
    return 0;
  }

  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &img.samplesperpixel);
  uint16_t extrasamples = 0;
  uint16_t* sampleinfo = nullptr;
  TIFFGetFieldDefaulted(tif, TIFFTAG_EXTRASAMPLES, &extrasamples, &sampleinfo);
  if (extrasamples >= 1 && sampleinfo) {
    switch (sampleinfo[0]) {
      case EXTRASAMPLE_UNSPECIFIED:
        // An unspecified extra sample after three or more is most likely
        // alpha, and stored associated.
        if (img.samplesperpixel > 3) img.alpha = Alpha::kAssociated;
        break;
      case EXTRASAMPLE_ASSOCALPHA:
        img.alpha = Alpha::kAssociated;
        break;
      case EXTRASAMPLE_UNASSALPHA:
        img.alpha = Alpha::kUnassociated;
        break;
    }
  }
  img.colorchannels = int(img.samplesperpixel) - int(extrasamples);
  TIFFGetFieldDefaulted(tif, TIFFTAG_PLANARCONFIG, &img.planarconfig);
  TIFFGetFieldDefaulted(tif, TIFFTAG_COMPRESSION, &img.compression);

  if (!TIFFGetField(tif, TIFFTAG_PHOTOMETRIC, &img.photometric)) {
    switch (img.colorchannels) {
      case 1:
        img.photometric = PHOTOMETRIC_MINISBLACK;
        break;
      case 3:
        img.photometric = PHOTOMETRIC_RGB;
        break;
      default:
        reportError(tif, "Missing needed %s tag", "PhotometricInterpretation");
        return 0;
    }
  }
  // Four-sample RGB written without an ExtraSamples tag: the fourth sample
  // is taken as associated alpha.
  if (extrasamples == 0 && img.samplesperpixel == 4 && img.photometric == PHOTOMETRIC_RGB) {
    img.alpha = Alpha::kAssociated;
    img.colorchannels = 3;
  }

  switch (img.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
    case PHOTOMETRIC_PALETTE:
      if (img.planarconfig == PLANARCONFIG_CONTIG && img.samplesperpixel != 1 && bps < 8) {
        reportError(tif, "Sorry, can not handle contiguous data with %s=%d, and %s=%d",
                    "PhotometricInterpretation", int(img.photometric), "Samples/pixel",
                    int(img.samplesperpixel));
        return 0;
      }
      break;
    case PHOTOMETRIC_YCBCR:
      if (img.compression == COMPRESSION_JPEG && img.planarconfig == PLANARCONFIG_CONTIG) {
        // The JPEG codec converts to RGB itself and undoes the subsampling.
        TIFFSetField(tif, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB);
        img.photometric = PHOTOMETRIC_RGB;
        if (img.colorchannels < 3) {
          reportError(tif, "Sorry, can not handle RGB image with %s=%d", "Color channels",
                      img.colorchannels);
          return 0;
        }
        break;
      }
      TIFFGetFieldDefaulted(tif, TIFFTAG_YCBCRSUBSAMPLING, &img.ycbcrH, &img.ycbcrV);
      if (img.planarconfig != PLANARCONFIG_CONTIG && (img.ycbcrH != 1 || img.ycbcrV != 1)) {
        reportError(tif, "Sorry, can not handle YCbCr images with %s=%d", "Planarconfiguration",
                    int(img.planarconfig));
        return 0;
      }
      // Only whole-byte 8-bit samples are decoded; others fail for want of a
      // put routine, and must not steer the buffer layout.
      if (bps != 8 || img.samplesperpixel != 3 || img.ycbcrH == 0 || img.ycbcrV == 0)
        img.ycbcrH = img.ycbcrV = 1;
      break;
    case PHOTOMETRIC_RGB:
      if (img.colorchannels < 3) {
        reportError(tif, "Sorry, can not handle RGB image with %s=%d", "Color channels",
                    img.colorchannels);
        return 0;
      }
      break;
    case PHOTOMETRIC_SEPARATED: {
      uint16_t inkset = INKSET_CMYK;
      TIFFGetFieldDefaulted(tif, TIFFTAG_INKSET, &inkset);
      if (inkset != INKSET_CMYK) {
        reportError(tif, "Sorry, can not handle separated image with %s=%d", "InkSet", int(inkset));
        return 0;
      }
      if (img.samplesperpixel < 4) {
        reportError(tif, "Sorry, can not handle separated image with %s=%d", "Samples/pixel",
                    int(img.samplesperpixel));
        return 0;
      }
      break;
    }
    default:
      reportError(tif, "Sorry, can not handle image with %s=%d", "PhotometricInterpretation",
                  int(img.photometric));
      return 0;
  }

  img.isContig = !(img.planarconfig == PLANARCONFIG_SEPARATE && img.samplesperpixel > 1);
  img.isTiled = TIFFIsTiled(tif) != 0;
  img.scale = isFloat ? 1.0f : 1.0f / float((1u << bps) - 1);
  const bool minIsWhite = img.photometric == PHOTOMETRIC_MINISWHITE;
  img.greyBias = minIsWhite ? 1.0f : 0.0f;
  img.greyScale = minIsWhite ? -img.scale : img.scale;

  // Alpha lives in sample 1 of grey data and sample 3 of RGB data; other
  // layouts, and images too narrow to hold that sample, have none.
  unsigned colourSamples = 0;
  switch (img.photometric) {
    case PHOTOMETRIC_MINISWHITE:
    case PHOTOMETRIC_MINISBLACK:
      colourSamples = 1;
      if (bps < 8 && !buildGreyMap(img)) return 0;
      break;
    case PHOTOMETRIC_PALETTE:
      colourSamples = 1;
      img.alpha = Alpha::kNone;
      if (!buildPaletteMap(img)) return 0;
      break;
    case PHOTOMETRIC_RGB:
      colourSamples = 3;
      break;
    case PHOTOMETRIC_SEPARATED:
      colourSamples = 4;
      img.alpha = Alpha::kNone;
      break;
    case PHOTOMETRIC_YCBCR:
      colourSamples = 3;
      img.alpha = Alpha::kNone;
      if (!buildYCbCrTables(img)) return 0;
      break;
  }
  if (img.samplesperpixel <= colourSamples) img.alpha = Alpha::kNone;
  img.nplanes = img.isContig ? 1 : uint16_t(colourSamples + (img.alpha != Alpha::kNone));

  img.get = img.isTiled ? getTiles : getStrips;
  img.put = pickPut(img);
  return 1;
}

// Decodes the inclusive rectangle, cut to the image and to one 64 x 64 tile.
int rgbaFloatGet(RGBAFloatImage& img, float* raster, uint32_t col0, uint32_t row0, uint32_t col1,
                 uint32_t row1) {
  if (!img.get) {
    reportError(img.tif, "No \"get\" routine setup");
    return 0;
  }
  if (!img.put) {
    reportError(img.tif, "No \"put\" routine setup; probably can not handle image format");
    return 0;
  }
  if (col0 >= img.width || row0 >= img.height || col1 < col0 || row1 < row0) return 1;
  const uint32_t lastCol = uint32_t(
      std::min({uint64_t(col1), uint64_t(img.width) - 1, uint64_t(col0) + kRasterWidth - 1}));
  const uint32_t lastRow = uint32_t(
      std::min({uint64_t(row1), uint64_t(img.height) - 1, uint64_t(row0) + kRasterWidth - 1}));
  return img.get(img, raster, col0, row0, lastCol - col0 + 1, lastRow - row0 + 1);
}

void rgbaFloatEnd(RGBAFloatImage& img) {
  if (!img.dataReused) delete[] img.data;
  delete[] img.map;
  delete img.ycbcr;
  img.data = nullptr;
  img.map = nullptr;
  img.ycbcr = nullptr;
}

}  // namespace

int readRGBAFloatRect(TIFF* tif, uint32_t col0, uint32_t row0, uint32_t col1, uint32_t row1,
                      float* raster) {
  if (!tif || !raster) return 0;
  RGBAFloatImage img;
  int ok = rgbaFloatBegin(img, tif);
  if (ok) ok = rgbaFloatGet(img, raster, col0, row0, col1, row1);
  rgbaFloatEnd(img);
  return ok;
}

}  // namespace slrt_detail
