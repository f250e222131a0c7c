#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "datacarrier/renderdrawedit2d.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::RenderDrawEdit2D;
using nkdatacarrier::RenderDrawGeom;
using Edge = RenderDrawEdit2D::Edge;
using Coord = RenderDrawEdit2D::Coord;
using qvtest::codeOf;
using qvtest::raiseSite;
using qvtest::written;

namespace {

using Lines = std::vector<std::string>;
using Ints = std::vector<int>;
const double kHalfRoot2 = std::sqrt(2.0) / 2;
const double kInf = std::numeric_limits<double>::infinity();
const BoundingBox2D kEverywhere(-1e30, 1e30, -1e30, 1e30);

// Control points given in Cartesian coordinates (x, y, w), stored weighted.
Array<double, 2> ctrl(const std::vector<std::array<double, 3>>& points) {
  Array<double, 2> a(static_cast<int>(points.size()), 3);
  for (int i = 0; i < a.extent(0); ++i) {
    const auto& [x, y, w] = points[static_cast<std::size_t>(i)];
    a(i, 0) = w * x;
    a(i, 1) = w * y;
    a(i, 2) = w;
  }
  return a;
}

// The unit quarter circle from (1, 0) to (0, 1), centred at the origin.
Edge quarterCircle(int start = -1, int end = -1) {
  return Edge(2, {0, 0, 0, 1, 1, 1}, ctrl({{1, 0, 1}, {1, 1, kHalfRoot2}, {0, 1, 1}}), start, end);
}

// The binary stream of a byte vector, not telling how much is left (as a pipe would not).
class UnknownLength : public ISerialStream {
 public:
  explicit UnknownLength(const std::vector<char>& bytes) : in_(bytes) {}
  void readInt(int& v) override { in_ >> v; }
  void readUnsigned(unsigned int& v) override { in_ >> v; }
  void readFloat(float& v) override { in_ >> v; }
  void readDouble(double& v) override { in_ >> v; }
  void readBool(bool& v) override { in_ >> v; }
  void readString(std::string& v) override { in_ >> v; }

 private:
  BinaryISerialStream in_;
};

Coord at(const Edge& e, double u) {
  double x = 0, y = 0;
  e.evalCoord(u, x, y);
  return Coord{float(x), float(y), 0.0f};
}

}  // namespace

namespace nkdatacarrier {
// Polyline points compare whole, the third field included.
bool operator==(const RenderDrawEdit2D::Coord& a, const RenderDrawEdit2D::Coord& b) {
  return a.x == b.x && a.y == b.y && a.z == b.z;
}
}  // namespace nkdatacarrier

TEST(NurbsEdgeEvaluation, SpansClampToTheSpansThatCarryTheCurve) {
  const Edge e(2, {0, 0, 0, 0.5, 1, 1, 1}, ctrl({{0, 0, 1}, {1, 0, 1}, {2, 0, 1}, {3, 0, 1}}), 0,
               1);
  EXPECT_EQ(e.findSpan(-5), 2);  // below every knot
  EXPECT_EQ(e.findSpan(0), 2);   // the repeated first knot
  EXPECT_EQ(e.findSpan(0.49), 2);
  EXPECT_EQ(e.findSpan(0.5), 3);  // an interior knot opens its span
  EXPECT_EQ(e.findSpan(1), 3);    // the last knot: m - p - 2, not m - 1
  EXPECT_EQ(e.findSpan(7), 3);
  EXPECT_EQ(Edge(4, {}, {}, -1, -1).findSpan(0.5), 4);  // no knots: p
}

