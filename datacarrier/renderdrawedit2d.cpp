#include "datacarrier/renderdrawedit2d.h"

#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <stdexcept>

#include "qvutil/nkmath.h"

namespace nkdatacarrier {

namespace {

// Degrees up to this minus one keep the basis scratch on the stack.
constexpr int kStackBasis = 10;

// Fewest bytes of a vertex in the stream (two bools, two doubles) and of an edge (two flags,
// degree, two vertices and the box flag: 15; the nested box with its 19-character identifier:
// 43; the knot count and the two control-point extents: 12).
constexpr std::size_t kVertexBytes = 18;
constexpr std::size_t kEdgeBytes = 70;

// The non-zero B-spline basis functions N[0..p] at u on span s, by the triangular recurrence.
// left and right hold p + 1 entries of scratch. A zero denominator is not guarded: it only
// occurs for knots the producer must not send.
void basisFunctions(const double* U, int s, double u, int p, double* N, double* left,
                    double* right) {
  N[0] = 1.0;
  for (int j = 1; j <= p; ++j) {
    left[j] = u - U[s + 1 - j];
    right[j] = U[s + j] - u;
    double saved = 0.0;
    for (int r = 0; r < j; ++r) {
      const double temp = N[r] / (right[r + 1] + left[j - r]);
      N[r] = saved + right[r + 1] * temp;
      saved = left[j - r] * temp;
    }
    N[j] = saved;
  }
}

// Position of the first of the n sorted values that is strictly greater than u (n when none
// is), as std::upper_bound finds it. The halving step picks its half by a conditional move
// instead of a branch: random parameters would mispredict about every other step, which costs
// more than the evaluation itself.
std::size_t upperBound(const double* values, std::size_t n, double u) {
  if (n == 0) return 0;
  const double* base = values;
  while (n > 1) {
    const std::size_t half = n / 2;
    base = u < base[half] ? base : base + half;
    n -= half;
  }
  return static_cast<std::size_t>(base - values) + (u < *base ? 0 : 1);
}

// A cached box in the stream: heading "bounding box", the flag, the framed box, an empty label.
void writeCachedBox(OSerialStream& os, nkbase::Prop& prop, bool valid, const BoundingBox2D& box) {
  os.label("bounding box");
  os << valid;
  os.label("bb valid");
  box.serialize(os, prop);
  os.label("");
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Edge

RenderDrawEdit2D::Edge::Edge() = default;

RenderDrawEdit2D::Edge::Edge(int degree, const std::vector<double>& knots,
                             const Array<double, 2>& ctrl, int startVertex, int endVertex)
    : deleted_(false),
      degree_(degree),
      knots_(knots),
      ctrl_(ctrl),
      startVertex_(startVertex),
      endVertex_(endVertex) {}

RenderDrawEdit2D::Edge::~Edge() = default;

RenderDrawEdit2D::Coord RenderDrawEdit2D::Edge::getCtrlPoint(int i) const {
  return Coord{static_cast<float>(getCtrlXCoord(i)), static_cast<float>(getCtrlYCoord(i)), 0.0f};
}

void RenderDrawEdit2D::Edge::setCtrlPoint(int i, double x, double y) {
  if (i >= 0 && i < ctrl_.extent(0) && ctrl_.extent(1) >= 3) {
    const double w = ctrl_(i, 2);
    ctrl_(i, 0) = w * x;
    ctrl_(i, 1) = w * y;
  }
  boxValid_ = false;
  modified_ = true;
}

int RenderDrawEdit2D::Edge::findSpan(double u) const {
  const int p = degree_;
  // First knot strictly greater than u, minus one: U[k] <= u < U[k+1].
  const long long k = static_cast<long long>(upperBound(knots_.data(), knots_.size(), u)) - 1;
  if (k < p) return p;
  const long long lastSpan = static_cast<long long>(knots_.size()) - p - 2;
  return static_cast<int>(std::min(k, lastSpan));
}

bool RenderDrawEdit2D::Edge::spanAvailable(int s) const {
  const long long p = degree_;
  return p >= 0 && s >= p && s + p < static_cast<long long>(knots_.size()) && s < ctrl_.extent(0) &&
         ctrl_.extent(1) >= 3;
}

void RenderDrawEdit2D::Edge::evalCoord(double u, double& x, double& y) const {
  const int p = degree_;
  const int s = findSpan(u);
  if (!spanAvailable(s)) {
    x = nkGetNaN();
    y = nkGetNaN();
    return;
  }
  double stackScratch[3 * kStackBasis];
  std::vector<double> heapScratch;
  double* N = stackScratch;
  if (p + 1 > kStackBasis) {
    heapScratch.resize(3 * static_cast<std::size_t>(p + 1));
    N = heapScratch.data();
  }
  double* left = N + (p + 1);
  double* right = left + (p + 1);
  basisFunctions(knots_.data(), s, u, p, N, left, right);

  // Rows s-p .. s of the three columns (w·x, w·y, w).
  const double* wx = &ctrl_(s - p, 0);
  const double* wy = &ctrl_(s - p, 1);
  const double* w = &ctrl_(s - p, 2);
  const int rowStride = ctrl_.stride(0);
  double cx = 0.0, cy = 0.0, cw = 0.0;
  for (int j = 0; j <= p; ++j) {
    cx += N[j] * wx[j * rowStride];
    cy += N[j] * wy[j * rowStride];
    cw += N[j] * w[j * rowStride];
  }
  x = cx / cw;
  y = cy / cw;
}

void RenderDrawEdit2D::Edge::evalEdge(double tol, const BoundingBox2D& box, int maxRefinements,
                                      std::vector<Coord>& out) const {
  out.clear();
  const int p = degree_;
  const long long m = static_cast<long long>(knots_.size());
  if (p < 0 || p >= m) return;  // no start knot U[p]
  const double* U = knots_.data();

  // The initial parameters: U[p], then per knot interval its p - 1 interior values and its end.
  std::vector<double> params;
  params.push_back(U[p]);
  for (long long i = p + 1; i < m - p; ++i) {
    const double a = U[i - 1];
    const double b = U[i];
    for (int k = 0; k <= p - 2; ++k)
      params.push_back(a + (k + 1) * (b - a) / p);
    params.push_back(b);
  }
  // Both are used as stacks whose tops are the smallest parameters still to be reached.
  std::reverse(params.begin(), params.end());
  std::vector<Coord> points(params.size());
  for (std::size_t i = 0; i < params.size(); ++i) {
    double x = 0.0, y = 0.0;
    evalCoord(params[i], x, y);
    points[i] = Coord{static_cast<float>(x), static_cast<float>(y), 0.0f};
  }

  double uPrev = params.back();
  out.push_back(points.back());
  params.pop_back();
  points.pop_back();

  // Counted over the whole edge and never reset: maxRefinements + 1 bounds the midpoints.
  long long refinements = 0;
  while (!params.empty()) {
    const double uTop = params.back();
    const double mid = (uTop + uPrev) * 0.5;
    bool accept = refinements > maxRefinements || !std::isfinite(mid);
    double mx = 0.0, my = 0.0;
    if (!accept) {
      evalCoord(mid, mx, my);
      const double ax = out.back().x, ay = out.back().y;
      const double bx = points.back().x, by = points.back().y;
      // Away from the box nothing is refined; near it, flatness is judged per coordinate.
      accept = (!box.pointInside(ax, ay) && !box.pointInside(mx, my) && !box.pointInside(bx, by)) ||
               (std::fabs(mx - (bx + ax) / 2) <= tol && std::fabs(my - (by + ay) / 2) <= tol);
    }
    if (accept) {
      uPrev = uTop;
      out.push_back(points.back());  // the stacked point, not the midpoint
      params.pop_back();
      points.pop_back();
    } else {
      params.push_back(mid);
      points.push_back(Coord{static_cast<float>(mx), static_cast<float>(my), 0.0f});
      ++refinements;
    }
  }
}

const BoundingBox2D& RenderDrawEdit2D::Edge::getBoundingBox() const {
  if (boxValid_) return box_;
  const double inf = nkGetInf();
  double minX = inf, maxX = -inf, minY = inf, maxY = -inf;
  if (ctrl_.extent(1) >= 3) {
    for (int i = 0; i < ctrl_.extent(0); ++i) {
      const double x = getCtrlXCoord(i);
      const double y = getCtrlYCoord(i);
      if (x < minX) minX = x;
      if (x > maxX) maxX = x;
      if (y < minY) minY = y;
      if (y > maxY) maxY = y;
    }
  }
  box_ = BoundingBox2D(minX, maxX, minY, maxY);
  boxValid_ = true;
  return box_;
}

void RenderDrawEdit2D::Edge::serialize(OSerialStream& os, nkbase::Prop& prop) const {
  os << deleted_;
  os.label("deleted");
  os << modified_;
  os.label("modified");
  os << degree_;
  os.label("degree");
  os << startVertex_;
  os.label("vertex 1");
  os << endVertex_;
  os.label("vertex 2");
  writeCachedBox(os, prop, boxValid_, box_);
  os << static_cast<unsigned int>(knots_.size());
  for (double u : knots_)
    os << u;
  os.label("knots");
  os << static_cast<unsigned int>(ctrl_.extent(0)) << static_cast<unsigned int>(ctrl_.extent(1));
  const double* values = ctrl_.data();
  for (int i = 0; i < ctrl_.size(); ++i)
    os << values[i];
  os.label("control points");
}

void RenderDrawEdit2D::Edge::deserialize(ISerialStream& is) {
  is >> deleted_ >> modified_ >> degree_ >> startVertex_ >> endVertex_;
  is >> boxValid_;
  box_.deserialize(is);
  is >> knots_;  // the vector read checks its count against the bytes left
  int rows = 0, cols = 0;
  is >> rows >> cols;
  if (rows < 0 || cols < 0) {
    throw std::length_error("negative control-point extent " + std::to_string(rows) + " x " +
                            std::to_string(cols));
  }
  const std::size_t count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(cols);
  if (count > static_cast<std::size_t>(INT_MAX)) {
    throw std::length_error("control-point array of " + std::to_string(rows) + " x " +
                            std::to_string(cols) + " values");
  }
  const std::size_t left = is.available();
  if (left != SIZE_MAX) {
    if (count > left / sizeof(double)) {
      DC_RAISE(nkbase::kEndOfFileReached, std::to_string(rows) + " x " + std::to_string(cols) +
                                              " control-point values, " + std::to_string(left) +
                                              " bytes left");
    }
    ctrl_.resize(rows, cols);
    double* values = ctrl_.data();
    for (std::size_t i = 0; i < count; ++i)
      is >> values[i];
    return;
  }
  // A stream of unknown length cannot vouch for the extents: the values are gathered as they
  // arrive, so that a corrupt count takes no memory of its own.
  std::vector<double> values;
  values.reserve(serialio::initialCapacity(is, static_cast<int>(count)));
  for (std::size_t i = 0; i < count; ++i) {
    double v = 0.0;
    is >> v;
    values.push_back(v);
  }
  ctrl_.resize(rows, cols);
  std::copy(values.begin(), values.end(), ctrl_.data());
}

// ---------------------------------------------------------------------------------------------
// RenderDrawEdit2D

RenderDrawEdit2D::RenderDrawEdit2D() = default;
RenderDrawEdit2D::RenderDrawEdit2D(int id) : RenderDrawGeom(DRAW_EDIT_2D, id) {}
RenderDrawEdit2D::~RenderDrawEdit2D() = default;

std::string RenderDrawEdit2D::getClassID() const {
  return "RenderDrawEdit2D";
}

nkboost::shared_ptr<RenderDrawGeom> RenderDrawEdit2D::clone() const {
  return drawgeom::cloneObject(*this);
}

void RenderDrawEdit2D::addVertex(const Vertex& vertex) {
  vertices_.push_back(vertex);
  boxValid_ = false;
}

void RenderDrawEdit2D::addEdge(const Edge& edge) {
  edges_.push_back(edge);
  boxValid_ = false;
}

void RenderDrawEdit2D::clear() {
  edges_.clear();
  vertices_.clear();
  boxValid_ = false;
}

void RenderDrawEdit2D::setVertexCoord(int vertex, double x, double y,
                                      std::vector<int>& changedEdges) {
  if (vertex >= 0 && vertex < getNumVtx()) {
    Vertex& v = vertices_[static_cast<std::size_t>(vertex)];
    v.modified = true;
    v.x = x;
    v.y = y;
  }
  changedEdges.clear();
  for (int e = 0; e < getNumEdg(); ++e) {
    Edge& edge = edges_[static_cast<std::size_t>(e)];
    const bool atStart = edge.getStartVertex() == vertex;
    const bool atEnd = edge.getEndVertex() == vertex;
    // setCtrlPoint also marks the edge and its box; an edge without points is only marked.
    if (atStart) edge.setCtrlPoint(0, x, y);
    if (atEnd) edge.setCtrlPoint(edge.getNumCtrlPoints() - 1, x, y);
    if (atStart || atEnd) changedEdges.push_back(e);
  }
  boxValid_ = false;
}

void RenderDrawEdit2D::setEdgeCtrlPoint(int edge, int ctrlPoint, double x, double y,
                                        std::vector<int>& changedEdges) {
  Edge& e = edges_[static_cast<std::size_t>(edge)];
  if (ctrlPoint == 0 && e.getStartVertex() >= 0) {
    setVertexCoord(e.getStartVertex(), x, y, changedEdges);
  } else if (ctrlPoint == e.getNumCtrlPoints() - 1 && e.getEndVertex() >= 0) {
    setVertexCoord(e.getEndVertex(), x, y, changedEdges);
  } else {
    e.setCtrlPoint(ctrlPoint, x, y);  // changedEdges deliberately untouched
  }
  boxValid_ = false;
}

void RenderDrawEdit2D::getBoundingBox(std::vector<float>& box) const {
  if (!boxValid_) {
    const double inf = nkGetInf();
    double minX = inf, maxX = -inf, minY = inf, maxY = -inf;
    for (const Vertex& v : vertices_) {
      if (v.x < minX) minX = v.x;
      if (v.x > maxX) maxX = v.x;
      if (v.y < minY) minY = v.y;
      if (v.y > maxY) maxY = v.y;
    }
    for (const Edge& e : edges_) {
      const BoundingBox2D& b = e.getBoundingBox();
      if (b.getMinX() < minX) minX = b.getMinX();
      if (b.getMaxX() > maxX) maxX = b.getMaxX();
      if (b.getMinY() < minY) minY = b.getMinY();
      if (b.getMaxY() > maxY) maxY = b.getMaxY();
    }
    box_ = BoundingBox2D(minX, maxX, minY, maxY);
    boxValid_ = true;
  }
  box.clear();
  box.push_back(box_.getMinX());
  box.push_back(box_.getMaxX());
  box.push_back(box_.getMinY());
  box.push_back(box_.getMaxY());
}

void RenderDrawEdit2D::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  serializeAttributes(os);
  writeCachedBox(os, prop, boxValid_, box_);
  os << getNumVtx();
  os.label("number of vertices");
  os << getNumEdg();
  os.label("number of edges");
  os.label("Vertices");
  for (const Vertex& v : vertices_) {
    os.label("Vertex");
    os << v.deleted << v.modified << v.x << v.y;
  }
  os.label("");
  os.label("Curves");
  for (const Edge& e : edges_)
    e.serialize(os, prop);
  os.label("");
}

void RenderDrawEdit2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(479, is, 0, VERSION);
  deserializeAttributes(is);
  is >> boxValid_;
  box_.deserialize(is);
  const int numVertices = DC_READ_COUNT(is, kVertexBytes);
  const int numEdges = DC_READ_COUNT(is, kEdgeBytes);
  serialio::readEach(is, vertices_, numVertices,
                     [&](Vertex& v, std::size_t) { is >> v.deleted >> v.modified >> v.x >> v.y; });
  serialio::readEach(is, edges_, numEdges, [&](Edge& e, std::size_t) { e.deserialize(is); });
}

// The sketch is edited and drawn, never measured or selected. These raises carry the fixed
// lines of their error reports.
double RenderDrawEdit2D::getVolume(int, const std::vector<int>&) const {
  DC_RAISE_AT(314, "Unsupported_operation_on_this_type_of_object");
}

double RenderDrawEdit2D::getBndArea(int, const std::vector<int>&) const {
  DC_RAISE_AT(318, "Unsupported_operation_on_this_type_of_object");
}

void RenderDrawEdit2D::findEntitiesInBall(const std::vector<double>&, double, int, bool,
                                          const std::vector<int>&, std::vector<int>&) const {
  DC_RAISE_AT(356, "Unsupported_operation_on_this_type_of_object");
}

void RenderDrawEdit2D::findEntitiesInBox(const std::vector<double>&, int, bool,
                                         const std::vector<int>&, std::vector<int>&) const {
  DC_RAISE_AT(362, "Unsupported_operation_on_this_type_of_object");
}

bool RenderDrawEdit2D::isInBall(const std::vector<double>&, double, int, bool,
                                const std::vector<int>&) const {
  DC_RAISE_AT(367, "Unsupported_operation_on_this_type_of_object");
}

bool RenderDrawEdit2D::isInBox(const std::vector<double>&, int, bool,
                               const std::vector<int>&) const {
  DC_RAISE_AT(372, "Unsupported_operation_on_this_type_of_object");
}

}  // namespace nkdatacarrier
