#pragma once

#include <algorithm>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Host {

/// Stands behind a cached stream of a graph and makes up for what its readers don't expect of a stream. A cache gives
/// the item behind a refill twice: the second one is left out. A window holds no answer for a position at the very
/// start of one of its items: all streams of the controller are read there from their sources again. Everything else
/// passes untouched; to visitors and in statistics it isn't there. One consumer; `SetEndOfStream`, `IsEndOfStream`,
/// `GetDuration`, `GetFormatCodec` and `GetStatistic` as the cache.
template <class T>
class CachedStream final : public virtual T, public RefCounted {
  public:
    using DataType = typename T::DataType;

    /// `stream` is what `controller` gave.
    CachedStream(iptr<T> stream, iptr<Proc::IFilterCacheController> controller)
        : controller(std::move(controller)), stream(std::move(stream)) {}

    void Initialize(Core::Property const& property) override { stream->Initialize(property); }
    Core::Property GetSettings() override { return stream->GetSettings(); }
    int64 GetDuration() const override { return stream->GetDuration(); }
    int64 GetPosition() override { return stream->GetPosition(); }
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
            if (std::string_view(failure.what()).find(NOT_IN_WINDOW) == std::string_view::npos) throw;
            // Only a cache whose neighbours have all been asked looks into its window: they all go to `target`.
            controller->SeekCaches(target);
        }
    }
    bool FinishSeek() override { return stream->FinishSeek(); }
    Core::Property GetStatistic() override { return stream->GetStatistic(); }
    void SetEndOfStream() override { stream->SetEndOfStream(); }
    bool IsEndOfStream() override { return stream->IsEndOfStream(); }
    void ReleaseInternalData() override { stream->ReleaseInternalData(); }
    void Accept(Proc::IStreamVisitor& visitor) override { stream->Accept(visitor); }
    iptr<typename T::FormatType const> GetFormatCodec() const override { return stream->GetFormatCodec(); }

  private:
    /// What a cache says whose window reaches over a position that none of its items holds.
    static constexpr std::string_view NOT_IN_WINDOW = "buffer overrun";

    // Wiring. The cache calls its controller to the end.
    iptr<Proc::IFilterCacheController> const controller;
    iptr<T> const stream;

    // The reader.
    iptr<DataType> last;
    int64 target = 0;  // where the last seek goes
};

}  // namespace Tarsel::Host
