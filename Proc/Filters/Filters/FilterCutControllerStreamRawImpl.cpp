#include "Proc/Filters/Filters/FilterCutControllerStreamRawImpl.h"

#include <glog/logging.h>

#include <algorithm>
#include <utility>
#include <vector>

#include "Proc/CodecParsers/MPEG2CodecParser.h"
#include "Proc/CodecParsers/MPEG4CodecParser.h"
#include "contracts/Core/Exception.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IStreamVisitor.h"

namespace Tarsel::Proc {

using Core::AutoLock;

namespace {

constexpr uint32 MAX_GOP_PACKETS = 999999;

/// Where the group that was just read lies. With no key packet to tell where the next one starts, as at the source's
/// end, the group reaches to the end of its latest packet: its last position alone would cut that packet off, and make
/// a group of one packet look like none.
GopSpan SpanOf(PacketQueueWithGOP const& queue) {
    GopSpan gop{queue.GetStartPosition(), queue.GetNextGopStart()};
    if (!queue.HasNextGop()) gop.next = std::max(gop.next, queue.GetEndTime());
    return gop;
}

}  // namespace

FilterCutControllerStreamRawImpl::FilterCutControllerStreamRawImpl(iptr<IStreamRaw> source,
                                                                   iptr<FilterCutController> controller,
                                                                   iptr<ICodecFactory const> codecFactory)
    : StreamImpl<IStreamRaw, IStreamRaw>(std::move(source), false),
      controller(controller),
      recoder(std::move(controller), std::move(codecFactory)) {
    gopQueue.SetLimits(MAX_GOP_PACKETS, MAX_GOP_BYTES);
    recoder.FindEncoder(parentStream);
}

FilterCutControllerStreamRawImpl::~FilterCutControllerStreamRawImpl() {
    StopReaderThread();
    controller->RemoveStream(this);
}

void FilterCutControllerStreamRawImpl::Initialize(Core::Property const&) {
    TARSEL_THROW(FilterException, "Method not implemented");
}

Core::Property FilterCutControllerStreamRawImpl::GetSettings() {
    Core::Property settings("FilterCutControllerStreamRawImpl");
    settings.SetChild("CanRecode", recoder.CanRecode() ? 1 : 0);
    if (recoder.CanRecode()) settings.SetChild("EncoderName", recoder.GetEncoderName());
    return settings;
}

iptr<Conf::IFormatCodec const> FilterCutControllerStreamRawImpl::GetFormatCodec() const {
    if (recoder.GetMergedFormat()) return recoder.GetMergedFormat();
    return parentStream->GetFormatCodec();
}

Core::Property FilterCutControllerStreamRawImpl::GetStatistic() {
    Core::Property result = parentStream->GetStatistic();
    Core::Property node =
        Core::MakeStatistics("Tarsel::Proc::FilterCutControllerStreamRawImpl::GetStatistic", 0, itemsDelivered);
    node.SetChild("Recode time", 0);
    node.SetChild("Recoded pakets", int64{recodedPackets});
    result.Add(std::move(node));
    return result;
}

void FilterCutControllerStreamRawImpl::AcceptInternal(IStreamVisitor& visitor) {
    Visitors::Visit(visitor, "FilterCutControllerStreamRawImpl", Visitors::FRAME_TYPE_FILTER, nullptr);
}

void FilterCutControllerStreamRawImpl::ReleaseInternalData() {
    {
        AutoLock const lock(streamLock);
        outputQueue.clear();
        gopQueue.SetPosition(NO_VALUE);
    }
    StreamImpl<IStreamRaw, IStreamRaw>::ReleaseInternalData();
}

// --- Reading ---------------------------------------------------------------------------------------------------------

iptr<IDataPacket> FilterCutControllerStreamRawImpl::ReadInternal() {
    if (controller->CutsAreAbsent()) return parentStream->Read();
    bool flag = false;
    {
        AutoLock const lock(streamLock);
        flag = std::exchange(afterSeek, false);
        sourceEnded = false;
    }
    while (!IsEndOfStream()) {
        int64 removedAt = NO_VALUE;
        {
            AutoLock const lock(streamLock);
            if (!jumping) {
                if (!outputQueue.empty()) {
                    iptr<IDataPacket> packet = std::move(outputQueue.front());
                    outputQueue.pop_front();
                    ++itemsDelivered;
                    return packet;
                }
                if (sourceEnded) return nullptr;
                removedAt = ProcessGOP(flag);
                if (!HasValue(removedAt)) continue;
            }
        }
        if (HasValue(removedAt))
            controller->JumpOverInterval(removedAt);
        else
            controller->AwaitJump();
    }
    return nullptr;
}

int64 FilterCutControllerStreamRawImpl::ProcessGOP(bool& flag) {
    sourceEnded = !gopQueue.ReadGOP(parentStream);
    if (sourceEnded) return NO_VALUE;
    GopSpan const gop = SpanOf(gopQueue);
    int64 const gopLength = SubTime(gop.next, gop.start);
    VLOG(4001) << "GOP: " << gop.start << " + " << gopLength << " = " << gop.next;

    if (HasValue(gop.start) && HasValue(repeatGopStart)) {
        if (gop.start <= repeatGopStart) {
            gopQueue.Reset();
            return NO_VALUE;
        }
        repeatGopStart = NO_VALUE;
    }
    if (HasValue(gop.start)) lastGopStart = gop.start;

    if (!HasValue(gopLength)) {
        // Without positions nothing can be said of the whole: each packet is looked at alone.
        flag = false;
        CopyGop();
        return NO_VALUE;
    }
    auto const resultLengthOf = [&] {
        return SubTime(controller->Source2Result(gop.next), controller->Source2Result(gop.start));
    };
    int64 resultLength = resultLengthOf();
    if (gopLength < 0 || resultLength < 0) {
        VLOG(21) << "Positions are out of order: group at " << gop.start << " is followed by one at " << gop.next;
        gopQueue.Reset();
        return NO_VALUE;
    }
    // Two key packets of one position: the first of them is a group of no length, which is kept like any point.
    bool const isKeptPoint = gopLength == 0 && !controller->IsPointDeleted(gop.start);
    if (resultLength == 0 && !isKeptPoint) return DropRemovedGop(gop, flag);
    if (IsGOPCutOnly() && resultLength != gopLength) {
        // A cut falls into a group that can't be encoded again: it goes whole, for all streams.
        controller->RemoveRange(gop.start, gop.next);
        resultLength = resultLengthOf();
        if (resultLength == 0) {
            gopQueue.Reset();
            return NO_VALUE;
        }
    }
    flag = false;
    if (resultLength == gopLength)
        CopyGop();
    else
        RecodeGOP(gop);
    return NO_VALUE;
}

int64 FilterCutControllerStreamRawImpl::DropRemovedGop(GopSpan const& gop, bool& flag) {
    // The key packet that opens the next group stays: the source has gone past it.
    gopQueue.Reset();
    if (gop.next == gop.start) flag = true;
    if (std::exchange(flag, true)) return NO_VALUE;
    sourceEnded = controller->IsCutPastEnd(gop.start);
    return !sourceEnded && IsGOPCutOnly() ? gop.start : NO_VALUE;
}

void FilterCutControllerStreamRawImpl::CopyGop() {
    while (gopQueue.Count() > 0) {
        iptr<IDataPacket> const packet = gopQueue.Pop();
        iptr<IDataPacket> mapped = controller->MapPacket(packet);
        if (!mapped) {
            VLOG(4001) << "Time shift: " << packet->GetTime() << ", " << packet->GetDecodingTime() << " --> NULL";
            continue;
        }
        mapped = InsertHeader(std::move(mapped));
        VLOG(4001) << "Time shift: " << packet->GetTime() << ", " << packet->GetDecodingTime() << ", "
                   << packet->GetDuration() << " --> " << mapped->GetTime() << ", " << mapped->GetDecodingTime() << ", "
                   << mapped->GetDuration() << (mapped->IsKeyFrame() ? " (key)" : "");
        outputQueue.push_back(std::move(mapped));
    }
}

iptr<IDataPacket> FilterCutControllerStreamRawImpl::InsertHeader(iptr<IDataPacket> packet) const {
    if (GetMediaType() != MEDIA_TYPE_VIDEO || !packet->IsKeyFrame()) return packet;
    iptr<Conf::IFormatCodec const> const format = parentStream->GetFormatCodec();
    if (!format) return packet;
    iptr<IDataPacket> result = packet;
    if (format->GetCodecID() == Conf::IFormatCodecVideo::CODEC_ID_MPEG4)
        result = CodecParsers::InsertMPEG4Extradata(packet, format->GetExtradata());
    else if (format->GetCodecID() == Conf::IFormatCodecVideo::CODEC_ID_MPEG2VIDEO)
        result = CodecParsers::InsertMPEG2Extradata(packet, format->GetExtradata());
    if (result != packet) {
        // A new packet, but still the source's picture.
        result->SetSourcePosition(packet->GetSourcePosition());
        result->SetFormatCodec(packet->GetFormatCodec());
    }
    return result;
}

void FilterCutControllerStreamRawImpl::RecodeGOP(GopSpan const& gop) {
    std::vector<iptr<IDataPacket>> packets = recoder.RecodeGOP(iptr<IStreamRaw>(this), gopQueue, gop);
    recodedPackets += static_cast<uint32>(packets.size());
    for (iptr<IDataPacket>& packet : packets) {
        VLOG(4001) << "New packet: (" << outputQueue.size() << "): PTS=" << packet->GetTime()
                   << ", DTS=" << packet->GetDecodingTime() << ", duration=" << packet->GetDuration()
                   << (packet->IsKeyFrame() ? " (key)" : "");
        outputQueue.push_back(std::move(packet));
    }
    VLOG(4001) << "--------";
}

// --- Seeking ---------------------------------------------------------------------------------------------------------

void FilterCutControllerStreamRawImpl::RequestSeekInternal(int64 position, iptr<IRefCountable> const& seekContext) {
    controller->PrepareCuts();
    controller->ForgetJumps();
    AutoLock const lock(streamLock);
    sourceEnded = false;
    afterSeek = true;
    lastGopStart = repeatGopStart = NO_VALUE;
    parentStream->RequestSeek(controller->Result2Source(position), seekContext);
}

void FilterCutControllerStreamRawImpl::DoSeekInternal() {
    AutoLock const lock(streamLock);
    parentStream->DoSeek();
    outputQueue.clear();
    // Not `Reset`, which keeps the old place's key packet; and no place is asked for, or groups ahead of the one that
    // an earlier jump had asked for would be thrown away.
    gopQueue.SetPosition(NO_VALUE);
}

// --- Jumps -----------------------------------------------------------------------------------------------------------

int64 FilterCutControllerStreamRawImpl::GetReadPosition() {
    int64 const position = gopQueue.GetGopStart();
    return HasValue(position) ? position : parentStream->GetPosition();
}

bool FilterCutControllerStreamRawImpl::BeginJump(int64 end) {
    AutoLock const lock(streamLock);
    int64 const position = GetReadPosition();
    if (HasValue(position) && position >= end) return false;
    jumping = true;
    return true;
}

void FilterCutControllerStreamRawImpl::SourceMoved() {
    AutoLock const lock(streamLock);
    repeatGopStart = lastGopStart;
    sourceEnded = false;
}

void FilterCutControllerStreamRawImpl::EndJump() {
    AutoLock const lock(streamLock);
    jumping = false;
}

void FilterCutControllerStreamRawImpl::StartSearch(int64 start, int64 end) {
    searchThread.Start([this, start, end] { Process(start, end); });
}

void FilterCutControllerStreamRawImpl::Process(int64 start, int64 end) {
    bool flag = false;
    for (bool searching = true; searching && !IsEndOfStream();) {
        AutoLock const lock(streamLock);
        int64 const position = GetReadPosition();
        if (!HasValue(position) || position >= start) break;
        int64 const removedAt = ProcessGOP(flag);
        searching = !sourceEnded && (!HasValue(removedAt) || controller->GetIntervalEndTime(removedAt) != start);
    }
    // The source is sought to `end` next. The reader doesn't come in between: it waits for the end of the jump.
    AutoLock const lock(streamLock);
    gopQueue.SetPosition(end);
}

std::optional<GopSpan> FilterCutControllerStreamRawImpl::FindGop(int64 position) {
    AutoLock const lock(streamLock);
    parentStream->RequestSeek(position, nullptr);
    parentStream->DoSeek();
    PacketQueueWithGOP queue;
    queue.SetLimits(MAX_GOP_PACKETS, MAX_GOP_BYTES);
    while (queue.ReadGOP(parentStream)) {
        GopSpan const gop = SpanOf(queue);
        if (!HasValue(gop.start) || !HasValue(gop.next)) return std::nullopt;
        if (gop.next > position) return gop;
        queue.Reset();
    }
    return std::nullopt;
}

}  // namespace Tarsel::Proc
