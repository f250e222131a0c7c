// BoundingBox2D: an axis-aligned rectangle kept beside the vertices of 2D curves, faces and
// impressions, so that picking and selection can reject a whole entity with one comparison.
// Single-precision, stored as given: a box whose minimum exceeds its maximum is kept and then
// overlaps nothing on that axis.
#pragma once

#include <type_traits>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT BoundingBox2D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // All bounds 0.
  BoundingBox2D();
  BoundingBox2D(float minX, float maxX, float minY, float maxY);
  // Each bound is rounded to the nearest float; the box is not widened to cover the rounding.
  BoundingBox2D(double minX, double maxX, double minY, double maxY);
  // Any other mix of numbers (integers, floats beside doubles), which matches neither of the
  // above better than the other, is taken as doubles.
  template <typename... T,
            typename = std::enable_if_t<sizeof...(T) == 4 && (std::is_arithmetic_v<T> && ...)>>
  BoundingBox2D(T... bounds) : BoundingBox2D(static_cast<double>(bounds)...) {}
  BoundingBox2D(const BoundingBox2D&) = default;
  BoundingBox2D& operator=(const BoundingBox2D&) = default;
  ~BoundingBox2D() override;

  float getMinX() const { return v_[0]; }
  float getMaxX() const { return v_[1]; }
  float getMinY() const { return v_[2]; }
  float getMaxY() const { return v_[3]; }

  // The bounds as stored, in the order min x, max x, min y, max y.
  std::vector<float> bounds() const { return std::vector<float>(v_, v_ + 4); }
  // The box of a query box given in that order, each bound rounded to the nearest float.
  static BoundingBox2D fromBounds(const std::vector<double>& box) {
    return BoundingBox2D(box[0], box[1], box[2], box[3]);
  }
  // The square around the ball of centre `center` and radius r: [c - r, c + r] on every axis,
  // formed in double and rounded like fromBounds.
  static BoundingBox2D aroundBall(const std::vector<double>& center, double r) {
    return BoundingBox2D(center[0] - r, center[0] + r, center[1] - r, center[1] + r);
  }

  // Closed-interval overlap, axis by axis: boxes that only touch intersect.
  bool intersects(const BoundingBox2D& other) const;

  // Closed containment: true exactly when minX <= x <= maxX and minY <= y <= maxY, the bounds
  // widened to double. A NaN coordinate is outside.
  bool pointInside(double x, double y) const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  float v_[4];  // min x, max x, min y, max y
};

}  // namespace nkdatacarrier
