// Media files for tests, made by the ffmpeg command when they are first asked for and kept in the build folder.
#pragma once

#include <string>

namespace Tarsel::Tests {

/// Path of a clip of the media family. A clip is made once per build folder and again when its arguments change;
/// several processes may ask at the same time. Throws `std::runtime_error` for an unknown name and when ffmpeg fails.
std::string TestMedia(std::string const& name);

}  // namespace Tarsel::Tests
