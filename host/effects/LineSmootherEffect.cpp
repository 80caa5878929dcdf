#include "host/effects/LineSmootherEffect.h"

#include <algorithm>
#include <utility>

namespace Tarsel::Host {

using namespace Proc;

namespace {

template <class Sample>
void SmoothRow(Sample* result, Sample const* above, Sample const* own, Sample const* below, int count, int shift) {
    for (int i = 0; i < count; ++i) {
        u32 const sum = static_cast<u32>(above[i] >> shift) + 2U * static_cast<u32>(own[i] >> shift) +
                        static_cast<u32>(below[i] >> shift);
        result[i] = static_cast<Sample>(((sum + 2) / 4) << shift);
    }
}

}  // namespace

LineSmootherEffect::~LineSmootherEffect() = default;

void LineSmootherEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    item = Accepted(item);
    FramePtr const pattern = FrameOf(*item);
    FramePtr frame = AllocateFrame(item->GetWidth(), item->GetHeight(), static_cast<AVPixelFormat>(pattern->format));
    av_frame_copy_props(frame.get(), pattern.get());
    PictureLayout const layout = LayoutOf(item->GetPixelFormat(), item->GetWidth(), item->GetHeight());
    PictureComponent const& part = layout.components[0];
    for (int i = 0; i < GetPlanesCount(*item); ++i) {
        auto const plane = item->GetPlaneConst(static_cast<unsigned>(i));
        auto const line = [&](int y) {
            return plane.GetData() + std::clamp(y, 0, plane.GetRows() - 1) * plane.GetStride();
        };
        for (int y = 0; y < plane.GetRows(); ++y) {
            u8* const row = frame->data[i] + std::ptrdiff_t{y} * frame->linesize[i];
            if (part.GetSampleBytes() == 1)
                SmoothRow(row, line(y - 1), line(y), line(y + 1), plane.GetRowBytes(), 0);
            else
                SmoothRow(reinterpret_cast<u16*>(row), reinterpret_cast<u16 const*>(line(y - 1)),
                          reinterpret_cast<u16 const*>(line(y)), reinterpret_cast<u16 const*>(line(y + 1)),
                          plane.GetRowBytes() / 2, part.shift);
        }
    }
    item = WrapLike(std::move(frame), *item);
    CountItem();
}

}  // namespace Tarsel::Host
