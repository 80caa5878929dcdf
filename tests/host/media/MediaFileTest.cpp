#include "host/media/MediaFile.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <set>

#include "contracts/Conf/CodecIds.h"
#include "contracts/Core/Exception.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

using namespace Tarsel;
using namespace Tarsel::Host;
using namespace Tarsel::Test;

namespace {

StreamIndex const& VideoIndex(iptr<MediaFile> const& file) {
    return file->GetIndex(0);
}

class EveryClip : public testing::TestWithParam<char const*> {};

INSTANTIATE_TEST_SUITE_P(Media, EveryClip,
                         testing::Values("h264.mp4", "h264.mov", "h264.mkv", "h264.ts", "h264.avi", "h264.flv",
                                         "h264.h264", "h264-nob.mp4", "h264-open.mp4", "h264-open.ts", "h264-open.mkv",
                                         "h264-onekey.mp4", "h264-allkey.mp4", "h264-late.ts", "h264-late.mkv",
                                         "h264-edit.mp4", "h264-vfr.mkv", "h264-ntsc.mp4", "hevc.mp4", "hevc-open.mkv",
                                         "hevc-open.ts", "mpeg2.ts", "mpeg2.mpg", "mpeg4.avi", "mpeg4-nob.avi",
                                         "mpeg4.mp4", "vp8.webm", "aac.m4a", "aac.aac", "mp3.mp3", "pcm.wav",
                                         "flac.flac", "vorbis.ogg", "rich.mkv", "rich.mp4"));

}  // namespace

TEST_P(EveryClip, IndexHasTheTimesThatStreamsPromise) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia(GetParam()));
    EXPECT_THAT(file->GetWarnings(), testing::IsEmpty());
    for (StreamInfo const& info : file->GetStreams()) {
        if (!info.HasPackets() || info.derived) continue;
        SCOPED_TRACE("stream " + std::to_string(info.index));
        StreamIndex const& index = file->GetIndex(info.index);
        ASSERT_GT(index.GetCount(), 0u);
        EXPECT_TRUE(index.HasPresentationTimes()) << index.GetTimesProblem();
        EXPECT_TRUE(std::is_sorted(index.GetTimes().begin(), index.GetTimes().end()));
        EXPECT_LE(index.GetEndTime(), file->GetDuration());
        int64 last = NO_VALUE;
        for (IndexRecord const& record : index.GetRecords()) {
            ASSERT_TRUE(HasValue(record.time) && HasValue(record.decodingTime));
            EXPECT_LE(record.decodingTime, record.time);
            EXPECT_GT(record.decodingTime, last);
            last = record.decodingTime;
            if (info.kind != StreamKind::Video) continue;
            EXPECT_GT(record.duration, 0u);
            int64 const next = index.GetNextTime(record.time + 1);
            if (HasValue(next)) {
                EXPECT_EQ(record.duration, next - record.time) << "at " << record.time;
            }
        }
    }
}

TEST_P(EveryClip, TimeZeroIsTheFirstPictureOrTheEarliestPacket) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia(GetParam()));
    int64 earliest = std::numeric_limits<int64>::max();
    for (StreamInfo const& info : file->GetStreams()) {
        if (!info.HasPackets() || file->GetIndex(info.index).GetCount() == 0) continue;
        int64 shown = NO_VALUE;
        for (IndexRecord const& record : file->GetIndex(info.index).GetRecords())
            if (!(record.flags & IndexRecord::NOT_SHOWN) && (!HasValue(shown) || record.time < shown))
                shown = record.time;
        if (info.kind == StreamKind::Video) {
            EXPECT_EQ(shown, 0);
            return;
        }
        earliest = std::min(earliest, file->GetIndex(info.index).GetStartTime());
    }
    EXPECT_EQ(earliest, 0);
}

