// slrt: 4x4 transformation matrices and the transform shading operations.
#include <slrt/geometry/matrix.h>
#include <slrt/pattern/scalar.h>
#include <slrt/runtime/error.h>

#include <cmath>
#include <cstring>
#include <ostream>
#include <utility>

Matrix gIdentity(1.0f);

namespace {

// The single-precision epsilon, the library's near-zero threshold.
constexpr float kEpsilon = 1.1920929e-7f;

inline bool nearZero(float v) {
  return v > -kEpsilon && v < kEpsilon;
}

// M := R * M for an R whose only non-trivial part is the upper-left 3x3
// (rotation, skew): rows 0-2 of M are recombined, row 3 is untouched.
void premultiplyLinear(Matrix& mat, const float r[3][3]) {
  float out[3][4];
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 4; ++j)
      out[i][j] = r[i][0] * mat(0, j) + r[i][1] * mat(1, j) + r[i][2] * mat(2, j);
  std::memcpy(mat.m, out, sizeof out);
}

// Determinant of columns 0-2 with row `skip` left out.
double minor3(const Matrix& mat, int skip) {
  int r[3];
  for (int i = 0, n = 0; i < 4; ++i)
    if (i != skip) r[n++] = i;
  const float* a = mat[r[0]];
  const float* b = mat[r[1]];
  const float* c = mat[r[2]];
  return double(a[0]) * (double(b[1]) * c[2] - double(b[2]) * c[1]) -
         double(a[1]) * (double(b[0]) * c[2] - double(b[2]) * c[0]) +
         double(a[2]) * (double(b[0]) * c[1] - double(b[1]) * c[0]);
}

}  // namespace

Matrix::Matrix(float a[4][3]) {
  std::memcpy(m, a, sizeof m);
}

Matrix::Matrix(float* a) {
  std::memcpy(m, a, sizeof m);
}

Matrix::Matrix(const Point& a, const Point& b, const Point& c, short asRows) : Matrix(1.0f) {
  const Point* v[3] = {&a, &b, &c};
  for (int i = 0; i < 3; ++i)
    for (int j = 0; j < 3; ++j) {
      if (asRows)
        (*this)(i, j) = (*v[i])[j];
      else
        (*this)(j, i) = (*v[i])[j];
    }
}

Matrix::Matrix(const Pointw& a, const Pointw& b, const Pointw& c, const Pointw& d, short asRows) {
  const Pointw* v[4] = {&a, &b, &c, &d};
  for (int i = 0; i < 4; ++i) {
    const float e[4] = {v[i]->x, v[i]->y, v[i]->z, v[i]->w};
    for (int j = 0; j < 4; ++j) {
      if (asRows)
        (*this)(i, j) = e[j];
      else
        (*this)(j, i) = e[j];
    }
  }
}

Matrix& Matrix::translate(float tx, float ty, float tz) {
  for (int j = 0; j < 4; ++j) m[12 + j] += tx * m[j] + ty * m[4 + j] + tz * m[8 + j];
  return *this;
}

Matrix& Matrix::scale(float s) {
  return scale(s, s, s);
}

Matrix& Matrix::scale(float sx, float sy, float sz) {
  for (int j = 0; j < 4; ++j) {
    m[j] *= sx;
    m[4 + j] *= sy;
    m[8 + j] *= sz;
  }
  return *this;
}

Matrix& Matrix::rotate(float angle, float x, float y, float z) {
  float len = ::length(Point(x, y, z));
  if (len < kEpsilon) {
    error(kErrMath, kSevError, "rotation basis vector must be non-zero");
    return *this;
  }
  x /= len;
  y /= len;
  z /= len;
  float a = angle * 3.1415927f / 180.0f;
  float s = std::sin(a), c = std::cos(a), t = 1.0f - c;
  const float r[3][3] = {{t * x * x + c, t * x * y + s * z, t * x * z - s * y},
                         {t * x * y - s * z, t * y * y + c, t * y * z + s * x},
                         {t * x * z + s * y, t * y * z - s * x, t * z * z + c}};
  premultiplyLinear(*this, r);
  return *this;
}

