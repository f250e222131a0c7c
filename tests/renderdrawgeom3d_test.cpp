// The 3D draw geometry, exercised through its drawing object RenderDraw3D on hand-built boxes
// and generated spheres and cylinders (the meshed models are in meshedmodels3d_test.cpp).
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "datacarrier/renderdrawgeom3d.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <random>

#include "carrierstreamchecks.h"
#include "datacarrier/internal/trianglemath.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw3d.h"
#include "models3d.h"
#include "recordingstream.h"

using namespace nkdatacarrier;
using qvtest::codeOf;
using qvtest::raiseSite;

namespace {

using Ints = std::vector<int>;
using Vec = std::vector<double>;
using Lists = RenderDrawGeom::AdjacencyLists;
const double kInf = std::numeric_limits<double>::infinity();
const double kPi = std::acos(-1.0);

std::string site(int line, const std::string& code) {
  return "datacarrier/renderdrawgeom3d:" + std::to_string(line) + " " + code;
}

Lists listsOf(const Adjacent& a) {
  Lists lists(a.getNumberOfFromIndices());
  for (int s = 0; s < a.getNumberOfFromIndices(); ++s)
    for (int k = 0; k < a.getNumberOfAdjacents(s); ++k)
      lists[s].push_back({a.getAdjacents(s)[k], a.getAdjacentOrientations(s)[k]});
  return lists;
}

Ints all(int n) {
  Ints v(n);
  for (int i = 0; i < n; ++i)
    v[i] = i;
  return v;
}

// The find forms with a fresh result.
Ints inBall(const RenderDrawGeom3D& g, Vec c, double r, int dim, bool inside, const Ints& cand) {
  Ints out;
  g.findEntitiesInBall(c, r, dim, inside, cand, out);
  return out;
}
Ints inBox(const RenderDrawGeom3D& g, Vec box, int dim, bool inside, const Ints& cand) {
  Ints out;
  g.findEntitiesInBox(box, dim, inside, cand, out);
  return out;
}
Ints inCyl(const RenderDrawGeom3D& g, Vec p, Vec axis, double r, double hMax, double hMin, int dim,
           bool inside, const Ints& cand) {
  Ints out;
  g.findEntitiesInCylinder(p, axis, r, hMax, hMin, dim, inside, cand, out);
  return out;
}

// A 3D geometry of another class, for the checked cast.
// Points 0 (origin) and 1 (1,0,0); curves with 3, 1, 0 and 2 vertices (curve 2 invalid);
// sheets: 0 valid (3 vertices, 1 triangle), 1 invalid (4 vertices, 2 triangles), 2 valid
// (4 vertices, 2 triangles). Vertices repeat so that the render export merges them.
RenderDraw3D renderModel() {
  RenderDraw3D g;
  g.allocate(0, 3, 4, 2);
  g.point(1).setVertex(1, 0, 0);
  g.curve(0) = qvtest::makeCurve({{1, 0, 0}, {1, 1, 0}, {1, 1, 1}});
  g.curve(1) = qvtest::makeCurve({{5, 5, 5}});
  g.curve(2) = qvtest::makeCurve({}, false);
  g.curve(3) = qvtest::makeCurve({{2, 0, 0}, {2, 1, 0}});
  g.sheet(0) = qvtest::makeSheet({{1, 1, 0}, {2, 1, 0}, {2, 0, 0}}, {0, 1, 2}, -1, -1);
  g.sheet(1) = qvtest::quad({9, 9, 9}, {1, 0, 0}, {0, 1, 0}, -1, -1);
  g.sheet(1).setValid(false);
  g.sheet(2) = qvtest::quad({3, 0, 0}, {1, 0, 0}, {0, 1, 0}, -1, -1);
  return g;
}

}  // namespace

TEST(RenderDrawGeom3DModel, AllocationCountsAndDerivedQueries) {
  RenderDraw3D g = renderModel();
  EXPECT_EQ(g.getNumberOfSolids(), 0);
  EXPECT_EQ(g.getNumberOfSheets(), 3);
  // Sheet vertices 11 - curve vertices 6 - points 2; the unit cube's estimate is negative.
  EXPECT_EQ(g.numUniquePointsEstimate(), 3);
  EXPECT_EQ(qvtest::unitCube(-1).numUniquePointsEstimate(), 24 - 24 - 8);
  EXPECT_EQ(RenderDraw3D().numUniquePointsEstimate(), 0);
  Ints out{7};
  g.getUnmeshedFaces(out);
  EXPECT_EQ(out, Ints{1});
  g.getUnmeshedEdges(out);
  EXPECT_EQ(out, Ints{2});
  g.setBoundingBox3D(BoundingBox3D(-1, 2, -3, 4, -5, 6));
  std::vector<float> box{9, 9};
  g.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-1, 2, -3, 4, -5, 6}));

  // allocate resets every entity, keeps relations, box and attributes.
  g.setCurveToPointAdjacent({{}, {{1, 1}}});
  g.allocate(2, 1, 1, 1);
  EXPECT_FALSE(g.getSheet(0).isValid());
  EXPECT_EQ(g.getCurve(0).getNumberOfVertices(), 0);
  EXPECT_EQ(g.getPoint(0).getVertex().x, 0.0f);
  EXPECT_EQ(g.getNumberOfSolids(), 2);
  EXPECT_EQ(g.getCurveToPointAdjacent().getNumberOfFromIndices(), 1);
  EXPECT_EQ(g.getBoundingBox().getMaxZ(), 6.0f);

  // The wireframe: box, points and curves copied; the target's sheets and solids are gone,
  // its relations and attributes stay.
  const RenderDraw3D cube = qvtest::unitCube(-1);
  RenderDraw3D wire(RenderDrawGeom3D::DRAW_3D_C, 5);
  wire.setLabel("w");
  wire.allocate(3, 2, 0, 0);
  wire.setSheetToPointAdjacent({{}, {{4, 1}}});
  cube.getWireframe(wire);
  EXPECT_EQ(wire.getNumberOfSheets(), 0);
  EXPECT_EQ(wire.getNumberOfSolids(), 0);
  EXPECT_EQ(wire.getNumberOfPoints(), 8);
  ASSERT_EQ(wire.getNumberOfCurves(), 12);
  EXPECT_EQ(wire.getPoint(7).getVertex().z + wire.getBoundingBox().getMaxX(), 2.0f);
  EXPECT_EQ(qvtest::written(wire.getCurve(11)), qvtest::written(cube.getCurve(11)));
  EXPECT_EQ(wire.getSheetToPointAdjacent().getNumberOfFromIndices(), 1);
  EXPECT_EQ(wire.getLabel() + std::to_string(wire.getId()), "w5");
  // A geometry made its own wireframe keeps its points and curves.
  RenderDraw3D self = cube;
  self.getWireframe(self);
  EXPECT_EQ(self.getNumberOfSheets(), 0);
  ASSERT_EQ(self.getNumberOfCurves(), 12);
  EXPECT_EQ(self.getCurve(11).getNumberOfVertices(), 2);
  EXPECT_EQ(self.getPoint(7).getVertex().y, 1.0f);
}

