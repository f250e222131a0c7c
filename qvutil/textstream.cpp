#include "qvutil/textstream.h"

#include <charconv>
#include <cinttypes>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <istream>
#include <ostream>

#include "qvutil/exception.h"

namespace {

const char* const kModule = "qvutil/textstream";
const char* const kMalformed = "Malformed_text_stream";

// Shortest text that reads back to the same bits; NaN keeps its payload as "nan(0x...)".
template <typename F, typename Bits>
std::string formatReal(F v) {
  if (std::isnan(v)) {
    Bits bits;
    std::memcpy(&bits, &v, sizeof v);
    char buf[32];
    std::snprintf(buf, sizeof buf, "nan(0x%llx)", static_cast<unsigned long long>(bits));
    return buf;
  }
  char buf[64];
  const auto res = std::to_chars(buf, buf + sizeof buf, v);
  return std::string(buf, res.ptr);
}

template <typename F, typename Bits>
bool parseReal(const std::string& text, F& v) {
  if (text.compare(0, 4, "nan(") == 0 && text.size() > 5 && text.back() == ')') {
    unsigned long long bits = 0;
    const char* first = text.data() + 4;
    const char* last = text.data() + text.size() - 1;
    if (last - first > 2 && first[0] == '0' && first[1] == 'x') first += 2;
    const auto res = std::from_chars(first, last, bits, 16);
    if (res.ec != std::errc() || res.ptr != last || bits > static_cast<Bits>(-1)) return false;
    const Bits b = static_cast<Bits>(bits);
    std::memcpy(&v, &b, sizeof v);
    return std::isnan(v);
  }
  if (text == "inf" || text == "-inf") {
    v = text[0] == '-' ? -HUGE_VAL : HUGE_VAL;
    return true;
  }
  const char* first = text.data();
  const char* last = first + text.size();
  const auto res = std::from_chars(first, last, v);
  // from_chars reports out-of-range results; shortest forms are never out of range.
  return res.ec == std::errc() && res.ptr == last && !text.empty();
}

template <typename I>
bool parseInteger(const std::string& text, I& v) {
  const char* first = text.data();
  const char* last = first + text.size();
  const auto res = std::from_chars(first, last, v);
  return res.ec == std::errc() && res.ptr == last && !text.empty();
}

}  // namespace

std::string quoteText(const std::string& raw) {
  std::string out;
  out.reserve(raw.size() + 2);
  out += '"';
  for (unsigned char c : raw) {
    switch (c) {
      case '"':
        out += "\\\"";
        break;
      case '\\':
        out += "\\\\";
        break;
      case '\n':
        out += "\\n";
        break;
      case '\r':
        out += "\\r";
        break;
      case '\t':
        out += "\\t";
        break;
      default:
        if (c < 0x20 || c >= 0x7f) {
          char buf[5];
          std::snprintf(buf, sizeof buf, "\\x%02x", c);
          out += buf;
        } else {
          out += static_cast<char>(c);
        }
    }
  }
  out += '"';
  return out;
}

bool unquoteText(const std::string& quoted, std::string& raw) {
  if (quoted.size() < 2 || quoted.front() != '"' || quoted.back() != '"') return false;
  const std::size_t end = quoted.size() - 1;  // the closing quote
  std::string out;
  for (std::size_t i = 1; i < end; ++i) {
    const char c = quoted[i];
    if (c == '"') return false;
    if (c != '\\') {
      out += c;
      continue;
    }
    if (i + 1 >= end) return false;
    switch (quoted[++i]) {
      case '"':
        out += '"';
        break;
      case '\\':
        out += '\\';
        break;
      case 'n':
        out += '\n';
        break;
      case 'r':
        out += '\r';
        break;
      case 't':
        out += '\t';
        break;
      case 'x': {
        if (i + 2 >= end) return false;
        unsigned int byte = 0;
        const char* first = quoted.data() + i + 1;
        const auto res = std::from_chars(first, first + 2, byte, 16);
        if (res.ec != std::errc() || res.ptr != first + 2) return false;
        out += static_cast<char>(byte);
        i += 2;
        break;
      }
      default:
        return false;
    }
  }
  raw.swap(out);
  return true;
}

// ---- writer ----

TextOSerialStream::TextOSerialStream(std::ostream& out) : out_(out) {}

void TextOSerialStream::indent() {
  for (int i = 0; i < depth_; ++i)
    out_ << "  ";
}

