// The map classes: construction and destruction, the name table, levels and
// their wrap rules, level choice for a footprint, and the tile entry point.
// Reading a map file's description lives in mapopen.cpp.
#include <slrt/pattern/scalar.h>
#include <slrt/runtime/token.h>
#include <slrt/texture/cache.h>
#include <slrt/texture/map.h>

#include <cmath>
#include <cstdint>
#include <cstring>

#include "texture/map_pvt.h"

namespace {

char* copyText(const char* text) {
  if (!text) text = "";
  size_t n = std::strlen(text) + 1;
  char* copy = new char[n];
  std::memcpy(copy, text, n);
  return copy;
}

// Interned mode names, compared by address; a caller that hands in plain
// text still gets the mode it spelled.
bool isMode(const char* mode, const char* interned) {
  return mode == interned || (mode && std::strcmp(mode, interned) == 0);
}

// Wraps one coordinate against a non-zero size; false when it lies outside
// under "black".
bool wrapCoordinate(int32_t& x, uint32_t size, const char* mode) {
  static const char* const periodic = promote("periodic");
  static const char* const clamp = promote("clamp");
  int64_t v = x;
  if (v >= 0 && v < int64_t(size)) return true;
  if (isMode(mode, periodic)) {
    v %= int64_t(size);
    if (v < 0) v += size;
  } else if (isMode(mode, clamp)) {
    v = v < 0 ? 0 : int64_t(size) - 1;
  } else {
    return false;
  }
  // v lies between 0 and the old x, so it fits in 32 bits.
  x = int32_t(v);
  return true;
}

// ceil(log2(x)) the way the level choice computes it: float logarithms,
// rounded up.  x must be positive and finite.
float ceilLog2(float x) {
  return std::ceil(std::log(x) / std::log(2.0f));
}

}  // namespace

// ---------------------------------------------------------------------------
// Subimage

Subimage::~Subimage() {
  delete[] tiles;
}

int Subimage::init(uint32_t w, uint32_t h, uint32_t fw, uint32_t fh) {
  if (tiles) {
    uint64_t n = uint64_t(tilesAcross()) * tilesDown();
    for (uint64_t i = 0; i < n; ++i) {
      if (tiles[i] >= 0) freeTextureCache(tiles[i]);
    }
    delete[] tiles;
    tiles = nullptr;
  }
  width = height = fullWidth = fullHeight = 0;
  uint64_t count = ((uint64_t(w) + 63) / 64) * ((uint64_t(h) + 63) / 64);
  if (count > kMaxTiles) return 0;
  width = w;
  height = h;
  fullWidth = fw;
  fullHeight = fh;
  if (count) {
    tiles = new int32_t[size_t(count)];
    for (uint64_t i = 0; i < count; ++i) tiles[i] = -1;
  }
  return 1;
}

int Subimage::wrap(int32_t& row, int32_t& column, const char* sMode, const char* tMode) const {
  if (width == 0 || height == 0) return 0;
  if (!wrapCoordinate(column, width, sMode)) return 0;
  return wrapCoordinate(row, height, tMode) ? 1 : 0;
}

// ---------------------------------------------------------------------------
// Map

float Map::fBias0 = 0.15f;
float Map::fBias1 = 0.30f;
float Map::fShadowJitter = 0.5f;
const char* Map::fMapPath = ".";
short Map::fEnableGaussian = 1;
short Map::fEnableLerp = 1;
Map* Map::fBucket[Map::kBuckets] = {};

void Map::shadowBias(float bias0, float bias1) {
  fBias0 = bias0;
  fBias1 = bias1;
}
void Map::shadowJitter(float jitter) {
  fShadowJitter = jitter;
}
void Map::mapPath(const char* searchPath) {
  fMapPath = searchPath;
}
void Map::enableGaussian(short on) {
  fEnableGaussian = on;
}
void Map::enableLerp(short on) {
  fEnableLerp = on;
}

Map::Map(const char* mapName, const char* mapPath)
    : name(copyText(mapName)), path(copyText(mapPath)) {
  sWrap = tWrap = promote("black");
}

Map::~Map() {
  freeOpenMap(openSlot);
  for (uint32_t l = 0; levels && l < levelCount; ++l) {
    const Subimage& level = levels[l];
    if (!level.tiles) continue;
    uint64_t n = uint64_t(level.tilesAcross()) * level.tilesDown();
    // Entries of -1 are passed on too; the cache ignores them.
    for (uint64_t i = 0; i < n; ++i) freeTextureCache(level.tiles[i]);
  }
  delete[] name;
  delete[] path;
  delete[] levels;
}

void Map::sttoraster(unsigned short level, float s, float t, float& x, float& y) {
  const Subimage* sub = level < levelCount && levels ? &levels[level] : nullptr;
  x = s * float(sub ? sub->width : 0) + 0.5f;
  y = t * float(sub ? sub->height : 0) + 0.5f;
}

short Map::parseSpecific() {
  return 1;
}

const Subimage* Map::subimage(unsigned short level) const {
  if (!levels || level >= levelCount) return nullptr;
  const Subimage& sub = levels[level];
  return sub.tiles ? &sub : nullptr;
}

Map* Map::find(const char* mapName) {
  if (!mapName) mapName = "";
  unsigned bucket = hash(mapName) % kBuckets;
  for (Map* m = fBucket[bucket]; m; m = m->next) {
    if (m->name[0] == mapName[0] && std::strcmp(m->name, mapName) == 0)
      return m->invalid ? nullptr : m;
  }
  Map* m = open(mapName);
  if (!m) {
    // Remember the failure so the report is made once and later lookups of
    // the same name return at once.
    m = new Map(mapName, mapName);
    m->kind = kDiagonal;
    m->invalid = 1;
  }
  m->next = fBucket[bucket];
  fBucket[bucket] = m;
  return m->invalid ? nullptr : m;
}

