#pragma once

#include <algorithm>
#include <utility>

#include "contracts/Core/Time.h"
#include "host/media/ForwardingStream.h"
#include "host/timeline/TimelineGrid.h"

namespace Tarsel::Host {

/// Thins out pictures that come denser than the frames they are to fill, so that `FilterFrameRate` behind it takes them
/// evenly: that one gives a slot to the picture that covers most of it, and of several that lie in it wholly the one
/// that rounding made a microsecond longer wins; 60 pictures a second would go onto 30 frames in steps of 1 to 3. Here
/// the earlier one stays unless a later one covers clearly more. Goes in: pictures in the order of time. Comes out: the
/// same without those that no slot needs. Seek: forwarded, with nothing kept. End and
/// threads: the source's.
class EvenVideo final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    static iptr<Proc::IStreamVideo> Create(iptr<Proc::IStreamVideo> source, TimelineGrid const& grid) {
        return iptr<Proc::IStreamVideo>(new EvenVideo(std::move(source), grid));
    }

    /// One item of the source for each picture that is left out, and one more.
    iptr<Proc::IDataVideo> Read() override {
        for (;;) {
            iptr<Proc::IDataVideo> item = stream->Read();
            if (!item || Takes(*item)) return item;
        }
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        slotEnd = NO_VALUE;
        stream->RequestSeek(position, std::move(seekContext));
    }

  private:
    /// Two pictures whose times were rounded to milliseconds, as Matroska has them, differ by so much at most.
    static constexpr int64 ROUNDING = 2000;

    EvenVideo(iptr<Proc::IStreamVideo> source, TimelineGrid const& grid)
        : ForwardingStream(std::move(source)), grid(grid) {}

    bool Takes(Proc::IDataVideo const& item) {
        int64 const begin = item.GetTime();
        if (!HasValue(begin) || !HasValue(item.GetDuration())) return true;
        int64 const end = AddTime(begin, item.GetDuration());
        if (!HasValue(slotEnd) || begin >= slotEnd || begin < slotBegin) EnterSlotOf(begin);
        int64 const covers = std::min(end, slotEnd) - begin;
        int64 const tolerance = std::min(ROUNDING, (slotEnd - slotBegin) / 8);
        if (covered > 0 && covers <= covered + tolerance && end <= slotEnd + tolerance) return false;
        covered = std::max(covered, covers);
        if (end > slotEnd) {
            EnterSlotOf(end);
            covered = end - slotBegin;
        }
        return true;
    }
    void EnterSlotOf(int64 time) {
        int64 place = grid.PlaceAt(time);
        if (grid.TimeOf(place) > time) --place;
        slotBegin = grid.TimeOf(place);
        slotEnd = grid.TimeOf(place + 1);
        covered = 0;
    }

    TimelineGrid const grid;
    /// The slot that the last picture that was taken reaches into, and the most of it that one picture covers.
    int64 slotBegin = 0;
    int64 slotEnd = NO_VALUE;
    int64 covered = 0;
};

}  // namespace Tarsel::Host
