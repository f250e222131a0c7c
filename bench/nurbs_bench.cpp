// NURBS edges of the editable sketch: evalCoord per call for degrees 2, 3 and 9 on edges of
// 1,000 control points at random parameters, beside two baselines in the same run (the knot
// search alone, and a cubic Bezier point with its four control points fixed); evalEdge of a
// degree-3 edge of 1,000 control points over its whole extent with a tight tolerance, per output
// point, beside a plain copy of the same output.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "datacarrier/renderdrawedit2d.h"

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::RenderDrawEdit2D;
using Edge = RenderDrawEdit2D::Edge;

namespace {

constexpr int kCtrlPoints = 1000;
constexpr int kParams = 4096;  // parameters per benchmark iteration

// A wavy open curve: control points along x with y = 10 sin(x / 5) and weights between 0.5 and
// 1.5, on a clamped uniform knot vector.
Edge makeEdge(int degree) {
  std::vector<double> knots;
  const int intervals = kCtrlPoints - degree;
  for (int i = 0; i < degree; ++i)
    knots.push_back(0.0);
  for (int i = 0; i <= intervals; ++i)
    knots.push_back(double(i) / intervals);
  for (int i = 0; i < degree; ++i)
    knots.push_back(1.0);
  Array<double, 2> ctrl(kCtrlPoints, 3);
  for (int i = 0; i < kCtrlPoints; ++i) {
    const double w = 1.0 + 0.5 * std::sin(i * 0.7);
    ctrl(i, 0) = w * i;
    ctrl(i, 1) = w * 10.0 * std::sin(i / 5.0);
    ctrl(i, 2) = w;
  }
  return Edge(degree, knots, ctrl, -1, -1);
}

std::vector<double> randomParams() {
  std::mt19937_64 rng(42);
  std::uniform_real_distribution<double> dist(0.0, 1.0);
  std::vector<double> u(kParams);
  for (double& v : u)
    v = dist(rng);
  return u;
}

// Seconds per item, printed with an SI prefix ("25ns").
benchmark::Counter timePer(double items) {
  return benchmark::Counter(
      items, benchmark::Counter::kIsIterationInvariantRate | benchmark::Counter::kInvert);
}

void BM_EvalCoord(benchmark::State& state) {
  const Edge edge = makeEdge(static_cast<int>(state.range(0)));
  const std::vector<double> params = randomParams();
  for (auto _ : state) {
    for (double u : params) {
      double x = 0, y = 0;
      edge.evalCoord(u, x, y);
      benchmark::DoNotOptimize(x);
      benchmark::DoNotOptimize(y);
    }
  }
  state.counters["time_per_call"] = timePer(kParams);
}
BENCHMARK(BM_EvalCoord)->Arg(2)->Arg(3)->Arg(9)->Unit(benchmark::kMicrosecond);

// Baseline: the span search alone, a binary search over the same knots of degree 3.
void BM_BaselineKnotSearch(benchmark::State& state) {
  const Edge edge = makeEdge(3);
  const std::vector<double>& knots = edge.getKnots();
  const std::vector<double> params = randomParams();
  for (auto _ : state) {
    for (double u : params) {
      auto it = std::upper_bound(knots.begin(), knots.end(), u);
      benchmark::DoNotOptimize(it);
    }
  }
  state.counters["time_per_call"] = timePer(kParams);
}
BENCHMARK(BM_BaselineKnotSearch)->Unit(benchmark::kMicrosecond);

// Baseline: a rational cubic Bezier point from four fixed control points, the least arithmetic
// a degree-3 point takes (no span search, no recurrence).
void BM_BaselineCubicBezier(benchmark::State& state) {
  const double wx[4] = {0, 1, 2, 3}, wy[4] = {0, 2, 2, 0}, w[4] = {1, 1.2, 0.8, 1};
  const std::vector<double> params = randomParams();
  for (auto _ : state) {
    for (double u : params) {
      const double v = 1 - u;
      const double b[4] = {v * v * v, 3 * u * v * v, 3 * u * u * v, u * u * u};
      double cx = 0, cy = 0, cw = 0;
      for (int j = 0; j < 4; ++j) {
        cx += b[j] * wx[j];
        cy += b[j] * wy[j];
        cw += b[j] * w[j];
      }
      double x = cx / cw, y = cy / cw;
      benchmark::DoNotOptimize(x);
      benchmark::DoNotOptimize(y);
    }
  }
  state.counters["time_per_call"] = timePer(kParams);
}
BENCHMARK(BM_BaselineCubicBezier)->Unit(benchmark::kMicrosecond);

// The whole degree-3 edge inside the box, refined to a thousandth of a millionth of its size.
void BM_EvalEdge(benchmark::State& state) {
  const Edge edge = makeEdge(3);
  const BoundingBox2D& box = edge.getBoundingBox();
  const double tol = 1e-6 * (box.getMaxX() - box.getMinX());
  std::vector<RenderDrawEdit2D::Coord> out;
  for (auto _ : state) {
    edge.evalEdge(tol, box, 10'000'000, out);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["output_points"] = static_cast<double>(out.size());
  state.counters["time_per_point"] = timePer(static_cast<double>(out.size()));
}
BENCHMARK(BM_EvalEdge)->Unit(benchmark::kMillisecond);

// Baseline: copying an output of the same length, point by point as evalEdge appends them.
void BM_BaselineCopyOutput(benchmark::State& state) {
  const Edge edge = makeEdge(3);
  const BoundingBox2D& box = edge.getBoundingBox();
  std::vector<RenderDrawEdit2D::Coord> source;
  edge.evalEdge(1e-6 * (box.getMaxX() - box.getMinX()), box, 10'000'000, source);
  std::vector<RenderDrawEdit2D::Coord> out;
  for (auto _ : state) {
    out.clear();
    for (const auto& c : source)
      out.push_back(c);
    benchmark::DoNotOptimize(out.data());
  }
  state.counters["time_per_point"] = timePer(static_cast<double>(source.size()));
}
BENCHMARK(BM_BaselineCopyOutput)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
