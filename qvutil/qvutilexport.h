// Symbol visibility for the qvutil shared library: the library is built with hidden visibility,
// and every public class or function carries QVUTIL_EXPORT.
#pragma once

#define QVUTIL_EXPORT __attribute__((visibility("default")))
