#pragma once

#include <string>

#include "contracts/Conf/FrameInfo.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Conf/MediaTypes.h"
#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/Plane.h"

struct AVFrame;
struct AVPacket;
struct AVSubtitle;

namespace Tarsel::Proc {

/// One item of a stream. Times and durations are in microseconds and may have no value.
///
/// An object may be held by several owners at once (a cache and its reader). Who changes time, duration or cut window
/// of an item that it was given makes the item its own first: see `MakeOwn`.
class TARSEL_CONTRACTS_EXPORT IData : public virtual IRefCountable {
  public:
    virtual int64 GetDuration() const = 0;
    virtual void SetDuration(int64 duration) = 0;
    /// Presentation time.
    virtual int64 GetTime() const = 0;
    virtual void SetTime(int64 time) = 0;
    /// Removes `duration` from the front; the time moves on by as much. Audio drops whole samples, to the nearest: less
    /// than half a sample cuts nothing. Kinds that can't be cut throw `ProcException`; so does a cut that is negative,
    /// has no value, or takes more than there is.
    virtual void CutBegin(int64 duration) = 0;
    /// Removes `[begin, end)`, times on the item's own scale (0 is its start), from the middle: what stands in front
    /// and what stands behind are joined, the time stays, the duration becomes shorter.
    virtual void Cut(int64 begin, int64 end) = 0;
    /// Removes `duration` from the end.
    virtual void CutEnd(int64 duration) = 0;
    /// The generic form of the typed `Clone`.
    virtual iptr<IData> CloneBase(bool copyPayload) const = 0;
    /// A new item of the same contents, with time, duration and cut window of its own. The payload is shared, or
    /// copied.
    iptr<IData> Clone(bool copyPayload) const { return CloneBase(copyPayload); }
};

class Color;

/// A picture. All three cuts change time and duration alone.
class TARSEL_CONTRACTS_EXPORT IDataVideo : public virtual IData {
  public:
    /// Where a frame lives.
    enum FrameAlloc : int { FRAME_ALLOC_CPU = 0, FRAME_ALLOC_GPU = 1, FRAME_ALLOC_ANY = 4 };

    virtual int GetFrameAlloc() const = 0;
    virtual Conf::FrameInfo const& GetFrameInfo() const = 0;
    virtual int GetWidth() const = 0;
    virtual int GetHeight() const = 0;
    virtual PixFmt GetPixelFormat() const = 0;
    /// Non-zero for an interlaced frame.
    virtual int GetInterlace() const = 0;
    /// A plane for writing; `MakeWritable` first. An index that doesn't exist throws `ProcException`.
    virtual Details::PlaneTemplate<0> GetPlane(unsigned index) = 0;
    virtual Details::PlaneTemplate<1> GetPlaneConst(unsigned index) const = 0;
    /// A frame of the same picture that may be written to: this one when nobody shares it, else a copy.
    virtual iptr<IDataVideo> MakeWritable() = 0;
    virtual iptr<IDataVideo> Clone(bool copyPayload) const = 0;
    /// Which part of the picture is to be shown: the whole of it, unless the stream says otherwise.
    virtual CropInfo GetCrop() const = 0;
    iptr<IData> CloneBase(bool copyPayload) const final;

