// What a graph's video mixer draws, and what it is given to draw.
#include "host/overlay/VideoMixerNode.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>

#include "host/graph/GraphErrors.h"
#include "host/graph/GraphReader.h"
#include "host/overlay/MixedStreams.h"
#include "tests/support/Builders.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/PlacedPicture.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using TestSupport::MessageOf;

constexpr auto RGB24 = static_cast<PixFmt>(AV_PIX_FMT_RGB24);
constexpr auto YUV411P = static_cast<PixFmt>(AV_PIX_FMT_YUV411P);
constexpr int64 FRAME = 40000;
constexpr u8 GROUND = 100;

/// Streams over one another, without a file behind them.
iptr<ScriptedVideo> Stream(std::vector<iptr<IDataVideo>> const& pictures, Conf::FrameInfo const& info,
                           PixFmt format = RGB24) {
    auto stream = ScriptedVideo::Create(std::vector<ScriptedVideo::Step>(pictures.begin(), pictures.end()));
    stream->format->InitByPixelAspect(static_cast<unsigned>(info.width), static_cast<unsigned>(info.height),
                                      static_cast<unsigned>(info.pixelAspectNum),
                                      static_cast<unsigned>(info.pixelAspectDen));
    stream->format->SetPixelFormat(format);
    int64 end = 0;
    for (auto const& picture : pictures) end = AddTime(picture->GetTime(), picture->GetDuration());
    stream->duration = end;
    return stream;
}

/// Pictures of these shades, one behind the other.
iptr<ScriptedVideo> Shades(std::vector<u8> const& shades, int width, int height, PixFmt format = RGB24,
                           int64 length = FRAME) {
    std::vector<iptr<IDataVideo>> pictures;
    for (u8 const shade : shades)
        pictures.push_back(
            MakeVideo(static_cast<int64>(pictures.size()) * length, length, shade, format, width, height));
    return Stream(pictures, {width, height, 1, 1}, format);
}
iptr<ScriptedVideo> Main(std::size_t count) {
    return Shades(std::vector<u8>(count, GROUND), 32, 24);
}

/// The mixer of a graph over streams, its entries as a file has them. `end` and `file`: what is known of the
/// inputs.
iptr<IStreamVideo> Mixer(std::vector<iptr<IStreamVideo>> const& inputs, std::string const& entries,
                         int64 end = NO_VALUE, std::string const& file = "") {
    std::string sources, ids;
    for (std::size_t i = 1; i <= inputs.size(); ++i) {
        sources +=
            std::string(i == 1 ? "" : ",") + R"({"id": )" + std::to_string(i) + R"(, "file": "a", "stream": "video"})";
        ids += (i == 1 ? "" : ",") + std::to_string(i);
    }
    static auto const factory = MakeFilterFactory();
    auto const document =
        ParseGraph(R"({"sources": [)" + sources + R"(], "filters": [{"id": 9, "class": "SettingsFilterVideoMixer",
            "inputs": [)" +
                   ids + R"(], "settings": {"Overlays": [)" + entries + R"(]}}], "output": "null"})");
    std::vector<MixerInput> known;
    for (auto const& stream : inputs) known.push_back({stream, file, end});
    return MakeVideoMixer(document.filters.at(0), *factory, known, false);
}

std::vector<iptr<IDataVideo>> ReadAll(IStreamVideo& stream) {
    stream.RequestSeek(0, nullptr);
    stream.DoSeek();
    std::vector<iptr<IDataVideo>> pictures;
    while (auto picture = stream.Read()) pictures.push_back(picture);
    return pictures;
}

int SampleAt(IDataVideo const& picture, int x, int y) {
    auto const plane = picture.GetPlaneConst(0);
    return plane.GetData()[y * plane.GetStride() + x * 3];
}

/// What is to be seen at a place of each picture.
std::vector<int> SeenAt(IStreamVideo& stream, int x, int y) {
    std::vector<int> seen;
    for (auto const& picture : ReadAll(stream)) seen.push_back(SampleAt(*picture, x, y));
    return seen;
}

