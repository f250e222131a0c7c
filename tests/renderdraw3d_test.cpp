// The 3D drawing object RenderDraw3D (identity, cloning, the checked cast, its stream form) and
// checks of the 3D draw geometry on a unit cube: measures, the point-in-solid test, and that
// corrupt relations and triangles stay within bounds.
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

// The carriers first: the stream checks rely on their includes for nkbase::Prop.
#include "datacarrier/renderdraw3d.h"
// clang-format off
#include "carrierstreamchecks.h"
// clang-format on
#include "recordingstream.h"

using nkdatacarrier::Adjacent;
using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::IDataCarrier;
using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::RenderDrawGeom;
using nkdatacarrier::RenderDrawGeom3D;
using nkdatacarrier::Sheet3D;
using qvtest::codeOf;
using qvtest::raiseSite;
using qvtest::written;

namespace {

std::string site(int line, const std::string& code,
                 const std::string& module = "datacarrier/renderdrawgeom3d") {
  return module + ":" + std::to_string(line) + " " + code;
}

// The unit cube [0, 1]^3 as solid 0: six sheets of two triangles, counter-clockwise seen from
// outside, normals pointing out. orientation is what sheet-to-solid says of the solid's side.
RenderDraw3D unitCube(int orientation = -1) {
  static const float corners[6][4][3] = {
      {{0, 0, 0}, {0, 0, 1}, {0, 1, 1}, {0, 1, 0}}, {{1, 0, 0}, {1, 1, 0}, {1, 1, 1}, {1, 0, 1}},
      {{0, 0, 0}, {1, 0, 0}, {1, 0, 1}, {0, 0, 1}}, {{0, 1, 0}, {0, 1, 1}, {1, 1, 1}, {1, 1, 0}},
      {{0, 0, 0}, {0, 1, 0}, {1, 1, 0}, {1, 0, 0}}, {{0, 0, 1}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}}};
  static const float normals[6][3] = {{-1, 0, 0}, {1, 0, 0},  {0, -1, 0},
                                      {0, 1, 0},  {0, 0, -1}, {0, 0, 1}};
  RenderDraw3D g(RenderDrawGeom3D::DRAW_3D_A, 7);
  g.allocate(1, 6, 0, 0);
  RenderDrawGeom::AdjacencyLists solidToSheet(2);
  for (int f = 0; f < 6; ++f) {
    Sheet3D& s = g.sheet(f);
    s.allocate(4, 2);
    float lo[3] = {1, 1, 1};
    float hi[3] = {0, 0, 0};
    for (int v = 0; v < 4; ++v) {
      const float* c = corners[f][v];
      s.setVertex(v, c[0], c[1], c[2], normals[f][0], normals[f][1], normals[f][2]);
      for (int k = 0; k < 3; ++k) {
        lo[k] = std::min(lo[k], c[k]);
        hi[k] = std::max(hi[k], c[k]);
      }
    }
    s.setTriangle(0, 0, 1, 2);
    s.setTriangle(1, 0, 2, 3);
    s.setBoundingBox3D(BoundingBox3D(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]));
    s.setUp(-1);
    s.setDown(0);
    s.setValid(true);
    s.setComplete(true);
    solidToSheet[1].push_back({f, 0});
  }
  g.setSolidToSheetAdjacent(solidToSheet);
  Adjacent& sides = g.sheetToSolidAdjacent();
  sides.allocate(6, 6);
  for (int f = 0; f < 6; ++f)
    sides.setAdjacent(f, std::vector<std::pair<int, int>>{{0, orientation}});
  g.setBoundingBox3D(BoundingBox3D(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f));
  g.setBoundingBoxSolid(0, BoundingBox3D(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f));
  return g;
}

}  // namespace

