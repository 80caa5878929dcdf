#include "host/overlay/OverlayForm.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsResizer.h"
#include "host/cut/RangeText.h"
#include "host/graph/ChangedFile.h"
#include "host/graph/GraphErrors.h"
#include "host/media/NativeParameters.h"
#include "host/media/PictureScaler.h"
#include "host/media/VideoDecoder.h"
#include "host/overlay/MixedStreams.h"

namespace Tarsel::Host {

using namespace Proc;

namespace {

using Mixer = IFilterVideoMixer;

constexpr int OPAQUE = 255;

Conf::FrameInfo InfoOf(StreamInfo const& info) {
    auto const* const format = dynamic_cast<Conf::IFormatCodecVideo const*>(info.format.get());
    return format ? format->GetFrameInfo() : Conf::FrameInfo();
}

/// The entry of a drawn stream in the settings of the mixer's node, its children in the order of the catalog.
Core::Property EntryOf(OverlayRequest const& overlay) {
    char const* const transparency = overlay.show              ? Mixer::TRANSPARENCY_TYPE_BLINK
                                     : overlay.alpha != OPAQUE ? Mixer::TRANSPARENCY_TYPE_FIXED_ALPHA
                                                               : Mixer::TRANSPARENCY_TYPE_OVERLAY;
    Core::Property entry(MIXER_OVERLAYS);
    entry.SetChild(IBlend::BLENDING_POSITION_X, overlay.x);
    entry.SetChild(IBlend::BLENDING_POSITION_Y, overlay.y);
    entry.SetChild(Mixer::START_TIME, overlay.start);
    entry.SetChild(Mixer::TRANSPARENCY_TYPE, transparency);
    entry.SetChild(IBlend::BLENDING_ALPHA, overlay.alpha);
    entry.SetChild(Mixer::BLINK_SHOW_DURATION, overlay.show.value_or(0));
    entry.SetChild(Mixer::BLINK_HIDE_DURATION, overlay.hide.value_or(0));
    entry.SetChild(Mixer::LOOP_STREAM, overlay.loop ? "1" : "0");
    entry.SetChild(Mixer::USE_FIRST_FRAME_AS_WATERMARK, overlay.still ? "1" : "0");
    return entry;
}

/// Half a picture at most: where the pictures of both streams lie across each other, the mixer finds none that is seen
/// for longer.
int64 MinOverlapFor(StreamInfo const& info) {
    int64 const usual = SettingsFilterVideoMixer::DEFAULT_MIN_OVERLAP;
    auto const* const format = dynamic_cast<Conf::IFormatCodecVideo const*>(info.format.get());
    Ratio const rate = format ? format->GetFrameRate() : Ratio(0);
    if (rate.numerator() <= 0) return usual;
    return std::min(usual, AvRescale(SECOND, rate.denominator(), rate.numerator()) / 2);
}

int FollowingSide(int told, double across, double over) {
    double const side = std::round(told * across / over);
    return static_cast<int>(std::clamp(side, 1.0, static_cast<double>(MAX_PICTURE_SIDE)));
}

/// Whether the only picture of a file asks to be turned, which the container doesn't know. False where it can't be
/// decoded: the run tells what is wrong with it.
bool IsTurned(MediaFile& file, StreamInfo const& info) {
    try {
        iptr<IDataVideo> const picture = VideoDecoder::Create(file.OpenStream(info.index), "", {})->Read();
        return picture && IsRotated(*FrameOf(*picture));
    } catch (Exception const&) {
        return false;
    }
}

/// A drawn file and what is known of it.
struct Drawn {
    OverlayRequest request;
    iptr<MediaFile> file = nullptr;
    StreamInfo const* info = nullptr;  // the file's
    Conf::FrameInfo shape = {};
    bool isTurned = false;

    [[noreturn]] void Fail(std::string const& what) const { FailAtPlace("", request.GetName() + ": " + what); }
};

Drawn OpenDrawn(FormMaker& maker, OverlayRequest const& request) {
    Drawn drawn{request};
    try {
        drawn.file = maker.Open(request.file);
        for (StreamInfo const& info : drawn.file->GetStreams())
            if (!drawn.info && info.kind == StreamKind::Video) drawn.info = &info;
        if (!drawn.info) drawn.Fail(request.file + ": there is no picture in it");
        int64 const count = static_cast<int64>(drawn.file->GetIndex(drawn.info->index).GetCount());
        if (count == 0) drawn.Fail(request.file + ": " + StreamName(*drawn.info) + " holds no packets");
        drawn.shape = InfoOf(*drawn.info);
        if (count == 1) drawn.request.still = true;
        drawn.isTurned = IsRotated(*drawn.info->native) || (count == 1 && IsTurned(*drawn.file, *drawn.info));
    } catch (Core::IOException const& failure) {
        TARSEL_THROW(Core::IOException, request.GetName() + ": " + failure.what());
    }
    return drawn;
}

/// Puts the mixer over the pictures of a file.
class MixerMaker {
  public:
    MixerMaker(std::string const& input, std::vector<OverlayRequest> const& overlays)
        : input(input), overlays(overlays) {}

