// `tarsel cut --reencode`: decoded cut streams, exact to the picture and to the sample.
#include <gmock/gmock.h>

#include <cmath>

#include "contracts/Core/Time.h"
#include "tests/support/CutCheck.h"
#include "tests/support/MediaFamily.h"
#include "tests/support/Tarsel.h"
#include "tests/support/TestMedia.h"

namespace Tarsel::Test {
namespace {

using ::testing::IsEmpty;

/// Samples from time 0 on: silence in front of a late start, nothing ahead of 0. `start` is the first sample's time.
std::vector<float> FromZero(DecodedSound const& sound, int64 start) {
    auto const samples = std::llround(static_cast<double>(start) * sound.sampleRate / SECOND) * sound.channels;
    auto result = sound.samples;
    if (samples > 0) result.insert(result.begin(), static_cast<std::size_t>(samples), 0.0F);
    if (samples < 0) result.erase(result.begin(), result.begin() - samples);
    return result;
}

/// Samples of the source outside the removed ranges, cut at the nearest sample. `all` begins at time 0.
std::vector<float> KeptSamples(std::vector<float> const& all, DecodedSound const& sound, TimeRanges const& removed) {
    std::vector<float> kept;
    int64 const count = static_cast<int64>(all.size()) / sound.channels;
    int64 from = 0;
    auto const take = [&](int64 begin, int64 end) {
        if (begin < end)
            kept.insert(kept.end(), all.begin() + begin * sound.channels, all.begin() + end * sound.channels);
    };
    for (auto const& range : removed) {
        auto const sampleAt = [&](int64 time) {
            return std::min<int64>(std::llround(static_cast<double>(time) * sound.sampleRate / SECOND), count);
        };
        take(from, sampleAt(range.begin));
        from = sampleAt(range.end);
    }
    take(from, count);
    return kept;
}

double RootMeanSquareError(std::vector<float> const& a, std::vector<float> const& b, std::size_t skip, int shift) {
    double sum = 0;
    std::size_t count = 0;
    for (std::size_t i = skip; i + skip < std::min(a.size(), b.size()); i++, count++) {
        double const difference = a[i] - b[static_cast<std::size_t>(static_cast<int64>(i) + shift)];
        sum += difference * difference;
    }
    return std::sqrt(sum / static_cast<double>(std::max<std::size_t>(count, 1)));
}

struct Case {
    std::string clip;
    std::string target;
    std::vector<std::string> options;
    CutRequest request;
};

void PrintTo(Case const& one, std::ostream* stream) {
    *stream << one.clip;
}

class Reencode : public ::testing::TestWithParam<Case> {
  protected:
    void Run() {
        path = folder / ("out." + GetParam().target);
        std::vector<std::string> arguments{"cut", source.file.path, "-o", path, "--reencode", "--json"};
        arguments.insert(arguments.end(), GetParam().options.begin(), GetParam().options.end());
        auto const result = RunTarsel(arguments);
        ASSERT_EQ(0, result.exitCode) << result.errors;
        report = ParseOutput(result);
        for (auto const& stream : report.at("streams")) {
            auto const kind = stream.at("kind").get<std::string>();
            if (kind == "video" || kind == "audio") {
                EXPECT_EQ("reencode", stream.at("mode"));
            }
        }
    }

