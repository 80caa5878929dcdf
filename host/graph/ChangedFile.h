#pragma once

#include <functional>
#include <optional>
#include <string>

#include "host/graph/FormMaker.h"

namespace Tarsel::Host {

/// Puts a filter over a source.
using PutFilter = std::function<NodeId(FormMaker& maker, StreamInfo const& info, NodeId source)>;

/// What a short form puts over the streams of a file.
struct StreamChanges {
    /// Each may be missing: streams of its kind stay as they are.
    PutFilter video;
    PutFilter audio;
    /// Which stream of the file goes into the changed ones and has no other place in the output; may be missing.
    std::function<std::optional<int>(MediaFile const& file)> replaced = {};

    PutFilter const* Find(StreamKind kind) const {
        if (kind == StreamKind::Video && video) return &video;
        return kind == StreamKind::Audio && audio ? &audio : nullptr;
    }
};

/// The graph of a file whose pictures or sound are changed and encoded; all other streams go along as packets where the
/// container takes them, and what finds no way is told. Throws `GraphException` for a file in which there is none of a
/// kind that is to be changed.
ShortFormGraph MakeChangedGraph(std::string const& input, StreamChanges const& changes,
                                ShortFormOptions const& options);

}  // namespace Tarsel::Host