TEST(RenderDraw3DObject, IdentityCloneAndCheckedCast) {
  const RenderDraw3D d(RenderDrawGeom3D::DRAW_3D_C, -3);
  EXPECT_EQ(RenderDraw3D::getStaticClassID(), "RenderDraw3D");
  EXPECT_TRUE(RenderDraw3D::isStaticClassID("RenderDraw3D"));
  EXPECT_FALSE(RenderDraw3D::isStaticClassID("RenderDraw3D "));
  EXPECT_EQ(RenderDraw3D::VERSION, 0u);
  EXPECT_EQ(d.getDataCarrierType(), IDataCarrier::DC_RENDER_DRAW);
  EXPECT_EQ(d.getObjectType(), 5);
  EXPECT_EQ(d.getDimension(), 3);
  EXPECT_EQ(d.getId(), -3);
  EXPECT_EQ(RenderDraw3D().getObjectType(), RenderDrawGeom::UNSET);

  RenderDraw3D cube = unitCube();
  nkboost::shared_ptr<RenderDrawGeom> copy = cube.clone();
  EXPECT_EQ(copy->getClassID(), "RenderDraw3D");
  cube.sheet(0).setValid(false);
  auto copy3 = nkboost::dynamic_pointer_cast<RenderDrawGeom3D>(copy);
  ASSERT_TRUE(copy3);
  EXPECT_TRUE(copy3->getSheet(0).isValid());

  nkboost::shared_ptr<RenderDraw3D> cast = RenderDraw3D::shared_ptr_cast(copy3);
  EXPECT_EQ(cast.get(), copy3.get());
  EXPECT_EQ(copy3.use_count(), 3);  // copy, copy3 and cast share the object
  nkboost::shared_ptr<RenderDrawGeom3D> empty;
  try {
    RenderDraw3D::shared_ptr_cast(empty);
    ADD_FAILURE() << "no raise";
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode() + " " +
                  e.getMessage(),
              "datacarrier/renderdraw3d:30 Internal_error RenderDraw3D object expected");
  }
}

TEST(RenderDraw3DStream, EmptyGeometryWritesEveryLabelInOrder) {
  RenderDraw3D g(RenderDrawGeom3D::DRAW_3D_B, 12);
  g.setLabel("part");
  std::vector<std::string> expected{"string RenderDraw3D", "unsigned 0",     "# version",
                                    "unsigned 0",          "# version",      "int 4",
                                    "# object type",       "int 12",         "# unique identifier",
                                    "string part",         "# object label", "# ",
                                    "# Bounding box"};
  const auto append = [&](const std::vector<std::string>& lines) {
    expected.insert(expected.end(), lines.begin(), lines.end());
  };
  append(written(BoundingBox3D()));
  append({"# ", "int 0", "# number of points", "int 0", "# number of curves", "int 0",
          "# number of sheets", "int 0", "# number of solids", "# ", "# Points", "# ", "# Curves",
          "# ", "# Sheets", "# ", "# Solid bounding boxes", "# "});
  const char* labels[12] = {"Solid to sheet", "Solid to curve", "Solid to point", "Sheet to curve",
                            "Sheet to point", "Curve to point", "Point to curve", "Point to sheet",
                            "Point to solid", "Curve to sheet", "Curve to solid", "Sheet to solid"};
  for (int k = 0; k < 12; ++k) {
    append({std::string("# ") + labels[k] + " adjacencies"});
    append(written(Adjacent()));
    if (k < 11) append({"# "});
  }
  EXPECT_EQ(written(g), expected);
}

TEST(RenderDraw3DStream, RoundTripsTruncationsAndRefusedVersions) {
  RenderDraw3D g = unitCube();
  g.allocate(1, 7, 2, 1);  // allocate resets every entity: rebuild the cube over it
  g = unitCube();
  g.setLabel("cube");
  const std::vector<std::string> expected = written(g);
  for (const RenderDraw3D& r : qvtest::streamCopies(g)) {
    EXPECT_EQ(written(r), expected);
    EXPECT_EQ(r.getSheetToSolidAdjacent().getAdjacentOrientations(3)[0], -1);
  }
  qvtest::expectEveryTruncationRaisesEndOfFile(g);

  RenderDraw3D r;
  qvtest::ForgedIStream outer({1, 0});
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(outer); }),
            site(51, "Incompatible_native_file_version", "datacarrier/renderdraw3d"));
  EXPECT_EQ(outer.consumed(), 1u);
  qvtest::ForgedIStream inner({0, 1, 3});
  EXPECT_EQ(codeOf([&] { r.deserializeRaw(inner); }), "Incompatible_native_file_version");
  EXPECT_EQ(inner.consumed(), 2u);
  // A point count the stream cannot hold is refused before anything is allocated.
  qvtest::ForgedIStream huge({0, 0, 3, 1, std::string(), std::string("RenderBoundingBox3D"), 0,
                              0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 1.0f, 1 << 30, 0, 0, 0});
  EXPECT_EQ(codeOf([&] { r.deserializeRaw(huge); }), "End_of_file_reached");
}

