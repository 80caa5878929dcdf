#include "host/subtitles/SubtitleText.h"

#include <glog/logging.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/DataPacketFF.h"
#include "contracts/Proc/Time.h"
#include "host/media/ForwardingStream.h"
#include "host/media/PacketScan.h"
#include "host/subtitles/TextEncoding.h"
#include "host/subtitles/WebVttText.h"

namespace Tarsel::Host {

namespace {

/// Bytes of a file that tell what it is.
constexpr std::size_t HEAD = 4096;
/// No subtitles are larger.
constexpr int64 MAX_TEXT = int64{64} << 20;
/// libavformat's reader of SubRip cuts longer lines, within a character where one lies there.
constexpr std::size_t MAX_LINE = 4000;

[[noreturn]] void Fail(std::string const& path, std::string const& what) {
    TARSEL_THROW(Core::IOException, path + ": " + what);
}

std::string Hex(u8 byte) {
    constexpr char DIGITS[] = "0123456789ABCDEF";
    return {'0', 'x', DIGITS[byte >> 4], DIGITS[byte & 15]};
}

/// Whether every second byte is mostly 0, as in texts of two-byte characters.
bool LooksWide(std::string_view head) {
    std::size_t zeros[2] = {0, 0};
    for (std::size_t i = 0; i < head.size(); ++i)
        if (head[i] == 0) ++zeros[i % 2];
    std::size_t const enough = head.size() / 4;
    return head.size() >= 16 && ((zeros[0] == 0 && zeros[1] > enough) || (zeros[1] == 0 && zeros[0] > enough));
}

/// Number of the line that begins behind `before`, counted from 1; its lines end as on any system.
std::size_t LineBehind(std::string_view before) {
    std::size_t line = 1;
    for (std::size_t i = 0; i < before.size(); ++i)
        if (before[i] == '\n' || (before[i] == '\r' && (i + 1 == before.size() || before[i + 1] != '\n'))) ++line;
    return line;
}

/// The same text with no line longer than `MAX_LINE` bytes, cut between characters.
std::string BreakLongLines(std::string const& text) {
    std::string result;
    result.reserve(text.size());
    std::size_t length = 0;
    for (char const c : text) {
        bool const begins = (static_cast<u8>(c) & 0xC0) != 0x80;
        if (begins && length >= MAX_LINE) {
            result += '\n';
            length = 0;
        }
        result += c;
        length = c == '\n' || c == '\r' ? 0 : length + 1;
    }
    return result;
}

std::string ReadHead(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::string head(HEAD, '\0');
    file.read(head.data(), static_cast<std::streamsize>(head.size()));
    head.resize(static_cast<std::size_t>(file.gcount()));
    return head;
}

/// libavformat's name for the subtitles, empty when the file isn't a text of such.
std::string ProbeText(std::string const& path, std::string const& head, ByteOrderMark const& mark,
                      std::string const& encoding) {
    if (std::string const name = ProbeSubtitleText(path, head); !name.empty()) return name;
    if (mark.length == 0 && encoding.empty()) return {};
    // The head may end within a character.
    std::string plain;
    TextEncoding(encoding).Convert(std::string_view(head).substr(mark.length), plain);
    return ProbeSubtitleText(path, plain);
}

std::string CuesOf(std::string const& path, std::string const& text, std::vector<std::string>& warnings) {
    std::vector<std::string> notes;
    std::string cues = KeepCues(text, notes);
    for (std::string const& note : notes) {
        warnings.push_back(path + ": " + note);
        LOG(WARNING) << warnings.back();
    }
    return cues;
}

}  // namespace

SharedBytes ReadSubtitleText(std::string const& path, std::string const& charset, std::vector<std::string>& warnings) {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0 || !S_ISREG(status.st_mode) || status.st_size == 0) return nullptr;
    std::string const head = ReadHead(path);
    ByteOrderMark const mark = FindByteOrderMark(head);
    std::string const encoding = mark.length != 0 ? std::string(mark.encoding) : charset;
    std::string const name = ProbeText(path, head, mark, encoding);
    if (name.empty()) {
        if (encoding.empty() && LooksWide(head))
            Fail(path,
                 "seems to be a text of two-byte characters without a mark of their order: tell the encoding "
                 "with --charset, as --charset UTF-16LE");
        return nullptr;
    }
    if (status.st_size > MAX_TEXT) Fail(path, "is larger than 64 MiB, which no subtitles are");
    std::ifstream file(path, std::ios::binary);
    std::string const text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    if (!file || text.empty()) Fail(path, "can't be read");
    TextEncoding converter(encoding);
    std::string plain;
    std::string_view const behind = std::string_view(text).substr(std::min(mark.length, text.size()));
    if (std::optional<BadCharacter> const bad = converter.Convert(behind, plain))
        Fail(path, "line " + std::to_string(LineBehind(plain)) + ", byte " +
                       std::to_string(bad->position + mark.length + 1) + " of the file (" + Hex(bad->byte) + "), " +
                       NotInEncoding(converter.GetName()));
    if (name == "srt") plain = BreakLongLines(plain);
    if (name == "webvtt") plain = CuesOf(path, plain, warnings);
    return std::make_shared<std::string const>(std::move(plain));
}

