#include "datacarrier/renderdrawgeom.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <limits>
#include <sstream>

#include "carrierstreamchecks.h"
#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::Adjacent;
using nkdatacarrier::RenderDrawGeom;
using qvtest::codeOf;
using qvtest::RecordingOStream;

namespace {

using Coords = std::vector<std::vector<float>>;

// The smallest concrete geometry: it answers the pure queries trivially and opens the protected
// helpers of the base to the tests.
class ProbeGeom : public RenderDrawGeom {
 public:
  ProbeGeom() = default;
  ProbeGeom(Type type, int id) : RenderDrawGeom(type, id) {}

  using RenderDrawGeom::AdjacencyRule;
  using RenderDrawGeom::adjacentRun;
  using RenderDrawGeom::appendCurveRecords;
  using RenderDrawGeom::deserializeAttributes;
  using RenderDrawGeom::mergeRenderPoints;
  using RenderDrawGeom::serializeAttributes;
  using RenderDrawGeom::setAdjacentLists;
  using RenderDrawGeom::uniquePoints;

  int estimate = 0;

  void serializeRaw(OSerialStream& os, nkbase::Prop&) const override { serializeAttributes(os); }
  void deserializeRaw(ISerialStream& is) override { deserializeAttributes(is); }
  std::string getClassID() const override { return "ProbeGeom"; }
  nkboost::shared_ptr<RenderDrawGeom> clone() const override {
    return nkboost::make_shared<ProbeGeom>(*this);
  }
  double getVolume(int, const std::vector<int>&) const override { return 0.0; }
  double getBndArea(int, const std::vector<int>&) const override { return 0.0; }
  void getBoundingBox(std::vector<float>&) const override {}
  void findEntitiesInBall(const std::vector<double>&, double, int, bool, const std::vector<int>&,
                          std::vector<int>&) const override {}
  bool isInBall(const std::vector<double>&, double, int, bool,
                const std::vector<int>&) const override {
    return false;
  }
  void findEntitiesInBox(const std::vector<double>&, int, bool, const std::vector<int>&,
                         std::vector<int>&) const override {}
  bool isInBox(const std::vector<double>&, int, bool, const std::vector<int>&) const override {
    return false;
  }
  int numUniquePointsEstimate() const override { return estimate; }
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_DRAW; }
};

struct Raised {
  std::string module;
  int line = 0;
  std::string code;
};

template <typename F>
Raised raisedBy(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return {e.getModule(), e.getLine(), e.getCode()};
  }
  return {"none", 0, "none"};
}

void expectRaised(const Raised& r, const std::string& module, int line, const std::string& code) {
  EXPECT_EQ(r.module, module);
  EXPECT_EQ(r.line, line);
  EXPECT_EQ(r.code, code);
}

}  // namespace

TEST(RenderDrawGeomAttributes, DefaultIsUnsetWithoutIdentifierOrLabel) {
  const ProbeGeom g;
  EXPECT_EQ(g.getObjectType(), RenderDrawGeom::UNSET);
  EXPECT_EQ(int(g.getObjectType()), 13);
  EXPECT_EQ(g.getId(), 0);
  EXPECT_EQ(g.getLabel(), "");
  EXPECT_EQ(g.getDimension(), 0);
}

TEST(RenderDrawGeomAttributes, DimensionFollowsTheTypeTable) {
  const int expected[14] = {3, 2, 1, 3, 3, 3, 3, 2, 2, 2, 1, 1, 0, 0};
  for (int t = 0; t < 14; ++t) {
    EXPECT_EQ(ProbeGeom(RenderDrawGeom::Type(t), 1).getDimension(), expected[t]) << "type " << t;
  }
  // Values outside the table, as a stream may carry them.
  EXPECT_EQ(ProbeGeom(RenderDrawGeom::Type(-1), 1).getDimension(), 0);
  EXPECT_EQ(ProbeGeom(RenderDrawGeom::Type(14), 1).getDimension(), 0);
  EXPECT_EQ(ProbeGeom(RenderDrawGeom::Type(1000), 1).getDimension(), 0);
}

TEST(RenderDrawGeomAttributes, SettersAndCopies) {
  ProbeGeom g(RenderDrawGeom::DRAW_PROJ_2D, 4);
  g.setId(-9);
  g.setLabel("outline");
  const ProbeGeom copy = g;
  g.setLabel("changed");
  EXPECT_EQ(copy.getObjectType(), RenderDrawGeom::DRAW_PROJ_2D);
  EXPECT_EQ(copy.getId(), -9);
  EXPECT_EQ(copy.getLabel(), "outline");
  ProbeGeom assigned;
  assigned = copy;
  EXPECT_EQ(assigned.getLabel(), "outline");
  EXPECT_EQ(assigned.getDimension(), 2);
}

