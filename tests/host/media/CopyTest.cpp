#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <set>

#include "host/media/MediaFile.h"
#include "host/media/MediaWriter.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

using namespace Tarsel;
using namespace Tarsel::Host;
using namespace Tarsel::Test;

namespace {

struct Copy {
    char const* clip;
    char const* extension;
};

std::string PrintCopy(testing::TestParamInfo<Copy> const& info) {
    std::string name = std::string(info.param.clip) + "_to_" + info.param.extension;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
}

class PlainCopy : public testing::TestWithParam<Copy> {};

INSTANTIATE_TEST_SUITE_P(
    Media, PlainCopy,
    testing::Values(Copy{"h264.mp4", "mp4"}, Copy{"h264.mov", "mov"}, Copy{"h264.mkv", "mkv"}, Copy{"h264.ts", "ts"},
                    Copy{"h264.mp4", "ts"}, Copy{"h264.mp4", "mkv"}, Copy{"h264.mp4", "mov"}, Copy{"h264.mov", "mp4"},
                    Copy{"h264-ntsc.mp4", "mp4"}, Copy{"h264-vfr.mkv", "mkv"}, Copy{"h264-allkey.mp4", "mp4"},
                    Copy{"h264-open.mp4", "mp4"}, Copy{"h264-open.mkv", "mkv"}, Copy{"hevc.mp4", "mp4"},
                    Copy{"hevc-open.mkv", "mkv"}, Copy{"hevc-open.ts", "ts"}, Copy{"mpeg2.ts", "ts"},
                    Copy{"mpeg4.avi", "avi"}, Copy{"mpeg4-nob.avi", "avi"}, Copy{"mpeg4.mp4", "mp4"},
                    Copy{"vp8.webm", "webm"}, Copy{"aac.m4a", "m4a"}, Copy{"mp3.mp3", "mp3"}, Copy{"flac.flac", "flac"},
                    Copy{"pcm.wav", "wav"}, Copy{"aac.aac", "aac"}, Copy{"rich.mkv", "mkv"}),
    PrintCopy);

bool Has(std::int64_t time) {
    return time != NO_VALUE;
}

}  // namespace

TEST_P(PlainCopy, EqualsTheFFmpegCommandsPacketForPacket) {
    ScratchFolder const folder;
    std::string const source = TestMedia(GetParam().clip);
    std::string const own = folder / (std::string("own.") + GetParam().extension);
    std::string const model = folder / (std::string("model.") + GetParam().extension);
    EXPECT_THAT(CopyFile(source, own), testing::IsEmpty());
    RunFFmpeg({"-i", source, "-map", "0", "-c", "copy", model});
    auto const wanted = ReadBack(model);
    auto const got = ReadBack(own);
    ASSERT_EQ(got.size(), wanted.size());
    // Where lengths become start codes, the command writes shorter ones, and the header behind what leads the slice.
    bool const reframed = source.ends_with(".mp4") && own.ends_with(".ts");
    // The command moves all times by where its container says that the file starts; one shift for the whole file.
    for (auto const& [stream, packets] : wanted) {
        SCOPED_TRACE("stream " + std::to_string(stream));
        ASSERT_EQ(got.at(stream).size(), packets.size());
        std::int64_t const shift = got.at(stream)[0].dts - packets[0].dts;
        for (std::size_t i = 0; i < packets.size(); ++i) {
            RawPacket const& a = packets[i];
            RawPacket const& b = got.at(stream)[i];
            SCOPED_TRACE(testing::Message() << "packet " << i << " wanted " << a << " got " << b);
            EXPECT_EQ(reframed ? a.unitDigest : a.digest, reframed ? b.unitDigest : b.digest);
            EXPECT_EQ(a.key, b.key);
            EXPECT_EQ(a.duration, b.duration);
            // What the command writes may lack times that are known here, never the other way round.
            if (Has(a.dts)) {
                EXPECT_EQ(b.dts, a.dts + (Has(shift) ? shift : 0));
            }
            if (Has(a.pts)) {
                EXPECT_TRUE(Has(b.pts));
            }
            if (Has(a.pts) && Has(a.dts) && Has(b.dts)) {
                EXPECT_EQ(b.pts - b.dts, a.pts - a.dts);
            }
        }
    }
    EXPECT_THAT(folder.List(), testing::ElementsAre(std::filesystem::path(model).filename().string(),
                                                    std::filesystem::path(own).filename().string()));
}

