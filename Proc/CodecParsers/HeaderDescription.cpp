#include "contracts/Proc/HeaderDescription.h"

#include "Proc/CodecParsers/HeaderFields.h"
#include "contracts/Conf/IFormatCodec.h"

namespace Tarsel::Proc::CodecParsers {

Core::Property DescribeHeaders(std::string const& codecId, u8 const* data, std::size_t size) {
    using Video = Conf::IFormatCodecVideo;
    HeaderStructures out;
    if (size == 0) return out.Finish();
    if (codecId == Video::CODEC_ID_H264) DescribeH264(data, size, out);
    if (codecId == Video::CODEC_ID_MPEG1VIDEO || codecId == Video::CODEC_ID_MPEG2VIDEO) DescribeMPEG2(data, size, out);
    if (codecId == Video::CODEC_ID_H265) DescribeHEVC(data, size, out);
    if (codecId == Video::CODEC_ID_MPEG4) DescribeMPEG4(data, size, out);
    if (codecId == Conf::IFormatCodecAudio::CODEC_ID_AAC) DescribeAAC(data, size, out);
    return out.Finish();
}

}  // namespace Tarsel::Proc::CodecParsers
