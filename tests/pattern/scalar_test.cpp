// Scalar operations: defined values at their boundaries, the generator's
// sequence and the Gaussian filter against the error function.
#include <slrt/pattern/scalar.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "pattern/gamma_pvt.h"

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(Fdiv, SaturatesWithSignOfNumerator) {
  EXPECT_EQ(fdiv(5.0f, 0.0f), 1e38f);
  EXPECT_EQ(fdiv(-5.0f, 0.0f), -1e38f);
  EXPECT_EQ(fdiv(0.0f, 0.0f), 0.0f);
  EXPECT_EQ(fdiv(kNaN, 0.0f), 0.0f);
  EXPECT_EQ(fdiv(1e30f, 1e-10f), 1e38f);
  EXPECT_EQ(fdiv(1.0f, -0.0f), 1e38f);  // the denominator's sign is ignored
  EXPECT_EQ(fdiv(1.0f, -1e-40f), 1e38f);
  EXPECT_EQ(fdiv(-1.0f, -1e-40f), -1e38f);
  EXPECT_EQ(fdiv(1.0f, 0.5f), 2.0f);
  EXPECT_EQ(fdiv(-3.0f, 4.0f), -0.75f);
  // Below the saturation bound the quotient is the plain one.
  EXPECT_EQ(fdiv(1e-3f, 1e-39f), 1e-3f / 1e-39f);
  EXPECT_TRUE(std::isnan(fdiv(kNaN, 2.0f)));
}

TEST(MinMax, StrictScansKeepFirstAndSkipNaN) {
  const float v[] = {2, kNaN, 1};
  EXPECT_EQ(vmin(3, v), 1.0f);
  EXPECT_EQ(vmax(3, v), 2.0f);
  EXPECT_EQ(vmax(1, v), 2.0f);
  const float nanFirst[] = {kNaN, 1, 2};
  EXPECT_TRUE(std::isnan(vmin(3, nanFirst)));
  const float signedZeros[] = {0.0f, -0.0f};
  EXPECT_FALSE(std::signbit(vmin(2, signedZeros)));  // a tie keeps the first
  EXPECT_EQ(fminv(4, 3.0, -1.5, 7.0, -1.5), -1.5f);
  EXPECT_EQ(fmaxv(3, 3.0, 9.25, 7.0), 9.25f);
  EXPECT_EQ(fminv(1, 4.0), 4.0f);
}

TEST(Smoothstep, OrderedBoundsAndHardStep) {
  EXPECT_EQ(smoothstep(1, 0, 0.5f), 0.5f);
  EXPECT_EQ(smoothstep(1, 0, 0.25f), smoothstep(0, 1, 0.25f));
  EXPECT_EQ(smoothstep(1, 1, 1), 1.0f);
  EXPECT_EQ(smoothstep(1, 1, 0.999f), 0.0f);
  EXPECT_EQ(smoothstep(0, 1, -0.1f), 0.0f);
  EXPECT_EQ(smoothstep(0, 1, 1), 1.0f);
  EXPECT_TRUE(std::isnan(smoothstep(0, 1, kNaN)));
  // Monotone and symmetric about the midpoint.
  float prev = 0;
  for (int i = 0; i <= 100; ++i) {
    float x = i / 100.0f;
    float y = smoothstep(0, 1, x);
    EXPECT_GE(y, prev);
    EXPECT_NEAR(y + smoothstep(0, 1, 1 - x), 1.0f, 1e-6f);
    prev = y;
  }
}

TEST(Filterstep, BoundariesAndCentre) {
  // Zero width: below every support gives 1, above gives 0, at the edge 0.5.
  EXPECT_EQ(filterstep(0, 1, 0, nullptr), 1.0f);
  EXPECT_EQ(filterstep(1, 0, 0, nullptr), 0.0f);
  for (const char* f : {"box", "triangle", "gaussian", "catmull-rom"})
    EXPECT_EQ(filterstep(0.3f, 0.3f, 0, "filter", f, nullptr), 0.5f) << f;

  EXPECT_EQ(filterstep(0.5f, 0.5f, 1, nullptr), 0.49999994f);
  EXPECT_EQ(filterstep(0.5f, 0.5f, 1, "filter", "box", nullptr), 0.5f);
  EXPECT_EQ(filterstep(0.5f, 0.5f, 1, "filter", "triangle", nullptr), 0.5f);

  // Catmull-Rom: half-support 2w, the ends inclusive in the evaluated branch.
  EXPECT_EQ(filterstep(0, 2.5f, 1, nullptr), 1.0f);
  EXPECT_EQ(filterstep(0, -2.5f, 1, nullptr), 0.0f);
  EXPECT_NEAR(filterstep(0, -2.0f, 1, nullptr), 0.0f, 1e-6f);
  EXPECT_NEAR(filterstep(0, 2.0f, 1, nullptr), 1.0f, 1e-6f);
  // Continuous where the cubic pieces meet.
  EXPECT_NEAR(filterstep(0, -1.0f, 1, nullptr), filterstep(0, -1.0001f, 1, nullptr), 1e-4f);

  // Box is linear across its support; triangle quadratic from each end.
  EXPECT_FLOAT_EQ(filterstep(0, 0.25f, 1, "filter", "box", nullptr), 0.75f);
  EXPECT_FLOAT_EQ(filterstep(0, -0.5f, 1, "filter", "triangle", nullptr), 0.125f);
  EXPECT_FLOAT_EQ(filterstep(0, 0.5f, 1, "filter", "triangle", nullptr), 0.875f);
}