TEST(VideoMixerNode, DrawsAtTheEvenPlaceBelow) {
    auto const main = Main(1);
    auto const mixer = Mixer({main, Shades({200}, 8, 6)}, R"({"X": 5, "Y": 3, "FirstFrame": true})");
    auto const pictures = ReadAll(*mixer);
    ASSERT_EQ(pictures.size(), 1U);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 32; ++x) {
            bool const inside = x >= 4 && x < 12 && y >= 2 && y < 8;
            ASSERT_EQ(SampleAt(*pictures[0], x, y), inside ? 200 : GROUND) << x << "," << y;
        }
    ContactSheet sheet("overlay-places", 1);
    sheet.Add(pictures[0], "A LIGHT RECTANGLE AT 4,2 OF GREY");
}

TEST(VideoMixerNode, DrawsWhatReachesBeyondTheEdgesAsFarAsItLiesInside) {
    auto const mixer = Mixer({Main(1), Shades({200}, 8, 6), Shades({220}, 64, 48)},
                             R"({"X": -3, "Y": -5, "FirstFrame": true}, {"X": 30, "Y": 20, "FirstFrame": true})");
    auto const pictures = ReadAll(*mixer);
    ASSERT_EQ(pictures.size(), 1U);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 32; ++x) {
            // -3 and -5 become -4 and -6, of which nothing is left.
            int const wanted = x >= 30 && y >= 20 ? 220 : GROUND;
            ASSERT_EQ(SampleAt(*pictures[0], x, y), wanted) << x << "," << y;
        }
}

TEST(VideoMixerNode, FixedAlphaMixesByItsShareOf255) {
    auto const mixer =
        Mixer({Main(2), Shades({200}, 8, 6)}, R"({"Transparency": "FixedAlpha", "Alpha": 128, "FirstFrame": true})");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(150, 150));
}

TEST(VideoMixerNode, BlinkingTogglesOnTheFirstFramePastThePeriod) {
    auto const mixer = Mixer({Main(12), Shades({200}, 8, 6)},
                             R"({"Transparency": "Blink", "ShowDuration": 100000, "HideDuration": 60000,
                                 "FirstFrame": true})");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(200, 200, 200, 100, 100, 200, 200, 200, 100, 100, 200, 200));
}

TEST(VideoMixerNode, BlinkingWithoutAHiddenTimeIsHiddenAsLongAsItIsSeen) {
    auto const mixer = Mixer({Main(10), Shades({200}, 8, 6)},
                             R"({"Transparency": "Blink", "Alpha": 51, "ShowDuration": 100000, "FirstFrame": true})");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(120, 120, 120, 100, 100, 100, 120, 120, 120, 100));
}

TEST(VideoMixerNode, BlinkingStillPictureThatStartsLaterThanItsShownTimeBeginsHidden) {
    auto const mixer =
        Mixer({Main(12), Shades({200}, 8, 6)},
              R"({"Transparency": "Blink", "ShowDuration": 100000, "StartTime": 200000, "FirstFrame": true})");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(100, 100, 100, 100, 100, 100, 100, 100, 200, 200, 200, 100));
}

TEST(VideoMixerNode, StillPictureBeginsAtItsStartAndStaysToTheEnd) {
    auto const mixer = Mixer({Main(5), Shades({200, 210}, 8, 6)}, R"({"StartTime": 80000, "FirstFrame": true})");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(100, 100, 200, 200, 200));
    auto const later = Mixer({Main(5), Shades({200}, 8, 6)}, R"({"StartTime": 80001, "FirstFrame": true})");
    EXPECT_THAT(SeenAt(*later, 0, 0), ElementsAre(100, 100, 100, 200, 200));
}

TEST(VideoMixerNode, StreamEndsAndLeavesTheMainPicturesClean) {
    auto const mixer = Mixer({Main(5), Shades({10, 20, 30}, 8, 6)}, "{}");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(10, 20, 30, 100, 100));
}

