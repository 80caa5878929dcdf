// The filters of sound over streams of which any call may fail and any block may be odd: nothing breaks, and behind a
// seek through sound streams they work as new ones do.
#include <gtest/gtest.h>

#include <functional>
#include <limits>
#include <random>
#include <string>

#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterAudioHistogram.h"
#include "contracts/Proc/IFilterAudioMixer.h"
#include "contracts/Proc/IFilterAudioVolume.h"
#include "contracts/Proc/IFilterResample.h"
#include "contracts/Proc/IFilterVolumeDetect.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsAudioGenerator.h"
#include "contracts/Proc/SettingsAudioHistogram.h"
#include "contracts/Proc/SettingsFilterAudioFormatter.h"
#include "contracts/Proc/SettingsFilterAudioVolume.h"
#include "host/graph/Factories.h"
#include "tests/support/FailureClasses.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/Sanitizer.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/SoundBlocks.h"

extern "C" {
#include <libavutil/log.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;

constexpr int64 MAX = std::numeric_limits<int64>::max();
constexpr int BIGGEST = std::numeric_limits<int>::max();
Conf::SampleInfo const CALM{Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO};

class Dice {
  public:
    explicit Dice(unsigned seed) : random(seed) {}
    int Roll(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }
    bool OneIn(int count) { return Roll(1, count) == 1; }
    template <class T>
    T Pick(std::vector<T> const& values) {
        return values[static_cast<std::size_t>(Roll(0, static_cast<int>(values.size()) - 1))];
    }
    int64 Time() {
        return Pick<int64>({NO_VALUE, NO_VALUE + 1, -MAX / 2, -SECOND, -1, 0, 0, 0, 1, 20833, 41667, 100000, SECOND,
                            10 * SECOND, MAX_DURATION, MAX / 2, MAX - 1, MAX});
    }
    Conf::SampleInfo Info() {
        int const channels = Pick<int>({1, 1, 2, 2, 3, 6, 8, 64});
        Conf::ChannelLayout const layout = channels == 64 ? ~Conf::ChannelLayout{0}
                                           : OneIn(8)     ? 0x4000000000000001
                                                          : Conf::DefaultChannelLayout(channels);
        return {static_cast<Conf::SampleFormats>(Roll(0, OneIn(6) ? 11 : 9)),
                Pick<int>({1, 7, 1000, 11025, 44100, 48000, 48000, 192000, BIGGEST}), layout};
    }
    /// A format with unset words and worse.
    Conf::SampleInfo Target() {
        Conf::SampleInfo const info = Info();
        return {OneIn(4) ? static_cast<Conf::SampleFormats>(Pick<int>({-1, -1, -2, 12, 1000})) : info.GetSampleFormat(),
                OneIn(3) ? Pick<int>({-1, 0, std::numeric_limits<int>::min(), BIGGEST, 999, 768001})
                         : Pick<int>({8000, 44100, 48000, 96000}),
                OneIn(3) ? 0 : info.GetChannelLayout()};
    }
    iptr<IDataAudio> Block() {
        // Counts stay small, and huge rates are rare enough as targets: this is about odd blocks, not large ones.
        auto block = DataAudioFF::CreateBySampleCount(Info(), Pick<int>({0, 0, 1, 2, 31, 500, 1000}));
        u8* const bytes = block->GetAVFrame()->extended_data[0];
        std::size_t const size = block->GetBlob()->GetSize();
        for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<u8>(Roll(0, 255));
        block->SetTime(Time());
        if (OneIn(2)) block->SetDuration(Time());
        if (OneIn(20)) block->SetSampleRate(Pick<int>({0, -1, std::numeric_limits<int>::min(), BIGGEST}));
        return block;
    }
    void Fail() {
        static std::vector<std::exception_ptr> const failures = AllFailures(FailureClasses());
        std::rethrow_exception(Pick(failures));
    }

  private:
    template <class... E>
    static std::vector<std::exception_ptr> AllFailures(::testing::Types<E...>) {
        return {MakeFailure<E>()...};
    }
    std::mt19937 random;
};

/// A stream that is odd in every way while `wild` is set, and a second of sound else.
class WildAudio : public virtual IStreamAudio, public RefCounted {
  public:
    WildAudio(Dice& dice, int seed) : dice(dice) {
        std::vector<ScriptedAudio::Step> steps;
        for (int i = 0; i < 20; ++i)
            steps.emplace_back(MakeSound(CALM, int64{i} * 50000, 2400, [=](int channel, int k) {
                return ((i * 2400 + k) * 37 + seed * 1001 + channel * 77) % 20011 - 10005;
            }));
        calm = ScriptedAudio::Create(steps);
        calm->format->SetSampleInfo(CALM);
        calm->duration = SECOND;
    }

    bool wild = false;

    void Initialize(Core::Property const& property) override { calm->Initialize(property); }
    Core::Property GetSettings() override { return calm->GetSettings(); }
    int64 GetDuration() const override { return Wild() ? dice.Time() : calm->GetDuration(); }
    int64 GetPosition() override { return Wild() ? dice.Time() : calm->GetPosition(); }
    iptr<IDataAudio> Read() override {
        if (!Wild()) return calm->Read();
        if (dice.OneIn(8)) return nullptr;
        return dice.Block();
    }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        Wild();
        calm->RequestSeek(position, context);
    }
    void DoSeek() override {
        Wild();
        calm->DoSeek();
    }
    bool FinishSeek() override { return Wild() ? dice.OneIn(2) : calm->FinishSeek(); }
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override {
        if (!Wild()) return calm->GetFormatCodec();
        if (dice.OneIn(5)) return nullptr;
        auto const format = Conf::IFormatCodecAudio::Create();
        format->SetSampleInfo(dice.OneIn(2) ? dice.Target() : dice.Info());
        return format;
    }
    Core::Property GetStatistic() override {
        Wild();
        return calm->GetStatistic();
    }
    void SetEndOfStream() override {
        Wild();
        calm->SetEndOfStream();
    }
    bool IsEndOfStream() override { return wild ? dice.OneIn(10) : calm->IsEndOfStream(); }
    void ReleaseInternalData() override {
        Wild();
        calm->ReleaseInternalData();
    }
    void Accept(IStreamVisitor& visitor) override { calm->Accept(visitor); }

  private:
    bool Wild() const {
        if (wild && dice.OneIn(12)) dice.Fail();
        return wild;
    }

    Dice& dice;
    iptr<ScriptedAudio> calm;
};

