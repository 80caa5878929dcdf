#pragma once

#include <string>
#include <vector>

#include "Proc/Filters/Filters/DataSkipperStream_win.h"
#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/IStreamCutInterval.h"
#include "Proc/Filters/Filters/PacketQueueWithGOP.h"
#include "contracts/Core/ComputingResourceManager.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/ICodecFactory.h"

namespace Tarsel::Proc {

/// Makes the kept part of a group of pictures that a cut falls into.
///
/// `FindEncoder` decides, once, whether the stream can be encoded again under its own header. `RecodeGOP` then decodes
/// one group, encodes its kept frames, and gives their packets the times of the frames; without an encoder, and for
/// sound and other kinds, packets are dropped or kept whole. Decoder and encoder live as long as one group. One thread
/// at a time.
class GopRecoder {
  public:
    GopRecoder(iptr<FilterCutController> controller, iptr<ICodecFactory const> codecFactory);

    /// Looks for an encoder that can continue `source`, a stream of any kind. The source is sought to its start and
    /// read from: seek it afterwards. Throws `Core::NotEnoughResource` when an encoder exists but can't be had now.
    void FindEncoder(iptr<IStreamRaw> const& source);

    bool CanRecode() const { return canRecode; }
    std::string const& GetEncoderName() const { return encoderName; }
    Core::Property const& GetEncoderProperties() const { return encoderProperties; }
    int64 GetStreamDtsShift() const { return streamDtsShift; }
    /// The stream's format with the encoder's parameter sets in its header; null when the source's own serves.
    iptr<Conf::IFormatCodec const> const& GetMergedFormat() const { return mergedFormat; }

    /// The kept packets of the group in `queue`, in decoding order and in the time of the result. The queue is empty
    /// afterwards, also when this throws. Throws `FilterException` "Count of original and encoded packts are not
    /// equal!".
    std::vector<iptr<IDataPacket>> RecodeGOP(iptr<IStreamRaw> const& owner, PacketQueueWithGOP& queue,
                                             GopSpan const& gop);

  private:
    using FrameSkipper = DataSkipperStreamImpl<IStreamVideo>;

    /// A chain over one group.
    struct Chain {
        iptr<IStreamRaw> stream;
        iptr<FrameSkipper> frames;  // null when packets are copied
        std::string codecId;
        iptr<IBlob> encoderHeader;
        int lengthSize = 0;  // of the stream's units; 0 when it has start codes
    };

    // The decision.
    bool TryEncoder(std::string const& name, iptr<IStreamVideo> const& decoder, Conf::IFormatCodec const& format);
    bool AcceptEncoder(IEncoder const& encoder, std::string const& name, Conf::IFormatCodec const& format);
    std::vector<std::string> GetCandidates(std::string const& codecId) const;
    bool StudyStream(IStreamRaw& source, std::string const& codecId, int64& shift) const;

    // One group.
    Chain MakeChain(iptr<IStreamRaw> const& gopStream, GopSpan const& gop);
    iptr<IStreamRaw> MakeEncoderChain(iptr<IStreamRaw> const& gopStream, GopSpan const& gop,
                                      iptr<FrameSkipper>& frames) const;
    /// Where the removed rest of a group begins; no value when its last picture is kept.
    int64 FindKeptEnd(std::string const& codecId, GopSpan const& gop) const;
    std::vector<iptr<IDataPacket>> ReadChain(Chain& chain, int64& localShift) const;
    iptr<IDataPacket> AdaptEncoded(iptr<IDataPacket> packet, Chain const& chain) const;
    void SetTimes(std::vector<iptr<IDataPacket>> const& packets, SkippedFrames const& frames, int64 localShift) const;

    // Wiring.
    iptr<FilterCutController> const controller;
    iptr<ICodecFactory const> const codecFactory;

    // The decision, constant after `FindEncoder`.
    bool canRecode = false;
    std::string encoderName = "Unknown encoder";
    Core::Property encoderProperties;
    iptr<Core::ComputingResourceManager::BusyResource> busyResource;
    int64 streamDtsShift = 0;  // presentation minus decoding time of the source
    u32 spsId = 0;
    bool mergesAllSets = false;  // the source holds more parameter sets than the plain merge keeps
    iptr<Conf::IFormatCodec const> mergedFormat;
};

}  // namespace Tarsel::Proc
