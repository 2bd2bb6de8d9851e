// slrt: scalar shading operations.
#include <slrt/pattern/scalar.h>

#include <cmath>
#include <cstdarg>
#include <cstdint>
#include <cstring>

#include "pattern/gamma_pvt.h"

float fdiv(float a, float b) {
  const double fa = std::fabs(a);
  const double fb = std::fabs(b);
  if (fb >= 1.0) return a / b;
  if (fa < 1e38 * fb) return a / b;
  // Saturate with the sign of the numerator alone; 0/0 and NaN give 0.
  if (a > 0) return static_cast<float>(1e38);
  if (a < 0) return static_cast<float>(1e38 * -1.0f);
  return 0.0f;
}

namespace {

// Strict comparisons: ties keep the earlier element and a NaN never wins.
template <bool kMin>
inline bool better(float candidate, float current) {
  return kMin ? candidate < current : candidate > current;
}

template <bool kMin>
float scanArray(long n, const float* v) {
  float m = v[0];
  for (long i = 1; i < n; ++i)
    if (better<kMin>(v[i], m)) m = v[i];
  return m;
}

// The variadic forms scan their arguments in place; the result is the one an
// array scan of the same values gives.  n <= 0 has no defined element and
// yields 0.
template <bool kMin>
float scanArgs(long n, va_list ap) {
  if (n <= 0) return 0.0f;
  float m = static_cast<float>(va_arg(ap, double));
  for (long i = 1; i < n; ++i) {
    float v = static_cast<float>(va_arg(ap, double));
    if (better<kMin>(v, m)) m = v;
  }
  return m;
}

}  // namespace

float vmin(long n, const float* v) { return scanArray<true>(n, v); }
float vmax(long n, const float* v) { return scanArray<false>(n, v); }

float fminv(long n, ...) {
  va_list ap;
  va_start(ap, n);
  float m = scanArgs<true>(n, ap);
  va_end(ap);
  return m;
}

float fmaxv(long n, ...) {
  va_list ap;
  va_start(ap, n);
  float m = scanArgs<false>(n, ap);
  va_end(ap);
  return m;
}

float smoothstep(float min, float max, float x) {
  // Reversed bounds are ordered, not mirrored.
  float lo = min, hi = max;
  if (lo > hi) {
    lo = max;
    hi = min;
  }
  if (x < lo) return 0.0f;
  if (x >= hi) return 1.0f;
  float t = (x - lo) / (hi - lo);
  return t * t * (3.0f - 2.0f * t);
}

namespace {

enum class Filter { kBox, kTriangle, kGaussian, kCatmullRom };

Filter filterByName(const char* name) {
  if (!name) return Filter::kCatmullRom;
  switch (name[0]) {
    case 'b': return std::strcmp(name, "box") == 0 ? Filter::kBox : Filter::kCatmullRom;
    case 't': return std::strcmp(name, "triangle") == 0 ? Filter::kTriangle : Filter::kCatmullRom;
    case 'g': return std::strcmp(name, "gaussian") == 0 ? Filter::kGaussian : Filter::kCatmullRom;
    default: return Filter::kCatmullRom;
  }
}

// Integral of the Catmull-Rom kernel from u to its end (u in [0, 2]).  The
// leading constants are the single-precision roundings of 1/2 and 2/3 used as
// doubles, which is why the centre value is 0.49999994 rather than 0.5.
double catmullRomTail(double u) {
  if (u <= 1.0) return 0.5000000596046448 - u * (1.0 + u * u * (0.375 * u - 0.8333333333333334));
  return 0.6666666865348816 - u * (2.0 + u * (-2.0 + u * (0.8333333333333334 - 0.125 * u)));
}

// The error function through the incomplete gamma function.  The ratio of a
// float and a slightly different double value of sqrt(pi) is kept as it is:
// it scales E a hair above P.
double gaussianErf(double x) {
  double e = slrt_detail::gammp(0.5, x * x) * 1.7724539041519165 / 1.7724536657333374;
  return x < 0 ? -e : e;
}

// The signed fraction: r is the filter mass beyond |d|; the side of the edge
// picks r or its complement.
float signStep(double r, float d) {
  float rf = static_cast<float>(r);
  return d > 0 ? rf : static_cast<float>(1.0f - rf);
}

}  // namespace

