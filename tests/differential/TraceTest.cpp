// Every field that both the header report and libavcodec's "trace_headers" tell, on the same bytes.

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "contracts/Proc/HeaderDescription.h"
#include "tests/differential/Clips.h"
#include "tests/differential/LibavFilter.h"

namespace Tarsel::Test {
namespace {

using Proc::CodecParsers::DescribeHeaders;

// A structure of the report and the title under which the filter tells it.
struct Structure {
    char const* name;
    char const* title;
    // A comparison of fewer fields than this would prove little.
    std::size_t leastFields;
};

// Values by name. A name that comes again (both HRDs of a VUI) has several, in their order.
using Fields = std::map<std::string, std::vector<int64>>;

// Other editions of the standards have other names for some fields.
std::string OurName(std::string const& name) {
    return name == "gaps_in_frame_num_allowed_flag" ? "gaps_in_frame_num_value_allowed_flag" : name;
}

void Flatten(Core::Property const& structure, Fields& fields) {
    for (Core::Property const& field : structure.Children()) {
        if (field.HasScalar()) {
            fields[field.Name()].push_back(field.GetInt64());
        } else if (!field.Children().empty() && field.Children()[0].IsKeyed()) {
            Flatten(field, fields);
        } else {
            for (std::size_t i = 0; i < field.Children().size(); ++i)
                if (field.Children()[i].HasScalar())
                    fields[field.Name() + "[" + std::to_string(i) + "]"].push_back(field.Children()[i].GetInt64());
        }
    }
}

// Compares all structures of one kind; tells how many there were.
std::size_t CompareStructures(Structure const& kind, Core::Property const& report,
                              std::vector<TracedHeader> const& trace) {
    std::vector<Fields> ours;
    for (Core::Property const& structure : report.Children()) {
        if (structure.Name() != kind.name) continue;
        EXPECT_FALSE(structure.ChildExists("error")) << kind.name << ": " << structure["error"].GetString();
        Flatten(structure, ours.emplace_back());
    }
    std::vector<Fields> theirs;
    for (TracedHeader const& header : trace) {
        if (header.title != kind.title) continue;
        Fields& fields = theirs.emplace_back();
        for (auto const& [name, value] : header.fields) fields[OurName(name)].push_back(value);
    }
    EXPECT_EQ(ours.size(), theirs.size()) << kind.name;
    for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) {
        std::size_t compared = 0;
        for (auto const& [name, values] : ours[i]) {
            auto const other = theirs[i].find(name);
            if (other == theirs[i].end()) continue;
            EXPECT_EQ(values, other->second) << kind.name << " " << i << ", " << name;
            ++compared;
        }
        EXPECT_GE(compared, kind.leastFields) << kind.name << " " << i;
    }
    return ours.size();
}

// Compares the headers of every clip of a codec: the extradata, and the first packet where it carries headers in band.
void CompareClips(std::string const& codec, std::vector<Structure> const& kinds, bool inBandAlways) {
    ASSERT_GE(ClipsOf(codec).size(), 5U);
    for (std::string const& path : ClipsOf(codec)) {
        SCOPED_TRACE(NameOf(path));
        StreamInspection const& stream = StreamOf(path, codec);
        Bytes const& extradata = stream.extradata;
        // Without length-prefixed framing the first packet is a form of header too.
        bool const inBand = inBandAlways || extradata.empty() || extradata[0] == 0;
        std::map<std::string, std::size_t> found;
        auto const compare = [&](Bytes const& data, std::vector<TracedHeader> const& trace) {
            Core::Property const report = DescribeHeaders(codec, data.data(), data.size());
            for (Structure const& kind : kinds) found[kind.name] += CompareStructures(kind, report, trace);
        };
        if (!extradata.empty()) compare(extradata, TraceHeaders(codec, extradata, {}));
        ASSERT_FALSE(stream.packets.empty());
        if (inBand) compare(stream.packets[0].data, TraceHeaders(codec, {}, {stream.packets[0].data}));
        for (Structure const& kind : kinds) EXPECT_GE(found[kind.name], 1U) << kind.name;
    }
}

TEST(TraceOfLibav, H264ParameterSets) {
    CompareClips("h264", {{"SPS", "Sequence Parameter Set", 24}, {"PPS", "Picture Parameter Set", 15}}, false);
}

TEST(TraceOfLibav, HevcParameterSets) {
    CompareClips("hevc", {{"VPS", "Video Parameter Set", 43}, {"SPS", "Sequence Parameter Set", 48}}, false);
}

TEST(TraceOfLibav, MPEG2SequenceHeaders) {
    CompareClips("mpeg2video",
                 {{"sequence_header", "Sequence Header", 9}, {"sequence_extension", "Sequence Extension", 10}}, true);
}

int CountFailures(Core::Property const& report, std::vector<TracedHeader> const& trace) {
    testing::TestPartResultArray failures;
    testing::ScopedFakeTestPartResultReporter const reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
    CompareStructures({"SPS", "Sequence Parameter Set", 24}, report, trace);
    return failures.size();
}

// A filter that tells nothing, and a report without fields, must not pass for agreement.
TEST(TraceOfLibav, ComparisonFindsAChangedField) {
    StreamInspection const& stream = StreamOf(ClipsOf("h264").front(), "h264");
    auto trace = TraceHeaders("h264", stream.extradata, {});
    Core::Property const report = DescribeHeaders("h264", stream.extradata.data(), stream.extradata.size());
    for (TracedHeader& header : trace)
        for (auto& [name, value] : header.fields)
            if (name == "level_idc") ++value;
    EXPECT_EQ(CountFailures(report, trace), 1);
    EXPECT_EQ(CountFailures(report, {}), 1);
}

}  // namespace
}  // namespace Tarsel::Test
