// Map files and the map classes: classification, level layouts, wrap modes,
// the name table, the path search and the level choice.
#include <gtest/gtest.h>
#include <slrt/runtime/token.h>
#include <slrt/texture/map.h>
#include <sys/stat.h>

#include <cmath>
#include <typeinfo>

#include "texture/map_pvt.h"
#include "texture/mapfile_util.h"

using maptest::Level;
using maptest::MapFile;
using maptest::ReportLog;
using maptest::TempDir;

namespace {

const char* kNotMap = "0|1|%s is not an KIV map file, will use as TIFF texture";

std::string notMap(const std::string& path) {
  return "0|1|" + path + " is not an KIV map file, will use as TIFF texture";
}

const float kScreen[16] = {2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 4, 5, 0, 1};
const float kCamera[16] = {1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 7, 8, 9, 1};
const float kCot = 0.5f;

struct ClassCase {
  const char* label;
  const char* description;
  const char* wraps;
  std::vector<Level> levels;
  const std::type_info* type;
  short typeCode;
  short kind;
  unsigned levelCount;
  const char* sWrap;
  const char* tWrap;
  bool fallback;
  bool fewer;
  bool matrices = false;
};

}  // namespace

TEST(MapOpen, ClassesLayoutsWrapsAndFallbacks) {
  std::vector<ClassCase> cases = {
      {"plain single",
       "Plain single",
       nullptr,
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       false,
       false},
      {"mip full", "Plain diagonal", "periodic,clamp", maptest::pyramid(256, 256),
       &typeid(TextureMap), 1, 1, 9, "periodic", "clamp", false, false},
      {"mip short",
       "Plain diagonal",
       nullptr,
       {{256, 256}},
       &typeid(TextureMap),
       1,
       1,
       9,
       "black",
       "black",
       false,
       true},
      {"middle words",
       "Plain made by hand all",
       nullptr,
       {{4, 2}},
       &typeid(TextureMap),
       1,
       2,
       6,
       "black",
       "black",
       false,
       true},
      {"minmax", "Plain minmax", nullptr, maptest::pyramid(4, 4), &typeid(TextureMap), 1, 3, 5,
       "black", "black", false, true},
      {"sphere",
       "LatLong single",
       "clamp,periodic",
       {{8, 4}},
       &typeid(SphereEnvMap),
       2,
       0,
       1,
       "clamp",
       "periodic",
       false,
       false},
      {"cube",
       "CubeFace single",
       nullptr,
       {{8, 4}},
       &typeid(CubeEnvMap),
       3,
       0,
       1,
       "black",
       "black",
       false,
       false},
      {"shadow",
       "Shadow single",
       nullptr,
       {{8, 8}},
       &typeid(ShadowMap),
       4,
       0,
       1,
       "black",
       "black",
       false,
       false,
       true},
      {"shadow bare",
       "Shadow single",
       "clamp,clamp",
       {{8, 8}},
       &typeid(ShadowMap),
       4,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"no description", nullptr, "clamp,clamp", maptest::pyramid(8, 8), &typeid(TextureMap), 1, 0,
       1, "black", "black", true, false},
      {"blank description",
       "   ",
       nullptr,
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"unknown class",
       "Bumpy diagonal",
       nullptr,
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"unknown layout",
       "Plain sideways",
       nullptr,
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"one word",
       "Plain",
       nullptr,
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"no comma",
       "Plain single",
       "periodic",
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"empty s word",
       "Plain single",
       ",clamp",
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"empty t word",
       "Plain single",
       "clamp,",
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"three words",
       "Plain single",
       "periodic,clamp,black",
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
      {"case matters",
       "Plain single",
       "periodic,Clamp",
       {{8, 8}},
       &typeid(TextureMap),
       1,
       0,
       1,
       "black",
       "black",
       true,
       false},
  };
  TempDir dir;
  int n = 0;
  for (const ClassCase& c : cases) {
    SCOPED_TRACE(c.label);
    MapFile f;
    f.description = c.description;
    f.wraps = c.wraps;
    f.levels = c.levels;
    if (c.matrices) {
      f.worldToScreen = kScreen;
      f.worldToCamera = kCamera;
    }
    std::string path = dir.file("m" + std::to_string(n++) + ".tqm");
    ASSERT_TRUE(maptest::writeMap(path, f));
    std::string name = path.substr(0, path.size() - 4);

    ReportLog log;
    Map* m = Map::find(name.c_str());
    ASSERT_NE(m, nullptr);
    EXPECT_EQ(typeid(*m), *c.type);
    EXPECT_EQ(m->type(), c.typeCode);
    EXPECT_EQ(m->kind, c.kind);
    EXPECT_EQ(m->levelCount, c.levelCount);
    EXPECT_EQ(m->sWrap, promote(c.sWrap));
    EXPECT_EQ(m->tWrap, promote(c.tWrap));
    EXPECT_STREQ(m->name, name.c_str());
    EXPECT_STREQ(m->path, path.c_str());
    EXPECT_EQ(m->openSlot, -1);
    EXPECT_EQ(m->tiff, nullptr);  // closed after describing
    std::vector<std::string> expected;
    if (c.fallback) expected.push_back(notMap(path));
    if (c.fewer) expected.push_back("0|1|" + path + " has fewer subresolutions than expected");
    EXPECT_EQ(log.lines(), expected);
    // Every expected level exists; the ones without a directory are zero-sized.
    size_t dirs = c.fallback ? 1 : c.levels.size();
    for (unsigned l = 0; l < m->levelCount; ++l) {
      bool present = l < dirs;
      EXPECT_EQ(m->subimage(uint16_t(l)) != nullptr, present) << "level " << l;
      EXPECT_EQ(m->levels[l].width, present ? c.levels[l].width : 0u);
    }
    EXPECT_EQ(Map::find(name.c_str()), m);  // described once, then found in the table
  }
  (void)kNotMap;
}

TEST(MapOpen, ClassSpecificTags) {
  TempDir dir;
  MapFile f;
  f.levels = {{8, 8}};
  f.description = "Shadow single";
  f.worldToScreen = kScreen;
  f.worldToCamera = kCamera;
  ASSERT_TRUE(maptest::writeMap(dir.file("s.tqm"), f));
  f = MapFile();
  f.levels = {{8, 8}};
  f.description = "CubeFace single";
  f.fovCot = &kCot;
  ASSERT_TRUE(maptest::writeMap(dir.file("c.tqm"), f));

  auto* s = dynamic_cast<ShadowMap*>(Map::find(dir.file("s").c_str()));
  ASSERT_NE(s, nullptr);
  for (int i = 0; i < 16; ++i) {
    EXPECT_EQ(s->worldToScreen.m[i], kScreen[i]) << i;
    EXPECT_EQ(s->worldToCamera.m[i], kCamera[i]) << i;
  }
  EXPECT_EQ(s->reserved, -1.0f);
  EXPECT_EQ(s->wtocVersion, 0);
  auto* c = dynamic_cast<CubeEnvMap*>(Map::find(dir.file("c").c_str()));
  ASSERT_NE(c, nullptr);
  EXPECT_EQ(c->fovCot, 0.5f);
  EXPECT_EQ(c->fov, 90.0f);
  EXPECT_NE(dynamic_cast<EnvMap*>(c), nullptr);
}

TEST(MapOpen, ChannelsAndFullSizes) {
  TempDir dir;
  MapFile f;
  f.description = "Plain diagonal";
  f.levels = {{16, 8, 64, 32}, {8, 4, 64, 32}, {4, 2}};
  f.samples = 6;
  ASSERT_TRUE(maptest::writeMap(dir.file("six.tqm"), f));
  ReportLog log;
  Map* m = Map::find(dir.file("six").c_str());
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->channels, 4);
  // The level count comes from the full size of directory 0 (64 x 32: 6).
  EXPECT_EQ(m->levelCount, 6);
  EXPECT_EQ(m->levels[0].fullWidth, 64u);
  EXPECT_EQ(m->levels[1].fullHeight, 32u);
  EXPECT_EQ(m->levels[2].fullWidth, 4u);  // absent tags: the stored size
  EXPECT_EQ(m->levels[0].tilesAcross(), 1u);

  // Full sizes of 0 expect no levels at all, so nothing is missing.
  f.levels = {{8, 8, 0, 8}};
  f.samples = 3;
  ASSERT_TRUE(maptest::writeMap(dir.file("flat.tqm"), f));
  log.clear();
  m = Map::find(dir.file("flat").c_str());
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(m->channels, 3);
  EXPECT_EQ(m->levelCount, 0);
  EXPECT_EQ(m->gettile(0, 0, 0), nullptr);
  EXPECT_TRUE(log.lines().empty()) << log.text();
}