float filterstep(float edge, float s, float width, ...) {
  const char* filterName = "catmull-rom";
  va_list ap;
  va_start(ap, width);
  for (const char* name = va_arg(ap, const char*); name; name = va_arg(ap, const char*)) {
    if (std::strcmp(name, "width") == 0 || std::strcmp(name, "swidth") == 0) {
      width *= static_cast<float>(va_arg(ap, double));
    } else if (std::strcmp(name, "filter") == 0) {
      filterName = va_arg(ap, const char*);
    }
    // Any other name takes no value: the next word is the next name.
  }
  va_end(ap);

  const float w = std::fabs(width);
  const float d = edge - s;
  const float ad = std::fabs(d);

  switch (filterByName(filterName)) {
    case Filter::kBox: {
      const float half = w * 0.5f;
      if (d < -half) return 1.0f;
      if (d > half) return 0.0f;
      if (w < 1e-6f) return 0.5f;
      return (s + half - edge) / w;
    }
    case Filter::kTriangle: {
      if (d < -w) return 1.0f;
      if (d > w) return 0.0f;
      if (w < 1e-6f) return 0.5f;
      double t = 1.0 - static_cast<double>(ad) / w;
      return signStep(0.5 * t * t, d);
    }
    case Filter::kGaussian: {
      const float g = 1.5f * w;
      if (d < -g) return 1.0f;
      if (d > g) return 0.0f;
      if (g < 1e-6f) return 0.5f;
      // 2.828427 is the float nearest 2*sqrt(2).
      double x = 2.8284270763397217 * static_cast<double>(ad) / g;
      return signStep(0.5 * (1.0 - gaussianErf(x)), d);
    }
    case Filter::kCatmullRom:
    default: {
      const float r = 2.0f * w;
      if (d < -r) return 1.0f;
      if (d > r) return 0.0f;
      if (w < 1e-6f) return 0.5f;
      return signStep(catmullRomTail(static_cast<double>(ad) / w), d);
    }
  }
}

namespace {

// The one process-wide generator state, shared by every random operation.
int32_t gSeed = 1;

// Park-Miller minimal standard step, 16807 * seed mod (2^31 - 1), by
// Schrage's method so the product never overflows 32 bits.
inline int32_t nextSeed() {
  const int32_t q = 127773, r = 2836;
  int32_t hi = gSeed / q, lo = gSeed % q;
  int32_t next = 16807 * lo - r * hi;
  if (next < 0) next += 2147483647;
  gSeed = next;
  return next;
}

}  // namespace

float frandom(void) { return static_cast<float>(nextSeed()) * 4.656612873077393e-10f; }

long llrandom() { return nextSeed(); }

namespace {
// p + (q - p) t, so that t = 0 gives p exactly.
inline float lerp1(float t, float p, float q) { return p + (q - p) * t; }
}  // namespace

float bilerp(float u, float v, float a, float b, float c, float d) {
  return lerp1(v, lerp1(u, a, b), lerp1(u, c, d));
}

float trilerp(float u, float v, float w, float p0, float p1, float p2, float p3, float p4,
              float p5, float p6, float p7) {
  return lerp1(w, bilerp(u, v, p0, p1, p2, p3), bilerp(u, v, p4, p5, p6, p7));
}

float quadlerp(float u, float v, float w, float t, float p0, float p1, float p2, float p3,
               float p4, float p5, float p6, float p7, float p8, float p9, float p10, float p11,
               float p12, float p13, float p14, float p15) {
  return lerp1(t, trilerp(u, v, w, p0, p1, p2, p3, p4, p5, p6, p7),
               trilerp(u, v, w, p8, p9, p10, p11, p12, p13, p14, p15));
}
