// Token table lookups, and the named-space projection built on them.
#include <benchmark/benchmark.h>
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
