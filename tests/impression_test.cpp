#include "datacarrier/impression.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::IDataCarrier;
using nkdatacarrier::Impression;
using qvtest::ForgedIStream;

namespace {

using qvtest::codeOf;

// Lines (0,0)-(1,0.5) and (-2,3)-(4,-1) in the box [-2,4] x [-1,3].
Impression twoLines(int id = 3) {
  Impression imp(id);
  imp.allocate(2);
  imp.addLine(0.0f, 0.0f);
  imp.addLine(1.0f, 0.5f);
  imp.addLine(-2.0f, 3.0f);
  imp.addLine(4.0f, -1.0f);
  imp.setBoundingBox2D(BoundingBox2D(-2.0f, 4.0f, -1.0f, 3.0f));
  return imp;
}

TEST(ImpressionContent, DefaultsLinesAndClone) {
  EXPECT_EQ(Impression().getId(), -1);
  EXPECT_EQ(static_cast<const IDataCarrier&>(Impression()).getDataCarrierType(), 9);

  Impression lines;  // addLine adds one end point; allocate empties
  lines.addLine(1.0f, 2.0f);
  EXPECT_EQ(lines.getNumberOfLines(), 0);
  lines.addLine(3.0f, 4.0f);
  lines.addLine(5.0f, 6.0f);
  EXPECT_EQ(lines.getNumberOfLines(), 1);
  EXPECT_EQ(lines.getVertices()[2].y, 6.0f);
  lines.allocate(4);
  EXPECT_TRUE(lines.getVertices().empty());
  // The identifier is not written: the clone's is compared on its own.
  const nkboost::shared_ptr<Impression> copy = twoLines(8).clone();
  EXPECT_EQ(copy->getId(), 8);
  EXPECT_EQ(qvtest::binaryOf(*copy), qvtest::binaryOf(twoLines()));
}

TEST(ImpressionSerialization, WritesHeadingsBeforeValuesAndNoIdentifier) {
  EXPECT_EQ(qvtest::writtenRaw(twoLines()),
            qvtest::seq("unsigned 0|# version|# Bounding box|string RenderBoundingBox2D|"
                        "unsigned 0|# version|float -2|# minimum x-coordinate|float 4|"
                        "# maximum x-coordinate|float -1|# minimum y-coordinate|float 3|"
                        "# maximum y-coordinate|# Number of vertices|int 4|# Vertices|float 0|"
                        "float 0|float 1|float 0.5|float -2|float 3|float 4|float -1"));
}

// Deliberately: reading consumes the vertices but keeps none of them.
TEST(ImpressionSerialization, ReadingRestoresTheBoxAndDropsTheVertices) {
  for (const Impression& copy : qvtest::streamCopies(twoLines())) {
    EXPECT_EQ(qvtest::binaryOf(copy.getBoundingBox()),
              qvtest::binaryOf(twoLines().getBoundingBox()));
    EXPECT_EQ(copy.getNumberOfLines(), 0);
  }
  Impression back(5);
  back.addLine(7.0f, 7.0f);
  back.addLine(7.0f, 8.0f);
  const std::vector<char> bytes = qvtest::binaryOf(twoLines());
  BinaryISerialStream is(bytes);
  back.deserialize(is);
  EXPECT_EQ(is.available(), 0u);  // all eight floats consumed
  EXPECT_TRUE(back.getVertices().empty());
  EXPECT_EQ(back.getId(), 5);
}

// Version, an empty box, a vertex count and one vertex, in a stream of unknown length.
ForgedIStream forged(int version, int count) {
  return ForgedIStream(
      {version, std::string("RenderBoundingBox2D"), 0, 0.0f, 0.0f, 0.0f, 0.0f, count, 1.0f, 2.0f});
}

TEST(ImpressionBadInput, RefusedVersionsTruncationsAndCorruptCounts) {
  qvtest::expectVersionsRefused(twoLines(), {1, -1});
  qvtest::expectEveryTruncationRaisesEndOfFile(twoLines());
  // The vertex count precedes the eight floats: two billion vertices cannot fit in the bytes.
  std::vector<char> bytes = qvtest::binaryOf(twoLines());
  const int huge = 0x7fffffff;
  std::memcpy(&bytes[bytes.size() - 36], &huge, 4);
  BinaryISerialStream bis(bytes);
  Impression imp;
  EXPECT_EQ(codeOf([&] { imp.deserialize(bis); }), "End_of_file_reached");
  // A stream of unknown length cannot bound the count: reading runs into its end instead, and
  // the reservation made ahead stays small.
  ForgedIStream unsized = forged(0, huge);
  EXPECT_EQ(codeOf([&] { imp.deserializeRaw(unsized); }), "End_of_file_reached");
  EXPECT_LE(imp.getVertices().capacity(), std::size_t(1) << 16);
  ForgedIStream negative = forged(0, -1);
  EXPECT_THROW(imp.deserializeRaw(negative), std::length_error);
}

}  // namespace
