// CgSymbolData: a small typed property bag (named ints, strings, doubles and vectors of doubles)
// that a producer fills to describe one symbol and that travels as one serializable object.
// The keys mean nothing to this class; the producer and the consumer agree on them.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT CgSymbolData : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(1)

 public:
  CgSymbolData();
  CgSymbolData(const CgSymbolData&) = default;
  CgSymbolData& operator=(const CgSymbolData&) = default;
  ~CgSymbolData() override;

  // Each setter inserts the key into the map of its type or overwrites the value held there.
  // The four maps are independent: one key may be held in several of them.
  void setInt(const std::string& key, int value);
  void setString(const std::string& key, const std::string& value);
  void setDouble(const std::string& key, double value);
  void setVectorDouble(const std::string& key, const std::vector<double>& value);

  // True when any of the four maps holds `key`.
  bool got(const std::string& key) const;

  // The getters do not report a missing key (callers ask got() first): for a key that the map of
  // their type lacks they return 0, 0.0, an empty string or an empty vector.
  int getInt(const std::string& key) const;
  std::string getString(const std::string& key) const;
  double getDouble(const std::string& key) const;
  std::vector<double> getVectorDouble(const std::string& key) const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Replaces the whole content with what the stream holds.
  void deserializeRaw(ISerialStream& is) override;

 private:
  std::map<std::string, int> integers_;
  std::map<std::string, std::string> strings_;
  std::map<std::string, double> doubles_;
  std::map<std::string, std::vector<double>> vectors_;
};

}  // namespace nkdatacarrier
