// RenderMeshBoundary3D: the mesh of one boundary face of a 3D model, triangles and quads over
// single-precision vertices. The computing side fills it and sends it inside a
// RenderMeshCollection; the graphics side draws the faces.
#pragma once

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/rendermeshpiece.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMeshBoundary3D : public RenderMeshFaces<3> {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // An empty piece whose attributes are to be read from a stream.
  RenderMeshBoundary3D();
  // An empty piece of the domain with that identity; not valid.
  explicit RenderMeshBoundary3D(int domainGeomIdentity);
  RenderMeshBoundary3D(const RenderMeshBoundary3D&) = default;
  RenderMeshBoundary3D& operator=(const RenderMeshBoundary3D&) = default;
  ~RenderMeshBoundary3D() override;

  nkboost::shared_ptr<RenderMesh> clone() const override;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;
};

}  // namespace nkdatacarrier
