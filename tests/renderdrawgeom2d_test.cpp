// The 2D draw geometry, exercised through its drawing object RenderDraw2D.
#include "datacarrier/renderdrawgeom2d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "carrierstreamchecks.h"
#include "datacarrier/renderdraw2d.h"
#include "recordingstream.h"

using nkdatacarrier::Adjacent;
using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Curve2D;
using nkdatacarrier::Face2D;
using nkdatacarrier::RenderDraw2D;
using nkdatacarrier::RenderDrawGeom2D;
using qvtest::codeOf;

namespace {

using Ints = std::vector<int>;
using Coords = std::vector<std::vector<float>>;
struct XY {
  float x, y;
};

Curve2D makeCurve(std::vector<XY> vs, int up = 0, int down = -1) {
  Curve2D c;
  float x0 = vs.empty() ? 0 : vs[0].x, x1 = x0, y0 = vs.empty() ? 0 : vs[0].y, y1 = y0;
  for (const XY& v : vs) {
    c.appendVertex(v.x, v.y);
    x0 = std::min(x0, v.x), x1 = std::max(x1, v.x), y0 = std::min(y0, v.y), y1 = std::max(y1, v.y);
  }
  c.setBoundingBox2D(BoundingBox2D(x0, x1, y0, y1));
  c.setUp(up);
  c.setDown(down);
  c.setValid(true);
  return c;
}

// The unit square moved by dx, two counter-clockwise triangles.
Face2D makeSquare(float dx) {
  Face2D f;
  f.allocate(4, 2);
  f.setVertex(0, dx, 0);
  f.setVertex(1, dx + 1, 0);
  f.setVertex(2, dx + 1, 1);
  f.setVertex(3, dx, 1);
  f.setTriangle(0, 0, 1, 2);
  f.setTriangle(1, 0, 2, 3);
  f.setBoundingBox2D(BoundingBox2D(dx, dx + 1, 0.0f, 1.0f));
  f.setValid(true);
  return f;
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

std::string raiseSite(const std::function<void()>& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode();
  }
  return "none";
}

std::string site(int line, const std::string& code = "Invalid entity dimension") {
  return "datacarrier/renderdrawgeom2d:" + std::to_string(line) + " " + code;
}

// What a nested carrier writes, heading and closing label excluded.
std::vector<std::string> written(const nkbase::Serializable& s) {
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  s.serialize(os, prop);
  return os.lines;
}

void append(std::vector<std::string>& to, const std::vector<std::string>& lines) {
  to.insert(to.end(), lines.begin(), lines.end());
}

}  // namespace

TEST(RenderDrawGeom2DModel, ConstructionAllocationAndBox) {
  RenderDraw2D g(RenderDrawGeom2D::DRAW_2D_B, 3);
  EXPECT_EQ(int(g.getObjectType()), 9);
  EXPECT_EQ(g.getDimension(), 2);
  g.allocate(1, 2, 3);
  EXPECT_EQ(g.getNumberOfFaces(), 1);
  EXPECT_EQ(g.getNumberOfCurves(), 2);
  EXPECT_EQ(g.getNumberOfPoints(), 3);
  g.curve(1) = makeCurve({{1, 2}, {3, 4}});
  g.allocate(0, 2, 1);  // existing entries are kept
  EXPECT_EQ(g.getCurve(1).getVertex(1).y, 4.0f);
  EXPECT_EQ(g.getNumberOfFaces(), 0);
  g.setBoundingBox2D(BoundingBox2D(-1.0f, 2.0f, -3.0f, 4.0f));
  std::vector<float> box{7};
  g.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-1, 2, -3, 4}));
}

