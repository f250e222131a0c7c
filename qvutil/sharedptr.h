// The shared pointer through which carriers are cloned and bulk arrays are shared.
#pragma once

#include <memory>

namespace nkboost {
using std::dynamic_pointer_cast;
using std::make_shared;
using std::shared_ptr;
using std::static_pointer_cast;
}  // namespace nkboost
