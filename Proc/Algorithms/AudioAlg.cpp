#include "Proc/Algorithms/AudioAlg.h"

#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {

AudioBlockView::AudioBlockView(iptr<IDataAudio> const& block) {
    if (!block) TARSEL_THROW(std::invalid_argument, "block is NULL");
    AVFrame* const frame = block->GetAVFrame();
    samples = block->GetSampleCount();
    info = block->GetSampleInfo();
    data = frame->extended_data[0];
    planeBytes = static_cast<uint32>(frame->linesize[0]);
    int const size = info.GetSampleSizePerPlane();
    if (size == 0) return;  // a format that no function knows: each has its own text for that
    bool packed = int64{frame->linesize[0]} == int64{size} * samples;
    for (int plane = 1; packed && plane < info.GetPlanesCount(); ++plane)
        packed = frame->extended_data[plane] == data + static_cast<std::size_t>(planeBytes) * plane;
    if (!packed)
        TARSEL_THROW(ProcException,
                     "The planes of an audio block of " + std::to_string(samples) + " samples don't lie back to back");
}

}  // namespace Tarsel::Proc
