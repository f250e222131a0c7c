#include "datacarrier/boundingbox1d.h"

#include "datacarrier/internal/serialio.h"

#include "datacarrier/internal/boxfields.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(BoundingBox1D, "RenderBoundingBox1D")

BoundingBox1D::BoundingBox1D() : v_{} {}

BoundingBox1D::BoundingBox1D(float minX, float maxX) : v_{minX, maxX} {}

BoundingBox1D::BoundingBox1D(double minX, double maxX)
    : v_{static_cast<float>(minX), static_cast<float>(maxX)} {}

BoundingBox1D::~BoundingBox1D() = default;

bool BoundingBox1D::intersects(const BoundingBox1D& other) const {
  return boxfields::overlap(v_, other.v_, 1);
}

void BoundingBox1D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  boxfields::write(os, v_, 2);
}

void BoundingBox1D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  boxfields::read(is, v_, 2);
}

}  // namespace nkdatacarrier
