// Points: the physical invariants of refract/fresnel7, the deliberate quirks
// of faceforward, ptlined and rotate, and the component reports.
#include <gtest/gtest.h>
#include <slrt/geometry/matrix.h>
#include <slrt/geometry/point.h>
#include <slrt/pattern/scalar.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>
#include <sstream>
#include <utility>

#include "support/capture.h"

namespace {

::testing::AssertionResult near(const Point& a, const Point& b, float tol = 0) {
  if (std::fabs(a.x - b.x) <= tol && std::fabs(a.y - b.y) <= tol && std::fabs(a.z - b.z) <= tol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << a << " vs " << b;
}

class PointTest : public ::testing::Test {
 protected:
  void SetUp() override { resetErrorRepeat(); }
  std::mt19937 rng{99};
  float uniform(float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); }
  Point unit(Point p) { return normalize(p, p); }
  // A unit normal and a unit incident direction arriving against it.
  void incidence(Point& in, Point& n) {
    n = unit(Point(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)));
    in = unit(Point(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1)));
    if (in.dot(n) > -0.05f) in = unit(in - n * (2 * in.dot(n) + 0.5f));
  }
};

TEST_F(PointTest, NormalizePassesTinyVectorsThrough) {
  Point r(3, 4, 12);
  EXPECT_TRUE(near(normalize(r, r), Point(3, 4, 12) * (1 / 13.0f), 1e-7f));  // in place
  EXPECT_TRUE(near(normalize(r, Point(0, 0, 0)), Point(0, 0, 0)));
  EXPECT_TRUE(near(normalize(r, Point(1e-8f, 0, 0)), Point(1e-8f, 0, 0)));
}

// Snell's law and unit length; total internal reflection gives the zero
// vector, but only below 0: a grazing k of exactly 0 still refracts.
TEST_F(PointTest, RefractObeysSnell) {
  for (int i = 0; i < 200; ++i) {
    Point in, n, t;
    incidence(in, n);
    float eta = uniform(0.5f, 2.0f), sinI = length(in.cross(n));
    if (std::fabs(eta * sinI - 1.0f) < 1e-3f) continue;  // too close to call
    refract(t, in, n, eta);
    if (eta * sinI > 1.0f) {
      EXPECT_TRUE(near(t, Point(0, 0, 0)));
      continue;
    }
    EXPECT_NEAR(length(t), 1.0f, 1e-4f);
    EXPECT_NEAR(length(t.cross(n)), eta * sinI, 1e-4f);
    EXPECT_NEAR(t.dot(in.cross(n)), 0.0f, 1e-5f);  // in the plane of incidence
    EXPECT_LT(t.dot(n), 0.0f);
  }
  Point t;
  EXPECT_TRUE(near(refract(t, Point(1, 0, 0), Point(0, 0, 1), 1.0f), Point(1, 0, 0)));
}

TEST_F(PointTest, FresnelSplitsEnergy) {
  float kr, kt;
  Point r, t;
  fresnel7(Point(0, 0, -1), Point(0, 0, 1), 1 / 1.5f, kr, kt, r, t);
  EXPECT_NEAR(kr, 0.04f, 1e-6f);  // normal incidence: ((1 - eta) / (1 + eta))^2
  EXPECT_TRUE(near(r, Point(0, 0, 1)));
  for (int i = 0; i < 200; ++i) {
    Point in, n, refl;
    incidence(in, n);
    fresnel7(in, n, uniform(0.5f, 2.0f), kr, kt, r, t);
    EXPECT_TRUE(kr >= 0 && kr <= 1) << kr;
    EXPECT_FLOAT_EQ(kr + kt, 1.0f);
    EXPECT_TRUE(near(r, reflect(refl, in, n)));
    fresnel7(in, n, 1.0f, kr, kt, r, t);  // no interface: no reflection
    EXPECT_NEAR(kr, 0.0f, 1e-6f);
    EXPECT_TRUE(near(t, in, 1e-6f));
  }
  // k exactly 0 counts as total reflection here, unlike refract.
  fresnel7(Point(1, 0, 0), Point(0, 0, 1), 1.0f, kr, kt, r, t);
  EXPECT_TRUE(kr == 1 && kt == 0) << kr << " " << kt;
  EXPECT_TRUE(near(t, Point(0, 0, 0)));

  // Outputs may share storage with the inputs.
  Point io(0, 0.6f, -0.8f), nn(0, 0, 1), expectR, expectT;
  fresnel7(io, nn, 0.8f, kr, kt, expectR, expectT);
  fresnel7(io, nn, 0.8f, kr, kt, io, nn);
  EXPECT_TRUE(near(io, expectR));
  EXPECT_TRUE(near(nn, expectT));
}

