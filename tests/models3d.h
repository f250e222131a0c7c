// 3D test models for the draw-geometry tests and benchmarks: hand-built boxes (a unit cube, two
// boxes sharing a face, a lid that bounds a solid on one side only), finely meshed spheres and
// cylinders, and (when the mesher's library is available, QV_HAVE_GMSH) the meshed models of an
// MSH 4.1 file turned into a RenderDraw3D with one sheet per surface and one solid per volume.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "datacarrier/renderdraw3d.h"

#ifdef QV_HAVE_GMSH
#include <gmsh.h>

#include <deque>
#endif

namespace qvtest {

using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::Curve3D;
using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::RenderDrawGeom3D;
using nkdatacarrier::Sheet3D;
using P3 = std::array<float, 3>;

inline BoundingBox3D boxOf(const std::vector<P3>& ps) {
  P3 lo = ps.at(0), hi = ps.at(0);
  for (const P3& p : ps)
    for (int k = 0; k < 3; ++k)
      lo[k] = std::min(lo[k], p[k]), hi[k] = std::max(hi[k], p[k]);
  return BoundingBox3D(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]);
}

// A valid, complete sheet. Without explicit normals every vertex gets the unit sum of the
// normals (by winding, area weighted) of its triangles.
inline Sheet3D makeSheet(const std::vector<P3>& ps, const std::vector<int>& tris, int up, int down,
                         const std::vector<P3>& normals = {}) {
  std::vector<std::array<double, 3>> n(ps.size(), {0, 0, 0});
  for (std::size_t t = 0; t + 2 < tris.size(); t += 3) {
    const P3 &a = ps[tris[t]], &b = ps[tris[t + 1]], &c = ps[tris[t + 2]];
    const double e[2][3] = {{b[0] - a[0], b[1] - a[1], b[2] - a[2]},
                            {c[0] - a[0], c[1] - a[1], c[2] - a[2]}};
    const double cr[3] = {e[0][1] * e[1][2] - e[0][2] * e[1][1],
                          e[0][2] * e[1][0] - e[0][0] * e[1][2],
                          e[0][0] * e[1][1] - e[0][1] * e[1][0]};
    for (int k = 0; k < 3; ++k)
      for (int j = 0; j < 3; ++j)
        n[tris[t + k]][j] += cr[j];
  }
  Sheet3D s;
  s.allocate(int(ps.size()), int(tris.size() / 3));
  for (std::size_t i = 0; i < ps.size(); ++i) {
    double m[3] = {n[i][0], n[i][1], n[i][2]};
    if (!normals.empty()) m[0] = normals[i][0], m[1] = normals[i][1], m[2] = normals[i][2];
    const double len = std::sqrt(m[0] * m[0] + m[1] * m[1] + m[2] * m[2]);
    const double f = len > 0 ? 1.0 / len : 0.0;
    s.setVertex(int(i), ps[i][0], ps[i][1], ps[i][2], float(m[0] * f), float(m[1] * f),
                float(m[2] * f));
  }
  for (std::size_t t = 0; t + 2 < tris.size(); t += 3)
    s.setTriangle(int(t / 3), tris[t], tris[t + 1], tris[t + 2]);
  if (!ps.empty()) s.setBoundingBox3D(boxOf(ps));
  s.setUp(up);
  s.setDown(down);
  s.setValid(true);
  s.setComplete(true);
  return s;
}

// The rectangle o, o + a, o + a + b, o + b as triangles (0, 1, 2), (0, 2, 3): normal along a x b.
inline Sheet3D quad(P3 o, P3 a, P3 b, int up, int down) {
  const P3 ab{o[0] + a[0] + b[0], o[1] + a[1] + b[1], o[2] + a[2] + b[2]};
  return makeSheet(
      {o, {o[0] + a[0], o[1] + a[1], o[2] + a[2]}, ab, {o[0] + b[0], o[1] + b[1], o[2] + b[2]}},
      {0, 1, 2, 0, 2, 3}, up, down);
}

