#pragma once

#include <string>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Lockable.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

class IStreamVisitor;

/// A pull source: `RequestSeek`, `DoSeek`, then `Read` again and again until it gives null.
///
/// - Before the first `Read`, and after any `ReleaseInternalData`, the consumer seeks.
/// - `GetDuration`, `GetFormatCodec`, `GetPosition` and `GetSettings` can be called at any time after construction.
/// - `Read` gives items in ascending time within one seek span, and null at the end, any number of times, without an
/// exception.
/// - A seek may land on an earlier or a later item than the one asked for; `GetPosition` after `DoSeek` tells.
/// - After a failed read the stream can be sought again.
///
/// One consumer thread at a time drives a stream. `SetEndOfStream` may come from any thread.
class TARSEL_CONTRACTS_EXPORT IStream : public virtual IRefCountable {
  public:
    /// Configuration by a property whose name says what it holds. An unknown name throws `FilterException` "Filter was
    /// initialized with incorrect class (" and the name; a filter without the operation "Method not implemented".
    virtual void Initialize(Core::Property const& property) = 0;
    /// The settings as a property; may throw `FilterException` "Method not implemented".
    virtual Core::Property GetSettings() = 0;
    /// Length of the whole stream in microseconds, or no value when it isn't known.
    virtual int64 GetDuration() const = 0;
    /// The end time of the last item delivered; directly after a seek the time of the first item that `Read` will give
    /// (which may be read ahead for it). No value at the end of the stream after a seek.
    virtual int64 GetPosition() = 0;
    /// The generic form of the typed `Read`.
    virtual iptr<IData> ReadBase() = 0;
    /// The next item, or null at the end of the stream.
    iptr<IData> Read() { return ReadBase(); }
    /// First phase of a seek: where to go, in microseconds. Positions beyond the end are clamped. `seekContext` is
    /// opaque and handed down the chain unchanged.
    virtual void RequestSeek(int64 position, iptr<IRefCountable> seekContext) = 0;
    /// Second phase: the seek takes effect.
    virtual void DoSeek() = 0;
    /// Third phase: waits until the seek is finished and tells whether the stream stands ready.
    virtual bool FinishSeek() = 0;
    /// The generic form of the typed `GetFormatCodec`.
    virtual iptr<Conf::IFormatCodec const> GetFormatCodecBase() const = 0;
    /// One node per filter, from the source of the chain to this stream.
    virtual Core::Property GetStatistic() = 0;
    /// Marks this stream and its sources as ended, and so breaks a background read. From any thread.
    virtual void SetEndOfStream() = 0;
    virtual bool IsEndOfStream() = 0;
    /// Gives up buffered items and what decoders hold. The next read starts with a seek.
    virtual void ReleaseInternalData() = 0;
    /// Visits this stream, then its sources.
    virtual void Accept(IStreamVisitor& visitor) = 0;
};

class TARSEL_CONTRACTS_EXPORT IStreamVideo : public virtual IStream {
  public:
    using DataType = IDataVideo;
    using FormatType = Conf::IFormatCodecVideo;
    virtual iptr<IDataVideo> Read() = 0;
    virtual iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const = 0;
    iptr<IData> ReadBase() final;
    iptr<Conf::IFormatCodec const> GetFormatCodecBase() const final;
};

class TARSEL_CONTRACTS_EXPORT IStreamAudio : public virtual IStream {
  public:
    using DataType = IDataAudio;
    using FormatType = Conf::IFormatCodecAudio;
    virtual iptr<IDataAudio> Read() = 0;
    virtual iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const = 0;
    iptr<IData> ReadBase() final;
    iptr<Conf::IFormatCodec const> GetFormatCodecBase() const final;
};

class TARSEL_CONTRACTS_EXPORT IStreamSubtitle : public virtual IStream {
  public:
    using DataType = IDataSubtitle;
    using FormatType = Conf::IFormatCodecSubtitle;
    virtual iptr<IDataSubtitle> Read() = 0;
    virtual iptr<Conf::IFormatCodecSubtitle const> GetFormatCodec() const = 0;
    iptr<IData> ReadBase() final;
    iptr<Conf::IFormatCodec const> GetFormatCodecBase() const final;
};

/// A stream of compressed packets, in decoding order.
class TARSEL_CONTRACTS_EXPORT IStreamRaw : public virtual IStream {
  public:
    using DataType = IDataPacket;
    using FormatType = Conf::IFormatCodec;
    virtual iptr<IDataPacket> Read() = 0;
    virtual MediaType GetMediaType() const = 0;
    virtual iptr<Conf::IFormatCodec const> GetFormatCodec() const = 0;
    iptr<IData> ReadBase() final;
    iptr<Conf::IFormatCodec const> GetFormatCodecBase() const final;
};

/// A stream that takes its settings as an object, right after construction and again whenever its host changes them.
/// Settings of a class that isn't the filter's own raise `std::bad_cast`.
class TARSEL_CONTRACTS_EXPORT IStreamVideoEx : public virtual IStreamVideo {
  public:
    using IStream::Initialize;
    virtual void Initialize(Settings const& settings) = 0;
};

class TARSEL_CONTRACTS_EXPORT IStreamAudioEx : public virtual IStreamAudio {
  public:
    using IStream::Initialize;
    virtual void Initialize(Settings const& settings) = 0;
};

class TARSEL_CONTRACTS_EXPORT IStreamSubtitleEx : public virtual IStreamSubtitle {
  public:
    using IStream::Initialize;
    virtual void Initialize(Settings const& settings) = 0;
};

class TARSEL_CONTRACTS_EXPORT IStreamRawEx : public virtual IStreamRaw {
  public:
    using IStream::Initialize;
    virtual void Initialize(Settings const& settings) = 0;
};

/// A stream that a caller can hold locked across several operations.
class TARSEL_CONTRACTS_EXPORT IStreamAudioLockable : public virtual IStreamAudio, public virtual ILockable {};
class TARSEL_CONTRACTS_EXPORT IStreamVideoLockable : public virtual IStreamVideo, public virtual ILockable {};

/// What a decoder is beside a stream.
class TARSEL_CONTRACTS_EXPORT IDecoder : public virtual IStream {
  public:
    /// The implementation at work ("h264", "libdav1d"...).
    virtual std::string GetImplName() const = 0;
};

/// Root of the objects that steer several streams of one source. `AddStream` takes a stream and gives the wrapper that
/// stands in for it; a controller that has no use for a kind gives null.
class TARSEL_CONTRACTS_EXPORT IStreamController : public virtual IRefCountable {
  public:
    virtual void UpdateSettings(Settings const& settings) = 0;
    virtual void Initialize(Core::Property const& property) = 0;
    virtual iptr<IStreamSubtitle> AddStream(iptr<IStreamSubtitle> const& stream) = 0;
    virtual iptr<IStreamVideo> AddStream(iptr<IStreamVideo> const& stream) = 0;
    virtual iptr<IStreamAudio> AddStream(iptr<IStreamAudio> const& stream) = 0;
    virtual iptr<IStreamRaw> AddStream(iptr<IStreamRaw> const& stream) = 0;
};

}  // namespace Tarsel::Proc
