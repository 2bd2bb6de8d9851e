// slrt: named coordinate systems and the camera chain.
#include <slrt/geometry/matrix.h>
#include <slrt/geometry/space.h>
#include <slrt/pattern/scalar.h>
#include <slrt/runtime/error.h>
#include <slrt/runtime/token.h>

#include <cstdint>

// Constant-initialised, so they hold the identity before any static
// initialiser of the host runs.
Matrix gWorldToCamera(1.0f);
Matrix gWorldToCameraClose(1.0f);
Matrix gCameraToScreen(1.0f);
Matrix gScreenToNDC(1.0f);
Matrix gNDCToRaster(1.0f);
Matrix gScreenToRaster(1.0f);
Matrix gCameraToRaster(1.0f);
long gWtoCversion = 0;

float Space::fNear = 1e-10f;
float Space::fFar = 1e38f;

Transform* gTransform = nullptr;

namespace {

// The standard names, interned on first use so that every later comparison
// is one pointer compare.
struct StandardNames {
  const char* raster = promote("raster");
  const char* ndc = promote("NDC");
  const char* screen = promote("screen");
  const char* camera = promote("camera");
  const char* eye = promote("eye");
  const char* current = promote("current");
  const char* world = promote("world");
  const char* object = promote("object");
  const char* lh = promote("lh");
  const char* rh = promote("rh");
};

const StandardNames& names() {
  static const StandardNames n;
  return n;
}

// User-named spaces: 17 chained buckets keyed by the interned name's
// address.  The low two bits of an address carry little information, hence
// the shift.  Entries are never removed, so references to their matrices
// stay valid.
constexpr unsigned kSpaceBuckets = 17;

struct UserSpace {
  UserSpace* next;
  const char* token;
  Matrix matrix;
};

UserSpace* gUserSpaces[kSpaceBuckets];

unsigned spaceBucket(const char* token) {
  return static_cast<unsigned>((reinterpret_cast<uintptr_t>(token) >> 2) % kSpaceBuckets);
}

UserSpace* findUserSpace(const char* token) {
  for (UserSpace* s = gUserSpaces[spaceBucket(token)]; s; s = s->next)
    if (s->token == token) return s;
  return nullptr;
}

const Matrix& currentTransformMatrix() {
  return gTransform ? gTransform->fMatrix : gIdentity;
}

// The matrix from chain level L to level L - 1, the same as spaceMatrix of
// the level's standard name without the name lookup.
const Matrix& chainMatrix(long level) {
  switch (level) {
    case 1:
      return gNDCToRaster;
    case 2:
      return gScreenToNDC;
    case 3:
      return gCameraToScreen;
    case 4:
      return gWorldToCamera;
    default:
      return gIdentity;
  }
}

// Walks the chain from level `top` (whose own matrix is topM) down to level
// `bottom`, exclusive at both ends.  The linear-depth product takes the map of
// [near, far] onto [0, 1] in place of the camera's perspective, appended like
// the chain matrices (not prepended, as zmap() on the product would do), so
// it acts on camera z and depth comes out linear in it.  Both directions of projectMatrix use this
// same walk.
void walkChain(long top, const Matrix& topM, long bottom, Matrix* full, Matrix* linearZ) {
  Matrix f = topM;
  Matrix z = topM;
  for (long level = top - 1; level > bottom; --level) {
    f = f * chainMatrix(level);
    if (level == 3) {
      Matrix depthMap(1.0f);
      depthMap.zmap(Space::fNear, Space::fFar);
      z = z * depthMap;
    } else {
      z = z * chainMatrix(level);
    }
  }
  *full = f;
  *linearZ = z;
}

// Builds both matrices for two named spaces; false for an unknown name or a
// singular matrix.
bool namedMatrices(const char* from, const char* to, Matrix* full, Matrix* linearZ) {
  const long fromLevel = spaceLevel(from);
  const long toLevel = spaceLevel(to);
  if (fromLevel < 0 || toLevel < 0) return false;
  return projectMatrix(fromLevel, spaceMatrix(from), toLevel, spaceMatrix(to), *full, *linearZ) !=
         0;
}

Point combine(const Point& xy, const Point& z) {
  return Point(xy.x, xy.y, z.z);
}

}  // namespace

void Space::clip(float near, float far) {
  fNear = near;
  fFar = far;
}

Transform::Transform(const Transform& other)
    : fFlags(other.fFlags & kInitialised), fMatrix(other.fMatrix), fHandedness(other.fHandedness) {}

Transform& Transform::operator=(const Transform& other) {
  fFlags = (fFlags & ~kInitialised) | (other.fFlags & kInitialised);
  fMatrix = other.fMatrix;
  fHandedness = other.fHandedness;
  return *this;
}

void Transform::init() {
  fMatrix = gIdentity;
  fHandedness = names().lh;
  fFlags |= kInitialised;
}

// A mirroring matrix turns the default left-handed space right-handed.
void Transform::setHandedness() {
  fHandedness = determinant(fMatrix) < -1e-10f ? names().rh : names().lh;
}

long spaceLevel(const char* name) {
  const char* token = promote(name);
  if (!token) return -1;
  const StandardNames& n = names();
  if (token == n.raster) return 0;
  if (token == n.ndc) return 1;
  if (token == n.screen) return 2;
  if (token == n.camera || token == n.eye || token == n.current) return 3;
  if (token == n.world || token == n.object) return 4;
  return findUserSpace(token) ? 4 : -1;
}