TEST(MapLevels, ExpectedCounts) {
  using slrt_detail::expectedLevels;
  EXPECT_EQ(expectedLevels(Map::kSingle, 512, 256), 1u);
  EXPECT_EQ(expectedLevels(Map::kDiagonal, 512, 256), 9u);
  EXPECT_EQ(expectedLevels(Map::kAll, 512, 256), 90u);
  EXPECT_EQ(expectedLevels(Map::kMinMax, 512, 256), 17u);
  EXPECT_EQ(expectedLevels(Map::kDiagonal, 256, 256), 9u);
  EXPECT_EQ(expectedLevels(Map::kAll, 0xFFFFFFFFu, 0xFFFFFFFFu), 1024u);
  for (int kind : {Map::kDiagonal, Map::kAll, Map::kMinMax}) {
    EXPECT_EQ(expectedLevels(kind, 0, 256), 0u) << kind;
    EXPECT_EQ(expectedLevels(kind, 256, 0), 0u) << kind;
  }
}

TEST(MapFind, MissingMapReportedOnce) {
  TempDir dir;
  Map::mapPath(dir.path().c_str());
  ReportLog log;
  EXPECT_EQ(Map::find("nowhere-to-be-found"), nullptr);
  EXPECT_EQ(Map::find("nowhere-to-be-found"), nullptr);
  EXPECT_EQ(log.text(), "0|2|nowhere-to-be-found: map file not found in " + dir.path());
  // The placeholder sits in the table, invalid, with name and path the name.
  Map* p = Map::fBucket[hash("nowhere-to-be-found") % Map::kBuckets];
  ASSERT_NE(p, nullptr);
  EXPECT_STREQ(p->name, "nowhere-to-be-found");
  EXPECT_STREQ(p->path, "nowhere-to-be-found");
  EXPECT_EQ(p->invalid, 1);
  EXPECT_EQ(p->type(), 0);
  EXPECT_EQ(p->kind, Map::kDiagonal);
  EXPECT_EQ(p->levelCount, 0);
  EXPECT_EQ(p->gettile(0, 0, 0), nullptr);

  log.clear();
  EXPECT_EQ(Map::find(""), nullptr);
  EXPECT_EQ(Map::find(nullptr), nullptr);
  EXPECT_EQ(Map::open(nullptr), nullptr);
  EXPECT_TRUE(log.lines().empty()) << log.text();
  Map::mapPath(".");
}

