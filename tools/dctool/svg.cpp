#include "commands.h"

namespace dctool {

int runSvg(const std::vector<std::string>&, std::ostream&) {
  throw UsageError("no 2D drawing classes are registered yet");
}

}  // namespace dctool
