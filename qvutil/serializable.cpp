#include "qvutil/serializable.h"

#include "qvutil/exception.h"

namespace nkbase {

Serializable::~Serializable() = default;

bool Serializable::isClassID(const std::string& id) const {
  return id == getClassID();
}

void Serializable::serialize(OSerialStream& os, Prop& prop) const {
  const std::string id = getClassID();
  os << id;
  os.beginObject(id);
  serializeRaw(os, prop);
  os.endObject();
}

void Serializable::deserialize(ISerialStream& is) {
  std::string id;
  is >> id;
  if (!isClassID(id)) {
    throw Exception("qvutil/serializable", __LINE__, "Unexpected_class_identifier",
                    "expected \"" + getClassID() + "\", found \"" + id + "\"");
  }
  deserializeRaw(is);
}

}  // namespace nkbase
