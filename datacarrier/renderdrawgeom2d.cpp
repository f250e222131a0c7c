#include "datacarrier/renderdrawgeom2d.h"

#include "datacarrier/internal/serialio.h"

#include <cstdint>
#include <set>

namespace nkdatacarrier {

namespace {

// Fewest bytes of a nested carrier in a stream: its class-identifier length and its version.
constexpr std::size_t kMinNestedBytes = 8;

// The selection loops over the listed candidates. Candidates are not range-checked by the
// format; an index that names no entity simply never matches.
template <typename Entity, typename Test>
void appendMatches(const std::vector<Entity>& entities, const std::vector<int>& candidates,
                   Test test, std::vector<int>& result) {
  const int n = static_cast<int>(entities.size());
  for (int i : candidates) {
    if (i >= 0 && i < n && test(entities[i])) result.push_back(i);
  }
}

// True when every candidate passes (so for none); stops at the first failure.
template <typename Entity, typename Test>
bool allMatch(const std::vector<Entity>& entities, const std::vector<int>& candidates, Test test) {
  const int n = static_cast<int>(entities.size());
  for (int i : candidates) {
    if (i < 0 || i >= n || !test(entities[i])) return false;
  }
  return true;
}

// True when some candidate passes (so not for none); stops at the first success.
template <typename Entity, typename Test>
bool anyMatch(const std::vector<Entity>& entities, const std::vector<int>& candidates, Test test) {
  const int n = static_cast<int>(entities.size());
  for (int i : candidates) {
    if (i >= 0 && i < n && test(entities[i])) return true;
  }
  return false;
}

}  // namespace

RenderDrawGeom2D::RenderDrawGeom2D() = default;
RenderDrawGeom2D::RenderDrawGeom2D(Type2D type, int id)
    : RenderDrawGeom(static_cast<Type>(type), id) {}
RenderDrawGeom2D::~RenderDrawGeom2D() = default;

void RenderDrawGeom2D::allocate(int numFaces, int numCurves, int numPoints) {
  faces_.resize(static_cast<std::size_t>(numFaces));
  curves_.resize(static_cast<std::size_t>(numCurves));
  points_.resize(static_cast<std::size_t>(numPoints));
}

void RenderDrawGeom2D::setFaceToCurveAdjacent(const AdjacencyLists& lists) {
  setAdjacentLists(faceToCurve_, lists, AdjacencyRule::AS_GIVEN);
}

void RenderDrawGeom2D::setCurveToPointAdjacent(const AdjacencyLists& lists) {
  setAdjacentLists(curveToPoint_, lists, AdjacencyRule::AS_GIVEN);
}

void RenderDrawGeom2D::setFaceToPointAdjacent(const AdjacencyLists& lists) {
  setAdjacentLists(faceToPoint_, lists, AdjacencyRule::AS_GIVEN);
}

void RenderDrawGeom2D::setPointToCurveAdjacent(const AdjacencyLists& lists) {
  setAdjacentLists(pointToCurve_, lists, AdjacencyRule::AS_GIVEN);
}

// The producer numbers faces from 1 here and writes 0 for "no face" (a point outside every face,
// the outer side of a boundary curve).
void RenderDrawGeom2D::setPointToFaceAdjacent(const AdjacencyLists& lists) {
  setAdjacentLists(pointToFace_, lists, AdjacencyRule::ONE_BASED_DROP_NONE);
}

void RenderDrawGeom2D::setCurveToFaceAdjacent(const AdjacencyLists& lists) {
  setAdjacentLists(curveToFace_, lists, AdjacencyRule::ONE_BASED_DROP_NONE);
}

// The raises from here on carry the fixed lines of their error reports.
double RenderDrawGeom2D::getVolume(int dim, const std::vector<int>& entities) const {
  double measure = 0.0;
  if (dim == 1) {
    for (int i : entities) {
      if (i < 0 || i >= getNumberOfCurves()) {
        DC_RAISE_AT(140, "VEXAL_assertion_failure");
      }
      // Deliberately all or nothing: one invalid curve, and there is no partial sum.
      if (!curves_[i].isValid()) return 0.0;
      measure += curves_[i].getLength();
    }
  } else if (dim == 2) {
    for (int i : entities) {
      // Face areas are signed: clockwise triangles count negatively.
      if (i < 0 || i >= getNumberOfFaces()) {
        DC_RAISE_AT(150, "VEXAL_assertion_failure");
      }
      if (!faces_[i].isValid()) return 0.0;
      measure += faces_[i].getArea();
    }
  }
  return measure;
}

// A face listed twice toggles its curves twice: its own curves cancel, as for two faces that
// share them.

// The boundary of the union of the listed faces is made of their curves that have different
// faces on their two sides and that only one listed face has: a curve with the same face up
// and down lies inside that face, and one that two listed faces share lies inside their union.
// The curves are then measured in increasing number; an invalid one makes the result 0.0.
double RenderDrawGeom2D::getBndArea(int dim, const std::vector<int>& faces) const {
  if (dim != 2) return 0.0;
  std::set<int> boundary;
  bool dangling = false;
  for (int f : faces) {
    if (f < 0 || f >= getNumberOfFaces()) {
      DC_RAISE_AT(172, "VEXAL_assertion_failure");
    }
    const AdjacentRun run = adjacentRun(faceToCurve_, f);
    for (int k = 0; k < run.count; ++k) {
      const int c = run.adjacents[k];
      if (c < 0 || c >= getNumberOfCurves()) {
        dangling = true;  // a relation from a corrupt stream: measured like an invalid curve
        continue;
      }
      // A curve with the same face on both sides lies inside that face. Toggling cancels a
      // curve that two listed faces share: it lies inside their union.
      if (curves_[c].getUp() == curves_[c].getDown()) continue;
      if (boundary.erase(c) == 0) boundary.insert(c);
    }
  }
  if (dangling) return 0.0;
  double length = 0.0;
  for (int c : boundary) {
    if (!curves_[c].isValid()) return 0.0;
    length += curves_[c].getLength();
  }
  return length;
}

void RenderDrawGeom2D::getBoundingBox(std::vector<float>& box) const {
  box.clear();
  box.push_back(box_.getMinX());
  box.push_back(box_.getMaxX());
  box.push_back(box_.getMinY());
  box.push_back(box_.getMaxY());
}

std::vector<double> RenderDrawGeom2D::touchingBox(const std::vector<double>& box) const {
  const float bounds[4] = {box_.getMinX(), box_.getMaxX(), box_.getMinY(), box_.getMaxY()};
  return clipToGrownBounds(box, bounds, 2);
}

// The selection queries check the dimension before any candidate, so a refused call appends
// nothing.
void RenderDrawGeom2D::findEntitiesInBall(const std::vector<double>& c, double r, int dim,
                                          bool inside, const std::vector<int>& candidates,
                                          std::vector<int>& result) const {
  if (inside) {
    if (dim != 1 && dim != 2) {
      DC_RAISE_AT(231, "Invalid entity dimension");
    }
    // Every vertex of the entity within the ball, the sphere included.
    if (dim == 1) {
      appendMatches(
          curves_, candidates, [&](const Curve2D& e) { return e.insideBall(c, r); }, result);
    } else {
      appendMatches(
          faces_, candidates, [&](const Face2D& e) { return e.insideBall(c, r); }, result);
    }
    return;
  }
  // Touching: a curve with a segment strictly closer to the centre than r; a face with a
  // boundary edge that reaches the ball, or with the centre inside it. Unlike the box, the ball
  // is used as given.
  if (dim != 1 && dim != 2) {
    DC_RAISE_AT(250, "Invalid entity dimension");
  }
  if (dim == 1) {
    appendMatches(
        curves_, candidates, [&](const Curve2D& e) { return e.intersectsBall(c, r); }, result);
  } else {
    appendMatches(
        faces_, candidates, [&](const Face2D& e) { return e.intersectsBall(c, r); }, result);
  }
}

void RenderDrawGeom2D::findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                                         const std::vector<int>& candidates,
                                         std::vector<int>& result) const {
  if (inside) {
    if (dim != 1 && dim != 2) {
      DC_RAISE_AT(276, "Invalid entity dimension");
    }
    // The inside case tests the caller's box unchanged.
    if (dim == 1) {
      appendMatches(
          curves_, candidates, [&](const Curve2D& e) { return e.insideBox(box); }, result);
    } else {
      appendMatches(
          faces_, candidates, [&](const Face2D& e) { return e.insideBox(box); }, result);
    }
    return;
  }
  // Touching: the box is first clipped to the bounding box grown by a tenth of its larger side,
  // so that a huge rubber band costs no more than one around the model; the clipping comes
  // before the dimension is checked.
  const std::vector<double> clipped = touchingBox(box);  // before the dimension is checked
  if (dim != 1 && dim != 2) {
    DC_RAISE_AT(308, "Invalid entity dimension");
  }
  if (dim == 1) {
    appendMatches(
        curves_, candidates, [&](const Curve2D& e) { return e.intersectsBox(clipped); }, result);
  } else {
    appendMatches(
        faces_, candidates, [&](const Face2D& e) { return e.intersectsBox(clipped); }, result);
  }
}

