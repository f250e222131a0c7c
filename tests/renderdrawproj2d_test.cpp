#include "datacarrier/renderdrawproj2d.h"

#include <gtest/gtest.h>

#include <functional>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::RenderDrawGeom;
using nkdatacarrier::RenderDrawProj2D;
using qvtest::codeOf;

namespace {

using qvtest::raiseSite;
using qvtest::written;

using Snap = std::vector<std::vector<double>>;
using Lines = std::vector<std::string>;

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
  p.setSnapCoord(Snap{{0.5}, {-1}});
  return p;
}

}  // namespace

TEST(RenderDrawProj2DModel, IdentityAllocationAndMeasures) {
  // Type 8, identifier and getClassID are pinned by the write sequence below.
  RenderDrawProj2D p = projection();
  EXPECT_EQ(p.getDimension(), 2);
  EXPECT_EQ(p.getVolume(2, {0}), 0.0);
  EXPECT_EQ(p.getBndArea(2, {0}), 0.0);
  EXPECT_EQ(p.getDataCarrierType(), nkdatacarrier::IDataCarrier::DC_RENDER_DRAW);
  EXPECT_EQ(RenderDrawProj2D().getObjectType(), RenderDrawGeom::UNSET);

  p.allocate(3, 2);  // existing entries and types are kept, new types are 0
  EXPECT_EQ(p.getNumberOfPoints(), 2);
  EXPECT_EQ(std::vector<int>({p.getCurveType(0), p.getCurveType(1), p.getCurveType(2)}),
            std::vector<int>({0, 5, 0}));
  EXPECT_EQ(p.getCurve(0).getNumberOfVertices() + p.getPoint(1).getVertex().x, 2 + 3.0f);
  std::vector<float> box{9};
  p.getBoundingBox(box);
  EXPECT_EQ(box, (std::vector<float>{0, 5, 0, 6}));
}

TEST(RenderDrawProj2DQueries, SelectionRaisesWhateverItsArguments) {
  // The render export, picking and cylinders keep the base's refusals (tested with the base).
  const RenderDrawGeom& g = projection();
  const std::vector<double> c{0, 0}, box{0, 1, 0, 1};
  std::vector<int> found{1};
  const std::string src = "datacarrier/renderdrawproj2d:";
  const std::string hdr = "datacarrier/renderdrawproj2d.h:";
  for (bool inside : {true, false}) {
    EXPECT_EQ(raiseSite([&] { g.findEntitiesInBall(c, 1, 1, inside, {0}, found); }),
              src + "66 findEntitiesInBall not implemented in proj2D");
    EXPECT_EQ(raiseSite([&] { g.findEntitiesInBox(box, 2, inside, {}, found); }),
              src + "72 findEntitiesInBox not implemented in proj2D");
    EXPECT_EQ(raiseSite([&] { g.isInBall(c, 1, 7, inside, {}); }),
              hdr + "159 isInBall not implemented in proj2D");
    EXPECT_EQ(raiseSite([&] { g.isInBox(box, 1, inside, {0}); }),
              hdr + "163 isInBox not implemented in proj2D");
  }
  EXPECT_EQ(raiseSite([&] { g.numUniquePointsEstimate(); }),
            hdr + "167 numUniquePointsEstimate not implemented in proj2D");
  EXPECT_EQ(found, (std::vector<int>{1}));
}

TEST(RenderDrawProj2DSerialization, WriteSequenceKeepsTypesBesideTheirEntities) {
  RenderDrawProj2D p = projection();
  p.setSnapCoord(Snap{{0.5, -0.0}, {-1, -1e300}});
  Lines expected;
  for (const Lines& part :
       {qvtest::seq("string RenderDrawProj2D|unsigned 0|# version|int 8|# object type|int 3|"
                    "# unique identifier|string |# object label|# |# Bounding box"),
        written(p.getBoundingBox()),
        qvtest::seq("# |int 3|# number of points|int 2|# number of curves|# |# Points|float 1|"
                    "float 2|int 0|# |float 3|float 4|int 0|# |float 5|float 6|int 7|# |# |"
                    "# Curves"),
        written(p.getCurve(0)), Lines{"int 0"}, written(p.getCurve(1)),
        qvtest::seq("int 5|# |# Number of snapping points|int 2|# |# Snapping coordinates|"
                    "double 0.5|double -1|# |double -0|double -1e+300|# ")})
    expected.insert(expected.end(), part.begin(), part.end());
  EXPECT_EQ(written(p), expected);

  // Every field is written, so copies that write the same have every field back.
  std::vector<RenderDrawProj2D> copies = qvtest::streamCopies(p);
  const auto clone = nkboost::dynamic_pointer_cast<RenderDrawProj2D>(p.clone());
  ASSERT_TRUE(clone);
  copies.push_back(*clone);
  for (const RenderDrawProj2D& r : copies)
    EXPECT_EQ(written(r), expected);
  qvtest::expectEveryTruncationRaisesEndOfFile(p);
}

TEST(RenderDrawProj2DSerialization, SnappingListsReadIntoFreshAndUsedObjects) {
  RenderDrawProj2D p(1);
  // Nothing to snap to: a count of 0, read back as two empty vectors.
  EXPECT_EQ(qvtest::streamCopies(p)[0].getSnapCoord(), Snap(2));
  p.setSnapCoord(Snap{{1, 2}, {3, 4}});
  const std::vector<char> bytes = qvtest::binaryOf(p);
  // Vectors already present keep their length beyond the count; a shorter one grows.
  RenderDrawProj2D used;
  used.setSnapCoord(Snap{{9, 9, 9}});
  BinaryISerialStream is(bytes);
  used.deserialize(is);
  EXPECT_EQ(used.getSnapCoord(), (Snap{{1, 2, 9}, {3, 4}}));
  used.setSnapCoord(Snap{{9}, {9}, {9}});
  BinaryISerialStream again(bytes);
  used.deserialize(again);
  EXPECT_EQ(used.getSnapCoord(), (Snap{{1, 2}, {3, 4}}));
}

TEST(RenderDrawProj2DSerialization, RefusedAndCorruptStreams) {
  qvtest::expectVersionsRefused(projection(), {1, -1}, "datacarrier/renderdrawproj2d:230");

  // A snapping count beyond the stream's remaining bytes allocates nothing.
  RenderDrawProj2D r(4);
  std::vector<char> bytes = qvtest::binaryOf(RenderDrawProj2D(2));
  bytes.back() = 0x30;  // the count is the last value written
  BinaryISerialStream is(bytes);
  EXPECT_EQ(codeOf([&] { r.deserialize(is); }), "End_of_file_reached");
  EXPECT_TRUE(r.getSnapCoord().empty());
}