TEST(NurbsEdgeEvaluation, PointsOfLinesCirclesAndHighDegrees) {
  double x = 0, y = 0;
  Edge(1, {0, 0, 1, 1}, ctrl({{0, 0, 1}, {2, 4, 1}}), -1, -1).evalCoord(0.5, x, y);
  EXPECT_EQ(std::make_pair(x, y), std::make_pair(1.0, 2.0));
  // Bezier cubic at 1/2: (1, 3, 3, 1) / 8 of (0,0), (1,2), (3,2), (4,0).
  Edge(3, {0, 0, 0, 0, 1, 1, 1, 1}, ctrl({{0, 0, 1}, {1, 2, 1}, {3, 2, 1}, {4, 0, 1}}), -1, -1)
      .evalCoord(0.5, x, y);
  EXPECT_EQ(std::make_pair(x, y), std::make_pair(2.0, 1.5));

  const Edge circle = quarterCircle();
  circle.evalCoord(0.5, x, y);
  EXPECT_NEAR(x, kHalfRoot2, 1e-15);
  EXPECT_NEAR(y, kHalfRoot2, 1e-15);
  for (double u = 0; u <= 1; u += 1.0 / 16) {
    circle.evalCoord(u, x, y);
    EXPECT_NEAR(std::hypot(x, y), 1.0, 4e-16) << u;
  }
  // Bezier curves of evenly spaced collinear points move at constant speed: x = p·u. Degree 9
  // keeps its basis on the stack, degree 12 allocates it; both follow the same recurrence.
  for (int p : {9, 12}) {
    std::vector<double> knots(p + 1, 0.0);
    knots.resize(2 * (p + 1), 1.0);
    std::vector<std::array<double, 3>> points;
    for (int i = 0; i <= p; ++i)
      points.push_back({double(i), 1, 1});
    Edge(p, knots, ctrl(points), -1, -1).evalCoord(0.25, x, y);
    EXPECT_NEAR(x, 0.25 * p, 1e-13) << p;
    EXPECT_NEAR(y, 1.0, 1e-13) << p;
  }
}

TEST(NurbsEdgeEvaluation, MalformedEdgesGiveNaNAndStayInsideTheirArrays) {
  double x = 0, y = 0;
  const auto nanAt = [&](const Edge& e, double u) {
    x = y = 0;
    e.evalCoord(u, x, y);
    return std::isnan(x) && std::isnan(y);
  };
  const auto three = ctrl({{0, 0, 1}, {1, 1, 1}, {2, 0, 1}});
  EXPECT_TRUE(nanAt(Edge(5, {0, 0, 1, 1}, three, -1, -1), 0.5));   // degree past knots
  EXPECT_TRUE(nanAt(Edge(-1, {0, 0, 1, 1}, three, -1, -1), 0.5));  // negative degree
  EXPECT_TRUE(nanAt(Edge(INT_MAX, {0, 1}, three, -1, -1), 0.5));   // no int overflow
  EXPECT_TRUE(nanAt(Edge(2, {0, 0, 0, 1, 1, 1}, Array<double, 2>(3, 2), -1, -1), 0.5));
  // Knots for two spans but points for one: the first span still evaluates.
  const Edge shortOfPoints(2, {0, 0, 0, 0.5, 1, 1, 1}, three, -1, -1);
  EXPECT_FALSE(nanAt(shortOfPoints, 0.25));
  EXPECT_TRUE(nanAt(shortOfPoints, 0.75));
  // A zero weight is the producer's business: 0/0, read from where it belongs.
  EXPECT_TRUE(nanAt(Edge(1, {0, 0, 1, 1}, ctrl({{1, 1, 0}, {2, 2, 1}}), -1, -1), 0.0));

  std::vector<Coord> out(3);
  Edge(4, {0, 0, 1, 1}, three, -1, -1).evalEdge(0.1, kEverywhere, 10, out);
  EXPECT_TRUE(out.empty());  // no start knot U[p]
  Edge(-2, {0, 1}, three, -1, -1).evalEdge(0.1, kEverywhere, 10, out);
  EXPECT_TRUE(out.empty());

  // Non-finite knots end the call whatever the refinement bound: such midpoints are not split.
  const double nan = std::nan("");
  for (const std::vector<double>& knots : std::vector<std::vector<double>>{
           {0, 0, kInf, kInf}, {-kInf, -kInf, kInf, kInf}, {nan, nan, nan, nan}, {0, 0, nan, 1}}) {
    Edge(1, knots, ctrl({{0, 0, 1}, {1, 1, 1}}), -1, -1)
        .evalEdge(0.0, BoundingBox2D(-kInf, kInf, -kInf, kInf), INT_MAX, out);
    EXPECT_LE(out.size(), 3u);
  }
}

