#include "datacarrier/renderdrawgeom3d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/pointinsolid.h"
#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/internal/selection.h"
#include "datacarrier/internal/serialio.h"
#include "datacarrier/internal/sheetscan.h"
#include "datacarrier/internal/trianglemath.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <memory>
#include <set>

#include "qvutil/nkmath.h"

namespace nkdatacarrier {

namespace {

// Fewest bytes of a nested carrier in a stream: its class-identifier length and its version.
constexpr std::size_t kMinNestedBytes = 8;

// The box around a ball, or the cube around a cylinder's bounding sphere, for the prefilter.
BoundingBox3D cubeAround(const std::vector<double>& c, double r) {
  return BoundingBox3D(c[0] - r, c[0] + r, c[1] - r, c[1] + r, c[2] - r, c[2] + r);
}

BoundingBox3D boxOf(const std::vector<double>& b) {
  return BoundingBox3D(b[0], b[1], b[2], b[3], b[4], b[5]);
}

double cylinderReach(double r, double hMax, double hMin) {
  return std::sqrt(r * r + std::max(hMax * hMax, hMin * hMin));
}

// Largest side of a box in single precision: y wins over x only when strictly longer, z over
// both likewise.
float largestSide(const BoundingBox3D& b) {
  float largest = b.getMaxX() - b.getMinX();
  const float dy = b.getMaxY() - b.getMinY();
  const float dz = b.getMaxZ() - b.getMinZ();
  if (dy > largest) largest = dy;
  if (dz > largest) largest = dz;
  return largest;
}

// The hit order of a line query: by t, then by order of finding. A NaN t (only from corrupt
// coordinates) sorts last, so that the order stays a strict weak one.
bool hitBefore(const std::pair<double, int>& x, const std::pair<double, int>& y) {
  const bool xNaN = std::isnan(x.first);
  const bool yNaN = std::isnan(y.first);
  if (xNaN != yNaN) return yNaN;
  if (!xNaN && x.first != y.first) return x.first < y.first;
  return x.second < y.second;
}

// The least squared distance among the candidates of every sheetscan::kSampleStride-th triangle
// of the valid sheets named (names out of range skipped), from the same arithmetic as the full
// search; +infinity when none gives a number. No candidate nearer than the search's winner
// exists, so the winner lies at this distance or nearer.
double sampledBound(const double* p, const std::vector<int>& candidateSheets,
                    const std::vector<Sheet3D>& sheets) {
  double scratch[3];
  trianglemath::ClosestSearch sample{scratch, nkGetInf(), -1.0, false};
  for (int k : candidateSheets) {
    if (k < 0 || k >= static_cast<int>(sheets.size())) continue;
    const Sheet3D& sheet = sheets[static_cast<std::size_t>(k)];
    if (sheet.isValid()) sheetscan::sample(sheet, p, sample);
  }
  return sample.dist2;
}

// The side of sheet (number j) on which solid lies, for the volume: from the orientations of
// the sheet-to-solid entries naming the solid when any carries +1 or -1; otherwise (the public
// setter stores orientation 0) from the sheet's own domains, up acting as +1 and down as -1.
int volumeSide(const Adjacent& sheetToSolid, const Sheet3D& sheet, int j, int solid) {
  const pointinsolid::Orientations found = pointinsolid::orientationsOf(sheetToSolid, j, solid);
  if (found.plus || found.minus) return found.plus == found.minus ? 0 : found.plus ? 1 : -1;
  if (solid == sheet.getUp()) return 1;
  if (solid == sheet.getDown()) return -1;
  return 0;
}

}  // namespace

RenderDrawGeom3D::RenderDrawGeom3D() = default;
RenderDrawGeom3D::RenderDrawGeom3D(Type3D type, int id)
    : RenderDrawGeom(static_cast<Type>(type), id) {}
RenderDrawGeom3D::~RenderDrawGeom3D() = default;

void RenderDrawGeom3D::allocate(int nSolids, int nSheets, int nCurves, int nPoints) {
  solidBoxes_.resize(static_cast<std::size_t>(std::max(nSolids, 0)));
  sheets_.assign(static_cast<std::size_t>(std::max(nSheets, 0)), Sheet3D());
  curves_.assign(static_cast<std::size_t>(std::max(nCurves, 0)), Curve3D());
  points_.assign(static_cast<std::size_t>(std::max(nPoints, 0)), Point3D());
}

// The producer numbers the sources of these relations from 1 and leaves entry 0 unused.
void RenderDrawGeom3D::setSolidToSheetAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(solidToSheet_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setSolidToCurveAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(solidToCurve_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setSolidToPointAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(solidToPoint_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setSheetToCurveAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(sheetToCurve_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setSheetToPointAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(sheetToPoint_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setCurveToPointAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(curveToPoint_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setPointToCurveAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(pointToCurve_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setPointToSheetAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(pointToSheet_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}
void RenderDrawGeom3D::setCurveToSheetAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(curveToSheet_, lists, drawgeom::AdjacencyRule::AS_GIVEN, 1);
}

// Solid numbers are 1-based here, with 0 for "no solid" (the outside of the model).
void RenderDrawGeom3D::setPointToSolidAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(pointToSolid_, lists, drawgeom::AdjacencyRule::ONE_BASED_DROP_NONE);
}
void RenderDrawGeom3D::setCurveToSolidAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(curveToSolid_, lists, drawgeom::AdjacencyRule::ONE_BASED_DROP_NONE);
}
void RenderDrawGeom3D::setSheetToSolidAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(sheetToSolid_, lists, drawgeom::AdjacencyRule::ONE_BASED_DROP_NONE);
}

double RenderDrawGeom3D::getVolume(int dim, const std::vector<int>& entities) const {
  double measure = 0.0;
  if (dim == 1) {
    for (int i : entities) {
      if (i < 0 || i >= getNumberOfCurves()) DC_RAISE_AT(140, errors::kAssertionFailure);
      if (!curves_[i].isValid()) return 0.0;  // all or nothing
      measure += curves_[i].getLength();
    }
  } else if (dim == 2) {
    for (int i : entities) {
      if (i < 0 || i >= getNumberOfSheets()) DC_RAISE_AT(150, errors::kAssertionFailure);
      if (!sheets_[i].isComplete()) return 0.0;  // its area is not known
      measure += sheets_[i].getArea();
    }
  } else if (dim == 3) {
    // Tetrahedra about the centre of the whole box keep the sums small for a model far from
    // the origin.
    const double o[3] = {(double(box_.getMinX()) + double(box_.getMaxX())) * 0.5,
                         (double(box_.getMinY()) + double(box_.getMaxY())) * 0.5,
                         (double(box_.getMinZ()) + double(box_.getMaxZ())) * 0.5};
    for (int s : entities) {
      if (s < 0 || s >= getNumberOfSolids()) DC_RAISE_AT(160, errors::kAssertionFailure);
      const drawgeom::AdjacentRun run = drawgeom::adjacentRun(solidToSheet_, s);
      for (int k = 0; k < run.count; ++k) {
        const int j = run.adjacents[k];
        if (j < 0 || j >= getNumberOfSheets()) return 0.0;  // a boundary that is not there
        const Sheet3D& sheet = sheets_[j];
        if (sheet.getUp() == sheet.getDown()) continue;  // inside the solid, not its boundary
        const int side = volumeSide(sheetToSolid_, sheet, j, s);
        if (side == 0) continue;  // bounds the solid on both sides or on none
        if (!sheet.isComplete()) return 0.0;
        const int n = sheet.getNumberOfVertices();
        const Sheet3D::Vertex* v = sheet.getVertexArray();
        const int* corners = sheet.getTriangleArray();
        double sum = 0.0;
        for (int t = 0; t < sheet.getNumberOfTriangles(); ++t, corners += 3) {
          if (!trianglemath::indicesValid(corners, n)) continue;
          const Sheet3D::Vertex& a = v[corners[0]];
          const Sheet3D::Vertex& b = v[corners[1]];
          const Sheet3D::Vertex& c = v[corners[2]];
          const double ax = double(a.x) - o[0], ay = double(a.y) - o[1], az = double(a.z) - o[2];
          const double bx = double(b.x) - o[0], by = double(b.y) - o[1], bz = double(b.z) - o[2];
          const double cx = double(c.x) - o[0], cy = double(c.y) - o[1], cz = double(c.z) - o[2];
          sum += ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
        }
        // Normals pointing away from the solid (orientation -1) give positive sums.
        measure += side > 0 ? -sum : sum;
      }
    }
    // The sums are six times the volumes: one division at the end rounds once.
    measure /= 6.0;
  }
  return measure;
}

double RenderDrawGeom3D::getBndArea(int dim, const std::vector<int>& solids) const {
  if (dim != 3) return 0.0;
  std::set<int> boundary;
  for (int s : solids) {
    if (s >= getNumberOfSolids()) DC_RAISE_AT(313, errors::kAssertionFailure);
    const drawgeom::AdjacentRun run =
        drawgeom::adjacentRun(solidToSheet_, s);  // none for a negative s
    for (int k = 0; k < run.count; ++k) {
      const int j = run.adjacents[k];
      if (j < 0 || j >= getNumberOfSheets()) continue;  // names no sheet
      // A sheet with the same domain on both sides lies inside it.
      if (sheets_[j].getUp() != sheets_[j].getDown()) boundary.insert(j);
    }
  }
  double area = 0.0;
  for (int j : boundary)
    area += sheets_[j].getArea();
  return area;
}

void RenderDrawGeom3D::getBoundingBox(std::vector<float>& box) const {
  box.assign({box_.getMinX(), box_.getMaxX(), box_.getMinY(), box_.getMaxY(), box_.getMinZ(),
              box_.getMaxZ()});
}

void RenderDrawGeom3D::findLineIntersections(const std::vector<double>& p0,
                                             const std::vector<double>& p1,
                                             std::vector<std::vector<double>>& result,
                                             std::vector<int>& sheets) const {
  // Each sheet's hits as Sheet3D::findLineIntersections finds them, in sheet order.
  std::vector<std::pair<double, int>> hits;
  std::vector<double> normals;
  std::vector<int> owners;
  const trianglemath::LineQuery line(p0.data(), p1.data());
  const sheetscan::LineReach reach(p0.data(), p1.data());
  sheetscan::Scratch scratch;
  for (int k = 0; k < getNumberOfSheets(); ++k) {
    if (!sheets_[k].isValid()) continue;
    sheetscan::lineHits(sheets_[k], line, reach, scratch, hits, normals);
    owners.resize(hits.size(), k);
  }
  std::sort(hits.begin(), hits.end(), hitBefore);
  result.resize(hits.size(), std::vector<double>(4, 0.0));
  sheets.resize(hits.size());
  for (std::size_t i = 0; i < hits.size(); ++i) {
    const std::size_t j = static_cast<std::size_t>(hits[i].second);
    std::vector<double>& entry = result[i];
    if (entry.size() < 4) entry.resize(4);
    entry[0] = hits[i].first;
    for (std::size_t k = 0; k < 3; ++k)
      entry[1 + k] = 3 * j + k < normals.size() ? normals[3 * j + k] : nkGetNaN();
    sheets[i] = owners[j];
  }
}

void RenderDrawGeom3D::findLineIntersections(const std::vector<double>& p0,
                                             const std::vector<double>& p1,
                                             std::vector<std::vector<double>>& result) const {
  std::vector<int> sheets;
  findLineIntersections(p0, p1, result, sheets);
}

int RenderDrawGeom3D::findClosestPoint(const std::vector<double>& point,
                                       const std::vector<int>& candidateSheets,
                                       std::vector<double>& closest) const {
  closest.assign(3, nkGetNaN());
  // Every candidate sheet searched as Sheet3D::findClosestPoint searches it (a negative stop
  // distance: to the end), in the same order and with the same arithmetic. The search keeps
  // the first candidate of least distance, so a triangle whose candidates all lie farther than
  // some candidate of any triangle can never win: a sparse sample over all candidate sheets,
  // searched first, gives such a distance, with which the scans skip most triangles.
  trianglemath::ClosestSearch search{closest.data(), nkGetInf(), -1.0, false};
  const double bound = sampledBound(point.data(), candidateSheets, sheets_);
  sheetscan::Scratch scratch;
  int best = -1;
  for (int k : candidateSheets) {
    if (k < 0 || k >= getNumberOfSheets()) DC_RAISE_AT(437, errors::kInvalidFaceNumber);
    const Sheet3D& sheet = sheets_[k];
    if (!sheet.isValid()) continue;
    search.found = false;
    sheetscan::closest(sheet, point.data(), search, bound, scratch);
    if (search.found) best = k;
  }
  return best;
}

void RenderDrawGeom3D::findPlaneIntersections(const Array<double, 1>& planePoint,
                                              const Array<double, 1>& planeNormal,
                                              PostDataObject& result) const {
  for (const Sheet3D& s : sheets_)
    s.findPlaneIntersections(planePoint, planeNormal, result);
  for (const Curve3D& c : curves_)
    c.findPlaneIntersections(planePoint, planeNormal, result);
}

bool RenderDrawGeom3D::pointInSolid(const std::vector<double>& p, int solid) const {
  auto closest = [this](const std::vector<double>& point, const std::vector<int>& sheets,
                        std::vector<double>& c) { findClosestPoint(point, sheets, c); };
  // Every triangle edge of the listed sheets reaching top, less those wholly beside the search
  // square (by far more than any rounding), which meet none of its quadrants.
  auto collect = [this, &p](const std::vector<int>& sheets, double step, double top,
                            std::vector<pointinsolid::Segment2>& segments) {
    const double reach = step * 1.001;
    for (int j : sheets) {
      const Sheet3D& sheet = sheets_[j];  // findClosestPoint has checked every index
      if (!sheet.isValid() || !(double(sheet.getBoundingBox().getMaxZ()) >= top)) continue;
      const int n = sheet.getNumberOfVertices();
      const Sheet3D::Vertex* v = sheet.getVertexArray();
      const int* corners = sheet.getTriangleArray();
      for (int t = 0; t < sheet.getNumberOfTriangles(); ++t, corners += 3) {
        if (!trianglemath::indicesValid(corners, n)) continue;
        for (int e = 0; e < 3; ++e) {
          pointinsolid::Segment2 segment;
          if (!pointinsolid::projectAboveTop(v[corners[e]], v[corners[(e + 1) % 3]], top, p.data(),
                                             segment)) {
            continue;
          }
          if (std::min(segment.a[0], segment.b[0]) > reach ||
              std::max(segment.a[0], segment.b[0]) < -reach ||
              std::min(segment.a[1], segment.b[1]) > reach ||
              std::max(segment.a[1], segment.b[1]) < -reach) {
            continue;
          }
          segments.push_back(segment);
        }
      }
    }
  };
  auto lines = [this](const std::vector<double>& p0, const std::vector<double>& p1,
                      std::vector<std::vector<double>>& hits, std::vector<int>& hitSheets) {
    findLineIntersections(p0, p1, hits, hitSheets);
  };
  return pointinsolid::pointInSolid(p, solid, solidToSheet_, sheetToSolid_, closest, collect,
                                    lines);
}

BoundingBox3D RenderDrawGeom3D::getRotatedBoundingBox(const std::vector<double>& p,
                                                      const std::vector<double>& axis) const {
  const double len = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
  const double u[3] = {axis[0] / len, axis[1] / len, axis[2] / len};
  const double xs[2] = {double(box_.getMinX()), double(box_.getMaxX())};
  const double ys[2] = {double(box_.getMinY()), double(box_.getMaxY())};
  const double zs[2] = {double(box_.getMinZ()), double(box_.getMaxZ())};
  double hMax = 0.0;
  double hMin = 0.0;
  double reach = 0.0;
  for (int corner = 0; corner < 8; ++corner) {
    const double d[3] = {xs[corner & 1] - p[0], ys[(corner >> 1) & 1] - p[1],
                         zs[(corner >> 2) & 1] - p[2]};
    const double h = d[0] * u[0] + d[1] * u[1] + d[2] * u[2];
    const double rx = d[0] - h * u[0];
    const double ry = d[1] - h * u[1];
    const double rz = d[2] - h * u[2];
    const double rho = std::sqrt(rx * rx + ry * ry + rz * rz);
    if (h > hMax) hMax = h;
    if (h < hMin) hMin = h;
    if (rho > reach) reach = rho;
  }
  return BoundingBox3D(-reach, reach, -reach, reach, hMin, hMax);
}

template <typename SheetTest>
bool RenderDrawGeom3D::solidMatches(int solid, const BoundingBox3D& shapeBox, bool inside,
                                    SheetTest sheetTest, const std::vector<double>* probe) const {
  if (!solidBoxes_[solid].intersects(shapeBox)) return false;
  const drawgeom::AdjacentRun run = drawgeom::adjacentRun(solidToSheet_, solid);
  for (int k = 0; k < run.count; ++k) {
    const int j = run.adjacents[k];
    if (j < 0 || j >= getNumberOfSheets()) continue;  // names no sheet
    const bool matches = sheetTest(sheets_[j]);
    if (inside && !matches) return false;
    if (!inside && matches) return true;
  }
  if (inside) return true;
  return probe != nullptr && pointInSolid(*probe, solid);
}

namespace {

// The fixed lines of the selection raises, per operation and sense: a bad dimension, then a
// candidate out of range among the curves, sheets and solids.
constexpr selection::SitesBySense kFindInBall{{663, {627, 635, 643}}, {711, {670, 678, 686}}};
constexpr selection::SitesBySense kIsInBall{{762, {726, 734, 742}}, {810, {769, 777, 785}}};
constexpr selection::SitesBySense kFindInBox{{860, {824, 832, 840}}, {927, {883, 891, 899}}};
constexpr selection::SitesBySense kIsInBox{{975, {939, 947, 955}}, {1042, {998, 1006, 1014}}};
constexpr selection::SitesBySense kFindInCylinder{{1092, {1055, 1063, 1071}},
                                                  {1156, {1108, 1116, 1124}}};
constexpr selection::SitesBySense kIsInCylinder{{1207, {1170, 1178, 1186}},
                                                {1270, {1222, 1230, 1238}}};

}  // namespace

std::array<int, 4> RenderDrawGeom3D::selectionCounts() const {
  return {-1, getNumberOfCurves(), getNumberOfSheets(), getNumberOfSolids()};
}

template <typename Query>
bool RenderDrawGeom3D::inBall(const std::vector<double>& c, double r, bool inside,
                              Query query) const {
  const BoundingBox3D shapeBox = cubeAround(c, r);
  return query([&](int d, int i) {
    if (d == 1) return inside ? curves_[i].insideBall(c, r) : curves_[i].intersectsBall(c, r);
    const auto sheetTest = [&](const Sheet3D& s) {
      return inside ? s.insideBall(c, r) : s.intersectsBall(c, r);
    };
    if (d == 2) return sheetTest(sheets_[i]);
    return solidMatches(i, shapeBox, inside, sheetTest, &c);
  });
}

template <typename Query>
bool RenderDrawGeom3D::inBox(const std::vector<double>& box, bool inside, Query query) const {
  // Touching: the box clipped to the whole box grown by a tenth of its largest side, so that a
  // huge rubber band costs no more than one around the model.
  const float bounds[6] = {box_.getMinX(), box_.getMaxX(), box_.getMinY(),
                           box_.getMaxY(), box_.getMinZ(), box_.getMaxZ()};
  const std::vector<double> shape = inside ? box : drawgeom::clipToGrownBounds(box, bounds, 3);
  const BoundingBox3D shapeBox = boxOf(shape);
  const std::vector<double> centre = {(shape[0] + shape[1]) * 0.5, (shape[2] + shape[3]) * 0.5,
                                      (shape[4] + shape[5]) * 0.5};
  return query([&](int d, int i) {
    if (d == 1) return inside ? curves_[i].insideBox(shape) : curves_[i].intersectsBox(shape);
    const auto sheetTest = [&](const Sheet3D& s) {
      return inside ? s.insideBox(shape) : s.intersectsBox(shape);
    };
    if (d == 2) return sheetTest(sheets_[i]);
    return solidMatches(i, shapeBox, inside, sheetTest, &centre);
  });
}

template <typename Query>
bool RenderDrawGeom3D::inCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                                  double r, double hMax, double hMin, bool inside,
                                  Query query) const {
  double radius = r;
  double upper = hMax;
  double lower = hMin;
  if (!inside) {
    // Touching: radius and heights cut down to the whole box seen in the cylinder's frame,
    // grown by a tenth of its largest side.
    const BoundingBox3D frame = getRotatedBoundingBox(p, axis);
    const double margin = 0.1 * double(largestSide(frame));
    radius = std::min(r, double(frame.getMaxX()) * std::sqrt(2.0) + margin);
    upper = std::min(hMax, double(frame.getMaxZ()) + margin);
    lower = std::max(hMin, double(frame.getMinZ()) - margin);
  }
  const BoundingBox3D shapeBox = cubeAround(p, cylinderReach(radius, upper, lower));
  // The centre of the caller's height range, unless the cylinder is unbounded.
  std::vector<double> centre;
  if (!nkIsInf(hMax) && !nkIsInf(hMin)) {
    const double len = std::sqrt(axis[0] * axis[0] + axis[1] * axis[1] + axis[2] * axis[2]);
    for (int k = 0; k < 3; ++k)
      centre.push_back(p[k] + axis[k] / len * (hMax + hMin) * 0.5);
  }
  return query([&](int d, int i) {
    if (d == 1) {
      return inside ? curves_[i].insideCylinder(p, axis, radius, upper, lower)
                    : curves_[i].intersectsCylinder(p, axis, radius, upper, lower);
    }
    const auto sheetTest = [&](const Sheet3D& s) {
      return inside ? s.insideCylinder(p, axis, radius, upper, lower)
                    : s.intersectsCylinder(p, axis, radius, upper, lower);
    };
    if (d == 2) return sheetTest(sheets_[i]);
    return solidMatches(i, shapeBox, inside, sheetTest, centre.empty() ? nullptr : &centre);
  });
}

// Each query: the shape's reduction first (whatever dim is), then the driver's dimension check,
// candidate loop and answer.
void RenderDrawGeom3D::findEntitiesInBall(const std::vector<double>& c, double r, int dim,
                                          bool inside, const std::vector<int>& candidates,
                                          std::vector<int>& result) const {
  inBall(c, r, inside, [&](auto matches) {
    return selection::run(__FILE__, kFindInBall(inside), selection::Answer::APPEND,
                          selectionCounts(), dim, candidates, matches, &result);
  });
}

bool RenderDrawGeom3D::isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                                const std::vector<int>& candidates) const {
  return inBall(c, r, inside, [&](auto matches) {
    return selection::run(__FILE__, kIsInBall(inside), selection::testAnswer(inside),
                          selectionCounts(), dim, candidates, matches);
  });
}

void RenderDrawGeom3D::findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                                         const std::vector<int>& candidates,
                                         std::vector<int>& result) const {
  inBox(box, inside, [&](auto matches) {
    return selection::run(__FILE__, kFindInBox(inside), selection::Answer::APPEND,
                          selectionCounts(), dim, candidates, matches, &result);
  });
}

bool RenderDrawGeom3D::isInBox(const std::vector<double>& box, int dim, bool inside,
                               const std::vector<int>& candidates) const {
  return inBox(box, inside, [&](auto matches) {
    return selection::run(__FILE__, kIsInBox(inside), selection::testAnswer(inside),
                          selectionCounts(), dim, candidates, matches);
  });
}

void RenderDrawGeom3D::findEntitiesInCylinder(const std::vector<double>& p,
                                              const std::vector<double>& axis, double r,
                                              double hMax, double hMin, int dim, bool inside,
                                              const std::vector<int>& candidates,
                                              std::vector<int>& result) const {
  inCylinder(p, axis, r, hMax, hMin, inside, [&](auto matches) {
    return selection::run(__FILE__, kFindInCylinder(inside), selection::Answer::APPEND,
                          selectionCounts(), dim, candidates, matches, &result);
  });
}

bool RenderDrawGeom3D::isInCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                                    double r, double hMax, double hMin, int dim, bool inside,
                                    const std::vector<int>& candidates) const {
  return inCylinder(p, axis, r, hMax, hMin, inside, [&](auto matches) {
    return selection::run(__FILE__, kIsInCylinder(inside), selection::testAnswer(inside),
                          selectionCounts(), dim, candidates, matches);
  });
}

