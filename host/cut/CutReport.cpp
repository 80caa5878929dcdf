#include "host/cut/CutReport.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <nlohmann/json.hpp>

#include "host/cut/RangeText.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

constexpr int SVG_WIDTH = 1000;
constexpr int SVG_LABEL = 170;
constexpr int SVG_ROW = 34;
constexpr int SVG_TOP = 40;

char const* Color(CutStretch::Kind kind) {
    switch (kind) {
        case CutStretch::Kind::Kept:
            return "#3b7a57";
        case CutStretch::Kind::Recoded:
            return "#e0a030";
        case CutStretch::Kind::Removed:
            break;
    }
    return "#d8d8d8";
}

char const* Word(CutStretch::Kind kind) {
    switch (kind) {
        case CutStretch::Kind::Kept:
            return "copied";
        case CutStretch::Kind::Recoded:
            return "encoded again";
        case CutStretch::Kind::Removed:
            break;
    }
    return "removed";
}

std::string Escape(std::string const& text) {
    std::string out;
    for (char const c : text) {
        switch (c) {
            case '&':
                out += "&amp;";
                break;
            case '<':
                out += "&lt;";
                break;
            case '>':
                out += "&gt;";
                break;
            case '"':
                out += "&quot;";
                break;
            default:
                out += c;
        }
    }
    return out;
}

/// Three decimals, with a point whatever the locale.
std::string Fixed(double value) {
    std::array<char, 64> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value, std::chars_format::fixed, 3).ptr};
}

/// One character per column: the kind that matters most in it, so that a short recoded stretch stays visible.
std::string Bar(CutStreamReport const& stream, int64 duration, int columns) {
    std::string bar(static_cast<std::size_t>(columns), '=');
    if (duration <= 0) return bar;
    auto const paint = [&](CutStretch::Kind kind, char character) {
        for (CutStretch const& stretch : stream.stretches) {
            if (stretch.kind != kind || stretch.end <= stretch.begin) continue;
            int64 const first = std::clamp<int64>(stretch.begin * columns / duration, 0, columns - 1);
            int64 const last = std::clamp<int64>((stretch.end * columns - 1) / duration, first, columns - 1);
            std::fill(bar.begin() + first, bar.begin() + last + 1, character);
        }
    };
    paint(CutStretch::Kind::Removed, '.');
    paint(CutStretch::Kind::Recoded, '#');
    return bar;
}

std::string Label(CutStreamReport const& stream) {
    std::string label = "#";
    label += std::to_string(stream.index);
    label += " " + stream.kind + " " + stream.codec;
    return label;
}

std::string Counts(CutStreamReport const& stream) {
    std::string text = std::to_string(stream.packetsCopied) + " packets copied";
    if (stream.packetsRecoded != 0) text += ", " + std::to_string(stream.packetsRecoded) + " encoded again";
    text += ", " + std::to_string(stream.packetsDropped) + " dropped";
    if (stream.mode == CutMode::Recode || stream.mode == CutMode::Gop)
        text += "; groups: " + std::to_string(stream.groupsCopied) + " copied, " +
                std::to_string(stream.groupsRecoded) + " encoded again, " + std::to_string(stream.groupsDropped) +
                " dropped";
    return text;
}

}  // namespace

char const* CutModeName(CutMode mode) {
    switch (mode) {
        case CutMode::Recode:
            return "recode";
        case CutMode::Gop:
            return "gop";
        case CutMode::Packet:
            return "packet";
        case CutMode::Reencode:
            break;
    }
    return "reencode";
}

int64 CutReport::GetResultDuration() const {
    int64 left = durationUs;
    for (auto const& [begin, end] : removedUs) left -= end - begin;
    return left;
}