TEST_F(PointTest, FaceforwardThreeWaySign) {
  Point r;
  const Point n(0, 0, 2);
  EXPECT_TRUE(near(faceforward(r, n, Point(0, 0, -1), n), n));
  EXPECT_TRUE(near(faceforward(r, n, Point(0, 1, 1), n), Point(0, 0, -2)));
  EXPECT_TRUE(near(faceforward(r, n, Point(1, 0, 0), n), Point(0, 0, 0)));  // perpendicular
  EXPECT_TRUE(near(faceforward(r, n, Point(0, 0, -1), Point(0, 0, -1)), -n));
}

TEST_F(PointTest, PtlinedAsIfSegmentWereUnit) {
  const Point o(0, 0, 0), x2(2, 0, 0);
  EXPECT_FLOAT_EQ(ptlined(o, x2, Point(1.5f, 1, 0)), std::sqrt(1.25f));  // t = 3 >= |a|
  EXPECT_FLOAT_EQ(ptlined(o, x2, Point(-1, 1, 0)), std::sqrt(2.0f));     // before P0
  EXPECT_FLOAT_EQ(ptlined(o, x2, Point(0.5f, 1, 0)), 0.5f);              // sqrt(1.25 - 1), not 1
  // For a segment of length 1 it is the true distance.
  for (int i = 0; i < 100; ++i) {
    Point p0(uniform(-3, 3), uniform(-3, 3), uniform(-3, 3));
    Point dir = unit(Point(uniform(-1, 1), uniform(-1, 1), uniform(0.1f, 1)));
    Point q = p0 + Point(uniform(-2, 2), uniform(-2, 2), uniform(-2, 2));
    float s = std::fmin(std::fmax((q - p0).dot(dir), 0.0f), 1.0f);
    EXPECT_NEAR(ptlined(p0, p0 + dir, q), distance(q, p0 + dir * s), 2e-3f);
  }
}

// The axis passes through the origin; P0 and P1 only give its direction.
TEST_F(PointTest, RotateAboutAxisThroughOrigin) {
  Point r;
  rotate(r, Point(1, 0, 0), 1.5707964f, Point(5, 5, 5), Point(5, 5, 6));
  EXPECT_TRUE(near(r, Point(0, 1, 0), 1e-6f));
  ErrorCapture cap;
  rotate(r, Point(1, 2, 3), 1.0f, Point(5, 5, 5), Point(5, 5, 5));
  EXPECT_EQ(cap.text(),
            "2|error: Undefined mathematical operation. rotation basis vector must be non-zero");
  EXPECT_TRUE(near(r, Point(1, 2, 3)));
}

TEST_F(PointTest, ComponentAccessReports) {
  ErrorCapture cap;
  Point p(1, 2, 3);
  setcompp(p, 0, 7);
  EXPECT_EQ(compp(p, 0), 7.0f);
  EXPECT_TRUE(cap.lines().empty());
  EXPECT_EQ(compp(p, 3), 0.0f);
  EXPECT_EQ(compp(p, -1), 0.0f);
  resetErrorRepeat();
  setcompp(p, 3, 9);
  EXPECT_EQ(cap.text(),
            "1|warning: Parameter out of range. point component 3 out of range\n"
            "1|warning: Parameter out of range. point component -1 out of range\n"
            "1|warning: Parameter out of range. point component 3 out of range");
  EXPECT_TRUE(near(p, Point(7, 2, 3)));
}

