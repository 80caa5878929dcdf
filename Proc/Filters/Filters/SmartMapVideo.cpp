#include "Proc/Filters/Filters/SmartMapVideo.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

void Details::MappedVideo::SetFrame(iptr<IDataVideo> const& item, int64 time) {
    frame = item;
    frameTime = time;
    // Unknown and negative durations are none.
    frameDuration = std::max<int64>(item->GetDuration(), 0);
    frameEnd = AddTime(frameTime, frameDuration);
    frameBegin = frameTime;
}

void Details::MappedVideo::DropFrame() {
    frame.reset();
    frameEnd = frameBegin = frameDuration = frameTime = 0;
}

void Details::MappedVideo::DropItems() {
    DropFrame();
    lastFrame.reset();
}

iptr<ISmartMapVideo> SmartMapVideo::Create() {
    return MakeShared<SmartMapVideo>();
}

void SmartMapVideo::MappedStream::SetReserved(int) {
    dynamic_cast<SmartMapVideo&>(*map).CheckLockedForSettings();
}

iptr<IMappedStreamVideo> SmartMapVideo::MakeHandle() {
    return MakeShared<MappedStream>(iptr<SmartMapBase>(this));
}

std::shared_ptr<SmartMapVideo::StreamData> SmartMapVideo::MakeRecord(iptr<IStreamVideo> const& source) {
    auto record = std::make_shared<StreamData>();
    record->source = source;
    return record;
}

void SmartMapVideo::UpdateFormat() const {
    iptr<Conf::IFormatCodecVideo> const made = Conf::IFormatCodecVideo::Create();
    made->SetCodecID(Conf::IFormatCodec::CODEC_ID_NONE);
    if (streams.empty()) {
        made->SetFrameRate(1, 1);
        made->InitByPixelAspect(0, 0, 1, 1);
        made->SetPixelFormat(PIX_FMT_NONE);
    } else {
        // The earliest source gives the map its format.
        iptr<Conf::IFormatCodecVideo const> const source = streams.front()->source->GetFormatCodec();
        if (!source) TARSEL_THROW(FilterException, "Source format codec must be present");
        Conf::FrameInfo const& info = source->GetFrameInfo();
        made->SetFrameRate(source->GetFrameRate());
        made->SetPixelFormat(source->GetPixelFormat());
        made->InitByPixelAspect(static_cast<unsigned>(info.width), static_cast<unsigned>(info.height),
                                static_cast<unsigned>(info.pixelAspectNum), static_cast<unsigned>(info.pixelAspectDen));
    }
    format = made;
}

// --- Reading ---------------------------------------------------------------------------------------------------------

iptr<IDataVideo> SmartMapVideo::Read() {
    Core::AutoLock const guard(lock);
    PrepareRead();
    int64 const start = position;
    Details::FruitlessReads fruitless;
    while (!endOfStream) {
        if (!FillAll(fruitless)) return nullptr;
        Records const active = CollectActive();
        if (position == duration || active.empty()) return nullptr;
        Slice const slice = Measure(active, start);
        if (slice.isShort) {
            if (slice.endsFrame) fruitless.CountStill();
            Advance(active, slice.end);
            continue;
        }
        iptr<IDataVideo> result = Deliver(active, start, slice.end);
        ++framesRead;
        Advance(active, slice.end);
        return result;
    }
    return nullptr;
}

bool SmartMapVideo::FillAll(Details::FruitlessReads& fruitless) {
    window.MoveTo(streams, position);
    // An empty source moves the position on, and records that have begun then join those that are looked at.
    for (std::size_t i = 0; i < window.Current().size(); ++i) {
        std::shared_ptr<StreamData> const record = window.Current()[i];
        if (!Fill(*record, fruitless)) return false;
        window.Enter(streams, position);
    }
    return true;
}

