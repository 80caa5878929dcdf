// Font files as scripts embed them: by the encoding of SubStation Alpha, which packs three bytes into four characters.
#include "host/titles/CarriedFonts.h"

#include <glog/logging.h>
#include <gtest/gtest.h>

#include "contracts/Proc/BlobFF.h"
#include "tests/support/LogLines.h"

namespace Tarsel::Host {
namespace {

using Test::LogLines;

constexpr char HEADER[] = "[Script Info]\nScriptType: v4.00+\n\n[Events]\nFormat: Layer, Text\n";

FontFile Font(std::string const& name, std::string const& bytes) {
    return {name, Proc::BlobFF::Create(reinterpret_cast<u8 const*>(bytes.data()), bytes.size())};
}

std::string Embedded(std::string const& section) {
    return "[Script Info]\nScriptType: v4.00+\n\n[Fonts]\n" + section + "\n[Events]\nFormat: Layer, Text\n";
}

TEST(CarriedFonts, BytesBecomeCharactersOfSixBitsInFrontOfTheEvents) {
    EXPECT_EQ(WithFonts(HEADER, {Font("a.ttf", std::string("\0\0\0", 3))}), Embedded("fontname: a.ttf\n!!!!\n"));
    EXPECT_EQ(WithFonts(HEADER, {Font("a.ttf", "\xFF\xFF\xFF")}), Embedded("fontname: a.ttf\n````\n"));
    // 'M' 'a' 'n' are 010011 010110 000101 101110.
    EXPECT_EQ(WithFonts(HEADER, {Font("a.ttf", "Man")}), Embedded("fontname: a.ttf\n47&O\n"));
    EXPECT_EQ(WithFonts(HEADER, {Font("a.ttf", "Ma")}), Embedded("fontname: a.ttf\n47%\n"));
    EXPECT_EQ(WithFonts(HEADER, {Font("a.ttf", "M")}), Embedded("fontname: a.ttf\n41\n"));
}

TEST(CarriedFonts, LinesHaveEightyCharacters) {
    std::string const line(80, '!');
    EXPECT_EQ(WithFonts(HEADER, {Font("a", std::string(60, '\0'))}), Embedded("fontname: a\n" + line + "\n"));
    EXPECT_EQ(WithFonts(HEADER, {Font("a", std::string(61, '\0'))}), Embedded("fontname: a\n" + line + "\n!!\n"));
}

TEST(CarriedFonts, EachFileHasItsLineAndEmptyOnesNone) {
    EXPECT_EQ(WithFonts(HEADER, {Font("a", "Man"), Font("b", ""), {"c", nullptr}, Font("", "M")}),
              Embedded("fontname: a\n47&O\nfontname: font\n41\n"));
    EXPECT_EQ(WithFonts(HEADER, {Font("b", "")}), HEADER);
    EXPECT_EQ(WithFonts(HEADER, {}), HEADER);
}

TEST(CarriedFonts, ANameStaysOnItsLine) {
    EXPECT_EQ(WithFonts(HEADER, {Font("a\n[Events]\r", "M")}), Embedded("fontname: a_[Events]_\n41\n"));
}

TEST(CarriedFonts, AHeaderWithoutEventsHasThemBehindItAndABlankOneStays) {
    EXPECT_EQ(WithFonts("[Script Info]", {Font("a", "M")}), "[Script Info]\n[Fonts]\nfontname: a\n41\n");
    EXPECT_EQ(WithFonts("", {Font("a", "M")}), "");
    EXPECT_EQ(WithFonts(" \n", {Font("a", "M")}), " \n");
}

TEST(CarriedFonts, MoreThanTheMostIsLeftOutWithAWarning) {
    LogLines const log(0);
    EXPECT_EQ(WithFonts(HEADER, {Font("a", "Man"), Font("b", "Man"), Font("c", "M")}, 4),
              Embedded("fontname: a\n47&O\nfontname: c\n41\n"));
    EXPECT_EQ(log.Count("Font file b is left out: the file carries more than 4 bytes of fonts"), 1U);
    EXPECT_EQ(log.Get(google::GLOG_WARNING).size(), 1U);
}

}  // namespace
}  // namespace Tarsel::Host
