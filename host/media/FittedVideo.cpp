#include "host/media/FittedVideo.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataVideoFF.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

namespace {

constexpr std::size_t MAX_NOTES = 16;

AVPixelFormat ToLibrary(PixFmt format) {
    return static_cast<AVPixelFormat>(static_cast<int>(format));
}

std::string Shape(int width, int height, PixFmt format) {
    char const* const name = av_get_pix_fmt_name(ToLibrary(format));
    return std::to_string(width) + "x" + std::to_string(height) + " " + (name ? name : "?");
}

int Snap(double length, int grid, int most) {
    int const steps = static_cast<int>(std::lround(length / grid));
    return std::clamp(steps * grid, std::min(grid, most), most);
}

/// The smallest frame that holds another one and doesn't end inside of a sample of colour.
Conf::FrameInfo WithWholeColour(Conf::FrameInfo info, PixFmt format) {
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(ToLibrary(format));
    if (!description) return info;
    int const column = (1 << description->log2_chroma_w) - 1;
    int const row = (1 << description->log2_chroma_h) - 1;
    info.width = (info.width + column) & ~column;
    info.height = (info.height + row) & ~row;
    return info;
}

/// Copies a picture into a larger one of the same pixel format, whose planes may be written.
void Paste(AVFrame const& picture, Proc::IDataVideo& canvas, FittedPlace const& place,
           AVPixFmtDescriptor const& description) {
    std::array<u8*, 4> data{};
    std::array<int, 4> strides{};
    std::array<int, 4> steps{};
    std::array<bool, 4> subsampled{};
    for (int i = 0; i < description.nb_components; ++i) {
        auto const plane = static_cast<std::size_t>(description.comp[i].plane);
        bool const colour = (i == 1 || i == 2) && (description.flags & AV_PIX_FMT_FLAG_RGB) == 0;
        // A packed plane holds whole pixels: its widest step counts.
        steps[plane] = std::max(steps[plane], description.comp[i].step);
        if (plane > 0) subsampled[plane] = colour;
    }
    bool const packed = Proc::GetPlanesCount(canvas) == 1;
    for (int i = 0; i < Proc::GetPlanesCount(canvas); ++i) {
        auto const n = static_cast<std::size_t>(i);
        auto const plane = canvas.GetPlane(static_cast<unsigned>(i));
        bool const wide = packed && description.log2_chroma_w != 0;  // two pixels a step
        int const column = place.left >> (subsampled[n] || wide ? description.log2_chroma_w : 0);
        int const row = place.top >> (subsampled[n] ? description.log2_chroma_h : 0);
        strides[n] = static_cast<int>(plane.GetStride());
        data[n] = plane.GetData() + std::ptrdiff_t{row} * strides[n] + std::ptrdiff_t{column} * steps[n];
    }
    av_image_copy(data.data(), strides.data(), const_cast<u8 const**>(picture.data), picture.linesize,
                  static_cast<AVPixelFormat>(picture.format), picture.width, picture.height);
}

}  // namespace

FittedPlace FindPlace(Conf::FrameInfo const& picture, Conf::FrameInfo const& frame, int grid) {
    // The picture's width as it would be in the frame's pixels at the same height.
    double const shape = (double(picture.pixelAspectNum) / picture.pixelAspectDen) /
                         (double(frame.pixelAspectNum) / frame.pixelAspectDen);
    double const width = picture.width * shape;
    double const scale = std::min(frame.width / width, double(frame.height) / picture.height);
    FittedPlace place;
    place.width = Snap(width * scale, grid, frame.width);
    place.height = Snap(picture.height * scale, grid, frame.height);
    place.left = (frame.width - place.width) / 2 / grid * grid;
    place.top = (frame.height - place.height) / 2 / grid * grid;
    return place;
}

iptr<FittedVideo> FittedVideo::Create(iptr<Proc::IStreamVideo> const& source, bool wholeColour) {
    return iptr<FittedVideo>(new FittedVideo(source, wholeColour));
}

iptr<FittedVideo> FittedVideo::Create(iptr<Proc::IStreamVideo> const& source, Conf::FrameInfo const& target,
                                      PixFmt targetFormat) {
    return iptr<FittedVideo>(new FittedVideo(source, target, targetFormat));
}

FittedVideo::FittedVideo(iptr<Proc::IStreamVideo> const& pictures, bool wholeColour)
    : CodecStream(pictures),
      pixelFormat(source->GetFormatCodec()->GetPixelFormat()),
      own(source->GetFormatCodec()->GetFrameInfo()),
      frame(wholeColour ? WithWholeColour(own, pixelFormat) : own),
      isTold(false) {}

