// The wrappers that a timeline's chains are put together from.
#include <gmock/gmock.h>

#include <stdexcept>

#include "host/graph/GraphErrors.h"
#include "host/media/FittedVideo.h"
#include "host/timeline/DeferredStream.h"
#include "host/timeline/EvenVideo.h"
#include "host/timeline/OpacityVideo.h"
#include "host/timeline/ShiftedStream.h"
#include "host/timeline/StillStreams.h"
#include "tests/support/Builders.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/Matchers.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using TestSupport::MessageOf;

auto const RGBA = static_cast<PixFmt>(AV_PIX_FMT_RGBA);
auto const YUVA420P = static_cast<PixFmt>(AV_PIX_FMT_YUVA420P);

// --- ShiftedStream ---------------------------------------------------------------------------------------------------

TEST(ShiftedStream, ItemsAndSeeksMoveByTheOffset) {
    auto const source = ScriptedVideo::Create(MakeVideos(3, 40000));
    source->duration = 120000;
    iptr<IStreamVideo> const later = ShiftedStream<IStreamVideo>::Create(source, 500000);
    EXPECT_EQ(620000, later->GetDuration());
    later->RequestSeek(580000, nullptr);
    later->DoSeek();
    EXPECT_THAT(ReadAll(*later), ElementsAre(IsVideo(580000, 40000)));
    EXPECT_EQ("RequestSeek(80000)", source->log.Take().front());
}

TEST(ShiftedStream, PlacesInFrontOfTheSourceAreItsStart) {
    auto const source = ScriptedVideo::Create(MakeVideos(2, 40000));
    source->duration = 80000;
    iptr<IStreamVideo> const later = ShiftedStream<IStreamVideo>::Create(source, 500000);
    later->RequestSeek(0, nullptr);
    EXPECT_EQ("RequestSeek(0)", source->log.Take().front());
}

TEST(ShiftedStream, SourceThatEndsInFrontOfZeroHasNoLength) {
    auto const source = ScriptedVideo::Create(MakeVideos(2, 40000));
    source->duration = 80000;
    EXPECT_EQ(0, ShiftedStream<IStreamVideo>::Create(source, -90000)->GetDuration());
    source->duration = NO_VALUE;
    EXPECT_EQ(NO_VALUE, ShiftedStream<IStreamVideo>::Create(source, -90000)->GetDuration());
}

TEST(ShiftedStream, OffsetOfNothingIsTheSourceItself) {
    iptr<IStreamVideo> const source = ScriptedVideo::Create(MakeVideos(1, 40000));
    EXPECT_EQ(source, ShiftedStream<IStreamVideo>::Create(source, 0));
}

// --- DeferredStream --------------------------------------------------------------------------------------------------

struct Deferred {
    iptr<ScriptedVideo> made;
    int makes = 0;
    std::exception_ptr failure;
    iptr<IStreamVideo> stream;

    explicit Deferred(std::vector<ScriptedVideo::Step> const& steps) {
        DeferredStream<IStreamVideo>::Description description;
        description.name = "clip \"x\"";
        description.pointer = "/tracks/0/clips/3";
        description.duration = 80000;
        description.format = Conf::IFormatCodecVideo::Create();
        description.make = [this, steps]() -> iptr<IStreamVideo> {
            ++makes;
            if (failure) std::rethrow_exception(failure);
            made = ScriptedVideo::Create(steps);
            made->duration = 80000;
            return made;
        };
        stream = DeferredStream<IStreamVideo>::Create(std::move(description));
    }
};

std::vector<ScriptedVideo::Step> TwoPictures() {
    return {MakeVideo(0, 40000), MakeVideo(40000, 40000)};
}

TEST(DeferredStream, IsMadeByTheFirstReadAndNotBefore) {
    Deferred deferred(TwoPictures());
    EXPECT_EQ(80000, deferred.stream->GetDuration());
    EXPECT_NE(nullptr, deferred.stream->GetFormatCodec());
    deferred.stream->RequestSeek(40000, nullptr);
    deferred.stream->DoSeek();
    EXPECT_TRUE(deferred.stream->FinishSeek());
    EXPECT_EQ(0, deferred.makes);
    EXPECT_THAT(deferred.stream->Read(), IsVideo(40000, 40000));
    EXPECT_EQ(1, deferred.makes);
    EXPECT_THAT(deferred.made->log.Take(), ElementsAre("RequestSeek(40000)", "DoSeek", "Read"));
    EXPECT_EQ(nullptr, deferred.stream->Read());
}

