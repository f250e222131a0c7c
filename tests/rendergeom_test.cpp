// The geometry maps: the rule by which an init operation sizes a map and fills the identity, the
// 1D maps that are always the identity and never written, the exact map sequence, both stream
// versions of the 2D map, the refused versions with their lines, and corrupt map sizes. Reading
// the maps back is checked by the corpus replay, whose 2D and 3D seeds carry renumbering maps.
#include <gtest/gtest.h>

#include <climits>
#include <cstring>

#include "datacarrier/renderdraw1d.h"
#include "datacarrier/renderdraw3d.h"
#include "datacarrier/rendergeom1d.h"
#include "datacarrier/rendergeom2d.h"
#include "datacarrier/rendergeom3d.h"
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using namespace nkdatacarrier;
using qvtest::ForgedIStream;
using qvtest::raiseSite;
using Lines = std::vector<std::string>;
using Map = std::vector<int>;

namespace {

const auto raw = qvtest::writtenRaw;

// 2 faces, 3 curves and 5 points, with maps that are not the identity.
RenderGeom2D mappedPlate() {
  RenderGeom2D g(9);
  g.allocate(2, 3, 5);
  g.point(4).setVertex(1.5f, -2);
  g.initPointMap(3) = {0, 0, 1, 2, 2};
  g.initEdgeMap(3);
  g.initDomainMap(1) = {0, 0};
  return g;
}

// The bytes of g as a version-0 stream: its version field set to 0 and its maps (`mapInts`
// values of four bytes) cut off.
template <typename G>
std::vector<char> asVersion0(const G& g, std::size_t mapInts) {
  std::vector<char> bytes = qvtest::binaryOf(g);
  std::memset(bytes.data() + 4 + G::getStaticClassID().size(), 0, 4);
  bytes.resize(bytes.size() - 4 * mapInts);
  return bytes;
}

}  // namespace

TEST(RenderGeomModel, TypesAndClone) {
  const RenderGeom1D g1(4);
  EXPECT_EQ(g1.getObjectType(), RenderDrawGeom::RENDER_GEOM_1D);
  EXPECT_EQ(RenderGeom2D(6).getObjectType(), RenderDrawGeom::RENDER_GEOM_2D);
  EXPECT_EQ(g1.getDataCarrierType(), IDataCarrier::DC_RENDER_GEOM);
  EXPECT_EQ(RenderGeom2D().getObjectType(), RenderDrawGeom::UNSET);

  EXPECT_EQ(raw(*mappedPlate().clone()), raw(mappedPlate()));
}

TEST(RenderGeomMaps, InitSizesByRenderedEntitiesAndFillsTheIdentityWhenTheyAgree) {
  RenderGeom2D g(1);
  g.allocate(4, 2, 5);
  // As many geometry points as rendered ones: the identity, ready.
  EXPECT_EQ(g.initPointMap(5), (Map{0, 1, 2, 3, 4}));
  EXPECT_EQ(g.getNumGeomPoint(), 5);
  // Fewer: sized by the rendered points for the producer to fill, the count as given.
  g.allocate(4, 2, 4);
  Map& points = g.initPointMap(5);
  EXPECT_EQ(points.size(), 4u);
  EXPECT_EQ(g.getNumGeomPoint(), 5);
  points[3] = 1;
  EXPECT_EQ(g.getPointMap()[3], 1);
  // None: sized by the curves, not filled, count 0.
  EXPECT_EQ(g.initEdgeMap(0), (Map{0, 0}));
  EXPECT_EQ(g.getNumGeomEdge(), 0);
  // The domain map follows the faces; a negative count is stored as given.
  EXPECT_EQ(g.initDomainMap(4), (Map{0, 1, 2, 3}));
  g.initDomainMap(4)[2] = 0;
  EXPECT_EQ(g.initDomainMap(-1).size(), 4u);
  EXPECT_EQ(g.getNumGeomDomain(), -1);
  EXPECT_EQ(g.getDomainMap()[2], 0);  // not refilled: the counts disagree
  EXPECT_EQ(g.initDomainMap(4), (Map{0, 1, 2, 3}));
  g.allocate(0, 0, 0);
  EXPECT_TRUE(g.initPointMap(0).empty());
}

