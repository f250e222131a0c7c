#include "datacarrier/impression.h"

#include <gtest/gtest.h>

#include <functional>
#include <sstream>

#include "carrierstreamchecks.h"
#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::IDataCarrier;
using nkdatacarrier::Impression;
using qvtest::ForgedIStream;
using qvtest::RecordingOStream;

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

void expectSampleBox(const BoundingBox2D& box) {
  EXPECT_EQ(box.getMinX(), -2.0f);
  EXPECT_EQ(box.getMaxX(), 4.0f);
  EXPECT_EQ(box.getMinY(), -1.0f);
  EXPECT_EQ(box.getMaxY(), 3.0f);
}

}  // namespace

TEST(ImpressionContent, DefaultsAndIdentity) {
  const Impression imp;
  EXPECT_EQ(imp.getId(), -1);
  EXPECT_EQ(imp.getNumberOfLines(), 0);
  EXPECT_EQ(imp.getBoundingBox().getMaxY(), 0.0f);
  EXPECT_EQ(static_cast<const IDataCarrier&>(imp).getDataCarrierType(), 9);
  EXPECT_EQ(static_cast<const nkbase::Serializable&>(imp).getClassID(), "Impression");
  EXPECT_FALSE(Impression::isStaticClassID("impression"));
  EXPECT_EQ(Impression(12).getId(), 12);
}

TEST(ImpressionContent, AddLineAddsOneEndPointAndAllocateEmpties) {
  Impression imp;
  imp.addLine(1.0f, 2.0f);
  EXPECT_EQ(imp.getNumberOfLines(), 0);
  imp.addLine(3.0f, 4.0f);
  imp.addLine(5.0f, 6.0f);
  EXPECT_EQ(imp.getNumberOfLines(), 1);
  EXPECT_EQ(imp.getVertices()[2].y, 6.0f);
  imp.allocate(4);
  EXPECT_TRUE(imp.getVertices().empty());
}

TEST(ImpressionContent, CloneIsADeepCopy) {
  Impression imp = twoLines(8);
  nkboost::shared_ptr<Impression> copy = imp.clone();
  imp.addLine(9.0f, 9.0f);
  imp.setBoundingBox2D(BoundingBox2D());
  EXPECT_EQ(copy->getId(), 8);
  EXPECT_EQ(copy->getNumberOfLines(), 2);
  ASSERT_EQ(copy->getVertices().size(), 4u);
  EXPECT_EQ(copy->getVertices()[3].x, 4.0f);
  expectSampleBox(copy->getBoundingBox());
}

TEST(ImpressionSerialization, WritesHeadingsBeforeValuesAndNoIdentifier) {
  nkbase::Prop prop;
  RecordingOStream os;
  twoLines().serializeRaw(os, prop);
  // clang-format off
  const std::vector<std::string> expected = {
      "unsigned 0", "# version",
      "# Bounding box", "string RenderBoundingBox2D", "unsigned 0", "# version",
      "float -2", "# minimum x-coordinate", "float 4", "# maximum x-coordinate",
      "float -1", "# minimum y-coordinate", "float 3", "# maximum y-coordinate",
      "# Number of vertices", "int 4",
      "# Vertices", "float 0", "float 0", "float 1", "float 0.5",
      "float -2", "float 3", "float 4", "float -1"};
  // clang-format on
  EXPECT_EQ(os.lines, expected);
}

TEST(ImpressionSerialization, ReadingRestoresTheBoxAndDropsTheVertices) {
  nkbase::Prop prop;
  BinaryOSerialStream os;
  twoLines().serialize(os, prop);
  // Class name (4 + 10), version, box (4 + 19, 4, 4 floats), count, eight floats.
  ASSERT_EQ(os.getBuffer().size(), 14u + 4 + 23 + 4 + 16 + 4 + 32);
  Impression back(5);
  back.addLine(7.0f, 7.0f);
  back.addLine(7.0f, 8.0f);
  BinaryISerialStream is(os.getBuffer());
  back.deserialize(is);
  EXPECT_EQ(is.available(), 0u);  // all eight floats consumed
  expectSampleBox(back.getBoundingBox());
  EXPECT_EQ(back.getNumberOfLines(), 0);
  EXPECT_TRUE(back.getVertices().empty());
  EXPECT_EQ(back.getId(), 5);
}

TEST(ImpressionSerialization, TextRoundTripConsumesEverything) {
  nkbase::Prop prop;
  std::ostringstream text;
  TextOSerialStream os(text);
  twoLines().serialize(os, prop);
  os << 42;  // a sentinel after the impression
  std::istringstream in(text.str());
  TextISerialStream is(in);
  Impression back;
  back.deserialize(is);
  expectSampleBox(back.getBoundingBox());
  EXPECT_EQ(back.getNumberOfLines(), 0);
  int next = 0;
  is >> next;
  EXPECT_EQ(next, 42);
}

TEST(ImpressionBadInput, RefusesEveryVersionButZero) {
  for (int version : {1, -1}) {
    ForgedIStream is({version, std::string("RenderBoundingBox2D")});
    Impression imp;
    EXPECT_EQ(codeOf([&] { imp.deserializeRaw(is); }), "Incompatible_native_file_version");
    EXPECT_EQ(is.consumed(), 1u);
  }
}

TEST(ImpressionBadInput, EveryTruncationRaises) {
  nkbase::Prop prop;
  BinaryOSerialStream os;
  twoLines().serialize(os, prop);
  const std::vector<char>& bytes = os.getBuffer();
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    BinaryISerialStream is(bytes.data(), size);
    Impression imp;
    EXPECT_THROW(imp.deserialize(is), nkbase::Exception) << "cut at " << size;
  }
}

TEST(ImpressionBadInput, HugeVertexCountRaisesWithoutReserving) {
  // Version, an empty box and two billion vertices of which one is present.
  auto forge = [](OSerialStream& os) {
    nkbase::Prop prop;
    os << 0u;
    BoundingBox2D().serialize(os, prop);
    os << 0x7fffffff << 1.0f << 2.0f;
  };
  BinaryOSerialStream bos;
  forge(bos);
  BinaryISerialStream bis(bos.getBuffer());
  Impression imp;
  EXPECT_EQ(codeOf([&] { imp.deserializeRaw(bis); }), "End_of_file_reached");
  // A text stream cannot bound the count: reading runs into the end of the text instead.
  std::ostringstream text;
  TextOSerialStream tos(text);
  forge(tos);
  std::istringstream in(text.str());
  TextISerialStream tis(in);
  EXPECT_EQ(codeOf([&] { imp.deserializeRaw(tis); }), "End_of_file_reached");
  EXPECT_LE(imp.getVertices().capacity(), std::size_t(1) << 16);
}
