#include "Proc/Filters/Filters/FilterSeekController.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "Proc/Filters/Filters/SeekControllerStreamImpl.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

/// The streams' locks, given up in the order in which they were taken.
struct StreamLocks {
    StreamLocks() = default;
    StreamLocks(StreamLocks const&) = delete;
    StreamLocks& operator=(StreamLocks const&) = delete;
    ~StreamLocks() {
        for (auto& lock : locks) lock.reset();
    }

    std::vector<IStreamSeekController::StreamLock> locks;
};

}  // namespace

iptr<IFilterSeekController> FilterSeekController::Create() {
    return MakeShared<FilterSeekController>();
}

void FilterSeekController::UpdateSettings(Settings const&) {
    TARSEL_THROW(FilterException, "Not implemented");
}

void FilterSeekController::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID) TARSEL_THROW(std::logic_error, "incorrect controller name");
}

// --- Streams ---------------------------------------------------------------------------------------------------------

template <class T>
iptr<T> FilterSeekController::RegisterStreamTemplate(iptr<T> const& stream) {
    if (!stream) TARSEL_THROW(std::invalid_argument, "parentStream is NULL.");
    Core::RecursiveMutexLock const lock(mutex);
    for (Entry const& entry : entries) {
        if (entry.source.get() == static_cast<IStream*>(stream.get()))
            TARSEL_THROW(FilterException, "This stream is already added into current IFilterSeekController object");
        if (entry.source->GetDuration() != stream->GetDuration())
            TARSEL_THROW(FilterException,
                         "Duration of new stream differs from duration of other streams already registered in "
                         "FilterSeekController.");
    }
    auto const wrapper = MakeShared<SeekControllerStreamImpl<T>>(stream, iptr<FilterSeekController>(this));
    entries.push_back({stream, wrapper.get(), wrapper.get()});
    return wrapper;
}

iptr<IStreamSubtitle> FilterSeekController::AddStream(iptr<IStreamSubtitle> const&) {
    return nullptr;
}

iptr<IStreamVideo> FilterSeekController::AddStream(iptr<IStreamVideo> const& stream) {
    return RegisterStreamTemplate(stream);
}

iptr<IStreamAudio> FilterSeekController::AddStream(iptr<IStreamAudio> const& stream) {
    return RegisterStreamTemplate(stream);
}

iptr<IStreamRaw> FilterSeekController::AddStream(iptr<IStreamRaw> const& stream) {
    return RegisterStreamTemplate(stream);
}

void FilterSeekController::RemoveStream(IStream const* wrapper) {
    // Given up behind the lock: the source's end may be anything.
    iptr<IStream> source;
    Core::RecursiveMutexLock const lock(mutex);
    auto const found =
        std::find_if(entries.begin(), entries.end(), [wrapper](Entry const& entry) { return entry.stream == wrapper; });
    if (found == entries.end()) return;
    source = std::move(found->source);
    entries.erase(found);
}

// --- Seek ------------------------------------------------------------------------------------------------------------

bool FilterSeekController::StandsAt(int64 position) {
    return std::any_of(entries.begin(), entries.end(),
                       [position](Entry const& entry) { return entry.stream->GetPosition() == position; });
}

void FilterSeekController::Seek(int64 position) {
    Core::RecursiveMutexLock const lock(mutex);
    StreamLocks held;
    for (Entry const& entry : entries) held.locks.push_back(entry.wrapper->LockStream());
    // Meant: one stream that still stands there is enough, even where the others have been read on.
    if (position == lastSeekPosition && StandsAt(position)) {
        for (Entry const& entry : entries) entry.wrapper->ReturnAfterRelease(position);
        return;
    }
    for (Entry const& entry : entries) {
        entry.wrapper->ResetForSeek();
        entry.source->RequestSeek(position, nullptr);
    }
    for (Entry const& entry : entries) entry.source->DoSeek();
    lastSeekPosition = position;
}

}  // namespace Tarsel::Proc
