// The checks that every fuzz input goes through, shared by the libFuzzer targets (fuzz/), the
// replay of the committed corpora and the truncation test (tests/). An input is one byte that
// chooses the stream form, then the stream. Reading it may fail only with the library's
// exception or a standard length or allocation error; whatever was read, complete or not, is
// then copied, written in both forms, exported and queried; a complete read must also write
// back byte for byte the same in both forms (and, for plot data, through block transfer).
// A check that fails throws CheckFailure; the caller decides whether that aborts or reports.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <sstream>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "datacarrier/adjacent.h"
#include "datacarrier/boundingbox1d.h"
#include "datacarrier/boundingbox2d.h"
#include "datacarrier/boundingbox3d.h"
#include "datacarrier/cgsymboldata.h"
#include "datacarrier/closedpath2d.h"
#include "datacarrier/curve1d.h"
#include "datacarrier/curve2d.h"
#include "datacarrier/curve3d.h"
#include "datacarrier/face2d.h"
#include "datacarrier/impression.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdrawedit2d.h"
#include "datacarrier/renderdrawgeom.h"
#include "datacarrier/renderdrawgeom1d.h"
#include "datacarrier/renderdrawgeom2d.h"
#include "datacarrier/renderdrawgeom3d.h"
#include "datacarrier/renderdrawgeom3dindex.h"
#include "datacarrier/renderdrawproj2d.h"
#include "datacarrier/rendergeom1d.h"
#include "datacarrier/rendergeom2d.h"
#include "datacarrier/rendergeom3d.h"
#include "datacarrier/rendermeshcollection.h"
#include "datacarrier/rendermeshpiece.h"
#include "datacarrier/rendermeshsubdomain2d.h"
#include "datacarrier/sheet3d.h"
#include "qvutil/array.h"
#include "qvutil/binarystream.h"
#include "qvutil/exception.h"
#include "qvutil/inplaceserializable.h"
#include "qvutil/prop.h"
#include "qvutil/textstream.h"

