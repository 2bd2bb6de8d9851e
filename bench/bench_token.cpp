// Token table lookups, and the named-space projection built on them.
#include <benchmark/benchmark.h>
#include <slrt/geometry/space.h>
#include <slrt/runtime/token.h>

#include <cstdio>
#include <string>
#include <vector>

namespace {

// A table of realistic size: a few hundred parameter names besides the ones
// being timed, so chains are as long as a scene would make them.
void populate() {
  static bool done = false;
  if (done) return;
  done = true;
  char name[32];
  for (int i = 0; i < 600; ++i) {
    std::snprintf(name, sizeof name, "param%d", i);
    promote(name);
  }
  declare("Kd", "uniform float");
}

void BM_FindUnknownText(benchmark::State& state) {
  populate();
  std::string text = "neverDeclaredName";  // a miss enters nothing, so it stays new
  for (auto _ : state) benchmark::DoNotOptimize(find(text.c_str()));
}
BENCHMARK(BM_FindUnknownText);

void BM_FindKnownText(benchmark::State& state) {
  populate();
  std::string text = "Kd";  // same text, not the interned address
  for (auto _ : state) benchmark::DoNotOptimize(find(text.c_str()));
}
BENCHMARK(BM_FindKnownText);

void BM_PromoteKnownText(benchmark::State& state) {
  populate();
  std::string text = "param300";
  for (auto _ : state) benchmark::DoNotOptimize(promote(text.c_str()));
}
BENCHMARK(BM_PromoteKnownText);

void BM_FindInterned(benchmark::State& state) {
  populate();
  const char* kd = promote("Kd");
  for (auto _ : state) {
    benchmark::DoNotOptimize(kd);
    benchmark::DoNotOptimize(find(kd));
  }
}
BENCHMARK(BM_FindInterned);

void BM_PromoteInterned(benchmark::State& state) {
  populate();
  const char* kd = promote("Kd");
  for (auto _ : state) {
    benchmark::DoNotOptimize(kd);
    benchmark::DoNotOptimize(promote(kd));
  }
}
BENCHMARK(BM_PromoteInterned);

void BM_FindInlineDeclaration(benchmark::State& state) {
  populate();
  std::string text = "varying color [3] Cs";
  for (auto _ : state) benchmark::DoNotOptimize(find(text.c_str()));
}
BENCHMARK(BM_FindInlineDeclaration);

// A perspective camera chain, as a renderer would set it per frame.
void setCamera() {
  gWorldToCamera = Matrix(1.0f).translate(0.5f, -1.0f, 8.0f).rotate(20.0f, 0, 1, 0);
  gCameraToScreen = Matrix(1.0f).perspective(45.0f, 0.1f, 100.0f);
  gScreenToNDC = Matrix(1.0f).map(-1.0f, 1.0f, -0.75f, 0.75f, 1, 1);
  gNDCToRaster = Matrix(1.0f).scale(640.0f, 480.0f, 1.0f);
  Space::clip(0.1f, 100.0f);
}

// Names as compiled shaders pass them: interned once, compared by address.
void BM_ProjectssInterned(benchmark::State& state) {
  populate();
  setCamera();
  const char* world = promote("world");
  const char* raster = promote("raster");
  const bool down = state.range(0) != 0;
  Matrix m;
  for (auto _ : state) {
    benchmark::DoNotOptimize(down ? projectss(m, world, raster) : projectss(m, raster, world));
    benchmark::ClobberMemory();
  }
  state.SetLabel(down ? "world->raster" : "raster->world (inverts)");
}
BENCHMARK(BM_ProjectssInterned)->Arg(1)->Arg(0);

// Plain texts pay a hash and a bucket walk per name.
void BM_ProjectssText(benchmark::State& state) {
  populate();
  setCamera();
  std::string world = "world", raster = "raster";
  Matrix m;
  for (auto _ : state) {
    benchmark::DoNotOptimize(projectss(m, world.c_str(), raster.c_str()));
    benchmark::ClobberMemory();
  }
}
BENCHMARK(BM_ProjectssText);

// Runs last: it leaves 20000 more records in the table, and chains of the
// 127 buckets grow with the table (about 160 records each afterwards).
void BM_PromoteNewText(benchmark::State& state) {
  populate();
  static int round = 0;
  ++round;
  std::vector<std::string> texts;
  for (int i = 0; i < 20000; ++i)
    texts.push_back("fresh" + std::to_string(round) + "_" + std::to_string(i));
  size_t i = 0;
  for (auto _ : state) benchmark::DoNotOptimize(promote(texts[i++ % texts.size()].c_str()));
}
BENCHMARK(BM_PromoteNewText)->Iterations(20000);

}  // namespace

BENCHMARK_MAIN();
