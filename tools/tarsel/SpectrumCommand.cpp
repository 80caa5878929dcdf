#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>
#include <limits>
#include <memory>
#include <optional>
#include <string>

#include "host/cut/RangeText.h"
#include "host/graph/GraphWriter.h"
#include "host/spectrum/SpectrumPicture.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

constexpr int LARGEST_SIDE = 8192;
constexpr int HIGHEST_PICTURE_RATE = 1000;
constexpr int HIGHEST_STREAM = 1000000;

struct SpectrumArguments {
    Host::SpectrumPictureRequest request;
    Host::ShortFormOptions form;
    std::string size;
    std::string rate;
    std::string bars;
    std::string stream;
    std::string at;
    std::string background;
    bool logarithmic = false;
    bool printGraph = false;
    GraphFlags flags;

    bool isPicture = false;
};

/// A whole number from `lowest` to `highest`, and nothing else in the text.
std::optional<int> ReadWithin(std::string const& text, int lowest, int highest, int base = 10) {
    char const* const end = text.data() + text.size();
    int value = 0;
    auto const result = std::from_chars(text.data(), end, value, base);
    if (result.ec != std::errc() || result.ptr != end || value < lowest || value > highest) return {};
    return value;
}

int RequireNumber(char const* option, std::string const& text, int lowest, int highest) {
    auto const value = ReadWithin(text, lowest, highest);
    if (!value)
        RefuseUsage(std::string(option) + ": \"" + text + "\" is not a number from " + std::to_string(lowest) + " to " +
                    std::to_string(highest));
    return *value;
}

void ReadSize(std::string const& text, Proc::SettingsAudioHistogram& picture) {
    std::size_t const cross = text.find('x');
    auto const width = ReadWithin(text.substr(0, cross), 1, LARGEST_SIDE);
    auto const height = cross == std::string::npos ? std::nullopt : ReadWithin(text.substr(cross + 1), 1, LARGEST_SIDE);
    if (!width || !height)
        RefuseUsage("--size: \"" + text + "\" is not WIDTHxHEIGHT, both from 1 to " + std::to_string(LARGEST_SIDE));
    picture.SetWidth(static_cast<uint32>(*width));
    picture.SetHeight(static_cast<uint32>(*height));
}

void ReadBackground(std::string const& text, Proc::SettingsAudioHistogram& picture) {
    constexpr std::size_t DIGITS = 6;
    constexpr int HEXADECIMAL = 16;
    auto const colour = text.size() == DIGITS ? ReadWithin(text, 0, 0xFFFFFF, HEXADECIMAL) : std::nullopt;
    if (!colour) RefuseUsage("--background: \"" + text + "\" is not RRGGBB, six hexadecimal digits");
    picture.SetBackgroundColour(
        {static_cast<u8>(*colour >> 16), static_cast<u8>(*colour >> 8), static_cast<u8>(*colour)});
}

bool EndsInPng(std::string path) {
    std::transform(path.begin(), path.end(), path.begin(),
                   [](unsigned char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : char(c); });
    return path.ends_with(".png");
}

/// What belongs to the one form of output alone.
void CheckForm(SpectrumArguments const& arguments) {
    if (!arguments.isPicture) {
        if (!arguments.at.empty()) RefuseUsage("--at needs an output that ends in .png");
        return;
    }
    auto const refuse = [](bool given, char const* option) {
        if (given) RefuseUsage(std::string(option) + " needs an output that is a video");
    };
    refuse(arguments.request.spectrum.withAudio, "--with-audio");
    refuse(!arguments.form.videoCodec.empty(), "--video-codec");
    refuse(arguments.form.quality.has_value(), "--quality");
    refuse(!arguments.form.audioCodec.empty(), "--audio-codec");
    refuse(arguments.printGraph, "--print-graph");
    refuse(arguments.flags.stats, "--stats");
}

