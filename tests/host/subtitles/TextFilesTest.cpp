#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <fstream>
#include <limits>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "host/media/MediaFile.h"
#include "host/media/SubtitleDecoder.h"
#include "tests/host/subtitles/PictureMedia.h"
#include "tests/host/subtitles/SubtitleEvents.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Host::SubtitleRequest;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// The first title comes at 10 s, two overlap, one stands for two hours.
constexpr char SRT[] =
    "1\n00:00:10,000 --> 00:00:12,500\nFirst, with a <b>comma</b>\nand a line\n\n"
    "2\n00:00:11,000 --> 00:00:13,004\nSecond\n\n"
    "3\n01:30:00,000 --> 03:30:00,000\nLong\n\n";

constexpr char SCRIPT[] =
    "[Script Info]\nScriptType: v4.00+\nPlayResX: 640\nPlayResY: 360\n\n"
    "[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, "
    "Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, "
    "MarginR, MarginV, Encoding\n"
    "Style: Sign,DejaVu Sans,30,&H00FFFFFF,&H000000FF,&H00000000,&H00000000,0,0,0,0,100,100,0,0,1,2,0,8,5,6,7,1\n\n"
    "[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";
constexpr char DIALOGUES[] =
    "Dialogue: 3,0:00:10.00,0:00:12.50,Sign,Anna,1,2,3,,{\\pos(10,20)}First, with a comma\n"
    "Dialogue: 0,0:00:05.00,0:00:06.00,Sign,,0,0,0,,Earlier\n";

class TextFiles : public testing::Test {
  protected:
    std::string Write(std::string const& name, std::string const& text) {
        WriteText(folder / name, text);
        return folder / name;
    }
    std::string Message(SubtitleRequest const& request) {
        return TestSupport::MessageOf<Core::IOException>([&] { ReadEvents(request); });
    }

    ScratchFolder folder;
};

std::string const FIRST = "Default,,0,0,0,,First, with a {\\b1}comma{\\b0}\\Nand a line";

Lines const EVENTS{"10s+2.5s Dialogue: 0,0:00:10.00,0:00:12.50," + FIRST,
                   "11s+2.004s Dialogue: 0,0:00:11.00,0:00:13.00,Default,,0,0,0,,Second",
                   "5400s+7200s Dialogue: 0,1:30:00.00,3:30:00.00,Default,,0,0,0,,Long"};

TEST_F(TextFiles, TitlesHaveTheTimesOfTheFileNotOfItsFirstTitle) {
    std::string const srt = Write("a.srt", SRT);
    EXPECT_THAT(ReadEvents({srt}), ElementsAreArray(EVENTS));
    auto const file = Host::MediaFile::Open(srt);
    EXPECT_EQ(file->GetIndex(0).GetStartTime(), 10 * SECOND);
    EXPECT_THAT(file->GetWarnings(), IsEmpty());
    // As graphs open it.
    EXPECT_THAT(ReadEvents(Host::SubtitleDecoder::Create(file->OpenStream(0), "", {})), ElementsAreArray(EVENTS));
}

TEST_F(TextFiles, ATextIsOneAssRectangleWithoutAText) {
    auto const event = Host::OpenSubtitles({Write("a.srt", SRT)})->Read();
    AVSubtitle const& subtitle = *event->GetAVSubtitle();
    EXPECT_EQ(subtitle.pts, 10 * SECOND);
    EXPECT_EQ(subtitle.start_display_time, 0U);
    EXPECT_EQ(subtitle.end_display_time, 2500U);
    ASSERT_EQ(subtitle.num_rects, 1U);
    EXPECT_EQ(subtitle.rects[0]->type, SUBTITLE_ASS);
    EXPECT_EQ(subtitle.rects[0]->text, nullptr);
    EXPECT_EQ(subtitle.rects[0]->data[0], nullptr);
}

TEST_F(TextFiles, WebVttGivesTheSame) {
    EXPECT_THAT(ReadEvents({Write("a.vtt",
                                  "WEBVTT\n\n00:10.000 --> 00:12.500 line:0\nFirst, with a <b>comma</b>\nand a "
                                  "line\n\nname\n00:00:11.000 --> 00:00:13.004\nSecond\n\n01:30:00.000 --> "
                                  "03:30:00.000\nLong\n")}),
                ElementsAreArray(EVENTS));
}