// The shear S = I + k u B^T moves a row vector p to p + k (p.u) B, where B is
// the unit second vector and u = (B x A) x B = A - (A.B) B is the part of the
// unit first vector A perpendicular to B.  A goes to A + k (A.u) B, which
// keeps its u component; making it parallel to the tilted direction r means
// scaling r by lambda = (A.u)/(r.u) to share that component, after which
// lambda r - A is a multiple of B:
//
//   k = (lambda r_j - A_j) / ((A.u) B_j)
//
// for any component j.  Dividing by B's largest component keeps the quotient
// well conditioned (B is a unit vector, so |B_j| >= 1/sqrt(3)).
Matrix& Matrix::skew(float angle, float dx1, float dy1, float dz1, float dx2, float dy2,
                     float dz2) {
  Point first(dx1, dy1, dz1), second(dx2, dy2, dz2);
  if (::length(first) < kEpsilon || ::length(second) < kEpsilon) {
    error(kErrMath, kSevError, "skew basis vectors must be non-zero");
    return *this;
  }
  Point a, b;
  normalize(a, first);
  normalize(b, second);
  Point axis = b.cross(a);
  if (::length(axis) < kEpsilon) {
    error(kErrMath, kSevError, "skew basis vectors must non-colinear");
    return *this;
  }
  // Turning by -angle about B x A tilts A towards B.
  Matrix turn(1.0f);
  turn.rotate(-angle, axis.x, axis.y, axis.z);
  Point r = a * turn;
  if (!(r.dot(a) - b.dot(a) > kEpsilon)) {
    error(kErrRange, kSevError, "invalid skew angle");
    return *this;
  }
  Point u = axis.cross(b);
  float au = a.dot(u);
  float lambda = fdiv(au, r.dot(u));
  int j = 2;
  float bx = std::fabs(b.x), by = std::fabs(b.y), bz = std::fabs(b.z);
  if (bx > by && bx > bz)
    j = 0;
  else if (by > bx && by > bz)
    j = 1;
  float k = fdiv(lambda * r[j] - a[j], au * b[j]);
  float s[3][3];
  for (int i = 0; i < 3; ++i)
    for (int c = 0; c < 3; ++c) s[i][c] = (i == c ? 1.0f : 0.0f) + k * u[i] * b[c];
  premultiplyLinear(*this, s);
  return *this;
}

Matrix& Matrix::perspective(float fov, float, float) {
  float t = std::tan(0.5f * fov * 3.1415927f / 180.0f);
  // P = rows (1,0,0,0) (0,1,0,0) (0,0,t,t) (0,0,-t,0); only rows 2 and 3 of
  // P * M differ from M.
  for (int j = 0; j < 4; ++j) {
    float r2 = m[8 + j], r3 = m[12 + j];
    m[8 + j] = t * r2 + t * r3;
    m[12 + j] = -t * r2;
  }
  return *this;
}

Matrix& Matrix::zmap(float a, float b) {
  float n = a < b ? a : b;
  float f = a < b ? b : a;
  float r = 1.0f / (f - n);
  for (int j = 0; j < 4; ++j) {
    float r2 = m[8 + j];
    m[8 + j] = r * r2;
    m[12 + j] += -n * r * r2;
  }
  return *this;
}

// The window-to-raster map is appended (M := M * S), unlike the other
// members: it is the last stage of a camera-to-raster chain, applied after
// the projection already held in M.  Prepending S (updating row 3 from rows 0
// and 1, as translate does) gives the same matrix only while M is the
// identity; on a camera-to-screen matrix only the appended form yields
// camera-to-raster.  Appending S scales and offsets M's columns 0 and 1 by
// its column 3.
Matrix& Matrix::map(float left, float right, float bottom, float top, long width, long height) {
  if (nearZero(right - left) || nearZero(top - bottom)) return *this;
  float fw = float(width), fh = float(height);
  float sx = fw / (right - left);
  float sy = fh / (bottom - top);  // bottom goes to raster row `height`, top to row 0
  float tx = -left * sx;
  float ty = fh - bottom * sy;
  for (int r = 0; r < 4; ++r) {
    float* row = (*this)[r];
    row[0] = row[0] * sx + row[3] * tx;
    row[1] = row[1] * sy + row[3] * ty;
  }
  return *this;
}

Matrix& Matrix::operator*=(const Matrix& b) {
  return *this = *this * b;
}

Matrix operator*(const Matrix& a, const Matrix& b) {
  Matrix out;
  for (int r = 0; r < 4; ++r) {
    const float* ar = a[r];
    for (int c = 0; c < 4; ++c)
      out(r, c) = ar[0] * b(0, c) + ar[1] * b(1, c) + ar[2] * b(2, c) + ar[3] * b(3, c);
  }
  return out;
}

Point operator*(const Point& p, const Matrix& mat) {
  const float* m = mat.m;
  float x = p.x * m[0] + p.y * m[4] + p.z * m[8] + m[12];
  float y = p.x * m[1] + p.y * m[5] + p.z * m[9] + m[13];
  float z = p.x * m[2] + p.y * m[6] + p.z * m[10] + m[14];
  float w = p.x * m[3] + p.y * m[7] + p.z * m[11] + m[15];
  homogenize(x, y, z, w);
  return Point(x, y, z);
}

Pointw operator*(const Pointw& p, const Matrix& mat) {
  const float* m = mat.m;
  return Pointw(p.x * m[0] + p.y * m[4] + p.z * m[8] + p.w * m[12],
                p.x * m[1] + p.y * m[5] + p.z * m[9] + p.w * m[13],
                p.x * m[2] + p.y * m[6] + p.z * m[10] + p.w * m[14],
                p.x * m[3] + p.y * m[7] + p.z * m[11] + p.w * m[15]);
}

Point& Point::operator*=(const Matrix& m) {
  return *this = *this * m;
}

Pointw& Pointw::operator*=(const Matrix& m) {
  return *this = *this * m;
}

