// The one way the library raises: nkbase::Exception with the raising module, line and code.
// The module is derived from the source path: "datacarrier/adjacent" for a raise in
// datacarrier/adjacent.cpp, "datacarrier/renderdrawgeom.h" for one in that header.
#pragma once

#include <cstring>
#include <string>

#include "qvutil/exception.h"

namespace nkdatacarrier {

// "…/datacarrier/x.cpp" -> "datacarrier/x"; a header keeps its ".h".
inline std::string moduleNameOf(const char* file) {
  std::string path(file);
  const std::size_t slash = path.find_last_of('/');
  const std::size_t dir =
      slash == std::string::npos ? std::string::npos : path.find_last_of('/', slash - 1);
  std::string module = dir == std::string::npos ? path : path.substr(dir + 1);
  const std::string cpp = ".cpp";
  if (module.size() > cpp.size() &&
      module.compare(module.size() - cpp.size(), cpp.size(), cpp) == 0) {
    module.resize(module.size() - cpp.size());
  }
  return module;
}

[[noreturn]] inline void raiseError(const char* file, int line, const std::string& code) {
  throw nkbase::Exception(moduleNameOf(file), line, code);
}

[[noreturn]] inline void raiseError(const char* file, int line, const std::string& code,
                                    const std::string& message) {
  throw nkbase::Exception(moduleNameOf(file), line, code, message);
}

}  // namespace nkdatacarrier

// Raises nkbase::Exception(module of this file, this line, code[, message]).
#define DC_RAISE(...) ::nkdatacarrier::raiseError(__FILE__, __LINE__, __VA_ARGS__)
// The same with a fixed line: some error reports carry a line number that consumers' error
// tables know, which must not move when the source is edited.
#define DC_RAISE_AT(line, ...) ::nkdatacarrier::raiseError(__FILE__, (line), __VA_ARGS__)
