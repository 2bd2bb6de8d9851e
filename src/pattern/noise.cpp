// slrt: gradient, periodic, cell and point-valued noise.
//
// Gradient noise is evaluated once per shading point for most shaders, so the
// lattice work is written out in full: byte masks instead of modulo, table
// reads inlined, and the interpolation done here in the same p + (q - p) t
// order as bilerp/trilerp/quadlerp, so results are bit-identical to those
// helpers without paying for their out-of-line calls.
#include <slrt/pattern/noise.h>

#include <cmath>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "pattern/noise_pvt.h"

using slrt_detail::LatticeAxis;
using slrt_detail::truncToInt;

namespace {

inline float lerp(float t, float p, float q) {
  return p + (q - p) * t;
}

// Hermite weight of an offset inside a cell: f^2 (3 - 2f).
inline float smoothWeight(float f) {
  return f * f * (3.0f - 2.0f * f);
}

// Dot products with the stored gradients.  The 3-D table is packed by threes
// but read by fours; see the header.
inline float dot2(int h, float x, float y) {
  return grad2[h][0] * x + grad2[h][1] * y;
}
inline float dot3(int h, float x, float y, float z) {
  const float* g = grad3 + 4 * h;
  return g[0] * x + g[1] * y + g[2] * z;
}
inline float dot4(int h, float x, float y, float z, float w) {
  const float* g = grad4[h];
  return g[0] * x + g[1] * y + g[2] * z + g[3] * w;
}

// Result scale per dimension, 1/sqrt(n), so that the nominal range is [0, 1].
constexpr float kScale2 = 0.70710677f;
constexpr float kScale3 = 0.57735026f;
constexpr float kScale4 = 0.5f;

// Cell-noise cell of one coordinate.  A negative coordinate drops by one
// before truncation, so -2.0 shares a cell with -2.5 (not with -1.5, as floor
// would have it); integers below zero land one cell lower than floor gives.
inline int cellIndex(float x) {
  const double v = x < 0.0f ? static_cast<double>(x) - 1.0 : static_cast<double>(x);
  return truncToInt(v) & 4095;
}

}  // namespace

float fperlinf(float x) {
  const LatticeAxis ax(x);
  const float s = smoothWeight(ax.frac);
  // One dimension needs no permutation: grad1 is indexed by the cell itself.
  const float a = grad1[ax.cell] * ax.frac;
  const float b = grad1[(ax.cell + 1) & 255] * (ax.frac - 1.0f);
  return 0.5f + lerp(s, a, b);
}

float fperlinff(float x, float y) {
  const LatticeAxis ax(x), ay(y);
  const float sx = smoothWeight(ax.frac), sy = smoothWeight(ay.frac);
  const float fx0 = ax.frac, fx1 = ax.frac - 1.0f;
  const float fy0 = ay.frac, fy1 = ay.frac - 1.0f;
  const int px0 = perm[ax.cell], px1 = perm[(ax.cell + 1) & 255];
  const int by0 = ay.cell, by1 = (ay.cell + 1) & 255;

  const float c00 = dot2(px0 + by0, fx0, fy0);
  const float c10 = dot2(px1 + by0, fx1, fy0);
  const float c01 = dot2(px0 + by1, fx0, fy1);
  const float c11 = dot2(px1 + by1, fx1, fy1);
  return 0.5f + kScale2 * lerp(sy, lerp(sx, c00, c10), lerp(sx, c01, c11));
}

