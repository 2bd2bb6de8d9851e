// slrt: map files and the map classes.
//
// Texture, environment and shadow lookups name a map by a string.  Map::find
// turns the name into a map object, opening and describing the file once and
// keeping the object in a name table for the rest of the run.  Pixel data is
// not read here: Map::gettile reads it a tile at a time through the caches of
// <slrt/texture/cache.h>.
//
// Map file format.  A TIFF file, found as "<name>.tqm" or as "<name>" on the
// map search path; each directory is one resolution level, in order from
// directory 0.  Tags read:
//
//   256 ImageWidth, 257 ImageLength   stored size of the level (32-bit)
//   277 SamplesPerPixel               channels, directory 0 only, capped at 4
//   33300 / 33301 full width / length size of the whole image the level
//                                     stands for; absent: the stored size
//   33302 texture format              "<class word> ... <layout word>"
//   33303 wrap modes                  "<s mode>,<t mode>", directory 0 only
//   33304 field-of-view cotangent     cube-face environment maps
//   33305 / 33306                     world-to-screen / world-to-camera
//                                     matrices of shadow maps (16 floats)
//
//   class word   "Plain" TextureMap, "LatLong" SphereEnvMap, "CubeFace"
//                CubeEnvMap, "Shadow" ShadowMap
//   layout word  "single" (kind 0, 1 level), "diagonal" (1, MIP-map: halve W
//                and H together while both stay above 0), "all" (2, rip-map:
//                halvings of W times halvings of H, s varying fastest),
//                "minmax" (3, 2 x diagonal - 1 levels)
//   wrap modes   "periodic", "clamp" or "black"
//
// libtiff's messages.  The library installs libtiff error and warning handlers
// when it is loaded; they forward each message, as "<module>: <text>", to
// error(0, 2, ...) and error(0, 1, ...) respectively, so that messages about
// map files reach the host's error handler like every other report.  A host
// that prefers its own libtiff handlers sets them afterwards and keeps them.
//
// Not thread-safe: the name table, the static buffers of patharchfind and the
// level choice stored in each map belong to the one shading thread.
#ifndef SLRT_TEXTURE_MAP_H
#define SLRT_TEXTURE_MAP_H

#include <slrt/export.h>
#include <slrt/geometry/matrix.h>
#include <slrt/geometry/point.h>
#include <stdint.h>

typedef struct tiff TIFF;

SLRT_C_BEGIN

/// Search for a file on a colon-separated path.
///
/// With arch non-null, every "$ARCH" or "%ARCH" in name is first replaced by
/// arch.  A name beginning with "/" is tried as "<its directory>/<arch>/<base
/// name>" (only with arch) and then as it stands.  Otherwise, and when an
/// absolute name was not found, each path element is tried in order as
/// "<element>/<arch>/<name>" (only with arch) and "<element>/<name>".  An
/// empty element before a colon is the empty directory (so "/<name>"); an
/// empty last element is ".".  A null path counts as "".  The first regular
/// file (stat) wins.
///
/// Returns a static buffer (overwritten by the next call) holding the path
/// found, or null.  Candidates longer than the buffer (4,096 bytes) are not
/// tried: a cut path would name some other file.  A null name gives null.  No
/// report.
SLRT_API char* patharchfind(const char* path, const char* arch, const char* name);

SLRT_C_END

/// One resolution level of a map.
///
/// | member      | meaning                                                     |
/// |-------------|-------------------------------------------------------------|
/// | width       | stored width of the level, pixels (0 until described)       |
/// | height      | stored height                                               |
/// | fullWidth   | width of the whole image the level stands for (tag 33300)   |
/// | fullHeight  | height of the whole image (tag 33301)                       |
/// | tiles       | tile table: tilesAcross() x tilesDown() tile-cache slot     |
/// |             | numbers, row by row, -1 for a tile not in the cache         |
///
/// A level for which the file had no directory keeps the size 0 and no tile
/// table; wrap() refuses positions on it and Map::gettile refuses its tiles.
class SLRT_API Subimage {
 public:
  uint32_t width = 0;
  uint32_t height = 0;
  uint32_t fullWidth = 0;
  uint32_t fullHeight = 0;
  int32_t* tiles = nullptr;

  /// Upper bound on the tile-table entries of one level (64 MB of table, a
  /// 262,144-pixel square level); larger levels are refused.
  static constexpr uint64_t kMaxTiles = uint64_t(1) << 24;

