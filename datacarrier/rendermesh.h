// RenderMesh: the abstract base of the mesh pieces that the computing side sends for drawing a
// meshed domain (edges and boundary faces in 3D, subdomains in 1D and 2D, boundaries in 2D). It
// carries the kind of piece with its space and element dimension, the identity of the geometric
// domain that the piece discretises and a validity flag. The graphics side reads pieces of
// unknown kind back through deserializePolymorphic.
#pragma once

#include <string>

#include "datacarrier/classidentity.h"
#include "datacarrier/datacarrierexport.h"
#include "qvutil/serializable.h"
#include "qvutil/serialstream.h"
#include "qvutil/sharedptr.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT RenderMesh : public nkbase::Serializable {
 public:
  // The kind of piece. The numbers travel in streams; a value read from a stream is kept as it
  // is, known or not.
  enum Type : int {
    EDGE_3D = 0,       // RenderMeshEdge3D: space dimension 3, element dimension 1
    BOUNDARY_3D = 1,   // RenderMeshBoundary3D: 3, 2
    SUBDOMAIN_1D = 2,  // RenderMeshSubdomain1D: 1, 1
    SUBDOMAIN_2D = 3,  // RenderMeshSubdomain2D: 2, 2
    BOUNDARY_2D = 4    // RenderMeshBoundary2D: 2, 1
  };

  RenderMesh(const RenderMesh&) = default;
  RenderMesh& operator=(const RenderMesh&) = default;
  ~RenderMesh() override;

  // The attributes. The dimensions follow from the type when a piece is constructed; a piece
  // read from a stream keeps the dimensions stored there, even where they disagree with its type.
  Type getType() const { return type_; }
  int getDomainGeomIdentity() const { return domainGeomIdentity_; }
  int getDimension() const { return dimension_; }    // space dimension
  int getEDimension() const { return eDimension_; }  // element dimension
  // Set by the producer once the piece is complete; construction and reserve clear it.
  bool isValid() const { return valid_; }
  void setValid(bool valid) { valid_ = valid; }

  // A deep copy of the concrete piece, owned by the returned pointer.
  virtual nkboost::shared_ptr<RenderMesh> clone() const = 0;

  // Reads what nkbase::Serializable::serialize wrote for a piece of any kind: the class
  // identifier, which chooses the class, then the piece's own fields. An identifier that names
  // no piece raises "Incompatible_native_file_version"; an error inside the piece passes
  // through and the half-read piece is released.
  static nkboost::shared_ptr<RenderMesh> deserializePolymorphic(ISerialStream& is);

 protected:
  // Type and identity as given, dimensions derived from the type, not valid.
  RenderMesh(Type type, int domainGeomIdentity);
  // For pieces whose attributes are then read from a stream: unknown type (-1), identity 0,
  // dimensions 0, not valid.
  RenderMesh();

  // The attributes in the stream: type, identity, space dimension, element dimension, validity,
  // each followed by its label.
  void serializeAttributes(OSerialStream& os) const;
  // Reads them back and stores them as read: nothing is derived or checked.
  void deserializeAttributes(ISerialStream& is);

 private:
  // Space dimension of a type: 3 for EDGE_3D and BOUNDARY_3D, 1 for SUBDOMAIN_1D, 2 for
  // SUBDOMAIN_2D and BOUNDARY_2D, 0 otherwise.
  static int decideDimension(Type type);
  // Element dimension: 1 for EDGE_3D, SUBDOMAIN_1D and BOUNDARY_2D, 2 for BOUNDARY_3D and
  // SUBDOMAIN_2D, 0 otherwise.
  static int decideEDimension(Type type);

  Type type_;
  int domainGeomIdentity_;
  int dimension_;
  int eDimension_;
  bool valid_;
};

}  // namespace nkdatacarrier
