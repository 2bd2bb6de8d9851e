// Lattice noise: the tables' fixed entries and rules, agreement with the
// defined algorithm written out from the tables, and the noise properties
// (lattice value, period, continuity, range) that shaders rely on.
#include <gtest/gtest.h>
#include <slrt/color/color.h>
#include <slrt/pattern/noise.h>
#include <slrt/pattern/scalar.h>

#include <cmath>
#include <random>
#include <set>
#include <vector>

namespace {

// Park-Miller by Schrage's method, as the shared generator runs it.  Kept
// here so the test does not disturb the process-wide seed.
int32_t parkMiller(int32_t s) {
  int32_t next = 16807 * (s % 127773) - 2836 * (s / 127773);
  return next < 0 ? next + 2147483647 : next;
}

TEST(NoiseTables, FixedEntries) {
  const int permHead[16] = {0, 251, 2, 65, 4, 150, 6, 9, 8, 22, 217, 167, 225, 3, 73, 205};
  for (int i = 0; i < 16; ++i) EXPECT_EQ(perm[i], permHead[i]) << i;
  EXPECT_EQ(grad1[0], -0.76953125f);
  EXPECT_EQ(grad1[1], -0.5078125f);
  EXPECT_EQ(grad1[2], 0.00390625f);
  EXPECT_EQ(grad1[3], -0.328125f);
  const int32_t cellHead[8] = {0, 1846, 2, 2809, 4, 2844, 6, 564};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(cellperm[i], cellHead[i]) << i;
  const float unif5Head[2][5] = {{0.25884438f, 0.39746204f, 0.14452034f, 0.9533872f, 0.5783553f},
                                 {0.3816374f, 0.17969897f, 0.20056955f, 0.97250736f, 0.93144065f}};
  for (int r = 0; r < 2; ++r)
    for (int k = 0; k < 5; ++k) EXPECT_EQ(unif5[r][k], unif5Head[r][k]) << r << "," << k;
  for (int i = 0; i < 100; ++i)
    EXPECT_FLOAT_EQ(costab[i], (1.0 + std::cos(M_PI * std::sqrt((i + 0.5) / 100.0))) / 2.0) << i;
  EXPECT_NEAR(costab[0], 0.98771f, 1e-5f);
  EXPECT_NEAR(costab[99], 1.546e-05f, 1e-8f);

  // The first half of unif is the shared generator's stream from seed 1.
  int32_t seed = 1;
  for (int i = 0; i < 4096; ++i) {
    seed = parkMiller(seed);
    ASSERT_EQ(unif[i], static_cast<float>(seed * 0x1p-31)) << i;
  }
  EXPECT_EQ(unif[0], 16807 * 0x1p-31f);
}

TEST(NoiseTables, Rules) {
  std::set<int> values(perm, perm + 256);
  EXPECT_EQ(values.size(), 256u);
  for (int i = 0; i < 256; ++i) EXPECT_EQ(perm[i + 256], perm[i]) << i;
  for (int i = 0; i < 512; ++i) {
    const float k = grad1[i] * 256.0f;
    EXPECT_TRUE(k == std::floor(k) && k >= -256.0f && k <= 255.0f) << i << ": " << grad1[i];
    EXPECT_NEAR(std::hypot(grad2[i][0], grad2[i][1]), 1.0, 1e-6) << i;
    const float* g = grad3 + 3 * i;
    EXPECT_NEAR(std::sqrt(g[0] * g[0] + g[1] * g[1] + g[2] * g[2]), 1.0, 1e-6) << i;
    const float* q = grad4[i];
    EXPECT_NEAR(std::sqrt(q[0] * q[0] + q[1] * q[1] + q[2] * q[2] + q[3] * q[3]), 1.0, 1e-6) << i;
    for (int k = 0; k < 5; ++k) EXPECT_TRUE(unif5[i][k] > 0.0f && unif5[i][k] < 1.0f) << i;
  }
  for (int i = 1536; i < 2048; ++i) EXPECT_EQ(grad3[i], 0.0f) << i;
  double sum = 0.0;
  for (int i = 0; i < 8192; ++i) {
    EXPECT_TRUE(unif[i] > 0.0f && unif[i] < 1.0f) << i;
    EXPECT_TRUE(cellperm[i] >= 0 && cellperm[i] <= 4095) << i;
    if (i % 2 == 1 && i > 8) {
      EXPECT_TRUE(cellperm[i] >= 3 && cellperm[i] <= 4094) << i;
    }
    sum += unif[i];
  }
  EXPECT_NEAR(sum / 8192, 0.5, 0.01);
}

// The gradient noise written out from its definition and the tables, with
// the library's own interpolation helpers; the optimised code must match it
// bit for bit.
float reference(int n, const float* x) {
  int cell[4];
  float frac[4];
  for (int k = 0; k < n; ++k) {
    const float shifted = x[k] + 4096.0f;
    const int i = static_cast<int>(shifted);
    cell[k] = i & 255;
    frac[k] = shifted - static_cast<float>(i);
  }
  float c[16];
  for (int corner = 0; corner < (1 << n); ++corner) {
    float off[4];
    int h = 0;
    for (int k = 0; k < n; ++k) {
      const int o = (corner >> k) & 1;
      off[k] = frac[k] - static_cast<float>(o);
      h = (k == 0 ? 0 : perm[h]) + ((cell[k] + o) & 255);
    }
    const float* g = n == 1 ? grad1 + h : n == 2 ? grad2[h] : n == 3 ? grad3 + 4 * h : grad4[h];
    float dot = g[0] * off[0];
    for (int k = 1; k < n; ++k) dot += g[k] * off[k];
    c[corner] = dot;
  }
  float s[4];
  for (int k = 0; k < n; ++k) s[k] = frac[k] * frac[k] * (3.0f - 2.0f * frac[k]);
  switch (n) {
    case 1:
      return 0.5f + (c[0] + s[0] * (c[1] - c[0]));
    case 2:
      return 0.5f + 0.70710677f * bilerp(s[0], s[1], c[0], c[1], c[2], c[3]);
    case 3:
      return 0.5f + 0.57735026f *
                        trilerp(s[0], s[1], s[2], c[0], c[1], c[2], c[3], c[4], c[5], c[6], c[7]);
    default:
      return 0.5f + 0.5f * quadlerp(s[0], s[1], s[2], s[3], c[0], c[1], c[2], c[3], c[4], c[5],
                                    c[6], c[7], c[8], c[9], c[10], c[11], c[12], c[13], c[14],
                                    c[15]);
  }
}

float perlin(int n, const float* x) {
  const Point p(x[0], x[1], x[2]);
  switch (n) {
    case 1:
      return fperlinf(x[0]);
    case 2:
      return fperlinff(x[0], x[1]);
    case 3:
      return fperlinp(&p);
    default:
      return fperlinpf(&p, x[3]);
  }
}

TEST(GradientNoise, MatchesDefinitionBitForBit) {
  std::mt19937 rng(7);
  const float spans[3] = {3.0f, 300.0f, 4000.0f};
  for (int n = 1; n <= 4; ++n) {
    for (float span : spans) {
      std::uniform_real_distribution<float> d(-span, span);
      for (int i = 0; i < 20000; ++i) {
        const float x[4] = {d(rng), d(rng), d(rng), d(rng)};
        ASSERT_EQ(perlin(n, x), reference(n, x))
            << n << "-D at " << x[0] << " " << x[1] << " " << x[2] << " " << x[3];
      }
    }
  }
}

TEST(GradientNoise, HalfAtLatticePointsAndPeriod256) {
  std::mt19937 rng(11);
  std::uniform_int_distribution<int> lattice(-600, 600), grid(-12800, 12800);
  for (int n = 1; n <= 4; ++n) {
    for (int i = 0; i < 2000; ++i) {
      const float p[4] = {float(lattice(rng)), float(lattice(rng)), float(lattice(rng)),
                          float(lattice(rng))};
      ASSERT_EQ(perlin(n, p), 0.5f) << n << "-D at " << p[0] << " " << p[1] << " " << p[2];
      // Points on a 1/64 grid stay exact when moved by 256.
      float x[4] = {grid(rng) / 64.0f, grid(rng) / 64.0f, grid(rng) / 64.0f, grid(rng) / 64.0f};
      const float v = perlin(n, x);
      for (int k = 0; k < n; ++k) {
        float y[4] = {x[0], x[1], x[2], x[3]};
        y[k] += 256.0f;
        ASSERT_EQ(perlin(n, y), v) << n << "-D, axis " << k;
      }
    }
  }
}

TEST(GradientNoise, ContinuousInRangeAndCentred) {
  std::mt19937 rng(13);
  std::uniform_real_distribution<float> d(-300.0f, 300.0f);
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
        steepest = std::max(steepest, double(std::fabs(perlin(n, x) - v) / step));
      }
    }
    EXPECT_GE(lo, 0.0) << n << "-D";
    EXPECT_LE(hi, 1.0) << n << "-D";
    EXPECT_NEAR(sum / count, 0.5, 0.005) << n << "-D";
    EXPECT_LT(steepest, 6.0) << n << "-D";  // no jumps: a bounded slope
  }
}

