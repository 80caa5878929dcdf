#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Proc/GraphCRCData.h"
#include "host/graph/GraphBuilder.h"

namespace Tarsel::Host {

/// The nodes whose items a run without an output reads, by what a document says alone: those of its output's list, and
/// without such a list all that nobody else reads.
TARSEL_HOST_EXPORT std::vector<NodeId> FindEnds(GraphDocument const& document);

/// Writes a record in the frame-hash text of the ffmpeg tools ("framemd5", version 2), so that it can be held against
/// theirs. It stands below the digests of a run and notes what they don't: sizes, lengths, decoding times. The hashes
/// are the record's own; only those of planar sound are taken anew, over interleaved samples, as the format wants.
///
/// Times are those of the streams, in ticks of the source's clock for packets, of one picture for pictures and of one
/// sample for sound. Of a media file they are the file's own times, and those of its packets to the letter. Decoded
/// subtitles have no place in the format: they are left out with a warning.
///
/// One run each. The wrap holds what it needs; the object may be asked when the run has ended.
class TARSEL_HOST_EXPORT FrameHashes {
  public:
    /// Of these nodes of a graph, numbered in this order. An id that comes twice counts once.
    explicit FrameHashes(std::vector<NodeId> const& nodes);
    /// Of these nodes of the graph that `MakeMediaGraph` made of the file. Reads through the file. Throws
    /// `Core::IOException`.
    FrameHashes(std::vector<NodeId> const& nodes, iptr<MediaFile> const& file);
    ~FrameHashes();
    FrameHashes(FrameHashes const&) = delete;
    FrameHashes& operator=(FrameHashes const&) = delete;

    /// What stands below the digests (`RecordOptions::building`).
    NodeWrap GetWrap() const;
    /// The text, once the run has ended. Throws `GraphException` when no stream is left, or when the record doesn't
    /// hold the items that were noted.
    std::string ToText(Proc::GraphCRCData const& record) const;
    /// Nodes that were left out.
    std::vector<std::string> GetWarnings() const;

  private:
    struct State;
    std::shared_ptr<State> const state;
};

}  // namespace Tarsel::Host
