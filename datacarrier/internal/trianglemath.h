// Internal arithmetic of one sheet triangle: where a line pierces it and the normal there, the
// closest-point candidates it offers, whether it overlaps a box or meets a cylinder, and the
// segment in which a plane cuts it. Sheet3D's loops call these functions and a spatial index
// over sheets calls exactly the same ones, so that both give the same answers to the last bit.
// Each function works on one triangle, allocates nothing and keeps per-query values in the
// query structs, which are built once per query. Internal to the library.
//
// Precision rules kept here: a vertex is widened to double before it meets a double; the
// difference of two stored vertices is formed in single precision and then widened.
#pragma once

#include <emmintrin.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/internal/vertexcodes.h"
#include "datacarrier/sheet3d.h"

namespace nkdatacarrier {
namespace trianglemath {

using Vertex = Sheet3D::Vertex;

// The position of a vertex, widened.
inline void position(const Vertex& a, double* out) {
  out[0] = double(a.x);
  out[1] = double(a.y);
  out[2] = double(a.z);
}

// The edge b - a, formed in single precision and widened.
inline void edge(const Vertex& a, const Vertex& b, double* e) {
  e[0] = double(float(b.x - a.x));
  e[1] = double(float(b.y - a.y));
  e[2] = double(float(b.z - a.z));
}

inline void cross(const double* a, const double* b, double* out) {
  out[0] = a[1] * b[2] - a[2] * b[1];
  out[1] = a[2] * b[0] - a[0] * b[2];
  out[2] = a[0] * b[1] - a[1] * b[0];
}

using segmentmath::dot3;

// Whether every index of the triangle addresses a vertex. The producer guarantees it; a corrupt
// stream may not, and such a triangle is skipped rather than read out of bounds.
inline bool indicesValid(const int* tri, int numVertices) {
  // One comparison of the largest index read as unsigned (a negative one reads as huge).
  const unsigned n = static_cast<unsigned>(numVertices);
  return std::max(std::max(static_cast<unsigned>(tri[0]), static_cast<unsigned>(tri[1])),
                  static_cast<unsigned>(tri[2])) < n;
}

// ---- line hits ----

// The line p0 + t (p1 - p0), with d = p0 - p1 formed once.
struct LineQuery {
  LineQuery(const double* p0_, const double* p1) {
    for (int k = 0; k < 3; ++k) {
      p0[k] = p0_[k];
      d[k] = p0_[k] - p1[k];
    }
  }
  double p0[3];
  double d[3];
};

// Where the line meets the plane of the triangle: a + s e1 + u e2 = p0 + t (p1 - p0).
struct LineHit {
  double s;
  double u;
  double t;
};

// Whether the line pierces the triangle a, b, c, within a band of 1e-5 in its barycentric
// coordinates (s > -1e-5, s < 1.00001, u > -1e-5, s + u < 1.00001). By Cramer's rule with
// e1 = b - a, e2 = c - a, w = p0 - a and det = e1 . (e2 x d): s = w . (e2 x d) / det,
// u = w . (d x e1) / det, t = w . (e1 x e2) / det. On a hit all of s, u, t are set; on a miss
// they are unspecified (u and t are computed only as far as the test needs them). A line
// parallel to the triangle divides by a zero det, and the NaN or infinite quotients fail the
// comparisons.
inline bool lineHitsTriangle(const LineQuery& q, const Vertex& a, const Vertex& b, const Vertex& c,
                             LineHit& hit) {
  double e1[3], e2[3], w[3], pv[3];
  edge(a, b, e1);
  edge(a, c, e2);
  w[0] = q.p0[0] - double(a.x);
  w[1] = q.p0[1] - double(a.y);
  w[2] = q.p0[2] - double(a.z);
  cross(e2, q.d, pv);
  const double det = dot3(e1, pv);
  const double ns = dot3(w, pv);
  // |ns| >= 2 |det| makes the quotient at least 2 in magnitude (or infinite, or 0 / 0), which
  // fails the band below whatever its rounding: the division can be skipped.
  if (std::fabs(ns) >= 2.0 * std::fabs(det)) return false;
  hit.s = ns / det;
  if (!(hit.s > -1e-5 && hit.s < 1.00001)) return false;
  double qv[3];
  cross(q.d, e1, qv);
  hit.u = dot3(w, qv) / det;
  if (!(hit.u > -1e-5 && hit.s + hit.u < 1.00001)) return false;
  double n[3];
  cross(e1, e2, n);
  hit.t = dot3(w, n) / det;
  return true;
}

// The vertex normals interpolated at (s, u), (1 - s - u) Na + s Nb + u Nc with the normals
// widened, divided by its length. A zero interpolated normal gives NaN components.
inline void interpolatedNormal(const Vertex& a, const Vertex& b, const Vertex& c, double s,
                               double u, double* n) {
  const double r = 1.0 - s - u;
  n[0] = r * double(a.nx) + s * double(b.nx) + u * double(c.nx);
  n[1] = r * double(a.ny) + s * double(b.ny) + u * double(c.ny);
  n[2] = r * double(a.nz) + s * double(b.nz) + u * double(c.nz);
  const double len = std::sqrt(dot3(n, n));
  n[0] = n[0] / len;
  n[1] = n[1] / len;
  n[2] = n[2] / len;
}

// ---- closest point ----

// The running state of a closest-point search: the best point so far, its squared distance
// (+infinity before the first one), whether this search improved it, and the distance at or
// below which an improvement ends the search.
struct ClosestSearch {
  double* closest;  // three doubles
  double dist2;
  double stopDist2;
  bool found;
};

// Offers candidate q: it wins when strictly nearer than the best so far. Returns true when the
// search is to stop (the winner lies within the stop distance).
inline bool offerCandidate(const double* p, const double* q, ClosestSearch& search) {
  const double dx = q[0] - p[0];
  const double dy = q[1] - p[1];
  const double dz = q[2] - p[2];
  const double d2 = dx * dx + dy * dy + dz * dz;
  if (search.dist2 > d2) {
    search.closest[0] = q[0];
    search.closest[1] = q[1];
    search.closest[2] = q[2];
    search.dist2 = d2;
    search.found = true;
    if (search.stopDist2 >= d2) return true;
  }
  return false;
}

// Clamps an edge parameter to [0, 1]; NaN stays NaN.
inline double clampUnit(double t) {
  if (t < 0.0) t = 0.0;
  if (t > 1.0) t = 1.0;
  return t;
}

// Offers the candidates of one triangle to the search: the foot of the perpendicular from p when
// it lies inside the triangle (0 <= s <= 1, t >= 0, s + t <= 1), else the nearest points of the
// edges a-b, a-c and b-c in that order. Returns true when the search is to stop. A degenerate
// triangle gives NaN parameters whose candidates never win.
inline bool closestOnTriangle(const double* p, const Vertex& a, const Vertex& b, const Vertex& c,
                              ClosestSearch& search) {
  double A[3], e1[3], e2[3], w[3];
  position(a, A);
  edge(a, b, e1);
  edge(a, c, e2);
  for (int k = 0; k < 3; ++k)
    w[k] = p[k] - A[k];
  const double a11 = dot3(e1, e1);
  const double a12 = dot3(e1, e2);
  const double a22 = dot3(e2, e2);
  const double b1 = dot3(w, e1);
  const double b2 = dot3(w, e2);
  const double inv = 1.0 / (a22 * a11 - a12 * a12);
  const double s = (b1 * a22 - b2 * a12) * inv;
  double q[3];
  if (s >= 0.0 && s <= 1.0) {
    const double t = (b2 * a11 - b1 * a12) * inv;
    if (t >= 0.0 && s + t <= 1.0) {
      for (int k = 0; k < 3; ++k)
        q[k] = A[k] + s * e1[k] + t * e2[k];
      return offerCandidate(p, q, search);
    }
  }
  double tau = clampUnit(b1 / a11);
  for (int k = 0; k < 3; ++k)
    q[k] = A[k] + tau * e1[k];
  if (offerCandidate(p, q, search)) return true;
  tau = clampUnit(b2 / a22);
  for (int k = 0; k < 3; ++k)
    q[k] = A[k] + tau * e2[k];
  if (offerCandidate(p, q, search)) return true;
  tau = clampUnit((b2 - b1 - a12 + a11) / (a22 - 2.0 * a12 + a11));
  for (int k = 0; k < 3; ++k)
    q[k] = A[k] + e1[k] + tau * (e2[k] - e1[k]);
  return offerCandidate(p, q, search);
}

// The slack of the closest-point rejection: far above the rounding of the exact arithmetic on
// coordinates of the magnitude of p and of the vertices (magnitude: their largest coordinate in
// absolute value), so that a rejected triangle could never have offered a winner. The
// candidates are built from edge vectors rounded to single precision, so they may leave the
// corners' box by up to a few 1e-8 of the coordinates' magnitude: the slack is a relative 1e-6.
inline double rejectionSlack(const double* p, double magnitude) {
  return 1e-6 *
         std::max(std::max(std::max(std::fabs(p[0]), std::fabs(p[1])), std::fabs(p[2])), magnitude);
}

// A lower bound of the squared distance from the point to any candidate closestOnTriangle can
// offer, from the box of the corners alone: per axis, the gap between that box and p widened by
// the slack, squared and summed where positive. Worked in single precision on the stored floats:
// p - slack and p + slack are rounded outwards, and the float arithmetic of the gaps, squares and
// sums rounds the result up by at most a relative 4e-7, which exceeds() allows for. The box
// takes min(min(a, b), c) per axis (and the same for max), so a NaN in b or c drops that corner
// from the axis and a NaN in a makes the axis count nothing: a NaN coordinate makes every
// candidate using that corner NaN, and the remaining candidates lie in the box of the remaining
// corners. Each vertex is loaded as one vector of its x, y, z (and nx, unused).
class ClosestBound {
 public:
  ClosestBound(const double* p, double slack) {
    vertexcodes::outwardLimits(p, slack, below_, above_);  // the fourth lane's gap is always 0
    setLimit(HUGE_VAL);
  }
  // The squared distance the candidates are compared with; a NaN limit rules nothing out.
  void setLimit(double limit) {
    const double widened = limit * (1.0 + 1e-6);
    float f = float(widened);
    if (double(f) < widened) f = std::nextafter(f, HUGE_VALF);
    limit_ = _mm_set_ss(f);
  }
  // True when every candidate of the triangle lies farther than the limit.
  bool exceeds(const Vertex& a, const Vertex& b, const Vertex& c) const {
    const __m128 va = _mm_loadu_ps(&a.x);
    const __m128 vb = _mm_loadu_ps(&b.x);
    const __m128 vc = _mm_loadu_ps(&c.x);
    // _mm_min_ps(y, x) is (y < x ? y : x), which is std::min(x, y); likewise for max.
    const __m128 lo = _mm_min_ps(vc, _mm_min_ps(vb, va));
    const __m128 hi = _mm_max_ps(vc, _mm_max_ps(vb, va));
    // max(lo - (p + slack), (p - slack) - hi), kept where positive (a NaN gap counts nothing).
    __m128 gap = _mm_max_ps(_mm_sub_ps(lo, above_), _mm_sub_ps(below_, hi));
    gap = _mm_max_ps(gap, _mm_setzero_ps());
    __m128 sum = _mm_mul_ps(gap, gap);
    sum = _mm_add_ps(sum, _mm_movehl_ps(sum, sum));
    sum = _mm_add_ss(sum, _mm_shuffle_ps(sum, sum, 1));
    return _mm_comigt_ss(sum, limit_) != 0;
  }
  // exceeds() for the four triangles whose corners are the twelve indices at `corners` (all
  // valid), as a mask with bit j for triangle j. The four sums of squares are added after a
  // transpose, in another order than exceeds() adds them, which the relative margin on the
  // limit covers as well.
  int exceedsFour(const Vertex* v, const int* corners) const {
    __m128 squares[4];
    for (int j = 0; j < 4; ++j) {
      const __m128 va = _mm_loadu_ps(&v[corners[3 * j]].x);
      const __m128 vb = _mm_loadu_ps(&v[corners[3 * j + 1]].x);
      const __m128 vc = _mm_loadu_ps(&v[corners[3 * j + 2]].x);
      const __m128 lo = _mm_min_ps(vc, _mm_min_ps(vb, va));
      const __m128 hi = _mm_max_ps(vc, _mm_max_ps(vb, va));
      __m128 gap = _mm_max_ps(_mm_sub_ps(lo, above_), _mm_sub_ps(below_, hi));
      gap = _mm_max_ps(gap, _mm_setzero_ps());
      squares[j] = _mm_mul_ps(gap, gap);
    }
    _MM_TRANSPOSE4_PS(squares[0], squares[1], squares[2], squares[3]);
    const __m128 sum = _mm_add_ps(_mm_add_ps(squares[0], squares[1]), squares[2]);
    return _mm_movemask_ps(_mm_cmpgt_ps(sum, _mm_shuffle_ps(limit_, limit_, 0)));
  }