TEST(RenderDrawGeom2DModel, AdjacencySettersAsGivenAndOneBasedFaces) {
  RenderDraw2D g;
  const RenderDrawGeom2D::AdjacencyLists lists{{{2, 1}, {0, -1}}, {}, {{5, 0}}};
  g.setFaceToCurveAdjacent(lists);
  g.setCurveToPointAdjacent(lists);
  g.setFaceToPointAdjacent(lists);
  g.setPointToCurveAdjacent(lists);
  for (const Adjacent* a : {&g.getFaceToCurveAdjacent(), &g.getCurveToPointAdjacent(),
                            &g.getFaceToPointAdjacent(), &g.getPointToCurveAdjacent()}) {
    EXPECT_EQ(a->getNumberOfFromIndices(), 3);
    EXPECT_EQ(a->getTotalNumberOfAdjacents(), 3);
    EXPECT_EQ(a->getAdjacents(0)[1], 0);
    EXPECT_EQ(a->getAdjacentOrientations(0)[0], 1);
    EXPECT_EQ(a->getAdjacents(2)[0], 5);
  }
  // Faces counted from 1, 0 for none; orientations ignored.
  g.setPointToFaceAdjacent(lists);
  g.setCurveToFaceAdjacent({{{1, 7}, {2, 7}}, {{0, 0}, {0, 0}}});
  const Adjacent& pf = g.getPointToFaceAdjacent();
  EXPECT_EQ(pf.getNumberOfFromIndices(), 3);
  EXPECT_EQ(pf.getTotalNumberOfAdjacents(), 2);
  ASSERT_EQ(pf.getNumberOfAdjacents(0), 1);
  EXPECT_EQ(pf.getAdjacents(0)[0], 1);
  EXPECT_EQ(pf.getAdjacentOrientations(0)[0], 0);
  EXPECT_EQ(pf.getAdjacents(2)[0], 4);
  const Adjacent& cf = g.getCurveToFaceAdjacent();
  EXPECT_EQ(cf.getTotalNumberOfAdjacents(), 2);
  EXPECT_EQ(cf.getAdjacents(0)[0], 0);
  EXPECT_EQ(cf.getAdjacents(0)[1], 1);
  EXPECT_EQ(cf.getAdjacents(1), nullptr);
}

TEST(RenderDrawGeom2DMeasures, LengthsAndAreas) {
  RenderDraw2D g = twoSquares();
  EXPECT_EQ(g.getVolume(1, {0, 7}), 1.5);
  EXPECT_EQ(g.getVolume(2, {0, 1, 1}), 3.0);
  EXPECT_EQ(g.getVolume(1, {}), 0.0);
  EXPECT_EQ(g.getVolume(0, {0}), 0.0);
  EXPECT_EQ(g.getVolume(3, {99}), 0.0);  // other dimensions look at nothing
  g.curve(7).setValid(false);
  EXPECT_EQ(g.getVolume(1, {0, 7, 2}), 0.0);  // no partial sum
  g.face(1).setValid(false);
  EXPECT_EQ(g.getVolume(2, {0, 1}), 0.0);
}

TEST(RenderDrawGeom2DMeasures, IndicesOutOfRangeRaise) {
  const RenderDraw2D g = twoSquares();
  EXPECT_EQ(raiseSite([&] { g.getVolume(1, {0, 8}); }), site(140, "VEXAL_assertion_failure"));
  EXPECT_EQ(raiseSite([&] { g.getVolume(1, {-1}); }), site(140, "VEXAL_assertion_failure"));
  EXPECT_EQ(raiseSite([&] { g.getVolume(2, {2}); }), site(150, "VEXAL_assertion_failure"));
  EXPECT_EQ(raiseSite([&] { g.getBndArea(2, {1, 2}); }), site(172, "VEXAL_assertion_failure"));
  EXPECT_EQ(g.getBndArea(1, {2}), 0.0);  // only faces are looked at
}

TEST(RenderDrawGeom2DMeasures, BoundaryLengthCancelsSharedAndInnerCurves) {
  RenderDraw2D g = twoSquares();
  EXPECT_EQ(g.getBndArea(2, {0}), 4.0);  // the slit has face 0 on both sides
  EXPECT_EQ(g.getBndArea(2, {1}), 4.0);
  EXPECT_EQ(g.getBndArea(2, {0, 1}), 6.0);     // the shared curve lies inside the union
  EXPECT_EQ(g.getBndArea(2, {0, 1, 0}), 4.0);  // face 0 twice: its own curves cancel
  EXPECT_EQ(g.getBndArea(2, {}), 0.0);
  EXPECT_EQ(g.getBndArea(1, {0}), 0.0);
  g.curve(5).setValid(false);
  EXPECT_EQ(g.getBndArea(2, {0}), 4.0);
  EXPECT_EQ(g.getBndArea(2, {1}), 0.0);  // an invalid boundary curve
}

