// Impression: straight 2D line segments to be imprinted on a drawing, with their common bounding
// box and an identifier. The computing side fills it through allocate/addLine and hands it across
// as a top-level carrier; the graphics side draws vertex 2k to vertex 2k+1 for every k.
#pragma once

#include <vector>

#include "datacarrier/boundingbox2d.h"
#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/idatacarrier.h"
#include "qvutil/sharedptr.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT Impression : public nkbase::Serializable, public IDataCarrier {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  struct Vertex {
    float x;
    float y;
  };

  // Identifier -1, an all-zero box, no vertices.
  Impression();
  explicit Impression(int id);
  Impression(const Impression&) = default;
  Impression& operator=(const Impression&) = default;
  ~Impression() override;

  // The identifier given at construction; it is not serialized.
  int getId() const { return id_; }

  // Empties the vertices and reserves room for 2 * numberOfLines of them.
  void allocate(int numberOfLines);
  // Appends one end point, not a whole line: two calls make a line.
  void addLine(float x, float y);
  // Number of complete lines (a trailing lone vertex does not count).
  int getNumberOfLines() const { return static_cast<int>(vertices_.size() / 2); }
  const std::vector<Vertex>& getVertices() const { return vertices_; }

  void setBoundingBox2D(const BoundingBox2D& box) { box_ = box; }
  const BoundingBox2D& getBoundingBox() const { return box_; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // Restores the bounding box only; see the source for why the vertices stay empty.
  void deserializeRaw(ISerialStream& is) override;

  // A deep copy (identifier, box, vertices) owned by the returned pointer.
  virtual nkboost::shared_ptr<Impression> clone() const;

  DataCarrierType getDataCarrierType() const override { return DC_IMPRESSION; }

 private:
  int id_ = -1;
  BoundingBox2D box_;
  std::vector<Vertex> vertices_;
};

}  // namespace nkdatacarrier
