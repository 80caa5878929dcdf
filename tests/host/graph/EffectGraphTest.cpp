// Effects in graph files.
#include <gtest/gtest.h>

#include <string>

#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/graph/EffectCatalog.h"
#include "host/graph/EffectNodes.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/graph/GraphWriter.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using TestSupport::MessageOf;

std::string Graph(std::string const& classId, std::string const& settings, std::string const& stream = "video") {
    return R"({"sources": [{"id": 1, "file": "a.mp4", "stream": ")" + stream +
           R"("}], "filters": [{"id": 3, "inputs": [1], "class": ")" + classId + R"(", "settings": )" + settings +
           R"(}], "output": "null"})";
}
std::string Chain(std::string const& effects) {
    return Graph("FilterApplyEffectsVideo", R"({"Effects": )" + effects + "}");
}
Core::Property SettingsOf(std::string const& graph) {
    return ParseGraph(graph).filters.at(0).settings;
}
std::string ErrorOf(std::string const& graph) {
    return MessageOf<GraphException>([&] { ParseGraph(graph); });
}

TEST(EffectGraph, ChainHoldsThePropertiesOfItsEffectsInOrder) {
    Core::Property const settings = SettingsOf(Chain(
        R"([{"effect": "color", "saturation": 0}, {"effect": "fade", "direction": "out", "begin": 5, "end": 9},
            {"effect": "SettingsResizer", "width": 8, "height": 6, "implementation": "OGL"}])"));
    EXPECT_EQ(settings.Name(), "FilterApplyEffectsVideo");
    ASSERT_EQ(settings.Children().size(), 3U);
    SettingsEffectColor grey;
    grey.SetSaturation(0);
    EXPECT_EQ(settings.Children()[0], Settings2Property(grey));
    EXPECT_EQ(settings.Children()[1].Name(), "SettingsEffectFade");
    EXPECT_EQ(settings.Children()[1]["Begin"].GetInt64(), 5);
    EXPECT_EQ(settings.Children()[1]["End"].GetInt64(), 9);
    EXPECT_EQ(GetEffectImplementation(settings.Children()[2]), "OGL");
}

TEST(EffectGraph, ChainMayBeEmpty) {
    EXPECT_TRUE(SettingsOf(Chain("[]")).Children().empty());
    EXPECT_TRUE(SettingsOf(Graph("FilterApplyEffectsVideo", "{}")).Children().empty());
}

