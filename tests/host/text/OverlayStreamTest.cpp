// What an overlay stream makes of pictures, byte by byte.
#include "host/text/OverlayStream.h"

#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "contracts/Proc/Color.h"
#include "contracts/Proc/ImplNames.h"
#include "host/effects/PictureDrawing.h"
#include "host/graph/Factories.h"
#include "tests/host/effects/PictureSupport.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

/// Gives one picture at one place, and notes for what it was asked.
class Provider final : public IOverlayProvider, public RefCounted {
  public:
    explicit Provider(iptr<IDataVideo> picture = nullptr, u32 left = 0, u32 top = 0)
        : picture(std::move(picture)), left(left), top(top) {}
    void Reset() override {}
    Core::Property GetStatistic() override { return {}; }
    iptr<IDataVideo> GetOverlay(int64 time, Conf::FrameInfo const& info, CropInfo& crop) override {
        times.push_back(time);
        infos.push_back(info);
        if (failure) std::rethrow_exception(failure);
        crop = {left, left, top, top};  // the picture's own size counts
        return picture;
    }
    void AddData(iptr<IDataSubtitle> const&) override {}
    void Clear() override {}
    BlendAlphaMode GetAlphaMode() const override { return mode; }

    BlendAlphaMode mode = BlendAlphaMode::Straight;
    iptr<IDataVideo> picture;
    u32 left;
    u32 top;
    std::exception_ptr failure;
    std::vector<int64> times;
    std::vector<Conf::FrameInfo> infos;
};

/// An overlay stream over pictures, with a provider.
struct Chain {
    explicit Chain(std::vector<iptr<IDataVideo>> const& pictures, iptr<IDataVideo> const& overlay = nullptr,
                   u32 left = 0, u32 top = 0)
        : source(ScriptedVideo::Create(pictures)),
          provider(MakeShared<Provider>(overlay, left, top)),
          stream(MakeFilterFactory()->CreateOverlayStream(source, ImplNames::DEFAULT)) {
        stream->SetOverlayProvider(provider);
    }

    iptr<ScriptedVideo> source;
    iptr<Provider> provider;
    iptr<IOverlayStream> stream;
};

/// Reddish, from transparent at the left to opaque at the right.
iptr<IDataVideo> Overlay(int width, int height) {
    return Draw(PIX_FMT_RGBA, width, height, [&](int part, int x, int y) {
        return part == 0 ? 250 : part == 1 ? (y * 40) % 256 : part == 2 ? 10 : std::min(255, x * 255 / (width - 1));
    });
}

/// What the stream is to give, by the formula of drawing.
iptr<IDataVideo> Expected(iptr<IDataVideo> const& below, iptr<IDataVideo> const& overlay, int x, int y,
                          int alpha = 255) {
    auto const result = below->Clone(true);
    DrawablePicture drawable(overlay);
    return drawable.DrawnOn(result, x, y, alpha);
}

TEST(OverlayStream, DrawsThePictureAtTheCropInItsOwnSize) {
    ContactSheet sheet("overlay-stream");
    for (char const* format : {"yuv420p", "yuv422p", "yuv444p10le", "rgb24", "rgba", "gray", "nv12", "gbrp"}) {
        auto const below = DrawPlain(FormatOf(format), 32, 24, {100, 90, 160, 200});
        for (auto const& [x, y] : std::vector<std::pair<u32, u32>>{{0, 0}, {5, 7}, {26, 3}, {3, 20}}) {
            Chain chain({below}, Overlay(12, 9), x, y);
            auto const drawn = chain.stream->Read();
            auto const expected = Expected(below, Overlay(12, 9), static_cast<int>(x), static_cast<int>(y));
            EXPECT_EQ(ReadParts(*drawn), ReadParts(*expected)) << format << " " << x << " " << y;
            EXPECT_NE(ReadParts(*drawn), ReadParts(*below)) << format << " " << x << " " << y;
            EXPECT_EQ(drawn->GetPixelFormat(), below->GetPixelFormat());
            EXPECT_EQ(drawn->GetTime(), 40000);
            EXPECT_EQ(drawn->GetDuration(), 20000);
            if (std::string(format) == "rgb24") sheet.Add(drawn, "reddish ramp, cut off at the frame's edges");
        }
    }
}

