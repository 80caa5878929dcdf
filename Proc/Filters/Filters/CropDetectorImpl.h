#pragma once

#include <array>
#include <memory>
#include <vector>

#include "contracts/Core/RefCount.h"
#include "contracts/Proc/CropInfo.h"
#include "contracts/Proc/IData.h"

namespace Tarsel::Proc {

/// Adds up where the frames of one stream change, and takes for the picture what lies between the outermost lines that
/// change unevenly. The frames are looked at in a grid, the table, of 320 x 240 places at most: what a pair of them
/// costs doesn't grow with their size. All frames have the size and the pixel format of the first. One thread.
///
/// What has been read of the last pair is kept, together with its frames: the previous frame has left the caches long
/// ago, and fetching it again would take most of the time.
class CropDetectorImpl {
  public:
    /// The class for a pixel format, with an empty table for the size of `frame`. Throws `FilterException` "Cannot
    /// create crop detector for " and the format's name; and for a frame without pixels.
    static std::unique_ptr<CropDetectorImpl> Create(PixFmt format, iptr<IDataVideo> const& frame, u32 calcLimit);

    virtual ~CropDetectorImpl();
    CropDetectorImpl(CropDetectorImpl const&) = delete;
    CropDetectorImpl& operator=(CropDetectorImpl const&) = delete;

    /// Adds the chroma's changes between two frames to the table.
    virtual void AccumulateFirstChroma(IDataVideo const& frame, IDataVideo const& previous) = 0;
    virtual void AccumulateSecondChroma(IDataVideo const& frame, IDataVideo const& previous) = 0;

    /// Adds what has changed between two frames, and gives the region after it. `sampleIndex` tells how many pairs have
    /// been added by then; 0 counts as 1. Throws `std::invalid_argument` for frames of another size.
    CropInfo Calculate(IDataVideo const& frame, IDataVideo const& previous, u32 sampleIndex);

    /// The table, row by row from the top.
    std::vector<u16> const& GetTable() const { return table; }
    u32 GetTableWidth() const { return tableWidth; }
    u32 GetTableHeight() const { return tableHeight; }

  protected:
    enum Channel { LUMA, FIRST_CHROMA, SECOND_CHROMA };
    /// Where a channel's samples stand: every `step` bytes from the byte `first` of each of the plane's rows on.
    struct Layout {
        unsigned plane;
        u32 step;
        u32 first;
    };

    CropDetectorImpl(IDataVideo const& frame, u32 calcLimit);
    /// Adds the differences of a channel's samples.
    void Accumulate(Channel channel, IDataVideo const& frame, IDataVideo const& previous, Layout const& layout);

  private:
    /// The samples of a frame, channel by channel; none where they haven't been read yet.
    struct Sampled {
        iptr<IDataVideo const> frame;
        std::array<std::vector<u8>, 3> channels;
    };

    /// Makes the two of `sampled` those of the frames, in this order.
    void Hold(IDataVideo const& frame, IDataVideo const& previous);
    std::vector<u8> const& GetSamples(Sampled& from, Channel channel, Layout const& layout) const;
    CropInfo ScaleToFrame(CropInfo const& edges) const;

    u32 const calcLimit;
    u32 const frameWidth, frameHeight;
    u32 const tableHeight, tableWidth;
    u32 const tableElements;
    std::array<Sampled, 2> sampled;  // of the last pair
    std::vector<u16> table;          // sums wrap around: one table takes 85 pairs of frames of the largest difference
};

/// Chroma samples of both kinds take turns in the second plane.
class CropDetectorImplNV12 final : public CropDetectorImpl {
  public:
    CropDetectorImplNV12(IDataVideo const& frame, u32 calcLimit) : CropDetectorImpl(frame, calcLimit) {}
    void AccumulateFirstChroma(IDataVideo const& frame, IDataVideo const& previous) override;
    void AccumulateSecondChroma(IDataVideo const& frame, IDataVideo const& previous) override;
};

/// A plane for each kind of chroma; alpha isn't looked at.
class CropDetectorImplYUV420P final : public CropDetectorImpl {
  public:
    CropDetectorImplYUV420P(IDataVideo const& frame, u32 calcLimit) : CropDetectorImpl(frame, calcLimit) {}
    void AccumulateFirstChroma(IDataVideo const& frame, IDataVideo const& previous) override;
    void AccumulateSecondChroma(IDataVideo const& frame, IDataVideo const& previous) override;
};

namespace Details {

/// The mean of the luma on a grid of 320 x 240 places, cut to a whole number, for a frame of any of these formats.
int64 GetBrightness(IDataVideo const& frame);

/// How unevenly the lines of a table are filled: the whole part of the standard deviation of its elements, each of them
/// over `divider` first (0 counts as 1), in whole numbers up to the square root.
struct LineDeviations {
    LineDeviations(u16 const* table, u32 width, u32 height, u32 divider);

    std::vector<u32> rows;
    std::vector<u32> columns;
};

/// In each half of a side the region begins two lines in front of the first line that brings the mean over it and the
/// two in front of it up to `limit`: a lone noisy line is no edge. Without such a line in that half the region reaches
/// up to the border.
CropInfo FindEdges(LineDeviations const& lines, u32 limit);

}  // namespace Details

}  // namespace Tarsel::Proc
