// The index answers every query exactly as the geometry does: random and special lines, points
// and shapes on real and generated models, then the corner cases of the data.
#include "datacarrier/renderdrawgeom3dindex.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "carrierstreamchecks.h"
#include "datacarrier/internal/vertexcodes.h"
#include "index3dmodels.h"

#ifndef QV_INDEX_TEST_SCALE
#define QV_INDEX_TEST_SCALE 1
#endif

namespace {

using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::RenderDrawGeom3DIndex;
using nkdatacarrier::Sheet3D;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

bool sameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return a.size() == b.size() &&
         (a.empty() || std::memcmp(a.data(), b.data(), a.size() * sizeof(double)) == 0);
}

// Compares one query of every kind at once and counts the checks, so that a failure names the
// model and the query.
class Differ {
 public:
  Differ(const RenderDraw3D& g, const std::string& name, int threads = 0)
      : g_(g), index_(g, threads), name_(name) {
    for (int s = 0; s < g.getNumberOfSheets(); ++s)
      all_.push_back(s);
  }

  void line(const std::vector<double>& p0, const std::vector<double>& p1) {
    std::vector<std::vector<double>> a, b;
    std::vector<int> sa, sb;
    g_.findLineIntersections(p0, p1, a, sa);
    index_.findLineIntersections(p0, p1, b, sb);
    bool same = a.size() == b.size() && sa == sb;
    for (std::size_t i = 0; same && i < a.size(); ++i)
      same = sameBits(a[i], b[i]);
    ++lines;
    hits += a.size();
    ASSERT_TRUE(same) << name_ << " line " << p0[0] << " " << p0[1] << " " << p0[2] << " -> "
                      << p1[0] << " " << p1[1] << " " << p1[2] << ": " << a.size() << " vs "
                      << b.size() << " hits";
  }

  void closest(const std::vector<double>& p, const std::vector<int>& candidates) {
    std::vector<double> a, b;
    const int ka = g_.findClosestPoint(p, candidates, a);
    const int kb = index_.findClosestPoint(p, candidates, b);
    ++closests;
    ASSERT_TRUE(ka == kb && sameBits(a, b)) << name_ << " closest to " << p[0] << " " << p[1] << " "
                                            << p[2] << ": sheet " << ka << " vs " << kb;
  }

  void inSolid(const std::vector<double>& p) {
    for (int s = 0; s < g_.getNumberOfSolids(); ++s) {
      const bool a = g_.pointInSolid(p, s);
      ++solids;
      insides += a;
      ASSERT_EQ(a, index_.pointInSolid(p, s))
          << name_ << " solid " << s << " at " << p[0] << " " << p[1] << " " << p[2];
    }
  }

  void shapes(const std::vector<double>& box, const std::vector<double>& c, double r) {
    for (bool inside : {false, true}) {
      std::vector<int> a = {7}, b = {7};
      g_.findEntitiesInBox(box, 2, inside, all_, a);
      index_.findEntitiesInBox(box, 2, inside, all_, b);
      ASSERT_EQ(a, b) << name_ << " box, inside " << inside;
      ASSERT_EQ(g_.isInBox(box, 2, inside, all_), index_.isInBox(box, 2, inside, all_));
      a.clear();
      b.clear();
      g_.findEntitiesInBall(c, r, 2, inside, all_, a);
      index_.findEntitiesInBall(c, r, 2, inside, all_, b);
      ASSERT_EQ(a, b) << name_ << " ball, inside " << inside;
      ASSERT_EQ(g_.isInBall(c, r, 2, inside, all_), index_.isInBall(c, r, 2, inside, all_));
      selected += a.size();
      ++selections;
    }
  }

  const std::vector<int>& allSheets() const { return all_; }
  const RenderDrawGeom3DIndex& index() const { return index_; }

  std::size_t lines = 0, hits = 0, closests = 0, solids = 0, insides = 0, selections = 0,
              selected = 0;

