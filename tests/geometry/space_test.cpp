// Named coordinate systems: the camera chain, user spaces, projections.
#include <gtest/gtest.h>
#include <slrt/geometry/space.h>
#include <slrt/runtime/token.h>

#include <cmath>

#include "support/capture.h"

namespace {

void expectNear(const Matrix& a, const Matrix& b, float tol) {
  for (int i = 0; i < 16; ++i) EXPECT_NEAR(a.m[i], b.m[i], tol) << "element " << i;
}

void expectNear(const Point& a, const Point& b, float tol) {
  EXPECT_NEAR(a.x, b.x, tol);
  EXPECT_NEAR(a.y, b.y, tol);
  EXPECT_NEAR(a.z, b.z, tol);
}

// A 640 x 480 perspective camera, 45 degrees wide, clipping at 0.1 and 100,
// standing away from the world origin and turned about y.  Every test starts
// from it and the globals are restored afterwards.
class CameraChain : public ::testing::Test {
 protected:
  void SetUp() override {
    gWorldToCamera = Matrix(1.0f).translate(0.5f, -1.0f, 8.0f).rotate(20.0f, 0, 1, 0);
    gCameraToScreen = Matrix(1.0f).perspective(45.0f, 0.1f, 100.0f);
    gScreenToNDC = Matrix(1.0f).map(-1.0f, 1.0f, -0.75f, 0.75f, 1, 1);
    gNDCToRaster = Matrix(1.0f).scale(640.0f, 480.0f, 1.0f);
    Space::clip(0.1f, 100.0f);
    fTransform.init();
    fTransform.fMatrix = Matrix(1.0f).translate(0, 0, 5.0f).scale(2.0f);
    gTransform = &fTransform;
  }
  void TearDown() override {
    gWorldToCamera = gCameraToScreen = gScreenToNDC = gNDCToRaster = gIdentity;
    Space::clip(1e-10f, 1e38f);
    gTransform = nullptr;
  }

  static Point toWorld(const Point& camera) {
    Matrix m;
    Point w;
    return transform(w, projectss(m, "camera", "world"), camera);
  }

  Transform fTransform;
};

}  // namespace

TEST_F(CameraChain, WorldToRasterAndBack) {
  Matrix down, up;
  projectss(down, "world", "raster");
  projectss(up, "raster", "world");
  for (const Point& c : {Point(0, 0, 5), Point(1.5f, -0.8f, 3), Point(-20, 12, 60)}) {
    const Point w = toWorld(c);
    Point r, back;
    transform(r, down, w);
    transform(back, up, r);
    expectNear(back, w, 2e-4f * (1 + std::fabs(c.z)));

    // projectPoints keeps the perspective x and y but makes depth linear.
    float p[1][3] = {{w.x, w.y, w.z}};
    ASSERT_EQ(projectPoints("world", "raster", 1, p), p);
    EXPECT_NEAR(p[0][0], r.x, 1e-2f);
    EXPECT_NEAR(p[0][1], r.y, 1e-2f);
    EXPECT_NEAR(p[0][2], (c.z - 0.1f) / (100.0f - 0.1f), 1e-5f);
  }
  // The camera axis hits the middle of the raster; the clipping planes map
  // to depth 0 and 1.
  float axis[2][3] = {};
  const Point nearP = toWorld(Point(0, 0, 0.1f)), farP = toWorld(Point(0, 0, 100.0f));
  for (int k = 0; k < 3; ++k) axis[0][k] = nearP[k], axis[1][k] = farP[k];
  projectPoints("world", "raster", 2, axis);
  EXPECT_NEAR(axis[0][0], 320.0f, 1e-2f);
  EXPECT_NEAR(axis[0][1], 240.0f, 1e-2f);
  EXPECT_NEAR(axis[0][2], 0.0f, 1e-5f);
  EXPECT_NEAR(axis[1][2], 1.0f, 1e-5f);
  // The top-left corner of the screen window is raster (0, 0).
  Point corner;
  transform(corner, projectss(down, "screen", "raster"), Point(-1, 0.75f, 0.5f));
  expectNear(Point(corner.x, corner.y, 0), Point(0, 0, 0), 1e-3f);
}

TEST_F(CameraChain, LevelsAndMatrices) {
  const char* names[] = {"raster", "NDC", "screen",          "eye", "current", "object",
                         "world",  "ndc", "neverMarkedSpace"};
  const long levels[] = {0, 1, 2, 3, 3, 4, 4, -1, -1};
  for (int i = 0; i < 9; ++i) EXPECT_EQ(spaceLevel(names[i]), levels[i]) << names[i];
  EXPECT_EQ(spaceLevel(promote("camera")), 3);
  EXPECT_EQ(&spaceMatrix("world"), &gWorldToCamera);
  EXPECT_EQ(&spaceMatrix("object"), &fTransform.fMatrix);
  EXPECT_EQ(&spaceMatrix("eye"), &gCameraToScreen);
  expectNear(spaceMatrix("neverMarkedSpace"), gIdentity, 0);

  Matrix m, want;
  expectNear(projectss(m, "world", "world"), gIdentity, 1e-6f);
  want = gWorldToCamera;
  ASSERT_TRUE(invert(&want));
  want = fTransform.fMatrix * want;
  expectNear(projectss(m, "object", "world"), want, 1e-5f);
  expectNear(projectmm(m, fTransform.fMatrix, gWorldToCamera), want, 1e-5f);
  expectNear(projectss(m, "world", "bogusSpace"), gIdentity, 0);
  Matrix viaNames, viaMatrix;
  projectss(viaNames, "world", "raster");
  expectNear(projectms(viaMatrix, gWorldToCamera, "raster"), viaNames, 1e-3f);
  projectss(viaNames, "raster", "object");
  expectNear(projectsm(viaMatrix, "raster", fTransform.fMatrix), viaNames, 1e-4f);
}

