// RenderDrawGeom2D: the draw geometry of a planar model, made of isolated points, curves and
// triangulated faces with their bounding box and the six adjacency relations between them. The
// producer fills it through allocate, the accessors and the adjacency setters; the graphics side
// selects curves and faces in balls and boxes, measures lengths, areas and boundary lengths, and
// draws from the render arrays. The 2D drawing object and the 2D geometry map derive from it and
// write it through serializeAttributes.
#pragma once

#include <vector>

#include "datacarrier/adjacent.h"
#include "datacarrier/boundingbox2d.h"
#include "datacarrier/curve2d.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/face2d.h"
#include "datacarrier/point2d.h"
#include "datacarrier/renderdrawgeom.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDrawGeom2D : public RenderDrawGeom {
 public:
  // The version of the attribute block.
  static constexpr unsigned int VERSION = 0;

  // The 2D kinds of RenderDrawGeom::Type, with the same numbers.
  enum Type2D : int {
    RENDER_GEOM_2D = RenderDrawGeom::RENDER_GEOM_2D,
    DRAW_2D_A = RenderDrawGeom::DRAW_2D_A,
    DRAW_2D_B = RenderDrawGeom::DRAW_2D_B
  };

  RenderDrawGeom2D(const RenderDrawGeom2D&) = default;
  RenderDrawGeom2D& operator=(const RenderDrawGeom2D&) = default;
  ~RenderDrawGeom2D() override;

  // Resizes faces, curves and points to exactly these sizes, keeping existing entries.
  void allocate(int numFaces, int numCurves, int numPoints);
  int getNumberOfFaces() const { return static_cast<int>(faces_.size()); }
  int getNumberOfCurves() const { return static_cast<int>(curves_.size()); }
  int getNumberOfPoints() const { return static_cast<int>(points_.size()); }
  // Entities by their 0-based number; unchecked.
  Face2D& face(int i) { return faces_[i]; }
  const Face2D& getFace(int i) const { return faces_[i]; }
  Curve2D& curve(int i) { return curves_[i]; }
  const Curve2D& getCurve(int i) const { return curves_[i]; }
  Point2D& point(int i) { return points_[i]; }
  const Point2D& getPoint(int i) const { return points_[i]; }

  // The extent of the whole geometry, kept as the producer sets it.
  void setBoundingBox2D(const BoundingBox2D& box) { box_ = box; }
  const BoundingBox2D& getBoundingBox() const { return box_; }

  // The six relations: for each face its curves and its points, for each curve its end points
  // and the faces it bounds, for each point its curves and the faces it lies in.
  Adjacent& faceToCurveAdjacent() { return faceToCurve_; }
  Adjacent& curveToPointAdjacent() { return curveToPoint_; }
  Adjacent& faceToPointAdjacent() { return faceToPoint_; }
  Adjacent& pointToCurveAdjacent() { return pointToCurve_; }
  Adjacent& pointToFaceAdjacent() { return pointToFace_; }
  Adjacent& curveToFaceAdjacent() { return curveToFace_; }
  const Adjacent& getFaceToCurveAdjacent() const { return faceToCurve_; }
  const Adjacent& getCurveToPointAdjacent() const { return curveToPoint_; }
  const Adjacent& getFaceToPointAdjacent() const { return faceToPoint_; }
  const Adjacent& getPointToCurveAdjacent() const { return pointToCurve_; }
  const Adjacent& getPointToFaceAdjacent() const { return pointToFace_; }
  const Adjacent& getCurveToFaceAdjacent() const { return curveToFace_; }

  // Each setter replaces its relation by one list per source entity (one inner list each).
  // These four store the (index, orientation) pairs as they stand.
  void setFaceToCurveAdjacent(const AdjacencyLists& lists);
  void setCurveToPointAdjacent(const AdjacencyLists& lists);
  void setFaceToPointAdjacent(const AdjacencyLists& lists);
  void setPointToCurveAdjacent(const AdjacencyLists& lists);
  // These two deliberately differ: the first member of a pair is a 1-based face number, 0 for
  // "no face"; such pairs are dropped, the others stored as face number - 1, and the second
  // member is ignored.
  void setPointToFaceAdjacent(const AdjacencyLists& lists);
  void setCurveToFaceAdjacent(const AdjacencyLists& lists);

  // dim 1: summed curve lengths; dim 2: summed face areas; anything else 0.0. An index outside
  // the entities raises "VEXAL_assertion_failure"; an invalid entity makes the result 0.0.
  double getVolume(int dim, const std::vector<int>& entities) const override;
  // dim 2: length of the boundary of the union of the listed faces (curves with different faces
  // on their two sides, counted once unless two listed faces share them); otherwise 0.0.
  double getBndArea(int dim, const std::vector<int>& faces) const override;
  // min x, max x, min y, max y.
  void getBoundingBox(std::vector<float>& box) const override;

  // dim 1 selects curves, dim 2 faces. A touching box query first clips the box to the bounding
  // box grown by a tenth of its larger side; the other queries test the shapes as given.
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

  // Face vertices minus curve vertices minus points: deliberately subtractions, so it can be
  // negative.
  int numUniquePointsEstimate() const override;

  // Render arrays: two coordinate directions, element vectors [0] to [8].
  int getMLRenderPointSize() const override;
  int getMLRenderVtxSize() const override;
  int getMLRenderEdgSize() const override;
  int getMLRenderTriSize() const override;
  void getMLRenderData(std::vector<std::vector<float>>& coords,
                       std::vector<std::vector<int>>& elements) const override;

 protected:
  RenderDrawGeom2D();
  RenderDrawGeom2D(Type2D type, int id);

  // The attribute block: its own version, the base attributes, the bounding box, the points,
  // curves and faces, and the six relations.
  void serializeAttributes(OSerialStream& os, nkbase::Prop& prop) const;
  void deserializeAttributes(ISerialStream& is);

 private:
  // The box a box query tests: the caller's for inside, clipped to the grown bounding box for
  // touching.
  std::vector<double> queryBox(const std::vector<double>& box, bool inside) const;

  BoundingBox2D box_;
  std::vector<Face2D> faces_;
  std::vector<Curve2D> curves_;
  std::vector<Point2D> points_;
  Adjacent faceToCurve_;
  Adjacent curveToPoint_;
  Adjacent faceToPoint_;
  Adjacent pointToCurve_;
  Adjacent pointToFace_;
  Adjacent curveToFace_;
};

}  // namespace nkdatacarrier
