#include "Proc/Filters/Filters/GopRecoder.h"

#include <glog/logging.h>

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <cstddef>
#include <map>
#include <utility>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "Proc/Filters/Filters/streamRawGOP.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

using Conf::IFormatCodecVideo;

GopRecoder::GopRecoder(iptr<FilterCutController> controller, iptr<ICodecFactory const> codecFactory)
    : controller(std::move(controller)), codecFactory(std::move(codecFactory)) {}

std::vector<iptr<IDataPacket>> GopRecoder::RecodeGOP(iptr<IStreamRaw> const& owner, PacketQueueWithGOP& queue,
                                                     GopSpan const& gop) {
    // On every way out: what a failure leaves behind must not be taken for the next group.
    struct EmptyQueue {
        PacketQueueWithGOP& queue;
        ~EmptyQueue() { queue.Reset(); }
    } const emptyQueue{queue};
    uint32 const packetsIn = queue.Count();
    auto gopStream = MakeShared<StreamRawGOP>(owner, queue);
    // A decoder that waits for the end of a seek and the group hold each other.
    struct ForgetDecoders {
        StreamRawGOP& gop;
        ~ForgetDecoders() { gop.ReleaseInternalData(); }
    } const forgetDecoders{*gopStream};

    Chain chain = MakeChain(gopStream, gop);
    VLOG(4001) << "GOP: start=" << gop.start << ", dur=" << SubTime(gop.next, gop.start) << " --> "
               << controller->Source2Result(gop.start);
    chain.stream->RequestSeek(gop.start, nullptr);
    chain.stream->DoSeek();
    int64 localShift = 0;
    std::vector<iptr<IDataPacket>> packets = ReadChain(chain, localShift);
    if (!chain.frames) return packets;

    SkippedFrames const& frames = chain.frames->GetFrames();
    if (frames.framesRead < packetsIn && !frames.endReached)
        LOG(WARNING) << "Group of pictures at " << gop.start << ": " << packetsIn << " packets gave only "
                     << frames.framesRead << " frames";
    if (frames.frameDurations.size() != packets.size())
        TARSEL_THROW(FilterException, "Count of original and encoded packts are not equal!");
    SetTimes(packets, frames, localShift);
    return packets;
}

GopRecoder::Chain GopRecoder::MakeChain(iptr<IStreamRaw> const& gopStream, GopSpan const& gop) {
    Chain chain;
    bool const isVideo = gopStream->GetMediaType() == MEDIA_TYPE_VIDEO;
    if (isVideo && canRecode) chain.stream = MakeEncoderChain(gopStream, gop, chain.frames);
    if (!chain.stream) {
        VLOG(31) << "Re-coded packets (" << (isVideo ? "Video" : "Audio") << ", Raw)";
        if (isVideo && controller->IsPointDeleted(gop.start))
            LOG(WARNING) << "Group of pictures at " << gop.start
                         << " loses its beginning without being encoded again: its kept pictures can't be decoded";
        chain.stream = MakeShared<DataSkipperStreamImpl<IStreamRaw>>(gopStream, controller);
    }
    iptr<Conf::IFormatCodec const> const source = gopStream->GetFormatCodec();
    chain.lengthSize = 4;
    if (source && source->GetCodecID() == IFormatCodecVideo::CODEC_ID_H264) {
        iptr<IBlob> const header = source->GetExtradata();
        bool const hasHeader = header && header->GetSize() > 0;
        chain.lengthSize = hasHeader ? CodecParsers::GetAvccNALULengthSize(header->GetData(), header->GetSize()) : 0;
    }
    chain.codecId = Conf::IFormatCodec::CODEC_ID_NONE;
    if (iptr<Conf::IFormatCodec const> const format = chain.stream->GetFormatCodec()) {
        chain.codecId = format->GetCodecID();
        if (chain.frames) chain.encoderHeader = format->GetExtradata();
    }
    return chain;
}

int64 GopRecoder::FindKeptEnd(std::string const& codecId, GopSpan const& gop) const {
    // A trace tells of every frame, and of open groups it is told how many pictures they lack: then all is read.
    bool const mayBeOpen =
        codecId == IFormatCodecVideo::CODEC_ID_MPEG1VIDEO || codecId == IFormatCodecVideo::CODEC_ID_MPEG2VIDEO;
    if (mayBeOpen || VLOG_IS_ON(4001)) return NO_VALUE;
    SettingsFilterCutController const cuts = controller->GetCutSettings();
    int64 const last = SubTime(gop.next, 1);
    if (!cuts.IsPointDeleted(last)) return NO_VALUE;
    return cuts.GetOptInterval(static_cast<uint32>(cuts.GetIntervalIndex(last))).start;
}

