#pragma once

#include <utility>

#include "contracts/Core/Exception.h"
#include "host/graph/NodeRecord.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Stands behind a node of a graph: counts and times what it does, names it in every failure, and ends a node that
/// gives items for ever. Everything else passes untouched; to visitors and in statistics it isn't there. An item that
/// comes through stays the same object. Seek, end and threads: the node's own.
template <class T>
class NodeMeter final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;
    using typename ForwardingStream<T>::FormatType;

    /// A limit of 0: no guard, for a stream that others seek behind the meter's back.
    NodeMeter(iptr<T> node, iptr<NodeRecord> nodeRecord, int64 stallLimit)
        : ForwardingStream<T>(std::move(node)), record(std::move(nodeRecord)), guard(stallLimit) {}

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
    void ReleaseInternalData() override {
        Timed([&] { stream->ReleaseInternalData(); });
    }
    iptr<FormatType const> GetFormatCodec() const override {
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

    using ForwardingStream<T>::stream;

    iptr<NodeRecord> const record;
    // Of whoever reads. Below a cache these are two threads, which the cache keeps apart by its own lock.
    StallGuard guard;
};

}  // namespace Tarsel::Host
