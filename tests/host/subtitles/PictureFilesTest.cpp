#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

#include "contracts/Core/Exception.h"
#include "tests/host/subtitles/PictureMedia.h"
#include "tests/host/subtitles/SubtitleEvents.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace Tarsel::Test {
namespace {

using Host::SubtitleRequest;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr int64 TICKS = 90000;

/// White, black and half clear white: their values are exact whatever the matrix.
std::vector<PgsColor> const COLORS{{1, 235, 128, 128, 255}, {2, 16, 128, 128, 255}, {3, 235, 128, 128, 128}};

PgsObject Square(u16 id, int x, int y, u8 color) {
    return {id, x, y, 2, 2, {color, color, color, color}};
}
PgsObject Known(u16 id, int x, int y) {
    return {id, x, y, 2, 2, {}};
}

/// An event that is cleared, one that moves and is replaced inside its epoch, two objects, and one without an end.
PgsBuilder Graphics() {
    PgsBuilder pgs(64, 48);
    pgs.Show(10 * TICKS, {Square(0, 4, 6, 1)}, COLORS).Clear(12 * TICKS);
    pgs.Show(15 * TICKS, {Square(0, 4, 6, 2)}, COLORS).Continue(16 * TICKS, {Known(0, 8, 8)}).Clear(18 * TICKS);
    pgs.Show(20 * TICKS, {Square(0, 0, 0, 1), Square(7, 40, 30, 3)}, COLORS).Clear(21 * TICKS + 9);
    return pgs;
}

Lines const GRAPHICS{"10s+2s 4,6 2x2 FFFFFFFF*4", "15s+1s 4,6 2x2 000000FF*4", "16s+2s 8,8 2x2 000000FF*4",
                     "20s+1.0001s 0,0 2x2 FFFFFFFF*4 | 40,30 2x2 FFFFFF80*4"};
/// The same where the container counts milliseconds.
Lines const GRAPHICS_OF_MILLISECONDS{GRAPHICS[0], GRAPHICS[1], GRAPHICS[2],
                                     "20s+1s 0,0 2x2 FFFFFFFF*4 | 40,30 2x2 FFFFFF80*4"};

class PgsFiles : public testing::Test {
  protected:
    void SetUp() override { WriteBytes(sup, Graphics().GetFile()); }

