#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "carrierstreamchecks.h"
#include "datacarrier/boundingbox1d.h"
#include "datacarrier/boundingbox2d.h"
#include "datacarrier/boundingbox3d.h"
#include "datacarrier/point1d.h"
#include "datacarrier/point2d.h"
#include "datacarrier/point3d.h"
#include "recordingstream.h"

using namespace nkdatacarrier;

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();

TEST(BoundingBox, IntersectsUnlessStrictlyApartOnSomeAxis) {
  EXPECT_TRUE(BoundingBox1D(0.0f, 1.0f).intersects(BoundingBox1D(1.0f, 2.0f)));
  EXPECT_TRUE(BoundingBox1D(1.0f, 2.0f).intersects(BoundingBox1D(0.0f, 1.0f)));
  EXPECT_FALSE(BoundingBox1D(0.0f, 1.0f).intersects(BoundingBox1D(1.0001f, 2.0f)));
  // A shared corner is enough in 2D and 3D.
  EXPECT_TRUE(BoundingBox2D(0.0, 1.0, 0.0, 1.0).intersects(BoundingBox2D(1.0, 2.0, 1.0, 2.0)));
  EXPECT_TRUE(BoundingBox3D(0.0, 1.0, 0.0, 1.0, 0.0, 1.0)
                  .intersects(BoundingBox3D(1.0, 2.0, 1.0, 2.0, 1.0, 2.0)));
  // Disjoint on the last axis only.
  EXPECT_FALSE(BoundingBox3D(0.0, 1.0, 0.0, 1.0, 0.0, 1.0)
                   .intersects(BoundingBox3D(0.0, 1.0, 0.0, 1.0, 1.5, 2.0)));
  EXPECT_FALSE(BoundingBox2D(0.0, 1.0, 0.0, 1.0).intersects(BoundingBox2D(0.0, 1.0, -2.0, -1.0)));

  // An inverted box overlaps only what spans it from its stored maximum to its minimum.
  const BoundingBox1D inverted(2.0f, 1.0f);
  EXPECT_FALSE(inverted.intersects(inverted));
  EXPECT_TRUE(inverted.intersects(BoundingBox1D(1.0f, 2.0f)));   // reaches from max to min
  EXPECT_FALSE(inverted.intersects(BoundingBox1D(1.5f, 3.0f)));  // starts above the stored max
  const BoundingBox2D flatY(0.0, 1.0, 3.0, 2.0);
  EXPECT_FALSE(flatY.intersects(flatY));
  // A comparison with NaN is false, so NaN bounds never separate an axis.
  EXPECT_TRUE(BoundingBox1D(kNaN, kNaN).intersects(BoundingBox1D(5.0f, 6.0f)));
  EXPECT_FALSE(
      BoundingBox2D(kNaN, kNaN, 0.0f, 1.0f).intersects(BoundingBox2D(5.0f, 6.0f, 2.0f, 3.0f)));
}

TEST(BoundingBox, PointInsideIsInclusiveOnAllSides) {
  const BoundingBox2D box(0.0, 2.0, -1.0, 1.0);
  EXPECT_TRUE(box.pointInside(0.0, -1.0));  // corner
  EXPECT_TRUE(box.pointInside(2.0, 1.0));   // opposite corner
  EXPECT_TRUE(box.pointInside(1.0, 0.0));
  EXPECT_FALSE(box.pointInside(2.0000000001, 0.0));
  EXPECT_FALSE(box.pointInside(1.0, -1.0000000001));
  EXPECT_FALSE(box.pointInside(std::nan(""), 0.0));
  EXPECT_FALSE(box.pointInside(1.0, std::nan("")));
  // The bounds are floats: 0.1 stored as a float lies above the double 0.1.
  const BoundingBox2D tenth(0.1, 1.0, 0.0, 1.0);
  EXPECT_FALSE(tenth.pointInside(0.1, 0.5));
  EXPECT_TRUE(tenth.pointInside(double(0.1f), 0.5));
}

