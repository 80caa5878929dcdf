#include "host/media/NativeParameters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

extern "C" {
#include <libavutil/display.h>
}

namespace Tarsel::Host {

namespace {

bool Turns(void const* bytes, std::size_t count) {
    std::array<int32_t, 9> matrix{};
    if (count < sizeof(matrix)) return false;
    std::memcpy(matrix.data(), bytes, sizeof(matrix));
    // What is no angle at all is none to turn by.
    return std::abs(av_display_rotation_get(matrix.data())) > 0.5;
}

}  // namespace

bool IsRotated(NativeParameters const& native) {
    return std::any_of(native.sideData.begin(), native.sideData.end(), [](auto const& data) {
        return data.first == AV_PKT_DATA_DISPLAYMATRIX && Turns(data.second.data(), data.second.size());
    });
}

bool IsRotated(AVFrame const& picture) {
    AVFrameSideData const* const data = av_frame_get_side_data(&picture, AV_FRAME_DATA_DISPLAYMATRIX);
    return data && Turns(data->data, data->size);
}

}  // namespace Tarsel::Host
