#include "demosamples.h"

#include <algorithm>
#include <array>
#include <cmath>

#include "datacarrier/cgsymboldata.h"
#include "datacarrier/impression.h"
#include "datacarrier/postdataobject.h"
#include "datacarrier/renderdraw1d.h"
#include "datacarrier/renderdraw2d.h"
#include "datacarrier/renderdraw3d.h"
#include "datacarrier/renderdrawedit2d.h"
#include "datacarrier/renderdrawproj2d.h"
#include "datacarrier/rendergeom2d.h"
#include "datacarrier/rendermeshboundary2d.h"
#include "datacarrier/rendermeshcollection.h"
#include "datacarrier/rendermeshsubdomain2d.h"
#include "qvutil/array.h"

namespace dctool {

namespace {

using namespace nkdatacarrier;

DemoSample impressionSample() {
  auto imp = std::make_shared<Impression>(7);
  // A cross imprinted on the plate: two lines.
  imp->allocate(2);
  imp->addLine(1.0f, 0.5f);
  imp->addLine(3.0f, 1.5f);
  imp->addLine(1.0f, 1.5f);
  imp->addLine(3.0f, 0.5f);
  imp->setBoundingBox2D(BoundingBox2D(1.0f, 3.0f, 0.5f, 1.5f));
  return {"impression", "Imprinted lines: a cross on the plate", imp, [imp](std::ostream& out) {
            out << "  " << imp->getNumberOfLines() << " lines; data-carrier type "
                << imp->getDataCarrierType() << "; a reader restores the box and keeps no lines\n";
          }};
}

DemoSample symbolSample() {
  auto sym = std::make_shared<CgSymbolData>();
  sym->setString("kind", "fixed support");
  sym->setInt("node", 42);
  sym->setDouble("size", 2.5);
  sym->setVectorDouble("direction", {0.0, -1.0, 0.0});
  return {"symbol", "Symbol data of a fixed support", sym, [sym](std::ostream& out) {
            out << "  got(\"node\") " << std::boolalpha << sym->got("node") << ", node "
                << sym->getInt("node") << ", direction y " << sym->getVectorDouble("direction")[1]
                << "\n";
          }};
}

using Pairs = std::vector<std::vector<std::pair<int, int>>>;

// The plate of the drawing samples: 4 x 2 with a round hole of radius 0.5, left of the middle
// and above it, so that a picture shows which way is up.
constexpr double kPlateW = 4.0;
constexpr double kPlateH = 2.0;
constexpr double kHoleX = 1.5;
constexpr double kHoleY = 1.25;
constexpr double kHoleR = 0.5;
constexpr int kHoleSides = 32;
constexpr double kPi = 3.14159265358979323846;

struct XY {
  float x, y;
};

// Where the ray from the hole's centre at angle `a` leaves the plate.
XY rimPoint(double a) {
  const double c = std::cos(a), s = std::sin(a);
  double t = 1e300;
  if (c > 1e-12) t = std::min(t, (kPlateW - kHoleX) / c);
  if (c < -1e-12) t = std::min(t, -kHoleX / c);
  if (s > 1e-12) t = std::min(t, (kPlateH - kHoleY) / s);
  if (s < -1e-12) t = std::min(t, -kHoleY / s);
  return {float(kHoleX + t * c), float(kHoleY + t * s)};
}

void setCurve(Curve2D& curve, const std::vector<XY>& pts, int up, int down) {
  curve.reserve(static_cast<int>(pts.size()));
  float x0 = pts[0].x, x1 = pts[0].x, y0 = pts[0].y, y1 = pts[0].y;
  for (const XY& p : pts) {
    curve.appendVertex(p.x, p.y);
    x0 = std::min(x0, p.x), x1 = std::max(x1, p.x), y0 = std::min(y0, p.y), y1 = std::max(y1, p.y);
  }
  curve.setBoundingBox2D(BoundingBox2D(x0, x1, y0, y1));
  curve.setUp(up);
  curve.setDown(down);
  curve.setValid(true);
}

// The plate as one face, triangulated as a ring between the hole (a regular polygon) and the
// rim (the rays of the hole's vertices meeting the outline, plus the four corners); its
// outline as four edge curves and the hole as one closed curve; the corners and the hole's
// start as points; and the six adjacency relations.
std::shared_ptr<RenderDraw2D> makePlate() {
  auto plate = std::make_shared<RenderDraw2D>(static_cast<RenderDrawGeom2D::Type2D>(7), 100);
  plate->setLabel("plate with a hole");
  const XY corners[4] = {{float(kPlateW), float(kPlateH)},
                         {0.0f, float(kPlateH)},
                         {0.0f, 0.0f},
                         {float(kPlateW), 0.0f}};
  const double cornerAngle[4] = {
      std::atan2(kPlateH - kHoleY, kPlateW - kHoleX), std::atan2(kPlateH - kHoleY, -kHoleX),
      std::atan2(-kHoleY, -kHoleX) + 2 * kPi, std::atan2(-kHoleY, kPlateW - kHoleX) + 2 * kPi};
  std::vector<XY> verts;
  std::vector<int> tris;
  for (int k = 0; k < kHoleSides; ++k) {
    const double a = 2 * kPi * k / kHoleSides;
    verts.push_back({float(kHoleX + kHoleR * std::cos(a)), float(kHoleY + kHoleR * std::sin(a))});
    verts.push_back(rimPoint(a));
  }
  for (int k = 0; k < kHoleSides; ++k) {
    const int in0 = 2 * k, out0 = 2 * k + 1;
    const int in1 = 2 * ((k + 1) % kHoleSides), out1 = in1 + 1;
    const double a0 = 2 * kPi * k / kHoleSides, a1 = 2 * kPi * (k + 1) / kHoleSides;
    int last = out0;
    for (int c = 0; c < 4; ++c) {
      if (cornerAngle[c] > a0 && cornerAngle[c] < a1) {
        verts.push_back(corners[c]);
        const int corner = static_cast<int>(verts.size()) - 1;
        tris.insert(tris.end(), {in0, last, corner});
        last = corner;
      }
    }
    tris.insert(tris.end(), {in0, last, out1, in0, out1, in1});
  }
  plate->allocate(1, 5, 5);
  Face2D& face = plate->face(0);
  face.allocate(static_cast<int>(verts.size()), static_cast<int>(tris.size() / 3));
  for (std::size_t v = 0; v < verts.size(); ++v)
    face.setVertex(int(v), verts[v].x, verts[v].y);
  for (std::size_t t = 0; t < tris.size() / 3; ++t) {
    face.setTriangle(int(t), tris[3 * t], tris[3 * t + 1], tris[3 * t + 2]);
  }
  face.setBoundingBox2D(BoundingBox2D(0.0, kPlateW, 0.0, kPlateH));
  face.setValid(true);

  // Edges: right, top, left, bottom (counter-clockwise); the face is on their up side.
  const XY c0 = corners[3], c1 = corners[0], c2 = corners[1], c3 = corners[2];
  setCurve(plate->curve(0), {c0, c1}, 0, -1);
  setCurve(plate->curve(1), {c1, c2}, 0, -1);
  setCurve(plate->curve(2), {c2, c3}, 0, -1);
  setCurve(plate->curve(3), {c3, c0}, 0, -1);
  std::vector<XY> hole;
  for (int k = 0; k <= kHoleSides; ++k)
    hole.push_back(verts[2 * (k % kHoleSides)]);
  setCurve(plate->curve(4), hole, -1, 0);  // closed: its last vertex is its first

  const XY pts[5] = {c0, c1, c2, c3, hole[0]};
  for (int p = 0; p < 5; ++p)
    plate->point(p).setVertex(pts[p].x, pts[p].y);
  plate->setBoundingBox2D(BoundingBox2D(0.0, kPlateW, 0.0, kPlateH));

  plate->setFaceToCurveAdjacent(Pairs{{{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, -1}}});
  plate->setCurveToPointAdjacent(Pairs{
      {{0, 0}, {1, 0}}, {{1, 0}, {2, 0}}, {{2, 0}, {3, 0}}, {{3, 0}, {0, 0}}, {{4, 0}, {4, 0}}});
  plate->setFaceToPointAdjacent(Pairs{{{0, 0}, {1, 0}, {2, 0}, {3, 0}, {4, 0}}});
  plate->setPointToCurveAdjacent(
      Pairs{{{3, 0}, {0, 0}}, {{0, 0}, {1, 0}}, {{1, 0}, {2, 0}}, {{2, 0}, {3, 0}}, {{4, 0}}});
  // Faces counted from 1 here; 0 would mean "no face".
  plate->setPointToFaceAdjacent(Pairs{{{1, 0}}, {{1, 0}}, {{1, 0}}, {{1, 0}}, {{1, 0}}});
  plate->setCurveToFaceAdjacent(Pairs{{{1, 0}}, {{1, 0}}, {{1, 0}}, {{1, 0}}, {{1, 0}, {0, 0}}});

  std::vector<std::vector<double>> snap = {{0, kPlateW, kPlateW, 0, kHoleX},
                                           {0, 0, kPlateH, kPlateH, kHoleY}};
  plate->setSnapCoord(snap);
  return plate;
}

DemoSample drawingSample() {
  auto plate = makePlate();
  return {
      "drawing2d", "2D drawing: a 4 x 2 plate with a hole", plate,
      [plate](std::ostream& out) {
        std::vector<int> all = {0};
        out << "  face area " << plate->getVolume(2, all) << " (8 - hole), boundary length "
            << plate->getBndArea(2, all) << "\n";
        std::vector<int> curves = {0, 1, 2, 3, 4};
        std::vector<int> found;
        // A box around the hole: which curves touch it, which lie inside it.
        const std::vector<double> box = {kHoleX - 0.6, kHoleX + 0.6, kHoleY - 0.6, kHoleY + 0.6};
        plate->findEntitiesInBox(box, 1, false, curves, found);
        out << "  curves touching the box [" << box[0] << ", " << box[1] << "] x [" << box[2]
            << ", " << box[3] << "]:";
        for (int c : found)
          out << " " << c;
        found.clear();
        plate->findEntitiesInBox(box, 1, true, curves, found);
        out << "; inside it:";
        for (int c : found)
          out << " " << c;
        found.clear();
        plate->findEntitiesInBall({0.0, 0.0}, 0.5, 1, false, curves, found);
        out << "; curves touching the ball of radius 0.5 at the corner (0, 0):";
        for (int c : found)
          out << " " << c;
        out << "\n";
      },
      true};
}

// The plate as a geometry map: its drawing, with the model numbering its edges from the hole.
DemoSample geometryMapSample() {
  const auto plate = makePlate();
  auto map = std::make_shared<RenderGeom2D>(400);
  map->setLabel("plate geometry");
  map->allocate(1, 5, 5);
  map->face(0) = plate->getFace(0);
  for (int c = 0; c < 5; ++c)
    map->curve(c) = plate->getCurve(c);
  for (int p = 0; p < 5; ++p)
    map->point(p) = plate->getPoint(p);
  map->setBoundingBox2D(plate->getBoundingBox());
  map->faceToCurveAdjacent() = plate->getFaceToCurveAdjacent();
  map->curveToPointAdjacent() = plate->getCurveToPointAdjacent();
  map->faceToPointAdjacent() = plate->getFaceToPointAdjacent();
  map->pointToCurveAdjacent() = plate->getPointToCurveAdjacent();
  map->pointToFaceAdjacent() = plate->getPointToFaceAdjacent();
  map->curveToFaceAdjacent() = plate->getCurveToFaceAdjacent();
  map->initPointMap(5);                   // the same points: the identity
  map->initEdgeMap(5) = {1, 2, 3, 4, 0};  // the hole is the model's edge 0
  map->initDomainMap(1);
  return {"geommap2d", "2D geometry map: the plate in the model's numbering", map,
          [map](std::ostream& out) {
            out << "  rendered curve 4 is model edge " << map->getEdgeMap()[4] << " of "
                << map->getNumGeomEdge() << "; face 0 is domain " << map->getDomainMap()[0] << "\n";
          }};
}

// The plate's mesh, without its hole: a 4 x 2 grid of unit quads whose last cell is split into
// two triangles, and the outline as a boundary piece.
DemoSample meshSample() {
  auto mesh = std::make_shared<RenderMeshCollection>(2);
  auto domain = std::make_shared<RenderMeshSubdomain2D>(0);
  domain->reserve(15, 2, 7);
  for (int j = 0; j <= 2; ++j) {
    for (int i = 0; i <= 4; ++i)
      domain->appendVertex(float(i), float(j));
  }
  for (int j = 0; j < 2; ++j) {
    for (int i = 0; i < 4; ++i) {
      const int v = 5 * j + i;
      if (i == 3 && j == 1) {
        domain->appendTriangle(v, v + 1, v + 6);
        domain->appendTriangle(v, v + 6, v + 5);
      } else {
        domain->appendQuad(v, v + 1, v + 6, v + 5);
      }
    }
  }
  domain->reservePaths(1, 0);
  ClosedPath2D& outline = domain->bndPath(0);
  outline.allocate(4);
  outline.setVertex(0, 0, 0);
  outline.setVertex(1, float(kPlateW), 0);
  outline.setVertex(2, float(kPlateW), float(kPlateH));
  outline.setVertex(3, 0, float(kPlateH));
  domain->setValid(true);
  auto boundary = std::make_shared<RenderMeshBoundary2D>(1);
  const int ring[13] = {0, 1, 2, 3, 4, 9, 14, 13, 12, 11, 10, 5, 0};
  boundary->reserve(13);
  for (int v : ring)
    boundary->appendVertex(domain->getVertex(v).x, domain->getVertex(v).y);
  boundary->setValid(true);
  mesh->addRenderMesh(domain);
  mesh->addRenderMesh(boundary);
  return {"mesh", "Render mesh: the plate meshed in quads and triangles", mesh,
          [mesh](std::ostream& out) {
            out << "  " << mesh->getNumberOfRenderMeshs() << " pieces in " << mesh->getSDim()
                << "D; data-carrier type " << mesh->getDataCarrierType() << "\n";
          }};
}

// The plate seen from the front: its outline and, hidden behind it, the hole's silhouette.
DemoSample projectionSample() {
  auto proj = std::make_shared<RenderDrawProj2D>(200);
  proj->setLabel("plate, front view");
  proj->allocate(6, 4);
  const float t = 0.5f;  // the plate's thickness
  setCurve(proj->curve(0), {{0, 0}, {float(kPlateW), 0}}, -1, -1);
  setCurve(proj->curve(1), {{float(kPlateW), 0}, {float(kPlateW), t}}, -1, -1);
  setCurve(proj->curve(2), {{float(kPlateW), t}, {0, t}}, -1, -1);
  setCurve(proj->curve(3), {{0, t}, {0, 0}}, -1, -1);
  setCurve(proj->curve(4), {{float(kHoleX - kHoleR), 0}, {float(kHoleX - kHoleR), t}}, -1, -1);
  setCurve(proj->curve(5), {{float(kHoleX + kHoleR), 0}, {float(kHoleX + kHoleR), t}}, -1, -1);
  for (int c = 0; c < 6; ++c)
    proj->setCurveType(c, c < 4 ? 1 : 2);  // 1 visible, 2 hidden
  const XY pts[4] = {{0, 0}, {float(kPlateW), 0}, {float(kPlateW), t}, {0, t}};
  for (int p = 0; p < 4; ++p) {
    proj->point(p).setVertex(pts[p].x, pts[p].y);
    proj->setPointType(p, 1);
  }
  proj->setBoundingBox2D(BoundingBox2D(0.0f, float(kPlateW), 0.0f, t));
  std::vector<std::vector<double>> snap = {{0, kPlateW}, {0, 0}};
  proj->setSnapCoord(snap);
  return {"projection", "Projection drawing: the plate from the front", proj,
          [proj](std::ostream& out) {
            std::vector<float> box;
            proj->getBoundingBox(box);
            out << "  " << proj->getNumberOfCurves() << " curves (" << 2
                << " hidden), bounding box " << box[0] << " .. " << box[1] << " x " << box[2]
                << " .. " << box[3] << "\n";
          },
          true};
}

// A bar on the line from 0 to 4, in two curves meeting at 2.5.
DemoSample lineSample() {
  auto bar = std::make_shared<RenderDraw1D>(static_cast<RenderDrawGeom1D::Type1D>(10), 300);
  bar->setLabel("bar");
  bar->allocate(2, 3);
  const float ends[3] = {0.0f, 2.5f, 4.0f};
  for (int c = 0; c < 2; ++c) {
    Curve1D& curve = bar->curve(c);
    curve.allocate(2);
    curve.setVertex(0, ends[c]);
    curve.setVertex(1, ends[c + 1]);
    curve.setBoundingBox1D(BoundingBox1D(ends[c], ends[c + 1]));
    curve.setValid(true);
  }
  for (int p = 0; p < 3; ++p)
    bar->point(p).setVertex(ends[p]);
  bar->setBoundingBox1D(BoundingBox1D(0.0f, 4.0f));
  std::vector<double> snap = {0.0, 2.5, 4.0};
  bar->setSnapCoord(snap);
  return {"drawing1d", "1D drawing: a bar in two pieces", bar, [bar](std::ostream& out) {
            std::vector<int> found;
            bar->findEntitiesInBox({2.0, 3.0}, 1, false, {0, 1}, found);
            out << "  length " << bar->getVolume(1, {0, 1})
                << "; curves touching [2, 3]: " << found.size() << "\n";
          }};
}

// A stress plot on the 4 x 2 plate: two triangles with a value at each corner.
DemoSample plotSample() {
  using DoubleArrays = PostDataObject::DoubleArrays;
  using IntArrays = PostDataObject::IntArrays;
  PostDataInfo info;
  info.setIndex(PostDataInfo::DT_VALUE, 0);
  auto plot = std::make_shared<PostDataObject>(PostDataObject::DEFAULT_TYPE, info, 1);
  plot->addVertices(std::make_shared<DoubleArrays>(DoubleArrays{{0, 4, 4, 0}, {0, 0, 2, 2}}));
  plot->addElementIndices(std::make_shared<IntArrays>(IntArrays{{0, 0}, {1, 2}, {2, 3}}));
  plot->addData(std::make_shared<DoubleArrays>(DoubleArrays{{10, 30, 50, 20}}));
  plot->addDataMax(std::make_shared<std::vector<double>>(std::vector<double>{50}));
  plot->addDataMin(std::make_shared<std::vector<double>>(std::vector<double>{10}));
  plot->setBounds(std::make_shared<DoubleArrays>(DoubleArrays{{0, 4}, {0, 2}, {0, 0}}));
  plot->setProperty("quantity", "von Mises stress");
  plot->setProperty("unit", "MPa");
  return {"plot", "Plot data: a stress plot on the plate", plot, [plot](std::ostream& out) {
            // Probe along the vertical line through (3, 1).
            Array<double, 1> a{3.0, 1.0, 1.0};
            Array<double, 1> b{3.0, 1.0, -1.0};
            std::vector<double> params, values;
            std::vector<std::vector<double>> normals;
            plot->findLineTriangleIntersections(a, b, params, values, normals);
            out << "  " << plot->getProperty("quantity") << " in " << plot->getProperty("unit")
                << ", " << plot->getDataMin(PostDataInfo::DT_VALUE) << " .. "
                << plot->getDataMax(PostDataInfo::DT_VALUE) << "; the line through (3, 1) hits "
                << params.size() << " triangle(s), value " << (values.empty() ? 0.0 : values[0])
                << "\n";
          }};
}

// An editable sketch of a closed profile: a line, a quarter circle of degree 2 (radius 1,
// centre (2, 1)), a cubic S-curve and a line back, joined at four vertices. A fifth vertex,
// deleted by the editor, travels along but is not drawn.
DemoSample sketchSample() {
  using Edge = RenderDrawEdit2D::Edge;
  auto sketch = std::make_shared<RenderDrawEdit2D>(400);
  sketch->setLabel("profile sketch");
  const double xy[4][2] = {{0, 0}, {2, 0}, {3, 1}, {0, 2}};
  for (const auto& v : xy)
    sketch->addVertex({false, false, v[0], v[1]});
  sketch->addVertex({true, false, 1, 1});
  // Control points as (x, y, w), stored weighted.
  const auto ctrl = [](const std::vector<std::array<double, 3>>& points) {
    Array<double, 2> a(static_cast<int>(points.size()), 3);
    for (int i = 0; i < a.extent(0); ++i) {
      const auto& p = points[static_cast<std::size_t>(i)];
      a(i, 0) = p[2] * p[0];
      a(i, 1) = p[2] * p[1];
      a(i, 2) = p[2];
    }
    return a;
  };
  sketch->addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{0, 0, 1}, {2, 0, 1}}), 0, 1));
  sketch->addEdge(
      Edge(2, {0, 0, 0, 1, 1, 1}, ctrl({{2, 0, 1}, {3, 0, std::sqrt(0.5)}, {3, 1, 1}}), 1, 2));
  sketch->addEdge(Edge(3, {0, 0, 0, 0, 1, 1, 1, 1},
                       ctrl({{3, 1, 1}, {3, 2.6, 1}, {1.2, 0.8, 1}, {0, 2, 1}}), 2, 3));
  sketch->addEdge(Edge(1, {0, 0, 1, 1}, ctrl({{0, 2, 1}, {0, 0, 1}}), 3, 0));
  return {"sketch", "Editable sketch: a line, a quarter circle, a cubic and a line", sketch,
          [sketch](std::ostream& out) {
            std::vector<float> box;
            sketch->getBoundingBox(box);
            double x = 0, y = 0;
            sketch->getEdge(1).evalCoord(0.5, x, y);
            std::vector<RenderDrawEdit2D::Coord> polyline;
            sketch->getEdge(2).evalEdge(1e-3, BoundingBox2D(box[0], box[1], box[2], box[3]), 1000,
                                        polyline);
            RenderDrawEdit2D moved = *sketch;
            std::vector<int> changed;
            moved.setVertexCoord(1, 2, -0.5, changed);
            out << "  " << sketch->getNumVtx() << " vertices (1 deleted), " << sketch->getNumEdg()
                << " edges; extent " << box[0] << " .. " << box[1] << " x " << box[2] << " .. "
                << box[3] << "\n  the arc at u = 1/2 lies " << std::hypot(x - 2, y - 1)
                << " from its centre; the cubic is drawn with " << polyline.size()
                << " points; moving vertex 1 changes edges";
            for (int e : changed)
              out << " " << e;
            out << "\n";
          },
          true};
}

