// Point3D: the single-vertex entity of the 3D draw geometry (x, y, z as floats). A plain value.
#pragma once

#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Point3D {
 public:
  struct Vertex {
    float x = 0.0f, y = 0.0f, z = 0.0f;
  };

  void setVertex(float x, float y, float z) {
    v_.x = x;
    v_.y = y;
    v_.z = z;
  }
  const Vertex& getVertex() const { return v_; }
  // Always true: a point has no invalid state, but answers the same question as curves and faces.
  bool isValid() const { return true; }

 private:
  Vertex v_;
};

}  // namespace nkdatacarrier
