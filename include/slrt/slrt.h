// slrt: shading-language run-time library.  Umbrella header.
#ifndef SLRT_SLRT_H
#define SLRT_SLRT_H

#include <slrt/export.h>
#include <slrt/runtime/error.h>
#include <slrt/pattern/scalar.h>
#include <slrt/geometry/point.h>

#endif  // SLRT_SLRT_H
