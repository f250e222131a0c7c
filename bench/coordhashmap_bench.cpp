// Point merging: 2 million 3D points, half of them exact repeats of the other half, in random
// order, merged by CoordHashMap (with a tolerance) and, as the baseline, de-duplicated exactly by
// a std::unordered_map keyed on the coordinates.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <random>
#include <unordered_map>
#include <vector>

#include "qvutil/coordhashmap.h"

namespace {

constexpr int kPoints = 2'000'000;

using P = std::array<double, 3>;

const std::vector<P>& points() {
  static const std::vector<P> pts = [] {
    std::mt19937_64 rng(42);
    std::uniform_real_distribution<double> u(-100.0, 100.0);
    std::vector<P> v;
    v.reserve(kPoints);
    for (int i = 0; i < kPoints / 2; ++i)
      v.push_back({u(rng), u(rng), u(rng)});
    for (int i = 0; i < kPoints / 2; ++i)
      v.push_back(v[i]);
    std::shuffle(v.begin(), v.end(), rng);
    return v;
  }();
  return pts;
}

void BM_CoordHashMap(benchmark::State& state) {
  const auto& pts = points();
  std::size_t unique = 0;
  for (auto _ : state) {
    // The parameters with which the draw geometries merge their render points.
    CoordHashMap map(3, 100.0, kPoints, true, 2e-7, 0.001);
    for (int i = 0; i < kPoints; ++i)
      map.insert(pts[i].data(), i, true);
    unique = map.size();
  }
  state.counters["unique"] = static_cast<double>(unique);
  state.SetItemsProcessed(state.iterations() * kPoints);
}

struct PointHash {
  std::size_t operator()(const P& p) const {
    std::size_t h = 0;
    for (double c : p) {
      std::uint64_t bits;
      std::memcpy(&bits, &c, 8);
      h = (h ^ bits) * 0x9e3779b97f4a7c15ULL;
    }
    return h ^ (h >> 29);
  }
};

void BM_UnorderedMapExact(benchmark::State& state) {
  const auto& pts = points();
  std::size_t unique = 0;
  for (auto _ : state) {
    std::unordered_map<P, int, PointHash> map;
    map.reserve(kPoints);
    for (int i = 0; i < kPoints; ++i)
      map.emplace(pts[i], i);
    unique = map.size();
  }
  state.counters["unique"] = static_cast<double>(unique);
  state.SetItemsProcessed(state.iterations() * kPoints);
}

// A cell hint far larger than the tolerance puts 200,000 points, each just outside the next's
// tolerance, into one cell: merging must stay near linear (a map chaining them all in one cell
// would make ~1e10 comparisons). Per point, beside the random merge above.
void BM_CoordHashMapOneCell(benchmark::State& state) {
  constexpr int kInOneCell = 200000;
  std::size_t unique = 0;
  for (auto _ : state) {
    CoordHashMap map(2, 0.0, 0, false, 1e-6, 1e6);
    for (int i = 0; i < kInOneCell; ++i) {
      const double c[] = {i * 2e-6, 0.0};
      map.insert(c, i, true);
    }
    unique = map.size();
  }
  state.counters["unique"] = static_cast<double>(unique);
  state.SetItemsProcessed(state.iterations() * kInOneCell);
}

BENCHMARK(BM_CoordHashMap)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_UnorderedMapExact)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CoordHashMapOneCell)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
