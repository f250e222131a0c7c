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

namespace {

struct Tri {
  int a, b, c;
};

// A valid face with the given box (default: the unit square).
Face2D makeFace(std::vector<Face2D::Vertex> vs, std::vector<Tri> ts,
                BoundingBox2D box = {0.0f, 1.0f, 0.0f, 1.0f}) {
  Face2D f;
  f.allocate(static_cast<int>(vs.size()), static_cast<int>(ts.size()));
  for (std::size_t i = 0; i < vs.size(); ++i)
    f.setVertex(int(i), vs[i].x, vs[i].y);
  for (std::size_t t = 0; t < ts.size(); ++t)
    f.setTriangle(int(t), ts[t].a, ts[t].b, ts[t].c);
  f.setBoundingBox2D(box);
  f.setValid(true);
  return f;
}

const std::vector<Face2D::Vertex> kSquare{{0, 0}, {1, 0}, {1, 1}, {0, 1}};
const std::vector<Face2D::Vertex> kHalf{{0, 0}, {1, 0}, {0, 1}};  // hypotenuse x + y = 1

Face2D unitSquare() {
  return makeFace(kSquare, {{0, 1, 2}, {0, 2, 3}});
}
// The upper-left triangle is clockwise; the diagonal (0, 2) is still shared.
Face2D halfReversedSquare() {
  return makeFace(kSquare, {{0, 1, 2}, {0, 3, 2}});
}

void addBox(ForgedIStream& s, float minX) {
  s.add(std::string("RenderBoundingBox2D")).add(0).add(minX).add(6.0f).add(7.0f).add(8.0f);
}

}  // namespace

TEST(Face2DArea, IsSignedAndUsesSinglePrecisionDifferences) {
  EXPECT_EQ(unitSquare().getArea(), 1.0);
  EXPECT_EQ(halfReversedSquare().getArea(), 0.0);
  EXPECT_EQ(makeFace(kSquare, {{0, 2, 1}}).getArea(), -0.5);
  // 1 - 1e-8 rounds to 1 in single precision, so this triangle has area exactly 0.5.
  EXPECT_EQ(makeFace({{1e-8f, 0}, {1, 0}, {1e-8f, 1}}, {{0, 1, 2}}).getArea(), 0.5);
  Face2D invalid = unitSquare();
  invalid.setValid(false);
  EXPECT_EQ(invalid.getArea(), 0.0);
  EXPECT_TRUE(invalid.pointInFace(0.5, 0.5));  // the flag is not consulted
}

TEST(Face2DPointInFace, EdgesAndVerticesAreInsideWithinARelativeTolerance) {
  const Face2D f = unitSquare();
  EXPECT_TRUE(f.pointInFace(0, 0));
  EXPECT_TRUE(f.pointInFace(1, 1));
  EXPECT_TRUE(f.pointInFace(0.5, 0.5));  // on the shared diagonal
  EXPECT_TRUE(f.pointInFace(0.25, 0.75));
  EXPECT_FALSE(f.pointInFace(1.0 + 1e-6, 0.5));
  EXPECT_FALSE(makeFace(kSquare, {}).pointInFace(0.5, 0.5));
  // Twice the area is 1, so the tolerance is 1e-8 past the hypotenuse.
  EXPECT_TRUE(makeFace(kHalf, {{0, 1, 2}}).pointInFace(0.5 + 5e-9, 0.5));
  EXPECT_FALSE(makeFace(kHalf, {{0, 1, 2}}).pointInFace(0.5 + 1e-6, 0.5));
  // A thousand times smaller, it shrinks a million times.
  const Face2D small = makeFace({{0, 0}, {1e-3f, 0}, {0, 1e-3f}}, {{0, 1, 2}});
  EXPECT_FALSE(small.pointInFace(0.0005 + 1e-9, 0.0005));
}

TEST(Face2DPointInFace, ClockwiseTrianglesContainNothing) {
  const Face2D cw = makeFace({{0, 0}, {0, 1}, {1, 0}}, {{0, 1, 2}});
  EXPECT_FALSE(cw.pointInFace(0.25, 0.25));
  EXPECT_FALSE(cw.pointInFace(0, 0));
  EXPECT_TRUE(halfReversedSquare().pointInFace(0.75, 0.25));
  EXPECT_FALSE(halfReversedSquare().pointInFace(0.25, 0.75));
}

