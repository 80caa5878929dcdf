#include "Proc/Filters/Filters/FilterBlurTransparentBorder.h"

#include <glog/logging.h>

#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/EffectFormat.h"
#include "Proc/Filters/Filters/TransparentBorder.h"
#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/TimerSimple.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"

namespace Tarsel::Proc {

namespace {

/// Which byte of a pixel is its alpha.
int AlphaByte(PixFmt format) {
    switch (format) {
        case PIX_FMT_RGBA:
        case PIX_FMT_BGRA:
            return 3;
        case PIX_FMT_ARGB:
        case PIX_FMT_ABGR:
            return 0;
        default:
            TARSEL_THROW(FilterException,
                         "Transparent borders of pixel format " + std::to_string(format) + " can't be blurred");
    }
}

}  // namespace

FilterBlurTransparentBorder::FilterBlurTransparentBorder(iptr<IStreamVideo> source,
                                                         iptr<IEffectFactory const> effectFactory)
    : StreamImpl(std::move(source), false), frames(effectFactory) {
    if (!effectFactory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    SettingsColorSpaceConverter const formats({PIX_FMT_RGBA, PIX_FMT_BGRA, PIX_FMT_ARGB, PIX_FMT_ABGR});
    effect = MakeEffect<IOneInputEffectVideo>(*effectFactory, formats.GetClassId(), ImplNames::DEFAULT);
    effect->Initialize(formats);
}

void FilterBlurTransparentBorder::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void FilterBlurTransparentBorder::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsFilterBlurTransparentBorder const&>(newSettings);
    Core::RecursiveMutexLock const guard(lock);
    settings = own;
}

Core::Property FilterBlurTransparentBorder::GetSettings() {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property FilterBlurTransparentBorder::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    Core::Property node =
        Core::MakeStatistics("Tarsel::Proc::FilterBlurTransparentBorder::GetStatistic", 0, framesRead);
    node.SetChild("Matrix_size", settings.GetMatrixSize());
    node.Add(effect->GetStatistic());
    return result.Add(std::move(node));
}

iptr<Conf::IFormatCodecVideo const> FilterBlurTransparentBorder::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> const source = parentStream->GetFormatCodec();
    Core::RecursiveMutexLock const guard(lock);
    // Pictures without alpha pass as they are, whatever the description says: it tells of those with alpha.
    return Details::AdaptedFormat(source, [converter = effect](auto& format) { converter->AdaptFormatCodec(format); });
}

void FilterBlurTransparentBorder::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(apiLock);
    ResetEffects();
    StreamImpl::ReleaseInternalData();
}

void FilterBlurTransparentBorder::ResetEffects() {
    Core::RecursiveMutexLock const guard(lock);
    effect->ResetEffectState();
    frames.Reset();
}

void FilterBlurTransparentBorder::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterBlurTransparentBorder", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterBlurTransparentBorder::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    iptr<IDataVideo> frame = parentStream->Read();
    if (!frame) return nullptr;
    ++framesRead;
    auto const* const description = Conf::PixFmtDescription::Find(frame->GetPixelFormat());
    if (!description || !description->HasAlpha()) return frame;
    frames.ReconcileFrameAlloc(frame, effect->GetProcessingFrameType());
    effect->Process(frame);
    if (frame) Blur(frame);
    return frame;
}

void FilterBlurTransparentBorder::Blur(iptr<IDataVideo>& frame) {
    int const alphaByte = AlphaByte(frame->GetPixelFormat());
    Core::TimerSimple const timer;
    uint64 changed = 0;
    // A picture in which nothing can change is neither copied nor walked through.
    if (settings.GetMatrixSize() > 1 && HasTransparentBorder(frame->GetPlaneConst(0), alphaByte)) {
        frame = frame->MakeWritable();
        changed = BlurTransparentBorder(frame->GetPlane(0), alphaByte, settings.GetMatrixSize());
    }
    VLOG(4001) << "Processed " << changed << " pixels in " << timer.GetElapsed() << " us";
}

void FilterBlurTransparentBorder::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    ResetEffects();
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