const Matrix& spaceMatrix(const char* name) {
  const char* token = promote(name);
  if (!token) return gIdentity;
  const StandardNames& n = names();
  if (token == n.raster) return gIdentity;
  if (token == n.ndc) return gNDCToRaster;
  if (token == n.screen) return gScreenToNDC;
  if (token == n.camera || token == n.eye || token == n.current) return gCameraToScreen;
  if (token == n.world) return gWorldToCamera;
  if (token == n.object) return currentTransformMatrix();
  const UserSpace* s = findUserSpace(token);
  return s ? s->matrix : gIdentity;
}

void markSpace(const char* name) {
  const char* token = promote(name);
  if (!token) return;
  const StandardNames& n = names();
  if (token == n.camera || token == n.world || token == n.object || token == n.screen ||
      token == n.raster || token == n.ndc || token == n.eye) {
    error(kErrRange, kSevError, "cannot redefine standard coordinate system %s", token);
    return;
  }
  if (UserSpace* s = findUserSpace(token)) {
    s->matrix = currentTransformMatrix();
    return;
  }
  UserSpace*& head = gUserSpaces[spaceBucket(token)];
  head = new UserSpace{head, token, currentTransformMatrix()};
}

int projectMatrix(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                  Matrix& full, Matrix& linearZ) {
  if (fromLevel > toLevel) {
    walkChain(fromLevel, fromM, toLevel, &full, &linearZ);
    return 1;
  }
  if (fromLevel < toLevel) {
    // Only full is inverted: the linear depth is defined towards raster, and
    // going away from it linearZ is left as the downward product.
    walkChain(toLevel, toM, fromLevel, &full, &linearZ);
    return invert(&full);
  }
  int ok = 1;
  if (fromLevel == 4) {
    Matrix inverse = toM;
    ok = invert(&inverse);
    full = ok ? fromM * inverse : inverse;
  } else {
    full = gIdentity;
  }
  linearZ = full;
  return ok;
}

Matrix& projectss(Matrix& result, const char* from, const char* to) {
  Matrix full, linearZ;
  result = namedMatrices(from, to, &full, &linearZ) ? full : gIdentity;
  return result;
}

Matrix& projectms(Matrix& result, const Matrix& m, const char* to) {
  Matrix full, linearZ;
  const long toLevel = spaceLevel(to);
  const bool ok = toLevel >= 0 && projectMatrix(4, m, toLevel, spaceMatrix(to), full, linearZ);
  result = ok ? full : gIdentity;
  return result;
}

Matrix& projectsm(Matrix& result, const char* from, const Matrix& m) {
  Matrix full, linearZ;
  const long fromLevel = spaceLevel(from);
  const bool ok =
      fromLevel >= 0 && projectMatrix(fromLevel, spaceMatrix(from), 4, m, full, linearZ);
  result = ok ? full : gIdentity;
  return result;
}

Matrix& projectmm(Matrix& result, const Matrix& m1, const Matrix& m2) {
  Matrix full, linearZ;
  result = projectMatrix(4, m1, 4, m2, full, linearZ) ? full : gIdentity;
  return result;
}

Point projectPoint(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                   const Point& p) {
  Matrix full, linearZ;
  if (!projectMatrix(fromLevel, fromM, toLevel, toM, full, linearZ)) return p;
  return combine(p * full, p * linearZ);
}

Point projectVector(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                    const Point& v) {
  Matrix full, linearZ;
  if (!projectMatrix(fromLevel, fromM, toLevel, toM, full, linearZ)) return v;
  Point xy, z;
  vtransformm(xy, full, v);
  vtransformm(z, linearZ, v);
  return combine(xy, z);
}

Point projectNormal(long fromLevel, const Matrix& fromM, long toLevel, const Matrix& toM,
                    const Point& n) {
  // The matrices are still built so that a singular chain is reported, but
  // ntransformm passes the normal through, so the result is n either way.
  Matrix full, linearZ;
  if (!projectMatrix(fromLevel, fromM, toLevel, toM, full, linearZ)) return n;
  Point xy, z;
  ntransformm(xy, full, n);
  ntransformm(z, linearZ, n);
  return combine(xy, z);
}

float (*projectPoints(const char* from, const char* to, long n, float p[][3]))[3] {
  Matrix full, linearZ;
  if (!namedMatrices(from, to, &full, &linearZ)) return nullptr;
  if (!p) return p;
  for (long i = 0; i < n; ++i) {
    const Point in(p[i][0], p[i][1], p[i][2]);
    const Point out = combine(in * full, in * linearZ);
    p[i][0] = out.x;
    p[i][1] = out.y;
    p[i][2] = out.z;
  }
  return p;
}

Point& transform(Point& result, const Matrix& m, const Point& p) {
  result = p * m;
  return result;
}

Point& vtransform(Point& result, const Matrix& m, const Point& v) {
  const Point in = v;  // result may alias v
  return vtransformm(result, m, in);
}

Point& ntransform(Point& result, const Matrix& m, const Point& n) {
  const Point in = n;
  return vtransformm(result, invtranspose(m), in);
}

float depth(const Point& p) {
  return fdiv(p.z - Space::fNear, Space::fFar - Space::fNear);
}