TEST(NurbsEdgePolyline, StraightEdgesKeepExactlyTheInitialSamples) {
  std::vector<Coord> out;
  // A polyline of degree 1: the knots are the samples.
  Edge(1, {0, 0, 1, 3, 3}, ctrl({{0, 0, 1}, {1, 2, 1}, {4, 2, 1}}), -1, -1)
      .evalEdge(1e-6, kEverywhere, 100, out);
  EXPECT_EQ(out, (std::vector<Coord>{{0, 0, 0}, {1, 2, 0}, {4, 2, 0}}));
  // Degree 2 on a line, points at the Greville abscissae so that x = y = 3u: U[2] = 0, then
  // 1/4 and 1/2 for the first interval, 3/4 and 1 for the second.
  Edge(2, {0, 0, 0, 0.5, 1, 1, 1}, ctrl({{0, 0, 1}, {0.75, 0.75, 1}, {2.25, 2.25, 1}, {3, 3, 1}}),
       -1, -1)
      .evalEdge(1e-6, kEverywhere, 100, out);
  EXPECT_EQ(out,
            (std::vector<Coord>{{0, 0}, {0.75f, 0.75f}, {1.5f, 1.5f}, {2.25f, 2.25f}, {3, 3}}));
}

TEST(NurbsEdgePolyline, RefinementIsBoundedByTheBoxAndOneCounterPerCall) {
  const Edge circle = quarterCircle();
  std::vector<Coord> out;
  const std::vector<Coord> initial = {at(circle, 0), at(circle, 0.5), at(circle, 1)};
  // Away from the box nothing is refined, however tight the tolerance.
  circle.evalEdge(0.0, BoundingBox2D(5.0, 6.0, 5.0, 6.0), 100, out);
  EXPECT_EQ(out, initial);
  // Flatness is per coordinate: at u = 1/4 the curve leaves the chord's midpoint by 0.07623 in
  // x and 0.01454 in y (0.0776 in distance), and symmetrically on the other half.
  circle.evalEdge(0.077, kEverywhere, 100, out);
  EXPECT_EQ(out, initial);
  circle.evalEdge(0.076, kEverywhere, 0, out);
  EXPECT_EQ(out, (std::vector<Coord>{initial[0], at(circle, 0.25), initial[1], initial[2]}));
  // The counter is never reset: with tol 0 the first interval is halved six times, depth
  // first towards the start, and then everything is accepted.
  circle.evalEdge(0.0, kEverywhere, 5, out);
  std::vector<Coord> expected = {initial[0]};
  for (double u : {1.0 / 128, 1.0 / 64, 1.0 / 32, 1.0 / 16, 1.0 / 8, 1.0 / 4})
    expected.push_back(at(circle, u));
  expected.insert(expected.end(), {initial[1], initial[2]});
  EXPECT_EQ(out, expected);
  circle.evalEdge(0.0, kEverywhere, -3, out);  // a negative bound refines nothing
  EXPECT_EQ(out.size(), 3u);
}

TEST(NurbsEdgeState, ControlPointsKeepTheirWeightsAndTheBoxFollows) {
  Edge e(1, {0, 0, 1, 1}, ctrl({{1, 2, 2}, {-3, 5, 0.5}}), 4, 5);
  EXPECT_FALSE(e.isDeleted());
  EXPECT_TRUE(Edge().isDeleted());
  EXPECT_EQ(e.getCtrlXCoord(0), 1.0);
  EXPECT_EQ(e.getBoundingBox().bounds(), std::vector<float>({-3, 1, 2, 5}));
  e.setCtrlPoint(0, 7, -1);
  // w·x and w·y with the kept weight 2.
  EXPECT_EQ(
      std::vector<double>({e.getCtrlPoints()(0, 0), e.getCtrlPoints()(0, 1), e.getCtrlWeight(0)}),
      std::vector<double>({14, -2, 2}));
  EXPECT_EQ(e.getCtrlPoint(0), (Coord{7, -1, 0}));
  EXPECT_TRUE(e.isModified() && !e.isBoundingBoxValid());
  EXPECT_EQ(e.getBoundingBox().getMaxX() + e.getBoundingBox().getMinY(), 7.0f - 1.0f);
  const BoundingBox2D empty = Edge().getBoundingBox();
  EXPECT_EQ(empty.getMinX(), float(kInf));
  EXPECT_EQ(empty.getMaxY(), -float(kInf));
}

