#include "datacarrier/adjacent.h"

#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <stdexcept>

#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::Adjacent;

namespace {

using Pairs = std::vector<std::pair<int, int>>;

TEST(Adjacent, AllocatedSourcesHaveNoRuns) {
  Adjacent adj;
  adj.allocate(3, 5);
  EXPECT_EQ(adj.getNumberOfFromIndices(), 3);
  EXPECT_EQ(adj.getTotalNumberOfAdjacents(), 5);
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(adj.getAdjacents(i), nullptr);
    EXPECT_EQ(adj.getAdjacentOrientations(i), nullptr);
    EXPECT_EQ(adj.getNumberOfAdjacents(i), 0);
    EXPECT_EQ(adj.getStartIndexInTotalArray(i), 0);
  }
  ASSERT_NE(adj.getTotalAdjacents(), nullptr);
  EXPECT_EQ(adj.getTotalAdjacents()[4], 0);
}

TEST(Adjacent, NoSourcesAnswerWithoutReading) {
  const Adjacent empty;
  EXPECT_EQ(empty.getNumberOfAdjacents(7), 0);
  EXPECT_EQ(empty.getAdjacents(7), nullptr);
  EXPECT_EQ(empty.getAdjacentOrientations(7), nullptr);
  EXPECT_EQ(empty.getStartIndexInTotalArray(7), 0);
  EXPECT_EQ(empty.getTotalAdjacents(), nullptr);
}

TEST(Adjacent, RunsAreFilledInCallOrder) {
  Adjacent adj;
  adj.allocate(3, 4);
  adj.setAdjacent(2, std::vector<int>{4, 9});
  adj.setAdjacent(0, Pairs{{1, -1}});
  adj.setAdjacent(1, std::vector<int>{});  // empty: source 1 keeps no run
  EXPECT_EQ(adj.getStartIndexInTotalArray(2), 0);
  EXPECT_EQ(adj.getStartIndexInTotalArray(0), 2);
  EXPECT_EQ(adj.getNumberOfAdjacents(2), 2);
  EXPECT_EQ(adj.getAdjacents(2)[1], 9);
  EXPECT_EQ(adj.getAdjacentOrientations(2)[0], 0);
  EXPECT_EQ(adj.getAdjacents(0)[0], 1);
  EXPECT_EQ(adj.getAdjacentOrientations(0)[0], -1);
  EXPECT_EQ(adj.getAdjacents(1), nullptr);

  // A second call orphans the first run and points the source at the new one.
  adj.setAdjacent(0, std::vector<int>{8});
  EXPECT_EQ(adj.getStartIndexInTotalArray(0), 3);
  EXPECT_EQ(adj.getTotalAdjacents()[2], 1);
}

TEST(Adjacent, BracedListsOfIndicesAreRuns) {
  // A braced list of one index or none fits both vector overloads equally well.
  Adjacent adj;
  adj.allocate(3, 3);
  adj.setAdjacent(2, {4, 9});
  adj.setAdjacent(0, {1});
  adj.setAdjacent(1, {});
  EXPECT_EQ(adj.getStartIndexInTotalArray(0), 2);
  EXPECT_EQ(adj.getAdjacents(0)[0], 1);
  EXPECT_EQ(adj.getAdjacentOrientations(0)[0], 0);
  EXPECT_EQ(adj.getAdjacents(1), nullptr);
  EXPECT_EQ(adj.getAdjacents(2)[1], 9);

  adj.allocate(2, 3);
  adj.setAdjacent(0, {{7, -1}});  // one (index, orientation) pair
  adj.setAdjacent(1, {{8, 2}, {6, 1}});
  EXPECT_EQ(adj.getAdjacentOrientations(0)[0], -1);
  EXPECT_EQ(adj.getAdjacents(1)[1], 6);
  EXPECT_EQ(adj.getAdjacentOrientations(1)[0], 2);
}

TEST(Adjacent, ReallocationResetsSourcesButKeepsValues) {
  Adjacent adj;
  adj.allocate(1, 2);
  adj.setAdjacent(0, Pairs{{5, 1}, {6, 2}});
  adj.allocate(2, 3);
  EXPECT_EQ(adj.getAdjacents(0), nullptr);
  EXPECT_EQ(adj.getTotalAdjacents()[1], 6);
  EXPECT_EQ(adj.getTotalAdjacents()[2], 0);
  adj.setAdjacent(1, std::vector<int>{7});
  EXPECT_EQ(adj.getStartIndexInTotalArray(1), 0);  // filling restarted at 0
}

TEST(Adjacent, DuplicateReplacesTheTargetCompletely) {
  Adjacent src;
  src.allocate(2, 3);
  src.setAdjacent(1, Pairs{{4, 1}, {5, -1}});
  Adjacent target;
  target.allocate(5, 10);
  target.setAdjacent(4, std::vector<int>{1, 2, 3, 4, 5, 6});
  src.duplicate(target);
  EXPECT_EQ(target.getNumberOfFromIndices(), 2);
  EXPECT_EQ(target.getTotalNumberOfAdjacents(), 3);
  EXPECT_EQ(target.getAdjacents(1)[1], 5);
  EXPECT_EQ(target.getAdjacentOrientations(1)[1], -1);
  // Next free element came along: the next run starts after the copied one.
  target.setAdjacent(0, std::vector<int>{9});
  EXPECT_EQ(target.getStartIndexInTotalArray(0), 2);
}

