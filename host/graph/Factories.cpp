#include "host/graph/Factories.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "host/effects/TempoEffect.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

std::string NoImplementation(std::string const& classId) {
    return "There is no any implementation for " + classId;
}

[[noreturn]] void RefuseForm(FilterRegistry::Row const& row, char const* wanted) {
    TARSEL_THROW(FilterException, std::string("Filter ") + row.classId + " (" + row.implName +
                                      ") is registered in form " + row.form + ": it can't be made " + wanted);
}

template <class Form>
Form const* As(FilterRegistry::Row const& row) {
    return std::get_if<Form>(&std::get<ExFactory>(row.factory));
}

}  // namespace

EffectFactory::~EffectFactory() = default;

void EffectFactory::Register(std::string const& classId, std::string const& implName, Maker maker) {
    if (!maker) TARSEL_THROW(std::invalid_argument, "maker is NULL");
    auto const row = std::find_if(rows.begin(), rows.end(), [&](Row const& known) {
        return known.classId == classId && known.implName == implName;
    });
    if (row != rows.end())
        row->maker = std::move(maker);
    else
        rows.push_back({classId, implName, std::move(maker)});
}

EffectFactory::Row const* EffectFactory::Find(std::string const& classId, std::string const& implName) const {
    Row const* first = nullptr;
    Row const* best = nullptr;
    for (Row const& row : rows) {
        if (row.classId != classId) continue;
        if (row.implName == implName) return &row;
        if (!first) first = &row;
        if (row.implName == ImplNames::TARSEL) best = &row;
    }
    if (implName != ImplNames::DEFAULT) return nullptr;
    return best ? best : first;
}

iptr<IEffect> EffectFactory::CreateEffect(std::string const& classId, std::string const& implName) const {
    Row const* const row = Find(classId, implName);
    if (!row) TARSEL_THROW(EffectException, NoImplementation(classId));
    return row->maker();
}

iptr<IEffectImageBlender> EffectFactory::CreateBlender(std::string const& classId, std::string const&) const {
    TARSEL_THROW(EffectException, NoImplementation(classId));
}

std::vector<std::string> EffectFactory::GetImplementations(std::string const& classId) const {
    std::vector<std::string> names;
    for (Row const& row : rows)
        if (row.classId == classId) names.push_back(row.implName);
    return names;
}

iptr<EffectFactory const> MakeEffectFactory() {
    auto const factory = MakeShared<EffectFactory>();
    factory->Register(SettingsEffectTempo::CLASS_ID, ImplNames::TARSEL,
                      [] { return iptr<IEffect>(new TempoEffect()); });
    return factory;
}

AlgorithmFactory::~AlgorithmFactory() = default;

iptr<IAudioFormatter> AlgorithmFactory::CreateAudioFormatter(std::string const& classId, std::string const&) const {
    TARSEL_THROW(AlgorithmException, NoImplementation(classId));
}

FilterFactory::FilterFactory(iptr<FilterRegistry const> registry, iptr<IEffectFactory const> effects,
                             iptr<IAlgorithmFactory const> algorithms)
    : registry(std::move(registry)), effects(std::move(effects)), algorithms(std::move(algorithms)) {
    if (!this->registry) TARSEL_THROW(std::invalid_argument, "registry is NULL");
    if (!this->effects) TARSEL_THROW(std::invalid_argument, "effect factory is NULL");
    if (!this->algorithms) TARSEL_THROW(std::invalid_argument, "algorithm factory is NULL");
}

FilterFactory::~FilterFactory() = default;

FilterRegistry::Row const& FilterFactory::Require(FilterKind kind, std::string const& classId,
                                                  std::string const& implName) const {
    FilterRegistry::Row const* const row = registry->Find(kind, classId, implName);
    if (!row) TARSEL_THROW(FilterException, NoImplementation(classId));
    return *row;
}

iptr<IStreamAudioEx> FilterFactory::CreateAudio(std::string const& classId, std::string const& implName,
                                                Settings const& settings) const {
    auto const& row = Require(FilterKind::Audio, classId, implName);
    if (auto const* const make = As<AudioExFactoryA>(row)) return (*make)(settings);
    RefuseForm(row, "without a source");
}

iptr<IStreamAudioEx> FilterFactory::CreateAudio(std::string const& classId, std::string const& implName,
                                                iptr<IStreamAudio> const& source, Settings const& settings) const {
    auto const& row = Require(FilterKind::Audio, classId, implName);
    if (auto const* const make = As<AudioExFactoryB>(row)) return (*make)(source, settings);
    if (auto const* const make = As<AudioExFactoryC>(row)) return (*make)(source, effects, settings);
    if (auto const* const make = As<AudioExFactoryD>(row)) return (*make)(source, algorithms, settings);
    RefuseForm(row, "over a source");
}

iptr<IStreamVideoEx> FilterFactory::CreateVideo(std::string const& classId, std::string const& implName,
                                                iptr<IStreamVideo> const& source, Settings const& settings) const {
    auto const& row = Require(FilterKind::Video, classId, implName);
    if (auto const* const make = As<VideoExFactoryA>(row)) return (*make)(source, settings);
    if (auto const* const make = As<VideoExFactoryB>(row)) return (*make)(source, effects, settings);
    return std::get<VideoExFactoryC>(std::get<ExFactory>(row.factory))(source, iptr<IFilterFactory const>(this),
                                                                       settings);
}

iptr<IStreamSubtitleEx> FilterFactory::CreateSubtitle(std::string const& classId, std::string const& implName,
                                                      iptr<IStreamSubtitle> const& source,
                                                      Settings const& settings) const {
    auto const& row = Require(FilterKind::Subtitle, classId, implName);
    return std::get<SubtitleExFactory>(std::get<ExFactory>(row.factory))(source, settings);
}

iptr<IStreamRawEx> FilterFactory::CreateRaw(std::string const& classId, std::string const& implName,
                                            iptr<IStreamRaw> const& source, Settings const& settings) const {
    auto const& row = Require(FilterKind::Raw, classId, implName);
    return std::get<RawExFactory>(std::get<ExFactory>(row.factory))(source, settings);
}

FilterFunction FilterFactory::FindDedicated(std::string const& filter, std::string const& implName) const {
    return std::get<FilterFunction>(Require(FilterKind::Dedicated, filter, implName).factory);
}

iptr<FilterFactory const> MakeFilterFactory() {
    return MakeShared<FilterFactory>(MakeFilterRegistry(), MakeEffectFactory(), MakeShared<AlgorithmFactory>());
}

}  // namespace Tarsel::Host
