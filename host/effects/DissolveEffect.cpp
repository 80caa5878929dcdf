#include "host/effects/DissolveEffect.h"

#include <utility>

#include "host/effects/SampleMixing.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

template <class Sample>
void MixRow(Sample* result, Sample const* one, Sample const* other, int count, int shift, u32 weight) {
    if (shift == 0) {
        for (int i = 0; i < count; ++i) result[i] = static_cast<Sample>(Mixed(one[i], other[i], weight));
        return;
    }
    for (int i = 0; i < count; ++i)
        result[i] = static_cast<Sample>(
            Mixed(static_cast<u32>(one[i] >> shift), static_cast<u32>(other[i] >> shift), weight) << shift);
}

/// Both pictures have one size and one format. Samples of a plane are alike, so whole rows are mixed.
iptr<IDataVideo> Mix(IDataVideo const& one, IDataVideo const& other, u32 weight) {
    FramePtr const pattern = FrameOf(one);
    FramePtr frame = AllocateFrame(one.GetWidth(), one.GetHeight(), static_cast<AVPixelFormat>(pattern->format));
    av_frame_copy_props(frame.get(), pattern.get());
    PictureLayout const layout = LayoutOf(one.GetPixelFormat(), one.GetWidth(), one.GetHeight());
    PictureComponent const& part = layout.components[0];
    for (int i = 0; i < GetPlanesCount(one); ++i) {
        auto const first = one.GetPlaneConst(static_cast<unsigned>(i));
        auto const second = other.GetPlaneConst(static_cast<unsigned>(i));
        for (int y = 0; y < first.GetRows(); ++y) {
            u8* const row = frame->data[i] + std::ptrdiff_t{y} * frame->linesize[i];
            u8 const* const firstRow = first.GetData() + y * first.GetStride();
            u8 const* const secondRow = second.GetData() + y * second.GetStride();
            if (part.GetSampleBytes() == 1)
                MixRow(row, firstRow, secondRow, first.GetRowBytes(), 0, weight);
            else
                MixRow(reinterpret_cast<u16*>(row), reinterpret_cast<u16 const*>(firstRow),
                       reinterpret_cast<u16 const*>(secondRow), first.GetRowBytes() / 2, part.shift, weight);
        }
    }
    return WrapLike(std::move(frame), other);
}

}  // namespace

DissolveEffect::~DissolveEffect() = default;

iptr<IData> DissolveEffect::ProcessData(std::vector<iptr<IData>> const& inputs) {
    std::vector<iptr<IDataVideo>> pictures = PicturesOf(inputs);
    if (pictures.empty()) return nullptr;
    CountItem();
    iptr<IDataVideo> last = Accepted(pictures.back());
    if (pictures.size() == 1) return last;
    iptr<IDataVideo> const first = Accepted(pictures[pictures.size() - 2]);
    u32 const weight = MixWeight(GetProgress(*last));
    if (weight == 0) return first;
    last = Conformed(last, TargetLike(*first));
    if (weight == MIX_WHOLE) return last;
    return Mix(*first, *last, weight);
}

}  // namespace Tarsel::Host
