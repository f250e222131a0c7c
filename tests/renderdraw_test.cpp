// The drawing objects RenderDraw1D and RenderDraw2D: identity, cloning, snapping coordinates
// and their outer serialized frame.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <stdexcept>

// The carriers first: the stream checks rely on their includes for nkbase::Prop.
#include "datacarrier/renderdraw1d.h"
#include "datacarrier/renderdraw2d.h"
// clang-format off
#include "carrierstreamchecks.h"
// clang-format on
#include "recordingstream.h"

using nkdatacarrier::BoundingBox1D;
using nkdatacarrier::IDataCarrier;
using nkdatacarrier::RenderDraw1D;
using nkdatacarrier::RenderDraw2D;
using nkdatacarrier::RenderDrawGeom;
using nkdatacarrier::RenderDrawGeom1D;
using nkdatacarrier::RenderDrawGeom2D;
using qvtest::codeOf;
using qvtest::ForgedIStream;

namespace {

using Snap = std::vector<std::vector<double>>;
using Lines = std::vector<std::string>;

std::string raiseSite(const std::function<void()>& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode();
  }
  return "none";
}

Lines recorded(const nkbase::Serializable& s) {
  qvtest::RecordingOStream os;
  nkbase::Prop prop;
  s.serializeRaw(os, prop);
  return os.lines;
}

Lines head(const Lines& lines, std::size_t n) {
  return Lines(lines.begin(), lines.begin() + std::min(n, lines.size()));
}

Lines tail(const Lines& lines, std::size_t n) {
  return Lines(lines.end() - std::min(n, lines.size()), lines.end());
}

}  // namespace

TEST(RenderDrawIdentity, ClassIdsTypesAndCarrierType) {
  const RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_A, 4);
  const RenderDraw2D d2(RenderDrawGeom2D::Type2D(9), -2);
  const RenderDrawGeom& g1 = d1;
  const RenderDrawGeom& g2 = d2;
  EXPECT_EQ(g1.getClassID(), "RenderDraw1D");
  EXPECT_EQ(g2.getClassID(), "RenderDraw2D");
  EXPECT_EQ(RenderDraw1D::getStaticClassID(), "RenderDraw1D");
  EXPECT_TRUE(RenderDraw2D::isStaticClassID("RenderDraw2D"));
  EXPECT_FALSE(RenderDraw2D::isStaticClassID("renderdraw2d"));
  EXPECT_FALSE(RenderDraw1D::isStaticClassID("RenderDraw1D "));
  EXPECT_TRUE(g1.isClassID("RenderDraw1D"));
  EXPECT_EQ(RenderDraw1D::VERSION, 0u);
  EXPECT_EQ(RenderDraw2D::VERSION, 0u);
  EXPECT_EQ(d1.getDataCarrierType(), IDataCarrier::DC_RENDER_DRAW);
  EXPECT_EQ(static_cast<const IDataCarrier&>(d2).getDataCarrierType(), 1);
  EXPECT_EQ(int(d1.getObjectType()), 10);
  EXPECT_EQ(d1.getId(), 4);
  EXPECT_EQ(int(d2.getObjectType()), 9);
  EXPECT_EQ(d2.getId(), -2);
  const RenderDraw2D unset;
  EXPECT_EQ(unset.getObjectType(), RenderDrawGeom::UNSET);
  EXPECT_EQ(unset.getId(), 0);
  EXPECT_TRUE(unset.getSnapCoord().empty());
}

TEST(RenderDrawSnapping, SettersCopyTheirArgument) {
  RenderDraw1D d1;
  std::vector<double> values{1, 2};
  d1.setSnapCoord(values);
  values[0] = 5;
  EXPECT_EQ(d1.getSnapCoord(), (std::vector<double>{1, 2}));
  RenderDraw2D d2;
  Snap snap{{1}, {2}};
  d2.setSnapCoord(snap);
  snap[1][0] = 7;
  EXPECT_EQ(d2.getSnapCoord(), (Snap{{1}, {2}}));
}

