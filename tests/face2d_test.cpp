#include "datacarrier/face2d.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Face2D;
using qvtest::ForgedIStream;
using Values = std::vector<ForgedIStream::Value>;

namespace {

// `triangles` holds three indices per triangle. The box defaults to the unit square.
Face2D makeFace(std::vector<Face2D::Vertex> vs, std::vector<int> triangles,
                BoundingBox2D box = {0.0f, 1.0f, 0.0f, 1.0f}, bool valid = true) {
  Face2D f;
  f.allocate(static_cast<int>(vs.size()), static_cast<int>(triangles.size() / 3));
  for (std::size_t i = 0; i < vs.size(); ++i)
    f.setVertex(static_cast<int>(i), vs[i].x, vs[i].y);
  for (std::size_t i = 0; i + 2 < triangles.size(); i += 3)
    f.setTriangle(static_cast<int>(i / 3), triangles[i], triangles[i + 1], triangles[i + 2]);
  f.setBoundingBox2D(box);
  f.setValid(valid);
  return f;
}

const std::vector<Face2D::Vertex> kSquare{{0, 0}, {1, 0}, {1, 1}, {0, 1}};
const std::vector<Face2D::Vertex> kHalf{{0, 0}, {1, 0}, {0, 1}};  // hypotenuse x + y = 1
const Face2D kUnitSquare = makeFace(kSquare, {0, 1, 2, 0, 2, 3});
const Face2D kInvalidSquare =
    makeFace(kSquare, {0, 1, 2, 0, 2, 3}, {0.0f, 1.0f, 0.0f, 1.0f}, false);
// The upper-left triangle is clockwise; the diagonal (0, 2) is still shared.
const Face2D kHalfReversed = makeFace(kSquare, {0, 1, 2, 0, 3, 2});

// Values of a forged stream: `head`, a nested box (5, 6, 7, 8), then `tail`.
Values withBox(Values head, const Values& tail) {
  const Values box{std::string("RenderBoundingBox2D"), 0, 5.0f, 6.0f, 7.0f, 8.0f};
  head.insert(head.end(), box.begin(), box.end());
  head.insert(head.end(), tail.begin(), tail.end());
  return head;
}

}  // namespace

TEST(Face2DArea, IsSignedAndUsesSinglePrecisionDifferences) {
  EXPECT_EQ(kUnitSquare.getArea(), 1.0);
  EXPECT_EQ(kHalfReversed.getArea(), 0.0);
  EXPECT_EQ(makeFace(kSquare, {0, 2, 1}).getArea(), -0.5);
  // 1 - 1e-8 rounds to 1 in single precision, so this triangle has area exactly 0.5.
  EXPECT_EQ(makeFace({{1e-8f, 0}, {1, 0}, {1e-8f, 1}}, {0, 1, 2}).getArea(), 0.5);
  EXPECT_EQ(kInvalidSquare.getArea(), 0.0);
  EXPECT_TRUE(kInvalidSquare.pointInFace(0.5, 0.5));  // the flag is not consulted
}

TEST(Face2DPointInFace, EdgesInsideWithinARelativeToleranceClockwiseTrianglesHoldNothing) {
  EXPECT_TRUE(kUnitSquare.pointInFace(0, 0));
  EXPECT_TRUE(kUnitSquare.pointInFace(0.5, 0.5));  // on the shared diagonal
  EXPECT_TRUE(kUnitSquare.pointInFace(0.25, 0.75));
  EXPECT_FALSE(kUnitSquare.pointInFace(1.0 + 1e-6, 0.5));
  EXPECT_FALSE(makeFace(kSquare, {}).pointInFace(0.5, 0.5));
  // Twice the area is 1, so the tolerance is 1e-8 past the hypotenuse.
  const Face2D half = makeFace(kHalf, {0, 1, 2});
  EXPECT_TRUE(half.pointInFace(0.5 + 5e-9, 0.5));
  EXPECT_FALSE(half.pointInFace(0.5 + 1e-6, 0.5));
  // A thousand times smaller, it shrinks a million times.
  const Face2D small = makeFace({{0, 0}, {1e-3f, 0}, {0, 1e-3f}}, {0, 1, 2});
  EXPECT_FALSE(small.pointInFace(0.0005 + 1e-9, 0.0005));
  // Clockwise triangles contain nothing.
  const Face2D cw = makeFace({{0, 0}, {0, 1}, {1, 0}}, {0, 1, 2});
  EXPECT_FALSE(cw.pointInFace(0.25, 0.25));
  EXPECT_FALSE(cw.pointInFace(0, 0));
  EXPECT_TRUE(kHalfReversed.pointInFace(0.75, 0.25));
  EXPECT_FALSE(kHalfReversed.pointInFace(0.25, 0.75));
}

