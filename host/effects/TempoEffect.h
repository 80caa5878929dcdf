#pragma once

#include <memory>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/SettingsEffectTempo.h"
#include "host/effects/SamplePlanes.h"

namespace RubberBand {
class RubberBandStretcher;
}

namespace Tarsel::Host {

/// Plays sound faster or slower and keeps its pitch, on librubberband.
///
/// Goes in: blocks of one format, 1 to 8 channels at 8000 to 192000 Hz. Comes out: blocks of that format, without times
/// (who counts samples knows them), of other sizes than the ones that went in; null while the engine needs more. A null
/// input drains. The engine's delay at the start is taken off, so what stands at `t` comes out at `t` / tempo. Over a
/// stream, to the end of its drain, exactly llround(samples in / tempo) samples come out: the engine is fed silence
/// behind the last block until it has given that many, and what it gives beyond them is dropped. At a tempo of 1 every
/// block passes as the same object. One thread, and the same output for the same input, whatever the blocks' sizes.
///
/// The samples that come out depend on those in front of them: who seeks calls `ResetEffectState`, and then gets sound
/// that isn't equal to the last bit to what reading on would have given.
class TARSEL_HOST_EXPORT TempoEffect final : public Proc::IOneInputEffectAudio, public RefCounted {
  public:
    /// What the engine still gives usable sound for.
    static constexpr double MIN_TEMPO = 0.05;
    static constexpr double MAX_TEMPO = 20.0;

    TempoEffect();
    ~TempoEffect() override;

    /// Throws `EffectException`, which names the range, for a tempo out of it; the old one stays.
    void Initialize(Proc::Settings const& newSettings) override;
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    Proc::Settings const& GetEffectSettings() override { return settings; }
    Core::Property GetStatistic() override;
    void ResetEffectState() override;
    Proc::TimeToProgress& GetTimeToProgress() override { return timeToProgress; }
    void SetTimeToProgress(Proc::TimeToProgress const& map) override { timeToProgress = map; }
    int GetProcessingFrameType() override;
    /// Sound keeps its format.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    /// Throws `EffectException` for a format, rate or channel count that the engine doesn't take, and for a block whose
    /// format isn't that of the blocks in front of it.
    void Process(iptr<Proc::IDataAudio>& item) override;

  private:
    void Open(Conf::SampleInfo const& format);
    void Feed(Proc::IDataAudio& block);
    void Drain();
    /// Gives the engine a chunk of each plane from `first` on, and takes what it has ready.
    void Push(SamplePlanes const& planes, std::size_t first);
    /// Takes what is ready, but never more than the samples that went in are worth.
    void Collect();
    /// A block of what is ready, null when there is nothing.
    iptr<Proc::IDataAudio> TakeBlock();
    /// How many samples those that went in are worth.
    int64 GetTarget() const;

    Proc::SettingsEffectTempo settings;
    Proc::TimeToProgress timeToProgress;

    // The stream at work; no engine ahead of its first block and behind its end.
    std::unique_ptr<RubberBand::RubberBandStretcher> engine;
    Conf::SampleInfo info;
    int64 samplesIn = 0;
    int64 samplesOut = 0;
    std::size_t delay = 0;  // samples at the start of the engine's output that are still to be dropped
    SamplePlanes held;      // less than a chunk, for the engine's next call
    SamplePlanes scratch;

    // What waits to be handed out.
    SamplePlanes ready;
    std::size_t readyFrom = 0;

    unsigned blocksGiven = 0;
};

}  // namespace Tarsel::Host
