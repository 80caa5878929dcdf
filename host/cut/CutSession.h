#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contracts/Proc/IFilterCutController.h"
#include "host/cut/CutReport.h"
#include "host/cut/CutRequest.h"
#include "host/cut/CutTrack.h"
#include "host/media/MediaFile.h"
#include "host/media/StepReader.h"

namespace Tarsel::Host {

/// The graph of a cut over one file: each stream of packets behind one cut controller, read in step.
///
/// Order of calls: construct, `AddStream` for each stream that is wanted, `Start`, then `Read` until null, then
/// `MakeReport`.
class CutSession {
  public:
    CutSession(CutRequest const& request, iptr<MediaFile> file);

    /// Enters a stream of packets and decides how it is cut. The reference stays valid until the next call.
    CutTrack& AddStream(StreamInfo const& info);
    /// Enters a picture or sound stream that is decoded, cut exactly, and encoded to `codec`.
    CutTrack& AddDecodedStream(StreamInfo const& info, std::string const& codec);
    std::vector<CutTrack>& GetTracks() { return tracks; }

    /// Settles the ranges, hands them to the controller and seeks all streams to the start. Throws as `ResolveRanges`
    /// does.
    void Start();
    /// The packet with the lowest decoding time of all streams, and its track; null at the end of all.
    iptr<Proc::IDataPacket> Read(CutTrack*& track);

    /// The cut list as it stands now.
    Proc::SettingsFilterCutController GetCuts() const { return controller->GetCutSettings(); }
    /// Everything but output, verdict and wall time.
    CutReport MakeReport() const;

    std::vector<std::string>& GetWarnings() { return warnings; }

  private:
    CutTrack MakeTrack(StreamInfo const& info) const;
    void DescribeMode(CutTrack& track, std::string const& refusal) const;
    std::vector<int64> FindPictureTimes() const;
    iptr<Proc::IDataPacket> Fetch(CutTrack& track) const;
    void WarnOfMovedEnds(Proc::SettingsFilterCutController const& asked);
    void Adjust(CutTrack const& track, iptr<Proc::IDataPacket> const& packet) const;

    CutRequest const request;
    iptr<MediaFile> const file;
    iptr<Proc::IFilterCutController> controller;
    std::vector<CutTrack> tracks;
    std::vector<std::string> warnings;
    Proc::SettingsFilterCutController cuts;  // as it stood when reading began
    std::optional<StepReader> reader;        // from `Start` on
};

}  // namespace Tarsel::Host