TEST(RenderDrawGeom3DCube, MeasuresAndPointInSolid) {
  const RenderDraw3D outward = unitCube(-1);
  const RenderDraw3D inward = unitCube(+1);
  EXPECT_NEAR(outward.getVolume(3, {0}), 1.0, 1e-15);
  EXPECT_NEAR(inward.getVolume(3, {0}), -1.0, 1e-15);  // outward normals, solid said outside
  EXPECT_DOUBLE_EQ(outward.getVolume(2, {0, 5}), 2.0);
  EXPECT_EQ(outward.getBndArea(3, {0, 0}), 6.0);
  EXPECT_EQ(outward.getBndArea(2, {0}), 0.0);
  EXPECT_EQ(outward.getBndArea(3, {-1}), 0.0);
  EXPECT_EQ(raiseSite([&] { outward.getBndArea(3, {1}); }), site(313, "VEXAL_assertion_failure"));
  EXPECT_EQ(raiseSite([&] { outward.getVolume(3, {1}); }), site(160, "VEXAL_assertion_failure"));

  EXPECT_TRUE(outward.pointInSolid({0.3, 0.4, 0.2}, 0));
  EXPECT_TRUE(outward.pointInSolid({1.0, 0.5, 0.5}, 0));  // on the boundary
  EXPECT_FALSE(outward.pointInSolid({0.3, 0.4, 1.5}, 0));
  EXPECT_FALSE(outward.pointInSolid({1.5, 0.5, 0.5}, 0));
  EXPECT_FALSE(inward.pointInSolid({0.3, 0.4, 0.2}, 0));
  EXPECT_FALSE(outward.pointInSolid({0.3, 0.4, 0.2}, 3));  // no such solid

  std::vector<int> found;
  outward.findEntitiesInBall({0.5, 0.5, 0.5}, 0.1, 3, false, {0}, found);
  outward.findEntitiesInBall({0.5, 0.5, 0.5}, 0.1, 3, true, {0}, found);
  EXPECT_EQ(found, std::vector<int>{0});
}

TEST(RenderDrawGeom3DCube, CorruptRelationsAndTrianglesStayInBounds) {
  RenderDraw3D g = unitCube();
  // Relations naming sheets and solids that do not exist; a run that a corrupt stream says is
  // longer than its array.
  g.solidToSheetAdjacent().allocate(1, 8);
  g.solidToSheetAdjacent().setAdjacent(0, {0, 1, 2, 3, 4, 5, 9, -2});
  // Sheet 1 names solid 4 with orientation +1; sheet 2's run of 9 is cut at the array's end.
  qvtest::ForgedIStream sides(
      {1, 6, 6, 0, 1, 1, 1, 2, 9, 3, 1, 4, 1, 5, 1, 0, -1, 4, 1, 0, -1, 0, -1, 0, -1, 0, -1, 6});
  g.sheetToSolidAdjacent().deserializeRaw(sides);
  ASSERT_EQ(g.getSheetToSolidAdjacent().getNumberOfAdjacents(5), 1);
  g.sheet(1).setTriangle(1, 0, 7, -5);   // corners the sheet does not have
  EXPECT_EQ(g.getVolume(3, {0}), 0.0);   // its boundary names a sheet that is not there
  EXPECT_EQ(g.getBndArea(3, {0}), 5.5);  // the broken triangle has no area
  EXPECT_EQ(codeOf([&] { g.pointInSolid({0.5, 0.5, 0.5}, 0); }), "Invalid_face_number");

  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  g.getMLRenderData(coords, elements);
  ASSERT_EQ(elements[5].size(), 12u);
  EXPECT_EQ(elements[6][3], 0);  // the missing corners point at position 0
  EXPECT_EQ(elements[7][3], 0);
  EXPECT_EQ(coords[0].size(), 8u);  // the cube's eight corners

  std::vector<int> found;
  g.findEntitiesInBox({-1, 2, -1, 2, -1, 2}, 3, true, {0}, found);
  EXPECT_EQ(found, std::vector<int>{0});
  EXPECT_EQ(raiseSite([&] {
              g.findEntitiesInBox({-1, 2, -1, 2, -1, 2}, 3, true, {0, 1}, found);
            }),
            site(840, "VEXAL_assertion_failure"));
  EXPECT_EQ(found, (std::vector<int>{0, 0}));
}

