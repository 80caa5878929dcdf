#pragma once

#include <memory>
#include <string>
#include <vector>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Export.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"
#include "host/media/FFmpeg.h"
#include "host/media/InBandHeaders.h"
#include "host/media/MediaFile.h"
#include "host/media/OutputFile.h"

namespace Tarsel::Host {

/// Writes packets into a media file, which appears under its name when `Finish` has put it there; until then, and for
/// good after a failure, a destruction or `RemovePartialFiles`, nothing is seen of it.
///
/// Order of calls: `Create`, `AddStream` and the like, `Begin`, `Write` again and again, `Finish`. Goes in: packets of
/// each stream in decoding order, in the framing that the container wants (see `ReframedStream`), with times in
/// microseconds of one axis; streams may run ahead of each other by a few seconds, which are held back to interleave
/// them. One thread. Failures are `Core::IOException` "PATH: what is wrong".
class TARSEL_HOST_EXPORT MediaWriter : public RefCounted {
  public:
    struct Options {
        /// Whether a file that stands there may be replaced (at success only).
        bool force = false;
        /// Files that the target must not be, under whatever name.
        std::vector<std::string> inputs = {};
        /// The container by its short name ("matroska"); empty: the path's extension tells it.
        std::string container = {};
    };
    /// What `AddStream` gives for a stream that the container can't carry.
    static constexpr int NO_SLOT = -1;

    static iptr<MediaWriter> Create(std::string const& path, Options const& options);
    ~MediaWriter() override;

    /// libavformat's name of the container ("mp4", "matroska", "mpegts").
    std::string GetContainer() const { return container->name; }
    /// Why the container can't carry packets of the format; empty when it can. Subtitles are not converted: text kinds
    /// are told apart.
    std::string CanCarry(Conf::IFormatCodec const& format, StreamKind kind) const;

    /// Enters a stream of packets and gives its slot. Codec, header bytes and metadata are the format's; aspect,
    /// colour, rotation, HDR data, disposition and codec tag come from its native parameters. `source` names the stream
    /// in warnings and may be null. A stream that can't be carried gives `NO_SLOT` and a warning; one whose format says
    /// lengths where the container wants start codes is refused.
    int AddStream(Conf::IFormatCodec const& format, StreamKind kind, StreamInfo const* source);
    /// Enters an attachment or an attached picture, whose bytes the description holds. False, with a warning, when the
    /// container can't carry it.
    bool AddAttachment(StreamInfo const& source);
    /// The container's metadata. What only describes the source's own container is left out.
    void SetMetadata(Core::Property const& metadata);
    /// Chapters in the times of the packets to be written; empty ones are left out.
    void SetChapters(std::vector<Chapter> const& chapters);

    /// Writes the container's header. No stream can be added after it.
    void Begin();
    /// Writes a packet; the packet itself stays as it is. `NO_SLOT` is dropped without a word.
    void Write(int slot, Proc::IDataPacket& packet);
    /// `Close`, then `Commit`.
    void Finish();
    /// Completes the file, which stays beside its place, for a look at it.
    void Close();
    /// Puts the closed file in its place.
    void Commit();
    /// Where the file stands until then.
    std::string const& GetPartialPath() const { return file.GetPartialPath(); }

    /// What could not be carried, and what had to be changed.
    std::vector<std::string> const& GetWarnings() const { return warnings; }

  private:
    struct Slot {
        AVStream* stream = nullptr;  // the context's
        std::unique_ptr<InBandHeaders> headers;
        int64 lastDecodingTime = NO_VALUE;  // ticks
        u64 movedTimes = 0;
        std::string name;
        int64 delay = 0;                     // ticks added to all times
        int64 firstDecodingTime = NO_VALUE;  // microseconds; instead of the first packet's own
        bool snaps = false;                  // see SnapToSamples
        int64 nextOnGrid = NO_VALUE;         // ticks: where the last packet's samples end
    };
    struct FreeOutput {
        void operator()(AVFormatContext* context) const;
    };

    MediaWriter(std::string const& path, Options const& options);
    AVStream* NewStream();
    void FillParameters(AVStream& stream, Conf::IFormatCodec const& format, StreamKind kind);
    void FillFromNative(AVStream& stream, NativeParameters const& native);
    void WriteNow(Slot& slot, Proc::IDataPacket& packet);
    void WriteHeader();
    bool HoldsEnough() const;
    void ReleaseHeld();
    void CloseFirstGaps();
    static int64 StartOf(Slot const& slot, Proc::IDataPacket const& packet);
    static int64 LeadOf(Slot const& slot, Proc::IDataPacket& packet);
    int64 FindLead() const;
    void SetStartShift();
    void WarnOfLostOffsets();
    static void SnapToSamples(Slot& slot, AVPacket& raw);
    void SetTimes(Slot& slot, AVPacket& raw, Proc::IDataPacket const& packet);
    void WritePictures();
    void WriteRaw(AVPacket& packet);
    void Check(int code, char const* step) const;
    void LeaveOut(std::string const& name, std::string const& reason);
    [[noreturn]] void Fail(std::string const& what) const;

    std::string const path;
    AVOutputFormat const* const container;
    OutputFile file;  // goes after the context, which still writes when it is closed
    std::unique_ptr<AVFormatContext, FreeOutput> context;
    std::vector<Slot> slots;
    std::vector<std::pair<int, iptr<IBlob>>> pictures;  // number of the stream and its bytes
    std::vector<std::string> warnings;
    bool begun = false;
    PacketPtr scratch;

    // AVI's ticks are as long as packets: a start that its writer moves to 0 by itself tears holes. Matroska's writer
    // moves all streams by what it adds to one stream's times anyhow, and leaves the chapters. MP4's hides what lies
    // ahead of time 0. So for these the first packets are held, and the header with them, until the earliest time is
    // known.
    bool holding = false;
    std::vector<std::pair<int, iptr<Proc::IDataPacket>>> held;
    int64 startShift = 0;  // microseconds added to all times
};

}  // namespace Tarsel::Host
