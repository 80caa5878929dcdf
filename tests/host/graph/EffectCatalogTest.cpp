#include "host/graph/EffectCatalog.h"

#include <gmock/gmock.h>

#include <set>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "contracts/Proc/SettingsEffectAudioFade.h"
#include "contracts/Proc/SettingsEffectColor.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "contracts/Proc/SettingsEffectStamp.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/graph/EffectForms.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using ::testing::Contains;
using ::testing::IsSupersetOf;
using TestSupport::MessageOf;

std::string ErrorOf(std::string const& text) {
    return MessageOf<GraphException>([&] { ParseEffect(text); });
}

TEST(EffectCatalog, NamesTheEffectsThatTheFactoryMakes) {
    std::vector<std::string> names;
    std::set<std::string> classes;
    auto const factory = MakeEffectFactory();
    for (EffectEntry const& entry : GetEffectCatalog()) {
        names.push_back(entry.name);
        EXPECT_TRUE(classes.insert(entry.classId).second) << entry.classId;
        EXPECT_EQ(entry.implementations, factory->GetImplementations(entry.classId)) << entry.name;
        EXPECT_FALSE(entry.description.empty()) << entry.name;
        EXPECT_EQ(FindEffect(entry.name), &entry);
        EXPECT_EQ(FindEffect(entry.classId), &entry);
        for (SettingField const& field : entry.fields) EXPECT_FALSE(field.description.empty()) << field.key;
    }
    EXPECT_THAT(names, IsSupersetOf({"color", "fade", "stamp", "composite", "dissolve", "crop", "resize", "convert",
                                     "deinterlace", "smooth-lines", "upload", "download", "audio-fade",
                                     "audio-cross-fade", "audio-mix"}));
    EXPECT_EQ(FindEffect("fades"), nullptr);
}

TEST(EffectCatalog, SaysWhatItsEffectsAre) {
    for (EffectEntry const& entry : GetEffectCatalog()) {
        auto const effect = MakeEffectFactory()->CreateEffect(entry.classId, ImplNames::DEFAULT);
        bool const one =
            dynamic_cast<IOneInputEffectVideo*>(effect.get()) || dynamic_cast<IOneInputEffectAudio*>(effect.get());
        EXPECT_TRUE(one || entry.takesMany) << entry.name;
        if (entry.kind == GraphKind::Audio) {
            EXPECT_EQ(dynamic_cast<IOneInputEffectVideo*>(effect.get()), nullptr) << entry.name;
        }
    }
    EXPECT_TRUE(FindEffect("audio-mix")->takesMany);
    EXPECT_TRUE(FindEffect("dissolve")->takesMany);
    EXPECT_FALSE(FindEffect("fade")->takesMany);
    EXPECT_TRUE(FindEffect("fade")->followsTime);
    EXPECT_FALSE(FindEffect("stamp")->followsTime);
    EXPECT_TRUE(FindEffect("resize")->changesFormat);
    EXPECT_TRUE(FindEffect("crop")->changesFormat);
    EXPECT_THAT(FindEffect("resize")->implementations, Contains("OGL"));
}

TEST(EffectCatalog, DefaultsAreThoseOfTheSettingsClasses) {
    EXPECT_EQ(MakeEffectProperty("color", {}), Settings2Property(SettingsEffectColor()));
    EXPECT_EQ(MakeEffectProperty("crop", {}), Settings2Property(SettingsEffectCrop()));
    EXPECT_EQ(MakeEffectProperty("fade", {}), Settings2Property(SettingsEffectFade()));
    EXPECT_EQ(MakeEffectProperty("audio-fade", {}), Settings2Property(SettingsEffectAudioFade()));
    SettingsEffectStamp stamp;
    stamp.SetFile("logo.png");
    EXPECT_EQ(MakeEffectProperty("stamp", {{"file", "logo.png"}}), Settings2Property(stamp));
}

