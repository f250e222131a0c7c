#include "datacarrier/sheet3d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/internal/trianglemath.h"
#include "datacarrier/postdataobject.h"
#include "qvutil/nkmath.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Sheet3D, "RenderSheet3D")

Sheet3D::Sheet3D() = default;
Sheet3D::~Sheet3D() = default;

void Sheet3D::allocate(int nVertices, int nTriangles) {
  vertices_.resize(static_cast<std::size_t>(nVertices > 0 ? nVertices : 0));
  triangles_.resize(3 * static_cast<std::size_t>(nTriangles > 0 ? nTriangles : 0));
  valid_ = false;
  complete_ = false;
}

void Sheet3D::clearMesh() {
  valid_ = false;  // deliberately, complete is left as it is
  vertices_.clear();
  triangles_.clear();
}

double Sheet3D::getArea() const {
  if (!complete_) return 0.0;
  const int nv = getNumberOfVertices();
  double area = 0.0;
  for (std::size_t i = 0; i + 2 < triangles_.size(); i += 3) {
    const int* tri = &triangles_[i];
    if (!trianglemath::indicesValid(tri, nv)) continue;
    double e1[3], e2[3], n[3];
    trianglemath::edge(vertices_[tri[0]], vertices_[tri[1]], e1);
    trianglemath::edge(vertices_[tri[0]], vertices_[tri[2]], e2);
    trianglemath::cross(e1, e2, n);
    area += 0.5 * std::sqrt(segmentmath::dot3(n, n));
  }
  return area;
}

void Sheet3D::duplicate(Sheet3D& target) const {
  target.allocate(getNumberOfVertices(), getNumberOfTriangles());
  target.valid_ = valid_;
  // Deliberately, an invalid sheet hands over only its sizes and its flag.
  if (!valid_) return;
  target.complete_ = complete_;
  target.box_ = box_;
  std::copy(vertices_.begin(), vertices_.end(), target.vertices_.begin());
  std::copy(triangles_.begin(), triangles_.begin() + 3 * getNumberOfTriangles(),
            target.triangles_.begin());
  target.up_ = up_;
  target.down_ = down_;
}

// ---- proximity and region tests ----

namespace {

// Calls visit(a, b, c) for every triangle whose indices address vertices, in order, until it
// returns true; returns whether one did.
template <typename Visit>
bool anyTriangle(const std::vector<Sheet3D::Vertex>& vertices, const std::vector<int>& triangles,
                 Visit visit) {
  const Sheet3D::Vertex* v = vertices.data();
  const int nv = static_cast<int>(vertices.size());
  const int* tri = triangles.data();
  const int* end = tri + triangles.size() / 3 * 3;
  for (; tri != end; tri += 3) {
    if (!trianglemath::indicesValid(tri, nv)) continue;
    if (visit(v[tri[0]], v[tri[1]], v[tri[2]])) return true;
  }
  return false;
}

BoundingBox3D cubeAround(const std::vector<double>& centre, double halfSize) {
  return BoundingBox3D(centre[0] - halfSize, centre[0] + halfSize, centre[1] - halfSize,
                       centre[1] + halfSize, centre[2] - halfSize, centre[2] + halfSize);
}

}  // namespace

bool Sheet3D::findClosestPoint(const std::vector<double>& p, std::vector<double>& closest,
                               double& dist2, double stopDist2) const {
  assert(p.size() >= 3 && closest.size() >= 3);
  if (!valid_ || triangles_.size() < 3) return false;
  trianglemath::ClosestSearch search{closest.data(), dist2, stopDist2, false};
  const double* q = p.data();
  anyTriangle(vertices_, triangles_, [&](const Vertex& a, const Vertex& b, const Vertex& c) {
    return trianglemath::closestOnTriangle(q, a, b, c, search);
  });
  dist2 = search.dist2;
  return search.found;
}

bool Sheet3D::insideBall(const std::vector<double>& c, double r) const {
  assert(c.size() >= 3);
  if (!valid_ || !box_.intersects(cubeAround(c, r))) return false;
  return segmentmath::allInsideBall<3>(vertices_.data(), vertices_.size(), c.data(), r);
}

