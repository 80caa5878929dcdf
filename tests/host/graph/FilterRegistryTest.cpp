#include "host/graph/FilterRegistry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <tuple>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataMD5.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/FilterRegistrator.h"
#include "contracts/Proc/GraphCRCData.h"
#include "contracts/Proc/ICRCStreamController.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IFilterLosslessDetect.h"
#include "contracts/Proc/IFilterSeekController.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/ISmartMap.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Settings.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "contracts/Proc/TIFilterJoin.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

/// "kind form class implementation" of each row in order.
std::vector<std::string> Listing(FilterRegistry const& registry) {
    std::vector<std::string> lines;
    for (auto const& row : registry.GetRows())
        lines.push_back(std::string(KindName(row.kind)) + ' ' + row.form + ' ' + row.classId + ' ' + row.implName);
    return lines;
}

VideoExFactoryA VideoA() {
    return [](iptr<IStreamVideo> const&, Settings const&) { return iptr<IStreamVideoEx>(); };
}

TEST(FilterRegistry, IsEmptyAtBirth) {
    auto const registry = MakeShared<FilterRegistry>();
    EXPECT_THAT(registry->GetRows(), IsEmpty());
    EXPECT_EQ(registry->Find(FilterKind::Video, "Class", ImplNames::DEFAULT), nullptr);
    EXPECT_EQ(registry->Find(FilterSlots::RESIZE, ImplNames::TARSEL), nullptr);
    EXPECT_THAT(registry->GetImplementations(FilterKind::Video, "Class"), IsEmpty());
}

TEST(FilterRegistry, FormsOfTheSecondGroupAreToldApartByTheirArguments) {
    auto const registry = MakeShared<FilterRegistry>();
    IFilterFactoryRegistrator& door = *registry;
    using Audio = iptr<IStreamAudio> const&;
    using Video = iptr<IStreamVideo> const&;
    using Effects = iptr<IEffectFactory const> const&;
    using Algorithms = iptr<IAlgorithmFactory const> const&;
    using Filters = iptr<IFilterFactory const> const&;
    using S = Settings const&;
    door.RegisterFilterAudioEx("A", "i", [](S) { return iptr<IStreamAudioEx>(); });
    door.RegisterFilterAudioEx("B", "i", [](Audio, S) { return iptr<IStreamAudioEx>(); });
    door.RegisterFilterAudioEx("C", "i", [](Audio, Effects, S) { return iptr<IStreamAudioEx>(); });
    door.RegisterFilterAudioEx("D", "i", [](Audio, Algorithms, S) { return iptr<IStreamAudioEx>(); });
    door.RegisterFilterVideoEx("A", "i", [](Video, S) { return iptr<IStreamVideoEx>(); });
    door.RegisterFilterVideoEx("B", "i", [](Video, Effects, S) { return iptr<IStreamVideoEx>(); });
    door.RegisterFilterVideoEx("C", "i", [](Video, Filters, S) { return iptr<IStreamVideoEx>(); });
    door.RegisterFilterSubtitleEx("A", "i", [](iptr<IStreamSubtitle> const&, S) { return iptr<IStreamSubtitleEx>(); });
    door.RegisterFilterRawEx("A", "i", [](iptr<IStreamRaw> const&, S) { return iptr<IStreamRawEx>(); });
    EXPECT_THAT(Listing(*registry),
                ElementsAre("audio a A i", "audio b B i", "audio c C i", "audio d D i", "video a A i", "video b B i",
                            "video c C i", "subtitle a A i", "raw a A i"));
    for (auto const& row : registry->GetRows()) {
        auto const index = std::get<ExFactory>(row.factory).index();
        EXPECT_EQ(&row - registry->GetRows().data(), static_cast<std::ptrdiff_t>(index)) << row.classId;
    }
}

