#include "qvutil/textstream.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <functional>
#include <limits>
#include <sstream>

#include "qvutil/exception.h"

namespace {

template <typename T>
bool sameBits(T a, T b) {
  return std::memcmp(&a, &b, sizeof(T)) == 0;
}

nkbase::Exception raised(const std::function<void()>& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e;
  }
  return nkbase::Exception("test", 0, "no exception");
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

TEST(TextStream, RoundTripsEveryValueBitExactly) {
  const float floats[] = {0.1f,
                          -0.0f,
                          std::numeric_limits<float>::denorm_min(),
                          std::numeric_limits<float>::max(),
                          std::numeric_limits<float>::infinity(),
                          -std::numeric_limits<float>::infinity(),
                          std::numeric_limits<float>::quiet_NaN(),
                          -std::numeric_limits<float>::quiet_NaN()};
  double payloadNan;
  const std::uint64_t bits = 0xfff0000000000001ULL;  // a negative signalling NaN with a payload
  std::memcpy(&payloadNan, &bits, 8);
  const double doubles[] = {0.1,
                            1.0 / 3.0,
                            -0.0,
                            5e-324,
                            1.7976931348623157e308,
                            -std::numeric_limits<double>::infinity(),
                            payloadNan};
  const std::string strings[] = {"",
                                 "with spaces",
                                 "line\nbreak\ttab\r",
                                 "quote\" back\\slash",
                                 std::string("nul\0byte", 8),
                                 "caf\xc3\xa9 \xff\x80",
                                 "# not a label"};

  std::stringstream text;
  TextOSerialStream out(text);
  for (float f : floats)
    out << f;
  for (double d : doubles)
    out << d;
  for (const auto& s : strings)
    out << s;
  out << std::numeric_limits<int>::min() << 4294967295u << false;

  TextISerialStream in(text);
  for (float f : floats) {
    float r;
    in >> r;
    EXPECT_TRUE(sameBits(f, r)) << f;
  }
  for (double d : doubles) {
    double r;
    in >> r;
    EXPECT_TRUE(sameBits(d, r)) << d;
  }
  for (const auto& s : strings) {
    std::string r;
    in >> r;
    EXPECT_EQ(r, s);
  }
  int i;
  unsigned u;
  bool b = true;
  in >> i >> u >> b;
  EXPECT_EQ(i, std::numeric_limits<int>::min());
  EXPECT_EQ(u, 4294967295u);
  EXPECT_FALSE(b);
}

TEST(TextStream, ReaderSkipsLabelsBlankLinesAndIndentation) {
  std::istringstream text("# \"heading\"\n\n    int 5\n  # \"\"\r\n\tfloat 2.5\r\n");
  TextISerialStream in(text);
  int i;
  float f;
  in >> i >> f;
  EXPECT_EQ(i, 5);
  EXPECT_EQ(f, 2.5f);
  EXPECT_EQ(in.lineNumber(), 5);
}

TEST(TextStream, IntAndUnsignedReadEachOther) {
  std::istringstream text("unsigned 4294967295\nint -2\n");
  TextISerialStream in(text);
  int i;
  unsigned u;
  in >> i >> u;
  EXPECT_EQ(i, -1);
  EXPECT_EQ(u, 4294967294u);
}

TEST(TextStream, MalformedTextRaisesWithTheLine) {
  const struct {
    const char* text;
    std::function<void(ISerialStream&)> read;
  } cases[] = {
      {"float 1.5\n",
       [](ISerialStream& s) {
         int v;
         s >> v;
       }},
      {"int 12abc\n",
       [](ISerialStream& s) {
         int v;
         s >> v;
       }},
      {"int 99999999999\n",
       [](ISerialStream& s) {
         int v;
         s >> v;
       }},
      {"double 1.0.0\n",
       [](ISerialStream& s) {
         double v;
         s >> v;
       }},
      {"float 1e60\n",
       [](ISerialStream& s) {
         float v;
         s >> v;
       }},
      {"bool yes\n",
       [](ISerialStream& s) {
         bool v;
         s >> v;
       }},
      {"string \"open\n",
       [](ISerialStream& s) {
         std::string v;
         s >> v;
       }},
      {"string \"bad \\q escape\"\n",
       [](ISerialStream& s) {
         std::string v;
         s >> v;
       }},
      {"string \"short \\x4\"\n",
       [](ISerialStream& s) {
         std::string v;
         s >> v;
       }},
      {"garbage\n",
       [](ISerialStream& s) {
         int v;
         s >> v;
       }},
  };
  for (const auto& c : cases) {
    std::istringstream text(std::string("# \"first\"\n") + c.text);
    TextISerialStream in(text);
    const nkbase::Exception e = raised([&] { c.read(in); });
    EXPECT_EQ(e.getCode(), "Malformed_text_stream") << c.text;
    EXPECT_NE(e.getMessage().find("line 2"), std::string::npos) << e.getMessage();
  }
}

TEST(TextStream, EndOfTextRaisesEndOfFile) {
  std::istringstream text("int 1\n# \"trailing label\"\n");
  TextISerialStream in(text);
  int v;
  in >> v;
  EXPECT_EQ(raised([&] { in >> v; }).getCode(), "End_of_file_reached");
}

TEST(TextStream, VectorsRoundTrip) {
  std::stringstream text;
  TextOSerialStream out(text);
  out << 3u << 1 << 2 << 3;
  out << 0u;
  TextISerialStream in(text);
  std::vector<int> a, b{7};
  in >> a >> b;
  EXPECT_EQ(a, (std::vector<int>{1, 2, 3}));
  EXPECT_TRUE(b.empty());
}

TEST(TextStream, QuotingIsReversible) {
  std::string raw;
  for (int c = 0; c < 256; ++c)
    raw += static_cast<char>(c);
  std::string back;
  ASSERT_TRUE(unquoteText(quoteText(raw), back));
  EXPECT_EQ(back, raw);
  EXPECT_FALSE(unquoteText("\"unterminated\\\"", back));
  EXPECT_FALSE(unquoteText("no quotes", back));
}

}  // namespace

namespace {

TEST(TextStream, AvailableBoundsCountsOfSeekableInput) {
  std::istringstream text("unsigned 2000000000\nint 1\n");
  TextISerialStream in(text);
  EXPECT_EQ(in.available(), text.str().size());
  std::vector<int> v;
  // Two billion ints cannot fit in the few characters left: refused before allocating.
  EXPECT_EQ(raised([&] { in >> v; }).getCode(), "End_of_file_reached");
}

}  // namespace