TEST_F(TextFiles, MovTextGivesTheSame) {
    // Titles of MP4 can't overlap.
    std::string const srt = Write("a.srt",
                                  "1\n00:00:10,000 --> 00:00:12,500\nFirst, with a <b>comma</b>\nand a line\n\n"
                                  "2\n00:00:12,500 --> 00:00:13,004\nSecond\n\n");
    RunFFmpeg({"-copyts", "-i", srt, "-c:s", "mov_text", folder / "a.mp4"});
    EXPECT_THAT(
        ReadEvents({folder / "a.mp4"}),
        ElementsAre(
            "10s+2.5s Dialogue: 0,0:00:10.00,0:00:12.50,Default,,0,0,0,,First, with a {\\b1}comma{\\r}\\Nand a line",
            "12.5s+0.504s Dialogue: 0,0:00:12.50,0:00:13.00,Default,,0,0,0,,Second"));
    ExpectSeeksLikeStraightReading({folder / "a.mp4"}, 13 * SECOND, 16);
}

TEST_F(TextFiles, MatroskaGivesTheSame) {
    std::string const srt = Write("a.srt", SRT);
    for (char const* const codec : {"subrip", "ass", "webvtt"}) {
        SCOPED_TRACE(codec);
        RunFFmpeg({"-copyts", "-i", srt, "-c:s", codec, folder / "a.mkv"});
        EXPECT_THAT(ReadEvents({folder / "a.mkv"}), ElementsAreArray(EVENTS));
    }
}

TEST_F(TextFiles, AssKeepsLayersStylesNamesMarginsAndTagsAndItsHeader) {
    std::string const ass = Write("a.ass", std::string(SCRIPT) + DIALOGUES);
    auto const stream = Host::OpenSubtitles({ass});
    EXPECT_THAT(ReadEvents(stream),
                ElementsAre("5s+1s Dialogue: 0,0:00:05.00,0:00:06.00,Sign,,0,0,0,,Earlier",
                            "10s+2.5s Dialogue: 3,0:00:10.00,0:00:12.50,Sign,Anna,1,2,3,,{\\pos(10,20)}First, with a "
                            "comma"));
    std::string const header = stream->GetFormatCodec()->GetSubtitleHeader();
    EXPECT_THAT(header, StartsWith("[Script Info]"));
    for (char const* const part : {"PlayResX: 640", "PlayResY: 360", "Style: Sign,DejaVu Sans,30,", "[Events]"})
        EXPECT_THAT(header, HasSubstr(part));
    RunFFmpeg({"-copyts", "-i", ass, "-c:s", "copy", folder / "a.mkv"});
    auto const inMatroska = Host::OpenSubtitles({folder / "a.mkv"});
    EXPECT_THAT(inMatroska->GetFormatCodec()->GetSubtitleHeader(), HasSubstr("Style: Sign,DejaVu Sans,30,"));
    EXPECT_THAT(ReadEvents(inMatroska), ElementsAreArray(ReadEvents({ass})));
}

TEST_F(TextFiles, LinesAreThoseThatFFmpegMakesOfTheFile) {
    Write("a.srt", SRT);
    Write("b.vtt", "WEBVTT\n\n00:10.120 --> 00:12.340 align:left\n<i>slanted</i> and <v Anna>voiced</v>\n\n");
    Write("c.ass", std::string(SCRIPT) + DIALOGUES);
    for (char const* const name : {"a.srt", "b.vtt", "c.ass"}) {
        SCOPED_TRACE(name);
        RunFFmpeg({"-copyts", "-i", folder / name, "-f", "ass", folder / "out.ass"});
        Lines expected;
        std::ifstream script(folder / "out.ass");
        for (std::string line; std::getline(script, line);) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            if (line.rfind("Dialogue:", 0) == 0) expected.push_back(line);
        }
        ASSERT_FALSE(expected.empty());
        Lines lines;
        for (std::string const& event : ReadEvents({folder / name})) lines.push_back(event.substr(event.find(' ') + 1));
        // It writes scripts in the order that they had; here titles come by time.
        EXPECT_THAT(lines, testing::UnorderedElementsAreArray(expected));
    }
}

