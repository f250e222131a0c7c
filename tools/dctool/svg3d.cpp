// SVG of a 3D geometry: an orthographic view, triangles flat shaded by their normal and drawn
// far to near (painter's order), curves and points on top.
#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <iostream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include "datacarrier/renderdrawgeom3d.h"
#include "qvutil/serializable.h"

namespace dctool {

namespace {

using nkdatacarrier::RenderDrawGeom3D;
using V = std::array<double, 3>;

double dot(const V& a, const V& b) {
  return a[0] * b[0] + a[1] * b[1] + a[2] * b[2];
}

// Screen axes (right, up) and the direction towards the viewer.
struct View {
  V right, up, eye;
};

View viewFor(const std::string& name) {
  const double r2 = std::sqrt(2.0), r3 = std::sqrt(3.0), r6 = std::sqrt(6.0);
  if (name == "x") return {{0, 1, 0}, {0, 0, 1}, {1, 0, 0}};
  if (name == "y") return {{1, 0, 0}, {0, 0, 1}, {0, -1, 0}};
  if (name == "z") return {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}};
  return {{-1 / r2, 1 / r2, 0}, {-1 / r6, -1 / r6, 2 / r6}, {1 / r3, 1 / r3, 1 / r3}};
}

std::string num(double v) {
  std::ostringstream s;
  s << std::fixed << std::setprecision(2) << v;
  return s.str();
}

bool finite(const V& p) {
  return std::isfinite(p[0]) && std::isfinite(p[1]) && std::isfinite(p[2]);
}

std::string escape(const std::string& s) {
  std::string out;
  for (char c : s)
    out += c == '<'   ? "&lt;"
           : c == '>' ? "&gt;"
           : c == '&' ? "&amp;"
           : c == '"' ? "&quot;"
                      : std::string(1, c);
  return out;
}

}  // namespace

