#include "datacarrier/renderdrawgeom2d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/selection.h"
#include "datacarrier/internal/serialio.h"

#include <cstdint>
#include <set>

namespace nkdatacarrier {

namespace {

// Fewest bytes of a nested carrier in a stream: its class-identifier length and its version.
constexpr std::size_t kMinNestedBytes = 8;

// The fixed lines of the selection raises, per operation and sense. Candidates are not
// range-checked: one that names no entity never matches.
constexpr selection::SitesBySense kFindInBall{{231}, {250}};
constexpr selection::SitesBySense kFindInBox{{276}, {308}};
constexpr selection::SitesBySense kIsInBall{{347}, {366}};
// Deliberately spelled unlike every other site when touching.
constexpr selection::SitesBySense kIsInBox{
    {392}, {424, {0, 0, 0}, errors::kInvalidEntityDimensionUnderscored}};

// One selection over the curves (dim 1) and faces (dim 2), with a test that both kinds answer.
template <typename Test>
bool selectCurvesOrFaces(const selection::Sites& sites, selection::Answer answer, int dim,
                         const std::vector<Curve2D>& curves, const std::vector<Face2D>& faces,
                         const std::vector<int>& candidates, Test test,
                         std::vector<int>* result = nullptr) {
  const selection::EntityCounts counts = {-1, static_cast<int>(curves.size()),
                                          static_cast<int>(faces.size()), -1};
  return selection::run(
      __FILE__, sites, answer, counts, dim, candidates,
      [&](int d, int i) { return d == 1 ? test(curves[i]) : test(faces[i]); }, result);
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
  drawgeom::setAdjacentLists(faceToCurve_, lists, drawgeom::AdjacencyRule::AS_GIVEN);
}

void RenderDrawGeom2D::setCurveToPointAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(curveToPoint_, lists, drawgeom::AdjacencyRule::AS_GIVEN);
}

void RenderDrawGeom2D::setFaceToPointAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(faceToPoint_, lists, drawgeom::AdjacencyRule::AS_GIVEN);
}

void RenderDrawGeom2D::setPointToCurveAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(pointToCurve_, lists, drawgeom::AdjacencyRule::AS_GIVEN);
}

// The producer numbers faces from 1 here and writes 0 for "no face" (a point outside every face,
// the outer side of a boundary curve).
void RenderDrawGeom2D::setPointToFaceAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(pointToFace_, lists, drawgeom::AdjacencyRule::ONE_BASED_DROP_NONE);
}

void RenderDrawGeom2D::setCurveToFaceAdjacent(const AdjacencyLists& lists) {
  drawgeom::setAdjacentLists(curveToFace_, lists, drawgeom::AdjacencyRule::ONE_BASED_DROP_NONE);
}

// The raises from here on carry the fixed lines of their error reports.
double RenderDrawGeom2D::getVolume(int dim, const std::vector<int>& entities) const {
  double measure = 0.0;
  if (dim == 1) {
    for (int i : entities) {
      if (i < 0 || i >= getNumberOfCurves()) {
        DC_RAISE_AT(140, errors::kAssertionFailure);
      }
      // Deliberately all or nothing: one invalid curve, and there is no partial sum.
      if (!curves_[i].isValid()) return 0.0;
      measure += curves_[i].getLength();
    }
  } else if (dim == 2) {
    for (int i : entities) {
      // Face areas are signed: clockwise triangles count negatively.
      if (i < 0 || i >= getNumberOfFaces()) {
        DC_RAISE_AT(150, errors::kAssertionFailure);
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
      DC_RAISE_AT(172, errors::kAssertionFailure);
    }
    const drawgeom::AdjacentRun run = drawgeom::adjacentRun(faceToCurve_, f);
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
  box = box_.bounds();
}

// Inside: every vertex of the entity within the ball, the sphere included. Touching: a curve
// with a segment strictly closer to the centre than r; a face with a boundary edge that reaches
// the ball, or with the centre inside it. Unlike the box, the ball is used as given.
void RenderDrawGeom2D::findEntitiesInBall(const std::vector<double>& c, double r, int dim,
                                          bool inside, const std::vector<int>& candidates,
                                          std::vector<int>& result) const {
  selectCurvesOrFaces(
      kFindInBall(inside), selection::Answer::APPEND, dim, curves_, faces_, candidates,
      [&](const auto& e) { return inside ? e.insideBall(c, r) : e.intersectsBall(c, r); }, &result);
}

// Inside tests the caller's box unchanged. Touching: the box is first clipped to the bounding
// box grown by a tenth of its larger side, so that a huge rubber band costs no more than one
// around the model; the clipping comes before the dimension is checked.
std::vector<double> RenderDrawGeom2D::queryBox(const std::vector<double>& box, bool inside) const {
  if (inside) return box;
  return drawgeom::clipToGrownBounds(box, box_.bounds().data(), 2);
}

void RenderDrawGeom2D::findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                                         const std::vector<int>& candidates,
                                         std::vector<int>& result) const {
  const std::vector<double> shape = queryBox(box, inside);
  selectCurvesOrFaces(
      kFindInBox(inside), selection::Answer::APPEND, dim, curves_, faces_, candidates,
      [&](const auto& e) { return inside ? e.insideBox(shape) : e.intersectsBox(shape); }, &result);
}

// inside: every listed entity lies in the ball (true for none; stops at the first that does
// not); touching: some listed entity touches it (false for none; stops at the first that does).
bool RenderDrawGeom2D::isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                                const std::vector<int>& candidates) const {
  return selectCurvesOrFaces(
      kIsInBall(inside), selection::testAnswer(inside), dim, curves_, faces_, candidates,
      [&](const auto& e) { return inside ? e.insideBall(c, r) : e.intersectsBall(c, r); });
}

bool RenderDrawGeom2D::isInBox(const std::vector<double>& box, int dim, bool inside,
                               const std::vector<int>& candidates) const {
  const std::vector<double> shape = queryBox(box, inside);
  return selectCurvesOrFaces(
      kIsInBox(inside), selection::testAnswer(inside), dim, curves_, faces_, candidates,
      [&](const auto& e) { return inside ? e.insideBox(shape) : e.intersectsBox(shape); });
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
  return getNumberOfPoints() + drawgeom::totalVertices(curves_) + drawgeom::totalVertices(faces_);
}

int RenderDrawGeom2D::getMLRenderVtxSize() const {
  return getNumberOfPoints();
}

int RenderDrawGeom2D::getMLRenderEdgSize() const {
  return drawgeom::totalSegments(curves_);
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
  int position = drawgeom::exportPointsAndCurves(coords, elements, points_, curves_);

  const int triangles = getMLRenderTriSize();
  for (int v = 5; v <= 8; ++v)
    elements[v].reserve(static_cast<std::size_t>(triangles));
  for (int f = 0; f < getNumberOfFaces(); ++f) {
    const Face2D& face = faces_[f];
    const int n = face.getNumberOfVertices();
    drawgeom::writePositions(coords, position, face.getVertexArray(), n);
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
