// RenderDraw3D: the drawing object of a 3D model, the concrete and serializable form of the 3D
// draw geometry. The computing side fills and writes it; the graphics side reads it back,
// draws, picks, cuts, selects and measures. It adds no data of its own.
#pragma once

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom3d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDraw3D : public RenderDrawGeom3D {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // Type UNSET, identifier 0, everything empty.
  RenderDraw3D();
  RenderDraw3D(RenderDrawGeom3D::Type3D type, int id);
  RenderDraw3D(const RenderDraw3D&) = default;
  RenderDraw3D& operator=(const RenderDraw3D&) = default;
  ~RenderDraw3D() override;

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_DRAW; }

  // The same object as a drawing object, sharing ownership with geometry. Raises
  // "Internal_error" with the message "RenderDraw3D object expected" when the object's class
  // identifier is not "RenderDraw3D" (or geometry is empty); geometry is left as it was.
  static nkboost::shared_ptr<RenderDraw3D> shared_ptr_cast(
      const nkboost::shared_ptr<RenderDrawGeom3D>& geometry);

  // The version, then the 3D attribute block.
  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;
};

}  // namespace nkdatacarrier