TEST(RenderDrawGeom2DMeasures, MissingOrCorruptRelationsStayInBounds) {
  RenderDraw2D g = twoSquares();
  g.setFaceToCurveAdjacent({{{0, 0}}});  // allocated for face 0 only
  EXPECT_EQ(g.getBndArea(2, {1}), 0.0);
  EXPECT_EQ(g.getBndArea(2, {0, 1}), 1.0);
  g.setFaceToCurveAdjacent({{{0, 0}, {12, 0}}});  // names a curve the geometry lacks
  EXPECT_EQ(g.getBndArea(2, {0}), 0.0);
  RenderDraw2D none = twoSquares();
  none.faceToCurveAdjacent() = Adjacent();
  EXPECT_EQ(none.getBndArea(2, {0, 1}), 0.0);
}

TEST(RenderDrawGeom2DSelection, BallInsideAndTouching) {
  const RenderDraw2D g = twoSquares();
  Ints found{-5};
  g.findEntitiesInBall({0.5, 0.5}, 0.75, 2, true, {0, 1}, found);
  EXPECT_EQ(found, (Ints{-5, 0}));
  found.clear();
  g.findEntitiesInBall({2.5, 0.5}, 0.6, 2, false, {0, 1}, found);
  EXPECT_EQ(found, (Ints{1}));
  found.clear();
  g.findEntitiesInBall({0.5, 0}, 0.5, 1, true, {0, 1, 7}, found);  // the sphere is inside
  EXPECT_EQ(found, (Ints{0}));
  found.clear();
  g.findEntitiesInBall({0.5, 0.7}, 0.25, 1, false, {7, 2, 0}, found);
  EXPECT_EQ(found, (Ints{7}));
  // Curves 7 and 2 lie exactly 0.25 away: a curve must come strictly closer.
  EXPECT_FALSE(g.isInBall({0.5, 0.75}, 0.25, 1, false, {7, 2}));

  EXPECT_FALSE(g.isInBall({0.5, 0.5}, 0.75, 2, true, {0, 1}));
  EXPECT_TRUE(g.isInBall({0.5, 0.5}, 0.75, 2, true, {0, 0}));
  EXPECT_TRUE(g.isInBall({2.5, 0.5}, 0.6, 2, false, {0, 1}));
  EXPECT_FALSE(g.isInBall({2.5, 0.5}, 0.4, 2, false, {0, 1}));
  EXPECT_TRUE(g.isInBall({9, 9}, 1, 1, true, {}));
  EXPECT_FALSE(g.isInBall({0.5, 0.5}, 9, 1, false, {}));
}

