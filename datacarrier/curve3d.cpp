#include "datacarrier/curve3d.h"

#include "datacarrier/internal/serialio.h"

#include "datacarrier/postdataobject.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Curve3D, "RenderCurve3D")

Curve3D::Curve3D() = default;
Curve3D::~Curve3D() = default;

void Curve3D::reserve(int n) {
  vertices_.clear();
  vertices_.reserve(static_cast<std::size_t>(n > 0 ? n : 0));
  valid_ = false;
}

double Curve3D::getLength() const {
  return 0.0;
}
bool Curve3D::insideBall(const std::vector<double>&, double) const {
  return false;
}
bool Curve3D::insideBox(const std::vector<double>&) const {
  return false;
}
bool Curve3D::intersectsBall(const std::vector<double>&, double) const {
  return false;
}
bool Curve3D::intersectsBox(const std::vector<double>&) const {
  return false;
}
bool Curve3D::boxLineIntersect(const std::vector<double>&, const Vertex&, const Vertex&) {
  return false;
}
bool Curve3D::insideCylinder(const std::vector<double>&, const std::vector<double>&, double, double,
                             double) const {
  return false;
}
bool Curve3D::intersectsCylinder(const std::vector<double>&, std::vector<double>, double, double,
                                 double) const {
  return false;
}
bool Curve3D::vertexInsideCylinder(const std::vector<double>&, const std::vector<double>&, double,
                                   double, double, const Vertex&) {
  return false;
}
bool Curve3D::cylinderLineIntersect(const std::vector<double>&, const nkvec::DVec3&,
                                    const nkvec::DVec3&, const nkvec::DVec3&, double, double,
                                    double, const Vertex&, const Vertex&) {
  return false;
}
void Curve3D::findPlaneIntersections(const Array<double, 1>&, const Array<double, 1>&,
                                     PostDataObject&) const {}
bool Curve3D::boxMeetsCube(const std::vector<double>&, double) const {
  return false;
}

void Curve3D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
}
void Curve3D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
}

}  // namespace nkdatacarrier
