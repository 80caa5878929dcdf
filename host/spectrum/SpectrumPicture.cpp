#include "host/spectrum/SpectrumPicture.h"

#include <nlohmann/json.hpp>
#include <optional>

#include "contracts/Core/Exception.h"
#include "host/cut/RangeText.h"
#include "host/graph/GraphBuilder.h"
#include "host/media/PngEncoder.h"
#include "host/media/SeekTogether.h"
#include "host/media/TextFile.h"

namespace Tarsel::Host {

namespace {

/// Null where the sound has come to its end.
iptr<Proc::IDataVideo> ReadPicture(BuiltGraph const& graph, SpectrumPictureRequest const& request) {
    auto const& stream = std::get<iptr<Proc::IStreamVideo>>(graph.GetNode(graph.GetOutputs().front()).stream);
    int64 const period = SpectrumPeriod(request.spectrum.picture);
    SeekTogether({{stream.get(), request.at / period * period}});
    iptr<Proc::IDataVideo> picture = stream->Read();
    // A seek is held at the stream's end, and the last picture is shorter than the others.
    if (picture && AddTime(picture->GetTime(), picture->GetDuration()) <= request.at) return nullptr;
    return picture;
}

}  // namespace

std::string SpectrumPictureReport::ToJson() const {
    nlohmann::ordered_json document;
    document["output"] = output.empty() ? nlohmann::ordered_json(nullptr) : nlohmann::ordered_json(output);
    document["width"] = width;
    document["height"] = height;
    document["begin_us"] = beginUs;
    document["end_us"] = endUs;
    document["warnings"] = warnings;
    return document.dump(2);
}

std::string SpectrumPictureReport::ToText() const {
    return (output.empty() ? "drawn" : output) + ": " + std::to_string(width) + "x" + std::to_string(height) +
           ", the sound from " + ShortTime(beginUs) + " to " + ShortTime(endUs) + "\n";
}

SpectrumPictureReport WriteSpectrumPicture(SpectrumPictureRequest const& request) {
    if (request.at < 0 || request.at > MAX_DURATION)
        TARSEL_THROW(std::invalid_argument, "there is no picture at " + std::to_string(request.at) + " microseconds");
    ShortFormGraph const form = MakeSpectrumGraph(request.input, request.spectrum, {});
    // Refused ahead of the work.
    std::optional<TextFile> output;
    if (!request.dryRun) output.emplace(request.output, request.force, std::vector<std::string>{request.input});
    auto const graph = BuildGraph(form.document, {.opened = form.files});
    iptr<Proc::IDataVideo> const picture = ReadPicture(*graph, request);
    if (!picture) TARSEL_THROW(Core::IOException, request.input + ": there is no sound at " + ShortTime(request.at));
    if (output) output->Write(PngEncoder().Encode(*picture));

    SpectrumPictureReport report;
    if (output) report.output = request.output;
    report.width = picture->GetWidth();
    report.height = picture->GetHeight();
    report.beginUs = picture->GetTime();
    report.endUs = AddTime(picture->GetTime(), picture->GetDuration());
    report.warnings = form.warnings;
    auto const& found = form.files.front()->GetWarnings();
    report.warnings.insert(report.warnings.end(), found.begin(), found.end());
    return report;
}

}  // namespace Tarsel::Host
