#include "contracts/Proc/DataMD5.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/frame.h>
#include <libavutil/md5.h>
#include <libavutil/mem.h>
#include <libavutil/pixdesc.h>
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
    /// `rows` runs of `rowBytes` that begin `stride` bytes apart; in one go where nothing stands between them.
    void AddRows(u8 const* data, std::ptrdiff_t stride, int rowBytes, int rows) {
        if (!data || rowBytes <= 0 || rows <= 0) return;
        auto const bytes = static_cast<std::size_t>(rowBytes);
        if (stride == rowBytes) return Add(data, bytes * static_cast<std::size_t>(rows));
        for (int row = 0; row < rows; ++row) Add(data + row * stride, bytes);
    }
    /// Whether there is a text and how long it is takes part, so that two neighbours can't be told as one.
    void AddText(char const* text) {
        AddNumber(text ? static_cast<int64>(std::strlen(text)) : -1);
        if (text) Add(reinterpret_cast<u8 const*>(text), std::strlen(text));
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

template <class T>
T& Require(iptr<T> const& item, char const* refusal) {
    if (!item) TARSEL_THROW(std::invalid_argument, refusal);
    return *item;
}

/// The picture of a frame where a processor can read it.
iptr<IDataVideo> ToProcessorMemory(iptr<IDataVideo> const& frame) {
    if (frame->GetFrameAlloc() == IDataVideo::FRAME_ALLOC_CPU) return frame;
    auto const* const distant = dynamic_cast<IDownloadable const*>(frame.get());
    iptr<IDataVideo> picture = distant ? distant->Download() : nullptr;
    if (!picture || picture->GetFrameAlloc() != IDataVideo::FRAME_ALLOC_CPU)
        TARSEL_THROW(ProcException, "A frame outside processor memory has no digest of its own");
    return picture;
}

/// The colours behind the numbers of a picture that has a palette: no plane of it, but part of what is to be seen.
u8 const* FindPalette(IDataVideo const& picture) {
    auto const* const format =
        av_pix_fmt_desc_get(static_cast<AVPixelFormat>(static_cast<int>(picture.GetPixelFormat())));
    if (!format || !(format->flags & AV_PIX_FMT_FLAG_PAL)) return nullptr;
    auto const* const native = dynamic_cast<DataVideoFF const*>(&picture);
    return native ? native->GetAVFrame()->data[1] : nullptr;
}

void AddRectangle(Digest& digest, AVSubtitleRect const& rect) {
    bool const hasBitmap = rect.type == SUBTITLE_BITMAP && rect.data[0];
    for (int const value : {int(rect.type), rect.x, rect.y, rect.w, rect.h, rect.flags, int(hasBitmap)})
        digest.AddNumber(value);
    if (hasBitmap) {
        digest.AddRows(rect.data[0], rect.linesize[0], rect.w, rect.h);
        int const colors = rect.data[1] ? std::clamp(rect.nb_colors, 0, AVPALETTE_COUNT) : 0;
        digest.AddNumber(colors);
        digest.AddRows(rect.data[1], 0, colors * 4, 1);
    }
    digest.AddText(rect.text);
    digest.AddText(rect.ass);
}

}  // namespace

std::string CalculateVideoDataMD5(iptr<IDataVideo> const& frame) {
    Require(frame, "frame is NULL");
    iptr<IDataVideo> const picture = ToProcessorMemory(frame);
    Digest digest;
    int const planes = GetPlanesCount(*picture);
    if (planes == 0)
        TARSEL_THROW(ProcException,
                     "A frame of pixel format " + std::to_string(picture->GetPixelFormat()) + " has no digest");
    for (int i = 0; i < planes; ++i) {
        auto const plane = picture->GetPlaneConst(static_cast<unsigned>(i));
        digest.AddRows(plane.GetData(), plane.GetStride(), plane.GetRowBytes(), plane.GetRows());
    }
    if (u8 const* const palette = FindPalette(*picture)) digest.Add(palette, AVPALETTE_SIZE);
    return digest.Text();
}

std::string CalculateAudioDataMD5(iptr<IDataAudio> const& block) {
    Digest digest;
    if (iptr<IBlob> const samples = Require(block, "block is NULL").GetBlob())
        digest.Add(samples->GetData(), samples->GetSize());
    return digest.Text();
}

std::string CalculatePacketDataMD5(iptr<IDataPacket> const& packet) {
    iptr<IBlob> const payload = Require(packet, "packet is NULL").GetBlob();
    if (!payload || payload->GetSize() == 0) return {};
    Digest digest;
    digest.Add(payload->GetData(), payload->GetSize());
    return digest.Text();
}

std::string CalculateSubtitleDataMD5(iptr<IDataSubtitle> const& subtitle) {
    AVSubtitle const& event = *Require(subtitle, "subtitle is NULL").GetAVSubtitle();
    Digest digest;
    digest.AddNumber(subtitle->GetTime());
    digest.AddNumber(subtitle->GetDuration());
    digest.AddNumber(event.num_rects);
    for (unsigned i = 0; i < event.num_rects; ++i) AddRectangle(digest, *event.rects[i]);
    return digest.Text();
}

}  // namespace Tarsel::Proc
