#include "carrierfile.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <new>
#include <sstream>

#include "qvutil/binarystream.h"
#include "qvutil/exception.h"
#include "qvutil/textstream.h"
#include "registry.h"

namespace dctool {

namespace {

std::vector<char> readFile(const std::string& path) {
  if (path == "-") {
    return std::vector<char>(std::istreambuf_iterator<char>(std::cin),
                             std::istreambuf_iterator<char>());
  }
  std::error_code ec;
  if (std::filesystem::is_directory(path, ec)) throw ToolError(1, path + ": is a directory");
  std::ifstream in(path, std::ios::binary);
  if (!in) throw ToolError(1, path + ": cannot open: " + std::strerror(errno));
  return std::vector<char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool printable(char c) {
  return c >= 0x20 && c < 0x7f;
}

// A binary carrier starts with the class identifier: a small little-endian length, then that
// many printable characters. A text carrier starts with a value or label line.
Format detectFormat(const std::vector<char>& bytes, const std::string& path) {
  if (bytes.size() >= 5) {
    const std::size_t n = static_cast<unsigned char>(bytes[0]) |
                          (static_cast<unsigned char>(bytes[1]) << 8) |
                          (static_cast<unsigned char>(bytes[2]) << 16) |
                          (static_cast<std::size_t>(static_cast<unsigned char>(bytes[3])) << 24);
    if (n > 0 && n <= 256 && bytes.size() >= 4 + n) {
      bool allPrintable = true;
      for (std::size_t i = 4; i < 4 + n; ++i)
        allPrintable = allPrintable && printable(bytes[i]);
      if (allPrintable) return Format::Binary;
    }
  }
  std::size_t i = 0;
  while (i < bytes.size() &&
         (bytes[i] == ' ' || bytes[i] == '\t' || bytes[i] == '\n' || bytes[i] == '\r')) {
    ++i;
  }
  const std::string head(
      bytes.begin() + static_cast<std::ptrdiff_t>(i),
      bytes.begin() + static_cast<std::ptrdiff_t>(std::min(bytes.size(), i + 7)));
  if (head.rfind("string ", 0) == 0 || head.rfind('#', 0) == 0) return Format::Text;
  throw ToolError(1, path + ": byte 0: Not_a_carrier_file: neither the binary nor the text form");
}

// Byte offset at which line `line` (1-based) of `bytes` starts.
std::size_t offsetOfLine(const std::vector<char>& bytes, int line) {
  std::size_t offset = 0;
  for (int l = 1; l < line && offset < bytes.size(); ++offset) {
    if (bytes[offset] == '\n') ++l;
  }
  return offset;
}

std::string failure(const std::string& path, std::size_t offset, const std::string& code,
                    const std::string& message) {
  return path + ": byte " + std::to_string(offset) + ": " + code +
         (message.empty() ? "" : ": " + message);
}

// Reads the class identifier and the object through `in`; `where` gives the offset of a failure.
template <typename Where>
void readObject(ISerialStream& in, LoadedCarrier& loaded, const std::string& path, Where where) {
  TracingIStream tracing(in);
  try {
    std::string classID;
    tracing >> classID;
    const CarrierClass* cls = findCarrierClass(classID);
    if (!cls) {
      throw ToolError(1, failure(path, 0, "Unknown_class_identifier",
                                 "no carrier class is called \"" + classID + "\""));
    }
    loaded.object = cls->make();
    loaded.object->deserializeRaw(tracing);
  } catch (const nkbase::Exception& e) {
    throw ToolError(1, failure(path, where(), e.getCode(), e.getMessage()));
  } catch (const std::length_error& e) {
    throw ToolError(1, failure(path, where(), "Invalid_count", e.what()));
  } catch (const std::bad_alloc&) {
    throw ToolError(1, failure(path, where(), "Invalid_count", "a count too large to allocate"));
  }
  loaded.values = tracing.trace();
}

}  // namespace

std::string formatName(Format format) {
  return format == Format::Binary ? "binary" : "text";
}

Format formatForPath(const std::string& path, const std::string& flag) {
  if (flag == "text") return Format::Text;
  if (flag == "binary") return Format::Binary;
  const std::string ext = std::filesystem::path(path).extension().string();
  return ext == ".txt" ? Format::Text : Format::Binary;
}

LoadedCarrier loadCarrier(const std::string& path) {
  const std::vector<char> bytes = readFile(path);
  LoadedCarrier loaded;
  loaded.format = detectFormat(bytes, path);
  if (loaded.format == Format::Binary) {
    BinaryISerialStream in(bytes);
    readObject(in, loaded, path, [&] { return in.position(); });
    if (in.available() > 0) {
      throw ToolError(1, failure(path, in.position(), "Trailing_data",
                                 std::to_string(in.available()) + " bytes after the object"));
    }
  } else {
    std::istringstream text(std::string(bytes.begin(), bytes.end()));
    TextISerialStream in(text);
    readObject(in, loaded, path, [&] { return offsetOfLine(bytes, in.lineNumber()); });
    // Only labels and blank lines may follow the object.
    std::string line;
    int extra = in.lineNumber();
    while (std::getline(text, line)) {
      ++extra;
      const std::size_t start = line.find_first_not_of(" \t\r");
      if (start != std::string::npos && line[start] != '#') {
        throw ToolError(1, failure(path, offsetOfLine(bytes, extra), "Trailing_data",
                                   "values after the object"));
      }
    }
  }
  return loaded;
}

Trace labelledValues(const LoadedCarrier& carrier) {
  TracingOStream written;
  nkbase::Prop prop;
  carrier.object->serialize(written, prop);
  return annotate(carrier.values, written.trace());
}

void saveTrace(const Trace& trace, const std::string& path, Format format) {
  std::ofstream file;
  if (path != "-") {
    std::error_code ec;
    if (std::filesystem::is_directory(path, ec)) throw ToolError(1, path + ": is a directory");
    file.open(path, std::ios::binary | std::ios::trunc);
    if (!file) throw ToolError(1, path + ": cannot create: " + std::strerror(errno));
  }
  std::ostream& out = path == "-" ? std::cout : file;
  if (format == Format::Binary) {
    BinaryOSerialStream stream(out);
    replay(trace, stream);
    stream.flush();
  } else {
    TextOSerialStream stream(out);
    replay(trace, stream);
  }
  out.flush();
  if (!out) throw ToolError(1, path + ": cannot write: " + std::strerror(errno));
}

void saveCarrier(const nkbase::Serializable& object, const std::string& path, Format format) {
  TracingOStream written;
  nkbase::Prop prop;
  object.serialize(written, prop);
  saveTrace(written.trace(), path, format);
}

}  // namespace dctool