bool SmartMapVideo::Fill(StreamData& record, Details::FruitlessReads& fruitless) {
    int64 const now = position;
    if (record.Covers(now)) return true;
    if (!record.Holds(now)) {
        // Only a failed read leaves such a frame behind.
        record.DropFrame();
        return true;
    }
    // A source always starts from its own beginning when the timeline enters it.
    if (record.begin == now || !record.isSought) SeekSource(record, SubTime(now, record.begin));
    for (int64 furthest = NO_VALUE; !endOfStream;) {
        iptr<IDataVideo> item = record.source->Read();
        if (endOfStream) return false;
        if (!item) {
            ShowLastFrame(record);
            return true;
        }
        // Others may hold it: it is going to get other times here.
        item = MakeOwn(std::move(item));
        record.SetFrame(item, AddTime(item->GetTime(), record.begin));
        record.lastFrame = item;
        int64 const end = record.frameEnd;
        if (end > now) return true;
        // It has ended already: the source has landed early, or begins below its time 0.
        record.DropFrame();
        if (end > furthest)
            fruitless.CountEarly();
        else
            fruitless.CountStill();
        furthest = std::max(furthest, end);
    }
    return false;
}

void SmartMapVideo::ShowLastFrame(StreamData& record) {
    if (!record.lastFrame) {
        // Nothing to show: the map goes on behind the source.
        position = record.end;
        return;
    }
    // The last frame has been given away: what is shown on is a frame of its own.
    iptr<IDataVideo> const still = record.lastFrame->Clone(false);
    int64 const now = position;
    still->SetTime(now);
    still->SetDuration(SubTime(record.end, now));
    record.lastFrame = record.frame;
    record.SetFrame(still, now);
}

SmartMapVideo::Records SmartMapVideo::CollectActive() const {
    Records active;
    for (auto const& record : window.Current())
        if (record->frame) active.push_back(record);
    std::stable_sort(active.begin(), active.end(), [](auto const& a, auto const& b) { return a->order < b->order; });
    return active;
}

SmartMapVideo::Slice SmartMapVideo::Measure(Records const& active, int64 start) const {
    int64 firstEnd = std::numeric_limits<int64>::max();
    int64 shortest = std::numeric_limits<int64>::max();
    for (auto const& record : active) {
        firstEnd = std::min(firstEnd, record->frameEnd);
        shortest = std::min(shortest, record->frameDuration);
    }
    int64 const end = std::min(firstEnd, FindNextTimePoint());
    return {end, SubTime(end, start) < shortest / 2, end == firstEnd};
}

iptr<IDataVideo> SmartMapVideo::Deliver(Records const& active, int64 start, int64 end) {
    int64 const now = position;
    int64 const step = SubTime(end, now);
    std::vector<iptr<IData>> items;
    for (auto const& record : active) {
        if (!record->Covers(now)) continue;
        // Nothing remains of a frame that ends with the slice; of others the rest is needed for the next one.
        iptr<IDataVideo> const item = record->frameEnd == end ? record->frame : record->frame->Clone(false);
        item->SetTime(now);
        item->SetDuration(step);
        items.push_back(item);
    }
    std::vector<iptr<IData>> const inputs = items;
    effects.Process(items, now);
    iptr<IDataVideo> result(items.empty() ? nullptr : dynamic_cast<IDataVideo*>(items.back().get()));
    if (!result) TARSEL_THROW(std::logic_error, "Empty packets buffer");
    items.clear();
    // An effect may hold what it has given; the frames of the sources are the map's own.
    if (std::find(inputs.begin(), inputs.end(), iptr<IData>(result)) == inputs.end())
        result = MakeOwn(std::move(result));
    result->SetTime(start);
    result->SetDuration(SubTime(end, start));
    return result;
}

void SmartMapVideo::Advance(Records const& active, int64 target) {
    int64 const step = SubTime(target, position);
    position = target;
    for (auto const& record : active) {
        record->frameBegin = AddTime(record->frameBegin, step);
        if (!record->Covers(target)) record->DropFrame();
        if (record->end != target) continue;
        record->lastFrame.reset();
        ReleaseSource(*record);
    }
    effects.Leave(target);
}

}  // namespace Tarsel::Proc
