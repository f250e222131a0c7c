#include "datacarrier/rendermeshboundary2d.h"

#include "datacarrier/internal/rendermeshio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderMeshBoundary2D, "RenderMeshBoundary2D")

RenderMeshBoundary2D::RenderMeshBoundary2D() = default;
RenderMeshBoundary2D::RenderMeshBoundary2D(int domainGeomIdentity)
    : RenderMeshVertices<2>(BOUNDARY_2D, domainGeomIdentity) {}
RenderMeshBoundary2D::~RenderMeshBoundary2D() = default;

nkboost::shared_ptr<RenderMesh> RenderMeshBoundary2D::clone() const {
  return nkboost::make_shared<RenderMeshBoundary2D>(*this);
}

void RenderMeshBoundary2D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os);
  writeMesh(os);
}

void RenderMeshBoundary2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(91, is, VERSION, VERSION);
  deserializeAttributes(is);
  const int nVertices = DC_READ_COUNT(is, sizeof(Vertex));
  readMesh(is, nVertices);
}

}  // namespace nkdatacarrier
