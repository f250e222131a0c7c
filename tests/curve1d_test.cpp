#include "datacarrier/curve1d.h"

#include <gtest/gtest.h>

#include <climits>

#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox1D;
using nkdatacarrier::Curve1D;
using qvtest::ForgedIStream;

namespace {

Curve1D makeCurve(std::vector<float> xs, BoundingBox1D box, bool valid = true) {
  Curve1D c;
  c.allocate(static_cast<int>(xs.size()));
  for (std::size_t i = 0; i < xs.size(); ++i)
    c.setVertex(static_cast<int>(i), xs[i]);
  c.setBoundingBox1D(box);
  c.setValid(valid);
  return c;
}

}  // namespace

TEST(Curve1D, LengthComesFromTheBoxInSinglePrecision) {
  EXPECT_EQ(makeCurve({0, 10, 100}, {2.0f, 5.0f}).getLength(), 3.0);
  EXPECT_EQ(makeCurve({}, BoundingBox1D(1e-8, 1.0)).getLength(), 1.0);  // 1 - 1e-8 rounds to 1
  EXPECT_EQ(makeCurve({0, 1}, {0.0f, 1.0f}, false).getLength(), 0.0);
}

TEST(Curve1D, IntersectsBoxWhenASegmentOverlapsItEndsIncluded) {
  const Curve1D c = makeCurve({0, 1, 2}, {0.0f, 2.0f});
  EXPECT_TRUE(c.intersectsBox({2, 3}));  // upper end equals the box minimum
  EXPECT_TRUE(c.intersectsBox({1.2, 1.5}));
  EXPECT_FALSE(c.intersectsBox({2.0001, 3}));
  EXPECT_TRUE(makeCurve({5, 3}, {3.0f, 5.0f}).intersectsBox({4, 4}));  // descending segment
  EXPECT_FALSE(makeCurve({1}, {1.0f, 1.0f}).intersectsBox({0, 2}));    // one vertex
  // The stored box only rejects; the segments decide.
  EXPECT_FALSE(makeCurve({0, 1, 0.5f}, {0.0f, 3.0f}).intersectsBox({2, 3}));
  EXPECT_FALSE(makeCurve({0, 1}, {5.0f, 6.0f}).intersectsBox({0, 1}));
  EXPECT_FALSE(makeCurve({0, 1}, {0.0f, 1.0f}, false).intersectsBox({0, 1}));
}

TEST(Curve1DSerialization, WritesTheExactSequence) {
  EXPECT_EQ(qvtest::writtenRaw(makeCurve({-2}, {-2.0f, 0.5f})),
            qvtest::seq("unsigned 1|# version|# Bounding box|string RenderBoundingBox1D|"
                        "unsigned 0|# version|float -2|# minimum x-coordinate|float 0.5|"
                        "# maximum x-coordinate|# |bool true|# is valid|int 1|"
                        "# number of vertices|# Vertex coordinates|float -2|# "));
}

TEST(Curve1DSerialization, ReadsVersionZeroAndKeepsTheCurveOnAnInvalidStream) {
  Curve1D c = makeCurve({4, 5}, {4.0f, 5.0f});
  const std::vector<char> before = qvtest::binaryOf(c);
  ForgedIStream invalid0({0, false, 1});
  c.deserializeRaw(invalid0);
  EXPECT_EQ(invalid0.consumed(), 2u);  // version and flag only
  ForgedIStream invalid1({1, std::string("RenderBoundingBox1D"), 0, 4.0f, 5.0f, false});
  c.deserializeRaw(invalid1);
  EXPECT_EQ(invalid1.consumed(), invalid1.size());
  EXPECT_EQ(qvtest::binaryOf(c), before);
  // Version 0: the flag, then the box of a valid curve.
  ForgedIStream valid0({0, true, std::string("RenderBoundingBox1D"), 0, 1.0f, 2.0f, 1, 1.5f});
  c.deserializeRaw(valid0);
  EXPECT_EQ(valid0.consumed(), valid0.size());
  EXPECT_EQ(qvtest::binaryOf(c), qvtest::binaryOf(makeCurve({1.5f}, {1.0f, 2.0f})));
}

TEST(Curve1DSerialization, RefusesUnknownVersionsAndTruncation) {
  qvtest::expectVersionsRefused(makeCurve({0, 1, 2}, {0.0f, 2.0f}), {2, -1});
  qvtest::expectEveryTruncationRaisesEndOfFile(makeCurve({0, 1, 2}, {0.0f, 2.0f}));
  // A stream that cannot tell its length announces two billion vertices and holds one.
  ForgedIStream huge({1, std::string("RenderBoundingBox1D"), 0, 0.0f, 1.0f, true, INT_MAX, 0.5f});
  Curve1D c;
  EXPECT_EQ(qvtest::codeOf([&] { c.deserializeRaw(huge); }), "End_of_file_reached");
}