TEST(MapFind, SearchPathAndExtension) {
  TempDir a, b;
  MapFile f;
  f.description = "Plain single";
  f.levels = {{8, 8}};
  ASSERT_TRUE(maptest::writeMap(b.file("tex.tqm"), f));
  ASSERT_TRUE(maptest::writeMap(b.file("tex"), f));
  ASSERT_TRUE(maptest::writeMap(a.file("bare.tif"), f));
  std::string search = a.path() + ":" + b.path();
  Map::mapPath(search.c_str());
  Map* m = Map::find("tex");
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(m->path, b.file("tex.tqm").c_str());  // the extension is tried first
  m = Map::find("bare.tif");
  ASSERT_NE(m, nullptr);
  EXPECT_STREQ(m->path, a.file("bare.tif").c_str());
  Map::mapPath(".");
}

TEST(PathArchFind, PathRules) {
  TempDir dir;
  mkdir(dir.file("x86").c_str(), 0700);
  mkdir(dir.file("sub").c_str(), 0700);
  for (const char* f : {"plain", "x86/lib", "x86/%x", "sub/plain"}) {
    FILE* fp = std::fopen(dir.file(f).c_str(), "w");
    ASSERT_NE(fp, nullptr);
    std::fclose(fp);
  }
  const std::string d = dir.path();
  auto find = [](const std::string& path, const char* arch, const std::string& name) {
    const char* r = patharchfind(path.c_str(), arch, name.c_str());
    return std::string(r ? r : "(null)");
  };
  EXPECT_EQ(find("/nonexistent:" + d, nullptr, "plain"), d + "/plain");
  EXPECT_EQ(find(d + "/sub:" + d, nullptr, "plain"), d + "/sub/plain");
  EXPECT_EQ(find(d, nullptr, "missing"), "(null)");
  EXPECT_EQ(find(d, nullptr, "sub"), "(null)");  // a directory is not a regular file
  // With an architecture the architecture folder is tried first.
  EXPECT_EQ(find(d, "x86", "lib"), d + "/x86/lib");
  EXPECT_EQ(find(d, "x86", "$ARCH/lib"), d + "/x86/lib");
  EXPECT_EQ(find(d, "x86", "%ARCH/lib"), d + "/x86/lib");
  EXPECT_EQ(find(d, "x86", "%x"), d + "/x86/%x");
  // Absolute names: "<dir>/<arch>/<base>" first, then the name itself, then
  // the path with the name appended.
  EXPECT_EQ(find("", "x86", d + "/lib"), d + "/x86/lib");
  EXPECT_EQ(find("", nullptr, d + "/plain"), d + "/plain");
  // An empty element before a colon is the root directory.
  EXPECT_EQ(find(":", nullptr, d.substr(1) + "/plain"), d + "/plain");
  // An empty path, or an empty last element, is the current directory.
  char cwd[4096];
  ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
  ASSERT_EQ(chdir(d.c_str()), 0);
  EXPECT_EQ(find("", nullptr, "plain"), "./plain");
  EXPECT_EQ(find("/nonexistent:", nullptr, "plain"), "./plain");
  EXPECT_EQ(patharchfind(nullptr, nullptr, "plain"), std::string("./plain"));
  ASSERT_EQ(chdir(cwd), 0);
  EXPECT_EQ(patharchfind(".", nullptr, nullptr), nullptr);
  // Names too long for the result buffer are not tried, and nothing overruns.
  std::string longName(5000, 'n');
  EXPECT_EQ(find(d, nullptr, longName), "(null)");
  EXPECT_EQ(find(d, "x86", "$ARCH" + longName), "(null)");
  EXPECT_EQ(find(std::string(5000, 'p') + ":" + d, nullptr, "plain"), d + "/plain");
}

