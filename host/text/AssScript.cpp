#include "host/text/AssScript.h"

#include <ass/ass.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "contracts/Core/Exception.h"

namespace Tarsel::Host {

using Proc::SettingsSubtitleDrawer;

namespace {

/// Lines of the stage where there is no header.
constexpr int STAGE_HEIGHT = 288;
constexpr int MAX_STAGE_WIDTH = 1 << 20;
/// Embedded fonts are in it.
constexpr std::size_t MAX_HEADER = 1 << 30;

// An encoding of -1 lets a line's first letter say whether it runs from the left or from the right.
constexpr char DEFAULT_HEADER[] =
    "[Script Info]\nScriptType: v4.00+\nScaledBorderAndShadow: yes\nWrapStyle: 0\n"
    "[V4+ Styles]\nFormat: Name, Fontname, Fontsize, PrimaryColour, SecondaryColour, OutlineColour, BackColour, Bold, "
    "Italic, Underline, StrikeOut, ScaleX, ScaleY, Spacing, Angle, BorderStyle, Outline, Shadow, Alignment, MarginL, "
    "MarginR, MarginV, Encoding\n"
    "Style: Default,sans-serif,18,&H00FFFFFF,&H00FFFFFF,&H00000000,&H80000000,0,0,0,0,100,100,0,0,1,1.2,0,2,12,12,12,"
    "-1\n[Events]\nFormat: Layer, Start, End, Style, Name, MarginL, MarginR, MarginV, Effect, Text\n";

bool IsBlank(std::string const& text) {
    return std::all_of(text.begin(), text.end(), [](char letter) { return static_cast<unsigned char>(letter) <= ' '; });
}

/// The library frees its strings itself.
char* Copied(std::string const& text) {
    return strdup(text.c_str());
}

/// The colour with the alpha that the style has.
u32 Recoloured(u32 styled, int rgb) {
    return static_cast<u32>(rgb) << 8 | (styled & 255);
}

/// Keys of a numeric keypad as the library counts them.
int AlignmentOf(int key) {
    static constexpr int ROWS[] = {VALIGN_SUB, VALIGN_CENTER, VALIGN_TOP};
    return ROWS[(key - 1) / 3] | ((key - 1) % 3 + 1);
}

/// What a script that names one side of its stage, or none, means by the other: the shape of old screens.
void CompleteStage(ass_track& track) {
    int& width = track.PlayResX;
    int& height = track.PlayResY;
    if (width <= 0 && height <= 0) {
        width = 384;
        height = 288;
    } else if (height <= 0) {
        height = width == 1280 ? 1024 : std::max(1, static_cast<int>(width * 3.0 / 4));
    } else if (width <= 0) {
        width = height == 1024 ? 1280 : std::max(1, static_cast<int>(std::min(height * 4.0 / 3, 2147483647.0)));
    }
}

/// Whether all styles ask for it. The first one is the library's own.
bool LetLettersSayDirections(ass_track const& track) {
    return track.n_styles > 1 && std::all_of(track.styles + 1, track.styles + track.n_styles,
                                             [](ASS_Style const& style) { return style.Encoding == -1; });
}

}  // namespace

AssScript::AssScript(ass_library& library, std::string ownHeader, SettingsSubtitleDrawer drawing)
    : header(std::move(ownHeader)), settings(std::move(drawing)), hasHeader(!IsBlank(header)) {
    ass_set_extract_fonts(&library, 1);
    track.reset(ass_new_track(&library));
    if (!track) TARSEL_THROW(Proc::FilterException, "The engine that draws text has no memory for a script");
    std::string text = hasHeader ? header : DEFAULT_HEADER;
    text += '\n';
    if (text.size() > MAX_HEADER)
        TARSEL_THROW(Proc::FilterException, "The header of the subtitles has " + std::to_string(text.size()) +
                                                " bytes, more than " + std::to_string(MAX_HEADER));
    ass_process_codec_private(track.get(), text.data(), static_cast<int>(text.size()));
    ass_flush_events(track.get());
    if (hasHeader) CompleteStage(*track);
    // Scripts that have it otherwise are made for programs that know no pairs of brackets. Old libraries don't, either.
    if (LetLettersSayDirections(*track)) ass_track_set_feature(track.get(), ASS_FEATURE_BIDI_BRACKETS, 1);
    // In front of the script's own styles stands one of the library, in thin letters.
    track->styles[0].Bold = 0;
    int const named = FindStyle("Default");
    fallbackStyle = named > 0 ? named : std::min(1, track->n_styles - 1);
    if (settings.GetFontName().empty()) return;
    for (ASS_Style* style = track->styles; style != track->styles + track->n_styles; ++style) {
        std::free(style->FontName);
        style->FontName = Copied(settings.GetFontName());
    }
}

bool AssScript::HasFonts() const {
    return hasHeader && header.find("[Fonts]") != std::string::npos;
}

void AssScript::FitTo(Conf::FrameInfo const& info) {
    if (!hasHeader) {
        double const shape = double(info.width) * info.pixelAspectNum / (double(info.height) * info.pixelAspectDen);
        track->PlayResY = STAGE_HEIGHT;
        track->PlayResX = static_cast<int>(std::clamp<double>(std::round(STAGE_HEIGHT * shape), 1, MAX_STAGE_WIDTH));
    }
    double const unit = double(track->PlayResY) / info.height;
    double const lineUnit = track->ScaledBorderAndShadow ? unit : 1;
    auto const isSet = [](int value) { return value != SettingsSubtitleDrawer::AS_STYLED; };
    for (ASS_Style* style = track->styles; style != track->styles + track->n_styles; ++style) {
        if (isSet(settings.GetFontSize())) style->FontSize = std::clamp(settings.GetFontSize(), 1, 4096) * unit;
        if (isSet(settings.GetOutline())) style->Outline = std::clamp(settings.GetOutline(), 0, 100) * lineUnit;
        if (isSet(settings.GetShadow())) style->Shadow = std::clamp(settings.GetShadow(), 0, 100) * lineUnit;
        if (isSet(settings.GetColor())) style->PrimaryColour = Recoloured(style->PrimaryColour, settings.GetColor());
        if (isSet(settings.GetOutlineColor()))
            style->OutlineColour = Recoloured(style->OutlineColour, settings.GetOutlineColor());
        if (isSet(settings.GetBold())) style->Bold = settings.GetBold() != 0;
        if (isSet(settings.GetAlignment())) style->Alignment = AlignmentOf(std::clamp(settings.GetAlignment(), 1, 9));
        if (isSet(settings.GetMarginV()))
            style->MarginV = static_cast<int>(std::lround(std::clamp(settings.GetMarginV(), 0, 8192) * unit));
    }
}

int AssScript::FindStyle(std::string name) const {
    name.erase(0, std::min(name.find_first_not_of('*'), name.size()));
    if (strcasecmp(name.c_str(), "Default") == 0) name = "Default";
    for (int i = track->n_styles - 1; i >= 0; --i)
        if (track->styles[i].Name && name == track->styles[i].Name) return i;
    return -1;
}

bool AssScript::Add(AssLine const& line) {
    int const index = ass_alloc_event(track.get());
    if (index < 0) TARSEL_THROW(Proc::FilterException, "The engine that draws text has no memory for a line");
    int const style = FindStyle(line.style);
    ASS_Event& event = track->events[index];
    event.Start = line.start;
    event.Duration = line.end - line.start;
    event.ReadOrder = index;
    event.Layer = line.layer;
    event.Style = style < 0 ? fallbackStyle : style;
    event.Name = Copied(line.name);
    event.MarginL = line.marginLeft;
    event.MarginR = line.marginRight;
    event.MarginV = line.marginVertical;
    event.Effect = Copied(line.effect);
    event.Text = Copied(line.text);
    return style >= 0;
}

void AssScript::ClearEvents() {
    ass_flush_events(track.get());
}

}  // namespace Tarsel::Host