// The twelve relations in the order they are written, with their labels. The relations into
// solids take solid numbers from 1 and drop orientations.
using G = RenderDrawGeom3D;
struct Relation {
  const char* label;
  void (G::*set)(const Lists&);
  const Adjacent& (G::*get)() const;
  Adjacent& (G::*mut)();
  bool toSolid;
};
#define QV_RELATION(Name, name, label, toSolid)                                          \
  Relation {                                                                             \
    label, &G::set##Name##Adjacent, &G::get##Name##Adjacent, &G::name##Adjacent, toSolid \
  }
const Relation kRelations[12] = {QV_RELATION(SolidToSheet, solidToSheet, "Solid to sheet", false),
                                 QV_RELATION(SolidToCurve, solidToCurve, "Solid to curve", false),
                                 QV_RELATION(SolidToPoint, solidToPoint, "Solid to point", false),
                                 QV_RELATION(SheetToCurve, sheetToCurve, "Sheet to curve", false),
                                 QV_RELATION(SheetToPoint, sheetToPoint, "Sheet to point", false),
                                 QV_RELATION(CurveToPoint, curveToPoint, "Curve to point", false),
                                 QV_RELATION(PointToCurve, pointToCurve, "Point to curve", false),
                                 QV_RELATION(PointToSheet, pointToSheet, "Point to sheet", false),
                                 QV_RELATION(PointToSolid, pointToSolid, "Point to solid", true),
                                 QV_RELATION(CurveToSheet, curveToSheet, "Curve to sheet", false),
                                 QV_RELATION(CurveToSolid, curveToSolid, "Curve to solid", true),
                                 QV_RELATION(SheetToSolid, sheetToSolid, "Sheet to solid", true)};
#undef QV_RELATION

TEST(RenderDrawGeom3DModel, TwelveRelationsAndBothSetterKinds) {
  const Relation* rels = kRelations;
  const Lists input{{{9, 9}}, {{2, 1}, {0, -1}, {-3, 4}}, {}, {{5, 0}}};
  RenderDraw3D g;
  for (int k = 0; k < 12; ++k) {
    (g.*rels[k].set)(input);
    const Adjacent& a = (g.*rels[k].get)();
    EXPECT_EQ(&a, &(g.*rels[k].mut)()) << k;
    if (rels[k].toSolid) {
      // Every entry is a list; 1-based solid numbers, 0 or less dropped, orientations 0.
      EXPECT_EQ(listsOf(a), (Lists{{{8, 0}}, {{1, 0}}, {}, {{4, 0}}})) << k;
      EXPECT_EQ(a.getTotalNumberOfAdjacents(), 3) << k;
    } else {
      EXPECT_EQ(listsOf(a), (Lists{{{2, 1}, {0, -1}, {-3, 4}}, {}, {{5, 0}}})) << k;
      EXPECT_EQ(a.getTotalNumberOfAdjacents(), 4) << k;
    }
    // Each setter fills its own relation only.
    for (int j = 0; j < k; ++j)
      EXPECT_EQ(listsOf((g.*rels[j].get)()).size(), rels[j].toSolid ? 4u : 3u) << j;
  }
  g.setSolidToSheetAdjacent({{{1, 1}}});
  EXPECT_EQ(g.getSolidToSheetAdjacent().getNumberOfFromIndices(), 0);
  g.setCurveToPointAdjacent({});
  EXPECT_EQ(g.getCurveToPointAdjacent().getNumberOfFromIndices(), 0);
  g.setSheetToSolidAdjacent({{{1, 0}, {0, 0}}});
  EXPECT_EQ(listsOf(g.getSheetToSolidAdjacent()), (Lists{{{0, 0}}}));
}