TEST_F(TextFiles, OtherTextsHaveAScriptOfTheDecoder) {
    for (auto const& [name, text] : {std::pair{"a.srt", SRT}, {"a.vtt", "WEBVTT\n\n00:10.000 --> 00:12.000\nx\n"}}) {
        std::string const header = Host::OpenSubtitles({Write(name, text)})->GetFormatCodec()->GetSubtitleHeader();
        EXPECT_THAT(header, HasSubstr("PlayResX: 384"));
        EXPECT_THAT(header, HasSubstr("Style: Default,Arial,16,"));
    }
}

TEST_F(TextFiles, EventsAreSortedByTime) {
    EXPECT_THAT(ReadEvents({Write("a.srt",
                                  "1\n00:00:20,000 --> 00:00:21,000\nlater\n\n2\n00:00:10,000 --> "
                                  "00:00:11,000\nearlier\n\n")}),
                ElementsAre(HasSubstr("earlier"), HasSubstr("later")));
}

TEST_F(TextFiles, ATitleThatEndsWhereItBeginsLastsUntilTheNextOne) {
    EXPECT_THAT(ReadEvents({Write("a.srt",
                                  "1\n00:00:10,000 --> 00:00:10,000\na\n\n2\n00:00:12,000 --> 00:00:11,000\nb\n\n3\n"
                                  "00:00:13,000 --> 00:00:14,000\nc\n\n")}),
                ElementsAre(StartsWith("10s+2s "), StartsWith("12s+1s "), StartsWith("13s+1s ")));
}

TEST_F(TextFiles, TitlesOfNoLengthAtOneTimeLastUntilOneThatBeginsLater) {
    auto const file = [&](std::vector<std::string> const& times) {
        std::string text;
        for (std::string const& time : times) text += "1\n" + time + "\nnumber " + std::to_string(text.size()) + "\n\n";
        return Write("a.srt", text);
    };
    std::string const one = "00:00:01,000 --> 00:00:01,000", three = "00:00:03,000 --> 00:00:04,000";
    EXPECT_THAT(ReadEvents({file({one, one, three})}),
                ElementsAre(StartsWith("1s+2s "), StartsWith("1s+2s "), StartsWith("3s+1s ")));
    EXPECT_THAT(ReadEvents({file({one, one, one, "00:00:01,500 --> 00:00:01,500", three})}),
                ElementsAre(StartsWith("1s+0.5s "), StartsWith("1s+0.5s "), StartsWith("1s+0.5s "),
                            StartsWith("1.5s+1.5s "), StartsWith("3s+1s ")));
    // One that has a length is nobody's end where it begins at that time, too.
    EXPECT_THAT(ReadEvents({file({one, "00:00:01,000 --> 00:00:02,000", three})}),
                ElementsAre(StartsWith("1s+2s "), StartsWith("1s+1s "), StartsWith("3s+1s ")));
    EXPECT_THAT(ReadEvents({file({one, one, "00:00:09,000 --> 00:00:10,000"})}),
                ElementsAre(StartsWith("1s+5s "), StartsWith("1s+8s "), StartsWith("9s+1s ")));
    // In a file of subtitles alone nothing is left behind the last one.
    EXPECT_THAT(ReadEvents({file({one, one})}), ElementsAre(StartsWith("1s+5s "), StartsWith("1s+5s ")));
    ExpectSeeksLikeStraightReading({file({one, one, three})}, 5 * SECOND, 18);
}

