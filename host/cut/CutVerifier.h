#pragma once

#include <array>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IData.h"
#include "host/cut/CutRequest.h"
#include "host/cut/CutTrack.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// Keeps digests of what goes into a result, and compares them with what a reader finds in it.
///
/// A payload counts without what a container may put in front of it or take away: parameter sets and delimiters of
/// H.264 and HEVC, their framing, ADTS headers.
class TARSEL_HOST_EXPORT CutVerifier {
  public:
    /// Notes a packet that goes to the result.
    void Note(CutTrack const& track, Proc::IDataPacket const& packet);

    /// Opens the result and checks it: packets as noted, everything decodes, as many pictures as packets, each stream
    /// ends where it should, sound and picture together. Throws `VerificationMismatch` that names the stream and what
    /// differs.
    void Check(std::string const& path, std::vector<CutTrack> const& tracks, ProgressCallback const& progress) const;

  private:
    struct Noted {
        std::array<u8, 16> digest;
        std::size_t size;  // of the canonical payload
        int64 time;
    };
    struct Stream {
        std::vector<Noted> packets;
        int64 end = NO_VALUE;     // of what ends last, in result time
        int64 longestPacket = 0;  // microseconds
    };

    void ComparePackets(MediaFile& file, StreamInfo const& info, CutTrack const& track, Stream const& noted) const;
    void Decode(MediaFile& file, StreamInfo const& info, CutTrack const& track, Stream const& noted,
                ProgressCallback const& progress) const;
    void CheckEnds(std::vector<CutTrack> const& tracks) const;

    std::vector<Stream> streams;  // by the writer's number
};

}  // namespace Tarsel::Host
