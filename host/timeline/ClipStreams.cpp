#include "host/timeline/ClipStreams.h"

#include <cmath>
#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectAudioCrossFade.h"
#include "contracts/Proc/SettingsEffectAudioMix.h"
#include "contracts/Proc/SettingsEffectComposite.h"
#include "contracts/Proc/SettingsEffectDissolve.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/SettingsFrameUploader.h"
#include "host/effects/TempoEffect.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/GraphErrors.h"
#include "host/media/AudioDecoder.h"
#include "host/media/ContinuousAudio.h"
#include "host/media/FittedVideo.h"
#include "host/media/VideoDecoder.h"
#include "host/timeline/DeferredStream.h"
#include "host/timeline/EvenVideo.h"
#include "host/timeline/OpacityVideo.h"
#include "host/timeline/ShiftedStream.h"
#include "host/timeline/StillStreams.h"

namespace Tarsel::Host {

namespace {

using namespace Proc;

using ShiftedVideo = ShiftedStream<IStreamVideo>;
using ShiftedAudio = ShiftedStream<IStreamAudio>;

/// From here on a decoder's worker threads pay for themselves.
constexpr int64 LONG_RANGE = 10 * SECOND;

/// Makes the filters that every chain is put together from.
class Links {
  public:
    explicit Links(IFilterFactory const& filters) : filters(filters) {}

    iptr<IStreamVideo> Trim(iptr<IStreamVideo> const& source, int64 duration) const {
        return filters.CreateVideo(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::DEFAULT, source,
                                   SettingsFilterDurationTrimmer(duration));
    }
    iptr<IStreamAudio> Trim(iptr<IStreamAudio> const& source, int64 duration) const {
        return filters.CreateAudio(SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::DEFAULT, source,
                                   SettingsFilterDurationTrimmer(duration));
    }
    /// What the range shows at the speed's sign and size, from 0 on.
    template <class T>
    iptr<T> Play(iptr<T> source, double speed) const {
        if (speed < 0) source = Make(source, SettingsFilterReverse::CLASS_ID, SettingsFilterReverse());
        double const size = std::abs(speed);
        if (size == 1) return source;
        // What the engine of sound can't do at once goes in two steps: clips are 0.01 to 100 times as fast.
        bool const inTwo =
            std::is_same_v<T, IStreamAudio> && (size < TempoEffect::MIN_TEMPO || size > TempoEffect::MAX_TEMPO);
        SettingsFilterSpeedUp const step(inTwo ? std::sqrt(size) : size);
        if (inTwo) source = Make(source, SettingsFilterSpeedUp::CLASS_ID, step);
        return Make(source, SettingsFilterSpeedUp::CLASS_ID, step);
    }
    /// Pictures whose times are those of the timeline, brought to its frames; what comes out begins at 0 where `first`
    /// begins.
    iptr<IStreamVideo> ToFrames(iptr<IStreamVideo> const& source, TimelineGrid const& grid, int64 first) const {
        iptr<IStreamVideo> const regular =
            filters.CreateVideo(SettingsFilterFrameRate::CLASS_ID, SettingsFilterFrameRate::IMPL_DEFAULT, source,
                                SettingsFilterFrameRate(grid.GetRate()));
        return ShiftedVideo::Create(regular, -grid.TimeOf(first));
    }
    iptr<IStreamAudio> Resample(iptr<IStreamAudio> const& source, Conf::SampleInfo const& info) const {
        if (source->GetFormatCodec()->GetSampleInfo() == info) return source;
        iptr<IFilterResample> const filter = filters.CreateResample<IFilterResample>(source, ImplNames::DEFAULT);
        filter->SetSampleInfo(info);
        return filter;
    }
    iptr<IStreamAudio> Amplify(iptr<IStreamAudio> const& source, int percents) const {
        if (percents == 100) return source;
        return filters.CreateAudio(SettingsFilterAudioVolume::CLASS_ID, ImplNames::DEFAULT, source,
                                   SettingsFilterAudioVolume(percents / 100.0));
    }
    iptr<MappedVideo> MakeVideoMap() const {
        return MappedVideo::Create(filters.Dedicated(FilterSlots::SMART_MAP_VIDEO, ImplNames::DEFAULT)());
    }

