#include "datacarrier/curve3d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/postdataobject.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Curve3D, "RenderCurve3D")

Curve3D::Curve3D() = default;
Curve3D::~Curve3D() = default;

void Curve3D::reserve(int n) {
  vertices_.clear();
  vertices_.reserve(static_cast<std::size_t>(n > 0 ? n : 0));
  valid_ = false;
}

double Curve3D::getLength() const {
  if (!valid_) return 0.0;
  double length = 0.0;
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    const float dx = vertices_[i + 1].x - vertices_[i].x;
    const float dy = vertices_[i + 1].y - vertices_[i].y;
    const float dz = vertices_[i + 1].z - vertices_[i].z;
    length += double(std::sqrt(dx * dx + dy * dy + dz * dz));  // each segment in single precision
  }
  return length;
}

bool Curve3D::boxMeetsCube(const std::vector<double>& centre, double halfSize) const {
  return box_.intersects(BoundingBox3D(centre[0] - halfSize, centre[0] + halfSize,
                                       centre[1] - halfSize, centre[1] + halfSize,
                                       centre[2] - halfSize, centre[2] + halfSize));
}

// Deliberately, a valid curve without vertices is inside any ball, box or cylinder its stored
// box meets, while it intersects none (fewer than two vertices make no segment).
bool Curve3D::insideBall(const std::vector<double>& center, double radius) const {
  assert(center.size() >= 3);
  if (!valid_ || !boxMeetsCube(center, radius)) return false;
  return segmentmath::allInsideBall<3>(vertices_.data(), vertices_.size(), center.data(), radius);
}

bool Curve3D::insideBox(const std::vector<double>& box) const {
  assert(box.size() >= 6);
  if (!valid_ || !box_.intersects(BoundingBox3D(box[0], box[1], box[2], box[3], box[4], box[5]))) {
    return false;
  }
  return segmentmath::allInsideBox<3>(vertices_.data(), vertices_.size(), box.data());
}

bool Curve3D::intersectsBall(const std::vector<double>& center, double radius) const {
  assert(center.size() >= 3);
  if (!valid_ || !boxMeetsCube(center, radius)) return false;
  const double r2 = radius * radius;
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    // Strict: a segment at exactly the radius does not intersect.
    if (r2 > segmentmath::pointSegmentDistance2<3>(center.data(), vertices_[i], vertices_[i + 1])) {
      return true;
    }
  }
  return false;
}

bool Curve3D::intersectsBox(const std::vector<double>& box) const {
  assert(box.size() >= 6);
  if (!valid_ || !box_.intersects(BoundingBox3D(box[0], box[1], box[2], box[3], box[4], box[5]))) {
    return false;
  }
  const segmentmath::CenteredBox<3> query(box.data());
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    if (segmentmath::boxSegmentIntersect<3>(query, vertices_[i], vertices_[i + 1])) return true;
  }
  return false;
}

bool Curve3D::boxLineIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b) {
  assert(box.size() >= 6);
  return segmentmath::boxSegmentIntersect<3>(segmentmath::CenteredBox<3>(box.data()), a, b);
}

bool Curve3D::vertexInsideCylinder(const std::vector<double>& base, const std::vector<double>& axis,
                                   double radius, double top, double bottom, const Vertex& v) {
  assert(base.size() >= 3 && axis.size() >= 3);
  const segmentmath::CylinderQuery cylinder(base.data(), axis.data(), radius, top, bottom);
  return segmentmath::pointInCylinder(cylinder, segmentmath::xyzOf(v));
}

bool Curve3D::insideCylinder(const std::vector<double>& base, const std::vector<double>& axis,
                             double radius, double top, double bottom) const {
  assert(base.size() >= 3 && axis.size() >= 3);
  if (!valid_ || !boxMeetsCube(base, segmentmath::cylinderReach(radius, top, bottom))) {
    return false;
  }
  const segmentmath::CylinderQuery cylinder(base.data(), axis.data(), radius, top, bottom);
  for (const Vertex& v : vertices_) {
    if (!segmentmath::pointInCylinder(cylinder, segmentmath::xyzOf(v))) return false;
  }
  return true;
}

