#pragma once

#include <string>

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/FilterBitStream.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsFilterBitStream.h"

namespace Tarsel::Proc {

/// What the filter does with its stream. The numbers are settled.
enum BitStreamMode : int {
    H264_ANNEXB_TO_MP4 = 0,
    H264_MP4_TO_ANNEXB = 1,
    HEVC_ANNEXB_TO_MP4 = 2,
    HEVC_MP4_TO_ANNEXB = 3,
    AAC_ADTS_TO_RAW = 4,
    AAC_RAW_TO_ADTS = 5,
    H264_INSERT_EXTRADATA = 6,
    HEVC_INSERT_EXTRADATA = 7,
    PASS_THROUGH = 8,
};

/// What a stream of the codec with this global header needs to come out as `needed`. `extradata` may be null. Throws
/// `Tarsel::Exception` for an empty global header, whose form can't be told, unless the stream is left as it is.
BitStreamMode ChooseBitStreamMode(std::string const& codecId, SettingsFilterBitStream::StreamFormat needed,
                                  IBlob const* extradata);

/// The filter behind `FilterBitStream::Create`: changes the framing of compressed packets and the global header with
/// it.
///
/// Goes in: packets of one stream. Comes out: as many reads, asked for one by one; a packet that can't be brought to
/// the other framing of NAL units is dropped, its read gives null, and the stream goes on. Packets that others hold
/// aren't changed. Seek and end: the source's; a seek forgets nothing, as no packet depends on the one before it.
/// Threads: one consumer; `Initialize`, `GetFormatCodec` and `GetStatistic` from any thread.
class FilterBitStreamImpl final : public StreamImpl<IStreamRaw, IStreamRawEx> {
  public:
    /// Throws `std::invalid_argument` for a null source and `FilterException` "Source format codec must be present".
    explicit FilterBitStreamImpl(iptr<IStreamRaw> source);
    ~FilterBitStreamImpl() override { StopReaderThread(); }

    [[noreturn]] void Initialize(Core::Property const& property) override;
    /// Decides what is done and converts the source's global header. May be called again; when it throws, the filter
    /// goes on as before.
    void Initialize(Settings const& newSettings) override;
    void UpdateSettings(Settings const& newSettings) { Initialize(newSettings); }
    [[noreturn]] Core::Property GetSettings() override;
    Core::Property GetStatistic() override;
    MediaType GetMediaType() const override { return parentStream->GetMediaType(); }
    /// A clone of the source's format with the converted header, or without one where the header is one of ADTS.
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override;

    BitStreamMode GetMode() const;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataPacket> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    /// What is done to a stream: all that a packet's conversion needs.
    struct Conversion {
        BitStreamMode mode = PASS_THROUGH;
        int headerSize = 0;  // bytes of a unit's length field
        iptr<IBlob> extradata;
    };

    Conversion SetUp(BitStreamMode mode, iptr<IBlob> extradata) const;
    iptr<IDataPacket> Convert(iptr<IDataPacket> packet) TARSEL_REQUIRES(stateLock);
    /// The conversions between framings of NAL units. Null for a packet that can't be converted.
    iptr<IDataPacket> ConvertNalus(iptr<IDataPacket> packet) TARSEL_REQUIRES(stateLock);
    iptr<Conf::IFormatCodec const> GetSourceFormat() const;

    /// Guards the members below; never held while the source is called.
    mutable Core::Mutex stateLock;
    SettingsFilterBitStream settings TARSEL_GUARDED_BY(stateLock);
    Conversion conversion TARSEL_GUARDED_BY(stateLock);
    bool firstPacketDone TARSEL_GUARDED_BY(stateLock) = false;
    int64 processingTime TARSEL_GUARDED_BY(stateLock) = 0;
    u32 packetCount TARSEL_GUARDED_BY(stateLock) = 0;
};

}  // namespace Tarsel::Proc
