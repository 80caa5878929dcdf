#include "host/effects/DeinterlaceEffect.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

#include "host/media/DecoderContext.h"
#include "host/media/NativeParameters.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The change of a sample of 8 bits that still counts as standing still.
constexpr int STILL = 4;

/// The lines of one component in a picture.
template <class Sample>
struct Lines {
    Sample* data;
    std::ptrdiff_t stride;  // samples

    Sample* operator[](int y) const { return data + y * stride; }
};

template <class Sample>
Lines<Sample const> LinesOf(IDataVideo const& picture, PictureComponent const& part) {
    auto const plane = picture.GetPlaneConst(static_cast<unsigned>(part.plane));
    return {reinterpret_cast<Sample const*>(plane.GetData() + part.offset),
            plane.GetStride() / static_cast<std::ptrdiff_t>(sizeof(Sample))};
}

/// How far edges may lean: columns to either side.
constexpr int REACH = 2;
/// Samples that stand beside a line at both ends, like its last ones, for the loops that look aside.
constexpr int MARGIN = REACH + 1;

/// The values of a line, in a form that loops go over fast.
class Values {
  public:
    explicit Values(int width) : width(width), values(static_cast<std::size_t>(width + 2 * MARGIN)) {}

    template <class Sample>
    void Take(Sample const* line, int step, int shift) {
        int* const to = values.data() + MARGIN;
        if (step == 1 && shift == 0)
            for (int x = 0; x < width; ++x) to[x] = line[x];
        else
            for (int x = 0; x < width; ++x) to[x] = line[std::ptrdiff_t{x} * step] >> shift;
        for (int i = 1; i <= MARGIN; ++i) {
            to[-i] = to[0];
            to[width - 1 + i] = to[width - 1];
        }
    }
    /// From `-MARGIN` to the width and `MARGIN`.
    int const* Get() const { return values.data() + MARGIN; }

  private:
    int const width;
    std::vector<int> values;
};

/// Makes the missing lines of one component.
template <class Sample>
class Component {
  public:
    Component(AVFrame& result, IDataVideo const& item, IDataVideo const* before, PictureComponent const& part)
        : part(part),
          step(part.step / static_cast<int>(sizeof(Sample))),
          still(STILL << (part.depth - 8)),
          result{reinterpret_cast<Sample*>(result.data[part.plane] + part.offset),
                 result.linesize[part.plane] / static_cast<std::ptrdiff_t>(sizeof(Sample))},
          item(LinesOf<Sample>(item, part)),
          hasBefore(before != nullptr),
          before(before ? LinesOf<Sample>(*before, part) : this->item),
          up(part.width),
          down(part.width),
          now(part.width),
          then(part.width),
          moved(static_cast<std::size_t>(part.width) + 2),
          made(static_cast<std::size_t>(part.width)) {
        for (auto& line : differences) line.resize(static_cast<std::size_t>(part.width));
    }

    /// `missing` is the parity of the lines to make.
    void Run(int missing) {
        for (int y = missing; y < part.height; y += 2) {
            // At the edges the one neighbour there is stands in for both.
            int const above = y > 0 ? y - 1 : std::min(y + 1, part.height - 1);
            int const below = y + 1 < part.height ? y + 1 : above;
            Take(up, item[above]);
            Take(down, item[below]);
            Interpolate();
            if (hasBefore) FindMoves(above, y, below);
            PutLine(y);
        }
    }

  private:
    void Take(Values& values, Sample const* line) const { values.Take(line, step, part.shift); }

    /// The largest change of the three samples above each other, with a column of stillness at both sides.
    void FindMoves(int above, int own, int below) {
        std::fill(moved.begin(), moved.end(), 0);
        int* const place = moved.data() + 1;
        for (int const y : {above, own, below}) {
            Take(now, item[y]);
            Take(then, before[y]);
            int const* const one = now.Get();
            int const* const other = then.Get();
            for (int x = 0; x < part.width; ++x) place[x] = std::max(place[x], std::abs(one[x] - other[x]));
        }
    }

    /// Over the made line stands the dropped field's own one where nothing has moved.
    void PutLine(int y) {
        for (int x = 0; x < part.width; ++x) {
            auto const at = static_cast<std::size_t>(x);
            bool const isStill = hasBefore && std::max({moved[at], moved[at + 1], moved[at + 2]}) <= still;
            if (!isStill) result[y][std::ptrdiff_t{x} * step] = static_cast<Sample>(made[at] << part.shift);
        }
    }

    /// How far three neighbouring samples above differ from those opposite, `slope` columns off to either side.
    void Compare(int slope) {
        int const* const one = up.Get() + slope;
        int const* const other = down.Get() - slope;
        int* const to = differences[static_cast<std::size_t>(slope + REACH)].data();
        for (int x = 0; x < part.width; ++x)
            to[x] =
                std::abs(one[x - 1] - other[x - 1]) + std::abs(one[x] - other[x]) + std::abs(one[x + 1] - other[x + 1]);
    }

