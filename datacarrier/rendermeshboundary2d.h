// RenderMeshBoundary2D: the mesh of one boundary curve of a 2D model, a polyline of
// single-precision vertices in order. The computing side fills it and sends it inside a
// RenderMeshCollection; the graphics side draws the polyline.
#pragma once

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/rendermeshpiece.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMeshBoundary2D : public RenderMeshVertices<2> {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // An empty piece whose attributes are to be read from a stream.
  RenderMeshBoundary2D();
  // An empty piece of the domain with that identity; not valid.
  explicit RenderMeshBoundary2D(int domainGeomIdentity);
  RenderMeshBoundary2D(const RenderMeshBoundary2D&) = default;
  RenderMeshBoundary2D& operator=(const RenderMeshBoundary2D&) = default;
  ~RenderMeshBoundary2D() override;

  nkboost::shared_ptr<RenderMesh> clone() const override;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;
};

}  // namespace nkdatacarrier
