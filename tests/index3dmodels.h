// Models for the tests and the benchmark of the 3D draw-geometry index: triangulated surfaces
// (sphere, torus, a cube of many small sheets, a large tessellated sphere) turned into a
// RenderDraw3D with one solid, and a reader of the real meshed models in ../shared/models
// (MSH 4.1 text: one sheet per surface, one solid per volume).
#pragma once

#include <algorithm>
#include <cmath>
#include <fstream>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "datacarrier/renderdraw3d.h"

namespace index3dtest {

using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::RenderDraw3D;
using nkdatacarrier::Sheet3D;

// One sheet before it goes into a geometry: positions (x, y, z per vertex) and triangles.
struct Patch {
  std::vector<double> xyz;
  std::vector<int> tri;
};

// Vertex normals: the area-weighted triangle normals summed per vertex, normalised.
inline std::vector<float> vertexNormals(const Patch& p) {
  std::vector<double> n(p.xyz.size(), 0.0);
  for (std::size_t t = 0; t + 2 < p.tri.size(); t += 3) {
    const double* a = &p.xyz[3 * p.tri[t]];
    const double* b = &p.xyz[3 * p.tri[t + 1]];
    const double* c = &p.xyz[3 * p.tri[t + 2]];
    const double e1[3] = {b[0] - a[0], b[1] - a[1], b[2] - a[2]};
    const double e2[3] = {c[0] - a[0], c[1] - a[1], c[2] - a[2]};
    const double f[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                         e1[0] * e2[1] - e1[1] * e2[0]};
    for (int k = 0; k < 3; ++k)
      for (int v = 0; v < 3; ++v)
        n[3 * p.tri[t + v] + k] += f[k];
  }
  std::vector<float> out(n.size());
  for (std::size_t v = 0; v + 2 < n.size(); v += 3) {
    const double len = std::sqrt(n[v] * n[v] + n[v + 1] * n[v + 1] + n[v + 2] * n[v + 2]);
    for (int k = 0; k < 3; ++k)
      out[v + k] = len > 0.0 ? float(n[v + k] / len) : 0.0f;
  }
  return out;
}

// Fills sheet from the patch: vertices, normals, triangles, the box of its vertices, valid.
inline void fillSheet(Sheet3D& sheet, const Patch& p) {
  const int nv = int(p.xyz.size() / 3);
  const int nt = int(p.tri.size() / 3);
  const std::vector<float> n = vertexNormals(p);
  sheet.allocate(nv, nt);
  float lo[3] = {1e30f, 1e30f, 1e30f}, hi[3] = {-1e30f, -1e30f, -1e30f};
  for (int v = 0; v < nv; ++v) {
    const float x[3] = {float(p.xyz[3 * v]), float(p.xyz[3 * v + 1]), float(p.xyz[3 * v + 2])};
    sheet.setVertex(v, x[0], x[1], x[2], n[3 * v], n[3 * v + 1], n[3 * v + 2]);
    for (int k = 0; k < 3; ++k) {
      lo[k] = std::min(lo[k], x[k]);
      hi[k] = std::max(hi[k], x[k]);
    }
  }
  for (int t = 0; t < nt; ++t)
    sheet.setTriangle(t, p.tri[3 * t], p.tri[3 * t + 1], p.tri[3 * t + 2]);
  if (nv > 0) sheet.setBoundingBox3D(BoundingBox3D(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]));
  sheet.setValid(true);
  sheet.setComplete(true);
}

