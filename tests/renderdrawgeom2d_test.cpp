// The 2D draw geometry, exercised through its drawing object RenderDraw2D.
#include "datacarrier/renderdrawgeom2d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <limits>

#include "carrierstreamchecks.h"
#include "datacarrier/renderdraw2d.h"
#include "recordingstream.h"

using namespace nkdatacarrier;
using qvtest::codeOf;

namespace {

using qvtest::raiseSite;
using qvtest::written;

using Ints = std::vector<int>;
using Coords = std::vector<std::vector<float>>;
using Lists = RenderDrawGeom2D::AdjacencyLists;
struct XY {
  float x, y;
};

BoundingBox2D boxOf(const std::vector<XY>& vs) {
  float x0 = vs[0].x, x1 = x0, y0 = vs[0].y, y1 = y0;
  for (const XY& v : vs)
    x0 = std::min(x0, v.x), x1 = std::max(x1, v.x), y0 = std::min(y0, v.y), y1 = std::max(y1, v.y);
  return BoundingBox2D(x0, x1, y0, y1);
}

Curve2D makeCurve(const std::vector<XY>& vs, int up = 0, int down = -1) {
  Curve2D c;
  for (const XY& v : vs)
    c.appendVertex(v.x, v.y);
  c.setBoundingBox2D(boxOf(vs));
  c.setUp(up);
  c.setDown(down);
  c.setValid(true);
  return c;
}

// A valid face with the given vertices and triangles (three corners each).
Face2D makeFace(const std::vector<XY>& vs, const Ints& corners) {
  Face2D f;
  f.allocate(static_cast<int>(vs.size()), static_cast<int>(corners.size() / 3));
  for (std::size_t k = 0; k < vs.size(); ++k)
    f.setVertex(int(k), vs[k].x, vs[k].y);
  for (std::size_t t = 0; 3 * t < corners.size(); ++t)
    f.setTriangle(int(t), corners[3 * t], corners[3 * t + 1], corners[3 * t + 2]);
  f.setBoundingBox2D(boxOf(vs));
  f.setValid(true);
  return f;
}

// The unit square moved by dx, two counter-clockwise triangles.
Face2D makeSquare(float dx) {
  return makeFace({{dx, 0}, {dx + 1, 0}, {dx + 1, 1}, {dx, 1}}, {0, 1, 2, 0, 2, 3});
}

// Two unit squares side by side, faces 0 ([0,1]x[0,1]) and 1 ([1,2]x[0,1]), bounded by curves
// 0-3 and 1, 4-6; curve 1 is shared, curve 7 is a slit inside face 0 (face 0 on both sides).
RenderDraw2D twoSquares() {
  RenderDraw2D g(RenderDrawGeom2D::DRAW_2D_A, 21);
  g.allocate(2, 8, 1);
  g.face(0) = makeSquare(0);
  g.face(1) = makeSquare(1);
  g.curve(0) = makeCurve({{0, 0}, {1, 0}});
  g.curve(1) = makeCurve({{1, 0}, {1, 1}}, 0, 1);
  g.curve(2) = makeCurve({{1, 1}, {0, 1}});
  g.curve(3) = makeCurve({{0, 1}, {0, 0}});
  g.curve(4) = makeCurve({{1, 0}, {2, 0}}, 1);
  g.curve(5) = makeCurve({{2, 0}, {2, 1}}, 1);
  g.curve(6) = makeCurve({{2, 1}, {1, 1}}, 1);
  g.curve(7) = makeCurve({{0.25f, 0.5f}, {0.75f, 0.5f}}, 0, 0);
  g.point(0).setVertex(0.5f, 0.5f);
  g.setFaceToCurveAdjacent(
      {{{0, 1}, {1, 1}, {2, 1}, {3, 1}, {7, 0}}, {{1, -1}, {4, 1}, {5, 1}, {6, 1}}});
  g.setBoundingBox2D(BoundingBox2D(0.0f, 2.0f, 0.0f, 1.0f));
  return g;
}

// A relation as one list of (adjacent, orientation) pairs per source.
Lists listsOf(const Adjacent& a) {
  Lists lists(a.getNumberOfFromIndices());
  for (int s = 0; s < a.getNumberOfFromIndices(); ++s) {
    for (int k = 0; k < a.getNumberOfAdjacents(s); ++k)
      lists[s].push_back({a.getAdjacents(s)[k], a.getAdjacentOrientations(s)[k]});
  }
  return lists;
}

Ints inBall(const RenderDraw2D& g, std::vector<double> c, double r, int dim, bool inside,
            const Ints& candidates) {
  Ints found;
  g.findEntitiesInBall(c, r, dim, inside, candidates, found);
  return found;
}

Ints inBox(const RenderDraw2D& g, std::vector<double> box, int dim, bool inside,
           const Ints& candidates) {
  Ints found;
  g.findEntitiesInBox(box, dim, inside, candidates, found);
  return found;
}

std::string site(int line, const std::string& code = "Invalid entity dimension") {
  return "datacarrier/renderdrawgeom2d:" + std::to_string(line) + " " + code;
}

}  // namespace

