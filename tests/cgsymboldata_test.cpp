#include "datacarrier/cgsymboldata.h"

#include <gtest/gtest.h>

#include <sstream>
#include <stdexcept>

#include "qvutil/binarystream.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

using nkdatacarrier::CgSymbolData;
using qvtest::ForgedIStream;
using qvtest::RecordingOStream;
using Vec = std::vector<double>;

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

void expectSampleBag(const CgSymbolData& bag) {
  EXPECT_EQ(bag.getInt("a"), -1);
  EXPECT_EQ(bag.getInt("k"), 2);
  EXPECT_EQ(bag.getString("s"), "x y");
  EXPECT_EQ(bag.getDouble("d"), 0.5);
  EXPECT_EQ(bag.getVectorDouble("k"), (Vec{1.5, -2.0}));
  EXPECT_TRUE(bag.got("e"));
  EXPECT_TRUE(bag.getVectorDouble("e").empty());
}

std::vector<char> binaryOf(const CgSymbolData& bag) {
  nkbase::Prop prop;
  BinaryOSerialStream os;
  bag.serialize(os, prop);
  return os.getBuffer();
}

}  // namespace

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
  nkbase::Prop prop;
  RecordingOStream os;
  sampleBag().serializeRaw(os, prop);
  const std::vector<std::string> expected = {
      "unsigned 1", "# version",                                          // header
      "int 2",      "string a",  "int -1",     "string k", "int 2",       // integers
      "int 1",      "string s",  "string x y",                            // strings
      "int 1",      "string d",  "double 0.5",                            // doubles
      "int 2",      "string e",  "unsigned 0", "string k", "unsigned 2",  // vectors
      "double 1.5", "double -2"};
  EXPECT_EQ(os.lines, expected);
}

TEST(CgSymbolDataSerialization, BinaryRoundTripReplacesPreviousContent) {
  const std::vector<char> bytes = binaryOf(sampleBag());
  CgSymbolData back;
  back.setString("old", "gone");
  BinaryISerialStream is(bytes);
  back.deserialize(is);
  EXPECT_EQ(is.available(), 0u);
  expectSampleBag(back);
  EXPECT_FALSE(back.got("old"));
}

TEST(CgSymbolDataSerialization, TextRoundTrip) {
  nkbase::Prop prop;
  std::ostringstream text;
  TextOSerialStream os(text);
  sampleBag().serialize(os, prop);
  std::istringstream in(text.str());
  TextISerialStream is(in);
  CgSymbolData back;
  back.deserialize(is);
  expectSampleBag(back);
}

TEST(CgSymbolDataSerialization, AnyVersionIsRead) {
  for (int version : {0, 2, -7}) {
    ForgedIStream is({version, 1, std::string("n"), 4, 0, 0, 0});
    CgSymbolData bag;
    bag.deserializeRaw(is);
    EXPECT_EQ(is.consumed(), 7u);
    EXPECT_EQ(bag.getInt("n"), 4);
  }
}

TEST(CgSymbolDataBadInput, EveryTruncationRaises) {
  const std::vector<char> bytes = binaryOf(sampleBag());
  for (std::size_t size = 0; size < bytes.size(); ++size) {
    BinaryISerialStream is(bytes.data(), size);
    CgSymbolData bag;
    EXPECT_THROW(bag.deserialize(is), nkbase::Exception) << "cut at " << size;
  }
}

TEST(CgSymbolDataBadInput, CountsBeyondTheStreamRaiseEndOfFile) {
  // Version 1 and an integer count of two billion in a twelve-byte stream.
  BinaryOSerialStream os;
  os << 1u << 2000000000 << 0;
  BinaryISerialStream is(os.getBuffer());
  CgSymbolData bag;
  try {
    bag.deserializeRaw(is);
    FAIL() << "no exception";
  } catch (const nkbase::Exception& e) {
    EXPECT_EQ(e.getCode(), "End_of_file_reached");
  }
}

TEST(CgSymbolDataBadInput, NegativeCountsHoldNoEntries) {
  // Reading never raises on its own account: a negative count is a map with no entries.
  ForgedIStream negative({1, -1, -5, 1, std::string("d"), 2.5, -2147483647 - 1});
  CgSymbolData bag;
  bag.setInt("old", 1);
  EXPECT_NO_THROW(bag.deserializeRaw(negative));
  EXPECT_EQ(negative.consumed(), negative.size());
  EXPECT_FALSE(bag.got("old"));
  EXPECT_TRUE(bag.got("d"));
  EXPECT_EQ(bag.getDouble("d"), 2.5);
}