int RenderDrawGeom3D::numUniquePointsEstimate() const {
  return drawgeom::uniquePointsEstimate(sheets_, curves_, getNumberOfPoints());
}

int RenderDrawGeom3D::getMLRenderPointSize() const {
  return getNumberOfPoints() + drawgeom::totalVertices(curves_) + drawgeom::totalVertices(sheets_);
}

int RenderDrawGeom3D::getMLRenderVtxSize() const {
  return getNumberOfPoints();
}

int RenderDrawGeom3D::getMLRenderEdgSize() const {
  return drawgeom::totalSegments(curves_);
}

int RenderDrawGeom3D::getMLRenderTriSize() const {
  return drawgeom::totalTriangles(sheets_);
}

void RenderDrawGeom3D::getMLRenderData(std::vector<std::vector<float>>& coords,
                                       std::vector<std::vector<int>>& elements) const {
  // The arrays are refilled in place, so that a caller exporting again reuses their memory.
  coords.resize(3);
  for (std::vector<float>& direction : coords)
    direction.assign(static_cast<std::size_t>(getMLRenderPointSize()), 0.0f);
  elements.resize(9);
  for (std::vector<int>& records : elements)
    records.clear();
  const int numPoints = getNumberOfPoints();
  elements[0].reserve(static_cast<std::size_t>(numPoints));
  elements[1].reserve(static_cast<std::size_t>(numPoints));
  for (int i = 0; i < numPoints; ++i) {
    drawgeom::writePositions(coords, i, &points_[i].getVertex(), 1);
    elements[0].push_back(i);
    elements[1].push_back(i + 1);
  }
  const int edges = getMLRenderEdgSize();
  for (int v = 2; v <= 4; ++v)
    elements[v].reserve(edges > 0 ? std::size_t(edges) : 0);
  int position = numPoints;
  for (int c = 0; c < getNumberOfCurves(); ++c) {
    const int n = curves_[c].getNumberOfVertices();
    // Deliberately: a curve of one vertex writes no position, yet takes one like an empty one.
    if (n >= 2) drawgeom::writePositions(coords, position, curves_[c].getVertexArray(), n);
    position = drawgeom::appendCurveRecords(elements, position, n >= 2 ? n : 0, c + 1);
  }

  // Triangle records of the valid sheets, written in place.
  std::size_t records = 0;
  for (const Sheet3D& sheet : sheets_) {
    if (sheet.isValid()) records += static_cast<std::size_t>(sheet.getNumberOfTriangles());
  }
  for (int v = 5; v <= 8; ++v)
    elements[v].resize(records);
  int* const corner[3] = {elements[5].data(), elements[6].data(), elements[7].data()};
  int* const number = elements[8].data();
  std::size_t r = 0;
  for (int j = 0; j < getNumberOfSheets(); ++j) {
    const Sheet3D& sheet = sheets_[j];
    if (!sheet.isValid()) continue;  // counted by the sizes, but takes no position
    const int n = sheet.getNumberOfVertices();
    drawgeom::makeRoom(coords, position + n);
    const Sheet3D::Vertex* v = sheet.getVertexArray();
    float* x = coords[0].data() + position;
    float* y = coords[1].data() + position;
    float* z = coords[2].data() + position;
    for (int k = 0; k < n; ++k) {
      x[k] = v[k].x;
      y[k] = v[k].y;
      z[k] = v[k].z;
    }
    const int* corners = sheet.getTriangleArray();
    const int numTriangles = sheet.getNumberOfTriangles();
    for (int t = 0; t < numTriangles; ++t, ++r) {
      for (int m = 0; m < 3; ++m) {
        // A corner that the sheet does not have points at position 0.
        const int k = corners[3 * t + m];
        corner[m][r] = k >= 0 && k < n ? position + k : 0;
      }
      number[r] = j + 1;
    }
    position += n;
  }

  mergeRenderPoints(coords, elements, {0, 2, 3, 5, 6, 7});
}

