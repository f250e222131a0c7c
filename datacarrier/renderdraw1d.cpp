#include "datacarrier/renderdraw1d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderDraw1D, "RenderDraw1D")

RenderDraw1D::RenderDraw1D() = default;
RenderDraw1D::RenderDraw1D(RenderDrawGeom1D::Type1D type, int id) : RenderDrawGeom1D(type, id) {}
RenderDraw1D::~RenderDraw1D() = default;

nkboost::shared_ptr<RenderDrawGeom> RenderDraw1D::clone() const {
  return drawgeom::cloneObject(*this);
}

void RenderDraw1D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  os.label("");  // deliberately one empty label more than the 2D drawing writes here
  serializeAttributes(os, prop);
  drawgeom::writeSnapCoords(os, snap_);
}

void RenderDraw1D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(77, is, 0, VERSION);
  deserializeAttributes(is);
  drawgeom::readSnapCoords(is, snap_);
}

}  // namespace nkdatacarrier
