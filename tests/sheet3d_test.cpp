#include "datacarrier/sheet3d.h"

#include <gtest/gtest.h>

#include <array>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <random>

#include "datacarrier/internal/trianglemath.h"
#include "datacarrier/postdataobject.h"
#include "models3d.h"
#include "qvutil/nkmath.h"
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::PostDataObject;
using nkdatacarrier::Sheet3D;
using nkvec::DVec3;
using qvtest::ForgedIStream;
using Values = std::vector<ForgedIStream::Value>;
using V = Sheet3D::Vertex;
using Tri = std::array<int, 3>;

namespace {

Sheet3D makeSheet(const std::vector<V>& vertices, const std::vector<Tri>& triangles,
                  BoundingBox3D box, bool valid = true, bool complete = true) {
  Sheet3D s;
  s.allocate(static_cast<int>(vertices.size()), static_cast<int>(triangles.size()));
  for (std::size_t i = 0; i < vertices.size(); ++i) {
    const V& v = vertices[i];
    s.setVertex(static_cast<int>(i), v.x, v.y, v.z, v.nx, v.ny, v.nz);
  }
  for (std::size_t i = 0; i < triangles.size(); ++i)
    s.setTriangle(static_cast<int>(i), triangles[i][0], triangles[i][1], triangles[i][2]);
  s.setBoundingBox3D(box);
  s.setValid(valid);
  s.setComplete(complete);
  return s;
}

// The unit square in z = 0 as two triangles meeting along the diagonal x = y, normals up.
const std::vector<V> kSquare{
    {0, 0, 0, 0, 0, 1}, {1, 0, 0, 0, 0, 1}, {1, 1, 0, 0, 0, 1}, {0, 1, 0, 0, 0, 1}};
const std::vector<Tri> kSquareTris{{0, 1, 2}, {0, 2, 3}};
const BoundingBox3D kSquareBox(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 0.0f);
const BoundingBox3D kWide(-100.0f, 100.0f, -100.0f, 100.0f, -100.0f, 100.0f);

Sheet3D square() {
  return makeSheet(kSquare, kSquareTris, kSquareBox);
}

// The values of a valid sheet's body after its flags: counts, one vertex per entry, triangles,
// up 4, down 5.
Values body(const std::vector<V>& vertices, const std::vector<Tri>& triangles) {
  Values out{static_cast<int>(vertices.size()), static_cast<int>(triangles.size())};
  for (const V& v : vertices)
    out.insert(out.end(), {v.x, v.y, v.z, v.nx, v.ny, v.nz});
  for (const Tri& t : triangles)
    out.insert(out.end(), {t[0], t[1], t[2]});
  out.insert(out.end(), {4, 5});
  return out;
}

Values concat(Values a, const Values& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const Values kForgedBox{std::string("RenderBoundingBox3D"), 0, 1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.0f};

}  // namespace

// ---- storage and flags ----

TEST(Sheet3DStorage, ConstructedSheetIsEmptyAndInvalid) {
  const Sheet3D s;
  EXPECT_FALSE(s.isValid() || s.isComplete());
  EXPECT_EQ(s.getNumberOfVertices() + s.getNumberOfTriangles(), 0);
  EXPECT_EQ(s.getTriangleArray(), nullptr);
  EXPECT_EQ(std::make_pair(s.getUp(), s.getDown()), std::make_pair(-1, -1));
  EXPECT_EQ(s.getArea(), 0.0);
  EXPECT_EQ(Sheet3D::getStaticClassID(), "RenderSheet3D");
}

TEST(Sheet3DStorage, FlagsFollowTheirOwnRules) {
  Sheet3D s = square();
  ASSERT_TRUE(s.isValid() && s.isComplete());
  s.setValid(false);  // clears complete
  EXPECT_FALSE(s.isComplete());
  s.setComplete(true);  // allowed on an invalid sheet
  EXPECT_TRUE(s.isComplete());
  EXPECT_FALSE(s.isValid());
  s.setValid(true);
  s.setUp(3);
  s.clearMesh();  // keeps complete, box and domains
  EXPECT_FALSE(s.isValid());
  EXPECT_TRUE(s.isComplete());
  EXPECT_EQ(s.getNumberOfVertices(), 0);
  EXPECT_EQ(s.getTriangleArray(), nullptr);
  EXPECT_EQ(s.getUp(), 3);
  EXPECT_EQ(s.getBoundingBox().getMaxX(), 1.0f);
  // allocate sizes both arrays, keeps what was there, zeroes what is new, clears both flags.
  s = square();
  s.allocate(5, 3);
  EXPECT_FALSE(s.isValid() || s.isComplete());
  EXPECT_EQ(s.getNumberOfVertices(), 5);
  EXPECT_EQ(s.getNumberOfTriangles(), 3);
  EXPECT_EQ(s.getVertex(2).x, 1.0f);
  EXPECT_EQ(s.getVertex(4).nz, 0.0f);
  EXPECT_EQ(s.getTriangleArray()[5], 3);
  EXPECT_EQ(s.getTriangleArray()[8], 0);
}

TEST(Sheet3DStorage, AreaNeedsCompleteAndUsesSinglePrecisionEdges) {
  EXPECT_EQ(square().getArea(), 1.0);
  EXPECT_EQ(makeSheet(kSquare, kSquareTris, kSquareBox, true, false).getArea(), 0.0);
  EXPECT_EQ(makeSheet(kSquare, kSquareTris, kSquareBox, false, false).getArea(), 0.0);
  // 1.1f - 0.1f rounds to exactly 1 in single precision (it is 1.0000000223... in double).
  const Sheet3D thin = makeSheet({{0.1f, 0, 0}, {1.1f, 0, 0}, {0.1f, 1, 0}, {5, 5, 5}},
                                 {{0, 1, 2}, {3, 3, 3}}, kWide);
  EXPECT_EQ(thin.getArea(), 0.5);  // the degenerate triangle adds 0
}

TEST(Sheet3DStorage, DuplicateCopiesEverythingOnlyFromAValidSheet) {
  Sheet3D source = square();
  source.setUp(7);
  source.setDown(8);
  Sheet3D target;
  source.duplicate(target);
  EXPECT_EQ(qvtest::binaryOf(target), qvtest::binaryOf(source));

  // An invalid source hands over its sizes and its flag: the target keeps the leading entries
  // it had, zeroes the rest, and keeps its box and domains.
  Sheet3D invalid = makeSheet({{9, 9, 9}, {9, 9, 9}, {9, 9, 9}, {9, 9, 9}, {9, 9, 9}},
                              {{4, 4, 4}, {4, 4, 4}, {4, 4, 4}}, kWide, false, false);
  invalid.duplicate(target);
  EXPECT_FALSE(target.isValid() || target.isComplete());
  EXPECT_EQ(target.getNumberOfVertices(), 5);
  EXPECT_EQ(target.getNumberOfTriangles(), 3);
  EXPECT_EQ(target.getVertex(1).x, 1.0f);  // the square's
  EXPECT_EQ(target.getVertex(4).x, 0.0f);  // new
  EXPECT_EQ(target.getTriangleArray()[5], 3);
  EXPECT_EQ(target.getUp(), 7);
  EXPECT_EQ(target.getBoundingBox().getMaxX(), 1.0f);
}

// ---- serialization ----

TEST(Sheet3DSerialization, WritesTheExactSequence) {
  Sheet3D s = makeSheet({{0, 0.5f, 1, 0, 0, 1}, {2, 0, 0, 0, 1, 0}, {0, 2, 0, 1, 0, 0}},
                        {{0, 1, 2}}, {0, 2, 0, 2, 0, 1}, false, false);
  const std::string head =
      "unsigned 2|# version|# Bounding box|string RenderBoundingBox3D|unsigned 0|# version|"
      "float 0|# minimum x-coordinate|float 2|# maximum x-coordinate|float 0|"
      "# minimum y-coordinate|float 2|# maximum y-coordinate|float 0|# minimum z-coordinate|"
      "float 1|# maximum z-coordinate|# |";
  EXPECT_EQ(qvtest::writtenRaw(s), qvtest::seq(head + "bool false|# is valid"));
  s.setValid(true);
  s.setUp(4);
  EXPECT_EQ(
      qvtest::writtenRaw(s),
      qvtest::seq(head + "bool true|# is valid|bool false|# is complete|int 3|"
                         "# number of vertices|int 1|# number of triangles|"
                         "# Vertex coordinates and normals|float 0|float 0.5|float 1|float 0|"
                         "float 0|float 1|# |float 2|float 0|float 0|float 0|float 1|float 0|# |"
                         "float 0|float 2|float 0|float 1|float 0|float 0|# |# Triangles|int 0|"
                         "int 1|int 2|# |# Domain on up side|int 4|# |# Domain on down side|"
                         "int -1|# "));
}

TEST(Sheet3DSerialization, ReadsEachLayoutAndTreatsAnInvalidSheetByVersion) {
  const std::vector<V> verts{{1, 2, 3, 0, 0, 1}, {4, 5, 6, 0, 1, 0}, {7, 8, 9, 1, 0, 0}};
  const std::vector<Tri> tris{{0, 1, 2}};
  Sheet3D expected = makeSheet(verts, tris, {1, 2, 3, 4, 5, 6}, true, true);
  expected.setUp(4);
  expected.setDown(5);

  // Version 2 reads complete; version 1 has none and is complete; version 0 never is.
  for (int version : {2, 1, 0}) {
    Values head = version == 0 ? concat({0, true}, kForgedBox) : concat({version}, kForgedBox);
    if (version > 0) head.push_back(true);
    if (version == 2) head.push_back(false);
    ForgedIStream is(concat(head, body(verts, tris)));
    Sheet3D s;
    s.deserializeRaw(is);
    EXPECT_EQ(is.consumed(), is.size());
    Sheet3D same = expected;
    same.setComplete(version == 1);
    EXPECT_EQ(qvtest::binaryOf(s), qvtest::binaryOf(same)) << version;
  }

  // An invalid sheet in a version 1 or 2 stream replaces the box only; in version 0 nothing.
  Sheet3D s = square();
  s.setUp(9);
  for (int version : {2, 1}) {
    ForgedIStream is(concat(concat({version}, kForgedBox), {false}));
    s.deserializeRaw(is);
    EXPECT_EQ(is.consumed(), is.size());
  }
  Sheet3D reference = square();
  reference.setUp(9);
  reference.setBoundingBox3D({1, 2, 3, 4, 5, 6});
  EXPECT_EQ(qvtest::binaryOf(s), qvtest::binaryOf(reference));
  ForgedIStream v0({0, false, 99});
  s.deserializeRaw(v0);
  EXPECT_EQ(v0.consumed(), 2u);
  EXPECT_EQ(qvtest::binaryOf(s), qvtest::binaryOf(reference));
}

TEST(Sheet3DSerialization, RefusesUnknownVersionsBadCountsAndTruncation) {
  qvtest::expectVersionsRefused(Sheet3D(), {3, -1}, "datacarrier/sheet3d:");
  Sheet3D s;
  ForgedIStream negative(concat(concat({2}, kForgedBox), {true, true, -1, 0}));
  EXPECT_THROW(s.deserializeRaw(negative), std::length_error);
  // Streams that cannot tell their length announce two billion vertices or triangles.
  ForgedIStream manyVertices(concat(concat({2}, kForgedBox), {true, true, INT_MAX, 1, 1.0f}));
  EXPECT_EQ(qvtest::codeOf([&] { s.deserializeRaw(manyVertices); }), "End_of_file_reached");
  ForgedIStream manyTriangles(concat(concat({1}, kForgedBox), {true, 0, INT_MAX, 1, 2, 3}));
  EXPECT_EQ(qvtest::codeOf([&] { s.deserializeRaw(manyTriangles); }), "End_of_file_reached");

  s = square();
  qvtest::expectEveryTruncationRaisesEndOfFile(s);
  // A binary stream vouches for its length: a corrupt count raises before anything is sized.
  const std::size_t tail = 2 * 3 * 4 + 4 * 6 * 4 + 4 + 4;  // triangles, vertices, up, down
  for (std::size_t countEnd : {tail + 4 + 1, tail + 1}) {  // vertex count, triangle count
    std::vector<char> bytes = qvtest::binaryOf(s);
    bytes[bytes.size() - countEnd] = 0x7f;
    BinaryISerialStream is(bytes);
    Sheet3D r;
    EXPECT_EQ(qvtest::codeOf([&] { r.deserialize(is); }), "End_of_file_reached") << countEnd;
  }
}

// ---- corrupt triangles ----

TEST(Sheet3DCorruptIndices, TrianglesOutsideTheVerticesAreSkippedEverywhere) {
  // The second triangle reads vertex 7 of 4 and vertex -1: every query passes over it.
  const Sheet3D s = makeSheet(kSquare, {{0, 1, 2}, {0, 7, -1}, {0, 2, 3}}, kWide);
  EXPECT_EQ(s.getArea(), 1.0);
  std::vector<double> closest(3);
  double d2 = nkGetInf();
  EXPECT_TRUE(s.findClosestPoint({0.25, 0.5, 2}, closest, d2, -1.0));
  EXPECT_EQ(closest, (std::vector<double>{0.25, 0.5, 0}));
  EXPECT_TRUE(s.intersectsBall({0.5, 0.5, 0.5}, 0.5));
  EXPECT_FALSE(s.intersectsBox({2, 3, 2, 3, -1, 1}));
  EXPECT_FALSE(s.intersectsCylinder({5, 5, -1}, {0, 0, 1}, 0.5, 2, 0));
  std::vector<std::pair<double, int>> hits;
  std::vector<double> normals;
  s.findLineIntersections({0.5, 0.5, 1}, {0.5, 0.5, -1}, hits, normals);
  EXPECT_EQ(hits.size(), 2u);
  PostDataObject out;
  s.findPlaneIntersections(Array<double, 1>{0.5, 0, 0}, Array<double, 1>{1, 0, 0}, out);
  EXPECT_EQ(out.getElementIndices(0, 0).size(), 2u);
  // Copies and streams carry the triangle as it is.
  Sheet3D copy;
  s.duplicate(copy);
  EXPECT_EQ(copy.getTriangleArray()[4], 7);
  EXPECT_EQ(qvtest::streamCopies(s)[0].getTriangleArray()[5], -1);
}

// ---- closest point and ball ----

TEST(Sheet3DClosestPoint, FootOrEdgesInOrderWithStopDistance) {
  using D = std::vector<double>;
  const double inf = nkGetInf();
  const struct {
    D p;
    double start, stop;
    bool found;
    D closest;
    double d2;
  } cases[] = {
      // Triangle 0 offers its edges (0.25, 0, 0) and (0.375, 0.375, 0); triangle 1 its foot.
      {{0.25, 0.5, 2}, inf, -1.0, true, {0.25, 0.5, 0}, 4.0},
      // The first improvement within the stop distance ends the search.
      {{0.25, 0.5, 2}, inf, 4.1, true, {0.375, 0.375, 0}, 4.03125},
      // Nothing strictly nearer than the incoming distance: false, closest untouched.
      {{0.25, 0.5, 2}, 4.0, -1.0, false, {7, 7, 7}, 4.0},
      // A point beyond a corner meets it through the clamped edges.
      {{2, 3, 0}, inf, -1.0, true, {1, 1, 0}, 5.0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.stop);
    D closest{7, 7, 7};
    double d2 = c.start;
    EXPECT_EQ(square().findClosestPoint(c.p, closest, d2, c.stop), c.found);
    EXPECT_EQ(closest, c.closest);
    EXPECT_EQ(d2, c.d2);
  }
  D closest(3);
  double d2 = inf;
  // Invalid, without triangles, or degenerate (NaN candidates): nothing is found.
  d2 = nkGetInf();
  EXPECT_FALSE(makeSheet(kSquare, kSquareTris, kSquareBox, false)
                   .findClosestPoint({0, 0, 0}, closest, d2, -1.0));
  EXPECT_FALSE(makeSheet(kSquare, {}, kSquareBox).findClosestPoint({0, 0, 0}, closest, d2, -1.0));
  EXPECT_FALSE(
      makeSheet({{1, 1, 1}}, {{0, 0, 0}}, kWide).findClosestPoint({0, 0, 0}, closest, d2, -1.0));
  EXPECT_TRUE(nkIsInf(d2));
}

TEST(Sheet3DBall, InsideCountsVerticesIntersectsCountsTouching) {
  const Sheet3D s = square();
  EXPECT_TRUE(s.insideBall({0.5, 0.5, 0}, std::sqrt(0.5)));
  EXPECT_FALSE(s.insideBall({0.5, 0.5, 0}, 0.7));
  EXPECT_TRUE(s.intersectsBall({0.5, -1, 0}, 1.0));  // touches the edge y = 0
  EXPECT_TRUE(s.intersectsBall({1.5, 1.5, 0}, 0.71));
  EXPECT_FALSE(s.intersectsBall({1.5, 1.5, 0}, 0.7));   // the box meets, the corner does not
  EXPECT_TRUE(s.intersectsBall({0.3, 0.6, 0.1}, 0.2));  // over the inside of a triangle
  // Invalid: false even for an enormous ball. Without vertices: inside what its box meets.
  const Sheet3D invalid = makeSheet(kSquare, kSquareTris, kSquareBox, false);
  EXPECT_FALSE(invalid.insideBall({0, 0, 0}, 1e6));
  EXPECT_FALSE(invalid.intersectsBall({0, 0, 0}, 1e6));
  const Sheet3D empty = makeSheet({}, {}, kSquareBox);
  EXPECT_TRUE(empty.insideBall({0.5, 0.5, 0}, 0.1));
  EXPECT_FALSE(empty.insideBall({5, 5, 0}, 0.1));
  EXPECT_FALSE(empty.intersectsBall({0.5, 0.5, 0}, 0.1));
  // A stored box away from the vertices rejects a ball that holds them all.
  EXPECT_FALSE(
      makeSheet(kSquare, kSquareTris, {10, 11, 10, 11, 0, 0}).insideBall({0.5, 0.5, 0}, 1));
}

// ---- box ----

TEST(Sheet3DBox, InsideIsInclusiveAndIntersectsFindsAnyTriangle) {
  const Sheet3D s = square();
  EXPECT_TRUE(s.insideBox({0, 1, 0, 1, 0, 0}));
  EXPECT_FALSE(s.insideBox({0, 1, 0, 1, 0.001, 1}));
  EXPECT_FALSE(s.insideBox({0, 0.999, 0, 1, 0, 0}));
  EXPECT_TRUE(s.intersectsBox({0.1, 0.2, 0.6, 0.9, -1, 1}));  // only the second triangle
  EXPECT_TRUE(s.intersectsBox({1, 2, 1, 2, 0, 1}));           // the corner (1, 1, 0)
  EXPECT_FALSE(s.intersectsBox({0.1, 0.2, 0.6, 0.9, 0.001, 1}));
  EXPECT_FALSE(makeSheet(kSquare, kSquareTris, kSquareBox, false).insideBox({-9, 9, -9, 9, -9, 9}));
  EXPECT_FALSE(makeSheet(kSquare, {}, kSquareBox).intersectsBox({0, 1, 0, 1, 0, 1}));
  EXPECT_TRUE(makeSheet({}, {}, kSquareBox).insideBox({0.5, 2, 0.5, 2, 0, 0}));
}

TEST(Sheet3DBox, TriangleTestUsesAllThirteenAxesStrictly) {
  // The test is the sheet's own: a valid one, even without vertices, runs it; an invalid one
  // answers false.
  const Sheet3D s = makeSheet({}, {}, kWide);
  const std::vector<double> unit{0, 1, 0, 1, 0, 1};
  EXPECT_FALSE(Sheet3D().boxTriangleIntersect(unit, {0.2f, 0.2f, 0.2f}, {2, 0, 0}, {0, 2, 0}));
  // Touching in a single corner overlaps; just past it on x does not.
  EXPECT_TRUE(s.boxTriangleIntersect(unit, {1, 1, 1}, {3, 2, 2}, {2, 3, 2}));
  EXPECT_FALSE(s.boxTriangleIntersect(unit, {1.001f, 1, 1}, {3, 2, 2}, {2, 3, 2}));
  // The plane x + y + z = 3.5 passes the corner (1, 1, 1); only the triangle's normal
  // separates. At x + y + z = 3 it touches the corner.
  EXPECT_FALSE(s.boxTriangleIntersect(unit, {3.5f, 0, 0}, {0, 3.5f, 0}, {0, 0, 3.5f}));
  EXPECT_TRUE(s.boxTriangleIntersect(unit, {3, 0, 0}, {0, 3, 0}, {0, 0, 3}));
  // In the plane z = 0.5 through the box, beside its edge x = y = 1: only the cross product of
  // the edge (1.5, 0.8) - (0.8, 1.5) with z separates, in any vertex order.
  const V a{1.5f, 0.8f, 0.5f}, b{0.8f, 1.5f, 0.5f}, c{3, 3, 0.5f};
  EXPECT_FALSE(s.boxTriangleIntersect(unit, a, b, c));
  EXPECT_FALSE(s.boxTriangleIntersect(unit, b, c, a));
  EXPECT_FALSE(s.boxTriangleIntersect(unit, c, a, b));
  EXPECT_TRUE(s.boxTriangleIntersect(unit, {1.5f, 0.5f, 0.5f}, {0.5f, 1.5f, 0.5f}, c));
  // Wholly inside, and a large triangle around the box.
  EXPECT_TRUE(
      s.boxTriangleIntersect(unit, {0.2f, 0.2f, 0.2f}, {0.3f, 0.2f, 0.2f}, {0.2f, 0.3f, 0.2f}));
  EXPECT_TRUE(s.boxTriangleIntersect(unit, {-10, -10, 0.5f}, {10, -10, 0.5f}, {0, 10, 0.5f}));
}

// ---- cylinder ----

TEST(Sheet3DCylinder, InsideTestsEveryVertexInTheClosedCylinder) {
  const std::vector<double> p{0.5, 0.5, -1}, axis{0, 0, 3};
  EXPECT_TRUE(Sheet3D::vertexInsideCylinder(p, axis, 1.0, 1.0, 0.0, {0.5f, 0.5f, 0}));
  EXPECT_TRUE(Sheet3D::vertexInsideCylinder(p, axis, 1.0, 1.0, 0.0, {1.5f, 0.5f, 0}));
  EXPECT_FALSE(Sheet3D::vertexInsideCylinder(p, axis, 1.0, 0.999, 0.0, {0.5f, 0.5f, 0}));
  EXPECT_FALSE(Sheet3D::vertexInsideCylinder(p, axis, 1.0, 2.0, 1.001, {0.5f, 0.5f, 0}));
  const Sheet3D s = square();
  EXPECT_TRUE(s.insideCylinder(p, axis, std::sqrt(0.5), 1.0, 1.0));  // corners on the mantle
  EXPECT_FALSE(s.insideCylinder(p, axis, 0.7, 1.0, 1.0));
  EXPECT_FALSE(
      makeSheet(kSquare, kSquareTris, kSquareBox, false).insideCylinder(p, axis, 9, 9, -9));
  EXPECT_TRUE(makeSheet({}, {}, kSquareBox).insideCylinder(p, axis, 0.1, 1.0, 1.0));
  EXPECT_FALSE(makeSheet({}, {}, kSquareBox).intersectsCylinder(p, axis, 0.1, 1.0, 1.0));
}

TEST(Sheet3DCylinder, TrianglesAreClippedToTheSlabThenMeasuredOrPierced) {
  const std::vector<double> origin{0, 0, 0};
  const DVec3 u(0, 1, 0), v(-1, 0, 0), w(0, 0, 1);  // the frame the member test builds for z
  auto meets = [&](V a, V b, V c, double r, double hMax, double hMin) {
    return Sheet3D::cylinderTriangleIntersect(origin, u, v, w, r, hMax, hMin, a, b, c);
  };
  // A large triangle around the axis: no edge within the radius, the axis pierces it.
  const V a{-10, -10, 0.5f}, b{10, -10, 0.5f}, c{0, 10, 0.5f};
  EXPECT_TRUE(meets(a, b, c, 0.1, 1.0, 0.0));
  EXPECT_FALSE(meets({10, -10, 0.5f}, {30, -10, 0.5f}, {20, 10, 0.5f}, 0.1, 1.0, 0.0));
  EXPECT_FALSE(meets(a, b, c, 0.1, 0.4, 0.0));  // wholly above the top
  EXPECT_FALSE(meets(a, b, c, 0.1, 2.0, 0.6));  // wholly below the bottom
  EXPECT_TRUE(meets(a, b, c, 0.1, 0.5, 0.5));   // in both end planes
  // Upright through the slab 0 <= z <= 1: within the slab it keeps x >= 4/3 from the axis,
  // outside it comes within 0.5.
  const V up0{0.5f, 0, 3}, up1{3, 0, 3}, up2{3, 0, -3};
  EXPECT_FALSE(meets(up0, up1, up2, 1.3, 1.0, 0.0));
  EXPECT_TRUE(meets(up0, up1, up2, 1.34, 1.0, 0.0));
  // Lying in the top plane, the whole triangle counts.
  EXPECT_TRUE(meets({-10, 0.5f, 1}, {10, 0.5f, 1}, {10, 5, 1}, 0.5, 1.0, -10.0));
  // Two edges cross the top plane flatter than 1e-7 of their length and give no crossing point:
  // only the vertex below the plane is left, 10 from the axis. Steeper, the crossing on the
  // first edge passes 0.5 from the axis.
  EXPECT_FALSE(
      meets({-10, 0.5f, 0.999999f}, {10, 0.5f, 1.000001f}, {10, 20, 1.000001f}, 5.0, 1.0, -10.0));
  EXPECT_TRUE(meets({-10, 0.5f, 0.9f}, {10, 0.5f, 1.1f}, {10, 20, 1.1f}, 0.51, 1.0, -10.0));
  // The member test: frame from the axis, bounding cube first, triangles in order.
  const Sheet3D s = square();
  EXPECT_TRUE(s.intersectsCylinder({0.75, 0.5, -1}, {0, 0, 7}, 0.01, 2.0, 0.0));
  EXPECT_TRUE(s.intersectsCylinder({0.5, 1.5, 0}, {1, 0, 0}, 0.5, 2.0, -2.0));  // touches y = 1
  EXPECT_FALSE(s.intersectsCylinder({0.5, 1.5, 0}, {1, 0, 0}, 0.49, 2.0, -2.0));
  // Only r * r enters the test: a negative radius measures as its magnitude, also where every
  // projected point lies on one side of the axis.
  EXPECT_TRUE(meets({0.5f, -1, 0.5f}, {2, -1, 0.5f}, {0.5f, 1, 0.5f}, -1.0, 1.0, 0.0));
  EXPECT_TRUE(s.intersectsCylinder({0.5, 1.5, 0}, {1, 0, 0}, -0.5, 2.0, -2.0));
  EXPECT_FALSE(s.intersectsCylinder({0.75, 0.5, -1}, {0, 0, 1}, 0.01, 0.5, 0.0));
  EXPECT_FALSE(makeSheet(kSquare, kSquareTris, kSquareBox, false)
                   .intersectsCylinder({0.5, 0.5, -1}, {0, 0, 1}, 9, 9, -9));
}

// ---- line and plane ----

TEST(Sheet3DLine, HitsCarryTheirPositionAndTheInterpolatedNormal) {
  // Vertex 2 leans its normal towards y.
  std::vector<V> verts = kSquare;
  verts[2] = {1, 1, 0, 0, 1, 0};
  const Sheet3D s = makeSheet(verts, kSquareTris, kSquareBox);
  std::vector<std::pair<double, int>> hits{{9.0, 0}};  // appended to, never cleared
  std::vector<double> normals{1, 2, 3};
  // At (0.75, 0.25): s = 0.5, u = 0.25 in the first triangle; normal (0, 0.25, 0.75) normalised.
  s.findLineIntersections({0.75, 0.25, 2}, {0.75, 0.25, -2}, hits, normals);
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[1], (std::pair<double, int>(0.5, 1)));
  ASSERT_EQ(normals.size(), 6u);
  EXPECT_EQ(normals[3], 0.0);
  EXPECT_DOUBLE_EQ(normals[4], 1 / std::sqrt(10.0));
  EXPECT_DOUBLE_EQ(normals[5], 3 / std::sqrt(10.0));
  // The line is unbounded: a hit behind p0 has t < 0.
  hits.clear();
  normals.clear();
  s.findLineIntersections({0.2, 0.7, -1}, {0.2, 0.7, -3}, hits, normals);
  ASSERT_EQ(hits.size(), 1u);
  EXPECT_EQ(hits[0].first, -0.5);
  // Through the shared diagonal: two hits with equal t, in triangle order.
  hits.clear();
  square().findLineIntersections({0.5, 0.5, 1}, {0.5, 0.5, -1}, hits, normals);
  ASSERT_EQ(hits.size(), 2u);
  EXPECT_EQ(hits[0], (std::pair<double, int>(0.5, 0)));
  EXPECT_EQ(hits[1], (std::pair<double, int>(0.5, 1)));
}

