#pragma once

#include <functional>
#include <string>
#include <utility>

#include "contracts/Conf/SampleInfo.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/Types.h"
#include "contracts/Proc/Settings.h"

namespace Tarsel::Proc {

/// What a generator of sound makes: silence, a tone, or the values of a function.
class TARSEL_CONTRACTS_EXPORT SettingsAudioGenerator : public Settings {
  public:
    static constexpr char CLASS_ID[] = "SettingsAudioGenerator";
    /// Value, from -1 to 1, of the sample at an index within its block, from 0. Called for every sample in order, under
    /// the generator's lock.
    using Generator = std::function<double(uint32 index)>;

    SettingsAudioGenerator() = default;
    std::string const& GetClassId() const override;

    Conf::SampleInfo const& GetSampleInfo() const { return sampleInfo; }
    void SetSampleInfo(Conf::SampleInfo const& value) { sampleInfo = value; }
    /// Microseconds.
    int64 GetDuration() const { return duration; }
    void SetDuration(int64 value) { duration = value; }
    /// Samples of each channel in a block.
    int GetBlockSamples() const { return blockSamples; }
    void SetBlockSamples(int value) { blockSamples = value; }

    /// A function of the caller's, or null for silence. It takes the place of a tone.
    void SetGenerator(Generator value);
    /// A sine instead: hertz, 0 for silence, and the value at its crest.
    void SetTone(double hertz, double crest);
    double GetFrequency() const { return frequency; }
    double GetAmplitude() const { return amplitude; }
    /// The function that makes the signal; null for silence. That of a tone is made anew at each call, and keeps its
    /// phase from block to block: every user must have its own.
    Generator MakeGenerator() const;

    /// Functions can't be compared: settings with one are equal to none.
    bool operator==(SettingsAudioGenerator const& other) const;

  private:
    Conf::SampleInfo sampleInfo{Conf::SAMPLE_FORMAT_FLT, 48000, Conf::DefaultChannelLayout(2)};
    int64 duration = 1000000;
    int blockSamples = 4800;
    Generator generator;
    double frequency = 0;
    double amplitude = 1;
};

/// A property named with the `CLASS_ID`; its children "SampleFormat", "SampleRate", "ChannelLayout", "Duration",
/// "BlockSamples", "Frequency", "Amplitude" hold the values. A function of the caller's can't be written: it throws
/// `FilterException`.
TARSEL_CONTRACTS_EXPORT Core::Property Settings2Property(SettingsAudioGenerator const& settings);
/// The way back; what has no child keeps its default. A property of another name throws `FilterException` "Object
/// was initialized with incorrect class (" and the name.
TARSEL_CONTRACTS_EXPORT SettingsAudioGenerator Property2SettingsAudioGenerator(Core::Property const& property);

}  // namespace Tarsel::Proc