TEST(RenderDrawGeom2DModel, AllocationBoxAndAdjacencySetters) {
  RenderDraw2D g;
  g.allocate(1, 2, 3);
  g.curve(1) = makeCurve({{1, 2}, {3, 4}});
  g.allocate(0, 2, 1);  // existing entries are kept
  EXPECT_EQ(g.getNumberOfFaces(), 0);
  EXPECT_EQ(g.getNumberOfPoints(), 1);
  EXPECT_EQ(g.getCurve(1).getVertex(1).y, 4.0f);
  g.setBoundingBox2D(BoundingBox2D(-1.0f, 2.0f, -3.0f, 4.0f));
  std::vector<float> box{7};
  g.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-1, 2, -3, 4}));

  const Lists lists{{{2, 1}, {0, -1}}, {}, {{5, 0}}};
  g.setFaceToCurveAdjacent(lists);
  g.setCurveToPointAdjacent(lists);
  g.setFaceToPointAdjacent(lists);
  g.setPointToCurveAdjacent(lists);
  for (const Adjacent* a : {&g.getFaceToCurveAdjacent(), &g.getCurveToPointAdjacent(),
                            &g.getFaceToPointAdjacent(), &g.getPointToCurveAdjacent()}) {
    EXPECT_EQ(listsOf(*a), lists);
    EXPECT_EQ(a->getTotalNumberOfAdjacents(), 3);
  }
  // Faces counted from 1, 0 or less for none; orientations dropped.
  g.setPointToFaceAdjacent({{{1, 5}, {0, 0}}, {{0, 3}, {-2, 1}}, {{3, 9}, {2, 9}}});
  EXPECT_EQ(listsOf(g.getPointToFaceAdjacent()), (Lists{{{0, 0}}, {}, {{2, 0}, {1, 0}}}));
  EXPECT_EQ(g.getPointToFaceAdjacent().getTotalNumberOfAdjacents(), 3);
  g.setCurveToFaceAdjacent({{{1, 7}, {2, 7}}, {{0, 0}, {0, 0}}});
  EXPECT_EQ(listsOf(g.getCurveToFaceAdjacent()), (Lists{{{0, 0}, {1, 0}}, {}}));
  EXPECT_EQ(g.getCurveToFaceAdjacent().getTotalNumberOfAdjacents(), 2);
}

TEST(RenderDrawGeom2DMeasures, LengthsAndAreasOfValidEntities) {
  RenderDraw2D g = twoSquares();
  EXPECT_EQ(g.getVolume(1, {0, 7}), 1.5);
  EXPECT_EQ(g.getVolume(2, {0, 1, 1}), 3.0);
  EXPECT_EQ(g.getVolume(1, {}), 0.0);
  EXPECT_EQ(g.getVolume(0, {0}), 0.0);
  EXPECT_EQ(g.getVolume(3, {99}), 0.0);  // other dimensions look at nothing
  EXPECT_EQ(raiseSite([&] { g.getVolume(1, {0, 8}); }), site(140, "VEXAL_assertion_failure"));
  EXPECT_EQ(raiseSite([&] { g.getVolume(1, {-1}); }), site(140, "VEXAL_assertion_failure"));
  EXPECT_EQ(raiseSite([&] { g.getVolume(2, {2}); }), site(150, "VEXAL_assertion_failure"));
  g.curve(7).setValid(false);
  EXPECT_EQ(g.getVolume(1, {0, 7, 2}), 0.0);  // no partial sum
  g.face(1).setValid(false);
  EXPECT_EQ(g.getVolume(2, {0, 1}), 0.0);
}

