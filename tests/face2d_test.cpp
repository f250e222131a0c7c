#include "datacarrier/face2d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <sstream>

#include "datacarrier/closedpath2d.h"
#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Face2D;
using qvtest::ForgedIStream;

namespace {

struct Tri {
  int a, b, c;
};

// A valid face of the given vertices and triangles, its box the vertices' extent.
Face2D makeFace(std::vector<Face2D::Vertex> vs, std::vector<Tri> ts) {
  Face2D f;
  f.allocate(static_cast<int>(vs.size()), static_cast<int>(ts.size()));
  float box[4] = {vs.empty() ? 0 : vs[0].x, vs.empty() ? 0 : vs[0].x, vs.empty() ? 0 : vs[0].y,
                  vs.empty() ? 0 : vs[0].y};
  for (std::size_t i = 0; i < vs.size(); ++i) {
    f.setVertex(static_cast<int>(i), vs[i].x, vs[i].y);
    box[0] = std::min(box[0], vs[i].x);
    box[1] = std::max(box[1], vs[i].x);
    box[2] = std::min(box[2], vs[i].y);
    box[3] = std::max(box[3], vs[i].y);
  }
  for (std::size_t t = 0; t < ts.size(); ++t)
    f.setTriangle(static_cast<int>(t), ts[t].a, ts[t].b, ts[t].c);
  f.setBoundingBox2D(BoundingBox2D(box[0], box[1], box[2], box[3]));
  f.setValid(true);
  return f;
}

const std::vector<Face2D::Vertex> kSquare{{0, 0}, {1, 0}, {1, 1}, {0, 1}};

Face2D unitSquare() {
  return makeFace(kSquare, {{0, 1, 2}, {0, 2, 3}});
}
// The upper-left triangle is clockwise; the diagonal (0, 2) is still shared.
Face2D halfReversedSquare() {
  return makeFace(kSquare, {{0, 1, 2}, {0, 3, 2}});
}

template <typename F>
std::string codeOf(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getCode();
  }
  return "none";
}

void addBox(ForgedIStream& s, float x0, float x1, float y0, float y1) {
  s.add(std::string("RenderBoundingBox2D")).add(0).add(x0).add(x1).add(y0).add(y1);
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
}

TEST(Face2DPointInFace, EdgesAndVerticesAreInside) {
  const Face2D f = unitSquare();
  EXPECT_TRUE(f.pointInFace(0, 0));
  EXPECT_TRUE(f.pointInFace(1, 1));
  EXPECT_TRUE(f.pointInFace(0.5, 0.5));  // on the shared diagonal
  EXPECT_TRUE(f.pointInFace(0.25, 0.75));
  EXPECT_FALSE(f.pointInFace(1.0 + 1e-6, 0.5));
  EXPECT_FALSE(f.pointInFace(0.5, -1e-6));
  Face2D invalid = unitSquare();  // the flag is not consulted
  invalid.setValid(false);
  EXPECT_TRUE(invalid.pointInFace(0.5, 0.5));
  EXPECT_FALSE(makeFace(kSquare, {}).pointInFace(0.5, 0.5));
}

TEST(Face2DPointInFace, ToleranceIsRelativeToTheArea) {
  // Lower-left half of the unit square: the hypotenuse is x + y = 1, 2 * area = 1.
  const Face2D f = makeFace({{0, 0}, {1, 0}, {0, 1}}, {{0, 1, 2}});
  EXPECT_TRUE(f.pointInFace(0.5 + 5e-9, 0.5));   // 5e-9 past the edge, inside the tolerance
  EXPECT_FALSE(f.pointInFace(0.5 + 1e-6, 0.5));  // 1e-6 past it
  // Scaled down a thousand times, 2 * area = 1e-6 and the tolerance 1e-14.
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
  const Face2D t = makeFace({{0, 0}, {3, 0}, {3, 4}}, {{0, 1, 2}});
  EXPECT_TRUE(t.insideBall({0, 0}, 5));  // (3, 4) on the sphere
  EXPECT_FALSE(t.insideBall({0, 0}, 4.999));
  const Face2D f = unitSquare();
  EXPECT_TRUE(f.insideBox({0, 1, 0, 1}));
  EXPECT_FALSE(f.insideBox({0, 1, 0, 0.999}));
  Face2D empty = makeFace({}, {});
  empty.setBoundingBox2D(BoundingBox2D(0.0f, 1.0f, 0.0f, 1.0f));
  EXPECT_TRUE(empty.insideBox({0.5, 3, 0.5, 3}));
  EXPECT_FALSE(empty.insideBall({5, 5}, 1));
  Face2D invalid = unitSquare();
  invalid.setValid(false);
  EXPECT_FALSE(invalid.insideBox({-1, 2, -1, 2}));
}

