#include "datacarrier/cgsymboldata.h"

#include <gtest/gtest.h>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

using nkdatacarrier::CgSymbolData;
using qvtest::ForgedIStream;

namespace {

// Two integers out of key order, a string with a blank, one double, an empty and a full vector,
// and "k" held both as an int and as a vector.
CgSymbolData sampleBag() {
  CgSymbolData bag;
  bag.setInt("k", 2);
  bag.setInt("a", -1);
  bag.setString("s", "x y");
  bag.setDouble("d", 0.5);
  bag.setVectorDouble("k", {1.5, -2.0});
  bag.setVectorDouble("e", {});
  return bag;
}

TEST(CgSymbolDataBag, GotSpansAllMapsAndSettersOverwriteWithinOne) {
  CgSymbolData bag;
  EXPECT_FALSE(bag.got("n"));
  bag.setVectorDouble("v", {1.0});
  EXPECT_TRUE(bag.got("v"));
  bag.setInt("n", 1);
  bag.setInt("n", 5);
  bag.setDouble("n", 2.25);
  EXPECT_EQ(bag.getInt("n"), 5);
  EXPECT_EQ(bag.getDouble("n"), 2.25);
  // A key the typed map lacks gives an empty value and is not inserted by asking.
  EXPECT_EQ(bag.getString("n"), "");
  EXPECT_TRUE(bag.getVectorDouble("n").empty());
  EXPECT_EQ(bag.getInt("x"), 0);
  EXPECT_FALSE(bag.got("x"));
}

TEST(CgSymbolDataSerialization, WritesMapsInKeyOrderWithOnlyTheVersionLabel) {
  // The header, then the integers, strings, doubles and vectors, each a count and pairs.
  EXPECT_EQ(qvtest::writtenRaw(sampleBag()),
            qvtest::seq("unsigned 1|# version|int 2|string a|int -1|string k|int 2|int 1|string s|"
                        "string x y|int 1|string d|double 0.5|int 2|string e|unsigned 0|string k|"
                        "unsigned 2|double 1.5|double -2"));
  // Both stream forms read back every map, the empty vector included.
  for (const CgSymbolData& copy : qvtest::streamCopies(sampleBag()))
    EXPECT_EQ(qvtest::writtenRaw(copy), qvtest::writtenRaw(sampleBag()));
}

// The version is read and not checked; a bag read from a stream loses what it held before.
TEST(CgSymbolDataSerialization, AnyVersionIsReadAndReplacesTheContent) {
  for (int version : {0, 2, -7}) {
    ForgedIStream is({version, 1, std::string("n"), 4, 0, 0, 0});
    CgSymbolData bag;
    bag.setString("old", "gone");
    bag.deserializeRaw(is);
    EXPECT_EQ(is.consumed(), 7u);
    EXPECT_EQ(bag.getInt("n"), 4);
    EXPECT_FALSE(bag.got("old"));
  }
}

TEST(CgSymbolDataBadInput, CountsBeyondTheStreamRaiseAndNegativeOnesHoldNothing) {
  qvtest::expectEveryTruncationRaisesEndOfFile(sampleBag());
  // Version 1 and an integer count of two billion in a twelve-byte stream.
  BinaryOSerialStream os;
  os << 1u << 2000000000 << 0;
  BinaryISerialStream is(os.getBuffer());
  CgSymbolData bag;
  EXPECT_EQ(qvtest::codeOf([&] { bag.deserializeRaw(is); }), "End_of_file_reached");

  // Reading never raises on its own account: a negative count is a map with no entries.
  ForgedIStream negative({1, -1, -5, 1, std::string("d"), 2.5, -2147483647 - 1});
  EXPECT_NO_THROW(bag.deserializeRaw(negative));
  EXPECT_EQ(negative.consumed(), negative.size());
  EXPECT_TRUE(bag.got("d"));
  EXPECT_EQ(bag.getDouble("d"), 2.5);
}

}  // namespace
