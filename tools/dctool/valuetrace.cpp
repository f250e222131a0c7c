#include "valuetrace.h"

#include <cstring>

namespace dctool {

namespace {

template <typename T>
std::uint64_t bitsOf(T v) {
  static_assert(sizeof(T) <= 8, "scalar");
  std::uint64_t bits = 0;
  std::memcpy(&bits, &v, sizeof v);
  return bits;
}

template <typename T>
T fromBits(std::uint64_t bits) {
  T v;
  std::memcpy(&v, &bits, sizeof v);
  return v;
}

}  // namespace

void TracingIStream::readInt(int& v) {
  inner_ >> v;
  trace_.push_back({TraceItem::Int, bitsOf(v), {}});
}
void TracingIStream::readUnsigned(unsigned int& v) {
  inner_ >> v;
  trace_.push_back({TraceItem::Unsigned, bitsOf(v), {}});
}
void TracingIStream::readFloat(float& v) {
  inner_ >> v;
  trace_.push_back({TraceItem::Float, bitsOf(v), {}});
}
void TracingIStream::readDouble(double& v) {
  inner_ >> v;
  trace_.push_back({TraceItem::Double, bitsOf(v), {}});
}
void TracingIStream::readBool(bool& v) {
  inner_ >> v;
  trace_.push_back({TraceItem::Bool, v ? 1u : 0u, {}});
}
void TracingIStream::readString(std::string& v) {
  inner_ >> v;
  trace_.push_back({TraceItem::String, 0, v});
}

void TracingOStream::label(const std::string& text) {
  trace_.push_back({TraceItem::Label, 0, text});
}
void TracingOStream::writeInt(int v) {
  trace_.push_back({TraceItem::Int, bitsOf(v), {}});
}
void TracingOStream::writeUnsigned(unsigned int v) {
  trace_.push_back({TraceItem::Unsigned, bitsOf(v), {}});
}
void TracingOStream::writeFloat(float v) {
  trace_.push_back({TraceItem::Float, bitsOf(v), {}});
}
void TracingOStream::writeDouble(double v) {
  trace_.push_back({TraceItem::Double, bitsOf(v), {}});
}
void TracingOStream::writeBool(bool v) {
  trace_.push_back({TraceItem::Bool, v ? 1u : 0u, {}});
}
void TracingOStream::writeString(const std::string& v) {
  trace_.push_back({TraceItem::String, 0, v});
}
void TracingOStream::beginObject(const std::string& classID) {
  trace_.push_back({TraceItem::Begin, 0, classID});
}
void TracingOStream::endObject() {
  trace_.push_back({TraceItem::End, 0, {}});
}

void replay(const Trace& trace, OSerialStream& os) {
  for (const TraceItem& item : trace) {
    switch (item.kind) {
      case TraceItem::Int:
        os << fromBits<int>(item.bits);
        break;
      case TraceItem::Unsigned:
        os << fromBits<unsigned int>(item.bits);
        break;
      case TraceItem::Float:
        os << fromBits<float>(item.bits);
        break;
      case TraceItem::Double:
        os << fromBits<double>(item.bits);
        break;
      case TraceItem::Bool:
        os << (item.bits != 0);
        break;
      case TraceItem::String:
        os << item.text;
        break;
      case TraceItem::Label:
        os.label(item.text);
        break;
      case TraceItem::Begin:
        os.beginObject(item.text);
        break;
      case TraceItem::End:
        os.endObject();
        break;
    }
  }
}

Trace annotate(const Trace& read, const Trace& written) {
  Trace out;
  std::size_t r = 0;
  std::size_t w = 0;
  int depth = 0;
  for (; w < written.size(); ++w) {
    const TraceItem& item = written[w];
    if (!item.isValue()) {
      if (item.kind == TraceItem::Begin) ++depth;
      if (item.kind == TraceItem::End) --depth;
      out.push_back(item);
      continue;
    }
    if (r >= read.size() || !item.sameValue(read[r])) break;
    out.push_back(item);
    ++r;
  }
  if (w < written.size() || r < read.size()) {
    // The reader did not keep what it read: the rest is shown as read, at the depth reached.
    for (; r < read.size(); ++r)
      out.push_back(read[r]);
    for (; depth > 0; --depth)
      out.push_back({TraceItem::End, 0, {}});
  }
  return out;
}

}  // namespace dctool
