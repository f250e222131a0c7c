// Sheet3D: one triangulated face of a 3D model, with a normal at every vertex, the domains on
// its two sides and flags saying whether it carries a mesh and whether that mesh covers the
// whole face. The 3D draw geometry owns its sheets by value; the graphics side draws them and
// runs its picking, selection, cutting and measuring queries over their triangles.
//
// Precision: positions and normals are floats. Every query widens a vertex to double before
// combining it with a double, and forms the difference of two vertices in float before widening.
//
// Corrupt data: a triangle with an index outside [0, number of vertices) (possible only from a
// corrupt stream or a producer error) is skipped by every query and by getArea; it is copied and
// written as it stands. Well-formed sheets are unaffected.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "datacarrier/boundingbox3d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "qvutil/array.h"
#include "qvutil/dvec3.h"

namespace nkdatacarrier {

class PostDataObject;

class QVDATACARRIER_EXPORT Sheet3D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(2)

 public:
  // Position and vertex normal, in single precision.
  struct Vertex {
    float x = 0.0f, y = 0.0f, z = 0.0f;
    float nx = 0.0f, ny = 0.0f, nz = 0.0f;
  };

  // Invalid, incomplete, box all 0, no vertices or triangles, no domain on either side (-1).
  Sheet3D();
  Sheet3D(const Sheet3D&) = default;
  Sheet3D& operator=(const Sheet3D&) = default;
  ~Sheet3D() override;

  // Validity: the sheet carries a mesh. setValid(false) also clears complete.
  bool isValid() const { return valid_; }
  void setValid(bool valid) {
    valid_ = valid;
    if (!valid) complete_ = false;
  }
  // Completeness: the mesh covers the whole face. Set as given, even on an invalid sheet.
  bool isComplete() const { return complete_; }
  void setComplete(bool complete) { complete_ = complete; }

  // Domains on the up side (into which the normals point) and the down side; -1 = none.
  int getUp() const { return up_; }
  int getDown() const { return down_; }
  void setUp(int domain) { up_ = domain; }
  void setDown(int domain) { down_ = domain; }

  // Filling: allocate sizes both arrays (new entries zero) and clears valid and complete, so
  // the producer sets the flags last. Indices of setVertex/setTriangle are not checked.
  void allocate(int nVertices, int nTriangles);
  void setVertex(int i, float x, float y, float z, float nx, float ny, float nz) {
    vertices_[i] = Vertex{x, y, z, nx, ny, nz};
  }
  void setTriangle(int i, int a, int b, int c) {
    triangles_[3 * i] = a;
    triangles_[3 * i + 1] = b;
    triangles_[3 * i + 2] = c;
  }

  // Reading the mesh; indices are not checked. The triangle array holds three 0-based vertex
  // indices per triangle and is null when there are no triangles.
  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  int getNumberOfTriangles() const { return static_cast<int>(triangles_.size() / 3); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.data(); }
  const int* getTriangleArray() const { return triangles_.empty() ? nullptr : triangles_.data(); }

  // The producer keeps the box; this class never recomputes it from the vertices.
  const BoundingBox3D& getBoundingBox() const { return box_; }
  void setBoundingBox3D(const BoundingBox3D& box) { box_ = box; }

  // Total triangle area, 0 unless the sheet is complete (the flag tested is complete, not valid).
  double getArea() const;
  // Clears valid and empties both arrays; complete, box and domains stay as they are.
  void clearMesh();
  // Copies this sheet into target: target's arrays are sized as this sheet's (new entries
  // zero) and its flags cleared, then target takes this sheet's valid flag; only a valid sheet
  // also copies complete, box, vertices, triangles and domains. An invalid source thus leaves
  // target with sized but uncopied arrays and its own old box and domains.
  void duplicate(Sheet3D& target) const;

  // Proximity and region tests. Every one answers false for an invalid sheet; the ball, box and
  // cylinder tests first reject by the stored box against the query shape's box (the ball's
  // cube, the box, the cube of half size sqrt(r^2 + max(hMax^2, hMin^2)) around the cylinder's
  // axis point). Shapes: point or centre (x, y, z); box (xmin, xmax, ymin, ymax, zmin, zmax);
  // cylinder: axis point p, axis direction (any length), radius r, upper height hMax and lower
  // height hMin along the unit axis from p.