TEST(VideoMixerNode, LoopingStreamStartsOverAtItsEnd) {
    auto const mixer = Mixer({Main(8), Shades({10, 20, 30}, 8, 6)}, R"({"Loop": true})");
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(10, 20, 30, 10, 20, 30, 10, 20));
}

TEST(VideoMixerNode, LoopingStreamOfUnknownLengthEnds) {
    auto const drawn = Shades({10, 20}, 8, 6);
    drawn->duration = NO_VALUE;
    EXPECT_THAT(SeenAt(*Mixer({Main(4), drawn}, R"({"Loop": true})"), 0, 0), ElementsAre(10, 20, 100, 100));
}

TEST(VideoMixerNode, StreamThatStartsAmidAPictureIsOnItWhereItIsSeenLongEnough) {
    auto const early = Mixer({Main(5), Shades({10, 20}, 8, 6)}, R"({"StartTime": 100000})");
    EXPECT_THAT(SeenAt(*early, 0, 0), ElementsAre(100, 100, 10, 10, 20));
    auto const late = Mixer({Main(5), Shades({10, 20}, 8, 6)}, R"({"StartTime": 115000})");
    EXPECT_THAT(SeenAt(*late, 0, 0), ElementsAre(100, 100, 100, 10, 20));
}

TEST(VideoMixerNode, StillPicturesLieOverStreamsAndLaterInputsOverEarlierOnes) {
    auto const mixer = Mixer({Main(1), Shades({10}, 8, 6), Shades({20}, 16, 6), Shades({30}, 24, 6)},
                             R"({"FirstFrame": true}, {}, {})");
    auto const picture = ReadAll(*mixer).at(0);
    EXPECT_EQ(SampleAt(*picture, 0, 0), 10);
    EXPECT_EQ(SampleAt(*picture, 8, 0), 30);
    EXPECT_EQ(SampleAt(*picture, 23, 0), 30);
    EXPECT_EQ(SampleAt(*picture, 24, 0), GROUND);
}