TEST(RenderDrawGeom3DSerialization, AttributeBlockSequenceAndRoundTrip) {
  RenderDraw3D g = qvtest::twoCubes();
  g.allocate(1, 1, 1, 1);
  g.point(0).setVertex(1, 2, 3);
  g.curve(0) = qvtest::makeCurve({{0, 0, 0}, {1, 0, 0}});
  g.sheet(0) = qvtest::quad({0, 0, 0}, {1, 0, 0}, {0, 1, 0}, 0, -1);
  g.setBoundingBoxSolid(0, BoundingBox3D(0, 1, 0, 1, 0, 0));
  g.setLabel("two");
  using L = std::vector<std::string>;
  auto nested = [](const nkbase::Serializable& s) { return qvtest::written(s); };
  L want = qvtest::seq(
      "string RenderDraw3D|unsigned 0|# version|unsigned 0|# version|int 4|# object type|int 7|"
      "# unique identifier|string two|# object label|# |# Bounding box");
  auto add = [&](const L& more) { want.insert(want.end(), more.begin(), more.end()); };
  add(nested(g.getBoundingBox()));
  add(
      qvtest::seq("# |int 1|# number of points|int 1|# number of curves|int 1|# number of sheets|"
                  "int 1|# number of solids|# |# Points|float 1|float 2|float 3|# |# |# Curves"));
  add(nested(g.getCurve(0)));
  add({"# ", "# Sheets"});
  add(nested(g.getSheet(0)));
  add({"# ", "# Solid bounding boxes"});
  add(nested(g.getBoundingBoxSolid(0)));
  add({"# "});
  for (int k = 0; k < 12; ++k) {
    add({std::string("# ") + kRelations[k].label + " adjacencies"});
    add(nested((g.*kRelations[k].get)()));
    if (k < 11) add({"# "});
  }
  EXPECT_EQ(qvtest::written(g), want);

  // Reading replaces every entity and relation of a filled object.
  RenderDraw3D filled = qvtest::twoCubes();
  const std::vector<char> bytes = qvtest::binaryOf(g);
  BinaryISerialStream is(bytes);
  filled.deserialize(is);
  EXPECT_EQ(qvtest::written(filled), want);
  for (const RenderDraw3D& r : qvtest::streamCopies(g))
    EXPECT_EQ(qvtest::written(r), want);
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

// A corrupt entity count must not size arrays before the stream shows the entities.
TEST(RenderDrawGeom3DSerialization, HugeCountsEndWithTheStream) {
  using Values = std::vector<qvtest::ForgedIStream::Value>;
  // Versions, type, id, label, box, then the four counts (points, curves, sheets, solids).
  const Values head{
      0,    0,    3,    1,   std::string("x"), std::string("RenderBoundingBox3D"), 0, 0.0f, 1.0f,
      0.0f, 1.0f, 0.0f, 1.0f};
  for (int k = 0; k < 4; ++k) {
    Values v = head;
    v.insert(v.end(), {0, 0, 0, 0});
    v[13 + k] = 2000000000;
    qvtest::ForgedIStream in(v);
    RenderDraw3D g;
    EXPECT_EQ(codeOf([&] { g.deserializeRaw(in); }), "End_of_file_reached") << k;
  }
}

TEST(RenderDrawGeom3DRender, SizesAndMergedOneBasedArrays) {
  const RenderDraw3D g = renderModel();
  EXPECT_EQ(g.getMLRenderPointSize(), 2 + 6 + 11);  // invalid sheet counted
  EXPECT_EQ(g.getMLRenderVtxSize(), 2);
  EXPECT_EQ(g.getMLRenderEdgSize(), 2 + 0 - 1 + 1);  // the empty curve subtracts one
  EXPECT_EQ(g.getMLRenderTriSize(), 5);
  std::vector<std::vector<float>> coords(5, {7});
  std::vector<std::vector<int>> el(12, {7});
  g.getMLRenderData(coords, el);
  // Positions: points 0-1, curve 0 at 2-4, curve 1 takes 5, curve 2 takes 6, curve 3 at 7-8,
  // sheet 0 at 9-11, sheet 1 skipped, sheet 2 at 12-15; merged in order of first appearance.
  using F = std::vector<float>;
  EXPECT_EQ(coords, (std::vector<F>{{0, 1, 1, 1, 2, 2, 3, 4, 4, 3},
                                    {0, 0, 1, 1, 0, 1, 0, 0, 1, 1},
                                    {0, 0, 0, 1, 0, 0, 0, 0, 0, 0}}));
  EXPECT_EQ(el, (std::vector<Ints>{{0, 1},
                                   {1, 2},
                                   {1, 2, 4},
                                   {2, 3, 5},
                                   {1, 1, 4},
                                   {2, 6, 6},
                                   {5, 7, 8},
                                   {4, 8, 9},
                                   {1, 3, 3}}));

  // A triangle corner that its sheet does not have takes position 0.
  RenderDraw3D bad;
  bad.allocate(0, 1, 0, 1);
  bad.point(0).setVertex(7, 7, 7);
  bad.sheet(0) = qvtest::makeSheet({{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}, {0, 1, 2, 0, 1, 2}, -1, -1);
  bad.sheet(0).setTriangle(1, 2, 5, -1);
  bad.getMLRenderData(coords, el);
  EXPECT_EQ(coords[0], (F{7, 1, 0, 0}));
  EXPECT_EQ(std::vector<Ints>(el.begin() + 5, el.end()),
            (std::vector<Ints>{{1, 3}, {2, 0}, {3, 0}, {1, 1}}));

  // A negative estimate still merges: the cube's 56 positions are its 8 corners.
  qvtest::unitCube(-1).getMLRenderData(coords, el);
  EXPECT_EQ(coords[0].size(), 8u);
  EXPECT_EQ(el[5].size(), 12u);
  EXPECT_EQ(el[2].size(), 12u);
  for (int k : {0, 2, 3, 5, 6, 7})
    for (int i : el[k])
      EXPECT_TRUE(i >= 0 && i < 8) << k;
}

TEST(RenderDrawGeom3DMeasures, VolumesAreasAndLengths) {
  // A closed cube: exactly 1 for both consistent orientations, -1 when the solid is outside.
  EXPECT_EQ(qvtest::unitCube(-1).getVolume(3, {0}), 1.0);
  EXPECT_EQ(qvtest::unitCube(+1, true).getVolume(3, {0}), 1.0);
  EXPECT_EQ(qvtest::unitCube(+1).getVolume(3, {0}), -1.0);
  // Filled through the public setters, which store orientation 0: the sheets' own domains
  // give the side (solid down with outward normals, up with inward ones). A sheet whose
  // domains do not name the solid adds nothing.
  for (bool inward : {false, true}) {
    RenderDraw3D cube(RenderDrawGeom3D::DRAW_3D_A, 1);
    cube.allocate(1, 6, 0, 0);
    const std::vector<Sheet3D> faces = qvtest::boxFaces({0, 0, 0}, {1, 1, 1}, 0, inward);
    Lists toSheet(2), toSolid(6);
    for (int i = 0; i < 6; ++i) {
      cube.sheet(i) = faces[i];
      toSheet[1].push_back({i, 0});
      toSolid[i].push_back({1, 0});
    }
    cube.setSolidToSheetAdjacent(toSheet);
    cube.setSheetToSolidAdjacent(toSolid);
    cube.setBoundingBox3D(qvtest::boxOf({{0, 0, 0}, {1, 1, 1}}));
    EXPECT_EQ(cube.getVolume(3, {0}), 1.0) << inward;
    EXPECT_EQ(cube.getBndArea(3, {0}), 6.0) << inward;
    cube.sheet(5).setUp(7);
    cube.sheet(5).setDown(8);
    EXPECT_DOUBLE_EQ(cube.getVolume(3, {0}), 5.0 / 6.0) << inward;  // the pyramid of 5 faces
  }
  const RenderDraw3D g = qvtest::twoCubes();
  EXPECT_EQ(g.getVolume(3, {1}), 1.0);
  EXPECT_EQ(g.getVolume(3, {0}), 1.0);  // the inner sheet has the solid on both sides
  EXPECT_EQ(g.getVolume(3, {0, 1}), 2.0);
  EXPECT_EQ(g.getVolume(2, {0, 11}), 1.25);
  EXPECT_EQ(g.getVolume(1, {0}), 1.0);
  EXPECT_EQ(qvtest::unitCube(-1).getVolume(1, all(12)), 12.0);
  for (int dim : {1, 2, 3})
    EXPECT_EQ(codeOf([&] { g.getVolume(dim, {0, 12}); }), "VEXAL_assertion_failure") << dim;

  // Boundary areas: a shared sheet once, the inner sheet never, other dimensions 0.
  EXPECT_EQ(g.getBndArea(3, {0}), 6.0);
  EXPECT_EQ(g.getBndArea(3, {0, 0}), 6.0);
  EXPECT_EQ(g.getBndArea(3, {-1, 1}), 6.0);  // a negative solid adds nothing
  EXPECT_EQ(g.getBndArea(3, {1, 0}), 11.0);
  for (int dim : {0, 1, 2, 4})
    EXPECT_EQ(g.getBndArea(dim, {0, 7}), 0.0) << dim;
  RenderDraw3D partly = g;
  partly.sheet(0).setComplete(false);  // an incomplete sheet has no area
  EXPECT_EQ(partly.getBndArea(3, {0}), 5.0);
  EXPECT_EQ(raiseSite([&] { g.getBndArea(3, {0, 2}); }), site(313, "VEXAL_assertion_failure"));

  // Generated solids: the cylinder's n-gon prism in closed form, the sphere near 4/3 pi r^3.
  const int n = 96;
  const double r = 0.75, h = 2.0, base = 0.5 * n * r * r * std::sin(2 * kPi / n);
  const RenderDraw3D cyl = qvtest::cylinder(float(r), float(h), n);
  EXPECT_NEAR(cyl.getVolume(3, {0}), base * h, 1e-6);
  EXPECT_NEAR(cyl.getBndArea(3, {0}), 2 * base + n * 2 * r * std::sin(kPi / n) * h, 1e-5);
  const RenderDraw3D sph = qvtest::sphere(2.0f, 90, 180);
  const double v = sph.getVolume(3, {0}), exact = 4.0 / 3.0 * kPi * 8;
  EXPECT_LT(v, exact);
  EXPECT_NEAR(v / exact, 1.0, 1e-3);
  EXPECT_NEAR(sph.getBndArea(3, {0}) / (4 * kPi * 4), 1.0, 1e-3);
}

TEST(RenderDrawGeom3DLine, HitsSortedWithNormalsAndOwners) {
  const RenderDraw3D g = qvtest::twoCubes();
  // Straight up through x = y = 0.5: each sheet is hit on its diagonal, by both triangles.
  std::vector<Vec> result(7, Vec{9, 9, 9, 9});
  Ints sheets{42};
  g.findLineIntersections({0.5, 0.5, -1}, {0.5, 0.5, 3}, result, sheets);
  EXPECT_EQ(sheets, (Ints{3, 3, 11, 11, 4, 4}));
  const std::vector<Vec> up{{0.25, 0, 0, -1}, {0.25, 0, 0, -1}, {0.375, 0, 0, 1},
                            {0.375, 0, 0, 1}, {0.5, 0, 0, 1},   {0.5, 0, 0, 1}};
  EXPECT_EQ(result, up);

  // Diagonally through the edges x = y = 0 and x = y = 1 at z = 0.25: equal t in sheet order.
  g.findLineIntersections({-1, -1, 0.25}, {1, 1, 0.25}, result, sheets);
  EXPECT_EQ(sheets, (Ints{0, 1, 2, 5, 8}));
  const std::vector<Vec> diag{
      {0.5, -1, 0, 0}, {0.5, 0, -1, 0}, {1, 0, 1, 0}, {1, 1, 0, 0}, {1, 0, 1, 0}};
  EXPECT_EQ(result, diag);
  // Short entries from the caller are grown, not written past.
  std::vector<Vec> shortRows{Vec{9}, Vec{}};
  g.findLineIntersections({-1, -1, 0.25}, {1, 1, 0.25}, shortRows, sheets);
  EXPECT_EQ(shortRows, diag);
  std::vector<Vec> three;
  g.findLineIntersections({-1, -1, 0.25}, {1, 1, 0.25}, three);
  EXPECT_EQ(three, diag);

  renderModel().findLineIntersections({9.5, 9.5, 0}, {9.5, 9.5, 1}, result, sheets);
  EXPECT_TRUE(result.empty());  // the sheet there is invalid
  g.findLineIntersections({0.5, 0.5, 0.5}, {0.5, 0.5, 0.5}, result, sheets);
  EXPECT_TRUE(result.empty());
  EXPECT_TRUE(sheets.empty());
}

TEST(RenderDrawGeom3DClosestPoint, BestSheetFirstOnTiesAndErrors) {
  const RenderDraw3D g = qvtest::twoCubes();
  Vec closest;
  EXPECT_EQ(g.findClosestPoint({0.5, 0.5, 2}, all(12), closest), 4);
  EXPECT_EQ(closest, (Vec{0.5, 0.5, 1}));
  // (1, 0.5, 1) lies on sheets 4, 5 and 10 alike: the first listed wins.
  EXPECT_EQ(g.findClosestPoint({1, 0.5, 2}, {10, 4, 5}, closest), 10);
  EXPECT_EQ(g.findClosestPoint({1, 0.5, 2}, {5, 10, 4}, closest), 5);
  EXPECT_EQ(closest, (Vec{1, 0.5, 1}));
  for (const Ints& none : {Ints{}, Ints{1}}) {
    const RenderDraw3D& m = none.empty() ? g : renderModel();  // sheet 1 there is invalid
    closest = {1, 2};
    EXPECT_EQ(m.findClosestPoint({0, 0, 0}, none, closest), -1);
    ASSERT_EQ(closest.size(), 3u);
    for (double c : closest)
      EXPECT_TRUE(std::isnan(c));
  }
  for (int bad : {12, -1})
    EXPECT_EQ(raiseSite([&] {
                g.findClosestPoint({0, 0, 0}, {0, bad}, closest);
              }),
              site(437, "Invalid_face_number"));
}

// The winner of a plain search: every triangle of every valid candidate sheet offered in order.
int plainClosest(const RenderDraw3D& g, const Vec& p, const Ints& sheets, Vec& closest) {
  closest.assign(3, std::nan(""));
  nkdatacarrier::trianglemath::ClosestSearch search{closest.data(), kInf, -1.0, false};
  int best = -1;
  for (int k : sheets) {
    const Sheet3D& s = g.getSheet(k);
    if (!s.isValid()) continue;
    search.found = false;
    const int* t = s.getTriangleArray();
    for (int i = 0; i < s.getNumberOfTriangles(); ++i, t += 3) {
      if (!nkdatacarrier::trianglemath::indicesValid(t, s.getNumberOfVertices())) continue;
      const Sheet3D::Vertex* v = s.getVertexArray();
      nkdatacarrier::trianglemath::closestOnTriangle(p.data(), v[t[0]], v[t[1]], v[t[2]], search);
    }
    if (search.found) best = k;
  }
  return best;
}

// Four wavy grids of 2 x 20 x 20 triangles of the given scale about shift: sheets 0 and 1
// coincide (ties between sheets), sheet 2 has a NaN corner, sheet 3 an infinite one.
RenderDraw3D wavyGrids(double scale, double shift) {
  RenderDraw3D g(RenderDrawGeom3D::DRAW_3D_A, 1);
  g.allocate(1, 4, 0, 0);
  for (int k = 0; k < 4; ++k)
    g.sheet(k) = qvtest::wavyGrid(21, scale, shift, k == 1 ? 0.0 : 0.3 * k * scale);
  qvtest::setCoord(g.sheet(2), 37, 0, std::nanf(""));
  qvtest::setCoord(g.sheet(3), 50, 1, HUGE_VALF);
  return g;
}

TEST(RenderDrawGeom3DRejections, NeverChangeTheWinnerOrTheHits) {
  // Points on and just off vertices, edges and faces of the grids at many scales, and far away,
  // and lines through them in every direction (on the edge of the tolerance band): the closest
  // point and the pick with their rejections must agree bit for bit with the plain search and
  // with the sheets' own hits, in the same order.
  std::mt19937 rng(7);
  std::uniform_real_distribution<double> unit(-1.0, 1.0);
  const int kGrid = 21;
  // By t, NaN last, ties in the order found (std::sort: the test's allocation hooks and the
  // temporary buffer of a stable sort do not mix under the address sanitizer).
  const auto before = [](const std::pair<double, int>& x, const std::pair<double, int>& y) {
    const bool xNaN = std::isnan(x.first), yNaN = std::isnan(y.first);
    if (xNaN != yNaN) return yNaN;
    if (!xNaN && x.first != y.first) return x.first < y.first;
    return x.second < y.second;
  };
  for (double scale : {1e-6, 1e-2, 1.0, 3e3, 1e7}) {
    const double shift = 1e3 * scale * unit(rng);
    const RenderDraw3D g = wavyGrids(scale, shift);
    for (int q = 0; q < 400; ++q) {
      const Sheet3D& s = g.getSheet(q % 4);
      const Sheet3D::Vertex& v = s.getVertexArray()[rng() % (kGrid * kGrid)];
      const Sheet3D::Vertex& w = s.getVertexArray()[rng() % (kGrid * kGrid)];
      const double f = q % 3 == 0 ? 1.0 : 0.5 + 0.5 * unit(rng);
      const double off = scale * std::pow(10.0, -9.0 + 10.0 * (0.5 + 0.5 * unit(rng)));
      Vec p = {f * v.x + (1 - f) * w.x + off * unit(rng), f * v.y + (1 - f) * w.y + off * unit(rng),
               f * v.z + (1 - f) * w.z + off * unit(rng)};
      if (q % 50 == 0) p = {shift + 1e4 * scale * unit(rng), shift, shift};
      if (q % 100 == 1) p[1] = std::nan("");
      for (const Ints& sheets : {Ints{0, 1, 2, 3}, Ints{3, 1, 0}, Ints{2}}) {
        Vec expected, got;
        const int want = plainClosest(g, p, sheets, expected);
        ASSERT_EQ(g.findClosestPoint(p, sheets, got), want) << scale << " " << q;
        ASSERT_EQ(std::memcmp(got.data(), expected.data(), 3 * sizeof(double)), 0)
            << scale << " " << q;
      }

      Vec dir = {unit(rng), unit(rng), unit(rng)};
      if (q % 5 == 0) dir = {0.0, 0.0, 1.0};
      const double len = scale * (q % 7 == 0 ? 1e4 : 3.0);
      const Vec p0 = {p[0] - len * dir[0], p[1] - len * dir[1], p[2] - len * dir[2]};
      const Vec p1 = {p[0] + len * dir[0], p[1] + len * dir[1], p[2] + len * dir[2]};
      std::vector<std::pair<double, int>> hits;
      Vec normals;
      Ints owners;
      for (int k = 0; k < 4; ++k) {
        g.getSheet(k).findLineIntersections(p0, p1, hits, normals);
        owners.resize(hits.size(), k);
      }
      std::sort(hits.begin(), hits.end(), before);
      std::vector<Vec> got;
      Ints sheets;
      g.findLineIntersections(p0, p1, got, sheets);
      ASSERT_EQ(got.size(), hits.size()) << scale << " " << q;
      for (std::size_t i = 0; i < hits.size(); ++i) {
        const int j = hits[i].second;
        const double expected[4] = {hits[i].first, normals[3 * j], normals[3 * j + 1],
                                    normals[3 * j + 2]};
        ASSERT_EQ(std::memcmp(got[i].data(), expected, sizeof expected), 0) << scale << " " << q;
        ASSERT_EQ(sheets[i], owners[j]);
      }
    }
  }
}

TEST(RenderDrawGeom3DPlane, SheetBlocksThenCurveBlocks) {
  const RenderDraw3D g = qvtest::twoCubes();
  PostDataObject out;
  Array<double, 1> point(3), normal(3);
  point[2] = 0.25;
  normal[2] = 1.0;
  g.findPlaneIntersections(point, normal, out);
  ASSERT_EQ(out.getGroups(), 12 + 1);
  // The vertical faces are cut once per triangle; the others add empty blocks.
  const Ints segments{2, 2, 2, 0, 0, 2, 2, 2, 2, 0, 0, 0};
  for (int s = 0; s < 12; ++s) {
    const int m = segments[s];
    EXPECT_EQ(out.getVertices(s, PostDataObject::DIR_Z), Vec(2 * m, 0.25)) << s;
    EXPECT_EQ(out.getElementIndices(s, 0), m ? (Ints{0, 2}) : Ints{}) << s;
    EXPECT_EQ(out.getElementIndices(s, 1), m ? (Ints{1, 3}) : Ints{}) << s;
    EXPECT_TRUE(out.getData(s).empty()) << s;
  }
  // The curve lies in the plane: two segments, its middle vertex twice.
  EXPECT_EQ(out.getVertices(12, PostDataObject::DIR_X), (Vec{0, 0.5, 0.5, 1}));
  EXPECT_EQ(out.getElementIndices(12, 0), (Ints{0, 2}));
}

TEST(RenderDrawGeom3DPointInSolid, OrientationsBoundaryAndTwoSidedSheets) {
  const Vec centre{0.5, 0.5, 0.5};
  EXPECT_TRUE(qvtest::unitCube(-1).pointInSolid(centre, 0));
  EXPECT_FALSE(qvtest::unitCube(+1).pointInSolid(centre, 0));
  EXPECT_TRUE(qvtest::unitCube(+1, true).pointInSolid(centre, 0));
  EXPECT_FALSE(qvtest::unitCube(-1).pointInSolid({0.5, 0.5, 1.5}, 0));
  EXPECT_TRUE(qvtest::unitCube(+1).pointInSolid({0.5, 0.5, 1}, 0));  // on the boundary
  EXPECT_FALSE(qvtest::unitCube(-1).pointInSolid({3, -2, 0.5}, 0));
  EXPECT_FALSE(qvtest::unitCube(-1).pointInSolid(centre, 3));  // no such solid

  const RenderDraw3D g = qvtest::twoCubes();
  struct Case {
    Vec p;
    bool in0, in1;
  };
  const Case cases[] = {
      {{0.5, 0.5, 0.25}, true, false},  // below the two-sided sheet, which must not decide
      {{0.4, 0.6, 0.75}, true, false}, {{1.5, 0.5, 0.5}, false, true},
      {{1.0, 0.5, 0.5}, true, true},   // on the shared sheet
      {{0.5, 0.0, 0.3}, true, false},  // on a boundary sheet
      {{0.5, 0.5, 0.5}, true, false},  // on the two-sided sheet
      {{2.5, 0.5, 0.5}, false, false}};
  for (const Case& c : cases) {
    EXPECT_EQ(g.pointInSolid(c.p, 0), c.in0) << c.p[0] << " " << c.p[1] << " " << c.p[2];
    EXPECT_EQ(g.pointInSolid(c.p, 1), c.in1) << c.p[0] << " " << c.p[1] << " " << c.p[2];
  }
  RenderDraw3D empty;
  empty.allocate(1, 0, 0, 0);
  EXPECT_FALSE(empty.pointInSolid({0, 0, 0}, 0));
  RenderDraw3D missing = qvtest::unitCube(-1);
  missing.setSolidToSheetAdjacent({{}, {{0, -1}, {6, -1}}});
  EXPECT_EQ(raiseSite([&] {
              missing.pointInSolid({0.5, 0.5, 0.5}, 0);
            }),
            site(437, "Invalid_face_number"));

  const RenderDraw3D sph = qvtest::sphere(1.0f, 40, 80);
  const RenderDraw3D cyl = qvtest::cylinder(1.0f, 2.0f, 48);
  const Sheet3D::Vertex& v = sph.getSheet(0).getVertex(333);
  EXPECT_TRUE(sph.pointInSolid({v.x, v.y, v.z}, 0));
  for (int k = 0; k < 24; ++k) {
    const double a = 0.7 * k, b = 0.3 * k - 3,
                 d[3] = {std::cos(a) * std::cos(b), std::sin(a) * std::cos(b), std::sin(b)};
    EXPECT_TRUE(sph.pointInSolid({0.9 * d[0], 0.9 * d[1], 0.9 * d[2]}, 0)) << k;
    EXPECT_FALSE(sph.pointInSolid({1.1 * d[0], 1.1 * d[1], 1.1 * d[2]}, 0)) << k;
    EXPECT_TRUE(cyl.pointInSolid({0.95 * d[0], 0.95 * d[1], 1 + 0.95 * d[2]}, 0)) << k;
    EXPECT_FALSE(cyl.pointInSolid({1.05 * d[0] / std::cos(b), 1.05 * d[1] / std::cos(b), 1}, 0))
        << k;
  }
}

TEST(RenderDrawGeom3DSelection, CurvesSheetsAndSolidsInBothSenses) {
  const RenderDraw3D g = qvtest::twoCubes();
  const Ints sheets = all(12), solids{0, 1};
  // Ball around the centre of solid 0, reaching its faces but no face of solid 1.
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.5}, 0.55, 2, false, sheets), (Ints{0, 1, 2, 3, 4, 5, 11}));
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.5}, 0.4, 2, true, sheets), (Ints{11}));
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.5}, 0.9, 3, true, solids), (Ints{0}));
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.5}, 0.86, 3, true, solids), Ints{});
  EXPECT_EQ(inBall(g, {0.5, 0, 0.25}, 0.1, 1, false, {0}), (Ints{0}));
  EXPECT_EQ(inBall(g, {0.5, 0, 0.25}, 0.6, 1, true, {0}), (Ints{0}));
  EXPECT_EQ(inBall(g, {0.5, 0, 0.25}, 0.4, 1, true, {0}), Ints{});
  // A ball inside solid 0 touching no sheet: touching selects it through the probe point.
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.25}, 0.1, 3, false, solids), (Ints{0}));
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.25}, 0.1, 3, true, solids), Ints{});
  EXPECT_TRUE(g.isInBall({0.5, 0.5, 0.25}, 0.1, 3, false, solids));
  EXPECT_FALSE(g.isInBall({0.5, 0.5, 0.25}, 0.1, 3, true, {0}));
  EXPECT_TRUE(g.isInBall({1.5, 0.5, 0.5}, 0.9, 3, true, {1}));
  EXPECT_FALSE(g.isInBall({1.5, 0.5, 0.5}, 0.9, 3, true, {1, 0}));

  // Boxes: the slab x in [0.9, 1.1] touches everything but faces x=0 and x=2.
  const Vec slab{0.9, 1.1, -1, 2, -1, 2};
  EXPECT_EQ(inBox(g, slab, 2, false, sheets), (Ints{1, 2, 3, 4, 5, 7, 8, 9, 10}));
  EXPECT_EQ(inBox(g, slab, 2, true, sheets), (Ints{5}));
  EXPECT_EQ(inBox(g, slab, 3, false, solids), solids);
  EXPECT_EQ(inBox(g, {-1, 1, -1, 2, -1, 2}, 3, true, solids), (Ints{0}));
  EXPECT_EQ(inBox(g, {0.2, 0.8, 0.2, 0.8, 0.2, 0.3}, 3, false, solids), (Ints{0}));
  EXPECT_EQ(inBox(g, {0, 1, 0, 0, 0.25, 0.25}, 1, true, {0}), (Ints{0}));
  EXPECT_TRUE(g.isInBox(slab, 2, false, {0, 6, 5}));
  EXPECT_FALSE(g.isInBox(slab, 2, false, {0, 6}));
  EXPECT_FALSE(g.isInBox(slab, 2, true, {5, 0}));

  // Cylinders along z through (0.5, 0.5): the inner sheet, then the lid and floor.
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0}, {0, 0, 2}, 0.1, 0.6, 0.4, 2, false, sheets), (Ints{11}));
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0}, {0, 0, 1}, 0.1, 2, -1, 2, false, sheets), (Ints{3, 4, 11}));
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0}, {0, 0, 1}, 0.4, 0.6, 0.4, 2, true, sheets), (Ints{11}));
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0}, {0, 0, 1}, 0.1, 0.3, 0.2, 3, false, solids), (Ints{0}));
  EXPECT_EQ(inCyl(g, {1, 0.5, 0.5}, {1, 0, 0}, 0.8, 1.01, -1.01, 3, true, solids), (Ints{0, 1}));
  EXPECT_EQ(inCyl(g, {0.5, 0, 0}, {1, 0, 0}, 0.3, 1, -1, 1, false, {0}), (Ints{0}));
  EXPECT_TRUE(g.isInCylinder({0.5, 0.5, 0}, {0, 0, 1}, 0.1, 0.3, 0.2, 3, false, {1, 0}));
  EXPECT_FALSE(g.isInCylinder({0.5, 0.5, 0}, {0, 0, 1}, 0.1, 0.3, 0.2, 3, true, {0}));

  // Empty candidate lists: nothing found, inside true, touching false.
  Ints keep{5};
  g.findEntitiesInBox(slab, 3, false, {}, keep);
  EXPECT_EQ(keep, Ints{5});
  EXPECT_TRUE(g.isInBall({0, 0, 0}, 1, 2, true, {}));
  EXPECT_FALSE(g.isInCylinder({0, 0, 0}, {0, 0, 1}, 1, 1, 0, 1, false, {}));
}

