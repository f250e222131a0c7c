// dctool: look inside carrier files, the channel between the computing side and the graphics
// side. See `dctool --help`.
#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "carrierfile.h"
#include "commands.h"

namespace {

const char* const kUsage =
    "usage: dctool <command> [options]\n"
    "\n"
    "Look inside carrier files: one top-level object of the data-carrier library, written\n"
    "with serialize() to the binary or the text stream (dctool recognises which).\n"
    "\n"
    "commands:\n"
    "  dump FILE                      the whole object as labelled text, indented by nesting\n"
    "  info FILE [--json]             class, data-carrier type, entity counts, bounding box\n"
    "  convert IN OUT [--text|--binary]\n"
    "                                 between the binary and the text form, bit for bit\n"
    "  svg FILE OUT.svg               a picture of a 2D drawing\n"
    "  demo [DIR]                     write, read back and query a sample of every carrier\n"
    "\n"
    "`dctool COMMAND --help` describes one command. Exit status: 0 success, 1 a file that\n"
    "cannot be read or written, 2 bad usage.\n";

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  if (args.empty()) {
    std::cerr << kUsage;
    return 2;
  }
  if (args[0] == "--help" || args[0] == "-h" || args[0] == "help") {
    std::cout << kUsage;
    return 0;
  }
  const std::string command = args[0];
  args.erase(args.begin());
  const dctool::Command* cmd = dctool::findCommand(command);
  if (!cmd) {
    std::cerr << "dctool: unknown command '" << command << "'\n\n" << kUsage;
    return 2;
  }
  if (std::any_of(args.begin(), args.end(),
                  [](const std::string& a) { return a == "--help" || a == "-h"; })) {
    std::cout << cmd->help;
    return 0;
  }
  try {
    return cmd->run(args, std::cout);
  } catch (const dctool::UsageError& e) {
    std::cerr << "dctool " << command << ": " << e.what() << "\n\n" << cmd->help;
    return 2;
  } catch (const dctool::ToolError& e) {
    std::cerr << "dctool: " << e.what() << "\n";
    return e.exitCode();
  }
}
