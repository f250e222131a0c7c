// BoundingBox1D: an interval on the x axis kept beside the vertices of 1D curves, so that picking
// and selection can reject a whole entity with one comparison. Single-precision, stored as given: a
// box whose minimum exceeds its maximum is kept and then overlaps nothing on that axis.
#pragma once

#include <type_traits>
#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT BoundingBox1D : public nkbase::Serializable {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // All bounds 0.
  BoundingBox1D();
  BoundingBox1D(float minX, float maxX);
  // Each bound is rounded to the nearest float; the box is not widened to cover the rounding.
  BoundingBox1D(double minX, double maxX);
  // Any other mix of numbers (integers, floats beside doubles), which matches neither of the
  // above better than the other, is taken as doubles.
  template <typename... T,
            typename = std::enable_if_t<sizeof...(T) == 2 && (std::is_arithmetic_v<T> && ...)>>
  BoundingBox1D(T... bounds) : BoundingBox1D(static_cast<double>(bounds)...) {}
  BoundingBox1D(const BoundingBox1D&) = default;
  BoundingBox1D& operator=(const BoundingBox1D&) = default;
  ~BoundingBox1D() override;

  float getMinX() const { return v_[0]; }
  float getMaxX() const { return v_[1]; }

  // The bounds as stored, in the order min x, max x.
  std::vector<float> bounds() const { return std::vector<float>(v_, v_ + 2); }
  // The box of a query box given in that order, each bound rounded to the nearest float.
  static BoundingBox1D fromBounds(const std::vector<double>& box) {
    return BoundingBox1D(box[0], box[1]);
  }

  // Closed-interval overlap, axis by axis: boxes that only touch intersect.
  bool intersects(const BoundingBox1D& other) const;

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  void deserializeRaw(ISerialStream& is) override;

 private:
  float v_[2];  // min x, max x
};

}  // namespace nkdatacarrier
