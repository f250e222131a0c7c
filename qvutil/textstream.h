// The text serial streams: a human-readable, round-trippable form for inspecting and diffing
// carrier files. One item per line: a value as its type and its text ("int -3", "unsigned 7",
// "float 0.1", "double -0", "bool true", "string \"a b\\n\""), a label as '# "text"'. Floats and
// doubles are written in their shortest exact form (NaN with its bit pattern), so every value
// reads back bit for bit; strings escape quotes, backslashes and every byte outside printable
// ASCII. The fields of each object written with serialize() are indented by its nesting depth.
// The reader skips labels, blank lines and leading blanks.
#pragma once

#include <iosfwd>
#include <string>

#include "qvutil/serialstream.h"

class QVUTIL_EXPORT TextOSerialStream : public OSerialStream {
 public:
  explicit TextOSerialStream(std::ostream& out);

  void label(const std::string& text) override;
  void writeInt(int v) override;
  void writeUnsigned(unsigned int v) override;
  void writeFloat(float v) override;
  void writeDouble(double v) override;
  void writeBool(bool v) override;
  void writeString(const std::string& v) override;
  // The fields of a nested object are indented by two more blanks.
  void beginObject(const std::string& classID) override;
  void endObject() override;

 private:
  void indent();

  std::ostream& out_;
  int depth_ = 0;
};

class QVUTIL_EXPORT TextISerialStream : public ISerialStream {
 public:
  explicit TextISerialStream(std::istream& in);

  // Each raises "End_of_file_reached" when the text ends, and "Malformed_text_stream" (with the
  // line number and the offending line) when the next value is not of the requested type.
  void readInt(int& v) override;
  void readUnsigned(unsigned int& v) override;
  void readFloat(float& v) override;
  void readDouble(double& v) override;
  void readBool(bool& v) override;
  void readString(std::string& v) override;
  // Characters left in a seekable input, SIZE_MAX otherwise. Every value takes at least as many
  // characters here as bytes in the binary form, so the binary bound on counts holds.
  std::size_t available() const override;

  // Number of the line that holds the last value read (1-based; 0 before the first).
  int lineNumber() const { return line_; }

 private:
  // Reads the next value line; returns its type word and leaves the value text in `text`.
  std::string next(std::string& text);
  [[noreturn]] void malformed(const std::string& expected, const std::string& found) const;

  std::istream& in_;
  int line_ = 0;
  long long end_ = -1;  // offset of the input's end, -1 when it cannot be sought
};

// Escapes a byte string as a double-quoted text literal, and back. Used by the text streams and by
// tools that print strings the same way.
QVUTIL_EXPORT std::string quoteText(const std::string& raw);
// Returns false when `quoted` is not a complete literal as quoteText writes it.
QVUTIL_EXPORT bool unquoteText(const std::string& quoted, std::string& raw);
