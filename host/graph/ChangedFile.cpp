#include "host/graph/ChangedFile.h"

#include <algorithm>
#include <string>

#include "host/graph/GraphErrors.h"
#include "host/graph/KeptStreams.h"
#include "host/media/Containers.h"

namespace Tarsel::Host {

namespace {

/// What is the matter with a file none of whose streams of a kind has been taken.
[[noreturn]] void FailWithout(MediaFile const& file, StreamKind kind, AVOutputFormat const* container) {
    auto const& streams = file.GetStreams();
    bool const present = std::any_of(streams.begin(), streams.end(), [&](StreamInfo const& info) {
        return !info.derived && info.kind == kind && info.HasPackets() && file.GetIndex(info.index).GetCount() != 0;
    });
    std::string const name(KindName(kind));
    FailAtPlace("", file.GetPath() + ": there is no " + name + " in it" +
                        (present && container ? " that " + std::string(container->name) + " is written with" : ""));
}

}  // namespace

ShortFormGraph MakeChangedGraph(std::string const& input, StreamChanges const& changes,
                                ShortFormOptions const& options) {
    FormMaker maker(options);
    iptr<MediaFile> const file = maker.Open(input);
    KeptStreams streams(maker, *file, options);
    std::optional<int> const replaced = changes.replaced ? changes.replaced(*file) : std::nullopt;
    for (StreamInfo const* const info : streams.GetStreams()) {
        if (info->index == replaced) continue;
        if (!streams.HasRoom(*info)) continue;
        PutFilter const* const change = changes.Find(info->kind);
        std::string const& codec = info->kind == StreamKind::Video ? options.videoCodec : options.audioCodec;
        if (!change)
            streams.AddUnchanged(*info);
        else if (!streams.Encodes(info->kind) && codec.empty())
            maker.WarnLeftOut(
                *file, *info,
                std::string(maker.GetContainer()->name) + " is written with no " + std::string(KindName(info->kind)));
        else
            streams.AddEncoded(*info, (*change)(maker, *info, maker.AddSource(input, streams.Select(*info))));
    }
    for (StreamKind const kind : {StreamKind::Video, StreamKind::Audio})
        if (changes.Find(kind) && !streams.HasTaken(kind)) FailWithout(*file, kind, maker.GetContainer());
    return maker.Finish();
}

}  // namespace Tarsel::Host
