// slrt: axis-aligned bounding boxes.
//
// A Bound is a box plus a flag telling a real box from the whole space:
//
//   | xmin | xmax | ymin | ymax | zmin | zmax | bounded (16 bits) | pad |
//     0      4      8      12     16     20     24                  26    28 bytes
//
// An unbounded box (bounded == 0) keeps numbers, but only intersect() reads
// them; the other operations treat it as the whole space.
#ifndef SLRT_GEOMETRY_BOUND_H
#define SLRT_GEOMETRY_BOUND_H

#include <slrt/export.h>
#include <slrt/geometry/matrix.h>

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <type_traits>

/// | member / operation          | effect                                            |
/// |-----------------------------|---------------------------------------------------|
/// | Bound()                     | unbounded; mins -1e38, maxes 1e38                 |
/// | Bound(v)                    | the point-sized box at (v, v, v), bounded         |
/// | Bound(xmin, xmax, ..., zmax)| the six fields in field order, bounded            |
/// | Bound(const float* v)       | six floats in field order, bounded                |
/// | expand(d)                   | bounded and |d| >= 1.1920929e-7: mins -= d,       |
/// |                             | maxes += d; otherwise nothing                     |
/// | merge(b)                    | both bounded: the union; otherwise the flag is    |
/// |                             | cleared (the numbers stay as they were)           |
/// | intersect(b)                | neither bounded: nothing; otherwise larger mins,  |
/// |                             | smaller maxes, marked bounded (an unbounded side  |
/// |                             | contributes its numbers).  An empty result (min   |
/// |                             | above max) is not detected                        |
/// | focus(zn, zf, cx, cy, kx,   | widens x and y by the circle of confusion         |
/// |       ky)                   | |c/2 / z + k/2|, the larger of its values at the  |
/// |                             | box's near and far depths (clamped to [zn, zf]).  |
/// |                             | No guard for a depth of 0; unbounded boxes are    |
/// |                             | untouched                                         |
/// | b * M                       | unbounded: b itself.  Otherwise the box around    |
/// |                             | the eight transformed corners (division by w, so  |
/// |                             | projections are allowed)                          |
/// | b *= M                      | b * M, and unbounded when a projection pushed a   |
/// |                             | min to <= -9e37 or a max to >= 9e37               |
/// | a == b                      | the six numbers compare equal; flags ignored      |
/// | os << b                     | "[xmin xmax ymin ymax zmin zmax]"                 |
///
/// Nothing here reports an error.  The modifying members return *this.
class SLRT_API Bound {
 public:
  float xmin, xmax, ymin, ymax, zmin, zmax;
  uint16_t bounded;

  Bound()
      : xmin(-1e38f),
        xmax(1e38f),
        ymin(-1e38f),
        ymax(1e38f),
        zmin(-1e38f),
        zmax(1e38f),
        bounded(0) {}
  explicit Bound(float v) : xmin(v), xmax(v), ymin(v), ymax(v), zmin(v), zmax(v), bounded(1) {}
  Bound(float x0, float x1, float y0, float y1, float z0, float z1)
      : xmin(x0), xmax(x1), ymin(y0), ymax(y1), zmin(z0), zmax(z1), bounded(1) {}
  explicit Bound(const float* v);

  Bound& expand(float d);
  Bound& merge(const Bound& b);
  Bound& intersect(const Bound& b);
  Bound& focus(float znear, float zfar, float cx, float cy, float kx, float ky);
  Bound& operator*=(const Matrix& m);
};

static_assert(sizeof(Bound) == 28 && offsetof(Bound, bounded) == 24,
              "Bound is six floats then a 16-bit flag");
static_assert(std::is_trivially_copyable<Bound>::value && std::is_standard_layout<Bound>::value,
              "Bound must stay a plain value");

SLRT_API Bound operator*(const Bound& b, const Matrix& m);
SLRT_API bool operator==(const Bound& a, const Bound& b);
SLRT_API std::ostream& operator<<(std::ostream& os, const Bound& b);

#endif  // SLRT_GEOMETRY_BOUND_H