TEST(EffectGraph, WhatIsWrittenIsReadBack) {
    for (std::string const& graph :
         {Chain(R"([{"effect": "stamp", "file": "$${logo}.png", "x": -5, "end": 7}, {"effect": "color"},
                    {"effect": "convert", "format": "rgba"},
                    {"effect": "resize", "width": 8, "height": 6, "pixelAspect": "4/3", "implementation": "OGL"}])"),
          Graph("FilterApplyEffectsAudio", R"({"Effects": [{"effect": "audio-fade", "curve": "linear"}]})", "audio"),
          Graph("SettingsResizer", R"({"Width": 8, "Height": 6, "Mode": "Crop", "Implementation": "OGL"})"),
          Graph("FilterResize", R"({"Width": 8, "Height": 6})"),
          Graph("SettingsDeinterlace", R"({"Method": "Spatial", "Smoothing": true})"),
          Graph("SettingsFilterBlurTransparentBorder", R"({"MatrixSize": 3})")}) {
        GraphDocument const document = ParseGraph(graph);
        EXPECT_EQ(ParseGraph(WriteGraph(document)), document) << graph;
    }
    std::string const text = WriteGraph(ParseGraph(Chain(R"([{"effect": "fade", "color": "#00ff00", "end": 7}])")));
    EXPECT_NE(text.find(R"("effect": "fade")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("direction": "in")"), std::string::npos) << text;
    EXPECT_NE(text.find(R"("end": 7)"), std::string::npos) << text;
}

TEST(EffectGraph, EffectsThatNoCatalogKnowsAreNotWritten) {
    GraphDocument document = ParseGraph(Chain("[]"));
    document.filters[0].settings.Add(Core::Property("SettingsEffectOther"));
    EXPECT_EQ(MessageOf<GraphException>([&] { WriteGraph(document); }), "there is no effect \"SettingsEffectOther\"");
    document = ParseGraph(Chain(R"([{"effect": "color"}])"));
    Core::Property settings("FilterApplyEffectsVideo");
    settings.Add(Core::Property(document.filters[0].settings.Children()[0]).SetChild("Hue", 3));
    document.filters[0].settings = settings;
    EXPECT_EQ(MessageOf<GraphException>([&] { WriteGraph(document); }),
              "the settings \"SettingsEffectColor\" hold more than the class has fields for");
}

TEST(EffectGraph, BrokenChainsAreToldWithTheirPlaces) {
    std::string const at = "node 3: /filters/0/settings/Effects";
    EXPECT_EQ(ErrorOf(Chain("{}")), at + ": must be a list, not an object");
    EXPECT_EQ(ErrorOf(Chain("[7]")), at + "/0: must be an object, not 7");
    EXPECT_EQ(ErrorOf(Chain("[{}]")), at + "/0: the key \"effect\" is missing");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": 3}])")), at + "/0/effect: must be a text, not 3");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "color"}, {"effect": "fad"}])")),
              at + "/1/effect: there is no effect \"fad\"; did you mean \"fade\"?");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "audio-fade"}])")),
              at + "/0/effect: the effect \"audio-fade\" is one on sound, not on pictures");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "dissolve"}])")),
              at + "/0/effect: the effect \"dissolve\" needs several streams: it can't stand in the chain of one");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "color", "contrast": 5}])")),
              at + "/0/contrast: must be a number from 0 to 4, not 5");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "color", "hue": 5}])")).substr(0, at.size() + 35),
              at + "/0/hue: there is no key \"hue\" here");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "stamp"}])")), at + "/0: the setting \"file\" is missing");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "fade", "begin": 9, "end": 5}])")),
              at + "/0/end: must be behind \"begin\", 9");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "download", "end": 5}])")),
              at + "/0/end: the effect \"download\" acts on the whole stream");
    EXPECT_EQ(ErrorOf(Chain(R"([{"effect": "color", "implementation": "GL"}])")),
              at + "/0/implementation: the effect \"color\" has no implementation \"GL\", it has \"Tarsel\"");
    EXPECT_EQ(ErrorOf(Graph("FilterApplyEffectsAudio", R"({"Effects": [{"effect": "fade"}]})", "audio")),
              at + "/0/effect: the effect \"fade\" is one on pictures, not on sound");
    EXPECT_EQ(ErrorOf(Graph("SettingsResizer", R"({"Width": 8})")),
              "node 3: /filters/0/settings: the setting \"Height\" is missing");
    EXPECT_EQ(ErrorOf(Graph("SettingsResizer", R"({"Width": 8, "Height": 16385})")),
              "node 3: /filters/0/settings/Height: must be an integer from 1 to 16384 (pixels), not 16385");
}

TEST(EffectGraph, KnowsWhereItsPicturesAre) {
    auto const effects = MakeEffectFactory();
    auto const gives = [&](std::string const& chain, bool fromGpu = false) {
        return GivesGpuFrames("FilterApplyEffectsVideo", SettingsOf(Chain(chain)), fromGpu, *effects);
    };
    std::string const gpu = R"({"effect": "resize", "width": 8, "height": 6, "implementation": "OGL"})";
    EXPECT_FALSE(gives("[]"));
    EXPECT_TRUE(gives("[]", true));
    EXPECT_TRUE(gives("[" + gpu + "]"));
    EXPECT_FALSE(gives("[" + gpu + R"(, {"effect": "color"}])"));
    EXPECT_FALSE(gives("[" + gpu + R"(, {"effect": "download"}])"));
    EXPECT_TRUE(gives(R"([{"effect": "color"}, {"effect": "upload"}])"));
    auto const resized = [&](char const* implementation, bool fromGpu) {
        auto const settings = SettingsOf(Graph("SettingsResizer", R"({"Width": 8, "Height": 6, "Implementation": ")" +
                                                                      std::string(implementation) + "\"}"));
        return GivesGpuFrames("SettingsResizer", settings, fromGpu, *effects);
    };
    EXPECT_TRUE(resized("OGL", false));
    EXPECT_FALSE(resized("Default", true));
    EXPECT_TRUE(GivesGpuFrames("SettingsDeinterlace", {}, true, *effects)) << "progressive pictures pass";
    EXPECT_FALSE(GivesGpuFrames("SettingsFilterReverse", {}, true, *effects));
    EXPECT_TRUE(TakesGpuFrames("SettingsResizer"));
    EXPECT_FALSE(TakesGpuFrames("SettingsFilterReverse"));
}

}  // namespace
}  // namespace Tarsel::Host