TEST(Face2DInside, BallAndBoxOverVertices) {
  const Face2D t = makeFace({{0, 0}, {3, 0}, {3, 4}}, {0, 1, 2}, {0.0f, 3.0f, 0.0f, 4.0f});
  EXPECT_TRUE(t.insideBall({0, 0}, 5));  // (3, 4) on the sphere
  EXPECT_FALSE(t.insideBall({0, 0}, 4.999));
  EXPECT_TRUE(t.insideBox({0, 3, 0, 4}));
  EXPECT_FALSE(t.insideBox({0, 3, 0, 3.999}));
  const Face2D empty = makeFace({}, {});
  EXPECT_TRUE(empty.insideBox({0.5, 3, 0.5, 3}));
  EXPECT_FALSE(empty.insideBall({5, 5}, 1));
}

TEST(Face2DIntersects, BallOrBoxTouchingAnEdgeOrHoldingTheCentre) {
  EXPECT_TRUE(kUnitSquare.intersectsBall({2, 0.5}, 1.0));  // edge x = 1 exactly at the radius
  EXPECT_FALSE(kUnitSquare.intersectsBall({2, 0.5}, 0.999));
  EXPECT_TRUE(kUnitSquare.intersectsBall({0.5, 0.5}, 0.1));  // small ball inside: the centre test
  EXPECT_TRUE(kUnitSquare.intersectsBox({-1, 2, -1, 2}));    // contains the whole face
  EXPECT_TRUE(kUnitSquare.intersectsBox({1, 2, 1, 2}));      // corner (1, 1) touched
  EXPECT_TRUE(kUnitSquare.intersectsBox({0.4, 0.6, 0.4, 0.6}));  // inside: the centre test
  EXPECT_FALSE(kUnitSquare.intersectsBox({1.001, 2, 0, 1}));
  // Touching only the shared diagonal, centred in the clockwise half: the diagonal is no
  // boundary edge and the centre is in no counter-clockwise triangle.
  EXPECT_FALSE(kHalfReversed.intersectsBall({0.35, 0.6}, 0.2));
  EXPECT_FALSE(kHalfReversed.intersectsBox({0.2, 0.4, 0.4, 0.6}));
  EXPECT_FALSE(kInvalidSquare.intersectsBall({0.5, 0.5}, 1));
}

TEST(Face2DIntersects, BoundaryKeepsEdgesUsedAnOddNumberOfTimes) {
  const Face2D twice = makeFace(kHalf, {0, 1, 2, 0, 1, 2});  // no boundary left
  EXPECT_FALSE(twice.intersectsBall({0.5, -0.5}, 0.5));
  EXPECT_TRUE(twice.intersectsBall({0.25, 0.25}, 0.01));
  const Face2D thrice = makeFace(kHalf, {0, 1, 2, 1, 2, 0, 2, 0, 1});
  EXPECT_TRUE(thrice.intersectsBall({0.5, -0.5}, 0.5));
  EXPECT_TRUE(thrice.intersectsBox({0.5, 1, -1, 0}));
}

TEST(Face2DIntersects, IndicesOutsideTheVerticesAreSkipped) {
  const Face2D f = makeFace(kSquare, {0, 1, 2, 0, 2, 9, -1, 2, 3});
  EXPECT_EQ(f.getArea(), 0.5);
  EXPECT_FALSE(f.pointInFace(0.25, 0.75));
  EXPECT_TRUE(f.intersectsBall({0.5, 0.5}, 0.8));
  EXPECT_FALSE(f.intersectsBox({-1, 0.1, 0.8, 2}));  // would meet edge (0, 3)
}

