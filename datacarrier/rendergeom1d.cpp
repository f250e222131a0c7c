#include "datacarrier/rendergeom1d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/geommap.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderGeom1D, "RenderGeom1D")

RenderGeom1D::RenderGeom1D() = default;
RenderGeom1D::RenderGeom1D(int id) : RenderDrawGeom1D(RENDER_GEOM_1D, id) {}
RenderGeom1D::~RenderGeom1D() = default;

const std::vector<int>& RenderGeom1D::getPointMap() {
  return geommap::identity(pointMap_, getNumberOfPoints());
}

const std::vector<int>& RenderGeom1D::getDomainMap() {
  return geommap::identity(domainMap_, getNumberOfCurves());
}

std::vector<int> RenderGeom1D::getPointMap() const {
  std::vector<int> map = pointMap_;
  return geommap::identity(map, getNumberOfPoints());
}

std::vector<int> RenderGeom1D::getDomainMap() const {
  std::vector<int> map = domainMap_;
  return geommap::identity(map, getNumberOfCurves());
}

nkboost::shared_ptr<RenderDrawGeom> RenderGeom1D::clone() const {
  return drawgeom::cloneObject(*this);
}

void RenderGeom1D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  os.label("");
  serializeAttributes(os, prop);  // the maps are the identity: nothing to write
}

void RenderGeom1D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(76, is, 0, VERSION);
  deserializeAttributes(is);
}

}  // namespace nkdatacarrier
