// The abstract serial streams through which every carrier writes and reads itself. A stream
// subclass implements the virtual operations; the operators call them. Streams that store
// scalars as little-endian bytes in memory (the binary streams) also open a byte window that
// the inline operators fill or drain directly, which keeps element-by-element array writes fast.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "qvutil/qvutilexport.h"

class QVUTIL_EXPORT OSerialStream {
 public:
  OSerialStream() = default;
  OSerialStream(const OSerialStream&) = delete;
  OSerialStream& operator=(const OSerialStream&) = delete;
  virtual ~OSerialStream();

  // Names the value just written (or, as a heading, the values that follow); the empty label
  // closes a group. What a label looks like is the stream's business.
  virtual void label(const std::string& text) = 0;
  virtual void writeInt(int v) = 0;
  virtual void writeUnsigned(unsigned int v) = 0;
  virtual void writeFloat(float v) = 0;
  virtual void writeDouble(double v) = 0;
  virtual void writeBool(bool v) = 0;
  virtual void writeString(const std::string& v) = 0;
  // Called by nkbase::Serializable::serialize around an object's fields, after its class
  // identifier: lets a stream show nesting (the text stream indents). Write nothing by default.
  virtual void beginObject(const std::string& classID);
  virtual void endObject();

  OSerialStream& operator<<(int v) { return put(v, &OSerialStream::writeInt); }
  OSerialStream& operator<<(unsigned int v) { return put(v, &OSerialStream::writeUnsigned); }
  OSerialStream& operator<<(float v) { return put(v, &OSerialStream::writeFloat); }
  OSerialStream& operator<<(double v) { return put(v, &OSerialStream::writeDouble); }
  OSerialStream& operator<<(bool v) {
    writeBool(v);
    return *this;
  }
  OSerialStream& operator<<(const std::string& v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // A string in the window is its unsigned byte length, then its bytes.
    char* pos = windowPos_;
    const unsigned int n = static_cast<unsigned int>(v.size());
    if (v.size() <= UINT32_MAX && static_cast<std::size_t>(windowEnd_ - pos) >= 4 + v.size()) {
      std::memcpy(pos, &n, 4);
      std::memcpy(pos + 4, v.data(), v.size());
      windowPos_ = pos + 4 + v.size();
      return *this;
    }
#endif
    writeString(v);
    return *this;
  }
  // A string literal is a string, never a bool.
  OSerialStream& operator<<(const char* v) {
    writeString(std::string(v));
    return *this;
  }

 protected:
  // The free bytes that the inline operators may fill with little-endian scalars. Empty unless
  // a subclass opens it; a subclass that does must treat the filled bytes as written.
  char* windowPos_ = nullptr;
  char* windowEnd_ = nullptr;

 private:
  template <typename T>
  OSerialStream& put(T v, void (OSerialStream::*write)(T)) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    // Advancing a local copy keeps the position out of memory: a store through char* may alias
    // the member, which would otherwise force a reload after every value.
    char* pos = windowPos_;
    if (static_cast<std::size_t>(windowEnd_ - pos) >= sizeof(T)) {
      std::memcpy(pos, &v, sizeof(T));
      windowPos_ = pos + sizeof(T);
      return *this;
    }
#endif
    (this->*write)(v);
    return *this;
  }
};

class QVUTIL_EXPORT ISerialStream {
 public:
  ISerialStream() = default;
  ISerialStream(const ISerialStream&) = delete;
  ISerialStream& operator=(const ISerialStream&) = delete;
  virtual ~ISerialStream();

  // Also reads a value that was written as unsigned (and readUnsigned one written as int).
  virtual void readInt(int& v) = 0;
  virtual void readUnsigned(unsigned int& v) = 0;
  virtual void readFloat(float& v) = 0;
  virtual void readDouble(double& v) = 0;
  virtual void readBool(bool& v) = 0;
  virtual void readString(std::string& v) = 0;
  // Bytes known to remain, as a bound for counts read from the stream; SIZE_MAX when unknown.
  virtual std::size_t available() const;

  ISerialStream& operator>>(int& v) { return get(v, &ISerialStream::readInt); }
  ISerialStream& operator>>(unsigned int& v) { return get(v, &ISerialStream::readUnsigned); }
  ISerialStream& operator>>(float& v) { return get(v, &ISerialStream::readFloat); }
  ISerialStream& operator>>(double& v) { return get(v, &ISerialStream::readDouble); }
  ISerialStream& operator>>(bool& v) {
    readBool(v);
    return *this;
  }
  ISerialStream& operator>>(std::string& v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const char* pos = windowPos_;
    unsigned int n = 0;
    if (static_cast<std::size_t>(windowEnd_ - pos) >= 4) {
      std::memcpy(&n, pos, 4);
      if (static_cast<std::size_t>(windowEnd_ - pos) - 4 >= n) {
        v.assign(pos + 4, n);
        windowPos_ = pos + 4 + n;
        return *this;
      }
    }
#endif
    readString(v);
    return *this;
  }
  // An unsigned count, then the elements. A count that the remaining bytes cannot hold raises
  // "End_of_file_reached" before anything is allocated.
  ISerialStream& operator>>(std::vector<int>& v);
  ISerialStream& operator>>(std::vector<float>& v);
  ISerialStream& operator>>(std::vector<double>& v);

 protected:
  // The unread bytes that the inline operators may drain as little-endian scalars. Empty unless
  // a subclass opens it; a subclass that does must treat the drained bytes as read.
  const char* windowPos_ = nullptr;
  const char* windowEnd_ = nullptr;

 private:
  template <typename T>
  ISerialStream& get(T& v, void (ISerialStream::*read)(T&)) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    const char* pos = windowPos_;
    if (static_cast<std::size_t>(windowEnd_ - pos) >= sizeof(T)) {
      std::memcpy(&v, pos, sizeof(T));
      windowPos_ = pos + sizeof(T);
      return *this;
    }
#endif
    (this->*read)(v);
    return *this;
  }
  template <typename T>
  ISerialStream& readVector(std::vector<T>& v);
};
