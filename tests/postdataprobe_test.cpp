// The geometric side of PostDataObject: line probes against triangles and spheres, the plane
// cut, iso-value crossings along a line, and deformation.
#include <gtest/gtest.h>

#include <cmath>

#include "datacarrier/postdataobject.h"

using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;

namespace {

using DoubleArrays = PostDataObject::DoubleArrays;
using IntArrays = PostDataObject::IntArrays;
using nkboost::make_shared;
using Point = Array<double, 1>;

PostDataInfo infoWith(PostDataInfo::DataType t, int position) {
  PostDataInfo info;
  info.setIndex(t, position);
  return info;
}

// Adds a group of vertices, elements and data arrays.
void addGroup(PostDataObject& o, const DoubleArrays& vertices, const IntArrays& elements,
              const DoubleArrays& data) {
  o.addVertices(make_shared<DoubleArrays>(vertices));
  o.addElementIndices(make_shared<IntArrays>(elements));
  o.addData(make_shared<DoubleArrays>(data));
}

struct TriangleHits {
  std::vector<double> params, values;
  std::vector<std::vector<double>> normals;
};

TriangleHits probeTriangles(const PostDataObject& o, const Point& a, const Point& b) {
  TriangleHits h;
  h.normals.assign(5, std::vector<double>{99});  // replaced by exactly three empty arrays
  h.params.push_back(99);
  o.findLineTriangleIntersections(a, b, h.params, h.values, h.normals);
  return h;
}

// The unit right triangle (0,0,0), (1,0,0), (0,1,0) with values 1, 2, 3 of kind 0.
nkboost::shared_ptr<PostDataObject> unitTriangle(const PostDataInfo& info) {
  auto o = make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 0);
  addGroup(*o, {{0, 1, 0}, {0, 0, 1}, {0, 0, 0}}, {{0}, {1}, {2}}, {{1, 2, 3}});
  return o;
}

}  // namespace

// ---- triangles ----

TEST(PostDataTriangleProbe, HitInterpolatesTheValueAndReportsTheUnitNormal) {
  const auto plot = unitTriangle(infoWith(PostDataInfo::DT_VALUE, 0));
  const PostDataObject& o = *plot;
  const TriangleHits h = probeTriangles(o, Point{0.25, 0.25, 1}, Point{0.25, 0.25, -1});
  EXPECT_EQ(h.params, std::vector<double>{0.5});
  // (1 - 0.25 - 0.25) * 1 + 0.25 * 2 + 0.25 * 3
  EXPECT_EQ(h.values, std::vector<double>{1.75});
  EXPECT_EQ(h.normals, (std::vector<std::vector<double>>{{0}, {0}, {1}}));
}

TEST(PostDataTriangleProbe, LineIsUnboundedAndNormalsAreNormalised) {
  // The triangle (0,0,0), (2,0,0), (0,0,2) in the plane y = 0: edges cross to (0, -4, 0).
  PostDataObject o(PostDataObject::DEFAULT_TYPE, PostDataInfo(), 0);
  addGroup(o, {{0, 2, 0}, {0, 0, 0}, {0, 0, 2}}, {{0}, {1}, {2}}, {});
  const TriangleHits h = probeTriangles(o, Point{0.5, 1, 0.5}, Point{0.5, 3, 0.5});
  EXPECT_EQ(h.params, std::vector<double>{-0.5});  // behind a
  ASSERT_EQ(h.values.size(), 1u);
  EXPECT_TRUE(std::isnan(h.values[0]));  // no kind 0 nor 19
  EXPECT_EQ(h.normals, (std::vector<std::vector<double>>{{0}, {-1}, {0}}));
}

TEST(PostDataTriangleProbe, ToleranceBandAroundTheEdges) {
  const auto plot = unitTriangle(infoWith(PostDataInfo::DT_VALUE, 0));
  const PostDataObject& o = *plot;
  auto hitsAtX = [&](double x) {
    return probeTriangles(o, Point{x, 0.5, 1}, Point{x, 0.5, -1}).params.size();
  };
  EXPECT_EQ(hitsAtX(-1e-6), 1u);
  EXPECT_EQ(hitsAtX(-1e-4), 0u);
  // Beyond the hypotenuse x + y = 1.
  EXPECT_EQ(hitsAtX(0.5 + 1e-6), 1u);
  EXPECT_EQ(hitsAtX(0.5 + 1e-4), 0u);
}