TEST(RenderDrawGeom2DMeasures, BoundaryLengthCancelsSharedAndInnerCurves) {
  RenderDraw2D g = twoSquares();
  EXPECT_EQ(g.getBndArea(2, {0}), 4.0);        // the slit has face 0 on both sides
  EXPECT_EQ(g.getBndArea(2, {0, 1}), 6.0);     // the shared curve lies inside the union
  EXPECT_EQ(g.getBndArea(2, {0, 1, 0}), 4.0);  // face 0 twice: its own curves cancel
  EXPECT_EQ(g.getBndArea(2, {}), 0.0);
  EXPECT_EQ(g.getBndArea(1, {0}), 0.0);  // only faces are looked at
  EXPECT_EQ(raiseSite([&] { g.getBndArea(2, {1, 2}); }), site(172, "VEXAL_assertion_failure"));
  g.curve(5).setValid(false);
  EXPECT_EQ(g.getBndArea(2, {0}), 4.0);
  EXPECT_EQ(g.getBndArea(2, {1}), 0.0);  // an invalid boundary curve

  // Missing or corrupt relations stay in bounds.
  g = twoSquares();
  g.setFaceToCurveAdjacent({{{0, 0}}});  // allocated for face 0 only
  EXPECT_EQ(g.getBndArea(2, {0, 1}), 1.0);
  g.setFaceToCurveAdjacent({{{0, 0}, {12, 0}}});  // names a curve the geometry lacks
  EXPECT_EQ(g.getBndArea(2, {0}), 0.0);
  g.faceToCurveAdjacent() = Adjacent();
  EXPECT_EQ(g.getBndArea(2, {0, 1}), 0.0);
  // Read from a stream: face 0 claims 5 adjacents from position 1 of 2 (curve 1 is the one
  // inside), face 1 starts past the end.
  qvtest::ForgedIStream corrupt({1, 2, 2, 1, 5, 4, 1, 0, 0, 1, 0, 2});
  g.faceToCurveAdjacent().deserializeRaw(corrupt);
  EXPECT_EQ(g.getBndArea(2, {0, 1}), 1.0);
}

