// Points: physical invariants of refract/fresnel7, the quirks of faceforward,
// ptlined and rotate, and the component reports.
#include <gtest/gtest.h>
#include <slrt/geometry/point.h>

#include <cmath>
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
  Point unit() {
    Point p(uniform(-1, 1), uniform(-1, 1), uniform(-1, 1));
    return normalize(p, p);
  }
  // A unit normal and a unit incident direction arriving against it.
  void incidence(Point& in, Point& n) {
    n = unit();
    in = unit();
    if (in.dot(n) > -0.05f) normalize(in, in - n * (2 * in.dot(n) + 0.5f));
  }
};

// Snell's law and unit length; total internal reflection gives the zero
// vector, but only below 0: a grazing k of exactly 0 still refracts, while
// fresnel7 counts it as total reflection.  fresnel7 splits energy and its
// directions agree with reflect and refract.
TEST_F(PointTest, RefractAndFresnel) {
  float kr, kt;
  Point r, t, ft, refl;
  for (int i = 0; i < 200; ++i) {
    Point in, n;
    incidence(in, n);
    float eta = uniform(0.5f, 2.0f), sinI = length(in.cross(n));
    if (std::fabs(eta * sinI - 1.0f) < 1e-3f) continue;  // too close to call
    refract(t, in, n, eta);
    fresnel7(in, n, eta, kr, kt, r, ft);
    EXPECT_TRUE(kr >= 0 && kr <= 1 && std::fabs(kr + kt - 1) < 1e-6f) << kr << " " << kt;
    EXPECT_TRUE(near(r, reflect(refl, in, n)) && near(ft, t, 1e-6f)) << ft << " " << t;
    if (eta * sinI > 1.0f) {
      EXPECT_TRUE(near(t, Point(0, 0, 0)) && kr == 1);
      continue;
    }
    EXPECT_NEAR(length(t), 1.0f, 1e-4f);
    EXPECT_NEAR(length(t.cross(n)), eta * sinI, 1e-4f);
    EXPECT_NEAR(t.dot(in.cross(n)), 0.0f, 1e-5f);  // in the plane of incidence
    EXPECT_LT(t.dot(n), 0.0f);
    fresnel7(in, n, 1.0f, kr, kt, r, ft);  // no interface: no reflection
    EXPECT_TRUE(kr < 1e-6f && near(ft, in, 1e-6f)) << kr << " " << ft;
  }
  EXPECT_TRUE(near(refract(t, Point(1, 0, 0), Point(0, 0, 1), 1.0f), Point(1, 0, 0)));
  fresnel7(Point(1, 0, 0), Point(0, 0, 1), 1.0f, kr, kt, r, t);
  EXPECT_TRUE(kr == 1 && kt == 0 && near(t, Point(0, 0, 0))) << kr << " " << kt << " " << t;
  fresnel7(Point(0, 0, -1), Point(0, 0, 1), 1 / 1.5f, kr, kt, r, t);
  EXPECT_NEAR(kr, 0.04f, 1e-6f);  // normal incidence: ((1 - eta) / (1 + eta))^2
  // Outputs may share storage with the inputs.
  Point io(0, 0.6f, -0.8f), nn(0, 0, 1);
  fresnel7(io, nn, 0.8f, kr, kt, r, t);
  fresnel7(io, nn, 0.8f, kr, kt, io, nn);
  EXPECT_TRUE(near(io, r) && near(nn, t));
}

// faceforward has three outcomes (perpendicular gives zero); ptlined treats
// the segment as if it were of unit length.
TEST_F(PointTest, FaceforwardAndPtlined) {
  Point r;
  const Point n(0, 0, 2), o(0, 0, 0), x2(2, 0, 0);
  EXPECT_TRUE(near(faceforward(r, n, Point(0, 0, -1), n), n));
  EXPECT_TRUE(near(faceforward(r, n, Point(0, 1, 1), n), Point(0, 0, -2)));
  EXPECT_TRUE(near(faceforward(r, n, Point(1, 0, 0), n), Point(0, 0, 0)));
  EXPECT_TRUE(near(faceforward(r, n, Point(0, 0, -1), Point(0, 0, -1)), -n));

  EXPECT_FLOAT_EQ(ptlined(o, x2, Point(1.5f, 1, 0)), std::sqrt(1.25f));  // t = 3 >= |a|
  EXPECT_FLOAT_EQ(ptlined(o, x2, Point(-1, 1, 0)), std::sqrt(2.0f));     // before P0
  EXPECT_FLOAT_EQ(ptlined(o, x2, Point(0.5f, 1, 0)), 0.5f);              // sqrt(1.25 - 1), not 1
  for (int i = 0; i < 100; ++i) {  // a unit segment gives the true distance
    Point p0(uniform(-3, 3), uniform(-3, 3), uniform(-3, 3)), dir = unit();
    Point q = p0 + Point(uniform(-2, 2), uniform(-2, 2), uniform(-2, 2));
    float s = std::fmin(std::fmax((q - p0).dot(dir), 0.0f), 1.0f);
    EXPECT_NEAR(ptlined(p0, p0 + dir, q), distance(q, p0 + dir * s), 2e-3f);
  }
}

