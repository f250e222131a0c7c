// Generated models for the tests and the benchmark of the 3D draw-geometry index, beside those
// of models3d.h: a torus of many sheets (the benchmark's 1.5 million triangles) and a cube whose
// faces are tiled with many small, flat, coplanar sheets whose edges line up.
#pragma once

#include <cmath>
#include <vector>

#include "models3d.h"

namespace qvtest {

// A grid of nu x nv cells over (u, v) in [u0, u1] x [v0, v1], two triangles per cell, mapped
// through f(u, v) to a point; the winding follows d/du x d/dv.
template <typename F>
Sheet3D gridSheet(int nu, int nv, double u0, double u1, double v0, double v1, F f) {
  std::vector<P3> ps;
  std::vector<int> t;
  for (int j = 0; j <= nv; ++j)
    for (int i = 0; i <= nu; ++i)
      ps.push_back(f(u0 + (u1 - u0) * i / nu, v0 + (v1 - v0) * j / nv));
  for (int j = 0; j < nv; ++j) {
    for (int i = 0; i < nu; ++i) {
      const int a = j * (nu + 1) + i, b = a + 1, c = a + nu + 1, d = c + 1;
      t.insert(t.end(), {a, b, d, a, d, c});
    }
  }
  return makeSheet(ps, t, -1, -1);
}

// A torus with radii R and r around the z axis, solid 0, in su x sv sheets of cu x cv cells
// each; normals point outward (orientation -1).
inline RenderDraw3D torus(double R, double r, int su, int sv, int cu, int cv) {
  const double pi = std::acos(-1.0);
  RenderDraw3D g;
  g.allocate(1, su * sv, 0, 0);
  std::vector<Side> sides;
  for (int i = 0; i < su; ++i) {
    for (int j = 0; j < sv; ++j) {
      const int k = i * sv + j;
      g.sheet(k) =
          gridSheet(cu, cv, 2 * pi * i / su, 2 * pi * (i + 1) / su, 2 * pi * j / sv,
                    2 * pi * (j + 1) / sv, [&](double u, double v) {
                      return P3{float((R + r * std::cos(v)) * std::cos(u)),
                                float((R + r * std::cos(v)) * std::sin(u)), float(r * std::sin(v))};
                    });
      sides.push_back({k, 0, -1});
    }
  }
  relate(g, sides);
  return g;
}

// The cube [-1, 1]^3 as solid 0, each face cut into k x k sheets of m x m cells; normals point
// to +axis on every face, so the solid lies on their down side at +1 and their up side at -1.
inline RenderDraw3D tiledCube(int k, int m) {
  RenderDraw3D g;
  g.allocate(1, 6 * k * k, 0, 0);
  std::vector<Side> sides;
  int n = 0;
  for (int axis = 0; axis < 3; ++axis) {
    for (int side = -1; side <= 1; side += 2) {
      for (int a = 0; a < k; ++a) {
        for (int b = 0; b < k; ++b) {
          g.sheet(n) =
              gridSheet(m, m, -1.0 + 2.0 * a / k, -1.0 + 2.0 * (a + 1) / k, -1.0 + 2.0 * b / k,
                        -1.0 + 2.0 * (b + 1) / k, [&](double u, double v) {
                          P3 x;
                          x[axis] = float(side);
                          x[(axis + 1) % 3] = float(u);
                          x[(axis + 2) % 3] = float(v);
                          return x;
                        });
          sides.push_back({n++, 0, side > 0 ? -1 : 1});
        }
      }
    }
  }
  relate(g, sides);
  return g;
}

}  // namespace qvtest
