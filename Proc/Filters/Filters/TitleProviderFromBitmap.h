#pragma once

#include <map>
#include <set>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/OverlayProviderEx.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/IFactories.h"

struct AVSubtitle;
struct AVSubtitleRect;

namespace Tarsel::Proc {

/// Titles of bitmaps: paints all that are to be seen at a time into one picture, which it keeps as long as the same
/// ones are to be seen. Those whose time is over are forgotten for good, so that going back needs them again. Colours
/// are red, green, blue, alpha, 4 bytes for each index.
class TitleProviderFromBitmap final : public OverlayProviderEx {
  public:
    /// Edges of the picture beyond the frame and this many pixels are cut off: files name any rectangles.
    static constexpr int64 NEAR_EDGE = 4096;
    /// No side of the picture is longer.
    static constexpr int64 FAR_EDGE = 16384;

    /// Throws `FilterEffectException` "There is no any implementation for " and the class of the resizer.
    explicit TitleProviderFromBitmap(IEffectFactory const& effectFactory);

    void Reset() override;
    Core::Property GetStatistic() override;
    /// On pixels that aren't square the picture is enlarged along their short side, while `crop` stays as the
    /// subtitles have it.
    iptr<IDataVideo> GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) override;
    void AddData(iptr<IDataSubtitle> const& subtitle) override;
    void Clear() override;
    /// Painting multiplies colours by their alpha.
    BlendAlphaMode GetAlphaMode() const override { return BlendAlphaMode::Premultiplied; }

  private:
    using Subtitles = std::vector<iptr<IDataSubtitle>>;

    /// Those to be seen at `time`, in order; drops those that are over.
    Subtitles TakeActive(int64 time);
    iptr<IDataVideo> FitToPixels(iptr<IDataVideo> image);

    iptr<IOneInputEffectVideo> const resizer;
    /// By time, then arrival.
    std::map<std::pair<int64, uint64>, iptr<IDataSubtitle>> subtitles;
    /// All in `subtitles`.
    std::set<IDataSubtitle const*> known;
    uint64 arrivals = 0;
    std::vector<AVSubtitle const*> shown;
    /// Owners of `shown`: without them another event could have the address of one that is gone.
    Subtitles shownOwners;
    iptr<IDataVideo> cachedImage;
    Conf::FrameInfo cachedInfo{0, 0, 1, 1};
    CropInfo cachedCrop;
    int64 readTime = 0;  // microseconds that pictures took
    u32 imagesMade = 0;
};

}  // namespace Tarsel::Proc
