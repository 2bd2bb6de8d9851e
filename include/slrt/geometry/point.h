// slrt: points, vectors and normals.
//
// Point is the one value type for positions, directions and normals; Pointw
// is its homogeneous companion.  Both are trivially copyable with exactly
// their float fields, so hosts and compiled shaders pass them by value, also
// through variadic lists (va_arg(ap, Point)).
//
//   Point:   | x | y | z |        12 bytes
//   Pointw:  | x | y | z | w |    16 bytes
#ifndef SLRT_GEOMETRY_POINT_H
#define SLRT_GEOMETRY_POINT_H

#include <slrt/export.h>

#include <iosfwd>
#include <type_traits>

class Matrix;
class Pointw;

class SLRT_API Point {
 public:
  float x, y, z;

  Point() = default;
  constexpr Point(float ax, float ay, float az) : x(ax), y(ay), z(az) {}
  /// (x/w, y/w, z/w), each through fdiv, so w = 0 saturates instead of
  /// trapping.
  Point(const Pointw& p);
  Point& operator=(const Pointw& p);
  /// Replaces the point by point * m (with the division by w).
  Point& operator*=(const Matrix& m);

  Point operator+(const Point& b) const { return Point(x + b.x, y + b.y, z + b.z); }
  Point operator-(const Point& b) const { return Point(x - b.x, y - b.y, z - b.z); }
  Point operator-() const { return Point(-x, -y, -z); }
  Point operator*(float s) const { return Point(x * s, y * s, z * s); }
  Point& operator+=(const Point& b) {
    x += b.x;
    y += b.y;
    z += b.z;
    return *this;
  }
  Point& operator-=(const Point& b) {
    x -= b.x;
    y -= b.y;
    z -= b.z;
    return *this;
  }
  Point& operator*=(float s) {
    x *= s;
    y *= s;
    z *= s;
    return *this;
  }
  float dot(const Point& b) const { return x * b.x + y * b.y + z * b.z; }
  Point cross(const Point& b) const {
    return Point(y * b.z - z * b.y, z * b.x - x * b.z, x * b.y - y * b.x);
  }
  float operator[](int i) const { return (&x)[i]; }
  float& operator[](int i) { return (&x)[i]; }
};

class SLRT_API Pointw {
 public:
  float x, y, z, w;

  Pointw() = default;
  constexpr Pointw(float ax, float ay, float az, float aw) : x(ax), y(ay), z(az), w(aw) {}
  /// Replaces the point by point * m (no division).
  Pointw& operator*=(const Matrix& m);
};

inline Point operator*(float s, const Point& p) {
  return p * s;
}

// Hosts and compiled shaders rely on these layouts (arrays of floats, values
// passed through variadic lists).
static_assert(sizeof(Point) == 12, "Point is three floats");
static_assert(sizeof(Pointw) == 16, "Pointw is four floats");
static_assert(std::is_trivially_copyable<Point>::value && std::is_standard_layout<Point>::value,
              "Point must stay a plain value");
static_assert(std::is_trivially_copyable<Pointw>::value && std::is_standard_layout<Pointw>::value,
              "Pointw must stay a plain value");

/// The point (0, 0, 0).  Constant-initialised, so it is valid before any
/// other static initialiser runs.
SLRT_API extern Point gOrigin;

