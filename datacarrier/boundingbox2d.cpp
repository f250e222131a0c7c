#include "datacarrier/boundingbox2d.h"

#include "datacarrier/internal/serialio.h"

#include "datacarrier/internal/boxfields.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(BoundingBox2D, "RenderBoundingBox2D")

BoundingBox2D::BoundingBox2D() : v_{} {}

BoundingBox2D::BoundingBox2D(float minX, float maxX, float minY, float maxY)
    : v_{minX, maxX, minY, maxY} {}

BoundingBox2D::BoundingBox2D(double minX, double maxX, double minY, double maxY)
    : v_{static_cast<float>(minX), static_cast<float>(maxX), static_cast<float>(minY),
         static_cast<float>(maxY)} {}

BoundingBox2D::~BoundingBox2D() = default;

bool BoundingBox2D::intersects(const BoundingBox2D& other) const {
  return boxfields::overlap(v_, other.v_, 2);
}

bool BoundingBox2D::pointInside(double x, double y) const {
  return x >= double(v_[0]) && double(v_[1]) >= x && y >= double(v_[2]) && double(v_[3]) >= y;
}

void BoundingBox2D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  boxfields::write(os, v_, 4);
}

void BoundingBox2D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  boxfields::read(is, v_, 4);
}

}  // namespace nkdatacarrier
