#include "host/effects/PictureDrawing.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"

extern "C" {
#include <libavutil/pixdesc.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// Where on `dest` something is drawn: [left, right) x [top, bottom).
struct Area {
    int left;
    int top;
    int right;
    int bottom;

    bool IsEmpty() const { return left >= right || top >= bottom; }
};

Area AreaOf(IDataVideo const& dest, IDataVideo const& picture, SettingsEffectImageBlender const& placing) {
    auto const held = [](int64 value, int limit) { return static_cast<int>(std::clamp<int64>(value, 0, limit)); };
    return {held(placing.GetX(), dest.GetWidth()), held(placing.GetY(), dest.GetHeight()),
            held(int64{placing.GetX()} + picture.GetWidth(), dest.GetWidth()),
            held(int64{placing.GetY()} + picture.GetHeight(), dest.GetHeight())};
}

int64 RoundedQuotient(int64 value, int64 divisor) {
    return value >= 0 ? (value + divisor / 2) / divisor : -((-value + divisor / 2) / divisor);
}

bool IsEven(PictureLayout const& layout) {
    return std::all_of(layout.begin(), layout.end(),
                       [&](PictureComponent const& part) { return part.depth == layout.components[0].depth; });
}

/// Whether the samples of both are of one kind, subsampling aside.
bool AreAlike(PictureLayout const& one, PictureLayout const& other) {
    return one.isRgb == other.isRgb && one.GetColourCount() == other.GetColourCount() && IsEven(one) && IsEven(other) &&
           one.components[0].depth == other.components[0].depth;
}

bool HasFullChroma(PictureLayout const& layout) {
    return layout.chromaShiftX == 0 && layout.chromaShiftY == 0;
}

bool Match(PictureLayout const& one, PictureLayout const& other) {
    return AreAlike(one, other) && one.chromaShiftX == other.chromaShiftX && one.chromaShiftY == other.chromaShiftY;
}

/// Where the planes of a picture lie: asking the picture for each row would take longer than most rows do.
template <class Byte>
struct Planes {
    std::array<Byte*, 4> data{};
    std::array<std::ptrdiff_t, 4> strides{};

    template <class Picture, class Ask>
    Planes(Picture& picture, Ask ask) {
        for (std::size_t i = 0; i < static_cast<std::size_t>(GetPlanesCount(picture)); ++i) {
            auto const plane = ask(static_cast<unsigned>(i));
            data[i] = plane.GetData();
            strides[i] = plane.GetStride();
        }
    }

    Byte* GetRow(PictureComponent const& part, int y) const {
        auto const plane = static_cast<std::size_t>(part.plane);
        return data[plane] + y * strides[plane] + part.offset;
    }
};

/// The samples of one component of one row.
template <class Sample>
class Row {
  public:
    Row(Sample* samples, PictureComponent const& part)
        : samples(samples), step(part.step / static_cast<int>(sizeof(Sample))), shift(part.shift) {}

    u32 Get(int x) const { return static_cast<u32>(samples[std::ptrdiff_t{x} * step] >> shift); }
    void Set(int x, u32 value) const { samples[std::ptrdiff_t{x} * step] = static_cast<Sample>(value << shift); }
    /// The samples where they stand in a row without gaps, else null.
    Sample* GetPlain() const { return step == 1 && shift == 0 ? samples : nullptr; }

  private:
    Sample* samples;
    int step;
    int shift;
};

/// One drawing. Works row of chroma by row of chroma: weights, then colours, then alpha, which the weights need.
template <class Sample>
class Drawing {
  public:
    Drawing(IDataVideo& dest, IDataVideo const& picture, SettingsEffectImageBlender const& placing)
        : dest(dest),
          picture(picture),
          x0(placing.GetX()),
          y0(placing.GetY()),
          strength(static_cast<u32>(std::clamp(placing.GetAlpha(), 0, 255))),
          isPremultiplied(placing.GetMode() == BlendAlphaMode::Premultiplied),
          destLayout(LayoutOf(dest.GetPixelFormat(), dest.GetWidth(), dest.GetHeight())),
          pictureLayout(LayoutOf(picture.GetPixelFormat(), picture.GetWidth(), picture.GetHeight())),
          max(static_cast<u32>(destLayout.components[0].GetMax())),
          isFull(ColoursOf(dest).isFull),
          area(AreaOf(dest, picture, placing)),
          destPlanes(dest, [&](unsigned plane) { return dest.GetPlane(plane); }),
          picturePlanes(picture, [&](unsigned plane) { return picture.GetPlaneConst(plane); }) {}

    void Run() {
        int const shiftX = destLayout.chromaShiftX;
        int const shiftY = destLayout.chromaShiftY;
        firstColumn = (area.left >> shiftX) << shiftX;
        int const endColumn = std::min((((area.right - 1) >> shiftX) + 1) << shiftX, dest.GetWidth());
        columns = endColumn - firstColumn;
        std::size_t const cells = static_cast<std::size_t>(columns) << shiftY;
        shares.resize(cells);
        if (destLayout.hasAlpha) kept.resize(cells);
        for (int row = (area.top >> shiftY) << shiftY; row < area.bottom; row += 1 << shiftY)
            DrawRows(row, std::min(1 << shiftY, dest.GetHeight() - row));
    }

  private:
    void DrawRows(int firstRow, int rows) {
        for (int i = 0; i < rows; ++i) Weigh(firstRow + i, i * columns);
        for (int c = 0; c < destLayout.GetColourCount(); ++c) {
            PictureComponent const& to = destLayout.components[static_cast<std::size_t>(c)];
            PictureComponent const& from = pictureLayout.components[static_cast<std::size_t>(c)];
            if (to.isChroma && (destLayout.chromaShiftX || destLayout.chromaShiftY)) {
                DrawChroma(to, from, firstRow, rows);
                continue;
            }
            for (int y = std::max(firstRow, area.top); y < std::min(firstRow + rows, area.bottom); ++y)
                DrawRow(to, from, y, (y - firstRow) * columns);
        }
        if (PictureComponent const* const alpha = destLayout.GetAlpha())
            for (int y = std::max(firstRow, area.top); y < std::min(firstRow + rows, area.bottom); ++y) {
                Row<Sample> const row(DestRow(*alpha, y), *alpha);
                for (int x = area.left; x < area.right; ++x) {
                    std::size_t const at = At(x, (y - firstRow) * columns);
                    row.Set(x, static_cast<u32>((u64{DrawnAt(at)} + KeptAt(at) + max / 2) / max));
                }
            }
    }

    Sample* DestRow(PictureComponent const& part, int y) const {
        return reinterpret_cast<Sample*>(destPlanes.GetRow(part, y));
    }
    Sample const* PictureRow(PictureComponent const& part, int y) const {
        return reinterpret_cast<Sample const*>(picturePlanes.GetRow(part, y));
    }
    std::size_t At(int x, int rowBase) const { return static_cast<std::size_t>(rowBase + x - firstColumn); }

    /// The weights of one row.
    void Weigh(int y, int rowBase) {
        bool const inside = y >= area.top && y < area.bottom;
        auto const begin = static_cast<std::size_t>(rowBase);
        std::fill_n(shares.begin() + rowBase, columns, 0U);
        if (inside) {
            if (PictureComponent const* const alpha = pictureLayout.GetAlpha()) {
                WeighRow(Row<Sample const>(PictureRow(*alpha, y - y0), *alpha), shares.data() + At(area.left, rowBase));
            } else {
                std::fill(shares.begin() + rowBase + (area.left - firstColumn),
                          shares.begin() + rowBase + (area.right - firstColumn), (max * strength + 127) / 255);
            }
        }
        PictureComponent const* const alpha = destLayout.GetAlpha();
        if (!alpha) return;
        Row<Sample> const row(DestRow(*alpha, y), *alpha);
        for (int i = 0; i < columns; ++i) {
            std::size_t const at = begin + static_cast<std::size_t>(i);
            kept[at] = row.Get(firstColumn + i) * (max - shares[at]);
        }
    }
    void WeighRow(Row<Sample const> const& alpha, u32* share) const {
        if (Sample const* plain = alpha.GetPlain()) {
            plain += area.left - x0;
            for (int i = 0; i < area.right - area.left; ++i) share[i] = (plain[i] * strength + 127) / 255;
            return;
        }
        for (int x = area.left; x < area.right; ++x) *share++ = (alpha.Get(x - x0) * strength + 127) / 255;
    }
    u32 DrawnAt(std::size_t at) const { return shares[at] * max; }
    u32 KeptAt(std::size_t at) const { return kept.empty() ? max * (max - shares[at]) : kept[at]; }

    /// The sample of black, or of no colour.
    int64 OffsetOf(PictureComponent const& part) const {
        if (part.isChroma) return int64{1} << (part.depth - 1);
        return destLayout.isRgb || isFull ? 0 : int64{16} << (part.depth - 8);
    }

    void DrawRow(PictureComponent const& to, PictureComponent const& from, int y, int rowBase) {
        Row<Sample> const row(DestRow(to, y), to);
        Row<Sample const> const source(PictureRow(from, y - y0), from);
        if (!isPremultiplied && !destLayout.hasAlpha) {
            DrawOpaqueRow(row, source, rowBase);
            return;
        }
        int64 const offset = OffsetOf(to);
        for (int x = area.left; x < area.right; ++x) {
            std::size_t const at = At(x, rowBase);
            u64 const drawn = DrawnAt(at), keptWeight = KeptAt(at), sum = drawn + keptWeight;
            if (sum == 0) continue;
            u32 const sample = source.Get(x - x0), under = row.Get(x);
            row.Set(x, isPremultiplied ? Premultiplied(Part(sample, offset), under, keptWeight, sum, offset)
                                       : static_cast<u32>((sample * drawn + under * keptWeight + sum / 2) / sum));
        }
    }

    /// The same formula where the sum of the weights is M * M everywhere: both sides are divided by M.
    void DrawOpaqueRow(Row<Sample> const& row, Row<Sample const> const& source, int rowBase) {
        u32 const* const share = shares.data() + rowBase - firstColumn;
        Sample* const plain = row.GetPlain();
        Sample const* const plainSource = source.GetPlain();
        if (sizeof(Sample) == 1 && plain && plainSource) {
            for (int x = area.left; x < area.right; ++x)
                plain[x] =
                    static_cast<Sample>((plainSource[x - x0] * share[x] + plain[x] * (255 - share[x]) + 127) / 255);
            return;
        }
        for (int x = area.left; x < area.right; ++x) {
            u64 const sum = u64{source.Get(x - x0)} * share[x] + u64{row.Get(x)} * (max - share[x]);
            row.Set(x, static_cast<u32>((sum + max / 2) / max));
        }
    }

    /// What a premultiplied sample adds, in units of 1 / (M * M).
    int64 Part(u32 sample, int64 offset) const { return (int64{sample} - offset) * strength * max * max / 255; }

    u32 Premultiplied(int64 part, u32 under, u64 keptWeight, u64 sum, int64 offset) const {
        int64 const value = part + (int64{under} - offset) * static_cast<int64>(keptWeight);
        int64 const result = offset + RoundedQuotient(value, static_cast<int64>(sum));
        return static_cast<u32>(std::clamp<int64>(result, 0, max));
    }

    void DrawChroma(PictureComponent const& to, PictureComponent const& from, int firstRow, int rows) {
        int const shiftX = destLayout.chromaShiftX;
        Row<Sample> const row(DestRow(to, firstRow >> destLayout.chromaShiftY), to);
        Area const whole = WholeCells(Row<Sample const>(PictureRow(from, 0), from), row, firstRow, rows);
        for (int column = firstColumn; column < firstColumn + columns; column += 1 << shiftX) {
            if (column == whole.left && !whole.IsEmpty()) {
                DrawWholeCells(row, from, whole);
                column = whole.right;
                if (column >= firstColumn + columns) break;
            }
            int const width = std::min(1 << shiftX, firstColumn + columns - column);
            DrawCell(row, to, from, {column, firstRow, column + width, firstRow + rows}, firstRow);
        }
    }

    /// The part of a row of chroma where all that a sample of `dest` stands for lies inside of the picture, and where
    /// the weights have a sum that is known: bytes in rows without gaps, of halved width.
    Area WholeCells(Row<Sample const> const& source, Row<Sample> const& row, int firstRow, int rows) const {
        int const maskX = (1 << destLayout.chromaShiftX) - 1, maskY = (1 << destLayout.chromaShiftY) - 1;
        bool const fits = sizeof(Sample) == 1 && max == 255 && !destLayout.hasAlpha && !isPremultiplied && maskX == 1 &&
                          maskY <= 1 && source.GetPlain() && row.GetPlain() && rows == maskY + 1 &&
                          firstRow >= area.top && firstRow + rows <= area.bottom;
        if (!fits) return {};
        return {(area.left + maskX) & ~maskX, firstRow, area.right & ~maskX, firstRow + rows};
    }

    void DrawWholeCells(Row<Sample> const& row, PictureComponent const& from, Area const& whole) {
        if (HasFullChroma(pictureLayout)) {
            Sample const* const first = PictureRow(from, whole.top - y0) + (whole.left - x0);
            if (destLayout.chromaShiftY)
                DrawFullCells<1>(row, first, PictureRow(from, whole.top + 1 - y0) + (whole.left - x0), whole);
            else
                DrawFullCells<0>(row, first, first, whole);
            return;
        }
        int const column = (whole.left - x0) >> 1;
        if (!destLayout.chromaShiftY) {
            Sample const* const source = PictureRow(from, whole.top - y0) + column;
            x0 & 1 ? DrawMixedCells<0>(row, source, source, whole) : DrawAlignedCells<0>(row, source, whole);
            return;
        }
        Sample const* const upper = PictureRow(from, (whole.top - y0) >> 1) + column;
        Sample const* const lower = PictureRow(from, (whole.top + 1 - y0) >> 1) + column;
        (x0 | y0) & 1 ? DrawMixedCells<1>(row, upper, lower, whole) : DrawAlignedCells<1>(row, upper, whole);
    }

    /// The formula of a cell with both sides divided by M: the sum of the weights is M * M for each of its pixels. One
    /// sample of the picture lies on each of `dest`.
    template <int SHIFT_Y>
    void DrawAlignedCells(Row<Sample> const& row, Sample const* source, Area const& whole) {
        constexpr u32 SUM = 255 * (2 << SHIFT_Y);
        Sample* const to = row.GetPlain() + whole.left / 2;
        u32 const* const upper = shares.data() + (whole.left - firstColumn);
        u32 const* const lower = upper + (SHIFT_Y ? columns : 0);
        for (int i = 0; i < (whole.right - whole.left) / 2; ++i) {
            u32 share = upper[i * 2] + upper[i * 2 + 1];
            if (SHIFT_Y) share += lower[i * 2] + lower[i * 2 + 1];
            to[i] = static_cast<Sample>((source[i] * share + to[i] * (SUM - share) + SUM / 2) / SUM);
        }
    }
    /// The same at odd places: up to four samples of the picture lie on one of `dest`, one for each of its pixels.
    template <int SHIFT_Y>
    void DrawMixedCells(Row<Sample> const& row, Sample const* upperSource, Sample const* lowerSource,
                        Area const& whole) {
        constexpr u32 SUM = 255 * (2 << SHIFT_Y);
        Sample* const to = row.GetPlain() + whole.left / 2;
        u32 const* const upper = shares.data() + (whole.left - firstColumn);
        u32 const* const lower = upper + (SHIFT_Y ? columns : 0);
        int const next = x0 & 1;
        for (int i = 0; i < (whole.right - whole.left) / 2; ++i) {
            u32 share = upper[i * 2] + upper[i * 2 + 1];
            u32 drawn = upperSource[i] * upper[i * 2] + upperSource[i + next] * upper[i * 2 + 1];
            if (SHIFT_Y) {
                share += lower[i * 2] + lower[i * 2 + 1];
                drawn += lowerSource[i] * lower[i * 2] + lowerSource[i + next] * lower[i * 2 + 1];
            }
            to[i] = static_cast<Sample>((drawn + to[i] * (SUM - share) + SUM / 2) / SUM);
        }
    }

    /// The same for a picture with a sample for each pixel.
    template <int SHIFT_Y>
    void DrawFullCells(Row<Sample> const& row, Sample const* upperSource, Sample const* lowerSource,
                       Area const& whole) {
        constexpr u32 SUM = 255 * (2 << SHIFT_Y);
        Sample* const to = row.GetPlain() + whole.left / 2;
        u32 const* const upper = shares.data() + (whole.left - firstColumn);
        u32 const* const lower = upper + (SHIFT_Y ? columns : 0);
        for (int i = 0; i < (whole.right - whole.left) / 2; ++i) {
            int const left = i * 2, right = left + 1;
            u32 share = upper[left] + upper[right];
            u32 drawn = upperSource[left] * upper[left] + upperSource[right] * upper[right];
            if (SHIFT_Y) {
                share += lower[left] + lower[right];
                drawn += lowerSource[left] * lower[left] + lowerSource[right] * lower[right];
            }
            to[i] = static_cast<Sample>((drawn + to[i] * (SUM - share) + SUM / 2) / SUM);
        }
    }

    /// One chroma sample, which stands for the pixels of `cell`.
    void DrawCell(Row<Sample> const& row, PictureComponent const& to, PictureComponent const& from, Area const& cell,
                  int firstRow) {
        u64 drawnSum = 0, keptSum = 0, straight = 0;
        int64 parts = 0;
        int64 const offset = OffsetOf(to);
        for (int y = cell.top; y < cell.bottom; ++y) {
            bool const inside = y >= area.top && y < area.bottom;
            Sample const* const samples = inside ? PictureRow(from, (y - y0) >> pictureLayout.chromaShiftY) : nullptr;
            for (int x = cell.left; x < cell.right; ++x) {
                std::size_t const at = At(x, (y - firstRow) * columns);
                u32 const drawn = DrawnAt(at);
                drawnSum += drawn;
                keptSum += KeptAt(at);
                if (!inside || x < area.left || x >= area.right) continue;
                u32 const sample = Row<Sample const>(samples, from).Get((x - x0) >> pictureLayout.chromaShiftX);
                straight += u64{sample} * drawn;
                if (isPremultiplied) parts += Part(sample, offset);
            }
        }
        int const x = cell.left >> destLayout.chromaShiftX;
        u64 const sum = drawnSum + keptSum;
        if (sum == 0) return;
        u32 const under = row.Get(x);
        row.Set(x, isPremultiplied ? Premultiplied(parts, under, keptSum, sum, offset)
                                   : static_cast<u32>((straight + u64{under} * keptSum + sum / 2) / sum));
    }

    IDataVideo& dest;
    IDataVideo const& picture;
    int const x0;
    int const y0;
    u32 const strength;
    bool const isPremultiplied;
    PictureLayout const destLayout;
    PictureLayout const pictureLayout;
    u32 const max;
    bool const isFull;
    Area const area;
    Planes<u8> const destPlanes;
    Planes<u8 const> const picturePlanes;

    // The weights e of the rows at work, for whole chroma samples; where `dest` has alpha, m, too.
    int firstColumn = 0;
    int columns = 0;
    std::vector<u32> shares;
    std::vector<u32> kept;
};

/// Below 0 a position counts from the far edge.
int Placed(int position, int size, int room) {
    if (position >= 0) return position;
    int64 const placed = int64{room} - size + position + 1;
    return static_cast<int>(std::max<int64>(placed, -int64{size}));
}

}  // namespace

