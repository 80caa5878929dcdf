#pragma once

#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/graph/NodeRecord.h"

namespace Tarsel::Host {

namespace Details {

/// A compressed stream says what it carries; the other kinds have nothing to add.
template <class T>
class MeteredKind : public virtual T {
  protected:
    explicit MeteredKind(T const&) {}
};
template <>
class MeteredKind<Proc::IStreamRaw> : public virtual Proc::IStreamRaw {
  public:
    MediaType GetMediaType() const override { return stream.GetMediaType(); }

  protected:
    explicit MeteredKind(Proc::IStreamRaw const& stream) : stream(stream) {}

  private:
    Proc::IStreamRaw const& stream;  // the meter's own
};

}  // namespace Details

/// Stands behind a node of a graph: counts and times what it does, names it in every failure, and ends a node that
/// gives items for ever. Everything else passes untouched; to visitors and in statistics it isn't there. An item that
/// comes through stays the same object. Seek, end and threads: the node's own.
template <class T>
class NodeMeter final : public Details::MeteredKind<T>, public RefCounted {
  public:
    using DataType = typename T::DataType;

    /// A limit of 0: no guard, for a stream that others seek behind the meter's back.
    NodeMeter(iptr<T> node, iptr<NodeRecord> nodeRecord, int64 stallLimit)
        : Details::MeteredKind<T>(*node), stream(std::move(node)), record(std::move(nodeRecord)), guard(stallLimit) {}

    void Initialize(Core::Property const& property) override { stream->Initialize(property); }
    Core::Property GetSettings() override { return stream->GetSettings(); }
    int64 GetDuration() const override {
        return Named([&] { return stream->GetDuration(); });
    }
    int64 GetPosition() override {
        return Timed([&] { return stream->GetPosition(); });
    }
    iptr<DataType> Read() override {
        iptr<DataType> item = Timed([&] { return stream->Read(); });
        ++(item ? record->items : record->nulls);
        if (Stalls(item.get()) && guard.GetLimit() > 0) record->FailStalled(guard.GetLimit());
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        guard.Restart();
        Timed([&] { stream->RequestSeek(position, std::move(seekContext)); });
    }
    void DoSeek() override {
        Timed([&] { stream->DoSeek(); });
    }
    bool FinishSeek() override {
        return Timed([&] { return stream->FinishSeek(); });
    }
    Core::Property GetStatistic() override { return stream->GetStatistic(); }
    void SetEndOfStream() override { stream->SetEndOfStream(); }
    bool IsEndOfStream() override { return stream->IsEndOfStream(); }
    void ReleaseInternalData() override {
        Timed([&] { stream->ReleaseInternalData(); });
    }
    void Accept(Proc::IStreamVisitor& visitor) override { stream->Accept(visitor); }
    iptr<typename T::FormatType const> GetFormatCodec() const override {
        return Named([&] { return stream->GetFormatCodec(); });
    }

  private:
    bool Stalls(DataType const* item) {
        if (!item) return guard.NoteEnd();
        int64 const time = item->GetTime();
        return guard.Note(time, AddTime(time, item->GetDuration()));
    }
    template <class Call>
    auto Named(Call call) const {
        try {
            return call();
        } catch (std::exception const&) {
            record->Rethrow();
        }
    }
    template <class Call>
    auto Timed(Call call) {
        NodeTimer const timer(*record);
        return Named(call);
    }

    iptr<T> const stream;
    iptr<NodeRecord> const record;
    // Of whoever reads. Below a cache these are two threads, which the cache keeps apart by its own lock.
    StallGuard guard;
};

}  // namespace Tarsel::Host
