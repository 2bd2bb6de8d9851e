// Internal helpers shared by the map, cache and libtiff-message sources.
#ifndef SLRT_TEXTURE_MAP_PVT_H
#define SLRT_TEXTURE_MAP_PVT_H

#include <tiffio.h>

#include <cstdint>

namespace slrt_detail {

/// The map file's private tags.  libtiff registers these numbers itself (with
/// their types), so the library only names them.
enum : uint32_t {
  kTagFullWidth = 33300,      ///< uint32: width of the whole image a level represents
  kTagFullLength = 33301,     ///< uint32: height of the whole image
  kTagTextureFormat = 33302,  ///< ASCII: map description
  kTagWrapModes = 33303,      ///< ASCII: "smode,tmode"
  kTagFovCot = 33304,         ///< float: field-of-view cotangent of cube faces
  kTagWorldToScreen = 33305,  ///< 16 floats: shadow map's world-to-screen matrix
  kTagWorldToCamera = 33306,  ///< 16 floats: shadow map's world-to-camera matrix
};

/// TIFFOpen(path, "r") for map files; a null path gives null.  A failed open
/// is left to libtiff to report (it sometimes says nothing).  Defined beside
/// the libtiff message handlers, so that whatever opens a map file also links
/// them in.
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
