// RenderMeshSubdomain1D: the mesh of one subdomain of a 1D model, its vertices on the line in
// order. The computing side fills it and sends it inside a RenderMeshCollection; the graphics
// side draws the segments between consecutive vertices.
#pragma once

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/rendermeshpiece.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMeshSubdomain1D : public RenderMeshVertices<1> {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // An empty piece whose attributes are to be read from a stream.
  RenderMeshSubdomain1D();
  // An empty piece of the domain with that identity; not valid.
  explicit RenderMeshSubdomain1D(int domainGeomIdentity);
  RenderMeshSubdomain1D(const RenderMeshSubdomain1D&) = default;
  RenderMeshSubdomain1D& operator=(const RenderMeshSubdomain1D&) = default;
  ~RenderMeshSubdomain1D() override;

  nkboost::shared_ptr<RenderMesh> clone() const override;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;
};

}  // namespace nkdatacarrier
