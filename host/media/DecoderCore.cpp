#include "host/media/DecoderCore.h"

#include <glog/logging.h>

#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/Time.h"
#include "host/media/PlainSamples.h"

namespace Tarsel::Host {

namespace {

/// Failures of the decoder without a packet going in between them, after which it is given up.
constexpr unsigned MAX_FAILURES_IN_A_ROW = 64;

/// The item's packet where it has the item's times, otherwise a copy that has.
AVPacket const* WithTimes(Proc::IDataPacket& item, PacketPtr& copy) {
    AVPacket const* const packet = item.GetAVPacket();
    int64 const duration = HasValue(item.GetDuration()) ? item.GetDuration() : 0;
    if (packet->pts == item.GetTime() && packet->dts == item.GetDecodingTime() && packet->duration == duration)
        return packet;
    copy.reset(av_packet_clone(packet));
    if (!copy) TARSEL_THROW(Proc::ProcException, "Can't copy a packet");
    copy->pts = item.GetTime();
    copy->dts = item.GetDecodingTime();
    copy->duration = duration;
    return copy.get();
}

}  // namespace

DecoderCore::DecoderCore(Conf::IFormatCodec const& format, AVMediaType type, std::string const& implName,
                         DecoderOptions const& options)
    : strictness(options.strictness), decoder(format, type, implName, options) {}

FramePtr DecoderCore::Receive(Proc::IStreamRaw& source) {
    FramePtr frame;
    for (;;) {
        // Nothing comes out of a decoder that nothing has gone into.
        int code = draining ? AVERROR_EOF : AVERROR(EAGAIN);
        if (AVCodecContext* const context = decoder.Get(); context && sent) {
            if (!frame) frame.reset(av_frame_alloc());
            if (!frame) TARSEL_THROW(Proc::ProcException, "Can't allocate a frame");
            code = avcodec_receive_frame(context, frame.get());
            sent = code != AVERROR(EAGAIN);
        }
        CheckStrictness();
        if (code == 0) return NoteFrame(std::move(frame));
        if (code == AVERROR_EOF) return nullptr;
        if (code != AVERROR(EAGAIN)) {
            NoteDamage(code);
        } else if (FramePtr plain = Feed(source)) {
            return NoteFrame(std::move(plain));
        }
    }
}

FramePtr DecoderCore::NoteFrame(FramePtr frame) {
    failuresInARow = 0;
    ++framesOfRun;
    ++frames;
    return frame;
}

FramePtr DecoderCore::Feed(Proc::IStreamRaw& source) {
    iptr<Proc::IDataPacket> const item = draining ? nullptr : source.Read();
    int code = 0;
    if (!item) {
        draining = true;
        if (AVCodecContext* const context = decoder.Get()) {
            code = avcodec_send_packet(context, nullptr);
            sent = true;
        }
        if (code == AVERROR_EOF) code = 0;
    } else {
        // An empty packet would start the draining; it stands for "nothing new here".
        if (item->GetSize() == 0) return nullptr;
        PacketPtr copy;
        AVPacket const* const packet = WithTimes(*item, copy);
        AVCodecContext& context = decoder.Open();
        lastPacketTime = HasValue(packet->pts) ? packet->pts : packet->dts;
        int64 const end = AddTime(lastPacketTime, packet->duration);
        SetQuiet(HasValue(end) && HasValue(quietBefore) && end <= quietBefore);
        ++packetsOfRun;
        ++packets;
        if (FramePtr plain = PlainFrame(context, *packet)) return plain;
        code = avcodec_send_packet(&context, packet);
        sent = true;
        if (code >= 0) failuresInARow = 0;
    }
    CheckStrictness();
    if (code < 0) NoteDamage(code);
    return nullptr;
}

void DecoderCore::NoteDamage(int code) {
    std::string const where = GetName() + " at " + Proc::T2S(lastPacketTime) + ": " + ErrorText(code);
    if (++failuresInARow > MAX_FAILURES_IN_A_ROW || code == AVERROR(ENOMEM))
        TARSEL_THROW(Proc::ProcException, "Decoder gives up, " + where);
    if (quiet) return;
    ++damagedPackets;
    if (strictness != DecoderOptions::Strictness::Lenient)
        TARSEL_THROW(Proc::ProcException, "Decoder failed, " + where);
    LOG(WARNING) << "Damaged packet is skipped, " << where;
}

void DecoderCore::CheckStrictness() const {
    if (strictness == DecoderOptions::Strictness::Lenient) return;
    LibavLogWatch const& watch = decoder.GetWatch();
    bool const failed = watch.GetErrorCount() > errorsBefore || (strictness == DecoderOptions::Strictness::Warnings &&
                                                                 watch.GetWarningCount() > warningsBefore);
    if (failed)
        TARSEL_THROW(Proc::ProcException,
                     "Decoder failed, " + GetName() + " at " + Proc::T2S(lastPacketTime) + ": " + watch.GetLastText());
}

void DecoderCore::Flush(int64 wanted) {
    AVCodecContext* const context = decoder.Get();
    if (context && (packetsOfRun > 0 || draining)) avcodec_flush_buffers(context);
    draining = false;
    sent = false;
    packetsOfRun = 0;
    framesOfRun = 0;
    failuresInARow = 0;
    lastPacketTime = NO_VALUE;
    quietBefore = wanted;
    errorsBefore = decoder.GetWatch().GetErrorCount();
    warningsBefore = decoder.GetWatch().GetWarningCount();
    SetQuiet(false);
}

void DecoderCore::Reopen(int64 wanted) {
    decoder.Close();
    Flush(wanted);
}

void DecoderCore::SetQuiet(bool value) {
    quiet = value;
    decoder.GetWatch().SetQuiet(value);
}

DecoderReport DecoderCore::GetReport() const {
    LibavLogWatch const& watch = decoder.GetWatch();
    return {packets, frames, damagedPackets, watch.GetErrorCount(), watch.GetWarningCount(), watch.GetFirstError()};
}

void DecoderCore::AddStatistics(Core::Property& node) const {
    DecoderReport const report = GetReport();
    node.SetChild("Packets", static_cast<int64>(report.packets));
    node.SetChild("Frames", static_cast<int64>(report.frames));
    node.SetChild("Damaged packets", static_cast<int64>(report.damagedPackets));
    node.SetChild("Decoder errors", static_cast<int64>(report.errors));
    node.SetChild("Decoder warnings", static_cast<int64>(report.warnings));
}

}  // namespace Tarsel::Host
