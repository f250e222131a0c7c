#include "datacarrier/rendermeshedge3d.h"

#include "datacarrier/internal/rendermeshio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderMeshEdge3D, "RenderMeshEdge3D")

RenderMeshEdge3D::RenderMeshEdge3D() = default;
RenderMeshEdge3D::RenderMeshEdge3D(int domainGeomIdentity)
    : RenderMeshVertices<3>(EDGE_3D, domainGeomIdentity) {}
RenderMeshEdge3D::~RenderMeshEdge3D() = default;

nkboost::shared_ptr<RenderMesh> RenderMeshEdge3D::clone() const {
  return nkboost::make_shared<RenderMeshEdge3D>(*this);
}

void RenderMeshEdge3D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os);
  writeMesh(os);
}

void RenderMeshEdge3D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(94, is, VERSION, VERSION);
  deserializeAttributes(is);
  const int nVertices = DC_READ_COUNT(is, sizeof(Vertex));
  readMesh(is, nVertices);
}

}  // namespace nkdatacarrier
