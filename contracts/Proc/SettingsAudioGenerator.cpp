#include "contracts/Proc/SettingsAudioGenerator.h"

#include <cmath>
#include <limits>
#include <numbers>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SampleInfoProperty.h"
#include "contracts/Proc/SettingsKeys.h"

namespace Tarsel::Proc {

namespace {

constexpr char BLOCK_SAMPLES_KEY[] = "BlockSamples";
constexpr char FREQUENCY_KEY[] = "Frequency";
constexpr char AMPLITUDE_KEY[] = "Amplitude";

/// A sine that goes on from block to block: an index of 0 begins a block behind the samples of the one in front.
class Tone {
  public:
    Tone(double cyclesPerSample, double amplitude) : cyclesPerSample(cyclesPerSample), amplitude(amplitude) {}

    double operator()(uint32 index) {
        if (index == 0) phase = std::fmod(phase + static_cast<double>(samples) * cyclesPerSample, 1.0);
        samples = uint64{index} + 1;
        double const cycles = std::fmod(phase + static_cast<double>(index) * cyclesPerSample, 1.0);
        return amplitude * std::sin(2.0 * std::numbers::pi * cycles);
    }

  private:
    double cyclesPerSample;
    double amplitude;
    double phase = 0;    // of the block's first sample, in cycles
    uint64 samples = 0;  // of the block, so far
};

}  // namespace

std::string const& SettingsAudioGenerator::GetClassId() const {
    static std::string const id(CLASS_ID);
    return id;
}

void SettingsAudioGenerator::SetGenerator(Generator value) {
    generator = std::move(value);
    frequency = 0;
}

void SettingsAudioGenerator::SetTone(double hertz, double crest) {
    generator = nullptr;
    frequency = hertz;
    amplitude = crest;
}

SettingsAudioGenerator::Generator SettingsAudioGenerator::MakeGenerator() const {
    if (generator || frequency == 0 || sampleInfo.GetSampleRate() <= 0) return generator;
    return Tone(frequency / sampleInfo.GetSampleRate(), amplitude);
}

bool SettingsAudioGenerator::operator==(SettingsAudioGenerator const& other) const {
    return !generator && !other.generator && sampleInfo == other.sampleInfo && duration == other.duration &&
           blockSamples == other.blockSamples && frequency == other.frequency && amplitude == other.amplitude;
}

Core::Property Settings2Property(SettingsAudioGenerator const& settings) {
    if (settings.GetFrequency() == 0 && settings.MakeGenerator())
        TARSEL_THROW(FilterException, "A function that makes sound can't be written as a property");
    Core::Property property(SettingsAudioGenerator::CLASS_ID);
    SetSampleInfo(property, settings.GetSampleInfo());
    return property.SetChild(DURATION_KEY, settings.GetDuration())
        .SetChild(BLOCK_SAMPLES_KEY, settings.GetBlockSamples())
        .SetChild(FREQUENCY_KEY, settings.GetFrequency())
        .SetChild(AMPLITUDE_KEY, settings.GetAmplitude());
}

SettingsAudioGenerator Property2SettingsAudioGenerator(Core::Property const& property) {
    RequirePropertyOf(SettingsAudioGenerator::CLASS_ID, property);
    SettingsAudioGenerator settings;
    settings.SetSampleInfo(GetSampleInfo(property, settings.GetSampleInfo()));
    if (property.ChildExists(DURATION_KEY)) settings.SetDuration(property[DURATION_KEY].GetInt64());
    if (property.ChildExists(BLOCK_SAMPLES_KEY)) {
        int64 const count = property[BLOCK_SAMPLES_KEY].GetInt64();
        if (count < 0 || count > std::numeric_limits<int>::max())
            TARSEL_THROW(FilterException, "A block can't have " + std::to_string(count) + " samples");
        settings.SetBlockSamples(static_cast<int>(count));
    }
    auto const number = [&](char const* key, double defaultValue) {
        return property.ChildExists(key) ? property[key].GetDouble() : defaultValue;
    };
    settings.SetTone(number(FREQUENCY_KEY, settings.GetFrequency()), number(AMPLITUDE_KEY, settings.GetAmplitude()));
    return settings;
}

}  // namespace Tarsel::Proc