TEST(DeferredStream, ReleaseLetsTheStreamGoAndReadingGoesOnWhereItStood) {
    Deferred deferred(TwoPictures());
    EXPECT_THAT(deferred.stream->Read(), IsVideo(0, 40000));
    deferred.made = nullptr;
    EXPECT_EQ(1, ScriptedVideo::GetLiveCount());
    deferred.stream->ReleaseInternalData();
    EXPECT_EQ(0, ScriptedVideo::GetLiveCount());
    EXPECT_THAT(deferred.stream->Read(), IsVideo(40000, 40000));
    EXPECT_EQ(2, deferred.makes);
}

TEST(DeferredStream, FailuresNameTheClipAndItsPlace) {
    Deferred deferred({MakeVideo(0, 40000), std::make_exception_ptr(std::runtime_error("broken"))});
    EXPECT_THAT(deferred.stream->Read(), IsVideo(0, 40000));
    EXPECT_EQ("/tracks/0/clips/3: clip \"x\": broken", MessageOf<GraphException>([&] { deferred.stream->Read(); }));
    deferred.stream->ReleaseInternalData();
    deferred.failure = std::make_exception_ptr(std::runtime_error("no such file"));
    EXPECT_EQ("/tracks/0/clips/3: clip \"x\": no such file",
              MessageOf<GraphException>([&] { deferred.stream->Read(); }));
    deferred.failure = std::make_exception_ptr(std::bad_alloc());
    EXPECT_THROW(deferred.stream->Read(), std::bad_alloc);
}

TEST(DeferredStream, NamedFailuresPassAsTheyAre) {
    Deferred inner({MakeVideo(0, 40000), std::make_exception_ptr(std::runtime_error("broken"))});
    DeferredStream<IStreamVideo>::Description description;
    description.name = "outer";
    description.make = [&] { return inner.stream; };
    auto const outer = DeferredStream<IStreamVideo>::Create(std::move(description));
    EXPECT_THAT(outer->Read(), IsVideo(0, 40000));
    EXPECT_EQ("/tracks/0/clips/3: clip \"x\": broken", MessageOf<GraphException>([&] { outer->Read(); }));
}

TEST(DeferredStream, EndOfStreamReachesTheStreamAndHoldsUntilTheNextSeek) {
    Deferred deferred(TwoPictures());
    deferred.stream->SetEndOfStream();
    EXPECT_TRUE(deferred.stream->IsEndOfStream());
    EXPECT_EQ(nullptr, deferred.stream->Read());
    EXPECT_EQ(0, deferred.makes);
    deferred.stream->RequestSeek(0, nullptr);
    EXPECT_THAT(deferred.stream->Read(), IsVideo(0, 40000));
    deferred.stream->SetEndOfStream();
    EXPECT_TRUE(deferred.made->IsEndOfStream());
}

TEST(DeferredStream, TakesNoSettings) {
    Deferred deferred(TwoPictures());
    EXPECT_EQ("Method not implemented",
              MessageOf<FilterException>([&] { deferred.stream->Initialize(Core::Property("x")); }));
    EXPECT_EQ("Method not implemented", MessageOf<FilterException>([&] { deferred.stream->GetSettings(); }));
}

// --- EvenVideo -------------------------------------------------------------------------------------------------------

/// Where the pictures begin that are left of pictures with these edges, on 30 frames a second.
std::vector<int64> LeftOf(std::vector<int64> const& edges) {
    std::vector<iptr<IDataVideo>> pictures;
    for (std::size_t i = 0; i + 1 < edges.size(); ++i) pictures.push_back(MakeVideo(edges[i], edges[i + 1] - edges[i]));
    auto const even = EvenVideo::Create(ScriptedVideo::Create(pictures), TimelineGrid(Ratio(30, 1)));
    std::vector<int64> begins;
    for (auto const& item : ReadAll(*even)) begins.push_back(item->GetTime());
    return begins;
}

TEST(EvenVideo, OfPicturesInOneSlotTheEarlierOneStaysThoughRoundingMadeItShorter) {
    EXPECT_THAT(LeftOf({0, 16667, 33333, 50000, 66667, 83333, 100000, 116667}), ElementsAre(0, 33333, 66667, 100000));
    EXPECT_THAT(LeftOf({0, 17000, 33000, 50000, 67000, 83000, 100000, 117000}), ElementsAre(0, 33000, 67000, 100000))
        << "milliseconds";
}

TEST(EvenVideo, PictureThatCoversClearlyMorePasses) {
    EXPECT_THAT(LeftOf({0, 40000, 60000, 66667}), ElementsAre(0, 40000));
    EXPECT_THAT(LeftOf({0, 5000, 33333, 66667}), ElementsAre(0, 5000, 33333));
}

