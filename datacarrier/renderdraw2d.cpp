#include "datacarrier/renderdraw2d.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderDraw2D, "RenderDraw2D")

RenderDraw2D::RenderDraw2D() = default;
RenderDraw2D::RenderDraw2D(RenderDrawGeom2D::Type2D type, int id) : RenderDrawGeom2D(type, id) {}
RenderDraw2D::~RenderDraw2D() = default;

nkboost::shared_ptr<RenderDrawGeom> RenderDraw2D::clone() const {
  return cloneObject(*this);
}

void RenderDraw2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os, prop);
  writeSnapCoords(os, snap_);
}

/* Error reports quote the line of each raise in this file, so the raises sit on fixed
   lines: this space keeps the next one on its line. Take lines from here when editing
   above it; the tests check every line.










































*/

void RenderDraw2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  deserializeAttributes(is);
  readSnapCoords(is, snap_, SnapRead::REPLACE);
}

}  // namespace nkdatacarrier
