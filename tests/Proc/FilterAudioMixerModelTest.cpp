#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <sstream>
#include <string>

#include "tests/Proc/MixerSupport.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

/// One stream as a run of samples: where blocks end, and how far it has been played.
struct ModelStream {
    iptr<ScriptedAudio> source;
    int seed = 0;
    int64 shift = 0;            // time of its first sample
    std::vector<int64> bounds;  // ends of its blocks, in samples
    int volume = 100;
    int64 cursor = 0;
    // Set by a seek that has brought the streams together, up to the end of the block.
    int64 alignedTime = NO_VALUE;
    int64 alignedOffset = 0;  // in the block

    int64 Total() const { return bounds.empty() ? 0 : bounds.back(); }
    bool Runs() const { return cursor < Total(); }
    /// End of the block that the cursor stands in.
    int64 BlockEnd() const { return *std::upper_bound(bounds.begin(), bounds.end(), cursor); }
    int64 BlockBegin() const {
        auto const end = std::upper_bound(bounds.begin(), bounds.end(), cursor);
        return end == bounds.begin() ? 0 : *(end - 1);
    }
};

/// Mixes sample by sample, as one would by hand.
class Model {
  public:
    explicit Model(Conf::SampleInfo const& info) : info(info) {}

    double ValueOf(int seed, int channel, int64 index) const {
        auto const noise = static_cast<double>((index * 7919 + seed * 104729 + channel * 31337) % 20011 - 10005);
        switch (static_cast<int>(Conf::PlanarFormat(info.GetSampleFormat()))) {
            case Conf::SAMPLE_FORMAT_U8P:
                return std::fmod(noise + 20000, 256);
            case Conf::SAMPLE_FORMAT_S16P:
                return std::trunc(noise);
            case Conf::SAMPLE_FORMAT_S32P:
                return noise * 100003;
            default:
                return static_cast<float>(noise / 16384);
        }
    }

    struct Block {
        int64 time = NO_VALUE;
        int64 duration = NO_VALUE;
        std::vector<double> samples;  // channel by channel
    };

    bool Read(Block& block) {
        if (aligning) Align();
        std::vector<ModelStream*> running;
        for (ModelStream& stream : streams)
            if (stream.Runs()) running.push_back(&stream);
        if (running.empty()) return false;
        int64 const count = running[0]->BlockEnd() - running[0]->cursor;
        block.time = TimeAt(*running[0]);
        block.duration = SubTime(AddTime(running[0]->shift, Length(running[0]->BlockEnd())), block.time);
        position = AddTime(block.time, block.duration);
        block.samples.clear();
        for (int channel = 0; channel < info.GetChannelCount(); ++channel)
            for (int64 i = 0; i < count; ++i) block.samples.push_back(MixAt(running, channel, i));
        for (ModelStream* const stream : running) {
            int64 const begin = stream->BlockBegin();
            stream->cursor = std::min(stream->cursor + count, stream->Total());
            if (!stream->Runs() || stream->BlockBegin() != begin) stream->alignedTime = NO_VALUE;
        }
        return true;
    }

    void Seek(int64 target) {
        for (ModelStream& stream : streams) {
            stream.alignedTime = NO_VALUE;
            stream.cursor = stream.Total();
            int64 begin = 0;
            for (int64 const end : stream.bounds) {
                if (AddTime(stream.shift, Length(end)) > target) {
                    stream.cursor = begin;
                    break;
                }
                begin = end;
            }
        }
        position = target;
        aligning = true;
    }

    std::vector<ModelStream> streams;
    int64 position = NO_VALUE;

  private:
    int64 Length(int64 count) const { return SampleCount2Duration(count, info.GetSampleRate()); }

    int64 TimeAt(ModelStream const& stream) const {
        int64 const begin = stream.BlockBegin();
        int64 const inside = Length(stream.cursor - begin);
        if (HasValue(stream.alignedTime))
            return AddTime(stream.alignedTime, SubTime(inside, Length(stream.alignedOffset)));
        return AddTime(AddTime(stream.shift, Length(begin)), inside);
    }

    double MixAt(std::vector<ModelStream*> const& running, int channel, int64 index) const {
        int const code = Conf::PlanarFormat(info.GetSampleFormat());
        int64 whole = 0;
        double real = 0;
        for (ModelStream const* const stream : running) {
            int64 const at = stream->cursor + index;
            double const sample =
                at < stream->Total() ? ValueOf(stream->seed, channel, at) : SilenceOf(info.GetSampleFormat());
            double const gain = stream->volume / 100.0;
            auto const fixed = static_cast<int64>(gain * 256 + 0.5);
            auto const number = static_cast<int64>(sample);
            if (code == Conf::SAMPLE_FORMAT_U8P)
                whole += 128 + (((number - 128) * fixed + 128) >> 8);
            else if (code <= Conf::SAMPLE_FORMAT_S32P)
                whole += (number * fixed + 128) >> 8;
            else
                real += sample * gain;
        }
        switch (code) {
            case Conf::SAMPLE_FORMAT_U8P:
                return static_cast<double>(std::clamp<int64>(whole, 0, 255));
            case Conf::SAMPLE_FORMAT_S16P:
                return static_cast<double>(std::clamp<int64>(whole, -32768, 32767));
            case Conf::SAMPLE_FORMAT_S32P:
                return static_cast<double>(std::clamp<int64>(whole, -2147483648LL, 2147483647LL));
            case Conf::SAMPLE_FORMAT_FLTP:
                return std::clamp<double>(static_cast<float>(real), -1, 1);
            default:
                return std::clamp(real, -1.0, 1.0);
        }
    }