 private:
  const RenderDraw3D& g_;
  RenderDrawGeom3DIndex index_;
  std::string name_;
  std::vector<int> all_;
};

// Random queries on one model: lines between random points, through vertices, along edges,
// through triangle centres from far away; points in the box, on and near the surface; random
// candidate lists; random boxes and balls.
void differential(const RenderDraw3D& g, const std::string& name, int nLines, int nPoints,
                  int nSolidPoints, int nShapes, int threads = 0) {
  Differ d(g, name, threads);
  std::mt19937_64 rng(12345);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  const nkdatacarrier::BoundingBox3D& b = g.getBoundingBox();
  const double lo[3] = {b.getMinX(), b.getMinY(), b.getMinZ()};
  const double hi[3] = {b.getMaxX(), b.getMaxY(), b.getMaxZ()};
  double diag = 0.0;
  for (int k = 0; k < 3; ++k)
    diag += (hi[k] - lo[k]) * (hi[k] - lo[k]);
  diag = std::sqrt(diag);
  auto inBox = [&](double grow) {
    std::vector<double> p(3);
    for (int k = 0; k < 3; ++k)
      p[k] = lo[k] - grow * diag + (hi[k] - lo[k] + 2 * grow * diag) * unit(rng);
    return p;
  };
  // A random triangle of a random valid sheet, as its three positions.
  auto triangle = [&](std::vector<double>* corners) {
    for (;;) {
      const Sheet3D& s = g.getSheet(int(rng() % g.getNumberOfSheets()));
      if (!s.isValid() || s.getNumberOfTriangles() == 0) continue;
      const int t = int(rng() % s.getNumberOfTriangles());
      for (int c = 0; c < 3; ++c) {
        const Sheet3D::Vertex& v = s.getVertex(s.getTriangleArray()[3 * t + c]);
        corners[c] = {double(v.x), double(v.y), double(v.z)};
      }
      return;
    }
  };
  auto along = [](const std::vector<double>& a, const std::vector<double>& b, double t) {
    return std::vector<double>{a[0] + t * (b[0] - a[0]), a[1] + t * (b[1] - a[1]),
                               a[2] + t * (b[2] - a[2])};
  };
  std::vector<double> c[3];
  for (int i = 0; i < nLines; ++i) {
    switch (i % 5) {
      case 0:
        d.line(inBox(0.2), inBox(0.2));
        break;
      case 1:  // through a vertex
        triangle(c);
        d.line(c[0], inBox(0.5));
        break;
      case 2:  // along an edge
        triangle(c);
        d.line(c[0], c[1]);
        break;
      case 3: {  // through the centre of a triangle, from far away
        triangle(c);
        const std::vector<double> m = {(c[0][0] + c[1][0] + c[2][0]) / 3,
                                       (c[0][1] + c[1][1] + c[2][1]) / 3,
                                       (c[0][2] + c[1][2] + c[2][2]) / 3};
        d.line(inBox(5.0), m);
        break;
      }
      default:  // along an edge, shifted by a hair, and through an edge's midpoint
        triangle(c);
        d.line(along(c[0], c[1], 0.5), inBox(0.1));
        d.line(along(c[0], c[2], -1e-7), along(c[1], c[2], 1.0 + 1e-7));
        break;
    }
    if (::testing::Test::HasFatalFailure()) return;
  }
  for (int i = 0; i < nPoints; ++i) {
    std::vector<double> p;
    if (i % 3 == 0) {
      p = inBox(0.3);
    } else {  // on a triangle, or near it
      triangle(c);
      const double u = unit(rng), v = unit(rng) * (1 - u);
      p = along(along(c[0], c[1], u), c[2], v);
      if (i % 3 == 2) {
        for (double& x : p)
          x += (unit(rng) - 0.5) * 1e-3 * diag;
      }
    }
    d.closest(p, d.allSheets());
    // Part of the sheets, shuffled, with repeats.
    std::vector<int> some;
    for (int s : d.allSheets())
      if (rng() % 3 == 0) some.push_back(s);
    if (!some.empty()) some.push_back(some[rng() % some.size()]);
    std::shuffle(some.begin(), some.end(), rng);
    d.closest(p, some);
    if (::testing::Test::HasFatalFailure()) return;
  }
  for (int i = 0; i < nSolidPoints; ++i) {
    std::vector<double> p = inBox(0.05);
    if (i % 4 == 3) {  // exactly on a vertex
      triangle(c);
      p = c[0];
    }
    d.inSolid(p);
    if (::testing::Test::HasFatalFailure()) return;
  }
  for (int i = 0; i < nShapes; ++i) {
    const std::vector<double> a = inBox(0.1), e = inBox(0.1);
    const std::vector<double> box = {std::min(a[0], e[0]), std::max(a[0], e[0]),
                                     std::min(a[1], e[1]), std::max(a[1], e[1]),
                                     std::min(a[2], e[2]), std::max(a[2], e[2])};
    d.shapes(box, inBox(0.1), unit(rng) * 0.4 * diag);
    if (::testing::Test::HasFatalFailure()) return;
  }
  // The queries must have found something to compare.
  EXPECT_GT(d.hits, d.lines / 4) << name;
  if (nSolidPoints > 0 && g.getNumberOfSolids() > 0) {
    EXPECT_GT(d.insides, 0u) << name;
    EXPECT_LT(d.insides, d.solids) << name;
  }
  EXPECT_GT(d.selected, 0u) << name;
}