/// One filter under trial: the stream, what changes its settings, and what brings it back to the ones it began with.
struct Trial {
    iptr<IStream> stream;
    std::function<void()> change;
    std::function<void()> settle;
};

using Sources = std::vector<iptr<WildAudio>>;
using Maker = std::function<Trial(Sources const&, Dice&)>;

void Calls(Trial const& trial, Dice& dice) {
    IStream& stream = *trial.stream;
    switch (dice.Roll(0, 15)) {
        case 0:
            return stream.RequestSeek(dice.Time(), nullptr);
        case 1:
            return stream.DoSeek();
        case 2:
            stream.FinishSeek();
            return;
        case 3:
            return stream.ReleaseInternalData();
        case 4:
            if (dice.OneIn(3)) stream.SetEndOfStream();
            return;
        case 5:
            stream.GetPosition();
            return;
        case 6:
            stream.GetDuration();
            stream.IsEndOfStream();
            return;
        case 7:
            stream.GetStatistic();
            stream.GetFormatCodecBase();
            return;
        case 8:
            return Seek(stream, dice.Time());
        case 9:
        case 10:
        case 11:
            return trial.change();
        default:
            stream.Read();
    }
}

/// All that the streams give from 0 on: times, durations and bytes.
std::string Everything(IStream& stream) {
    Seek(stream, 0);
    std::string text;
    for (int i = 0; i < 1000; ++i) {
        iptr<IData> const item = stream.Read();
        if (!item) return text;
        text += std::to_string(item->GetTime()) + "+" + std::to_string(item->GetDuration()) + ":";
        if (auto* const block = dynamic_cast<IDataAudio*>(item.get())) {
            auto const blob = block->GetBlob();
            text.append(reinterpret_cast<char const*>(blob->GetData()), blob->GetSize());
        } else {
            auto const plane = dynamic_cast<IDataVideo&>(*item).GetPlane(0);
            for (int row = 0; row < plane.GetRows(); ++row)
                text.append(reinterpret_cast<char const*>(plane.GetOffsetPtr(0, static_cast<unsigned>(row))),
                            static_cast<std::size_t>(plane.GetRowBytes()));
        }
    }
    return text + "no end";
}

Sources MakeSources(Dice& dice) {
    Sources sources;
    for (int i = 0; i < 3; ++i) sources.push_back(MakeShared<WildAudio>(dice, i));
    return sources;
}

void TryOut(Maker const& make, unsigned seeds) {
    av_log_set_level(AV_LOG_QUIET);
    for (unsigned seed = 1; seed <= seeds / Tarsel::Test::ThinnedBy(3); ++seed) {
        SCOPED_TRACE("seed " + std::to_string(seed));
        Dice dice(seed);
        Sources const sources = MakeSources(dice);
        Trial const trial = make(sources, dice);
        trial.settle();
        std::string const wanted = Everything(*trial.stream);
        ASSERT_GT(wanted.size(), 1000U);
        for (auto const& source : sources) source->wild = true;
        int failures = 0;
        for (int i = 0; i < 150; ++i) {
            try {
                Calls(trial, dice);
            } catch (std::exception const&) {
                ++failures;
            } catch (int) {
                ++failures;
            }
        }
        ASSERT_GT(failures, 0);
        for (auto const& source : sources) source->wild = false;
        // What a converter holds back may be of a kind that no other format can be made of.
        trial.stream->RequestSeek(0, nullptr);
        trial.settle();
        ASSERT_TRUE(Everything(*trial.stream) == wanted);
    }
}

