// The carrier classes dctool knows, by class identifier: how to make an empty object to read a
// file into, and how to summarise one. Adding a class is one line in registry.cpp.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qvutil/serializable.h"

namespace dctool {

// What `dctool info` prints about an object.
struct Summary {
  std::string classID;
  int dataCarrierType = -1;  // -1: not a top-level carrier
  std::vector<std::pair<std::string, long long>> counts;
  std::vector<float> boundingBox;  // (min, max) per axis; empty when the class has none
  int valid = -1;                  // -1: the class has no validity flag
  std::vector<int> degrees;        // the polynomial degree of each curve that has one
  // Named measures: one value (a curve's "length") or one per entity ("solid volumes").
  std::vector<std::pair<std::string, std::vector<double>>> measures;
};

struct CarrierClass {
  std::string classID;
  std::function<std::unique_ptr<nkbase::Serializable>()> make;
  std::function<void(const nkbase::Serializable&, Summary&)> summarise;
};

// Every registered class, in registration order.
const std::vector<CarrierClass>& carrierClasses();
// The class with this identifier, or null.
const CarrierClass* findCarrierClass(const std::string& classID);

}  // namespace dctool
