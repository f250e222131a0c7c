// RenderMeshSubdomain2D: the mesh of one subdomain of a 2D model, triangles and quads over
// single-precision vertices, with the closed paths along its outer boundary and along its holes.
// The computing side fills it and sends it inside a RenderMeshCollection; the graphics side
// fills the faces and strokes the paths.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/closedpath2d.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/rendermeshpiece.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMeshSubdomain2D : public RenderMeshFaces<2> {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  // An empty piece whose attributes are to be read from a stream.
  RenderMeshSubdomain2D();
  // An empty piece of the domain with that identity; not valid.
  explicit RenderMeshSubdomain2D(int domainGeomIdentity);
  RenderMeshSubdomain2D(const RenderMeshSubdomain2D&) = default;
  RenderMeshSubdomain2D& operator=(const RenderMeshSubdomain2D&) = default;
  ~RenderMeshSubdomain2D() override;

  // Replaces both path lists by nBoundary and nInterior empty paths, for the producer to fill
  // through bndPath and intPath.
  void reservePaths(int nBoundary, int nInterior);
  // Paths along the outer boundary and along the holes; unchecked indices.
  int getNumberOfBndPaths() const { return static_cast<int>(bndPaths_.size()); }
  int getNumberOfIntPaths() const { return static_cast<int>(intPaths_.size()); }
  ClosedPath2D& bndPath(int i) { return bndPaths_[i]; }
  ClosedPath2D& intPath(int i) { return intPaths_[i]; }
  const ClosedPath2D& getBndPath(int i) const { return bndPaths_[i]; }
  const ClosedPath2D& getIntPath(int i) const { return intPaths_[i]; }

  nkboost::shared_ptr<RenderMesh> clone() const override;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<ClosedPath2D> bndPaths_;
  std::vector<ClosedPath2D> intPaths_;
};

}  // namespace nkdatacarrier
