// Cost of the 2D draw geometry on large models: the render-array export of a million face
// vertices (with the point merging that shares the vertices of neighbouring faces), and a
// rubber-band selection over a hundred thousand faces.
#include <benchmark/benchmark.h>

#include <numeric>
#include <vector>

#include "datacarrier/renderdraw2d.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Curve2D;
using nkdatacarrier::Face2D;
using nkdatacarrier::RenderDraw2D;
using nkdatacarrier::RenderDrawGeom2D;

namespace {

// A face of (cells + 1)^2 vertices: a square grid of unit cells at (x0, y0), two
// counter-clockwise triangles per cell.
Face2D makeGridFace(int cells, float x0, float y0) {
  const int columns = cells + 1;
  Face2D f;
  f.allocate(columns * columns, 2 * cells * cells);
  for (int j = 0; j <= cells; ++j) {
    for (int i = 0; i <= cells; ++i)
      f.setVertex(j * columns + i, x0 + float(i), y0 + float(j));
  }
  int t = 0;
  for (int j = 0; j < cells; ++j) {
    for (int i = 0; i < cells; ++i) {
      const int v = j * columns + i;
      f.setTriangle(t++, v, v + 1, v + columns + 1);
      f.setTriangle(t++, v, v + columns + 1, v + columns);
    }
  }
  f.setBoundingBox2D(BoundingBox2D(x0, x0 + float(cells), y0, y0 + float(cells)));
  f.setValid(true);
  return f;
}

// 10 x 10 faces of 100 x 100 vertices (a million face vertices, 1.96 million triangles) that
// share their borders, and one curve along each face's lower border.
RenderDraw2D makeMillionVertexGeometry() {
  constexpr int kFaces = 10;
  constexpr int kCells = 99;
  RenderDraw2D g(RenderDrawGeom2D::DRAW_2D_A, 1);
  g.allocate(kFaces * kFaces, kFaces * kFaces, 0);
  for (int j = 0; j < kFaces; ++j) {
    for (int i = 0; i < kFaces; ++i) {
      const float x0 = float(i * kCells);
      const float y0 = float(j * kCells);
      g.face(j * kFaces + i) = makeGridFace(kCells, x0, y0);
      Curve2D& c = g.curve(j * kFaces + i);
      c.reserve(kCells + 1);
      for (int k = 0; k <= kCells; ++k)
        c.appendVertex(x0 + float(k), y0);
      c.setBoundingBox2D(BoundingBox2D(x0, x0 + float(kCells), y0, y0));
      c.setValid(true);
    }
  }
  const float side = float(kFaces * kCells);
  g.setBoundingBox2D(BoundingBox2D(0.0f, side, 0.0f, side));
  return g;
}

constexpr int kSmallX = 400;
constexpr int kSmallY = 250;  // 100,000 unit-square faces

RenderDraw2D makeHundredThousandFaces() {
  RenderDraw2D g(RenderDrawGeom2D::DRAW_2D_A, 2);
  g.allocate(kSmallX * kSmallY, 0, 0);
  for (int j = 0; j < kSmallY; ++j) {
    for (int i = 0; i < kSmallX; ++i)
      g.face(j * kSmallX + i) = makeGridFace(1, float(i), float(j));
  }
  g.setBoundingBox2D(BoundingBox2D(0.0f, float(kSmallX), 0.0f, float(kSmallY)));
  return g;
}

// Seconds per item, printed with an SI prefix ("2.5ns").
benchmark::Counter timePer(double items) {
  return benchmark::Counter(
      items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_GetMLRenderDataMillionFaceVertices(benchmark::State& state) {
  const RenderDraw2D g = makeMillionVertexGeometry();
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
BENCHMARK(BM_GetMLRenderDataMillionFaceVertices)->Unit(benchmark::kMillisecond);

// A box over the middle fifth of the model; argument 0 selects the faces touching it (the box
// clipped to the grown bounding box first), 1 the faces inside it.
void BM_FindEntitiesInBox(benchmark::State& state) {
  const RenderDraw2D g = makeHundredThousandFaces();
  std::vector<int> candidates(static_cast<std::size_t>(g.getNumberOfFaces()));
  std::iota(candidates.begin(), candidates.end(), 0);
  const std::vector<double> box{160.5, 240.5, 100.5, 150.5};
  const bool inside = state.range(0) != 0;
  std::vector<int> result;
  for (auto _ : state) {
    result.clear();
    g.findEntitiesInBox(box, 2, inside, candidates, result);
    benchmark::DoNotOptimize(result.data());
  }
  state.counters["found"] = double(result.size());
  state.counters["time_per_face"] = timePer(double(candidates.size()));
}
BENCHMARK(BM_FindEntitiesInBox)->ArgName("inside")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
