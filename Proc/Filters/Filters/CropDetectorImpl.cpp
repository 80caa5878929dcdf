#include "Proc/Filters/Filters/CropDetectorImpl.h"

#include <glog/logging.h>

#include <algorithm>
#include <array>
#include <boost/format.hpp>
#include <cmath>
#include <limits>
#include <stdexcept>
#include <string>
#include <utility>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"

namespace Tarsel::Proc {

namespace {

constexpr u32 GRID_WIDTH = 320;
constexpr u32 GRID_HEIGHT = 240;

/// Gives i x length / count, in whole numbers, for i = 0, 1, 2... without dividing again.
class EvenSteps {
  public:
    EvenSteps(u32 length, u32 count) : step(length / count), rest(length % count), count(count) {}

    u32 Get() const { return position; }
    void Next() {
        position += step;
        carry += rest;
        if (carry < count) return;
        carry -= count;
        ++position;
    }

  private:
    u32 const step;
    u32 const rest;
    u32 const count;
    u32 position = 0;
    u32 carry = 0;
};

using Offsets = std::array<u32, GRID_WIDTH>;

/// Where the samples of `count` columns stand in a row of `width` samples, in bytes.
Offsets GetOffsets(u32 width, u32 count, u32 step, u32 first) {
    Offsets offsets;
    EvenSteps column(width, count);
    for (u32 c = 0; c < count; ++c, column.Next()) offsets[c] = column.Get() * step + first;
    return offsets;
}

u32 Length(int value) {
    return static_cast<u32>(std::max(value, 0));
}

/// Goes down a plane in even steps, and fetches the row ahead: those of a large picture are too far from each other for
/// the processor to foresee them.
class GridRows {
  public:
    GridRows(Details::PlaneTemplate<1> const& plane, u32 count)
        : plane(plane), rowBytes(Length(plane.GetRowBytes())), y(Length(plane.GetRows()), count), left(count) {}

    u8 const* Next() {
        u8 const* const row = plane.GetOffsetPtr(0, y.Get());
        y.Next();
        if (--left == 0) return row;
        u8 const* const ahead = plane.GetOffsetPtr(0, y.Get());
        for (u32 x = 0; x < rowBytes; x += CACHE_LINE) __builtin_prefetch(ahead + x);
        return row;
    }

  private:
    static constexpr u32 CACHE_LINE = 64;

