// A read that stops early leaves a partly read object, which the library allows; that object
// must still be safe to write, copy, export and query. Every truncation of every committed seed
// of every fuzzed class (text seeds: at and just before every blank) is read into a fresh object
// (binary seeds also into one that holds the complete seed), and is then used as the fuzz
// targets use what they read.
#include <gtest/gtest.h>

#include <cctype>

#include "fuzzclasses.h"
#include "replay.h"

namespace {

template <typename T>
void readEveryTruncation(const char* className) {
  int files = 0;
  for (const auto& input : qvfuzz::committedInputs(className)) {
    if (input.name.rfind("corpus/", 0) != 0) continue;  // the seeds only: samples of the class
    ++files;
    const std::uint8_t* bytes = input.bytes.data();
    T whole;
    // Reads into a used object need the binary form only: the text form stops at the same places.
    const bool reuse =
        qvfuzz::checkInputInto(whole, bytes, input.bytes.size()) && !qvfuzz::formOf(bytes[0]).text;
    const bool text = qvfuzz::formOf(bytes[0]).text;
    for (std::size_t n = 1; n < input.bytes.size(); ++n) {
      // A text reader stops only between tokens or inside one: every cut before a blank, and
      // the cut one byte earlier, inside the token, show all it can meet.
      const auto blank = [&](std::size_t i) {
        return i < input.bytes.size() && std::isspace(bytes[i]);
      };
      if (text && !blank(n) && !blank(n + 1)) continue;
      try {
        T fresh;
        qvfuzz::checkInputInto(fresh, bytes, n);
        if (reuse) {
          auto used = qvfuzz::deepCopy(whole);
          qvfuzz::checkInputInto(*used, bytes, n);
        }
      } catch (const qvfuzz::CheckFailure& f) {
        ADD_FAILURE() << input.name << " cut to " << n << " bytes: " << f.what;
        break;
      }
      EXPECT_EQ(qvfuzz::takeOversizeRequest(), 0u) << input.name << " cut to " << n << " bytes";
    }
  }
  EXPECT_GT(files, 0) << "no samples of " << className;
}

#define QV_TRUNCATION_TEST(Class)                      \
  TEST(Truncation, Class) {                            \
    readEveryTruncation<nkdatacarrier::Class>(#Class); \
  }
QV_FOR_EACH_FUZZ_CLASS(QV_TRUNCATION_TEST)

}  // namespace
