#pragma once

#include <span>

#include "contracts/Proc/IData.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Tarsel::Proc::Details {

/// The rectangles of an event; none where the event, its contents or their list is missing. Single ones may be null.
inline std::span<AVSubtitleRect const* const> RectsOf(iptr<IDataSubtitle> const& subtitle) {
    AVSubtitle const* const event = subtitle ? subtitle->GetAVSubtitle() : nullptr;
    if (!event || !event->rects) return {};
    return {event->rects, event->num_rects};
}

}  // namespace Tarsel::Proc::Details