constexpr int kScale = QV_INDEX_TEST_SCALE;

TEST(RenderDrawGeom3DIndex, AnswersAsTheGeometryOnRealModels) {
#ifdef QV_HAVE_GMSH
  for (const char* name : {"cube", "plate_hole", "sphere", "two_boxes", "bracket_s"}) {
    const qvtest::MeshedModel m =
        qvtest::readMeshedModel(std::string(QV_MODELS_DIR) + "/" + name + ".msh");
    differential(m.geometry, name, 10000 / kScale, 2000 / kScale, 200 / kScale, 200 / kScale);
    if (HasFatalFailure()) return;
  }
#else
  GTEST_SKIP() << "the mesher's library (libgmsh-dev) is not installed";
#endif
}

TEST(RenderDrawGeom3DIndex, AnswersAsTheGeometryOnGeneratedModels) {
  differential(qvtest::sphere(2.0f, 40, 64), "sphere", 15000 / kScale, 2000 / kScale, 200 / kScale,
               200 / kScale);
  differential(qvtest::torus(3.0, 1.0, 2, 1, 20, 30), "torus", 15000 / kScale, 2000 / kScale,
               200 / kScale, 200 / kScale);
  differential(qvtest::tiledCube(8, 2), "tiled cube", 15000 / kScale, 2000 / kScale, 200 / kScale,
               200 / kScale);
  differential(qvtest::cylinder(1.0f, 2.0f, 48), "cylinder", 3000 / kScale, 500 / kScale,
               100 / kScale, 100 / kScale);
  // Large enough for every stage of the build to share the work among three threads (an odd
  // number, so the pieces differ in size).
  differential(qvtest::torus(3.0, 1.0, 4, 3, 60, 50), "torus on three threads", 1500 / kScale,
               300 / kScale, 50 / kScale, 50 / kScale, 3);
}

