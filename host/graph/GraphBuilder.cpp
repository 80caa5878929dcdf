#include "host/graph/GraphBuilder.h"

#include <algorithm>
#include <deque>
#include <functional>
#include <set>
#include <string_view>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/FilterCacheData.h"
#include "contracts/Proc/ICropDetector.h"
#include "contracts/Proc/IFilterApplyEffects.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IFilterAudioMixer.h"
#include "contracts/Proc/IFilterCutController.h"
#include "contracts/Proc/IFilterFrameRate.h"
#include "contracts/Proc/IFilterLosslessDetect.h"
#include "contracts/Proc/IFilterRepeatController.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IFilterResize.h"
#include "contracts/Proc/IFilterVolumeDetect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/RenamedProperty.h"
#include "contracts/Proc/SampleInfoProperty.h"
#include "contracts/Proc/SettingsFilterRepeat.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "contracts/Proc/SettingsResizer.h"
#include "contracts/Proc/TIFilterJoin.h"
#include "contracts/Proc/TIFilterRepeat.h"
#include "host/crop/CropDetectStream.h"
#include "host/cut/CutCodecs.h"
#include "host/graph/CachedStream.h"
#include "host/graph/EffectNodes.h"
#include "host/graph/Factories.h"
#include "host/graph/GraphChecks.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/NodeMeter.h"
#include "host/media/AudioDecoder.h"
#include "host/media/ContinuousAudio.h"
#include "host/media/DecoderCore.h"
#include "host/media/NativeParameters.h"
#include "host/media/VideoDecoder.h"
#include "host/overlay/VideoMixerNode.h"
#include "host/sound/VolumeDetectStream.h"
#include "host/subtitles/SubtitleSource.h"
#include "host/text/OverlayFactory.h"
#include "host/titles/TitleNode.h"

namespace Tarsel::Host {

using namespace Proc;
namespace Slots = FilterSlots;

namespace {

/// More decoders than that get one thread each.
constexpr std::size_t MAX_THREADED_DECODERS = 4;
constexpr char COUNT[] = "Count";
constexpr char CACHE_INCREASE_SPAN[] = "CacheIncreaseSpan";

std::string_view HeaderOf(Conf::IFormatCodec const& format) {
    auto const blob = format.GetExtradata();
    return blob ? std::string_view(reinterpret_cast<char const*>(blob->GetData()), blob->GetSize())
                : std::string_view();
}

/// Whether the packets bring what is needed to decode them, so that the header is only a copy of it.
bool CarriesHeaders(AVCodecID codec, std::string_view header) {
    bool const startCode =
        header.starts_with(std::string_view("\0\0\1", 3)) || header.starts_with(std::string_view("\0\0\0\1", 4));
    bool const parameterSets = codec == AV_CODEC_ID_H264 || codec == AV_CODEC_ID_HEVC;
    return codec == AV_CODEC_ID_MPEG1VIDEO || codec == AV_CODEC_ID_MPEG2VIDEO || codec == AV_CODEC_ID_AV1 ||
           codec == AV_CODEC_ID_FLAC || (parameterSets && (header.empty() || startCode));
}

std::string ShapeOf(AVCodecParameters const& parameters) {
    std::string const name = avcodec_get_name(parameters.codec_id);
    if (parameters.codec_type == AVMEDIA_TYPE_VIDEO)
        return name + " of " + std::to_string(parameters.width) + "x" + std::to_string(parameters.height);
    if (parameters.codec_type == AVMEDIA_TYPE_AUDIO)
        return name + " of " + std::to_string(parameters.sample_rate) + " Hz and " +
               std::to_string(parameters.ch_layout.nb_channels) + " channels";
    return name;
}

/// Why the packets of one stream can't stand behind those of another; empty when they can, or nothing is known.
std::string WhyNoContinuation(Conf::IFormatCodec const& first, Conf::IFormatCodec const& other) {
    NativeParameters const* const firstNative = FindNativeParameters(first);
    NativeParameters const* const otherNative = FindNativeParameters(other);
    if (!firstNative || !otherNative) return {};
    std::string const shape = ShapeOf(*firstNative->parameters);
    std::string const otherShape = ShapeOf(*otherNative->parameters);
    if (shape != otherShape) return otherShape + " behind " + shape;
    AVCodecID const codec = firstNative->parameters->codec_id;
    std::string_view const header = HeaderOf(first);
    std::string_view const otherHeader = HeaderOf(other);
    if (header == otherHeader || (CarriesHeaders(codec, header) && CarriesHeaders(codec, otherHeader))) return {};
    return "their headers differ";
}

/// A node that waits for its inputs: a filter, or a stream of a controller.
struct NodePlan {
    GraphFilter const* filter = nullptr;
    GraphController const* controller = nullptr;
    std::size_t number = 0;  // of the controller's stream