TEST(EffectCatalog, TextsBecomeSettings) {
    Core::Property const fade =
        MakeEffectProperty("fade", {{"direction", "out"}, {"color", "#FF8000"}, {"begin", "5"}, {"end", "9"}});
    SettingsEffectFade const settings = Property2SettingsEffectFade(fade);
    EXPECT_EQ(settings.GetDirection(), SettingsEffectFade::DIRECTION_OUT);
    EXPECT_EQ(settings.GetColor(), 0xFF8000);
    EXPECT_EQ(fade["Begin"].GetInt64(), 5);
    EXPECT_EQ(fade["End"].GetInt64(), 9);
    EXPECT_EQ(Property2SettingsEffectFade(MakeEffectProperty("fade", {{"color", "0x0000ff"}})).GetColor(), 255);
    EXPECT_EQ(Property2SettingsEffectFade(MakeEffectProperty("fade", {{"color", "255"}})).GetColor(), 255);
    Core::Property const resize = MakeEffectProperty(
        "SettingsResizer",
        {{"width", "64"}, {"height", "36"}, {"mode", "crop"}, {"pixelAspect", "4/3"}, {"implementation", "OGL"}});
    SettingsResizer const size = Property2SettingsResizer(resize);
    EXPECT_EQ(size.GetFrameInfo(), (Conf::FrameInfo{64, 36, 4, 3}));
    EXPECT_EQ(size.GetMode(), SettingsResizer::MODE_CROP);
    EXPECT_EQ(GetEffectImplementation(resize), "OGL");
    EXPECT_EQ(GetEffectImplementation(fade), "Default");
    Core::Property const crop =
        MakeEffectProperty("crop", {{"left", "2"}, {"right", "4"}, {"top", "6"}, {"bottom", "8"}});
    EXPECT_EQ(Property2SettingsEffectCrop(crop), SettingsEffectCrop({2, 4, 6, 8}));
    EXPECT_EQ(Property2SettingsColorSpaceConverter(MakeEffectProperty("convert", {{"format", "rgba"}})).GetFormats(),
              std::vector{PIX_FMT_RGBA});
}

TEST(EffectCatalog, TellsWhatIsWrongWithTexts) {
    auto const error = [](char const* name, std::vector<EffectValue> const& values) {
        return MessageOf<GraphException>([&] { MakeEffectProperty(name, values); });
    };
    EXPECT_EQ(error("fede", {}), "there is no effect \"fede\"; did you mean \"fade\"?");
    EXPECT_EQ(error("color", {{"brightness", "2"}}),
              "the effect \"color\": brightness: must be a number from -1 to 1, not \"2\"");
    EXPECT_EQ(error("color", {{"contrast", "nan"}}),
              "the effect \"color\": contrast: must be a number from 0 to 4, not \"nan\"");
    EXPECT_EQ(error("color", {{"brigthness", "0"}}),
              "the effect \"color\": brigthness: there is no key \"brigthness\" here; did you mean \"brightness\"?");
    EXPECT_EQ(error("color", {{"effect", "fade"}}), "the effect \"color\": there is no key \"effect\" here");
    EXPECT_EQ(error("fade", {{"direction", "up"}}),
              "the effect \"fade\": direction: must be one of \"in\", \"out\", not \"up\"");
    for (char const* const color : {"red", "#12345", "#1234567", "#-12345", "0x", "16777216", "-1", ""})
        EXPECT_EQ(error("fade", {{"color", color}}),
                  "the effect \"fade\": color: must be a colour \"#RRGGBB\", not \"" + std::string(color) + "\"");
    EXPECT_EQ(error("fade", {{"direction", "in"}, {"direction", "out"}}),
              "the effect \"fade\": direction is given twice");
    EXPECT_EQ(error("stamp", {}), "the effect \"stamp\": the setting \"file\" is missing");
    EXPECT_EQ(error("stamp", {{"file", ""}}), "the effect \"stamp\": file: must be a text, not an empty one");
    EXPECT_EQ(error("stamp", {{"file", "\xff"}}), "the effect \"stamp\": file is not UTF-8");
    EXPECT_EQ(error("fade", {{"begin", "7"}, {"end", "7"}}), "the effect \"fade\": end: must be behind \"begin\", 7");
    EXPECT_EQ(error("fade", {{"end", "0"}}),
              "the effect \"fade\": end: must be an integer from 1 to 2592000000000 (us), not \"0\"");
    EXPECT_EQ(error("fade", {{"begin", "-1"}}),
              "the effect \"fade\": begin: must be an integer from 0 to 2592000000000 (us), not \"-1\"");
    EXPECT_EQ(
        error("smooth-lines", {{"implementation", "CUDA"}}),
        "the effect \"smooth-lines\": implementation: the effect \"smooth-lines\" has no implementation \"CUDA\", "
        "it has \"Tarsel\"");
    EXPECT_EQ(error("resize", {{"width", "64"}, {"height", "36"}, {"begin", "0"}}),
              "the effect \"resize\": begin: the effect \"resize\" acts on the whole stream");
    EXPECT_EQ(error("resize", {{"width", "0"}, {"height", "36"}}),
              "the effect \"resize\": width: must be an integer from 1 to 16384 (pixels), not \"0\"");
    EXPECT_EQ(error("resize", {{"width", "1"}, {"height", "1"}, {"pixelAspect", "0/1"}}),
              "the effect \"resize\": pixelAspect: must be a ratio \"N/D\" above 0, not \"0/1\"");
    EXPECT_EQ(error("crop", {{"left", "-1"}}),
              "the effect \"crop\": left: must be an integer from 0 to 2147483647 (pixels), not \"-1\"");
    EXPECT_EQ(error("crop", {{"left", "5"}, {"right", "5"}}),
              "the effect \"crop\": There is nothing in the part to keep (left: 5, right: 5, top: 0, bottom: 0)");
    EXPECT_NE(error("convert", {{"format", "rainbow"}}).find("rainbow"), std::string::npos);
}