TEST(MediaFile, DescribesTheStreamsOfAnMp4) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    EXPECT_EQ(file->GetContainer(), "mp4");
    ASSERT_EQ(file->GetStreams().size(), 2u);
    StreamInfo const& video = file->GetStreams()[0];
    EXPECT_EQ(video.kind, StreamKind::Video);
    EXPECT_EQ(video.codec, "h264");
    EXPECT_EQ(video.profile, "High");
    EXPECT_EQ(video.framing, "length");
    auto const* const format = dynamic_cast<Conf::IFormatCodecVideo const*>(video.format.get());
    ASSERT_TRUE(format);
    EXPECT_EQ(format->GetWidth(), 192);
    EXPECT_EQ(format->GetHeight(), 108);
    EXPECT_EQ(format->GetFrameRate(), Ratio(25, 1));
    EXPECT_EQ(format->GetPixelFormat(), PIX_FMT_YUV420P);
    ASSERT_TRUE(format->GetExtradata());
    EXPECT_EQ(format->GetExtradata()->GetData()[0], 1);
    StreamInfo const& audio = file->GetStreams()[1];
    EXPECT_EQ(audio.kind, StreamKind::Audio);
    auto const* const sound = dynamic_cast<Conf::IFormatCodecAudio const*>(audio.format.get());
    ASSERT_TRUE(sound);
    EXPECT_EQ(sound->GetSampleInfo().GetSampleRate(), 48000);
    EXPECT_EQ(file->GetDuration(), 6000000);
    EXPECT_GT(video.format->GetProperty()[Conf::TAG_BITRATE].GetInt64(), 0);
}

TEST(MediaFile, SoundOfAnMp4BeginsAheadOfThePicture) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    EXPECT_EQ(file->GetIndex(1).GetStartTime(), -21333);
}

TEST(MediaFile, PicturesAheadOfTheEditListLieBelowZero) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264-edit.mp4"));
    StreamIndex const& index = VideoIndex(file);
    EXPECT_LT(index.GetStartTime(), 0);
    EXPECT_EQ(index.GetNextTime(0), 0);
    EXPECT_TRUE(index.GetRecords().front().flags & IndexRecord::NOT_SHOWN);
}

TEST(MediaFile, ClosedGroupsAreToldAsIdr) {
    for (char const* const name : {"h264.mp4", "h264.mkv", "h264.ts", "h264.avi", "hevc.mp4"}) {
        SCOPED_TRACE(name);
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(name));
        StreamIndex const& index = VideoIndex(file);
        EXPECT_TRUE(index.IsEveryKeyIdr());
        EXPECT_FALSE(index.HasLeadingPictures());
        int64 const group = std::string_view(name).starts_with("h264") ? 2000000 : 1000000;
        EXPECT_EQ(index.GetMeanGroupLength(), group);
        for (std::size_t i = 0; i < index.GetKeyCount(); ++i)
            EXPECT_EQ(index.GetRandomAccessTimes()[i], static_cast<int64>(i) * group);
    }
}

TEST(MediaFile, OpenGroupsAreToldByEntriesAndLeadingPictures) {
    for (char const* const name :
         {"h264-open.mp4", "h264-open.mkv", "h264-open.ts", "hevc-open.mkv", "hevc-open.ts", "mpeg2.ts", "mpeg2.mpg"}) {
        SCOPED_TRACE(name);
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(name));
        StreamIndex const& index = VideoIndex(file);
        EXPECT_FALSE(index.IsEveryKeyIdr());
        EXPECT_TRUE(index.HasLeadingPictures());
        EXPECT_GT(index.GetKeyCount(), 4u);
        int64 key = NO_VALUE;
        std::size_t leading = 0;
        for (IndexRecord const& record : index.GetRecords()) {
            if (record.IsKey()) key = record.time;
            if (HasValue(key) && record.time < key) {
                ++leading;
                EXPECT_TRUE(record.IsLeading());
            }
        }
        EXPECT_EQ(index.GetLeadingCount(), leading);
    }
}

TEST(MediaFile, SameStreamHasTheSameTimesInEveryContainer) {
    iptr<MediaFile> const model = MediaFile::Open(TestMedia("h264.mp4"));
    for (char const* const name : {"h264.mov", "h264.mkv", "h264.ts", "h264.avi", "h264.h264", "h264-late.ts"}) {
        SCOPED_TRACE(name);
        iptr<MediaFile> const file = MediaFile::Open(TestMedia(name));
        EXPECT_EQ(VideoIndex(file).GetTimes(), VideoIndex(model).GetTimes());
        EXPECT_EQ(VideoIndex(file).GetRandomAccessTimes(), VideoIndex(model).GetRandomAccessTimes());
        EXPECT_EQ(VideoIndex(file).GetEndTime(), 6000000);
    }
}