    Details::PlaneTemplate<1> const plane;
    u32 const rowBytes;
    EvenSteps y;
    u32 left;
};

/// Elements of one row over a divider of 1 to 65535.
void DivideRow(u16 const* row, u32 width, float divider, int* quotients) {
    // Whole numbers below 2^16 in 24 bits: a quotient that isn't whole lies further from the next whole one than
    // rounding moves it.
    for (u32 c = 0; c < width; ++c) quotients[c] = static_cast<int>(static_cast<float>(row[c]) / divider);
}

u32 Deviation(uint64 sum, uint64 squares, u32 count) {
    uint64 const mean = sum / count;
    return static_cast<u32>(std::sqrt(static_cast<double>(squares / count - mean * mean)));
}

/// How many lines the region leaves out, by the deviations of the lines from a border on.
template <class Iterator>
u32 CountStill(Iterator line, u32 half, u32 limit) {
    for (u32 i = 2; i < half; ++i, ++line) {
        uint64 const sum = uint64{line[0]} + line[1] + line[2];
        if (sum / 3 >= limit) return i - 2;
    }
    return 0;
}

}  // namespace

std::unique_ptr<CropDetectorImpl> CropDetectorImpl::Create(PixFmt format, iptr<IDataVideo> const& frame,
                                                           u32 calcLimit) {
    if (frame->GetWidth() < 1 || frame->GetHeight() < 1)
        TARSEL_THROW(FilterException, "Cannot create crop detector for frames of " + std::to_string(frame->GetWidth()) +
                                          "x" + std::to_string(frame->GetHeight()));
    switch (format) {
        case PIX_FMT_NV12:
            return std::make_unique<CropDetectorImplNV12>(*frame, calcLimit);
        case PIX_FMT_YUV420P:
        case PIX_FMT_YUVA420P:
            return std::make_unique<CropDetectorImplYUV420P>(*frame, calcLimit);
        default:
            break;
    }
    auto const* const description = Conf::PixFmtDescription::Find(format);
    TARSEL_THROW(FilterException, (boost::format("Cannot create crop detector for %1%") %
                                   (description ? description->GetName() : std::to_string(format)))
                                      .str());
}

CropDetectorImpl::CropDetectorImpl(IDataVideo const& frame, u32 calcLimit)
    : calcLimit(calcLimit),
      frameWidth(Length(frame.GetWidth())),
      frameHeight(Length(frame.GetHeight())),
      tableHeight(std::min(frameHeight, GRID_HEIGHT)),
      tableWidth(std::min(frameWidth, GRID_WIDTH)),
      tableElements(tableWidth * tableHeight),
      table(tableElements) {}

CropDetectorImpl::~CropDetectorImpl() = default;

CropInfo CropDetectorImpl::Calculate(IDataVideo const& frame, IDataVideo const& previous, u32 sampleIndex) {
    for (IDataVideo const* const picture : {&frame, &previous})
        if (Length(picture->GetWidth()) != frameWidth || Length(picture->GetHeight()) != frameHeight)
            TARSEL_THROW(std::invalid_argument, "frame has another size than the crop detector");
    Accumulate(LUMA, frame, previous, {0, 1, 0});
    AccumulateFirstChroma(frame, previous);
    AccumulateSecondChroma(frame, previous);
    CropInfo const edges =
        Details::FindEdges(Details::LineDeviations(table.data(), tableWidth, tableHeight, sampleIndex), calcLimit);
    VLOG(30) << "crop: " << edges;
    VLOG(30) << "disp: " << calcLimit;
    CropInfo const result = ScaleToFrame(edges);
    VLOG(30) << "frame crop found: " << result;
    return result;
}

CropInfo CropDetectorImpl::ScaleToFrame(CropInfo const& edges) const {
    // Even coordinates of 16 bits: no decoder gives frames wider than 65535.
    auto const even = [](u32 coordinate) { return coordinate & 0xFFFEU; };
    // A side of one pixel is the only odd one: it ends where it ends.
    return {even(edges.left * frameWidth / tableWidth),
            std::min(even(edges.right * frameWidth / tableWidth + 1), frameWidth),
            even(edges.top * frameHeight / tableHeight),
            std::min(even(edges.bottom * frameHeight / tableHeight + 1), frameHeight)};
}

void CropDetectorImpl::Hold(IDataVideo const& frame, IDataVideo const& previous) {
    if (sampled[0].frame == &previous || sampled[1].frame == &frame) std::swap(sampled[0], sampled[1]);
    auto const take = [](Sampled& samples, IDataVideo const& picture) {
        if (samples.frame == &picture) return;
        samples.frame = &picture;
        for (auto& channel : samples.channels) channel.clear();
    };
    take(sampled[0], frame);
    take(sampled[1], previous);
}

std::vector<u8> const& CropDetectorImpl::GetSamples(Sampled& from, Channel channel, Layout const& layout) const {
    std::vector<u8>& samples = from.channels[channel];
    if (!samples.empty()) return samples;
    samples.resize(tableElements);
    auto const plane = from.frame->GetPlaneConst(layout.plane);
    u32 const rowBytes = Length(plane.GetRowBytes());
    Offsets const offsets = GetOffsets(rowBytes / layout.step, tableWidth, layout.step, layout.first);
    GridRows rows(plane, tableHeight);
    u8* line = samples.data();
    for (u32 r = 0; r < tableHeight; ++r, line += tableWidth) {
        u8 const* const row = rows.Next();
        for (u32 c = 0; c < tableWidth; ++c) line[c] = row[offsets[c]];
    }
    return samples;
}

void CropDetectorImpl::Accumulate(Channel channel, IDataVideo const& frame, IDataVideo const& previous,
                                  Layout const& layout) {
    Hold(frame, previous);
    u8 const* const one = GetSamples(sampled[0], channel, layout).data();
    u8 const* const other = GetSamples(sampled[1], channel, layout).data();
    u16* const sums = table.data();
    for (u32 i = 0; i < tableElements; ++i) {
        int const difference = int{one[i]} - int{other[i]};
        sums[i] = static_cast<u16>(sums[i] + (difference < 0 ? -difference : difference));
    }
}

void CropDetectorImplNV12::AccumulateFirstChroma(IDataVideo const& frame, IDataVideo const& previous) {
    Accumulate(FIRST_CHROMA, frame, previous, {1, 2, 0});
}

void CropDetectorImplNV12::AccumulateSecondChroma(IDataVideo const& frame, IDataVideo const& previous) {
    Accumulate(SECOND_CHROMA, frame, previous, {1, 2, 1});
}

void CropDetectorImplYUV420P::AccumulateFirstChroma(IDataVideo const& frame, IDataVideo const& previous) {
    Accumulate(FIRST_CHROMA, frame, previous, {1, 1, 0});
}

void CropDetectorImplYUV420P::AccumulateSecondChroma(IDataVideo const& frame, IDataVideo const& previous) {
    Accumulate(SECOND_CHROMA, frame, previous, {2, 1, 0});
}

namespace Details {

int64 GetBrightness(IDataVideo const& frame) {
    PlaneTemplate<1> const luma = frame.GetPlaneConst(0);
    Offsets const offsets = GetOffsets(Length(frame.GetWidth()), GRID_WIDTH, 1, 0);
    GridRows rows(luma, GRID_HEIGHT);
    u32 sum = 0;
    for (u32 r = 0; r < GRID_HEIGHT; ++r) {
        u8 const* const row = rows.Next();
        for (u32 const offset : offsets) sum += row[offset];
    }
    return int64{sum} / (int64{GRID_WIDTH} * GRID_HEIGHT);
}

LineDeviations::LineDeviations(u16 const* table, u32 width, u32 height, u32 divider) : rows(height), columns(width) {
    // Nothing is left of an element over more than it can hold.
    if (divider > std::numeric_limits<u16>::max()) return;
    float const by = static_cast<float>(std::max(divider, u32{1}));
    std::vector<int> quotients(width);
    std::vector<u32> columnSums(width);
    std::vector<uint64> columnSquares(width);
    for (u32 r = 0; r < height; ++r) {
        DivideRow(table + std::size_t{r} * width, width, by, quotients.data());
        u32 sum = 0;
        uint64 squares = 0;
        for (u32 c = 0; c < width; ++c) {
            u32 const value = static_cast<u32>(quotients[c]);
            uint64 const square = uint64{value} * value;
            sum += value;
            squares += square;
            columnSums[c] += value;
            columnSquares[c] += square;
        }
        rows[r] = Deviation(sum, squares, width);
    }
    for (u32 c = 0; c < width; ++c) columns[c] = Deviation(columnSums[c], columnSquares[c], height);
}

CropInfo FindEdges(LineDeviations const& lines, u32 limit) {
    u32 const width = static_cast<u32>(lines.columns.size());
    u32 const height = static_cast<u32>(lines.rows.size());
    return {CountStill(lines.columns.begin(), width / 2, limit),
            width - CountStill(lines.columns.rbegin(), width / 2, limit),
            CountStill(lines.rows.begin(), height / 2, limit),
            height - CountStill(lines.rows.rbegin(), height / 2, limit)};
}

}  // namespace Details

}  // namespace Tarsel::Proc