  Subimage() = default;
  ~Subimage();
  Subimage(const Subimage&) = delete;
  Subimage& operator=(const Subimage&) = delete;

  /// Sets the four sizes and makes a fresh tile table, all -1.  Slots of the
  /// old table still in the tile cache are released first, so that an
  /// eviction never writes into freed memory.  Returns 1; returns 0 without
  /// allocating (the level left zero-sized, no report: Map::open reports)
  /// when the table would hold more than kMaxTiles entries.
  int init(uint32_t width, uint32_t height, uint32_t fullWidth, uint32_t fullHeight);

  uint32_t tilesAcross() const { return uint32_t((uint64_t(width) + 63) / 64); }
  uint32_t tilesDown() const { return uint32_t((uint64_t(height) + 63) / 64); }

  /// Applies the wrap modes to a pixel position: first the column against
  /// the width with sMode, then the row against the height with tMode.
  /// Inside [0, size-1] a coordinate is unchanged; "periodic" takes it modulo
  /// the size (plus the size when negative); "clamp" moves it to 0 or
  /// size-1; any other mode ("black") gives 0 at once, without looking at the
  /// row when the column already failed.  Modes are compared as interned
  /// names (by address, then by text).
  ///
  /// Returns 1 when the position is (now) inside, 0 when it lies outside
  /// under "black".  A level without a directory (width or height 0) returns
  /// 0 and leaves the position alone: "periodic" would divide by zero and
  /// "clamp" would give -1.
  int wrap(int32_t& row, int32_t& column, const char* sMode, const char* tMode) const;
};

/// Base of all map classes.
///
/// Members (in this order):
///
/// | member      | meaning                                             | default   |
/// |-------------|-----------------------------------------------------|-----------|
/// | levels      | owned array of levelCount levels                    | null      |
/// | levelCount  | expected number of levels (missing ones zero-sized) | 0         |
/// | coarse      | coarse level of the last dimToSubfiles              | 0         |
/// | fine        | fine level of the last dimToSubfiles                | 0         |
/// | blend       | 1 when the two levels are to be blended             | 0         |
/// | weight      | weight of the fine level when blending              | 0         |
/// | channels    | channel count, 1..4                                 | 1         |
/// | next        | next map in the same name-table bucket              | null      |
/// | name        | owned copy of the name asked for                    |           |
/// | path        | owned copy of the path found                        |           |
/// | openSlot    | open-file cache entry, -1 when not held open        | -1        |
/// | tiff        | TIFF handle: while describing, then the last handle |           |
/// |             | gettile used (owned by the open-file cache)         | null      |
/// | typeCode    | 0 Map, 1 TextureMap, 2 SphereEnvMap, 3 CubeEnvMap,  |           |
/// |             | 4 ShadowMap                                         | 0         |
/// | sWrap/tWrap | interned wrap modes                                 | "black"   |
/// | kind        | level layout (kSingle .. kMinMax)                   | kDiagonal |
/// | invalid     | 1 only for the placeholder of a map that failed     | 0         |
///
/// Maps live for the whole run: find() never removes one.
class SLRT_API Map {
 public:
  enum : short { kSingle = 0, kDiagonal = 1, kAll = 2, kMinMax = 3 };
  enum : short { kBuckets = 31 };

  Subimage* levels = nullptr;
  uint16_t levelCount = 0;
  uint16_t coarse = 0;
  uint16_t fine = 0;
  int16_t blend = 0;
  float weight = 0.0f;
  uint16_t channels = 1;
  Map* next = nullptr;
  char* name = nullptr;
  char* path = nullptr;
  int32_t openSlot = -1;
  TIFF* tiff = nullptr;
  int16_t typeCode = 0;
  const char* sWrap = nullptr;
  const char* tWrap = nullptr;
  int16_t kind = kDiagonal;
  int16_t invalid = 0;

  /// Copies name and path (null counts as ""); wraps "black", kind diagonal.
  Map(const char* name, const char* path);
  /// Releases the open-file entry and every tile-table entry (-1 included),
  /// then frees name, path and the levels.
  virtual ~Map();
  Map(const Map&) = delete;
  Map& operator=(const Map&) = delete;

  short type() const { return typeCode; }

