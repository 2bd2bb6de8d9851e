// Map files and the map classes: classification, level layouts, wrap modes,
// the name table, the path search and the level choice.
#include <gtest/gtest.h>
#include <slrt/runtime/token.h>
#include <slrt/texture/map.h>
#include <sys/stat.h>

#include <cmath>
#include <cstring>

#include "texture/map_pvt.h"
#include "texture/mapfile_util.h"

using maptest::MapFile;
using maptest::TempDir;

namespace {
const float kScreen[16] = {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 4, 5, 0, 1};
const float kCamera[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 7, 8, 9, 1};
const float kCot = 0.5f;

short dynamicType(Map* m) {
  return dynamic_cast<ShadowMap*>(m)      ? 4
         : dynamic_cast<CubeEnvMap*>(m)   ? 3
         : dynamic_cast<SphereEnvMap*>(m) ? 2
         : dynamic_cast<TextureMap*>(m)   ? 1
                                          : 0;
}
}  // namespace

TEST(MapOpen, ClassesLayoutsWrapsAndFallbacks) {
  struct Case {
    const char *desc, *wraps;
    uint32_t w, h, dirs;  // a MIP pyramid of w x h, cut to dirs directories
    bool matrices;
    short type, kind, levels;
    const char* wrapsOut;
    char report;  // F: not a map file, S: fewer subresolutions
  };
  // clang-format off
  const Case cases[] = {
      {"Plain single",           nullptr,             8,   8,   1, false, 1, 0, 1, "black,black",    0},
      {"Plain diagonal",         "periodic,clamp",    256, 256, 9, false, 1, 1, 9, "periodic,clamp", 0},
      {"Plain diagonal",         nullptr,             256, 256, 1, false, 1, 1, 9, "black,black",    'S'},
      {"Plain made by hand all", nullptr,             4,   2,   1, false, 1, 2, 6, "black,black",    'S'},
      {"Plain minmax",           nullptr,             4,   4,   3, false, 1, 3, 5, "black,black",    'S'},
      {"LatLong single",         "clamp,periodic",    8,   4,   1, false, 2, 0, 1, "clamp,periodic", 0},
      {"CubeFace single",        nullptr,             8,   4,   1, false, 3, 0, 1, "black,black",    0},
      {"Shadow single",          nullptr,             8,   8,   1, true,  4, 0, 1, "black,black",    0},
      {"Shadow single",          "clamp,clamp",       8,   8,   1, false, 4, 0, 1, "black,black",    'F'},
      {nullptr,                  "clamp,clamp",       8,   8,   4, false, 1, 0, 1, "black,black",    'F'},
      {"   ",                    nullptr,             8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
      {"Bumpy diagonal",         nullptr,             8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
      {"Plain sideways",         nullptr,             8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
      {"Plain",                  nullptr,             8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
      {"Plain single",           "periodic",          8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
      {"Plain single",           ",clamp",            8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
      {"Plain single",           "clamp,clamp,black", 8,   8,   1, false, 1, 0, 1, "black,black",    'F'},
  };
  // clang-format on
  TempDir dir;
  int n = 0;
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.desc ? c.desc : "(none)") + " / " + (c.wraps ? c.wraps : ""));
    MapFile f;
    f.description = c.desc;
    f.wraps = c.wraps;
    f.levels = maptest::pyramid(c.w, c.h);
    f.levels.resize(c.dirs);
    f.worldToScreen = c.matrices ? kScreen : nullptr;
    f.worldToCamera = c.matrices ? kCamera : nullptr;
    std::string path = dir.file("m" + std::to_string(n++) + ".tqm");
    ASSERT_TRUE(maptest::writeMap(path, f));
    std::string name = path.substr(0, path.size() - 4);

    ErrorCapture log;
    Map* m = Map::find(name.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(m->type(), c.type);
    EXPECT_EQ(dynamicType(m), c.type);
    EXPECT_EQ(m->kind, c.kind);
    EXPECT_EQ(m->levelCount, c.levels);
    EXPECT_EQ(std::string(m->sWrap) + "," + m->tWrap, c.wrapsOut);
    EXPECT_STREQ(m->path, path.c_str());
    EXPECT_EQ(m->tiff, nullptr);  // closed after describing
    const char* report = c.report == 'F'   ? " is not an KIV map file, will use as TIFF texture"
                         : c.report == 'S' ? " has fewer subresolutions than expected"
                                           : nullptr;
    EXPECT_EQ(log.text(), report ? "1|warning: " + path + report : "");
    // Levels without a directory stay zero-sized and are refused.
    uint32_t described = c.kind == 0 ? 1 : c.dirs;
    for (unsigned l = 0; l < m->levelCount; ++l)
      EXPECT_EQ(m->subimage(uint16_t(l)) != nullptr, l < described) << "level " << l;
    EXPECT_EQ(Map::find(name.c_str()), m);  // described once, then found in the table
  }
}

TEST(MapOpen, TagsChannelsAndFullSizes) {
  TempDir dir;
  MapFile f;
  f.levels = {{8, 8}};
  f.description = "Shadow single";
  f.worldToScreen = kScreen;
  f.worldToCamera = kCamera;
  ASSERT_TRUE(maptest::writeMap(dir.file("s.tqm"), f));
  f.description = "CubeFace single";
  f.fovCot = &kCot;
  ASSERT_TRUE(maptest::writeMap(dir.file("c.tqm"), f));
  f = MapFile();
  f.description = "Plain diagonal";
  f.levels = {{16, 8, 64, 32}, {8, 4, 64, 32}, {4, 2}};
  f.samples = 6;
  ASSERT_TRUE(maptest::writeMap(dir.file("six.tqm"), f));
  f.levels = {{8, 8, 0, 8}};
  f.samples = 3;
  ASSERT_TRUE(maptest::writeMap(dir.file("flat.tqm"), f));

  ErrorCapture log;
  auto* s = dynamic_cast<ShadowMap*>(Map::find(dir.file("s").c_str()));
  ASSERT_NE(s, nullptr);
  EXPECT_EQ(0, std::memcmp(s->worldToScreen.m, kScreen, sizeof kScreen));
  EXPECT_EQ(0, std::memcmp(s->worldToCamera.m, kCamera, sizeof kCamera));
  auto* c = dynamic_cast<CubeEnvMap*>(Map::find(dir.file("c").c_str()));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->fovCot, 0.5f);

  Map* m = Map::find(dir.file("six").c_str());
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->channels, 4);
  EXPECT_EQ(m->levelCount, 6);  // from the full size of directory 0, 64 x 32
  EXPECT_EQ(m->levels[1].fullHeight, 32u);
  EXPECT_EQ(m->levels[2].fullWidth, 4u);  // absent tag: the stored size
  // A full width of 0 expects no levels, so none is missing either.
  m = Map::find(dir.file("flat").c_str());
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->channels * 10 + m->levelCount, 30);
  EXPECT_EQ(m->gettile(0, 0, 0), nullptr);
  EXPECT_EQ(log.text(),
            "1|warning: " + dir.file("six.tqm") + " has fewer subresolutions than expected");
  EXPECT_EQ(slrt_detail::expectedLevels(Map::kAll, 512, 256), 90u);
}

TEST(MapFind, MissingOnceThenSearchPath) {
  TempDir a, b;
  std::string search = a.path() + ":" + b.path();
  Map::mapPath(search.c_str());
  ErrorCapture log;
  EXPECT_EQ(Map::find("nowhere"), nullptr);
  EXPECT_EQ(Map::find("nowhere"), nullptr);
  EXPECT_EQ(Map::find(""), nullptr);
  EXPECT_EQ(Map::find(nullptr), nullptr);
  EXPECT_EQ(log.text(), "2|error: nowhere: map file not found in " + search);
  Map* p = Map::fBucket[hash("nowhere") % Map::kBuckets];
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p->path, "nowhere");
  EXPECT_EQ(p->invalid + p->kind, 2);

  MapFile f;
  f.description = "Plain single";
  f.levels = {{8, 8}};
  ASSERT_TRUE(maptest::writeMap(b.file("tex.tqm"), f));
  ASSERT_TRUE(maptest::writeMap(a.file("tex"), f));
  Map* m = Map::find("tex");
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(m->path, b.file("tex.tqm").c_str());  // the extension is tried first
  Map::mapPath(".");
}

