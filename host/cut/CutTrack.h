#pragma once

#include <string>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/cut/CutReport.h"
#include "host/media/MediaFile.h"
#include "host/media/ReframedStream.h"

namespace Tarsel::Host {

/// One stream of the source on its way into a result.
struct CutTrack {
    StreamInfo const* info = nullptr;
    StreamIndex const* index = nullptr;
    /// The stream with the ranges removed, in the framing of the result where there is one.
    iptr<Proc::IStreamRaw> stream;
    /// The same, once it has the framing of the result.
    iptr<ReframedStream> reframed;
    CutMode mode = CutMode::Packet;
    /// Why it is cut so, for people.
    std::string reason;
    /// The writer's number for it.
    int slot = -1;

    // What has gone out.
    int64 copied = 0;
    int64 recoded = 0;

    bool IsVideo() const { return info->kind == StreamKind::Video; }
};

}  // namespace Tarsel::Host