TEST(Sheet3DLine, ToleranceBandAndMisses) {
  const Sheet3D s = square();
  auto count = [&](const Sheet3D& sheet, std::vector<double> p0, std::vector<double> p1) {
    std::vector<std::pair<double, int>> hits;
    std::vector<double> normals;
    sheet.findLineIntersections(p0, p1, hits, normals);
    EXPECT_EQ(normals.size(), 3 * hits.size());
    return hits.size();
  };
  EXPECT_EQ(count(s, {1.000005, 0.5, 1}, {1.000005, 0.5, -1}), 1u);  // inside the 1e-5 band
  EXPECT_EQ(count(s, {1.00002, 0.5, 1}, {1.00002, 0.5, -1}), 0u);
  EXPECT_EQ(count(s, {-0.000005, 0.5, 1}, {-0.000005, 0.5, -1}), 1u);
  EXPECT_EQ(count(s, {0.5, 0.5, 1}, {0.5, 0.5, 1}), 0u);  // p0 = p1
  EXPECT_EQ(count(s, {-1, 0.5, 0}, {2, 0.5, 0}), 0u);     // in the plane: parallel
  EXPECT_EQ(
      count(makeSheet(kSquare, kSquareTris, kSquareBox, false), {0.5, 0.5, 1}, {0.5, 0.5, -1}), 0u);
}

