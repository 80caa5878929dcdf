// The report on the headers of every codec. The first byte chooses the codec. Nothing may be thrown, and no report may
// outgrow its limits.

#include <algorithm>
#include <cstdlib>
#include <iterator>

#include "Proc/CodecParsers/HeaderFields.h"
#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Proc/HeaderDescription.h"
#include "fuzz/FuzzInput.h"

using namespace Tarsel;
using namespace Tarsel::Proc::CodecParsers;

static void RequireForm(Core::Property const& report) {
    if (report.Children().size() > MAX_DESCRIBED_STRUCTURES + 1) std::abort();
    for (Core::Property const& structure : report.Children()) {
        if (structure.IsKeyed() != (structure.Name() == TAG_LEFT_OUT)) std::abort();
        if (structure.ChildExists("error") && structure.Children().size() != 1) std::abort();
        for (Core::Property const& field : structure.Children())
            if (!field.IsKeyed() || field.Children().size() > MAX_DESCRIBED_ENTRIES + 1) std::abort();
    }
}

extern "C" int LLVMFuzzerTestOneInput(u8 const* input, std::size_t inputSize) {
    constexpr char const* CODECS[] = {Conf::IFormatCodecVideo::CODEC_ID_H264, Conf::IFormatCodecVideo::CODEC_ID_H265,
                                      Conf::IFormatCodecVideo::CODEC_ID_MPEG2VIDEO,
                                      Conf::IFormatCodecVideo::CODEC_ID_MPEG4, Conf::IFormatCodecAudio::CODEC_ID_AAC};
    if (inputSize == 0) return 0;
    RequireForm(
        DescribeHeaders(CODECS[input[0] % std::size(CODECS)], input + 1, std::min(inputSize - 1, Fuzz::INPUT_LIMIT)));
    return 0;
}
