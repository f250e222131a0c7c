#include "datacarrier/rendermeshsubdomain1d.h"

#include "datacarrier/internal/rendermeshio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderMeshSubdomain1D, "RenderMeshSubdomain1D")

RenderMeshSubdomain1D::RenderMeshSubdomain1D() = default;
RenderMeshSubdomain1D::RenderMeshSubdomain1D(int domainGeomIdentity)
    : RenderMeshVertices<1>(SUBDOMAIN_1D, domainGeomIdentity) {}
RenderMeshSubdomain1D::~RenderMeshSubdomain1D() = default;

nkboost::shared_ptr<RenderMesh> RenderMeshSubdomain1D::clone() const {
  return nkboost::make_shared<RenderMeshSubdomain1D>(*this);
}

void RenderMeshSubdomain1D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  // Deliberately no "version" label here, unlike every other piece.
  serializeAttributes(os);
  writeMesh(os);
}

void RenderMeshSubdomain1D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(86, is, VERSION, VERSION);
  deserializeAttributes(is);
  const int nVertices = DC_READ_COUNT(is, sizeof(Vertex));
  readMesh(is, nVertices);
}

}  // namespace nkdatacarrier