TEST(RenderDrawGeomAttributes, WriteSequence) {
  ProbeGeom g(RenderDrawGeom::DRAW_2D_B, -4);
  g.setLabel("Sketch 1");
  RecordingOStream os;
  g.serializeAttributes(os);
  EXPECT_EQ(os.lines,
            (std::vector<std::string>{"int 9", "# object type", "int -4", "# unique identifier",
                                      "string Sketch 1", "# object label", "# "}));
}

TEST(RenderDrawGeomAttributes, RoundTripKeepsEmptyLabelNegativeIdAndUnknownType) {
  ProbeGeom g(RenderDrawGeom::Type(77), -123);
  for (const std::string& label : {std::string(), std::string("a b\nc")}) {
    g.setLabel(label);
    for (const ProbeGeom& r : qvtest::streamCopies(g)) {
      EXPECT_EQ(int(r.getObjectType()), 77);
      EXPECT_EQ(r.getId(), -123);
      EXPECT_EQ(r.getLabel(), label);
      EXPECT_EQ(r.getDimension(), 0);
    }
  }
  qvtest::ForgedIStream forged({5, 6, std::string("x")});
  ProbeGeom r;
  r.deserializeAttributes(forged);
  EXPECT_EQ(forged.consumed(), 3u);
  EXPECT_EQ(r.getObjectType(), RenderDrawGeom::DRAW_3D_C);
  EXPECT_EQ(r.getId(), 6);
  qvtest::expectEveryTruncationRaisesEndOfFile(g);
}

TEST(RenderDrawGeomDefaults, RaiseTheirMessagesOnTheirLines) {
  const ProbeGeom g(RenderDrawGeom::DRAW_2D_A, 1);
  const RenderDrawGeom& base = g;
  const std::string module = "datacarrier/renderdrawgeom";
  const std::vector<double> v{0, 0, 0};
  std::vector<std::vector<double>> hits;
  std::vector<double> closest;
  std::vector<int> result;
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  const Array<double, 1> a(3);

  expectRaised(raisedBy([&] { base.findLineIntersections(v, v, hits); }), module, 73,
               "findLineIntersections only implemented in 3D");
  expectRaised(raisedBy([&] { base.findClosestPoint(v, {0}, closest); }), module, 79,
               "findClosestPoint only implemented in 3D");
  // The plot data is never touched, so raw storage stands in for it.
  alignas(std::max_align_t) char storage[64] = {};
  auto& plot = reinterpret_cast<nkdatacarrier::PostDataObject&>(storage);
  expectRaised(raisedBy([&] { base.findPlaneIntersections(a, a, plot); }), module, 85,
               "findPlaneIntersections only implemented in 3D");
  expectRaised(
      raisedBy([&] { base.findEntitiesInCylinder(v, v, 1.0, 1.0, 0.0, 1, false, {0}, result); }),
      module, 91, "findEntitiesInCylinder only implemented in 3D");
  expectRaised(raisedBy([&] { base.getMLRenderPointSize(); }), module, 96,
               "Internal_error_exch_processing");
  expectRaised(raisedBy([&] { base.getMLRenderVtxSize(); }), module, 102,
               "Internal_error_exch_processing");
  expectRaised(raisedBy([&] { base.getMLRenderEdgSize(); }), module, 108,
               "Internal_error_exch_processing");
  expectRaised(raisedBy([&] { base.getMLRenderTriSize(); }), module, 114,
               "Internal_error_exch_processing");
  expectRaised(raisedBy([&] { base.getMLRenderData(coords, elements); }), module, 121,
               "Internal_error_exch_processing");
  expectRaised(raisedBy([&] { base.isInCylinder(v, v, 1.0, 1.0, 0.0, 1, true, {}); }),
               "datacarrier/renderdrawgeom.h", 230, "isInCylinder only implemented in 3D");
  EXPECT_TRUE(result.empty());
  EXPECT_TRUE(coords.empty());
  EXPECT_TRUE(elements.empty());
}

TEST(RenderDrawGeomUniquePoints, EmptyCoordinatesGiveAnEmptyMap) {
  ProbeGeom g;
  Coords coords;
  std::vector<int> map{4, 5};
  g.uniquePoints(coords, map);
  EXPECT_TRUE(coords.empty());
  EXPECT_TRUE(map.empty());
  coords.assign(2, {});
  g.uniquePoints(coords, map);
  EXPECT_EQ(coords, Coords(2));
  EXPECT_TRUE(map.empty());
}

TEST(RenderDrawGeomUniquePoints, DistinctPointsStayInPlace) {
  ProbeGeom g;
  Coords coords{{0, 1, 0, 1}, {0, 0, 1, 1}};
  const Coords before = coords;
  std::vector<int> map;
  g.uniquePoints(coords, map);
  EXPECT_EQ(coords, before);
  EXPECT_EQ(map, (std::vector<int>{0, 1, 2, 3}));
}

