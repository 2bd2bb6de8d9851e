// Map files and the map classes: classification, level layouts, wrap modes,
// the name table, the path search and the level choice.
#include <gtest/gtest.h>
#include <slrt/runtime/token.h>
#include <slrt/texture/map.h>
#include <sys/stat.h>

#include <cmath>

#include "texture/tiff_util.h"

using tifftest::MapFile;
using tifftest::TempDir;

namespace {
const float kScreen[16] = {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 4, 5, 0, 1};
const float kCamera[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 7, 8, 9, 1};
const float kCot = 0.5f;

// A map with level 0 described by hand, for the level choice.
struct HandMap : Map {
  HandMap(short k, uint32_t w, uint32_t h) : Map("hand", "hand") {
    kind = k;
    levelCount = uint16_t(slrt_detail::expectedLevels(k, w, h));
    levels = new Subimage[levelCount];
    levels[0].init(w, h, w, h);
  }
};
}  // namespace

TEST(MapOpen, ClassesLayoutsWrapsAndFallbacks) {
  struct Case {
    const char *desc, *wraps;
    uint32_t w, h, dirs;  // a MIP pyramid of w x h, cut to dirs directories
    uint16_t samples;
    int64_t fullW, fullH;  // full-size tags of the first two directories; -1: none
    bool matrices;
    short type, kind, levels, channels;
    char report;  // F: not a map file, S: fewer subresolutions
  };
  // clang-format off
  const Case cases[] = {
      {"Plain single",           nullptr,             8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 0},
      {"Plain diagonal",         "periodic,clamp",    256, 256, 9, 3, -1, -1, false, 1, 1, 9, 3, 0},
      {"Plain diagonal",         nullptr,             256, 256, 1, 1, -1, -1, false, 1, 1, 9, 1, 'S'},
      {"Plain diagonal",         nullptr,             16,  8,   3, 6, 64, 32, false, 1, 1, 6, 4, 'S'},
      {"Plain diagonal",         nullptr,             8,   8,   1, 3, 0,  8,  false, 1, 1, 0, 3, 0},
      {"Plain made by hand all", nullptr,             4,   2,   1, 1, -1, -1, false, 1, 2, 6, 1, 'S'},
      {"Plain minmax",           nullptr,             4,   4,   3, 1, -1, -1, false, 1, 3, 5, 1, 'S'},
      {"LatLong single",         "clamp,periodic",    8,   4,   1, 1, -1, -1, false, 2, 0, 1, 1, 0},
      {"CubeFace single",        nullptr,             8,   4,   1, 1, -1, -1, false, 3, 0, 1, 1, 0},
      {"Shadow single",          nullptr,             8,   8,   1, 1, -1, -1, true,  4, 0, 1, 1, 0},
      {"Shadow single",          "clamp,clamp",       8,   8,   1, 1, -1, -1, false, 4, 0, 1, 1, 'F'},
      {nullptr,                  "clamp,clamp",       8,   8,   4, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"   ",                    nullptr,             8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"Bumpy diagonal",         nullptr,             8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"Plain sideways",         nullptr,             8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"Plain",                  nullptr,             8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"Plain single",           "periodic",          8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"Plain single",           ",clamp",            8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
      {"Plain single",           "clamp,clamp,black", 8,   8,   1, 1, -1, -1, false, 1, 0, 1, 1, 'F'},
  };
  // clang-format on
  TempDir dir;
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.desc ? c.desc : "(none)") + " / " + (c.wraps ? c.wraps : "") + " " +
                 std::to_string(c.w));
    MapFile f;
    f.description = c.desc;
    f.wraps = c.wraps;
    f.levels = tifftest::pyramid(c.w, c.h);
    f.levels.resize(c.dirs);
    for (size_t i = 0; i < f.levels.size() && i < 2; ++i)  // the third keeps its stored size
      f.levels[i].fullWidth = c.fullW, f.levels[i].fullLength = c.fullH;
    f.samples = c.samples;
    f.worldToScreen = c.matrices ? kScreen : nullptr;
    f.worldToCamera = c.matrices ? kCamera : nullptr;
    f.fovCot = &kCot;
    const std::string name = dir.file("m" + std::to_string(n++)), path = name + ".tqm";
    ASSERT_TRUE(tifftest::writeMap(path, f));

    ErrorCapture log;
    Map* m = Map::find(name.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->type(), c.type);
    EXPECT_EQ(dynamic_cast<ShadowMap*>(m)      ? 4
              : dynamic_cast<CubeEnvMap*>(m)   ? 3
              : dynamic_cast<SphereEnvMap*>(m) ? 2
              : dynamic_cast<TextureMap*>(m)   ? 1
                                               : 0,
              c.type);
    EXPECT_EQ(m->kind * 100 + m->levelCount * 10 + m->channels,
              c.kind * 100 + c.levels * 10 + c.channels);
    // A bad description or wrap string keeps the default wraps.
    EXPECT_EQ(std::string(m->sWrap) + "," + m->tWrap,
              c.wraps && c.report != 'F' ? c.wraps : "black,black");
    EXPECT_STREQ(m->path, path.c_str());
    EXPECT_EQ(m->tiff, nullptr);  // closed after describing
    if (auto* s = dynamic_cast<ShadowMap*>(m); s && c.matrices) {
      EXPECT_EQ(0, std::memcmp(s->worldToScreen.m, kScreen, sizeof kScreen));
      EXPECT_EQ(0, std::memcmp(s->worldToCamera.m, kCamera, sizeof kCamera));
    }
    const auto* cube = dynamic_cast<CubeEnvMap*>(m);
    EXPECT_EQ(cube ? cube->fovCot : kCot, kCot);
    const char* report = c.report == 'F'   ? " is not an KIV map file, will use as TIFF texture"
                         : c.report == 'S' ? " has fewer subresolutions than expected"
                                           : nullptr;
    EXPECT_EQ(log.text(), report ? "1|warning: " + path + report : "");
    // Levels without a directory stay zero-sized and are refused, and so
    // are indices past the end.
    const uint32_t described = std::min<uint32_t>(c.kind == 0 ? 1 : c.dirs, m->levelCount);
    for (uint16_t l = 0; l <= m->levelCount; ++l) {
      EXPECT_EQ(m->subimage(l) != nullptr, l < described) << l;
      EXPECT_EQ(m->gettile(l, 0, 0) != nullptr, l < described) << l;
    }
    if (c.fullW > 0) {
      EXPECT_EQ(m->levels[1].fullHeight, c.fullH);
      EXPECT_EQ(m->levels[2].fullWidth, c.w / 4);
    }
    EXPECT_EQ(Map::find(name.c_str()), m);  // described once, then found in the table
  }
}

