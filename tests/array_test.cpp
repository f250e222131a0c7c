#include "qvutil/array.h"

#include <gtest/gtest.h>

#include <type_traits>

#include "qvutil/dvec3.h"
#include "qvutil/nkmath.h"
#include "qvutil/sharedptr.h"

namespace {

TEST(Array, OneDimensionalArraysAreZeroedAndIndexable) {
  Array<double, 1> a(3);
  EXPECT_EQ(a.size(), 3);
  EXPECT_EQ(a.extent(0), 3);
  EXPECT_EQ(a(2), 0.0);
  a[1] = 4.0;
  EXPECT_EQ(a(1), 4.0);
  EXPECT_EQ(a.data()[1], 4.0);
  const Array<int, 1> list{5, 6, 7};
  EXPECT_EQ(list[2], 7);
  EXPECT_EQ((Array<int, 1>().size()), 0);
}

TEST(Array, TwoDimensionalArraysStoreColumnAfterColumn) {
  Array<double, 2> m(2, 3);
  EXPECT_EQ(m.extent(0), 2);
  EXPECT_EQ(m.extent(1), 3);
  EXPECT_EQ(m.stride(0), 1);
  EXPECT_EQ(m.stride(1), 2);
  m(1, 2) = 9.0;
  EXPECT_EQ(m.data()[1 + 2 * 2], 9.0);

  const double* before = m.data();
  m.resize(3, 2);  // same element count: storage kept, strides follow the new shape
  EXPECT_EQ(m.data(), before);
  EXPECT_EQ(m.stride(1), 3);
  m.resize(4, 4);
  EXPECT_EQ(m.size(), 16);
  EXPECT_EQ(m(3, 3), 0.0);
}

TEST(DVec3, VectorArithmetic) {
  const nkvec::DVec3 a(1, 0, 0), b(0, 2, 0);
  const nkvec::DVec3 c = nkvec::cross(a, b);
  EXPECT_EQ(c.z, 2.0);
  EXPECT_EQ(nkvec::dot(a + b, b - a), 3.0);
  EXPECT_EQ(nkvec::norm(nkvec::DVec3(3, 4, 0) * 2.0 / 5.0), 2.0);
  nkvec::DVec3 d;
  d[2] = 7.0;
  EXPECT_EQ(d.z, 7.0);
  EXPECT_EQ(d[0], 0.0);
}

TEST(NkMath, InfinityNaNAndTheSharedPointer) {
  EXPECT_TRUE(nkIsInf(nkGetInf()) && nkIsInf(-nkGetInf()) && nkGetInf() > 0.0);
  EXPECT_TRUE(nkIsNaN(nkGetNaN()) && !nkIsInf(nkGetNaN()));
  EXPECT_FALSE(nkIsNaN(1.0) || nkIsInf(1.0));
  static_assert(std::is_same_v<nkboost::shared_ptr<int>, std::shared_ptr<int>>);
  EXPECT_EQ(*nkboost::make_shared<int>(3), 3);
}

}  // namespace
