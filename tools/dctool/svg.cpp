// `dctool svg`: a picture of a 2D drawing. Faces are filled (each as the union of its
// triangles), curves stroked, points drawn as dots; every entity carries a <title> with its
// number, which a browser shows on hover. The drawing's y axis points up. A sketch of NURBS
// edges is drawn as the edges' adaptive polylines over the sketch's extent, their control
// polygons dashed and the vertices as dots; deleted edges and vertices are left out.
#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <type_traits>

#include "carrierfile.h"
#include "commands.h"
#include "datacarrier/renderdraw2d.h"
#include "datacarrier/renderdrawedit2d.h"
#include "datacarrier/renderdrawproj2d.h"

namespace dctool {

namespace {

using nkdatacarrier::BoundingBox2D;
using nkdatacarrier::Curve2D;
using nkdatacarrier::Face2D;

// Maps drawing coordinates to SVG user units: x as is, y mirrored so that it points up.
struct Frame {
  double minX, maxX, minY, maxY;
  double y(double v) const { return minY + maxY - v; }
  double size() const { return std::max(maxX - minX, maxY - minY); }
};

std::string num(double v) {
  std::ostringstream s;
  s.precision(7);
  s << v;
  return s.str();
}

// Text for an SVG element: the five XML specials escaped.
std::string xmlText(const std::string& raw) {
  std::string out;
  for (char c : raw) {
    switch (c) {
      case '<':
        out += "&lt;";
        break;
      case '>':
        out += "&gt;";
        break;
      case '&':
        out += "&amp;";
        break;
      case '"':
        out += "&quot;";
        break;
      case '\'':
        out += "&apos;";
        break;
      default:
        out += c;
    }
  }
  return out;
}

void grow(Frame& f, double x, double y) {
  f.minX = std::min(f.minX, x);
  f.maxX = std::max(f.maxX, x);
  f.minY = std::min(f.minY, y);
  f.maxY = std::max(f.maxY, y);
}

// The <svg> element, its title and the white background of frame f.
void svgHead(const Frame& f, const std::string& title, std::ostream& out) {
  // 800 units wide, or 600 high for a tall picture, so that it fits a common window.
  const double aspect = (f.maxY - f.minY) / (f.maxX - f.minX);
  const double width = aspect > 0.75 ? 600.0 / aspect : 800.0;
  const double height = std::max(100.0, width * aspect);
  out << "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" << num(width) << "\" height=\""
      << num(height) << "\" viewBox=\"" << num(f.minX) << " " << num(f.minY) << " "
      << num(f.maxX - f.minX) << " " << num(f.maxY - f.minY) << "\">\n";
  out << "<title>" << xmlText(title) << "</title>\n";
  out << "<rect x=\"" << num(f.minX) << "\" y=\"" << num(f.minY) << "\" width=\""
      << num(f.maxX - f.minX) << "\" height=\"" << num(f.maxY - f.minY) << "\" fill=\"white\"/>\n";
}

template <typename Geometry>
constexpr bool kHasFaces = std::is_base_of<nkdatacarrier::RenderDrawGeom2D, Geometry>::value;

// The extent of everything drawn, from the vertices (a producer's box may be stale or empty).
template <typename Geometry>
Frame frameOf(const Geometry& g) {
  const double inf = std::numeric_limits<double>::infinity();
  Frame f{inf, -inf, inf, -inf};
  if constexpr (kHasFaces<Geometry>) {
    for (int i = 0; i < g.getNumberOfFaces(); ++i) {
      const Face2D& face = g.getFace(i);
      for (int v = 0; v < face.getNumberOfVertices(); ++v) {
        grow(f, face.getVertex(v).x, face.getVertex(v).y);
      }
    }
  }
  for (int i = 0; i < g.getNumberOfCurves(); ++i) {
    const Curve2D& curve = g.getCurve(i);
    for (int v = 0; v < curve.getNumberOfVertices(); ++v) {
      grow(f, curve.getVertex(v).x, curve.getVertex(v).y);
    }
  }
  for (int i = 0; i < g.getNumberOfPoints(); ++i) {
    grow(f, g.getPoint(i).getVertex().x, g.getPoint(i).getVertex().y);
  }
  if (!(f.minX <= f.maxX)) f = {0, 1, 0, 1};  // nothing to draw
  // A margin of 5% of the larger side, at least one unit for a single point.
  const double margin = f.size() > 0 ? 0.05 * f.size() : 1.0;
  return {f.minX - margin, f.maxX + margin, f.minY - margin, f.maxY + margin};
}

template <typename Geometry>
void writeSvg(const Geometry& g, const std::string& title, std::ostream& out) {
  const Frame f = frameOf(g);
  const double dot = 0.008 * f.size();
  svgHead(f, title, out);
  if constexpr (kHasFaces<Geometry>) {
    out << "<g fill=\"#9ecae1\" stroke=\"#9ecae1\" stroke-width=\"0.5\" "
           "vector-effect=\"non-scaling-stroke\">\n";
    for (int i = 0; i < g.getNumberOfFaces(); ++i) {
      const Face2D& face = g.getFace(i);
      if (!face.isValid()) continue;
      out << "<path vector-effect=\"non-scaling-stroke\" d=\"";
      const int* t = face.getTriangleArray();
      for (int k = 0; k < face.getNumberOfTriangles(); ++k) {
        for (int c = 0; c < 3; ++c) {
          const int v = t[3 * k + c];
          if (v < 0 || v >= face.getNumberOfVertices()) continue;  // a corrupt index: skip it
          out << (c == 0 ? "M" : " L") << num(face.getVertex(v).x) << " "
              << num(f.y(face.getVertex(v).y));
        }
        out << "Z";
      }
      out << "\"><title>face " << i << "</title></path>\n";
    }
    out << "</g>\n";
  }
  out << "<g fill=\"none\" stroke=\"#08306b\" stroke-width=\"2\" stroke-linejoin=\"round\">\n";
  for (int i = 0; i < g.getNumberOfCurves(); ++i) {
    const Curve2D& curve = g.getCurve(i);
    if (!curve.isValid() || curve.getNumberOfVertices() == 0) continue;
    out << "<polyline vector-effect=\"non-scaling-stroke\" points=\"";
    for (int v = 0; v < curve.getNumberOfVertices(); ++v) {
      out << (v ? " " : "") << num(curve.getVertex(v).x) << "," << num(f.y(curve.getVertex(v).y));
    }
    out << "\"><title>curve " << i << "</title></polyline>\n";
  }
  out << "</g>\n<g fill=\"#cb181d\">\n";
  for (int i = 0; i < g.getNumberOfPoints(); ++i) {
    const auto& p = g.getPoint(i).getVertex();
    out << "<circle cx=\"" << num(p.x) << "\" cy=\"" << num(f.y(p.y)) << "\" r=\"" << num(dot)
        << "\"><title>point " << i << "</title></circle>\n";
  }
  out << "</g>\n</svg>\n";
}

// The frame of a sketch: the extent of its vertices and control points, deleted ones included
// as in the sketch's own extent (so a picture keeps its scale when an edge is deleted), in
// double precision, with a margin of 5% of its larger side.
Frame sketchFrame(const nkdatacarrier::RenderDrawEdit2D& sketch) {
  const double inf = std::numeric_limits<double>::infinity();
  Frame f{inf, -inf, inf, -inf};
  const auto add = [&f](double x, double y) {
    if (std::isfinite(x) && std::isfinite(y)) grow(f, x, y);
  };
  for (int i = 0; i < sketch.getNumVtx(); ++i)
    add(sketch.getVertex(i).x, sketch.getVertex(i).y);
  for (int i = 0; i < sketch.getNumEdg(); ++i) {
    const auto& e = sketch.getEdge(i);
    if (e.getCtrlPoints().extent(1) < 3) continue;
    for (int k = 0; k < e.getNumCtrlPoints(); ++k)
      add(e.getCtrlXCoord(k), e.getCtrlYCoord(k));
  }
  if (!(f.minX <= f.maxX)) f = {0, 1, 0, 1};  // nothing to draw
  const double margin = f.size() > 0 ? 0.05 * f.size() : 1.0;
  return {f.minX - margin, f.maxX + margin, f.minY - margin, f.maxY + margin};
}

// One polyline per run of finite points (a malformed edge evaluates to NaN).
void polylines(const std::vector<std::pair<double, double>>& points, const Frame& f,
               const std::string& title, std::ostream& out) {
  std::size_t i = 0;
  while (i < points.size()) {
    while (i < points.size() &&
           !(std::isfinite(points[i].first) && std::isfinite(points[i].second)))
      ++i;
    if (i == points.size()) break;
    out << "<polyline vector-effect=\"non-scaling-stroke\" points=\"";
    for (bool first = true;
         i < points.size() && std::isfinite(points[i].first) && std::isfinite(points[i].second);
         ++i, first = false) {
      out << (first ? "" : " ") << num(points[i].first) << "," << num(f.y(points[i].second));
    }
    out << "\"><title>" << title << "</title></polyline>\n";
  }
}

void writeSketchSvg(const nkdatacarrier::RenderDrawEdit2D& sketch, const std::string& title,
                    std::ostream& out) {
  using Edge = nkdatacarrier::RenderDrawEdit2D::Edge;
  const Frame f = sketchFrame(sketch);
  svgHead(f, title, out);
  // Refined over the sketch's extent, where the curve leaves its chords by more than a
  // thousandth of the picture: below a pixel at the picture's 800 units of width.
  std::vector<float> box;
  sketch.getBoundingBox(box);
  const BoundingBox2D extent(box[0], box[1], box[2], box[3]);
  const double tol = 1e-3 * f.size();
  const int maxRefinements = 100000;
  std::vector<nkdatacarrier::RenderDrawEdit2D::Coord> samples;
  std::vector<std::pair<double, double>> points;
  out << "<g fill=\"none\" stroke=\"#969696\" stroke-width=\"1\" stroke-dasharray=\"6 4\">\n";
  for (int i = 0; i < sketch.getNumEdg(); ++i) {
    const Edge& e = sketch.getEdge(i);
    if (e.isDeleted() || e.getCtrlPoints().extent(1) < 3) continue;
    points.clear();
    for (int k = 0; k < e.getNumCtrlPoints(); ++k)
      points.emplace_back(e.getCtrlXCoord(k), e.getCtrlYCoord(k));
    polylines(points, f, "control polygon of edge " + std::to_string(i), out);
  }
  out << "</g>\n<g fill=\"none\" stroke=\"#08306b\" stroke-width=\"2\" "
         "stroke-linejoin=\"round\">\n";
  for (int i = 0; i < sketch.getNumEdg(); ++i) {
    const Edge& e = sketch.getEdge(i);
    if (e.isDeleted()) continue;
    e.evalEdge(tol, extent, maxRefinements, samples);
    points.clear();
    for (const auto& c : samples)
      points.emplace_back(c.x, c.y);
    polylines(points, f,
              "edge " + std::to_string(i) + " (degree " + std::to_string(e.getDegree()) + ")", out);
  }
  out << "</g>\n<g fill=\"#cb181d\">\n";
  const double dot = 0.008 * f.size();
  for (int i = 0; i < sketch.getNumVtx(); ++i) {
    const auto& v = sketch.getVertex(i);
    if (v.deleted || !std::isfinite(v.x) || !std::isfinite(v.y)) continue;
    out << "<circle cx=\"" << num(v.x) << "\" cy=\"" << num(f.y(v.y)) << "\" r=\"" << num(dot)
        << "\"><title>vertex " << i << "</title></circle>\n";
  }
  out << "</g>\n</svg>\n";
}

}  // namespace

bool writeDrawingSvg(const nkbase::Serializable& object, const std::string& title,
                     std::ostream& out) {
  if (const auto* d2 = dynamic_cast<const nkdatacarrier::RenderDraw2D*>(&object)) {
    writeSvg(*d2, title, out);
  } else if (const auto* proj = dynamic_cast<const nkdatacarrier::RenderDrawProj2D*>(&object)) {
    writeSvg(*proj, title, out);
  } else if (const auto* sketch = dynamic_cast<const nkdatacarrier::RenderDrawEdit2D*>(&object)) {
    writeSketchSvg(*sketch, title, out);
  } else {
    return false;
  }
  return true;
}

void saveDrawingSvg(const nkbase::Serializable& object, const std::string& title,
                    const std::string& path) {
  std::ostringstream svg;
  if (!writeDrawingSvg(object, title, svg)) {
    throw ToolError(1, title + ": byte 0: Not_a_2D_drawing: " + object.getClassID() +
                           " is not a RenderDraw2D, RenderDrawProj2D or RenderDrawEdit2D");
  }
  std::ofstream file(path, std::ios::trunc);
  file << svg.str();
  file.flush();
  if (!file) throw ToolError(1, path + ": cannot write");
}

int runSvg(const std::vector<std::string>& args, std::ostream& out) {
  if (args.size() != 2) throw UsageError("expects FILE and OUT.svg");
  const LoadedCarrier carrier = loadCarrier(args[0]);
  saveDrawingSvg(*carrier.object, args[0], args[1]);
  out << "wrote " << args[1] << "\n";
  return 0;
}

}  // namespace dctool
