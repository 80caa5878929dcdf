#include "host/graph/SettingsCatalog.h"

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <utility>

#include "contracts/Conf/IPreset.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/ICropDetector.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IFilterCacheController.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/IFilterRepeatController.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "contracts/Proc/SettingsDeinterlace.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "contracts/Proc/SettingsFilterBitStream.h"
#include "contracts/Proc/SettingsFilterBlurTransparentBorder.h"
#include "contracts/Proc/SettingsFilterCutController.h"
#include "contracts/Proc/SettingsFilterDurationTrimmer.h"
#include "contracts/Proc/SettingsFilterFrameRate.h"
#include "contracts/Proc/SettingsFilterIntroLoopOutro.h"
#include "contracts/Proc/SettingsFilterLoop.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/SettingsFilterResample.h"
#include "contracts/Proc/SettingsFilterReverse.h"
#include "contracts/Proc/SettingsFilterSpeedUp.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "contracts/Proc/SettingsLosslessDetect.h"
#include "contracts/Proc/SettingsResizer.h"
#include "contracts/Proc/SettingsStreamMetadataUpdater.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"
#include "host/graph/SettingFields.h"
#include "host/titles/TitleFields.h"

namespace Tarsel::Host {

using namespace Proc;
using namespace Fields;

namespace {

/// Slower or faster than this no picture or sound can be told any more.
constexpr double SLOWEST = 0.01;
constexpr double FASTEST = 100;
/// Below this a picture of any size overshoots the limit.
constexpr int64 LARGEST_BUFFER = int64{1} << 40;
/// A block of sound is held in memory as a whole.
constexpr int64 LONGEST_BLOCK = 60000000;
constexpr int64 LARGEST_BLOCK = 1000000;
/// Beyond it every sample of sound but silence is at its limit.
constexpr double LARGEST_VOLUME = 1000000;
constexpr int64 LARGEST_PICTURE_SIDE = 8192;

/// A class that is registered by the identifier of its settings.
CatalogEntry WithSettings(char const* classId, std::vector<GraphKind> kinds, std::vector<SettingField> fields,
                          std::unique_ptr<Settings> (*make)(Core::Property const&), char const* description) {
    CatalogEntry entry;
    entry.classId = classId;
    entry.settingsId = classId;
    entry.implementations = {ImplNames::TARSEL};
    entry.kinds = std::move(kinds);
    entry.fields = std::move(fields);
    entry.make = make;
    entry.description = description;
    return entry;
}

/// A filter with an interface of its own.
CatalogEntry Dedicated(char const* name, std::vector<GraphKind> kinds, std::vector<SettingField> fields,
                       char const* description) {
    CatalogEntry entry = WithSettings(name, std::move(kinds), std::move(fields), nullptr, description);
    entry.isDedicated = true;
    return entry;
}

CatalogEntry Join(char const* name, GraphKind kind, char const* description) {
    CatalogEntry entry = Dedicated(name, {kind}, {}, description);
    entry.maxInputs = MAX_GRAPH_INPUTS;
    return entry;
}

CatalogEntry Controller(char const* name, std::vector<GraphKind> kinds, std::vector<SettingField> fields,
                        char const* description) {
    CatalogEntry entry = Dedicated(name, std::move(kinds), std::move(fields), description);
    entry.isController = true;
    entry.maxInputs = MAX_GRAPH_INPUTS;
    return entry;
}

SettingField RepeatCount() {
    return Integer("Count", -1, std::numeric_limits<int64>::max(), "", "-1",
                   "Items to hand out; -1 and 0 never end, which the guard of the runner stops");
}

void AddTimelineFilters(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(
        WithSettings(SettingsFilterDurationTrimmer::CLASS_ID, {Video, Audio, Subtitle},
                     {Duration("Duration", "The length that the stream gets"),
                      Boolean("UseOriginalDuration", "0",
                              "Whether the search for a last picture trusts the length that the container states")},
                     Make<Property2SettingsFilterDurationTrimmer>,
                     "Makes a stream exactly as long as told: cuts it, or repeats its last picture, or adds silence"));
    catalog.push_back(
        WithSettings(SettingsFilterLoop::CLASS_ID, {Video, Audio}, {Duration("Duration", "The length that is filled")},
                     Make<Property2SettingsFilterLoop>, "Repeats a stream from its start until a length is filled"));
    catalog.push_back(WithSettings(
        SettingsFilterIntroLoopOutro::CLASS_ID, {Video},
        {Duration("Duration", "The length of the whole"),
         Integer("IntroLength", 0, MAX_DURATION, MICROSECOND, "0", "Length of the start, which plays once"),
         Integer("OutroLength", 0, MAX_DURATION, MICROSECOND, "0", "Length of the end, which plays once"),
         Integer("MinLoopCount", 0, 1000000, "", "0", "How often the middle plays at least; 0: it plays once")},
        Make<Property2SettingsFilterIntroLoopOutro>,
        "Plays the start once, repeats the middle, plays the end once, so that the whole has the wanted length"));
    catalog.push_back(WithSettings(SettingsFilterRepeat::CLASS_ID, {Video, Audio}, {RepeatCount()},
                                   Make<Property2SettingsFilterRepeat>,
                                   "Hands the first item of a stream out again and again, always at the same time"));
    catalog.push_back(WithSettings(SettingsFilterSpeedUp::CLASS_ID, {Video, Audio},
                                   {Number("SpeedUp", SLOWEST, FASTEST, "1", "The factor; above 1 plays faster")},
                                   Make<Property2SettingsFilterSpeedUp>,
                                   "Plays a stream faster or slower; the pitch of sound stays"));
    static std::string const defaultBuffer = std::to_string(SettingsFilterReverse::DEFAULT_MAX_BUFFER_SIZE);
    catalog.push_back(
        WithSettings(SettingsFilterReverse::CLASS_ID, {Video, Audio},
                     {Boolean("Reverse", "1", "False hands the stream through"),
                      Integer("MaxBufferSize", 1, LARGEST_BUFFER, "bytes", defaultBuffer.c_str(),
                              "Limit of the pictures that wait, for all reversed pictures of the process together")},
                     Make<Property2SettingsFilterReverse>, "Plays a stream backwards"));
    catalog.push_back(
        WithSettings(SettingsFilterFrameRate::CLASS_ID, {Video},
                     {FrameRate("The regular rate; 0/1 is the source's own")}, Make<Property2SettingsFilterFrameRate>,
                     "Gives pictures a regular rate: \"Default\" lays them on a grid, \"Adjust\" keeps them "
                     "all and moves the times of those that share a place in it"));
    catalog.back().implementations = {SettingsFilterFrameRate::IMPL_DEFAULT, SettingsFilterFrameRate::IMPL_ADJUST};

    catalog.push_back(Dedicated(FilterSlots::FRAME_RATE.name, {Video},
                                {FrameRate("The regular rate; 0/1 is the source's own")},
                                "The frame rate by a grid, made through its own interface"));
    catalog.back().fields.front().isOwnValue = true;
    catalog.push_back(Join(FilterSlots::JOIN_VIDEO.name, Video, "Plays streams of pictures one after another"));
    catalog.push_back(Join(FilterSlots::JOIN_AUDIO.name, Audio, "Plays streams of sound one after another"));
    catalog.push_back(Join(FilterSlots::JOIN_RAW.name, Packets, "Puts streams of packets of one format end to end"));
    catalog.push_back(Dedicated(FilterSlots::REPEAT_VIDEO.name, {Video}, {RepeatCount()},
                                "The repeat of a picture, made through its own interface"));
    catalog.push_back(Dedicated(FilterSlots::REPEAT_AUDIO.name, {Audio}, {RepeatCount()},
                                "The repeat of a block of sound, made through its own interface"));
    catalog.push_back(Dedicated(FILTER_CACHE_DATA, {Video}, {}, "Reads one picture ahead on a thread of its own"));
}

/// What the generator can fill, by FFmpeg's names: of 32-bit blocks it writes only a half.
Choices GeneratedFormats() {
    return {{"u8", "0"},  {"s16", "1"},  {"flt", "3"},  {"dbl", "4"},
            {"u8p", "5"}, {"s16p", "6"}, {"fltp", "8"}, {"dblp", "9"}};
}

Choices ConvertedFormats() {
    return {{ANY_VALUE, "-1"}, {"u8", "0"},   {"s16", "1"},  {"s32", "2"},  {"flt", "3"}, {"dbl", "4"},
            {"u8p", "5"},      {"s16p", "6"}, {"s32p", "7"}, {"fltp", "8"}, {"dblp", "9"}};
}

/// Masks of FFmpeg's layouts by their names.
Choices NamedLayouts() {
    return {{"mono", "4"},
            {"stereo", "3"},
            {"2.1", "11"},
            {"3.0", "7"},
            {"3.0(back)", "259"},
            {"4.0", "263"},
            {"quad", "51"},
            {"quad(side)", "1539"},
            {"3.1", "15"},
            {"5.0", "55"},
            {"5.0(side)", "1543"},
            {"4.1", "271"},
            {"5.1", "63"},
            {"5.1(side)", "1551"},
            {"6.0", "1799"},
            {"6.0(front)", "1731"},
            {"hexagonal", "311"},
            {"6.1", "1807"},
            {"6.1(back)", "319"},
            {"6.1(front)", "1739"},
            {"7.0", "1591"},
            {"7.0(front)", "1735"},
            {"7.1", "1599"},
            {"7.1(wide)", "255"},
            {"7.1(wide-side)", "1743"},
            {"octagonal", "1847"},
            {"hexadecagonal", "6442710839"},
            {"22.2", "2164663779327"}};
}

/// The three words of a format of samples that is converted to.
std::vector<SettingField> ConvertedInfo() {
    Choices layouts = NamedLayouts();
    layouts.insert(layouts.begin(), {ANY_VALUE, "0"});
    SettingField rate =
        Integer("SampleRate", 1, MAX_SAMPLE_RATE, "Hz", "-1", "The rate that comes out; Any: as it comes");
    rate.anyValue = "-1";
    return {OneOf("SampleFormat", ConvertedFormats(), "-1", "The numbers that come out; Any: as they come"), rate,
            OneOf("ChannelLayout", std::move(layouts), "0", "The channels that come out; Any: as they come")};
}

SettingField PacketDuration() {
    static std::string const tenth = std::to_string(IFilterAudioFormatter::DEFAULT_PACKET_DURATION);
    return Integer(IFilterAudioFormatter::PACKET_DURATION, 0, LONGEST_BLOCK, MICROSECOND, tenth.c_str(),
                   "The length of a block; 0: what is at hand makes a block");
}

SettingField MixedStreams() {
    SettingField field;
    field.key = MIXER_STREAMS;
    field.type = SettingType::List;
    field.description = "One entry for each input, in their order; an input without one has the volume 100";
    field.fields = {Integer(MIXER_VOLUME, -MAX_MIXER_VOLUME, MAX_MIXER_VOLUME, "percent", "100",
                            "How loud the input is in the sum; 100 leaves it as it is, below 0 turns it over")};
    return field;
}

std::vector<SettingField> HistogramFields() {
    return {
        Integer("Width", 1, LARGEST_PICTURE_SIDE, "pixels", "640", "Width of the pictures"),
        Integer("Height", 1, LARGEST_PICTURE_SIDE, "pixels", "360", "Height of the pictures"),
        Integer("PicturesPerSecond", 1, 1000, "", "25", "Pictures a second of sound"),
        OneOf("Scale", {{"Linear", "0"}, {"Logarithmic", "1"}}, "0", "How a bar's height follows the sound"),
        Integer("BarCount", 1, LARGEST_PICTURE_SIDE, "", "32", "Bars side by side"),
        Integer("BackgroundColour", 0, 0xFFFFFF, "", "0", "Red, green and blue as one number, 65536 R + 256 G + B")};
}

void AddSoundSources(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(WithSettings(
        SettingsAudioGenerator::CLASS_ID, {Audio},
        {OneOf("SampleFormat", GeneratedFormats(), "3", "The numbers of the samples"),
         Integer("SampleRate", 1, MAX_SAMPLE_RATE, "Hz", "48000", "The rate"),
         OneOf("ChannelLayout", NamedLayouts(), "3", "The channels, all of which sound alike"),
         Integer("Duration", 1, MAX_DURATION, MICROSECOND, "1000000", "The length"),
         Integer("BlockSamples", 1, LARGEST_BLOCK, "", "4800",
                 "Samples of a block; where they don't last whole microseconds, a little is lost between blocks"),
         Number("Frequency", 0, double(MAX_SAMPLE_RATE) / 2, "0", "The tone's, in hertz; 0: silence"),
         Number("Amplitude", 0, 1, "1", "The value at the tone's crest")},
        Make<Property2SettingsAudioGenerator>, "Makes a tone, or silence"));
    catalog.back().minInputs = 0;
    catalog.back().maxInputs = 0;
}

void AddSoundFilters(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(WithSettings(
        SettingsFilterAudioVolume::CLASS_ID, {Audio},
        {Number("Volume", -LARGEST_VOLUME, LARGEST_VOLUME, "1", "The factor; below 0 it turns the sound over"),
         Boolean("AutoLevel", "0", "Whether a gain that follows the peaks brings quiet sound up")},
        Make<Property2SettingsFilterAudioVolume>, "Makes sound louder or quieter"));
    std::vector<SettingField> resample = ConvertedInfo();
    resample.push_back(OneOf(Conf::IPreset::KEY_TYPE_ID,
                             {{ImplNames::DEFAULT, ImplNames::DEFAULT}, {ImplNames::FFMPEG, ImplNames::FFMPEG}},
                             ImplNames::DEFAULT, "The converter's implementation"));
    catalog.push_back(WithSettings(SettingsFilterResample::CLASS_ID, {Audio}, std::move(resample),
                                   Make<Property2SettingsFilterResample>,
                                   "Converts the rate, the numbers and the channels of sound"));
    catalog.push_back(WithSettings(SettingsFilterAudioFormatter::CLASS_ID, {Audio}, {PacketDuration()},
                                   Make<Property2SettingsFilterAudioFormatter>,
                                   "Cuts sound into blocks of one length"));

    catalog.push_back(Dedicated(FilterSlots::RESAMPLE.name, {Audio}, ConvertedInfo(),
                                "The conversion of sound, made through its own interface"));
    catalog.push_back(Dedicated(FilterSlots::AUDIO_FORMATTER.name, {Audio}, {PacketDuration()},
                                "The blocks of one length, made through their own interface"));
    catalog.push_back(Dedicated(FilterSlots::AUDIO_MIXER.name, {Audio}, {MixedStreams()},
                                "Sums streams of sound, each with a volume of its own; gaps in them are filled with "
                                "silence"));
    catalog.back().maxInputs = MAX_GRAPH_INPUTS;
    catalog.back().inputList = InputList{MIXER_STREAMS};
    catalog.push_back(Dedicated(FilterSlots::AUDIO_HISTOGRAM.name, {Audio}, HistogramFields(),
                                "Draws the spectrum of sound as pictures of bars"));
    catalog.back().gives = Video;
    catalog.push_back(Dedicated(FilterSlots::VOLUME_DETECT.name, {Audio}, {},
                                "Hands sound through; at its first seek it reads the first ten minutes and tells in "
                                "its statistics how loud they are"));
}

SettingField Overlays() {
    SettingField field;
    field.key = MIXER_OVERLAYS;
    field.type = SettingType::List;
    field.description = "One entry for each input behind the first, in their order";
    field.fields = {
        In(IBlend::BLENDING_POSITION_X, Integer("X", -MAX_OVERLAY_POSITION, MAX_OVERLAY_POSITION, "pixels", "0",
                                                "Left edge on the main picture; odd ones become the number below")),
        In(IBlend::BLENDING_POSITION_Y,
           Integer("Y", -MAX_OVERLAY_POSITION, MAX_OVERLAY_POSITION, "pixels", "0", "Upper edge, in the same way")),
        In(IFilterVideoMixer::START_TIME,
           Integer("StartTime", -MAX_DURATION, MAX_DURATION, MICROSECOND, "0",
                   "Where the stream's time 0 lies on the main stream, or where a still picture begins")),
        In(IFilterVideoMixer::TRANSPARENCY_TYPE,
           OneOf("Transparency",
                 {{IFilterVideoMixer::TRANSPARENCY_TYPE_OVERLAY, IFilterVideoMixer::TRANSPARENCY_TYPE_OVERLAY},
                  {IFilterVideoMixer::TRANSPARENCY_TYPE_FIXED_ALPHA, IFilterVideoMixer::TRANSPARENCY_TYPE_FIXED_ALPHA},
                  {IFilterVideoMixer::TRANSPARENCY_TYPE_BLINK, IFilterVideoMixer::TRANSPARENCY_TYPE_BLINK}},
                 IFilterVideoMixer::TRANSPARENCY_TYPE_OVERLAY,
                 "As it is; by Alpha; or in turns by Alpha and not at all")),
        In(IBlend::BLENDING_ALPHA, Integer("Alpha", 0, 255, "", "255", "How strongly it is drawn; 255: as it is")),
        In(IFilterVideoMixer::BLINK_SHOW_DURATION,
           Integer("ShowDuration", 0, MAX_DURATION, MICROSECOND, "0", "How long what blinks is seen")),
        In(IFilterVideoMixer::BLINK_HIDE_DURATION,
           Integer("HideDuration", 0, MAX_DURATION, MICROSECOND, "0", "How long it isn't; 0: as long as it is seen")),
        In(IFilterVideoMixer::LOOP_STREAM, Boolean("Loop", "0", "Whether the stream starts over at its end")),
        In(IFilterVideoMixer::USE_FIRST_FRAME_AS_WATERMARK,
           Boolean("FirstFrame", "0", "Whether its first picture is drawn as a still one, to the end"))};
    return field;
}

std::optional<SettingsFinding> CheckOverlays(Core::Property const& settings) {
    std::size_t number = 0;
    for (Core::Property const& entry : settings.Children()) {
        if (entry.Name() != MIXER_OVERLAYS) continue;
        std::string const place = std::string("/") + MIXER_OVERLAYS + "/" + std::to_string(number++);
        bool const blinks =
            entry[IFilterVideoMixer::TRANSPARENCY_TYPE].GetString() == IFilterVideoMixer::TRANSPARENCY_TYPE_BLINK;
        if (blinks && entry[IFilterVideoMixer::BLINK_SHOW_DURATION].GetInt64() == 0)
            return SettingsFinding{place + "/ShowDuration", "what blinks must be seen for a time above 0"};
    }
    return {};
}

void AddPictureFilters(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    static std::string const overlap = std::to_string(SettingsFilterVideoMixer::DEFAULT_MIN_OVERLAP);
    catalog.push_back(WithSettings(
        SettingsFilterVideoMixer::CLASS_ID, {Video},
        {Integer("MinOverlap", 0, MAX_DURATION, MICROSECOND, overlap.c_str(),
                 "How long a drawn picture and a main one must be seen together for the one to be drawn on the other"),
         Overlays()},
        Make<Property2SettingsFilterVideoMixer>,
        "Draws streams of pictures, or still ones, over the first; still ones lie on top, and of each of the two kinds "
        "the later input"));
    catalog.back().maxInputs = MAX_GRAPH_INPUTS;
    catalog.back().inputList = InputList{MIXER_OVERLAYS, 1, true};
    catalog.back().check = CheckOverlays;
}

/// The list of a chain. The filter takes the effects themselves: it has no other settings.
SettingField Chain(GraphKind kind) {
    SettingField field;
    field.key = EFFECT_CHAIN;
    field.type = SettingType::Effects;
    field.effectKind = kind;
    field.description = "The effects in the order in which they act: docs/effects.md tells which there are";
    return field;
}

SettingField EffectImplementation(Choices others) {
    others.insert(others.begin(), {{ImplNames::DEFAULT, ImplNames::DEFAULT}, {ImplNames::TARSEL, ImplNames::TARSEL}});
    return OneOf("Implementation", std::move(others), ImplNames::DEFAULT, "The implementation of the effect");
}

std::vector<SettingField> ResizerFields() {
    // In this order `Settings2Property` writes them.
    return {EffectImplementation({{ImplNames::OGL, ImplNames::OGL}}),
            OneOf("Mode", {{"Keep", "0"}, {"Letterbox", "1"}, {"Stretch", "2"}, {"Crop", "3"}}, "2",
                  "What becomes of a picture of another shape; Keep leaves all pictures as they are"),
            Integer("Width", 1, MAX_PICTURE_SIDE, "pixels", "", "Width of the pictures that come out"),
            Integer("Height", 1, MAX_PICTURE_SIDE, "pixels", "", "Their height"),
            Aspect("PixelAspect", "Shape of their pixels"),
            OneOf("Algorithm", {{"Bilinear", "0"}, {"Bicubic", "1"}, {"Lanczos", "2"}}, "1",
                  "How pixels in between are computed")};
}

/// Beyond it no line of a picture changes.
constexpr int64 LARGEST_CROP_LIMIT = 65535;
constexpr int64 LARGEST_CROP_COUNT = 100000;

void AddCropDetector(std::vector<CatalogEntry>& catalog) {
    using D = ICropDetector;
    static std::string const defaults[] = {
        std::to_string(D::DEFAULT_MAX_INTERVAL), std::to_string(D::DEFAULT_SKIP_INTERVAL),
        std::to_string(D::DEFAULT_SUCCESS_FRAME_COUNT), std::to_string(D::DEFAULT_CALC_LIMIT),
        std::to_string(D::DEFAULT_CROP_PRECISION)};
    catalog.push_back(Dedicated(
        FilterSlots::CROP_DETECTOR.name, {GraphKind::Video},
        {Integer(D::MAX_INTERVAL, 1, MAX_DURATION, MICROSECOND, defaults[0].c_str(),
                 "After which time the whole frame is the answer"),
         Integer(D::SKIP_INTERVAL, 1, MAX_DURATION, MICROSECOND, defaults[1].c_str(),
                 "How far pictures that are looked at are apart"),
         Integer(D::SUCCESS_FRAME_COUNT, 1, LARGEST_CROP_COUNT, "", defaults[2].c_str(), "How many of them must agree"),
         Integer(D::CALC_LIMIT, 1, LARGEST_CROP_LIMIT, "", defaults[3].c_str(),
                 "From which change on a line belongs to the picture, in sample values"),
         Integer(D::CROP_PRECISION, 0, MAX_PICTURE_SIDE, "pixels", defaults[4].c_str(),
                 "Within which distance regions agree")},
        "Hands pictures through; at its first seek it reads the stream until it is clear where the bars around the "
        "picture are, and tells that in its statistics"));
}

void AddEffectFilters(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(WithSettings(SettingsResizer::CLASS_ID, {Video}, ResizerFields(), Make<Property2SettingsResizer>,
                                   "Brings pictures to a size"));
    catalog.push_back(WithSettings(
        SettingsDeinterlace::CLASS_ID, {Video},
        {OneOf("Method", {{"Spatial", "0"}, {"Adaptive", "1"}}, "1",
               "Whether all lines of the second field are made anew, or those alone where something has moved"),
         Boolean("Smoothing", "0", "Whether what flickers from line to line is evened out"), EffectImplementation({})},
        Make<Property2SettingsDeinterlace>,
        "Makes progressive pictures of interlaced ones; a stream whose first three are progressive passes"));
    static std::string const matrix = std::to_string(SettingsFilterBlurTransparentBorder::DEFAULT_MATRIX_SIZE);
    catalog.push_back(WithSettings(SettingsFilterBlurTransparentBorder::CLASS_ID, {Video},
                                   {Integer("MatrixSize", 0, MAX_PICTURE_SIDE, "pixels", matrix.c_str(),
                                            "How far colours reach: the side of the square about a pixel; up to 1 "
                                            "nothing changes")},
                                   Make<Property2SettingsFilterBlurTransparentBorder>,
                                   "Lets colours run into transparent pixels, so that scaling finds no dark fringe"));

    catalog.push_back(Dedicated(FilterSlots::RESIZE.name, {Video}, ResizerFields(),
                                "The size of pictures, made through its own interface"));
    catalog.push_back(
        Dedicated(FilterSlots::APPLY_EFFECTS_VIDEO.name, {Video}, {Chain(Video)}, "Runs effects over pictures"));
    catalog.push_back(
        Dedicated(FilterSlots::APPLY_EFFECTS_AUDIO.name, {Audio}, {Chain(Audio)}, "Runs effects over sound"));
}

void AddTitleFilters(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(Dedicated(FilterSlots::SUBTITLE_DRAWER.name, {Video}, TitleFields(),
                                "Draws a stream of subtitles, texts or bitmaps, on pictures"));
    CatalogEntry& drawer = catalog.back();
    drawer.settingsId = SettingsSubtitleDrawer::CLASS_ID;
    drawer.make = Make<Property2SettingsSubtitleDrawer>;
    drawer.furtherKind = Subtitle;
    drawer.minInputs = drawer.maxInputs = 2;
}

void AddPacketFilters(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(WithSettings(
        SettingsFilterBitStream::CLASS_ID, {Packets},
        {OneOf("StreamFormat", {{"AnnexB", "0"}, {"MP4", "1"}, {"RawAAC", "2"}, {"ADTS", "3"}, {"Any", "4"}}, "4",
               "The framing that comes out; Any: as it comes")},
        Make<Property2SettingsFilterBitStream>, "Changes the framing of H.264, HEVC and AAC packets"));
    catalog.push_back(WithSettings(SettingsStreamMetadataUpdater::CLASS_ID, {Video, Audio}, {},
                                   Make<Property2SettingsStreamMetadataUpdater>,
                                   "Gives a stream metadata: keys of its own choice, texts as values"));
    catalog.back().isFreeTree = true;

    catalog.push_back(Dedicated(FilterSlots::LOSSLESS_DETECT.name, {Packets},
                                {Integer("MaxBadPtsInRow", 0, std::numeric_limits<u32>::max(), "", "16",
                                         "Packets in a row without a presentation time that are tolerated")},
                                "Hands packets through and finds out whether their stream can be cut without loss"));
    catalog.back().settingsId = SettingsLosslessDetect::CLASS_ID;
    catalog.back().make = Make<Property2SettingsLosslessDetect>;
}

SettingField RemovedRanges() {
    SettingField field;
    field.key = "Interval";
    field.type = SettingType::List;
    field.description = "The ranges of source time that are removed";
    field.fields = {Integer("Start", 0, MAX_DURATION, MICROSECOND, "", "Where the range begins"),
                    Integer("End", 0, std::numeric_limits<int64>::max(), MICROSECOND, "",
                            "Where it ends: the first time that is kept")};
    return field;
}

void AddControllers(std::vector<CatalogEntry>& catalog) {
    using enum GraphKind;
    catalog.push_back(Controller(FilterSlots::CUT_CONTROLLER.name, {Video, Audio, Subtitle, Packets}, {RemovedRanges()},
                                 "Removes ranges of time from several streams of one source at once"));
    catalog.back().settingsId = SettingsFilterCutController::CLASS_ID;
    catalog.back().make = Make<Property2SettingsCutController>;
    catalog.push_back(
        Controller(FilterSlots::REPEAT_CONTROLLER.name, {Video, Audio, Subtitle},
                   {Duration(IFilterRepeatController::REDEFINE_DURATION, "The length that each stream gets"),
                    OneOf(IFilterRepeatController::REPEAT_MODE,
                          {{IFilterRepeatController::REPEAT_MODE_LAST, IFilterRepeatController::REPEAT_MODE_LAST}},
                          IFilterRepeatController::REPEAT_MODE_LAST, "What is repeated")},
                   "Stretches the first item of each of its streams to one length"));
    catalog.push_back(Controller(FilterSlots::SEEK_CONTROLLER.name, {Video, Audio, Packets}, {},
                                 "Keeps parallel streams at one position; only joins and the output read its streams"));
    static std::string const increaseSpan = std::to_string(IFilterCacheController::DEFAULT_CACHE_INCREASE_SPAN);
    // No subtitles: where nobody speaks, a cache would take the pause for the end of the stream.
    catalog.push_back(
        Controller(FilterSlots::CACHE_CONTROLLER.name, {Video, Audio},
                   {Integer("CacheIncreaseSpan", 0, MAX_DURATION, MICROSECOND, increaseSpan.c_str(),
                            "How much more is kept behind the reader after a seek back out of the window")},
                   "Keeps a window of items around the position of its streams, so that seeks within it cost nothing"));
}

}  // namespace

std::string_view KindName(GraphKind kind) {
    switch (kind) {
        case GraphKind::Video:
            return "video";
        case GraphKind::Audio:
            return "audio";
        case GraphKind::Subtitle:
            return "subtitle";
        case GraphKind::Packets:
            return "packets";
    }
    TARSEL_THROW(std::invalid_argument, "No such kind of stream: " + std::to_string(static_cast<int>(kind)));
}

bool CatalogEntry::WorksOn(GraphKind kind, std::size_t input) const {
    if (IsOfFurtherKind(input)) return kind == *furtherKind;
    return std::find(kinds.begin(), kinds.end(), kind) != kinds.end();
}

std::vector<CatalogEntry> const& GetSettingsCatalog() {
    static std::vector<CatalogEntry> const catalog = [] {
        std::vector<CatalogEntry> entries;
        AddTimelineFilters(entries);
        AddSoundSources(entries);
        AddSoundFilters(entries);
        AddEffectFilters(entries);
        AddTitleFilters(entries);
        AddPictureFilters(entries);
        AddCropDetector(entries);
        AddPacketFilters(entries);
        AddControllers(entries);
        return entries;
    }();
    return catalog;
}

CatalogEntry const* FindInCatalog(std::string const& classId) {
    auto const& catalog = GetSettingsCatalog();
    auto const found = std::find_if(catalog.begin(), catalog.end(),
                                    [&](CatalogEntry const& entry) { return entry.classId == classId; });
    return found == catalog.end() ? nullptr : &*found;
}

bool IsNamedLayout(Conf::ChannelLayout layout) {
    auto const layouts = NamedLayouts();
    return std::any_of(layouts.begin(), layouts.end(),
                       [&](SettingField::Choice const& choice) { return choice.value == std::to_string(layout); });
}

Core::Property MakeDefaultProperty(CatalogEntry const& entry) {
    Core::Property property(entry.settingsId);
    if (entry.isFreeTree) return property.Add(Core::Property("Metadata"));
    for (SettingField const& field : entry.fields) {
        if (field.defaultValue.empty() && !field.isOptional) continue;
        if (field.isOwnValue)
            property.SetValue(field.defaultValue);
        else
            property.SetChild(field.GetChildName(), field.defaultValue);
    }
    return property;
}

std::unique_ptr<Settings> MakeSettings(std::string const& classId, Core::Property const& property) {
    CatalogEntry const* const entry = FindInCatalog(classId);
    if (!entry) TARSEL_THROW(FilterException, "There is no class " + classId + " that a graph can name");
    if (!entry->make) TARSEL_THROW(FilterException, classId + " takes no settings object");
    return entry->make(property);
}

}  // namespace Tarsel::Host
