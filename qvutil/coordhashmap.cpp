#include "qvutil/coordhashmap.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <new>

#include "qvutil/memadvice.h"

namespace {

// Hints beyond this are taken as advisory noise; the table grows geometrically past it.
constexpr unsigned kMaxReserve = 1u << 22;
// Cell numbers are clamped here so that huge coordinates never overflow; clamping is monotonic,
// so a clamped cell still covers every point that can match.
constexpr double kMaxCell = 4.0e18;
constexpr std::uint32_t kNone = UINT32_MAX;
// Narrowest cell: its inverse (1e300) stays finite.
constexpr double kMinCellWidth = 1e-300;

constexpr std::uint64_t kTagMask = 0xffffffff00000000ULL;

}  // namespace

CoordHashMap::CoordHashMap(unsigned dim, double maxAbsCoord, unsigned sizeHint, bool relative,
                           double matchTolerance, double cellTolerance)
    : dim_(dim == 0 ? 1 : dim), recordBytes_(8 * static_cast<std::size_t>(dim_) + 8) {
  const double scale = relative && maxAbsCoord != 0.0 ? std::fabs(maxAbsCoord) : 1.0;
  tol_ = matchTolerance * scale;
  const double cell = cellTolerance * scale;
  neverMatch_ = !(tol_ >= 0.0);
  if (tol_ > 0.0) {
    // The grid follows the cell hint within [2, 16] tolerances. At least twice the tolerance
    // keeps a stored point in at most two cells per axis (one, mostly, the wider the cell); at
    // most sixteen times keeps the points that can share a cell (pairwise non-matching, so at
    // most 17 per axis) few, so a dense cluster costs a bounded scan, never a quadratic one.
    cellWidth_ = std::clamp(std::isfinite(cell) ? cell : 0.0, 2.0 * tol_, 16.0 * tol_);
    // A subnormal tolerance would make the inverse infinite (and 0 * inf a NaN cell): any
    // width is correct, so take one whose inverse is finite.
    cellWidth_ = std::max(cellWidth_, kMinCellWidth);
    // A width that overflows (a tolerance near the largest double, or infinite) leaves one
    // cell for every point: inverseWidth_ 0 selects it in cellOf.
    inverseWidth_ = std::isfinite(cellWidth_) ? 1.0 / cellWidth_ : 0.0;
  }
  // A hint of 2^31 or more is the unsigned image of a negative count: no hint at all.
  const unsigned reserve = sizeHint >= (1u << 31) ? 0 : std::min(sizeHint, kMaxReserve);
  // Room for the hinted points, each placed in about 1.5 cells, with the table at most half
  // full, so that the hinted points never make it grow. Untouched slots cost no memory, so a
  // generous table is cheap.
  std::size_t slots = 16;
  while (slots < 3 * static_cast<std::size_t>(reserve))
    slots *= 2;
  allocateSlots(slots);
  scratch_.resize(4 * static_cast<std::size_t>(dim_));
}

// Monotonic in x (a product with a positive constant, floor and clamp all are), so the cells of
// x - tol and x + tol bracket the cell of every point that can match x.
std::int64_t CoordHashMap::cellOf(double x) const {
  if (cellWidth_ == 0.0) {
    x += 0.0;  // -0 + 0 is +0: both zeros are the same position
    std::int64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
  }
  if (inverseWidth_ == 0.0) return 0;  // one cell: x * 0 would be NaN for x = +-inf
  // floor() without a library call: truncate, then step down for negative fractions.
  const double c = std::clamp(x * inverseWidth_, -kMaxCell, kMaxCell);
  const std::int64_t t = static_cast<std::int64_t>(c);
  return static_cast<double>(t) > c ? t - 1 : t;
}

std::uint64_t CoordHashMap::hashCell(const std::int64_t* cell) const {
  std::uint64_t h = 0;
  for (unsigned d = 0; d < dim_; ++d) {
    h = (h ^ static_cast<std::uint64_t>(cell[d])) * 0x9e3779b97f4a7c15ULL;
    h ^= h >> 32;
  }
  return h * 0xd6e8feb86659fd93ULL;
}

// Entries of other cells may share the run; any entry found that matches is a true match, so
// no cell comparison is needed, only the coordinates.
std::uint32_t CoordHashMap::searchRun(std::uint64_t hash, const double* coords,
                                      std::uint32_t best) const {
  const std::uint64_t tag = hash & kTagMask;
  for (std::uint64_t s = (hash >> 7) & mask_; slots_[s] != 0; s = (s + 1) & mask_) {
    const std::uint64_t slot = slots_[s];
    if ((slot & kTagMask) != tag) continue;
    const std::uint32_t e = static_cast<std::uint32_t>(slot) - 1;
    if (e >= best) continue;
    const unsigned char* rec = record(e);
    bool all = true;
    for (unsigned d = 0; d < dim_ && all; ++d) {
      double c;
      std::memcpy(&c, rec + 8 * d, 8);
      all = std::fabs(coords[d] - c) <= tol_;
    }
    if (all) best = e;
  }
  return best;
}

