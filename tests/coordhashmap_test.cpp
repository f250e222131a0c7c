#include "qvutil/coordhashmap.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <limits>
#include <random>

namespace {

// The matching rule written out plainly: the first stored point whose every coordinate is
// within the tolerance.
struct BruteForce {
  unsigned dim;
  double tol;
  std::vector<std::vector<double>> points;
  std::vector<int> indices;

  int insert(const double* c, int index) {
    for (std::size_t p = 0; p < points.size(); ++p) {
      bool all = true;
      for (unsigned d = 0; d < dim; ++d)
        all = all && std::fabs(points[p][d] - c[d]) <= tol;
      if (all) return indices[p];
    }
    points.emplace_back(c, c + dim);
    indices.push_back(index);
    return index;
  }
};

TEST(CoordHashMap, MatchesWithinTheToleranceOnEveryAxis) {
  CoordHashMap map(2, 0.0, 10, false, 0.1, 0.5);
  const double a[] = {1.0, 1.0};
  const double nearA[] = {1.1, 0.9};  // within 0.1 on both axes (after rounding: 0.1000..)
  const double farY[] = {1.0, 1.2};   // 0.2 away on y
  auto r1 = map.insert(a, 10, true);
  EXPECT_TRUE(r1.second);
  EXPECT_EQ(*r1.first, 10);
  auto r2 = map.insert(nearA, 11, true);
  EXPECT_EQ(r2.second, std::fabs(1.1 - 1.0) > 0.1);  // 1.1 - 1.0 is 0.10000000000000009
  auto r3 = map.insert(farY, 12, true);
  EXPECT_TRUE(r3.second);
  const double exactEdge[] = {1.0, 1.0 + 0.0625};
  CoordHashMap edge(2, 0.0, 10, false, 0.0625, 0.0625);
  edge.insert(a, 1, true);
  EXPECT_FALSE(edge.insert(exactEdge, 2, true).second);  // a difference equal to the tolerance
}

TEST(CoordHashMap, FirstInsertedMatchWins) {
  CoordHashMap map(1, 0.0, 0, false, 1.0, 1.0);
  const double p0[] = {0.0}, p1[] = {1.5}, q[] = {0.9};
  map.insert(p0, 100, true);
  map.insert(p1, 101, true);          // 1.5 is not within 1.0 of 0.0
  auto r = map.insert(q, 102, true);  // within 1.0 of both
  EXPECT_FALSE(r.second);
  EXPECT_EQ(*r.first, 100);
}

TEST(CoordHashMap, RelativeTolerancesScaleWithTheLargestCoordinate) {
  CoordHashMap map(3, 1000.0, 4, true, 1e-6, 1e-4);  // matching within 1e-3
  const double a[] = {500.0, 500.0, 500.0};
  const double b[] = {500.0009, 499.9991, 500.0};
  const double c[] = {500.0011, 500.0, 500.0};
  map.insert(a, 0, true);
  EXPECT_FALSE(map.insert(b, 1, true).second);
  EXPECT_TRUE(map.insert(c, 2, true).second);

  CoordHashMap unit(1, 0.0, 4, true, 0.5, 0.5);  // a zero scale means 1
  const double x[] = {3.0}, y[] = {3.4};
  unit.insert(x, 0, true);
  EXPECT_FALSE(unit.insert(y, 1, true).second);
}

TEST(CoordHashMap, LookupWithoutInsertLeavesTheMapUnchanged) {
  CoordHashMap map(2, 0.0, 0, false, 0.0, 0.0);
  const double p[] = {-0.0, 2.0}, q[] = {0.0, 2.0};
  auto miss = map.insert(p, 1, false);
  EXPECT_EQ(miss.first, nullptr);
  EXPECT_TRUE(miss.second);
  EXPECT_EQ(map.size(), 0u);
  map.insert(p, 1, true);
  EXPECT_FALSE(map.insert(q, 2, true).second);  // -0 and +0 are one position
}

TEST(CoordHashMap, NonFiniteCoordinatesNeverMatch) {
  CoordHashMap map(2, 0.0, 0, false, 0.5, 1.0);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const double inf = std::numeric_limits<double>::infinity();
  const double p[] = {nan, 0.0}, q[] = {inf, 0.0};
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(map.insert(p, i, true).second);
    EXPECT_TRUE(map.insert(q, i, true).second);
  }
  EXPECT_EQ(map.size(), 6u);
}

