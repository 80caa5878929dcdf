// What a media file holds, read through libavformat and libavcodec directly.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Types.h"

namespace Tarsel::Test {

using Bytes = std::vector<u8>;

/// Ticks of a stream as a fraction of a second.
struct TickLength {
    int64 numerator = 1;
    int64 denominator = 1000000;
};

struct PacketInfo {
    /// Microseconds on the file's own axis; NO_VALUE where the file gives none. Duration 0 when unknown.
    int64 time = 0;
    int64 decodingTime = 0;
    int64 duration = 0;
    /// The same in ticks of the stream.
    int64 ticks = 0;
    int64 decodingTicks = 0;
    int64 durationTicks = 0;
    bool key = false;
    Bytes data;
};

enum class StreamKind { Video, Audio, Subtitle, Attachment, Cover, Other };

struct StreamInspection {
    int index = 0;
    StreamKind kind = StreamKind::Other;
    std::string codec;
    std::string profile;
    int width = 0;
    int height = 0;
    int sampleRate = 0;
    TickLength tick;
    /// Degrees clockwise that a player turns the picture by.
    int rotation = 0;
    Bytes extradata;
    std::map<std::string, std::string> metadata;
    std::vector<PacketInfo> packets;
};

struct ChapterInspection {
    int64 start = 0;
    int64 end = 0;
    std::string title;
};

struct FileInspection {
    std::string path;
    std::string container;
    /// Microseconds.
    int64 duration = 0;
    std::vector<StreamInspection> streams;
    std::vector<ChapterInspection> chapters;
    std::map<std::string, std::string> metadata;

    /// The first stream of a kind, null when there is none.
    StreamInspection const* First(StreamKind kind) const;
};

/// Reads all packets of a file. Throws `std::runtime_error` with the path when it can't be opened or a read fails.
FileInspection InspectFile(std::string const& path);

struct DecodedPicture {
    /// Presentation time in microseconds on the file's own axis, NO_VALUE where the decoder tells none.
    int64 time = 0;
    /// Index of the packet that the picture came from.
    int packet = 0;
    int width = 0;
    int height = 0;
    int pixelFormat = 0;
    bool interlaced = false;
    /// Needs no other picture.
    bool intra = false;
    bool damaged = false;
    /// Visible bytes, plane after plane, rows without padding.
    Bytes pixels;
};

struct DecodedSound {
    int sampleRate = 0;
    int channels = 0;
    /// Time of the first sample in microseconds on the file's own axis.
    int64 start = 0;
    /// All samples in order, interleaved, as -1..1.
    std::vector<float> samples;
};

/// What the library said at the level of a warning or above, one entry a line, without addresses.
using Messages = std::vector<std::string>;

/// Decodes every picture of a stream, in output order, on one thread. Failures of the decoder are messages too.
std::vector<DecodedPicture> DecodePictures(std::string const& path, int stream, Messages& messages);

/// Decodes all sound of a stream, priming and padding taken off as the file tells.
DecodedSound DecodeSound(std::string const& path, int stream, Messages& messages);

/// Peak signal-to-noise ratio over all planes in dB; 200 for equal pictures, 0 for pictures of different shape.
double Psnr(DecodedPicture const& a, DecodedPicture const& b);

}  // namespace Tarsel::Test