// rotate's axis passes through the origin, P0 and P1 only giving its
// direction; a degenerate axis leaves the point alone.
TEST_F(PointTest, RotateAndComponentReports) {
  ErrorCapture cap;
  Point r, p(1, 2, 3);
  rotate(r, Point(1, 0, 0), 1.5707964f, Point(5, 5, 5), Point(5, 5, 6));
  EXPECT_TRUE(near(r, Point(0, 1, 0), 1e-6f));
  rotate(r, p, 1.0f, Point(5, 5, 5), Point(5, 5, 5));
  EXPECT_TRUE(near(r, p));
  setcompp(p, 0, 7);
  EXPECT_EQ(compp(p, 0), 7.0f);
  EXPECT_TRUE(compp(p, 3) == 0 && compp(p, -1) == 0);
  resetErrorRepeat();
  setcompp(p, 3, 9);
  EXPECT_TRUE(near(p, Point(7, 2, 3)));
  EXPECT_EQ(cap.text(),
            "2|error: Undefined mathematical operation. rotation basis vector must be non-zero\n"
            "1|warning: Parameter out of range. point component 3 out of range\n"
            "1|warning: Parameter out of range. point component -1 out of range\n"
            "1|warning: Parameter out of range. point component 3 out of range");
}

template <std::size_t... I>
Point minMax(bool wantMin, const Point* pts, std::index_sequence<I...>) {
  Point r;
  return wantMin ? pminv(r, long(sizeof...(I)), pts[I]...)
                 : pmaxv(r, long(sizeof...(I)), pts[I]...);
}

TEST_F(PointTest, ComponentwiseOperations) {
  Point r, a(1, 2, 3), b(3, 2, 1);
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_TRUE(near(normalize(r, Point(1e-8f, 0, 0)), Point(1e-8f, 0, 0)));   // too short to scale
  EXPECT_TRUE(near(min(Point(1, nan, 2), Point(0, 5, 2)), Point(0, 5, 2)));  // NaN loses
  EXPECT_TRUE(near(pmix(r, a, b, 0.25f), Point(1.5f, 2, 2.5f)) && near(lerp(0.25f, a, b), r));
  Point q[8];  // trilinear interpolation at the cube's corners gives the corner values
  for (int i = 0; i < 8; ++i) q[i] = Point(float(i * i), float(3 - i), float(i) * 0.5f);
  for (int i = 0; i < 8; ++i)
    EXPECT_TRUE(
        near(trilerp(i & 1, (i >> 1) & 1, i >> 2, q[0], q[1], q[2], q[3], q[4], q[5], q[6], q[7]),
             q[i]));
  Pointw hw = bilerp(0.5f, 0.5f, Pointw(0, 0, 0, 1), Pointw(2, 0, 0, 1), Pointw(0, 2, 0, 1),
                     Pointw(2, 2, 4, 5));
  EXPECT_TRUE(hw.x == 1 && hw.z == 1 && hw.w == 2);  // no division by w
  EXPECT_TRUE(near(Point(Pointw(2, 4, 6, 2)), Point(1, 2, 3)));
  EXPECT_TRUE(near(Point(Pointw(1, -1, 0, 0)), Point(1e38f, -1e38f, 0)));  // w = 0 saturates

  // More points than one pass of the reduction holds, extremes early and late.
  Point pts[150];
  for (int i = 0; i < 150; ++i) pts[i] = Point(float(i % 7), float(-i), float(i % 13) * 0.5f);
  pts[3] = Point(-3, 1, 20), pts[140] = Point(9, 1000, -1);
  EXPECT_TRUE(near(minMax(true, pts, std::make_index_sequence<150>()), Point(-3, -149, -1)));
  EXPECT_TRUE(near(minMax(false, pts, std::make_index_sequence<150>()), Point(9, 1000, 20)));
  EXPECT_TRUE(near(minMax(true, pts + 5, std::make_index_sequence<1>()), pts[5]));
  EXPECT_TRUE(near(pminv(r, 0), Point(0, 0, 0)));
  std::ostringstream os;
  os << Point(1, 2.5f, -3) << Pointw(1, 2, 3, 0.125f) << gOrigin;
  EXPECT_EQ(os.str(), "[1 2.5 -3][1 2 3 0.125][0 0 0]");
}

}  // namespace
