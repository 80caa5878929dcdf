#pragma once

namespace Tarsel::Proc {

/// The names of children that the properties of several settings have in common.
inline constexpr char ALPHA_KEY[] = "Alpha";
inline constexpr char COLOR_KEY[] = "Color";
inline constexpr char CURVE_KEY[] = "Curve";
inline constexpr char DIRECTION_KEY[] = "Direction";
inline constexpr char DURATION_KEY[] = "Duration";
inline constexpr char HEIGHT_KEY[] = "Height";
inline constexpr char IMPLEMENTATION_KEY[] = "Implementation";
inline constexpr char METHOD_KEY[] = "Method";
inline constexpr char MODE_KEY[] = "Mode";
inline constexpr char WIDTH_KEY[] = "Width";
inline constexpr char X_KEY[] = "X";
inline constexpr char Y_KEY[] = "Y";

}  // namespace Tarsel::Proc
