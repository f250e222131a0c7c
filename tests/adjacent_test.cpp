#define QVTEST_REFUSE_HUGE_ALLOCATIONS
#include "datacarrier/adjacent.h"

#include <gtest/gtest.h>

#include <cstring>
#include <stdexcept>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::Adjacent;

namespace {

using qvtest::binaryOf;
using qvtest::codeOf;
using Pairs = std::vector<std::pair<int, int>>;

// A source without a run answers null and zero, whether or not it exists.
void expectNoRun(const Adjacent& adj, int source) {
  EXPECT_EQ(adj.getAdjacents(source), nullptr) << source;
  EXPECT_EQ(adj.getAdjacentOrientations(source), nullptr) << source;
  EXPECT_EQ(adj.getNumberOfAdjacents(source), 0) << source;
  EXPECT_EQ(adj.getStartIndexInTotalArray(source), 0) << source;
}

TEST(Adjacent, AllocateResetsEverySourceAndKeepsValues) {
  const Adjacent empty;  // no sources: answers without reading anything
  expectNoRun(empty, 7);
  EXPECT_EQ(empty.getTotalAdjacents(), nullptr);

  Adjacent adj;
  adj.allocate(1, 2);
  adj.setAdjacent(0, Pairs{{5, 1}, {6, 2}});
  adj.allocate(3, 5);
  EXPECT_EQ(adj.getNumberOfFromIndices(), 3);
  EXPECT_EQ(adj.getTotalNumberOfAdjacents(), 5);
  for (int i = 0; i < 3; ++i)
    expectNoRun(adj, i);
  EXPECT_EQ(adj.getTotalAdjacents()[1], 6);  // kept
  EXPECT_EQ(adj.getTotalAdjacents()[4], 0);  // new
  adj.setAdjacent(1, std::vector<int>{7});
  EXPECT_EQ(adj.getStartIndexInTotalArray(1), 0);   // filling restarted at 0
  EXPECT_EQ(adj.getAdjacentOrientations(1)[0], 0);  // the index overload overwrote orientation 1
}

// Braced lists of indices, of pairs and empty ones select the matching overload.
TEST(Adjacent, RunsAreFilledInCallOrder) {
  Adjacent adj;
  adj.allocate(3, 4);
  adj.setAdjacent(2, {4, 9});
  adj.setAdjacent(0, {{1, -1}});
  adj.setAdjacent(1, {});  // empty: source 1 keeps no run
  EXPECT_EQ(adj.getStartIndexInTotalArray(2), 0);
  EXPECT_EQ(adj.getStartIndexInTotalArray(0), 2);
  EXPECT_EQ(adj.getNumberOfAdjacents(2), 2);
  EXPECT_EQ(adj.getAdjacents(2)[1], 9);
  EXPECT_EQ(adj.getAdjacentOrientations(2)[0], 0);
  EXPECT_EQ(adj.getAdjacents(0)[0], 1);
  EXPECT_EQ(adj.getAdjacentOrientations(0)[0], -1);
  expectNoRun(adj, 1);

  // A second call orphans the first run and points the source at the new one.
  adj.setAdjacent(0, {8});
  EXPECT_EQ(adj.getStartIndexInTotalArray(0), 3);
  EXPECT_EQ(adj.getAdjacents(0)[0], 8);
  EXPECT_EQ(adj.getTotalAdjacents()[2], 1);
}

Adjacent sample() {
  Adjacent adj;
  adj.allocate(2, 3);
  adj.setAdjacent(1, Pairs{{4, 1}, {5, -1}});
  return adj;
}

TEST(Adjacent, DuplicateReplacesTheTargetCompletely) {
  Adjacent target;
  target.allocate(5, 10);
  target.setAdjacent(4, std::vector<int>{1, 2, 3, 4, 5, 6});
  sample().duplicate(target);
  // Every field, next free element included, equals the source's.
  EXPECT_EQ(binaryOf(target), binaryOf(sample()));
}

TEST(Adjacent, IdentityAndExactWriteSequence) {
  qvtest::RecordingOStream out;
  nkbase::Prop prop;
  sample().serializeRaw(out, prop);
  EXPECT_EQ(
      out.lines,
      qvtest::seq("unsigned 1|# version|int 2|# number of sources|int 3|"
                  "# total number of adjacents|int -1|# start index|int 0|# number of adjacent|"
                  "int 0|# start index|int 2|# number of adjacent|int 4|# adjacent index|"
                  "int 1|# adjacent orientation index|int 5|# adjacent index|int -1|"
                  "# adjacent orientation index|int 0|# adjacent index|int 0|"
                  "# adjacent orientation index|int 2|# next free element"));
  EXPECT_TRUE(Adjacent::isStaticClassID("RenderAdjacent"));  // what the geometries' readers expect
}

TEST(Adjacent, VersionZeroHasNoOrientationsOthersAreRefused) {
  qvtest::expectVersionsRefused(sample(), {2, -1});
  qvtest::ForgedIStream in({0, 1, 2, 0, 2, 7, 8, 2});
  Adjacent adj;
  adj.deserializeRaw(in);
  EXPECT_EQ(in.consumed(), in.size());
  Adjacent expected;
  expected.allocate(1, 2);
  expected.setAdjacent(0, {7, 8});  // orientations 0
  EXPECT_EQ(binaryOf(adj), binaryOf(expected));
}

TEST(Adjacent, CorruptCountsRaiseInsteadOfAllocating) {
  // The number of sources follows the class ID (4 + 14 bytes) and the version.
  std::vector<char> bytes = binaryOf(sample());
  const int huge = 1 << 30, negative = -3;
  std::memcpy(&bytes[22], &huge, 4);
  BinaryISerialStream in(bytes);
  Adjacent adj;
  EXPECT_EQ(codeOf([&] { adj.deserialize(in); }), "End_of_file_reached");
  std::memcpy(&bytes[22], &negative, 4);
  BinaryISerialStream negIn(bytes);
  EXPECT_THROW(adj.deserialize(negIn), std::length_error);

  qvtest::expectEveryTruncationRaisesEndOfFile(sample());

  // A stream that cannot tell its length cannot vouch for a count: two billion sources end
  // with the stream, not with gigabytes taken.
  qvtest::ForgedIStream unsized({1, 2000000000, 2000000000, 0, 1});
  EXPECT_EQ(codeOf([&] { adj.deserializeRaw(unsized); }), "End_of_file_reached");
}

// A run read from a stream is not checked against the array: one that starts past its end hands
// out no pointer (forming one would leave the array), one that starts inside it does, and the
// count handed out with a run never reaches past the array, so that reading
// getNumberOfAdjacents(s) entries of getAdjacents(s) stays inside it.
TEST(Adjacent, RunsReadPastTheArrayAreCutAtItsEnd) {
  qvtest::ForgedIStream in({1, 4, 2, 2, 1, 5, 1, 1, 3, -1, 2, 7, 0, 8, 1, 2});
  Adjacent adj;
  adj.deserializeRaw(in);
  EXPECT_EQ(adj.getAdjacents(0), adj.getTotalAdjacents() + 2);  // at the end: an empty range
  EXPECT_EQ(adj.getNumberOfAdjacents(0), 0);
  EXPECT_EQ(adj.getAdjacents(1), nullptr);
  EXPECT_EQ(adj.getAdjacentOrientations(1), nullptr);
  EXPECT_EQ(adj.getNumberOfAdjacents(1), 0);
  EXPECT_EQ(adj.getStartIndexInTotalArray(1), 5);
  EXPECT_EQ(adj.getAdjacents(2)[0], 8);  // three announced from position 1, one held
  EXPECT_EQ(adj.getAdjacentOrientations(2)[0], 1);
  EXPECT_EQ(adj.getNumberOfAdjacents(2), 1);
  expectNoRun(adj, 3);  // no start, whatever count the stream held
}

}  // namespace
