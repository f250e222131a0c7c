// PostDataObject: one post-processing plot (result data on a discretised geometry) on its way
// from the computing side to the graphics side. Every bulk array sits in a group (one group per
// piece of the plot) behind a shared pointer, so producers hand arrays over without copying and
// several plots may share them. It travels as a labelled stream or, between processes, as int
// shape parameters plus raw memory blocks. The graphics side also probes it along pick lines.
//
// PostDataInfo is its companion table: for each kind of data, the position of that kind's array
// inside every data group.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/idatacarrier.h"
#include "qvutil/array.h"
#include "qvutil/dvec3.h"
#include "qvutil/inplaceserializable.h"
#include "qvutil/sharedptr.h"

namespace nkdatacarrier {

class RenderDrawGeom;

class QVDATACARRIER_EXPORT PostDataInfo {
 public:
  // The kinds of data a plot can carry. The value indexes the table directly; producers and the
  // graphics side agree on what the unnamed kinds hold.
  enum DataType {
    DT_VALUE = 0,     // the scalar drawn and probed
    DT_DEFORM_X = 1,  // displacement added to x by deform()
    DT_DEFORM_Y = 2,  // ... to y
    DT_DEFORM_Z = 3,  // ... to z
    DT_KIND_4 = 4,
    DT_SPHERE_SIZE = 5,  // sphere radius per vertex for the sphere probe
    DT_KIND_6 = 6,
    DT_KIND_7 = 7,
    DT_KIND_8 = 8,
    DT_KIND_9 = 9,
    DT_KIND_10 = 10,
    DT_KIND_11 = 11,
    DT_KIND_12 = 12,
    DT_KIND_13 = 13,
    DT_KIND_14 = 14,
    DT_KIND_15 = 15,
    DT_KIND_16 = 16,
    DT_KIND_17 = 17,
    DT_KIND_18 = 18,
    DT_FALLBACK_VALUE = 19,  // probed by the triangle probe when DT_VALUE is absent
    DT_KIND_20 = 20,
    DT_KIND_21 = 21
  };
  static constexpr int NUMBER_OF_DATA_TYPES = 22;

  // Every kind absent (-1).
  PostDataInfo();

  // The kind is present when its position is not negative.
  bool isValid(DataType t) const { return index_[t] >= 0; }
  int getIndex(DataType t) const { return index_[t]; }
  void setIndex(DataType t, int position) { index_[t] = position; }
  // The same with the kind given as its number (0 to 21).
  bool isValid(int t) const { return isValid(static_cast<DataType>(t)); }
  int getIndex(int t) const { return getIndex(static_cast<DataType>(t)); }
  void setIndex(int t, int position) { setIndex(static_cast<DataType>(t), position); }
  // The present kinds, in ascending order.
  std::vector<DataType> validTypes() const;

  bool operator==(const PostDataInfo& other) const;
  bool operator!=(const PostDataInfo& other) const { return !(*this == other); }

