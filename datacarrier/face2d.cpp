#include "datacarrier/face2d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cstdint>

#include "datacarrier/closedpath2d.h"
#include "datacarrier/internal/segmentmath.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Face2D, "RenderFace2D")

namespace {

// Whether all three indices of a triangle name one of the `numVertices` vertices. A triangle
// that does not (a producer error, or a corrupt stream) is skipped by every query rather than
// read out of bounds.
inline bool inRange(const int* tri, std::size_t numVertices) {
  return static_cast<std::size_t>(static_cast<unsigned>(tri[0])) < numVertices &&
         static_cast<std::size_t>(static_cast<unsigned>(tri[1])) < numVertices &&
         static_cast<std::size_t>(static_cast<unsigned>(tri[2])) < numVertices;
}

}  // namespace

Face2D::Face2D() = default;
Face2D::~Face2D() = default;

void Face2D::allocate(int numberOfVertices, int numberOfTriangles) {
  vertices_.resize(static_cast<std::size_t>(numberOfVertices));
  triangles_.resize(3 * static_cast<std::size_t>(numberOfTriangles));
  valid_ = false;
}

double Face2D::getArea() const {
  if (!valid_) return 0.0;
  double area = 0.0;
  const std::size_t count = triangles_.size() / 3;
  for (std::size_t t = 0; t < count; ++t) {
    if (!inRange(&triangles_[3 * t], vertices_.size())) continue;
    const Vertex& a = vertices_[triangles_[3 * t]];
    const Vertex& b = vertices_[triangles_[3 * t + 1]];
    const Vertex& c = vertices_[triangles_[3 * t + 2]];
    const double xba = double(float(b.x - a.x));
    const double yba = double(float(b.y - a.y));
    const double xca = double(float(c.x - a.x));
    const double yca = double(float(c.y - a.y));
    // Deliberately signed, no absolute value: a clockwise triangle subtracts its area.
    area += 0.5 * (yca * xba - xca * yba);
  }
  return area;
}

bool Face2D::pointInFace(double x, double y) const {
  const std::size_t count = triangles_.size() / 3;
  for (std::size_t t = 0; t < count; ++t) {
    if (!inRange(&triangles_[3 * t], vertices_.size())) continue;
    const Vertex& a = vertices_[triangles_[3 * t]];
    const Vertex& b = vertices_[triangles_[3 * t + 1]];
    const Vertex& c = vertices_[triangles_[3 * t + 2]];
    const double xa = a.x, ya = a.y, xb = b.x, yb = b.y, xc = c.x, yc = c.y;
    double lo = std::min(xa, xb);
    double hi = std::max(xa, xb);
    if (xc < lo) {
      lo = xc;
    } else if (xc > hi) {
      hi = xc;
    }
    if (lo > x || x > hi) continue;
    lo = std::min(ya, yb);
    hi = std::max(ya, yb);
    if (yc < lo) {
      lo = yc;
    } else if (yc > hi) {
      hi = yc;
    }
    if (lo > y || y > hi) continue;
    const double d = (yc - ya) * (xb - xa) - (xc - xa) * (yb - ya);
    const double u = (x - xa) * (yc - ya) - (y - ya) * (xc - xa);
    const double v = (y - ya) * (xb - xa) - (x - xa) * (yb - ya);
    // The tolerance scales with the doubled area. Deliberately, a clockwise triangle (d < 0)
    // gets a positive tolerance that no point passes, so it contains nothing.
    const double tol = d * -1e-8;
    if (!(tol > u) && !(tol > v) && !(tol > d - u - v)) return true;
  }
  return false;
}

bool Face2D::boxMeetsBall(const std::vector<double>& center, double radius) const {
  return box_.intersects(BoundingBox2D::aroundBall(center, radius));
}

bool Face2D::insideBall(const std::vector<double>& center, double radius) const {
  assert(center.size() >= 2);
  if (!valid_ || !boxMeetsBall(center, radius)) return false;
  return segmentmath::allInsideBall<2>(vertices_.data(), vertices_.size(), center.data(), radius);
}

bool Face2D::insideBox(const std::vector<double>& box) const {
  assert(box.size() >= 4);
  if (!valid_ || !box_.intersects(BoundingBox2D::fromBounds(box))) return false;
  return segmentmath::allInsideBox<2>(vertices_.data(), vertices_.size(), box.data());
}

