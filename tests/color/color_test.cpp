// Tests for the Color value, host-colour conversion and the per-component
// colour built-ins.
#include <gtest/gtest.h>
#include <slrt/color/color.h>
#include <slrt/pattern/noise.h>
#include <slrt/pattern/scalar.h>

#include <climits>
#include <cmath>
#include <sstream>
#include <string>
#include <vector>

#include "support/capture.h"

namespace {

// Each report as "code/severity/message", recorded before any printing.
std::vector<std::string> gReports;
void record(long code, long severity, char* message) {
  gReports.push_back(std::to_string(code) + "/" + std::to_string(severity) + "/" + message);
}

class ColorTest : public ::testing::Test {
 protected:
  void SetUp() override {
    resetErrorRepeat();
    gReports.clear();
    setErrorHandler(record);
  }
  void TearDown() override {
    Error::fHandler = fSaved;
    Color::colorSpace(1, 3, nullptr, nullptr);
  }
  ErrorHandlerFunc fSaved = Error::fHandler;
};

void expectColor(const Color& want, const Color& got) {
  EXPECT_TRUE(want.r == got.r && want.g == got.g && want.b == got.b)
      << "got " << got << " want " << want;
}

// Four host samples: RGB -> samples gives (r, r+g, g+b, b); samples -> RGB
// reads r from sample 0, g from sample 2 minus sample 3, b from sample 3 and
// ignores sample 1.  Colours survive out and back exactly, but the samples
// do not: the pair is inverse in one direction only.
const float kRGBn[3 * 4] = {
    1, 1, 0, 0,  // r
    0, 1, 1, 0,  // g
    0, 0, 1, 1,  // b
};
const float kNRGB[4 * 3] = {
    1, 0,  0,  // sample 0
    0, 0,  0,  // sample 1
    0, 1,  0,  // sample 2
    0, -1, 1,  // sample 3
};

}  // namespace

TEST_F(ColorTest, ComponentIndexTruncatesAndIsRangeChecked) {
  const Color c(0.25f, 0.5f, 0.75f);
  EXPECT_EQ(0.75f, compc(c, 2.9f));
  EXPECT_EQ(0.25f, compc(c, -0.5f));
  EXPECT_EQ(0.5f, compc(c, 1.0f));
  Color d = c;
  setcompc(d, 1.99f, 9.0f);
  expectColor(Color(0.25f, 9.0f, 0.75f), d);
  EXPECT_TRUE(gReports.empty());
  // Out of range: reported, 0 read, nothing written.
  EXPECT_EQ(0.0f, compc(c, 3.0f));
  resetErrorRepeat();
  d = c;
  setcompc(d, -1.0f, 9.0f);
  expectColor(c, d);
  resetErrorRepeat();
  EXPECT_EQ(0.0f, compc(c, NAN));
  const std::vector<std::string> want = {
      "42/1/color component 3 out of range", "42/1/color component -1 out of range",
      "42/1/color component " + std::to_string(LONG_MIN) + " out of range"};
  EXPECT_EQ(want, gReports);
}

TEST_F(ColorTest, NSampleConversionRoundTrip) {
  Color::colorSpace(0, 4, kNRGB, kRGBn);
  ASSERT_TRUE(gReports.empty());
  const Color c(0.5f, 0.25f, 2.0f);
  float s[4];
  c.toNsamples(s);
  EXPECT_EQ((std::vector<float>{0.5f, 0.75f, 2.25f, 2.0f}), std::vector<float>(s, s + 4));
  expectColor(c, Color(s));

  // Component access reads and writes samples, not r, g, b.
  EXPECT_EQ(0.75f, compc(c, 1.0f));
  EXPECT_EQ(2.0f, compc(c, 3.0f));
  Color d = c;
  setcompc(d, 1.0f, 100.0f);  // sample 1 carries no weight back to RGB
  expectColor(c, d);
  setcompc(d, 3.0f, 3.0f);  // sample 3 feeds both g and b
  expectColor(Color(0.5f, -0.75f, 3.0f), d);
  EXPECT_EQ(0.0f, compc(c, 4.0f));
  EXPECT_EQ(std::vector<std::string>{"42/1/color component 4 out of range"}, gReports);
}

