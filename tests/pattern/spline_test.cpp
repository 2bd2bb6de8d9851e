// Tests for spline evaluation and the basis tables.
#include <gtest/gtest.h>
#include <slrt/pattern/spline.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/capture.h"

namespace {

// Each report as "code/severity/message", recorded before any printing.
std::vector<std::string> gReports;
void record(long code, long severity, char* message) {
  gReports.push_back(std::to_string(code) + "/" + std::to_string(severity) + "/" + message);
}

class SplineTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resetErrorRepeat();
    gReports.clear();
    setErrorHandler(record);
  }
  void TearDown() override { Error::fHandler = fSaved; }
  ErrorHandlerFunc fSaved = Error::fHandler;
};

const float kCV[10] = {3, -1, 4, 1, -5, 9, 2, -6, 5, 3};
constexpr float kOne = 0.99999988f;  // where t = 1 lands

// The Bézier cubic of four values at u, written in Bernstein form so that it
// checks the power form the library evaluates.
float bernstein(float p0, float p1, float p2, float p3, double u) {
  const double v = 1 - u;
  return static_cast<float>(v * v * v * p0 + 3 * v * v * u * p1 + 3 * v * u * u * p2 +
                            u * u * u * p3);
}

}  // namespace

TEST_F(SplineTest, InterpolatingBasesPassThroughTheirKnots) {
  const long n = 10;
  for (long i = 0; i <= n - 3; ++i) {
    const float t = static_cast<float>(i) / (n - 3);
    // Catmull-Rom and linear meet cv[1] .. cv[n-2]; the first and last
    // values only shape the ends.
    EXPECT_NEAR(kCV[i + 1], vspline("catmull-rom", t, n, kCV), 2e-5f) << "knot " << i;
    EXPECT_NEAR(kCV[i + 1], vspline("linear", t, n, kCV), 2e-5f) << "knot " << i;
  }
  // Bézier meets every third value, Hermite every second.
  for (long i = 0; i <= 3; ++i)
    EXPECT_NEAR(kCV[3 * i], vspline("bezier", i / 3.0f, 10, kCV), 2e-5f) << "knot " << i;
  for (long i = 0; i <= 4; ++i)
    EXPECT_NEAR(kCV[2 * i], vspline("hermite", i / 4.0f, 10, kCV), 2e-5f) << "knot " << i;
  EXPECT_TRUE(gReports.empty());
}

TEST_F(SplineTest, EndPointsOfEachBasis) {
  const float a = 3, b = -1, c = 4, d = 1;
  const float cv[4] = {a, b, c, d};
  const struct {
    const char* basis;
    float start, end;
  } ends[] = {
      {"catmull-rom", b, c},
      {"linear", b, c},
      {"bezier", a, d},
      {"hermite", a, c},  // P0 T0 P1 T1: from P0 to P1
      {"bspline", (a + 4 * b + c) / 6, (b + 4 * c + d) / 6},
  };
  for (const auto& e : ends) {
    SCOPED_TRACE(e.basis);
    EXPECT_NEAR(e.start, vspline(e.basis, 0.0f, 4, cv), 1e-6f);
    EXPECT_NEAR(e.start, vspline(e.basis, -3.0f, 4, cv), 1e-6f);
    EXPECT_NEAR(e.end, vspline(e.basis, 1.0f, 4, cv), 1e-5f);
    EXPECT_EQ(vspline(e.basis, 1.0f, 4, cv), vspline(e.basis, 7.0f, 4, cv));
  }
  // Catmull-Rom at t = 0 is exactly the second value.
  EXPECT_EQ(b, vspline("catmull-rom", 0.0f, 4, cv));
  // t = 1 stays just inside the last segment rather than exactly at its end.
  EXPECT_EQ(b + (c - b) * kOne, vspline("linear", 1.0f, 4, cv));
}

TEST_F(SplineTest, LinearIgnoresTheOuterValues) {
  const float x[5] = {100, 0, 1, 2, -100}, y[5] = {-7, 0, 1, 2, 7};
  for (float t : {0.0f, 0.3f, 0.5f, 0.75f, 1.0f})
    EXPECT_EQ(vspline("linear", t, 5, x), vspline("linear", t, 5, y)) << t;
  EXPECT_FLOAT_EQ(1.0f, vspline("linear", 0.5f, 5, x));
}

TEST_F(SplineTest, FractionalSegmentCountsAreKept) {
  // Five Bézier values make 4/3 segments: t is scaled by 4/3 as it stands,
  // so t = 0.5 lies two thirds into the first segment.
  EXPECT_NEAR(bernstein(kCV[0], kCV[1], kCV[2], kCV[3], 2 / 3.0), vspline("bezier", 0.5f, 5, kCV),
              1e-5f);
  // Near t = 1 the partial second segment starts at cv[3] and is a third
  // of the way along; the values it lacks repeat the last one.
  EXPECT_NEAR(bernstein(kCV[3], kCV[4], kCV[4], kCV[4], 1 / 3.0), vspline("bezier", 1.0f, 5, kCV),
              1e-5f);
  // Five Hermite values make 1.5 segments: t = 0.5 is at u = 0.75.
  const float h = vspline("hermite", 0.5f, 5, kCV);
  const float p0 = kCV[0], t0 = kCV[1], p1 = kCV[2], t1 = kCV[3], u = 0.75f;
  const float want = (2 * u * u * u - 3 * u * u + 1) * p0 + (u * u * u - 2 * u * u + u) * t0 +
                     (-2 * u * u * u + 3 * u * u) * p1 + (u * u * u - u * u) * t1;
  EXPECT_NEAR(want, h, 1e-5f);
  EXPECT_TRUE(gReports.empty());
}

