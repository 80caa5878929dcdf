#include "contracts/Proc/DataMD5.h"

#include <array>
#include <cstring>
#include <memory>

#include "contracts/Core/Exception.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/md5.h>
#include <libavutil/mem.h>
}

namespace Tarsel::Proc {

namespace {

class Digest {
  public:
    Digest() : context(av_md5_alloc(), av_free) {
        if (!context) TARSEL_THROW(ProcException, "Can't allocate a digest");
        av_md5_init(context.get());
    }

    void Add(u8 const* data, std::size_t size) {
        if (size != 0) av_md5_update(context.get(), data, size);
    }
    void AddText(char const* text) {
        // The terminating zero takes part, so that two neighbouring texts can't be told as one.
        if (text) Add(reinterpret_cast<u8 const*>(text), std::strlen(text) + 1);
    }
    void AddNumber(int64 value) {
        std::array<u8, 8> bytes{};
        for (std::size_t i = 0; i < bytes.size(); ++i)
            bytes[i] = static_cast<u8>(static_cast<uint64>(value) >> (8 * i));
        Add(bytes.data(), bytes.size());
    }

    std::string Text() {
        std::array<u8, 16> sum{};
        av_md5_final(context.get(), sum.data());
        static constexpr char DIGITS[] = "0123456789abcdef";
        std::string text;
        for (u8 const byte : sum) {
            text += DIGITS[byte >> 4];
            text += DIGITS[byte & 15];
        }
        return text;
    }

  private:
    std::unique_ptr<AVMD5, void (*)(void*)> context;
};

}  // namespace

std::string CalculateVideoDataMD5(IDataVideo const& frame) {
    if (frame.GetFrameAlloc() != IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(ProcException, "A frame outside processor memory has no digest of its own");
    Digest digest;
    int const planes = GetPlanesCount(frame);
    for (int i = 0; i < planes; ++i) {
        auto const plane = frame.GetPlaneConst(static_cast<unsigned>(i));
        for (int row = 0; row < plane.GetRows(); ++row)
            digest.Add(plane.GetOffsetPtr(0, static_cast<unsigned>(row)),
                       static_cast<std::size_t>(plane.GetRowBytes()));
    }
    return digest.Text();
}

std::string CalculateAudioDataMD5(IDataAudio& block) {
    Digest digest;
    auto const samples = block.GetBlob();
    digest.Add(samples->GetData(), samples->GetSize());
    return digest.Text();
}

std::string CalculatePacketDataMD5(IDataPacket const& packet) {
    Digest digest;
    auto const payload = packet.GetBlob();
    digest.Add(payload->GetData(), payload->GetSize());
    return digest.Text();
}

std::string CalculateSubtitleDataMD5(IDataSubtitle& subtitle) {
    Digest digest;
    digest.AddNumber(subtitle.GetTime());
    digest.AddNumber(subtitle.GetDuration());
    AVSubtitle const& event = *subtitle.GetAVSubtitle();
    for (unsigned i = 0; i < event.num_rects; ++i) {
        AVSubtitleRect const& rect = *event.rects[i];
        for (int const value : {int(rect.type), rect.x, rect.y, rect.w, rect.h}) digest.AddNumber(value);
        if (rect.type == SUBTITLE_BITMAP && rect.data[0]) {
            for (int row = 0; row < rect.h; ++row)
                digest.Add(rect.data[0] + static_cast<std::ptrdiff_t>(row) * rect.linesize[0],
                           static_cast<std::size_t>(rect.w));
            if (rect.data[1]) digest.Add(rect.data[1], static_cast<std::size_t>(rect.nb_colors) * 4);
        }
        digest.AddText(rect.text);
        digest.AddText(rect.ass);
    }
    return digest.Text();
}

}  // namespace Tarsel::Proc