 private:
  __m128 below_;
  __m128 above_;
  __m128 limit_;
};

// Whether all twelve indices at `corners` (four triangles) address vertices: as indicesValid,
// four at a time (an index read as unsigned, by flipping the sign bit for a signed compare).
inline bool fourIndicesValid(const int* corners, int numVertices) {
  const __m128i flip = _mm_set1_epi32(INT32_MIN);
  const __m128i limit = _mm_xor_si128(_mm_set1_epi32(numVertices), flip);
  __m128i ok = _mm_set1_epi32(-1);
  for (int k = 0; k < 3; ++k) {
    const __m128i x =
        _mm_xor_si128(_mm_loadu_si128(reinterpret_cast<const __m128i*>(corners + 4 * k)), flip);
    ok = _mm_and_si128(ok, _mm_cmplt_epi32(x, limit));
  }
  return _mm_movemask_epi8(ok) == 0xffff;
}

// Whether every candidate of the triangle lies farther from p than reach: all candidates lie in
// the plane through a spanned by the single-precision edges (to a rounding far below the slack
// that reach includes), so the plane's distance from p bounds them from below. With
// n = e1 x e2 and w = p - a: |n . w| > reach |n|, compared squared with a relative margin. Left
// undecided (false) for a sliver whose normal suffers cancellation (|n|^2 below 1e-6 of
// |e1|^2 |e2|^2), a degenerate triangle or NaN.
inline bool beyondPlane(const double* p, const Vertex& a, const Vertex& b, const Vertex& c,
                        double reach2) {
  double e1[3], e2[3], n[3];
  edge(a, b, e1);
  edge(a, c, e2);
  cross(e1, e2, n);
  const double w[3] = {p[0] - double(a.x), p[1] - double(a.y), p[2] - double(a.z)};
  const double nn = dot3(n, n);
  if (!(nn >= 1e-6 * dot3(e1, e1) * dot3(e2, e2))) return false;
  const double nw = dot3(n, w);
  return nw * nw > reach2 * nn * (1.0 + 1e-9);
}

// The squared reach for beyondPlane that rules out candidates farther than sqrt(limit): the
// distance widened by the slack.
inline double planeReach2(double limit, double slack) {
  const double reach = std::sqrt(limit) + slack;
  return reach * reach;
}

// The reach of the side codes (vertexcodes::SideLimits) of a closest-point search with a known
// bound: corners sharing a bit lie so far beyond the bound's distance on one axis that
// ClosestBound::exceeds holds for the bound, whatever the rounding: sqrt(bound) with a relative
// margin, and twice the slack.
inline double closestReach(double bound, double slack) {
  return std::sqrt(bound) * (1.0 + 1e-6) + 2.0 * slack;
}

// ---- box overlap ----

using segmentmath::CenteredBox;

// Whether one separating axis parts the projections [min, max] of the triangle from the box's
// [-radius, radius]: all three beyond radius, or all three below -radius. Strict: touching does
// not separate. (Put per vertex, a NaN projection never counts as beyond, whatever its place.)
inline bool separates(double p0, double p1, double p2, double radius) {
  return (p0 > radius && p1 > radius && p2 > radius) ||
         (p0 < -radius && p1 < -radius && p2 < -radius);
}

// Separating-axis test of the triangle a, b, c against the box, in the box's centre frame: the
// box axes x, y, z; the triangle's normal (b - a) x (c - a), where the box reaches
// max |+-hx nx +- hy ny +- hz nz|; the nine cross products of the edges b - a, c - b, a - c
// with the box axes. Every rejection is strict, so a triangle touching the box overlaps it;
// there is no tolerance. The edges are differences of the vertices in the centre frame.
inline bool boxMeetsTriangle(const CenteredBox<3>& box, const Vertex& a, const Vertex& b,
                             const Vertex& c) {
  const double* h = box.half;
  const double v0[3] = {double(a.x) - box.centre[0], double(a.y) - box.centre[1],
                        double(a.z) - box.centre[2]};
  const double v1[3] = {double(b.x) - box.centre[0], double(b.y) - box.centre[1],
                        double(b.z) - box.centre[2]};
  const double v2[3] = {double(c.x) - box.centre[0], double(c.y) - box.centre[1],
                        double(c.z) - box.centre[2]};
  for (int k = 0; k < 3; ++k) {
    if (separates(v0[k], v1[k], v2[k], h[k])) return false;
  }
  const double f[3][3] = {{v1[0] - v0[0], v1[1] - v0[1], v1[2] - v0[2]},
                          {v2[0] - v1[0], v2[1] - v1[1], v2[2] - v1[2]},
                          {v0[0] - v2[0], v0[1] - v2[1], v0[2] - v2[2]}};
  double n[3];
  const double e2[3] = {-f[2][0], -f[2][1], -f[2][2]};  // c - a, exactly
  cross(f[0], e2, n);
  // The largest |+-hx nx +- hy ny +- hz nz| is the sum with every term of one sign; rounding is
  // symmetric and monotonic, so summing the magnitudes gives the same value.
  const double reach = std::fabs(h[0] * n[0]) + std::fabs(h[1] * n[1]) + std::fabs(h[2] * n[2]);
  if (std::fabs(dot3(n, v0)) > reach) return false;
  for (int e = 0; e < 3; ++e) {
    const double* g = f[e];
    // x cross g = (0, -gz, gy)
    if (separates(g[1] * v0[2] - g[2] * v0[1], g[1] * v1[2] - g[2] * v1[1],
                  g[1] * v2[2] - g[2] * v2[1], std::fabs(h[1] * g[2]) + std::fabs(h[2] * g[1])))
      return false;
    // y cross g = (gz, 0, -gx)
    if (separates(g[2] * v0[0] - g[0] * v0[2], g[2] * v1[0] - g[0] * v1[2],
                  g[2] * v2[0] - g[0] * v2[2], std::fabs(h[0] * g[2]) + std::fabs(h[2] * g[0])))
      return false;
    // z cross g = (-gy, gx, 0)
    if (separates(g[0] * v0[1] - g[1] * v0[0], g[0] * v1[1] - g[1] * v1[0],
                  g[0] * v2[1] - g[1] * v2[0], std::fabs(h[0] * g[1]) + std::fabs(h[1] * g[0])))
      return false;
  }
  return true;
}

// ---- cylinder ----

// A query cylinder for the triangle test: the axis point p, the unit axis w, the unit basis u, v
// of the cross-section plane, r^2 and the two end heights.
struct CylinderQuery {
  CylinderQuery(const double* p_, const double* u_, const double* v_, const double* w_, double r,
                double hMax_, double hMin_)
      : r2(r * r), clear(std::fabs(r) * (1.0 + 0x1p-30)), hMax(hMax_), hMin(hMin_) {
    for (int k = 0; k < 3; ++k) {
      p[k] = p_[k];
      u[k] = u_[k];
      v[k] = v_[k];
      w[k] = w_[k];
    }
  }
  double p[3];
  double u[3];
  double v[3];
  double w[3];
  double r2;
  double clear;  // |r| with a margin: projected points farther out on one side cannot meet
  double hMax;
  double hMin;
};

// Whether the projected polygon certainly misses the circle: all its points lie on one side of
// one coordinate axis, farther than the radius plus a margin that covers every rounding of the
// edge-distance and crossing computations (single-precision edge directions: 2^-24 of the
// span; double steps: a few 2^-53). Then every edge's squared distance, as computed, exceeds
// r^2, and the crossing parity comes out false (on the far side of x = 0 all crossings, or none,
// toggle, and a closed polygon crosses y = 0 an even number of times; beyond y = 0 it crosses
// none). The full test would answer false as well: this only saves its work.
inline bool projectedMisses(const float (*q)[2], int n, double clear) {
  for (int i = 0; i < n; ++i) {
    if (std::isnan(q[i][0]) || std::isnan(q[i][1])) return false;  // leave NaN to the full test
  }
  for (int k = 0; k < 2; ++k) {
    double lo = q[0][k], hi = q[0][k];
    for (int i = 1; i < n; ++i) {
      lo = std::min(lo, double(q[i][k]));
      hi = std::max(hi, double(q[i][k]));
    }
    const double margin = clear + 0x1p-20 * std::max(std::fabs(lo), std::fabs(hi));
    if (lo > margin || -hi > margin) return true;
  }
  return false;
}

// Clips the polygon `in` of n points with heights h to the side of the plane h = level that
// `below` names (h <= level, else h >= level), walking each edge i -> i + 1: the start point is
// kept when on the kept side, then the crossing point (1 - t) Pi + t Pj with
// t = (level - hi) / (hj - hi) is added when the edge spans the level and is not parallel to
// it within 1e-7 of its length. A point exactly on the plane is thus emitted twice. Returns the
// number of points written to out (at most 2n).
inline int clipToLevel(const double (*in)[3], const double* h, int n, double level, bool below,
                       double (*out)[3]) {
  int m = 0;
  for (int i = 0; i < n; ++i) {
    const int j = i + 1 == n ? 0 : i + 1;
    const double hi = h[i];
    const double hj = h[j];
    if (below ? hi <= level : hi >= level) {
      out[m][0] = in[i][0];
      out[m][1] = in[i][1];
      out[m][2] = in[i][2];
      ++m;
    }
    const double D[3] = {in[j][0] - in[i][0], in[j][1] - in[i][1], in[j][2] - in[i][2]};
    if (std::fabs(hj - hi) > 1e-7 * std::sqrt(dot3(D, D)) && std::min(hi, hj) <= level &&
        level <= std::max(hi, hj)) {
      const double t = (level - hi) / (hj - hi);
      for (int k = 0; k < 3; ++k)
        out[m][k] = (1.0 - t) * in[i][k] + t * in[j][k];
      ++m;
    }
  }
  return m;
}

// Whether the triangle a, b, c meets the closed cylinder. The triangle, relative to p, is
// clipped to h <= hMax and then to h >= hMin (h = point . w), the remaining polygon projected
// onto (u, v) in single precision; it meets the cylinder when some polygon edge comes within r
// of the origin (inclusive) or the origin lies inside the polygon (crossing parity along y = 0,
// an edge crossing when one end has y > 0 and the other not, counted when the crossing's x is
// greater than 0). An empty clipped polygon misses.
inline bool cylinderMeetsTriangle(const CylinderQuery& cyl, const Vertex& a, const Vertex& b,
                                  const Vertex& c) {
  double P[3][3] = {{double(a.x) - cyl.p[0], double(a.y) - cyl.p[1], double(a.z) - cyl.p[2]},
                    {double(b.x) - cyl.p[0], double(b.y) - cyl.p[1], double(b.z) - cyl.p[2]},
                    {double(c.x) - cyl.p[0], double(c.y) - cyl.p[1], double(c.z) - cyl.p[2]}};
  const double h[3] = {dot3(P[0], cyl.w), dot3(P[1], cyl.w), dot3(P[2], cyl.w)};
  // Wholly above or below the slab: clipping leaves nothing.
  if (h[0] > cyl.hMax && h[1] > cyl.hMax && h[2] > cyl.hMax) return false;
  if (h[0] < cyl.hMin && h[1] < cyl.hMin && h[2] < cyl.hMin && cyl.hMin <= cyl.hMax) return false;
  double clipped[12][3];
  const double(*poly)[3] = P;
  int n = 3;
  // Strictly inside the slab, clipping keeps the three points and adds none.
  const bool inside = h[0] < cyl.hMax && h[1] < cyl.hMax && h[2] < cyl.hMax && h[0] > cyl.hMin &&
                      h[1] > cyl.hMin && h[2] > cyl.hMin;
  if (!inside) {
    double upper[6][3];
    const int m = clipToLevel(P, h, 3, cyl.hMax, true, upper);
    double hu[6];
    for (int i = 0; i < m; ++i)
      hu[i] = dot3(upper[i], cyl.w);
    n = clipToLevel(upper, hu, m, cyl.hMin, false, clipped);
    poly = clipped;
  }
  if (n == 0) return false;
  float q[12][2];
  for (int i = 0; i < n; ++i) {
    q[i][0] = float(dot3(poly[i], cyl.u));
    q[i][1] = float(dot3(poly[i], cyl.v));
  }
  if (projectedMisses(q, n, cyl.clear)) return false;
  const double origin[2] = {0.0, 0.0};
  for (int i = 0; i < n; ++i) {
    const int j = i + 1 == n ? 0 : i + 1;
    if (cyl.r2 >= segmentmath::distance2ToSegment<2>(origin, q[i], q[j])) return true;
  }
  bool in = false;
  for (int i = 0; i < n; ++i) {
    const int j = i + 1 == n ? 0 : i + 1;
    const double xi = q[i][0], yi = q[i][1], xj = q[j][0], yj = q[j][1];
    if ((yi > 0.0) != (yj > 0.0)) {
      const double x = xi + (xj - xi) * (0.0 - yi) / (yj - yi);
      if (x > 0.0) in = !in;
    }
  }
  return in;
}

// ---- plane cut ----

// The plane x . n = offset, with the tolerance within which a vertex counts as on it.
struct PlaneQuery {
  PlaneQuery(const double* point, const double* normal, double tolerance) : tol(tolerance) {
    for (int k = 0; k < 3; ++k)
      n[k] = normal[k];
    offset = dot3(point, normal);
  }
  double n[3];
  double offset;
  double tol;
};

// The segment in which the plane cuts the triangle a, b, c, as two points (x, y, z each) in
// `seg`; returns false when the triangle gives none. With s = x . n - offset per vertex (s > tol
// positive, s < -tol negative, else on the plane): one vertex alone on one side and none on the
// plane gives the crossings of the edges (0, 1), (0, 2), (1, 2) whose ends lie on opposite
// sides, in that order; one vertex on the plane with the others on opposite sides gives that
// vertex, then the crossing of the opposite edge. A crossing between i and j is
// (1 - l) Pi + l Pj with l = si / (si - sj). Any other case (touching in a vertex, an edge or
// the whole triangle in the plane, all on one side) gives nothing.
inline bool planeCutsTriangle(const PlaneQuery& plane, const Vertex& a, const Vertex& b,
                              const Vertex& c, double* seg) {
  double P[3][3];
  position(a, P[0]);
  position(b, P[1]);
  position(c, P[2]);
  double s[3];
  int sign[3];
  int positive = 0, onPlane = 0, negative = 0;
  for (int i = 0; i < 3; ++i) {
    s[i] = dot3(P[i], plane.n) - plane.offset;
    if (s[i] > plane.tol) {
      sign[i] = 1;
      ++positive;
    } else if (s[i] < -plane.tol) {
      sign[i] = -1;
      ++negative;
    } else {
      sign[i] = 0;
      ++onPlane;
    }
  }
  const int code = 100 * positive + 10 * onPlane + negative;
  if (code != 201 && code != 102 && code != 111) return false;
  static const int kPairs[3][2] = {{0, 1}, {0, 2}, {1, 2}};
  int written = 0;
  if (code == 111) {
    const int on = sign[0] == 0 ? 0 : (sign[1] == 0 ? 1 : 2);
    for (int k = 0; k < 3; ++k)
      seg[k] = P[on][k];
    written = 1;
  }
  for (int e = 0; e < 3 && written < 2; ++e) {
    const int i = kPairs[e][0];
    const int j = kPairs[e][1];
    if (sign[i] * sign[j] < 0) {
      const double l = s[i] / (s[i] - s[j]);
      for (int k = 0; k < 3; ++k)
        seg[3 * written + k] = (1.0 - l) * P[i][k] + l * P[j][k];
      ++written;
    }
  }
  return true;
}

}  // namespace trianglemath
}  // namespace nkdatacarrier
