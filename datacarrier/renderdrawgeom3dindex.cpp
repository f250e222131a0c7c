#include "datacarrier/renderdrawgeom3dindex.h"

#include <emmintrin.h>
#include <xmmintrin.h>
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <future>
#include <limits>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/pointinsolid.h"
#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/internal/trianglemath.h"
#include "datacarrier/internal/vertexcodes.h"
#include "datacarrier/renderdrawgeom3d.h"

// The tree is a flat bounding-volume hierarchy over the triangles of all valid sheets, built
// top down by the surface-area cost (binned, on a sample for large ranges) and then collapsed
// to four children per node, each node one cache line with its children's boxes on a grid
// rounded outwards; the triangles' corner positions are copied per leaf of four. A large model
// is built on several threads, each stage split so that the result is what one thread would
// build. Each triangle's box is computed from its widened vertices and grown conservatively: by
// 1e-3 of its largest extent, far more than the line test's tolerance band of 1e-5 of the edges
// plus the rounding of the hit parameters, and by 1e-6 of its largest coordinate for the rounding
// of points computed on it. Triangles whose boxes cannot be trusted (a coordinate not finite, a
// grown box beyond the float range, or a shape so thin that rounding may let the line test report a
// hit far from the triangle) are kept aside and tested on every query.
//
// The index only decides which triangles to test; each test is the geometry's own arithmetic,
// and the order of the plain queries (sheet order, then triangle order) is restored by keys.
// What the boxes do not cover: a line lying within about 1e-8 radians of the plane of a
// well-shaped triangle, far outside the triangle, for which the plain test's rounding alone
// could report a hit; such lines are not told apart from misses.

namespace nkdatacarrier {

namespace {

constexpr int kLeafSize = 4;
// The build runs on at most kMaxThreads threads, and only from kThreadTriangles triangles on.
constexpr int kMaxThreads = 64;
constexpr int kThreadTriangles = 1 << 16;
// Depth of the binary tree: at most 32 cost-driven splits, then halvings (at most 31); the
// four-wide tree is no deeper and a visit pops one entry and pushes at most four.
constexpr int kStackSize = 4 * 64;
constexpr double kInf = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct TriRef {
  int sheet;
  int tri;
};

struct Node {
  float lo[3];
  float hi[3];
  // Leaf: first triangle and count (> 0); first is the prim's position while the tree is built,
  // then the leaf's first place in the tree's triangle list. Inner node: count 0, first = right
  // child; the left child follows the node.
  int first;
  int count;
};

// A node of the four-wide tree as the collapse builds it: the float boxes of up to four
// children, and per child either a leaf's triangle range or the index of an inner node.
struct WideNode {
  float lo[3][4];
  float hi[3][4];
  // Leaf: first triangle; inner child: node index.
  int child[4];
  // > 0: a leaf of that many triangles; 0: an inner node; -1: no child in this slot.
  int count[4];
};

// A node of the four-wide tree that queries walk, in one cache line: the children's boxes on a
// grid of 256 steps per axis over the node (origin + q 2^e, with the same float arithmetic
// wherever it is decoded), each bound rounded outwards so that the decoded box holds the
// child's float box; child and count as in WideNode.
struct alignas(64) Node4 {
  float origin[3];
  std::int8_t exponent[4];  // the fourth is 0
  std::int8_t count[4];
  std::uint8_t used;     // bit k: slot k holds a child
  std::uint8_t q[6][4];  // low bounds x, y, z, then high bounds x, y, z
  int child[4];

  float scale(int a) const {
    const std::uint32_t bits = std::uint32_t(exponent[a] + 127) << 23;
    float f;
    std::memcpy(&f, &bits, sizeof f);
    return f;
  }
  float lo(int a, int k) const { return origin[a] + float(q[a][k]) * scale(a); }
  float hi(int a, int k) const { return origin[a] + float(q[3 + a][k]) * scale(a); }
};
static_assert(sizeof(Node4) == 64, "a node fills one cache line");
static_assert(offsetof(Node4, origin) == 0, "the walk reads the origin from the node's start");

using vertexcodes::floatDown;
using vertexcodes::floatUp;

// Runs body(0) to body(tasks - 1), all but the first on threads of their own, and waits for
// all of them; the first exception thrown reaches the caller. A task whose thread cannot be
// started runs on the calling thread.
template <class Body>
void forEachTask(int tasks, const Body& body) {
  std::vector<std::future<void>> others;
  others.reserve(static_cast<std::size_t>(std::max(0, tasks - 1)));
  for (int t = 1; t < tasks; ++t) {
    try {
      others.push_back(std::async(std::launch::async, [&body, t] { body(t); }));
    } catch (const std::system_error&) {
      body(t);
    }
  }
  body(0);
  for (std::future<void>& other : others)
    other.get();
}

}  // namespace

struct RenderDrawGeom3DIndex::Tree {
  std::vector<Node4> nodes;
  // The triangles in leaf order: leaf b holds positions 4 b to 4 b + its count - 1 (a leaf
  // holds at most four); the positions beyond a leaf's count repeat its first triangle.
  std::vector<TriRef> tris;
  int indexed = 0;
  // The corner positions of each leaf's triangles, copied from the sheets so that a query reads
  // a leaf from one place: per leaf 36 floats, corner a x, y, z, corner b x, y, z, corner c x,
  // y, z, each as four lanes (one per triangle).
  std::unique_ptr<float[]> positions;
  std::vector<TriRef> always;  // in sheet order, then triangle order
  // The largest magnitude of a node bound (infinite when a bound overflowed, zero when empty).
  double reach = 0.0;
  // Per sheet: the vertex records (six floats each) and the triangle indices; null when the
  // sheet is not indexed (invalid or without triangles).
  std::vector<const Sheet3D::Vertex*> vertices;
  std::vector<const int*> triangles;

  const Sheet3D::Vertex& vertex(const TriRef& r, int corner) const {
    return vertices[r.sheet][triangles[r.sheet][3 * std::ptrdiff_t(r.tri) + corner]];
  }
  // Visits (by leaf position) every triangle under the slots that reaches(node, k) accepts,
  // depth first, each query with its own test of a slot's box.
  template <class Reaches, class Visit>
  void forEachReached(Reaches&& reaches, Visit&& visit) const {
    if (nodes.empty()) return;
    int stack[kStackSize];
    int sp = 0;
    stack[sp++] = 0;
    while (sp > 0) {
      const Node4& node = nodes[stack[--sp]];
      for (int k = 0; k < 4; ++k) {
        if (node.count[k] < 0 || !reaches(node, k)) continue;
        if (node.count[k] == 0) {
          stack[sp++] = node.child[k];
          continue;
        }
        for (int i = node.child[k]; i < node.child[k] + node.count[k]; ++i)
          visit(i);
      }
    }
  }
  // The corners of leaf triangle i as vertices with their stored positions (no normals).
  void corners(int i, Sheet3D::Vertex* v) const {
    const float* f = &positions[9 * std::size_t(i & ~3) + (i & 3)];
    for (int c = 0; c < 3; ++c) {
      v[c].x = f[4 * (3 * c)];
      v[c].y = f[4 * (3 * c + 1)];
      v[c].z = f[4 * (3 * c + 2)];
    }
  }
};

namespace {

// A triangle during the build: its grown box and its sheet and number.
struct Prim {
  float lo[3];
  float hi[3];
  TriRef ref;
};

// Builds the binary tree top down. A range splits where the surface-area cost, over kBins bins
// of the box centres along their widest axis, is least (a split whose sides overlap less is
// worth more to every query), partitioning prims in place; a range of at most kSahBelow
// triangles, one without such a split, or one deeper than kSahDepth splits at the median centre
// along the widest axis, which halves it. The tree is thus at most kSahDepth + 31 levels deep.
// Above splitDepth, the right side of a large range is built on a thread of its own into a node
// list of its own, then appended: the nodes come out as one thread would lay them out.
struct SahBuilder {
  static constexpr int kBins = 16;
  static constexpr int kSahBelow = 16;
  static constexpr int kSahDepth = 32;
  static constexpr int kThreadRange = 1 << 15;  // the smallest range split between threads
  static constexpr int kInCache = 1 << 16;      // the largest range partitioned without branches
  Prim* prims;
  std::vector<Node>& nodes;
  int splitDepth;

