#include "qvutil/coordhashmap.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <random>

namespace {

const double kInf = std::numeric_limits<double>::infinity();
const double kNaN = std::numeric_limits<double>::quiet_NaN();

// A map's parameters, points inserted with the indices 0, 1, 2, ... and the index that each
// insertion returns: its own when the point is new, else the index of the point it matched.
struct MergeCase {
  const char* what;
  struct {
    unsigned dim;
    double maxAbs;
    unsigned sizeHint;
    bool relative;
    double tol, cell;
  } map;
  std::vector<std::vector<double>> points;
  std::vector<int> expected;
};

// clang-format off
const MergeCase kMergeCases[] = {
    // 1.1 - 1.0 is 0.10000000000000009: just beyond the tolerance, as is 0.2 on y alone.
    {"within tolerance", {2, 0.0, 10, false, 0.1, 0.5},
     {{1.0, 1.0}, {1.1, 0.9}, {1.0, 1.2}, {1.05, 0.95}}, {0, 1, 2, 0}},
    {"difference equal to the tolerance", {2, 0.0, 10, false, 0.0625, 0.0625},
     {{1.0, 1.0}, {1.0, 1.0625}}, {0, 0}},
    {"first inserted match wins", {1, 0.0, 0, false, 1.0, 1.0}, {{0.0}, {1.5}, {0.9}}, {0, 1, 0}},
    {"relative: within 1e-3 of 1000", {3, 1000.0, 4, true, 1e-6, 1e-4},
     {{500, 500, 500}, {500.0009, 499.9991, 500}, {500.0011, 500, 500}}, {0, 0, 2}},
    {"relative to a zero scale means to 1", {1, 0.0, 4, true, 0.5, 0.5}, {{3.0}, {3.4}}, {0, 0}},
    {"-0 and +0 are one position", {2, 0.0, 0, false, 0.0, 0.0}, {{-0.0, 2}, {0.0, 2}}, {0, 0}},
    {"non-finite coordinates never match", {2, 0.0, 0, false, 0.5, 1.0},
     {{kNaN, 0}, {kInf, 0}, {kNaN, 0}, {kInf, 0}}, {0, 1, 2, 3}},
    // The unsigned image of -1: were it honoured, this would need tens of gigabytes.
    {"huge size hint", {3, 10.0, 4294967295u, true, 1e-6, 1e-5}, {{1, 2, 3}, {1, 2, 3}}, {0, 0}},
    {"huge coordinates", {2, 0.0, 0, false, 1e-3, 1e-3},
     {{1e300, -1e300}, {1e300, -1e300}, {-1e300, 1e300}}, {0, 0, 2}},
    // Tolerances at the ends of the double range follow the same rule.
    {"infinite tolerance", {2, 0.0, 0, false, kInf, 0.0}, {{0.0, 0.0}, {-1e300, 7e299}}, {0, 0}},
    // 2e308 apart, farther than the tolerance; then 1.5e308 from the first, 5e307 from the second.
    {"overflowing tolerance", {1, 0.0, 0, false, 1e308, 1e308}, {{-1e308}, {1e308}, {5e307}},
     {0, 1, 1}},
    {"subnormal tolerance", {1, 0.0, 0, false, 1e-320, 1e-320}, {{0.0}, {5e-321}, {2e-320}},
     {0, 0, 2}},
};
// clang-format on

TEST(CoordHashMap, MergesPointsWithinTheTolerance) {
  for (const MergeCase& c : kMergeCases) {
    CoordHashMap map(c.map.dim, c.map.maxAbs, c.map.sizeHint, c.map.relative, c.map.tol,
                     c.map.cell);
    for (std::size_t i = 0; i < c.points.size(); ++i) {
      const auto r = map.insert(c.points[i].data(), static_cast<int>(i), true);
      EXPECT_EQ(*r.first, c.expected[i]) << c.what << ", point " << i;
      EXPECT_EQ(r.second, c.expected[i] == static_cast<int>(i)) << c.what << ", point " << i;
    }
  }
}

TEST(CoordHashMap, AgreesWithBruteForceOnClusteredAndSpreadPoints) {
  std::mt19937 rng(7);
  // Coordinates on a grid of 0.005 so that many differences are close to the tolerance.
  std::uniform_int_distribution<int> grid(0, 40);
  const double tol = 0.01;
  for (unsigned dim = 1; dim <= 3; ++dim) {
    for (double cell : {0.0, 1e-9, 0.01, 1.0}) {
      CoordHashMap map(dim, 1.0, 100, false, tol, cell);
      std::vector<std::pair<std::array<double, 3>, int>> stored;
      for (int i = 0; i < 3000; ++i) {
        std::array<double, 3> c{};
        for (unsigned d = 0; d < dim; ++d)
          c[d] = grid(rng) * 0.005;
        // The matching rule written out plainly: the first stored point whose every coordinate
        // is within the tolerance.
        int expected = i;
        for (std::size_t p = 0; p < stored.size() && expected == i; ++p) {
          bool all = true;
          for (unsigned d = 0; d < dim; ++d)
            all = all && std::fabs(stored[p].first[d] - c[d]) <= tol;
          if (all) expected = stored[p].second;
        }
        if (expected == i) stored.push_back({c, i});
        const auto got = map.insert(c.data(), i, true);
        ASSERT_EQ(*got.first, expected) << "dim " << dim << " cell " << cell << " point " << i;
        ASSERT_EQ(got.second, expected == i);
      }
    }
  }
}

TEST(CoordHashMap, LookupLeavesTheMapUnchangedAndPointersStayValid) {
  CoordHashMap map(1, 0.0, 1, false, 0.0, 0.0);
  const double first[] = {0.0};
  const auto miss = map.insert(first, 42, false);
  EXPECT_EQ(miss.first, nullptr);
  EXPECT_TRUE(miss.second);
  EXPECT_EQ(map.size(), 0u);
  const int* stored = map.insert(first, 42, true).first;
  for (int i = 1; i < 100000; ++i) {
    const double c[] = {static_cast<double>(i)};
    map.insert(c, i, true);
  }
  EXPECT_EQ(*stored, 42);
  EXPECT_EQ(map.insert(first, 0, true).first, stored);
}

TEST(CoordHashMap, ManyPointsInOneCellStayDistinct) {
  // A huge cell hint and points just outside each other's tolerance: all stay distinct (the
  // cost of this case is measured in the benchmark).
  CoordHashMap map(2, 0.0, 0, false, 1e-6, 1e6);
  for (int i = 0; i < 200000; ++i) {
    const double c[] = {i * 2e-6, 0.0};
    ASSERT_TRUE(map.insert(c, i, true).second);
  }
  EXPECT_EQ(map.size(), 200000u);
}

}  // namespace
