#pragma once

#include <string>

#include "host/media/CodecStream.h"
#include "host/media/DecoderCore.h"
#include "host/media/SampleConverter.h"

namespace Tarsel::Host {

/// Decodes one audio stream, on libavcodec. Packets go in; contiguous blocks of samples come out, all of one format,
/// on a time line that begins at 0 and is counted in samples: what lies below 0 is cut off, what is missing at the
/// front is silence. The packets' times are looked at again only when they lie more than 100 ms off the count: a gap
/// is filled with silence, an overlap is cut off. Priming and padding that the container tells of don't come out.
/// Seek: begins with the very sample that contains the position; the source goes to a place some packets ahead, so that
/// the samples are those of decoding straight through. (Not where a decoder's own state never forgets: noise
/// substitution, Opus; and times can't tell samples of one another where the container's tick is longer than a sample
/// and packets vary in length.) End: the decoder is drained.
class TARSEL_HOST_EXPORT AudioDecoder : public CodecStream<Proc::IStreamRaw, Proc::IStreamAudio>,
                                        public virtual Proc::IDecoder {
  public:
    /// Finds the decoder for the source's format, and has a look whether it opens; nothing is read. Throws
    /// `CodecFactoryException` when there is no such decoder or the format lacks rate or channels,
    /// `std::invalid_argument` for a null source.
    static iptr<AudioDecoder> Create(iptr<Proc::IStreamRaw> const& source, std::string const& implName,
                                     DecoderOptions const& options);

    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override { return format; }
    std::string GetImplName() const override;
    /// From any thread.
    DecoderReport GetReport() const;
    /// Whether a codec is held: from the first packet until `ReleaseInternalData`. The consumer's thread.
    bool IsOpen() const { return core.IsOpen(); }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::AudioDecoder"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataAudio> ReadNext() override;
    void Restart(int64 target) override;
    void CloseCodec() override;
    int64 SourcePosition(int64 target) const override { return SubTime(target, preroll); }
    void AddStatistics(Core::Property& node) const override { core.AddStatistics(node); }

  private:
    AudioDecoder(iptr<Proc::IStreamRaw> const& source, iptr<Conf::IFormatCodecAudio> format,
                 std::string const& implName, DecoderOptions const& options);
    bool Fetch();
    void Place(AVFrame const& frame);
    void FindGrid(int64 target);
    int64 StartOf(AVFrame const& frame) const;
    int64 Snapped(int64 start, int count) const;
    iptr<Proc::IDataAudio> Give(iptr<Proc::IDataAudio> block, int count);
    int64 TimeOf(int64 sample) const;

    DecoderCore core;
    iptr<Conf::IFormatCodecAudio const> format;
    Conf::SampleInfo info;
    int64 preroll = 0;      // us
    int64 tickSamples = 0;  // length of a container tick that is longer than a sample, else 0
    int frameSize = 0;      // samples of every packet, 0 when they vary

    // State of the consumer's thread. Places are numbers of samples from time 0.
    SampleConverter converter;
    FramePtr waiting;     // decoded, its place known
    int skip = 0;         // samples to leave out at its front
    int64 silence = 0;    // samples to give ahead of it
    int64 cursor = 0;     // place of the next sample to come out of the decoder
    int64 wanted = 0;     // place of the first sample to be given
    int64 given = 0;      // place of the next sample to give
    bool placed = false;  // whether `cursor` counts since the last seek
    bool ended = false;
    int64 gridEnd = NO_VALUE;  // where some packet ends: all do so at multiples of `frameSize` from here
};

}  // namespace Tarsel::Host
