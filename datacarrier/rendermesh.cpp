#include "datacarrier/rendermesh.h"

#include "datacarrier/internal/serialio.h"
#include "datacarrier/rendermeshboundary2d.h"
#include "datacarrier/rendermeshboundary3d.h"
#include "datacarrier/rendermeshedge3d.h"
#include "datacarrier/rendermeshsubdomain1d.h"
#include "datacarrier/rendermeshsubdomain2d.h"

namespace nkdatacarrier {

RenderMesh::RenderMesh(Type type, int domainGeomIdentity)
    : type_(type),
      domainGeomIdentity_(domainGeomIdentity),
      dimension_(decideDimension(type)),
      eDimension_(decideEDimension(type)),
      valid_(false) {}

RenderMesh::RenderMesh()
    : type_(Type(-1)), domainGeomIdentity_(0), dimension_(0), eDimension_(0), valid_(false) {}

RenderMesh::~RenderMesh() = default;

int RenderMesh::decideDimension(Type type) {
  switch (type) {
    case EDGE_3D:
    case BOUNDARY_3D:
      return 3;
    case SUBDOMAIN_1D:
      return 1;
    case SUBDOMAIN_2D:
    case BOUNDARY_2D:
      return 2;
  }
  return 0;
}

int RenderMesh::decideEDimension(Type type) {
  switch (type) {
    case EDGE_3D:
    case SUBDOMAIN_1D:
    case BOUNDARY_2D:
      return 1;
    case BOUNDARY_3D:
    case SUBDOMAIN_2D:
      return 2;
  }
  return 0;
}

void RenderMesh::serializeAttributes(OSerialStream& os) const {
  os << int(type_);
  os.label("object type");
  os << domainGeomIdentity_;
  os.label("connected domain identity");
  os << dimension_;
  os.label("space dimension");
  os << eDimension_;
  os.label("element dimension");
  os << valid_;
  os.label("is valid");
}

void RenderMesh::deserializeAttributes(ISerialStream& is) {
  int type = 0;
  is >> type >> domainGeomIdentity_ >> dimension_ >> eDimension_ >> valid_;
  type_ = Type(type);
}

namespace {

template <typename Piece>
nkboost::shared_ptr<RenderMesh> readPiece(ISerialStream& is) {
  nkboost::shared_ptr<RenderMesh> piece = nkboost::make_shared<Piece>();
  piece->deserializeRaw(is);
  return piece;
}

}  // namespace

nkboost::shared_ptr<RenderMesh> RenderMesh::deserializePolymorphic(ISerialStream& is) {
  std::string classID;
  is >> classID;
  // Exact comparisons in a fixed order; the first match decides.
  if (classID == "RenderMeshBoundary2D") return readPiece<RenderMeshBoundary2D>(is);
  if (classID == "RenderMeshBoundary3D") return readPiece<RenderMeshBoundary3D>(is);
  if (classID == "RenderMeshEdge3D") return readPiece<RenderMeshEdge3D>(is);
  if (classID == "RenderMeshSubdomain1D") return readPiece<RenderMeshSubdomain1D>(is);
  if (classID == "RenderMeshSubdomain2D") return readPiece<RenderMeshSubdomain2D>(is);
  // Whatever else: not a piece. Consumers' error tables know this report by its line.
  DC_RAISE_AT(114, errors::kIncompatibleVersion);
}

}  // namespace nkdatacarrier