// A geometry of the patches, with solids given as lists of (sheet, orientation): orientation
// +1 when the solid lies on the side into which the sheet's normals point, -1 on the other.
inline void buildGeometry(RenderDraw3D& g, const std::vector<Patch>& patches,
                          const std::vector<std::vector<std::pair<int, int>>>& solids) {
  const int ns = int(patches.size());
  g.allocate(int(solids.size()), ns, 0, 0);
  float lo[3] = {1e30f, 1e30f, 1e30f}, hi[3] = {-1e30f, -1e30f, -1e30f};
  for (int s = 0; s < ns; ++s) {
    fillSheet(g.sheet(s), patches[s]);
    const BoundingBox3D& b = g.getSheet(s).getBoundingBox();
    if (g.getSheet(s).getNumberOfVertices() == 0) continue;
    lo[0] = std::min(lo[0], b.getMinX());
    hi[0] = std::max(hi[0], b.getMaxX());
    lo[1] = std::min(lo[1], b.getMinY());
    hi[1] = std::max(hi[1], b.getMaxY());
    lo[2] = std::min(lo[2], b.getMinZ());
    hi[2] = std::max(hi[2], b.getMaxZ());
  }
  const BoundingBox3D whole(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]);
  g.setBoundingBox3D(whole);
  std::vector<std::vector<std::pair<int, int>>> sheetSides(ns);
  int total = 0;
  for (std::size_t v = 0; v < solids.size(); ++v) {
    g.setBoundingBoxSolid(int(v), whole);
    for (const auto& so : solids[v]) {
      sheetSides[so.first].push_back({int(v), so.second});
      ++total;
    }
  }
  g.solidToSheetAdjacent().allocate(int(solids.size()), total);
  for (std::size_t v = 0; v < solids.size(); ++v) {
    std::vector<std::pair<int, int>> list;
    for (const auto& so : solids[v])
      list.push_back({so.first, so.second});
    g.solidToSheetAdjacent().setAdjacent(int(v), list);
  }
  g.sheetToSolidAdjacent().allocate(ns, total);
  for (int s = 0; s < ns; ++s)
    g.sheetToSolidAdjacent().setAdjacent(s, sheetSides[s]);
}

// A grid patch over (u, v) in [u0, u1] x [v0, v1] with nu x nv cells, two triangles per cell,
// mapped through f(u, v, out[3]).
template <typename F>
Patch gridPatch(int nu, int nv, double u0, double u1, double v0, double v1, F f) {
  Patch p;
  for (int j = 0; j <= nv; ++j) {
    for (int i = 0; i <= nu; ++i) {
      double x[3];
      f(u0 + (u1 - u0) * i / nu, v0 + (v1 - v0) * j / nv, x);
      p.xyz.insert(p.xyz.end(), x, x + 3);
    }
  }
  for (int j = 0; j < nv; ++j) {
    for (int i = 0; i < nu; ++i) {
      const int a = j * (nu + 1) + i;
      const int b = a + 1;
      const int c = a + nu + 1;
      const int d = c + 1;
      p.tri.insert(p.tri.end(), {a, b, d, a, d, c});
    }
  }
  return p;
}

// A sphere of radius r about centre in `bands` latitude sheets, each nu x nv cells; normals
// point inward, into the solid (+1).
inline void sphere(RenderDraw3D& g, double r, const double* centre, int bands, int nu, int nv) {
  const double pi = std::acos(-1.0);
  std::vector<Patch> patches;
  std::vector<std::pair<int, int>> solid;
  for (int b = 0; b < bands; ++b) {
    const double t0 = pi * b / bands, t1 = pi * (b + 1) / bands;
    patches.push_back(gridPatch(nu, nv, 0.0, 2 * pi, t0, t1, [&](double u, double t, double* x) {
      x[0] = centre[0] + r * std::sin(t) * std::cos(u);
      x[1] = centre[1] + r * std::sin(t) * std::sin(u);
      x[2] = centre[2] + r * std::cos(t);
    }));
    solid.push_back({b, 1});
  }
  buildGeometry(g, patches, {solid});
}

// A torus with radii R and r in su x sv sheets of cu x cv cells each; normals point outward.
inline void torus(RenderDraw3D& g, double R, double r, int su, int sv, int cu, int cv) {
  const double pi = std::acos(-1.0);
  std::vector<Patch> patches;
  std::vector<std::pair<int, int>> solid;
  for (int i = 0; i < su; ++i) {
    for (int j = 0; j < sv; ++j) {
      patches.push_back(gridPatch(cu, cv, 2 * pi * i / su, 2 * pi * (i + 1) / su, 2 * pi * j / sv,
                                  2 * pi * (j + 1) / sv, [&](double u, double v, double* x) {
                                    x[0] = (R + r * std::cos(v)) * std::cos(u);
                                    x[1] = (R + r * std::cos(v)) * std::sin(u);
                                    x[2] = r * std::sin(v);
                                  }));
      solid.push_back({int(patches.size()) - 1, -1});
    }
  }
  buildGeometry(g, patches, {solid});
}

