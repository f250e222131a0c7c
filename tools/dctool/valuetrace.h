// Value traces: the typed values (and, when writing, the labels and object nesting) that pass
// through a serial stream. dctool reads a carrier through a tracing stream to learn the exact
// values of a file, and writes it through another to learn their labels, so that it can show
// and convert a file bit for bit even where a reader does not keep everything it reads.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "qvutil/serialstream.h"

namespace dctool {

struct TraceItem {
  enum Kind { Int, Unsigned, Float, Double, Bool, String, Label, Begin, End };
  Kind kind;
  std::uint64_t bits = 0;  // the value's bit pattern (Int, Unsigned, Float, Double, Bool)
  std::string text;        // String value, Label text, Begin class identifier

  bool isValue() const { return kind <= String; }
  // Ints and unsigned ints share their four bytes: a reader may take either for the other.
  bool sameValue(const TraceItem& o) const {
    const bool word = (kind == Int || kind == Unsigned) && (o.kind == Int || o.kind == Unsigned);
    return (kind == o.kind || word) && bits == o.bits && text == o.text;
  }
};

using Trace = std::vector<TraceItem>;

// Forwards every read to `inner` and records the value read.
class TracingIStream : public ISerialStream {
 public:
  explicit TracingIStream(ISerialStream& inner) : inner_(inner) {}
  void readInt(int& v) override;
  void readUnsigned(unsigned int& v) override;
  void readFloat(float& v) override;
  void readDouble(double& v) override;
  void readBool(bool& v) override;
  void readString(std::string& v) override;
  std::size_t available() const override { return inner_.available(); }

  const Trace& trace() const { return trace_; }

 private:
  ISerialStream& inner_;
  Trace trace_;
};

// Records every value, label and object boundary written.
class TracingOStream : public OSerialStream {
 public:
  void label(const std::string& text) override;
  void writeInt(int v) override;
  void writeUnsigned(unsigned int v) override;
  void writeFloat(float v) override;
  void writeDouble(double v) override;
  void writeBool(bool v) override;
  void writeString(const std::string& v) override;
  void beginObject(const std::string& classID) override;
  void endObject() override;

  const Trace& trace() const { return trace_; }

 private:
  Trace trace_;
};

// Replays the items of a trace into `os` (values, labels and nesting alike).
void replay(const Trace& trace, OSerialStream& os);

// The file's values with the labels, nesting and value types (int or unsigned) of the writer
// wherever the writer's values agree with them: all of it when the reader kept everything;
// otherwise the labels up to the first difference, and the rest of the file's values unlabelled.
Trace annotate(const Trace& read, const Trace& written);

}  // namespace dctool