TEST(Sheet3DPlane, CutsByVertexSignsWithoutSharingPoints) {
  const Sheet3D tri = makeSheet({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0, 1, 2}}, kWide);
  PostDataObject out;
  const Array<double, 1> origin{0, 0, 0};
  // x = 1: one vertex alone on the positive side; the crossings of (0, 1) then (1, 2).
  tri.findPlaneIntersections(Array<double, 1>{1, 0, 0}, Array<double, 1>{1, 0, 0}, out);
  // x - y = 0: from vertex 0 on the plane to the crossing of the opposite edge.
  tri.findPlaneIntersections(origin, Array<double, 1>{1, -1, 0}, out);
  // The triangle's own plane, a plane touching one vertex, a plane missing it: nothing.
  tri.findPlaneIntersections(origin, Array<double, 1>{0, 0, 1}, out);
  tri.findPlaneIntersections(Array<double, 1>{2, 0, 0}, Array<double, 1>{1, 0, 0}, out);
  tri.findPlaneIntersections(Array<double, 1>{0, 0, 1}, Array<double, 1>{0, 0, 1}, out);
  // No triangles still adds a block; so does an invalid sheet, whose triangles are cut.
  makeSheet({}, {}, kWide).findPlaneIntersections(origin, Array<double, 1>{1, 0, 0}, out);
  makeSheet({{0, 0, 0}, {2, 0, 0}, {0, 2, 0}}, {{0, 1, 2}}, kWide, false)
      .findPlaneIntersections(Array<double, 1>{1, 0, 0}, Array<double, 1>{1, 0, 0}, out);
  // Two triangles cut: four points, none shared.
  square().findPlaneIntersections(Array<double, 1>{0.5, 0, 0}, Array<double, 1>{1, 0, 0}, out);
  ASSERT_EQ(out.getGroups(), 8);
  using D = std::vector<double>;
  EXPECT_EQ(out.getVertices(0, PostDataObject::DIR_X), (D{1, 1}));
  EXPECT_EQ(out.getVertices(0, PostDataObject::DIR_Y), (D{0, 1}));
  EXPECT_EQ(out.getVertices(0, PostDataObject::DIR_Z), (D{0, 0}));
  EXPECT_EQ(out.getElementIndices(0, 0), (std::vector<int>{0}));
  EXPECT_EQ(out.getElementIndices(0, 1), (std::vector<int>{1}));
  EXPECT_EQ(out.getVertices(1, PostDataObject::DIR_X), (D{0, 1}));
  EXPECT_EQ(out.getVertices(1, PostDataObject::DIR_Y), (D{0, 1}));
  for (int g = 2; g < 6; ++g) {
    EXPECT_EQ(out.getVertices(g).size(), 3u) << g;
    EXPECT_TRUE(out.getVertices(g, PostDataObject::DIR_X).empty()) << g;
    EXPECT_EQ(out.getElementIndices(g).size(), 2u) << g;
    EXPECT_TRUE(out.getElementIndices(g, 0).empty()) << g;
    EXPECT_TRUE(out.getData(g).empty()) << g;
  }
  EXPECT_EQ(out.getVertices(6, PostDataObject::DIR_X), (D{1, 1}));
  EXPECT_EQ(out.getVertices(7, PostDataObject::DIR_X), (D{0.5, 0.5, 0.5, 0.5}));
  EXPECT_EQ(out.getVertices(7, PostDataObject::DIR_Y), (D{0, 0.5, 0.5, 1}));
  EXPECT_EQ(out.getElementIndices(7, 0), (std::vector<int>{0, 2}));
  EXPECT_EQ(out.getElementIndices(7, 1), (std::vector<int>{1, 3}));
}