bool Curve3D::intersectsCylinder(const std::vector<double>& base, std::vector<double> axis,
                                 double radius, double top, double bottom) const {
  assert(base.size() >= 3 && axis.size() >= 3);
  if (!valid_ || !boxMeetsCube(base, segmentmath::cylinderReach(radius, top, bottom))) {
    return false;
  }
  const segmentmath::CylinderFrame frame(axis.data());
  const double r2 = radius * radius;
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    if (segmentmath::segmentMeetsCylinder(base.data(), frame.u, frame.v, frame.w, r2, top, bottom,
                                          segmentmath::xyzOf(vertices_[i]),
                                          segmentmath::xyzOf(vertices_[i + 1]))) {
      return true;
    }
  }
  return false;
}

bool Curve3D::cylinderLineIntersect(const std::vector<double>& base, const nkvec::DVec3& e1,
                                    const nkvec::DVec3& e2, const nkvec::DVec3& axis, double radius,
                                    double top, double bottom, const Vertex& a, const Vertex& b) {
  assert(base.size() >= 3);
  const double u[3] = {e1.x, e1.y, e1.z};
  const double v[3] = {e2.x, e2.y, e2.z};
  const double n[3] = {axis.x, axis.y, axis.z};
  return segmentmath::segmentMeetsCylinder(base.data(), u, v, n, radius * radius, top, bottom,
                                           segmentmath::xyzOf(a), segmentmath::xyzOf(b));
}

void Curve3D::findPlaneIntersections(const Array<double, 1>& point, const Array<double, 1>& normal,
                                     PostDataObject& out) const {
  auto xyz = nkboost::make_shared<PostDataObject::DoubleArrays>(3);
  auto ends = nkboost::make_shared<PostDataObject::IntArrays>(2);
  out.addVertices(xyz);
  out.addElementIndices(ends);
  out.addData(nkboost::make_shared<PostDataObject::DoubleArrays>());

  const double n[3] = {normal[0], normal[1], normal[2]};
  const double offset = n[0] * point[0] + n[1] * point[1] + n[2] * point[2];
  // The tolerance follows the curve's largest extent (differences of floats, then widened).
  double extent = 0.0;
  if (!vertices_.empty()) {
    float lo[3] = {vertices_[0].x, vertices_[0].y, vertices_[0].z};
    float hi[3] = {lo[0], lo[1], lo[2]};
    for (const Vertex& v : vertices_) {
      const float* c = segmentmath::xyzOf(v);
      for (int k = 0; k < 3; ++k) {
        lo[k] = std::min(lo[k], c[k]);
        hi[k] = std::max(hi[k], c[k]);
      }
    }
    for (int k = 0; k < 3; ++k)
      extent = std::max(extent, double(float(hi[k] - lo[k])));
  }
  const double tol = 1e-7 * (extent > 0.0 ? extent : 1.0);
  auto distance = [&](const Vertex& v) {
    return n[0] * double(v.x) + n[1] * double(v.y) + n[2] * double(v.z) - offset;
  };
  auto inPlane = [&](double d) { return -tol < d && d < tol; };

  // Only segments lying in the plane are reported; each brings its own two points.
  for (std::size_t i = 0; i + 1 < vertices_.size(); ++i) {
    const Vertex& a = vertices_[i];
    const Vertex& b = vertices_[i + 1];
    if (!inPlane(distance(a)) || !inPlane(distance(b))) continue;
    const int m = static_cast<int>((*xyz)[0].size());
    for (const Vertex* v : {&a, &b}) {
      (*xyz)[0].push_back(double(v->x));
      (*xyz)[1].push_back(double(v->y));
      (*xyz)[2].push_back(double(v->z));
    }
    (*ends)[0].push_back(m);
    (*ends)[1].push_back(m + 1);
  }
}

void Curve3D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serialio::writeBoxAndFlag(os, prop, box_, valid_);
  if (!valid_) return;
  os << getNumberOfVertices();
  os.label("number of vertices");
  os.label("Vertex coordinates");
  for (const Vertex& v : vertices_) {
    os << v.x << v.y << v.z;
    os.label("");
  }
}

void Curve3D::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION(is, 0, VERSION);
  // Version 0 wrote the flag first and the box only for a valid curve.
  const bool valid = serialio::readBoxAndFlag(is, box_, version == 0);
  // Deliberately, an invalid curve in the stream does not clear this object: its flag and
  // vertices stay as they were.
  if (!valid) return;
  const int n = DC_READ_COUNT(is, 3 * sizeof(float));
  reserve(static_cast<int>(serialio::initialCapacity(is, n)));
  for (int i = 0; i < n; ++i) {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    is >> x >> y >> z;
    appendVertex(x, y, z);
  }
  valid_ = valid;
}

}  // namespace nkdatacarrier
