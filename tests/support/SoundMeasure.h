// What decoded sound holds, measured by the test itself.
#pragma once

#include <algorithm>
#include <cmath>
#include <numbers>
#include <string>
#include <vector>

#include "tests/support/MediaInspector.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {

/// The samples of one channel.
inline std::vector<double> ChannelOf(DecodedSound const& sound, int channel) {
    std::vector<double> values;
    for (std::size_t i = static_cast<std::size_t>(channel); i < sound.samples.size();
         i += static_cast<std::size_t>(sound.channels))
        values.push_back(double{sound.samples[i]});
    return values;
}

/// The amplitude of a sine of that frequency in the samples.
inline double AmplitudeAt(std::vector<double> const& values, double hertz, int rate) {
    double real = 0;
    double imaginary = 0;
    for (std::size_t i = 0; i < values.size(); ++i) {
        double const angle = 2 * std::numbers::pi * hertz * double(i) / rate;
        real += values[i] * std::cos(angle);
        imaginary += values[i] * std::sin(angle);
    }
    return values.empty() ? 0 : 2 * std::hypot(real, imaginary) / double(values.size());
}

/// 16-bit samples as they are in the file.
inline std::vector<int> Integers(DecodedSound const& sound) {
    std::vector<int> values;
    for (float const sample : sound.samples) values.push_back(static_cast<int>(std::lround(sample * 32768)));
    return values;
}

/// A sound file that ffmpeg makes of a source of its own; `more` are options of the output.
inline std::string SoundClip(std::string const& name, std::string const& source, std::vector<std::string> more = {}) {
    std::vector<std::string> arguments{"-f", "lavfi", "-i", source};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return MakeClip(name, arguments);
}

/// The sound of a file's stream.
inline DecodedSound SoundOf(std::string const& path, int stream = 0) {
    Messages messages;
    return DecodeSound(path, stream, messages);
}

}  // namespace Tarsel::Test