  static float halfArea(__m128 lo, __m128 hi) {
    float d[4];
    _mm_storeu_ps(d, _mm_sub_ps(hi, lo));
    return d[0] * d[1] + d[1] * d[2] + d[2] * d[0];
  }
  // Lanes 0-2 of the box bounds; lane 3 is not used.
  static __m128 lowOf(const Prim& p) { return _mm_loadu_ps(p.lo); }
  static __m128 highOf(const Prim& p) { return _mm_loadu_ps(p.hi); }

  int leaf(int begin, int end) {
    const int index = static_cast<int>(nodes.size());
    nodes.push_back(Node());
    Node& node = nodes[index];
    node.first = begin;
    node.count = end - begin;
    for (int a = 0; a < 3; ++a) {
      node.lo[a] = std::numeric_limits<float>::infinity();
      node.hi[a] = -std::numeric_limits<float>::infinity();
    }
    for (int i = begin; i < end; ++i) {
      for (int a = 0; a < 3; ++a) {
        node.lo[a] = std::min(node.lo[a], prims[i].lo[a]);
        node.hi[a] = std::max(node.hi[a], prims[i].hi[a]);
      }
    }
    return index;
  }

  // The inner node over [begin, split) and [split, end).
  int inner(int begin, int split, int end, __m128 lcLo, __m128 lcHi, __m128 rcLo, __m128 rcHi,
            int depth) {
    const int index = static_cast<int>(nodes.size());
    nodes.push_back(Node());
    int r;
    if (depth < splitDepth && end - begin >= kThreadRange) {
      std::vector<Node> right;
      right.reserve(2 * std::size_t((end - split) / kLeafSize + 1));
      SahBuilder other{prims, right, splitDepth};
      forEachTask(2, [&](int t) {
        if (t == 0)
          build(begin, split, lcLo, lcHi, depth + 1);
        else
          other.build(split, end, rcLo, rcHi, depth + 1);
      });
      r = static_cast<int>(nodes.size());
      nodes.reserve(nodes.size() + right.size());
      for (Node m : right) {
        if (m.count == 0) m.first += r;
        nodes.push_back(m);
      }
    } else {
      build(begin, split, lcLo, lcHi, depth + 1);
      r = build(split, end, rcLo, rcHi, depth + 1);
    }
    Node& node = nodes[index];
    node.first = r;
    node.count = 0;
    const Node& ln = nodes[index + 1];
    const Node& rn = nodes[r];
    for (int a = 0; a < 3; ++a) {
      node.lo[a] = std::min(ln.lo[a], rn.lo[a]);
      node.hi[a] = std::max(ln.hi[a], rn.hi[a]);
    }
    return index;
  }

  static int widest(__m128 cLo, __m128 cHi, float* extent) {
    float ext[4];
    _mm_storeu_ps(ext, _mm_sub_ps(cHi, cLo));
    int axis = 0;
    for (int a = 1; a < 3; ++a)
      if (ext[a] > ext[axis]) axis = a;
    *extent = ext[axis];
    return axis;
  }

  void centres(int begin, int end, __m128& cLo, __m128& cHi) const {
    cLo = _mm_set1_ps(std::numeric_limits<float>::infinity());
    cHi = _mm_set1_ps(-std::numeric_limits<float>::infinity());
    for (int i = begin; i < end; ++i) {
      const __m128 c = _mm_add_ps(lowOf(prims[i]), highOf(prims[i]));
      cLo = _mm_min_ps(cLo, c);
      cHi = _mm_max_ps(cHi, c);
    }
  }

  int median(int begin, int end, __m128 cLo, __m128 cHi, int depth) {
    float extent;
    const int axis = widest(cLo, cHi, &extent);
    const int mid = begin + (end - begin) / 2;
    std::nth_element(prims + begin, prims + mid, prims + end, [axis](const Prim& x, const Prim& y) {
      return x.lo[axis] + x.hi[axis] < y.lo[axis] + y.hi[axis];
    });
    __m128 lcLo, lcHi, rcLo, rcHi;
    centres(begin, mid, lcLo, lcHi);
    centres(mid, end, rcLo, rcHi);
    return inner(begin, mid, end, lcLo, lcHi, rcLo, rcHi, depth);
  }

  // cLo, cHi: the bounds of lo + hi (twice the centres) over the range, or over a sample of it
  // (a centre beyond them falls into the outermost bin).
  int build(int begin, int end, __m128 cLo, __m128 cHi, int depth) {
    if (end - begin <= kLeafSize) return leaf(begin, end);
    if (end - begin <= kSahBelow || depth >= kSahDepth) return median(begin, end, cLo, cHi, depth);
    float extent;
    const int axis = widest(cLo, cHi, &extent);
    if (!(extent > 0.0f) || !std::isfinite(extent)) {
      centres(begin, end, cLo, cHi);  // the bounds may be a sample's
      return median(begin, end, cLo, cHi, depth);
    }
    float base[4];
    _mm_storeu_ps(base, cLo);
    const float from = base[axis];
    const float toBin = float(kBins) * 0.99999f / extent;
    auto binOf = [&](const Prim& p) {
      const int k = static_cast<int>((p.lo[axis] + p.hi[axis] - from) * toBin);
      return std::min(kBins - 1, std::max(0, k));
    };
    const __m128 inf = _mm_set1_ps(std::numeric_limits<float>::infinity());
    const __m128 minf = _mm_set1_ps(-std::numeric_limits<float>::infinity());
    // Per bin: the count, the box and the centre bounds (of lo + hi). Two sets of bins, filled
    // alternately so that neighbours (often in the same bin) do not wait on each other; a large
    // range is binned from a sample of about 2^16 triangles.
    struct Bins {
      int count[kBins];
      __m128 lo[kBins], hi[kBins], cLo[kBins], cHi[kBins];
    };
    Bins bins[2];
    for (Bins& set : bins) {
      for (int k = 0; k < kBins; ++k) {
        set.count[k] = 0;
        set.lo[k] = set.cLo[k] = inf;
        set.hi[k] = set.cHi[k] = minf;
      }
    }
    auto add = [&](Bins& set, const Prim& p) {
      const int k = binOf(p);
      const __m128 lo = lowOf(p);
      const __m128 hi = highOf(p);
      const __m128 c = _mm_add_ps(lo, hi);
      ++set.count[k];
      set.lo[k] = _mm_min_ps(set.lo[k], lo);
      set.hi[k] = _mm_max_ps(set.hi[k], hi);
      set.cLo[k] = _mm_min_ps(set.cLo[k], c);
      set.cHi[k] = _mm_max_ps(set.cHi[k], c);
    };
    const int stride = std::max(1, (end - begin) >> 11);
    int i = begin;
    for (; i + stride < end; i += 2 * stride) {
      add(bins[0], prims[i]);
      add(bins[1], prims[i + stride]);
    }
    if (i < end) add(bins[0], prims[i]);
    Bins& bin = bins[0];
    int total = 0;
    for (int k = 0; k < kBins; ++k) {
      bin.count[k] += bins[1].count[k];
      total += bin.count[k];
      bin.lo[k] = _mm_min_ps(bin.lo[k], bins[1].lo[k]);
      bin.hi[k] = _mm_max_ps(bin.hi[k], bins[1].hi[k]);
      bin.cLo[k] = _mm_min_ps(bin.cLo[k], bins[1].cLo[k]);
      bin.cHi[k] = _mm_max_ps(bin.cHi[k], bins[1].cHi[k]);
    }
    // Cost of splitting after bin k: area times count on either side.
    float rightCost[kBins];
    __m128 l = inf, h = minf;
    int n = 0;
    for (int k = kBins - 1; k > 0; --k) {
      n += bin.count[k];
      l = _mm_min_ps(l, bin.lo[k]);
      h = _mm_max_ps(h, bin.hi[k]);
      rightCost[k] = n ? halfArea(l, h) * float(n) : 0.0f;
    }
    int best = -1;
    float bestCost = std::numeric_limits<float>::infinity();
    l = inf;
    h = minf;
    n = 0;
    for (int k = 0; k + 1 < kBins; ++k) {
      n += bin.count[k];
      l = _mm_min_ps(l, bin.lo[k]);
      h = _mm_max_ps(h, bin.hi[k]);
      if (n == 0 || n == total) continue;
      const float cost = halfArea(l, h) * float(n) + rightCost[k + 1];
      if (cost < bestCost) {
        bestCost = cost;
        best = k;
      }
    }
    if (best < 0) {
      centres(begin, end, cLo, cHi);
      return median(begin, end, cLo, cHi, depth);
    }
    __m128 lcLo = inf, lcHi = minf, rcLo = inf, rcHi = minf;
    for (int k = 0; k < kBins; ++k) {
      __m128& lo = k <= best ? lcLo : rcLo;
      __m128& hi = k <= best ? lcHi : rcHi;
      lo = _mm_min_ps(lo, bin.cLo[k]);
      hi = _mm_max_ps(hi, bin.cHi[k]);
    }
    // Partition in place. A range that fits the core's cache goes element by element, each
    // swapped with the first of the right side and the boundary moved by the element's side,
    // without a branch on the side; a larger one from both ends, swapping only the pairs on the
    // wrong sides, which writes less.
    int left = begin;
    if (end - begin <= kInCache) {
      for (int j = begin; j < end; ++j) {
        const Prim p = prims[j];
        const int toLeft = binOf(p) <= best;
        prims[j] = prims[left];
        prims[left] = p;
        left += toLeft;
      }
    } else {
      int right = end - 1;
      for (;;) {
        while (left <= right && binOf(prims[left]) <= best)
          ++left;
        while (left <= right && binOf(prims[right]) > best)
          --right;
        if (left >= right) break;
        std::swap(prims[left++], prims[right--]);
      }
    }
    // A sampled split may leave one side empty: then the range halves at its median.
    if (left == begin || left == end) {
      centres(begin, end, cLo, cHi);
      return median(begin, end, cLo, cHi, depth);
    }
    return inner(begin, left, end, lcLo, lcHi, rcLo, rcHi, depth);
  }
};

// Collapses the binary tree into the four-wide one: each four-wide node takes the two children
// of a binary node and keeps opening its largest inner child until it holds four. With
// parallel, the root's inner children are collapsed on threads of their own into node lists of
// their own, appended in order: the nodes come out as one thread would lay them out.
Node4 quantize(const WideNode& w, double& reach);

struct Collapser {
  const std::vector<Node>& in;
  std::vector<Node4>& out;
  double reach;  // grows to the largest magnitude of a decoded bound
  int threads;   // the most threads the root's collapse may use