TEST_F(ColorTest, ColorSpaceOwnsCopiesAndRejectsBadCounts) {
  float rgbn[12], nrgb[12];
  std::copy(kRGBn, kRGBn + 12, rgbn);
  std::copy(kNRGB, kNRGB + 12, nrgb);
  Color::colorSpace(0, 4, nrgb, rgbn);
  rgbn[0] = nrgb[0] = 7.0f;  // the library kept its own copies
  EXPECT_EQ(0.5f, compc(Color(0.5f, 0.25f, 2.0f), 0.0f));
  EXPECT_NE(rgbn, Color::fRGBn);

  Color::colorSpace(0, 0, kNRGB, kRGBn);
  EXPECT_EQ(4, Color::fColorSamples);  // refused: nothing changed
  Color::colorSpace(0, 2, nullptr, nullptr);
  EXPECT_EQ(nullptr, Color::fnRGB);
  // Without matrices the conversions yield zeros rather than reading null.
  float s[2] = {1.0f, 1.0f};
  Color(1, 2, 3).toNsamples(s);
  EXPECT_EQ(0.0f, s[1]);
  expectColor(gBlack, Color(s));
  // Matrices are copied even for RGB host colours.
  Color::colorSpace(1, 4, kNRGB, kRGBn);
  ASSERT_NE(nullptr, Color::fRGBn);
  EXPECT_EQ(1.0f, Color::fRGBn[1]);

  const std::vector<std::string> want = {"42/2/color samples 0 out of range",
                                         "43/1/no samples-to-RGB matrix for 2 color samples",
                                         "43/1/no RGB-to-samples matrix for 2 color samples"};
  EXPECT_EQ(want, gReports);
}

TEST_F(ColorTest, VariadicMinMaxArePerComponent) {
  const Color a(1, 5, 3), b(2, 0, NAN), c(0, 5, 4);
  // Not the smallest colour: each component on its own.
  expectColor(Color(0, 0, 3), cminv(3, a, b, c));
  expectColor(Color(2, 5, 4), cmaxv(3, a, b, c));
  // A NaN never replaces the running value, except as the first value.
  const Color m = cminv(2, b, a);
  EXPECT_TRUE(std::isnan(m.b));
  expectColor(a, cmaxv(1, a));
  expectColor(gBlack, cmaxv(0));
  EXPECT_TRUE(gReports.empty());
}

TEST_F(ColorTest, PairwiseMinMaxTiesAndNaNTakeSecond) {
  const Color a(1, NAN, -0.0f), b(2, 7, 0.0f);
  const Color lo = min(a, b), hi = max(a, b);
  EXPECT_EQ(1.0f, lo.r);
  EXPECT_EQ(7.0f, lo.g);
  EXPECT_FALSE(std::signbit(lo.b));  // -0 and 0 tie: b's +0
  EXPECT_EQ(2.0f, hi.r);
  EXPECT_EQ(7.0f, hi.g);
}

