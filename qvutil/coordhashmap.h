// Merging of coincident points: a hash grid over 1 to 3 (or more) coordinates that finds, for a
// new point, the first stored point whose every coordinate lies within the match tolerance.
// The draw geometries use it to emit each rendered position once.
#pragma once

#include <cstdint>
#include <memory>
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

  // A hint that coords is about to be inserted or looked up: starts loading the table slot that
  // the lookup reads first, so that a caller merging many points can hide the memory latency
  // by hinting a few points ahead. Changes nothing.
  void prefetch(const double* coords) const;

  // Number of points stored.
  std::size_t size() const { return entries_; }

 private:
  std::int64_t cellOf(double x) const;
  std::uint64_t hashCell(const std::int64_t* cell) const;
  // Smallest matching entry in the probe run of `hash`, or `best` when none is smaller.
  std::uint32_t searchRun(std::uint64_t hash, const double* coords, std::uint32_t best) const;
  void placeEntry(std::uint32_t entry, std::uint64_t hash);
  void grow();
  void allocateSlots(std::size_t count);
  bool isIndexed(const double* coords) const;
  template <typename F>
  void forEachCellOfBox(const double* coords, F f);
  unsigned char* record(std::uint32_t entry) const {
    return chunks_[entry / kChunkEntries].get() + (entry % kChunkEntries) * recordBytes_;
  }
  const int* indexOf(std::uint32_t entry) const {
    return reinterpret_cast<const int*>(record(entry) + 8 * dim_);
  }

  static constexpr std::uint32_t kChunkEntries = 4096;
  static constexpr unsigned kMaxInlineDim = 8;

  unsigned dim_;
  double tol_;                 // match tolerance, absolute
  double cellWidth_ = 0.0;     // 0: a cell is the exact coordinates (tolerance 0)
  double inverseWidth_ = 0.0;  // 0 with a positive width: one cell holds every point
  bool neverMatch_ = false;    // a negative or NaN tolerance matches nothing
  // Every stored point is an entry, numbered in insertion order. Its record holds the
  // coordinates and then the index, side by side so that a match costs one memory access;
  // records live in fixed chunks so that the returned pointers stay valid.
  std::size_t recordBytes_;
  std::uint32_t entries_ = 0;
  std::vector<std::unique_ptr<unsigned char[]>> chunks_;
  std::vector<std::uint64_t> pending_;  // the cells of the point being inserted
  std::size_t placements_ = 0;          // filled slots: an entry takes one per cell it is placed in
  std::vector<std::int64_t> scratch_;   // 4 * dim_ cell numbers for insert(): key, lo, hi, cell
  // Open addressing, linear probing, at most half full. A slot holds entry + 1 in its low half
  // (0: empty) and the upper half of the entry's hash, which rejects most other cells at once.
  std::unique_ptr<std::uint64_t[], void (*)(void*)> slots_{nullptr, nullptr};
  std::size_t slotCount_ = 0;
  std::uint64_t mask_ = 0;
};
