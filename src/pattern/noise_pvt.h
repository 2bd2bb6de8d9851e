// slrt: lattice helpers shared by the gradient and sparse-convolution noises.
#ifndef SLRT_PATTERN_NOISE_PVT_H
#define SLRT_PATTERN_NOISE_PVT_H

#include <stdint.h>

namespace slrt_detail {

/// Truncation toward zero that stays defined for every input.  Values the
/// 32-bit conversion cannot hold (beyond +-2^31, NaN) give INT32_MIN, the
/// value the hardware conversion itself produces, so out-of-range noise
/// arguments land in a valid cell instead of invoking undefined behaviour.
inline int32_t truncToInt(float v) {
  return (v >= -2147483648.0f && v < 2147483648.0f) ? static_cast<int32_t>(v) : INT32_MIN;
}
inline int32_t truncToInt(double v) {
  return (v > -2147483649.0 && v < 2147483648.0) ? static_cast<int32_t>(v) : INT32_MIN;
}

/// One noise coordinate split into its lattice cell (masked to 0..255) and
/// its offset inside the cell.
///
/// The coordinate is moved by 4096 so that ordinary negative inputs become
/// positive and truncation acts as floor.  The shifted coordinate is a float
/// and the offset is taken from it in float, so offsets have a resolution of
/// 2^-11 of a cell (2^-12 for inputs in [-2048, 0)).  That granularity is
/// part of the defined noise: every table-driven noise in the library splits
/// its coordinates this way, and the packed fast path of the 3-D noise relies
/// on it to stay bit-identical.
struct LatticeAxis {
  int32_t cell;
  float frac;

  LatticeAxis() : cell(0), frac(0.0f) {}
  explicit LatticeAxis(float x) {
    const float shifted = x + 4096.0f;
    const int32_t i = truncToInt(shifted);
    frac = shifted - static_cast<float>(i);
    cell = i & 255;
  }
};

}  // namespace slrt_detail

#endif  // SLRT_PATTERN_NOISE_PVT_H
