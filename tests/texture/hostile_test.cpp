// Damaged and hostile map files: each gives a report and a defined fallback,
// never a crash, an overrun or an unbounded allocation.
#include <gtest/gtest.h>
#include <slrt/texture/map.h>

#include "texture/tiff_util.h"

using tifftest::has;
using tifftest::TempDir;

namespace {
const std::string kBadFile = "2|error: Bad file format. ";
}  // namespace

TEST(HostileMaps, AbsurdLevelSizesAndBadOffsetsRefused) {
  TempDir dir;
  struct Case {
    uint32_t w, h;
    const char* description;
    uint32_t firstOffset;
    bool opens;  // libtiff opens the file; else it is reported as unopenable
  } cases[] = {
      // The strip size overflows 64 bits before the map looks.
      {0xFFFFFFFFu, 0xFFFFFFFFu, "Plain single", 8, false},
      {0x7FFFFFFFu, 0x7FFFFFFFu, "Plain single", 8, true},
      {0x7FFFFFFFu, 0x7FFFFFFFu, "Plain all", 8, true},  // 31 x 31 expected levels
      {0xFFFFFFFFu, 1, "Plain single", 8, true},
      {300000, 300000, "Plain diagonal", 8, true},
      // libtiff gives up on a first directory offset of 0 without a word, and
      // names no file for one past the end: the file is named either way.
      {8, 8, "Plain single", 0, false},
      {8, 8, "Plain single", 1 << 20, false},
  };
  int n = 0;
  for (const Case& c : cases) {
    const std::string name = dir.file("bad" + std::to_string(n++)), path = name + ".tqm";
    ASSERT_TRUE(tifftest::writeRawGrey(path, c.w, c.h, c.description, 8, c.firstOffset));
    ErrorCapture log;
    EXPECT_EQ(Map::find(name.c_str()), nullptr) << path;
    EXPECT_EQ(Map::find(name.c_str()), nullptr);
    const std::string tooLarge = kBadFile + path + ": map level 0 of " + std::to_string(c.w) +
                                 " x " + std::to_string(c.h) + " pixels is too large";
    EXPECT_TRUE(has(log, c.opens ? tooLarge : kBadFile + path + ": cannot open map file"))
        << log.text();
  }
}

TEST(HostileMaps, TruncatedFiles) {
  TempDir dir;
  tifftest::MapFile f;
  f.description = "Plain diagonal";
  f.wraps = "periodic,periodic";
  f.levels = tifftest::pyramid(128, 64);
  f.pixel = [](uint32_t l, uint32_t x, uint32_t y, uint16_t) { return uint8_t(l + x + y); };
  const std::string whole = dir.file("whole.tqm");
  ASSERT_TRUE(tifftest::writeMap(whole, f));
  const long size = long(std::filesystem::file_size(whole));
  // Cut everywhere interesting: no crash, a report whenever no map comes
  // back, and whatever map comes back can be read from.
  for (long cut :
       {0L, 3L, 8L, 9L, 20L, 100L, size / 4, size / 2, size - 300, size - 40, size - 1}) {
    const std::string name = dir.file("cut" + std::to_string(cut)), path = name + ".tqm";
    std::filesystem::copy_file(whole, path);
    std::filesystem::resize_file(path, uintmax_t(cut));
    ErrorCapture log;
    Map* m = Map::find(name.c_str());
    EXPECT_TRUE(m || has(log, kBadFile + path + ": cannot open map file")) << cut;
    for (unsigned l = 0; m && l < m->levelCount + 2u; ++l)
      for (long r = -1; r < 3; ++r) m->gettile(uint16_t(l), r, 0);
  }

  // A strip past the end: the map opens, the tile storage is still handed out.
  ASSERT_TRUE(tifftest::writeRawGrey(dir.file("strip.tqm"), 8, 8, "Plain single", 1 << 20));
  Map* m = Map::find(dir.file("strip").c_str());
  ASSERT_NE(m, nullptr);
  EXPECT_NE(m->gettile(0, 0, 0), nullptr);
}
