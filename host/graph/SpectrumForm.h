#pragma once

#include "contracts/Proc/SettingsAudioHistogram.h"
#include "host/graph/ShortForms.h"

namespace Tarsel::Host {

struct SpectrumFormOptions {
    /// How the pictures are drawn. Within the bounds that graph files have for them.
    Proc::SettingsAudioHistogram picture;
    /// Which of the file's audio streams, from 0.
    int stream = 0;
    /// Let the sound go along with the pictures.
    bool withAudio = false;
};

/// How long a picture of the graph below stands, whole microseconds. The settings' rate is above 0.
TARSEL_HOST_EXPORT int64 SpectrumPeriod(Proc::SettingsAudioHistogram const& picture);

/// Draws the spectrum of a file's sound, the mean of its channels. The sound is cut into blocks of a picture's length
/// first, so that pictures stand on the grid of their rate wherever reading begins on it. The first stream of the
/// output is that of the pictures. Failures: `Core::IOException` for a file that can't be read; `GraphException` "PATH:
/// ..." for one without such a stream of sound, and for a setting out of range.
TARSEL_HOST_EXPORT ShortFormGraph MakeSpectrumGraph(std::string const& input, SpectrumFormOptions const& spectrum,
                                                    ShortFormOptions const& options);

}  // namespace Tarsel::Host
