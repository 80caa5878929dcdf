// Subtitles, streams and engines for tests of titles.
#pragma once

#include <algorithm>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Proc/DataSubtitleFF.h"
#include "contracts/Proc/DataVideoFF.h"
#include "contracts/Proc/IOverlayStream.h"
#include "contracts/Proc/ITextEngine.h"
#include "contracts/Proc/SettingsResizer.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/ScriptedStream.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavutil/mem.h>
}

namespace Tarsel::Test {

/// What a rectangle of a subtitle is made of. The allocations are exactly as large as what is given here, so that a
/// sanitizer sees each byte beyond.
struct TitleRect {
    AVSubtitleType type = SUBTITLE_BITMAP;
    int x = 0, y = 0, w = 0, h = 0;
    std::vector<u8> indices = {};
    std::vector<u8> palette = {};  // R, G, B, A of each entry
    int linesize = -1;             // the width unless told
    char const* text = nullptr;
    char const* ass = nullptr;
};

/// A rectangle of one colour.
inline TitleRect Block(int x, int y, int w, int h, std::vector<u8> color) {
    return {SUBTITLE_BITMAP, x, y, w, h, std::vector<u8>(static_cast<std::size_t>(w) * static_cast<std::size_t>(h), 0),
            std::move(color)};
}
inline TitleRect TextRect(char const* text, char const* ass = nullptr, AVSubtitleType type = SUBTITLE_TEXT) {
    TitleRect rect;
    rect.type = type;
    rect.text = text;
    rect.ass = ass;
    return rect;
}

inline u8* Copied(std::vector<u8> const& bytes) {
    if (bytes.empty()) return nullptr;
    auto* const copy = static_cast<u8*>(av_malloc(bytes.size()));
    std::memcpy(copy, bytes.data(), bytes.size());
    return copy;
}

/// An event as decoders give it, to be filled in further or wrapped.
inline AVSubtitle MakeEvent(std::vector<TitleRect> const& rects) {
    AVSubtitle event{};
    event.pts = AV_NOPTS_VALUE;
    event.num_rects = static_cast<unsigned>(rects.size());
    if (rects.empty()) return event;
    event.rects = static_cast<AVSubtitleRect**>(av_calloc(rects.size(), sizeof(AVSubtitleRect*)));
    for (std::size_t i = 0; i < rects.size(); ++i) {
        TitleRect const& from = rects[i];
        auto* const rect = static_cast<AVSubtitleRect*>(av_mallocz(sizeof(AVSubtitleRect)));
        rect->type = from.type;
        rect->x = from.x;
        rect->y = from.y;
        rect->w = from.w;
        rect->h = from.h;
        rect->linesize[0] = from.linesize >= 0 ? from.linesize : from.w;
        rect->data[0] = Copied(from.indices);
        rect->data[1] = Copied(from.palette);
        rect->nb_colors = static_cast<int>(from.palette.size() / 4);
        if (from.text) rect->text = av_strdup(from.text);
        if (from.ass) rect->ass = av_strdup(from.ass);
        event.rects[i] = rect;
    }
    return event;
}

inline iptr<Proc::IDataSubtitle> MakeTitle(int64 time, int64 duration, std::vector<TitleRect> const& rects) {
    AVSubtitle event = MakeEvent(rects);
    return Proc::DataSubtitleFF::Create(&event, time, duration);
}

/// A subtitle over an event that somebody else owns, or over none.
class BorrowedSubtitle : public Proc::IDataSubtitle, public RefCounted {
  public:
    BorrowedSubtitle(AVSubtitle* event, int64 time, int64 duration) : event(event), time(time), duration(duration) {}

    int64 GetDuration() const override { return duration; }
    void SetDuration(int64 value) override { duration = value; }
    int64 GetTime() const override { return time; }
    void SetTime(int64 value) override { time = value; }
    void CutBegin(int64) override {}
    void Cut(int64, int64) override {}
    void CutEnd(int64) override {}
    AVSubtitle* GetAVSubtitle() override { return event; }
    iptr<Proc::IDataSubtitle> Clone(bool) const override { return MakeShared<BorrowedSubtitle>(event, time, duration); }

  private:
    AVSubtitle* const event;
    int64 time;
    int64 duration;
};

/// All bytes of an RGBA picture, row by row.
inline std::vector<int> BytesOf(Proc::IDataVideo const& picture) {
    std::vector<int> bytes;
    auto const plane = picture.GetPlaneConst(0);
    for (int row = 0; row < plane.GetRows(); ++row) {
        u8 const* const line = plane.GetOffsetPtr(0, static_cast<unsigned>(row));
        bytes.insert(bytes.end(), line, line + plane.GetRowBytes());
    }
    return bytes;
}

/// A stream of subtitles that seeks by where they begin, as files of subtitles do: to the first one that doesn't begin
/// ahead of the position. It gives its items themselves. Behind the last one each read gives null.
class SubtitleScript final : public Proc::IStreamSubtitle, public RefCounted {
  public:
    using Items = std::vector<iptr<Proc::IDataSubtitle>>;

    explicit SubtitleScript(Items items = {}) : items(std::move(items)) {}

