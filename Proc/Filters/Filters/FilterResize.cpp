#include "Proc/Filters/Filters/FilterResize.h"

#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/EffectFormat.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IResize.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/MultiEffect.h"

namespace Tarsel::Proc {

namespace {

constexpr char DOWNLOAD_WARNING[] = "Downloading from GPU. Possible speed loss. Please use OGL resizer here.";
constexpr char UPLOAD_WARNING[] = "Uploading to GPU. Possible speed loss. Please use software resizer here.";

}  // namespace

iptr<IFilterResize> FilterResize::Create(iptr<IStreamVideo> const& source,
                                         iptr<IEffectFactory const> const& effectFactory) {
    return iptr<IFilterResize>(new FilterResize(source, effectFactory, SettingsResizer()));
}

FilterResize::FilterResize(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory,
                           Settings const& settings)
    : StreamImpl(std::move(source), false),
      factory(std::move(effectFactory)),
      frames(factory, DOWNLOAD_WARNING, UPLOAD_WARNING) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    FilterResize::UpdateSettings(settings);
}

void FilterResize::UpdateSettings(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsResizer const&>(newSettings);
    iptr<IOneInputEffectVideo> made = MakeEffect<IOneInputEffectVideo>(*factory, IResize::CLASS_ID, own.GetImplName());
    made->Initialize(own);
    TimeToProgress wholeStream(TimeToProgress::Linear);
    wholeStream.end = parentStream->GetDuration();
    made->SetTimeToProgress(wholeStream);
    Core::RecursiveMutexLock const guard(lock);
    resizer.swap(made);
    settings = own;
}

Core::Property FilterResize::GetSettings() {
    Core::RecursiveMutexLock const guard(lock);
    return Settings2Property(settings);
}

Core::Property FilterResize::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::FilterResize::GetStatistic", 0, framesRead);
    node.Add(resizer->GetStatistic());
    return result.Add(std::move(node));
}

iptr<Conf::IFormatCodecVideo const> FilterResize::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> const source = parentStream->GetFormatCodec();
    Core::RecursiveMutexLock const guard(lock);
    return Details::AdaptedFormat(source, [effect = resizer](auto& format) { effect->AdaptFormatCodec(format); });
}

void FilterResize::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(apiLock);
    ResetEffects();
    StreamImpl::ReleaseInternalData();
}

void FilterResize::ResetEffects() {
    Core::RecursiveMutexLock const guard(lock);
    resizer->ResetEffectState();
    frames.Reset();
}

void FilterResize::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterResize", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterResize::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    iptr<IDataVideo> frame = parentStream->Read();
    if (!frame) return nullptr;
    frames.ReconcileFrameAlloc(frame, resizer->GetProcessingFrameType());
    resizer->Process(frame);
    if (frame) ++framesRead;
    return frame;
}

void FilterResize::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    ResetEffects();
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