    NodeId GetId() const { return filter ? filter->id : controller->streams[number].id; }
    std::vector<NodeId> GetInputs() const {
        return filter ? filter->inputs : std::vector<NodeId>{controller->streams[number].input};
    }
};

template <class T>
GraphStream Metered(iptr<T> stream, iptr<NodeRecord> record, int64 limit) {
    return iptr<T>(MakeShared<NodeMeter<T>>(std::move(stream), std::move(record), limit));
}

template <class T>
iptr<T> Cached(iptr<T> stream, iptr<IFilterCacheController> controller) {
    return MakeShared<CachedStream<T>>(std::move(stream), std::move(controller));
}
/// Packets aren't cached.
iptr<IStreamRaw> Cached(iptr<IStreamRaw> stream, iptr<IFilterCacheController> const&) {
    return stream;
}

}  // namespace

IStream& BuiltNode::GetStream() const {
    return std::visit([](auto const& typed) -> IStream& { return *typed; }, stream);
}

std::vector<NodeId> BuiltGraph::GetOutputs() const {
    std::vector<NodeId> outputs;
    for (GraphOutput::Stream const& stream : document.output.streams) outputs.push_back(stream.input);
    if (!outputs.empty()) return outputs;
    std::set<NodeId> read;
    for (BuiltNode const& node : nodes) read.insert(node.inputs.begin(), node.inputs.end());
    for (BuiltNode const& node : nodes)
        if (read.count(node.id) == 0) outputs.push_back(node.id);
    return outputs;
}

std::vector<iptr<IFilterCacheController>> BuiltGraph::GetCacheControllers() const {
    std::vector<iptr<IFilterCacheController>> caches;
    for (auto const& [id, controller] : controllers)
        if (auto* const cache = dynamic_cast<IFilterCacheController*>(controller.get())) caches.emplace_back(cache);
    return caches;
}

class GraphBuilder {
  public:
    GraphBuilder(BuiltGraph& graph, GraphBuildOptions const& options)
        : graph(graph),
          document(graph.GetDocument()),
          options(options),
          factory(MakeFilterFactory()),
          effects(MakeEffectFactory()),
          overlays(MakeOverlayFactory([warnings = graph.warnings](std::string const& text) { warnings->Add(text); })) {
        graph.sources.Offer(options.opened);
    }

    void Build() {
        for (GraphSource const& source : document.sources) BuildSource(source);
        FindReaders();
        std::deque<NodePlan> plans = MakePlans();
        // A plan whose inputs aren't there yet waits for its first missing one.
        std::map<NodeId, std::vector<NodePlan>> waiting;
        while (!plans.empty()) {
            NodePlan const plan = plans.front();
            plans.pop_front();
            std::vector<NodeId> const inputs = plan.GetInputs();
            auto const missing = std::find_if(inputs.begin(), inputs.end(),
                                              [&](NodeId input) { return graph.places.count(input) == 0; });
            if (missing != inputs.end()) {
                waiting[*missing].push_back(plan);
                continue;
            }
            BuildNode(plan);
            auto const ready = waiting.extract(plan.GetId());
            if (!ready.empty()) plans.insert(plans.end(), ready.mapped().begin(), ready.mapped().end());
        }
    }

