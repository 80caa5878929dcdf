#include <algorithm>
#include <string>

#include "benchmarks/digest/Parts.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/GraphCRCData.h"
#include "host/digest/RecordComparison.h"
#include "host/digest/RecordReader.h"

namespace Tarsel::Bench {

using namespace Tarsel::Proc;

namespace {

constexpr int ROUNDS = 3;
constexpr int64 NONE = -1;

/// 32 digits that differ for each number and kind.
std::string Digest(int64 number, int64 kind) {
    u64 state = static_cast<u64>(number) * 2 + static_cast<u64>(kind);
    std::string text;
    while (text.size() < 32) {
        // The steps of splitmix64.
        u64 mixed = state += 0x9E3779B97F4A7C15;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        mixed ^= mixed >> 31;
        for (int i = 0; i < 16; ++i) text += "0123456789abcdef"[mixed >> (4 * i) & 15];
    }
    return text;
}

/// A film of one node; now and then a scene stands still for some frames.
GraphCRCData MakeRecord(int64 items, int64 dropped, int64 kind = 0) {
    GraphCRCData record;
    for (int64 i = 0; i < items; ++i)
        if (i != dropped) record.AddPacketCRCInfo(1, i * 40000, Digest(i % 100 < 10 ? i / 100 : i + items, kind));
    return record;
}

std::string FileOf(std::string const& folder, std::string const& name) {
    return folder + "/" + name + ".json";
}

void Compare(GraphCRCData const& first, GraphCRCData const& second, int64 missing, int64 extra) {
    auto const comparison = Host::CompareRecords(first, second);
    auto const& node = comparison.nodes.at(0);
    if (static_cast<int64>(node.missing) != missing || static_cast<int64>(node.extra) != extra || node.moved != 0)
        TARSEL_THROW(Exception, "The comparison is wrong");
}

}  // namespace

void MeasureRecords(Rows& rows, std::string const& folder, int64 items) {
    GraphCRCData const record = MakeRecord(items, NONE);
    GraphCRCData const dropped = MakeRecord(items, items / 2);
    GraphCRCData const different = MakeRecord(items, NONE, 1);
    dropped.SaveToFile(FileOf(folder, "dropped"));
    different.SaveToFile(FileOf(folder, "different"));
    GraphCRCData loaded;
    Turns turns(ThreadTime);
    turns.Add([&] { record.SaveToFile(FileOf(folder, "run")); });
    turns.Add([&] { loaded = Host::LoadRecord(FileOf(folder, "run")); });
    turns.Add([&] { Compare(record, loaded, 0, 0); });
    turns.Add([&] { Compare(record, dropped, 1, 0); });
    turns.Add([&] { Compare(record, different, items, items); });
    turns.Run(ROUNDS);
    char const* const names[] = {"saved", "loaded", "compared with an equal one", "compared, one lost in the middle",
                                 "compared, all digests differ"};
    for (std::size_t i = 0; i < std::size(names); ++i)
        rows.push_back({std::to_string(items) + " items " + names[i], turns.Get(i) * 1000, "ms CPU", {}});
}

bool RunRecords(std::string const& what, std::string const& folder, int64 items) {
    std::string const run = FileOf(folder, "run");
    if (what == "make") return MakeRecord(items, NONE).GetFilterCount() == 1;
    if (what == "save") {
        MakeRecord(items, NONE).SaveToFile(FileOf(folder, "saved"));
        return true;
    }
    GraphCRCData const first = Host::LoadRecord(run);
    if (what == "load") return true;
    if (what == "equal") Compare(first, Host::LoadRecord(run), 0, 0);
    if (what == "dropped") Compare(first, Host::LoadRecord(FileOf(folder, "dropped")), 1, 0);
    if (what == "different") Compare(first, Host::LoadRecord(FileOf(folder, "different")), items, items);
    return what == "equal" || what == "dropped" || what == "different";
}

}  // namespace Tarsel::Bench
