#pragma once

#include <functional>

#include "contracts/Core/Property.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/IStreamCombiner.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"

namespace Tarsel::Proc {

/// Options that everything has that is drawn on a picture.
struct IBlend {
    /// Upper left corner of what is drawn, in pixels of the picture below; whole numbers.
    static constexpr char BLENDING_POSITION_X[] = "BlendingPositionX";
    static constexpr char BLENDING_POSITION_Y[] = "BlendingPositionY";
    /// 0 (not there) to 255 (as it is).
    static constexpr char BLENDING_ALPHA[] = "BlendingAlpha";
};

/// Draws pictures and whole streams of pictures over a stream: logos, overlays, a picture in the picture. Streams lie
/// below single pictures; within each of the two kinds the one that was added last lies on top.
///
/// What is drawn has the pixel aspect of what it is drawn on, or reading throws `std::invalid_argument`. Add everything
/// before reading begins, and drawn streams that have been sought to 0. The options of `CombineStream` are the
/// constants below and those of `IBlend`; it is the way to all of this by properties.
class TARSEL_CONTRACTS_EXPORT IFilterVideoMixer : public virtual IStreamVideo {
  public:
    static constexpr char CLASS_ID[] = "FilterVideoMixer";

    /// Whether the stream's first picture is drawn as a still one, and the stream is done with ("0").
    static constexpr char USE_FIRST_FRAME_AS_WATERMARK[] = "UseFirstFrameAsWatermark";
    /// Microseconds; the stream's time zero on the main stream, or when a still picture begins. Required.
    static constexpr char START_TIME[] = "StartTime";
    /// One of the three below. Required.
    static constexpr char TRANSPARENCY_TYPE[] = "TransparencyType";
    /// As the picture is.
    static constexpr char TRANSPARENCY_TYPE_OVERLAY[] = "Overlay";
    /// By `BLENDING_ALPHA`.
    static constexpr char TRANSPARENCY_TYPE_FIXED_ALPHA[] = "FixedAlpha";
    /// In turns by `BLENDING_ALPHA` and not at all.
    static constexpr char TRANSPARENCY_TYPE_BLINK[] = "Blink";
    /// Microseconds. The first is required for a picture that blinks, the second is the same where it isn't told.
    static constexpr char BLINK_SHOW_DURATION[] = "BlinkShowDuration";
    static constexpr char BLINK_HIDE_DURATION[] = "BlinkHideDuration";
    /// Kept for hosts that send it; a blinking picture is there or not, nothing between ("0").
    static constexpr char BLINK_DO_FADE[] = "BlinkDoFade";
    /// Whether the stream starts over at its end ("0"). One whose duration isn't known, or is 0, doesn't.
    static constexpr char LOOP_STREAM[] = "LoopStream";

    /// How strongly something is drawn, 0 to 255, at a time of the main stream. It is asked once for each frame, in the
    /// order of reading, and may keep a state.
    using AlphaFunction = std::function<int(int64 time)>;

    ~IFilterVideoMixer() override;
    /// Draws a picture from `startTime` (microseconds) to the end, its upper left corner at `x`, `y`: even numbers, an
    /// odd one becomes the one below it. A null image throws `std::invalid_argument` "NULL frame".
    virtual void AddWatermark(iptr<IDataVideo> const& image, int x, int y, int64 startTime, AlphaFunction alpha) = 0;
    /// Draws a stream whose time 0 is `startTime` of the main stream; its first picture is read at once. One that has
    /// none throws `std::invalid_argument` "image cann't be nullptr".
    virtual void AddStream(iptr<IStreamVideo> const& stream, int x, int y, int64 startTime, AlphaFunction alpha,
                           bool loop) = 0;
    /// Microseconds that a drawn frame must share with a frame of the main stream to be drawn on it.
    virtual int64 GetMinOverlap() const = 0;
    virtual void SetMinOverlap(int64 value) = 0;

    /// The settings as a property that `Initialize` takes, named `CLASS_ID`.
    static Core::Property Settings2Property(SettingsFilterVideoMixer const& settings);
    /// The way back. A property of another name throws `FilterException` "Filter was initialized with incorrect class
    /// (" and the name.
    static SettingsFilterVideoMixer Property2Settings(Core::Property const& property);
};

}  // namespace Tarsel::Proc
