// Helpers that every carrier's serializeRaw/deserializeRaw uses, so that the versioned-read
// check, the guarded count read and the framing of nested carriers exist once.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/errorcodes.h"
#include "datacarrier/internal/raise.h"
#include "qvutil/serializable.h"
#include "qvutil/serialstream.h"

// Defines what DC_DECLARE_CLASS_IDENTITY declared, in the class's source file.
#define DC_DEFINE_CLASS_IDENTITY(Class, idString)      \
  std::string Class::getStaticClassID() {              \
    return idString;                                   \
  }                                                    \
  bool Class::isStaticClassID(const std::string& id) { \
    return id == idString;                             \
  }                                                    \
  std::string Class::getClassID() const {              \
    return getStaticClassID();                         \
  }

namespace nkdatacarrier {

namespace serialio {

// Reads the version as an int and raises "Incompatible_native_file_version" (reading nothing
// further) unless oldest <= version <= newest.
inline int readVersion(ISerialStream& is, int oldest, int newest, const char* file, int line) {
  int version = 0;
  is >> version;
  if (version < oldest || version > newest) {
    raiseError(file, line, errors::kIncompatibleVersion);  // the library's codes carry no message
  }
  return version;
}

// Reads an element count as an int. A negative count raises the standard length error (what
// sizing an array by it would raise); a count of elements of at least `minBytes` bytes each that
// the stream's remaining bytes cannot hold raises "End_of_file_reached" before anything is
// allocated.
// Raises "End_of_file_reached" when the stream's remaining bytes cannot hold `count` (>= 0)
// elements of at least `minBytes` bytes each; a stream of unknown length vouches for any count.
inline void checkCount(const ISerialStream& is, int count, std::size_t minBytes, const char* file,
                       int line) {
  const std::size_t left = is.available();
  if (left != SIZE_MAX && minBytes > 0 && static_cast<std::size_t>(count) > left / minBytes) {
    raiseError(
        file, line, nkbase::kEndOfFileReached,
        std::to_string(count) + " elements announced, " + std::to_string(left) + " bytes left");
  }
}

inline int readCount(ISerialStream& is, std::size_t minBytes, const char* file, int line) {
  int count = 0;
  is >> count;
  if (count < 0) throw std::length_error("negative element count " + std::to_string(count));
  checkCount(is, count, minBytes, file, line);
  return count;
}

// How many of `count` elements to reserve before reading them. A stream that knows its length
// has already vouched for the count (readCount); one that does not might hold a corrupt count,
// so the reservation stops at 65,536 and the array grows as the elements arrive.
inline std::size_t initialCapacity(const ISerialStream& is, int count) {
  constexpr int kUncheckedReserve = 1 << 16;
  const int n = is.available() == SIZE_MAX ? std::min(count, kUncheckedReserve) : count;
  return n > 0 ? static_cast<std::size_t>(n) : 0;
}

// Brings `items` to `count` entries and hands each in order, with its index, to read(item, i):
// entries that exist are read into as they are (a reader may leave one as it was), the rest
// are appended as they come, so that a count the stream cannot vouch for takes no memory of
// its own. On success the result is that of resizing to `count` and reading every entry.
template <typename T, typename Read>
void readEach(ISerialStream& is, std::vector<T>& items, int count, Read read) {
  const std::size_t n = count > 0 ? static_cast<std::size_t>(count) : 0;
  if (items.size() > n) items.resize(n);
  items.reserve(std::max(items.size(), initialCapacity(is, count)));
  for (std::size_t i = 0; i < n; ++i) {
    if (i == items.size()) items.emplace_back();
    read(items[i], i);
  }
}

// Writes a contained carrier: its heading, the framed object, the empty label that closes it.
inline void writeNested(OSerialStream& os, nkbase::Prop& prop, const char* heading,
                        const nkbase::Serializable& object) {
  os.label(heading);
  object.serialize(os, prop);
  os.label("");
}

// The head that curves and faces share after their version: the nested bounding box, then the
// validity flag "is valid".
inline void writeBoxAndFlag(OSerialStream& os, nkbase::Prop& prop, const nkbase::Serializable& box,
                            bool valid) {
  writeNested(os, prop, "Bounding box", box);
  os << valid;
  os.label("is valid");
}

// Reads that head back and returns the flag. Older layouts wrote the flag first and the box
// only for a valid entity (`flagFirst`).
inline bool readBoxAndFlag(ISerialStream& is, nkbase::Serializable& box, bool flagFirst) {
  bool valid = false;
  if (flagFirst) {
    is >> valid;
    if (valid) box.deserialize(is);
  } else {
    box.deserialize(is);
    is >> valid;
  }
  return valid;
}

}  // namespace serialio

}  // namespace nkdatacarrier

#define DC_READ_VERSION(is, oldest, newest) \
  ::nkdatacarrier::serialio::readVersion((is), (oldest), (newest), __FILE__, __LINE__)
// The same, raising with a fixed line number (see DC_RAISE_AT).
#define DC_READ_VERSION_AT(line, is, oldest, newest) \
  ::nkdatacarrier::serialio::readVersion((is), (oldest), (newest), __FILE__, (line))
#define DC_READ_COUNT(is, minBytes) \
  ::nkdatacarrier::serialio::readCount((is), (minBytes), __FILE__, __LINE__)
// The check of DC_READ_COUNT alone, for a count read otherwise (a count < 0 read as none).
#define DC_CHECK_COUNT(is, count, minBytes) \
  ::nkdatacarrier::serialio::checkCount((is), (count), (minBytes), __FILE__, __LINE__)