TEST(Face2DSerialization, WritesHeadingsBeforeTheArrays) {
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  makeFace({{0, 0}, {1, 0}, {0, 0.5f}}, {0, 1, 2}, {0.0f, 1.0f, 0.0f, 0.5f}).serializeRaw(os, prop);
  EXPECT_EQ(os.lines,
            qvtest::seq("unsigned 3|# version|# Bounding box|string RenderBoundingBox2D|"
                        "unsigned 0|# version|float 0|# minimum x-coordinate|float 1|"
                        "# maximum x-coordinate|float 0|# minimum y-coordinate|float 0.5|"
                        "# maximum y-coordinate|# |bool true|# is valid|# Number of vertices|int 3|"
                        "# Number of triangles|int 1|# Vertices|float 0|float 0|float 1|float 0|"
                        "float 0|float 0.5|# Triangles|int 0|int 1|int 2"));
}

TEST(Face2DSerialization, VersionTwoSkipsTheClosedPaths) {
  // Two closed paths (one vertex, then none) ahead of the triangulation.
  Values tail({true, 2, std::string("RenderClosedPath2D"), 0, 1, 5.0f, 6.0f,
               std::string("RenderClosedPath2D"), 0, 0});
  tail.insert(tail.end(), {3, 1, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 0, 1, 2});
  ForgedIStream s(withBox({2}, tail));
  Face2D f;
  f.deserializeRaw(s);
  EXPECT_EQ(s.consumed(), s.size());
  EXPECT_EQ(qvtest::binaryOf(f),
            qvtest::binaryOf(makeFace(kHalf, {0, 1, 2}, {5.0f, 6.0f, 7.0f, 8.0f})));
  // A path count below zero announces no path: the triangulation follows at once.
  ForgedIStream negative(
      withBox({2}, {true, -1, 3, 1, 0.0f, 0.0f, 1.0f, 0.0f, 0.0f, 1.0f, 0, 1, 2}));
  Face2D g;
  g.deserializeRaw(negative);
  EXPECT_EQ(negative.consumed(), negative.size());
  EXPECT_EQ(qvtest::binaryOf(g), qvtest::binaryOf(f));
}

TEST(Face2DSerialization, VersionOneAndInvalidStreamsKeepTheGeometry) {
  Face2D f = kUnitSquare;
  ForgedIStream v1(withBox({1, true}, {42}));
  f.deserializeRaw(v1);
  EXPECT_EQ(v1.consumed(), v1.size());
  EXPECT_EQ(f.getBoundingBox().getMinX(), 5.0f);  // the box is read into the face
  ForgedIStream v1invalid({1, false, 99});
  f.deserializeRaw(v1invalid);
  EXPECT_EQ(v1invalid.consumed(), 2u);
  for (int version : {2, 3}) {
    ForgedIStream s(withBox({version}, {false}));
    f.deserializeRaw(s);
    EXPECT_EQ(s.consumed(), s.size());
  }
  EXPECT_TRUE(f.isValid());
  EXPECT_EQ(f.getArea(), 1.0);
}

TEST(Face2DSerialization, RefusesBadVersionsTruncationAndOverlongCounts) {
  qvtest::expectVersionsRefused(kUnitSquare, {0, -1, 4});
  qvtest::expectEveryTruncationRaisesEndOfFile(kUnitSquare);
  // A triangle count that the bytes left hold as single ints but not as three per triangle.
  std::vector<char> bytes = qvtest::binaryOf(kUnitSquare);
  const std::size_t at = bytes.size() - 6 * 4 - 4 * 8 - 4;
  const int bogus = static_cast<int>((bytes.size() - at - 4) / 4);
  std::memcpy(&bytes[at], &bogus, 4);
  BinaryISerialStream is(bytes);
  Face2D r;
  EXPECT_EQ(qvtest::codeOf([&] { r.deserialize(is); }), "End_of_file_reached");
  // A stream that cannot tell its length announces two billion vertices, or triangles, and
  // holds one.
  ForgedIStream manyVertices(withBox({3}, {true, INT_MAX, 1, 0.0f, 0.0f}));
  EXPECT_EQ(qvtest::codeOf([&] { r.deserializeRaw(manyVertices); }), "End_of_file_reached");
  ForgedIStream manyTriangles(withBox({3}, {true, 1, INT_MAX, 0.0f, 0.0f, 0, 0, 0}));
  EXPECT_EQ(qvtest::codeOf([&] { r.deserializeRaw(manyTriangles); }), "End_of_file_reached");
}
