// An opaque value handed through serialize/serializeRaw so that a writer can pass context to the
// objects it contains. It holds nothing.
#pragma once

namespace nkbase {

class Prop {};

}  // namespace nkbase