TEST(PostDataTriangleProbe, ParallelOrDegenerateGivesNoHit) {
  const auto plot = unitTriangle(infoWith(PostDataInfo::DT_VALUE, 0));
  const PostDataObject& o = *plot;
  EXPECT_TRUE(probeTriangles(o, Point{0.1, 0.1, 1}, Point{0.9, 0.1, 1}).params.empty());
  EXPECT_TRUE(probeTriangles(o, Point{0.1, 0.1, 0}, Point{0.9, 0.1, 0}).params.empty());

  PostDataObject flat(PostDataObject::DEFAULT_TYPE, PostDataInfo(), 0);
  addGroup(flat, {{0, 1, 2}, {0, 0, 0}, {0, 0, 0}}, {{0}, {1}, {2}}, {});
  EXPECT_TRUE(probeTriangles(flat, Point{0.5, 0, 1}, Point{0.5, 0, -1}).params.empty());
}

TEST(PostDataTriangleProbe, SharedEdgeIsReportedOncePerTriangle) {
  // The unit square as triangles (0,1,2) and (1,3,2); the line pierces the shared diagonal.
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  addGroup(o, {{0, 1, 0, 1}, {0, 0, 1, 1}, {0, 0, 0, 0}}, {{0, 1}, {1, 3}, {2, 2}},
           {{0, 4, 8, 12}});
  const TriangleHits h = probeTriangles(o, Point{0.5, 0.5, 2}, Point{0.5, 0.5, 0});
  EXPECT_EQ(h.params, (std::vector<double>{1, 1}));
  EXPECT_EQ(h.values, (std::vector<double>{6, 6}));
  EXPECT_EQ(h.normals[2], (std::vector<double>{1, 1}));
}

TEST(PostDataTriangleProbe, ValueFallsBackToKind19ThenNaN) {
  PostDataInfo info = infoWith(PostDataInfo::DT_FALLBACK_VALUE, 1);
  PostDataObject o(PostDataObject::DEFAULT_TYPE, info, 0);
  addGroup(o, {{0, 1, 0}, {0, 0, 1}, {0, 0, 0}}, {{0}, {1}, {2}}, {{5, 5, 5}, {10, 20, 30}});
  const Point a{0.5, 0.25, 1}, b{0.5, 0.25, -1};
  // 0.25 * 10 + 0.5 * 20 + 0.25 * 30
  EXPECT_EQ(probeTriangles(o, a, b).values, std::vector<double>{20});

  info.setIndex(PostDataInfo::DT_VALUE, 0);  // kind 0 wins when present
  PostDataObject both(PostDataObject::DEFAULT_TYPE, info, 0);
  addGroup(both, {{0, 1, 0}, {0, 0, 1}, {0, 0, 0}}, {{0}, {1}, {2}}, {{5, 5, 5}, {10, 20, 30}});
  EXPECT_EQ(probeTriangles(both, a, b).values, std::vector<double>{5});

  const auto none = unitTriangle(PostDataInfo());
  ASSERT_EQ(probeTriangles(*none, a, b).values.size(), 1u);
  EXPECT_TRUE(std::isnan(probeTriangles(*none, a, b).values[0]));
}

TEST(PostDataTriangleProbe, PlanarGroupsUseZeroAndTheUpNormal) {
  // Clockwise seen from +z: a 3D group would report the normal (0, 0, -1).
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  addGroup(o, {{0, 0, 1}, {0, 1, 0}}, {{0}, {1}, {2}}, {{1, 2, 3}});
  addGroup(o, {{0, 0, 1}, {0, 1, 0}, {0, 0, 0}}, {{0}, {1}, {2}}, {{1, 2, 3}});
  const TriangleHits h = probeTriangles(o, Point{0.25, 0.25, 3}, Point{0.25, 0.25, 1});
  EXPECT_EQ(h.params, (std::vector<double>{1.5, 1.5}));
  EXPECT_EQ(h.values, (std::vector<double>{1.75, 1.75}));
  EXPECT_EQ(h.normals, (std::vector<std::vector<double>>{{0, 0}, {0, 0}, {1, -1}}));
}

