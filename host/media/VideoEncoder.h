#pragma once

#include <map>
#include <string>
#include <utility>

#include "contracts/Proc/ICodecFactory.h"
#include "host/media/CodecStream.h"
#include "host/media/FFmpeg.h"
#include "host/media/LibavLog.h"
#include "host/media/PictureConverter.h"
#include "host/media/VideoEncoderSetup.h"

namespace Tarsel::Host {

/// Encodes a stream of pictures, on libavcodec. Pictures go in; packets in coding order come out, the packet of the
/// n-th picture with that picture's time and duration. Opened from the source's format alone, so its own format is
/// complete before the first picture is read; header bytes stand there and not in the packets. H.264 packets are
/// Annex B (H.264, Annex B) and start with an IDR picture. Recoding: as many packets as pictures, decoding time equals
/// time, no note of the encoder about itself. Encoding: decoding times run behind by the encoder's delay.
/// Seek: forwarded; the encoder starts anew. End: the encoder is drained.
class TARSEL_HOST_EXPORT VideoEncoder : public CodecStream<Proc::IStreamVideo, Proc::IEncoder> {
  public:
    using Resource = iptr<Core::ComputingResourceManager::BusyResource>;

    /// Throws `EncoderException` with the library's text when the encoder can't be opened with these properties.
    static iptr<VideoEncoder> Create(iptr<Proc::IStreamVideo> const& source, Core::Property const& properties,
                                     VideoEncoderOptions const& options, Resource const& resource);

    MediaType GetMediaType() const override { return MEDIA_TYPE_VIDEO; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }
    Resource GetResource() const override { return resource; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::VideoEncoder"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataPacket> ReadNext() override;
    void Restart(int64 target) override;

  private:
    VideoEncoder(iptr<Proc::IStreamVideo> const& source, Core::Property const& properties,
                 VideoEncoderOptions const& options, Resource const& resource);
    iptr<Conf::IFormatCodecVideo const> MakeFormat() const;
    void Feed();
    iptr<Proc::IDataPacket> Wrap(PacketPtr packet);
    int64 DecodingTime(int64 slot, int64 time);
    bool IsRecoding() const { return options.purpose == VideoEncoderOptions::Purpose::Recode; }
    [[noreturn]] void Fail(int code) const;

    // Settings, constant after construction.
    Core::Property const properties;
    VideoEncoderOptions const options;
    Resource const resource;
    iptr<Conf::IFormatCodecVideo const> sourceFormat;

    LibavLogWatch watch;  // outlives the context
    CodecContextPtr context;
    iptr<Conf::IFormatCodecVideo const> format;
    PictureConverter converter;

    // State of the consumer's thread.
    struct Slot {
        int64 time;
        int64 duration;
    };
    std::map<int64, Slot> slots;  // of pictures by their number, as long as a packet may ask for them
    int64 picturesIn = 0;
    int64 packetsOut = 0;
    bool draining = false;
};

}  // namespace Tarsel::Host
