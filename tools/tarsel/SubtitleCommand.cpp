#include <CLI/CLI.hpp>
#include <charconv>
#include <cmath>
#include <memory>
#include <string>

#include "host/cut/RangeText.h"
#include "host/graph/SettingsCatalog.h"
#include "host/titles/SubtitleForm.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

constexpr int OPAQUE = 255;

struct SubtitleOptions {
    std::string input;
    Host::ShortFormOptions form;
    Host::SubtitleFormRequest request;
    std::string stream;
    std::string delay;
    std::string font;
    std::string fontsDir;
    std::string fontSize;
    std::string color;
    std::string outlineColor;
    std::string outline;
    std::string shadow;
    bool bold = false;
    std::string position;
    std::string margin;
    std::string alpha;
    bool printGraph = false;
    GraphFlags flags;
};

/// A whole number within the bounds that a graph file has for the setting; as styled where none is given.
int ReadSetting(char const* option, std::string const& text, char const* key) {
    if (text.empty()) return Proc::SettingsSubtitleDrawer::AS_STYLED;
    for (Host::SettingField const& field : Host::FindInCatalog("FilterSubtitleDrawer")->fields) {
        if (field.key != key) continue;
        int value = 0;
        if (ReadNumber(text, value) && value >= field.minimum && value <= field.maximum) return value;
        RefuseUsage(std::string(option) + ": \"" + text + "\" is not a whole number from " +
                    std::to_string(field.minimum) + " to " + std::to_string(field.maximum));
    }
    return Proc::SettingsSubtitleDrawer::AS_STYLED;
}

int ReadColor(char const* option, std::string const& text) {
    if (text.empty()) return Proc::SettingsSubtitleDrawer::AS_STYLED;
    std::string const digits = text.substr(text.front() == '#' ? 1 : 0);
    unsigned value = 0;
    auto const result = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (digits.size() != 6 || result.ec != std::errc() || result.ptr != digits.data() + digits.size())
        RefuseUsage(std::string(option) + ": \"" + text + "\" is not RRGGBB, six digits from 0 to F");
    return static_cast<int>(value);
}

int ReadAlpha(std::string const& text) {
    if (text.empty()) return OPAQUE;
    double value = 0;
    if (!ReadNumber(text, value) || !(value >= 0 && value <= 1))
        RefuseUsage("--alpha: \"" + text + "\" is not a number from 0 to 1");
    return static_cast<int>(std::lround(value * OPAQUE));
}

/// A time, with a sign where it has one.
int64 ReadDelay(std::string const& text) {
    if (text.empty()) return 0;
    bool const isSigned = text.front() == '-' || text.front() == '+';
    auto const time = Host::ParseTime(text.substr(isSigned ? 1 : 0));
    if (!time) RefuseUsage("--delay: \"" + text + "\" is not a time (1.5, -0.25, 500ms), of thirty days at most");
    return text.front() == '-' ? -*time : *time;
}

void Check(SubtitleOptions& options) {
    Host::SubtitleFormRequest& request = options.request;
    if (!options.stream.empty()) {
        int number = -1;
        if (!ReadNumber(options.stream, number) || number < 0)
            RefuseUsage("--stream: \"" + options.stream + "\" is not the number of a subtitle stream, counted from 0");
        request.stream = number;
    }
    request.delay = ReadDelay(options.delay);
    Proc::SettingsSubtitleDrawer& settings = request.settings;
    settings.SetFontName(options.font);
    settings.SetFontsDir(options.fontsDir);
    settings.SetFontSize(ReadSetting("--font-size", options.fontSize, "FontSize"));
    settings.SetColor(ReadColor("--color", options.color));
    settings.SetOutlineColor(ReadColor("--outline-color", options.outlineColor));
    settings.SetOutline(ReadSetting("--outline", options.outline, "Outline"));
    settings.SetShadow(ReadSetting("--shadow", options.shadow, "Shadow"));
    if (options.bold) settings.SetBold(1);
    settings.SetAlignment(ReadSetting("--position", options.position, "Alignment"));
    settings.SetMarginV(ReadSetting("--margin", options.margin, "MarginV"));
    settings.SetAlpha(ReadAlpha(options.alpha));
    CheckEncoding(options.form);
}

int Run(SubtitleOptions const& options) {
    Host::ShortFormGraph const graph = Host::MakeSubtitleGraph(options.input, options.request, options.form);
    return RunChangedFile(graph, options.printGraph, options.flags, "drawing subtitles");
}

void AddLook(CLI::App& entry, SubtitleOptions& options) {
    auto const add = [&](char const* name, std::string& value, char const* what) {
        entry.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    add("--font", options.font, "Family of fonts in place of the subtitles' own");
    add("--fonts-dir", options.fontsDir, "A folder with font files that are known beside the installed ones");
    add("--font-size", options.fontSize, "Height of a line in pixels of the picture");
    add("--color", options.color, "Colour of the letters, RRGGBB");
    add("--outline-color", options.outlineColor, "Colour of the line around them, RRGGBB");
    add("--outline", options.outline, "Width of that line in pixels, 0 to 100");
    add("--shadow", options.shadow, "Distance of the shadow in pixels, 0 to 100");
    entry.add_flag("--bold", options.bold, "Bold letters");
    add("--position", options.position, "Where lines stand, as the keys of a numeric keypad: 2 below, 8 above");
    add("--margin", options.margin, "Distance from the lower or upper edge in pixels");
    add("--alpha", options.alpha, "How strongly they are drawn, bitmaps as well: 0 (not at all) to 1 (1)");
}

constexpr char FOOTER[] =
    "Without --subs the first subtitle stream of the input is drawn; with --stream another one, which with --subs is\n"
    "counted in that file. SRT, ASS, WebVTT and the bitmaps of DVD, DVB and Blu-ray (PGS) are known; how they look\n"
    "can be told of texts only. What isn't told stays as the subtitles say it. Sound and other subtitles are not\n"
    "encoded again where the container takes them.\nExamples:\n"
    "  tarsel subtitle film.mkv -o film.mp4\n"
    "  tarsel subtitle film.mp4 --subs film.srt --charset CP1252 --delay -0.25 --font-size 32 -o titled.mp4";

}  // namespace

void AddSubtitleCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<SubtitleOptions>();
    CLI::App& entry = *program.add_subcommand("subtitle", "Draws subtitles on the pictures of a media file");
    auto const add = [&](char const* name, std::string& value, char const* what) {
        entry.add_option(name, value, what)->check(CLI::Validator(CheckGiven, ""));
    };
    entry.add_option("input", options->input, "The media file")->required();
    add("--subs", options->request.file, "The file that holds the subtitles (the input itself)");
    add("--stream", options->stream, "Which of its subtitle streams, counted from 0 (0)");
    add("--delay", options->delay, "How much later they come (1.5, 500ms); below 0 earlier (-0.25)");
    add("--charset", options->request.charset, "Encoding of a file of texts, as iconv names it (UTF-8)");
    AddLook(entry, *options);
    AddChangedFileOptions(entry, options->form, options->printGraph, options->flags);
    entry.footer(FOOTER);
    entry.final_callback([options, &chosen] {
        Check(*options);
        chosen = [options] { return Run(*options); };
    });
}

}  // namespace Tarsel::Tool
