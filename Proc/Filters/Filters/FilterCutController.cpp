#include "Proc/Filters/Filters/FilterCutController.h"

#include <glog/logging.h>

#include <algorithm>
#include <exception>
#include <limits>
#include <stdexcept>

#include "Proc/Filters/Filters/FilterCutControllerStreamImpl.h"
#include "Proc/Filters/Filters/FilterCutControllerStreamRawImpl.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

using Core::AutoLock;

iptr<IFilterCutController> FilterCutController::Create(Settings const& settings,
                                                       iptr<ICodecFactory const> const& codecFactory) {
    if (!dynamic_cast<SettingsFilterCutController const*>(&settings)) TARSEL_THROW(FilterException, "Wrong settings!");
    auto controller = MakeShared<FilterCutController>();
    controller->UpdateSettings(settings);
    controller->SetCodecFacory(codecFactory);
    return controller;
}

void FilterCutController::UpdateSettings(Settings const& newSettings) {
    auto const* const cuts = dynamic_cast<SettingsFilterCutController const*>(&newSettings);
    if (!cuts) TARSEL_THROW(std::invalid_argument, "wrong settings");
    AutoLock const lock(settingsLock);
    settings = *cuts;
    jumpedEnds.clear();
    cutsPrepared = false;
}

void FilterCutController::Initialize(Core::Property const& property) {
    if (property.Name() != SettingsFilterCutController::CLASS_ID)
        TARSEL_THROW(std::invalid_argument, "incorrect controller name");
    UpdateSettings(Property2SettingsCutController(property));
}

void FilterCutController::SetCodecFacory(iptr<ICodecFactory const> const& factory) {
    AutoLock const lock(streamsLock);
    codecFactory = factory;
}

SettingsFilterCutController FilterCutController::GetCutSettings() const {
    AutoLock const lock(settingsLock);
    return settings;
}

std::vector<int64> FilterCutController::GetGopStarts() const {
    AutoLock const lock(streamsLock);
    return gopStarts;
}

// --- Streams ---------------------------------------------------------------------------------------------------------

template <class T>
void FilterCutController::CheckNewStream(iptr<T> const& stream) const {
    if (!stream) TARSEL_THROW(std::invalid_argument, "parentStream is NULL.");
    IStream const* const added = stream.get();
    for (Entry const& entry : entries) {
        if (entry.first.get() == added)
            TARSEL_THROW(FilterException, "This stream is already added into current FilterCutController object");
        if (entry.first->GetDuration() != stream->GetDuration())
            TARSEL_THROW(FilterException,
                         "Duration of new stream differs from duration of other streams already registered in "
                         "FilterCutController.");
    }
}

void FilterCutController::Register(iptr<IStream> source, IStreamCutInterval* stream) {
    entries.emplace_back(std::move(source), stream);
    // Cuts that were prepared without this stream may lie inside its groups.
    if (stream->IsGOPCutOnly()) cutsPrepared = false;
    AutoLock const lock(settingsLock);
    if (!firstSource) firstSource = entries.front().first;
}

void FilterCutController::RemoveStream(IStreamCutInterval const* stream) {
    AutoLock const streams(streamsLock);
    std::erase_if(entries, [&](Entry const& entry) { return entry.second == stream; });
    iptr<IStream> first;
    if (!entries.empty()) first = entries.front().first;
    AutoLock const lock(settingsLock);
    firstSource.swap(first);
}

template <class Wrapper, class T>
iptr<T> FilterCutController::AddStreamTemplate(iptr<T> const& stream) {
    AutoLock const lock(streamsLock);
    CheckNewStream(stream);
    auto wrapper = MakeShared<Wrapper>(stream, iptr<FilterCutController>(this));
    Register(stream, wrapper.get());
    return wrapper;
}

iptr<IStreamSubtitle> FilterCutController::AddStream(iptr<IStreamSubtitle> const& stream) {
    return AddStreamTemplate<FilterCutControllerStreamImpl<IStreamSubtitle>>(stream);
}
iptr<IStreamVideo> FilterCutController::AddStream(iptr<IStreamVideo> const& stream) {
    return AddStreamTemplate<FilterCutControllerStreamImpl<IStreamVideo>>(stream);
}
iptr<IStreamAudio> FilterCutController::AddStream(iptr<IStreamAudio> const& stream) {
    return AddStreamTemplate<FilterCutControllerStreamImpl<IStreamAudio>>(stream);
}

iptr<IStreamRaw> FilterCutController::AddStream(iptr<IStreamRaw> const& stream) {
    AutoLock const lock(streamsLock);
    CheckNewStream(stream);
    if (!codecFactory)
        TARSEL_THROW(FilterException,
                     "Codec factory is not provided to FilterCutController. Call FilterCutController::SetCodecFacory("
                     "..) before.");
    auto wrapper = MakeShared<FilterCutControllerStreamRawImpl>(stream, iptr<FilterCutController>(this), codecFactory);
    Register(stream, wrapper.get());
    return wrapper;
}

