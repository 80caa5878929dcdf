#include "host/cut/CutAccounting.h"

#include <algorithm>

namespace Tarsel::Host {

namespace {

using Cuts = Proc::SettingsFilterCutController;

/// The time by which a packet is kept or removed.
int64 PointOf(IndexRecord const& record) {
    return HasValue(record.time) ? record.time : record.decodingTime;
}

void Append(std::vector<CutStretch>& stretches, CutStretch::Kind kind, int64 begin, int64 end) {
    if (end <= begin) return;
    if (!stretches.empty() && stretches.back().kind == kind && stretches.back().end == begin)
        stretches.back().end = end;
    else
        stretches.push_back({kind, begin, end});
}

/// `[begin, end)` cut into kept and removed pieces, kept ones under the name `kept`.
void AppendPieces(std::vector<CutStretch>& stretches, Cuts const& cuts, int64 begin, int64 end, CutStretch::Kind kept) {
    while (begin < end) {
        int64 const pieceEnd = std::min(end, cuts.GetIntervalEndTime(begin));
        Append(stretches, cuts.IsPointDeleted(begin) ? CutStretch::Kind::Removed : kept, begin, pieceEnd);
        begin = pieceEnd;
    }
}

std::vector<CutStretch> FindStretches(CutTrack const& track, std::vector<CutGroup> const& groups, Cuts const& cuts,
                                      int64 duration) {
    std::vector<CutStretch> stretches;
    int64 position = 0;
    auto const fill = [&](int64 end, CutStretch::Kind kept) {
        end = std::min(end, duration);
        AppendPieces(stretches, cuts, position, end, kept);
        position = std::max(position, end);
    };
    if (track.mode == CutMode::Recode) {
        for (CutGroup const& group : groups) {
            fill(group.begin, CutStretch::Kind::Kept);
            fill(group.end,
                 GetFate(group, cuts) == GroupFate::Recoded ? CutStretch::Kind::Recoded : CutStretch::Kind::Kept);
        }
    }
    fill(duration, track.mode == CutMode::Reencode ? CutStretch::Kind::Recoded : CutStretch::Kind::Kept);
    return stretches;
}

}  // namespace

std::vector<CutGroup> FindGroups(StreamIndex const& index) {
    std::vector<CutGroup> groups;
    auto const& records = index.GetRecords();
    for (std::size_t i = 0; i < records.size(); ++i) {
        if (i != 0 && !records[i].IsKey()) continue;
        if (!groups.empty()) {
            groups.back().end = PointOf(records[i]);
            groups.back().recordEnd = i;
        }
        groups.push_back({PointOf(records[i]), index.GetEndTime(), i, records.size(), records[i].IsKey()});
    }
    return groups;
}

GroupFate GetFate(CutGroup const& group, Cuts const& cuts) {
    int64 const length = SubTime(group.end, group.begin);
    int64 const left = SubTime(cuts.Source2Result(group.end), cuts.Source2Result(group.begin));
    if (left == length) return GroupFate::Copied;
    return left == 0 ? GroupFate::Dropped : GroupFate::Recoded;
}

std::vector<std::pair<int64, int64>> GetRemoved(Cuts const& cuts, int64 duration) {
    std::vector<std::pair<int64, int64>> removed;
    for (uint32 i = 0; i < cuts.GetOptIntervalsCount(); ++i) {
        auto const& interval = cuts.GetOptInterval(i);
        if (!interval.isDeleted || interval.start >= duration) continue;
        removed.emplace_back(interval.start, std::min(interval.end, duration));
    }
    return removed;
}

CutStreamReport AccountStream(CutTrack const& track, Cuts const& cuts, int64 duration) {
    CutStreamReport report;
    report.index = track.info->index;
    report.kind = KindName(track.info->kind);
    report.codec = track.info->codec;
    report.mode = track.mode;
    report.reason = track.reason;
    report.packetsCopied = track.copied;
    report.packetsRecoded = track.recoded;
    auto const& records = track.index->GetRecords();
    auto const groups = FindGroups(*track.index);
    int64 replaced = 0;
    for (CutGroup const& group : groups) {
        bool const single = track.mode == CutMode::Packet;
        // Where packets are kept or dropped whole, the start alone decides.
        GroupFate fate =
            single ? (cuts.IsPointDeleted(group.begin) ? GroupFate::Dropped : GroupFate::Copied) : GetFate(group, cuts);
        if (track.mode == CutMode::Reencode && fate == GroupFate::Copied) fate = GroupFate::Recoded;
        if (group.hasKey) {
            report.groupsCopied += fate == GroupFate::Copied ? 1 : 0;
            report.groupsRecoded += fate == GroupFate::Recoded ? 1 : 0;
            report.groupsDropped += fate == GroupFate::Dropped ? 1 : 0;
        }
        if (fate != GroupFate::Recoded) continue;
        replaced += std::count_if(records.begin() + static_cast<std::ptrdiff_t>(group.firstRecord),
                                  records.begin() + static_cast<std::ptrdiff_t>(group.recordEnd),
                                  [&](IndexRecord const& record) {
                                      bool const lost = record.IsLeading() && track.mode != CutMode::Reencode;
                                      return !lost && !cuts.IsPointDeleted(PointOf(record));
                                  });
    }
    report.packetsDropped = static_cast<int64>(records.size()) - track.copied - replaced;
    report.stretches = FindStretches(track, groups, cuts, duration);
    return report;
}

int64 CountLostLeadingPictures(CutTrack const& track, Cuts const& cuts) {
    if (!track.IsVideo() || track.mode == CutMode::Reencode) return 0;
    auto const& records = track.index->GetRecords();
    int64 lost = 0;
    for (CutGroup const& group : FindGroups(*track.index)) {
        if (GetFate(group, cuts) == GroupFate::Copied) continue;
        for (std::size_t i = group.firstRecord; i < group.recordEnd; ++i)
            lost += records[i].IsLeading() && !cuts.IsPointDeleted(PointOf(records[i])) ? 1 : 0;
    }
    return lost;
}

int64 CountOpenSeams(CutTrack const& track, Cuts const& cuts) {
    if (!track.IsVideo() || track.mode == CutMode::Reencode) return 0;
    auto const& records = track.index->GetRecords();
    int64 seams = 0;
    bool behindCut = false;
    for (CutGroup const& group : FindGroups(*track.index)) {
        GroupFate const fate = GetFate(group, cuts);
        bool const open = std::any_of(records.begin() + static_cast<std::ptrdiff_t>(group.firstRecord),
                                      records.begin() + static_cast<std::ptrdiff_t>(group.recordEnd),
                                      [](IndexRecord const& record) { return record.IsLeading(); });
        bool const entry = group.hasKey && records[group.firstRecord].randomAccess == RandomAccess::Entry;
        seams += behindCut && fate == GroupFate::Copied && (open || entry) ? 1 : 0;
        behindCut = fate != GroupFate::Copied;
    }
    return seams;
}

}  // namespace Tarsel::Host