TEST(SubimageWrap, Modes) {
  const char* periodic = promote("periodic");
  const char* clamp = promote("clamp");
  const char* black = promote("black");
  Subimage sub;
  ASSERT_EQ(sub.init(64, 64, 64, 64), 1);
  EXPECT_EQ(sub.tilesAcross(), 1u);
  EXPECT_EQ(sub.tiles[0], -1);

  struct Case {
    int32_t row, col;
    const char *s, *t;
    int result;
    int32_t row2, col2;
  } cases[] = {
      {70, -1, periodic, clamp, 1, 63, 63},  // periodic s, clamped t
      {5, 6, black, black, 1, 5, 6},         // inside: untouched
      {-65, 130, periodic, periodic, 1, 63, 2},
      {INT32_MIN, INT32_MAX, periodic, periodic, 1, 0, 63},
      {-3, 64, clamp, clamp, 1, 0, 63},
      {70, -1, black, clamp, 0, 70, -1},  // the row is not looked at
      {70, 3, black, black, 0, 70, 3},
      {70, -1, "periodic", "clamp", 1, 63, 63},  // plain text works as well
      {70, -1, nullptr, nullptr, 0, 70, -1},
  };
  for (const Case& c : cases) {
    int32_t row = c.row, col = c.col;
    EXPECT_EQ(sub.wrap(row, col, c.s, c.t), c.result) << c.row << "," << c.col;
    EXPECT_EQ(row, c.row2) << c.row << "," << c.col;
    EXPECT_EQ(col, c.col2) << c.row << "," << c.col;
  }

  // A level without a directory refuses every position and leaves it alone.
  Subimage empty;
  for (const char* mode : {periodic, clamp, black}) {
    int32_t row = -1, col = 5;
    EXPECT_EQ(empty.wrap(row, col, mode, mode), 0);
    EXPECT_EQ(row, -1);
    EXPECT_EQ(col, 5);
  }
  // A table past the limit is refused without allocating.
  EXPECT_EQ(sub.init(0xFFFFFFFFu, 0xFFFFFFFFu, 1, 1), 0);
  EXPECT_EQ(sub.tiles, nullptr);
  EXPECT_EQ(sub.width, 0u);
}

namespace {
// A map whose levels are described by hand, for the level-choice tests.
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
  EXPECT_EQ(c, 1);
  EXPECT_EQ(f, 0);
  EXPECT_NEAR(m.selectLevel(25.6f, c, f), 0.4f, 1e-6f);
  EXPECT_EQ(c, 5);
  EXPECT_EQ(f, 4);
  EXPECT_EQ(m.selectLevel(1e30f, c, f), 0.0f);  // the last level, all coarse
  EXPECT_EQ(c, 8);
  EXPECT_EQ(f, 7);
  // Property: indices stay inside a real map and the weight inside [0, 1].
  for (float w :
       {-1.0f, 0.0f, 1.0f, 1.5f, 2.0f, 3.0f, 100.0f, 255.0f, 256.0f, 1e38f, INFINITY, NAN}) {
    float r = m.selectLevel(w, c, f);
    EXPECT_TRUE(r >= 0.0f && r <= 1.0f) << w << " -> " << r;
    EXPECT_LT(c, m.levelCount) << w;
    EXPECT_EQ(f, uint16_t(c - 1)) << w;
  }
  // One level: the fine index wraps to 65535 and the weight is 0.
  HandMap one(Map::kSingle, 64, 64);
  EXPECT_EQ(one.selectLevel(100.0f, c, f), 0.0f);
  EXPECT_EQ(c, 0);
  EXPECT_EQ(f, 65535);
  EXPECT_EQ(one.gettile(f, 0, 0), nullptr);
  EXPECT_EQ(one.subimage(f), nullptr);
  float x = 1, y = 1;
  one.sttoraster(f, 0.5f, 0.5f, x, y);
  EXPECT_EQ(x, 0.5f);
  EXPECT_EQ(y, 0.5f);
  one.sttoraster(0, 0.5f, 0.25f, x, y);
  EXPECT_EQ(x, 32.5f);
  EXPECT_EQ(y, 16.5f);
}