TEST(RenderDrawGeom2DSelection, BallsAndBoxesInsideAndTouching) {
  const RenderDraw2D g = twoSquares();
  Ints found{-5};
  g.findEntitiesInBall({0.5, 0.5}, 0.75, 2, true, {0, 1}, found);
  EXPECT_EQ(found, (Ints{-5, 0}));  // appended, not cleared
  EXPECT_EQ(inBall(g, {2.5, 0.5}, 0.6, 2, false, {0, 1}), (Ints{1}));
  EXPECT_EQ(inBall(g, {0.5, 0}, 0.5, 1, true, {0, 1, 7}), (Ints{0}));
  EXPECT_EQ(inBall(g, {0.5, 0.7}, 0.25, 1, false, {7, 2, 0}), (Ints{7}));
  // Curves 7 and 2 lie exactly 0.25 away: a curve must come strictly closer.
  EXPECT_FALSE(g.isInBall({0.5, 0.75}, 0.25, 1, false, {7, 2}));
  EXPECT_FALSE(g.isInBall({0.5, 0.5}, 0.75, 2, true, {0, 1}));
  EXPECT_TRUE(g.isInBall({0.5, 0.5}, 0.75, 2, true, {0, 0}));
  EXPECT_TRUE(g.isInBall({2.5, 0.5}, 0.6, 2, false, {0, 1}));
  EXPECT_FALSE(g.isInBall({2.5, 0.5}, 0.4, 2, false, {0, 1}));
  EXPECT_TRUE(g.isInBall({9, 9}, 1, 1, true, {}));
  EXPECT_FALSE(g.isInBall({0.5, 0.5}, 9, 1, false, {}));

  EXPECT_EQ(inBox(g, {-1, 1, -1, 2}, 2, true, {1, 0}), (Ints{0}));
  EXPECT_EQ(inBox(g, {1.5, 1.6, 0.4, 0.6}, 2, false, {0, 1}), (Ints{1}));  // centre in face 1
  EXPECT_EQ(inBox(g, {0.9, 1.1, 0.9, 2}, 1, false, {0, 1, 2, 6}), (Ints{1, 2, 6}));
  EXPECT_TRUE(g.isInBox({-1, 3, -1, 2}, 1, true, {0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_FALSE(g.isInBox({-1, 1.5, -1, 2}, 2, true, {0, 1}));
  EXPECT_TRUE(g.isInBox({5, 6, 5, 6}, 2, true, {}));
  EXPECT_FALSE(g.isInBox({-1e300, 1e300, -1e300, 1e300}, 2, false, {}));
  // Huge boxes find what the grown bounding box finds.
  EXPECT_EQ(inBox(g, {-1e300, 1e300, -1e300, 1e300}, 1, false, {0, 1, 2, 3, 4, 5, 6, 7}),
            (Ints{0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_EQ(inBox(g, {-1e300, 1e300, -1e300, 1e300}, 2, false, {1, 0}), (Ints{1, 0}));
  // Candidates that name no entity never match.
  EXPECT_EQ(inBox(g, {-1, 3, -1, 2}, 2, true, {-1, 2, 1}), (Ints{1}));
  EXPECT_FALSE(g.isInBox({-1, 3, -1, 2}, 2, true, {0, 2}));
  EXPECT_FALSE(g.isInBall({0, 0}, 9, 1, false, {8, -3}));
}

TEST(RenderDrawGeom2DSelection, TouchingBoxesAreClippedToTheGrownBoundingBox) {
  // Vertical curves at x = 0.58, 0.65, 1.08 and 1.15; the producer's box covers x <= 1 only.
  RenderDraw2D g;
  g.allocate(0, 4, 0);
  const float xs[4] = {0.58f, 0.65f, 1.08f, 1.15f};
  for (int i = 0; i < 4; ++i)
    g.curve(i) = makeCurve({{xs[i], 0}, {xs[i], 1}});
  const Ints all{0, 1, 2, 3};

  // [0,1] x [0,0.5]: the width is the larger side, so the margin is 0.1 and x stops at 1.1.
  g.setBoundingBox2D(BoundingBox2D(0.0f, 1.0f, 0.0f, 0.5f));
  EXPECT_EQ(inBox(g, {0.5, 3, 0, 1}, 1, false, all), (Ints{0, 1, 2}));
  EXPECT_FALSE(g.isInBox({0.5, 3, 0, 1}, 1, false, {3}));
  // Wholly outside the grown box: nothing touches; tested as given, curve 3 lies inside it.
  EXPECT_TRUE(inBox(g, {1.12, 3, -1, 2}, 1, false, all).empty());
  EXPECT_EQ(inBox(g, {1.12, 3, -1, 2}, 1, true, all), (Ints{3}));
  EXPECT_TRUE(g.isInBox({1.12, 3, -1, 2}, 1, true, {3}));
  EXPECT_TRUE(g.isInBall({1.15, 0.5}, 0.01, 1, false, {3}));  // balls are used as given

  // [0,0.5] x [0,1]: the height is the larger side, x stops at 0.6.
  g.setBoundingBox2D(BoundingBox2D(0.0f, 0.5f, 0.0f, 1.0f));
  EXPECT_EQ(inBox(g, {0.2, 3, 0, 1}, 1, false, all), (Ints{0}));
  EXPECT_TRUE(g.isInBox({0.2, 3, 0, 1}, 1, false, {1, 0}));
  EXPECT_FALSE(g.isInBox({0.2, 3, 0, 1}, 1, false, {1, 2}));
}

TEST(RenderDrawGeom2DSelection, DimensionIsCheckedBeforeAnyCandidate) {
  const RenderDraw2D g = twoSquares();
  const std::vector<double> c{0.5, 0.5}, box{0, 1, 0, 1};
  Ints found{42};
  using Query = std::function<void(int, const Ints&)>;
  const std::pair<Query, std::string> queries[] = {
      {[&](int d, const Ints& k) { g.findEntitiesInBall(c, 1, d, true, k, found); }, site(231)},
      {[&](int d, const Ints& k) { g.findEntitiesInBall(c, 1, d, false, k, found); }, site(250)},
      {[&](int d, const Ints& k) { g.findEntitiesInBox(box, d, true, k, found); }, site(276)},
      {[&](int d, const Ints& k) { g.findEntitiesInBox(box, d, false, k, found); }, site(308)},
      {[&](int d, const Ints& k) { g.isInBall(c, 1, d, true, k); }, site(347)},
      {[&](int d, const Ints& k) { g.isInBall(c, 1, d, false, k); }, site(366)},
      {[&](int d, const Ints& k) { g.isInBox(box, d, true, k); }, site(392)},
      // Deliberately the one site with underscores.
      {[&](int d, const Ints& k) { g.isInBox(box, d, false, k); },
       site(424, "Invalid_entity_dimension")}};
  for (int dim : {0, 3}) {
    for (const Ints& candidates : {Ints{}, Ints{0}}) {
      for (const auto& [query, where] : queries)
        EXPECT_EQ(raiseSite([&] { query(dim, candidates); }), where) << dim;
    }
  }
  EXPECT_EQ(found, (Ints{42}));
}

TEST(RenderDrawGeom2DRenderExport, PointsCurvesAndFacesShareMergedPositions) {
  const RenderDraw2D squares = twoSquares();
  EXPECT_EQ(squares.getMLRenderPointSize(), 1 + 16 + 8);
  EXPECT_EQ(squares.getMLRenderVtxSize(), 1);
  EXPECT_EQ(squares.getMLRenderEdgSize(), 8);
  EXPECT_EQ(squares.getMLRenderTriSize(), 4);
  EXPECT_EQ(squares.numUniquePointsEstimate(), 8 - 16 - 1);  // deliberately subtracted

  // Positions 0:(1,0) | closed curve 1:(0,0) 2:(1,0) 3:(1,1) 4:(0,0) | triangle 5:(0,0) 6:(1,0)
  // 7:(0,1) | 8..11: the square at x = 3. Twelve positions, eight distinct points.
  RenderDraw2D g;
  g.allocate(2, 1, 1);
  g.point(0).setVertex(1, 0);
  g.curve(0) = makeCurve({{0, 0}, {1, 0}, {1, 1}, {0, 0}});
  g.face(0) = makeFace({{0, 0}, {1, 0}, {0, 1}}, {0, 1, 2});
  g.face(1) = makeSquare(3);
  EXPECT_EQ(g.getMLRenderPointSize(), 12);
  Coords coords{{5}, {5}, {5}};
  std::vector<Ints> elements(2, Ints{5});
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{1, 0, 1, 0, 3, 4, 4, 3}, {0, 0, 1, 1, 0, 0, 1, 1}}));
  // The closed curve's last segment ends on its first position.
  EXPECT_EQ(
      elements,
      (std::vector<Ints>{
          {0}, {1}, {1, 0, 2}, {0, 2, 1}, {1, 1, 1}, {1, 4, 4}, {0, 5, 6}, {3, 6, 7}, {1, 2, 2}}));
}

TEST(RenderDrawGeom2DRenderExport, MalformedEntitiesStayInBounds) {
  // Curves without vertices (one unfilled position at (0,0) each, -1 edge each), and a
  // triangle naming vertices that its face lacks (they point at position 0).
  RenderDraw2D g;
  g.allocate(2, 2, 1);
  g.point(0).setVertex(5, 5);
  g.curve(1) = makeCurve({{2, 2}, {3, 3}});
  g.face(0) = makeFace({{7, 7}}, {0, 1, -4});
  g.face(1).allocate(0, 1);
  EXPECT_EQ(g.numUniquePointsEstimate(), 1 - 2 - 1);
  EXPECT_EQ(g.getMLRenderEdgSize(), 0);
  Coords coords;
  std::vector<Ints> elements;
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{5, 0, 2, 3, 7}, {5, 0, 2, 3, 7}}));
  EXPECT_EQ(elements, (std::vector<Ints>{{0}, {1}, {2}, {3}, {2}, {4, 0}, {0, 0}, {0, 0}, {1, 2}}));

  // A last curve without vertices, and no face after it: no coordinate is added.
  g.allocate(0, 2, 0);
  g.curve(0) = makeCurve({{2, 2}, {3, 3}});
  g.curve(1) = Curve2D();
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{2, 3}, {2, 3}}));
  EXPECT_EQ(elements[2], (Ints{0}));
  EXPECT_EQ(elements[3], (Ints{1}));
}

