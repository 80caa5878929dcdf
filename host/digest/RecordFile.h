#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "host/digest/RecordJob.h"
#include "host/digest/RecordReport.h"
#include "host/graph/GraphReader.h"

namespace Tarsel::Host {

/// A recording into files.
struct RecordRequest {
    /// A graph file, or a media file.
    std::string input;
    /// Of a graph file.
    GraphVariables variables;
    /// Where the record goes.
    std::string output;
    /// Where the frame hashes go; empty: nowhere.
    std::string frameHashes;
    /// Replace files that stand there.
    bool force = false;
    /// Of a media file: also what is decoded, and the frame hashes are those of it.
    bool decoded = false;
    /// See `RecordOptions`.
    std::vector<NodeId> nodes;
    std::vector<int64> seeks;
    /// See `GraphBuildOptions`.
    int decoderThreads = 0;
};

/// What there is to record.
struct RecordPlan {
    GraphDocument document;
    /// The media file, open; null for a graph.
    iptr<MediaFile> media;
    /// What was left out of it.
    std::vector<std::string> warnings;
};

/// Whether a file is to be read as a graph: whether its text begins as a JSON object does. False for one that can't be
/// read.
TARSEL_HOST_EXPORT bool IsGraphFile(std::string const& path);

/// Reads the graph, or looks through the media file. Before that it refuses places where nothing can be written, those
/// where a file stands unless `force` is set, and the input itself. Failures: those of `ReadGraph`, `MakeMediaGraph`
/// and `OutputFile`.
TARSEL_HOST_EXPORT RecordPlan PlanRecord(RecordRequest const& request);

/// Asked for right ahead of the moment in which complete files are put in their places; what it gives is let go when
/// all of them stand there. Whoever would end the program at any other moment can hold that off for so long.
using PlacingGuard = std::function<std::shared_ptr<void>()>;

/// Records and writes the files, which appear when both are complete; after a failure there is none. Only where the
/// hashes can't be put in place when the record has replaced another one already, the new record stays, and the failure
/// says so. A media file of the graph in the place of an output is refused before anything is read, and so are frame
/// hashes where the document tells that all their nodes give subtitles. Failures: those of `RecordGraph`, `FrameHashes`
/// and `OutputFile`.
TARSEL_HOST_EXPORT RecordReport RecordToFile(RecordPlan const& plan, RecordRequest const& request,
                                             ProgressCallback const& progress, PlacingGuard const& guard = {});

}  // namespace Tarsel::Host
