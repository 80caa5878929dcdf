// Settings take the place of what styles say, in pixels of the frame whatever the script's stage is.
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "contracts/Core/Exception.h"
#include "tests/host/text/TextSupport.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr Conf::FrameInfo FRAME{640, 480, 1, 1};
constexpr char FONTS[] = "/usr/share/fonts/truetype/dejavu";

std::vector<std::string> const& Headers() {
    static std::vector<std::string> const headers{PlainHeader(640, 480), PlainHeader(320, 240), PlainHeader(1920, 1080),
                                                  PlainHeader(384, 100), ""};
    return headers;
}

SettingsSubtitleDrawer With(void (SettingsSubtitleDrawer::*set)(int), int value) {
    SettingsSubtitleDrawer settings;
    (settings.*set)(value);
    return settings;
}

using S = SettingsSubtitleDrawer;

TEST(AssSettings, FontSizeIsInPixelsOfTheFrameWhateverTheStage) {
    SettingsSubtitleDrawer plain;
    plain.SetOutline(0);
    for (int const size : {20, 40, 100}) {
        plain.SetFontSize(size);
        std::vector<u32> heights;
        for (std::string const& header : Headers()) {
            // From line to line.
            Drawing const one = DrawLine("H", plain, header, FRAME), two = DrawLine("H\\NH", plain, header, FRAME);
            EXPECT_NEAR(two.crop.GetHeight() - double(one.crop.GetHeight()), size, 1) << header;
            // Capitals of this font are 0.729 of its size, which is 1.164 times smaller than its line.
            EXPECT_NEAR(one.crop.GetHeight(), size * 0.729 / 1.164, 1.5) << header;
        }
    }
}

TEST(AssSettings, ColoursAreTakenWithTheAlphaOfTheStyle) {
    std::string const style =
        "Default,DejaVu Sans,60,&H80FFFFFF,&H00FFFFFF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,0,0,5,10,10,10,1";
    auto const settings = With(&S::SetColor, 0x102030);
    Drawing const drawing = DrawLine("{\\p1}m 0 0 l 10 0 10 10 0 10", settings, ScriptHeader(320, 240, {style}));
    EXPECT_EQ(PixelOfFrame(drawing, 160, 120), 0x1020307FU);
    // The script's own orders win.
    Drawing const ordered =
        DrawLine("{\\p1\\1c&H0000FF&}m 0 0 l 10 0 10 10 0 10", settings, ScriptHeader(320, 240, {style}));
    EXPECT_EQ(PixelOfFrame(ordered, 160, 120), 0xFF00007FU);
}

/// Whether the script's stage has the frame's shape. Where not, lines and shadows are right from top to bottom only.
bool HasFramesShape(std::string const& header) {
    return header.empty() || header.find("PlayResY: 480") != std::string::npos ||
           header.find("PlayResY: 240") != std::string::npos;
}

TEST(AssSettings, OutlineIsThatWideInPixelsOfTheFrame) {
    auto settings = With(&S::SetOutline, 0);
    settings.SetFontSize(40);
    settings.SetOutlineColor(0x0000FF);
    ContactSheet sheet("text-outlines", 3);
    for (std::string const& header : Headers()) {
        settings.SetOutline(0);
        Drawing const bare = DrawLine("HI", settings, header, FRAME);
        for (int const outline : {1, 3, 8}) {
            settings.SetOutline(outline);
            Drawing const drawing = DrawLine("HI", settings, header, FRAME);
            EXPECT_NEAR(drawing.crop.GetHeight(), bare.crop.GetHeight() + 2.0 * outline, 1) << header;
            if (HasFramesShape(header)) {
                EXPECT_NEAR(drawing.crop.GetWidth(), bare.crop.GetWidth() + 2.0 * outline, 2) << header;
            }
            auto const pixels = PixelsOf(*drawing.picture);
            EXPECT_EQ(std::count(pixels.begin(), pixels.end(), 0x0000FFFFU) > 50, outline > 1) << header;
            sheet.Add(drawing.picture, "white HI, blue line of " + std::to_string(outline));
        }
    }
}

TEST(AssSettings, ShadowIsThatFarInPixelsOfTheFrame) {
    auto settings = With(&S::SetOutline, 0);
    settings.SetFontSize(40);
    for (std::string const& header : Headers()) {
        settings.SetShadow(0);
        Drawing const bare = DrawLine("HI", settings, header, FRAME);
        settings.SetShadow(12);
        Drawing const drawing = DrawLine("HI", settings, header, FRAME);
        if (HasFramesShape(header)) {
            EXPECT_NEAR(drawing.crop.right, bare.crop.right + 12.0, 1) << header;
        }
        EXPECT_NEAR(drawing.crop.bottom, bare.crop.bottom + 12.0, 1) << header;
        EXPECT_NEAR(drawing.crop.top, bare.crop.top, 1) << header;
    }
}

