#include "qvutil/inplaceserializable.h"

#include <cstring>

#include "qvutil/exception.h"

namespace {
const char* const kModule = "qvutil/inplaceserializable";
}

InPlaceSerDataHolder::~InPlaceSerDataHolder() = default;

void InPlaceSerDataHolder::addDataBlock(int byteLength, void* data) {
  blocks_.emplace_back(byteLength, data);
}

namespace nkbase {

void InPlaceSerializable::getBlockSerializationParameters(const PropertyList& props,
                                                          std::vector<int>& p) {
  p.push_back(static_cast<int>(props.size()));
  for (const auto& [name, value] : props) {
    p.push_back(static_cast<int>(name.size()));
    p.push_back(static_cast<int>(value.size()));
  }
}

void InPlaceSerializable::getBlockSerialization(PropertyList& props, InPlaceSerDataHolder& h) {
  for (auto& [name, value] : props) {
    if (!name.empty()) h.addDataBlock(static_cast<int>(name.size()), &name[0]);
    if (!value.empty()) h.addDataBlock(static_cast<int>(value.size()), &value[0]);
  }
}

void InPlaceSerializable::initDataFromParameters(PropertyList& props, const std::vector<int>& p,
                                                 std::size_t cursor) {
  auto take = [&](const char* what) {
    if (cursor >= p.size()) {
      throw Exception(kModule, __LINE__, kEndOfFileReached,
                      std::string("property parameters end before the ") + what);
    }
    const int v = p[cursor++];
    if (v < 0) {
      throw Exception(kModule, __LINE__, "Invalid_block_parameter",
                      std::string("negative ") + what + ": " + std::to_string(v));
    }
    return v;
  };
  const int count = take("number of properties");
  // Two lengths per pair must follow; checking first keeps a corrupt count from allocating.
  if (static_cast<std::size_t>(count) > (p.size() - cursor) / 2) {
    throw Exception(kModule, __LINE__, kEndOfFileReached,
                    "parameters announce " + std::to_string(count) + " properties but hold fewer");
  }
  PropertyList sized(static_cast<std::size_t>(count));
  for (auto& [name, value] : sized) {
    name.assign(static_cast<std::size_t>(take("name length")), '\0');
    value.assign(static_cast<std::size_t>(take("value length")), '\0');
  }
  props.swap(sized);
}

void transferByBlocks(InPlaceSerializable& source, InPlaceSerializable& target) {
  std::vector<int> params;
  source.createParameters(params);
  target.initFromParameters(params);
  InPlaceSerDataHolder from, to;
  source.createBlocks(from);
  target.createBlocks(to);
  const auto& a = from.getBlocks();
  const auto& b = to.getBlocks();
  if (a.size() != b.size()) {
    throw Exception(
        kModule, __LINE__, "Block_layout_mismatch",
        std::to_string(a.size()) + " blocks sent, " + std::to_string(b.size()) + " expected");
  }
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i].first != b[i].first || a[i].first < 0) {
      throw Exception(kModule, __LINE__, "Block_layout_mismatch",
                      "block " + std::to_string(i) + " has " + std::to_string(a[i].first) +
                          " bytes, receiver expects " + std::to_string(b[i].first));
    }
    if (a[i].first > 0 && a[i].second != b[i].second) {
      std::memcpy(b[i].second, a[i].second, static_cast<std::size_t>(a[i].first));
    }
  }
}

}  // namespace nkbase