  private:
    iptr<IStreamVideo> Make(iptr<IStreamVideo> const& source, char const* classId, Settings const& settings) const {
        return filters.CreateVideo(classId, ImplNames::DEFAULT, source, settings);
    }
    iptr<IStreamAudio> Make(iptr<IStreamAudio> const& source, char const* classId, Settings const& settings) const {
        return filters.CreateAudio(classId, ImplNames::DEFAULT, source, settings);
    }

    IFilterFactory const& filters;
};

iptr<MappedAudio> MakeAudioMap(iptr<IFilterFactory const> const& filters, Conf::SampleInfo const& info) {
    iptr<ISmartMapAudio> const map = filters->Dedicated(FilterSlots::SMART_MAP_AUDIO, ImplNames::DEFAULT)(filters);
    map->Lock();
    map->SetSampleInfo(info);
    map->Unlock();
    return MappedAudio::Create(map);
}

int64 LengthOf(TimelineGrid const& grid, PlannedSpan const& span) {
    return grid.TimeOf(span.last) - grid.TimeOf(span.first);
}

template <class Mapped>
void AddEffect(Mapped& map, TimelineGrid const& grid, iptr<IEffect> const& effect, PlannedSpan const& span) {
    map.AddEffect(effect, grid.TimeOf(span.first), grid.TimeOf(span.last));
}

DecoderOptions OptionsFor(int64 duration) {
    DecoderOptions options;
    if (duration >= LONG_RANGE)
        options.threading = DecoderOptions::Threading::Frames;
    else
        options.threadCount = 1;
    return options;
}

/// The clip's own picture, from 0 on, for as long as told.
iptr<IStreamVideo> MakeStill(Links const& links, PlannedClip const& clip, ClipMedia const& media, int64 duration) {
    iptr<IStreamVideo> const pictures =
        VideoDecoder::Create(media.file->OpenStream(media.info->index), "", OptionsFor(0));
    int64 const place = media.isStill ? 0 : clip.sourceBegin;
    // As much as it takes to find the last picture where the media end ahead of the place.
    iptr<IStreamVideo> const shown = links.Trim(ShiftedVideo::Create(pictures, -place), SECOND);
    shown->RequestSeek(0, nullptr);
    shown->DoSeek();
    iptr<IDataVideo> const picture = shown->Read();
    if (!picture) TARSEL_THROW(FilterException, "there is no picture to hold");
    return StillVideo::Create(pictures->GetFormatCodec(), picture, duration);
}

iptr<IEffect> MakeClipEffect(IEffectFactory const& effects, TimelineEffect const& wanted) {
    try {
        iptr<IEffect> const effect =
            effects.CreateEffect(wanted.settings.Name(), GetEffectImplementation(wanted.settings));
        // Maps hand frames on as they are, and what stands around them works in the processor's memory.
        bool const needsGpu = effect->GetProcessingFrameType() == IDataVideo::FRAME_ALLOC_GPU;
        if (needsGpu || wanted.settings.Name() == SettingsFrameUploader::CLASS_ID)
            TARSEL_THROW(FilterException, "frames of a timeline don't live in the GPU's memory");
        effect->Initialize(wanted.settings);
        return effect;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        FailAtPlace(wanted.pointer, "effect " + wanted.name + ": " + failure.what());
    }
}

}  // namespace

ClipStreams::ClipStreams(iptr<IFilterFactory const> filters, iptr<IEffectFactory const> effects,
                         TimelineFormat const& format)
    : filters(std::move(filters)), effects(std::move(effects)), format(format) {}

iptr<IEffect> ClipStreams::MakeEffect(char const* classId) const {
    return effects->CreateEffect(classId, ImplNames::DEFAULT);
}

iptr<Conf::IFormatCodecVideo const> ClipStreams::DescribeVideo(TimelineGrid const& grid, PixFmt pixelFormat) const {
    iptr<Conf::IFormatCodecVideo> description = Conf::IFormatCodecVideo::Create();
    description->SetFrameInfo(format.frame);
    description->SetPixelFormat(pixelFormat);
    description->SetFrameRate(grid.GetRate());
    return description;
}

iptr<Conf::IFormatCodecAudio const> ClipStreams::DescribeAudio() const {
    iptr<Conf::IFormatCodecAudio> description = Conf::IFormatCodecAudio::Create();
    description->SetSampleInfo(format.sound);
    return description;
}

// --- Pictures --------------------------------------------------------------------------------------------------------

iptr<IStreamVideo> ClipStreams::MakeVideo(KindPlan const& plan, TimelineMedia const& media) const {
    Links const links(*filters);
    iptr<MappedVideo> const map = links.MakeVideoMap();
    TimelineGrid const& grid = plan.grid;
    for (PlannedPiece const& piece : plan.pieces)
        map->AddStream(MakePiece(grid, piece, media), grid.TimeOf(piece.span.first), piece.order + 1);
    if (!plan.gaps.empty()) {
        iptr<IDataVideo> const black = DataVideoFF::Create(format.pixelFormat, format.frame, nullptr);
        black->Fill(Color::Black(Color::Opaque));
        for (PlannedSpan const& gap : plan.gaps) {
            iptr<IStreamVideo> const still =
                StillVideo::Create(DescribeVideo(grid, format.pixelFormat), black, LengthOf(grid, gap));
            map->AddStream(links.ToFrames(ShiftedVideo::Create(still, grid.TimeOf(gap.first)), grid, gap.first),
                           grid.TimeOf(gap.first), 0);
        }
    }
    for (PlannedSpan const& joint : plan.joints)
        AddEffect(*map, grid, MakeEffect(SettingsEffectComposite::CLASS_ID), joint);
    return map;
}

iptr<IStreamVideo> ClipStreams::MakePiece(TimelineGrid const& grid, PlannedPiece const& piece,
                                          TimelineMedia const& media) const {
    PixFmt const pixelFormat = piece.translucent ? WithAlpha(format.pixelFormat) : format.pixelFormat;
    auto const make = [&](PlannedClip const& clip) { return MakeClip(grid, clip, media.Get(*clip.clip), pixelFormat); };
    if (piece.clips.size() == 1) return make(piece.clips.front());
    Links const links(*filters);
    iptr<MappedVideo> const map = links.MakeVideoMap();
    for (PlannedClip const& clip : piece.clips) map->AddStream(make(clip), grid.TimeOf(clip.span.first), 0);
    for (PlannedSpan const& dissolve : piece.dissolves)
        AddEffect(*map, grid, MakeEffect(SettingsEffectDissolve::CLASS_ID), dissolve);
    return links.ToFrames(map, grid, piece.span.first);
}

iptr<IStreamVideo> ClipStreams::MakeClip(TimelineGrid const& grid, PlannedClip const& clip, ClipMedia const& media,
                                         PixFmt pixelFormat) const {
    // Settings that an effect refuses are to show before anything is rendered.
    for (PlannedEffect const& effect : clip.effects) MakeClipEffect(*effects, *effect.effect);
    DeferredStream<IStreamVideo>::Description description;
    description.name = ClipName(*clip.clip);
    description.pointer = clip.clip->pointer;
    description.duration = LengthOf(grid, clip.span);
    description.format = DescribeVideo(grid, pixelFormat);
    description.make = [self = *this, grid, clip, media, pixelFormat] {
        return self.OpenClip(grid, clip, media, pixelFormat);
    };
    return DeferredStream<IStreamVideo>::Create(std::move(description));
}

iptr<IStreamVideo> ClipStreams::OpenClip(TimelineGrid const& grid, PlannedClip const& clip, ClipMedia const& media,
                                         PixFmt pixelFormat) const {
    Links const links(*filters);
    int64 const duration = LengthOf(grid, clip.span);
    double const speed = clip.clip->speed;
    iptr<IStreamVideo> shown;
    if (speed == 0 || media.isStill) {
        shown = MakeStill(links, clip, media, duration);
    } else {
        shown = VideoDecoder::Create(media.file->OpenStream(media.info->index), "", OptionsFor(clip.sourceDuration));
        shown = ShiftedVideo::Create(shown, -clip.sourceBegin);
        if (speed != 1) shown = links.Play(links.Trim(shown, clip.sourceDuration), speed);
    }
    auto const fit = [&] { shown = FittedVideo::Create(shown, format.frame, pixelFormat); };
    // The fewer pictures are scaled, the better.
    bool const isDenser = shown->GetFormatCodec()->GetFrameRate() > grid.GetRate();
    if (!isDenser) fit();
    shown = links.Trim(shown, duration);
    shown = EvenVideo::Create(ShiftedVideo::Create(shown, grid.TimeOf(clip.span.first)), grid);
    shown = links.ToFrames(shown, grid, clip.span.first);
    if (isDenser) fit();
    shown = OpacityVideo::Create(shown, clip.clip->opacity);
    if (clip.effects.empty()) return shown;
    iptr<MappedVideo> const map = links.MakeVideoMap();
    map->AddStream(shown, grid.TimeOf(clip.span.first), 0);
    for (PlannedEffect const& effect : clip.effects)
        AddEffect(*map, grid, MakeClipEffect(*effects, *effect.effect), effect.span);
    return links.ToFrames(map, grid, clip.span.first);
}

// --- Sound -----------------------------------------------------------------------------------------------------------

iptr<IStreamAudio> ClipStreams::MakeAudio(KindPlan const& plan, TimelineMedia const& media) const {
    Links const links(*filters);
    iptr<MappedAudio> const map = MakeAudioMap(filters, format.sound);
    TimelineGrid const& grid = plan.grid;
    for (PlannedPiece const& piece : plan.pieces)
        map->AddStream(MakeSoundPiece(grid, piece, media), grid.TimeOf(piece.span.first), piece.order + 1);
    for (PlannedSpan const& gap : plan.gaps) {
        int64 const length = LengthOf(grid, gap);
        map->AddStream(links.Trim(SilentAudio::Create(DescribeAudio(), length), length), grid.TimeOf(gap.first), 0);
    }
    for (PlannedSpan const& joint : plan.joints)
        AddEffect(*map, grid, MakeEffect(SettingsEffectAudioMix::CLASS_ID), joint);
    return map;
}

iptr<IStreamAudio> ClipStreams::MakeSoundPiece(TimelineGrid const& grid, PlannedPiece const& piece,
                                               TimelineMedia const& media) const {
    auto const make = [&](PlannedClip const& clip) { return MakeSoundClip(grid, clip, media.Get(*clip.clip)); };
    if (piece.clips.size() == 1) return make(piece.clips.front());
    iptr<MappedAudio> const map = MakeAudioMap(filters, format.sound);
    for (PlannedClip const& clip : piece.clips) map->AddStream(make(clip), grid.TimeOf(clip.span.first), 0);
    for (PlannedSpan const& dissolve : piece.dissolves)
        AddEffect(*map, grid, MakeEffect(SettingsEffectAudioCrossFade::CLASS_ID), dissolve);
    return Links(*filters).Trim(ShiftedAudio::Create(map, -grid.TimeOf(piece.span.first)), LengthOf(grid, piece.span));
}

iptr<IStreamAudio> ClipStreams::MakeSoundClip(TimelineGrid const& grid, PlannedClip const& clip,
                                              ClipMedia const& media) const {
    for (PlannedEffect const& effect : clip.effects) MakeClipEffect(*effects, *effect.effect);
    DeferredStream<IStreamAudio>::Description description;
    description.name = ClipName(*clip.clip);
    description.pointer = clip.clip->pointer;
    description.duration = LengthOf(grid, clip.span);
    description.format = DescribeAudio();
    description.make = [self = *this, grid, clip, media] { return self.OpenSoundClip(grid, clip, media); };
    return DeferredStream<IStreamAudio>::Create(std::move(description));
}

iptr<IStreamAudio> ClipStreams::OpenSoundClip(TimelineGrid const& grid, PlannedClip const& clip,
                                              ClipMedia const& media) const {
    Links const links(*filters);
    int64 const duration = LengthOf(grid, clip.span);
    double const speed = clip.clip->speed;
    if (speed == 0) return links.Trim(SilentAudio::Create(DescribeAudio(), duration), duration);
    iptr<IStreamAudio> heard =
        AudioDecoder::Create(media.file->OpenStream(media.info->index), "", OptionsFor(clip.sourceDuration));
    heard = ShiftedAudio::Create(heard, -clip.sourceBegin);
    // What is missing in front has to be silence by now: a trimmer fills up behind.
    heard = ContinuousAudio::Create(heard, ContinuousAudio::Start::AtSeek);
    if (speed != 1) heard = links.Play(links.Trim(heard, clip.sourceDuration), speed);
    heard = links.Amplify(links.Resample(heard, format.sound), clip.clip->volume);
    heard = links.Trim(heard, duration);
    if (clip.effects.empty()) return heard;
    iptr<MappedAudio> const map = MakeAudioMap(filters, format.sound);
    map->AddStream(heard, grid.TimeOf(clip.span.first), 0);
    for (PlannedEffect const& effect : clip.effects)
        AddEffect(*map, grid, MakeClipEffect(*effects, *effect.effect), effect.span);
    return links.Trim(ShiftedAudio::Create(map, -grid.TimeOf(clip.span.first)), duration);
}

}  // namespace Tarsel::Host
