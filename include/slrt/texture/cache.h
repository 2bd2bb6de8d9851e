// slrt: the tile cache and the open-file cache.
//
// Lookups read map pixels one 64 x 64 tile at a time.  Two small process-wide
// caches keep this cheap, both replaced by the clock (second-chance) rule:
//
//   tile cache       slot count (default 32) x 65,536 bytes of decoded tiles,
//                    64 x 64 pixels of four floats (RGBA), top row first;
//   open-file cache  entry count (default 10) open TIFF handles.
//
// Each slot records a pointer to its owner's field (a map's tile-table entry
// or open-file slot field) and writes -1 into it when the slot is taken away,
// so a map never has to be told of an eviction.  Map::gettile is the one
// entry point that lookups use; the functions below are its parts.
//
// Owner width: the owner fields are signed 32-bit (a map's tile table and its
// open-file slot are arrays of int32_t), so the owner pointers are int32_t*,
// not long*: the stored width wins and the signatures follow it.
//
// Not thread-safe: the tables, hands and counters belong to the one shading
// thread.
#ifndef SLRT_TEXTURE_CACHE_H
#define SLRT_TEXTURE_CACHE_H

#include <slrt/export.h>
#include <stdint.h>

// The TIFF handle, as libtiff declares it, so that this header does not need
// libtiff's headers.
typedef struct tiff TIFF;

SLRT_C_BEGIN

/// Hit and miss counters of the two caches; they start at 0 and only grow
/// (the host may reset them).
SLRT_API extern int32_t gTileHits;
SLRT_API extern int32_t gTileMiss;
SLRT_API extern int32_t gOpenMapHits;
SLRT_API extern int32_t gOpenMapMiss;

/// Tile cache.
///
/// | function                      | does                                                  |
/// |-------------------------------|-------------------------------------------------------|
/// | allocateTextureCache(owner)   | takes a slot by the clock rule, writes its number     |
/// |                               | into *owner, counts a miss, returns its 4,096 pixels |
/// | hitTextureCache(slot)         | marks the slot used, counts a hit, returns its pixels |
/// | freeTextureCache(slot)        | forgets the slot's owner; the pixels stay             |
///
/// The table and the storage are built on the first allocation (the storage
/// zero-filled).  Clock rule: the hand's slot is taken when free; a slot in
/// use with mark 0 gets mark 1 and the hand moves on, until a free slot or one
/// with mark 1 is reached, which is taken (its old owner field becomes -1).
/// So after a full sweep the hand's own slot is the victim: with 32 slots the
/// 33rd distinct tile evicts the first.
///
/// Fallbacks: allocateTextureCache returns null (and leaves *owner as it was)
/// when the slot count is 0, owner is null, or the cache cannot be allocated
/// (reported with code 1, severity 2).  hitTextureCache returns null for a
/// slot outside the built table (one compare; it keeps a stale number from
/// reading past the storage).  freeTextureCache ignores such slots, -1
/// included, and an unbuilt cache.
SLRT_API float* allocateTextureCache(int32_t* owner);
SLRT_API float* hitTextureCache(long slot);
SLRT_API void freeTextureCache(long slot);

/// Open-file cache.
///
/// | function                      | does                                                  |
/// |-------------------------------|-------------------------------------------------------|
/// | allocateOpenMap(path, owner)  | takes an entry by the clock rule (closing the evicted |
/// |                               | file), opens path with TIFFOpen(path, "r"), counts a  |
/// |                               | miss, returns the handle                              |
/// | hitOpenMap(slot)              | marks the entry used, counts a hit, returns the handle|
/// | freeOpenMap(slot)             | forgets the entry's owner                             |
///
/// A failed open is stored as a null handle and not reported here: libtiff
/// says why (through the error channel), and fillTile then fails on the null
/// handle without a message of its own.
/// freeOpenMap deliberately leaves the file open; the handle is overwritten
/// without closing when the entry is taken again (maps live for the whole run,
/// so this only happens to a map that was destroyed), and openMaps() on a
/// built cache closes every handle still in the table.  Fallbacks as for the
/// tile cache: null when the entry count is 0 or owner is null; out-of-range
/// slots give null or are ignored.
SLRT_API TIFF* allocateOpenMap(const char* path, int32_t* owner);
SLRT_API TIFF* hitOpenMap(long slot);
SLRT_API void freeOpenMap(long slot);

/// Cache sizes.
///
/// resizeCache(kilobytes) sets the tile slot count to kilobytes / 64 (integer
/// division toward zero; 100 gives one slot, 63 gives none; negative counts
/// become 0).  openMaps(count) sets the open-file entry count (negative
/// becomes 0).  Before the first lookup they only set the count.  On a built
/// cache with a different count they write -1 into every recorded owner
/// field, release the table (and the tile storage; openMaps closes every open
/// file), and the cache is built again at the new size on its next
/// allocation.  With the current count they do nothing.  With zero slots
/// nothing is cached: allocations return null and Map::gettile returns null.
SLRT_API void resizeCache(long kilobytes);
SLRT_API void openMaps(long count);

/// Decodes tile (tileRow, tileColumn) of directory `directory` of file into
/// tile (4,096 pixels of four floats, rows of 64, top row first): first
/// TIFFSetDirectory, then the float RGBA reader for columns tileColumn x 64 ..
/// + 63 and rows tileRow x 64 .. + 63.  Pixels beyond the image are not
/// written, so they keep what the slot's previous tile left there.
///
/// Returns 1 on success, 0 on failure.  A directory that cannot be selected
/// reports "Error, seeking to directory %d" with code 2, severity 2 and leaves
/// the tile as it was.  A null file is handed to the reader, which fails
/// without a message of its own (the failed open was reported already).
/// Decoding failures are reported by the reader through libtiff's handler.
/// Negative tile indices or a null tile leave everything as it was.
SLRT_API int fillTile(float* tile, TIFF* file, unsigned short directory, int tileRow,
                      int tileColumn);

SLRT_C_END

#endif  // SLRT_TEXTURE_CACHE_H