TEST(FilterRegistry, TheFactoriesDoNotConvertToOneAnother) {
    static_assert(!std::is_convertible_v<IEffectFactory*, IAlgorithmFactory*>);
    static_assert(!std::is_convertible_v<IEffectFactory*, IFilterFactory*>);
    static_assert(!std::is_convertible_v<IAlgorithmFactory*, IEffectFactory*>);
    static_assert(!std::is_convertible_v<IAlgorithmFactory*, IFilterFactory*>);
    static_assert(!std::is_convertible_v<IFilterFactory*, IEffectFactory*>);
    static_assert(!std::is_convertible_v<IFilterFactory*, IAlgorithmFactory*>);
}

TEST(FilterRegistry, EveryDedicatedSlotKeepsItsFunctionUnderItsFiltersName) {
    auto const registry = MakeShared<FilterRegistry>();
    IFilterFactoryRegistrator& door = *registry;
    std::vector<std::string> expected;
    auto const check = [&](auto const& slot, auto enter) {
        using Function = typename std::decay_t<decltype(slot)>::Factory;
        // Any address serves: the function is stored and given back, never called.
        auto const function = reinterpret_cast<Function>(reinterpret_cast<FilterFunction>(&MakeFilterRegistry));
        (door.*enter)(ImplNames::TARSEL, function);
        EXPECT_EQ(registry->Find(slot, ImplNames::TARSEL), function) << slot.name;
        EXPECT_EQ(registry->Find(slot, ImplNames::DEFAULT), function) << slot.name;
        EXPECT_EQ(registry->Find(slot, ImplNames::OGL), nullptr) << slot.name;
        expected.push_back(std::string("dedicated - ") + slot.name + " Tarsel");
        EXPECT_EQ(registry->GetRows().size(), expected.size());
    };
    using R = IFilterFactoryRegistrator;
    check(FilterSlots::COLOR_SPACE, &R::RegisterFilterColorSpace);
    check(FilterSlots::RESIZE, &R::RegisterFilterResize);
    check(FilterSlots::FRAME_RATE, &R::RegisterFilterFrameRate);
    check(FilterSlots::RESAMPLE, &R::RegisterFilterResample);
    check(FilterSlots::AUDIO_HISTOGRAM, &R::RegisterFilterAudioHistogram);
    check(FilterSlots::AUDIO_MIXER, &R::RegisterFilterAudioMixer);
    check(FilterSlots::AUDIO_FORMATTER, &R::RegisterFilterAudioFormatter);
    check(FilterSlots::CUT_CONTROLLER, &R::RegisterFilterCutController);
    check(FilterSlots::REPEAT_CONTROLLER, &R::RegisterFilterRepeatController);
    check(FilterSlots::SUBTITLE_DRAWER, &R::RegisterFilterSubtitleDrawer);
    check(FilterSlots::OVERLAY_STREAM, &R::RegisterOverlayStream);
    check(FilterSlots::APPLY_EFFECTS_VIDEO, &R::RegisterFilterApplyEffectsVideo);
    check(FilterSlots::APPLY_EFFECTS_AUDIO, &R::RegisterFilterApplyEffectsAudio);
    check(FilterSlots::CRC_STREAM_CONTROLLER, &R::RegisterCRCStreamController);
    check(FilterSlots::CACHE_CONTROLLER, &R::RegisterFilterCacheController);
    check(FilterSlots::CROP_DETECTOR, &R::RegisterCropDetector);
    check(FilterSlots::SEEK_CONTROLLER, &R::RegisterFilterSeekController);
    check(FilterSlots::JOIN_VIDEO, &R::RegisterFilterJoinVideo);
    check(FilterSlots::JOIN_AUDIO, &R::RegisterFilterJoinAudio);
    check(FilterSlots::JOIN_RAW, &R::RegisterFilterJoinRaw);
    check(FilterSlots::SMART_MAP_VIDEO, &R::RegisterSmartMapVideo);
    check(FilterSlots::SMART_MAP_AUDIO, &R::RegisterSmartMapAudio);
    check(FilterSlots::REPEAT_VIDEO, &R::RegisterFilterRepeatVideo);
    check(FilterSlots::REPEAT_AUDIO, &R::RegisterFilterRepeatAudio);
    check(FilterSlots::VOLUME_DETECT, &R::RegisterFilterVolumeDetect);
    check(FilterSlots::SCENE_DETECT, &R::RegisterFilterSceneDetect);
    check(FilterSlots::LOSSLESS_DETECT, &R::RegisterFilterLosslessDetect);
    EXPECT_EQ(expected.size(), 27U);
    EXPECT_EQ(Listing(*registry), expected);
}

