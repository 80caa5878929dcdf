#pragma once

#include <deque>
#include <memory>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IResample.h"
#include "contracts/Proc/SettingsResample.h"
#include "host/effects/ResampleRun.h"

namespace Tarsel::Host {

/// Converts rate, format and layout of sound, on libswresample and with its matrix for layouts.
///
/// Goes in: blocks of any format. Comes out: blocks of the wanted one. A block that has it already passes as the same
/// object. While the rate stays, every block is converted on its own and keeps its time; where it has none, its time is
/// counted from the last one known. A change of the rate holds samples back: the result is null while all of them are,
/// blocks have other sizes than the ones that went in, and their times are counted in samples from the first block's,
/// so that they don't drift. What stands at `t` comes out at `t`, and over a stream to the end of its drain exactly
/// llround(samples in x rate out / rate in) samples come out, the same ones whatever the sizes of the blocks.
///
/// The sound begins anew, with nothing lost, where the time of a block is more than 100 ms from the count, and where
/// its format changes: what was held back comes out first, and a call gives one block, so the others follow one call
/// behind. A null input drains, one block a call. At most four million samples a block. One thread.
///
/// A changed rate makes samples depend on those in front of them: who seeks calls `ResetEffectState`, and then gets
/// sound that is close to what reading on would have given, but not equal to the last bit at its begin.
class TARSEL_HOST_EXPORT ResampleEffect final : public Proc::IResample, public RefCounted {
  public:
    ResampleEffect();
    ~ResampleEffect() override;

    /// Throws `EffectException` for a format that there is none of; the old target stays.
    void Initialize(Proc::Settings const& newSettings) override;
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    Proc::Settings const& GetEffectSettings() override { return settings; }
    Core::Property GetStatistic() override;
    void ResetEffectState() override;
    Proc::TimeToProgress& GetTimeToProgress() override { return timeToProgress; }
    void SetTimeToProgress(Proc::TimeToProgress const& map) override { timeToProgress = map; }
    int GetProcessingFrameType() override;

    /// What is held back in the old format is brought to the new one and comes first. The same format again changes
    /// nothing. Throws `EffectException` for a format that there is none of and where what is held back can't be
    /// brought to it; the old target stays.
    void SetSampleInfo(Conf::SampleInfo const& info) override;
    /// Throws `EffectException` where the library can't convert the block's format to the wanted one, and for a change
    /// from or to a rate out of 1000 to 768000 Hz. The block stays the caller's, and what was held back isn't lost.
    void Process(iptr<Proc::IDataAudio>& block) override;
    /// Throws `std::invalid_argument` for null and `EffectException` for a format that isn't one of sound.
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override;

  private:
    /// What waits to be handed out, and the format that it came in.
    struct Waiting {
        iptr<Proc::IDataAudio> block;
        Conf::SampleInfo source;
    };

    void Feed(iptr<Proc::IDataAudio> const& block);
    /// Ends the run: what it held back waits then.
    void EndRun();

    Proc::SettingsResample settings;
    Proc::TimeToProgress timeToProgress;

    // The stream at work; no run while blocks pass, ahead of the first block and behind the end.
    std::unique_ptr<ResampleRun> run;
    std::deque<Waiting> waiting;

    unsigned blocksGiven = 0;
};

}  // namespace Tarsel::Host
