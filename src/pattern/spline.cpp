// slrt: spline evaluation and the basis-table accessors.
#include <slrt/pattern/spline.h>
#include <slrt/runtime/error.h>

#include <cmath>
#include <cstdarg>
#include <cstring>
#include <memory>

#include "runtime/scratch_pvt.h"

namespace {

enum class Basis { kCatmullRom, kBSpline, kBezier, kHermite, kLinear };

// Names are told apart by their first character; an unrecognised or
// misspelt name (capitals included) quietly becomes Catmull-Rom, the
// language's default basis.
Basis basisByName(const char* name) {
  if (!name) return Basis::kCatmullRom;
  switch (name[0]) {
    case 'b':
      if (!std::strcmp(name, "bspline")) return Basis::kBSpline;
      if (!std::strcmp(name, "bezier")) return Basis::kBezier;
      break;
    case 'h':
      if (!std::strcmp(name, "hermite")) return Basis::kHermite;
      break;
    case 'l':
      if (!std::strcmp(name, "linear")) return Basis::kLinear;
      break;
    default:
      break;
  }
  return Basis::kCatmullRom;
}

// Splits s = t * segments into the segment index and the fraction within
// it.  t is already clamped below 1, so for whole segment counts i never
// reaches the count; a NaN t gives segment 0 and a NaN fraction.
void segment(double s, long& i, float& u) {
  if (!(s >= 0.0)) {
    i = 0;
    u = static_cast<float>(s);
    return;
  }
  const double whole = std::floor(s);
  i = static_cast<long>(whole);
  u = static_cast<float>(s - whole);
}

// Control value k, clamped to the array: a fractional Bézier or Hermite
// segment count lets the last segment run past the end, and there the last
// value stands in for the missing ones.
inline float value(const float* cv, long n, long k) {
  return cv[k < n ? k : n - 1];
}

float cubic(float a, float b, float c, float d, float u) {
  return ((a * u + b) * u + c) * u + d;
}

// Larger counts are a corrupt argument list, refused before allocating.
constexpr long kMaxVarValues = 65536;

using slrt_detail::Scratch;

bool countTooLarge(const char* name, long n) {
  if (n <= kMaxVarValues) return false;
  error(kErrLimit, kSevError, "%s: too many control values (%ld)", name, n);
  return true;
}

inline float component(double v, int) {
  return static_cast<float>(v);
}
inline float component(const Color& v, int k) {
  return v[k];
}
inline float component(const Point& v, int k) {
  return v[k];
}

// Gathers N floats per control value from the variadic list into N arrays
// and evaluates one spline per component.  Counts below 1 pass a null array
// so that vspline reports and returns 0.
template <typename T, int N>
void splineComponents(const char* basis, float t, long n, va_list ap, float* out) {
  if (n < 1) {
    for (int k = 0; k < N; ++k) out[k] = vspline(basis, t, n, nullptr);
    return;
  }
  Scratch block(N * n);
  for (long i = 0; i < n; ++i) {
    const T v = va_arg(ap, T);
    for (int k = 0; k < N; ++k) block[k * n + i] = component(v, k);
  }
  for (int k = 0; k < N; ++k) out[k] = vspline(basis, t, n, block.data() + k * n);
}

const double* checkedEntry(const double* const* table, int degree, unsigned lo) {
  // Compared as unsigned so that negative degrees fall out of range too.
  if (static_cast<unsigned>(degree) - lo > 20u - lo) {
    error(kErrMath, kSevError, "degree %d out of range", degree);
    return table[4];
  }
  return table[degree];
}

}  // namespace

float vspline(const char* basis, float t, long n, const float* cv) {
  if (n < 4) {
    error(kErrMath, kSevWarning, "Cubic splines require at least 4 control points");
    return cv ? cv[0] : 0.0f;
  }
  if (t <= 0.0f)
    t = 0.0f;
  else if (t >= 1.0f)
    t = 0.99999988f;

  long i;
  float u;
  switch (basisByName(basis)) {
    case Basis::kCatmullRom: {
      segment(static_cast<double>(t) * static_cast<double>(n - 3), i, u);
      const float p0 = cv[i], p1 = cv[i + 1], p2 = cv[i + 2], p3 = cv[i + 3];
      return cubic(-p0 + 3 * p1 - 3 * p2 + p3, 2 * p0 - 5 * p1 + 4 * p2 - p3, p2 - p0, 2 * p1, u) *
             0.5f;
    }
    case Basis::kBSpline: {
      segment(static_cast<double>(t) * static_cast<double>(n - 3), i, u);
      const float p0 = cv[i], p1 = cv[i + 1], p2 = cv[i + 2], p3 = cv[i + 3];
      return cubic(-p0 + 3 * p1 - 3 * p2 + p3, 3 * p0 - 6 * p1 + 3 * p2, -3 * p0 + 3 * p2,
                   p0 + 4 * p1 + p2, u) *
             0.16666667f;
    }
    case Basis::kBezier: {
      // The segment count stays fractional when n - 1 is not a multiple of
      // three: t is scaled by it as it stands.
      segment(static_cast<double>(t) * (static_cast<double>(n - 1) / 3.0), i, u);
      const long k = 3 * i;
      const float p0 = value(cv, n, k), p1 = value(cv, n, k + 1), p2 = value(cv, n, k + 2),
                  p3 = value(cv, n, k + 3);
      return cubic(-p0 + 3 * p1 - 3 * p2 + p3, 3 * p0 - 6 * p1 + 3 * p2, -3 * p0 + 3 * p1, p0, u);
    }
    case Basis::kHermite: {
      // Likewise fractional for odd n.
      segment(static_cast<double>(t) * static_cast<double>(n - 2) * 0.5, i, u);
      const long k = 2 * i;
      const float p0 = value(cv, n, k), t0 = value(cv, n, k + 1), p1 = value(cv, n, k + 2),
                  t1 = value(cv, n, k + 3);
      return cubic(2 * p0 + t0 - 2 * p1 + t1, -3 * p0 - 2 * t0 + 3 * p1 - t1, t0, p0, u);
    }
    case Basis::kLinear: {
      // Spans the same n - 3 segments as Catmull-Rom between cv[1] and
      // cv[n-2], so switching basis keeps the end points.
      segment(static_cast<double>(t) * static_cast<double>(n - 3), i, u);
      return cv[i + 1] + (cv[i + 2] - cv[i + 1]) * u;
    }
  }
  return 0.0f;
}

float fsplinev(const char* basis, float t, long n, ...) {
  if (countTooLarge("fsplinev", n)) return 0.0f;
  va_list ap;
  va_start(ap, n);
  float out[1];
  splineComponents<double, 1>(basis, t, n, ap, out);
  va_end(ap);
  return out[0];
}

Color csplinev(const char* basis, float t, long n, ...) {
  if (countTooLarge("csplinev", n)) return gBlack;
  va_list ap;
  va_start(ap, n);
  Color out;
  splineComponents<Color, 3>(basis, t, n, ap, &out.r);
  va_end(ap);
  return out;
}

Point psplinev(const char* basis, float t, long n, ...) {
  if (countTooLarge("psplinev", n)) return Point(0.0f, 0.0f, 0.0f);
  va_list ap;
  va_start(ap, n);
  Point out;
  splineComponents<Point, 3>(basis, t, n, ap, &out.x);
  va_end(ap);
  return out;
}

const double* bezier(int degree) {
  return checkedEntry(beztab, degree, 0);
}

const double* forward(int degree) {
  return checkedEntry(forwardtab, degree, 1);
}
