#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "tests/host/subtitles/PictureMedia.h"
#include "tests/host/subtitles/SubtitleEvents.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using namespace std::string_literals;
using Host::SubtitleRequest;
using testing::ElementsAre;
using testing::HasSubstr;

std::string Srt(std::string const& text) {
    return "1\n00:00:10,000 --> 00:00:12,500\n" + text + "\n\n";
}

/// ASCII as characters of two bytes, after a mark of their order unless empty.
std::string Wide(std::string const& text, std::string const& mark, bool little) {
    std::string result = mark;
    for (char const c : text) result += little ? std::string{c, '\0'} : std::string{'\0', c};
    return result;
}

class Encodings : public testing::Test {
  protected:
    /// The text of the only title of a file with these bytes.
    std::string TextOf(std::string const& bytes, std::string const& charset = "", std::string const& name = "a.srt") {
        WriteText(folder / name, bytes);
        Lines const events = ReadEvents({folder / name, -1, 0, charset});
        if (events.size() != 1) return std::to_string(events.size()) + " events";
        return events[0].substr(events[0].rfind(",,") + 2);
    }
    std::string MessageFor(std::string const& bytes, std::string const& charset = "",
                           std::string const& name = "a.srt") {
        WriteText(folder / name, bytes);
        return TestSupport::MessageOf<Core::IOException>([&] { ReadEvents({folder / name, -1, 0, charset}); });
    }

    ScratchFolder folder;
    std::string const path = folder / "a.srt";
};

TEST_F(Encodings, Utf8IsReadWithAndWithoutAMark) {
    EXPECT_EQ(TextOf(Srt("\xC3\xA9t\xC3\xA9")), "\xC3\xA9t\xC3\xA9");
    EXPECT_EQ(TextOf("\xEF\xBB\xBF" + Srt("\xC3\xA9t\xC3\xA9")), "\xC3\xA9t\xC3\xA9");
}

TEST_F(Encodings, MarkOfUtf16IsUnderstood) {
    EXPECT_EQ(TextOf(Wide(Srt("wide"), "\xFF\xFE", true)), "wide");
    EXPECT_EQ(TextOf(Wide(Srt("wide"), "\xFE\xFF", false)), "wide");
    EXPECT_EQ(TextOf("\xFF\xFE"s + Wide(Srt("(").substr(0, 33), "", true) + "\x16\x04\n\0\n\0"s), "(\xD0\x96")
        << "a Cyrillic letter";
}

TEST_F(Encodings, MarkIsStrongerThanTheNameGiven) {
    EXPECT_EQ(TextOf(Wide(Srt("wide"), "\xFF\xFE", true), "CP1251"), "wide");
    EXPECT_EQ(TextOf("\xEF\xBB\xBF" + Srt("\xC3\xA9"), "CP1251"), "\xC3\xA9");
}

TEST_F(Encodings, NamedEncodingIsRead) {
    EXPECT_EQ(TextOf(Srt("\xCF\xF0\xE8\xE2\xE5\xF2"), "CP1251"), "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82");
    EXPECT_EQ(TextOf(Srt("caf\xE9"), "ISO-8859-1"), "caf\xC3\xA9");
    EXPECT_EQ(TextOf(Srt("\x93\xFA\x96{"), "SHIFT_JIS"), "\xE6\x97\xA5\xE6\x9C\xAC") << "a byte looks like a brace";
    EXPECT_EQ(TextOf(Wide(Srt("wide"), "", true), "UTF-16LE"), "wide");
    EXPECT_EQ(TextOf(Wide(Srt("wide"), "", false), "UTF-16BE"), "wide");
}

TEST_F(Encodings, NameThatIsNoneIsRefused) {
    for (char const* const name : {"KLINGON", "UTF-8//IGNORE"})
        EXPECT_EQ(MessageFor(Srt("x"), name),
                  path + ": the encoding '" + name +
                      "' isn't known: names are those of iconv, as CP1251, ISO-8859-1 or UTF-16LE");
}

