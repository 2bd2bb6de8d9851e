// The tile cache and the open-file cache.
//
// Both are small fixed tables replaced by the clock (second-chance) rule: a
// slot used since the hand last passed gets a second chance, one the hand
// has already passed once is evicted.  Owners are told of an eviction by a
// -1 written straight into their field, so a map never searches the caches.
#include <slrt/runtime/error.h>
#include <slrt/texture/cache.h>
#include <tiffio.h>

#include <climits>
#include <cstdlib>

#include "texture/map_pvt.h"
#include "texture/rgbafloat_pvt.h"

extern "C" {
int32_t gTileHits = 0;
int32_t gTileMiss = 0;
int32_t gOpenMapHits = 0;
int32_t gOpenMapMiss = 0;
}

namespace {

constexpr size_t kTileFloats = 64 * 64 * 4;  // 65,536 bytes a slot

struct TileSlot {
  uint16_t mark;   // 0: used since the hand passed; 1: passed once, unused since
  int32_t* owner;  // the owner's tile-table entry; null when free
};

struct FileSlot {
  uint16_t mark;
  TIFF* tiff;
  int32_t* owner;  // the owner map's open-file slot field; null when free
};

int32_t gTileCount = 32;
TileSlot* gTileTable = nullptr;
float* gTileStore = nullptr;
int32_t gTileHand = 0;

int32_t gFileCount = 10;
FileSlot* gFileTable = nullptr;
int32_t gFileHand = 0;

int32_t clampCount(long count) {
  if (count < 0) return 0;
  if (count > INT32_MAX) return INT32_MAX;
  return int32_t(count);
}

// The clock sweep shared by both caches.  Returns the slot to take; a victim
// still owned has been handed to evict() first.  Terminates within one sweep
// plus one step: a sweep leaves every mark at 1.
template <class Slot, class Evict>
int32_t clockTake(Slot* table, int32_t count, int32_t& hand, Evict evict) {
  Slot* s = &table[hand];
  if (s->owner) {
    while (s->mark == 0) {
      s->mark = 1;
      hand = hand + 1 < count ? hand + 1 : 0;
      s = &table[hand];
      if (!s->owner) break;
    }
    if (s->owner) {
      evict(*s);
      *s->owner = -1;
      s->owner = nullptr;
    }
  }
  int32_t slot = hand;
  hand = hand + 1 < count ? hand + 1 : 0;
  return slot;
}

bool buildTileCache() {
  if (gTileTable) return true;
  gTileTable = static_cast<TileSlot*>(std::calloc(size_t(gTileCount), sizeof(TileSlot)));
  gTileStore = static_cast<float*>(std::calloc(size_t(gTileCount), kTileFloats * sizeof(float)));
  if (!gTileTable || !gTileStore) {
    std::free(gTileTable);
    std::free(gTileStore);
    gTileTable = nullptr;
    gTileStore = nullptr;
    error(kErrNoMem, kSevError, "Cannot allocate a tile cache of %d slots", int(gTileCount));
    return false;
  }
  gTileHand = 0;
  return true;
}

bool buildOpenCache() {
  if (gFileTable) return true;
  gFileTable = static_cast<FileSlot*>(std::calloc(size_t(gFileCount), sizeof(FileSlot)));
  if (!gFileTable) {
    error(kErrNoMem, kSevError, "Cannot allocate an open-file cache of %d entries",
          int(gFileCount));
    return false;
  }
  gFileHand = 0;
  return true;
}

}  // namespace

extern "C" float* allocateTextureCache(int32_t* owner) {
  if (!owner || gTileCount <= 0 || !buildTileCache()) return nullptr;
  int32_t slot = clockTake(gTileTable, gTileCount, gTileHand, [](TileSlot&) {});
  TileSlot& s = gTileTable[slot];
  s.mark = 0;
  s.owner = owner;
  *owner = slot;
  ++gTileMiss;
  return gTileStore + size_t(slot) * kTileFloats;
}

