#include "datacarrier/renderdraw3d.h"

#include "datacarrier/errorcodes.h"
#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderDraw3D, "RenderDraw3D")

RenderDraw3D::RenderDraw3D() = default;
RenderDraw3D::RenderDraw3D(RenderDrawGeom3D::Type3D type, int id) : RenderDrawGeom3D(type, id) {}
RenderDraw3D::~RenderDraw3D() = default;

nkboost::shared_ptr<RenderDrawGeom> RenderDraw3D::clone() const {
  return drawgeom::cloneObject(*this);
}

// The class is asked by identifier, not by dynamic type, so that an object of a class derived
// from this one with an identifier of its own is refused.
nkboost::shared_ptr<RenderDraw3D> RenderDraw3D::shared_ptr_cast(
    const nkboost::shared_ptr<RenderDrawGeom3D>& geometry) {
  nkboost::shared_ptr<RenderDraw3D> drawing = nkboost::dynamic_pointer_cast<RenderDraw3D>(
      geometry && geometry->getClassID() == getStaticClassID() ? geometry : nullptr);
  if (!drawing) DC_RAISE_AT(30, errors::kInternalError, "RenderDraw3D object expected");
  return drawing;
}

void RenderDraw3D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os, prop);
}

void RenderDraw3D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(51, is, 0, VERSION);
  deserializeAttributes(is);
}

}  // namespace nkdatacarrier
