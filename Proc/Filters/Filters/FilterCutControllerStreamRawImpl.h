#pragma once

#include <atomic>
#include <deque>
#include <optional>

#include "Proc/Filters/Filters/CutSearchThread.h"
#include "Proc/Filters/Filters/FilterCutController.h"
#include "Proc/Filters/Filters/GopRecoder.h"
#include "Proc/Filters/Filters/IStreamCutInterval.h"
#include "Proc/Filters/Filters/PacketQueueWithGOP.h"
#include "Proc/StreamTemplates/StreamBaseImpl.h"

namespace Tarsel::Proc {

/// A compressed stream without the removed ranges, one group of pictures at a time.
///
/// Goes in: packets in decoding order with source positions (presentation times). Comes out: groups that are wholly
/// kept, packet by packet, only their times changed; of a group that a cut falls into the kept frames, encoded again
/// where an encoder fits the stream; groups that are wholly removed not at all. Video without such an encoder is cut at
/// groups' starts, which move the cuts of all streams; sound and other kinds are cut at packets. Seek: mapped to source
/// time; the source gives the group that holds the place. End: of the source. One reader; at most one group is in
/// memory.
///
/// Order of locks: the base's `apiLock`, the controller's `streamsLock`, `streamLock`, the queue's and the controller's
/// `settingsLock`. `streamLock` is held while a group is read and made, and given up before a jump.
class FilterCutControllerStreamRawImpl final : public IStreamCutInterval, public StreamImpl<IStreamRaw, IStreamRaw> {
  public:
    using IStream::Initialize;

    /// Bytes of one group at which it is split: its second part has no key packet, so this is a last resort.
    static constexpr int64 MAX_GOP_BYTES = int64{512} << 20;

    /// Seeks the source to its start and reads from it: seek before reading. Throws `Core::NotEnoughResource` when the
    /// encoder that the stream needs can't be had now.
    FilterCutControllerStreamRawImpl(iptr<IStreamRaw> source, iptr<FilterCutController> controller,
                                     iptr<ICodecFactory const> codecFactory);
    ~FilterCutControllerStreamRawImpl() override;

    void Initialize(Core::Property const& property) override;
    Core::Property GetSettings() override;
    MediaType GetMediaType() const override { return parentStream->GetMediaType(); }
    /// The source's format; with the encoder's parameter sets in its header where H.264 can be encoded again.
    iptr<Conf::IFormatCodec const> GetFormatCodec() const override;
    Core::Property GetStatistic() override;
    void ReleaseInternalData() override;

    void Process(int64 start, int64 end) override;
    void StartSearch(int64 start, int64 end) override;
    void JoinSearch() override { searchThread.Join(); }
    bool IsRawStream() const override { return true; }
    bool IsGOPCutOnly() const override { return GetMediaType() == MEDIA_TYPE_VIDEO && !recoder.CanRecode(); }
    bool BeginJump(int64 end) override;
    void SourceMoved() override;
    void EndJump() override;
    std::optional<GopSpan> FindGop(int64 position) override;
    Core::LockImpl& GetReadLock() override { return streamLock; }

    GopRecoder const& GetRecoder() const { return recoder; }

  protected:
    void AcceptInternal(IStreamVisitor& visitor) override;
    iptr<IDataPacket> ReadInternal() override;
    void RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) override;
    void DoSeekInternal() override;

  private:
    /// Brings one group to `outputQueue`. `flag`: the removed range that the group may lie in is known already. Returns
    /// the start of a removed group that is worth a jump, else no value.
    int64 ProcessGOP(bool& flag) TARSEL_REQUIRES(streamLock);
    int64 DropRemovedGop(GopSpan const& gop, bool& flag) TARSEL_REQUIRES(streamLock);
    void CopyGop() TARSEL_REQUIRES(streamLock);
    void RecodeGOP(GopSpan const& gop) TARSEL_REQUIRES(streamLock);
    iptr<IDataPacket> InsertHeader(iptr<IDataPacket> packet) const;
    /// Start of the group that comes next, or else the source's position.
    int64 GetReadPosition() TARSEL_REQUIRES(streamLock);

    // Wiring.
    iptr<FilterCutController> const controller;
    CutSearchThread searchThread;

    std::atomic<uint32> itemsDelivered{0};
    std::atomic<uint32> recodedPackets{0};

    /// Guards the source and the state of reading it.
    Core::LockImpl streamLock;
    bool sourceEnded TARSEL_GUARDED_BY(streamLock) = false;
    bool afterSeek TARSEL_GUARDED_BY(streamLock) = false;  // no group was processed since the last seek
    bool jumping TARSEL_GUARDED_BY(streamLock) = false;    // the reader waits
    std::deque<iptr<IDataPacket>> outputQueue TARSEL_GUARDED_BY(streamLock);  // finished packets in output order
    PacketQueueWithGOP gopQueue TARSEL_GUARDED_BY(streamLock);
    // Start of the last group that was read, and the same at the last jump: groups up to there have been read, however
    // early the source's seek lands.
    int64 lastGopStart TARSEL_GUARDED_BY(streamLock) = NO_VALUE;
    int64 repeatGopStart TARSEL_GUARDED_BY(streamLock) = NO_VALUE;

    GopRecoder recoder;  // its decision is constant after construction; recoding under `streamLock`
};

}  // namespace Tarsel::Proc
