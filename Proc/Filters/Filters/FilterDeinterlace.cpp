#include "Proc/Filters/Filters/FilterDeinterlace.h"

#include <glog/logging.h>

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/EffectFormat.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsEffectDeinterlace.h"
#include "contracts/Proc/SettingsEffectLineSmoother.h"

namespace Tarsel::Proc {

namespace {

constexpr char DOWNLOAD_WARNING[] = "Downloading from GPU. Possible speed loss. Please use OGL deinterlace here.";
/// Pictures that are looked at before the stream is taken for progressive.
constexpr std::size_t LOOK_AHEAD = 3;

}  // namespace

FilterDeinterlace::FilterDeinterlace(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory,
                                     Settings const& settings)
    : StreamImpl(std::move(source), false), factory(std::move(effectFactory)), frames(factory, DOWNLOAD_WARNING) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    FilterDeinterlace::Initialize(settings);
}

void FilterDeinterlace::Initialize(Settings const& newSettings) {
    Apply(dynamic_cast<SettingsDeinterlace const&>(newSettings));
}

void FilterDeinterlace::Apply(SettingsDeinterlace const& newSettings) {
    auto const make = [&](Settings const& effectSettings) {
        auto effect =
            MakeEffect<IOneInputEffectVideo>(*factory, effectSettings.GetClassId(), newSettings.GetImplName());
        effect->Initialize(effectSettings);
        return effect;
    };
    Effects made;
    made.first = make(SettingsEffectDeinterlace(newSettings.GetMethod()));
    if (newSettings.IsSmoothing()) made.second = make(SettingsEffectLineSmoother());
    Core::RecursiveMutexLock const guard(lock);
    std::swap(effects, made);
    settings = newSettings;
    // What the old effects kept will not come out any more.
    carry = 0;
}

Core::Property FilterDeinterlace::GetSettings() {
    Core::RecursiveMutexLock const guard(lock);
    return Settings2Property(settings);
}

Core::Property FilterDeinterlace::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::FilterDeinterlace::GetStatistic", 0, framesRead);
    node.Add(effects.first->GetStatistic());
    if (effects.second) node.Add(effects.second->GetStatistic());
    return result.Add(std::move(node));
}

iptr<Conf::IFormatCodecVideo const> FilterDeinterlace::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> const source = parentStream->GetFormatCodec();
    Core::RecursiveMutexLock const guard(lock);
    Effects const running = decision == Decision::PassThrough ? Effects() : effects;
    return Details::AdaptedFormat(source, [&](auto& format) {
        if (running.first) running.first->AdaptFormatCodec(format);
        if (running.second) running.second->AdaptFormatCodec(format);
    });
}

void FilterDeinterlace::ReleaseInternalData() {
    Core::RecursiveMutexLock const api(apiLock);
    Forget();
    StreamImpl::ReleaseInternalData();
}

void FilterDeinterlace::Forget() {
    Core::RecursiveMutexLock const guard(lock);
    carry = 0;
    peeked.clear();
    effects.first->ResetEffectState();
    if (effects.second) effects.second->ResetEffectState();
    frames.Reset();
}

void FilterDeinterlace::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterDeinterlace", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataVideo> FilterDeinterlace::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    LookAhead();
    if (decision == Decision::Undecided) return nullptr;
    while (iptr<IDataVideo> frame = Next()) {
        if (decision == Decision::PassThrough) {
            ++framesRead;
            return frame;
        }
        int64 const duration = frame->GetDuration();
        RunEffects(frame);
        if (frame) {
            ++framesRead;
            return Fixed(std::move(frame));
        }
        // A picture of no or an unknown duration leaves nothing to account for.
        carry = AddTime(carry, std::max<int64>(duration, 0));
    }
    return nullptr;
}

void FilterDeinterlace::LookAhead() {
    while (decision == Decision::Undecided) {
        iptr<IDataVideo> frame = peeked.size() < LOOK_AHEAD ? parentStream->Read() : nullptr;
        if (frame) {
            if (frame->GetInterlace() != 0) decision = Decision::Deinterlace;
            peeked.push_back(std::move(frame));
        } else if (peeked.size() < LOOK_AHEAD && IsEndOfStream()) {
            // An end from the host says nothing about the stream, which may be sought and read again.
            return;
        } else {
            decision = Decision::PassThrough;
        }
    }
}

iptr<IDataVideo> FilterDeinterlace::Next() {
    if (peeked.empty()) return parentStream->Read();
    iptr<IDataVideo> frame = std::move(peeked.front());
    peeked.pop_front();
    return frame;
}

void FilterDeinterlace::RunEffects(iptr<IDataVideo>& frame) {
    for (IOneInputEffectVideo* const effect : {effects.first.get(), effects.second.get()}) {
        if (!effect || !frame) continue;
        frames.ReconcileFrameAlloc(frame, effect->GetProcessingFrameType());
        effect->Process(frame);
    }
}

iptr<IDataVideo> FilterDeinterlace::Fixed(iptr<IDataVideo> frame) {
    if (carry == 0) return frame;
    frame = MakeOwn(std::move(frame));
    frame->SetTime(SubTime(frame->GetTime(), carry));
    frame->SetDuration(AddTime(frame->GetDuration(), carry));
    VLOG(4000) << "Deinterlace (fixed):     Time=" << frame->GetTime() << " Duration=" << frame->GetDuration();
    carry = 0;
    return frame;
}

void FilterDeinterlace::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    Forget();
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
