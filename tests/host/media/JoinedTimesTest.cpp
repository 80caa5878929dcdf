// Recordings that were joined byte by byte: their times go on over the joint.
#include "host/media/JoinedTimes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>

#include "host/media/MediaFile.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Test::MakeClip;
using Test::ScratchFolder;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::HasSubstr;

constexpr int64 MS = 1000;

/// A stream with a tick of a millisecond; each packet takes 40.
struct Made {
    std::vector<IndexRecord> records;
    std::vector<u32> ticks;

    void Add(int64 decoded, int64 shown, int64 position) {
        IndexRecord record;
        record.time = shown;
        record.decodingTime = decoded;
        record.position = position;
        records.push_back(record);
        ticks.push_back(40);
    }
    void AddRun(int64 from, int count, int64 position) {
        for (int i = 0; i < count; ++i) Add(from + 40 * i, from + 40 * i, position + i);
    }
    std::vector<int64> DecodingTimes() const {
        std::vector<int64> times;
        for (IndexRecord const& record : records) times.push_back(record.decodingTime);
        return times;
    }
    JoinedTrack Track() { return {&records, &ticks, {1, 1000}, 40}; }
};

TEST(JoinedTimes, TimesGoOnBehindAJoint) {
    Made video;
    video.AddRun(1000, 4, 0);
    video.AddRun(0, 3, 100);
    video.AddRun(500, 2, 200);
    EXPECT_EQ(1U, MoveBehindJoints({video.Track()}));
    EXPECT_THAT(video.DecodingTimes(), ElementsAre(1000, 1040, 1080, 1120, 1160, 1200, 1240, 1660, 1700));
}

TEST(JoinedTimes, EveryJointMovesTheRestFurther) {
    Made video;
    for (int i = 0; i < 50; ++i) video.AddRun(0, 10, i * 100);
    EXPECT_EQ(49U, MoveBehindJoints({video.Track()}));
    for (std::size_t i = 0; i < video.records.size(); ++i)
        EXPECT_EQ(static_cast<int64>(i) * 40, video.records[i].decodingTime) << i;
}

TEST(JoinedTimes, AllStreamsMoveByTheTimeThatTheLongestNeeds) {
    Made video;
    Made sound;
    video.AddRun(0, 10, 0);
    sound.AddRun(0, 12, 1);
    video.AddRun(0, 2, 100);
    sound.AddRun(20, 2, 101);
    EXPECT_EQ(1U, MoveBehindJoints({video.Track(), sound.Track()}));
    // The sound ends at 480 and goes on 20 behind the pictures.
    EXPECT_EQ(460, video.records[10].decodingTime);
    EXPECT_EQ(480, sound.records[12].decodingTime);
}

TEST(JoinedTimes, AStreamThatDoesNotJumpItselfGoesByItsPlace) {
    Made video;
    Made text;
    video.AddRun(0, 20, 0);
    text.Add(100, 100, 3);
    video.AddRun(0, 20, 100);
    text.Add(300, 300, 107);
    EXPECT_EQ(1U, MoveBehindJoints({video.Track(), text.Track()}));
    EXPECT_THAT(text.DecodingTimes(), ElementsAre(100, 1100));
}

TEST(JoinedTimes, PicturesBehindAJointAreShownBehindTheLastOneInFrontOfIt) {
    Made video;
    video.Add(0, 80, 0);
    video.Add(40, 200, 1);
    video.Add(80, 120, 2);
    video.Add(120, 160, 3);
    video.Add(0, 0, 100);
    video.Add(40, 40, 101);
    EXPECT_EQ(1U, MoveBehindJoints({video.Track()}));
    EXPECT_EQ(240, video.records[4].time);
    EXPECT_EQ(280, video.records[5].time);
}

TEST(JoinedTimes, SinglePacketsWithAWrongTimeAreNoJoint) {
    Made video;
    video.AddRun(1000, 4, 0);
    video.AddRun(10, 2, 4);
    video.AddRun(1240, 4, 6);
    auto const before = video.DecodingTimes();
    EXPECT_EQ(0U, MoveBehindJoints({video.Track()}));
    EXPECT_EQ(before, video.DecodingTimes());
}

TEST(JoinedTimes, SmallStepsBackStay) {
    Made sound;
    sound.AddRun(0, 4, 0);
    sound.AddRun(60, 4, 4);
    EXPECT_EQ(0U, MoveBehindJoints({sound.Track()}));
}

TEST(JoinedTimes, PacketsWithoutTimesStayWithoutTimes) {
    Made video;
    video.AddRun(1000, 3, 0);
    video.AddRun(0, 1, 100);
    video.Add(NO_VALUE, NO_VALUE, 101);
    EXPECT_EQ(1U, MoveBehindJoints({video.Track()}));
    EXPECT_EQ(NO_VALUE, video.records[4].time);
    EXPECT_EQ(NO_VALUE, video.records[4].decodingTime);
    EXPECT_EQ(0U, MoveBehindJoints({}));
}

TEST(JoinedTimes, JoinedTransportStreamsPlayOneAfterTheOther) {
    auto const clip = [](std::string const& name, std::string const& bFrames) {
        return MakeClip(
            name, {"-f", "lavfi", "-i", "testsrc2=s=96x64:r=25:d=1", "-f", "lavfi", "-i", "sine=sample_rate=48000:d=1",
                   "-c:v", "libx264", "-preset", "ultrafast", "-g", "10", "-bf", bFrames, "-c:a", "aac", "-bitexact"});
    };
    ScratchFolder const folder;
    std::string const path = folder / "joined.ts";
    {
        std::ofstream joined(path, std::ios::binary);
        for (std::string const& part : {clip("join-a.ts", "2"), clip("join-b.ts", "0")})
            joined << std::ifstream(part, std::ios::binary).rdbuf();
    }
    iptr<MediaFile> const file = MediaFile::Open(path);
    EXPECT_THAT(file->GetWarnings(), testing::Contains(HasSubstr("its times jump back at 1 places")));
    auto const& times = file->GetIndex(0).GetTimes();
    ASSERT_EQ(50U, times.size());
    int64 const joint = times[25] - times[24];
    EXPECT_GE(joint, 40 * MS);
    EXPECT_LT(joint, 120 * MS);
    std::vector<int64> steps;
    std::vector<int64> expected(49, 40 * MS);
    for (std::size_t i = 1; i < times.size(); ++i) steps.push_back(times[i] - times[i - 1]);
    expected[24] = joint;
    EXPECT_THAT(steps, ElementsAreArray(expected));
    EXPECT_GT(file->GetDuration(), 2 * SECOND);
    EXPECT_LT(file->GetDuration(), 2 * SECOND + 200 * MS);
}

}  // namespace
}  // namespace Tarsel::Host
