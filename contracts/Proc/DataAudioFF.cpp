#include "contracts/Proc/DataAudioFF.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/BlobFF.h"
#include "contracts/Proc/CopySamples.h"
#include "contracts/Proc/CutWindow.h"
#include "contracts/Proc/FramePtr.h"
#include "contracts/Proc/Time.h"

extern "C" {
#include <libavcodec/defs.h>
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
}

namespace Tarsel::Proc {

namespace {

AVSampleFormat Native(Conf::SampleFormats format) {
    return static_cast<AVSampleFormat>(static_cast<int>(format));
}

std::size_t PlaneBytes(Conf::SampleInfo const& info, int samples) {
    return static_cast<std::size_t>(info.GetSampleSizePerPlane()) * static_cast<std::size_t>(samples);
}

/// Gives an empty frame the shape of a block whose planes begin at `data`, and zeroes the spare bytes behind them.
void Shape(AVFrame& frame, Conf::SampleInfo const& info, int samples, u8* data) {
    std::size_t const planeBytes = PlaneBytes(info, samples);
    std::size_t const planes = static_cast<std::size_t>(info.GetPlanesCount());
    std::memset(data + planeBytes * planes, 0, AV_INPUT_BUFFER_PADDING_SIZE);
    frame.format = Native(info.GetSampleFormat());
    frame.sample_rate = info.GetSampleRate();
    frame.nb_samples = samples;
    frame.linesize[0] = static_cast<int>(planeBytes);
    av_channel_layout_from_mask(&frame.ch_layout, info.GetChannelLayout());
    if (planes > AV_NUM_DATA_POINTERS) {
        frame.extended_data = static_cast<uint8_t**>(av_calloc(planes, sizeof(uint8_t*)));
        if (!frame.extended_data) {
            frame.extended_data = frame.data;
            TARSEL_THROW(ProcException, "Can't allocate an audio block of " + std::to_string(planes) + " planes");
        }
    } else {
        frame.extended_data = frame.data;
    }
    for (std::size_t i = 0; i < planes; ++i) {
        frame.extended_data[i] = data + i * planeBytes;
        if (i < AV_NUM_DATA_POINTERS) frame.data[i] = frame.extended_data[i];
    }
}

/// A frame over one new allocation, contents undefined.
FramePtr AllocatePacked(Conf::SampleInfo const& info, int samples) {
    std::size_t const planeBytes = PlaneBytes(info, samples);
    std::size_t const planes = static_cast<std::size_t>(info.GetPlanesCount());
    FramePtr frame(av_frame_alloc());
    AVBufferRef* const buffer = av_buffer_alloc(planeBytes * planes + AV_INPUT_BUFFER_PADDING_SIZE);
    if (frame) frame->buf[0] = buffer;
    if (!frame || !buffer || planeBytes > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        TARSEL_THROW(ProcException, "Can't allocate an audio block of " + std::to_string(samples) + " samples");
    Shape(*frame, info, samples, buffer->data);
    return frame;
}

/// What the samples of a frame are. Throws `ProcException` for a frame that isn't audio.
Conf::SampleInfo InfoOf(AVFrame const* frame) {
    if (!frame || frame->nb_samples < 0 || frame->sample_rate <= 0 || frame->format < 0)
        TARSEL_THROW(ProcException, "Not a frame of audio samples");
    Conf::ChannelLayout layout = frame->ch_layout.order == AV_CHANNEL_ORDER_NATIVE ? frame->ch_layout.u.mask : 0;
    if (layout == 0) layout = Conf::DefaultChannelLayout(frame->ch_layout.nb_channels);
    Conf::SampleInfo const info(static_cast<Conf::SampleFormats>(frame->format), frame->sample_rate, layout);
    if (info.GetChannelCount() != frame->ch_layout.nb_channels)
        TARSEL_THROW(ProcException,
                     "No channel layout for " + std::to_string(frame->ch_layout.nb_channels) + " channels");
    return info;
}

/// Whether the memory of a frame can be a block's just as it is: one plane, one owner, room for the spare bytes.
bool IsPacked(AVFrame const& frame, Conf::SampleInfo const& info) {
    AVBufferRef const* const buffer = frame.buf[0];
    if (info.GetPlanesCount() != 1 || !buffer || frame.buf[1] || !av_buffer_is_writable(buffer)) return false;
    if (frame.data[0] < buffer->data || frame.data[0] > buffer->data + buffer->size) return false;
    auto const room = static_cast<std::size_t>(buffer->data + buffer->size - frame.data[0]);
    return room >= PlaneBytes(info, frame.nb_samples) + AV_INPUT_BUFFER_PADDING_SIZE;
}

void CheckCount(int count, int available) {
    if (count < 0 || count > available)
        TARSEL_THROW(ProcException,
                     "Can't cut " + std::to_string(count) + " samples out of a block of " + std::to_string(available));
}

}  // namespace

iptr<IDataAudio> DataAudioFF::CreateBySampleCount(Conf::SampleInfo const& info, int sampleCount) {
    if (info.GetPlanesCount() == 0 || info.GetChannelCount() == 0 || info.GetSampleRate() <= 0 || sampleCount < 0)
        TARSEL_THROW(ProcException, "Can't make an audio block: format " + std::to_string(info.GetSampleFormat()) +
                                        ", rate " + std::to_string(info.GetSampleRate()) + ", channels " +
                                        std::to_string(info.GetChannelCount()) + ", samples " +
                                        std::to_string(sampleCount));
    FramePtr frame = AllocatePacked(info, sampleCount);
    std::unique_ptr<DataAudioFF> block(new DataAudioFF(frame.get(), info));
    frame.release();
    block->SetDurationBySamples();
    return iptr<IDataAudio>(block.release());
}

iptr<IDataAudio> DataAudioFF::CreateFromFrame(AVFrame const* source, int64 time) {
    Conf::SampleInfo const info = InfoOf(source);
    iptr<IDataAudio> block = CreateBySampleCount(info, source->nb_samples);
    CopySamples(*block->GetAVFrame(), 0, *source, 0, source->nb_samples, info);
    block->SetTime(time);
    return block;
}

iptr<IDataAudio> DataAudioFF::TakeFrame(AVFrame* source, int64 time) {
    FramePtr frame(source);
    Conf::SampleInfo const info = InfoOf(source);
    if (!IsPacked(*frame, info)) return CreateFromFrame(source, time);
    u8* const data = frame->data[0];
    int const samples = frame->nb_samples;
    AVBufferRef* const buffer = std::exchange(frame->buf[0], nullptr);
    av_frame_unref(frame.get());
    frame->buf[0] = buffer;
    Shape(*frame, info, samples, data);
    std::unique_ptr<DataAudioFF> block(new DataAudioFF(frame.get(), info));
    frame.release();
    block->SetDurationBySamples();
    block->SetTime(time);
    return iptr<IDataAudio>(block.release());
}

DataAudioFF::DataAudioFF(AVFrame* frame, Conf::SampleInfo const& info) : frame(frame), info(info) {}

DataAudioFF::~DataAudioFF() {
    av_frame_free(&frame);
}

int DataAudioFF::GetChannelCount() const {
    return info.GetChannelCount();
}
int DataAudioFF::GetSampleRate() const {
    return info.GetSampleRate();
}
int DataAudioFF::GetSampleCount() const {
    return frame->nb_samples;
}

void DataAudioFF::SetDurationBySamples() {
    duration = SampleCount2Duration(frame->nb_samples, info.GetSampleRate());
}

void DataAudioFF::Silence() {
    MakeWritable();
    av_samples_set_silence(frame->extended_data, 0, frame->nb_samples, info.GetChannelCount(),
                           Native(info.GetSampleFormat()));
}

void DataAudioFF::SetSampleRate(int sampleRate) {
    info.Init(info.GetSampleFormat(), sampleRate, info.GetChannelLayout());
    frame->sample_rate = sampleRate;
}

iptr<IBlob> DataAudioFF::GetBlob() {
    std::size_t const size = PlaneBytes(info, frame->nb_samples) * static_cast<std::size_t>(info.GetPlanesCount());
    iptr<IBlob> blob = BlobFF::CreateView(frame->buf[0], frame->extended_data[0], size);
    if (!blob) TARSEL_THROW(ProcException, "Can't create BlobFF");
    return blob;
}

void DataAudioFF::RemoveSamples(int begin, int end) {
    if (begin == end) return;
    FramePtr kept = AllocatePacked(info, frame->nb_samples - (end - begin));
    CopySamples(*kept, 0, *frame, 0, begin, info);
    CopySamples(*kept, begin, *frame, end, frame->nb_samples - end, info);
    av_frame_free(&frame);
    frame = kept.release();
}

void DataAudioFF::CutSamplesBegin(int count) {
    CheckCount(count, frame->nb_samples);
    RemoveSamples(0, count);
    int64 const length = SampleCount2Duration(count, info.GetSampleRate());
    time = AddTime(time, length);
    duration = SubTime(duration, length);
}

void DataAudioFF::CutSamplesEnd(int count) {
    CheckCount(count, frame->nb_samples);
    RemoveSamples(frame->nb_samples - count, frame->nb_samples);
    duration = SubTime(duration, SampleCount2Duration(count, info.GetSampleRate()));
}

void DataAudioFF::CutBegin(int64 length) {
    Details::CheckCut(0, length, duration);
    int64 const count = Duration2SampleCount(length, info.GetSampleRate());
    RemoveSamples(0, static_cast<int>(std::min<int64>(count, frame->nb_samples)));
    time = AddTime(time, length);
    duration -= length;
}

void DataAudioFF::Cut(int64 begin, int64 end) {
    Details::CheckCut(begin, end, duration);
    int64 const first = std::min<int64>(Duration2SampleCount(begin, info.GetSampleRate()), frame->nb_samples);
    int64 const last = std::min<int64>(Duration2SampleCount(end, info.GetSampleRate()), frame->nb_samples);
    RemoveSamples(static_cast<int>(first), static_cast<int>(last));
    duration -= end - begin;
}

void DataAudioFF::CutEnd(int64 length) {
    Details::CheckCut(0, length, duration);
    int64 const count = Duration2SampleCount(length, info.GetSampleRate());
    RemoveSamples(frame->nb_samples - static_cast<int>(std::min<int64>(count, frame->nb_samples)), frame->nb_samples);
    duration -= length;
}

iptr<IDataAudio> DataAudioFF::Clone(bool copyPayload) const {
    FramePtr copy(copyPayload ? AllocatePacked(info, frame->nb_samples).release() : av_frame_clone(frame));
    if (!copy)
        TARSEL_THROW(ProcException, "Can't copy an audio block of " + std::to_string(frame->nb_samples) + " samples");
    if (copyPayload) CopySamples(*copy, 0, *frame, 0, frame->nb_samples, info);
    iptr<IDataAudio> clone(new DataAudioFF(copy.get(), info));
    copy.release();
    clone->SetTime(time);
    clone->SetDuration(duration);
    return clone;
}

void DataAudioFF::MakeWritable() {
    if (av_buffer_is_writable(frame->buf[0])) return;
    FramePtr own = AllocatePacked(info, frame->nb_samples);
    CopySamples(*own, 0, *frame, 0, frame->nb_samples, info);
    av_frame_free(&frame);
    frame = own.release();
}

}  // namespace Tarsel::Proc