TEST(RenderDrawGeom2DSerialization, WriteSequenceAndRoundTrip) {
  RenderDraw2D g = twoSquares();
  g.setLabel("plate");
  g.curve(3).setValid(false);
  g.setCurveToPointAdjacent({{{0, 1}}, {{0, 2}}});
  g.setFaceToPointAdjacent({{{0, 3}}, {}, {}});
  g.setPointToCurveAdjacent({{{0, 4}}, {}, {}, {}});
  g.setPointToFaceAdjacent({{{1, 0}, {2, 0}}});
  g.setCurveToFaceAdjacent({{{1, 0}}, {{1, 0}, {2, 0}}});
  // Snapping values that only survive a stream bit for bit.
  const double nan = std::numeric_limits<double>::quiet_NaN();
  g.setSnapCoord(std::vector<std::vector<double>>{{5e-324, 1.0 / 3}, {-0.0, nan}});
  std::vector<std::string> expected = qvtest::seq(
      "string RenderDraw2D|unsigned 0|# version|unsigned 0|# version|int 7|# object type|int 21|"
      "# unique identifier|string plate|# object label|# |# Bounding box");
  const auto append = [&](const std::vector<std::string>& lines) {
    expected.insert(expected.end(), lines.begin(), lines.end());
  };
  append(written(g.getBoundingBox()));
  append(
      qvtest::seq("# |int 1|# number of points|int 8|# number of curves|int 2|"
                  "# number of faces|# |# Points|float 0.5|float 0.5|# |# |# Curves"));
  for (int c = 0; c < 8; ++c)
    append(written(g.getCurve(c)));
  append({"# ", "# Faces"});
  append(written(g.getFace(0)));
  append(written(g.getFace(1)));
  // The relations are written in this order, not in the order the class declares them.
  const std::pair<const char*, const Adjacent*> relations[] = {
      {"# Face to curve adjacencies", &g.getFaceToCurveAdjacent()},
      {"# Face to point adjacencies", &g.getFaceToPointAdjacent()},
      {"# Curve to point adjacencies", &g.getCurveToPointAdjacent()},
      {"# Point to curve adjacencies", &g.getPointToCurveAdjacent()},
      {"# Point to face adjacencies", &g.getPointToFaceAdjacent()},
      {"# Curve to face adjacencies", &g.getCurveToFaceAdjacent()}};
  for (const auto& [label, relation] : relations) {
    append({"# ", label});
    append(written(*relation));
  }
  // The drawing object's snapping points, x and y side by side.
  append(
      qvtest::seq("# Number of snapping points|int 2|# |# Snapping coordinates|double 5e-324|"
                  "double -0|# |double 0.3333333333333333|double nan|# "));
  EXPECT_EQ(written(g), expected);

  EXPECT_EQ(g.getBndArea(2, {0}), 0.0);
  for (const RenderDraw2D& r : qvtest::streamCopies(g)) {
    // Every field is written, so a copy that writes the same has every field back.
    EXPECT_EQ(written(r), expected);
    EXPECT_EQ(r.getBndArea(2, {1}), 4.0);
    // An invalid curve is written without its side faces, so the copy's curve 3 has none on
    // either side and no longer bounds face 0.
    EXPECT_EQ(r.getBndArea(2, {0}), 3.0);
  }
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderDrawGeom2DSerialization, RefusedAndCorruptStreams) {
  qvtest::ForgedIStream s({0, 1, 7, 3, std::string("x")});
  RenderDraw2D r;
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(s); }), site(835, "Incompatible_native_file_version"));
  EXPECT_EQ(s.consumed(), 2u);
  qvtest::ForgedIStream negative({0, -1});
  EXPECT_EQ(codeOf([&] { r.deserializeRaw(negative); }), "Incompatible_native_file_version");

  // version, attribute version, type, id, label, box, then a negative point count.
  qvtest::ForgedIStream s2({0, 0, 7, 1, std::string(), std::string("RenderBoundingBox2D"), 0, 0.0f,
                            1.0f, 0.0f, 1.0f, -1});
  EXPECT_THROW(r.deserializeRaw(s2), std::length_error);
  EXPECT_EQ(r.getNumberOfPoints(), 0);
  // The three counts (1 point, 8 curves, 2 faces) follow the box; make the curves a billion.
  std::vector<char> bytes = qvtest::binaryOf(twoSquares());
  const std::vector<char> counts{1, 0, 0, 0, 8, 0, 0, 0, 2, 0, 0, 0};
  auto at = std::search(bytes.begin(), bytes.end(), counts.begin(), counts.end());
  ASSERT_NE(at, bytes.end());
  at[7] = 0x40;
  BinaryISerialStream is(bytes);
  RenderDraw2D big;
  EXPECT_EQ(codeOf([&] { big.deserialize(is); }), "End_of_file_reached");
  EXPECT_EQ(big.getNumberOfCurves(), 0);
}
