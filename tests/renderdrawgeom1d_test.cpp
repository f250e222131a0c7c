// The 1D draw geometry, exercised through its drawing object RenderDraw1D.
#include "datacarrier/renderdrawgeom1d.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "carrierstreamchecks.h"
#include "datacarrier/renderdraw1d.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox1D;
using nkdatacarrier::Curve1D;
using nkdatacarrier::RenderDraw1D;
using nkdatacarrier::RenderDrawGeom;
using nkdatacarrier::RenderDrawGeom1D;
using qvtest::codeOf;

namespace {

using Ints = std::vector<int>;

// A valid curve through the given coordinates; its box spans them.
Curve1D makeCurve(std::vector<float> xs) {
  Curve1D c;
  c.allocate(static_cast<int>(xs.size()));
  float lo = xs.empty() ? 0.0f : xs[0];
  float hi = lo;
  for (std::size_t i = 0; i < xs.size(); ++i) {
    c.setVertex(int(i), xs[i]);
    lo = std::min(lo, xs[i]);
    hi = std::max(hi, xs[i]);
  }
  c.setBoundingBox1D(BoundingBox1D(lo, hi));
  c.setValid(true);
  return c;
}

RenderDraw1D makeGeometry(std::vector<std::vector<float>> curves, std::vector<float> points) {
  RenderDraw1D g(RenderDrawGeom1D::DRAW_1D_A, 7);
  g.allocate(static_cast<int>(curves.size()), static_cast<int>(points.size()));
  for (std::size_t i = 0; i < curves.size(); ++i)
    g.curve(int(i)) = makeCurve(curves[i]);
  for (std::size_t i = 0; i < points.size(); ++i)
    g.point(int(i)).setVertex(points[i]);
  g.setBoundingBox1D(BoundingBox1D(-1.0f, 10.0f));
  return g;
}

// Module, line and code of the exception that f raises.
template <typename F>
std::string raiseSite(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode();
  }
  return "none";
}

const std::string kBoxSite = "datacarrier/renderdrawgeom1d:128 Invalid entity dimension";
const std::string kIsInBoxSite = "datacarrier/renderdrawgeom1d:162 Invalid entity dimension";

}  // namespace

TEST(RenderDrawGeom1DModel, ConstructionAndAllocation) {
  RenderDraw1D g(RenderDrawGeom1D::DRAW_1D_B, 12);
  EXPECT_EQ(int(g.getObjectType()), 11);
  EXPECT_EQ(g.getDimension(), 1);
  EXPECT_EQ(g.getId(), 12);
  g.allocate(2, 3);
  EXPECT_EQ(g.getNumberOfCurves(), 2);
  EXPECT_EQ(g.getNumberOfPoints(), 3);
  g.curve(0) = makeCurve({1, 2});
  g.point(1).setVertex(4.5f);
  g.allocate(1, 2);  // shrinking keeps the entries that remain
  EXPECT_EQ(g.getCurve(0).getNumberOfVertices(), 2);
  EXPECT_EQ(g.getPoint(1).getVertex().x, 4.5f);
  g.setBoundingBox1D(BoundingBox1D(-2.0f, 3.0f));
  std::vector<float> box{9, 9, 9};
  g.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-2, 3}));
  EXPECT_EQ(g.getBoundingBox().getMaxX(), 3.0f);
}

TEST(RenderDrawGeom1DSelection, BallIsTheIntervalAroundItsCentre) {
  const RenderDraw1D g = makeGeometry({{2.4f, 3.0f}, {2.6f, 3.0f}, {0.0f, 1.4f}}, {});
  Ints found{9};
  g.findEntitiesInBall({2.0}, 0.5, 1, false, {0, 1, 2}, found);
  EXPECT_EQ(found, (Ints{9, 0}));  // appended, not cleared
  EXPECT_TRUE(g.isInBall({2.0}, 0.5, 1, false, {1, 0}));
  EXPECT_FALSE(g.isInBall({2.0}, 0.5, 1, false, {1, 2}));
  EXPECT_TRUE(g.isInBall({1.0}, 0.5, 1, false, {2}));
}

TEST(RenderDrawGeom1DSelection, TouchingBoxesIncludeTheirEnds) {
  const RenderDraw1D g = makeGeometry({{0, 1, 2}, {5, 6}}, {});
  Ints found;
  g.findEntitiesInBox({2.0, 5.0}, 1, false, {0, 1}, found);
  EXPECT_EQ(found, (Ints{0, 1}));
  found.clear();
  g.findEntitiesInBox({2.5, 4.5}, 1, false, {0, 1}, found);
  EXPECT_TRUE(found.empty());
  EXPECT_FALSE(g.isInBox({2.0, 5.0}, 1, false, {}));
  EXPECT_TRUE(g.isInBox({6.0, 7.0}, 1, false, {0, 1}));
}

