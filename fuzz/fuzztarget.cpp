// One libFuzzer target per carrier class, from this one source: FUZZ_CLASS names the class.
// Every input goes through qvfuzz::checkInput; a failed check aborts with its reason, which
// libFuzzer reports as a crash and keeps as a reproducer.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "fuzzclasses.h"
#include "inputchecks.h"

#ifndef FUZZ_CLASS
#error "FUZZ_CLASS names the class this target reads"
#endif

// Adds the allocation bound (-malloc_limit_mb) unless the command line sets one: libFuzzer
// reports any single allocation above it as a finding.
extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv) {
  for (int i = 1; i < *argc; ++i)
    if (std::strncmp((*argv)[i], "-malloc_limit_mb=", 17) == 0) return 0;
  static std::string limit = "-malloc_limit_mb=" + std::to_string(qvfuzz::kAllocationBoundMiB);
  static std::vector<char*> args(*argv, *argv + *argc);
  args.insert(args.begin() + 1, limit.data());
  args.push_back(nullptr);
  *argc = static_cast<int>(args.size()) - 1;
  *argv = args.data();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size > qvfuzz::kMaxInputBytes) return -1;  // outside the bound the checks promise
  try {
    qvfuzz::checkInput<nkdatacarrier::FUZZ_CLASS>(data, size);
  } catch (const qvfuzz::CheckFailure& f) {
    std::fprintf(stderr, "qvfuzz: %s\n", f.what.c_str());
    std::abort();
  }
  return 0;
}
