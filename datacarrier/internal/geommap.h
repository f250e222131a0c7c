// The maps of the geometry maps (RenderGeom1D/2D/3D) from rendered entities to the entities of
// the model's geometry: how they are initialised, written and read, once for every dimension.
// Internal to the library.
#pragma once

#include <numeric>
#include <vector>

#include "qvutil/serialstream.h"

namespace nkdatacarrier {
namespace geommap {

// Sizes map to the `rendered` entities of the geometry and stores `geometryCount` in `count`.
// When the two numbers agree (and are positive) the entities coincide and the map is the
// identity; otherwise the producer fills the returned map.
inline std::vector<int>& init(std::vector<int>& map, int& count, int rendered, int geometryCount) {
  map.resize(rendered > 0 ? static_cast<std::size_t>(rendered) : 0);
  count = geometryCount;
  if (geometryCount > 0 && map.size() == static_cast<std::size_t>(geometryCount)) {
    std::iota(map.begin(), map.end(), 0);
  }
  return map;
}

// The identity over `rendered` entities, rebuilt only when the size is off.
inline std::vector<int>& identity(std::vector<int>& map, int rendered) {
  const std::size_t n = rendered > 0 ? static_cast<std::size_t>(rendered) : 0;
  if (map.size() != n) {
    map.resize(n);
    std::iota(map.begin(), map.end(), 0);
  }
  return map;
}

// The unsigned size and the entries, the map's label, the geometry count and its label.
inline void write(OSerialStream& os, const std::vector<int>& map, const char* mapLabel, int count,
                  const char* countLabel) {
  os << static_cast<unsigned int>(map.size());
  for (int entry : map)
    os << entry;
  os.label(mapLabel);
  os << count;
  os.label(countLabel);
}

inline void read(ISerialStream& is, std::vector<int>& map, int& count) {
  is >> map;
  is >> count;
}

}  // namespace geommap
}  // namespace nkdatacarrier
