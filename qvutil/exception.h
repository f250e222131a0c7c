// The one exception type of qvutil and of the data-carrier library. It carries the raising
// module ("datacarrier/adjacent"), the raising line, a stable error code that callers switch on,
// and an optional human-readable message.
#pragma once

#include <exception>
#include <string>

#include "qvutil/qvutilexport.h"

namespace nkbase {

class QVUTIL_EXPORT Exception : public std::exception {
 public:
  Exception(const std::string& module, int line, const std::string& code);
  Exception(const std::string& module, int line, const std::string& code,
            const std::string& message);

  const std::string& getModule() const { return module_; }
  int getLine() const { return line_; }
  const std::string& getCode() const { return code_; }
  // Empty when the exception was built without a message.
  const std::string& getMessage() const { return message_; }
  // "code: message (module:line)" in one line.
  const char* what() const noexcept override;

 private:
  std::string module_;
  int line_;
  std::string code_;
  std::string message_;
  std::string what_;
};

// The code raised by every stream (and every reader of block parameters) when the data ends
// before a value is complete.
QVUTIL_EXPORT extern const char* const kEndOfFileReached;

}  // namespace nkbase
