// Internal arithmetic of the curve, face and sheet primitives in N coordinates: the squared
// distance from a point to a segment, the separating-axis test of a segment against a box, and
// the all-vertices-inside tests of a ball and a box. Curve2D's static helpers, Face2D and the 3D
// primitives all call these, so that each rule and its precision exist once. Internal to the
// library.
//
// Precision rules kept here: a segment's direction is the difference of its two float vertices
// formed in single precision and then widened; everything else is double.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace nkdatacarrier {
namespace segmentmath {

// Copies the N float coordinates of a vertex struct (x, y[, z], nothing else) into `out`.
template <int N, typename V>
inline void load(const V& v, float (&out)[N]) {
  static_assert(sizeof(V) == N * sizeof(float) && std::is_trivially_copyable<V>::value,
                "a vertex is a plain struct of N floats");
  std::memcpy(out, &v, sizeof out);
}

// Segment direction b - a, formed in single precision and widened.
template <int N>
inline void direction(const float* a, const float* b, double* d) {
  for (int k = 0; k < N; ++k)
    d[k] = double(float(b[k] - a[k]));
}

// Squared distance from point p to the segment a-b. The foot parameter t is clamped to [0, 1];
// a degenerate segment (|b - a|^2 not greater than 0) measures the distance to a.
template <int N>
inline double distance2ToSegment(const double* p, const float* a, const float* b) {
  double d[N];
  double q[N] = {};
  direction<N>(a, b, d);
  for (int k = 0; k < N; ++k)
    q[k] = p[k] - double(a[k]);
  double len2 = d[0] * d[0];
  double dot = q[0] * d[0];
  for (int k = 1; k < N; ++k) {
    len2 = len2 + d[k] * d[k];
    dot = dot + q[k] * d[k];
  }
  double t = 0.0;
  if (len2 > 0.0) {
    t = dot / len2;
    if (t < 0.0) {
      t = 0.0;
    } else if (t > 1.0) {
      t = 1.0;
    }
  }
  double e = q[0] - t * d[0];
  double dist2 = e * e;
  for (int k = 1; k < N; ++k) {
    e = q[k] - t * d[k];
    dist2 = dist2 + e * e;
  }
  return dist2;
}

// A query box (min x, max x, min y, max y[, min z, max z]) as half widths and centre, computed
// once per query instead of once per segment.
template <int N>
struct CenteredBox {
  explicit CenteredBox(const double* box) {
    for (int k = 0; k < N; ++k) {
      half[k] = (box[2 * k + 1] - box[2 * k]) * 0.5;
      centre[k] = (box[2 * k] + box[2 * k + 1]) * 0.5;
    }
  }
  double half[N];
  double centre[N];
};

// The normal test of the separating-axis theorem in one coordinate plane (i, j): the segment's
// offset from the box centre along the segment's normal against the box's extent along it.
// `d` is the segment direction, `a` its first end relative to the centre.
inline bool normalSeparates(double dxi, double dxj, double hi, double hj, double ai, double aj) {
  const double extent = std::max(std::fabs(-dxj * hi - dxi * hj), std::fabs(dxi * hj - dxj * hi));
  const double offset = std::fabs(dxi * aj - dxj * ai);
  return offset > extent;
}

// Separating-axis test of the segment a-b against the box. Every comparison is strict, so a
// segment that only touches the box (a face, an edge, a corner) intersects it. In 3D the normal
// test runs in each of the three coordinate planes.
template <int N>
inline bool segmentMeetsBox(const CenteredBox<N>& box, const float* a, const float* b) {
  double ra[N];
  double rb[N];
  for (int k = 0; k < N; ++k) {
    ra[k] = double(a[k]) - box.centre[k];
    rb[k] = double(b[k]) - box.centre[k];
  }
  for (int k = 0; k < N; ++k) {
    if (std::min(ra[k], rb[k]) > box.half[k] || -box.half[k] > std::max(ra[k], rb[k])) {
      return false;
    }
  }
  double d[N];
  direction<N>(a, b, d);
  if constexpr (N == 2) {
    return !normalSeparates(d[0], d[1], box.half[0], box.half[1], ra[0], ra[1]);
  } else {
    // The planes (x, y), (y, z), (z, x); swapping the two axes of a plane gives the same values.
    for (int k = 0; k < N; ++k) {
      const int j = (k + 1) % N;
      if (normalSeparates(d[k], d[j], box.half[k], box.half[j], ra[k], ra[j])) return false;
    }
    return true;
  }
}

// The same two tests on vertex structs of N floats (x, y[, z]), as the primitives store them.
template <int N, typename V>
inline double pointSegmentDistance2(const double* p, const V& a, const V& b) {
  float fa[N];
  float fb[N];
  load<N>(a, fa);
  load<N>(b, fb);
  return distance2ToSegment<N>(p, fa, fb);
}

template <int N, typename V>
inline bool boxSegmentIntersect(const CenteredBox<N>& box, const V& a, const V& b) {
  float fa[N];
  float fb[N];
  load<N>(a, fa);
  load<N>(b, fb);
  return segmentMeetsBox<N>(box, fa, fb);
}

// True when every vertex lies within the ball (squared distance to the centre not above r*r;
// on the sphere counts as inside), or when there are no vertices.
template <int N, typename V>
inline bool allInsideBall(const V* vertices, std::size_t count, const double* centre, double r) {
  const double r2 = r * r;
  for (std::size_t i = 0; i < count; ++i) {
    float v[N];
    load<N>(vertices[i], v);
    double e = centre[0] - double(v[0]);
    double dist2 = e * e;
    for (int k = 1; k < N; ++k) {
      e = centre[k] - double(v[k]);
      dist2 = dist2 + e * e;
    }
    if (dist2 > r2) return false;
  }
  return true;
}

// True when every vertex lies within the box, bounds inclusive, or when there are no vertices.
template <int N, typename V>
inline bool allInsideBox(const V* vertices, std::size_t count, const double* box) {
  for (std::size_t i = 0; i < count; ++i) {
    float v[N];
    load<N>(vertices[i], v);
    for (int k = 0; k < N; ++k) {
      const double x = double(v[k]);
      if (box[2 * k] > x || x > box[2 * k + 1]) return false;
    }
  }
  return true;
}

}  // namespace segmentmath
}  // namespace nkdatacarrier