// inside: every listed entity lies in the ball (true for none; stops at the first that does
// not); touching: some listed entity touches it (false for none; stops at the first that does).
bool RenderDrawGeom2D::isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                                const std::vector<int>& candidates) const {
  if (inside) {
    if (dim != 1 && dim != 2) {
      DC_RAISE_AT(347, "Invalid entity dimension");
    }
    if (dim == 1) {
      return allMatch(curves_, candidates, [&](const Curve2D& e) { return e.insideBall(c, r); });
    }
    return allMatch(faces_, candidates, [&](const Face2D& e) { return e.insideBall(c, r); });
  }
  // Touching: the ball as given, as in findEntitiesInBall.
  if (dim != 1 && dim != 2) {
    DC_RAISE_AT(366, "Invalid entity dimension");
  }
  if (dim == 1) {
    return anyMatch(curves_, candidates, [&](const Curve2D& e) { return e.intersectsBall(c, r); });
  }
  return anyMatch(faces_, candidates, [&](const Face2D& e) { return e.intersectsBall(c, r); });
}

bool RenderDrawGeom2D::isInBox(const std::vector<double>& box, int dim, bool inside,
                               const std::vector<int>& candidates) const {
  if (inside) {
    if (dim != 1 && dim != 2) {
      DC_RAISE_AT(392, "Invalid entity dimension");
    }
    if (dim == 1) {
      return allMatch(curves_, candidates, [&](const Curve2D& e) { return e.insideBox(box); });
    }
    return allMatch(faces_, candidates, [&](const Face2D& e) { return e.insideBox(box); });
  }
  // Touching: the clipped box, as in findEntitiesInBox.
  const std::vector<double> clipped = touchingBox(box);
  if (dim != 1 && dim != 2) {
    DC_RAISE_AT(424, "Invalid_entity_dimension");  // deliberately spelled unlike every other site
  }
  if (dim == 1) {
    return anyMatch(curves_, candidates,
                    [&](const Curve2D& e) { return e.intersectsBox(clipped); });
  }
  return anyMatch(faces_, candidates, [&](const Face2D& e) { return e.intersectsBox(clipped); });
}