TEST(PathArchFind, PathRules) {
  TempDir dir;
  const std::string d = dir.path();
  mkdir(dir.file("x86").c_str(), 0700);
  for (const char* f : {"plain", "x86/lib", "x86/%x"})
    std::fclose(std::fopen(dir.file(f).c_str(), "w"));
  auto find = [](const std::string& path, const char* arch, const std::string& name) {
    const char* r = patharchfind(path.c_str(), arch, name.c_str());
    return std::string(r ? r : "(null)");
  };
  EXPECT_EQ(find("/nonexistent:" + d, nullptr, "plain"), d + "/plain");
  EXPECT_EQ(find(d, nullptr, "x86"), "(null)");  // not a regular file
  EXPECT_EQ(find(d, "x86", "lib"), d + "/x86/lib");
  EXPECT_EQ(find(d, "x86", "$ARCH/lib") + find(d, "x86", "%ARCH/lib"),
            d + "/x86/lib" + d + "/x86/lib");
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
  const char* periodic = promote("periodic");
  const char* clamp = promote("clamp");
  const char* black = promote("black");
  Subimage sub;
  ASSERT_EQ(sub.init(64, 64, 64, 64), 1);
  struct Case {
    int32_t row, col;
    const char *s, *t;
    int result;
    int32_t row2, col2;
  } cases[] = {
      {70, -1, periodic, clamp, 1, 63, 63},
      {5, 6, black, black, 1, 5, 6},
      {-65, 130, periodic, periodic, 1, 63, 2},
      {INT32_MIN, INT32_MAX, periodic, periodic, 1, 0, 63},
      {-3, 64, clamp, clamp, 1, 0, 63},
      {70, -1, black, clamp, 0, 70, -1},  // row untouched
      {70, 3, black, black, 0, 70, 3},
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

namespace {
// A map with level 0 described by hand, for the level-choice tests.
struct HandMap : Map {
  HandMap(short k, uint32_t w, uint32_t h) : Map("hand", "hand") {
    kind = k;
    levelCount = uint16_t(slrt_detail::expectedLevels(k, w, h));
    levels = new Subimage[levelCount];
    levels[0].init(w, h, w, h);
  }
};
}  // namespace

TEST(MapLevels, SelectLevel) {
  HandMap m(Map::kDiagonal, 256, 256);
  unsigned short c = 7, f = 7;
  EXPECT_FLOAT_EQ(m.selectLevel(0.5f, c, f), 0.999f);
  EXPECT_EQ(c * 100 + f, 100);
  EXPECT_NEAR(m.selectLevel(25.6f, c, f), 0.4f, 1e-6f);
  EXPECT_EQ(c * 100 + f, 504);
  // Property: the indices stay inside the map and the weight inside [0, 1].
  for (float w : {-1.0f, 1.0f, 3.0f, 255.0f, 256.0f, 1e38f, INFINITY, NAN}) {
    float r = m.selectLevel(w, c, f);
    EXPECT_TRUE(r >= 0.0f && r <= 1.0f) << w << " -> " << r;
    EXPECT_LT(c, m.levelCount) << w;
    EXPECT_EQ(f, uint16_t(c - 1)) << w;
  }
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
}

TEST(MapLevels, DimToSubfiles) {
  HandMap diag(Map::kDiagonal, 256, 256);
  diag.dimToSubfiles(256.0f, 300.0f);  // at most a pixel both ways
  EXPECT_EQ(diag.coarse + diag.fine + diag.blend, 0);
  diag.dimToSubfiles(10.0f, 1e6f);  // 25.6 pixels in s
  EXPECT_EQ(diag.coarse * 100 + diag.fine * 10 + diag.blend, 541);
  EXPECT_NEAR(diag.weight, 0.4f, 1e-6f);

  HandMap rip(Map::kAll, 512, 256);
  rip.dimToSubfiles(512.0f / 3.0f, 256.0f / 5.0f);  // 3 pixels in s, 5 in t
  EXPECT_EQ(rip.coarse * 100 + rip.fine, (3 * 10 + 2) * 100 + 2 * 10 + 1);
  EXPECT_NEAR(rip.weight, 0.5f, 1e-5f);  // the smaller of 0.5 (s) and 0.75 (t)
  rip.dimToSubfiles(1e6f, 1e6f);
  EXPECT_EQ(rip.coarse + rip.blend, 0);

  // A 3 x 3 rip-map has 2 x 2 levels but its index counts 3 s levels: the
  // composed indices pass the end of the array and must be refused.
  HandMap odd(Map::kAll, 3, 3);
  odd.dimToSubfiles(0.001f, 0.001f);
  EXPECT_EQ(odd.coarse, 3 * 3 + 3);
  EXPECT_EQ(odd.subimage(odd.coarse), nullptr);
  EXPECT_EQ(odd.gettile(odd.fine, 0, 0), nullptr);
}