TEST(VideoMixerNode, DrawnStreamsAreSoughtToTheirStartBeforeTheyAreRead) {
    auto const film = Shades({10, 20}, 8, 6);
    auto const still = Shades({30}, 8, 6);
    film->RequestSeek(FRAME, nullptr);
    film->DoSeek();
    film->log.Take();
    auto const main = Main(2);
    auto const mixer = Mixer({main, film, still}, R"({}, {"X": 8, "FirstFrame": true})");
    EXPECT_THAT(film->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read"));
    EXPECT_THAT(still->log.Take(), ElementsAre("RequestSeek(0)", "DoSeek", "FinishSeek", "Read"));
    EXPECT_THAT(main->log.Take(), ElementsAre());
    EXPECT_THAT(SeenAt(*mixer, 0, 0), ElementsAre(10, 20));
}

TEST(VideoMixerNode, LoopsGoByTheEndOfThePicturesWhereItIsKnown) {
    auto const seen = [](int64 end) {
        auto const film = Shades({10, 20}, 8, 6);
        film->duration = 3 * FRAME;
        return SeenAt(*Mixer({Main(6), film}, R"({"Loop": true})", end), 0, 0);
    };
    EXPECT_THAT(seen(2 * FRAME), ElementsAre(10, 20, 10, 20, 10, 20));
    EXPECT_THAT(seen(NO_VALUE), ElementsAre(10, 20, GROUND, 10, 20, GROUND)) << "the stream's own length";
    EXPECT_THAT(seen(0), ElementsAre(10, 20, GROUND, 10, 20, GROUND));
}

TEST(VideoMixerNode, InputWithoutPicturesIsNamed) {
    EXPECT_EQ(MessageOf<GraphException>([] {
                  Mixer({Main(1), Shades({1}, 8, 6), Shades({}, 8, 6)}, "{}, {}");
              }),
              "node 9: /filters/0/inputs/2: node 3 gives no picture to draw: image cann't be nullptr");
    EXPECT_EQ(MessageOf<GraphException>([] {
                  Mixer({Main(1), Shades({}, 8, 6)}, R"({"FirstFrame": true})");
              }),
              "node 9: /filters/0/inputs/1: node 2 gives no picture to draw: NULL frame");
    EXPECT_EQ(MessageOf<GraphException>([] {
                  Mixer({Main(1), Shades({}, 8, 6)}, R"({"FirstFrame": true})", NO_VALUE, "logo.png");
              }),
              "node 9: /filters/0/inputs/1: logo.png: node 2 gives no picture to draw: NULL frame");
}

TEST(VideoMixerNode, StatisticsHoldThoseOfAllStreams) {
    auto const mixer = Mixer({Main(3), Shades({10, 20, 30}, 8, 6)}, "{}");
    ReadAll(*mixer);
    Core::Property const tree = mixer->GetStatistic();
    EXPECT_EQ(tree.Name(), "Tarsel::Proc::FilterVideoMixer::GetStatistic");
    EXPECT_EQ(tree["Main stream color space"].GetString(), "rgb24");
    EXPECT_EQ(tree.Children().back().Children().back().Name(), "ScriptedStream");
}

// Shapes of pixels.

TEST(DrawnVideo, SameAspectPassesTheSameObject) {
    auto const source = Shades({1}, 8, 6);
    auto const stream = DrawnVideo::Create(source, {32, 24, 1, 1});
    auto const picture = stream->Read();
    EXPECT_EQ(picture.get(), source->delivered.at(0));
    EXPECT_EQ(stream->GetFormatCodec()->GetFrameInfo(), (Conf::FrameInfo{8, 6, 1, 1}));
    EXPECT_EQ(stream->Read(), nullptr);
}

TEST(DrawnVideo, OtherWordsOfOneAspectAreTakenOverToTheWord) {
    auto const stream = DrawnVideo::Create(Shades({1}, 8, 6), {32, 24, 4, 4});
    EXPECT_EQ(stream->Read()->GetFrameInfo(), (Conf::FrameInfo{8, 6, 4, 4}));
}

TEST(DrawnVideo, OtherAspectChangesTheWidthAlone) {
    auto const stream = DrawnVideo::Create(Shades({7, 9}, 64, 48), {32, 24, 32, 30});
    EXPECT_EQ(stream->GetFormatCodec()->GetFrameInfo(), (Conf::FrameInfo{60, 48, 32, 30}));
    auto picture = stream->Read();
    EXPECT_EQ(picture->GetFrameInfo(), (Conf::FrameInfo{60, 48, 32, 30}));
    EXPECT_EQ(SampleAt(*picture, 0, 0), 7);
    EXPECT_EQ(SampleAt(*picture, 59, 47), 7);
    picture = stream->Read();
    EXPECT_EQ(picture->GetTime(), FRAME);
    EXPECT_EQ(picture->GetDuration(), FRAME);
}

TEST(DrawnVideo, AspectOfTheStreamCountsMoreThanThatOfItsPictures) {
    auto const stream = DrawnVideo::Create(Stream({MakeVideo(0, FRAME, 1, RGB24, 10, 6)}, {10, 6, 2, 1}), {1, 1, 1, 1});
    EXPECT_EQ(stream->Read()->GetFrameInfo(), (Conf::FrameInfo{20, 6, 1, 1}));
}

TEST(DrawnVideo, WidthFollowsTheRatioOfTheAspects) {
    EXPECT_EQ(WidthInPixelsOf({1, 1, 1, 1}, {100, 50, 1, 1}), 100);
    EXPECT_EQ(WidthInPixelsOf({1, 1, 16, 15}, {100, 50, 1, 1}), 94);
    EXPECT_EQ(WidthInPixelsOf({1, 1, 1, 1}, {100, 50, 16, 15}), 107);
    EXPECT_EQ(WidthInPixelsOf({1, 1, 1000, 1}, {100, 50, 1, 1}), 1);
    EXPECT_EQ(WidthInPixelsOf({1, 1, 1, 1000}, {100, 50, 1000, 1}), 65535);
    EXPECT_EQ(WidthInPixelsOf({1, 1, 0, 0}, {100, 50, 0, 0}), 100);
}

TEST(CanvasVideo, PicturesGetTheAspectOfTheirStream) {
    auto const stream = CanvasVideo::Create(Stream({MakeVideo(0, FRAME, 1, RGB24, 32, 24)}, {32, 24, 32, 30}));
    auto const picture = stream->Read();
    EXPECT_EQ(picture->GetFrameInfo(), (Conf::FrameInfo{32, 24, 32, 30}));
    EXPECT_EQ(picture->GetDuration(), FRAME);
    auto const same = Stream({MakeVideo(0, FRAME, 1, RGB24, 32, 24)}, {32, 24, 1, 1});
    auto const passed = CanvasVideo::Create(same)->Read();
    EXPECT_EQ(passed.get(), same->delivered.at(0));
}

TEST(CanvasVideo, FormatThatNothingCanBeDrawnOnIsConverted) {
    auto const source = Shades({GROUND}, 32, 24, YUV411P);
    auto const stream = CanvasVideo::Create(source);
    PixFmt const format = stream->GetFormatCodec()->GetPixelFormat();
    EXPECT_NE(format, YUV411P);
    EXPECT_EQ(stream->Read()->GetPixelFormat(), format);
    auto const mixer = Mixer({Shades({GROUND}, 32, 24, YUV411P), Shades({200}, 8, 6)}, "{}");
    auto const picture = ReadAll(*mixer).at(0);
    EXPECT_EQ(picture->GetPixelFormat(), format);
    auto const luma = picture->GetPlaneConst(0);
    EXPECT_EQ(luma.GetData()[8], GROUND);
    EXPECT_NEAR(luma.GetData()[7], 16 + 219 * 200 / 255, 1);
}

TEST(CanvasVideo, PicturesOfAnotherSizeAreFittedIntoThatOfTheStream) {
    auto const stream = CanvasVideo::Create(
        Stream({MakeVideo(0, FRAME, 1, RGB24, 32, 24), MakeVideo(FRAME, FRAME, 9, RGB24, 16, 12)}, {32, 24, 1, 1}));
    stream->Read();
    EXPECT_EQ(stream->Read()->GetFrameInfo(), (Conf::FrameInfo{32, 24, 1, 1}));
}

TEST(CanvasVideo, PicturesInGpuMemoryPassWhereTheAspectIsTheirs) {
    auto const picture = PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0);
    auto const source = Stream({picture, picture->Clone(false)}, {16, 16, 1, 1}, PIX_FMT_RGBA);
    auto const stray = CanvasVideo::Create(source)->Read();
    EXPECT_EQ(stray.get(), source->delivered.at(0));
    auto const passed = CanvasVideo::CreateOnGpu(source)->Read();
    EXPECT_EQ(passed.get(), source->delivered.at(1));
}

