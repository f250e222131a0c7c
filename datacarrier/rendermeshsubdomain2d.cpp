#include "datacarrier/rendermeshsubdomain2d.h"

#include "datacarrier/internal/rendermeshio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderMeshSubdomain2D, "RenderMeshSubdomain2D")

namespace {

// The least a path takes in a stream of known length: its class identifier's length, its
// version and its vertex count.
constexpr std::size_t kMinPathBytes = 3 * sizeof(int);

void writePaths(OSerialStream& os, nkbase::Prop& prop, const char* heading,
                const std::vector<ClosedPath2D>& paths) {
  os.label(heading);
  for (const ClosedPath2D& p : paths)
    p.serialize(os, prop);
}

void readPaths(ISerialStream& is, std::vector<ClosedPath2D>& paths, int count) {
  paths.clear();
  serialio::readEach(is, paths, count, [&](ClosedPath2D& p, std::size_t) { p.deserialize(is); });
}

}  // namespace

RenderMeshSubdomain2D::RenderMeshSubdomain2D() = default;
RenderMeshSubdomain2D::RenderMeshSubdomain2D(int domainGeomIdentity)
    : RenderMeshFaces<2>(SUBDOMAIN_2D, domainGeomIdentity) {}
RenderMeshSubdomain2D::~RenderMeshSubdomain2D() = default;

void RenderMeshSubdomain2D::reservePaths(int nBoundary, int nInterior) {
  bndPaths_.assign(nonNegative(nBoundary), ClosedPath2D());
  intPaths_.assign(nonNegative(nInterior), ClosedPath2D());
}

nkboost::shared_ptr<RenderMesh> RenderMeshSubdomain2D::clone() const {
  return nkboost::make_shared<RenderMeshSubdomain2D>(*this);
}

void RenderMeshSubdomain2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os);
  os << getNumberOfBndPaths();
  os.label("number of boundary paths");
  os << getNumberOfIntPaths();
  os.label("number of interior paths");
  writePaths(os, prop, "Boundary paths", bndPaths_);
  writePaths(os, prop, "Interior paths", intPaths_);
  writeMesh(os);
}

void RenderMeshSubdomain2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(243, is, VERSION, VERSION);
  deserializeAttributes(is);
  const int nBoundary = DC_READ_COUNT(is, kMinPathBytes);
  const int nInterior = DC_READ_COUNT(is, kMinPathBytes);
  readPaths(is, bndPaths_, nBoundary);
  readPaths(is, intPaths_, nInterior);
  const int nVertices = DC_READ_COUNT(is, sizeof(Vertex));
  const int nTriangles = DC_READ_COUNT(is, 3 * sizeof(int));
  const int nQuads = DC_READ_COUNT(is, 4 * sizeof(int));
  readMesh(is, nVertices, nTriangles, nQuads);
}

}  // namespace nkdatacarrier