TEST(OverlayStream, KnownPixelsMixByTheirAlpha) {
    auto const below = DrawPlain(PIX_FMT_RGBA, 4, 1, {100, 100, 100, 255});
    auto const overlay = Draw(PIX_FMT_RGBA, 3, 1, [](int part, int x, int) {
        return part < 3 ? 200 : std::array{0, 128, 255}[static_cast<std::size_t>(x)];
    });
    Chain chain({below, below}, overlay, 1, 0);
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).samples, (std::vector<int>{100, 100, 150, 200}));
    SettingsSubtitleDrawer settings;
    settings.SetAlpha(51);  // a fifth
    chain.stream->SetOverlaySettings(settings);
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).samples, (std::vector<int>{100, 100, 110, 120}));
}

TEST(OverlayStream, PicturesWhoseColoursAreMultipliedByTheirAlphaKeepTheirBrightness) {
    auto const below = DrawPlain(PIX_FMT_RGBA, 4, 1, {100, 100, 100, 255});
    // White that is not there, half there and there.
    auto const overlay = Draw(PIX_FMT_RGBA, 3, 1, [](int, int x, int) {
        return std::array{0, 128, 255}[static_cast<std::size_t>(x)];
    });
    Chain chain({below}, overlay, 1, 0);
    chain.provider->mode = BlendAlphaMode::Premultiplied;
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).samples, (std::vector<int>{100, 100, 178, 255}));
}

TEST(OverlayStream, WithoutAnythingToDrawPicturesPassAsTheSameObjects) {
    auto const overlay = Overlay(4, 4);
    SettingsSubtitleDrawer invisible;
    invisible.SetAlpha(0);
    u32 const far = std::numeric_limits<u32>::max();
    auto const passes = [](Chain const& chain) {
        auto const picture = chain.stream->Read();
        return picture && picture.get() == chain.source->delivered.at(0);
    };
    auto const below = MakeVideo(0, 40);
    EXPECT_TRUE(passes(Chain({below})));
    EXPECT_TRUE(passes(Chain({below}, overlay, 16, 0)));
    EXPECT_TRUE(passes(Chain({below}, overlay, 0, 16)));
    EXPECT_TRUE(passes(Chain({below}, overlay, far, 0)));
    EXPECT_TRUE(passes(Chain({below}, overlay, 0, far)));
    Chain const faint({below}, overlay);
    faint.stream->SetOverlaySettings(invisible);
    EXPECT_TRUE(passes(faint));
    Chain const nobody({below}, overlay);
    nobody.stream->SetOverlayProvider(nullptr);
    EXPECT_TRUE(passes(nobody));
    EXPECT_TRUE(nobody.provider->times.empty());
}

TEST(OverlayStream, PicturesThatOthersHoldAreCopiedFirst) {
    auto const below = MakeVideo(0, 40, 77);
    auto const before = ReadParts(*below);
    auto const overlay = Overlay(8, 8);
    auto const overlayBefore = ReadParts(*overlay);
    Chain chain({below, below}, overlay);
    auto const drawn = chain.stream->Read();
    EXPECT_NE(ReadParts(*drawn), before);
    EXPECT_EQ(ReadParts(*below), before);
    EXPECT_EQ(ReadParts(*overlay), overlayBefore);
    EXPECT_EQ(ReadParts(*chain.stream->Read()), ReadParts(*drawn));
}

TEST(OverlayStream, TheProviderIsAskedOncePerPictureWithItsTimeAndShape) {
    auto wide = DataVideoFF::Create(PIX_FMT_YUV420P, {20, 10, 16, 15}, nullptr);
    wide->SetTime(80);
    wide->SetDuration(40);
    Chain chain({MakeVideo(0, 40), MakeVideo(40, 40), wide});
    ReadAll(*chain.stream);
    EXPECT_EQ(chain.stream->Read(), nullptr);
    EXPECT_EQ(chain.provider->times, (std::vector<int64>{0, 40, 80}));
    EXPECT_EQ(chain.provider->infos.at(0), (Conf::FrameInfo{16, 16, 1, 1}));
    EXPECT_EQ(chain.provider->infos.at(2), (Conf::FrameInfo{20, 10, 16, 15}));
}

