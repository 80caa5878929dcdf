#include "host/digest/RecordFile.h"

#include <sys/resource.h>

#include <gmock/gmock.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/GraphClips.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Host {
namespace {

using Tarsel::Test::ScratchFolder;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

std::string const& Clip() {
    static ScratchFolder const folder;
    static std::string const path = [] {
        WriteSampleClip(folder / "clip.mp4", Tarsel::Test::SmallClip(2), true);
        return folder / "clip.mp4";
    }();
    return path;
}

void WriteText(std::string const& path, std::string const& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::string TextOf(std::string const& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

/// Records the clip's packets into two files of a folder of its own.
class RecordFiles : public ::testing::Test {
  protected:
    RecordFiles() {
        request.input = Clip();
        request.output = folder / "run.json";
        request.frameHashes = folder / "run.framemd5";
    }
    void Record(ProgressCallback const& progress, PlacingGuard const& guard = {}) const {
        RecordToFile(PlanRecord(request), request, progress, guard);
    }
    /// Records; when the run begins, a file or a folder comes up in the place of one of its outputs.
    std::string FailureOverNewcomer(std::string const& path, bool isFolder) const {
        return MessageOf<Core::IOException>([&] {
            Record([&](int64, int64) {
                if (isFolder)
                    std::filesystem::create_directory(path);
                else
                    WriteText(path, "theirs");
            });
        });
    }

    ScratchFolder const folder;
    RecordRequest request;
};

TEST_F(RecordFiles, ARecordThatCanNotBePutInPlaceLeavesNoHashes) {
    EXPECT_EQ(request.output + ": exists already", FailureOverNewcomer(request.output, false));
    EXPECT_EQ("theirs", TextOf(request.output));
    EXPECT_THAT(folder.List(), ElementsAre("run.json"));
}

TEST_F(RecordFiles, ARecordThatCanNotBePutInPlaceLeavesTheHashesThatStoodThere) {
    request.force = true;
    WriteText(request.frameHashes, "mine");
    EXPECT_EQ(request.output + ": can't be put in place: Is a directory", FailureOverNewcomer(request.output, true));
    EXPECT_EQ("mine", TextOf(request.frameHashes));
    EXPECT_THAT(folder.List(), ElementsAre("run.framemd5", "run.json"));
}

TEST_F(RecordFiles, HashesThatCanNotBePutInPlaceTakeTheRecordBack) {
    EXPECT_EQ(request.frameHashes + ": exists already", FailureOverNewcomer(request.frameHashes, false));
    EXPECT_EQ("theirs", TextOf(request.frameHashes));
    EXPECT_THAT(folder.List(), ElementsAre("run.framemd5"));
    request.force = true;
    std::filesystem::remove(request.frameHashes);
    EXPECT_EQ(request.frameHashes + ": can't be put in place: Is a directory",
              FailureOverNewcomer(request.frameHashes, true));
    EXPECT_THAT(folder.List(), ElementsAre("run.framemd5"));
}

TEST_F(RecordFiles, ARecordThatHasReplacedAnotherStaysAndTheFailureSaysSo) {
    request.force = true;
    WriteText(request.output, "old");
    EXPECT_EQ(request.frameHashes + ": can't be put in place: Is a directory; " + request.output +
                  " is replaced by the new record already",
              FailureOverNewcomer(request.frameHashes, true));
    EXPECT_THAT(TextOf(request.output), HasSubstr("GraphCRCInfo"));
    EXPECT_THAT(folder.List(), ElementsAre("run.framemd5", "run.json"));
}

TEST_F(RecordFiles, BothComeToTheirPlacesWhileTheGuardIsHeld) {
    std::vector<std::string> before;
    std::vector<std::string> after;
    Record({}, [&] {
        before = folder.List();
        return std::shared_ptr<void>(&after, [&](void*) { after = folder.List(); });
    });
    EXPECT_EQ(2U, before.size());
    for (std::string const& name : before) EXPECT_THAT(name, HasSubstr(".tarsel-part"));
    EXPECT_THAT(after, ElementsAre("run.framemd5", "run.json"));
}

/// No file grows beyond `size` bytes while it lives; the process isn't ended by the attempt.
class FileSizeLimit {
  public:
    explicit FileSizeLimit(rlim_t size) : handler(std::signal(SIGXFSZ, SIG_IGN)) {
        getrlimit(RLIMIT_FSIZE, &before);
        rlimit const limit{size, before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FileSizeLimit() {
        setrlimit(RLIMIT_FSIZE, &before);
        std::signal(SIGXFSZ, handler);
    }
    FileSizeLimit(FileSizeLimit const&) = delete;
    FileSizeLimit& operator=(FileSizeLimit const&) = delete;

  private:
    rlimit before{};
    void (*handler)(int);
};

TEST_F(RecordFiles, WhyARecordCanNotBeWrittenIsTold) {
    RecordPlan const plan = PlanRecord(request);
    std::string message;
    {
        FileSizeLimit const limit(100);
        message = MessageOf<Core::IOException>([&] { RecordToFile(plan, request, {}); });
    }
    EXPECT_EQ(request.output + ": can't be written: write error: File too large", message);
    EXPECT_THAT(folder.List(), IsEmpty());
}

TEST_F(RecordFiles, HashesOfTitlesAloneAreRefusedBeforeAnythingIsRead) {
    request.input = folder / "one.srt";
    request.decoded = true;
    WriteText(request.input, "1\n00:00:00,500 --> 00:00:01,500\nOne\n");
    auto const refusal = [&](RecordPlan const& plan) {
        return MessageOf<GraphException>(
            [&] { RecordToFile(plan, request, [](int64, int64) { FAIL() << "something was read"; }); });
    };
    EXPECT_EQ("there is no stream that has frame hashes", refusal(PlanRecord(request)));
    // Of a graph the sources aren't even opened.
    Tarsel::Test::GraphMaker graph;
    graph.Source(1, "nowhere.srt", StreamKind::Subtitle)
        .Filter(2, "SettingsFilterDurationTrimmer", {1}, {{"Duration", "1000000"}})
        .Controller(3, "FilterCutController", {{4, 2}}, Core::Property("FilterCutController"));
    request.input = "g.json";
    for (NodeId const node : {1, 2, 4}) {
        request.nodes = {node};
        EXPECT_EQ("there is no stream that has frame hashes", refusal({graph.document, nullptr, {}})) << node;
    }
    graph.Source(5, "nowhere.mp4", StreamKind::Video);
    request.nodes = {1, 5};
    EXPECT_THAT(refusal({graph.document, nullptr, {}}), HasSubstr("nowhere.srt: there is no such file"));
    EXPECT_THAT(folder.List(), ElementsAre("one.srt"));
}

TEST_F(RecordFiles, AGraphOfTwoBytesIsToldFromOtherShortFiles) {
    std::string const path = folder / "short";
    for (auto const& [text, isGraph] : std::vector<std::pair<std::string, bool>>{
             {"{}", true}, {"{", true}, {" {", true}, {"", false}, {"[]", false}, {"{1", false}, {"\xEF\xBB", false}}) {
        WriteText(path, text);
        EXPECT_EQ(isGraph, IsGraphFile(path)) << text;
    }
}

}  // namespace
}  // namespace Tarsel::Host
