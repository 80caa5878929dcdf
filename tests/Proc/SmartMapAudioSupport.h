#pragma once

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

#include "Proc/Filters/Filters/SmartMapAudio.h"
#include "contracts/Core/Exception.h"
#include "host/graph/Factories.h"
#include "tests/Proc/SmartMapSupport.h"
#include "tests/support/SoundBlocks.h"

namespace Tarsel::Test {

inline Conf::SampleInfo Mono(int rate) {
    return {Conf::SAMPLE_FORMAT_S32, rate, Conf::CHANNEL_LAYOUT_MONO};
}

/// Sound whose every sample is `base` plus its number, so that it tells where it was taken from. It has `total` samples
/// in blocks of 1000, and says that it lasts as long as they do.
inline iptr<ScriptedAudio> MakeCounting(int rate, int64 total, int base = 0, int64 firstTime = 0) {
    std::vector<ScriptedAudio::Step> steps;
    for (int64 done = 0; done < total; done += 1000) {
        int const count = static_cast<int>(std::min<int64>(1000, total - done));
        int64 const begin = AddTime(firstTime, Proc::SampleCount2Duration(done, rate));
        auto block =
            MakeSound(Mono(rate), begin, count, [&](int, int i) { return static_cast<double>(base + done + i); });
        block->SetDuration(SubTime(AddTime(firstTime, Proc::SampleCount2Duration(done + count, rate)), begin));
        steps.emplace_back(block);
    }
    auto source = ScriptedAudio::Create(steps);
    source->format->SetSampleInfo(Mono(rate));
    source->duration = AddTime(firstTime, Proc::SampleCount2Duration(total, rate));
    return source;
}

/// "100000+4800 #7": time, samples and the first one's value.
inline std::string TextOf(Proc::IDataAudio& block) {
    std::string const first =
        block.GetSampleCount() > 0 ? std::to_string(static_cast<int>(SampleAt(block, 0, 0))) : std::string("-");
    return Details::Text(block.GetTime()) + "+" + std::to_string(block.GetSampleCount()) + " #" + first;
}

inline std::string ReadText(Proc::IStreamAudio& stream) {
    iptr<Proc::IDataAudio> const block = stream.Read();
    return block ? TextOf(*block) : std::string("null");
}

/// All blocks up to the first null.
inline std::vector<std::string> ReadTexts(Proc::IStreamAudio& stream, std::size_t limit = MOST_ITEMS) {
    std::vector<std::string> texts;
    for (auto const& block : ReadAll(stream, limit)) texts.push_back(TextOf(*block));
    return texts;
}

/// An effect on any number of blocks that notes what it is asked and gives the last one.
class NotingSoundEffect : public IdleEffect<Proc::IOneInputEffectAudio> {
  public:
    explicit NotingSoundEffect(std::string name = "effect") : name(std::move(name)) {}

    std::vector<std::string> ownCalls;
    std::vector<std::string>* calls = &ownCalls;
    std::function<iptr<Proc::IData>(std::vector<iptr<Proc::IData>> const&)> onProcess;

    std::vector<std::string> Take() { return std::exchange(*calls, {}); }

    void ResetEffectState() override { calls->push_back(name + ": reset"); }
    Core::Property GetStatistic() override { return Core::MakeStatistics(name, 0, 0); }
    iptr<Proc::IData> ProcessData(std::vector<iptr<Proc::IData>> const& inputs) override {
        std::string text = name + ":";
        for (iptr<Proc::IData> const& input : inputs)
            text += (text.back() == ':' ? " " : ", ") + TextOf(dynamic_cast<Proc::IDataAudio&>(*input));
        calls->push_back(text);
        return onProcess ? onProcess(inputs) : inputs.back();
    }

  private:
    std::string const name;
};

/// A map of sound over the host's converters and cutters.
class AudioMap : public HeldMap<Proc::ISmartMapAudio, Proc::IStreamAudio, Proc::IMappedStreamAudio> {
  public:
    explicit AudioMap(int rate = 48000, iptr<Proc::IFilterFactory const> const& factory = Host::MakeFilterFactory())
        : HeldMap(Proc::SmartMapAudio::Create(factory)) {
        MapLock const lock(*map);
        map->SetSampleInfo(Mono(rate));
    }
};

}  // namespace Tarsel::Test