iptr<IStreamRaw> GopRecoder::MakeEncoderChain(iptr<IStreamRaw> const& gopStream, GopSpan const& gop,
                                              iptr<FrameSkipper>& frames) const {
    iptr<IStreamRaw> encoder;
    try {
        iptr<IStreamVideo> const decoder = codecFactory->CreateVideoDecoder(gopStream, "");
        frames = MakeShared<FrameSkipper>(decoder, controller);
        iptr<Conf::IFormatCodec const> const format = gopStream->GetFormatCodec();
        frames->EndAt(FindKeptEnd(format ? format->GetCodecID() : std::string(), gop));
        encoder = codecFactory->CreateVideoEncoder(frames, encoderProperties, encoderName, busyResource);
        if (encoder)
            VLOG(31) << "Re-coded packets (Video) with " << encoderName;
        else
            VLOG(21) << "Creation of " << encoderName << " was failed, creation function returned nullptr";
    } catch (EncoderException const& failure) {
        VLOG(21) << "Re-coding packets (Video) with " << encoderName
                 << " was failed: " << boost::diagnostic_information(failure);
    }
    if (!encoder) frames = nullptr;
    return encoder;
}

std::vector<iptr<IDataPacket>> GopRecoder::ReadChain(Chain& chain, int64& localShift) const {
    std::vector<iptr<IDataPacket>> packets;
    bool keySeen = false;
    while (iptr<IDataPacket> packet = chain.stream->Read()) {
        if (chain.codecId == Conf::IFormatCodec::CODEC_ID_NONE)
            if (iptr<Conf::IFormatCodec const> const format = packet->GetFormatCodec();
                format && format->ExistsCodecID())
                chain.codecId = format->GetCodecID();
        // Copied packets have the stream's framing and header already.
        if (chain.frames) packet = AdaptEncoded(std::move(packet), chain);
        if (packet->IsKeyFrame() && !std::exchange(keySeen, true))
            localShift = SubTime(packet->GetTime(), packet->GetDecodingTime());
        packets.push_back(std::move(packet));
    }
    if (!HasValue(localShift)) localShift = 0;
    return packets;
}

iptr<IDataPacket> GopRecoder::AdaptEncoded(iptr<IDataPacket> packet, Chain const& chain) const {
    if (chain.codecId == IFormatCodecVideo::CODEC_ID_H264 && chain.lengthSize != 0) {
        iptr<IBlob> const payload = packet->GetBlob();
        CodecParsers::NaluRangeList units;
        CodecParsers::FindAnnexBNalus(payload->GetData(), payload->GetSize(), units);
        u64 const limit = u64{1} << (8 * chain.lengthSize);
        for (CodecParsers::NaluRange const& unit : units)
            if (unit.size >= limit)
                TARSEL_THROW(FilterException, "Encoded NAL unit of " + std::to_string(unit.size) +
                                                  " bytes doesn't fit the stream's length fields of " +
                                                  std::to_string(chain.lengthSize) + " bytes");
        packet = CodecParsers::AnnexBtoMp4(packet, chain.lengthSize);
    } else if (chain.codecId == IFormatCodecVideo::CODEC_ID_MPEG4) {
        packet = CodecParsers::InsertMPEG4Extradata(packet, chain.encoderHeader);
    } else if (chain.codecId == IFormatCodecVideo::CODEC_ID_MPEG2VIDEO) {
        packet = CodecParsers::InsertMPEG2Extradata(packet, chain.encoderHeader);
    }
    packet->SetSourcePosition(NO_VALUE);  // by this a packet that was encoded again is told from a copied one
    return packet;
}

void GopRecoder::SetTimes(std::vector<iptr<IDataPacket>> const& packets, SkippedFrames const& frames,
                          int64 localShift) const {
    // In display order the n-th packet is the n-th kept frame. Packets of equal time keep their order.
    std::multimap<int64, IDataPacket*> byTime;
    for (auto const& packet : packets) byTime.emplace(packet->GetTime(), packet.get());
    auto frame = frames.frameDurations.begin();
    for (auto const& [encodedTime, packet] : byTime) {
        auto const& [frameTime, frameDuration] = *frame++;
        packet->SetDuration(frameDuration);
        packet->SetTime(frameTime);
        // The encoder's own order and spacing, moved as far as the presentation times, with the stream's delay in
        // place of the encoder's.
        int64 const delta = SubTime(encodedTime, frameTime);
        int64 const decodingTime = SubTime(SubTime(packet->GetDecodingTime(), streamDtsShift), delta);
        packet->SetDecodingTime(AddTime(decodingTime, localShift));
    }
}

}  // namespace Tarsel::Proc
