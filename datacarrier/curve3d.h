// Curve3D: one edge of a 3D drawing, an open polyline of single-precision vertices with its
// bounding box and validity flag. The 3D draw geometry fills it; 3D picking and selection ask it
// for its length, whether it lies in or touches a ball, box or finite cylinder, and which of its
// segments lie in a cutting plane.
#pragma once

#include <vector>

#include "datacarrier/boundingbox3d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "qvutil/array.h"
#include "qvutil/dvec3.h"

namespace nkdatacarrier {

class PostDataObject;

class QVDATACARRIER_EXPORT Curve3D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  struct Vertex {
    float x = 0.0f, y = 0.0f, z = 0.0f;
  };

  // Invalid, box all 0, no vertices.
  Curve3D();
  Curve3D(const Curve3D&) = default;
  Curve3D& operator=(const Curve3D&) = default;
  ~Curve3D() override;

  // Empties the vertices, reserves room for n and marks the curve invalid until setValid(true).
  void reserve(int n);
  // Appends a vertex; the validity flag is not changed.
  void appendVertex(float x, float y, float z) { vertices_.push_back(Vertex{x, y, z}); }

  // An invalid curve answers every query with false or 0.
  void setValid(bool valid) { valid_ = valid; }
  bool isValid() const { return valid_; }
  // The producer keeps the box; this class never recomputes it from the vertices.
  void setBoundingBox3D(const BoundingBox3D& box) { box_ = box; }
  const BoundingBox3D& getBoundingBox() const { return box_; }

  // Vertex access; indices are not checked.
  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.data(); }

  // Sum of the segment lengths, each computed in single precision (0 when invalid).
  double getLength() const;

  // Ball and box queries: center = (x, y, z), box = (min x, max x, min y, max y, min z, max z).
  // Each first rejects by the stored bounding box against the query's box (the ball's cube).
  // Every vertex within the ball, the sphere included; a valid curve without vertices is inside.
  bool insideBall(const std::vector<double>& center, double radius) const;
  // Every vertex within the box, bounds included; a valid curve without vertices is inside.
  bool insideBox(const std::vector<double>& box) const;
  // Some segment comes strictly closer to the centre than the radius (touching is not enough).
  bool intersectsBall(const std::vector<double>& center, double radius) const;
  // Some segment touches the box (touching its boundary counts).
  bool intersectsBox(const std::vector<double>& box) const;
  // Whether the segment a-b touches the box (separating-axis test, boundary inclusive).
  static bool boxLineIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b);

  // Cylinder queries. The cylinder has the axis point `base`, the direction `axis` (any length,
  // normalised inside), the radius, and the heights `top` and `bottom` along the unit axis from
  // the base: a point is inside when bottom <= h <= top and its distance from the axis is at
  // most the radius (mantle and end caps count as inside). A curve with fewer than two vertices
  // intersects no cylinder; a valid curve without vertices is inside any cylinder whose bounding
  // cube meets its box.
  bool insideCylinder(const std::vector<double>& base, const std::vector<double>& axis,
                      double radius, double top, double bottom) const;
  bool intersectsCylinder(const std::vector<double>& base, std::vector<double> axis, double radius,
                          double top, double bottom) const;
  // Whether the vertex lies inside the closed cylinder.
  static bool vertexInsideCylinder(const std::vector<double>& base, const std::vector<double>& axis,
                                   double radius, double top, double bottom, const Vertex& v);
  // Whether the segment a-b meets the cylinder with the unit axis `axis` and the unit basis
  // e1, e2 of the plane perpendicular to it. The segment is clipped to the slab between the end
  // planes and its projection onto that plane measured against the radius (inclusive). When
  // both ends are clipped, the lower end is interpolated from the already clipped upper end and
  // therefore lies slightly off the bottom plane; selection results rely on this.
  static bool cylinderLineIntersect(const std::vector<double>& base, const nkvec::DVec3& e1,
                                    const nkvec::DVec3& e2, const nkvec::DVec3& axis, double radius,
                                    double top, double bottom, const Vertex& a, const Vertex& b);

  // Appends to `out` one new block of vertices (x, y, z columns), element indices (two columns)
  // and an empty data block, and fills them with the segments that lie in the plane through
  // `point` with normal `normal` (both ends within 1e-7 of the curve's largest extent). Segments
  // that merely cross the plane are not reported; each in-plane segment brings its own two
  // points, so a vertex shared by two of them appears twice. Like the length, the cut works on
  // the vertices as they are; it does not look at the validity flag.
  void findPlaneIntersections(const Array<double, 1>& point, const Array<double, 1>& normal,
                              PostDataObject& out) const;

  // Version 1 writes the box before "is valid", version 0 after it (only when valid). Reading an
  // invalid curve replaces nothing but (version 1) the box.
  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  // Whether the stored box meets the cube base +- halfSize (bounds rounded to float).
  bool boxMeetsCube(const std::vector<double>& centre, double halfSize) const;

  bool valid_ = false;
  BoundingBox3D box_;
  std::vector<Vertex> vertices_;
};

}  // namespace nkdatacarrier
