// slrt: scalar shading operations.
//
// Leaf functions called once per shading point and reused by the other
// numeric families.  None reports an error and none allocates, except
// fminv/fmaxv (a temporary array).
#ifndef SLRT_PATTERN_SCALAR_H
#define SLRT_PATTERN_SCALAR_H

#include <slrt/export.h>

/// Guarded a / b.  When the quotient would exceed 1e38 in magnitude the
/// result saturates to +-1e38 with the sign of a alone (the sign of b is
/// ignored); 0/0 and NaN/0 give 0.
///
/// The C library's <math.h> also declares a C function named fdiv (a
/// narrowing division of two doubles) when GNU extensions are on, as they
/// always are for g++.  In C++ this one is therefore declared as an overload
/// on floats whose symbol is the plain, unmangled "fdiv" that compiled
/// shaders call; fdiv(float, float) always picks it, so pass floats (two
/// ints are ambiguous, two doubles pick the C library's function).
#ifdef __cplusplus
SLRT_API float fdiv(float a, float b) __asm__("fdiv");
#endif

SLRT_C_BEGIN

#ifndef __cplusplus
SLRT_API float fdiv(float a, float b);
#endif

/// Smallest / largest of n floats passed as variadic doubles.  n must be at
/// least 1.  Ties keep the earlier value; a NaN never replaces the running
/// value.
SLRT_API float fminv(long n, ...);
SLRT_API float fmaxv(long n, ...);

/// Hermite step: 0 below lo, 1 at or above hi, t^2 (3 - 2t) between.  The
/// bounds are ordered first, so smoothstep(1, 0, x) == smoothstep(0, 1, x);
/// equal bounds give a hard step with no division.
SLRT_API float smoothstep(float min, float max, float x);

/// Fraction of a filter of the given width, centred at s, lying at or above
/// edge.  Trailing name/value pairs end with a null name:
///
/// | name     | value        | effect                                   |
/// |----------|--------------|------------------------------------------|
/// | "width"  | double       | width *= value (may repeat)              |
/// | "swidth" | double       | same as "width"                          |
/// | "filter" | const char*  | "box", "triangle", "gaussian", else      |
/// |          |              | Catmull-Rom (the default)                |
///
/// Any other name consumes no value.  A vanishing width returns 0.5 inside
/// the support.  Catmull-Rom gives 0.49999994 (not 0.5) at the edge.
SLRT_API float filterstep(float edge, float s, float width, ...);

/// Park-Miller minimal standard generator, one process-wide seed (initially
/// 1) shared with every random operation.  Result in (0, 1).
SLRT_API float frandom(void);

SLRT_C_END

#ifdef __cplusplus
/// Advances the shared generator and returns the new seed, in [1, 2^31-2].
/// The first three values of a process are 16807, 282475249, 1622650073.
SLRT_API long llrandom();

/// Smallest / largest of v[0..n-1]; v[0] is read even when n <= 0.
SLRT_API float vmin(long n, const float* v);
SLRT_API float vmax(long n, const float* v);

/// Bilinear interpolation; corners a (0,0), b (1,0), c (0,1), d (1,1).  Each
/// step is p + (q - p) t, so t = 0 returns p exactly.
SLRT_API float bilerp(float u, float v, float a, float b, float c, float d);
/// Trilinear: pairs along u, then v, then w (p0..p3 at w = 0).
SLRT_API float trilerp(float u, float v, float w, float p0, float p1, float p2, float p3,
                       float p4, float p5, float p6, float p7);
/// Quadrilinear: pairs along u, v, w, then t (p0..p7 at t = 0).
SLRT_API float quadlerp(float u, float v, float w, float t, float p0, float p1, float p2,
                        float p3, float p4, float p5, float p6, float p7, float p8,
                        float p9, float p10, float p11, float p12, float p13, float p14,
                        float p15);
#endif

#endif  // SLRT_PATTERN_SCALAR_H
