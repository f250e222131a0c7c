// RenderDraw2D: the drawing object of a planar model, the concrete and serializable form of the
// 2D draw geometry, with the snapping coordinates to which the graphics side snaps the pointer.
// The computing side fills and writes it; the graphics side reads it back, draws, selects,
// measures and snaps.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom2d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDraw2D : public RenderDrawGeom2D {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // Type UNSET, identifier 0, everything empty.
  RenderDraw2D();
  RenderDraw2D(RenderDrawGeom2D::Type2D type, int id);
  RenderDraw2D(const RenderDraw2D&) = default;
  RenderDraw2D& operator=(const RenderDraw2D&) = default;
  ~RenderDraw2D() override;

  // Empty, or two vectors of equal length: the x values, then the y values of the points.
  const std::vector<std::vector<double>>& getSnapCoord() const { return snap_; }
  // Replaces the list by a copy of snap.
  void setSnapCoord(const std::vector<std::vector<double>>& snap) { snap_ = snap; }

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_DRAW; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Reading always leaves two vectors, empty ones for no snapping points.
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<std::vector<double>> snap_;
};

}  // namespace nkdatacarrier
