#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>

#include "contracts/Core/Exception.h"
#include "tests/host/subtitles/PictureMedia.h"
#include "tests/host/subtitles/SubtitleEvents.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr u32 CLEAR = 0x00000000, RED = 0xFF0000FF, BLUE = 0x0000FFFF, WHITE = 0xFFFFFFFF;

/// Four pixels a row: of colour 1, with the corners in colour 2.
TitlePicture Block(int x, int y, std::vector<u32> const& palette) {
    return {x, y, 4, 2, {2, 1, 1, 2, 2, 1, 1, 2}, palette};
}

// DVD: palettes of sixteen colours stand in the stream's header, ends in the packets, in steps of 1024/90000 s.
std::vector<TitleEvent> const DVD_TITLES{{2000, 1500, {Block(4, 6, {CLEAR, RED, BLUE, WHITE})}},
                                         {5000, 4000, {Block(8, 10, {CLEAR, BLUE, WHITE, RED})}},
                                         {7000, 1000, {Block(0, 0, {CLEAR, WHITE, RED, BLUE})}}};

constexpr char ROW[] = " 0000FFFF FF0000FF*2 0000FFFF*2 FF0000FF*2 0000FFFF";

class DvdTitles : public testing::Test {
  protected:
    void SetUp() override { WriteCodedTitles(titles, "dvdsub", 64, 48, DVD_TITLES); }

    ScratchFolder folder;
    std::string const titles = folder / "dvd.mkv";
};

TEST_F(DvdTitles, HaveTheColoursOfTheHeaderAndTheEndsOfThePackets) {
    Lines const events = ReadEvents({titles});
    ASSERT_EQ(events.size(), 3U);
    EXPECT_THAT(events[0], HasSubstr(std::string("4,6 4x2") + ROW));
    EXPECT_THAT(events[0], testing::StartsWith("2s+1.49s "));
    EXPECT_THAT(events[1], testing::StartsWith("5s+2s 8,10 4x2 FFFFFFFF 0000FFFF*2")) << "the next one replaces it";
    EXPECT_THAT(events[2], testing::StartsWith("7s+0.989s "));
}

TEST_F(DvdTitles, ReadTheSameFromAFilmAndAfterSeeks) {
    Lines const alone = ReadEvents({titles});
    AddVideo(titles, 12, folder / "film.mkv");
    EXPECT_THAT(ReadEvents({folder / "film.mkv"}), ElementsAreArray(alone));
    ExpectSeeksLikeStraightReading({folder / "film.mkv"}, 9 * SECOND, 6);
    ExpectSeeksLikeStraightReading({titles, -1, -2500000}, 9 * SECOND, 7);
}

/// The pictures in a program stream and the text that leads to them, as VobSub has them.
class VobSub : public DvdTitles {
  protected:
    void SetUp() override {
        DvdTitles::SetUp();
        RunFFmpeg({"-copyts", "-i", titles, "-map", "0:s", "-c", "copy", "-f", "vob", folder / "vob.sub"});
        std::ifstream file(folder / "vob.sub", std::ios::binary);
        std::string const bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
        std::string index =
            "# VobSub index file, v7 (do not modify this line!)\nsize: 64x48\n"
            "palette: 000000, 0000ff, 00ff00, ff0000, ffff00, ff00ff, 00ffff, ffffff, 808000, 8080ff, 800080, 80ff80, "
            "008080, ff8080, 555555, aaaaaa\nid: en, index: 0\n";
        std::array<char const*, 3> const times{"00:00:12:000", "00:00:15:000", "00:00:17:000"};
        std::size_t event = 0;
        // A subtitle begins in a packet of private stream 1 (0xBD) of its own pack (0xBA).
        for (std::size_t at = bytes.find("\0\0\1\xBA", 0, 4); at != std::string::npos && event < times.size();) {
            std::size_t const next = bytes.find("\0\0\1\xBA", at + 4, 4);
            std::size_t const packet = bytes.find("\0\0\1\xBD", at, 4);
            if (packet < next) {
                std::array<char, 64> line{};
                std::snprintf(line.data(), line.size(), "timestamp: %s, filepos: %09zx\n", times[event++], at);
                index += line.data();
            }
            at = next;
        }
        WriteText(folder / "vob.idx", index);
    }
};

