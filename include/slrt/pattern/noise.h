// slrt: lattice noise, cell noise and sparse-convolution noise.
//
// Every noise value is fixed by the constant tables below, which are shipped
// as data so that a pattern looks the same on every run and every machine.
// The four gradient noises that shaders call are reached through replaceable
// pointers (fnoisef ... fnoisepf); the periodic noises and the colour and
// point wrappers call those pointers too, so a host that stores another noise
// in them changes every noise-based built-in at once.
//
// Nothing here allocates or reports an error.  Inputs far outside the lattice
// (beyond about +-2^31, infinities, NaN) give meaningless values but never
// read outside a table.
#ifndef SLRT_PATTERN_NOISE_H
#define SLRT_PATTERN_NOISE_H

#include <slrt/export.h>
#include <slrt/geometry/point.h>
#include <stdint.h>

SLRT_C_BEGIN

/// Constant tables, exported read-only.
///
/// | Table      | Layout            | Contents                                        |
/// |------------|-------------------|-------------------------------------------------|
/// | `perm`     | 512 bytes         | a permutation of 0..255, then the same again,   |
/// |            |                   | so perm[a + b] needs no wrap for a, b <= 255     |
/// | `grad1`    | 512 floats        | k/256, k in [-256, 255]; entries 0..255 used    |
/// | `grad2`    | 512 x (x, y)      | unit vectors                                    |
/// | `grad3`    | 2048 floats       | 512 unit vectors packed by threes, then 512     |
/// |            |                   | zeros; read with a stride of four (see below)   |
/// | `grad4`    | 512 x (x, y, z, w)| unit vectors                                    |
/// | `unif`     | 8192 floats       | uniform in (0, 1); 0..4095 are the first 4096   |
/// |            |                   | outputs of frandom() from seed 1                |
/// | `cellperm` | 8192 int32        | cell-noise hash chain, values in 0..4095        |
/// | `unif5`    | 512 x 5 floats    | impulse records: x position, amplitude, then    |
/// |            |                   | y, z, w positions; all uniform in (0, 1)        |
/// | `costab`   | 100 floats        | raised-cosine kernel by squared distance:       |
/// |            |                   | (1 + cos(pi sqrt((i + 0.5) / 100))) / 2         |
extern SLRT_API const unsigned char perm[512];
extern SLRT_API const float grad1[512];
extern SLRT_API const float grad2[512][2];
extern SLRT_API const float grad3[2048];
extern SLRT_API const float grad4[512][4];
extern SLRT_API const float unif[8192];
extern SLRT_API const int32_t cellperm[8192];
extern SLRT_API const float unif5[512][5];
extern SLRT_API const float costab[100];

/// Gradient noise over one to four dimensions, nominally in [0, 1] around
/// 0.5, exactly 0.5 at every lattice point, repeating with period 256 along
/// every axis.
///
/// | Function    | Arguments                 |
/// |-------------|---------------------------|
/// | `fperlinf`  | x                         |
/// | `fperlinff` | x, y                      |
/// | `fperlinp`  | point                     |
/// | `fperlinpf` | point, t                  |
///
/// The 3-D noise reads `grad3` with a stride of four floats although the
/// table is packed by threes: most 3-D gradients are therefore not the stored
/// unit vectors and lattice hashes of 384 and above meet the zero tail.  That
/// stride is what gives 3-D noise its look; keep the table and it together.
/// Each coordinate is moved by 4096 in float before it is split into cell
/// and offset (so negative inputs floor correctly); offsets inside a cell
/// therefore step by 2^-11 of a cell near the origin.
/// Shaders never call these directly: they go through the pointers below.
SLRT_API float fperlinf(float x);
SLRT_API float fperlinff(float x, float y);
SLRT_API float fperlinp(const Point* p);
SLRT_API float fperlinpf(const Point* p, float t);

