// The serialized arrays of the mesh pieces, written and read the same way by all five: every
// vertex and every triangle or quad is followed by an empty label. Internal to the library: the
// pieces' sources include it, and it defines the protected members that rendermeshpiece.h
// declares.
#pragma once

#include <cstring>
#include <string>

#include "datacarrier/internal/serialio.h"
#include "datacarrier/rendermeshpiece.h"

namespace nkdatacarrier {

namespace meshio {

// One string for the empty label of every element, so that the loops construct none.
inline const std::string kEmptyLabel;

template <typename Vertex>
void writeVertices(OSerialStream& os, const std::vector<Vertex>& vertices) {
  constexpr int kFloats = sizeof(Vertex) / sizeof(float);
  os.label("Vertex coordinates");
  for (const Vertex& v : vertices) {
    float c[kFloats];
    std::memcpy(c, &v, sizeof c);
    for (float x : c)
      os << x;
    os.label(kEmptyLabel);
  }
}

// Reads count elements of `width` scalars each into values. A stream that knows its length
// has vouched for the count already (DC_READ_COUNT), so the array is sized once and filled in
// place; from one that does not, the values are appended as they arrive, so that a corrupt count
// takes no memory of its own.
template <typename T>
void readScalars(ISerialStream& is, std::vector<T>& values, int count, std::size_t width) {
  const std::size_t n = count > 0 ? static_cast<std::size_t>(count) * width : 0;
  values.clear();
  if (is.available() != SIZE_MAX) {
    values.resize(n);
    T* out = values.data();
    for (std::size_t i = 0; i < n; ++i)
      is >> out[i];
    return;
  }
  values.reserve(serialio::initialCapacity(is, count) * width);
  for (std::size_t i = 0; i < n; ++i) {
    T x;
    is >> x;
    values.push_back(x);
  }
}

template <typename Vertex>
void readVertices(ISerialStream& is, std::vector<Vertex>& vertices, int count) {
  constexpr std::size_t kFloats = sizeof(Vertex) / sizeof(float);
  vertices.clear();
  vertices.reserve(serialio::initialCapacity(is, count));
  if (is.available() != SIZE_MAX && count > 0) vertices.resize(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    float c[kFloats];
    for (float& x : c)
      is >> x;
    if (static_cast<std::size_t>(i) == vertices.size()) vertices.emplace_back();
    std::memcpy(&vertices[i], c, sizeof c);
  }
}

// Cells of K vertex indices each (K = 3 triangles, 4 quads) under their heading.
template <int K>
void writeCells(OSerialStream& os, const char* heading, const std::vector<int>& cells) {
  os.label(heading);
  const std::size_t n = cells.size() / K;
  for (std::size_t i = 0; i < n; ++i) {
    for (int k = 0; k < K; ++k)
      os << cells[K * i + k];
    os.label(kEmptyLabel);
  }
}

template <int K>
void readCells(ISerialStream& is, std::vector<int>& cells, int count) {
  readScalars(is, cells, count, K);
}

}  // namespace meshio

template <int N>
void RenderMeshVertices<N>::writeMesh(OSerialStream& os) const {
  os << getNumberOfVertices();
  os.label("number of vertices");
  meshio::writeVertices(os, vertices_);
}

template <int N>
void RenderMeshVertices<N>::readMesh(ISerialStream& is, int nVertices) {
  meshio::readVertices(is, vertices_, nVertices);
}

template <int N>
void RenderMeshFaces<N>::writeMesh(OSerialStream& os) const {
  os << this->getNumberOfVertices();
  os.label("number of vertices");
  os << getNumberOfTriangles();
  os.label("number of triangles");
  os << getNumberOfQuads();
  os.label("number of quads");
  meshio::writeVertices(os, this->vertices_);
  meshio::writeCells<3>(os, "Triangles", triangles_);
  meshio::writeCells<4>(os, "Quads", quads_);
}

template <int N>
void RenderMeshFaces<N>::readMesh(ISerialStream& is, int nVertices, int nTriangles, int nQuads) {
  meshio::readVertices(is, this->vertices_, nVertices);
  meshio::readCells<3>(is, triangles_, nTriangles);
  meshio::readCells<4>(is, quads_, nQuads);
}

}  // namespace nkdatacarrier
