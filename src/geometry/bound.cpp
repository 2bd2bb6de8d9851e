// slrt: axis-aligned bounding boxes.
#include <slrt/geometry/bound.h>

#include <cmath>
#include <cstring>
#include <ostream>

namespace {

constexpr float kEpsilon = 1.1920929e-7f;

// Beyond this a transformed extent is taken to have been sent to infinity by
// a projection (fdiv saturates at 1e38).
constexpr float kHuge = 9e37f;

inline float smaller(float a, float b) {
  return a < b ? a : b;
}
inline float larger(float a, float b) {
  return a > b ? a : b;
}

}  // namespace

Bound::Bound(const float* v) : bounded(1) {
  std::memcpy(&xmin, v, 6 * sizeof(float));
}

Bound& Bound::expand(float d) {
  if (!bounded || (d > -kEpsilon && d < kEpsilon)) return *this;
  xmin -= d;
  ymin -= d;
  zmin -= d;
  xmax += d;
  ymax += d;
  zmax += d;
  return *this;
}

Bound& Bound::merge(const Bound& b) {
  if (!bounded || !b.bounded) {
    bounded = 0;
    return *this;
  }
  xmin = smaller(xmin, b.xmin);
  ymin = smaller(ymin, b.ymin);
  zmin = smaller(zmin, b.zmin);
  xmax = larger(xmax, b.xmax);
  ymax = larger(ymax, b.ymax);
  zmax = larger(zmax, b.zmax);
  return *this;
}

Bound& Bound::intersect(const Bound& b) {
  if (!bounded && !b.bounded) return *this;
  xmin = larger(xmin, b.xmin);
  ymin = larger(ymin, b.ymin);
  zmin = larger(zmin, b.zmin);
  xmax = smaller(xmax, b.xmax);
  ymax = smaller(ymax, b.ymax);
  zmax = smaller(zmax, b.zmax);
  bounded = 1;
  return *this;
}

// The circle of confusion is linear in 1/z, so its extremes over the box lie
// at the box's nearest and farthest depths.
Bound& Bound::focus(float znear, float zfar, float cx, float cy, float kx, float ky) {
  if (!bounded) return *this;
  float zn = larger(znear, zmin);
  float zf = smaller(zfar, zmax);
  float hx = cx / 2, hy = cy / 2, gx = kx / 2, gy = ky / 2;
  float rx = larger(std::fabs(hx / zn + gx), std::fabs(hx / zf + gx));
  float ry = larger(std::fabs(hy / zn + gy), std::fabs(hy / zf + gy));
  xmin -= rx;
  xmax += rx;
  ymin -= ry;
  ymax += ry;
  return *this;
}

Bound operator*(const Bound& b, const Matrix& m) {
  if (!b.bounded) return b;
  const float xs[2] = {b.xmin, b.xmax}, ys[2] = {b.ymin, b.ymax}, zs[2] = {b.zmin, b.zmax};
  Bound out;
  for (int i = 0; i < 8; ++i) {
    Point p = Point(xs[i >> 2], ys[(i >> 1) & 1], zs[i & 1]) * m;
    if (i == 0) {
      out = Bound(p.x, p.x, p.y, p.y, p.z, p.z);
      continue;
    }
    out.xmin = smaller(out.xmin, p.x);
    out.xmax = larger(out.xmax, p.x);
    out.ymin = smaller(out.ymin, p.y);
    out.ymax = larger(out.ymax, p.y);
    out.zmin = smaller(out.zmin, p.z);
    out.zmax = larger(out.zmax, p.z);
  }
  return out;
}

Bound& Bound::operator*=(const Matrix& m) {
  if (!bounded) return *this;
  *this = *this * m;
  if (xmin <= -kHuge || ymin <= -kHuge || zmin <= -kHuge || xmax >= kHuge || ymax >= kHuge ||
      zmax >= kHuge)
    bounded = 0;
  return *this;
}

bool operator==(const Bound& a, const Bound& b) {
  return a.xmin == b.xmin && a.xmax == b.xmax && a.ymin == b.ymin && a.ymax == b.ymax &&
         a.zmin == b.zmin && a.zmax == b.zmax;
}

std::ostream& operator<<(std::ostream& os, const Bound& b) {
  return os << '[' << b.xmin << ' ' << b.xmax << ' ' << b.ymin << ' ' << b.ymax << ' ' << b.zmin
            << ' ' << b.zmax << ']';
}
