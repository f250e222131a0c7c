#include "datacarrier/curve2d.h"

#include <gtest/gtest.h>

#include <climits>

#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Curve2D;
using qvtest::ForgedIStream;
using Values = std::vector<ForgedIStream::Value>;

namespace {

Curve2D makeCurve(std::vector<Curve2D::Vertex> points, BoundingBox2D box, bool valid = true) {
  Curve2D c;
  c.reserve(static_cast<int>(points.size()));
  for (const auto& p : points)
    c.appendVertex(p.x, p.y);
  c.setBoundingBox2D(box);
  c.setValid(valid);
  return c;
}

// Values of a forged stream: `head`, a nested box (1, 2, 3, 4), then `tail`.
Values withBox(Values head, const Values& tail) {
  const Values box{std::string("RenderBoundingBox2D"), 0, 1.0f, 2.0f, 3.0f, 4.0f};
  head.insert(head.end(), box.begin(), box.end());
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

}  // namespace

TEST(Curve2DMeasure, LengthSumsSinglePrecisionSegments) {
  EXPECT_EQ(makeCurve({{0, 0}, {3, 4}, {3, 10}}, {}).getLength(), 11.0);
  // sqrt(2) rounded to float, then widened.
  EXPECT_EQ(makeCurve({{0, 0}, {1, 1}}, {}).getLength(), 1.41421353816986083984375);
  EXPECT_EQ(makeCurve({{2, 2}}, {}).getLength(), 0.0);
  EXPECT_EQ(makeCurve({{0, 0}, {3, 4}}, {}, false).getLength(), 0.0);
}

TEST(Curve2DSegmentHelpers, PointLineDistanceClampsToTheSegment) {
  const Curve2D::Vertex a{0, 0}, b{2, 0};
  EXPECT_EQ(Curve2D::pointLineDistance2({1, 1}, a, b), 1.0);   // foot inside
  EXPECT_EQ(Curve2D::pointLineDistance2({3, 1}, a, b), 2.0);   // beyond b
  EXPECT_EQ(Curve2D::pointLineDistance2({-1, 0}, a, b), 1.0);  // before a
  EXPECT_EQ(Curve2D::pointLineDistance2({3, 4}, a, a), 25.0);  // degenerate segment
  // The direction 1e-8 - 1 rounds to -1 in single precision, so the origin lies on the segment.
  EXPECT_EQ(Curve2D::pointLineDistance2({0, 0}, {1, 0}, {1e-8f, 0}), 0.0);
}

TEST(Curve2DSegmentHelpers, BoxLineIntersectCountsTouching) {
  const std::vector<double> unit{0, 1, 0, 1};
  EXPECT_TRUE(Curve2D::boxLineIntersect(unit, {0, 2}, {2, 0}));         // corner (1, 1)
  EXPECT_FALSE(Curve2D::boxLineIntersect(unit, {0, 2.5f}, {2.5f, 0}));  // passes the corner
  EXPECT_TRUE(Curve2D::boxLineIntersect(unit, {1, -1}, {1, 2}));        // along a side
  EXPECT_TRUE(Curve2D::boxLineIntersect(unit, {-1, 0.5f}, {2, 0.5f}));  // crosses
  EXPECT_TRUE(Curve2D::boxLineIntersect(unit, {0.2f, 0.2f}, {0.3f, 0.3f}));
  // On the box's centre lines, beside it on each side: only the x or the y axis separates.
  using Segment = std::pair<Curve2D::Vertex, Curve2D::Vertex>;
  for (const auto& [a, b] : {Segment{{2, 0.5f}, {3, 0.5f}}, Segment{{-3, 0.5f}, {-2, 0.5f}},
                             Segment{{0.5f, 2}, {0.5f, 3}}, Segment{{0.5f, -3}, {0.5f, -2}}})
    EXPECT_FALSE(Curve2D::boxLineIntersect(unit, a, b)) << a.x << ", " << a.y;
}

TEST(Curve2DInside, BallAndBoxIncludeTheirBoundaryAndShortCurvesNeverIntersect) {
  const Curve2D c = makeCurve({{0, 0}, {3, 4}}, {0.0f, 3.0f, 0.0f, 4.0f});
  EXPECT_TRUE(c.insideBall({0, 0}, 5.0));  // (3, 4) on the sphere
  EXPECT_FALSE(c.insideBall({0, 0}, 4.999));
  EXPECT_TRUE(c.insideBox({0, 3, 0, 4}));
  EXPECT_FALSE(c.insideBox({0, 3, 0.001, 4}));
  // A query the stored box misses is rejected before any vertex is looked at.
  const Curve2D wrongBox = makeCurve({{0, 0}, {3, 4}}, {10.0f, 11.0f, 10.0f, 11.0f});
  EXPECT_FALSE(wrongBox.insideBall({0, 0}, 5.0));
  EXPECT_FALSE(wrongBox.insideBox({-1, 4, -1, 5}));
  // Fewer than two vertices are inside but never intersect; an invalid curve is neither.
  const Curve2D none = makeCurve({}, {0.0f, 1.0f, 0.0f, 1.0f});
  EXPECT_TRUE(none.insideBox({0.5, 2, 0.5, 2}));
  EXPECT_FALSE(none.insideBox({2, 3, 2, 3}));
  EXPECT_FALSE(none.intersectsBox({0, 1, 0, 1}));
  const Curve2D one = makeCurve({{0.5f, 0.5f}}, {0.5f, 0.5f, 0.5f, 0.5f});
  EXPECT_TRUE(one.insideBall({0.5, 0.5}, 1.0));
  EXPECT_FALSE(one.intersectsBall({0.5, 0.5}, 1.0));
  EXPECT_FALSE(one.intersectsBox({0, 1, 0, 1}));
  const Curve2D invalid = makeCurve({{0, 0}, {1, 1}}, {0.0f, 1.0f, 0.0f, 1.0f}, false);
  EXPECT_FALSE(invalid.insideBox({-1, 2, -1, 2}));
  EXPECT_FALSE(invalid.intersectsBall({0, 0}, 1.0));
}

TEST(Curve2DIntersects, BallIsStrictBoxIsInclusive) {
  const Curve2D c = makeCurve({{0, 1}, {2, 1}}, {0.0f, 2.0f, 1.0f, 1.0f});
  EXPECT_FALSE(c.intersectsBall({1, 0}, 1.0));  // the segment is exactly at the radius
  EXPECT_TRUE(c.intersectsBall({1, 0}, 1.0001));
  EXPECT_TRUE(c.intersectsBall({3, 1}, 1.0001));  // near the end vertex
  EXPECT_TRUE(c.intersectsBox({2, 3, 0, 1}));     // corner (2, 1) touched
  EXPECT_FALSE(c.intersectsBox({2.001, 3, 0, 1}));
  const Curve2D u = makeCurve({{0, 0}, {0, 4}, {4, 4}, {4, 0}}, {0.0f, 4.0f, 0.0f, 4.0f});
  EXPECT_TRUE(u.intersectsBox({1, 2, 3.5, 5}));  // second segment
  EXPECT_FALSE(u.intersectsBox({1, 3, 1, 3}));   // inside the bounding box, misses all
  EXPECT_FALSE(u.intersectsBall({2, 2}, 1.9));
}

TEST(Curve2DSerialization, WritesTheExactSequence) {
  Curve2D c = makeCurve({{0, 0}, {3, 0.5f}}, {0.0f, 3.0f, 0.0f, 0.5f}, false);
  c.setUp(5);
  qvtest::RecordingOStream invalid, os;
  nkbase::Prop prop;
  c.serializeRaw(invalid, prop);
  std::vector<std::string> expected = qvtest::seq(
      "unsigned 1|# version|# Bounding box|string RenderBoundingBox2D|unsigned 0|# version|"
      "float 0|# minimum x-coordinate|float 3|# maximum x-coordinate|float 0|"
      "# minimum y-coordinate|float 0.5|# maximum y-coordinate|# |bool false|# is valid");
  EXPECT_EQ(invalid.lines, expected);  // nothing after the flag, not even the side domains
  c.setValid(true);
  c.serializeRaw(os, prop);
  expected[15] = "bool true";
  const auto valid = qvtest::seq(
      "int 2|# number of vertices|# Vertex coordinates|float 0|float 0|# |float 3|float 0.5|# |"
      "# Domain on up side|int 5|# |# Domain on down side|int -1|# ");
  expected.insert(expected.end(), valid.begin(), valid.end());
  EXPECT_EQ(os.lines, expected);
}

TEST(Curve2DSerialization, ReadsVersionZeroAndKeepsTheCurveOnAnInvalidStream) {
  Curve2D c = makeCurve({{1, 2}, {3, 4}}, {1.0f, 2.0f, 3.0f, 4.0f});  // as the forged streams
  c.setUp(7);
  const std::vector<char> before = qvtest::binaryOf(c);
  ForgedIStream invalid0({0, false, 99});
  c.deserializeRaw(invalid0);
  EXPECT_EQ(invalid0.consumed(), 2u);  // version and flag only
  ForgedIStream invalid1(withBox({1}, {false}));
  c.deserializeRaw(invalid1);
  EXPECT_EQ(invalid1.consumed(), invalid1.size());
  EXPECT_EQ(qvtest::binaryOf(c), before);
  // Version 0: the flag, then the box of a valid curve.
  ForgedIStream valid0(withBox({0, true}, {1, 1.5f, 3.5f, 4, -1}));
  c.deserializeRaw(valid0);
  EXPECT_EQ(valid0.consumed(), valid0.size());
  Curve2D expected = makeCurve({{1.5f, 3.5f}}, {1.0f, 2.0f, 3.0f, 4.0f});
  expected.setUp(4);
  EXPECT_EQ(qvtest::binaryOf(c), qvtest::binaryOf(expected));
}

TEST(Curve2DSerialization, RefusesUnknownVersionsBadCountsAndTruncation) {
  qvtest::expectVersionsRefused(makeCurve({{0, 0}, {1, 1}}, {0.0f, 1.0f, 0.0f, 1.0f}), {2, -1});
  ForgedIStream negative(withBox({0, true}, {-1}));
  Curve2D c;
  EXPECT_THROW(c.deserializeRaw(negative), std::length_error);
  // A stream that cannot tell its length announces two billion vertices and holds one.
  ForgedIStream huge(withBox({1}, {true, INT_MAX, 1.0f, 2.0f}));
  EXPECT_EQ(qvtest::codeOf([&] { c.deserializeRaw(huge); }), "End_of_file_reached");

  c = makeCurve({{0, 0}, {1, 1}, {2, 0}}, {0.0f, 2.0f, 0.0f, 1.0f});
  qvtest::expectEveryTruncationRaisesEndOfFile(c);
  std::vector<char> bytes = qvtest::binaryOf(c);
  bytes[bytes.size() - 3 * 8 - 8 - 1] = 0x7f;  // count's high byte, before 3 vertices, up, down
  BinaryISerialStream is(bytes);
  EXPECT_EQ(qvtest::codeOf([&] { c.deserialize(is); }), "End_of_file_reached");
}