TEST(FilterRegistry, DefaultMeansThisLibrarysImplementation) {
    auto const registry = MakeShared<FilterRegistry>();
    registry->RegisterFilterVideoEx("Class", ImplNames::OGL, VideoA());
    registry->RegisterFilterVideoEx("Class", ImplNames::TARSEL, VideoA());
    auto const* const row = registry->Find(FilterKind::Video, "Class", ImplNames::DEFAULT);
    ASSERT_NE(row, nullptr);
    EXPECT_EQ(row->implName, ImplNames::TARSEL);
    EXPECT_THAT(registry->GetImplementations(FilterKind::Video, "Class"), ElementsAre("OGL", "Tarsel"));
}

TEST(FilterRegistry, DefaultMeansTheFirstWhereNoneHasThisLibrarysName) {
    auto const registry = MakeShared<FilterRegistry>();
    registry->RegisterFilterVideoEx("FrameRate", "Default rate", VideoA());
    registry->RegisterFilterVideoEx("FrameRate", "Adjust", VideoA());
    EXPECT_EQ(registry->Find(FilterKind::Video, "FrameRate", ImplNames::DEFAULT)->implName, "Default rate");
    EXPECT_EQ(registry->Find(FilterKind::Video, "FrameRate", "Adjust")->implName, "Adjust");
    EXPECT_EQ(registry->Find(FilterKind::Video, "FrameRate", ImplNames::TARSEL), nullptr);
}

TEST(FilterRegistry, KindsAndClassesStayApart) {
    auto const registry = MakeShared<FilterRegistry>();
    registry->RegisterFilterVideoEx("Class", ImplNames::TARSEL, VideoA());
    EXPECT_EQ(registry->Find(FilterKind::Audio, "Class", ImplNames::TARSEL), nullptr);
    EXPECT_EQ(registry->Find(FilterKind::Video, "Other", ImplNames::DEFAULT), nullptr);
    EXPECT_EQ(registry->Find(FilterKind::Dedicated, "Class", ImplNames::DEFAULT), nullptr);
}

TEST(FilterRegistry, SecondRegistrationOfARowSilentlyTakesItsPlace) {
    auto const registry = MakeShared<FilterRegistry>();
    registry->RegisterFilterVideoEx("A", ImplNames::TARSEL, VideoA());
    registry->RegisterFilterVideoEx("B", ImplNames::TARSEL, VideoA());
    registry->RegisterFilterVideoEx("A", ImplNames::TARSEL,
                                    [](iptr<IStreamVideo> const&, iptr<IEffectFactory const> const&, Settings const&) {
                                        return iptr<IStreamVideoEx>();
                                    });
    EXPECT_THAT(Listing(*registry), ElementsAre("video b A Tarsel", "video a B Tarsel"));
}

