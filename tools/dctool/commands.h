// The subcommands of dctool: main.cpp parses the arguments (CLI11) and calls one of these;
// each writes its result to `out` and raises ToolError or UsageError on failure.
#pragma once

#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "qvutil/serializable.h"

namespace dctool {

// Bad arguments found after parsing: the tool prints the message and exits with 2.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes a 2D drawing (RenderDraw2D, RenderDrawProj2D, RenderDrawEdit2D) or a 3D geometry as
// SVG to `path`; raises ToolError(1) for any other class. `title` names the drawing in the
// picture and in errors; `view` is the direction a 3D geometry is seen from: iso, x, y or z.
void saveDrawingSvg(const nkbase::Serializable& object, const std::string& title,
                    const std::string& path, const std::string& view = "iso");

void runDump(const std::string& file, std::ostream& out);
void runInfo(const std::string& file, bool json, std::ostream& out);
void runConvert(const std::string& in, const std::string& outPath, const std::string& form,
                bool verbose, std::ostream& out);
void runSvg(const std::string& file, const std::string& outPath, const std::string& view,
            bool verbose, std::ostream& out);
int runDemo(const std::string& dir, std::ostream& out);

void runImport(const std::string& in, const std::string& out, double size, bool draw, bool verbose,
               std::ostream& log);
void runExport(const std::string& in, const std::string& outPath, bool verbose, std::ostream& log);
void runPick(const std::string& file, const std::vector<double>& p0, const std::vector<double>& p1,
             bool json, std::ostream& out);
void runSelect(const std::string& file, const std::string& shape, const std::vector<double>& values,
               int dim, bool inside, bool json, std::ostream& out);
void runInside(const std::string& file, const std::vector<double>& p, bool json, std::ostream& out);
void runCut(const std::string& file, const std::vector<double>& point,
            const std::vector<double>& normal, const std::string& outPath, bool verbose,
            std::ostream& log);

}  // namespace dctool
