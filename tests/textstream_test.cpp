#include "qvutil/textstream.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <sstream>

#include "carrierstreamchecks.h"

namespace {

using namespace std::string_literals;
using qvtest::codeOf;

template <typename T>
bool sameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

TEST(TextStream, ShowsTypesAndLabelsReadably) {
  std::ostringstream text;
  TextOSerialStream out(text);
  out << 1u;
  out.label("version");
  out << -3 << 0.5f << 0.1 << true << "two words";
  out.label("");
  EXPECT_EQ(text.str(),
            "unsigned 1\n# \"version\"\nint -3\nfloat 0.5\ndouble 0.1\nbool true\n"
            "string \"two words\"\n# \"\"\n");
}

// The value written to a text stream and read back.
template <typename T>
T throughText(const T& v) {
  std::stringstream text;
  TextOSerialStream(text) << v;
  TextISerialStream in(text);
  T r;
  in >> r;
  return r;
}

TEST(TextStream, RoundTripsEveryValueBitExactly) {
  using F = std::numeric_limits<float>;
  using D = std::numeric_limits<double>;
  for (float f : {0.1f, -0.0f, F::denorm_min(), F::max(), F::infinity(), -F::infinity(),
                  F::quiet_NaN(), -F::quiet_NaN()})
    EXPECT_TRUE(sameBits(f, throughText(f))) << f;
  double payloadNan;
  const std::uint64_t bits = 0xfff0000000000001ULL;  // a negative signalling NaN with a payload
  std::memcpy(&payloadNan, &bits, 8);
  for (double d : {0.1, 1.0 / 3.0, -0.0, 5e-324, D::max(), -D::infinity(), payloadNan})
    EXPECT_TRUE(sameBits(d, throughText(d))) << d;
  for (const std::string& s : {""s, "with spaces"s, "line\nbreak\ttab\r"s, "quote\" back\\slash"s,
                               "nul\0byte"s, "caf\xc3\xa9 \xff\x80"s, "# not a label"s})
    EXPECT_EQ(throughText(s), s);
  std::string everyByte;
  for (int c = 0; c < 256; ++c)
    everyByte += static_cast<char>(c);
  EXPECT_EQ(throughText(everyByte), everyByte);
  EXPECT_EQ(throughText(std::numeric_limits<int>::min()), std::numeric_limits<int>::min());
  EXPECT_EQ(throughText(4294967295u), 4294967295u);
  EXPECT_TRUE(throughText(true));
  EXPECT_FALSE(throughText(false));
}

// Labels, blank lines, indentation and CR LF line ends are skipped; int and unsigned read each
// other's values; past the last value the reader raises end of file.
TEST(TextStream, ReaderSkipsLabelsAndLayout) {
  std::istringstream text(
      "# \"heading\"\n\n    int 5\n  # \"\"\r\n\tfloat 2.5\r\n"
      "unsigned 4294967295\nint -2\n# \"end\"\n");
  TextISerialStream in(text);
  int i, i2;
  unsigned u;
  float f;
  in >> i >> f;
  EXPECT_EQ(i, 5);
  EXPECT_EQ(f, 2.5f);
  EXPECT_EQ(in.lineNumber(), 5);
  in >> i2 >> u;
  EXPECT_EQ(i2, -1);
  EXPECT_EQ(u, 4294967294u);
  EXPECT_EQ(codeOf([&] { in >> i; }), "End_of_file_reached");  // only a label is left
}

TEST(TextStream, MalformedTextRaisesWithTheLine) {
  // Each case: the type to read ('i', 'f', 'd', 'b' or 's'), a colon, then the text.
  for (const char* c :
       {"i:float 1.5", "i:int 12abc", "i:int 99999999999", "d:double 1.0.0", "f:float 1e60",
        "b:bool yes", "s:string \"open", "s:string \"bad \\q\"", "s:string \"short \\x4\"",
        "s:string \"escaped end\\\"", "s:string unquoted", "i:garbage"}) {
    std::istringstream text(std::string("# \"first\"\n") + (c + 2) + "\n");
    TextISerialStream in(text);
    int i;
    float f;
    double d;
    bool b;
    std::string s;
    try {
      if (c[0] == 'i') in >> i;
      if (c[0] == 'f') in >> f;
      if (c[0] == 'd') in >> d;
      if (c[0] == 'b') in >> b;
      if (c[0] == 's') in >> s;
      ADD_FAILURE() << c << " accepted";
    } catch (const nkbase::Exception& e) {
      EXPECT_EQ(e.getCode(), "Malformed_text_stream") << c;
      EXPECT_NE(e.getMessage().find("line 2"), std::string::npos) << e.getMessage();
    }
  }
}

TEST(TextStream, VectorsRoundTripAndCountsAreBoundedByTheText) {
  std::stringstream text;
  TextOSerialStream out(text);
  out << 3u << 1 << 2 << 3 << 0u;
  TextISerialStream in(text);
  std::vector<int> a, b{7};
  in >> a >> b;
  EXPECT_EQ(a, (std::vector<int>{1, 2, 3}));
  EXPECT_TRUE(b.empty());

  std::istringstream corrupt("unsigned 2000000000\nint 1\n");
  TextISerialStream bad(corrupt);
  EXPECT_EQ(bad.available(), corrupt.str().size());
  // Two billion ints cannot fit in the few characters left: refused before allocating.
  EXPECT_EQ(codeOf([&] { bad >> a; }), "End_of_file_reached");
}

}  // namespace
