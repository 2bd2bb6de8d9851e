// slrt: lattice helpers shared by the gradient and sparse-convolution noises.
#ifndef SLRT_PATTERN_NOISE_PVT_H
#define SLRT_PATTERN_NOISE_PVT_H

#include <stdint.h>

namespace slrt_detail {

/// Truncation toward zero that stays defined for every input.  Values the
/// 32-bit conversion cannot hold (beyond +-2^31, NaN) give INT32_MIN, the
/// value the hardware conversion itself produces, so out-of-range noise
/// arguments land in a valid cell instead of invoking undefined behaviour.
inline int32_t truncToInt(double v) {
  return (v > -2147483649.0 && v < 2147483648.0) ? static_cast<int32_t>(v) : INT32_MIN;
}

/// One noise coordinate split into its lattice cell (masked to 0..255) and
/// its offset inside the cell.
///
/// The coordinate is moved by 4096 so that ordinary negative inputs become
/// positive and truncation acts as floor.  The shift is done in double: in
/// float, x + 4096 keeps only about 11 fractional bits, which would quantise
/// the offset to 1/2048 of a cell.  In double the sum and the difference are
/// exact for any float x with |x| >= 2^-17, and the offset is rounded to float
/// once.
struct LatticeAxis {
  int32_t cell;
  float frac;

  LatticeAxis() : cell(0), frac(0.0f) {}
  explicit LatticeAxis(float x) {
    const double shifted = static_cast<double>(x) + 4096.0;
    const int32_t i = truncToInt(shifted);
    frac = static_cast<float>(shifted - i);
    cell = i & 255;
  }
};

}  // namespace slrt_detail

#endif  // SLRT_PATTERN_NOISE_PVT_H
