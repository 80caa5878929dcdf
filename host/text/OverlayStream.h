#pragma once

#include <atomic>

#include "contracts/Core/Export.h"
#include "contracts/Proc/BlendHelper.h"
#include "contracts/Proc/IOverlayStream.h"
#include "host/media/ForwardingStream.h"

namespace Tarsel::Host {

/// Lays over each picture of a stream what a provider gives for it, by its alpha and that of the settings.
///
/// Goes in: pictures in processor or GPU memory. Comes out: the same; where something is seen of the overlay, a picture
/// of its own. Formats on which nothing can be drawn come out in the nearest one on which it can, which
/// `GetFormatCodec` tells. Asks the source once for each picture, and the provider once. A picture without a time
/// counts as one of the time at which it was expected. Seek and end: the source's. One reader; `SetEndOfStream` and
/// `GetStatistic` from any thread.
class TARSEL_HOST_EXPORT OverlayStream final : public ForwardingStream<Proc::IStreamVideo>,
                                               public virtual Proc::IOverlayStream {
  public:
    /// Throws `std::invalid_argument` "source is NULL".
    static iptr<Proc::IOverlayStream> Create(iptr<Proc::IStreamVideo> const& source);

    void SetOverlayProvider(iptr<Proc::IOverlayProvider> const& newProvider) override { provider = newProvider; }
    void SetOverlaySettings(Proc::SettingsSubtitleDrawer const& newSettings) override { settings = newSettings; }
    int64 GetSeekPosition() override { return seekPosition; }

    iptr<Proc::IDataVideo> Read() override;
    void RequestSeek(int64 position, iptr<IRefCountable> seekContext) override;
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override;
    /// The statistics of the stream and a node with the pictures delivered, and in "Drawn" those drawn on.
    Core::Property GetStatistic() override;
    void Accept(Proc::IStreamVisitor& visitor) override;

  private:
    explicit OverlayStream(iptr<Proc::IStreamVideo> const& source);

    int64 EndOf(Proc::IDataVideo const& picture, int64 time) const;
    void Draw(iptr<Proc::IDataVideo>& picture, iptr<Proc::IDataVideo> const& overlay, Proc::CropInfo const& crop);

    // Settings.
    iptr<Proc::IOverlayProvider> provider;  // null for none
    Proc::SettingsSubtitleDrawer settings;

    // State of the reading thread.
    int64 seekPosition = 0;
    iptr<Proc::IEffectFactory const> effects;
    Proc::BlendHelper helper;
    iptr<Proc::IEffectImageBlender> blender;  // for pictures that live at `place`; null until the first is drawn on
    int place = Proc::IDataVideo::FRAME_ALLOC_ANY;

    // Read by other threads.
    std::atomic<unsigned> itemsDelivered{0};
    std::atomic<unsigned> itemsDrawn{0};
};

}  // namespace Tarsel::Host
