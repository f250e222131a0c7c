// The geometric side of PostDataObject: line probes against triangles and spheres, the plane
// cut, iso-value crossings along a line, and deformation.
#include <gtest/gtest.h>

#include <cmath>

#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw2d.h"

using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;

namespace {

using DoubleArrays = PostDataObject::DoubleArrays;
using IntArrays = PostDataObject::IntArrays;
using Doubles = std::vector<double>;
using nkboost::make_shared;
using Point = Array<double, 1>;

nkboost::shared_ptr<PostDataObject> plotWith(std::initializer_list<std::pair<int, int>> kinds) {
  PostDataInfo info;
  for (const auto& [kind, position] : kinds)
    info.setIndex(kind, position);
  return make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 0);
}

void addGroup(PostDataObject& o, const DoubleArrays& vertices, const IntArrays& elements,
              const DoubleArrays& data) {
  o.addVertices(make_shared<DoubleArrays>(vertices));
  o.addElementIndices(make_shared<IntArrays>(elements));
  o.addData(make_shared<DoubleArrays>(data));
}

struct Hits {
  Doubles params, values, xs, ys, zs;
  std::vector<Doubles> normals;
};

Hits triangles(const PostDataObject& o, const Point& a, const Point& b) {
  Hits h;
  h.params = {99};
  h.normals.assign(5, Doubles{99});  // replaced by exactly three empty arrays
  o.findLineTriangleIntersections(a, b, h.params, h.values, h.normals);
  return h;
}

Hits spheres(const PostDataObject& o, const Point& a, const Point& b, double scale) {
  Hits h;
  h.params = h.values = h.xs = h.ys = h.zs = {99};
  o.findLineSphereIntersections(a, b, scale, h.params, h.values, h.xs, h.ys, h.zs);
  return h;
}

Hits isoCrossings(const PostDataObject& o, const Point& a, const Point& b, const Point& iso) {
  Hits h;
  h.params = h.values = {99};
  o.findLineIsosurfaceIntersections(a, b, iso, h.params, h.values);
  return h;
}

const DoubleArrays kUnitTriangle{{0, 1, 0}, {0, 0, 1}, {0, 0, 0}};
const IntArrays kOneTriangle{{0}, {1}, {2}};

}  // namespace

// ---- triangles ----

TEST(PostDataTriangleProbe, HitsInterpolateAndReportUnitNormalsOnAnUnboundedLine) {
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*o, kUnitTriangle, kOneTriangle, {{1, 2, 3}});
  // The triangle (0,0,0), (2,0,0), (0,0,2): its edges cross to (0, -4, 0). No data here.
  addGroup(*o, {{0, 2, 0}, {0, 0, 0}, {0, 0, 2}}, kOneTriangle, {});
  Hits h = triangles(*o, Point{0.25, 0.25, 1}, Point{0.25, 0.25, -1});
  EXPECT_EQ(h.params, Doubles{0.5});
  EXPECT_EQ(h.values, Doubles{1.75});  // 0.5 * 1 + 0.25 * 2 + 0.25 * 3
  EXPECT_EQ(h.normals, (std::vector<Doubles>{{0}, {0}, {1}}));

  h = triangles(*o, Point{0.5, 1, 0.5}, Point{0.5, 3, 0.5});
  EXPECT_EQ(h.params, Doubles{-0.5});  // behind a
  ASSERT_EQ(h.values.size(), 1u);
  EXPECT_TRUE(std::isnan(h.values[0]));
  EXPECT_EQ(h.normals, (std::vector<Doubles>{{0}, {-1}, {0}}));
}

