#pragma once

#include <memory>

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {

struct FreeFrame {
    void operator()(AVFrame* frame) const { av_frame_free(&frame); }
};
using FramePtr = std::unique_ptr<AVFrame, FreeFrame>;

}  // namespace Tarsel::Proc