TEST_F(TextFiles, WebVttWithStylesRegionsAndNotesKeepsItsCues) {
    auto const cue = [](std::string const& time, std::string const& text) {
        return "00:" + time + ".000 --> 00:" + time + ".500 line:0\n" + text + "\n";
    };
    std::string const style = "STYLE\n::cue {\n  color: red;\n}\n\n";
    std::string const region = "REGION \nid:fred\nwidth:40%\n\n";
    std::string const note = "NOTE not a cue: 00:01.000 --> 00:02.000\nnor here\n\n";
    auto const expected = ElementsAre("10s+0.5s Dialogue: 0,0:00:10.00,0:00:10.50,Default,,0,0,0,,a",
                                      "11s+0.5s Dialogue: 0,0:00:11.00,0:00:11.50,Default,,0,0,0,,b\\NSTYLE",
                                      "12s+0.5s Dialogue: 0,0:00:12.00,0:00:12.50,Default,,0,0,0,,c");
    // A cue's name may begin as a block does.
    std::string const first = cue("10", "a") + "\n", second = "NOTES\n" + cue("11", "b\nSTYLE") + "\n",
                      third = "STYLE-2\n" + cue("12", "c");
    for (std::string const& block : {style, region, note, style + region + "\n\n" + note, style + style}) {
        SCOPED_TRACE(block);
        EXPECT_THAT(ReadEvents({Write("a.vtt", "WEBVTT\n\n" + block + first + second + third)}), expected);
        EXPECT_THAT(ReadEvents({Write("a.vtt", "WEBVTT - a title\nKind: x\n\n" + first + block + second + block +
                                                   third + "\n" + block)}),
                    expected);
    }
    std::string windows = "\xEF\xBB\xBFWEBVTT\n\n" + style + first + note + second + third;
    for (std::size_t at = windows.find('\n'); at != std::string::npos; at = windows.find('\n', at + 2))
        windows.replace(at, 1, "\r\n");
    EXPECT_THAT(ReadEvents({Write("a.vtt", windows)}), expected);
    EXPECT_THAT(Host::OpenSubtitleFile(folder / "a.vtt", "")->GetWarnings(), IsEmpty());
}

TEST_F(TextFiles, WebVttBehindABrokenTimeIsReadOnWithAWarning) {
    std::string const good = "00:10.000 --> 00:11.000\na\n\n", later = "name\n01:00:12.000 --> 01:00:13.000\nc\n\n";
    for (std::string const broken :
         {"00:xx.000 --> 00:12.000", "00:11.000 -> 00:12.000", "00:11,000 --> 00:12,000", "11.000 --> 12.000",
          "00:11.000 --> ", "--> 00:12.000", "00:00:00:11.000 --> 00:12.000", "00:11.000 --> 00:9999999999.000"}) {
        SCOPED_TRACE(broken);
        std::string const path = Write("a.vtt", "WEBVTT\n\n" + good + "2\n" + broken + "\nb\nb\n\n" + later);
        EXPECT_THAT(ReadEvents({path}), ElementsAre(StartsWith("10s+1s "), StartsWith("3612s+1s ")));
        auto const file = Host::OpenSubtitleFile(path, "");
        EXPECT_THAT(file->GetWarnings(),
                    ElementsAre(path + ": line 7 is no time of a cue: what stands there up to an empty line is left "
                                       "out"));
    }
    std::string many = "WEBVTT\n\n";
    for (int i = 0; i < 13; ++i) many += "nonsense\n\n";
    std::string const path = Write("a.vtt", many + good);
    EXPECT_THAT(ReadEvents({path}), ElementsAre(StartsWith("10s+1s ")));
    auto const file = Host::OpenSubtitleFile(path, "");
    ASSERT_EQ(file->GetWarnings().size(), 11U);
    EXPECT_THAT(file->GetWarnings()[9], StartsWith(path + ": line 21 is no time of a cue"));
    EXPECT_EQ(file->GetWarnings()[10], path + ": 3 more such blocks are left out");
}

TEST_F(TextFiles, NonsenseBetweenTitlesIsPassedOver) {
    EXPECT_THAT(ReadEvents({Write("a.srt",
                                  "1\n00:00:10,000 --> 00:00:11,000\na\n\nx\n00:aa:12,000 --> 00:00:13,000\nb\n\n3\n"
                                  "00:00:14,000 --> 00:00:15,000\nc\n\n")}),
                ElementsAre(StartsWith("10s+1s "), StartsWith("14s+1s ")));
}

TEST_F(TextFiles, TimesBelowZeroStay) {
    EXPECT_THAT(
        ReadEvents({Write("a.srt", "1\n00:00:-2,000 --> 00:00:01,000\na\n\n2\n00:00:02,000 --> 00:00:03,000\nb\n\n")}),
        ElementsAre("-2s+3s Dialogue: 0,0:00:00.00,0:00:01.00,Default,,0,0,0,,a", StartsWith("2s+1s ")));
}

TEST_F(TextFiles, TagsThatAssDoesNotKnowGoAndOthersBecomeItsOwn) {
    Lines const events = ReadEvents({Write("a.srt",
                                           "1\n00:00:10,000 --> 00:00:11,000\n<i>a</i> <font color=\"#FF0000\">b"
                                           "</font> <blink>c</blink> 1 < 2\n\n")});
    ASSERT_EQ(events.size(), 1U);
    EXPECT_THAT(events[0], HasSubstr("{\\i1}a{\\i0} {\\c&HFF&}b{\\c} "));
    EXPECT_THAT(events[0], HasSubstr("1 < 2"));
}

