#include "datacarrier/sheet3d.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cassert>
#include <cmath>

#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/internal/sheetscan.h"
#include "datacarrier/internal/trianglemath.h"
#include "datacarrier/internal/vertexcodes.h"
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
  // A sparse sample of the triangles, searched first with the same arithmetic, gives a distance
  // that the winner cannot exceed; triangles lying wholly beyond it are then skipped from the
  // first one on. Only while the stop distance lies below it: a skipped triangle must never be
  // the one whose candidate would have ended the search.
  double bound = nkGetInf();
  if (getNumberOfTriangles() >= 2 * sheetscan::kSampleStride) {
    double scratch[3];
    trianglemath::ClosestSearch sample{scratch, nkGetInf(), -1.0, false};
    sheetscan::sample(*this, p.data(), sample);
    if (stopDist2 < sample.dist2) bound = sample.dist2;
  }
  trianglemath::ClosestSearch search{closest.data(), dist2, stopDist2, false};
  sheetscan::Scratch scratch;
  sheetscan::closest(*this, p.data(), search, bound, scratch);
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
  sheetscan::Scratch scratch;
  return sheetscan::meetsBox(*this, segmentmath::CenteredBox<3>(box.data()), scratch);
}

bool Sheet3D::boxTriangleIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b,
                                   const Vertex& c) const {
  assert(box.size() >= 6);
  if (!valid_) return false;  // like every member test of the sheet
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
  sheetscan::Scratch scratch;
  return sheetscan::meetsCylinder(*this, query, scratch);
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
  const sheetscan::LineReach reach(p0.data(), p1.data());
  sheetscan::Scratch scratch;
  sheetscan::lineHits(*this, line, reach, scratch, hits, normals);
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
  const double extent = vertexcodes::largestExtent(vertices_.data(), vertices_.size());
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

// ---- scans shared with the 3D draw geometry ----

namespace sheetscan {

using trianglemath::indicesValid;

// Fewest triangles for which a pass over the vertices pays off.
constexpr int kCodedMinimum = 64;
// One vertex in so many shows whether side codes would pay off.
constexpr int kVertexSampleStride = 32;

LineReach::LineReach(const double* p0_, const double* p1) {
  double d[3];
  for (int k = 0; k < 3; ++k) {
    p0[k] = p0_[k];
    d[k] = p1[k] - p0_[k];
  }
  axis = 0;
  for (int k = 1; k < 3; ++k) {
    if (std::fabs(d[k]) > std::fabs(d[axis])) axis = k;
  }
  const int first = axis == 0 ? 1 : 0;
  const int second = axis == 2 ? 1 : 2;
  slope[0] = d[first] / d[axis];
  slope[1] = d[second] / d[axis];
  // The offsets are formed in single precision: p0 must lie well inside the float range.
  usable = d[axis] != 0.0 && std::isfinite(slope[0]) && std::isfinite(slope[1]) &&
           std::fabs(p0[0]) < 1e30 && std::fabs(p0[1]) < 1e30 && std::fabs(p0[2]) < 1e30;
}

namespace {

// Per vertex, in single precision: (c[first] - p0[first]) - along * slope[0] and the same for
// second, with along = c[Axis] - p0[Axis], in the two low lanes of a vector (p0 and the slopes
// rounded to floats once). Every rounding of it, the rounding of p0 and the slopes included, is
// at most a few 2^-24 of the coordinates' and p0's magnitude times 1 + |slope|, which the slack
// (slackFor) covers several times over.
template <int Axis>
float offsetsAlong(const LineReach& line, const Sheet3D::Vertex* v, int n, float* out) {
  constexpr int kFirst = Axis == 0 ? 1 : 0;
  constexpr int kSecond = Axis == 2 ? 1 : 2;
  // Lanes: first, second, axis, unused.
  const __m128 base =
      _mm_setr_ps(float(line.p0[kFirst]), float(line.p0[kSecond]), float(line.p0[Axis]), 0.0f);
  const __m128 slopes = _mm_setr_ps(float(line.slope[0]), float(line.slope[1]), 0.0f, 0.0f);
  constexpr int kOrder = kFirst | kSecond << 2 | Axis << 4;  // x, y, z into first, second, axis
  const auto offset = [&](int i) {
    const __m128 c = _mm_loadu_ps(&v[i].x);
    const __m128 d = _mm_sub_ps(_mm_shuffle_ps(c, c, kOrder), base);
    const __m128 along = _mm_shuffle_ps(d, d, 0xaa);
    const __m128 o = _mm_sub_ps(d, _mm_mul_ps(along, slopes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 2 * static_cast<std::size_t>(i)),
                     _mm_castps_si128(o));
  };
  __m128 m0 = _mm_setzero_ps(), m1 = m0;  // two running maxima, as in magnitudeOf
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    offset(i);
    offset(i + 1);
    m0 = _mm_max_ps(vertexcodes::absoluteXyz(v[i]), m0);
    m1 = _mm_max_ps(vertexcodes::absoluteXyz(v[i + 1]), m1);
  }
  if (i < n) {
    offset(i);
    m0 = _mm_max_ps(vertexcodes::absoluteXyz(v[i]), m0);
  }
  return vertexcodes::largestLane(_mm_max_ps(m0, m1));
}

}  // namespace

float LineReach::offsets(const Sheet3D::Vertex* v, int n, float* out) const {
  if (axis == 0) return offsetsAlong<0>(*this, v, n, out);
  if (axis == 1) return offsetsAlong<1>(*this, v, n, out);
  return offsetsAlong<2>(*this, v, n, out);
}

__m128 LineReach::slackFor(float magnitude) const {
  // Four times the closest-point slack: the single-precision offsets round more than doubles.
  return _mm_set1_ps(float(4.0 * trianglemath::rejectionSlack(p0, magnitude) *
                           (1.0 + std::fabs(slope[0]) + std::fabs(slope[1]))));
}

// Both offsets are handled at once in the two low lanes of a vector, with the same float
// operations per lane; _mm_min_ps(y, x) is (y < x ? y : x), which is std::min(x, y) (and likewise
// for max), so a NaN offset drops out of lo and hi exactly as it would there.
bool LineReach::mayPierce(const float* offsets, const int* corners, __m128 slack, __m128 spread,
                          __m128 sign) {
  const auto pair = [offsets](int i) {
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(offsets + 2 * i)));
  };
  const __m128 oa = pair(corners[0]);
  const __m128 ob = pair(corners[1]);
  const __m128 oc = pair(corners[2]);
  const __m128 lo = _mm_min_ps(oc, _mm_min_ps(ob, oa));
  const __m128 hi = _mm_max_ps(oc, _mm_max_ps(ob, oa));
  const __m128 margin = _mm_add_ps(_mm_mul_ps(spread, _mm_sub_ps(hi, lo)), slack);
  const __m128 negMargin = _mm_xor_ps(margin, sign);
  const __m128 apart = _mm_or_ps(_mm_cmpgt_ps(lo, margin), _mm_cmplt_ps(hi, negMargin));
  return (_mm_movemask_ps(apart) & 3) == 0;
}