TEST(PostDataTriangleProbe, ToleranceBandParallelLinesAndDegenerateTriangles) {
  auto o = plotWith({});
  addGroup(*o, kUnitTriangle, kOneTriangle, {});
  auto hitsAtX = [&](double x) {
    return triangles(*o, Point{x, 0.5, 1}, Point{x, 0.5, -1}).params.size();
  };
  EXPECT_EQ(hitsAtX(-1e-6), 1u);
  EXPECT_EQ(hitsAtX(-1e-4), 0u);
  EXPECT_EQ(hitsAtX(0.5 + 1e-6), 1u);  // beyond the hypotenuse x + y = 1
  EXPECT_EQ(hitsAtX(0.5 + 1e-4), 0u);
  EXPECT_TRUE(triangles(*o, Point{0.1, 0.1, 1}, Point{0.9, 0.1, 1}).params.empty());
  EXPECT_TRUE(triangles(*o, Point{0.1, 0.1, 0}, Point{0.9, 0.1, 0}).params.empty());

  auto flat = plotWith({});
  addGroup(*flat, {{0, 1, 2}, {0, 0, 0}, {0, 0, 0}}, kOneTriangle, {});
  EXPECT_TRUE(triangles(*flat, Point{0.5, 0, 1}, Point{0.5, 0, -1}).params.empty());
}

TEST(PostDataTriangleProbe, SharedEdgeIsReportedOncePerTriangle) {
  // The unit square as triangles (0,1,2) and (1,3,2); the line pierces the shared diagonal.
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*o, {{0, 1, 0, 1}, {0, 0, 1, 1}, {0, 0, 0, 0}}, {{0, 1}, {1, 3}, {2, 2}},
           {{0, 4, 8, 12}});
  const Hits h = triangles(*o, Point{0.5, 0.5, 2}, Point{0.5, 0.5, 0});
  EXPECT_EQ(h.params, (Doubles{1, 1}));
  EXPECT_EQ(h.values, (Doubles{6, 6}));
}

TEST(PostDataTriangleProbe, ValueFallsBackToKind19) {
  const DoubleArrays data{{5, 5, 5}, {10, 20, 30}};
  const Point a{0.5, 0.25, 1}, b{0.5, 0.25, -1};
  auto fallback = plotWith({{PostDataInfo::DT_FALLBACK_VALUE, 1}});
  addGroup(*fallback, kUnitTriangle, kOneTriangle, data);
  EXPECT_EQ(triangles(*fallback, a, b).values, Doubles{20});  // 0.25*10 + 0.5*20 + 0.25*30
  auto both = plotWith({{PostDataInfo::DT_FALLBACK_VALUE, 1}, {PostDataInfo::DT_VALUE, 0}});
  addGroup(*both, kUnitTriangle, kOneTriangle, data);
  EXPECT_EQ(triangles(*both, a, b).values, Doubles{5});
  auto neither = plotWith({{PostDataInfo::DT_KIND_4, 1}});
  addGroup(*neither, kUnitTriangle, kOneTriangle, data);
  const Doubles values = triangles(*neither, a, b).values;
  ASSERT_EQ(values.size(), 1u);
  EXPECT_TRUE(std::isnan(values[0]));
}

TEST(PostDataTriangleProbe, PlanarGroupsPointUpAndOnlyValidTrianglesAreProbed) {
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}});
  // Clockwise seen from +z: planar it reports (0, 0, 1), in 3D (0, 0, -1).
  addGroup(*o, {{0, 0, 1}, {0, 1, 0}}, kOneTriangle, {{1, 2, 3}});
  addGroup(*o, {{0, 0, 1}, {0, 1, 0}, {0, 0, 0}}, kOneTriangle, {{1, 2, 3}});
  addGroup(*o, kUnitTriangle, {{0}, {1}}, {});                         // line segments
  addGroup(*o, kUnitTriangle, {{}, {}, {}}, {});                       // no triangle
  addGroup(*o, kUnitTriangle, {{0}, {1}, {2}, {0}}, {});               // four corners
  addGroup(*o, kUnitTriangle, {{0, 0}, {1, 7}, {2, 2}}, {{1, 2, 3}});  // 7 is no vertex
  const Hits h = triangles(*o, Point{0.25, 0.25, 3}, Point{0.25, 0.25, 1});
  EXPECT_EQ(h.params, (Doubles{1.5, 1.5, 1.5}));
  EXPECT_EQ(h.values, (Doubles{1.75, 1.75, 1.75}));
  EXPECT_EQ(h.normals[2], (Doubles{1, -1, 1}));
}

// ---- spheres ----