Adjacent sample() {
  Adjacent adj;
  adj.allocate(2, 3);
  adj.setAdjacent(1, Pairs{{4, 1}, {5, -1}});
  return adj;
}

TEST(Adjacent, WritesTheExactSequence) {
  qvtest::RecordingOStream out;
  nkbase::Prop prop;
  sample().serializeRaw(out, prop);
  EXPECT_EQ(out.lines, (std::vector<std::string>{"unsigned 1", "# version",
                                                 "int 2",      "# number of sources",
                                                 "int 3",      "# total number of adjacents",
                                                 "int -1",     "# start index",
                                                 "int 0",      "# number of adjacent",
                                                 "int 0",      "# start index",
                                                 "int 2",      "# number of adjacent",
                                                 "int 4",      "# adjacent index",
                                                 "int 1",      "# adjacent orientation index",
                                                 "int 5",      "# adjacent index",
                                                 "int -1",     "# adjacent orientation index",
                                                 "int 0",      "# adjacent index",
                                                 "int 0",      "# adjacent orientation index",
                                                 "int 2",      "# next free element"}));
}

void expectSample(const Adjacent& a) {
  EXPECT_EQ(a.getNumberOfFromIndices(), 2);
  EXPECT_EQ(a.getTotalNumberOfAdjacents(), 3);
  EXPECT_EQ(a.getAdjacents(0), nullptr);
  EXPECT_EQ(a.getAdjacents(1)[1], 5);
  EXPECT_EQ(a.getAdjacentOrientations(1)[1], -1);
}

TEST(Adjacent, RoundTripsThroughBinaryAndText) {
  nkbase::Prop prop;
  BinaryOSerialStream bin;
  sample().serialize(bin, prop);
  BinaryISerialStream binIn(bin.getBuffer());
  Adjacent a;
  a.deserialize(binIn);
  expectSample(a);
  EXPECT_EQ(binIn.available(), 0u);

  std::stringstream text;
  TextOSerialStream textOut(text);
  sample().serialize(textOut, prop);
  TextISerialStream textIn(text);
  Adjacent b;
  b.deserialize(textIn);
  expectSample(b);
}

TEST(Adjacent, VersionZeroHasNoOrientations) {
  qvtest::ForgedIStream in({0, 1, 2, 0, 2, 7, 8, 2});
  Adjacent adj;
  adj.deserializeRaw(in);
  EXPECT_EQ(in.consumed(), in.size());
  EXPECT_EQ(adj.getAdjacents(0)[1], 8);
  EXPECT_EQ(adj.getAdjacentOrientations(0)[0], 0);
  EXPECT_EQ(adj.getAdjacentOrientations(0)[1], 0);
}

TEST(Adjacent, RefusedVersionsConsumeNothingFurther) {
  for (int version : {2, -1}) {
    qvtest::ForgedIStream in({version, 1, 1, 0, 1, 3, 0, 1});
    Adjacent adj = sample();
    try {
      adj.deserializeRaw(in);
      FAIL() << "version " << version << " accepted";
    } catch (const nkbase::Exception& e) {
      EXPECT_EQ(e.getCode(), "Incompatible_native_file_version");
    }
    EXPECT_EQ(in.consumed(), 1u);
    expectSample(adj);
  }
}

TEST(Adjacent, CorruptCountsRaiseInsteadOfAllocating) {
  nkbase::Prop prop;
  BinaryOSerialStream bin;
  sample().serializeRaw(bin, prop);
  std::vector<char> bytes = bin.getBuffer();
  // The number of sources is the int after the version.
  const int huge = 1 << 30;
  std::memcpy(&bytes[4], &huge, 4);
  BinaryISerialStream in(bytes);
  Adjacent adj;
  try {
    adj.deserializeRaw(in);
    FAIL() << "corrupt count accepted";
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getCode(), "End_of_file_reached");
  }

  const int negative = -3;
  std::memcpy(&bytes[4], &negative, 4);
  BinaryISerialStream negIn(bytes);
  EXPECT_THROW(adj.deserializeRaw(negIn), std::length_error);

  // Every truncation point raises end of file.
  const std::vector<char>& full = bin.getBuffer();
  for (std::size_t cut = 4; cut < full.size(); ++cut) {
    BinaryISerialStream cutIn(full.data(), cut);
    Adjacent c;
    try {
      c.deserializeRaw(cutIn);
      FAIL() << "truncation at " << cut << " accepted";
    } catch (const nkbase::Exception& e) {
      EXPECT_EQ(e.getCode(), "End_of_file_reached");
    }
  }
}

TEST(Adjacent, ClassIdentityIsCaseSensitive) {
  EXPECT_TRUE(Adjacent::isStaticClassID("RenderAdjacent"));
  EXPECT_FALSE(Adjacent::isStaticClassID("renderadjacent"));
  EXPECT_FALSE(Adjacent::isStaticClassID("RenderAdjacent "));
  EXPECT_EQ(Adjacent::VERSION, 1u);
}

}  // namespace
