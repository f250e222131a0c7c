#include "datacarrier/rendergeom3d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/geommap.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderGeom3D, "RenderGeom3D")

// The class is asked by identifier, not by dynamic type, so that an object of a class derived
// from this one with an identifier of its own is refused.
nkboost::shared_ptr<RenderGeom3D> RenderGeom3D::shared_ptr_cast(
    const nkboost::shared_ptr<RenderDrawGeom3D>& geometry) {
  nkboost::shared_ptr<RenderGeom3D> map = nkboost::dynamic_pointer_cast<RenderGeom3D>(
      geometry && geometry->getClassID() == getStaticClassID() ? geometry : nullptr);
  if (!map) DC_RAISE_AT(31, errors::kInternalError, "RenderGeom3D object expected");
  return map;
}

RenderGeom3D::RenderGeom3D() = default;
RenderGeom3D::RenderGeom3D(int id) : RenderDrawGeom3D(RENDER_GEOM_3D, id) {}
RenderGeom3D::~RenderGeom3D() = default;

std::vector<int>& RenderGeom3D::initPointMap(int n) {
  return geommap::init(pointMap_, numGeomPoint_, getNumberOfPoints(), n);
}

std::vector<int>& RenderGeom3D::initEdgeMap(int n) {
  return geommap::init(edgeMap_, numGeomEdge_, getNumberOfCurves(), n);
}

std::vector<int>& RenderGeom3D::initFaceMap(int n) {
  return geommap::init(faceMap_, numGeomFace_, getNumberOfSheets(), n);
}

std::vector<int>& RenderGeom3D::initDomainMap(int n) {
  return geommap::init(domainMap_, numGeomDomain_, getNumberOfSolids(), n);
}

nkboost::shared_ptr<RenderDrawGeom> RenderGeom3D::clone() const {
  return drawgeom::cloneObject(*this);
}

void RenderGeom3D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os, prop);
  geommap::write(os, pointMap_, "Render2GeomPoint", numGeomPoint_, "Number points");
  geommap::write(os, edgeMap_, "Render2GeomEdge", numGeomEdge_, "Number edges");
  geommap::write(os, faceMap_, "Render2GeomFace", numGeomFace_, "Number faces");
  geommap::write(os, domainMap_, "Render2GeomDomain", numGeomDomain_, "Number domains");
}

void RenderGeom3D::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION_AT(155, is, 0, VERSION);
  deserializeAttributes(is);
  if (version < 1) return;  // the oldest layout has no maps
  geommap::read(is, pointMap_, numGeomPoint_);
  geommap::read(is, edgeMap_, numGeomEdge_);
  geommap::read(is, faceMap_, numGeomFace_);
  geommap::read(is, domainMap_, numGeomDomain_);
}

}  // namespace nkdatacarrier