    void Align() {
        aligning = false;
        int64 start = NO_VALUE;
        for (ModelStream const& stream : streams)
            if (stream.Runs() && TimeAt(stream) <= position) start = std::max(start, TimeAt(stream));
        int const rate = info.GetSampleRate();
        for (ModelStream& stream : streams) {
            if (!stream.Runs() || TimeAt(stream) >= start) continue;
            int64 const distance = start - TimeAt(stream);
            int64 const left = stream.Total() - stream.cursor;
            if (distance <= SECOND) {
                stream.cursor = std::min(stream.Total(), stream.cursor + Duration2SampleCount(distance, rate));
                if (!stream.Runs()) continue;
                stream.alignedTime = start;
                stream.alignedOffset = stream.cursor - stream.BlockBegin();
            } else if (left < rate) {
                stream.cursor = stream.Total();
            }
        }
    }

    Conf::SampleInfo const info;
    bool aligning = false;
};

class FilterAudioMixerModel : public ::testing::TestWithParam<int> {
  protected:
    int Pick(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

    void Add() {
        ModelStream added;
        added.seed = ++seeds;
        added.shift = Pick(0, 3) == 0 ? Pick(-300000, 1500000) : 0;
        added.volume = Pick(0, 2) == 0 ? 100 : Pick(-50, 300);
        std::vector<int> counts;
        int const largest = Pick(1, 400);
        for (int blocks = Pick(0, 60); blocks > 0; --blocks) {
            counts.push_back(Pick(0, 4) == 0 ? Pick(1, largest) : largest);
            added.bounds.push_back(added.Total() + counts.back());
        }
        added.source = MakeRunStream(
            info, counts, [&](int channel, int64 i) { return model.ValueOf(added.seed, channel, i); }, added.shift);
        mixer->AddStream(added.source, added.volume);
        model.streams.push_back(added);
    }
    void Remove() {
        if (model.streams.empty()) return;
        int const place = Pick(0, static_cast<int>(model.streams.size()) - 1);
        if (Pick(0, 1) == 0)
            mixer->RemoveStreamAt(place);
        else
            mixer->RemoveStream(model.streams[static_cast<std::size_t>(place)].source);
        model.streams.erase(model.streams.begin() + place);
    }
    void ChangeVolume() {
        if (model.streams.empty()) return;
        auto const place = static_cast<std::size_t>(Pick(0, static_cast<int>(model.streams.size()) - 1));
        model.streams[place].volume = Pick(-50, 300);
        if (Pick(0, 1) == 0)
            mixer->SetVolumeAt(static_cast<uint32>(place), model.streams[place].volume);
        else
            mixer->SetVolume(model.streams[place].source, model.streams[place].volume);
    }
    void SeekBoth() {
        int const target = Pick(-100000, 3000000);
        Seek(*mixer, target);
        model.Seek(target);
    }
    void ReadBoth() {
        Model::Block expected;
        bool const more = model.Read(expected);
        auto const block = mixer->Read();
        ASSERT_EQ(block != nullptr, more);
        if (!more) return;
        EXPECT_EQ(block->GetTime(), expected.time);
        EXPECT_EQ(block->GetDuration(), expected.duration);
        EXPECT_EQ(block->GetSampleInfo(), info);
        std::vector<double> samples;
        for (int channel = 0; channel < info.GetChannelCount(); ++channel) {
            auto const part = ChannelOf(*block, channel);
            samples.insert(samples.end(), part.begin(), part.end());
        }
        ASSERT_TRUE(samples == expected.samples);
    }

    Conf::SampleInfo const info{static_cast<Conf::SampleFormats>(GetParam() % 10), GetParam() % 3 == 0 ? 1000 : 1103,
                                GetParam() % 4 == 0 ? Conf::CHANNEL_LAYOUT_MONO : Conf::CHANNEL_LAYOUT_STEREO};
    std::mt19937 random{static_cast<unsigned>(GetParam())};
    TestMixer const mixer{};
    Model model{info};
    int seeds = 0;
};

TEST_P(FilterAudioMixerModel, RandomUseGivesWhatMixingByHandGives) {
    for (int i = Pick(1, 5); i > 0; --i) Add();
    std::ostringstream steps;
    for (int step = 0; step < 300; ++step) {
        int const what = Pick(0, 99);
        char const* const name = what < 3    ? "add"
                                 : what < 5  ? "remove"
                                 : what < 9  ? "volume"
                                 : what < 14 ? "seek"
                                             : "read";
        steps << ' ' << name;
        if (what < 3)
            Add();
        else if (what < 5)
            Remove();
        else if (what < 9)
            ChangeVolume();
        else if (what < 14)
            SeekBoth();
        else
            ReadBoth();
        EXPECT_EQ(mixer->GetPosition(), model.position);
        if (HasFailure()) {
            ADD_FAILURE() << "after" << steps.str();
            return;
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, FilterAudioMixerModel, ::testing::Range(0, 120));

}  // namespace
}  // namespace Tarsel::Proc
