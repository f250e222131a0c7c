// Export of carriers for common viewers: every drawing object, geometry map, mesh collection
// (or single mesh piece) and plot data object becomes one scene of points, polylines and
// polygons with the kind and 1-based number of the entity each cell draws, written as VTK XML
// polydata (.vtp) or Wavefront OBJ (.obj).
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <iostream>
#include <sstream>
#include <vector>

#include "carrierfile.h"
#include "commands.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdrawedit2d.h"
#include "datacarrier/renderdrawgeom1d.h"
#include "datacarrier/renderdrawgeom2d.h"
#include "datacarrier/renderdrawgeom3d.h"
#include "datacarrier/renderdrawproj2d.h"
#include "datacarrier/rendergeom2d.h"
#include "datacarrier/rendergeom3d.h"
#include "datacarrier/rendermeshboundary2d.h"
#include "datacarrier/rendermeshboundary3d.h"
#include "datacarrier/rendermeshcollection.h"
#include "datacarrier/rendermeshedge3d.h"
#include "datacarrier/rendermeshsubdomain1d.h"
#include "datacarrier/rendermeshsubdomain2d.h"
#include "qvutil/exception.h"

namespace dctool {

namespace {

using namespace nkdatacarrier;
using P3 = std::array<float, 3>;

// What a cell draws: its kind, numbered as the "kind" cell array holds it.
enum Kind { POINT = 0, CURVE = 1, FACE = 2, MESH_PIECE = 3, PLOT_BLOCK = 4 };
const char* const kKindNames[] = {"point", "curve", "face", "mesh piece", "plot block"};

struct Cell {
  std::vector<int> ids;  // point indices: 1 a vertex, 2 or more a polyline or a polygon
  int kind = 0;
  int entity = 0;  // 1-based within its kind
  int tag = -1;    // the model's tag when the carrier has maps
};

// One drawable scene. Entities with a non-finite coordinate are left out (reported once each).
struct Scene {
  std::vector<P3> points, normals;  // normals: empty, or one per point ((0, 0, 0): none)
  std::vector<Cell> verts, lines, polys;
  bool tags = false;
  std::ostream* log = &std::cerr;