TEST(RenderDrawGeom2DSelection, BoxInsideAndTouching) {
  const RenderDraw2D g = twoSquares();
  Ints found{3};
  g.findEntitiesInBox({-1, 1, -1, 2}, 2, true, {1, 0}, found);
  EXPECT_EQ(found, (Ints{3, 0}));
  found.clear();
  g.findEntitiesInBox({1.5, 1.6, 0.4, 0.6}, 2, false, {0, 1}, found);  // centre in face 1
  EXPECT_EQ(found, (Ints{1}));
  found.clear();
  g.findEntitiesInBox({0.9, 1.1, 0.9, 2}, 1, false, {0, 1, 2, 6}, found);
  EXPECT_EQ(found, (Ints{1, 2, 6}));

  EXPECT_TRUE(g.isInBox({-1, 3, -1, 2}, 1, true, {0, 1, 2, 3, 4, 5, 6, 7}));
  EXPECT_FALSE(g.isInBox({-1, 1.5, -1, 2}, 2, true, {0, 1}));
  EXPECT_TRUE(g.isInBox({1.5, 1.6, 0.4, 0.6}, 2, false, {0, 1}));
  EXPECT_TRUE(g.isInBox({5, 6, 5, 6}, 2, true, {}));
  EXPECT_FALSE(g.isInBox({-1e300, 1e300, -1e300, 1e300}, 2, false, {}));
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
  Ints found;
  g.findEntitiesInBox({0.5, 3, 0, 1}, 1, false, all, found);
  EXPECT_EQ(found, (Ints{0, 1, 2}));
  EXPECT_FALSE(g.isInBox({0.5, 3, 0, 1}, 1, false, {3}));
  // Wholly outside the grown box: nothing touches; tested as given, curve 3 lies inside it.
  found.clear();
  g.findEntitiesInBox({1.12, 3, -1, 2}, 1, false, all, found);
  EXPECT_TRUE(found.empty());
  g.findEntitiesInBox({1.12, 3, -1, 2}, 1, true, all, found);
  EXPECT_EQ(found, (Ints{3}));
  EXPECT_TRUE(g.isInBox({1.12, 3, -1, 2}, 1, true, {3}));
  // Balls are used as given.
  EXPECT_TRUE(g.isInBall({1.15, 0.5}, 0.01, 1, false, {3}));

  // [0,0.5] x [0,1]: the height is the larger side, x stops at 0.6.
  g.setBoundingBox2D(BoundingBox2D(0.0f, 0.5f, 0.0f, 1.0f));
  found.clear();
  g.findEntitiesInBox({0.2, 3, 0, 1}, 1, false, all, found);
  EXPECT_EQ(found, (Ints{0}));
  EXPECT_TRUE(g.isInBox({0.2, 3, 0, 1}, 1, false, {1, 0}));
  EXPECT_FALSE(g.isInBox({0.2, 3, 0, 1}, 1, false, {1, 2}));
}

TEST(RenderDrawGeom2DSelection, HugeBoxesFindWhatTheGrownBoundingBoxFinds) {
  const RenderDraw2D g = twoSquares();
  Ints found;
  g.findEntitiesInBox({-1e300, 1e300, -1e300, 1e300}, 1, false, {0, 1, 2, 3, 4, 5, 6, 7}, found);
  EXPECT_EQ(found, (Ints{0, 1, 2, 3, 4, 5, 6, 7}));
  found.clear();
  g.findEntitiesInBox({-1e300, 1e300, -1e300, 1e300}, 2, false, {1, 0}, found);
  EXPECT_EQ(found, (Ints{1, 0}));
}

TEST(RenderDrawGeom2DSelection, CandidatesThatNameNoEntityNeverMatch) {
  const RenderDraw2D g = twoSquares();
  Ints found;
  g.findEntitiesInBox({-1, 3, -1, 2}, 2, true, {-1, 2, 1}, found);
  EXPECT_EQ(found, (Ints{1}));
  EXPECT_FALSE(g.isInBox({-1, 3, -1, 2}, 2, true, {0, 2}));
  EXPECT_FALSE(g.isInBall({0, 0}, 9, 1, false, {8, -3}));
}

TEST(RenderDrawGeom2DSelection, DimensionIsCheckedBeforeAnyCandidate) {
  const RenderDraw2D g = twoSquares();
  const std::vector<double> c{0.5, 0.5};
  const std::vector<double> box{0, 1, 0, 1};
  Ints found{42};
  for (int dim : {0, 3}) {
    for (const Ints& candidates : {Ints{}, Ints{0}}) {
      EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall(c, 1, dim, true, candidates, found); }),
                site(231));
      EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall(c, 1, dim, false, candidates, found); }),
                site(250));
      EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox(box, dim, true, candidates, found); }),
                site(276));
      EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox(box, dim, false, candidates, found); }),
                site(308));
      EXPECT_EQ(raiseSite([&] { g.isInBall(c, 1, dim, true, candidates); }), site(347));
      EXPECT_EQ(raiseSite([&] { g.isInBall(c, 1, dim, false, candidates); }), site(366));
      EXPECT_EQ(raiseSite([&] { g.isInBox(box, dim, true, candidates); }), site(392));
      // Deliberately the one site with underscores.
      EXPECT_EQ(raiseSite([&] { g.isInBox(box, dim, false, candidates); }),
                site(424, "Invalid_entity_dimension"));
    }
  }
  EXPECT_EQ(found, (Ints{42}));
  std::vector<double> closest;
  EXPECT_EQ(codeOf([&] { g.findClosestPoint(c, {0}, closest); }),
            "findClosestPoint only implemented in 3D");
}

