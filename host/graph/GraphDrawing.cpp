#include "host/graph/GraphDrawing.h"

#include <sstream>

#include "host/cut/RangeText.h"
#include "host/media/FFmpeg.h"

extern "C" {
#include <libavutil/pixdesc.h>
#include <libavutil/samplefmt.h>
}

namespace Tarsel::Host {

namespace {

/// A text between double quotes. Lines end at "\n", which the language takes as it stands.
std::string DotQuoted(std::string const& text) {
    std::string result = "\"";
    for (char const letter : text) {
        if (letter == '\n') {
            result += "\\n";
            continue;
        }
        if (letter == '"' || letter == '\\') result += '\\';
        // Control characters mean nothing to a drawing.
        result += static_cast<unsigned char>(letter) < 0x20 ? ' ' : letter;
    }
    return result + "\"";
}

std::string Known(char const* name) {
    return name ? name : "?";
}

std::string FormatText(Conf::IFormatCodec const& format) {
    if (auto const* const video = dynamic_cast<Conf::IFormatCodecVideo const*>(&format)) {
        Ratio const rate = video->GetFrameRate();
        return std::to_string(video->GetWidth()) + "x" + std::to_string(video->GetHeight()) + " " +
               Known(av_get_pix_fmt_name(static_cast<AVPixelFormat>(int(video->GetPixelFormat())))) + ", " +
               std::to_string(rate.numerator()) + "/" + std::to_string(rate.denominator()) + " fps";
    }
    if (auto const* const audio = dynamic_cast<Conf::IFormatCodecAudio const*>(&format)) {
        Conf::SampleInfo const& info = audio->GetSampleInfo();
        return std::to_string(info.GetSampleRate()) + " Hz, " + std::to_string(info.GetChannelCount()) + " channels, " +
               Known(av_get_sample_fmt_name(static_cast<AVSampleFormat>(int(info.GetSampleFormat()))));
    }
    return format.GetCodecID();
}

std::string DotName(NodeId id) {
    return "n" + (id < 0 ? "m" + std::to_string(id).substr(1) : std::to_string(id));
}

std::string Label(BuiltNode const& node) {
    std::string text = std::to_string(node.id) + " " + node.classId + "\n";
    if (node.inputs.empty() && node.origin.file)
        text += node.origin.file->GetPath() + " #" + std::to_string(node.origin.info->index) + "\n";
    auto const format = node.GetStream().GetFormatCodecBase();
    int64 const duration = node.GetStream().GetDuration();
    text += std::string(KindName(node.GetKind())) + (format ? ": " + FormatText(*format) : std::string());
    return text + "\n" + (HasValue(duration) ? ShortTime(duration) : "length unknown");
}

}  // namespace

std::string DrawGraph(BuiltGraph const& graph) {
    GraphDocument const& document = graph.GetDocument();
    std::ostringstream text;
    text << "digraph tarsel {\n  rankdir=LR;\n  node [fontsize=10];\n";
    for (BuiltNode const& node : graph.GetNodes()) {
        text << "  " << DotName(node.id) << " [label=" << DotQuoted(Label(node)) << ", shape=ellipse];\n";
        for (NodeId const input : node.inputs) text << "  " << DotName(input) << " -> " << DotName(node.id) << ";\n";
    }
    for (GraphController const& controller : document.controllers) {
        std::string const name = "c" + DotName(controller.id);
        text << "  " << name << " [label=" << DotQuoted(std::to_string(controller.id) + " " + controller.classId)
             << ", shape=box];\n";
        for (GraphController::Stream const& stream : controller.streams)
            text << "  " << name << " -> " << DotName(stream.id) << " [style=dashed];\n";
    }
    text << "  output [label=" << DotQuoted(document.output.IsDry() ? "null" : document.output.file)
         << ", shape=note];\n";
    for (NodeId const id : graph.GetOutputs()) text << "  " << DotName(id) << " -> output;\n";
    text << "}\n";
    return text.str();
}

}  // namespace Tarsel::Host
