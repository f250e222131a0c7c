#include "qvutil/exception.h"

namespace nkbase {

Exception::Exception(const std::string& module, int line, const std::string& code)
    : Exception(module, line, code, std::string()) {}

Exception::Exception(const std::string& module, int line, const std::string& code,
                     const std::string& message)
    : module_(module), line_(line), code_(code), message_(message) {
  what_ = code_;
  if (!message_.empty()) what_ += ": " + message_;
  what_ += " (" + module_ + ":" + std::to_string(line_) + ")";
}

const char* Exception::what() const noexcept {
  return what_.c_str();
}

}  // namespace nkbase

namespace nkbase {
const char* const kEndOfFileReached = "End_of_file_reached";
}  // namespace nkbase
