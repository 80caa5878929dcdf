#pragma once

#include <atomic>

#include "contracts/Core/Mutex.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IStream.h"
#include "contracts/Proc/SettingsAudioGenerator.h"

namespace Tarsel::Proc {

/// Makes sound from nothing: silence, a tone, or the values of a function, up to a duration.
///
/// Goes in: nothing. Comes out: blocks of the settings' length and one of the rest; a rest of less than half a sample
/// isn't given. Values are held to -1..1, and one that is no number is 0. A format of 32-bit integers is filled by
/// silence alone as it should be. Seek: the next block begins exactly at the position, which may lie below 0 or behind
/// the end; no value is 0. A function of the index gives what reading straight through gives where the position is the
/// begin of a block there; a tone goes on in its phase. End: null until the next seek; a duration without a value is
/// an end at once. Threads: one consumer; everything else from any thread.
class FilterAudioGenerator final : public virtual IStreamAudioEx, public RefCounted {
  public:
    /// The factory of the registry. Throws `std::bad_cast` for settings of another class.
    static iptr<IStreamAudioEx> Create(Settings const& newSettings);

    /// A second of silence until it gets settings.
    FilterAudioGenerator();

    /// Takes a `SettingsAudioGenerator` for the blocks that are still to come; the position stays. A tone starts anew.
    /// Throws `std::bad_cast` for settings of another class and `FilterException` "Wrong settings!" for a frequency or
    /// an amplitude that isn't finite. A format that no block can be made of is found out when reading.
    void UpdateSettings(Settings const& newSettings);

    [[noreturn]] void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override { UpdateSettings(newSettings); }
    [[noreturn]] Core::Property GetSettings() override;
    int64 GetDuration() const override;
    /// Where the next block begins, also at the end.
    int64 GetPosition() override;
    /// Throws `ProcException` for a sample format, rate or layout that no block can be made of, and `std::logic_error`
    /// "unsupported sample format" for one that a function can't be written in; the position is then behind the block.
    iptr<IDataAudio> Read() override;
    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;
    void DoSeek() override {}
    bool FinishSeek() override { return true; }
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override;
    Core::Property GetStatistic() override;
    void SetEndOfStream() override { endOfStream = true; }
    bool IsEndOfStream() override { return endOfStream.load(); }
    void ReleaseInternalData() override {}
    void Accept(IStreamVisitor& visitor) override;

  private:
    /// Guards the members below. The settings' function is called with it held: it must not call the generator.
    mutable Core::Mutex mutex;
    iptr<Conf::IFormatCodecAudio const> format TARSEL_GUARDED_BY(mutex);  // made anew with the settings, never changed
    SettingsAudioGenerator settings TARSEL_GUARDED_BY(mutex);
    SettingsAudioGenerator::Generator generator TARSEL_GUARDED_BY(mutex);  // null: silence
    int64 position TARSEL_GUARDED_BY(mutex) = 0;
    int64 processingTime TARSEL_GUARDED_BY(mutex) = 0;
    u32 blocksRead TARSEL_GUARDED_BY(mutex) = 0;

    std::atomic<bool> endOfStream{false};
};

}  // namespace Tarsel::Proc
