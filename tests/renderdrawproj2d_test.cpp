#include "datacarrier/renderdrawproj2d.h"

#include <gtest/gtest.h>

#include <functional>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Curve2D;
using nkdatacarrier::RenderDrawGeom;
using nkdatacarrier::RenderDrawProj2D;
using qvtest::codeOf;

namespace {

using Snap = std::vector<std::vector<double>>;

std::string raiseSite(const std::function<void()>& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode();
  }
  return "none";
}

std::vector<std::string> written(const nkbase::Serializable& s) {
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  s.serialize(os, prop);
  return os.lines;
}

// Two curves (the second invalid) and three points, typed as the producer chose.
RenderDrawProj2D projection() {
  RenderDrawProj2D p(3);
  p.allocate(2, 3);
  p.curve(0).appendVertex(0, 0);
  p.curve(0).appendVertex(1, 2);
  p.curve(0).setBoundingBox2D(BoundingBox2D(0.0f, 1.0f, 0.0f, 2.0f));
  p.curve(0).setValid(true);
  p.setCurveType(1, 5);
  p.point(0).setVertex(1, 2);
  p.point(1).setVertex(3, 4);
  p.point(2).setVertex(5, 6);
  p.setPointType(2, 7);
  p.setBoundingBox2D(BoundingBox2D(0.0f, 5.0f, 0.0f, 6.0f));
  Snap snap{{0.5}, {-1}};
  p.setSnapCoord(snap);
  return p;
}

}  // namespace

TEST(RenderDrawProj2DModel, IdentityTypeAndMeasures) {
  const RenderDrawProj2D p(3);
  EXPECT_EQ(int(p.getObjectType()), 8);
  EXPECT_EQ(p.getDimension(), 2);
  EXPECT_EQ(p.getId(), 3);
  EXPECT_EQ(p.getVolume(2, {0}), 0.0);
  EXPECT_EQ(p.getBndArea(2, {0}), 0.0);
  EXPECT_EQ(p.getDataCarrierType(), nkdatacarrier::IDataCarrier::DC_RENDER_DRAW);
  EXPECT_EQ(p.getClassID(), "RenderDrawProj2D");
  EXPECT_TRUE(RenderDrawProj2D::isStaticClassID("RenderDrawProj2D"));
  EXPECT_FALSE(RenderDrawProj2D::isStaticClassID("RenderDrawProj2D "));
  EXPECT_EQ(RenderDrawProj2D::VERSION, 0u);
  const RenderDrawProj2D unset;
  EXPECT_EQ(unset.getObjectType(), RenderDrawGeom::UNSET);
  EXPECT_EQ(unset.getDimension(), 0);
}

TEST(RenderDrawProj2DModel, AllocationKeepsEntriesAndTypes) {
  RenderDrawProj2D p = projection();
  EXPECT_EQ(p.getCurveType(0), 0);
  EXPECT_EQ(p.getCurveType(1), 5);
  EXPECT_EQ(p.getPointType(2), 7);
  p.allocate(3, 2);
  EXPECT_EQ(p.getNumberOfCurves(), 3);
  EXPECT_EQ(p.getNumberOfPoints(), 2);
  EXPECT_EQ(p.getCurveType(1), 5);
  EXPECT_EQ(p.getCurveType(2), 0);
  EXPECT_EQ(p.getCurve(0).getNumberOfVertices(), 2);
  EXPECT_EQ(p.getPoint(1).getVertex().x, 3.0f);
  p.boundingBox() = BoundingBox2D(-1.0f, 1.0f, -2.0f, 2.0f);
  std::vector<float> box;
  p.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{-1, 1, -2, 2}));
  EXPECT_EQ(p.getBoundingBox().getMinY(), -2.0f);
}

