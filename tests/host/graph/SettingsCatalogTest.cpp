#include "host/graph/SettingsCatalog.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <set>
#include <string>

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IFilterFrameRate.h"
#include "contracts/Proc/IFilterRepeatController.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/SampleInfoProperty.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"
#include "contracts/Proc/SettingsFilterCutController.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/SettingsFilterResample.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/SettingsLosslessDetect.h"
#include "contracts/Proc/SettingsResizer.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "host/graph/FilterRegistry.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

GraphKind ToGraphKind(FilterKind kind) {
    switch (kind) {
        case FilterKind::Audio:
            return GraphKind::Audio;
        case FilterKind::Video:
            return GraphKind::Video;
        case FilterKind::Subtitle:
            return GraphKind::Subtitle;
        default:
            return GraphKind::Packets;
    }
}

TEST(SettingsCatalog, KnowsEveryRowThatIsRegistered) {
    // Sources are laid on maps by timeline files, which say where each one stands; an overlay stream is a part of the
    // filter that feeds it; digests are taken behind the nodes of a graph by whoever records its run.
    std::set<std::string> const noNodes{FilterSlots::SMART_MAP_VIDEO.name, FilterSlots::SMART_MAP_AUDIO.name,
                                        FilterSlots::OVERLAY_STREAM.name, FilterSlots::CRC_STREAM_CONTROLLER.name};
    std::vector<std::string> missing;
    auto const registry = MakeFilterRegistry();
    for (auto const& row : registry->GetRows()) {
        CatalogEntry const* const entry = FindInCatalog(row.classId);
        if (noNodes.count(row.classId) != 0) {
            EXPECT_FALSE(entry) << row.classId;
            continue;
        }
        bool const known = entry &&
                           std::find(entry->implementations.begin(), entry->implementations.end(), row.implName) !=
                               entry->implementations.end() &&
                           entry->isDedicated == (row.kind == FilterKind::Dedicated) &&
                           (entry->isDedicated || entry->WorksOn(ToGraphKind(row.kind)));
        if (!known) missing.push_back(std::string(KindName(row.kind)) + " " + row.classId + " " + row.implName);
    }
    EXPECT_THAT(missing, IsEmpty());
}

TEST(SettingsCatalog, ListsTheImplementationsOfARegisteredClassInTheirOrder) {
    auto const registry = MakeFilterRegistry();
    for (CatalogEntry const& entry : GetSettingsCatalog()) {
        std::vector<FilterKind> kinds{FilterKind::Dedicated};
        if (!entry.isDedicated) kinds = {FilterKind::Audio, FilterKind::Video, FilterKind::Subtitle, FilterKind::Raw};
        for (FilterKind const kind : kinds) {
            auto const registered = registry->GetImplementations(kind, entry.classId);
            if (registered.empty()) continue;
            EXPECT_EQ(registered, entry.implementations) << entry.classId;
        }
    }
}

TEST(SettingsCatalog, EntriesAreWhole) {
    std::set<std::string> names;
    for (CatalogEntry const& entry : GetSettingsCatalog()) {
        EXPECT_TRUE(names.insert(entry.classId).second) << entry.classId;
        EXPECT_EQ(FindInCatalog(entry.classId), &entry);
        EXPECT_FALSE(entry.implementations.empty()) << entry.classId;
        EXPECT_FALSE(entry.kinds.empty()) << entry.classId;
        EXPECT_FALSE(entry.description.empty()) << entry.classId;
        EXPECT_LE(entry.minInputs, entry.maxInputs) << entry.classId;
        for (SettingField const& field : entry.fields) {
            EXPECT_FALSE(field.description.empty()) << entry.classId << " " << field.key;
            EXPECT_LE(field.minimum, field.maximum) << entry.classId << " " << field.key;
            EXPECT_LE(field.lowest, field.highest) << entry.classId << " " << field.key;
        }
    }
    EXPECT_EQ(FindInCatalog("SettingsFilterLop"), nullptr);
}

TEST(SettingsCatalog, NamesItsKinds) {
    EXPECT_EQ(KindName(GraphKind::Video), "video");
    EXPECT_EQ(KindName(GraphKind::Audio), "audio");
    EXPECT_EQ(KindName(GraphKind::Subtitle), "subtitle");
    EXPECT_EQ(KindName(GraphKind::Packets), "packets");
}

/// The property of a class's defaults, the fields that must be given put in.
Core::Property Filled(std::string const& classId, std::vector<std::pair<std::string, std::string>> const& given = {}) {
    CatalogEntry const* const entry = FindInCatalog(classId);
    EXPECT_NE(entry, nullptr) << classId;
    Core::Property const defaults = MakeDefaultProperty(*entry);
    Core::Property property(defaults.Name());
    for (SettingField const& field : entry->fields) {
        auto const found =
            std::find_if(given.begin(), given.end(), [&](auto const& pair) { return pair.first == field.key; });
        if (found != given.end())
            property.SetChild(field.key, found->second);
        else if (defaults.ChildExists(field.key))
            property.SetChild(field.key, defaults[field.key]);
    }
    return property;
}