TEST(PostDataTriangleProbe, OnlyNonEmptyTriangleGroupsAreProbed) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  const DoubleArrays square{{0, 1, 0, 1}, {0, 0, 1, 1}, {0, 0, 0, 0}};
  addGroup(o, square, {{0, 1}, {1, 3}}, {{0, 0, 0, 0}});                  // line segments
  addGroup(o, square, {{}, {}, {}}, {{0, 0, 0, 0}});                      // no triangle
  addGroup(o, square, {{0, 1}, {1, 3}, {2, 2}, {3, 0}}, {{0, 0, 0, 0}});  // four corners
  addGroup(o, square, {{0, 7}, {1, 3}, {2, 2}}, {{0, 0, 0, 0}});          // corner 7 is no vertex
  const TriangleHits h = probeTriangles(o, Point{0.2, 0.2, 1}, Point{0.2, 0.2, 0});
  EXPECT_EQ(h.params, std::vector<double>{1});  // only the valid triangle of the last group
}

// ---- spheres ----

namespace {

struct SphereHits {
  std::vector<double> params, values, xs, ys, zs;
};

SphereHits probeSpheres(const PostDataObject& o, const Point& a, const Point& b, double scale) {
  SphereHits h;
  h.params = h.values = h.xs = h.ys = h.zs = {99};
  o.findLineSphereIntersections(a, b, scale, h.params, h.values, h.xs, h.ys, h.zs);
  return h;
}

// One sphere at the origin, size 1 (kind 5 at position 1), value 7 (kind 0 at position 0).
nkboost::shared_ptr<PostDataObject> sphereAtOrigin(double size) {
  PostDataInfo info = infoWith(PostDataInfo::DT_VALUE, 0);
  info.setIndex(PostDataInfo::DT_SPHERE_SIZE, 1);
  auto o = make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 0);
  addGroup(*o, {{0}, {0}, {0}}, {}, {{7}, {size}});
  return o;
}

}  // namespace

TEST(PostDataSphereProbe, EntryParameterValueAndCentre) {
  // Radius 2 along the x axis from x = -5, one unit per step: enters at x = -2.
  const SphereHits h = probeSpheres(*sphereAtOrigin(1), Point{-5, 0, 0}, Point{-4, 0, 0}, 2);
  EXPECT_EQ(h.params, std::vector<double>{3});
  EXPECT_EQ(h.values, std::vector<double>{7});
  EXPECT_EQ(h.xs, std::vector<double>{0});
  EXPECT_EQ(h.ys, std::vector<double>{0});
  EXPECT_EQ(h.zs, std::vector<double>{0});
}

TEST(PostDataSphereProbe, InsideTouchingAndMissing) {
  // From inside, the entry lies behind a: x = -2 from x = 0.5.
  EXPECT_EQ(probeSpheres(*sphereAtOrigin(1), Point{0.5, 0, 0}, Point{1.5, 0, 0}, 2).params,
            std::vector<double>{-2.5});
  // Touching at (0, 2, 0): the discriminant is exactly 0. A negative size is squared away.
  EXPECT_EQ(probeSpheres(*sphereAtOrigin(-1), Point{-5, 2, 0}, Point{-4, 2, 0}, 2).params,
            std::vector<double>{5});
  EXPECT_TRUE(
      probeSpheres(*sphereAtOrigin(1), Point{-5, 2.5, 0}, Point{-4, 2.5, 0}, 2).params.empty());
}

