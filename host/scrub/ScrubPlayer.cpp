#include "host/scrub/ScrubPlayer.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Time.h"
#include "host/media/SeekTogether.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// By how much two readings of one block may differ in time: the longest tick of the containers.
constexpr int64 LONGEST_TICK = 1000;

int64 EndOf(IData const& item) {
    return AddTime(item.GetTime(), item.GetDuration());
}

}  // namespace

ScrubPlayer::ScrubPlayer(ScrubStreams scrubStreams, ScrubListener scrubListener)
    : streams(std::move(scrubStreams)),
      listener(std::move(scrubListener)),
      count(static_cast<int64>(streams.grid.GetCount())) {
    if (count > 0) asked = streams.grid.GetTime(0);
    soundUpTo = asked;
    GoTo(asked);
}

ScrubPlayer::~ScrubPlayer() = default;

ScrubMove ScrubPlayer::Do(ScrubOperation const& operation) {
    return operation.kind == ScrubOperation::Kind::Seek ? Seek(operation.value) : Step(operation.value);
}

ScrubMove ScrubPlayer::Seek(int64 time) {
    int64 position = std::clamp<int64>(time, 0, std::max<int64>(streams.duration, 0));
    // Nothing is shown ahead of the first picture.
    if (streams.video && count > 0) position = std::max(position, streams.grid.GetTime(0));
    position = Into(position);
    int64 const real = Show(position);
    if (!streams.video && HasValue(real)) place = static_cast<int64>(streams.grid.FindAt(position));
    return {time, real};
}

ScrubMove ScrubPlayer::Step(int64 pictures) {
    if (pictures == 0) TARSEL_THROW(std::invalid_argument, "a step of 0 pictures goes nowhere");
    return pictures < 0 ? StepBack(-std::max(pictures, -MAX_SCRUB_STEP)) : StepForward(pictures);
}

ScrubMove ScrubPlayer::StepForward(int64 pictures) {
    int64 const target = place + std::min(pictures, count);
    ScrubMove move;
    move.requested = target < count ? streams.grid.GetTime(static_cast<std::size_t>(target)) : streams.duration;
    if (place >= count) return move;
    if (!streams.video) {
        int64 const last = std::min(target, count - 1);
        if (last == place) return move;
        move.real = ReachSound(streams.grid.GetTime(static_cast<std::size_t>(last)));
        place = HasValue(move.real) ? last : static_cast<int64>(streams.grid.FindAt(soundUpTo - 1));
        return move;
    }
    for (int64 left = pictures; left > 0 && NextPicture(); --left) {
        move.real = shown->GetTime();
        place = static_cast<int64>(streams.grid.FindAt(move.real));
    }
    return move;
}

ScrubMove ScrubPlayer::StepBack(int64 pictures) {
    if (count == 0) return {0, NO_VALUE};
    int64 const target = std::max<int64>(place - std::min(pictures, count + 1), 0);
    auto const number = static_cast<std::size_t>(target);
    int64 const time = streams.grid.GetTime(number);
    // The middle: inside of the picture however its times are rounded.
    int64 const middle = time + (streams.grid.GetEnd(number) - time) / 2;
    int64 const real = Show(streams.video ? middle : Into(time));
    if (!streams.video && HasValue(real)) place = target;
    return {time, real};
}

/// A cache's window doesn't answer for the very start of an item, and a microsecond shows no other picture.
int64 ScrubPlayer::Into(int64 position) const {
    if (count == 0) return position;
    std::size_t const number = streams.grid.FindAt(position);
    bool const start = streams.grid.GetTime(number) == position && streams.grid.GetEnd(number) > position + 1;
    return start ? position + 1 : position;
}

int64 ScrubPlayer::Show(int64 position) {
    shown = nullptr;
    picturesUpTo = NO_VALUE;
    lastBlock = nullptr;
    soundUpTo = position;
    asked = position;
    place = count;
    GoTo(position);
    if (!streams.video) return ReachSound(position);
    if (!NextPicture()) return NO_VALUE;
    place = static_cast<int64>(streams.grid.FindAt(shown->GetTime()));
    return shown->GetTime();
}

void ScrubPlayer::GoTo(int64 position) {
    std::vector<SeekTarget> targets;
    if (streams.video) targets.push_back({streams.video.get(), position});
    if (streams.audio) targets.push_back({streams.audio.get(), position});
    SeekTogether(targets, streams.caches, position);
}

