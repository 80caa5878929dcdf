#include "host/graph/GraphSources.h"

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

namespace {

bool IsDecoded(StreamKind kind) {
    return kind == StreamKind::Video || kind == StreamKind::Audio || kind == StreamKind::Subtitle;
}

}  // namespace

StreamInfo const* SelectStream(MediaFile const& file, StreamSelector const& selector) {
    int place = 0;
    for (StreamInfo const& info : file.GetStreams()) {
        if (!selector.kind && info.index == selector.ordinal) return &info;
        if (selector.kind && info.kind == *selector.kind && place++ == selector.ordinal) return &info;
    }
    return nullptr;
}

std::string WantedStream(StreamSelector const& selector) {
    std::string const number = std::to_string(selector.ordinal);
    if (!selector.kind) return "stream #" + number;
    return std::string(KindName(*selector.kind)) + " stream" + (selector.ordinal == 0 ? "" : " number " + number);
}

iptr<MediaFile> GraphSources::Open(GraphSource const& source) {
    auto const known = byPath.find(source.file);
    if (known != byPath.end()) return known->second;
    try {
        auto const ready = offered.find(source.file);
        iptr<MediaFile> file = ready != offered.end() ? ready->second : MediaFile::Open(source.file);
        file->GetDuration();  // the pass over the file: what is wrong with it shows here
        byPath[source.file] = file;
        files.push_back(file);
        return file;
    } catch (Core::IOException const& failure) {
        FailAtNode(source.id, source.pointer + "/file", failure.what());
    }
}

void GraphSources::Offer(std::vector<iptr<MediaFile>> const& opened) {
    for (iptr<MediaFile> const& file : opened) offered.emplace(file->GetPath(), file);
}

GraphOrigin GraphSources::Find(GraphSource const& source) {
    iptr<MediaFile> const file = Open(source);
    auto const refuse = [&](std::string const& what) {
        FailAtNode(source.id, source.pointer + "/stream", file->GetPath() + ": " + what);
    };
    StreamInfo const* const info = SelectStream(*file, source.stream);
    if (!info) refuse("there is no " + WantedStream(source.stream));
    if (!info->HasPackets()) refuse(StreamName(*info) + " has no place in time");
    if (!source.packets && !IsDecoded(info->kind)) refuse(StreamName(*info) + " can't be decoded: ask for its packets");
    if (file->GetIndex(info->index).GetCount() == 0) refuse(StreamName(*info) + " holds no packets");
    return {file, info};
}

}  // namespace Tarsel::Host
