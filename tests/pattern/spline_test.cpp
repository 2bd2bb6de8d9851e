// Tests for spline evaluation and the basis tables.
#include <gtest/gtest.h>
#include <slrt/pattern/spline.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "support/capture.h"

namespace {

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

// The Bezier cubic in Bernstein form, to check the power form evaluated.
float bernstein(float p0, float p1, float p2, float p3, double u) {
  const double v = 1 - u;
  return static_cast<float>(v * v * v * p0 + 3 * v * v * u * p1 + 3 * v * u * u * p2 +
                            u * u * u * p3);
}

}  // namespace

TEST_F(SplineTest, InterpolatingBasesPassThroughTheirKnots) {
  // Catmull-Rom and linear meet cv[1] .. cv[n-2]; Bezier meets every third
  // value, Hermite every second.
  for (long i = 0; i <= 7; ++i) {
    EXPECT_NEAR(kCV[i + 1], vspline("catmull-rom", i / 7.0f, 10, kCV), 2e-5f) << i;
    EXPECT_NEAR(kCV[i + 1], vspline("linear", i / 7.0f, 10, kCV), 2e-5f) << i;
    const long b = std::min(i, 3L), h = std::min(i, 4L);
    EXPECT_NEAR(kCV[3 * b], vspline("bezier", b / 3.0f, 10, kCV), 2e-5f) << b;
    EXPECT_NEAR(kCV[2 * h], vspline("hermite", h / 4.0f, 10, kCV), 2e-5f) << h;
  }
  // Linear ignores the first and last values everywhere, not only at knots.
  const float x[5] = {100, 0, 1, 2, -100}, y[5] = {-7, 0, 1, 2, 7};
  for (float t : {0.3f, 0.5f, 0.75f})
    EXPECT_EQ(vspline("linear", t, 5, x), vspline("linear", t, 5, y)) << t;
  EXPECT_TRUE(gReports.empty());
}

TEST_F(SplineTest, EndPointsOfEachBasis) {
  const float a = 3, b = -1, c = 4, d = 1, cv[4] = {a, b, c, d};
  const struct {
    const char* basis;
    float start, end;
  } ends[] = {{"catmull-rom", b, c},
              {"linear", b, c},
              {"bezier", a, d},
              {"hermite", a, c},  // P0 T0 P1 T1: from P0 to P1
              {"bspline", (a + 4 * b + c) / 6, (b + 4 * c + d) / 6}};
  for (const auto& e : ends) {
    SCOPED_TRACE(e.basis);
    EXPECT_NEAR(e.start, vspline(e.basis, 0.0f, 4, cv), 1e-6f);
    EXPECT_NEAR(e.start, vspline(e.basis, -3.0f, 4, cv), 1e-6f);
    EXPECT_NEAR(e.end, vspline(e.basis, 1.0f, 4, cv), 1e-5f);
    EXPECT_EQ(vspline(e.basis, 1.0f, 4, cv), vspline(e.basis, 7.0f, 4, cv));
  }
  // t = 1 stays just inside the last segment rather than exactly at its end.
  EXPECT_EQ(b + (c - b) * 0.99999988f, vspline("linear", 1.0f, 4, cv));
}

TEST_F(SplineTest, FractionalSegmentCountsAreKept) {
  // Five Bezier values make 4/3 segments: t = 0.5 lies two thirds into the
  // first; near t = 1 the partial second segment, a third of the way along,
  // repeats the last value for the ones it lacks.
  EXPECT_NEAR(bernstein(kCV[0], kCV[1], kCV[2], kCV[3], 2 / 3.0), vspline("bezier", 0.5f, 5, kCV),
              1e-5f);
  EXPECT_NEAR(bernstein(kCV[3], kCV[4], kCV[4], kCV[4], 1 / 3.0), vspline("bezier", 1.0f, 5, kCV),
              1e-5f);
  // Five Hermite values make 1.5 segments: t = 0.5 is at u = 0.75, where the
  // curve from 0 to 1 with flat tangents is 3u^2 - 2u^3.
  const float h[5] = {0, 0, 1, 0, 5};
  EXPECT_NEAR(0.84375f, vspline("hermite", 0.5f, 5, h), 1e-6f);
  EXPECT_TRUE(gReports.empty());
}

