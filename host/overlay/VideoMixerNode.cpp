#include "host/overlay/VideoMixerNode.h"

#include <stdexcept>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "host/graph/GraphErrors.h"
#include "host/graph/SettingsCatalog.h"
#include "host/overlay/MixedStreams.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The options of a drawn stream, as the mixer takes them. What isn't told of the hidden time is left to the mixer.
Core::Property OptionsOf(Core::Property const& entry) {
    Core::Property options(entry.Name());
    for (Core::Property const& child : entry.Children())
        if (child.Name() != IFilterVideoMixer::BLINK_HIDE_DURATION || child.GetInt64() != 0)
            options.SetChild(child.Name(), child);
    return options;
}

std::vector<Core::Property> EntriesOf(Core::Property const& settings) {
    std::vector<Core::Property> entries;
    for (Core::Property const& child : settings.Children())
        if (child.Name() == MIXER_OVERLAYS) entries.push_back(OptionsOf(child));
    return entries;
}

/// The mixer takes the first picture at once, from wherever the stream stands.
void GoToStart(IStreamVideo& stream) {
    stream.RequestSeek(0, nullptr);
    stream.DoSeek();
    stream.FinishSeek();
}

}  // namespace

iptr<IStreamVideo> MakeVideoMixer(GraphFilter const& filter, FilterFactory const& factory,
                                  std::vector<MixerInput> const& inputs, bool isOnGpu) {
    auto const settings = MakeSettings(filter.classId, filter.settings);
    auto const entries = EntriesOf(filter.settings);
    if (inputs.empty() || entries.size() + 1 != inputs.size())
        TARSEL_THROW(FilterException, filter.classId + " takes a main stream, and an entry for each drawn one");
    iptr<IStreamVideo> const& source = inputs.front().stream;
    iptr<IStreamVideo> const main = isOnGpu ? CanvasVideo::CreateOnGpu(source) : CanvasVideo::Create(source);
    iptr<IStreamVideo> const mixer(factory.CreateVideo(filter.classId, filter.implName, main, *settings));
    auto* const combiner = dynamic_cast<IStreamCombiner<IStreamVideo>*>(mixer.get());
    if (!combiner) TARSEL_THROW(FilterException, filter.classId + " takes no further streams");
    Conf::FrameInfo const canvas = main->GetFormatCodec()->GetFrameInfo();
    for (std::size_t i = 1; i < inputs.size(); ++i) {
        iptr<IStreamVideo> const drawn = DrawnVideo::Create(inputs[i].stream, canvas, inputs[i].end);
        GoToStart(*drawn);
        try {
            combiner->CombineStream(drawn, entries[i - 1]);
        } catch (std::invalid_argument const& failure) {
            FailAtNode(filter.id, filter.pointer + "/inputs/" + std::to_string(i),
                       (inputs[i].file.empty() ? "" : inputs[i].file + ": ") + "node " +
                           std::to_string(filter.inputs[i]) + " gives no picture to draw: " + failure.what());
        }
    }
    return mixer;
}

}  // namespace Tarsel::Host
