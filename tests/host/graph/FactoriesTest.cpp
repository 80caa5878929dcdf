#include "host/graph/Factories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <typeinfo>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/ICropDetector.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IOverlayStream.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectTempo.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "tests/support/Builders.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/Matchers.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char const* UPDATER = SettingsStreamMetadataUpdater::CLASS_ID;

SettingsStreamMetadataUpdater Language(char const* language) {
    return SettingsStreamMetadataUpdater(Core::Property("Tags").SetChild("language", language));
}

TEST(FilterFactory, MakesAFilterOfTheLibraryByItsNames) {
    auto const factory = MakeFilterFactory();
    for (char const* implName : {ImplNames::TARSEL, ImplNames::DEFAULT}) {
        auto const source = ScriptedVideo::Create({MakeVideo(0, 40)});
        auto const video = factory->CreateVideo(UPDATER, implName, source, Language("eng"));
        EXPECT_EQ(video->GetFormatCodec()->GetMetadata()["language"].GetString(), "eng");
        Seek(*video, 0);
        EXPECT_THAT(ReadAll(*video), ElementsAre(IsVideo(0, 40)));
        video->Initialize(Language("deu"));
        EXPECT_EQ(video->GetFormatCodec()->GetMetadata()["language"].GetString(), "deu");
        auto const audio =
            factory->CreateAudio(UPDATER, implName, ScriptedAudio::Create({MakeAudio(0, 10)}), Language("eng"));
        EXPECT_THAT(ReadAll(*audio), ElementsAre(IsAudio(0, 10)));
    }
}

TEST(FilterFactory, CastsAndFailuresWorkAcrossTheLibraries) {
    auto const factory = MakeFilterFactory();
    auto const video = factory->CreateVideo(UPDATER, ImplNames::TARSEL, ScriptedVideo::Create({}), Language("eng"));
    iptr<IStream> const base = video;
    EXPECT_NE(dynamic_cast<IStreamVideoEx*>(base.get()), nullptr);
    EXPECT_EQ(dynamic_cast<IStreamAudioEx*>(base.get()), nullptr);
    EXPECT_EQ(MessageOf<FilterException>([&] { base->Initialize(Core::Property("x")); }), "Method not implemented");
    Visitors::InfoCollector names;
    base->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterStreamMetadataUpdater", "ScriptedStream"));
    EXPECT_EQ(MessageOf<std::invalid_argument>(
                  [&] { factory->CreateVideo(UPDATER, ImplNames::TARSEL, nullptr, Language("eng")); }),
              "parentStream is NULL.");
}

TEST(FilterFactory, SettingsOfAnotherClassAreABadCastAndTheHalfBuiltFilterIsReleased) {
    auto const factory = MakeFilterFactory();
    int const before = ScriptedVideo::GetLiveCount() + ScriptedAudio::GetLiveCount();
    {
        iptr<ScriptedVideo> const video = ScriptedVideo::Create({});
        iptr<ScriptedAudio> const audio = ScriptedAudio::Create({});
        EXPECT_THROW(factory->CreateVideo(UPDATER, ImplNames::TARSEL, video, OtherSettings()), std::bad_cast);
        EXPECT_THROW(factory->CreateAudio(UPDATER, ImplNames::TARSEL, audio, OtherSettings()), std::bad_cast);
        EXPECT_EQ(video->GetRefCountImpl(), 1U);
        EXPECT_EQ(audio->GetRefCountImpl(), 1U);
    }
    EXPECT_EQ(ScriptedVideo::GetLiveCount() + ScriptedAudio::GetLiveCount(), before);
}

TEST(FilterFactory, WhatIsNotRegisteredIsRefusedByName) {
    auto const factory = MakeFilterFactory();
    auto const video = ScriptedVideo::Create({});
    std::string const text = "There is no any implementation for Nothing";
    char const* const name = ImplNames::DEFAULT;
    auto const settings = Language("eng");
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->CreateVideo("Nothing", name, video, settings); }), text);
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->CreateAudio("Nothing", name, settings); }), text);
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->CreateAudio("Nothing", name, nullptr, settings); }), text);
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->CreateSubtitle("Nothing", name, nullptr, settings); }), text);
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->CreateRaw("Nothing", name, nullptr, settings); }), text);
    EXPECT_THROW(factory->CreateVideo(UPDATER, ImplNames::OGL, video, settings), FilterException);
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->Dedicated(FilterSlots::CROP_DETECTOR, "none"); }),
              "There is no any implementation for CropDetector");
    EXPECT_EQ(MessageOf<FilterException>([&] { factory->CreateOverlayStream(video, "none"); }),
              "There is no any implementation for OverlayStream");
}