TEST(Face2DInside, BallAndBoxOverVertices) {
  const Face2D t = makeFace({{0, 0}, {3, 0}, {3, 4}}, {{0, 1, 2}}, {0.0f, 3.0f, 0.0f, 4.0f});
  EXPECT_TRUE(t.insideBall({0, 0}, 5));  // (3, 4) on the sphere
  EXPECT_FALSE(t.insideBall({0, 0}, 4.999));
  EXPECT_TRUE(t.insideBox({0, 3, 0, 4}));
  EXPECT_FALSE(t.insideBox({0, 3, 0, 3.999}));
  const Face2D empty = makeFace({}, {});
  EXPECT_TRUE(empty.insideBox({0.5, 3, 0.5, 3}));
  EXPECT_FALSE(empty.insideBall({5, 5}, 1));
}

TEST(Face2DIntersects, BallTouchingAnEdgeOrHoldingTheCentre) {
  const Face2D f = unitSquare();
  EXPECT_TRUE(f.intersectsBall({2, 0.5}, 1.0));  // edge x = 1 exactly at the radius
  EXPECT_FALSE(f.intersectsBall({2, 0.5}, 0.999));
  EXPECT_TRUE(f.intersectsBall({0.5, 0.5}, 0.1));  // small ball inside: the centre test
  // Touches only the shared diagonal, centred in the clockwise half: the diagonal is no
  // boundary edge and the centre is in no counter-clockwise triangle.
  EXPECT_FALSE(halfReversedSquare().intersectsBall({0.35, 0.6}, 0.2));
  Face2D invalid = unitSquare();
  invalid.setValid(false);
  EXPECT_FALSE(invalid.intersectsBall({0.5, 0.5}, 1));
}

TEST(Face2DIntersects, BoxTouchingAnEdgeOrHoldingTheCentre) {
  const Face2D f = unitSquare();
  EXPECT_TRUE(f.intersectsBox({-1, 2, -1, 2}));        // contains the whole face
  EXPECT_TRUE(f.intersectsBox({1, 2, 1, 2}));          // corner (1, 1) touched
  EXPECT_TRUE(f.intersectsBox({0.4, 0.6, 0.4, 0.6}));  // inside: the centre test
  EXPECT_FALSE(halfReversedSquare().intersectsBox({0.2, 0.4, 0.4, 0.6}));  // diagonal only
  EXPECT_FALSE(f.intersectsBox({1.001, 2, 0, 1}));
}

TEST(Face2DIntersects, BoundaryKeepsEdgesUsedAnOddNumberOfTimes) {
  const Face2D twice = makeFace(kHalf, {{0, 1, 2}, {0, 1, 2}});  // no boundary left
  EXPECT_FALSE(twice.intersectsBall({0.5, -0.5}, 0.5));
  EXPECT_TRUE(twice.intersectsBall({0.25, 0.25}, 0.01));
  const Face2D thrice = makeFace(kHalf, {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}});
  EXPECT_TRUE(thrice.intersectsBall({0.5, -0.5}, 0.5));
  EXPECT_TRUE(thrice.intersectsBox({0.5, 1, -1, 0}));
}

TEST(Face2DIntersects, IndicesOutsideTheVerticesAreSkipped) {
  const Face2D f = makeFace(kSquare, {{0, 1, 2}, {0, 2, 9}, {-1, 2, 3}});
  EXPECT_EQ(f.getArea(), 0.5);
  EXPECT_FALSE(f.pointInFace(0.25, 0.75));
  EXPECT_TRUE(f.intersectsBall({0.5, 0.5}, 0.8));
  EXPECT_FALSE(f.intersectsBox({-1, 0.1, 0.8, 2}));  // would meet edge (0, 3)
}

TEST(Face2DSerialization, WritesHeadingsBeforeTheArraysAndRoundTrips) {
  const Face2D f = makeFace({{0, 0}, {1, 0}, {0, 0.5f}}, {{0, 1, 2}}, {0.0f, 1.0f, 0.0f, 0.5f});
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  f.serializeRaw(os, prop);
  const std::vector<std::string> expected{"unsigned 3",
                                          "# version",
                                          "# Bounding box",
                                          "string RenderBoundingBox2D",
                                          "unsigned 0",
                                          "# version",
                                          "float 0",
                                          "# minimum x-coordinate",
                                          "float 1",
                                          "# maximum x-coordinate",
                                          "float 0",
                                          "# minimum y-coordinate",
                                          "float 0.5",
                                          "# maximum y-coordinate",
                                          "# ",
                                          "bool true",
                                          "# is valid",
                                          "# Number of vertices",
                                          "int 3",
                                          "# Number of triangles",
                                          "int 1",
                                          "# Vertices",
                                          "float 0",
                                          "float 0",
                                          "float 1",
                                          "float 0",
                                          "float 0",
                                          "float 0.5",
                                          "# Triangles",
                                          "int 0",
                                          "int 1",
                                          "int 2"};
  EXPECT_EQ(os.lines, expected);
  const Face2D g = makeFace({{0.1f, 0.2f}, {1e10f, 0}, {0, -3}, {7, 7}}, {{0, 1, 2}, {1, 3, 2}});
  for (const Face2D& r : qvtest::streamCopies(g)) {
    ASSERT_TRUE(r.isValid());
    ASSERT_EQ(r.getNumberOfVertices(), 4);
    ASSERT_EQ(r.getNumberOfTriangles(), 2);
    EXPECT_EQ(r.getVertex(0).x, 0.1f);
    EXPECT_EQ(r.getVertex(1).x, 1e10f);
    EXPECT_EQ(r.getTriangleArray()[4], 3);
  }
}

