#include "datacarrier/sheet3d.h"

#include "datacarrier/internal/serialio.h"

#include "datacarrier/postdataobject.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Sheet3D, "RenderSheet3D")

Sheet3D::Sheet3D() = default;
Sheet3D::~Sheet3D() = default;

void Sheet3D::allocate(int nVertices, int nTriangles) {
  vertices_.assign(static_cast<std::size_t>(nVertices > 0 ? nVertices : 0), Vertex());
  triangles_.assign(3 * static_cast<std::size_t>(nTriangles > 0 ? nTriangles : 0), 0);
  valid_ = false;
  complete_ = false;
}
double Sheet3D::getArea() const {
  return 0.0;
}
void Sheet3D::clearMesh() {
  valid_ = false;
  vertices_.clear();
  triangles_.clear();
}
void Sheet3D::duplicate(Sheet3D&) const {}
bool Sheet3D::findClosestPoint(const std::vector<double>&, std::vector<double>&, double&,
                               double) const {
  return false;
}
bool Sheet3D::insideBall(const std::vector<double>&, double) const {
  return false;
}
bool Sheet3D::intersectsBall(const std::vector<double>&, double) const {
  return false;
}
bool Sheet3D::insideBox(const std::vector<double>&) const {
  return false;
}
bool Sheet3D::intersectsBox(const std::vector<double>&) const {
  return false;
}
bool Sheet3D::boxTriangleIntersect(const std::vector<double>&, const Vertex&, const Vertex&,
                                   const Vertex&) const {
  return false;
}
bool Sheet3D::insideCylinder(const std::vector<double>&, const std::vector<double>&, double, double,
                             double) const {
  return false;
}
bool Sheet3D::intersectsCylinder(const std::vector<double>&, const std::vector<double>&, double,
                                 double, double) const {
  return false;
}
bool Sheet3D::cylinderTriangleIntersect(const std::vector<double>&, const nkvec::DVec3&,
                                        const nkvec::DVec3&, const nkvec::DVec3&, double, double,
                                        double, const Vertex&, const Vertex&, const Vertex&) {
  return false;
}
bool Sheet3D::vertexInsideCylinder(const std::vector<double>&, const std::vector<double>&, double,
                                   double, double, const Vertex&) {
  return false;
}
void Sheet3D::findLineIntersections(const std::vector<double>&, const std::vector<double>&,
                                    std::vector<std::pair<double, int>>&,
                                    std::vector<double>&) const {}
void Sheet3D::findPlaneIntersections(const Array<double, 1>&, const Array<double, 1>&,
                                     PostDataObject&) const {}

void Sheet3D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
}
void Sheet3D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
}

}  // namespace nkdatacarrier
