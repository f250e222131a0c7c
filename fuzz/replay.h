// What the test programs need to run fuzz inputs without libFuzzer: the committed inputs of a
// class (fuzz/corpus/<Class>/ and fuzz/regressions/<Class>/) and the allocation bound that
// libFuzzer's -malloc_limit_mb enforces in the fuzz targets. Include it from one source file
// per program: it replaces the global operator new.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "inputchecks.h"

#ifndef QV_FUZZ_DIR
#error "QV_FUZZ_DIR names the source directory fuzz/"
#endif

namespace qvfuzz {

// The largest request above the bound since the last takeOversizeRequest(), or 0.
inline std::size_t largestOversizeRequest = 0;
inline std::size_t takeOversizeRequest() {
  const std::size_t size = largestOversizeRequest;
  largestOversizeRequest = 0;
  return size;
}

struct Input {
  std::string name;  // corpus/<Class>/<file> or regressions/<Class>/<file>
  std::vector<std::uint8_t> bytes;
};

// Every committed input of `className`, in name order.
inline std::vector<Input> committedInputs(const std::string& className) {
  namespace fs = std::filesystem;
  std::vector<Input> inputs;
  for (const char* kind : {"corpus", "regressions"}) {
    const fs::path dir = fs::path(QV_FUZZ_DIR) / kind / className;
    if (!fs::is_directory(dir)) continue;
    for (const auto& entry : fs::directory_iterator(dir)) {
      if (!entry.is_regular_file()) continue;
      std::ifstream in(entry.path(), std::ios::binary);
      inputs.push_back(
          {std::string(kind) + "/" + className + "/" + entry.path().filename().string(),
           std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {})});
    }
  }
  std::sort(inputs.begin(), inputs.end(),
            [](const Input& a, const Input& b) { return a.name < b.name; });
  return inputs;
}

}  // namespace qvfuzz

// A request above the bound is recorded and refused with std::bad_alloc, as libFuzzer's
// malloc limit would report it, so that the test can name the input.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (size > (qvfuzz::kAllocationBoundMiB << 20)) {
    qvfuzz::largestOversizeRequest = std::max(qvfuzz::largestOversizeRequest, size);
    throw std::bad_alloc();
  }
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
  std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
