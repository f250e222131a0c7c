// The query commands on 3D geometries (pick, select, inside, cut) and the import command.
#include <cerrno>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "carrierfile.h"
#include "commands.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdrawgeom2d.h"
#include "datacarrier/renderdrawgeom3d.h"
#include "datacarrier/rendergeom3d.h"
#include "import.h"

namespace dctool {

using nkdatacarrier::RenderDrawGeom2D;
using nkdatacarrier::RenderDrawGeom3D;
using nkdatacarrier::RenderGeom3D;

namespace {

const RenderDrawGeom3D& geometry3D(const LoadedCarrier& carrier, const std::string& path) {
  const auto* g = dynamic_cast<const RenderDrawGeom3D*>(carrier.object.get());
  if (!g) {
    throw ToolError(1, path + ": " + carrier.object->getClassID() +
                           " is not a 3D geometry (RenderDraw3D or RenderGeom3D)");
  }
  return *g;
}

// The model's tag of rendered entity `i` of dimension `dim`, when the file carries maps.
nlohmann::json tagOf(const RenderDrawGeom3D& g, int dim, int i) {
  const auto* map = dynamic_cast<const RenderGeom3D*>(&g);
  if (!map) return nullptr;
  const std::vector<int>& m = dim == 0   ? map->getPointMap()
                              : dim == 1 ? map->getEdgeMap()
                              : dim == 2 ? map->getFaceMap()
                                         : map->getDomainMap();
  return i >= 0 && std::size_t(i) < m.size() ? nlohmann::json(m[std::size_t(i)]) : nullptr;
}

std::string num(double v) {
  std::ostringstream s;
  s << std::setprecision(9) << v;
  return s.str();
}

void requireFinite(const std::vector<double>& values, const std::string& what) {
  for (double v : values)
    if (!std::isfinite(v)) throw ToolError(1, what + ": a coordinate is not a finite number");
}

const char* const kKinds[] = {"point", "curve", "sheet", "solid"};

}  // namespace

void runImport(const std::string& in, const std::string& out, double size, bool draw, bool verbose,
               std::ostream& log) {
  if (!std::isfinite(size) || size < 0) throw ToolError(1, "--size must be a finite size >= 0");
  std::error_code ec;
  if (std::filesystem::is_directory(in, ec)) throw ToolError(1, in + ": is a directory");
  if (!std::ifstream(in)) throw ToolError(1, in + ": cannot open: " + std::strerror(errno));
  ImportOptions options;
  options.size = size;
  options.draw = draw;
  const auto object = importModel(in, options, std::cerr);
  const Format format = formatForPath(out, "");
  saveCarrier(*object, out, format);
  if (verbose) {
    log << in << " -> " << out << " (" << object->getClassID() << ", " << formatName(format)
        << ")\n";
  }
}

void runPick(const std::string& file, const std::vector<double>& p0, const std::vector<double>& p1,
             bool json, std::ostream& out) {
  requireFinite(p0, "pick");
  requireFinite(p1, "pick");
  const LoadedCarrier carrier = loadCarrier(file);
  const RenderDrawGeom3D& g = geometry3D(carrier, file);
  std::vector<std::vector<double>> hits;
  std::vector<int> sheets;
  g.findLineIntersections(p0, p1, hits, sheets);
  nlohmann::json list = nlohmann::json::array();
  for (std::size_t i = 0; i < hits.size(); ++i) {
    const double t = hits[i][0];
    nlohmann::json h;
    h["t"] = t;
    h["point"] = {p0[0] + t * (p1[0] - p0[0]), p0[1] + t * (p1[1] - p0[1]),
                  p0[2] + t * (p1[2] - p0[2])};
    h["sheet"] = sheets[i];
    h["tag"] = tagOf(g, 2, sheets[i]);
    h["normal"] = {hits[i][1], hits[i][2], hits[i][3]};
    list.push_back(h);
  }
  if (json) {
    out << nlohmann::json{{"file", file}, {"hits", list}}.dump() << "\n";
    return;
  }
  for (const auto& h : list) {
    out << "t " << num(h["t"]) << "  point " << num(h["point"][0]) << " " << num(h["point"][1])
        << " " << num(h["point"][2]) << "  sheet " << h["sheet"].get<int>();
    if (!h["tag"].is_null()) out << " (tag " << h["tag"].get<int>() << ")";
    out << "  normal " << num(h["normal"][0]) << " " << num(h["normal"][1]) << " "
        << num(h["normal"][2]) << "\n";
  }
}

void runSelect(const std::string& file, const std::string& shape, const std::vector<double>& values,
               int dim, bool inside, bool json, std::ostream& out) {
  const std::size_t needed = shape == "box" ? 6 : shape == "ball" ? 4 : 9;
  if (values.size() != needed) {
    throw UsageError(shape + " takes " + std::to_string(needed) + " numbers" +
                     (shape == "box"    ? " (xmin xmax ymin ymax zmin zmax)"
                      : shape == "ball" ? " (cx cy cz r)"
                                        : " (px py pz ax ay az r hmin hmax)"));
  }
  for (std::size_t i = 0; i < values.size(); ++i)
    if (std::isnan(values[i]) || (std::isinf(values[i]) && !(shape == "cylinder" && i >= 7)))
      throw ToolError(1, "select: a number of the " + shape + " is not finite");
  const LoadedCarrier carrier = loadCarrier(file);
  const RenderDrawGeom3D& g = geometry3D(carrier, file);
  if (dim < 1 || dim > 3) throw UsageError("--dim must be 1 (curves), 2 (sheets) or 3 (solids)");
  const int n = dim == 1   ? g.getNumberOfCurves()
                : dim == 2 ? g.getNumberOfSheets()
                           : g.getNumberOfSolids();
  std::vector<int> candidates(std::size_t(std::max(n, 0)));
  for (int i = 0; i < n; ++i)
    candidates[std::size_t(i)] = i;
  std::vector<int> found;
  const auto& v = values;
  if (shape == "box") {
    g.findEntitiesInBox(v, dim, inside, candidates, found);
  } else if (shape == "ball") {
    g.findEntitiesInBall({v[0], v[1], v[2]}, v[3], dim, inside, candidates, found);
  } else {
    g.findEntitiesInCylinder({v[0], v[1], v[2]}, {v[3], v[4], v[5]}, v[6], v[8], v[7], dim, inside,
                             candidates, found);
  }
  nlohmann::json list = nlohmann::json::array();
  for (int i : found)
    list.push_back({{"index", i}, {"tag", tagOf(g, dim, i)}});
  if (json) {
    out << nlohmann::json{{"file", file}, {"kind", kKinds[dim]}, {"selected", list}}.dump() << "\n";
    return;
  }
  for (const auto& e : list) {
    out << kKinds[dim] << " " << e["index"].get<int>();
    if (!e["tag"].is_null()) out << " (tag " << e["tag"].get<int>() << ")";
    out << "\n";
  }
}

void runInside(const std::string& file, const std::vector<double>& p, bool json,
               std::ostream& out) {
  requireFinite(p, "inside");
  const LoadedCarrier carrier = loadCarrier(file);
  const RenderDrawGeom3D& g = geometry3D(carrier, file);
  nlohmann::json list = nlohmann::json::array();
  for (int s = 0; s < g.getNumberOfSolids(); ++s)
    if (g.pointInSolid(p, s)) list.push_back({{"index", s}, {"tag", tagOf(g, 3, s)}});
  if (json) {
    out << nlohmann::json{{"file", file}, {"point", p}, {"solids", list}}.dump() << "\n";
    return;
  }
  for (const auto& e : list) {
    out << "solid " << e["index"].get<int>();
    if (!e["tag"].is_null()) out << " (tag " << e["tag"].get<int>() << ")";
    out << "\n";
  }
}

void runCut(const std::string& file, const std::vector<double>& point,
            const std::vector<double>& normal, const std::string& outPath, bool verbose,
            std::ostream& log) {
  requireFinite(point, "cut");
  requireFinite(normal, "cut");
  if (normal[0] == 0 && normal[1] == 0 && normal[2] == 0)
    throw ToolError(1, "cut: the plane's normal is zero");
  const LoadedCarrier carrier = loadCarrier(file);
  const RenderDrawGeom3D& g = geometry3D(carrier, file);
  nkdatacarrier::PostDataObject plot;
  Array<double, 1> p(3), n(3);
  for (int k = 0; k < 3; ++k) {
    p(k) = point[std::size_t(k)];
    n(k) = normal[std::size_t(k)];
  }
  g.findPlaneIntersections(p, n, plot);
  const Format format = formatForPath(outPath, "");
  saveCarrier(plot, outPath, format);
  if (verbose) log << file << " cut -> " << outPath << " (" << formatName(format) << ")\n";
}

}  // namespace dctool
