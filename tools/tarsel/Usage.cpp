#include "tools/tarsel/Usage.h"

#include <CLI/CLI.hpp>
#include <stdexcept>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphOutput.h"

namespace Tarsel::Tool {

void RefuseUsage(std::string const& what) {
    TARSEL_THROW(CLI::ValidationError, what);
}

std::string CheckGiven(std::string const& value) {
    return value.empty() ? "a value is needed" : "";
}

void CheckEncoding(Host::ShortFormOptions const& form) {
    std::string container;
    try {
        container = Host::ContainerName(form.output);
    } catch (Core::IOException const&) {
        return;  // the run tells, as it does of every file
    }
    auto const check = [&](Host::StreamKind kind, Host::GraphOutput::Stream const& asked, char const* option) {
        try {
            Host::ChooseEncoding(asked, kind, container);
        } catch (std::invalid_argument const& refusal) {
            RefuseUsage(std::string(option) + ": " + refusal.what());
        }
    };
    if (!form.noVideo) {
        Host::GraphOutput::Stream video;
        video.codec = form.videoCodec;
        if (!video.codec.empty()) check(Host::StreamKind::Video, video, "--video-codec");
        video.quality = form.quality;
        if (video.quality) check(Host::StreamKind::Video, video, "--quality");
    }
    if (!form.noAudio) {
        Host::GraphOutput::Stream audio;
        audio.codec = form.audioCodec;
        if (!audio.codec.empty()) check(Host::StreamKind::Audio, audio, "--audio-codec");
    }
}

}  // namespace Tarsel::Tool
