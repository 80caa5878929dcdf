#include "Proc/Filters/Filters/FilterBitStream.h"

#include <glog/logging.h>

#include <boost/exception/diagnostic_information.hpp>
#include <stdexcept>
#include <utility>

#include "Proc/CodecParsers/AACCodecParser.h"
#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/CodecParsers/H264_HEVC_Common.h"
#include "Proc/CodecParsers/HEVCCodecParser.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IStreamVisitor.h"

extern "C" {
#include <libavcodec/packet.h>
}

namespace Tarsel::Proc {

using namespace CodecParsers;
using Conf::IFormatCodecAudio;
using Conf::IFormatCodecVideo;

namespace {

bool IsADTS(IBlob const& extradata) {
    return IsADTSHeader(extradata.GetData(), extradata.GetSize());
}

}  // namespace

// --- Choice ----------------------------------------------------------------------------------------------------------

BitStreamMode ChooseBitStreamMode(std::string const& codecId, SettingsFilterBitStream::StreamFormat needed,
                                  IBlob const* extradata) {
    if (needed == SettingsFilterBitStream::ANY) return PASS_THROUGH;
    if (codecId == IFormatCodecVideo::CODEC_ID_H264) {
        bool const lengths = extradata && IsAvcCHeader(extradata->GetData(), extradata->GetSize());
        if (needed == SettingsFilterBitStream::MP4) return lengths ? PASS_THROUGH : H264_ANNEXB_TO_MP4;
        if (needed == SettingsFilterBitStream::ANNEX_B) return lengths ? H264_MP4_TO_ANNEXB : H264_INSERT_EXTRADATA;
    }
    if (codecId == IFormatCodecVideo::CODEC_ID_H265) {
        bool const lengths = extradata && IsHvcCHeader(extradata->GetData(), extradata->GetSize());
        if (needed == SettingsFilterBitStream::MP4) return lengths ? PASS_THROUGH : HEVC_ANNEXB_TO_MP4;
        if (needed == SettingsFilterBitStream::ANNEX_B) return lengths ? HEVC_MP4_TO_ANNEXB : HEVC_INSERT_EXTRADATA;
    }
    if (codecId == IFormatCodecAudio::CODEC_ID_AAC || codecId == IFormatCodecAudio::CODEC_ID_AAC_LATM) {
        if (!extradata) {
            LOG(WARNING) << "AAC has no extradata, can't setup FilterBitStream correctly, output can be undecodable";
            return PASS_THROUGH;
        }
        // Meant: headers are taken off and never put on; who asks for ADTS gets the packets as they come.
        if (needed == SettingsFilterBitStream::RAW_AAC && IsADTS(*extradata)) return AAC_ADTS_TO_RAW;
    }
    return PASS_THROUGH;
}

// --- Set-up ----------------------------------------------------------------------------------------------------------

FilterBitStreamImpl::FilterBitStreamImpl(iptr<IStreamRaw> source) : StreamImpl(std::move(source), false) {
    iptr<Conf::IFormatCodec const> const format = GetSourceFormat();
    if (codecId == Conf::IFormatCodec::CODEC_ID_NONE && format->ExistsCodecID()) codecId = format->GetCodecID();
    conversion.extradata = format->GetExtradata();
}

iptr<Conf::IFormatCodec const> FilterBitStreamImpl::GetSourceFormat() const {
    iptr<Conf::IFormatCodec const> format = parentStream->GetFormatCodec();
    if (!format) TARSEL_THROW(FilterException, "Source format codec must be present");
    return format;
}

void FilterBitStreamImpl::Initialize(Core::Property const&) {
    TARSEL_THROW(std::logic_error, "Deprecated method");
}

Core::Property FilterBitStreamImpl::GetSettings() {
    TARSEL_THROW(std::logic_error, "Deprecated method");
}

void FilterBitStreamImpl::Initialize(Settings const& newSettings) {
    SettingsFilterBitStream const own = dynamic_cast<SettingsFilterBitStream const&>(newSettings);
    // The source's header each time: the one at hand may be converted already.
    iptr<IBlob> const extradata = GetSourceFormat()->GetExtradata();
    BitStreamMode const mode = ChooseBitStreamMode(codecId, own.GetStreamFormatNeeded(), extradata.get());
    Conversion made = SetUp(mode, extradata);
    if (mode <= HEVC_MP4_TO_ANNEXB && made.headerSize == 0)
        TARSEL_THROW(FilterException, "Bad extra data provided! Can not determine header size.");
    Core::MutexLock const lock(stateLock);
    settings = own;
    conversion = std::move(made);
    firstPacketDone = false;
}

FilterBitStreamImpl::Conversion FilterBitStreamImpl::SetUp(BitStreamMode mode, iptr<IBlob> extradata) const {
    Conversion made{mode, 0, extradata};
    switch (mode) {
        case H264_ANNEXB_TO_MP4:
            made.extradata = H264_Extradata_AnnexBtoMp4(extradata);
            made.headerSize = GetAvccNALULengthSize(made.extradata->GetData(), made.extradata->GetSize());
            break;
        case H264_MP4_TO_ANNEXB:
            made.headerSize = GetAvccNALULengthSize(extradata->GetData(), extradata->GetSize());
            made.extradata = H264_Extradata_Mp4toAnnexB(extradata);
            break;
        case HEVC_ANNEXB_TO_MP4:
            made.extradata = HEVC_Extradata_AnnexBtohvcC(extradata);
            made.headerSize = GetHvccNALULengthSize(made.extradata->GetData(), made.extradata->GetSize());
            break;
        case HEVC_MP4_TO_ANNEXB:
            made.headerSize = GetHvccNALULengthSize(extradata->GetData(), extradata->GetSize());
            made.extradata = HEVC_Extradata_hvcCtoAnnexB(extradata);
            break;
        case AAC_ADTS_TO_RAW:
            made.extradata = ADTSExtradataToASC(extradata);
            break;
        case AAC_RAW_TO_ADTS:
            made.extradata = ASCExtradataToADTS(extradata);
            break;
        default:
            break;
    }
    // A record without parameter sets, for streams that carry them in band: no header is left to stand in front.
    if (made.headerSize != 0 && made.extradata->GetSize() == 0) made.extradata = nullptr;
    return made;
}

BitStreamMode FilterBitStreamImpl::GetMode() const {
    Core::MutexLock const lock(stateLock);
    return conversion.mode;
}

iptr<Conf::IFormatCodec const> FilterBitStreamImpl::GetFormatCodec() const {
    // A clone for sound too: a source may hand out one object to all.
    iptr<Conf::IFormatCodec> const format = GetSourceFormat()->Clone();
    Core::MutexLock const lock(stateLock);
    iptr<IBlob> const& extradata = conversion.extradata;
    format->SetExtradata(extradata && IsADTS(*extradata) ? nullptr : extradata);
    return format;
}

// --- Packets ---------------------------------------------------------------------------------------------------------

iptr<IDataPacket> FilterBitStreamImpl::ReadInternal() {
    iptr<IDataPacket> packet = parentStream->Read();
    if (!packet) return nullptr;
    bool const key = packet->IsKeyFrame();
    Core::MutexLock const lock(stateLock);
    iptr<IDataPacket> result = Convert(std::move(packet));
    if (key && result && !result->IsKeyFrame()) result->GetAVPacket()->flags |= AV_PKT_FLAG_KEY;
    firstPacketDone = true;
    if (result) ++packetCount;
    return result;
}

iptr<IDataPacket> FilterBitStreamImpl::Convert(iptr<IDataPacket> packet) {
    switch (conversion.mode) {
        case H264_ANNEXB_TO_MP4:
        case H264_MP4_TO_ANNEXB:
        case HEVC_ANNEXB_TO_MP4:
        case HEVC_MP4_TO_ANNEXB:
            return ConvertNalus(std::move(packet));
        case AAC_ADTS_TO_RAW:
            return RemoveADTSHeader(std::move(packet));
        case AAC_RAW_TO_ADTS:
            return InsertADTSHeader(std::move(packet), conversion.extradata, !firstPacketDone);
        case H264_INSERT_EXTRADATA:
            return InsertH264Extradata(std::move(packet), conversion.extradata);
        case HEVC_INSERT_EXTRADATA:
            return InsertHEVCExtradata(std::move(packet), conversion.extradata);
        default:
            return packet;
    }
}

iptr<IDataPacket> FilterBitStreamImpl::ConvertNalus(iptr<IDataPacket> packet) {
    bool const toMp4 = conversion.mode == H264_ANNEXB_TO_MP4 || conversion.mode == HEVC_ANNEXB_TO_MP4;
    try {
        if (toMp4) return AnnexBtoMp4(std::move(packet), conversion.headerSize);
        // Written in place where that can be done, so never on a packet that somebody else holds.
        return Mp4toAnnexB(MakeOwn(std::move(packet)), conversion.headerSize, conversion.extradata, codecId);
    } catch (Exception const& failure) {
        VLOG(21) << "Packet can't be converted: " << boost::diagnostic_information(failure);
    } catch (std::logic_error const& failure) {
        VLOG(21) << "Packet can't be converted: " << boost::diagnostic_information(failure);
    }
    // Meant: null, though the stream isn't over.
    LOG(WARNING) << "Dropping bad packet.";
    return nullptr;
}

void FilterBitStreamImpl::RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) {
    parentStream->RequestSeek(target, seekContext);
}

// --- Reports ---------------------------------------------------------------------------------------------------------

Core::Property FilterBitStreamImpl::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::MutexLock const lock(stateLock);
    return result.Add(Core::MakeStatistics("Tarsel::Proc::FilterBitStream::GetStatistic", processingTime, packetCount));
}

void FilterBitStreamImpl::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterBitStream", Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<IStreamRawEx> FilterBitStream::Create(iptr<IStreamRaw> source, Settings const& settings) {
    auto filter = MakeShared<FilterBitStreamImpl>(std::move(source));
    filter->UpdateSettings(settings);
    return filter;
}

}  // namespace Tarsel::Proc