int RenderDrawGeom2D::numUniquePointsEstimate() const {
  // Deliberately face vertices minus curve vertices minus points, in 32-bit arithmetic: the
  // result can be negative, and the point merging then takes its unsigned image as no hint.
  std::uint32_t estimate = 0;
  for (const Face2D& f : faces_)
    estimate += static_cast<std::uint32_t>(f.getNumberOfVertices());
  for (const Curve2D& c : curves_)
    estimate -= static_cast<std::uint32_t>(c.getNumberOfVertices());
  estimate -= static_cast<std::uint32_t>(getNumberOfPoints());
  return static_cast<int>(estimate);
}

int RenderDrawGeom2D::getMLRenderPointSize() const {
  return getNumberOfPoints() + totalVertices(curves_) + totalVertices(faces_);
}

int RenderDrawGeom2D::getMLRenderVtxSize() const {
  return getNumberOfPoints();
}

int RenderDrawGeom2D::getMLRenderEdgSize() const {
  return totalSegments(curves_);
}

int RenderDrawGeom2D::getMLRenderTriSize() const {
  int size = 0;
  for (const Face2D& f : faces_)
    size += f.getNumberOfTriangles();
  return size;
}

void RenderDrawGeom2D::getMLRenderData(std::vector<std::vector<float>>& coords,
                                       std::vector<std::vector<int>>& elements) const {
  coords.assign(2, std::vector<float>(static_cast<std::size_t>(getMLRenderPointSize()), 0.0f));
  elements.assign(9, {});
  const int edges = getMLRenderEdgSize();
  for (int v = 2; v <= 4; ++v)
    elements[v].reserve(edges > 0 ? std::size_t(edges) : 0);
  int position = exportPointsAndCurves(coords, elements, points_, curves_);

  const int triangles = getMLRenderTriSize();
  for (int v = 5; v <= 8; ++v)
    elements[v].reserve(static_cast<std::size_t>(triangles));
  for (int f = 0; f < getNumberOfFaces(); ++f) {
    const Face2D& face = faces_[f];
    const int n = face.getNumberOfVertices();
    writePositions(coords, position, face.getVertexArray(), n);
    const int* corners = face.getTriangleArray();
    for (int t = 0; t < face.getNumberOfTriangles(); ++t) {
      for (int j = 0; j < 3; ++j) {
        // A corner that the face does not have points at position 0, as in the 3D export.
        const int k = corners[3 * t + j];
        elements[5 + j].push_back(k >= 0 && k < n ? position + k : 0);
      }
      elements[8].push_back(f + 1);
    }
    position += n;
  }

  mergeRenderPoints(coords, elements, {0, 2, 3, 5, 6, 7});
}