namespace qvfuzz {

// The largest single allocation any input of at most kMaxInputBytes may cause. A reader that
// sizes an array by a corrupt count goes past it; a stream that cannot tell its length lets a
// reader reserve 65,536 elements of a few hundred bytes at most.
constexpr std::size_t kMaxInputBytes = 64 * 1024;
constexpr std::size_t kAllocationBoundMiB = 64;

// Not derived from std::exception, so that no handler for the library's errors swallows it.
struct CheckFailure {
  std::string what;
};

[[noreturn]] inline void fail(const std::string& what) {
  throw CheckFailure{what};
}

// The first byte of an input: bit 0 chooses the text form (else binary), bit 1 reading with
// deserializeRaw (no class identifier in front) instead of deserialize.
struct Form {
  bool text = false;
  bool raw = false;
};
inline Form formOf(std::uint8_t selector) {
  return {(selector & 1) != 0, (selector & 2) != 0};
}
inline std::uint8_t selectorOf(Form form) {
  return static_cast<std::uint8_t>((form.text ? 1 : 0) | (form.raw ? 2 : 0));
}

// Runs f; the library's exception and the standard length and allocation errors are expected
// outcomes (reported as false), anything else is a failure of `what`.
template <typename F>
bool runGuarded(const char* what, F&& f) {
  try {
    f();
    return true;
  } catch (const nkbase::Exception&) {
  } catch (const std::length_error&) {
  } catch (const std::bad_alloc&) {
  } catch (const CheckFailure&) {
    throw;
  } catch (const std::exception& e) {
    fail(std::string(what) + " raised " + typeid(e).name() + ": " + e.what());
  } catch (...) {
    fail(std::string(what) + " raised something that is not an exception class");
  }
  return false;
}

// The object written through serialize in one form.
inline std::string writeForm(const nkbase::Serializable& object, bool text) {
  nkbase::Prop prop;
  if (text) {
    std::ostringstream out;
    TextOSerialStream os(out);
    object.serialize(os, prop);
    return out.str();
  }
  BinaryOSerialStream os;
  object.serialize(os, prop);
  return std::string(os.getBuffer().begin(), os.getBuffer().end());
}

// Reads `size` bytes into object in `form`. Returns whether the read completed; a binary read
// that completes must also have consumed every byte when `whole` is set.
template <typename T>
bool readForm(T& object, const char* data, std::size_t size, Form form, bool whole = false) {
  return runGuarded("reading", [&] {
    if (form.text) {
      std::istringstream in(std::string(data, size));
      TextISerialStream is(in);
      form.raw ? object.deserializeRaw(is) : object.deserialize(is);
    } else {
      BinaryISerialStream is(data, size);
      form.raw ? object.deserializeRaw(is) : object.deserialize(is);
      if (whole && is.position() != size)
        fail("reading its own binary write left " + std::to_string(size - is.position()) +
             " bytes unread");
    }
  });
}

// ---- Queries, per family. Each runs what the data lets a caller run: every index it passes
// is one the object itself counts.

inline std::vector<int> allIndices(int n) {
  std::vector<int> v(static_cast<std::size_t>(std::max(n, 0)));
  for (int i = 0; i < n; ++i)
    v[static_cast<std::size_t>(i)] = i;
  return v;
}

// Query shapes around a (min, max)-per-axis box: its centre, the radius of its corner ball, the
// box itself grown by a quarter, and a line and a plane through the centre.
struct Shapes {
  std::vector<double> centre, box;
  double radius = 1.0;
  explicit Shapes(const std::vector<float>& bounds, std::size_t axes) {
    for (std::size_t a = 0; a < axes; ++a) {
      double lo = 2 * a < bounds.size() ? bounds[2 * a] : 0.0;
      double hi = 2 * a + 1 < bounds.size() ? bounds[2 * a + 1] : 1.0;
      if (!std::isfinite(lo) || !std::isfinite(hi)) lo = 0.0, hi = 1.0;
      const double grow = 0.25 * (hi - lo);
      centre.push_back(0.5 * (lo + hi));
      box.push_back(lo + grow);
      box.push_back(hi + grow);
      radius = std::max(radius, std::abs(hi - lo));
    }
  }
};

inline void exercise(const nkbase::Serializable&) {}  // a class with no queries of its own

inline void exercise(const nkdatacarrier::BoundingBox1D& b) {
  b.intersects(b);
}

inline void exercise(const nkdatacarrier::BoundingBox2D& b) {
  b.intersects(b);
  b.pointInside(0.5 * b.getMinX(), 0.5 * b.getMaxY());
}

inline void exercise(const nkdatacarrier::BoundingBox3D& b) {
  b.intersects(b);
}

inline void exercise(const nkdatacarrier::Adjacent& a) {
  const int total = a.getTotalNumberOfAdjacents();
  volatile long long sum = 0;
  if (const int* all = a.getTotalAdjacents())
    for (int i = 0; i < total; ++i)
      sum = sum + all[i];
  for (int s = 0; s < a.getNumberOfFromIndices(); ++s) {
    const int n = a.getNumberOfAdjacents(s);
    const int start = a.getStartIndexInTotalArray(s);
    const int* run = a.getAdjacents(s);
    const int* orientations = a.getAdjacentOrientations(s);
    // A run read from a stream is not checked against the array: only one that lies inside it
    // is the data's promise.
    if (run && orientations && n > 0 && start >= 0 && n <= total - start)
      for (int i = 0; i < n; ++i)
        sum = sum + run[i] + orientations[i];
  }
  nkdatacarrier::Adjacent copy;
  a.duplicate(copy);
}

inline void exercise(const nkdatacarrier::Curve1D& c) {
  c.getLength();
  const auto& b = c.getBoundingBox();
  c.intersectsBox({double(b.getMinX()), double(b.getMaxX())});
}

inline void exercise(const nkdatacarrier::Curve2D& c) {
  const auto& b = c.getBoundingBox();
  const Shapes s({b.getMinX(), b.getMaxX(), b.getMinY(), b.getMaxY()}, 2);
  c.getLength();
  c.insideBall(s.centre, s.radius);
  c.intersectsBall(s.centre, 0.5 * s.radius);
  c.insideBox(s.box);
  c.intersectsBox(s.box);
}

inline void exercise(const nkdatacarrier::Face2D& f) {
  const auto& b = f.getBoundingBox();
  const Shapes s({b.getMinX(), b.getMaxX(), b.getMinY(), b.getMaxY()}, 2);
  f.getArea();
  f.pointInFace(s.centre[0], s.centre[1]);
  f.insideBall(s.centre, s.radius);
  f.intersectsBall(s.centre, 0.5 * s.radius);
  f.insideBox(s.box);
  f.intersectsBox(s.box);
}

inline void exercise(const nkdatacarrier::Curve3D& c) {
  const auto& b = c.getBoundingBox();
  const Shapes s({b.getMinX(), b.getMaxX(), b.getMinY(), b.getMaxY(), b.getMinZ(), b.getMaxZ()}, 3);
  c.getLength();
  c.insideBall(s.centre, s.radius);
  c.intersectsBall(s.centre, 0.5 * s.radius);
  c.insideBox(s.box);
  c.intersectsBox(s.box);
  c.insideCylinder(s.centre, {0.0, 0.0, 1.0}, s.radius, s.radius, -s.radius);
  c.intersectsCylinder(s.centre, {1.0, 1.0, 0.0}, 0.5 * s.radius, s.radius, -s.radius);
  nkdatacarrier::PostDataObject cut;
  runGuarded("Curve3D::findPlaneIntersections", [&] {
    c.findPlaneIntersections(Array<double, 1>{s.centre[0], s.centre[1], s.centre[2]},
                             Array<double, 1>{0.3, 0.4, 0.5}, cut);
  });
}

inline void exercise(const nkdatacarrier::Sheet3D& sheet) {
  const auto& b = sheet.getBoundingBox();
  const Shapes s({b.getMinX(), b.getMaxX(), b.getMinY(), b.getMaxY(), b.getMinZ(), b.getMaxZ()}, 3);
  sheet.getArea();
  std::vector<double> closest(3);
  double dist2 = std::numeric_limits<double>::infinity();
  sheet.findClosestPoint(s.centre, closest, dist2, -1.0);
  sheet.insideBall(s.centre, s.radius);
  sheet.intersectsBall(s.centre, 0.5 * s.radius);
  sheet.insideBox(s.box);
  sheet.intersectsBox(s.box);
  sheet.insideCylinder(s.centre, {0.0, 0.0, 1.0}, s.radius, s.radius, -s.radius);
  sheet.intersectsCylinder(s.centre, {1.0, 1.0, 0.0}, 0.5 * s.radius, s.radius, -s.radius);
  std::vector<std::pair<double, int>> hits;
  std::vector<double> normals;
  std::vector<double> from = s.centre, to = s.centre;
  from[2] -= s.radius;
  to[2] += s.radius;
  sheet.findLineIntersections(from, to, hits, normals);
  nkdatacarrier::PostDataObject cut;
  runGuarded("Sheet3D::findPlaneIntersections", [&] {
    sheet.findPlaneIntersections(Array<double, 1>{s.centre[0], s.centre[1], s.centre[2]},
                                 Array<double, 1>{0.3, 0.4, 0.5}, cut);
  });
  nkdatacarrier::Sheet3D copy;
  sheet.duplicate(copy);
}

inline void exercise(const nkdatacarrier::ClosedPath2D& p) {
  volatile float sum = 0.0f;
  for (int i = 0; i < p.getNumberOfVertices(); ++i)
    sum = sum + p.getVertex(i).x + p.getVertex(i).y;
}

inline void exercise(const nkdatacarrier::Impression& imp) {
  volatile float sum = 0.0f;
  for (const auto& v : imp.getVertices())
    sum = sum + v.x + v.y;
  imp.clone();
}

inline void exercise(const nkdatacarrier::CgSymbolData& d) {
  for (const char* key : {"", "kind", "node", "size", "direction"}) {
    d.got(key);
    d.getInt(key);
    d.getString(key);
    d.getDouble(key);
    d.getVectorDouble(key);
  }
}

inline void exercise(const nkdatacarrier::PostDataObject& plot) {
  using nkdatacarrier::PostDataInfo;
  using nkdatacarrier::PostDataObject;
  for (int t = PostDataInfo::DT_VALUE; t <= PostDataInfo::DT_KIND_21; ++t) {
    runGuarded("getDataMax", [&] { plot.getDataMax(PostDataInfo::DataType(t)); });
    runGuarded("getDataMin", [&] { plot.getDataMin(PostDataInfo::DataType(t)); });
  }
  plot.hasNormals();
  plot.getProperty("label");
  const Array<double, 1> a{-1.0, -0.5, -2.0}, b{2.0, 1.5, 3.0};
  std::vector<double> params, values, xs, ys, zs;
  std::vector<std::vector<double>> normals;
  runGuarded("findLineTriangleIntersections",
             [&] { plot.findLineTriangleIntersections(a, b, params, values, normals); });
  runGuarded("findLineSphereIntersections",
             [&] { plot.findLineSphereIntersections(a, b, 1.0, params, values, xs, ys, zs); });
  runGuarded("findLineIsosurfaceIntersections", [&] {
    plot.findLineIsosurfaceIntersections(a, b, Array<double, 1>{0.0, 0.5}, params, values);
  });
  PostDataObject cut;
  runGuarded("findPlaneIntersections", [&] {
    plot.findPlaneIntersections(Array<double, 1>{0.0, 0.0, 0.0}, Array<double, 1>{1.0, 0.5, 0.25},
                                cut);
  });
  // The changing operations run on deep copies.
  runGuarded("deform", [&] { plot.clone()->deform(); });
  runGuarded("scaleData", [&] { plot.clone()->scaleData(2.0, Array<int, 1>{0, 1, 0}); });
}

// Everything a draw geometry answers, for entity counts per dimension (points, curves, faces or
// sheets, solids).
inline void exerciseGeometry(const nkdatacarrier::RenderDrawGeom& g, std::array<int, 4> counts) {
  std::vector<float> bounds;
  runGuarded("getBoundingBox", [&] { g.getBoundingBox(bounds); });
  const Shapes s(bounds, std::max<std::size_t>(bounds.size() / 2, 1));
  const Shapes s3(bounds, 3);
  // Picking, cutting and the cylinder queries: only 3D geometries answer; the others raise the
  // same error whatever the arguments, so once is enough there.
  std::vector<std::vector<double>> hits;
  std::vector<double> from = s3.centre, to = s3.centre;
  from[2] -= s3.radius;
  to[2] += s3.radius;
  const bool picks =
      runGuarded("findLineIntersections", [&] { g.findLineIntersections(from, to, hits); });
  nkdatacarrier::PostDataObject cut;
  runGuarded("findPlaneIntersections", [&] {
    g.findPlaneIntersections(Array<double, 1>{s3.centre[0], s3.centre[1], s3.centre[2]},
                             Array<double, 1>{0.3, 0.4, 0.5}, cut);
  });
  // Every dimension a geometry may have, and one it never has.
  for (int dim : {0, 1, 2, 3, 4}) {
    const std::vector<int> all = allIndices(dim < 4 ? counts[dim] : 1);
    runGuarded("getVolume", [&] { g.getVolume(dim, all); });
    runGuarded("getBndArea", [&] { g.getBndArea(dim, all); });
    for (bool inside : {true, false}) {
      std::vector<int> found;
      runGuarded("findEntitiesInBall",
                 [&] { g.findEntitiesInBall(s.centre, s.radius, dim, inside, all, found); });
      runGuarded("isInBall", [&] { g.isInBall(s.centre, 0.5 * s.radius, dim, inside, all); });
      runGuarded("findEntitiesInBox", [&] { g.findEntitiesInBox(s.box, dim, inside, all, found); });
      runGuarded("isInBox", [&] { g.isInBox(s.box, dim, inside, all); });
      if (!picks) continue;
      runGuarded("findEntitiesInCylinder", [&] {
        g.findEntitiesInCylinder(s3.centre, {0.0, 0.0, 1.0}, s3.radius, s3.radius, -s3.radius, dim,
                                 inside, all, found);
      });
      runGuarded("isInCylinder", [&] {
        g.isInCylinder(s3.centre, {1.0, 0.0, 0.0}, s3.radius, s3.radius, -s3.radius, dim, inside,
                       all);
      });
    }
    std::vector<double> closest;
    if (picks) runGuarded("findClosestPoint", [&] { g.findClosestPoint(s3.centre, all, closest); });
  }
  runGuarded("numUniquePointsEstimate", [&] { g.numUniquePointsEstimate(); });
  runGuarded("render-array sizes", [&] {
    g.getMLRenderPointSize();
    g.getMLRenderVtxSize();
    g.getMLRenderEdgSize();
    g.getMLRenderTriSize();
  });
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  runGuarded("getMLRenderData", [&] { g.getMLRenderData(coords, elements); });
  // Plot data filled from the geometry as drawn, on a copy (filling takes a mutable geometry).
  runGuarded("PostDataObject::fill", [&] {
    nkdatacarrier::PostDataObject plot;
    plot.fill(*g.clone());
  });
}

inline void exercise(const nkdatacarrier::RenderDrawGeom1D& g) {
  exerciseGeometry(g, {g.getNumberOfPoints(), g.getNumberOfCurves(), 0, 0});
}

inline void exercise(const nkdatacarrier::RenderDrawGeom2D& g) {
  exerciseGeometry(g, {g.getNumberOfPoints(), g.getNumberOfCurves(), g.getNumberOfFaces(), 0});
}

// What a query gave, as bytes (doubles bit for bit), or "raised": for comparing two answers.
struct Outcome {
  std::string bytes;
  template <typename T>
  void add(const T& v) {
    bytes.append(reinterpret_cast<const char*>(&v), sizeof v);
  }
  template <typename T>
  void add(const std::vector<T>& v) {
    add(v.size());
    for (const T& x : v)
      add(x);
  }
};
template <typename F>
std::string outcomeOf(F&& f) {
  Outcome o;
  if (!runGuarded("query", [&] { f(o); })) return "raised";
  return o.bytes;
}

// The 3D geometry's queries, and the same queries through its picking index, which must answer
// bit for bit alike.
inline void exercise(const nkdatacarrier::RenderDrawGeom3D& g) {
  const std::array<int, 4> counts = {g.getNumberOfPoints(), g.getNumberOfCurves(),
                                     g.getNumberOfSheets(), g.getNumberOfSolids()};
  exerciseGeometry(g, counts);
  std::vector<float> bounds;
  g.getBoundingBox(bounds);
  const Shapes s(bounds, 3);
  for (int solid = 0; solid < counts[3]; ++solid)
    runGuarded("pointInSolid", [&] { g.pointInSolid(s.centre, solid); });
  std::unique_ptr<nkdatacarrier::RenderDrawGeom3DIndex> index;
  if (!runGuarded("RenderDrawGeom3DIndex",
                  [&] { index = std::make_unique<nkdatacarrier::RenderDrawGeom3DIndex>(g); }))
    return;
  const auto same = [](const char* what, const std::string& direct, const std::string& indexed) {
    if (direct != indexed) fail(std::string("the picking index answers ") + what + " otherwise");
  };
  std::vector<double> from = s.centre, to = s.centre;
  from[2] -= s.radius;
  to[0] += 0.1 * s.radius;
  to[2] += s.radius;
  const auto lineHits = [&](const auto& q) {
    return outcomeOf([&](Outcome& o) {
      std::vector<std::vector<double>> hits;
      q.findLineIntersections(from, to, hits);
      for (const auto& h : hits)
        o.add(h);
    });
  };
  same("findLineIntersections", lineHits(g), lineHits(*index));
  const std::vector<int> sheets = allIndices(counts[2]);
  const auto closest = [&](const auto& q) {
    return outcomeOf([&](Outcome& o) {
      std::vector<double> point;
      o.add(q.findClosestPoint(s.centre, sheets, point));
      o.add(point);
    });
  };
  same("findClosestPoint", closest(g), closest(*index));
  for (int solid = 0; solid < counts[3]; ++solid)
    same("pointInSolid", outcomeOf([&](Outcome& o) { o.add(g.pointInSolid(s.centre, solid)); }),
         outcomeOf([&](Outcome& o) { o.add(index->pointInSolid(s.centre, solid)); }));
  for (int dim = 0; dim <= 3; ++dim) {
    const std::vector<int> all = allIndices(counts[dim]);
    for (bool inside : {true, false}) {
      const auto select = [&](const auto& q) {
        return outcomeOf([&](Outcome& o) {
          std::vector<int> ball, box;
          q.findEntitiesInBall(s.centre, 0.5 * s.radius, dim, inside, all, ball);
          q.findEntitiesInBox(s.box, dim, inside, all, box);
          o.add(ball);
          o.add(box);
          o.add(q.isInBall(s.centre, 0.5 * s.radius, dim, inside, all));
          o.add(q.isInBox(s.box, dim, inside, all));
        });
      };
      same("a selection", select(g), select(*index));
    }
  }
}

inline void exercise(const nkdatacarrier::RenderDrawProj2D& g) {
  volatile long long sum = 0;
  for (int i = 0; i < g.getNumberOfPoints(); ++i)
    sum = sum + g.getPointType(i);
  for (int i = 0; i < g.getNumberOfCurves(); ++i)
    sum = sum + g.getCurveType(i) + g.getCurve(i).getNumberOfVertices();
  exerciseGeometry(g, {g.getNumberOfPoints(), g.getNumberOfCurves(), 0, 0});
}

inline void exercise(const nkdatacarrier::RenderDrawEdit2D& sketch) {
  using Sketch = nkdatacarrier::RenderDrawEdit2D;
  std::vector<float> bounds;
  sketch.getBoundingBox(bounds);
  const nkdatacarrier::BoundingBox2D everywhere(-1e30, 1e30, -1e30, 1e30);
  std::vector<Sketch::Coord> polyline;
  for (int e = 0; e < sketch.getNumEdg(); ++e) {
    const Sketch::Edge& edge = sketch.getEdge(e);
    edge.getBoundingBox();
    const auto& knots = edge.getKnots();
    for (double u : {-1.0, 0.0, 0.5, 1.0, 2.0}) {
      double x = 0.0, y = 0.0;
      edge.findSpan(u);
      edge.evalCoord(knots.empty() ? u : knots.front() + u * (knots.back() - knots.front()), x, y);
    }
    edge.evalEdge(1e-3, everywhere, 64, polyline);
    if (edge.getCtrlPoints().extent(1) >= 3)
      for (int i = 0; i < edge.getNumCtrlPoints(); ++i)
        edge.getCtrlPoint(i);
  }
  // Editing, on a copy: every vertex, and the first and last control point of every edge.
  Sketch copy(sketch);
  std::vector<int> changed;
  for (int v = 0; v < copy.getNumVtx(); ++v)
    copy.setVertexCoord(v, 1.0, 2.0, changed);
  for (int e = 0; e < copy.getNumEdg(); ++e) {
    const int n = copy.getEdge(e).getNumCtrlPoints();
    if (n > 0) copy.setEdgeCtrlPoint(e, 0, 3.0, 4.0, changed);
    if (n > 1) copy.setEdgeCtrlPoint(e, n - 1, 5.0, 6.0, changed);
  }
  copy.getBoundingBox(bounds);
  exerciseGeometry(sketch, {sketch.getNumVtx(), sketch.getNumEdg(), 0, 0});
}

// Mesh pieces: every coordinate and every index of the arrays they hand to the drawing layer.
template <int N>
void exercise(const nkdatacarrier::RenderMeshVertices<N>& piece) {
  volatile float sum = 0.0f;
  if (const auto* v = piece.getVertexArray())
    for (int i = 0; i < piece.getNumberOfVertices(); ++i)
      sum = sum + v[i].x;
  piece.clone();
}

template <int N>
void exercise(const nkdatacarrier::RenderMeshFaces<N>& piece) {
  exercise(static_cast<const nkdatacarrier::RenderMeshVertices<N>&>(piece));
  volatile long long sum = 0;
  if (const int* t = piece.getTriangleArray())
    for (int i = 0; i < 3 * piece.getNumberOfTriangles(); ++i)
      sum = sum + t[i];
  if (const int* q = piece.getQuadArray())
    for (int i = 0; i < 4 * piece.getNumberOfQuads(); ++i)
      sum = sum + q[i];
}

inline void exercise(const nkdatacarrier::RenderMeshSubdomain2D& piece) {
  exercise(static_cast<const nkdatacarrier::RenderMeshFaces<2>&>(piece));
  for (int i = 0; i < piece.getNumberOfBndPaths(); ++i)
    exercise(piece.getBndPath(i));
  for (int i = 0; i < piece.getNumberOfIntPaths(); ++i)
    exercise(piece.getIntPath(i));
}

inline void exercise(const nkdatacarrier::RenderMeshCollection& collection) {
  for (int i = 0; i < collection.getNumberOfRenderMeshs(); ++i)
    if (const auto& piece = collection.getRenderMesh(i)) {
      piece->getType();
      piece->getDimension();
      piece->getEDimension();
      writeForm(*piece->clone(), false);
    }
  collection.clone();
}

// Geometry maps: the geometry's queries, then every entry of the maps.
inline long long sumOf(const std::vector<int>& v) {
  long long sum = 0;
  for (int x : v)
    sum += x;
  return sum;
}
inline void exercise(const nkdatacarrier::RenderGeom1D& g) {
  exercise(static_cast<const nkdatacarrier::RenderDrawGeom1D&>(g));
  volatile long long sum = sumOf(g.getPointMap()) + sumOf(g.getDomainMap());
  (void)sum;
}
inline void exercise(const nkdatacarrier::RenderGeom2D& g) {
  exercise(static_cast<const nkdatacarrier::RenderDrawGeom2D&>(g));
  volatile long long sum = sumOf(g.getPointMap()) + sumOf(g.getEdgeMap()) +
                           sumOf(g.getDomainMap()) + g.getNumGeomPoint() + g.getNumGeomEdge() +
                           g.getNumGeomDomain();
  (void)sum;
}
inline void exercise(const nkdatacarrier::RenderGeom3D& g) {
  exercise(static_cast<const nkdatacarrier::RenderDrawGeom3D&>(g));
  volatile long long sum = sumOf(g.getPointMap()) + sumOf(g.getEdgeMap()) + sumOf(g.getFaceMap()) +
                           sumOf(g.getDomainMap()) + g.getNumGeomPoint() + g.getNumGeomEdge() +
                           g.getNumGeomFace() + g.getNumGeomDomain();
  (void)sum;
}

// ---- Copies and round trips.

// A deep copy owned by a shared pointer: through the copy constructor, or clone() for the
// classes whose copies are made that way.
template <typename T>
auto deepCopy(const T& object) {
  if constexpr (std::is_copy_constructible_v<T>)
    return nkboost::make_shared<T>(object);
  else
    return object.clone();
}

// A copy through the copy constructor, an assignment over a default object, and for top-level
// carriers the deep clone; plot data are copied by clone and shared by assignment.
template <typename T>
void copyEveryWay(const T& object) {
  if constexpr (std::is_copy_constructible_v<T>) {
    T copy(object);
    T assigned;
    assigned = copy;
    writeForm(assigned, false);
  } else {
    auto copy = object.clone();
    T assigned;
    assigned = *copy;
    writeForm(assigned, false);
  }
}

// Plot data also travel by blocks: what arrives writes the same stream as what was sent.
inline void blockRoundTrip(const nkbase::Serializable&, const std::string&) {}
inline void blockRoundTrip(const nkdatacarrier::PostDataObject& plot, const std::string& written) {
  auto source = plot.clone();
  nkdatacarrier::PostDataObject target;
  if (!runGuarded("block transfer", [&] { nkbase::transferByBlocks(*source, target); })) return;
  if (writeForm(target, false) != written) fail("block transfer changed the plot data");
}

// Written in `text` or binary form, read back into a fresh object and written again: both
// writes must be the same bytes. Returns the object read back.
template <typename T>
void roundTrip(const T& object, bool text, const std::string& binaryWrite) {
  const std::string first = text ? writeForm(object, true) : binaryWrite;
  T back;
  if (!readForm(back, first.data(), first.size(), Form{text, false}, true))
    fail(std::string("its ") + (text ? "text" : "binary") + " write does not read back");
  if (writeForm(back, text) != first)
    fail(std::string("the second ") + (text ? "text" : "binary") + " write differs from the first");
  if (text && writeForm(back, false) != binaryWrite)
    fail("read back from its text form, it writes another binary form");
}

// Whatever a read left in `object`, complete or not: copy it, write it, export and query it.
template <typename T>
void useObject(const T& object) {
  copyEveryWay(object);
  writeForm(object, true);
  exercise(object);
}

// The whole check of one input (selector byte, then stream) read as class T; `into` is the
// object to read into (fresh for fuzzing; the truncation test also reads into used ones).
// Returns whether the read completed.
template <typename T>
bool checkInputInto(T& into, const std::uint8_t* data, std::size_t size) {
  if (size == 0) return false;
  const Form form = formOf(data[0]);
  const bool complete = readForm(into, reinterpret_cast<const char*>(data + 1), size - 1, form);
  useObject(into);
  if (complete) {
    const std::string binary = writeForm(into, false);
    roundTrip(into, false, binary);
    roundTrip(into, true, binary);
    blockRoundTrip(into, binary);
  }
  return complete;
}

template <typename T>
bool checkInput(const std::uint8_t* data, std::size_t size) {
  T object;
  return checkInputInto(object, data, size);
}

}  // namespace qvfuzz