#if defined(__SSE2__)
// The eight corners go through SSE as two groups of four: the corners at
// x = 0 and those at x = 1, each ordered (y, z) = (0,0), (0,1), (1,0), (1,1).
// Lane by lane the arithmetic is the scalar code's, operation for operation
// (g.x*x + g.y*y, then + g.z*z; p + (q - p) t), so the result is bit-identical
// to the portable path below.
float fperlinp(const Point* p) {
  // The lattice split of all three axes at once, as LatticeAxis does it.  The
  // packed truncation gives INT32_MIN for NaN and out-of-range lanes, exactly
  // as truncToInt does.
  const __m128 xyz = _mm_movelh_ps(
      _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(&p->x)), _mm_load_ss(&p->z));
  const __m128 shifted = _mm_add_ps(xyz, _mm_set1_ps(4096.0f));
  const __m128i i = _mm_cvttps_epi32(shifted);
  const __m128 f = _mm_sub_ps(shifted, _mm_cvtepi32_ps(i));
  const __m128 f1 = _mm_sub_ps(f, _mm_set1_ps(1.0f));
  const __m128 s =
      _mm_mul_ps(_mm_mul_ps(f, f), _mm_sub_ps(_mm_set1_ps(3.0f), _mm_mul_ps(_mm_set1_ps(2.0f), f)));
  const __m128i cells = _mm_and_si128(i, _mm_set1_epi32(255));
  // Unsigned indices all the way, so no sign extension sits on the path.
  const unsigned cx = static_cast<unsigned>(_mm_cvtsi128_si32(cells));
  const unsigned cy = static_cast<unsigned>(_mm_extract_epi16(cells, 2));
  const unsigned cz = static_cast<unsigned>(_mm_extract_epi16(cells, 4));

  const unsigned px0 = perm[cx], px1 = perm[(cx + 1) & 255];
  const unsigned cy1 = (cy + 1) & 255;
  const unsigned h00 = perm[px0 + cy], h10 = perm[px1 + cy];
  const unsigned h01 = perm[px0 + cy1], h11 = perm[px1 + cy1];
  // Gradient h + cz sits at float 4 (h + cz); every such sum is at most 510,
  // so the fourth float read (4h + 3) stays inside the table.  It is the next
  // packed vector's first component and goes unused.
  const float* z0 = grad3 + 4 * cz;
  const float* z1 = grad3 + 4 * ((cz + 1) & 255);
  const __m128 g0 = _mm_loadu_ps(z0 + 4 * h00);
  const __m128 g1 = _mm_loadu_ps(z1 + 4 * h00);
  const __m128 g2 = _mm_loadu_ps(z0 + 4 * h01);
  const __m128 g3 = _mm_loadu_ps(z1 + 4 * h01);
  const __m128 g4 = _mm_loadu_ps(z0 + 4 * h10);
  const __m128 g5 = _mm_loadu_ps(z1 + 4 * h10);
  const __m128 g6 = _mm_loadu_ps(z0 + 4 * h11);
  const __m128 g7 = _mm_loadu_ps(z1 + 4 * h11);
  // Transpose to x, y and z rows (the fourth row is not needed).
  const __m128 a0 = _mm_unpacklo_ps(g0, g1), a1 = _mm_unpacklo_ps(g2, g3);
  const __m128 a2 = _mm_unpackhi_ps(g0, g1), a3 = _mm_unpackhi_ps(g2, g3);
  const __m128 b0 = _mm_unpacklo_ps(g4, g5), b1 = _mm_unpacklo_ps(g6, g7);
  const __m128 b2 = _mm_unpackhi_ps(g4, g5), b3 = _mm_unpackhi_ps(g6, g7);

  // Offsets per lane: y = (fy, fy, fy - 1, fy - 1), z = (fz, fz - 1, fz, fz - 1).
  const __m128 x01y01 = _mm_unpacklo_ps(f, f1);
  const __m128 z01 = _mm_unpackhi_ps(f, f1);
  const __m128 fy = _mm_unpackhi_ps(x01y01, x01y01);
  const __m128 fz = _mm_movelh_ps(z01, z01);
  const __m128 lo =
      _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_movelh_ps(a0, a1), _mm_shuffle_ps(f, f, 0x00)),
                            _mm_mul_ps(_mm_movehl_ps(a1, a0), fy)),
                 _mm_mul_ps(_mm_movelh_ps(a2, a3), fz));
  const __m128 hi =
      _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_movelh_ps(b0, b1), _mm_shuffle_ps(f1, f1, 0x00)),
                            _mm_mul_ps(_mm_movehl_ps(b1, b0), fy)),
                 _mm_mul_ps(_mm_movelh_ps(b2, b3), fz));

  // Along x, then along y (lanes 0, 1 against 2, 3), leaving z = 0 in lane 0
  // and z = 1 in lane 1.
  const __m128 ex = _mm_add_ps(lo, _mm_mul_ps(_mm_sub_ps(hi, lo), _mm_shuffle_ps(s, s, 0x00)));
  const __m128 ey =
      _mm_add_ps(ex, _mm_mul_ps(_mm_sub_ps(_mm_movehl_ps(ex, ex), ex), _mm_shuffle_ps(s, s, 0x55)));
  const float near = _mm_cvtss_f32(ey);
  const float far = _mm_cvtss_f32(_mm_shuffle_ps(ey, ey, 0x55));
  const float sz = _mm_cvtss_f32(_mm_movehl_ps(s, s));
  return 0.5f + kScale3 * lerp(sz, near, far);
}
#else
float fperlinp(const Point* p) {
  const LatticeAxis ax(p->x), ay(p->y), az(p->z);
  const float sx = smoothWeight(ax.frac), sy = smoothWeight(ay.frac), sz = smoothWeight(az.frac);
  const float fx0 = ax.frac, fx1 = ax.frac - 1.0f;
  const float fy0 = ay.frac, fy1 = ay.frac - 1.0f;
  const float fz0 = az.frac, fz1 = az.frac - 1.0f;
  const int px0 = perm[ax.cell], px1 = perm[(ax.cell + 1) & 255];
  const int by0 = ay.cell, by1 = (ay.cell + 1) & 255;
  const int bz0 = az.cell, bz1 = (az.cell + 1) & 255;
  const int h00 = perm[px0 + by0], h10 = perm[px1 + by0];
  const int h01 = perm[px0 + by1], h11 = perm[px1 + by1];

  const float c000 = dot3(h00 + bz0, fx0, fy0, fz0);
  const float c100 = dot3(h10 + bz0, fx1, fy0, fz0);
  const float c010 = dot3(h01 + bz0, fx0, fy1, fz0);
  const float c110 = dot3(h11 + bz0, fx1, fy1, fz0);
  const float c001 = dot3(h00 + bz1, fx0, fy0, fz1);
  const float c101 = dot3(h10 + bz1, fx1, fy0, fz1);
  const float c011 = dot3(h01 + bz1, fx0, fy1, fz1);
  const float c111 = dot3(h11 + bz1, fx1, fy1, fz1);
  const float near = lerp(sy, lerp(sx, c000, c100), lerp(sx, c010, c110));
  const float far = lerp(sy, lerp(sx, c001, c101), lerp(sx, c011, c111));
  return 0.5f + kScale3 * lerp(sz, near, far);
}
#endif

