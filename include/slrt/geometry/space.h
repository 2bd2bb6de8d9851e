// slrt: named coordinate systems and the camera chain.
//
// The renderer's camera chain is a ladder of spaces, each with the matrix
// that carries it one rung down towards raster:
//
//   level 4   "world"  --gWorldToCamera-->
//             "object" --gTransform->fMatrix (object to camera)-->
//             user spaces (markSpace) --their stored matrix-->
//   level 3   "camera" = "eye" = "current"  --gCameraToScreen-->
//   level 2   "screen" --gScreenToNDC-->
//   level 1   "NDC"    --gNDCToRaster-->
//   level 0   "raster"
//
// Every space name is interned with promote() and compared by address, so a
// caller that passes interned names skips the hashing altogether.  Unknown
// names are never an error: they have level -1, the identity matrix, and the
// operations below fall back to the identity or to the unchanged input.
//
// Not thread-safe: the globals, the user-space table and gTransform belong to
// the renderer's one shading thread.
#ifndef SLRT_GEOMETRY_SPACE_H
#define SLRT_GEOMETRY_SPACE_H

#include <slrt/export.h>
#include <slrt/geometry/matrix.h>
#include <slrt/geometry/point.h>

#include <cstdint>

/// Camera-chain matrices, all the identity until the renderer fills them.
/// gWorldToCameraClose (shutter close), gScreenToRaster and gCameraToRaster
/// are kept for the renderer; the library only initialises them.
SLRT_API extern Matrix gWorldToCamera;
SLRT_API extern Matrix gWorldToCameraClose;
SLRT_API extern Matrix gCameraToScreen;
SLRT_API extern Matrix gScreenToNDC;
SLRT_API extern Matrix gNDCToRaster;
SLRT_API extern Matrix gScreenToRaster;
SLRT_API extern Matrix gCameraToRaster;
/// Changed by the renderer whenever gWorldToCamera changes; maps that cache a
/// matrix derived from the camera rebuild it when this differs from the
/// value they saw.  Starts at 0.
SLRT_API extern long gWtoCversion;

/// Clipping planes of the camera, used for linear depth.
///
/// | member | default | meaning                 |
/// |--------|---------|-------------------------|
/// | fNear  | 1e-10   | camera depth of depth 0 |
/// | fFar   | 1e38    | camera depth of depth 1 |
///
/// clip() stores both without checking them (depth() survives near == far:
/// its division saturates).
class SLRT_API Space {
 public:
  static float fNear;
  static float fFar;
  static void clip(float near, float far);
};

/// The current transformation: object to camera, with its handedness.
///
/// | member       | meaning                                                |
/// |--------------|--------------------------------------------------------|
/// | fFlags       | top bit: initialised; the other bits are not touched   |
/// | fMatrix      | object to camera                                       |
/// | fHandedness  | interned "lh" or "rh"                                  |
///
/// Transform() clears the flag word (the matrix starts as the identity and
/// the handedness null, so an uninitialised transform is still harmless).
/// init() sets identity, "lh" and the flag.  Copying copies matrix and
/// handedness and, of the flag word, only the initialised bit.
/// setHandedness(): "rh" when determinant(fMatrix) < -1e-10 (a mirroring
/// matrix), else "lh".
class SLRT_API Transform {
 public:
  static constexpr uint32_t kInitialised = 0x80000000u;

  uint32_t fFlags;
  Matrix fMatrix;
  const char* fHandedness;

  Transform() : fFlags(0), fMatrix(1.0f), fHandedness(nullptr) {}
  Transform(const Transform& other);
  Transform& operator=(const Transform& other);

  void init();
  void setHandedness();
  bool initialised() const { return (fFlags & kInitialised) != 0; }
};

/// The current transformation, set by the renderer.  While it is null,
/// "object" space and newly marked spaces use the identity.
SLRT_API extern Transform* gTransform;

SLRT_C_BEGIN

/// Space lookup
/// ------------
/// spaceLevel(name): the level drawn above; -1 for a name that is neither
/// standard nor marked.
/// spaceMatrix(name): the matrix drawn above, as a reference to the live
/// global, transformation or table entry; gIdentity for "raster" and for
/// unknown names.  Read-only: write the globals themselves.
SLRT_API long spaceLevel(const char* name);
SLRT_API const Matrix& spaceMatrix(const char* name);