TEST_F(TextFiles, LongLinesAreBrokenBetweenCharacters) {
    std::string line;
    for (int i = 0; i < 5000; ++i) line += "\xC3\xA9";
    Lines const events = ReadEvents({Write("a.srt", "1\n00:00:10,000 --> 00:00:11,000\nx" + line + "\n\n")});
    ASSERT_EQ(events.size(), 1U);
    std::string text = events[0].substr(events[0].rfind(",x") + 2);
    for (std::size_t at = text.find("\\N"); at != std::string::npos; at = text.find("\\N")) text.erase(at, 2);
    EXPECT_EQ(text, line);
}

TEST_F(TextFiles, RandomSeeksGiveWhatReadingStraightGives) {
    ExpectSeeksLikeStraightReading({Write("a.srt", SRT)}, 15 * SECOND, 11);
    ExpectSeeksLikeStraightReading({Write("b.srt", SRT)}, 13000 * SECOND, 12);
    ExpectSeeksLikeStraightReading({Write("a.ass", std::string(SCRIPT) + DIALOGUES)}, 14 * SECOND, 13);
    RunFFmpeg({"-copyts", "-i", folder / "a.srt", "-c:s", "copy", folder / "a.mkv"});
    ExpectSeeksLikeStraightReading({folder / "a.mkv"}, 13000 * SECOND, 14);
    ExpectSeeksLikeStraightReading({folder / "a.mkv", -1, -4 * SECOND}, 10 * SECOND, 15);
}

TEST_F(TextFiles, DelayMovesTimesLinesSeeksAndTheDuration) {
    std::string const srt = Write("a.srt", SRT);
    auto const later = Host::OpenSubtitles({srt, -1, 1500000});
    EXPECT_EQ(later->GetDuration(), 12600 * SECOND + 1500000);
    EXPECT_EQ(ReadEventsAt(later, 0).front(), "11.5s+2.5s Dialogue: 0,0:00:11.50,0:00:14.00," + FIRST);
    EXPECT_EQ(ReadEventsAt(later, 14 * SECOND).front(),
              "12.5s+2.004s Dialogue: 0,0:00:12.50,0:00:14.50,Default,,0,0,0,,Second");
    auto const earlier = Host::OpenSubtitles({srt, -1, -11 * SECOND});
    EXPECT_EQ(ReadEvents(earlier).front(), "-1s+2.5s Dialogue: 0,0:00:00.00,0:00:01.50," + FIRST);
    EXPECT_EQ(ReadEvents({srt, -1, -20 * SECOND}).front(), "-10s+2.5s Dialogue: 0,0:00:00.00,0:00:00.00," + FIRST)
        << "ended before 0, kept as it is";
    EXPECT_EQ(ReadEvents({srt, -1, std::numeric_limits<int64>::max()}).size(), 3U);
}

TEST_F(TextFiles, ReadingGoesOnAfterARelease) {
    auto const stream = Host::OpenSubtitles({Write("a.srt", SRT)});
    stream->Read();
    stream->Read();
    stream->ReleaseInternalData();
    EXPECT_THAT(ReadEvents(stream), ElementsAre(EVENTS[2]));
}

TEST_F(TextFiles, TenThousandTitlesAreReadInOrder) {
    std::string text;
    for (int i = 0; i < 10000; ++i) {
        std::array<char, 96> line{};
        std::snprintf(line.data(), line.size(), "%d\n%02d:%02d:%02d,000 --> %02d:%02d:%02d,900\ntitle %d\n\n", i + 1,
                      i / 3600, i / 60 % 60, i % 60, i / 3600, i / 60 % 60, i % 60, i);
        text += line.data();
    }
    std::string const srt = Write("a.srt", text);
    Lines const events = ReadEvents({srt});
    ASSERT_EQ(events.size(), 10000U);
    EXPECT_EQ(events[9999], "9999s+0.9s Dialogue: 0,2:46:39.00,2:46:39.90,Default,,0,0,0,,title 9999");
    auto const stream = Host::OpenSubtitles({srt});
    EXPECT_EQ(ReadEventsAt(stream, 5000 * SECOND + 500000).size(), 5000U);
}