iptr<IFilterFactory const> Filters() {
    static iptr<IFilterFactory const> const factory = Host::MakeFilterFactory();
    return factory;
}

Trial MakeResampleTrial(iptr<IStreamAudio> const& source, Dice& dice) {
    auto const filter = Filters()->CreateResample(source, ImplNames::DEFAULT);
    auto const settable = boost::dynamic_pointer_cast<IStreamAudioEx>(filter);
    Conf::SampleInfo const target{Conf::SAMPLE_FORMAT_FLTP, 44100, Conf::CHANNEL_LAYOUT_MONO};
    return {filter,
            [=, &dice] {
                switch (dice.Roll(0, 3)) {
                    case 0:
                        return settable->Initialize(SettingsFilterResample(dice.Target()));
                    case 1:
                        return settable->Initialize(OtherSettings());
                    case 2:
                        return filter->Initialize(
                            IFilterResample::Settings2Property(SettingsFilterResample(dice.Target())));
                    default:
                        return filter->SetSampleInfo(dice.Target());
                }
            },
            [=] { filter->SetSampleInfo(target); }};
}

Trial MakeFormatterTrial(iptr<IStreamAudio> const& source, Dice& dice) {
    auto const filter = Filters()->CreateAudioFormatter(source, ImplNames::DEFAULT);
    return {filter, [=, &dice] { filter->SetPacketDuration(dice.Time()); }, [=] { filter->SetPacketDuration(30000); }};
}

Trial MakeVolumeTrial(iptr<IStreamAudio> const& source, Dice& dice) {
    SettingsFilterAudioVolume calm;
    calm.SetVolume(0.7);
    calm.SetAutoLevel(true);
    auto const filter = Filters()->CreateAudio(SettingsFilterAudioVolume::CLASS_ID, ImplNames::DEFAULT, source, calm);
    return {filter,
            [=, &dice] {
                SettingsFilterAudioVolume settings;
                settings.SetVolume(
                    dice.Pick<double>({0, 1, -1, 1e300, -1e300, 1e-300, 128, std::numeric_limits<double>::infinity(),
                                       std::numeric_limits<double>::quiet_NaN()}));
                settings.SetAutoLevel(dice.OneIn(2));
                if (dice.OneIn(10)) return filter->Initialize(OtherSettings());
                filter->Initialize(settings);
            },
            [=] { filter->Initialize(calm); }};
}

TEST(SoundFaults, ResamplerWorksAsANewOneBehindAnythingThatHappens) {
    TryOut([](Sources const& sources, Dice& dice) { return MakeResampleTrial(sources[0], dice); }, 60);
}

TEST(SoundFaults, FormatterWorksAsANewOneBehindAnythingThatHappens) {
    TryOut([](Sources const& sources, Dice& dice) { return MakeFormatterTrial(sources[0], dice); }, 60);
}

TEST(SoundFaults, VolumeWorksAsANewOneBehindAnythingThatHappens) {
    TryOut([](Sources const& sources, Dice& dice) { return MakeVolumeTrial(sources[0], dice); }, 60);
}

TEST(SoundFaults, HistogramWorksAsANewOneBehindAnythingThatHappens) {
    TryOut(
        [](Sources const& sources, Dice& dice) -> Trial {
            auto const filter = Filters()->Dedicated(FilterSlots::AUDIO_HISTOGRAM, ImplNames::DEFAULT)(sources[0]);
            auto const settable = boost::dynamic_pointer_cast<IStreamVideoEx>(filter);
            SettingsAudioHistogram calm;
            calm.SetWidth(32);
            calm.SetHeight(16);
            calm.SetBarCount(4);
            return {filter,
                    [=, &dice] {
                        SettingsAudioHistogram settings;
                        settings.SetWidth(dice.Pick<uint32>({0, 1, 17, 64, 0xffffffff}));
                        settings.SetHeight(dice.Pick<uint32>({0, 1, 17, 64, 0xffffffff}));
                        settings.SetBarCount(dice.Pick<uint32>({0, 1, 5, 64, 0xffffffff}));
                        settings.SetPicturesPerSecond(dice.Pick<int>({-1, 0, 1, 25, 1000000, 1000001, BIGGEST}));
                        settings.SetScale(dice.Pick<int>({-1, 0, 1, 2}));
                        settable->Initialize(settings);
                    },
                    [=] { settable->Initialize(calm); }};
        },
        30);
}

