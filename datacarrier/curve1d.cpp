#include "datacarrier/curve1d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Curve1D, "RenderCurve1D")

Curve1D::Curve1D() = default;
Curve1D::~Curve1D() = default;

void Curve1D::allocate(int n) {
  vertices_.resize(static_cast<std::size_t>(n));
  valid_ = false;
}

double Curve1D::getLength() const {
  if (!valid_) return 0.0;
  // The box, not the vertices, gives the length: the producer keeps it exact.
  return double(float(box_.getMaxX() - box_.getMinX()));
}

bool Curve1D::intersectsBox(const std::vector<double>& box) const {
  assert(box.size() >= 2);
  if (!valid_) return false;
  if (!box_.intersects(BoundingBox1D::fromBounds(box))) return false;
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    const double a = double(vertices_[i].x);
    const double b = double(vertices_[i + 1].x);
    const double lo = std::min(a, b);
    const double hi = std::max(a, b);
    if (box[1] >= lo && hi >= box[0]) return true;
  }
  return false;
}

void Curve1D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serialio::writeBoxAndFlag(os, prop, box_, valid_);
  if (!valid_) return;
  os << getNumberOfVertices();
  os.label("number of vertices");
  os.label("Vertex coordinates");
  for (const Vertex& v : vertices_) {
    os << v.x;
    os.label("");
  }
}

void Curve1D::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION(is, 0, VERSION);
  // Version 0 wrote the flag first and the box only for a valid curve.
  const bool valid = serialio::readBoxAndFlag(is, box_, version == 0);
  // An invalid curve in the stream leaves this object's flag and vertices untouched.
  if (!valid) return;
  const int n = DC_READ_COUNT(is, sizeof(float));
  allocate(0);  // emptied and invalid until every vertex is read
  vertices_.reserve(serialio::initialCapacity(is, n));
  for (int i = 0; i < n; ++i) {
    float x = 0.0f;
    is >> x;
    vertices_.push_back(Vertex{x});
  }
  valid_ = valid;
}

}  // namespace nkdatacarrier
