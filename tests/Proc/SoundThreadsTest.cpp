// What the filters of sound promise to other threads while one reads. A gate holds reads where that matters; nothing
// waits for time to pass.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "contracts/Core/Thread.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IFilterAudioMixer.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "host/graph/Factories.h"
#include "tests/support/Builders.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;

/// A second of silence in hundredths, all of whose operations any thread may call. A closed gate holds its reads until
/// it is told that it has ended.
class SharedAudio final : public virtual IStreamAudio, public RefCounted {
  public:
    std::shared_ptr<Gate> const gate = std::make_shared<Gate>();

    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return Core::Property("SharedAudio"); }
    int64 GetDuration() const override { return SECOND; }
    int64 GetPosition() override { return NO_VALUE; }
    iptr<IDataAudio> Read() override {
        gate->Pass();
        int const index = next++;
        return ended || index >= 100 ? nullptr : MakeAudio(int64{index} * 10000, 480);
    }
    void RequestSeek(int64 position, iptr<IRefCountable>) override {
        ended = false;
        next = static_cast<int>(std::max<int64>(position, 0) / 10000);
    }
    void DoSeek() override {}
    bool FinishSeek() override { return true; }
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override {
        auto const format = Conf::IFormatCodecAudio::Create();
        format->SetSampleInfo({Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO});
        return format;
    }
    Core::Property GetStatistic() override { return Core::GetRootItem(); }
    void SetEndOfStream() override {
        ended = true;
        gate->Open();
    }
    bool IsEndOfStream() override { return ended; }
    void ReleaseInternalData() override {}
    void Accept(IStreamVisitor&) override {}

  private:
    std::atomic<int> next{0};
    std::atomic<bool> ended{false};
};

iptr<IFilterFactory const> Filters() {
    static iptr<IFilterFactory const> const factory = Host::MakeFilterFactory();
    return factory;
}
iptr<IFilterResample> MakeResample(iptr<IStreamAudio> const& source) {
    return Filters()->CreateResample(source, ImplNames::DEFAULT);
}
iptr<IFilterAudioFormatter> MakeFormatter(iptr<IStreamAudio> const& source) {
    return Filters()->CreateAudioFormatter(source, ImplNames::DEFAULT);
}
iptr<IStreamAudioEx> MakeVolume(iptr<IStreamAudio> const& source) {
    return Filters()->CreateAudio(SettingsFilterAudioVolume::CLASS_ID, ImplNames::DEFAULT, source,
                                  SettingsFilterAudioVolume(0.5, true));
}
iptr<IFilterAudioHistogram> MakeHistogram(iptr<IStreamAudio> const& source) {
    return Filters()->Dedicated(FilterSlots::AUDIO_HISTOGRAM, ImplNames::DEFAULT)(source);
}
iptr<IFilterAudioMixer> MakeMixer() {
    return Filters()->Dedicated(FilterSlots::AUDIO_MIXER, ImplNames::DEFAULT)(Filters());
}

/// Reads the stream again and again, while each of the calls is made so often on a thread of its own.
void ReadBeside(IStream& stream, int times, std::vector<std::function<void(int)>> const& calls) {
    std::vector<std::unique_ptr<Core::Thread>> threads;
    for (auto const& call : calls)
        threads.push_back(std::make_unique<Core::Thread>([&call, times] {
            for (int i = 0; i < times; ++i) call(i);
        }));
    for (int round = 0; round < 10; ++round) {
        Seek(stream, round * 30000);
        for (int count = 0; stream.Read();) ASSERT_LT(++count, 1000);
    }
    for (auto const& thread : threads) thread->Join();
}

void Report(IStream& stream) {
    stream.GetStatistic();
    stream.GetFormatCodecBase();
    stream.GetDuration();
    stream.IsEndOfStream();
}

