#include "host/media/SubtitleEncoder.h"

#include <cstring>
#include <memory>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "host/media/DecoderCore.h"
#include "host/media/SubtitleLines.h"

namespace Tarsel::Host {

namespace {

/// Bytes of one encoded event at most.
constexpr int MAX_EVENT_SIZE = 1 << 20;

constexpr char PLAIN_HEADER[] =
    "[Script Info]\r\nScriptType: v4.00+\r\nPlayResX: 384\r\nPlayResY: 288\r\n\r\n"
    "[V4+ Styles]\r\n"
    "Format: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, Italic, "
    "Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, MarginR, "
    "MarginV, Encoding\r\n"
    "Style: Default,Arial,16,&Hffffff,&Hffffff,&H0,&H0,0,0,0,0,100,100,0,0,1,1,0,2,10,10,10,1\r\n\r\n"
    "[Events]\r\n"
    "Format: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\r\n";

/// Rectangles of one event in the form that encoders take, their texts owned here.
struct EventView {
    std::vector<std::string> texts;
    std::vector<AVSubtitleRect> rectangles;
    std::vector<AVSubtitleRect*> pointers;
    AVSubtitle subtitle{};

    EventView(AVSubtitle const& source, int readOrder) {
        for (unsigned i = 0; i < source.num_rects; ++i)
            if (source.rects[i]->ass) texts.push_back(MakeEventText(source.rects[i]->ass, readOrder));
        rectangles.resize(texts.size());
        for (std::size_t i = 0; i < texts.size(); ++i) {
            rectangles[i].type = SUBTITLE_ASS;
            rectangles[i].ass = texts[i].data();
            pointers.push_back(&rectangles[i]);
        }
        subtitle.format = 1;
        subtitle.num_rects = static_cast<unsigned>(pointers.size());
        subtitle.rects = pointers.data();
    }
};

}  // namespace

iptr<SubtitleEncoder> SubtitleEncoder::Create(iptr<Proc::IStreamSubtitle> const& source, std::string const& codecId) {
    return iptr<SubtitleEncoder>(new SubtitleEncoder(source, codecId));
}

SubtitleEncoder::SubtitleEncoder(iptr<Proc::IStreamSubtitle> const& events, std::string const& codecId)
    : CodecStream(events) {
    iptr<Conf::IFormatCodecSubtitle const> const sourceFormat = source->GetFormatCodec();
    AVCodecDescriptor const* const description = avcodec_descriptor_get_by_name(codecId.c_str());
    if (description && description->type == AVMEDIA_TYPE_SUBTITLE) codec = avcodec_find_encoder(description->id);
    if (!codec || !sourceFormat)
        TARSEL_THROW(Proc::EncoderException, "There is no subtitle encoder for '" + codecId + "'");
    context.reset(avcodec_alloc_context3(codec));
    if (!context) Fail("Can't allocate", AVERROR(ENOMEM));
    watch.Attach(*context);
    std::string const header =
        sourceFormat->GetSubtitleHeader().empty() ? PLAIN_HEADER : sourceFormat->GetSubtitleHeader();
    context->time_base = MICROSECONDS;
    context->flags |= AV_CODEC_FLAG_BITEXACT;
    context->subtitle_header = static_cast<uint8_t*>(av_mallocz(header.size() + 1));
    if (!context->subtitle_header) Fail("Can't allocate", AVERROR(ENOMEM));
    std::memcpy(context->subtitle_header, header.data(), header.size());
    context->subtitle_header_size = static_cast<int>(header.size());
    if (int const code = avcodec_open2(context.get(), codec, nullptr); code < 0) Fail("Can't open", code);

    iptr<Conf::IFormatCodecSubtitle> const result = sourceFormat->Clone();
    iptr<NativeParameters> const native(new NativeParameters);
    if (NativeParameters const* const known = FindNativeParameters(*sourceFormat))
        native->disposition = known->disposition;
    if (int const code = avcodec_parameters_from_context(native->parameters.get(), context.get()); code < 0)
        Fail("Can't describe", code);
    iptr<IBlob> extradata;
    if (context->extradata_size > 0)
        extradata = Proc::BlobFF::Create(context->extradata, static_cast<std::size_t>(context->extradata_size));
    result->SetCodecID(avcodec_get_name(codec->id));
    result->SetExtradata(extradata);
    result->SetNativeParameters(native);
    format = result;
}

void SubtitleEncoder::Fail(char const* what, int code) const {
    std::string const detail = watch.GetLastText();
    TARSEL_THROW(Proc::EncoderException, std::string(what) + " encoder " + codec->name + ": " + ErrorText(code) +
                                             (detail.empty() ? "" : " (" + detail + ")"));
}

void SubtitleEncoder::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "SubtitleEncoder", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

iptr<Proc::IDataPacket> SubtitleEncoder::ReadNext() {
    while (iptr<Proc::IDataSubtitle> const event = source->Read())
        if (iptr<Proc::IDataPacket> packet = Encode(*event)) return packet;
    return nullptr;
}

iptr<Proc::IDataPacket> SubtitleEncoder::Encode(Proc::IDataSubtitle& event) {
    EventView view(*event.GetAVSubtitle(), eventsIn++);
    if (view.texts.empty()) return nullptr;
    view.subtitle.end_display_time =
        static_cast<u32>(HasValue(event.GetDuration()) ? std::max<int64>(event.GetDuration() / 1000, 0) : 0);
    view.subtitle.pts = event.GetTime();
    std::vector<u8> buffer(MAX_EVENT_SIZE);
    int const size = avcodec_encode_subtitle(context.get(), buffer.data(), MAX_EVENT_SIZE, &view.subtitle);
    if (size < 0) Fail("Can't use", size);
    if (size == 0) return nullptr;
    PacketPtr packet(av_packet_alloc());
    if (!packet || av_new_packet(packet.get(), size) < 0) Fail("Can't allocate a packet of", AVERROR(ENOMEM));
    std::memcpy(packet->data, buffer.data(), static_cast<std::size_t>(size));
    packet->flags |= AV_PKT_FLAG_KEY;
    packet->pts = packet->dts = event.GetTime();
    packet->duration = HasValue(event.GetDuration()) ? event.GetDuration() : 0;
    iptr<Proc::IDataPacket> const item = Proc::DataPacketFF::Create(
        packet.release(), MEDIA_TYPE_SUBTITLE, event.GetTime(), event.GetTime(), event.GetDuration());
    item->SetFormatCodec(format);
    return item;
}

}  // namespace Tarsel::Host
