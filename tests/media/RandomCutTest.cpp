// Random cuts over the whole media family. The seeds are fixed, so that a run can be repeated; each failure names its
// seed and the command.
#include <gmock/gmock.h>

#include <filesystem>
#include <iostream>
#include <set>
#include <vector>

#include "contracts/Core/Time.h"
#include "tests/media/CutClips.h"
#include "tests/support/CutCheck.h"
#include "tests/support/CutLists.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Sanitizer.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

/// Of all lists, counted through all batches, each is cut, or under the address sanitizer each fifth.
constexpr unsigned EACH = ThinnedBy(5);

struct Batch {
    CutClip clip;
    /// Number of the batch over the whole family: what the seeds come from.
    int number = 0;
};

std::vector<Batch> Batches() {
    std::vector<Batch> batches;
    for (auto const& clip : CutClips())
        for (int i = 0; i < clip.batches; i++) batches.push_back({clip, static_cast<int>(batches.size())});
    return batches;
}

std::string BatchName(::testing::TestParamInfo<Batch> const& info) {
    std::string name = info.param.clip.name + "_to_" + info.param.clip.target + "_" + std::to_string(info.param.number);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

/// The parts of a report that a plan tells as well.
Json Numbers(Json const& report) {
    return {{"removed_us", report.at("removed_us")},
            {"duration_us", report.at("duration_us")},
            {"streams", report.at("streams")}};
}

std::vector<unsigned> SeedsOf(Batch const& batch) {
    auto const first = static_cast<unsigned>(batch.number * LISTS_IN_A_BATCH);
    std::vector<unsigned> seeds;
    // A step that shares no factor with the number of shapes: two whole batches meet all of them.
    for (unsigned i = first; i < first + LISTS_IN_A_BATCH; ++i)
        if (i % EACH == 0) seeds.push_back(i * 5);
    return seeds;
}

class RandomCuts : public ::testing::TestWithParam<Batch> {
  protected:
    void Cut(SourceMedia const& source, unsigned seed);
    static bool AnythingLeft(SourceMedia const& source, ExpectedCut const& cut);
};

bool RandomCuts::AnythingLeft(SourceMedia const& source, ExpectedCut const& cut) {
    if (source.video >= 0) return !cut.pictures.empty();
    for (auto const& packet : source.file.streams.front().packets)
        if (!IsRemoved(cut.removed, source.PacketTime(source.file.streams.front(), packet))) return true;
    return false;
}

void RandomCuts::Cut(SourceMedia const& source, unsigned seed) {
    ScratchFolder const folder;
    auto const& clip = GetParam().clip;
    auto const list = MakeCutList(source, seed);
    std::string const output = folder / ("out." + clip.target);
    std::vector<std::string> arguments{"cut", source.file.path, "-o", output, "--json"};
    for (auto const& text : list.texts) {
        arguments.push_back(list.request.keep ? "--keep" : "--remove");
        arguments.push_back(text);
    }
    if (list.request.snapMore) arguments.insert(arguments.end(), {"--snap", "more"});
    bool const verify = seed % 2 == 0;
    auto run = arguments;
    if (verify) run.emplace_back("--verify");
    SCOPED_TRACE("seed " + std::to_string(seed) + " (" + NameOf(list.shape) + "): " + CommandText(run));

    auto const expected = ExpectCut(source, list.request, clip.mode == "gop");
    auto const result = RunTarsel(run);
    if (!AnythingLeft(source, expected)) {
        EXPECT_EQ(1, result.exitCode) << result.errors;
        EXPECT_THAT(result.errors, HasSubstr(source.file.path));
        EXPECT_THAT(folder.List(), IsEmpty());
        return;
    }
    ASSERT_EQ(0, result.exitCode) << result.errors;
    EXPECT_THAT(folder.List(), ElementsAre("out." + clip.target));
    auto const report = ParseOutput(result);
    if (verify)
        EXPECT_EQ(Json(true), report.at("verified"));
    else
        EXPECT_EQ(Json(nullptr), report.at("verified"));
    for (auto const& stream : report.at("streams")) {
        if (stream.at("index") == source.video) {
            EXPECT_EQ(clip.mode, stream.at("mode")) << stream.at("reason");
        }
    }
    EXPECT_THAT(CheckCut(source, list.request, output, report), IsEmpty());

    arguments.emplace_back("--plan");
    auto const plan = ParseOutput(RunTarsel(arguments));
    EXPECT_EQ(Json(nullptr), plan.at("verified"));
    EXPECT_EQ(Numbers(report), Numbers(plan));
}

TEST_P(RandomCuts, GiveExactlyWhatIsLeft) {
    auto const source = OpenSource(FamilyClip(GetParam().clip.name));
    for (unsigned const seed : SeedsOf(GetParam())) {
        std::cout << "seed " << seed << '\n';
        Cut(source, seed);
    }
}

INSTANTIATE_TEST_SUITE_P(Family, RandomCuts, ::testing::ValuesIn(Batches()), BatchName);

TEST(RandomCutLists, AreThreeHundredOrMore) {
    EXPECT_GE(static_cast<int>(Batches().size()) * LISTS_IN_A_BATCH, 300);
}

TEST(RandomCutLists, MeetAllShapesAndLeaveNoBatchOutHoweverTheyAreThinned) {
    std::set<CutShape> shapes;
    for (Batch const& batch : Batches()) {
        EXPECT_THAT(SeedsOf(batch), Not(IsEmpty())) << batch.number;
        for (unsigned const seed : SeedsOf(batch)) shapes.insert(ShapeOf(seed));
    }
    EXPECT_EQ(static_cast<std::size_t>(CutShape::Count), shapes.size());
}

}  // namespace
}  // namespace Tarsel::Test
