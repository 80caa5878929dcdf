#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/SmartMapVideo.h"
#include "tests/support/Builders.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A lock of a map from construction to destruction.
class MapLock {
  public:
    explicit MapLock(ILockable& map) : map(map) { map.Lock(); }
    ~MapLock() { map.Unlock(); }
    MapLock(MapLock const&) = delete;
    MapLock& operator=(MapLock const&) = delete;

  private:
    ILockable& map;
};

/// Releases a handle as a host has to.
template <class Handle>
void Unmap(ILockable& map, Handle& handle) {
    MapLock const lock(map);
    handle.reset();
}

/// The byte that all of a picture of `MakeVideo` is made of.
inline int ShadeOf(Proc::IDataVideo const& frame) {
    return *frame.GetPlaneConst(0).GetOffsetPtr(0, 0);
}

/// "40+20 #3": begin, length and shade of a picture.
inline std::string TextOf(Proc::IDataVideo const& frame) {
    return Details::Text(frame.GetTime()) + "+" + Details::Text(frame.GetDuration()) + " #" +
           std::to_string(ShadeOf(frame));
}

/// The next item, or "null".
inline std::string ReadText(Proc::IStreamVideo& stream) {
    iptr<Proc::IDataVideo> const frame = stream.Read();
    return frame ? TextOf(*frame) : std::string("null");
}

/// More than any map here gives.
inline constexpr std::size_t MOST_ITEMS = 100000;

/// All items up to the first null.
inline std::vector<std::string> ReadTexts(Proc::IStreamVideo& stream, std::size_t limit = MOST_ITEMS) {
    std::vector<std::string> texts;
    for (auto const& frame : ReadAll(stream, limit)) texts.push_back(TextOf(*frame));
    return texts;
}

/// Pictures of these lengths end to end, shaded from `shade` on, in a source as long as they are together.
inline iptr<ScriptedVideo> MakePictures(std::vector<int64> const& lengths, int shade, int64 first = 0) {
    std::vector<ScriptedVideo::Step> steps;
    int64 time = first;
    for (int64 const length : lengths) {
        steps.emplace_back(MakeVideo(time, length, static_cast<u8>(shade++)));
        time = AddTime(time, length);
    }
    auto source = ScriptedVideo::Create(steps);
    source->duration = time;
    return source;
}

/// An effect on any number of pictures that notes what it is asked and gives the last one.
class NotingEffect : public IdleEffect<Proc::IOneInputEffectVideo> {
  public:
    explicit NotingEffect(std::string name = "effect", int frameType = 0)
        : name(std::move(name)), frameType(frameType) {}

    /// "effect: 0+40 #1, 0+40 #2" and "effect: reset", in order. May be shared by several effects.
    std::vector<std::string> ownCalls;
    std::vector<std::string>* calls = &ownCalls;
    /// In place of giving the last input.
    std::function<iptr<Proc::IData>(std::vector<iptr<Proc::IData>> const&)> onProcess;

    std::vector<std::string> Take() { return std::exchange(*calls, {}); }

    void ResetEffectState() override { calls->push_back(name + ": reset"); }
    int GetProcessingFrameType() override { return frameType; }
    Core::Property GetStatistic() override { return Core::MakeStatistics(name, 0, 0); }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override { format->SetCodecID("adapted"); }
    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override {
        std::string text = name + ":";
        for (iptr<Proc::IData> const& input : inputs)
            text += (text.back() == ':' ? " " : ", ") + TextOf(dynamic_cast<Proc::IDataVideo const&>(*input));
        calls->push_back(text);
        return onProcess ? onProcess(inputs) : inputs.back();
    }

  private:
    std::string const name;
    int const frameType;
};

/// For maps of sound: see `SmartMapAudioSupport.h`.
std::vector<std::string> ReadTexts(Proc::IStreamAudio& stream, std::size_t limit);

/// A map with the handles of what stands on it.
template <class Map, class T, class Handle>
class HeldMap {
  public:
    explicit HeldMap(iptr<Map> map) : map(std::move(map)) {}
    ~HeldMap() {
        MapLock const lock(*map);
        streams.clear();
        effects.clear();
    }
    HeldMap(HeldMap const&) = delete;
    HeldMap& operator=(HeldMap const&) = delete;

    Map* operator->() const { return map.get(); }
    Map& operator*() const { return *map; }

    HeldMap& Add(iptr<T> const& source, int64 begin = 0, int order = 0) {
        MapLock const lock(*map);
        streams.push_back(map->MapStream(source));
        streams.back()->SetBegin(begin);
        streams.back()->SetOrder(order);
        return *this;
    }
    HeldMap& Add(iptr<Proc::IEffect> const& effect, int64 begin, int64 end) {
        MapLock const lock(*map);
        effects.push_back(map->MapEffect(effect, begin, end));
        return *this;
    }
    /// All that reading from `position` gives.
    std::vector<std::string> ReadFrom(int64 position) {
        Seek(*map, position);
        return ReadTexts(*map, MOST_ITEMS);
    }

    iptr<Map> const map;
    std::vector<iptr<Handle>> streams;
    std::vector<iptr<Proc::IMappedEffect>> effects;
};

class VideoMap : public HeldMap<Proc::ISmartMapVideo, Proc::IStreamVideo, Proc::IMappedStreamVideo> {
  public:
    VideoMap() : HeldMap(Proc::SmartMapVideo::Create()) {}
};

}  // namespace Tarsel::Test