TEST(Filterstep, ParameterList) {
  const float base = filterstep(0.2f, 0.5f, 0.4f, nullptr);
  EXPECT_EQ(filterstep(0.2f, 0.5f, 0.2f, "width", 2.0, nullptr), base);
  EXPECT_EQ(filterstep(0.2f, 0.5f, 0.1f, "swidth", 2.0, "width", 2.0, nullptr), base);
  EXPECT_EQ(filterstep(0.2f, 0.5f, -0.4f, nullptr), base);  // |width|
  // Unknown names consume no value; the next word is the next name.
  EXPECT_EQ(filterstep(0.2f, 0.5f, 0.4f, "bogus", "filter", "box", nullptr),
            filterstep(0.2f, 0.5f, 0.4f, "filter", "box", nullptr));
  // Names that are not exactly a known filter fall back to Catmull-Rom.
  for (const char* f : {"cubic", "Box", "boxx", "tri", "gauss", "sinc", ""})
    EXPECT_EQ(filterstep(0.2f, 0.5f, 0.4f, "filter", f, nullptr), base) << f;
}

TEST(Filterstep, GaussianFollowsErf) {
  // P(1/2, x^2) = erf(x): both expansions of the incomplete gamma function.
  for (double x : {0.05, 0.3, 0.9, 1.2, 1.3, 2.0, 3.5}) {
    EXPECT_NEAR(slrt_detail::gammp(0.5, x * x), std::erf(x), 5e-7 * std::erf(x)) << x;
  }
  EXPECT_NEAR(std::exp(slrt_detail::gammln(0.5)), std::sqrt(M_PI), 1e-9);
  EXPECT_EQ(slrt_detail::gammaSeries(0.5, 0.0), 0.0);

  const double ratio = 1.7724539041519165 / 1.7724536657333374;
  for (float d : {-1.4f, -0.9f, -0.3f, -0.01f, 0.01f, 0.2f, 0.75f, 1.45f}) {
    const float w = 1.0f, g = 1.5f * w;
    double x = 2.8284270763397217 * std::fabs(d) / g;
    double r = 0.5 * (1.0 - std::erf(x) * ratio);
    double expected = d > 0 ? r : 1.0 - r;
    EXPECT_NEAR(filterstep(d, 0, w, "filter", "gaussian", nullptr), expected, 1e-6) << d;
  }
  // Outside the 1.5w half-support the result is exact.
  EXPECT_EQ(filterstep(1.6f, 0, 1, "filter", "gaussian", nullptr), 0.0f);
  EXPECT_EQ(filterstep(-1.6f, 0, 1, "filter", "gaussian", nullptr), 1.0f);
}

TEST(Random, ParkMillerSequence) {
  // The generator is process-wide; this program calls it only here, in the
  // order below.
  EXPECT_EQ(frandom(), 16807 * 4.656612873077393e-10f);
  EXPECT_EQ(llrandom(), 282475249);
  EXPECT_EQ(llrandom(), 1622650073);
  // Park and Miller's published check: the 10000th value from seed 1.
  long v = 0;
  for (int i = 4; i <= 10000; ++i) v = llrandom();
  EXPECT_EQ(v, 1043618065);
  for (int i = 0; i < 100000; ++i) {
    float f = frandom();
    ASSERT_GT(f, 0.0f);
    ASSERT_LT(f, 1.0f);
  }
}

TEST(Lerp, CornersAndExactEnds) {
  EXPECT_EQ(bilerp(0, 0, 1, 2, 3, 4), 1.0f);
  EXPECT_EQ(bilerp(1, 0, 1, 2, 3, 4), 2.0f);
  EXPECT_EQ(bilerp(0, 1, 1, 2, 3, 4), 3.0f);
  EXPECT_EQ(bilerp(1, 1, 1, 2, 3, 4), 4.0f);
  EXPECT_EQ(bilerp(0.5f, 0.5f, 1, 2, 3, 4), 2.5f);
  // t = 0 returns p exactly even when q is huge.
  EXPECT_EQ(bilerp(0, 0, 0.1f, 1e38f, 0.1f, 1e38f), 0.1f);
  for (int corner = 0; corner < 8; ++corner) {
    float p[8] = {};
    p[corner] = 1;
    EXPECT_EQ(trilerp(corner & 1, (corner >> 1) & 1, (corner >> 2) & 1, p[0], p[1], p[2], p[3],
                      p[4], p[5], p[6], p[7]),
              1.0f);
  }
  for (int corner = 0; corner < 16; ++corner) {
    float p[16] = {};
    p[corner] = 1;
    EXPECT_EQ(quadlerp(corner & 1, (corner >> 1) & 1, (corner >> 2) & 1, (corner >> 3) & 1, p[0],
                       p[1], p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9], p[10], p[11], p[12],
                       p[13], p[14], p[15]),
              1.0f);
  }
  EXPECT_FLOAT_EQ(quadlerp(0.5f, 0.5f, 0.5f, 0.5f, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13,
                           14, 15),
                  7.5f);
}

}  // namespace