TEST(FilterRegistrator, EntersItsRowsInTheOrderOfTheTables) {
    // Dedicated filters come first, in the order of their slots, then audio, video, subtitle, raw.
    std::vector<std::string> const rows{
        "dedicated - FilterResize Tarsel",
        "dedicated - FilterFrameRate Tarsel",
        "dedicated - FilterResample Tarsel",
        "dedicated - FilterAudioHistogram Tarsel",
        "dedicated - FilterAudioMixer Tarsel",
        "dedicated - FilterAudioFormatter Tarsel",
        "dedicated - FilterCutController Tarsel",
        "dedicated - FilterRepeatController Tarsel",
        "dedicated - FilterSubtitleDrawer Tarsel",
        "dedicated - FilterApplyEffectsVideo Tarsel",
        "dedicated - FilterApplyEffectsAudio Tarsel",
        "dedicated - CRCStreamController Tarsel",
        "dedicated - FilterCacheController Tarsel",
        "dedicated - CropDetector Tarsel",
        "dedicated - FilterSeekController Tarsel",
        "dedicated - FilterJoinVideo Tarsel",
        "dedicated - FilterJoinAudio Tarsel",
        "dedicated - FilterJoinRaw Tarsel",
        "dedicated - SmartMapVideo Tarsel",
        "dedicated - SmartMapAudio Tarsel",
        "dedicated - FilterRepeatVideo Tarsel",
        "dedicated - FilterRepeatAudio Tarsel",
        "dedicated - FilterVolumeDetect Tarsel",
        "dedicated - FilterLosslessDetect Tarsel",
        "audio a SettingsAudioGenerator Tarsel",
        "audio c SettingsFilterSpeedUp Tarsel",
        "audio b SettingsFilterDurationTrimmer Tarsel",
        "audio c SettingsFilterReverse Tarsel",
        "audio c SettingsFilterAudioVolume Tarsel",
        "audio c SettingsFilterResample Tarsel",
        "audio d SettingsFilterAudioFormatter Tarsel",
        "audio b SettingsFilterRepeat Tarsel",
        "audio b SettingsStreamMetadataUpdater Tarsel",
        "audio b SettingsFilterLoop Tarsel",
        "video b SettingsDeinterlace Tarsel",
        "video a SettingsFilterSpeedUp Tarsel",
        "video a SettingsFilterFrameRate Default",
        "video a SettingsFilterFrameRate Adjust",
        "video a SettingsFilterDurationTrimmer Tarsel",
        "video a SettingsFilterReverse Tarsel",
        "video b SettingsResizer Tarsel",
        "video a SettingsFilterRepeat Tarsel",
        "video a SettingsFilterLoop Tarsel",
        "video c SettingsFilterIntroLoopOutro Tarsel",
        "video b SettingsFilterBlurTransparentBorder Tarsel",
        "video b SettingsFilterVideoMixer Tarsel",
        "video a SettingsStreamMetadataUpdater Tarsel",
        "subtitle a SettingsFilterDurationTrimmer Tarsel",
        "raw a SettingsFilterBitStream Tarsel",
        // The host's own.
        "dedicated - OverlayStream Tarsel",
    };
    EXPECT_EQ(Listing(*MakeFilterRegistry()), rows);
}

/// A source of packets that the registry's filters are made on.
iptr<IStreamRaw> MakeSource() {
    auto source = Tarsel::Test::ScriptedRaw::Create({Tarsel::Test::MakePacket(0, 10, 40, true)});
    source->format->SetCodecID("vp9");
    return source;
}

TEST(FilterRegistrator, LosslessDetectionIsMadeThroughTheSharedLibrary) {
    auto const make = MakeFilterRegistry()->Find(FilterSlots::LOSSLESS_DETECT, ImplNames::DEFAULT);
    ASSERT_NE(make, nullptr);
    auto const filter = make(MakeSource(), SettingsLosslessDetect());
    EXPECT_NE(filter->Read(), nullptr);
    EXPECT_FALSE(filter->IsLosslessPossible());
    EXPECT_THROW(make(MakeSource(), SettingsFilterBitStream()), std::bad_cast);
}

TEST(FilterRegistrator, BitStreamFilterIsMadeThroughTheSharedLibraryAndThroughItsDoor) {
    auto const registry = MakeFilterRegistry();
    auto const* const row = registry->Find(FilterKind::Raw, SettingsFilterBitStream::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr);
    auto const& make = std::get<RawExFactory>(std::get<ExFactory>(row->factory));
    for (auto const& filter : {make(MakeSource(), SettingsFilterBitStream()),
                               FilterBitStream::Create(MakeSource(), SettingsFilterBitStream())}) {
        EXPECT_NE(filter->Read(), nullptr);
        EXPECT_EQ(filter->Read(), nullptr);
        EXPECT_EQ(filter->GetStatistic().Children().back().Name(), "Tarsel::Proc::FilterBitStream::GetStatistic");
    }
    auto const source = MakeSource();
    EXPECT_THROW(make(source, SettingsLosslessDetect()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), 1U);
}

