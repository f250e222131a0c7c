#include "datacarrier/closedpath2d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cstdint>

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
  vertices_.clear();
  vertices_.reserve(serialio::initialCapacity(is, n));
  for (int i = 0; i < n; ++i) {
    Vertex v;
    is >> v.x >> v.y;
    vertices_.push_back(v);
  }
}

}  // namespace nkdatacarrier
