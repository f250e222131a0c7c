// Writes the seed corpus of the fuzz targets into DIR/<Class>/: objects made through the
// library's API (the samples of `dctool demo`, the pieces nested inside them, an empty object of
// every class and a few odd ones), each as one fuzz input: the form byte, then the stream.
//   fuzz_seeds DIR
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "../tools/dctool/demosamples.h"
#include "fuzzclasses.h"
#include "inputchecks.h"

namespace {

namespace fs = std::filesystem;
using namespace nkdatacarrier;

fs::path root;
std::map<std::string, std::string> classNameOfID;  // class identifier -> C++ class name
int filesWritten = 0;

// The stream of `object` in `form` (raw: serializeRaw alone, without the class identifier).
std::string streamOf(const nkbase::Serializable& object, qvfuzz::Form form) {
  if (!form.raw) return qvfuzz::writeForm(object, form.text);
  nkbase::Prop prop;
  if (form.text) {
    std::ostringstream out;
    TextOSerialStream os(out);
    object.serializeRaw(os, prop);
    return out.str();
  }
  BinaryOSerialStream os;
  object.serializeRaw(os, prop);
  return std::string(os.getBuffer().begin(), os.getBuffer().end());
}

// Saves `object` as DIR/<Class>/<stem>.bin and .txt, and with `raw` also the raw forms.
void save(const nkbase::Serializable& object, const std::string& stem, bool raw = false) {
  const std::string& name = classNameOfID.at(object.getClassID());
  fs::create_directories(root / name);
  for (const qvfuzz::Form form : {qvfuzz::Form{false, false}, qvfuzz::Form{true, false},
                                  qvfuzz::Form{false, true}, qvfuzz::Form{true, true}}) {
    if (form.raw && !raw) continue;
    const std::string file = stem + (form.raw ? ".raw" : "") + (form.text ? ".txt" : ".bin");
    std::ofstream out(root / name / file, std::ios::binary);
    out.put(static_cast<char>(qvfuzz::selectorOf(form)));
    out << streamOf(object, form);
    ++filesWritten;
  }
}

// The pieces of a 2D drawing, each on its own.
void savePieces(const RenderDraw2D& d) {
  save(d.getBoundingBox(), "plate");
  for (int i = 0; i < d.getNumberOfFaces(); ++i)
    save(d.getFace(i), "plate-face" + std::to_string(i));
  for (int i = 0; i < d.getNumberOfCurves() && i < 2; ++i)
    save(d.getCurve(i), "plate-curve" + std::to_string(i));
  save(d.getFaceToCurveAdjacent(), "plate-face-curves");
  save(d.getCurveToPointAdjacent(), "plate-curve-points");
  save(d.getPointToFaceAdjacent(), "plate-point-faces");
}

void savePieces(const RenderDraw1D& d) {
  save(d.getBoundingBox(), "bar");
  for (int i = 0; i < d.getNumberOfCurves(); ++i)
    save(d.getCurve(i), "bar-curve" + std::to_string(i));
  save(d.getPointToCurveAdjacent(), "bar-point-curves");
}

void savePieces(const RenderDraw3D& d) {
  save(d.getBoundingBox(), "block");
  for (int i = 0; i < d.getNumberOfSheets() && i < 2; ++i)
    save(d.getSheet(i), "block-sheet" + std::to_string(i));
  for (int i = 0; i < d.getNumberOfCurves() && i < 2; ++i)
    save(d.getCurve(i), "block-curve" + std::to_string(i));
  save(d.getSheetToSolidAdjacent(), "block-sheet-solids");
}

// Objects the demo does not show: a 3D box, an invalid curve, a closed path, a lone triangle,
// a 1D polyline, a 3D zigzag, a folded sheet and a relation with orientations and a source
// without adjacents.
void saveOddOnes() {
  BoundingBox3D box(-1.0f, 1.0f, -2.0f, 2.0f, 0.0f, 0.5f);
  save(box, "box");
  Curve2D invalid;
  invalid.appendVertex(0.0f, 0.0f);
  invalid.setValid(false);
  save(invalid, "invalid");
  Curve2D line;
  line.appendVertex(0.0f, 0.0f);
  line.appendVertex(1.0f, 2.0f);
  line.setBoundingBox2D(BoundingBox2D(0.0f, 1.0f, 0.0f, 2.0f));
  line.setValid(true);
  line.setUp(1);
  line.setDown(-1);
  save(line, "line");
  ClosedPath2D path;
  path.allocate(4);
  path.setVertex(0, 0.0f, 0.0f);
  path.setVertex(1, 1.0f, 0.0f);
  path.setVertex(2, 1.0f, 1.0f);
  path.setVertex(3, 0.0f, 1.0f);
  save(path, "square");
  Face2D tri;
  tri.allocate(3, 1);
  tri.setVertex(0, 0.0f, 0.0f);
  tri.setVertex(1, 1.0f, 0.0f);
  tri.setVertex(2, 0.0f, 1.0f);
  tri.setTriangle(0, 0, 1, 2);
  tri.setBoundingBox2D(BoundingBox2D(0.0f, 1.0f, 0.0f, 1.0f));
  tri.setValid(true);
  save(tri, "triangle");
  Curve1D c1;
  c1.allocate(3);
  c1.setVertex(0, 0.0f);
  c1.setVertex(1, 0.5f);
  c1.setVertex(2, 2.0f);
  c1.setBoundingBox1D(BoundingBox1D(0.0f, 2.0f));
  c1.setValid(true);
  save(c1, "polyline");
  Curve3D helix;
  for (int i = 0; i < 4; ++i)
    helix.appendVertex(float(i % 2), float(i / 2), 0.25f * float(i));
  helix.setBoundingBox3D(BoundingBox3D(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 0.75f));
  helix.setValid(true);
  save(helix, "zigzag");
  Sheet3D roof;  // two triangles folded along the diagonal, normals up
  roof.allocate(4, 2);
  roof.setVertex(0, 0.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f);
  roof.setVertex(1, 1.0f, 0.0f, 0.0f, 0.0f, 0.0f, 1.0f);
  roof.setVertex(2, 1.0f, 1.0f, 0.5f, 0.0f, 0.0f, 1.0f);
  roof.setVertex(3, 0.0f, 1.0f, 0.0f, 0.0f, 0.0f, 1.0f);
  roof.setTriangle(0, 0, 1, 2);
  roof.setTriangle(1, 0, 2, 3);
  roof.setBoundingBox3D(BoundingBox3D(0.0f, 1.0f, 0.0f, 1.0f, 0.0f, 0.5f));
  roof.setValid(true);
  roof.setComplete(true);
  roof.setUp(1);
  roof.setDown(0);
  save(roof, "roof");
  Adjacent adj;
  adj.allocate(3, 4);
  adj.setAdjacent(0, {{1, 1}, {2, -1}});
  adj.setAdjacent(2, {0, 1});
  save(adj, "pairs");
  // A 3D geometry map renumbering every kind of entity, each map with its own values and count
  // (the demo has no 3D map): a reader that fills one map from another's values shows here.
  RenderGeom3D block(12);
  block.allocate(2, 3, 4, 5);
  block.point(1).setVertex(1.0f, 2.0f, 3.0f);
  block.initPointMap(6) = {5, 4, 3, 2, 1};
  block.initEdgeMap(2) = {0, 1, 1, 0};
  block.initFaceMap(4) = {3, 2, 1};
  block.initDomainMap(1) = {0, 0};
  save(block, "renumbered", true);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: fuzz_seeds DIR\n");
    return 2;
  }
  root = argv[1];
#define QV_NAME_CLASS(Class) classNameOfID[Class().getClassID()] = #Class;
  QV_FOR_EACH_FUZZ_CLASS(QV_NAME_CLASS)
#undef QV_NAME_CLASS
#define QV_SAVE_EMPTY(Class) save(Class(), "empty", true);
  QV_FOR_EACH_FUZZ_CLASS(QV_SAVE_EMPTY)
#undef QV_SAVE_EMPTY
  for (const dctool::DemoSample& sample : dctool::demoSamples()) {
    save(*sample.object, "demo-" + sample.stem);
    if (auto* d2 = dynamic_cast<const RenderDraw2D*>(sample.object.get())) savePieces(*d2);
    if (auto* d1 = dynamic_cast<const RenderDraw1D*>(sample.object.get())) savePieces(*d1);
    if (auto* d3 = dynamic_cast<const RenderDraw3D*>(sample.object.get())) savePieces(*d3);
    if (auto* meshes = dynamic_cast<const RenderMeshCollection*>(sample.object.get()))
      for (int i = 0; i < meshes->getNumberOfRenderMeshs(); ++i)
        save(*meshes->getRenderMesh(i), "mesh-piece" + std::to_string(i));
  }
  saveOddOnes();
  std::printf("%d seed files in %s\n", filesWritten, root.c_str());
  return 0;
}