// A 2 x 1 x 1 block as one solid: six sheets of two triangles each, counter-clockwise seen
// from outside with outward normals, the solid on their inner side (orientation -1).
DemoSample drawing3dSample() {
  static const float kCorners[6][4][3] = {
      {{0, 0, 0}, {0, 0, 1}, {0, 1, 1}, {0, 1, 0}}, {{2, 0, 0}, {2, 1, 0}, {2, 1, 1}, {2, 0, 1}},
      {{0, 0, 0}, {2, 0, 0}, {2, 0, 1}, {0, 0, 1}}, {{0, 1, 0}, {0, 1, 1}, {2, 1, 1}, {2, 1, 0}},
      {{0, 0, 0}, {0, 1, 0}, {2, 1, 0}, {2, 0, 0}}, {{0, 0, 1}, {2, 0, 1}, {2, 1, 1}, {0, 1, 1}}};
  static const float kNormals[6][3] = {{-1, 0, 0}, {1, 0, 0},  {0, -1, 0},
                                       {0, 1, 0},  {0, 0, -1}, {0, 0, 1}};
  auto block = std::make_shared<RenderDraw3D>(RenderDrawGeom3D::DRAW_3D_A, 300);
  block->setLabel("block");
  block->allocate(1, 6, 0, 0);
  RenderDrawGeom::AdjacencyLists solidToSheet(2);
  RenderDrawGeom::AdjacencyLists sheetToSolid;
  for (int f = 0; f < 6; ++f) {
    Sheet3D& s = block->sheet(f);
    s.allocate(4, 2);
    float lo[3] = {2, 1, 1};
    float hi[3] = {0, 0, 0};
    for (int v = 0; v < 4; ++v) {
      const float* c = kCorners[f][v];
      s.setVertex(v, c[0], c[1], c[2], kNormals[f][0], kNormals[f][1], kNormals[f][2]);
      for (int k = 0; k < 3; ++k) {
        lo[k] = std::min(lo[k], c[k]);
        hi[k] = std::max(hi[k], c[k]);
      }
    }
    s.setTriangle(0, 0, 1, 2);
    s.setTriangle(1, 0, 2, 3);
    s.setBoundingBox3D(BoundingBox3D(lo[0], hi[0], lo[1], hi[1], lo[2], hi[2]));
    s.setUp(-1);  // the outside
    s.setDown(0);
    s.setValid(true);
    s.setComplete(true);
    solidToSheet[1].push_back({f, 0});
  }
  block->setSolidToSheetAdjacent(solidToSheet);
  Adjacent& sides = block->sheetToSolidAdjacent();
  sides.allocate(6, 6);
  for (int f = 0; f < 6; ++f)
    sides.setAdjacent(f, std::vector<std::pair<int, int>>{{0, -1}});
  block->setBoundingBox3D(BoundingBox3D(0.0f, 2.0f, 0.0f, 1.0f, 0.0f, 1.0f));
  block->setBoundingBoxSolid(0, BoundingBox3D(0.0f, 2.0f, 0.0f, 1.0f, 0.0f, 1.0f));
  return {"drawing3d", "3D drawing: a 2 x 1 x 1 block", block, [block](std::ostream& out) {
            std::vector<std::vector<double>> hits;
            block->findLineIntersections({0.5, 0.5, -1.0}, {0.5, 0.5, 2.0}, hits);
            out << "  volume " << block->getVolume(3, {0}) << ", boundary area "
                << block->getBndArea(3, {0}) << "; (1, 0.5, 0.5) inside: "
                << (block->pointInSolid({1.0, 0.5, 0.5}, 0) ? "yes" : "no")
                << "; a vertical pick hits " << hits.size() << " sheet(s)\n";
          }};
}

}  // namespace

std::vector<DemoSample> demoSamples() {
  return {drawingSample(),     projectionSample(), sketchSample(),     lineSample(),
          drawing3dSample(),   plotSample(),       impressionSample(), symbolSample(),
          geometryMapSample(), meshSample()};
}

}  // namespace dctool
