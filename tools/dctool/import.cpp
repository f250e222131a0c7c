#include "import.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <map>
#include <set>
#include <vector>

#include "carrierfile.h"
#include "datacarrier/renderdraw3d.h"
#include "datacarrier/rendergeom2d.h"
#include "datacarrier/rendergeom3d.h"

#ifdef QV_HAVE_GMSH
#include <gmsh.h>
#endif

namespace dctool {

#ifndef QV_HAVE_GMSH

bool importAvailable() {
  return false;
}

std::unique_ptr<nkbase::Serializable> importModel(const std::string&, const ImportOptions&,
                                                  std::ostream&) {
  throw ToolError(1, "import: this dctool was built without the mesher's library (libgmsh-dev)");
}

bool buildDemoPart(const std::string&) {
  return false;
}

#else

namespace {

using nkdatacarrier::Adjacent;
using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::BoundingBox3D;
using nkdatacarrier::RenderDrawGeom3D;
using nkdatacarrier::Sheet3D;
using P3 = std::array<float, 3>;
using Lists = std::vector<std::vector<std::pair<int, int> > >;

// The model as read from the mesher, in plain arrays: entity k of a kind is the k-th by tag.
struct Model {
  std::vector<int> pointTags, curveTags, surfaceTags, volumeTags;
  std::vector<P3> points;
  std::vector<bool> pointOk;
  std::vector<std::vector<P3> > curves;              // polylines of mesh nodes, in order
  std::vector<std::vector<P3> > sheetNodes;          // per surface: its nodes, local numbering
  std::vector<std::vector<int> > sheetTriangles;     // per surface: local indices, 3 per triangle
  std::vector<std::vector<std::size_t> > sheetTags;  // per surface: node tags, 3 per triangle
  // Oriented topology: (index of the bounding entity, +1/-1 as the mesher signs it).
  std::vector<std::vector<std::pair<int, int> > > curvePoints, surfaceCurves;
  // Per volume: (surface index, +1 when the solid lies on the side the normals point to).
  std::vector<std::vector<std::pair<int, int> > > volumeSides;
};

bool finite(const P3& p) {
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

std::vector<int> entityTags(int dim) {
  gmsh::vectorpair dt;
  gmsh::model::getEntities(dt, dim);
  std::vector<int> out;
  for (const auto& p : dt)
    out.push_back(p.second);
  std::sort(out.begin(), out.end());
  return out;
}

int indexOf(const std::vector<int>& tags, int tag) {
  const auto it = std::lower_bound(tags.begin(), tags.end(), tag);
  return it != tags.end() && *it == tag ? int(it - tags.begin()) : -1;
}

// The oriented boundary of one entity as (index among `tags`, sign): the entities of the next
// lower dimension that bound it, with -1 where the mesher traverses them reversed. Boundary
// entities that are not in `tags` are left out.
std::vector<std::pair<int, int> > orientedBoundary(int dim, int tag, const std::vector<int>& tags) {
  gmsh::vectorpair bnd;
  gmsh::model::getBoundary({{dim, tag}}, bnd, false, true, false);
  std::vector<std::pair<int, int> > out;
  for (const auto& b : bnd) {
    const int k = indexOf(tags, std::abs(b.second));
    if (k >= 0) out.push_back({k, b.second < 0 ? -1 : 1});
  }
  return out;
}

// Node tags of the elements of one entity, per element kind (1: lines, 2: triangles, 3: quads,
// 15: points), first-order nodes only.
std::map<int, std::vector<std::size_t> > elementNodes(int dim, int tag) {
  std::vector<int> types;
  std::vector<std::vector<std::size_t> > elements, nodes;
  gmsh::model::mesh::getElements(types, elements, nodes, dim, tag);
  std::map<int, std::vector<std::size_t> > out;
  for (std::size_t k = 0; k < types.size(); ++k) {
    std::string name;
    int d = 0, order = 0, n = 0, nPrimary = 0;
    std::vector<double> local;
    gmsh::model::mesh::getElementProperties(types[k], name, d, order, n, local, nPrimary);
    const int kind = d == 0 ? 15 : d == 1 ? 1 : nPrimary == 3 ? 2 : nPrimary == 4 ? 3 : 0;
    if (!kind || n <= 0) continue;
    std::vector<std::size_t>& o = out[kind];
    for (std::size_t e = 0; e + std::size_t(n) <= nodes[k].size(); e += std::size_t(n))
      o.insert(o.end(), nodes[k].begin() + long(e), nodes[k].begin() + long(e) + nPrimary);
  }
  return out;
}

// Chains the line elements (node pairs) of a curve into one polyline of node tags, starting
// at an end used once (any node of a closed curve).
std::vector<std::size_t> chain(const std::vector<std::size_t>& lines) {
  std::map<std::size_t, std::vector<std::size_t> > next;  // node -> element indices
  for (std::size_t e = 0; e + 1 < lines.size(); e += 2) {
    next[lines[e]].push_back(e / 2);
    next[lines[e + 1]].push_back(e / 2);
  }
  if (next.empty()) return {};
  std::size_t start = lines[0];
  for (const auto& n : next)
    if (n.second.size() == 1) {
      start = n.first;
      break;
    }
  std::vector<bool> used(lines.size() / 2, false);
  std::vector<std::size_t> out{start};
  for (std::size_t at = start;;) {
    std::size_t e = used.size();
    for (std::size_t c : next[at])
      if (!used[c]) {
        e = c;
        break;
      }
    if (e == used.size()) break;
    used[e] = true;
    at = lines[2 * e] == at ? lines[2 * e + 1] : lines[2 * e];
    out.push_back(at);
  }
  return out;
}

// Turns triangles so that neighbours run their shared edges in opposite directions: one
// consistent winding per connected patch, that of its first triangle.
void orientConsistently(std::vector<std::size_t>& tri) {
  const std::size_t n = tri.size() / 3;
  std::map<std::pair<std::size_t, std::size_t>, std::vector<std::size_t> > edges;
  for (std::size_t t = 0; t < n; ++t)
    for (int e = 0; e < 3; ++e) {
      const std::size_t a = tri[3 * t + std::size_t(e)], b = tri[3 * t + std::size_t(e + 1) % 3];
      edges[{std::min(a, b), std::max(a, b)}].push_back(t);
    }
  // +1 when triangle t runs edge (a, b) from a to b.
  const auto runs = [&](std::size_t t, std::size_t a, std::size_t b) {
    for (int e = 0; e < 3; ++e)
      if (tri[3 * t + std::size_t(e)] == a && tri[3 * t + std::size_t(e + 1) % 3] == b) return true;
    return false;
  };
  std::vector<bool> done(n, false);
  for (std::size_t start = 0; start < n; ++start) {
    if (done[start]) continue;
    done[start] = true;
    std::vector<std::size_t> todo{start};
    while (!todo.empty()) {
      const std::size_t t = todo.back();
      todo.pop_back();
      for (int e = 0; e < 3; ++e) {
        const std::size_t a = tri[3 * t + std::size_t(e)], b = tri[3 * t + std::size_t(e + 1) % 3];
        const auto& shared = edges[{std::min(a, b), std::max(a, b)}];
        if (shared.size() != 2) continue;  // a boundary or a non-manifold edge
        const std::size_t u = shared[0] == t ? shared[1] : shared[0];
        if (done[u]) continue;
        if (runs(u, a, b)) std::swap(tri[3 * u + 1], tri[3 * u + 2]);
        done[u] = true;
        todo.push_back(u);
      }
    }
  }
}

// Signs that make the surfaces of one volume wind consistently: neighbouring surfaces traverse
// their shared mesh edges in opposite directions. Then the sense whose enclosed volume is
// positive is outward. Returns, per surface, +1 when its own winding (its normals) points out.
std::vector<int> outwardSigns(const std::vector<std::vector<std::size_t> >& tris,
                              const std::map<std::size_t, P3>& node) {
  const int n = int(tris.size());
  std::map<std::pair<std::size_t, std::size_t>, std::vector<std::pair<int, int> > > edges;
  for (int k = 0; k < n; ++k)
    for (std::size_t i = 0; i + 2 < tris[k].size(); i += 3)
      for (int e = 0; e < 3; ++e) {
        const std::size_t a = tris[k][i + e], b = tris[k][i + (e + 1) % 3];
        edges[{std::min(a, b), std::max(a, b)}].push_back({k, a < b ? 1 : -1});
      }
  // Surface graph: (neighbour, +1 when both run the shared edge the same way).
  std::vector<std::map<int, int> > links(n);
  for (const auto& e : edges) {
    std::set<int> owners;
    for (const auto& u : e.second)
      owners.insert(u.first);
    if (e.second.size() != 2 || owners.size() != 2) continue;
    const auto &u = e.second[0], &v = e.second[1];
    links[u.first].emplace(v.first, u.second * v.second);
    links[v.first].emplace(u.first, u.second * v.second);
  }
  std::vector<int> sign(n, 0);
  for (int s = 0; s < n; ++s) {
    if (sign[s]) continue;
    sign[s] = 1;
    std::vector<int> todo{s};
    while (!todo.empty()) {
      const int k = todo.back();
      todo.pop_back();
      for (const auto& l : links[k])
        if (!sign[l.first]) {
          sign[l.first] = -sign[k] * l.second;
          todo.push_back(l.first);
        }
    }
  }
  double volume = 0;
  for (int k = 0; k < n; ++k)
    for (std::size_t i = 0; i + 2 < tris[k].size(); i += 3) {
      const P3 &a = node.at(tris[k][i]), &b = node.at(tris[k][i + 1]), &c = node.at(tris[k][i + 2]);
      volume += sign[k] * (double(a[0]) * (double(b[1]) * c[2] - double(b[2]) * c[1]) +
                           double(a[1]) * (double(b[2]) * c[0] - double(b[0]) * c[2]) +
                           double(a[2]) * (double(b[0]) * c[1] - double(b[1]) * c[0]));
    }
  if (volume < 0)
    for (int& s : sign)
      s = -s;
  return sign;
}

Model readModel(const std::string& path, const ImportOptions& options) {
  gmsh::clear();
  try {
    gmsh::open(path);
  } catch (...) {
    throw ToolError(1, path + ": the mesher cannot open this file");
  }
  std::string error;
  gmsh::logger::getLastError(error);
  if (!error.empty()) throw ToolError(1, path + ": " + error);
  Model m;
  m.pointTags = entityTags(0);
  m.curveTags = entityTags(1);
  m.surfaceTags = entityTags(2);
  m.volumeTags = entityTags(3);
  // Mesh what has no mesh yet (a CAD file, or a .geo script without a mesh).
  bool unmeshed = false;
  for (int t : m.curveTags)
    unmeshed = unmeshed || elementNodes(1, t)[1].empty();
  for (int t : m.surfaceTags) {
    auto e = elementNodes(2, t);
    unmeshed = unmeshed || (e[2].empty() && e[3].empty());
  }
  if (unmeshed) {
    if (options.size > 0) {
      gmsh::option::setNumber("Mesh.MeshSizeMax", options.size);
      gmsh::option::setNumber("Mesh.MeshSizeMin", 0);
    }
    gmsh::model::mesh::generate(2);
  }
  std::vector<std::size_t> tags;
  std::vector<double> xyz, param;
  gmsh::model::mesh::getNodes(tags, xyz, param, -1, -1, true, false);
  std::map<std::size_t, P3> node;
  for (std::size_t i = 0; i < tags.size(); ++i)
    node[tags[i]] = {float(xyz[3 * i]), float(xyz[3 * i + 1]), float(xyz[3 * i + 2])};
  const auto at = [&](std::size_t t) {
    const auto it = node.find(t);
    return it == node.end() ? P3{NAN, NAN, NAN} : it->second;
  };

  for (int t : m.pointTags) {
    const auto n = elementNodes(0, t)[15];
    P3 p{NAN, NAN, NAN};
    if (!n.empty()) {
      p = at(n[0]);
    } else {
      std::vector<double> c;
      gmsh::model::getValue(0, t, {}, c);
      if (c.size() == 3) p = {float(c[0]), float(c[1]), float(c[2])};
    }
    m.points.push_back(p);
  }
  for (int t : m.curveTags) {
    std::vector<P3> ps;
    for (std::size_t n : chain(elementNodes(1, t)[1]))
      ps.push_back(at(n));
    m.curves.push_back(ps);
    m.curvePoints.push_back(orientedBoundary(1, t, m.pointTags));
  }
  for (int t : m.surfaceTags) {
    auto e = elementNodes(2, t);
    std::vector<std::size_t> tri = e[2];
    const std::vector<std::size_t>& q = e[3];
    for (std::size_t i = 0; i + 3 < q.size(); i += 4)
      tri.insert(tri.end(), {q[i], q[i + 1], q[i + 2], q[i], q[i + 2], q[i + 3]});
    orientConsistently(tri);
    std::map<std::size_t, int> local;
    std::vector<P3> ps;
    std::vector<int> idx;
    for (std::size_t n : tri) {
      const auto it = local.emplace(n, int(ps.size())).first;
      if (it->second == int(ps.size())) ps.push_back(at(n));
      idx.push_back(it->second);
    }
    m.sheetNodes.push_back(ps);
    m.sheetTriangles.push_back(idx);
    m.sheetTags.push_back(tri);
    m.surfaceCurves.push_back(orientedBoundary(2, t, m.curveTags));
  }
  for (int t : m.volumeTags) {
    gmsh::vectorpair bnd;
    gmsh::model::getBoundary({{3, t}}, bnd, false, false, false);
    std::vector<int> own;
    for (const auto& b : bnd) {
      const int k = indexOf(m.surfaceTags, std::abs(b.second));
      if (k >= 0 && std::find(own.begin(), own.end(), k) == own.end()) own.push_back(k);
    }
    std::vector<std::vector<std::size_t> > tris;
    for (int k : own)
      tris.push_back(m.sheetTags[std::size_t(k)]);
    const std::vector<int> out = outwardSigns(tris, node);
    m.volumeSides.emplace_back();
    // The solid lies on the normals' side exactly when the normals point inward.
    for (std::size_t i = 0; i < own.size(); ++i)
      m.volumeSides.back().push_back({own[i], -out[i]});
  }
  // A surface that bounds one volume gets outward normals: its triangles are turned when the
  // volume lies on the side they point to.
  std::vector<int> uses(m.surfaceTags.size(), 0);
  for (const auto& sides : m.volumeSides)
    for (const auto& side : sides)
      ++uses[std::size_t(side.first)];
  for (auto& sides : m.volumeSides)
    for (auto& side : sides) {
      const std::size_t k = std::size_t(side.first);
      if (uses[k] != 1 || side.second < 0) continue;
      for (std::size_t i = 0; i + 2 < m.sheetTriangles[k].size(); i += 3) {
        std::swap(m.sheetTriangles[k][i + 1], m.sheetTriangles[k][i + 2]);
        std::swap(m.sheetTags[k][i + 1], m.sheetTags[k][i + 2]);
      }
      side.second = -1;
    }
  return m;
}

template <class Box, int N>
Box boxOf(const std::vector<P3>& ps) {
  P3 lo = ps.at(0), hi = ps.at(0);
  for (const P3& p : ps)
    for (int k = 0; k < 3; ++k) {
      lo[k] = std::min(lo[k], p[k]);
      hi[k] = std::max(hi[k], p[k]);
    }
  if constexpr (N == 3)
    return Box(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]);
  else
    return Box(lo[0], hi[0], lo[1], hi[1]);
}

bool allFinite(const std::vector<P3>& ps) {
  return std::all_of(ps.begin(), ps.end(), finite);
}

// Inverts an entity-to-entity relation: for every target, the sources naming it.
Lists invert(const Lists& lists, int nTargets) {
  Lists out(std::size_t(std::max(nTargets, 0)));
  for (std::size_t s = 0; s < lists.size(); ++s)
    for (const auto& e : lists[s])
      out[std::size_t(e.first)].push_back({int(s), e.second});
  return out;
}

// Composes two relations (a to b, b to c) into a to c, each target once, orientation 0.
Lists compose(const Lists& ab, const Lists& bc) {
  Lists out(ab.size());
  for (std::size_t a = 0; a < ab.size(); ++a) {
    std::set<int> seen;
    for (const auto& b : ab[a])
      for (const auto& c : bc[std::size_t(b.first)])
        if (seen.insert(c.first).second) out[a].push_back({c.first, 0});
  }
  return out;
}

// The pair-form setters ignore entry 0 of their input.
Lists oneBased(Lists lists) {
  lists.insert(lists.begin(), std::vector<std::pair<int, int> >());
  return lists;
}

void setRelation(Adjacent& a, const Lists& lists) {
  int total = 0;
  for (const auto& l : lists)
    total += int(l.size());
  a.allocate(int(lists.size()), total);
  for (std::size_t i = 0; i < lists.size(); ++i)
    a.setAdjacent(int(i), lists[i]);
}

// Unit vertex normals: the normalised sum of the (area-weighted) normals of the triangles.
std::vector<P3> vertexNormals(const std::vector<P3>& ps, const std::vector<int>& tris) {
  std::vector<std::array<double, 3> > n(ps.size(), {0, 0, 0});
  for (std::size_t t = 0; t + 2 < tris.size(); t += 3) {
    const P3 &a = ps[std::size_t(tris[t])], &b = ps[std::size_t(tris[t + 1])],
             &c = ps[std::size_t(tris[t + 2])];
    const double e1[3] = {double(b[0] - a[0]), double(b[1] - a[1]), double(b[2] - a[2])};
    const double e2[3] = {double(c[0] - a[0]), double(c[1] - a[1]), double(c[2] - a[2])};
    const double cr[3] = {e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                          e1[0] * e2[1] - e1[1] * e2[0]};
    for (int k = 0; k < 3; ++k)
      for (int j = 0; j < 3; ++j)
        n[std::size_t(tris[t + std::size_t(k)])][std::size_t(j)] += cr[j];
  }
  std::vector<P3> out;
  for (const auto& v : n) {
    const double len = std::sqrt(v[0] * v[0] + v[1] * v[1] + v[2] * v[2]);
    const double f = len > 0 ? 1.0 / len : 0.0;
    out.push_back({float(v[0] * f), float(v[1] * f), float(v[2] * f)});
  }
  return out;
}

void fill3D(RenderDrawGeom3D& g, const Model& m, std::ostream& log) {
  const int nV = int(m.volumeTags.size()), nS = int(m.surfaceTags.size()),
            nC = int(m.curveTags.size()), nP = int(m.pointTags.size());
  g.allocate(nV, nS, nC, nP);
  std::vector<P3> all;
  for (int k = 0; k < nP; ++k) {
    const P3& p = m.points[std::size_t(k)];
    if (!finite(p)) {
      log << "dctool import: point " << m.pointTags[std::size_t(k)]
          << " has a non-finite coordinate; left at the origin\n";
      continue;
    }
    g.point(k).setVertex(p[0], p[1], p[2]);
    all.push_back(p);
  }
  for (int c = 0; c < nC; ++c) {
    const std::vector<P3>& ps = m.curves[std::size_t(c)];
    if (!allFinite(ps)) {
      log << "dctool import: curve " << m.curveTags[std::size_t(c)]
          << " has a non-finite coordinate; left out\n";
      continue;
    }
    auto& curve = g.curve(c);
    curve.reserve(int(ps.size()));
    for (const P3& p : ps)
      curve.appendVertex(p[0], p[1], p[2]);
    if (!ps.empty()) curve.setBoundingBox3D(boxOf<BoundingBox3D, 3>(ps));
    curve.setValid(ps.size() >= 2);
    all.insert(all.end(), ps.begin(), ps.end());
  }
  // Up and down: the solid on the normals' side and the one on the other side.
  std::vector<int> up(std::size_t(nS), -1), down(std::size_t(nS), -1);
  Lists sheetToSolid(static_cast<std::size_t>(nS));
  for (int v = 0; v < nV; ++v)
    for (const auto& side : m.volumeSides[std::size_t(v)]) {
      (side.second > 0 ? up : down)[std::size_t(side.first)] = v;
      sheetToSolid[std::size_t(side.first)].push_back({v, side.second});
    }
  std::vector<bool> sheetOk(std::size_t(nS), false);
  for (int s = 0; s < nS; ++s) {
    const std::vector<P3>& ps = m.sheetNodes[std::size_t(s)];
    const std::vector<int>& tris = m.sheetTriangles[std::size_t(s)];
    Sheet3D& sheet = g.sheet(s);
    sheet.setUp(up[std::size_t(s)]);
    sheet.setDown(down[std::size_t(s)]);
    if (!allFinite(ps)) {
      log << "dctool import: surface " << m.surfaceTags[std::size_t(s)]
          << " has a non-finite coordinate; left out\n";
      continue;
    }
    if (tris.empty()) continue;
    const std::vector<P3> normals = vertexNormals(ps, tris);
    sheet.allocate(int(ps.size()), int(tris.size() / 3));
    for (std::size_t i = 0; i < ps.size(); ++i)
      sheet.setVertex(int(i), ps[i][0], ps[i][1], ps[i][2], normals[i][0], normals[i][1],
                      normals[i][2]);
    for (std::size_t t = 0; t + 2 < tris.size(); t += 3)
      sheet.setTriangle(int(t / 3), tris[t], tris[t + 1], tris[t + 2]);
    sheet.setBoundingBox3D(boxOf<BoundingBox3D, 3>(ps));
    sheet.setValid(true);
    sheet.setComplete(true);
    sheetOk[std::size_t(s)] = true;
    all.insert(all.end(), ps.begin(), ps.end());
  }
  for (int v = 0; v < nV; ++v) {
    std::vector<P3> corners;
    for (const auto& side : m.volumeSides[std::size_t(v)])
      if (sheetOk[std::size_t(side.first)]) {
        const BoundingBox3D& b = g.getSheet(side.first).getBoundingBox();
        corners.push_back({b.getMinX(), b.getMinY(), b.getMinZ()});
        corners.push_back({b.getMaxX(), b.getMaxY(), b.getMaxZ()});
      }
    if (!corners.empty()) g.setBoundingBoxSolid(v, boxOf<BoundingBox3D, 3>(corners));
  }
  if (!all.empty()) g.setBoundingBox3D(boxOf<BoundingBox3D, 3>(all));

  // The twelve relations, from the model's oriented topology.
  const Lists& solidToSheet = m.volumeSides;
  const Lists& sheetToCurve = m.surfaceCurves;
  const Lists& curveToPoint = m.curvePoints;
  const Lists solidToCurve = compose(solidToSheet, sheetToCurve);
  const Lists sheetToPoint = compose(sheetToCurve, curveToPoint);
  const Lists solidToPoint = compose(solidToSheet, sheetToPoint);
  g.setSolidToSheetAdjacent(oneBased(solidToSheet));
  g.setSolidToCurveAdjacent(oneBased(solidToCurve));
  g.setSolidToPointAdjacent(oneBased(solidToPoint));
  g.setSheetToCurveAdjacent(oneBased(sheetToCurve));
  g.setSheetToPointAdjacent(oneBased(sheetToPoint));
  g.setCurveToPointAdjacent(oneBased(curveToPoint));
  g.setPointToCurveAdjacent(oneBased(invert(curveToPoint, nP)));
  g.setPointToSheetAdjacent(oneBased(invert(sheetToPoint, nP)));
  g.setCurveToSheetAdjacent(oneBased(invert(sheetToCurve, nC)));
  setRelation(g.pointToSolidAdjacent(), invert(solidToPoint, nP));
  setRelation(g.curveToSolidAdjacent(), invert(solidToCurve, nC));
  setRelation(g.sheetToSolidAdjacent(), sheetToSolid);
}

void setMap(std::vector<int>& map, const std::vector<int>& tags) {
  for (std::size_t i = 0; i < map.size() && i < tags.size(); ++i)
    map[i] = tags[i];
}

// A model whose nodes all lie in the plane z = 0 and that has no volumes: faces are its
// surfaces, curves and points its curves and points.
bool planar(const Model& m) {
  if (!m.volumeTags.empty() || m.surfaceTags.empty()) return false;
  for (const auto& s : m.sheetNodes)
    for (const P3& p : s)
      if (p[2] != 0) return false;
  for (const auto& c : m.curves)
    for (const P3& p : c)
      if (p[2] != 0) return false;
  return true;
}

std::unique_ptr<nkbase::Serializable> build2D(const Model& m, std::ostream& log) {
  using nkdatacarrier::RenderGeom2D;
  auto g = std::make_unique<RenderGeom2D>(0);
  const int nS = int(m.surfaceTags.size()), nC = int(m.curveTags.size()),
            nP = int(m.pointTags.size());
  g->allocate(nS, nC, nP);
  std::vector<P3> all;
  for (int k = 0; k < nP; ++k) {
    const P3& p = m.points[std::size_t(k)];
    if (!finite(p)) {
      log << "dctool import: point " << m.pointTags[std::size_t(k)]
          << " has a non-finite coordinate; left at the origin\n";
      continue;
    }
    g->point(k).setVertex(p[0], p[1]);
    all.push_back(p);
  }
  for (int c = 0; c < nC; ++c) {
    const std::vector<P3>& ps = m.curves[std::size_t(c)];
    if (!allFinite(ps)) {
      log << "dctool import: curve " << m.curveTags[std::size_t(c)]
          << " has a non-finite coordinate; left out\n";
      continue;
    }
    auto& curve = g->curve(c);
    curve.reserve(int(ps.size()));
    for (const P3& p : ps)
      curve.appendVertex(p[0], p[1]);
    if (!ps.empty()) curve.setBoundingBox2D(boxOf<BoundingBox2D, 2>(ps));
    curve.setValid(ps.size() >= 2);
    all.insert(all.end(), ps.begin(), ps.end());
  }
  for (int s = 0; s < nS; ++s) {
    const std::vector<P3>& ps = m.sheetNodes[std::size_t(s)];
    std::vector<int> tris = m.sheetTriangles[std::size_t(s)];
    if (!allFinite(ps)) {
      log << "dctool import: surface " << m.surfaceTags[std::size_t(s)]
          << " has a non-finite coordinate; left out\n";
      continue;
    }
    if (tris.empty()) continue;
    auto& face = g->face(s);
    face.allocate(int(ps.size()), int(tris.size() / 3));
    for (std::size_t i = 0; i < ps.size(); ++i)
      face.setVertex(int(i), ps[i][0], ps[i][1]);
    for (std::size_t t = 0; t + 2 < tris.size(); t += 3)
      face.setTriangle(int(t / 3), tris[t], tris[t + 1], tris[t + 2]);
    face.setBoundingBox2D(boxOf<BoundingBox2D, 2>(ps));
    face.setValid(true);
    all.insert(all.end(), ps.begin(), ps.end());
  }
  if (!all.empty()) g->setBoundingBox2D(boxOf<BoundingBox2D, 2>(all));
  const Lists sheetToPoint = compose(m.surfaceCurves, m.curvePoints);
  g->setFaceToCurveAdjacent(oneBased(m.surfaceCurves));
  g->setCurveToPointAdjacent(oneBased(m.curvePoints));
  g->setFaceToPointAdjacent(oneBased(sheetToPoint));
  g->setPointToCurveAdjacent(oneBased(invert(m.curvePoints, nP)));
  g->setPointToFaceAdjacent(oneBased(invert(sheetToPoint, nP)));
  g->setCurveToFaceAdjacent(oneBased(invert(m.surfaceCurves, nC)));
  setMap(g->initPointMap(nP), m.pointTags);
  setMap(g->initEdgeMap(nC), m.curveTags);
  setMap(g->initDomainMap(nS), m.surfaceTags);
  return g;
}

}  // namespace

namespace {

// The mesher's library for the length of one command: started, and finished (which frees its
// models) however the command ends.
struct MesherSession {
  MesherSession() {
    gmsh::initialize(0, nullptr, false);
    gmsh::option::setNumber("General.Terminal", 0);
    gmsh::option::setNumber("General.AbortOnError", 0);
  }
  ~MesherSession() { gmsh::finalize(); }
  MesherSession(const MesherSession&) = delete;
  MesherSession& operator=(const MesherSession&) = delete;
};

}  // namespace

bool buildDemoPart(const std::string& mshPath) {
  const MesherSession session;
  gmsh::model::add("bracket");
  const int base = gmsh::model::occ::addBox(0, 0, 0, 2, 1, 0.3);
  const int wall = gmsh::model::occ::addBox(0, 0, 0, 0.3, 1, 1.2);
  const int hole = gmsh::model::occ::addCylinder(1.3, 0.5, -0.1, 0, 0, 0.5, 0.25);
  gmsh::vectorpair fused, cut;
  std::vector<gmsh::vectorpair> map;
  gmsh::model::occ::fuse({{3, base}}, {{3, wall}}, fused, map);
  gmsh::model::occ::cut(fused, {{3, hole}}, cut, map);
  gmsh::model::occ::synchronize();
  gmsh::option::setNumber("Mesh.MeshSizeMax", 0.08);
  gmsh::model::mesh::generate(2);
  gmsh::write(mshPath);
  return true;
}

bool importAvailable() {
  return true;
}

std::unique_ptr<nkbase::Serializable> importModel(const std::string& path,
                                                  const ImportOptions& options, std::ostream& log) {
  const MesherSession session;
  const Model m = readModel(path, options);
  if (planar(m)) return build2D(m, log);
  if (options.draw) {
    auto g = std::make_unique<nkdatacarrier::RenderDraw3D>(RenderDrawGeom3D::DRAW_3D_A, 0);
    fill3D(*g, m, log);
    return g;
  }
  auto g = std::make_unique<nkdatacarrier::RenderGeom3D>(0);
  fill3D(*g, m, log);
  setMap(g->initPointMap(int(m.pointTags.size())), m.pointTags);
  setMap(g->initEdgeMap(int(m.curveTags.size())), m.curveTags);
  setMap(g->initFaceMap(int(m.surfaceTags.size())), m.surfaceTags);
  setMap(g->initDomainMap(int(m.volumeTags.size())), m.volumeTags);
  return g;
}

#endif

}  // namespace dctool
