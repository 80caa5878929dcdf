#include "host/graph/Factories.h"

#include <algorithm>
#include <stdexcept>
#include <utility>
#include <variant>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IResample.h"
#include "contracts/Proc/ImplNames.h"
#include "host/effects/AudioFormatter.h"
#include "host/effects/PictureEffects.h"
#include "host/effects/SoundEffects.h"
#include "host/gpu/GpuEffects.h"

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

namespace Details {

template <class Maker>
void MakerTable<Maker>::Register(std::string const& classId, std::string const& implName, Maker maker) {
    if (!maker) TARSEL_THROW(std::invalid_argument, "maker is NULL");
    auto const row = std::find_if(rows.begin(), rows.end(), [&](Row const& known) {
        return known.classId == classId && known.implName == implName;
    });
    if (row != rows.end())
        row->maker = std::move(maker);
    else
        rows.push_back({classId, implName, std::move(maker)});
}

template <class Maker>
Maker const* MakerTable<Maker>::Find(std::string const& classId, std::string const& implName) const {
    Maker const* first = nullptr;
    Maker const* best = nullptr;
    for (Row const& row : rows) {
        if (row.classId != classId) continue;
        if (row.implName == implName) return &row.maker;
        if (!first) first = &row.maker;
        if (row.implName == ImplNames::TARSEL) best = &row.maker;
    }
    if (implName != ImplNames::DEFAULT) return nullptr;
    return best ? best : first;
}

template <class Maker>
std::vector<std::string> MakerTable<Maker>::GetImplementations(std::string const& classId) const {
    std::vector<std::string> names;
    for (Row const& row : rows)
        if (row.classId == classId) names.push_back(row.implName);
    return names;
}

}  // namespace Details

EffectFactory::~EffectFactory() = default;

void EffectFactory::Register(std::string const& classId, std::string const& implName, Maker maker) {
    makers.Register(classId, implName, std::move(maker));
}

void EffectFactory::RegisterBlender(std::string const& classId, std::string const& implName, BlenderMaker maker) {
    makers.Register(classId, implName, maker ? Maker([maker] { return iptr<IEffect>(maker()); }) : Maker());
    blenderMakers.Register(classId, implName, std::move(maker));
}

iptr<IEffect> EffectFactory::CreateEffect(std::string const& classId, std::string const& implName) const {
    Maker const* const maker = makers.Find(classId, implName);
    if (!maker) TARSEL_THROW(EffectException, NoImplementation(classId));
    return (*maker)();
}

iptr<IEffectImageBlender> EffectFactory::CreateBlender(std::string const& classId, std::string const& implName) const {
    BlenderMaker const* const maker = blenderMakers.Find(classId, implName);
    if (!maker) TARSEL_THROW(EffectException, NoImplementation(classId));
    return (*maker)();
}

std::vector<std::string> EffectFactory::GetImplementations(std::string const& classId) const {
    return makers.GetImplementations(classId);
}

iptr<EffectFactory const> MakeEffectFactory() {
    auto const factory = MakeShared<EffectFactory>();
    RegisterSoundEffects(*factory);
    RegisterPictureEffects(*factory);
    RegisterGpuEffects(*factory);
    return factory;
}

AlgorithmFactory::~AlgorithmFactory() = default;

void AlgorithmFactory::RegisterAudioFormatter(std::string const& classId, std::string const& implName,
                                              AudioFormatterMaker maker) {
    audioFormatters.Register(classId, implName, std::move(maker));
}

iptr<IAudioFormatter> AlgorithmFactory::CreateAudioFormatter(std::string const& classId,
                                                             std::string const& implName) const {
    AudioFormatterMaker const* const maker = audioFormatters.Find(classId, implName);
    if (!maker) TARSEL_THROW(AlgorithmException, NoImplementation(classId));
    return (*maker)();
}

iptr<AlgorithmFactory const> MakeAlgorithmFactory() {
    auto const factory = MakeShared<AlgorithmFactory>();
    factory->RegisterAudioFormatter(IAudioFormatter::CLASS_ID, ImplNames::TARSEL,
                                    [] { return iptr<IAudioFormatter>(new AudioFormatter()); });
    return factory;
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
    return MakeShared<FilterFactory>(MakeFilterRegistry(), MakeEffectFactory(), MakeAlgorithmFactory());
}

}  // namespace Tarsel::Host