/// markSpace(name): defines (or redefines) a user space at level 4 holding a
/// copy of the current transformation's matrix.  The standard names
/// "camera", "world", "object", "screen", "raster", "NDC" and "eye" report
/// code 42 (range), severity 2, "cannot redefine standard coordinate system
/// <name>" and change nothing.  "current" is not refused, but a space marked
/// under it is never reached: the standard meaning is looked up first.
SLRT_API void markSpace(const char* name);

/// Projection between spaces
/// -------------------------
/// projectMatrix(from, fromM, to, toM, full, linearZ) builds the matrix
/// between two levels of the chain, each side given by its level and its
/// own matrix (used only at level 4, or for the side the walk starts from):
///
///   from > to (towards raster): full = fromM x the chain matrices of
///     levels from-1 .. to+1; linearZ likewise, except that the perspective
///     (level 3) is replaced by a linear map of [fNear, fFar] onto [0, 1].
///   from < to (away from raster): full = inverse(toM x the chain matrices
///     of levels to-1 .. from+1); linearZ = the same product, NOT inverted,
///     so the linear depth is only meaningful going towards raster.
///   from == to: at level 4 full = fromM x inverse(toM), else the identity;
///     linearZ = full.
///
/// Returns nonzero on success, 0 when an inverse does not exist (invert
/// reports code 61, severity 2, "cannot invert a singular Matrix"); full is
/// then garbage.
SLRT_API int projectMatrix(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                           Matrix& full, Matrix& linearZ);

/// | operation                     | result (written to result and returned) |
/// |-------------------------------|-----------------------------------------|
/// | projectss(result, from, to)   | full matrix between two named spaces    |
/// | projectms(result, M, to)      | from a level-4 space given by M         |
/// | projectsm(result, from, M)    | to a level-4 space given by M           |
/// | projectmm(result, M1, M2)     | M1 x inverse(M2)                        |
///
/// Fallback: the identity when a name is unknown or a matrix is singular.
SLRT_API Matrix& projectss(Matrix& result, const char* from, const char* to);
SLRT_API Matrix& projectms(Matrix& result, const Matrix& m, const char* to);
SLRT_API Matrix& projectsm(Matrix& result, const char* from, const Matrix& m);
SLRT_API Matrix& projectmm(Matrix& result, const Matrix& m1, const Matrix& m2);

/// Carry one value between levels: x and y through full, z through linearZ,
/// so a point's projected depth is linear between the clipping planes rather
/// than perspective.  Points are divided by w; vectors go through
/// vtransformm (no translation); normals through ntransformm, which leaves
/// them unchanged.  Fallback: the input, unchanged, when projectMatrix fails.
SLRT_API Point projectPoint(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                            const Point& p);
SLRT_API Point projectVector(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                             const Point& v);
SLRT_API Point projectNormal(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                             const Point& n);

/// Carries n points in place from one named space to another as
/// projectPoint does.  Returns p, or null (points untouched) when a name is
/// unknown or the matrix cannot be built.  n <= 0 carries nothing.
SLRT_API float (*projectPoints(const char* from, const char* to, long n, float p[][3]))[3];

/// Transforms by a matrix (result slot first, returned):
///
/// | operation              | result                                           |
/// |------------------------|--------------------------------------------------|
/// | transform(r, M, P)     | P x M, divided by w                              |
/// | vtransform(r, M, V)    | V x the upper-left 3x3 of M (no translation)     |
/// | ntransform(r, M, N)    | N x invtranspose(M): direction kept, length not  |
/// |                        | (a uniform scale s multiplies a normal by s^2);  |
/// |                        | not normalised                                   |
SLRT_API Point& transform(Point& result, const Matrix& m, const Point& p);
SLRT_API Point& vtransform(Point& result, const Matrix& m, const Point& v);
SLRT_API Point& ntransform(Point& result, const Matrix& m, const Point& n);

/// Linear depth of a camera-space point: (z - fNear)/(fFar - fNear), 0 at the
/// near plane and 1 at the far plane.
SLRT_API float depth(const Point& p);

SLRT_C_END

#endif  // SLRT_GEOMETRY_SPACE_H