TEST(RenderDrawProj2DQueries, SelectionAndRenderExportRaise) {
  const RenderDrawProj2D p = projection();
  const RenderDrawGeom& g = p;
  const std::vector<double> c{0, 0};
  std::vector<int> found{1};
  const std::string src = "datacarrier/renderdrawproj2d:";
  const std::string hdr = "datacarrier/renderdrawproj2d.h:";
  for (bool inside : {true, false}) {
    EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall(c, 1, 1, inside, {0}, found); }),
              src + "66 findEntitiesInBall not implemented in proj2D");
    EXPECT_EQ(raiseSite([&] {
                g.findEntitiesInBox({0, 1, 0, 1}, 2, inside, {}, found);
              }),
              src + "72 findEntitiesInBox not implemented in proj2D");
    EXPECT_EQ(raiseSite([&] { g.isInBall(c, 1, 7, inside, {}); }),
              hdr + "159 isInBall not implemented in proj2D");
    EXPECT_EQ(raiseSite([&] {
                g.isInBox({0, 1, 0, 1}, 1, inside, {0});
              }),
              hdr + "163 isInBox not implemented in proj2D");
  }
  EXPECT_EQ(raiseSite([&] { g.numUniquePointsEstimate(); }),
            hdr + "167 numUniquePointsEstimate not implemented in proj2D");
  EXPECT_EQ(found, (std::vector<int>{1}));
  // The render export, picking and cylinders keep the base's refusals.
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  EXPECT_EQ(raiseSite([&] { g.getMLRenderData(coords, elements); }),
            "datacarrier/renderdrawgeom:121 Internal_error_exch_processing");
  EXPECT_EQ(codeOf([&] { g.getMLRenderPointSize(); }), "Internal_error_exch_processing");
  EXPECT_EQ(codeOf([&] { g.getMLRenderTriSize(); }), "Internal_error_exch_processing");
  EXPECT_EQ(codeOf([&] { g.isInCylinder(c, c, 1, 1, 0, 1, true, {}); }),
            "isInCylinder only implemented in 3D");
}

TEST(RenderDrawProj2DSerialization, WriteSequenceKeepsTypesBesideTheirEntities) {
  const RenderDrawProj2D p = projection();
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  p.serializeRaw(os, prop);
  std::vector<std::string> expected{
      "unsigned 0", "# version",      "int 8", "# object type", "int 3", "# unique identifier",
      "string ",    "# object label", "# ",    "# Bounding box"};
  const auto box = written(p.getBoundingBox());
  expected.insert(expected.end(), box.begin(), box.end());
  for (const char* line : {"# ",
                           "int 3",
                           "# number of points",
                           "int 2",
                           "# number of curves",
                           "# ",
                           "# Points",
                           "float 1",
                           "float 2",
                           "int 0",
                           "# ",
                           "float 3",
                           "float 4",
                           "int 0",
                           "# ",
                           "float 5",
                           "float 6",
                           "int 7",
                           "# ",
                           "# ",
                           "# Curves"}) {
    expected.push_back(line);
  }
  for (int i = 0; i < 2; ++i) {
    const auto curve = written(p.getCurve(i));
    expected.insert(expected.end(), curve.begin(), curve.end());
    expected.push_back(i == 0 ? "int 0" : "int 5");
  }
  for (const char* line : {"# ", "# Number of snapping points", "int 1", "# ",
                           "# Snapping coordinates", "double 0.5", "double -1", "# "}) {
    expected.push_back(line);
  }
  EXPECT_EQ(os.lines, expected);
}