void CoordHashMap::prefetch(const double* coords) const {
  if (neverMatch_ || dim_ > kMaxInlineDim) return;
  for (unsigned d = 0; d < dim_; ++d) {
    if (!std::isfinite(coords[d])) return;
  }
  // The cells of the point's tolerance box, as forEachCellOfBox visits them: a new point is
  // placed in each, and the lookup reads the point's own cell, which is one of them.
  std::int64_t lo[kMaxInlineDim], hi[kMaxInlineDim], cell[kMaxInlineDim];
  const double span = tol_ * (1.0 + 1e-12);
  for (unsigned d = 0; d < dim_; ++d) {
    lo[d] = cell[d] = cellWidth_ == 0.0 ? cellOf(coords[d]) : cellOf(coords[d] - span);
    hi[d] = cellWidth_ == 0.0 ? lo[d] : cellOf(coords[d] + span);
  }
  for (;;) {
    __builtin_prefetch(&slots_[(hashCell(cell) >> 7) & mask_], 1);
    unsigned d = 0;
    while (d < dim_ && cell[d] == hi[d]) {
      cell[d] = lo[d];
      ++d;
    }
    if (d == dim_) break;
    ++cell[d];
  }
}

void CoordHashMap::placeEntry(std::uint32_t entry, std::uint64_t hash) {
  std::uint64_t s = (hash >> 7) & mask_;
  while (slots_[s] != 0)
    s = (s + 1) & mask_;
  slots_[s] = (hash & kTagMask) | (static_cast<std::uint64_t>(entry) + 1);
}

void CoordHashMap::allocateSlots(std::size_t count) {
  auto table = qvutil_detail::zeroedArray<std::uint64_t>(count);
  slots_ = std::unique_ptr<std::uint64_t[], void (*)(void*)>(table.release(), std::free);
  slotCount_ = count;
  mask_ = count - 1;
}

void CoordHashMap::grow() {
  std::size_t slots = slotCount_;
  while (2 * placements_ > slots)
    slots *= 2;
  allocateSlots(slots);
  for (std::uint32_t e = 0; e < entries_; ++e) {
    double c[kMaxInlineDim];
    const unsigned char* rec = record(e);
    std::vector<double> big;
    double* coords = dim_ <= kMaxInlineDim ? c : (big.resize(dim_), big.data());
    std::memcpy(coords, rec, 8 * static_cast<std::size_t>(dim_));
    if (isIndexed(coords)) forEachCellOfBox(coords, [&](std::uint64_t h) { placeEntry(e, h); });
  }
}

bool CoordHashMap::isIndexed(const double* coords) const {
  if (neverMatch_) return false;
  for (unsigned d = 0; d < dim_; ++d) {
    if (!std::isfinite(coords[d])) return false;
  }
  return true;
}

// Calls f with the hash of every cell that the tolerance box of `coords` touches, like an
// odometer over lo..hi. The small widening of the box absorbs the rounding of the coordinate
// differences.
template <typename F>
void CoordHashMap::forEachCellOfBox(const double* coords, F f) {
  std::int64_t* lo = scratch_.data() + dim_;
  std::int64_t* hi = lo + dim_;
  std::int64_t* cell = hi + dim_;
  const double span = tol_ * (1.0 + 1e-12);
  for (unsigned d = 0; d < dim_; ++d) {
    lo[d] = cell[d] = cellWidth_ == 0.0 ? cellOf(coords[d]) : cellOf(coords[d] - span);
    hi[d] = cellWidth_ == 0.0 ? lo[d] : cellOf(coords[d] + span);
  }
  for (;;) {
    f(hashCell(cell));
    unsigned d = 0;
    while (d < dim_ && cell[d] == hi[d]) {
      cell[d] = lo[d];
      ++d;
    }
    if (d == dim_) return;
    ++cell[d];
  }
}

// A stored point is placed in every cell that its tolerance box [p - tol, p + tol] touches
// (usually one, near a cell border two to eight); a query then looks only at its own cell,
// because a point q that matches p lies in that box.
std::pair<const int*, bool> CoordHashMap::insert(const double* coords, int index,
                                                 bool insertIfNew) {
  const bool indexed = isIndexed(coords);
  if (indexed) {
    std::int64_t* key = scratch_.data();
    for (unsigned d = 0; d < dim_; ++d)
      key[d] = cellOf(coords[d]);
    const std::uint32_t best = searchRun(hashCell(key), coords, kNone);
    if (best != kNone) return {indexOf(best), false};
  }
  if (!insertIfNew) return {nullptr, true};

  const std::uint32_t entry = entries_++;
  if (entry % kChunkEntries == 0) {
    chunks_.emplace_back(new unsigned char[kChunkEntries * recordBytes_]);
  }
  unsigned char* rec = record(entry);
  std::memcpy(rec, coords, 8 * static_cast<std::size_t>(dim_));
  const int* stored = new (rec + 8 * dim_) int(index);
  if (indexed) {
    pending_.clear();
    forEachCellOfBox(coords, [&](std::uint64_t hash) { pending_.push_back(hash); });
    placements_ += pending_.size();
    if (2 * placements_ > slotCount_) {
      grow();  // places every entry, this one included
    } else {
      for (std::uint64_t hash : pending_)
        placeEntry(entry, hash);
    }
  }
  return {stored, true};
}
