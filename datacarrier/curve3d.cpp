#include "datacarrier/curve3d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/internal/vertexcodes.h"
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

namespace {

// Whether meets(a, b) holds for some segment, in order. Each vertex is coded once (code(v)
// returns bits, a method of the coder); a segment whose two ends share a bit certainly misses
// and is not tested.
template <typename Coder, typename Meets>
bool anySegment(const std::vector<Curve3D::Vertex>& v, Coder& coder, Meets meets) {
  if (v.size() < 2) return false;
  int previous = coder.code(v[0]);
  for (std::size_t i = 1; i < v.size(); ++i) {
    const int current = coder.code(v[i]);
    if ((previous & current) == 0 && meets(v[i - 1], v[i])) return true;
    previous = current;
  }
  return false;
}

// Side codes against a cube about a point, widened by 2e-6 of the coordinates' magnitude: taken
// first from the guess (the stored box), while the vertices are measured as they are coded.
class CubeCoder {
 public:
  CubeCoder(const double* centre, double reach, double magnitude)
      : sides_(centre, reach + 2e-6 * std::max(magnitude, centreMagnitude(centre))) {}
  int code(const Curve3D::Vertex& v) {
    largest_ = _mm_max_ps(vertexcodes::absoluteXyz(v), largest_);
    return sides_.code(v);
  }
  double measured() const { return vertexcodes::largestLane(largest_); }

 private:
  static double centreMagnitude(const double* c) {
    return std::max(std::max(std::fabs(c[0]), std::fabs(c[1])), std::fabs(c[2]));
  }
  vertexcodes::SideLimits sides_;
  __m128 largest_ = _mm_setzero_ps();
};

// Side codes against a fixed box.
struct BoxCoder {
  vertexcodes::SideLimits sides;
  int code(const Curve3D::Vertex& v) const { return sides.code(v); }
};

// Codes nothing: every segment is tested.
struct NoCoder {
  int code(const Curve3D::Vertex&) const { return 0; }
};

}  // namespace

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
  // Strict: a segment at exactly the radius does not intersect.
  const auto meets = [&](const Vertex& a, const Vertex& b) {
    return r2 > segmentmath::pointSegmentDistance2<3>(center.data(), a, b);
  };
  // A segment whose ends both lie beyond one face of the cube about the ball, widened by 2e-6 of
  // the coordinates' magnitude (far beyond the single-precision direction of the distance
  // arithmetic), misses. Should the vertices turn out larger than the stored box said, the
  // widening was too small and every segment is tested again.
  const double guess = vertexcodes::boxMagnitude(box_);
  CubeCoder coder(center.data(), std::fabs(radius) * (1.0 + 1e-6), guess);
  if (anySegment(vertices_, coder, meets)) return true;
  if (coder.measured() <= guess) return false;
  NoCoder plain;
  return anySegment(vertices_, plain, meets);
}

bool Curve3D::intersectsBox(const std::vector<double>& box) const {
  assert(box.size() >= 6);
  if (!valid_ || !box_.intersects(BoundingBox3D(box[0], box[1], box[2], box[3], box[4], box[5]))) {
    return false;
  }
  const segmentmath::CenteredBox<3> query(box.data());
  // A segment whose ends both lie beyond one face of the box misses it: the test's own first
  // rejection, which the codes repeat with the faces moved out by far more than its rounding.
  double reach[3];
  for (int k = 0; k < 3; ++k)
    reach[k] = query.half[k] + 1e-12 * (std::fabs(query.centre[k]) + std::fabs(query.half[k]));
  BoxCoder coder{vertexcodes::SideLimits(query.centre, reach)};
  return anySegment(vertices_, coder, [&](const Vertex& a, const Vertex& b) {
    return segmentmath::boxSegmentIntersect<3>(query, a, b);
  });
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
  const auto meets = [&](const Vertex& a, const Vertex& b) {
    return segmentmath::segmentMeetsCylinder(base.data(), frame.u, frame.v, frame.w, r2, top,
                                             bottom, segmentmath::xyzOf(a), segmentmath::xyzOf(b));
  };
  // Segments whose ends lie both above the slab, both below it, or both beyond one side of the
  // radius in the cross-section miss. The codes' margins follow how far the vertices lie from
  // the base: guessed from the stored box, and every segment is tested again when the vertices
  // reach farther.
  const vertexcodes::CylinderSides sides{
      base.data(), frame.u, frame.v, frame.w, std::fabs(radius) * (1.0 + 0x1p-30),
      top,         bottom,  false};
  const double guess = vertexcodes::boxReach(box_, base.data());
  struct Coder {
    vertexcodes::CylinderCoder cylinder;
    __m128 largest = _mm_setzero_ps();
    int code(const Vertex& v) { return cylinder.code(v, largest); }
  } coder{vertexcodes::CylinderCoder(sides, guess)};
  if (anySegment(vertices_, coder, meets)) return true;
  if (vertexcodes::CylinderCoder::measured(coder.largest) <= guess) return false;
  NoCoder plain;
  return anySegment(vertices_, plain, meets);
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
  const double extent = vertexcodes::largestExtent(vertices_.data(), vertices_.size());
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