TEST(Face2DIntersects, BallTouchingAnEdgeOrHoldingTheCentre) {
  const Face2D f = unitSquare();
  EXPECT_TRUE(f.intersectsBall({2, 0.5}, 1.0));  // edge x = 1 exactly at the radius
  EXPECT_FALSE(f.intersectsBall({2, 0.5}, 0.999));
  EXPECT_TRUE(f.intersectsBall({0.5, 0.5}, 0.1));  // small ball inside: the centre test
  EXPECT_FALSE(f.intersectsBall({5, 5}, 1));
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
  // A triangle listed twice has no boundary: only the centre test is left.
  const Face2D twice = makeFace({{0, 0}, {1, 0}, {0, 1}}, {{0, 1, 2}, {0, 1, 2}});
  EXPECT_FALSE(twice.intersectsBall({0.5, -0.5}, 0.5));
  EXPECT_TRUE(twice.intersectsBall({0.25, 0.25}, 0.01));
  // Listed three times, every edge is boundary again.
  const Face2D thrice = makeFace({{0, 0}, {1, 0}, {0, 1}}, {{0, 1, 2}, {1, 2, 0}, {2, 0, 1}});
  EXPECT_TRUE(thrice.intersectsBall({0.5, -0.5}, 0.5));
  EXPECT_TRUE(thrice.intersectsBox({0.5, 1, -1, 0}));
}

TEST(Face2DIntersects, IndicesOutsideTheVerticesAreSkipped) {
  Face2D f = makeFace(kSquare, {{0, 1, 2}, {0, 2, 9}, {-1, 2, 3}});
  EXPECT_EQ(f.getArea(), 0.5);
  EXPECT_FALSE(f.pointInFace(0.25, 0.75));
  EXPECT_TRUE(f.intersectsBall({0.5, 0.5}, 0.8));
  EXPECT_FALSE(f.intersectsBox({-1, 0.1, 0.8, 2}));  // would meet edge (0, 3)
}

TEST(Face2DSerialization, WritesHeadingsBeforeTheArrays) {
  const Face2D f = makeFace({{0, 0}, {1, 0}, {0, 0.5f}}, {{0, 1, 2}});
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
}

TEST(Face2DSerialization, RoundTripsThroughBinaryAndText) {
  const Face2D f = makeFace({{0.1f, 0.2f}, {1e10f, 0}, {0, -3}, {7, 7}}, {{0, 1, 2}, {1, 3, 2}});
  nkbase::Prop prop;
  BinaryOSerialStream bos;
  f.serialize(bos, prop);
  std::ostringstream text;
  TextOSerialStream tos(text);
  f.serialize(tos, prop);
  BinaryISerialStream bis(bos.getBuffer());
  std::istringstream textIn(text.str());
  TextISerialStream tis(textIn);
  for (ISerialStream* is : {static_cast<ISerialStream*>(&bis), static_cast<ISerialStream*>(&tis)}) {
    Face2D r;
    r.deserialize(*is);
    ASSERT_TRUE(r.isValid());
    ASSERT_EQ(r.getNumberOfVertices(), 4);
    ASSERT_EQ(r.getNumberOfTriangles(), 2);
    EXPECT_EQ(r.getVertex(0).x, 0.1f);
    EXPECT_EQ(r.getVertex(1).x, 1e10f);
    EXPECT_EQ(r.getTriangleArray()[4], 3);
    EXPECT_EQ(r.getBoundingBox().getMinY(), -3.0f);
  }
}

TEST(Face2DSerialization, VersionTwoSkipsTheClosedPaths) {
  ForgedIStream s({2});
  addBox(s, 0, 1, 0, 1);
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
  addBox(v1, 5, 6, 7, 8);
  v1.add(42);
  f.deserializeRaw(v1);
  EXPECT_EQ(v1.consumed(), v1.size());
  EXPECT_EQ(f.getNumberOfTriangles(), 2);
  EXPECT_TRUE(f.isValid());
  EXPECT_EQ(f.getBoundingBox().getMinX(), 5.0f);  // the box is read into the face

  ForgedIStream v1invalid({1, false, 99});
  f.deserializeRaw(v1invalid);
  EXPECT_EQ(v1invalid.consumed(), 2u);
  for (int version : {2, 3}) {
    ForgedIStream s({version});
    addBox(s, 0, 1, 0, 1);
    s.add(false);
    f.deserializeRaw(s);
    EXPECT_EQ(s.consumed(), s.size());
  }
  EXPECT_TRUE(f.isValid());
  EXPECT_EQ(f.getNumberOfVertices(), 4);
  EXPECT_EQ(f.getArea(), 1.0);
}

TEST(Face2DSerialization, RefusesVersionsZeroNegativeAndNewer) {
  for (int version : {0, -1, 4}) {
    ForgedIStream s({version, true});
    Face2D f;
    EXPECT_EQ(codeOf([&] { f.deserializeRaw(s); }), "Incompatible_native_file_version");
    EXPECT_EQ(s.consumed(), 1u);
  }
}

TEST(Face2DSerialization, TruncatedOrOverlongBinaryStreamsRaiseEndOfFile) {
  nkbase::Prop prop;
  BinaryOSerialStream os;
  unitSquare().serialize(os, prop);
  std::vector<char> bytes = os.getBuffer();
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    BinaryISerialStream is(bytes.data(), n);
    Face2D r;
    EXPECT_EQ(codeOf([&] { r.deserialize(is); }), "End_of_file_reached") << n << " bytes";
  }
  // The triangle count fits the bytes left as single ints but not as three ints per triangle.
  const std::size_t triCountAt = bytes.size() - 6 * 4 - 4 * 8 - 4;
  const int bogus = static_cast<int>((bytes.size() - triCountAt - 4) / 4);
  std::memcpy(&bytes[triCountAt], &bogus, 4);
  BinaryISerialStream is(bytes);
  Face2D r;
  EXPECT_EQ(codeOf([&] { r.deserialize(is); }), "End_of_file_reached");
}
