#pragma once

namespace Tarsel::Proc::ImplNames {

/// Names of implementations of one kind of filter, effect or codec.
inline constexpr char TARSEL[] = "Tarsel";
inline constexpr char FFMPEG[] = "FFmpeg";
inline constexpr char MEDIA_FOUNDATION[] = "MediaFoundation";
inline constexpr char INTEL_MEDIA_HW[] = "IntelMediaHW";
inline constexpr char OGL[] = "OGL";
/// Whatever the host holds best; a registry answers it with `TARSEL`.
inline constexpr char DEFAULT[] = "Default";

}  // namespace Tarsel::Proc::ImplNames
