#include "datacarrier/renderdrawgeom.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "qvutil/coordhashmap.h"

namespace nkdatacarrier {

RenderDrawGeom::RenderDrawGeom() = default;
RenderDrawGeom::RenderDrawGeom(Type type, int id) : type_(type), id_(id) {}
RenderDrawGeom::~RenderDrawGeom() = default;

int RenderDrawGeom::getDimension() const {
  switch (type_) {
    case RENDER_GEOM_3D:
    case DRAW_3D_A:
    case DRAW_3D_B:
    case DRAW_3D_C:
    case DRAW_3D_D:
      return 3;
    case RENDER_GEOM_2D:
    case DRAW_2D_A:
    case DRAW_PROJ_2D:
    case DRAW_2D_B:
      return 2;
    case RENDER_GEOM_1D:
    case DRAW_1D_A:
    case DRAW_1D_B:
      return 1;
    case DRAW_EDIT_2D:  // deliberately 0: the sketch answers none of the geometric queries
    case UNSET:
      return 0;
  }
  return 0;  // a type read from a stream that this library does not know
}

void RenderDrawGeom::serializeAttributes(OSerialStream& os) const {
  os << static_cast<int>(type_);
  os.label("object type");
  os << id_;
  os.label("unique identifier");
  os << label_;
  os.label("object label");
  os.label("");
}

void RenderDrawGeom::deserializeAttributes(ISerialStream& is) {
  int type = 0;
  is >> type;
  type_ = static_cast<Type>(type);  // stored as read, known or not
  is >> id_;
  is >> label_;
}

// The defaults of the operations that only some geometries answer, raising with the fixed
// lines that their error reports carry; the projection drawing and the editable sketch keep
// all of them.
void RenderDrawGeom::findLineIntersections(const std::vector<double>&, const std::vector<double>&,
                                           std::vector<std::vector<double>>&) const {
  DC_RAISE_AT(73, errors::kFindLineIntersectionsOnly3D);
}

// Picking, cutting and the cylinder queries need the sheets of the 3D geometries.
int RenderDrawGeom::findClosestPoint(const std::vector<double>&, const std::vector<int>&,
                                     std::vector<double>&) const {
  DC_RAISE_AT(79, errors::kFindClosestPointOnly3D);
}

// A cut would append its segments to the plot data; here nothing is appended.
void RenderDrawGeom::findPlaneIntersections(const Array<double, 1>&, const Array<double, 1>&,
                                            PostDataObject&) const {
  DC_RAISE_AT(85, errors::kFindPlaneIntersectionsOnly3D);
}

void RenderDrawGeom::findEntitiesInCylinder(const std::vector<double>&, const std::vector<double>&,
                                            double, double, double, int, bool,
                                            const std::vector<int>&, std::vector<int>&) const {
  DC_RAISE_AT(91, errors::kFindEntitiesInCylinderOnly3D);
}

// Only the concrete draw geometries know the layout of their render arrays.
int RenderDrawGeom::getMLRenderPointSize() const {
  DC_RAISE_AT(96, errors::kNoRenderExport);
}

// Vertex records: the isolated points of a concrete geometry, one record each, numbered
// from 1 in the export.
int RenderDrawGeom::getMLRenderVtxSize() const {
  DC_RAISE_AT(102, errors::kNoRenderExport);
}

// Edge records: the segments of the curves of a concrete
// geometry.
int RenderDrawGeom::getMLRenderEdgSize() const {
  DC_RAISE_AT(108, errors::kNoRenderExport);
}

// Triangle records: the triangles of the faces of a concrete
// geometry.
int RenderDrawGeom::getMLRenderTriSize() const {
  DC_RAISE_AT(114, errors::kNoRenderExport);
}

// The coordinates and the element records that the size queries above count, with coincident
// coordinates merged through uniquePoints.
void RenderDrawGeom::getMLRenderData(std::vector<std::vector<float>>&,
                                     std::vector<std::vector<int>>&) const {
  DC_RAISE_AT(121, errors::kNoRenderExport);
}

void RenderDrawGeom::uniquePoints(std::vector<std::vector<float>>& coords,
                                  std::vector<int>& map) const {
  const std::size_t d = coords.size();
  // Every direction should hold n values; a shorter one ends the points that are complete.
  std::size_t n = d == 0 ? 0 : coords[0].size();
  for (const std::vector<float>& direction : coords)
    n = std::min(n, direction.size());

  double largest = 0.0;
  for (std::size_t k = 0; k < d; ++k) {
    for (std::size_t i = 0; i < n; ++i) {
      const double a = std::fabs(double(coords[k][i]));
      if (a > largest) largest = a;
    }
  }

  // The estimate may be negative; its unsigned image is then too large to be taken as a size.
  CoordHashMap hash(static_cast<unsigned>(d), largest,
                    static_cast<unsigned>(numUniquePointsEstimate()), true, 2e-7, 0.001);
  map.assign(n, -1);
  std::vector<double> point(d);
  int count = 0;
  // The table lookups are random accesses: hint the hash map a few points ahead so that their
  // memory latency overlaps the work on the current points.
  constexpr std::size_t kAhead = 8;
  std::vector<double> ahead(d);
  for (std::size_t i = 0; i < n; ++i) {
    if (i + kAhead < n) {
      for (std::size_t k = 0; k < d; ++k)
        ahead[k] = double(coords[k][i + kAhead]);
      hash.prefetch(ahead.data());
    }
    for (std::size_t k = 0; k < d; ++k)
      point[k] = double(coords[k][i]);
    const std::pair<const int*, bool> found = hash.insert(point.data(), count, true);
    if (found.second) {
      map[i] = count;
      for (std::size_t k = 0; k < d; ++k)
        coords[k][count] = coords[k][i];
      ++count;
    } else {
      map[i] = *found.first;
    }
  }
  for (std::vector<float>& direction : coords)
    direction.resize(static_cast<std::size_t>(count));
}

void RenderDrawGeom::mergeRenderPoints(std::vector<std::vector<float>>& coords,
                                       std::vector<std::vector<int>>& elements,
                                       const std::vector<int>& positionVectors) const {
  std::vector<int> map;
  uniquePoints(coords, map);
  const int positions = static_cast<int>(map.size());
  for (int v : positionVectors) {
    for (int& position : elements[v]) {
      position = position >= 0 && position < positions ? map[position] : -1;
    }
  }
}

// The shared plumbing of the concrete geometries (datacarrier/internal/drawgeomtools.h).
namespace drawgeom {

AdjacentRun adjacentRun(const Adjacent& relation, int source) {
  if (source < 0 || source >= relation.getNumberOfFromIndices()) return {nullptr, 0};
  const int total = relation.getTotalNumberOfAdjacents();
  const int start = relation.getStartIndexInTotalArray(source);
  if (start >= total) return {nullptr, 0};
  const int* adjacents = relation.getAdjacents(source);
  if (adjacents == nullptr) return {nullptr, 0};
  const int count = std::min(relation.getNumberOfAdjacents(source), total - start);
  return {adjacents, std::max(count, 0)};
}

std::vector<double> clipToGrownBounds(const std::vector<double>& box, const float* bounds,
                                      int axes) {
  float largest = bounds[1] - bounds[0];
  for (int k = 1; k < axes; ++k) {
    const float side = bounds[2 * k + 1] - bounds[2 * k];
    if (side > largest) largest = side;
  }
  const double margin = double(largest) * 0.1;
  std::vector<double> clipped(2 * static_cast<std::size_t>(axes));
  for (int k = 0; k < axes; ++k) {
    clipped[2 * k] = std::max(box[2 * k], double(bounds[2 * k]) - margin);
    clipped[2 * k + 1] = std::min(box[2 * k + 1], double(bounds[2 * k + 1]) + margin);
  }
  return clipped;
}

int appendCurveRecords(std::vector<std::vector<int>>& elements, int first, int numVertices,
                       int curveNumber) {
  for (int s = 0; s + 1 < numVertices; ++s) {
    elements[2].push_back(first + s);
    elements[3].push_back(first + s + 1);
    elements[4].push_back(curveNumber);
  }
  return first + (numVertices > 0 ? numVertices : 1);
}

void makeRoom(std::vector<std::vector<float>>& coords, int end) {
  const std::size_t size = static_cast<std::size_t>(std::max(end, 0));
  for (std::vector<float>& direction : coords) {
    if (direction.size() < size) direction.resize(size, 0.0f);
  }
}

void writeSnapCoords(OSerialStream& os, const std::vector<double>& snap) {
  os.label("Number of snapping points");
  os << static_cast<int>(snap.size());
  os.label("");
  os.label("Snapping coordinates");
  for (double x : snap) {
    os << x;
    os.label("");
  }
}

void readSnapCoords(ISerialStream& is, std::vector<double>& snap) {
  const int n = DC_READ_COUNT(is, sizeof(double));
  serialio::readEach(is, snap, n, [&](double& x, std::size_t) { is >> x; });
}

void writeSnapCoords(OSerialStream& os, const std::vector<std::vector<double>>& snap) {
  const std::size_t n = snap.size() < 2 ? 0 : std::min(snap[0].size(), snap[1].size());
  os.label("Number of snapping points");
  os << static_cast<int>(n);
  os.label("");
  os.label("Snapping coordinates");
  for (std::size_t i = 0; i < n; ++i) {
    os << snap[0][i] << snap[1][i];
    os.label("");
  }
}

void readSnapCoords(ISerialStream& is, std::vector<std::vector<double>>& snap, SnapRead rule) {
  const int count = DC_READ_COUNT(is, 2 * sizeof(double));
  const std::size_t n = static_cast<std::size_t>(count);
  // Exactly two directions; REPLACE empties them first, KEEP_PRESENT keeps what they hold and
  // their length when it exceeds the count. Entries past their end are added as they arrive.
  if (rule == SnapRead::REPLACE) {
    snap.assign(2, {});
  } else {
    snap.resize(2);
  }
  for (std::vector<double>& direction : snap)
    direction.reserve(std::max(direction.size(), serialio::initialCapacity(is, count)));
  for (std::size_t i = 0; i < n; ++i) {
    for (std::vector<double>& direction : snap) {
      if (direction.size() <= i) direction.push_back(0.0);
    }
    is >> snap[0][i] >> snap[1][i];
  }
}

}  // namespace drawgeom

}  // namespace nkdatacarrier