namespace {

/// The first format of the library that pictures can be brought to and that `fits` likes; none where there is none.
template <class Fits>
PixFmt FindFormat(bool withAlpha, Fits fits) {
    for (AVPixFmtDescriptor const* native = av_pix_fmt_desc_next(nullptr); native;
         native = av_pix_fmt_desc_next(native)) {
        AVPixelFormat const id = av_pix_fmt_desc_get_id(native);
        auto const format = static_cast<PixFmt>(static_cast<int>(id));
        if (!HasLayout(format) || ((native->flags & AV_PIX_FMT_FLAG_ALPHA) != 0) != withAlpha) continue;
        if (fits(LayoutOf(format, 1, 1)) && CanScaleTo(id)) return format;
    }
    return PIX_FMT_NONE;
}

bool HasFlag(PixFmt format, uint64_t flag) {
    AVPixFmtDescriptor const* const native = av_pix_fmt_desc_get(static_cast<AVPixelFormat>(static_cast<int>(format)));
    return native && (native->flags & flag) != 0;
}

/// What a picture becomes to be drawn on `dest`. Letters and logos in RGB keep a colour for each pixel: chroma that
/// stands for several of them would take the colours of those that nobody sees into those beside them.
PixFmt FormatToDraw(PixFmt dest, PixFmt picture, bool withAlpha) {
    constexpr uint64_t RGB = AV_PIX_FMT_FLAG_RGB | AV_PIX_FMT_FLAG_PAL;
    bool const isJpeg = av_get_pix_fmt_name(static_cast<AVPixelFormat>(static_cast<int>(picture))) &&
                        FormatName(picture).starts_with("yuvj");
    // Those formats say the range by their name; in another range they are another format.
    if (CanDraw(dest, picture) && !isJpeg) return picture;
    PixFmt const drawable = DrawableFormat(dest, withAlpha);
    if (drawable == PIX_FMT_NONE || !withAlpha || !HasFlag(picture, RGB) || HasFlag(dest, RGB)) return drawable;
    PictureLayout const below = LayoutOf(dest, 1, 1);
    if (HasFullChroma(below)) return drawable;
    PixFmt const full =
        FindFormat(true, [&](PictureLayout const& layout) { return AreAlike(below, layout) && HasFullChroma(layout); });
    return full == PIX_FMT_NONE ? drawable : full;
}

}  // namespace