TEST(RenderDrawGeom1DSelection, CandidatesThatNameNoCurveNeverMatch) {
  const RenderDraw1D g = makeGeometry({{0, 1}}, {});
  Ints found;
  g.findEntitiesInBox({0.0, 1.0}, 1, false, {-1, 1, 0, 100}, found);
  EXPECT_EQ(found, (Ints{0}));
  EXPECT_FALSE(g.isInBox({0.0, 1.0}, 1, false, {3}));
}

TEST(RenderDrawGeom1DSelection, OnlyTouchingCurvesAreSupported) {
  const RenderDraw1D g = makeGeometry({{0, 1}}, {});
  Ints found{4};
  // Refused before any candidate is looked at, even with no candidates; the ball queries raise
  // on the box queries' lines.
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox({0, 1}, 1, true, {}, found); }), kBoxSite);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox({0, 1}, 0, false, {0}, found); }), kBoxSite);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox({0, 1}, 2, false, {0}, found); }), kBoxSite);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall({0.5}, 1, 1, true, {}, found); }), kBoxSite);
  EXPECT_EQ(raiseSite([&] { g.isInBox({0, 1}, 1, true, {}); }), kIsInBoxSite);
  EXPECT_EQ(raiseSite([&] { g.isInBox({0, 1}, 3, false, {0}); }), kIsInBoxSite);
  EXPECT_EQ(raiseSite([&] { g.isInBall({0.5}, 1, 1, true, {0}); }), kIsInBoxSite);
  EXPECT_EQ(found, (Ints{4}));
}

TEST(RenderDrawGeom1DSelection, PickingAndCylindersKeepTheBaseRefusal) {
  const RenderDraw1D g = makeGeometry({{0, 1}}, {});
  std::vector<std::vector<double>> hits;
  EXPECT_EQ(codeOf([&] { g.findLineIntersections({0}, {1}, hits); }),
            "findLineIntersections only implemented in 3D");
  EXPECT_EQ(codeOf([&] { g.isInCylinder({0}, {1}, 1, 1, 0, 1, false, {0}); }),
            "isInCylinder only implemented in 3D");
  EXPECT_EQ(codeOf([&] { g.getMLRenderTriSize(); }), "Internal_error_exch_processing");
}

TEST(RenderDrawGeom1DMeasures, LengthsOfValidCurves) {
  RenderDraw1D g = makeGeometry({{2, 5}, {0, 0.5f, 1.25f}}, {});
  EXPECT_EQ(g.getVolume(2, {0}), 3.0);  // any dimension but 0 measures curves
  EXPECT_EQ(g.getVolume(1, {0, 1, 0}), 7.25);
  EXPECT_EQ(g.getVolume(0, {0}), 0.0);
  EXPECT_EQ(g.getVolume(1, {}), 0.0);
  EXPECT_EQ(g.getVolume(1, {0, 7}), 0.0);  // no curve 7
  EXPECT_EQ(g.getBndArea(1, {0, 1}), 0.0);
  g.curve(1).setValid(false);
  EXPECT_EQ(g.getVolume(1, {0, 1}), 0.0);  // one invalid curve: no partial sum
}

TEST(RenderDrawGeom1DRenderExport, SizesAndEstimate) {
  const RenderDraw1D g = makeGeometry({{0, 1, 2}, {2, 5}}, {0, 5});
  EXPECT_EQ(g.getMLRenderPointSize(), 7);
  EXPECT_EQ(g.getMLRenderVtxSize(), 2);
  EXPECT_EQ(g.getMLRenderEdgSize(), 3);
  EXPECT_EQ(g.numUniquePointsEstimate(), 3);
  // Points but no curve vertices: deliberately negative.
  EXPECT_EQ(makeGeometry({}, {1, 2, 3}).numUniquePointsEstimate(), -3);
  EXPECT_EQ(makeGeometry({{}, {1}}, {}).getMLRenderEdgSize(), -1);
}