void lineHits(const Sheet3D& sheet, const trianglemath::LineQuery& line, const LineReach& reach,
              Scratch& scratch, std::vector<std::pair<double, int>>& hits,
              std::vector<double>& normals) {
  const int n = sheet.getNumberOfVertices();
  const Sheet3D::Vertex* v = sheet.getVertexArray();
  const int* corners = sheet.getTriangleArray();
  const int numTriangles = sheet.getNumberOfTriangles();
  const bool skipping = reach.usable && numTriangles >= kCodedMinimum;
  float* offsets = nullptr;
  __m128 slack = _mm_setzero_ps();
  if (skipping) {
    offsets = scratch.floats(2 * static_cast<std::size_t>(n));
    slack = reach.slackFor(reach.offsets(v, n, offsets));
  }
  const __m128 spread = _mm_set1_ps(1e-3f);
  const __m128 sign = _mm_set1_ps(-0.0f);
  for (int t = 0; t < numTriangles; ++t, corners += 3) {
    if (!indicesValid(corners, n)) continue;
    if (skipping && !LineReach::mayPierce(offsets, corners, slack, spread, sign)) continue;
    const Sheet3D::Vertex& a = v[corners[0]];
    const Sheet3D::Vertex& b = v[corners[1]];
    const Sheet3D::Vertex& c = v[corners[2]];
    trianglemath::LineHit hit;
    if (!trianglemath::lineHitsTriangle(line, a, b, c, hit)) continue;
    hits.emplace_back(hit.t, static_cast<int>(hits.size()));
    double normal[3];
    trianglemath::interpolatedNormal(a, b, c, hit.s, hit.u, normal);
    normals.insert(normals.end(), normal, normal + 3);
  }
}

