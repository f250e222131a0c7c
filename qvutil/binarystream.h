// The binary serial streams: little-endian on every host; int, unsigned and float take 4 bytes,
// double 8, bool 1, a string its unsigned byte length and then its bytes. Labels write nothing.
// The writer fills an in-memory buffer or a std::ostream; the reader drains a byte range, an
// owned buffer or a whole std::istream.
#pragma once

#include <iosfwd>
#include <vector>

#include "qvutil/serialstream.h"

class QVUTIL_EXPORT BinaryOSerialStream : public OSerialStream {
 public:
  // Writes into an in-memory buffer (see getBuffer).
  BinaryOSerialStream();
  // Writes to `out` through a buffer that is flushed when full, by flush() and on destruction.
  explicit BinaryOSerialStream(std::ostream& out);
  ~BinaryOSerialStream() override;

  void label(const std::string& text) override;
  void writeInt(int v) override;
  void writeUnsigned(unsigned int v) override;
  void writeFloat(float v) override;
  void writeDouble(double v) override;
  void writeBool(bool v) override;
  void writeString(const std::string& v) override;

  // The bytes written so far (in-memory mode; the bytes not yet flushed when writing to a
  // std::ostream).
  const std::vector<char>& getBuffer() const;
  // Number of bytes written so far, in either mode.
  std::size_t size() const { return flushed_ + used(); }
  // Hands buffered bytes to the std::ostream (no effect in in-memory mode).
  void flush();
  // Forgets the bytes written (in-memory mode) or not yet flushed, and keeps the buffer's
  // capacity, so that a producer writing one object after another allocates once.
  void clear();

 private:
  std::size_t used() const { return static_cast<std::size_t>(windowPos_ - buf_.data()); }
  char* reserve(std::size_t n);
  void closeWindow() const;

  mutable std::vector<char> buf_;  // its size is the capacity in use; used() bytes are written
  std::ostream* out_ = nullptr;
  std::size_t flushed_ = 0;
};

class QVUTIL_EXPORT BinaryISerialStream : public ISerialStream {
 public:
  // Reads the `size` bytes at `data`, which must outlive the stream.
  BinaryISerialStream(const char* data, std::size_t size);
  // Reads the bytes of `data`, which must outlive the stream.
  explicit BinaryISerialStream(const std::vector<char>& data);
  // Reads the bytes of `data`, which the stream keeps.
  explicit BinaryISerialStream(std::vector<char>&& data);
  // Reads everything that remains in `in` (taken in whole at construction).
  explicit BinaryISerialStream(std::istream& in);

  void readInt(int& v) override;
  void readUnsigned(unsigned int& v) override;
  void readFloat(float& v) override;
  void readDouble(double& v) override;
  void readBool(bool& v) override;
  void readString(std::string& v) override;
  std::size_t available() const override;

  // Bytes consumed so far; reading past the end raises and leaves it unchanged.
  std::size_t position() const { return static_cast<std::size_t>(windowPos_ - begin_); }

 private:
  const char* take(std::size_t n);

  std::vector<char> owned_;
  const char* begin_ = nullptr;
};
