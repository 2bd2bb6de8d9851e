// Geometry value types: the per-point and per-primitive costs that the
// shading and bounding loops pay.
#include <benchmark/benchmark.h>
#include <slrt/geometry/bound.h>
#include <slrt/geometry/matrix.h>

namespace {

Matrix sampleMatrix() {
  Matrix m(1.0f);
  m.rotate(33, 1, 2, 3).scale(1.5f, 0.5f, 2).translate(4, -5, 6).perspective(60, 0, 0);
  return m;
}

void BM_Invert(benchmark::State& state) {
  const Matrix m = sampleMatrix();
  for (auto _ : state) {
    Matrix inv = m;
    benchmark::DoNotOptimize(invert(&inv));
    benchmark::DoNotOptimize(inv);
  }
}
BENCHMARK(BM_Invert);

void BM_PointTimesMatrix(benchmark::State& state) {
  const Matrix m = sampleMatrix();
  Point p(0.25f, -0.5f, 3.0f);
  for (auto _ : state) {
    benchmark::DoNotOptimize(p);
    Point q = p * m;
    benchmark::DoNotOptimize(q);
  }
}
BENCHMARK(BM_PointTimesMatrix);

void BM_VtransformM(benchmark::State& state) {
  const Matrix m = sampleMatrix();
  Point v(0.25f, -0.5f, 3.0f), r;
  for (auto _ : state) {
    benchmark::DoNotOptimize(v);
    vtransformm(r, m, v);
    benchmark::DoNotOptimize(r);
  }
}
BENCHMARK(BM_VtransformM);

void BM_MatrixProduct(benchmark::State& state) {
  const Matrix a = sampleMatrix();
  Matrix b(1.0f);
  b.rotate(10, 0, 1, 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(b);
    Matrix c = a * b;
    benchmark::DoNotOptimize(c);
  }
}
BENCHMARK(BM_MatrixProduct);

void BM_BoundTransform(benchmark::State& state) {
  const Matrix m = sampleMatrix();
  const Bound b(-1, 1, -1, 1, 2, 5);
  for (auto _ : state) {
    Bound t = b;
    benchmark::DoNotOptimize(t);
    t *= m;
    benchmark::DoNotOptimize(t);
  }
}
BENCHMARK(BM_BoundTransform);

}  // namespace

BENCHMARK_MAIN();
