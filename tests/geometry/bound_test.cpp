// Bounds: transformed boxes contain their transformed contents, the overflow
// rule, and the flag handling of merge, intersect and equality.
#include <gtest/gtest.h>
#include <slrt/geometry/bound.h>

#include <random>
#include <sstream>

namespace {

// The result is exactly the box around the eight transformed corners (a
// merge with any of them changes nothing).  Affine maps keep convexity, so
// interior points land inside too.  A projection to infinity unbounds, but
// only through *=.
TEST(BoundTest, TransformedBoxHoldsTransformedContents) {
  std::mt19937 rng{7};
  auto u = [&](float lo, float hi) { return std::uniform_real_distribution<float>(lo, hi)(rng); };
  auto box = [](const Point& p) { return Bound(p.x, p.x, p.y, p.y, p.z, p.z); };
  for (int i = 0; i < 200; ++i) {
    bool projective = i % 2;
    float x = u(-5, 5), y = u(-5, 5), z = u(projective ? 1 : -5, 5);
    Bound b(x, x + u(0, 3), y, y + u(0, 3), z, z + u(0, 3)), t, tight;
    Matrix m(1.0f);
    if (projective)
      m.perspective(u(20, 120), 0, 0);
    else
      m.rotate(u(0, 360), u(-1, 1), u(-1, 1), u(0.1f, 1))
          .scale(u(-3, 3), u(0.1f, 3), u(0.1f, 3))
          .translate(u(-9, 9), u(-9, 9), u(-9, 9));
    t = b * m;
    for (int c = 0; c < 8; ++c) {
      Point p =
          Point(c & 4 ? b.xmax : b.xmin, c & 2 ? b.ymax : b.ymin, c & 1 ? b.zmax : b.zmin) * m;
      EXPECT_TRUE(Bound(t).merge(box(p)) == t) << p << " outside " << t;
      tight = c ? tight.merge(box(p)) : box(p);
    }
    EXPECT_TRUE(tight == t && t.bounded) << t << " vs " << tight;
    Bound loose = Bound(t).expand(1e-4f);
    for (int k = 0; k < 20 && !projective; ++k) {
      Point p = Point(u(b.xmin, b.xmax), u(b.ymin, b.ymax), u(b.zmin, b.zmax)) * m;
      EXPECT_TRUE(Bound(loose).merge(box(p)) == loose) << p << " outside " << t;
    }
  }

  Matrix persp(1.0f);
  persp.perspective(90, 0, 0);
  Bound b(1, 2, 1, 2, 0, 1), far(1, 2, 1, 2, 1, 3), whole;  // b's z = 0 corners have w = 0
  EXPECT_TRUE((b * persp).bounded && (b * persp).xmax == 1e38f);
  EXPECT_EQ((b *= persp).bounded, 0);
  EXPECT_TRUE((far *= persp).bounded && far.xmax == 2.0f) << far;
  EXPECT_FLOAT_EQ(far.zmax, 2.0f / 3.0f);
  whole *= Matrix(1.0f).translate(5, 0, 0);  // unbounded: left exactly as it is
  EXPECT_TRUE(whole == Bound() && !whole.bounded);
}

// focus widens by the larger blur radius at the depth extremes, clamped to
// the focal range, and leaves z alone.
TEST(BoundTest, MergeIntersectExpandFocus) {
  Bound a(0, 1, 0, 1, 0, 1), b(0.5f, 2, -1, 0.5f, 0.25f, 0.75f), whole;
  EXPECT_TRUE(Bound(a).merge(b) == Bound(0, 2, -1, 1, 0, 1));
  EXPECT_TRUE(Bound(a).intersect(b) == Bound(0.5f, 1, 0, 0.5f, 0.25f, 0.75f));
  EXPECT_EQ(Bound(a).merge(Bound()).bounded, 0);
  EXPECT_TRUE(whole.intersect(a) == a && whole.bounded);
  EXPECT_EQ(Bound().intersect(Bound()).bounded, 0);
  EXPECT_TRUE(Bound(a).expand(1e-8f) == a);
  EXPECT_TRUE(Bound(a).expand(0.5f) == Bound(-0.5f, 1.5f, -0.5f, 1.5f, -0.5f, 1.5f));
  EXPECT_TRUE(Bound().expand(1) == Bound());
  b = Bound(-1, 1, -2, 2, 2, 4);
  const float dy = 0.5f - 1.0f / 3.0f;
  EXPECT_TRUE(b.focus(1, 3, 4, 2, 0.5f, -1) == Bound(-2.25f, 2.25f, -2 - dy, 2 + dy, 2, 4)) << b;
  EXPECT_TRUE(Bound().focus(1, 3, 4, 2, 0.5f, -1) == Bound());

  const float six[6] = {1, 2, 3, 4, 5, 6};
  Bound c(six), d(1, 2, 3, 4, 5, 6);
  d.bounded = 0;
  EXPECT_TRUE(c == d && !(c == Bound(1, 2, 3, 4, 5, 7)));  // the flag is not compared
  std::ostringstream os;
  os << c;
  EXPECT_EQ(os.str(), "[1 2 3 4 5 6]");
}

}  // namespace
