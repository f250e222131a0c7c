// The geometric side of PostDataObject: line probes against triangles and spheres, the plane
// cut, iso-value crossings along a line, deformation and filling from a draw geometry.
#include <gtest/gtest.h>

#include <cmath>

#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw2d.h"

using nkdatacarrier::PostDataInfo;
using nkdatacarrier::PostDataObject;

namespace {

using DoubleArrays = PostDataObject::DoubleArrays;
using IntArrays = PostDataObject::IntArrays;
using FloatArrays = PostDataObject::FloatArrays;
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

// The probes' outputs, filled with stale entries that every probe must clear first.
struct Hits {
  Doubles params{99}, values{99}, xs{99}, ys{99}, zs{99};
  std::vector<Doubles> normals{5, Doubles{99}};  // replaced by exactly three arrays
};

Hits triangles(const PostDataObject& o, const Point& a, const Point& b) {
  Hits h;
  o.findLineTriangleIntersections(a, b, h.params, h.values, h.normals);
  return h;
}

Hits spheres(const PostDataObject& o, const Point& a, const Point& b, double scale) {
  Hits h;
  o.findLineSphereIntersections(a, b, scale, h.params, h.values, h.xs, h.ys, h.zs);
  return h;
}

Hits isoCrossings(const PostDataObject& o, const Point& a, const Point& b, const Point& iso) {
  Hits h;
  o.findLineIsosurfaceIntersections(a, b, iso, h.params, h.values);
  return h;
}

const DoubleArrays kUnitTriangle{{0, 1, 0}, {0, 0, 1}, {0, 0, 0}};
const IntArrays kOneTriangle{{0}, {1}, {2}};

}  // namespace

// ---- triangles ----

TEST(PostDataTriangleProbe, HitsInGroupOrderOnAnUnboundedLineWithUnitNormals) {
  // The line x = y = 0.25 from z = 1 to z = -1. The first two triangles are clockwise seen from
  // +z: the planar one reports (0, 0, 1), the 3D one (0, 0, -1) from its edges' (0, 0, -4).
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*o, {{0, 0, 1}, {0, 1, 0}}, kOneTriangle, {{1, 2, 3}});
  addGroup(*o, {{0, 0, 2}, {0, 2, 0}, {-3, -3, -3}}, kOneTriangle, {{2, 4, 6}});
  addGroup(*o, kUnitTriangle, {{0}, {1}}, {});            // line segments
  addGroup(*o, kUnitTriangle, {{}, {}, {}}, {});          // no triangle
  addGroup(*o, kUnitTriangle, {{0}, {1}, {2}, {0}}, {});  // four corners
  // At z = 3, behind a; its second triangle names vertex 7, which does not exist.
  addGroup(*o, {{0, 1, 0}, {0, 0, 1}, {3, 3, 3}}, {{0, 0}, {1, 7}, {2, 2}}, {{1, 2, 3}});
  const Hits h = triangles(*o, Point{0.25, 0.25, 1}, Point{0.25, 0.25, -1});
  EXPECT_EQ(h.params, (Doubles{0.5, 2, -1}));
  // 0.5 * 1 + 0.25 * 2 + 0.25 * 3; 0.75 * 2 + 0.125 * 4 + 0.125 * 6; as the first.
  EXPECT_EQ(h.values, (Doubles{1.75, 2.75, 1.75}));
  EXPECT_EQ(h.normals, (std::vector<Doubles>{{0, 0, 0}, {0, 0, 0}, {1, -1, 1}}));
}

