#include "host/graph/GraphSources.h"

#include "contracts/Core/Exception.h"
#include "host/graph/GraphErrors.h"
#include "host/subtitles/SubtitleSource.h"

namespace Tarsel::Host {

namespace {

bool IsDecoded(StreamKind kind) {
    return kind == StreamKind::Video || kind == StreamKind::Audio || kind == StreamKind::Subtitle;
}

bool MayBeTitles(GraphSource const& source) {
    return !source.packets && (!source.stream.kind || *source.stream.kind == StreamKind::Subtitle);
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
    try {
        if (MayBeTitles(source)) {
            auto& known = titles[{source.file, source.charset}];
            if (!known && (known = OpenSubtitleFile(source.file, source.charset))) Enter(known);
            if (known) return known;
        }
        auto& known = byPath[source.file];
        if (known) return known;
        auto const ready = offered.find(source.file);
        iptr<MediaFile> const file = ready != offered.end() ? ready->second : MediaFile::Open(source.file);
        Enter(file);
        known = file;
        return file;
    } catch (Core::IOException const& failure) {
        FailAtNode(source.id, source.pointer + "/file", failure.what());
    }
}

void GraphSources::Enter(iptr<MediaFile> const& file) {
    file->GetDuration();  // the pass over the file: what is wrong with it shows here
    files.push_back(file);
}

void GraphSources::Offer(std::vector<iptr<MediaFile>> const& opened) {
    for (iptr<MediaFile> const& file : opened)
        if (!file->IsInMemory()) offered.emplace(file->GetPath(), file);
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
    bool const isTitles = info->kind == StreamKind::Subtitle && !source.packets;
    if (!isTitles && !source.charset.empty()) refuse(StreamName(*info) + ": a charset is one of subtitles");
    if (!isTitles && source.delay != 0) refuse(StreamName(*info) + ": a delay is one of subtitles");
    // Whoever draws none tells so.
    if (!isTitles && file->GetIndex(info->index).GetCount() == 0) refuse(StreamName(*info) + " holds no packets");
    return {file, info};
}

}  // namespace Tarsel::Host
