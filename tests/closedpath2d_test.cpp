#include "datacarrier/closedpath2d.h"

#include <gtest/gtest.h>

#include <climits>

#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::ClosedPath2D;
using qvtest::ForgedIStream;

TEST(ClosedPath2DSerialization, WritesTheExactSequence) {
  ClosedPath2D p;
  EXPECT_EQ(qvtest::writtenRaw(p),
            qvtest::seq("unsigned 0|# version|int 0|# number of vertices|# Vertex coordinates"));
  p.allocate(2);
  p.setVertex(1, 0.25f, -1);
  EXPECT_EQ(qvtest::writtenRaw(p),
            qvtest::seq("unsigned 0|# version|int 2|# number of vertices|# Vertex coordinates|"
                        "float 0|float 0|# |float 0.25|float -1|# "));
}

TEST(ClosedPath2DSerialization, ReadingReplacesAllVertices) {
  ClosedPath2D p;
  p.allocate(5);
  ForgedIStream s({0, 2, 1.0f, 2.0f, 3.0f, 4.0f});
  p.deserializeRaw(s);
  EXPECT_EQ(s.consumed(), s.size());
  ASSERT_EQ(p.getNumberOfVertices(), 2);
  EXPECT_EQ(p.getVertex(1).x, 3.0f);
  EXPECT_EQ(p.getVertexArray()[1].y, 4.0f);
}

TEST(ClosedPath2DSerialization, RefusesBadVersionsCountsAndTruncation) {
  qvtest::expectVersionsRefused(ClosedPath2D(), {1, -1});
  ForgedIStream negative({0, -3});
  ClosedPath2D p;
  EXPECT_THROW(p.deserializeRaw(negative), std::length_error);
  // A stream that cannot tell its length announces two billion vertices and holds one.
  ForgedIStream huge({0, INT_MAX, 1.0f, 2.0f});
  EXPECT_EQ(qvtest::codeOf([&] { p.deserializeRaw(huge); }), "End_of_file_reached");

  p.allocate(4);
  qvtest::expectEveryTruncationRaisesEndOfFile(p);
  std::vector<char> bytes = qvtest::binaryOf(p);
  bytes[bytes.size() - 4 * 8 - 1] = 0x7f;  // the count's high byte: two billion vertices
  BinaryISerialStream is(bytes);
  EXPECT_EQ(qvtest::codeOf([&] { p.deserialize(is); }), "End_of_file_reached");
}