TEST(RenderDrawGeom2DRenderExport, Sizes) {
  RenderDraw2D g = twoSquares();
  EXPECT_EQ(g.getMLRenderPointSize(), 1 + 16 + 8);
  EXPECT_EQ(g.getMLRenderVtxSize(), 1);
  EXPECT_EQ(g.getMLRenderEdgSize(), 8);
  EXPECT_EQ(g.getMLRenderTriSize(), 4);
  EXPECT_EQ(g.numUniquePointsEstimate(), 8 - 16 - 1);
  RenderDraw2D empty;
  EXPECT_EQ(empty.numUniquePointsEstimate(), 0);
  empty.allocate(0, 2, 0);  // two curves without vertices
  EXPECT_EQ(empty.getMLRenderEdgSize(), -2);
}

TEST(RenderDrawGeom2DRenderExport, PointsCurvesAndFacesShareMergedPositions) {
  // Positions 0:(1,0) | 1:(0,0) 2:(1,0) | 3:(0,0) 4:(1,0) 5:(0,1) | 6..9: the square at x = 3.
  RenderDraw2D g;
  g.allocate(2, 1, 1);
  g.point(0).setVertex(1, 0);
  g.curve(0) = makeCurve({{0, 0}, {1, 0}});
  g.face(0).allocate(3, 1);
  g.face(0).setVertex(0, 0, 0);
  g.face(0).setVertex(1, 1, 0);
  g.face(0).setVertex(2, 0, 1);
  g.face(0).setTriangle(0, 0, 1, 2);
  g.face(1) = makeSquare(3);
  Coords coords{{5}, {5}, {5}};
  std::vector<Ints> elements(2, Ints{5});
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{1, 0, 0, 3, 4, 4, 3}, {0, 0, 1, 0, 0, 1, 1}}));
  ASSERT_EQ(elements.size(), 9u);
  EXPECT_EQ(elements[0], (Ints{0}));
  EXPECT_EQ(elements[1], (Ints{1}));
  EXPECT_EQ(elements[2], (Ints{1}));
  EXPECT_EQ(elements[3], (Ints{0}));
  EXPECT_EQ(elements[4], (Ints{1}));
  EXPECT_EQ(elements[5], (Ints{1, 3, 3}));
  EXPECT_EQ(elements[6], (Ints{0, 4, 5}));
  EXPECT_EQ(elements[7], (Ints{2, 5, 6}));
  EXPECT_EQ(elements[8], (Ints{1, 2, 2}));
}

TEST(RenderDrawGeom2DRenderExport, ClosedCurveEndsOnItsFirstPosition) {
  RenderDraw2D g;
  g.allocate(0, 1, 0);
  g.curve(0) = makeCurve({{0, 0}, {1, 0}, {1, 1}, {0, 0}});
  Coords coords;
  std::vector<Ints> elements;
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(g.getMLRenderPointSize(), 4);
  EXPECT_EQ(coords, (Coords{{0, 1, 1}, {0, 0, 1}}));
  EXPECT_EQ(elements[2], (Ints{0, 1, 2}));
  EXPECT_EQ(elements[3], (Ints{1, 2, 0}));
  EXPECT_EQ(elements[4], (Ints{1, 1, 1}));
}

