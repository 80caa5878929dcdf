#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Proc/IStream.h"
#include "host/graph/GraphDocument.h"
#include "host/media/MediaFile.h"

namespace Tarsel::Host {

/// Where the packets of a stream come from.
struct GraphOrigin {
    iptr<MediaFile> file;
    StreamInfo const* info = nullptr;  // the file's
};

/// The stream of a file that a selector means, null when there is none.
StreamInfo const* SelectStream(MediaFile const& file, StreamSelector const& selector);
/// "audio stream number 1": what a selector asks for, for messages.
std::string WantedStream(StreamSelector const& selector);

/// The media files of a graph, each opened once, and their streams. One thread.
class GraphSources {
  public:
    /// The stream of the file that a source names. Throws `GraphException` for a file that can't be read, a stream that
    /// isn't there, one without packets, and one that can't be decoded though packets aren't asked for.
    GraphOrigin Find(GraphSource const& source);
    /// Files that are open already; those that a source names aren't opened again.
    void Offer(std::vector<iptr<MediaFile>> const& opened);
    /// All files in the order in which they were opened.
    std::vector<iptr<MediaFile>> const& GetFiles() const { return files; }

  private:
    iptr<MediaFile> Open(GraphSource const& source);
    void Enter(iptr<MediaFile> const& file);

    std::map<std::string, iptr<MediaFile>> offered;
    std::map<std::string, iptr<MediaFile>> byPath;
    /// Files that are opened in another way for their subtitles, by path and charset; null for other ones.
    std::map<std::pair<std::string, std::string>, iptr<MediaFile>> titles;
    std::vector<iptr<MediaFile>> files;
};

}  // namespace Tarsel::Host
