// The abstract root of the top-level carriers that cross the boundary between the computing side
// and the graphics side. The graphics side switches on getDataCarrierType() to decide how to
// draw what it received.
#pragma once

#include "datacarrier/datacarrierexport.h"

namespace nkdatacarrier {

class QVDATACARRIER_EXPORT IDataCarrier {
 public:
  // The numbering is sparse on purpose: consumers switch on these exact values, and 0 and 5 to 8
  // are reserved.
  enum DataCarrierType {
    DC_RENDER_DRAW = 1,  // drawing objects
    DC_RENDER_GEOM = 2,  // geometry maps
    DC_RENDER_MESH = 3,  // render mesh collection
    DC_POST_DATA = 4,    // post-processing plot data
    DC_IMPRESSION = 9    // imprinted lines
  };

  IDataCarrier() = default;
  IDataCarrier(const IDataCarrier&) = default;
  IDataCarrier& operator=(const IDataCarrier&) = default;

  virtual DataCarrierType getDataCarrierType() const = 0;
  virtual ~IDataCarrier();
};

}  // namespace nkdatacarrier
