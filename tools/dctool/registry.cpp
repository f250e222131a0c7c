#include "registry.h"

#include <algorithm>

#include "datacarrier/adjacent.h"
#include "datacarrier/boundingbox1d.h"
#include "datacarrier/boundingbox2d.h"
#include "datacarrier/boundingbox3d.h"
#include "datacarrier/cgsymboldata.h"
#include "datacarrier/closedpath2d.h"
#include "datacarrier/curve1d.h"
#include "datacarrier/curve2d.h"
#include "datacarrier/curve3d.h"
#include "datacarrier/face2d.h"
#include "datacarrier/impression.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw1d.h"
#include "datacarrier/renderdraw2d.h"
#include "datacarrier/renderdraw3d.h"
#include "datacarrier/renderdrawedit2d.h"
#include "datacarrier/renderdrawproj2d.h"
#include "datacarrier/rendergeom1d.h"
#include "datacarrier/rendergeom2d.h"
#include "datacarrier/rendergeom3d.h"
#include "datacarrier/rendermeshboundary2d.h"
#include "datacarrier/rendermeshboundary3d.h"
#include "datacarrier/rendermeshcollection.h"
#include "datacarrier/rendermeshedge3d.h"
#include "datacarrier/rendermeshsubdomain1d.h"
#include "datacarrier/rendermeshsubdomain2d.h"
#include "datacarrier/sheet3d.h"
#include "summary.h"

namespace dctool {

namespace {

template <typename T>
CarrierClass entry() {
  return {T().getClassID(), [] { return std::make_unique<T>(); },
          [](const nkbase::Serializable& object, Summary& s) {
            summarise(static_cast<const T&>(object), s);
          }};
}

}  // namespace

const std::vector<CarrierClass>& carrierClasses() {
  using namespace nkdatacarrier;
  static const std::vector<CarrierClass> classes = {
      // Top-level carriers.
      entry<RenderDraw1D>(),
      entry<RenderDraw2D>(),
      entry<RenderDraw3D>(),
      entry<RenderDrawProj2D>(),
      entry<RenderDrawEdit2D>(),  // identified by getClassID alone: it has no static one
      entry<RenderGeom1D>(),
      entry<RenderGeom2D>(),
      entry<RenderGeom3D>(),
      entry<RenderMeshCollection>(),
      entry<PostDataObject>(),
      entry<Impression>(),
      // Carriers that travel inside others, and may be written on their own.
      entry<CgSymbolData>(),
      entry<Adjacent>(),
      entry<BoundingBox1D>(),
      entry<BoundingBox2D>(),
      entry<BoundingBox3D>(),
      entry<Curve1D>(),
      entry<Curve2D>(),
      entry<ClosedPath2D>(),
      entry<Face2D>(),
      entry<RenderMeshEdge3D>(),
      entry<RenderMeshBoundary3D>(),
      entry<RenderMeshSubdomain1D>(),
      entry<RenderMeshSubdomain2D>(),
      entry<RenderMeshBoundary2D>(),
      entry<Curve3D>(),
      entry<Sheet3D>(),
  };
  return classes;
}

const CarrierClass* findCarrierClass(const std::string& classID) {
  const auto& classes = carrierClasses();
  const auto it = std::find_if(classes.begin(), classes.end(),
                               [&](const CarrierClass& c) { return c.classID == classID; });
  return it == classes.end() ? nullptr : &*it;
}

}  // namespace dctool