void sample(const Sheet3D& sheet, const double* p, trianglemath::ClosestSearch& search) {
  const int n = sheet.getNumberOfVertices();
  const Sheet3D::Vertex* v = sheet.getVertexArray();
  const int* tri = sheet.getTriangleArray();
  for (int t = 0; t < sheet.getNumberOfTriangles(); t += kSampleStride) {
    const int* corners = tri + 3 * static_cast<std::size_t>(t);
    if (!indicesValid(corners, n)) continue;
    trianglemath::closestOnTriangle(p, v[corners[0]], v[corners[1]], v[corners[2]], search);
  }
}

bool closest(const Sheet3D& sheet, const double* p, trianglemath::ClosestSearch& search,
             double bound, Scratch& scratch) {
  const int n = sheet.getNumberOfVertices();
  const Sheet3D::Vertex* v = sheet.getVertexArray();
  const int* corners = sheet.getTriangleArray();
  const int numTriangles = sheet.getNumberOfTriangles();
  // The search's own distance so far bounds the winner as well.
  if (search.dist2 < bound) bound = search.dist2;
  // With a bound known, a per-vertex side code rejects many triangles from one byte per corner,
  // without touching their coordinates; unless a sample of the vertices shows that few would be
  // flagged (a point about as far from every part of the sheet). The codes are first made with
  // the slack that the stored box suggests; should the vertices turn out larger, they are made
  // again. Without codes, the vertices are only measured.
  const unsigned char* codes = nullptr;
  double slack = trianglemath::rejectionSlack(p, vertexcodes::boxMagnitude(sheet.getBoundingBox()));
  bool measured = false;
  if (numTriangles >= kCodedMinimum && bound < nkGetInf()) {
    const vertexcodes::SideLimits sides(p, trianglemath::closestReach(bound, slack));
    int sampled = 0, flagged = 0;
    for (int i = 0; i < n; i += kVertexSampleStride, ++sampled)
      flagged += sides.code(v[i]) != 0;
    if (4 * flagged >= sampled) {
      unsigned char* out = scratch.bytes(static_cast<std::size_t>(n));
      const double actual =
          trianglemath::rejectionSlack(p, vertexcodes::sideCodes(sides, v, n, out));
      if (actual > slack) {
        slack = actual;
        vertexcodes::sideCodes(vertexcodes::SideLimits(p, trianglemath::closestReach(bound, slack)),
                               v, n, out);
      }
      codes = out;
      measured = true;
    }
  }
  if (!measured) slack = trianglemath::rejectionSlack(p, vertexcodes::magnitudeOf(v, n));
  // The survivors meet the corners' box, then the triangle's plane, then the test.
  trianglemath::ClosestBound lowerBound(p, slack);
  double limit = search.dist2 < bound ? search.dist2 : bound;
  lowerBound.setLimit(limit);
  double reach2 = trianglemath::planeReach2(limit, slack);
  // The triangle at c after its codes: true when the search is to stop.
  const auto test = [&](const int* c) {
    const Sheet3D::Vertex& a = v[c[0]];
    const Sheet3D::Vertex& b = v[c[1]];
    const Sheet3D::Vertex& d = v[c[2]];
    if (lowerBound.exceeds(a, b, d)) return false;
    if (trianglemath::beyondPlane(p, a, b, d, reach2)) return false;
    if (trianglemath::closestOnTriangle(p, a, b, d, search)) return true;
    if (search.dist2 < limit) {
      limit = search.dist2;
      lowerBound.setLimit(limit);
      reach2 = trianglemath::planeReach2(limit, slack);
    }
    return false;
  };
  int t = 0;
  if (!codes) {
    // Without codes every triangle meets the box bound: four at a time, the survivors then in
    // order (with the limit as it stands by then).
    for (; t + 4 <= numTriangles; t += 4, corners += 12) {
      int skip = 0;
      if (trianglemath::fourIndicesValid(corners, n)) {
        skip = lowerBound.exceedsFour(v, corners);
        if (skip == 15) continue;
      }
      for (int j = 0; j < 4; ++j) {
        const int* c = corners + 3 * j;
        if ((skip >> j & 1) == 0 && indicesValid(c, n) && test(c)) return true;
      }
    }
  }
  for (; t < numTriangles; ++t, corners += 3) {
    if (!indicesValid(corners, n)) continue;
    if (codes && (codes[corners[0]] & codes[corners[1]] & codes[corners[2]]) != 0) continue;
    if (test(corners)) return true;
  }
  return false;
}

