// RenderDrawEdit2D: an editable 2D sketch, a list of vertices and a list of NURBS edges whose
// ends are attached to vertices. The computing side fills and writes it; the graphics side draws
// each edge from its adaptive polyline (Edge::evalEdge), lets the user drag vertices and control
// points, and learns which edges moved. It travels like a drawing object (type DRAW_EDIT_2D) but
// answers none of the measuring or selection queries: they raise.
#pragma once

#include <string>
#include <vector>

#include "datacarrier/boundingbox2d.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/renderdrawgeom.h"
#include "qvutil/array.h"
#include "qvutil/exception.h"
#include "qvutil/prop.h"
#include "qvutil/serialstream.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderDrawEdit2D : public RenderDrawGeom {
 public:
  // The format version that serializeRaw writes and the only one deserializeRaw accepts. The
  // class has no static class identifier: only getClassID answers "RenderDrawEdit2D".
  static constexpr unsigned int VERSION = 0;

  // A point of an edge's polyline, as the drawing layer takes it.
  struct Coord {
    float x = 0.0f, y = 0.0f;
    float z = 0.0f;  // always 0: the sketch is planar
  };

  // A sketch vertex: the editor's flags and its position.
  struct Vertex {
    bool deleted = false;
    bool modified = false;
    double x = 0.0, y = 0.0;
  };

  // One edge: a rational B-spline of degree p with knots U (m values, non-decreasing) and n
  // weighted control points, joining a start and an end vertex of the sketch (-1: none).
  //
  // The control points are n rows of (w·x, w·y, w), stored column after column (all w·x first,
  // then all w·y, then all w). A well-formed edge has m = n + p + 1, 3 columns and non-zero
  // weights; the producer is trusted for that, and a zero weight gives infinite or NaN points.
  // Malformed edges never make these operations read or write outside the arrays:
  // - evalCoord gives NaN for x and y when what its span s needs is not all there: a degree
  //   p >= 0 with s >= p, the knots U[s-p+1 .. s+p], the control points s-p .. s, 3 columns.
  //   Spans that have it all evaluate as usual, so a short array still draws its first spans.
  // - evalEdge outputs nothing when the start knot U[p] does not exist (p < 0 or p >= m), and
  //   otherwise samples as usual (its points then being NaN wherever evalCoord's are).
  // - getBoundingBox of an array with fewer than 3 columns keeps the infinite start values.
  // - setCtrlPoint of a point that does not exist writes nothing (it still marks the edge).
  class QVDATACARRIER_EXPORT Edge {
   public:
    // Deleted, not modified, degree 0, no knots or control points, vertices -1, box invalid.
    Edge();
    // Not deleted, not modified; copies of the knots and control points; box invalid.
    Edge(int degree, const std::vector<double>& knots, const Array<double, 2>& ctrl,
         int startVertex, int endVertex);
    Edge(const Edge&) = default;
    Edge& operator=(const Edge&) = default;
    ~Edge();

    // The editor's flags. setCtrlPoint and the sketch's setters set modified; only the
    // consumer that takes the change over clears it.
    bool isDeleted() const { return deleted_; }
    void setDeleted(bool deleted) { deleted_ = deleted; }
    bool isModified() const { return modified_; }
    void setModified(bool modified) { modified_ = modified; }

    int getDegree() const { return degree_; }
    int getStartVertex() const { return startVertex_; }
    int getEndVertex() const { return endVertex_; }
    const std::vector<double>& getKnots() const { return knots_; }
    // The weighted control points as stored: row i is (w·x, w·y, w).
    const Array<double, 2>& getCtrlPoints() const { return ctrl_; }
    int getNumCtrlPoints() const { return ctrl_.extent(0); }

    // Control point i in Cartesian coordinates ((w·x)/w, (w·y)/w) and its weight; unchecked.
    double getCtrlXCoord(int i) const { return ctrl_(i, 0) / ctrl_(i, 2); }
    double getCtrlYCoord(int i) const { return ctrl_(i, 1) / ctrl_(i, 2); }
    double getCtrlWeight(int i) const { return ctrl_(i, 2); }
    Coord getCtrlPoint(int i) const;
    // Moves control point i to (x, y), keeping its weight w (stores w·x and w·y); marks the
    // edge modified and its box stale.
    void setCtrlPoint(int i, double x, double y);

    // The knot span of u, clamped to the spans that carry the curve: U[k] <= u < U[k+1] with
    // k at least p and at most m - p - 2. Below the first knot, and with no knots, it is p; at
    // or past the last knot it is m - p - 2.
    int findSpan(double u) const;
    // The curve point at parameter u (rational de Boor sum over span findSpan(u)). Allocates
    // nothing up to degree 9.
    void evalCoord(double u, double& x, double& y) const;
    // Replaces out by a polyline of the curve from U[p] to U[m-p-1] for drawing. It starts from
    // p samples per knot interval (p - 1 evenly spaced interior values and the interval's end,
    // zero-length intervals included) and inserts parameter midpoints where the curve's
    // midpoint is further than tol from the chord's midpoint in x or in y, but only where the
    // chord's ends or the curve's midpoint lie in box. The refinements are counted over the
    // whole call, never per interval, and stop once more than maxRefinements were made, so at
    // most maxRefinements + 1 points are inserted. A midpoint that is not a finite number (NaN
    // or infinite knots) is never refined, so the call ends on any knots.
    void evalEdge(double tol, const BoundingBox2D& box, int maxRefinements,
                  std::vector<Coord>& out) const;
    // The box of the control points in Cartesian coordinates, which holds the curve when all
    // weights are positive. Computed on first use after a change and cached (so a first call
    // from two threads at once is a race). Without control points it is (+inf, -inf, +inf,
    // -inf); a point with a NaN coordinate does not widen it.
    const BoundingBox2D& getBoundingBox() const;
    bool isBoundingBoxValid() const { return boxValid_; }

    // The edge's part of the sketch's stream. Reading checks the knot and control-point counts
    // against what the stream can still hold before it allocates; a negative control-point
    // extent, or more than 2^31 - 1 values, raises the standard length error.
    void serialize(OSerialStream& os, nkbase::Prop& prop) const;
    void deserialize(ISerialStream& is);

   private:
    // Whether evalCoord may use span s: all knots U[s-p+1 .. s+p], all control points s-p .. s
    // and three columns exist.
    bool spanAvailable(int s) const;

    bool deleted_ = true;
    bool modified_ = false;
    int degree_ = 0;
    std::vector<double> knots_;
    Array<double, 2> ctrl_;
    int startVertex_ = -1;
    int endVertex_ = -1;
    mutable BoundingBox2D box_;
    mutable bool boxValid_ = false;
  };

  // Type UNSET until read from a stream; no vertices or edges.
  RenderDrawEdit2D();
  // Type DRAW_EDIT_2D and the given identifier.
  explicit RenderDrawEdit2D(int id);
  RenderDrawEdit2D(const RenderDrawEdit2D&) = default;
  RenderDrawEdit2D& operator=(const RenderDrawEdit2D&) = default;
  ~RenderDrawEdit2D() override;

  // Vertices and edges by 0-based number; the accessors are unchecked.
  int getNumVtx() const { return static_cast<int>(vertices_.size()); }
  int getNumEdg() const { return static_cast<int>(edges_.size()); }
  const Vertex& getVertex(int i) const { return vertices_[i]; }
  const Edge& getEdge(int i) const { return edges_[i]; }
  // Append a copy; the extent goes stale.
  void addVertex(const Vertex& vertex);
  void addEdge(const Edge& edge);
  // Removes every vertex and edge; identifier, type and label stay.
  void clear();

  // Editing. setVertexCoord moves vertex v (marking it modified) and with it the first control
  // point of every edge that starts at v and the last of every edge that ends there, keeping
  // their weights; changedEdges becomes the list of those edges, each once, in order. A vertex
  // number that names no vertex (say from an edge of a corrupt stream) moves only the edges.
  void setVertexCoord(int vertex, double x, double y, std::vector<int>& changedEdges);
  // Moves control point ctrlPoint of edge `edge`. The first point of an edge with a start
  // vertex, and the last of one with an end vertex, move through setVertexCoord (the vertex and
  // every edge attached to it move together; changedEdges is filled as there). Any other point
  // moves alone, and changedEdges is deliberately left untouched: the caller knows the edge.
  void setEdgeCtrlPoint(int edge, int ctrlPoint, double x, double y,
                        std::vector<int>& changedEdges);

  // min x, max x, min y, max y over every vertex and every edge's control-point box, deleted
  // ones included; cached until the next change (a first call from two threads is a race).
  void getBoundingBox(std::vector<float>& box) const override;
  bool isBoundingBoxValid() const { return boxValid_; }

  std::string getClassID() const override;
  nkboost::shared_ptr<RenderDrawGeom> clone() const override;
  DataCarrierType getDataCarrierType() const override { return DC_RENDER_DRAW; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Refuses any version but 0 with "Incompatible_native_file_version".
  void deserializeRaw(ISerialStream& is) override;

  // Nothing is measured or selected: these raise "Unsupported_operation_on_this_type_of_object"
  // whatever their arguments, and the size estimate of the point merging raises its own
  // message, each with the fixed line that its error report carries.
  double getVolume(int dim, const std::vector<int>& entities) const override;
  double getBndArea(int dim, const std::vector<int>& entities) const override;
  void findEntitiesInBall(const std::vector<double>& c, double r, int dim, bool inside,
                          const std::vector<int>& candidates,
                          std::vector<int>& result) const override;
  bool isInBall(const std::vector<double>& c, double r, int dim, bool inside,
                const std::vector<int>& candidates) const override;
  void findEntitiesInBox(const std::vector<double>& box, int dim, bool inside,
                         const std::vector<int>& candidates,
                         std::vector<int>& result) const override;
  bool isInBox(const std::vector<double>& box, int dim, bool inside,
               const std::vector<int>& candidates) const override;
  int numUniquePointsEstimate() const override {
    throw nkbase::Exception("datacarrier/renderdrawedit2d.h", 171,
                            "numUniquePointsEstimate not implemented in edit2D");
  }

 private:
  std::vector<Edge> edges_;
  std::vector<Vertex> vertices_;
  mutable BoundingBox2D box_;
  mutable bool boxValid_ = false;
};

}  // namespace nkdatacarrier
