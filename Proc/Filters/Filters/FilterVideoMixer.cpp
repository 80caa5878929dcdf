#include "Proc/Filters/Filters/FilterVideoMixer.h"

#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/TransparencyBlinkFunctor.h"
#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/TimerSimple.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/PropertyNumber.h"

namespace Tarsel::Proc {

namespace {

/// A number that must be there. One that doesn't fit would be drawn somewhere else than told.
int RequiredInt(Core::Property const& options, char const* key) {
    options[key].GetInt64();
    return GetInt(options, key, 0);
}

bool FlagOf(Core::Property const& options, char const* key) {
    return options.ChildExists(key) && options[key].GetBool();
}

IFilterVideoMixer::AlphaFunction Constant(int alpha) {
    return [alpha](int64) { return alpha; };
}

IFilterVideoMixer::AlphaFunction AlphaOf(Core::Property const& options, std::string const& type) {
    using Keys = IFilterVideoMixer;
    if (type == Keys::TRANSPARENCY_TYPE_OVERLAY) return Constant(255);
    if (type == Keys::TRANSPARENCY_TYPE_FIXED_ALPHA) return Constant(RequiredInt(options, IBlend::BLENDING_ALPHA));
    if (type == Keys::TRANSPARENCY_TYPE_BLINK) {
        int const alpha = RequiredInt(options, IBlend::BLENDING_ALPHA);
        int64 const show = options[Keys::BLINK_SHOW_DURATION].GetInt64();
        int64 const hide =
            options.ChildExists(Keys::BLINK_HIDE_DURATION) ? options[Keys::BLINK_HIDE_DURATION].GetInt64() : show;
        return TransparencyBlinkFunctor(alpha, show, hide, FlagOf(options, Keys::BLINK_DO_FADE));
    }
    TARSEL_THROW(FilterException, "Unknown transparency type!");
}

}  // namespace

FilterVideoMixer::FilterVideoMixer(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory)
    : StreamImpl(std::move(source), false), effectFactory(std::move(effectFactory)) {
    if (!this->effectFactory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
}

// --- What is drawn ---------------------------------------------------------------------------------------------------

void FilterVideoMixer::AddWatermark(iptr<IDataVideo> const& image, int x, int y, int64 startTime, AlphaFunction alpha) {
    if (!image) TARSEL_THROW(std::invalid_argument, "NULL frame");
    Core::RecursiveMutexLock const guard(lock);
    watermarks.push_back({startTime, MixingImageData(image->Clone(false), x, y, std::move(alpha), effectFactory)});
}

void FilterVideoMixer::AddStream(iptr<IStreamVideo> const& stream, int x, int y, int64 startTime, AlphaFunction alpha,
                                 bool loop) {
    Core::RecursiveMutexLock const guard(lock);
    MixingStreamData entry(stream, x, y, startTime, std::move(alpha), loop, effectFactory);
    streams.push_back(std::move(entry));
    Core::MutexLock const list(listLock);
    drawnStreams.push_back(stream);
}

void FilterVideoMixer::CombineStream(iptr<IStreamVideo> const& stream, Core::Property const& options) {
    bool const firstFrameOnly = FlagOf(options, USE_FIRST_FRAME_AS_WATERMARK);
    int64 const startTime = options[START_TIME].GetInt64();
    int const x = RequiredInt(options, IBlend::BLENDING_POSITION_X);
    int const y = RequiredInt(options, IBlend::BLENDING_POSITION_Y);
    std::string const type = options[TRANSPARENCY_TYPE].GetString();
    bool const loop = FlagOf(options, LOOP_STREAM);
    AlphaFunction alpha = AlphaOf(options, type);
    if (!stream) TARSEL_THROW(std::invalid_argument, "source is NULL");
    if (firstFrameOnly)
        AddWatermark(stream->Read(), x, y, startTime, std::move(alpha));
    else
        AddStream(stream, x, y, startTime, std::move(alpha), loop);
}

std::vector<iptr<IStreamVideo>> FilterVideoMixer::DrawnStreams() const {
    Core::MutexLock const list(listLock);
    return drawnStreams;
}

// --- Reading ---------------------------------------------------------------------------------------------------------

IEffectImageBlender& FilterVideoMixer::BlenderFor(int frameAlloc) {
    iptr<IEffectImageBlender>& blender = frameAlloc == IDataVideo::FRAME_ALLOC_GPU ? blenderGpu : blenderCpu;
    bool const isKept = frameAlloc == IDataVideo::FRAME_ALLOC_GPU || frameAlloc == IDataVideo::FRAME_ALLOC_CPU;
    if (!blender || !isKept) blender = MakeBlender(*effectFactory, frameAlloc);
    return *blender;
}

iptr<IDataVideo> FilterVideoMixer::Draw(iptr<IDataVideo> frame) {
    int64 const begin = frame->GetTime();
    int64 const end = AddTime(begin, frame->GetDuration());
    std::vector<MixingImageData*> pictures;
    auto const hasEnded = [this] { return IsEndOfStream(); };
    for (MixingStreamData& entry : streams)
        if (auto* const picture = entry.SetNewData(begin, end, minOverlap, hasEnded)) pictures.push_back(picture);
    frame = frame->MakeWritable();
    for (WatermarkData& watermark : watermarks)
        if (watermark.startTime <= begin) pictures.push_back(&watermark.picture);
    IEffectImageBlender& blender = BlenderFor(frame->GetFrameAlloc());
    for (MixingImageData* const picture : pictures) picture->BlendTo(frame, blender);
    return frame;
}

iptr<IDataVideo> FilterVideoMixer::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    Core::TimerSimple const timer;
    iptr<IDataVideo> frame = parentStream->Read();
    if (!frame) return nullptr;
    frame = Draw(std::move(frame));
    readTime += timer.GetElapsed();
    ++framesRead;
    return frame;
}

void FilterVideoMixer::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    parentStream->RequestSeek(target, seekContext);
    for (MixingStreamData& entry : streams) entry.RequestSeek(target, seekContext);
}

