// Curve1D: one edge of a 1D drawing, an interval of the line possibly subdivided into segments.
// The 1D draw geometry fills it (allocate, setVertex, setBoundingBox1D, setValid) and the
// graphics side asks it for its length and whether it touches a selection interval.
// Coordinates are single precision; queries take doubles.
#pragma once

#include <vector>

#include "datacarrier/boundingbox1d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Curve1D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  struct Vertex {
    float x = 0.0f;
  };

  // Invalid, box (0, 0), no vertices.
  Curve1D();
  Curve1D(const Curve1D&) = default;
  Curve1D& operator=(const Curve1D&) = default;
  ~Curve1D() override;

  // Resizes the vertices to n (existing values kept, new ones 0) and marks the curve invalid
  // until the producer calls setValid(true).
  void allocate(int n);
  void setVertex(int i, float x) { vertices_[i].x = x; }

  // An invalid curve answers every query with false or 0.
  void setValid(bool valid) { valid_ = valid; }
  bool isValid() const { return valid_; }
  // The producer keeps the box exact; this class never recomputes it from the vertices.
  void setBoundingBox1D(const BoundingBox1D& box) { box_ = box; }
  const BoundingBox1D& getBoundingBox() const { return box_; }

  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.data(); }

  // Maximum minus minimum of the bounding box (0 when invalid).
  double getLength() const;
  // True when some segment overlaps the interval box = (min x, max x), ends included.
  bool intersectsBox(const std::vector<double>& box) const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  bool valid_ = false;
  BoundingBox1D box_;
  std::vector<Vertex> vertices_;
};

}  // namespace nkdatacarrier