  static float halfArea(const Node& n) {
    const float dx = n.hi[0] - n.lo[0], dy = n.hi[1] - n.lo[1], dz = n.hi[2] - n.lo[2];
    return dx * dy + dy * dz + dz * dx;
  }

  // One past the last node of binary node n's subtree, which ends with its rightmost leaf.
  int subtreeEnd(int n) const {
    while (in[n].count == 0)
      n = in[n].first;
    return n + 1;
  }

  // The four-wide node over the children of binary node n; a leaf n becomes the only child.
  int collapse(int n) {
    const bool parallel = threads > 1 && n == 0 && in.size() >= std::size_t(kThreadTriangles) / 2;
    int slots[4];
    int used = 0;
    if (in[n].count > 0) {
      slots[used++] = n;
    } else {
      slots[used++] = n + 1;
      slots[used++] = in[n].first;
    }
    while (used < 4) {
      int open = -1;
      for (int k = 0; k < used; ++k) {
        if (in[slots[k]].count == 0 &&
            (open < 0 || halfArea(in[slots[k]]) > halfArea(in[slots[open]])))
          open = k;
      }
      if (open < 0) break;
      const int opened = slots[open];
      slots[open] = opened + 1;
      slots[used++] = in[opened].first;
    }
    const int index = static_cast<int>(out.size());
    out.push_back(Node4());
    WideNode node;
    for (int k = 0; k < 4; ++k) {
      if (k >= used) {
        for (int a = 0; a < 3; ++a) {
          node.lo[a][k] = std::numeric_limits<float>::infinity();
          node.hi[a][k] = -std::numeric_limits<float>::infinity();
        }
        node.child[k] = 0;
        node.count[k] = -1;
        continue;
      }
      const Node& c = in[slots[k]];
      for (int a = 0; a < 3; ++a) {
        node.lo[a][k] = c.lo[a];
        node.hi[a][k] = c.hi[a];
      }
      node.count[k] = c.count;
      node.child[k] = c.first;
      if (c.count == 0 && !parallel) node.child[k] = collapse(slots[k]);
    }
    if (parallel) {
      std::vector<Node4> below[4];
      double reaches[4] = {};
      const int tasks = std::min(threads, used);
      forEachTask(tasks, [&](int t) {
        for (int k = t; k < used; k += tasks) {
          if (in[slots[k]].count != 0) continue;
          // A four-wide node takes at least one binary inner node, which are about half of
          // the subtree: room enough that the list never moves.
          below[k].reserve(std::size_t(subtreeEnd(slots[k]) - slots[k]) / 2 + 1);
          Collapser part{in, below[k], 0.0, 1};
          part.collapse(slots[k]);
          reaches[k] = part.reach;
        }
      });
      for (int k = 0; k < used; ++k) {
        if (below[k].empty()) continue;
        const int offset = static_cast<int>(out.size());
        node.child[k] = offset;
        reach = std::max(reach, reaches[k]);
        for (Node4 m : below[k]) {
          for (int j = 0; j < 4; ++j)
            if (m.count[j] == 0) m.child[j] += offset;
          out.push_back(m);
        }
      }
    }
    out[index] = quantize(node, reach);
    return index;
  }
};

// The binary exponent of a positive normal double, and 2^e for e within the normal range.
int exponentOf(double x) {
  std::uint64_t bits;
  std::memcpy(&bits, &x, sizeof bits);
  return static_cast<int>((bits >> 52) & 0x7ff) - 1023;
}
double powerOfTwo(int e) {
  const std::uint64_t bits = std::uint64_t(1023 + e) << 52;
  double x;
  std::memcpy(&x, &bits, sizeof x);
  return x;
}

// The node of the walked tree for a collapsed one; reach grows to the largest magnitude of a
// decoded bound.
Node4 quantize(const WideNode& w, double& reach) {
  Node4 n;
  n.used = 0;
  n.exponent[3] = 0;
  for (int k = 0; k < 4; ++k) {
    n.child[k] = w.child[k];
    n.count[k] = static_cast<std::int8_t>(w.count[k]);
    if (w.count[k] >= 0) n.used |= static_cast<std::uint8_t>(1u << k);
  }
  for (int a = 0; a < 3; ++a) {
    float lo = std::numeric_limits<float>::infinity();
    float hi = -lo;
    for (int k = 0; k < 4; ++k) {
      if (w.count[k] < 0) continue;
      lo = std::min(lo, w.lo[a][k]);
      hi = std::max(hi, w.hi[a][k]);
    }
    if (!(lo <= hi)) lo = hi = 0.0f;  // no child
    n.origin[a] = lo;
    // The smallest step (a power of two, at least 2^-126) whose 255th grid line, as decoded,
    // reaches the top. The extent over 255 is a positive normal double (the floats' smallest
    // difference over 255 is far above the doubles' smallest normal), whose exponent field
    // gives its binary exponent.
    int e = -126;
    const double extent = double(hi) - double(lo);
    if (extent > 0.0) e = std::max(e, exponentOf(extent / 255.0));
    n.exponent[a] = static_cast<std::int8_t>(e);
    while (n.origin[a] + 255.0f * n.scale(a) < hi)
      n.exponent[a] = static_cast<std::int8_t>(++e);
    // Decoding as Node4::lo and hi do, with the step taken once.
    const float step = n.scale(a);
    auto decode = [&](int q) { return n.origin[a] + float(q) * step; };
    const double perStep = powerOfTwo(-e);  // multiplying by it is exact
    for (int k = 0; k < 4; ++k) {
      if (w.count[k] < 0) {
        n.q[a][k] = 255;
        n.q[3 + a][k] = 0;
        continue;
      }
      // The grid covers the node, so both lie in [0, 255] but for rounding; clamped there,
      // truncation is the floor (and one more step where it cut something off, the ceiling).
      const double l = std::min(255.0, std::max(0.0, (double(w.lo[a][k]) - double(lo)) * perStep));
      const double h = std::min(255.0, std::max(0.0, (double(w.hi[a][k]) - double(lo)) * perStep));
      int ql = static_cast<int>(l);
      int qh = static_cast<int>(h);
      if (double(qh) < h) ++qh;
      while (ql > 0 && decode(ql) > w.lo[a][k])
        --ql;
      while (qh < 255 && decode(qh) < w.hi[a][k])
        ++qh;
      n.q[a][k] = static_cast<std::uint8_t>(ql);
      n.q[3 + a][k] = static_cast<std::uint8_t>(qh);
      reach =
          std::max(reach, std::max(std::fabs(double(decode(ql))), std::fabs(double(decode(qh)))));
    }
  }
  return n;
}

// Squared distance from p to child k's box, made slightly smaller so that rounding never lets
// it exceed a distance computed to a point inside the box.
double lowerBound2(const Node4& n, int k, const double* p) {
  double sum = 0.0;
  for (int a = 0; a < 3; ++a) {
    double d = 0.0;
    const double lo = double(n.lo(a, k));
    const double hi = double(n.hi(a, k));
    if (p[a] < lo) {
      d = lo - p[a];
    } else if (p[a] > hi) {
      d = p[a] - hi;
    }
    sum += d * d;
  }
  return sum * (1.0 - 1e-12);
}

// The running answer of a closest-point search: squared distance, the point, and the key
// (rank of the sheet in the candidate list, triangle) that breaks ties in favour of the first.
struct ClosestState {
  double dist2 = kInf;
  double q[3] = {kNaN, kNaN, kNaN};
  int rank = std::numeric_limits<int>::max();
  int tri = std::numeric_limits<int>::max();
  int sheet = -1;

