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

inline Point operator*(float s, const Point& p) { return p * s; }

#endif  // SLRT_GEOMETRY_POINT_H
