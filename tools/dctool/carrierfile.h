// Carrier files: one top-level object written with nkbase::Serializable::serialize (its class
// identifier first) to the binary or the text stream. Loading recognises the form, makes an
// object of the class named in the file, reads it, and keeps the exact values read.
#pragma once

#include <memory>
#include <stdexcept>
#include <string>

#include "qvutil/serializable.h"
#include "valuetrace.h"

namespace dctool {

enum class Format { Binary, Text };

// A failure that ends the tool with `exitCode` and prints `what()` as one line.
class ToolError : public std::runtime_error {
 public:
  ToolError(int exitCode, const std::string& message)
      : std::runtime_error(message), exitCode_(exitCode) {}
  int exitCode() const { return exitCode_; }

 private:
  int exitCode_;
};

struct LoadedCarrier {
  std::unique_ptr<nkbase::Serializable> object;
  Format format = Format::Binary;
  Trace values;  // every value of the file, in order, the class identifier first
};

// Raises ToolError(1, "PATH: byte N: CODE: message") for a file that cannot be read as a carrier.
LoadedCarrier loadCarrier(const std::string& path);

// The file's values with the writer's labels and nesting (see annotate).
Trace labelledValues(const LoadedCarrier& carrier);

// Writes `trace` to `path` in `format`; raises ToolError(1, ...) when the file cannot be written.
void saveTrace(const Trace& trace, const std::string& path, Format format);
// Writes an object as a carrier file.
void saveCarrier(const nkbase::Serializable& object, const std::string& path, Format format);

std::string formatName(Format format);

// The form to write: `flag` ("text" or "binary") when given, else from the extension of `path`
// (".txt" text, anything else binary).
Format formatForPath(const std::string& path, const std::string& flag);

}  // namespace dctool
