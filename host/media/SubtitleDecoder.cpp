#include "host/media/SubtitleDecoder.h"

#include <glog/logging.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataSubtitleFF.h"
#include "contracts/Proc/Time.h"
#include "host/media/PacketScan.h"
#include "host/media/SubtitleLines.h"

namespace Tarsel::Host {

namespace {

constexpr int64 MILLISECOND = 1000;
/// Of a last event that says nothing of its end, in a stream that says nothing either.
constexpr int64 FALLBACK_DURATION = 5 * SECOND;
/// The library's end of what has none.
constexpr int64 NO_END = std::numeric_limits<u32>::max();
/// Colours of a palette.
constexpr int MAX_COLOURS = 256;

iptr<Conf::IFormatCodecSubtitle> SubtitleFormatOf(iptr<Proc::IStreamRaw> const& source) {
    if (!source) TARSEL_THROW(std::invalid_argument, "source is NULL");
    iptr<Conf::IFormatCodec const> const format = source->GetFormatCodec();
    if (!format) TARSEL_THROW(Proc::CodecFactoryException, "Source format codec must be present");
    iptr<Conf::IFormatCodecSubtitle> own(dynamic_cast<Conf::IFormatCodecSubtitle*>(format->CloneBase().get()));
    if (!own)
        TARSEL_THROW(Proc::CodecFactoryException,
                     "The stream of codec '" + format->GetCodecID() + "' has no subtitles");
    return own;
}

/// What a damaged picture leaves; a rectangle of no size would count among those that enclose the picture.
void DropEmptyRectangles(AVSubtitle& subtitle) {
    unsigned kept = 0;
    for (unsigned i = 0; i < subtitle.num_rects; ++i) {
        AVSubtitleRect* const rectangle = subtitle.rects[i];
        bool const whole = rectangle->w > 0 && rectangle->h > 0 && rectangle->data[0] && rectangle->data[1];
        if (rectangle->type != SUBTITLE_BITMAP || whole) {
            subtitle.rects[kept++] = rectangle;
            continue;
        }
        for (uint8_t*& data : rectangle->data) av_freep(&data);
        av_freep(&rectangle->text);
        av_freep(&rectangle->ass);
        av_freep(&subtitle.rects[i]);
    }
    subtitle.num_rects = kept;
}

/// The library's palettes are native words of A, R, G, B.
void ReorderPalette(AVSubtitleRect& rectangle) {
    if (rectangle.type != SUBTITLE_BITMAP || !rectangle.data[1]) return;
    int const colours = std::clamp(rectangle.nb_colors, 0, MAX_COLOURS);
    for (int i = 0; i < colours; ++i) {
        u8* const entry = rectangle.data[1] + 4 * i;
        u32 word = 0;
        std::copy_n(entry, sizeof word, reinterpret_cast<u8*>(&word));
        entry[0] = static_cast<u8>(word >> 16);
        entry[1] = static_cast<u8>(word >> 8);
        entry[2] = static_cast<u8>(word);
        entry[3] = static_cast<u8>(word >> 24);
    }
}

void CompleteLines(AVSubtitle& subtitle, int64 begin, int64 end) {
    for (unsigned i = 0; i < subtitle.num_rects; ++i) {
        AVSubtitleRect& rectangle = *subtitle.rects[i];
        if (!rectangle.ass) continue;
        char* const line = av_strdup(MakeDialogueLine(rectangle.ass, begin, end).c_str());
        if (!line) TARSEL_THROW(Proc::ProcException, "Can't allocate a subtitle line");
        av_free(rectangle.ass);
        rectangle.ass = line;
    }
}

/// The library leaves the time out, or tells the packet's.
void CompleteTimes(AVSubtitle& subtitle, int64 begin, int64 duration) {
    int64 const length = AddTime(duration, MILLISECOND / 2) / MILLISECOND;
    subtitle.pts = begin;
    subtitle.start_display_time = 0;
    subtitle.end_display_time = static_cast<u32>(std::clamp<int64>(length, 0, NO_END - 1));
}

/// Empties a subtitle that nobody took over.
struct SubtitleGuard {
    AVSubtitle value{};
    ~SubtitleGuard() { avsubtitle_free(&value); }
};

}  // namespace

iptr<SubtitleDecoder> SubtitleDecoder::Create(iptr<Proc::IStreamRaw> const& source, std::string const& implName,
                                              DecoderOptions const& options) {
    return iptr<SubtitleDecoder>(new SubtitleDecoder(source, SubtitleFormatOf(source), implName, options));
}

SubtitleDecoder::SubtitleDecoder(iptr<Proc::IStreamRaw> const& packetStream,
                                 iptr<Conf::IFormatCodecSubtitle> subtitleFormat, std::string const& implName,
                                 DecoderOptions const& options)
    : CodecStream(packetStream),
      strictness(options.strictness),
      decoder(*subtitleFormat, AVMEDIA_TYPE_SUBTITLE, implName, options),
      endedByNext(IsPicturedSubtitle(decoder.GetCodec().id)) {
    CodecContextPtr const context = decoder.Probe();
    if (context->subtitle_header)
        subtitleFormat->SetSubtitleHeader(std::string(reinterpret_cast<char const*>(context->subtitle_header),
                                                      static_cast<std::size_t>(context->subtitle_header_size)));
    format = std::move(subtitleFormat);
}

void SubtitleDecoder::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "SubtitleDecoder", FRAME_TYPE_DECODER, this);
}