/// Replaceable noise entry points.  Every noise built-in (float, periodic,
/// colour and point-valued) calls through these; each starts out as the
/// gradient noise of its dimension.  A host may store any function with the
/// same signature (flewisf ... flewispf, say) before shading starts; the
/// change applies to every later call.
///
/// | Pointer    | Default     |
/// |------------|-------------|
/// | `fnoisef`  | `fperlinf`  |
/// | `fnoiseff` | `fperlinff` |
/// | `fnoisep`  | `fperlinp`  |
/// | `fnoisepf` | `fperlinpf` |
extern SLRT_API float (*fnoisef)(float x);
extern SLRT_API float (*fnoiseff)(float x, float y);
extern SLRT_API float (*fnoisep)(const Point* p);
extern SLRT_API float (*fnoisepf)(const Point* p, float t);

/// Periodic noise: each coordinate is replaced by its truncating remainder by
/// its period (the sign of the coordinate, as fmod gives), and the matching
/// fnoise* pointer is called on the result.  The wrap applies to the input,
/// not the lattice: the result repeats with the period but jumps at its
/// multiples.  A zero period makes the coordinate NaN.
SLRT_API float fpernoisef(float x, float px);
SLRT_API float fpernoiseff(float x, float y, float px, float py);
SLRT_API float fpernoisep(const Point* p, const Point* period);
SLRT_API float fpernoisepf(const Point* p, float t, const Point* pp, float pt);

/// Cell noise: piecewise constant in [0, 1), one `unif` value per unit cell.
/// A negative coordinate drops by one before truncation, so a negative
/// integer lands in the cell below it (-2.0 and -2.5 share a cell; -3.0 does
/// not); cells repeat every 4096 along each axis.
SLRT_API float fcellnoisef(float x);
SLRT_API float fcellnoiseff(float x, float y);
SLRT_API float fcellnoisep(const Point* p);
SLRT_API float fcellnoisepf(const Point* p, float t);

/// Point-valued noise: (n(a), n(a + 123.456), n(a + 456.789)), where n is the
/// float noise of the same family and every coordinate of the argument a is
/// shifted; periods are passed unchanged.  Cell noise shifts by whole numbers:
/// every coordinate by 123 and by 456, except that the last argument of the
/// two-argument forms (y, or t) takes 234 and 456 while the others take 123
/// and 345.  The same offsets as the colour noise, so pnoise and cnoise agree
/// component for component.
SLRT_API Point pnoisef(float x);
SLRT_API Point pnoiseff(float x, float y);
SLRT_API Point pnoisep(const Point* p);
SLRT_API Point pnoisepf(const Point* p, float t);
SLRT_API Point ppernoisef(float x, float px);
SLRT_API Point ppernoiseff(float x, float y, float px, float py);
SLRT_API Point ppernoisep(const Point* p, const Point* period);
SLRT_API Point ppernoisepf(const Point* p, float t, const Point* pp, float pt);
SLRT_API Point pcellnoisef(float x);
SLRT_API Point pcellnoiseff(float x, float y);
SLRT_API Point pcellnoisep(const Point* p);
SLRT_API Point pcellnoisepf(const Point* p, float t);

/// Sparse-convolution noise: a raised-cosine kernel of radius 1 around
/// `gImpulses` impulses per lattice cell, summed over the cell of the point
/// and its neighbours (3, 9, 27 or 81 cells) and divided by `gImpulses`.
/// Amplitudes are all positive, so the result lies in [0, 3) and is not
/// centred on 0.5.  Same signatures as fperlin*, so a host may install them
/// in the fnoise* pointers; they are not the default.
///
/// The neighbour cells of the last call are cached in statics: not reentrant.
SLRT_API float flewisf(float x);
SLRT_API float flewisff(float x, float y);
SLRT_API float flewisp(const Point* p);
SLRT_API float flewispf(const Point* p, float t);

/// Impulses per cell for flewis*; initially 4.  Values above 257 wrap
/// around `unif5` (they would otherwise run past its 512 records); zero gives
/// NaN.
extern SLRT_API long gImpulses;

SLRT_C_END

#endif  // SLRT_PATTERN_NOISE_H
