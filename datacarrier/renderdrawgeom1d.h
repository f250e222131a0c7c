// RenderDrawGeom1D: the draw geometry of a one-dimensional model, points on a line and curves
// (intervals made of vertices), with the bounding interval and the curve/point adjacency. The
// producer fills it through allocate and the accessors; the graphics side selects curves that
// touch an interval, measures curve lengths and draws from the render arrays. The 1D drawing
// object and the 1D geometry map derive from it and write it through serializeAttributes.
#pragma once

#include <vector>

#include "datacarrier/adjacent.h"
#include "datacarrier/boundingbox1d.h"
#include "datacarrier/curve1d.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/point1d.h"
#include "datacarrier/renderdrawgeom.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDrawGeom1D : public RenderDrawGeom {
 public:
  // The version of the attribute block.
  static constexpr unsigned int VERSION = 0;

  // The 1D kinds of RenderDrawGeom::Type, with the same numbers.
  enum Type1D : int {
    RENDER_GEOM_1D = RenderDrawGeom::RENDER_GEOM_1D,
    DRAW_1D_A = RenderDrawGeom::DRAW_1D_A,
    DRAW_1D_B = RenderDrawGeom::DRAW_1D_B
  };

  RenderDrawGeom1D(const RenderDrawGeom1D&) = default;
  RenderDrawGeom1D& operator=(const RenderDrawGeom1D&) = default;
  ~RenderDrawGeom1D() override;

  // Resizes the curves and the points (existing entries kept).
  void allocate(int numCurves, int numPoints);
  int getNumberOfCurves() const { return static_cast<int>(curves_.size()); }
  int getNumberOfPoints() const { return static_cast<int>(points_.size()); }
  // Unchecked indices.
  Curve1D& curve(int i) { return curves_[i]; }
  const Curve1D& getCurve(int i) const { return curves_[i]; }
  Point1D& point(int i) { return points_[i]; }
  const Point1D& getPoint(int i) const { return points_[i]; }

  // The extent, kept as the producer sets it.
  void setBoundingBox1D(const BoundingBox1D& box) { box_ = box; }
  const BoundingBox1D& getBoundingBox() const { return box_; }

  // For each curve its points, for each point its curves.
  Adjacent& curveToPointAdjacent() { return curveToPoint_; }
  const Adjacent& getCurveToPointAdjacent() const { return curveToPoint_; }
  Adjacent& pointToCurveAdjacent() { return pointToCurve_; }
  const Adjacent& getPointToCurveAdjacent() const { return pointToCurve_; }

  // 0.0 for dimension 0; for any other dimension, deliberately not only 1, the summed length
  // of the listed curves.
  double getVolume(int dim, const std::vector<int>& entities) const override;
  // Always 0.0: an interval has no boundary to measure.
  double getBndArea(int dim, const std::vector<int>& entities) const override;
  // min x, max x.
  void getBoundingBox(std::vector<float>& box) const override;

  // Only curves (dim 1) that touch the region (inside false) are selected; everything else
  // raises "Invalid entity dimension". A ball is the interval (c[0] - r, c[0] + r), handed to
  // the box queries; a box is (min x, max x).
  void findEntitiesInBall(const std::vector<double>& c, double r, int dim, bool inside,
                          const std::vector<int>& candidates,
                          std::vector<int>& result) const override;
  bool isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                const std::vector<int>& candidates) const override;
  void findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                         const std::vector<int>& candidates,
                         std::vector<int>& result) const override;
  bool isInBox(const std::vector<double>& box, int dim, bool inside,
               const std::vector<int>& candidates) const override;

  // Curve vertices minus points: deliberately a subtraction, so it can be negative.
  int numUniquePointsEstimate() const override;

  // Render arrays: one coordinate direction, element vectors [0] to [4] (no faces, so the
  // triangle count keeps the raising default).
  int getMLRenderPointSize() const override;
  int getMLRenderVtxSize() const override;
  int getMLRenderEdgSize() const override;
  void getMLRenderData(std::vector<std::vector<float>>& coords,
                       std::vector<std::vector<int>>& elements) const override;

 protected:
  RenderDrawGeom1D();
  RenderDrawGeom1D(Type1D type, int id);

  // The attribute block: its own version, the base attributes, the interval, the points, the
  // curves and the two relations.
  void serializeAttributes(OSerialStream& os, nkbase::Prop& prop) const;
  void deserializeAttributes(ISerialStream& is);

 private:
  BoundingBox1D box_;
  std::vector<Curve1D> curves_;
  std::vector<Point1D> points_;
  Adjacent curveToPoint_;
  Adjacent pointToCurve_;
};

}  // namespace nkdatacarrier
