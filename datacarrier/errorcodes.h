// The error codes of the library, in one place. Every raise passes one of these as the code of
// its nkbase::Exception (the read errors of the streams use nkbase::kEndOfFileReached); callers
// compare getCode() against them. Where a code is a sentence, no separate message goes with it.
#pragma once

namespace nkdatacarrier {
namespace errors {

// A version read from a stream or a block that the class does not accept.
inline constexpr const char* kIncompatibleVersion = "Incompatible_native_file_version";
// A block of plot data larger than an int can count, or a corrupt block parameter.
inline constexpr const char* kBlockTooLarge = "Block_too_large";
inline constexpr const char* kInvalidBlockParameter = "Invalid_block_parameter";
// A checked cast of a shared pointer to the wrong class (with a message naming the class).
inline constexpr const char* kInternalError = "Internal_error";
// A render-array export asked of a geometry that has none.
inline constexpr const char* kNoRenderExport = "Internal_error_exch_processing";
// An index that a measuring or a 3D selection query checks is out of range.
inline constexpr const char* kAssertionFailure = "VEXAL_assertion_failure";
// A selection asked for an entity dimension the geometry does not select. The spaced spelling
// is the rule; one site of the 2D box test raises the underscored one.
inline constexpr const char* kInvalidEntityDimension = "Invalid entity dimension";
inline constexpr const char* kInvalidEntityDimensionUnderscored = "Invalid_entity_dimension";
// A face index outside the geometry's faces.
inline constexpr const char* kInvalidFaceNumber = "Invalid_face_number";
// The editable sketch measures and selects nothing.
inline constexpr const char* kUnsupportedOperation = "Unsupported_operation_on_this_type_of_object";

// Operations that only some geometries answer; the others raise these sentences.
inline constexpr const char* kFindLineIntersectionsOnly3D =
    "findLineIntersections only implemented in 3D";
inline constexpr const char* kFindClosestPointOnly3D = "findClosestPoint only implemented in 3D";
inline constexpr const char* kFindPlaneIntersectionsOnly3D =
    "findPlaneIntersections only implemented in 3D";
inline constexpr const char* kFindEntitiesInCylinderOnly3D =
    "findEntitiesInCylinder only implemented in 3D";
inline constexpr const char* kIsInCylinderOnly3D = "isInCylinder only implemented in 3D";
inline constexpr const char* kFindEntitiesInBallNotProj2D =
    "findEntitiesInBall not implemented in proj2D";
inline constexpr const char* kFindEntitiesInBoxNotProj2D =
    "findEntitiesInBox not implemented in proj2D";
inline constexpr const char* kIsInBallNotProj2D = "isInBall not implemented in proj2D";
inline constexpr const char* kIsInBoxNotProj2D = "isInBox not implemented in proj2D";
inline constexpr const char* kNumUniquePointsEstimateNotProj2D =
    "numUniquePointsEstimate not implemented in proj2D";
inline constexpr const char* kNumUniquePointsEstimateNotEdit2D =
    "numUniquePointsEstimate not implemented in edit2D";

}  // namespace errors
}  // namespace nkdatacarrier