namespace {

// Vertices 0 (0, 0), 1 (1, 0), 2 (1, 1). Edge 0 runs from vertex 0 to 1, edge 1 is free, edge 2
// runs from vertex 1 (a point of weight 2) to vertex 2 through an interior point.
RenderDrawEdit2D sketch() {
  RenderDrawEdit2D s(7);
  s.addVertex({false, false, 0, 0});
  s.addVertex({false, false, 1, 0});
  s.addVertex({false, false, 1, 1});
  s.addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{0, 0, 1}, {1, 0, 1}}), 0, 1));
  s.addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{3, 3, 1}, {4, 3, 1}}), -1, -1));
  s.addEdge(Edge(2, {0, 0, 0, 1, 1, 1}, ctrl({{1, 0, 2}, {2, 0.5, 1}, {1, 1, 1}}), 1, 2));
  return s;
}

}  // namespace

TEST(RenderDrawEdit2DEditing, VerticesCarryTheEdgeEndsAttachedToThem) {
  RenderDrawEdit2D s = sketch();
  std::vector<float> box;
  s.getBoundingBox(box);  // every box current
  Ints changed{9, 9, 9};
  s.setVertexCoord(1, 2, 3, changed);  // the end of edge 0 and the start of edge 2
  EXPECT_EQ(changed, (Ints{0, 2}));
  EXPECT_TRUE(s.getVertex(1).modified && s.getVertex(1).x == 2.0);
  EXPECT_EQ(s.getEdge(0).getCtrlPoint(1), (Coord{2, 3, 0}));
  // Weight 2 kept: 2·2 and 2·3.
  EXPECT_EQ(s.getEdge(2).getCtrlPoints()(0, 0) + s.getEdge(2).getCtrlPoints()(0, 1), 4.0 + 6.0);
  EXPECT_TRUE(s.getEdge(0).isModified() && s.getEdge(2).isModified());
  EXPECT_FALSE(s.getEdge(0).isBoundingBoxValid() || s.getEdge(2).isBoundingBoxValid());
  EXPECT_FALSE(s.getEdge(1).isModified() || s.isBoundingBoxValid());
  EXPECT_TRUE(s.getEdge(1).isBoundingBoxValid());

  // The first point of an edge with a start vertex moves that vertex and all it carries.
  s.setEdgeCtrlPoint(0, 0, -1, -1, changed);
  EXPECT_EQ(changed, (Ints{0}));
  EXPECT_EQ(s.getVertex(0).y, -1.0);
  s.setEdgeCtrlPoint(2, 2, 5, 5, changed);  // the last point: through vertex 2
  EXPECT_EQ(changed, (Ints{2}));
  EXPECT_EQ(s.getVertex(2).x, 5.0);
  // Points of free ends and interior points move alone and leave changedEdges as it was.
  changed = {4};
  s.setEdgeCtrlPoint(1, 0, 8, 8, changed);
  s.setEdgeCtrlPoint(2, 1, 6, 6, changed);
  EXPECT_EQ(changed, (Ints{4}));
  EXPECT_EQ(s.getEdge(1).getCtrlXCoord(0) + s.getEdge(1).getCtrlXCoord(1), 8.0 + 4.0);
  EXPECT_TRUE(s.getEdge(1).isModified() && s.getEdge(2).getCtrlYCoord(1) == 6.0);

  // A closed edge is listed once; an edge without points, or a vertex number that names no
  // vertex, moves nothing it does not have.
  RenderDrawEdit2D odd(1);
  odd.addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{0, 0, 1}, {1, 0, 1}}), 0, 0));
  odd.addEdge(Edge(1, {}, {}, 0, 0));
  odd.addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{0, 0, 1}, {1, 0, 1}}), 99, -1));
  odd.setVertexCoord(0, 2, 2, changed);
  EXPECT_EQ(changed, (Ints{0, 1}));
  EXPECT_EQ(odd.getEdge(0).getCtrlXCoord(0) + odd.getEdge(0).getCtrlXCoord(1), 4.0);
  odd.setEdgeCtrlPoint(2, 0, 3, 3, changed);
  EXPECT_EQ(changed, (Ints{2}));
  EXPECT_EQ(odd.getEdge(2).getCtrlXCoord(0), 3.0);
}