TEST(BoundingBox, ConstructorsStoreTheNearestFloats) {
  EXPECT_EQ(BoundingBox1D(0.1, 0.2).getMinX(), 0.1f);  // double arguments, rounded
  EXPECT_EQ(BoundingBox1D(0.1, 0.2).getMaxX(), 0.2f);
  EXPECT_EQ(BoundingBox3D().bounds(), std::vector<float>(6, 0.0f));
  // Integer and mixed arguments: neither the float nor the double constructor is a better
  // match, and they are taken as doubles.
  EXPECT_EQ(BoundingBox2D(0, 1, -2, 3).getMaxY(), 3.0f);
  EXPECT_EQ(BoundingBox1D(0.5f, 0.1).getMaxX(), 0.1f);
  const BoundingBox3D big(16777217, 1, 0.25f, 0.3, 0, 0);  // 2^24 + 1 has no float
  EXPECT_EQ(big.getMinX(), 16777216.0f);
  EXPECT_EQ(big.getMaxY(), 0.3f);

  // The value operations: bounds in min/max order per axis, query boxes and balls rounded the
  // same way (the ball's bounds formed in double first).
  EXPECT_EQ(big.bounds(), (std::vector<float>{16777216.0f, 1, 0.25f, 0.3f, 0, 0}));
  EXPECT_EQ(BoundingBox1D::fromBounds({0.1, 0.2}).bounds(), (std::vector<float>{0.1f, 0.2f}));
  EXPECT_EQ(BoundingBox2D::fromBounds({1, 2, 3, 4}).bounds(), (std::vector<float>{1, 2, 3, 4}));
  EXPECT_EQ(BoundingBox2D::aroundBall({1.0, -1.0}, 0.5).bounds(),
            (std::vector<float>{0.5f, 1.5f, -1.5f, -0.5f}));
  EXPECT_EQ(BoundingBox3D::aroundBall({0.1, 0.0, 1e8}, 0.2).bounds(),
            (std::vector<float>{float(0.1 - 0.2), float(0.1 + 0.2), -0.2f, 0.2f, float(1e8 - 0.2),
                                float(1e8 + 0.2)}));
}

TEST(BoundingBox, IdentityAndLabelledBounds) {
  EXPECT_EQ(qvtest::written(BoundingBox3D(1.0f, 2.0f, 3.0f, 4.0f, 5.0f, 6.5f)),
            qvtest::seq("string RenderBoundingBox3D|unsigned 0|# version|float 1|"
                        "# minimum x-coordinate|float 2|# maximum x-coordinate|float 3|"
                        "# minimum y-coordinate|float 4|# maximum y-coordinate|float 5|"
                        "# minimum z-coordinate|float 6.5|# maximum z-coordinate"));
  EXPECT_EQ(qvtest::written(BoundingBox1D(-1.0f, 1.0f)),
            qvtest::seq("string RenderBoundingBox1D|unsigned 0|# version|float -1|"
                        "# minimum x-coordinate|float 1|# maximum x-coordinate"));
  // The identifiers the geometries' readers expect.
  EXPECT_EQ(BoundingBox2D::getStaticClassID(), "RenderBoundingBox2D");
  EXPECT_EQ(BoundingBox3D::getStaticClassID(), "RenderBoundingBox3D");
}

TEST(BoundingBox, RefusesOtherVersionsAndTruncations) {
  qvtest::expectVersionsRefused(BoundingBox1D(5.0f, 6.0f), {1, -1}, "datacarrier/boundingbox1d:");
  qvtest::expectEveryTruncationRaisesEndOfFile(BoundingBox2D(0.0f, 1.0f, -3.25f, 4.0f));
}

TEST(Point, IsAlwaysValidAndStartsAtTheOrigin) {
  EXPECT_TRUE(Point1D().isValid() && Point2D().isValid() && Point3D().isValid());
  EXPECT_EQ(Point3D().getVertex().z, 0.0f);
}

}  // namespace
