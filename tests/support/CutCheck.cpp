#include "tests/support/CutCheck.h"

#include <algorithm>
#include <cstdlib>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>

#include "contracts/Core/Time.h"
#include "tests/support/PacketPayload.h"
#include "tests/support/RunProgram.h"

namespace Tarsel::Test {
namespace {

using Json = nlohmann::json;

/// Decoders of open groups may keep back this many pictures where picture order counts jump.
constexpr int WITHHELD_AT_A_SEAM = 16;

int64 TickTime(StreamInspection const& stream) {
    return stream.tick.numerator * SECOND / stream.tick.denominator + 1;
}

bool HasNoTimes(std::string const& container) {
    return container == "avi" || container == "aac" || container == "mp3" || container == "flac" || container == "wav";
}

/// How far a container may place a packet of sound off its time, beside a tick. MP4 tells a track's start in
/// milliseconds; TS and Ogg time blocks of several packets, and what follows in a block is counted on over a seam.
int64 PlacementError(StreamInspection const& stream, std::string const& container) {
    if (stream.kind != StreamKind::Audio || stream.packets.empty()) return 0;
    if (container == "mpegts" || container == "ogg") return stream.packets[stream.packets.size() / 2].duration;
    return container.find("mp4") != std::string::npos ? SECOND / 1000 : 0;
}

/// What a reader says of a file that is merely short, or of a cover picture.
bool IsAboutTheContainer(std::string const& line) {
    return line.find("misdetection possible") != std::string::npos ||
           line.find("timescale not set") != std::string::npos;
}

std::string At(int64 time) {
    return std::to_string(time) + " us";
}

/// A cut under judgement.
class Judge {
  public:
    Judge(SourceMedia const& source, ExpectedCut cut, std::string const& path)
        : source(source), cut(std::move(cut)), output(InspectFile(path)) {}

    Problems problems;
    SourceMedia const& source;
    ExpectedCut cut;
    FileInspection output;
    std::vector<DecodedPicture> pictures;
    /// Whether each video packet of the output opens a group.
    std::vector<bool> keys;
    /// The output's own time of its first picture.
    int64 zero = 0;
    /// The result time of its first picture.
    int64 firstExpected = 0;

    void Add(std::string text) { problems.push_back(std::move(text)); }

    void CheckVideo(bool wholeGroups);
    void CheckOtherStreams();
    void CheckDecodingTimes();
    void CheckStreamEnds();

