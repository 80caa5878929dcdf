#include "host/effects/DeinterlaceEffect.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <vector>

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
          moved(static_cast<std::size_t>(part.width) + 2) {}

    /// `missing` is the parity of the lines to make.
    void Run(int missing) {
        for (int y = missing; y < part.height; y += 2) {
            // At the edges the one neighbour there is stands in for both.
            int const above = y > 0 ? y - 1 : std::min(y + 1, part.height - 1);
            int const below = y + 1 < part.height ? y + 1 : above;
            if (hasBefore) FindMoves(above, y, below);
            MakeLine(y, above, below);
        }
    }

  private:
    int Get(Sample const* line, int x) const { return line[std::ptrdiff_t{x} * step] >> part.shift; }

    /// The largest change of the three samples above each other, with a column of stillness at both sides.
    void FindMoves(int above, int own, int below) {
        std::fill(moved.begin(), moved.end(), 0);
        for (int const y : {above, own, below}) {
            Sample const* const now = item[y];
            Sample const* const then = before[y];
            for (int x = 0; x < part.width; ++x) {
                int& place = moved[static_cast<std::size_t>(x) + 1];
                place = std::max(place, std::abs(Get(now, x) - Get(then, x)));
            }
        }
    }

    bool IsStill(int x) const {
        auto const at = static_cast<std::size_t>(x);
        return std::max({moved[at], moved[at + 1], moved[at + 2]}) <= still;
    }

    void MakeLine(int y, int above, int below) {
        Sample const* const up = item[above];
        Sample const* const down = item[below];
        for (int x = 0; x < part.width; ++x) {
            Sample& place = result[y][std::ptrdiff_t{x} * step];
            if (hasBefore && IsStill(x))
                place = item[y][std::ptrdiff_t{x} * step];
            else
                place = static_cast<Sample>(Between(up, down, x) << part.shift);
        }
    }

    /// The mean of the two samples that lie opposite each other along the edge through `x`.
    int Between(Sample const* up, Sample const* down, int x) const {
        // The straight one is ahead: others must be better by something.
        int best = Difference(up, down, x, 0) - 1;
        int slope = 0;
        for (int const side : {-1, 1}) {
            for (int reach = 1; reach <= 2; ++reach) {
                if (x - reach < 1 || x + reach > part.width - 2) break;
                int const difference = Difference(up, down, x, side * reach);
                // An edge that leans further leans less far, too.
                if (difference >= best) break;
                best = difference;
                slope = side * reach;
            }
        }
        return (Get(up, x + slope) + Get(down, x - slope) + 1) / 2;
    }

    /// How far three neighbouring samples above differ from those opposite, `slope` columns off to either side.
    int Difference(Sample const* up, Sample const* down, int x, int slope) const {
        int sum = 0;
        for (int i = -1; i <= 1; ++i) {
            int const left = std::clamp(x + slope + i, 0, part.width - 1);
            int const right = std::clamp(x - slope + i, 0, part.width - 1);
            sum += std::abs(Get(up, left) - Get(down, right));
        }
        return sum;
    }

    PictureComponent const& part;
    int const step;
    int const still;
    Lines<Sample> const result;
    Lines<Sample const> const item;
    bool const hasBefore;
    Lines<Sample const> const before;
    std::vector<int> moved;
};

/// Copies every line: those of the field that goes are overwritten where they have to be.
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