TEST_F(SplineTest, UnknownBasisNamesAreCatmullRom) {
  for (float t : {0.1f, 0.45f, 0.8f}) {
    const float cr = vspline("catmull-rom", t, 10, kCV);
    for (const char* name : {"Bspline", "cubic", "c", "bezierx", "Linear", "hermit", ""})
      EXPECT_EQ(cr, vspline(name, t, 10, kCV)) << name;
    EXPECT_EQ(cr, vspline(nullptr, t, 10, kCV));
    EXPECT_NE(cr, vspline("bspline", t, 10, kCV));
  }
}

TEST_F(SplineTest, TooFewValuesWarnAndReturnTheFirst) {
  EXPECT_EQ(3.0f, vspline("linear", 0.5f, 3, kCV));
  resetErrorRepeat();
  EXPECT_EQ(0.0f, vspline("bezier", 0.5f, 0, nullptr));
  resetErrorRepeat();
  EXPECT_EQ(0.0f, fsplinev("catmull-rom", 0.5f, 0));
  EXPECT_EQ(std::vector<std::string>(3, "61/1/Cubic splines require at least 4 control points"),
            gReports);
  EXPECT_TRUE(std::isnan(vspline("bspline", NAN, 10, kCV)));
}

TEST_F(SplineTest, VariadicFormsMatchTheArrayForm) {
  const float t = 0.37f;
  EXPECT_EQ(vspline("bspline", t, 5, kCV), fsplinev("bspline", t, 5, 3.0, -1.0, 4.0, 1.0, -5.0));
  const Color c =
      csplinev("hermite", t, 4, Color(3, 0, 1), Color(-1, 1, 0), Color(4, 2, 1), Color(1, 3, 0));
  const float r[4] = {3, -1, 4, 1}, g[4] = {0, 1, 2, 3};
  EXPECT_EQ(vspline("hermite", t, 4, r), c.r);
  EXPECT_EQ(vspline("hermite", t, 4, g), c.g);
  EXPECT_FLOAT_EQ(1.0f, c.b);  // flat tangents between equal values
  const Point p =
      psplinev("linear", t, 4, Point(3, 0, 9), Point(-1, 1, 9), Point(4, 2, 9), Point(1, 3, 9));
  EXPECT_EQ(vspline("linear", t, 4, r), p.x);
  EXPECT_EQ(vspline("linear", t, 4, g), p.y);
  EXPECT_EQ(9.0f, p.z);
}

TEST_F(SplineTest, BezierTablesHoldBernsteinPowerForms) {
  const double want3[10] = {-1, 3, -3, 1, 3, -6, 3, -3, 3, 1};
  const double* d3 = bezier(3);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(want3[i], d3[i]) << i;
  // Property: at any t the Bernstein polynomials of a degree sum to 1.
  for (int d = 0; d <= 20; ++d) {
    const double* m = bezier(d);
    const double t = 0.3;
    double sum = 0;
    for (int j = 0; j <= d; ++j)
      for (int i = 0; i <= d - j; ++i) sum += *m++ * std::pow(t, d - j);
    EXPECT_NEAR(1.0, sum, 1e-9) << "degree " << d;
  }
  EXPECT_TRUE(gReports.empty());
}

TEST_F(SplineTest, ForwardTablesHoldScaledStirlingNumbers) {
  EXPECT_EQ(1.0, forward(1)[0]);
  const double want4[10] = {1, 1, 2, 1, 6, 6, 1, 14, 36, 24};
  const double* f4 = forward(4);
  for (int i = 0; i < 10; ++i) EXPECT_EQ(want4[i], f4[i]) << i;
  // Property: row n sums to the number of ordered set partitions, and its
  // last entry is n!.
  const double* f20 = forward(20);
  double factorial = 1;
  for (int n = 1; n <= 20; ++n) {
    factorial *= n;
    EXPECT_EQ(1.0, f20[0]);
    EXPECT_EQ(factorial, f20[n - 1]) << "row " << n;
    f20 += n;
  }
  EXPECT_EQ(nullptr, forwardtab[0]);
}

TEST_F(SplineTest, BadDegreesReportAndGiveTheCubicTable) {
  EXPECT_EQ(beztab[4], bezier(21));
  resetErrorRepeat();
  EXPECT_EQ(beztab[4], bezier(-1));
  resetErrorRepeat();
  EXPECT_EQ(forwardtab[4], forward(0));
  EXPECT_EQ(beztab[0], bezier(0));
  EXPECT_EQ(forwardtab[20], forward(20));
  const std::vector<std::string> want = {
      "61/2/degree 21 out of range", "61/2/degree -1 out of range", "61/2/degree 0 out of range"};
  EXPECT_EQ(want, gReports);
}