bool Sheet3D::intersectsBall(const std::vector<double>& c, double r) const {
  assert(c.size() >= 3);
  if (!valid_ || !box_.intersects(cubeAround(c, r))) return false;
  std::vector<double> closest(3, nkGetNaN());
  double d2 = nkGetInf();
  const double r2 = r * r;
  const bool found = findClosestPoint(c, closest, d2, r2);
  return found && r2 >= d2;
}

bool Sheet3D::insideBox(const std::vector<double>& box) const {
  assert(box.size() >= 6);
  if (!valid_ || !box_.intersects(BoundingBox3D(box[0], box[1], box[2], box[3], box[4], box[5]))) {
    return false;
  }
  return segmentmath::allInsideBox<3>(vertices_.data(), vertices_.size(), box.data());
}

bool Sheet3D::intersectsBox(const std::vector<double>& box) const {
  assert(box.size() >= 6);
  if (!valid_ || !box_.intersects(BoundingBox3D(box[0], box[1], box[2], box[3], box[4], box[5]))) {
    return false;
  }
  const segmentmath::CenteredBox<3> query(box.data());
  return anyTriangle(vertices_, triangles_, [&](const Vertex& a, const Vertex& b, const Vertex& c) {
    return trianglemath::boxMeetsTriangle(query, a, b, c);
  });
}

bool Sheet3D::boxTriangleIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b,
                                   const Vertex& c) const {
  assert(box.size() >= 6);
  return trianglemath::boxMeetsTriangle(segmentmath::CenteredBox<3>(box.data()), a, b, c);
}

bool Sheet3D::vertexInsideCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                                   double r, double hMax, double hMin, const Vertex& x) {
  assert(p.size() >= 3 && axis.size() >= 3);
  const segmentmath::CylinderQuery cylinder(p.data(), axis.data(), r, hMax, hMin);
  return segmentmath::pointInCylinder(cylinder, segmentmath::xyzOf(x));
}

bool Sheet3D::insideCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                             double r, double hMax, double hMin) const {
  assert(p.size() >= 3 && axis.size() >= 3);
  if (!valid_ || !box_.intersects(cubeAround(p, segmentmath::cylinderReach(r, hMax, hMin)))) {
    return false;
  }
  const segmentmath::CylinderQuery cylinder(p.data(), axis.data(), r, hMax, hMin);
  for (const Vertex& v : vertices_) {
    if (!segmentmath::pointInCylinder(cylinder, segmentmath::xyzOf(v))) return false;
  }
  return true;
}

bool Sheet3D::intersectsCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                                 double r, double hMax, double hMin) const {
  assert(p.size() >= 3 && axis.size() >= 3);
  if (!valid_ || !box_.intersects(cubeAround(p, segmentmath::cylinderReach(r, hMax, hMin)))) {
    return false;
  }
  const segmentmath::CylinderFrame frame(axis.data());
  const trianglemath::CylinderQuery query(p.data(), frame.u, frame.v, frame.w, r, hMax, hMin);
  return anyTriangle(vertices_, triangles_, [&](const Vertex& a, const Vertex& b, const Vertex& c) {
    return trianglemath::cylinderMeetsTriangle(query, a, b, c);
  });
}

bool Sheet3D::cylinderTriangleIntersect(const std::vector<double>& p, const nkvec::DVec3& u,
                                        const nkvec::DVec3& v, const nkvec::DVec3& w, double r,
                                        double hMax, double hMin, const Vertex& a, const Vertex& b,
                                        const Vertex& c) {
  assert(p.size() >= 3);
  const double du[3] = {u.x, u.y, u.z};
  const double dv[3] = {v.x, v.y, v.z};
  const double dw[3] = {w.x, w.y, w.z};
  return trianglemath::cylinderMeetsTriangle(
      trianglemath::CylinderQuery(p.data(), du, dv, dw, r, hMax, hMin), a, b, c);
}

// ---- line and plane queries ----

void Sheet3D::findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                                    std::vector<std::pair<double, int>>& hits,
                                    std::vector<double>& normals) const {
  assert(p0.size() >= 3 && p1.size() >= 3);
  if (!valid_) return;
  const trianglemath::LineQuery line(p0.data(), p1.data());
  anyTriangle(vertices_, triangles_, [&](const Vertex& a, const Vertex& b, const Vertex& c) {
    trianglemath::LineHit hit;
    if (trianglemath::lineHitsTriangle(line, a, b, c, hit)) {
      hits.emplace_back(hit.t, static_cast<int>(hits.size()));
      double n[3];
      trianglemath::interpolatedNormal(a, b, c, hit.s, hit.u, n);
      normals.insert(normals.end(), n, n + 3);
    }
    return false;
  });
}