TEST(RenderDrawCopies, CloneIsAnIndependentObjectOfTheSameClass) {
  RenderDraw2D d2(RenderDrawGeom2D::DRAW_2D_A, 8);
  d2.allocate(0, 0, 1);
  d2.point(0).setVertex(1, 2);
  d2.setSnapCoord(Snap{{0.5}, {1.5}});
  const nkboost::shared_ptr<RenderDrawGeom> copy = d2.clone();
  EXPECT_EQ(copy->getClassID(), "RenderDraw2D");
  EXPECT_EQ(copy.use_count(), 1);
  auto c2 = nkboost::dynamic_pointer_cast<RenderDraw2D>(copy);
  ASSERT_TRUE(c2);
  c2->setSnapCoord(Snap{});
  c2->point(0).setVertex(3, 4);
  EXPECT_EQ(d2.getSnapCoord(), (Snap{{0.5}, {1.5}}));
  EXPECT_EQ(d2.getPoint(0).getVertex().x, 1.0f);
  EXPECT_EQ(c2->getId(), 8);

  RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_B, 1);
  d1.setSnapCoord({3});
  const auto c1 = nkboost::dynamic_pointer_cast<RenderDraw1D>(d1.clone());
  ASSERT_TRUE(c1);
  EXPECT_EQ(c1->getClassID(), "RenderDraw1D");
  EXPECT_EQ(c1->getSnapCoord(), (std::vector<double>{3}));
}

TEST(RenderDrawSerialization, FramesDifferByOneEmptyLabel) {
  RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_A, 1);
  d1.setSnapCoord({1, 2.5, -3});
  const Lines l1 = recorded(d1);
  EXPECT_EQ(head(l1, 5), (Lines{"unsigned 0", "# version", "# ", "unsigned 0", "# version"}));
  EXPECT_EQ(tail(l1, 10),
            (Lines{"# Number of snapping points", "int 3", "# ", "# Snapping coordinates",
                   "double 1", "# ", "double 2.5", "# ", "double -3", "# "}));

  RenderDraw2D d2(RenderDrawGeom2D::DRAW_2D_A, 1);
  d2.setSnapCoord(Snap{{1, 3}, {2, 4}});
  const Lines l2 = recorded(d2);
  EXPECT_EQ(head(l2, 5), (Lines{"unsigned 0", "# version", "unsigned 0", "# version", "int 7"}));
  EXPECT_EQ(tail(l2, 10),
            (Lines{"# Number of snapping points", "int 2", "# ", "# Snapping coordinates",
                   "double 1", "double 2", "# ", "double 3", "double 4", "# "}));
}

TEST(RenderDrawSerialization, EmptyAndMalformedSnappingLists) {
  RenderDraw2D d2;
  const Lines none{"# Number of snapping points", "int 0", "# ", "# Snapping coordinates"};
  EXPECT_EQ(tail(recorded(d2), 4), none);
  // An empty list reads back as two empty vectors.
  EXPECT_EQ(qvtest::streamCopies(d2)[0].getSnapCoord(), Snap(2));
  // Only complete points are written: a lone x vector has none, unequal vectors the shorter.
  d2.setSnapCoord(Snap{{1, 2}});
  EXPECT_EQ(tail(recorded(d2), 4), none);
  d2.setSnapCoord(Snap{{1, 2, 3}, {4}});
  EXPECT_EQ(tail(recorded(d2), 7), (Lines{"# Number of snapping points", "int 1", "# ",
                                          "# Snapping coordinates", "double 1", "double 4", "# "}));
  RenderDraw1D d1;
  EXPECT_EQ(tail(recorded(d1), 4), none);
  EXPECT_TRUE(qvtest::streamCopies(d1)[1].getSnapCoord().empty());
}