  void offer(const double* p, const Sheet3D::Vertex& a, const Sheet3D::Vertex& b,
             const Sheet3D::Vertex& c, int r, int t, int s) {
    double lq[3] = {kNaN, kNaN, kNaN};
    trianglemath::ClosestSearch search{lq, kInf, -1.0, false};
    trianglemath::closestOnTriangle(p, a, b, c, search);
    if (!search.found) return;
    const double local = search.dist2;
    if (local < dist2 || (local == dist2 && (r < rank || (r == rank && t < tri)))) {
      dist2 = local;
      q[0] = lq[0];
      q[1] = lq[1];
      q[2] = lq[2];
      rank = r;
      tri = t;
      sheet = s;
    }
  }
};

// The line o + t D in single precision for the walk of the tree: four child boxes per step,
// without branches. Every box is grown by a slack (folded into the origin: the low planes are
// taken from o + slack, the high ones from o - slack), which covers every rounding: with
// T = max |o| + the largest magnitude of a bound, a line that meets a box meets it at some
// |t| <= T for the direction scaled to a largest component of 1; replacing components below
// 2^-30 by 2^-30 moves that point by at most 2^-30 T; rounding the origin, the inverse
// direction, the difference and the product in float errs by less than 2^-21 T in the
// position. A slack of 2^-18 T thus keeps every box a line meets (in exact arithmetic on the
// double line) accepted. Lines whose T is not below 2^60 (or not finite) are left to the
// double-precision test, as are lines without a direction.
struct FloatLine {
  __m128 oPlus[3];
  __m128 oMinus[3];
  __m128 inv[3];

  bool set(const double* o, const double* D, double reach) {
    double dmax = 0.0, omax = 0.0;
    for (int k = 0; k < 3; ++k) {
      dmax = std::max(dmax, std::fabs(D[k]));
      omax = std::max(omax, std::fabs(o[k]));
    }
    const double T = omax + reach;
    if (!(dmax > 0.0) || !(dmax < kInf) || !(T < 0x1p60)) return false;
    const double slack = 0x1p-18 * T + 0x1p-126;
    for (int k = 0; k < 3; ++k) {
      double d = D[k] / dmax;
      if (std::fabs(d) < 0x1p-30) d = d < 0.0 ? -0x1p-30 : 0x1p-30;
      inv[k] = _mm_set1_ps(static_cast<float>(1.0 / d));
      oPlus[k] = _mm_set1_ps(static_cast<float>(o[k] + slack));
      oMinus[k] = _mm_set1_ps(static_cast<float>(o[k] - slack));
    }
    return true;
  }

  // The slots of the node whose boxes the line meets, as bits.
  int meets(const Node4& n) const {
    // The 24 grid bounds widened to four lanes per axis and side.
    const __m128i zero = _mm_setzero_si128();
    const __m128i q0 = _mm_loadu_si128(reinterpret_cast<const __m128i*>(&n.q[0][0]));
    const __m128i q1 = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(&n.q[4][0]));
    const __m128i w0 = _mm_unpacklo_epi8(q0, zero);
    const __m128i w1 = _mm_unpackhi_epi8(q0, zero);
    const __m128i w2 = _mm_unpacklo_epi8(q1, zero);
    const __m128 grid[6] = {_mm_cvtepi32_ps(_mm_unpacklo_epi16(w0, zero)),
                            _mm_cvtepi32_ps(_mm_unpackhi_epi16(w0, zero)),
                            _mm_cvtepi32_ps(_mm_unpacklo_epi16(w1, zero)),
                            _mm_cvtepi32_ps(_mm_unpackhi_epi16(w1, zero)),
                            _mm_cvtepi32_ps(_mm_unpacklo_epi16(w2, zero)),
                            _mm_cvtepi32_ps(_mm_unpackhi_epi16(w2, zero))};
    // The origin (lanes 0-2 of the node's first 16 bytes) and the steps 2^e, built from the
    // exponent bytes sign-extended to four lanes: the same floats as Node4::lo and hi use.
    float head[4];  // the origin and, in the fourth lane, the exponent bytes (not used)
    std::memcpy(head, &n, sizeof head);
    const __m128 origins = _mm_loadu_ps(head);
    std::int32_t exponentBytes;
    std::memcpy(&exponentBytes, n.exponent, sizeof exponentBytes);
    __m128i e = _mm_cvtsi32_si128(exponentBytes);
    e = _mm_unpacklo_epi8(e, e);
    e = _mm_srai_epi32(_mm_unpacklo_epi16(e, e), 24);
    const __m128 steps =
        _mm_castsi128_ps(_mm_slli_epi32(_mm_add_epi32(e, _mm_set1_epi32(127)), 23));
    __m128 tNear = _mm_set1_ps(-std::numeric_limits<float>::infinity());
    __m128 tFar = _mm_set1_ps(std::numeric_limits<float>::infinity());
    auto axis = [&](auto axisConstant) {
      constexpr int k = decltype(axisConstant)::value;
      const __m128 origin = _mm_shuffle_ps(origins, origins, _MM_SHUFFLE(k, k, k, k));
      const __m128 step = _mm_shuffle_ps(steps, steps, _MM_SHUFFLE(k, k, k, k));
      const __m128 lo = _mm_add_ps(origin, _mm_mul_ps(grid[k], step));
      const __m128 hi = _mm_add_ps(origin, _mm_mul_ps(grid[3 + k], step));
      const __m128 a = _mm_mul_ps(_mm_sub_ps(lo, oPlus[k]), inv[k]);
      const __m128 b = _mm_mul_ps(_mm_sub_ps(hi, oMinus[k]), inv[k]);
      tNear = _mm_max_ps(tNear, _mm_min_ps(a, b));
      tFar = _mm_min_ps(tFar, _mm_max_ps(a, b));
    };
    axis(std::integral_constant<int, 0>());
    axis(std::integral_constant<int, 1>());
    axis(std::integral_constant<int, 2>());
    return _mm_movemask_ps(_mm_cmple_ps(tNear, tFar)) & n.used;
  }