// --- Time ------------------------------------------------------------------------------------------------------------

bool FilterCutController::CutsAreAbsent() const {
    AutoLock const lock(settingsLock);
    return settings.CutsAreAbsent();
}

bool FilterCutController::IsPointDeleted(int64 point) const {
    AutoLock const lock(settingsLock);
    return settings.IsPointDeleted(point);
}

int64 FilterCutController::GetIntervalEndTime(int64 point) const {
    AutoLock const lock(settingsLock);
    return settings.GetIntervalEndTime(point);
}

int64 FilterCutController::Result2Source(int64 time) const {
    AutoLock const lock(settingsLock);
    return settings.Result2Source(time);
}

int64 FilterCutController::Source2Result(int64 time) const {
    AutoLock const lock(settingsLock);
    return settings.Source2Result(time);
}

int64 FilterCutController::GetCommonDuration() const {
    iptr<IStream> source;
    {
        AutoLock const lock(settingsLock);
        source = firstSource;
    }
    return source ? source->GetDuration() : NO_VALUE;
}

bool FilterCutController::IsCutPastEnd(int64 time) const {
    int64 const duration = GetCommonDuration();
    if (!HasValue(duration)) return false;
    AutoLock const lock(settingsLock);
    return settings.IsPointDeleted(time) && settings.GetIntervalEndTime(time) >= duration;
}

iptr<IDataPacket> FilterCutController::MapPacket(iptr<IDataPacket> const& packet) const {
    int64 const time = HasValue(packet->GetTime()) ? packet->GetTime() : packet->GetDecodingTime();
    if (!HasValue(time)) return packet;
    int64 shift = 0;
    {
        AutoLock const lock(settingsLock);
        if (settings.IsPointDeleted(time)) return nullptr;
        shift = SubTime(time, settings.Source2Result(time));
    }
    iptr<IDataPacket> mapped = packet->Clone(false);
    mapped->SetTime(SubTime(packet->GetTime(), shift));
    mapped->SetDecodingTime(SubTime(packet->GetDecodingTime(), shift));
    return mapped;
}

void FilterCutController::AddInterval(int64 start, int64 end) {
    AutoLock const lock(settingsLock);
    settings.AddInterval(start, end, NO_VALUE, false);
}

void FilterCutController::RemoveRange(int64 start, int64 end) {
    AutoLock const lock(settingsLock);
    SettingsFilterCutController changed = settings;
    changed.AddInterval(start, end, NO_VALUE, false);
    UpdateSettings(changed);
}

// --- Jumps -----------------------------------------------------------------------------------------------------------

void FilterCutController::ForgetJumps() {
    AutoLock const lock(settingsLock);
    jumpedEnds.clear();
}

void FilterCutController::AwaitJump() {
    AutoLock const lock(streamsLock);
}

void FilterCutController::JumpOverInterval(int64 position) {
    AutoLock const streams(streamsLock);
    SettingsFilterCutController::Interval interval;
    {
        AutoLock const lock(settingsLock);
        if (!settings.IsPointDeleted(position)) return;
        interval = settings.GetOptInterval(static_cast<uint32>(settings.GetIntervalIndex(position)));
        if (interval.end - interval.start < MIN_JUMP) return;
        if (std::find(jumpedEnds.begin(), jumpedEnds.end(), interval.end) != jumpedEnds.end()) return;
        jumpedEnds.push_back(interval.end);
    }

    std::vector<Entry> moving;
    // Ends what `BeginJump` began, whatever happens in between.
    struct Guard {
        std::vector<Entry> const& moving;
        ~Guard() {
            for (Entry const& entry : moving) entry.second->EndJump();
        }
    } const guard{moving};
    moving.reserve(entries.size());
    for (Entry const& entry : entries)
        if (entry.second->BeginJump(interval.end)) moving.push_back(entry);
    Search(moving, interval.start, interval.end);
    if (!NeedsGopStart(moving)) return;
    MoveToGop(moving, interval.end, true);
    for (Entry const& entry : moving) entry.second->SourceMoved();
    // The range may reach further now.
    int64 const movedEnd = GetIntervalEndTime(position);
    AutoLock const lock(settingsLock);
    if (movedEnd != interval.end) jumpedEnds.push_back(movedEnd);
}