TEST(RenderDrawGeom3DCube, WireframeOfItselfKeepsPointsAndCurves) {
  RenderDraw3D g = unitCube();
  g.allocate(1, 6, 2, 1);  // fresh entities; rebuild the edges below
  g.point(0).setVertex(1, 2, 3);
  g.curve(1).reserve(2);
  g.curve(1).appendVertex(0, 0, 0);
  g.curve(1).appendVertex(1, 0, 0);
  g.curve(1).setBoundingBox3D(BoundingBox3D(0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f));
  g.curve(1).setValid(true);
  std::vector<int> unmeshed;
  g.getUnmeshedEdges(unmeshed);
  EXPECT_EQ(unmeshed, std::vector<int>{0});
  g.getUnmeshedFaces(unmeshed);
  EXPECT_EQ(unmeshed, (std::vector<int>{0, 1, 2, 3, 4, 5}));
  g.getWireframe(g);
  EXPECT_EQ(g.getNumberOfSheets(), 0);
  EXPECT_EQ(g.getNumberOfSolids(), 0);
  ASSERT_EQ(g.getNumberOfCurves(), 2);
  EXPECT_EQ(g.getPoint(0).getVertex().z, 3.0f);
  EXPECT_TRUE(g.getCurve(1).isValid());
  EXPECT_EQ(g.getCurve(1).getNumberOfVertices(), 2);
  EXPECT_EQ(g.getCurve(1).getBoundingBox().getMaxX(), 1.0f);
  EXPECT_FALSE(g.getCurve(0).isValid());
}

// Every byte of the cube's stream replaced in turn: each copy that still reads back answers
// every query without reading outside its arrays (checked under the sanitizers).
TEST(RenderDrawGeom3DCube, EveryQueryOnMutatedStreamsStaysInBounds) {
  RenderDraw3D cube = unitCube();
  cube.allocate(1, 6, 1, 1);
  cube = unitCube();
  const std::vector<char> bytes = qvtest::binaryOf(cube);
  int readBack = 0;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    for (char value : {char(0xff), char(0x7f), char(0x02)}) {
      std::vector<char> mutated = bytes;
      mutated[i] = value;
      BinaryISerialStream is(mutated);
      RenderDraw3D g;
      try {
        g.deserialize(is);
      } catch (const std::exception&) {
        continue;
      }
      ++readBack;
      std::vector<int> solids, sheets, curves, found;
      for (int s = 0; s < g.getNumberOfSolids(); ++s)
        solids.push_back(s);
      for (int s = 0; s < g.getNumberOfSheets(); ++s)
        sheets.push_back(s);
      for (int c = 0; c < g.getNumberOfCurves(); ++c)
        curves.push_back(c);
      try {
        g.getVolume(3, solids);
        g.getVolume(2, sheets);
        g.getBndArea(3, solids);
        std::vector<std::vector<double>> hits;
        g.findLineIntersections({0.3, 0.4, -1}, {0.3, 0.4, 2}, hits);
        std::vector<double> closest;
        g.findClosestPoint({0.3, 0.4, 0.2}, sheets, closest);
        std::vector<std::vector<float>> coords;
        std::vector<std::vector<int>> elements;
        g.getMLRenderData(coords, elements);
        for (int dim : {1, 2, 3}) {
          const std::vector<int>& all = dim == 1 ? curves : dim == 2 ? sheets : solids;
          for (bool inside : {true, false}) {
            g.findEntitiesInBall({0.5, 0.5, 0.5}, 0.2, dim, inside, all, found);
            g.findEntitiesInBox({0, 2, 0, 2, 0, 2}, dim, inside, all, found);
            g.findEntitiesInCylinder({0.5, 0.5, 0}, {0, 0, 1}, 0.2, 1.0, 0.0, dim, inside, all,
                                     found);
          }
        }
        for (int s : solids)
          g.pointInSolid({0.3, 0.4, 0.2}, s);
      } catch (const nkbase::Exception& e) {
        EXPECT_EQ(e.getCode(), "Invalid_face_number");  // a solid naming a missing sheet
      }
    }
  }
  EXPECT_GT(readBack, 100);
}