TEST_F(ColorTest, ClampMixAndInterpolation) {
  expectColor(Color(0, 0.5f, 1), cclamp(Color(-1, 0.5f, 2), gBlack, gWhite));
  const Color a(0.1f, 0.2f, 0.3f), b(1e8f, -3, 5);
  // t = 0 returns a exactly and t = 1 reaches b (the a + (b - a) t form).
  expectColor(a, cmix(a, b, 0.0f));
  expectColor(Color(2.0f, 2.5f, 3.0f), lerp(0.5f, Color(1, 2, 3), Color(3, 3, 3)));
  const Color c00(0, 0, 0), c10(1, 0, 0), c01(0, 1, 0), c11(0, 0, 1);
  expectColor(c10, bilerp(1, 0, c00, c10, c01, c11));
  expectColor(c01, bilerp(0, 1, c00, c10, c01, c11));
  expectColor(Color(0.25f, 0.25f, 0.25f), bilerp(0.5f, 0.5f, c00, c10, c01, c11));
  const Color k[8] = {Color(0, 0, 0), Color(1, 0, 0), Color(2, 0, 0), Color(3, 0, 0),
                      Color(4, 0, 0), Color(5, 0, 0), Color(6, 0, 0), Color(7, 1, 2)};
  for (int i = 0; i < 8; ++i)
    expectColor(
        k[i], trilerp(i & 1, (i >> 1) & 1, i >> 2, k[0], k[1], k[2], k[3], k[4], k[5], k[6], k[7]));
}

TEST_F(ColorTest, RandomDrawsRedGreenBlueInOrder) {
  // Predict the next three draws of the shared generator from its state.
  long seed = llrandom();
  float want[3];
  for (float& w : want) {
    seed = static_cast<long>((16807LL * seed) % 2147483647LL);
    w = static_cast<float>(seed) * 4.656612873077393e-10f;
  }
  expectColor(Color(want[0], want[1], want[2]), crandom());
}

TEST_F(ColorTest, StreamOutput) {
  std::ostringstream o;
  o << Color(1, 0.5f, 0);
  EXPECT_EQ("[1 0.5 0]", o.str());
}

// With stand-in noises that echo their arguments, each channel shows exactly
// which shifted argument it was given; periods pass through unchanged.
TEST(ColorNoise, ShiftsEachChannelThroughTheReplaceablePointers) {
  float (*saved1)(float) = fnoisef;
  float (*savedP)(const Point*) = fnoisep;
  fnoisef = [](float x) { return x; };
  fnoisep = [](const Point* p) { return p->x + p->y + p->z; };
  const float x = 0.5f;
  const float g = static_cast<float>(x + 123.456), b = static_cast<float>(x + 456.789);
  const Point p(x, x, x), period(10, 10, 10);
  expectColor(Color(x, g, b), cnoisef(x));
  expectColor(Color(3 * x, 3 * g, 3 * b), cnoisep(&p));
  expectColor(Color(x, std::fmod(g, 10.0f), std::fmod(b, 10.0f)), cpernoisef(x, 10));
  EXPECT_FLOAT_EQ(3 * std::fmod(b, 10.0f), cpernoisep(&p, &period).b);
  fnoisef = saved1;
  fnoisep = savedP;
  // The real noise: r is the float noise itself and the channels differ.
  const Color n = cnoisep(&p);
  EXPECT_EQ(fnoisep(&p), n.r);
  EXPECT_NE(n.r, n.g);
  EXPECT_EQ(Color(fnoiseff(x, 2), fnoiseff(g, static_cast<float>(2 + 123.456)),
                  fnoiseff(b, static_cast<float>(2 + 456.789))),
            cnoiseff(x, 2));
}

TEST(ColorNoise, CellNoiseShiftsByWholeCells) {
  EXPECT_EQ(Color(fcellnoisef(2.5f), fcellnoisef(125.5f), fcellnoisef(458.5f)), ccellnoisef(2.5f));
  EXPECT_EQ(Color(fcellnoiseff(1, 2), fcellnoiseff(124, 236), fcellnoiseff(346, 458)),
            ccellnoiseff(1, 2));
  const Point p(1, 2, 3), g(124, 125, 126), b(346, 347, 348), b2(457, 458, 459);
  EXPECT_EQ(Color(fcellnoisep(&p), fcellnoisep(&g), fcellnoisep(&b2)), ccellnoisep(&p));
  EXPECT_EQ(Color(fcellnoisepf(&p, 4), fcellnoisepf(&g, 238), fcellnoisepf(&b, 460)),
            ccellnoisepf(&p, 4));
}
