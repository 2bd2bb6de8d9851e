// gen_noise_tables: writes the constant noise tables as a C++ source file.
//
//   gen_noise_tables [output.cpp]      (standard output when no file is named)
//
// The output is committed as src/pattern/noise_tables.cpp; the build never
// runs this program.  Everything random comes from one fixed-seed generator
// with integer-only mapping, so the tables are the same on every machine.
// The leading entries of several tables are pinned to the values that the
// library has always shipped, and the rest follows the rules below.
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <vector>

namespace {

// SplitMix64: small, well mixed and fully specified, unlike the standard
// distributions whose output differs between library vendors.
class Rng {
 public:
  explicit Rng(uint64_t seed) : fState(seed) {}
  uint64_t next() {
    uint64_t z = (fState += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  // Integer in [0, n); the modulo bias is far below anything measurable here.
  uint32_t below(uint32_t n) { return static_cast<uint32_t>(next() % n); }
  // Float in (0, 1): a nonzero multiple of 2^-24, so exactly representable.
  float open01() {
    uint64_t k;
    do {
      k = next() >> 40;
    } while (k == 0);
    return static_cast<float>(static_cast<double>(k) * 0x1p-24);
  }
  // Double in [-1, 1).
  double signed01() { return static_cast<double>(next() >> 11) * 0x1p-52 - 1.0; }

 private:
  uint64_t fState;
};

// Random unit vector: uniform in the ball (rejecting points near the centre,
// where normalising would magnify rounding), normalised in double.
void unitVector(Rng& rng, int n, float* out) {
  double v[4];
  double len2;
  do {
    len2 = 0.0;
    for (int k = 0; k < n; ++k) {
      v[k] = rng.signed01();
      len2 += v[k] * v[k];
    }
  } while (len2 > 1.0 || len2 < 0.01);
  const double len = std::sqrt(len2);
  for (int k = 0; k < n; ++k) out[k] = static_cast<float>(v[k] / len);
}

// The shared generator's recurrence (Park-Miller by Schrage's method), which
// fills the first half of unif so that it matches frandom() from seed 1.
int32_t parkMiller(int32_t seed) {
  const int32_t hi = seed / 127773;
  const int32_t lo = seed % 127773;
  int32_t next = 16807 * lo - 2836 * hi;
  if (next < 0) next += 2147483647;
  return next;
}

struct Tables {
  unsigned char perm[512];
  float grad1[512];
  float grad2[512 * 2];
  float grad3[2048];
  float grad4[512 * 4];
  float unif[8192];
  int32_t cellperm[8192];
  float unif5[512 * 5];
  float costab[100];
};

void build(Tables& t) {
  Rng rng(0x736c72746e6f6973ull);

  // perm: pinned head, the remaining values shuffled, then duplicated.
  static const unsigned char kPermHead[16] = {0, 251, 2,   65,  4,   150, 6,  9,
                                              8, 22,  217, 167, 225, 3,   73, 205};
  bool used[256] = {};
  for (int i = 0; i < 16; ++i) {
    t.perm[i] = kPermHead[i];
    used[kPermHead[i]] = true;
  }
  int n = 16;
  for (int v = 0; v < 256; ++v)
    if (!used[v]) t.perm[n++] = static_cast<unsigned char>(v);
  for (int i = 255; i > 16; --i) {
    const int j = 16 + static_cast<int>(rng.below(static_cast<uint32_t>(i - 16 + 1)));
    const unsigned char tmp = t.perm[i];
    t.perm[i] = t.perm[j];
    t.perm[j] = tmp;
  }
  std::memcpy(t.perm + 256, t.perm, 256);

  // grad1: integers in [-256, 255] over 256.
  static const int kGrad1Head[4] = {-197, -130, 1, -84};
  for (int i = 0; i < 512; ++i) {
    const int k = i < 4 ? kGrad1Head[i] : static_cast<int>(rng.below(512)) - 256;
    t.grad1[i] = static_cast<float>(k) / 256.0f;
  }

  for (int i = 0; i < 512; ++i) unitVector(rng, 2, t.grad2 + 2 * i);
  // grad3 is packed by threes with a zero tail; the noise reads it by fours.
  for (int i = 0; i < 512; ++i) unitVector(rng, 3, t.grad3 + 3 * i);
  for (int i = 1536; i < 2048; ++i) t.grad3[i] = 0.0f;
  for (int i = 0; i < 512; ++i) unitVector(rng, 4, t.grad4 + 4 * i);

  // unif: the shared generator's first 4096 outputs, then an independent
  // stream.  seed * 2^-31 rounds exactly as frandom() does (a power-of-two
  // scale commutes with rounding to float).
  int32_t seed = 1;
  for (int i = 0; i < 4096; ++i) {
    seed = parkMiller(seed);
    t.unif[i] = static_cast<float>(seed) * 0x1p-31f;
  }
  for (int i = 4096; i < 8192; ++i) t.unif[i] = rng.open01();

  // cellperm: even entries repeat their index (modulo 4096), odd entries are
  // scattered over 3..4094.
  static const int32_t kCellOddHead[4] = {1846, 2809, 2844, 564};
  for (int i = 0; i < 8192; ++i) {
    if (i % 2 == 0)
      t.cellperm[i] = i & 4095;
    else if (i < 8)
      t.cellperm[i] = kCellOddHead[i / 2];
    else
      t.cellperm[i] = 3 + static_cast<int32_t>(rng.below(4092));
  }

  static const float kUnif5Head[10] = {0.25884438f, 0.39746204f, 0.14452034f, 0.9533872f,
                                       0.5783553f,  0.3816374f,  0.17969897f, 0.20056955f,
                                       0.97250736f, 0.93144065f};
  for (int i = 0; i < 512 * 5; ++i) t.unif5[i] = i < 10 ? kUnif5Head[i] : rng.open01();

  // Raised cosine at the midpoint of each hundredth of the squared distance.
  for (int i = 0; i < 100; ++i)
    t.costab[i] = static_cast<float>((1.0 + std::cos(M_PI * std::sqrt((i + 0.5) / 100.0))) / 2.0);
}

// Shortest text that reads back as the same float, as a float literal.
void putFloat(std::FILE* out, float v) {
  char buf[32];
  std::snprintf(buf, sizeof buf, "%.9g", static_cast<double>(v));
  const bool needPoint = std::strpbrk(buf, ".e") == nullptr;
  std::fprintf(out, "%s%sf", buf, needPoint ? ".0" : "");
}

void putFloats(std::FILE* out, const char* decl, const float* v, int count, int perLine) {
  std::fprintf(out, "\n%s = {\n", decl);
  for (int i = 0; i < count; ++i) {
    if (i % perLine == 0) std::fputs("    ", out);
    putFloat(out, v[i]);
    std::fputs(i + 1 == count ? "\n" : (i % perLine == perLine - 1 ? ",\n" : ", "), out);
  }
  std::fputs("};\n", out);
}

// Rows of records ({x, y}, {x, y, z, w}, ...), one record per line group.
void putRecords(std::FILE* out, const char* decl, const float* v, int count, int width,
                int perLine) {
  std::fprintf(out, "\n%s = {\n", decl);
  for (int i = 0; i < count; ++i) {
    if (i % perLine == 0) std::fputs("    ", out);
    std::fputc('{', out);
    for (int k = 0; k < width; ++k) {
      putFloat(out, v[i * width + k]);
      if (k + 1 < width) std::fputs(", ", out);
    }
    std::fputc('}', out);
    std::fputs(i + 1 == count ? "\n" : (i % perLine == perLine - 1 ? ",\n" : ", "), out);
  }
  std::fputs("};\n", out);
}

template <typename T>
void putInts(std::FILE* out, const char* decl, const T* v, int count, int perLine) {
  std::fprintf(out, "\n%s = {\n", decl);
  for (int i = 0; i < count; ++i) {
    if (i % perLine == 0) std::fputs("    ", out);
    std::fprintf(out, "%d", static_cast<int>(v[i]));
    std::fputs(i + 1 == count ? "\n" : (i % perLine == perLine - 1 ? ",\n" : ", "), out);
  }
  std::fputs("};\n", out);
}

void write(std::FILE* out, const Tables& t) {
  std::fputs(
      "// slrt: constant noise tables.\n"
      "//\n"
      "// Generated by tools/gen_noise_tables.cpp; do not edit by hand.  The values\n"
      "// fix every noise pattern, so they are data, not rebuilt at run time.\n"
      "// clang-format off\n"
      "#include <slrt/pattern/noise.h>\n",
      out);
  putInts(out, "const unsigned char perm[512]", t.perm, 512, 16);
  putFloats(out, "const float grad1[512]", t.grad1, 512, 8);
  putRecords(out, "const float grad2[512][2]", t.grad2, 512, 2, 3);
  putFloats(out, "const float grad3[2048]", t.grad3, 2048, 6);
  putRecords(out, "const float grad4[512][4]", t.grad4, 512, 4, 1);
  putFloats(out, "const float unif[8192]", t.unif, 8192, 6);
  putInts(out, "const int32_t cellperm[8192]", t.cellperm, 8192, 12);
  putRecords(out, "const float unif5[512][5]", t.unif5, 512, 5, 1);
  putFloats(out, "const float costab[100]", t.costab, 100, 6);
  std::fputs("// clang-format on\n", out);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc > 2) {
    std::fprintf(stderr, "usage: %s [output.cpp]\n", argv[0]);
    return 2;
  }
  std::vector<Tables> storage(1);  // ~100 KB: keep it off the stack
  Tables& t = storage[0];
  build(t);
  for (int i = 0; i < 8192; ++i) {
    // A generator output within 64 of 2^31 would round to 1.0; none of the
    // first 4096 is, but the tables promise the open interval.
    if (!(t.unif[i] > 0.0f && t.unif[i] < 1.0f)) {
      std::fprintf(stderr, "unif[%d] = %g is outside (0, 1)\n", i, t.unif[i]);
      return 1;
    }
  }
  std::FILE* out = argc == 2 ? std::fopen(argv[1], "w") : stdout;
  if (!out) {
    std::perror(argv[1]);
    return 1;
  }
  write(out, t);
  if (out != stdout && std::fclose(out) != 0) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
