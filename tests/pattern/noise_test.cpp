// Lattice noise: the tables' fixed entries and rules, and the properties
// shaders rely on (lattice value and slope, period, continuity, range).
#include <gtest/gtest.h>
#include <slrt/color/color.h>
#include <slrt/pattern/noise.h>

#include <cmath>
#include <random>
#include <set>
#include <vector>

namespace {

TEST(NoiseTables, FixedEntries) {
  using V = std::vector<double>;
  EXPECT_EQ(V(perm, perm + 16), (V{0, 251, 2, 65, 4, 150, 6, 9, 8, 22, 217, 167, 225, 3, 73, 205}));
  EXPECT_EQ(V(grad1, grad1 + 4), (V{-0.76953125, -0.5078125, 0.00390625, -0.328125}));
  EXPECT_EQ(V(cellperm, cellperm + 8), (V{0, 1846, 2, 2809, 4, 2844, 6, 564}));
  EXPECT_EQ(V(unif5[0], unif5[0] + 5),
            (V{0.25884438f, 0.39746204f, 0.14452034f, 0.9533872f, 0.5783553f}));
  EXPECT_EQ(V(unif5[1], unif5[1] + 5),
            (V{0.3816374f, 0.17969897f, 0.20056955f, 0.97250736f, 0.93144065f}));
  for (int i = 0; i < 100; ++i)
    EXPECT_FLOAT_EQ(costab[i], (1.0 + std::cos(M_PI * std::sqrt((i + 0.5) / 100.0))) / 2.0) << i;
  // The first half of unif is the Park-Miller stream from seed 1 (Schrage's
  // method, run here so that the process-wide seed is left alone).
  int32_t seed = 1;
  for (int i = 0; i < 4096; ++i) {
    seed = 16807 * (seed % 127773) - 2836 * (seed / 127773);
    if (seed < 0) seed += 2147483647;
    ASSERT_EQ(unif[i], static_cast<float>(seed * 0x1p-31)) << i;
  }
}

TEST(NoiseTables, Rules) {
  EXPECT_EQ(std::set<int>(perm, perm + 256).size(), 256u);
  for (int i = 0; i < 512; ++i) {
    EXPECT_EQ(perm[i], perm[i % 256]) << i;  // the second half repeats the first
    const float k = grad1[i] * 256.0f;
    EXPECT_TRUE(k == std::floor(k) && k >= -256.0f && k <= 255.0f) << i << ": " << grad1[i];
    const float *g2 = grad2[i], *g3 = grad3 + 3 * i, *g4 = grad4[i];
    EXPECT_NEAR(std::hypot(g2[0], g2[1]), 1.0, 1e-6) << i;
    EXPECT_NEAR(std::sqrt(g3[0] * g3[0] + g3[1] * g3[1] + g3[2] * g3[2]), 1.0, 1e-6) << i;
    EXPECT_NEAR(std::sqrt(g4[0] * g4[0] + g4[1] * g4[1] + g4[2] * g4[2] + g4[3] * g4[3]), 1.0, 1e-6)
        << i;
    for (int k = 0; k < 5; ++k) EXPECT_TRUE(unif5[i][k] > 0.0f && unif5[i][k] < 1.0f) << i;
  }
  for (int i = 1536; i < 2048; ++i) EXPECT_EQ(grad3[i], 0.0f) << i;
  double sum = 0.0;
  for (int i = 0; i < 8192; ++i) {
    EXPECT_TRUE(unif[i] > 0.0f && unif[i] < 1.0f) << i;
    // Even entries are their own index modulo 4096; odd ones are scattered.
    const int32_t c = cellperm[i];
    EXPECT_TRUE(i % 2 ? c >= 3 && c <= 4094 : c == i % 4096) << i << ": " << c;
    sum += unif[i];
  }
  EXPECT_NEAR(sum / 8192, 0.5, 0.01);
}

float perlin(int n, const float* x) {
  const Point p(x[0], x[1], x[2]);
  return n == 1   ? fperlinf(x[0])
         : n == 2 ? fperlinff(x[0], x[1])
         : n == 3 ? fperlinp(&p)
                  : fperlinpf(&p, x[3]);
}

// Noise is 0.5 at lattice points.  Near one the smoothing weights are flat, so
// the slope there, from either side along any axis, is the gradient the hash
// chain picks for that point, scaled by 1/sqrt(n).  3-D gradients are read
// with a stride of four floats from a table packed by threes.
TEST(GradientNoise, SlopeAtLatticePointsIsTheHashedGradient) {
  const float scale[5] = {0, 1.0f, 0.70710677f, 0.57735026f, 0.5f}, e = 1.0f / 512;
  std::mt19937 rng(19);
  std::uniform_int_distribution<int> lattice(-600, 600);
  for (int n = 1; n <= 4; ++n) {
    for (int i = 0; i < 500; ++i) {
      const int c[4] = {lattice(rng), lattice(rng), lattice(rng), lattice(rng)};
      const float at[4] = {float(c[0]), float(c[1]), float(c[2]), float(c[3])};
      ASSERT_EQ(perlin(n, at), 0.5f) << n << "-D at " << c[0] << " " << c[1] << " " << c[2];
      int h = c[0] & 255;
      for (int k = 1; k < n; ++k) h = perm[h] + (c[k] & 255);
      const float* g = n == 1 ? grad1 + h : n == 2 ? grad2[h] : n == 3 ? grad3 + 4 * h : grad4[h];
      for (int a = 0; a < n; ++a) {
        for (float d : {e, -e}) {
          float x[4] = {at[0], at[1], at[2], at[3]};
          x[a] += d;
          ASSERT_NEAR((perlin(n, x) - 0.5f) / (d * scale[n]), g[a], 0.01)
              << n << "-D, axis " << a << ", step " << d << " from " << c[0] << " " << c[1];
        }
      }
    }
  }
  // Between lattice points the weight is the cubic s = f^2 (3 - 2f): 0.15625 at 1/4.
  EXPECT_EQ(fperlinf(0.25f), 0.397186279296875f);
}

// Sampled on a 1/1024 grid, whose points stay exact when moved by 256.
TEST(GradientNoise, ContinuousPeriodicInRangeAndCentred) {
  std::mt19937 rng(13);
  std::uniform_int_distribution<int> grid(-300 * 1024, 300 * 1024);
  auto d = [&grid](std::mt19937& r) { return grid(r) / 1024.0f; };
  const float step = 1.0f / 1024;
  for (int n = 1; n <= 4; ++n) {
    double sum = 0.0, lo = 1.0, hi = 0.0, steepest = 0.0;
    const int count = 1000000;
    for (int i = 0; i < count; ++i) {
      float x[4] = {d(rng), d(rng), d(rng), d(rng)};
      const float v = perlin(n, x);
      sum += v;
      lo = std::min(lo, double(v));
      hi = std::max(hi, double(v));
      if (i % 8 == 0) {
        x[i / 8 % n] += step;  // crosses cell boundaries now and then
        const float w = perlin(n, x);
        steepest = std::max(steepest, double(std::fabs(w - v) / step));
        x[i / 8 % n] -= 256.0f;
        ASSERT_EQ(perlin(n, x), w) << n << "-D, axis " << i / 8 % n << " at " << x[i / 8 % n];
      }
    }
    EXPECT_TRUE(lo >= 0.0 && hi <= 1.0) << n << "-D: " << lo << " .. " << hi;
    EXPECT_NEAR(sum / count, 0.5, 0.005) << n << "-D";
    EXPECT_LT(steepest, 6.0) << n << "-D";  // no jumps: a bounded slope
  }
}

TEST(CellNoise, CellsAndNegativeRule) {
  EXPECT_EQ(fcellnoisef(0.0f), 16807 * 0x1p-31f);
  // Negative inputs step down one cell first, so -2 shares cell -3 with -2.5.
  EXPECT_EQ(fcellnoisef(-2.0f), fcellnoisef(-2.5f));
  EXPECT_EQ(fcellnoisef(-2.0f), unif[4093]);
  EXPECT_EQ(fcellnoisef(-3.0f), unif[4092]);
  EXPECT_EQ(fcellnoisef(-0.5f), unif[4095]);
  EXPECT_EQ(fcellnoisef(4096.5f), fcellnoisef(0.5f));
  EXPECT_EQ(fcellnoiseff(2.5f, 3.25f), unif[cellperm[2] + 3]);
  const Point p(1.5f, -0.5f, 7.0f);
  EXPECT_EQ(fcellnoisep(&p), unif[cellperm[cellperm[1] + 4095] + 7]);
  EXPECT_EQ(fcellnoisepf(&p, 5.0f), unif[cellperm[cellperm[cellperm[1] + 4095] + 7] + 5]);

  std::mt19937 rng(17);
  std::uniform_real_distribution<float> inside(0.0f, 0.999f);
  for (int i = 0; i < 1000; ++i) {
    const Point base(float(int(rng() % 600) - 300), float(int(rng() % 600) - 300), 2.0f);
    const Point a(base.x + inside(rng), base.y + inside(rng), base.z + inside(rng));
    const Point b(base.x + inside(rng), base.y + inside(rng), base.z + inside(rng));
    const float v = fcellnoisepf(&a, 3.5f);
    EXPECT_EQ(v, fcellnoisepf(&b, 3.0f));
    EXPECT_EQ(fcellnoisep(&a), fcellnoisep(&b));
    EXPECT_TRUE(v > 0.0f && v < 1.0f);
  }
}

TEST(PeriodicNoise, WrapsTheArgumentWithTruncatingRemainder) {
  EXPECT_EQ(fpernoisef(-0.25f, 1.0f), fnoisef(-0.25f));
  EXPECT_NE(fpernoisef(-0.25f, 1.0f), fnoisef(0.75f));
  EXPECT_EQ(fpernoisef(7.5f, 3.0f), fnoisef(1.5f));
  EXPECT_EQ(fpernoiseff(-5.5f, 9.25f, 4.0f, 4.0f), fnoiseff(-1.5f, 1.25f));
  const Point p(10.5f, -7.25f, 3.0f), period(4.0f, 5.0f, 2.5f), wrapped(2.5f, -2.25f, 0.5f);
  EXPECT_EQ(fpernoisep(&p, &period), fnoisep(&wrapped));
  EXPECT_EQ(fpernoisepf(&p, 9.0f, &period, 4.0f), fnoisepf(&wrapped, 1.0f));
  // Repeats on each side of zero, but the two sides differ.
  for (float x = 0.0f; x < 12.0f; x += 0.125f)
    EXPECT_TRUE(fpernoisef(x + 5, 5) == fpernoisef(x, 5) &&
                fpernoisef(-x - 5, 5) == fpernoisef(-x, 5))
        << x;
  EXPECT_TRUE(std::isnan(fpernoisef(1.5f, 0.0f)));
}

// Replacement noises that expose their argument, so each wrapper's routing
// and offsets can be read back directly.
TEST(NoisePointers, ReplacementReachesEveryWrapper) {
  EXPECT_TRUE(fnoisef == &fperlinf && fnoiseff == &fperlinff && fnoisep == &fperlinp &&
              fnoisepf == &fperlinpf);
  fnoisef = [](float x) { return x; };
  fnoiseff = [](float x, float y) { return x + 1000.0f * y; };
  fnoisep = [](const Point* p) { return p->x; };
  fnoisepf = [](const Point* p, float t) { return p->y + 1000.0f * t; };
  const float x = 0.25f;
  const Point p(x, 2.0f, 3.0f), per(10.0f, 10.0f, 10.0f);
  const float g = static_cast<float>(x + 123.456), b = static_cast<float>(x + 456.789);
  for (const Point& r : {pnoisef(x), pnoisep(&p)})
    EXPECT_TRUE(r.x == x && r.y == g && r.z == b) << r.x << " " << r.y << " " << r.z;
  EXPECT_EQ(pnoiseff(x, 0.0f).y, g + 1000.0f * static_cast<float>(0.0 + 123.456));
  EXPECT_EQ(pnoisepf(&p, 1.0f).z,
            static_cast<float>(2.0 + 456.789) + 1000.0f * static_cast<float>(1.0 + 456.789));
  EXPECT_EQ(fpernoisef(13.0f, 10.0f), 3.0f);
  EXPECT_EQ(fpernoisep(&p, &per), x);
  EXPECT_EQ(fpernoisepf(&p, 12.0f, &per, 10.0f), 2.0f + 2000.0f);
  const Point r = ppernoisep(&p, &per);
  EXPECT_TRUE(r.x == x && r.y == std::fmod(g, 10.0f) && r.z == std::fmod(b, 10.0f));
  EXPECT_EQ(ppernoiseff(x, 0.0f, 10.0f, 10.0f).x, x);
  const Color c = cnoisep(&p);
  EXPECT_TRUE(c.r == x && c.g == g && c.b == b) << c.r << " " << c.g << " " << c.b;
  fnoisef = fperlinf;
  fnoiseff = fperlinff;
  fnoisep = fperlinp;
  fnoisepf = fperlinpf;
  EXPECT_EQ(pnoisep(&p).x, fperlinp(&p));
}

}  // namespace