TEST_F(SplineTest, UnknownBasisNamesAreCatmullRom) {
  const float cr = vspline("catmull-rom", 0.45f, 10, kCV);
  for (const char* name : {"Bspline", "cubic", "c", "bezierx", "Linear", "hermit", ""})
    EXPECT_EQ(cr, vspline(name, 0.45f, 10, kCV)) << name;
  EXPECT_EQ(cr, vspline(nullptr, 0.45f, 10, kCV));
  EXPECT_NE(cr, vspline("bspline", 0.45f, 10, kCV));
}

TEST_F(SplineTest, VariadicFormsMatchTheArrayForm) {
  const float t = 0.37f, r[4] = {3, -1, 4, 1}, g[4] = {0, 1, 2, 3};
  EXPECT_EQ(vspline("bspline", t, 5, kCV), fsplinev("bspline", t, 5, 3.0, -1.0, 4.0, 1.0, -5.0));
  const Color c =
      csplinev("hermite", t, 4, Color(3, 0, 1), Color(-1, 1, 0), Color(4, 2, 1), Color(1, 3, 0));
  EXPECT_TRUE(c.r == vspline("hermite", t, 4, r) && c.g == vspline("hermite", t, 4, g)) << c;
  const Point p =
      psplinev("linear", t, 4, Point(3, 0, 9), Point(-1, 1, 9), Point(4, 2, 9), Point(1, 3, 9));
  EXPECT_TRUE(p.x == vspline("linear", t, 4, r) && p.y == vspline("linear", t, 4, g) && p.z == 9);
}

TEST_F(SplineTest, BasisTables) {
  const double bez3[10] = {-1, 3, -3, 1, 3, -6, 3, -3, 3, 1};
  const double fwd4[10] = {1, 1, 2, 1, 6, 6, 1, 14, 36, 24};
  for (int i = 0; i < 10; ++i)
    EXPECT_TRUE(bezier(3)[i] == bez3[i] && forward(4)[i] == fwd4[i]) << i;
  // At any t the Bernstein polynomials of a degree sum to 1.
  for (int d = 0; d <= 20; ++d) {
    const double* m = bezier(d);
    double sum = 0;
    for (int j = 0; j <= d; ++j)
      for (int i = 0; i <= d - j; ++i) sum += *m++ * std::pow(0.3, d - j);
    EXPECT_NEAR(1.0, sum, 1e-9) << "degree " << d;
  }
  // Forward rows start with 1 and end with n!.
  const double* f20 = forward(20);
  double factorial = 1;
  for (int n = 1; n <= 20; f20 += n, ++n) {
    factorial *= n;
    EXPECT_TRUE(f20[0] == 1.0 && f20[n - 1] == factorial) << "row " << n;
  }
  EXPECT_EQ(nullptr, forwardtab[0]);
  EXPECT_TRUE(gReports.empty());
}

TEST_F(SplineTest, ErrorsReportAndFallBack) {
  // Too few values: a warning and the first value (0 for none).
  EXPECT_EQ(3.0f, vspline("linear", 0.5f, 3, kCV));
  resetErrorRepeat();
  EXPECT_EQ(0.0f, vspline("bezier", 0.5f, 0, nullptr));
  resetErrorRepeat();
  EXPECT_EQ(0.0f, fsplinev("catmull-rom", 0.5f, 0));
  // Degrees outside 0 .. 20: an error and the cubic table.
  EXPECT_EQ(beztab[4], bezier(21));
  resetErrorRepeat();
  EXPECT_EQ(beztab[4], bezier(-1));
  resetErrorRepeat();
  EXPECT_EQ(forwardtab[4], forward(0));
  EXPECT_TRUE(beztab[0] == bezier(0) && forwardtab[20] == forward(20));
  std::vector<std::string> want(3, "61/1/Cubic splines require at least 4 control points");
  want.insert(want.end(), {"61/2/degree 21 out of range", "61/2/degree -1 out of range",
                           "61/2/degree 0 out of range"});
  EXPECT_EQ(want, gReports);
  EXPECT_TRUE(std::isnan(vspline("bspline", NAN, 10, kCV)));
}
