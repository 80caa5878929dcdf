// The video mixer in graph files.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "host/graph/EffectNodes.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphSchema.h"
#include "host/graph/GraphWriter.h"
#include "host/graph/SettingsCatalog.h"
#include "host/overlay/OverlayForm.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/SchemaValidator.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using Mixer = IFilterVideoMixer;
using TestSupport::MessageOf;
using TestSupport::SchemaValidator;

/// Two streams of pictures over a third one.
std::string Graph(std::string const& settings, std::string const& inputs = "1, 2, 3") {
    return R"({"sources": [{"id": 1, "file": "a", "stream": "video"}, {"id": 2, "file": "b", "stream": "video"},
                           {"id": 3, "file": "c", "stream": "video"}, {"id": 4, "file": "a", "stream": "audio"}],
               "filters": [{"id": 9, "class": "SettingsFilterVideoMixer", "inputs": [)" +
           inputs + R"(], "settings": )" + settings + R"(}], "output": "null"})";
}
std::string ErrorOf(std::string const& text) {
    return MessageOf<GraphException>([&] { ParseGraph(text); });
}

TEST(OverlayGraph, EntriesHoldTheOptionsOfTheMixer) {
    Core::Property const settings =
        ParseGraph(
            Graph(R"({"MinOverlap": 7, "Overlays": [{}, {"X": -3, "Y": 5, "StartTime": -1, "Transparency": "Blink",
            "Alpha": 12, "ShowDuration": 100, "HideDuration": 50, "Loop": true, "FirstFrame": true}]})"))
            .filters.at(0)
            .settings;
    EXPECT_EQ(settings.Name(), "SettingsFilterVideoMixer");
    EXPECT_EQ(Property2SettingsFilterVideoMixer(settings).GetMinOverlap(), 7);
    ASSERT_EQ(settings.Children().size(), 3U);
    Core::Property const& plain = settings.Children()[1];
    EXPECT_EQ(plain.Name(), "Overlays");
    EXPECT_EQ(plain[IBlend::BLENDING_POSITION_X].GetInt64(), 0);
    EXPECT_EQ(plain[Mixer::START_TIME].GetInt64(), 0);
    EXPECT_EQ(plain[Mixer::TRANSPARENCY_TYPE].GetString(), Mixer::TRANSPARENCY_TYPE_OVERLAY);
    EXPECT_FALSE(plain[Mixer::LOOP_STREAM].GetBool());
    EXPECT_FALSE(plain[Mixer::USE_FIRST_FRAME_AS_WATERMARK].GetBool());
    Core::Property const& told = settings.Children()[2];
    EXPECT_EQ(told[IBlend::BLENDING_POSITION_X].GetInt64(), -3);
    EXPECT_EQ(told[IBlend::BLENDING_POSITION_Y].GetInt64(), 5);
    EXPECT_EQ(told[IBlend::BLENDING_ALPHA].GetInt64(), 12);
    EXPECT_EQ(told[Mixer::START_TIME].GetInt64(), -1);
    EXPECT_EQ(told[Mixer::TRANSPARENCY_TYPE].GetString(), Mixer::TRANSPARENCY_TYPE_BLINK);
    EXPECT_EQ(told[Mixer::BLINK_SHOW_DURATION].GetInt64(), 100);
    EXPECT_EQ(told[Mixer::BLINK_HIDE_DURATION].GetInt64(), 50);
    EXPECT_TRUE(told[Mixer::LOOP_STREAM].GetBool());
    EXPECT_TRUE(told[Mixer::USE_FIRST_FRAME_AS_WATERMARK].GetBool());
}

TEST(OverlayGraph, WhatIsWrittenIsReadBack) {
    GraphDocument const document =
        ParseGraph(Graph(R"({"Overlays": [{"X": 1}, {"Transparency": "FixedAlpha", "Alpha": 9, "Loop": true}]})"));
    EXPECT_EQ(ParseGraph(WriteGraph(document)), document);
    EXPECT_NE(WriteGraph(document).find(R"("Transparency": "FixedAlpha")"), std::string::npos);
}

TEST(OverlayGraph, EachDrawnInputNeedsItsEntry) {
    EXPECT_EQ(ErrorOf(Graph("{}")),
              "node 9: /filters/0/settings: \"Overlays\" holds no entry for 2 inputs behind the first");
    EXPECT_EQ(ErrorOf(Graph(R"({"Overlays": [{}]})")),
              "node 9: /filters/0/settings: \"Overlays\" holds 1 for 2 inputs behind the first");
    EXPECT_EQ(ErrorOf(Graph(R"({"Overlays": [{}, {}, {}]})")),
              "node 9: /filters/0/settings/Overlays/2: the mixer has 2 inputs behind the first");
    EXPECT_EQ(ErrorOf(Graph(R"({"Overlays": [{}]})", "1")),
              "node 9: /filters/0/settings/Overlays/0: the mixer has no inputs behind the first");
    EXPECT_NO_THROW(ParseGraph(Graph("{}", "1")));
}

