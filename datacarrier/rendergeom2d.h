// RenderGeom2D: the geometry map of a planar model, its 2D draw geometry with the maps from
// rendered points, curves and faces to the model's points, edges and domains, and the numbers of
// those geometry entities. The computing side fills the geometry, initialises and fills the maps
// and writes it; the graphics side reads it back and reports picks and selections in the model's
// own numbering.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom2d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderGeom2D : public RenderDrawGeom2D {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  // Type UNSET, identifier 0, everything empty.
  RenderGeom2D();
  // Type RENDER_GEOM_2D and the given identifier; maps empty.
  explicit RenderGeom2D(int id);
  RenderGeom2D(const RenderGeom2D&) = default;
  RenderGeom2D& operator=(const RenderGeom2D&) = default;
  ~RenderGeom2D() override;

  // Each sizes its map to the rendered entities (points; curves; faces), stores n as the number
  // of geometry entities of that kind, and returns the map for the producer to fill. When the
  // two numbers agree (and n is positive) the map is filled with the identity 0 .. n-1 already.
  std::vector<int>& initPointMap(int n);
  std::vector<int>& initEdgeMap(int n);
  std::vector<int>& initDomainMap(int n);

  // Entry i: the geometry entity that rendered point (curve, face) i shows.
  const std::vector<int>& getPointMap() const { return pointMap_; }
  const std::vector<int>& getEdgeMap() const { return edgeMap_; }
  const std::vector<int>& getDomainMap() const { return domainMap_; }
  int getNumGeomPoint() const { return numGeomPoint_; }
  int getNumGeomEdge() const { return numGeomEdge_; }
  int getNumGeomDomain() const { return numGeomDomain_; }

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_GEOM; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Reads versions 0 and 1; a version-0 stream has no maps and leaves them as they were.
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<int> pointMap_;
  int numGeomPoint_ = 0;
  std::vector<int> edgeMap_;
  int numGeomEdge_ = 0;
  std::vector<int> domainMap_;
  int numGeomDomain_ = 0;
};

}  // namespace nkdatacarrier