// A torus of two sheets (R = 3, r = 1) scaled by s and moved by c: the node boxes are rounded
// to grids whose steps and origins reach the ends of the float range.
RenderDraw3D placedTorus(double s, double c) {
  const double pi = std::acos(-1.0);
  RenderDraw3D g;
  g.allocate(1, 2, 0, 0);
  for (int k = 0; k < 2; ++k) {
    g.sheet(
        k) = qvtest::gridSheet(20, 30, pi * k, pi * (k + 1), 0, 2 * pi, [&](double u, double v) {
      return qvtest::P3{float(c + s * (3 + std::cos(v)) * std::cos(u)),
                        float(c + s * (3 + std::cos(v)) * std::sin(u)), float(c + s * std::sin(v))};
    });
  }
  qvtest::relate(g, {{0, 0, -1}, {1, 0, -1}});
  return g;
}

// Far from the origin, at very large and very small magnitudes, and up to the largest float
// (where the grown boxes leave the float range).
TEST(RenderDrawGeom3DIndex, AnswersAsTheGeometryAtExtremeCoordinates) {
  const double kMax = std::numeric_limits<float>::max();
  for (const auto& place : std::vector<std::pair<double, double>>{
           {1.0, 1e6}, {1e-3, 1e4}, {1e12, 0.0}, {1e30, -1e31}, {1e-30, 0.0}, {kMax / 4, 0.0}}) {
    const std::string name =
        "torus " + std::to_string(place.first) + " at " + std::to_string(place.second);
    differential(placedTorus(place.first, place.second), name, 2000 / kScale, 200 / kScale,
                 40 / kScale, 40 / kScale);
    if (HasFatalFailure()) return;
  }
  // At the largest float the grown boxes overflow: those triangles are tested on every query.
  EXPECT_GT(RenderDrawGeom3DIndex(placedTorus(kMax / 4, 0.0)).getNumberOfAlwaysTestedTriangles(),
            0);
}

