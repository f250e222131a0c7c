// Cost of the 3D draw geometry on a sphere of about a million triangles (one sheet bounding one
// solid): a pick along a line, the closest point, the point-in-solid test, a touching box
// selection that must look at every triangle, and the render-array export. Beside them, the
// floor: one plain pass over the sheet's vertex and index bytes in the same run.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "datacarrier/renderdraw3d.h"

using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::RenderDrawGeom3D;
using nkdatacarrier::Sheet3D;

namespace {

constexpr int kRings = 500;      // latitude bands
constexpr int kSegments = 1000;  // longitude steps: 998,000 triangles, 499,002 vertices
constexpr double kRadius = 10.0;

// A sphere of radius kRadius about the origin as one sheet with outward normals (counter-
// clockwise seen from outside), bounding solid 0 on its inner side.
RenderDraw3D makeSphere() {
  const double pi = std::acos(-1.0);
  const int numVertices = (kRings - 1) * kSegments + 2;
  const int numTriangles = 2 * kSegments * (kRings - 1);
  RenderDraw3D g(RenderDrawGeom3D::DRAW_3D_A, 1);
  g.allocate(1, 1, 0, 0);
  Sheet3D& s = g.sheet(0);
  s.allocate(numVertices, numTriangles);
  const auto put = [&](int i, double theta, double phi) {
    const double n[3] = {std::sin(theta) * std::cos(phi), std::sin(theta) * std::sin(phi),
                         std::cos(theta)};
    s.setVertex(i, float(kRadius * n[0]), float(kRadius * n[1]), float(kRadius * n[2]), float(n[0]),
                float(n[1]), float(n[2]));
  };
  put(0, 0.0, 0.0);
  for (int r = 1; r < kRings; ++r) {
    for (int k = 0; k < kSegments; ++k)
      put(1 + (r - 1) * kSegments + k, pi * r / kRings, 2 * pi * k / kSegments);
  }
  const int south = numVertices - 1;
  put(south, pi, 0.0);
  const auto ring = [&](int r, int k) { return 1 + (r - 1) * kSegments + (k % kSegments); };
  int t = 0;
  for (int k = 0; k < kSegments; ++k) {
    s.setTriangle(t++, 0, ring(1, k), ring(1, k + 1));
    s.setTriangle(t++, south, ring(kRings - 1, k + 1), ring(kRings - 1, k));
    for (int r = 1; r + 1 < kRings; ++r) {
      s.setTriangle(t++, ring(r, k), ring(r + 1, k), ring(r + 1, k + 1));
      s.setTriangle(t++, ring(r, k), ring(r + 1, k + 1), ring(r, k + 1));
    }
  }
  const float e = float(kRadius);
  s.setBoundingBox3D(BoundingBox3D(-e, e, -e, e, -e, e));
  s.setUp(-1);
  s.setDown(0);
  s.setValid(true);
  s.setComplete(true);
  g.setSolidToSheetAdjacent({{}, {{0, 0}}});
  g.sheetToSolidAdjacent().allocate(1, 1);
  g.sheetToSolidAdjacent().setAdjacent(0, std::vector<std::pair<int, int>>{{0, -1}});
  g.setBoundingBox3D(BoundingBox3D(-e, e, -e, e, -e, e));
  g.setBoundingBoxSolid(0, BoundingBox3D(-e, e, -e, e, -e, e));
  return g;
}

const RenderDraw3D& sphere() {
  static const RenderDraw3D g = makeSphere();
  return g;
}

double triangles() {
  return double(sphere().getSheet(0).getNumberOfTriangles());
}

// Seconds per item, printed with an SI prefix ("2.5ns").
benchmark::Counter timePer(double items) {
  return benchmark::Counter(
      items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

// The floor: every byte of the vertex and index arrays read once, as 32-bit words.
void BM_Floor_ReadVertexAndIndexBytes(benchmark::State& state) {
  const Sheet3D& s = sphere().getSheet(0);
  const std::size_t vertexWords = std::size_t(s.getNumberOfVertices()) * 6;
  const std::size_t indexWords = std::size_t(s.getNumberOfTriangles()) * 3;
  const auto* v = reinterpret_cast<const std::uint32_t*>(s.getVertexArray());
  const auto* idx = reinterpret_cast<const std::uint32_t*>(s.getTriangleArray());
  for (auto _ : state) {
    std::uint32_t sum = 0;
    for (std::size_t i = 0; i < vertexWords; ++i)
      sum += v[i];
    for (std::size_t i = 0; i < indexWords; ++i)
      sum += idx[i];
    benchmark::DoNotOptimize(sum);
  }
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_Floor_ReadVertexAndIndexBytes)->Unit(benchmark::kMillisecond);

void BM_FindLineIntersections(benchmark::State& state) {
  const RenderDraw3D& g = sphere();
  std::vector<std::vector<double>> hits;
  for (auto _ : state) {
    g.findLineIntersections({0.3, 0.2, -20.0}, {0.3, 0.2, 20.0}, hits);
    benchmark::DoNotOptimize(hits.data());
  }
  state.counters["hits"] = double(hits.size());
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_FindLineIntersections)->Unit(benchmark::kMillisecond);

// The same pick through the sheet's own loop, which tests every triangle exactly.
void BM_SheetFindLineIntersections(benchmark::State& state) {
  const Sheet3D& s = sphere().getSheet(0);
  std::vector<std::pair<double, int>> hits;
  std::vector<double> normals;
  for (auto _ : state) {
    hits.clear();
    normals.clear();
    s.findLineIntersections({0.3, 0.2, -20.0}, {0.3, 0.2, 20.0}, hits, normals);
    benchmark::DoNotOptimize(hits.data());
  }
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_SheetFindLineIntersections)->Unit(benchmark::kMillisecond);

void BM_SheetFindClosestPoint(benchmark::State& state) {
  const Sheet3D& s = sphere().getSheet(0);
  std::vector<double> closest(3);
  for (auto _ : state) {
    double d2 = 1e300;
    benchmark::DoNotOptimize(s.findClosestPoint({1.0, 2.0, 3.0}, closest, d2, -1.0));
  }
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_SheetFindClosestPoint)->Unit(benchmark::kMillisecond);

void BM_FindClosestPoint(benchmark::State& state) {
  const RenderDraw3D& g = sphere();
  std::vector<double> closest;
  for (auto _ : state) {
    benchmark::DoNotOptimize(g.findClosestPoint({1.0, 2.0, 3.0}, {0}, closest));
  }
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_FindClosestPoint)->Unit(benchmark::kMillisecond);

void BM_PointInSolid(benchmark::State& state) {
  const RenderDraw3D& g = sphere();
  bool inside = false;
  for (auto _ : state) {
    inside = g.pointInSolid({1.0, 2.0, 3.0}, 0);
    benchmark::DoNotOptimize(inside);
  }
  state.counters["inside"] = inside ? 1 : 0;
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_PointInSolid)->Unit(benchmark::kMillisecond);

// A small box at the centre: inside the sphere's box, touching no triangle, so that every
// triangle is tested.
void BM_FindEntitiesInBoxTouching(benchmark::State& state) {
  const RenderDraw3D& g = sphere();
  const std::vector<double> box{-1.0, 1.0, -1.0, 1.0, -1.0, 1.0};
  std::vector<int> result;
  for (auto _ : state) {
    result.clear();
    g.findEntitiesInBox(box, 2, false, {0}, result);
    benchmark::DoNotOptimize(result.data());
  }
  state.counters["found"] = double(result.size());
  state.counters["time_per_triangle"] = timePer(triangles());
}
BENCHMARK(BM_FindEntitiesInBoxTouching)->Unit(benchmark::kMillisecond);

void BM_GetMLRenderData(benchmark::State& state) {
  const RenderDraw3D& g = sphere();
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> elements;
  for (auto _ : state) {
    g.getMLRenderData(coords, elements);
    benchmark::DoNotOptimize(coords.data());
  }
  state.counters["positions"] = g.getMLRenderPointSize();
  state.counters["merged"] = double(coords[0].size());
  state.counters["time_per_position"] = timePer(g.getMLRenderPointSize());
}
BENCHMARK(BM_GetMLRenderData)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
