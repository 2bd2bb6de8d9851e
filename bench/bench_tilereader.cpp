// Tile decoding on a tile-cache miss: the float RGBA reader against libtiff's
// own TIFFReadRGBATile on the same 64 x 64 tiles of the same files.
//
// Each iteration decodes the next tile of a 1024 x 1024 image (256 tiles,
// visited in order and then again), as a stream of cache misses would.
// Goals: at most 1.5 times libtiff's time for uncompressed 8-bit RGB (the
// reader writes four times the bytes, as floats) and at most 1.1 times for
// Deflate.  libtiff's RGBA interface refuses float files; for those the raw
// TIFFReadTile is shown instead, as the floor any decoder has to stand on.
// After the table, the ratios of our time to libtiff's are printed.
#include <benchmark/benchmark.h>
#include <tiffio.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "texture/rgbafloat_pvt.h"

namespace {

constexpr uint32_t kSize = 1024;
constexpr uint32_t kTile = 64;
constexpr uint32_t kTilesAcross = kSize / kTile;
constexpr uint32_t kTileCount = kTilesAcross * kTilesAcross;

struct BenchFile {
  const char* name;
  uint16_t bps, spp, sampleformat, compression;
  std::string path = {};
  TIFF* tif = nullptr;
};

std::vector<BenchFile>& files() {
  static std::vector<BenchFile> f = {
      {"rgb8", 8, 3, SAMPLEFORMAT_UINT, COMPRESSION_NONE},
      {"rgb8_deflate", 8, 3, SAMPLEFORMAT_UINT, COMPRESSION_ADOBE_DEFLATE},
      {"rgba8", 8, 4, SAMPLEFORMAT_UINT, COMPRESSION_NONE},
      {"rgb16", 16, 3, SAMPLEFORMAT_UINT, COMPRESSION_NONE},
      {"rgb16_deflate", 16, 3, SAMPLEFORMAT_UINT, COMPRESSION_ADOBE_DEFLATE},
      {"rgbfloat", 32, 3, SAMPLEFORMAT_IEEEFP, COMPRESSION_NONE},
      {"rgbfloat_deflate", 32, 3, SAMPLEFORMAT_IEEEFP, COMPRESSION_ADOBE_DEFLATE},
  };
  return f;
}

// A smooth picture with some noise, so that Deflate has realistic work.
bool writeFile(BenchFile& f, const std::string& dir) {
  f.path = dir + "/" + f.name + ".tif";
  TIFF* tif = TIFFOpen(f.path.c_str(), "w");
  if (!tif) return false;
  TIFFSetField(tif, TIFFTAG_IMAGEWIDTH, kSize);
  TIFFSetField(tif, TIFFTAG_IMAGELENGTH, kSize);
  TIFFSetField(tif, TIFFTAG_BITSPERSAMPLE, f.bps);
  TIFFSetField(tif, TIFFTAG_SAMPLESPERPIXEL, f.spp);
  TIFFSetField(tif, TIFFTAG_SAMPLEFORMAT, f.sampleformat);
  TIFFSetField(tif, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_RGB);
  TIFFSetField(tif, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
  TIFFSetField(tif, TIFFTAG_COMPRESSION, f.compression);
  if (f.spp == 4) {
    const uint16_t extra = EXTRASAMPLE_ASSOCALPHA;
    TIFFSetField(tif, TIFFTAG_EXTRASAMPLES, 1, &extra);
  }
  TIFFSetField(tif, TIFFTAG_TILEWIDTH, kTile);
  TIFFSetField(tif, TIFFTAG_TILELENGTH, kTile);
  const size_t bytes = size_t(kTile) * kTile * f.spp * (f.bps / 8);
  std::vector<uint8_t> buf(bytes);
  uint32_t noise = 12345;
  bool ok = true;
  for (uint32_t t = 0; t < kTileCount && ok; ++t) {
    const uint32_t x0 = t % kTilesAcross * kTile, y0 = t / kTilesAcross * kTile;
    for (uint32_t y = 0; y < kTile; ++y)
      for (uint32_t x = 0; x < kTile; ++x)
        for (uint16_t s = 0; s < f.spp; ++s) {
          noise = noise * 1103515245u + 12345u;
          const float v = float((x0 + x) * (s + 1) + (y0 + y) * 2) / float(4 * kSize) +
                          float((noise >> 16) & 15) / 1024.0f;
          const size_t i = (size_t(y) * kTile + x) * f.spp + s;
          if (f.bps == 8) {
            buf[i] = uint8_t(v * 255.0f);
          } else if (f.bps == 16) {
            const uint16_t u = uint16_t(v * 65535.0f);
            std::memcpy(&buf[i * 2], &u, 2);
          } else {
            std::memcpy(&buf[i * 4], &v, 4);
          }
        }
    ok = TIFFWriteEncodedTile(tif, t, buf.data(), tmsize_t(bytes)) >= 0;
  }
  TIFFClose(tif);
  return ok && (f.tif = TIFFOpen(f.path.c_str(), "r")) != nullptr;
}

void benchOurs(benchmark::State& state, BenchFile* f) {
  std::vector<float> raster(kTile * kTile * 4);
  uint32_t t = 0;
  for (auto _ : state) {
    const uint32_t x = t % kTilesAcross * kTile, y = t / kTilesAcross * kTile;
    if (!slrt_detail::readRGBAFloatRect(f->tif, x, y, x + kTile - 1, y + kTile - 1,
                                        raster.data())) {
      state.SkipWithError("reader failed");
      break;
    }
    benchmark::DoNotOptimize(raster.data());
    t = (t + 1) % kTileCount;
  }
  state.SetItemsProcessed(state.iterations());
}

void benchLibtiffRGBA(benchmark::State& state, BenchFile* f) {
  std::vector<uint32_t> raster(kTile * kTile);
  uint32_t t = 0;
  for (auto _ : state) {
    const uint32_t x = t % kTilesAcross * kTile, y = t / kTilesAcross * kTile;
    if (!TIFFReadRGBATile(f->tif, x, y, raster.data())) {
      state.SkipWithError("TIFFReadRGBATile failed");
      break;
    }
    benchmark::DoNotOptimize(raster.data());
    t = (t + 1) % kTileCount;
  }
  state.SetItemsProcessed(state.iterations());
}

void benchLibtiffRaw(benchmark::State& state, BenchFile* f) {
  std::vector<uint8_t> buf(size_t(TIFFTileSize(f->tif)));
  uint32_t t = 0;
  for (auto _ : state) {
    if (TIFFReadEncodedTile(f->tif, t, buf.data(), tmsize_t(buf.size())) < 0) {
      state.SkipWithError("TIFFReadEncodedTile failed");
      break;
    }
    benchmark::DoNotOptimize(buf.data());
    t = (t + 1) % kTileCount;
  }
  state.SetItemsProcessed(state.iterations());
}

// Prints the usual table, then our time over libtiff's for each file.
class RatioReporter : public benchmark::ConsoleReporter {
 public:
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& r : runs)
      if (!r.error_occurred) fTimes[r.benchmark_name()] = r.GetAdjustedRealTime();
    ConsoleReporter::ReportRuns(runs);
  }
  void Finalize() override {
    ConsoleReporter::Finalize();
    std::printf("\nour time / libtiff's time, per tile:\n");
    for (const BenchFile& f : files()) {
      const auto ours = fTimes.find(std::string("ours/") + f.name);
      for (const char* other : {"libtiff_rgba/", "libtiff_raw/"}) {
        const auto theirs = fTimes.find(other + std::string(f.name));
        if (ours != fTimes.end() && theirs != fTimes.end())
          std::printf("  %-18s vs %-14s %.2f\n", f.name, other, ours->second / theirs->second);
      }
    }
  }

 private:
  std::map<std::string, double> fTimes;
};

}  // namespace

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  char dir[] = "/tmp/slrt-bench-XXXXXX";
  if (!mkdtemp(dir)) return 1;
  for (BenchFile& f : files()) {
    if (!writeFile(f, dir)) {
      std::fprintf(stderr, "cannot write %s\n", f.path.c_str());
      return 1;
    }
    benchmark::RegisterBenchmark((std::string("ours/") + f.name).c_str(), benchOurs, &f);
    if (f.sampleformat != SAMPLEFORMAT_IEEEFP)
      benchmark::RegisterBenchmark((std::string("libtiff_rgba/") + f.name).c_str(),
                                   benchLibtiffRGBA, &f);
    benchmark::RegisterBenchmark((std::string("libtiff_raw/") + f.name).c_str(), benchLibtiffRaw,
                                 &f);
  }
  RatioReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  benchmark::Shutdown();
  for (BenchFile& f : files()) {
    TIFFClose(f.tif);
    std::remove(f.path.c_str());
  }
  std::remove(dir);
  return 0;
}
