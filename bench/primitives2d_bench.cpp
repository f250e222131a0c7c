// Cost of the 2D selection tests on large primitives, per triangle or segment: a face of a million
// triangles against a box, a curve of a million segments against a ball. The queries lie inside
// the bounding boxes and miss every edge, so that nothing returns early.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <set>
#include <utility>

#include "datacarrier/curve2d.h"
#include "datacarrier/face2d.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Curve2D;
using nkdatacarrier::Face2D;

namespace {

constexpr int kCellsX = 1000;
constexpr int kCellsY = 500;  // 2 * 1000 * 500 = one million triangles

// A rectangle of unit cells, two counter-clockwise triangles per cell, row after row.
Face2D makeGridFace() {
  Face2D f;
  const int columns = kCellsX + 1;
  f.allocate(columns * (kCellsY + 1), 2 * kCellsX * kCellsY);
  for (int j = 0; j <= kCellsY; ++j) {
    for (int i = 0; i <= kCellsX; ++i)
      f.setVertex(j * columns + i, float(i), float(j));
  }
  int t = 0;
  for (int j = 0; j < kCellsY; ++j) {
    for (int i = 0; i < kCellsX; ++i) {
      const int v = j * columns + i;
      f.setTriangle(t++, v, v + 1, v + columns + 1);
      f.setTriangle(t++, v, v + columns + 1, v + columns);
    }
  }
  f.setBoundingBox2D(BoundingBox2D(0.0f, float(kCellsX), 0.0f, float(kCellsY)));
  f.setValid(true);
  return f;
}

// A long thin loop: a million-less-one unit segments along y = 0, then up and back along y = 10.
Curve2D makeLoopCurve() {
  constexpr int kAlong = 999999;
  Curve2D c;
  c.reserve(kAlong + 2);
  for (int i = 0; i < kAlong; ++i)
    c.appendVertex(float(i), 0.0f);
  c.appendVertex(float(kAlong - 1), 10.0f);
  c.appendVertex(0.0f, 10.0f);
  c.setBoundingBox2D(BoundingBox2D(0.0f, float(kAlong - 1), 0.0f, 10.0f));
  c.setValid(true);
  return c;
}

// Seconds per item, printed with an SI prefix ("2.5ns").
benchmark::Counter timePer(double items) {
  return benchmark::Counter(
      items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_Face2DIntersectsBoxFullScan(benchmark::State& state) {
  const Face2D face = makeGridFace();
  // Inside the last cell, clear of the boundary: every boundary edge is tested and the centre
  // test runs through all triangles before the last one contains it.
  const std::vector<double> box{kCellsX - 0.7, kCellsX - 0.6, kCellsY - 0.7, kCellsY - 0.6};
  for (auto _ : state)
    benchmark::DoNotOptimize(face.intersectsBox(box));
  state.counters["time_per_triangle"] = timePer(face.getNumberOfTriangles());
}
BENCHMARK(BM_Face2DIntersectsBoxFullScan)->Unit(benchmark::kMillisecond);

// The first boundary edge hits: what remains is the boundary collection alone.
void BM_Face2DIntersectsBoxFirstEdge(benchmark::State& state) {
  const Face2D face = makeGridFace();
  const std::vector<double> box{-1, 0.5, -1, 0.5};
  for (auto _ : state)
    benchmark::DoNotOptimize(face.intersectsBox(box));
  state.counters["time_per_triangle"] = timePer(face.getNumberOfTriangles());
}
BENCHMARK(BM_Face2DIntersectsBoxFirstEdge)->Unit(benchmark::kMillisecond);

// For comparison: the same boundary collected by toggling pairs in an ordered set.
void BM_OrderedSetBoundaryCollection(benchmark::State& state) {
  const Face2D face = makeGridFace();
  const int* tri = face.getTriangleArray();
  const int n = face.getNumberOfTriangles();
  for (auto _ : state) {
    std::set<std::pair<int, int>> edges;
    for (int t = 0; t < n; ++t) {
      for (int e = 0; e < 3; ++e) {
        const int p = tri[3 * t + e];
        const int q = tri[3 * t + (e + 1) % 3];
        const std::pair<int, int> key(std::min(p, q), std::max(p, q));
        const auto found = edges.find(key);
        if (found == edges.end()) {
          edges.insert(key);
        } else {
          edges.erase(found);
        }
      }
    }
    benchmark::DoNotOptimize(edges.size());
  }
  state.counters["time_per_triangle"] = timePer(n);
}
BENCHMARK(BM_OrderedSetBoundaryCollection)->Unit(benchmark::kMillisecond);

void BM_Curve2DIntersectsBallFullScan(benchmark::State& state) {
  const Curve2D curve = makeLoopCurve();
  const std::vector<double> centre{500000.0, 5.0};  // inside the loop, 4 from every segment
  for (auto _ : state)
    benchmark::DoNotOptimize(curve.intersectsBall(centre, 1.0));
  state.counters["time_per_segment"] = timePer(curve.getNumberOfVertices() - 1);
}
BENCHMARK(BM_Curve2DIntersectsBallFullScan)->Unit(benchmark::kMillisecond);

void BM_Curve2DIntersectsBoxFullScan(benchmark::State& state) {
  const Curve2D curve = makeLoopCurve();
  const std::vector<double> box{499999.0, 500001.0, 4.0, 6.0};
  for (auto _ : state)
    benchmark::DoNotOptimize(curve.intersectsBox(box));
  state.counters["time_per_segment"] = timePer(curve.getNumberOfVertices() - 1);
}
BENCHMARK(BM_Curve2DIntersectsBoxFullScan)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