TEST_F(TextFiles, FileWithoutATitleGivesNothing) {
    EXPECT_THAT(ReadEvents({Write("a.ass", SCRIPT)}), IsEmpty());
    EXPECT_THAT(ReadEvents({Write("a.vtt", "WEBVTT\n\n")}), IsEmpty());
    auto const stream = Host::OpenSubtitles({folder / "a.ass"});
    EXPECT_THAT(ReadEventsAt(stream, SECOND), IsEmpty());
    EXPECT_THAT(ReadEventsAt(stream, 0), IsEmpty());
    EXPECT_THAT(stream->GetFormatCodec()->GetSubtitleHeader(), HasSubstr("PlayResX: 640"));
}

TEST_F(TextFiles, FileThatIsNoneIsRefused) {
    EXPECT_EQ(Message({folder / "none.srt"}), folder / "none.srt" + ": there is no such file");
    EXPECT_EQ(Message({folder.GetPath()}), folder.GetPath() + ": is a folder, not a media file");
    EXPECT_EQ(Message({Write("empty.srt", "")}), folder / "empty.srt" + ": the file is empty");
    EXPECT_EQ(Message({Write("blank.srt", "\n\n")}), folder / "blank.srt" + ": is a text file, not a media file");
    EXPECT_EQ(Message({Write("prose.srt", "Once upon a time\n")}),
              folder / "prose.srt" + ": is a text file, not a media file");
}

TEST_F(TextFiles, MicroDvdCountsInPictures) {
    EXPECT_THAT(ReadEvents({Write("a.sub", "{1}{1}25\n{250}{300}First|and a line\n{500}{525}Second\n")}),
                ElementsAre("10s+2s Dialogue: 0,0:00:10.00,0:00:12.00,Default,,0,0,0,,First\\Nand a line",
                            "20s+1s Dialogue: 0,0:00:20.00,0:00:21.00,Default,,0,0,0,,Second"));
}

TEST_F(TextFiles, CaptionsAndTeletextAreRefused) {
    std::string const scc =
        Write("a.scc", "Scenarist_SCC V1.0\n\n00:00:10:00\t9420 9420 94ad 94ad 4845 4c4c 942f 942f\n");
    EXPECT_EQ(Message({scc}), scc + ": stream #0 (subtitle, eia_608) holds closed captions, which can't be drawn");
    std::vector<u8> page(46, 0xFF);
    page[0] = 0x10;
    page[1] = 0x02;
    page[2] = 0x2C;
    WritePackets(folder / "a.ts", "dvb_teletext", {{90000, page}, {180000, page}});
    EXPECT_EQ(Message({folder / "a.ts"}),
              folder / "a.ts" + ": stream #0 (subtitle, dvb_teletext) is teletext, which can't be drawn");
}

TEST_F(TextFiles, StreamIsChosenByItsIndex) {
    std::string const first = Write("a.srt", SRT);
    std::string const second = Write("b.srt", "1\n00:00:01,000 --> 00:00:02,000\nother\n\n");
    RunFFmpeg({"-copyts", "-i", first, "-i", second, "-map", "0", "-map", "1", "-c", "copy", folder / "a.mkv"});
    EXPECT_THAT(ReadEvents({folder / "a.mkv"}), ElementsAreArray(EVENTS));
    EXPECT_THAT(ReadEvents({folder / "a.mkv", 1}), ElementsAre(HasSubstr("other")));
}

TEST_F(TextFiles, StreamsThatAreNoSubtitlesAreRefusedWithAListOfWhatThereIs) {
    std::string const film = TestMedia("h264.mp4");
    std::string const streams = "stream #0 (video, h264), stream #1 (audio, aac)";
    EXPECT_EQ(Message({film}), film + ": there is no subtitle stream in it, only " + streams);
    EXPECT_EQ(Message({film, 0}), film + ": stream #0 (video, h264) holds no subtitles, in a file of " + streams);
    EXPECT_EQ(Message({film, 7}), film + ": there is no stream #7 in it, only " + streams);
    EXPECT_EQ(Message({film, -2}), film + ": there is no stream #-2 in it, only " + streams);
}

}  // namespace
}  // namespace Tarsel::Test
