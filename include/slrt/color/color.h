// slrt: colour values and colour spaces.
//
// A shading colour is always held as RGB, three floats, whatever number of
// samples the host's colours have; host colours are converted on the way in
// (Color(const float*), fromNsamples) and on the way out (toNsamples) through
// two process-wide matrices set by Color::colorSpace.
//
//   Color:   | r | g | b |        12 bytes, trivially copyable
//
// Colours travel through variadic lists by value (va_arg(ap, Color)), which
// is how compiled shaders pass them to cminv/cmaxv and csplinev.
#ifndef SLRT_COLOR_COLOR_H
#define SLRT_COLOR_COLOR_H

#include <slrt/export.h>
#include <slrt/geometry/point.h>

#include <ostream>

/// The colour value.
///
/// Process-wide description of the host's colours (set by colorSpace, read
/// by every conversion):
///
/// | member        | type   | initial | meaning                                   |
/// |---------------|--------|---------|-------------------------------------------|
/// | fIsRGB        | short  | 1       | non-zero: host colours are RGB triples     |
/// | fColorSamples | long   | 3       | samples n of a host colour                 |
/// | fnRGB         | float* | null    | n rows of 3: sample i -> (r, g, b) weights |
/// | fRGBn         | float* | null    | 3 rows of n: r, g, b -> sample weights     |
///
/// The matrices are owned by the class and replaced (old ones freed) by each
/// colorSpace call.  When fIsRGB is zero and a matrix is missing, the
/// conversion that needs it yields zeros instead of reading through null.
class SLRT_API Color {
 public:
  float r, g, b;

  Color() = default;
  constexpr Color(float ar, float ag, float ab) : r(ar), g(ag), b(ab) {}
  /// From a host colour: v[0..2] when fIsRGB, else fromNsamples(v).
  explicit Color(const float* v);

  /// Describes the host's colours.  Copies nRGB (3n floats) and RGBn (3n
  /// floats) into class-owned storage, also when isRGB is non-zero; a null
  /// matrix leaves that member null.
  ///
  /// Errors: a sample count outside [1, 65536] while a matrix is given or
  /// isRGB is zero: code 42, severity 2, "color samples %ld out of range",
  /// nothing changes.  isRGB zero with a missing matrix is accepted silently
  /// (the conversions needing it give zeros).
  static void colorSpace(short isRGB, long n, const float* nRGB, const float* RGBn);

  /// Writes the colour as a host colour: 3 floats when fIsRGB, else the
  /// fColorSamples samples r*RGBn[j] + g*RGBn[n+j] + b*RGBn[2n+j].
  void toNsamples(float* out) const;
  /// Reads a host colour: copies in[0..2] when fIsRGB, else accumulates
  /// in[i] * fnRGB[3i+k] into component k.
  void fromNsamples(const float* in);

  Color operator+(const Color& c) const { return Color(r + c.r, g + c.g, b + c.b); }
  Color operator-(const Color& c) const { return Color(r - c.r, g - c.g, b - c.b); }
  Color operator*(const Color& c) const { return Color(r * c.r, g * c.g, b * c.b); }
  Color operator*(float s) const { return Color(r * s, g * s, b * s); }
  Color& operator+=(const Color& c) {
    r += c.r;
    g += c.g;
    b += c.b;
    return *this;
  }
  Color& operator*=(float s) {
    r *= s;
    g *= s;
    b *= s;
    return *this;
  }
  bool operator==(const Color& c) const { return r == c.r && g == c.g && b == c.b; }
  bool operator!=(const Color& c) const { return !(*this == c); }
  float operator[](int i) const { return (&r)[i]; }
  float& operator[](int i) { return (&r)[i]; }

  static short fIsRGB;
  static long fColorSamples;
  static float* fnRGB;
  static float* fRGBn;
};

inline Color operator*(float s, const Color& c) {
  return c * s;
}

/// Writes "[r g b]", each component as a double in the stream's current
/// format, no newline.
inline std::ostream& operator<<(std::ostream& o, const Color& c) {
  return o << '[' << double(c.r) << ' ' << double(c.g) << ' ' << double(c.b) << ']';
}

/// Black (0, 0, 0) and white (1, 1, 1), constant-initialised so that other
/// static initialisers may use them.
SLRT_API extern const Color gBlack;
SLRT_API extern const Color gWhite;

SLRT_C_BEGIN

/// Component access by a float index, truncated toward zero; valid indices
/// are 0 .. fColorSamples-1.  With RGB host colours index 1 is g, 2 is b and
/// any other valid index r; otherwise the colour is expanded to its samples
/// and sample i read or replaced (setcompc rebuilds r, g, b from the samples,
/// so unless the two matrices are inverse the other components move too).
///
/// Errors: index out of range: code 42, severity 1,
/// "color component %ld out of range"; compc returns 0, setcompc leaves c
/// as it was.  A NaN or enormous index is reported as the index the hardware
/// truncation gives, LONG_MIN.
SLRT_API float compc(const Color& c, float index);
SLRT_API void setcompc(Color& c, float index, float value);

