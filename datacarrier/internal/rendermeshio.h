// The serialized arrays of the mesh pieces, written and read the same way by all five: every
// vertex and every triangle or quad is followed by an empty label. Internal to the library: the
// pieces' sources include it, and it defines the protected members that rendermeshpiece.h
// declares.
#pragma once

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "datacarrier/internal/serialio.h"
#include "datacarrier/rendermeshpiece.h"
#include "qvutil/binarystream.h"

namespace nkdatacarrier {

namespace meshio {

// One string for the empty label of every element, so that the loops construct none.
inline const std::string kEmptyLabel;

// Whether the element loops must hand their empty labels to the stream. The binary stream's
// format has no labels (its label operation writes nothing), so for exactly that class the
// per-element call, a third of the cost of writing a large mesh, is skipped; every other stream,
// a subclass of the binary one included, receives every label.
inline bool takesElementLabels(const OSerialStream& os) {
  return typeid(os) != typeid(BinaryOSerialStream);
}

template <typename Vertex>
void writeVertices(OSerialStream& os, const std::vector<Vertex>& vertices) {
  constexpr int kFloats = sizeof(Vertex) / sizeof(float);
  os.label("Vertex coordinates");
  const bool labels = takesElementLabels(os);
  for (const Vertex& v : vertices) {
    float c[kFloats];
    std::memcpy(c, &v, sizeof c);
    for (float x : c)
      os << x;
    if (labels) os.label(kEmptyLabel);
  }
}

// Readers take the values in chunks: a tight loop of scalar reads into a local buffer, then one
// append of the chunk. The arrays grow as the values arrive, so that a count that the stream
// cannot vouch for (one of unknown length) takes no memory of its own.
constexpr int kChunkValues = 768;

// Appends count records of `width` values of type T (a vertex's floats, a cell's indices) to out,
// whose elements are plain values holding one or more of them (a vertex struct, an int).
template <typename T, typename Element>
void appendChunked(ISerialStream& is, std::vector<Element>& out, int count, int width) {
  static_assert(std::is_trivially_copyable<Element>::value, "elements are plain values");
  const int perChunk = kChunkValues / width;
  const int valuesPerElement = static_cast<int>(sizeof(Element) / sizeof(T));
  T buffer[kChunkValues];
  for (int done = 0; done < count;) {
    const int elements = std::min(perChunk, count - done);
    const int values = elements * width;
    for (int i = 0; i < values; ++i)
      is >> buffer[i];
    const std::size_t first = out.size();
    out.resize(first + static_cast<std::size_t>(values / valuesPerElement));
    std::memcpy(out.data() + first, buffer, static_cast<std::size_t>(values) * sizeof(T));
    done += elements;
  }
}

template <typename Vertex>
void readVertices(ISerialStream& is, std::vector<Vertex>& vertices, int count) {
  constexpr int kFloats = sizeof(Vertex) / sizeof(float);
  vertices.clear();
  vertices.reserve(serialio::initialCapacity(is, count));
  appendChunked<float>(is, vertices, count, kFloats);
}

// Cells of K vertex indices each (K = 3 triangles, 4 quads) under their heading.
template <int K>
void writeCells(OSerialStream& os, const char* heading, const std::vector<int>& cells) {
  os.label(heading);
  const bool labels = takesElementLabels(os);
  const std::size_t n = cells.size() / K;
  for (std::size_t i = 0; i < n; ++i) {
    for (int k = 0; k < K; ++k)
      os << cells[K * i + k];
    if (labels) os.label(kEmptyLabel);
  }
}

template <int K>
void readCells(ISerialStream& is, std::vector<int>& cells, int count) {
  cells.clear();
  cells.reserve(K * serialio::initialCapacity(is, count));
  appendChunked<int>(is, cells, count, K);
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
