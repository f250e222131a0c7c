// Point1D: the single-vertex entity of the 1D draw geometry (x as floats). A plain value.
#pragma once

#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Point1D {
 public:
  struct Vertex {
    float x = 0.0f;
  };

  void setVertex(float x) { v_.x = x; }
  const Vertex& getVertex() const { return v_; }
  // Always true: a point has no invalid state, but answers the same question as curves and faces.
  bool isValid() const { return true; }

 private:
  Vertex v_;
};

}  // namespace nkdatacarrier