void RenderDrawGeom2D::serializeAttributes(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  RenderDrawGeom::serializeAttributes(os);
  serialio::writeNested(os, prop, "Bounding box", box_);
  os << getNumberOfPoints();
  os.label("number of points");
  os << getNumberOfCurves();
  os.label("number of curves");
  os << getNumberOfFaces();
  os.label("number of faces");
  os.label("");
  os.label("Points");
  for (const Point2D& p : points_) {
    os << p.getVertex().x << p.getVertex().y;
    os.label("");
  }
  os.label("");
  os.label("Curves");
  for (const Curve2D& c : curves_)
    c.serialize(os, prop);
  os.label("");
  os.label("Faces");
  for (const Face2D& f : faces_)
    f.serialize(os, prop);
  // The relations go out in this order, not in declaration order.
  os.label("");
  os.label("Face to curve adjacencies");
  faceToCurve_.serialize(os, prop);
  os.label("");
  os.label("Face to point adjacencies");
  faceToPoint_.serialize(os, prop);
  os.label("");
  os.label("Curve to point adjacencies");
  curveToPoint_.serialize(os, prop);
  os.label("");
  os.label("Point to curve adjacencies");
  pointToCurve_.serialize(os, prop);
  os.label("");
  os.label("Point to face adjacencies");
  pointToFace_.serialize(os, prop);
  os.label("");
  os.label("Curve to face adjacencies");
  curveToFace_.serialize(os, prop);
}

void RenderDrawGeom2D::deserializeAttributes(ISerialStream& is) {
  DC_READ_VERSION_AT(835, is, 0, VERSION);
  RenderDrawGeom::deserializeAttributes(is);
  box_.deserialize(is);
  const int numPoints = DC_READ_COUNT(is, 2 * sizeof(float));
  const int numCurves = DC_READ_COUNT(is, kMinNestedBytes);
  const int numFaces = DC_READ_COUNT(is, kMinNestedBytes);
  serialio::readEach(is, points_, numPoints, [&](Point2D& p, std::size_t) {
    float x = 0.0f;
    float y = 0.0f;
    is >> x >> y;
    p.setVertex(x, y);
  });
  serialio::readEach(is, curves_, numCurves, [&](Curve2D& c, std::size_t) { c.deserialize(is); });
  serialio::readEach(is, faces_, numFaces, [&](Face2D& f, std::size_t) { f.deserialize(is); });
  faceToCurve_.deserialize(is);
  faceToPoint_.deserialize(is);
  curveToPoint_.deserialize(is);
  pointToCurve_.deserialize(is);
  pointToFace_.deserialize(is);
  curveToFace_.deserialize(is);
}

}  // namespace nkdatacarrier
