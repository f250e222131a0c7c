#include "qvutil/serialstream.h"

#include <algorithm>
#include <cstdint>

#include "qvutil/exception.h"

OSerialStream::~OSerialStream() = default;
ISerialStream::~ISerialStream() = default;

void OSerialStream::beginObject(const std::string&) {}
void OSerialStream::endObject() {}

std::size_t ISerialStream::available() const {
  return SIZE_MAX;
}

template <typename T>
ISerialStream& ISerialStream::readVector(std::vector<T>& v) {
  unsigned int count = 0;
  *this >> count;
  // Every element takes at least sizeof(T) bytes in the binary form; for streams that do not
  // know their length, grow while reading so that a corrupt count cannot reserve gigabytes.
  const std::size_t left = available();
  if (left != SIZE_MAX && count > left / sizeof(T)) {
    throw nkbase::Exception("qvutil/serialstream", __LINE__, nkbase::kEndOfFileReached,
                            "vector of " + std::to_string(count) + " elements but only " +
                                std::to_string(left) + " bytes left");
  }
  std::vector<T> values;
  values.reserve(left != SIZE_MAX ? count : std::min<unsigned int>(count, 1u << 16));
  for (unsigned int i = 0; i < count; ++i) {
    T x;
    *this >> x;
    values.push_back(x);
  }
  v.swap(values);
  return *this;
}

ISerialStream& ISerialStream::operator>>(std::vector<int>& v) {
  return readVector(v);
}
ISerialStream& ISerialStream::operator>>(std::vector<float>& v) {
  return readVector(v);
}
ISerialStream& ISerialStream::operator>>(std::vector<double>& v) {
  return readVector(v);
}
