// RenderDrawGeom: the abstract base of every geometry carrier that the graphics side draws and
// picks from (the 1D, 2D and 3D draw geometries, the drawing objects built on them, the
// projection drawing, the editable sketch and the geometry maps). It fixes one virtual interface
// for measuring, selecting, picking and exporting render arrays, carries the object type,
// identifier and label of every draw geometry, and merges coincident render points.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/errorcodes.h"
#include "datacarrier/idatacarrier.h"
#include "qvutil/array.h"
#include "qvutil/exception.h"
#include "qvutil/sharedptr.h"

namespace nkdatacarrier {

class PostDataObject;  // the plot data that a plane cut appends its segments to

class QVDATACARRIER_EXPORT RenderDrawGeom : public nkbase::Serializable, public IDataCarrier {
 public:
  // The kind of draw geometry. The numbers travel in streams and are switched on by the
  // graphics side; any int read from a stream is kept, known or not.
  enum Type : int {
    RENDER_GEOM_3D = 0,  // geometry map in 3D
    RENDER_GEOM_2D = 1,  // geometry map in 2D
    RENDER_GEOM_1D = 2,  // geometry map in 1D
    DRAW_3D_A = 3,       // 3D drawing kinds chosen by the producer
    DRAW_3D_B = 4,
    DRAW_3D_C = 5,
    DRAW_3D_D = 6,
    DRAW_2D_A = 7,  // 2D drawing kinds chosen by the producer
    DRAW_PROJ_2D = 8,
    DRAW_2D_B = 9,
    DRAW_1D_A = 10,  // 1D drawing kinds chosen by the producer
    DRAW_1D_B = 11,
    DRAW_EDIT_2D = 12,
    UNSET = 13  // what the default constructor gives
  };

  // The input of the adjacency setters of the concrete geometries: one inner list per source
  // entity of a relation, each entry an (adjacent index, orientation) pair.
  using AdjacencyLists = std::vector<std::vector<std::pair<int, int>>>;

  RenderDrawGeom(const RenderDrawGeom&) = default;
  RenderDrawGeom& operator=(const RenderDrawGeom&) = default;
  ~RenderDrawGeom() override;

  // The object type, identifier and label that every draw geometry carries and serializes.
  Type getObjectType() const { return type_; }
  // 3, 2 or 1 for the 3D, 2D and 1D kinds. Deliberately 0 for the editable sketch although it
  // is two-dimensional, and 0 for the unset type and any value outside the enumeration.
  int getDimension() const;
  int getId() const { return id_; }
  void setId(int id) { id_ = id; }
  const std::string& getLabel() const { return label_; }
  void setLabel(const std::string& label) { label_ = label; }

  // A deep copy of the concrete object, owned by the returned pointer.
  virtual nkboost::shared_ptr<RenderDrawGeom> clone() const = 0;

  // Measure of the listed entities of dimension dim: length of curves, area of faces, volume of
  // solids. An invalid entity among them makes the whole measure 0.0, deliberately not the sum
  // of the others: a partly meshed selection has no meaningful measure.
  virtual double getVolume(int dim, const std::vector<int>& entities) const = 0;
  // Measure of the boundary of the union of the listed entities of dimension dim.
  virtual double getBndArea(int dim, const std::vector<int>& entities) const = 0;

  // Picking and cutting: only the 3D geometries answer these; here they raise. A pick along the
  // line p0-p1 gives the hits in result; the closest point on the listed entities goes to
  // closest; a cut by the plane through planePoint with planeNormal appends its segments to
  // result.
  virtual void findLineIntersections(const std::vector<double>& p0, const std::vector<double>& p1,
                                     std::vector<std::vector<double>>& result) const;
  virtual int findClosestPoint(const std::vector<double>& point, const std::vector<int>& entities,
                               std::vector<double>& closest) const;
  virtual void findPlaneIntersections(const Array<double, 1>& planePoint,
                                      const Array<double, 1>& planeNormal,
                                      PostDataObject& result) const;

  // Clears box and appends min and max of every coordinate direction, x first.
  virtual void getBoundingBox(std::vector<float>& box) const = 0;