TEST(SoundFaults, ChainWorksAsANewOneBehindAnythingThatHappens) {
    TryOut(
        [](Sources const& sources, Dice& dice) -> Trial {
            Trial const resample = MakeResampleTrial(sources[0], dice);
            Trial const cut = MakeFormatterTrial(boost::dynamic_pointer_cast<IStreamAudio>(resample.stream), dice);
            Trial const volume = MakeVolumeTrial(boost::dynamic_pointer_cast<IStreamAudio>(cut.stream), dice);
            return {volume.stream,
                    [=, &dice] {
                        auto const changes = {resample.change, cut.change, volume.change};
                        dice.Pick(std::vector<std::function<void()>>(changes))();
                    },
                    [=] {
                        resample.settle();
                        cut.settle();
                        volume.settle();
                    }};
        },
        60);
}

TEST(SoundFaults, MixerWorksAsANewOneBehindAnythingThatHappens) {
    TryOut(
        [](Sources const& sources, Dice& dice) -> Trial {
            auto const mixer = Filters()->Dedicated(FilterSlots::AUDIO_MIXER, ImplNames::DEFAULT)(Filters());
            auto const volume = [&dice] {
                return dice.Pick<int>({0, 100, -100, 50, std::numeric_limits<int>::min(), BIGGEST});
            };
            return {mixer,
                    [=, &dice] {
                        auto const& source = dice.Pick(sources);
                        switch (dice.Roll(0, 5)) {
                            case 0:
                                return mixer->AddStream(source, volume());
                            case 1:
                                return mixer->RemoveStream(source);
                            case 2:
                                return mixer->RemoveStreamAt(dice.Pick<int>({-1, 0, 1, 7, BIGGEST}));
                            case 3:
                                return mixer->SetVolume(source, volume());
                            case 4:
                                return mixer->SetVolumeAt(dice.Pick<uint32>({0, 1, 7, 0xffffffff}), volume());
                            default:
                                return mixer->UpdateFormat();
                        }
                    },
                    [=] {
                        for (auto const& source : sources)
                            while (mixer->FindStream(source) >= 0) mixer->RemoveStream(source);
                        for (auto const& source : sources) mixer->AddStream(source, 60);
                    }};
        },
        60);
}

TEST(SoundFaults, VolumeDetectionWorksAsANewOneBehindAnythingThatHappens) {
    auto const detector = Filters()->Dedicated(FilterSlots::VOLUME_DETECT, ImplNames::DEFAULT)();
    for (unsigned seed = 1; seed <= 200; ++seed) {
        Dice dice(seed);
        auto const source = MakeShared<WildAudio>(dice, 0);
        source->wild = true;
        try {
            detector->Detect(source);
        } catch (std::exception const&) {
        } catch (int) {
        }
        source->wild = false;
        detector->Detect(source);
        ASSERT_NEAR(detector->GetLevel(), 10005 / 32767.0, 0.001) << "seed " << seed;
    }
}

TEST(SoundFaults, GeneratorTakesSettingsOfEveryKindBetweenAnyTwoCalls) {
    for (unsigned seed = 1; seed <= 300; ++seed) {
        Dice dice(seed);
        auto const filter =
            Filters()->CreateAudio(SettingsAudioGenerator::CLASS_ID, ImplNames::DEFAULT, SettingsAudioGenerator());
        auto const change = [&] {
            SettingsAudioGenerator settings;
            settings.SetSampleInfo(dice.OneIn(2) ? dice.Info() : dice.Target());
            settings.SetDuration(dice.Time());
            settings.SetBlockSamples(dice.Pick<int>({std::numeric_limits<int>::min(), -1, 0, 1, 1000}));
            if (dice.OneIn(2))
                settings.SetTone(dice.Pick<double>({0, 440, -1e308, 1e308, 1e-300, NAN}),
                                 dice.Pick<double>({1, -9, NAN}));
            else
                settings.SetGenerator([&dice](uint32) {
                    if (dice.OneIn(2000)) dice.Fail();
                    return dice.Pick<double>({0, 1, -1, 1e308, NAN, INFINITY});
                });
            filter->Initialize(settings);
        };
        for (int i = 0; i < 100; ++i) {
            try {
                Calls({filter, change, {}}, dice);
            } catch (std::exception const&) {
            } catch (int) {
            }
        }
        filter->Initialize(SettingsAudioGenerator());
        Seek(*filter, 0);
        ASSERT_EQ(ReadAll(*filter).size(), 10U);
    }
}

}  // namespace
}  // namespace Tarsel::Proc