bool writeDrawing3DSvg(const nkbase::Serializable& object, const std::string& title,
                       const std::string& viewName, std::ostream& out) {
  const auto* g = dynamic_cast<const RenderDrawGeom3D*>(&object);
  if (!g) return false;
  const View view = viewFor(viewName);
  V light{};
  for (int k = 0; k < 3; ++k)
    light[std::size_t(k)] = 0.75 * view.eye[std::size_t(k)] + 0.55 * view.up[std::size_t(k)] -
                            0.35 * view.right[std::size_t(k)];
  const double lightLength = std::sqrt(dot(light, light));
  for (double& c : light)
    c /= lightLength;
  struct Triangle {
    std::array<V, 3> p;
    double depth, light;
    int sheet;
  };
  std::vector<Triangle> triangles;
  std::vector<std::pair<int, std::vector<V>>> curves;
  std::vector<std::pair<int, V>> points;
  for (int s = 0; s < g->getNumberOfSheets(); ++s) {
    const auto& sheet = g->getSheet(s);
    if (!sheet.isValid()) continue;
    std::vector<Triangle> own;
    bool ok = true;
    const int* t = sheet.getTriangleArray();
    for (int k = 0; ok && k < sheet.getNumberOfTriangles(); ++k) {
      Triangle tri{};
      for (int c = 0; c < 3; ++c) {
        const int i = t[3 * k + c];
        if (i < 0 || i >= sheet.getNumberOfVertices()) {
          ok = false;
          break;
        }
        const auto& v = sheet.getVertex(i);
        tri.p[std::size_t(c)] = {v.x, v.y, v.z};
        ok = ok && finite(tri.p[std::size_t(c)]);
      }
      if (!ok) break;
      const V e1{tri.p[1][0] - tri.p[0][0], tri.p[1][1] - tri.p[0][1], tri.p[1][2] - tri.p[0][2]};
      const V e2{tri.p[2][0] - tri.p[0][0], tri.p[2][1] - tri.p[0][1], tri.p[2][2] - tri.p[0][2]};
      const V n{e1[1] * e2[2] - e1[2] * e2[1], e1[2] * e2[0] - e1[0] * e2[2],
                e1[0] * e2[1] - e1[1] * e2[0]};
      const double len = std::sqrt(dot(n, n));
      // A light from above left of the viewer, so that faces of different directions differ
      // even in the isometric view (where a headlight would shade the three axes alike).
      tri.light = len > 0 ? std::abs(dot(n, light)) / len : 0.0;
      tri.depth = (dot(tri.p[0], view.eye) + dot(tri.p[1], view.eye) + dot(tri.p[2], view.eye)) / 3;
      tri.sheet = s;
      own.push_back(tri);
    }
    if (!ok) {
      std::cerr << "dctool svg: sheet " << s << " has a non-finite coordinate; left out\n";
      continue;
    }
    triangles.insert(triangles.end(), own.begin(), own.end());
  }
  for (int c = 0; c < g->getNumberOfCurves(); ++c) {
    const auto& curve = g->getCurve(c);
    if (!curve.isValid() || curve.getNumberOfVertices() < 2) continue;
    std::vector<V> ps;
    for (int i = 0; i < curve.getNumberOfVertices(); ++i) {
      const auto& v = curve.getVertex(i);
      ps.push_back({v.x, v.y, v.z});
    }
    if (!std::all_of(ps.begin(), ps.end(), finite)) {
      std::cerr << "dctool svg: curve " << c << " has a non-finite coordinate; left out\n";
      continue;
    }
    curves.emplace_back(c, ps);
  }
  for (int i = 0; i < g->getNumberOfPoints(); ++i) {
    const auto& v = g->getPoint(i).getVertex();
    const V p{v.x, v.y, v.z};
    if (finite(p))
      points.emplace_back(i, p);
    else
      std::cerr << "dctool svg: point " << i << " has a non-finite coordinate; left out\n";
  }

  // Frame: the projected extent of everything drawn, fitted into 800 x 600 units.
  double lo[2] = {std::numeric_limits<double>::infinity(), std::numeric_limits<double>::infinity()};
  double hi[2] = {-lo[0], -lo[1]};
  const auto extend = [&](const V& p) {
    const double u = dot(p, view.right), v = dot(p, view.up);
    lo[0] = std::min(lo[0], u), hi[0] = std::max(hi[0], u);
    lo[1] = std::min(lo[1], v), hi[1] = std::max(hi[1], v);
  };
  for (const auto& t : triangles)
    for (const V& p : t.p)
      extend(p);
  for (const auto& c : curves)
    for (const V& p : c.second)
      extend(p);
  for (const auto& p : points)
    extend(p.second);
  if (!(lo[0] <= hi[0])) lo[0] = lo[1] = 0, hi[0] = hi[1] = 1;
  const double w = std::max(hi[0] - lo[0], 1e-30), h = std::max(hi[1] - lo[1], 1e-30);
  const double scale = std::min(760 / w, 560 / h);
  const double width = w * scale + 40, height = h * scale + 40;
  const auto at = [&](const V& p) {
    return num(20 + (dot(p, view.right) - lo[0]) * scale) + "," +
           num(20 + (hi[1] - dot(p, view.up)) * scale);
  };

  out << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << num(width) << "\" height=\""
      << num(height) << "\" viewBox=\"0 0 " << num(width) << " " << num(height) << "\">\n"
      << "<title>" << escape(title) << " (view " << escape(viewName) << ")</title>\n"
      << "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n<g stroke-width=\"0.4\" "
         "stroke-linejoin=\"round\">\n";
  std::stable_sort(triangles.begin(), triangles.end(),
                   [](const Triangle& a, const Triangle& b) { return a.depth < b.depth; });
  for (const auto& t : triangles) {
    const double k = 0.3 + 0.7 * t.light;
    std::ostringstream colour;
    colour << "rgb(" << int(70 * k + 40) << "," << int(130 * k + 40) << "," << int(180 * k + 50)
           << ")";
    out << "<polygon points=\"" << at(t.p[0]) << " " << at(t.p[1]) << " " << at(t.p[2])
        << "\" fill=\"" << colour.str() << "\" stroke=\"" << colour.str() << "\"/>\n";
  }
  out << "</g>\n<g fill=\"none\" stroke=\"#08306b\" stroke-width=\"1.5\">\n";
  for (const auto& c : curves) {
    out << "<polyline points=\"";
    for (std::size_t i = 0; i < c.second.size(); ++i)
      out << (i ? " " : "") << at(c.second[i]);
    out << "\"><title>curve " << c.first << "</title></polyline>\n";
  }
  out << "</g>\n<g fill=\"#cb181d\">\n";
  for (const auto& p : points) {
    const std::string xy = at(p.second);
    const std::size_t comma = xy.find(',');
    out << "<circle cx=\"" << xy.substr(0, comma) << "\" cy=\"" << xy.substr(comma + 1)
        << "\" r=\"2.5\"><title>point " << p.first << "</title></circle>\n";
  }
  out << "</g>\n</svg>\n";
  return true;
}

}  // namespace dctool
