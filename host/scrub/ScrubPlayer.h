#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IStream.h"
#include "host/scrub/ScrubScript.h"
#include "host/scrub/TimeGrid.h"

namespace Tarsel::Host {

/// The streams of a file, and what is known of them beforehand.
struct ScrubStreams {
    /// Null where the file has none. Both are null only in a file that shows nothing.
    iptr<Proc::IStreamVideo> video;
    iptr<Proc::IStreamAudio> audio;
    /// The controllers whose streams these are; none for bare streams.
    std::vector<iptr<Proc::IFilterCacheController>> caches;
    /// The pictures; without video the packets of sound.
    TimeGrid grid;
    /// Where decoding can start, ascending.
    std::vector<int64> entries;
    /// Where the sound ends as far as the file knows; no value without sound.
    int64 soundEnd = NO_VALUE;
    /// Of the file.
    int64 duration = 0;
};

/// Who looks and listens. Called on the player's thread, with each item in order; every function may be empty.
struct ScrubListener {
    std::function<void(iptr<Proc::IDataVideo> const&)> picture;
    std::function<void(iptr<Proc::IDataAudio> const&)> sound;
    /// Ahead of each read. What it throws ends the run.
    std::function<void()> beforeRead;
};

/// Where an operation was to go, and where it came to; microseconds. No value: nothing is there to be shown.
struct ScrubMove {
    int64 requested = 0;
    int64 real = NO_VALUE;

    bool operator==(ScrubMove const&) const = default;
};

/// Shows one picture of a file after another, the way a person asks for them, with the sound up to the picture's end.
/// Without video a packet of sound stands in for the picture.
///
/// Over caches it makes good for what they don't do, so that it shows the same as over bare streams: it goes into a
/// picture rather than to its very start, drops what comes twice, and seeks to what a cache keeps for itself (its last
/// item, a picture longer than the window). One thread. Failures of the streams pass through.
class TARSEL_HOST_EXPORT ScrubPlayer {
  public:
    /// Goes to the start; nothing is read.
    ScrubPlayer(ScrubStreams streams, ScrubListener listener);
    ~ScrubPlayer();

    ScrubMove Do(ScrubOperation const& operation);
    /// To `time`, at least 0 and at most the duration. Shows the picture there, or the first one behind it.
    ScrubMove Seek(int64 time);
    /// `count` pictures on, or back where it is below 0; at most to the first picture and to the last. A step on that
    /// meets the end shows the last picture, if it isn't shown already. Throws `std::invalid_argument` for 0.
    ScrubMove Step(int64 count);

  private:
    ScrubMove StepForward(int64 count);
    ScrubMove StepBack(int64 count);
    int64 Into(int64 position) const;
    /// Forgets where the streams were, goes to `position` and shows what is there.
    int64 Show(int64 position);
    void GoTo(int64 position);

    bool NextPicture();
    iptr<Proc::IDataVideo> ReadPicture();
    iptr<Proc::IDataVideo> FindPicture();
    bool ExceedsWindow() const;
    int64 NextEntry(int64 time) const;

    void ReadSound(int64 end);
    bool NextBlock();
    iptr<Proc::IDataAudio> ReadBlock();
    int64 SampleAt(int64 position) const;
    int64 ReachSound(int64 position);

    template <class T>
    iptr<typename T::DataType> ReadOne(T& stream);

    ScrubStreams const streams;
    ScrubListener const listener;
    int64 const count;  // of the grid

    // Where the player stands.
    int64 place = -1;  // of the grid; `count` when nothing is shown at the end, -1 when nothing has been shown yet
    int64 asked = 0;   // of the last seek
    iptr<Proc::IDataVideo> shown;      // since the last seek
    int64 picturesUpTo = NO_VALUE;     // end of the last picture since the last seek
    iptr<Proc::IDataAudio> lastBlock;  // since the last seek
    int64 soundUpTo = 0;               // sound is wanted from here on

    // What was found out on the way: from here on nothing more can be decoded.
    std::optional<int64> noPictureFrom;
    std::optional<int64> noSoundFrom;
};

}  // namespace Tarsel::Host