TEST(AssSettings, BoldIsSetAndTakenBack) {
    std::string const bold =
        "Default,DejaVu Sans,20,&H00FFFFFF,&H00FFFFFF,&H00000000,&H00000000,-1,0,0,0,100,100,0,0,1,0,0,2,10,10,10,1";
    Drawing const thin = DrawLine("Some words"), fat = DrawLine("Some words", With(&S::SetBold, 1));
    EXPECT_GT(fat.crop.GetWidth(), thin.crop.GetWidth() + 5);
    EXPECT_TRUE(AreSame(DrawLine("Some words", With(&S::SetBold, 0), ScriptHeader(320, 240, {bold})), thin));
    EXPECT_TRUE(AreSame(DrawLine("Some words", {}, ScriptHeader(320, 240, {bold})), fat));
}

TEST(AssSettings, AlignmentIsTheKeyOfAKeypad) {
    for (int key = 1; key <= 9; ++key) {
        Drawing const drawing = DrawLine("{\\p1}m 0 0 l 20 0 20 20 0 20", With(&S::SetAlignment, key));
        u32 const x = std::vector<u32>{10, 150, 290}[static_cast<std::size_t>((key - 1) % 3)];
        u32 const y = std::vector<u32>{210, 110, 10}[static_cast<std::size_t>((key - 1) / 3)];
        EXPECT_EQ(SolidBox(drawing), CropInfo(x, x + 20, y, y + 20)) << key;
    }
}

TEST(AssSettings, MarginIsThatFarFromTheEdgeInPixelsOfTheFrame) {
    for (std::string const& header : Headers())
        for (int const margin : {0, 37, 150}) {
            auto settings = With(&S::SetMarginV, margin);
            settings.SetOutline(0);
            std::string const square = "{\\p1}m 0 0 l 20 0 20 20 0 20";
            EXPECT_NEAR(DrawLine(square, settings, header, FRAME).crop.bottom, 480.0 - margin, 2.5) << header;
            settings.SetAlignment(8);
            EXPECT_NEAR(DrawLine(square, settings, header, FRAME).crop.top, margin, 2.5) << header;
        }
    // A line's own margin, and its own place, stay.
    auto const settings = With(&S::SetMarginV, 100);
    EXPECT_EQ(DrawText(*MakeEngine(PlainHeader(),
                                   {"Dialogue: 0,0:00:01.00,0:00:03.00,Default,,0,0,50,,{\\p1}m 0 0 l "
                                    "20 0 20 20 0 20"},
                                   settings),
                       2000)
                  .crop.bottom,
              190U);
    EXPECT_EQ(SolidBox(DrawLine(Rectangle(3, 4, 5, 6), settings)), CropInfo(3, 8, 4, 10));
}

TEST(AssSettings, ValuesBeyondTheirRangesAreHeldToThem) {
    auto const same = [](void (S::*set)(int), int value, int held) {
        return AreSame(DrawLine("Words", With(set, value)), DrawLine("Words", With(set, held)));
    };
    EXPECT_TRUE(same(&S::SetFontSize, 0, 1));
    EXPECT_TRUE(same(&S::SetFontSize, 2147483647, 4096));
    EXPECT_TRUE(same(&S::SetOutline, -7, 0));
    EXPECT_TRUE(same(&S::SetOutline, 1000, 100));
    EXPECT_TRUE(same(&S::SetShadow, 2147483647, 100));
    EXPECT_TRUE(same(&S::SetAlignment, 0, 1));
    EXPECT_TRUE(same(&S::SetAlignment, 99, 9));
    EXPECT_TRUE(same(&S::SetMarginV, -2, 0));
}

TEST(AssSettings, AFontTakesThePlaceOfEveryStyle) {
    SettingsSubtitleDrawer settings;
    settings.SetFontName("DejaVu Sans Mono");
    // All letters of it are as wide.
    Drawing const narrow = DrawLine("iiiiiiiiii", settings), wide = DrawLine("mmmmmmmmmm", settings);
    EXPECT_NEAR(narrow.crop.GetWidth(), wide.crop.GetWidth(), 8);
    EXPECT_GT(DrawLine("mmmmmmmmmm").crop.GetWidth(), DrawLine("iiiiiiiiii").crop.GetWidth() * 2);
}

TEST(AssSettings, AFontThatIsMissingIsToldOnceAndAnotherDrawn) {
    LogLines const log(0);
    SettingsSubtitleDrawer settings;
    settings.SetFontName("No Such Font");
    auto const engine = MakeEngine(PlainHeader(), {Line("one"), Line("{\\b1}two{\\fnNor This}three")}, settings);
    EXPECT_NE(DrawText(*engine, 2000).picture, nullptr);
    EXPECT_EQ(log.Count("Font \"No Such Font\" isn't installed, DejaVu"), 1U);
    EXPECT_EQ(log.Count("Font \"Nor This\" isn't installed, DejaVu"), 1U);
    DrawLine("present", {}, "");
    DrawLine("present");
    EXPECT_EQ(log.Get(google::GLOG_WARNING).size(), 2U);
}