TEST_P(PlainCopy, KeepsTheTimesOfEachStream) {
    ScratchFolder const folder;
    std::string const source = TestMedia(GetParam().clip);
    std::string const own = folder / (std::string("own.") + GetParam().extension);
    CopyFile(source, own);
    iptr<MediaFile> const before = MediaFile::Open(source);
    iptr<MediaFile> const after = MediaFile::Open(own);
    ASSERT_EQ(after->GetStreams().size(), before->GetStreams().size());
    for (StreamInfo const& info : before->GetStreams()) {
        if (!info.HasPackets()) continue;
        SCOPED_TRACE("stream " + std::to_string(info.index));
        std::vector<int64> const& a = before->GetIndex(info.index).GetTimes();
        std::vector<int64> const& b = after->GetIndex(info.index).GetTimes();
        ASSERT_EQ(a.size(), b.size());
        AVRational const tick = after->GetStreams()[static_cast<std::size_t>(info.index)].native->timeBase;
        int64 const allowed = av_rescale_q_rnd(1, tick, MICROSECONDS, AV_ROUND_UP) + 1;
        for (std::size_t i = 0; i < a.size(); ++i) ASSERT_NEAR(a[i], b[i], allowed) << "packet " << i;
    }
}

// The ffmpeg command carries the block size over, and the times of its copy are wrong.
TEST(Copy, AacInAviKeepsItsTimes) {
    ScratchFolder const folder;
    CopyFile(TestMedia("h264.avi"), folder / "out.avi");
    iptr<MediaFile> const before = MediaFile::Open(TestMedia("h264.avi"));
    iptr<MediaFile> const after = MediaFile::Open(folder / "out.avi");
    EXPECT_EQ(after->GetIndex(0).GetTimes(), before->GetIndex(0).GetTimes());
    EXPECT_EQ(after->GetIndex(1).GetTimes(), before->GetIndex(1).GetTimes());
}

TEST(Copy, TransportStreamKeysOfOpenGroupsCarryTheirHeaders) {
    ScratchFolder const folder;
    for (char const* const clip : {"h264-open.mp4", "h264-open.mkv", "hevc-open.mkv", "mpeg4.mp4"}) {
        SCOPED_TRACE(clip);
        std::string const out = folder / (std::string(clip) + ".ts");
        CopyFile(TestMedia(clip), out);
        iptr<MediaFile> const file = MediaFile::Open(out);
        iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
        std::string const codec = file->GetStreams()[0].codec;
        std::size_t keys = 0;
        while (iptr<Proc::IDataPacket> const packet = stream->Read()) {
            if (!packet->IsKeyFrame()) continue;
            ++keys;
            AVPacket const& raw = *packet->GetAVPacket();
            std::set<int> types;
            for (int i = 0; i + 3 < raw.size; ++i) {
                if (raw.data[i] != 0 || raw.data[i + 1] != 0 || raw.data[i + 2] != 1) continue;
                int const byte = raw.data[i + 3];
                types.insert(codec == "h264" ? byte & 31 : codec == "hevc" ? (byte >> 1) & 63 : byte);
            }
            if (codec == "h264") {
                EXPECT_THAT(types, testing::IsSupersetOf({7, 8}));
            }
            if (codec == "hevc") {
                EXPECT_THAT(types, testing::IsSupersetOf({32, 33, 34}));
            }
            if (codec == "mpeg4") {
                EXPECT_THAT(types, testing::IsSupersetOf({0x20}));
            }
        }
        EXPECT_EQ(keys, MediaFile::Open(TestMedia(clip))->GetIndex(0).GetKeyCount());
        RunFFmpeg({"-xerror", "-i", out, "-f", "null", "-"});
    }
}

TEST(Copy, TransportStreamKeysBeginWithTheirDelimiterAndHoldEachSetOnce) {
    ScratchFolder const folder;
    std::string const clip =
        MakeClip("delimited.mp4", {"-f", "lavfi", "-i", "testsrc2=s=160x120:r=25:d=3", "-c:v", "libx264", "-threads",
                                   "1", "-preset", "veryfast", "-pix_fmt", "yuv420p", "-x264-params",
                                   "keyint=25:scenecut=0:bframes=2:aud=1:repeat-headers=1", "-bitexact"});
    for (char const* const target : {"a.ts", "a.h264"}) {
        SCOPED_TRACE(target);
        CopyFile(clip, folder / target);
        iptr<MediaFile> const file = MediaFile::Open(folder / target);
        iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
        std::size_t keys = 0;
        while (iptr<Proc::IDataPacket> const packet = stream->Read()) {
            if (!packet->IsKeyFrame()) continue;
            ++keys;
            AVPacket const& raw = *packet->GetAVPacket();
            std::vector<int> types;
            for (int i = 0; i + 3 < raw.size; ++i)
                if (raw.data[i] == 0 && raw.data[i + 1] == 0 && raw.data[i + 2] == 1)
                    types.push_back(raw.data[i + 3] & 31);
            ASSERT_FALSE(types.empty());
            EXPECT_EQ(types.front(), 9);
            for (int const type : {9, 7, 8}) EXPECT_EQ(std::count(types.begin(), types.end(), type), 1) << type;
        }
        EXPECT_EQ(keys, 3u);
    }
}

