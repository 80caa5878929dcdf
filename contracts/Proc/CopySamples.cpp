#include "contracts/Proc/CopySamples.h"

#include <cstddef>
#include <cstring>

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {

void CopySamples(IDataAudio& to, int toOffset, IDataAudio& from, int fromOffset, int count) {
    CopySamples(*to.GetAVFrame(), toOffset, *from.GetAVFrame(), fromOffset, count, to.GetSampleInfo());
}

void CopySamples(AVFrame& to, int toOffset, AVFrame const& from, int fromOffset, int count,
                 Conf::SampleInfo const& info) {
    if (count <= 0) return;
    std::size_t const step = static_cast<std::size_t>(info.GetSampleSizePerPlane());
    for (int plane = 0; plane < info.GetPlanesCount(); ++plane)
        std::memcpy(to.extended_data[plane] + step * static_cast<std::size_t>(toOffset),
                    from.extended_data[plane] + step * static_cast<std::size_t>(fromOffset),
                    step * static_cast<std::size_t>(count));
}

}  // namespace Tarsel::Proc
