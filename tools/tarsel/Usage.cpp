#include "tools/tarsel/Usage.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <stdexcept>
#include <system_error>

#include "contracts/Core/Exception.h"
#include "host/graph/GraphOutput.h"

namespace Tarsel::Tool {

namespace {

constexpr int64 HIGHEST_FRAME_RATE = 100000;
constexpr int64 LARGEST_TERM = 1000000;

bool ReadCount(std::string const& text, int64& value) {
    return ReadNumber(text, value) && value > 0 && value <= LARGEST_TERM;
}

}  // namespace

void RefuseUsage(std::string const& what) {
    TARSEL_THROW(CLI::ValidationError, what);
}

std::string CheckGiven(std::string const& value) {
    return value.empty() ? "a value is needed" : "";
}

bool AreOneTarget(std::string const& first, std::string const& second) {
    std::error_code failure;
    if (std::filesystem::equivalent(first, second, failure)) return true;
    auto const resolved = [&](std::string const& path) {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(path, failure), failure);
    };
    auto const place = resolved(first);
    return !place.empty() && place == resolved(second);
}

Ratio ReadRate(std::string const& text) {
    std::size_t const slash = text.find('/');
    int64 numerator = 0;
    int64 denominator = 1;
    bool valid = ReadCount(text.substr(0, slash), numerator);
    if (slash != std::string::npos) valid = valid && ReadCount(text.substr(slash + 1), denominator);
    valid = valid && numerator <= HIGHEST_FRAME_RATE * denominator;
    if (!valid)
        RefuseUsage("--rate: \"" + text + "\" is not N or N/D, both from 1 to 1000000, at most 100000 together");
    return {numerator, denominator};
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
        audio.bitRate = form.audioBitRate;
        if (audio.bitRate != 0) check(Host::StreamKind::Audio, audio, "--bitrate");
    }
}

}  // namespace Tarsel::Tool