TEST(PostDataSphereProbe, NothingWithoutBothKindsOrWithoutDirection) {
  EXPECT_TRUE(probeSpheres(*sphereAtOrigin(1), Point{1, 1, 1}, Point{1, 1, 1}, 2).params.empty());
  PostDataObject noSize(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  addGroup(noSize, {{0}, {0}, {0}}, {}, {{7}, {1}});
  const SphereHits h = probeSpheres(noSize, Point{-5, 0, 0}, Point{-4, 0, 0}, 2);
  EXPECT_TRUE(h.params.empty() && h.values.empty() && h.xs.empty() && h.zs.empty());
}

TEST(PostDataSphereProbe, GroupsInOrderAndPlanarCentresAtZeroHeight) {
  PostDataInfo info = infoWith(PostDataInfo::DT_VALUE, 0);
  info.setIndex(PostDataInfo::DT_SPHERE_SIZE, 1);
  PostDataObject o(PostDataObject::DEFAULT_TYPE, info, 0);
  addGroup(o, {{3, 6}, {0, 0}}, {}, {{1, 2}, {1, 1}});  // planar: z = 0
  addGroup(o, {{0}, {0}, {5}}, {}, {{3}, {1}});         // at height 5: missed
  addGroup(o, {{1}}, {}, {{4}, {1}});                   // one coordinate array: no vertices
  const SphereHits h = probeSpheres(o, Point{0, 0, 0}, Point{1, 0, 0}, 1);
  EXPECT_EQ(h.params, (std::vector<double>{2, 5}));
  EXPECT_EQ(h.values, (std::vector<double>{1, 2}));
  EXPECT_EQ(h.xs, (std::vector<double>{3, 6}));
  EXPECT_EQ(h.zs, (std::vector<double>{0, 0}));
}

// ---- plane cut ----

TEST(PostDataPlaneCut, OneCornerAloneGivesTheSegmentBetweenTheEdgeCrossings) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  addGroup(o, {{0, 2, 0}, {0, 0, 2}, {0, 0, 0}}, {{0}, {1}, {2}}, {{0, 4, 8}, {1}});
  PostDataObject cut;
  o.findPlaneIntersections(Point{1, 0, 0}, Point{1, 0, 0}, cut);
  ASSERT_EQ(cut.getGroups(), 1);
  // Edge (0,1) crosses at (1, 0, 0), edge (1,2) at (1, 1, 0).
  EXPECT_EQ(cut.getVertices(0), (DoubleArrays{{1, 1}, {0, 1}, {0, 0}}));
  EXPECT_EQ(cut.getElementIndices(0), (IntArrays{{0}, {1}}));
  ASSERT_EQ(cut.getData(0).size(), 2u);
  EXPECT_EQ(cut.getData(0)[0], (std::vector<double>{2, 6}));
  // An array without a value per vertex has none to interpolate.
  EXPECT_TRUE(std::isnan(cut.getData(0)[1][0]) && std::isnan(cut.getData(0)[1][1]));
}

TEST(PostDataPlaneCut, CornerOnThePlaneStartsTheSegment) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, PostDataInfo(), 0);
  addGroup(o, {{0, 1, -1}, {0, 1, 1}, {0, 0, 0}}, {{0}, {1}, {2}}, {{10, 20, 40}});
  PostDataObject cut;
  o.findPlaneIntersections(Point{0, 5, 5}, Point{2, 0, 0}, cut);
  EXPECT_EQ(cut.getVertices(0), (DoubleArrays{{0, 0}, {0, 1}, {0, 0}}));
  EXPECT_EQ(cut.getData(0)[0], (std::vector<double>{10, 30}));
}

TEST(PostDataPlaneCut, TouchingOrContainedTrianglesGiveNoSegmentButAGroup) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, PostDataInfo(), 0);
  // Two triangles in z = 0, one touching z = 0 in a single corner; then line elements.
  addGroup(o, {{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}, {{0, 0}, {1, 1}, {2, 3}}, {});
  addGroup(o, {{0, 1}, {0, 0}, {0, 0}}, {{0}, {1}}, {});
  PostDataObject cut;
  o.findPlaneIntersections(Point{0, 0, 0}, Point{0, 0, 1}, cut);
  ASSERT_EQ(cut.getGroups(), 1);
  EXPECT_EQ(cut.getVertices(0), (DoubleArrays{{}, {}, {}}));
  EXPECT_EQ(cut.getElementIndices(0), (IntArrays{{}, {}}));
}

