#include "Proc/Filters/Filters/IntroLoopOutroSection.h"

#include <algorithm>
#include <limits>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::Details {

namespace {

/// `value * numerator / denominator`, rounded down, for values of at least 0. Nearest rounding would not do: a seek
/// must never be led behind the picture that covers its position.
int64 Scale(int64 value, int64 numerator, int64 denominator) {
    return static_cast<int64>(static_cast<__int128>(value) * numerator / denominator);
}

}  // namespace

IntroLoopOutroSection::IntroLoopOutroSection(iptr<IStreamVideo> parent, TimeRange source, TimeRange result,
                                             int64 loopCount, std::function<bool()> isEnded)
    : StreamImpl(std::move(parent), false),
      source(source),
      result(result),
      loopCount(loopCount),
      isEnded(std::move(isEnded)),
      pass(loopCount) {}

IntroLoopOutroSection::~IntroLoopOutroSection() {
    StopReaderThread();
}

void IntroLoopOutroSection::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property IntroLoopOutroSection::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void IntroLoopOutroSection::ForgetPlace() {
    pass = loopCount;
    ahead = nullptr;
}

int64 IntroLoopOutroSection::GetPassBegin(int64 index) const {
    return result.begin + Scale(result.GetLength(), index, loopCount);
}

int64 IntroLoopOutroSection::FindPass(int64 position) const {
    int64 const index = Scale(position - result.begin, loopCount, result.GetLength());
    return GetPassBegin(index + 1) <= position ? index + 1 : index;
}

int64 IntroLoopOutroSection::MapTime(int64 time) const {
    int64 const begin = GetPassBegin(pass);
    int64 const offset = std::clamp(time, source.begin, source.end) - source.begin;
    return begin + Scale(offset, GetPassBegin(pass + 1) - begin, source.GetLength());
}

void IntroLoopOutroSection::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    ForgetPlace();
    if (target >= result.end) return;
    wanted = std::max(target, result.begin);
    pass = FindPass(wanted);
    runningEnd = GetPassBegin(pass);
    int64 const length = GetPassBegin(pass + 1) - runningEnd;
    sourceTarget = source.begin + Scale(wanted - runningEnd, source.GetLength(), length);
    aheadIsRead = false;
    passGaveItems = false;
    parentStream->RequestSeek(sourceTarget, seekContext);
}

void IntroLoopOutroSection::DoSeekInternal() {
    if (pass < loopCount) parentStream->DoSeek();
}

void IntroLoopOutroSection::SeekSource(int64 position) {
    sourceTarget = position;
    aheadIsRead = false;
    parentStream->RequestSeek(position, nullptr);
    parentStream->DoSeek();
}

void IntroLoopOutroSection::BeginPass(int64 index) {
    ForgetPlace();
    if (index >= loopCount) return;
    pass = index;
    wanted = runningEnd = GetPassBegin(index);
    passGaveItems = false;
    SeekSource(source.begin);
}

iptr<IDataVideo> IntroLoopOutroSection::ReadSource() {
    while (iptr<IDataVideo> item = parentStream->Read()) {
        int64 const time = item->GetTime();
        if (!HasValue(time)) continue;
        if (time >= source.end) return nullptr;
        int64 const end = AddTime(time, item->GetDuration());
        if (time >= source.begin || !HasValue(end) || end > source.begin) return item;
    }
    return nullptr;
}

void IntroLoopOutroSection::ReadFirst() {
    ahead = ReadSource();
    // A source may land behind the place, most of all behind its last picture: then it is sought back, step by step, to
    // a picture ahead of it.
    int64 const place = sourceTarget;
    constexpr int64 LAST_STEP = std::numeric_limits<int64>::max() / 10;
    for (int64 step = SECOND; sourceTarget > source.begin; step = std::min(step, LAST_STEP) * 10) {
        if (ahead && ahead->GetTime() <= sourceTarget) break;
        if (!ahead && isEnded()) return;
        SeekSource(step < place - source.begin ? place - step : source.begin);
        ahead = ReadSource();
    }
    aheadIsRead = true;
    aheadIsFirst = sourceTarget == source.begin;
}

iptr<IDataVideo> IntroLoopOutroSection::ReadPass() {
    if (!aheadIsRead) ReadFirst();
    while (ahead) {
        iptr<IDataVideo> item = std::exchange(ahead, nullptr);
        ahead = ReadSource();
        if (!ahead && isEnded()) return nullptr;
        int64 const ownBegin = std::exchange(aheadIsFirst, false) ? GetPassBegin(pass) : MapTime(item->GetTime());
        int64 const begin = std::max(ownBegin, runningEnd);
        int64 const end = ahead ? MapTime(ahead->GetTime()) : GetPassBegin(pass + 1);
        if (end <= begin || end <= wanted) continue;
        runningEnd = end;
        passGaveItems = true;
        if (item->GetTime() == begin && item->GetDuration() == end - begin) return item;
        item = MakeOwn(std::move(item));
        item->SetTime(begin);
        item->SetDuration(end - begin);
        return item;
    }
    return nullptr;
}

iptr<IDataVideo> IntroLoopOutroSection::ReadInternal() {
    while (pass < loopCount) {
        if (iptr<IDataVideo> item = ReadPass()) return item;
        if (isEnded()) return nullptr;
        // A pass that gave nothing would give nothing again.
        BeginPass(passGaveItems ? pass + 1 : loopCount);
    }
    return nullptr;
}

}  // namespace Tarsel::Proc::Details
