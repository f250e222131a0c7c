// Curve2D: one edge of a 2D drawing, an open polyline of single-precision vertices with its
// bounding box, a validity flag and the domains on its two sides. The 2D draw geometry fills it;
// 2D picking and selection ask it for its length and whether it lies in or touches a ball or box.
// Its static segment helpers are the ones every 2D and 3D primitive measures segments with.
#pragma once

#include <vector>

#include "datacarrier/boundingbox2d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Curve2D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  struct Vertex {
    float x = 0.0f, y = 0.0f;
  };

  // Invalid, box all 0, no vertices, no domain on either side (-1).
  Curve2D();
  Curve2D(const Curve2D&) = default;
  Curve2D& operator=(const Curve2D&) = default;
  ~Curve2D() override;

  // Empties the vertices, reserves room for n and marks the curve invalid until setValid(true).
  void reserve(int n);
  // Appends a vertex; the validity flag is not changed.
  void appendVertex(float x, float y) { vertices_.push_back(Vertex{x, y}); }

  // An invalid curve answers every query with false or 0.
  void setValid(bool valid) { valid_ = valid; }
  bool isValid() const { return valid_; }
  // The producer keeps the box; this class never recomputes it from the vertices.
  void setBoundingBox2D(const BoundingBox2D& box) { box_ = box; }
  const BoundingBox2D& getBoundingBox() const { return box_; }
  // Index of the domain on the up (down) side of the curve; -1 when there is none.
  void setUp(int domain) { up_ = domain; }
  int getUp() const { return up_; }
  void setDown(int domain) { down_ = domain; }
  int getDown() const { return down_; }

  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.data(); }

  // Sum of the segment lengths, each computed in single precision (0 when invalid).
  double getLength() const;
  // The queries take center = (x, y) and box = (min x, max x, min y, max y).
  // Every vertex within the ball, the sphere included; a valid curve without vertices is inside.
  bool insideBall(const std::vector<double>& center, double radius) const;
  // Every vertex within the box, bounds included; a valid curve without vertices is inside.
  bool insideBox(const std::vector<double>& box) const;
  // Some segment comes strictly closer to the centre than the radius.
  bool intersectsBall(const std::vector<double>& center, double radius) const;
  // Some segment touches the box (touching its boundary counts).
  bool intersectsBox(const std::vector<double>& box) const;

  // Squared distance from point = (x, y) to the segment a-b.
  static double pointLineDistance2(const std::vector<double>& point, const Vertex& a,
                                   const Vertex& b);
  // Whether the segment a-b touches the box (separating-axis test, boundary inclusive).
  static bool boxLineIntersect(const std::vector<double>& box, const Vertex& a, const Vertex& b);

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  // Whether the stored box meets the square around the ball (bounds rounded to float).
  bool boxMeetsBall(const std::vector<double>& center, double radius) const;

  bool valid_ = false;
  BoundingBox2D box_;
  std::vector<Vertex> vertices_;
  int up_ = -1;
  int down_ = -1;
};

}  // namespace nkdatacarrier
