#pragma once

#include <string>

#include "host/media/CodecStream.h"
#include "host/media/FFmpeg.h"
#include "host/media/LibavLog.h"
#include "host/media/SampleConverter.h"

struct AVAudioFifo;

namespace Tarsel::Host {

struct AudioEncoderOptions {
    /// FFmpeg's name of the codec: "aac", "mp3", "opus", "vorbis", "flac", "ac3", "mp2", "pcm_s16le"...
    std::string codecId;
    /// Bits a second; 0 takes 64 kbit/s a channel for codecs that have a rate.
    int64 bitRate = 0;
};

/// Encodes one audio stream, on libavcodec. Contiguous blocks of samples of any size go in; packets of the codec's own
/// size come out, each block converted to a format, rate and layout that the codec knows. Times are counted in samples
/// from the first block's time; priming that the codec puts ahead lies in front of it, and its length stands in the
/// format's native parameters. Opened from the source's format alone.
/// Seek: forwarded; the encoder starts anew. End: the encoder is drained, its last packet's duration being that of the
/// samples in it.
class TARSEL_HOST_EXPORT AudioEncoder : public CodecStream<Proc::IStreamAudio, Proc::IStreamRaw> {
  public:
    /// Throws `EncoderException` with the library's text when the encoder can't be opened.
    static iptr<AudioEncoder> Create(iptr<Proc::IStreamAudio> const& source, AudioEncoderOptions const& options);
    ~AudioEncoder() override;

    MediaType GetMediaType() const override { return MEDIA_TYPE_AUDIO; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::AudioEncoder"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataPacket> ReadNext() override;
    void Restart(int64 target) override;

  private:
    AudioEncoder(iptr<Proc::IStreamAudio> const& source, AudioEncoderOptions const& options);
    void Open();
    iptr<Conf::IFormatCodecAudio const> MakeFormat() const;
    void Feed();
    /// Reads blocks until a whole frame's samples wait, or the source has ended.
    void Fill(int samples);
    void Queue(FramePtr frame);
    iptr<Proc::IDataPacket> Wrap(PacketPtr packet);
    [[noreturn]] void Fail(char const* what, int code) const;

    // Settings, constant after construction.
    AudioEncoderOptions const options;
    iptr<Conf::IFormatCodecAudio const> sourceFormat;
    AVCodec const* const codec;
    Conf::SampleInfo const info;

    LibavLogWatch watch;  // outlives the context
    CodecContextPtr context;
    iptr<Conf::IFormatCodecAudio const> format;

    // State of the consumer's thread.
    SampleConverter converter;
    AVAudioFifo* fifo = nullptr;  // owned
    int64 startTime = NO_VALUE;   // of the first sample
    int64 samplesIn = 0;          // given to the encoder
    bool sourceEnded = false;
    bool draining = false;
};

}  // namespace Tarsel::Host