  // Calls leaf(first, count) for every leaf whose box the line meets, depth first.
  template <class Leaf>
  void forEachReached(const std::vector<Node4>& nodes, const float* positions, Leaf&& leaf) const {
    if (nodes.empty()) return;
    int stack[kStackSize];
    int sp = 0;
    stack[sp++] = 0;
    int pending[8][2];  // leaves still to test: those of the last node, then of this one
    int nPending = 0;
    while (sp > 0) {
      const Node4& node = nodes[stack[--sp]];
      const int mask = meets(node);
      // Inner children are pushed and their nodes fetched ahead of their visit, as are the
      // corners of the leaves' triangles ahead of their tests: the walk waits on memory. So
      // that the fetches have time to arrive, the entry that was on top stays on top (the
      // children are visited one step later), and the leaves are tested one node later.
      const int base = sp;
      int nextLeaves = 0;
      for (int m = mask; m; m &= m - 1) {
        const int k = __builtin_ctz(m);
        if (node.count[k] == 0) {
          _mm_prefetch(reinterpret_cast<const char*>(&nodes[node.child[k]]), _MM_HINT_T0);
          stack[sp++] = node.child[k];
        } else {
          const char* p = reinterpret_cast<const char*>(positions + 9 * std::size_t(node.child[k]));
          _mm_prefetch(p, _MM_HINT_T0);
          _mm_prefetch(p + 64, _MM_HINT_T0);
          _mm_prefetch(p + 128, _MM_HINT_T0);
          pending[nPending + nextLeaves][0] = node.child[k];
          pending[nPending + nextLeaves][1] = node.count[k];
          ++nextLeaves;
        }
      }
      if (base > 0 && sp > base) std::swap(stack[base - 1], stack[sp - 1]);
      for (int j = 0; j < nPending; ++j)
        leaf(pending[j][0], pending[j][1]);
      for (int j = 0; j < nextLeaves; ++j) {
        pending[j][0] = pending[nPending + j][0];
        pending[j][1] = pending[nPending + j][1];
      }
      nPending = nextLeaves;
    }
    for (int j = 0; j < nPending; ++j)
      leaf(pending[j][0], pending[j][1]);
  }
};

// The first steps of trianglemath::lineHitsTriangle for the four triangles of a leaf at once,
// two lanes of doubles at a time, each operation the same as in the scalar test and in the same
// order, so that each lane passes or fails the barycentric band exactly as the scalar test
// does. Returns the lanes that pass (the scalar test then computes their hits).
struct LineLanes {
  explicit LineLanes(const trianglemath::LineQuery& q) {
    for (int k = 0; k < 3; ++k) {
      p0[k] = _mm_set1_pd(q.p0[k]);
      d[k] = _mm_set1_pd(q.d[k]);
    }
  }

  int pierced(const float* block) const {
    __m128 e1f[3], e2f[3], af[3];
    for (int k = 0; k < 3; ++k) {
      af[k] = _mm_load_ps(block + 4 * k);
      e1f[k] = _mm_sub_ps(_mm_load_ps(block + 4 * (3 + k)), af[k]);
      e2f[k] = _mm_sub_ps(_mm_load_ps(block + 4 * (6 + k)), af[k]);
    }
    const __m128d sign = _mm_set1_pd(-0.0);
    const __m128d two = _mm_set1_pd(2.0);
    const __m128d low = _mm_set1_pd(-1e-5);
    const __m128d high = _mm_set1_pd(1.00001);
    int mask = 0;
    for (int half = 0; half < 2; ++half) {
      __m128d e1[3], e2[3], w[3];
      for (int k = 0; k < 3; ++k) {
        const __m128 a = half ? _mm_movehl_ps(af[k], af[k]) : af[k];
        const __m128 x = half ? _mm_movehl_ps(e1f[k], e1f[k]) : e1f[k];
        const __m128 y = half ? _mm_movehl_ps(e2f[k], e2f[k]) : e2f[k];
        e1[k] = _mm_cvtps_pd(x);
        e2[k] = _mm_cvtps_pd(y);
        w[k] = _mm_sub_pd(p0[k], _mm_cvtps_pd(a));
      }
      // pv = e2 x d
      const __m128d pv0 = _mm_sub_pd(_mm_mul_pd(e2[1], d[2]), _mm_mul_pd(e2[2], d[1]));
      const __m128d pv1 = _mm_sub_pd(_mm_mul_pd(e2[2], d[0]), _mm_mul_pd(e2[0], d[2]));
      const __m128d pv2 = _mm_sub_pd(_mm_mul_pd(e2[0], d[1]), _mm_mul_pd(e2[1], d[0]));
      const __m128d det = _mm_add_pd(_mm_add_pd(_mm_mul_pd(e1[0], pv0), _mm_mul_pd(e1[1], pv1)),
                                     _mm_mul_pd(e1[2], pv2));
      const __m128d ns = _mm_add_pd(_mm_add_pd(_mm_mul_pd(w[0], pv0), _mm_mul_pd(w[1], pv1)),
                                    _mm_mul_pd(w[2], pv2));
      // Not |ns| >= 2 |det| (a NaN goes on), then the band of s.
      __m128d ok =
          _mm_cmpnge_pd(_mm_andnot_pd(sign, ns), _mm_mul_pd(two, _mm_andnot_pd(sign, det)));
      const __m128d s = _mm_div_pd(ns, det);
      ok = _mm_and_pd(ok, _mm_and_pd(_mm_cmpgt_pd(s, low), _mm_cmplt_pd(s, high)));
      // qv = d x e1
      const __m128d qv0 = _mm_sub_pd(_mm_mul_pd(d[1], e1[2]), _mm_mul_pd(d[2], e1[1]));
      const __m128d qv1 = _mm_sub_pd(_mm_mul_pd(d[2], e1[0]), _mm_mul_pd(d[0], e1[2]));
      const __m128d qv2 = _mm_sub_pd(_mm_mul_pd(d[0], e1[1]), _mm_mul_pd(d[1], e1[0]));
      const __m128d u =
          _mm_div_pd(_mm_add_pd(_mm_add_pd(_mm_mul_pd(w[0], qv0), _mm_mul_pd(w[1], qv1)),
                                _mm_mul_pd(w[2], qv2)),
                     det);
      ok = _mm_and_pd(ok, _mm_and_pd(_mm_cmpgt_pd(u, low), _mm_cmplt_pd(_mm_add_pd(s, u), high)));
      mask |= _mm_movemask_pd(ok) << (2 * half);
    }
    return mask;
  }

  __m128d p0[3];
  __m128d d[3];
};

struct LineHit {
  double t;
  int sheet;
  int tri;
  double n[3];
};

// The prims of the triangles at positions [from, to) of the sequence of all indexed sheets'
// triangles (sheet k's are positions first[k] to first[k + 1] - 1), written from out on in that
// order; a triangle whose box cannot be trusted is appended to aside instead. Returns the
// number of prims written.
std::size_t makePrims(const RenderDrawGeom3D& geometry, const std::vector<std::size_t>& first,
                      std::size_t from, std::size_t to, Prim* out, std::vector<TriRef>& aside) {
  std::size_t made = 0;
  int k = static_cast<int>(std::upper_bound(first.begin(), first.end(), from) - first.begin()) - 1;
  for (; from < to; ++k) {
    const std::size_t sheetEnd = std::min(to, first[k + 1]);
    if (sheetEnd <= from) continue;
    const Sheet3D& sheet = geometry.getSheet(k);
    const Sheet3D::Vertex* verts = sheet.getVertexArray();
    const int* idx = sheet.getTriangleArray();
    const int nVert = sheet.getNumberOfVertices();
    const int i0 = static_cast<int>(from - first[k]);
    const int i1 = static_cast<int>(sheetEnd - first[k]);
    from = sheetEnd;
    for (int i = i0; i < i1; ++i) {
      const int* tri = idx + 3 * std::ptrdiff_t(i);
      const int ia = tri[0], ib = tri[1], ic = tri[2];
      // A triangle naming a vertex the sheet does not have cannot be tested without reading
      // past the vertex array; it is left out.
      if (ia < 0 || ib < 0 || ic < 0 || ia >= nVert || ib >= nVert || ic >= nVert) continue;
      const Sheet3D::Vertex* corner[3] = {&verts[ia], &verts[ib], &verts[ic]};
      float v[3][3];
      for (int c = 0; c < 3; ++c) {
        v[c][0] = corner[c]->x;
        v[c][1] = corner[c]->y;
        v[c][2] = corner[c]->z;
      }
      double lo[3], hi[3];
      bool finite = true;
      double maxAbs = 0.0;
      for (int a = 0; a < 3; ++a) {
        lo[a] = hi[a] = double(v[0][a]);
        for (int c = 0; c < 3; ++c) {
          const double x = double(v[c][a]);
          finite = finite && std::isfinite(x);
          lo[a] = std::min(lo[a], x);
          hi[a] = std::max(hi[a], x);
          maxAbs = std::max(maxAbs, std::fabs(x));
        }
      }
      bool thin = false;
      if (finite) {
        double e[3][3];
        for (int a = 0; a < 3; ++a) {
          e[0][a] = double(v[1][a]) - double(v[0][a]);
          e[1][a] = double(v[2][a]) - double(v[0][a]);
          e[2][a] = double(v[2][a]) - double(v[1][a]);
        }
        double n[3];
        trianglemath::cross(e[0], e[1], n);
        double longest2 = 0.0;
        for (int j = 0; j < 3; ++j)
          longest2 = std::max(longest2, e[j][0] * e[j][0] + e[j][1] * e[j][1] + e[j][2] * e[j][2]);
        // Twice the area against the longest edge squared: below 1e-6 the triangle is a sliver
        // (or a point, or a segment) and the line test's rounding is not bounded by its box.
        thin = !(std::sqrt(segmentmath::dot3(n, n)) > 1e-6 * longest2);
      }
      if (!finite || thin) {
        aside.push_back({k, i});
        continue;
      }
      double ext = 0.0;
      for (int a = 0; a < 3; ++a)
        ext = std::max(ext, hi[a] - lo[a]);
      const double margin = 1e-3 * ext + 1e-6 * maxAbs + 1e-300;
      float box[6];
      bool bounded = true;
      for (int a = 0; a < 3; ++a) {
        box[a] = floatDown(lo[a] - margin);
        box[3 + a] = floatUp(hi[a] + margin);
        bounded = bounded && std::isfinite(box[a]) && std::isfinite(box[3 + a]);
      }
      // Near the largest float the grown box has no float bounds: tested on every query.
      if (!bounded) {
        aside.push_back({k, i});
        continue;
      }
      Prim prim;
      std::copy(box, box + 3, prim.lo);
      std::copy(box + 3, box + 6, prim.hi);
      prim.ref = {k, i};
      out[made++] = prim;
    }
  }
  return made;
}

}  // namespace

