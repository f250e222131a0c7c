// Merging of coincident points: a hash grid over 1 to 3 (or more) coordinates that finds, for a
// new point, the first stored point whose every coordinate lies within the match tolerance.
// The draw geometries use it to emit each rendered position once.
#pragma once

#include <cstdint>
#include <deque>
#include <utility>
#include <vector>

#include "qvutil/qvutilexport.h"

class QVUTIL_EXPORT CoordHashMap {
 public:
  // dim: coordinates per point. maxAbsCoord: the largest absolute coordinate expected.
  // sizeHint: advisory number of points (an absurd hint, such as the unsigned image of a negative
  // count, is ignored). relative: both tolerances are multiples of maxAbsCoord (of 1 when it is
  // 0). matchTolerance: two points match when every coordinate differs by at most this.
  // cellTolerance: the grid's cell width, a performance hint that never changes which points
  // match.
  CoordHashMap(unsigned dim, double maxAbsCoord, unsigned sizeHint, bool relative,
               double matchTolerance, double cellTolerance);

  // Returns (pointer to the index stored for the first-inserted matching point, false) when a
  // stored point matches; otherwise stores (coords, index) when insertIfNew and returns (pointer
  // to it, true), or (nullptr, true) when not inserting. Pointers stay valid for the map's life.
  // A point with a NaN or infinite coordinate matches nothing, not even itself.
  std::pair<const int*, bool> insert(const double* coords, int index, bool insertIfNew);

  // Number of points stored.
  std::size_t size() const { return indices_.size(); }

 private:
  std::int64_t cellOf(double x) const;
  std::uint64_t hashCell(const std::int64_t* cell) const;
  bool matches(const double* a, const double* b) const;
  // Smallest stored entry in `cell` that matches `coords`, or `best` when none is smaller.
  std::uint32_t searchCell(const std::int64_t* cell, std::uint64_t hash, const double* coords,
                           std::uint32_t best) const;
  void placeEntry(std::uint32_t entry);
  void grow();

  unsigned dim_;
  double tol_;              // match tolerance, absolute
  double cellWidth_ = 0.0;  // 0: a cell is the exact coordinates (tolerance 0)
  bool neverMatch_ = false; // a negative or NaN tolerance matches nothing
  // Points that can match (finite coordinates), numbered in insertion order.
  std::vector<double> coords_;        // dim_ per entry
  std::vector<std::int64_t> cells_;   // dim_ per entry
  std::vector<std::uint64_t> hashes_; // per entry, the hash of its cell
  std::vector<const int*> entryIndex_;  // per entry, its index in indices_
  std::deque<int> indices_;           // every stored index; stable addresses for the pointers
  std::vector<std::int64_t> scratch_; // 4 * dim_ cell numbers for insert(): key, lo, hi, probe
  // Open addressing, linear probing, at most half full: entry + 1, or 0 when empty.
  std::vector<std::uint32_t> slots_;
  std::uint64_t mask_ = 0;
};
