#pragma once

#include <atomic>
#include <cstddef>
#include <vector>

#include "Proc/Filters/Filters/MixerInput.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterAudioMixer.h"
#include "contracts/Proc/IFilterResample.h"

namespace Tarsel::Proc {

/// Sums streams of sound, each with a volume of its own.
///
/// Goes in: streams by `AddStream`, each conformed to the common format and cut into blocks. Comes out: their sum, in
/// the blocks of the first stream that still runs and with their times; the others give just as many samples, and what
/// is left of their blocks goes into the next mix. Seek: all streams are sought; they may land apart, so those that lie
/// up to a second in front of the latest one drop the samples ahead of it. Reading after a seek equals reading straight
/// through where all streams have times, begin together and have the same rate. End: a stream that has ended is left
/// out, and when all have, null. Threads: one consumer, which adds and removes the streams and sets their volumes, too;
/// no lock is taken. `SetEndOfStream`, `IsEndOfStream`, `GetDuration`, `GetFormatCodec` and `GetStatistic` from any
/// thread while no stream is added or removed.
class FilterAudioMixer final : public virtual IFilterAudioMixer, public RefCounted {
  public:
    /// The factory's way in. A null factory throws `std::invalid_argument`.
    static iptr<IFilterAudioMixer> Create(iptr<IFilterFactory const> const& factory);

    explicit FilterAudioMixer(iptr<IFilterFactory const> const& factory);

    /// A null stream throws `std::invalid_argument`. Where the factory fails, all is as it was.
    void AddStream(iptr<IStreamAudio> const& stream, int volume) override;
    void RemoveStream(iptr<IStreamAudio> const& stream) override;
    void RemoveStreamAt(int index) override;
    int FindStream(iptr<IStreamAudio> const& stream) override;
    void SetVolumeAt(uint32 index, int volume) override;
    void SetVolume(iptr<IStreamAudio> const& stream, int volume) override;
    void UpdateFormat() override;

    /// Does nothing with a property named `CLASS_ID`; another name throws `FilterException` "Object was initialized
    /// with incorrect class (" and the name.
    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    /// The largest known one; no value when none is known, 0 without streams.
    int64 GetDuration() const override;
    int64 GetPosition() override { return position; }
    iptr<IDataAudio> Read() override;
    void RequestSeek(int64 target, iptr<IRefCountable> seekContext) override;
    void DoSeek() override;
    bool FinishSeek() override;
    /// A new object at each call.
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override;
    Core::Property GetStatistic() override;
    void SetEndOfStream() override;
    bool IsEndOfStream() override;
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override;

  private:
    struct MixerEntry {
        iptr<IStreamAudio> source;
        iptr<IRefCountable> packetiser;
        iptr<IFilterResample> resampler;
        iptr<IStreamAudio> output;  // the packetiser as a stream
        double volume;              // 1 leaves the samples as they are
        bool finished;              // the output has given null, and nothing is left of its blocks
        MixerInput input;           // reads the output
    };

    /// The best of all streams' formats; unset without a stream.
    Conf::SampleInfo CommonSampleInfo() const;
    void ConformTo(Conf::SampleInfo const& info);
    /// The stream behind its converter and its packetiser, which gives blocks of this format.
    MixerEntry Conform(iptr<IStreamAudio> const& stream, Conf::SampleInfo const& info) const;
    /// Lets all streams begin at one time, behind a seek.
    void AlignHeads();
    /// The sum of so many samples of all streams that still run.
    iptr<IDataAudio> Mix(Conf::SampleInfo const& info, int count);

    // Wiring, changed by the consumer alone.
    iptr<IFilterFactory const> const factory;
    std::vector<MixerEntry> entries;

    // State of the reader. What reports look at is atomic, since they may come from another thread.
    std::atomic<int64> position{NO_VALUE};
    int64 readTime = 0;  // for the statistics, which have had a field of it always; nothing adds to it
    std::atomic<unsigned> blocksRead{0};
    bool aligning = false;  // nothing has been read since the last seek
};

}  // namespace Tarsel::Proc
