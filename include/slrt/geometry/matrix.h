// slrt: 4x4 transformation matrices.
//
// Row-vector convention: a point is the row (x, y, z, 1) multiplied on the
// left, so concatenating "first A, then B" is A * B and the translation sits
// in the last row.  Element (r, c) is m[4r + c]:
//
//   | m[0]  m[1]  m[2]  m[3]  |   rows 0-2: the linear part (3x3) and,
//   | m[4]  m[5]  m[6]  m[7]  |   in column 3, the projective terms
//   | m[8]  m[9]  m[10] m[11] |
//   | m[12] m[13] m[14] m[15] |   row 3: the translation
//
// Matrix is trivially copyable with exactly its sixteen floats (64 bytes).
#ifndef SLRT_GEOMETRY_MATRIX_H
#define SLRT_GEOMETRY_MATRIX_H

#include <slrt/export.h>
#include <slrt/geometry/point.h>

#include <iosfwd>
#include <type_traits>

class SLRT_API Matrix {
 public:
  float m[16];

  /// Leaves the elements uninitialised (keeps the type trivial).
  Matrix() = default;
  /// d on the four diagonal elements, 0 elsewhere: Matrix(1.0) is the identity.
  constexpr explicit Matrix(float d) : m{d, 0, 0, 0, 0, d, 0, 0, 0, 0, d, 0, 0, 0, 0, d} {}
  /// Copies sixteen floats in order.  Both forms read sixteen floats whatever
  /// the declared shape of the storage, so the caller's storage must hold
  /// sixteen.
  explicit Matrix(float a[4][3]);
  explicit Matrix(float* a);
  /// Nonzero asRows: a, b, c become rows 0, 1, 2; zero: columns 0, 1, 2.
  /// The rest is as in the identity.
  Matrix(const Point& a, const Point& b, const Point& c, short asRows);
  /// Nonzero asRows: the four points are rows 0..3; zero: columns 0..3.
  Matrix(const Pointw& a, const Pointw& b, const Pointw& c, const Pointw& d, short asRows);

  float& operator()(int r, int c) { return m[4 * r + c]; }
  float operator()(int r, int c) const { return m[4 * r + c]; }
  /// Row access, so that M[r][c] reads element (r, c).
  float* operator[](int r) { return m + 4 * r; }
  const float* operator[](int r) const { return m + 4 * r; }

  /// Modifying members.  Each returns *this.  All except map() and
  /// operator*= put the new transformation T in front, M := T * M, so the
  /// most recent call acts first on a point (the order in which a scene
  /// description nests its transformations).
  ///
  /// | member                         | T, or effect                                 |
  /// |--------------------------------|----------------------------------------------|
  /// | translate(tx, ty, tz)          | row 3 += tx row 0 + ty row 1 + tz row 2      |
  /// | scale(s), scale(sx, sy, sz)    | rows 0, 1, 2 scaled                          |
  /// | rotate(deg, x, y, z)           | right-handed rotation in degrees about the   |
  /// |                                | axis (x, y, z), which need not be unit       |
  /// | skew(deg, dx1..dz1, dx2..dz2)  | shear that tilts the first direction by deg  |
  /// |                                | towards the second one                       |
  /// | perspective(fov, near, far)    | projection onto the plane at distance 1 with |
  /// |                                | t = tan(fov/2): depth becomes 1 - 1/z; near  |
  /// |                                | and far are ignored (zmap fixes depth)       |
  /// | zmap(a, b)                     | depth [min(a,b), max(a,b)] onto [0, 1]; no   |
  /// |                                | check for a == b                             |
  /// | map(l, r, b, t, width, height) | APPENDS (M := M * S) the map of the screen   |
  /// |                                | window onto a width x height raster: (l, t)  |
  /// |                                | to (0, 0), (r, b) to (width, height).  A     |
  /// |                                | window narrower than 1.1920929e-7 in x or y  |
  /// |                                | leaves M unchanged, silently                 |
  /// | operator*=(B)                  | APPENDS: M := M * B                          |
  ///
  /// Failures leave the matrix unchanged and report through error():
  ///   rotate: code 61 (kErrMath), severity 2, "rotation basis vector must be
  ///           non-zero" for an axis shorter than 1.1920929e-7;
  ///   skew:   code 61, severity 2, "skew basis vectors must be non-zero";
  ///           code 61, severity 2, "skew basis vectors must non-colinear";
  ///           code 42 (kErrRange), severity 2, "invalid skew angle" unless
  ///           the tilt stays short of the second vector: the cosine between
  ///           the first vector and its tilted image must exceed the cosine
  ///           between the two vectors by more than 1.1920929e-7.
  Matrix& translate(float tx, float ty, float tz);
  Matrix& scale(float s);
  Matrix& scale(float sx, float sy, float sz);
  Matrix& rotate(float angle, float x, float y, float z);
  Matrix& skew(float angle, float dx1, float dy1, float dz1, float dx2, float dy2, float dz2);
  Matrix& perspective(float fov, float near, float far);
  Matrix& zmap(float a, float b);
  Matrix& map(float left, float right, float bottom, float top, long width, long height);
  Matrix& operator*=(const Matrix& b);
};

