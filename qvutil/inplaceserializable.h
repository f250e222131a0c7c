// Block (in-place) serialization: instead of a stream, an object describes itself as a vector of
// int parameters plus a list of raw memory blocks. A receiver sized from the parameters exposes
// blocks of the same sizes, and the bytes are copied block by block (across processes, by
// shared memory or a socket; here by transferByBlocks).
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "qvutil/serializable.h"

class QVUTIL_EXPORT InPlaceSerDataHolder {
 public:
  virtual ~InPlaceSerDataHolder();
  // Records a block of `byteLength` bytes at `data`.
  virtual void addDataBlock(int byteLength, void* data);
  const std::vector<std::pair<int, void*>>& getBlocks() const { return blocks_; }

 private:
  std::vector<std::pair<int, void*>> blocks_;
};

namespace nkbase {

using PropertyList = std::vector<std::pair<std::string, std::string>>;

class QVUTIL_EXPORT InPlaceSerializable : public Serializable {
 public:
  // Appends the parameters that let a receiver size itself.
  virtual void createParameters(std::vector<int>& p) const = 0;
  // Records every block of the object's data, in a fixed order.
  virtual void createBlocks(InPlaceSerDataHolder& h) = 0;
  // Sizes the object from parameters made by createParameters.
  virtual void initFromParameters(const std::vector<int>& p) = 0;

 protected:
  // A property list travels as: number of pairs, then per pair the byte lengths of name and
  // value (parameters); then the bytes of every non-empty name and value, in order (blocks).
  static void getBlockSerializationParameters(const PropertyList& props, std::vector<int>& p);
  static void getBlockSerialization(PropertyList& props, InPlaceSerDataHolder& h);
  // Sizes `props` from the parameters at `cursor`; raises "End_of_file_reached" when `p` is too
  // short for what it announces.
  static void initDataFromParameters(PropertyList& props, const std::vector<int>& p,
                                     std::size_t cursor);
};

// Sends `source` to `target` the way two processes would: parameters, then every block's bytes.
// Raises "Block_layout_mismatch" when the receiver's blocks differ in number or size.
QVUTIL_EXPORT void transferByBlocks(InPlaceSerializable& source, InPlaceSerializable& target);

}  // namespace nkbase