// The cube [-1, 1]^3 with each face cut into k x k sheets of m x m cells: many small, flat,
// coplanar sheets whose edges line up.
inline void tiledCube(RenderDraw3D& g, int k, int m) {
  std::vector<Patch> patches;
  std::vector<std::pair<int, int>> solid;
  for (int axis = 0; axis < 3; ++axis) {
    for (int side = -1; side <= 1; side += 2) {
      for (int a = 0; a < k; ++a) {
        for (int b = 0; b < k; ++b) {
          const double u0 = -1.0 + 2.0 * a / k, u1 = -1.0 + 2.0 * (a + 1) / k;
          const double v0 = -1.0 + 2.0 * b / k, v1 = -1.0 + 2.0 * (b + 1) / k;
          patches.push_back(gridPatch(m, m, u0, u1, v0, v1, [&](double u, double v, double* x) {
            x[axis] = side;
            x[(axis + 1) % 3] = u;
            x[(axis + 2) % 3] = v;
          }));
          // (axis + 1, axis + 2) is right-handed about +axis: normals point to +axis.
          solid.push_back({int(patches.size()) - 1, side > 0 ? -1 : 1});
        }
      }
    }
  }
  buildGeometry(g, patches, {solid});
}

// Reads a model of ../shared/models; false when the file cannot be read.
inline bool loadMsh(RenderDraw3D& g, const std::string& path) {
  std::ifstream in(path);
  if (!in) return false;
  std::string line;
  std::map<long, std::vector<double>> nodes;
  std::map<int, Patch> surfaces;
  std::map<int, std::map<long, int>> local;
  std::vector<std::vector<int>> volumes;
  while (std::getline(in, line)) {
    if (line == "$Entities") {
      std::size_t n[4];
      in >> n[0] >> n[1] >> n[2] >> n[3];
      std::getline(in, line);
      for (std::size_t i = 0; i < n[0] + n[1] + n[2]; ++i)
        std::getline(in, line);
      for (std::size_t i = 0; i < n[3]; ++i) {
        std::getline(in, line);
        std::istringstream ls(line);
        double skip;
        int tag, nPhys, nBound;
        ls >> tag;
        for (int k = 0; k < 6; ++k)
          ls >> skip;
        ls >> nPhys;
        for (int k = 0; k < nPhys; ++k)
          ls >> skip;
        ls >> nBound;
        std::vector<int> bound(nBound);
        for (int& b : bound)
          ls >> b;
        volumes.push_back(bound);
      }
    } else if (line == "$Nodes") {
      long blocks, count, lo, hi;
      in >> blocks >> count >> lo >> hi;
      for (long b = 0; b < blocks; ++b) {
        int dim, tag, param;
        long num;
        in >> dim >> tag >> param >> num;
        std::vector<long> tags(num);
        for (long& t : tags)
          in >> t;
        for (long t : tags) {
          std::vector<double> x(3);
          in >> x[0] >> x[1] >> x[2];
          if (param) {
            double uv;
            for (int k = 0; k < dim; ++k)
              in >> uv;
          }
          nodes[t] = x;
        }
      }
    } else if (line == "$Elements") {
      long blocks, count, lo, hi;
      in >> blocks >> count >> lo >> hi;
      for (long b = 0; b < blocks; ++b) {
        int dim, tag, type;
        long num;
        in >> dim >> tag >> type >> num;
        std::getline(in, line);
        for (long e = 0; e < num; ++e) {
          std::getline(in, line);
          if (dim != 2 || type != 2) continue;
          std::istringstream ls(line);
          long id, v[3];
          ls >> id >> v[0] >> v[1] >> v[2];
          Patch& p = surfaces[tag];
          std::map<long, int>& map = local[tag];
          for (long node : v) {
            auto it = map.find(node);
            if (it == map.end()) {
              it = map.emplace(node, int(p.xyz.size() / 3)).first;
              const std::vector<double>& x = nodes[node];
              p.xyz.insert(p.xyz.end(), x.begin(), x.end());
            }
            p.tri.push_back(it->second);
          }
        }
      }
    }
  }
  std::vector<Patch> patches;
  std::map<int, int> sheetOf;
  for (auto& s : surfaces) {
    sheetOf[s.first] = int(patches.size());
    patches.push_back(s.second);
  }
  std::vector<std::vector<std::pair<int, int>>> solids;
  for (const std::vector<int>& bound : volumes) {
    std::vector<std::pair<int, int>> solid;
    for (int b : bound) {
      auto it = sheetOf.find(std::abs(b));
      if (it != sheetOf.end()) solid.push_back({it->second, b > 0 ? -1 : 1});
    }
    solids.push_back(solid);
  }
  buildGeometry(g, patches, solids);
  return true;
}

}  // namespace index3dtest
