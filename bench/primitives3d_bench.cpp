// Cost of the 3D sheet and curve queries on large primitives, per triangle or segment: a unit
// sphere of a million triangles and a helix of a million segments, queried from inside so that
// every test passes the bounding-box check, misses every triangle or segment (or, for the line,
// hits two) and so runs to the end. Beside them, the floor: one plain pass that reads the
// sheet's vertex and index bytes once.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

#include "datacarrier/curve3d.h"
#include "datacarrier/sheet3d.h"
#include "qvutil/nkmath.h"

using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::Curve3D;
using nkdatacarrier::Sheet3D;

namespace {

constexpr int kAround = 1000;  // segments around the sphere
constexpr int kRings = 500;    // bands from pole to pole: 2 * 1000 * 500 = one million triangles
constexpr double kPi = 3.14159265358979323846;

// The unit sphere as a latitude-longitude grid, normals pointing out. The first and last band
// each hold one degenerate triangle per cell (two corners at the pole), as such grids do.
const Sheet3D& sphere() {
  static const Sheet3D s = [] {
    Sheet3D sheet;
    const int columns = kAround + 1;
    sheet.allocate(columns * (kRings + 1), 2 * kAround * kRings);
    for (int j = 0; j <= kRings; ++j) {
      const double theta = kPi * j / kRings;
      for (int i = 0; i <= kAround; ++i) {
        const double phi = 2.0 * kPi * i / kAround;
        const float x = float(std::sin(theta) * std::cos(phi));
        const float y = float(std::sin(theta) * std::sin(phi));
        const float z = float(std::cos(theta));
        sheet.setVertex(j * columns + i, x, y, z, x, y, z);
      }
    }
    int t = 0;
    for (int j = 0; j < kRings; ++j) {
      for (int i = 0; i < kAround; ++i) {
        const int v = j * columns + i;
        sheet.setTriangle(t++, v, v + columns, v + columns + 1);
        sheet.setTriangle(t++, v, v + columns + 1, v + 1);
      }
    }
    sheet.setBoundingBox3D(BoundingBox3D(-1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f));
    sheet.setValid(true);
    sheet.setComplete(true);
    return sheet;
  }();
  return s;
}

// A helix of radius 1 around the z axis: a million segments, 100 turns from z = -1 to z = 1.
const Curve3D& helix() {
  static const Curve3D c = [] {
    constexpr int kSegments = 1000000;
    Curve3D curve;
    curve.reserve(kSegments + 1);
    for (int i = 0; i <= kSegments; ++i) {
      const double a = 2.0 * kPi * 100.0 * i / kSegments;
      curve.appendVertex(float(std::cos(a)), float(std::sin(a)), float(-1.0 + 2.0 * i / kSegments));
    }
    curve.setBoundingBox3D(BoundingBox3D(-1.0f, 1.0f, -1.0f, 1.0f, -1.0f, 1.0f));
    curve.setValid(true);
    return curve;
  }();
  return c;
}

// Seconds per item, printed with an SI prefix ("2.5ns").
benchmark::Counter timePer(double items) {
  return benchmark::Counter(
      items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// 32-bit words summed as integers: reads every byte once and is free to vectorise.
std::uint32_t sumWords(const void* data, std::size_t bytes) {
  const unsigned char* p = static_cast<const unsigned char*>(data);
  std::uint32_t sum = 0;
  for (std::size_t i = 0; i + 4 <= bytes; i += 4) {
    std::uint32_t w;
    std::memcpy(&w, p + i, 4);
    sum += w;
  }
  return sum;
}

void BM_SheetReadFloor(benchmark::State& state) {
  const Sheet3D& s = sphere();
  const std::size_t vertexBytes = sizeof(Sheet3D::Vertex) * s.getNumberOfVertices();
  const std::size_t indexBytes = 3 * sizeof(int) * s.getNumberOfTriangles();
  for (auto _ : state) {
    benchmark::DoNotOptimize(sumWords(s.getVertexArray(), vertexBytes) +
                             sumWords(s.getTriangleArray(), indexBytes));
  }
  state.counters["time_per_triangle"] = timePer(s.getNumberOfTriangles());
}
BENCHMARK(BM_SheetReadFloor)->Unit(benchmark::kMillisecond);

// A box around the centre, well inside the sphere: every triangle is rejected.
void BM_SheetIntersectsBox(benchmark::State& state) {
  const Sheet3D& s = sphere();
  const std::vector<double> box{-0.3, 0.3, -0.3, 0.3, -0.3, 0.3};
  for (auto _ : state)
    benchmark::DoNotOptimize(s.intersectsBox(box));
  state.counters["time_per_triangle"] = timePer(s.getNumberOfTriangles());
}
BENCHMARK(BM_SheetIntersectsBox)->Unit(benchmark::kMillisecond);

// A thin cylinder along the z axis whose slab holds most of the sphere: most triangles are
// clipped, projected and measured, the rest lie above or below the slab.
void BM_SheetIntersectsCylinder(benchmark::State& state) {
  const Sheet3D& s = sphere();
  const std::vector<double> base{0, 0, 0}, axis{0.1, 0.2, 1.0};
  for (auto _ : state)
    benchmark::DoNotOptimize(s.intersectsCylinder(base, axis, 0.3, 0.9, -0.9));
  state.counters["time_per_triangle"] = timePer(s.getNumberOfTriangles());
}
BENCHMARK(BM_SheetIntersectsCylinder)->Unit(benchmark::kMillisecond);

// From the centre every triangle is about as near, and the search never stops early.
void BM_SheetFindClosestPoint(benchmark::State& state) {
  const Sheet3D& s = sphere();
  const std::vector<double> p{0.01, 0.02, 0.03};
  std::vector<double> closest(3);
  for (auto _ : state) {
    double d2 = nkGetInf();
    benchmark::DoNotOptimize(s.findClosestPoint(p, closest, d2, -1.0));
  }
  state.counters["time_per_triangle"] = timePer(s.getNumberOfTriangles());
}
BENCHMARK(BM_SheetFindClosestPoint)->Unit(benchmark::kMillisecond);

// The same from far outside: the feet lie outside most triangles and their edges are measured.
void BM_SheetFindClosestPointOutside(benchmark::State& state) {
  const Sheet3D& s = sphere();
  const std::vector<double> p{3.0, 2.0, 1.0};
  std::vector<double> closest(3);
  for (auto _ : state) {
    double d2 = nkGetInf();
    benchmark::DoNotOptimize(s.findClosestPoint(p, closest, d2, -1.0));
  }
  state.counters["time_per_triangle"] = timePer(s.getNumberOfTriangles());
}
BENCHMARK(BM_SheetFindClosestPointOutside)->Unit(benchmark::kMillisecond);

// A line through the centre: two hits, every triangle tested.
void BM_SheetFindLineIntersections(benchmark::State& state) {
  const Sheet3D& s = sphere();
  const std::vector<double> p0{0.0, 0.0, 0.0}, p1{0.1, 0.2, 1.0};
  std::vector<std::pair<double, int>> hits;
  std::vector<double> normals;
  for (auto _ : state) {
    hits.clear();
    normals.clear();
    s.findLineIntersections(p0, p1, hits, normals);
    benchmark::DoNotOptimize(hits.data());
  }
  state.counters["time_per_triangle"] = timePer(s.getNumberOfTriangles());
}
BENCHMARK(BM_SheetFindLineIntersections)->Unit(benchmark::kMillisecond);

void BM_CurveReadFloor(benchmark::State& state) {
  const Curve3D& c = helix();
  const std::size_t bytes = sizeof(Curve3D::Vertex) * c.getNumberOfVertices();
  for (auto _ : state)
    benchmark::DoNotOptimize(sumWords(c.getVertexArray(), bytes));
  state.counters["time_per_segment"] = timePer(c.getNumberOfVertices() - 1);
}
BENCHMARK(BM_CurveReadFloor)->Unit(benchmark::kMillisecond);

void BM_CurveIntersectsBox(benchmark::State& state) {
  const Curve3D& c = helix();
  const std::vector<double> box{-0.5, 0.5, -0.5, 0.5, -1.0, 1.0};
  for (auto _ : state)
    benchmark::DoNotOptimize(c.intersectsBox(box));
  state.counters["time_per_segment"] = timePer(c.getNumberOfVertices() - 1);
}
BENCHMARK(BM_CurveIntersectsBox)->Unit(benchmark::kMillisecond);

void BM_CurveIntersectsBall(benchmark::State& state) {
  const Curve3D& c = helix();
  const std::vector<double> centre{0, 0, 0};
  for (auto _ : state)
    benchmark::DoNotOptimize(c.intersectsBall(centre, 0.9));
  state.counters["time_per_segment"] = timePer(c.getNumberOfVertices() - 1);
}
BENCHMARK(BM_CurveIntersectsBall)->Unit(benchmark::kMillisecond);

void BM_CurveIntersectsCylinder(benchmark::State& state) {
  const Curve3D& c = helix();
  const std::vector<double> base{0, 0, 0}, axis{0, 0, 1};
  for (auto _ : state)
    benchmark::DoNotOptimize(c.intersectsCylinder(base, axis, 0.9, 2.0, -2.0));
  state.counters["time_per_segment"] = timePer(c.getNumberOfVertices() - 1);
}
BENCHMARK(BM_CurveIntersectsCylinder)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