float fperlinpf(const Point* p, float t) {
  const LatticeAxis ax(p->x), ay(p->y), az(p->z), aw(t);
  // The hash chain is the 3-D one continued, perm[perm[perm[x] + y] + z] + w;
  // shared prefixes are looked up once.  Index bit k of a corner is its
  // offset along axis k (x fastest, as quadlerp takes them).
  const unsigned cy[2] = {static_cast<unsigned>(ay.cell),
                          static_cast<unsigned>((ay.cell + 1) & 255)};
  const unsigned cz[2] = {static_cast<unsigned>(az.cell),
                          static_cast<unsigned>((az.cell + 1) & 255)};
  const unsigned cw[2] = {static_cast<unsigned>(aw.cell),
                          static_cast<unsigned>((aw.cell + 1) & 255)};
  const unsigned hx[2] = {perm[ax.cell], perm[(ax.cell + 1) & 255]};
  unsigned hxy[4], hxyz[8];
  for (int i = 0; i < 4; ++i) hxy[i] = perm[hx[i & 1] + cy[i >> 1]];
  for (int i = 0; i < 8; ++i) hxyz[i] = perm[hxy[i & 3] + cz[i >> 2]];
  const float ox[2] = {ax.frac, ax.frac - 1.0f}, oy[2] = {ay.frac, ay.frac - 1.0f};
  const float oz[2] = {az.frac, az.frac - 1.0f}, ow[2] = {aw.frac, aw.frac - 1.0f};
  float c[16];
  for (int i = 0; i < 16; ++i)
    c[i] =
        dot4(hxyz[i & 7] + cw[i >> 3], ox[i & 1], oy[(i >> 1) & 1], oz[(i >> 2) & 1], ow[i >> 3]);
  // Reduce along x, then y, z, w: the pairing bilerp/trilerp/quadlerp use.
  const float sx = smoothWeight(ax.frac), sy = smoothWeight(ay.frac);
  const float sz = smoothWeight(az.frac), sw = smoothWeight(aw.frac);
  for (int i = 0; i < 8; ++i) c[i] = lerp(sx, c[2 * i], c[2 * i + 1]);
  for (int i = 0; i < 4; ++i) c[i] = lerp(sy, c[2 * i], c[2 * i + 1]);
  for (int i = 0; i < 2; ++i) c[i] = lerp(sz, c[2 * i], c[2 * i + 1]);
  return 0.5f + kScale4 * lerp(sw, c[0], c[1]);
}

float (*fnoisef)(float) = fperlinf;
float (*fnoiseff)(float, float) = fperlinff;
float (*fnoisep)(const Point*) = fperlinp;
float (*fnoisepf)(const Point*, float) = fperlinpf;

// Periodic noise wraps the argument (fmod: the remainder keeps the sign of
// the coordinate), not the lattice, and then defers to the current pointer.
float fpernoisef(float x, float px) {
  return fnoisef(std::fmod(x, px));
}

float fpernoiseff(float x, float y, float px, float py) {
  return fnoiseff(std::fmod(x, px), std::fmod(y, py));
}

float fpernoisep(const Point* p, const Point* period) {
  const Point q(std::fmod(p->x, period->x), std::fmod(p->y, period->y), std::fmod(p->z, period->z));
  return fnoisep(&q);
}

float fpernoisepf(const Point* p, float t, const Point* pp, float pt) {
  const Point q(std::fmod(p->x, pp->x), std::fmod(p->y, pp->y), std::fmod(p->z, pp->z));
  return fnoisepf(&q, std::fmod(t, pt));
}