TEST(RenderGeomMaps, OneDimensionalMapsAreAlwaysTheIdentity) {
  RenderGeom1D g(3);
  EXPECT_TRUE(g.getPointMap().empty());
  g.allocate(2, 3);
  EXPECT_EQ(g.getPointMap(), (Map{0, 1, 2}));
  EXPECT_EQ(g.getDomainMap(), (Map{0, 1}));
  EXPECT_EQ(g.getNumGeomPoint(), 3);
  EXPECT_EQ(g.getNumGeomDomain(), 2);
  g.allocate(4, 1);
  const RenderGeom1D& constant = g;
  EXPECT_EQ(constant.getDomainMap(), (Map{0, 1, 2, 3}));
  EXPECT_EQ(g.getPointMap(), (Map{0}));
  // The stream holds the version, an empty label and the 1D attribute block, and no map.
  g.point(0).setVertex(2.5f);
  const Lines lines = raw(g);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 6),
            (Lines{"unsigned 0", "# version", "# ", "unsigned 0", "# version", "# "}));
  RenderDraw1D plain(RenderDrawGeom1D::RENDER_GEOM_1D, 3);
  plain.allocate(4, 1);
  plain.point(0).setVertex(2.5f);
  const Lines drawing = raw(plain);
  // The drawing writes the same block, then its snapping points; the map writes nothing more.
  EXPECT_EQ(Lines(lines.begin() + 3, lines.end()),
            Lines(drawing.begin() + 3, drawing.begin() + 3 + (lines.size() - 3)));
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderGeomSerialization, MapsAfterTheAttributeBlock) {
  const RenderGeom2D g = mappedPlate();
  const Lines lines = raw(g);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 5),
            (Lines{"unsigned 1", "# version", "unsigned 0", "# version", "int 1"}));
  const Lines maps = qvtest::seq(
      "unsigned 5|int 0|int 0|int 1|int 2|int 2|# Render2GeomPoint|int 3|"
      "# Number points|unsigned 3|int 0|int 1|int 2|# Render2GeomEdge|int 3|"
      "# Number edges|unsigned 2|int 0|int 0|# Render2GeomDomain|int 1|"
      "# Number domains");
  EXPECT_EQ(Lines(lines.end() - 22, lines.end()), maps);
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderGeomSerialization, VersionZeroHasNoMapsAndLeavesThemAlone) {
  const RenderGeom2D g = mappedPlate();
  const std::vector<char> bytes = asVersion0(g, 6 + 5 + 3 + 2);  // counts, then the three maps
  RenderGeom2D fresh;
  BinaryISerialStream in(bytes);
  fresh.deserialize(in);
  EXPECT_EQ(in.available(), 0u);
  EXPECT_EQ(fresh.getNumberOfPoints(), 5);
  EXPECT_EQ(fresh.getPoint(4).getVertex().y, -2.0f);
  EXPECT_TRUE(fresh.getPointMap().empty());
  EXPECT_EQ(fresh.getNumGeomDomain(), 0);
  RenderGeom2D kept(2);
  kept.allocate(0, 0, 2);
  kept.initPointMap(2);
  BinaryISerialStream again(bytes);
  kept.deserialize(again);
  EXPECT_EQ(kept.getPointMap(), (Map{0, 1}));
  EXPECT_EQ(kept.getNumGeomPoint(), 2);
  EXPECT_EQ(kept.getId(), 9);
}

TEST(RenderGeomSerialization, RefusedVersionsAndCorruptMaps) {
  qvtest::expectVersionsRefused(mappedPlate(), {2, -1}, "datacarrier/rendergeom2d:132");
  qvtest::expectVersionsRefused(RenderGeom1D(3), {1, -1}, "datacarrier/rendergeom1d:76");
  // A map announcing four billion entries in a few bytes is refused before it is sized.
  RenderGeom2D empty;
  std::vector<char> bytes = qvtest::binaryOf(empty);
  const std::size_t pointMapSize = bytes.size() - 24;
  const unsigned int huge = UINT_MAX;
  std::memcpy(bytes.data() + pointMapSize, &huge, 4);
  BinaryISerialStream in(bytes);
  EXPECT_EQ(qvtest::codeOf([&] { empty.deserialize(in); }), "End_of_file_reached");
}