TEST(MapFind, MissingOnceThenSearchPath) {
  TempDir a, b;
  std::string search = a.path + ":" + b.path;
  Map::mapPath(search.c_str());
  ErrorCapture log;
  // Reported once; a "%" in a name is text, never a format.
  for (const char* name : {"n%s%n", "n%s%n", "", (const char*)nullptr})
    EXPECT_EQ(Map::find(name), nullptr);
  EXPECT_EQ(log.text(), "2|error: n%s%n: map file not found in " + search);
  Map* p = Map::fBucket[hash("n%s%n") % Map::kBuckets];
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p->path, "n%s%n");
  EXPECT_EQ(p->invalid + p->kind, 2);

  MapFile f;
  f.description = "Plain single";
  f.levels = {{8, 8}};
  ASSERT_TRUE(tifftest::writeMap(b.file("t%d.tqm"), f));
  ASSERT_TRUE(tifftest::writeMap(a.file("t%d"), f));
  // An element of "%" too long for any buffer is passed over.
  search = std::string(5000, '%') + ":" + search;
  Map::mapPath(search.c_str());
  Map* m = Map::find("t%d");
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(m->path, b.file("t%d.tqm").c_str());  // the extension is tried first
  Map::mapPath(".");
}

TEST(PathArchFind, PathRules) {
  TempDir dir;
  const std::string d = dir.path;
  mkdir(dir.file("x86").c_str(), 0700);
  for (const char* f : {"plain", "x86/lib", "x86/%x"})
    std::fclose(std::fopen(dir.file(f).c_str(), "w"));
  auto find = [](const std::string& path, const char* arch, const std::string& name) {
    const char* r = patharchfind(path.c_str(), arch, name.c_str());
    return std::string(r ? r : "(null)");
  };
  EXPECT_EQ(find("/nonexistent:" + d, nullptr, "plain"), d + "/plain");
  EXPECT_EQ(find(d, nullptr, "x86"), "(null)");  // not a regular file
  for (const char* name : {"lib", "$ARCH/lib", "%ARCH/lib"})
    EXPECT_EQ(find(d, "x86", name), d + "/x86/lib") << name;
  EXPECT_EQ(find(d, "x86", "%x"), d + "/x86/%x");
  EXPECT_EQ(find("", "x86", d + "/lib"), d + "/x86/lib");  // absolute: <dir>/<arch>/<base>
  EXPECT_EQ(find(":", nullptr, d.substr(1) + "/plain"), d + "/plain");  // empty element: root
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(d.c_str()), 0);
  EXPECT_EQ(find("/nonexistent:", nullptr, "plain"), "./plain");  // empty last element: "."
  ASSERT_EQ(chdir(cwd), 0);
  EXPECT_EQ(patharchfind(".", nullptr, nullptr), nullptr);
  // Candidates too long for the result buffer are skipped, never cut.
  EXPECT_EQ(find(d, "x86", "$ARCH" + std::string(5000, 'n')), "(null)");
  EXPECT_EQ(find(std::string(5000, 'p') + ":" + d, nullptr, "plain"), d + "/plain");
}