TEST(RenderDrawGeomUniquePoints, DuplicatesMapOntoTheirFirstOccurrence) {
  ProbeGeom g;
  Coords three{{2.5f, 2.5f, 2.5f}, {-1, -1, -1}};
  std::vector<int> map;
  g.uniquePoints(three, map);
  EXPECT_EQ(three, (Coords{{2.5f}, {-1}}));
  EXPECT_EQ(map, (std::vector<int>{0, 0, 0}));

  // a b a c b: kept points numbered in order of first appearance.
  Coords mixed{{0, 5, 0, 7, 5}, {1, 6, 1, 8, 6}, {2, 7, 2, 9, 7}};
  g.uniquePoints(mixed, map);
  EXPECT_EQ(mixed, (Coords{{0, 5, 7}, {1, 6, 8}, {2, 7, 9}}));
  EXPECT_EQ(map, (std::vector<int>{0, 1, 0, 2, 1}));
}

TEST(RenderDrawGeomUniquePoints, ToleranceIsRelativeToTheLargestCoordinate) {
  ProbeGeom g;
  // Largest magnitude 1000: points within 2e-4 of each other on every axis merge, and the first
  // occurrence's coordinates are kept.
  Coords near{{1000.0f, 1000.0001f, 1000.0005f}, {0, 0, 0}};
  std::vector<int> map;
  g.uniquePoints(near, map);
  EXPECT_EQ(map, (std::vector<int>{0, 0, 1}));
  EXPECT_EQ(near, (Coords{{1000.0f, 1000.0005f}, {0, 0}}));

  // Near the origin the same absolute gap is far beyond 2e-7 of the largest magnitude (1).
  Coords small{{0.0f, 0.0001f, 1.0f}};
  g.uniquePoints(small, map);
  EXPECT_EQ(map, (std::vector<int>{0, 1, 2}));
  // A negative coordinate counts by its magnitude: -1000 widens the tolerance for all.
  Coords negative{{1.0f, 1.0001f, -1000.0f}};
  g.uniquePoints(negative, map);
  EXPECT_EQ(map, (std::vector<int>{0, 0, 1}));
}

TEST(RenderDrawGeomUniquePoints, AnySizeEstimateWorks) {
  // A negative estimate becomes a huge unsigned hint, which must not be taken as a size.
  for (int estimate : {-1, -7, std::numeric_limits<int>::min(), 0, 2, 1000000}) {
    ProbeGeom g;
    g.estimate = estimate;
    Coords coords{{0, 1, 0, 2, 1}};
    std::vector<int> map;
    g.uniquePoints(coords, map);
    EXPECT_EQ(coords, (Coords{{0, 1, 2}})) << estimate;
    EXPECT_EQ(map, (std::vector<int>{0, 1, 0, 2, 1})) << estimate;
  }
}

TEST(RenderDrawGeomUniquePoints, NonFinitePointsAreNeverMerged) {
  ProbeGeom g;
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Coords coords{{nan, nan, 1, 1}};
  std::vector<int> map;
  g.uniquePoints(coords, map);
  EXPECT_EQ(map, (std::vector<int>{0, 1, 2, 2}));
  EXPECT_EQ(coords[0].size(), 3u);
}

TEST(RenderDrawGeomUniquePoints, ShorterDirectionsEndThePoints) {
  ProbeGeom g;
  Coords ragged{{0, 0, 3}, {1, 1}};  // the third point has no y
  std::vector<int> map;
  g.uniquePoints(ragged, map);
  EXPECT_EQ(map, (std::vector<int>{0, 0}));
  EXPECT_EQ(ragged, (Coords{{0}, {1}}));
}

TEST(RenderDrawGeomUniquePoints, MergeRenderPointsMapsOnlyThePositionVectors) {
  ProbeGeom g;
  Coords coords{{0, 1, 0, 1}};
  std::vector<std::vector<int>> elements{{0, 1, 2, 3}, {1, 2, 3, 4}, {3, -1, 4, 2}};
  g.mergeRenderPoints(coords, elements, {0, 2});
  EXPECT_EQ(coords, (Coords{{0, 1}}));
  EXPECT_EQ(elements[0], (std::vector<int>{0, 1, 0, 1}));
  EXPECT_EQ(elements[1], (std::vector<int>{1, 2, 3, 4}));  // entity numbers stay
  // Positions without a coordinate become -1 instead of reading past the map.
  EXPECT_EQ(elements[2], (std::vector<int>{1, -1, -1, 0}));
}