TEST(RenderDrawGeom3DSelection, SolidWithoutSheetsMatchesByItsBoxWhenInside) {
  RenderDraw3D g = qvtest::twoCubes();
  g.allocate(3, 0, 0, 0);
  g.setBoundingBoxSolid(2, BoundingBox3D(5, 6, 5, 6, 5, 6));
  g.setBoundingBox3D(BoundingBox3D(0, 6, 0, 6, 0, 6));
  g.setSolidToSheetAdjacent({{}, {}, {}, {}});
  EXPECT_EQ(inBall(g, {5.5, 5.5, 5.5}, 0.1, 3, true, {2}), (Ints{2}));
  EXPECT_EQ(inBall(g, {5.5, 5.5, 5.5}, 0.1, 3, false, {2}), Ints{});
  EXPECT_EQ(inBall(g, {0.5, 0.5, 0.5}, 0.1, 3, true, {2}), Ints{});  // prefilter
}

TEST(RenderDrawGeom3DSelection, TouchingShapesAreClippedToTheGrownModelBox) {
  // The whole box is set to solid 0's box only: sheet 6 (x = 2) lies beyond its 0.1 margin.
  RenderDraw3D g = qvtest::twoCubes();
  g.setBoundingBox3D(BoundingBox3D(0, 1, 0, 1, 0, 1));
  const Ints sheets = all(12);
  const Ints grown = inBox(g, {-0.1, 1.1, -0.1, 1.1, -0.1, 1.1}, 2, false, sheets);
  EXPECT_EQ(grown, (Ints{0, 1, 2, 3, 4, 5, 7, 8, 9, 10, 11}));
  EXPECT_EQ(inBox(g, {-1e300, 1e300, -1e300, 1e300, -1e300, 1e300}, 2, false, sheets), grown);
  EXPECT_EQ(inBox(g, {-1e300, 1e300, -1e300, 1e300, -1e300, 1e300}, 2, true, sheets), sheets);
  // Cylinder along x through the middle of solid 0: the heights end 0.1 sqrt 2 past its box.
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0.5}, {3, 0, 0}, 0.1, 1e300, -1e300, 2, false, sheets),
            (Ints{0, 5, 11}));
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0.5}, {1, 0, 0}, 0.1, kInf, -kInf, 2, false, sheets),
            (Ints{0, 5, 11}));
  // The radius ends at the box's radial extent times sqrt 2 plus the margin: sheet 6 (x = 2)
  // is 1.5 from the axis, beyond 0.5 sqrt 2 * sqrt 2 + 0.1 sqrt 2.
  EXPECT_EQ(inCyl(g, {0.5, 0.5, 0.5}, {0, 0, 1}, 100, 0.6, 0.4, 2, false, sheets),
            (Ints{0, 1, 2, 4, 5, 7, 8, 10}));
  // Heights in the cylinder's frame start from 0: from far below, the range 0..10.5 gives a
  // margin of 1.05, which reaches the lid at z = 1 although the whole box ends at z = 0.5.
  g.setBoundingBox3D(BoundingBox3D(0, 1, 0, 1, 0, 0.5));
  EXPECT_EQ(inCyl(g, {0.5, 0.5, -10}, {0, 0, 1}, 0.1, 1e300, 0, 2, false, sheets),
            (Ints{3, 4, 11}));

  // The lid bounds its solid from above only: the probe point decides. The box's clipped
  // centre (0.5, 0.5, 0.2) lies below the lid; its unclipped centre lies far away.
  const RenderDraw3D l = qvtest::lid();
  EXPECT_EQ(inBox(l, {0.25, 0.75, 0.25, 0.75, -1e300, 0.5}, 3, false, {0}), (Ints{0}));
  // A finite cylinder probes its middle; a half-infinite one never probes.
  EXPECT_EQ(inCyl(l, {0.5, 0.5, 0.5}, {0, 0, -1}, 0.1, 0.4, 0, 3, false, {0}), (Ints{0}));
  // The probe takes the caller's heights, not the clipped ones: the middle of 0.3 .. -1e6
  // lies far below the lid, where the ray misses it.
  EXPECT_EQ(inCyl(l, {0.5, 0.5, 0.5}, {0, 0, 1}, 0.1, 0.3, -1e6, 3, false, {0}), Ints{});
  EXPECT_EQ(inCyl(l, {0.5, 0.5, 0.5}, {0, 0, -1}, 0.1, kInf, 0, 3, false, {0}), Ints{});
  EXPECT_EQ(inCyl(l, {0.5, 0.5, 0.5}, {0, 0, 1}, 0.1, 0, -kInf, 3, false, {0}), Ints{});
  EXPECT_EQ(inCyl(l, {0.5, 0.5, 0.5}, {0, 0, 1}, 0.1, kInf, 0, 3, false, {0}), (Ints{0}));
}