/// A trimmer from its row, and what a row does with settings of another class: the half-built filter is let go.
template <class Factory, class Source>
void ExpectTrimmer(FilterRegistry const& registry, FilterKind kind, iptr<Source> const& source, char const* name) {
    auto const* const row = registry.Find(kind, SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL);
    ASSERT_NE(row, nullptr) << name;
    auto const& make = std::get<Factory>(std::get<ExFactory>(row->factory));
    unsigned const owners = source->GetRefCountImpl();
    {
        auto const filter = make(source, SettingsFilterDurationTrimmer(1234));
        EXPECT_EQ(filter->GetDuration(), 1234);
        EXPECT_EQ(filter->GetStatistic().Children().back().Name(),
                  "Tarsel::Proc::" + std::string(name) + "::GetStatistic");
    }
    EXPECT_THROW(make(source, SettingsFilterBitStream()), std::bad_cast);
    EXPECT_EQ(source->GetRefCountImpl(), owners);
}

TEST(FilterRegistrator, DurationTrimmersAreMadeThroughTheSharedLibrary) {
    auto const registry = MakeFilterRegistry();
    auto const video = Tarsel::Test::ScriptedVideo::Create({});
    video->format->SetFrameRate(25, 1);
    ExpectTrimmer<AudioExFactoryB>(*registry, FilterKind::Audio,
                                   iptr<IStreamAudio>(Tarsel::Test::ScriptedAudio::Create({})),
                                   "FilterDurationTrimmerAudio");
    ExpectTrimmer<VideoExFactoryA>(*registry, FilterKind::Video, iptr<IStreamVideo>(video),
                                   "FilterDurationTrimmerVideo");
    ExpectTrimmer<SubtitleExFactory>(*registry, FilterKind::Subtitle,
                                     iptr<IStreamSubtitle>(Tarsel::Test::ScriptedSubtitle::Create({})),
                                     "FilterDurationTrimmerSubtitle");
}

TEST(FilterRegistrator, JoinsAndTheSeekControllerAreMadeThroughTheSharedLibrary) {
    auto const registry = MakeFilterRegistry();
    EXPECT_EQ(registry->Find(FilterSlots::JOIN_VIDEO, ImplNames::TARSEL)()->GetSettings().Name(), "FilterJoinVideo");
    EXPECT_EQ(registry->Find(FilterSlots::JOIN_AUDIO, ImplNames::TARSEL)()->GetSettings().Name(), "FilterJoinAudio");
    EXPECT_EQ(registry->Find(FilterSlots::JOIN_RAW, ImplNames::TARSEL)()->GetSettings().Name(), "FilterJoinRaw");
    auto const controller = registry->Find(FilterSlots::SEEK_CONTROLLER, ImplNames::TARSEL)();
    EXPECT_NE(controller->AddStream(iptr<IStreamRaw>(MakeSource())), nullptr);
    EXPECT_EQ(controller->AddStream(iptr<IStreamSubtitle>(Tarsel::Test::ScriptedSubtitle::Create({}))), nullptr);
}

TEST(FilterRegistrator, TheCacheControllerIsMadeThroughTheSharedLibrary) {
    auto const registry = MakeFilterRegistry();
    auto const controller = registry->Find(FilterSlots::CACHE_CONTROLLER, ImplNames::TARSEL)();
    EXPECT_EQ(controller->AddStream(iptr<IStreamVideo>(Tarsel::Test::ScriptedVideo::Create({})))->GetSettings().Name(),
              "FilterCacheStream");
    EXPECT_EQ(controller->AddStream(iptr<IStreamRaw>(Tarsel::Test::ScriptedRaw::Create({}))), nullptr);
}

TEST(FilterRegistrator, TheDigestControllerIsMadeThroughTheSharedLibrary) {
    auto const controller = MakeFilterRegistry()->Find(FilterSlots::CRC_STREAM_CONTROLLER, ImplNames::TARSEL)();
    auto const filter = controller->AddStream(MakeSource());
    filter->Initialize(Core::Property(ICRCStreamController::SOURCE_NODE_ID).SetValue(5));
    auto const packet = filter->Read();
    ASSERT_NE(packet, nullptr);
    GraphCRCData expected;
    expected.AddPacketCRCInfo(5, 0, CalculatePacketDataMD5(packet));
    EXPECT_EQ(controller->GetGraphCRCData(), expected);
}