static_assert(sizeof(Matrix) == 64, "Matrix is sixteen floats");
static_assert(std::is_trivially_copyable<Matrix>::value && std::is_standard_layout<Matrix>::value,
              "Matrix must stay a plain value");

/// The identity.  Constant-initialised, so it is valid before any other
/// static initialiser runs.
SLRT_API extern Matrix gIdentity;

/// Free operations (C++ linkage).
///
/// | operation               | result                                                  |
/// |-------------------------|---------------------------------------------------------|
/// | A * B                   | the product, "A then B"                                 |
/// | P * M  (Point)          | (x, y, z, 1) * M, then x, y, z divided by w via fdiv    |
/// | P * M  (Pointw)         | (x, y, z, w) * M, no division                           |
/// | determinant(M)          | expansion along column 3; a term whose column-3 element |
/// |                         | lies within +-1.1920929e-7 is skipped, so an affine     |
/// |                         | matrix costs one 3x3 determinant                        |
/// | invert(&M)              | in place, Gauss-Jordan with partial pivoting; nonzero   |
/// |                         | on success.  A pivot within +-1.1920929e-7 reports code |
/// |                         | 61, severity 2, "cannot invert a singular Matrix" and   |
/// |                         | returns 0 with M holding the partly built inverse       |
/// |                         | (neither the input nor the identity): treat it as       |
/// |                         | garbage                                                 |
/// | invtranspose(M)         | cofactors of the upper-left 3x3, negated when           |
/// |                         | determinant(M) < 0, in an otherwise identity matrix:    |
/// |                         | the inverse transpose times |det|, for normals (they    |
/// |                         | keep direction, not length).  Never fails: a singular   |
/// |                         | M gives a zero 3x3                                      |
/// | transpose(M)            | element (r, c) := (c, r)                                |
/// | weight(M, row, p)       | sum over k of M(row, k) p[k], p holding four points;    |
/// |                         | (0, 0, 0) for a row above 3                             |
/// | os << M                 | "[" then four rows of four elements separated by " ",  |
/// |                         | each row ending in a newline, "]" right after the last  |
/// |                         | element                                                 |
SLRT_API Matrix operator*(const Matrix& a, const Matrix& b);
SLRT_API Point operator*(const Point& p, const Matrix& m);
SLRT_API Pointw operator*(const Pointw& p, const Matrix& m);
SLRT_API float determinant(const Matrix& m);
SLRT_API int invert(Matrix* m);
SLRT_API Matrix invtranspose(const Matrix& m);
SLRT_API Matrix transpose(const Matrix& m);
SLRT_API Point weight(const Matrix& m, unsigned short row, const Point* p);
SLRT_API std::ostream& operator<<(std::ostream& os, const Matrix& m);

/// Transform shading operations (C linkage; result slot first, returned).
///
/// | operation                                   | result                        |
/// |---------------------------------------------|-------------------------------|
/// | transformm(r, M, P)                         | P * M with the division by w  |
/// | vtransformm(r, M, V)                        | V times the upper-left 3x3:   |
/// |                                             | no translation, no division   |
/// | transforms(r, to, P), transformss(r, from,  | P unchanged                   |
/// | to, P), transformsm(r, from, M, P)          |                               |
/// | vtransforms, vtransformss, vtransformsm     | V unchanged                   |
/// | ntransforms, ntransformss, ntransformsm,    | N unchanged                   |
/// | ntransformm                                 |                               |
///
/// The named-space forms are deliberate pass-throughs: transformation by
/// space name goes through the coordinate-system operations (transform,
/// vtransform, ntransform and the project family).  ntransformm does not
/// apply its matrix either; ntransform does, with invtranspose.
SLRT_C_BEGIN
SLRT_API Point& transformm(Point& result, const Matrix& m, const Point& p);
SLRT_API Point& vtransformm(Point& result, const Matrix& m, const Point& v);
SLRT_API Point& transforms(Point& result, const char* to, const Point& p);
SLRT_API Point& transformss(Point& result, const char* from, const char* to, const Point& p);
SLRT_API Point& transformsm(Point& result, const char* from, const Matrix& m, const Point& p);
SLRT_API Point& vtransforms(Point& result, const char* to, const Point& v);
SLRT_API Point& vtransformss(Point& result, const char* from, const char* to, const Point& v);
SLRT_API Point& vtransformsm(Point& result, const char* from, const Matrix& m, const Point& v);
SLRT_API Point& ntransforms(Point& result, const char* to, const Point& n);
SLRT_API Point& ntransformm(Point& result, const Matrix& m, const Point& n);
SLRT_API Point& ntransformss(Point& result, const char* from, const char* to, const Point& n);
SLRT_API Point& ntransformsm(Point& result, const char* from, const Matrix& m, const Point& n);
SLRT_C_END

#endif  // SLRT_GEOMETRY_MATRIX_H
