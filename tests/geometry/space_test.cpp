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
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(a[i], b[i], tol) << "component " << i;
}

// A 640 x 480 perspective camera, 45 degrees wide, clipping at 0.1 and 100,
// away from the world origin and turned about y.  The globals are restored
// afterwards.
class CameraChain : public ::testing::Test {
 protected:
  void SetUp() override {
    resetErrorRepeat();
    gWorldToCamera = Matrix(1.0f).translate(0.5f, -1.0f, 8.0f).rotate(20.0f, 0, 1, 0);
    gCameraToScreen = Matrix(1.0f).perspective(45.0f, 0.1f, 100.0f);
    gScreenToNDC = Matrix(1.0f).map(-1.0f, 1.0f, -0.75f, 0.75f, 1, 1);
    gNDCToRaster = Matrix(1.0f).scale(640.0f, 480.0f, 1.0f);
    Space::clip(0.1f, 100.0f);
    fTransform.init();
    fTransform.fMatrix = Matrix(1.0f).translate(0, 0, 5.0f).scale(2.0f);
    gTransform = &fTransform;
    cameraToWorld = gWorldToCamera;
    ASSERT_TRUE(invert(&cameraToWorld));
  }
  void TearDown() override {
    gWorldToCamera = gCameraToScreen = gScreenToNDC = gNDCToRaster = gIdentity;
    Space::clip(1e-10f, 1e38f);
    gTransform = nullptr;
  }

  Transform fTransform;
  Matrix cameraToWorld;
};

}  // namespace

// projectPoints keeps the perspective x and y but makes depth linear: the
// clipping planes go to depth 0 and 1, the camera axis to the raster's middle.
TEST_F(CameraChain, WorldToRasterAndBack) {
  Matrix down, up;
  projectss(down, "world", "raster");
  projectss(up, "raster", "world");
  for (const Point& c : {Point(0, 0, 0.1f), Point(0, 0, 5), Point(1.5f, -0.8f, 3),
                         Point(-20, 12, 60), Point(0, 0, 100)}) {
    Point w, r, back;
    transform(w, cameraToWorld, c);
    transform(back, up, transform(r, down, w));
    expectNear(back, w, 2e-4f * (1 + std::fabs(c.z)));
    float p[1][3] = {{w.x, w.y, w.z}};
    ASSERT_EQ(projectPoints("world", "raster", 1, p), p);
    expectNear(Point(p[0][0], p[0][1], 0), Point(r.x, r.y, 0), 1e-2f);
    EXPECT_NEAR(p[0][2], (c.z - 0.1f) / (100.0f - 0.1f), 1e-5f);
    EXPECT_TRUE(c.x != 0 || (std::fabs(r.x - 320) < 1e-2f && std::fabs(r.y - 240) < 1e-2f)) << r;
  }
  Point corner;  // the top-left corner of the screen window is raster (0, 0)
  transform(corner, projectss(down, "screen", "raster"), Point(-1, 0.75f, 0.5f));
  expectNear(Point(corner.x, corner.y, 0), Point(0, 0, 0), 1e-3f);
}

// Unknown names and singular chains fall back to the identity.
TEST_F(CameraChain, LevelsAndProjections) {
  const char* names[] = {"raster",  "NDC",    "screen", "eye", "camera",
                         "current", "object", "world",  "ndc", "neverMarked"};
  const long levels[] = {0, 1, 2, 3, 3, 3, 4, 4, -1, -1};
  for (int i = 0; i < 10; ++i) EXPECT_EQ(spaceLevel(names[i]), levels[i]) << names[i];
  EXPECT_EQ(&spaceMatrix("world"), &gWorldToCamera);
  EXPECT_EQ(&spaceMatrix("object"), &fTransform.fMatrix);
  expectNear(spaceMatrix("neverMarked"), gIdentity, 0);

  Matrix m, viaNames, want = fTransform.fMatrix * cameraToWorld;
  expectNear(projectss(m, "world", "world"), gIdentity, 1e-6f);
  expectNear(projectss(m, "object", "world"), want, 1e-5f);
  expectNear(projectmm(m, fTransform.fMatrix, gWorldToCamera), want, 1e-5f);
  expectNear(projectss(m, "world", "bogusSpace"), gIdentity, 0);
  expectNear(projectms(m, gWorldToCamera, "raster"), projectss(viaNames, "world", "raster"), 1e-3f);
  expectNear(projectsm(m, "raster", fTransform.fMatrix), projectss(viaNames, "raster", "object"),
             1e-4f);

  ErrorCapture capture;
  gWorldToCamera = Matrix(0.0f);
  const Point p(1, 2, 3);
  expectNear(projectss(m, "raster", "world"), gIdentity, 0);
  expectNear(projectmm(m, gIdentity, gWorldToCamera), gIdentity, 0);
  expectNear(projectPoint(0, gIdentity, 4, gWorldToCamera, p), p, 0);
  EXPECT_EQ(capture.text(),
            "2|error: Undefined mathematical operation. cannot invert a singular Matrix");
  float pts[1][3] = {{1, 2, 3}};
  EXPECT_EQ(projectPoints("world", "nowhere", 1, pts), nullptr);
  EXPECT_TRUE(pts[0][0] == 1 && pts[0][1] == 2 && pts[0][2] == 3);
}

TEST_F(CameraChain, MarkedSpaces) {
  ErrorCapture capture;
  markSpace("world");
  EXPECT_EQ(capture.text(),
            "2|error: Parameter out of range. cannot redefine standard coordinate system world");
  EXPECT_EQ(getErrorLast(), 42);
  EXPECT_EQ(&spaceMatrix("world"), &gWorldToCamera);

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
  fTransform.fMatrix.scale(2.0f);               // a copy, not a view of the transformation
  Matrix m;                                     // and it projects like any level-4 space
  expectNear(projectss(m, "shadowCam", "world"), Matrix(3.0f) * cameraToWorld, 1e-5f);
}

// Linear depth between the clipping planes; a normal under a uniform scale s
// grows by s^2; projectNormal passes its input through.
TEST(Space, DepthNormalsAndHandedness) {
  Space::clip(2.0f, 10.0f);
  EXPECT_TRUE(depth(Point(0, 0, 2)) == 0 && depth(Point(5, 5, 10)) == 1 &&
              depth(Point(0, 0, 4)) == 0.25f);
  Space::clip(1e-10f, 1e38f);
  Point n;
  expectNear(ntransform(n, Matrix(1.0f).scale(2.0f), Point(0, 1, 0)), Point(0, 4, 0), 0);
  const Point in(0.3f, -0.5f, 0.8f);
  expectNear(projectNormal(4, Matrix(1.0f).rotate(80, 0, 0, 1).scale(5), 0, gIdentity, in), in, 0);

  Transform t;
  EXPECT_FALSE(t.initialised());
  t.init();
  EXPECT_TRUE(t.initialised() && t.fHandedness == promote("lh"));
  t.fMatrix.scale(1.0f, -1.0f, 1.0f);
  t.setHandedness();
  EXPECT_EQ(t.fHandedness, promote("rh"));
  // Copies carry only the initialised bit of the flag word.
  t.fFlags |= 0x5u;
  Transform copy(t), target;
  EXPECT_EQ(copy.fFlags, Transform::kInitialised);
  target.fFlags = 0x30u;
  target = t;
  EXPECT_EQ(target.fFlags, Transform::kInitialised | 0x30u);
}
