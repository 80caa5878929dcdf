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
/// How far back a source is sought first that cuts its items; each further stride is twice as long.
constexpr int64 FIRST_STRIDE = 5 * SECOND;

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

bool IsOfTexts(IDataSubtitle& item) {
    AVSubtitle const* const title = item.GetAVSubtitle();
    return title && title->num_rects > 0 && std::all_of(title->rects, title->rects + title->num_rects, IsText);
}

/// The beginning of its millisecond: what draws counts in these, so that titles meet that share one.
int64 MillisecondAt(int64 time) {
    return time - (time % MILLISECOND + MILLISECOND) % MILLISECOND;
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
    if (!IsOfTexts(item) || !HasValue(time) || !HasValue(duration) || !HasValue(title->pts)) return false;
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

/// The style of texts that have none, as libavcodec writes it, with the system's plain font, and with lines that begin
/// at the side where their first letter does: an encoding of -1 asks for that.
std::string WithPlainStyle(std::string header) {
    constexpr std::string_view STYLE = "Style: Default,";
    std::size_t const style = header.find(STYLE);
    if (style == std::string::npos) return header;
    std::size_t const end = std::min(header.find_first_of("\r\n", style), header.size());
    std::string line = header.substr(style, end - style);
    std::size_t const font = STYLE.size();
    std::size_t const encoding = line.rfind(',') + 1;
    if (encoding > font) line.replace(encoding, std::string::npos, "-1");
    line.replace(font, std::min(line.find(',', font), line.size()) - font, "sans-serif");
    return header.replace(style, end - style, line);
}

/// Null stays null.
iptr<Conf::IFormatCodecSubtitle const> AsDrawn(iptr<Conf::IFormatCodecSubtitle const> const& format) {
    if (!format) return format;
    std::string const& own = format->GetSubtitleHeader();
    std::string header = HasOwnStyles(*format) ? own : WithPlainStyle(own);
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

int64 RetimedTitles::GetPosition() {
    GoBack();
    return held ? held->GetTime() : stream->GetPosition();
}

iptr<IDataSubtitle> RetimedTitles::Read() {
    GoBack();
    iptr<IDataSubtitle> const item = held ? std::exchange(held, nullptr) : stream->Read();
    return item && NeedsTimes(*item) ? WithTimes(*item) : item;
}

void RetimedTitles::RequestSeek(int64 position, iptr<IRefCountable> seekContext) {
    isEnded = false;
    held = nullptr;
    sought = position;
    stream->RequestSeek(position, std::move(seekContext));
}

void RetimedTitles::SetEndOfStream() {
    isEnded = true;
    stream->SetEndOfStream();
}

void RetimedTitles::ReleaseInternalData() {
    held = nullptr;
    stream->ReleaseInternalData();
}

iptr<IDataSubtitle> RetimedTitles::ReadFrom(int64 place) {
    // Comes again behind the seek, or, where that fails, not at all.
    held = nullptr;
    stream->RequestSeek(place, nullptr);
    stream->DoSeek();
    stream->FinishSeek();
    if (isEnded) stream->SetEndOfStream();
    return stream->Read();
}

void RetimedTitles::GoBack() {
    int64 place = std::exchange(sought, NO_VALUE);
    if (!HasValue(place) || place <= 0) return;
    held = stream->Read();
    int64 stride = MILLISECOND;
    bool isWhole = false;
    for (int step = 0; step < MAX_STEPS_BACK && place > 0 && held && IsOfTexts(*held); ++step) {
        int64 const begin = held->GetTime();
        if (!HasValue(begin) || begin > place || (begin == place && isWhole)) return;
        if (begin < place) {
            isWhole = true;
            place = MillisecondAt(begin);
        } else {
            // It begins here, or it was cut here: the millisecond in front tells.
            place -= stride;
            stride = std::max(2 * stride, FIRST_STRIDE);
        }
        place = std::max<int64>(place, 0);
        held = ReadFrom(place);
    }
}

}  // namespace Tarsel::Host
