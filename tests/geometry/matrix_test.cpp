// Matrix: composition order, inverse and determinant properties, the
// failure reports and what each failure leaves behind.
#include <gtest/gtest.h>
#include <slrt/geometry/matrix.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>

#include "support/capture.h"

namespace {

::testing::AssertionResult near(const Point& a, const Point& b, float tol = 0) {
  if (std::fabs(a.x - b.x) <= tol && std::fabs(a.y - b.y) <= tol && std::fabs(a.z - b.z) <= tol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << a << " vs " << b;
}

::testing::AssertionResult near(const Matrix& a, const Matrix& b, float tol = 0) {
  for (int i = 0; i < 16; ++i)
    if (!(std::fabs(a.m[i] - b.m[i]) <= tol))
      return ::testing::AssertionFailure() << "element " << i << "\n" << a << "vs\n" << b;
  return ::testing::AssertionSuccess();
}

Matrix rows(std::initializer_list<float> v) {
  Matrix m;
  std::copy(v.begin(), v.end(), m.m);
  return m;
}

const char* const kMath = "2|error: Undefined mathematical operation. ";

class MatrixTest : public ::testing::Test {
 protected:
  void SetUp() override { resetErrorRepeat(); }
  std::mt19937 rng{1234};
  float uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); }
  Point randomUnit() {
    Point p(uniform(-1, 1), uniform(-1, 1), uniform(0.2f, 1));
    return normalize(p, p);
  }
};

// The most recent modifying call acts first on a point; *= appends.
TEST_F(MatrixTest, CompositionOrderAndRotations) {
  Matrix m(1.0f), t(1.0f), s(1.0f);
  m.translate(1, 2, 3).scale(2, 2, 2);
  EXPECT_TRUE(near(Point(0, 0, 0) * m, Point(1, 2, 3)) && near(Point(1, 0, 0) * m, Point(3, 2, 3)));
  t.translate(1, 0, 0) *= s.scale(3);
  EXPECT_TRUE(near(Point(0, 0, 0) * t, Point(3, 0, 0)));
  EXPECT_TRUE(near(Point(1, 0, 0) * Matrix(1.0f).rotate(90, 0, 0, 1), Point(0, 1, 0), 1e-6f));
  for (int i = 0; i < 200; ++i) {
    Point axis = randomUnit() * uniform(0.5f, 4.0f), other = randomUnit();
    float a = uniform(-360, 360), b = uniform(-360, 360);
    Matrix ma(1.0f), mb(1.0f), both(1.0f);
    ma.rotate(a, axis.x, axis.y, axis.z);
    mb.rotate(b, other.x, other.y, other.z);
    both.rotate(a, axis.x, axis.y, axis.z).rotate(b, other.x, other.y, other.z);
    Point p(uniform(-5, 5), uniform(-5, 5), uniform(-5, 5));
    EXPECT_NEAR(length(p * ma), length(p), 1e-5f * length(p) + 1e-6f);
    EXPECT_TRUE(near(axis * ma, axis, 2e-5f));
    EXPECT_TRUE(near(p * both, (p * mb) * ma, 1e-4f));  // b acts first
  }
  ErrorCapture cap;
  Matrix before = m;
  m.rotate(30, 0, 0, 0);
  EXPECT_EQ(cap.text(), kMath + std::string("rotation basis vector must be non-zero"));
  EXPECT_TRUE(near(m, before));
}

