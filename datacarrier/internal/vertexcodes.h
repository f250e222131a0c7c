// Per-vertex classification of a sheet's or curve's vertices against a query, made once per
// query so that the loops over triangles or segments can rule most of them out from one byte
// per corner: when the codes of all corners share a bit, the corners lie beyond one face of a
// region the exact test cannot reach, and the test would answer no. Every limit is rounded
// outwards to single precision and widened far beyond the rounding of the exact tests, so a
// ruled-out element never changes an answer. Also the magnitudes of the vertices, measured on
// the way, that such margins follow. Internal to the library.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "datacarrier/boundingbox3d.h"

namespace nkdatacarrier {
namespace vertexcodes {

// x, y, z of a vertex in the first three lanes; the fourth lane holds whatever follows z in a
// vertex of at least four floats (never read by the codes), else 0.
template <typename V>
inline __m128 loadXyz(const V& v) {
  if constexpr (sizeof(V) >= 4 * sizeof(float)) {
    return _mm_loadu_ps(&v.x);
  } else {
    // x and y by one unaligned 8-byte load, z by a 4-byte one.
    return _mm_movelh_ps(_mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(&v.x))),
                         _mm_load_ss(&v.z));
  }
}

// |x|, |y|, |z| of a vertex, the fourth lane 0.
template <typename V>
inline __m128 absoluteXyz(const V& v) {
  const __m128 mask = _mm_castsi128_ps(_mm_set_epi32(0, 0x7fffffff, 0x7fffffff, 0x7fffffff));
  return _mm_and_ps(loadXyz(v), mask);
}

// The largest of the four lanes.
inline float largestLane(__m128 x) {
  x = _mm_max_ps(x, _mm_movehl_ps(x, x));
  x = _mm_max_ss(x, _mm_shuffle_ps(x, x, 1));
  return _mm_cvtss_f32(x);
}

// The largest coordinate of the n vertices in absolute value; NaN coordinates are ignored
// (_mm_max_ps(x, m) keeps m when x is NaN).
// Four running maxima, so that the loop does not wait on each one's latency.
template <typename V>
inline float magnitudeOf(const V* v, int n) {
  __m128 m0 = _mm_setzero_ps(), m1 = m0, m2 = m0, m3 = m0;
  int i = 0;
  for (; i + 4 <= n; i += 4) {
    m0 = _mm_max_ps(absoluteXyz(v[i]), m0);
    m1 = _mm_max_ps(absoluteXyz(v[i + 1]), m1);
    m2 = _mm_max_ps(absoluteXyz(v[i + 2]), m2);
    m3 = _mm_max_ps(absoluteXyz(v[i + 3]), m3);
  }
  for (; i < n; ++i)
    m0 = _mm_max_ps(absoluteXyz(v[i]), m0);
  return largestLane(_mm_max_ps(_mm_max_ps(m0, m1), _mm_max_ps(m2, m3)));
}

// The largest side of the vertices' box, each side the difference of two floats rounded to a
// float and widened (NaN coordinates ignored by std::min and std::max after the first vertex);
// 0 without vertices. The plane cuts scale their tolerance with it.
template <typename V>
inline double largestExtent(const V* v, std::size_t n) {
  if (n == 0) return 0.0;
  float lo[3] = {v[0].x, v[0].y, v[0].z};
  float hi[3] = {lo[0], lo[1], lo[2]};
  for (std::size_t i = 0; i < n; ++i) {
    const float c[3] = {v[i].x, v[i].y, v[i].z};
    for (int k = 0; k < 3; ++k) {
      lo[k] = std::min(lo[k], c[k]);
      hi[k] = std::max(hi[k], c[k]);
    }
  }
  double extent = 0.0;
  for (int k = 0; k < 3; ++k)
    extent = std::max(extent, double(float(hi[k] - lo[k])));
  return extent;
}

// The largest coordinate of a box in absolute value: a first guess at the magnitude of the
// vertices it claims to hold.
inline double boxMagnitude(const BoundingBox3D& box) {
  double magnitude = 0.0;
  for (float x :
       {box.getMinX(), box.getMaxX(), box.getMinY(), box.getMaxY(), box.getMinZ(), box.getMaxZ()}) {
    magnitude = std::max(magnitude, std::fabs(double(x)));
  }
  return magnitude;
}