TEST(PostDataSphereProbe, EntryPointsFromOutsideInsideAndTouching) {
  // Value 7 at position 0, size at position 1; radius = 2 * size.
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}, {PostDataInfo::DT_SPHERE_SIZE, 1}});
  addGroup(*o, {{0}, {0}, {0}}, {}, {{7}, {-1}});  // the sign of the size is squared away
  Hits h = spheres(*o, Point{-5, 0, 0}, Point{-4, 0, 0}, 2);
  EXPECT_EQ(h.params, Doubles{3});  // enters at x = -2
  EXPECT_EQ(h.values, Doubles{7});
  EXPECT_EQ(h.xs, Doubles{0});
  EXPECT_EQ(h.zs, Doubles{0});
  EXPECT_EQ(spheres(*o, Point{0.5, 0, 0}, Point{1.5, 0, 0}, 2).params, Doubles{-2.5});
  EXPECT_EQ(spheres(*o, Point{-5, 2, 0}, Point{-4, 2, 0}, 2).params, Doubles{5});  // touching
  EXPECT_TRUE(spheres(*o, Point{-5, 2.5, 0}, Point{-4, 2.5, 0}, 2).params.empty());
  EXPECT_TRUE(spheres(*o, Point{1, 1, 1}, Point{1, 1, 1}, 2).params.empty());

  auto noSize = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*noSize, {{0}, {0}, {0}}, {}, {{7}, {1}});
  h = spheres(*noSize, Point{-5, 0, 0}, Point{-4, 0, 0}, 2);
  EXPECT_TRUE(h.params.empty() && h.values.empty() && h.xs.empty() && h.zs.empty());
}

TEST(PostDataSphereProbe, GroupsInOrderAndPlanarCentresAtZeroHeight) {
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}, {PostDataInfo::DT_SPHERE_SIZE, 1}});
  addGroup(*o, {{3, 6}, {0, 0}}, {}, {{1, 2}, {1, 1}});  // planar: z = 0
  addGroup(*o, {{0}, {0}, {5}}, {}, {{3}, {1}});         // at height 5: missed
  addGroup(*o, {{1}}, {}, {{4}, {1}});                   // one coordinate array: no vertices
  const Hits h = spheres(*o, Point{0, 0, 0}, Point{1, 0, 0}, 1);
  EXPECT_EQ(h.params, (Doubles{2, 5}));
  EXPECT_EQ(h.values, (Doubles{1, 2}));
  EXPECT_EQ(h.xs, (Doubles{3, 6}));
  EXPECT_EQ(h.zs, (Doubles{0, 0}));
}

// ---- plane cut ----

TEST(PostDataPlaneCut, CornerAloneOrOnThePlaneGivesOneSegmentWithInterpolatedData) {
  auto o = plotWith({});
  addGroup(*o, {{0, 2, 0}, {0, 0, 2}, {0, 0, 0}}, kOneTriangle, {{0, 4, 8}, {1}});
  addGroup(*o, {{0, 1, -1}, {0, 1, 1}}, kOneTriangle, {{10, 20, 40}});  // planar
  PostDataObject cut;
  addGroup(cut, {}, {}, {});  // the cut appends
  o->findPlaneIntersections(Point{1, 0, 0}, Point{1, 0, 0}, cut);
  o->findPlaneIntersections(Point{0, 5, 5}, Point{2, 0, 0}, cut);
  ASSERT_EQ(cut.getGroups(), 5);
  // x = 1: edge (0,1) crosses at (1, 0, 0), edge (1,2) at (1, 1, 0).
  EXPECT_EQ(cut.getVertices(1), (DoubleArrays{{1, 1}, {0, 1}, {0, 0}}));
  EXPECT_EQ(cut.getElementIndices(1), (IntArrays{{0}, {1}}));
  EXPECT_EQ(cut.getData(1)[0], (Doubles{2, 6}));
  EXPECT_TRUE(std::isnan(cut.getData(1)[1][0]));  // not one value per vertex
  // x = 0 through corner 0 of the planar triangle: from it to (0, 1, 0).
  EXPECT_EQ(cut.getVertices(4), (DoubleArrays{{0, 0}, {0, 1}, {0, 0}}));
  EXPECT_EQ(cut.getData(4)[0], (Doubles{10, 30}));
}