 private:
  int index_[NUMBER_OF_DATA_TYPES];
};

class QVDATACARRIER_EXPORT PostDataObject : public nkbase::InPlaceSerializable,
                                            public IDataCarrier {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  // The kind of plot. Only the default is fixed here; any other int passes through unchanged.
  enum Type : int { DEFAULT_TYPE = 31 };
  // Coordinate directions; the value indexes the per-direction arrays of a group.
  enum Direction { DIR_X = 0, DIR_Y = 1, DIR_Z = 2 };

  using DoubleArray = std::vector<double>;
  using IntArray = std::vector<int>;
  using DoubleArrays = std::vector<DoubleArray>;
  using IntArrays = std::vector<IntArray>;
  using FloatArrays = std::vector<std::vector<float>>;
  using DoubleArrayPtr = nkboost::shared_ptr<DoubleArray>;
  using IntArrayPtr = nkboost::shared_ptr<IntArray>;
  using DoubleArraysPtr = nkboost::shared_ptr<DoubleArrays>;
  using IntArraysPtr = nkboost::shared_ptr<IntArrays>;
  using FloatArraysPtr = nkboost::shared_ptr<FloatArrays>;

  // Type 31, every kind absent, object ID -1, no groups, empty bounds, no properties.
  PostDataObject();
  PostDataObject(Type type, const PostDataInfo& info, int objectID);
  // The same with the type given as its number.
  PostDataObject(int type, const PostDataInfo& info, int objectID)
      : PostDataObject(static_cast<Type>(type), info, objectID) {}
  // Shallow: afterwards both objects share every array (and the bounds).
  PostDataObject& operator=(const PostDataObject& other);
  ~PostDataObject() override;
  // A deep copy: every array of every group, and the bounds, copied into new arrays.
  nkboost::shared_ptr<PostDataObject> clone() const;
  // Empties every group vector, the contents of the (kept, possibly shared) bounds array and the
  // properties; type, info and object ID stay.
  void clear();

  DataCarrierType getDataCarrierType() const override { return DC_POST_DATA; }

  // Adding groups stores the given pointer: the caller may keep and keep changing the array.
  void addVertices(DoubleArraysPtr vertices);    // one coordinate array per Direction
  void addElementIndices(IntArraysPtr indices);  // one vertex-index array per element corner
  void addData(DoubleArraysPtr data);  // one array per present DataType, at info's position
  void addDataMax(DoubleArrayPtr max);
  void addDataMin(DoubleArrayPtr min);
  // Per triangle, the unit normal as three float arrays (x, y, z components).
  void addNormals(FloatArraysPtr normals);
  void addNormalIndices(IntArrayPtr indices);
  void addBoundaryIndices(IntArraysPtr indices);
  void addVerticesDeform(DoubleArraysPtr vertices);  // deformed coordinates, per Direction
  void addVertexElems(IntArrayPtr vertexElems);
  // A null pointer stands for new empty bounds: the bounds are always present.
  void setBounds(DoubleArraysPtr bounds);

  // Accessors check no index: groups, directions and kinds must exist.
  Type getType() const { return type_; }
  const PostDataInfo& info() const { return info_; }
  int getObjectID() const { return objectID_; }
  void setObjectID(int objectID) { objectID_ = objectID; }
  // The number of vertex groups.
  int getGroups() const { return static_cast<int>(vertices_.size()); }

  const DoubleArrays& getVertices(int g) const { return *vertices_[g]; }
  const DoubleArray& getVertices(int g, Direction d) const { return (*vertices_[g])[d]; }
  DoubleArraysPtr getVerticesPtr(int g) const { return vertices_[g]; }
  const DoubleArray& getVerticesDeform(int g, Direction d) const {
    return (*verticesDeform_[g])[d];
  }
  const DoubleArrays& getBounds() const { return *bounds_; }
  const DoubleArray& getBounds(Direction d) const { return (*bounds_)[d]; }
  const IntArrays& getElementIndices(int g) const { return *elementIndices_[g]; }
  const IntArray& getElementIndices(int g, int k) const { return (*elementIndices_[g])[k]; }
  IntArraysPtr getElementIndicesPtr(int g) const { return elementIndices_[g]; }
  const IntArrays& getBoundaryIndices(int g) const { return *boundaryIndices_[g]; }
  const IntArray& getBoundaryIndices(int g, int k) const { return (*boundaryIndices_[g])[k]; }
  const DoubleArrays& getData(int g) const { return *data_[g]; }
  const DoubleArray& getData(int g, PostDataInfo::DataType t) const {
    return (*data_[g])[info_.getIndex(t)];
  }
  DoubleArraysPtr getDataPtr(int g) const { return data_[g]; }
  double getDataMax(int g, PostDataInfo::DataType t) const {
    return (*dataMax_[g])[info_.getIndex(t)];
  }
  double getDataMin(int g, PostDataInfo::DataType t) const {
    return (*dataMin_[g])[info_.getIndex(t)];
  }
  // Over the vertex groups: group 0's value, replaced only by a strictly greater (smaller) one.
  // Group 0 is read even when there are no vertex groups; a value the object does not hold
  // (no such group or position) reads as NaN.
  double getDataMax(PostDataInfo::DataType t) const;
  double getDataMin(PostDataInfo::DataType t) const;
  // The accessors above with the kind or the direction given as its number.
  const DoubleArray& getVertices(int g, int d) const { return getVertices(g, Direction(d)); }
  const DoubleArray& getVerticesDeform(int g, int d) const {
    return getVerticesDeform(g, Direction(d));
  }
  const DoubleArray& getBounds(int d) const { return getBounds(Direction(d)); }
  const DoubleArray& getData(int g, int t) const { return getData(g, PostDataInfo::DataType(t)); }
  double getDataMax(int g, int t) const { return getDataMax(g, PostDataInfo::DataType(t)); }
  double getDataMin(int g, int t) const { return getDataMin(g, PostDataInfo::DataType(t)); }
  double getDataMax(int t) const { return getDataMax(PostDataInfo::DataType(t)); }
  double getDataMin(int t) const { return getDataMin(PostDataInfo::DataType(t)); }
  const FloatArrays& getNormals(int g) const { return *normals_[g]; }
  const IntArray& getNormalIndices(int g) const { return *normalIndices_[g]; }
  const IntArray& getVertexElems(int g) const { return *vertexElems_[g]; }
  // True when there is one normal group per vertex group (and at least one).
  bool hasNormals() const;

  // The value of the first pair named exactly `name`; empty when there is none.
  std::string getProperty(const std::string& name) const;
  // Replaces the value of the pair named `name`, or appends the pair.
  void setProperty(const std::string& name, const std::string& value);

  // Multiplies the data arrays at `positions` of every data group by `factor` and keeps the
  // min/max at those positions consistent. The data arrays are copied before they change (whoever
  // shares the old arrays keeps the old values), but the min and max arrays are changed in place,
  // so every holder of them sees the scaled values. A factor of exactly 1 or no positions change
  // nothing. A position listed twice is scaled twice; one a group does not hold is skipped there.
  void scaleData(double factor, const Array<int, 1>& positions);

  // Adds, for every vertex group, the data of kind DT_DEFORM_X + d to coordinate array d in place
  // (NaN displacements are skipped), sets entries 0 and 1 of each direction's bounds array to the
  // minimum and maximum of the deformed coordinates over all groups (growing the bounds where they
  // are too small), then recomputes the normals of every triangle group that has a normal group.
  // Does nothing unless one of the three displacement kinds is present.
  void deform();

  // Replaces the plot by the geometry as drawn: its render arrays (merged positions) become
  // one vertex array shared by a group of triangles, a group of curve segments and a group of
  // isolated points (each only when present, in that order), with no data yet; the bounds
  // are those of the positions, the object ID the geometry's, its label the property
  // "label". Raises the geometry's own error when it has no render arrays.
  void fill(RenderDrawGeom& geometry);

  // The line through `a` and `b` (three coordinates each, unbounded both ways) against every
  // triangle of every triangle group: per hit, appends the line parameter t (a + t (b - a) is the
  // hit), the value of kind DT_VALUE (else DT_FALLBACK_VALUE) interpolated at the hit, or NaN
  // when neither is present, and the triangle's unit normal, (0, 0, 1) in a planar group (two
  // coordinate arrays, z taken as 0). The outputs are cleared first, `normals` to three arrays
  // (x, y, z). Hits come in group and triangle order; the barycentric tolerance of 1e-5 widens
  // every triangle, so a line through an edge shared by two triangles is reported for both.
  void findLineTriangleIntersections(const Array<double, 1>& a, const Array<double, 1>& b,
                                     std::vector<double>& params, std::vector<double>& values,
                                     std::vector<std::vector<double>>& normals) const;
  // Where the line through `a` and `b` enters the spheres centred on the vertices, of radius
  // `radiusScale` times the vertex's value of kind DT_SPHERE_SIZE: per hit sphere, the entry
  // parameter (negative when `a` lies inside), the vertex's DT_VALUE value and the centre. A line
  // touching a sphere hits it. Nothing unless both kinds are present and a differs from b.
  void findLineSphereIntersections(const Array<double, 1>& a, const Array<double, 1>& b,
                                   double radiusScale, std::vector<double>& params,
                                   std::vector<double>& values, std::vector<double>& xs,
                                   std::vector<double>& ys, std::vector<double>& zs) const;

  // Cuts every triangle group by the plane through `point` with normal `normal` and appends, per
  // triangle group, one group to `result`: vertices (x, y, z arrays), line elements (two corner
  // arrays, every segment with its own two points) and data (one array per data array of this
  // group, interpolated at the segment ends; NaN where an array has no value per vertex), through
  // addVertices, addElementIndices and addData only. The data keep this plot's positions, so
  // `result` reads them through this plot's info. A triangle is cut where one vertex lies alone on
  // one side of the plane, or one lies on it with the other two on opposite sides; triangles that
  // only touch the plane, or lie in it, give no segment. The plane tolerance is 1e-7 times the
  // group's largest coordinate extent (1e-7 for a group without extent).
  void findPlaneIntersections(const Array<double, 1>& point, const Array<double, 1>& normal,
                              PostDataObject& result) const;
  // Where the plot's data take the values `isoValues` along the line through `a` and `b`: the
  // data are linear along the line inside each element that fills space, the triangles of a
  // planar group (the line's x and y are used) and the tetrahedra (four corners) of a 3D group;
  // triangles of a 3D group are surfaces the line only pierces, and are skipped. Per crossing,
  // appends the line parameter t and the iso value crossed, sorted by t (crossings at equal t in
  // group, element and iso-value order). The data are those of the triangle probe (DT_VALUE, else
  // DT_FALLBACK_VALUE); without them there are none. With the same 1e-5 tolerance as the triangle
  // probe, a crossing on a face shared by two elements is reported for both. Outputs are cleared.
  void findLineIsosurfaceIntersections(const Array<double, 1>& a, const Array<double, 1>& b,
                                       const Array<double, 1>& isoValues,
                                       std::vector<double>& params,
                                       std::vector<double>& values) const;

  // Stream form: version 1 writes the property pairs, version 0 (also read) has none.
  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

  // Block form: the header and every array's shape as ints, then one block per non-empty
  // innermost array, in the order vertices, bounds, element indices, data, data max, data min,
  // normals, normal indices, boundary indices, vertex deformation, vertex elements, properties.
  // A block's byte length is an int: an array of more bytes raises "Block_too_large".
  void createParameters(std::vector<int>& p) const override;
  void createBlocks(InPlaceSerDataHolder& h) override;
  // Sizes the object from `p` (arrays zeroed, the bounds resized in place). A vector shorter than
  // the header raises "End_of_file_reached", another version "Incompatible_native_file_version";
  // a shape that runs past the end of `p` raises "End_of_file_reached", a negative size or an
  // array too large for one block "Invalid_block_parameter". The object is unchanged on a raise.
  void initFromParameters(const std::vector<int>& p) override;

 private:
  // Deep copy; private so that copies are made by clone() and assignment shares.
  PostDataObject(const PostDataObject& other);

  // a + t (b - a) = p0 + u (p1 - p0) + v (p2 - p0), solved by Cramer's rule; on a hit (inside the
  // triangle widened by 1e-5) stores (u, v, t) in `result`.
  static bool findLineTriangleIntersection(const Array<double, 1>& a, const Array<double, 1>& b,
                                           const nkvec::DVec3& p0, const nkvec::DVec3& p1,
                                           const nkvec::DVec3& p2, nkvec::DVec3& result);

  // Calls visit(member pointer, count label, group label) for each group array (and the
  // bounds) in the one order that every form and every whole-object operation follows.
  template <typename Visit>
  static void forEachGroupArray(Visit&& visit);

  // The data array at `position` of group `g`, or null when the object holds none there.
  const DoubleArray* dataArray(int g, int position) const;
  // The position that the probes read: DT_VALUE, else DT_FALLBACK_VALUE, else -1.
  int probedDataPosition() const;

  Type type_;
  PostDataInfo info_;
  int objectID_;
  nkbase::PropertyList properties_;
  std::vector<DoubleArraysPtr> vertices_;
  DoubleArraysPtr bounds_;
  std::vector<IntArraysPtr> elementIndices_;
  std::vector<DoubleArraysPtr> data_;
  std::vector<DoubleArrayPtr> dataMax_;
  std::vector<DoubleArrayPtr> dataMin_;
  std::vector<FloatArraysPtr> normals_;
  std::vector<IntArrayPtr> normalIndices_;
  std::vector<IntArraysPtr> boundaryIndices_;
  std::vector<DoubleArraysPtr> verticesDeform_;
  std::vector<IntArrayPtr> vertexElems_;
};

}  // namespace nkdatacarrier
