#include <nlohmann/json.hpp>

#include "host/cut/RangeText.h"
#include "host/timeline/RenderJob.h"

namespace Tarsel::Host {

namespace {

using Json = nlohmann::ordered_json;

Json TimeOrNull(int64 time) {
    return HasValue(time) ? Json(time) : Json(nullptr);
}

std::string RateText(Ratio const& rate) {
    return std::to_string(rate.numerator()) + "/" + std::to_string(rate.denominator());
}

}  // namespace

std::string RenderReport::ToJson() const {
    Json document;
    document["output"] = output.empty() ? Json(nullptr) : Json(output);
    document["container"] = container.empty() ? Json(nullptr) : Json(container);
    document["duration_us"] = durationUs;
    document["clips"] = clips;
    document["files"] = files;
    document["video"] = nullptr;
    if (frames != 0)
        document["video"] = {
            {"frames", frames}, {"frame_rate", RateText(frameRate)}, {"width", frame.width}, {"height", frame.height}};
    document["audio"] = nullptr;
    if (samples != 0) document["audio"] = {{"samples", samples}, {"sample_rate", sampleRate}};
    document["streams"] = Json::array();
    for (Stream const& stream : streams)
        document["streams"].push_back({{"kind", stream.kind},
                                       {"codec", stream.codec.empty() ? Json(nullptr) : Json(stream.codec)},
                                       {"items", stream.items},
                                       {"begin_us", TimeOrNull(stream.beginUs)},
                                       {"end_us", TimeOrNull(stream.endUs)}});
    document["warnings"] = warnings;
    document["wall_seconds"] = wallSeconds;
    // Names of files may be in any encoding; a broken sequence is replaced, never a reason to fail.
    return document.dump(2, ' ', false, Json::error_handler_t::replace);
}

std::string RenderReport::ToText() const {
    std::string text = output.empty() ? "read to the end" : output + ": " + container;
    text +=
        ", " + ShortTime(durationUs) + ", " + std::to_string(clips) + " clips of " + std::to_string(files) + " files\n";
    if (frames != 0)
        text += "pictures: " + std::to_string(frames) + " frames of " + std::to_string(frame.width) + "x" +
                std::to_string(frame.height) + " at " + RateText(frameRate) + "\n";
    if (samples != 0)
        text += "sound: " + std::to_string(samples) + " samples at " + std::to_string(sampleRate) + " Hz\n";
    for (Stream const& stream : streams)
        if (!stream.codec.empty())
            text += stream.kind + " " + stream.codec + ": " + std::to_string(stream.items) + " packets\n";
    return text;
}

}  // namespace Tarsel::Host