    NodeId Put(FormMaker& maker, StreamInfo const& info, NodeId source) {
        Conf::FrameInfo const canvas = InfoOf(info);
        int64 const mainEnd = maker.Open(input)->GetIndex(info.index).GetEndTime();
        Core::Property settings = Settings2Property(SettingsFilterVideoMixer(MinOverlapFor(info)));
        std::vector<NodeId> inputs{source};
        for (OverlayRequest const& overlay : overlays) {
            Drawn drawn = OpenDrawn(maker, overlay);
            Conf::FrameInfo const size = SizeOn(canvas, drawn);
            Settle(maker, drawn, canvas, size);
            if (!isTold && HasValue(mainEnd) && overlay.start >= mainEnd)
                maker.Warn(overlay.GetName() + ": it starts where MAIN has no pictures any more: they end at " +
                           ShortTime(mainEnd));
            NodeId top = maker.AddSource(overlay.file, {StreamKind::Video, 0});
            if (overlay.width || overlay.height) {
                SettingsResizer resize;
                resize.SetCustomMode(SettingsResizer::MODE_STRETCH, size);
                top = maker.AddFilter(SettingsResizer::CLASS_ID, ImplNames::TARSEL, Settings2Property(resize), {top});
            }
            inputs.push_back(top);
            settings.Add(EntryOf(drawn.request));
        }
        if (IsRotated(*info.native))
            maker.Warn(StreamName(info) + ": its file asks players to turn the picture: what is drawn turns with it");
        isTold = true;
        return maker.AddFilter(SettingsFilterVideoMixer::CLASS_ID, ImplNames::TARSEL, std::move(settings),
                               std::move(inputs));
    }

  private:
    /// How large it will be in the main picture's pixels.
    static Conf::FrameInfo SizeOn(Conf::FrameInfo const& canvas, Drawn const& drawn) {
        Conf::FrameInfo size = canvas;
        size.width = drawn.request.width.value_or(WidthInPixelsOf(canvas, drawn.shape));
        size.height = drawn.request.height.value_or(drawn.shape.height);
        if (drawn.request.width.has_value() == drawn.request.height.has_value()) return size;
        if (drawn.shape.width < 1 || drawn.shape.height < 1)
            drawn.Fail(drawn.file->GetPath() + ": its pictures have no known shape: both sides are needed");
        double const across = WidthInPixelsOf(canvas, drawn.shape);
        double const down = drawn.shape.height;
        if (drawn.request.width)
            size.height = FollowingSide(*drawn.request.width, down, across);
        else
            size.width = FollowingSide(*drawn.request.height, across, down);
        return size;
    }

    /// Takes out what means nothing, and tells of what will look otherwise than it was asked for.
    void Settle(FormMaker& maker, Drawn& drawn, Conf::FrameInfo const& canvas, Conf::FrameInfo const& size) const {
        OverlayRequest& request = drawn.request;
        auto const warn = [&](std::string const& what) {
            if (!isTold) maker.Warn(request.GetName() + ": " + what);
        };
        int const evenX = request.x & ~1, evenY = request.y & ~1;
        if (evenX != request.x || evenY != request.y)
            warn("it is drawn at " + std::to_string(evenX) + "," + std::to_string(evenY) +
                 ": only even places can be drawn at");
        if (evenX >= canvas.width || evenY >= canvas.height || evenX + size.width <= 0 || evenY + size.height <= 0)
            warn("it lies outside of the picture, which is " + std::to_string(canvas.width) + "x" +
                 std::to_string(canvas.height));
        if (drawn.isTurned) warn("its file asks players to turn the picture: it is drawn as it lies in the file");
        if (request.still && request.loop) warn("a still picture stays to the end: it doesn't loop");
        int64 const duration = drawn.file->GetIndex(drawn.info->index).GetEndTime();
        if (!request.still && request.loop && (!HasValue(duration) || duration <= 0)) {
            warn(drawn.file->GetPath() + " has no known length: it doesn't loop");
            request.loop = false;
        }
        if (request.still) request.loop = false;
    }

    std::string const& input;
    std::vector<OverlayRequest> const& overlays;
    /// Whether the warnings have been told, for a file with several streams of pictures.
    bool isTold = false;
};

}  // namespace

ShortFormGraph MakeOverlayGraph(std::string const& input, std::vector<OverlayRequest> const& overlays,
                                ShortFormOptions const& options) {
    if (overlays.empty()) FailAtPlace("", "there is nothing to draw");
    if (overlays.size() >= MAX_GRAPH_INPUTS)
        FailAtPlace("", "more than " + std::to_string(MAX_GRAPH_INPUTS - 1) + " pictures can't be drawn");
    MixerMaker mixer(input, overlays);
    StreamChanges changes;
    changes.video = [&](FormMaker& maker, StreamInfo const& info, NodeId source) {
        return mixer.Put(maker, info, source);
    };
    return MakeChangedGraph(input, changes, options);
}

}  // namespace Tarsel::Host
