#include "host/media/RegularVideo.h"

#include <limits>

#include "contracts/Proc/IData.h"
#include "host/media/FFmpeg.h"

extern "C" {
#include <libavutil/rational.h>
}

namespace Tarsel::Host {

namespace {

/// The rate in terms so small that a second's microseconds can be multiplied into them: changes of speed one over
/// another make them as large as they like.
Ratio Reduced(Ratio const& rate) {
    if (rate.numerator() <= 0) return {0, 1};
    AVRational reduced{0, 1};
    av_reduce(&reduced.num, &reduced.den, rate.numerator(), rate.denominator(), std::numeric_limits<int>::max());
    return reduced.num > 0 && reduced.den > 0 ? Ratio(reduced.num, reduced.den) : Ratio(0, 1);
}

}  // namespace

iptr<RegularVideo> RegularVideo::Create(iptr<Proc::IStreamVideo> const& source) {
    return iptr<RegularVideo>(new RegularVideo(source));
}

RegularVideo::RegularVideo(iptr<Proc::IStreamVideo> const& pictures)
    : CodecStream(pictures), rate(Reduced(source->GetFormatCodec()->GetFrameRate())) {}

void RegularVideo::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "RegularVideo", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

void RegularVideo::AddStatistics(Core::Property& node) const {
    node.SetChild("Dropped", int64{dropped});
}

int64 RegularVideo::TimeOf(int64 place) const {
    return AvRescale(place, rate.denominator() * SECOND, rate.numerator());
}

iptr<Proc::IDataVideo> RegularVideo::ReadNext() {
    while (iptr<Proc::IDataVideo> picture = source->Read()) {
        int64 const time = picture->GetTime();
        if (!HasValue(time) || rate.numerator() <= 0) return picture;
        int64 const place = AvRescale(time, rate.numerator(), rate.denominator() * SECOND);
        if (!HasValue(place)) return picture;
        if (HasValue(lastPlace) && place <= lastPlace) {
            ++dropped;
            continue;
        }
        lastPlace = place;
        int64 const begin = TimeOf(place);
        if (begin == time) return picture;
        // The picture may be in use elsewhere.
        iptr<Proc::IDataVideo> moved = picture->Clone(false);
        moved->SetTime(begin);
        return moved;
    }
    return nullptr;
}

}  // namespace Tarsel::Host
