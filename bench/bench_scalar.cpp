// Scalar operations: filterstep per filter, and the shared generator.
#include <slrt/pattern/scalar.h>

#include <benchmark/benchmark.h>

namespace {

// The edge sweeps across the filter support, as a shader's s does across a
// grid, so every branch of the filter is taken.
void runFilter(benchmark::State& state, const char* filter) {
  float s = -1.5f;
  for (auto _ : state) {
    benchmark::DoNotOptimize(filterstep(0.0f, s, 0.75f, "filter", filter, nullptr));
    s += 0.001f;
    if (s > 1.5f) s = -1.5f;
  }
}

void BM_FilterstepBox(benchmark::State& state) { runFilter(state, "box"); }
void BM_FilterstepTriangle(benchmark::State& state) { runFilter(state, "triangle"); }
void BM_FilterstepGaussian(benchmark::State& state) { runFilter(state, "gaussian"); }
void BM_FilterstepCatmullRom(benchmark::State& state) { runFilter(state, "catmull-rom"); }

void BM_Frandom(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(frandom());
}

void BM_Fdiv(benchmark::State& state) {
  float a = 1.0f, b = 0.0f;
  for (auto _ : state) {
    benchmark::DoNotOptimize(fdiv(a, b));
    b += 1e-3f;
  }
}

BENCHMARK(BM_FilterstepBox);
BENCHMARK(BM_FilterstepTriangle);
BENCHMARK(BM_FilterstepGaussian);
BENCHMARK(BM_FilterstepCatmullRom);
BENCHMARK(BM_Frandom);
BENCHMARK(BM_Fdiv);

}  // namespace

BENCHMARK_MAIN();