TEST(PostDataTriangleProbe, ToleranceBandSharedEdgesParallelLinesAndDegenerateTriangles) {
  // The unit square as triangles (0,1,2) and (1,3,2) sharing the diagonal x + y = 1, and a
  // degenerate triangle along the x axis from 5 to 7.
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*o, {{0, 1, 0, 1}, {0, 0, 1, 1}, {0, 0, 0, 0}}, {{0, 1}, {1, 3}, {2, 2}},
           {{0, 4, 8, 12}});
  addGroup(*o, {{5, 6, 7}, {0, 0, 0}, {0, 0, 0}}, kOneTriangle, {});
  const Hits centre = triangles(*o, Point{0.5, 0.5, 2}, Point{0.5, 0.5, 0});
  EXPECT_EQ(centre.params, (Doubles{1, 1}));
  EXPECT_EQ(centre.values, (Doubles{6, 6}));

  auto hits = [&](const Point& a, const Point& b) { return triangles(*o, a, b).params.size(); };
  auto hitsAt = [&](double x, double y) { return hits(Point{x, y, 1}, Point{x, y, -1}); };
  // 1e-6 outside an edge is inside, 1e-4 is not: the left edge (u = 0), the bottom (v = 0) and
  // the diagonal (u + v = 1) of the first triangle.
  EXPECT_EQ(hitsAt(-1e-6, 0.5), 1u);
  EXPECT_EQ(hitsAt(-1e-4, 0.5), 0u);
  EXPECT_EQ(hitsAt(0.5, -1e-6), 1u);
  EXPECT_EQ(hitsAt(0.5, -1e-4), 0u);
  EXPECT_EQ(hitsAt(0.5 + 1e-6, 0.5), 2u);
  EXPECT_EQ(hitsAt(0.5 + 1e-4, 0.5), 1u);
  EXPECT_EQ(hitsAt(5.5, 0), 0u);                                // the degenerate triangle
  EXPECT_EQ(hits(Point{0.1, 0.1, 1}, Point{0.9, 0.1, 1}), 0u);  // parallel to the square
  EXPECT_EQ(hits(Point{0.1, 0.1, 0}, Point{0.9, 0.1, 0}), 0u);  // in its plane
}

TEST(PostDataTriangleProbe, ValueFallsBackToKind19ElseNaN) {
  // The one value of a hit at u = 0.5, v = 0.25 with data {5, 5, 5} and {10, 20, 30}.
  auto valueWith = [](std::initializer_list<std::pair<int, int>> kinds) {
    auto o = plotWith(kinds);
    addGroup(*o, kUnitTriangle, kOneTriangle, {{5, 5, 5}, {10, 20, 30}});
    const Doubles values = triangles(*o, Point{0.5, 0.25, 1}, Point{0.5, 0.25, -1}).values;
    return values.size() == 1 ? values[0] : -1.0;
  };
  EXPECT_EQ(valueWith({{PostDataInfo::DT_FALLBACK_VALUE, 1}}), 20);  // 2.5 + 10 + 7.5
  EXPECT_EQ(valueWith({{PostDataInfo::DT_FALLBACK_VALUE, 1}, {PostDataInfo::DT_VALUE, 0}}), 5);
  EXPECT_TRUE(std::isnan(valueWith({{PostDataInfo::DT_KIND_4, 1}})));
  EXPECT_TRUE(std::isnan(valueWith({{PostDataInfo::DT_VALUE, 2}})));  // the group has no array 2
}

// ---- spheres ----

