// Export of carriers to the file formats of common viewers.
#include "carrierfile.h"
#include "commands.h"

namespace dctool {

void runExport(const std::string& in, const std::string& outPath, bool verbose, std::ostream& log) {
  (void)in;
  (void)outPath;
  (void)verbose;
  (void)log;
  throw ToolError(1, "export: not available yet");
}

}  // namespace dctool
