#pragma once

#include <string>

#include "contracts/Core/Export.h"
#include "contracts/Proc/IVideoPreviewSubscriber.h"
#include "host/preview/PngPreview.h"

namespace Tarsel::Host {

/// Fans the pictures of a run out to a folder of PNG files, without holding the run up. One thread; it has no lock of
/// its own.
class TARSEL_HOST_EXPORT ScrubPreview {
  public:
    /// As `PngPreview`.
    ScrubPreview(std::string const& folder, double picturesPerSecond, bool force);
    /// Without `Finish` what has been written stays, and nothing is written behind this.
    ~ScrubPreview();
    ScrubPreview(ScrubPreview const&) = delete;
    ScrubPreview& operator=(ScrubPreview const&) = delete;

    /// Publishes a picture. Throws what writing an earlier one has failed with.
    void Show(iptr<Proc::IDataVideo> const& picture);
    /// Waits until the newest picture has reached the writer (a thread of the pool brings it) and, if its turn has
    /// come, is written. Throws what writing has failed with.
    void Finish();
    /// Takes back what this run has written.
    void Discard();

  private:
    class Arrival;
    void Unsubscribe();

    iptr<PngPreview> const files;
    iptr<Arrival> const arrival;
    iptr<Proc::IVideoPreviewSubscriber> const list;
    iptr<Proc::IDataVideo> newest;
};

}  // namespace Tarsel::Host
