// Bounds: transformed boxes contain their transformed contents, the overflow
// rule, and the flag handling of merge, intersect and equality.
#include <gtest/gtest.h>
#include <slrt/geometry/bound.h>

#include <random>
#include <sstream>

namespace {

::testing::AssertionResult contains(const Bound& b, const Point& p, float tol) {
  if (p.x >= b.xmin - tol && p.x <= b.xmax + tol && p.y >= b.ymin - tol && p.y <= b.ymax + tol &&
      p.z >= b.zmin - tol && p.z <= b.zmax + tol)
    return ::testing::AssertionSuccess();
  return ::testing::AssertionFailure() << p << " outside " << b;
}

// Every corner lands inside the result and the result is the tightest such
// box.  Affine maps keep convexity, so interior points land inside too.
TEST(BoundTest, TransformedBoxHoldsTransformedContents) {
  std::mt19937 rng{7};
  auto uniform = [&](float lo, float hi) {
    return std::uniform_real_distribution<float>(lo, hi)(rng);
  };
  for (int i = 0; i < 200; ++i) {
    bool projective = i % 2;
    float x = uniform(-5, 5), y = uniform(-5, 5), z = uniform(projective ? 1 : -5, 5);
    Bound b(x, x + uniform(0, 3), y, y + uniform(0, 3), z, z + uniform(0, 3));
    Matrix m(1.0f);
    if (projective)
      m.perspective(uniform(20, 120), 0, 0);
    else
      m.rotate(uniform(0, 360), uniform(-1, 1), uniform(-1, 1), uniform(0.1f, 1))
          .scale(uniform(-3, 3), uniform(0.1f, 3), uniform(0.1f, 3))
          .translate(uniform(-9, 9), uniform(-9, 9), uniform(-9, 9));
    Bound t = b * m, tight;
    for (int c = 0; c < 8; ++c) {
      Point p =
          Point(c & 4 ? b.xmax : b.xmin, c & 2 ? b.ymax : b.ymin, c & 1 ? b.zmax : b.zmin) * m;
      EXPECT_TRUE(contains(t, p, 0));
      if (c == 0) tight = Bound(p.x, p.x, p.y, p.y, p.z, p.z);
      tight.merge(Bound(p.x, p.x, p.y, p.y, p.z, p.z));
    }
    EXPECT_TRUE(tight == t && t.bounded) << t << " vs " << tight;
    for (int k = 0; k < 20 && !projective; ++k) {
      Point p(uniform(b.xmin, b.xmax), uniform(b.ymin, b.ymax), uniform(b.zmin, b.zmax));
      EXPECT_TRUE(contains(t, p * m, 1e-4f));
    }
  }
}

TEST(BoundTest, ProjectionToInfinityUnbounds) {
  Matrix persp(1.0f);
  persp.perspective(90, 0, 0);
  Bound b(1, 2, 1, 2, 0, 1);  // the z = 0 corners have w = 0
  EXPECT_EQ((b * persp).bounded, 1);
  EXPECT_EQ((b * persp).xmax, 1e38f);
  b *= persp;
  EXPECT_EQ(b.bounded, 0);
  Bound far(1, 2, 1, 2, 1, 3);
  far *= persp;
  EXPECT_TRUE(far.bounded && far.xmax == 2.0f) << far;
  EXPECT_FLOAT_EQ(far.zmax, 1.0f - 1.0f / 3.0f);

  Bound whole;  // unbounded: left exactly as it is
  whole *= Matrix(1.0f).translate(5, 0, 0);
  EXPECT_TRUE(whole == Bound() && !whole.bounded);
}

TEST(BoundTest, MergeIntersectExpand) {
  Bound a(0, 1, 0, 1, 0, 1), b(0.5f, 2, -1, 0.5f, 0.25f, 0.75f);
  EXPECT_TRUE(Bound(a).merge(b) == Bound(0, 2, -1, 1, 0, 1));
  EXPECT_TRUE(Bound(a).intersect(b) == Bound(0.5f, 1, 0, 0.5f, 0.25f, 0.75f));
  EXPECT_EQ(Bound(a).merge(Bound()).bounded, 0);
  Bound whole;
  EXPECT_TRUE(whole.intersect(a) == a && whole.bounded);
  EXPECT_EQ(Bound().intersect(Bound()).bounded, 0);
  EXPECT_TRUE(Bound(a).expand(1e-8f) == a);
  EXPECT_TRUE(Bound(a).expand(0.5f) == Bound(-0.5f, 1.5f, -0.5f, 1.5f, -0.5f, 1.5f));
  EXPECT_TRUE(Bound().expand(1) == Bound());

  const float six[6] = {1, 2, 3, 4, 5, 6};
  Bound c(six), d(1, 2, 3, 4, 5, 6);
  d.bounded = 0;
  EXPECT_TRUE(c == d);  // the flag is not compared
  EXPECT_FALSE(c == Bound(1, 2, 3, 4, 5, 7));
  EXPECT_TRUE(Bound(2.5f) == Bound(2.5f, 2.5f, 2.5f, 2.5f, 2.5f, 2.5f));
  std::ostringstream os;
  os << c;
  EXPECT_EQ(os.str(), "[1 2 3 4 5 6]");
}

// The blur radius is the larger of the two at the depth extremes, clamped
// to the focal range; z is left alone.
TEST(BoundTest, FocusWidensByCircleOfConfusion) {
  Bound b(-1, 1, -2, 2, 2, 4);
  b.focus(1, 3, 4, 2, 0.5f, -1);
  EXPECT_TRUE(b ==
              Bound(-2.25f, 2.25f, -2.0f - (0.5f - 1.0f / 3.0f), 2.0f + (0.5f - 1.0f / 3.0f), 2, 4))
      << b;
  EXPECT_TRUE(Bound().focus(1, 3, 4, 2, 0.5f, -1) == Bound());
}

}  // namespace
