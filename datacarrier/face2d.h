// Face2D: one domain of a 2D drawing, carried as a triangulation of single-precision vertices
// and vertex-index triples (counter-clockwise). The 2D draw geometry fills it; 2D selection and
// measurement ask it for its signed area, whether a point lies in it, and whether it lies in or
// touches a ball or box.
#pragma once

#include <vector>

#include "datacarrier/boundingbox2d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/curve2d.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Face2D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(3)

 public:
  // x, y as floats; the same type as a curve's vertex, so that the segment helpers serve both.
  using Vertex = Curve2D::Vertex;

  // Invalid, box all 0, no vertices, no triangles.
  Face2D();
  Face2D(const Face2D&) = default;
  Face2D& operator=(const Face2D&) = default;
  ~Face2D() override;

  // Resizes the vertices and the triangles (existing values kept, new ones 0) and marks the
  // face invalid until setValid(true).
  void allocate(int numberOfVertices, int numberOfTriangles);
  void setVertex(int i, float x, float y) { vertices_[i] = Vertex{x, y}; }
  // Stores the vertex indices of triangle t, expected counter-clockwise.
  void setTriangle(int t, int a, int b, int c) {
    triangles_[3 * t] = a;
    triangles_[3 * t + 1] = b;
    triangles_[3 * t + 2] = c;
  }

  // An invalid face answers getArea and the ball and box queries with 0 or false.
  void setValid(bool valid) { valid_ = valid; }
  bool isValid() const { return valid_; }
  // The producer keeps the box; this class never recomputes it from the vertices.
  void setBoundingBox2D(const BoundingBox2D& box) { box_ = box; }
  const BoundingBox2D& getBoundingBox() const { return box_; }

  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.data(); }
  int getNumberOfTriangles() const { return static_cast<int>(triangles_.size() / 3); }
  // Three vertex indices per triangle.
  const int* getTriangleArray() const { return triangles_.data(); }

  // Signed area: clockwise triangles count negatively.
  double getArea() const;
  // Whether (x, y) lies in some counter-clockwise triangle, edges included (within a tolerance
  // relative to the triangle's area). Ignores the validity flag.
  bool pointInFace(double x, double y) const;
  // The queries take center = (x, y) and box = (min x, max x, min y, max y).
  // Every vertex within the ball (sphere included); a valid face without vertices is inside.
  bool insideBall(const std::vector<double>& center, double radius) const;
  // Every vertex within the box (bounds included); a valid face without vertices is inside.
  bool insideBox(const std::vector<double>& box) const;
  // Some boundary edge reaches the ball (touching counts), or the centre lies in the face.
  bool intersectsBall(const std::vector<double>& center, double radius) const;
  // Some boundary edge touches the box, or the box centre lies in the face.
  bool intersectsBox(const std::vector<double>& box) const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  struct Edge {
    int first, second;  // vertex indices, first <= second
  };
  // The edges used by an odd number of triangles, ordered by first index, then second.
  std::vector<Edge> boundaryEdges() const;
  bool boxMeetsBall(const std::vector<double>& center, double radius) const;

  bool valid_ = false;
  BoundingBox2D box_;
  std::vector<Vertex> vertices_;
  std::vector<int> triangles_;  // three vertex indices per triangle
};

}  // namespace nkdatacarrier