    ScratchFolder folder;
    SourceMedia source = OpenSource(FamilyClip(GetParam().clip));
    std::string path;
    nlohmann::json report;
};

TEST_P(Reencode, IsExactToThePicture) {
    if (source.video < 0) return;
    ASSERT_NO_FATAL_FAILURE(Run());
    auto const expected = ExpectCut(source, GetParam().request, false);
    Messages messages;
    auto const output = InspectFile(path);
    auto const& stream = *output.First(StreamKind::Video);
    auto const pictures = DecodePictures(path, stream.index, messages);
    EXPECT_THAT(messages, IsEmpty());
    ASSERT_EQ(expected.pictures.size(), pictures.size());
    int64 const tick = stream.tick.numerator * SECOND / stream.tick.denominator + 3;
    for (std::size_t i = 0; i < pictures.size(); i++) {
        EXPECT_NEAR(expected.pictures[i].time, pictures[i].time - pictures[0].time, tick) << i;
        EXPECT_GE(Psnr(source.pictures[static_cast<std::size_t>(expected.pictures[i].source)], pictures[i]), 30) << i;
    }
    EXPECT_THAT(CheckByCommand(source.file.path, path), IsEmpty());
}

TEST_P(Reencode, IsExactToTheSample) {
    auto const* in = source.file.First(StreamKind::Audio);
    if (in == nullptr) return;
    ASSERT_NO_FATAL_FAILURE(Run());
    Messages messages;
    auto const original = DecodeSound(source.file.path, in->index, messages);
    auto const output = InspectFile(path);
    auto sound = DecodeSound(path, output.First(StreamKind::Audio)->index, messages);
    if (auto const* pictures = output.First(StreamKind::Video)) {
        // Where the container doesn't mark an encoder's priming, it lies ahead of the first picture.
        int64 zero = pictures->packets.front().time;
        for (auto const& packet : pictures->packets) zero = std::min(zero, packet.time);
        sound.samples = FromZero(sound, sound.start - zero);
    }
    auto const all = FromZero(original, original.start - source.zero);
    auto const kept = KeptSamples(all, original, RangesOnPictures(source, GetParam().request));
    ASSERT_EQ(original.channels, sound.channels);
    ASSERT_EQ(original.sampleRate, sound.sampleRate);
    bool const lossless = output.First(StreamKind::Audio)->codec.starts_with("pcm") || GetParam().target == "flac";
    if (lossless) {
        ASSERT_EQ(kept.size(), sound.samples.size());
        EXPECT_TRUE(kept == sound.samples);
        return;
    }
    // A lossy coder works in frames: at most one is filled up at the end. No other alignment fits better than the true
    // one.
    EXPECT_GE(sound.samples.size() + 1024, kept.size());
    EXPECT_LE(sound.samples.size(), kept.size() + 2048);
    double const error = RootMeanSquareError(kept, sound.samples, 4096, 0);
    for (int const shift : {-1024, -64, 64, 1024})
        EXPECT_LT(error, RootMeanSquareError(kept, sound.samples, 4096, shift)) << shift;
}

std::string CaseName(::testing::TestParamInfo<Case> const& info) {
    std::string name = info.param.clip;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(
    Clips, Reencode,
    ::testing::Values(Case{"h264-closed.mp4", "mp4", {"--remove", "1.01-3.333"}, {false, {{1010000, 3333000}}, false}},
                      Case{"h264-open.mp4",
                           "mp4",
                           {"--remove", "2.5-7", "--remove", "9-end"},
                           {false, {{2500000, 7000000}, {9000000, TO_END}}, false}},
                      Case{"hevc-open.mkv", "mkv", {"--keep", "1-3"}, {true, {{1000000, 3000000}}, false}},
                      Case{"mpeg2-open.ts", "ts", {"--remove", "0-2.2"}, {false, {{0, 2200000}}, false}},
                      Case{"h264-vfr.mp4", "mp4", {"--remove", "1-2"}, {false, {{1000000, 2000000}}, false}},
                      Case{"pcm.wav", "wav", {"--remove", "1.234567-5.001"}, {false, {{1234567, 5001000}}, false}},
                      Case{"flac.flac",
                           "flac",
                           {"--keep", "3-4.5", "--keep", "7-end"},
                           {true, {{3000000, 4500000}, {7000000, TO_END}}, false}},
                      Case{"aac.m4a", "m4a", {"--remove", "2-4"}, {false, {{2000000, 4000000}}, false}}),
    CaseName);

}  // namespace
}  // namespace Tarsel::Test
