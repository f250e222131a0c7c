#include "datacarrier/rendergeom2d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/geommap.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderGeom2D, "RenderGeom2D")

RenderGeom2D::RenderGeom2D() = default;
RenderGeom2D::RenderGeom2D(int id) : RenderDrawGeom2D(RENDER_GEOM_2D, id) {}
RenderGeom2D::~RenderGeom2D() = default;

std::vector<int>& RenderGeom2D::initPointMap(int n) {
  return geommap::init(pointMap_, numGeomPoint_, getNumberOfPoints(), n);
}

std::vector<int>& RenderGeom2D::initEdgeMap(int n) {
  return geommap::init(edgeMap_, numGeomEdge_, getNumberOfCurves(), n);
}

std::vector<int>& RenderGeom2D::initDomainMap(int n) {
  return geommap::init(domainMap_, numGeomDomain_, getNumberOfFaces(), n);
}

nkboost::shared_ptr<RenderDrawGeom> RenderGeom2D::clone() const {
  return drawgeom::cloneObject(*this);
}

void RenderGeom2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os, prop);
  geommap::write(os, pointMap_, "Render2GeomPoint", numGeomPoint_, "Number points");
  geommap::write(os, edgeMap_, "Render2GeomEdge", numGeomEdge_, "Number edges");
  geommap::write(os, domainMap_, "Render2GeomDomain", numGeomDomain_, "Number domains");
}

void RenderGeom2D::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION_AT(132, is, 0, VERSION);
  deserializeAttributes(is);
  if (version < 1) return;  // the oldest layout has no maps
  geommap::read(is, pointMap_, numGeomPoint_);
  geommap::read(is, edgeMap_, numGeomEdge_);
  geommap::read(is, domainMap_, numGeomDomain_);
}

}  // namespace nkdatacarrier
