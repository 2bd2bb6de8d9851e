// Per-component minimum or maximum of a variadic list of three-float values
// (points, colours), scanned with the scalar vmin/vmax so that ties and NaNs
// behave as in the scalar family.
#ifndef SLRT_RUNTIME_REDUCE_PVT_H
#define SLRT_RUNTIME_REDUCE_PVT_H

#include <cstdarg>

namespace slrt_detail {

// The values are scanned in chunks of 64; the running result sits in front
// of each chunk, so vmin/vmax see the same left-to-right sequence they would
// see over one array of n, without an allocation sized by a caller's count.
// n <= 0 gives the zero value and reads no argument.
template <class T, float (*Reduce)(long, const float*)>
T reduceTriples(long n, va_list ap) {
  if (n <= 0) return T(0.0f, 0.0f, 0.0f);
  constexpr long kChunk = 64;
  float c[3][kChunk + 1];
  long filled = 0;  // entries in use, the running result included
  for (long i = 0; i < n; ++i) {
    const T v = va_arg(ap, T);
    for (int k = 0; k < 3; ++k) c[k][filled] = v[k];
    if (++filled == kChunk + 1) {
      for (int k = 0; k < 3; ++k) c[k][0] = Reduce(filled, c[k]);
      filled = 1;
    }
  }
  return T(Reduce(filled, c[0]), Reduce(filled, c[1]), Reduce(filled, c[2]));
}

}  // namespace slrt_detail

#endif  // SLRT_RUNTIME_REDUCE_PVT_H
