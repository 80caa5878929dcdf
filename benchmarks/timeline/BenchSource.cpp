#include "benchmarks/timeline/BenchSource.h"

#include "contracts/Proc/DataAudioFF.h"
#include "contracts/Proc/DataVideoFF.h"

namespace Tarsel::Bench {

VideoSource MakePictures(int64 count, Tarsel::Ratio const& rate) {
    auto const format = Conf::IFormatCodecVideo::Create();
    format->InitByPixelAspect(16, 16, 1, 1);
    format->SetPixelFormat(PIX_FMT_YUV420P);
    format->SetFrameRate(rate);
    return MakeShared<BenchSource<Proc::IStreamVideo>>(
        Proc::DataVideoFF::Create(PIX_FMT_YUV420P, {16, 16, 1, 1}, nullptr), format, count,
        AvRescale(SECOND, rate.denominator(), rate.numerator()));
}

AudioSource MakeBlocks(int64 count) {
    Conf::SampleInfo const info(Conf::SAMPLE_FORMAT_S16, 48000, Conf::CHANNEL_LAYOUT_STEREO);
    auto const format = Conf::IFormatCodecAudio::Create();
    format->SetSampleInfo(info);
    auto const block = Proc::DataAudioFF::CreateBySampleCount(info, 480);
    block->Silence();
    return MakeShared<BenchSource<Proc::IStreamAudio>>(block, format, count, 10000);
}

}  // namespace Tarsel::Bench