float Map::selectLevel(float width, unsigned short& coarseLevel, unsigned short& fineLevel) {
  if (!(width >= 1.001f)) width = 1.001f;  // also catches NaN
  float c = ceilLog2(width);
  unsigned short last = static_cast<unsigned short>(levelCount - 1);
  // The comparison is made in float so that an infinite footprint cannot
  // reach an out-of-range conversion.
  unsigned short cl = c < float(levelCount) ? static_cast<unsigned short>(c) : last;
  unsigned short fl = static_cast<unsigned short>(cl - 1);
  coarseLevel = cl;
  fineLevel = fl;
  float r = (std::ldexp(1.0f, cl) - width) / std::ldexp(1.0f, fl);
  // Written so that NaN (infinity over infinity) and -0 both come out as 0.
  return r > 0.0f ? (r < 1.0f ? r : 1.0f) : 0.0f;
}

void Map::dimToSubfiles(float sw, float tw) {
  coarse = fine = 0;
  blend = 0;
  float fullW = levels && levelCount ? float(levels[0].fullWidth) : 0.0f;
  float fullH = levels && levelCount ? float(levels[0].fullHeight) : 0.0f;
  switch (kind) {
    case kDiagonal: {
      if (fullH <= tw && fullW <= sw) return;
      float width = std::fmax(fdiv(fullH, tw), fdiv(fullW, sw));
      weight = selectLevel(width, coarse, fine);
      blend = 1;
      return;
    }
    case kAll: {
      unsigned short tc = 0, tf = 0, sc = 0, sf = 0;
      float tWeight = 0.0f, sWeight = 0.0f;
      if (fullH > tw) tWeight = selectLevel(fullH / tw, tc, tf);
      if (fullW > sw) sWeight = selectLevel(fullW / sw, sc, sf);
      // The rounded logarithm, not the halving count of the level table; the
      // two disagree for widths that are not powers of two.
      unsigned short nS = fullW >= 1.0f ? static_cast<unsigned short>(ceilLog2(fullW) + 1.0f) : 1;
      coarse = static_cast<unsigned short>(tc * nS + sc);
      fine = static_cast<unsigned short>(tf * nS + sf);
      if (coarse == fine) return;
      weight = std::fmin(sWeight, tWeight);
      blend = 1;
      return;
    }
    default:
      return;
  }
}

float* Map::gettile(unsigned short level, long tileRow, long tileColumn) {
  if (!levels || level >= levelCount) return nullptr;
  Subimage& sub = levels[level];
  if (!sub.tiles) return nullptr;
  uint32_t across = sub.tilesAcross();
  if (tileRow < 0 || tileColumn < 0 || uint64_t(tileRow) >= sub.tilesDown() ||
      uint64_t(tileColumn) >= across)
    return nullptr;
  int32_t& entry = sub.tiles[size_t(tileRow) * across + size_t(tileColumn)];
  if (entry >= 0) return hitTextureCache(entry);

  float* storage = allocateTextureCache(&entry);
  if (!storage) return nullptr;
  tiff = openSlot >= 0 ? hitOpenMap(openSlot) : allocateOpenMap(path, &openSlot);
  fillTile(storage, tiff, level, int(tileRow), int(tileColumn));
  return storage;
}

// ---------------------------------------------------------------------------
// Derived classes

TextureMap::TextureMap(const char* n, const char* p) : Map(n, p) {
  typeCode = 1;
}
TextureMap::~TextureMap() = default;

EnvMap::EnvMap(const char* n, const char* p) : Map(n, p) {}
EnvMap::~EnvMap() = default;
void EnvMap::selectFace(Point&, Point&, Point&, Point&) {}

SphereEnvMap::SphereEnvMap(const char* n, const char* p) : EnvMap(n, p) {
  typeCode = 2;
}
SphereEnvMap::~SphereEnvMap() = default;
void SphereEnvMap::dirToCoords(const Point&, float& s, float& t) {
  s = t = 0.0f;
}

CubeEnvMap::CubeEnvMap(const char* n, const char* p) : EnvMap(n, p) {
  typeCode = 3;
}
CubeEnvMap::~CubeEnvMap() = default;
void CubeEnvMap::sttoraster(unsigned short level, float s, float t, float& x, float& y) {
  Map::sttoraster(level, s, t, x, y);
}
short CubeEnvMap::parseSpecific() {
  fovCot = 1.0f;
  float cot = 0.0f;
  if (tiff && TIFFGetField(tiff, slrt_detail::kTagFovCot, &cot)) fovCot = cot;
  return 1;
}
void CubeEnvMap::selectFace(Point&, Point&, Point&, Point&) {}
void CubeEnvMap::dirToCoords(const Point&, float& s, float& t) {
  s = t = 0.0f;
}

ShadowMap::ShadowMap(const char* n, const char* p) : Map(n, p) {
  typeCode = 4;
  kind = kSingle;
}
ShadowMap::~ShadowMap() = default;
short ShadowMap::parseSpecific() {
  float* values = nullptr;
  if (!tiff || !TIFFGetField(tiff, slrt_detail::kTagWorldToScreen, &values) || !values) return 0;
  worldToScreen = Matrix(values);
  values = nullptr;
  if (!TIFFGetField(tiff, slrt_detail::kTagWorldToCamera, &values) || !values) return 0;
  worldToCamera = Matrix(values);
  return 1;
}