// The six faces of the box [lo, hi] in the order x = lo, x = hi, y = lo, y = hi, z = lo, z = hi,
// with outward normals (inward when `inward`), the solid on the down side (up side).
inline std::vector<Sheet3D> boxFaces(P3 lo, P3 hi, int solid, bool inward = false) {
  const float dx = hi[0] - lo[0], dy = hi[1] - lo[1], dz = hi[2] - lo[2];
  const P3 X{dx, 0, 0}, Y{0, dy, 0}, Z{0, 0, dz};
  const P3 f[6][3] = {{lo, Z, Y}, {{hi[0], lo[1], lo[2]}, Y, Z},
                      {lo, X, Z}, {{lo[0], hi[1], lo[2]}, Z, X},
                      {lo, Y, X}, {{lo[0], lo[1], hi[2]}, X, Y}};
  std::vector<Sheet3D> out;
  for (const auto& q : f)
    out.push_back(inward ? quad(q[0], q[2], q[1], solid, -1) : quad(q[0], q[1], q[2], -1, solid));
  return out;
}

// A wavy grid of n x n vertices and 2 (n - 1)^2 triangles, spaced `scale` apart from (shift,
// shift), at heights shift + lift + 0.3 scale sin(0.7 i + 1.3 j), with tilted normals; valid and
// complete, its box one spacing wider than the vertices.
inline Sheet3D wavyGrid(int n, double scale, double shift, double lift = 0.0) {
  Sheet3D s;
  s.allocate(n * n, 2 * (n - 1) * (n - 1));
  for (int i = 0; i < n; ++i)
    for (int j = 0; j < n; ++j)
      s.setVertex(i * n + j, float(shift + scale * i), float(shift + scale * j),
                  float(shift + lift + 0.3 * scale * std::sin(0.7 * i + 1.3 * j)),
                  float(std::sin(i)), float(std::cos(j)), 1.f);
  for (int i = 0, t = 0; i + 1 < n; ++i) {
    for (int j = 0; j + 1 < n; ++j, t += 2) {
      const int a = i * n + j;
      s.setTriangle(t, a, a + n, a + n + 1);
      s.setTriangle(t + 1, a, a + n + 1, a + 1);
    }
  }
  const float lo = float(shift - scale), hi = float(shift + scale * (n + 1));
  s.setBoundingBox3D(BoundingBox3D(lo, hi, lo, hi, lo, hi));
  s.setValid(true);
  s.setComplete(true);
  return s;
}

// Sets coordinate `axis` of vertex i (a NaN or infinite corner for the scans' tests).
inline void setCoord(Sheet3D& s, int i, int axis, float value) {
  Sheet3D::Vertex v = s.getVertex(i);
  (axis == 0 ? v.x : axis == 1 ? v.y : v.z) = value;
  s.setVertex(i, v.x, v.y, v.z, v.nx, v.ny, v.nz);
}

inline Curve3D makeCurve(const std::vector<P3>& ps, bool valid = true) {
  Curve3D c;
  c.reserve(int(ps.size()));
  for (const P3& p : ps)
    c.appendVertex(p[0], p[1], p[2]);
  if (!ps.empty()) c.setBoundingBox3D(boxOf(ps));
  c.setValid(valid);
  return c;
}

// Which solids lie on which side of which sheet: orientation -1 for the down side, +1 for up.
struct Side {
  int sheet, solid, orientation;
};

