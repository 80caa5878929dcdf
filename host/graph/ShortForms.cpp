#include "host/graph/ShortForms.h"

#include <algorithm>
#include <array>
#include <utility>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "host/graph/FormMaker.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/SettingsCatalog.h"
#include "host/media/CodecFactory.h"
#include "host/media/Containers.h"

extern "C" {
#include <libavcodec/codec_desc.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

void RequireDuration(int64 duration) {
    SettingField const& field = FieldOf(SettingsFilterDurationTrimmer::CLASS_ID, "Duration");
    if (duration < field.minimum || duration > field.maximum)
        FailAtPlace("", "the duration must be from " + std::to_string(field.minimum) + " to " +
                            std::to_string(field.maximum) + " microseconds, not " + std::to_string(duration));
}

/// Whether pictures or sound have a place in the container. Writers of sound name the codec of cover pictures as
/// theirs.
bool HoldsKind(AVOutputFormat const& container, StreamKind kind) {
    if (kind == StreamKind::Audio) return container.audio_codec != AV_CODEC_ID_NONE;
    return container.video_codec != AV_CODEC_ID_NONE && container.video_codec != AV_CODEC_ID_PNG;
}

/// The codec that lines of text are written with; empty where the container has none.
std::string SubtitleCodec(AVOutputFormat const& container, std::string const& source) {
    if (IsMov(container)) return "mov_text";
    if (IsWebM(container)) return "webvtt";
    if (IsMatroska(container)) return source == "ass" || source == "ssa" ? "ass" : "subrip";
    return {};
}

/// Puts a document of files together, all of whose streams go the same way.
class Maker {
  public:
    explicit Maker(ShortFormOptions const& options) : options(options), form(options), container(form.GetContainer()) {}

    /// A source and what stands over it so far.
    struct Line {
        StreamKind kind = StreamKind::Video;
        NodeId top = 0;
    };

    /// Opens a file and makes a source of each stream that takes part; subtitles only when they are asked for. What is
    /// left out is told.
    std::vector<Line> AddFile(std::string const& path, bool withSubtitles = false);
    NodeId AddFilter(char const* classId, char const* implName, Core::Property settings,
                     std::vector<NodeId> const& inputs);
    /// Makes the line exactly as long as the longest one of its file: what is left out doesn't count.
    void TrimToFile(Line& line);
    void Put(Line& line, char const* classId, char const* implName, Core::Property settings) {
        line.top = AddFilter(classId, implName, std::move(settings), {line.top});
    }
    void AddOutput(Line const& line);
    /// Tells of pictures that come faster than `rate`: where all of them are kept, they fall behind the sound.
    void WarnOfFasterPictures(Ratio const& rate);
    ShortFormGraph Finish() { return form.Finish(); }

  private:
    bool TakesPart(StreamInfo const& info, bool withSubtitles, std::vector<Line> const& taken, std::string& why) const;

    ShortFormOptions const& options;
    FormMaker form;
    AVOutputFormat const* const container;
    iptr<MediaFile> file;
    int64 length = NO_VALUE;  // of the file's pictures and sound that take part
    /// The codecs of subtitle sources, by their ids.
    std::vector<std::pair<NodeId, std::string>> subtitleCodecs;
};

bool Maker::TakesPart(StreamInfo const& info, bool withSubtitles, std::vector<Line> const& taken,
                      std::string& why) const {
    if (info.kind == StreamKind::Video || info.kind == StreamKind::Audio) {
        if (container && !HoldsKind(*container, info.kind)) {
            why = std::string(container->name) + " holds no " + std::string(KindName(info.kind));
            return false;
        }
        // An M4A file could hold pictures, but nobody who asks for one wants them.
        bool const video = info.kind == StreamKind::Video;
        if (container && (video ? options.videoCodec : options.audioCodec).empty()) {
            ContainerCodecs const codecs = DefaultEncoders(container->name);
            if ((video ? codecs.video : codecs.audio).empty()) {
                why = std::string(container->name) + " is written with no " + std::string(KindName(info.kind));
                return false;
            }
        }
        bool const another =
            std::any_of(taken.begin(), taken.end(), [&](Line const& line) { return line.kind == info.kind; });
        if (container && HoldsOneOfAKind(*container) && another) {
            why = std::string(container->name) + " holds one stream of a kind";
            return false;
        }
        return true;
    }
    if (info.kind != StreamKind::Subtitle || !withSubtitles) return false;
    AVCodecDescriptor const* const codec = avcodec_descriptor_get_by_name(info.codec.c_str());
    if (!codec || (codec->props & AV_CODEC_PROP_TEXT_SUB) == 0) {
        why = "it is no text";
        return false;
    }
    if (container && SubtitleCodec(*container, info.codec).empty()) {
        why = std::string(container->name) + " holds no subtitles of text";
        return false;
    }
    return true;
}

std::vector<Maker::Line> Maker::AddFile(std::string const& path, bool withSubtitles) {
    file = form.Open(path);
    length = NO_VALUE;
    std::vector<Line> lines;
    std::array<int, 3> ordinals{};
    for (StreamInfo const& info : file->GetStreams()) {
        // Whoever runs the graph takes files inside the file and cover pictures along.
        if (info.derived || info.kind == StreamKind::Attachment || info.kind == StreamKind::AttachedPicture) continue;
        if ((info.kind == StreamKind::Video && options.noVideo) || (info.kind == StreamKind::Audio && options.noAudio))
            continue;
        bool const counted = static_cast<std::size_t>(info.kind) < ordinals.size();
        int const ordinal = counted ? ordinals[static_cast<std::size_t>(info.kind)]++ : 0;
        std::string why;
        if (!TakesPart(info, withSubtitles, lines, why)) {
            form.WarnLeftOut(*file, info, why);
            continue;
        }
        NodeId const id = form.AddSource(path, {info.kind, ordinal});
        lines.push_back({info.kind, id});
        if (info.kind != StreamKind::Subtitle) length = std::max(length, file->GetIndex(info.index).GetEndTime());
        if (info.kind == StreamKind::Subtitle && container)
            subtitleCodecs.emplace_back(id, SubtitleCodec(*container, info.codec));
    }
    bool const useful =
        std::any_of(lines.begin(), lines.end(), [](Line const& line) { return line.kind != StreamKind::Subtitle; });
    if (!useful) {
        std::string const wanted = options.noVideo ? "audio" : options.noAudio ? "video" : "video or audio";
        FailAtPlace("", path + ": there is no " + wanted + " in it" +
                            (container ? " that " + std::string(container->name) + " holds" : ""));
    }
    return lines;
}

NodeId Maker::AddFilter(char const* classId, char const* implName, Core::Property settings,
                        std::vector<NodeId> const& inputs) {
    NodeId const id = form.AddFilter(classId, implName, std::move(settings), inputs);
    // A stream of subtitles keeps its codec through the filters above it.
    for (auto& [source, codec] : subtitleCodecs)
        if (inputs.size() == 1 && source == inputs.front()) source = id;
    return id;
}

void Maker::TrimToFile(Line& line) {
    int64 const duration = HasValue(length) ? length : file->GetDuration();
    if (!HasValue(duration) || duration <= 0 || duration > MAX_DURATION)
        FailAtPlace("", file->GetPath() + ": a file of " +
                            (HasValue(duration) ? std::to_string(duration) + " microseconds" : "unknown length") +
                            " can't be taken whole: from 1 to " + std::to_string(MAX_DURATION) + " can");
    Put(line, SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
        Settings2Property(SettingsFilterDurationTrimmer(duration)));
}

void Maker::AddOutput(Line const& line) {
    if (line.kind == StreamKind::Audio) return form.AddSoundOutput(line.top);
    GraphOutput::Stream stream;
    stream.input = line.top;
    if (line.kind == StreamKind::Video) {
        stream.codec = options.videoCodec;
        stream.quality = options.quality;
    } else {
        for (auto const& [id, codec] : subtitleCodecs)
            if (id == line.top) stream.codec = codec;
    }
    form.AddOutput(std::move(stream));
}

void Maker::WarnOfFasterPictures(Ratio const& rate) {
    for (StreamInfo const& info : file->GetStreams()) {
        auto const* const format = dynamic_cast<Conf::IFormatCodecVideo const*>(info.format.get());
        if (info.kind != StreamKind::Video || !format || format->GetFrameRate() <= rate) continue;
        auto const text = [](Ratio const& value) { return Core::Property().SetValue(value).GetString(); };
        form.Warn(file->GetPath() + ": " + StreamName(info) + " has " + text(format->GetFrameRate()) +
                  " frames/s, all of which are kept: at " + text(rate) + " they fall behind the sound");
    }
}

std::size_t CountOf(std::vector<Maker::Line> const& lines, StreamKind kind) {
    auto const count =
        std::count_if(lines.begin(), lines.end(), [&](Maker::Line const& line) { return line.kind == kind; });
    return static_cast<std::size_t>(count);
}

std::string StreamCount(std::size_t count, StreamKind kind) {
    return (count == 0 ? "no" : std::to_string(count)) + " " + std::string(KindName(kind)) +
           (count == 1 ? " stream" : " streams");
}

}  // namespace