RenderDrawGeom3DIndex::RenderDrawGeom3DIndex(const RenderDrawGeom3D& geometry, int threads)
    : geometry_(&geometry) {
  if (threads <= 0) threads = static_cast<int>(std::thread::hardware_concurrency());
  threads = std::max(1, std::min(threads, kMaxThreads));
  auto tree = std::make_shared<Tree>();
  const int nSheets = geometry.getNumberOfSheets();
  tree->vertices.assign(nSheets, nullptr);
  tree->triangles.assign(nSheets, nullptr);

  // The triangles of the indexed sheets as one sequence, cut into one piece per thread; each
  // thread writes its prims where its piece starts, and the pieces are then moved together.
  std::vector<std::size_t> first(std::size_t(nSheets) + 1, 0);
  for (int k = 0; k < nSheets; ++k) {
    const Sheet3D& sheet = geometry.getSheet(k);
    std::size_t count = 0;
    if (sheet.isValid() && sheet.getNumberOfTriangles() > 0) {
      tree->vertices[k] = sheet.getVertexArray();
      tree->triangles[k] = sheet.getTriangleArray();
      count = std::size_t(sheet.getNumberOfTriangles());
    }
    first[k + 1] = first[k] + count;
  }
  const std::size_t total = first[nSheets];
  // Left uninitialised: each thread touches the pages of its own piece first.
  std::unique_ptr<Prim[]> prims(new Prim[total > 0 ? total : 1]);
  const int pieces = total >= std::size_t(kThreadTriangles) ? threads : 1;
  std::vector<std::size_t> made(pieces);
  std::vector<std::vector<TriRef>> aside(pieces);
  auto pieceStart = [&](int t) { return total * std::size_t(t) / std::size_t(pieces); };
  forEachTask(pieces, [&](int t) {
    made[t] = makePrims(geometry, first, pieceStart(t), pieceStart(t + 1), &prims[pieceStart(t)],
                        aside[t]);
  });
  std::size_t n = 0;
  for (int t = 0; t < pieces; ++t) {
    if (n != pieceStart(t)) std::memmove(&prims[n], &prims[pieceStart(t)], made[t] * sizeof(Prim));
    n += made[t];
    tree->always.insert(tree->always.end(), aside[t].begin(), aside[t].end());
  }

  std::vector<Node> binary;
  if (n > 0) {
    binary.reserve(2 * (n / kLeafSize + 1));
    int splitDepth = 0;  // splits on threads: enough levels to give each thread a range
    while ((1 << splitDepth) < threads)
      ++splitDepth;
    SahBuilder sah{prims.get(), binary, splitDepth};
    __m128 centreLo, centreHi;
    sah.centres(0, static_cast<int>(n), centreLo, centreHi);
    sah.build(0, static_cast<int>(n), centreLo, centreHi, 0);
    // Leaves in tree order, each renumbered to start at a multiple of four.
    tree->tris.reserve(n + n / 2 + 4);
    for (Node& leaf : binary) {
      if (leaf.count == 0) continue;
      const int start = static_cast<int>(tree->tris.size());
      for (int lane = 0; lane < 4; ++lane)
        tree->tris.push_back(prims[leaf.first + (lane < leaf.count ? lane : 0)].ref);
      leaf.first = start;
    }
    tree->nodes.reserve(binary.size() / 3 + 1);
    Collapser collapser{binary, tree->nodes, 0.0, threads};
    collapser.collapse(0);
    tree->reach = collapser.reach;
  }
  tree->indexed = static_cast<int>(n);
  // The corners are read from the sheets in tree order, far apart: the indices of the triangles
  // 64 places ahead and the vertices of those 32 places ahead are fetched early. Each thread
  // copies a run of leaves (and touches its pages first).
  const std::size_t slots = tree->tris.size();
  const std::size_t leaves = slots / 4;
  tree->positions.reset(new float[9 * slots + 1]);
  const int runs = slots >= std::size_t(kThreadTriangles) ? threads : 1;
  forEachTask(runs, [&](int t) {
    const std::size_t to = leaves * std::size_t(t + 1) / std::size_t(runs);
    for (std::size_t b = leaves * std::size_t(t) / std::size_t(runs); b < to; ++b) {
      for (std::size_t i = 4 * b + 64; i < 4 * b + 68 && i < slots; ++i) {
        const TriRef& r = tree->tris[i];
        _mm_prefetch(
            reinterpret_cast<const char*>(tree->triangles[r.sheet] + 3 * std::ptrdiff_t(r.tri)),
            _MM_HINT_T0);
      }
      for (std::size_t i = 4 * b + 32; i < 4 * b + 36 && i < slots; ++i) {
        for (int c = 0; c < 3; ++c)
          _mm_prefetch(reinterpret_cast<const char*>(&tree->vertex(tree->tris[i], c)), _MM_HINT_T0);
      }
      float* f = &tree->positions[36 * b];
      for (int lane = 0; lane < 4; ++lane) {
        const TriRef& r = tree->tris[4 * b + lane];
        for (int c = 0; c < 3; ++c) {
          const Sheet3D::Vertex& v = tree->vertex(r, c);
          f[4 * (3 * c) + lane] = v.x;
          f[4 * (3 * c + 1) + lane] = v.y;
          f[4 * (3 * c + 2) + lane] = v.z;
        }
      }
    }
  });
  tree_ = std::move(tree);
}

RenderDrawGeom3DIndex::~RenderDrawGeom3DIndex() = default;

int RenderDrawGeom3DIndex::getNumberOfIndexedTriangles() const {
  return tree_->indexed;
}

int RenderDrawGeom3DIndex::getNumberOfAlwaysTestedTriangles() const {
  return static_cast<int>(tree_->always.size());
}

