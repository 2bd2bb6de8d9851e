// The tile cache, the open-file cache and the tile entry point.
#include <gtest/gtest.h>
#include <slrt/texture/cache.h>
#include <slrt/texture/map.h>

#include "texture/tiff_util.h"

using tifftest::openDescriptors;
using tifftest::TempDir;

namespace {

int32_t gOwners[40];  // owner fields must outlive the slots that point at them
constexpr size_t kTile = 64 * 64 * 4;

// Default sizes, empty tables, zero counters: the tests also pass together.
void resetCaches() {
  resizeCache(0);
  resizeCache(64 * 32);
  openMaps(0);
  openMaps(10);
  gTileHits = gTileMiss = gOpenMapHits = gOpenMapMiss = 0;
}

// One level of `across` tiles in a row; grey value (x / 64 + y) % 256.
Map* stripMap(const TempDir& dir, const std::string& name, uint32_t across) {
  tifftest::MapFile f;
  f.description = "Plain single";
  f.levels = {{64 * across, 64}};
  f.pixel = [](uint32_t, uint32_t x, uint32_t y, uint16_t) { return uint8_t((x / 64 + y) % 256); };
  if (!tifftest::writeMap(dir.file(name + ".tqm"), f)) return nullptr;
  return Map::find(dir.file(name).c_str());
}

}  // namespace

TEST(TileCache, ClockRule) {
  resetCaches();
  for (int32_t& o : gOwners) o = -1;
  float* first = allocateTextureCache(&gOwners[0]);
  ASSERT_NE(first, nullptr);
  for (int i = 1; i < 32; ++i) EXPECT_EQ(allocateTextureCache(&gOwners[i]), first + i * kTile);
  EXPECT_EQ(gTileMiss, 32);
  // The sweep gives every slot its second chance, so the hand's own slot -
  // the first tile - is the victim, and its owner hears of it.
  EXPECT_EQ(allocateTextureCache(&gOwners[32]), first);
  EXPECT_EQ(gOwners[0] * 100 + gOwners[32], -100);
  // The hand stands at slot 1; a hit there earns it another pass, so the
  // next victim is slot 2.
  EXPECT_EQ(hitTextureCache(1), first + kTile);
  allocateTextureCache(&gOwners[33]);
  EXPECT_EQ(gOwners[1] * 100 + gOwners[2], 100 - 1);
  // A released slot is taken without telling its former owner.
  freeTextureCache(3);
  allocateTextureCache(&gOwners[34]);
  EXPECT_EQ(gOwners[34] * 100 + gOwners[3], 303);
  freeTextureCache(-1);  // out of range: ignored or refused
  EXPECT_EQ(hitTextureCache(32), nullptr);
  EXPECT_EQ(gTileHits, 1);

  // Another slot count tells every owner and releases the table, which is
  // built again on the next allocation; the same count does nothing.
  int32_t &a = gOwners[38], &b = gOwners[39];
  resizeCache(100);  // one slot
  EXPECT_EQ(gOwners[32], -1);
  ASSERT_NE(allocateTextureCache(&a), nullptr);
  ASSERT_NE(allocateTextureCache(&b), nullptr);
  EXPECT_EQ(a * 10 + b, -10);
  resizeCache(127);  // still one slot
  EXPECT_EQ(b, 0);
  resizeCache(63);  // zero slots
  EXPECT_EQ(b, -1);
  EXPECT_EQ(allocateTextureCache(&a), nullptr);
  resizeCache(-6400);
  EXPECT_EQ(slrt_detail::tileSlotCount() * 10 + a, -1);
  resetCaches();  // for the tests that follow in the same process
}