TEST(PostDataSphereProbe, EntryPointsInGroupOrderFromOutsideInsideAndTouching) {
  // Radius 2 * size: 2 around the origin (the sign of the size is squared away), 1 around the
  // planar centres (3, 0) and (6, 0) and around (0, 0, 5), which the line y = z = 0 misses.
  auto o = plotWith({{PostDataInfo::DT_VALUE, 0}, {PostDataInfo::DT_SPHERE_SIZE, 1}});
  addGroup(*o, {{0}, {0}, {0}}, {}, {{7}, {-1}});
  addGroup(*o, {{3, 6}, {0, 0}}, {}, {{1, 2}, {0.5, 0.5}});
  addGroup(*o, {{0}, {0}, {5}}, {}, {{3}, {0.5}});
  addGroup(*o, {{1}}, {}, {{4}, {0.5}});  // one coordinate array: no vertices
  const Hits h = spheres(*o, Point{-5, 0, 0}, Point{-4, 0, 0}, 2);
  EXPECT_EQ(h.params, (Doubles{3, 7, 10}));  // entering at x = -2, 2 and 5
  EXPECT_EQ(h.values, (Doubles{7, 1, 2}));
  EXPECT_EQ(h.xs, (Doubles{0, 3, 6}));
  EXPECT_EQ(h.ys, (Doubles{0, 0, 0}));
  EXPECT_EQ(h.zs, (Doubles{0, 0, 0}));
  // From inside the first sphere, its entry lies behind a.
  EXPECT_EQ(spheres(*o, Point{0.5, 0, 0}, Point{1.5, 0, 0}, 2).params, (Doubles{-2.5, 1.5, 4.5}));
  EXPECT_EQ(spheres(*o, Point{-5, 2, 0}, Point{-4, 2, 0}, 2).params, Doubles{5});  // touching
  EXPECT_TRUE(spheres(*o, Point{-5, 2.5, 0}, Point{-4, 2.5, 0}, 2).params.empty());
  EXPECT_TRUE(spheres(*o, Point{1, 1, 1}, Point{1, 1, 1}, 2).params.empty());

  auto noSize = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*noSize, {{0}, {0}, {0}}, {}, {{7}, {1}});
  const Hits none = spheres(*noSize, Point{-5, 0, 0}, Point{-4, 0, 0}, 2);
  EXPECT_TRUE(none.params.empty() && none.values.empty() && none.xs.empty() && none.zs.empty());
}

// ---- plane cut ----

TEST(PostDataPlaneCut, CrossedTrianglesGiveSegmentsTouchingOrContainedOnesNone) {
  auto o = plotWith({});
  addGroup(*o, {{0, 2, 0}, {0, 0, 2}, {0, 0, 0}}, kOneTriangle, {{0, 4, 8}, {1}});
  addGroup(*o, {{0, 1, -1}, {0, 1, 1}}, kOneTriangle, {{10, 20, 40}});  // planar
  addGroup(*o, {{0, 1}, {0, 0}, {0, 0}}, {{0}, {1}}, {});               // line elements are not cut
  PostDataObject cut;
  addGroup(cut, {}, {}, {});  // the cut appends
  o->findPlaneIntersections(Point{1, 0, 0}, Point{1, 0, 0}, cut);
  o->findPlaneIntersections(Point{0, 5, 5}, Point{2, 0, 0}, cut);
  o->findPlaneIntersections(Point{0, 0, 0}, Point{0, 0, 1}, cut);
  ASSERT_EQ(cut.getGroups(), 7);
  // x = 1: edge (0,1) crosses at (1, 0, 0), edge (1,2) at (1, 1, 0).
  EXPECT_EQ(cut.getVertices(1), (DoubleArrays{{1, 1}, {0, 1}, {0, 0}}));
  EXPECT_EQ(cut.getElementIndices(1), (IntArrays{{0}, {1}}));
  EXPECT_EQ(cut.getData(1)[0], (Doubles{2, 6}));
  EXPECT_TRUE(std::isnan(cut.getData(1)[1][0]));  // not one value per vertex
  // x = 0 through corner 0 of the planar triangle: from it to (0, 1, 0).
  EXPECT_EQ(cut.getVertices(4), (DoubleArrays{{0, 0}, {0, 1}, {0, 0}}));
  EXPECT_EQ(cut.getData(4)[0], (Doubles{10, 30}));
  // Touching x = 1 in a corner, x = 0 along an edge, lying in z = 0.
  for (int g : {2, 3, 5, 6}) {
    EXPECT_EQ(cut.getVertices(g), (DoubleArrays{{}, {}, {}})) << g;
    EXPECT_EQ(cut.getElementIndices(g), (IntArrays{{}, {}})) << g;
  }

  // The unit square cut by x = 0.5: each triangle brings its own two points.
  auto square = plotWith({});
  addGroup(*square, {{0, 1, 0, 1}, {0, 0, 1, 1}}, {{0, 1}, {1, 3}, {2, 2}}, {});
  square->findPlaneIntersections(Point{0.5, 0, 0}, Point{1, 0, 0}, cut);
  EXPECT_EQ(cut.getVertices(7)[1], (Doubles{0, 0.5, 0.5, 1}));
  EXPECT_EQ(cut.getElementIndices(7), (IntArrays{{0, 2}, {1, 3}}));
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
  addGroup(*o, {{0, 2, 0}, {0, 0, 1}, {0, 0, 0}}, kOneTriangle, {{1, std::nan(""), 0}, {0, 0, 2}});
  o->addNormals(make_shared<FloatArrays>(FloatArrays{{0}, {0}, {1}}));
  addGroup(*o, {{-3}, {5}}, {}, {{-1}, {}});  // planar, x moves to -4
  const auto vertices = o->getVerticesPtr(0);
  o->setBounds(make_shared<DoubleArrays>(DoubleArrays{{9, 9, 9}}));
  o->deform();

  EXPECT_EQ(*vertices, (DoubleArrays{{1, 2, 0}, {0, 0, 1}, {0, 0, 2}}));  // the shared array
  // Over both groups; entry 2 of x's bounds stays, y's and z's are grown to hold min and max.
  EXPECT_EQ(o->getBounds(), (DoubleArrays{{-4, 2, 9}, {0, 5}, {0, 2}}));
  // Corners (1,0,0), (2,0,0), (0,1,2): edges (1,0,0) and (-1,1,2) cross to (0,-2,1).
  EXPECT_EQ(o->getNormals(0), (FloatArrays{{0}, {-0.894427191f}, {0.447213595f}}));

  auto still = plotWith({{PostDataInfo::DT_VALUE, 0}});
  addGroup(*still, {{0, 1}, {0, 1}}, {}, {{5, 5}});
  still->deform();
  EXPECT_EQ(still->getVertices(0), (DoubleArrays{{0, 1}, {0, 1}}));
  EXPECT_TRUE(still->getBounds().empty());
}