  private:
    /// Notes the nodes all of whose readers take pictures from GPU memory.
    void FindReaders() {
        for (GraphFilter const& filter : document.filters)
            if (TakesGpuFrames(filter.classId) && !filter.inputs.empty()) keptOnGpu.insert(filter.inputs.front());
        for (GraphController const& controller : document.controllers)
            for (GraphController::Stream const& stream : controller.streams) keptOnGpu.erase(stream.input);
        for (GraphOutput::Stream const& stream : document.output.streams) keptOnGpu.erase(stream.input);
    }

    std::deque<NodePlan> MakePlans() const {
        std::deque<NodePlan> plans;
        for (GraphFilter const& filter : document.filters) plans.push_back({&filter, nullptr, 0});
        for (GraphController const& controller : document.controllers)
            for (std::size_t i = 0; i < controller.streams.size(); ++i) plans.push_back({nullptr, &controller, i});
        return plans;
    }

    /// Runs `make` under the node's name and enters what comes of it.
    void Enter(BuiltNode node, std::function<GraphStream()> const& make) {
        node.record = MakeShared<NodeRecord>(node.id, node.pointer);
        try {
            GraphStream stream = make();
            if (options.wrap) stream = WrapIfAny(node, std::move(stream));
            // Seeks of a seek controller don't pass through its wrappers.
            int64 const limit = node.seeker ? 0 : options.stallLimit;
            node.stream = std::visit(
                [&](auto& typed) {
                    if (!typed) TARSEL_THROW(FilterException, node.classId + " has no use for this kind of stream");
                    return Metered(typed, node.record, limit);
                },
                stream);
        } catch (std::exception const&) {
            node.record->Rethrow();
        }
        graph.places[node.id] = graph.nodes.size();
        graph.nodes.push_back(std::move(node));
    }

    /// A controller's null goes on as it is.
    GraphStream WrapIfAny(BuiltNode const& node, GraphStream stream) const {
        bool const any = std::visit([](auto const& typed) { return typed != nullptr; }, stream);
        return any ? options.wrap(node, std::move(stream)) : stream;
    }

    void BuildSource(GraphSource const& source) {
        BuiltNode node;
        node.id = source.id;
        node.classId = "source";
        node.pointer = source.pointer;
        node.origin = graph.sources.Find(source);
        GraphOrigin const origin = node.origin;
        Enter(std::move(node), [&] { return OpenSource(source, origin); });
    }

    GraphStream OpenSource(GraphSource const& source, GraphOrigin const& origin) const {
        DecoderOptions decoding;
        if (origin.info->kind == StreamKind::Subtitle && !source.packets)
            return Host::OpenSubtitles(
                origin.file, {source.file, origin.info->index, source.delay, source.charset, decoding.strictness});
        iptr<IStreamRaw> const packets = origin.file->OpenStream(origin.info->index);
        if (source.packets) return packets;
        if (options.decoderThreads > 0)
            decoding.threadCount = options.decoderThreads;
        else if (document.sources.size() > MAX_THREADED_DECODERS)
            decoding.threadCount = 1;
        if (decoding.threadCount != 1) decoding.threading = DecoderOptions::Threading::Frames;
        if (origin.info->kind == StreamKind::Audio)
            return iptr<IStreamAudio>(AudioDecoder::Create(packets, "", decoding));
        return iptr<IStreamVideo>(VideoDecoder::Create(packets, "", decoding));
    }

    void BuildNode(NodePlan const& plan) {
        BuiltNode node;
        node.id = plan.GetId();
        node.inputs = plan.GetInputs();
        if (!node.inputs.empty()) node.origin = graph.GetNode(node.inputs.front()).origin;
        if (plan.filter) {
            node.pointer = plan.filter->pointer;
            node.classId = plan.filter->classId;
            // Codec and header of the file say nothing about a stream of another kind.
            CatalogEntry const* const entry = FindInCatalog(node.classId);
            if (entry && entry->gives) node.origin = {};
            return Enter(std::move(node), [&] { return MakeReadable(*plan.filter); });
        }
        node.pointer = plan.controller->pointer + "/streams/" + std::to_string(plan.number);
        node.classId = plan.controller->classId;
        node.controller = plan.controller;
        iptr<IStreamController> const controller = GetController(*plan.controller);
        node.seeker = iptr<IFilterSeekController>(dynamic_cast<IFilterSeekController*>(controller.get()));
        NodeId const input = node.inputs.front();
        Enter(std::move(node), [&] { return MakeControlled(*controller, input); });
    }

