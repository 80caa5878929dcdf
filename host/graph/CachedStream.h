#pragma once

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Time.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "host/media/ForwardingStream.h"
#include "host/media/SeekTogether.h"

namespace Tarsel::Host {

/// Stands behind a cached stream of a graph and makes up for what its readers don't expect of a stream. A cache gives
/// the item behind a refill twice: the second one is left out. A window holds no answer for a position at the very
/// start of one of its items: all streams of the controller are read there from their sources again. Everything else
/// passes untouched; to visitors and in statistics it isn't there. One consumer; `SetEndOfStream`, `IsEndOfStream`,
/// `GetDuration`, `GetFormatCodec` and `GetStatistic` as the cache.
template <class T>
class CachedStream final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    /// `stream` is what `controller` gave.
    CachedStream(iptr<T> stream, iptr<Proc::IFilterCacheController> controller)
        : ForwardingStream<T>(std::move(stream)), controller(std::move(controller)) {}

    iptr<DataType> Read() override {
        iptr<DataType> item = stream->Read();
        // Once only: a filter below may have a reason to give an object again and again.
        if (item && item == last) item = stream->Read();
        if (item) last = item;
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        last = nullptr;
        int64 const duration = stream->GetDuration();
        target = HasValue(duration) ? std::min(position, duration) : position;
        stream->RequestSeek(position, std::move(seekContext));
    }
    void DoSeek() override {
        try {
            stream->DoSeek();
        } catch (std::logic_error const& failure) {
            // The sources' failures are of other classes: their nodes have named them.
            if (!MissesWindow(failure)) throw;
            // Only a cache whose neighbours have all been asked looks into its window: they all go to `target`.
            controller->SeekCaches(target);
        }
    }

  private:
    using ForwardingStream<T>::stream;

    iptr<Proc::IFilterCacheController> const controller;

    // The reader.
    iptr<DataType> last;
    int64 target = 0;  // where the last seek goes
};

}  // namespace Tarsel::Host