// Corner cases of the data: a geometry without sheets; invalid, empty and corrupt sheets; a
// NaN vertex; triangles collapsed to a segment or a point; candidates and solids out of range.
TEST(RenderDrawGeom3DIndex, AnswersAsTheGeometryOnBrokenData) {
  RenderDraw3D none;
  RenderDrawGeom3DIndex emptyIndex(none);
  EXPECT_EQ(emptyIndex.getNumberOfIndexedTriangles(), 0);
  std::vector<std::vector<double>> hits = {{1, 2, 3, 4}};
  std::vector<int> sheets = {5};
  emptyIndex.findLineIntersections({0, 0, 0}, {1, 1, 1}, hits, sheets);
  EXPECT_TRUE(hits.empty() && sheets.empty());
  std::vector<double> q;
  EXPECT_EQ(emptyIndex.findClosestPoint({0, 0, 0}, {}, q), -1);
  EXPECT_TRUE(q.size() == 3 && std::isnan(q[0]));
  EXPECT_EQ(qvtest::raiseSite([&] {
              emptyIndex.findClosestPoint({0, 0, 0}, {0}, q);
            }),
            qvtest::raiseSite([&] {
              none.findClosestPoint({0, 0, 0}, {0}, q);
            }));
  EXPECT_FALSE(emptyIndex.pointInSolid({0, 0, 0}, 3));

  // A tiled cube whose sheets are broken one way each, the rest intact.
  RenderDraw3D g = qvtest::tiledCube(3, 2);
  g.sheet(0).setValid(false);  // invalid: never tested
  g.sheet(1).allocate(0, 0);   // valid, no vertices, no triangles
  g.sheet(1).setValid(true);
  Sheet3D& nanSheet = g.sheet(2);  // a NaN vertex
  const Sheet3D::Vertex v = nanSheet.getVertex(4);
  nanSheet.setVertex(4, float(kNaN), v.y, v.z, v.nx, v.ny, v.nz);
  Sheet3D& flat = g.sheet(3);  // triangles collapsed to a segment and a point
  flat.setTriangle(0, 0, 1, 2);
  flat.setTriangle(1, 4, 4, 4);
  const Sheet3D::Vertex w0 = flat.getVertex(0), w1 = flat.getVertex(1);
  flat.setVertex(2, 2 * w1.x - w0.x, 2 * w1.y - w0.y, 2 * w1.z - w0.z, 0, 0, 1);
  g.sheet(4).setTriangle(2, 0, 99, 1);  // a corner the sheet does not have
  Sheet3D& inf = g.sheet(5);            // an infinite vertex
  const Sheet3D::Vertex u = inf.getVertex(0);
  inf.setVertex(0, u.x, std::numeric_limits<float>::infinity(), u.z, u.nx, u.ny, u.nz);

  RenderDrawGeom3DIndex index(g);
  EXPECT_GE(index.getNumberOfAlwaysTestedTriangles(), 6);
  Differ d(g, "broken");
  std::mt19937_64 rng(7);
  std::uniform_real_distribution<double> coord(-1.5, 1.5);
  auto random = [&] { return std::vector<double>{coord(rng), coord(rng), coord(rng)}; };
  for (int s = 0; s < 6; ++s) {
    // Lines through and along the broken sheets' vertices and the degenerate segment.
    const Sheet3D& sheet = g.getSheet(s);
    for (int i = 0; i + 1 < sheet.getNumberOfVertices(); ++i) {
      const Sheet3D::Vertex& a = sheet.getVertex(i);
      const Sheet3D::Vertex& b = sheet.getVertex(i + 1);
      const std::vector<double> pa = {a.x, a.y, a.z}, pb = {b.x, b.y, b.z};
      d.line(pa, pb);
      d.line(pa, random());
      d.closest(pa, d.allSheets());
      d.closest(pa, {s, s});
      d.inSolid(pa);
      ASSERT_FALSE(HasFatalFailure());
    }
  }
  for (int i = 0; i < 2000 / kScale; ++i) {
    d.line(random(), random());
    d.closest(random(), d.allSheets());
    if (i % 10 == 0) d.inSolid(random());
    if (i % 10 == 0) d.shapes({-2, 2, -2, 2, -0.9, 0.9}, random(), 0.5);
    ASSERT_FALSE(HasFatalFailure());
  }
  // Degenerate queries: a line of one point, a NaN or infinite point.
  d.line({0.2, 0.3, 0.4}, {0.2, 0.3, 0.4});
  d.line({kNaN, 0, 0}, {1, 1, 1});
  d.line({0, 0, std::numeric_limits<double>::infinity()}, {0, 0, 0});
  d.line({1e200, 0.1, 0.2}, {-1e200, 0.1, 0.2});
  d.closest({kNaN, 0, 0}, d.allSheets());
  d.shapes({0.5, -0.5, 0.5, -0.5, 1.5, -1.5}, {0.9, 0.9, 0.9}, -0.3);
  d.shapes({kNaN, 1, 0, 1, 0, 1}, {kNaN, 0, 0}, 1.0);
  d.shapes({-1e300, 1e300, -1e300, 1e300, -1e300, 1e300}, {0, 0, 1}, 1e300);
  d.inSolid({kNaN, 0, 0});
  // Raises and out-of-range arguments as the geometry does.
  std::vector<double> qa, qb;
  EXPECT_EQ(qvtest::raiseSite([&] {
              index.findClosestPoint({0, 0, 0}, {6, -1}, qa);
            }),
            qvtest::raiseSite([&] {
              g.findClosestPoint({0, 0, 0}, {6, -1}, qb);
            }));
  EXPECT_TRUE(sameBits(qa, qb));
  EXPECT_NE(qvtest::raiseSite([&] { index.findClosestPoint({0, 0, 0}, {999}, qa); }), "none");
  for (int solid : {-1, 1, 40})
    EXPECT_EQ(index.pointInSolid({0, 0, 0}, solid), g.pointInSolid({0, 0, 0}, solid));
  EXPECT_EQ(qvtest::raiseSite([&] {
              index.isInBox({0, 1, 0, 1, 0, 1}, 0, false, {});
            }),
            qvtest::raiseSite([&] {
              g.isInBox({0, 1, 0, 1, 0, 1}, 0, false, {});
            }));
  EXPECT_EQ(qvtest::raiseSite([&] {
              index.isInBall({0, 0, 0}, 1.0, 2, true, {1000});
            }),
            qvtest::raiseSite([&] {
              g.isInBall({0, 0, 0}, 1.0, 2, true, {1000});
            }));
}