    // Inputs.

    template <class T>
    iptr<T> Input(NodeId id) const {
        if (auto const* const stream = std::get_if<iptr<T>>(&graph.GetNode(id).stream)) return *stream;
        TARSEL_THROW(FilterException, "node " + std::to_string(id) + " gives " +
                                          std::string(KindName(graph.GetNode(id).GetKind())) +
                                          ", which can't go in here");
    }
    template <class T>
    iptr<T> OnlyInput(GraphFilter const& filter) const {
        if (filter.inputs.size() != 1) TARSEL_THROW(FilterException, filter.classId + " takes one input");
        return Input<T>(filter.inputs.front());
    }

    // Filters.

    GraphStream MakeFilter(GraphFilter const& filter) const {
        CatalogEntry const* const entry = FindInCatalog(filter.classId);
        if (!entry || entry->isController)
            TARSEL_THROW(FilterException, "there is no filter " + filter.classId + " that a graph can name");
        return entry->isDedicated ? MakeDedicated(filter) : MakeBySettings(filter);
    }

    GraphStream MakeBySettings(GraphFilter const& filter) const {
        auto const settings = MakeSettings(filter.classId, filter.settings);
        if (filter.inputs.empty())
            return iptr<IStreamAudio>(factory->CreateAudio(filter.classId, filter.implName, *settings));
        switch (graph.GetNode(filter.inputs.front()).GetKind()) {
            case GraphKind::Video:
                if (filter.classId == SettingsFilterVideoMixer::CLASS_ID) return MixPictures(filter);
                return Counted<IStreamVideo>(
                    factory->CreateVideo(filter.classId, filter.implName, OnlyInput<IStreamVideo>(filter), *settings),
                    *settings);
            case GraphKind::Audio:
                return Counted<IStreamAudio>(
                    factory->CreateAudio(filter.classId, filter.implName, OnlyInput<IStreamAudio>(filter), *settings),
                    *settings);
            case GraphKind::Subtitle:
                return iptr<IStreamSubtitle>(factory->CreateSubtitle(filter.classId, filter.implName,
                                                                     OnlyInput<IStreamSubtitle>(filter), *settings));
            default:
                return iptr<IStreamRaw>(
                    factory->CreateRaw(filter.classId, filter.implName, OnlyInput<IStreamRaw>(filter), *settings));
        }
    }

    /// A repeat doesn't read the count of its settings: its builder gives it.
    template <class T, class U>
    iptr<T> Counted(iptr<U> const& stream, Settings const& settings) const {
        auto* const repeat = dynamic_cast<TIFilterRepeat<U, T>*>(stream.get());
        auto const* const wanted = dynamic_cast<SettingsFilterRepeat const*>(&settings);
        if (repeat && wanted) repeat->SetRepeatCount(wanted->GetCount());
        return stream;
    }

    template <class Function>
    auto Slot(FilterSlot<Function> const& slot, std::string const& implName) const {
        return factory->Dedicated(slot, implName);
    }

    /// The filter's stream, brought to processor memory where somebody reads it who needs it there.
    GraphStream MakeReadable(GraphFilter const& filter) {
        GraphStream stream = MakeFilter(filter);
        bool const fromGpu = !filter.inputs.empty() && onGpu.count(filter.inputs.front()) != 0;
        if (!GivesGpuFrames(filter.classId, filter.settings, fromGpu, *effects)) return stream;
        if (keptOnGpu.count(filter.id) != 0) {
            onGpu.insert(filter.id);
            return stream;
        }
        auto const chain =
            Slot(Slots::APPLY_EFFECTS_VIDEO, ImplNames::DEFAULT)(std::get<iptr<IStreamVideo>>(stream), effects);
        chain->AddEffect(SettingsFrameDownloader());
        return iptr<IStreamVideo>(chain);
    }