TEST(RenderDrawEdit2DExtent, VerticesAndControlPolygonsDeletedOnesIncluded) {
  std::vector<float> box{1};
  RenderDrawEdit2D().getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{float(kInf), -float(kInf), float(kInf), -float(kInf)}));
  RenderDrawEdit2D s = sketch();
  s.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{0, 4, 0, 3}));  // edge 1 reaches (4, 3), edge 2 x = 2
  EXPECT_TRUE(s.isBoundingBoxValid());
  s.addVertex({true, false, 5, -5});
  Edge gone(1, {0, 0, 1, 1}, ctrl({{-2, 0, 1}, {0, 9, 1}}), -1, -1);
  gone.setDeleted(true);
  s.addEdge(gone);
  s.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-2, 5, -5, 9}));
  Ints changed;
  s.setEdgeCtrlPoint(3, 1, 0, 20, changed);
  s.getBoundingBox(box);
  EXPECT_EQ(box[3], 20.0f);
}

TEST(RenderDrawEdit2DSerialization, WriteSequenceAndRoundTrips) {
  RenderDrawEdit2D s(7);
  s.setLabel("s");
  s.addVertex({false, true, 1.5, -2});
  s.addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{1, 2, 1}, {3, 4, 0.5}}), 0, -1));
  Lines expected;
  for (const Lines& part :
       {qvtest::seq("string RenderDrawEdit2D|unsigned 0|# version|int 12|# object type|int 7|"
                    "# unique identifier|string s|# object label|# |# bounding box|bool false|"
                    "# bb valid"),
        written(BoundingBox2D()),
        qvtest::seq("# |int 1|# number of vertices|int 1|# number of edges|# Vertices|# Vertex|"
                    "bool false|bool true|double 1.5|double -2|# |# Curves|bool false|# deleted|"
                    "bool false|# modified|int 1|# degree|int 0|# vertex 1|int -1|# vertex 2|"
                    "# bounding box|bool false|# bb valid"),
        written(BoundingBox2D()),
        qvtest::seq("# |unsigned 4|double 0|double 0|double 1|double 1|# knots|unsigned 2|"
                    "unsigned 3|double 1|double 1.5|double 2|double 2|double 1|double 0.5|"
                    "# control points|# ")})
    expected.insert(expected.end(), part.begin(), part.end());
  EXPECT_EQ(written(s), expected);

  // Every field is written, so copies that write the same have every field back; that holds
  // for the caches too, stale (as above) or current.
  std::vector<std::vector<std::string>> sequences;
  for (int fresh = 0; fresh < 2; ++fresh) {
    if (fresh) {
      std::vector<float> box;
      s.getBoundingBox(box);
    }
    sequences.push_back(written(s));
    std::vector<RenderDrawEdit2D> copies = qvtest::streamCopies(s);
    copies.push_back(*nkboost::dynamic_pointer_cast<RenderDrawEdit2D>(s.clone()));
    for (const RenderDrawEdit2D& r : copies)
      EXPECT_EQ(written(r), sequences.back());
  }
  EXPECT_NE(sequences[0], sequences[1]);
  EXPECT_TRUE(qvtest::streamCopies(s)[0].getEdge(0).isBoundingBoxValid());
  qvtest::expectEveryTruncationRaisesEndOfFile(s);
}

