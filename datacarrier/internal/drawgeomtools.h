// What the concrete draw geometries and drawing objects share below the class interface: the
// adjacency setters' rules, clamped runs of a relation, the clipping of touching boxes, the
// render-array plumbing (positions, curve records, sizes), cloning and the snapping-coordinate
// block of the drawing objects. Internal to the library.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <utility>
#include <vector>

#include "datacarrier/adjacent.h"
#include "datacarrier/renderdrawgeom.h"
#include "qvutil/serialstream.h"
#include "qvutil/sharedptr.h"

namespace nkdatacarrier {
namespace drawgeom {

// Adjacency setters.

// How an adjacency setter turns its input lists into a relation.
enum class AdjacencyRule {
  AS_GIVEN,  // every (index, orientation) pair as it stands
  // the first member is a 1-based entity number, 0 or less meaning "none": such pairs are
  // dropped, the others stored as first - 1 with orientation 0
  ONE_BASED_DROP_NONE
};
// Allocates target for lists[firstList..] (one source each) and the pairs kept by the rule,
// then stores each list through the rule.
inline void setAdjacentLists(Adjacent& target, const RenderDrawGeom::AdjacencyLists& lists,
                             AdjacencyRule rule, std::size_t firstList = 0) {
  const bool asGiven = rule == AdjacencyRule::AS_GIVEN;
  const std::size_t sources = lists.size() > firstList ? lists.size() - firstList : 0;
  int total = 0;
  for (std::size_t s = 0; s < sources; ++s) {
    for (const std::pair<int, int>& entry : lists[firstList + s]) {
      if (asGiven || entry.first > 0) ++total;
    }
  }
  target.allocate(static_cast<int>(sources), total);
  std::vector<int> kept;
  for (std::size_t s = 0; s < sources; ++s) {
    const std::vector<std::pair<int, int>>& list = lists[firstList + s];
    if (asGiven) {
      target.setAdjacent(static_cast<int>(s), list);
      continue;
    }
    kept.clear();
    for (const std::pair<int, int>& entry : list) {
      if (entry.first > 0) kept.push_back(entry.first - 1);
    }
    target.setAdjacent(static_cast<int>(s), kept);
  }
}

// The run of source in relation, clamped to the relation's arrays: a source the relation was
// not allocated for, or a run from a corrupt stream that leaves the array, yields what lies
// inside (nothing for the former).
struct AdjacentRun {
  const int* adjacents;
  int count;
};
AdjacentRun adjacentRun(const Adjacent& relation, int source);

// Selection.

// What touching selections test against: box clipped to bounds grown on every side by a tenth
// of their largest side (in float). Both are (min, max) pairs per axis.
std::vector<double> clipToGrownBounds(const std::vector<double>& box, const float* bounds,
                                      int axes);

// Render export.

// The edge records of a curve whose numVertices vertices sit at the positions first,
// first + 1, ...: per segment its start and end position and curveNumber (1-based), in
// elements[2], [3] and [4]. Returns the position after the curve; a curve without vertices
// still takes one position, which no coordinate fills.
int appendCurveRecords(std::vector<std::vector<int>>& elements, int first, int numVertices,
                       int curveNumber);
// The coordinate arrays are sized by the point count; a curve without vertices moves the
// positions after it one further, so grows every direction (with 0.0) to hold `end` positions.
void makeRoom(std::vector<std::vector<float>>& coords, int end);

// Sum of the vertex counts of entities (curves or faces), as the render-array sizes count them.
template <typename Entities>
int totalVertices(const Entities& entities) {
  int total = 0;
  for (const auto& e : entities)
    total += e.getNumberOfVertices();
  return total;
}

// Edge records of curves: vertices - 1 each, so a curve without vertices counts -1.
template <typename Curves>
int totalSegments(const Curves& curves) {
  int total = 0;
  for (const auto& c : curves)
    total += c.getNumberOfVertices() - 1;
  return total;
}

// Writes the float coordinates of count vertices (structs of one float per direction) to the
// positions first, first + 1, ... of coords, growing them when needed.
template <typename Vertex>
void writePositions(std::vector<std::vector<float>>& coords, int first, const Vertex* vertices,
                    int count) {
  constexpr std::size_t kDirections = sizeof(Vertex) / sizeof(float);
  static_assert(sizeof(Vertex) == kDirections * sizeof(float), "a vertex is a struct of floats");
  makeRoom(coords, first + count);
  const std::size_t directions = std::min(kDirections, coords.size());
  for (int k = 0; k < count; ++k) {
    float c[kDirections];
    std::memcpy(c, &vertices[k], sizeof c);
    for (std::size_t d = 0; d < directions; ++d)
      coords[d][first + k] = c[d];
  }
}

// The first part of every render export: each point at the position of its index, with
// elements[0] its position and elements[1] its 1-based number; then the vertices of each curve
// at the next positions, with its edge records. Returns the next free position.
template <typename Points, typename Curves>
int exportPointsAndCurves(std::vector<std::vector<float>>& coords,
                          std::vector<std::vector<int>>& elements, const Points& points,
                          const Curves& curves) {
  const int numPoints = static_cast<int>(points.size());
  elements[0].reserve(points.size());
  elements[1].reserve(points.size());
  for (int i = 0; i < numPoints; ++i) {
    writePositions(coords, i, &points[i].getVertex(), 1);
    elements[0].push_back(i);
    elements[1].push_back(i + 1);
  }
  int position = numPoints;
  for (std::size_t c = 0; c < curves.size(); ++c) {
    const int n = curves[c].getNumberOfVertices();
    writePositions(coords, position, curves[c].getVertexArray(), n);
    position = appendCurveRecords(elements, position, n, static_cast<int>(c) + 1);
  }
  return position;
}

// Drawing objects (1D, 2D, 3D and the projection drawing).

// A copy of the concrete object, owned by a new pointer.
template <typename Object>
nkboost::shared_ptr<RenderDrawGeom> cloneObject(const Object& object) {
  return nkboost::make_shared<Object>(object);
}

// Snapping coordinates in the stream: heading "Number of snapping points", the int count, an
// empty label; heading "Snapping coordinates", then per point its doubles and an empty label.
// In 1D one value per point.
void writeSnapCoords(OSerialStream& os, const std::vector<double>& snap);
void readSnapCoords(ISerialStream& is, std::vector<double>& snap);
// In 2D the list is empty or (x values, y values); a point is written only when both of its
// coordinates are there, so a well-formed list writes the length of its first vector.
void writeSnapCoords(OSerialStream& os, const std::vector<std::vector<double>>& snap);
// How reading n points treats the list that is already there.
enum class SnapRead {
  REPLACE,  // two new vectors of n zeros each
  // two vectors: a missing one is added with n zeros, a present one keeps its length and
  // values, growing to n if shorter (reading is meant for a fresh object)
  KEEP_PRESENT
};
void readSnapCoords(ISerialStream& is, std::vector<std::vector<double>>& snap, SnapRead rule);

}  // namespace drawgeom
}  // namespace nkdatacarrier
