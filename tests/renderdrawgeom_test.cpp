#include "datacarrier/renderdrawgeom.h"

#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "carrierstreamchecks.h"
#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw1d.h"
#include "datacarrier/renderdrawproj2d.h"
#include "recordingstream.h"

using nkdatacarrier::Adjacent;
using nkdatacarrier::RenderDrawGeom;
namespace drawgeom = nkdatacarrier::drawgeom;

namespace {

using qvtest::raiseSite;
using qvtest::written;

using Coords = std::vector<std::vector<float>>;
using Ints = std::vector<int>;

// A concrete draw geometry that opens the protected members of the base to the tests and lets
// them choose the size estimate that the point merging is given.
class ProbeGeom : public nkdatacarrier::RenderDraw1D {
 public:
  ProbeGeom() = default;
  ProbeGeom(Type type, int id) : RenderDraw1D(RenderDrawGeom1D::Type1D(type), id) {}
  using RenderDrawGeom::deserializeAttributes;
  using RenderDrawGeom::mergeRenderPoints;
  using RenderDrawGeom::serializeAttributes;
  using RenderDrawGeom::uniquePoints;
  int numUniquePointsEstimate() const override { return estimate; }
  int estimate = 0;
};

}  // namespace

TEST(RenderDrawGeomAttributes, UnsetTypeAndDimensions) {
  EXPECT_EQ(int(ProbeGeom().getObjectType()), 13);
  EXPECT_EQ(std::to_string(ProbeGeom().getId()) + ProbeGeom().getLabel(), "0");  // id 0, no label
  // The edit sketch (12) deliberately reports 0; so does any value outside the table.
  const int expected[16] = {0, 3, 2, 1, 3, 3, 3, 3, 2, 2, 2, 1, 1, 0, 0, 0};
  for (int t = -1; t <= 14; ++t)
    EXPECT_EQ(ProbeGeom(RenderDrawGeom::Type(t), 1).getDimension(), expected[t + 1]) << t;
}

TEST(RenderDrawGeomAttributes, WriteSequenceAndRoundTrip) {
  ProbeGeom g(RenderDrawGeom::DRAW_2D_B, -4);
  g.setLabel("Sketch 1");
  qvtest::RecordingOStream os;
  g.serializeAttributes(os);
  EXPECT_EQ(os.lines,
            (std::vector<std::string>{"int 9", "# object type", "int -4", "# unique identifier",
                                      "string Sketch 1", "# object label", "# "}));

  // An unknown type is stored as read; an empty label and a negative identifier survive.
  ProbeGeom odd(RenderDrawGeom::Type(77), -123);
  for (const std::string& label : {std::string(), std::string("a b\nc")}) {
    odd.setLabel(label);
    for (const ProbeGeom& r : qvtest::streamCopies(odd)) {
      EXPECT_EQ(int(r.getObjectType()), 77);
      EXPECT_EQ(r.getId(), -123);
      EXPECT_EQ(r.getLabel(), label);
    }
  }
  qvtest::ForgedIStream forged({5, 6, std::string("x")});
  ProbeGeom r;
  r.deserializeAttributes(forged);
  EXPECT_EQ(forged.consumed(), 3u);
  EXPECT_EQ(r.getObjectType(), RenderDrawGeom::DRAW_3D_C);
  EXPECT_EQ(r.getLabel(), "x");
}

TEST(RenderDrawGeomDefaults, RaiseTheirMessagesOnTheirLines) {
  // The projection drawing keeps every default of the base.
  const RenderDrawGeom& g = nkdatacarrier::RenderDrawProj2D(1);
  const std::vector<double> v{0, 0, 0};
  std::vector<std::vector<double>> hits;
  std::vector<double> closest;
  Ints result;
  Coords coords;
  std::vector<Ints> elements;
  const Array<double, 1> a(3);
  nkdatacarrier::PostDataObject plot;
  const std::string src = "datacarrier/renderdrawgeom:";
  const std::string exch = " Internal_error_exch_processing";
  const std::pair<std::function<void()>, std::string> cases[] = {
      {[&] { g.findLineIntersections(v, v, hits); },
       src + "73 findLineIntersections only implemented in 3D"},
      {[&] { g.findClosestPoint(v, {0}, closest); },
       src + "79 findClosestPoint only implemented in 3D"},
      {[&] { g.findPlaneIntersections(a, a, plot); },
       src + "85 findPlaneIntersections only implemented in 3D"},
      {[&] { g.findEntitiesInCylinder(v, v, 1.0, 1.0, 0.0, 1, false, {0}, result); },
       src + "91 findEntitiesInCylinder only implemented in 3D"},
      {[&] { g.getMLRenderPointSize(); }, src + "96" + exch},
      {[&] { g.getMLRenderVtxSize(); }, src + "102" + exch},
      {[&] { g.getMLRenderEdgSize(); }, src + "108" + exch},
      {[&] { g.getMLRenderTriSize(); }, src + "114" + exch},
      {[&] { g.getMLRenderData(coords, elements); }, src + "121" + exch},
      {[&] { g.isInCylinder(v, v, 1.0, 1.0, 0.0, 1, true, {}); },
       "datacarrier/renderdrawgeom.h:230 isInCylinder only implemented in 3D"}};
  for (const auto& [call, site] : cases)
    EXPECT_EQ(raiseSite(call), site);
  EXPECT_TRUE(result.empty() && coords.empty() && elements.empty());
}

