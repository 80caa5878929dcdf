#pragma once

#include <map>
#include <string>
#include <vector>

#include "contracts/Conf/SampleInfo.h"
#include "host/media/MediaFile.h"
#include "host/timeline/Timeline.h"

namespace Tarsel::Host {

/// Where a clip comes from.
struct ClipMedia {
    iptr<MediaFile> file;
    StreamInfo const* info = nullptr;  // the file's
    /// What a decoder of the stream gives.
    iptr<Conf::IFormatCodecVideo const> video;
    iptr<Conf::IFormatCodecAudio const> audio;
    /// Where the stream ends, microseconds.
    int64 end = 0;
    /// One picture for ever.
    bool isStill = false;
};

/// The media of a timeline: each file opened once, each of its streams looked at once. One thread.
class TimelineMedia {
  public:
    /// Opens everything that the timeline's clips name. Throws `GraphException` "POINTER: clip "NAME": what is wrong"
    /// for a file that can't be read, a stream that isn't there, is of the wrong kind, holds nothing or can't be
    /// decoded, and a range that begins behind the stream's end.
    explicit TimelineMedia(Timeline const& timeline);

    ClipMedia const& Get(TimelineClip const& clip) const { return *byClip.at(&clip); }
    /// Of the first clip of the kind, by time and then from below; null where there is none.
    ClipMedia const* GetFirst(TrackKind kind) const;
    std::vector<iptr<MediaFile>> const& GetFiles() const { return files; }

  private:
    using Place = std::pair<MediaFile const*, int>;

    iptr<MediaFile> Open(TimelineClip const& clip);
    ClipMedia const& Find(TimelineClip const& clip, TrackKind kind);

    Timeline const& timeline;
    std::map<std::string, iptr<MediaFile>> byPath;
    std::vector<iptr<MediaFile>> files;
    std::map<Place, ClipMedia> streams;
    std::map<TimelineClip const*, ClipMedia const*> byClip;
};

}  // namespace Tarsel::Host
