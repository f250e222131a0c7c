#include "demosamples.h"

#include "datacarrier/cgsymboldata.h"
#include "datacarrier/impression.h"

namespace dctool {

namespace {

using namespace nkdatacarrier;

DemoSample impressionSample() {
  auto imp = std::make_shared<Impression>(7);
  // A cross imprinted on the plate: two lines.
  imp->allocate(2);
  imp->addLine(1.0f, 0.5f);
  imp->addLine(3.0f, 1.5f);
  imp->addLine(1.0f, 1.5f);
  imp->addLine(3.0f, 0.5f);
  imp->setBoundingBox2D(BoundingBox2D(1.0f, 3.0f, 0.5f, 1.5f));
  return {"impression", "Imprinted lines: a cross on the plate", imp, [imp](std::ostream& out) {
            out << "  " << imp->getNumberOfLines() << " lines; data-carrier type "
                << imp->getDataCarrierType() << "; a reader restores the box and keeps no lines\n";
          }};
}

DemoSample symbolSample() {
  auto sym = std::make_shared<CgSymbolData>();
  sym->setString("kind", "fixed support");
  sym->setInt("node", 42);
  sym->setDouble("size", 2.5);
  sym->setVectorDouble("direction", {0.0, -1.0, 0.0});
  return {"symbol", "Symbol data of a fixed support", sym, [sym](std::ostream& out) {
            out << "  got(\"node\") " << std::boolalpha << sym->got("node") << ", node "
                << sym->getInt("node") << ", direction y " << sym->getVectorDouble("direction")[1]
                << "\n";
          }};
}

}  // namespace

std::vector<DemoSample> demoSamples() { return {impressionSample(), symbolSample()}; }

}  // namespace dctool