  // Adds the points of one entity; false (and a note) when one of them is not finite.
  bool addPoints(const std::vector<P3>& ps, const std::vector<P3>* ns, int kind, int entity,
                 int& first) {
    for (const P3& p : ps)
      if (!std::isfinite(p[0]) || !std::isfinite(p[1]) || !std::isfinite(p[2])) {
        *log << "dctool export: " << kKindNames[kind] << " " << entity
             << " has a non-finite coordinate; left out\n";
        return false;
      }
    first = int(points.size());
    points.insert(points.end(), ps.begin(), ps.end());
    if (ns || !normals.empty()) {
      normals.resize(first, P3{0, 0, 0});
      if (ns)
        normals.insert(normals.end(), ns->begin(), ns->end());
      else
        normals.resize(points.size(), P3{0, 0, 0});
    }
    return true;
  }
  void add(std::vector<Cell>& cells, std::vector<int> ids, int kind, int entity, int tag) {
    cells.push_back(Cell{std::move(ids), kind, entity, tag});
  }
  // A polyline of the listed points, a polygon cell per face of corner indices (local).
  void polyline(const std::vector<P3>& ps, int kind, int entity, int tag) {
    int first = 0;
    if (ps.size() < 2 || !addPoints(ps, nullptr, kind, entity, first)) return;
    std::vector<int> ids;
    for (std::size_t i = 0; i < ps.size(); ++i)
      ids.push_back(first + int(i));
    add(lines, ids, kind, entity, tag);
  }
  void surface(const std::vector<P3>& ps, const std::vector<P3>* ns,
               const std::vector<std::vector<int>>& faces, int kind, int entity, int tag) {
    int first = 0;
    if (!addPoints(ps, ns, kind, entity, first)) return;
    for (const auto& f : faces) {
      std::vector<int> ids;
      bool ok = true;
      for (int c : f) {
        ok = ok && c >= 0 && std::size_t(c) < ps.size();
        ids.push_back(first + c);
      }
      if (ok) add(polys, ids, kind, entity, tag);
    }
  }
  void vertex(const P3& p, int kind, int entity, int tag) {
    int first = 0;
    if (addPoints({p}, nullptr, kind, entity, first)) add(verts, {first}, kind, entity, tag);
  }
};

int mapped(const std::vector<int>* map, int i) {
  return map && i >= 0 && std::size_t(i) < map->size() ? (*map)[std::size_t(i)] : -1;
}

void add3D(const RenderDrawGeom3D& g, Scene& scene) {
  const auto* maps = dynamic_cast<const RenderGeom3D*>(&g);
  scene.tags = maps != nullptr;
  const std::vector<int>* pointMap = maps ? &maps->getPointMap() : nullptr;
  const std::vector<int>* edgeMap = maps ? &maps->getEdgeMap() : nullptr;
  const std::vector<int>* faceMap = maps ? &maps->getFaceMap() : nullptr;
  for (int i = 0; i < g.getNumberOfPoints(); ++i) {
    const auto& p = g.getPoint(i).getVertex();
    scene.vertex({p.x, p.y, p.z}, POINT, i + 1, mapped(pointMap, i));
  }
  for (int c = 0; c < g.getNumberOfCurves(); ++c) {
    const Curve3D& curve = g.getCurve(c);
    if (!curve.isValid()) continue;
    std::vector<P3> ps;
    for (int v = 0; v < curve.getNumberOfVertices(); ++v) {
      const auto& x = curve.getVertex(v);
      ps.push_back({x.x, x.y, x.z});
    }
    scene.polyline(ps, CURVE, c + 1, mapped(edgeMap, c));
  }
  for (int s = 0; s < g.getNumberOfSheets(); ++s) {
    const Sheet3D& sheet = g.getSheet(s);
    if (!sheet.isValid()) continue;
    std::vector<P3> ps, ns;
    for (int v = 0; v < sheet.getNumberOfVertices(); ++v) {
      const Sheet3D::Vertex& x = sheet.getVertex(v);
      ps.push_back({x.x, x.y, x.z});
      ns.push_back({x.nx, x.ny, x.nz});
    }
    std::vector<std::vector<int>> tris;
    const int* t = sheet.getTriangleArray();
    for (int k = 0; k < sheet.getNumberOfTriangles(); ++k)
      tris.push_back({t[3 * k], t[3 * k + 1], t[3 * k + 2]});
    scene.surface(ps, &ns, tris, FACE, s + 1, mapped(faceMap, s));
  }
}

// 1D and 2D drawing geometries through their render arrays (coincident points merged).
void addRenderArrays(const RenderDrawGeom& g, Scene& scene) {
  std::vector<std::vector<float>> coords;
  std::vector<std::vector<int>> el;
  g.getMLRenderData(coords, el);
  const auto* maps = dynamic_cast<const RenderGeom2D*>(&g);
  scene.tags = maps != nullptr;
  const std::vector<int>* pointMap = maps ? &maps->getPointMap() : nullptr;
  const std::vector<int>* edgeMap = maps ? &maps->getEdgeMap() : nullptr;
  const std::vector<int>* faceMap = maps ? &maps->getDomainMap() : nullptr;
  const std::size_t n = coords.empty() ? 0 : coords[0].size();
  const auto point = [&](int i) {
    P3 p{0, 0, 0};
    for (std::size_t d = 0; d < coords.size() && d < 3; ++d)
      p[d] = i >= 0 && std::size_t(i) < n ? coords[d][std::size_t(i)] : NAN;
    return p;
  };
  el.resize(9);
  for (std::size_t i = 0; i < el[0].size() && i < el[1].size(); ++i)
    scene.vertex(point(el[0][i]), POINT, el[1][i], mapped(pointMap, el[1][i] - 1));
  for (std::size_t i = 0; i < el[2].size() && i < el[3].size() && i < el[4].size(); ++i)
    scene.polyline({point(el[2][i]), point(el[3][i])}, CURVE, el[4][i],
                   mapped(edgeMap, el[4][i] - 1));
  for (std::size_t i = 0; i < el[5].size() && i < el[8].size(); ++i)
    scene.surface({point(el[5][i]), point(el[6][i]), point(el[7][i])}, nullptr, {{0, 1, 2}}, FACE,
                  el[8][i], mapped(faceMap, el[8][i] - 1));
}

// A projection drawing: its curves (polylines) and points.
void addProjection(const RenderDrawProj2D& g, Scene& scene) {
  for (int i = 0; i < g.getNumberOfPoints(); ++i) {
    const auto& p = g.getPoint(i).getVertex();
    scene.vertex({p.x, p.y, 0}, POINT, i + 1, -1);
  }
  for (int c = 0; c < g.getNumberOfCurves(); ++c) {
    const Curve2D& curve = g.getCurve(c);
    if (!curve.isValid()) continue;
    std::vector<P3> ps;
    for (int v = 0; v < curve.getNumberOfVertices(); ++v) {
      const auto& x = curve.getVertex(v);
      ps.push_back({x.x, x.y, 0});
    }
    scene.polyline(ps, CURVE, c + 1, -1);
  }
}

void addSketch(const RenderDrawEdit2D& sketch, Scene& scene) {
  std::vector<float> box;
  sketch.getBoundingBox(box);
  const BoundingBox2D extent(box[0], box[1], box[2], box[3]);
  const double size = std::max(double(box[1]) - box[0], double(box[3]) - box[2]);
  const double tol = 1e-3 * (std::isfinite(size) && size > 0 ? size : 1.0);
  std::vector<RenderDrawEdit2D::Coord> samples;
  for (int i = 0; i < sketch.getNumEdg(); ++i) {
    const auto& e = sketch.getEdge(i);
    if (e.isDeleted() || e.getCtrlPoints().extent(1) < 3) continue;
    e.evalEdge(tol, extent, 100000, samples);
    std::vector<P3> ps;
    for (const auto& c : samples)
      ps.push_back({float(c.x), float(c.y), 0});
    scene.polyline(ps, CURVE, i + 1, -1);
  }
  for (int i = 0; i < sketch.getNumVtx(); ++i) {
    const auto& v = sketch.getVertex(i);
    if (!v.deleted) scene.vertex({float(v.x), float(v.y), 0}, POINT, i + 1, -1);
  }
}

template <int N>
P3 meshPoint(const RenderMeshVertex<N>& v) {
  if constexpr (N == 1)
    return {v.x, 0, 0};
  else if constexpr (N == 2)
    return {v.x, v.y, 0};
  else
    return {v.x, v.y, v.z};
}

template <int N>
std::vector<P3> meshPoints(const RenderMeshVertices<N>& piece) {
  std::vector<P3> ps;
  for (int i = 0; i < piece.getNumberOfVertices(); ++i)
    ps.push_back(meshPoint<N>(piece.getVertex(i)));
  return ps;
}

template <int N>
void addFaces(const RenderMeshFaces<N>& piece, int entity, Scene& scene) {
  std::vector<std::vector<int>> faces;
  const int* t = piece.getTriangleArray();
  for (int k = 0; k < piece.getNumberOfTriangles(); ++k)
    faces.push_back({t[3 * k], t[3 * k + 1], t[3 * k + 2]});
  const int* q = piece.getQuadArray();
  for (int k = 0; k < piece.getNumberOfQuads(); ++k)
    faces.push_back({q[4 * k], q[4 * k + 1], q[4 * k + 2], q[4 * k + 3]});
  scene.surface(meshPoints(piece), nullptr, faces, MESH_PIECE, entity, -1);
}

bool addMeshPiece(const nkbase::Serializable& object, int entity, Scene& scene) {
  if (const auto* p = dynamic_cast<const RenderMeshBoundary3D*>(&object)) {
    addFaces(*p, entity, scene);
  } else if (const auto* p = dynamic_cast<const RenderMeshSubdomain2D*>(&object)) {
    addFaces(*p, entity, scene);
  } else if (const auto* p = dynamic_cast<const RenderMeshEdge3D*>(&object)) {
    scene.polyline(meshPoints(*p), MESH_PIECE, entity, -1);
  } else if (const auto* p = dynamic_cast<const RenderMeshBoundary2D*>(&object)) {
    scene.polyline(meshPoints(*p), MESH_PIECE, entity, -1);
  } else if (const auto* p = dynamic_cast<const RenderMeshSubdomain1D*>(&object)) {
    scene.polyline(meshPoints(*p), MESH_PIECE, entity, -1);
  } else {
    return false;
  }
  return true;
}

// Plot data: per block its vertices (two or three coordinate columns) and its elements (one
// index column per corner: 1 a point, 2 a segment, 3 or more a polygon).
void addPlot(const PostDataObject& plot, Scene& scene) {
  for (int g = 0; g < plot.getGroups(); ++g) {
    const auto& v = plot.getVertices(g);
    const std::size_t n = v.empty() ? 0 : v[0].size();
    std::vector<P3> ps(n, P3{0, 0, 0});
    for (std::size_t d = 0; d < v.size() && d < 3; ++d)
      for (std::size_t i = 0; i < n; ++i)
        ps[i][d] = i < v[d].size() ? float(v[d][i]) : NAN;
    int first = 0;
    if (!scene.addPoints(ps, nullptr, PLOT_BLOCK, g + 1, first)) continue;
    const auto& e = plot.getElementIndices(g);
    const std::size_t m = e.empty() ? 0 : e[0].size();
    for (std::size_t k = 0; k < m; ++k) {
      std::vector<int> ids;
      bool ok = true;
      for (const auto& column : e) {
        ok = ok && k < column.size() && column[k] >= 0 && std::size_t(column[k]) < n;
        if (ok) ids.push_back(first + column[k]);
      }
      if (!ok) continue;
      auto& cells = ids.size() == 1 ? scene.verts : ids.size() == 2 ? scene.lines : scene.polys;
      scene.add(cells, ids, PLOT_BLOCK, g + 1, -1);
    }
  }
}

Scene sceneOf(const nkbase::Serializable& object, const std::string& path) {
  Scene scene;
  if (const auto* g3 = dynamic_cast<const RenderDrawGeom3D*>(&object)) {
    add3D(*g3, scene);
  } else if (const auto* proj = dynamic_cast<const RenderDrawProj2D*>(&object)) {
    addProjection(*proj, scene);
  } else if (const auto* sketch = dynamic_cast<const RenderDrawEdit2D*>(&object)) {
    addSketch(*sketch, scene);
  } else if (const auto* g = dynamic_cast<const RenderDrawGeom*>(&object)) {
    try {
      addRenderArrays(*g, scene);
    } catch (const nkbase::Exception& e) {
      throw ToolError(
          1, path + ": " + object.getClassID() + " has no drawable arrays (" + e.getCode() + ")");
    }
  } else if (const auto* meshes = dynamic_cast<const RenderMeshCollection*>(&object)) {
    for (int i = 0; i < meshes->getNumberOfRenderMeshs(); ++i)
      if (meshes->getRenderMesh(i)) addMeshPiece(*meshes->getRenderMesh(i), i + 1, scene);
  } else if (const auto* plot = dynamic_cast<const PostDataObject*>(&object)) {
    addPlot(*plot, scene);
  } else if (!addMeshPiece(object, 1, scene)) {
    throw ToolError(1, path + ": " + object.getClassID() +
                           " is not a drawing, geometry map, mesh or plot data object");
  }
  return scene;
}

std::string num(float v) {
  std::ostringstream s;
  s << std::setprecision(9) << v;
  return s.str();
}

void writeCells(const std::vector<Cell>& cells, const char* element, std::ostream& out) {
  out << "      <" << element << ">\n        <DataArray type=\"Int32\" Name=\"connectivity\" "
      << "format=\"ascii\">";
  for (const Cell& c : cells)
    for (int id : c.ids)
      out << " " << id;
  out << "</DataArray>\n        <DataArray type=\"Int32\" Name=\"offsets\" format=\"ascii\">";
  long long offset = 0;
  for (const Cell& c : cells) {
    offset += static_cast<long long>(c.ids.size());
    out << " " << offset;
  }
  out << "</DataArray>\n      </" << element << ">\n";
}

void writeVtp(const Scene& s, std::ostream& out) {
  out << "<?xml version=\"1.0\"?>\n"
         "<VTKFile type=\"PolyData\" version=\"0.1\" byte_order=\"LittleEndian\">\n"
         "  <PolyData>\n"
      << "    <Piece NumberOfPoints=\"" << s.points.size() << "\" NumberOfVerts=\""
      << s.verts.size() << "\" NumberOfLines=\"" << s.lines.size()
      << "\" NumberOfStrips=\"0\" NumberOfPolys=\"" << s.polys.size() << "\">\n";
  if (!s.normals.empty()) {
    out << "      <PointData Normals=\"Normals\">\n        <DataArray type=\"Float32\" "
           "Name=\"Normals\" NumberOfComponents=\"3\" format=\"ascii\">";
    for (const P3& n : s.normals)
      out << " " << num(n[0]) << " " << num(n[1]) << " " << num(n[2]);
    out << "</DataArray>\n      </PointData>\n";
  }
  // Cell data follow the cells' order in the file: vertices, lines, strips, polygons.
  const auto cellArray = [&](const char* name, auto value) {
    out << "        <DataArray type=\"Int32\" Name=\"" << name << "\" format=\"ascii\">";
    for (const auto* cells : {&s.verts, &s.lines, &s.polys})
      for (const Cell& c : *cells)
        out << " " << value(c);
    out << "</DataArray>\n";
  };
  out << "      <CellData Scalars=\"entity\">\n";
  cellArray("kind", [](const Cell& c) { return c.kind; });
  cellArray("entity", [](const Cell& c) { return c.entity; });
  if (s.tags) cellArray("tag", [](const Cell& c) { return c.tag; });
  out << "      </CellData>\n      <Points>\n        <DataArray type=\"Float32\" "
         "NumberOfComponents=\"3\" format=\"ascii\">";
  for (const P3& p : s.points)
    out << " " << num(p[0]) << " " << num(p[1]) << " " << num(p[2]);
  out << "</DataArray>\n      </Points>\n";
  writeCells(s.verts, "Verts", out);
  writeCells(s.lines, "Lines", out);
  writeCells(s.polys, "Polys", out);
  out << "    </Piece>\n  </PolyData>\n</VTKFile>\n";
}

// OBJ: the points (with normals where the carrier has them), then one group per entity.
void writeObj(const Scene& s, std::ostream& out) {
  out << "# " << s.points.size() << " points, " << s.verts.size() << " point cells, "
      << s.lines.size() << " polylines, " << s.polys.size() << " polygons\n";
  for (const P3& p : s.points)
    out << "v " << num(p[0]) << " " << num(p[1]) << " " << num(p[2]) << "\n";
  for (const P3& n : s.normals)
    out << "vn " << num(n[0]) << " " << num(n[1]) << " " << num(n[2]) << "\n";
  const bool normals = !s.normals.empty();
  int kind = -1, entity = -1;
  for (const auto* cells : {&s.verts, &s.lines, &s.polys})
    for (const Cell& c : *cells) {
      if (c.kind != kind || c.entity != entity) {
        kind = c.kind;
        entity = c.entity;
        std::string name = kKindNames[kind];
        for (char& ch : name)
          if (ch == ' ') ch = '_';
        out << "g " << name << "_" << entity;
        if (c.tag >= 0) out << "_tag_" << c.tag;
        out << "\n";
      }
      out << (c.ids.size() == 1 ? "p" : c.ids.size() == 2 || cells == &s.lines ? "l" : "f");
      for (int id : c.ids) {
        out << " " << id + 1;
        if (normals && cells == &s.polys) out << "//" << id + 1;
      }
      out << "\n";
    }
}

}  // namespace

void runExport(const std::string& in, const std::string& outPath, bool verbose, std::ostream& log) {
  const std::string ext = std::filesystem::path(outPath).extension().string();
  if (ext != ".vtp" && ext != ".obj")
    throw ToolError(1, outPath + ": unknown export format (use .vtp or .obj)");
  const LoadedCarrier carrier = loadCarrier(in);
  const Scene scene = sceneOf(*carrier.object, in);
  std::ostringstream text;
  if (ext == ".vtp")
    writeVtp(scene, text);
  else
    writeObj(scene, text);
  std::error_code ec;
  if (std::filesystem::is_directory(outPath, ec)) throw ToolError(1, outPath + ": is a directory");
  std::ofstream file(outPath, std::ios::trunc);
  file << text.str();
  file.flush();
  if (!file) throw ToolError(1, outPath + ": cannot write");
  if (verbose) {
    log << in << " -> " << outPath << ": " << scene.points.size() << " points, "
        << scene.verts.size() << " vertices, " << scene.lines.size() << " lines, "
        << scene.polys.size() << " polygons\n";
  }
}

}  // namespace dctool