TEST(SoundThreads, AChainIsReportedOnAndSetAnewWhileItIsRead) {
    auto const resample = MakeResample(MakeShared<SharedAudio>());
    auto const formatter = MakeFormatter(resample);
    auto const volume = MakeVolume(formatter);
    auto const histogram = MakeHistogram(volume);
    auto const drawing = boost::dynamic_pointer_cast<IStreamVideoEx>(histogram);
    auto const converting = boost::dynamic_pointer_cast<IStreamAudioEx>(resample);
    // Who asks isn't who sets, and has taken no other lock that would put the two in an order.
    ReadBeside(*histogram, 40,
               {[&](int) {
                    Report(*histogram);
                    histogram->GetSettings();
                },
                [&](int) { resample->GetSettings(); }, [&](int) { formatter->GetSettings(); },
                [&](int) { volume->GetSettings(); },
                [&](int i) {
                    Conf::SampleInfo const target(Conf::SAMPLE_FORMAT_FLTP, i % 2 ? 44100 : 48000, 0);
                    if (i % 3)
                        resample->SetSampleInfo(target);
                    else
                        converting->Initialize(SettingsFilterResample(target));
                },
                [&](int i) { formatter->SetPacketDuration(i * 1000); },
                [&](int i) { volume->Initialize(SettingsFilterAudioVolume(i / 10.0, i % 2)); },
                [&](int i) {
                    SettingsAudioHistogram settings;
                    settings.SetWidth(static_cast<uint32>(16 + i));
                    settings.SetHeight(16);
                    drawing->Initialize(settings);
                },
                [&](int i) {
                    if (i % 20 == 0) histogram->SetEndOfStream();
                }});
    EXPECT_NE(histogram->GetSettings().Name(), "");
}

TEST(SoundThreads, AMixerIsReportedOnAndEndedWhileItIsRead) {
    auto const mixer = MakeMixer();
    for (int i = 0; i < 3; ++i) mixer->AddStream(MakeShared<SharedAudio>(), 50);
    ReadBeside(*mixer, 40,
               {[&](int) {
                    Report(*mixer);
                    mixer->GetPosition();
                },
                [&](int i) {
                    if (i % 20 == 0) mixer->SetEndOfStream();
                }});
    Seek(*mixer, 0);
    EXPECT_EQ(ReadAll(*mixer).size(), 10U) << "an end from another thread doesn't last beyond the next seek";
}

/// Whether a read that its source holds ends when another thread sets the end, which must not wait for that read.
void ExpectEndBreaksRead(std::function<iptr<IStream>(iptr<IStreamAudio> const&)> const& make) {
    auto const source = MakeShared<SharedAudio>();
    iptr<IStream> const stream = make(source);
    Seek(*stream, 0);
    source->gate->Close();
    iptr<IData> item = MakeAudio(0, 1);
    Core::Thread reader([&] { item = stream->Read(); });
    source->gate->AwaitArrivals(1);
    stream->SetEndOfStream();
    reader.Join();
    EXPECT_EQ(item, nullptr);
    EXPECT_TRUE(stream->IsEndOfStream());
    EXPECT_EQ(stream->Read(), nullptr);
    Seek(*stream, 0);
    EXPECT_NE(stream->Read(), nullptr);
}

TEST(SoundThreads, AnEndBreaksOffAReadThatTheSourceHolds) {
    ExpectEndBreaksRead(MakeResample);
    ExpectEndBreaksRead(MakeFormatter);
    ExpectEndBreaksRead(MakeVolume);
    ExpectEndBreaksRead(MakeHistogram);
    ExpectEndBreaksRead([](iptr<IStreamAudio> const& source) {
        auto const mixer = MakeMixer();
        mixer->AddStream(source, 100);
        return mixer;
    });
    ExpectEndBreaksRead([](iptr<IStreamAudio> const& source) {
        return MakeHistogram(MakeVolume(MakeFormatter(MakeResample(source))));
    });
}

}  // namespace
}  // namespace Tarsel::Proc
