#include "host/subtitles/SubtitleSource.h"

#include <algorithm>
#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "host/media/MediaFile.h"
#include "host/media/SubtitleDecoder.h"
#include "host/subtitles/SubtitleText.h"
#include "host/subtitles/TextEncoding.h"
#include "host/timeline/ShiftedStream.h"

namespace Tarsel::Host {

namespace {

[[noreturn]] void Fail(SubtitleRequest const& request, std::string const& what) {
    TARSEL_THROW(Core::IOException, request.file + ": " + what);
}

std::string ListStreams(MediaFile const& file) {
    std::string list;
    for (StreamInfo const& info : file.GetStreams()) list += (list.empty() ? "" : ", ") + StreamName(info);
    return list;
}

StreamInfo const& Choose(MediaFile const& file, SubtitleRequest const& request) {
    auto const& streams = file.GetStreams();
    auto const found = std::find_if(streams.begin(), streams.end(), [&](StreamInfo const& info) {
        return request.stream == -1 ? info.kind == StreamKind::Subtitle : info.index == request.stream;
    });
    if (found == streams.end())
        Fail(request, (request.stream == -1 ? std::string("there is no subtitle stream in it")
                                            : "there is no stream #" + std::to_string(request.stream) + " in it") +
                          ", only " + ListStreams(file));
    if (found->kind != StreamKind::Subtitle)
        Fail(request, StreamName(*found) + " holds no subtitles, in a file of " + ListStreams(file));
    return *found;
}

/// The pictures of VobSub say neither their times nor their colours, which stand in the text beside them.
std::string WithIndex(std::string const& path) {
    std::filesystem::path const given(path);
    std::string const extension = given.extension();
    if (extension != ".sub" && extension != ".SUB") return path;
    std::filesystem::path index = given;
    index.replace_extension(extension == ".sub" ? ".idx" : ".IDX");
    std::error_code ignored;
    return std::filesystem::is_regular_file(index, ignored) ? index.string() : path;
}

/// What libavcodec decodes after its own fashion, page upon page.
char const* FindRefusal(StreamInfo const& info) {
    switch (info.native->parameters->codec_id) {
        case AV_CODEC_ID_DVB_TELETEXT:
            return "is teletext, which can't be drawn";
        case AV_CODEC_ID_EIA_608:
            return "holds closed captions, which can't be drawn";
        default:
            return nullptr;
    }
}

}  // namespace

iptr<MediaFile> OpenSubtitleFile(std::string const& path, std::string const& charset) {
    if (!TextEncoding::IsKnown(charset))
        TARSEL_THROW(Core::IOException,
                     path + ": the encoding '" + charset +
                         "' isn't known: names are those of iconv, as CP1251, ISO-8859-1 or UTF-16LE");
    std::vector<std::string> warnings;
    if (SharedBytes const text = ReadSubtitleText(path, charset, warnings))
        return MediaFile::Open(path, text, std::move(warnings));
    std::string const index = WithIndex(path);
    return index == path ? nullptr : MediaFile::Open(index);
}

iptr<Proc::IStreamSubtitle> OpenSubtitles(SubtitleRequest const& request) {
    iptr<MediaFile> const file = OpenSubtitleFile(request.file, request.charset);
    return OpenSubtitles(file ? file : MediaFile::Open(request.file), request);
}

iptr<Proc::IStreamSubtitle> OpenSubtitles(iptr<MediaFile> const& file, SubtitleRequest const& request) {
    StreamInfo const& info = Choose(*file, request);
    if (char const* const refusal = FindRefusal(info)) Fail(request, StreamName(info) + " " + refusal);
    iptr<Proc::IStreamRaw> packets = file->OpenStream(info.index);
    if (!file->IsInMemory()) packets = RecodeTexts(std::move(packets), request.file, info, request.charset);
    // The packets are moved, so that all that the decoder writes into an event is of one time.
    packets = ShiftedStream<Proc::IStreamRaw>::Create(std::move(packets), request.delay);
    DecoderOptions options;
    options.strictness = request.strictness;
    try {
        return SubtitleDecoder::Create(packets, "", options);
    } catch (Proc::CodecFactoryException const& failure) {
        TARSEL_THROW(Proc::CodecFactoryException,
                     request.file + ": " + StreamName(info) + " can't be decoded: " + failure.what());
    }
}

}  // namespace Tarsel::Host