TEST(RenderDrawGeomUniquePoints, FirstOccurrencesKeptInOrderWithARelativeTolerance) {
  struct Case {
    Coords in;
    Ints map;
    Coords out;
  };
  const Case cases[] = {
      {{}, {}, {}},
      {Coords(2), {}, Coords(2)},
      {{{0, 1, 0, 1}, {0, 0, 1, 1}}, {0, 1, 2, 3}, {{0, 1, 0, 1}, {0, 0, 1, 1}}},
      {{{2.5f, 2.5f, 2.5f}, {-1, -1, -1}}, {0, 0, 0}, {{2.5f}, {-1}}},
      // a b a c b
      {{{0, 5, 0, 7, 5}, {1, 6, 1, 8, 6}, {2, 7, 2, 9, 7}},
       {0, 1, 0, 2, 1},
       {{0, 5, 7}, {1, 6, 8}, {2, 7, 9}}},
      // Largest magnitude 1000: a gap of 1e-4 merges, one of 5e-4 does not.
      {{{1000.0f, 1000.0001f, 1000.0005f}, {0, 0, 0}}, {0, 0, 1}, {{1000.0f, 1000.0005f}, {0, 0}}},
      // Largest magnitude 1: the same gap of 1e-4 is far beyond the tolerance.
      {{{0.0f, 0.0001f, 1.0f}}, {0, 1, 2}, {{0.0f, 0.0001f, 1.0f}}},
      // A negative coordinate counts by its magnitude.
      {{{1.0f, 1.0001f, -1000.0f}}, {0, 0, 1}, {{1.0f, -1000.0f}}},
      // A shorter direction ends the points: the third has no y.
      {{{0, 0, 3}, {1, 1}}, {0, 0}, {{0}, {1}}}};
  // A negative estimate becomes a huge unsigned hint, which must not be taken as a size.
  for (int estimate : {0, 2, 1000000, -1, std::numeric_limits<int>::min()}) {
    ProbeGeom g;
    g.estimate = estimate;
    for (const Case& c : cases) {
      Coords coords = c.in;
      Ints map{4, 5};
      g.uniquePoints(coords, map);
      EXPECT_EQ(map, c.map) << estimate;
      EXPECT_EQ(coords, c.out) << estimate;
    }
  }
  // Points that are not numbers are never merged.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  Coords coords{{nan, nan, 1, 1}};
  Ints map;
  ProbeGeom().uniquePoints(coords, map);
  EXPECT_EQ(map, (Ints{0, 1, 2, 2}));
  EXPECT_EQ(coords[0].size(), 3u);
}

TEST(RenderDrawGeomUniquePoints, MergeRenderPointsMapsOnlyThePositionVectors) {
  Coords coords{{0, 1, 0, 1}};
  std::vector<Ints> elements{{0, 1, 2, 3}, {1, 2, 3, 4}, {3, -1, 4, 2}};
  ProbeGeom().mergeRenderPoints(coords, elements, {0, 2});
  EXPECT_EQ(coords, (Coords{{0, 1}}));
  // Entity numbers stay; positions without a coordinate become -1 instead of reading past the map.
  EXPECT_EQ(elements, (std::vector<Ints>{{0, 1, 0, 1}, {1, 2, 3, 4}, {1, -1, -1, 0}}));
}

TEST(RenderDrawGeomAdjacency, LeadingListsCanBeSkipped) {
  Adjacent target;
  drawgeom::setAdjacentLists(target, {{{9, 9}}, {{1, 0}}}, drawgeom::AdjacencyRule::AS_GIVEN, 1);
  EXPECT_EQ(target.getNumberOfFromIndices(), 1);
  EXPECT_EQ(target.getAdjacents(0)[0], 1);
  drawgeom::setAdjacentLists(target, {{{9, 9}}}, drawgeom::AdjacencyRule::AS_GIVEN, 3);
  EXPECT_EQ(target.getNumberOfFromIndices(), 0);
  EXPECT_EQ(target.getTotalNumberOfAdjacents(), 0);
}