/// Point-valued shading operations (C linkage, called by compiled shaders).
///
/// Results are written into the slot passed first, which is also returned;
/// the slot may be the same object as an input.  None of them fails except
/// compp/setcompp; the others return a value for every input.
///
/// | operation                      | result                                          |
/// |--------------------------------|-------------------------------------------------|
/// | distance(P1, P2)               | |P2 - P1|                                       |
/// | length(V)                      | |V|                                             |
/// | ptlined(P0, P1, Q)             | distance from Q to the segment P0-P1, with the  |
/// |                                | projection t = (P1-P0).(Q-P0) compared against  |
/// |                                | |P1-P0| rather than its square: exact only for  |
/// |                                | a segment of length 1.  The inner branch takes  |
/// |                                | sqrt(|Q-P0|^2 - t^2), NaN when that is negative |
/// | normalize(r, V)                | V / |V|; V itself when |V| < 1.1920929e-7       |
/// | reflect(r, I, N)               | I - 2 (I.N) N, N used as given                  |
/// | refract(r, I, N, eta)          | eta I - (eta c + sqrt(k)) N with c = I.N,       |
/// |                                | k = 1 - eta^2 (1 - c^2); (0,0,0) when k < 0     |
/// | fresnel7(I, N, eta, Kr, Kt,    | R = reflect(I, N).  When k < 1.1920929e-7 (not  |
/// |          R, T)                 | 0, unlike refract): T = 0, Kr = 1, Kt = 0.      |
/// |                                | Else T = refract(...), Kr = (rs^2 + rp^2)/2 from|
/// |                                | the polarised ratios (through fdiv), Kt = 1-Kr  |
/// | faceforward(r, N, I, Nref)     | sign((-I).Nref) N with a three-way sign: the    |
/// |                                | zero vector when I is perpendicular to Nref     |
/// | rotate(r, Q, angle, P0, P1)    | Q rotated by angle radians about the direction  |
/// |                                | P1 - P0 through the ORIGIN (Q is not moved to   |
/// |                                | P0 first); Q when P1 = P0 (Matrix::rotate       |
/// |                                | reports)                                        |
/// | compp(P, i)                    | component i (0 x, 1 y, 2 z); else reports and   |
/// |                                | returns 0                                       |
/// | setcompp(P, i, v)              | stores v into component i; else reports and     |
/// |                                | leaves P unchanged                              |
/// | pclamp(r, P, lo, hi)           | per component lo if P < lo, else hi if P > hi   |
/// | pmix(r, A, B, t)               | A + (B - A) t                                   |
/// | prandom(r)                     | three draws of frandom(), in the order x, y, z  |
/// | pminv(r, n, P1, ..., Pn)       | per-component vmin / vmax over n points passed  |
/// | pmaxv(r, n, P1, ..., Pn)       | by value; (0,0,0) when n <= 0                   |
///
/// compp and setcompp report code 42 (kErrRange), severity 1, "point
/// component %d out of range".
SLRT_C_BEGIN
SLRT_API float distance(const Point& p1, const Point& p2);
SLRT_API float length(const Point& v);
SLRT_API float ptlined(const Point& p0, const Point& p1, const Point& q);
SLRT_API Point& normalize(Point& result, const Point& v);
SLRT_API Point& reflect(Point& result, const Point& i, const Point& n);
SLRT_API Point& refract(Point& result, const Point& i, const Point& n, float eta);
SLRT_API void fresnel7(const Point& i, const Point& n, float eta, float& kr, float& kt, Point& r,
                       Point& t);
SLRT_API Point& faceforward(Point& result, const Point& n, const Point& i, const Point& nref);
SLRT_API Point& rotate(Point& result, const Point& q, float angle, const Point& p0,
                       const Point& p1);
SLRT_API float compp(const Point& p, int i);
SLRT_API void setcompp(Point& p, int i, float value);
SLRT_API Point& pclamp(Point& result, const Point& p, const Point& lo, const Point& hi);
SLRT_API Point& pmix(Point& result, const Point& a, const Point& b, float t);
SLRT_API Point& prandom(Point& result);
SLRT_API Point& pminv(Point& result, long n, ...);
SLRT_API Point& pmaxv(Point& result, long n, ...);
SLRT_C_END

/// Overloaded helpers (C++ linkage).
///
/// min/max work per component; min takes A's value only where A < B, so a
/// tie or a NaN gives B's.  lerp is A + (B - A) t.  bilerp weights the
/// corners P00, P10, P01, P11 by (1-u-v+uv), (u-uv), (v-uv), uv; trilerp
/// bilerps P0..P3 and P4..P7 and blends the two by w.  The Pointw bilerp is
/// the scalar bilerp on each of x, y, z, w.  homogenize divides x, y, z by w
/// through fdiv and sets w to 1.
SLRT_API Point min(const Point& a, const Point& b);
SLRT_API Point max(const Point& a, const Point& b);
SLRT_API Point lerp(float t, const Point& a, const Point& b);
SLRT_API Point bilerp(float u, float v, const Point& p00, const Point& p10, const Point& p01,
                      const Point& p11);
SLRT_API Point trilerp(float u, float v, float w, const Point& p0, const Point& p1, const Point& p2,
                       const Point& p3, const Point& p4, const Point& p5, const Point& p6,
                       const Point& p7);
SLRT_API Pointw bilerp(float u, float v, const Pointw& q00, const Pointw& q10, const Pointw& q01,
                       const Pointw& q11);
SLRT_API void homogenize(float& x, float& y, float& z, float& w);

/// "[x y z]" and "[x y z w]", components printed as doubles with the
/// stream's formatting.
SLRT_API std::ostream& operator<<(std::ostream& os, const Point& p);
SLRT_API std::ostream& operator<<(std::ostream& os, const Pointw& p);

#endif  // SLRT_GEOMETRY_POINT_H
