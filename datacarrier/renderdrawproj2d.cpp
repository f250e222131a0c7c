#include "datacarrier/renderdrawproj2d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderDrawProj2D, "RenderDrawProj2D")

namespace {

// Fewest bytes of a point in the stream (two floats and its type) and of a curve (the nested
// curve's class-identifier length and version, then its type).
constexpr std::size_t kPointBytes = 12;
constexpr std::size_t kCurveBytes = 12;

}  // namespace

RenderDrawProj2D::RenderDrawProj2D() = default;
RenderDrawProj2D::RenderDrawProj2D(int id) : RenderDrawGeom(DRAW_PROJ_2D, id) {}
RenderDrawProj2D::~RenderDrawProj2D() = default;

void RenderDrawProj2D::allocate(int numCurves, int numPoints) {
  curves_.resize(static_cast<std::size_t>(numCurves));
  curveTypes_.resize(static_cast<std::size_t>(numCurves), 0);
  points_.resize(static_cast<std::size_t>(numPoints));
  pointTypes_.resize(static_cast<std::size_t>(numPoints), 0);
}

nkboost::shared_ptr<RenderDrawGeom> RenderDrawProj2D::clone() const {
  return drawgeom::cloneObject(*this);
}

double RenderDrawProj2D::getVolume(int, const std::vector<int>&) const {
  return 0.0;
}

double RenderDrawProj2D::getBndArea(int, const std::vector<int>&) const {
  return 0.0;
}

void RenderDrawProj2D::getBoundingBox(std::vector<float>& box) const {
  box = box_.bounds();
}

// These raises carry the fixed lines of their error reports.
void RenderDrawProj2D::findEntitiesInBall(const std::vector<double>&, double, int, bool,
                                          const std::vector<int>&, std::vector<int>&) const {
  DC_RAISE_AT(66, errors::kFindEntitiesInBallNotProj2D);
}

// A projection is drawn and snapped to, never selected.
void RenderDrawProj2D::findEntitiesInBox(const std::vector<double>&, int, bool,
                                         const std::vector<int>&, std::vector<int>&) const {
  DC_RAISE_AT(72, errors::kFindEntitiesInBoxNotProj2D);
}

void RenderDrawProj2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os);
  serialio::writeNested(os, prop, "Bounding box", box_);
  os << getNumberOfPoints();
  os.label("number of points");
  os << getNumberOfCurves();
  os.label("number of curves");
  os.label("");
  os.label("Points");
  for (int i = 0; i < getNumberOfPoints(); ++i) {
    os << points_[i].getVertex().x << points_[i].getVertex().y;
    os << pointTypes_[i];
    os.label("");
  }
  os.label("");
  os.label("Curves");
  for (int i = 0; i < getNumberOfCurves(); ++i) {
    curves_[i].serialize(os, prop);
    os << curveTypes_[i];  // no label of its own
  }
  os.label("");
  drawgeom::writeSnapCoords(os, snap_);
}

void RenderDrawProj2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(230, is, 0, VERSION);
  deserializeAttributes(is);
  box_.deserialize(is);
  const int numPoints = DC_READ_COUNT(is, kPointBytes);
  const int numCurves = DC_READ_COUNT(is, kCurveBytes);
  // Each entity is followed by its type. A type slot is made before its entity is read, so
  // that a read that stops anywhere leaves as many types as entities (the writer pairs them).
  pointTypes_.resize(std::min(pointTypes_.size(), static_cast<std::size_t>(numPoints)), 0);
  serialio::readEach(is, points_, numPoints, [&](Point2D& p, std::size_t i) {
    if (i >= pointTypes_.size()) pointTypes_.resize(i + 1, 0);
    float x = 0.0f;
    float y = 0.0f;
    is >> x >> y;
    p.setVertex(x, y);
    is >> pointTypes_[i];
  });
  curveTypes_.resize(std::min(curveTypes_.size(), static_cast<std::size_t>(numCurves)), 0);
  serialio::readEach(is, curves_, numCurves, [&](Curve2D& c, std::size_t i) {
    if (i >= curveTypes_.size()) curveTypes_.resize(i + 1, 0);
    c.deserialize(is);
    is >> curveTypes_[i];
  });
  drawgeom::readSnapCoords(is, snap_, drawgeom::SnapRead::KEEP_PRESENT);
}

}  // namespace nkdatacarrier