FittedVideo::FittedVideo(iptr<Proc::IStreamVideo> const& pictures, Conf::FrameInfo const& target, PixFmt targetFormat)
    : CodecStream(pictures), pixelFormat(targetFormat), own(target), frame(target), isTold(true) {}

iptr<Conf::IFormatCodecVideo const> FittedVideo::GetFormatCodec() const {
    iptr<Conf::IFormatCodecVideo const> format = source->GetFormatCodec();
    if (!isTold && frame == own) return format;
    iptr<Conf::IFormatCodecVideo> const other = format->Clone();
    other->InitByPixelAspect(static_cast<unsigned>(frame.width), static_cast<unsigned>(frame.height),
                             static_cast<unsigned>(frame.pixelAspectNum), static_cast<unsigned>(frame.pixelAspectDen));
    if (isTold) other->SetPixelFormat(pixelFormat);
    return other;
}

void FittedVideo::Enter(Proc::IStreamVisitor& visitor) {
    Proc::Visitors::Visit(visitor, "FittedVideo", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
}

void FittedVideo::AddStatistics(Core::Property& node) const {
    node.SetChild("Fitted", int64{fitted});
}

void FittedVideo::Note(Proc::IDataVideo const& picture) {
    ++fitted;
    PixFmt const to = pixelFormat == PIX_FMT_NONE ? picture.GetPixelFormat() : pixelFormat;
    std::string note = Shape(picture.GetWidth(), picture.GetHeight(), picture.GetPixelFormat()) + " into " +
                       Shape(frame.width, frame.height, to);
    if (notes.size() < MAX_NOTES && std::find(notes.begin(), notes.end(), note) == notes.end())
        notes.push_back(std::move(note));
}

iptr<Proc::IDataVideo> FittedVideo::ReadNext() {
    iptr<Proc::IDataVideo> picture = source->Read();
    if (!picture) return nullptr;
    bool sameSize = picture->GetWidth() == frame.width && picture->GetHeight() == frame.height;
    // The pictures of one source are of one shape, whatever a single one says of it; those of several aren't.
    if (sameSize && isTold)
        sameSize = FindPlace(picture->GetFrameInfo(), frame, 2) == FittedPlace{0, 0, frame.width, frame.height};
    if (sameSize && (pixelFormat == PIX_FMT_NONE || picture->GetPixelFormat() == pixelFormat)) return picture;
    Note(*picture);
    return Fit(*picture);
}

FittedPlace FittedVideo::PlaceOf(Proc::IDataVideo const& picture, int grid) const {
    auto const isSizeOf = [&](Conf::FrameInfo const& info) {
        return picture.GetWidth() == info.width && picture.GetHeight() == info.height;
    };
    if (isTold) return FindPlace(picture.GetFrameInfo(), frame, grid);
    if (isSizeOf(own)) return {0, 0, own.width, own.height};
    if (isSizeOf(frame)) return {0, 0, frame.width, frame.height};
    return FindPlace(picture.GetFrameInfo(), frame, grid);
}

iptr<Proc::IDataVideo> FittedVideo::Fit(Proc::IDataVideo const& picture) {
    PixFmt const format = pixelFormat == PIX_FMT_NONE ? picture.GetPixelFormat() : pixelFormat;
    AVPixFmtDescriptor const* const description = av_pix_fmt_desc_get(ToLibrary(format));
    if (!description) TARSEL_THROW(Proc::ProcException, "Can't fit a picture into a frame of unknown pixel format");
    FittedPlace const place =
        PlaceOf(picture, 1 << std::max({description->log2_chroma_w, description->log2_chroma_h, u8{1}}));
    FramePtr scaled = converter.Convert(picture, place.width, place.height, ToLibrary(format));
    bool const whole = place.width == frame.width && place.height == frame.height;
    if (whole) return Proc::DataVideoFF::Wrap(scaled.release(), picture.GetTime(), picture.GetDuration());
    iptr<Proc::IDataVideo> canvas = Proc::DataVideoFF::Create(format, frame, nullptr);
    bool const seenThrough = isTold && (description->flags & AV_PIX_FMT_FLAG_ALPHA) != 0;
    canvas->Fill(Proc::Color::Black(seenThrough ? Proc::Color::Transparent : Proc::Color::Opaque));
    Paste(*scaled, *canvas, place, *description);
    canvas->SetTime(picture.GetTime());
    canvas->SetDuration(picture.GetDuration());
    return canvas;
}

}  // namespace Tarsel::Host