TEST(Sheet3DPlane, ToleranceFollowsTheSheetExtentNotTheNormal) {
  // Extent 10: tol = 1e-6, so vertex 0 at z = 5e-7 lies on z = 0 and the cut starts there.
  const Sheet3D s = makeSheet({{0, 0, 5e-7f}, {10, 0, 1}, {10, 0, -1}}, {{0, 1, 2}}, kWide);
  PostDataObject out;
  const Array<double, 1> origin{0, 0, 0};
  s.findPlaneIntersections(origin, Array<double, 1>{0, 0, 1}, out);
  // A normal 1000 times longer moves vertex 0 off the plane: the crossings of (0, 2), (1, 2).
  s.findPlaneIntersections(origin, Array<double, 1>{0, 0, 1000}, out);
  EXPECT_EQ(out.getVertices(0, PostDataObject::DIR_Z), (std::vector<double>{double(5e-7f), 0}));
  EXPECT_EQ(out.getVertices(0, PostDataObject::DIR_X)[0], 0.0);
  ASSERT_EQ(out.getVertices(1, PostDataObject::DIR_X).size(), 2u);
  EXPECT_GT(out.getVertices(1, PostDataObject::DIR_X)[0], 0.0);
  EXPECT_EQ(out.getVertices(1, PostDataObject::DIR_X)[1], 10.0);
  // A vertex exactly at the tolerance still lies on the plane (only s > tol is positive).
  s.findPlaneIntersections(Array<double, 1>{0, 0, double(5e-7f) - 1e-7 * 10.0},
                           Array<double, 1>{0, 0, 1}, out);
  EXPECT_EQ(out.getVertices(2, PostDataObject::DIR_X)[0], 0.0);
}

