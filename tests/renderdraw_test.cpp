// The drawing objects RenderDraw1D and RenderDraw2D: identity, cloning, snapping coordinates
// and their outer serialized frame (the full write sequences are in the geometries' tests).
#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

// The carriers first: the stream checks rely on their includes for nkbase::Prop.
#include "datacarrier/renderdraw1d.h"
#include "datacarrier/renderdraw2d.h"
// clang-format off
#include "carrierstreamchecks.h"
// clang-format on
#include "recordingstream.h"

using namespace nkdatacarrier;
using qvtest::codeOf;
using qvtest::ForgedIStream;

namespace {

using qvtest::written;

using Snap = std::vector<std::vector<double>>;
using Lines = std::vector<std::string>;

// The last n lines that s writes.
Lines tailOf(const nkbase::Serializable& s, std::size_t n) {
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  s.serializeRaw(os, prop);
  return Lines(os.lines.end() - std::min(n, os.lines.size()), os.lines.end());
}

}  // namespace

TEST(RenderDrawIdentity, ClassIdsTypesAndCarrierType) {
  const RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_A, 4);
  const RenderDraw2D d2(RenderDrawGeom2D::Type2D(9), -2);
  EXPECT_EQ(d1.getDataCarrierType(), IDataCarrier::DC_RENDER_DRAW);
  EXPECT_EQ(static_cast<const IDataCarrier&>(d2).getDataCarrierType(), 1);
  // getClassID, type and identifier are pinned by the write sequences of the geometries.
  EXPECT_EQ(RenderDraw2D().getObjectType(), RenderDrawGeom::UNSET);
  EXPECT_TRUE(RenderDraw2D().getSnapCoord().empty());
}

TEST(RenderDrawCopies, ClonesWriteTheSameStream) {
  RenderDraw2D d2(RenderDrawGeom2D::DRAW_2D_A, 8);
  d2.allocate(0, 0, 1);
  d2.point(0).setVertex(1, 2);
  d2.setSnapCoord(Snap{{0.5}, {1.5}});
  EXPECT_EQ(qvtest::binaryOf(*d2.clone()), qvtest::binaryOf(d2));

  RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_B, 1);
  d1.setSnapCoord({3});
  EXPECT_EQ(qvtest::binaryOf(*d1.clone()), qvtest::binaryOf(d1));
}

TEST(RenderDrawSerialization, EmptyAndMalformedSnappingLists) {
  const Lines none{"# Number of snapping points", "int 0", "# ", "# Snapping coordinates"};
  EXPECT_EQ(tailOf(RenderDraw1D(), 4), none);
  RenderDraw2D d2;
  EXPECT_EQ(tailOf(d2, 4), none);
  // Only complete points are written: a lone x vector has none, unequal vectors the shorter.
  d2.setSnapCoord(Snap{{1, 2}});
  EXPECT_EQ(tailOf(d2, 4), none);
  d2.setSnapCoord(Snap{{1, 2, 3}, {4}});
  EXPECT_EQ(tailOf(d2, 7), (Lines{"# Number of snapping points", "int 1", "# ",
                                  "# Snapping coordinates", "double 1", "double 4", "# "}));
  // An empty list reads back as two empty vectors in 2D, as an empty one in 1D.
  EXPECT_EQ(qvtest::streamCopies(RenderDraw2D())[1].getSnapCoord(), Snap(2));
  EXPECT_TRUE(qvtest::streamCopies(RenderDraw1D())[1].getSnapCoord().empty());
}

TEST(RenderDrawSerialization, ReadingReplacesTheSnappingList) {
  RenderDraw2D d2;
  d2.setSnapCoord(Snap{{1}, {2}});
  const std::vector<char> bytes = qvtest::binaryOf(d2);
  d2.setSnapCoord(Snap{{9, 9, 9}, {9, 9, 9}, {9}});
  BinaryISerialStream is(bytes);
  d2.deserialize(is);
  EXPECT_EQ(d2.getSnapCoord(), (Snap{{1}, {2}}));
  RenderDraw1D d1;
  const std::vector<char> empty = qvtest::binaryOf(d1);
  d1.setSnapCoord({4, 4, 4});
  BinaryISerialStream none(empty);
  d1.deserialize(none);
  EXPECT_TRUE(d1.getSnapCoord().empty());
}

TEST(RenderDrawSerialization, RefusedAndCorruptStreamsChangeNothing) {
  // A newer version is refused before anything else is read; so is a negative one.
  RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_A, 3);
  d1.setSnapCoord({1});
  qvtest::expectVersionsRefused(d1, {1, -1}, "datacarrier/renderdraw1d:77");
  qvtest::expectVersionsRefused(RenderDraw2D(RenderDrawGeom2D::DRAW_2D_A, 3), {1, -1},
                                "datacarrier/renderdraw2d:70");

  // An empty drawing's stream ends with its snapping count: make it negative, then huge.
  const auto corrupt = [](auto empty) {
    std::vector<char> bytes = qvtest::binaryOf(empty);
    bytes.back() = static_cast<char>(0x80);
    BinaryISerialStream negative(bytes);
    EXPECT_THROW(empty.deserialize(negative), std::length_error);
    bytes.back() = 0x20;
    BinaryISerialStream huge(bytes);
    EXPECT_EQ(codeOf([&] { empty.deserialize(huge); }), "End_of_file_reached");
    EXPECT_TRUE(empty.getSnapCoord().empty());
  };
  corrupt(RenderDraw1D());
  corrupt(RenderDraw2D());
}

// A stream that cannot tell its length cannot vouch for a count: two billion points, curves,
// faces or snapping points end with the stream, not with gigabytes taken.
TEST(RenderDrawSerialization, UnsizedStreamsWithHugeCountsEndWithTheStream) {
  using Values = std::vector<ForgedIStream::Value>;
  const int huge = 2000000000;
  // Versions, type, identifier, label and bounding box of a 2D drawing, then `rest`.
  auto drawing = [](const Values& rest) {
    Values v = {0,    0,    7,    1,   std::string("x"), std::string("RenderBoundingBox2D"), 0,
                0.0f, 1.0f, 0.0f, 1.0f};
    v.insert(v.end(), rest.begin(), rest.end());
    return ForgedIStream(v);
  };
  Values noEntities = {0, 0, 0};
  for (int r = 0; r < 6; ++r) {
    noEntities.insert(noEntities.end(), {std::string("RenderAdjacent"), 1, 0, 0, 0});
  }
  Values hugeSnap = noEntities;
  hugeSnap.push_back(huge);
  for (const Values& rest :
       {Values{huge, 0, 0, 1.0f, 2.0f}, Values{0, huge, 0}, Values{0, 0, huge}, hugeSnap}) {
    ForgedIStream in = drawing(rest);
    RenderDraw2D g;
    EXPECT_EQ(codeOf([&] { g.deserializeRaw(in); }), "End_of_file_reached");
  }
}
