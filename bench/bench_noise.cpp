// Noise cost per call, over the coherent path a shader takes across a grid:
// neighbouring points a small step apart, row after row.
//
// The yardstick is Perlin's improved noise (2002), written below as plain
// float code from its published formulas: quintic fade, twelve edge
// gradients picked by the low four bits of the hash, floor by truncation.
// Which permutation it hashes with does not change its cost, so it reuses
// the library's perm table.  Goal: 3-D gradient noise through fnoisep at
// most 0.75 times the time of the yardstick; BM_Noise3VsImproved measures
// both over the same points in the same run and reports the ratio.
#include <benchmark/benchmark.h>
#include <slrt/pattern/noise.h>
#include <time.h>

#include <vector>

namespace {

// A 64 x 64 grid of shading points spaced 1/23 of a cell (an arbitrary,
// non-aligned step), tilted a little in z, placed away from the origin.
const std::vector<Point>& gridPath() {
  static const std::vector<Point> path = [] {
    std::vector<Point> v;
    v.reserve(64 * 64);
    for (int j = 0; j < 64; ++j)
      for (int i = 0; i < 64; ++i)
        v.emplace_back(17.3f + i / 23.0f, -5.1f + j / 23.0f, 2.7f + 0.01f * (i + j));
    return v;
  }();
  return path;
}

inline int fastFloor(float x) {
  const int i = static_cast<int>(x);
  return x < static_cast<float>(i) ? i - 1 : i;
}

inline float fade(float t) {
  return t * t * t * (t * (t * 6.0f - 15.0f) + 10.0f);
}
inline float mix(float t, float a, float b) {
  return a + t * (b - a);
}

// Dot product with one of twelve cube-edge directions (four repeated to fill
// sixteen), selected by the hash's low bits.
inline float edgeGrad(int hash, float x, float y, float z) {
  const int h = hash & 15;
  const float u = h < 8 ? x : y;
  const float v = h < 4 ? y : (h == 12 || h == 14 ? x : z);
  return ((h & 1) ? -u : u) + ((h & 2) ? -v : v);
}

float improvedNoise(const Point* p) {
  const int ix = fastFloor(p->x), iy = fastFloor(p->y), iz = fastFloor(p->z);
  const float x = p->x - ix, y = p->y - iy, z = p->z - iz;
  const int cx = ix & 255, cy = iy & 255, cz = iz & 255;
  const float u = fade(x), v = fade(y), w = fade(z);
  const int a = perm[cx] + cy, aa = perm[a] + cz, ab = perm[a + 1] + cz;
  const int b = perm[cx + 1] + cy, ba = perm[b] + cz, bb = perm[b + 1] + cz;
  return mix(
      w,
      mix(v, mix(u, edgeGrad(perm[aa], x, y, z), edgeGrad(perm[ba], x - 1, y, z)),
          mix(u, edgeGrad(perm[ab], x, y - 1, z), edgeGrad(perm[bb], x - 1, y - 1, z))),
      mix(v, mix(u, edgeGrad(perm[aa + 1], x, y, z - 1), edgeGrad(perm[ba + 1], x - 1, y, z - 1)),
          mix(u, edgeGrad(perm[ab + 1], x, y - 1, z - 1),
              edgeGrad(perm[bb + 1], x - 1, y - 1, z - 1))));
}

// Called through a pointer, as the library's noise is.
float (*gImproved)(const Point*) = improvedNoise;

// One call per benchmark iteration, walking the grid.
template <typename Call>
void walk(benchmark::State& state, Call call) {
  const std::vector<Point>& path = gridPath();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(call(path[i]));
    i = (i + 1) & (path.size() - 1);
  }
  state.SetItemsProcessed(state.iterations());
}

void BM_Noise1(benchmark::State& s) {
  walk(s, [](const Point& p) { return fnoisef(p.x); });
}
void BM_Noise2(benchmark::State& s) {
  walk(s, [](const Point& p) { return fnoiseff(p.x, p.y); });
}
void BM_Noise3(benchmark::State& s) {
  walk(s, [](const Point& p) { return fnoisep(&p); });
}
void BM_Noise4(benchmark::State& s) {
  walk(s, [](const Point& p) { return fnoisepf(&p, p.x * 0.5f); });
}
void BM_ImprovedNoise3(benchmark::State& s) {
  walk(s, [](const Point& p) { return gImproved(&p); });
}
void BM_CellNoise3(benchmark::State& s) {
  walk(s, [](const Point& p) { return fcellnoisep(&p); });
}
void BM_Lewis1(benchmark::State& s) {
  walk(s, [](const Point& p) { return flewisf(p.x); });
}
void BM_Lewis3(benchmark::State& s) {
  walk(s, [](const Point& p) { return flewisp(&p); });
}

// Thread CPU time in nanoseconds: the build machine is shared, and wall time
// would charge other processes' slices to whichever noise was running.
double cpuNs() {
  timespec ts;
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &ts);
  return ts.tv_sec * 1e9 + ts.tv_nsec;
}

// Both 3-D noises over the whole grid, alternating passes so that both see
// the same machine state; reports ns per call of each and their ratio.
void BM_Noise3VsImproved(benchmark::State& state) {
  const std::vector<Point>& path = gridPath();
  double ours = 0.0, reference = 0.0;
  for (auto _ : state) {
    const double t0 = cpuNs();
    for (const Point& p : path) benchmark::DoNotOptimize(fnoisep(&p));
    const double t1 = cpuNs();
    for (const Point& p : path) benchmark::DoNotOptimize(gImproved(&p));
    const double t2 = cpuNs();
    ours += t1 - t0;
    reference += t2 - t1;
  }
  const double calls = static_cast<double>(state.iterations()) * path.size();
  const double oursNs = ours / calls;
  const double refNs = reference / calls;
  state.counters["noise3_ns"] = oursNs;
  state.counters["improved_ns"] = refNs;
  state.counters["ratio"] = oursNs / refNs;
}

BENCHMARK(BM_Noise1);
BENCHMARK(BM_Noise2);
BENCHMARK(BM_Noise3);
BENCHMARK(BM_Noise4);
BENCHMARK(BM_ImprovedNoise3);
BENCHMARK(BM_CellNoise3);
BENCHMARK(BM_Lewis1);
BENCHMARK(BM_Lewis3);
BENCHMARK(BM_Noise3VsImproved);

}  // namespace

BENCHMARK_MAIN();
