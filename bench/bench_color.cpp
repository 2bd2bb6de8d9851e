// Cost per call of the spline and colour-space built-ins, evaluated the way a
// shader does: one call per shading point with the parameter or colour
// changing from point to point.
#include <benchmark/benchmark.h>
#include <slrt/color/color.h>
#include <slrt/pattern/spline.h>

#include <vector>

namespace {

constexpr int kPoints = 4096;

// Parameters sweeping [0, 1] in a non-aligned step, as s or t across a grid.
const std::vector<float>& params() {
  static const std::vector<float> v = [] {
    std::vector<float> p(kPoints);
    for (int i = 0; i < kPoints; ++i) p[i] = static_cast<float>((i * 37) % kPoints) / kPoints;
    return p;
  }();
  return v;
}

const std::vector<Color>& colors() {
  static const std::vector<Color> v = [] {
    std::vector<Color> c;
    c.reserve(kPoints);
    for (int i = 0; i < kPoints; ++i)
      c.emplace_back((i % 16) / 15.0f, ((i / 16) % 16) / 15.0f, ((i * 7) % 13) / 12.0f);
    return c;
  }();
  return v;
}

void BM_VSpline(benchmark::State& state, const char* basis) {
  const float cv[10] = {0.1f, 0.4f, 0.2f, 0.9f, 0.5f, 0.3f, 0.8f, 0.6f, 0.0f, 1.0f};
  const std::vector<float>& t = params();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(vspline(basis, t[i], 10, cv));
    i = (i + 1) % kPoints;
  }
}
BENCHMARK_CAPTURE(BM_VSpline, catmull_rom, "catmull-rom");
BENCHMARK_CAPTURE(BM_VSpline, bezier, "bezier");
BENCHMARK_CAPTURE(BM_VSpline, linear, "linear");

void BM_CSplinev(benchmark::State& state) {
  const std::vector<float>& t = params();
  const Color a(0, 0, 0), b(1, 0, 0), c(1, 1, 0), d(0, 1, 1), e(1, 1, 1);
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(csplinev("catmull-rom", t[i], 5, a, b, c, d, e));
    i = (i + 1) % kPoints;
  }
}
BENCHMARK(BM_CSplinev);

void BM_CTransformss(benchmark::State& state, const char* from, const char* to) {
  const std::vector<Color>& c = colors();
  size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(ctransformss(from, to, c[i]));
    i = (i + 1) % kPoints;
  }
}
BENCHMARK_CAPTURE(BM_CTransformss, rgb_to_XYZ, "rgb", "XYZ");
BENCHMARK_CAPTURE(BM_CTransformss, hsv_to_rgb, "hsv", "rgb");
BENCHMARK_CAPTURE(BM_CTransformss, hsv_to_hsl, "hsv", "hsl");
BENCHMARK_CAPTURE(BM_CTransformss, xyY_to_YIQ, "xyY", "YIQ");

}  // namespace

BENCHMARK_MAIN();