TEST(RenderDrawGeom1DRenderExport, PointsThenCurvesWithMergedPositions) {
  // Positions 0:0 1:5 | 2:0 3:1 4:2 | 5:2 6:5, merged into 0, 5, 1, 2.
  const RenderDraw1D g = makeGeometry({{0, 1, 2}, {2, 5}}, {0, 5});
  std::vector<std::vector<float>> coords{{9}};
  std::vector<std::vector<int>> elements(7, Ints{9});
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (std::vector<std::vector<float>>{{0, 5, 1, 2}}));
  ASSERT_EQ(elements.size(), 5u);
  EXPECT_EQ(elements[0], (Ints{0, 1}));
  EXPECT_EQ(elements[1], (Ints{1, 2}));
  EXPECT_EQ(elements[2], (Ints{0, 2, 3}));
  EXPECT_EQ(elements[3], (Ints{2, 3, 1}));
  EXPECT_EQ(elements[4], (Ints{1, 1, 2}));
}

TEST(RenderDrawGeom1DRenderExport, CurvesWithoutVerticesStayInBounds) {
  // The empty curve takes position 0, which nothing fills (0.0); the next curve starts at 1.
  const RenderDraw1D g = makeGeometry({{}, {4, 3}, {}}, {});
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (std::vector<std::vector<float>>{{0, 4, 3}}));
  EXPECT_EQ(elements[2], (Ints{1}));
  EXPECT_EQ(elements[3], (Ints{2}));
  EXPECT_EQ(elements[4], (Ints{2}));
  EXPECT_TRUE(elements[0].empty());

  // A last curve without vertices takes a position past the end, which adds no coordinate.
  makeGeometry({{4, 3}, {}}, {}).getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (std::vector<std::vector<float>>{{4, 3}}));
  EXPECT_EQ(elements[2], (Ints{0}));
  EXPECT_EQ(elements[3], (Ints{1}));
}

TEST(RenderDrawGeom1DSerialization, RoundTripRestoresEverything) {
  RenderDraw1D g = makeGeometry({{0, 1, 2}, {2, 5}}, {0, 5, -1.5f});
  g.setLabel("axis");
  g.curve(1).setValid(false);
  g.curveToPointAdjacent().allocate(2, 2);
  g.curveToPointAdjacent().setAdjacent(0, Ints{0, 2});
  g.pointToCurveAdjacent().allocate(3, 1);
  g.pointToCurveAdjacent().setAdjacent(2, std::vector<std::pair<int, int>>{{0, 1}});
  for (const RenderDraw1D& r : qvtest::streamCopies(g)) {
    EXPECT_EQ(int(r.getObjectType()), 10);
    EXPECT_EQ(r.getId(), 7);
    EXPECT_EQ(r.getLabel(), "axis");
    EXPECT_EQ(r.getBoundingBox().getMinX(), -1.0f);
    ASSERT_EQ(r.getNumberOfPoints(), 3);
    EXPECT_EQ(r.getPoint(2).getVertex().x, -1.5f);
    ASSERT_EQ(r.getNumberOfCurves(), 2);
    EXPECT_EQ(r.getCurve(0).getNumberOfVertices(), 3);
    EXPECT_EQ(r.getCurve(0).getVertex(2).x, 2.0f);
    EXPECT_FALSE(r.getCurve(1).isValid());
    EXPECT_EQ(r.getCurveToPointAdjacent().getAdjacents(0)[1], 2);
    EXPECT_EQ(r.getPointToCurveAdjacent().getAdjacentOrientations(2)[0], 1);
    EXPECT_EQ(r.getPointToCurveAdjacent().getNumberOfFromIndices(), 3);
  }
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderDrawGeom1DSerialization, AttributeBlockVersionIsChecked) {
  // Drawing-object version 0, then an attribute block of version 1.
  qvtest::ForgedIStream s({0, 1, 10, 3, std::string("x")});
  RenderDraw1D r;
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(s); }),
            "datacarrier/renderdrawgeom1d:312 Incompatible_native_file_version");
  EXPECT_EQ(s.consumed(), 2u);
  EXPECT_EQ(r.getObjectType(), RenderDrawGeom::UNSET);
}

TEST(RenderDrawGeom1DSerialization, CorruptCountsAllocateNothing) {
  const RenderDraw1D g = makeGeometry({{0, 1}}, {3});
  std::vector<char> bytes = qvtest::binaryOf(g);
  // The point count follows the class identifier, two versions, the attributes and the box;
  // find it as the int 1 followed by the curve count 1.
  const std::vector<char> counts{1, 0, 0, 0, 1, 0, 0, 0};
  auto at = std::search(bytes.begin(), bytes.end(), counts.begin(), counts.end());
  ASSERT_NE(at, bytes.end());
  at[3] = 0x7f;  // about two billion points
  BinaryISerialStream is(bytes);
  RenderDraw1D r;
  EXPECT_EQ(codeOf([&] { r.deserialize(is); }), "End_of_file_reached");
  EXPECT_EQ(r.getNumberOfPoints(), 0);
}