void FilterVideoMixer::DoSeekInternal() {
    Core::RecursiveMutexLock const guard(lock);
    parentStream->DoSeek();
    for (MixingStreamData& entry : streams) entry.DoSeek();
}

// --- All streams -----------------------------------------------------------------------------------------------------

void FilterVideoMixer::Initialize(Settings const& settings) {
    minOverlap = dynamic_cast<SettingsFilterVideoMixer const&>(settings).GetMinOverlap();
}

Core::Property FilterVideoMixer::GetSettings() {
    return Settings2Property(SettingsFilterVideoMixer(minOverlap));
}

Core::Property FilterVideoMixer::GetStatistic() {
    Core::Property result = Core::MakeStatistics("Tarsel::Proc::FilterVideoMixer::GetStatistic", readTime, framesRead);
    iptr<Conf::IFormatCodecVideo const> const format = GetFormatCodec();
    auto const* const description = format ? Conf::PixFmtDescription::Find(format->GetPixelFormat()) : nullptr;
    result.SetChild("Main stream color space", description ? description->GetName() : std::string());
    result.SetChild("Time", static_cast<double>(readTime) / 1000000.0);
    result.Add(parentStream->GetStatistic());
    for (iptr<IStreamVideo> const& stream : DrawnStreams()) result.Add(stream->GetStatistic());
    return result;
}

void FilterVideoMixer::SetEndOfStream() {
    StreamImpl::SetEndOfStream();
    for (iptr<IStreamVideo> const& stream : DrawnStreams()) stream->SetEndOfStream();
}

void FilterVideoMixer::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(apiLock);
    StreamImpl::ReleaseInternalData();
    Core::RecursiveMutexLock const guard(lock);
    for (iptr<IStreamVideo> const& stream : DrawnStreams()) stream->ReleaseInternalData();
}

void FilterVideoMixer::Accept(IStreamVisitor& visitor) {
    StreamImpl::Accept(visitor);
    for (iptr<IStreamVideo> const& stream : DrawnStreams()) stream->Accept(visitor);
}

void FilterVideoMixer::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterVideoMixer", Visitors::FRAME_TYPE_FILTER, nullptr);
}

}  // namespace Tarsel::Proc