// Sets the solid-to-sheet and sheet-to-solid relations (with orientations) from sides, each
// solid's box from its sheets' boxes and the whole box from all sheets.
inline void relate(RenderDrawGeom3D& g, const std::vector<Side>& sides) {
  const int nSolids = g.getNumberOfSolids(), nSheets = g.getNumberOfSheets();
  std::vector<std::vector<std::pair<int, int>>> toSheet(nSolids + 1), toSolid(nSheets);
  std::vector<std::vector<P3>> corners(nSolids);
  std::vector<P3> all;
  for (const Side& s : sides) {
    const BoundingBox3D& b = g.getSheet(s.sheet).getBoundingBox();
    const P3 lo{b.getMinX(), b.getMinY(), b.getMinZ()}, hi{b.getMaxX(), b.getMaxY(), b.getMaxZ()};
    if (std::find_if(toSheet[s.solid + 1].begin(), toSheet[s.solid + 1].end(),
                     [&](auto& e) { return e.first == s.sheet; }) == toSheet[s.solid + 1].end())
      toSheet[s.solid + 1].push_back({s.sheet, s.orientation});
    toSolid[s.sheet].push_back({s.solid, s.orientation});
    corners[s.solid].push_back(lo), corners[s.solid].push_back(hi);
  }
  for (int i = 0; i < nSheets; ++i) {
    const BoundingBox3D& b = g.getSheet(i).getBoundingBox();
    all.push_back({b.getMinX(), b.getMinY(), b.getMinZ()});
    all.push_back({b.getMaxX(), b.getMaxY(), b.getMaxZ()});
  }
  g.setSolidToSheetAdjacent(toSheet);
  nkdatacarrier::Adjacent& a = g.sheetToSolidAdjacent();
  a.allocate(nSheets, int(sides.size()));
  for (int i = 0; i < nSheets; ++i)
    a.setAdjacent(i, toSolid[i]);
  for (int v = 0; v < nSolids; ++v)
    if (!corners[v].empty()) g.setBoundingBoxSolid(v, boxOf(corners[v]));
  if (!all.empty()) g.setBoundingBox3D(boxOf(all));
}

// The unit cube [0, 1]^3 as solid 0: sheets as boxFaces gives them (outward normals unless
// `inward`), sheet-to-solid orientation `orientation` for every sheet, its 8 corners as points
// and its 12 edges as curves. Consistent data: orientation -1 with outward normals, +1 with
// inward ones; the other two pairings put the solid outside the cube.
inline RenderDraw3D unitCube(int orientation, bool inward = false) {
  RenderDraw3D g(RenderDrawGeom3D::DRAW_3D_A, 3);
  g.allocate(1, 6, 12, 8);
  const std::vector<Sheet3D> faces = boxFaces({0, 0, 0}, {1, 1, 1}, 0, inward);
  for (int i = 0; i < 6; ++i) {
    g.sheet(i) = faces[i];
    g.sheet(i).setUp(orientation > 0 ? 0 : -1);
    g.sheet(i).setDown(orientation > 0 ? -1 : 0);
  }
  auto corner = [](int k) { return P3{float(k & 1), float((k >> 1) & 1), float((k >> 2) & 1)}; };
  for (int k = 0; k < 8; ++k)
    g.point(k).setVertex(corner(k)[0], corner(k)[1], corner(k)[2]);
  int c = 0;
  for (int k = 0; k < 8; ++k)
    for (int bit = 1; bit < 8; bit <<= 1)
      if (!(k & bit)) g.curve(c++) = makeCurve({corner(k), corner(k | bit)});
  std::vector<Side> sides;
  for (int i = 0; i < 6; ++i)
    sides.push_back({i, 0, orientation});
  relate(g, sides);
  return g;
}

// Two boxes sharing a face: solid 0 = [0,1]^3, solid 1 = [1,2]x[0,1]^2. Sheets 0-4: the faces
// x=0, y=0, y=1, z=0, z=1 of solid 0; sheet 5: the shared face x=1 (normal +x, solid 1 up,
// solid 0 down); sheets 6-10: the faces x=2, y=0, y=1, z=0, z=1 of solid 1; sheet 11: the
// square [0.25,0.75]^2 at z=0.5 inside solid 0 (normal +z, solid 0 on both sides). All
// outward normals. Curve 0 runs along y=0, z=0.25 from x=0 to x=1 with three vertices.
inline RenderDraw3D twoCubes() {
  RenderDraw3D g(RenderDrawGeom3D::DRAW_3D_B, 7);
  g.allocate(2, 12, 1, 0);
  const std::vector<Sheet3D> a = boxFaces({0, 0, 0}, {1, 1, 1}, 0);
  const std::vector<Sheet3D> b = boxFaces({1, 0, 0}, {2, 1, 1}, 1);
  const int fromA[5] = {0, 2, 3, 4, 5}, fromB[5] = {1, 2, 3, 4, 5};
  std::vector<Side> sides;
  for (int k = 0; k < 5; ++k) {
    g.sheet(k) = a[fromA[k]];
    g.sheet(6 + k) = b[fromB[k]];
    sides.push_back({k, 0, -1});
    sides.push_back({6 + k, 1, -1});
  }
  g.sheet(5) = a[1];
  g.sheet(5).setUp(1);
  g.sheet(11) = quad({0.25f, 0.25f, 0.5f}, {0.5f, 0, 0}, {0, 0.5f, 0}, 0, 0);
  sides.push_back({5, 0, -1});
  sides.push_back({5, 1, +1});
  sides.push_back({11, 0, +1});
  sides.push_back({11, 0, -1});
  g.curve(0) = makeCurve({{0, 0, 0.25f}, {0.5f, 0, 0.25f}, {1, 0, 0.25f}});
  relate(g, sides);
  return g;
}

