// Map::open: finds a map file on the search path and describes it from its
// TIFF directories.  Pixel data is left to the tile cache.
#include <slrt/runtime/error.h>
#include <slrt/runtime/token.h>
#include <slrt/texture/map.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "texture/map_pvt.h"

namespace slrt_detail {

uint32_t expectedLevels(int kind, uint32_t fullWidth, uint32_t fullLength) {
  auto halvings = [](uint32_t v) {
    uint32_t n = 0;
    for (; v; v >>= 1) ++n;
    return n;
  };
  uint32_t diagonal = 0;
  for (uint32_t w = fullWidth, h = fullLength; w && h; w >>= 1, h >>= 1) ++diagonal;
  switch (kind) {
    case Map::kSingle:
      return 1;
    case Map::kDiagonal:
      return diagonal;
    case Map::kAll:
      return halvings(fullWidth) * halvings(fullLength);
    case Map::kMinMax:
      return diagonal ? 2 * diagonal - 1 : 0;
    default:
      return 0;
  }
}

}  // namespace slrt_detail

namespace {

struct LevelSize {
  uint32_t width = 0, height = 0, fullWidth = 0, fullHeight = 0;
};

// Sizes of the current directory; the full sizes default to the stored ones.
LevelSize readLevelSize(TIFF* tif) {
  LevelSize s;
  TIFFGetField(tif, TIFFTAG_IMAGEWIDTH, &s.width);
  TIFFGetField(tif, TIFFTAG_IMAGELENGTH, &s.height);
  if (!TIFFGetField(tif, slrt_detail::kTagFullWidth, &s.fullWidth)) s.fullWidth = s.width;
  if (!TIFFGetField(tif, slrt_detail::kTagFullLength, &s.fullHeight)) s.fullHeight = s.height;
  return s;
}

// The text of an ASCII tag, copied: libtiff's own buffer must never be cut up
// by a tokenizer.  False when the tag is absent.
bool copyTag(TIFF* tif, uint32_t tag, std::vector<char>& out) {
  char* text = nullptr;
  if (!TIFFGetField(tif, tag, &text) || !text) return false;
  out.assign(text, text + std::strlen(text) + 1);
  return true;
}

Map* makeClass(const char* word, const char* name, const char* path, bool& known) {
  known = true;
  if (std::strcmp(word, "Plain") == 0) return new TextureMap(name, path);
  if (std::strcmp(word, "LatLong") == 0) return new SphereEnvMap(name, path);
  if (std::strcmp(word, "CubeFace") == 0) return new CubeEnvMap(name, path);
  if (std::strcmp(word, "Shadow") == 0) return new ShadowMap(name, path);
  known = false;
  return new TextureMap(name, path);
}

bool kindOf(const char* word, int16_t& kind) {
  static const char* const words[] = {"single", "diagonal", "all", "minmax"};
  for (int16_t k = 0; k < 4; ++k) {
    if (std::strcmp(word, words[k]) == 0) {
      kind = k;
      return true;
    }
  }
  return false;
}

// Reads the description (and for valid ones the wrap modes and the class's
// own tags) into a freshly made map; false when the file must be used as a
// plain TIFF texture.
bool describe(TIFF* tif, const char* name, const char* path, std::unique_ptr<Map>& map) {
  std::vector<char> desc;
  const char* first = nullptr;
  char* save = nullptr;
  if (copyTag(tif, slrt_detail::kTagTextureFormat, desc))
    first = strtok_r(desc.data(), " \t", &save);
  if (!first) {
    map.reset(new TextureMap(name, path));
    return false;
  }
  bool known = false;
  map.reset(makeClass(first, name, path, known));
  map->tiff = tif;
  if (!known) return false;

  // The last word gives the layout; a one-word description has none.
  const char* last = nullptr;
  for (const char* w; (w = strtok_r(nullptr, " \t", &save));) last = w;
  if (!last || !kindOf(last, map->kind)) return false;

  std::vector<char> wraps;
  if (copyTag(tif, slrt_detail::kTagWrapModes, wraps)) {
    static const char* const modes[] = {promote("periodic"), promote("clamp"), promote("black")};
    auto valid = [](const char* m) { return m == modes[0] || m == modes[1] || m == modes[2]; };
    // Split at the first comma: everything after it is the t word, so a
    // third word makes the t word invalid and a missing comma leaves none.
    char* comma = std::strchr(wraps.data(), ',');
    if (comma) *comma = '\0';
    const char* s = promote(wraps.data());
    if (!valid(s)) return false;
    map->sWrap = s;
    if (!comma) return false;
    const char* t = promote(comma + 1);
    if (!valid(t)) return false;
    map->tWrap = t;
  }
  return map->parseSpecific() != 0;
}

}  // namespace

