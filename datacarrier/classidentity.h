// The class identity that every serializable carrier declares: its format version and its
// class-ID string (getStaticClassID, isStaticClassID compared byte for byte, and the virtual
// getClassID that a base reference answers with the most derived class's string).
#pragma once

#include <string>

#include "qvutil/serializable.h"
#include "qvutil/serialstream.h"

// Declares VERSION, getStaticClassID, isStaticClassID and getClassID in a class body; the
// library defines them in the class's source file.
#define DC_DECLARE_CLASS_IDENTITY(version)            \
 public:                                              \
  static constexpr unsigned int VERSION = version;    \
  static std::string getStaticClassID();              \
  static bool isStaticClassID(const std::string& id); \
  std::string getClassID() const override;