void FilterCutController::Search(std::vector<Entry> const& moving, int64 start, int64 end) {
    std::exception_ptr failure;
    std::size_t started = 0;
    try {
        for (; started < moving.size(); ++started) moving[started].second->StartSearch(start, end);
    } catch (...) {
        failure = std::current_exception();
    }
    for (std::size_t i = 0; i < started; ++i) {
        try {
            moving[i].second->JoinSearch();
        } catch (...) {
            // All threads are waited for; the first failure is told.
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);
}

bool FilterCutController::NeedsGopStart(std::vector<Entry> const& moving) const {
    return std::any_of(moving.begin(), moving.end(), [&](Entry const& entry) {
        AutoLock const lock(entry.second->GetReadLock());
        int64 const position = entry.first->GetPosition();
        return HasValue(position) && (IsPointDeleted(position) || entry.second->IsRawStream());
    });
}

void FilterCutController::SeekSources(std::vector<Entry> const& moving, int64 position) {
    for (Entry const& entry : moving) {
        AutoLock const lock(entry.second->GetReadLock());
        entry.first->RequestSeek(position, nullptr);
    }
    for (Entry const& entry : moving) {
        AutoLock const lock(entry.second->GetReadLock());
        entry.first->DoSeek();
    }
}

bool FilterCutController::MoveCutToGop(int64 position, bool seekNow) {
    AutoLock const lock(streamsLock);
    return MoveToGop(entries, position, seekNow);
}

bool FilterCutController::MoveToGop(std::vector<Entry> const& moving, int64 position, bool seekNow) {
    SeekSources(moving, position);
    int64 gopPosition = NO_VALUE;
    for (Entry const& entry : moving) {
        if (!entry.second->IsGOPCutOnly()) continue;
        AutoLock const lock(entry.second->GetReadLock());
        gopPosition = entry.first->GetPosition();
        if (HasValue(gopPosition)) break;
    }
    if (!HasValue(gopPosition)) return false;
    VLOG(4001) << "FilterCutController - set cut position to start of GOP: " << gopPosition << "\n";
    if (gopPosition == 0) return true;
    if (std::find(gopStarts.begin(), gopStarts.end(), gopPosition) == gopStarts.end()) gopStarts.push_back(gopPosition);
    if (gopPosition == position) return true;
    AddInterval(gopPosition, position);
    if (seekNow) SeekSources(moving, gopPosition);
    return true;
}

// --- Preparation -----------------------------------------------------------------------------------------------------

void FilterCutController::PrepareCuts() {
    AutoLock const lock(streamsLock);
    // Set ahead of the work: settings that come in meanwhile clear it again.
    if (cutsPrepared.exchange(true)) return;
    std::vector<IStreamCutInterval*> gopStreams;
    for (Entry const& entry : entries)
        if (entry.second->IsRawStream() && entry.second->IsGOPCutOnly()) gopStreams.push_back(entry.second);
    if (gopStreams.empty()) return;
    try {
        AlignCuts(gopStreams);
    } catch (...) {
        cutsPrepared = false;
        throw;
    }
}

std::vector<int64> FilterCutController::GetCutBoundaries() const {
    std::vector<int64> boundaries;
    SettingsFilterCutController const cuts = GetCutSettings();
    for (uint32 i = 0; i < cuts.GetOptIntervalsCount(); ++i) {
        auto const& interval = cuts.GetOptInterval(i);
        if (interval.isDeleted) boundaries.insert(boundaries.end(), {interval.start, interval.end});
    }
    return boundaries;
}

void FilterCutController::AlignCuts(std::vector<IStreamCutInterval*> const& gopStreams) {
    int64 const duration = GetCommonDuration();
    std::vector<int64> aligned;             // boundaries that lie inside no group of any stream
    std::vector<int64> gopStartBoundaries;  // those of them on which a group of the first stream starts
    for (bool changed = true; changed;) {
        changed = false;
        for (int64 const boundary : GetCutBoundaries()) {
            // Nothing stands ahead of 0, and nothing behind the end.
            if (boundary <= 0 || boundary == std::numeric_limits<int64>::max()) continue;
            if (HasValue(duration) && boundary >= duration) continue;
            if (std::find(aligned.begin(), aligned.end(), boundary) != aligned.end()) continue;
            changed = AlignBoundary(gopStreams, boundary, aligned, gopStartBoundaries);
            if (changed) break;  // the list is another one: start over
        }
        if (changed) continue;
        // What lies behind each removed range starts with a group now; let all streams meet there.
        SettingsFilterCutController const before = GetCutSettings();
        for (int64 const start : gopStartBoundaries) {
            bool const endsRange = before.IsPointDeleted(start - 1) && !before.IsPointDeleted(start);
            if (endsRange) MoveCutToGop(start, false);
        }
        gopStartBoundaries.clear();
        changed = !(before == GetCutSettings());
    }
}

bool FilterCutController::AlignBoundary(std::vector<IStreamCutInterval*> const& gopStreams, int64 boundary,
                                        std::vector<int64>& aligned, std::vector<int64>& gopStartBoundaries) {
    for (IStreamCutInterval* const stream : gopStreams) {
        std::optional<GopSpan> const gop = stream->FindGop(boundary);
        if (!gop || gop->start > boundary) continue;
        if (gop->start == boundary) {
            if (stream == gopStreams.front()) gopStartBoundaries.push_back(boundary);
            continue;
        }
        // The cut falls into this group, which can't be kept in part: it goes whole.
        AddInterval(gop->start, gop->next);
        return true;
    }
    aligned.push_back(boundary);
    return false;
}

}  // namespace Tarsel::Proc