template <class T>
iptr<typename T::DataType> ScrubPlayer::ReadOne(T& stream) {
    if (listener.beforeRead) listener.beforeRead();
    try {
        return stream.Read();
    } catch (std::exception const& failure) {
        // To the player the same as an end that may not be one.
        if (streams.caches.empty() || !MissesWindow(failure)) throw;
        return nullptr;
    }
}

bool ScrubPlayer::NextPicture() {
    bool const cached = !streams.caches.empty();
    iptr<IDataVideo> picture;
    if (!cached || !ExceedsWindow()) picture = ReadPicture();
    if (!picture && cached) picture = FindPicture();
    if (!picture) return false;
    picturesUpTo = EndOf(*picture);
    shown = std::move(picture);
    if (listener.picture) listener.picture(shown);
    ReadSound(picturesUpTo);
    return true;
}

iptr<IDataVideo> ScrubPlayer::ReadPicture() {
    for (;;) {
        iptr<IDataVideo> const picture = ReadOne(*streams.video);
        // Behind a refill a cache gives one object twice; behind a seek for the next picture the present one may come.
        bool const again =
            picture && (picture == shown || (HasValue(picturesUpTo) && picture->GetTime() < picturesUpTo));
        if (!again) return picture;
    }
}

/// A cache gives null while it holds its last picture, and where no picture contains the position.
iptr<IDataVideo> ScrubPlayer::FindPicture() {
    int64 next = HasValue(picturesUpTo) ? streams.grid.FindNext(picturesUpTo) : NextEntry(asked);
    std::optional<int64> tried;
    for (; HasValue(next) && (!noPictureFrom || next < *noPictureFrom); next = NextEntry(next)) {
        if (!tried) tried = next;
        GoTo(next);
        if (iptr<IDataVideo> picture = ReadPicture()) return picture;
    }
    if (tried) noPictureFrom = *tried;
    return nullptr;
}

/// Whether the next picture, or the one behind it, lies further ahead than a cache looks.
bool ScrubPlayer::ExceedsWindow() const {
    if (!shown) return false;
    auto const exceeds = [&](std::size_t number) {
        return number < streams.grid.GetCount() && streams.grid.GetEnd(number) - streams.grid.GetTime(number) >
                                                       IFilterCacheController::DEFAULT_PREFETCH_SPAN_VIDEO;
    };
    std::size_t const number = streams.grid.FindAt(shown->GetTime());
    return exceeds(number) || exceeds(number + 1);
}

int64 ScrubPlayer::NextEntry(int64 time) const {
    auto const found = std::upper_bound(streams.entries.begin(), streams.entries.end(), time);
    return found == streams.entries.end() ? NO_VALUE : *found;
}

void ScrubPlayer::ReadSound(int64 end) {
    while (streams.audio && soundUpTo < end && NextBlock()) {
    }
}

bool ScrubPlayer::NextBlock() {
    iptr<IDataAudio> block = ReadBlock();
    bool const more =
        !streams.caches.empty() && soundUpTo < streams.soundEnd && !(noSoundFrom && soundUpTo >= *noSoundFrom);
    if (!block && more) {
        GoTo(soundUpTo);
        block = ReadBlock();
        if (!block) noSoundFrom = soundUpTo;
    }
    if (!block) return false;
    // What has been played already may come again a little later, read from another place on.
    bool const again = lastBlock && block->GetTime() < soundUpTo && EndOf(*block) <= AddTime(soundUpTo, LONGEST_TICK);
    soundUpTo = EndOf(*block);
    lastBlock = std::move(block);
    if (listener.sound && !again) listener.sound(lastBlock);
    return true;
}

iptr<IDataAudio> ScrubPlayer::ReadBlock() {
    for (;;) {
        iptr<IDataAudio> const block = ReadOne(*streams.audio);
        if (!block || (block != lastBlock && EndOf(*block) > soundUpTo)) return block;
    }
}

/// Plays up to the block that holds `position`, and gives the time of the very sample there: where blocks begin
/// depends on where reading began.
int64 ScrubPlayer::ReachSound(int64 position) {
    // Some decoders give more than the file has, where reading began near its end.
    if (position >= streams.soundEnd) return NO_VALUE;
    while (!lastBlock || soundUpTo <= position)
        if (!streams.audio || !NextBlock()) return NO_VALUE;
    return SampleAt(position);
}

int64 ScrubPlayer::SampleAt(int64 position) const {
    int const rate = lastBlock->GetSampleRate();
    if (rate <= 0) return lastBlock->GetTime();
    int64 sample = Duration2SampleCount(position, rate);
    if (SampleCount2Duration(sample, rate) > position) --sample;
    return std::max(lastBlock->GetTime(), SampleCount2Duration(sample, rate));
}

}  // namespace Tarsel::Host
