#include "datacarrier/renderdraw2d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderDraw2D, "RenderDraw2D")

RenderDraw2D::RenderDraw2D() = default;
RenderDraw2D::RenderDraw2D(RenderDrawGeom2D::Type2D type, int id) : RenderDrawGeom2D(type, id) {}
RenderDraw2D::~RenderDraw2D() = default;

nkboost::shared_ptr<RenderDrawGeom> RenderDraw2D::clone() const {
  return drawgeom::cloneObject(*this);
}

void RenderDraw2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os, prop);
  drawgeom::writeSnapCoords(os, snap_);
}

void RenderDraw2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(70, is, 0, VERSION);
  deserializeAttributes(is);
  drawgeom::readSnapCoords(is, snap_, drawgeom::SnapRead::REPLACE);
}

}  // namespace nkdatacarrier
