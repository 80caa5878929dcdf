#include "host/crop/CropApply.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsEffectCrop.h"
#include "host/effects/CropRegion.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/KeptStreams.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

namespace {

using Proc::CropInfo;
using RowStep = std::atomic<u32>;

/// Notes at which rows the interlaced pictures that come by can be cut off; the note outlives the graph that failed.
class FieldTap final : public ForwardingStream<Proc::IStreamVideo> {
  public:
    FieldTap(iptr<Proc::IStreamVideo> const& source, std::shared_ptr<RowStep> rowStep)
        : ForwardingStream(source), rowStep(std::move(rowStep)) {}

    iptr<Proc::IDataVideo> Read() override {
        iptr<Proc::IDataVideo> picture = stream->Read();
        if (picture && picture->GetInterlace() != 0) *rowStep = RowStepOfFields(picture->GetPixelFormat());
        return picture;
    }

  private:
    std::shared_ptr<RowStep> const rowStep;  // 0 as long as there was none
};

/// Puts a tap over the pictures of the stream that is cropped.
NodeWrap TapStream(int stream, std::shared_ptr<RowStep> const& rowStep) {
    return [=](BuiltNode const& node, GraphStream given) -> GraphStream {
        auto const* const pictures = std::get_if<iptr<Proc::IStreamVideo>>(&given);
        bool const isSource = node.inputs.empty() && node.origin.info && node.origin.info->index == stream;
        if (!pictures || !isSource) return given;
        return iptr<Proc::IStreamVideo>(MakeShared<FieldTap>(*pictures, rowStep));
    };
}

/// Tells which edges lie elsewhere than where they were found, and why.
void WarnOfEdges(FormMaker& maker, std::string const& stream, CropReport const& report) {
    CropInfo const &kept = report.kept, &found = report.region;
    auto const range = [](u32 begin, u32 end) { return std::to_string(begin) + " to " + std::to_string(end); };
    auto const tell = [&](std::string const& lines, std::string const& now, std::string const& before,
                          std::string const& why) {
        if (now != before)
            maker.Warn(stream + " keeps " + lines + " " + now + " in place of " + before + ", where " + why);
    };
    constexpr char CHROMA[] = "samples of chroma begin";
    tell("columns", range(kept.left, kept.right), range(found.left, found.right), CHROMA);
    tell("rows", range(kept.top, kept.bottom), range(found.top, found.bottom),
         report.keptForFields ? "fields of interlaced pictures can be cut" : CHROMA);
}

/// Adds the pictures of the stream in question, encoded.
void AddCropped(FormMaker& maker, KeptStreams& streams, StreamInfo const& info, CropRequest const& request,
                CropReport const& report, ShortFormOptions const& options) {
    if (!streams.Encodes(StreamKind::Video) && options.videoCodec.empty())
        FailAtPlace("", options.output + ": " + std::string(maker.GetContainer()->name) + " is written with no video");
    NodeId top = maker.AddSource(request.input, streams.Select(info));
    if (report.whole) {
        maker.Warn(request.input + ": " + StreamName(info) + " is encoded anew: " + streams.WhyNoPackets(info));
    } else {
        Core::Property settings(Proc::IFilterApplyEffectsVideo::CLASS_ID);
        settings.Add(Settings2Property(Proc::SettingsEffectCrop(report.kept)));
        top = maker.AddFilter(Proc::IFilterApplyEffectsVideo::CLASS_ID, Proc::ImplNames::TARSEL, settings, {top});
    }
    streams.AddEncoded(info, top);
}

GraphReport RunOnce(CropRequest const& request, CropReport const& report, ShortFormOptions const& options,
                    GraphRunOptions running, std::shared_ptr<RowStep> const& rowStep,
                    ProgressCallback const& progress) {
    ShortFormGraph const graph = MakeCropGraph(request, report, options);
    running.building.opened = graph.files;
    running.building.wrap = TapStream(FindCropStream(*graph.files.front(), request.stream).index, rowStep);
    GraphReport result = RunGraph(graph.document, running, progress);
    result.warnings.insert(result.warnings.begin(), graph.warnings.begin(), graph.warnings.end());
    return result;
}

}  // namespace

ShortFormGraph MakeCropGraph(CropRequest const& request, CropReport const& report, ShortFormOptions const& options) {
    FormMaker maker(options);
    iptr<MediaFile> const file = maker.Open(request.input);
    StreamInfo const& chosen = FindCropStream(*file, request.stream);
    KeptStreams streams(maker, *file, options);
    bool isTaken = false;
    for (StreamInfo const* const info : streams.GetStreams()) {
        if (!streams.HasRoom(*info)) continue;
        bool const isChosen = info->index == chosen.index;
        isTaken = isTaken || isChosen;
        if (isChosen && !(report.whole && streams.WhyNoPackets(*info).empty()))
            AddCropped(maker, streams, *info, request, report, options);
        else
            streams.AddUnchanged(*info);
    }
    if (!isTaken) FailAtPlace("", file->GetPath() + ": " + StreamName(chosen) + " has no room in the output");
    WarnOfEdges(maker, file->GetPath() + ": " + StreamName(chosen), report);
    return maker.Finish();
}

bool IsCropCopy(CropRequest const& request, CropReport const& report, ShortFormOptions const& options) {
    if (!report.whole) return false;
    auto const& sources = MakeCropGraph(request, report, options).document.sources;
    return std::all_of(sources.begin(), sources.end(), [](GraphSource const& source) { return source.packets; });
}

GraphReport RunCrop(CropRequest const& request, CropReport& report, ShortFormOptions const& options,
                    GraphRunOptions const& running, ProgressCallback const& progress) {
    auto const rowStep = std::make_shared<RowStep>(0);
    try {
        return RunOnce(request, report, options, running, rowStep, progress);
    } catch (Exception const&) {
        u32 const step = *rowStep;
        if (report.whole || step == 0 || report.kept.top % step == 0) throw;
    }
    // A film that turns interlaced behind the part that was looked at: no header tells that for all of it. Nearly all
    // films stay as they begin and keep their exact rows; of the others one run is lost, and not the result.
    report.MoveToFields(*rowStep);
    return RunOnce(request, report, options, running, rowStep, progress);
}

}  // namespace Tarsel::Host
