// RenderDrawGeom3DIndex: a search index over the triangles of a received 3D draw geometry, for
// the graphics side's interactive queries (hover picking, snapping, rubber bands) on large
// models. The graphics side builds it once per geometry and asks it instead of the geometry:
// every answer equals, to the last bit and in the same order, the geometry's own query.
//
// The index keeps a reference to the geometry and reads its sheets on every query: the geometry
// must outlive the index and must not change while the index is in use; after any change build
// a new index. Copies of an index share its (immutable) tree. Queries are const and keep their
// working data in locals, so one index may serve several threads at once.
#pragma once

#include <memory>
#include <vector>

#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class RenderDrawGeom3D;

class QVDATACARRIER_EXPORT RenderDrawGeom3DIndex {
 public:
  // Builds the index over every triangle of every valid sheet. A geometry without sheets, or
  // with invalid or empty sheets only, gives an index that answers like the geometry. A large
  // geometry is indexed on up to threads threads, the calling one included (0 or less: as many as
  // the machine runs at once); the index comes out the same whatever their number.
  explicit RenderDrawGeom3DIndex(const RenderDrawGeom3D& geometry, int threads = 0);
  RenderDrawGeom3DIndex(const RenderDrawGeom3DIndex&) = default;
  RenderDrawGeom3DIndex& operator=(const RenderDrawGeom3DIndex&) = default;
  ~RenderDrawGeom3DIndex();

  // The geometry the index was built for.
  const RenderDrawGeom3D& getGeometry() const { return *geometry_; }

  // Line queries, as RenderDrawGeom3D::findLineIntersections: every hit of the unbounded line
  // through p0 and p1, sorted by parameter t (ties in sheet order, then triangle order), each
  // as (t, nx, ny, nz), with the hit's sheet in the second form.
  void findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                             std::vector<std::vector<double>>& result,
                             std::vector<int>& sheets) const;
  void findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                             std::vector<std::vector<double>>& result) const;

  // Closest point, as RenderDrawGeom3D::findClosestPoint: the sheet among the candidates that
  // holds the closest point (the first candidate strictly closer wins), or -1; closest gets the
  // point, or three NaN. Raises as the geometry does for a candidate that is not a sheet.
  int findClosestPoint(const std::vector<double>& p, const std::vector<int>& candidateSheets,
                       std::vector<double>& closest) const;

  // Point in solid, as RenderDrawGeom3D::pointInSolid.
  bool pointInSolid(const std::vector<double>& p, int solid) const;

  // Selection, as the geometry's queries of the same names, for every dim and both senses.
  // When sheets (dim 2) are to touch the shape, those without a triangle near the shape are
  // ruled out through the index and the geometry tests the rest; every other selection is the
  // geometry's own.
  void findEntitiesInBall(const std::vector<double>& centre, double radius, int dim, bool inside,
                          const std::vector<int>& candidates, std::vector<int>& result) const;
  bool isInBall(const std::vector<double>& centre, double radius, int dim, bool inside,
                const std::vector<int>& candidates) const;
  void findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                         const std::vector<int>& candidates, std::vector<int>& result) const;
  bool isInBox(const std::vector<double>& box, int dim, bool inside,
               const std::vector<int>& candidates) const;

  // Statistics: triangles held in the tree, and triangles tested on every query because their
  // coordinates are not finite or come within a millionth of the largest float, or their shape
  // is too thin to bound the line test's tolerance.
  int getNumberOfIndexedTriangles() const;
  int getNumberOfAlwaysTestedTriangles() const;

 private:
  struct Tree;
  // The candidates, in order, that may touch the box [lo, hi]: every other candidate is a sheet
  // none of whose triangles comes near it. pruned is false (and nothing is returned) when a
  // candidate is not a sheet, so that the geometry raises on the whole list.
  std::vector<int> touchingCandidates(const double* lo, const double* hi,
                                      const std::vector<int>& candidates, bool& pruned) const;

  const RenderDrawGeom3D* geometry_;
  std::shared_ptr<const Tree> tree_;
};

}  // namespace nkdatacarrier
