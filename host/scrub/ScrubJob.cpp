#include "host/scrub/ScrubJob.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <new>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/graph/Factories.h"
#include "host/media/AudioDecoder.h"
#include "host/media/VideoDecoder.h"
#include "host/scrub/SourceTap.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The streams of the file that are played.
struct Chosen {
    StreamInfo const* video = nullptr;
    StreamInfo const* audio = nullptr;
};

StreamInfo const* FindFirst(MediaFile const& file, StreamKind kind) {
    for (StreamInfo const& info : file.GetStreams())
        if (info.kind == kind && file.GetIndex(info.index).GetCount() > 0) return &info;
    return nullptr;
}

Chosen Choose(MediaFile const& file) {
    Chosen const chosen{FindFirst(file, StreamKind::Video), FindFirst(file, StreamKind::Audio)};
    if (!chosen.video && !chosen.audio)
        TARSEL_THROW(Core::IOException, file.GetPath() + ": holds neither pictures nor sound");
    return chosen;
}

TimeGrid MakeGrid(MediaFile const& file, Chosen const& chosen, int64 first) {
    StreamIndex const& index = file.GetIndex(chosen.video ? chosen.video->index : chosen.audio->index);
    return {index.GetTimes(), first, index.GetEndTime()};
}

/// Time of the first picture that can be decoded: a recording may begin within a group of pictures.
int64 FindFirstPicture(IStreamVideo& video) {
    video.RequestSeek(0, nullptr);
    video.DoSeek();
    video.FinishSeek();
    iptr<IDataVideo> const picture = video.Read();
    return picture ? picture->GetTime() : NO_VALUE;
}

template <class Decoder, class T>
iptr<T> Open(MediaFile& file, StreamInfo const& info, std::atomic<uint64>& seeks) {
    // Not in frame threads: every seek would have to fill them again, and Theora's decoder keeps pictures from in front
    // of a seek there.
    iptr<T> const decoder(Decoder::Create(file.OpenStream(info.index), "", DecoderOptions()));
    return iptr<T>(new SourceTap<T>(decoder, file.GetPath(), StreamName(info), seeks));
}

ScrubStreams OpenStreams(MediaFile& file, bool cached, std::atomic<uint64>& seeks) {
    Chosen const chosen = Choose(file);
    ScrubStreams streams;
    streams.duration = file.GetDuration();
    int64 first = 0;
    if (chosen.video) {
        streams.video = Open<VideoDecoder, IStreamVideo>(file, *chosen.video, seeks);
        first = FindFirstPicture(*streams.video);
        StreamIndex const& index = file.GetIndex(chosen.video->index);
        streams.entries = index.GetRandomAccessTimes();
    }
    if (chosen.audio) {
        streams.audio = Open<AudioDecoder, IStreamAudio>(file, *chosen.audio, seeks);
        streams.soundEnd = file.GetIndex(chosen.audio->index).GetEndTime();
    }
    if (HasValue(first)) streams.grid = MakeGrid(file, chosen, first);
    if (!cached) return streams;
    auto const controller = MakeFilterFactory()->Dedicated(FilterSlots::CACHE_CONTROLLER, ImplNames::DEFAULT)();
    if (streams.video) streams.video = controller->AddStream(streams.video);
    if (streams.audio) streams.audio = controller->AddStream(streams.audio);
    streams.caches = {controller};
    return streams;
}

/// Rethrows the failure in flight with the operation in front of its text.
[[noreturn]] void RethrowAt(std::size_t number, ScrubOperation const& operation) {
    try {
        throw;
    } catch (std::bad_alloc const&) {
        throw;
    } catch (std::exception const& failure) {
        TARSEL_THROW(ProcException,
                     "operation " + std::to_string(number + 1) + " (" + operation.ToText() + "): " + failure.what());
    }
}

bool NeedsSeek(ScrubOperation const& operation) {
    return operation.kind == ScrubOperation::Kind::Seek || operation.value < 0;
}

}  // namespace

ScrubReport RunScrub(iptr<MediaFile> const& file, ScrubScript const& script, ScrubOptions const& options) {
    using Clock = std::chrono::steady_clock;
    std::atomic<uint64> seeks{0};
    ScrubPlayer player(OpenStreams(*file, options.cached, seeks), options.listener);
    ScrubReport report;
    report.steps.reserve(script.size());
    for (ScrubOperation const& operation : script) {
        uint64 const seeksBefore = seeks;
        auto const start = Clock::now();
        ScrubMove move;
        try {
            move = player.Do(operation);
        } catch (std::exception const&) {
            RethrowAt(report.steps.size(), operation);
        }
        auto const time = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start).count();
        report.steps.push_back({operation, move, time});
        bool const sought = seeks != seeksBefore;
        if (sought) ++report.sourceSeeks;
        if (!sought && NeedsSeek(operation) && HasValue(move.real)) ++report.savedSeeks;
        if (options.progress) options.progress(report.steps.size());
    }
    return report;
}

ScrubScript MakeRandomScrub(MediaFile const& file, std::size_t count, uint64 seed) {
    return MakeRandomScrub(count, seed, MakeGrid(file, Choose(file), 0), file.GetDuration());
}

}  // namespace Tarsel::Host
