#include "datacarrier/boundingbox3d.h"

#include "datacarrier/internal/serialio.h"

#include "datacarrier/internal/boxfields.h"

namespace nkdatacarrier {

DC_DEFINE_CLASS_IDENTITY(BoundingBox3D, "RenderBoundingBox3D")

BoundingBox3D::BoundingBox3D() : v_{} {}

BoundingBox3D::BoundingBox3D(float minX, float maxX, float minY, float maxY, float minZ, float maxZ)
    : v_{minX, maxX, minY, maxY, minZ, maxZ} {}

BoundingBox3D::BoundingBox3D(double minX, double maxX, double minY, double maxY, double minZ,
                             double maxZ)
    : v_{static_cast<float>(minX), static_cast<float>(maxX), static_cast<float>(minY),
         static_cast<float>(maxY), static_cast<float>(minZ), static_cast<float>(maxZ)} {}

BoundingBox3D::~BoundingBox3D() = default;

bool BoundingBox3D::intersects(const BoundingBox3D& other) const {
  return boxfields::overlap(v_, other.v_, 3);
}

void BoundingBox3D::serializeRaw(OSerialStream& os, nkbase::Prop&) const {
  os << VERSION;
  os.label("version");
  boxfields::write(os, v_, 6);
}

void BoundingBox3D::deserializeRaw(ISerialStream& is) {
  DC_READ_VERSION(is, 0, VERSION);
  boxfields::read(is, v_, 6);
}

}  // namespace nkdatacarrier
