// The 3D drawing object RenderDraw3D (identity, cloning, the checked cast, its stream form) and
// robustness checks of the 3D draw geometry: corrupt relations, triangles and streams stay
// within bounds.
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

// The carriers first: the stream checks rely on their includes for nkbase::Prop.
#include "datacarrier/renderdraw3d.h"
// clang-format off
#include "carrierstreamchecks.h"
// clang-format on
#include "models3d.h"
#include "recordingstream.h"

using namespace nkdatacarrier;
using qvtest::codeOf;
using qvtest::raiseSite;

namespace {

std::string site(int line, const std::string& code,
                 const std::string& module = "datacarrier/renderdrawgeom3d") {
  return module + ":" + std::to_string(line) + " " + code;
}

// Another 3D geometry, which the checked cast must refuse.
struct OtherGeom3D : RenderDrawGeom3D {
  std::string getClassID() const override { return "RenderGeom3D"; }
  void serializeRaw(OSerialStream&, nkbase::Prop&) const override {}
  void deserializeRaw(ISerialStream&) override {}
  nkboost::shared_ptr<RenderDrawGeom> clone() const override {
    return nkboost::make_shared<OtherGeom3D>(*this);
  }
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_GEOM; }
};

}  // namespace

TEST(RenderDraw3DObject, IdentityCloneAndCheckedCast) {
  const RenderDraw3D d(RenderDrawGeom3D::DRAW_3D_C, -3);
  EXPECT_FALSE(RenderDraw3D::isStaticClassID("RenderDraw3D "));
  EXPECT_EQ(d.getDataCarrierType(), IDataCarrier::DC_RENDER_DRAW);
  EXPECT_EQ(d.getObjectType() * 10 + d.getDimension(), 53);
  EXPECT_EQ(RenderDraw3D().getObjectType(), RenderDrawGeom::UNSET);

  RenderDraw3D cube = qvtest::unitCube(-1);
  nkboost::shared_ptr<RenderDrawGeom> copy = cube.clone();
  EXPECT_EQ(copy->getClassID(), "RenderDraw3D");
  EXPECT_EQ(qvtest::binaryOf(*copy), qvtest::binaryOf(cube));
  auto copy3 = nkboost::dynamic_pointer_cast<RenderDrawGeom3D>(copy);
  ASSERT_TRUE(copy3);

  nkboost::shared_ptr<RenderDraw3D> cast = RenderDraw3D::shared_ptr_cast(copy3);
  EXPECT_EQ(cast.get(), copy3.get());
  EXPECT_EQ(copy3.use_count(), 3);  // copy, copy3 and cast share the object
  // A pointer of the derived type converts on the way in.
  EXPECT_TRUE(RenderDraw3D::shared_ptr_cast(nkboost::make_shared<RenderDraw3D>()));
  // An empty pointer and another 3D geometry are refused alike; the latter stays unshared.
  nkboost::shared_ptr<RenderDrawGeom3D> other = nkboost::make_shared<OtherGeom3D>();
  for (nkboost::shared_ptr<RenderDrawGeom3D> wrong :
       {nkboost::shared_ptr<RenderDrawGeom3D>(), other}) {
    try {
      RenderDraw3D::shared_ptr_cast(wrong);
      ADD_FAILURE() << "no raise";
    } catch (const nkbase::Exception& e) {
      EXPECT_EQ(e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode() + " " +
                    e.getMessage(),
                "datacarrier/renderdraw3d:30 Internal_error RenderDraw3D object expected");
    }
  }
  EXPECT_EQ(other.use_count(), 1);
}

TEST(RenderDraw3DStream, RefusedVersions) {
  RenderDraw3D r;
  qvtest::ForgedIStream outer({1, 0});
  EXPECT_EQ(raiseSite([&] { r.deserializeRaw(outer); }),
            site(51, "Incompatible_native_file_version", "datacarrier/renderdraw3d"));
  EXPECT_EQ(outer.consumed(), 1u);
  qvtest::ForgedIStream inner({0, 1, 3});
  EXPECT_EQ(codeOf([&] { r.deserializeRaw(inner); }), "Incompatible_native_file_version");
  EXPECT_EQ(inner.consumed(), 2u);
}

TEST(RenderDrawGeom3DCube, CorruptRelationsAndTrianglesStayInBounds) {
  RenderDraw3D g = qvtest::unitCube(-1);
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

  std::vector<int> found;
  g.findEntitiesInBox({-1, 2, -1, 2, -1, 2}, 3, true, {0}, found);
  EXPECT_EQ(found, std::vector<int>{0});
  EXPECT_EQ(raiseSite([&] {
              g.findEntitiesInBox({-1, 2, -1, 2, -1, 2}, 3, true, {0, 1}, found);
            }),
            site(840, "VEXAL_assertion_failure"));
  EXPECT_EQ(found, (std::vector<int>{0, 0}));
}

// Every byte of the cube's stream replaced in turn: each copy that still reads back answers
// every query without reading outside its arrays (checked under the sanitizers).
TEST(RenderDrawGeom3DCube, EveryQueryOnMutatedStreamsStaysInBounds) {
  const std::vector<char> bytes = qvtest::binaryOf(qvtest::unitCube(-1));
  const auto all = [](int n) {
    std::vector<int> v(std::max(n, 0));
    for (int i = 0; i < n; ++i)
      v[i] = i;
    return v;
  };
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
      const std::vector<int> solids = all(g.getNumberOfSolids()),
                             sheets = all(g.getNumberOfSheets()),
                             curves = all(g.getNumberOfCurves());
      std::vector<int> found;
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
          const std::vector<int>& ids = dim == 1 ? curves : dim == 2 ? sheets : solids;
          for (bool inside : {true, false}) {
            g.findEntitiesInBall({0.5, 0.5, 0.5}, 0.2, dim, inside, ids, found);
            g.findEntitiesInBox({0, 2, 0, 2, 0, 2}, dim, inside, ids, found);
            g.findEntitiesInCylinder({0.5, 0.5, 0}, {0, 0, 1}, 0.2, 1.0, 0.0, dim, inside, ids,
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
