#include <CLI/CLI.hpp>
#include <memory>
#include <string>
#include <vector>

#include "host/graph/GraphErrors.h"
#include "host/overlay/OverlayForm.h"
#include "tools/tarsel/GraphRunning.h"
#include "tools/tarsel/Program.h"
#include "tools/tarsel/Terminal.h"
#include "tools/tarsel/Usage.h"

namespace Tarsel::Tool {

namespace {

struct OverlayOptions {
    std::string input;
    std::vector<std::string> texts;
    Host::ShortFormOptions form;
    bool printGraph = false;
    GraphFlags flags;

    // What the texts say, once they have been checked.
    std::vector<Host::OverlayRequest> overlays;
};

void Check(OverlayOptions& options) {
    for (std::string const& text : options.texts) {
        try {
            options.overlays.push_back(Host::ParseOverlay(text));
        } catch (Host::GraphException const& failure) {
            RefuseUsage("--with: " + std::string(failure.what()));
        }
    }
    CheckEncoding(options.form);
}

int Run(OverlayOptions const& options) {
    Host::ShortFormGraph const graph = Host::MakeOverlayGraph(options.input, options.overlays, options.form);
    return RunChangedFile(graph, options.printGraph, options.flags, "drawing");
}

constexpr char FOOTER[] =
    "FILE is a picture (PNG, JPEG, WebP, GIF...), which stays to the end, or a film or an animated GIF or PNG, which "
    "is\n"
    "gone at its own end. The last \"@\" ends its name, so that the name may hold others, and commas. X and Y are the "
    "left\n"
    "and upper edge in pixels, below 0 for what begins outside; odd ones become the even number below. Behind them, "
    "in\n"
    "any order:\n"
    "  start=T         it begins there, counted from MAIN's first picture (0)\n"
    "  alpha=A         how strongly it is drawn, from 0 to 1 (1)\n"
    "  blink=SHOW/HIDE seen and hidden in turns, from time 0 on; without /HIDE hidden as long as seen\n"
    "  loop            a film starts over at its end\n"
    "  still           a film's first picture, to the end\n"
    "  size=WxH        its size on the main picture; a side that is -1 or left out keeps the shape\n"
    "Later ones lie on top of earlier ones, pictures always on top of films. The blinking counts from the first "
    "picture\n"
    "of MAIN: what starts later than SHOW begins hidden. Sound and subtitles are not encoded again where the "
    "container\n"
    "takes them.\nExamples:\n"
    "  tarsel overlay film.mp4 --with logo.png@20,20,alpha=0.6 -o branded.mp4\n"
    "  tarsel overlay film.mp4 --with camera.mp4@940,500,size=320x,start=0:30 --with live.png@20,20,blink=1/0.5 -o "
    "o.mp4";

}  // namespace

void AddOverlayCommand(CLI::App& program, Action& chosen) {
    auto const options = std::make_shared<OverlayOptions>();
    CLI::App& entry = *program.add_subcommand("overlay", "Draws pictures and films over the pictures of a media file");
    entry.add_option("main", options->input, "The media file that is drawn on")->required();
    // One value each time: what follows it may be the input.
    entry.add_option("--with", options->texts, "FILE@X,Y[,OPTION...]: what is drawn, and where; given once for each")
        ->required()
        ->check(CLI::Validator(CheckGiven, ""))
        ->allow_extra_args(false);
    AddChangedFileOptions(entry, options->form, options->printGraph, options->flags);
    entry.footer(FOOTER);
    entry.final_callback([options, &chosen] {
        Check(*options);
        chosen = [options] { return Run(*options); };
    });
}

}  // namespace Tarsel::Tool
