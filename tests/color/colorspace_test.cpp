// Tests for conversion between RGB and the named colour spaces.
#include <gtest/gtest.h>
#include <slrt/color/color.h>

#include <cmath>
#include <string>

namespace {

void expectNear(const Color& want, const Color& got, float tol) {
  EXPECT_TRUE(std::fabs(want.r - got.r) <= tol && std::fabs(want.g - got.g) <= tol &&
              std::fabs(want.b - got.b) <= tol)
      << "got " << got << " want " << want;
}

}  // namespace

// The matrix pairs are not exact inverses: their product differs from the
// identity by at most 1.2e-3 (XYZ) and 3.3e-3 (YIQ) summed along a row, which
// bounds how far a colour of the unit cube comes back.  hsv and hsl are exact
// inverses up to float rounding.  Greys are left out: their hue is undefined.
TEST(ColorSpace, RoundTripsThroughEverySpace) {
  const struct {
    const char* space;
    float tol;
  } spaces[] = {{"XYZ", 1.2e-3f}, {"xyz", 1.2e-3f}, {"xyY", 1.2e-3f}, {"YIQ", 3.3e-3f},
                {"hsv", 1e-6f},   {"hsl", 1e-6f},   {"rgb", 0.0f}};
  for (const auto& s : spaces) {
    SCOPED_TRACE(s.space);
    for (int i = 0; i < 9 * 9 * 9; ++i) {
      const Color c(i % 9 / 8.0f, i / 9 % 9 / 8.0f, i / 81 / 8.0f);
      if (c.r == c.g && c.g == c.b) continue;
      expectNear(c, ctransformss(s.space, "rgb", ctransforms(s.space, c)), s.tol);
    }
  }
}

TEST(ColorSpace, KnownValues) {
  const Color white(1, 1, 1);
  expectNear(Color(0.981f, 1.0f, 1.182f), ctransforms("XYZ", white), 1e-6f);
  expectNear(Color(1.0f, 0.0f, 0.0f), ctransforms("YIQ", white), 1e-6f);
  EXPECT_EQ(Color(0, 1, 1), ctransforms("hsv", Color(1, 0, 0)));
  expectNear(Color(1 / 3.0f, 1, 0.5f), ctransforms("hsl", Color(0, 1, 0)), 1e-7f);
  expectNear(Color(2 / 3.0f, 1, 0.5f), ctransforms("hsv", Color(0, 0, 0.5f)), 1e-7f);
  // The inverse matrices' columns, exactly as given.
  EXPECT_EQ(Color(1.90985f, -0.984623f, 0.058331f), ctransformss("XYZ", "rgb", Color(1, 0, 0)));
  EXPECT_EQ(Color(0.956084f, -0.271535f, -1.10562f), ctransformss("YIQ", "rgb", Color(0, 1, 0)));
  // xyY keeps luminance and gives chromaticity coordinates.
  expectNear(Color(0.981f / 3.163f, 1.0f / 3.163f, 1.0f), ctransforms("xyY", white), 1e-6f);
}

TEST(ColorSpace, AchromaticAndOutOfRangeInputs) {
  // Greys: hsv gives black a hue of -1 and other greys a NaN hue; hsl gives
  // 0, even for a spread below the float epsilon.
  EXPECT_EQ(Color(-1, 0, 0), ctransforms("hsv", Color(0, 0, 0)));
  const Color grey = ctransforms("hsv", Color(0.5f, 0.5f, 0.5f));
  EXPECT_TRUE(std::isnan(grey.r) && grey.g == 0.0f && grey.b == 0.5f) << grey;
  EXPECT_EQ(Color(0, 0, 0.5f), ctransforms("hsl", Color(0.5f, 0.5f, 0.5f)));
  EXPECT_EQ(Color(0, 0, 0.5f + 5e-8f), ctransforms("hsl", Color(0.5f + 5e-8f, 0.5f, 0.5f)));
  // Black has no chromaticity: xyY falls back to the unnormalised XYZ.
  EXPECT_EQ(Color(0, 0, 0), ctransforms("xyY", Color(0, 0, 0)));
  EXPECT_EQ(Color(-0.607f, -0.299f, 0.0f), ctransforms("xyY", Color(-1, 0, 0)));
  const float zeroY[3] = {0.3f, 0.0f, 1.0f};  // and back from y = 0 is unguarded
  const Color c = xyY(zeroY);
  EXPECT_FALSE(std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b)) << c;

  // Into RGB, hue clamps to 1 (not wrapped) and 360 degrees is red again;
  // without saturation V (or L) comes back unclamped.
  EXPECT_EQ(Color(1, 0, 0), ctransformss("hsv", "rgb", Color(1.5f, 1, 1)));
  EXPECT_EQ(Color(2, 2, 2), ctransformss("hsv", "rgb", Color(0.3f, 0, 2)));
  EXPECT_EQ(Color(-1, -1, -1), ctransformss("hsl", "rgb", Color(0.3f, -4, -1)));
  EXPECT_EQ(Color(1, 0, 0), ctransformss("hsv", "rgb", Color(0, 3, 7)));
  EXPECT_EQ(Color(1, 1, 1), ctransformss("hsl", "rgb", Color(0.7f, 1, 2)));
  // A NaN hue takes the first sector's arrangement (V, t, p).
  const Color n = ctransformss("hsv", "rgb", Color(NAN, 1, 1));
  EXPECT_TRUE(n.r == 1.0f && std::isnan(n.g) && n.b == 0.0f) << n;
}

TEST(ColorSpace, ArrayConstructorsAndNames) {
  const float v[3] = {0.3f, 0.6f, 0.8f};
  const Color c(v[0], v[1], v[2]);
  EXPECT_EQ(ctransformss("hsv", "rgb", c), hsv(v));
  EXPECT_EQ(ctransformss("hsl", "rgb", c), hsl(v));
  EXPECT_EQ(ctransformss("xyY", "rgb", c), xyY(v));
  EXPECT_EQ(ctransformss("XYZ", "rgb", c), XYZ(v));
  EXPECT_EQ(ctransformss("YIQ", "rgb", c), YIQ(v));
  // Between two named spaces the colour passes through RGB.
  EXPECT_EQ(ctransforms("hsl", hsv(v)), ctransformss("hsv", "hsl", c));
  // Names match by first letter, then whole; anything else is RGB.
  for (const char* name : {"HSV", "hsvx", "Hsl", "xyy", "XYz", "lab", "", "rgbish", "r"})
    EXPECT_EQ(c, ctransforms(name, c)) << name;
  EXPECT_TRUE(ctransforms(nullptr, c) == c && ctransformss(nullptr, "bogus", c) == c);
  EXPECT_EQ(ctransforms("XYZ", c), ctransforms("xyz", c));
  EXPECT_EQ(XYZ(&c.r), ctransformss("xyz", "rgb", c));
}
