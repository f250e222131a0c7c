// Scans of one sheet's triangles for the queries that visit every triangle: the line pick, the
// closest point, the box and the cylinder test. Each scan first looks at the sheet's vertices
// once, against the query (offsets from the line, sides of a distance bound, faces of the box,
// slab and sides of the cylinder), and then skips the triangles whose three corners prove that
// testing them could not change the answer; the rest it tests with the per-triangle arithmetic of
// trianglemath.h, in triangle order. The answers are therefore those of testing every triangle, to
// the last bit and in the same order. Sheet3D's queries and the 3D draw geometry's queries over
// many sheets both run these scans. Internal to the library.
//
// The margins of the skipping follow the magnitude of the coordinates actually present: the
// sheet's stored box only gives a first guess, which the vertex pass checks.
#pragma once

#include <emmintrin.h>

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "datacarrier/internal/trianglemath.h"
#include "datacarrier/sheet3d.h"

namespace nkdatacarrier {
namespace sheetscan {

// Working arrays of the scans, kept between sheets by a query over many sheets. Grown, never
// cleared: every scan writes the entries it reads.
class Scratch {
 public:
  float* floats(std::size_t n) { return grown(floats_, n); }
  std::int16_t* shorts(std::size_t n) { return grown(shorts_, n); }
  unsigned char* bytes(std::size_t n) { return grown(bytes_, n); }

 private:
  template <typename T>
  struct Array {
    std::unique_ptr<T[]> data;
    std::size_t size = 0;
  };
  template <typename T>
  static T* grown(Array<T>& array, std::size_t n) {
    if (array.size < n) {
      array.data.reset(new T[n]);
      array.size = n;
    }
    return array.data.get();
  }
  Array<float> floats_;
  Array<std::int16_t> shorts_;
  Array<unsigned char> bytes_;
};

// The line p0 + t (p1 - p0), seen along its dominant axis: each vertex lies at an offset from
// the line in the two other coordinates. A triangle whose corners all lie on one side of the line
// in one of them, by more than a margin far beyond the 1e-5 band of the pierce test and the
// rounding of its arithmetic, cannot be pierced.
struct LineReach {
  LineReach(const double* p0, const double* p1);
  // Writes the offsets of the n vertices, two floats each, and returns the largest magnitude of
  // their coordinates (NaN coordinates ignored).
  float offsets(const Sheet3D::Vertex* v, int n, float* out) const;
  // The slack of the rejection for vertex coordinates up to the given magnitude.
  __m128 slackFor(float magnitude) const;
  // False only when all three corners lie on one side of the line, by more than a thousandth of
  // their spread plus the slack, in one of the two offsets. spread holds 1e-3 and sign -0.0 in
  // every lane (made once per loop).
  static bool mayPierce(const float* offsets, const int* corners, __m128 slack, __m128 spread,
                        __m128 sign);

  double p0[3];
  double slope[2];
  int axis;
  bool usable;  // false for a line without direction, or with numbers non-finite or beyond the
                // float range: test everything
};

// Appends every hit of the line on the sheet as Sheet3D::findLineIntersections does: (t, position
// in hits) to hits and the unit interpolated normal to normals. The sheet must be valid.
void lineHits(const Sheet3D& sheet, const trianglemath::LineQuery& line, const LineReach& reach,
              Scratch& scratch, std::vector<std::pair<double, int>>& hits,
              std::vector<double>& normals);

// Offers the candidates of every kSampleStride-th triangle of the valid sheet to the search. With
// a negative stop distance the search ends holding the least distance among them: no candidate
// nearer than the full search's winner exists, so the winner lies at that distance or nearer.
constexpr int kSampleStride = 256;
void sample(const Sheet3D& sheet, const double* p, trianglemath::ClosestSearch& search);

// Continues the closest-point search over every triangle of the valid sheet, in order, as
// trianglemath::closestOnTriangle visits them; returns true when the search stopped. bound is a
// squared distance no winner of the whole search exceeds (a sample's least distance), or
// +infinity; it must exceed the search's stop distance, since a skipped triangle, whose every
// candidate lies beyond the bound, must never be the one that stops the search.
bool closest(const Sheet3D& sheet, const double* p, trianglemath::ClosestSearch& search,
             double bound, Scratch& scratch);

// Whether some triangle of the valid sheet overlaps the box (trianglemath::boxMeetsTriangle).
bool meetsBox(const Sheet3D& sheet, const segmentmath::CenteredBox<3>& box, Scratch& scratch);

// Whether some triangle of the valid sheet meets the cylinder.
bool meetsCylinder(const Sheet3D& sheet, const trianglemath::CylinderQuery& cylinder,
                   Scratch& scratch);

}  // namespace sheetscan
}  // namespace nkdatacarrier
