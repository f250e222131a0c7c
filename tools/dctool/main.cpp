// dctool: look inside carrier files, the channel between the computing side and the graphics
// side; import real models, export carriers to viewers, and query 3D geometries. See
// `dctool --help`.
#include <CLI/CLI.hpp>
#include <iostream>
#include <new>
#include <string>
#include <vector>

#include "carrierfile.h"
#include "commands.h"
#include "import.h"
#include "qvutil/exception.h"

#ifndef DCTOOL_VERSION
#define DCTOOL_VERSION "unknown"
#endif

namespace {

// A subcommand's FILE argument: an existing path or `-` for standard input.
CLI::Option* fileArg(CLI::App* cmd, const std::string& name, std::string& target,
                     const std::string& what) {
  return cmd->add_option(name, target, what)->required();
}

}  // namespace

int main(int argc, char** argv) {
  using namespace dctool;
  CLI::App app{
      "Look inside carrier files (one top-level object of the data-carrier library, written\n"
      "with serialize() to the binary or the text stream; dctool recognises which), import\n"
      "real models, export carriers for viewers and query 3D geometries.\n"
      "FILE and OUT may be `-` for standard input and output. Exit status: 0 success,\n"
      "1 a failure (one line on standard error), 2 bad usage.",
      "dctool"};
  app.set_version_flag("--version", std::string("dctool ") + DCTOOL_VERSION);
  app.require_subcommand(1);
  app.fallthrough();  // -v also after the command name
  bool verbose = false;
  app.add_flag("-v,--verbose", verbose, "Report what was written");

  std::string file, out, form, view = "iso", shape, dir = "dctool-demo";
  bool json = false, draw = false, inside = false, text = false, binary = false;
  double size = 0;
  int dim = 0;
  std::vector<double> numbers;

  CLI::App* dump = app.add_subcommand(
      "dump",
      "The whole object as labelled text, one value or label per line, indented by nesting");
  fileArg(dump, "FILE", file, "carrier file");

  CLI::App* info = app.add_subcommand(
      "info",
      "Class, data-carrier type, entity counts, bounding box, and the volume and boundary\n"
      "area of every solid of a 3D geometry");
  fileArg(info, "FILE", file, "carrier file");
  info->add_flag("--json", json, "One JSON object");

  CLI::App* convert = app.add_subcommand(
      "convert",
      "Between the binary and the text form, bit for bit. The form written is --text or\n"
      "--binary when given, else OUT's extension: .txt text, anything else binary");
  fileArg(convert, "IN", file, "carrier file");
  fileArg(convert, "OUT", out, "file to write");
  auto* textFlag = convert->add_flag("--text", text, "Write the text form");
  convert->add_flag("--binary", binary, "Write the binary form")->excludes(textFlag);

  CLI::App* svg = app.add_subcommand(
      "svg",
      "A picture: a 2D drawing or sketch as drawn, a 3D geometry in an orthographic view\n"
      "(triangles flat shaded by their normal, far to near, curves on top)");
  fileArg(svg, "FILE", file, "carrier file");
  fileArg(svg, "OUT", out, "SVG file to write");
  svg->add_option("--view", view, "Direction of a 3D view")
      ->check(CLI::IsMember({"iso", "x", "y", "z"}))
      ->capture_default_str();

  CLI::App* demo = app.add_subcommand(
      "demo",
      "Builds a sample of every carrier class (and a real 3D part), writes each in both forms,\n"
      "reads each back, checks that it is unchanged, and queries and exports the part");
  demo->add_option("DIR", dir, "directory for the files")->capture_default_str();

  CLI::App* import = app.add_subcommand(
      "import",
      "A real model (the mesher's .msh and .geo files, STEP, BRep, STL) as a RenderGeom3D\n"
      "whose maps hold the model's entity tags (a RenderGeom2D for a planar model).\n"
      "OUT's extension chooses the form: .txt text, anything else binary");
  fileArg(import, "IN", file, "model file");
  fileArg(import, "OUT", out, "carrier file to write");
  import->add_option("--size", size, "Mesh size for surfaces and curves without a mesh");
  import->add_flag("--draw", draw, "Write a RenderDraw3D (no entity maps)");

  CLI::App* exportCmd = app.add_subcommand(
      "export",
      "A carrier for viewers; OUT's extension chooses the format: .vtp (VTK XML polydata)\n"
      "or .obj (Wavefront, one group per sheet, face or mesh piece)");
  fileArg(exportCmd, "IN", file, "carrier file");
  fileArg(exportCmd, "OUT", out, ".vtp or .obj file to write");

  CLI::App* pick = app.add_subcommand(
      "pick", "Every hit of the line through two points on the sheets of a 3D geometry, sorted");
  fileArg(pick, "FILE", file, "3D geometry");
  pick->add_option("COORDS", numbers, "x0 y0 z0 x1 y1 z1")->required()->expected(6);
  pick->add_flag("--json", json, "One JSON object");

  CLI::App* select = app.add_subcommand(
      "select",
      "The entities of one dimension in a shape: box xmin xmax ymin ymax zmin zmax,\n"
      "ball cx cy cz r, cylinder px py pz ax ay az r hmin hmax");
  fileArg(select, "FILE", file, "3D geometry");
  select->add_option("SHAPE", shape, "box, ball or cylinder")
      ->required()
      ->check(CLI::IsMember({"box", "ball", "cylinder"}));
  select->add_option("NUMBERS", numbers, "the shape's numbers")->required()->expected(4, 9);
  select->add_option("--dim", dim, "1 curves, 2 sheets, 3 solids")
      ->required()
      ->check(CLI::Range(1, 3));
  select->add_flag("--inside", inside, "Wholly inside the shape (default: touching it)");
  select->add_flag("--json", json, "One JSON object");

  CLI::App* insideCmd =
      app.add_subcommand("inside", "The solids of a 3D geometry that contain a point");
  fileArg(insideCmd, "FILE", file, "3D geometry");
  insideCmd->add_option("POINT", numbers, "x y z")->required()->expected(3);
  insideCmd->add_flag("--json", json, "One JSON object");

  CLI::App* cut = app.add_subcommand(
      "cut", "The cut of a 3D geometry by a plane, written as plot data (PostDataObject)");
  fileArg(cut, "FILE", file, "3D geometry");
  // Six single positionals: a vector would swallow OUT as well.
  double plane[6] = {0, 0, 0, 0, 0, 0};
  const char* const planeNames[6] = {"PX", "PY", "PZ", "NX", "NY", "NZ"};
  for (int k = 0; k < 6; ++k)
    cut->add_option(planeNames[k], plane[k], k < 3 ? "a point of the plane" : "the plane's normal")
        ->required();
  fileArg(cut, "OUT", out, "carrier file to write (.txt text, anything else binary)");

  for (CLI::App* cmd : app.get_subcommands({}))
    cmd->positionals_at_end(false);

  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForAllHelp& e) {
    return app.exit(e);
  } catch (const CLI::CallForVersion& e) {
    return app.exit(e);
  } catch (const CLI::ParseError& e) {
    std::cerr << "dctool: " << e.what() << " (see dctool --help)\n";
    return 2;
  }

  try {
    if (dump->parsed()) runDump(file, std::cout);
    if (info->parsed()) runInfo(file, json, std::cout);
    if (convert->parsed())
      runConvert(file, out, text ? "text" : binary ? "binary" : "", verbose, std::cerr);
    if (svg->parsed()) runSvg(file, out, view, verbose, std::cerr);
    if (demo->parsed()) return runDemo(dir, std::cout);
    if (import->parsed()) {
      if (!dctool::importAvailable()) {
        std::cerr << "dctool: import is not available: this dctool was built without the "
                     "mesher's library (install libgmsh-dev and reconfigure)\n";
        return 1;
      }
      runImport(file, out, size, draw, verbose, std::cerr);
    }
    if (exportCmd->parsed()) runExport(file, out, verbose, std::cerr);
    if (pick->parsed())
      runPick(file, {numbers[0], numbers[1], numbers[2]}, {numbers[3], numbers[4], numbers[5]},
              json, std::cout);
    if (select->parsed()) runSelect(file, shape, numbers, dim, inside, json, std::cout);
    if (insideCmd->parsed()) runInside(file, numbers, json, std::cout);
    if (cut->parsed())
      runCut(file, {plane[0], plane[1], plane[2]}, {plane[3], plane[4], plane[5]}, out, verbose,
             std::cerr);
  } catch (const dctool::UsageError& e) {
    std::cerr << "dctool: " << e.what() << " (see dctool --help)\n";
    return 2;
  } catch (const dctool::ToolError& e) {
    std::cerr << "dctool: " << e.what() << "\n";
    return e.exitCode();
  } catch (const nkbase::Exception& e) {
    std::cerr << "dctool: " << e.getCode() << ": " << e.getMessage() << "\n";
    return 1;
  } catch (const std::exception& e) {
    std::cerr << "dctool: " << e.what() << "\n";
    return 1;
  }
  return 0;
}
