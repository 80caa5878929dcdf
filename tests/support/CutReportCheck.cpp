// The numbers of a report against what the source says.
#include <nlohmann/json.hpp>
#include <sstream>

#include "contracts/Core/Time.h"
#include "tests/support/CutCheck.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;

/// Times of different time bases may round apart by this much.
constexpr int64 ROUNDING = 2;

class ReportCheck {
  public:
    ReportCheck(SourceMedia const& source, ExpectedCut const& cut, Json const& report)
        : source(source), cut(cut), report(report) {}

    void CheckRanges() {
        auto const& ranges = report.at("removed_us");
        bool same = ranges.size() == cut.removed.size();
        for (std::size_t i = 0; same && i < cut.removed.size(); i++)
            same = std::abs(ranges[i].at(0).get<int64>() - cut.removed[i].begin) <= ROUNDING &&
                   std::abs(ranges[i].at(1).get<int64>() - cut.removed[i].end) <= ROUNDING;
        if (same) return;
        std::string wanted;
        for (auto const& range : cut.removed)
            wanted.append("[")
                .append(std::to_string(range.begin))
                .append(",")
                .append(std::to_string(range.end))
                .append("]");
        problems.push_back("removed_us is " + ranges.dump() + " instead of [" + wanted + "]");
    }

    void CheckStream(Json const& stream, int packetsInOutput) {
        auto const& in = source.file.streams.at(stream.at("index").get<std::size_t>());
        name = "report of stream " + std::to_string(in.index) + ": ";
        if (in.kind != StreamKind::Video && in.kind != StreamKind::Audio) return;
        bool const video = in.kind == StreamKind::Video;
        Equal("kind", stream.at("kind").get<std::string>(), std::string(video ? "video" : "audio"));
        int const copied = stream.at("packets_copied").get<int>();
        int const recoded = stream.at("packets_recoded").get<int>();
        int const dropped = stream.at("packets_dropped").get<int>();
        if (packetsInOutput >= 0) Equal("copied + recoded packets", copied + recoded, packetsInOutput);
        if (!in.codec.starts_with("pcm"))
            Equal("copied + recoded + dropped packets", copied + recoded + dropped,
                  static_cast<int>(in.packets.size()));
        std::string const mode = stream.at("mode").get<std::string>();
        if (video && mode != "recode" && mode != "gop") problems.push_back(name + "mode is " + mode);
        if (!video) Equal("mode", mode, std::string("packet"));
        if (mode == "gop" || !video) Equal("packets_recoded", recoded, 0);
        if (video) CheckGroups(stream);
    }

    Problems problems;

  private:
    template <class T>
    void Equal(std::string const& what, T const& found, T const& wanted) {
        if (found == wanted) return;
        std::ostringstream text;
        text << name << what << " is " << found << " instead of " << wanted;
        problems.push_back(text.str());
    }

    void CheckGroups(Json const& stream) {
        int copied = 0;
        int recoded = 0;
        int dropped = 0;
        int packets = 0;
        int again = 0;
        for (std::size_t i = 0; i < cut.fates.size(); i++) {
            copied += cut.fates[i] == GroupFate::Copied ? 1 : 0;
            recoded += cut.fates[i] == GroupFate::Recoded ? 1 : 0;
            dropped += cut.fates[i] == GroupFate::Dropped ? 1 : 0;
            packets += static_cast<int>(cut.copiedPackets[i].size());
        }
        for (auto const& picture : cut.pictures) {
            auto const packet =
                static_cast<std::size_t>(source.pictures[static_cast<std::size_t>(picture.source)].packet);
            auto const group = static_cast<std::size_t>(source.groupOfPacket[packet]);
            again += cut.fates[group] == GroupFate::Recoded && !picture.optional ? 1 : 0;
        }
        Equal("groups_copied", stream.at("groups_copied").get<int>(), copied);
        Equal("groups_recoded", stream.at("groups_recoded").get<int>(), recoded);
        Equal("groups_dropped", stream.at("groups_dropped").get<int>(), dropped);
        // Open groups may lose leading pictures at a seam.
        if (source.HasLeading()) return;
        Equal("packets_copied", stream.at("packets_copied").get<int>(), packets);
        int const told = stream.at("packets_recoded").get<int>();
        if (told < again)
            problems.push_back(name + "packets_recoded is below the kept pictures of the groups cut in part");
    }

    SourceMedia const& source;
    ExpectedCut const& cut;
    Json const& report;
    std::string name;
};

}  // namespace

Problems CheckReport(SourceMedia const& source, ExpectedCut const& cut, nlohmann::json const& report,
                     std::vector<int> const& packetsInOutput) {
    ReportCheck check(source, cut, report);
    try {
        check.CheckRanges();
        std::size_t seen = 0;
        for (auto const& stream : report.at("streams")) {
            auto const index = stream.at("index").get<std::size_t>();
            if (index >= source.file.streams.size()) {
                check.problems.push_back("the report names a stream " + std::to_string(index));
                continue;
            }
            seen++;
            check.CheckStream(stream, index < packetsInOutput.size() ? packetsInOutput[index] : -1);
        }
        if (seen == 0) check.problems.push_back("the report names no stream");
        for (char const* field : {"input", "output", "duration_us", "warnings", "verified", "wall_s"})
            if (!report.contains(field)) check.problems.push_back(std::string("the report has no ") + field);
    } catch (Json::exception const& failure) {
        check.problems.push_back(std::string("the report lacks something: ") + failure.what());
    }
    return std::move(check.problems);
}

}  // namespace Tarsel::Test