    ScratchFolder folder;
    std::string const sup = folder / "titles.sup";
};

TEST_F(PgsFiles, EventsLastUntilTheOneThatClearsOrReplacesThem) {
    EXPECT_THAT(ReadEvents({sup}), ElementsAreArray(GRAPHICS));
}

TEST_F(PgsFiles, MatroskaGivesTheSameEvents) {
    WriteDisplaySets(folder / "titles.mkv", Graphics().GetSets());
    EXPECT_THAT(ReadEvents({folder / "titles.mkv"}), ElementsAreArray(GRAPHICS_OF_MILLISECONDS));
}

TEST_F(PgsFiles, MatroskaMadeByFFmpegGivesTheSameEventsBesideVideo) {
    AddVideo(sup, 25, folder / "film.mkv");
    EXPECT_THAT(ReadEvents({folder / "film.mkv"}), ElementsAreArray(GRAPHICS_OF_MILLISECONDS));
}

TEST_F(PgsFiles, TransportStreamGivesTheSameEventsCountedFromTheFirstPicture) {
    AddVideo(sup, 25, folder / "film.m2ts");
    EXPECT_THAT(ReadEvents({folder / "film.m2ts"}), ElementsAreArray(GRAPHICS));
}

TEST_F(PgsFiles, SeekIntoTheMiddleOfAnEventGivesItWhole) {
    for (char const* const name : {"titles.sup", "film.mkv", "film.m2ts"}) {
        SCOPED_TRACE(name);
        if (std::string(name) != "titles.sup") AddVideo(sup, 25, folder / name);
        auto const stream = Host::OpenSubtitles({folder / name});
        EXPECT_EQ(ReadEventsAt(stream, 11 * SECOND).front(), GRAPHICS[0]);
        EXPECT_EQ(ReadEventsAt(stream, 12 * SECOND).front(), GRAPHICS[1]) << "its end is not in it";
        EXPECT_EQ(ReadEventsAt(stream, 17 * SECOND).front(), GRAPHICS[2]) << "which builds on what is in front";
        EXPECT_EQ(ReadEventsAt(stream, 16 * SECOND).size(), 2U);
        EXPECT_THAT(ReadEventsAt(stream, 22 * SECOND), IsEmpty());
        EXPECT_EQ(ReadEventsAt(stream, 0).size(), 4U);
    }
}

TEST_F(PgsFiles, RandomSeeksGiveWhatReadingStraightGives) {
    ExpectSeeksLikeStraightReading({sup}, 23 * SECOND, 1);
    AddVideo(sup, 25, folder / "film.mkv");
    ExpectSeeksLikeStraightReading({folder / "film.mkv"}, 23 * SECOND, 2);
    AddVideo(sup, 25, folder / "film.m2ts");
    ExpectSeeksLikeStraightReading({folder / "film.m2ts"}, 23 * SECOND, 3);
}

TEST_F(PgsFiles, DelayMovesEventsAndSeeks) {
    EXPECT_EQ(ReadEvents({sup, -1, 1500000}).front(), "11.5s+2s 4,6 2x2 FFFFFFFF*4");
    EXPECT_EQ(ReadEvents({sup, -1, -10500000}).front(), "-0.5s+2s 4,6 2x2 FFFFFFFF*4");
    EXPECT_EQ(ReadEvents({sup, -1, -13 * SECOND}).front(), "-3s+2s 4,6 2x2 FFFFFFFF*4") << "kept as it is";
    ExpectSeeksLikeStraightReading({sup, -1, 4000000}, 27 * SECOND, 4);
    ExpectSeeksLikeStraightReading({sup, -1, -16 * SECOND}, 6 * SECOND, 5);
}

TEST_F(PgsFiles, EventThatNothingEndsLastsToTheEndOfTheFilm) {
    WriteBytes(sup, PgsBuilder(64, 48).Show(3 * TICKS, {Square(0, 4, 6, 1)}, COLORS).GetFile());
    EXPECT_THAT(ReadEvents({sup}), ElementsAre("3s+5s 4,6 2x2 FFFFFFFF*4")) << "alone it says nothing of an end";
    AddVideo(sup, 10, folder / "film.mkv");
    EXPECT_THAT(ReadEvents({folder / "film.mkv"}), ElementsAre("3s+7s 4,6 2x2 FFFFFFFF*4"));
}

TEST_F(PgsFiles, EventReplacedAtItsOwnTimeIsNeverSeen) {
    PgsBuilder pgs(64, 48);
    pgs.Show(3 * TICKS, {Square(0, 4, 6, 1)}, COLORS).Show(3 * TICKS, {Square(0, 4, 6, 2)}, COLORS).Clear(4 * TICKS);
    WriteBytes(sup, pgs.GetFile());
    EXPECT_THAT(ReadEvents({sup}), ElementsAre("3s+1s 4,6 2x2 000000FF*4"));
}

TEST_F(PgsFiles, EventsThatClearNothingGiveNothing) {
    WriteBytes(sup, PgsBuilder(64, 48).Clear(TICKS).Clear(2 * TICKS).GetFile());
    EXPECT_THAT(ReadEvents({sup}), IsEmpty());
}

TEST_F(PgsFiles, RectanglesHaveTheMemoryThatTheySayTheyHave) {
    std::vector<u8> pixels(70 * 3);
    std::iota(pixels.begin(), pixels.end(), u8{0});
    PgsObject const large{0, 5, 7, 70, 3, pixels};
    std::vector<PgsColor> colors;
    for (int i = 0; i < 210; ++i) colors.push_back({static_cast<u8>(i), static_cast<u8>(16 + i), 128, 128, 255});
    WriteBytes(sup, PgsBuilder(100, 48).Show(TICKS, {large}, colors).Clear(2 * TICKS).GetFile());
    auto const event = Host::OpenSubtitles({sup})->Read();
    ASSERT_TRUE(event);
    ASSERT_EQ(event->GetAVSubtitle()->num_rects, 1U);
    AVSubtitleRect const& rectangle = *event->GetAVSubtitle()->rects[0];
    EXPECT_EQ(rectangle.type, SUBTITLE_BITMAP);
    EXPECT_EQ(rectangle.w, 70);
    EXPECT_EQ(rectangle.h, 3);
    EXPECT_GE(rectangle.linesize[0], 70);
    EXPECT_EQ(rectangle.nb_colors, 256);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 70; ++x) {
            u8 const index = rectangle.data[0][y * rectangle.linesize[0] + x];
            ASSERT_EQ(index, y * 70 + x);
            u8 const* const color = rectangle.data[1] + 4 * index;
            ASSERT_EQ(color[0], color[1]);
            ASSERT_EQ(color[1], color[2]);
            ASSERT_NEAR(color[0], (index * 255 + 109) / 219, 1) << int{index};
            ASSERT_EQ(color[3], 255);
        }
}

