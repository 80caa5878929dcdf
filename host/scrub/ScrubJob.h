#pragma once

#include <cstddef>
#include <functional>
#include <string>

#include "contracts/Core/Export.h"
#include "host/media/MediaFile.h"
#include "host/scrub/ScrubPlayer.h"
#include "host/scrub/ScrubReport.h"

namespace Tarsel::Host {

struct ScrubOptions {
    /// Over linked caches; otherwise on the bare decoders.
    bool cached = true;
    ScrubListener listener;
    /// After each operation: how many are done.
    std::function<void(std::size_t)> progress;
};

/// Plays a script over the first video and the first audio stream of the file that have packets; one of them is
/// enough. Throws `Core::IOException` "PATH: ..." when there is neither, and what the streams throw, with the operation
/// in front.
TARSEL_HOST_EXPORT ScrubReport RunScrub(iptr<MediaFile> const& file, ScrubScript const& script,
                                        ScrubOptions const& options);

/// A script of `count` operations that suits the file; see `MakeRandomScrub`. Throws like `RunScrub`.
TARSEL_HOST_EXPORT ScrubScript MakeRandomScrub(MediaFile const& file, std::size_t count, uint64 seed);

}  // namespace Tarsel::Host
