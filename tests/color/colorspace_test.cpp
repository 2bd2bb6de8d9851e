// Tests for conversion between RGB and the named colour spaces.
#include <gtest/gtest.h>
#include <slrt/color/color.h>

#include <cmath>
#include <vector>

namespace {

void expectColor(const Color& want, const Color& got) {
  EXPECT_TRUE(want.r == got.r && want.g == got.g && want.b == got.b)
      << "got " << got << " want " << want;
}

void expectNear(const Color& want, const Color& got, float tol) {
  EXPECT_NEAR(want.r, got.r, tol) << "got " << got << " want " << want;
  EXPECT_NEAR(want.g, got.g, tol) << "got " << got << " want " << want;
  EXPECT_NEAR(want.b, got.b, tol) << "got " << got << " want " << want;
}

// Chromatic colours over the unit cube (no greys: their hue is undefined).
std::vector<Color> chromaticGrid() {
  std::vector<Color> out;
  for (int r = 0; r <= 8; ++r)
    for (int g = 0; g <= 8; ++g)
      for (int b = 0; b <= 8; ++b)
        if (r != g || g != b) out.emplace_back(r / 8.0f, g / 8.0f, b / 8.0f);
  return out;
}

}  // namespace

// The matrix pairs are not exact inverses of each other: their product
// differs from the identity by at most 1.2e-3 (XYZ) and 3.3e-3 (YIQ) summed
// along a row, which bounds how far a colour of the unit cube comes back.
// hsv and hsl are exact inverses up to float rounding.
TEST(ColorSpace, RoundTripsThroughEverySpace) {
  const struct {
    const char* space;
    float tol;
  } spaces[] = {{"XYZ", 1.2e-3f}, {"xyz", 1.2e-3f}, {"xyY", 1.2e-3f}, {"YIQ", 3.3e-3f},
                {"hsv", 1e-6f},   {"hsl", 1e-6f},   {"rgb", 0.0f}};
  for (const auto& s : spaces) {
    SCOPED_TRACE(s.space);
    for (const Color& c : chromaticGrid()) {
      if (std::string(s.space) == "xyY" && c.r + c.g + c.b == 0.0f) continue;
      expectNear(c, ctransformss(s.space, "rgb", ctransforms(s.space, c)), s.tol);
    }
  }
}

TEST(ColorSpace, KnownValues) {
  const Color white(1, 1, 1);
  expectNear(Color(0.981f, 1.0f, 1.182f), ctransforms("XYZ", white), 1e-6f);
  expectNear(Color(1.0f, 0.0f, 0.0f), ctransforms("YIQ", white), 1e-6f);
  expectColor(Color(0, 1, 1), ctransforms("hsv", Color(1, 0, 0)));
  expectNear(Color(1 / 3.0f, 1, 0.5f), ctransforms("hsl", Color(0, 1, 0)), 1e-7f);
  expectNear(Color(2 / 3.0f, 1, 0.5f), ctransforms("hsv", Color(0, 0, 0.5f)), 1e-7f);
  // The inverse matrices' columns, exactly as given.
  expectColor(Color(1.90985f, -0.984623f, 0.058331f), ctransformss("XYZ", "rgb", Color(1, 0, 0)));
  expectColor(Color(0.956084f, -0.271535f, -1.10562f), ctransformss("YIQ", "rgb", Color(0, 1, 0)));
  // xyY keeps luminance and gives chromaticity coordinates.
  const Color xyY = ctransforms("xyY", white);
  expectNear(Color(0.981f / 3.163f, 1.0f / 3.163f, 1.0f), xyY, 1e-6f);
}

TEST(ColorSpace, AchromaticCasesDifferBetweenHsvAndHsl) {
  expectColor(Color(-1, 0, 0), ctransforms("hsv", Color(0, 0, 0)));
  const Color grey = ctransforms("hsv", Color(0.5f, 0.5f, 0.5f));
  EXPECT_TRUE(std::isnan(grey.r)) << grey;
  EXPECT_EQ(0.0f, grey.g);
  EXPECT_EQ(0.5f, grey.b);
  expectColor(Color(0, 0, 0.5f), ctransforms("hsl", Color(0.5f, 0.5f, 0.5f)));
  // A spread below the float epsilon still counts as grey for hsl.
  expectColor(Color(0, 0, 0.5f + 5e-8f), ctransforms("hsl", Color(0.5f + 5e-8f, 0.5f, 0.5f)));
  // Black has no chromaticity: xyY falls back to the unnormalised XYZ.
  expectColor(Color(0, 0, 0), ctransforms("xyY", Color(0, 0, 0)));
  expectColor(Color(-0.607f, -0.299f, 0.0f), ctransforms("xyY", Color(-1, 0, 0)));
}

TEST(ColorSpace, HsvAndHslInputsAreClampedExceptForGreys) {
  // Hue clamps to 1 (not wrapped), and 360 degrees is red again.
  expectColor(Color(1, 0, 0), ctransformss("hsv", "rgb", Color(1.5f, 1, 1)));
  // With no saturation V (or L) is returned unclamped.
  expectColor(Color(2, 2, 2), ctransformss("hsv", "rgb", Color(0.3f, 0, 2)));
  expectColor(Color(-1, -1, -1), ctransformss("hsl", "rgb", Color(0.3f, -4, -1)));
  expectColor(Color(1, 0, 0), ctransformss("hsv", "rgb", Color(0, 3, 7)));
  expectColor(Color(1, 1, 1), ctransformss("hsl", "rgb", Color(0.7f, 1, 2)));
  // A NaN hue takes the first sector's arrangement (V, t, p).
  const Color n = ctransformss("hsv", "rgb", Color(NAN, 1, 1));
  EXPECT_EQ(1.0f, n.r);
  EXPECT_TRUE(std::isnan(n.g));
  EXPECT_EQ(0.0f, n.b);
}

TEST(ColorSpace, XyYWithZeroYIsUnguarded) {
  const float in[3] = {0.3f, 0.0f, 1.0f};
  const Color c = xyY(in);
  EXPECT_FALSE(std::isfinite(c.r) && std::isfinite(c.g) && std::isfinite(c.b)) << c;
}

TEST(ColorSpace, ArrayConstructorsMatchNamedConversions) {
  const float v[3] = {0.3f, 0.6f, 0.8f};
  const Color c(v[0], v[1], v[2]);
  expectColor(ctransformss("hsv", "rgb", c), hsv(v));
  expectColor(ctransformss("hsl", "rgb", c), hsl(v));
  expectColor(ctransformss("xyY", "rgb", c), xyY(v));
  expectColor(ctransformss("XYZ", "rgb", c), XYZ(v));
  expectColor(ctransformss("YIQ", "rgb", c), YIQ(v));
  // Between two named spaces the colour passes through RGB.
  expectColor(ctransforms("hsl", hsv(v)), ctransformss("hsv", "hsl", c));
}

TEST(ColorSpace, NamesMatchByFirstLetterThenWhole) {
  const Color c(0.2f, 0.4f, 0.6f);
  for (const char* name : {"HSV", "hsvx", "Hsl", "xyy", "XYz", "lab", "", "rgbish", "r"})
    expectColor(c, ctransforms(name, c));
  expectColor(c, ctransforms(nullptr, c));
  expectColor(c, ctransformss(nullptr, "bogus", c));
  expectColor(ctransforms("XYZ", c), ctransforms("xyz", c));
  expectColor(XYZ(&c.r), ctransformss("xyz", "rgb", c));
}