void Check(SpectrumArguments& arguments) {
    Host::SpectrumPictureRequest& request = arguments.request;
    Proc::SettingsAudioHistogram& picture = request.spectrum.picture;
    request.output = arguments.form.output;
    arguments.isPicture = EndsInPng(request.output);
    if (!arguments.size.empty()) ReadSize(arguments.size, picture);
    if (!arguments.rate.empty())
        picture.SetPicturesPerSecond(RequireNumber("--rate", arguments.rate, 1, HIGHEST_PICTURE_RATE));
    if (!arguments.bars.empty())
        picture.SetBarCount(static_cast<uint32>(RequireNumber("--bars", arguments.bars, 1, LARGEST_SIDE)));
    if (!arguments.stream.empty())
        request.spectrum.stream = RequireNumber("--stream", arguments.stream, 0, HIGHEST_STREAM);
    if (!arguments.background.empty()) ReadBackground(arguments.background, picture);
    if (arguments.logarithmic) picture.SetScale(Proc::SettingsAudioHistogram::SCALE_LOGARITHMIC);
    if (!arguments.at.empty()) {
        auto const time = Host::ParseTime(arguments.at);
        if (!time) RefuseUsage("--at: \"" + arguments.at + "\" is not a time");
        request.at = *time;
    }
    if (!arguments.form.audioCodec.empty() && !request.spectrum.withAudio)
        RefuseUsage("--audio-codec needs --with-audio");
    CheckForm(arguments);
    if (!arguments.isPicture) CheckEncoding(arguments.form);
}

int WritePicture(SpectrumArguments const& arguments) {
    Host::SpectrumPictureRequest request = arguments.request;
    request.force = arguments.flags.force;
    request.dryRun = arguments.flags.dryRun;
    Host::SpectrumPictureReport const report = Host::WriteSpectrumPicture(request);
    PrintWarnings(report.warnings);
    PrintOutput(arguments.flags.json ? report.ToJson() + "\n" : report.ToText());
    return arguments.flags.strict && !report.warnings.empty() ? EXIT_WARNINGS : EXIT_DONE;
}

int WriteVideo(SpectrumArguments const& arguments) {
    Host::ShortFormGraph const graph =
        Host::MakeSpectrumGraph(arguments.request.input, arguments.request.spectrum, arguments.form);
    if (arguments.printGraph) {
        PrintWarnings(graph.warnings);
        PrintOutput(Host::WriteGraph(graph.document));
        return EXIT_DONE;
    }
    Host::GraphRunOptions running;
    running.building.opened = graph.files;
    running.chaptersUntil = std::numeric_limits<int64>::max();
    return RunAndReport(graph.document, running, arguments.flags, "drawing", graph.warnings);
}

}  // namespace

void AddSpectrumCommand(CLI::App& program, Action& chosen) {
    auto const arguments = std::make_shared<SpectrumArguments>();
    CLI::App& command = *program.add_subcommand("spectrum", "Draws the spectrum of sound as a video or a picture");
    command.add_option("input", arguments->request.input, "The media file")->required();
    command
        .add_option("-o,--output", arguments->form.output,
                    "Where the result goes: a picture when it ends in .png, else a video of that container")
        ->required();
    auto const add = [&](char const* name, std::string& value, char const* what) {
        command.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    add("--size", arguments->size, "Size of the pictures (640x360)");
    add("--rate", arguments->rate, "Pictures a second (25)");
    add("--bars", arguments->bars, "Bars side by side, up to 15804 Hz together (32)");
    command.add_flag("--log", arguments->logarithmic, "Let the bars follow the logarithm of the sound");
    add("--stream", arguments->stream, "Which of the file's audio streams, counted from 0 (0)");
    add("--background", arguments->background, "Colour between the bars as RRGGBB (000000)");
    add("--at", arguments->at, "Which picture becomes the .png: the one at this time (0)");
    command.add_flag("--with-audio", arguments->request.spectrum.withAudio, "Let the sound go along with the video");
    add("--video-codec", arguments->form.videoCodec, "Codec of the pictures (h264, hevc, vp9, mpeg4...)");
    add("--audio-codec", arguments->form.audioCodec, "Codec of the sound (aac, opus, mp3, flac...)");
    command.add_option("--quality", arguments->form.quality,
                       "Constant quality of the pictures on the codec's own scale, lower is better (h264: 18)");
    command.add_flag("--print-graph", arguments->printGraph, "Print the graph file that the command stands for");
    AddGraphFlags(command, arguments->flags);
    command.footer(
        "Examples:\n  tarsel spectrum song.flac -o song.mp4 --with-audio --log\n"
        "  tarsel spectrum song.flac -o chorus.png --at 1:30 --size 1280x720");
    command.final_callback([arguments, &chosen] {
        Check(*arguments);
        chosen = [arguments] { return arguments->isPicture ? WritePicture(*arguments) : WriteVideo(*arguments); };
    });
}

}  // namespace Tarsel::Tool