TEST_F(Encodings, BytesThatAreNotUtf8AreRefusedByLineAndByte) {
    std::string const ending =
        ", isn't UTF-8: tell the encoding with --charset, as --charset CP1252, ISO-8859-1 or CP1251";
    EXPECT_EQ(MessageFor(Srt("ascii") + "2\n00:00:13,000 --> 00:00:14,000\ncaf\xE9\n"),
              path + ": line 7, byte 75 of the file (0xE9)" + ending);
    EXPECT_EQ(MessageFor("1\r\n00:00:10,000 --> 00:00:12,500\r\ncaf\xE9\r\n\r\n"),
              path + ": line 3, byte 38 of the file (0xE9)" + ending);
    EXPECT_EQ(MessageFor("1\r00:00:10,000 --> 00:00:12,500\rcaf\xE9\r\r"),
              path + ": line 3, byte 36 of the file (0xE9)" + ending);
    EXPECT_EQ(MessageFor("\xEF\xBB\xBF" + Srt("\xC3(")), path + ": line 3, byte 36 of the file (0xC3)" + ending);
    EXPECT_EQ(MessageFor(Srt("\xED\xA0\x80")), path + ": line 3, byte 33 of the file (0xED)" + ending) << "a surrogate";
    EXPECT_EQ(MessageFor("1\n00:00:10,000 --> 00:00:12,500\nx\xC3"),
              path + ": line 3, byte 34 of the file (0xC3)" + ending);
}

TEST_F(Encodings, BytesThatAreNotInTheNamedEncodingAreRefused) {
    EXPECT_EQ(MessageFor(Srt("\x81 \xFF"), "CP1253"), path + ": line 3, byte 33 of the file (0x81), isn't CP1253");
    EXPECT_EQ(MessageFor(Wide(Srt("x"), "\xFF\xFE", true) + "\0"s),
              path + ": line 5, byte 73 of the file (0x00), isn't UTF-16LE");
}

TEST_F(Encodings, WideCharactersWithoutAMarkAreRefusedWithAHint) {
    EXPECT_EQ(MessageFor(Wide(Srt("wide"), "", true)),
              path +
                  ": seems to be a text of two-byte characters without a mark of their order: tell the encoding with "
                  "--charset, as --charset UTF-16LE");
}

TEST_F(Encodings, ScriptsAndTheirHeadersAreReadInTheNamedEncoding) {
    std::string const script =
        "[Script Info]\nTitle: caf\xE9\nScriptType: v4.00+\n\n[Events]\nFormat: Layer, Start, End, Style, Name, "
        "MarginL, MarginR, MarginV, Effect, Text\nDialogue: 0,0:00:10.00,0:00:12.50,Default,,0,0,0,,th\xE9\n";
    EXPECT_EQ(TextOf(script, "ISO-8859-1", "a.ass"), "th\xC3\xA9");
    auto const stream = Host::OpenSubtitles({folder / "a.ass", -1, 0, "ISO-8859-1"});
    EXPECT_THAT(stream->GetFormatCodec()->GetSubtitleHeader(), HasSubstr("Title: caf\xC3\xA9"));
    EXPECT_THAT(MessageFor(script, "", "a.ass"), HasSubstr("line 2, byte 25 of the file (0xE9), isn't UTF-8"));
}

TEST_F(Encodings, TextsInsideContainersAreReadInTheNamedEncoding) {
    WriteText(path, Srt("ascii") + "2\n00:00:13,000 --> 00:00:14,000\ncaf\xE9\n\n");
    RunFFmpeg({"-copyts", "-i", path, "-c:s", "copy", folder / "a.mkv"});
    std::string const file = folder / "a.mkv";
    EXPECT_THAT(ReadEvents({file, -1, 0, "ISO-8859-1"}), ElementsAre(HasSubstr("ascii"), HasSubstr("caf\xC3\xA9")));
    std::string const message = TestSupport::MessageOf<Core::IOException>([&] { ReadEvents({file}); });
    EXPECT_THAT(message, HasSubstr(file + ": stream #0 (subtitle, subrip) at 0:00:13.000000: byte 4 (0xE9), isn't "
                                          "UTF-8: tell the encoding with --charset"));
}

}  // namespace
}  // namespace Tarsel::Test
