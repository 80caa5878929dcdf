#pragma once

#include <string>
#include <utility>
#include <vector>

#include "contracts/Proc/SettingsFilterCutController.h"
#include "host/cut/CutReport.h"
#include "host/cut/CutTrack.h"

namespace Tarsel::Host {

/// A group of pictures of the source, or a single packet where each one is a key: `[begin, end)` in source time.
struct CutGroup {
    int64 begin;
    int64 end;
    std::size_t firstRecord;  // in the index
    std::size_t recordEnd;
    /// Packets ahead of the first key packet make a group that has none.
    bool hasKey;
};

/// The groups of a stream in decoding order.
std::vector<CutGroup> FindGroups(StreamIndex const& index);

/// What the cut list makes of a group.
enum class GroupFate { Copied, Recoded, Dropped };
GroupFate GetFate(CutGroup const& group, Proc::SettingsFilterCutController const& cuts);

/// The removed ranges, clipped to `[0, duration]`.
std::vector<std::pair<int64, int64>> GetRemoved(Proc::SettingsFilterCutController const& cuts, int64 duration);

/// Counts and stretches of one stream, from what went out and from the cut list as it stood at the end.
CutStreamReport AccountStream(CutTrack const& track, Proc::SettingsFilterCutController const& cuts, int64 duration);

/// Pictures whose time is kept but that can't be: they are shown ahead of the key picture of a group that is removed or
/// cut in part, and refer to the group in front of it.
int64 CountLostLeadingPictures(CutTrack const& track, Proc::SettingsFilterCutController const& cuts);

/// Places where a kept open group follows removed material: decoders may withhold pictures there.
int64 CountOpenSeams(CutTrack const& track, Proc::SettingsFilterCutController const& cuts);

}  // namespace Tarsel::Host