TEST(OverlayStream, FormatsOnWhichNothingCanBeDrawnComeOutInTheNearest) {
    // No format has the subsampling of this one and alpha.
    PixFmt const quarter = FormatOf("yuv411p");
    auto const below = DrawPlain(quarter, 16, 8, {100, 90, 160, 0});
    Chain chain({below, below}, Overlay(4, 4));
    chain.source->format->SetPixelFormat(quarter);
    PixFmt const told = chain.stream->GetFormatCodec()->GetPixelFormat();
    EXPECT_EQ(told, CanvasFormat(quarter));
    EXPECT_NE(told, quarter);
    EXPECT_EQ(chain.source->format->GetPixelFormat(), quarter) << "the source's own";
    auto const drawn = chain.stream->Read();
    EXPECT_EQ(drawn->GetPixelFormat(), told);
    EXPECT_EQ(ReadPart(*drawn, 0).At(15, 7), 100);
    EXPECT_NE(ReadPart(*drawn, 0).At(3, 0), 100);
    // One on which nothing is drawn, as well: a stream keeps its format.
    chain.provider->picture = nullptr;
    EXPECT_EQ(chain.stream->Read()->GetPixelFormat(), told);
    Chain const usual({});
    usual.source->format->SetPixelFormat(PIX_FMT_YUV420P);
    EXPECT_EQ(usual.stream->GetFormatCodec(), usual.source->format);
}

TEST(OverlayStream, PicturesThatChangeTheirFormatKeepTheirAspect) {
    auto const below = DataVideoFF::Create(FormatOf("yuv411p"), {16, 8, 16, 15}, nullptr);
    below->Fill(Color::Black(Color::Opaque));
    Chain chain({below}, Overlay(4, 4));
    auto const drawn = chain.stream->Read();
    EXPECT_NE(drawn->GetPixelFormat(), below->GetPixelFormat());
    EXPECT_EQ(drawn->GetFrameInfo(), (Conf::FrameInfo{16, 8, 16, 15}));
    EXPECT_EQ(chain.provider->infos, (std::vector<Conf::FrameInfo>{{16, 8, 16, 15}}));
}

TEST(OverlayStream, ColoursFollowMatrixAndRangeOfEachPicture) {
    auto const white = DrawPlain(PIX_FMT_RGBA, 4, 4, {255, 255, 255, 255});
    auto const limited = DrawPlain(PIX_FMT_YUV420P, 8, 8, {30, 128, 128, 0});
    auto const full = DrawPlain(FormatOf("yuvj420p"), 8, 8, {30, 128, 128, 0});
    Chain chain({limited, full, limited}, white);
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).At(0, 0), 235);
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).At(0, 0), 255);
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).At(0, 0), 235);
}

TEST(OverlayStream, AnotherOverlayTakesThePlaceOfTheOneBefore) {
    auto const below = DrawPlain(PIX_FMT_RGBA, 8, 8, {0, 0, 0, 255});
    Chain chain({below, below, below}, DrawPlain(PIX_FMT_RGBA, 2, 2, {200, 0, 0, 255}));
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).At(0, 0), 200);
    chain.provider->picture = DrawPlain(PIX_FMT_RGBA, 2, 2, {90, 0, 0, 255});
    EXPECT_EQ(ReadPart(*chain.stream->Read(), 0).At(0, 0), 90);
    chain.provider->left = 4;
    auto const moved = chain.stream->Read();
    EXPECT_EQ(ReadPart(*moved, 0).At(0, 0), 0);
    EXPECT_EQ(ReadPart(*moved, 0).At(4, 0), 90);
}

TEST(OverlayStream, TheSeekPositionIsTheTimeOfTheNextPicture) {
    Chain chain({MakeVideo(0, 40), MakeVideo(40, 40), MakeVideo(100, 20)});
    EXPECT_EQ(chain.stream->GetSeekPosition(), 0);
    Seek(*chain.stream, 30);
    EXPECT_EQ(chain.stream->GetSeekPosition(), 30);
    chain.stream->Read();
    EXPECT_EQ(chain.stream->GetSeekPosition(), 40);
    chain.stream->Read();
    EXPECT_EQ(chain.stream->GetSeekPosition(), 80);
    chain.stream->Read();
    EXPECT_EQ(chain.stream->GetSeekPosition(), 120);
    EXPECT_EQ(chain.stream->Read(), nullptr);
    EXPECT_EQ(chain.stream->GetSeekPosition(), 120);
    chain.source->duration = 110;
    Seek(*chain.stream, 500);
    EXPECT_EQ(chain.stream->GetSeekPosition(), 110);
    Seek(*chain.stream, NO_VALUE);
    EXPECT_EQ(chain.stream->GetSeekPosition(), 110);
}

