#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>

#include "contracts/Core/Exception.h"
#include "host/media/MediaFile.h"
#include "tests/host/media/ReadBack.h"
#include "tests/support/TestMedia.h"

using namespace Tarsel;
using namespace Tarsel::Host;
using namespace Tarsel::Test;

namespace {

std::string Load(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

void Store(std::string const& path, std::string const& bytes) {
    std::ofstream(path, std::ios::binary) << bytes;
}

std::string OpenFailure(std::string const& path) {
    try {
        MediaFile::Open(path);
    } catch (Core::IOException const& failure) {
        return failure.what();
    }
    return "opened";
}

/// Reads everything; gives the number of packets, or -1 after a failure of the right class.
int ReadAll(std::string const& path) {
    try {
        iptr<MediaFile> const file = MediaFile::Open(path);
        std::size_t count = 0;
        for (StreamInfo const& info : file->GetStreams())
            if (info.HasPackets()) count += ReadItems(*file->OpenStream(info.index)).size();
        return static_cast<int>(count);
    } catch (Core::IOException const& failure) {
        EXPECT_THAT(failure.what(), testing::HasSubstr(path));
        return -1;
    }
}

class Damage : public testing::TestWithParam<char const*> {};

INSTANTIATE_TEST_SUITE_P(Media, Damage,
                         testing::Values("h264.mp4", "h264.mkv", "h264.ts", "h264.avi", "h264.h264", "mpeg2.mpg",
                                         "h264.flv", "aac.aac", "mp3.mp3", "vorbis.ogg"));

}  // namespace

TEST(BadFile, MissingEmptyFolderAndTextAreNamed) {
    ScratchFolder const folder;
    Store(folder / "empty.mp4", "");
    Store(folder / "text.mp4", "These are words, and no media.\nMore of them.\n");
    Store(folder / "text.txt", "A\nB\nC\n");
    Store(folder / "list.m3u8", "#EXTM3U\n#EXT-X-TARGETDURATION:10\n#EXTINF:9,\nhttp://example.org/a.ts\n");
    Store(folder / "noise.mp4", std::string(5000, '\x81'));
    EXPECT_EQ(OpenFailure(folder / "none.mp4"), folder / "none.mp4: there is no such file");
    EXPECT_EQ(OpenFailure(folder.GetPath()), folder.GetPath() + ": is a folder, not a media file");
    EXPECT_EQ(OpenFailure(folder / "empty.mp4"), folder / "empty.mp4: the file is empty");
    EXPECT_EQ(OpenFailure(folder / "text.mp4"), folder / "text.mp4: is a text file, not a media file");
    EXPECT_EQ(OpenFailure(folder / "text.txt"), folder / "text.txt: is a text file, not a media file");
    EXPECT_EQ(OpenFailure(folder / "list.m3u8"), folder / "list.m3u8: is a text file, not a media file");
    EXPECT_THAT(OpenFailure(folder / "noise.mp4"), testing::StartsWith(folder / "noise.mp4: "));
    EXPECT_EQ(OpenFailure("/dev/null"), "/dev/null: is not a regular file");
}

TEST(BadFile, Mp4WithoutItsIndexIsNamed) {
    ScratchFolder const folder;
    std::string const bytes = Load(TestMedia("h264.mp4"));
    Store(folder / "cut.mp4", bytes.substr(0, bytes.size() / 2));
    EXPECT_EQ(OpenFailure(folder / "cut.mp4"), folder / "cut.mp4: is not a media file, or is damaged at its beginning");
}

TEST(BadFile, CutOffTailEndsTheIndexWithAWarning) {
    ScratchFolder const folder;
    RunFFmpeg({"-i", TestMedia("h264.mp4"), "-map", "0", "-c", "copy", "-movflags", "faststart", folder / "whole.mp4"});
    for (std::string const& source : {folder / "whole.mp4", TestMedia("h264.mkv"), TestMedia("h264.avi")}) {
        SCOPED_TRACE(source);
        std::string const bytes = Load(source);
        std::string const path = folder / ("cut" + source.substr(source.size() - 4));
        Store(path, bytes.substr(0, bytes.size() * 6 / 10));
        iptr<MediaFile> const file = MediaFile::Open(path);
        StreamIndex const& index = file->GetIndex(0);
        EXPECT_GT(index.GetCount(), 60u);
        EXPECT_LT(index.GetCount(), 120u);
        ASSERT_EQ(file->GetWarnings().size(), 1u);
        EXPECT_THAT(file->GetWarnings()[0], testing::StartsWith(path + ": is cut off or damaged"));
        EXPECT_LT(file->GetDuration(), 5000000);
        EXPECT_EQ(ReadItems(*file->OpenStream(0)).size(), index.GetCount());
    }
}

TEST_P(Damage, CutOffAnywhereGivesAnErrorOrFewerPackets) {
    ScratchFolder const folder;
    unsigned const seed = 7;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::string const bytes = Load(TestMedia(GetParam()));
    std::string const path = folder / GetParam();
    int const whole = ReadAll(TestMedia(GetParam()));
    for (int i = 0; i < 12; ++i) {
        std::size_t const size = 1 + random() % (bytes.size() - 1);
        Store(path, bytes.substr(0, size));
        EXPECT_LE(ReadAll(path), whole) << "cut at " << size;
    }
}

TEST_P(Damage, FlippedBytesGiveAnErrorOrPackets) {
    ScratchFolder const folder;
    unsigned const seed = 11;
    SCOPED_TRACE("seed " + std::to_string(seed));
    std::mt19937 random(seed);
    std::string const bytes = Load(TestMedia(GetParam()));
    std::string const path = folder / GetParam();
    for (int i = 0; i < 20; ++i) {
        std::string damaged = bytes;
        // Early ones hit headers, the others payload.
        std::size_t const range = i % 2 == 0 ? std::min<std::size_t>(damaged.size(), 2000) : damaged.size();
        for (int n = 0; n < 30; ++n) damaged[random() % range] = static_cast<char>(random());
        Store(path, damaged);
        EXPECT_GE(ReadAll(path), -1);
    }
}

TEST(BadFile, FileThatShrinksBehindTheReaderIsAnErrorThatNamesTheTime) {
    ScratchFolder const folder;
    std::string const path = folder / "shrinking.ts";
    std::filesystem::copy_file(TestMedia("h264.ts"), path);
    iptr<MediaFile> const file = MediaFile::Open(path);
    iptr<Proc::IStreamRaw> const stream = file->OpenStream(0);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    try {
        ReadItems(*stream);
        FAIL() << "read a file to its old end";
    } catch (Core::IOException const& failure) {
        EXPECT_THAT(failure.what(), testing::StartsWith(path + ": stream 0 at 0:00:0"));
    }
}