    /// Every sample is the mean of the two that lie opposite each other along the edge through it.
    void Interpolate() {
        for (int slope = -REACH; slope <= REACH; ++slope) Compare(slope);
        int const* const one = up.Get();
        int const* const other = down.Get();
        for (int x = 0; x < part.width; ++x) {
            int const slope = SlopeAt(static_cast<std::size_t>(x));
            made[static_cast<std::size_t>(x)] = (one[x + slope] + other[x - slope] + 1) / 2;
        }
    }

    int SlopeAt(std::size_t x) const {
        // The straight one is ahead: others must be better by something.
        int best = differences[REACH][x] - 1;
        int slope = 0;
        for (int const side : {-1, 1}) {
            for (int reach = 1; reach <= REACH; ++reach) {
                int const difference = differences[static_cast<std::size_t>(REACH + side * reach)][x];
                // An edge that leans further leans less far, too.
                if (difference >= best) break;
                best = difference;
                slope = side * reach;
            }
        }
        return slope;
    }

    PictureComponent const& part;
    int const step;
    int const still;
    Lines<Sample> const result;
    Lines<Sample const> const item;
    bool const hasBefore;
    Lines<Sample const> const before;

    // Of the line at work.
    Values up;
    Values down;
    Values now;
    Values then;
    std::array<std::vector<int>, 2 * REACH + 1> differences;
    std::vector<int> moved;
    std::vector<int> made;
};

/// Copies every line: of those of the field that goes, what stands still is kept.
void CopyLines(AVFrame& result, IDataVideo const& item) {
    for (int i = 0; i < GetPlanesCount(item); ++i) {
        auto const plane = item.GetPlaneConst(static_cast<unsigned>(i));
        for (int y = 0; y < plane.GetRows(); ++y)
            std::memcpy(result.data[i] + std::ptrdiff_t{y} * result.linesize[i],
                        plane.GetData() + y * plane.GetStride(), static_cast<std::size_t>(plane.GetRowBytes()));
    }
}

bool IsTopFirst(IDataVideo const& picture) {
    return FrameOf(picture)->top_field_first != 0;
}

bool IsSamePicture(IDataVideo const& one, IDataVideo const& other) {
    return one.GetPlaneConst(0).GetData() == other.GetPlaneConst(0).GetData();
}

bool AreComparable(IDataVideo const& one, IDataVideo const& other) {
    return one.GetWidth() == other.GetWidth() && one.GetHeight() == other.GetHeight() &&
           one.GetPixelFormat() == other.GetPixelFormat() && IsTopFirst(one) == IsTopFirst(other);
}

}  // namespace

DeinterlaceEffect::~DeinterlaceEffect() = default;

void DeinterlaceEffect::AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) {
    PictureEffectBase::AdaptFormatCodec(format);
    NativeParameters const* const native = format ? FindNativeParameters(*format) : nullptr;
    if (!native || !native->parameters || native->parameters->field_order <= AV_FIELD_PROGRESSIVE) return;
    auto const progressive = MakeShared<NativeParameters>();
    if (!progressive->parameters ||
        avcodec_parameters_copy(progressive->parameters.get(), native->parameters.get()) < 0)
        TARSEL_THROW(EffectException, "no memory for the description of a stream");
    progressive->parameters->field_order = AV_FIELD_PROGRESSIVE;
    progressive->timeBase = native->timeBase;
    progressive->averageFrameRate = native->averageFrameRate;
    progressive->realFrameRate = native->realFrameRate;
    progressive->sampleAspect = native->sampleAspect;
    progressive->disposition = native->disposition;
    progressive->sideData = native->sideData;
    format->SetNativeParameters(progressive);
}

void DeinterlaceEffect::ResetEffectState() {
    present = nullptr;
    before = nullptr;
}

void DeinterlaceEffect::Advance(iptr<IDataVideo> const& item) {
    if (GetOwnSettings().GetMethod() == SettingsDeinterlace::METHOD_SPATIAL) return;
    if (present && IsSamePicture(*present, *item)) return;
    before = std::move(present);
    if (before && !AreComparable(*before, *item)) before = nullptr;
    present = item->Clone(false);
}

void DeinterlaceEffect::Process(iptr<IDataVideo>& item) {
    if (!item) return;
    item = Accepted(item);
    Advance(item);
    if (item->GetInterlace() != 0) {
        FramePtr const pattern = FrameOf(*item);
        FramePtr frame =
            AllocateFrame(item->GetWidth(), item->GetHeight(), static_cast<AVPixelFormat>(pattern->format));
        av_frame_copy_props(frame.get(), pattern.get());
        CopyLines(*frame, *item);
        int const missing = pattern->top_field_first ? 1 : 0;
        PictureLayout const layout = LayoutOf(item->GetPixelFormat(), item->GetWidth(), item->GetHeight());
        for (PictureComponent const& part : layout) {
            if (part.GetSampleBytes() == 1)
                Component<u8>(*frame, *item, before.get(), part).Run(missing);
            else
                Component<u16>(*frame, *item, before.get(), part).Run(missing);
        }
        frame->interlaced_frame = 0;
        frame->top_field_first = 0;
        item = WrapLike(std::move(frame), *item);
    }
    CountItem();
}

}  // namespace Tarsel::Host