TEST(RenderDrawSerialization, RoundTripsKeepEveryValueBitForBit) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_A, 6);
  d1.setLabel("line");
  d1.allocate(0, 1);
  d1.point(0).setVertex(2.5f);
  d1.setBoundingBox1D(BoundingBox1D(2.5f, 2.5f));
  d1.setSnapCoord({0.1, -1e300, 5e-324});
  for (const RenderDraw1D& r : qvtest::streamCopies(d1)) {
    EXPECT_EQ(r.getSnapCoord(), d1.getSnapCoord());
    EXPECT_EQ(r.getLabel(), "line");
    EXPECT_EQ(r.getPoint(0).getVertex().x, 2.5f);
  }
  RenderDraw2D d2(RenderDrawGeom2D::DRAW_2D_B, 6);
  d2.setSnapCoord(Snap{{nan, 1.0 / 3}, {-0.0, 2}});
  for (const RenderDraw2D& r : qvtest::streamCopies(d2)) {
    ASSERT_EQ(r.getSnapCoord().size(), 2u);
    EXPECT_TRUE(std::isnan(r.getSnapCoord()[0][0]));
    EXPECT_EQ(r.getSnapCoord()[0][1], 1.0 / 3);
    EXPECT_TRUE(std::signbit(r.getSnapCoord()[1][0]));
    EXPECT_EQ(r.getSnapCoord()[1][1], 2.0);
    EXPECT_EQ(int(r.getObjectType()), 9);
  }
  qvtest::expectEveryTruncationRaisesEndOfFile(d1);
  qvtest::expectEveryTruncationRaisesEndOfFile(d2);
}

TEST(RenderDrawSerialization, ReadingReplacesTheSnappingList) {
  RenderDraw2D d2;
  d2.setSnapCoord(Snap{{1}, {2}});
  const std::vector<char> bytes = qvtest::binaryOf(d2);
  RenderDraw2D used;
  used.setSnapCoord(Snap{{9, 9, 9}, {9, 9, 9}, {9}});
  BinaryISerialStream is(bytes);
  used.deserialize(is);
  EXPECT_EQ(used.getSnapCoord(), (Snap{{1}, {2}}));
  RenderDraw1D d1;
  d1.setSnapCoord({4, 4, 4});
  const std::vector<char> empty = qvtest::binaryOf(RenderDraw1D());
  BinaryISerialStream none(empty);
  d1.deserialize(none);
  EXPECT_TRUE(d1.getSnapCoord().empty());
}

TEST(RenderDrawSerialization, NewerVersionsAreRefusedBeforeAnythingIsRead) {
  RenderDraw1D d1(RenderDrawGeom1D::DRAW_1D_A, 3);
  d1.setSnapCoord({1});
  ForgedIStream s1({1, 0, 10, 99});
  EXPECT_EQ(raiseSite([&] { d1.deserializeRaw(s1); }),
            "datacarrier/renderdraw1d:77 Incompatible_native_file_version");
  EXPECT_EQ(s1.consumed(), 1u);
  EXPECT_EQ(d1.getId(), 3);
  EXPECT_EQ(d1.getSnapCoord(), (std::vector<double>{1}));

  RenderDraw2D d2(RenderDrawGeom2D::DRAW_2D_A, 3);
  ForgedIStream s2({1, 0, 7, 99});
  EXPECT_EQ(raiseSite([&] { d2.deserializeRaw(s2); }),
            "datacarrier/renderdraw2d:70 Incompatible_native_file_version");
  EXPECT_EQ(s2.consumed(), 1u);
  EXPECT_EQ(d2.getId(), 3);
  ForgedIStream negative({-1});
  EXPECT_EQ(codeOf([&] { d2.deserializeRaw(negative); }), "Incompatible_native_file_version");
}

TEST(RenderDrawSerialization, CorruptSnappingCountsAllocateNothing) {
  // An empty drawing's stream ends with its snapping count; a negative or huge one is refused.
  for (unsigned char high : {0x80, 0x20}) {
    std::vector<char> b1 = qvtest::binaryOf(RenderDraw1D());
    b1.back() = static_cast<char>(high);
    BinaryISerialStream is1(b1);
    RenderDraw1D r1;
    std::vector<char> b2 = qvtest::binaryOf(RenderDraw2D());
    b2.back() = static_cast<char>(high);
    BinaryISerialStream is2(b2);
    RenderDraw2D r2;
    if (high == 0x80) {
      EXPECT_THROW(r1.deserialize(is1), std::length_error);
      EXPECT_THROW(r2.deserialize(is2), std::length_error);
    } else {
      EXPECT_EQ(codeOf([&] { r1.deserialize(is1); }), "End_of_file_reached");
      EXPECT_EQ(codeOf([&] { r2.deserialize(is2); }), "End_of_file_reached");
    }
    EXPECT_TRUE(r1.getSnapCoord().empty());
    EXPECT_TRUE(r2.getSnapCoord().empty());
  }
}