TEST(SettingsCatalog, ItsDefaultsAreThoseOfTheSettingsClasses) {
    EXPECT_EQ(Filled(SettingsFilterDurationTrimmer::CLASS_ID, {{"Duration", "7"}}),
              Settings2Property(SettingsFilterDurationTrimmer(7)));
    EXPECT_EQ(Filled(SettingsFilterLoop::CLASS_ID, {{"Duration", "7"}}), Settings2Property(SettingsFilterLoop(7)));
    EXPECT_EQ(Filled(SettingsFilterIntroLoopOutro::CLASS_ID, {{"Duration", "7"}}),
              Settings2Property(SettingsFilterIntroLoopOutro(7)));
    EXPECT_EQ(Filled(SettingsFilterRepeat::CLASS_ID), Settings2Property(SettingsFilterRepeat()));
    EXPECT_EQ(Filled(SettingsFilterSpeedUp::CLASS_ID), Settings2Property(SettingsFilterSpeedUp()));
    EXPECT_EQ(Filled(SettingsFilterReverse::CLASS_ID), Settings2Property(SettingsFilterReverse()));
    EXPECT_EQ(Filled(SettingsFilterFrameRate::CLASS_ID), Settings2Property(SettingsFilterFrameRate()));
    EXPECT_EQ(Filled(SettingsDeinterlace::CLASS_ID), Settings2Property(SettingsDeinterlace()));
    EXPECT_EQ(Filled(SettingsFilterBlurTransparentBorder::CLASS_ID),
              Settings2Property(SettingsFilterBlurTransparentBorder()));
    // Who asks for a size wants the pictures to get it; the class's own default leaves them as they are.
    SettingsResizer resizer;
    resizer.SetCustomMode(SettingsResizer::MODE_STRETCH, {8, 6, 1, 1});
    EXPECT_EQ(Filled(SettingsResizer::CLASS_ID, {{"Width", "8"}, {"Height", "6"}}), Settings2Property(resizer));
    EXPECT_EQ(IFilterResize::Property2Settings(Filled("FilterResize", {{"Width", "8"}, {"Height", "6"}})), resizer);
    EXPECT_EQ(Filled(SettingsFilterBitStream::CLASS_ID), Settings2Property(SettingsFilterBitStream()));
    EXPECT_EQ(Filled("FilterLosslessDetect"), Settings2Property(SettingsLosslessDetect()));
    EXPECT_EQ(Filled(SettingsAudioGenerator::CLASS_ID), Settings2Property(SettingsAudioGenerator()));
    EXPECT_EQ(Filled(SettingsFilterAudioVolume::CLASS_ID), Settings2Property(SettingsFilterAudioVolume()));
    EXPECT_EQ(Filled(SettingsFilterAudioFormatter::CLASS_ID), Settings2Property(SettingsFilterAudioFormatter()));
    EXPECT_EQ(Filled(SettingsFilterResample::CLASS_ID), Settings2Property(SettingsFilterResample()));
    EXPECT_EQ(MakeDefaultProperty(*FindInCatalog("FilterCutController")),
              Settings2Property(SettingsFilterCutController()));
    EXPECT_EQ(MakeDefaultProperty(*FindInCatalog(SettingsStreamMetadataUpdater::CLASS_ID)),
              Settings2Property(SettingsStreamMetadataUpdater(Core::Property("Metadata"))));
    EXPECT_EQ(MakeDefaultProperty(*FindInCatalog("FilterFrameRate")),
              IFilterFrameRate::MakeSettings(SettingsFilterFrameRate::MARK_USE_ORIGINAL_FRAMERATE));
}

TEST(SettingsCatalog, TheDedicatedSoundFiltersHaveTheirInterfacesNamesKeysAndDefaults) {
    EXPECT_EQ(GetSampleInfo(Filled("FilterResample"), {Conf::SAMPLE_FORMAT_S16, 1, 4}), Conf::SampleInfo());
    EXPECT_EQ(Filled("FilterAudioFormatter")[IFilterAudioFormatter::PACKET_DURATION].GetInt64(),
              IFilterAudioFormatter::DEFAULT_PACKET_DURATION);
    Core::Property const histogram = Filled("FilterAudioHistogram");
    Core::Property const expected = Settings2Property(SettingsAudioHistogram());
    EXPECT_EQ(histogram.Name(), IFilterAudioHistogram::CLASS_ID);
    EXPECT_EQ(histogram.Children(), expected.Children());
    EXPECT_THAT(MakeDefaultProperty(*FindInCatalog("FilterAudioMixer")).Children(), IsEmpty());
}

