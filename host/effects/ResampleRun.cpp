#include "host/effects/ResampleRun.h"

#include <algorithm>
#include <cstring>
#include <string>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/DataAudioFF.h"
#include "host/media/FFmpeg.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/samplefmt.h>
#include <libswresample/swresample.h>
}

namespace Tarsel::Host {

using namespace Proc;

namespace {

/// The largest block that comes out at once, in samples.
constexpr int64 LARGEST_BLOCK = int64{1} << 22;
/// The rates between which the library's filter stays of a sane size.
constexpr int MIN_RATE = 1000;
constexpr int MAX_RATE = 768000;
/// Taps of the library's filter at the lower one of the two rates.
constexpr int64 FILTER_SIZE = 32;
/// Input that is farther than this from where the run has got to, in microseconds, doesn't belong to it.
constexpr int64 TOLERANCE = 100000;

/// Floats hold 24 bits of a number; what comes or goes in more is computed in doubles.
AVSampleFormat InternalFormat(Conf::SampleInfo const& from, Conf::SampleInfo const& to) {
    auto const isFine = [](Conf::SampleFormats format) {
        Conf::SampleFormats const planar = Conf::PlanarFormat(format);
        return planar != Conf::SAMPLE_FORMAT_FLTP && Conf::BytesPerSample(planar) > 2;
    };
    return isFine(from.GetSampleFormat()) || isFine(to.GetSampleFormat()) ? AV_SAMPLE_FMT_DBLP : AV_SAMPLE_FMT_FLTP;
}

/// "stereo at 48000 Hz in s16"; a layout without a name is told by its channels, "2 channels (BL+BR)".
std::string Describe(Conf::SampleInfo const& info) {
    char layoutName[128] = "no channels";
    AVChannelLayout layout{};
    if (av_channel_layout_from_mask(&layout, info.GetChannelLayout()) >= 0)
        av_channel_layout_describe(&layout, layoutName, sizeof layoutName);
    char const* const format = av_get_sample_fmt_name(static_cast<AVSampleFormat>(int(info.GetSampleFormat())));
    return std::string(layoutName) + " at " + std::to_string(info.GetSampleRate()) + " Hz in " +
           (format ? format : "no format");
}

void RequireRate(int rate) {
    if (rate >= MIN_RATE && rate <= MAX_RATE) return;
    TARSEL_THROW(EffectException, "Sample rate " + std::to_string(rate) + " is out of " + std::to_string(MIN_RATE) +
                                      " to " + std::to_string(MAX_RATE));
}

std::size_t StepOf(Conf::SampleInfo const& info) {
    return static_cast<std::size_t>(info.GetSampleSizePerPlane());
}

/// The block's planes from sample `first` on.
std::vector<u8 const*> PlanesOf(IDataAudio& block, int first) {
    Conf::SampleInfo const info = block.GetSampleInfo();
    std::vector<u8 const*> planes;
    for (int i = 0; i < info.GetPlanesCount(); ++i)
        planes.push_back(block.GetAVFrame()->extended_data[i] + StepOf(info) * static_cast<std::size_t>(first));
    return planes;
}

/// Fills the block from sample `first` on with copies of the sample at `planes`.
void Repeat(IDataAudio& block, int first, std::vector<u8 const*> const& planes) {
    std::size_t const step = StepOf(block.GetSampleInfo());
    for (std::size_t i = 0; i < planes.size(); ++i) {
        u8* const to = block.GetAVFrame()->extended_data[i];
        for (int k = first; k < block.GetSampleCount(); ++k)
            std::memcpy(to + step * static_cast<std::size_t>(k), planes[i], step);
    }
}

}  // namespace

ResampleRun::ResampleRun(Conf::SampleInfo const& from, Conf::SampleInfo const& to) : from(from), to(to) {
    if (ChangesRate()) {
        RequireRate(from.GetSampleRate());
        RequireRate(to.GetSampleRate());
        int64 const ratio = from.GetSampleRate() / to.GetSampleRate() + 1;
        head = DataAudioFF::CreateBySampleCount(from, static_cast<int>(2 * FILTER_SIZE * ratio));
    }
    AVChannelLayout layout{};
    int code = av_channel_layout_from_mask(&layout, from.GetChannelLayout());
    if (code >= 0) code = OpenSwr(context, layout, from, to, InternalFormat(from, to));
    if (code < 0)
        TARSEL_THROW(EffectException,
                     "Can't convert sound of " + Describe(from) + " to " + Describe(to) + ": " + ErrorText(code));
}

bool ResampleRun::Continues(IDataAudio const& block) const {
    if (!ChangesRate() || !HasValue(block.GetTime()) || !inputClock.isInit()) return true;
    int64 const off = SubTime(block.GetTime(), inputClock.GetTime());
    return off >= -TOLERANCE && off <= TOLERANCE;
}

void ResampleRun::SetClocks(int64 time) {
    if (inputClock.isInit() || !HasValue(time)) return;
    int64 const given = AvRescale(samplesOut, from.GetSampleRate(), to.GetSampleRate());
    inputClock.Reset(time);
    outputClock.Reset(SubTime(time, SampleCount2Duration(samplesIn - given, from.GetSampleRate())));
}

std::vector<iptr<IDataAudio>> ResampleRun::Feed(IDataAudio& block) {
    std::vector<iptr<IDataAudio>> result;
    int const count = block.GetSampleCount();
    if (count <= 0) return result;
    if (!ChangesRate()) {
        result.push_back(ConvertPiece(false, PlanesOf(block, 0), count));
        KeepTime(block, *result.back());
        return result;
    }
    SetClocks(block.GetTime());
    int const headTaken = FillHead(block);
    samplesIn += count;
    inputClock.AddSamples(from.GetSampleRate(), static_cast<uint64>(count));
    if (headCount < head->GetSampleCount()) return result;
    bool withHead = headTaken > 0;
    int64 const piece = std::max<int64>(AvRescale(LARGEST_BLOCK, from.GetSampleRate(), to.GetSampleRate()), 1);
    for (int first = headTaken; first < count || withHead;) {
        int const now = static_cast<int>(std::min<int64>(count - first, piece));
        if (auto converted = ConvertPiece(withHead, PlanesOf(block, first), now))
            result.push_back(std::move(converted));
        withHead = false;
        first += now;
    }
    return result;
}

int ResampleRun::FillHead(IDataAudio& block) {
    int const count = std::min(block.GetSampleCount(), head->GetSampleCount() - headCount);
    std::size_t const step = StepOf(from);
    for (int i = 0; i < from.GetPlanesCount(); ++i)
        std::memcpy(head->GetAVFrame()->extended_data[i] + step * static_cast<std::size_t>(headCount),
                    block.GetAVFrame()->extended_data[i], step * static_cast<std::size_t>(count));
    headCount += count;
    return count;
}

void ResampleRun::KeepTime(IDataAudio const& block, IDataAudio& converted) {
    if (HasValue(block.GetTime())) outputClock.Reset(block.GetTime());
    converted.SetTime(outputClock.GetTime());
    if (HasValue(block.GetDuration())) converted.SetDuration(block.GetDuration());
    outputClock.AddSamples(to.GetSampleRate(), static_cast<uint64>(converted.GetSampleCount()));
}

iptr<IDataAudio> ResampleRun::ConvertPiece(bool withHead, Samples const& input, int count) {
    int const all = count + (withHead ? headCount : 0);
    int const expected = ChangesRate() ? swr_get_out_samples(context.get(), all) : all;
    if (expected < 0) TARSEL_THROW(EffectException, "Can't convert sound: " + ErrorText(expected));
    auto result = DataAudioFF::CreateBySampleCount(to, expected);
    int given = withHead ? Convert(*result, 0, PlanesOf(*head, 0), headCount) : 0;
    if (count > 0) given += Convert(*result, given, input, count);
    if (given < expected) result->CutSamplesEnd(expected - given);
    if (given == 0) return nullptr;
    if (ChangesRate()) Stamp(*result);
    return result;
}

int ResampleRun::Convert(IDataAudio& result, int offset, Samples input, int count) {
    std::vector<u8*> output;
    for (u8 const* plane : PlanesOf(result, offset)) output.push_back(const_cast<u8*>(plane));
    int const given = swr_convert(context.get(), output.data(), result.GetSampleCount() - offset,
                                  input.empty() ? nullptr : input.data(), count);
    if (given < 0) TARSEL_THROW(EffectException, "Can't convert sound: " + ErrorText(given));
    return given;
}

iptr<IDataAudio> ResampleRun::Finish() {
    int64 const missing = AvRescale(samplesIn, to.GetSampleRate(), from.GetSampleRate()) - samplesOut;
    if (!ChangesRate() || missing <= 0) return nullptr;
    auto result = DataAudioFF::CreateBySampleCount(to, static_cast<int>(missing));
    int given = 0;
    if (headCount < head->GetSampleCount()) {
        Repeat(*head, headCount, PlanesOf(*head, headCount - 1));
        given = Convert(*result, 0, PlanesOf(*head, 0), head->GetSampleCount());
    }
    for (int more = 1; given < missing && more > 0; given += more) more = Convert(*result, given, {}, 0);
    if (given == 0) TARSEL_THROW(EffectException, "Can't convert sound: the library gives nothing at the end");
    // The library may come out a sample short of the exact count.
    Repeat(*result, given, PlanesOf(*result, given - 1));
    Stamp(*result);
    return result;
}

void ResampleRun::Stamp(IDataAudio& block) {
    int64 const begin = outputClock.GetTime();
    outputClock.AddSamples(to.GetSampleRate(), static_cast<uint64>(block.GetSampleCount()));
    samplesOut += block.GetSampleCount();
    block.SetTime(begin);
    block.SetDuration(HasValue(begin) ? SubTime(outputClock.GetTime(), begin)
                                      : SampleCount2Duration(block.GetSampleCount(), to.GetSampleRate()));
}

}  // namespace Tarsel::Host