// Permutations force row swaps: their inverse is exactly the transpose.  A
// singular matrix is left partly reduced, row swaps included.  The
// determinant skips projective terms too small to count.
TEST_F(MatrixTest, InverseAndDeterminant) {
  for (int i = 0; i < 500; ++i) {
    Matrix m;
    for (float& e : m.m) e = uniform(-1, 1);
    for (int d = 0; d < 4; ++d) m(d, d) += (uniform(0, 1) < 0.5f ? -4.0f : 4.0f);
    Matrix inv = m;
    ASSERT_NE(invert(&inv), 0);
    EXPECT_TRUE(near(m * inv, gIdentity, 1e-5f));
    EXPECT_NEAR(determinant(m) * determinant(inv), 1.0f, 1e-5f);
  }
  int perm[4] = {0, 1, 2, 3};
  do {
    Matrix p(0.0f);
    for (int r = 0; r < 4; ++r) p(r, perm[r]) = 1.0f;
    Matrix inv = p;
    ASSERT_NE(invert(&inv), 0);
    EXPECT_TRUE(near(inv, transpose(p)));
  } while (std::next_permutation(perm, perm + 4));
  ErrorCapture cap;
  Matrix m = rows({2, 0, 0, 0, 0, 0, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1});  // column 1 has no pivot
  EXPECT_EQ(invert(&m), 0);
  EXPECT_EQ(cap.text(), kMath + std::string("cannot invert a singular Matrix"));
  EXPECT_TRUE(near(m, rows({0.5, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1})));
  Matrix s = rows({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1});
  EXPECT_EQ(invert(&s), 0);
  EXPECT_TRUE(near(s, rows({0, 1, 0, 0, 1, 0, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1})));

  Matrix affine = rows({2, 1, 0, 0, 0, 3, 1, 0, 1, 0, 4, 0, 5, 6, 7, 1});
  EXPECT_FLOAT_EQ(determinant(affine), 25.0f);
  affine(0, 3) = 1e-8f;
  EXPECT_EQ(determinant(affine), 25.0f);
  affine(0, 3) = 1.0f;  // now counted: -1 * det(rows 1..3, columns 0..2) = -45
  EXPECT_FLOAT_EQ(determinant(affine), -20.0f);
}

// A transformed normal stays perpendicular to every transformed tangent and
// keeps its side (mirrors included), scaled by |det|.
TEST_F(MatrixTest, InverseTransposeKeepsNormalsPerpendicular) {
  for (int i = 0; i < 200; ++i) {
    Point axis = randomUnit(), n = randomUnit(), t = n.cross(randomUnit()), nt, tt, exact;
    Matrix m(1.0f);
    m.rotate(uniform(0, 360), axis.x, axis.y, axis.z)
        .scale(uniform(0.2f, 3), uniform(0.2f, 3), uniform(0.2f, 3) * (i % 2 ? 1 : -1))
        .translate(uniform(-9, 9), uniform(-9, 9), uniform(-9, 9));
    vtransformm(nt, invtranspose(m), n);
    vtransformm(tt, m, t);
    EXPECT_NEAR(nt.dot(tt), 0.0f, 1e-4f * length(nt) * length(tt));
    Matrix inv = m;
    ASSERT_NE(invert(&inv), 0);
    vtransformm(exact, transpose(inv), n);
    EXPECT_TRUE(near(nt, exact * std::fabs(determinant(m)), 1e-3f * length(nt)));
  }
}

TEST_F(MatrixTest, SkewTiltsFirstVectorTowardsSecond) {
  int accepted = 0;
  for (int i = 0; i < 300; ++i) {
    Point a = randomUnit() * uniform(0.5f, 3), b = randomUnit() * uniform(0.5f, 3), an, bn, sn;
    float angle = uniform(-170, 170);
    Point axis = normalize(bn, b).cross(normalize(an, a));
    if (length(axis) < 0.2f) continue;
    Matrix turn(1.0f);
    Point r = an * turn.rotate(-angle, axis.x, axis.y, axis.z);
    // A shear cannot tilt A as far as B, nor across B's line (rejected below).
    if (r.dot(an) - bn.dot(an) < 1e-3f || r.dot(axis.cross(bn)) < 0.1f * length(axis)) continue;
    ++accepted;
    Matrix m(1.0f);
    m.skew(angle, a.x, a.y, a.z, b.x, b.y, b.z);
    EXPECT_TRUE(near(normalize(sn, a * m), r, 2e-3f)) << angle << " " << a << " " << b;
    EXPECT_NEAR(determinant(m), 1.0f, 1e-3f);  // a shear keeps volume
  }
  EXPECT_GT(accepted, 100);
}