TEST(EvenVideo, PicturesNoDenserThanTheFramesAllPass) {
    EXPECT_THAT(LeftOf({0, 33333, 66667, 100000}), ElementsAre(0, 33333, 66667));
    EXPECT_THAT(LeftOf({400, 33733, 67067, 100400}), ElementsAre(400, 33733, 67067));
    EXPECT_THAT(LeftOf({0, 41667, 83333, 125000, 166667}), ElementsAre(0, 41667, 83333, 125000));
}

TEST(EvenVideo, LastPictureThatReachesOnPasses) {
    EXPECT_THAT(LeftOf({0, 16667, 33333}), ElementsAre(0));
    EXPECT_THAT(LeftOf({0, 16667, 500000}), ElementsAre(0, 16667));
}

TEST(EvenVideo, SeekForgetsTheSlotThatWasReached) {
    auto const even = EvenVideo::Create(ScriptedVideo::Create(MakeVideos(2, 10000)), TimelineGrid(Ratio(30, 1)));
    EXPECT_THAT(ReadAll(*even), ElementsAre(IsVideo(0, 10000)));
    even->RequestSeek(10000, nullptr);
    even->DoSeek();
    EXPECT_THAT(ReadAll(*even), ElementsAre(IsVideo(10000, 10000)));
}

// --- StillVideo, SilentAudio, CountedStream --------------------------------------------------------------------------

TEST(StillVideo, ShowsOnePictureForTheWholeOfItsLength) {
    auto const still = StillVideo::Create(Conf::IFormatCodecVideo::Create(), MakeVideo(70, 40000), SECOND);
    EXPECT_EQ(SECOND, still->GetDuration());
    EXPECT_THAT(ReadAll(*still), ElementsAre(IsVideo(0, SECOND)));
    still->RequestSeek(SECOND - 1, nullptr);
    still->DoSeek();
    EXPECT_THAT(ReadAll(*still), ElementsAre(IsVideo(0, SECOND)));
    still->RequestSeek(SECOND, nullptr);
    EXPECT_EQ(nullptr, still->Read());
    still->RequestSeek(0, nullptr);
    still->SetEndOfStream();
    EXPECT_EQ(nullptr, still->Read());
}

TEST(SilentAudio, GivesNothing) {
    auto const silence = SilentAudio::Create(Conf::IFormatCodecAudio::Create(), SECOND);
    EXPECT_EQ(SECOND, silence->GetDuration());
    EXPECT_EQ(nullptr, silence->Read());
}

TEST(CountedStream, CountsPicturesAndSamplesSinceTheLastSeek) {
    auto const pictures = CountedStream<IStreamVideo>::Create(ScriptedVideo::Create(MakeVideos(3, 40000)));
    ReadAll(*pictures);
    EXPECT_EQ(3, pictures->GetCount());
    auto const sound = CountedStream<IStreamAudio>::Create(
        ScriptedAudio::Create({MakeAudio(0, 480), MakeAudio(10000, 240), MakeAudio(15000, 1)}));
    ReadAll(*sound);
    EXPECT_EQ(721, sound->GetCount());
    sound->RequestSeek(10000, nullptr);
    sound->DoSeek();
    EXPECT_EQ(0, sound->GetCount());
    sound->Read();
    EXPECT_EQ(240, sound->GetCount());
}

// --- Opacity and pixel formats ---------------------------------------------------------------------------------------

TEST(OpacityVideo, ScalesAlphaAndNothingElse) {
    iptr<IDataVideo> const original = MakeVideo(0, 40000, 200, YUVA420P);
    auto const source = ScriptedVideo::Create({original});
    iptr<IDataVideo> const picture = OpacityVideo::Create(source, 0.25)->Read();
    EXPECT_EQ(200, *picture->GetPlaneConst(0).GetData());
    EXPECT_EQ(200, *picture->GetPlaneConst(2).GetData());
    EXPECT_EQ(50, *picture->GetPlaneConst(3).GetData());
    EXPECT_EQ(50, *picture->GetPlaneConst(3).GetOffsetPtr(15, 15));
    EXPECT_EQ(200, *original->GetPlaneConst(3).GetData()) << "clones share pictures";
}

TEST(OpacityVideo, FindsAlphaBesideTheColours) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000, 100, RGBA)});
    iptr<IDataVideo> const picture = OpacityVideo::Create(source, 0.5)->Read();
    EXPECT_EQ(100, picture->GetPlaneConst(0).GetData()[2]);
    EXPECT_EQ(50, picture->GetPlaneConst(0).GetData()[3]);
}

TEST(OpacityVideo, PictureWithoutAlphaIsRefused) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000)});
    auto const stream = OpacityVideo::Create(source, 0.5);
    EXPECT_EQ("Opacity needs pictures with alpha", MessageOf<ProcException>([&] { stream->Read(); }));
}

