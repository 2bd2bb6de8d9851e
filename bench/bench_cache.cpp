// Tile cache: the cost of Map::gettile when the tile is cached (the path every
// texture sample takes), and of a miss that evicts and decodes.
#include <benchmark/benchmark.h>
#include <slrt/texture/cache.h>
#include <slrt/texture/map.h>
#include <tiffio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>
#include "texture/map_pvt.h"

namespace {

// A one-level 8-bit grey map of 16 x 4 tiles, written once into a temporary
// folder and removed at exit.
struct BenchMap {
  std::string dir, file;
  Map* map = nullptr;

  BenchMap() {
    char pattern[] = "/tmp/slrt-bench-XXXXXX";
    if (!mkdtemp(pattern)) return;
    dir = pattern;
    file = dir + "/grid.tqm";
    const uint32_t w = 16 * 64, h = 4 * 64;
    TIFF* tif = TIFFOpen(file.c_str(), "w");
    if (!tif) return;
    TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, w);
    TIFFSetField(tif, TIFFTAG_IMAGELENGTH, h);
    TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, 1);
    TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, 8);
    TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISBLACK);
    TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    TIFFSetField(tif, TIFFTAG_ROWSPERSTRIP, 16);
    TIFFSetField(tif, slrt_detail::kTagTextureFormat, "Plain single");
    std::vector<uint8_t> row(w);
    for (uint32_t y = 0; y < h; ++y) {
      for (uint32_t x = 0; x < w; ++x) row[x] = uint8_t(x ^ y);
      TIFFWriteScanline(tif, row.data(), y, 0);
    }
    TIFFClose(tif);
    map = Map::find((dir + "/grid").c_str());
  }
  ~BenchMap() {
    std::remove(file.c_str());
    rmdir(dir.c_str());
  }
};

BenchMap& benchMap() {
  static BenchMap m;
  return m;
}

// One tile asked for again and again: a table read, a range check and a mark
// store.
void BM_GettileHitSame(benchmark::State& state) {
  Map* m = benchMap().map;
  if (!m || !m->gettile(0, 1, 3)) {
    state.SkipWithError("no map");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(m->gettile(0, 1, 3));
}

// Sixteen cached tiles in turn, as neighbouring samples of a grid would ask.
void BM_GettileHitSpread(benchmark::State& state) {
  Map* m = benchMap().map;
  if (!m) {
    state.SkipWithError("no map");
    return;
  }
  for (long t = 0; t < 16; ++t) m->gettile(0, t / 8, t % 8);
  long t = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(m->gettile(0, t / 8, t % 8));
    t = (t + 1) & 15;
  }
}

// The cache's own hit entry point, without the map's checks.
void BM_HitTextureCache(benchmark::State& state) {
  static int32_t owner = -1;
  if (owner < 0 && !allocateTextureCache(&owner)) {
    state.SkipWithError("no slot");
    return;
  }
  for (auto _ : state) benchmark::DoNotOptimize(hitTextureCache(owner));
}

// 64 tiles through 32 slots: every request evicts and decodes a tile.
void BM_GettileMiss(benchmark::State& state) {
  Map* m = benchMap().map;
  if (!m) {
    state.SkipWithError("no map");
    return;
  }
  long t = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(m->gettile(0, t / 16, t % 16));
    t = (t + 1) & 63;
  }
}

}  // namespace

BENCHMARK(BM_GettileHitSame);
BENCHMARK(BM_GettileHitSpread);
BENCHMARK(BM_HitTextureCache);
BENCHMARK(BM_GettileMiss);

BENCHMARK_MAIN();