TEST(FilterFactory, FormWithoutASourceIsNotMadeOverOneNorTheOtherWayRound) {
    auto const factory = MakeFilterFactory();
    EXPECT_EQ(
        MessageOf<FilterException>([&] { factory->CreateAudio(UPDATER, ImplNames::TARSEL, Language("eng")); }),
        "Filter SettingsStreamMetadataUpdater (Tarsel) is registered in form b: it can't be made without a source");
    auto const registry = MakeShared<FilterRegistry>();
    registry->RegisterFilterAudioEx("Tone", "i", [](Settings const&) { return iptr<IStreamAudioEx>(); });
    FilterFactory const own(registry, MakeShared<EffectFactory>(), MakeShared<AlgorithmFactory>());
    EXPECT_EQ(MessageOf<FilterException>([&] { own.CreateAudio("Tone", "i", nullptr, Language("eng")); }),
              "Filter Tone (i) is registered in form a: it can't be made over a source");
}

TEST(FilterFactory, EveryFormGetsTheFactoriesItAsksFor) {
    auto const registry = MakeShared<FilterRegistry>();
    auto const effects = MakeShared<EffectFactory>();
    auto const algorithms = MakeShared<AlgorithmFactory>();
    std::vector<void const*> given;
    using Audio = iptr<IStreamAudio> const&;
    using Video = iptr<IStreamVideo> const&;
    registry->RegisterFilterAudioEx("A", "i", [&](Settings const&) {
        given.push_back(nullptr);
        return iptr<IStreamAudioEx>();
    });
    registry->RegisterFilterAudioEx("C", "i", [&](Audio, iptr<IEffectFactory const> const& factory, Settings const&) {
        given.push_back(factory.get());
        return iptr<IStreamAudioEx>();
    });
    registry->RegisterFilterAudioEx("D", "i",
                                    [&](Audio, iptr<IAlgorithmFactory const> const& factory, Settings const&) {
                                        given.push_back(factory.get());
                                        return iptr<IStreamAudioEx>();
                                    });
    registry->RegisterFilterVideoEx("B", "i", [&](Video, iptr<IEffectFactory const> const& factory, Settings const&) {
        given.push_back(factory.get());
        return iptr<IStreamVideoEx>();
    });
    registry->RegisterFilterVideoEx("C", "i", [&](Video, iptr<IFilterFactory const> const& factory, Settings const&) {
        given.push_back(factory.get());
        return iptr<IStreamVideoEx>();
    });
    registry->RegisterFilterSubtitleEx("A", "i", [&](iptr<IStreamSubtitle> const& source, Settings const&) {
        given.push_back(source.get());
        return iptr<IStreamSubtitleEx>();
    });
    registry->RegisterFilterRawEx("A", "i", [&](iptr<IStreamRaw> const& source, Settings const&) {
        given.push_back(source.get());
        return iptr<IStreamRawEx>();
    });
    auto const factory = MakeShared<FilterFactory>(registry, effects, algorithms);
    auto const settings = Language("eng");
    iptr<IStreamSubtitle> const subtitle = ScriptedSubtitle::Create({});
    iptr<IStreamRaw> const raw = ScriptedRaw::Create({});
    factory->CreateAudio("A", "i", settings);
    factory->CreateAudio("C", "i", nullptr, settings);
    factory->CreateAudio("D", "i", nullptr, settings);
    factory->CreateVideo("B", "i", nullptr, settings);
    factory->CreateVideo("C", "i", nullptr, settings);
    factory->CreateSubtitle("A", "i", subtitle, settings);
    factory->CreateRaw("A", "i", raw, settings);
    EXPECT_THAT(given, ElementsAre(nullptr, static_cast<IEffectFactory const*>(effects.get()),
                                   static_cast<IAlgorithmFactory const*>(algorithms.get()),
                                   static_cast<IEffectFactory const*>(effects.get()),
                                   static_cast<IFilterFactory const*>(factory.get()), subtitle.get(), raw.get()));
}

TEST(FilterFactory, DedicatedFiltersOfTheHostAreMadeOverASource) {
    auto const registry = MakeShared<FilterRegistry>();
    static iptr<IStreamVideo> seen;
    registry->RegisterOverlayStream("Own", [](iptr<IStreamVideo> const& source) {
        seen = source;
        return iptr<IOverlayStream>();
    });
    FilterFactory const factory(registry, MakeShared<EffectFactory>(), MakeShared<AlgorithmFactory>());
    iptr<IStreamVideo> const source = ScriptedVideo::Create({});
    EXPECT_EQ(factory.CreateOverlayStream(source, ImplNames::DEFAULT), nullptr);
    EXPECT_EQ(seen, source);
    seen = nullptr;
}

TEST(FilterFactory, CropDetectorIsMadeWithTheFactorysEffects) {
    auto const registry = MakeShared<FilterRegistry>();
    static iptr<IEffectFactory const> seen;
    registry->RegisterCropDetector("Own", [](iptr<IEffectFactory const> const& effects) {
        seen = effects;
        return iptr<ICropDetector>();
    });
    auto const effects = MakeShared<EffectFactory>();
    FilterFactory const factory(registry, effects, MakeShared<AlgorithmFactory>());
    EXPECT_EQ(factory.CreateCropDetector(ImplNames::DEFAULT), nullptr);
    EXPECT_EQ(seen, effects);
    seen = nullptr;
    EXPECT_NE(MakeFilterFactory()->CreateCropDetector(ImplNames::DEFAULT), nullptr) << "of the filters library";
}

