#include <glog/logging.h>

#include <algorithm>
#include <boost/exception/diagnostic_information.hpp>
#include <iterator>
#include <optional>
#include <stdexcept>
#include <utility>

#include "Proc/CodecParsers/H264CodecParser.h"
#include "Proc/Filters/Filters/CompareStreamHeaders.h"
#include "Proc/Filters/Filters/EncoderSettings.h"
#include "Proc/Filters/Filters/GopRecoder.h"
#include "Proc/Filters/Filters/SearchForStreamSettings.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"

// The decision, at construction of a cut stream, whether groups of pictures can be encoded again.

namespace Tarsel::Proc {

using Conf::IFormatCodecVideo;

namespace {

bool IsRecodableCodec(std::string const& codecId) {
    static constexpr char const* codecs[] = {
        IFormatCodecVideo::CODEC_ID_H263,       IFormatCodecVideo::CODEC_ID_H264,
        IFormatCodecVideo::CODEC_ID_MPEG1VIDEO, IFormatCodecVideo::CODEC_ID_MPEG2VIDEO,
        IFormatCodecVideo::CODEC_ID_MPEG4,      IFormatCodecVideo::CODEC_ID_WMV2,
        IFormatCodecVideo::CODEC_ID_VP8,        IFormatCodecVideo::CODEC_ID_VP9,
        IFormatCodecVideo::CODEC_ID_THEORA,
    };
    return std::find(std::begin(codecs), std::end(codecs), codecId) != std::end(codecs);
}

bool HasBytes(iptr<IBlob> const& blob) {
    return blob && blob->GetSize() > 0;
}

void LogFailedCreation(std::string const& name, char const* className, std::string const& diagnostic) {
    VLOG(31) << "Creation of " << name << " was failed: " << className << ":" << diagnostic;
}

}  // namespace

void GopRecoder::FindEncoder(iptr<IStreamRaw> const& source) {
    iptr<Conf::IFormatCodec const> const format = source->GetFormatCodec();
    if (!format) return;
    encoderProperties = format->GetProperty();
    if (source->GetMediaType() != MEDIA_TYPE_VIDEO || !IsRecodableCodec(format->GetCodecID())) return;
    bool const isH264 = format->GetCodecID() == IFormatCodecVideo::CODEC_ID_H264;

    VLOG(31) << "Search for GOP recode ability.";
    iptr<IStreamVideo> decoder;
    try {
        decoder = codecFactory->CreateVideoDecoder(source, "");
    } catch (CodecFactoryException const& failure) {
        LogFailedCreation("decoder", "CodecFactoryException", boost::diagnostic_information(failure));
    }
    if (!decoder) {
        VLOG(31) << "We can't recode GOP: no decoder";
        return;
    }

    if (isH264) {
        iptr<IBlob> const header = format->GetExtradata();
        mergesAllSets = true;
        std::optional<u32> freeId;
        try {
            mergesAllSets = !CodecParsers::HasOnlyOneSpsAndPpsOtherThanId1(header);
            freeId = mergesAllSets ? CodecParsers::FindFreeParameterSetId(header)
                                   : CodecParsers::GetFirstFreeParameterSetId(header);
        } catch (Exception const& failure) {
            VLOG(21) << "Cought exception while decoding h264 header: " << boost::diagnostic_information(failure);
        }
        if (!freeId) {
            VLOG(31) << "We can't recode GOP: no free parameter set id";
            return;
        }
        spsId = *freeId;
    }

    source->RequestSeek(0, nullptr);
    source->DoSeek();
    int64 shift = 0;
    if (!StudyStream(*source, format->GetCodecID(), shift)) return;
    streamDtsShift = shift;
    BuildEncoderSettings(*format, encoderProperties, spsId, shift != 0);

    for (std::string const& name : GetCandidates(format->GetCodecID()))
        if (TryEncoder(name, decoder, *format)) break;
    if (!canRecode) VLOG(31) << "We can't recode GOP: no suitable codec found!";
}

bool GopRecoder::StudyStream(IStreamRaw& source, std::string const& codecId, int64& shift) const {
    StreamSettings const found = SearchForStreamSettings(source);
    bool const mayBeOpen =
        codecId == IFormatCodecVideo::CODEC_ID_MPEG1VIDEO || codecId == IFormatCodecVideo::CODEC_ID_MPEG2VIDEO;
    shift = found.shift;
    if (found.invalidPts) VLOG(31) << "We can't recode GOP: stream has invalid PTSs";
    if (found.invalidPts) return false;
    if (found.openGop && !mayBeOpen) VLOG(31) << "We can't recode GOP: stream has open GOPs";
    return mayBeOpen || !found.openGop;
}

std::vector<std::string> GopRecoder::GetCandidates(std::string const& codecId) const {
    std::vector<std::string> names = codecFactory->GetEncoderNames(codecId);
    std::erase(names, codecId);
    auto const preferred = std::find(names.begin(), names.end(), ImplNames::FFMPEG);
    if (preferred != names.end()) std::iter_swap(names.begin(), preferred);
    return names;
}

bool GopRecoder::TryEncoder(std::string const& name, iptr<IStreamVideo> const& decoder,
                            Conf::IFormatCodec const& format) {
    try {
        iptr<Core::ComputingResourceManager::BusyResource> resource;
        if (name == ImplNames::FFMPEG) resource = Core::ComputingResourceManager::TakeFakeResource();
        iptr<IEncoder> const encoder = codecFactory->CreateVideoEncoder(decoder, encoderProperties, name, resource);
        if (!encoder) {
            VLOG(31) << "Creation of " << name << " was failed, creation function returned nullptr";
            return false;
        }
        return AcceptEncoder(*encoder, name, format);
    } catch (Core::NotEnoughResource const&) {
        VLOG(31) << "Creation of " << name << " was failed: not enough resources, try later";
        throw;
    } catch (EncoderException const& failure) {
        LogFailedCreation(name, "EncoderException", boost::diagnostic_information(failure));
    } catch (CodecFactoryException const& failure) {
        LogFailedCreation(name, "CodecFactoryException", boost::diagnostic_information(failure));
    }
    return false;
}

bool GopRecoder::AcceptEncoder(IEncoder const& encoder, std::string const& name, Conf::IFormatCodec const& format) {
    iptr<Conf::IFormatCodec const> const encoderFormat = encoder.GetFormatCodec();
    if (!encoderFormat) return false;
    bool const headersMatch = CompareStreamHeaders(format, *encoderFormat);
    bool const forcedByName = format.GetCodecID() == IFormatCodecVideo::CODEC_ID_H264 && name == ImplNames::FFMPEG;
    if (!headersMatch && !forcedByName) return false;
    iptr<Conf::IFormatCodec> merged;
    if (forcedByName) {
        iptr<IBlob> const first = format.GetExtradata();
        iptr<IBlob> const second = encoderFormat->GetExtradata();
        if (!HasBytes(first) || !HasBytes(second)) return false;
        merged = format.Clone();
        try {
            merged->SetExtradata(mergesAllSets ? CodecParsers::MergeAllH264ParameterSets(first, second)
                                               : CodecParsers::MergeH264Extradata(first, second));
        } catch (Exception const& failure) {
            VLOG(21) << "Cought exception while decoding output h264 header: "
                     << boost::diagnostic_information(failure);
            return false;
        }
    }
    canRecode = true;
    encoderName = name;
    busyResource = encoder.GetResource();
    mergedFormat = merged;
    VLOG(31) << "We can recode GOP with " << name;
    return true;
}

}  // namespace Tarsel::Proc