TEST_F(VobSub, TimesAndColoursAreThoseOfTheIndex) {
    Lines const events = ReadEvents({folder / "vob.idx"});
    ASSERT_EQ(events.size(), 3U);
    EXPECT_THAT(events[0], testing::StartsWith("12s+1.49s "));
    EXPECT_THAT(events[0], HasSubstr(std::string("4,6 4x2") + ROW));
    EXPECT_THAT(events[1], testing::StartsWith("15s+2s"));
    EXPECT_THAT(events[2], testing::StartsWith("17s+0.989s "));
    // Where the last title ends the index doesn't say: for seeks the file ends with its last time.
    ExpectSeeksLikeStraightReading({folder / "vob.idx"}, 17 * SECOND, 8);
}

TEST_F(VobSub, PicturesAreReadWithTheIndexBesideThem) {
    EXPECT_THAT(ReadEvents({folder / "vob.sub"}), ElementsAreArray(ReadEvents({folder / "vob.idx"})));
}

TEST_F(VobSub, IndexWithoutItsPicturesIsRefused) {
    std::filesystem::remove(folder / "vob.sub");
    EXPECT_EQ(TestSupport::MessageOf<Core::IOException>([&] { Host::OpenSubtitles({folder / "vob.idx"}); }),
              folder / "vob.idx" + ": the file of its pictures, of the same name with .sub, is missing");
}

TEST_F(DvdTitles, ProgramStreamCountsFromItsFirstPicture) {
    // A single one: libavformat's writer of program streams loses most titles that stand between pictures.
    WriteCodedTitles(titles, "dvdsub", 64, 48, {DVD_TITLES[0]});
    RunFFmpeg({"-f",         "lavfi", "-i",   "color=black:s=64x48:r=25:d=12",
               "-copyts",    "-i",    titles, "-map",
               "0:v",        "-map",  "1:s",  "-c:v",
               "mpeg2video", "-bf",   "0",    "-c:s",
               "copy",       "-f",    "vob",  folder / "film.vob"});
    EXPECT_THAT(ReadEvents({folder / "film.vob"}), ElementsAre(testing::StartsWith("2s+1.49s 4,6 4x2 ")));
}

// DVB: the colours go through Y, Cr and Cb; every event that ends is followed by an empty one.
std::vector<TitleEvent> const DVB_TITLES{{2000, 0, {{4, 6, 16, 2, std::vector<u8>(32, 1), {CLEAR, WHITE, 0x000000FF}}}},
                                         {3500, 0, {}},
                                         {5000,
                                          0,
                                          {{8, 8, 16, 2, std::vector<u8>(32, 2), {CLEAR, WHITE, 0x000000FF}},
                                           {32, 30, 16, 2, std::vector<u8>(32, 1), {CLEAR, WHITE, 0x000000FF}}}},
                                         {6000, 0, {{4, 6, 16, 2, std::vector<u8>(32, 1), {CLEAR, WHITE, 0x000000FF}}}},
                                         {60000, 0, {}}};

Lines const DVB_EVENTS{"2s+1.5s 4,6 16x2 FFFFFFFF*32", "5s+1s 32,30 16x2 FFFFFFFF*32 | 8,8 16x2 000000FF*32",
                       "6s+30s 4,6 16x2 FFFFFFFF*32"};

TEST(DvbTitles, LastUntilTheNextPageAtMostAsLongAsThePageSays) {
    ScratchFolder const folder;
    WriteCodedTitles(folder / "dvb.mkv", "dvbsub", 64, 48, DVB_TITLES);
    EXPECT_THAT(ReadEvents({folder / "dvb.mkv"}), ElementsAreArray(DVB_EVENTS));
    ExpectSeeksLikeStraightReading({folder / "dvb.mkv"}, 40 * SECOND, 9);
}

TEST(DvbTitles, TransportStreamGivesTheSameCountedFromTheFirstPicture) {
    ScratchFolder const folder;
    WriteCodedTitles(folder / "dvb.mkv", "dvbsub", 64, 48, DVB_TITLES);
    AddVideo(folder / "dvb.mkv", 61, folder / "film.ts");
    EXPECT_THAT(ReadEvents({folder / "film.ts"}), ElementsAreArray(DVB_EVENTS));
    auto const stream = Host::OpenSubtitles({folder / "film.ts"});
    EXPECT_EQ(ReadEventsAt(stream, 5500000).front(), DVB_EVENTS[1]);
    ExpectSeeksLikeStraightReading({folder / "film.ts"}, 40 * SECOND, 10);
}

}  // namespace
}  // namespace Tarsel::Test
