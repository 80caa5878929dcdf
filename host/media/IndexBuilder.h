#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Time.h"
#include "host/media/FFmpeg.h"
#include "host/media/MediaFile.h"
#include "host/media/PacketScan.h"
#include "host/media/StreamIndex.h"

namespace Tarsel::Host {

class PictureOrder;
class SliceOrder;

/// Reads a file once from its start and makes the indices of all its streams: first what the packets say, in the
/// container's ticks, then what follows from it, in microseconds from time 0.
class IndexBuilder {
  public:
    /// Both outlive the builder; the reader stands at the start of the file.
    IndexBuilder(MediaFile const& file, AVFormatContext& reader);
    ~IndexBuilder();

    /// Throws `Core::IOException` when the file can't be read on; a tail that is cut off or damaged ends the pass with
    /// a warning.
    void Run();

    std::vector<StreamIndex> TakeIndices();
    std::vector<std::string> TakeWarnings() { return std::move(warnings); }
    int64 GetZeroTick() const { return zeroTick; }
    AVRational GetZeroBase() const { return zeroBase; }
    int64 GetDuration() const { return duration; }

  private:
    /// A stream while its index grows; the times of its records are ticks until `Convert`.
    struct Track {
        StreamIndex index;
        AVCodecID codec = AV_CODEC_ID_NONE;
        StreamKind kind = StreamKind::Unknown;
        NalFraming framing;
        AVRational timeBase{1, 1000000};
        bool untimed = false;                    // the container stores no presentation times
        bool reorders = false;                   // the codec may show pictures in another order than it codes them
        int64 frameTicks = 1;                    // length of one picture, as the frame rate has it
        std::vector<u32> ticks;                  // durations as the container gives them
        std::unique_ptr<PictureOrder> order;     // as long as presentation times seem to be missing
        std::unique_ptr<SliceOrder> sliceOrder;  // likewise
        std::size_t missingTimes = 0;            // packets without a presentation time
        int64 longestEnd = NO_VALUE;             // of titles, which may last longer than a record can tell
    };

    void Prepare();
    void ReadAll();
    void Add(AVPacket const& packet);
    void NoteEnd(int code);
    static void NoteOrder(Track& track, AVPacket const& packet);
    /// Times of joined recordings go on over the joints.
    void JoinTimes();
    void FillTimes(Track& track);
    void FillTimesOfPictures(Track& track);
    void FindZero();
    void Convert(Track& track);
    void SetDurations(Track& track);
    void FindDuration();
    void Warn(std::string const& what) { warnings.push_back(file.GetPath() + ": " + what); }
    int64 ToFileTime(int64 tick, AVRational timeBase) const;

    MediaFile const& file;
    AVFormatContext& reader;
    std::vector<Track> tracks;
    std::vector<std::string> warnings;
    bool cutOff = false;
    u64 corruptCount = 0;
    u64 lateCount = 0;
    int64 zeroTick = 0;
    AVRational zeroBase{1, 1000000};
    int64 duration = 0;
};

}  // namespace Tarsel::Host
