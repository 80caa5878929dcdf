#include "host/timeline/TimelineMedia.h"

#include <exception>
#include <new>
#include <utility>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphSources.h"
#include "host/media/AudioDecoder.h"
#include "host/media/VideoDecoder.h"
#include "host/timeline/TimelinePlan.h"

namespace Tarsel::Host {

namespace {

[[noreturn]] void FailAtClip(TimelineClip const& clip, std::string const& what) {
    FailAtPlace(clip.pointer, ClipName(clip) + ": " + what);
}

StreamKind KindOf(TrackKind kind) {
    return kind == TrackKind::Video ? StreamKind::Video : StreamKind::Audio;
}

}  // namespace

TimelineMedia::TimelineMedia(Timeline const& timeline) : timeline(timeline) {
    for (TimelineTrack const& track : timeline.tracks)
        for (TimelineClip const& clip : track.clips) {
            ClipMedia const& media = Find(clip, track.kind);
            if (!media.isStill && clip.sourceBegin >= media.end)
                FailAtClip(clip, "its range begins at " + std::to_string(clip.sourceBegin) + " us, but " +
                                     StreamName(*media.info) + " of " + clip.file + " ends at " +
                                     std::to_string(media.end) + " us");
            byClip[&clip] = &media;
        }
}

iptr<MediaFile> TimelineMedia::Open(TimelineClip const& clip) {
    auto const known = byPath.find(clip.file);
    if (known != byPath.end()) return known->second;
    try {
        iptr<MediaFile> file = MediaFile::Open(clip.file);
        file->GetDuration();  // the pass over the file: what is wrong with it shows here
        byPath[clip.file] = file;
        files.push_back(file);
        return file;
    } catch (Core::IOException const& failure) {
        FailAtClip(clip, failure.what());
    }
}

ClipMedia const& TimelineMedia::Find(TimelineClip const& clip, TrackKind kind) {
    iptr<MediaFile> const file = Open(clip);
    StreamSelector const selector = clip.stream.value_or(StreamSelector{KindOf(kind), 0});
    auto const refuse = [&](std::string const& what) { FailAtClip(clip, clip.file + ": " + what); };
    StreamInfo const* const info = SelectStream(*file, selector);
    if (!info) refuse("there is no " + WantedStream(selector));
    if (info->kind != KindOf(kind))
        refuse(StreamName(*info) + " doesn't go on a track of " + std::string(KindName(KindOf(kind))));
    if (auto const known = streams.find({file.get(), info->index}); known != streams.end()) return known->second;
    StreamIndex const& index = file->GetIndex(info->index);
    if (index.GetCount() == 0) refuse(StreamName(*info) + " holds no packets");
    ClipMedia media;
    media.file = file;
    media.info = info;
    media.end = index.GetEndTime();
    media.isStill = kind == TrackKind::Video && index.GetCount() == 1;
    try {
        if (kind == TrackKind::Video)
            media.video = VideoDecoder::Create(file->OpenStream(info->index), "", DecoderOptions())->GetFormatCodec();
        else
            media.audio = AudioDecoder::Create(file->OpenStream(info->index), "", DecoderOptions())->GetFormatCodec();
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        refuse(StreamName(*info) + ": " + failure.what());
    }
    return streams.emplace(Place(file.get(), info->index), std::move(media)).first->second;
}

ClipMedia const* TimelineMedia::GetFirst(TrackKind kind) const {
    TimelineClip const* first = nullptr;
    for (TimelineTrack const& track : timeline.tracks)
        for (TimelineClip const& clip : track.clips)
            if (track.kind == kind && (!first || clip.begin < first->begin)) first = &clip;
    return first ? &Get(*first) : nullptr;
}

}  // namespace Tarsel::Host
