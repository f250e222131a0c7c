// The root of every serializable carrier. serialize() frames an object by writing its class
// identifier before its own fields; deserialize() checks that identifier before reading them, so
// that a nested object of the wrong class is refused instead of misread.
#pragma once

#include <string>

#include "qvutil/prop.h"
#include "qvutil/qvutilexport.h"
#include "qvutil/serialstream.h"

namespace nkbase {

class QVUTIL_EXPORT Serializable {
 public:
  virtual ~Serializable();
  // Writes the object's own fields.
  virtual void serializeRaw(OSerialStream& os, Prop& prop) const = 0;
  // Reads them back.
  virtual void deserializeRaw(ISerialStream& is) = 0;
  virtual std::string getClassID() const = 0;
  // True when `id` equals getClassID(), byte for byte.
  virtual bool isClassID(const std::string& id) const;

  // Writes getClassID() as a string, then serializeRaw() between the stream's beginObject and
  // endObject (which write nothing unless the stream shows nesting).
  void serialize(OSerialStream& os, Prop& prop) const;
  // Reads the class identifier; raises "Unexpected_class_identifier" unless isClassID(it), then
  // calls deserializeRaw().
  void deserialize(ISerialStream& is);

 protected:
  Serializable() = default;
  Serializable(const Serializable&) = default;
  Serializable& operator=(const Serializable&) = default;
};

}  // namespace nkbase
