#include "host/scrub/ScrubPreview.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "contracts/Core/Exception.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

/// So many a second that no picture comes too early.
constexpr double EVERY_ONE = 1e9;

std::vector<std::string> Files(std::string const& folder) {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

TEST(ScrubPreview, TheNewestPictureIsWrittenWhenItIsFinished) {
    ScratchFolder const folder;
    for (int round = 0; round < 20; ++round) {
        std::string const place = folder / std::to_string(round);
        ScrubPreview preview(place, EVERY_ONE, false);
        preview.Show(MakeVideo(0, 40000));
        preview.Finish();
        EXPECT_THAT(Files(place), ElementsAre("preview-000001.png"));
    }
}

TEST(ScrubPreview, WithoutPicturesTheFolderStaysEmpty) {
    ScratchFolder const folder;
    ScrubPreview preview(folder / "place", EVERY_ONE, false);
    preview.Finish();
    EXPECT_THAT(Files(folder / "place"), IsEmpty());
}

TEST(ScrubPreview, DiscardingTakesEverythingBack) {
    ScratchFolder const folder;
    ScrubPreview preview(folder / "place", EVERY_ONE, false);
    for (int i = 0; i < 50; ++i) preview.Show(MakeVideo(i * 40000, 40000, static_cast<u8>(i)));
    preview.Discard();
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST(ScrubPreview, ThatIsDroppedLeavesWhatWasWritten) {
    ScratchFolder const folder;
    {
        ScrubPreview preview(folder / "place", EVERY_ONE, false);
        preview.Show(MakeVideo(0, 40000));
        preview.Finish();
        preview.Show(MakeVideo(40000, 40000));
    }
    EXPECT_THAT(Files(folder / "place"), ElementsAre("preview-000001.png"));
}

TEST(ScrubPreview, AFailureToWriteComesWithTheNextPictureOrTheEnd) {
    ScratchFolder const folder;
    ScrubPreview preview(folder / "place", EVERY_ONE, false);
    std::filesystem::remove(folder / "place");
    preview.Show(MakeVideo(0, 40000));
    EXPECT_THAT(MessageOf<Core::IOException>([&] { preview.Finish(); }), HasSubstr(folder / "place"));
    EXPECT_THAT(MessageOf<Core::IOException>([&] { preview.Show(MakeVideo(0, 40000)); }), HasSubstr(folder / "place"));
}

TEST(ScrubPreview, AFolderThatCannotBeMadeIsRefused) {
    ScratchFolder const folder;
    EXPECT_THAT(MessageOf<Core::IOException>([&] { ScrubPreview(folder / "none/place", EVERY_ONE, false); }),
                HasSubstr(folder / "none/place"));
}

}  // namespace
}  // namespace Tarsel::Host