// Whether meets(corners) holds for some triangle with valid indices whose three corners share
// no code bit (every triangle when there are no codes), in triangle order.
template <class Meets>
bool anyUncoded(const int* corners, int numTriangles, int n, const unsigned char* codes,
                const Meets& meets) {
  for (int t = 0; t < numTriangles; ++t, corners += 3) {
    if (!indicesValid(corners, n)) continue;
    if (codes && (codes[corners[0]] & codes[corners[1]] & codes[corners[2]]) != 0) continue;
    if (meets(corners)) return true;
  }
  return false;
}

bool meetsBox(const Sheet3D& sheet, const segmentmath::CenteredBox<3>& box, Scratch& scratch) {
  const int n = sheet.getNumberOfVertices();
  const Sheet3D::Vertex* v = sheet.getVertexArray();
  const int* corners = sheet.getTriangleArray();
  const int numTriangles = sheet.getNumberOfTriangles();
  // Three corners beyond one face of the box: the test's own first rejection, which the codes
  // repeat with the faces moved out by far more than its rounding.
  const unsigned char* codes = nullptr;
  if (numTriangles >= kCodedMinimum) {
    double reach[3];
    for (int k = 0; k < 3; ++k)
      reach[k] = box.half[k] + 1e-12 * (std::fabs(box.centre[k]) + std::fabs(box.half[k]));
    unsigned char* out = scratch.bytes(static_cast<std::size_t>(n));
    vertexcodes::sideCodes(vertexcodes::SideLimits(box.centre, reach), v, n, out);
    codes = out;
  }
  return anyUncoded(corners, numTriangles, n, codes, [&](const int* c) {
    return trianglemath::boxMeetsTriangle(box, v[c[0]], v[c[1]], v[c[2]]);
  });
}

bool meetsCylinder(const Sheet3D& sheet, const trianglemath::CylinderQuery& cylinder,
                   Scratch& scratch) {
  const int n = sheet.getNumberOfVertices();
  const Sheet3D::Vertex* v = sheet.getVertexArray();
  const int* corners = sheet.getTriangleArray();
  const int numTriangles = sheet.getNumberOfTriangles();
  // Per-vertex codes first (made again should the vertices reach farther than the stored box
  // suggests); three corners sharing a bit certainly miss.
  const unsigned char* codes = nullptr;
  if (numTriangles >= kCodedMinimum) {
    unsigned char* out = scratch.bytes(static_cast<std::size_t>(n));
    const vertexcodes::CylinderSides sides{cylinder.p,     cylinder.u,    cylinder.v,    cylinder.w,
                                           cylinder.clear, cylinder.hMax, cylinder.hMin, true};
    const double guess = vertexcodes::boxReach(sheet.getBoundingBox(), cylinder.p);
    const double measured = vertexcodes::cylinderCodes(sides, guess, v, n, out);
    if (!(measured <= guess)) vertexcodes::cylinderCodes(sides, measured, v, n, out);
    codes = out;
  }
  return anyUncoded(corners, numTriangles, n, codes, [&](const int* c) {
    return trianglemath::cylinderMeetsTriangle(cylinder, v[c[0]], v[c[1]], v[c[2]]);
  });
}

}  // namespace sheetscan

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
