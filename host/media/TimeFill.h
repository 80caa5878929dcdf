#pragma once

#include <optional>
#include <vector>

#include "contracts/Core/Time.h"
#include "host/media/FFmpeg.h"
#include "host/media/StreamIndex.h"

namespace Tarsel::Host {

/// Learns the order in which pictures are shown from their headers, for containers that have no presentation times.
class PictureOrder {
  public:
    explicit PictureOrder(AVCodecID codec, AVCodecParameters const& parameters);
    ~PictureOrder();
    PictureOrder(PictureOrder const&) = delete;
    PictureOrder& operator=(PictureOrder const&) = delete;

    /// The next packet of the stream; called for each one, in order.
    void Add(AVPacket const& packet);
    /// For each packet its place in presentation order, from 0; empty when the headers don't tell. The count of the
    /// headers starts again at IDR pictures.
    std::vector<std::size_t> GetRanks(std::vector<IndexRecord> const& records) const;

  private:
    AVCodecParserContext* parser;
    CodecContextPtr codec;
    std::vector<int> orders;
};

// What follows works on ticks of one stream, in decoding order, and leaves alone what is there. A time that is filled
// in is flagged.

/// Gives each packet without any time a decoding time: one frame after the last one.
void FillBothTimes(std::vector<IndexRecord>& records, int64 frameTicks);
/// Presentation times equal decoding times: streams without reordering.
void FillTimesWithoutReordering(std::vector<IndexRecord>& records, std::vector<u32> const& ticks);
/// Presentation times from decoding times and the known order of presentation.
void FillTimesByRank(std::vector<IndexRecord>& records, std::vector<std::size_t> const& ranks, int64 frameTicks);
/// Presentation times of codecs that hold back one reference picture (MPEG-1, -2, -4): a picture without a time is
/// shown when the next reference picture is decoded; one whose times are equal is a B picture.
void FillTimesByDelay(std::vector<IndexRecord>& records, int64 frameTicks);
/// Few packets without presentation times among many with them: half a frame after the packet in front.
void FillSingleTimes(std::vector<IndexRecord>& records, int64 frameTicks);
/// Decoding times that rise and aren't above the presentation times, from the presentation times.
void FillDecodingTimes(std::vector<IndexRecord>& records, int64 frameTicks);

}  // namespace Tarsel::Host
