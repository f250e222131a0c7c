// The committed fuzz inputs (seed corpus and reproducers of past findings) of every fuzzed class,
// run through the fuzz targets' checks without libFuzzer, so that the ordinary suite keeps them.
#include <gtest/gtest.h>

#include "fuzzclasses.h"
#include "replay.h"

namespace {

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
