// slrt: splines and polynomial basis tables.
//
// vspline evaluates a piecewise cubic (or linear) curve through an array of
// control values; the variadic forms are what compiled shaders call for
// float, colour and point splines.  beztab/forwardtab are constant tables of
// basis coefficients by degree, read through bezier()/forward(), which check
// the degree.
#ifndef SLRT_PATTERN_SPLINE_H
#define SLRT_PATTERN_SPLINE_H

#include <slrt/color/color.h>
#include <slrt/export.h>
#include <slrt/geometry/point.h>

SLRT_C_BEGIN

/// Spline of n control values cv at t.  t is clamped: t <= 0 is 0, t >= 1 is
/// 0.99999988 (so t = 1 lands just inside the last segment); a NaN t stays
/// NaN and yields NaN from the first segment.
///
/// | basis          | chosen by                     | segments    | values of segment i |
/// |----------------|-------------------------------|-------------|---------------------|
/// | Catmull-Rom    | null, 'c...', anything else   | n - 3       | cv[i .. i+3]        |
/// | "bspline"      | exact name                    | n - 3       | cv[i .. i+3]        |
/// | "bezier"       | exact name                    | (n - 1) / 3 | cv[3i .. 3i+3]      |
/// | "hermite"      | exact name                    | (n - 2) / 2 | P0 T0 P1 T1 from 2i |
/// | "linear"       | exact name                    | n - 3       | cv[i+1], cv[i+2]    |
///
/// Catmull-Rom, B-spline and linear ignore the first and last values, so the
/// same array gives the same end points under Catmull-Rom and linear.  The
/// Bézier and Hermite segment counts are fractional when n does not fit
/// evenly, and t is scaled by the fraction as it stands; near t = 1 such a
/// last segment runs past the array, and the missing values repeat
/// cv[n-1] rather than being read from beyond the array.
///
/// Errors: n < 4 (every basis, linear included): code 61, severity 1,
/// "Cubic splines require at least 4 control points"; returns cv[0], or 0
/// when cv is null.
SLRT_API float vspline(const char* basis, float t, long n, const float* cv);

/// Variadic forms: basis, t, n, then n control values (floats as doubles,
/// colours and points by value).  The colour and point forms run vspline
/// once per component.  Errors: as vspline; a count above 65536: code 13,
/// severity 2, "%s: too many control values (%ld)", result 0 / black /
/// origin.
SLRT_API float fsplinev(const char* basis, float t, long n, ...);
SLRT_API Color csplinev(const char* basis, float t, long n, ...);
SLRT_API Point psplinev(const char* basis, float t, long n, ...);

/// Power-form Bernstein basis matrices, degree 0 .. 20.  Table d holds rows
/// for t^d down to t^0; row j (power d - j) holds its d + 1 - j leading
/// entries, the coefficients of t^(d-j) in B_0 .. B_(d-j):
/// (-1)^(d-j-i) C(d, i) C(d-i, d-j-i).  Degree 3: -1 3 -3 1 / 3 -6 3 / -3 3 / 1.
SLRT_API extern const double* const beztab[21];
/// Forward-difference coefficients, degree 1 .. 20 (entry 0 is null).
/// Table d holds rows n = 1 .. d, row n holding k! S(n, k) for k = 1 .. n
/// (S: Stirling numbers of the second kind).  Degree 4:
/// 1 / 1 2 / 1 6 6 / 1 14 36 24.
SLRT_API extern const double* const forwardtab[21];

/// beztab[degree] for 0 <= degree <= 20 / forwardtab[degree] for
/// 1 <= degree <= 20.  Errors: other degrees: code 61, severity 2,
/// "degree %d out of range"; the degree-4 table is returned instead.
SLRT_API const double* bezier(int degree);
SLRT_API const double* forward(int degree);

SLRT_C_END

#endif  // SLRT_PATTERN_SPLINE_H