TEST(MediaFile, NextTimeIsTheFirstPictureAtOrAfter) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264.mp4"));
    StreamIndex const& index = VideoIndex(file);
    EXPECT_EQ(index.GetNextTime(-5), 0);
    EXPECT_EQ(index.GetNextTime(0), 0);
    EXPECT_EQ(index.GetNextTime(1), 40000);
    EXPECT_EQ(index.GetNextTime(40000), 40000);
    EXPECT_EQ(index.GetNextTime(5960000), 5960000);
    EXPECT_FALSE(HasValue(index.GetNextTime(5960001)));
}

TEST(MediaFile, VariableFrameRateKeepsEachPictureAsLongAsItIsShown) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("h264-vfr.mkv"));
    std::set<u32> lengths;
    for (IndexRecord const& record : VideoIndex(file).GetRecords()) lengths.insert(record.duration);
    EXPECT_THAT(lengths, testing::Contains(80000u));
    EXPECT_THAT(lengths, testing::Contains(testing::Gt(600000u)));
}

TEST(MediaFile, ListsChaptersMetadataLanguagesAndAttachments) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("rich.mkv"));
    ASSERT_EQ(file->GetStreams().size(), 5u);
    EXPECT_EQ(file->GetMetadata()["title"].GetString(), "Clip with chapters");
    EXPECT_EQ(file->GetStreams()[2].format->GetMetadata()["language"].GetString(), "ger");
    EXPECT_EQ(file->GetStreams()[3].kind, StreamKind::Subtitle);
    StreamInfo const& font = file->GetStreams()[4];
    EXPECT_EQ(font.kind, StreamKind::Attachment);
    ASSERT_TRUE(font.payload);
    EXPECT_EQ(std::string(reinterpret_cast<char const*>(font.payload->GetData()), font.payload->GetSize()),
              "not really a font, but bytes to keep\n");
    EXPECT_THROW(file->OpenStream(4), Core::IOException);
    ASSERT_EQ(file->GetChapters().size(), 2u);
    EXPECT_EQ(file->GetChapters()[1].metadata["title"].GetString(), "Second");
    EXPECT_EQ(file->GetChapters()[1].end - file->GetChapters()[1].begin, 4000000);
}

TEST(MediaFile, SubtitlesKnowTheFontsOfTheirFile) {
    iptr<MediaFile> const rich = MediaFile::Open(TestMedia("rich.mkv"));
    auto const fonts = rich->GetStreams()[3].native->fonts;
    ASSERT_TRUE(fonts);
    ASSERT_EQ(fonts->size(), 1U);
    EXPECT_THAT(fonts->front().name, testing::EndsWith("font.ttf"));
    EXPECT_EQ(fonts->front().bytes, rich->GetStreams()[4].payload);
    EXPECT_EQ(rich->GetStreams()[0].native->fonts, nullptr);
    // What is no font by its type or its name isn't taken for one.
    auto const attach = [](std::string const& name, std::string const& type) {
        return MakeClip("attached-" + name + ".mkv",
                        {"-i", TestMedia("rich.mkv"), "-map", "0:3", "-c", "copy", "-attach",
                         MakeTextFile(name, "bytes of " + name), "-metadata:s:t", "mimetype=" + type});
    };
    auto const countIn = [](std::string const& path) {
        return MediaFile::Open(path)->GetStreams().at(0).native->fonts->size();
    };
    EXPECT_EQ(countIn(attach("letters.bin", "font/ttf")), 1U);
    EXPECT_EQ(countIn(attach("letters.OTF", "application/octet-stream")), 1U);
    EXPECT_EQ(countIn(attach("letters.bin", "application/vnd.ms-opentype")), 1U);
    EXPECT_EQ(countIn(attach("picture.bin", "application/octet-stream")), 0U);
}

TEST(MediaFile, CoverPictureIsNoVideo) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("cover.m4a"));
    ASSERT_EQ(file->GetStreams().size(), 2u);
    EXPECT_EQ(file->GetStreams()[1].kind, StreamKind::AttachedPicture);
    ASSERT_TRUE(file->GetStreams()[1].payload);
    EXPECT_EQ(file->GetIndex(0).GetStartTime(), 0);
    EXPECT_EQ(file->GetIndex(1).GetCount(), 0u);
}

TEST(MediaFile, AllStreamsHaveTheFilesDuration) {
    iptr<MediaFile> const file = MediaFile::Open(TestMedia("rich.mkv"));
    for (int i = 0; i < 4; ++i) EXPECT_EQ(file->OpenStream(i)->GetDuration(), file->GetDuration());
}
