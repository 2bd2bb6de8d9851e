// slrt: points, vectors and normals, and the point-valued shading operations.
#include <slrt/geometry/matrix.h>
#include <slrt/geometry/point.h>
#include <slrt/pattern/scalar.h>
#include <slrt/runtime/error.h>

#include <cmath>
#include <cstdarg>
#include <ostream>

#include "runtime/reduce_pvt.h"

Point gOrigin(0.0f, 0.0f, 0.0f);

namespace {

// The single-precision epsilon, the library's near-zero threshold.
constexpr float kEpsilon = 1.1920929e-7f;

// Squares are summed in single precision and the root taken in double, as
// the plain C expression sqrt(x*x + y*y + z*z) on floats does.
inline double norm(const Point& v) {
  return std::sqrt(double(v.dot(v)));
}

// The reflection shared by reflect and fresnel7.
inline Point reflected(const Point& i, const Point& n) {
  return i - n * (2.0f * i.dot(n));
}

// eta I - (eta c + sqrt(k)) N, evaluated in double and rounded once.
inline Point refracted(const Point& i, const Point& n, float eta, float c, float k) {
  double f = double(eta) * c + std::sqrt(double(k));
  return Point(float(double(eta) * i.x - f * n.x), float(double(eta) * i.y - f * n.y),
               float(double(eta) * i.z - f * n.z));
}

}  // namespace

Point::Point(const Pointw& p) : x(fdiv(p.x, p.w)), y(fdiv(p.y, p.w)), z(fdiv(p.z, p.w)) {}

Point& Point::operator=(const Pointw& p) {
  return *this = Point(p);
}

void homogenize(float& x, float& y, float& z, float& w) {
  x = fdiv(x, w);
  y = fdiv(y, w);
  z = fdiv(z, w);
  w = 1.0f;
}

float distance(const Point& p1, const Point& p2) {
  return float(norm(p2 - p1));
}

float length(const Point& v) {
  return float(norm(v));
}

// The projection t is compared with |a| and squared against |b|^2 as if a
// were a unit vector; the result is the true distance only for segments of
// length 1.  Callers depend on this exact behaviour.
float ptlined(const Point& p0, const Point& p1, const Point& q) {
  Point a = p1 - p0;
  Point b = q - p0;
  float t = a.dot(b);
  if (t <= 0.0f) return float(norm(b));
  if (t >= float(norm(a))) return distance(q, p1);
  return float(std::sqrt(double(b.dot(b)) - double(t) * t));
}

Point& normalize(Point& result, const Point& v) {
  double len = norm(v);
  if (len < kEpsilon) return result = v;
  float s = float(1.0 / len);
  return result = v * s;
}

Point& reflect(Point& result, const Point& i, const Point& n) {
  return result = reflected(i, n);
}

Point& refract(Point& result, const Point& i, const Point& n, float eta) {
  float c = i.dot(n);
  float k = 1.0f - eta * eta * (1.0f - c * c);
  if (k < 0.0f) return result = gOrigin;
  return result = refracted(i, n, eta, c, k);
}

// Inputs are copied first: the output slots may alias I or N.
void fresnel7(const Point& iIn, const Point& nIn, float eta, float& kr, float& kt, Point& r,
              Point& t) {
  const Point i = iIn, n = nIn;
  float c = i.dot(n);
  float k = 1.0f - eta * eta * (1.0f - c * c);
  // The threshold is the epsilon, not 0 as in refract: a grazing ray with k
  // exactly 0 refracts there but counts as totally reflected here.
  if (k < kEpsilon) {
    t = gOrigin;
    kt = 0.0f;
    kr = 1.0f;
  } else {
    Point tr = refracted(i, n, eta, c, k);
    float c2 = tr.dot(n);
    float ec = eta * c;
    float rs = fdiv(ec - c2, ec + c2);
    float rp = fdiv(c - eta * c2, eta * c2 + c);
    float reflectance = float(0.5 * (double(rs) * rs + double(rp) * rp));
    t = tr;
    kr = reflectance;
    kt = 1.0f - reflectance;
  }
  r = reflected(i, n);
}

