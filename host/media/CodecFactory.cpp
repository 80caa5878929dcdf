#include "host/media/CodecFactory.h"

#include <algorithm>
#include <cctype>
#include <initializer_list>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/ImplNames.h"
#include "host/media/VideoDecoder.h"
#include "host/media/VideoEncoder.h"

namespace Tarsel::Host {

iptr<CodecFactory> CodecFactory::Create(Options const& options) {
    return iptr<CodecFactory>(new CodecFactory(options));
}

iptr<CodecFactory> CodecFactory::Create() {
    return Create(Options{});
}

iptr<Proc::IStreamVideo> CodecFactory::CreateVideoDecoder(iptr<Proc::IStreamRaw> const& source,
                                                          std::string const& implName) const {
    return VideoDecoder::Create(source, implName, options.decoder);
}

std::vector<std::string> CodecFactory::GetEncoderNames(std::string const& codecId) const {
    if (options.noEncoders || !FindRecodeEncoder(codecId, 0, 0)) return {};
    return {Proc::ImplNames::FFMPEG};
}

iptr<Proc::IEncoder> CodecFactory::CreateVideoEncoder(
    iptr<Proc::IStreamVideo> const& source, Core::Property const& properties, std::string const& implName,
    iptr<Core::ComputingResourceManager::BusyResource> const& resource) const {
    if (options.noEncoders) TARSEL_THROW(Proc::CodecFactoryException, "No encoder is to be used: " + options.reason);
    if (implName != Proc::ImplNames::FFMPEG && implName != Proc::ImplNames::DEFAULT && !implName.empty())
        TARSEL_THROW(Proc::CodecFactoryException, "There is no encoder implementation '" + implName + "'");
    return VideoEncoder::Create(source, properties, VideoEncoderOptions{}, resource);
}

ContainerCodecs DefaultEncoders(std::string const& container) {
    struct Row {
        std::initializer_list<char const*> names;
        ContainerCodecs codecs;
    };
    static Row const ROWS[] = {
        {{"mp4", "m4v", "mov", "3gp"}, {"h264", "aac", "mov_text"}},
        {{"mkv", "matroska"}, {"h264", "aac", "ass"}},
        {{"ts", "mpegts", "m2ts", "mts"}, {"h264", "aac", ""}},
        {{"flv"}, {"h264", "aac", ""}},
        {{"webm"}, {"vp9", "opus", "webvtt"}},
        {{"avi"}, {"mpeg4", "mp3", ""}},
        {{"asf", "wmv"}, {"wmv2", "wmav2", ""}},
        {{"wma"}, {"", "wmav2", ""}},
        {{"ogg", "ogv"}, {"theora", "vorbis", ""}},
        {{"oga"}, {"", "vorbis", ""}},
        {{"opus"}, {"", "opus", ""}},
        {{"wav"}, {"", "pcm_s16le", ""}},
        {{"m4a", "ipod"}, {"", "aac", ""}},
        {{"aac", "adts"}, {"", "aac", ""}},
        {{"mp3"}, {"", "mp3", ""}},
        {{"mp2"}, {"", "mp2", ""}},
        {{"ac3"}, {"", "ac3", ""}},
        {{"flac"}, {"", "flac", ""}},
        {{"mpg", "mpeg", "vob"}, {"mpeg2video", "mp2", ""}},
        {{"h264", "264"}, {"h264", "", ""}},
        {{"hevc", "h265"}, {"hevc", "", ""}},
        {{"mka"}, {"", "aac", ""}},
        {{"mks"}, {"", "", "ass"}},
        {{"srt"}, {"", "", "subrip"}},
        {{"ass"}, {"", "", "ass"}},
        {{"vtt", "webvtt"}, {"", "", "webvtt"}},
    };
    std::string name = container;
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::tolower(letter)); });
    for (Row const& row : ROWS)
        if (std::find(row.names.begin(), row.names.end(), name) != row.names.end()) return row.codecs;
    TARSEL_THROW(Proc::CodecFactoryException, "No encoders are known for the container '" + container + "'");
}

}  // namespace Tarsel::Host
