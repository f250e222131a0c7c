// RenderMeshEdge3D: the mesh of one edge of a 3D model, a polyline of single-precision vertices in
// the order of the edge. The computing side fills it and sends it inside a RenderMeshCollection;
// the graphics side draws the polyline.
#pragma once

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/rendermeshpiece.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMeshEdge3D : public RenderMeshVertices<3> {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // An empty piece whose attributes are to be read from a stream.
  RenderMeshEdge3D();
  // An empty piece of the domain with that identity; not valid.
  explicit RenderMeshEdge3D(int domainGeomIdentity);
  RenderMeshEdge3D(const RenderMeshEdge3D&) = default;
  RenderMeshEdge3D& operator=(const RenderMeshEdge3D&) = default;
  ~RenderMeshEdge3D() override;

  nkboost::shared_ptr<RenderMesh> clone() const override;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;
};

}  // namespace nkdatacarrier