    GraphStream MakeDedicated(GraphFilter const& filter) const {
        std::string const& name = filter.classId;
        if (name == Slots::JOIN_VIDEO.name)
            return Join<IStreamVideo>(filter, Slot(Slots::JOIN_VIDEO, filter.implName)());
        if (name == Slots::JOIN_AUDIO.name)
            return Join<IStreamAudio>(filter, Slot(Slots::JOIN_AUDIO, filter.implName)());
        if (name == Slots::JOIN_RAW.name) {
            RequireOneFormat(filter);
            return Join<IStreamRaw>(filter, Slot(Slots::JOIN_RAW, filter.implName)());
        }
        if (name == Slots::REPEAT_VIDEO.name)
            return Repeat<IStreamVideo>(filter, Slot(Slots::REPEAT_VIDEO, filter.implName));
        if (name == Slots::REPEAT_AUDIO.name)
            return Repeat<IStreamAudio>(filter, Slot(Slots::REPEAT_AUDIO, filter.implName));
        if (name == Slots::FRAME_RATE.name) {
            auto const rate = Slot(Slots::FRAME_RATE, filter.implName)(OnlyInput<IStreamVideo>(filter));
            rate->Initialize(Renamed(filter.settings, IFilterFrameRate::CLASS_ID));
            return iptr<IStreamVideo>(rate);
        }
        if (name == Slots::LOSSLESS_DETECT.name)
            return iptr<IStreamRaw>(Slot(Slots::LOSSLESS_DETECT, filter.implName)(
                OnlyInput<IStreamRaw>(filter), *MakeSettings(name, filter.settings)));
        if (name == FILTER_CACHE_DATA) return CreateFilterCacheData(OnlyInput<IStreamVideo>(filter));
        if (name == Slots::AUDIO_HISTOGRAM.name) {
            auto const histogram = Slot(Slots::AUDIO_HISTOGRAM, filter.implName)(OnlyInput<IStreamAudio>(filter));
            histogram->Initialize(Renamed(filter.settings, IFilterAudioHistogram::CLASS_ID));
            return iptr<IStreamVideo>(histogram);
        }
        if (name == Slots::RESIZE.name) {
            auto const resize = Slot(Slots::RESIZE, filter.implName)(OnlyInput<IStreamVideo>(filter), effects);
            resize->UpdateSettings(IFilterResize::Property2Settings(filter.settings));
            return iptr<IStreamVideo>(resize);
        }
        if (name == Slots::APPLY_EFFECTS_VIDEO.name) {
            auto const source = OnlyInput<IStreamVideo>(filter);
            auto const chain = Slot(Slots::APPLY_EFFECTS_VIDEO, filter.implName)(source, effects);
            FillChain(*chain, filter.settings, source->GetDuration(), *effects);
            return iptr<IStreamVideo>(chain);
        }
        if (name == Slots::SUBTITLE_DRAWER.name) return MakeTitles(filter);
        if (name == Slots::CROP_DETECTOR.name) {
            auto const detector = factory->CreateCropDetector(filter.implName);
            detector->Initialize(Renamed(filter.settings, ICropDetector::CLASS_ID));
            return iptr<IStreamVideo>(CropDetectStream::Create(OnlyInput<IStreamVideo>(filter), detector));
        }
        return MakeDedicatedSound(filter);
    }

    iptr<IStreamVideo> MakeTitles(GraphFilter const& filter) const {
        auto const pictures = Input<IStreamVideo>(filter.inputs.at(0));
        auto const titles = Input<IStreamSubtitle>(filter.inputs.at(1));
        for (std::string const& doubt : FindTitleDoubts(filter, *pictures, *titles))
            graph.warnings->Add("node " + std::to_string(filter.id) + ": " + doubt);
        return MakeTitleDrawer(filter, *factory, pictures, titles, overlays);
    }

