# The carrier classes that the fuzz targets, the corpus replay and the truncation test cover:
# adding a class is one line here (its header is datacarrier/<class in lower case>.h).
set(QV_FUZZ_CLASSES
  Adjacent
  BoundingBox1D
  BoundingBox2D
  BoundingBox3D
  CgSymbolData
  ClosedPath2D
  Curve1D
  Curve2D
  Curve3D
  Face2D
  Impression
  PostDataObject
  RenderDraw1D
  RenderDraw2D
  RenderDraw3D
  RenderDrawEdit2D
  RenderDrawProj2D
  RenderGeom1D
  RenderGeom2D
  RenderGeom3D
  RenderMeshBoundary2D
  RenderMeshBoundary3D
  RenderMeshCollection
  RenderMeshEdge3D
  RenderMeshSubdomain1D
  RenderMeshSubdomain2D
  Sheet3D
)

# fuzzclasses.h in the build tree: the headers of those classes and QV_FOR_EACH_FUZZ_CLASS(X),
# which expands X(Class) once per class.
set(QV_FUZZ_GENERATED_DIR ${CMAKE_BINARY_DIR}/fuzz-generated)
set(_includes "")
set(_each "")
foreach(class ${QV_FUZZ_CLASSES})
  string(TOLOWER ${class} header)
  string(APPEND _includes "#include \"datacarrier/${header}.h\"\n")
  string(APPEND _each " X(${class})")
endforeach()
file(CONFIGURE OUTPUT ${QV_FUZZ_GENERATED_DIR}/fuzzclasses.h CONTENT
"// Generated from fuzz/classes.cmake: the classes that are fuzzed and replayed.
#pragma once
${_includes}
#define QV_FOR_EACH_FUZZ_CLASS(X)${_each}
")
unset(_includes)
unset(_each)