  // Closest point of the sheet to p. Returns true when some point is strictly nearer than the
  // incoming dist2, and then leaves that point in closest (which must hold 3 entries) and its
  // squared distance in dist2. The search stops at the first improving candidate whose squared
  // distance is at most stopDist2 (pass a negative value to search the whole sheet). Triangles
  // are visited in order; an interior foot of the perpendicular ends a triangle, otherwise its
  // edges a-b, a-c, b-c are candidates in that order.
  bool findClosestPoint(const std::vector<double>& p, std::vector<double>& closest, double& dist2,
                        double stopDist2) const;
  // Every vertex within the closed ball; a valid sheet without vertices is inside.
  bool insideBall(const std::vector<double>& c, double r) const;
  // Some point of some triangle within the closed ball.
  bool intersectsBall(const std::vector<double>& c, double r) const;
  // Every vertex within the closed box; a valid sheet without vertices is inside.
  bool insideBox(const std::vector<double>& box) const;
  // Some triangle overlaps the box (touching counts).
  bool intersectsBox(const std::vector<double>& box) const;
  // Separating-axis test of the triangle a, b, c against the box: the three box axes, the
  // triangle's normal, the nine edge-axis cross products; strict rejections, so touching counts.
  // False for an invalid sheet, as every member test.
  bool boxTriangleIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b,
                            const Vertex& c) const;
  // Every vertex inside the closed cylinder; a valid sheet without vertices is inside.
  bool insideCylinder(const std::vector<double>& p, const std::vector<double>& axis, double r,
                      double hMax, double hMin) const;
  // Some triangle meets the closed cylinder.
  bool intersectsCylinder(const std::vector<double>& p, const std::vector<double>& axis, double r,
                          double hMax, double hMin) const;
  // Whether the triangle meets the cylinder with unit axis w and cross-section basis u, v: the
  // triangle is clipped to the slab hMin <= h <= hMax, projected (in single precision) onto the
  // cross-section plane, and meets the cylinder when an edge comes within r of the axis or the
  // axis pierces the projected polygon (crossing parity).
  static bool cylinderTriangleIntersect(const std::vector<double>& p, const nkvec::DVec3& u,
                                        const nkvec::DVec3& v, const nkvec::DVec3& w, double r,
                                        double hMax, double hMin, const Vertex& a, const Vertex& b,
                                        const Vertex& c);
  // Whether the vertex lies inside the closed cylinder.
  static bool vertexInsideCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                                   double r, double hMax, double hMin, const Vertex& x);

  // Line and plane queries.

  // Appends one record (t, position in hits) per pierced triangle to hits, and the unit
  // interpolated normal at the hit (three doubles) to normals. The line p0 + t (p1 - p0) is
  // unbounded; a triangle counts as pierced within a band of 1e-5 in its barycentric
  // coordinates. Nothing is appended for an invalid sheet.
  void findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                             std::vector<std::pair<double, int>>& hits,
                             std::vector<double>& normals) const;
  // Adds one new block of vertices (x, y, z columns), element indices (two columns) and an
  // empty data block to out, always (also for an invalid or empty sheet), and fills it with the
  // segments in which the plane through `point` with normal `normal` cuts the triangles. A
  // triangle touching the plane in a vertex, or with an edge or wholly in it, adds nothing.
  // The cut works on the triangles as they are; it does not look at the validity flag. The
  // tolerance is 1e-7 of the sheet's largest extent (1 when that is 0).
  void findPlaneIntersections(const Array<double, 1>& point, const Array<double, 1>& normal,
                              PostDataObject& out) const;

  // Writes version 2. Reads versions 0, 1 and 2; an invalid sheet in a version 1 or 2 stream
  // replaces only the box, in a version 0 stream nothing. A version 1 sheet reads as complete,
  // a version 0 sheet as incomplete.
  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  bool valid_ = false;
  bool complete_ = false;
  BoundingBox3D box_;
  std::vector<Vertex> vertices_;
  std::vector<int> triangles_;
  int up_ = -1;
  int down_ = -1;
};

}  // namespace nkdatacarrier