TEST(SubimageWrap, Modes) {
  const char *periodic = promote("periodic"), *clamp = promote("clamp"), *black = promote("black");
  Subimage sub;
  ASSERT_EQ(sub.init(64, 64, 64, 64), 1);
  struct Case {
    int32_t row, col;
    const char *s, *t;
    int result;
    int32_t row2, col2;
  } cases[] = {
      // clang-format off
      {70, -1, periodic, clamp, 1, 63, 63},      {5, 6, black, black, 1, 5, 6},
      {-65, 130, periodic, periodic, 1, 63, 2},  {INT32_MIN, INT32_MAX, periodic, periodic, 1, 0, 63},
      {-3, 64, clamp, clamp, 1, 0, 63},          {70, 3, black, black, 0, 70, 3},
      {70, -1, black, clamp, 0, 70, -1},  // row untouched
      // clang-format on
  };
  for (const Case& c : cases) {
    int32_t row = c.row, col = c.col;
    EXPECT_EQ(sub.wrap(row, col, c.s, c.t), c.result) << c.row << "," << c.col;
    EXPECT_EQ(std::to_string(row) + "," + std::to_string(col),
              std::to_string(c.row2) + "," + std::to_string(c.col2));
  }
  Subimage empty;  // a level without a directory refuses every position
  for (const char* mode : {periodic, clamp, black}) {
    int32_t row = -1, col = 5;
    EXPECT_EQ(empty.wrap(row, col, mode, mode), 0);
    EXPECT_EQ(row * 10 + col, -5);
  }
  EXPECT_EQ(sub.init(0xFFFFFFFFu, 0xFFFFFFFFu, 1, 1), 0);  // refused, not allocated
  EXPECT_EQ(sub.tiles, nullptr);
}

TEST(MapLevels, ChoiceStaysInsideTheMap) {
  HandMap m(Map::kDiagonal, 256, 256);
  unsigned short c = 7, f = 7;
  for (float w : {-1.0f, 1.0f, 3.0f, 255.0f, 256.0f, 1e38f, INFINITY, NAN}) {
    const float r = m.selectLevel(w, c, f);
    EXPECT_TRUE(r >= 0.0f && r <= 1.0f) << w << " -> " << r;
    EXPECT_LT(c, m.levelCount) << w;
    EXPECT_EQ(f, uint16_t(c - 1)) << w;
  }
  m.dimToSubfiles(256.0f, 300.0f);  // at most a pixel both ways
  EXPECT_EQ(m.coarse + m.fine + m.blend, 0);
  m.dimToSubfiles(10.0f, 1e6f);  // 25.6 pixels in s
  EXPECT_EQ(m.coarse * 100 + m.fine * 10 + m.blend, 541);
  EXPECT_NEAR(m.weight, 0.4f, 1e-6f);

  HandMap rip(Map::kAll, 512, 256);
  rip.dimToSubfiles(512.0f / 3.0f, 256.0f / 5.0f);  // 3 pixels in s, 5 in t
  EXPECT_EQ(rip.coarse * 100 + rip.fine, (3 * 10 + 2) * 100 + 2 * 10 + 1);
  EXPECT_NEAR(rip.weight, 0.5f, 1e-5f);  // the smaller of 0.5 (s) and 0.75 (t)

  // One level: the fine index wraps to 65535, which is refused where used.
  HandMap one(Map::kSingle, 64, 64);
  EXPECT_EQ(one.selectLevel(100.0f, c, f), 0.0f);
  EXPECT_EQ(c * 100000 + f, 65535);
  EXPECT_EQ(one.gettile(f, 0, 0), nullptr);
  float x, y;
  one.sttoraster(f, 0.5f, 0.5f, x, y);
  EXPECT_EQ(x + y, 1.0f);
  one.sttoraster(0, 0.5f, 0.25f, x, y);
  EXPECT_EQ(x * 100 + y, 3250 + 16.5f);  // plus one half, deliberately
  // A 3 x 3 rip-map has 2 x 2 levels but its index counts 3 s levels: the
  // composed indices pass the end of the array and must be refused.
  HandMap odd(Map::kAll, 3, 3);
  odd.dimToSubfiles(0.001f, 0.001f);
  EXPECT_EQ(odd.coarse, 3 * 3 + 3);
  EXPECT_EQ(odd.subimage(odd.coarse), nullptr);
  EXPECT_EQ(odd.gettile(odd.fine, 0, 0), nullptr);
}