// One solid known only by a lid: the square [0,1]^2 at z=1, normal +z, the solid below it
// (orientation -1). Whole box and solid box [0,1]^3. Every point under the lid whose ray
// meets it counts as inside.
inline RenderDraw3D lid() {
  RenderDraw3D g;
  g.allocate(1, 1, 0, 0);
  g.sheet(0) = quad({0, 0, 1}, {1, 0, 0}, {0, 1, 0}, -1, 0);
  relate(g, {{0, 0, -1}});
  g.setBoundingBox3D(BoundingBox3D(0, 1, 0, 1, 0, 1));
  g.setBoundingBoxSolid(0, BoundingBox3D(0, 1, 0, 1, 0, 1));
  return g;
}

// A sphere of radius r around the origin as solid 0 with one sheet: a latitude-longitude mesh
// with two poles, outward winding, exact radial normals.
inline RenderDraw3D sphere(float r, int nLat, int nLon) {
  const double pi = std::acos(-1.0);
  std::vector<P3> ps{{0, 0, r}}, ns{{0, 0, 1}};
  for (int i = 1; i < nLat; ++i)
    for (int j = 0; j < nLon; ++j) {
      const double th = pi * i / nLat, ph = 2 * pi * j / nLon;
      const P3 n{float(std::sin(th) * std::cos(ph)), float(std::sin(th) * std::sin(ph)),
                 float(std::cos(th))};
      ns.push_back(n);
      ps.push_back({r * n[0], r * n[1], r * n[2]});
    }
  ps.push_back({0, 0, -r});
  ns.push_back({0, 0, -1});
  auto at = [&](int i, int j) { return 1 + (i - 1) * nLon + (j % nLon); };
  const int south = int(ps.size()) - 1;
  std::vector<int> t;
  for (int j = 0; j < nLon; ++j) {
    t.insert(t.end(), {0, at(1, j), at(1, j + 1)});
    t.insert(t.end(), {at(nLat - 1, j), south, at(nLat - 1, j + 1)});
    for (int i = 1; i + 1 < nLat; ++i) {
      t.insert(t.end(), {at(i, j), at(i + 1, j), at(i + 1, j + 1)});
      t.insert(t.end(), {at(i, j), at(i + 1, j + 1), at(i, j + 1)});
    }
  }
  RenderDraw3D g;
  g.allocate(1, 1, 0, 0);
  g.sheet(0) = makeSheet(ps, t, -1, 0, ns);
  relate(g, {{0, 0, -1}});
  return g;
}