bool CanDraw(PixFmt dest, PixFmt picture) {
    if (!HasLayout(dest) || !HasLayout(picture)) return false;
    PictureLayout const below = LayoutOf(dest, 1, 1), drawn = LayoutOf(picture, 1, 1);
    return Match(below, drawn) || (AreAlike(below, drawn) && HasFullChroma(drawn));
}

bool IsSeen(IDataVideo const& dest, IDataVideo const& picture, SettingsEffectImageBlender const& placing) {
    return placing.GetAlpha() > 0 && !AreaOf(dest, picture, placing).IsEmpty();
}

void DrawPicture(IDataVideo& dest, IDataVideo const& picture, SettingsEffectImageBlender const& placing) {
    if (!CanDraw(dest.GetPixelFormat(), picture.GetPixelFormat()))
        TARSEL_THROW(EffectException, "A picture in pixel format " + FormatName(picture.GetPixelFormat()) +
                                          " can't be drawn on one in " + FormatName(dest.GetPixelFormat()));
    if (!IsSeen(dest, picture, placing)) return;
    if (LayoutOf(dest.GetPixelFormat(), 1, 1).components[0].GetSampleBytes() == 1)
        Drawing<u8>(dest, picture, placing).Run();
    else
        Drawing<u16>(dest, picture, placing).Run();
}

