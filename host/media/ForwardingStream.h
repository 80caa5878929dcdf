#pragma once

#include <utility>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Host {

namespace Details {

/// A compressed stream says what it carries; the other kinds have nothing to add.
template <class T>
class ForwardedKind : public virtual T {
  protected:
    explicit ForwardedKind(T const&) {}
};
template <>
class ForwardedKind<Proc::IStreamRaw> : public virtual Proc::IStreamRaw {
  public:
    MediaType GetMediaType() const override { return source.GetMediaType(); }

  protected:
    explicit ForwardedKind(Proc::IStreamRaw const& source) : source(source) {}

  private:
    Proc::IStreamRaw const& source;  // the wrapper's own
};

}  // namespace Details

/// The base of the host's wrappers: hands every call through to one stream, items included, so that a wrapper tells
/// only what it does otherwise. To visitors and in statistics a wrapper isn't there. Seek, end and threads: the
/// stream's own.
template <class T>
class ForwardingStream : public Details::ForwardedKind<T>, public RefCounted {
  public:
    using DataType = typename T::DataType;
    using FormatType = typename T::FormatType;

    void Initialize(Core::Property const& property) override { stream->Initialize(property); }
    Core::Property GetSettings() override { return stream->GetSettings(); }
    int64 GetDuration() const override { return stream->GetDuration(); }
    int64 GetPosition() override { return stream->GetPosition(); }
    iptr<DataType> Read() override { return stream->Read(); }
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override {
        stream->RequestSeek(position, std::move(seekContext));
    }
    void DoSeek() override { stream->DoSeek(); }
    bool FinishSeek() override { return stream->FinishSeek(); }
    Core::Property GetStatistic() override { return stream->GetStatistic(); }
    void SetEndOfStream() override { stream->SetEndOfStream(); }
    bool IsEndOfStream() override { return stream->IsEndOfStream(); }
    void ReleaseInternalData() override { stream->ReleaseInternalData(); }
    void Accept(Proc::IStreamVisitor& visitor) override { stream->Accept(visitor); }
    iptr<FormatType const> GetFormatCodec() const override { return stream->GetFormatCodec(); }

  protected:
    /// Never null.
    explicit ForwardingStream(iptr<T> wrapped) : Details::ForwardedKind<T>(*wrapped), stream(std::move(wrapped)) {}

    iptr<T> const stream;
};

}  // namespace Tarsel::Host