// Expansion along column 3: an affine matrix (column 3 = 0, 0, 0, 1) costs
// one 3x3 determinant, since negligible projective terms are skipped.
float determinant(const Matrix& mat) {
  static const double kSign[4] = {-1.0, 1.0, -1.0, 1.0};
  double d = 0.0;
  for (int r = 0; r < 4; ++r) {
    float e = mat(r, 3);
    if (nearZero(e)) continue;
    d += kSign[r] * e * minor3(mat, r);
  }
  return float(d);
}

int invert(Matrix* m) {
  Matrix work = *m;
  Matrix& inv = *m;
  inv = Matrix(1.0f);
  for (int c = 0; c < 4; ++c) {
    int pivotRow = c;
    float best = std::fabs(work(c, c));
    for (int r = c + 1; r < 4; ++r) {
      float v = std::fabs(work(r, c));
      if (v > best) {
        best = v;
        pivotRow = r;
      }
    }
    if (pivotRow != c) {
      for (int j = 0; j < 4; ++j) {
        std::swap(work(c, j), work(pivotRow, j));
        std::swap(inv(c, j), inv(pivotRow, j));
      }
    }
    float pivot = work(c, c);
    if (nearZero(pivot)) {
      // The rows handled so far are already reduced: *m is left half-built.
      error(kErrMath, kSevError, "cannot invert a singular Matrix");
      return 0;
    }
    for (int j = 0; j < 4; ++j) {
      work(c, j) /= pivot;
      inv(c, j) /= pivot;
    }
    for (int r = 0; r < 4; ++r) {
      if (r == c) continue;
      float f = work(r, c);
      for (int j = 0; j < 4; ++j) {
        work(r, j) -= f * work(c, j);
        inv(r, j) -= f * inv(c, j);
      }
    }
  }
  return 1;
}

// The rows of the cofactor matrix of a 3x3 are the cross products of the
// other two rows.
Matrix invtranspose(const Matrix& mat) {
  Point r0(mat(0, 0), mat(0, 1), mat(0, 2));
  Point r1(mat(1, 0), mat(1, 1), mat(1, 2));
  Point r2(mat(2, 0), mat(2, 1), mat(2, 2));
  Point c0 = r1.cross(r2), c1 = r2.cross(r0), c2 = r0.cross(r1);
  if (determinant(mat) < 0.0f) {
    c0 = -c0;
    c1 = -c1;
    c2 = -c2;
  }
  return Matrix(c0, c1, c2, 1);
}

Matrix transpose(const Matrix& mat) {
  Matrix out;
  for (int r = 0; r < 4; ++r)
    for (int c = 0; c < 4; ++c) out(r, c) = mat(c, r);
  return out;
}

Point weight(const Matrix& mat, unsigned short row, const Point* p) {
  if (row > 3) return gOrigin;
  const float* w = mat[row];
  return p[0] * w[0] + p[1] * w[1] + p[2] * w[2] + p[3] * w[3];
}

std::ostream& operator<<(std::ostream& os, const Matrix& mat) {
  os << '[';
  for (int r = 0; r < 4; ++r) {
    for (int c = 0; c < 4; ++c) {
      if (c) os << ' ';
      os << mat(r, c);
    }
    if (r == 3) os << ']';
    os << '\n';
  }
  return os;
}

Point& transformm(Point& result, const Matrix& m, const Point& p) {
  return result = p * m;
}

Point& vtransformm(Point& result, const Matrix& mat, const Point& v) {
  const float* m = mat.m;
  return result = Point(v.x * m[0] + v.y * m[4] + v.z * m[8], v.x * m[1] + v.y * m[5] + v.z * m[9],
                        v.x * m[2] + v.y * m[6] + v.z * m[10]);
}

// Named-space forms: deliberate pass-throughs (the coordinate-system
// operations do the real work).
#define SLRT_PASS_THROUGH(name, params, value) \
  Point& name params {                         \
    return result = value;                     \
  }

SLRT_PASS_THROUGH(transforms, (Point & result, const char*, const Point& p), p)
SLRT_PASS_THROUGH(transformss, (Point & result, const char*, const char*, const Point& p), p)
SLRT_PASS_THROUGH(transformsm, (Point & result, const char*, const Matrix&, const Point& p), p)
SLRT_PASS_THROUGH(vtransforms, (Point & result, const char*, const Point& v), v)
SLRT_PASS_THROUGH(vtransformss, (Point & result, const char*, const char*, const Point& v), v)
SLRT_PASS_THROUGH(vtransformsm, (Point & result, const char*, const Matrix&, const Point& v), v)
SLRT_PASS_THROUGH(ntransforms, (Point & result, const char*, const Point& n), n)
SLRT_PASS_THROUGH(ntransformm, (Point & result, const Matrix&, const Point& n), n)
SLRT_PASS_THROUGH(ntransformss, (Point & result, const char*, const char*, const Point& n), n)
SLRT_PASS_THROUGH(ntransformsm, (Point & result, const char*, const Matrix&, const Point& n), n)

#undef SLRT_PASS_THROUGH