TEST(RenderDrawGeomAdjacency, AsGivenKeepsEveryPair) {
  Adjacent target;
  ProbeGeom::setAdjacentLists(target, {{{4, 1}, {0, -1}}, {}, {{2, 0}}},
                              ProbeGeom::AdjacencyRule::AS_GIVEN);
  EXPECT_EQ(target.getNumberOfFromIndices(), 3);
  EXPECT_EQ(target.getTotalNumberOfAdjacents(), 3);
  EXPECT_EQ(target.getNumberOfAdjacents(0), 2);
  EXPECT_EQ(target.getAdjacents(0)[1], 0);
  EXPECT_EQ(target.getAdjacentOrientations(0)[1], -1);
  EXPECT_EQ(target.getAdjacents(1), nullptr);
  EXPECT_EQ(target.getAdjacents(2)[0], 2);
}

TEST(RenderDrawGeomAdjacency, OneBasedNumbersDropNoneAndOrientation) {
  Adjacent target;
  ProbeGeom::setAdjacentLists(target, {{{1, 5}, {0, 0}}, {{0, 3}, {-2, 1}}, {{3, 9}, {2, 9}}},
                              ProbeGeom::AdjacencyRule::ONE_BASED_DROP_NONE);
  EXPECT_EQ(target.getNumberOfFromIndices(), 3);
  EXPECT_EQ(target.getTotalNumberOfAdjacents(), 3);
  ASSERT_EQ(target.getNumberOfAdjacents(0), 1);
  EXPECT_EQ(target.getAdjacents(0)[0], 0);
  EXPECT_EQ(target.getAdjacentOrientations(0)[0], 0);
  EXPECT_EQ(target.getAdjacents(1), nullptr);
  EXPECT_EQ(target.getAdjacents(2)[0], 2);
  EXPECT_EQ(target.getAdjacents(2)[1], 1);
}

TEST(RenderDrawGeomAdjacency, LeadingListsCanBeSkipped) {
  Adjacent target;
  ProbeGeom::setAdjacentLists(target, {{{9, 9}}, {{1, 0}}}, ProbeGeom::AdjacencyRule::AS_GIVEN, 1);
  EXPECT_EQ(target.getNumberOfFromIndices(), 1);
  EXPECT_EQ(target.getAdjacents(0)[0], 1);
  ProbeGeom::setAdjacentLists(target, {{{9, 9}}}, ProbeGeom::AdjacencyRule::AS_GIVEN, 3);
  EXPECT_EQ(target.getNumberOfFromIndices(), 0);
  EXPECT_EQ(target.getTotalNumberOfAdjacents(), 0);
}

TEST(RenderDrawGeomAdjacency, RunsAreClampedToTheRelation) {
  Adjacent relation;
  relation.allocate(2, 3);
  relation.setAdjacent(1, std::vector<int>{7, 8, 9});
  EXPECT_EQ(ProbeGeom::adjacentRun(relation, 1).count, 3);
  EXPECT_EQ(ProbeGeom::adjacentRun(relation, 1).adjacents[2], 9);
  EXPECT_EQ(ProbeGeom::adjacentRun(relation, 0).count, 0);  // no run set
  EXPECT_EQ(ProbeGeom::adjacentRun(relation, 2).count, 0);  // not allocated for
  EXPECT_EQ(ProbeGeom::adjacentRun(relation, -1).count, 0);
  EXPECT_EQ(ProbeGeom::adjacentRun(Adjacent(), 0).count, 0);

  // A stream may claim runs that leave the array: version 1, 2 sources, 2 adjacents; source 0
  // starts at 1 with 5, source 1 starts at 4 with 1.
  qvtest::ForgedIStream corrupt({1, 2, 2, 1, 5, 4, 1, 10, 0, 11, 0, 2});
  Adjacent bad;
  bad.deserializeRaw(corrupt);
  const auto run = ProbeGeom::adjacentRun(bad, 0);
  ASSERT_EQ(run.count, 1);
  EXPECT_EQ(run.adjacents[0], 11);
  EXPECT_EQ(ProbeGeom::adjacentRun(bad, 1).count, 0);
}

TEST(RenderDrawGeomRenderExport, CurveRecordsAdvanceAtLeastOnePosition) {
  std::vector<std::vector<int>> elements(5);
  EXPECT_EQ(ProbeGeom::appendCurveRecords(elements, 4, 3, 2), 7);
  EXPECT_EQ(ProbeGeom::appendCurveRecords(elements, 7, 0, 3), 8);  // nothing, one position
  EXPECT_EQ(ProbeGeom::appendCurveRecords(elements, 8, 1, 4), 9);  // one vertex, no segment
  EXPECT_EQ(elements[2], (std::vector<int>{4, 5}));
  EXPECT_EQ(elements[3], (std::vector<int>{5, 6}));
  EXPECT_EQ(elements[4], (std::vector<int>{2, 2}));
}
