// slrt: conversion between RGB and the named colour spaces.
//
// The matrix constants are the NTSC RGB/XYZ pair and its inverse as printed
// to six significant figures, and the YIQ pair likewise.  They are used as
// given, not recomputed as exact inverses, so a round trip through a space
// is exact only to about 1e-4; colours shaded with them must not shift.
#include <slrt/color/color.h>
#include <slrt/pattern/scalar.h>

#include <cmath>
#include <cstring>

namespace {

enum class Space { kRGB, kXYZ, kxyY, kYIQ, kHSV, kHSL };

// Names are told apart by their first character and only then compared
// whole; a name starting with 'r' is RGB whatever follows.  Unknown names
// are RGB as well, silently: shaders may name spaces this library lacks.
Space spaceByName(const char* name) {
  if (!name) return Space::kRGB;
  switch (name[0]) {
    case 'X':
      if (!std::strcmp(name, "XYZ")) return Space::kXYZ;
      break;
    case 'Y':
      if (!std::strcmp(name, "YIQ")) return Space::kYIQ;
      break;
    case 'h':
      if (!std::strcmp(name, "hsv")) return Space::kHSV;
      if (!std::strcmp(name, "hsl")) return Space::kHSL;
      break;
    case 'x':
      if (!std::strcmp(name, "xyz")) return Space::kXYZ;
      if (!std::strcmp(name, "xyY")) return Space::kxyY;
      break;
    default:
      break;
  }
  return Space::kRGB;
}

// A 3x3 matrix applied to a column (a, b, c) in double precision, each
// component rounded to float once at the end.
struct Mat3 {
  double m[3][3];
  Color apply(double a, double b, double c) const {
    return Color(static_cast<float>(m[0][0] * a + m[0][1] * b + m[0][2] * c),
                 static_cast<float>(m[1][0] * a + m[1][1] * b + m[1][2] * c),
                 static_cast<float>(m[2][0] * a + m[2][1] * b + m[2][2] * c));
  }
};

constexpr Mat3 kRGBtoXYZ = {{{0.607, 0.174, 0.2}, {0.299, 0.587, 0.114}, {0.0, 0.066, 1.116}}};
constexpr Mat3 kXYZtoRGB = {{{1.90985, -0.532414, -0.288187},
                             {-0.984623, 1.99908, -0.028307},
                             {0.058331, -0.118429, 0.897936}}};
constexpr Mat3 kRGBtoYIQ = {
    {{0.299, 0.587, 0.114}, {0.596, -0.275, -0.321}, {0.212, -0.523, 0.311}}};
constexpr Mat3 kYIQtoRGB = {
    {{1.0, 0.956084, 0.620889}, {1.0, -0.271535, -0.648515}, {1.0, -1.10562, 1.7025}}};

inline float clamp01(float x) {
  return x < 0.0f ? 0.0f : x > 1.0f ? 1.0f : x;
}

// Hue in [0, 1) shared by hsv and hsl.  There is no guard for a zero spread:
// a grey that reaches here divides 0 by 0 and its hue is NaN.
float hue(float r, float g, float b, float mx, float delta) {
  float h;
  if (r == mx)
    h = (g - b) / delta;
  else if (g == mx)
    h = 2.0f + (b - r) / delta;
  else
    h = 4.0f + (r - g) / delta;
  h *= 60.0f;
  if (h < 0.0f) h += 360.0f;
  return h / 360.0f;
}

// The extremes go through the scalar array scans so that NaN components are
// treated as by fmaxv/fminv (a NaN never replaces the running value).
void extremes(const Color& c, float& mx, float& mn) {
  const float v[3] = {c.r, c.g, c.b};
  mx = vmax(3, v);
  mn = vmin(3, v);
}

Color rgbToHSV(const Color& c) {
  float mx, mn;
  extremes(c, mx, mn);
  const float delta = mx - mn;
  // Black has hue -1; a non-black grey is not special-cased (hue NaN).
  if (mx == 0.0f) return Color(-1.0f, 0.0f, mx);
  return Color(hue(c.r, c.g, c.b, mx, delta), delta / mx, mx);
}

Color rgbToHSL(const Color& c) {
  float mx, mn;
  extremes(c, mx, mn);
  const float delta = mx - mn;
  // Unlike hsv, every grey (within the float epsilon) has hue 0 here.
  const float eps = 1.1920929e-7f;
  if (delta > -eps && delta < eps) return Color(0.0f, 0.0f, mx);
  const float l = 0.5f * (mx + mn);
  const float s = l < 0.5f ? delta / (mx + mn) : delta / (2.0f - mx - mn);
  return Color(hue(c.r, c.g, c.b, mx, delta), s, l);
}

Color rgbToxyY(const Color& c) {
  const Color xyz = kRGBtoXYZ.apply(c.r, c.g, c.b);
  const float s = xyz.r + xyz.g + xyz.b;
  // A non-positive (or NaN) sum has no chromaticity: the unnormalised XYZ
  // is returned, which keeps black at (0, 0, 0).
  if (!(s > 0.0f)) return xyz;
  const float k = 1.0f / s;
  return Color(xyz.r * k, xyz.g * k, xyz.g);
}

Color toSpace(Space space, const Color& c) {
  switch (space) {
    case Space::kXYZ:
      return kRGBtoXYZ.apply(c.r, c.g, c.b);
    case Space::kYIQ:
      return kRGBtoYIQ.apply(c.r, c.g, c.b);
    case Space::kxyY:
      return rgbToxyY(c);
    case Space::kHSV:
      return rgbToHSV(c);
    case Space::kHSL:
      return rgbToHSL(c);
    case Space::kRGB:
      break;
  }
  return c;
}

Color hsvToRGB(float h, float s, float v) {
  s = clamp01(s);
  // Saturation zero short-cuts before V is clamped, so an out-of-range V
  // survives as a grey.
  if (s == 0.0f) return Color(v, v, v);
  h = clamp01(h) * 360.0f;
  v = clamp01(v);
  if (h == 360.0f) h = 0.0f;
  const float sector = std::floor(h / 60.0f);
  const float f = h / 60.0f - sector;
  const float p = v * (1.0f - s);
  const float q = v * (1.0f - s * f);
  const float t = v * (1.0f - s * (1.0f - f));
  // A NaN hue has no sector; it takes sector 0's arrangement.
  const int i = (sector >= 0.0f && sector < 6.0f) ? static_cast<int>(sector) : 0;
  switch (i) {
    case 1:
      return Color(q, v, p);
    case 2:
      return Color(p, v, t);
    case 3:
      return Color(p, q, v);
    case 4:
      return Color(t, p, v);
    case 5:
      return Color(v, p, q);
    default:
      return Color(v, t, p);
  }
}

float hslValue(float m1, float m2, float a) {
  if (a >= 360.0f)
    a -= 360.0f;
  else if (a < 0.0f)
    a += 360.0f;
  if (a < 60.0f) return m1 + (m2 - m1) * a / 60.0f;
  if (a < 180.0f) return m2;
  if (a < 240.0f) return m1 + (m2 - m1) * (240.0f - a) / 60.0f;
  return m1;
}

Color hslToRGB(float h, float s, float l) {
  s = clamp01(s);
  if (s == 0.0f) return Color(l, l, l);
  h = clamp01(h) * 360.0f;
  l = clamp01(l);
  const float m2 = l <= 0.5f ? l * (1.0f + s) : l + s - l * s;
  const float m1 = 2.0f * l - m2;
  return Color(hslValue(m1, m2, h + 120.0f), hslValue(m1, m2, h), hslValue(m1, m2, h - 120.0f));
}

Color xyYToRGB(float x, float y, float yy) {
  // y = 0 is deliberately unguarded: the result is infinite or NaN.
  const float bigX = yy * x / y;
  const float bigZ = yy * (1.0f - x - y) / y;
  return kXYZtoRGB.apply(bigX, yy, bigZ);
}

Color fromSpace(Space space, const Color& c) {
  switch (space) {
    case Space::kXYZ:
      return kXYZtoRGB.apply(c.r, c.g, c.b);
    case Space::kYIQ:
      return kYIQtoRGB.apply(c.r, c.g, c.b);
    case Space::kxyY:
      return xyYToRGB(c.r, c.g, c.b);
    case Space::kHSV:
      return hsvToRGB(c.r, c.g, c.b);
    case Space::kHSL:
      return hslToRGB(c.r, c.g, c.b);
    case Space::kRGB:
      break;
  }
  return c;
}

}  // namespace

Color ctransforms(const char* tospace, const Color& rgb) {
  return toSpace(spaceByName(tospace), rgb);
}

Color ctransformss(const char* fromspace, const char* tospace, const Color& c) {
  return toSpace(spaceByName(tospace), fromSpace(spaceByName(fromspace), c));
}

Color hsv(const float* in) {
  return hsvToRGB(in[0], in[1], in[2]);
}
Color hsl(const float* in) {
  return hslToRGB(in[0], in[1], in[2]);
}
Color xyY(const float* in) {
  return xyYToRGB(in[0], in[1], in[2]);
}
Color XYZ(const float* in) {
  return kXYZtoRGB.apply(in[0], in[1], in[2]);
}
Color YIQ(const float* in) {
  return kYIQtoRGB.apply(in[0], in[1], in[2]);
}
