#pragma once

#include <string>

#include "host/media/CodecStream.h"
#include "host/media/DecoderCore.h"

namespace Tarsel::Host {

/// Decodes one video stream, on libavcodec. Packets in decoding order go in; pictures come out in the order in which
/// they are shown, each with the time that the packets give it and a duration that reaches to the next one (the last
/// one's is that of its packet, else one frame at the format's rate). Asks the source for as many packets as the
/// decoder needs to be one picture ahead. Pictures are wrapped, not copied.
/// Seek: the source goes to the position; pictures that end at or before it are dropped. End: the decoder is drained.
/// A run that gives fewer pictures than it took packets is named in a warning.
class TARSEL_HOST_EXPORT VideoDecoder : public CodecStream<Proc::IStreamRaw, Proc::IStreamVideo>,
                                        public virtual Proc::IDecoder {
  public:
    /// Finds the decoder for the source's format, and has a look whether it opens; nothing is read. Throws
    /// `CodecFactoryException` when there is no such decoder, `std::invalid_argument` for a null source.
    static iptr<VideoDecoder> Create(iptr<Proc::IStreamRaw> const& source, std::string const& implName,
                                     DecoderOptions const& options);

    /// The source's format, with the pixel format and a frame rate filled in.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return format; }
    std::string GetImplName() const override { return core.GetName(); }
    /// From any thread.
    DecoderReport GetReport() const;
    /// Whether a codec is held: from the first packet until `ReleaseInternalData`. The consumer's thread.
    bool IsOpen() const { return core.IsOpen(); }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::VideoDecoder"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataVideo> ReadNext() override;
    void Restart(int64 target) override;
    void CloseCodec() override;
    void AddStatistics(Core::Property& node) const override { core.AddStatistics(node); }

  private:
    VideoDecoder(iptr<Proc::IStreamRaw> const& source, iptr<Conf::IFormatCodecVideo> format,
                 std::string const& implName, DecoderOptions const& options);
    /// The frame's time, above the one of the frame in front of it.
    int64 TimeOf(AVFrame const& frame) const;
    iptr<Proc::IDataVideo> Give(int64 end);
    void WarnOfMissingFrames();

    DecoderCore core;
    iptr<Conf::IFormatCodecVideo const> format;
    int64 frameDuration = 0;  // of one frame at the format's rate, above 0

    // State of the consumer's thread: the picture that waits for its end, and where the consumer wants to be.
    FramePtr held;
    int64 heldTime = NO_VALUE;
    int64 target = NO_VALUE;
    bool ended = false;
};

/// The format of pictures over packets of `source`, its frame rate filled in. Throws `CodecFactoryException` when
/// `source` isn't known as video.
iptr<Conf::IFormatCodecVideo> MakeVideoFormat(Conf::IFormatCodec const& source);

}  // namespace Tarsel::Host
