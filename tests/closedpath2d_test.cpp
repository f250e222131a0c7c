#include "datacarrier/closedpath2d.h"

#include <gtest/gtest.h>

#include <sstream>

#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::ClosedPath2D;
using qvtest::ForgedIStream;

namespace {

template <typename F>
std::string codeOf(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getCode();
  }
  return "none";
}

}  // namespace

TEST(ClosedPath2DSerialization, WritesTheExactSequence) {
  ClosedPath2D empty;
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  empty.serializeRaw(os, prop);
  EXPECT_EQ(os.lines, (std::vector<std::string>{"unsigned 0", "# version", "int 0",
                                                "# number of vertices", "# Vertex coordinates"}));
  ClosedPath2D p;
  p.allocate(2);
  p.setVertex(1, 0.25f, -1);
  qvtest::RecordingOStream two;
  p.serializeRaw(two, prop);
  EXPECT_EQ(two.lines,
            (std::vector<std::string>{"unsigned 0", "# version", "int 2", "# number of vertices",
                                      "# Vertex coordinates", "float 0", "float 0", "# ",
                                      "float 0.25", "float -1", "# "}));
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

TEST(ClosedPath2DSerialization, RoundTripsThroughBinaryAndText) {
  ClosedPath2D p;
  p.allocate(3);
  p.setVertex(0, 0.1f, 0.2f);
  p.setVertex(2, -5e20f, 1);
  nkbase::Prop prop;
  BinaryOSerialStream bos;
  p.serialize(bos, prop);
  std::ostringstream text;
  TextOSerialStream tos(text);
  p.serialize(tos, prop);
  BinaryISerialStream bis(bos.getBuffer());
  std::istringstream textIn(text.str());
  TextISerialStream tis(textIn);
  for (ISerialStream* is : {static_cast<ISerialStream*>(&bis), static_cast<ISerialStream*>(&tis)}) {
    ClosedPath2D r;
    r.deserialize(*is);
    ASSERT_EQ(r.getNumberOfVertices(), 3);
    EXPECT_EQ(r.getVertex(0).y, 0.2f);
    EXPECT_EQ(r.getVertex(2).x, -5e20f);
  }
  ClosedPath2D empty;
  BinaryOSerialStream eos;
  empty.serialize(eos, prop);
  BinaryISerialStream eis(eos.getBuffer());
  p.deserialize(eis);
  EXPECT_EQ(p.getNumberOfVertices(), 0);
}

TEST(ClosedPath2DSerialization, RefusesBadVersionsCountsAndTruncation) {
  for (int version : {1, -1}) {
    ForgedIStream s({version, 0});
    ClosedPath2D p;
    EXPECT_EQ(codeOf([&] { p.deserializeRaw(s); }), "Incompatible_native_file_version");
    EXPECT_EQ(s.consumed(), 1u);
  }
  ForgedIStream negative({0, -3});
  ClosedPath2D p;
  EXPECT_THROW(p.deserializeRaw(negative), std::length_error);

  ClosedPath2D square;
  square.allocate(4);
  nkbase::Prop prop;
  BinaryOSerialStream os;
  square.serialize(os, prop);
  std::vector<char> bytes = os.getBuffer();
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    BinaryISerialStream is(bytes.data(), n);
    ClosedPath2D r;
    EXPECT_EQ(codeOf([&] { r.deserialize(is); }), "End_of_file_reached") << n << " bytes";
  }
  bytes[bytes.size() - 4 * 8 - 1] = 0x7f;  // the count's high byte: about two billion vertices
  BinaryISerialStream is(bytes);
  EXPECT_EQ(codeOf([&] { p.deserialize(is); }), "End_of_file_reached");
}