void SubtitleDecoder::NoteDamage(std::string const& what) {
    ++damagedPackets;
    if (strictness != DecoderOptions::Strictness::Lenient) TARSEL_THROW(Proc::ProcException, what);
    LOG(WARNING) << what;
}

void SubtitleDecoder::CheckComplaints(int64 time, uint64 errors, uint64 warnings) const {
    if (strictness == DecoderOptions::Strictness::Lenient) return;
    LibavLogWatch const& watch = decoder.GetWatch();
    bool const warned = strictness == DecoderOptions::Strictness::Warnings && watch.GetWarningCount() > warnings;
    if (watch.GetErrorCount() > errors || warned)
        TARSEL_THROW(Proc::ProcException,
                     "Decoder failed, " + GetImplName() + " at " + Proc::T2S(time) + ": " + watch.GetLastText());
}

bool SubtitleDecoder::Decode(iptr<Proc::IDataSubtitle>& event, int64& begin) {
    for (;;) {
        iptr<Proc::IDataPacket> const item = source->Read();
        if (!item) return false;
        if (item->GetSize() == 0 || !HasValue(item->GetTime())) continue;
        ++packets;
        PacketPtr const packet(av_packet_clone(item->GetAVPacket()));
        if (!packet) TARSEL_THROW(Proc::ProcException, "Can't copy a packet");
        packet->pts = item->GetTime();
        packet->dts = item->GetDecodingTime();
        packet->duration = HasValue(item->GetDuration()) ? item->GetDuration() : 0;
        SubtitleGuard subtitle;
        int complete = 0;
        AVCodecContext& codec = decoder.Open();
        uint64 const errors = decoder.GetWatch().GetErrorCount();
        uint64 const warnings = decoder.GetWatch().GetWarningCount();
        int const code = avcodec_decode_subtitle2(&codec, &subtitle.value, &complete, packet.get());
        if (code < 0) {
            NoteDamage("Damaged packet is skipped, " + GetImplName() + " at " + Proc::T2S(item->GetTime()) + ": " +
                       ErrorText(code));
            continue;
        }
        CheckComplaints(item->GetTime(), errors, warnings);
        DropEmptyRectangles(subtitle.value);
        // A text stream's packet without text only fills a hole in the container.
        if (!complete || (subtitle.value.num_rects == 0 && !endedByNext)) continue;
        // What comes in several packets has its time in the first.
        int64 const told = HasValue(subtitle.value.pts) ? subtitle.value.pts : item->GetTime();
        begin = AddTime(told, subtitle.value.start_display_time * MILLISECOND);
        event = nullptr;
        if (subtitle.value.num_rects == 0) return true;
        for (unsigned i = 0; i < subtitle.value.num_rects; ++i) ReorderPalette(*subtitle.value.rects[i]);
        u32 const end = subtitle.value.end_display_time;
        bool const hasEnd = end > subtitle.value.start_display_time && end != NO_END;
        int64 duration = NO_VALUE;
        if (hasEnd)
            duration = int64{end - subtitle.value.start_display_time} * MILLISECOND;
        else if (packet->duration > 0)
            duration = packet->duration;
        // A text's own duration is exact; the display time is rounded to milliseconds.
        if (!endedByNext && packet->duration > 0) duration = packet->duration;
        event = Proc::DataSubtitleFF::Create(&subtitle.value, begin, duration);
        return true;
    }
}

