#include "host/media/DecoderCore.h"

#include <glog/logging.h>

#include <algorithm>
#include <cstring>
#include <thread>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/Time.h"

namespace Tarsel::Host {

namespace {

/// Failures of the decoder without a packet going in between them, after which it is given up.
constexpr unsigned MAX_FAILURES_IN_A_ROW = 64;
constexpr int MAX_DEFAULT_THREADS = 4;

bool IsDefaultName(std::string const& name) {
    return name.empty() || name == Proc::ImplNames::FFMPEG || name == Proc::ImplNames::TARSEL ||
           name == Proc::ImplNames::DEFAULT;
}

AVCodec const* FindDecoder(AVCodecID id, std::string const& codecId, std::string const& implName) {
    AVCodec const* codec = nullptr;
    if (IsDefaultName(implName)) {
        codec = avcodec_find_decoder(id);
    } else {
        codec = avcodec_find_decoder_by_name(implName.c_str());
        if (codec && codec->id != id) codec = nullptr;
    }
    if (!codec)
        TARSEL_THROW(
            Proc::CodecFactoryException,
            "There is no decoder" + (IsDefaultName(implName) ? "" : " '" + implName + "'") + " for " + codecId);
    return codec;
}

int ThreadCount(DecoderOptions const& options) {
    if (options.threadCount > 0) return options.threadCount;
    return std::clamp(static_cast<int>(std::thread::hardware_concurrency()), 1, MAX_DEFAULT_THREADS);
}

}  // namespace

NativeParameters const* FindNativeParameters(Conf::IFormatCodec const& format) {
    return dynamic_cast<NativeParameters const*>(format.GetNativeParameters().get());
}

ParametersPtr MakeParameters(Conf::IFormatCodec const& format, AVMediaType type) {
    ParametersPtr parameters(avcodec_parameters_alloc());
    if (!parameters) TARSEL_THROW(Proc::CodecFactoryException, "Can't allocate codec parameters");
    if (NativeParameters const* const native = FindNativeParameters(format); native && native->parameters) {
        if (int const code = avcodec_parameters_copy(parameters.get(), native->parameters.get()); code < 0)
            TARSEL_THROW(Proc::CodecFactoryException, "Can't copy codec parameters: " + ErrorText(code));
    }
    AVCodecDescriptor const* const named = avcodec_descriptor_get_by_name(format.GetCodecID().c_str());
    if (named && parameters->codec_id == AV_CODEC_ID_NONE) parameters->codec_id = named->id;
    if (parameters->codec_id == AV_CODEC_ID_NONE)
        TARSEL_THROW(Proc::CodecFactoryException, "Unknown codec '" + format.GetCodecID() + "'");
    parameters->codec_type = type;
    if (iptr<IBlob> const extradata = format.GetExtradata(); extradata && extradata->GetSize() > 0) {
        av_freep(&parameters->extradata);
        parameters->extradata_size = 0;
        parameters->extradata = static_cast<uint8_t*>(av_mallocz(extradata->GetSize() + AV_INPUT_BUFFER_PADDING_SIZE));
        if (!parameters->extradata) TARSEL_THROW(Proc::CodecFactoryException, "Can't allocate codec parameters");
        std::memcpy(parameters->extradata, extradata->GetData(), extradata->GetSize());
        parameters->extradata_size = static_cast<int>(extradata->GetSize());
    }
    return parameters;
}

DecoderCore::DecoderCore(Conf::IFormatCodec const& format, AVMediaType type, std::string const& implName,
                         DecoderOptions const& options)
    : options(options),
      parameters(MakeParameters(format, type)),
      codec(FindDecoder(parameters->codec_id, format.GetCodecID(), implName)) {
    Open();
}

void DecoderCore::Open() {
    context.reset(avcodec_alloc_context3(codec));
    if (!context) TARSEL_THROW(Proc::CodecFactoryException, "Can't allocate decoder " + GetName());
    int code = avcodec_parameters_to_context(context.get(), parameters.get());
    if (code >= 0) {
        watch.Attach(*context);
        context->pkt_timebase = MICROSECONDS;
        context->thread_count = ThreadCount(options);
        context->thread_type = options.threading == DecoderOptions::Threading::Frames
                                   ? FF_THREAD_FRAME | FF_THREAD_SLICE
                                   : FF_THREAD_SLICE;
        code = avcodec_open2(context.get(), codec, nullptr);
    }
    if (code < 0) TARSEL_THROW(Proc::CodecFactoryException, "Can't open decoder " + GetName() + ": " + ErrorText(code));
}

FramePtr DecoderCore::Receive(Proc::IStreamRaw& source) {
    FramePtr frame(av_frame_alloc());
    if (!frame) TARSEL_THROW(Proc::ProcException, "Can't allocate a frame");
    for (;;) {
        int const code = avcodec_receive_frame(context.get(), frame.get());
        CheckStrictness();
        if (code == 0) {
            failuresInARow = 0;
            ++framesOfRun;
            ++frames;
            return frame;
        }
        if (code == AVERROR_EOF) return nullptr;
        if (code == AVERROR(EAGAIN))
            Feed(source);
        else
            NoteDamage(code);
    }
}

void DecoderCore::Feed(Proc::IStreamRaw& source) {
    iptr<Proc::IDataPacket> const item = draining ? nullptr : source.Read();
    int code = 0;
    if (!item) {
        draining = true;
        code = avcodec_send_packet(context.get(), nullptr);
        if (code == AVERROR_EOF) code = 0;
    } else {
        // An empty packet would start the draining; it stands for "nothing new here".
        if (item->GetSize() == 0) return;
        PacketPtr const packet(av_packet_clone(item->GetAVPacket()));
        if (!packet) TARSEL_THROW(Proc::ProcException, "Can't copy a packet");
        packet->pts = item->GetTime();
        packet->dts = item->GetDecodingTime();
        packet->duration = HasValue(item->GetDuration()) ? item->GetDuration() : 0;
        lastPacketTime = HasValue(packet->pts) ? packet->pts : packet->dts;
        int64 const end = AddTime(lastPacketTime, packet->duration);
        SetQuiet(HasValue(end) && HasValue(quietBefore) && end <= quietBefore);
        ++packetsOfRun;
        ++packets;
        code = avcodec_send_packet(context.get(), packet.get());
        if (code >= 0) failuresInARow = 0;
    }
    CheckStrictness();
    if (code < 0) NoteDamage(code);
}

void DecoderCore::NoteDamage(int code) {
    std::string const where = GetName() + " at " + Proc::T2S(lastPacketTime) + ": " + ErrorText(code);
    if (++failuresInARow > MAX_FAILURES_IN_A_ROW || code == AVERROR(ENOMEM))
        TARSEL_THROW(Proc::ProcException, "Decoder gives up, " + where);
    if (quiet) return;
    ++damagedPackets;
    if (options.strictness != DecoderOptions::Strictness::Lenient)
        TARSEL_THROW(Proc::ProcException, "Decoder failed, " + where);
    LOG(WARNING) << "Damaged packet is skipped, " << where;
}

void DecoderCore::CheckStrictness() const {
    if (options.strictness == DecoderOptions::Strictness::Lenient) return;
    bool const failed =
        watch.GetErrorCount() > errorsBefore ||
        (options.strictness == DecoderOptions::Strictness::Warnings && watch.GetWarningCount() > warningsBefore);
    if (failed)
        TARSEL_THROW(Proc::ProcException,
                     "Decoder failed, " + GetName() + " at " + Proc::T2S(lastPacketTime) + ": " + watch.GetLastText());
}

void DecoderCore::Flush(int64 wanted) {
    if (packetsOfRun > 0 || draining) avcodec_flush_buffers(context.get());
    draining = false;
    packetsOfRun = 0;
    framesOfRun = 0;
    failuresInARow = 0;
    lastPacketTime = NO_VALUE;
    quietBefore = wanted;
    errorsBefore = watch.GetErrorCount();
    warningsBefore = watch.GetWarningCount();
    SetQuiet(false);
}

void DecoderCore::Reopen(int64 wanted) {
    if (packetsOfRun > 0 || draining) Open();
    packetsOfRun = 0;
    draining = false;
    Flush(wanted);
}

void DecoderCore::SetQuiet(bool value) {
    quiet = value;
    watch.SetQuiet(value);
}

DecoderReport DecoderCore::GetReport() const {
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
