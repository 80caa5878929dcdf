#pragma once

#include <atomic>
#include <exception>
#include <functional>
#include <new>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "host/graph/GraphErrors.h"

namespace Tarsel::Host {

/// A stream that is made when it is read and goes when it is released, so that a timeline of thousands of clips holds
/// the decoders of those that are being played.
///
/// Goes in: how the stream is made, and what is known of it without it. Comes out: its items. Seek: goes to the stream
/// with the next read. End: null. After `ReleaseInternalData` reading goes on, without a seek, where the last item
/// ended. Failures of making and of reading come out as `GraphException` "POINTER: NAME: what is wrong".
/// Threads: one consumer; `SetEndOfStream`, `GetDuration` and `GetFormatCodec` from any thread.
template <class T>
class DeferredStream final : public virtual T, public RefCounted {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;

    struct Description {
        /// Stands in front of failures.
        std::string name;
        std::string pointer;
        int64 duration = 0;
        iptr<FormatType const> format;
        std::function<iptr<T>()> make;
    };

    static iptr<T> Create(Description description) { return iptr<T>(new DeferredStream(std::move(description))); }

    void Initialize(Core::Property const&) override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return description.duration; }
    int64 GetPosition() override { return seekPending ? target : position; }
    iptr<DataType> Read() override {
        if (endOfStream) return nullptr;
        try {
            iptr<DataType> item = ReadNext();
            if (item) position = AddTime(item->GetTime(), item->GetDuration());
            return item;
        } catch (GraphException const&) {
            throw;
        } catch (std::bad_alloc const&) {
            throw;
        } catch (std::exception const& failure) {
            FailAtPlace(description.pointer, description.name + ": " + failure.what());
        }
    }
    void RequestSeek(int64 place, iptr<IRefCountable>) override {
        endOfStream = false;
        target = place;
        seekPending = true;
    }
    void DoSeek() override {}
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override {
        iptr<T> const live = GetLive();
        return live ? live->GetStatistic() : Core::GetRootItem();
    }
    void SetEndOfStream() override {
        endOfStream = true;
        if (iptr<T> const live = GetLive()) live->SetEndOfStream();
    }
    bool IsEndOfStream() override { return endOfStream; }
    void ReleaseInternalData() override {
        if (!seekPending && HasValue(position)) target = position;
        seekPending = true;
        SetLive(nullptr);
    }
    void Accept(Proc::IStreamVisitor& visitor) override {
        if (iptr<T> const live = GetLive()) live->Accept(visitor);
    }
    iptr<FormatType const> GetFormatCodec() const override { return description.format; }

    /// Whether the stream stands: from the first read until `ReleaseInternalData`.
    bool IsLive() const { return GetLive() != nullptr; }

  private:
    explicit DeferredStream(Description description) : description(std::move(description)) {}

    iptr<DataType> ReadNext() {
        iptr<T> live = GetLive();
        if (!live) {
            live = description.make();
            SetLive(live);
        }
        if (seekPending) {
            live->RequestSeek(target, nullptr);
            live->DoSeek();
            seekPending = false;
        }
        return live->Read();
    }
    iptr<T> GetLive() const {
        Core::MutexLock const guard(lock);
        return stream;
    }
    void SetLive(iptr<T> made) {
        // What stood there goes outside of the lock.
        Core::MutexLock const guard(lock);
        stream.swap(made);
    }

    Description const description;

    // State of the consumer's thread.
    int64 target = 0;
    bool seekPending = true;
    int64 position = NO_VALUE;

    std::atomic<bool> endOfStream{false};

    /// Guards the stream's pointer alone; never held while the stream is called.
    mutable Core::Mutex lock;
    iptr<T> stream TARSEL_GUARDED_BY(lock);
};

}  // namespace Tarsel::Host