TEST(PostDataPlaneCut, SegmentsKeepTheirOwnPointsAndAppendToTheResult) {
  // The unit square, cut by x = 0.5: each triangle gives its own segment.
  PostDataObject o(PostDataObject::DEFAULT_TYPE, PostDataInfo(), 0);
  addGroup(o, {{0, 1, 0, 1}, {0, 0, 1, 1}}, {{0, 1}, {1, 3}, {2, 2}}, {{0, 1, 0, 1}});
  PostDataObject cut;
  addGroup(cut, {}, {}, {});
  o.findPlaneIntersections(Point{0.5, 0, 0}, Point{1, 0, 0}, cut);
  ASSERT_EQ(cut.getGroups(), 2);
  EXPECT_EQ(cut.getVertices(1),
            (DoubleArrays{{0.5, 0.5, 0.5, 0.5}, {0, 0.5, 0.5, 1}, {0, 0, 0, 0}}));
  EXPECT_EQ(cut.getElementIndices(1), (IntArrays{{0, 2}, {1, 3}}));
  EXPECT_EQ(cut.getData(1)[0], (std::vector<double>{0.5, 0.5, 0.5, 0.5}));
}

// ---- iso-value crossings ----

namespace {

struct Crossings {
  std::vector<double> params, values;
};

Crossings crossings(const PostDataObject& o, const Point& a, const Point& b, const Point& iso) {
  Crossings c;
  c.params = c.values = {99};
  o.findLineIsosurfaceIntersections(a, b, iso, c.params, c.values);
  return c;
}

// The unit square in the plane as triangles (0,1,2) and (0,2,3), data = x.
nkboost::shared_ptr<PostDataObject> planarSquare(const PostDataInfo& info) {
  auto o = make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 0);
  addGroup(*o, {{0, 1, 1, 0}, {0, 0, 1, 1}}, {{0, 0}, {1, 2}, {2, 3}}, {{0, 1, 1, 0}});
  return o;
}

}  // namespace

TEST(PostDataIsoCrossings, PlanarTrianglesAreSortedAlongTheLine) {
  const auto plot = planarSquare(infoWith(PostDataInfo::DT_VALUE, 0));
  const PostDataObject& o = *plot;
  // Along y = 0.25 the data equal t; z of the line does not matter in the plane.
  const Crossings c = crossings(o, Point{0, 0.25, 3}, Point{1, 0.25, -3}, Point{0.75, 0.5, 2});
  EXPECT_EQ(c.params, (std::vector<double>{0.5, 0.75}));
  EXPECT_EQ(c.values, (std::vector<double>{0.5, 0.75}));
}

TEST(PostDataIsoCrossings, CrossingOnASharedEdgeIsReportedTwice) {
  const auto plot = planarSquare(infoWith(PostDataInfo::DT_FALLBACK_VALUE, 0));
  const PostDataObject& o = *plot;
  // x = 0.25 is reached on the diagonal y = x shared by both triangles.
  const Crossings c = crossings(o, Point{0, 0.25, 0}, Point{1, 0.25, 0}, Point{0.25});
  EXPECT_EQ(c.params, (std::vector<double>{0.25, 0.25}));
}

TEST(PostDataIsoCrossings, NoCrossingWithoutDataAlongTheLineOrOutsideTheRange) {
  const auto plot = planarSquare(infoWith(PostDataInfo::DT_VALUE, 0));
  const PostDataObject& o = *plot;
  EXPECT_TRUE(crossings(o, Point{0, 0.25, 0}, Point{1, 0.25, 0}, Point{1.5}).params.empty());
  // Along x = 0.5 the data are constant.
  EXPECT_TRUE(crossings(o, Point{0.5, 0, 0}, Point{0.5, 1, 0}, Point{0.5}).params.empty());
  EXPECT_TRUE(
      crossings(*planarSquare(PostDataInfo()), Point{0, 0.25, 0}, Point{1, 0.25, 0}, Point{0.5})
          .params.empty());
}

