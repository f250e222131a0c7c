// RenderDrawGeom3D: the draw geometry of a 3D model: its points, curves (polylines), sheets
// (triangulated faces) and solids (known by their bounding boxes and their relations to the
// other entities), the twelve adjacency relations among the four kinds and the box of the whole.
// The producer fills it through allocate, the mutable accessors and the adjacency setters; the
// graphics side draws its render arrays, picks along lines, cuts by planes, selects in balls,
// boxes and cylinders, tests points against solids and measures. The 3D drawing object and the
// 3D geometry map derive from it and write it through serializeAttributes.
//
// Corrupt data (from a damaged stream or a producer error) never makes a query read outside an
// array: a relation entry naming an entity that does not exist is skipped wherever a relation
// is walked (the exceptions are named at the operations), a triangle with a corner outside its
// sheet's vertices is skipped by every query and measure, and the runs of a relation are
// clamped to its arrays. Results for well-formed data are not affected by these rules.
// Query vectors are not checked: a point, centre or axis holds 3 values, a box 6.
#pragma once

#include <array>
#include <utility>
#include <vector>

#include "datacarrier/adjacent.h"
#include "datacarrier/boundingbox3d.h"
#include "datacarrier/curve3d.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/point3d.h"
#include "datacarrier/renderdrawgeom.h"
#include "datacarrier/sheet3d.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDrawGeom3D : public RenderDrawGeom {
 public:
  // The version of the attribute block.
  static constexpr unsigned int VERSION = 0;

  // The 3D kinds of RenderDrawGeom::Type, with the same numbers.
  enum Type3D : int {
    RENDER_GEOM_3D = RenderDrawGeom::RENDER_GEOM_3D,
    DRAW_3D_A = RenderDrawGeom::DRAW_3D_A,
    DRAW_3D_B = RenderDrawGeom::DRAW_3D_B,
    DRAW_3D_C = RenderDrawGeom::DRAW_3D_C,
    DRAW_3D_D = RenderDrawGeom::DRAW_3D_D
  };

  RenderDrawGeom3D(const RenderDrawGeom3D&) = default;
  RenderDrawGeom3D& operator=(const RenderDrawGeom3D&) = default;
  ~RenderDrawGeom3D() override;

  // Sizes the solid boxes (new ones all 0) and replaces every sheet, curve and point, old ones
  // included, by a default one; a negative count is taken as 0. Relations, the whole box and
  // the base attributes stay.
  void allocate(int nSolids, int nSheets, int nCurves, int nPoints);
  int getNumberOfPoints() const { return static_cast<int>(points_.size()); }
  int getNumberOfCurves() const { return static_cast<int>(curves_.size()); }
  int getNumberOfSheets() const { return static_cast<int>(sheets_.size()); }
  // The number of solid bounding boxes.
  int getNumberOfSolids() const { return static_cast<int>(solidBoxes_.size()); }
  // Entities by their 0-based number; unchecked.
  Point3D& point(int i) { return points_[i]; }
  const Point3D& getPoint(int i) const { return points_[i]; }
  Curve3D& curve(int i) { return curves_[i]; }
  const Curve3D& getCurve(int i) const { return curves_[i]; }
  Sheet3D& sheet(int i) { return sheets_[i]; }
  const Sheet3D& getSheet(int i) const { return sheets_[i]; }

  // The extent of the whole geometry and of each solid, kept as the producer sets them.
  const BoundingBox3D& getBoundingBox() const { return box_; }
  void setBoundingBox3D(const BoundingBox3D& box) { box_ = box; }
  const BoundingBox3D& getBoundingBoxSolid(int i) const { return solidBoxes_[i]; }
  void setBoundingBoxSolid(int i, const BoundingBox3D& box) { solidBoxes_[i] = box; }

  // The twelve relations. In the sheet-to-solid relation the orientation tells on which side
  // of the sheet the solid lies: +1 the side into which the sheet's normals point, -1 the other.
  Adjacent& solidToSheetAdjacent() { return solidToSheet_; }
  Adjacent& solidToCurveAdjacent() { return solidToCurve_; }
  Adjacent& solidToPointAdjacent() { return solidToPoint_; }
  Adjacent& sheetToCurveAdjacent() { return sheetToCurve_; }
  Adjacent& sheetToPointAdjacent() { return sheetToPoint_; }
  Adjacent& curveToPointAdjacent() { return curveToPoint_; }
  Adjacent& pointToCurveAdjacent() { return pointToCurve_; }
  Adjacent& pointToSheetAdjacent() { return pointToSheet_; }
  Adjacent& pointToSolidAdjacent() { return pointToSolid_; }
  Adjacent& curveToSheetAdjacent() { return curveToSheet_; }
  Adjacent& curveToSolidAdjacent() { return curveToSolid_; }
  Adjacent& sheetToSolidAdjacent() { return sheetToSolid_; }
  const Adjacent& getSolidToSheetAdjacent() const { return solidToSheet_; }
  const Adjacent& getSolidToCurveAdjacent() const { return solidToCurve_; }
  const Adjacent& getSolidToPointAdjacent() const { return solidToPoint_; }
  const Adjacent& getSheetToCurveAdjacent() const { return sheetToCurve_; }
  const Adjacent& getSheetToPointAdjacent() const { return sheetToPoint_; }
  const Adjacent& getCurveToPointAdjacent() const { return curveToPoint_; }
  const Adjacent& getPointToCurveAdjacent() const { return pointToCurve_; }
  const Adjacent& getPointToSheetAdjacent() const { return pointToSheet_; }
  const Adjacent& getPointToSolidAdjacent() const { return pointToSolid_; }
  const Adjacent& getCurveToSheetAdjacent() const { return curveToSheet_; }
  const Adjacent& getCurveToSolidAdjacent() const { return curveToSolid_; }
  const Adjacent& getSheetToSolidAdjacent() const { return sheetToSolid_; }

  // Each setter replaces its relation by one list per source entity. These nine take the
  // sources numbered from 1: input entry 0 is deliberately ignored, entry i + 1 becomes the
  // list of source i, and its (index, orientation) pairs are stored as they stand.
  void setSolidToSheetAdjacent(const AdjacencyLists& lists);
  void setSolidToCurveAdjacent(const AdjacencyLists& lists);
  void setSolidToPointAdjacent(const AdjacencyLists& lists);
  void setSheetToCurveAdjacent(const AdjacencyLists& lists);
  void setSheetToPointAdjacent(const AdjacencyLists& lists);
  void setCurveToPointAdjacent(const AdjacencyLists& lists);
  void setPointToCurveAdjacent(const AdjacencyLists& lists);
  void setPointToSheetAdjacent(const AdjacencyLists& lists);
  void setCurveToSheetAdjacent(const AdjacencyLists& lists);
  // These three take entry i as the list of source i; the first member of a pair is a 1-based
  // solid number, 0 or less meaning "no solid on that side": such pairs are dropped, the others
  // stored as number - 1 with orientation 0, and the second member is ignored.
  void setPointToSolidAdjacent(const AdjacencyLists& lists);
  void setCurveToSolidAdjacent(const AdjacencyLists& lists);
  void setSheetToSolidAdjacent(const AdjacencyLists& lists);

  // Measure of the listed entities: dim 1 summed curve lengths, dim 2 summed sheet areas, dim 3
  // summed solid volumes; any other dim 0.0. An index outside the entities of dim raises
  // "VEXAL_assertion_failure" (lines 140 curves, 150 sheets, 160 solids), also after earlier
  // entities were measured. A listed curve that is not valid, or a listed sheet that is not
  // complete (an invalid sheet never is), makes the whole result 0.0: a partly meshed selection
  // has no meaningful measure.
  // A solid's volume sums, over its sheets (solid-to-sheet relation) whose up and down domains
  // differ, the signed volumes of the tetrahedra that their triangles span with the centre of
  // the whole bounding box (summed six-fold, divided by 6 once at the end), each sheet's sum
  // taken with the sign opposite to the sheet's orientation towards this solid (sheet-to-solid
  // relation). Outward normals with orientation -1 and inward normals with +1 thus both give a
  // closed solid a positive volume. A sheet whose entries name the solid on both sides, or on none
  // (orientation 0), adds nothing. A bounding sheet that is not complete, or a relation entry
  // naming no sheet, makes the result 0.0.
  double getVolume(int dim, const std::vector<int>& entities) const override;
  // dim 3: the summed areas (Sheet3D::getArea, 0.0 for an incomplete sheet) of the sheets that
  // bound the listed solids with different domains on their two sides, each sheet once; any
  // other dim 0.0. A solid index at or beyond the number of solids raises
  // "VEXAL_assertion_failure" (line 313); a negative one deliberately contributes nothing.
  double getBndArea(int dim, const std::vector<int>& solids) const override;
  // min x, max x, min y, max y, min z, max z of the whole box.
  void getBoundingBox(std::vector<float>& box) const override;

  // Picking: every sheet's hits of the unbounded line p0 + t (p1 - p0), sorted by (t, order of
  // finding: sheet, then triangle). result gets one entry (t, nx, ny, nz) per hit, with the unit
  // interpolated normal; sheets the sheet of each hit. Both are resized to the number of hits;
  // entries of result already there are overwritten in place (one shorter than four is grown).
  void findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                             std::vector<std::vector<double>>& result,
                             std::vector<int>& sheets) const;
  void findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                             std::vector<std::vector<double>>& result) const override;
  // The point of the listed sheets closest to point: returns the sheet holding it, or -1 when
  // no listed sheet could be measured (closest then holds three NaN). A candidate outside the
  // sheets raises "Invalid_face_number" (line 437).
  int findClosestPoint(const std::vector<double>& point, const std::vector<int>& candidateSheets,
                       std::vector<double>& closest) const override;
  // Appends the cut of every sheet (one plot-data block each, also for invalid sheets), then of
  // every curve, by the plane through planePoint with normal planeNormal.
  void findPlaneIntersections(const Array<double, 1>& planePoint,
                              const Array<double, 1>& planeNormal,
                              PostDataObject& result) const override;

  // Whether p lies inside solid `solid` or on its boundary. The distance to the solid's sheets
  // fixes a cube around p free of them; a quadtree search in that cube finds a start above
  // which no projected triangle edge passes, and the first hit of the ray from p upwards through
  // it on a sheet that bounds the solid on exactly one side decides by the sheet's normal.
  // False when nothing decides, and for a solid without sheets or a number outside the solids.
  // A solid-to-sheet entry naming no sheet raises "Invalid_face_number" (closest-point search).
  bool pointInSolid(const std::vector<double>& p, int solid) const;

  // Selection: dim 1 curves, 2 sheets, 3 solids; any other dim raises "Invalid entity
  // dimension", even for an empty list. A candidate outside the entities of dim raises
  // "VEXAL_assertion_failure" when it is reached; matches appended before stay in result.
  // In the touching sense a box is first clipped to the whole box grown by a tenth of its
  // largest side, and a cylinder's radius and heights are cut down to the whole box seen in
  // the cylinder's frame grown likewise, before anything else; the ball is used as given.
  // A solid matches when its box meets the shape's box and: inside, every sheet of it lies
  // inside the shape (a solid without sheets matches on the box alone); touching, a sheet of it
  // touches the shape or the shape's centre lies in the solid (pointInSolid; for a cylinder
  // the centre of its caller-given height range, and never when a height is infinite).
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
  void findEntitiesInCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                              double r, double hMax, double hMin, int dim, bool inside,
                              const std::vector<int>& candidates,
                              std::vector<int>& result) const override;
  bool isInCylinder(const std::vector<double>& p, const std::vector<double>& axis, double r,
                    double hMax, double hMin, int dim, bool inside,
                    const std::vector<int>& candidates) const override;

  // Sheet vertices minus curve vertices minus points, in 32-bit arithmetic: deliberately
  // subtractions, so it can be negative.
  int numUniquePointsEstimate() const override;

  // Render arrays: three coordinate directions, element vectors [0] to [8]. The sizes count
  // every sheet, valid or not, while the export skips invalid sheets (their positions stay
  // unfilled at the end). A curve with fewer than two vertices writes no position but takes
  // one; a triangle corner outside its sheet's vertices points at position 0.
  int getMLRenderPointSize() const override;
  int getMLRenderVtxSize() const override;
  int getMLRenderEdgSize() const override;
  int getMLRenderTriSize() const override;
  void getMLRenderData(std::vector<std::vector<float>>& coords,
                       std::vector<std::vector<int>>& elements) const override;

  // Makes target (which may be this geometry) its wireframe: the whole box, the points and the
  // curves (valid flag, box and vertices); target's sheets and solids become empty, its
  // relations and base attributes stay as they were.
  void getWireframe(RenderDrawGeom3D& target) const;
  // The curves (sheets) whose valid flag is false, in ascending order; out is cleared first.
  void getUnmeshedEdges(std::vector<int>& out) const;
  void getUnmeshedFaces(std::vector<int>& out) const;

 protected:
  RenderDrawGeom3D();
  RenderDrawGeom3D(Type3D type, int id);

  // The attribute block: its own version, the base attributes, the whole box, the counts, the
  // points, curves, sheets and solid boxes, and the twelve relations in declaration order.
  void serializeAttributes(OSerialStream& os, nkbase::Prop& prop) const;
  // Reads it back; a version other than 0 raises "Incompatible_native_file_version".
  void deserializeAttributes(ISerialStream& is);

 private:
  // The whole box seen in the frame of the cylinder through p along axis: radial extent
  // (-R, R) in x and y, the range of heights along the unit axis (always holding 0) in z.
  BoundingBox3D getRotatedBoundingBox(const std::vector<double>& p,
                                      const std::vector<double>& axis) const;

  // The selection queries: each reduces its shape, then hands query the per-entity predicate
  // (dim, index) -> bool, which query runs over the candidates. The solid predicate tests the
  // solid's box against the shape's, then its sheets through sheetTest, then the probe point,
  // if any, in the touching sense.
  template <typename Query>
  bool inBall(const std::vector<double>& c, double r, bool inside, Query query) const;
  template <typename Query>
  bool inBox(const std::vector<double>& box, bool inside, Query query) const;
  template <typename Query>
  bool inCylinder(const std::vector<double>& p, const std::vector<double>& axis, double r,
                  double hMax, double hMin, bool inside, Query query) const;
  // Entities per dimension for the selection driver: curves, sheets, solids (no points).
  std::array<int, 4> selectionCounts() const;
  template <typename SheetTest>
  bool solidMatches(int solid, const BoundingBox3D& shapeBox, bool inside, SheetTest sheetTest,
                    const std::vector<double>* probe) const;

  BoundingBox3D box_;
  std::vector<BoundingBox3D> solidBoxes_;
  std::vector<Sheet3D> sheets_;
  std::vector<Curve3D> curves_;
  std::vector<Point3D> points_;
  Adjacent solidToSheet_;
  Adjacent solidToCurve_;
  Adjacent solidToPoint_;
  Adjacent sheetToCurve_;
  Adjacent sheetToPoint_;
  Adjacent curveToPoint_;
  Adjacent pointToCurve_;
  Adjacent pointToSheet_;
  Adjacent pointToSolid_;
  Adjacent curveToSheet_;
  Adjacent curveToSolid_;
  Adjacent sheetToSolid_;
};

}  // namespace nkdatacarrier
