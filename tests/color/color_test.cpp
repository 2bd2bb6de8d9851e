// Tests for the Color value, host-colour conversion and the per-component
// colour built-ins.
#include <gtest/gtest.h>
#include <slrt/color/color.h>
#include <slrt/pattern/noise.h>
#include <slrt/pattern/scalar.h>

#include <climits>
#include <cmath>
#include <string>
#include <vector>

#include "support/capture.h"

namespace {

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

// Four host samples: RGB -> samples gives (r, r+g, g+b, b); samples -> RGB
// takes r from sample 0, g from sample 2 minus sample 3, b from sample 3 and
// ignores sample 1.  Colours survive out and back exactly; samples do not.
const float kRGBn[3 * 4] = {1, 1, 0, 0, /* r */ 0, 1, 1, 0, /* g */ 0, 0, 1, 1 /* b */};
const float kNRGB[4 * 3] = {1, 0, 0, 0, 0, 0, 0, 1, 0, 0, -1, 1};

}  // namespace

TEST_F(ColorTest, ComponentIndexTruncatesAndIsRangeChecked) {
  const Color c(0.25f, 0.5f, 0.75f);
  EXPECT_TRUE(compc(c, 2.9f) == 0.75f && compc(c, -0.5f) == 0.25f && compc(c, 1.0f) == 0.5f);
  Color d = c;
  setcompc(d, 1.99f, 9.0f);
  EXPECT_EQ(Color(0.25f, 9.0f, 0.75f), d);
  EXPECT_TRUE(gReports.empty());
  // Out of range: reported, 0 read, nothing written.
  EXPECT_EQ(0.0f, compc(c, 3.0f));
  resetErrorRepeat();
  d = c;
  setcompc(d, -1.0f, 9.0f);
  EXPECT_EQ(c, d);
  resetErrorRepeat();
  EXPECT_EQ(0.0f, compc(c, NAN));
  resetErrorRepeat();
  EXPECT_EQ(0.0f, compc(c, 0x1.ffp62f));  // still fits a long: reported as itself
  const std::vector<std::string> want = {
      "42/1/color component 3 out of range", "42/1/color component -1 out of range",
      "42/1/color component " + std::to_string(LONG_MIN) + " out of range",
      "42/1/color component " + std::to_string(static_cast<long>(0x1.ffp62)) + " out of range"};
  EXPECT_EQ(want, gReports);
}

TEST_F(ColorTest, NSampleConversionRoundTrip) {
  Color::colorSpace(0, 4, kNRGB, kRGBn);
  ASSERT_TRUE(gReports.empty());
  const Color c(0.5f, 0.25f, 2.0f);
  float s[4];
  c.toNsamples(s);
  EXPECT_EQ((std::vector<float>{0.5f, 0.75f, 2.25f, 2.0f}), std::vector<float>(s, s + 4));
  EXPECT_EQ(c, Color(s));
  // Component access reads and writes samples, not r, g, b.
  EXPECT_TRUE(compc(c, 1.0f) == 0.75f && compc(c, 3.0f) == 2.0f);
  Color d = c;
  setcompc(d, 1.0f, 100.0f);  // sample 1 carries no weight back to RGB
  EXPECT_EQ(c, d);
  setcompc(d, 3.0f, 3.0f);  // sample 3 feeds both g and b
  EXPECT_EQ(Color(0.5f, -0.75f, 3.0f), d);
  EXPECT_EQ(0.0f, compc(c, 4.0f));
  EXPECT_EQ(std::vector<std::string>{"42/1/color component 4 out of range"}, gReports);
}

TEST_F(ColorTest, ColorSpaceOwnsCopiesAndRejectsBadCounts) {
  std::vector<float> rgbn(kRGBn, kRGBn + 12), nrgb(kNRGB, kNRGB + 12);
  Color::colorSpace(0, 4, nrgb.data(), rgbn.data());
  rgbn[0] = nrgb[0] = 7.0f;  // the library kept its own copies
  EXPECT_EQ(0.5f, compc(Color(0.5f, 0.25f, 2.0f), 0.0f));
  Color::colorSpace(0, 0, kNRGB, kRGBn);
  EXPECT_EQ(4, Color::fColorSamples);  // refused: nothing changed
  Color::colorSpace(0, 2, nullptr, nullptr);
  // Without matrices the conversions yield zeros rather than reading null.
  float s[2] = {1.0f, 1.0f};
  Color(1, 2, 3).toNsamples(s);
  EXPECT_EQ(0.0f, s[1]);
  EXPECT_EQ(gBlack, Color(s));
  // Matrices are copied even for RGB host colours.
  Color::colorSpace(1, 4, kNRGB, kRGBn);
  ASSERT_NE(nullptr, Color::fRGBn);
  EXPECT_EQ(1.0f, Color::fRGBn[1]);
  EXPECT_EQ(std::vector<std::string>{"42/2/color samples 0 out of range"}, gReports);
}