ShortFormGraph MakeTrimGraph(std::string const& input, int64 duration, ShortFormOptions const& options) {
    RequireDuration(duration);
    Maker maker(options);
    auto lines = maker.AddFile(input, true);
    for (Maker::Line& line : lines) {
        maker.Put(line, SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                  Settings2Property(SettingsFilterDurationTrimmer(duration)));
        maker.AddOutput(line);
    }
    return maker.Finish();
}

ShortFormGraph MakeJoinGraph(std::vector<std::string> const& inputs, ShortFormOptions const& options) {
    if (inputs.empty()) FailAtPlace("", "there is nothing to join");
    if (inputs.size() > MAX_GRAPH_INPUTS)
        FailAtPlace("", "more than " + std::to_string(MAX_GRAPH_INPUTS) + " files can't be joined");
    Maker maker(options);
    std::vector<std::vector<Maker::Line>> clips;
    for (std::string const& input : inputs) {
        auto& lines = clips.emplace_back(maker.AddFile(input));
        // By kind, in the order of the file within each.
        std::stable_sort(lines.begin(), lines.end(), [](auto const& a, auto const& b) { return a.kind < b.kind; });
        for (StreamKind const kind : {StreamKind::Video, StreamKind::Audio}) {
            std::size_t const count = CountOf(lines, kind);
            std::size_t const wanted = CountOf(clips.front(), kind);
            if (count != wanted)
                FailAtPlace("", input + ": has " + StreamCount(count, kind) + " where " + inputs.front() + " has " +
                                    StreamCount(wanted, kind));
        }
        for (Maker::Line& line : lines) maker.TrimToFile(line);
    }
    for (std::size_t i = 0; i < clips.front().size(); ++i) {
        Maker::Line joined = clips.front()[i];
        char const* const classId =
            joined.kind == StreamKind::Video ? FilterSlots::JOIN_VIDEO.name : FilterSlots::JOIN_AUDIO.name;
        std::vector<NodeId> streams;
        for (auto const& lines : clips) streams.push_back(lines[i].top);
        joined.top = maker.AddFilter(classId, ImplNames::TARSEL, Core::Property(classId), std::move(streams));
        maker.AddOutput(joined);
    }
    return maker.Finish();
}

