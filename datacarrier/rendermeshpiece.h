// The storage that the five mesh pieces share: vertices of 1, 2 or 3 floats, and for the pieces
// with faces their triangles and quads as flat int arrays of vertex indices. The producer calls
// reserve, appends, then setValid(true); the graphics side draws from the arrays. The concrete
// pieces (RenderMeshEdge3D, RenderMeshBoundary3D, RenderMeshSubdomain1D, RenderMeshSubdomain2D,
// RenderMeshBoundary2D) add their class identity and serialized form.
#pragma once

#include <cstddef>
#include <type_traits>
#include <vector>

#include "datacarrier/datacarrierexport.h"
#include "datacarrier/rendermesh.h"

namespace nkdatacarrier {

// A mesh vertex: its N coordinates in order, nothing else (the arrays are handed on as floats).
template <int N>
struct RenderMeshVertex;
template <>
struct RenderMeshVertex<1> {
  float x = 0.0f;
};
template <>
struct RenderMeshVertex<2> {
  float x = 0.0f, y = 0.0f;
};
template <>
struct RenderMeshVertex<3> {
  float x = 0.0f, y = 0.0f, z = 0.0f;
};

// A piece made of vertices only (an edge, a 1D subdomain, a 2D boundary: the vertex order is the
// polyline).
template <int N>
class QVDATACARRIER_EXPORT RenderMeshVertices : public RenderMesh {
 public:
  using Vertex = RenderMeshVertex<N>;

  // Number of vertices; unchecked access to vertex i; the first vertex, or null when there are
  // none.
  int getNumberOfVertices() const { return static_cast<int>(vertices_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  Vertex& getVertex(int i) { return vertices_[i]; }
  const Vertex* getVertexArray() const { return vertices_.empty() ? nullptr : vertices_.data(); }

  // Appends one vertex of the piece's N coordinates. Appending leaves the valid flag alone.
  template <int M = N, std::enable_if_t<M == 1, int> = 0>
  void appendVertex(float x) {
    vertices_.push_back(Vertex{x});
  }
  template <int M = N, std::enable_if_t<M == 2, int> = 0>
  void appendVertex(float x, float y) {
    vertices_.push_back(Vertex{x, y});
  }
  template <int M = N, std::enable_if_t<M == 3, int> = 0>
  void appendVertex(float x, float y, float z) {
    vertices_.push_back(Vertex{x, y, z});
  }

  // Empties the piece, reserves room for nVertices vertices and clears the valid flag.
  void reserve(int nVertices) {
    vertices_.clear();
    vertices_.reserve(nonNegative(nVertices));
    setValid(false);
  }

 protected:
  RenderMeshVertices() = default;
  RenderMeshVertices(Type type, int domainGeomIdentity) : RenderMesh(type, domainGeomIdentity) {}

  static std::size_t nonNegative(int n) { return n > 0 ? static_cast<std::size_t>(n) : 0; }

  // The vertex part of the stream: the count "number of vertices", then under the heading
  // "Vertex coordinates" each vertex's floats followed by an empty label.
  void writeMesh(OSerialStream& os) const;
  // Reads the vertices written after the count (which the caller has read and checked).
  void readMesh(ISerialStream& is, int nVertices);

  std::vector<Vertex> vertices_;
};

// A piece with faces (a 3D boundary face, a 2D subdomain): vertices, triangles of 3 and quads of
// 4 vertex indices, in the order appended.
template <int N>
class QVDATACARRIER_EXPORT RenderMeshFaces : public RenderMeshVertices<N> {
 public:
  // Empties the piece, reserves room for the vertices, 3 ints per triangle and 4 per quad, and
  // clears the valid flag.
  void reserve(int nVertices, int nTriangles, int nQuads) {
    RenderMeshVertices<N>::reserve(nVertices);
    triangles_.clear();
    triangles_.reserve(3 * this->nonNegative(nTriangles));
    quads_.clear();
    quads_.reserve(4 * this->nonNegative(nQuads));
  }
  // Append the indices in the order given.
  void appendTriangle(int a, int b, int c) { triangles_.insert(triangles_.end(), {a, b, c}); }
  void appendQuad(int a, int b, int c, int d) { quads_.insert(quads_.end(), {a, b, c, d}); }

  int getNumberOfTriangles() const { return static_cast<int>(triangles_.size() / 3); }
  int getNumberOfQuads() const { return static_cast<int>(quads_.size() / 4); }
  // 3 (4) indices per triangle (quad), or null when there are none.
  const int* getTriangleArray() const { return triangles_.empty() ? nullptr : triangles_.data(); }
  const int* getQuadArray() const { return quads_.empty() ? nullptr : quads_.data(); }

 protected:
  RenderMeshFaces() = default;
  RenderMeshFaces(RenderMesh::Type type, int domainGeomIdentity)
      : RenderMeshVertices<N>(type, domainGeomIdentity) {}

  // The mesh part of the stream: the counts "number of vertices", "number of triangles",
  // "number of quads"; the vertices under "Vertex coordinates", the triangles under "Triangles"
  // and the quads under "Quads", each element followed by an empty label.
  void writeMesh(OSerialStream& os) const;
  // Reads the arrays written after the three counts (which the caller has read and checked).
  void readMesh(ISerialStream& is, int nVertices, int nTriangles, int nQuads);

  std::vector<int> triangles_;
  std::vector<int> quads_;
};

}  // namespace nkdatacarrier
