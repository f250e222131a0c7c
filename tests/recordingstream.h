// Test streams: RecordingOStream records every value and label a carrier writes, as one line of
// text each ("unsigned 1", "# version", "float 0.5", "string RenderCurve2D"), so that a test can
// compare the exact write sequence with the one it expects. ForgedIStream plays back values
// that a test lists by hand (old versions, corrupt counts) and reports how many were consumed.
#pragma once

#include <charconv>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "qvutil/exception.h"
#include "qvutil/serialstream.h"

namespace qvtest {

inline std::string formatFloat(float v) {
  char buf[64];
  return std::string(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
}
inline std::string formatDouble(double v) {
  char buf[64];
  return std::string(buf, std::to_chars(buf, buf + sizeof buf, v).ptr);
}

// A write sequence written compactly, its lines parted by '|': "unsigned 0|# version|int 3".
inline std::vector<std::string> seq(const std::string& joined) {
  std::vector<std::string> out;
  std::size_t start = 0;
  for (std::size_t bar; (bar = joined.find('|', start)) != std::string::npos; start = bar + 1)
    out.push_back(joined.substr(start, bar - start));
  out.push_back(joined.substr(start));
  return out;
}

class RecordingOStream : public OSerialStream {
 public:
  void label(const std::string& text) override { lines.push_back("# " + text); }
  void writeInt(int v) override { lines.push_back("int " + std::to_string(v)); }
  void writeUnsigned(unsigned int v) override { lines.push_back("unsigned " + std::to_string(v)); }
  void writeFloat(float v) override { lines.push_back("float " + formatFloat(v)); }
  void writeDouble(double v) override { lines.push_back("double " + formatDouble(v)); }
  void writeBool(bool v) override { lines.push_back(v ? "bool true" : "bool false"); }
  void writeString(const std::string& v) override { lines.push_back("string " + v); }

  // The recorded lines without the labels.
  std::vector<std::string> values() const {
    std::vector<std::string> out;
    for (const auto& l : lines) {
      if (l.rfind("# ", 0) != 0) out.push_back(l);
    }
    return out;
  }

  std::vector<std::string> lines;
};

// A stream of typed values listed by a test. Reading a value of another type fails the read
// with "Forged_type_mismatch"; reading past the end raises "End_of_file_reached".
class ForgedIStream : public ISerialStream {
 public:
  using Value = std::variant<int, unsigned int, float, double, bool, std::string>;

  ForgedIStream() = default;
  explicit ForgedIStream(std::vector<Value> values) : values_(std::move(values)) {}

  ForgedIStream& add(Value v) {
    values_.push_back(std::move(v));
    return *this;
  }

  void readInt(int& v) override {
    const Value& x = next();
    if (auto* u = std::get_if<unsigned int>(&x)) {
      v = static_cast<int>(*u);
    } else {
      v = get<int>(x);
    }
  }
  void readUnsigned(unsigned int& v) override {
    const Value& x = next();
    if (auto* i = std::get_if<int>(&x)) {
      v = static_cast<unsigned int>(*i);
    } else {
      v = get<unsigned int>(x);
    }
  }
  void readFloat(float& v) override { v = get<float>(next()); }
  void readDouble(double& v) override { v = get<double>(next()); }
  void readBool(bool& v) override { v = get<bool>(next()); }
  void readString(std::string& v) override { v = get<std::string>(next()); }

  // Number of values read so far.
  std::size_t consumed() const { return pos_; }
  std::size_t size() const { return values_.size(); }

 private:
  const Value& next() {
    if (pos_ >= values_.size()) {
      throw nkbase::Exception("tests/recordingstream", __LINE__, nkbase::kEndOfFileReached);
    }
    return values_[pos_++];
  }
  template <typename T>
  T get(const Value& x) {
    if (const T* p = std::get_if<T>(&x)) return *p;
    throw nkbase::Exception("tests/recordingstream", __LINE__, "Forged_type_mismatch",
                            "value " + std::to_string(pos_ - 1) + " has another type");
  }

  std::vector<Value> values_;
  std::size_t pos_ = 0;
};

}  // namespace qvtest
