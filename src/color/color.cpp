// slrt: the Color class, host-colour conversion and the per-component
// colour built-ins.
#include <slrt/color/color.h>
#include <slrt/pattern/scalar.h>
#include <slrt/runtime/error.h>

#include <climits>
#include <cmath>
#include <cstdarg>
#include <cstring>
#include <memory>
#include <type_traits>

#include "runtime/reduce_pvt.h"
#include "runtime/scratch_pvt.h"

static_assert(sizeof(Color) == 12, "Color is exactly r, g, b");
static_assert(std::is_trivially_copyable<Color>::value, "Color travels through va_arg");
static_assert(std::is_standard_layout<Color>::value, "Color is read by C callers");

short Color::fIsRGB = 1;
long Color::fColorSamples = 3;
float* Color::fnRGB = nullptr;
float* Color::fRGBn = nullptr;

const Color gBlack(0.0f, 0.0f, 0.0f);
const Color gWhite(1.0f, 1.0f, 1.0f);

namespace {

// Larger counts are refused: the host's spectral sample counts are in the
// tens, and a bound keeps 3n from overflowing and allocation from running
// away on a corrupt count.
constexpr long kMaxColorSamples = 65536;
// Compiled shaders pass a handful of colours to cminv/cmaxv; a larger count
// is a corrupt argument and is refused with a report.
constexpr long kMaxVarColors = 65536;

using slrt_detail::Scratch;

float* copyMatrix(long n, const float* m) {
  if (!m) return nullptr;
  float* copy = new float[static_cast<size_t>(3 * n)];
  std::memcpy(copy, m, sizeof(float) * static_cast<size_t>(3 * n));
  return copy;
}

// Truncation toward zero of a component index.  Values that do not fit a
// long (and NaN) become LONG_MIN, which is what the processor's truncating
// conversion produces; they are out of range either way.
long componentIndex(float index) {
  if (!(index >= -0x1p63f && index < 0x1p63f)) return LONG_MIN;
  return static_cast<long>(index);
}

bool componentInRange(long i) {
  if (i >= 0 && i < Color::fColorSamples) return true;
  error(kErrRange, kSevWarning, "color component %ld out of range", i);
  return false;
}

// Compiled shaders pass a handful of colours; a larger count is a corrupt
// argument and is refused.
template <float (*Scan)(long, const float*)>
Color scanColors(const char* name, long n, va_list ap) {
  if (n > kMaxVarColors) {
    error(kErrLimit, kSevError, "%s: too many values (%ld)", name, n);
    return gBlack;
  }
  return slrt_detail::reduceTriples<Color, Scan>(n, ap);
}

inline float lerpf(float t, float a, float b) {
  return a + (b - a) * t;
}

}  // namespace

Color::Color(const float* v) {
  if (fIsRGB) {
    r = v[0];
    g = v[1];
    b = v[2];
  } else {
    fromNsamples(v);
  }
}

void Color::colorSpace(short isRGB, long n, const float* nRGB, const float* RGBn) {
  if ((!isRGB || nRGB || RGBn) && (n < 1 || n > kMaxColorSamples)) {
    error(kErrRange, kSevError, "color samples %ld out of range", n);
    return;
  }
  fIsRGB = isRGB;
  fColorSamples = n;
  delete[] fnRGB;
  fnRGB = copyMatrix(n, nRGB);
  delete[] fRGBn;
  fRGBn = copyMatrix(n, RGBn);
  // A missing matrix is accepted without a report: the conversions that
  // need it yield zeros instead of reading through null.
}

void Color::toNsamples(float* out) const {
  if (fIsRGB) {
    out[0] = r;
    out[1] = g;
    out[2] = b;
    return;
  }
  const long n = fColorSamples;
  const float* m = fRGBn;
  for (long j = 0; j < n; ++j) out[j] = m ? r * m[j] + g * m[n + j] + b * m[2 * n + j] : 0.0f;
}

void Color::fromNsamples(const float* in) {
  if (fIsRGB) {
    r = in[0];
    g = in[1];
    b = in[2];
    return;
  }
  r = g = b = 0.0f;
  const float* m = fnRGB;
  if (!m) return;
  for (long i = 0; i < fColorSamples; ++i) {
    r += in[i] * m[3 * i];
    g += in[i] * m[3 * i + 1];
    b += in[i] * m[3 * i + 2];
  }
}

float compc(const Color& c, float index) {
  const long i = componentIndex(index);
  if (!componentInRange(i)) return 0.0f;
  if (Color::fIsRGB) return i == 1 ? c.g : i == 2 ? c.b : c.r;
  Scratch samples(Color::fColorSamples);
  c.toNsamples(samples.data());
  return samples[i];
}

void setcompc(Color& c, float index, float value) {
  const long i = componentIndex(index);
  if (!componentInRange(i)) return;
  if (Color::fIsRGB) {
    (i == 1 ? c.g : i == 2 ? c.b : c.r) = value;
    return;
  }
  Scratch samples(Color::fColorSamples);
  c.toNsamples(samples.data());
  samples[i] = value;
  c.fromNsamples(samples.data());
}

Color cclamp(const Color& c, const Color& lo, const Color& hi) {
  Color out;
  for (int k = 0; k < 3; ++k) out[k] = c[k] < lo[k] ? lo[k] : c[k] > hi[k] ? hi[k] : c[k];
  return out;
}

Color cmix(const Color& a, const Color& b, float t) {
  return lerp(t, a, b);
}

Color crandom() {
  // Three separate statements: the draw order r, g, b is part of the
  // sequence every caller of the shared generator sees.
  const float r = frandom();
  const float g = frandom();
  const float b = frandom();
  return Color(r, g, b);
}

Color cminv(long n, ...) {
  va_list ap;
  va_start(ap, n);
  const Color m = scanColors<vmin>("cminv", n, ap);
  va_end(ap);
  return m;
}

Color cmaxv(long n, ...) {
  va_list ap;
  va_start(ap, n);
  const Color m = scanColors<vmax>("cmaxv", n, ap);
  va_end(ap);
  return m;
}

Color min(const Color& a, const Color& b) {
  return Color(a.r < b.r ? a.r : b.r, a.g < b.g ? a.g : b.g, a.b < b.b ? a.b : b.b);
}

Color max(const Color& a, const Color& b) {
  return Color(a.r > b.r ? a.r : b.r, a.g > b.g ? a.g : b.g, a.b > b.b ? a.b : b.b);
}

Color lerp(float t, const Color& a, const Color& b) {
  return Color(lerpf(t, a.r, b.r), lerpf(t, a.g, b.g), lerpf(t, a.b, b.b));
}

Color bilerp(float u, float v, const Color& c00, const Color& c10, const Color& c01,
             const Color& c11) {
  Color out;
  for (int k = 0; k < 3; ++k) out[k] = bilerp(u, v, c00[k], c10[k], c01[k], c11[k]);
  return out;
}

Color trilerp(float u, float v, float w, const Color& c0, const Color& c1, const Color& c2,
              const Color& c3, const Color& c4, const Color& c5, const Color& c6, const Color& c7) {
  Color out;
  for (int k = 0; k < 3; ++k)
    out[k] = trilerp(u, v, w, c0[k], c1[k], c2[k], c3[k], c4[k], c5[k], c6[k], c7[k]);
  return out;
}