TEST(EffectCatalog, IntervalIsFilledIn) {
    Core::Property const open = MakeEffectProperty("fade", {});
    EXPECT_FALSE(HasInterval(open));
    EXPECT_FALSE(HasEnd(WithInterval(open, NO_VALUE)));
    EXPECT_EQ(WithInterval(open, 100)["Begin"].GetInt64(), 0);
    EXPECT_EQ(WithInterval(open, 100)["End"].GetInt64(), 100);
    Core::Property const late = MakeEffectProperty("fade", {{"begin", "60"}});
    EXPECT_EQ(WithInterval(late, 100)["Begin"].GetInt64(), 60);
    EXPECT_EQ(WithInterval(late, 100)["End"].GetInt64(), 100);
    EXPECT_EQ(WithInterval(late, 60)["End"].GetInt64(), 61) << "it has not begun while the stream lasts";
    Core::Property const early = MakeEffectProperty("fade", {{"end", "40"}});
    EXPECT_EQ(WithInterval(early, 100)["Begin"].GetInt64(), 0);
    EXPECT_EQ(WithInterval(early, 100)["End"].GetInt64(), 40);
}

// Effects as commands say them.

TEST(ParsedEffect, NameAloneHasItsDefaults) {
    EXPECT_EQ(ParseEffect("color"), MakeEffectProperty("color", {}));
    EXPECT_EQ(ParseEffect("color:"), MakeEffectProperty("color", {}));
}

TEST(ParsedEffect, KeysStandBehindAColonWithCommasBetween) {
    EXPECT_EQ(ParseEffect("color:brightness=0.1,saturation=0"),
              MakeEffectProperty("color", {{"brightness", "0.1"}, {"saturation", "0"}}));
    EXPECT_EQ(ParseEffect("resize:width=8,height=6,impl=OGL"),
              MakeEffectProperty("resize", {{"width", "8"}, {"height", "6"}, {"implementation", "OGL"}}));
}

TEST(ParsedEffect, TimesAreWrittenAsElsewhereInCommands) {
    Core::Property const fade = ParseEffect("fade:begin=1:30,end=100.5");
    EXPECT_EQ(fade["Begin"].GetInt64(), 90000000);
    EXPECT_EQ(fade["End"].GetInt64(), 100500000);
    EXPECT_EQ(ParseEffect("fade:end=40ms")["End"].GetInt64(), 40000);
    EXPECT_EQ(ErrorOf("fade:end=soon"), "the effect \"fade\": end: \"soon\" is not a time");
}

TEST(ParsedEffect, FileNamesHoldAnyCharacter) {
    auto const file = [](std::string const& text) { return ParseEffect("stamp:file=" + text)["File"].GetString(); };
    EXPECT_EQ(file("C:/logos/a=b.png,x=1"), "C:/logos/a=b.png") << "colons and more \"=\" need no mark";
    EXPECT_EQ(file("a\\,b.png"), "a,b.png");
    EXPECT_EQ(file("'a,b.png',y=2"), "a,b.png");
    EXPECT_EQ(file("it\\'s.png"), "it's.png");
    EXPECT_EQ(file("'it'\\''s, so'.png"), "it's, so.png");
    EXPECT_EQ(file("'a\\b'"), "a\\b") << "between two marks all stands as it is";
    EXPECT_EQ(file("a\\\\b"), "a\\b");
}

TEST(ParsedEffect, BrokenTextsAreRefused) {
    EXPECT_EQ(ErrorOf(""), "the name of an effect is missing");
    EXPECT_EQ(ErrorOf(":x=1"), "the name of an effect is missing");
    EXPECT_EQ(ErrorOf("color:brightness"), "the effect \"color\": \"brightness\" has no \"=\"");
    EXPECT_EQ(ErrorOf("color:brightness,contrast=1"), "the effect \"color\": \"brightness\" has no \"=\"");
    EXPECT_EQ(ErrorOf("color:=1"), "the effect \"color\": a key is missing in front of \"=\"");
    EXPECT_EQ(ErrorOf("color:,contrast=1"), "the effect \"color\": a key is missing");
    EXPECT_EQ(ErrorOf("color:contrast=1,"), "the effect \"color\": a key is missing behind the last comma");
    EXPECT_EQ(ErrorOf("stamp:file='a"), "the effect \"stamp\": file has a \"'\" without a second one");
    EXPECT_EQ(ErrorOf("stamp:file=a\\"), "the effect \"stamp\": file ends with a \"\\\"");
    EXPECT_EQ(ErrorOf("colour:x=1"), "there is no effect \"colour\"; did you mean \"color\"?");
}

}  // namespace
}  // namespace Tarsel::Host