// A three-way sign: an incident direction perpendicular to Nref gives the
// zero vector rather than either orientation.
Point& faceforward(Point& result, const Point& n, const Point& i, const Point& nref) {
  float d = (-i).dot(nref);
  float sign = 0.0f;
  if (d < 0.0f)
    sign = -1.0f;
  else if (d > 0.0f)
    sign = 1.0f;
  return result = n * sign;
}

// The axis runs through the origin along P1 - P0: the points give only its
// direction, Q is not moved to P0 first.
Point& rotate(Point& result, const Point& q, float angle, const Point& p0, const Point& p1) {
  Matrix m(1.0f);
  float degrees = float(angle * 180.0 / 3.1415927);
  m.rotate(degrees, p1.x - p0.x, p1.y - p0.y, p1.z - p0.z);
  return result = q * m;
}

float compp(const Point& p, int i) {
  if (i < 0 || i > 2) {
    error(kErrRange, kSevWarning, "point component %d out of range", i);
    return 0.0f;
  }
  return p[i];
}

void setcompp(Point& p, int i, float value) {
  if (i < 0 || i > 2) {
    error(kErrRange, kSevWarning, "point component %d out of range", i);
    return;
  }
  p[i] = value;
}

Point& pclamp(Point& result, const Point& p, const Point& lo, const Point& hi) {
  Point out;
  for (int k = 0; k < 3; ++k) out[k] = p[k] < lo[k] ? lo[k] : (p[k] > hi[k] ? hi[k] : p[k]);
  return result = out;
}

Point& pmix(Point& result, const Point& a, const Point& b, float t) {
  return result = a + (b - a) * t;
}

Point& prandom(Point& result) {
  float x = frandom();
  float y = frandom();
  float z = frandom();
  return result = Point(x, y, z);
}

Point& pminv(Point& result, long n, ...) {
  va_list ap;
  va_start(ap, n);
  result = slrt_detail::reduceTriples<Point, vmin>(n, ap);
  va_end(ap);
  return result;
}

Point& pmaxv(Point& result, long n, ...) {
  va_list ap;
  va_start(ap, n);
  result = slrt_detail::reduceTriples<Point, vmax>(n, ap);
  va_end(ap);
  return result;
}

Point min(const Point& a, const Point& b) {
  return Point(a.x < b.x ? a.x : b.x, a.y < b.y ? a.y : b.y, a.z < b.z ? a.z : b.z);
}

Point max(const Point& a, const Point& b) {
  return Point(a.x > b.x ? a.x : b.x, a.y > b.y ? a.y : b.y, a.z > b.z ? a.z : b.z);
}

Point lerp(float t, const Point& a, const Point& b) {
  return a + (b - a) * t;
}

Point bilerp(float u, float v, const Point& p00, const Point& p10, const Point& p01,
             const Point& p11) {
  float uv = u * v;
  return p00 * (1.0f - u - v + uv) + p10 * (u - uv) + p01 * (v - uv) + p11 * uv;
}

Point trilerp(float u, float v, float w, const Point& p0, const Point& p1, const Point& p2,
              const Point& p3, const Point& p4, const Point& p5, const Point& p6, const Point& p7) {
  Point a = bilerp(u, v, p0, p1, p2, p3);
  Point b = bilerp(u, v, p4, p5, p6, p7);
  return a + (b - a) * w;
}

Pointw bilerp(float u, float v, const Pointw& q00, const Pointw& q10, const Pointw& q01,
              const Pointw& q11) {
  return Pointw(bilerp(u, v, q00.x, q10.x, q01.x, q11.x), bilerp(u, v, q00.y, q10.y, q01.y, q11.y),
                bilerp(u, v, q00.z, q10.z, q01.z, q11.z), bilerp(u, v, q00.w, q10.w, q01.w, q11.w));
}

std::ostream& operator<<(std::ostream& os, const Point& p) {
  return os << '[' << double(p.x) << ' ' << double(p.y) << ' ' << double(p.z) << ']';
}

std::ostream& operator<<(std::ostream& os, const Pointw& p) {
  return os << '[' << double(p.x) << ' ' << double(p.y) << ' ' << double(p.z) << ' ' << double(p.w)
            << ']';
}
