#include "qvutil/binarystream.h"

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <sstream>

#include "carrierstreamchecks.h"
#include "recordingstream.h"

namespace {

using namespace std::string_literals;
using qvtest::codeOf;

TEST(BinaryStream, WritesLittleEndianFixedWidthValues) {
  BinaryOSerialStream out;
  out << 1;
  EXPECT_EQ(out.getBuffer().size(), 4u);  // taking the buffer midway does not stop the writing
  out << 2u << 1.0f << -2.0 << true << "ab";
  out.label("labels write nothing");
  const std::string expected =
      "\1\0\0\0"s           // int 1
      "\2\0\0\0"            // unsigned 2
      "\0\0\x80\x3f"        // float 1.0
      "\0\0\0\0\0\0\0\xc0"  // double -2.0
      "\1"                  // bool true
      "\2\0\0\0"            // string length 2
      "ab";
  EXPECT_EQ(std::string(out.getBuffer().begin(), out.getBuffer().end()), expected);
  EXPECT_EQ(out.size(), expected.size());
}

TEST(BinaryStream, RoundTripsEveryValueBitExactly) {
  const std::uint64_t bits = 0x7ff8000000000123ULL;
  double payloadNan;
  std::memcpy(&payloadNan, &bits, 8);
  const std::string odd("a\0b\n\xff", 5);
  BinaryOSerialStream out;
  out << INT_MIN << 0xffffffffu << -0.0f << std::numeric_limits<float>::quiet_NaN() << payloadNan
      << -HUGE_VAL << false << odd << std::string();
  out << 3000000000u << -1;  // int and unsigned share their bytes: each reads the other

  BinaryISerialStream in(out.getBuffer());
  int i, i2;
  unsigned u, u2;
  float f1, f2;
  double d1, d2;
  bool b;
  std::string s1, s2;
  in >> i >> u >> f1 >> f2 >> d1 >> d2 >> b >> s1 >> s2 >> i2 >> u2;
  EXPECT_EQ(i, INT_MIN);
  EXPECT_EQ(u, 0xffffffffu);
  EXPECT_TRUE(f1 == 0.0f && std::signbit(f1));
  EXPECT_TRUE(std::isnan(f2));
  EXPECT_EQ(std::memcmp(&d1, &payloadNan, 8), 0);
  EXPECT_EQ(d2, -HUGE_VAL);
  EXPECT_FALSE(b);
  EXPECT_EQ(s1, odd);
  EXPECT_EQ(s2, "");
  EXPECT_EQ(i2, static_cast<int>(3000000000u));
  EXPECT_EQ(u2, 0xffffffffu);
  EXPECT_EQ(in.available(), 0u);
}

TEST(BinaryStream, TruncatedDataRaisesAndKeepsThePosition) {
  BinaryOSerialStream out;
  out << 7 << 1.5 << "hello";
  const std::vector<char>& full = out.getBuffer();
  for (std::size_t cut = 0; cut < full.size(); ++cut) {
    BinaryISerialStream in(full.data(), cut);
    int i;
    double d;
    std::string s;
    EXPECT_EQ(codeOf([&] { in >> i >> d >> s; }), "End_of_file_reached") << "cut at " << cut;
    // The failed read consumed nothing: the position is at the start of the failed value.
    EXPECT_EQ(in.position(), cut < 4 ? 0u : cut < 12 ? 4u : 12u) << cut;
  }
}

// A string or vector length beyond the data raises before allocating; the string read consumes
// nothing and the vector keeps its content.
TEST(BinaryStream, LengthsAreCheckedBeforeAllocating) {
  BinaryOSerialStream out;
  out << 3u << 1.0 << 2.0 << 3.0 << 0x7fffffffu << 1.0f;
  BinaryISerialStream in(out.getBuffer());
  std::vector<double> v;
  in >> v;
  EXPECT_EQ(v, (std::vector<double>{1.0, 2.0, 3.0}));
  std::string s;
  EXPECT_EQ(codeOf([&] { in >> s; }), "End_of_file_reached");
  EXPECT_EQ(in.position(), 28u);  // back at the string's length
  std::vector<float> f{9.0f};
  EXPECT_EQ(codeOf([&] { in >> f; }), "End_of_file_reached");
  EXPECT_EQ(f, std::vector<float>{9.0f});
}

TEST(BinaryStream, StdStreamsCarryTheSameBytes) {
  const auto fill = [](BinaryOSerialStream& out) {
    for (int i = 0; i < 100000; ++i)
      out << i;  // crosses several internal flushes
    out << std::string(200000, 'z');
  };
  std::ostringstream sink;
  {
    BinaryOSerialStream out(sink);
    fill(out);
  }
  BinaryOSerialStream mem;
  fill(mem);
  EXPECT_EQ(sink.str(), std::string(mem.getBuffer().begin(), mem.getBuffer().end()));

  // A reader of a std::istream takes all of it.
  std::istringstream source(sink.str());
  BinaryISerialStream in(source);
  EXPECT_EQ(in.available(), sink.str().size());
  int first = -1;
  in >> first;
  EXPECT_EQ(first, 0);
}

// A stream that only overrides the virtual operations still sees every value with its type: the
// inline operators fall back to them.
TEST(BinaryStream, SubclassesWithoutAWindowSeeEveryValue) {
  qvtest::RecordingOStream rec;
  rec << 1 << 2u << 3.0f << 4.0 << true << "s";
  EXPECT_EQ(rec.lines, (std::vector<std::string>{"int 1", "unsigned 2", "float 3", "double 4",
                                                 "bool true", "string s"}));
}

}  // namespace