TEST(FilterRegistrator, SmartMapsAreMadeThroughTheSharedLibrary) {
    auto const registry = MakeFilterRegistry();
    EXPECT_EQ(registry->Find(FilterSlots::SMART_MAP_VIDEO, ImplNames::TARSEL)()->GetDuration(), 0);
    iptr<IFilterFactory const> const factory = MakeFilterFactory();
    EXPECT_EQ(registry->Find(FilterSlots::SMART_MAP_AUDIO, ImplNames::TARSEL)(factory)->GetDuration(), 0);
}

TEST(FilterRegistrator, VideoMixerIsMadeThroughTheSharedLibraryAndIsACombiner) {
    auto const factory = MakeFilterFactory();
    auto const main = Tarsel::Test::ScriptedVideo::Create({Tarsel::Test::MakeVideo(0, 40)});
    auto const drawn = Tarsel::Test::ScriptedVideo::Create({Tarsel::Test::MakeVideo(0, 40)});
    auto const make = [&](Settings const& settings) {
        return factory->CreateVideo(SettingsFilterVideoMixer::CLASS_ID, ImplNames::TARSEL, main, settings);
    };
    {
        auto const filter = make(SettingsFilterVideoMixer(7));
        EXPECT_EQ(dynamic_cast<IFilterVideoMixer&>(*filter).GetMinOverlap(), 7);
        dynamic_cast<IStreamCombiner<IStreamVideo>&>(*filter).CombineStream(
            drawn, Core::Property("Options")
                       .SetChild(IFilterVideoMixer::START_TIME, 0)
                       .SetChild(IBlend::BLENDING_POSITION_X, 0)
                       .SetChild(IBlend::BLENDING_POSITION_Y, 0)
                       .SetChild(IFilterVideoMixer::TRANSPARENCY_TYPE, IFilterVideoMixer::TRANSPARENCY_TYPE_OVERLAY));
        EXPECT_NE(filter->Read(), nullptr);
    }
    EXPECT_THROW(make(SettingsFilterBitStream()), std::bad_cast);
    EXPECT_EQ(main->GetRefCountImpl(), 1U);
    EXPECT_EQ(drawn->GetRefCountImpl(), 1U);
}

TEST(FilterRegistrator, EveryNameResolvesToExactlyOneFactoryThroughTheSharedLibrary) {
    auto const registry = MakeFilterRegistry();
    std::map<std::tuple<FilterKind, std::string, std::string>, int> names;
    for (auto const& row : registry->GetRows()) {
        ++names[{row.kind, row.classId, row.implName}];
        EXPECT_EQ(registry->Find(row.kind, row.classId, row.implName), &row);
        bool const callable = std::visit(
            [](auto const& factory) {
                if constexpr (std::is_same_v<std::decay_t<decltype(factory)>, ExFactory>)
                    return std::visit([](auto const& function) { return static_cast<bool>(function); }, factory);
                else
                    return factory != nullptr;
            },
            row.factory);
        EXPECT_TRUE(callable) << row.classId;
    }
    for (auto const& [name, count] : names) EXPECT_EQ(count, 1) << std::get<1>(name);
    EXPECT_GE(names.size(), 2U);
}

TEST(FilterRegistrator, SecondCallEntersTheSameRowsAgain) {
    auto const registry = MakeShared<FilterRegistry>();
    ::FilterRegistrator(*registry);
    auto const once = Listing(*registry);
    ::FilterRegistrator(*registry);
    EXPECT_EQ(Listing(*registry), once);
}

TEST(FilterRegistrator, WhatTheRegistryThrowsComesThrough) {
    class Full : public FilterRegistry {
      protected:
        void RegisterEx(FilterKind, char, std::string const&, std::string const&, ExFactory) override {
            TARSEL_THROW(ProcException, "the registry is full");
        }
    };
    auto const registry = MakeShared<Full>();
    EXPECT_EQ(Tarsel::Test::MessageOf<ProcException>([&] { ::FilterRegistrator(*registry); }), "the registry is full");
}

}  // namespace
}  // namespace Tarsel::Host