void TextOSerialStream::beginObject(const std::string&) {
  ++depth_;
}
void TextOSerialStream::endObject() {
  if (depth_ > 0) --depth_;
}

void TextOSerialStream::label(const std::string& text) {
  indent();
  out_ << "# " << quoteText(text) << '\n';
}
void TextOSerialStream::writeInt(int v) {
  indent();
  out_ << "int " << v << '\n';
}
void TextOSerialStream::writeUnsigned(unsigned int v) {
  indent();
  out_ << "unsigned " << v << '\n';
}
void TextOSerialStream::writeFloat(float v) {
  indent();
  out_ << "float " << formatReal<float, std::uint32_t>(v) << '\n';
}
void TextOSerialStream::writeDouble(double v) {
  indent();
  out_ << "double " << formatReal<double, std::uint64_t>(v) << '\n';
}
void TextOSerialStream::writeBool(bool v) {
  indent();
  out_ << (v ? "bool true\n" : "bool false\n");
}
void TextOSerialStream::writeString(const std::string& v) {
  indent();
  out_ << "string " << quoteText(v) << '\n';
}

// ---- reader ----

TextISerialStream::TextISerialStream(std::istream& in) : in_(in) {
  const std::istream::pos_type here = in_.tellg();
  if (here == std::istream::pos_type(-1)) return;
  if (in_.seekg(0, std::ios::end)) end_ = static_cast<long long>(in_.tellg());
  in_.clear();
  in_.seekg(here);
}

std::size_t TextISerialStream::available() const {
  if (end_ < 0) return SIZE_MAX;
  if (!in_.good()) return 0;  // the text has ended
  const long long here = static_cast<long long>(in_.tellg());
  return here < 0 || here > end_ ? 0 : static_cast<std::size_t>(end_ - here);
}

std::string TextISerialStream::next(std::string& text) {
  std::string line;
  while (std::getline(in_, line)) {
    ++line_;
    const std::size_t start = line.find_first_not_of(" \t\r");
    if (start == std::string::npos || line[start] == '#') continue;
    std::size_t end = line.find_last_not_of('\r');
    const std::size_t space = line.find(' ', start);
    if (space == std::string::npos || space > end) malformed("a value", line);
    text = line.substr(space + 1, end - space);
    return line.substr(start, space - start);
  }
  throw nkbase::Exception(kModule, __LINE__, nkbase::kEndOfFileReached,
                          "text ends after line " + std::to_string(line_));
}

void TextISerialStream::malformed(const std::string& expected, const std::string& found) const {
  throw nkbase::Exception(
      kModule, __LINE__, kMalformed,
      "line " + std::to_string(line_) + ": expected " + expected + ", found '" + found + "'");
}

void TextISerialStream::readInt(int& v) {
  std::string text;
  const std::string type = next(text);
  if (type == "int" && parseInteger(text, v)) return;
  unsigned int u = 0;
  if (type == "unsigned" && parseInteger(text, u)) {
    v = static_cast<int>(u);  // the same four bytes, as the binary stream reads them
    return;
  }
  malformed("int", type + " " + text);
}

void TextISerialStream::readUnsigned(unsigned int& v) {
  std::string text;
  const std::string type = next(text);
  if (type == "unsigned" && parseInteger(text, v)) return;
  int i = 0;
  if (type == "int" && parseInteger(text, i)) {
    v = static_cast<unsigned int>(i);
    return;
  }
  malformed("unsigned", type + " " + text);
}

void TextISerialStream::readFloat(float& v) {
  std::string text;
  const std::string type = next(text);
  if (type != "float" || !parseReal<float, std::uint32_t>(text, v))
    malformed("float", type + " " + text);
}

void TextISerialStream::readDouble(double& v) {
  std::string text;
  const std::string type = next(text);
  if (type != "double" || !parseReal<double, std::uint64_t>(text, v)) {
    malformed("double", type + " " + text);
  }
}

void TextISerialStream::readBool(bool& v) {
  std::string text;
  const std::string type = next(text);
  if (type == "bool" && (text == "true" || text == "false")) {
    v = text == "true";
    return;
  }
  malformed("bool", type + " " + text);
}

void TextISerialStream::readString(std::string& v) {
  std::string text;
  const std::string type = next(text);
  if (type != "string" || !unquoteText(text, v)) malformed("string", type + " " + text);
}
