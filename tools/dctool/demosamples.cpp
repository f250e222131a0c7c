#include "demosamples.h"

#include "datacarrier/cgsymboldata.h"
#include "datacarrier/impression.h"
#include "datacarrier/postdataobject.h"
#include "qvutil/array.h"

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

// A stress plot on the 4 x 2 plate: two triangles with a value at each corner.
DemoSample plotSample() {
  using DoubleArrays = PostDataObject::DoubleArrays;
  using IntArrays = PostDataObject::IntArrays;
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  auto plot = std::make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 1);
  plot->addVertices(std::make_shared<DoubleArrays>(DoubleArrays{{0, 4, 4, 0}, {0, 0, 2, 2}}));
  plot->addElementIndices(std::make_shared<IntArrays>(IntArrays{{0, 0}, {1, 2}, {2, 3}}));
  plot->addData(std::make_shared<DoubleArrays>(DoubleArrays{{10, 30, 50, 20}}));
  plot->addDataMax(std::make_shared<std::vector<double>>(std::vector<double>{50}));
  plot->addDataMin(std::make_shared<std::vector<double>>(std::vector<double>{10}));
  plot->setBounds(std::make_shared<DoubleArrays>(DoubleArrays{{0, 4}, {0, 2}, {0, 0}}));
  plot->setProperty("quantity", "von Mises stress");
  plot->setProperty("unit", "MPa");
  return {"plot", "Plot data: a stress plot on the plate", plot, [plot](std::ostream& out) {
            // Probe along the vertical line through (3, 1).
            Array<double, 1> a{3.0, 1.0, 1.0};
            Array<double, 1> b{3.0, 1.0, -1.0};
            std::vector<double> params, values;
            std::vector<std::vector<double>> normals;
            plot->findLineTriangleIntersections(a, b, params, values, normals);
            out << "  " << plot->getProperty("quantity") << " in " << plot->getProperty("unit")
                << ", " << plot->getDataMin(PostDataInfo::DT_VALUE) << " .. "
                << plot->getDataMax(PostDataInfo::DT_VALUE) << "; the line through (3, 1) hits "
                << params.size() << " triangle(s), value " << (values.empty() ? 0.0 : values[0])
                << "\n";
          }};
}

}  // namespace

std::vector<DemoSample> demoSamples() { return {plotSample(), impressionSample(), symbolSample()}; }

}  // namespace dctool
