#pragma once

#include <atomic>
#include <vector>

#include "Proc/Filters/Filters/MixingImageData.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"
#include "contracts/Core/Mutex.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/IStreamCombiner.h"

namespace Tarsel::Proc {

/// Draws pictures and whole streams over a main stream.
///
/// Goes in: the main stream, and what is drawn on it, by `AddWatermark`, `AddStream` and `CombineStream`. Comes out:
/// the main stream's frames, one for one and each writable, with the drawn streams on them in the order in which they
/// were added, and the watermarks above. Seek: all streams are sought to the position as it stands, those that loop to
/// the remainder of their length. Where every start is 0 and nothing blinks, reading behind a seek to the begin of a
/// frame equals reading straight through; a seek into a frame takes the drawn frame of that very time. A stream with a
/// start later than 0 is absent for that long behind every seek, and what blinks goes on from its last change. End:
/// that of the main stream, null.
///
/// Threads: one consumer, which adds what is drawn before it reads. `SetEndOfStream`, `SetMinOverlap` and the reports
/// from any thread; they don't wait for a read.
class FilterVideoMixer final : public StreamImpl<IStreamVideo, IStreamVideo>,
                               public virtual IFilterVideoMixer,
                               public virtual IStreamVideoEx,
                               public virtual IStreamCombiner<IStreamVideo> {
  public:
    using IStreamCombiner<IStreamVideo>::CombineStream;

    /// Throws `std::invalid_argument` "effectFactory is NULL".
    FilterVideoMixer(iptr<IStreamVideo> source, iptr<IEffectFactory const> effectFactory);
    ~FilterVideoMixer() override { StopReaderThread(); }

    void AddWatermark(iptr<IDataVideo> const& image, int x, int y, int64 startTime, AlphaFunction alpha) override;
    void AddStream(iptr<IStreamVideo> const& stream, int x, int y, int64 startTime, AlphaFunction alpha,
                   bool loop) override;
    int64 GetMinOverlap() const override { return minOverlap; }
    void SetMinOverlap(int64 value) override { minOverlap = value; }
    /// Options that are required and missing, and those that aren't of their type, throw `Core::CoreException` with
    /// their key; numbers beyond their range `FilterException`; a transparency type of another name `FilterException`
    /// "Unknown transparency type!". Nothing has been taken in then.
    void CombineStream(iptr<IStreamVideo> const& stream, Core::Property const& options) override;

    void Initialize(Core::Property const& property) override { Initialize(Property2Settings(property)); }
    void Initialize(Settings const& settings) override;
    Core::Property GetSettings() override;
    /// The main stream's.
    iptr<Conf::IFormatCodecVideo const> GetFormatCodec() const override { return parentStream->GetFormatCodec(); }
    /// A node of its own, in which those of the main stream and of the drawn ones stand, in order.
    Core::Property GetStatistic() override;
    void SetEndOfStream() override;
    /// The frames in hand of the drawn streams stay, so that those that go on without a seek miss none.
    void ReleaseInternalData() override;
    void Accept(IStreamVisitor& visitor) override;

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataVideo> ReadInternal() override;
    void RequestSeekInternal(int64 target, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    /// The blender for frames that live at a place; made at its first use.
    IEffectImageBlender& BlenderFor(int frameAlloc) TARSEL_REQUIRES(lock);
    /// The frame with everything on it that belongs there.
    iptr<IDataVideo> Draw(iptr<IDataVideo> frame) TARSEL_REQUIRES(lock);
    /// What `streams` draws, for calls that don't wait for a read.
    std::vector<iptr<IStreamVideo>> DrawnStreams() const;

    // Settings.
    std::atomic<int64> minOverlap{SettingsFilterVideoMixer::DEFAULT_MIN_OVERLAP};

    // Wiring.
    iptr<IEffectFactory const> const effectFactory;

    /// Guards the members below. Held while the sources are called, so that a seek doesn't come between a frame and
    /// what is drawn on it; the sources never call back. Order: `apiLock`, then this one, then the sources' or
    /// `listLock`.
    mutable Core::RecursiveMutex lock;
    iptr<IEffectImageBlender> blenderCpu TARSEL_GUARDED_BY(lock);  // null until the first use, and so the other one
    iptr<IEffectImageBlender> blenderGpu TARSEL_GUARDED_BY(lock);
    std::vector<MixingStreamData> streams TARSEL_GUARDED_BY(lock);
    std::vector<WatermarkData> watermarks TARSEL_GUARDED_BY(lock);

    /// Guards the list of the drawn streams; nothing is called while it is held.
    mutable Core::Mutex listLock;
    std::vector<iptr<IStreamVideo>> drawnStreams TARSEL_GUARDED_BY(listLock);

    // Written by the reader, looked at by reports.
    std::atomic<int64> readTime{0};  // microseconds
    std::atomic<u32> framesRead{0};
};

}  // namespace Tarsel::Proc