namespace {

class RecodedTexts final : public ForwardingStream<Proc::IStreamRaw> {
  public:
    RecodedTexts(iptr<Proc::IStreamRaw> source, std::string const& path, StreamInfo const& info,
                 std::string const& charset)
        : ForwardingStream(std::move(source)),
          place(path + ": " + StreamName(info)),
          hasLength(info.codec == "mov_text"),
          encoding(charset),
          format(RecodeFormat(*info.format)) {}

    iptr<Conf::IFormatCodec const> GetFormatCodec() const override { return format; }

    iptr<Proc::IDataPacket> Read() override {
        iptr<Proc::IDataPacket> const item = stream->Read();
        if (!item || item->GetSize() == 0) return item;
        AVPacket const& source = *item->GetAVPacket();
        std::string_view const payload(reinterpret_cast<char const*>(source.data),
                                       static_cast<std::size_t>(source.size));
        std::string const plain = Recode(payload, item->GetTime());
        if (plain == payload) return item;
        PacketPtr packet(av_packet_alloc());
        if (!packet || av_new_packet(packet.get(), static_cast<int>(plain.size())) < 0 ||
            av_packet_copy_props(packet.get(), &source) < 0)
            TARSEL_THROW(Core::IOException, place + ": out of memory");
        std::memcpy(packet->data, plain.data(), plain.size());
        iptr<Proc::IDataPacket> result = Proc::DataPacketFF::Create(
            packet.release(), item->GetMediaType(), item->GetTime(), item->GetDecodingTime(), item->GetDuration());
        result->SetSourcePosition(item->GetSourcePosition());
        result->SetFormatCodec(format);
        return result;
    }

  private:
    iptr<Conf::IFormatCodec const> RecodeFormat(Conf::IFormatCodec const& source) {
        iptr<Conf::IFormatCodec> result = source.CloneBase();
        auto* const subtitles = dynamic_cast<Conf::IFormatCodecSubtitle*>(result.get());
        std::string const header = subtitles ? subtitles->GetSubtitleHeader() : "";
        if (header.empty()) return result;
        std::string const plain = RecodeText(header, NO_VALUE);
        subtitles->SetSubtitleHeader(plain);
        subtitles->SetExtradata(Proc::BlobFF::Create(reinterpret_cast<u8 const*>(plain.data()), plain.size()));
        return result;
    }

    std::string RecodeText(std::string_view text, int64 time) {
        std::string plain;
        std::optional<BadCharacter> const bad = encoding.Convert(text, plain);
        if (bad)
            TARSEL_THROW(Core::IOException, place + (HasValue(time) ? " at " + Proc::T2S(time) : " in its header") +
                                                ": byte " + std::to_string(bad->position + 1) + " (" + Hex(bad->byte) +
                                                "), " + NotInEncoding(encoding.GetName()));
        return plain;
    }

    /// A packet of MP4's timed text: the text's length in two bytes, the text, and boxes of its styles.
    std::string Recode(std::string_view payload, int64 time) {
        if (!hasLength) return RecodeText(payload, time);
        if (payload.size() < 2) return std::string(payload);
        std::size_t const length =
            static_cast<std::size_t>(static_cast<u8>(payload[0])) << 8 | static_cast<u8>(payload[1]);
        if (length > payload.size() - 2) return std::string(payload);
        std::string_view const text = payload.substr(2, length);
        // Its own mark says that it is UTF-16, which the decoder knows.
        if (FindByteOrderMark(text).length != 0) return std::string(payload);
        std::string const plain = RecodeText(text, time);
        if (plain.size() > 0xFFFF) TARSEL_THROW(Core::IOException, place + ": a text is longer than 65535 bytes");
        std::string result{static_cast<char>(plain.size() >> 8), static_cast<char>(plain.size() & 0xFF)};
        return result.append(plain).append(payload.substr(2 + length));
    }

    // Constant after construction.
    std::string const place;
    bool const hasLength;

    TextEncoding encoding;  // of the consumer's thread
    iptr<Conf::IFormatCodec const> const format;
};

}  // namespace

iptr<Proc::IStreamRaw> RecodeTexts(iptr<Proc::IStreamRaw> source, std::string const& path, StreamInfo const& info,
                                   std::string const& charset) {
    if (IsPicturedSubtitle(info.native->parameters->codec_id)) return source;
    return iptr<Proc::IStreamRaw>(new RecodedTexts(std::move(source), path, info, charset));
}

}  // namespace Tarsel::Host