TEST(RenderDrawGeom2DRenderExport, MalformedEntitiesStayInBounds) {
  // A negative estimate, a curve without vertices (one unfilled position at (0,0)), and a
  // triangle naming vertices that its face lacks (they point at position 0).
  RenderDraw2D g;
  g.allocate(2, 2, 1);
  g.point(0).setVertex(5, 5);
  g.curve(1) = makeCurve({{2, 2}, {3, 3}});
  g.face(0).allocate(1, 1);
  g.face(0).setVertex(0, 7, 7);
  g.face(0).setTriangle(0, 0, 1, -4);
  g.face(1).allocate(0, 1);
  EXPECT_LT(g.numUniquePointsEstimate(), 0);
  Coords coords;
  std::vector<Ints> elements;
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{5, 0, 2, 3, 7}, {5, 0, 2, 3, 7}}));
  EXPECT_EQ(elements[2], (Ints{2}));
  EXPECT_EQ(elements[3], (Ints{3}));
  EXPECT_EQ(elements[4], (Ints{2}));
  EXPECT_EQ(elements[5], (Ints{4, 0}));
  EXPECT_EQ(elements[6], (Ints{0, 0}));
  EXPECT_EQ(elements[7], (Ints{0, 0}));
  EXPECT_EQ(elements[8], (Ints{1, 2}));

  // A last curve without vertices, and no face after it: no coordinate is added.
  RenderDraw2D last;
  last.allocate(0, 2, 0);
  last.curve(0) = makeCurve({{2, 2}, {3, 3}});
  last.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{2, 3}, {2, 3}}));
  EXPECT_EQ(elements[2], (Ints{0}));
  EXPECT_EQ(elements[3], (Ints{1}));
}

TEST(RenderDrawGeom2DSerialization, AttributeBlockWriteSequence) {
  RenderDraw2D g(RenderDrawGeom2D::DRAW_2D_A, 5);
  g.setLabel("plate");
  g.allocate(1, 1, 1);
  g.point(0).setVertex(0.5f, -2);
  g.curve(0) = makeCurve({{0, 0}, {1, 0}});
  g.face(0) = makeSquare(0);
  g.setBoundingBox2D(BoundingBox2D(0.0f, 1.0f, -2.0f, 1.0f));
  g.setFaceToCurveAdjacent({{{0, 1}}});
  g.setPointToFaceAdjacent({{{1, 0}}});
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  g.serializeRaw(os, prop);

  std::vector<std::string> expected{
      "unsigned 0",   "# version",      "unsigned 0", "# version",
      "int 7",        "# object type",  "int 5",      "# unique identifier",
      "string plate", "# object label", "# ",         "# Bounding box"};
  append(expected, written(g.getBoundingBox()));
  append(expected,
         {"# ", "int 1", "# number of points", "int 1", "# number of curves", "int 1",
          "# number of faces", "# ", "# Points", "float 0.5", "float -2", "# ", "# ", "# Curves"});
  append(expected, written(g.getCurve(0)));
  append(expected, {"# ", "# Faces"});
  append(expected, written(g.getFace(0)));
  const std::pair<const char*, const Adjacent*> relations[] = {
      {"# Face to curve adjacencies", &g.getFaceToCurveAdjacent()},
      {"# Face to point adjacencies", &g.getFaceToPointAdjacent()},
      {"# Curve to point adjacencies", &g.getCurveToPointAdjacent()},
      {"# Point to curve adjacencies", &g.getPointToCurveAdjacent()},
      {"# Point to face adjacencies", &g.getPointToFaceAdjacent()},
      {"# Curve to face adjacencies", &g.getCurveToFaceAdjacent()}};
  for (const auto& [label, relation] : relations) {
    append(expected, {"# ", label});
    append(expected, written(*relation));
  }
  append(expected, {"# Number of snapping points", "int 0", "# ", "# Snapping coordinates"});
  EXPECT_EQ(os.lines, expected);
}