// Each row: angle, A, B and which report it gives.
TEST_F(MatrixTest, SkewReportsAndKeepsMatrix) {
  const std::string texts[] = {kMath + std::string("skew basis vectors must be non-zero"),
                               kMath + std::string("skew basis vectors must non-colinear"),
                               "2|error: Parameter out of range. invalid skew angle"};
  const float cases[][8] = {{30, 0, 0, 0, 1, 0, 0, 0},
                            {30, 1, 0, 0, 0, 0, 1e-9f, 0},
                            {30, 1, 0, 0, -2, 0, 0, 1},
                            {90, 0, 1, 0, 1, 0, 0, 2},
                            {120, 0, 1, 0, 1, 0, 0, 2}};
  for (const float* c : cases) {
    resetErrorRepeat();
    ErrorCapture cap;
    Matrix m(1.0f), before = m.scale(2, 3, 4);
    m.skew(c[0], c[1], c[2], c[3], c[4], c[5], c[6]);
    EXPECT_EQ(cap.text(), texts[int(c[7])]);
    EXPECT_TRUE(near(m, before));
  }
}

// perspective ignores near and far; zmap takes its planes in either order;
// map is appended, acting after what the matrix already held.
TEST_F(MatrixTest, ProjectionAndRasterMaps) {
  Matrix p(1.0f), za(1.0f), zb(1.0f), degenerate(1.0f), m(1.0f);
  p.perspective(90, 123, 456);
  for (float z : {0.5f, 2.0f, 10.0f})
    EXPECT_TRUE(near(Point(3, -2, z) * p, Point(3 / z, -2 / z, 1 - 1 / z), 1e-5f));
  EXPECT_TRUE(near(za.zmap(2, 10), zb.zmap(10, 2)));
  EXPECT_TRUE(near(Point(0, 0, 6) * za, Point(0, 0, 0.5f)));
  EXPECT_TRUE(near(degenerate.map(0, 0, -1, 1, 6, 4).map(-1, 1, 2, 2, 6, 4), gIdentity));
  m.scale(2).map(-1, 1, -1, 1, 640, 480);
  EXPECT_TRUE(near(Point(-0.5f, 0.5f, 0.5f) * m, Point(0, 0, 1)));
  EXPECT_TRUE(near(Point(0.5f, -0.5f, 0) * m, Point(640, 480, 0)));
}

// Constructors take rows or columns; transformm divides by w, Pointw products
// do not; the named-space forms and ntransformm pass their input through.
TEST_F(MatrixTest, ConstructorsAndTransforms) {
  Point a(1, 2, 3), b(4, 5, 6), c(7, 8, 9);
  Pointw p(1, 2, 3, 4), q(5, 6, 7, 8), u(9, 10, 11, 12), v(13, 14, 15, 16);
  const Matrix three = rows({1, 2, 3, 0, 4, 5, 6, 0, 7, 8, 9, 0, 0, 0, 0, 1}),
               four = rows({1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16});
  EXPECT_TRUE(near(Matrix(a, b, c, 1), three) && near(Matrix(a, b, c, 0), transpose(three)));
  EXPECT_TRUE(near(Matrix(p, q, u, v, 1), four) && near(Matrix(p, q, u, v, 0), transpose(four)));

  Matrix m(1.0f);
  m.translate(1, 2, 3);
  m.m[3] = 1.0f;  // w = x + 1
  Point r(1, 0, 0);
  const Point in(4, 5, 6);
  EXPECT_TRUE(near(transformm(r, m, r), Point(1, 1, 1.5f)));  // the slot may be the input
  EXPECT_TRUE(near(vtransformm(r, m, Point(1, 5, 0)), Point(1, 5, 0)));
  EXPECT_EQ((Pointw(1, 0, 0, 2) * m).w, 3.0f);
  EXPECT_TRUE(near(ntransformm(r, m, in), in) && near(transformss(r, "world", "camera", in), in));
  EXPECT_TRUE(near(vtransformsm(r, "world", m, in), in) && near(ntransforms(r, "world", in), in));

  Matrix basis = rows({1, 0, 0, 0, 0.25f, 0.25f, 0.25f, 0.25f, -1, 1, 0, 0, 0, 0, 0, 0});
  const Point pts[4] = {Point(1, 2, 3), Point(5, 6, 7), Point(9, 10, 11), Point(13, 14, 15)};
  EXPECT_TRUE(near(weight(basis, 1, pts), Point(7, 8, 9)) &&
              near(weight(basis, 2, pts), Point(4, 4, 4)) && near(weight(basis, 4, pts), gOrigin));
  std::ostringstream os;
  os << Matrix(1.0f).translate(1.5f, -2, 3);
  EXPECT_EQ(os.str(), "[1 0 0 0\n0 1 0 0\n0 0 1 0\n1.5 -2 3 1]\n");
}

}  // namespace
