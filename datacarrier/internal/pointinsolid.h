// Internal steps of the point-in-solid test shared by RenderDrawGeom3D and its picking index:
// the distance to the solid's boundary fixes a cube about the point that no sheet enters; the
// triangle edges reaching the cube's top face are projected onto it; a quadtree search finds a
// square of the top face that no projected edge crosses; the ray from the point through that
// square decides by the first sheet it pierces that has the solid on one side. The two callers
// differ only in how they find the closest point, the edges and the line hits, which they pass
// in; everything else is written once here so that both answer alike to the last bit.
#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <vector>

#include "datacarrier/adjacent.h"
#include "datacarrier/internal/drawgeomtools.h"
#include "datacarrier/internal/segmentmath.h"
#include "datacarrier/sheet3d.h"

namespace nkdatacarrier {
namespace pointinsolid {

// A projected triangle edge: two 2D points relative to the tested point, in single precision.
struct Segment2 {
  float a[2];
  float b[2];
};

// The part of the edge ab at or above the height top, projected along z relative to p, in out.
// False when the edge lies wholly below top.
inline bool projectAboveTop(const Sheet3D::Vertex& a, const Sheet3D::Vertex& b, double top,
                            const double* p, Segment2& out) {
  const double az = double(a.z);
  const double bz = double(b.z);
  if (az < top && bz < top) return false;
  double ax = double(a.x), ay = double(a.y);
  double bx = double(b.x), by = double(b.y);
  if (az < top) {  // move a up the edge to the top face
    const double s = (top - az) / double(float(b.z - a.z));
    ax = ax + s * double(float(b.x - a.x));
    ay = ay + s * double(float(b.y - a.y));
  } else if (bz < top) {
    const double s = (top - bz) / double(float(a.z - b.z));
    bx = bx + s * double(float(a.x - b.x));
    by = by + s * double(float(a.y - b.y));
  }
  out = Segment2{{float(ax - p[0]), float(ay - p[1])}, {float(bx - p[0]), float(by - p[1])}};
  return true;
}

// Quadtree search of the square [-step, step]^2 for a square that no segment crosses: up to 30
// passes, each keeping the quadrant (shrunk by a ten-thousandth of the side on its inner edges)
// that the fewest segments cross, the first among equals. sq receives (min x, max x, min y,
// max y); segments is consumed. Only the number of crossing segments counts, not their order.
inline void findFreeSquare(std::vector<Segment2>& segments, double step, double sq[4]) {
  sq[0] = -step;
  sq[1] = step;
  sq[2] = -step;
  sq[3] = step;
  std::vector<Segment2> crossing[4];
  for (int pass = 0; pass < 30; ++pass) {
    const double mx = (sq[0] + sq[1]) * 0.5;
    const double my = (sq[2] + sq[3]) * 0.5;
    const double e = 0.0001 * (sq[1] - sq[0]);
    const double quadrants[4][4] = {{mx + e, sq[1], my + e, sq[3]},
                                    {sq[0], mx - e, my + e, sq[3]},
                                    {sq[0], mx - e, sq[2], my - e},
                                    {mx + e, sq[1], sq[2], my - e}};
    int best = 0;
    for (int q = 0; q < 4; ++q) {
      const segmentmath::CenteredBox<2> box(quadrants[q]);
      crossing[q].clear();
      for (const Segment2& s : segments) {
        if (segmentmath::segmentMeetsBox<2>(box, s.a, s.b)) crossing[q].push_back(s);
      }
      if (crossing[q].size() < crossing[best].size()) best = q;
    }
    std::copy(quadrants[best], quadrants[best] + 4, sq);
    segments.swap(crossing[best]);
    if (segments.empty()) break;
  }
}

// Which orientations the sheet-to-solid entries of sheet that name solid carry: +1 (the solid
// lies on the side into which the sheet's normals point) and -1 (on the other side).
struct Orientations {
  bool plus = false;
  bool minus = false;
};

inline Orientations orientationsOf(const Adjacent& sheetToSolid, int sheet, int solid) {
  Orientations found;
  const drawgeom::AdjacentRun sides = drawgeom::adjacentRun(sheetToSolid, sheet);
  if (sides.count == 0) return found;
  // Within the clamped run, so the orientations beside it exist.
  const int* orientations = sheetToSolid.getAdjacentOrientations(sheet);
  for (int m = 0; m < sides.count; ++m) {
    if (sides.adjacents[m] != solid) continue;
    found.plus = found.plus || orientations[m] == 1;
    found.minus = found.minus || orientations[m] == -1;
  }
  return found;
}

// The side of sheet on which solid lies: +1 or -1 when the entries naming the solid carry only
// that orientation, 0 when they carry both or neither.
inline int sideOfSheet(const Adjacent& sheetToSolid, int sheet, int solid) {
  const Orientations found = orientationsOf(sheetToSolid, sheet, solid);
  return found.plus == found.minus ? 0 : found.plus ? 1 : -1;
}

// Whether p lies in solid. The callers supply
//   closest(p, sheets, c): the closest point c to p on the listed sheets (NaN when none);
//   collect(sheets, step, top, segments): the projectAboveTop segments of the listed sheets'
//     triangles, at least all that may cross [-step, step]^2 (others change no count);
//   lines(p, q, hits, hitSheets): the line's hits (t, normal) in hit order, with their sheets.
template <class Closest, class Collect, class Lines>
bool pointInSolid(const std::vector<double>& p, int solid, const Adjacent& solidToSheet,
                  const Adjacent& sheetToSolid, Closest&& closest, Collect&& collect,
                  Lines&& lines) {
  // 1. The distance to the solid's boundary; none measurable (no valid sheet) decides nothing.
  const drawgeom::AdjacentRun run = drawgeom::adjacentRun(solidToSheet, solid);
  const std::vector<int> own(run.adjacents, run.adjacents + run.count);
  std::vector<double> c;
  closest(p, own, c);
  const double ex = p[0] - c[0];
  const double ey = p[1] - c[1];
  const double ez = p[2] - c[2];
  const double dist = std::sqrt(ex * ex + ey * ey + ez * ez);
  if (dist <= 0.0) return true;  // on the boundary
  if (std::isnan(dist)) return false;

  // 2. The cube of half size step about p lies strictly inside the ball that no sheet enters.
  const double step = dist / std::sqrt(3.0) * 0.95;
  const double top = p[2] + step;

  // 3. The solid's triangle edges reaching the cube's top face, then a free square of it.
  std::vector<Segment2> segments;
  collect(own, step, top, segments);
  double sq[4];
  findFreeSquare(segments, step, sq);

  // 4. The ray from p through the centre of that square on the top face.
  const std::vector<double> q = {p[0] + (sq[0] + sq[1]) * 0.5, p[1] + (sq[2] + sq[3]) * 0.5,
                                 p[2] + step};
  const double d[3] = {q[0] - p[0], q[1] - p[1], q[2] - p[2]};
  std::vector<std::vector<double>> hits;
  std::vector<int> hitSheets;
  lines(p, q, hits, hitSheets);

  // 5. The first hit ahead on a sheet that has the solid on exactly one side decides.
  for (std::size_t i = 0; i < hits.size(); ++i) {
    if (hits[i][0] <= 0.0) continue;
    const int side = sideOfSheet(sheetToSolid, hitSheets[i], solid);
    if (side == 0) continue;
    const double nd = hits[i][1] * d[0] + hits[i][2] * d[1] + hits[i][3] * d[2];
    return side > 0 ? nd < 0.0 : nd > 0.0;
  }
  return false;
}

}  // namespace pointinsolid
}  // namespace nkdatacarrier
