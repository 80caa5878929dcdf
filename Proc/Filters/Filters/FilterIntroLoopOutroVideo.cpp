#include "Proc/Filters/Filters/FilterIntroLoopOutroVideo.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

using Details::TimeRange;

namespace {

/// How often the middle plays: to the nearest whole pass, at least as often as asked for; without a minimum, once.
/// Never so often that a pass would last no time.
int64 CountLoops(int64 room, int64 middle, int64 minLoopCount) {
    if (minLoopCount <= 0) return 1;
    int64 const rest = room % middle;
    int64 const nearest = room / middle + (rest >= middle - rest ? 1 : 0);
    return std::min(std::max(nearest, minLoopCount), room);
}

}  // namespace

FilterIntroLoopOutroVideo::FilterIntroLoopOutroVideo(iptr<IStreamVideo> source, iptr<IFilterFactory const> const&)
    : StreamImpl(std::move(source), false), current(sections.end()) {}

FilterIntroLoopOutroVideo::~FilterIntroLoopOutroVideo() {
    StopReaderThread();
}

void FilterIntroLoopOutroVideo::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property FilterIntroLoopOutroVideo::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void FilterIntroLoopOutroVideo::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsFilterIntroLoopOutro const&>(newSettings);
    if (own.GetDuration() < 0 || own.GetIntroLength() < 0 || own.GetOutroLength() < 0)
        TARSEL_THROW(FilterException, "Wrong settings!");
    Core::RecursiveMutexLock const lock(mutex);
    int64 const total = parentStream->GetDuration();
    if (!HasValue(total)) TARSEL_THROW(FilterException, "Incorrect duration in source stream");
    settings = own;
    MakePlan(std::max<int64>(total, 0));
}

void FilterIntroLoopOutroVideo::MakePlan(int64 total) {
    sections.clear();
    current = sections.end();
    isPlaced = false;
    int64 const length = settings.GetDuration();
    // Where they don't fit into the clip, the end wins over the start.
    int64 const outro = std::min(settings.GetOutroLength(), total);
    int64 const intro = std::min(settings.GetIntroLength(), total - outro);
    int64 const middle = total - outro - intro;
    // And the same where they don't fit into the wanted length.
    int64 outroLength = std::min(outro, length);
    int64 introLength = std::min(intro, length - outroLength);
    int64 const room = length - introLength - outroLength;
    TimeRange const start{0, introLength};
    TimeRange const end{total - outroLength, total};
    if (room > 0 && middle == 0 && total > 0) {
        // Only they can take up the rest.
        introLength = AvRescale(length, intro, intro + outro);
        outroLength = length - introLength;
    }
    AddSection(start, {0, introLength}, 1);
    if (room > 0 && middle > 0)
        AddSection({intro, total - outro}, {introLength, length - outroLength},
                   CountLoops(room, middle, settings.GetMinLoopCount()));
    AddSection(end, {length - outroLength, length}, 1);
    current = sections.end();
}

void FilterIntroLoopOutroVideo::AddSection(TimeRange source, TimeRange result, int64 loopCount) {
    if (source.GetLength() <= 0 || result.GetLength() <= 0) return;
    sections.emplace(result.begin, MakeShared<Details::IntroLoopOutroSection>(parentStream, source, result, loopCount,
                                                                              [this] { return IsEndOfStream(); }));
}

int64 FilterIntroLoopOutroVideo::GetDuration() const {
    Core::RecursiveMutexLock const lock(mutex);
    return settings.GetDuration();
}

Core::Property FilterIntroLoopOutroVideo::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const lock(mutex);
    return result.Add(
        Core::MakeStatistics("Tarsel::Proc::FilterIntroLoopOutroVideo::GetStatistic", processingTime, itemsRead));
}

void FilterIntroLoopOutroVideo::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterIntroLoopOutroVideo", Visitors::FRAME_TYPE_FILTER, nullptr);
}

FilterIntroLoopOutroVideo::Sections::iterator FilterIntroLoopOutroVideo::FindSection(int64 time) {
    auto const behind = sections.upper_bound(std::max<int64>(time, 0));
    if (behind == sections.begin()) return sections.end();
    auto const section = std::prev(behind);
    return time < section->second->GetDuration() ? section : sections.end();
}

void FilterIntroLoopOutroVideo::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const lock(mutex);
    position = std::max<int64>(target, 0);
    current = FindSection(position);
    isPlaced = true;
    if (current != sections.end()) current->second->RequestSeek(position, seekContext);
}

void FilterIntroLoopOutroVideo::DoSeekInternal() {
    Core::RecursiveMutexLock const lock(mutex);
    if (isPlaced && current != sections.end()) current->second->DoSeek();
}

iptr<IDataVideo> FilterIntroLoopOutroVideo::ReadInternal() {
    Core::RecursiveMutexLock const lock(mutex);
    if (!isPlaced) {
        RequestSeekInternal(position, nullptr);
        DoSeekInternal();
    }
    while (current != sections.end()) {
        if (iptr<IDataVideo> item = current->second->Read()) {
            position = AddTime(item->GetTime(), item->GetDuration());
            ++itemsRead;
            return item;
        }
        if (IsEndOfStream()) return nullptr;
        if (++current == sections.end()) break;
        current->second->RequestSeek(current->first, nullptr);
        current->second->DoSeek();
    }
    return nullptr;
}

void FilterIntroLoopOutroVideo::ReleaseInternalData() {
    {
        Core::RecursiveMutexLock const lock(mutex);
        for (auto const& [begin, section] : sections) section->ReleaseInternalData();
        isPlaced = false;
    }
    StreamImpl::ReleaseInternalData();
}

}  // namespace Tarsel::Proc
