#include "datacarrier/renderdrawgeom1d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/selection.h"
#include "datacarrier/internal/serialio.h"

#include <cstdint>

namespace nkdatacarrier {

namespace {

// Fewest bytes of a nested carrier in a stream: its class-identifier length and its version.
constexpr std::size_t kMinNestedBytes = 8;

// The selection of a 1D geometry: curves touching an interval, nothing else. Every other
// combination of sense and dimension is refused before a candidate is looked at: there is no
// "inside" test for 1D curves, and points are never selected. Candidates are not range-checked;
// one that names no curve never matches. The two dimension raises carry fixed lines.
bool selectCurves(const selection::Sites& sites, selection::Answer answer,
                  const std::vector<Curve1D>& curves, const std::vector<double>& box, int dim,
                  bool inside, const std::vector<int>& candidates, std::vector<int>* result) {
  const int touchable = inside ? -1 : static_cast<int>(curves.size());
  return selection::run(
      __FILE__, sites, answer, {-1, touchable, -1, -1}, dim, candidates,
      [&](int, int i) { return curves[i].intersectsBox(box); }, result);
}

}  // namespace

RenderDrawGeom1D::RenderDrawGeom1D() = default;
RenderDrawGeom1D::RenderDrawGeom1D(Type1D type, int id)
    : RenderDrawGeom(static_cast<Type>(type), id) {}
RenderDrawGeom1D::~RenderDrawGeom1D() = default;

void RenderDrawGeom1D::allocate(int numCurves, int numPoints) {
  curves_.resize(static_cast<std::size_t>(numCurves));
  points_.resize(static_cast<std::size_t>(numPoints));
}

double RenderDrawGeom1D::getVolume(int dim, const std::vector<int>& entities) const {
  if (dim == 0) return 0.0;
  double length = 0.0;
  for (int i : entities) {
    // Not range-checked by the format; an index without a curve counts as an invalid curve.
    if (i < 0 || i >= getNumberOfCurves() || !curves_[i].isValid()) return 0.0;
    length += curves_[i].getLength();
  }
  return length;
}

double RenderDrawGeom1D::getBndArea(int, const std::vector<int>&) const {
  return 0.0;
}

void RenderDrawGeom1D::getBoundingBox(std::vector<float>& box) const {
  box = box_.bounds();
}

// The ball queries go through the object's own box queries (virtually, so that a derived class
// that refines those sees the ball too), and so raise on the box queries' lines.
void RenderDrawGeom1D::findEntitiesInBall(const std::vector<double>& c, double r, int dim,
                                          bool inside, const std::vector<int>& candidates,
                                          std::vector<int>& result) const {
  findEntitiesInBox({c[0] - r, r + c[0]}, dim, inside, candidates, result);
}

bool RenderDrawGeom1D::isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                                const std::vector<int>& candidates) const {
  return isInBox({c[0] - r, r + c[0]}, dim, inside, candidates);
}

int RenderDrawGeom1D::numUniquePointsEstimate() const {
  // Deliberately vertices minus points, in 32-bit arithmetic: the result can be negative, and
  // the point merging then takes its unsigned image as no size hint at all.
  std::uint32_t estimate = 0;
  for (const Curve1D& c : curves_)
    estimate += static_cast<std::uint32_t>(c.getNumberOfVertices());
  estimate -= static_cast<std::uint32_t>(getNumberOfPoints());
  return static_cast<int>(estimate);
}

int RenderDrawGeom1D::getMLRenderPointSize() const {
  return getNumberOfPoints() + drawgeom::totalVertices(curves_);
}

int RenderDrawGeom1D::getMLRenderVtxSize() const {
  return getNumberOfPoints();
}

int RenderDrawGeom1D::getMLRenderEdgSize() const {
  return drawgeom::totalSegments(curves_);
}

void RenderDrawGeom1D::findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                                         const std::vector<int>& candidates,
                                         std::vector<int>& result) const {
  selectCurves({128}, selection::Answer::APPEND, curves_, box, dim, inside, candidates, &result);
}

// True as soon as one listed curve touches the interval; false for an empty list.
bool RenderDrawGeom1D::isInBox(const std::vector<double>& box, int dim, bool inside,
                               const std::vector<int>& candidates) const {
  return selectCurves({162}, selection::Answer::ANY, curves_, box, dim, inside, candidates,
                      nullptr);
}

void RenderDrawGeom1D::getMLRenderData(std::vector<std::vector<float>>& coords,
                                       std::vector<std::vector<int>>& elements) const {
  coords.assign(1, std::vector<float>(static_cast<std::size_t>(getMLRenderPointSize()), 0.0f));
  elements.assign(5, {});
  const int edges = getMLRenderEdgSize();
  for (int v = 2; v <= 4; ++v)
    elements[v].reserve(edges > 0 ? std::size_t(edges) : 0);
  drawgeom::exportPointsAndCurves(coords, elements, points_, curves_);
  mergeRenderPoints(coords, elements, {0, 2, 3});
}

void RenderDrawGeom1D::serializeAttributes(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  os.label("");
  RenderDrawGeom::serializeAttributes(os);
  serialio::writeNested(os, prop, "Bounding box", box_);
  os << getNumberOfPoints();
  os.label("number of points");
  os << getNumberOfCurves();
  os.label("number of curves");
  os.label("");
  os.label("Points");
  for (const Point1D& p : points_) {
    os << p.getVertex().x;
    os.label("");
  }
  os.label("");
  os.label("Curves");
  for (const Curve1D& c : curves_)
    c.serialize(os, prop);
  os.label("");
  os.label("Curve to point adjacencies");
  curveToPoint_.serialize(os, prop);
  os.label("");
  os.label("Point to curve adjacencies");
  pointToCurve_.serialize(os, prop);
}

void RenderDrawGeom1D::deserializeAttributes(ISerialStream& is) {
  DC_READ_VERSION_AT(312, is, 0, VERSION);
  RenderDrawGeom::deserializeAttributes(is);
  box_.deserialize(is);
  const int numPoints = DC_READ_COUNT(is, sizeof(float));
  const int numCurves = DC_READ_COUNT(is, kMinNestedBytes);
  serialio::readEach(is, points_, numPoints, [&](Point1D& p, std::size_t) {
    float x = 0.0f;
    is >> x;
    p.setVertex(x);
  });
  serialio::readEach(is, curves_, numCurves, [&](Curve1D& c, std::size_t) { c.deserialize(is); });
  curveToPoint_.deserialize(is);
  pointToCurve_.deserialize(is);
}

}  // namespace nkdatacarrier