TEST(PostDataIsoCrossings, TetrahedraIn3DAndSurfacesSkipped) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  // The corner tetrahedron with data = z, and a 3D triangle it is not met through.
  addGroup(o, {{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}, {{0}, {1}, {2}, {3}}, {{0, 0, 0, 1}});
  addGroup(o, {{0, 1, 0}, {0, 0, 1}, {0.5, 0.5, 0.5}}, {{0}, {1}, {2}}, {{0, 1, 2}});
  const Crossings c = crossings(o, Point{0.1, 0.1, 0}, Point{0.1, 0.1, 1}, Point{0.5, 0.9});
  ASSERT_EQ(c.params.size(), 1u);  // z = 0.9 lies outside (x + y + z > 1)
  EXPECT_NEAR(c.params[0], 0.5, 1e-15);
  EXPECT_EQ(c.values, std::vector<double>{0.5});
}

// ---- deformation ----

TEST(PostDataDeform, AddsDisplacementsInPlaceSkippingNaNAndSetsBounds) {
  PostDataInfo info = infoWith(PostDataInfo::DT_DEFORM_X, 0);
  info.setIndex(PostDataInfo::DT_DEFORM_Z, 1);
  PostDataObject o(PostDataObject::DEFAULT_TYPE, info, 0);
  auto vertices = make_shared<DoubleArrays>(DoubleArrays{{0, 2, 0}, {0, 0, 1}, {0, 0, 0}});
  o.addVertices(vertices);
  o.addElementIndices(make_shared<IntArrays>(IntArrays{{0}, {1}, {2}}));
  o.addData(make_shared<DoubleArrays>(DoubleArrays{{1, std::nan(""), 0}, {0, 0, 2}}));
  o.addNormals(
      make_shared<PostDataObject::FloatArrays>(PostDataObject::FloatArrays{{0}, {0}, {1}}));
  auto bounds = make_shared<DoubleArrays>(DoubleArrays{{9, 9, 9}});
  o.setBounds(bounds);
  o.deform();

  EXPECT_EQ(*vertices, (DoubleArrays{{1, 2, 0}, {0, 0, 1}, {0, 0, 2}}));  // the shared array
  // Entry 2 of x's bounds stays; y and z are grown to hold min and max.
  EXPECT_EQ(*bounds, (DoubleArrays{{0, 2, 9}, {0, 1}, {0, 2}}));
  // Corners (1,0,0), (2,0,0), (0,1,2): edges (1,0,0) and (-1,1,2) cross to (0,-2,1).
  const auto& n = o.getNormals(0);
  EXPECT_EQ(n[0], std::vector<float>{0});
  EXPECT_FLOAT_EQ(n[1][0], -0.894427191f);
  EXPECT_FLOAT_EQ(n[2][0], 0.447213595f);
}

TEST(PostDataDeform, NothingWithoutDisplacementKinds) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_VALUE, 0), 0);
  addGroup(o, {{0, 1}, {0, 1}}, {}, {{5, 5}});
  o.deform();
  EXPECT_EQ(o.getVertices(0), (DoubleArrays{{0, 1}, {0, 1}}));
  EXPECT_TRUE(o.getBounds().empty());
}

TEST(PostDataDeform, BoundsSpanAllGroups) {
  PostDataObject o(PostDataObject::DEFAULT_TYPE, infoWith(PostDataInfo::DT_DEFORM_Y, 0), 0);
  addGroup(o, {{5, 6}, {0, 1}}, {}, {{10, 10}});
  addGroup(o, {{-3}, {2}}, {}, {{-20}});
  o.deform();
  EXPECT_EQ(o.getBounds(), (DoubleArrays{{-3, 6}, {-18, 11}}));
}

TEST(PostDataFill, IsNotAvailableYet) {
  PostDataObject o;
  alignas(16) char storage[64] = {};  // never touched: fill raises before using its argument
  auto& geometry = reinterpret_cast<nkdatacarrier::RenderDrawGeom&>(storage);
  try {
    o.fill(geometry);
    FAIL() << "fill returned";
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getCode(), "Unsupported_operation_on_this_type_of_object");
    EXPECT_EQ(e.getModule(), "datacarrier/postdataobject");
  }
}
