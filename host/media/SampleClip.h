#pragma once

#include <atomic>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Host {

/// A clip for trying things out: what it shows and how long it is.
struct SampleClipOptions {
    int width = 640;   // pixels, above 0
    int height = 360;  // pixels, above 0
    int frameRate = 25;
    int seconds = 20;
    int sampleRate = 48000;
};

/// A stream whose items are computed from their number. Seek: lands on the item that contains the position. End: null
/// behind the last item. Threads: one consumer; `SetEndOfStream` from any thread.
template <class U>
class GeneratedStream : public virtual U, public RefCounted {
  public:
    using DataType = typename U::DataType;

    void Initialize(Core::Property const& property) override {
        TARSEL_THROW(Proc::FilterException, "Filter was initialized with incorrect class (" + property.Name());
    }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return TimeOf(count); }
    int64 GetPosition() override {
        // Items are contiguous: the end of one is the start of the next.
        return next < count || delivered ? TimeOf(next) : NO_VALUE;
    }
    iptr<DataType> Read() override {
        if (next >= count || endOfStream) return nullptr;
        delivered = true;
        return Make(next++);
    }
    void RequestSeek(int64 position, iptr<IRefCountable>) override {
        endOfStream = false;
        target = position;
    }
    void DoSeek() override {
        delivered = false;
        next = 0;
        while (next < count && TimeOf(next + 1) <= target) ++next;
    }
    bool FinishSeek() override { return true; }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override { endOfStream = true; }
    bool IsEndOfStream() override { return endOfStream; }
    void ReleaseInternalData() override {}
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "GeneratedStream", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }

  protected:
    GeneratedStream(SampleClipOptions const& options, int count) : options(options), count(count) {}
    /// Where an item begins, in microseconds.
    virtual int64 TimeOf(int item) const = 0;
    virtual iptr<DataType> Make(int item) const = 0;

    SampleClipOptions const options;
    int const count;

  private:
    int next = 0;
    int64 target = 0;
    bool delivered = false;
    std::atomic<bool> endOfStream{false};
};

/// The clip's pictures: a gradient that drifts, bars that move across it at different speeds, and a row of sixteen
/// blocks that count the pictures in binary, the highest digit first. 8-bit 4:2:0, integer arithmetic throughout: the
/// same bytes everywhere.
class TARSEL_HOST_EXPORT GeneratedVideo : public GeneratedStream<Proc::IStreamVideo> {
  public:
    static iptr<GeneratedVideo> Create(SampleClipOptions const& options);
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return format; }

    /// The number that a picture's blocks show.
    static int ReadNumber(Proc::IDataVideo const& picture);

  protected:
    int64 TimeOf(int item) const override;
    iptr<Proc::IDataVideo> Make(int item) const override;

  private:
    explicit GeneratedVideo(SampleClipOptions const& options);
    iptr<Conf::IFormatCodecVideo const> format;
};

/// The clip's sound: a tone in both channels that takes another pitch each second, 16 bits interleaved, in blocks of
/// 20 ms.
class TARSEL_HOST_EXPORT GeneratedAudio : public GeneratedStream<Proc::IStreamAudio> {
  public:
    static iptr<GeneratedAudio> Create(SampleClipOptions const& options);
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override { return format; }

  protected:
    int64 TimeOf(int item) const override;
    iptr<Proc::IDataAudio> Make(int item) const override;

  private:
    explicit GeneratedAudio(SampleClipOptions const& options);
    iptr<Conf::IFormatCodecAudio const> format;
};

/// The clip's two streams of packets: H.264 with a key picture every two seconds and B pictures between the others,
/// and AAC. Throws `EncoderException`.
struct SampleClipStreams {
    iptr<Proc::IStreamRaw> video;
    iptr<Proc::IStreamRaw> audio;
};
TARSEL_HOST_EXPORT SampleClipStreams EncodeSampleClip(SampleClipOptions const& options);

/// Writes the clip into a file, whose container follows the extension and must carry H.264 and AAC. A file that stands
/// there is replaced only when `force` says so. Throws `EncoderException` and `Core::IOException`.
TARSEL_HOST_EXPORT void WriteSampleClip(std::string const& path, SampleClipOptions const& options, bool force);

}  // namespace Tarsel::Host
