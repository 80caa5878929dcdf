#include "host/cut/CutCodecs.h"

#include "host/media/CodecFactory.h"

namespace Tarsel::Host {

using Conf::IFormatCodecVideo;

namespace {

bool MayHaveOpenGroups(std::string const& codec) {
    return codec == IFormatCodecVideo::CODEC_ID_MPEG1VIDEO || codec == IFormatCodecVideo::CODEC_ID_MPEG2VIDEO;
}

/// Why groups of this stream can't be continued by an encoder; empty when nothing is known against it.
std::string FindRefusal(StreamInfo const& info, StreamIndex const& index) {
    if (!index.HasPresentationTimes()) return index.GetTimesProblem();
    if (MayHaveOpenGroups(info.codec)) return {};
    if (!index.IsEveryKeyIdr()) return "random access points that are no IDR pictures";
    if (index.HasLeadingPictures())
        return "open groups: " + std::to_string(index.GetLeadingCount()) +
               " pictures are shown before the key picture they follow";
    return {};
}

}  // namespace

iptr<Proc::ICodecFactory const> ChooseCutCodecs(StreamInfo const& info, StreamIndex const& index,
                                                std::string& refusal) {
    CodecFactory::Options options;
    refusal = FindRefusal(info, index);
    options.noEncoders = !refusal.empty();
    options.reason = refusal;
    // Two: a decoder lives for one group, and each further thread holds pictures of its own.
    options.decoder.threading = DecoderOptions::Threading::Frames;
    options.decoder.threadCount = 2;
    return CodecFactory::Create(options);
}

}  // namespace Tarsel::Host