// Cell noise chains through cellperm; its entries are at most 4095, so every
// index stays below the 8192 entries of unif and cellperm.
float fcellnoisef(float x) {
  return unif[cellIndex(x)];
}

float fcellnoiseff(float x, float y) {
  return unif[cellperm[cellIndex(x)] + cellIndex(y)];
}

float fcellnoisep(const Point* p) {
  return unif[cellperm[cellperm[cellIndex(p->x)] + cellIndex(p->y)] + cellIndex(p->z)];
}

float fcellnoisepf(const Point* p, float t) {
  const int xyz = cellperm[cellperm[cellperm[cellIndex(p->x)] + cellIndex(p->y)] + cellIndex(p->z)];
  return unif[xyz + cellIndex(t)];
}

// Point-valued noise: the float noise at the argument and at two shifted
// copies of it.  Gradient and periodic noise shift by 123.456 and 456.789,
// added in double and rounded back to float as a float argument plus a double
// constant is; cell noise shifts by whole numbers in float.
namespace {

constexpr double kShiftY = 123.456;
constexpr double kShiftZ = 456.789;

inline float shifted(float v, double d) {
  return static_cast<float>(v + d);
}
inline Point shifted(const Point& p, double d) {
  return Point(shifted(p.x, d), shifted(p.y, d), shifted(p.z, d));
}
inline Point shifted(const Point& p, float d) {
  return Point(p.x + d, p.y + d, p.z + d);
}

}  // namespace

Point pnoisef(float x) {
  return Point(fnoisef(x), fnoisef(shifted(x, kShiftY)), fnoisef(shifted(x, kShiftZ)));
}

Point pnoiseff(float x, float y) {
  return Point(fnoiseff(x, y), fnoiseff(shifted(x, kShiftY), shifted(y, kShiftY)),
               fnoiseff(shifted(x, kShiftZ), shifted(y, kShiftZ)));
}

Point pnoisep(const Point* p) {
  const Point g = shifted(*p, kShiftY), b = shifted(*p, kShiftZ);
  return Point(fnoisep(p), fnoisep(&g), fnoisep(&b));
}

Point pnoisepf(const Point* p, float t) {
  const Point g = shifted(*p, kShiftY), b = shifted(*p, kShiftZ);
  return Point(fnoisepf(p, t), fnoisepf(&g, shifted(t, kShiftY)),
               fnoisepf(&b, shifted(t, kShiftZ)));
}

Point ppernoisef(float x, float px) {
  return Point(fpernoisef(x, px), fpernoisef(shifted(x, kShiftY), px),
               fpernoisef(shifted(x, kShiftZ), px));
}

Point ppernoiseff(float x, float y, float px, float py) {
  return Point(fpernoiseff(x, y, px, py),
               fpernoiseff(shifted(x, kShiftY), shifted(y, kShiftY), px, py),
               fpernoiseff(shifted(x, kShiftZ), shifted(y, kShiftZ), px, py));
}

Point ppernoisep(const Point* p, const Point* period) {
  const Point g = shifted(*p, kShiftY), b = shifted(*p, kShiftZ);
  return Point(fpernoisep(p, period), fpernoisep(&g, period), fpernoisep(&b, period));
}

Point ppernoisepf(const Point* p, float t, const Point* pp, float pt) {
  const Point g = shifted(*p, kShiftY), b = shifted(*p, kShiftZ);
  return Point(fpernoisepf(p, t, pp, pt), fpernoisepf(&g, shifted(t, kShiftY), pp, pt),
               fpernoisepf(&b, shifted(t, kShiftZ), pp, pt));
}

Point pcellnoisef(float x) {
  return Point(fcellnoisef(x), fcellnoisef(x + 123.0f), fcellnoisef(x + 456.0f));
}

// The two-argument cell forms shift the last argument by 234 and 456 and the
// others by 123 and 345.
Point pcellnoiseff(float x, float y) {
  return Point(fcellnoiseff(x, y), fcellnoiseff(x + 123.0f, y + 234.0f),
               fcellnoiseff(x + 345.0f, y + 456.0f));
}

Point pcellnoisep(const Point* p) {
  const Point g = shifted(*p, 123.0f), b = shifted(*p, 456.0f);
  return Point(fcellnoisep(p), fcellnoisep(&g), fcellnoisep(&b));
}

Point pcellnoisepf(const Point* p, float t) {
  const Point g = shifted(*p, 123.0f), b = shifted(*p, 345.0f);
  return Point(fcellnoisepf(p, t), fcellnoisepf(&g, t + 234.0f), fcellnoisepf(&b, t + 456.0f));
}