// The geometry's pick and closest-point search skip triangles by cheap tests first; their
// answers must be those of the sheet's own loops, bit for bit, for lines and points anywhere,
// also through vertices and along edges.
TEST(RenderDrawGeom3DSphere, PickAndClosestPointMatchTheSheetLoops) {
  const int rings = 24, segments = 48;
  const double pi = std::acos(-1.0);
  RenderDraw3D g;
  g.allocate(1, 1, 0, 0);
  Sheet3D& s = g.sheet(0);
  s.allocate(rings * segments, 2 * (rings - 1) * segments);
  for (int r = 0; r < rings; ++r) {
    for (int k = 0; k < segments; ++k) {
      const double th = pi * (r + 0.5) / rings, ph = 2 * pi * k / segments;
      const double n[3] = {std::sin(th) * std::cos(ph), std::sin(th) * std::sin(ph), std::cos(th)};
      s.setVertex(r * segments + k, float(3 * n[0] + 1), float(3 * n[1]), float(3 * n[2] - 2),
                  float(n[0]), float(n[1]), float(n[2]));
    }
  }
  int t = 0;
  for (int r = 0; r + 1 < rings; ++r) {
    for (int k = 0; k < segments; ++k) {
      const int a = r * segments + k, b = r * segments + (k + 1) % segments;
      s.setTriangle(t++, a, a + segments, b + segments);
      s.setTriangle(t++, a, b + segments, b);
    }
  }
  s.setBoundingBox3D(BoundingBox3D(-2.0f, 4.0f, -3.0f, 3.0f, -5.0f, 1.0f));
  s.setValid(true);
  std::mt19937 random(7);
  std::uniform_real_distribution<double> coordinate(-6.0, 6.0);
  for (int q = 0; q < 400; ++q) {
    std::vector<double> p0 = {coordinate(random), coordinate(random), coordinate(random)};
    std::vector<double> p1 = {coordinate(random), coordinate(random), coordinate(random)};
    if (q % 4 == 1) {  // through a vertex
      const Sheet3D::Vertex& v = s.getVertex(q % s.getNumberOfVertices());
      p1 = {double(v.x), double(v.y), double(v.z)};
    } else if (q % 4 == 2) {  // axis-parallel
      p1 = {p0[0], p0[1], p0[2] + 1.0};
    }
    std::vector<std::pair<double, int>> hits;
    std::vector<double> normals;
    s.findLineIntersections(p0, p1, hits, normals);
    std::sort(hits.begin(), hits.end());
    std::vector<std::vector<double>> result;
    g.findLineIntersections(p0, p1, result);
    ASSERT_EQ(result.size(), hits.size()) << q;
    for (std::size_t i = 0; i < hits.size(); ++i) {
      const std::vector<double> expected = {hits[i].first, normals[3 * hits[i].second],
                                            normals[3 * hits[i].second + 1],
                                            normals[3 * hits[i].second + 2]};
      EXPECT_EQ(result[i], expected) << q;
    }
    std::vector<double> closest(3), sheetClosest(3);
    double d2 = std::numeric_limits<double>::infinity();
    ASSERT_TRUE(s.findClosestPoint(p0, sheetClosest, d2, -1.0));
    EXPECT_EQ(g.findClosestPoint(p0, {0}, closest), 0);
    EXPECT_EQ(closest, sheetClosest) << q;
  }
}
