// ClosedPath2D: a closed polygon outline in the plane, a plain list of single-precision vertices
// with no bounding box and no validity flag. Older face data stored a list of these ahead of the
// triangulation; the face reader still reads them in order to skip them.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT ClosedPath2D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  struct Vertex {
    float x = 0.0f, y = 0.0f;
  };

  ClosedPath2D();
  ClosedPath2D(const ClosedPath2D&) = default;
  ClosedPath2D& operator=(const ClosedPath2D&) = default;
  ~ClosedPath2D() override;

  // Resizes the vertices to n (existing values kept, new ones 0).
  void allocate(int n) { vertices_.resize(static_cast<std::size_t>(n)); }
  void setVertex(int i, float x, float y) { vertices_[i] = Vertex{x, y}; }

  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.data(); }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<Vertex> vertices_;
};

}  // namespace nkdatacarrier