void Sheet3D::findPlaneIntersections(const Array<double, 1>& point, const Array<double, 1>& normal,
                                     PostDataObject& out) const {
  // Every call adds one block, also for an invalid or empty sheet.
  auto xyz = nkboost::make_shared<PostDataObject::DoubleArrays>(3);
  auto ends = nkboost::make_shared<PostDataObject::IntArrays>(2);
  out.addVertices(xyz);
  out.addElementIndices(ends);
  out.addData(nkboost::make_shared<PostDataObject::DoubleArrays>());

  // The tolerance follows the sheet's largest extent (differences of floats, then widened), not
  // the normal's length.
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
  const double pt[3] = {point[0], point[1], point[2]};
  const double n[3] = {normal[0], normal[1], normal[2]};
  const trianglemath::PlaneQuery plane(pt, n, 1e-7 * (extent > 0.0 ? extent : 1.0));

  anyTriangle(vertices_, triangles_, [&](const Vertex& a, const Vertex& b, const Vertex& c) {
    double seg[6];
    if (trianglemath::planeCutsTriangle(plane, a, b, c, seg)) {
      const int m = static_cast<int>((*xyz)[0].size());
      for (int e = 0; e < 2; ++e) {
        for (int k = 0; k < 3; ++k)
          (*xyz)[k].push_back(seg[3 * e + k]);
      }
      (*ends)[0].push_back(m);
      (*ends)[1].push_back(m + 1);
    }
    return false;
  });
}

// ---- serialization ----

void Sheet3D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serialio::writeBoxAndFlag(os, prop, box_, valid_);
  if (!valid_) return;
  os << complete_;
  os.label("is complete");
  os << getNumberOfVertices();
  os.label("number of vertices");
  os << getNumberOfTriangles();
  os.label("number of triangles");
  os.label("Vertex coordinates and normals");
  for (const Vertex& v : vertices_) {
    os << v.x << v.y << v.z << v.nx << v.ny << v.nz;
    os.label("");
  }
  os.label("Triangles");
  const std::size_t n = triangles_.size() / 3 * 3;
  for (std::size_t i = 0; i < n; i += 3) {
    os << triangles_[i] << triangles_[i + 1] << triangles_[i + 2];
    os.label("");
  }
  os.label("Domain on up side");
  os << up_;
  os.label("");
  os.label("Domain on down side");
  os << down_;
  os.label("");
}

void Sheet3D::deserializeRaw(ISerialStream& is) {
  const int version = DC_READ_VERSION(is, 0, VERSION);
  bool complete = true;  // a version-1 sheet covers its face
  if (version == 0) {
    // The earliest layout: the flag first, the box only for a valid sheet, no completeness.
    bool valid = false;
    is >> valid;
    if (!valid) return;
    box_.deserialize(is);
    complete = false;
  } else {
    box_.deserialize(is);
    bool valid = false;
    is >> valid;
    // Deliberately, an invalid sheet in the stream replaces only the box: flags, arrays and
    // domains stay as they were.
    if (!valid) return;
    if (version >= 2) is >> complete;
  }
  const int nVertices = DC_READ_COUNT(is, 6 * sizeof(float));
  const int nTriangles = DC_READ_COUNT(is, 3 * sizeof(int));
  // As allocate(nVertices, nTriangles) followed by reading every entry, but growing the arrays
  // as the entries arrive, so that a count the stream cannot vouch for takes no memory of its own.
  valid_ = false;
  complete_ = false;
  serialio::readEach(is, vertices_, nVertices, [&](Vertex& v, std::size_t) {
    is >> v.x >> v.y >> v.z >> v.nx >> v.ny >> v.nz;
  });
  triangles_.clear();
  triangles_.reserve(3 * serialio::initialCapacity(is, nTriangles));
  for (int i = 0; i < nTriangles; ++i) {
    int a = 0, b = 0, c = 0;
    is >> a >> b >> c;
    triangles_.push_back(a);
    triangles_.push_back(b);
    triangles_.push_back(c);
  }
  is >> up_ >> down_;
  valid_ = true;
  complete_ = complete;
}

}  // namespace nkdatacarrier
