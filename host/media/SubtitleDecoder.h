#pragma once

#include <deque>
#include <string>

#include "host/media/CodecStream.h"
#include "host/media/DecoderContext.h"

namespace Tarsel::Host {

/// Decodes one subtitle stream, on libavcodec. Packets go in; events with a time and a duration come out. Pictures
/// (PGS, DVD, DVB) are ended by the event that follows, so each is held back until that one is known; texts come at
/// once where they have a duration; without one they last until the next that begins at another time. ASS events are
/// full "Dialogue:" lines, palettes stand in the order R, G, B, A, and rectangles of no size are taken out. An event's
/// `AVSubtitle` says the event's time in `pts`, 0 in `start_display_time`, and the event's duration in
/// `end_display_time`. Seek: forwarded; events that end at or before the position are dropped. End: the last event
/// lasts as long as it says, else to the end of the stream.
class TARSEL_HOST_EXPORT SubtitleDecoder : public CodecStream<Proc::IStreamRaw, Proc::IStreamSubtitle>,
                                           public virtual Proc::IDecoder {
  public:
    /// Finds the decoder for the source's format, and has a look whether it opens; nothing is read. Throws
    /// `CodecFactoryException` when there is no such decoder, `std::invalid_argument` for a null source.
    static iptr<SubtitleDecoder> Create(iptr<Proc::IStreamRaw> const& source, std::string const& implName,
                                        DecoderOptions const& options);

    /// The source's format with the script header of the texts.
    iptr<Conf::IFormatCodecSubtitle const> GetFormatCodec() const override { return format; }
    std::string GetImplName() const override { return decoder.GetCodec().name; }
    /// Whether a codec is held: from the first packet until `ReleaseInternalData`. The consumer's thread.
    bool IsOpen() const { return decoder.IsOpen(); }

  protected:
    std::string GetClassName() const override { return "Tarsel::Host::SubtitleDecoder"; }
    void Enter(Proc::IStreamVisitor& visitor) override;
    iptr<Proc::IDataSubtitle> ReadNext() override;
    void Restart(int64 target) override;
    void CloseCodec() override;
    void AddStatistics(Core::Property& node) const override;

  private:
    SubtitleDecoder(iptr<Proc::IStreamRaw> const& source, iptr<Conf::IFormatCodecSubtitle> format,
                    std::string const& implName, DecoderOptions const& options);
    /// What the next packet holds; an event without rectangles ends the one in front. Null at the end.
    bool Decode(iptr<Proc::IDataSubtitle>& event, int64& begin);
    void NoteDamage(std::string const& what);
    /// A strict decoder throws when the codec has complained since `errors` and `warnings` were counted.
    void CheckComplaints(int64 time, uint64 errors, uint64 warnings) const;
    iptr<Proc::IDataSubtitle> Finish(iptr<Proc::IDataSubtitle> event, int64 nextBegin) const;
    /// The event that is held longest, null where none is.
    iptr<Proc::IDataSubtitle> TakeHeld();
    /// One step: an event where one is complete. False at the end.
    bool ReadPicture(iptr<Proc::IDataSubtitle>& event);
    bool ReadText(iptr<Proc::IDataSubtitle>& event);
    bool IsWanted(iptr<Proc::IDataSubtitle> const& event) const;

    DecoderOptions::Strictness const strictness;
    DecoderContext decoder;
    iptr<Conf::IFormatCodecSubtitle const> format;
    bool const endedByNext;  // pictures

    // State of the consumer's thread.
    /// A picture; texts that begin together, at most one of another time behind them.
    std::deque<iptr<Proc::IDataSubtitle>> held;
    int64 target = NO_VALUE;

    std::atomic<int64> packets{0};
    std::atomic<int64> damagedPackets{0};
};

}  // namespace Tarsel::Host
