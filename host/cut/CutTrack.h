#pragma once

#include <string>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/cut/CutReport.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// One stream of the source on its way through a cut.
struct CutTrack {
    StreamInfo const* info = nullptr;
    StreamIndex const* index = nullptr;
    /// The stream with the ranges removed.
    iptr<Proc::IStreamRaw> stream;
    CutMode mode = CutMode::Packet;
    /// Why it is cut so, for people.
    std::string reason;
    /// The writer's number for it.
    int slot = -1;

    // What has gone out.
    int64 copied = 0;
    int64 recoded = 0;

    // State of the reader.
    iptr<Proc::IDataPacket> next;
    bool ended = false;

    bool IsVideo() const { return info->kind == StreamKind::Video; }
};

}  // namespace Tarsel::Host