TEST(OverlayStream, TheSeekPositionHasAValueWhateverThePicturesSay) {
    int64 const last = std::numeric_limits<int64>::max();
    std::vector<iptr<IDataVideo>> const pictures{MakeVideo(NO_VALUE, NO_VALUE), MakeVideo(NO_VALUE, 40),
                                                 MakeVideo(NO_VALUE, 40), MakeVideo(1000, NO_VALUE),
                                                 MakeVideo(last - 5, 40)};
    Chain chain(pictures);
    std::vector<int64> positions;
    while (chain.stream->Read()) positions.push_back(chain.stream->GetSeekPosition());
    EXPECT_EQ(positions, (std::vector<int64>{0, 40, 80, 1000, last}));
    // Pictures without a time are drawn on as at the time at which they were expected.
    EXPECT_EQ(chain.provider->times, (std::vector<int64>{0, 0, 40, 1000, last - 5}));
    // A rate takes the place of durations.
    Chain rated({MakeVideo(0, NO_VALUE), MakeVideo(NO_VALUE, NO_VALUE)});
    rated.source->format->SetFrameRate(Ratio(25));
    rated.stream->Read();
    EXPECT_EQ(rated.stream->GetSeekPosition(), 40000);
    rated.stream->Read();
    EXPECT_EQ(rated.stream->GetSeekPosition(), 80000);
}

TEST(OverlayStream, ForwardsWhatItHasNoPartIn) {
    Chain chain({MakeVideo(0, 40), MakeVideo(40, 40)});
    chain.source->duration = 80;
    EXPECT_EQ(chain.stream->GetDuration(), 80);
    chain.stream->RequestSeek(40, MakeShared<Provider>());
    chain.stream->DoSeek();
    EXPECT_TRUE(chain.stream->FinishSeek());
    EXPECT_NE(chain.stream->Read(), nullptr);
    chain.stream->ReleaseInternalData();
    EXPECT_FALSE(chain.stream->IsEndOfStream());
    chain.stream->SetEndOfStream();
    EXPECT_TRUE(chain.stream->IsEndOfStream());
    EXPECT_EQ(chain.source->log.Take(), (std::vector<std::string>{"RequestSeek(40, context)", "DoSeek", "FinishSeek",
                                                                  "Read", "ReleaseInternalData", "SetEndOfStream"}));
    EXPECT_EQ(chain.stream->GetFormatCodec(), chain.source->format);
    EXPECT_EQ(chain.stream->GetSettings().Name(), "ScriptedStream");
    Visitors::InfoCollector names;
    chain.stream->Accept(names);
    EXPECT_EQ(names.names, (std::vector<std::string>{"OverlayStream", "ScriptedStream"}));
}

TEST(OverlayStream, StatisticsStandBehindTheSources) {
    auto const overlay = Overlay(4, 4);
    Chain chain({MakeVideo(0, 40), MakeVideo(40, 40), MakeVideo(80, 40)}, overlay);
    chain.stream->Read();
    chain.stream->Read();
    chain.provider->picture = nullptr;
    chain.stream->Read();
    auto const tree = chain.stream->GetStatistic();
    ASSERT_EQ(tree.Children().size(), 2U);
    EXPECT_EQ(tree.Children()[0].Name(), "ScriptedStream");
    Core::Property own = Core::MakeStatistics("Tarsel::Host::OverlayStream::GetStatistic", 0, 3);
    own.SetChild("Drawn", int64{2});
    EXPECT_EQ(tree.Children()[1], own);
}

TEST(OverlayStream, FailuresPassAndTheStreamGoesOn) {
    Chain chain({MakeVideo(0, 40), MakeVideo(40, 40)}, Overlay(4, 4));
    chain.provider->failure = Failure<FilterException>("no overlay today");
    EXPECT_EQ(MessageOf<FilterException>([&] { chain.stream->Read(); }), "no overlay today");
    chain.provider->failure = nullptr;
    EXPECT_EQ(chain.stream->Read()->GetTime(), 40);
    Chain broken({});
    broken.source = ScriptedVideo::Create({Failure<ProcException>("broken"), MakeVideo(0, 40)});
    broken.stream = OverlayStream::Create(broken.source);
    EXPECT_EQ(MessageOf<ProcException>([&] { broken.stream->Read(); }), "broken");
    EXPECT_EQ(broken.stream->Read()->GetTime(), 0);
}

TEST(OverlayStream, NeedsASource) {
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { OverlayStream::Create(nullptr); }), "source is NULL");
}

}  // namespace
}  // namespace Tarsel::Host