// ---- skipping in the whole-sheet loops ----

namespace {

// Calls test(a, b, c) on every triangle of the sheet in order until it returns true: the plain
// loop that the sheet's own queries, which skip triangles, must agree with.
template <typename Test>
bool plainLoop(const Sheet3D& s, Test test) {
  const V* v = s.getVertexArray();
  const int* t = s.getTriangleArray();
  for (int i = 0; i < s.getNumberOfTriangles(); ++i, t += 3) {
    if (!nkdatacarrier::trianglemath::indicesValid(t, s.getNumberOfVertices())) continue;
    if (test(v[t[0]], v[t[1]], v[t[2]])) return true;
  }
  return false;
}

// The bits of each value, so that answers compare bit for bit (NaN and -0 included).
std::vector<std::uint64_t> bitsOf(const std::vector<double>& v) {
  std::vector<std::uint64_t> out(v.size());
  if (!v.empty()) std::memcpy(out.data(), v.data(), v.size() * sizeof(double));
  return out;
}

}  // namespace

TEST(Sheet3DScans, SkippingNeverChangesAnAnswer) {
  // Queries on and just beside vertices, edges and faces, far away and from the origin, at
  // many scales, with stop distances below, at and above the answer: the closest point, the
  // line's hits and the cylinder test must agree bit for bit with testing every triangle.
  namespace tm = nkdatacarrier::trianglemath;
  const double kInf = nkGetInf();
  std::mt19937 rng(5);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  int lineHits = 0, cylinderHits = 0, stops = 0;
  for (double scale : {1e-6, 1e-2, 1.0, 3e3, 1e7}) {
    for (int variant = 0; variant < 4; ++variant) {
      const double shift = (variant % 2 ? 1e3 : 0.1) * scale * unit(rng);
      // Variant 1 has a NaN corner, variant 2 an infinite one, variant 3 a stored box that
      // understates the vertices.
      Sheet3D s = qvtest::wavyGrid(31, scale, shift);
      if (variant == 1) qvtest::setCoord(s, 100, 1, std::nanf(""));
      if (variant == 2) qvtest::setCoord(s, 200, 2, HUGE_VALF);
      if (variant == 3) s.setBoundingBox3D(BoundingBox3D(0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f));
      const V* vs = s.getVertexArray();
      for (int q = 0; q < 150; ++q) {
        const V& v = vs[rng() % 961];
        const V& w = vs[rng() % 961];
        const double f = q % 3 == 0 ? 1.0 : 0.5 + 0.5 * unit(rng);
        const double off = scale * std::pow(10.0, -9.0 + 10.0 * (0.5 + 0.5 * unit(rng)));
        std::vector<double> p = {f * v.x + (1 - f) * w.x + off * unit(rng),
                                 f * v.y + (1 - f) * w.y + off * unit(rng),
                                 f * v.z + (1 - f) * w.z + off * unit(rng)};
        if (q % 40 == 0) p = {shift + 1e4 * scale * unit(rng), shift, shift};
        if (q % 40 == 1) p = {0.0, 0.0, 0.0};

        // Closest point: to the end, then stopping at a distance below or above the answer.
        std::vector<double> want(3), got(3);
        tm::ClosestSearch whole{want.data(), kInf, -1.0, false};
        plainLoop(s, [&](const V& a, const V& b, const V& c) {
          return tm::closestOnTriangle(p.data(), a, b, c, whole);
        });
        const double d2 = whole.dist2;
        for (double stop : {-1.0, 0.5 * d2, d2, 4.0 * d2 + scale * scale}) {
          const double start = q % 7 == 0 ? 9.0 * d2 : kInf;
          tm::ClosestSearch search{want.data(), start, stop, false};
          double d2Got = start;
          got = want;
          const bool stopped = plainLoop(s, [&](const V& a, const V& b, const V& c) {
            return tm::closestOnTriangle(p.data(), a, b, c, search);
          });
          stops += stopped;
          ASSERT_EQ(s.findClosestPoint(p, got, d2Got, stop), stopped || search.dist2 < start)
              << scale << " " << q;
          ASSERT_EQ(bitsOf({d2Got}), bitsOf({search.dist2})) << scale << " " << q;
          ASSERT_EQ(bitsOf(got), bitsOf(want));
        }

        // A line through p in a random direction (sometimes along z, sometimes very long).
        std::vector<double> dir = {unit(rng), unit(rng), unit(rng)};
        if (q % 5 == 0) dir = {0.0, 0.0, 1.0};
        const double len = scale * (q % 7 == 0 ? 1e4 : 3.0);
        std::vector<double> p0(3), p1(3), tWant, tGot, normalsWant, normalsGot;
        for (int k = 0; k < 3; ++k)
          p0[k] = p[k] - len * dir[k], p1[k] = p[k] + len * dir[k];
        const tm::LineQuery line(p0.data(), p1.data());
        plainLoop(s, [&](const V& a, const V& b, const V& c) {
          tm::LineHit hit;
          if (tm::lineHitsTriangle(line, a, b, c, hit)) {
            tWant.push_back(hit.t);
            double n[3];
            tm::interpolatedNormal(a, b, c, hit.s, hit.u, n);
            normalsWant.insert(normalsWant.end(), n, n + 3);
          }
          return false;
        });
        std::vector<std::pair<double, int>> hits;
        s.findLineIntersections(p0, p1, hits, normalsGot);
        for (std::size_t i = 0; i < hits.size(); ++i) {
          tGot.push_back(hits[i].first);
          ASSERT_EQ(hits[i].second, static_cast<int>(i));
        }
        ASSERT_EQ(bitsOf(tGot), bitsOf(tWant)) << scale << " " << q;
        ASSERT_EQ(bitsOf(normalsGot), bitsOf(normalsWant));
        lineHits += !hits.empty();

        // A cylinder about the same line, of a radius from far below to about the grid's
        // spacing, its slab ending near p.
        const double r = scale * std::pow(10.0, -6.0 + 6.5 * (0.5 + 0.5 * unit(rng)));
        const double hMax = scale * unit(rng), hMin = hMax - scale * (q % 3 ? 2.0 : 40.0);
        const nkdatacarrier::segmentmath::CylinderFrame frame(dir.data());
        const tm::CylinderQuery cylinder(p.data(), frame.u, frame.v, frame.w, r, hMax, hMin);
        const bool meets = plainLoop(s, [&](const V& a, const V& b, const V& c) {
          return tm::cylinderMeetsTriangle(cylinder, a, b, c);
        });
        // The sheet first compares its stored box with the cube around the cylinder.
        const double reach = nkdatacarrier::segmentmath::cylinderReach(r, hMax, hMin);
        const bool near = s.getBoundingBox().intersects(BoundingBox3D(
            p[0] - reach, p[0] + reach, p[1] - reach, p[1] + reach, p[2] - reach, p[2] + reach));
        ASSERT_EQ(s.intersectsCylinder(p, dir, r, hMax, hMin), near && meets) << scale << q;
        cylinderHits += near && meets;
      }
    }
  }
  // Every kind of answer occurs often.
  EXPECT_GT(lineHits, 500);
  EXPECT_GT(cylinderHits, 500);
  EXPECT_GT(stops, 300);
}

