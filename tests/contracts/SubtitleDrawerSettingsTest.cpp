#include <gtest/gtest.h>

#include <limits>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterSubtitleDrawer.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"
#include "tests/support/Matchers.h"
#include "tests/support/SettingsRoundTrip.h"

namespace Tarsel::Proc {
namespace {

using Test::ExpectRoundTrip;
using Test::MessageOf;
using Test::With;

constexpr char const* ID = SettingsSubtitleDrawer::CLASS_ID;

/// The numbers, and what they may be.
struct {
    char const* key;
    int low;
    int high;
    int standard;
    int (SettingsSubtitleDrawer::*get)() const;
    void (SettingsSubtitleDrawer::*set)(int);
} const NUMBERS[] = {
    {"FontSize", -1, 4096, -1, &SettingsSubtitleDrawer::GetFontSize, &SettingsSubtitleDrawer::SetFontSize},
    {"Color", -1, 0xFFFFFF, -1, &SettingsSubtitleDrawer::GetColor, &SettingsSubtitleDrawer::SetColor},
    {"OutlineColor", -1, 0xFFFFFF, -1, &SettingsSubtitleDrawer::GetOutlineColor,
     &SettingsSubtitleDrawer::SetOutlineColor},
    {"Outline", -1, 100, -1, &SettingsSubtitleDrawer::GetOutline, &SettingsSubtitleDrawer::SetOutline},
    {"Shadow", -1, 100, -1, &SettingsSubtitleDrawer::GetShadow, &SettingsSubtitleDrawer::SetShadow},
    {"Bold", -1, 1, -1, &SettingsSubtitleDrawer::GetBold, &SettingsSubtitleDrawer::SetBold},
    {"Alignment", -1, 9, -1, &SettingsSubtitleDrawer::GetAlignment, &SettingsSubtitleDrawer::SetAlignment},
    {"MarginV", -1, 8192, -1, &SettingsSubtitleDrawer::GetMarginV, &SettingsSubtitleDrawer::SetMarginV},
    {"Alpha", 0, 255, 255, &SettingsSubtitleDrawer::GetAlpha, &SettingsSubtitleDrawer::SetAlpha},
};

std::string Refusal(char const* key, int64 value) {
    return MessageOf<FilterException>([&] { Property2SettingsSubtitleDrawer(With(ID, key, value)); });
}

TEST(SettingsSubtitleDrawer, DrawAsTheSubtitlesSayUnlessTold) {
    SettingsSubtitleDrawer const defaults;
    EXPECT_EQ(defaults.GetFontName(), "");
    EXPECT_EQ(defaults.GetFontsDir(), "");
    for (auto const& number : NUMBERS) EXPECT_EQ((defaults.*number.get)(), number.standard) << number.key;
}

TEST(SettingsSubtitleDrawer, SurviveTheWayThroughAProperty) {
    SettingsSubtitleDrawer font, folder, all;
    font.SetFontName("DejaVu Sans");
    folder.SetFontsDir("a folder/b");
    int value = 0;
    for (auto const& number : NUMBERS) (all.*number.set)(value++ % 2);
    ExpectRoundTrip<SettingsSubtitleDrawer>({font, folder, all}, Property2SettingsSubtitleDrawer);
    for (auto const& number : NUMBERS) {
        SettingsSubtitleDrawer alone;
        (alone.*number.set)(number.low + 1);
        ExpectRoundTrip<SettingsSubtitleDrawer>({alone}, Property2SettingsSubtitleDrawer);
        for (int const edge : {number.low, number.high}) {
            auto const back = Property2SettingsSubtitleDrawer(With(ID, number.key, edge));
            EXPECT_EQ((back.*number.get)(), edge) << number.key;
        }
    }
}

TEST(SettingsSubtitleDrawer, RefuseNumbersOutOfTheirRanges) {
    for (auto const& number : NUMBERS)
        for (int64 const value : {int64{number.low} - 1, int64{number.high} + 1, std::numeric_limits<int64>::min(),
                                  std::numeric_limits<int64>::max()})
            EXPECT_EQ(Refusal(number.key, value),
                      std::string(number.key) + " of SettingsSubtitleDrawer is out of range: " + std::to_string(value));
}

TEST(SettingsSubtitleDrawer, StandInsideThePropertyOfTheFilter) {
    SettingsSubtitleDrawer bold;
    bold.SetBold(1);
    Core::Property const property = IFilterSubtitleDrawer::MakeSettings(bold);
    EXPECT_EQ(property.Name(), "FilterSubtitleDrawer");
    EXPECT_EQ(property.Children().size(), 1U);
    EXPECT_EQ(Property2SettingsSubtitleDrawer(property["SettingsSubtitleDrawer"]), bold);
}

}  // namespace
}  // namespace Tarsel::Proc
