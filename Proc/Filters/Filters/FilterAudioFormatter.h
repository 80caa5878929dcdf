#pragma once

#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

/// Cuts a stream of sound into blocks of one duration, through the host's cutter.
///
/// Goes in: one stream of sound. Comes out: its samples in blocks of the packet duration, on the grid that the first
/// block's time begins; the last one of a stream is shorter. Seek: the cutter forgets what it holds, the source is
/// sought, and the first block behind it sets the clock: where it begins on the grid, what follows is what reading
/// straight through gives. End: the rest of the stream, then null. A source of 100000 blocks in a row without samples
/// is a `FilterException`. Threads: one consumer; the settings and `GetStatistic` from any thread, but they wait for a
/// read that is under way.
class FilterAudioFormatter final : public StreamImpl<IStreamAudio, IStreamAudio>,
                                   public virtual IFilterAudioFormatter,
                                   public virtual IStreamAudioEx {
  public:
    /// The factory of the dedicated form.
    static iptr<IFilterAudioFormatter> Create(iptr<IStreamAudio> const& source,
                                              iptr<IAlgorithmFactory const> const& algorithmFactory);

    /// Blocks of the default duration. Throws `std::invalid_argument` "algorithmFactory is NULL" and, when the factory
    /// gives null, `AlgorithmException` "There is no any implementation for " and the cutter's class identifier;
    /// failures of the factory pass through.
    FilterAudioFormatter(iptr<IStreamAudio> source, iptr<IAlgorithmFactory const> const& algorithmFactory);
    ~FilterAudioFormatter() override { StopReaderThread(); }

    void Initialize(Core::Property const& property) override;
    void Initialize(Settings const& newSettings) override;
    /// The property that sets a filter up like this one.
    Core::Property GetSettings() override;
    void SetPacketDuration(int64 duration) override;
    Core::Property GetStatistic() override;
    /// The source's, adapted by the cutter. Throws `FilterException` "Source format codec must be present" when the
    /// source has none.
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override;
    void ReleaseInternalData() override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataAudio> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override { parentStream->DoSeek(); }

  private:
    /// Guards the members below. Held while the source and the cutter are called, so that a new duration doesn't come
    /// between a block and its length; the source never calls back. Order: `apiLock`, then this one, then the source's.
    mutable Core::RecursiveMutex lock;
    iptr<IAudioFormatter> formatter TARSEL_GUARDED_BY(lock);
    Core::Property formatterSettings TARSEL_GUARDED_BY(lock){IAudioFormatter::CLASS_ID};
    int64 packetDuration TARSEL_GUARDED_BY(lock) = DEFAULT_PACKET_DURATION;
    unsigned blocksRead TARSEL_GUARDED_BY(lock) = 0;
};

}  // namespace Tarsel::Proc
