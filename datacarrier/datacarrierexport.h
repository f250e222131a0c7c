// Symbol visibility for the qvdatacarrier shared library: it is built with hidden visibility and
// exports exactly the classes that carry QVDATACARRIER_EXPORT.
#pragma once

#define QVDATACARRIER_EXPORT __attribute__((visibility("default")))
