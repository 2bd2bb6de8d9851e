// Damaged and hostile map files: each gives a report and a defined fallback,
// never a crash, an overrun or an unbounded allocation.
#include <gtest/gtest.h>
#include <slrt/texture/map.h>

#include "texture/mapfile_util.h"

using maptest::MapFile;
using maptest::TempDir;

namespace {
const std::string kBadFile = "2|error: Bad file format. ";
}  // namespace

TEST(HostileMaps, AbsurdLevelSizesRefused) {
  TempDir dir;
  struct Case {
    uint32_t w, h;
    const char* description;
    bool libtiffRefuses;  // the strip size overflows 64 bits before we look
  } cases[] = {
      {0xFFFFFFFFu, 0xFFFFFFFFu, "Plain single", true},
      {0x7FFFFFFFu, 0x7FFFFFFFu, "Plain single", false},
      {0x7FFFFFFFu, 0x7FFFFFFFu, "Plain all", false},  // 31 x 31 expected levels
      {0xFFFFFFFFu, 1, "Plain single", false},
      {300000, 300000, "Plain diagonal", false},
  };
  int n = 0;
  for (const Case& c : cases) {
    std::string path = dir.file("huge" + std::to_string(n++) + ".tqm");
    ASSERT_TRUE(maptest::writeRawGrey(path, c.w, c.h, c.description));
    ErrorCapture log;
    std::string name = path.substr(0, path.size() - 4);
    EXPECT_EQ(Map::find(name.c_str()), nullptr) << c.description;
    EXPECT_EQ(Map::find(name.c_str()), nullptr);
    std::string report = c.libtiffRefuses
                             ? kBadFile + path + ": cannot open map file"
                             : kBadFile + path + ": map level 0 of " + std::to_string(c.w) + " x " +
                                   std::to_string(c.h) + " pixels is too large";
    EXPECT_TRUE(maptest::has(log, report)) << log.text();
  }
}

TEST(HostileMaps, TruncatedFilesAndBadOffsets) {
  TempDir dir;
  MapFile f;
  f.description = "Plain diagonal";
  f.wraps = "periodic,periodic";
  f.levels = maptest::pyramid(128, 64);
  f.pixel = [](uint32_t l, uint32_t x, uint32_t y, uint16_t) { return uint8_t(l + x + y); };
  std::string whole = dir.file("whole.tqm");
  ASSERT_TRUE(maptest::writeMap(whole, f));
  long size = long(std::filesystem::file_size(whole));
  // Cut everywhere interesting: no crash, a report whenever no map comes
  // back, and whatever map comes back can be read from.
  for (long cut :
       {0L, 3L, 8L, 9L, 20L, 100L, size / 4, size / 2, size - 300, size - 40, size - 1}) {
    std::string path = dir.file("cut" + std::to_string(cut) + ".tqm");
    maptest::truncateCopy(whole, path, cut);
    ErrorCapture log;
    Map* m = Map::find(path.substr(0, path.size() - 4).c_str());
    EXPECT_TRUE(m || maptest::has(log, kBadFile + path + ": cannot open map file")) << cut;
    for (unsigned l = 0; m && l < m->levelCount + 2u; ++l) {
      for (long r = -1; r < 3; ++r) m->gettile(uint16_t(l), r, 0);
    }
  }

  // libtiff gives up on a first directory offset of 0 without a word, and
  // names no file for one past the end: the file is named either way.
  for (int64_t offset : {0, 1 << 20}) {
    std::string path = dir.file("off" + std::to_string(offset) + ".tqm");
    ASSERT_TRUE(maptest::writeRawGrey(path, 8, 8, "Plain single", 8, offset));
    ErrorCapture log;
    EXPECT_EQ(Map::find(path.substr(0, path.size() - 4).c_str()), nullptr);
    EXPECT_TRUE(maptest::has(log, kBadFile + path + ": cannot open map file")) << log.text();
  }

  // A strip past the end: the map opens, the tile storage is still handed out.
  ASSERT_TRUE(maptest::writeRawGrey(dir.file("strip.tqm"), 8, 8, "Plain single", 1 << 20));
  Map* m = Map::find(dir.file("strip").c_str());
  ASSERT_NE(m, nullptr);
  EXPECT_NE(m->gettile(0, 0, 0), nullptr);
}

TEST(HostileMaps, NamesWithFormatsAndLongPaths) {
  TempDir dir;
  Map::mapPath(dir.path().c_str());
  ErrorCapture log;
  EXPECT_EQ(Map::find("a%s%n%d"), nullptr);
  EXPECT_EQ(log.text(), "2|error: a%s%n%d: map file not found in " + dir.path());
  // A search path full of "%", with elements too long for any buffer.
  std::string path = std::string(5000, '%') + ":" + dir.path();
  Map::mapPath(path.c_str());
  MapFile f;
  f.description = "Plain single";
  f.levels = {{8, 8}};
  ASSERT_TRUE(maptest::writeMap(dir.file("p%d.tqm"), f));
  Map* m = Map::find("p%d");
  ASSERT_NE(m, nullptr);
  EXPECT_EQ(std::string(m->path), dir.file("p%d.tqm"));
  Map::mapPath(".");
}
