// slrt: sparse-convolution noise.
//
// The value at a point is the sum of a raised-cosine kernel of radius 1
// around gImpulses impulses per lattice cell, over the point's cell and its
// neighbours.  The kernel is read from costab by squared distance, so no
// square root or cosine is taken per impulse.  Consecutive shading points
// usually share a cell, so the record indices of the neighbour cells are
// cached across calls (one cache per dimension; not reentrant).
#include <slrt/pattern/noise.h>

#include "pattern/noise_pvt.h"

using slrt_detail::LatticeAxis;

long gImpulses = 4;

namespace {

// Fields of a unif5 record: position along x, amplitude, then the position
// along y, z and w for the higher-dimensional variants.
constexpr int kAmplitude = 1;
constexpr int kPositionField[4] = {0, 2, 3, 4};

constexpr int pow3(int n) {
  return n == 0 ? 1 : 3 * pow3(n - 1);
}

// The last cell seen and the first unif5 record of each of its 3^N
// neighbours, x fastest, each axis ordered lower, own, upper.  -123 is no
// cell's index, so the first call always fills the cache.
template <int N>
struct NeighbourCache {
  int32_t cell[N];
  int record[pow3(N)];

  NeighbourCache() {
    for (int a = 0; a < N; ++a) cell[a] = -123;
  }
};

// First record of a cell.  In one dimension it is the cell itself, so that
// neighbouring cells share most of their records, shifted by one (it keeps
// the table small).  In more dimensions the cell indices are chained through
// perm, which keeps the result in 0..255: with at most 257 impulses the
// records of a cell then stay within the 512 of unif5.
template <int N>
int firstRecord(const int* j) {
  if (N == 1) return j[0];
  int h = perm[j[0]];
  for (int a = 1; a < N; ++a) h = perm[h + j[a]];
  return h;
}

template <int N>
void refresh(NeighbourCache<N>& cache, const LatticeAxis* axes) {
  bool same = true;
  for (int a = 0; a < N; ++a) same = same && cache.cell[a] == axes[a].cell;
  if (same) return;
  for (int a = 0; a < N; ++a) cache.cell[a] = axes[a].cell;
  for (int n = 0; n < pow3(N); ++n) {
    int j[N];
    for (int a = 0, digits = n; a < N; ++a, digits /= 3)
      j[a] = (axes[a].cell + digits % 3 - 1) & 255;
    cache.record[n] = firstRecord<N>(j);
  }
}

template <int N>
float sparseConvolution(const float* coords, NeighbourCache<N>& cache) {
  LatticeAxis axes[N] = {LatticeAxis(coords[0])};
  for (int a = 1; a < N; ++a) axes[a] = LatticeAxis(coords[a]);
  refresh(cache, axes);

  // The point's coordinates local to each neighbour cell: f + 1, f, f - 1 for
  // the lower, own and upper cell along each axis.  Laid out per neighbour,
  // so the impulse loop below reads them in order.
  float local[pow3(N)][N];
  for (int n = 0; n < pow3(N); ++n)
    for (int a = 0, digits = n; a < N; ++a, digits /= 3)
      local[n][a] = axes[a].frac - static_cast<float>(digits % 3 - 1);

  const long impulses = gImpulses;
  float sum = 0.0f;
  for (long k = 0; k < impulses; ++k) {
    for (int n = 0; n < pow3(N); ++n) {
      // Counts above 257 would run past the table; wrap instead.  Within the
      // supported range the mask changes nothing.
      const float* r = unif5[(cache.record[n] + k) & 511];
      float d2 = 0.0f;
      for (int a = 0; a < N; ++a) {
        const float d = local[n][a] - r[kPositionField[a]];
        d2 += d * d;
      }
      // Written without a branch: about half the impulses fall outside the
      // kernel, in no predictable pattern.  Outside, a harmless entry is read
      // and a zero added, which leaves the sum unchanged.  The index is taken
      // in double: in float, 100 * d2 rounds up to 100 for d2 just below 1.
      const bool inside = d2 < 1.0f;
      const float term = r[kAmplitude] * costab[static_cast<int>(100.0 * (inside ? d2 : 0.0f))];
      sum += inside ? term : 0.0f;
    }
  }
  return sum / static_cast<float>(impulses);
}

NeighbourCache<1> gCache1;
NeighbourCache<2> gCache2;
NeighbourCache<3> gCache3;
NeighbourCache<4> gCache4;

}  // namespace

float flewisf(float x) {
  return sparseConvolution<1>(&x, gCache1);
}

float flewisff(float x, float y) {
  const float c[2] = {x, y};
  return sparseConvolution<2>(c, gCache2);
}

float flewisp(const Point* p) {
  const float c[3] = {p->x, p->y, p->z};
  return sparseConvolution<3>(c, gCache3);
}

float flewispf(const Point* p, float t) {
  const float c[4] = {p->x, p->y, p->z, t};
  return sparseConvolution<4>(c, gCache4);
}