// A cylinder of radius r around the z axis from z = 0 to z = h, a regular n-gon in section:
// sheet 0 the mantle (radial normals), sheet 1 the top, sheet 2 the bottom (fans), solid 0.
inline RenderDraw3D cylinder(float r, float h, int n) {
  const double pi = std::acos(-1.0);
  std::vector<P3> mantle, mantleN, top{{0, 0, h}}, bottom{{0, 0, 0}};
  for (int j = 0; j < n; ++j) {
    const float c = float(std::cos(2 * pi * j / n)), s = float(std::sin(2 * pi * j / n));
    mantle.push_back({r * c, r * s, 0});
    mantle.push_back({r * c, r * s, h});
    mantleN.push_back({c, s, 0});
    mantleN.push_back({c, s, 0});
    top.push_back({r * c, r * s, h});
    bottom.push_back({r * c, r * s, 0});
  }
  std::vector<int> tm, tt, tb;
  for (int j = 0; j < n; ++j) {
    const int b0 = 2 * j, t0 = b0 + 1, b1 = 2 * ((j + 1) % n), t1 = b1 + 1;
    tm.insert(tm.end(), {b0, b1, t1, b0, t1, t0});
    tt.insert(tt.end(), {0, 1 + j, 1 + (j + 1) % n});
    tb.insert(tb.end(), {0, 1 + (j + 1) % n, 1 + j});
  }
  RenderDraw3D g;
  g.allocate(1, 3, 0, 0);
  g.sheet(0) = makeSheet(mantle, tm, -1, 0, mantleN);
  g.sheet(1) = makeSheet(top, tt, -1, 0);
  g.sheet(2) = makeSheet(bottom, tb, -1, 0);
  relate(g, {{0, 0, -1}, {1, 0, -1}, {2, 0, -1}});
  return g;
}

#ifdef QV_HAVE_GMSH
// A meshed model read with the mesher's library: sheet i is the i-th surface by tag, solid v
// the v-th volume, curve c the c-th curve (its line elements chained), point k the k-th point.
// The side of each surface on which a volume lies comes from the mesh: the surfaces of one
// volume are made to traverse their shared mesh edges in opposite directions, and the sense
// that gives the volume a positive enclosed volume is outward (normals follow the winding).
struct MeshedModel {
  RenderDraw3D geometry;
  std::vector<int> surfaceTags, volumeTags;
  int nodes = 0;  // distinct mesh nodes
};

