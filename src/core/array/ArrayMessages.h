#pragma once

// Source paths and texts of the arrays' failed checks, shared by the ranks.
namespace ostrel::core::array_messages {

inline constexpr const char* kArray1DInl = "core/array/Array1D.inl";
inline constexpr const char* kArray1DExt = "core/array/Array1D.ext";
inline constexpr const char* kArray2DInl = "core/array/Array2D.inl";
inline constexpr const char* kArray3DInl = "core/array/Array3D.inl";
inline constexpr const char* kFixedResize = "Trying to resize an array with fixed shape.";
inline constexpr const char* kFixedReset = "Trying to reset an array with fixed shape.";

}  // namespace ostrel::core::array_messages