Map* Map::open(const char* mapName) {
  if (!mapName || !*mapName) return nullptr;
  const char* searchPath = fMapPath ? fMapPath : "";

  std::string withExt = std::string(mapName) + ".tqm";
  const char* found = patharchfind(searchPath, nullptr, withExt.c_str());
  if (!found) found = patharchfind(searchPath, nullptr, mapName);
  if (!found) {
    error(kErrNoError, kSevError, "%s: map file not found in %s", mapName, searchPath);
    return nullptr;
  }
  std::string filePath(found);  // the search's buffer is reused by the next call

  // libtiff reports why it cannot open a file, but its messages name its own
  // routines rather than the file, and some refusals (a first directory
  // offset of 0) come without a word.  The map's file is named here so the
  // user always learns which one failed; find() keeps the placeholder.
  TIFF* tif = slrt_detail::openMapFile(filePath.c_str());
  if (!tif) {
    error(kErrBadFile, kSevError, "%s: cannot open map file", filePath.c_str());
    return nullptr;
  }

  std::unique_ptr<Map> map;
  if (!describe(tif, mapName, filePath.c_str(), map)) {
    error(kErrNoError, kSevWarning, "%s is not an KIV map file, will use as TIFF texture",
          filePath.c_str());
    map->kind = kSingle;
    map->sWrap = map->tWrap = promote("black");
  }
  map->tiff = tif;

  LevelSize top = readLevelSize(tif);
  uint16_t samples = 1;
  TIFFGetFieldDefaulted(tif, TIFFTAG_SAMPLESPERPIXEL, &samples);
  map->channels = samples < 1 ? 1 : samples > 4 ? 4 : samples;

  // At most 32 x 32 levels for 32-bit sizes, so the count fits its field.
  uint32_t n = slrt_detail::expectedLevels(map->kind, top.fullWidth, top.fullHeight);
  map->levelCount = uint16_t(n);
  map->levels = n ? new Subimage[n] : nullptr;

  // Tile tables are sized from what each directory claims; refuse absurd
  // claims before allocating, so a hostile file cannot exhaust memory.
  uint64_t totalTiles = 0;
  bool refused = false;
  uint32_t read = 0;
  for (uint32_t i = 0; i < n; ++i) {
    if (i > 0 && !TIFFReadDirectory(tif)) break;
    LevelSize s = readLevelSize(tif);
    uint64_t tiles = ((uint64_t(s.width) + 63) / 64) * ((uint64_t(s.height) + 63) / 64);
    totalTiles += tiles;
    if (tiles > Subimage::kMaxTiles || totalTiles > 4 * Subimage::kMaxTiles ||
        !map->levels[i].init(s.width, s.height, s.fullWidth, s.fullHeight)) {
      error(kErrBadFile, kSevError, "%s: map level %d of %u x %u pixels is too large",
            filePath.c_str(), int(i), unsigned(s.width), unsigned(s.height));
      refused = true;
      break;
    }
    ++read;
  }
  TIFFClose(tif);
  map->tiff = nullptr;
  if (refused) return nullptr;
  if (read < n)
    error(kErrNoError, kSevWarning, "%s has fewer subresolutions than expected", filePath.c_str());
  return map.release();
}