TEST(CanvasVideo, FormatAndSizesOfGpuMemoryStay) {
    // The format is that of the file, however the pictures lie in GPU memory.
    auto const source = Stream(
        {PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0), MakeVideo(FRAME, FRAME, GROUND, YUV411P, 16, 12)},
        {32, 24, 1, 1}, YUV411P);
    auto const stream = CanvasVideo::CreateOnGpu(source);
    EXPECT_EQ(stream->GetFormatCodec()->GetPixelFormat(), YUV411P);
    for (std::size_t i = 0; i < 2; ++i) {
        auto const passed = stream->Read();
        EXPECT_EQ(passed.get(), source->delivered.at(i)) << i;
    }
}

TEST(VideoMixerNode, MainStreamOfAnyAspectIsDrawnOn) {
    auto const main = Stream({MakeVideo(0, FRAME, GROUND, RGB24, 32, 24)}, {32, 24, 32, 30});
    auto const mixer = Mixer({main, Shades({200}, 16, 6)}, "{}");
    auto const picture = ReadAll(*mixer).at(0);
    EXPECT_EQ(SampleAt(*picture, 14, 5), 200);
    EXPECT_EQ(SampleAt(*picture, 15, 5), GROUND);
}

}  // namespace
}  // namespace Tarsel::Host
