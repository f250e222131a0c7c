#include "datacarrier/rendermeshcollection.h"

#include <algorithm>
#include <cstdint>

#include "datacarrier/internal/serialio.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(RenderMeshCollection, "RenderMeshCollection")

namespace {

// The least a piece takes in a stream of known length: its class identifier (length and at least
// 16 bytes), version, the four int attributes and the validity flag, one count.
constexpr std::size_t kMinPieceBytes = 4 + 16 + 4 + 4 * 4 + 1 + 4;

}  // namespace

RenderMeshCollection::RenderMeshCollection() = default;
RenderMeshCollection::RenderMeshCollection(int sdim) : sdim_(sdim) {}
RenderMeshCollection::~RenderMeshCollection() = default;

RenderMeshCollection::RenderMeshCollection(const RenderMeshCollection& other)
    : nkbase::Serializable(other), IDataCarrier(other), sdim_(other.sdim_) {
  pieces_.reserve(other.pieces_.size());
  for (const auto& piece : other.pieces_)
    pieces_.push_back(piece ? piece->clone() : nullptr);
}

nkboost::shared_ptr<RenderMeshCollection> RenderMeshCollection::clone() const {
  return nkboost::shared_ptr<RenderMeshCollection>(new RenderMeshCollection(*this));
}

void RenderMeshCollection::reserve(int n) {
  pieces_.clear();
  pieces_.reserve(n > 0 ? static_cast<std::size_t>(n) : 0);
}

void RenderMeshCollection::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  os << sdim_;
  os.label("space dimension");
  os << getNumberOfRenderMeshs();
  os.label("number of objects");
  os.label("");
  os.label("RenderMesh objects");
  for (const auto& piece : pieces_) {
    os.label("");
    piece->serialize(os, prop);
  }
}

void RenderMeshCollection::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION_AT(96, is, VERSION, VERSION);
  int count = 0;
  is >> sdim_ >> count;
  pieces_.clear();
  if (count < 1) return;
  // The count is not refused up front: the pieces are read one by one, so that those before an
  // unreadable one (an unknown identifier, the end of the stream) stay in the list. The room
  // reserved is only what the stream can hold, or a bounded start for one of unknown length.
  const std::size_t left = is.available();
  const int fits = left == SIZE_MAX
                       ? count
                       : static_cast<int>(std::min<std::size_t>(count, left / kMinPieceBytes));
  pieces_.reserve(serialio::initialCapacity(is, fits));
  for (int i = 0; i < count; ++i)
    pieces_.push_back(RenderMesh::deserializePolymorphic(is));
}

}  // namespace nkdatacarrier
