#pragma once

#include <memory>

#include "contracts/Conf/SampleInfo.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

struct SwrContext;

namespace Tarsel::Host {

struct FreeSwr {
    void operator()(SwrContext* context) const;
};
/// A converter of libswresample.
using SwrPtr = std::unique_ptr<SwrContext, FreeSwr>;

/// Opens a converter between two formats, whose words are all set, and gives 0; below 0 it is an error code of the
/// library, and `context` is null. `layout` is that of the input as its frames have it. Numbers are of the format
/// `internal` on their way; `AV_SAMPLE_FMT_NONE` leaves it to the library. A lone channel goes to a left and a right
/// speaker as it is; other layouts are mixed by the library's matrix.
int OpenSwr(SwrPtr& context, AVChannelLayout const& layout, Conf::SampleInfo const& from, Conf::SampleInfo const& to,
            AVSampleFormat internal = AV_SAMPLE_FMT_NONE);

}  // namespace Tarsel::Host