std::string CutReport::ToJson() const {
    Json document;
    document["input"] = input;
    document["output"] = output;
    document["duration_us"] = durationUs;
    document["removed_us"] = Json::array();
    for (auto const& [begin, end] : removedUs) document["removed_us"].push_back({begin, end});
    document["streams"] = Json::array();
    for (CutStreamReport const& stream : streams)
        document["streams"].push_back({{"index", stream.index},
                                       {"kind", stream.kind},
                                       {"codec", stream.codec},
                                       {"mode", CutModeName(stream.mode)},
                                       {"reason", stream.reason},
                                       {"packets_copied", stream.packetsCopied},
                                       {"packets_recoded", stream.packetsRecoded},
                                       {"packets_dropped", stream.packetsDropped},
                                       {"groups_copied", stream.groupsCopied},
                                       {"groups_recoded", stream.groupsRecoded},
                                       {"groups_dropped", stream.groupsDropped}});
    document["warnings"] = warnings;
    document["verified"] = verified ? Json(*verified) : Json(nullptr);
    document["wall_s"] = wallSeconds;
    // Names of files may be in any encoding; a broken sequence is replaced, never a reason to fail.
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string CutReport::ToText(int width) const {
    std::string text = "length " + ShortTime(durationUs) + ", stays " + ShortTime(GetResultDuration()) + "\n";
    for (auto const& [begin, end] : removedUs) text += "removed " + ShortTime(begin) + " - " + ShortTime(end) + "\n";
    std::size_t labelWidth = 0;
    for (CutStreamReport const& stream : streams) labelWidth = std::max(labelWidth, Label(stream).size());
    int const columns = std::clamp(width - static_cast<int>(labelWidth) - 4, 20, 200);
    for (CutStreamReport const& stream : streams) {
        std::string label = Label(stream);
        label.resize(labelWidth, ' ');
        text += label + " [" + Bar(stream, durationUs, columns) + "]\n";
    }
    if (!streams.empty()) text += "(= copied, # encoded again, . removed)\n";
    for (CutStreamReport const& stream : streams) {
        text += Label(stream) + ": " + CutModeName(stream.mode) + ", " + Counts(stream) + "\n";
        if (!stream.reason.empty()) text += "    " + stream.reason + "\n";
    }
    return text;
}

std::string CutReport::ToSvg() const {
    int const height = SVG_TOP + SVG_ROW * static_cast<int>(streams.size()) + 60;
    double const scale = durationUs > 0 ? double(SVG_WIDTH - SVG_LABEL - 20) / double(durationUs) : 0;
    std::string svg = "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + std::to_string(SVG_WIDTH) +
                      "\" height=\"" + std::to_string(height) + "\" font-family=\"sans-serif\" font-size=\"13\">\n";
    svg += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n<text x=\"10\" y=\"24\">" + Escape(input) + ": " +
           ShortTime(durationUs) + ", stays " + ShortTime(GetResultDuration()) + "</text>\n";
    int y = SVG_TOP;
    for (CutStreamReport const& stream : streams) {
        svg += "<text x=\"10\" y=\"" + std::to_string(y + 19) + "\">" + Escape(Label(stream)) + "</text>\n";
        for (CutStretch const& stretch : stream.stretches) {
            svg += "<rect x=\"" + Fixed(SVG_LABEL + double(stretch.begin) * scale) + "\" y=\"" + std::to_string(y) +
                   "\" width=\"" + Fixed(double(stretch.end - stretch.begin) * scale) + "\" height=\"26\" fill=\"" +
                   Color(stretch.kind) + "\"><title>";
            svg += std::string(Word(stretch.kind)) + " " + ShortTime(stretch.begin) + " - " + ShortTime(stretch.end) +
                   "</title></rect>\n";
        }
        y += SVG_ROW;
    }
    int x = SVG_LABEL;
    for (auto const kind : {CutStretch::Kind::Kept, CutStretch::Kind::Recoded, CutStretch::Kind::Removed}) {
        svg += "<rect x=\"" + std::to_string(x) + "\" y=\"" + std::to_string(y + 10) +
               "\" width=\"16\" height=\"16\" fill=\"" + Color(kind) + "\"/><text x=\"" + std::to_string(x + 22) +
               "\" y=\"" + std::to_string(y + 23) + "\">" + Word(kind) + "</text>\n";
        x += 160;
    }
    return svg + "</svg>\n";
}

}  // namespace Tarsel::Host
