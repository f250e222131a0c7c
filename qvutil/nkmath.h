// Infinity and NaN as start values of searches, and the matching tests.
#pragma once

#include "qvutil/qvutilexport.h"

QVUTIL_EXPORT double nkGetInf();
QVUTIL_EXPORT double nkGetNaN();
// True for both infinities.
QVUTIL_EXPORT bool nkIsInf(double v);
QVUTIL_EXPORT bool nkIsNaN(double v);