extern "C" float* hitTextureCache(long slot) {
  if (!gTileTable || slot < 0 || slot >= gTileCount) return nullptr;
  gTileTable[slot].mark = 0;
  ++gTileHits;
  return gTileStore + size_t(slot) * kTileFloats;
}

extern "C" void freeTextureCache(long slot) {
  if (!gTileTable || slot < 0 || slot >= gTileCount) return;
  gTileTable[slot].owner = nullptr;
}

extern "C" TIFF* allocateOpenMap(const char* path, int32_t* owner) {
  if (!owner || gFileCount <= 0 || !buildOpenCache()) return nullptr;
  int32_t slot = clockTake(gFileTable, gFileCount, gFileHand, [](FileSlot& s) {
    if (s.tiff) TIFFClose(s.tiff);
    s.tiff = nullptr;
  });
  FileSlot& s = gFileTable[slot];
  s.mark = 0;
  s.owner = owner;
  *owner = slot;
  ++gOpenMapMiss;
  // A free entry may still hold the handle of a map that released it; that
  // handle is dropped here without closing.  A failed open is kept as a null
  // handle without a report of ours: the reader then fails on it.
  s.tiff = slrt_detail::openMapFile(path);
  return s.tiff;
}

extern "C" TIFF* hitOpenMap(long slot) {
  if (!gFileTable || slot < 0 || slot >= gFileCount) return nullptr;
  gFileTable[slot].mark = 0;
  ++gOpenMapHits;
  return gFileTable[slot].tiff;
}

extern "C" void freeOpenMap(long slot) {
  if (!gFileTable || slot < 0 || slot >= gFileCount) return;
  gFileTable[slot].owner = nullptr;
}

// A resize releases the built table outright; the next allocation builds a
// fresh one at the new size (every owner has been told -1, so no stale slot
// number survives).
extern "C" void resizeCache(long kilobytes) {
  int32_t count = clampCount(kilobytes / 64);
  if (count == gTileCount) return;
  if (gTileTable) {
    for (int32_t i = 0; i < gTileCount; ++i) {
      if (gTileTable[i].owner) *gTileTable[i].owner = -1;
    }
    std::free(gTileTable);
    std::free(gTileStore);
    gTileTable = nullptr;
    gTileStore = nullptr;
    gTileHand = 0;
  }
  gTileCount = count;
}

extern "C" void openMaps(long count) {
  int32_t n = clampCount(count);
  if (n == gFileCount) return;
  if (gFileTable) {
    for (int32_t i = 0; i < gFileCount; ++i) {
      FileSlot& s = gFileTable[i];
      if (s.owner) *s.owner = -1;
      if (s.tiff) TIFFClose(s.tiff);
    }
    std::free(gFileTable);
    gFileTable = nullptr;
    gFileHand = 0;
  }
  gFileCount = n;
}

extern "C" int fillTile(float* tile, TIFF* file, unsigned short directory, int tileRow,
                        int tileColumn) {
  if (!tile || tileRow < 0 || tileColumn < 0) return 0;
  if (file && !TIFFSetDirectory(file, directory)) {
    error(kErrSystem, kSevError, "Error, seeking to directory %d", int(directory));
    return 0;
  }
  uint64_t col0 = uint64_t(tileColumn) * 64;
  uint64_t row0 = uint64_t(tileRow) * 64;
  if (col0 + 63 > UINT32_MAX || row0 + 63 > UINT32_MAX) return 0;
  return slrt_detail::readRGBAFloatRect(file, uint32_t(col0), uint32_t(row0), uint32_t(col0 + 63),
                                        uint32_t(row0 + 63), tile);
}

namespace slrt_detail {
int32_t tileSlotCount() {
  return gTileCount;
}
int32_t openEntryCount() {
  return gFileCount;
}
bool tileCacheBuilt() {
  return gTileTable != nullptr;
}
bool openCacheBuilt() {
  return gFileTable != nullptr;
}
}  // namespace slrt_detail