// A triangle face with one edge curve along its bottom and one isolated point on its corner:
// render positions merge to the three corners.
TEST(PostDataFill, TakesTheGeometryAsDrawn) {
  nkdatacarrier::RenderDraw2D g(static_cast<nkdatacarrier::RenderDrawGeom2D::Type2D>(7), 17);
  g.setLabel("corner");
  g.allocate(1, 1, 1);
  g.face(0).allocate(3, 1);
  g.face(0).setVertex(0, 0, 0);
  g.face(0).setVertex(1, 2, 0);
  g.face(0).setVertex(2, 2, 1);
  g.face(0).setTriangle(0, 0, 1, 2);
  g.face(0).setValid(true);
  g.curve(0).appendVertex(0, 0);
  g.curve(0).appendVertex(2, 0);
  g.curve(0).setValid(true);
  g.point(0).setVertex(2, 1);

  auto plot = plotWith({{PostDataInfo::DT_VALUE, 0}});
  plot->fill(g);
  EXPECT_EQ(plot->getObjectID(), 17);
  EXPECT_EQ(plot->getProperty("label"), "corner");
  ASSERT_EQ(plot->getGroups(), 3);
  // Positions in render order (point, curve, face), merged: (2,1), (0,0), (2,0).
  EXPECT_EQ(plot->getVertices(0), (DoubleArrays{{2, 0, 2}, {1, 0, 0}}));
  EXPECT_EQ(plot->getVerticesPtr(1), plot->getVerticesPtr(0));        // one shared array
  EXPECT_EQ(plot->getElementIndices(0), (IntArrays{{1}, {2}, {0}}));  // the triangle
  EXPECT_EQ(plot->getElementIndices(1), (IntArrays{{1}, {2}}));       // the segment
  EXPECT_EQ(plot->getElementIndices(2), (IntArrays{{0}}));            // the point
  EXPECT_EQ(plot->getBounds(), (DoubleArrays{{0, 2}, {0, 1}, {0, 0}}));
}