TEST(TileCache, GettileMissHitAndEviction) {
  TempDir dir;
  Map* m = stripMap(dir, "row", 33);
  ASSERT_NE(m, nullptr);
  resetCaches();
  float* t = m->gettile(0, 0, 5);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(m->levels[0].tiles[5], 0);
  EXPECT_EQ(m->gettile(0, 0, 5), t);
  EXPECT_EQ(gTileMiss * 10 + gTileHits, 11);
  // Pixel (row 7, column 1) of tile 2 is grey (2 + 7) / 255, alpha 0.
  const float* px = m->gettile(0, 0, 2) + (7 * 64 + 1) * 4;
  EXPECT_FLOAT_EQ(px[0], 9.0f / 255.0f);
  EXPECT_FLOAT_EQ(px[2], 9.0f / 255.0f);
  EXPECT_EQ(px[3], 0.0f);

  // 33 distinct tiles through 32 slots: tile 5, the first, is evicted, its
  // entry says so, and asking again is a miss.
  for (long c = 0; c < 33; ++c) m->gettile(0, 0, c == 5 ? 0 : c);
  EXPECT_EQ(m->levels[0].tiles[5], -1);
  const int32_t misses = gTileMiss;
  m->gettile(0, 0, 5);
  EXPECT_EQ(gTileMiss, misses + 1);
  EXPECT_EQ(gOpenMapMiss, 1);              // the file stayed open throughout
  for (long rc : {100L, 33L, -1L, -100L})  // outside the level
    EXPECT_EQ(m->gettile(0, rc / 100, rc % 100), nullptr) << rc;
  EXPECT_EQ(m->gettile(1, 0, 0), nullptr);
}

TEST(OpenFileCache, LimitHonoured) {
  TempDir dir;
  Map* maps[4];
  for (int i = 0; i < 4; ++i)
    ASSERT_NE(maps[i] = stripMap(dir, "f" + std::to_string(i), 1), nullptr);
  resetCaches();
  openMaps(2);
  const int before = openDescriptors();
  for (int round = 0; round < 2; ++round)
    for (Map* m : maps) {
      ASSERT_NE(m->gettile(0, 0, 0), nullptr);
      EXPECT_LE(openDescriptors(), before + 2);
    }
  EXPECT_EQ(gOpenMapMiss, 4);  // second round: tiles cached, no file reopened
  EXPECT_EQ(maps[0]->openSlot + maps[1]->openSlot, -2);
  EXPECT_EQ(maps[2]->openSlot * 10 + maps[3]->openSlot, 1);
  EXPECT_EQ(hitOpenMap(2), nullptr);
  freeOpenMap(-1);

  openMaps(1);  // resizing a built cache closes every file and tells owners
  EXPECT_EQ(maps[2]->openSlot + maps[3]->openSlot, -2);
  EXPECT_EQ(openDescriptors(), before);
  resizeCache(0);  // drop the tiles so that the next request reopens a file
  resizeCache(64 * 32);
  ASSERT_NE(maps[1]->gettile(0, 0, 0), nullptr);
  EXPECT_EQ(maps[1]->openSlot, 0);
  EXPECT_EQ(openDescriptors(), before + 1);

  openMaps(0);  // no entries: nothing is opened, tiles come back undecoded
  static int32_t owner = -1;
  EXPECT_EQ(allocateOpenMap(dir.file("f0.tqm").c_str(), &owner), nullptr);
  EXPECT_EQ(owner, -1);
  EXPECT_NE(maps[2]->gettile(0, 0, 0), nullptr);
  EXPECT_EQ(openDescriptors(), before);
}

TEST(FillTile, DirectoryArgumentsAndLibtiffMessages) {
  TempDir dir;
  Map* m = stripMap(dir, "fill", 1);
  ASSERT_NE(m, nullptr);
  TIFF* tif = TIFFOpen(m->path, "r");
  ASSERT_NE(tif, nullptr);
  static float tile[kTile];
  tile[0] = 42.0f;
  ErrorCapture log;
  EXPECT_EQ(fillTile(tile, tif, 7, 0, 0), 0);
  EXPECT_EQ(fillTile(tile, tif, 0, 0, 1 << 30) + fillTile(tile, nullptr, 0, 0, 0), 0);
  EXPECT_TRUE(
      tifftest::has(log, "2|error: Miscellaneous system error. Error, seeking to directory 7"))
      << log.text();
  EXPECT_EQ(tile[0], 42.0f);  // left as it was
  log.clear();
  EXPECT_EQ(fillTile(tile, tif, 0, 0, 0), 1);
  EXPECT_FLOAT_EQ(tile[4 * 64 * 3], 3.0f / 255.0f);
  TIFFClose(tif);
  // libtiff's own messages arrive through the error channel, "%" intact.
  TIFFError("reader", "bad %s at %d", "tile", 3);
  TIFFWarning("reader", "odd %d%%", 5);
  TIFFError(nullptr, "no module");
  EXPECT_EQ(log.text(),
            "2|error: reader: bad tile at 3\n1|warning: reader: odd 5%\n2|error: no module");
}