  private:
    void MarkKeys(StreamInspection const& out);
    void CheckMessages(Messages const& messages, bool excused);
    void CheckPictures(bool open);
    void CheckCopiedGroups(StreamInspection const& in, StreamInspection const& out);
    void CheckCopiedGroup(StreamInspection const& in, StreamInspection const& out, std::size_t group,
                          std::size_t& place);
    void CheckDurations(StreamInspection const& in, StreamInspection const& out, bool open);
    void CheckPackets(StreamInspection const& in, StreamInspection const& out);
    bool Foreign() const { return source.file.container != output.container || output.container == "mpegts"; }
};

StreamInspection const* Partner(FileInspection const& file, StreamInspection const& of, FileInspection const& ofFile) {
    int rank = 0;
    for (auto const& stream : ofFile.streams) {
        if (&stream == &of) break;
        if (stream.kind == of.kind) rank++;
    }
    for (auto const& stream : file.streams)
        if (stream.kind == of.kind && rank-- == 0) return &stream;
    return nullptr;
}

void Judge::CheckMessages(Messages const& messages, bool excused) {
    std::set<std::string> const known(source.messages.begin(), source.messages.end());
    for (auto const& line : messages) {
        bool const aboutReferences = line.find("mmco") != std::string::npos || line.find("ref") != std::string::npos ||
                                     line.find("RASL") != std::string::npos || line.find("POC") != std::string::npos;
        if (!known.contains(line) && !IsAboutTheContainer(line) && !(excused && aboutReferences))
            Add("the decoder says: " + line);
    }
}

void Judge::CheckVideo(bool wholeGroups) {
    auto const& in = source.file.streams[static_cast<std::size_t>(source.video)];
    auto const* out = Partner(output, in, source.file);
    if (out == nullptr) return Add("the video stream is missing");
    Messages messages;
    pictures = DecodePictures(output.path, out->index, messages);
    bool const open = source.HasLeading();
    CheckMessages(messages, open);
    if (pictures.empty()) return Add("no picture can be decoded");
    TakePacketTimes(pictures, *out);
    MarkKeys(*out);
    // Picture order counts jump at the seams of open groups, and decoders let pictures out in another order there.
    if (open)
        std::stable_sort(pictures.begin(), pictures.end(),
                         [](auto const& a, auto const& b) { return a.time < b.time; });
    zero = pictures.front().time;
    CheckPictures(open && wholeGroups);
    CheckCopiedGroups(in, *out);
    CheckDurations(in, *out, open);
}

void Judge::MarkKeys(StreamInspection const& out) {
    // The library marks every H.263 packet as a key packet: what its picture is decides.
    for (auto const& packet : out.packets) keys.push_back(packet.key);
    for (auto const& picture : pictures)
        if (!picture.intra) keys[static_cast<std::size_t>(picture.packet)] = false;
}

void Judge::CheckPictures(bool open) {
    auto const& in = source.file.streams[static_cast<std::size_t>(source.video)];
    auto const& out = *output.First(StreamKind::Video);
    int64 const tolerance = std::max(TickTime(out), TickTime(in)) + 2;
    int withheld = 0;
    // The first picture that is there decides what the others' times count from.
    auto expected = cut.pictures.begin();
    if (expected == cut.pictures.end()) return Add("nothing should be left, but there is a file");
    while (expected != cut.pictures.end() && expected->optional &&
           Psnr(source.pictures[static_cast<std::size_t>(expected->source)], pictures.front()) < LEAST_PSNR)
        ++expected;
    if (expected == cut.pictures.end()) return Add("no expected picture was found");
    firstExpected = expected->time;
    for (auto const& picture : pictures) {
        // One slip moves all pictures behind it: a few of them tell enough.
        constexpr std::size_t ENOUGH = 8;
        if (problems.size() >= ENOUGH) return;
        int64 const time = picture.time - zero + firstExpected;
        while (expected != cut.pictures.end() && expected->time < time - tolerance) {
            if (open && !expected->optional)
                withheld++;
            else if (!expected->optional)
                Add("the picture of " + At(expected->time) + " is missing");
            ++expected;
        }
        if (expected == cut.pictures.end() || expected->time > time + tolerance) {
            Add("there is a picture at " + At(time) + " that should not be, next is " +
                (expected == cut.pictures.end() ? "the end" : At(expected->time)));
            continue;
        }
        auto const& original = source.pictures[static_cast<std::size_t>(expected->source)];
        bool const same = original.pixels == picture.pixels && original.width == picture.width;
        if (picture.damaged && !same) Add("the picture at " + At(time) + " is damaged");
        // Picture order counts jump at the seam of an open group: a decoder may take a picture that went for a
        // reference.
        if (expected->exact && !same && open)
            withheld++;
        else if (expected->exact && !same)
            Add("the picture at " + At(time) +
                " was copied but decodes differently: " + std::to_string(Psnr(original, picture)));
        if (!expected->exact && !expected->optional && Psnr(original, picture) < LEAST_PSNR)
            Add("the picture at " + At(time) + " was encoded again and is " + std::to_string(Psnr(original, picture)) +
                " dB");
        if (original.interlaced != picture.interlaced)
            Add("the picture at " + At(time) + " changed between fields and frames");
        ++expected;
    }
    for (; expected != cut.pictures.end(); ++expected)
        if (!expected->optional) {
            if (open)
                withheld++;
            else
                Add("the picture of " + At(expected->time) + " is missing at the end");
        }
    int const seams = static_cast<int>(cut.removed.size());
    if (withheld > seams * WITHHELD_AT_A_SEAM)
        Add(std::to_string(withheld) + " pictures don't come out of the decoder as they were");
}

void Judge::CheckCopiedGroups(StreamInspection const& in, StreamInspection const& out) {
    std::size_t place = 0;
    for (std::size_t group = 0; group < cut.fates.size(); group++) {
        if (cut.fates[group] == GroupFate::Copied) {
            CheckCopiedGroup(in, out, group, place);
        } else if (cut.fates[group] == GroupFate::Recoded && place < out.packets.size()) {
            if (!keys[place]) Add("group " + std::to_string(group) + " doesn't begin with a key packet");
            do place++;
            while (place < out.packets.size() && !keys[place]);
        }
    }
    if (place != out.packets.size())
        Add("the video has " + std::to_string(out.packets.size()) + " packets, " + std::to_string(place) +
            " are accounted for");
}

void Judge::CheckCopiedGroup(StreamInspection const& in, StreamInspection const& out, std::size_t group,
                             std::size_t& place) {
    bool first = true;
    for (auto const& packet : cut.copiedPackets[group]) {
        auto const& original = in.packets[static_cast<std::size_t>(packet.source)];
        std::string const name =
            "packet " + std::to_string(packet.source) + " of copied group " + std::to_string(group);
        if (place >= out.packets.size()) {
            if (!packet.optional) Add(name + " is missing at the end");
            continue;
        }
        auto const& result = out.packets[place];
        bool const same = ComparablePayload(in, original, Foreign()) == ComparablePayload(out, result, Foreign());
        if (!same && packet.optional) continue;
        if (!same)
            return Add(name + " isn't the source's bytes (" + std::to_string(original.data.size()) + " became " +
                       std::to_string(result.data.size()) + ", output packet " + std::to_string(place) + ")");
        if (first && !keys[place]) Add(name + " lost its key mark");
        first = false;
        place++;
    }
}

void Judge::CheckDurations(StreamInspection const& in, StreamInspection const& out, bool open) {
    // Only a source whose packets all last equally long promises anything; pictures lost at an open seam leave a hole.
    if (open || in.packets.size() < 2) return;
    auto const [least, most] = std::minmax_element(
        in.packets.begin(), in.packets.end(), [](auto const& a, auto const& b) { return a.duration < b.duration; });
    int64 const tolerance = std::max(TickTime(in), TickTime(out)) + 1;
    if (least->duration == 0 || most->duration - least->duration > tolerance) return;
    for (auto const& packet : out.packets)
        if (packet.duration < least->duration - tolerance || packet.duration > most->duration + tolerance)
            return Add("a packet at " + At(packet.time - zero) + " lasts " + At(packet.duration) + " instead of " +
                       At(least->duration));
}

bool IsFiller(StreamInspection const& stream, PacketInfo const& packet) {
    // Between its events MP4 stores empty texts.
    return stream.kind == StreamKind::Subtitle && packet.data.size() <= 2;
}

void Judge::CheckPackets(StreamInspection const& in, StreamInspection const& out) {
    std::string const name = "stream " + std::to_string(in.index) + " (" + in.codec + ")";
    if (in.codec != out.codec && in.kind != StreamKind::Subtitle) Add(name + " became " + out.codec);
    bool const pcm = in.codec.starts_with("pcm");
    Bytes wantedBytes;
    Bytes foundBytes;
    int64 const tolerance = std::max(TickTime(in), TickTime(out)) + PlacementError(in, output.container) + 4;
    int64 const loose = HasNoTimes(output.container) ? SECOND : tolerance;
    int64 const base = source.video >= 0 ? zero - firstExpected : 0;
    std::size_t place = 0;
    std::size_t wanted = 0;
    std::optional<int64> audioBase;
    for (auto const& packet : in.packets) {
        int64 const time = source.PacketTime(in, packet);
        if (IsFiller(in, packet) || (HasValue(time) && IsRemoved(cut.removed, time))) continue;
        if (pcm) wantedBytes.insert(wantedBytes.end(), packet.data.begin(), packet.data.end());
        if (pcm) continue;
        while (place < out.packets.size() && IsFiller(out, out.packets[place])) place++;
        wanted++;
        if (place >= out.packets.size()) return Add(name + ": the packet of " + At(time) + " is missing at the end");
        auto const& result = out.packets[place++];
        if (in.codec == out.codec &&
            ComparablePayload(in, packet, Foreign()) != ComparablePayload(out, result, Foreign()))
            return Add(name + ": output packet " + std::to_string(place - 1) + " isn't the source's packet of " +
                       At(time));
        if (!HasValue(time) || !HasValue(result.time)) continue;
        // Without video the output's own start is the only zero there is.
        int64 const mapped = MapTime(cut.removed, time);
        if (source.video < 0 && !audioBase) audioBase = result.time - mapped;
        int64 const found = result.time - (audioBase ? *audioBase : base);
        if (std::abs(found - mapped) > loose)
            return Add(name + ": the packet of " + At(time) + " is at " + At(found) + " instead of " + At(mapped));
    }
    for (auto const& packet : out.packets)
        if (pcm) foundBytes.insert(foundBytes.end(), packet.data.begin(), packet.data.end());
    if (wantedBytes != foundBytes)
        Add(name + ": " + std::to_string(foundBytes.size()) + " bytes of samples, not the wanted " +
            std::to_string(wantedBytes.size()));
    while (place < out.packets.size() && IsFiller(out, out.packets[place])) place++;
    if (!pcm && place != out.packets.size())
        Add(name + ": " + std::to_string(out.packets.size() - place) + " packets too many behind " +
            std::to_string(wanted));
}

void Judge::CheckOtherStreams() {
    for (auto const& in : source.file.streams) {
        if (in.kind != StreamKind::Audio && in.kind != StreamKind::Subtitle) continue;
        auto const* out = Partner(output, in, source.file);
        if (out == nullptr) {
            Add("stream " + std::to_string(in.index) + " (" + in.codec + ") is missing");
            continue;
        }
        CheckPackets(in, *out);
        if (in.kind != StreamKind::Audio || out->packets.empty()) continue;
        Messages ofSource;
        Messages ofOutput;
        DecodeSound(source.file.path, in.index, ofSource);
        DecodeSound(output.path, out->index, ofOutput);
        std::set<std::string> const known(ofSource.begin(), ofSource.end());
        for (auto const& line : ofOutput)
            if (!known.contains(line) && !IsAboutTheContainer(line))
                Add("the decoder of stream " + std::to_string(in.index) + " says: " + line);
    }
}

void Judge::CheckDecodingTimes() {
    for (auto const& stream : output.streams) {
        if (stream.kind != StreamKind::Video && stream.kind != StreamKind::Audio) continue;
        int64 last = NO_VALUE;
        // Matroska stores no decoding times. Readers make them up, and for MPEG-1 and -2 the first of them come out
        // wrong even for a file that was never cut.
        bool const startsWrong =
            output.container.find("matroska") != std::string::npos && stream.codec.starts_with("mpeg");
        std::size_t number = 0;
        for (auto const& packet : stream.packets) {
            if (startsWrong && number++ < 3) continue;
            std::string const name = "stream " + std::to_string(stream.index) + " at " + At(packet.decodingTime);
            if (!HasValue(packet.decodingTicks)) continue;
            if (HasValue(last) && packet.decodingTicks <= last) Add(name + ": decoding times don't rise");
            if (HasValue(packet.ticks) && packet.decodingTicks > packet.ticks)
                Add(name + ": decoded after it is shown");
            last = packet.decodingTicks;
        }
    }
}

int64 EndOf(StreamInspection const& stream) {
    int64 end = NO_VALUE;
    for (auto const& packet : stream.packets)
        if (HasValue(packet.time)) end = std::max(end, packet.time + packet.duration);
    return end;
}

void Judge::CheckStreamEnds() {
    if (source.video < 0) return;
    int64 const videoEnd = MapTime(cut.removed, source.PictureEnd(static_cast<int>(source.pictures.size()) - 1));
    for (auto const& in : source.file.streams) {
        auto const* out = Partner(output, in, source.file);
        if (in.kind != StreamKind::Audio || out == nullptr || in.packets.empty() || out->packets.empty()) continue;
        int64 const step = std::max(in.packets[in.packets.size() / 2].duration, int64{1});
        int64 const wanted = MapTime(cut.removed, EndOf(in) - source.zero);
        int64 const found = EndOf(*out) - zero + firstExpected;
        int64 const tolerance = step + TickTime(*out) + TickTime(in);
        if (std::abs(found - wanted) > tolerance)
            Add("stream " + std::to_string(in.index) + " ends at " + At(found) + " instead of " + At(wanted) +
                " (pictures end at " + At(videoEnd) + ")");
    }
}

std::vector<int> PacketsInOutput(SourceMedia const& source, FileInspection const& output) {
    std::vector<int> counts;
    for (auto const& in : source.file.streams) {
        auto const* out = Partner(output, in, source.file);
        bool const countable =
            (in.kind == StreamKind::Video || in.kind == StreamKind::Audio) && !in.codec.starts_with("pcm");
        counts.push_back(countable && out != nullptr ? static_cast<int>(out->packets.size()) : -1);
    }
    return counts;
}

bool CutsWholeGroups(SourceMedia const& source, Json const& report) {
    for (auto const& stream : report.value("streams", Json::array()))
        if (stream.value("index", -1) == source.video) return stream.value("mode", "") == "gop";
    return false;
}

}  // namespace

Problems CheckCut(SourceMedia const& source, CutRequest const& request, std::string const& output,
                  nlohmann::json const& report) {
    bool const wholeGroups = CutsWholeGroups(source, report);
    Judge judge(source, ExpectCut(source, request, wholeGroups), output);
    if (source.video >= 0) judge.CheckVideo(wholeGroups);
    if (source.video >= 0 && judge.pictures.empty()) return judge.problems;
    judge.CheckOtherStreams();
    judge.CheckDecodingTimes();
    judge.CheckStreamEnds();
    for (auto& problem : CheckReport(source, judge.cut, report, PacketsInOutput(source, judge.output)))
        judge.Add(std::move(problem));
    if (!source.HasLeading())
        for (auto& problem : CheckByCommand(source.file.path, output)) judge.Add(std::move(problem));
    return judge.problems;
}

Problems CheckPlainCopy(SourceMedia const& source, std::string const& output) {
    Judge judge(source, ExpectCut(source, {}, false), output);
    if (source.video >= 0) judge.CheckVideo(false);
    judge.CheckOtherStreams();
    judge.CheckDecodingTimes();
    judge.CheckStreamEnds();
    return judge.problems;
}

Problems CheckByCommand(std::string const& source, std::string const& output) {
    auto const run = [](std::string const& path) {
        return RunProgram({"ffmpeg", "-nostdin", "-xerror", "-v", "warning", "-i", path, "-map", "0:v?", "-map", "0:a?",
                           "-vsync", "passthrough", "-f", "null", "-"});
    };
    // Lines name objects by address, which differ from run to run.
    auto const lines = [](std::string const& text) {
        std::set<std::string> result;
        std::istringstream stream(text);
        for (std::string line; std::getline(stream, line);) {
            auto const from = line.find(" @ 0x");
            if (from != std::string::npos) line.erase(from, line.find(']', from) - from);
            if (line.find_first_not_of(" \t\r") != std::string::npos) result.insert(line);
        }
        return result;
    };
    Problems problems;
    auto const result = run(output);
    if (result.exitCode == 0 && result.errors.empty()) return problems;
    auto const known = lines(run(source).errors);
    for (auto const& line : lines(result.errors))
        if (!known.contains(line) && !IsAboutTheContainer(line)) problems.push_back("ffmpeg says: " + line);
    if (result.exitCode != 0) problems.emplace_back("ffmpeg -xerror fails on the result");
    return problems;
}

}  // namespace Tarsel::Test