TEST(SettingsCatalog, NamesOfFormatsAndLayoutsAreTheLibrarys) {
    int formats = 0;
    int layouts = 0;
    for (char const* const classId : {"SettingsAudioGenerator", "SettingsFilterResample", "FilterResample"})
        for (SettingField const& field : FindInCatalog(classId)->fields)
            for (SettingField::Choice const& choice : field.choices) {
                if (choice.name == ANY_VALUE) continue;
                if (field.key == "SampleFormat") {
                    EXPECT_EQ(av_get_sample_fmt(choice.name.c_str()), std::stoi(choice.value)) << choice.name;
                    ++formats;
                }
                if (field.key != "ChannelLayout") continue;
                AVChannelLayout layout{};
                EXPECT_EQ(av_channel_layout_from_string(&layout, choice.name.c_str()), 0) << choice.name;
                EXPECT_EQ(std::to_string(layout.u.mask), choice.value) << choice.name;
                EXPECT_TRUE(IsNamedLayout(layout.u.mask)) << choice.name;
                ++layouts;
            }
    EXPECT_EQ(formats, 8 + 10 + 10);
    EXPECT_EQ(layouts, 3 * 28);
    EXPECT_FALSE(IsNamedLayout(0));
    EXPECT_FALSE(IsNamedLayout(0x80000000));
}

TEST(SettingsCatalog, AGeneratorIsNotOfferedTheFormatsOfWhichItFillsHalfABlock) {
    for (SettingField const& field : FindInCatalog(SettingsAudioGenerator::CLASS_ID)->fields)
        for (SettingField::Choice const& choice : field.choices) EXPECT_NE(choice.name.substr(0, 3), "s32");
}

TEST(SettingsCatalog, SaysWhatReadsNothingAndWhatGivesAnotherKind) {
    EXPECT_EQ(FindInCatalog("SettingsAudioGenerator")->maxInputs, 0U);
    EXPECT_EQ(FindInCatalog("FilterAudioHistogram")->gives, GraphKind::Video);
    EXPECT_EQ(FindInCatalog("FilterAudioMixer")->gives, std::nullopt);
}

TEST(SettingsCatalog, TheRepeatControllersPropertyHasItsNameAndKeys) {
    auto const property = Filled("FilterRepeatController", {{IFilterRepeatController::REDEFINE_DURATION, "5"}});
    EXPECT_EQ(property.Name(), IFilterRepeatController::CLASS_ID);
    EXPECT_EQ(property[IFilterRepeatController::REDEFINE_DURATION].GetInt64(), 5);
    EXPECT_EQ(property[IFilterRepeatController::REPEAT_MODE].GetString(), IFilterRepeatController::REPEAT_MODE_LAST);
}

TEST(SettingsCatalog, TheCacheControllersStepIsThatOfItsInterface) {
    auto const property = Filled("FilterCacheController");
    EXPECT_EQ(property.Name(), IFilterCacheController::CLASS_ID);
    EXPECT_EQ(property["CacheIncreaseSpan"].GetInt64(), IFilterCacheController::DEFAULT_CACHE_INCREASE_SPAN);
}

TEST(SettingsCatalog, MakesTheSettingsObjectOfEachClassThatHasOne) {
    std::vector<std::string> made;
    for (CatalogEntry const& entry : GetSettingsCatalog()) {
        if (!entry.make) continue;
        auto const settings = MakeSettings(entry.classId, MakeDefaultProperty(entry));
        EXPECT_EQ(settings->GetClassId(), entry.settingsId);
        made.push_back(entry.classId);
    }
    EXPECT_THAT(made, ElementsAre("SettingsFilterDurationTrimmer", "SettingsFilterLoop", "SettingsFilterIntroLoopOutro",
                                  "SettingsFilterRepeat", "SettingsFilterSpeedUp", "SettingsFilterReverse",
                                  "SettingsFilterFrameRate", "SettingsAudioGenerator", "SettingsFilterAudioVolume",
                                  "SettingsFilterResample", "SettingsFilterAudioFormatter", "SettingsResizer",
                                  "SettingsDeinterlace", "SettingsFilterBlurTransparentBorder", "FilterSubtitleDrawer",
                                  "SettingsFilterVideoMixer", "SettingsFilterBitStream",
                                  "SettingsStreamMetadataUpdater", "FilterLosslessDetect", "FilterCutController"));
    auto const trimmer =
        MakeSettings("SettingsFilterDurationTrimmer", Settings2Property(SettingsFilterDurationTrimmer(9)));
    EXPECT_EQ(dynamic_cast<SettingsFilterDurationTrimmer const&>(*trimmer), SettingsFilterDurationTrimmer(9));
}

TEST(SettingsCatalog, RefusesToMakeWhatHasNoSettingsObject) {
    EXPECT_EQ(MessageOf<FilterException>([] { MakeSettings("Nothing", {}); }),
              "There is no class Nothing that a graph can name");
    EXPECT_EQ(MessageOf<FilterException>([] { MakeSettings("FilterJoinVideo", {}); }),
              "FilterJoinVideo takes no settings object");
    EXPECT_EQ(MessageOf<FilterException>([] { MakeSettings("SettingsFilterLoop", Core::Property("Other")); }),
              "Object was initialized with incorrect class (Other)!");
}

}  // namespace
}  // namespace Tarsel::Host
