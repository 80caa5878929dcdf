#include "host/titles/RetimedTitles.h"

#include <algorithm>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/DataSubtitleFF.h"
#include "host/media/DecoderContext.h"
#include "host/media/FFmpeg.h"
#include "host/media/SubtitleLines.h"
#include "host/titles/CarriedFonts.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

constexpr int64 MILLISECOND = 1000;
constexpr int64 HUNDREDTH = 10 * MILLISECOND;

/// Empties what nobody took over.
struct TitleGuard {
    AVSubtitle value{};
    ~TitleGuard() { avsubtitle_free(&value); }
};

template <class T>
T* Allocated(T* memory) {
    if (!memory) TARSEL_THROW(ProcException, "There is no memory for a title");
    return memory;
}

bool IsText(AVSubtitleRect const* rectangle) {
    return rectangle && (rectangle->type == SUBTITLE_TEXT || rectangle->type == SUBTITLE_ASS);
}

/// Whether lines of scripts can't say it.
bool IsBetweenHundredths(int64 time) {
    return time % HUNDREDTH != 0;
}

/// Whether it is of texts that say other times than the item, or round them.
bool NeedsTimes(IDataSubtitle& item) {
    AVSubtitle const* const title = item.GetAVSubtitle();
    int64 const time = item.GetTime();
    int64 const duration = item.GetDuration();
    if (!title || title->num_rects == 0 || !HasValue(time) || !HasValue(duration) || !HasValue(title->pts))
        return false;
    if (!std::all_of(title->rects, title->rects + title->num_rects, IsText)) return false;
    int64 const begin = AddTime(title->pts, title->start_display_time * MILLISECOND);
    int64 const end = AddTime(title->pts, title->end_display_time * MILLISECOND);
    int64 const itemEnd = AddTime(time, duration);
    return begin != time || std::abs(SubTime(end, itemEnd)) >= MILLISECOND || IsBetweenHundredths(time) ||
           IsBetweenHundredths(itemEnd);
}

iptr<IDataSubtitle> WithTimes(IDataSubtitle& item) {
    AVSubtitle const& source = *item.GetAVSubtitle();
    int64 const time = item.GetTime();
    int64 const duration = item.GetDuration();
    TitleGuard copy;
    copy.value.format = source.format;
    copy.value.pts = time;
    copy.value.end_display_time =
        static_cast<u32>(std::clamp<int64>(duration / MILLISECOND, 0, std::numeric_limits<i32>::max()));
    copy.value.rects = Allocated(static_cast<AVSubtitleRect**>(av_calloc(source.num_rects, sizeof(AVSubtitleRect*))));
    for (unsigned i = 0; i < source.num_rects; ++i) {
        auto* const rectangle = Allocated(static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect))));
        copy.value.rects[copy.value.num_rects++] = rectangle;
        rectangle->type = source.rects[i]->type;
        rectangle->flags = source.rects[i]->flags;
        if (source.rects[i]->text) rectangle->text = Allocated(av_strdup(source.rects[i]->text));
        if (!source.rects[i]->ass) continue;
        std::string const line =
            MakeExactDialogueLine(MakeEventText(source.rects[i]->ass, 0), time, AddTime(time, duration));
        rectangle->ass = Allocated(av_strdup(line.c_str()));
    }
    return DataSubtitleFF::Create(&copy.value, time, duration);
}

bool HasOwnStyles(Conf::IFormatCodec const& format) {
    return format.GetCodecID() == "ass" || format.GetCodecID() == "ssa";
}

std::string WithPlainFont(std::string header) {
    // As libavcodec begins the style of texts that have none.
    constexpr std::string_view STYLE = "Style: Default,";
    std::size_t const style = header.find(STYLE);
    if (style == std::string::npos) return header;
    std::size_t const font = style + STYLE.size();
    return header.replace(font, std::min(header.find(',', font), header.size()) - font, "sans-serif");
}

/// Null stays null.
iptr<Conf::IFormatCodecSubtitle const> AsDrawn(iptr<Conf::IFormatCodecSubtitle const> const& format) {
    if (!format) return format;
    std::string const& own = format->GetSubtitleHeader();
    std::string header = HasOwnStyles(*format) ? own : WithPlainFont(own);
    NativeParameters const* const native = FindNativeParameters(*format);
    if (native && native->fonts) header = WithFonts(std::move(header), *native->fonts);
    if (header == own) return format;
    iptr<Conf::IFormatCodecSubtitle> drawn(dynamic_cast<Conf::IFormatCodecSubtitle*>(format->CloneBase().get()));
    if (!drawn) return format;
    drawn->SetSubtitleHeader(header);
    return drawn;
}

}  // namespace

RetimedTitles::RetimedTitles(iptr<IStreamSubtitle> const& source)
    : ForwardingStream(source), format(AsDrawn(source->GetFormatCodec())) {}

iptr<IDataSubtitle> RetimedTitles::Read() {
    iptr<IDataSubtitle> item = stream->Read();
    return item && NeedsTimes(*item) ? WithTimes(*item) : item;
}

}  // namespace Tarsel::Host
