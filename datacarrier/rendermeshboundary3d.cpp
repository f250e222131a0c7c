#include "datacarrier/rendermeshboundary3d.h"

#include "datacarrier/internal/rendermeshio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderMeshBoundary3D, "RenderMeshBoundary3D")

RenderMeshBoundary3D::RenderMeshBoundary3D() = default;
RenderMeshBoundary3D::RenderMeshBoundary3D(int domainGeomIdentity)
    : RenderMeshFaces<3>(BOUNDARY_3D, domainGeomIdentity) {}
RenderMeshBoundary3D::~RenderMeshBoundary3D() = default;

nkboost::shared_ptr<RenderMesh> RenderMeshBoundary3D::clone() const {
  return nkboost::make_shared<RenderMeshBoundary3D>(*this);
}

void RenderMeshBoundary3D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os);
  writeMesh(os);
}

void RenderMeshBoundary3D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(182, is, VERSION, VERSION);
  deserializeAttributes(is);
  const int nVertices = DC_READ_COUNT(is, sizeof(Vertex));
  const int nTriangles = DC_READ_COUNT(is, 3 * sizeof(int));
  const int nQuads = DC_READ_COUNT(is, 4 * sizeof(int));
  readMesh(is, nVertices, nTriangles, nQuads);
}

}  // namespace nkdatacarrier
