// Stream checks shared by the carrier tests: the error code an action raises, copies of a
// carrier through the binary and the text stream, and the check that every truncation of its
// binary form raises "End_of_file_reached" instead of crashing.
#pragma once

// A test program that defines QVTEST_REFUSE_HUGE_ALLOCATIONS before including this header
// refuses every single allocation above 1 GiB with std::bad_alloc, as a process short of memory
// would: a reader that sizes an array by a corrupt count then fails its test instead of taking
// gigabytes. Only one source file per test program may define it.
#ifdef QVTEST_REFUSE_HUGE_ALLOCATIONS
#include <cstdlib>
#include <new>

// Out of line, like the operators below, so that the compiler does not see malloc() and free()
// meet the pointers of operator new and delete.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (size > (std::size_t(1) << 30)) throw std::bad_alloc();
  if (void* p = std::malloc(size == 0 ? 1 : size)) return p;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* p) noexcept {
  std::free(p);
}
[[gnu::noinline]] void operator delete(void* p, std::size_t) noexcept {
  std::free(p);
}
#endif

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "qvutil/binarystream.h"
#include "qvutil/exception.h"
#include "qvutil/prop.h"
#include "qvutil/serializable.h"
#include "qvutil/textstream.h"
#include "recordingstream.h"

namespace qvtest {

// The code of the nkbase::Exception that f raises, or "none".
template <typename F>
std::string codeOf(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getCode();
  }
  return "none";
}

// "module:line code" of the nkbase::Exception that f raises, or "none".
template <typename F>
std::string raiseSite(F&& f) {
  try {
    f();
  } catch (const nkbase::Exception& e) {
    return e.getModule() + ":" + std::to_string(e.getLine()) + " " + e.getCode();
  }
  return "none";
}

// Every line that `carrier` writes through serialize: its class identifier, then its own values
// and labels, as RecordingOStream records them.
inline std::vector<std::string> written(const nkbase::Serializable& carrier) {
  RecordingOStream os;
  nkbase::Prop prop;
  carrier.serialize(os, prop);
  return os.lines;
}

// The same without the class identifier: what serializeRaw writes.
inline std::vector<std::string> writtenRaw(const nkbase::Serializable& carrier) {
  RecordingOStream os;
  nkbase::Prop prop;
  carrier.serializeRaw(os, prop);
  return os.lines;
}

template <typename T>
std::vector<char> binaryOf(const T& carrier) {
  nkbase::Prop prop;
  BinaryOSerialStream os;
  carrier.serialize(os, prop);
  return os.getBuffer();
}

// The carrier read back from its binary form and from its text form.
template <typename T>
std::vector<T> streamCopies(const T& carrier) {
  std::vector<T> copies(2);
  const std::vector<char> bytes = binaryOf(carrier);
  BinaryISerialStream bis(bytes);
  copies[0].deserialize(bis);
  nkbase::Prop prop;
  std::ostringstream text;
  TextOSerialStream tos(text);
  carrier.serialize(tos, prop);
  std::istringstream in(text.str());
  TextISerialStream tis(in);
  copies[1].deserialize(tis);
  return copies;
}

// Each of `versions` is refused before anything else is read: "Incompatible_native_file_version"
// after one value, with `object` left as it was. `site` is the start of the report's
// "module:line" ("datacarrier/x:" or "datacarrier/x:77"), or empty.
template <typename T>
void expectVersionsRefused(const T& object, const std::vector<int>& versions,
                           const std::string& site = "") {
  for (int version : versions) {
    ForgedIStream in({version});  // a reader that went on would raise "End_of_file_reached"
    T r = object;
    try {
      r.deserializeRaw(in);
      ADD_FAILURE() << "version " << version << " accepted";
    } catch (const nkbase::Exception& e) {
      EXPECT_EQ(e.getCode(), "Incompatible_native_file_version") << version;
      const std::string where = e.getModule() + ":" + std::to_string(e.getLine());
      EXPECT_EQ(where.substr(0, site.size()), site) << version;
    }
    EXPECT_EQ(in.consumed(), 1u) << version;
    EXPECT_EQ(binaryOf(r), binaryOf(object)) << version;
  }
}

template <typename T>
void expectEveryTruncationRaisesEndOfFile(const T& carrier) {
  const std::vector<char> bytes = binaryOf(carrier);
  for (std::size_t n = 0; n < bytes.size(); ++n) {
    BinaryISerialStream is(bytes.data(), n);
    T r;
    EXPECT_EQ(codeOf([&] { r.deserialize(is); }), "End_of_file_reached") << n << " bytes";
  }
}

}  // namespace qvtest
