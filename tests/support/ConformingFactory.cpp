#include "tests/support/ConformingFactory.h"

#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/ImplNames.h"

namespace Tarsel::Proc {

// The factory of effects names it; nothing here makes one.
class IEffectImageBlender : public virtual IRefCountable {};

}  // namespace Tarsel::Proc

namespace Tarsel::Test {

using namespace Proc;

namespace {

[[noreturn]] void Refuse() {
    TARSEL_THROW(std::logic_error, "this factory makes resamplers and packetisers alone");
}

iptr<IFilterResample> MakeResampler(iptr<IStreamAudio> const& source, iptr<IEffectFactory const> const& effects) {
    ConformingPlan& plan = dynamic_cast<Test::Details::PlanEffects const&>(*effects).plan;
    std::string const name = "resampler " + std::to_string(plan.resamplers++);
    if (plan.onMake) plan.onMake(name);
    return MakeShared<Test::Details::PlainResampler>(source, plan, name);
}

/// A packetiser has the number of the resampler that it reads.
iptr<IFilterAudioFormatter> MakeFormatter(iptr<IStreamAudio> const& source,
                                          iptr<IAlgorithmFactory const> const& algorithms) {
    ConformingPlan& plan = dynamic_cast<Test::Details::PlanAlgorithms const&>(*algorithms).plan;
    std::string const number =
        dynamic_cast<Test::Details::PlainResampler const&>(*source).GetName().substr(sizeof "resampler " - 1);
    std::string const name = "formatter " + number;
    if (plan.onMake) plan.onMake(name);
    return MakeShared<Test::Details::PlainFormatter>(source, plan, name);
}

}  // namespace

namespace Details {

iptr<IEffect> PlanEffects::CreateEffect(std::string const&, std::string const&) const {
    Refuse();
}
iptr<IEffectImageBlender> PlanEffects::CreateBlender(std::string const&, std::string const&) const {
    Refuse();
}
iptr<IAudioFormatter> PlanAlgorithms::CreateAudioFormatter(std::string const&, std::string const&) const {
    Refuse();
}

}  // namespace Details

ConformingFactory::ConformingFactory(ConformingPlan& plan)
    : effects(MakeShared<Details::PlanEffects>(plan)), algorithms(MakeShared<Details::PlanAlgorithms>(plan)) {}

FilterFunction ConformingFactory::FindDedicated(std::string const& filter, std::string const& implName) const {
    if (implName != ImplNames::DEFAULT) TARSEL_THROW(FilterException, "There is no any implementation for " + filter);
    if (filter == FilterSlots::RESAMPLE.name) return reinterpret_cast<FilterFunction>(&MakeResampler);
    if (filter == FilterSlots::AUDIO_FORMATTER.name) return reinterpret_cast<FilterFunction>(&MakeFormatter);
    TARSEL_THROW(FilterException, "There is no any implementation for " + filter);
}

iptr<IStreamAudioEx> ConformingFactory::CreateAudio(std::string const&, std::string const&, Settings const&) const {
    Refuse();
}
iptr<IStreamAudioEx> ConformingFactory::CreateAudio(std::string const&, std::string const&, iptr<IStreamAudio> const&,
                                                    Settings const&) const {
    Refuse();
}
iptr<IStreamVideoEx> ConformingFactory::CreateVideo(std::string const&, std::string const&, iptr<IStreamVideo> const&,
                                                    Settings const&) const {
    Refuse();
}
iptr<IStreamSubtitleEx> ConformingFactory::CreateSubtitle(std::string const&, std::string const&,
                                                          iptr<IStreamSubtitle> const&, Settings const&) const {
    Refuse();
}
iptr<IStreamRawEx> ConformingFactory::CreateRaw(std::string const&, std::string const&, iptr<IStreamRaw> const&,
                                                Settings const&) const {
    Refuse();
}

}  // namespace Tarsel::Test
