#include "datacarrier/closedpath2d.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(ClosedPath2D, "RenderClosedPath2D")

ClosedPath2D::ClosedPath2D() = default;
ClosedPath2D::~ClosedPath2D() = default;

void ClosedPath2D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  os << getNumberOfVertices();
  os.label("number of vertices");
  os.label("Vertex coordinates");
  for (const Vertex& v : vertices_) {
    os << v.x << v.y;
    os.label("");
  }
}

void ClosedPath2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  const int n = DC_READ_COUNT(is, 2 * sizeof(float));
  allocate(n);
  for (Vertex& v : vertices_)
    is >> v.x >> v.y;
}

}  // namespace nkdatacarrier