// The largest |x - p|_1 (the sum of the coordinates' distances from p) that a box claims for its
// vertices: a first guess for cylinderCodes.
inline double boxReach(const BoundingBox3D& box, const double* p) {
  const double lo[3] = {box.getMinX(), box.getMinY(), box.getMinZ()};
  const double hi[3] = {box.getMaxX(), box.getMaxY(), box.getMaxZ()};
  double sum = 0.0;
  for (int k = 0; k < 3; ++k)
    sum += std::max(std::fabs(lo[k] - p[k]), std::fabs(hi[k] - p[k]));
  return sum;
}

// The float next to f towards +infinity (up) or -infinity, for f not NaN and not already the
// infinity it moves to: one step of the bit pattern, as std::nextafter does, without its call.
inline float floatStep(float f, bool up) {
  std::uint32_t bits;
  std::memcpy(&bits, &f, sizeof bits);
  if ((bits & 0x7fffffffu) == 0) {
    bits = up ? 1u : 0x80000001u;  // from either zero to the smallest subnormal
  } else {
    const bool negative = (bits >> 31) != 0;
    bits = negative == up ? bits - 1 : bits + 1;
  }
  std::memcpy(&f, &bits, sizeof f);
  return f;
}
// x as a float rounded up, or down.
inline float floatUp(double x) {
  const float f = float(x);
  return double(f) < x ? floatStep(f, true) : f;
}
inline float floatDown(double x) {
  const float f = float(x);
  return double(f) > x ? floatStep(f, false) : f;
}

// p - r and p + r on each axis as floats rounded outwards, in the x, y, z lanes of lo and hi;
// the fourth lane gets -infinity and +infinity, so nothing lies beyond it. A limit beyond the
// float range becomes an infinity and a NaN stays NaN.
inline void outwardLimits(const double* p, const double* r, __m128& lo, __m128& hi) {
  lo = _mm_setr_ps(floatDown(p[0] - r[0]), floatDown(p[1] - r[1]), floatDown(p[2] - r[2]),
                   -HUGE_VALF);
  hi = _mm_setr_ps(floatUp(p[0] + r[0]), floatUp(p[1] + r[1]), floatUp(p[2] + r[2]), HUGE_VALF);
}
inline void outwardLimits(const double* p, double r, __m128& lo, __m128& hi) {
  const double all[3] = {r, r, r};
  outwardLimits(p, all, lo, hi);
}

// Side codes against the cube p +- reach (or the box p +- reach[k]): bit k set when the vertex
// lies below p[k] - reach on axis k, bit 4 + k when above p[k] + reach. Elements whose corners
// share a bit lie farther than reach from p on that axis. The limits are rounded outwards, so that
// the rounding of the comparisons never matters; a NaN coordinate sets no bit, and a p or reach
// that is not finite sets none at all.
class SideLimits {
 public:
  SideLimits(const double* p, double reach) { outwardLimits(p, reach, below_, above_); }
  SideLimits(const double* p, const double* reach) { outwardLimits(p, reach, below_, above_); }
  template <typename V>
  int code(const V& v) const {
    const __m128 x = loadXyz(v);
    return _mm_movemask_ps(_mm_cmplt_ps(x, below_)) | _mm_movemask_ps(_mm_cmpgt_ps(x, above_)) << 4;
  }

 private:
  __m128 below_;
  __m128 above_;
};

// Writes the side codes of the n vertices; returns their magnitude (as magnitudeOf), measured on
// the way.
template <typename V>
inline float sideCodes(const SideLimits& sides, const V* v, int n, unsigned char* codes) {
  __m128 m0 = _mm_setzero_ps(), m1 = m0;  // two running maxima, as in magnitudeOf
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    codes[i] = static_cast<unsigned char>(sides.code(v[i]));
    codes[i + 1] = static_cast<unsigned char>(sides.code(v[i + 1]));
    m0 = _mm_max_ps(absoluteXyz(v[i]), m0);
    m1 = _mm_max_ps(absoluteXyz(v[i + 1]), m1);
  }
  if (i < n) {
    codes[i] = static_cast<unsigned char>(sides.code(v[i]));
    m0 = _mm_max_ps(absoluteXyz(v[i]), m0);
  }
  return largestLane(_mm_max_ps(m0, m1));
}

// A cylinder for codes: the point p, the unit axis w, the unit basis u, v of the cross-section,
// clear (the radius with whatever margin the exact test's own quick rejection uses), the slab
// hMin <= h <= hMax, and whether the test rules out an element below hMin only when
// hMin <= hMax.
struct CylinderSides {
  const double* p;
  const double* u;
  const double* v;
  const double* w;
  double clear;
  double hMax;
  double hMin;
  bool belowNeedsOrder;
};