TEST(RenderDrawGeom3DSelection, ErrorCodesAndLines) {
  const RenderDraw3D g = qvtest::twoCubes();  // 1 curve, 12 sheets, 2 solids
  const Vec c{0.5, 0.5, 0.5}, axis{0, 0, 1}, box{0, 1, 0, 1, 0, 1};
  using Query = std::function<void(int, bool, const Ints&, Ints&)>;
  struct Op {
    const char* name;
    Query q;
    int lines[2][4];  // [touching][curve, sheet, solid, dimension]
  };
  const Op ops[] = {
      {"findEntitiesInBall",
       [&](int d, bool in, const Ints& k, Ints& r) { g.findEntitiesInBall(c, 2, d, in, k, r); },
       {{627, 635, 643, 663}, {670, 678, 686, 711}}},
      {"isInBall",
       [&](int d, bool in, const Ints& k, Ints&) { g.isInBall(c, 2, d, in, k); },
       {{726, 734, 742, 762}, {769, 777, 785, 810}}},
      {"findEntitiesInBox",
       [&](int d, bool in, const Ints& k, Ints& r) { g.findEntitiesInBox(box, d, in, k, r); },
       {{824, 832, 840, 860}, {883, 891, 899, 927}}},
      {"isInBox",
       [&](int d, bool in, const Ints& k, Ints&) { g.isInBox(box, d, in, k); },
       {{939, 947, 955, 975}, {998, 1006, 1014, 1042}}},
      {"findEntitiesInCylinder",
       [&](int d, bool in, const Ints& k, Ints& r) {
         g.findEntitiesInCylinder(c, axis, 2, 2, -2, d, in, k, r);
       },
       {{1055, 1063, 1071, 1092}, {1108, 1116, 1124, 1156}}},
      {"isInCylinder",
       [&](int d, bool in, const Ints& k, Ints&) { g.isInCylinder(c, axis, 2, 2, -2, d, in, k); },
       {{1170, 1178, 1186, 1207}, {1222, 1230, 1238, 1270}}}};
  const int count[4] = {0, 1, 12, 2};
  for (const Op& op : ops)
    for (bool inside : {true, false}) {
      const int* line = op.lines[inside ? 0 : 1];
      for (int dim = 1; dim <= 3; ++dim)
        for (int bad : {-1, count[dim]}) {
          Ints r;
          EXPECT_EQ(raiseSite([&] { op.q(dim, inside, {bad}, r); }),
                    site(line[dim - 1], "VEXAL_assertion_failure"))
              << op.name << " inside " << inside << " dim " << dim << " candidate " << bad;
        }
      for (int dim : {0, 4, -1}) {
        Ints r;
        EXPECT_EQ(raiseSite([&] { op.q(dim, inside, {}, r); }),
                  site(line[3], "Invalid entity dimension"))
            << op.name << " inside " << inside << " dim " << dim;
      }
    }
  // The test forms stop at the first deciding candidate, before a bad one is looked at.
  EXPECT_FALSE(g.isInBall(c, 0.1, 2, true, {0, -1}));
  EXPECT_TRUE(g.isInBall(c, 2, 2, false, {0, -1}));
  EXPECT_TRUE(g.isInBox(box, 1, false, {0, 5}));
  EXPECT_FALSE(g.isInCylinder(c, axis, 0.1, 0.1, 0, 3, true, {1, 2}));
  // Matches appended before the bad candidate stay.
  Ints r{42};
  EXPECT_EQ(codeOf([&] {
              g.findEntitiesInBall(c, 2, 2, false, {0, 3, 12, 4}, r);
            }),
            "VEXAL_assertion_failure");
  EXPECT_EQ(r, (Ints{42, 0, 3}));
}