/// Per component: lo where c < lo, else hi where c > hi, else c.
SLRT_API Color cclamp(const Color& c, const Color& lo, const Color& hi);
/// Per component a + (b - a) t.
SLRT_API Color cmix(const Color& a, const Color& b, float t);
/// (frandom(), frandom(), frandom()), drawn r, g, b from the shared generator.
SLRT_API Color crandom(void);
/// Per-component minimum / maximum of n colours passed by value after n (not
/// the smallest colour).  Ties keep the earlier value, NaN never wins.
/// n < 1 gives black.  Errors: n above 65536: code 13, severity 2,
/// "%s: too many values (%ld)", black.
SLRT_API Color cminv(long n, ...);
SLRT_API Color cmaxv(long n, ...);

/// Colour-space conversion.  Space names are matched by first character and
/// then compared whole, case-sensitively:
///
/// | first | names                      |
/// |-------|----------------------------|
/// | 'X'   | "XYZ"                      |
/// | 'Y'   | "YIQ"                      |
/// | 'h'   | "hsv", "hsl"               |
/// | 'x'   | "xyz" (as "XYZ"), "xyY"    |
/// | 'r'   | anything: RGB              |
///
/// Any other name (and a null one) is RGB: the colour passes unchanged and
/// nothing is reported.
///
/// RGB -> space quirks kept on purpose: "hsv" of black is (-1, 0, 0) and of
/// a non-black grey has hue NaN; "hsl" of any grey is (0, 0, L); "xyY" of a
/// colour whose X+Y+Z is not positive is (X, Y, Z) unnormalised.
/// Space -> RGB: "hsv"/"hsl" clamp S, and when S is 0 return the unclamped
/// V (or L) grey; otherwise H (clamped to [0,1], not wrapped) and V/L are
/// clamped.  "xyY" with y = 0 is not guarded.
SLRT_API Color ctransforms(const char* tospace, const Color& rgb);
/// c read as fromspace, converted to RGB, then to tospace.
SLRT_API Color ctransformss(const char* fromspace, const char* tospace, const Color& c);

/// The RGB colour of three values given in the named space.
SLRT_API Color hsv(const float* in);
SLRT_API Color hsl(const float* in);
SLRT_API Color xyY(const float* in);
SLRT_API Color XYZ(const float* in);
SLRT_API Color YIQ(const float* in);

/// Colour noise: r is the float noise at the argument, g and b the same
/// noise with every coordinate of the argument shifted; periods are passed
/// unchanged.  The gradient forms call through the replaceable fnoise*
/// pointers (directly or through fpernoise*), so replacing a noise changes
/// the colour noise too.
///
/// | wrapper                   | float noise      | g shift            | b shift            |
/// |---------------------------|------------------|--------------------|--------------------|
/// | cnoisef/ff/p/pf           | fnoise*          | +123.456           | +456.789           |
/// | cpernoisef/ff/p/pf        | fpernoise*       | +123.456           | +456.789           |
/// | ccellnoisef, ccellnoisep  | fcellnoisef/p    | +123               | +456               |
/// | ccellnoiseff(x, y)        | fcellnoiseff     | x + 123, y + 234   | x + 345, y + 456   |
/// | ccellnoisepf(p, t)        | fcellnoisepf     | p + 123, t + 234   | p + 345, t + 456   |
///
/// The fractional shifts are added in double and rounded to float, as a
/// float argument plus a double constant is, matching the point noises.
SLRT_API Color cnoisef(float x);
SLRT_API Color cnoiseff(float x, float y);
SLRT_API Color cnoisep(const Point* p);
SLRT_API Color cnoisepf(const Point* p, float t);
SLRT_API Color cpernoisef(float x, float px);
SLRT_API Color cpernoiseff(float x, float y, float px, float py);
SLRT_API Color cpernoisep(const Point* p, const Point* period);
SLRT_API Color cpernoisepf(const Point* p, float t, const Point* pp, float pt);
SLRT_API Color ccellnoisef(float x);
SLRT_API Color ccellnoiseff(float x, float y);
SLRT_API Color ccellnoisep(const Point* p);
SLRT_API Color ccellnoisepf(const Point* p, float t);

SLRT_C_END

/// Per component: min takes a where a < b, else b (ties and NaN give b);
/// max likewise with >.
SLRT_API Color min(const Color& a, const Color& b);
SLRT_API Color max(const Color& a, const Color& b);
/// Per component a + (b - a) t.
SLRT_API Color lerp(float t, const Color& a, const Color& b);
/// Per-component scalar bilerp/trilerp, same corner orders: bilerp corners at
/// (0,0), (1,0), (0,1), (1,1); trilerp pairs along u, then v, then w.
SLRT_API Color bilerp(float u, float v, const Color& c00, const Color& c10, const Color& c01,
                      const Color& c11);
SLRT_API Color trilerp(float u, float v, float w, const Color& c0, const Color& c1, const Color& c2,
                       const Color& c3, const Color& c4, const Color& c5, const Color& c6,
                       const Color& c7);

#endif  // SLRT_COLOR_COLOR_H
