#include "host/timeline/TimelineBuilder.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "host/cut/CutErrors.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "host/media/DecoderContext.h"
#include "host/media/FittedVideo.h"
#include "host/media/NativeParameters.h"
#include "host/timeline/OpacityVideo.h"

namespace Tarsel::Host {

namespace {

/// Blocks of the map of sound are so many to the second.
constexpr int BLOCKS_A_SECOND = 10;
/// Sound that is as much shorter than its clip goes without a warning: encoders and containers round.
constexpr int64 QUIET_END = 50000;

Conf::SampleInfo const USUAL_SOUND(Conf::SAMPLE_FORMAT_FLTP, 48000, Conf::CHANNEL_LAYOUT_STEREO);

bool HasTrack(Timeline const& timeline, TrackKind kind) {
    return std::any_of(timeline.tracks.begin(), timeline.tracks.end(),
                       [&](TimelineTrack const& track) { return track.kind == kind; });
}

std::string WarningText(TimelineWarning const& warning) {
    return warning.pointer.empty() ? warning.text : warning.pointer + ": " + warning.text;
}

}  // namespace

BuiltTimeline::BuiltTimeline(Timeline wanted) : timeline(std::move(wanted)) {
    if (timeline.tracks.empty()) FailAtPlace("", "the timeline has no tracks");
    media = std::make_unique<TimelineMedia>(timeline);
    for (iptr<MediaFile> const& file : media->GetFiles())
        warnings.insert(warnings.end(), file->GetWarnings().begin(), file->GetWarnings().end());
    TimelineRates const rates = FindRates();
    plan = PlanTimeline(timeline, rates, [&](TimelineClip const& clip) {
        iptr<Conf::IFormatCodecVideo const> const& own = media->Get(clip).video;
        return own && HasAlpha(own->GetPixelFormat());
    });
    for (TimelineWarning const& warning : plan.warnings) warnings.push_back(WarningText(warning));
    if (plan.video) WarnOfRotation(*plan.video);
    if (plan.video) WarnOfMissingMedia(*plan.video, true);
    if (plan.audio) WarnOfMissingMedia(*plan.audio, false);
    MakeStreams();
}

BuiltTimeline::~BuiltTimeline() = default;

TimelineRates BuiltTimeline::FindRates() {
    TimelineRates rates;
    if (HasTrack(timeline, TrackKind::Video)) {
        ClipMedia const* const first = media->GetFirst(TrackKind::Video);
        rates.frames = timeline.frameRate;
        if (!rates.frames && first) rates.frames = first->video->GetFrameRate();
        if (!rates.frames)
            FailAtPlace("", "the timeline says no frame rate, and there is no clip of pictures to take it from");
        FindFrame();
    }
    if (HasTrack(timeline, TrackKind::Audio)) {
        FindSound();
        mapSampleRate = format.sound.GetSampleRate();
        mapSampleRate *= BLOCKS_A_SECOND / std::gcd(mapSampleRate, BLOCKS_A_SECOND);
        rates.samples = mapSampleRate;
    }
    return rates;
}

void BuiltTimeline::FindFrame() {
    ClipMedia const* const first = media->GetFirst(TrackKind::Video);
    if (timeline.frame)
        format.frame = *timeline.frame;
    else if (first)
        format.frame = first->video->GetFrameInfo();
    if (format.frame.width <= 0 || format.frame.height <= 0)
        FailAtPlace("", "the timeline says no size, and there is no clip of pictures to take it from");
    format.pixelFormat = TimelinePixelFormat(first ? first->video->GetPixelFormat() : PIX_FMT_YUV420P);
    // Something is to be seen through: then there must be a format of the same colours to say so.
    if (WithAlpha(format.pixelFormat) == PIX_FMT_NONE) format.pixelFormat = PIX_FMT_YUV420P;
}

void BuiltTimeline::FindSound() {
    ClipMedia const* const first = media->GetFirst(TrackKind::Audio);
    Conf::SampleInfo const own = first ? first->audio->GetSampleInfo() : USUAL_SOUND;
    Conf::SampleInfo const& told = timeline.sound;
    format.sound.Init(told.GetSampleFormat() >= 0 ? told.GetSampleFormat() : own.GetSampleFormat(),
                      told.GetSampleRate() > 0 ? told.GetSampleRate() : own.GetSampleRate(),
                      told.GetChannelLayout() != 0 ? told.GetChannelLayout() : own.GetChannelLayout());
}

void BuiltTimeline::WarnOfRotation(KindPlan const& kind) {
    for (PlannedPiece const& piece : kind.pieces)
        for (PlannedClip const& clip : piece.clips) {
            NativeParameters const* const native = FindNativeParameters(*media->Get(*clip.clip).info->format);
            if (native && IsRotated(*native))
                warnings.push_back(clip.clip->pointer + ": " + ClipName(*clip.clip) +
                                   ": its file asks players to turn the picture, which isn't done here");
        }
}

void BuiltTimeline::WarnOfMissingMedia(KindPlan const& kind, bool isVideo) {
    int64 const quiet = isVideo ? kind.grid.TimeOf(1) : QUIET_END;
    for (PlannedPiece const& piece : kind.pieces)
        for (PlannedClip const& clip : piece.clips) {
            ClipMedia const& own = media->Get(*clip.clip);
            if (clip.clip->speed == 0 || own.isStill) continue;
            // Edges move to frames of the timeline, each of which is longer in the source at a higher speed.
            auto const tolerance = static_cast<int64>(double(quiet) * std::max(1.0, std::abs(clip.clip->speed)));
            int64 const ahead = -clip.sourceBegin;
            int64 const behind = clip.sourceBegin + clip.sourceDuration - own.end;
            std::string const name = clip.clip->pointer + ": " + ClipName(*clip.clip) + ": ";
            // Backwards it is the range's end that lies there.
            if (ahead > (clip.clip->speed < 0 ? tolerance : 0))
                warnings.push_back(name + std::to_string(ahead) + " us are missing ahead of its media: " +
                                   (isVideo ? "the first picture is held" : "silence stands there"));
            if (behind > tolerance)
                warnings.push_back(name + std::to_string(behind) + " us are missing behind its media: " +
                                   (isVideo ? "the last picture is held" : "silence stands there"));
        }
}

void BuiltTimeline::MakeStreams() {
    iptr<FilterFactory const> const filters = MakeFilterFactory();
    TimelineFormat inner = format;
    if (plan.audio) inner.sound.Init(format.sound.GetSampleFormat(), mapSampleRate, format.sound.GetChannelLayout());
    ClipStreams const streams(filters, MakeEffectFactory(), inner);
    if (plan.video) {
        countedVideo = CountedStream<Proc::IStreamVideo>::Create(streams.MakeVideo(*plan.video, *media));
        iptr<Proc::IStreamVideo> const regular =
            filters->CreateVideo(Proc::SettingsFilterFrameRate::CLASS_ID, Proc::SettingsFilterFrameRate::IMPL_DEFAULT,
                                 countedVideo, Proc::SettingsFilterFrameRate(plan.video->grid.GetRate()));
        // A composite leaves the format to what lies lowest.
        video = FittedVideo::Create(regular, format.frame, format.pixelFormat);
    }
    if (plan.audio) {
        countedAudio = CountedStream<Proc::IStreamAudio>::Create(streams.MakeAudio(*plan.audio, *media));
        audio = countedAudio;
        if (mapSampleRate != format.sound.GetSampleRate()) {
            auto const resample = filters->CreateResample<Proc::IFilterResample>(audio, Proc::ImplNames::DEFAULT);
            resample->SetSampleInfo(format.sound);
            audio = resample;
        }
        TimelineGrid const samples(Ratio(format.sound.GetSampleRate(), 1));
        sampleCount = samples.PlaceAt(timeline.duration);
        audio = filters->CreateAudio(Proc::SettingsFilterDurationTrimmer::CLASS_ID, Proc::ImplNames::DEFAULT, audio,
                                     Proc::SettingsFilterDurationTrimmer(samples.TimeOf(sampleCount)));
    }
}

void BuiltTimeline::CheckCounts() const {
    auto const check = [](int64 count, int64 planned, char const* what) {
        if (count != planned)
            TARSEL_THROW(VerificationMismatch, "the timeline gave " + std::to_string(count) + " " + what +
                                                   " where it has " + std::to_string(planned));
    };
    if (countedVideo) check(countedVideo->GetCount(), plan.video->length, "frames");
    if (countedAudio) check(countedAudio->GetCount(), plan.audio->length, "samples");
}

}  // namespace Tarsel::Host
