#include "Proc/Filters/Filters/FilterResample.h"

#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/EmptyBlocks.h"
#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Proc {

iptr<IFilterResample> FilterResample::Create(iptr<IStreamAudio> const& source,
                                             iptr<IEffectFactory const> const& effectFactory) {
    return iptr<IFilterResample>(new FilterResample(source, effectFactory));
}

FilterResample::FilterResample(iptr<IStreamAudio> source, iptr<IEffectFactory const> effectFactory)
    : StreamImpl(std::move(source), false), factory(std::move(effectFactory)), implementation(ImplNames::DEFAULT) {
    if (!factory) TARSEL_THROW(std::invalid_argument, "effectFactory is NULL");
    resampler = MakeEngine(implementation);
}

iptr<IResample> FilterResample::MakeEngine(std::string const& implName) const {
    iptr<IEffect> const made = factory->CreateEffect(IResample::CLASS_ID, implName);
    iptr<IResample> engine(dynamic_cast<IResample*>(made.get()));
    if (!engine)
        TARSEL_THROW(EffectException, std::string("There is no any implementation for ") + IResample::CLASS_ID);
    return engine;
}

void FilterResample::Initialize(Core::Property const& property) {
    if (property.Name() != IFilterResample::CLASS_ID)
        TARSEL_THROW(FilterException, "Filter was initialized with incorrect class (" + property.Name() + ")!");
    Core::RecursiveMutexLock const guard(lock);
    Core::Property const& own = property[IResample::CLASS_ID];
    std::string const& implName = own[Conf::IPreset::KEY_TYPE_ID].GetString();
    iptr<IResample> engine = MakeEngine(implName);
    engine->Initialize(own);
    resampler = std::move(engine);
    implementation = implName;
}

void FilterResample::Initialize(Settings const& newSettings) {
    auto const& own = dynamic_cast<SettingsFilterResample const&>(newSettings);
    Core::RecursiveMutexLock const guard(lock);
    iptr<IResample> engine = MakeEngine(own.GetImplementation());
    engine->Initialize(own.GetResample());
    resampler = std::move(engine);
    implementation = own.GetImplementation();
}

Core::Property FilterResample::GetSettings() {
    Core::RecursiveMutexLock const guard(lock);
    Core::Property engine = resampler->GetSettings();
    engine.SetChild(Conf::IPreset::KEY_TYPE_ID, implementation);
    return Core::Property(IFilterResample::CLASS_ID).SetChild(IResample::CLASS_ID, engine);
}

void FilterResample::SetSampleInfo(Conf::SampleInfo const& info) {
    Core::RecursiveMutexLock const guard(lock);
    resampler->SetSampleInfo(info);
}

void FilterResample::SetFormatCodec(iptr<Conf::IFormatCodecAudio const> const& format) {
    if (!format) TARSEL_THROW(std::invalid_argument, "format is NULL");
    SetSampleInfo(format->GetSampleInfo());
}

Core::Property FilterResample::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::RecursiveMutexLock const guard(lock);
    return result.Add(Core::MakeStatistics("Tarsel::Proc::FilterResample::GetStatistic", 0, blocksRead));
}

iptr<Conf::IFormatCodecAudio const> FilterResample::GetFormatCodec() const {
    iptr<Conf::IFormatCodecAudio const> const source = parentStream->GetFormatCodec();
    if (!source) TARSEL_THROW(FilterException, "Source format codec must be present");
    iptr<Conf::IFormatCodec> format = source->Clone();
    Core::RecursiveMutexLock const guard(lock);
    resampler->AdaptFormatCodec(format);
    return iptr<Conf::IFormatCodecAudio const>(dynamic_cast<Conf::IFormatCodecAudio const*>(format.get()));
}

void FilterResample::ReleaseInternalData() {
    {
        Core::RecursiveMutexLock const api(apiLock);
        Core::RecursiveMutexLock const guard(lock);
        resampler->ResetEffectState();
    }
    StreamImpl::ReleaseInternalData();
}

void FilterResample::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterResample", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IDataAudio> FilterResample::ReadInternal() {
    Core::RecursiveMutexLock const guard(lock);
    Details::EmptyBlocks emptyBlocks;
    while (!IsEndOfStream()) {
        iptr<IDataAudio> data = parentStream->Read();
        bool const hadInput = data != nullptr;
        bool const isEmpty = hadInput && data->GetSampleCount() <= 0;
        resampler->Process(data);
        if (data) ++blocksRead;
        if (data || !hadInput) return data;
        emptyBlocks.Count(isEmpty);
    }
    return nullptr;
}

void FilterResample::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    Core::RecursiveMutexLock const guard(lock);
    // What it holds stands in front of the new position, and must not come out behind it.
    resampler->ResetEffectState();
    parentStream->RequestSeek(target, seekContext);
}

}  // namespace Tarsel::Proc