TEST(MapLevels, DimToSubfiles) {
  HandMap diag(Map::kDiagonal, 256, 256);
  diag.dimToSubfiles(256.0f, 300.0f);  // at most a pixel both ways
  EXPECT_EQ(diag.coarse, 0);
  EXPECT_EQ(diag.fine, 0);
  EXPECT_EQ(diag.blend, 0);
  diag.dimToSubfiles(10.0f, 1e6f);  // 25.6 pixels in s
  EXPECT_EQ(diag.coarse, 5);
  EXPECT_EQ(diag.fine, 4);
  EXPECT_EQ(diag.blend, 1);
  EXPECT_NEAR(diag.weight, 0.4f, 1e-6f);

  HandMap rip(Map::kAll, 512, 256);
  ASSERT_EQ(rip.levelCount, 90);
  rip.dimToSubfiles(512.0f / 3.0f, 256.0f / 5.0f);  // 3 pixels in s, 5 in t
  EXPECT_EQ(rip.coarse, 3 * 10 + 2);
  EXPECT_EQ(rip.fine, 2 * 10 + 1);
  EXPECT_EQ(rip.blend, 1);
  EXPECT_NEAR(rip.weight, 0.5f, 1e-5f);  // the smaller of 0.5 (s) and 0.75 (t)
  rip.dimToSubfiles(1e6f, 1e6f);
  EXPECT_EQ(rip.coarse, 0);
  EXPECT_EQ(rip.blend, 0);

  // A 3 x 3 rip-map has 2 x 2 levels, but its index counts 3 s levels: the
  // composed indices pass the end and must be refused where used.
  HandMap odd(Map::kAll, 3, 3);
  ASSERT_EQ(odd.levelCount, 4);
  odd.dimToSubfiles(0.001f, 0.001f);
  EXPECT_EQ(odd.coarse, 3 * 3 + 3);
  EXPECT_EQ(odd.subimage(odd.coarse), nullptr);
  EXPECT_EQ(odd.gettile(odd.coarse, 0, 0), nullptr);
  EXPECT_EQ(odd.gettile(odd.fine, 0, 0), nullptr);

  for (short k : {Map::kSingle, Map::kMinMax}) {
    HandMap m(k, 256, 256);
    m.dimToSubfiles(0.01f, 0.01f);
    EXPECT_EQ(m.coarse, 0);
    EXPECT_EQ(m.fine, 0);
    EXPECT_EQ(m.blend, 0);
  }
}

TEST(MapSettings, DefaultsAndSetters) {
  EXPECT_EQ(Map::fBias0, 0.15f);
  EXPECT_EQ(Map::fBias1, 0.30f);
  EXPECT_EQ(Map::fShadowJitter, 0.5f);
  EXPECT_STREQ(Map::fMapPath, ".");
  EXPECT_EQ(Map::fEnableGaussian, 1);
  EXPECT_EQ(Map::fEnableLerp, 1);
  const char* path = "a:b";
  Map::shadowBias(1, 2);
  Map::shadowJitter(0.25f);
  Map::mapPath(path);
  Map::enableGaussian(0);
  Map::enableLerp(0);
  EXPECT_EQ(Map::fBias0 + Map::fBias1, 3.0f);
  EXPECT_EQ(Map::fShadowJitter, 0.25f);
  EXPECT_EQ(Map::fMapPath, path);  // the caller's pointer, not a copy
  EXPECT_EQ(Map::fEnableGaussian + Map::fEnableLerp, 0);
  Map::shadowBias(0.15f, 0.30f);
  Map::shadowJitter(0.5f);
  Map::mapPath(".");
  Map::enableGaussian(1);
  Map::enableLerp(1);
}
