// Sparse-convolution noise: agreement with the construction written out from
// the tables, with the neighbour cache warm and cold.
#include <gtest/gtest.h>
#include <slrt/pattern/noise.h>

#include <cmath>
#include <random>

namespace {

// Restores the impulse count whatever a test does with it.
struct ImpulseCount {
  long saved = gImpulses;
  ~ImpulseCount() { gImpulses = saved; }
};

// The construction from scratch, no cache: cells x fastest, each axis lower,
// own, upper; impulses outermost.  One dimension takes record cell + k,
// more dimensions chain the cells through perm first.
float reference(int n, const float* x) {
  int cell[4];
  float frac[4];
  for (int a = 0; a < n; ++a) {
    const float shifted = x[a] + 4096.0f;
    const int i = static_cast<int>(shifted);
    cell[a] = i & 255;
    frac[a] = shifted - static_cast<float>(i);
  }
  const int positionField[4] = {0, 2, 3, 4};
  const int cells = n == 1 ? 3 : n == 2 ? 9 : n == 3 ? 27 : 81;
  float sum = 0.0f;
  for (long k = 0; k < gImpulses; ++k) {
    for (int c = 0; c < cells; ++c) {
      int first = 0;
      float d2 = 0.0f;
      for (int a = 0, rest = c; a < n; ++a, rest /= 3) {
        const int offset = rest % 3 - 1;
        const int j = (cell[a] + offset) & 255;
        first = n == 1 ? j : (a == 0 ? perm[j] : perm[first + j]);
      }
      const float* r = unif5[first + k];
      for (int a = 0, rest = c; a < n; ++a, rest /= 3) {
        const float d = (frac[a] - static_cast<float>(rest % 3 - 1)) - r[positionField[a]];
        d2 += d * d;
      }
      if (d2 < 1.0f) sum += r[1] * costab[static_cast<int>(100.0 * d2)];
    }
  }
  return sum / static_cast<float>(gImpulses);
}

float lewis(int n, const float* x) {
  const Point p(x[0], x[1], x[2]);
  return n == 1   ? flewisf(x[0])
         : n == 2 ? flewisff(x[0], x[1])
         : n == 3 ? flewisp(&p)
                  : flewispf(&p, x[3]);
}

TEST(SparseConvolutionNoise, MatchesConstruction) {
  ImpulseCount keep;
  std::mt19937 rng(3);
  // A narrow span revisits cells (cache hits), a wide one rarely does.
  const float spans[2] = {1.5f, 500.0f};
  for (long impulses : {1L, 4L, 257L}) {
    gImpulses = impulses;
    for (int n = 1; n <= 4; ++n) {
      const int samples = impulses == 257 ? 30 : 3000 / n;
      for (float span : spans) {
        std::uniform_real_distribution<float> d(-span, span);
        for (int i = 0; i < samples; ++i) {
          const float x[4] = {d(rng), d(rng), d(rng), d(rng)};
          ASSERT_EQ(lewis(n, x), reference(n, x))
              << n << "-D, " << impulses << " impulses, at " << x[0] << " " << x[1];
        }
      }
    }
  }
}

TEST(SparseConvolutionNoise, OutOfRangeImpulseCounts) {
  ImpulseCount keep;
  const Point p(0.3f, 0.6f, 0.9f);
  gImpulses = 0;
  EXPECT_TRUE(std::isnan(flewisf(0.5f)));
  gImpulses = 600;  // wraps around the records instead of running past them
  EXPECT_TRUE(std::isfinite(flewisp(&p)) && std::isfinite(flewispf(&p, 0.2f)));
}

}  // namespace
