// BoundingBox3D: an axis-aligned box kept beside the vertices of 3D curves, sheets and solids, so
// that picking and selection can reject a whole entity with one comparison. Single-precision,
// stored as given: a box whose minimum exceeds its maximum is kept and then overlaps nothing on
// that axis.
#pragma once

#include <type_traits>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT BoundingBox3D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // All bounds 0.
  BoundingBox3D();
  BoundingBox3D(float minX, float maxX, float minY, float maxY, float minZ, float maxZ);
  // Each bound is rounded to the nearest float; the box is not widened to cover the rounding.
  BoundingBox3D(double minX, double maxX, double minY, double maxY, double minZ, double maxZ);
  // Any other mix of numbers (integers, floats beside doubles), which matches neither of the
  // above better than the other, is taken as doubles.
  template <typename... T,
            typename = std::enable_if_t<sizeof...(T) == 6 && (std::is_arithmetic_v<T> && ...)>>
  BoundingBox3D(T... bounds) : BoundingBox3D(static_cast<double>(bounds)...) {}
  BoundingBox3D(const BoundingBox3D&) = default;
  BoundingBox3D& operator=(const BoundingBox3D&) = default;
  ~BoundingBox3D() override;

  float getMinX() const { return v_[0]; }
  float getMaxX() const { return v_[1]; }
  float getMinY() const { return v_[2]; }
  float getMaxY() const { return v_[3]; }
  float getMinZ() const { return v_[4]; }
  float getMaxZ() const { return v_[5]; }

  // The bounds as stored, in the order min x, max x, min y, max y, min z, max z.
  std::vector<float> bounds() const { return std::vector<float>(v_, v_ + 6); }
  // The box of a query box given in that order, each bound rounded to the nearest float.
  static BoundingBox3D fromBounds(const std::vector<double>& box) {
    return BoundingBox3D(box[0], box[1], box[2], box[3], box[4], box[5]);
  }
  // The cube around the ball of centre `center` and radius r: [c - r, c + r] on every axis,
  // formed in double and rounded like fromBounds.
  static BoundingBox3D aroundBall(const std::vector<double>& center, double r) {
    return BoundingBox3D(center[0] - r, center[0] + r, center[1] - r, center[1] + r, center[2] - r,
                         center[2] + r);
  }

  // Closed-interval overlap, axis by axis: boxes that only touch intersect.
  bool intersects(const BoundingBox3D& other) const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  float v_[6];  // min x, max x, min y, max y, min z, max z
};

}  // namespace nkdatacarrier