iptr<Proc::IDataSubtitle> SubtitleDecoder::Finish(iptr<Proc::IDataSubtitle> event, int64 nextBegin) const {
    int64 const begin = event->GetTime();
    int64 const untilNext = SubTime(nextBegin, begin);
    int64 duration = event->GetDuration();
    bool const isNextKnown = HasValue(untilNext);
    if (isNextKnown && untilNext > 0 && (!HasValue(duration) || (endedByNext && untilNext < duration)))
        duration = untilNext;
    if (!HasValue(duration) && !isNextKnown) duration = SubTime(GetDuration(), begin);
    if (!HasValue(duration) || duration <= 0) duration = FALLBACK_DURATION;
    // Replaced before anybody could see it.
    if (endedByNext && isNextKnown && untilNext == 0) duration = 0;
    event->SetDuration(duration);
    CompleteTimes(*event->GetAVSubtitle(), begin, duration);
    CompleteLines(*event->GetAVSubtitle(), begin, AddTime(begin, duration));
    return event;
}

bool SubtitleDecoder::IsWanted(iptr<Proc::IDataSubtitle> const& event) const {
    if (event->GetDuration() == 0) return false;
    return !HasValue(target) || AddTime(event->GetTime(), event->GetDuration()) > target;
}

iptr<Proc::IDataSubtitle> SubtitleDecoder::TakeHeld() {
    if (held.empty()) return nullptr;
    iptr<Proc::IDataSubtitle> event = std::move(held.front());
    held.pop_front();
    return event;
}

bool SubtitleDecoder::ReadPicture(iptr<Proc::IDataSubtitle>& event) {
    iptr<Proc::IDataSubtitle> next;
    int64 nextBegin = NO_VALUE;
    bool const more = Decode(next, nextBegin);
    event = TakeHeld();
    if (event) event = Finish(event, nextBegin);
    if (more && next) held.push_back(next);
    return more;
}

bool SubtitleDecoder::ReadText(iptr<Proc::IDataSubtitle>& event) {
    event = nullptr;
    // A text that says its end needs nobody behind it; another one waits for what begins at another time.
    bool const isEnded =
        !held.empty() && (HasValue(held.front()->GetDuration()) || held.front()->GetTime() != held.back()->GetTime());
    if (!isEnded) {
        iptr<Proc::IDataSubtitle> next;
        int64 nextBegin = NO_VALUE;
        if (Decode(next, nextBegin)) {
            held.push_back(next);
            return true;
        }
        if (held.empty()) return false;
    }
    event = TakeHeld();
    int64 const begin = event->GetTime();
    int64 const end = held.empty() || held.back()->GetTime() == begin ? NO_VALUE : held.back()->GetTime();
    bool const isAlone = held.empty() || held.front()->GetTime() != begin;
    if (!HasValue(event->GetDuration()) && !isAlone) {
        int64 const length = SubTime(end, begin);
        event->SetDuration(HasValue(length) && length > 0 ? std::min(length, FALLBACK_DURATION) : FALLBACK_DURATION);
    }
    event = Finish(event, end);
    return true;
}

iptr<Proc::IDataSubtitle> SubtitleDecoder::ReadNext() {
    for (;;) {
        iptr<Proc::IDataSubtitle> event;
        bool const more = endedByNext ? ReadPicture(event) : ReadText(event);
        if (event && IsWanted(event)) return event;
        if (!more) return nullptr;
    }
}

void SubtitleDecoder::CloseCodec() {
    decoder.Close();
}

void SubtitleDecoder::Restart(int64 position) {
    if (AVCodecContext* const context = decoder.Get()) avcodec_flush_buffers(context);
    held.clear();
    target = position;
}

void SubtitleDecoder::AddStatistics(Core::Property& node) const {
    node.SetChild("Packets", packets.load());
    node.SetChild("Damaged packets", damagedPackets.load());
    node.SetChild("Decoder errors", static_cast<int64>(decoder.GetWatch().GetErrorCount()));
    node.SetChild("Decoder warnings", static_cast<int64>(decoder.GetWatch().GetWarningCount()));
}

}  // namespace Tarsel::Host
