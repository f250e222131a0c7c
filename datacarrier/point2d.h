// Point2D: the single-vertex entity of the 2D draw geometry (x, y as floats). A plain value.
#pragma once

#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Point2D {
 public:
  struct Vertex {
    float x = 0.0f, y = 0.0f;
  };

  void setVertex(float x, float y) {
    v_.x = x;
    v_.y = y;
  }
  const Vertex& getVertex() const { return v_; }
  // Always true: a point has no invalid state, but answers the same question as curves and faces.
  bool isValid() const { return true; }

 private:
  Vertex v_;
};

}  // namespace nkdatacarrier