    iptr<IStreamAudio> MakeDedicatedSound(GraphFilter const& filter) const {
        std::string const& name = filter.classId;
        if (name == Slots::AUDIO_MIXER.name) return Mix(filter);
        if (name == Slots::RESAMPLE.name) {
            auto const resample = factory->CreateResample(OnlyInput<IStreamAudio>(filter), filter.implName);
            resample->SetSampleInfo(GetSampleInfo(filter.settings, Conf::SampleInfo()));
            return resample;
        }
        if (name == Slots::AUDIO_FORMATTER.name) {
            auto const formatter = factory->CreateAudioFormatter(OnlyInput<IStreamAudio>(filter), filter.implName);
            formatter->SetPacketDuration(filter.settings[IFilterAudioFormatter::PACKET_DURATION].GetInt64());
            return formatter;
        }
        if (name == Slots::APPLY_EFFECTS_AUDIO.name) {
            auto const source = OnlyInput<IStreamAudio>(filter);
            auto const chain = Slot(Slots::APPLY_EFFECTS_AUDIO, filter.implName)(source, effects);
            FillChain(*chain, filter.settings, source->GetDuration(), *effects);
            return chain;
        }
        if (name == Slots::VOLUME_DETECT.name)
            return VolumeDetectStream::Create(OnlyInput<IStreamAudio>(filter),
                                              Slot(Slots::VOLUME_DETECT, filter.implName)());
        TARSEL_THROW(FilterException, "there is no filter " + name + " that a graph can name");
    }

    /// The mixer reads its streams block by block, whatever their times say: they are brought in line first.
    iptr<IStreamAudio> Mix(GraphFilter const& filter) const {
        std::vector<int> volumes;
        for (Core::Property const& child : filter.settings.Children())
            if (child.Name() == MIXER_STREAMS) volumes.push_back(static_cast<int>(child[MIXER_VOLUME].GetInt64()));
        volumes.resize(filter.inputs.size(), DEFAULT_MIXER_VOLUME);
        auto const mixer = Slot(Slots::AUDIO_MIXER, filter.implName)(factory);
        for (std::size_t i = 0; i < filter.inputs.size(); ++i) {
            auto const input = Input<IStreamAudio>(filter.inputs[i]);
            mixer->AddStream(ContinuousAudio::Create(input, ContinuousAudio::Start::AtSeek), volumes[i]);
        }
        return mixer;
    }

    /// Whether the pictures of a node have the times of their file.
    bool KeepsTimes(NodeId id) const {
        BuiltNode const* node = &graph.GetNode(id);
        while (node->classId == SettingsResizer::CLASS_ID) node = &graph.GetNode(node->inputs.front());
        return node->classId == "source";
    }

    iptr<IStreamVideo> MixPictures(GraphFilter const& filter) const {
        std::vector<MixerInput> inputs;
        for (NodeId const id : filter.inputs) {
            MixerInput input{Input<IStreamVideo>(id)};
            if (GraphOrigin const& origin = graph.GetNode(id).origin; origin.file) {
                input.file = origin.file->GetPath();
                if (KeepsTimes(id)) input.end = origin.file->GetIndex(origin.info->index).GetEndTime();
            }
            inputs.push_back(std::move(input));
        }
        return MakeVideoMixer(filter, *factory, inputs, onGpu.count(filter.inputs.front()) != 0);
    }

    template <class T>
    iptr<T> Join(GraphFilter const& filter, iptr<TIFilterJoin<T>> const& join) const {
        for (NodeId const input : filter.inputs) join->AddStream(Input<T>(input), graph.GetNode(input).seeker);
        return join;
    }