    iptr<Conf::IFormatCodecSubtitle> format = Conf::IFormatCodecSubtitle::Create();
    CallLog log;
    /// Items given since the start, nulls not counted.
    int given = 0;

    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    int64 GetDuration() const override { return NO_VALUE; }
    int64 GetPosition() override { return NO_VALUE; }
    iptr<Proc::IDataSubtitle> Read() override {
        log.Add("Read");
        if (ended || next >= items.size()) return nullptr;
        ++given;
        return items[next++];
    }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        log.Add("RequestSeek(" + std::to_string(position) + (context ? ", context)" : ")"));
        target = position;
        ended = false;
    }
    void DoSeek() override {
        log.Add("DoSeek");
        auto const begins = [this](auto const& item) { return item->GetTime() >= target; };
        next = static_cast<std::size_t>(std::find_if(items.begin(), items.end(), begins) - items.begin());
    }
    bool FinishSeek() override { return true; }
    iptr<Conf::IFormatCodecSubtitle const> GetFormatCodec() const override { return format; }
    Core::Property GetStatistic() override { return Core::MakeStatistics("SubtitleScript", 0, 0); }
    void SetEndOfStream() override {
        log.Add("SetEndOfStream");
        ended = true;
    }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override { log.Add("ReleaseInternalData"); }
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "SubtitleScript", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }

  private:
    Items const items;
    std::size_t next = 0;
    int64 target = 0;
    std::atomic<bool> ended{false};
};

/// An overlay stream that draws nothing: it notes what it would draw.
class ScriptedOverlay final : public Proc::StreamImpl<Proc::IStreamVideo, Proc::IOverlayStream> {
  public:
    /// What lay over one frame.
    struct Drawn {
        int64 time;
        iptr<Proc::IDataVideo> image;
        Proc::CropInfo crop;
    };

    explicit ScriptedOverlay(iptr<Proc::IStreamVideo> source) : StreamImpl(std::move(source), false) { last = this; }
    ~ScriptedOverlay() override {
        StopReaderThread();
        if (last == this) last = nullptr;
    }
    /// As the function of a filter's row.
    static iptr<Proc::IOverlayStream> Create(iptr<Proc::IStreamVideo> const& source) {
        return MakeShared<ScriptedOverlay>(source);
    }
    /// The one that was made last and still lives.
    inline static ScriptedOverlay* last = nullptr;

    /// Runs ahead of each read of a frame.
    std::function<void()> onRead;
    std::vector<Drawn> drawn;
    iptr<Proc::IOverlayProvider> provider;
    std::vector<Proc::SettingsSubtitleDrawer> settings;

    void SetOverlayProvider(iptr<Proc::IOverlayProvider> const& value) override { provider = value; }
    void SetOverlaySettings(Proc::SettingsSubtitleDrawer const& value) override { settings.push_back(value); }
    int64 GetSeekPosition() override { return seekPosition; }
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    Core::Property GetStatistic() override {
        return parentStream->GetStatistic().Add(Core::MakeStatistics("ScriptedOverlay", 0, 0));
    }
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }

  protected:
    void AcceptInternal(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, "ScriptedOverlay", Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
    }
    iptr<Proc::IDataVideo> ReadInternal() override {
        if (onRead) onRead();
        iptr<Proc::IDataVideo> frame = parentStream->Read();
        if (!frame) return nullptr;
        seekPosition = AddTime(frame->GetTime(), frame->GetDuration());
        Drawn over{frame->GetTime(), nullptr, {}};
        if (provider) over.image = provider->GetOverlay(frame->GetTime(), frame->GetFrameInfo(), over.crop);
        drawn.push_back(over);
        return frame;
    }
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& context) override {
        seekPosition = target;
        parentStream->RequestSeek(target, context);
    }
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    int64 seekPosition = 0;
};

/// An engine that keeps its lines and draws what the test says.
class ScriptedTextEngine final : public Proc::ITextEngine, public RefCounted {
  public:
    std::vector<std::string> lines;
    int clears = 0;
    std::function<iptr<Proc::IDataVideo>(int64, Conf::FrameInfo const&, Proc::CropInfo&)> onRender;

    void AddTextLine(std::string const& line) override { lines.push_back(line); }
    iptr<Proc::IDataVideo> RenderImage(int64 time, Conf::FrameInfo const& info, Proc::CropInfo& crop) override {
        return onRender ? onRender(time, info, crop) : nullptr;
    }
    void ClearLines() override {
        ++clears;
        lines.clear();
    }
};

class ScriptedOverlayFactory final : public Proc::IOverlayFactory, public RefCounted {
  public:
    struct Made {
        std::string header;
        Proc::SettingsSubtitleDrawer settings;
        iptr<ScriptedTextEngine> engine;
    };

    /// Runs ahead of each birth.
    std::function<void()> onCreate;
    bool givesNone = false;
    mutable std::vector<Made> made;

    iptr<Proc::ITextEngine> CreateTextEngine(std::string const& header,
                                             Proc::SettingsSubtitleDrawer const& settings) const override {
        if (onCreate) onCreate();
        if (givesNone) return nullptr;
        made.push_back({header, settings, MakeShared<ScriptedTextEngine>()});
        return made.back().engine;
    }
};

/// A resizer that notes its targets and gives transparent pictures of their sizes.
class ScriptedResizer final : public IdleEffect<Proc::IOneInputEffectVideo> {
  public:
    using IdleEffect::Initialize;

    std::vector<Proc::SettingsResizer> settings;
    bool givesNone = false;

    void Initialize(Proc::Settings const& value) override {
        settings.push_back(dynamic_cast<Proc::SettingsResizer const&>(value));
    }
    void Process(iptr<Proc::IDataVideo>& picture) override {
        picture =
            givesNone ? nullptr : Proc::DataVideoFF::Create(PIX_FMT_RGBA, settings.back().GetFrameInfo(), nullptr);
    }
};

/// The count in a node of statistics of this name, whose time is anything from 0 up; -1 for one of another shape.
inline int64 CountedIn(Core::Property const& node, std::string const& name) {
    bool const fits = node.Name() == name && node.Children().size() == 2 && node["Time"].GetInt64() >= 0;
    return fits ? node["Count"].GetInt64() : -1;
}

}  // namespace Tarsel::Test
