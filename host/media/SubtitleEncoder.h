#pragma once

#include <string>

#include "host/media/CodecStream.h"
#include "host/media/FFmpeg.h"
#include "host/media/LibavLog.h"

namespace Tarsel::Host {

/// Encodes text subtitles, on libavcodec ("mov_text", "subrip", "ass", "webvtt"). One event goes in, one packet with
/// its time and duration comes out. Opened from the source's format, whose script header the encoder needs; without one
/// a plain header stands in. An event without text gives no packet. Seek: forwarded. End: null.
class TARSEL_HOST_EXPORT SubtitleEncoder : public CodecStream<Proc::IStreamSubtitle, Proc::IStreamRaw> {
  public:
    /// Throws `EncoderException` with the library's text when the encoder can't be opened.
    static iptr<SubtitleEncoder> Create(iptr<Proc::IStreamSubtitle> const& source, std::string const& codecId);

    MediaType GetMediaType() const override { return MEDIA_TYPE_SUBTITLE; }
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::SubtitleEncoder"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataPacket> ReadNext() override;
    void Restart(int64) override { eventsIn = 0; }

  private:
    SubtitleEncoder(iptr<Proc::IStreamSubtitle> const& source, std::string const& codecId);
    iptr<Proc::IDataPacket> Encode(Proc::IDataSubtitle& event);
    [[noreturn]] void Fail(char const* what, int code) const;

    AVCodec const* codec = nullptr;
    LibavLogWatch watch;  // outlives the context
    CodecContextPtr context;
    iptr<Conf::IFormatCodecSubtitle const> format;
    int eventsIn = 0;
};

}  // namespace Tarsel::Host
