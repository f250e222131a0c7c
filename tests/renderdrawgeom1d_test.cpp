// The 1D draw geometry, exercised through its drawing object RenderDraw1D.
#include "datacarrier/renderdrawgeom1d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "carrierstreamchecks.h"
#include "datacarrier/renderdraw1d.h"
#include "recordingstream.h"

using namespace nkdatacarrier;

namespace {

using qvtest::raiseSite;
using qvtest::written;

using Ints = std::vector<int>;
using Coords = std::vector<std::vector<float>>;

// Valid curves through the given coordinates, each boxed by its first and last, and points.
RenderDraw1D makeGeometry(std::vector<std::vector<float>> curves, std::vector<float> points) {
  RenderDraw1D g(RenderDrawGeom1D::DRAW_1D_A, 7);
  g.allocate(static_cast<int>(curves.size()), static_cast<int>(points.size()));
  for (int i = 0; i < g.getNumberOfCurves(); ++i) {
    const std::vector<float>& xs = curves[i];
    Curve1D& c = g.curve(i);
    c.allocate(static_cast<int>(xs.size()));
    for (int k = 0; k < c.getNumberOfVertices(); ++k)
      c.setVertex(k, xs[k]);
    if (!xs.empty()) c.setBoundingBox1D(BoundingBox1D(xs.front(), xs.back()));
    c.setValid(true);
  }
  for (int i = 0; i < g.getNumberOfPoints(); ++i)
    g.point(i).setVertex(points[i]);
  g.setBoundingBox1D(BoundingBox1D(-1.0f, 10.0f));
  return g;
}

}  // namespace

TEST(RenderDrawGeom1DSelection, TouchingCurvesWithInclusiveEnds) {
  const RenderDraw1D g = makeGeometry({{2.4f, 3.0f}, {2.6f, 3.0f}, {0.0f, 1.4f}}, {});
  Ints found{9};
  // The ball is the interval around its centre.
  g.findEntitiesInBall({2.0}, 0.5, 1, false, {0, 1, 2}, found);
  EXPECT_EQ(found, (Ints{9, 0}));  // appended, not cleared
  EXPECT_TRUE(g.isInBall({2.0}, 0.5, 1, false, {1, 0}));
  EXPECT_FALSE(g.isInBall({2.0}, 0.5, 1, false, {1, 2}));
  EXPECT_TRUE(g.isInBall({1.0}, 0.5, 1, false, {2}));

  // Box ends touch; candidates that name no curve never match.
  const RenderDraw1D h = makeGeometry({{0, 1, 2}, {5, 6}}, {});
  found.clear();
  h.findEntitiesInBox({2.0, 5.0}, 1, false, {-1, 0, 7, 1}, found);
  EXPECT_EQ(found, (Ints{0, 1}));
  found.clear();
  h.findEntitiesInBox({2.5, 4.5}, 1, false, {0, 1}, found);
  EXPECT_TRUE(found.empty());
  EXPECT_FALSE(h.isInBox({2.0, 5.0}, 1, false, {}));
  EXPECT_FALSE(h.isInBox({0.0, 1.0}, 1, false, {3}));
  EXPECT_TRUE(h.isInBox({6.0, 7.0}, 1, false, {0, 1}));
}

TEST(RenderDrawGeom1DSelection, BadDimensionsRaiseBeforeLookingAtCandidates) {
  const RenderDraw1D g = makeGeometry({{0, 1}}, {});
  Ints found{4};
  // The ball queries raise on the box queries' lines.
  const std::string box = "datacarrier/renderdrawgeom1d:128 Invalid entity dimension";
  const std::string isIn = "datacarrier/renderdrawgeom1d:162 Invalid entity dimension";
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox({0, 1}, 1, true, {}, found); }), box);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox({0, 1}, 0, false, {0}, found); }), box);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox({0, 1}, 2, false, {0}, found); }), box);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall({0.5}, 1, 1, true, {}, found); }), box);
  EXPECT_EQ(raiseSite([&] { g.isInBox({0, 1}, 1, true, {}); }), isIn);
  EXPECT_EQ(raiseSite([&] { g.isInBox({0, 1}, 3, false, {0}); }), isIn);
  EXPECT_EQ(raiseSite([&] { g.isInBall({0.5}, 1, 1, true, {0}); }), isIn);
  EXPECT_EQ(found, (Ints{4}));
}

TEST(RenderDrawGeom1DMeasures, AllocationBoxAndLengthsOfValidCurves) {
  RenderDraw1D g = makeGeometry({{2, 5}, {0, 0.5f, 1.25f}, {7, 8}}, {1, 4.5f, 3});
  g.allocate(2, 2);  // shrinking keeps the entries that remain
  EXPECT_EQ(g.getPoint(1).getVertex().x, 4.5f);
  std::vector<float> box{9, 9, 9};
  g.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-1, 10}));
  EXPECT_EQ(g.getVolume(2, {0}), 3.0);  // any dimension but 0 measures curves
  EXPECT_EQ(g.getVolume(1, {0, 1, 0}), 7.25);
  EXPECT_EQ(g.getVolume(0, {0}), 0.0);
  EXPECT_EQ(g.getVolume(1, {}), 0.0);
  EXPECT_EQ(g.getVolume(1, {0, 2}), 0.0);  // no curve 2 any more
  EXPECT_EQ(g.getBndArea(1, {0, 1}), 0.0);
  g.curve(1).setValid(false);
  EXPECT_EQ(g.getVolume(1, {0, 1}), 0.0);  // one invalid curve: no partial sum
}

