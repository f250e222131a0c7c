// Import of real models: anything the mesher's library opens (its own .msh and .geo files,
// STEP, BRep, STL) becomes a 3D geometry map (or a 3D drawing) whose maps hold the model's own
// entity tags. Built only when the mesher's library was found at configure time.
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "qvutil/serializable.h"

namespace dctool {

struct ImportOptions {
  double size = 0;    // mesh size for surfaces and curves without a mesh; 0: the mesher's default
  bool draw = false;  // a RenderDraw3D instead of a RenderGeom3D
};

// True when this dctool was built with the mesher's library.
bool importAvailable();

// Reads `path` with the mesher's library and builds the carrier. Entities with non-finite
// coordinates are left out (as invalid sheets or curves) and reported on `log`. Raises
// ToolError(1, ...) when the file cannot be opened.
std::unique_ptr<nkbase::Serializable> importModel(const std::string& path,
                                                  const ImportOptions& options, std::ostream& log);

// Builds the demo's part with the mesher's geometry kernel (an L-shaped bracket with a round
// hole through its base), meshes its surfaces and writes the model to `mshPath`. False when
// this dctool was built without the mesher's library.
bool buildDemoPart(const std::string& mshPath);

}  // namespace dctool