TEST(AssSettings, ALetterThatNoFontHasIsToldOnce) {
    LogLines const log(0);
    auto const engine = MakeEngine(PlainHeader(), {Line("a\uA015b\uA015"), Line("\uA015")});
    EXPECT_NE(DrawText(*engine, 2000).picture, nullptr);
    EXPECT_EQ(log.Count("Drawing text: fontselect: failed to find any fallback with glyph 0xA015"), 1U);
}

TEST(AssSettings, AFolderOfFontsThatIsMissingIsAnError) {
    SettingsSubtitleDrawer settings;
    settings.SetFontsDir("/no/such/folder");
    EXPECT_EQ(MessageOf<FilterException>([&] { MakeEngine("", {}, settings); }),
              "/no/such/folder: there is no such folder of fonts");
}

/// A process in which no font is installed.
class NoFonts : public ::testing::Test {
  protected:
    NoFonts() {
        std::ofstream(folder / "fonts.conf") << "<?xml version=\"1.0\"?><fontconfig></fontconfig>\n";
        setenv("FONTCONFIG_FILE", (folder / "fonts.conf").c_str(), 1);
    }
    ~NoFonts() override { unsetenv("FONTCONFIG_FILE"); }

    ScratchFolder const folder;
    LogLines const log{0};
};

TEST_F(NoFonts, AreToldAtTheStart) {
    auto const engine = MakeEngine("");
    EXPECT_EQ(log.Count("No font is installed: no text will be drawn"), 1U);
    engine->AddTextLine(Line("words"));
    EXPECT_EQ(DrawText(*engine, 2000).picture, nullptr);
    EXPECT_EQ(log.Get(google::GLOG_WARNING).size(), 1U);
}

TEST_F(NoFonts, AFolderGivesThem) {
    SettingsSubtitleDrawer settings;
    settings.SetFontsDir(FONTS);
    settings.SetFontName("DejaVu Sans");
    Drawing const drawing = DrawLine("words", settings);
    EXPECT_NE(drawing.picture, nullptr);
    EXPECT_EQ(log.Get(google::GLOG_WARNING).size(), 0U);
    unsetenv("FONTCONFIG_FILE");
    EXPECT_TRUE(AreSame(drawing, DrawLine("words")));
}

/// The form of fonts in scripts: three bytes become four signs, of which none is a letter of lower case.
std::string Embedded(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::stringstream stream;
    stream << file.rdbuf();
    std::string const bytes = stream.str();
    std::string signs;
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::size_t const count = std::min<std::size_t>(3, bytes.size() - i);
        u32 value = 0;
        for (std::size_t k = 0; k < 3; ++k)
            value = value << 8 | (k < count ? static_cast<unsigned char>(bytes[i + k]) : 0U);
        for (std::size_t k = 0; k <= count; ++k) signs += static_cast<char>((value >> (18 - 6 * k) & 63) + 33);
    }
    std::string text = "[Fonts]\nfontname: " + std::filesystem::path(path).filename().string() + "\n";
    for (std::size_t i = 0; i < signs.size(); i += 80) text += signs.substr(i, 80) + "\n";
    return text;
}

TEST_F(NoFonts, AScriptBringsItsOwn) {
    std::string header = PlainHeader();
    header.insert(header.find("\n[Events]"), "\n" + Embedded(std::string(FONTS) + "/DejaVuSans.ttf"));
    Drawing const drawing = DrawLine("words", {}, header);
    EXPECT_NE(drawing.picture, nullptr);
    EXPECT_EQ(log.Get(google::GLOG_WARNING).size(), 0U);
    unsetenv("FONTCONFIG_FILE");
    EXPECT_TRUE(AreSame(drawing, DrawLine("words")));
}

TEST(AssSettings, AScriptWithFontsIsToldOfThoseThatNeitherItNorTheSystemHas) {
    LogLines const log(0);
    std::string header = PlainHeader();
    header.insert(header.find("\n[Events]"), "\n" + Embedded(std::string(FONTS) + "/DejaVuSans.ttf"));
    SettingsSubtitleDrawer settings;
    settings.SetFontName("No Such Font");
    EXPECT_NE(DrawLine("words", settings, header).picture, nullptr);
    EXPECT_EQ(log.Count("Font \"No Such Font\" isn't installed, DejaVu"), 1U);
    EXPECT_EQ(log.Get(google::GLOG_WARNING).size(), 1U);
}

}  // namespace
}  // namespace Tarsel::Host