TEST(PostDataPlaneCut, TouchingOrContainedTrianglesGiveNoSegment) {
  auto o = plotWith({});
  // In z = 0, and touching z = 0 in one corner; then line elements, which are not cut.
  addGroup(*o, {{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}, {{0, 0}, {1, 1}, {2, 3}}, {});
  addGroup(*o, {{0, 1}, {0, 0}, {0, 0}}, {{0}, {1}}, {});
  PostDataObject cut;
  o->findPlaneIntersections(Point{0, 0, 0}, Point{0, 0, 1}, cut);
  ASSERT_EQ(cut.getGroups(), 1);
  EXPECT_EQ(cut.getVertices(0), (DoubleArrays{{}, {}, {}}));
  EXPECT_EQ(cut.getElementIndices(0), (IntArrays{{}, {}}));

  // The unit square cut by x = 0.5: each triangle brings its own two points.
  auto square = plotWith({});
  addGroup(*square, {{0, 1, 0, 1}, {0, 0, 1, 1}}, {{0, 1}, {1, 3}, {2, 2}}, {});
  square->findPlaneIntersections(Point{0.5, 0, 0}, Point{1, 0, 0}, cut);
  EXPECT_EQ(cut.getVertices(1)[1], (Doubles{0, 0.5, 0.5, 1}));
  EXPECT_EQ(cut.getElementIndices(1), (IntArrays{{0, 2}, {1, 3}}));
}

// ---- iso-value crossings ----

TEST(PostDataIsoCrossings, PlanarTrianglesSortedAlongTheLineSharedEdgeTwice) {
  // The unit square as triangles (0,1,2) and (0,2,3) with data = x.
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*o, {{0, 1, 1, 0}, {0, 0, 1, 1}}, {{0, 0}, {1, 2}, {2, 3}}, {{0, 1, 1, 0}});
  // Along y = 0.25 the data equal t; the line's z does not matter in the plane. 0.25 is reached
  // on the diagonal that both triangles share, 2 nowhere.
  const Hits h = isoCrossings(*o, Point{0, 0.25, 3}, Point{1, 0.25, -3}, Point{0.75, 0.25, 2});
  EXPECT_EQ(h.params, (Doubles{0.25, 0.25, 0.75}));
  EXPECT_EQ(h.values, (Doubles{0.25, 0.25, 0.75}));
  // Along x = 0.5 the data are constant.
  EXPECT_TRUE(isoCrossings(*o, Point{0.5, 0, 0}, Point{0.5, 1, 0}, Point{0.5}).params.empty());
}

TEST(PostDataIsoCrossings, TetrahedraIn3DSurfacesAndDatalessPlotsGiveNone) {
  auto o = plotWith({{PostDataInfo::DT_FALLBACK_VALUE, 0}});
  // The corner tetrahedron with data = z, and a 3D triangle across the line.
  addGroup(*o, {{0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}, {{0}, {1}, {2}, {3}}, {{0, 0, 0, 1}});
  addGroup(*o, {{0, 1, 0}, {0, 0, 1}, {0.5, 0.5, 0.5}}, kOneTriangle, {{0, 1, 2}});
  const Hits h = isoCrossings(*o, Point{0.1, 0.1, 0}, Point{0.1, 0.1, 1}, Point{0.5, 0.9});
  ASSERT_EQ(h.params.size(), 1u);  // z = 0.9 lies outside (x + y + z > 1)
  EXPECT_NEAR(h.params[0], 0.5, 1e-15);
  EXPECT_EQ(h.values, Doubles{0.5});

  auto noData = plotWith({});
  addGroup(*noData, {{0, 1, 0}, {0, 0, 1}}, kOneTriangle, {{0, 1, 0}});
  EXPECT_TRUE(isoCrossings(*noData, Point{0, 0.2, 0}, Point{1, 0.2, 0}, Point{0.5}).params.empty());
}

// ---- deformation ----

TEST(PostDataDeform, AddsDisplacementsInPlaceSkippingNaNAndSetsBoundsAndNormals) {
  auto o = plotWith({{PostDataInfo::DT_DEFORM_X, 0}, {PostDataInfo::DT_DEFORM_Z, 1}});
  auto vertices = make_shared<DoubleArrays>(DoubleArrays{{0, 2, 0}, {0, 0, 1}, {0, 0, 0}});
  o->addVertices(vertices);
  o->addElementIndices(make_shared<IntArrays>(kOneTriangle));
  o->addData(make_shared<DoubleArrays>(DoubleArrays{{1, std::nan(""), 0}, {0, 0, 2}}));
  o->addNormals(
      make_shared<PostDataObject::FloatArrays>(PostDataObject::FloatArrays{{0}, {0}, {1}}));
  addGroup(*o, {{-3}, {5}}, {}, {{-1}, {}});  // planar, x moves to -4
  auto bounds = make_shared<DoubleArrays>(DoubleArrays{{9, 9, 9}});
  o->setBounds(bounds);
  o->deform();

  EXPECT_EQ(*vertices, (DoubleArrays{{1, 2, 0}, {0, 0, 1}, {0, 0, 2}}));  // the shared array
  // Over both groups; entry 2 of x's bounds stays, y's and z's are grown to hold min and max.
  EXPECT_EQ(*bounds, (DoubleArrays{{-4, 2, 9}, {0, 5}, {0, 2}}));
  // Corners (1,0,0), (2,0,0), (0,1,2): edges (1,0,0) and (-1,1,2) cross to (0,-2,1).
  const auto& n = o->getNormals(0);
  EXPECT_EQ(n[0], std::vector<float>{0});
  EXPECT_FLOAT_EQ(n[1][0], -0.894427191f);
  EXPECT_FLOAT_EQ(n[2][0], 0.447213595f);

  auto still = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*still, {{0, 1}, {0, 1}}, {}, {{5, 5}});
  still->deform();
  EXPECT_EQ(still->getVertices(0), (DoubleArrays{{0, 1}, {0, 1}}));
  EXPECT_TRUE(still->getBounds().empty());
}

