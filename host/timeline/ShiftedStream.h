#pragma once

#include <algorithm>
#include <utility>

#include "contracts/Core/Time.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// A stream on another time axis: every item comes `offset` microseconds later than the source has it. Goes in: any
/// stream. Comes out: its items at other times. Seek: to the same place of the source, and to its start for places in
/// front of that. End and threads: the source's.
template <class T>
class ShiftedStream final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    static iptr<T> Create(iptr<T> source, int64 offset) {
        if (offset == 0) return source;
        return iptr<T>(new ShiftedStream(std::move(source), offset));
    }

    int64 GetDuration() const override {
        int64 const duration = AddTime(stream->GetDuration(), offset);
        return HasValue(duration) ? std::max<int64>(duration, 0) : duration;
    }
    int64 GetPosition() override { return AddTime(stream->GetPosition(), offset); }
    iptr<DataType> Read() override {
        iptr<DataType> item = Proc::MakeOwn(stream->Read());
        if (item) item->SetTime(AddTime(item->GetTime(), offset));
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        stream->RequestSeek(std::max<int64>(SubTime(position, offset), 0), std::move(seekContext));
    }

  private:
    using ForwardingStream<T>::stream;

    ShiftedStream(iptr<T> source, int64 offset) : ForwardingStream<T>(std::move(source)), offset(offset) {}

    int64 const offset;
};

}  // namespace Tarsel::Host
