#include "qvutil/nkmath.h"

#include <cmath>
#include <limits>

double nkGetInf() {
  return std::numeric_limits<double>::infinity();
}
double nkGetNaN() {
  return std::numeric_limits<double>::quiet_NaN();
}
bool nkIsInf(double v) {
  return std::isinf(v);
}
bool nkIsNaN(double v) {
  return std::isnan(v);
}
