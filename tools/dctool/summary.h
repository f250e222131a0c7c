// Summaries of carriers for `dctool info`, found from the accessors a class has: counts from
// its getNumberOf... (or getNum...) members, the degrees of NURBS edges, the bounding box from
// getBoundingBox, the validity flag, the data-carrier type. A new class is summarised without code
// of its own.
#pragma once

#include <type_traits>
#include <vector>

#include "datacarrier/boundingbox1d.h"
#include "datacarrier/boundingbox2d.h"
#include "datacarrier/boundingbox3d.h"
#include "datacarrier/curve3d.h"
#include "datacarrier/idatacarrier.h"
#include "datacarrier/rendermeshcollection.h"
#include "datacarrier/rendermeshpiece.h"
#include "datacarrier/sheet3d.h"
#include "registry.h"

namespace dctool {

namespace detail {

template <typename T, typename = void>
struct HasBoxMember : std::false_type {};
template <typename T>
struct HasBoxMember<T, std::void_t<decltype(std::declval<const T&>().getBoundingBox())>>
    : std::true_type {};

template <typename T, typename = void>
struct HasBoxIntoVector : std::false_type {};
template <typename T>
struct HasBoxIntoVector<T, std::void_t<decltype(std::declval<const T&>().getBoundingBox(
                               std::declval<std::vector<float>&>()))>> : std::true_type {};

// A sketch of NURBS edges: getNumEdg() and getEdge(i).getDegree().
template <typename T, typename = void>
struct HasEdgeDegrees : std::false_type {};
template <typename T>
struct HasEdgeDegrees<T, std::void_t<decltype(std::declval<const T&>().getEdge(0).getDegree()),
                                     decltype(std::declval<const T&>().getNumEdg())>>
    : std::true_type {};

template <typename T, typename = void>
struct HasIsValid : std::false_type {};
template <typename T>
struct HasIsValid<T, std::void_t<decltype(std::declval<const T&>().isValid())>> : std::true_type {};

// Declares a detector and a reader for one count accessor.
#define DCTOOL_COUNT(Method, name)                                                     \
  template <typename T, typename = void>                                               \
  struct Has##Method : std::false_type {};                                             \
  template <typename T>                                                                \
  struct Has##Method<T, std::void_t<decltype(std::declval<const T&>().Method())>>      \
      : std::true_type {};                                                             \
  template <typename T>                                                                \
  void count##Method(const T& object, Summary& s) {                                    \
    if constexpr (Has##Method<T>::value) s.counts.emplace_back(name, object.Method()); \
  }

// A geometry with solids that measures them (getVolume and getBndArea of dimension 3).
template <typename T, typename = void>
struct HasSolidMeasures : std::false_type {};
template <typename T>
struct HasSolidMeasures<T, std::void_t<decltype(std::declval<const T&>().getNumberOfSolids()),
                                       decltype(std::declval<const T&>().getBndArea(
                                           3, std::declval<const std::vector<int>&>()))>>
    : std::true_type {};

DCTOOL_COUNT(getNumberOfPoints, "points")
DCTOOL_COUNT(getNumberOfCurves, "curves")
DCTOOL_COUNT(getNumberOfFaces, "faces")
DCTOOL_COUNT(getNumberOfSheets, "sheets")
DCTOOL_COUNT(getNumberOfSolids, "solids")
DCTOOL_COUNT(getNumberOfEdges, "edges")
DCTOOL_COUNT(getNumberOfVertices, "vertices")
DCTOOL_COUNT(getNumberOfTriangles, "triangles")
DCTOOL_COUNT(getNumberOfQuads, "quads")
DCTOOL_COUNT(getNumberOfBndPaths, "boundary paths")
DCTOOL_COUNT(getNumberOfIntPaths, "interior paths")
DCTOOL_COUNT(getNumGeomPoint, "geometry points")
DCTOOL_COUNT(getNumGeomEdge, "geometry edges")
DCTOOL_COUNT(getNumGeomFace, "geometry faces")
DCTOOL_COUNT(getNumGeomDomain, "geometry domains")
DCTOOL_COUNT(getNumberOfLines, "lines")
DCTOOL_COUNT(getNumberOfFromIndices, "sources")
DCTOOL_COUNT(getTotalNumberOfAdjacents, "adjacents")
DCTOOL_COUNT(getGroups, "groups")
DCTOOL_COUNT(getNumVtx, "vertices")
DCTOOL_COUNT(getNumEdg, "edges")

#undef DCTOOL_COUNT

}  // namespace detail

template <typename T>
void summarise(const T& object, Summary& s) {
  s.classID = object.getClassID();
  if (const auto* carrier = dynamic_cast<const nkdatacarrier::IDataCarrier*>(&object)) {
    s.dataCarrierType = carrier->getDataCarrierType();
  }
  detail::countgetNumberOfPoints(object, s);
  detail::countgetNumberOfCurves(object, s);
  detail::countgetNumberOfFaces(object, s);
  detail::countgetNumberOfSheets(object, s);
  detail::countgetNumberOfSolids(object, s);
  detail::countgetNumberOfEdges(object, s);
  detail::countgetNumberOfVertices(object, s);
  detail::countgetNumberOfTriangles(object, s);
  detail::countgetNumberOfQuads(object, s);
  detail::countgetNumberOfBndPaths(object, s);
  detail::countgetNumberOfIntPaths(object, s);
  detail::countgetNumberOfLines(object, s);
  detail::countgetNumberOfFromIndices(object, s);
  detail::countgetTotalNumberOfAdjacents(object, s);
  detail::countgetGroups(object, s);
  detail::countgetNumVtx(object, s);
  detail::countgetNumEdg(object, s);
  if constexpr (detail::HasEdgeDegrees<T>::value) {
    for (int i = 0; i < object.getNumEdg(); ++i)
      s.degrees.push_back(object.getEdge(i).getDegree());
  }
  detail::countgetNumGeomPoint(object, s);
  detail::countgetNumGeomEdge(object, s);
  detail::countgetNumGeomFace(object, s);
  detail::countgetNumGeomDomain(object, s);
  if constexpr (detail::HasBoxIntoVector<T>::value) {
    object.getBoundingBox(s.boundingBox);
  } else if constexpr (detail::HasBoxMember<T>::value) {
    s.boundingBox = object.getBoundingBox().bounds();
  }
  if constexpr (detail::HasIsValid<T>::value) s.valid = object.isValid() ? 1 : 0;
  if constexpr (detail::HasSolidMeasures<T>::value) {
    std::vector<double> volumes, areas;
    for (int i = 0; i < object.getNumberOfSolids(); ++i) {
      volumes.push_back(object.getVolume(3, {i}));
      areas.push_back(object.getBndArea(3, {i}));
    }
    if (!volumes.empty()) {
      s.measures.emplace_back("solid volumes", volumes);
      s.measures.emplace_back("solid boundary areas", areas);
    }
  }
}

// A mesh collection: its pieces by kind, then the vertices, triangles and quads of all of them.
inline void summarise(const nkdatacarrier::RenderMeshCollection& collection, Summary& s) {
  using nkdatacarrier::RenderMesh;
  s.classID = collection.getClassID();
  s.dataCarrierType = collection.getDataCarrierType();
  static const char* const kKinds[] = {"edge pieces", "3D boundary pieces", "1D subdomain pieces",
                                       "2D subdomain pieces", "2D boundary pieces"};
  long long byKind[5] = {};
  long long other = 0, vertices = 0, triangles = 0, quads = 0;
  for (int i = 0; i < collection.getNumberOfRenderMeshs(); ++i) {
    const RenderMesh* piece = collection.getRenderMesh(i).get();
    const int type = piece->getType();
    if (type >= 0 && type < 5) {
      ++byKind[type];
    } else {
      ++other;
    }
    // The pieces' arrays by vertex size; faces only where the piece has them.
    if (const auto* p = dynamic_cast<const nkdatacarrier::RenderMeshVertices<1>*>(piece)) {
      vertices += p->getNumberOfVertices();
    } else if (const auto* f2 = dynamic_cast<const nkdatacarrier::RenderMeshFaces<2>*>(piece)) {
      vertices += f2->getNumberOfVertices();
      triangles += f2->getNumberOfTriangles();
      quads += f2->getNumberOfQuads();
    } else if (const auto* f3 = dynamic_cast<const nkdatacarrier::RenderMeshFaces<3>*>(piece)) {
      vertices += f3->getNumberOfVertices();
      triangles += f3->getNumberOfTriangles();
      quads += f3->getNumberOfQuads();
    } else if (const auto* v2 = dynamic_cast<const nkdatacarrier::RenderMeshVertices<2>*>(piece)) {
      vertices += v2->getNumberOfVertices();
    } else if (const auto* v3 = dynamic_cast<const nkdatacarrier::RenderMeshVertices<3>*>(piece)) {
      vertices += v3->getNumberOfVertices();
    }
  }
  s.counts.emplace_back("pieces", collection.getNumberOfRenderMeshs());
  for (int k = 0; k < 5; ++k) {
    if (byKind[k] > 0) s.counts.emplace_back(kKinds[k], byKind[k]);
  }
  if (other > 0) s.counts.emplace_back("pieces of unknown kind", other);
  s.counts.emplace_back("vertices", vertices);
  s.counts.emplace_back("triangles", triangles);
  s.counts.emplace_back("quads", quads);
}

// The 3D curve adds its length, the sheet its area (0 unless its mesh is complete) to what every
// class shows.
inline void summarise(const nkdatacarrier::Curve3D& curve, Summary& s) {
  summarise<nkdatacarrier::Curve3D>(curve, s);
  s.measures.push_back({"length", {curve.getLength()}});
}
inline void summarise(const nkdatacarrier::Sheet3D& sheet, Summary& s) {
  summarise<nkdatacarrier::Sheet3D>(sheet, s);
  s.measures.push_back({"area", {sheet.getArea()}});
}

}  // namespace dctool