ShortFormGraph MakeReverseGraph(std::string const& input, ShortFormOptions const& options) {
    Maker maker(options);
    for (Maker::Line& line : maker.AddFile(input)) {
        maker.TrimToFile(line);
        maker.Put(line, SettingsFilterReverse::CLASS_ID, ImplNames::TARSEL, Settings2Property(SettingsFilterReverse()));
        maker.AddOutput(line);
    }
    return maker.Finish();
}

ShortFormGraph MakeSpeedGraph(std::string const& input, double factor, ShortFormOptions const& options) {
    SettingField const& field = FieldOf(SettingsFilterSpeedUp::CLASS_ID, "SpeedUp");
    // No comparison holds for what is no number.
    if (!(factor >= field.lowest && factor <= field.highest))
        FailAtPlace("", "the factor must be from " + NumberText(field.lowest) + " to " + NumberText(field.highest) +
                            ", not " + NumberText(factor));
    Maker maker(options);
    for (Maker::Line& line : maker.AddFile(input)) {
        maker.Put(line, SettingsFilterSpeedUp::CLASS_ID, ImplNames::TARSEL,
                  Settings2Property(SettingsFilterSpeedUp(factor)));
        maker.AddOutput(line);
    }
    return maker.Finish();
}

ShortFormGraph MakeLoopGraph(std::string const& input, int64 duration, ShortFormOptions const& options) {
    RequireDuration(duration);
    Maker maker(options);
    for (Maker::Line& line : maker.AddFile(input)) {
        maker.TrimToFile(line);
        // A loop of sound keeps all samples of its last block: one that goes on beyond the end can be cut there.
        int64 const longer = std::min(duration + SECOND, MAX_DURATION);
        maker.Put(line, SettingsFilterLoop::CLASS_ID, ImplNames::TARSEL,
                  Settings2Property(SettingsFilterLoop(line.kind == StreamKind::Audio ? longer : duration)));
        if (line.kind == StreamKind::Audio)
            maker.Put(line, SettingsFilterDurationTrimmer::CLASS_ID, ImplNames::TARSEL,
                      Settings2Property(SettingsFilterDurationTrimmer(duration)));
        maker.AddOutput(line);
    }
    return maker.Finish();
}

ShortFormGraph MakeFrameRateGraph(std::string const& input, Ratio const& rate, bool adjust,
                                  ShortFormOptions const& options) {
    if (rate.numerator() <= 0 || rate > Ratio(MAX_FRAME_RATE) || rate.numerator() > MAX_FRAME_RATE_PART ||
        rate.denominator() > MAX_FRAME_RATE_PART)
        FailAtPlace("", "the frame rate must be above 0 and up to " + std::to_string(MAX_FRAME_RATE) + ", not " +
                            Core::Property().SetValue(rate).GetString());
    Maker maker(options);
    auto lines = maker.AddFile(input);
    if (CountOf(lines, StreamKind::Video) == 0)
        FailAtPlace("", input + ": there is no video in it that could get a frame rate");
    if (adjust) maker.WarnOfFasterPictures(rate);
    for (Maker::Line& line : lines) {
        if (line.kind == StreamKind::Video)
            maker.Put(line, SettingsFilterFrameRate::CLASS_ID,
                      adjust ? SettingsFilterFrameRate::IMPL_ADJUST : SettingsFilterFrameRate::IMPL_DEFAULT,
                      Settings2Property(SettingsFilterFrameRate(rate)));
        maker.AddOutput(line);
    }
    return maker.Finish();
}

}  // namespace Tarsel::Host