TEST(FilterFactory, OverlayStreamOfTheHostIsFoundAsTheDefault) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40)});
    for (char const* implName : {ImplNames::TARSEL, ImplNames::DEFAULT})
        EXPECT_NE(MakeFilterFactory()->CreateOverlayStream(source, implName), nullptr);
}

TEST(FilterFactory, NullPartsAreRefused) {
    auto const registry = MakeShared<FilterRegistry>();
    auto const effects = MakeShared<EffectFactory>();
    auto const algorithms = MakeShared<AlgorithmFactory>();
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterFactory(nullptr, effects, algorithms); }),
              "registry is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterFactory(registry, nullptr, algorithms); }),
              "effect factory is NULL");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { FilterFactory(registry, effects, nullptr); }),
              "algorithm factory is NULL");
}

/// An effect that is told by its address alone.
using OtherEffect = Tarsel::Test::IdleEffect<IOneInputEffectAudio>;

TEST(EffectFactory, MakesTheTempoEffectAnewAtEveryCall) {
    auto const factory = MakeEffectFactory();
    EXPECT_THAT(factory->GetImplementations(SettingsEffectTempo::CLASS_ID), ElementsAre(ImplNames::TARSEL));
    for (char const* implName : {ImplNames::TARSEL, ImplNames::DEFAULT}) {
        auto const effect = factory->CreateEffect(SettingsEffectTempo::CLASS_ID, implName);
        EXPECT_NE(dynamic_cast<IOneInputEffectAudio*>(effect.get()), nullptr);
        EXPECT_EQ(effect->GetRefCountImpl(), 1U);
        EXPECT_NE(effect, factory->CreateEffect(SettingsEffectTempo::CLASS_ID, implName));
    }
    EXPECT_EQ(MessageOf<EffectException>([&] { factory->CreateEffect(SettingsEffectTempo::CLASS_ID, ImplNames::OGL); }),
              "There is no any implementation for SettingsEffectTempo");
}

TEST(EffectFactory, ListsImplementationsInTheOrderOfTheirRegistrationAndReplacesOneOfTheSameName) {
    EffectFactory factory;
    iptr<IEffect> const first(new OtherEffect());
    iptr<IEffect> const second(new OtherEffect());
    iptr<IEffect> const third(new OtherEffect());
    factory.Register("A", ImplNames::OGL, [&] { return first; });
    factory.Register("B", ImplNames::FFMPEG, [&] { return first; });
    EXPECT_EQ(factory.CreateEffect("A", ImplNames::DEFAULT), first) << "the first one where none is the system's own";
    factory.Register("A", ImplNames::TARSEL, [&] { return second; });
    EXPECT_THAT(factory.GetImplementations("A"), ElementsAre(ImplNames::OGL, ImplNames::TARSEL));
    EXPECT_EQ(factory.CreateEffect("A", ImplNames::DEFAULT), second);
    EXPECT_EQ(factory.CreateEffect("A", ImplNames::OGL), first);
    factory.Register("A", ImplNames::OGL, [&] { return third; });
    EXPECT_THAT(factory.GetImplementations("A"), ElementsAre(ImplNames::OGL, ImplNames::TARSEL));
    EXPECT_EQ(factory.CreateEffect("A", ImplNames::OGL), third);
    EXPECT_EQ(MessageOf<EffectException>([&] { factory.CreateEffect("A", ImplNames::FFMPEG); }),
              "There is no any implementation for A");
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { factory.Register("A", "x", nullptr); }), "maker is NULL");
}

TEST(EffectFactory, KnowsNothingUntilItIsTold) {
    EffectFactory const factory;
    EXPECT_THAT(factory.GetImplementations("SettingsResizer"), IsEmpty());
    EXPECT_EQ(MessageOf<EffectException>([&] { factory.CreateEffect("SettingsResizer", ImplNames::DEFAULT); }),
              "There is no any implementation for SettingsResizer");
    EXPECT_EQ(MessageOf<EffectException>([&] { factory.CreateBlender("SettingsEffectImageBlender", ImplNames::OGL); }),
              "There is no any implementation for SettingsEffectImageBlender");
}

TEST(AlgorithmFactory, KnowsNoAlgorithmSoFar) {
    AlgorithmFactory const factory;
    EXPECT_EQ(MessageOf<AlgorithmException>([&] { factory.CreateAudioFormatter("Cutter", ImplNames::DEFAULT); }),
              "There is no any implementation for Cutter");
}

}  // namespace
}  // namespace Tarsel::Host
