// RenderGeom1D: the geometry map of a one-dimensional model, its 1D draw geometry with the maps
// from rendered points and curves to the model's points and domains. In 1D the two coincide, so
// the maps are always the identity and are never written. The computing side fills the geometry
// and writes it; the graphics side reads it back and reports picks in the model's numbering.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom1d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderGeom1D : public RenderDrawGeom1D {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // Type UNSET, identifier 0, everything empty.
  RenderGeom1D();
  // Type RENDER_GEOM_1D and the given identifier.
  explicit RenderGeom1D(int id);
  RenderGeom1D(const RenderGeom1D&) = default;
  RenderGeom1D& operator=(const RenderGeom1D&) = default;
  ~RenderGeom1D() override;

  // The identity over the points (curves for the domain map), rebuilt here whenever the number
  // of points (curves) has changed.
  const std::vector<int>& getPointMap();
  const std::vector<int>& getDomainMap();
  // The same identities for a const object, built afresh when the stored map is out of date.
  std::vector<int> getPointMap() const;
  std::vector<int> getDomainMap() const;
  // The number of points and of curves.
  int getNumGeomPoint() const { return getNumberOfPoints(); }
  int getNumGeomDomain() const { return getNumberOfCurves(); }

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_GEOM; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::vector<int> pointMap_;
  std::vector<int> domainMap_;
};

}  // namespace nkdatacarrier
