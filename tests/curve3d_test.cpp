#include "datacarrier/curve3d.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <random>

#include "datacarrier/internal/segmentmath.h"

#include "datacarrier/postdataobject.h"
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::Curve3D;
using nkdatacarrier::PostDataObject;
using nkvec::DVec3;
using qvtest::ForgedIStream;
using Values = std::vector<ForgedIStream::Value>;
using V = Curve3D::Vertex;

namespace {

Curve3D makeCurve(std::vector<V> points, BoundingBox3D box, bool valid = true) {
  Curve3D c;
  c.reserve(static_cast<int>(points.size()));
  for (const auto& p : points)
    c.appendVertex(p.x, p.y, p.z);
  c.setBoundingBox3D(box);
  c.setValid(valid);
  return c;
}

const BoundingBox3D kWide(-100.0f, 100.0f, -100.0f, 100.0f, -100.0f, 100.0f);

// Values of a forged stream: `head`, a nested box (1 .. 6), then `tail`.
Values withBox(Values head, const Values& tail) {
  const Values box{std::string("RenderBoundingBox3D"), 0, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};
  head.insert(head.end(), box.begin(), box.end());
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

// The single block of line elements a plane cut added to `out`, as (x, y, z, first, second).
struct Cut {
  std::vector<double> x, y, z;
  std::vector<int> first, second;
};
Cut cutOf(const PostDataObject& out, int g) {
  return {out.getVertices(g, PostDataObject::DIR_X), out.getVertices(g, PostDataObject::DIR_Y),
          out.getVertices(g, PostDataObject::DIR_Z), out.getElementIndices(g, 0),
          out.getElementIndices(g, 1)};
}

}  // namespace

TEST(Curve3DMeasure, LengthSumsSinglePrecisionSegments) {
  EXPECT_EQ(makeCurve({{0, 0, 0}, {1, 2, 2}, {1, 2, 6}}, {}).getLength(), 7.0);
  // sqrt(3) rounded to float, then widened.
  EXPECT_EQ(makeCurve({{0, 0, 0}, {1, 1, 1}}, {}).getLength(), 1.73205077648162841796875);
  EXPECT_EQ(makeCurve({{2, 2, 2}}, {}).getLength(), 0.0);
  EXPECT_EQ(makeCurve({{0, 0, 0}, {3, 4, 0}}, {}, false).getLength(), 0.0);
}

TEST(Curve3DBallAndBox, InsideIsInclusiveAndRejectsByTheStoredBox) {
  const Curve3D c = makeCurve({{0, 0, 0}, {2, 3, 6}}, {0.0f, 2.0f, 0.0f, 3.0f, 0.0f, 6.0f});
  EXPECT_TRUE(c.insideBall({0, 0, 0}, 7.0));  // (2, 3, 6) on the sphere
  EXPECT_FALSE(c.insideBall({0, 0, 0}, 6.999));
  EXPECT_TRUE(c.insideBox({0, 2, 0, 3, 0, 6}));
  EXPECT_FALSE(c.insideBox({0, 2, 0, 3, 0.001, 6}));  // z checked too
  const Curve3D wrongBox = makeCurve({{0, 0, 0}, {2, 3, 6}}, {10.0f, 11.0f, 0, 6, 0, 6});
  EXPECT_FALSE(wrongBox.insideBall({0, 0, 0}, 7.0));
  EXPECT_FALSE(wrongBox.insideBox({-1, 3, -1, 4, -1, 7}));
  EXPECT_FALSE(wrongBox.intersectsBall({0, 0, 0}, 7.0));
  // Without vertices a valid curve is inside whatever its box meets and intersects nothing;
  // one vertex is never a segment.
  const Curve3D none = makeCurve({}, {0, 1, 0, 1, 0, 1});
  EXPECT_TRUE(none.insideBox({0.5, 2, 0.5, 2, 0.5, 2}));
  EXPECT_FALSE(none.insideBox({0.5, 2, 0.5, 2, 2, 3}));
  EXPECT_TRUE(none.insideBall({1, 1, 1}, 0.5));
  const Curve3D one = makeCurve({{0.5f, 0.5f, 0.5f}}, {0.5f, 0.5f, 0.5f, 0.5f, 0.5f, 0.5f});
  EXPECT_TRUE(one.insideBall({0.5, 0.5, 0.5}, 1.0));
  EXPECT_FALSE(one.intersectsBall({0.5, 0.5, 0.5}, 1.0));
  EXPECT_FALSE(one.intersectsBox({0, 1, 0, 1, 0, 1}));
  const Curve3D invalid = makeCurve({{0, 0, 0}, {1, 1, 1}}, {0, 1, 0, 1, 0, 1}, false);
  EXPECT_FALSE(invalid.insideBox({-1, 2, -1, 2, -1, 2}));
  EXPECT_FALSE(invalid.insideBall({0, 0, 0}, 100.0));
  EXPECT_FALSE(invalid.intersectsBox({-1, 2, -1, 2, -1, 2}));
}

TEST(Curve3DBallAndBox, BallIsStrictBoxIsInclusive) {
  const Curve3D c = makeCurve({{0, 1, 0}, {2, 1, 0}, {2, 1, 5}}, kWide);
  EXPECT_FALSE(c.intersectsBall({1, 0, 0}, 1.0));  // exactly at the radius
  EXPECT_TRUE(c.intersectsBall({1, 0, 0}, 1.0001));
  EXPECT_TRUE(c.intersectsBall({2, 1, 7}, 2.0001));  // near the last vertex only
  EXPECT_FALSE(c.intersectsBall({2, 1, 7}, 2.0));
  EXPECT_TRUE(c.intersectsBox({2, 3, 1, 2, 5, 6}));  // corner (2, 1, 5) touched
  EXPECT_FALSE(c.intersectsBox({2, 3, 1, 2, 5.001, 6}));
  EXPECT_TRUE(c.intersectsBox({1.5, 2.5, 0.5, 1.5, 2, 3}));  // the second segment passes through
  EXPECT_FALSE(c.intersectsBox({0, 1.5, 0.5, 1.5, 1, 3}));   // between the two segments
}

TEST(Curve3DBallAndBox, BoxLineIntersectTestsEveryCoordinatePlane) {
  const std::vector<double> unit{0, 1, 0, 1, 0, 1};
  EXPECT_TRUE(Curve3D::boxLineIntersect(unit, {0, 2, 0.5f}, {2, 0, 0.5f}));  // edge x = y = 1
  EXPECT_TRUE(Curve3D::boxLineIntersect(unit, {-1, 0.5f, 0.5f}, {2, 0.5f, 0.5f}));
  EXPECT_TRUE(Curve3D::boxLineIntersect(unit, {0.2f, 0.2f, 0.2f}, {0.3f, 0.3f, 0.3f}));
  // Every axis range overlaps; only the normal in one coordinate plane separates.
  EXPECT_FALSE(Curve3D::boxLineIntersect(unit, {0, 2.5f, 0.5f}, {2.5f, 0, 0.5f}));  // (x, y)
  EXPECT_FALSE(Curve3D::boxLineIntersect(unit, {0.5f, 0, 2.5f}, {0.5f, 2.5f, 0}));  // (y, z)
  EXPECT_FALSE(Curve3D::boxLineIntersect(unit, {0, 0.5f, 2.5f}, {2.5f, 0.5f, 0}));  // (z, x)
  // Beside the box on each axis.
  EXPECT_FALSE(Curve3D::boxLineIntersect(unit, {0.5f, 0.5f, 2}, {0.5f, 0.5f, 3}));
  EXPECT_FALSE(Curve3D::boxLineIntersect(unit, {0.5f, 0.5f, -3}, {0.5f, 0.5f, -2}));
}

TEST(Curve3DCylinder, VertexInsideIsClosedAndNormalisesTheAxis) {
  // Axis point at the origin, axis along z given with length 2, radius 1, heights -1 .. 2.
  const std::vector<double> base{0, 0, 0}, axis{0, 0, 2};
  auto inside = [&](V v) { return Curve3D::vertexInsideCylinder(base, axis, 1.0, 2.0, -1.0, v); };
  EXPECT_TRUE(inside({0, 0, 2}));   // on the top cap
  EXPECT_TRUE(inside({0, 0, -1}));  // on the bottom cap
  EXPECT_FALSE(inside({0, 0, 2.001f}));
  EXPECT_FALSE(inside({0, 0, -1.001f}));
  EXPECT_TRUE(inside({1, 0, 0.5f}));  // on the mantle
  EXPECT_FALSE(inside({1, 0.001f, 0.5f}));
  const Curve3D c = makeCurve({{0, 0, 2}, {1, 0, 0.5f}, {0, -1, -1}}, {0, 1, -1, 0, -1, 2});
  EXPECT_TRUE(c.insideCylinder(base, axis, 1.0, 2.0, -1.0));
  EXPECT_FALSE(c.insideCylinder(base, axis, 1.0, 1.9, -1.0));
  // The prefilter cube has half size sqrt(r^2 + max(top^2, bottom^2)) = sqrt(5) around the base.
  const Curve3D none = makeCurve({}, {2.2f, 3, 0, 1, 0, 1});
  EXPECT_TRUE(none.insideCylinder(base, axis, 1.0, 2.0, -1.0));
  EXPECT_FALSE(makeCurve({}, {2.3f, 3, 0, 1, 0, 1}).insideCylinder(base, axis, 1.0, 2.0, -1.0));
  EXPECT_FALSE(makeCurve({}, {0, 1, 0, 1, 0, 1}, false).insideCylinder(base, axis, 1, 2, -1));
}

TEST(Curve3DCylinder, SegmentsAreClippedToTheSlabAndTouchingCounts) {
  const std::vector<double> base{0, 0, 0}, axis{0, 0, 1};
  auto meets = [&](V a, V b, double r, double top, double bottom) {
    return makeCurve({a, b}, kWide).intersectsCylinder(base, axis, r, top, bottom);
  };
  EXPECT_TRUE(meets({1, 0, -1}, {1, 0, 3}, 1.0, 2.0, 0.0));  // parallel at the radius
  EXPECT_FALSE(meets({1.001f, 0, -1}, {1.001f, 0, 3}, 1.0, 2.0, 0.0));
  EXPECT_FALSE(meets({-2, 0, 2.5f}, {2, 0, 2.5f}, 1.0, 2.0, 0.0));  // across, above the top
  EXPECT_FALSE(meets({-2, 0, -0.5f}, {2, 0, -0.5f}, 1.0, 2.0, 0.0));
  EXPECT_TRUE(meets({-2, 0, 2}, {2, 0, 2}, 1.0, 2.0, 0.0));  // across, on the top plane
  // Slanted through the top plane: clipped at (2.5, 0, 2), the part inside the slab keeps 2.5
  // from the axis although its unclipped end comes within 1.5.
  EXPECT_FALSE(meets({1.5f, 0, 3}, {3.5f, 0, 1}, 2.0, 2.0, 0.0));
  EXPECT_TRUE(meets({1.5f, 0, 3}, {3.5f, 0, 1}, 2.5, 2.0, 0.0));
  // A single vertex never intersects; an invalid curve neither.
  EXPECT_FALSE(makeCurve({{0, 0, 0}}, kWide).intersectsCylinder(base, axis, 1.0, 1.0, -1.0));
  EXPECT_FALSE(
      makeCurve({{0, 0, 0}, {0, 0, 1}}, kWide, false).intersectsCylinder(base, axis, 1, 1, -1));
  // Only the second segment reaches the cylinder.
  EXPECT_TRUE(makeCurve({{5, 5, 0}, {5, 6, 0}, {0.5f, 0, 0}}, kWide)
                  .intersectsCylinder(base, axis, 1.0, 1.0, -1.0));
}

TEST(Curve3DCylinder, BothEndsClippedPlacesTheLowerEndOffTheBottomPlane) {
  // From (4, 0, 3) down to (0, 0, -1) through the slab 0 <= z <= 1. The upper end is clipped to
  // (2, 0, 1); the lower end then uses t = 0.75 of the unclipped segment but starts from the
  // clipped upper end: (0.5, 0, -0.5) instead of (1, 0, 0). The projected segment therefore
  // comes within 0.5 of the axis, not 1.
  const std::vector<double> base{0, 0, 0};
  const DVec3 e1(0, 1, 0), e2(-1, 0, 0), n(0, 0, 1);
  const V a{4, 0, 3}, b{0, 0, -1};
  EXPECT_TRUE(Curve3D::cylinderLineIntersect(base, e1, e2, n, 0.5, 1.0, 0.0, a, b));
  EXPECT_TRUE(Curve3D::cylinderLineIntersect(base, e1, e2, n, 0.5, 1.0, 0.0, b, a));
  EXPECT_FALSE(Curve3D::cylinderLineIntersect(base, e1, e2, n, 0.499, 1.0, 0.0, a, b));
  // The member test builds the same frame from the axis.
  const Curve3D c = makeCurve({a, b}, {0, 4, 0, 0, -1, 3});
  EXPECT_TRUE(c.intersectsCylinder(base, {0, 0, 5}, 0.5, 1.0, 0.0));
  EXPECT_FALSE(c.intersectsCylinder(base, {0, 0, 5}, 0.499, 1.0, 0.0));
  // A segment perpendicular to the axis within 1e-7 of its length is not clipped: its end just
  // above the top keeps it whole (clipped, it would shrink to its far end at x = -10).
  const V flatA{-10, 0.5f, 1}, flatB{10, 0.5f, 1.000001f};
  EXPECT_TRUE(Curve3D::cylinderLineIntersect(base, e1, e2, n, 0.5, 1.0, 0.0, flatA, flatB));
  EXPECT_FALSE(Curve3D::cylinderLineIntersect(base, e1, e2, n, 0.499, 1.0, 0.0, flatA, flatB));
}

TEST(Curve3DPlaneCut, ReportsOnlySegmentsLyingInThePlane) {
  PostDataObject out;
  const Array<double, 1> point{0, 0, 1}, up{0, 0, 1};
  makeCurve({{0, 0, 1}, {1, 0, 1}, {1, 1, 1}}, kWide).findPlaneIntersections(point, up, out);
  // Crossing the plane is not lying in it; a curve without vertices adds an empty block.
  makeCurve({{0, 0, 0}, {0, 0, 2}, {1, 0, 1}}, kWide).findPlaneIntersections(point, up, out);
  makeCurve({}, kWide).findPlaneIntersections(point, up, out);
  ASSERT_EQ(out.getGroups(), 3);
  const Cut in = cutOf(out, 0);
  EXPECT_EQ(in.x, (std::vector<double>{0, 1, 1, 1}));  // the middle vertex twice
  EXPECT_EQ(in.y, (std::vector<double>{0, 0, 0, 1}));
  EXPECT_EQ(in.z, (std::vector<double>{1, 1, 1, 1}));
  EXPECT_EQ(in.first, (std::vector<int>{0, 2}));
  EXPECT_EQ(in.second, (std::vector<int>{1, 3}));
  EXPECT_TRUE(out.getData(0).empty());
  for (int g = 1; g < 3; ++g) {
    EXPECT_EQ(out.getVertices(g).size(), 3u);
    EXPECT_TRUE(out.getVertices(g, PostDataObject::DIR_X).empty());
    EXPECT_EQ(out.getElementIndices(g).size(), 2u);
    EXPECT_TRUE(out.getElementIndices(g, 0).empty());
  }
}

TEST(Curve3DPlaneCut, ToleranceFollowsTheLargestExtentStrictly) {
  const double tol = 1e-7 * 10.0;                                // extent 10 in x
  const Curve3D dot = makeCurve({{1, 1, 1}, {1, 1, 1}}, kWide);  // zero extent: tol = 1e-7
  const struct {
    Curve3D curve;
    double z, normalZ;
    bool lies;
  } cases[] = {{makeCurve({{0, 0, 0}, {10, 0, 5e-7f}}, kWide), 0, 1, true},
               {makeCurve({{0, 0, 0}, {10, 0, 2e-6f}}, kWide), 0, 1, false},
               // A normal 1000 times longer scales the distances, not the tolerance.
               {makeCurve({{0, 0, 0}, {10, 0, 5e-7f}}, kWide), 0, 1000, false},
               {dot, 1.00000005, 1, true},
               {dot, 1.0000002, 1, false},
               // A distance of exactly the tolerance is outside, on both sides.
               {makeCurve({{0, 0, 0}, {10, 0, 0}}, kWide), tol, 1, false},
               {makeCurve({{0, 0, 0}, {10, 0, 0}}, kWide), -tol, 1, false},
               {makeCurve({{0, 0, 0}, {10, 0, 0}}, kWide), 0.99 * tol, 1, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.z);
    PostDataObject out;
    c.curve.findPlaneIntersections(Array<double, 1>{0, 0, c.z}, Array<double, 1>{0, 0, c.normalZ},
                                   out);
    ASSERT_EQ(out.getGroups(), 1);
    EXPECT_EQ(out.getElementIndices(0, 0).size(), c.lies ? 1u : 0u);
    // The vertices are reported as they are, not projected onto the plane.
    if (c.lies) {
      EXPECT_EQ(out.getVertices(0, PostDataObject::DIR_Z)[1], c.curve.getVertex(1).z);
    }
  }
}

TEST(Curve3DSerialization, WritesTheExactSequence) {
  Curve3D c = makeCurve({{0, 0.5f, 1}, {3, 2, -1}}, {0, 3, 0.5f, 2, -1, 1}, false);
  qvtest::RecordingOStream invalid, os;
  nkbase::Prop prop;
  c.serializeRaw(invalid, prop);
  const std::string head =
      "unsigned 1|# version|# Bounding box|string RenderBoundingBox3D|unsigned 0|# version|"
      "float 0|# minimum x-coordinate|float 3|# maximum x-coordinate|float 0.5|"
      "# minimum y-coordinate|float 2|# maximum y-coordinate|float -1|# minimum z-coordinate|"
      "float 1|# maximum z-coordinate|# |";
  EXPECT_EQ(invalid.lines, qvtest::seq(head + "bool false|# is valid"));
  c.setValid(true);
  c.serializeRaw(os, prop);
  EXPECT_EQ(os.lines,
            qvtest::seq(head + "bool true|# is valid|int 2|# number of vertices|"
                               "# Vertex coordinates|float 0|float 0.5|float 1|# |float 3|"
                               "float 2|float -1|# "));
}

TEST(Curve3DSerialization, ReadsVersionZeroAndKeepsTheCurveOnAnInvalidStream) {
  Curve3D c = makeCurve({{1, 2, 3}, {4, 5, 6}}, {1, 2, 3, 4, 5, 6});  // the forged box
  const std::vector<char> before = qvtest::binaryOf(c);
  ForgedIStream invalid0({0, false, 99});
  c.deserializeRaw(invalid0);
  EXPECT_EQ(invalid0.consumed(), 2u);  // version and flag only
  ForgedIStream invalid1(withBox({1}, {false}));
  c.deserializeRaw(invalid1);
  EXPECT_EQ(invalid1.consumed(), invalid1.size());
  EXPECT_EQ(qvtest::binaryOf(c), before);
  // Version 0: the flag, then the box of a valid curve.
  ForgedIStream valid0(withBox({0, true}, {1, 1.5f, 2.5f, 3.5f}));
  c.deserializeRaw(valid0);
  EXPECT_EQ(valid0.consumed(), valid0.size());
  EXPECT_EQ(qvtest::binaryOf(c),
            qvtest::binaryOf(makeCurve({{1.5f, 2.5f, 3.5f}}, {1, 2, 3, 4, 5, 6})));
}

TEST(Curve3DSerialization, RefusesUnknownVersionsBadCountsAndTruncation) {
  qvtest::expectVersionsRefused(Curve3D(), {2, -1}, "datacarrier/curve3d:");
  Curve3D c;
  ForgedIStream negative(withBox({0, true}, {-1}));
  EXPECT_THROW(c.deserializeRaw(negative), std::length_error);
  ForgedIStream huge(withBox({1}, {true, INT_MAX, 1.0f, 2.0f, 3.0f}));
  EXPECT_EQ(qvtest::codeOf([&] { c.deserializeRaw(huge); }), "End_of_file_reached");

  c = makeCurve({{0, 0, 0}, {1, 1, 1}, {2, 0, 1}}, {0, 2, 0, 1, 0, 1});
  qvtest::expectEveryTruncationRaisesEndOfFile(c);
  std::vector<char> bytes = qvtest::binaryOf(c);
  bytes[bytes.size() - 3 * 12 - 1] = 0x7f;  // the count's high byte, before three vertices
  BinaryISerialStream is(bytes);
  EXPECT_EQ(qvtest::codeOf([&] { c.deserialize(is); }), "End_of_file_reached");
}

TEST(Curve3DSkipping, SegmentsRuledOutByTheirEndsNeverChangeAnAnswer) {
  // Curves whose single meeting segment (if any) lies within rounding of the shape's edge,
  // among segments far off, at many scales and offsets, some with a NaN or infinite vertex or a
  // stored box that understates the vertices: the ball, box and cylinder tests must agree with
  // testing every segment.
  namespace sm = nkdatacarrier::segmentmath;
  std::mt19937 rng(3);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  int hits[3] = {0, 0, 0};
  for (int i = 0; i < 30000; ++i) {
    const double scale = std::ldexp(1.0, static_cast<int>(rng() % 60) - 30);
    const double shift = (i % 3 ? 0.0 : 1e3) * scale * unit(rng);
    const double c[3] = {shift, shift, shift};
    const double r = scale * (0.5 + 0.5 * std::fabs(unit(rng)));
    // Two ends close to the shape's edge: about r from the centre (ball, cylinder) or on the
    // box's face x = shift + r, near one axis so that the codes of both ends may agree.
    const double angle =
        (rng() % 4) * 1.5707963267948966 + unit(rng) * std::ldexp(1.0, -int(8 + rng() % 30));
    const double side = i / 2 % 2 ? 1.0 : -1.0;  // both ends just outside, or just inside
    auto nearEdge = [&] {
      const double a = angle + unit(rng) * std::ldexp(1.0, -int(8 + rng() % 30));
      const double d = r * (1.0 + side * std::ldexp(std::fabs(unit(rng)), -int(rng() % 40)));
      return V{float(shift + d * std::cos(a)), float(shift + d * std::sin(a)),
               float(shift + 0.5 * r * unit(rng))};
    };
    std::vector<V> points;
    for (int k = 0; k < 40; ++k)  // far off, on the far side of no face
      points.push_back({float(shift + 3 * scale * (k % 2 ? 1 : -1)), float(shift + 3 * scale),
                        float(shift - 3 * scale * (k % 3))});
    points.push_back(nearEdge());
    points.push_back(nearEdge());
    if (i % 17 == 0) points[5].y = std::nanf("");
    if (i % 19 == 0) points[7].z = HUGE_VALF;
    // The stored box: the vertices' own (NaN skipped), or all 0 (understating them).
    float lo[3] = {HUGE_VALF, HUGE_VALF, HUGE_VALF}, hi[3] = {-HUGE_VALF, -HUGE_VALF, -HUGE_VALF};
    for (const V& p : points) {
      const float xyz[3] = {p.x, p.y, p.z};
      for (int k = 0; k < 3; ++k) {
        lo[k] = std::min(lo[k], xyz[k]);
        hi[k] = std::max(hi[k], xyz[k]);
      }
    }
    const BoundingBox3D box = i % 5 == 0 ? BoundingBox3D(0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f)
                                         : BoundingBox3D(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]);
    const Curve3D curve = makeCurve(points, box);
    const std::vector<double> centre(c, c + 3);
    const auto plain = [&](auto meets) {
      for (std::size_t k = 0; k + 1 < points.size(); ++k)
        if (meets(points[k], points[k + 1])) return true;
      return false;
    };
    // Ball.
    const bool ball = plain(
        [&](const V& a, const V& b) { return r * r > sm::pointSegmentDistance2<3>(c, a, b); });
    // Each test first compares the stored box with a box about the shape.
    const auto near = [&](double h) {
      return box.intersects(
          BoundingBox3D(c[0] - h, c[0] + h, c[1] - h, c[1] + h, c[2] - h, c[2] + h));
    };
    ASSERT_EQ(curve.intersectsBall(centre, r), near(r) && ball) << i;
    hits[0] += ball;
    // Box: a cube of half size r about the centre.
    const std::vector<double> cube = {c[0] - r, c[0] + r, c[1] - r, c[1] + r, c[2] - r, c[2] + r};
    const sm::CenteredBox<3> query(cube.data());
    const bool inBox =
        plain([&](const V& a, const V& b) { return sm::boxSegmentIntersect<3>(query, a, b); });
    ASSERT_EQ(curve.intersectsBox(cube), near(r) && inBox) << i;
    hits[1] += inBox;
    // Cylinder about the z axis through the centre, its slab ending near the ends.
    const double w[3] = {0, 0, 1};
    const sm::CylinderFrame frame(w);
    const double top = 0.5 * r * unit(rng), bottom = top - r * (i % 2 ? 0.3 : 4.0);
    const bool cylinder = plain([&](const V& a, const V& b) {
      return sm::segmentMeetsCylinder(c, frame.u, frame.v, frame.w, r * r, top, bottom,
                                      sm::xyzOf(a), sm::xyzOf(b));
    });
    // Only r * r enters the test, so a negative radius must not let the codes skip a segment.
    ASSERT_EQ(curve.intersectsCylinder(centre, {0, 0, 1}, i % 7 == 3 ? -r : r, top, bottom),
              near(sm::cylinderReach(r, top, bottom)) && cylinder)
        << i;
    hits[2] += cylinder;
  }
  for (int h : hits) {  // both answers occur often
    EXPECT_GT(h, 3000);
    EXPECT_LT(h, 27000);
  }
}