TEST(OverlayGraph, ValuesOutOfTheirBoundsNameTheirPlace) {
    auto const entry = [](std::string const& fields) {
        return ErrorOf(Graph(R"({"Overlays": [{}, {)" + fields + "}]}"));
    };
    std::string const place = "node 9: /filters/0/settings/Overlays/1/";
    EXPECT_EQ(entry(R"("X": 1000001)"), place + "X: must be an integer from -1000000 to 1000000 (pixels), not 1000001");
    EXPECT_EQ(entry(R"("Y": 0.5)"), place + "Y: must be an integer from -1000000 to 1000000 (pixels), not 0.5");
    EXPECT_EQ(entry(R"("Alpha": 256)"), place + "Alpha: must be an integer from 0 to 255, not 256");
    EXPECT_EQ(entry(R"("Transparency": "Fade")"),
              place + "Transparency: must be one of \"Overlay\", \"FixedAlpha\", \"Blink\", not \"Fade\"");
    EXPECT_EQ(entry(R"("Loop": 2)"), place + "Loop: must be true or false, not 2");
    EXPECT_EQ(entry(R"("Position": 2)"), place + "Position: there is no key \"Position\" here");
    EXPECT_EQ(entry(R"("Transparency": "Blink")"), place + "ShowDuration: what blinks must be seen for a time above 0");
    EXPECT_EQ(ErrorOf(Graph(R"({"MinOverlap": -1, "Overlays": [{}, {}]})")),
              "node 9: /filters/0/settings/MinOverlap: must be an integer from 0 to 2592000000000 (us), not -1");
}

TEST(OverlayGraph, AllInputsArePictures) {
    EXPECT_EQ(ErrorOf(Graph(R"({"Overlays": [{}]})", "1, 4")),
              "node 9: /filters/0/inputs/1: SettingsFilterVideoMixer works on video, and node 4 gives audio");
    EXPECT_EQ(ErrorOf(Graph("{}", "")),
              "node 9: /filters/0/inputs: SettingsFilterVideoMixer takes 1 to 100000 inputs, not 0");
}

TEST(OverlayGraph, DrawnStreamsThatSeekAsOneAreRefused) {
    std::string const text =
        R"({"sources": [{"id": 1, "file": "a", "stream": "video"}, {"id": 2, "file": "a", "stream": "video"}],
            "filters": [{"id": 9, "class": "SettingsFilterVideoMixer", "inputs": [11, 12],
                         "settings": {"Overlays": [{}]}}],
            "controllers": [{"id": 10, "class": "FilterSeekController",
                             "streams": [{"id": 11, "input": 1}, {"id": 12, "input": 2}]}], "output": "null"})";
    EXPECT_EQ(ErrorOf(text),
              "node 9: /filters/0/inputs/0: node 11 is held by a FilterSeekController: only a join or the output reads "
              "it");
}

TEST(OverlayGraph, SchemaTakesEntriesAndRefusesOthers) {
    auto const schema = nlohmann::json::parse(GraphSchema());
    SchemaValidator const validator(schema);
    auto const accepts = [&](std::string const& settings) {
        return validator.Accepts(nlohmann::json::parse(Graph(settings)));
    };
    EXPECT_TRUE(accepts(R"({"Overlays": [{"X": 4}, {"Transparency": "Blink", "ShowDuration": 5, "Loop": true}]})"));
    EXPECT_FALSE(accepts(R"({"Overlays": [{"X": 4, "Z": 1}]})"));
    EXPECT_FALSE(accepts(R"({"Overlays": [{"Alpha": 256}]})"));
    EXPECT_FALSE(accepts(R"({"Overlays": {}})"));
}

TEST(OverlayGraph, MainStreamMayStayInGpuMemory) {
    EXPECT_TRUE(TakesGpuFrames(SettingsFilterVideoMixer::CLASS_ID));
    auto const effects = MakeEffectFactory();
    Core::Property const settings = Settings2Property(SettingsFilterVideoMixer());
    EXPECT_TRUE(GivesGpuFrames(SettingsFilterVideoMixer::CLASS_ID, settings, true, *effects));
    EXPECT_FALSE(GivesGpuFrames(SettingsFilterVideoMixer::CLASS_ID, settings, false, *effects));
}

/// What the command answers where so many pictures are to be drawn on a film that isn't there.
std::string RefusalOf(std::size_t count) {
    std::vector<OverlayRequest> const overlays(count, ParseOverlay("logo.png@0,0"));
    return MessageOf<GraphException>([&] { MakeOverlayGraph("/nowhere.mkv", overlays, {}); });
}

TEST(OverlayForm, DrawsAtLeastOnePictureAndAsManyAsAMixerTakes) {
    EXPECT_EQ(RefusalOf(0), "there is nothing to draw");
    EXPECT_EQ(RefusalOf(100000), "more than 99999 pictures can't be drawn");
    for (std::size_t const count : {1, 99999}) EXPECT_THROW(RefusalOf(count), Core::IOException) << "the film";
}

TEST(CatalogEntry, FurtherInputsMayBeOfAnotherKind) {
    CatalogEntry entry;
    entry.kinds = {GraphKind::Video};
    EXPECT_TRUE(entry.WorksOn(GraphKind::Video, 1));
    EXPECT_FALSE(entry.IsOfFurtherKind(1));
    entry.furtherKind = GraphKind::Subtitle;
    EXPECT_TRUE(entry.WorksOn(GraphKind::Video));
    EXPECT_FALSE(entry.WorksOn(GraphKind::Subtitle));
    EXPECT_TRUE(entry.WorksOn(GraphKind::Subtitle, 1));
    EXPECT_FALSE(entry.WorksOn(GraphKind::Video, 1));
    EXPECT_FALSE(entry.IsOfFurtherKind(0));
    EXPECT_TRUE(entry.IsOfFurtherKind(1));
}

}  // namespace
}  // namespace Tarsel::Host