namespace {

// 2 solids, 3 sheets, 4 curves and 5 points; the model merges the two solids into one domain.
RenderGeom3D mappedBlock() {
  RenderGeom3D g(12);
  g.allocate(2, 3, 4, 5);
  g.point(1).setVertex(1, 2, 3);
  g.initPointMap(5);
  g.initEdgeMap(2) = {0, 1, 1, 0};
  g.initFaceMap(3);
  g.initDomainMap(1) = {0, 0};
  return g;
}

}  // namespace

TEST(RenderGeom3DMaps, InitRuleOnEveryKindAndTheMapSequence) {
  RenderGeom3D g(1);
  EXPECT_EQ(g.getObjectType(), RenderDrawGeom::RENDER_GEOM_3D);
  g.allocate(2, 3, 4, 5);
  EXPECT_EQ(g.initFaceMap(3), (Map{0, 1, 2}));     // by sheets
  EXPECT_EQ(g.initDomainMap(2), (Map{0, 1}));      // by solids
  EXPECT_EQ(g.initEdgeMap(4), (Map{0, 1, 2, 3}));  // by curves
  EXPECT_EQ(g.initPointMap(0), (Map{0, 0, 0, 0, 0}));
  EXPECT_EQ(g.initFaceMap(7).size(), 3u);
  EXPECT_EQ(g.getNumGeomFace(), 7);
  EXPECT_EQ(g.getNumGeomPoint(), 0);

  const RenderGeom3D m = mappedBlock();
  const Lines lines = raw(m);
  EXPECT_EQ(Lines(lines.begin(), lines.begin() + 4),
            (Lines{"unsigned 1", "# version", "unsigned 0", "# version"}));
  const Lines maps = qvtest::seq(
      "unsigned 5|int 0|int 1|int 2|int 3|int 4|# Render2GeomPoint|int 5|"
      "# Number points|unsigned 4|int 0|int 1|int 1|int 0|# Render2GeomEdge|int 2|"
      "# Number edges|unsigned 3|int 0|int 1|int 2|# Render2GeomFace|int 3|"
      "# Number faces|unsigned 2|int 0|int 0|# Render2GeomDomain|int 1|"
      "# Number domains");
  EXPECT_EQ(Lines(lines.end() - maps.size(), lines.end()), maps);
  qvtest::expectEveryTruncationRaisesEndOfFile(m);
  EXPECT_EQ(raw(*m.clone()), lines);
}

TEST(RenderGeom3DMaps, VersionsAndTheCheckedCast) {
  // Version 0: the 3D block alone, maps left as they were.
  const RenderGeom3D m = mappedBlock();
  const std::vector<char> bytes = asVersion0(m, 8 + 5 + 4 + 3 + 2);
  RenderGeom3D kept(3);
  kept.initPointMap(0);
  BinaryISerialStream in(bytes);
  kept.deserialize(in);
  EXPECT_EQ(in.available(), 0u);
  EXPECT_EQ(kept.getNumberOfPoints(), 5);
  EXPECT_TRUE(kept.getPointMap().empty());
  EXPECT_EQ(kept.getId(), 12);
  qvtest::expectVersionsRefused(m, {2, -1}, "datacarrier/rendergeom3d:155");

  nkboost::shared_ptr<RenderDrawGeom3D> asGeometry = nkboost::make_shared<RenderGeom3D>(5);
  const nkboost::shared_ptr<RenderGeom3D> map = RenderGeom3D::shared_ptr_cast(asGeometry);
  EXPECT_EQ(map.get(), asGeometry.get());
  EXPECT_EQ(asGeometry.use_count(), 2);
  nkboost::shared_ptr<RenderDrawGeom3D> drawing = nkboost::make_shared<RenderDraw3D>();
  nkboost::shared_ptr<RenderDrawGeom3D> none;
  for (auto* p : {&drawing, &none}) {
    try {
      RenderGeom3D::shared_ptr_cast(*p);
      ADD_FAILURE() << "no raise";
    } catch (const nkbase::Exception& e) {
      EXPECT_EQ(raiseSite([&] { throw e; }), "datacarrier/rendergeom3d:31 Internal_error");
      EXPECT_EQ(e.getMessage(), "RenderGeom3D object expected");
    }
  }
  EXPECT_EQ(drawing.use_count(), 1);
}
