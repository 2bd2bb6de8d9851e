// slrt: shading-language run-time library.  Umbrella header: everything a
// host renderer or a compiled shader needs.
#ifndef SLRT_SLRT_H
#define SLRT_SLRT_H

#include <slrt/export.h>

// Shader execution support.
#include <slrt/runtime/error.h>
#include <slrt/runtime/token.h>

// Geometry.
#include <slrt/geometry/point.h>
#include <slrt/geometry/matrix.h>
#include <slrt/geometry/bound.h>
#include <slrt/geometry/space.h>

// Colour.
#include <slrt/color/color.h>

// Scalar, spline and noise functions.
#include <slrt/pattern/scalar.h>
#include <slrt/pattern/spline.h>
#include <slrt/pattern/noise.h>

// Texture, environment and shadow maps.
#include <slrt/texture/map.h>
#include <slrt/texture/cache.h>

#endif  // SLRT_SLRT_H
