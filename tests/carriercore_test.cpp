#include <gtest/gtest.h>

#include <sstream>

#include "datacarrier/boundingbox2d.h"
#include "datacarrier/idatacarrier.h"
#include "datacarrier/raise.h"
#include "datacarrier/serialio.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using namespace nkdatacarrier;

namespace {

TEST(IDataCarrier, TypeValuesAreTheConsumersNumbers) {
  EXPECT_EQ(IDataCarrier::DC_RENDER_DRAW, 1);
  EXPECT_EQ(IDataCarrier::DC_RENDER_GEOM, 2);
  EXPECT_EQ(IDataCarrier::DC_RENDER_MESH, 3);
  EXPECT_EQ(IDataCarrier::DC_POST_DATA, 4);
  EXPECT_EQ(IDataCarrier::DC_IMPRESSION, 9);
  struct Carrier : IDataCarrier {
    DataCarrierType getDataCarrierType() const override { return DC_POST_DATA; }
  } c;
  const IDataCarrier& base = c;
  EXPECT_EQ(base.getDataCarrierType(), 4);
}

TEST(Raise, ModuleNamesComeFromTheSourcePath) {
  EXPECT_EQ(moduleNameOf("/home/x/datacarrier/adjacent.cpp"), "datacarrier/adjacent");
  EXPECT_EQ(moduleNameOf("/a/datacarrier/renderdrawgeom.h"), "datacarrier/renderdrawgeom.h");
  EXPECT_EQ(moduleNameOf("datacarrier/face2d.cpp"), "datacarrier/face2d");
  EXPECT_EQ(moduleNameOf("plain.cpp"), "plain");
  try {
    DC_RAISE("Invalid entity dimension");
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getCode(), "Invalid entity dimension");
    EXPECT_EQ(e.getModule(), "tests/carriercore_test");
    EXPECT_EQ(e.getMessage(), "");
    EXPECT_GT(e.getLine(), 0);
  }
}

// A carrier that holds another: the heading comes first, the empty label closes the block.
struct Holder : nkbase::Serializable {
  BoundingBox2D box{0.0f, 1.0f, 2.0f, 3.0f};
  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override {
    serialio::writeNested(os, prop, "Bounding box", box);
  }
  void deserializeRaw(ISerialStream& is) override { box.deserialize(is); }
  std::string getClassID() const override { return "Holder"; }
};

TEST(SerialIO, NestedCarriersAreFramedByHeadingAndEmptyLabel) {
  qvtest::RecordingOStream out;
  nkbase::Prop prop;
  Holder().serializeRaw(out, prop);
  ASSERT_GE(out.lines.size(), 3u);
  EXPECT_EQ(out.lines[0], "# Bounding box");
  EXPECT_EQ(out.lines[1], "string RenderBoundingBox2D");
  EXPECT_EQ(out.lines.back(), "# ");

  std::stringstream text;
  TextOSerialStream textOut(text);
  Holder().serializeRaw(textOut, prop);
  EXPECT_EQ(text.str().substr(0, 46), "# \"Bounding box\"\nstring \"RenderBoundingBox2D\"\n");
}

TEST(SerialIO, VersionWindowIsInclusive) {
  for (int v : {1, 2, 3}) {
    qvtest::ForgedIStream in({v});
    EXPECT_EQ(DC_READ_VERSION(in, 1, 3), v);
  }
  for (int v : {0, 4, -1}) {
    qvtest::ForgedIStream in({v});
    EXPECT_THROW(DC_READ_VERSION(in, 1, 3), nkbase::Exception);
  }
}

}  // namespace

namespace {

TEST(SerialIO, TextShowsNestingByIndentation) {
  std::stringstream text;
  TextOSerialStream out(text);
  nkbase::Prop prop;
  Holder().serialize(out, prop);
  std::string line;
  std::vector<std::string> lines;
  while (std::getline(text, line))
    lines.push_back(line);
  ASSERT_GE(lines.size(), 6u);
  EXPECT_EQ(lines[0], "string \"Holder\"");
  EXPECT_EQ(lines[1], "  # \"Bounding box\"");
  EXPECT_EQ(lines[2], "  string \"RenderBoundingBox2D\"");
  EXPECT_EQ(lines[3], "    unsigned 0");
  EXPECT_EQ(lines.back(), "  # \"\"");

  // The indented form reads back.
  std::stringstream again(text.str());
  TextISerialStream in(again);
  Holder back;
  back.box = BoundingBox2D();
  back.deserialize(in);
  EXPECT_EQ(back.box.getMaxY(), 3.0f);
}

}  // namespace
