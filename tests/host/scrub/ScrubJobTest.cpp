// Whole files, played with everything that works beside the player: caches, decoders' threads, previews.
#include "host/scrub/ScrubJob.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "host/scrub/ScrubPreview.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Test;
using ::testing::HasSubstr;
using TestSupport::MessageOf;

TEST(ScrubJob, PlaysAFileBesideItsCachesAndAPreview) {
    ScratchFolder const folder;
    for (char const* clip : {"h264.mp4", "mpeg2.ts", "aac.m4a"}) {
        auto const file = MediaFile::Open(TestMedia(clip));
        ScrubPreview preview(folder / clip, 1000, false);
        ScrubOptions options;
        options.listener.picture = [&](iptr<Proc::IDataVideo> const& picture) { preview.Show(picture); };
        std::size_t done = 0;
        options.progress = [&](std::size_t count) { EXPECT_EQ(++done, count); };
        auto const script = MakeRandomScrub(*file, 60, 5);
        ScrubReport const report = RunScrub(file, script, options);
        preview.Finish();
        EXPECT_EQ(60U, done);
        ASSERT_EQ(60U, report.steps.size());
        EXPECT_GT(report.savedSeeks, report.sourceSeeks) << clip;
        for (std::size_t i = 0; i < script.size(); ++i) EXPECT_EQ(script[i], report.steps[i].operation);
    }
}

TEST(ScrubJob, AFailureNamesTheOperation) {
    auto const file = MediaFile::Open(TestMedia("h264.mp4"));
    ScrubOptions options;
    options.cached = false;
    int reads = 0;
    options.listener.beforeRead = [&] {
        if (++reads > 20) TARSEL_THROW(Core::IOException, "gone");
    };
    auto const script = ParseScrubScript("step 1\nstep 100\n", "script");
    EXPECT_EQ("operation 2 (step 100): gone", MessageOf<Proc::ProcException>([&] { RunScrub(file, script, options); }));
}

TEST(ScrubJob, AFileOfNeitherPicturesNorSoundIsRefused) {
    std::string const lines = MakeTextFile("job.srt", "1\n00:00:00,500 --> 00:00:01,500\nOne\n\n");
    EXPECT_EQ(lines + ": holds neither pictures nor sound",
              MessageOf<Core::IOException>([&] { RunScrub(MediaFile::Open(lines), {}, {}); }));
}

}  // namespace
}  // namespace Tarsel::Host