    /// Paints the whole picture. Throws `ProcException` for formats without plain component bits (palettes, hardware).
    void Fill(Color const& color);
};

/// What a frame outside processor memory offers beside `IDataVideo` when its pixels can be fetched.
class TARSEL_CONTRACTS_EXPORT IDownloadable {
  public:
    virtual ~IDownloadable();
    /// A new frame in processor memory with the same picture, times and shape. The frame itself stays where it is.
    virtual iptr<IDataVideo> Download() const = 0;
};

/// Number of planes of a frame in processor memory, 0 for one in GPU memory.
TARSEL_CONTRACTS_EXPORT int GetPlanesCount(IDataVideo const& frame);
/// Whether the frame lives in GPU memory.
TARSEL_CONTRACTS_EXPORT bool IsOGLFrame(iptr<IDataVideo> const& frame);

/// A block of audio samples. Its memory is one allocation: planes back to back, no padding between them.
class TARSEL_CONTRACTS_EXPORT IDataAudio : public virtual IData {
  public:
    virtual int GetChannelCount() const = 0;
    /// Hertz.
    virtual int GetSampleRate() const = 0;
    /// Samples per channel.
    virtual int GetSampleCount() const = 0;
    virtual Conf::SampleFormats GetSampleFormat() const = 0;
    virtual Conf::SampleInfo GetSampleInfo() const = 0;
    /// The block as an FFmpeg frame, borrowed. `MakeWritable` before writing to its samples.
    virtual AVFrame* GetAVFrame() = 0;
    virtual void Silence() = 0;
    virtual void SetSampleRate(int sampleRate) = 0;
    /// All planes, back to back. `MakeWritable` before writing.
    virtual iptr<IBlob> GetBlob() = 0;
    /// Removes samples from the front; the time moves on. A count below 0 or above what there is throws
    /// `ProcException`.
    virtual void CutSamplesBegin(int count) = 0;
    virtual void CutSamplesEnd(int count) = 0;
    virtual iptr<IDataAudio> Clone(bool copyPayload) const = 0;
    /// Gives this block samples of its own when it shares them with a clone.
    virtual void MakeWritable() = 0;
    iptr<IData> CloneBase(bool copyPayload) const final;
};

/// A compressed packet. It can't be cut: all three cuts throw `ProcException`.
class TARSEL_CONTRACTS_EXPORT IDataPacket : public virtual IData {
  public:
    /// Microseconds, or no value.
    virtual int64 GetDecodingTime() const = 0;
    virtual void SetDecodingTime(int64 time) = 0;
    /// Where a demuxer found the packet; this host's demuxer gives its presentation time in source time. No value for a
    /// packet that an encoder made. Clones keep it.
    virtual int64 GetSourcePosition() const = 0;
    virtual void SetSourcePosition(int64 position) = 0;
    virtual bool IsKeyFrame() const = 0;
    /// Payload bytes.
    virtual std::size_t GetSize() const = 0;
    /// The packet as FFmpeg has it, borrowed. Its times are not kept up to date.
    virtual AVPacket* GetAVPacket() = 0;
    /// The payload. It stays valid as long as the blob lives.
    virtual iptr<IBlob> GetBlob() const = 0;
    virtual MediaType GetMediaType() const = 0;
    /// The format of the stream that made the packet; null when it isn't known.
    virtual iptr<Conf::IFormatCodec const> GetFormatCodec() const = 0;
    virtual void SetFormatCodec(iptr<Conf::IFormatCodec const> const& format) = 0;
    virtual iptr<IDataPacket> Clone(bool copyPayload) const = 0;
    iptr<IData> CloneBase(bool copyPayload) const final;
};

/// A subtitle event. Cuts shorten its display time.
class TARSEL_CONTRACTS_EXPORT IDataSubtitle : public virtual IData {
  public:
    /// The event as FFmpeg has it, borrowed. Its own times are not kept up to date.
    virtual AVSubtitle* GetAVSubtitle() = 0;
    virtual iptr<IDataSubtitle> Clone(bool copyPayload) const = 0;
    iptr<IData> CloneBase(bool copyPayload) const final;
};

/// The item itself when nobody else holds it, else a clone that shares the payload. Call it before changing an item
/// that came from a stream, and only when something really changes: an item that passes unchanged stays the same
/// object.
template <class T>
iptr<T> MakeOwn(iptr<T> item) {
    if (!item || item->GetRefCountImpl() <= 1) return item;
    return item->Clone(false);
}

}  // namespace Tarsel::Proc
