#pragma once

#include <string>
#include <vector>

#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/ITextEngine.h"
#include "host/graph/GraphDocument.h"

namespace Tarsel::Host {

/// The drawer of a node: titles on pictures. `overlays` makes its engine for texts. Throws what the drawer throws.
iptr<Proc::IStreamVideo> MakeTitleDrawer(GraphFilter const& filter, Proc::IFilterFactory const& factory,
                                         iptr<Proc::IStreamVideo> const& pictures,
                                         iptr<Proc::IStreamSubtitle> const& titles,
                                         iptr<Proc::IOverlayFactory const> const& overlays);

/// What bitmaps will not do for whoever set such a drawer up, a sentence each: they aren't drawn in another size than
/// they have, nor as settings of letters say. Nothing for texts.
std::vector<std::string> FindTitleDoubts(GraphFilter const& filter, Proc::IStreamVideo const& pictures,
                                         Proc::IStreamSubtitle const& titles);

/// What a drawer did.
struct TitleCounts {
    /// Subtitles that it was given. One that is fetched anew behind a seek counts again.
    int64 subtitlesRead = 0;
    /// Pictures that something was laid over: of texts each, of bitmaps each that was composed.
    int64 imagesMade = 0;
};

/// The counts in a drawer's statistics.
TitleCounts CountTitles(Core::Property const& statistics);

}  // namespace Tarsel::Host