TEST_F(PgsFiles, PaletteEntriesAreRedGreenBlueAlpha) {
    // Y, Cr, Cb of pure red and pure blue, ITU-R BT.601.
    std::vector<PgsColor> const colors{{1, 81, 240, 90, 255}, {2, 41, 110, 240, 64}};
    WriteBytes(sup, PgsBuilder(64, 48).Show(TICKS, {{0, 0, 0, 2, 1, {1, 2}}}, colors).Clear(2 * TICKS).GetFile());
    auto const event = Host::OpenSubtitles({sup})->Read();
    ASSERT_TRUE(event);
    AVSubtitleRect const& rectangle = *event->GetAVSubtitle()->rects[0];
    u8 const* const red = rectangle.data[1] + 4;
    u8 const* const blue = rectangle.data[1] + 8;
    EXPECT_GE(red[0], 250);
    EXPECT_LE(std::max(red[1], red[2]), 5);
    EXPECT_EQ(red[3], 255);
    EXPECT_GE(blue[2], 250);
    EXPECT_LE(std::max(blue[0], blue[1]), 5);
    EXPECT_EQ(blue[3], 64);
}

/// The bytes of an object's segment head are damaged: the picture is missing when it is to be shown.
std::vector<u8> DamagedFile() {
    PgsBuilder pgs(64, 48);
    pgs.Show(2 * TICKS, {Square(0, 4, 6, 1)}, COLORS).Clear(3 * TICKS);
    pgs.Show(4 * TICKS, {Square(0, 4, 6, 1)}, COLORS).Clear(5 * TICKS);
    std::vector<u8> bytes = pgs.GetFile();
    for (std::size_t i = 0; i + 11 < bytes.size(); ++i)
        if (bytes[i] == 'P' && bytes[i + 1] == 'G' && bytes[i + 10] == 0x15) {
            bytes[i + 10] = 0x7F;  // a segment that nobody knows
            break;
        }
    return bytes;
}

TEST_F(PgsFiles, DamageCostsTheDamagedEventAlone) {
    WriteBytes(sup, DamagedFile());
    EXPECT_THAT(ReadEvents({sup}), ElementsAre("4s+1s 4,6 2x2 FFFFFFFF*4"));
}

TEST_F(PgsFiles, StrictReadingFailsAtDamage) {
    WriteBytes(sup, DamagedFile());
    SubtitleRequest const request{sup, -1, 0, "", Host::DecoderOptions::Strictness::Errors};
    std::string const message = TestSupport::MessageOf<Proc::ProcException>([&] { ReadEvents(request); });
    EXPECT_THAT(message, HasSubstr("pgssub at 0:00:02.000000: "));
    EXPECT_THAT(message, HasSubstr("segment type 0x7f"));
}

TEST_F(PgsFiles, EndOfAFileInTheMiddleOfASetEndsTheTitlesThere) {
    std::vector<u8> bytes = Graphics().GetFile();
    std::size_t const whole = bytes.size();
    for (std::size_t const cut : {whole - 1, whole - 30, whole / 2, whole / 3}) {
        WriteBytes(sup, {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(cut)});
        Lines const events = ReadEvents({sup});
        ASSERT_LE(events.size(), 4U);
        for (std::size_t i = 0; i + 1 < events.size(); ++i) EXPECT_EQ(events[i], GRAPHICS[i]) << cut;
    }
}

}  // namespace
}  // namespace Tarsel::Test
