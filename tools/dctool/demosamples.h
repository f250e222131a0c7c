// The built-in samples of `dctool demo`: one small but real object of every carrier class, with
// a few queries to run on it.
#pragma once

#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "qvutil/serializable.h"

namespace dctool {

struct DemoSample {
  std::string stem;   // file name without extension
  std::string title;  // what the sample shows
  std::shared_ptr<nkbase::Serializable> object;
  std::function<void(std::ostream&)> query;  // queries on the sample, printed; may be empty
  bool picture = false;                      // a 2D drawing that `dctool svg` can draw
};

std::vector<DemoSample> demoSamples();

}  // namespace dctool
