#include "host/cut/CutVerifier.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "host/cut/CutErrors.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Test::TestMedia;
using testing::HasSubstr;

/// Every stream of a clip, noted as if it went into a result.
struct Noted {
    explicit Noted(std::string const& path) : file(MediaFile::Open(path)) {
        for (StreamInfo const& info : file->GetStreams()) {
            CutTrack track;
            track.info = &info;
            track.index = &file->GetIndex(info.index);
            track.stream = file->OpenStream(info.index);
            track.slot = info.index;
            tracks.push_back(track);
        }
    }

    void Note(int stream, std::size_t leaveOut = StreamIndex::NONE) {
        CutTrack& track = tracks[static_cast<std::size_t>(stream)];
        track.stream->RequestSeek(0, nullptr);
        track.stream->DoSeek();
        std::size_t number = 0;
        while (auto const packet = track.stream->Read())
            if (number++ != leaveOut) verifier.Note(track, *packet);
    }

    std::string Verdict(std::string const& path) const {
        try {
            verifier.Check(path, tracks, nullptr);
        } catch (VerificationMismatch const& mismatch) {
            return mismatch.what();
        }
        return "as written";
    }

    iptr<MediaFile> file;
    std::vector<CutTrack> tracks;
    CutVerifier verifier;
};

TEST(CutVerifier, AFileIsAsWrittenInWhateverContainer) {
    Noted noted(TestMedia("h264.mp4"));
    noted.Note(0);
    noted.Note(1);
    for (char const* name : {"h264.mp4", "h264.mov", "h264.mkv", "h264.ts", "h264.flv"})
        EXPECT_EQ(noted.Verdict(TestMedia(name)), "as written") << name;
}

TEST(CutVerifier, NamesThePacketThatDiffers) {
    Noted noted(TestMedia("h264-nob.mp4"));
    noted.Note(0);
    EXPECT_THAT(noted.Verdict(TestMedia("h264-onekey.mp4")),
                HasSubstr("stream #0 (h264): packet 0 at 00:00.000 is not what was written"));
}

TEST(CutVerifier, CountsPackets) {
    Noted noted(TestMedia("h264-nob.mp4"));
    noted.Note(0, 149);
    EXPECT_EQ(noted.Verdict(TestMedia("h264-nob.mp4")),
              "stream #0 (h264): 150 packets in the result, 149 were written");
}

TEST(CutVerifier, PicturesThatAnEditListHidesAreNotMissed) {
    Noted noted(TestMedia("h264-edit.mp4"));
    noted.Note(0);
    noted.Note(1);
    EXPECT_EQ(noted.Verdict(TestMedia("h264-edit.mp4")), "as written");
}

TEST(CutVerifier, MissesAStream) {
    Noted noted(TestMedia("h264.mp4"));
    noted.Note(0);
    noted.Note(1);
    EXPECT_EQ(noted.Verdict(TestMedia("h264.h264")), "stream #1 (aac): the result has no such stream");
}

}  // namespace
}  // namespace Tarsel::Host
