// RenderMeshCollection: the data carrier of a model's whole drawable mesh, an ordered list of mesh
// pieces of one space dimension. The computing side adds the pieces and writes it; the graphics
// side reads it back (each piece by its class identifier) and draws the pieces. Pieces are held
// by shared pointer: adding and assigning share them, clone copies them.
#pragma once

#include <vector>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "datacarrier/idatacarrier.h"
#include "datacarrier/rendermesh.h"
#include "qvutil/sharedptr.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMeshCollection : public nkbase::Serializable, public IDataCarrier {
  DC_DECLARE_CLASS_IDENTITY(0)

 public:
  // No pieces; the space dimension (0) is to be read from a stream.
  RenderMeshCollection();
  // No pieces, of the given space dimension.
  explicit RenderMeshCollection(int sdim);
  // Shallow: copies the space dimension and the pointers, so both collections share the pieces.
  RenderMeshCollection& operator=(const RenderMeshCollection&) = default;
  // Moving hands the pointers over; the source is left empty.
  RenderMeshCollection(RenderMeshCollection&&) noexcept = default;
  RenderMeshCollection& operator=(RenderMeshCollection&&) noexcept = default;
  ~RenderMeshCollection() override;

  // A deep copy: every piece cloned.
  nkboost::shared_ptr<RenderMeshCollection> clone() const;

  // Empties the list and reserves room for n pieces.
  void reserve(int n);
  // Appends the pointer (not null): the piece is shared, not copied.
  void addRenderMesh(nkboost::shared_ptr<RenderMesh> piece) { pieces_.push_back(std::move(piece)); }
  int getNumberOfRenderMeshs() const { return static_cast<int>(pieces_.size()); }
  // Piece i, unchecked.
  const nkboost::shared_ptr<RenderMesh>& getRenderMesh(int i) const { return pieces_[i]; }
  int getSDim() const { return sdim_; }

  DataCarrierType getDataCarrierType() const override { return DC_RENDER_MESH; }

  void serializeRaw(OSerialStream& os, nkbase::Prop& prop) const override;
  // A count below 1 reads no pieces. A piece that fails to read raises; the pieces before it
  // stay in the list.
  void deserializeRaw(ISerialStream& is) override;

 private:
  // Deep: the space dimension and a clone of every piece. Private, so that a copy by value is
  // never taken by accident: clone() says that it copies, assignment that it shares.
  RenderMeshCollection(const RenderMeshCollection& other);

  int sdim_ = 0;
  std::vector<nkboost::shared_ptr<RenderMesh>> pieces_;
};

}  // namespace nkdatacarrier
