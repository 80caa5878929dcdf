#include "Proc/Filters/Filters/TitleProviderFromBitmap.h"

#include <algorithm>
#include <array>

#include "Proc/Filters/Filters/SubtitleRects.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/TimerSimple.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/MultiEffect.h"
#include "contracts/Proc/SettingsResizer.h"

namespace Tarsel::Proc {

namespace {

using Pixel = std::array<unsigned, 4>;
using Palette = std::array<Pixel, 256>;

constexpr unsigned ALPHA = 3;

/// The far side of a rectangle, from which sizes below 0 take nothing away.
int64 EndOf(int begin, int size) {
    return int64{begin} + std::max(size, 0);
}

u32 Coordinate(int64 value, int64 frameSize) {
    int64 const limit = std::clamp(frameSize, TitleProviderFromBitmap::NEAR_EDGE, TitleProviderFromBitmap::FAR_EDGE);
    return static_cast<u32>(std::clamp<int64>(value, 0, limit));
}

/// Around all rectangles, on even coordinates; empty where nothing of them lies in the picture.
CropInfo BoxOf(std::vector<iptr<IDataSubtitle>> const& active, Conf::FrameInfo const& info) {
    int64 left = info.width;
    int64 right = 0;
    int64 top = info.height;
    int64 bottom = 0;
    for (auto const& subtitle : active)
        for (AVSubtitleRect const* rectangle : Details::RectsOf(subtitle)) {
            if (!rectangle) continue;
            left = std::min<int64>(left, rectangle->x);
            right = std::max(right, EndOf(rectangle->x, rectangle->w));
            top = std::min<int64>(top, rectangle->y);
            bottom = std::max(bottom, EndOf(rectangle->y, rectangle->h));
        }
    CropInfo box(Coordinate(left, info.width), Coordinate(right, info.width), Coordinate(top, info.height),
                 Coordinate(bottom, info.height));
    // Ahead of the rounding, which would give an empty one a size.
    if (box.IsEmpty()) return {};
    box.ToEven();
    return box;
}

/// Indices without an entry are transparent.
Palette PaletteOf(AVSubtitleRect const& rectangle) {
    Palette palette{};
    u8 const* entry = rectangle.data[1];
    auto const count = static_cast<std::size_t>(std::clamp(rectangle.nb_colors, 0, 256));
    for (std::size_t i = 0; i < count; ++i, entry += 4)
        for (std::size_t part = 0; part < 4; ++part) palette[i][part] = entry[part];
    return palette;
}

void PaintPixel(u8* pixel, Pixel const& color) {
    unsigned const alpha = color[ALPHA];
    // As meant: 0 for alpha 0, so that what is transparent takes the colour away from what lies under it.
    unsigned const rest = (256 - alpha) & 255;
    for (unsigned part = 0; part < ALPHA; ++part)
        pixel[part] = static_cast<u8>((color[part] * alpha + pixel[part] * rest) >> 8);
    pixel[ALPHA] = static_cast<u8>(std::max<unsigned>(pixel[ALPHA], alpha));
}

/// What of the rectangle lies in the box. A rectangle without indices or colours paints nothing.
void Paint(Details::PlaneTemplate<0> const& plane, CropInfo const& box, AVSubtitleRect const& rectangle) {
    if (!rectangle.data[0] || !rectangle.data[1]) return;
    Palette const palette = PaletteOf(rectangle);
    int64 const x = rectangle.x;
    int64 const y = rectangle.y;
    // A row holds no more indices than its line, whatever the width says.
    int64 const columns = std::min(rectangle.w, rectangle.linesize[0]);
    int64 const firstColumn = std::max(x, int64{box.left});
    int64 const firstRow = std::max(y, int64{box.top});
    int64 const endColumn = std::min(x + columns, int64{box.right});
    int64 const endRow = std::min(y + rectangle.h, int64{box.bottom});
    // Nor is there a pixel to point at: the first column may lie far beyond the box.
    if (firstColumn >= endColumn) return;
    for (int64 row = firstRow; row < endRow; ++row) {
        u8 const* const indices = rectangle.data[0] + (row - y) * rectangle.linesize[0];
        u8* pixel =
            plane.GetOffsetPtr(static_cast<unsigned>(firstColumn - box.left), static_cast<unsigned>(row - box.top));
        for (int64 column = firstColumn; column < endColumn; ++column, pixel += 4)
            PaintPixel(pixel, palette[indices[column - x]]);
    }
}

iptr<IDataVideo> Compose(std::vector<iptr<IDataSubtitle>> const& active, CropInfo const& box) {
    Conf::FrameInfo const size{static_cast<int>(box.GetWidth()), static_cast<int>(box.GetHeight()), 1, 1};
    iptr<IDataVideo> image = DataVideoFF::Create(PIX_FMT_RGBA, size, nullptr);
    image->Fill(Color::Black(Color::Transparent));
    auto const plane = image->GetPlane(0);
    for (auto const& subtitle : active)
        for (AVSubtitleRect const* rectangle : Details::RectsOf(subtitle))
            if (rectangle) Paint(plane, box, *rectangle);
    return image;
}

/// `size * times / over`, upwards to an even number.
int Enlarged(int size, int times, int over) {
    int64 const exact = (int64{size} * times + over - 1) / over;
    return static_cast<int>(std::min((exact + 1) & ~int64{1}, TitleProviderFromBitmap::FAR_EDGE));
}

}  // namespace

TitleProviderFromBitmap::TitleProviderFromBitmap(IEffectFactory const& effectFactory)
    : resizer(MakeEffect<IOneInputEffectVideo>(effectFactory, SettingsResizer::CLASS_ID, ImplNames::DEFAULT)) {}

void TitleProviderFromBitmap::Reset() {
    cachedImage = nullptr;
    shown.clear();
    shownOwners.clear();
}

Core::Property TitleProviderFromBitmap::GetStatistic() {
    return Core::MakeStatistics("Tarsel::Proc::TitleProviderFromBitmap::GetStatistic", readTime, imagesMade);
}

void TitleProviderFromBitmap::AddData(iptr<IDataSubtitle> const& subtitle) {
    if (Details::RectsOf(subtitle).empty() || !known.insert(subtitle.get()).second) return;
    subtitles.emplace(std::pair(subtitle->GetTime(), arrivals++), subtitle);
}

void TitleProviderFromBitmap::Clear() {
    Reset();
    subtitles.clear();
    known.clear();
}

TitleProviderFromBitmap::Subtitles TitleProviderFromBitmap::TakeActive(int64 time) {
    Subtitles active;
    // Behind the first one that is still to come, all are.
    for (auto next = subtitles.begin(); next != subtitles.end() && next->first.first <= time;) {
        iptr<IDataSubtitle> const& subtitle = next->second;
        // One whose end isn't known has no time on the screen.
        if (AddTime(subtitle->GetTime(), subtitle->GetDuration()) > time) {
            active.push_back(subtitle);
            ++next;
        } else {
            known.erase(subtitle.get());
            next = subtitles.erase(next);
        }
    }
    return active;
}

iptr<IDataVideo> TitleProviderFromBitmap::GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) {
    if (info != cachedInfo) {
        Reset();
        cachedInfo = info;
    }
    Core::TimerSimple const timer;
    Subtitles active = TakeActive(time);
    std::vector<AVSubtitle const*> events;
    events.reserve(active.size());
    for (auto const& subtitle : active) events.push_back(subtitle->GetAVSubtitle());
    if (!cachedImage || events != shown) {
        Reset();
        CropInfo const box = BoxOf(active, info);
        if (active.empty() || box.IsEmpty()) return nullptr;
        iptr<IDataVideo> image = FitToPixels(Compose(active, box));
        cachedImage = std::move(image);
        cachedCrop = box;
        shown = std::move(events);
        shownOwners = std::move(active);
        ++imagesMade;
        readTime += timer.GetElapsed();
    }
    crop = cachedCrop;
    return cachedImage;
}

iptr<IDataVideo> TitleProviderFromBitmap::FitToPixels(iptr<IDataVideo> image) {
    int const num = cachedInfo.pixelAspectNum;
    int const den = cachedInfo.pixelAspectDen;
    // An aspect that is none counts as square.
    if (num <= 0 || den <= 0 || (num == 1 && den == 1)) return image;
    Conf::FrameInfo target{image->GetWidth(), image->GetHeight(), num, den};
    if (den < num)
        target.height = Enlarged(target.height, num, den);
    else
        target.width = Enlarged(target.width, den, num);
    SettingsResizer settings;
    settings.SetCustomMode(SettingsResizer::MODE_STRETCH, target);
    resizer->Initialize(settings);
    resizer->Process(image);
    if (!image) TARSEL_THROW(FilterException, "Resizer gave no picture!");
    return image;
}

}  // namespace Tarsel::Proc
