// RenderDraw1D: the drawing object of a one-dimensional model, the concrete and serializable
// form of the 1D draw geometry, with the snapping coordinates to which the graphics side snaps
// the pointer. The computing side fills and writes it; the graphics side reads it back, draws,
// selects and snaps.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom1d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDraw1D : public RenderDrawGeom1D {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // Type UNSET, identifier 0, everything empty.
  RenderDraw1D();
  RenderDraw1D(RenderDrawGeom1D::Type1D type, int id);
  RenderDraw1D(const RenderDraw1D&) = default;
  RenderDraw1D& operator=(const RenderDraw1D&) = default;
  ~RenderDraw1D() override;

  // One coordinate per snapping point.
  const std::vector<double>& getSnapCoord() const { return snap_; }
  // Replaces the list by a copy of snap.
  void setSnapCoord(const std::vector<double>& snap) { snap_ = snap; }

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_DRAW; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<double> snap_;
};

}  // namespace nkdatacarrier
