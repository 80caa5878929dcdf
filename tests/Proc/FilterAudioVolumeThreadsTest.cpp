// What may come from another thread while a block is being read. Gates hold the read; nothing here waits for time to
// pass.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#include "Proc/Filters/Filters/FilterAudioGenerator.h"
#include "Proc/Filters/Filters/FilterAudioVolume.h"
#include "tests/support/Builders.h"
#include "tests/support/Gate.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/Sound.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr double MARK = 1.0 / 1024;

/// Quiet sound of a second a block; the factor can be told from it.
std::vector<iptr<IDataAudio>> QuietBlocks(int count) {
    std::vector<iptr<IDataAudio>> blocks;
    for (int i = 0; i < count; ++i) blocks.push_back(MakeMono(SECOND * i, SECOND, {MARK, MARK}));
    return blocks;
}

double FactorOf(IDataAudio& block) {
    return PlaneOf<double>(block)[0] / MARK;
}

Core::Property Volume(double volume, bool autoLevel) {
    return IFilterAudioVolume::Settings2Property(SettingsFilterAudioVolume(volume, autoLevel));
}

/// A filter over a source whose reads are held.
class HeldRead : public ::testing::Test {
  protected:
    HeldRead() {
        source->gate = gate;
        filter->Initialize(Volume(1.0, true));
    }
    /// Reads on a thread of its own up to the gate, runs `meanwhile` here, then lets the read through and gives the
    /// block.
    template <class Meanwhile>
    iptr<IDataAudio> ReadWith(Meanwhile meanwhile) {
        iptr<IDataAudio> block;
        gate->Close();
        int const arrivals = gate->GetArrivals();
        std::thread reader([&] { block = filter->Read(); });
        gate->AwaitArrivals(arrivals + 1);
        meanwhile();
        gate->Open();
        reader.join();
        return block;
    }

    std::shared_ptr<Gate> const gate = std::make_shared<Gate>();
    iptr<ScriptedAudio> const source = ScriptedAudio::Create(QuietBlocks(5));
    iptr<FilterAudioVolume> const filter = MakeShared<FilterAudioVolume>(source);
};
using FilterAudioVolumeThreads = HeldRead;

TEST_F(FilterAudioVolumeThreads, NewSettingsDoNotWaitForAReadOfTheSourceAndHoldForItsBlock) {
    auto const block = ReadWith([&] { filter->UpdateSettings(Volume(0.5, false)); });
    EXPECT_EQ(FactorOf(*block), 0.5);
}

TEST_F(FilterAudioVolumeThreads, SettingsAreToldWhileASourceIsBeingRead) {
    ReadWith([&] { EXPECT_EQ(filter->GetSettings(), Volume(1.0, true)); });
}

TEST_F(FilterAudioVolumeThreads, SettingsObjectsDoNotWaitEither) {
    auto const block = ReadWith([&] { filter->Initialize(SettingsFilterAudioVolume(3)); });
    EXPECT_EQ(FactorOf(*block), 3.0);
}

TEST_F(FilterAudioVolumeThreads, GainThatBeganAnewIsNotOverwrittenByTheBlockThatIsUnderWay) {
    EXPECT_EQ(FactorOf(*filter->Read()), 1.7);
    auto const block = ReadWith([&] { filter->UpdateSettings(Volume(1.0, true)); });
    EXPECT_EQ(FactorOf(*block), 1.7) << "the block is the first of the new gain";
    EXPECT_EQ(FactorOf(*filter->Read()), 1.7 + 0.7);
}

TEST_F(FilterAudioVolumeThreads, EndFromAnotherThreadEndsAReadThatIsUnderWayWithTheSourcesAnswer) {
    EXPECT_EQ(ReadWith([&] { filter->SetEndOfStream(); }), nullptr);
    EXPECT_TRUE(filter->IsEndOfStream());
}

TEST(FilterAudioVolumeStress, SettingsAreChangedWhileBlocksAreRead) {
    auto const filter = MakeShared<FilterAudioVolume>(ScriptedAudio::Create(QuietBlocks(2000)));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; !done; ++i) {
            filter->UpdateSettings(Volume(i % 2 ? 2.0 : 3.0, false));
            filter->GetSettings();
        }
    });
    auto const blocks = ReadAll(*filter);
    done = true;
    writer.join();
    EXPECT_EQ(blocks.size(), 2000U);
    for (auto const& block : blocks) {
        double const factor = FactorOf(*block);
        EXPECT_TRUE(factor == 1.0 || factor == 2.0 || factor == 3.0) << factor;
    }
}

TEST(FilterAudioGeneratorStress, SettingsAreChangedAndAskedForWhileBlocksAreRead) {
    auto const filter = MakeShared<FilterAudioGenerator>();
    auto const settings = [](double value) {
        SettingsAudioGenerator result;
        result.SetSampleInfo({Conf::SAMPLE_FORMAT_DBL, 1000, Conf::CHANNEL_LAYOUT_MONO});
        result.SetDuration(2000000);
        result.SetBlockSamples(1);
        result.SetGenerator([value](uint32) { return value; });
        return result;
    };
    filter->UpdateSettings(settings(0.25));
    std::atomic<bool> done{false};
    std::thread writer([&] {
        for (int i = 0; !done; ++i) {
            filter->UpdateSettings(settings(i % 2 ? 0.25 : 0.5));
            EXPECT_EQ(filter->GetFormatCodec()->GetSampleInfo().GetSampleRate(), 1000);
            EXPECT_LE(filter->GetPosition(), filter->GetDuration());
            EXPECT_LE(filter->GetStatistic().Children()[0]["Count"].GetInt64(), 2000);
        }
    });
    auto const blocks = ReadAll(*filter);
    done = true;
    writer.join();
    EXPECT_EQ(blocks.size(), 2000U);
    for (auto const& block : blocks) {
        double const value = PlaneOf<double>(*block)[0];
        EXPECT_TRUE(value == 0.25 || value == 0.5) << value;
    }
}

}  // namespace
}  // namespace Tarsel::Proc
