// The committed fuzz inputs (seed corpus and reproducers of past findings) of every fuzzed class,
// run through the fuzz targets' checks without libFuzzer, so that the ordinary suite keeps them.
#include <gtest/gtest.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <type_traits>

#include "fuzzclasses.h"
#include "replay.h"

namespace {

// A generated seed (*.bin, *.txt) is the library's own write of an object: read back, the object
// must write the very same bytes in the same form, so every field has come back to its place.
// Not so an impression, whose reader deliberately drops the vertices.
template <typename T>
void expectSeedWrittenAgain(const qvfuzz::Input& input) {
  if (std::is_same_v<T, nkdatacarrier::Impression>) return;
  const std::string ext =
      input.name.substr(input.name.size() - std::min<std::size_t>(4, input.name.size()));
  if (input.name.rfind("corpus/", 0) != 0 || (ext != ".bin" && ext != ".txt")) return;
  const qvfuzz::Form form = qvfuzz::formOf(input.bytes.at(0));
  T object;
  ASSERT_TRUE(qvfuzz::readForm(object, reinterpret_cast<const char*>(input.bytes.data() + 1),
                               input.bytes.size() - 1, form))
      << input.name;
  nkbase::Prop prop;
  std::ostringstream text;
  TextOSerialStream textOut(text);
  BinaryOSerialStream binaryOut;
  OSerialStream& out = form.text ? static_cast<OSerialStream&>(textOut) : binaryOut;
  form.raw ? object.serializeRaw(out, prop) : object.serialize(out, prop);
  const std::vector<char>& bytes = binaryOut.getBuffer();
  EXPECT_EQ(form.text ? text.str() : std::string(bytes.begin(), bytes.end()),
            std::string(input.bytes.begin() + 1, input.bytes.end()))
      << input.name;
}

template <typename T>
void replayCommittedInputs(const char* className) {
  const auto inputs = qvfuzz::committedInputs(className);
  EXPECT_FALSE(inputs.empty()) << "no seed corpus for " << className;
  int complete = 0;
  for (const auto& input : inputs) {
    try {
      complete += qvfuzz::checkInput<T>(input.bytes.data(), input.bytes.size());
    } catch (const qvfuzz::CheckFailure& f) {
      ADD_FAILURE() << input.name << ": " << f.what;
    }
    EXPECT_EQ(qvfuzz::takeOversizeRequest(), 0u) << input.name << ": allocation beyond the bound";
    expectSeedWrittenAgain<T>(input);
  }
  // The seeds are objects written through the library: at least those read completely.
  EXPECT_GT(complete, 0) << className;
}

#define QV_REPLAY_TEST(Class)                            \
  TEST(FuzzCorpus, Class) {                              \
    replayCommittedInputs<nkdatacarrier::Class>(#Class); \
  }
QV_FOR_EACH_FUZZ_CLASS(QV_REPLAY_TEST)

}  // namespace