  /// Texture coordinates to raster position on a level: x = s x width + 0.5,
  /// y = t x height + 0.5 with the level's stored size (the half-pixel offset
  /// is deliberately added).  A level index past the end counts as size 0.
  virtual void sttoraster(unsigned short level, float s, float t, float& x, float& y);
  /// Reads the class's own tags while the file is being described; 1 on
  /// success.  The base version has nothing to read.
  virtual short parseSpecific();

  /// The map named `name`, or null.  Walks bucket hash(name) % 31; a name not
  /// yet seen is opened with open().  When that fails an invalid placeholder
  /// is kept under the name (a plain Map without levels, invalid 1), so a
  /// missing map is reported once and later lookups fail quickly and
  /// silently.  A null name is looked up as "".
  static Map* find(const char* name);

  /// Finds, opens and describes a map file; a new map or null.
  ///
  /// | situation                                       | report (code 0 unless noted)          |
  /// |-------------------------------------------------|---------------------------------------|
  /// | null or empty name                              | none; null                            |
  /// | neither "<name>.tqm" nor "<name>" on fMapPath   | "%s: map file not found in %s"        |
  /// |                                                 | (name, path), severity 2; null        |
  /// | TIFFOpen fails                                  | libtiff's messages (if any), then     |
  /// |                                                 | "%s: cannot open map file" (path),    |
  /// |                                                 | code 4, severity 2; null              |
  /// | no description, unknown first or last word, a   | "%s is not an KIV map file, will use  |
  /// | one-word description, bad wrap string, failed   | as TIFF texture" (path), severity 1;  |
  /// | parseSpecific                                   | kept: kind single, wraps black        |
  /// | fewer directories than the layout expects       | "%s has fewer subresolutions than     |
  /// |                                                 | expected" (path), severity 1; kept,   |
  /// |                                                 | missing levels zero-sized             |
  /// | a level whose tile table would exceed           | "%s: map level %d of %u x %u pixels   |
  /// | Subimage::kMaxTiles entries, or all levels      | is too large" (path, level, width,    |
  /// | together 4 x kMaxTiles                          | height), code 4, severity 2; null     |
  ///
  /// The wrap string is split at its first comma: the word before it is the s
  /// mode (stored before the t word is checked), everything after it the t
  /// mode.  So an empty word, a missing comma or a third word is a bad wrap
  /// string.  The file is closed again before returning.
  static Map* open(const char* name);

  /// Chooses the two levels that bracket a footprint `width` pixels wide on
  /// the finest level.  width below 1.001 (or NaN) counts as 1.001; coarse =
  /// ceil(log2(width)) in float, at most levelCount - 1 (unsigned 16-bit, so
  /// 65535 with no levels); fine = coarse - 1 (65535 for a one-level map).
  /// Returns ((2^coarse) - width) / 2^fine clamped to [0, 1]: the weight of
  /// the fine level.  The indices may lie past the end of the level array;
  /// gettile, subimage and sttoraster check them.
  float selectLevel(float width, unsigned short& coarse, unsigned short& fine);

  /// Level choice for sw x tw footprints across the map (the reciprocals of
  /// the footprint size in texture coordinates); sets coarse, fine, blend and
  /// weight.  "diagonal": level 0 when the footprint is at most a pixel both
  /// ways, else selectLevel of the larger of fdiv(H, tw) and fdiv(W, sw),
  /// blending.  "all": per axis selectLevel(H / tw) and selectLevel(W / sw)
  /// (zeros when the axis needs no reduction), combined as t x nS + s with nS
  /// = ceil(log2(W)) + 1 (1 when W is 0); blending, with the smaller of the
  /// two weights, unless coarse equals fine.  This nS differs from the level
  /// count's integer halving for widths that are not powers of two, and the
  /// combined indices can pass the end of the level array; they are kept as
  /// computed and checked where used.  "single", "minmax": level 0.
  void dimToSubfiles(float sw, float tw);

  /// The tile at (tileRow, tileColumn) of a level: 4,096 pixels of four
  /// floats, rows of 64.  A hit is served from the tile cache; a miss takes a
  /// slot, reopens the file through the open-file cache when needed and
  /// decodes the tile (the storage is returned whatever decoding reports).
  ///
  /// Returns null, with no report, when there is nothing to read: a level
  /// index past the end, a level without a directory (zero-sized), a tile
  /// position outside the level, or a tile cache of zero slots.  Lookups
  /// treat null as a pixel of zeros.
  float* gettile(unsigned short level, long tileRow, long tileColumn);