TEST(Face2DSerialization, VersionTwoSkipsTheClosedPaths) {
  ForgedIStream s({2});
  addBox(s, 5);
  s.add(true).add(2);  // two closed paths
  s.add(std::string("RenderClosedPath2D")).add(0).add(1).add(5.0f).add(6.0f);
  s.add(std::string("RenderClosedPath2D")).add(0).add(0);
  s.add(3).add(1).add(0.0f).add(0.0f).add(1.0f).add(0.0f).add(0.0f).add(1.0f).add(0).add(1).add(2);
  Face2D f;
  f.deserializeRaw(s);
  EXPECT_EQ(s.consumed(), s.size());
  EXPECT_TRUE(f.isValid());
  EXPECT_EQ(f.getNumberOfVertices(), 3);
  EXPECT_EQ(f.getArea(), 0.5);
}

TEST(Face2DSerialization, VersionOneAndInvalidStreamsKeepTheGeometry) {
  Face2D f = unitSquare();
  ForgedIStream v1({1, true});
  addBox(v1, 5);
  v1.add(42);
  f.deserializeRaw(v1);
  EXPECT_EQ(v1.consumed(), v1.size());
  EXPECT_EQ(f.getBoundingBox().getMinX(), 5.0f);  // the box is read into the face
  ForgedIStream v1invalid({1, false, 99});
  f.deserializeRaw(v1invalid);
  EXPECT_EQ(v1invalid.consumed(), 2u);
  for (int version : {2, 3}) {
    ForgedIStream s({version});
    addBox(s, 0);
    s.add(false);
    f.deserializeRaw(s);
    EXPECT_EQ(s.consumed(), s.size());
  }
  EXPECT_TRUE(f.isValid());
  EXPECT_EQ(f.getArea(), 1.0);
}

TEST(Face2DSerialization, RefusesVersionsZeroNegativeAndNewer) {
  for (int version : {0, -1, 4}) {
    ForgedIStream s({version, true});
    Face2D f;
    EXPECT_EQ(qvtest::codeOf([&] { f.deserializeRaw(s); }), "Incompatible_native_file_version");
    EXPECT_EQ(s.consumed(), 1u);
  }
}

TEST(Face2DSerialization, TruncatedOrOverlongBinaryStreamsRaiseEndOfFile) {
  qvtest::expectEveryTruncationRaisesEndOfFile(unitSquare());
  // A triangle count that the bytes left hold as single ints but not as three per triangle.
  std::vector<char> bytes = qvtest::binaryOf(unitSquare());
  const std::size_t at = bytes.size() - 6 * 4 - 4 * 8 - 4;
  const int bogus = static_cast<int>((bytes.size() - at - 4) / 4);
  std::memcpy(&bytes[at], &bogus, 4);
  BinaryISerialStream is(bytes);
  Face2D r;
  EXPECT_EQ(qvtest::codeOf([&] { r.deserialize(is); }), "End_of_file_reached");

  // A stream that cannot tell its length announces two billion vertices, or triangles, and
  // holds one.
  ForgedIStream manyVertices({3});
  addBox(manyVertices, 0);
  manyVertices.add(true).add(INT_MAX).add(1).add(0.0f).add(0.0f);
  EXPECT_EQ(qvtest::codeOf([&] { r.deserializeRaw(manyVertices); }), "End_of_file_reached");
  ForgedIStream manyTriangles({3});
  addBox(manyTriangles, 0);
  manyTriangles.add(true).add(1).add(INT_MAX).add(0.0f).add(0.0f).add(0).add(0).add(0);
  EXPECT_EQ(qvtest::codeOf([&] { r.deserializeRaw(manyTriangles); }), "End_of_file_reached");
}