// Per-vertex codes of a cylinder test, such that corners sharing a bit certainly miss: the vertex
// beyond the slab (h > hMax, or h < hMin), or its projection on u or on v beyond +clear or
// -clear, where h, u and v are taken relative to p. They are computed in single precision, four
// lanes at once, and every limit is widened by m = 2^-18 (reach + |p|_1), rounded outwards: with
// reach at least every vertex's |x - p|_1, this exceeds the rounding of the float arithmetic many
// times over, so a flagged corner's h as the exact test computes it in double lies beyond the
// slab as well, and corners flagged on one side of u or v put every point of the clipped
// element, as the test projects it, beyond clear + 2^-20 of its largest projected coordinate,
// where the test's single-precision projection and edge directions cannot bring it within the
// radius. NaN sets no bit. measured() is the sum over the axes of the largest |x - p| of the
// vertices coded (kept by the caller; NaN ignored), in single precision: within a relative 2^-24
// and 2^-24 |p| of the exact value, which m covers. The caller checks the reach it gave with it.
class CylinderCoder {
 public:
  CylinderCoder(const CylinderSides& cyl, double reach) {
    const double m =
        0x1p-18 * (reach + std::fabs(cyl.p[0]) + std::fabs(cyl.p[1]) + std::fabs(cyl.p[2]));
    const float side = floatUp(cyl.clear + m);
    const bool below = !cyl.belowNeedsOrder || cyl.hMin <= cyl.hMax;
    upper_ = _mm_setr_ps(floatUp(cyl.hMax + m), side, side, HUGE_VALF);
    lower_ = _mm_setr_ps(below ? floatDown(cyl.hMin - m) : -HUGE_VALF, -side, -side, -HUGE_VALF);
    origin_ = _mm_setr_ps(float(cyl.p[0]), float(cyl.p[1]), float(cyl.p[2]), 0.0f);
    alongX_ = _mm_setr_ps(float(cyl.w[0]), float(cyl.u[0]), float(cyl.v[0]), 0.0f);
    alongY_ = _mm_setr_ps(float(cyl.w[1]), float(cyl.u[1]), float(cyl.v[1]), 0.0f);
    alongZ_ = _mm_setr_ps(float(cyl.w[2]), float(cyl.u[2]), float(cyl.v[2]), 0.0f);
  }
  // The vertex's code; largest takes the vertex's |x - p| per axis into its running maxima.
  template <typename V>
  int code(const V& v, __m128& largest) const {
    const __m128 mask = _mm_castsi128_ps(_mm_set_epi32(0, 0x7fffffff, 0x7fffffff, 0x7fffffff));
    const __m128 P = _mm_sub_ps(loadXyz(v), origin_);
    const __m128 huv = _mm_add_ps(_mm_add_ps(_mm_mul_ps(_mm_shuffle_ps(P, P, 0x00), alongX_),
                                             _mm_mul_ps(_mm_shuffle_ps(P, P, 0x55), alongY_)),
                                  _mm_mul_ps(_mm_shuffle_ps(P, P, 0xaa), alongZ_));
    largest = _mm_max_ps(_mm_and_ps(P, mask), largest);  // NaN keeps the largest so far
    return _mm_movemask_ps(_mm_cmpgt_ps(huv, upper_)) | _mm_movemask_ps(_mm_cmplt_ps(huv, lower_))
                                                            << 4;
  }
  // The measured reach from the running maxima.
  static double measured(__m128 largest) {
    float lanes[4];
    _mm_storeu_ps(lanes, largest);
    return double(lanes[0]) + double(lanes[1]) + double(lanes[2]);
  }

 private:
  __m128 upper_, lower_, origin_, alongX_, alongY_, alongZ_;
};

// Writes the cylinder codes of the n vertices; returns CylinderCoder::measured().
template <typename V>
inline double cylinderCodes(const CylinderSides& cyl, double reach, const V* v, int n,
                            unsigned char* codes) {
  const CylinderCoder coder(cyl, reach);
  __m128 m0 = _mm_setzero_ps(), m1 = m0;  // two running maxima, as in magnitudeOf
  int i = 0;
  for (; i + 2 <= n; i += 2) {
    codes[i] = static_cast<unsigned char>(coder.code(v[i], m0));
    codes[i + 1] = static_cast<unsigned char>(coder.code(v[i + 1], m1));
  }
  if (i < n) codes[i] = static_cast<unsigned char>(coder.code(v[i], m0));
  return CylinderCoder::measured(_mm_max_ps(m0, m1));
}

}  // namespace vertexcodes
}  // namespace nkdatacarrier
