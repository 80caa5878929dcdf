#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Conf/MediaTypes.h"
#include "contracts/Core/Export.h"
#include "contracts/Core/IBlob.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "host/media/FFmpeg.h"
#include "host/media/MemoryInput.h"
#include "host/media/NativeParameters.h"
#include "host/media/StreamIndex.h"

namespace Tarsel::Host {

/// What a stream of a file is.
enum class StreamKind : int {
    Video = 0,
    Audio = 1,
    Subtitle = 2,
    /// Timed data that is neither (time codes, telemetry).
    Data = 3,
    /// A file inside the file: a font, a document.
    Attachment = 4,
    /// A cover picture: listed as video by containers, without a place in time.
    AttachedPicture = 5,
    /// Nothing that libavformat knows a name for.
    Unknown = 6,
};

/// "video", "audio", "subtitle", "data", "attachment", "attached picture", "unknown".
TARSEL_HOST_EXPORT std::string_view KindName(StreamKind kind);

/// A stream as the file lists it.
struct StreamInfo {
    /// Place in the file's own list of streams, from 0.
    int index = 0;
    StreamKind kind = StreamKind::Unknown;
    MediaType mediaType = MEDIA_TYPE_NONE;
    /// FFmpeg's codec name ("h264"), "none" when it has none.
    std::string codec;
    /// The profile's name ("High"); empty when the codec has none or it isn't known.
    std::string profile;
    /// How units are told apart in H.264 and HEVC: "length" or "annexb"; empty for other codecs.
    std::string framing;
    /// Never null. Streams without a kind of their own have the plain format of a subtitle. Its metadata is the
    /// container's of this stream (language, title, filename, mimetype...), its native parameters `NativeParameters`.
    iptr<Conf::IFormatCodec> format;
    iptr<NativeParameters const> native;
    /// Whether the stream only repeats what is told elsewhere (the chapters' texts as a track of their own, the time
    /// code of the video's metadata): a writer of such containers makes it anew.
    bool derived = false;
    /// The bytes of an attachment or an attached picture, null for others.
    iptr<IBlob> payload;

    /// Whether `MediaFile::OpenStream` gives packets.
    bool HasPackets() const {
        return kind == StreamKind::Video || kind == StreamKind::Audio || kind == StreamKind::Subtitle ||
               kind == StreamKind::Data;
    }
};

/// "stream #0 (video, h264)", for messages.
TARSEL_HOST_EXPORT std::string StreamName(StreamInfo const& info);

/// A chapter; microseconds on the file's axis, [begin, end).
struct Chapter {
    int64 begin = 0;
    int64 end = 0;
    /// "title" and whatever else the container says.
    Core::Property metadata;
};

/// A media file, opened for reading: what is in it, where its packets lie, and its streams.
///
/// Time 0 is the presentation time of the first picture of the first video stream (attached pictures don't count; a
/// picture ahead of an edit list isn't presented); without video, of the earliest packet. A file of subtitles alone has
/// the 0 of its own clock, whenever its first title comes. The index of all streams is made in one pass over the file
/// when a question needs it first: duration, chapters, time 0, `GetIndex`, `OpenStream`. Any thread may ask. Failures
/// are `Core::IOException` "PATH: what is wrong".
class TARSEL_HOST_EXPORT MediaFile : public RefCounted {
  public:
    static iptr<MediaFile> Open(std::string const& path);
    /// The same of a file whose bytes are in memory, brought to another form: `path` is told in messages. `warnings`
    /// are what was found wrong at that.
    static iptr<MediaFile> Open(std::string const& path, SharedBytes bytes, std::vector<std::string> warnings = {});
    ~MediaFile() override;

    std::string const& GetPath() const { return path; }
    /// Whether its bytes aren't those of the file of that name.
    bool IsInMemory() const { return bytes != nullptr; }
    /// The container's short name ("mp4", "matroska", "mpegts"): the first of libavformat's names, "mov,mp4,..." being
    /// told apart by the brand.
    std::string const& GetContainer() const { return container; }
    std::vector<StreamInfo> const& GetStreams() const { return streams; }
    Core::Property const& GetMetadata() const { return metadata; }

    /// Microseconds from time 0 to the container's end, never below the end of the last packet of any stream.
    int64 GetDuration() const;
    /// What the file's own clock says at time 0, microseconds.
    int64 GetZero() const;
    std::vector<Chapter> const& GetChapters() const;
    StreamIndex const& GetIndex(int stream) const;
    /// What was found wrong on the way and did not prevent reading ("PATH: ..." texts): a cut-off tail, packets marked
    /// as damaged, streams that appear too late.
    std::vector<std::string> const& GetWarnings() const;

    /// A new stream of packets with a reader of its own. Throws for a stream without packets.
    iptr<Proc::IStreamRaw> OpenStream(int stream);

  private:
    friend class DemuxStream;
    friend class IndexBuilder;

    MediaFile(std::string const& path, SharedBytes bytes);
    void Probe();
    void ListStreams();
    StreamInfo DescribeStream(int index, std::shared_ptr<std::vector<FontFile> const> const& fonts) const;
    void EnsureIndexed() const;
    void BuildIndex();
    void CompleteFormats();
    /// The raw time of a stream's packet on the file's axis.
    int64 ToFileTime(int64 time, AVRational timeBase) const;
    [[noreturn]] void Fail(std::string const& what) const;

    std::string const path;
    SharedBytes const bytes;  // null: the file's own
    std::string container;
    std::vector<StreamInfo> streams;
    Core::Property metadata;

    // What the pass over the file tells; constant once `indexed` is set.
    std::atomic<bool> indexed{false};
    mutable Core::Mutex indexLock;  // held during the pass
    InputPtr context;               // from `Open` to the end of the pass
    std::vector<StreamIndex> indices;
    std::vector<Chapter> chapters;
    std::vector<std::string> warnings;
    int64 duration = 0;
    // Time 0 as a tick of the stream that it comes from.
    int64 zeroTick = 0;
    AVRational zeroBase{1, 1000000};
};

/// Opens a file for reading with libavformat and looks into its streams. Throws like `MediaFile::Open`. With `quick`
/// the look into the streams is left out where the container's header says enough to read packets. `bytes` stand for
/// the file's own unless null.
InputPtr OpenInput(std::string const& path, bool quick, SharedBytes const& bytes);

/// libavformat's name for the subtitles in a text file that begins like this; empty where it knows none.
std::string ProbeSubtitleText(std::string const& path, std::string const& head);

}  // namespace Tarsel::Host
