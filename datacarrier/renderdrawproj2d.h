// RenderDrawProj2D: a 2D drawing made by projecting geometry onto a plane: points and curves,
// each with a type that the producer chooses and the graphics side interprets, a bounding box,
// and snapping coordinates for the pointer. It is drawn and snapped to, never selected or
// measured: the selection queries raise, the measures are 0, and it has no render-array export.
#pragma once

#include "qvutil/exception.h"

#include <vector>

#include "datacarrier/boundingbox2d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/curve2d.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/errorcodes.h"
#include "datacarrier/point2d.h"
#include "datacarrier/renderdrawgeom.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDrawProj2D : public RenderDrawGeom {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // Type UNSET until read from a stream, everything empty.
  RenderDrawProj2D();
  // Type DRAW_PROJ_2D and the given identifier.
  explicit RenderDrawProj2D(int id);
  RenderDrawProj2D(const RenderDrawProj2D&) = default;
  RenderDrawProj2D& operator=(const RenderDrawProj2D&) = default;
  ~RenderDrawProj2D() override;

  // Resizes the curves with their types and the points with their types, keeping existing
  // entries (new types 0).
  void allocate(int numCurves, int numPoints);
  int getNumberOfCurves() const { return static_cast<int>(curves_.size()); }
  int getNumberOfPoints() const { return static_cast<int>(points_.size()); }
  // Entities and their types by 0-based number; unchecked.
  Curve2D& curve(int i) { return curves_[i]; }
  const Curve2D& getCurve(int i) const { return curves_[i]; }
  Point2D& point(int i) { return points_[i]; }
  const Point2D& getPoint(int i) const { return points_[i]; }
  int getCurveType(int i) const { return curveTypes_[i]; }
  void setCurveType(int index, int type) { curveTypes_[index] = type; }
  int getPointType(int i) const { return pointTypes_[i]; }
  void setPointType(int index, int type) { pointTypes_[index] = type; }

  // The extent, kept as the producer sets it.
  void setBoundingBox2D(const BoundingBox2D& box) { box_ = box; }
  BoundingBox2D& boundingBox() { return box_; }
  const BoundingBox2D& getBoundingBox() const { return box_; }

  // Empty, or two vectors of equal length: the x values, then the y values of the points.
  const std::vector<std::vector<double>>& getSnapCoord() const { return snap_; }
  // Replaces the list by a copy of snap.
  void setSnapCoord(const std::vector<std::vector<double>>& snap) { snap_ = snap; }

  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_DRAW; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Meant for a fresh object: snapping vectors already present keep their length and values
  // (growing to the count read if shorter).
  void deserializeRaw(ISerialStream& is) override;

  // Nothing is measured: both are 0.0 for every argument.
  double getVolume(int dim, const std::vector<int>& entities) const override;
  double getBndArea(int dim, const std::vector<int>& entities) const override;
  // min x, max x, min y, max y.
  void getBoundingBox(std::vector<float>& box) const override;

  // Nothing is selected: the selection queries and the size estimate of the point merging
  // raise whatever their arguments, with the fixed lines their error reports carry.
  void findEntitiesInBall(const std::vector<double>& c, double r, int dim, bool inside,
                          const std::vector<int>& candidates,
                          std::vector<int>& result) const override;
  void findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                         const std::vector<int>& candidates,
                         std::vector<int>& result) const override;
  bool isInBall(const std::vector<double>&, double, int, bool,
                const std::vector<int>&) const override {
    throw nkbase::Exception("datacarrier/renderdrawproj2d.h", 159, errors::kIsInBallNotProj2D);
  }

  bool isInBox(const std::vector<double>&, int, bool, const std::vector<int>&) const override {
    throw nkbase::Exception("datacarrier/renderdrawproj2d.h", 163, errors::kIsInBoxNotProj2D);
  }

  int numUniquePointsEstimate() const override {
    throw nkbase::Exception("datacarrier/renderdrawproj2d.h", 167,
                            errors::kNumUniquePointsEstimateNotProj2D);
  }

 private:
  BoundingBox2D box_;
  std::vector<Curve2D> curves_;
  std::vector<int> curveTypes_;
  std::vector<Point2D> points_;
  std::vector<int> pointTypes_;
  std::vector<std::vector<double>> snap_;
};

}  // namespace nkdatacarrier