TEST(RenderDrawGeom1DRenderExport, PointsThenCurvesWithMergedPositions) {
  // Positions 0:0 1:5 | 2:0 3:1 4:2 | 5:2 6:5, merged into 0, 5, 1, 2.
  const RenderDraw1D g = makeGeometry({{0, 1, 2}, {2, 5}}, {0, 5});
  EXPECT_EQ(g.getMLRenderPointSize(), 7);
  EXPECT_EQ(g.getMLRenderVtxSize(), 2);
  EXPECT_EQ(g.getMLRenderEdgSize(), 3);
  EXPECT_EQ(g.numUniquePointsEstimate(), 3);
  Coords coords{{9}};
  std::vector<Ints> elements(7, Ints{9});
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{0, 5, 1, 2}}));
  EXPECT_EQ(elements, (std::vector<Ints>{{0, 1}, {1, 2}, {0, 2, 3}, {2, 3, 1}, {1, 1, 2}}));
  // Points but no curve vertices: deliberately negative.
  EXPECT_EQ(makeGeometry({}, {1, 2, 3}).numUniquePointsEstimate(), -3);
}

TEST(RenderDrawGeom1DRenderExport, CurvesWithoutVerticesStayInBounds) {
  // The empty curve takes position 0, which nothing fills (0.0); the next curve starts at 1.
  const RenderDraw1D g = makeGeometry({{}, {4, 3}}, {});
  EXPECT_EQ(g.getMLRenderEdgSize(), 0);
  Coords coords;
  std::vector<Ints> elements;
  g.getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{0, 4, 3}}));
  EXPECT_EQ(elements, (std::vector<Ints>{{}, {}, {1}, {2}, {2}}));
  // A one-vertex curve has no segment; a last curve without vertices adds no coordinate.
  makeGeometry({{4, 3}, {6}, {}}, {}).getMLRenderData(coords, elements);
  EXPECT_EQ(coords, (Coords{{4, 3, 6}}));
  EXPECT_EQ(elements, (std::vector<Ints>{{}, {}, {0}, {1}, {1}}));
}

TEST(RenderDrawGeom1DSerialization, WriteSequenceAndRoundTrip) {
  RenderDraw1D g = makeGeometry({{0, 1}, {2, 5}}, {3, -1.5f});
  g.setLabel("axis");
  g.curve(1).setValid(false);
  g.curveToPointAdjacent().allocate(2, 2);
  g.curveToPointAdjacent().setAdjacent(0, Ints{0, 1});
  g.pointToCurveAdjacent().allocate(2, 1);
  g.pointToCurveAdjacent().setAdjacent(1, std::vector<std::pair<int, int>>{{0, 1}});
  g.setSnapCoord({0.1, -1e300});
  // Deliberately one empty label more after the drawing object's version than in 2D.
  std::vector<std::string> expected;
  for (const auto& part :
       {qvtest::seq("string RenderDraw1D|unsigned 0|# version|# |unsigned 0|# version|# |int 10|"
                    "# object type|int 7|# unique identifier|string axis|# object label|# |"
                    "# Bounding box"),
        written(g.getBoundingBox()),
        qvtest::seq("# |int 2|# number of points|int 2|# number of curves|# |# Points|float 3|# |"
                    "float -1.5|# |# |# Curves"),
        written(g.getCurve(0)), written(g.getCurve(1)),
        qvtest::seq("# |# Curve to point adjacencies"), written(g.getCurveToPointAdjacent()),
        qvtest::seq("# |# Point to curve adjacencies"), written(g.getPointToCurveAdjacent()),
        qvtest::seq("# Number of snapping points|int 2|# |# Snapping coordinates|double 0.1|# |"
                    "double -1e+300|# ")})
    expected.insert(expected.end(), part.begin(), part.end());
  EXPECT_EQ(written(g), expected);
  // Every field is written, so a copy that writes the same has every field back.
  for (const RenderDraw1D& r : qvtest::streamCopies(g))
    EXPECT_EQ(written(r), expected);
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderDrawGeom1DSerialization, RefusedAndCorruptStreams) {
  // Drawing-object version 0, then an attribute block of version 1.
  qvtest::ForgedIStream s({0, 1, 10, 3, std::string("x")});
  RenderDraw1D r;
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(s); }),
            "datacarrier/renderdrawgeom1d:312 Incompatible_native_file_version");
  EXPECT_EQ(s.consumed(), 2u);
  EXPECT_EQ(r.getObjectType(), RenderDrawGeom::UNSET);

  // The point count follows the class identifier, two versions, the attributes and the box;
  // find it as the int 1 followed by the curve count 1, and make it about two billion.
  std::vector<char> bytes = qvtest::binaryOf(makeGeometry({{0, 1}}, {3}));
  const std::vector<char> counts{1, 0, 0, 0, 1, 0, 0, 0};
  auto at = std::search(bytes.begin(), bytes.end(), counts.begin(), counts.end());
  ASSERT_NE(at, bytes.end());
  at[3] = 0x7f;
  BinaryISerialStream is(bytes);
  EXPECT_EQ(qvtest::codeOf([&] { r.deserialize(is); }), "End_of_file_reached");
  EXPECT_EQ(r.getNumberOfPoints(), 0);
}