// A square face of two triangles with one edge curve along its bottom and one isolated point
// on its corner: render positions merge to the four corners.
TEST(PostDataFill, TakesTheGeometryAsDrawn) {
  nkdatacarrier::RenderDraw2D g(static_cast<nkdatacarrier::RenderDrawGeom2D::Type2D>(7), 17);
  g.setLabel("square");
  g.allocate(1, 1, 1);
  nkdatacarrier::Face2D& f = g.face(0);
  f.allocate(4, 2);
  f.setVertex(0, 0, 0);
  f.setVertex(1, 2, 0);
  f.setVertex(2, 2, 1);
  f.setVertex(3, 0, 1);
  f.setTriangle(0, 0, 1, 2);
  f.setTriangle(1, 0, 2, 3);
  f.setValid(true);
  g.curve(0).appendVertex(0, 0);
  g.curve(0).appendVertex(2, 0);
  g.curve(0).setValid(true);
  g.point(0).setVertex(2, 1);

  auto plot = plotWith({{PostDataInfo::DT_VALUE, 0}});
  plot->fill(g);
  EXPECT_EQ(plot->getObjectID(), 17);
  EXPECT_EQ(plot->getProperty("label"), "square");
  ASSERT_EQ(plot->getGroups(), 3);
  // Positions in render order (point, curve, face), merged: (2,1), (0,0), (2,0), (0,1).
  EXPECT_EQ(plot->getVertices(0), (DoubleArrays{{2, 0, 2, 0}, {1, 0, 0, 1}}));
  EXPECT_EQ(plot->getVerticesPtr(1), plot->getVerticesPtr(0));                 // one shared array
  EXPECT_EQ(plot->getElementIndices(0), (IntArrays{{1, 1}, {2, 0}, {0, 3}}));  // triangles
  EXPECT_EQ(plot->getElementIndices(1), (IntArrays{{1}, {2}}));                // the segment
  EXPECT_EQ(plot->getElementIndices(2), (IntArrays{{0}}));                     // the point
  EXPECT_EQ(plot->getBounds(), (DoubleArrays{{0, 2}, {0, 1}, {0, 0}}));

  // The probe sees the filled triangles: the line through (1.5, 0.5) hits the first one.
  std::vector<double> params, values;
  std::vector<std::vector<double>> normals;
  plot->findLineTriangleIntersections(Array<double, 1>{1.5, 0.5, 1}, Array<double, 1>{1.5, 0.5, -1},
                                      params, values, normals);
  EXPECT_EQ(params, (std::vector<double>{0.5}));
}
