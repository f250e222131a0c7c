// What the three bounding-box classes share: their fields are (min, max) pairs of floats per
// axis, tested, written and read the same way whatever the dimension.
#pragma once

#include "qvutil/serialstream.h"

namespace nkdatacarrier {
namespace boxfields {

// Closed-interval overlap of two boxes of `axes` (min, max) pairs. Returns false at the first
// disjoint axis. Touching boxes overlap; a NaN bound never separates an axis (comparisons with
// NaN are false).
inline bool overlap(const float* a, const float* b, int axes) {
  for (int i = 0; i < axes; ++i) {
    if (b[2 * i] > a[2 * i + 1] || a[2 * i] > b[2 * i + 1]) return false;
  }
  return true;
}

inline const char* const kLabels[6] = {"minimum x-coordinate", "maximum x-coordinate",
                                       "minimum y-coordinate", "maximum y-coordinate",
                                       "minimum z-coordinate", "maximum z-coordinate"};

// The fields after the version: each float followed by its label.
inline void write(OSerialStream& os, const float* v, int count) {
  for (int i = 0; i < count; ++i) {
    os << v[i];
    os.label(kLabels[i]);
  }
}

inline void read(ISerialStream& is, float* v, int count) {
  for (int i = 0; i < count; ++i)
    is >> v[i];
}

}  // namespace boxfields
}  // namespace nkdatacarrier