    /// Whatever decodes a joined stream has the first clip's header for all of them.
    void RequireOneFormat(GraphFilter const& filter) const {
        auto const first = Input<IStreamRaw>(filter.inputs.front())->GetFormatCodec();
        for (std::size_t i = 1; i < filter.inputs.size(); ++i) {
            auto const other = Input<IStreamRaw>(filter.inputs[i])->GetFormatCodec();
            std::string const why = WhyNoContinuation(*first, *other);
            if (why.empty()) continue;
            FailAtNode(filter.id, filter.pointer + "/inputs/" + std::to_string(i),
                       "the packets of node " + std::to_string(filter.inputs[i]) + " don't continue those of node " +
                           std::to_string(filter.inputs.front()) + ": " + why);
        }
    }

    template <class T, class Make>
    iptr<T> Repeat(GraphFilter const& filter, Make make) const {
        auto const repeat = make(OnlyInput<T>(filter));
        if (filter.settings.ChildExists(COUNT)) repeat->SetRepeatCount(filter.settings[COUNT].GetInt64());
        return repeat;
    }

    // Controllers.

    iptr<IStreamController> GetController(GraphController const& description) {
        auto& controller = graph.controllers[description.id];
        if (controller) return controller;
        auto const record = MakeShared<NodeRecord>(description.id, description.pointer);
        try {
            controller = MakeController(description);
        } catch (std::exception const&) {
            record->Rethrow();
        }
        return controller;
    }

    iptr<IStreamController> MakeController(GraphController const& description) const {
        std::string const& name = description.classId;
        if (name == Slots::CUT_CONTROLLER.name)
            return Slot(Slots::CUT_CONTROLLER, description.implName)(*MakeSettings(name, description.settings),
                                                                     nullptr);
        if (name == Slots::SEEK_CONTROLLER.name) return Slot(Slots::SEEK_CONTROLLER, description.implName)();
        if (name == Slots::REPEAT_CONTROLLER.name) {
            auto const repeat = Slot(Slots::REPEAT_CONTROLLER, description.implName)();
            repeat->Initialize(Renamed(description.settings, IFilterRepeatController::CLASS_ID));
            return repeat;
        }
        if (name == Slots::CACHE_CONTROLLER.name) {
            auto const cache = Slot(Slots::CACHE_CONTROLLER, description.implName)();
            if (description.settings.ChildExists(CACHE_INCREASE_SPAN))
                cache->SetCacheIncreaseSpan(description.settings[CACHE_INCREASE_SPAN].GetInt64());
            return cache;
        }
        TARSEL_THROW(FilterException, "there is no controller " + name + " that a graph can name");
    }

    GraphStream MakeControlled(IStreamController& controller, NodeId inputId) const {
        BuiltNode const& input = graph.GetNode(inputId);
        auto* const cutter = dynamic_cast<IFilterCutController*>(&controller);
        if (cutter && input.GetKind() == GraphKind::Packets && input.origin.info) {
            std::string refusal;
            StreamInfo const& info = *input.origin.info;
            cutter->SetCodecFacory(ChooseCutCodecs(info, input.origin.file->GetIndex(info.index), refusal));
        }
        iptr<IFilterCacheController> const cache(dynamic_cast<IFilterCacheController*>(&controller));
        return std::visit(
            [&](auto const& typed) -> GraphStream {
                auto stream = controller.AddStream(typed);
                return cache && stream ? Cached(std::move(stream), cache) : stream;
            },
            input.stream);
    }

    BuiltGraph& graph;
    GraphDocument const& document;
    GraphBuildOptions const& options;
    iptr<FilterFactory const> const factory;
    iptr<EffectFactory const> const effects;
    iptr<IOverlayFactory const> const overlays;
    /// Nodes whose pictures may stay in GPU memory, and those whose pictures do.
    std::set<NodeId> keptOnGpu;
    std::set<NodeId> onGpu;
};

std::unique_ptr<BuiltGraph> BuildGraph(GraphDocument const& document, GraphBuildOptions const& options) {
    CheckGraph(document);
    auto graph = std::make_unique<BuiltGraph>(document);
    GraphBuilder(*graph, options).Build();
    return graph;
}

}  // namespace Tarsel::Host