TEST(OpacityVideo, OpaqueIsTheSourceItself) {
    iptr<IStreamVideo> const source = ScriptedVideo::Create(MakeVideos(1, 40000));
    EXPECT_EQ(source, OpacityVideo::Create(source, 1));
}

TEST(PixelFormats, TwinsDifferInAlphaAlone) {
    auto const format = [](AVPixelFormat name) { return static_cast<PixFmt>(name); };
    EXPECT_EQ(YUVA420P, WithAlpha(PIX_FMT_YUV420P));
    EXPECT_EQ(format(AV_PIX_FMT_YUVA444P), WithAlpha(format(AV_PIX_FMT_YUV444P)));
    EXPECT_EQ(format(AV_PIX_FMT_YUVA422P10LE), WithAlpha(format(AV_PIX_FMT_YUV422P10LE)));
    EXPECT_EQ(format(AV_PIX_FMT_GBRAP), WithAlpha(format(AV_PIX_FMT_GBRP)));
    EXPECT_EQ(YUVA420P, WithAlpha(YUVA420P));
    EXPECT_EQ(PIX_FMT_NONE, WithAlpha(format(AV_PIX_FMT_NV12)));
    EXPECT_TRUE(HasAlpha(RGBA));
    EXPECT_FALSE(HasAlpha(PIX_FMT_YUV420P));
    EXPECT_FALSE(HasAlpha(PIX_FMT_NONE));
}

TEST(PixelFormats, TimelineTakesItsFirstClipsColoursWithoutAlphaAndAtLimitedRange) {
    auto const format = [](AVPixelFormat name) { return static_cast<PixFmt>(name); };
    EXPECT_EQ(PIX_FMT_YUV420P, TimelinePixelFormat(PIX_FMT_YUV420P));
    EXPECT_EQ(format(AV_PIX_FMT_YUV422P), TimelinePixelFormat(format(AV_PIX_FMT_YUVJ422P)));
    EXPECT_EQ(format(AV_PIX_FMT_YUV444P10LE), TimelinePixelFormat(format(AV_PIX_FMT_YUVA444P10LE)));
    EXPECT_EQ(PIX_FMT_YUV420P, TimelinePixelFormat(format(AV_PIX_FMT_PAL8)));
    EXPECT_EQ(PIX_FMT_YUV420P, TimelinePixelFormat(format(AV_PIX_FMT_VAAPI)));
    EXPECT_EQ(PIX_FMT_YUV420P, TimelinePixelFormat(PIX_FMT_NONE));
}

// --- FittedVideo into a frame that is told ---------------------------------------------------------------------------

TEST(FittedVideo, BringsPicturesIntoTheFrameAndFormatThatAreTold) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000, 128)});
    source->format->InitByPixelAspect(16, 16, 1, 1);
    source->format->SetPixelFormat(PIX_FMT_YUV420P);
    auto const fitted = FittedVideo::Create(source, {64, 32, 1, 1}, YUVA420P);
    EXPECT_EQ(64, fitted->GetFormatCodec()->GetWidth());
    EXPECT_EQ(YUVA420P, fitted->GetFormatCodec()->GetPixelFormat());
    iptr<IDataVideo> const picture = fitted->Read();
    EXPECT_EQ(64, picture->GetWidth());
    EXPECT_EQ(YUVA420P, picture->GetPixelFormat());
    EXPECT_EQ(0, *picture->GetPlaneConst(3).GetOffsetPtr(0, 0)) << "seen through beside the picture";
    EXPECT_EQ(255, *picture->GetPlaneConst(3).GetOffsetPtr(32, 16));
    EXPECT_EQ(128, *picture->GetPlaneConst(0).GetOffsetPtr(32, 16));
}

TEST(FittedVideo, PicturesOfTheToldShapePassAsTheSameObjects) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000)});
    iptr<IDataVideo> const picture = FittedVideo::Create(source, {16, 16, 1, 1}, PIX_FMT_YUV420P)->Read();
    EXPECT_THAT(source->delivered, ElementsAre(picture.get()));
}

TEST(FittedVideo, OtherPixelsInTheToldSizeAreScaled) {
    auto const source = ScriptedVideo::Create({MakeVideo(0, 40000, 128)});
    iptr<IDataVideo> const picture = FittedVideo::Create(source, {16, 16, 2, 1}, PIX_FMT_YUV420P)->Read();
    EXPECT_EQ(16, *picture->GetPlaneConst(0).GetOffsetPtr(0, 8)) << "black beside it";
    EXPECT_EQ(128, *picture->GetPlaneConst(0).GetOffsetPtr(8, 8));
}

}  // namespace
}  // namespace Tarsel::Host