TEST(RenderDrawProj2DSerialization, RoundTripRestoresEverything) {
  RenderDrawProj2D p = projection();
  p.setLabel("front view");
  p.setSnapCoord(Snap{{1.5, 0.1, -1e300}, {2.5, -0.0, 7}});
  for (const RenderDrawProj2D& r : qvtest::streamCopies(p)) {
    EXPECT_EQ(int(r.getObjectType()), 8);
    EXPECT_EQ(r.getId(), 3);
    EXPECT_EQ(r.getLabel(), "front view");
    EXPECT_EQ(r.getBoundingBox().getMaxY(), 6.0f);
    ASSERT_EQ(r.getNumberOfPoints(), 3);
    EXPECT_EQ(r.getPoint(1).getVertex().y, 4.0f);
    EXPECT_EQ(r.getPointType(2), 7);
    ASSERT_EQ(r.getNumberOfCurves(), 2);
    EXPECT_EQ(r.getCurve(0).getVertex(1).y, 2.0f);
    EXPECT_FALSE(r.getCurve(1).isValid());
    EXPECT_EQ(r.getCurveType(1), 5);
    EXPECT_EQ(r.getSnapCoord(), p.getSnapCoord());
  }
  qvtest::expectEveryTruncationRaisesEndOfFile(p);
}

TEST(RenderDrawProj2DSerialization, SnappingListsReadIntoFreshAndUsedObjects) {
  RenderDrawProj2D p(1);
  // Nothing to snap to: a count of 0, read back as two empty vectors.
  const RenderDrawProj2D fresh = qvtest::streamCopies(p)[0];
  EXPECT_EQ(fresh.getSnapCoord(), Snap(2));
  p.setSnapCoord(Snap{{1, 2}, {3, 4}});
  const std::vector<char> bytes = qvtest::binaryOf(p);

  // Vectors already present keep their length beyond the count; a shorter one grows.
  RenderDrawProj2D used;
  used.setSnapCoord(Snap{{9, 9, 9}});
  BinaryISerialStream is(bytes);
  used.deserialize(is);
  EXPECT_EQ(used.getSnapCoord(), (Snap{{1, 2, 9}, {3, 4}}));
  RenderDrawProj2D wide;
  wide.setSnapCoord(Snap{{9}, {9}, {9}});
  BinaryISerialStream again(bytes);
  wide.deserialize(again);
  EXPECT_EQ(wide.getSnapCoord(), (Snap{{1, 2}, {3, 4}}));
}

TEST(RenderDrawProj2DSerialization, RefusedAndCorruptStreams) {
  RenderDrawProj2D r(4);
  qvtest::ForgedIStream newer({1, 8, 4});
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(newer); }),
            "datacarrier/renderdrawproj2d:230 Incompatible_native_file_version");
  EXPECT_EQ(newer.consumed(), 1u);
  EXPECT_EQ(r.getId(), 4);
  qvtest::ForgedIStream negative({-1});
  EXPECT_EQ(codeOf([&] { r.deserializeRaw(negative); }), "Incompatible_native_file_version");

  // A snapping count beyond the stream's remaining bytes allocates nothing.
  RenderDrawProj2D p(2);
  std::vector<char> bytes = qvtest::binaryOf(p);
  bytes[bytes.size() - 1] = 0x30;  // the count is the last value written
  BinaryISerialStream is(bytes);
  RenderDrawProj2D big;
  EXPECT_EQ(codeOf([&] { big.deserialize(is); }), "End_of_file_reached");
  EXPECT_TRUE(big.getSnapCoord().empty());
}

TEST(RenderDrawProj2DCopies, CloneIsDeepAndOfTheSameClass) {
  const RenderDrawProj2D p = projection();
  const nkboost::shared_ptr<RenderDrawGeom> copy = p.clone();
  EXPECT_EQ(copy->getClassID(), "RenderDrawProj2D");
  auto proj = nkboost::dynamic_pointer_cast<RenderDrawProj2D>(copy);
  ASSERT_TRUE(proj);
  proj->setSnapCoord(Snap{});
  proj->setPointType(2, 1);
  EXPECT_EQ(p.getSnapCoord(), (Snap{{0.5}, {-1}}));
  EXPECT_EQ(p.getPointType(2), 7);
  EXPECT_EQ(proj->getCurve(0).getNumberOfVertices(), 2);
}