TEST_F(ColorTest, MinMaxArePerComponent) {
  const Color a(1, 5, 3), b(2, 0, NAN), c(0, 5, 4);
  EXPECT_EQ(Color(0, 0, 3), cminv(3, a, b, c));  // not the smallest colour
  EXPECT_EQ(Color(2, 5, 4), cmaxv(3, a, b, c));
  EXPECT_TRUE(std::isnan(cminv(2, b, a).b));  // a NaN stays only as the first value
  EXPECT_TRUE(cmaxv(1, a) == a && cmaxv(0) == gBlack);
  // Pairwise: ties and NaN take the second argument.
  const Color lo = min(Color(1, NAN, -0.0f), Color(2, 7, 0.0f));
  EXPECT_TRUE(lo.r == 1 && lo.g == 7 && !std::signbit(lo.b)) << lo;
  EXPECT_EQ(Color(2, 7, 0), max(Color(1, NAN, -0.0f), Color(2, 7, 0.0f)));
  EXPECT_TRUE(gReports.empty());
}

TEST_F(ColorTest, ClampMixAndInterpolation) {
  EXPECT_EQ(Color(0, 0.5f, 1), cclamp(Color(-1, 0.5f, 2), gBlack, gWhite));
  const Color a(0.1f, 0.2f, 0.3f), b(1e8f, -3, 5);
  EXPECT_EQ(a, cmix(a, b, 0.0f));  // exactly a, despite the large b
  EXPECT_EQ(Color(2.0f, 2.5f, 3.0f), lerp(0.5f, Color(1, 2, 3), Color(3, 3, 3)));
  const Color k[8] = {Color(0, 0, 0), Color(1, 0, 0), Color(0, 1, 0), Color(0, 0, 1),
                      Color(4, 0, 0), Color(5, 0, 0), Color(6, 0, 0), Color(7, 1, 2)};
  for (int i = 0; i < 4; ++i) EXPECT_EQ(k[i], bilerp(i & 1, i >> 1, k[0], k[1], k[2], k[3])) << i;
  EXPECT_EQ(Color(0.25f, 0.25f, 0.25f), bilerp(0.5f, 0.5f, k[0], k[1], k[2], k[3]));
  for (int i = 0; i < 8; ++i)
    EXPECT_EQ(k[i],
              trilerp(i & 1, (i >> 1) & 1, i >> 2, k[0], k[1], k[2], k[3], k[4], k[5], k[6], k[7]));
  EXPECT_EQ("[1 0.5 0]", ::testing::PrintToString(Color(1, 0.5f, 0)));  // via operator<<
}

TEST_F(ColorTest, RandomDrawsRedGreenBlueInOrder) {
  const long s1 = llrandom(), s2 = 16807LL * s1 % 2147483647, s3 = 16807LL * s2 % 2147483647,
             s4 = 16807LL * s3 % 2147483647;  // the shared generator's next three draws
  const float k = 4.656612873077393e-10f;
  EXPECT_EQ(Color(s2 * k, s3 * k, s4 * k), crandom());
}

// With stand-in noises that echo their arguments, each channel shows which
// shifted argument it was given; periods pass through unchanged.
TEST(ColorNoise, ShiftsEachChannelThroughTheReplaceablePointers) {
  fnoisef = [](float x) { return x; };
  fnoisep = [](const Point* p) { return p->x + p->y + p->z; };
  const float x = 0.5f, g = static_cast<float>(x + 123.456), b = static_cast<float>(x + 456.789);
  const Point p(x, x, x), period(10, 10, 10);
  EXPECT_EQ(Color(x, g, b), cnoisef(x));
  EXPECT_EQ(Color(x, std::fmod(g, 10.0f), std::fmod(b, 10.0f)), cpernoisef(x, 10));
  EXPECT_FLOAT_EQ(3 * std::fmod(b, 10.0f), cpernoisep(&p, &period).b);
  fnoisef = fperlinf;
  fnoisep = fperlinp;
  EXPECT_EQ(Color(fnoiseff(x, 2), fnoiseff(g, static_cast<float>(2 + 123.456)),
                  fnoiseff(b, static_cast<float>(2 + 456.789))),
            cnoiseff(x, 2));
  // Cell noise shifts by whole cells, with its own offsets for the second argument.
  EXPECT_EQ(Color(fcellnoisef(2.5f), fcellnoisef(125.5f), fcellnoisef(458.5f)), ccellnoisef(2.5f));
  EXPECT_EQ(Color(fcellnoiseff(1, 2), fcellnoiseff(124, 236), fcellnoiseff(346, 458)),
            ccellnoiseff(1, 2));
  const Point q(1, 2, 3), qg(124, 125, 126), qb(346, 347, 348), qb2(457, 458, 459);
  EXPECT_EQ(Color(fcellnoisep(&q), fcellnoisep(&qg), fcellnoisep(&qb2)), ccellnoisep(&q));
  EXPECT_EQ(Color(fcellnoisepf(&q, 4), fcellnoisepf(&qg, 238), fcellnoisepf(&qb, 460)),
            ccellnoisepf(&q, 4));
}
