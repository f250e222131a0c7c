// Internal arithmetic of the curve, face and sheet primitives in N coordinates: the squared
// distance from a point to a segment, the separating-axis test of a segment against a box,
// the all-vertices-inside tests of a ball and a box, and in 3D the query cylinder (its frame,
// a point in it, a segment meeting it). Curve2D's static helpers, Face2D and the 3D
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
#include <utility>

namespace nkdatacarrier {
namespace segmentmath {

// Copies the N float coordinates of a vertex struct that starts with them (x, y[, z], possibly
// followed by more floats such as a normal) into `out`.
template <int N, typename V>
inline void load(const V& v, float (&out)[N]) {
  static_assert(sizeof(V) >= N * sizeof(float) && sizeof(V) % sizeof(float) == 0 &&
                    std::is_trivially_copyable<V>::value && std::is_standard_layout<V>::value,
                "a vertex is a plain struct of floats starting with N coordinates");
  std::memcpy(out, &v, sizeof out);
}

// The first three floats (x, y, z) of a 3D vertex struct, which stores them consecutively.
template <typename V>
inline const float* xyzOf(const V& v) {
  static_assert(std::is_standard_layout<V>::value && sizeof(V) >= 3 * sizeof(float),
                "a 3D vertex starts with x, y, z as floats");
  return &v.x;
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

// ---- 3D cylinders: the frame of a query cylinder, a point inside it, a segment meeting it ----
//
// A query cylinder has an axis point, an axis direction of any length (normalised here), a
// radius and the heights `top` >= h >= `bottom` along the unit axis from the axis point. The
// curve and sheet primitives share these pieces.

// Dot product and squared length of double 3-vectors, summed x, y, z in that order.
inline double dot3(const double* a, const double* b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// v divided by its length, component by component.
inline void normalise3(const double* v, double* out) {
  const double len = std::sqrt(dot3(v, v));
  for (int k = 0; k < 3; ++k)
    out[k] = v[k] / len;
}

// Half size of the cube around the axis point that holds the whole cylinder:
// sqrt(r^2 + max(top^2, bottom^2)).
inline double cylinderReach(double radius, double top, double bottom) {
  return std::sqrt(radius * radius + std::max(top * top, bottom * bottom));
}

// The unit axis w of a query cylinder and a unit basis u, v of the plane perpendicular to it:
// u = (w.y, -w.x, 0) normalised when |w.x| > |w.z|, else (0, w.z, -w.y) normalised; v = w x u.
struct CylinderFrame {
  explicit CylinderFrame(const double* axis) {
    normalise3(axis, w);
    double p[3];
    if (std::fabs(w[0]) > std::fabs(w[2])) {
      p[0] = w[1];
      p[1] = -w[0];
      p[2] = 0.0;
    } else {
      p[0] = 0.0;
      p[1] = w[2];
      p[2] = -w[1];
    }
    normalise3(p, u);
    v[0] = w[1] * u[2] - w[2] * u[1];
    v[1] = w[2] * u[0] - w[0] * u[2];
    v[2] = w[0] * u[1] - w[1] * u[0];
  }
  double u[3];
  double v[3];
  double w[3];
};

// A cylinder for the point test, with the axis normalised once per query.
struct CylinderQuery {
  CylinderQuery(const double* base_, const double* axis, double radius, double top_, double bottom_)
      : r2(radius * radius), top(top_), bottom(bottom_) {
    for (int k = 0; k < 3; ++k)
      base[k] = base_[k];
    normalise3(axis, n);
  }
  double base[3];
  double n[3];
  double r2;
  double top;
  double bottom;
};

// Whether the float point v lies in the closed cylinder: bottom <= h <= top for its height h
// along the axis, and its squared distance |d|^2 - h^2 from the axis line at most r^2.
inline bool pointInCylinder(const CylinderQuery& c, const float* v) {
  double d[3];
  for (int k = 0; k < 3; ++k)
    d[k] = double(v[k]) - c.base[k];
  const double h = dot3(d, c.n);
  if (!(c.top >= h && h >= c.bottom)) return false;
  return c.r2 >= dot3(d, d) - h * h;
}

// Whether the segment a-b meets the closed cylinder with the unit axis `n` and the unit basis
// e1, e2 of the plane perpendicular to it. The ends relative to the base are ordered so that P
// is the higher one; a segment wholly above `top` or below `bottom` misses. Unless the segment
// is perpendicular to the axis (|dh| at most 1e-7 of its length) it is clipped to the slab:
// first P down to `top`, then Q up to `bottom`, where Q is interpolated between the already
// clipped P and Q with the parameter of the unclipped segment. With both ends clipped Q thus
// lands slightly off the bottom plane; selection results depend on that, so it stays. The clipped
// ends are projected onto the perpendicular plane in single precision and the segment between
// them meets the cylinder when its distance from the axis is at most the radius.
inline bool segmentMeetsCylinder(const double* base, const double* e1, const double* e2,
                                 const double* n, double r2, double top, double bottom,
                                 const float* a, const float* b) {
  double P[3];
  double Q[3];
  for (int k = 0; k < 3; ++k) {
    P[k] = double(a[k]) - base[k];
    Q[k] = double(b[k]) - base[k];
  }
  double hP = dot3(n, P);
  double hQ = dot3(n, Q);
  if (hQ > hP) {
    std::swap(hP, hQ);
    for (int k = 0; k < 3; ++k)
      std::swap(P[k], Q[k]);
  }
  if (hQ > top || bottom > hP) return false;
  const double dh = hQ - hP;
  double D[3];
  for (int k = 0; k < 3; ++k)
    D[k] = Q[k] - P[k];
  if (std::fabs(dh) > 1e-7 * std::sqrt(dot3(D, D))) {
    if (hP > top) {
      const double t = (top - hP) / dh;
      for (int k = 0; k < 3; ++k)
        P[k] = (1.0 - t) * P[k] + t * Q[k];
    }
    if (bottom > hQ) {
      const double t = (bottom - hP) / dh;  // hP and dh of the unclipped segment
      for (int k = 0; k < 3; ++k)
        Q[k] = (1.0 - t) * P[k] + t * Q[k];  // from the clipped P
    }
  }
  const float p2[2] = {float(dot3(e1, P)), float(dot3(e2, P))};
  const float q2[2] = {float(dot3(e1, Q)), float(dot3(e2, Q))};
  const double origin[2] = {0.0, 0.0};
  return r2 >= distance2ToSegment<2>(origin, p2, q2);
}

}  // namespace segmentmath
}  // namespace nkdatacarrier
