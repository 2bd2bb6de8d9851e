// Internal helpers shared by the map, cache and libtiff-message sources.
#ifndef SLRT_TEXTURE_MAP_PVT_H
#define SLRT_TEXTURE_MAP_PVT_H

#include <tiffio.h>

#include <cstdint>

namespace slrt_detail {

/// TIFFOpen(path, "r"), reporting "%s: cannot open map file" (code 4,
/// severity 2) after whatever libtiff said when the open fails.  A null path
/// gives null without a report.
TIFF* openMapFile(const char* path);

/// Expected level count of a layout from the full size of directory 0.
uint32_t expectedLevels(int kind, uint32_t fullWidth, uint32_t fullLength);

/// Current sizes of the two caches, and whether they are built (for tests).
int32_t tileSlotCount();
int32_t openEntryCount();
bool tileCacheBuilt();
bool openCacheBuilt();

}  // namespace slrt_detail

#endif  // SLRT_TEXTURE_MAP_PVT_H
