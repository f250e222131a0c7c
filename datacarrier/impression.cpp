#include "datacarrier/impression.h"

#include "datacarrier/internal/serialio.h"

#include <algorithm>
#include <cstdint>

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(Impression, "Impression")

namespace {

// Bytes of one vertex in the stream: two floats.
constexpr std::size_t kVertexBytes = 8;

}  // namespace

Impression::Impression() = default;
Impression::Impression(int id) : id_(id) {}
Impression::~Impression() = default;

void Impression::allocate(int numberOfLines) {
  vertices_.clear();
  // A negative count becomes a huge size here and raises the standard length error.
  vertices_.reserve(2 * static_cast<std::size_t>(numberOfLines));
}

void Impression::addLine(float x, float y) {
  vertices_.push_back({x, y});
}

nkboost::shared_ptr<Impression> Impression::clone() const {
  return nkboost::make_shared<Impression>(*this);
}

void Impression::serializeRaw(OSerialStream& os, nkbase::Prop& prop) const {
  os << VERSION;
  os.label("version");
  os.label("Bounding box");
  box_.serialize(os, prop);  // no closing empty label after the box in this format
  os.label("Number of vertices");
  os << static_cast<int>(vertices_.size());
  os.label("Vertices");
  for (const Vertex& v : vertices_)
    os << v.x << v.y;
}

void Impression::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  box_.deserialize(is);
  const int count = DC_READ_COUNT(is, kVertexBytes);
  vertices_.clear();
  vertices_.reserve(serialio::initialCapacity(is, count));
  // Deliberately consumed and dropped: this format version's reader leaves the vertex array
  // empty, and callers rely on zero lines after reading.
  for (int i = 0; i < count; ++i) {
    float x = 0.0f;
    float y = 0.0f;
    is >> x >> y;
  }
}

}  // namespace nkdatacarrier
