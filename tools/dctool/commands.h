// The subcommands of dctool: each parses its own arguments and writes its result to `out`.
#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "qvutil/serializable.h"

namespace dctool {

// Bad arguments: the tool prints the message and the command's help, and exits with 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct Command {
  std::string name;
  std::string help;
  int (*run)(const std::vector<std::string>& args, std::ostream& out);
};

const Command* findCommand(const std::string& name);

// Writes a 2D drawing (RenderDraw2D, RenderDrawProj2D) as SVG to `path`; raises ToolError(1)
// for any other class. `title` names the drawing in the picture and in errors.
void saveDrawingSvg(const nkbase::Serializable& object, const std::string& title,
                    const std::string& path);

int runDump(const std::vector<std::string>& args, std::ostream& out);
int runInfo(const std::vector<std::string>& args, std::ostream& out);
int runConvert(const std::vector<std::string>& args, std::ostream& out);
int runSvg(const std::vector<std::string>& args, std::ostream& out);
int runDemo(const std::vector<std::string>& args, std::ostream& out);

}  // namespace dctool
