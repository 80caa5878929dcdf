#pragma once

#include <optional>
#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"
#include "contracts/Proc/SettingsSubtitleDrawer.h"
#include "host/graph/ShortForms.h"

namespace Tarsel::Host {

/// Which subtitles are drawn, and how.
struct SubtitleFormRequest {
    /// The file that holds them; empty: that of the pictures.
    std::string file;
    /// Which of its subtitle streams, from 0; none: the first.
    std::optional<int> stream;
    /// Microseconds that they come later, below 0 earlier; up to thirty days.
    int64 delay = 0;
    /// The encoding of a file of texts; empty: UTF-8, or what the file's first bytes tell.
    std::string charset;
    Proc::SettingsSubtitleDrawer settings;
};

/// Draws subtitles on all pictures of a file. What isn't changed goes along as packets where the container takes them,
/// other subtitles as well; those that are drawn don't. Failures as those of `ShortForms.h`; a file without the stream
/// that is asked for throws `GraphException` that lists its streams, and a folder of fonts that isn't there one that
/// names it. Pictures that their file asks to be turned are
/// told: the titles turn with them.
TARSEL_HOST_EXPORT ShortFormGraph MakeSubtitleGraph(std::string const& input, SubtitleFormRequest const& request,
                                                    ShortFormOptions const& options);

}  // namespace Tarsel::Host