inline MeshedModel readMeshedModel(const std::string& path) {
  // The mesher's library keeps global state from its first use until the program ends.
  struct Session {
    Session() { gmsh::initialize(0, nullptr, false); }
    ~Session() { gmsh::finalize(); }
  };
  static Session session;
  gmsh::option::setNumber("General.Terminal", 0);
  gmsh::clear();
  gmsh::open(path);
  std::vector<std::size_t> tags;
  std::vector<double> xyz, param;
  gmsh::model::mesh::getNodes(tags, xyz, param, -1, -1, false, false);
  std::map<std::size_t, P3> node;
  for (std::size_t i = 0; i < tags.size(); ++i)
    node[tags[i]] = {float(xyz[3 * i]), float(xyz[3 * i + 1]), float(xyz[3 * i + 2])};
  auto entityTags = [](int dim) {
    gmsh::vectorpair dt;
    gmsh::model::getEntities(dt, dim);
    std::vector<int> out;
    for (auto& p : dt)
      out.push_back(p.second);
    std::sort(out.begin(), out.end());
    return out;
  };
  auto elements = [](int dim, int tag, int type) {
    std::vector<int> types;
    std::vector<std::vector<std::size_t>> et, nt;
    gmsh::model::mesh::getElements(types, et, nt, dim, tag);
    for (std::size_t k = 0; k < types.size(); ++k)
      if (types[k] == type) return nt[k];
    return std::vector<std::size_t>();
  };
  MeshedModel m;
  m.nodes = int(node.size());
  const std::vector<int> points = entityTags(0), curves = entityTags(1);
  m.surfaceTags = entityTags(2);
  m.volumeTags = entityTags(3);
  RenderDraw3D& g = m.geometry;
  g.allocate(int(m.volumeTags.size()), int(m.surfaceTags.size()), int(curves.size()),
             int(points.size()));
  for (std::size_t k = 0; k < points.size(); ++k) {
    const std::vector<std::size_t> n = elements(0, points[k], 15);
    if (!n.empty()) g.point(int(k)).setVertex(node[n[0]][0], node[n[0]][1], node[n[0]][2]);
  }
  for (std::size_t c = 0; c < curves.size(); ++c) {
    const std::vector<std::size_t> n = elements(1, curves[c], 1);
    std::vector<P3> ps;
    for (std::size_t e = 0; e + 1 < n.size(); e += 2) {
      if (ps.empty()) ps.push_back(node[n[e]]);
      ps.push_back(node[n[e + 1]]);
    }
    g.curve(int(c)) = makeCurve(ps, !ps.empty());
  }
  // Triangles of each surface as node tags, and the sheets with their local numbering.
  std::vector<std::vector<std::size_t>> tri(m.surfaceTags.size());
  for (std::size_t s = 0; s < m.surfaceTags.size(); ++s) {
    tri[s] = elements(2, m.surfaceTags[s], 2);
    std::map<std::size_t, int> local;
    std::vector<P3> ps;
    std::vector<int> t;
    for (std::size_t n : tri[s]) {
      auto it = local.emplace(n, int(ps.size())).first;
      if (it->second == int(ps.size())) ps.push_back(node[n]);
      t.push_back(it->second);
    }
    g.sheet(int(s)) = makeSheet(ps, t, -1, -1);
  }
  std::vector<Side> sides;
  for (std::size_t v = 0; v < m.volumeTags.size(); ++v) {
    gmsh::vectorpair bnd;
    gmsh::model::getBoundary({{3, m.volumeTags[v]}}, bnd, false, false, false);
    std::vector<int> own;  // sheet indices of this volume
    for (auto& b : bnd)
      own.push_back(
          int(std::lower_bound(m.surfaceTags.begin(), m.surfaceTags.end(), std::abs(b.second)) -
              m.surfaceTags.begin()));
    // Mesh edges (lower, higher node) -> (position in own, +1 when run lower to higher).
    std::map<std::pair<std::size_t, std::size_t>, std::vector<std::pair<int, int>>> edges;
    for (std::size_t k = 0; k < own.size(); ++k) {
      const std::vector<std::size_t>& t = tri[own[k]];
      for (std::size_t i = 0; i + 2 < t.size(); i += 3)
        for (int e = 0; e < 3; ++e) {
          const std::size_t a = t[i + e], b = t[i + (e + 1) % 3];
          edges[{std::min(a, b), std::max(a, b)}].push_back({int(k), a < b ? 1 : -1});
        }
    }
    std::vector<int> sign(own.size(), 0);
    for (std::size_t start = 0; start < own.size(); ++start) {
      if (sign[start]) continue;
      sign[start] = 1;
      std::deque<int> todo{int(start)};
      while (!todo.empty()) {
        const int k = todo.front();
        todo.pop_front();
        for (auto& e : edges) {
          const auto& uses = e.second;
          if (uses.size() != 2) continue;
          for (int i = 0; i < 2; ++i)
            if (uses[i].first == k && !sign[uses[1 - i].first]) {
              sign[uses[1 - i].first] = -sign[k] * uses[i].second * uses[1 - i].second;
              todo.push_back(uses[1 - i].first);
            }
        }
      }
    }
    double volume = 0;
    for (std::size_t k = 0; k < own.size(); ++k) {
      const std::vector<std::size_t>& t = tri[own[k]];
      for (std::size_t i = 0; i + 2 < t.size(); i += 3) {
        const P3 &a = node[t[i]], &b = node[t[i + 1]], &c = node[t[i + 2]];
        volume += sign[k] * (double(a[0]) * (double(b[1]) * c[2] - double(b[2]) * c[1]) +
                             double(a[1]) * (double(b[2]) * c[0] - double(b[0]) * c[2]) +
                             double(a[2]) * (double(b[0]) * c[1] - double(b[1]) * c[0]));
      }
    }
    for (std::size_t k = 0; k < own.size(); ++k) {
      const int outward = volume < 0 ? -sign[k] : sign[k];  // +1: winding points out
      Sheet3D& s = g.sheet(own[k]);
      if (outward > 0)
        s.setDown(int(v));
      else
        s.setUp(int(v));
      sides.push_back({own[k], int(v), -outward});
    }
  }
  relate(g, sides);
  return m;
}
#endif

}  // namespace qvtest