// A line through the shared edge of two sheets and through a shared vertex: equal t, sheet
// order; a point on the surface is inside; the index survives a copy of itself.
TEST(RenderDrawGeom3DIndex, KeepsTiesAndTheBoundary) {
  const RenderDraw3D g = qvtest::tiledCube(2, 1);
  const RenderDrawGeom3DIndex built(g);
  const RenderDrawGeom3DIndex index = built;
  std::vector<std::vector<double>> hits;
  std::vector<int> sheets;
  // x = 0, y = 0 is the corner of four sheets on each of the faces z = -1 and z = 1.
  index.findLineIntersections({0, 0, -3}, {0, 0, 3}, hits, sheets);
  std::vector<std::vector<double>> plain;
  std::vector<int> plainSheets;
  g.findLineIntersections({0, 0, -3}, {0, 0, 3}, plain, plainSheets);
  EXPECT_EQ(sheets, plainSheets);
  ASSERT_GE(hits.size(), 8u);
  EXPECT_EQ(hits[0][0], hits[1][0]);
  for (std::size_t i = 0; i + 1 < hits.size(); ++i)
    if (hits[i][0] == hits[i + 1][0]) {
      EXPECT_LE(sheets[i], sheets[i + 1]);
    }
  EXPECT_NE(sheets.front(), sheets.back());
  EXPECT_TRUE(index.pointInSolid({0.5, 0.5, 1.0}, 0));
  EXPECT_TRUE(index.pointInSolid({0.1, 0.2, 0.3}, 0));
  EXPECT_FALSE(index.pointInSolid({0.1, 0.2, 1.3}, 0));
  std::vector<double> q, r;
  EXPECT_EQ(index.findClosestPoint({0.5, 0.5, 1.0}, {23, 22, 21, 20, 22}, q),
            g.findClosestPoint({0.5, 0.5, 1.0}, {23, 22, 21, 20, 22}, r));
  EXPECT_TRUE(sameBits(q, r));
  EXPECT_EQ(&index.getGeometry(), &g);
}

// The boxes are rounded outwards by stepping the bit pattern: the same floats as nextafter, for
// random doubles of every magnitude and sign, the zeros, the float range's ends and beyond it.
TEST(OutwardRounding, StepsAsNextafter) {
  std::mt19937_64 rng(7);
  std::vector<double> xs = {0.0,      -0.0,         1e-50,         -1e-50,    1.4e-45,
                            -1.4e-45, 3.4028234e38, -3.4028234e38, 3.5e38,    -3.5e38,
                            1e300,    -1e300,       HUGE_VAL,      -HUGE_VAL, kNaN};
  for (int i = 0; i < 200000; ++i) {
    const double m = std::ldexp(std::uniform_real_distribution<double>(0.5, 1.0)(rng),
                                std::uniform_int_distribution<int>(-160, 140)(rng));
    xs.push_back(i % 2 ? m : -m);
  }
  for (const double x : xs) {
    const float f = float(x);
    const float up = double(f) < x ? std::nextafter(f, HUGE_VALF) : f;
    const float down = double(f) > x ? std::nextafter(f, -HUGE_VALF) : f;
    const float ours[2] = {nkdatacarrier::vertexcodes::floatUp(x),
                           nkdatacarrier::vertexcodes::floatDown(x)};
    ASSERT_EQ(std::memcmp(&ours[0], &up, sizeof up), 0) << x;
    ASSERT_EQ(std::memcmp(&ours[1], &down, sizeof down), 0) << x;
  }
}

}  // namespace