TEST(Copy, EveryPictureDecodesInEveryTarget) {
    ScratchFolder const folder;
    for (char const* const clip : {"h264.mp4", "h264.ts", "h264.mkv", "hevc.mp4"})
        for (char const* const extension : {"mp4", "mkv", "ts", "mov"}) {
            SCOPED_TRACE(std::string(clip) + " to " + extension);
            std::string const out = folder / (std::string(clip) + "." + extension);
            CopyFile(TestMedia(clip), out);
            RunFFmpeg({"-xerror", "-i", out, "-f", "null", "-"});
            EXPECT_EQ(MediaFile::Open(out)->GetIndex(0).GetTimes(),
                      MediaFile::Open(TestMedia(clip))->GetIndex(0).GetTimes());
        }
}

TEST(Copy, KeepsTracksLanguagesChaptersMetadataAndAttachments) {
    ScratchFolder const folder;
    EXPECT_THAT(CopyFile(TestMedia("rich.mkv"), folder / "out.mkv"), testing::IsEmpty());
    iptr<MediaFile> const file = MediaFile::Open(folder / "out.mkv");
    ASSERT_EQ(file->GetStreams().size(), 5u);
    EXPECT_EQ(file->GetMetadata()["title"].GetString(), "Clip with chapters");
    EXPECT_EQ(file->GetMetadata()["ARTIST"].GetString(), "Nobody");
    EXPECT_EQ(file->GetStreams()[1].format->GetMetadata()["language"].GetString(), "eng");
    EXPECT_EQ(file->GetStreams()[2].format->GetMetadata()["title"].GetString(), "Second");
    EXPECT_EQ(file->GetStreams()[4].payload->GetSize(), 37u);
    EXPECT_EQ(file->GetChapters().size(), 2u);
    EXPECT_EQ(file->GetChapters()[0].metadata["title"].GetString(), "First");
    EXPECT_EQ(file->GetIndex(3).GetTimes(), MediaFile::Open(TestMedia("rich.mkv"))->GetIndex(3).GetTimes());
}

TEST(Copy, ChapterTrackOfAnMp4IsMadeAnewWithoutAWarning) {
    ScratchFolder const folder;
    EXPECT_THAT(CopyFile(TestMedia("rich.mp4"), folder / "out.mp4"), testing::IsEmpty());
    iptr<MediaFile> const file = MediaFile::Open(folder / "out.mp4");
    EXPECT_EQ(file->GetStreams().size(), MediaFile::Open(TestMedia("rich.mp4"))->GetStreams().size());
    ASSERT_EQ(file->GetChapters().size(), 2u);
    EXPECT_EQ(file->GetChapters()[1].begin, 2000000);
}

TEST(Copy, KeepsRotationAndCover) {
    ScratchFolder const folder;
    CopyFile(TestMedia("h264-rotated.mp4"), folder / "out.mp4");
    iptr<MediaFile> const before = MediaFile::Open(TestMedia("h264-rotated.mp4"));
    iptr<MediaFile> const after = MediaFile::Open(folder / "out.mp4");
    ASSERT_FALSE(before->GetStreams()[0].native->sideData.empty());
    EXPECT_EQ(after->GetStreams()[0].native->sideData, before->GetStreams()[0].native->sideData);
    for (char const* const target : {"cover.m4a", "cover.mkv", "cover.mka"}) {
        SCOPED_TRACE(target);
        EXPECT_THAT(CopyFile(TestMedia("cover.m4a"), folder / target), testing::IsEmpty());
        iptr<MediaFile> const cover = MediaFile::Open(folder / target);
        ASSERT_EQ(cover->GetStreams().size(), 2u);
        EXPECT_EQ(cover->GetStreams()[1].kind, StreamKind::AttachedPicture);
        EXPECT_EQ(cover->GetStreams()[1].payload->GetSize(),
                  MediaFile::Open(TestMedia("cover.m4a"))->GetStreams()[1].payload->GetSize());
    }
}

TEST(Copy, WhatATargetCannotCarryIsNamed) {
    ScratchFolder const folder;
    std::string const out = folder / "out.mp4";
    EXPECT_THAT(CopyFile(TestMedia("rich.mkv"), out),
                testing::ElementsAre(out + ": stream 3 (subtitle, subrip) is left out: mp4 can't carry subrip",
                                     out + ": stream 4 (attachment, ttf) is left out: mp4 can't carry attachments"));
    EXPECT_EQ(MediaFile::Open(out)->GetStreams().size(), 4u);  // three, and the chapters' own track
}