void RenderDrawGeom3DIndex::findLineIntersections(const std::vector<double>& p0,
                                                  const std::vector<double>& p1,
                                                  std::vector<std::vector<double>>& result,
                                                  std::vector<int>& sheets) const {
  const Tree& tree = *tree_;
  const trianglemath::LineQuery line(p0.data(), p1.data());
  std::vector<LineHit> hits;
  // The test runs on the stored positions; a hit reads the sheet's vertices for the normals.
  auto test = [&](const TriRef& r, const Sheet3D::Vertex* v) {
    trianglemath::LineHit hit;
    if (!trianglemath::lineHitsTriangle(line, v[0], v[1], v[2], hit)) return;
    LineHit h;
    h.t = hit.t;
    h.sheet = r.sheet;
    h.tri = r.tri;
    trianglemath::interpolatedNormal(tree.vertex(r, 0), tree.vertex(r, 1), tree.vertex(r, 2), hit.s,
                                     hit.u, h.n);
    hits.push_back(h);
  };
  for (const TriRef& r : tree.always) {
    const Sheet3D::Vertex v[3] = {tree.vertex(r, 0), tree.vertex(r, 1), tree.vertex(r, 2)};
    test(r, v);
  }

  // The line o + t D with D = p1 - p0 against the node boxes, t unbounded. Lines the slab test
  // cannot bound safely (coordinates not finite, beyond 1e150, or a direction below 1e-140)
  // test every triangle.
  const double o[3] = {p0[0], p0[1], p0[2]};
  const double D[3] = {p1[0] - p0[0], p1[1] - p0[1], p1[2] - p0[2]};
  bool all = false;
  double dmax = 0.0;
  for (int k = 0; k < 3; ++k) {
    if (!(std::fabs(o[k]) < 1e150) || !(std::fabs(p1[k]) < 1e150)) all = true;
    dmax = std::max(dmax, std::fabs(D[k]));
  }
  if (!(dmax > 1e-140)) all = true;
  double inv[3];
  for (int k = 0; k < 3; ++k)
    inv[k] = D[k] != 0.0 ? 1.0 / D[k] : 0.0;
  auto meets = [&](const Node4& node, int slot) {
    if (all) return true;
    double tNear = -kInf, tFar = kInf;
    for (int k = 0; k < 3; ++k) {
      const double lo = double(node.lo(k, slot)) - o[k];
      const double hi = double(node.hi(k, slot)) - o[k];
      if (D[k] == 0.0) {
        if (lo > 0.0 || hi < 0.0) return false;
        continue;
      }
      const double t1 = lo * inv[k];
      const double t2 = hi * inv[k];
      tNear = std::max(tNear, std::min(t1, t2));
      tFar = std::min(tFar, std::max(t1, t2));
    }
    return tNear <= tFar + 1e-9 * (std::fabs(tNear) + std::fabs(tFar));
  };
  Sheet3D::Vertex v[3];
  auto visit = [&](int i) {
    tree.corners(i, v);
    test(tree.tris[i], v);
  };
  FloatLine fl;
  if (!all && fl.set(o, D, tree.reach)) {
    const LineLanes lanes(line);
    // The hits' normals read the sheets' vertices, far apart in memory: the hits are kept until
    // the walk ends, and then their triangles, indices and vertices are fetched together.
    struct Pending {
      trianglemath::LineHit hit;
      int i;
    };
    // Most lines hit a few triangles: they are kept on the stack, any more in a vector.
    Pending few[16];
    int nFew = 0;
    std::vector<Pending> many;
    auto forEachPending = [&](auto&& f) {
      for (int j = 0; j < nFew; ++j)
        f(few[j]);
      for (const Pending& p : many)
        f(p);
    };
    fl.forEachReached(tree.nodes, tree.positions.get(), [&](int first, int count) {
      int mask = lanes.pierced(&tree.positions[9 * std::size_t(first)]) & ((1 << count) - 1);
      for (; mask; mask &= mask - 1) {
        const int i = first + __builtin_ctz(mask);
        tree.corners(i, v);
        Pending p;
        if (!trianglemath::lineHitsTriangle(line, v[0], v[1], v[2], p.hit)) continue;
        p.i = i;
        if (nFew < 16) {
          few[nFew++] = p;
        } else {
          many.push_back(p);
        }
        _mm_prefetch(reinterpret_cast<const char*>(&tree.tris[i]), _MM_HINT_T0);
      }
    });
    forEachPending([&](const Pending& p) {
      const TriRef& r = tree.tris[p.i];
      _mm_prefetch(
          reinterpret_cast<const char*>(tree.triangles[r.sheet] + 3 * std::ptrdiff_t(r.tri)),
          _MM_HINT_T0);
    });
    forEachPending([&](const Pending& p) {
      const TriRef& r = tree.tris[p.i];
      for (int c = 0; c < 3; ++c)
        _mm_prefetch(reinterpret_cast<const char*>(&tree.vertex(r, c)), _MM_HINT_T0);
    });
    hits.reserve(hits.size() + nFew + many.size());
    forEachPending([&](const Pending& p) {
      const TriRef& r = tree.tris[p.i];
      LineHit h;
      h.t = p.hit.t;
      h.sheet = r.sheet;
      h.tri = r.tri;
      trianglemath::interpolatedNormal(tree.vertex(r, 0), tree.vertex(r, 1), tree.vertex(r, 2),
                                       p.hit.s, p.hit.u, h.n);
      hits.push_back(h);
    });
  } else {
    tree.forEachReached(meets, visit);
  }

  // The plain query orders by (t, position), a NaN t last, position counting hits in sheet
  // order and then triangle order: (t, sheet, triangle) is the same order.
  std::sort(hits.begin(), hits.end(), [](const LineHit& x, const LineHit& y) {
    const bool xNaN = std::isnan(x.t);
    const bool yNaN = std::isnan(y.t);
    if (xNaN != yNaN) return yNaN;
    if (!xNaN && x.t != y.t) return x.t < y.t;
    return x.sheet < y.sheet || (x.sheet == y.sheet && x.tri < y.tri);
  });
  // Existing entries are reused (no vector of four is built unless the result grows).
  if (result.size() > hits.size()) result.resize(hits.size());
  while (result.size() < hits.size())
    result.emplace_back(4, 0.0);
  sheets.resize(hits.size());
  for (std::size_t i = 0; i < hits.size(); ++i) {
    std::vector<double>& out = result[i];
    if (out.size() < 4) out.resize(4);
    out[0] = hits[i].t;
    out[1] = hits[i].n[0];
    out[2] = hits[i].n[1];
    out[3] = hits[i].n[2];
    sheets[i] = hits[i].sheet;
  }
}

void RenderDrawGeom3DIndex::findLineIntersections(const std::vector<double>& p0,
                                                  const std::vector<double>& p1,
                                                  std::vector<std::vector<double>>& result) const {
  std::vector<int> sheets;
  findLineIntersections(p0, p1, result, sheets);
}

int RenderDrawGeom3DIndex::findClosestPoint(const std::vector<double>& p,
                                            const std::vector<int>& candidateSheets,
                                            std::vector<double>& closest) const {
  const Tree& tree = *tree_;
  const int nSheets = static_cast<int>(tree.vertices.size());
  for (int c : candidateSheets) {
    // A candidate that is not a sheet: the geometry raises, after the same partial search.
    if (c < 0 || c >= nSheets) return geometry_->findClosestPoint(p, candidateSheets, closest);
  }
  closest.assign(3, kNaN);
  if (candidateSheets.empty()) return -1;

  std::vector<int> rank(nSheets, -1);
  std::size_t candidateTriangles = 0;
  for (std::size_t i = 0; i < candidateSheets.size(); ++i) {
    const int s = candidateSheets[i];
    if (rank[s] >= 0) continue;
    rank[s] = static_cast<int>(i);
    if (tree.vertices[s]) candidateTriangles += geometry_->getSheet(s).getNumberOfTriangles();
  }
  ClosestState best;
  auto offer = [&](const TriRef& r) {
    best.offer(p.data(), tree.vertex(r, 0), tree.vertex(r, 1), tree.vertex(r, 2), rank[r.sheet],
               r.tri, r.sheet);
  };
  Sheet3D::Vertex v[3];
  auto offerLeaf = [&](int i) {
    const TriRef& r = tree.tris[i];
    if (rank[r.sheet] < 0) return;
    tree.corners(i, v);
    best.offer(p.data(), v[0], v[1], v[2], rank[r.sheet], r.tri, r.sheet);
  };

  if (candidateTriangles < 4096) {
    // Few candidate triangles: test them all, in the plain query's order.
    for (std::size_t i = 0; i < candidateSheets.size(); ++i) {
      const int s = candidateSheets[i];
      if (rank[s] != static_cast<int>(i) || !tree.vertices[s]) continue;
      const Sheet3D& sheet = geometry_->getSheet(s);
      const int nTri = sheet.getNumberOfTriangles();
      const int nVert = sheet.getNumberOfVertices();
      const int* idx = tree.triangles[s];
      for (int t = 0; t < nTri; ++t) {
        const int* tri = idx + 3 * std::ptrdiff_t(t);
        const int ia = tri[0], ib = tri[1], ic = tri[2];
        if (ia < 0 || ib < 0 || ic < 0 || ia >= nVert || ib >= nVert || ic >= nVert) continue;
        offer({s, t});
      }
    }
  } else {
    for (const TriRef& r : tree.always)
      if (rank[r.sheet] >= 0) offer(r);
    if (!tree.nodes.empty()) {
      std::pair<int, double> stack[kStackSize];
      int top = 0;
      stack[top++] = {0, 0.0};
      while (top > 0) {
        const std::pair<int, double> entry = stack[--top];
        // Equal bounds are visited: an equally close point of an earlier candidate still wins.
        if (entry.second > best.dist2) continue;
        const Node4& node = tree.nodes[entry.first];
        // The children by their bounds, nearest first.
        std::pair<double, int> near[4];
        int m = 0;
        for (int k = 0; k < 4; ++k) {
          if (node.count[k] < 0) continue;
          const double lb = lowerBound2(node, k, p.data());
          int j = m++;
          for (; j > 0 && near[j - 1].first > lb; --j)
            near[j] = near[j - 1];
          near[j] = {lb, k};
        }
        for (int j = 0; j < m; ++j) {
          const int k = near[j].second;
          if (node.count[k] == 0 || near[j].first > best.dist2) continue;
          for (int i = node.child[k]; i < node.child[k] + node.count[k]; ++i)
            offerLeaf(i);
        }
        for (int j = m - 1; j >= 0; --j) {
          const int k = near[j].second;
          if (node.count[k] == 0 && !(near[j].first > best.dist2))
            stack[top++] = {node.child[k], near[j].first};
        }
      }
    }
  }
  if (best.sheet < 0) return -1;
  closest[0] = best.q[0];
  closest[1] = best.q[1];
  closest[2] = best.q[2];
  return best.sheet;
}