TEST(CellNoise, CellsAndNegativeRule) {
  EXPECT_EQ(fcellnoisef(0.0f), 16807 * 0x1p-31f);
  EXPECT_EQ(fcellnoisef(-2.0f), fcellnoisef(-2.5f));
  EXPECT_EQ(fcellnoisef(-2.0f), unif[4093]);  // cell -3
  EXPECT_EQ(fcellnoisef(-3.0f), unif[4092]);  // cell -4
  EXPECT_EQ(fcellnoisef(-0.5f), unif[4095]);
  EXPECT_EQ(fcellnoisef(4096.5f), fcellnoisef(0.5f));
  EXPECT_EQ(fcellnoiseff(2.5f, 3.25f), unif[cellperm[2] + 3]);
  const Point p(1.5f, -0.5f, 7.0f);
  EXPECT_EQ(fcellnoisep(&p), unif[cellperm[cellperm[1] + 4095] + 7]);
  EXPECT_EQ(fcellnoisepf(&p, 5.0f), unif[cellperm[cellperm[cellperm[1] + 4095] + 7] + 5]);

  // Constant inside a cell, in [0, 1).
  std::mt19937 rng(17);
  std::uniform_real_distribution<float> inside(0.0f, 0.999f);
  for (int i = 0; i < 1000; ++i) {
    const Point base(float(int(rng() % 600) - 300), float(int(rng() % 600) - 300), 2.0f);
    const Point a(base.x + inside(rng), base.y + inside(rng), base.z + inside(rng));
    const Point b(base.x + inside(rng), base.y + inside(rng), base.z + inside(rng));
    const float v = fcellnoisepf(&a, 3.5f);
    EXPECT_EQ(v, fcellnoisepf(&b, 3.0f));
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
  // Repeats with the period on each side of zero; the remainder keeps the
  // sign of x, so the two sides differ.
  for (float x = 0.0f; x < 12.0f; x += 0.125f) {
    EXPECT_EQ(fpernoisef(x + 5.0f, 5.0f), fpernoisef(x, 5.0f)) << x;
    EXPECT_EQ(fpernoisef(-x - 5.0f, 5.0f), fpernoisef(-x, 5.0f)) << -x;
  }
  EXPECT_NE(fpernoisef(-0.25f, 5.0f), fpernoisef(4.75f, 5.0f));
  EXPECT_TRUE(std::isnan(fpernoisef(1.5f, 0.0f)));
}

// Replacement noises that expose their argument, so the wrappers' routing
// and offsets can be read back directly.
float echo1(float x) {
  return x;
}
float echo2(float x, float y) {
  return x + 1000.0f * y;
}
float echo3(const Point* p) {
  return p->x;
}
float echo4(const Point* p, float t) {
  return p->y + 1000.0f * t;
}

TEST(NoisePointers, ReplacementReachesEveryWrapper) {
  EXPECT_EQ(fnoisef, &fperlinf);
  EXPECT_EQ(fnoiseff, &fperlinff);
  EXPECT_EQ(fnoisep, &fperlinp);
  EXPECT_EQ(fnoisepf, &fperlinpf);
  fnoisef = echo1;
  fnoiseff = echo2;
  fnoisep = echo3;
  fnoisepf = echo4;
  const float x = 0.25f;
  const Point p(x, 2.0f, 3.0f), per(10.0f, 10.0f, 10.0f);
  const float g = static_cast<float>(x + 123.456), b = static_cast<float>(x + 456.789);
  Point r = pnoisef(x);
  EXPECT_TRUE(r.x == x && r.y == g && r.z == b) << r.x << " " << r.y << " " << r.z;
  r = pnoisep(&p);
  EXPECT_TRUE(r.x == x && r.y == g && r.z == b) << r.x << " " << r.y << " " << r.z;
  r = pnoiseff(x, 0.0f);
  EXPECT_EQ(r.y, g + 1000.0f * static_cast<float>(0.0 + 123.456));
  r = pnoisepf(&p, 1.0f);
  EXPECT_EQ(r.z, static_cast<float>(2.0 + 456.789) + 1000.0f * static_cast<float>(1.0 + 456.789));
  EXPECT_EQ(fpernoisef(13.0f, 10.0f), 3.0f);
  EXPECT_EQ(fpernoisep(&p, &per), x);
  EXPECT_EQ(fpernoisepf(&p, 12.0f, &per, 10.0f), 2.0f + 2000.0f);
  r = ppernoisep(&p, &per);
  EXPECT_TRUE(r.x == x && r.y == std::fmod(g, 10.0f) && r.z == std::fmod(b, 10.0f));
  r = ppernoiseff(x, 0.0f, 10.0f, 10.0f);
  EXPECT_EQ(r.x, x);
  const Color c = cnoisep(&p);  // the colour wrappers share the pointers
  EXPECT_TRUE(c.r == x && c.g == g && c.b == b) << c.r << " " << c.g << " " << c.b;
  fnoisef = fperlinf;
  fnoiseff = fperlinff;
  fnoisep = fperlinp;
  fnoisepf = fperlinpf;
  EXPECT_EQ(pnoisep(&p).x, fperlinp(&p));
}

}  // namespace