  /// The level, or null when the index is past the end or the level has no
  /// directory (zero-sized).
  const Subimage* subimage(unsigned short level) const;

  /// Library-wide settings.
  ///
  /// | setting           | setter                     | default     | used by          |
  /// |-------------------|----------------------------|-------------|------------------|
  /// | fBias0, fBias1    | shadowBias(float, float)   | 0.15, 0.30  | shadow lookup    |
  /// | fShadowJitter     | shadowJitter(float)        | 0.5         | shadow lookup    |
  /// | fMapPath          | mapPath(const char*)       | "."         | open             |
  /// | fEnableGaussian   | enableGaussian(short)      | 1           | lookups          |
  /// | fEnableLerp       | enableLerp(short)          | 1           | texture lookup   |
  ///
  /// mapPath keeps the caller's pointer; the text must outlive its use.
  static float fBias0;
  static float fBias1;
  static float fShadowJitter;
  static const char* fMapPath;
  static short fEnableGaussian;
  static short fEnableLerp;
  static void shadowBias(float bias0, float bias1);
  static void shadowJitter(float jitter);
  static void mapPath(const char* searchPath);
  static void enableGaussian(short on);
  static void enableLerp(short on);

  /// The name table: kBuckets singly linked lists through `next`, new maps
  /// at the front.
  static Map* fBucket[kBuckets];
};

/// A texture map ("Plain", or any TIFF file used as a texture).
class SLRT_API TextureMap : public Map {
 public:
  TextureMap(const char* name, const char* path);
  ~TextureMap() override;
};

/// Base of the environment maps.  wtocVersion is the world-to-camera version
/// for which cameraToWorld was made (0 at construction; the environment
/// lookup rebuilds the matrix when gWtoCversion differs).
class SLRT_API EnvMap : public Map {
 public:
  int32_t wtocVersion = 0;
  Matrix cameraToWorld = Matrix(1.0f);

  EnvMap(const char* name, const char* path);
  ~EnvMap() override;
  /// Chooses the face for four lookup directions; nothing to choose here.
  virtual void selectFace(Point& d0, Point& d1, Point& d2, Point& d3);
  /// Direction to texture coordinates.
  virtual void dirToCoords(const Point& dir, float& s, float& t) = 0;
};

/// Latitude-longitude environment map ("LatLong").
class SLRT_API SphereEnvMap : public EnvMap {
 public:
  SphereEnvMap(const char* name, const char* path);
  ~SphereEnvMap() override;
  /// Placeholder until the environment lookup is built: s = t = 0.
  void dirToCoords(const Point& dir, float& s, float& t) override;
};

/// Cube-face environment map ("CubeFace"): six faces in a grid of three
/// columns and two rows.  fov is in degrees (90); fovCot comes from tag 33304
/// (1.0 when absent); face is the face chosen by the last selectFace.
class SLRT_API CubeEnvMap : public EnvMap {
 public:
  float fov = 90.0f;
  float fovCot = 1.0f;
  short face = 0;

  CubeEnvMap(const char* name, const char* path);
  ~CubeEnvMap() override;
  /// Placeholders until the environment lookup is built: sttoraster is the
  /// base mapping, selectFace keeps the face, dirToCoords gives s = t = 0.
  void sttoraster(unsigned short level, float s, float t, float& x, float& y) override;
  /// Reads the cotangent (tag 33304) when present; always succeeds.
  short parseSpecific() override;
  void selectFace(Point& d0, Point& d1, Point& d2, Point& d3) override;
  void dirToCoords(const Point& dir, float& s, float& t) override;
};

/// Depth map with the light's matrices ("Shadow"); kind single at
/// construction.  reserved is -1.0 and unused by the lookups; wtocVersion and
/// cached (inverse world-to-camera of the renderer times worldToCamera) are
/// maintained by the shadow lookup.
class SLRT_API ShadowMap : public Map {
 public:
  float reserved = -1.0f;
  int32_t wtocVersion = 0;
  Matrix worldToCamera = Matrix(1.0f);
  Matrix worldToScreen = Matrix(1.0f);
  Matrix cached = Matrix(1.0f);

  ShadowMap(const char* name, const char* path);
  ~ShadowMap() override;
  /// Reads the world-to-screen (33305) then the world-to-camera (33306)
  /// matrix, row by row; 0 when either is absent.
  short parseSpecific() override;
};

#endif  // SLRT_TEXTURE_MAP_H
