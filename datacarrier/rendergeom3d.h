// RenderGeom3D: the geometry map of a 3D model, its 3D draw geometry with the maps from rendered
// points, curves, sheets and solids to the model's points, edges, faces and domains, and the
// numbers of those geometry entities. The computing side fills the geometry, initialises and
// fills the maps and writes it; the graphics side reads it back and reports picks and selections
// in the model's own numbering.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom3d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderGeom3D : public RenderDrawGeom3D {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  // Type UNSET, identifier 0, everything empty.
  RenderGeom3D();
  // Type RENDER_GEOM_3D and the given identifier; maps empty.
  explicit RenderGeom3D(int id);
  RenderGeom3D(const RenderGeom3D&) = default;
  RenderGeom3D& operator=(const RenderGeom3D&) = default;
  ~RenderGeom3D() override;

  // Each sizes its map to the rendered entities (points; curves; sheets; solids), stores n as
  // the number of geometry entities of that kind, and returns the map for the producer to fill.
  // When the two numbers agree (and n is positive) the map is filled with the identity
  // 0 .. n-1 already.
  std::vector<int>& initPointMap(int n);
  std::vector<int>& initEdgeMap(int n);
  std::vector<int>& initFaceMap(int n);
  std::vector<int>& initDomainMap(int n);

  // Entry i: the geometry entity that rendered point (curve, sheet, solid) i shows.
  const std::vector<int>& getPointMap() const { return pointMap_; }
  const std::vector<int>& getEdgeMap() const { return edgeMap_; }
  const std::vector<int>& getFaceMap() const { return faceMap_; }
  const std::vector<int>& getDomainMap() const { return domainMap_; }
  int getNumGeomPoint() const { return numGeomPoint_; }
  int getNumGeomEdge() const { return numGeomEdge_; }
  int getNumGeomFace() const { return numGeomFace_; }
  int getNumGeomDomain() const { return numGeomDomain_; }

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_GEOM; }

  // The same object as a geometry map, sharing ownership with geometry. Raises "Internal_error"
  // with the message "RenderGeom3D object expected" when the object's class identifier is not
  // "RenderGeom3D" (or geometry is empty); geometry is left as it was.
  static nkboost::shared_ptr<RenderGeom3D> shared_ptr_cast(
      const nkboost::shared_ptr<RenderDrawGeom3D>& geometry);

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Reads versions 0 and 1; a version-0 stream has no maps and leaves them as they were.
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<int> pointMap_;
  int numGeomPoint_ = 0;
  std::vector<int> edgeMap_;
  int numGeomEdge_ = 0;
  std::vector<int> faceMap_;
  int numGeomFace_ = 0;
  std::vector<int> domainMap_;
  int numGeomDomain_ = 0;
};

}  // namespace nkdatacarrier