  // Selection. dim chooses the entity kind, inside the sense (true: the whole entity lies in the
  // region; false: it touches it); only the listed candidates are examined. The find forms
  // append matches to result without clearing it; the test forms answer "all match" (inside)
  // or "some match" (touching). A ball is a centre and a radius; a box is
  // (min x, max x[, min y, max y[, min z, max z]]).
  // A dimension that the geometry does not select raises "Invalid entity dimension" before any
  // candidate is looked at, so a refused call appends nothing. The 1D and 2D geometries do not
  // check candidate indices; one that names no entity of the geometry simply never matches.
  virtual void findEntitiesInBall(const std::vector<double>& c, double r, int dim, bool inside,
                                  const std::vector<int>& candidates,
                                  std::vector<int>& result) const = 0;
  virtual bool isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                        const std::vector<int>& candidates) const = 0;
  virtual void findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                                 const std::vector<int>& candidates,
                                 std::vector<int>& result) const = 0;
  virtual bool isInBox(const std::vector<double>& box, int dim, bool inside,
                       const std::vector<int>& candidates) const = 0;
  // The cylinder: axis point p, axis direction, radius r, and the heights hMax and hMin along the
  // unit axis. Only the 3D geometries answer; here both raise.
  virtual void findEntitiesInCylinder(const std::vector<double>& p, const std::vector<double>& axis,
                                      double r, double hMax, double hMin, int dim, bool inside,
                                      const std::vector<int>& candidates,
                                      std::vector<int>& result) const;
  virtual bool isInCylinder(const std::vector<double>& p, const std::vector<double>& axis, double r,
                            double hMax, double hMin, int dim, bool inside,
                            const std::vector<int>& candidates) const;

  // A cheap estimate of the number of distinct render points, handed to the point merging as
  // its size hint. Concrete classes may answer a negative number.
  virtual int numUniquePointsEstimate() const = 0;

  // Render-array export for the drawing front end: the number of point (coordinate), vertex,
  // edge and triangle records, and the arrays themselves. The base has no export and raises.
  // coords holds one vector per direction (x, y, z). Positions are handed out to the isolated
  // points, then to the vertices of every curve, then of every face or sheet, and coincident
  // positions are merged afterwards (each distinct point once, in order of first appearance).
  //   elements[0], [1]: per isolated point, its position and 1-based point number;
  //   elements[2], [3], [4]: per curve segment, start and end position, 1-based curve number;
  //   elements[5] to [8]: per triangle, its three corner positions, 1-based face number.
  // (1D: elements [0] to [4] only.) Positions are replaced by the index of their merged point.
  // The sizes follow the geometry's own arithmetic, which malformed data can make differ from
  // the arrays: a curve without vertices counts -1 edge records but takes one position.
  virtual int getMLRenderPointSize() const;
  virtual int getMLRenderVtxSize() const;
  virtual int getMLRenderEdgSize() const;
  virtual int getMLRenderTriSize() const;
  virtual void getMLRenderData(std::vector<std::vector<float>>& coords,
                               std::vector<std::vector<int>>& elements) const;

 protected:
  // Type UNSET, identifier 0, empty label.
  RenderDrawGeom();
  // The given type and identifier, empty label.
  RenderDrawGeom(Type type, int id);

  // The base attributes: type, identifier and label, each with its label, then an empty label.
  void serializeAttributes(OSerialStream& os) const;
  // Reads them back; the type is stored as read, checked against nothing.
  void deserializeAttributes(ISerialStream& is);

  // Merges coincident points of coords (one inner vector per direction, all of one length): the
  // first occurrence of each distinct point keeps its place in order, the arrays are compacted,
  // and map[i] gives the compacted index of old point i. The merging tolerance is relative to
  // the largest absolute coordinate; numUniquePointsEstimate() sizes the hash map.
  void uniquePoints(std::vector<std::vector<float>>& coords, std::vector<int>& map) const;
  // uniquePoints on coords, then every entry of the listed element vectors (coordinate
  // positions) replaced by its merged index. A position without a coordinate becomes -1.
  void mergeRenderPoints(std::vector<std::vector<float>>& coords,
                         std::vector<std::vector<int>>& elements,
                         const std::vector<int>& positionVectors) const;

 private:
  Type type_ = UNSET;
  int id_ = 0;
  std::string label_;
};

// The one raising default defined in the header: its error reports name this header and line
// 230, which consumers' error tables know, so both stay fixed whatever moves around them. The 3D
// geometries override it; the 1D and 2D geometries, the projection drawing and the editable sketch
// keep it, like the other picking and cylinder defaults in the source file.
inline bool RenderDrawGeom::isInCylinder(const std::vector<double>&, const std::vector<double>&,
                                         double, double, double, int, bool,
                                         const std::vector<int>&) const {
  throw nkbase::Exception("datacarrier/renderdrawgeom.h", 230, errors::kIsInCylinderOnly3D);
}

}  // namespace nkdatacarrier
