#include "datacarrier/curve2d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cmath>
#include <cstdint>

#include "datacarrier/internal/segmentmath.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Curve2D, "RenderCurve2D")

Curve2D::Curve2D() = default;
Curve2D::~Curve2D() = default;

void Curve2D::reserve(int n) {
  vertices_.clear();
  vertices_.reserve(static_cast<std::size_t>(n));
  valid_ = false;
}

double Curve2D::getLength() const {
  if (!valid_) return 0.0;
  double length = 0.0;
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    const float dx = vertices_[i + 1].x - vertices_[i].x;
    const float dy = vertices_[i + 1].y - vertices_[i].y;
    length += double(std::sqrt(dx * dx + dy * dy));  // each segment in single precision
  }
  return length;
}

bool Curve2D::boxMeetsBall(const std::vector<double>& center, double radius) const {
  return box_.intersects(BoundingBox2D::aroundBall(center, radius));
}

// Deliberately, a valid curve without vertices is inside any ball or box its stored box meets,
// while it intersects none (fewer than two vertices make no segment).
bool Curve2D::insideBall(const std::vector<double>& center, double radius) const {
  assert(center.size() >= 2);
  if (!valid_ || !boxMeetsBall(center, radius)) return false;
  return segmentmath::allInsideBall<2>(vertices_.data(), vertices_.size(), center.data(), radius);
}

bool Curve2D::insideBox(const std::vector<double>& box) const {
  assert(box.size() >= 4);
  if (!valid_ || !box_.intersects(BoundingBox2D::fromBounds(box))) return false;
  return segmentmath::allInsideBox<2>(vertices_.data(), vertices_.size(), box.data());
}

bool Curve2D::intersectsBall(const std::vector<double>& center, double radius) const {
  assert(center.size() >= 2);
  if (!valid_ || !boxMeetsBall(center, radius)) return false;
  const double r2 = radius * radius;
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    // Strict: a segment at exactly the radius does not intersect (a face's edge test is
    // inclusive).
    if (r2 > segmentmath::pointSegmentDistance2<2>(center.data(), vertices_[i], vertices_[i + 1])) {
      return true;
    }
  }
  return false;
}

bool Curve2D::intersectsBox(const std::vector<double>& box) const {
  assert(box.size() >= 4);
  if (!valid_ || !box_.intersects(BoundingBox2D::fromBounds(box))) return false;
  const segmentmath::CenteredBox<2> query(box.data());
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    if (segmentmath::boxSegmentIntersect<2>(query, vertices_[i], vertices_[i + 1])) {
      return true;
    }
  }
  return false;
}

double Curve2D::pointLineDistance2(const std::vector<double>& point, const Vertex& a,
                                   const Vertex& b) {
  assert(point.size() >= 2);
  return segmentmath::pointSegmentDistance2<2>(point.data(), a, b);
}

bool Curve2D::boxLineIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b) {
  assert(box.size() >= 4);
  return segmentmath::boxSegmentIntersect<2>(segmentmath::CenteredBox<2>(box.data()), a, b);
}

void Curve2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serialio::writeBoxAndFlag(os, prop, box_, valid_);
  if (!valid_) return;  // an invalid curve does not store its side domains either
  os << getNumberOfVertices();
  os.label("number of vertices");
  os.label("Vertex coordinates");
  for (const Vertex& v : vertices_) {
    os << v.x << v.y;
    os.label("");
  }
  os.label("Domain on up side");
  os << up_;
  os.label("");
  os.label("Domain on down side");
  os << down_;
  os.label("");
}

void Curve2D::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION(is, 0, VERSION);
  // Version 0 wrote the flag first and the box only for a valid curve.
  const bool valid = serialio::readBoxAndFlag(is, box_, version == 0);
  // Deliberately, an invalid curve in the stream does not clear this object: its flag,
  // vertices and side domains stay as they were.
  if (!valid) return;
  const int n = DC_READ_COUNT(is, 2 * sizeof(float));
  reserve(static_cast<int>(serialio::initialCapacity(is, n)));
  for (int i = 0; i < n; ++i) {
    float x = 0.0f;
    float y = 0.0f;
    is >> x >> y;
    appendVertex(x, y);
  }
  is >> up_ >> down_;
  valid_ = valid;
}

}  // namespace nkdatacarrier