// The result is what toggling every edge (smaller index, larger index) of every triangle in an
// ordered set leaves behind. A counting sort by first index gets there without a node per edge:
// one bucket of second indices per first index, each bucket sorted, odd runs kept.
std::vector<Face2D::Edge> Face2D::boundaryEdges() const {
  const std::size_t numVertices = vertices_.size();
  const std::size_t numTriangles = triangles_.size() / 3;
  std::vector<Edge> boundary;
  if (numTriangles == 0) return boundary;

  // bucketEnd[f + 1] first counts the edges whose smaller index is f.
  std::vector<std::size_t> bucketEnd(numVertices + 1, 0);
  auto forEachEdge = [&](auto&& visit) {
    for (std::size_t t = 0; t < numTriangles; ++t) {
      if (!inRange(&triangles_[3 * t], vertices_.size())) continue;
      const int* tri = &triangles_[3 * t];
      for (int e = 0; e < 3; ++e) {
        const int p = tri[e];
        const int q = tri[e == 2 ? 0 : e + 1];
        visit(std::min(p, q), std::max(p, q));
      }
    }
  };
  forEachEdge([&](int first, int) { ++bucketEnd[static_cast<std::size_t>(first) + 1]; });
  for (std::size_t f = 1; f <= numVertices; ++f)
    bucketEnd[f] += bucketEnd[f - 1];
  // Filling moves bucketEnd[f] from the start of bucket f to its end.
  std::vector<int> seconds(bucketEnd[numVertices]);
  forEachEdge([&](int first, int second) { seconds[bucketEnd[first]++] = second; });

  std::size_t begin = 0;
  for (std::size_t f = 0; f < numVertices; ++f) {
    const std::size_t end = bucketEnd[f];
    int* run = seconds.data();
    if (end - begin > 1) {
      if (end - begin <= 16) {
        for (std::size_t i = begin + 1; i < end; ++i) {  // insertion sort, buckets are small
          const int s = run[i];
          std::size_t j = i;
          for (; j > begin && run[j - 1] > s; --j)
            run[j] = run[j - 1];
          run[j] = s;
        }
      } else {
        std::sort(run + begin, run + end);
      }
    }
    for (std::size_t i = begin; i < end;) {
      std::size_t j = i + 1;
      while (j < end && run[j] == run[i])
        ++j;
      if ((j - i) % 2 == 1) boundary.push_back(Edge{static_cast<int>(f), run[i]});
      i = j;
    }
    begin = end;
  }
  return boundary;
}

bool Face2D::intersectsBall(const std::vector<double>& center, double radius) const {
  assert(center.size() >= 2);
  if (!valid_ || !boxMeetsBall(center, radius)) return false;
  const double r2 = radius * radius;
  for (const Edge& e : boundaryEdges()) {
    // Touching counts, unlike the strict segment test of a curve: deliberately so.
    if (r2 >= segmentmath::pointSegmentDistance2<2>(center.data(), vertices_[e.first],
                                                    vertices_[e.second])) {
      return true;
    }
  }
  return pointInFace(center[0], center[1]);  // a ball centred in the face touches it
}

bool Face2D::intersectsBox(const std::vector<double>& box) const {
  assert(box.size() >= 4);
  if (!valid_ || !box_.intersects(BoundingBox2D::fromBounds(box))) return false;
  const segmentmath::CenteredBox<2> query(box.data());
  for (const Edge& e : boundaryEdges()) {
    // The edge is passed from its second end to its first: kept, as the rounding of the
    // separating-axis test depends on the direction.
    if (segmentmath::boxSegmentIntersect<2>(query, vertices_[e.second], vertices_[e.first])) {
      return true;
    }
  }
  return pointInFace((box[0] + box[1]) * 0.5, (box[2] + box[3]) * 0.5);
}

void Face2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serialio::writeBoxAndFlag(os, prop, box_, valid_);
  if (!valid_) return;
  // From here the labels are headings, written before their values.
  os.label("Number of vertices");
  os << getNumberOfVertices();
  os.label("Number of triangles");
  os << getNumberOfTriangles();
  os.label("Vertices");
  for (const Vertex& v : vertices_)
    os << v.x << v.y;
  os.label("Triangles");
  for (int index : triangles_)
    os << index;
}

void Face2D::deserializeRaw(ISerialStream& is) {
  // Version 0 is deliberately refused although it is older than the current version.
  const int version = DC_READ_VERSION(is, 1, VERSION);
  // Version 1 wrote the flag first and the box only for a valid face.
  const bool valid = serialio::readBoxAndFlag(is, box_, version == 1);
  if (version == 1) {
    if (!valid) return;
    int unused = 0;
    is >> unused;
    return;  // version 1 carried no triangulation: this face's flag and geometry stay
  }
  // An invalid face in the stream leaves this object's flag and geometry untouched.
  if (!valid) return;
  if (version == 2) {
    // The closed outlines stored ahead of the triangulation are read and dropped. Each takes
    // at least its version and its count. No array is sized by their number, so a count below
    // zero reads none.
    int paths = 0;
    is >> paths;
    if (paths > 0) DC_CHECK_COUNT(is, paths, 2 * sizeof(int));
    for (int i = 0; i < paths; ++i) {
      ClosedPath2D outline;
      outline.deserialize(is);
    }
  }
  const int numVertices = DC_READ_COUNT(is, 2 * sizeof(float));
  const int numTriangles = DC_READ_COUNT(is, 3 * sizeof(int));
  allocate(0, 0);  // emptied and invalid until the whole triangulation is read
  vertices_.reserve(serialio::initialCapacity(is, numVertices));
  triangles_.reserve(3 * serialio::initialCapacity(is, numTriangles));
  for (int i = 0; i < numVertices; ++i) {
    Vertex v;
    is >> v.x >> v.y;
    vertices_.push_back(v);
  }
  for (std::size_t i = 0; i < 3 * static_cast<std::size_t>(numTriangles); ++i) {
    int index = 0;
    is >> index;
    triangles_.push_back(index);
  }
  valid_ = valid;
}

}  // namespace nkdatacarrier