TEST(RenderDrawEdit2DSerialization, RefusedVersionsAndCountsTheStreamCannotHold) {
  qvtest::expectVersionsRefused(RenderDrawEdit2D(4), {1, -1}, "datacarrier/renderdrawedit2d:479");

  // One vertex and one edge, whose stream ends with the knot count, 4 knots, the extents 2 and
  // 3 and 6 values; these are the offsets from the end of the counts to corrupt.
  RenderDrawEdit2D small(1);
  small.addVertex({});
  small.addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{1, 2, 1}, {3, 4, 1}}), 0, -1));
  const std::vector<char> bytes = qvtest::binaryOf(small);
  const std::size_t kRows = 6 * 8 + 8, kCols = kRows - 4, kKnots = kRows + 4 * 8 + 4;
  // Before the knots: the edge's flags and box (58 bytes), the vertex (18), the edge count.
  const std::size_t kEdges = kKnots + 58 + 18 + 4, kVertices = kEdges + 4;
  struct Case {
    std::size_t at;
    int value;
    bool lengthKnown;
    std::string outcome;
  };
  // Counts the stream cannot hold raise before anything is allocated; extents whose product is
  // negative or overflows an int raise the standard length error. Where the stream cannot say
  // how long it is, the values are taken as they come until it ends (no 1.2 GB array first).
  for (const Case& c :
       {Case{kVertices, 3000000, true, "End_of_file_reached"},
        Case{kEdges, 3000000, true, "End_of_file_reached"},
        Case{kEdges, 3000000, false, "End_of_file_reached"}, Case{kEdges, -1, true, "length_error"},
        Case{kKnots, 3000000, true, "End_of_file_reached"},
        Case{kKnots, 300000000, false, "End_of_file_reached"},
        Case{kRows, 3000000, true, "End_of_file_reached"},
        Case{kCols, 3000000, true, "End_of_file_reached"},
        Case{kRows, 50000000, false, "End_of_file_reached"}, Case{kRows, -1, true, "length_error"},
        Case{kRows, INT_MAX, false, "length_error"}}) {
    std::vector<char> corrupt = bytes;
    std::memcpy(&corrupt[corrupt.size() - c.at], &c.value, 4);
    BinaryISerialStream known(corrupt);
    UnknownLength unknown(corrupt);
    RenderDrawEdit2D s;
    std::string outcome = "none";
    try {
      s.deserialize(c.lengthKnown ? static_cast<ISerialStream&>(known) : unknown);
    } catch (const std::length_error&) {
      outcome = "length_error";
    } catch (const nkbase::Exception& e) {
      outcome = e.getCode();
    }
    EXPECT_EQ(outcome, c.outcome) << c.at << " " << c.value;
  }
}

TEST(RenderDrawEdit2DModel, IdentityAndTheQueriesItRefuses) {
  EXPECT_EQ(RenderDrawEdit2D().getObjectType(), RenderDrawGeom::UNSET);
  const RenderDrawEdit2D s = sketch();
  EXPECT_EQ(s.getObjectType(), RenderDrawGeom::DRAW_EDIT_2D);
  EXPECT_EQ(s.getDimension(), 0);  // deliberately, although the sketch is planar
  EXPECT_EQ(s.getDataCarrierType(), nkdatacarrier::IDataCarrier::DC_RENDER_DRAW);
  RenderDrawEdit2D cleared = s;
  cleared.clear();
  EXPECT_EQ(cleared.getNumVtx() + cleared.getNumEdg(), 0);
  EXPECT_EQ(cleared.getId(), 7);
  EXPECT_EQ(s.getNumEdg(), 3);

  const RenderDrawGeom& g = s;
  const std::vector<double> c{0, 0}, box{0, 1, 0, 1};
  std::vector<int> found{1};
  const std::string src = "datacarrier/renderdrawedit2d:";
  const std::string unsupported = " Unsupported_operation_on_this_type_of_object";
  EXPECT_EQ(raiseSite([&] { g.getVolume(2, {0}); }), src + "314" + unsupported);
  EXPECT_EQ(raiseSite([&] { g.getBndArea(1, {}); }), src + "318" + unsupported);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall(c, 1, 1, true, {0}, found); }),
            src + "356" + unsupported);
  EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox(box, 2, false, {}, found); }),
            src + "362" + unsupported);
  EXPECT_EQ(raiseSite([&] { g.isInBall(c, 1, 7, false, {}); }), src + "367" + unsupported);
  EXPECT_EQ(raiseSite([&] { g.isInBox(box, 1, true, {0}); }), src + "372" + unsupported);
  EXPECT_EQ(raiseSite([&] { g.numUniquePointsEstimate(); }),
            "datacarrier/renderdrawedit2d.h:171 numUniquePointsEstimate not implemented in edit2D");
  EXPECT_EQ(found, (std::vector<int>{1}));
}
