#include <algorithm>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <iterator>
#include <memory>
#include <sstream>

#include "carrierfile.h"
#include "commands.h"
#include "datacarrier/cgsymboldata.h"
#include "datacarrier/impression.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw3d.h"
#include "demosamples.h"
#include "import.h"
#include "qvutil/array.h"
#include "qvutil/exception.h"

namespace dctool {

using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::RenderDrawGeom3D;

namespace {

// Writes `object` in both forms, reads both back, and checks that the files hold exactly the
// values written and that both forms read back alike.
bool writeAndCheck(const nkbase::Serializable& object, const std::string& dir,
                   const std::string& stem, std::ostream& out) {
  bool ok = true;
  TracingOStream written;
  nkbase::Prop prop;
  object.serialize(written, prop);
  std::vector<LoadedCarrier> loaded;
  for (Format format : {Format::Binary, Format::Text}) {
    const std::string path = dir + "/" + stem + (format == Format::Binary ? ".bin" : ".txt");
    saveCarrier(object, path, format);
    loaded.push_back(loadCarrier(path));
    Trace values;
    std::copy_if(written.trace().begin(), written.trace().end(), std::back_inserter(values),
                 [](const TraceItem& item) { return item.isValue(); });
    const Trace& read = loaded.back().values;
    bool same = read.size() == values.size();
    for (std::size_t i = 0; same && i < read.size(); ++i)
      same = read[i].sameValue(values[i]);
    out << "  " << path << ": " << std::filesystem::file_size(path) << " bytes, "
        << (same ? "read back unchanged" : "CHANGED on reading") << "\n";
    ok = ok && same;
  }
  return ok;
}

// A real 3D part: built and meshed with the mesher's library and imported when dctool has it,
// else the generated block of the samples. Written in both forms, read back, picked, selected,
// cut, and exported for viewers.
bool demoPart(const std::string& dir, std::ostream& out) {
  std::unique_ptr<nkbase::Serializable> part;
  if (importAvailable()) {
    const std::string msh = dir + "/part.msh";
    buildDemoPart(msh);
    part = importModel(msh, ImportOptions{}, std::cerr);
    out << "Bracket with a hole, meshed by the mesher and imported from " << msh << " ("
        << part->getClassID() << ")\n";
  } else {
    for (DemoSample& sample : demoSamples())
      if (sample.stem == "drawing3d")
        part = std::make_unique<RenderDraw3D>(dynamic_cast<const RenderDraw3D&>(*sample.object));
    out << "Generated block (" << part->getClassID()
        << "; dctool was built without the mesher's library)\n";
  }
  const bool ok = writeAndCheck(*part, dir, "part", out);
  const auto& g = dynamic_cast<const RenderDrawGeom3D&>(*part);
  std::vector<std::vector<double>> hits;
  std::vector<int> sheets;
  g.findLineIntersections({1.7, 0.5, -1.0}, {1.7, 0.5, 2.0}, hits, sheets);
  std::vector<int> all(std::size_t(g.getNumberOfSheets())), near;
  for (int i = 0; i < g.getNumberOfSheets(); ++i)
    all[std::size_t(i)] = i;
  g.findEntitiesInBall({1.3, 0.5, 0.15}, 0.3, 2, false, all, near);
  out << "  volume " << g.getVolume(3, {0}) << ", boundary area " << g.getBndArea(3, {0})
      << "; a vertical pick at (1.7, 0.5) hits " << hits.size()
      << " sheet(s); a ball of radius 0.3 in the hole touches " << near.size()
      << " sheet(s); (1.3, 0.5, 0.15) in the hole is "
      << (g.pointInSolid({1.3, 0.5, 0.15}, 0) ? "inside" : "outside") << " the part\n";
  nkdatacarrier::PostDataObject cut;
  Array<double, 1> p(3), n(3);
  p(0) = 1.0, p(1) = 0.5, p(2) = 0.15;
  n(0) = 0, n(1) = 0, n(2) = 1;
  g.findPlaneIntersections(p, n, cut);
  saveCarrier(cut, dir + "/part-cut.bin", Format::Binary);
  runExport(dir + "/part.bin", dir + "/part.vtp", false, out);
  runExport(dir + "/part.bin", dir + "/part.obj", false, out);
  saveDrawingSvg(*part, "part", dir + "/part.svg", "iso");
  out << "  " << dir << "/part-cut.bin: the cut at z = 0.15 as plot data; " << dir
      << "/part.vtp, part.obj, part.svg: for viewers\n";
  return ok;
}

}  // namespace

int runDemo(const std::string& dir, std::ostream& out) {
  std::error_code ec;
  std::filesystem::create_directories(dir, ec);
  if (ec) throw ToolError(1, dir + ": cannot create: " + ec.message());

  bool ok = true;
  for (const DemoSample& sample : demoSamples()) {
    out << sample.title << " (" << sample.object->getClassID() << ")\n";
    ok = writeAndCheck(*sample.object, dir, sample.stem, out) && ok;
    if (sample.picture) {
      const std::string svg = dir + "/" + sample.stem + ".svg";
      saveDrawingSvg(*sample.object, sample.title, svg);
      out << "  " << svg << ": a picture (open it in a browser; hover for entity numbers)\n";
    }
    if (sample.query) sample.query(out);
  }
  ok = demoPart(dir, out) && ok;
  out << (ok ? "all samples read back unchanged\n" : "some samples changed on reading\n");
  return ok ? 0 : 1;
}

}  // namespace dctool
