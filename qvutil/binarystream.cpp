#include "qvutil/binarystream.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <istream>
#include <iterator>
#include <ostream>

#include "qvutil/exception.h"
#include "qvutil/memadvice.h"

namespace {

constexpr std::size_t kChunk = 1 << 16;
constexpr std::size_t kStep = 1 << 20;

// Byte order of the format is little-endian; these copy a scalar in that order on any host.
template <typename T>
void storeLE(char* dst, T v) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, &v, sizeof(T));
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  std::reverse(bytes, bytes + sizeof(T));
#endif
  std::memcpy(dst, bytes, sizeof(T));
}

template <typename T>
T loadLE(const char* src) {
  unsigned char bytes[sizeof(T)];
  std::memcpy(bytes, src, sizeof(T));
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
  std::reverse(bytes, bytes + sizeof(T));
#endif
  T v;
  std::memcpy(&v, bytes, sizeof(T));
  return v;
}

}  // namespace

// ---- writer ----

BinaryOSerialStream::BinaryOSerialStream() = default;

BinaryOSerialStream::BinaryOSerialStream(std::ostream& out) : out_(&out) {}

BinaryOSerialStream::~BinaryOSerialStream() {
  try {
    flush();
  } catch (...) {
    // A destructor must not throw; the caller who cares calls flush() first.
  }
}

void BinaryOSerialStream::closeWindow() const {
  auto* self = const_cast<BinaryOSerialStream*>(this);
  const std::size_t n = used();
  buf_.resize(n);
  self->windowPos_ = buf_.data() + n;
  self->windowEnd_ = self->windowPos_;
}

const std::vector<char>& BinaryOSerialStream::getBuffer() const {
  closeWindow();
  return buf_;
}

void BinaryOSerialStream::flush() {
  if (!out_) return;
  const std::size_t n = used();
  out_->write(buf_.data(), static_cast<std::streamsize>(n));
  flushed_ += n;
  windowPos_ = buf_.data();
  windowEnd_ = buf_.data() + buf_.size();
}

void BinaryOSerialStream::clear() {
  windowPos_ = buf_.data();
  windowEnd_ = buf_.data() + buf_.size();
}

// Returns room for n bytes and advances past them; grows (or flushes) when the window is short.
// In memory the capacity doubles, but the writable window grows by at most kStep at a time, so
// the bytes touched (and page-faulted) stay close to the bytes written.
char* BinaryOSerialStream::reserve(std::size_t n) {
  if (static_cast<std::size_t>(windowEnd_ - windowPos_) < n) {
    if (out_ && used() > 0) flush();
    const std::size_t n0 = used();
    const std::size_t need = n0 + n;
    if (need > buf_.capacity()) {
      buf_.reserve(std::max({need, 2 * buf_.capacity(), kChunk}));
      qvutil_detail::adviseHugePages(buf_.data() + buf_.size(), buf_.capacity() - buf_.size());
    }
    if (need > buf_.size()) buf_.resize(std::min(buf_.capacity(), std::max(need, n0 + kStep)));
    windowPos_ = buf_.data() + n0;
    windowEnd_ = buf_.data() + buf_.size();
  }
  char* p = windowPos_;
  windowPos_ += n;
  return p;
}

void BinaryOSerialStream::label(const std::string&) {}
void BinaryOSerialStream::writeInt(int v) {
  storeLE(reserve(4), v);
}
void BinaryOSerialStream::writeUnsigned(unsigned int v) {
  storeLE(reserve(4), v);
}
void BinaryOSerialStream::writeFloat(float v) {
  storeLE(reserve(4), v);
}
void BinaryOSerialStream::writeDouble(double v) {
  storeLE(reserve(8), v);
}
void BinaryOSerialStream::writeBool(bool v) {
  *reserve(1) = v ? 1 : 0;
}

void BinaryOSerialStream::writeString(const std::string& v) {
  writeUnsigned(static_cast<unsigned int>(v.size()));
  if (!v.empty()) std::memcpy(reserve(v.size()), v.data(), v.size());
}

// ---- reader ----

BinaryISerialStream::BinaryISerialStream(const char* data, std::size_t size) : begin_(data) {
  windowPos_ = data;
  windowEnd_ = data + size;
}

BinaryISerialStream::BinaryISerialStream(const std::vector<char>& data)
    : BinaryISerialStream(data.data(), data.size()) {}

BinaryISerialStream::BinaryISerialStream(std::vector<char>&& data) : owned_(std::move(data)) {
  begin_ = windowPos_ = owned_.data();
  windowEnd_ = owned_.data() + owned_.size();
}

BinaryISerialStream::BinaryISerialStream(std::istream& in)
    : BinaryISerialStream(std::vector<char>(std::istreambuf_iterator<char>(in),
                                            std::istreambuf_iterator<char>())) {}

std::size_t BinaryISerialStream::available() const {
  return static_cast<std::size_t>(windowEnd_ - windowPos_);
}

const char* BinaryISerialStream::take(std::size_t n) {
  if (available() < n) {
    throw nkbase::Exception("qvutil/binarystream", __LINE__, nkbase::kEndOfFileReached,
                            "need " + std::to_string(n) + " bytes at offset " +
                                std::to_string(position()) + ", " + std::to_string(available()) +
                                " left");
  }
  const char* p = windowPos_;
  windowPos_ += n;
  return p;
}

void BinaryISerialStream::readInt(int& v) {
  v = loadLE<int>(take(4));
}
void BinaryISerialStream::readUnsigned(unsigned int& v) {
  v = loadLE<unsigned int>(take(4));
}
void BinaryISerialStream::readFloat(float& v) {
  v = loadLE<float>(take(4));
}
void BinaryISerialStream::readDouble(double& v) {
  v = loadLE<double>(take(8));
}
void BinaryISerialStream::readBool(bool& v) {
  v = *take(1) != 0;
}

void BinaryISerialStream::readString(std::string& v) {
  const char* start = windowPos_;
  const unsigned int n = loadLE<unsigned int>(take(4));
  if (available() < n) {
    windowPos_ = start;                     // leave the position where the string began
    take(static_cast<std::size_t>(n) + 4);  // raises with the offset of the string
  }
  v.assign(take(n), n);
}
