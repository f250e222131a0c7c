#include <gtest/gtest.h>

#include <sstream>

#include "carrierstreamchecks.h"
#include "datacarrier/boundingbox2d.h"
#include "datacarrier/idatacarrier.h"
#include "datacarrier/internal/raise.h"
#include "datacarrier/internal/selection.h"
#include "datacarrier/internal/serialio.h"
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
}

TEST(Raise, ModuleNamesComeFromTheSourcePath) {
  EXPECT_EQ(moduleNameOf("/home/x/datacarrier/adjacent.cpp"), "datacarrier/adjacent");
  EXPECT_EQ(moduleNameOf("/a/datacarrier/renderdrawgeom.h"), "datacarrier/renderdrawgeom.h");
  EXPECT_EQ(moduleNameOf("datacarrier/face2d.cpp"), "datacarrier/face2d");
  EXPECT_EQ(moduleNameOf("plain.cpp"), "plain");
  int raiseLine = 0;
  try {
    raiseLine = __LINE__ + 1;
    DC_RAISE("Invalid entity dimension");
    ADD_FAILURE() << "no exception";
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getCode(), "Invalid entity dimension");
    EXPECT_EQ(e.getModule(), "tests/carriercore_test");
    EXPECT_EQ(e.getMessage(), "");
    EXPECT_EQ(e.getLine(), raiseLine);
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

// The text form shows the labels as written, the block by indentation, and reads back.
TEST(SerialIO, NestedCarriersAreFramedByHeadingAndEmptyLabel) {
  nkbase::Prop prop;
  std::stringstream text;
  TextOSerialStream textOut(text);
  Holder().serialize(textOut, prop);
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
  std::stringstream again(text.str());
  TextISerialStream in(again);
  Holder back;
  back.box = BoundingBox2D();
  back.deserialize(in);
  EXPECT_EQ(back.box.getMaxY(), 3.0f);
}

TEST(SerialIO, VersionWindowIsInclusive) {
  for (int v : {1, 2, 3}) {
    qvtest::ForgedIStream in({v});
    EXPECT_EQ(DC_READ_VERSION(in, 1, 3), v);
  }
  for (int v : {0, 4, -1}) {
    qvtest::ForgedIStream in({v, 7});
    EXPECT_EQ(qvtest::codeOf([&] { DC_READ_VERSION(in, 1, 3); }),
              "Incompatible_native_file_version");
    EXPECT_EQ(in.consumed(), 1u);
  }
}

// The checked form of the selection driver, which the 1D and 2D geometries do not use: a
// candidate out of range raises on its dimension's line after the matches before it.
TEST(Selection, CheckedCandidatesRaiseOnTheirDimensionsLine) {
  const selection::Sites sites{9, {11, 12, 0}};
  const selection::EntityCounts counts{-1, 2, 3, 1};  // no points; dimension 3 unchecked
  const auto even = [](int, int i) { return i % 2 == 0; };
  std::vector<int> found{7};
  const auto find = [&](int dim, const std::vector<int>& candidates) {
    return qvtest::raiseSite([&] {
      selection::run("x/datacarrier/g.cpp", sites, selection::Answer::APPEND, counts, dim,
                     candidates, even, &found);
    });
  };
  EXPECT_EQ(find(2, {0, 1, 2, 3, 0}), "datacarrier/g:12 VEXAL_assertion_failure");
  EXPECT_EQ(find(1, {-1}), "datacarrier/g:11 VEXAL_assertion_failure");
  EXPECT_EQ(find(0, {}), "datacarrier/g:9 Invalid entity dimension");
  EXPECT_EQ(find(4, {0}), "datacarrier/g:9 Invalid entity dimension");
  EXPECT_EQ(find(3, {5, 0}), "none");
  EXPECT_EQ(found, (std::vector<int>{7, 0, 2, 0}));
  using selection::Answer;
  EXPECT_TRUE(selection::run("g.cpp", sites, Answer::ALL, counts, 2, {}, even));
  EXPECT_FALSE(selection::run("g.cpp", sites, Answer::ALL, counts, 3, {0, 1}, even));
  EXPECT_FALSE(selection::run("g.cpp", sites, Answer::ANY, counts, 2, {}, even));
  EXPECT_TRUE(selection::run("g.cpp", sites, Answer::ANY, counts, 2, {1, 2}, even));
}

}  // namespace