TEST_F(PointTest, ComponentwiseOperations) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(near(min(Point(1, nan, 2), Point(0, 5, 2)), Point(0, 5, 2)));
  EXPECT_TRUE(near(max(Point(1, -4, 2), Point(0, 5, 3)), Point(1, 5, 3)));
  Point r;
  EXPECT_TRUE(
      near(pclamp(r, Point(-1, 0.5f, 9), Point(0, 0, 0), Point(1, 1, 1)), Point(0, 0.5f, 1)));
  EXPECT_TRUE(near(pmix(r, Point(1, 2, 3), Point(3, 2, 1), 0.25f), Point(1.5f, 2, 2.5f)));
  EXPECT_TRUE(near(lerp(0.25f, Point(1, 2, 3), Point(3, 2, 1)), r));
  // Interpolation at the cube's corners returns the corner values.
  Point q[8];
  for (int i = 0; i < 8; ++i) q[i] = Point(float(i * i), float(3 - i), float(i) * 0.5f);
  for (int i = 0; i < 8; ++i) {
    float u = float(i & 1), v = float((i >> 1) & 1), w = float(i >> 2);
    EXPECT_TRUE(near(trilerp(u, v, w, q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]), q[i]));
  }
  Pointw hw = bilerp(0.5f, 0.5f, Pointw(0, 0, 0, 1), Pointw(2, 0, 0, 1), Pointw(0, 2, 0, 1),
                     Pointw(2, 2, 4, 5));
  EXPECT_TRUE(hw.x == 1 && hw.z == 1 && hw.w == 2);
  // Division by w saturates through fdiv.
  r = Pointw(1, -1, 0, 0);
  EXPECT_TRUE(near(r, Point(1e38f, -1e38f, 0)));
  EXPECT_TRUE(near(Point(Pointw(2, 4, 6, 2)), Point(1, 2, 3)));
}

template <std::size_t... I>
Point minMax(bool wantMin, const Point* pts, std::index_sequence<I...>) {
  Point r;
  long n = long(sizeof...(I));
  return wantMin ? pminv(r, n, pts[I]...) : pmaxv(r, n, pts[I]...);
}

// More points than one pass of the reduction holds, extremes late in the list.
TEST_F(PointTest, VariadicMinMaxOverManyPoints) {
  Point pts[150];
  for (int i = 0; i < 150; ++i) pts[i] = Point(float(i % 7), float(-i), float(i % 13) * 0.5f);
  pts[140] = Point(-3, 1000, 20);
  EXPECT_TRUE(near(minMax(true, pts, std::make_index_sequence<150>()), Point(-3, -149, 0)));
  EXPECT_TRUE(near(minMax(false, pts, std::make_index_sequence<150>()), Point(6, 1000, 20)));
  EXPECT_TRUE(near(minMax(true, pts + 5, std::make_index_sequence<1>()), pts[5]));
  Point r(9, 9, 9);
  EXPECT_TRUE(near(pminv(r, 0), Point(0, 0, 0)));
}

TEST_F(PointTest, PrandomDrawsXThenYThenZ) {
  int64_t seed = llrandom();
  Point r;
  prandom(r);
  for (float d : {r.x, r.y, r.z}) {
    seed = seed * 16807 % 2147483647;
    EXPECT_EQ(d, float(seed) * 4.656612873077393e-10f);
  }
}

TEST_F(PointTest, StreamFormat) {
  std::ostringstream os;
  os << Point(1, 2.5f, -3) << Pointw(1, 2, 3, 0.125f) << gOrigin;
  EXPECT_EQ(os.str(), "[1 2.5 -3][1 2 3 0.125][0 0 0]");
}

}  // namespace
