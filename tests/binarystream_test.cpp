#include "qvutil/binarystream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>

#include "carrierstreamchecks.h"
#include "qvutil/exception.h"

namespace {

using qvtest::codeOf;

TEST(BinaryStream, WritesLittleEndianFixedWidthValues) {
  BinaryOSerialStream out;
  out << 1 << 2u << 1.0f << -2.0 << true << "ab";
  out.label("labels write nothing");
  const std::vector<char> expected = {1,
                                      0,
                                      0,
                                      0,  // int 1
                                      2,
                                      0,
                                      0,
                                      0,  // unsigned 2
                                      0,
                                      0,
                                      static_cast<char>(0x80),
                                      0x3f,  // float 1.0
                                      0,
                                      0,
                                      0,
                                      0,
                                      0,
                                      0,
                                      0,
                                      static_cast<char>(0xc0),  // double -2.0
                                      1,                        // bool
                                      2,
                                      0,
                                      0,
                                      0,
                                      'a',
                                      'b'};  // string "ab"
  EXPECT_EQ(out.getBuffer(), expected);
  EXPECT_EQ(out.size(), expected.size());
}

TEST(BinaryStream, RoundTripsEveryValueBitExactly) {
  const float fnan = std::numeric_limits<float>::quiet_NaN();
  const double payloadNan = [] {
    double d;
    const std::uint64_t bits = 0x7ff8000000000123ULL;
    std::memcpy(&d, &bits, 8);
    return d;
  }();
  BinaryOSerialStream out;
  out << std::numeric_limits<int>::min() << 0xffffffffu << -0.0f << fnan << payloadNan
      << -std::numeric_limits<double>::infinity() << false << std::string("a\0b\n\xff", 5)
      << std::string();

  BinaryISerialStream in(out.getBuffer());
  int i;
  unsigned u;
  float f1, f2;
  double d1, d2;
  bool b;
  std::string s1, s2;
  in >> i >> u >> f1 >> f2 >> d1 >> d2 >> b >> s1 >> s2;
  EXPECT_EQ(i, std::numeric_limits<int>::min());
  EXPECT_EQ(u, 0xffffffffu);
  EXPECT_TRUE(std::signbit(f1));
  EXPECT_TRUE(std::isnan(f2));
  EXPECT_EQ(std::memcmp(&d1, &payloadNan, 8), 0);
  EXPECT_EQ(d2, -std::numeric_limits<double>::infinity());
  EXPECT_FALSE(b);
  EXPECT_EQ(s1, std::string("a\0b\n\xff", 5));
  EXPECT_EQ(s2, "");
  EXPECT_EQ(in.available(), 0u);
}

TEST(BinaryStream, IntAndUnsignedShareTheirBytes) {
  BinaryOSerialStream out;
  out << 3000000000u << -1;
  BinaryISerialStream in(out.getBuffer());
  int i;
  unsigned u;
  in >> i >> u;
  EXPECT_EQ(i, static_cast<int>(3000000000u));
  EXPECT_EQ(u, 0xffffffffu);
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
    const std::string code = codeOf([&] { in >> i >> d >> s; });
    EXPECT_EQ(code, "End_of_file_reached") << "cut at " << cut;
    // The failed read consumed nothing: the position is at the start of the failed value.
    EXPECT_TRUE(in.position() == 0 || in.position() == 4 || in.position() == 12) << cut;
  }
}

TEST(BinaryStream, StringLengthBeyondTheDataRaises) {
  BinaryOSerialStream out;
  out << 0x7fffffffu;  // a string claiming 2 GiB
  out << 'x';
  BinaryISerialStream in(out.getBuffer());
  std::string s;
  EXPECT_EQ(codeOf([&] { in >> s; }), "End_of_file_reached");
  EXPECT_EQ(in.position(), 0u);
}

TEST(BinaryStream, VectorReadChecksTheCountBeforeAllocating) {
  BinaryOSerialStream out;
  out << 3u << 1.0 << 2.0 << 3.0;
  BinaryISerialStream in(out.getBuffer());
  std::vector<double> v;
  in >> v;
  EXPECT_EQ(v, (std::vector<double>{1.0, 2.0, 3.0}));

  BinaryOSerialStream corrupt;
  corrupt << 0xfffffff0u << 1.0f;
  BinaryISerialStream bad(corrupt.getBuffer());
  std::vector<float> f{9.0f};
  EXPECT_EQ(codeOf([&] { bad >> f; }), "End_of_file_reached");
  EXPECT_EQ(f, std::vector<float>{9.0f});
}

TEST(BinaryStream, StdStreamsCarryTheSameBytes) {
  std::ostringstream sink;
  {
    BinaryOSerialStream out(sink);
    for (int i = 0; i < 100000; ++i)
      out << i;  // crosses several internal flushes
    out << std::string(200000, 'z');
  }
  BinaryOSerialStream mem;
  for (int i = 0; i < 100000; ++i)
    mem << i;
  mem << std::string(200000, 'z');
  const std::string bytes = sink.str();
  ASSERT_EQ(bytes.size(), mem.getBuffer().size());
  EXPECT_EQ(std::memcmp(bytes.data(), mem.getBuffer().data(), bytes.size()), 0);

  std::istringstream source(bytes);
  BinaryISerialStream in(source);
  int last = -1;
  for (int i = 0; i < 100000; ++i)
    in >> last;
  std::string tail;
  in >> tail;
  EXPECT_EQ(last, 99999);
  EXPECT_EQ(tail.size(), 200000u);
}

TEST(BinaryStream, GetBufferMidWayKeepsWriting) {
  BinaryOSerialStream out;
  out << 1;
  EXPECT_EQ(out.getBuffer().size(), 4u);
  out << 2.0f;
  EXPECT_EQ(out.getBuffer().size(), 8u);
}

// A stream that only overrides the virtual operations still sees every value: the inline
// operators fall back to them.
TEST(BinaryStream, SubclassesWithoutAWindowSeeEveryValue) {
  struct Counting : OSerialStream {
    int calls = 0;
    void label(const std::string&) override {}
    void writeInt(int) override { ++calls; }
    void writeUnsigned(unsigned) override { ++calls; }
    void writeFloat(float) override { ++calls; }
    void writeDouble(double) override { ++calls; }
    void writeBool(bool) override { ++calls; }
    void writeString(const std::string&) override { ++calls; }
  } counting;
  counting << 1 << 2u << 3.0f << 4.0 << true << "s";
  EXPECT_EQ(counting.calls, 6);
}

}  // namespace