PixFmt DrawableFormat(PixFmt dest, bool withAlpha) {
    if (!HasLayout(dest)) return PIX_FMT_NONE;
    PictureLayout const below = LayoutOf(dest, 1, 1);
    if (below.hasAlpha == withAlpha) return dest;
    return FindFormat(withAlpha, [&](PictureLayout const& layout) { return Match(below, layout); });
}

PixFmt CanvasFormat(PixFmt format) {
    PixFmt const working = WorkingFormat(format);
    if (working == PIX_FMT_NONE || DrawableFormat(working, true) != PIX_FMT_NONE) return working;
    static constexpr AVPixelFormat CANDIDATES[] = {AV_PIX_FMT_YUV420P,     AV_PIX_FMT_YUV422P,     AV_PIX_FMT_YUV444P,
                                                   AV_PIX_FMT_YUV444P10LE, AV_PIX_FMT_YUV444P12LE, AV_PIX_FMT_GRAY16LE,
                                                   AV_PIX_FMT_NONE};
    auto const native = static_cast<AVPixelFormat>(static_cast<int>(working));
    return static_cast<PixFmt>(static_cast<int>(avcodec_find_best_pix_fmt_of_list(CANDIDATES, native, 0, nullptr)));
}

iptr<IDataVideo> DrawablePicture::For(IDataVideo const& dest) {
    if (!picture) return nullptr;
    PictureColours const wanted = ColoursOf(dest);
    bool const stands = converted && format == dest.GetPixelFormat() && colours.matrix == wanted.matrix &&
                        colours.isFull == wanted.isFull;
    if (stands) return converted;
    auto const* const description = Conf::PixFmtDescription::Find(picture->GetPixelFormat());
    bool const withAlpha = description && (description->HasAlpha() ||
                                           (description->GetFlags() & Conf::PixFmtDescription::FLAG_PALETTE) != 0);
    PixFmt const drawable = FormatToDraw(dest.GetPixelFormat(), picture->GetPixelFormat(), withAlpha);
    if (drawable == PIX_FMT_NONE)
        TARSEL_THROW(EffectException, "No picture" + std::string(withAlpha ? " with alpha" : "") +
                                          " can be drawn on pixel format " + FormatName(dest.GetPixelFormat()));
    PictureTarget target = TargetLike(dest);
    target.width = picture->GetWidth();
    target.height = picture->GetHeight();
    target.format = static_cast<AVPixelFormat>(static_cast<int>(drawable));
    converted = Conformed(picture, target);
    format = dest.GetPixelFormat();
    colours = wanted;
    return converted;
}

iptr<IDataVideo> DrawablePicture::DrawnOn(iptr<IDataVideo> dest, int x, int y, int alpha) {
    iptr<IDataVideo> const drawn = For(*dest);
    if (!drawn) return dest;
    SettingsEffectImageBlender const placing(Placed(x, drawn->GetWidth(), dest->GetWidth()),
                                             Placed(y, drawn->GetHeight(), dest->GetHeight()), alpha,
                                             BlendAlphaMode::Straight);
    if (!IsSeen(*dest, *drawn, placing)) return dest;
    dest = dest->MakeWritable();
    DrawPicture(*dest, *drawn, placing);
    return dest;
}

}  // namespace Tarsel::Host
