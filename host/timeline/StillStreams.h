#pragma once

#include <atomic>
#include <type_traits>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamVisitor.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// What stands still: one item for the whole of a stream, or none at all. Seek: nothing but the place is kept. End:
/// null. Threads: one consumer; `SetEndOfStream`, `GetDuration` and `GetFormatCodec` from any thread.
template <class T>
class StillStream : public virtual T, public RefCounted {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;

    void Initialize(Core::Property const&) override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return duration; }
    int64 GetPosition() override { return place; }
    void RequestSeek(int64 position, iptr<IRefCountable>) override {
        endOfStream = false;
        place = position;
    }
    void DoSeek() override {}
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { endOfStream = true; }
    bool IsEndOfStream() override { return endOfStream; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "StillStream", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }
    iptr<FormatType const> GetFormatCodec() const override { return format; }

  protected:
    StillStream(iptr<FormatType const> description, int64 length) : duration(length), format(std::move(description)) {}

    int64 const duration;
    /// Of the consumer's thread.
    int64 place = 0;

  private:
    iptr<FormatType const> const format;
    std::atomic<bool> endOfStream{false};
};

/// One picture, shown from 0 to the end.
class StillVideo final : public StillStream<Proc::IStreamVideo> {
  public:
    static iptr<Proc::IStreamVideo> Create(iptr<Conf::IFormatCodecVideo const> format, iptr<Proc::IDataVideo> picture,
                                           int64 duration) {
        return iptr<Proc::IStreamVideo>(new StillVideo(std::move(format), std::move(picture), duration));
    }

    iptr<Proc::IDataVideo> Read() override {
        if (IsEndOfStream() || place >= duration) return nullptr;
        iptr<Proc::IDataVideo> item = picture->Clone(false);
        item->SetTime(0);
        item->SetDuration(duration);
        place = duration;
        return item;
    }

  private:
    StillVideo(iptr<Conf::IFormatCodecVideo const> format, iptr<Proc::IDataVideo> shown, int64 length)
        : StillStream(std::move(format), length), picture(std::move(shown)) {}

    iptr<Proc::IDataVideo> const picture;
};

/// No sound at all: a trimmer behind it makes silence of it.
class SilentAudio final : public StillStream<Proc::IStreamAudio> {
  public:
    static iptr<Proc::IStreamAudio> Create(iptr<Conf::IFormatCodecAudio const> format, int64 duration) {
        return iptr<Proc::IStreamAudio>(new SilentAudio(std::move(format), duration));
    }

    iptr<Proc::IDataAudio> Read() override { return nullptr; }

  private:
    using StillStream::StillStream;
};

/// Counts what comes through: items, and samples of sound. Seek: the count begins anew.
template <class T>
class CountedStream final : public ForwardingStream<T> {
  public:
    using typename ForwardingStream<T>::DataType;

    static iptr<CountedStream> Create(iptr<T> source) { return iptr<CountedStream>(new CountedStream(source)); }

    iptr<DataType> Read() override {
        iptr<DataType> item = stream->Read();
        if constexpr (std::is_same_v<T, Proc::IStreamAudio>)
            count += item ? item->GetSampleCount() : 0;
        else
            count += item ? 1 : 0;
        return item;
    }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        count = 0;
        stream->RequestSeek(position, std::move(seekContext));
    }
    /// Of the consumer's thread.
    int64 GetCount() const { return count; }

  private:
    using ForwardingStream<T>::stream;

    explicit CountedStream(iptr<T> source) : ForwardingStream<T>(std::move(source)) {}

    int64 count = 0;
};

}  // namespace Tarsel::Host
