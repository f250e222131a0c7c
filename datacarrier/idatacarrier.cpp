#include "datacarrier/idatacarrier.h"

namespace nkdatacarrier {

IDataCarrier::~IDataCarrier() = default;

}  // namespace nkdatacarrier
