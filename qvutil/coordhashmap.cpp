#include "qvutil/coordhashmap.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace {

// Hints beyond this are taken as advisory noise; the table grows geometrically past it.
constexpr unsigned kMaxReserve = 1u << 16;
// Cell numbers are clamped here so that huge coordinates never overflow; clamping is monotonic,
// so a clamped cell still covers every point that can match.
constexpr double kMaxCell = 4.0e18;
constexpr std::uint32_t kNone = UINT32_MAX;

std::uint64_t mix(std::uint64_t h) {
  h ^= h >> 31;
  h *= 0x7fb5d329728ea185ULL;
  h ^= h >> 27;
  h *= 0x81dadef4bc2dd44dULL;
  h ^= h >> 33;
  return h;
}

}  // namespace

CoordHashMap::CoordHashMap(unsigned dim, double maxAbsCoord, unsigned sizeHint, bool relative,
                           double matchTolerance, double cellTolerance)
    : dim_(dim == 0 ? 1 : dim) {
  const double scale = relative && maxAbsCoord != 0.0 ? std::fabs(maxAbsCoord) : 1.0;
  tol_ = matchTolerance * scale;
  const double cell = cellTolerance * scale;
  neverMatch_ = !(tol_ >= 0.0);
  if (tol_ > 0.0 && std::isfinite(tol_)) {
    // A cell at least twice the tolerance keeps a query to at most two cells per axis; at most
    // eight times keeps the points that can share a cell (pairwise non-matching) few, so a
    // dense cluster costs a bounded scan instead of a quadratic one.
    cellWidth_ = std::clamp(std::isfinite(cell) ? cell : 0.0, 2.0 * tol_, 8.0 * tol_);
  }
  const unsigned reserve = std::min(sizeHint, kMaxReserve);
  std::size_t slots = 16;
  while (slots < 2 * static_cast<std::size_t>(reserve)) slots *= 2;
  slots_.assign(slots, 0);
  mask_ = slots - 1;
  coords_.reserve(static_cast<std::size_t>(reserve) * dim_);
  cells_.reserve(static_cast<std::size_t>(reserve) * dim_);
  hashes_.reserve(reserve);
  entryIndex_.reserve(reserve);
  scratch_.resize(4 * static_cast<std::size_t>(dim_));
}

std::int64_t CoordHashMap::cellOf(double x) const {
  if (cellWidth_ == 0.0) {
    if (x == 0.0) x = 0.0;  // -0 and +0 are the same position
    std::int64_t bits;
    std::memcpy(&bits, &x, sizeof bits);
    return bits;
  }
  const double c = std::floor(x / cellWidth_);
  return static_cast<std::int64_t>(std::clamp(c, -kMaxCell, kMaxCell));
}

std::uint64_t CoordHashMap::hashCell(const std::int64_t* cell) const {
  std::uint64_t h = 0x9e3779b97f4a7c15ULL;
  for (unsigned d = 0; d < dim_; ++d) h = mix(h ^ static_cast<std::uint64_t>(cell[d]) ^ (h << 6));
  return h;
}

bool CoordHashMap::matches(const double* a, const double* b) const {
  for (unsigned d = 0; d < dim_; ++d) {
    if (!(std::fabs(a[d] - b[d]) <= tol_)) return false;
  }
  return true;
}

std::uint32_t CoordHashMap::searchCell(const std::int64_t* cell, std::uint64_t hash,
                                       const double* coords, std::uint32_t best) const {
  for (std::uint64_t s = hash & mask_; slots_[s] != 0; s = (s + 1) & mask_) {
    const std::uint32_t e = slots_[s] - 1;
    if (e >= best || hashes_[e] != hash) continue;
    if (!std::equal(cell, cell + dim_, &cells_[static_cast<std::size_t>(e) * dim_])) continue;
    if (matches(coords, &coords_[static_cast<std::size_t>(e) * dim_])) best = e;
  }
  return best;
}

void CoordHashMap::placeEntry(std::uint32_t entry) {
  std::uint64_t s = hashes_[entry] & mask_;
  while (slots_[s] != 0) s = (s + 1) & mask_;
  slots_[s] = entry + 1;
}

void CoordHashMap::grow() {
  slots_.assign(slots_.size() * 2, 0);
  mask_ = slots_.size() - 1;
  for (std::uint32_t e = 0; e < hashes_.size(); ++e) placeEntry(e);
}

std::pair<const int*, bool> CoordHashMap::insert(const double* coords, int index,
                                                 bool insertIfNew) {
  bool finite = true;
  for (unsigned d = 0; d < dim_; ++d) finite = finite && std::isfinite(coords[d]);
  const bool indexed = finite && !neverMatch_;

  std::int64_t* key = scratch_.data();
  if (indexed) {
    std::int64_t* lo = key + dim_;
    std::int64_t* hi = lo + dim_;
    std::int64_t* probe = hi + dim_;
    // Every stored point within the tolerance lies in a cell between lo and hi on each axis;
    // the small widening absorbs the rounding of the coordinate differences.
    const double span = tol_ * (1.0 + 1e-12);
    for (unsigned d = 0; d < dim_; ++d) {
      key[d] = cellOf(coords[d]);
      lo[d] = probe[d] = cellWidth_ == 0.0 ? key[d] : cellOf(coords[d] - span);
      hi[d] = cellWidth_ == 0.0 ? key[d] : cellOf(coords[d] + span);
    }
    // Visit every cell of the box lo..hi like an odometer; usually it is one or two cells.
    std::uint32_t best = kNone;
    for (;;) {
      best = searchCell(probe, hashCell(probe), coords, best);
      unsigned d = 0;
      while (d < dim_ && probe[d] == hi[d]) probe[d] = lo[d], ++d;
      if (d == dim_) break;
      ++probe[d];
    }
    if (best != kNone) return {entryIndex_[best], false};
  }
  if (!insertIfNew) return {nullptr, true};

  indices_.push_back(index);
  const int* stored = &indices_.back();
  if (indexed) {
    coords_.insert(coords_.end(), coords, coords + dim_);
    cells_.insert(cells_.end(), key, key + dim_);
    hashes_.push_back(hashCell(key));
    entryIndex_.push_back(stored);
    if (2 * hashes_.size() > slots_.size()) {
      grow();
    } else {
      placeEntry(static_cast<std::uint32_t>(hashes_.size() - 1));
    }
  }
  return {stored, true};
}
