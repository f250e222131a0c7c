#include "datacarrier/cgsymboldata.h"

#include "datacarrier/internal/serialio.h"

#include <utility>

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(CgSymbolData, "CgSymbolData")

namespace {

// The value under `key`, or a value-initialised one when the map lacks it.
template <typename Map>
typename Map::mapped_type valueOr0(const Map& map, const std::string& key) {
  const auto it = map.find(key);
  return it == map.end() ? typename Map::mapped_type() : it->second;
}

// An entry count. Nothing is sized by it, so no bound is needed: a count larger than the stream
// runs into its end, which raises; a negative one holds no entries, as a loop over it reads none.
int readEntryCount(ISerialStream& is) {
  int count = 0;
  is >> count;
  return count;
}

}  // namespace

CgSymbolData::CgSymbolData() = default;
CgSymbolData::~CgSymbolData() = default;

void CgSymbolData::setInt(const std::string& key, int value) {
  integers_[key] = value;
}

void CgSymbolData::setString(const std::string& key, const std::string& value) {
  strings_[key] = value;
}

void CgSymbolData::setDouble(const std::string& key, double value) {
  doubles_[key] = value;
}

void CgSymbolData::setVectorDouble(const std::string& key, const std::vector<double>& value) {
  vectors_[key] = value;
}

bool CgSymbolData::got(const std::string& key) const {
  return integers_.count(key) != 0 || strings_.count(key) != 0 || doubles_.count(key) != 0 ||
         vectors_.count(key) != 0;
}

int CgSymbolData::getInt(const std::string& key) const {
  return valueOr0(integers_, key);
}

std::string CgSymbolData::getString(const std::string& key) const {
  return valueOr0(strings_, key);
}

double CgSymbolData::getDouble(const std::string& key) const {
  return valueOr0(doubles_, key);
}

std::vector<double> CgSymbolData::getVectorDouble(const std::string& key) const {
  return valueOr0(vectors_, key);
}

void CgSymbolData::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");  // the only label of this format
  os << static_cast<int>(integers_.size());
  for (const auto& [key, value] : integers_)
    os << key << value;
  os << static_cast<int>(strings_.size());
  for (const auto& [key, value] : strings_)
    os << key << value;
  os << static_cast<int>(doubles_.size());
  for (const auto& [key, value] : doubles_)
    os << key << value;
  os << static_cast<int>(vectors_.size());
  for (const auto& [key, values] : vectors_) {
    os << key;
    // An unsigned length, then the elements: the form that ISerialStream's vector read expects.
    os << static_cast<unsigned int>(values.size());
    for (double x : values)
      os << x;
  }
}

void CgSymbolData::deserializeRaw(ISerialStream& is) {
  // Deliberately unchecked: every version of this format is read the same way.
  int version = 0;
  is >> version;
  integers_.clear();
  strings_.clear();
  doubles_.clear();
  vectors_.clear();
  std::string key;
  const int numIntegers = readEntryCount(is);
  for (int i = 0; i < numIntegers; ++i) {
    int value = 0;
    is >> key >> value;
    integers_[key] = value;
  }
  const int numStrings = readEntryCount(is);
  for (int i = 0; i < numStrings; ++i) {
    std::string value;
    is >> key >> value;
    strings_[key] = std::move(value);
  }
  const int numDoubles = readEntryCount(is);
  for (int i = 0; i < numDoubles; ++i) {
    double value = 0.0;
    is >> key >> value;
    doubles_[key] = value;
  }
  const int numVectors = readEntryCount(is);
  for (int i = 0; i < numVectors; ++i) {
    std::vector<double> values;
    is >> key >> values;
    vectors_[key] = std::move(values);
  }
}

}  // namespace nkdatacarrier