void RenderDrawGeom3D::getWireframe(RenderDrawGeom3D& target) const {
  // The target's allocate discards its entities: when it is this geometry, copy them first.
  std::vector<Point3D> ownPoints;
  std::vector<Curve3D> ownCurves;
  const bool self = &target == this;
  if (self) {
    ownPoints = points_;
    ownCurves = curves_;
  }
  const std::vector<Point3D>& points = self ? ownPoints : points_;
  const std::vector<Curve3D>& curves = self ? ownCurves : curves_;
  target.box_ = box_;
  target.allocate(0, 0, static_cast<int>(curves.size()), static_cast<int>(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    const Point3D::Vertex& v = points[i].getVertex();
    target.points_[i].setVertex(v.x, v.y, v.z);
  }
  for (std::size_t c = 0; c < curves.size(); ++c) {
    const Curve3D& from = curves[c];
    Curve3D& to = target.curves_[c];
    to.reserve(from.getNumberOfVertices());
    for (int k = 0; k < from.getNumberOfVertices(); ++k) {
      const Curve3D::Vertex& v = from.getVertex(k);
      to.appendVertex(v.x, v.y, v.z);
    }
    to.setBoundingBox3D(from.getBoundingBox());
    to.setValid(from.isValid());
  }
}

void RenderDrawGeom3D::getUnmeshedEdges(std::vector<int>& out) const {
  out.clear();
  for (int c = 0; c < getNumberOfCurves(); ++c) {
    if (!curves_[c].isValid()) out.push_back(c);
  }
}

void RenderDrawGeom3D::getUnmeshedFaces(std::vector<int>& out) const {
  out.clear();
  for (int j = 0; j < getNumberOfSheets(); ++j) {
    if (!sheets_[j].isValid()) out.push_back(j);
  }
}

void RenderDrawGeom3D::serializeAttributes(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  RenderDrawGeom::serializeAttributes(os);
  serialio::writeNested(os, prop, "Bounding box", box_);
  os << getNumberOfPoints();
  os.label("number of points");
  os << getNumberOfCurves();
  os.label("number of curves");
  os << getNumberOfSheets();
  os.label("number of sheets");
  os << getNumberOfSolids();
  os.label("number of solids");
  os.label("");
  os.label("Points");
  for (const Point3D& p : points_) {
    os << p.getVertex().x << p.getVertex().y << p.getVertex().z;
    os.label("");
  }
  os.label("");
  os.label("Curves");
  for (const Curve3D& c : curves_)
    c.serialize(os, prop);
  os.label("");
  os.label("Sheets");
  for (const Sheet3D& s : sheets_)
    s.serialize(os, prop);
  os.label("");
  os.label("Solid bounding boxes");
  for (const BoundingBox3D& b : solidBoxes_)
    b.serialize(os, prop);
  os.label("");
  // The relations in declaration order; no empty label after the last one.
  const std::pair<const char*, const Adjacent*> relations[12] = {
      {"Solid to sheet adjacencies", &solidToSheet_},
      {"Solid to curve adjacencies", &solidToCurve_},
      {"Solid to point adjacencies", &solidToPoint_},
      {"Sheet to curve adjacencies", &sheetToCurve_},
      {"Sheet to point adjacencies", &sheetToPoint_},
      {"Curve to point adjacencies", &curveToPoint_},
      {"Point to curve adjacencies", &pointToCurve_},
      {"Point to sheet adjacencies", &pointToSheet_},
      {"Point to solid adjacencies", &pointToSolid_},
      {"Curve to sheet adjacencies", &curveToSheet_},
      {"Curve to solid adjacencies", &curveToSolid_},
      {"Sheet to solid adjacencies", &sheetToSolid_}};
  for (int k = 0; k < 12; ++k) {
    os.label(relations[k].first);
    relations[k].second->serialize(os, prop);
    if (k < 11) os.label("");
  }
}

void RenderDrawGeom3D::deserializeAttributes(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  RenderDrawGeom::deserializeAttributes(is);
  box_.deserialize(is);
  const int numPoints = DC_READ_COUNT(is, 3 * sizeof(float));
  const int numCurves = DC_READ_COUNT(is, kMinNestedBytes);
  const int numSheets = DC_READ_COUNT(is, kMinNestedBytes);
  const int numSolids = DC_READ_COUNT(is, kMinNestedBytes);
  // Every entity starts from its default, as after allocate; the arrays grow as entities
  // arrive, so that a count the stream cannot vouch for takes no memory of its own.
  points_.clear();
  curves_.clear();
  sheets_.clear();
  solidBoxes_.clear();
  serialio::readEach(is, points_, numPoints, [&](Point3D& p, std::size_t) {
    float x = 0.0f;
    float y = 0.0f;
    float z = 0.0f;
    is >> x >> y >> z;
    p.setVertex(x, y, z);
  });
  serialio::readEach(is, curves_, numCurves, [&](Curve3D& c, std::size_t) { c.deserialize(is); });
  serialio::readEach(is, sheets_, numSheets, [&](Sheet3D& s, std::size_t) { s.deserialize(is); });
  serialio::readEach(is, solidBoxes_, numSolids,
                     [&](BoundingBox3D& b, std::size_t) { b.deserialize(is); });
  for (Adjacent* relation : {&solidToSheet_, &solidToCurve_, &solidToPoint_, &sheetToCurve_,
                             &sheetToPoint_, &curveToPoint_, &pointToCurve_, &pointToSheet_,
                             &pointToSolid_, &curveToSheet_, &curveToSolid_, &sheetToSolid_}) {
    relation->deserialize(is);
  }
}

}  // namespace nkdatacarrier