TEST(CoordHashMap, AgreesWithBruteForceOnClusteredAndSpreadPoints) {
  std::mt19937 rng(7);
  for (unsigned dim = 1; dim <= 3; ++dim) {
    for (double cell : {0.0, 1e-9, 0.01, 1.0}) {
      const double tol = 0.01;
      CoordHashMap map(dim, 1.0, 100, false, tol, cell);
      BruteForce ref{dim, tol, {}, {}};
      // Coordinates on a grid of 0.005 so that many differences are close to the tolerance.
      std::uniform_int_distribution<int> grid(0, 40);
      for (int i = 0; i < 3000; ++i) {
        double c[3];
        for (unsigned d = 0; d < dim; ++d)
          c[d] = grid(rng) * 0.005;
        const int expected = ref.insert(c, i);
        const auto got = map.insert(c, i, true);
        ASSERT_EQ(*got.first, expected) << "dim " << dim << " cell " << cell << " point " << i;
        ASSERT_EQ(got.second, expected == i);
      }
    }
  }
}

TEST(CoordHashMap, PointersStayValidAsTheMapGrows) {
  CoordHashMap map(1, 0.0, 1, false, 0.0, 0.0);
  const double first[] = {0.0};
  const int* stored = map.insert(first, 42, true).first;
  for (int i = 1; i < 100000; ++i) {
    const double c[] = {static_cast<double>(i)};
    map.insert(c, i, true);
  }
  EXPECT_EQ(*stored, 42);
  EXPECT_EQ(map.insert(first, 0, true).first, stored);
}

TEST(CoordHashMap, HugeSizeHintAllocatesOnlyWhatThePointsNeed) {
  // The unsigned image of -1: were it honoured, this would need tens of gigabytes.
  CoordHashMap map(3, 10.0, 4294967295u, true, 1e-6, 1e-5);
  const double p[] = {1.0, 2.0, 3.0};
  EXPECT_TRUE(map.insert(p, 0, true).second);
  EXPECT_FALSE(map.insert(p, 1, true).second);
}

TEST(CoordHashMap, ManyPointsInOneCellStayFast) {
  // A huge cell hint and points just outside each other's tolerance: a map that chained all of
  // them in one cell would need ~1e10 comparisons here.
  CoordHashMap map(2, 0.0, 0, false, 1e-6, 1e6);
  const auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < 200000; ++i) {
    const double c[] = {i * 2e-6, 0.0};
    ASSERT_TRUE(map.insert(c, i, true).second);
  }
  const double seconds =
      std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  EXPECT_LT(seconds, 5.0);
}

TEST(CoordHashMap, HugeCoordinatesAreMergedCorrectly) {
  CoordHashMap map(2, 0.0, 0, false, 1e-3, 1e-3);
  const double a[] = {1e300, -1e300}, b[] = {1e300, -1e300}, c[] = {-1e300, 1e300};
  map.insert(a, 0, true);
  EXPECT_FALSE(map.insert(b, 1, true).second);
  EXPECT_TRUE(map.insert(c, 2, true).second);
}

}  // namespace

namespace {

// Tolerances at the ends of the double range: an infinite one matches every finite point, a
// huge one every point that is not farther than it, a subnormal one only points that close.
TEST(CoordHashMap, ExtremeTolerancesFollowTheMatchingRule) {
  const double inf = std::numeric_limits<double>::infinity();
  CoordHashMap everything(2, 0.0, 0, false, inf, 0.0);
  const double origin[] = {0.0, 0.0}, far[] = {-1e300, 7e299};
  everything.insert(origin, 1, true);
  auto r = everything.insert(far, 2, true);
  EXPECT_FALSE(r.second);
  EXPECT_EQ(*r.first, 1);

  CoordHashMap huge(1, 0.0, 0, false, 1e308, 1e308);  // twice the tolerance overflows
  const double low[] = {-1e308}, high[] = {1e308}, mid[] = {5e307};
  huge.insert(low, 1, true);
  EXPECT_TRUE(huge.insert(high, 2, true).second);  // 2e308 apart: farther than the tolerance
  auto m = huge.insert(mid, 3, true);              // 1.5e308 from low, 5e307 from high
  EXPECT_FALSE(m.second);
  EXPECT_EQ(*m.first, 2);

  CoordHashMap tiny(1, 0.0, 0, false, 1e-320, 1e-320);
  const double zero[] = {0.0}, near[] = {5e-321}, apart[] = {2e-320};
  tiny.insert(zero, 1, true);
  EXPECT_FALSE(tiny.insert(near, 2, true).second);
  EXPECT_TRUE(tiny.insert(apart, 3, true).second);
}

}  // namespace