bool RenderDrawGeom3DIndex::pointInSolid(const std::vector<double>& p, int solid) const {
  const RenderDrawGeom3D& geom = *geometry_;
  const Tree& tree = *tree_;
  auto closest = [this](const std::vector<double>& point, const std::vector<int>& sheets,
                        std::vector<double>& c) { findClosestPoint(point, sheets, c); };
  // A segment that does not cross the start square [-step, step]^2 never counts in the search,
  // so only the triangles whose boxes reach the square's column above top are asked for (the
  // column grown for the rounding of the projection to float), each sheet as often as the
  // solid lists it.
  auto collect = [&geom, &tree, &p](const std::vector<int>& sheets, double step, double top,
                                    std::vector<pointinsolid::Segment2>& segments) {
    std::vector<int> multiplicity(geom.getNumberOfSheets(), 0);
    for (int j : sheets) {
      // findClosestPoint has checked every index.
      if (!tree.vertices[j]) continue;
      if (!(double(geom.getSheet(j).getBoundingBox().getMaxZ()) >= top)) continue;
      ++multiplicity[j];
    }
    auto collectTriangle = [&](const TriRef& r) {
      const int m = multiplicity[r.sheet];
      if (m == 0) return;
      for (int e = 0; e < 3; ++e) {
        pointinsolid::Segment2 seg;
        if (!pointinsolid::projectAboveTop(tree.vertex(r, e), tree.vertex(r, (e + 1) % 3), top,
                                           p.data(), seg)) {
          continue;
        }
        for (int k = 0; k < m; ++k)
          segments.push_back(seg);
      }
    };
    for (const TriRef& r : tree.always)
      collectTriangle(r);
    const double slack = 1e-6 * (step + std::fabs(p[0]) + std::fabs(p[1])) + 1e-300;
    const double lo[2] = {p[0] - step - slack, p[1] - step - slack};
    const double hi[2] = {p[0] + step + slack, p[1] + step + slack};
    // A column that cannot be bounded (a step or coordinates not finite) takes every triangle.
    const bool every = !std::isfinite(lo[0]) || !std::isfinite(lo[1]) || !std::isfinite(hi[0]) ||
                       !std::isfinite(hi[1]) || !std::isfinite(top);
    tree.forEachReached(
        [&](const Node4& node, int k) {
          return every || !(double(node.hi(2, k)) < top || double(node.lo(0, k)) > hi[0] ||
                            double(node.hi(0, k)) < lo[0] || double(node.lo(1, k)) > hi[1] ||
                            double(node.hi(1, k)) < lo[1]);
        },
        [&](int i) { collectTriangle(tree.tris[i]); });
  };
  auto lines = [this](const std::vector<double>& p0, const std::vector<double>& p1,
                      std::vector<std::vector<double>>& hits, std::vector<int>& hitSheets) {
    findLineIntersections(p0, p1, hits, hitSheets);
  };
  return pointinsolid::pointInSolid(p, solid, geom.getSolidToSheetAdjacent(),
                                    geom.getSheetToSolidAdjacent(), closest, collect, lines);
}

std::vector<int> RenderDrawGeom3DIndex::touchingCandidates(const double* lo, const double* hi,
                                                           const std::vector<int>& candidates,
                                                           bool& pruned) const {
  const Tree& tree = *tree_;
  const int nSheets = static_cast<int>(tree.vertices.size());
  pruned = false;
  std::vector<int> kept;
  for (int c : candidates) {
    // A candidate that is not a sheet: the geometry raises at its place in the list.
    if (c < 0 || c >= nSheets) return kept;
  }
  // A sheet can touch the shape only through a triangle whose box meets the shape's box;
  // triangles kept aside may touch anything. NaN bounds meet every box.
  std::vector<char> possible(nSheets, 0);
  for (const TriRef& r : tree.always)
    possible[r.sheet] = 1;
  tree.forEachReached(
      [&](const Node4& node, int k) {
        bool apart = false;
        for (int a = 0; a < 3; ++a)
          apart = apart || double(node.lo(a, k)) > hi[a] || double(node.hi(a, k)) < lo[a];
        return !apart;
      },
      [&](int i) { possible[tree.tris[i].sheet] = 1; });
  for (int c : candidates)
    if (possible[c]) kept.push_back(c);
  pruned = true;
  return kept;
}

void RenderDrawGeom3DIndex::findEntitiesInBall(const std::vector<double>& centre, double radius,
                                               int dim, bool inside,
                                               const std::vector<int>& candidates,
                                               std::vector<int>& result) const {
  if (dim == 2 && !inside) {
    // The sheet's test compares squared distances: a negative radius reaches as far.
    const double r = std::fabs(radius);
    const double lo[3] = {centre[0] - r, centre[1] - r, centre[2] - r};
    const double hi[3] = {centre[0] + r, centre[1] + r, centre[2] + r};
    bool pruned;
    const std::vector<int> kept = touchingCandidates(lo, hi, candidates, pruned);
    if (pruned) return geometry_->findEntitiesInBall(centre, radius, 2, false, kept, result);
  }
  geometry_->findEntitiesInBall(centre, radius, dim, inside, candidates, result);
}

bool RenderDrawGeom3DIndex::isInBall(const std::vector<double>& centre, double radius, int dim,
                                     bool inside, const std::vector<int>& candidates) const {
  if (dim == 2 && !inside) {
    // The sheet's test compares squared distances: a negative radius reaches as far.
    const double r = std::fabs(radius);
    const double lo[3] = {centre[0] - r, centre[1] - r, centre[2] - r};
    const double hi[3] = {centre[0] + r, centre[1] + r, centre[2] + r};
    bool pruned;
    const std::vector<int> kept = touchingCandidates(lo, hi, candidates, pruned);
    if (pruned) return geometry_->isInBall(centre, radius, 2, false, kept);
  }
  return geometry_->isInBall(centre, radius, dim, inside, candidates);
}

void RenderDrawGeom3DIndex::findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                                              const std::vector<int>& candidates,
                                              std::vector<int>& result) const {
  // The geometry clips the box to its grown bounds, a part of this box; an inverted box is left
  // to the geometry.
  if (dim == 2 && !inside && box[0] <= box[1] && box[2] <= box[3] && box[4] <= box[5]) {
    const double lo[3] = {box[0], box[2], box[4]};
    const double hi[3] = {box[1], box[3], box[5]};
    bool pruned;
    const std::vector<int> kept = touchingCandidates(lo, hi, candidates, pruned);
    if (pruned) return geometry_->findEntitiesInBox(box, 2, false, kept, result);
  }
  geometry_->findEntitiesInBox(box, dim, inside, candidates, result);
}

bool RenderDrawGeom3DIndex::isInBox(const std::vector<double>& box, int dim, bool inside,
                                    const std::vector<int>& candidates) const {
  if (dim == 2 && !inside && box[0] <= box[1] && box[2] <= box[3] && box[4] <= box[5]) {
    const double lo[3] = {box[0], box[2], box[4]};
    const double hi[3] = {box[1], box[3], box[5]};
    bool pruned;
    const std::vector<int> kept = touchingCandidates(lo, hi, candidates, pruned);
    if (pruned) return geometry_->isInBox(box, 2, false, kept);
  }
  return geometry_->isInBox(box, dim, inside, candidates);
}

}  // namespace nkdatacarrier
