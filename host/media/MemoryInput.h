#pragma once

#include <memory>
#include <string>

#include "host/media/FFmpeg.h"

namespace Tarsel::Host {

/// What a reader of libavformat takes for the bytes of its file.
using SharedBytes = std::shared_ptr<std::string const>;

/// Makes `context` read `bytes`, which it keeps alive; `FreeInput` gives them back. Throws `Core::IOException` without
/// memory.
void ReadFromMemory(AVFormatContext& context, SharedBytes bytes);
/// Gives back what `ReadFromMemory` made, of which libavformat frees nothing. Null does nothing.
void FreeMemoryInput(AVIOContext* input);

}  // namespace Tarsel::Host
