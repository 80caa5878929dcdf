#pragma once

#include <atomic>
#include <stdexcept>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Host {

/// The base of the host's decoders and encoders: `T` is the interface of the source, `U` the one offered.
///
/// Goes in: one source stream, never null. Comes out: what `ReadNext` makes of it. Seek: clamped to the source's
/// duration, forwarded with `SourcePosition` applied, then `Restart`. End: null, again and again. After
/// `ReleaseInternalData` reading goes on without a seek, from the pending seek position or the end of the last item.
/// Threads: one consumer; `GetDuration`, `GetStatistic`, `SetEndOfStream` and `IsEndOfStream` from any thread.
template <class T, class U>
class CodecStream : public virtual U, public RefCounted {
  public:
    using DataType = typename U::DataType;

    CodecStream(CodecStream const&) = delete;
    CodecStream& operator=(CodecStream const&) = delete;

    void Initialize(Core::Property const& property) override {
        TARSEL_THROW(Proc::FilterException, "Filter was initialized with incorrect class (" + property.Name());
    }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return source->GetDuration(); }

    int64 GetPosition() override {
        if (int64 const known = position; HasValue(known)) return known;
        if (!peeked && !IsEndOfStream()) peeked = Produce();
        if (peeked) position = peeked->GetTime();
        return position;
    }

    iptr<DataType> Read() override {
        if (IsEndOfStream()) return nullptr;
        iptr<DataType> item = peeked ? std::exchange(peeked, nullptr) : Produce();
        if (!item) return nullptr;
        position = AddTime(item->GetTime(), item->GetDuration());
        ++itemsDelivered;
        return item;
    }

    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override {
        endOfStream = false;
        int64 const duration = GetDuration();
        if (HasValue(duration) && target > duration) target = duration;
        position = NO_VALUE;
        peeked = nullptr;
        released = false;
        seekTarget = target;
        source->RequestSeek(SourcePosition(target), std::move(seekContext));
    }

    void DoSeek() override {
        source->DoSeek();
        Restart(seekTarget);
    }

    bool FinishSeek() override { return source->FinishSeek(); }

    Core::Property GetStatistic() override {
        Core::Property tree = source->GetStatistic();
        Core::Property own = Core::MakeStatistics(GetClassName() + "::GetStatistic", 0, itemsDelivered);
        AddStatistics(own);
        tree.Add(std::move(own));
        return tree;
    }

    void SetEndOfStream() override {
        endOfStream = true;
        source->SetEndOfStream();
    }
    bool IsEndOfStream() override { return endOfStream; }

    void ReleaseInternalData() override {
        int64 const reached = position;
        if (HasValue(reached)) seekTarget = reached;
        peeked = nullptr;
        released = true;
        CloseCodec();
        Restart(NO_VALUE);
        source->ReleaseInternalData();
    }

    void Accept(Proc::IStreamVisitor& visitor) override {
        Enter(visitor);
        source->Accept(visitor);
    }

  protected:
    explicit CodecStream(iptr<T> stream) : source(std::move(stream)) {
        if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    }

    /// The class name with its namespaces, for statistics.
    virtual std::string GetClassName() const = 0;
    /// Enters the stream into the visitor's collection.
    virtual void Enter(Proc::IStreamVisitor& visitor) = 0;
    /// The next item, or null at the end, again and again.
    virtual iptr<DataType> ReadNext() = 0;
    /// Forgets everything decoded or encoded so far. `target` is where the consumer wants to go on, or no value.
    virtual void Restart(int64 target) = 0;
    /// Gives back what the codec holds while it works; the next item opens it again.
    virtual void CloseCodec() {}
    /// Where the source has to go for items at `target`.
    virtual int64 SourcePosition(int64 target) const { return target; }
    virtual void AddStatistics(Core::Property&) const {}

    iptr<T> const source;

  private:
    iptr<DataType> Produce() {
        if (released) {
            released = false;
            int64 const target = HasValue(seekTarget) ? seekTarget : 0;
            source->RequestSeek(SourcePosition(target), nullptr);
            source->DoSeek();
            Restart(target);
        }
        return ReadNext();
    }

    // State of the consumer's thread.
    iptr<DataType> peeked;
    int64 seekTarget = NO_VALUE;
    bool released = false;

    // Read by other threads.
    std::atomic<int64> position{NO_VALUE};
    std::atomic<bool> endOfStream{false};
    std::atomic<unsigned> itemsDelivered{0};
};

}  // namespace Tarsel::Host
