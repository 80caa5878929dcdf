#include "Proc/Filters/Filters/FilterRepeatController.h"

#include <algorithm>
#include <stdexcept>

#include "Proc/Filters/Filters/OneFrameRepeater.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

using Core::AutoLock;

iptr<IFilterRepeatController> FilterRepeatController::Create() {
    return MakeShared<FilterRepeatController>();
}

void FilterRepeatController::UpdateSettings(Settings const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

void FilterRepeatController::Initialize(Core::Property const& property) {
    if (property.Name() != CLASS_ID) TARSEL_THROW(std::invalid_argument, "incorrect controller name");
    redefineDuration = property[REDEFINE_DURATION].GetInt64();
    if (property[REPEAT_MODE].GetString() != REPEAT_MODE_LAST)
        TARSEL_THROW(std::invalid_argument, "incorrect repeat mode");
    AutoLock const lock(streamsLock);
    repeatMode = MODE_LAST;
}

template <class T>
iptr<T> FilterRepeatController::AddStreamTemplate(iptr<T> const& stream) {
    AutoLock const lock(streamsLock);
    IStream const* const added = stream.get();
    if (std::any_of(streams.begin(), streams.end(), [&](Entry const& entry) { return entry.second.get() == added; }))
        TARSEL_THROW(FilterException, "This stream is already added into current FilterRepeatController object");
    if (repeatMode != MODE_LAST)
        TARSEL_THROW(FilterException, "Repeat mode is not implemented in FilterRepeatController object");
    auto wrapper = MakeShared<OneFrameRepeater<T>>(stream, iptr<FilterRepeatController>(this));
    streams.emplace_back(wrapper.get(), stream);
    return wrapper;
}

iptr<IStreamSubtitle> FilterRepeatController::AddStream(iptr<IStreamSubtitle> const& stream) {
    return AddStreamTemplate(stream);
}
iptr<IStreamVideo> FilterRepeatController::AddStream(iptr<IStreamVideo> const& stream) {
    return AddStreamTemplate(stream);
}
iptr<IStreamAudio> FilterRepeatController::AddStream(iptr<IStreamAudio> const& stream) {
    return AddStreamTemplate(stream);
}
iptr<IStreamRaw> FilterRepeatController::AddStream(iptr<IStreamRaw> const&) {
    TARSEL_THROW(std::logic_error, "FilterRepeatController: raw streams are not supported");
}

void FilterRepeatController::RemoveStream(IStream const* wrapper) {
    iptr<IStream> source;  // let go behind the lock: its end may be that of another wrapper
    AutoLock const lock(streamsLock);
    auto const entry =
        std::find_if(streams.begin(), streams.end(), [&](Entry const& held) { return held.first == wrapper; });
    if (entry == streams.end()) return;
    source = std::move(entry->second);
    streams.erase(entry);
}

}  // namespace Tarsel::Proc
