#pragma once

#include <string>
#include <vector>

#include "host/graph/FormMaker.h"

namespace Tarsel::Host {

/// The streams of a file on their way into the graph of a short form that changes some of them: what it doesn't change
/// goes along as packets where the container takes them. The maker and the file outlive it.
class KeptStreams {
  public:
    KeptStreams(FormMaker& maker, MediaFile const& file, ShortFormOptions const& options);

    /// The streams that may have a place in the output, in the order of the file. Files inside the file and cover
    /// pictures aren't among them: whoever runs the graph takes them along.
    std::vector<StreamInfo const*> GetStreams() const;
    /// Whether there is something in the stream and the container has room for it; the reason against is told.
    bool HasRoom(StreamInfo const& info);
    /// Whether the container is written with streams of the kind, so that one can be encoded for it.
    bool Encodes(StreamKind kind) const;
    /// Why the container doesn't take the stream's packets; empty where it does.
    std::string WhyNoPackets(StreamInfo const& info) const;
    StreamSelector Select(StreamInfo const& info) const;
    /// Adds an output of what stands over the stream's source, encoded as the options say.
    void AddEncoded(StreamInfo const& info, NodeId top);
    /// Adds the stream as it is: as packets, or encoded anew where its codec alone doesn't fit, which is told. One that
    /// finds no way is told as left out.
    void AddUnchanged(StreamInfo const& info);
    bool HasTaken(StreamKind kind) const;

  private:
    FormMaker& maker;
    MediaFile const& file;
    ShortFormOptions const& options;
    AVOutputFormat const* const container;
    std::vector<StreamKind> taken;
};

}  // namespace Tarsel::Host