TEST(Sheet3DScans, OneTriangleAtTheEdgeOfTheBandAmongFarOnes) {
  // Sheets of 63 triangles far from the query and one lying within rounding of the answer's
  // edge: just beside the circle of a cylinder (in a narrow arc about an axis, where quick
  // rejections bite, or anywhere) and so beside a face of the box around it, or with an edge
  // just beside a line within the tolerance band.
  // The sheet's answer must be that triangle's own, from the full test: for the cylinder, also
  // without the triangle test's own quick rejection of projections beyond the radius (which a
  // NaN margin disables).
  namespace tm = nkdatacarrier::trianglemath;
  std::mt19937 rng(99);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  int meets = 0, pierced = 0, boxed = 0;
  for (int i = 0; i < 100000; ++i) {
    const double scale = std::ldexp(1.0, static_cast<int>(rng() % 60) - 30);
    const double r = scale * (0.5 + 0.5 * std::fabs(unit(rng)));
    const double centre = (rng() % 4) * 1.5707963267948966;
    const double spread = (i % 4 == 3) ? 3.2 : std::ldexp(1.0, -int(rng() % 30));
    auto nearCircle = [&] {
      const double a = centre + unit(rng) * spread;
      const double d = r * (1.0 + std::ldexp(unit(rng), -int(rng() % 40)));
      // Every fourth triangle lies just inside or outside the top of the slab.
      const double z =
          i % 4 == 2 ? scale * (1.0 + std::ldexp(unit(rng), -int(rng() % 24))) : unit(rng) * scale;
      return V{float(d * std::cos(a)), float(d * std::sin(a)), float(z), 0, 0, 1};
    };
    // The line x = y = 0 passes beside the edge a-b by about gap times the scale. Corner c lies
    // three times the scale away, so the tolerance band outside the edge (1e-5 of that height)
    // is wider than the rounding slack of the quick rejection (relative to the coordinates).
    const double gap = std::ldexp(unit(rng), -int(rng() % 30)) * 3e-5 + (i % 3 ? 3e-5 : 0.0);
    const double turn = centre + unit(rng) * spread, tilt = 0.3 * unit(rng);
    auto rotated = [&](double x, double y, double z) {
      const double xr = x * std::cos(turn) - y * std::sin(turn);
      const double yr = x * std::sin(turn) + y * std::cos(turn);
      return V{float(xr), float(yr + tilt * z), float(z), 0, 0, 1};
    };
    const bool cylinderCase = i % 2 == 0;
    std::vector<V> vertices;
    if (cylinderCase) {
      vertices = {nearCircle(), nearCircle(), nearCircle()};
    } else {
      vertices = {rotated(-gap * scale, -scale, scale * unit(rng)),
                  rotated(-gap * scale, scale, scale * unit(rng)),
                  rotated(-3 * scale, scale * unit(rng), scale * unit(rng))};
    }
    std::vector<Tri> triangles(63, Tri{3, 4, 5});
    triangles.push_back({0, 1, 2});
    for (double x : {3.0, 3.3, 3.0})
      vertices.push_back({float(x * scale), float((x - 3.0) * scale), 0.f, 0, 0, 1});
    const Sheet3D s = makeSheet(vertices, triangles, kWide);
    if (cylinderCase) {
      const double p[3] = {0, 0, 0}, u[3] = {1, 0, 0}, v[3] = {0, 1, 0}, w[3] = {0, 0, 1};
      tm::CylinderQuery full(p, u, v, w, r, scale, -scale);
      full.clear = nkGetNaN();
      const bool want = tm::cylinderMeetsTriangle(full, vertices[0], vertices[1], vertices[2]);
      ASSERT_EQ(s.intersectsCylinder({0, 0, 0}, {0, 0, 1}, r, scale, -scale), want) << i;
      meets += want;
      // The box around the cylinder, whose faces the triangle lies just beside.
      const std::vector<double> box = {-r, r, -r, r, -scale, scale};
      const bool inBox =
          tm::boxMeetsTriangle(nkdatacarrier::segmentmath::CenteredBox<3>(box.data()), vertices[0],
                               vertices[1], vertices[2]);
      ASSERT_EQ(s.intersectsBox(box), inBox) << i;
      boxed += inBox;
    } else {
      const double p0[3] = {0, 0, -scale}, p1[3] = {0, 0, scale};
      tm::LineHit hit;
      const bool want =
          tm::lineHitsTriangle(tm::LineQuery(p0, p1), vertices[0], vertices[1], vertices[2], hit);
      std::vector<std::pair<double, int>> hits;
      std::vector<double> normals;
      s.findLineIntersections({0, 0, -scale}, {0, 0, scale}, hits, normals);
      ASSERT_EQ(hits.size(), want ? 1u : 0u) << i;
      pierced += want;
    }
  }
  // Both answers occur often for both queries.
  EXPECT_GT(meets, 5000);
  EXPECT_LT(meets, 45000);
  EXPECT_GT(pierced, 5000);
  EXPECT_LT(pierced, 45000);
  EXPECT_GT(boxed, 5000);
  EXPECT_LT(boxed, 45000);
}