TEST_F(CameraChain, SingularChainFallsBackQuietlyToIdentity) {
  ErrorCapture capture;
  resetErrorRepeat();
  gWorldToCamera = Matrix(0.0f);
  Matrix m;
  expectNear(projectss(m, "raster", "world"), gIdentity, 0);
  expectNear(projectmm(m, gIdentity, gWorldToCamera), gIdentity, 0);
  const Point p(1, 2, 3);
  expectNear(projectPoint(0, gIdentity, 4, gWorldToCamera, p), p, 0);
  ASSERT_FALSE(capture.lines().empty());
  EXPECT_NE(capture.lines()[0].find("cannot invert a singular Matrix"), std::string::npos);

  float pts[1][3] = {{1, 2, 3}};
  EXPECT_EQ(projectPoints("world", "nowhere", 1, pts), nullptr);
  EXPECT_EQ(pts[0][0] + pts[0][1] + pts[0][2], 6.0f);
}

TEST_F(CameraChain, MarkedSpaces) {
  ErrorCapture capture;
  resetErrorRepeat();
  markSpace("world");
  ASSERT_EQ(capture.lines().size(), 1u);
  EXPECT_EQ(capture.lines()[0].substr(0, 2), "2|");
  const std::string text = "cannot redefine standard coordinate system world";
  EXPECT_EQ(capture.lines()[0].substr(capture.lines()[0].size() - text.size()), text);
  EXPECT_EQ(getErrorLast(), 42);

  capture.clear();
  markSpace("current");  // accepted, but the standard meaning still wins
  EXPECT_TRUE(capture.lines().empty());
  EXPECT_EQ(&spaceMatrix("current"), &gCameraToScreen);

  markSpace("shadowCam");
  const Matrix* first = &spaceMatrix("shadowCam");
  EXPECT_EQ(spaceLevel("shadowCam"), 4);
  fTransform.fMatrix = Matrix(3.0f);
  markSpace("shadowCam");
  EXPECT_EQ(&spaceMatrix("shadowCam"), first);  // one entry, overwritten
  expectNear(*first, Matrix(3.0f), 0);
  fTransform.fMatrix.scale(2.0f);  // a copy, not a view of the transformation
  expectNear(*first, Matrix(3.0f), 0);
  // A marked space projects like any level-4 space.
  Matrix m, want = gWorldToCamera;
  ASSERT_TRUE(invert(&want));
  expectNear(projectss(m, "shadowCam", "world"), Matrix(3.0f) * want, 1e-5f);
}

TEST(Space, DepthAndNormals) {
  Space::clip(2.0f, 10.0f);
  EXPECT_FLOAT_EQ(depth(Point(0, 0, 2)), 0.0f);
  EXPECT_FLOAT_EQ(depth(Point(5, 5, 10)), 1.0f);
  EXPECT_FLOAT_EQ(depth(Point(0, 0, 4)), 0.25f);
  Space::clip(1e-10f, 1e38f);

  Point n;
  ntransform(n, Matrix(1.0f).scale(2.0f), Point(0, 1, 0));
  expectNear(n, Point(0, 4, 0), 0);
  // Under a non-uniform scale with a rotation, the transformed normal stays
  // perpendicular to transformed tangents.
  const Matrix m = Matrix(1.0f).scale(1.0f, 3.0f, 0.5f).rotate(35.0f, 1, 1, 0).translate(4, 5, 6);
  const Point normal(0.3f, -0.5f, 0.8f), tangent(0.5f, 0.3f, 0.0f);
  Point tn, tt;
  ntransform(tn, m, normal);
  vtransform(tt, m, tangent);
  EXPECT_NEAR(tn.dot(tt), 0.0f, 1e-5f);

  const Matrix other = Matrix(1.0f).rotate(80.0f, 0, 0, 1).scale(5.0f);
  expectNear(projectNormal(4, other, 0, gIdentity, normal), normal, 0);
}

TEST(Space, TransformFlagsAndHandedness) {
  Transform t;
  EXPECT_FALSE(t.initialised());
  t.init();
  EXPECT_TRUE(t.initialised());
  EXPECT_EQ(t.fHandedness, promote("lh"));
  expectNear(t.fMatrix, gIdentity, 0);

  t.fMatrix.scale(1.0f, -1.0f, 1.0f);
  t.setHandedness();
  EXPECT_EQ(t.fHandedness, promote("rh"));
  t.fMatrix.scale(-1.0f, 1.0f, 1.0f);  // two mirrors make a rotation
  t.setHandedness();
  EXPECT_EQ(t.fHandedness, promote("lh"));

  t.fFlags |= 0x5u;
  Transform copy(t);
  EXPECT_EQ(copy.fFlags, Transform::kInitialised);
  Transform target;
  target.fFlags = 0x30u;
  target = t;
  EXPECT_EQ(target.fFlags, Transform::kInitialised | 0x30u);
}
