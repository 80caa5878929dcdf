#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>

#include "contracts/Conf/CodecIds.h"
#include "host/media/CodecFactory.h"
#include "host/media/VideoDecoder.h"
#include "tests/host/media/codecs/PacketList.h"

namespace Tarsel::Tests {
namespace {

using namespace Tarsel::Host;

constexpr double REQUIRED_PSNR = 38.0;

struct Source {
    char const* name;
    char const* generator;
};
constexpr Source SOURCES[] = {
    {"testsrc2", "testsrc2=s=352x288:r=25:d=1"},
    {"mandelbrot", "mandelbrot=s=352x288:r=25,trim=duration=1"},
    {"smptebars", "smptebars=s=352x288:r=25:d=1,scroll=horizontal=0.01"},
    {"noise", "testsrc2=s=352x288:r=25:d=1,noise=alls=20:allf=t"},
};

struct Codec {
    char const* name;
    char const* file;
    char const* arguments;
    char const* options;  // for x264opts, as a cut makes them
};
constexpr Codec CODECS[] = {
    {"h264-crf18", "mp4", "-c:v libx264 -crf 18 -g 50 -bf 3", "ref=4:qp=18:chroma-qp-offset=1:weightp=2"},
    {"h264-crf23", "mp4", "-c:v libx264 -crf 23 -g 50 -bf 3", "ref=4:qp=23:chroma-qp-offset=1:weightp=2"},
    {"h264-crf30", "mp4", "-c:v libx264 -crf 30 -g 50 -bf 3", "ref=4:qp=30:chroma-qp-offset=1:weightp=2"},
    {"h264-abr", "mp4", "-c:v libx264 -b:v 1M -g 50 -bf 3", "ref=4:qp=26:chroma-qp-offset=1:weightp=2"},
    {"h264-baseline", "mp4", "-c:v libx264 -profile:v baseline -crf 23", "ref=1:qp=23:no-cabac:weightp=0"},
    {"mpeg1", "mpg", "-c:v mpeg1video -q:v 3 -g 25 -bf 2", nullptr},
    {"mpeg1-coarse", "mpg", "-c:v mpeg1video -q:v 6 -g 25 -bf 2", nullptr},
    {"mpeg2", "mpg", "-c:v mpeg2video -q:v 3 -g 25 -bf 2", nullptr},
    {"mpeg4", "mp4", "-c:v mpeg4 -q:v 3 -g 25 -bf 2", nullptr},
    {"mpeg4-simple", "avi", "-c:v mpeg4 -q:v 3 -g 25 -bf 0", nullptr},
    {"h263", "avi", "-c:v h263 -q:v 3 -g 25", nullptr},
    {"h263-fine", "avi", "-c:v h263 -q:v 2 -g 25", nullptr},
    {"h263-coarse", "avi", "-c:v h263 -q:v 7 -g 25", nullptr},
    {"h263-extended", "avi", "-s 320x240 -c:v h263p -q:v 3 -g 25", nullptr},
    {"wmv2-fine", "asf", "-c:v wmv2 -q:v 2 -g 25", nullptr},
    {"wmv2-coarse", "asf", "-c:v wmv2 -q:v 7 -g 25", nullptr},
    {"wmv2", "asf", "-c:v wmv2 -q:v 3 -g 25", nullptr},
    {"vp8", "webm", "-c:v libvpx -b:v 1M -g 25 -deadline realtime -cpu-used 8", nullptr},
    {"vp9", "webm", "-c:v libvpx-vp9 -b:v 1M -g 25 -deadline realtime -cpu-used 8", nullptr},
    {"theora", "ogv", "-c:v libtheora -q:v 6 -g 25", nullptr},
};

iptr<Proc::IStreamRaw> Recode(iptr<Proc::IStreamRaw> const& packets, char const* options) {
    iptr<CodecFactory> const factory = CodecFactory::Create();
    iptr<Proc::IStreamVideo> const pictures = factory->CreateVideoDecoder(packets, "");
    Core::Property properties;
    properties.SetChild(Conf::TAG_BITRATE, 100000);  // must not limit the quality
    if (options) {
        Core::Property codecOptions;
        codecOptions.SetChild(Conf::TAG_FF_SPECIAL_OPTS, std::string("x264opts;sps-id=1:") + options);
        properties.SetChild(Conf::TAG_CODEC_OPTIONS_ENCODE, codecOptions);
    }
    return factory->CreateVideoEncoder(pictures, properties, "FFmpeg",
                                       Core::ComputingResourceManager::TakeFakeResource());
}

class RecodeQuality : public testing::TestWithParam<Codec> {};

TEST_P(RecodeQuality, IsWithin38DecibelsOfTheSourcePictures) {
    Codec const& codec = GetParam();
    for (Source const& source : SOURCES) {
        SCOPED_TRACE(source.name);
        std::string const path =
            MakeClip(std::string(source.name) + "-" + codec.name + "." + codec.file,
                     std::string("-f lavfi -i '") + source.generator + "' -pix_fmt yuv420p " + codec.arguments);
        auto const packets = LoadPackets(path, MEDIA_TYPE_VIDEO);
        auto const original = ReadAll(CodecFactory::Create()->CreateVideoDecoder(packets, ""));
        packets->RequestSeek(0, nullptr);
        packets->DoSeek();
        auto const start = std::chrono::steady_clock::now();
        auto const recoded = Collect(Recode(packets, codec.options));
        double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
        ASSERT_EQ(recoded->packets.size(), original.size());
        iptr<VideoDecoder> const decoder = VideoDecoder::Create(recoded, "", {});
        auto const pictures = ReadAll(decoder);
        ASSERT_EQ(pictures.size(), original.size());
        EXPECT_EQ(decoder->GetReport().errors, 0U);
        EXPECT_EQ(decoder->GetReport().warnings, 0U);
        Psnr worst{99, 99};
        Psnr mean{0, 0};
        for (std::size_t i = 0; i < original.size(); ++i) {
            Psnr const one = Compare(*original[i], *pictures[i]);
            worst = {std::min(worst.luma, one.luma), std::min(worst.average, one.average)};
            mean.luma += one.luma / double(original.size());
            mean.average += one.average / double(original.size());
            EXPECT_EQ(pictures[i]->GetTime(), original[i]->GetTime());
        }
        std::size_t sourceBytes = 0;
        std::size_t bytes = 0;
        for (auto const& packet : packets->packets) sourceBytes += packet->GetSize();
        for (auto const& packet : recoded->packets) bytes += packet->GetSize();
        std::printf(
            "%-15s %-10s  worst luma %5.2f average %5.2f  mean luma %5.2f average %5.2f  size x%.2f  %.0f fps\n",
            codec.name, source.name, worst.luma, worst.average, mean.luma, mean.average,
            double(bytes) / double(sourceBytes), double(original.size()) / seconds);
        EXPECT_GE(worst.luma, REQUIRED_PSNR);
        EXPECT_GE(worst.average, REQUIRED_PSNR);
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, RecodeQuality, testing::ValuesIn(CODECS), [](auto const& test) {
    std::string name = test.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
});

}  // namespace
}  // namespace Tarsel::Tests