TEST(RenderDrawGeom2DSerialization, RoundTripRestoresEntitiesAndAllSixRelations) {
  RenderDraw2D g = twoSquares();
  g.setLabel("two squares");
  g.curve(3).setValid(false);
  g.setCurveToPointAdjacent({{{0, 1}}, {{0, 2}}});
  g.setFaceToPointAdjacent({{{0, 3}}, {}, {}});
  g.setPointToCurveAdjacent({{{0, 4}}, {}, {}, {}});
  g.setPointToFaceAdjacent({{{1, 0}, {2, 0}}});
  g.setCurveToFaceAdjacent({{{1, 0}}, {{1, 0}, {2, 0}}});
  EXPECT_EQ(g.getBndArea(2, {0}), 0.0);
  for (const RenderDraw2D& r : qvtest::streamCopies(g)) {
    EXPECT_EQ(int(r.getObjectType()), 7);
    EXPECT_EQ(r.getId(), 21);
    EXPECT_EQ(r.getLabel(), "two squares");
    EXPECT_EQ(r.getBoundingBox().getMaxX(), 2.0f);
    ASSERT_EQ(r.getNumberOfPoints(), 1);
    EXPECT_EQ(r.getPoint(0).getVertex().y, 0.5f);
    ASSERT_EQ(r.getNumberOfCurves(), 8);
    EXPECT_EQ(r.getCurve(7).getVertex(1).x, 0.75f);
    EXPECT_EQ(r.getCurve(1).getDown(), 1);
    EXPECT_FALSE(r.getCurve(3).isValid());
    ASSERT_EQ(r.getNumberOfFaces(), 2);
    EXPECT_EQ(r.getFace(1).getArea(), 1.0);
    EXPECT_EQ(r.getFaceToCurveAdjacent().getNumberOfAdjacents(0), 5);
    EXPECT_EQ(r.getCurveToPointAdjacent().getNumberOfFromIndices(), 2);
    EXPECT_EQ(r.getFaceToPointAdjacent().getNumberOfFromIndices(), 3);
    EXPECT_EQ(r.getPointToCurveAdjacent().getNumberOfFromIndices(), 4);
    EXPECT_EQ(r.getPointToFaceAdjacent().getAdjacents(0)[1], 1);
    EXPECT_EQ(r.getCurveToFaceAdjacent().getTotalNumberOfAdjacents(), 3);
    EXPECT_EQ(r.getBndArea(2, {1}), 4.0);
    // An invalid curve is written without its side faces, so the copy's curve 3 has none on
    // either side and no longer bounds face 0.
    EXPECT_EQ(r.getBndArea(2, {0}), 3.0);
  }
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderDrawGeom2DSerialization, AttributeBlockVersionIsChecked) {
  qvtest::ForgedIStream s({0, 1, 7, 3, std::string("x")});
  RenderDraw2D r;
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(s); }), site(835, "Incompatible_native_file_version"));
  EXPECT_EQ(s.consumed(), 2u);
  qvtest::ForgedIStream negative({0, -1});
  EXPECT_EQ(codeOf([&] { r.deserializeRaw(negative); }), "Incompatible_native_file_version");
}

TEST(RenderDrawGeom2DSerialization, CorruptCountsAllocateNothing) {
  // version, attribute version, type, id, label, box, then the point count.
  qvtest::ForgedIStream s({0, 0, 7, 1, std::string(), std::string("RenderBoundingBox2D"), 0, 0.0f,
                           1.0f, 0.0f, 1.0f, -1});
  RenderDraw2D r;
  EXPECT_THROW(r.deserializeRaw(s), std::length_error);
  EXPECT_EQ(r.getNumberOfPoints(), 0);
  const RenderDraw2D g = twoSquares();
  std::vector<char> bytes = qvtest::binaryOf(g);
  // The three counts (1 point, 8 curves, 2 faces) follow the box; make the curves a billion.
  const std::vector<char> counts{1, 0, 0, 0, 8, 0, 0, 0, 2, 0, 0, 0};
  auto at = std::search(bytes.begin(), bytes.end(), counts.begin(), counts.end());
  ASSERT_NE(at, bytes.end());
  at[7] = 0x40;
  BinaryISerialStream is(bytes);
  RenderDraw2D big;
  EXPECT_EQ(codeOf([&] { big.deserialize(is); }), "End_of_file_reached");
  EXPECT_EQ(big.getNumberOfCurves(), 0);
}
