#include "host/media/FFmpeg.h"

#include <array>

#include "host/media/MemoryInput.h"

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mathematics.h>
}

namespace Tarsel::Host {

static_assert(NO_VALUE == AV_NOPTS_VALUE);
static_assert(int(PIX_FMT_NONE) == AV_PIX_FMT_NONE && int(PIX_FMT_YUV420P) == AV_PIX_FMT_YUV420P);
static_assert(int(PIX_FMT_RGB24) == AV_PIX_FMT_RGB24 && int(PIX_FMT_NV12) == AV_PIX_FMT_NV12);
static_assert(int(PIX_FMT_ARGB) == AV_PIX_FMT_ARGB && int(PIX_FMT_RGBA) == AV_PIX_FMT_RGBA);
static_assert(int(PIX_FMT_ABGR) == AV_PIX_FMT_ABGR && int(PIX_FMT_BGRA) == AV_PIX_FMT_BGRA &&
              int(PIX_FMT_YUVA420P) == AV_PIX_FMT_YUVA420P);
static_assert(int(Conf::SAMPLE_FORMAT_NONE) == AV_SAMPLE_FMT_NONE && int(Conf::SAMPLE_FORMAT_U8) == AV_SAMPLE_FMT_U8);
static_assert(int(Conf::SAMPLE_FORMAT_S16) == AV_SAMPLE_FMT_S16 && int(Conf::SAMPLE_FORMAT_S32) == AV_SAMPLE_FMT_S32);
static_assert(int(Conf::SAMPLE_FORMAT_FLT) == AV_SAMPLE_FMT_FLT && int(Conf::SAMPLE_FORMAT_DBL) == AV_SAMPLE_FMT_DBL);
static_assert(int(Conf::SAMPLE_FORMAT_U8P) == AV_SAMPLE_FMT_U8P && int(Conf::SAMPLE_FORMAT_S16P) == AV_SAMPLE_FMT_S16P);
static_assert(int(Conf::SAMPLE_FORMAT_S32P) == AV_SAMPLE_FMT_S32P &&
              int(Conf::SAMPLE_FORMAT_FLTP) == AV_SAMPLE_FMT_FLTP);
static_assert(int(Conf::SAMPLE_FORMAT_DBLP) == AV_SAMPLE_FMT_DBLP && int(Conf::SAMPLE_FORMAT_S64) == AV_SAMPLE_FMT_S64);
static_assert(int(Conf::SAMPLE_FORMAT_S64P) == AV_SAMPLE_FMT_S64P);
static_assert(SUBTITLE_BITMAP == 1 && SUBTITLE_TEXT == 2 && SUBTITLE_ASS == 3);

void FreeInput::operator()(AVFormatContext* context) const {
    AVIOContext* const own = context && (context->flags & AVFMT_FLAG_CUSTOM_IO) ? context->pb : nullptr;
    avformat_close_input(&context);
    FreeMemoryInput(own);
}

std::string ErrorText(int code) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(code, text.data(), text.size());
    return text.data();
}

int64 ToMicroseconds(int64 time, AVRational timeBase) {
    if (!HasValue(time) || timeBase.den == 0) return NO_VALUE;
    return av_rescale_q(time, timeBase, MICROSECONDS);
}

int64 FromMicroseconds(int64 time, AVRational timeBase) {
    if (!HasValue(time) || timeBase.num == 0) return NO_VALUE;
    return av_rescale_q(time, MICROSECONDS, timeBase);
}

void KeepPlacesShort(AVFormatContext& reader) {
    constexpr unsigned PLACES = 64;
    if (reader.iformat->flags & AVFMT_GENERIC_INDEX) reader.max_index_size = PLACES * sizeof(AVIndexEntry);
}

MediaType ToMediaType(AVMediaType type) {
    switch (type) {
        case AVMEDIA_TYPE_VIDEO:
            return MEDIA_TYPE_VIDEO;
        case AVMEDIA_TYPE_AUDIO:
            return MEDIA_TYPE_AUDIO;
        case AVMEDIA_TYPE_SUBTITLE:
            return MEDIA_TYPE_SUBTITLE;
        case AVMEDIA_TYPE_DATA:
            return MEDIA_TYPE_DATA;
        default:
            return MEDIA_TYPE_NONE;
    }
}

}  // namespace Tarsel::Host
