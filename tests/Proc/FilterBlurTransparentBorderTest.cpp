#include "Proc/Filters/Filters/FilterBlurTransparentBorder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <stdexcept>
#include <typeinfo>

#include "Proc/Filters/Filters/TransparentBorder.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsColorSpaceConverter.h"
#include "tests/support/Builders.h"
#include "tests/support/Draw.h"
#include "tests/support/LogLines.h"
#include "tests/support/Matchers.h"
#include "tests/support/PlacedPicture.h"
#include "tests/support/ScriptedEffects.h"

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr char CONVERTER[] = "SettingsColorSpaceConverter/Default";
PixFmt const PACKED[] = {PIX_FMT_ARGB, PIX_FMT_RGBA, PIX_FMT_ABGR, PIX_FMT_BGRA};

int AlphaOf(PixFmt format) {
    return format == PIX_FMT_ARGB || format == PIX_FMT_ABGR ? 0 : 3;
}

/// A picture's bytes beside it, row by row from the top, without padding.
using Bytes = std::vector<u8>;

Bytes BytesOf(IDataVideo const& picture) {
    Bytes bytes;
    auto const plane = picture.GetPlaneConst(0);
    for (int y = 0; y < plane.GetRows(); ++y) {
        u8 const* const row = plane.GetOffsetPtr(0, static_cast<unsigned>(y));
        bytes.insert(bytes.end(), row, row + plane.GetRowBytes());
    }
    return bytes;
}

/// The plain formula, as it is told: a window around each transparent pixel.
Bytes Reference(Bytes const& source, int width, int height, int alphaByte, int matrixSize) {
    Bytes result = source;
    int const first = alphaByte == 0 ? 1 : 0;
    int const half = matrixSize / 2;
    auto const at = [&](int x, int y) { return static_cast<std::size_t>(y * width + x) * 4; };
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            if (source[at(x, y) + static_cast<std::size_t>(alphaByte)] != 0) continue;
            int64 sums[3] = {};
            int64 count = 0;
            for (int j = std::max(y - half, 0); j < std::min(y + half, height); ++j) {
                for (int i = std::max(x - half, 0); i < std::min(x + half, width); ++i) {
                    if (source[at(i, j) + static_cast<std::size_t>(alphaByte)] == 0) continue;
                    for (int c = 0; c < 3; ++c) sums[c] += source[at(i, j) + static_cast<std::size_t>(first + c)];
                    ++count;
                }
            }
            if (count == 0) continue;
            for (int c = 0; c < 3; ++c)
                result[at(x, y) + static_cast<std::size_t>(first + c)] = static_cast<u8>(sums[c] / count);
        }
    }
    return result;
}

/// A picture of drawn bytes, of which `transparent` in 8 pixels have alpha 0.
iptr<IDataVideo> DrawPicture(TestSupport::Draw& draw, PixFmt format, int width, int height, u32 transparent) {
    auto picture = MakeVideo(0, 40, 0, format, width, height);
    auto const plane = picture->GetPlane(0);
    for (unsigned y = 0; y < static_cast<unsigned>(height); ++y) {
        for (unsigned x = 0; x < static_cast<unsigned>(width); ++x) {
            u8* const pixel = plane.GetOffsetPtr(x, y);
            for (int c = 0; c < 4; ++c) pixel[c] = draw.Bits(8);
            pixel[AlphaOf(format)] = draw.Below(8) < transparent ? 0 : static_cast<u8>(1 + draw.Below(255));
        }
    }
    return picture;
}

/// Rows of `stride` bytes over memory of which the rest is marked, top-down or bottom-up.
struct PaddedRows {
    PaddedRows(Bytes const& bytes, int width, int height, bool bottomUp)
        : rowBytes(width * 4), stride(rowBytes + 13), height(height), bottomUp(bottomUp) {
        memory.assign(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height), 0xA5);
        for (int y = 0; y < height; ++y)
            std::memcpy(Row(y), bytes.data() + std::ptrdiff_t{y} * rowBytes, static_cast<std::size_t>(rowBytes));
    }
    u8* Row(int y) { return memory.data() + std::ptrdiff_t{bottomUp ? height - 1 - y : y} * stride; }
    Details::PlaneTemplate<0> GetPlane() { return {Row(0), bottomUp ? -stride : stride, rowBytes, height, 4}; }
    Bytes GetBytes() {
        Bytes bytes;
        for (int y = 0; y < height; ++y) bytes.insert(bytes.end(), Row(y), Row(y) + rowBytes);
        return bytes;
    }
    bool IsPaddingUntouched() {
        for (int y = 0; y < height; ++y)
            for (int i = rowBytes; i < stride; ++i)
                if (Row(y)[i] != 0xA5) return false;
        return true;
    }

    int const rowBytes;
    int const stride;
    int const height;
    bool const bottomUp;
    Bytes memory;
};

// --- The formula -----------------------------------------------------------------------------------------------------

constexpr int SIZES[] = {
    0, 1, 2, 3, 8, 32, 33, 1000, std::numeric_limits<int>::max(), -1, -8, std::numeric_limits<int>::min()};

TEST(TransparentBorder, BytesAreThoseOfThePlainFormula) {
    TestSupport::Draw draw(99);
    for (auto const& [width, height] : {std::pair{1, 1}, {1, 9}, {9, 1}, {7, 5}, {16, 16}, {33, 21}, {40, 3}}) {
        for (PixFmt const format : PACKED) {
            for (u32 const transparent : {0U, 1U, 4U, 7U, 8U}) {
                Bytes const before = BytesOf(*DrawPicture(draw, format, width, height, transparent));
                for (int const size : SIZES) {
                    // Beyond twice the picture the window holds all of it; the plain loop can't walk further.
                    Bytes const expected = Reference(before, width, height, AlphaOf(format), std::clamp(size, -9, 99));
                    for (bool const bottomUp : {false, true}) {
                        PaddedRows rows(before, width, height, bottomUp);
                        BlurTransparentBorder(rows.GetPlane(), AlphaOf(format), size);
                        ASSERT_EQ(rows.GetBytes(), expected)
                            << width << "x" << height << " format " << format << " matrix " << size;
                        ASSERT_TRUE(rows.IsPaddingUntouched());
                    }
                }
            }
        }
    }
}

TEST(TransparentBorder, WindowEndsOneShortOfItsCentresMirror) {
    // Opaque pixels to the left of the middle and above count, the mirrored ones don't.
    auto const picture = MakeVideo(0, 40, 0, PIX_FMT_RGBA, 5, 5);
    auto const plane = picture->GetPlane(0);
    auto const set = [&](unsigned x, unsigned y, u8 shade) {
        u8* const pixel = plane.GetOffsetPtr(x, y);
        pixel[0] = shade;
        pixel[3] = 255;
    };
    set(3, 2, 200);
    set(2, 3, 200);
    EXPECT_EQ(BlurTransparentBorder(plane, 3, 2), 5U);
    EXPECT_EQ(plane.GetOffsetPtr(2, 2)[0], 0);
    EXPECT_EQ(plane.GetOffsetPtr(4, 2)[0], 200);
    set(1, 1, 100);
    BlurTransparentBorder(plane, 3, 2);
    EXPECT_EQ(plane.GetOffsetPtr(2, 2)[0], 100);
    EXPECT_EQ(plane.GetOffsetPtr(0, 0)[0], 0);
}

TEST(TransparentBorder, MeansAreCutToWholeNumbersAndCounted) {
    auto const picture = MakeVideo(0, 40, 0, PIX_FMT_ARGB, 3, 1);
    auto const plane = picture->GetPlane(0);
    u8 const bytes[12] = {1, 10, 20, 30, 255, 11, 21, 255, 0, 99, 99, 99};
    std::memcpy(plane.GetData(), static_cast<u8 const*>(bytes), sizeof bytes);
    EXPECT_EQ(BlurTransparentBorder(plane, 0, 4), 1U);
    EXPECT_EQ(BytesOf(*picture), (Bytes{1, 10, 20, 30, 255, 11, 21, 255, 0, 10, 20, 142}))
        << "how opaque a pixel is makes no difference";
}

TEST(TransparentBorder, MeansOfSeventeenMillionPixelsAreExact) {
    // Their sum is beyond 32 bits.
    int const side = 4200;
    auto const picture = MakeVideo(0, 40, 255, PIX_FMT_BGRA, side, side);
    auto const plane = picture->GetPlane(0);
    u8* const pixel = plane.GetOffsetPtr(side / 2, side / 2);
    std::fill_n(pixel, 4, u8{0});
    EXPECT_EQ(BlurTransparentBorder(plane, 3, 2 * side), 1U);
    EXPECT_EQ(std::vector<u8>(pixel, pixel + 4), (std::vector<u8>{255, 255, 255, 0}));
    *plane.GetOffsetPtr(0, 0) = 254;
    EXPECT_EQ(BlurTransparentBorder(plane, 3, 2 * side), 1U);
    EXPECT_EQ(std::vector<u8>(pixel, pixel + 4), (std::vector<u8>{254, 255, 255, 0})) << "cut, not rounded";
}

TEST(TransparentBorder, WindowsThatEmptyAndFillAgainCountNothingTwice) {
    // Shapes with wider gaps between them than the window is high and wide.
    TestSupport::Draw draw(17);
    int const width = 61, height = 53;
    for (int const size : {2, 4, 9, 16}) {
        auto const picture = DrawPicture(draw, PIX_FMT_RGBA, width, height, 8);
        for (unsigned const corner : {3U, 30U, 48U})
            for (unsigned y = 0; y < 3; ++y)
                for (unsigned x = 0; x < 4; ++x) picture->GetPlane(0).GetOffsetPtr(59 - corner + x, corner + y)[3] = 9;
        Bytes const before = BytesOf(*picture);
        BlurTransparentBorder(picture->GetPlane(0), 3, size);
        EXPECT_EQ(BytesOf(*picture), Reference(before, width, height, 3, size)) << "matrix " << size;
    }
}

TEST(TransparentBorder, BordersAreFoundWhereTransparentAndOtherPixelsMeet) {
    TestSupport::Draw draw(5);
    for (PixFmt const format : PACKED) {
        EXPECT_FALSE(HasTransparentBorder(DrawPicture(draw, format, 9, 7, 0)->GetPlaneConst(0), AlphaOf(format)));
        EXPECT_FALSE(HasTransparentBorder(DrawPicture(draw, format, 9, 7, 8)->GetPlaneConst(0), AlphaOf(format)));
        EXPECT_TRUE(HasTransparentBorder(DrawPicture(draw, format, 9, 7, 4)->GetPlaneConst(0), AlphaOf(format)));
        auto const corner = DrawPicture(draw, format, 9, 7, 0);
        corner->GetPlane(0).GetOffsetPtr(8, 6)[AlphaOf(format)] = 0;
        EXPECT_TRUE(HasTransparentBorder(corner->GetPlaneConst(0), AlphaOf(format)));
    }
}

// --- The filter ------------------------------------------------------------------------------------------------------

class FilterBlurTransparentBorderTest : public ::testing::Test {
  protected:
    FilterBlurTransparentBorderTest() { effects.Know(SettingsColorSpaceConverter::CLASS_ID); }
    iptr<FilterBlurTransparentBorder> Make(std::vector<iptr<IDataVideo>> const& pictures) {
        source = ScriptedVideo::Create(pictures);
        auto filter = MakeShared<FilterBlurTransparentBorder>(source, effects.factory);
        effects.log->Take();
        return filter;
    }
    std::vector<std::string> Calls() { return effects.log->Take(); }

    EffectsOf<IOneInputEffectVideo> effects;
    iptr<ScriptedVideo> source;
    TestSupport::Draw draw{2026};
};

TEST_F(FilterBlurTransparentBorderTest, BlursEachPackedFormatAndLeavesTheSourcesPictureAlone) {
    for (PixFmt const format : PACKED) {
        auto const picture = DrawPicture(draw, format, 19, 11, 4);
        Bytes const before = BytesOf(*picture);
        auto const filter = Make({picture});
        auto const frame = filter->Read();
        EXPECT_THAT(Calls(), ElementsAre(std::string(CONVERTER) + ": Process 0"));
        EXPECT_EQ(BytesOf(*frame), Reference(before, 19, 11, AlphaOf(format), 8)) << "the default matrix";
        EXPECT_THAT(frame, IsVideo(0, 40));
        EXPECT_EQ(BytesOf(*picture), before) << "its memory is shared by the script's clones";
        EXPECT_EQ(filter->Read(), nullptr);
    }
}

TEST_F(FilterBlurTransparentBorderTest, PictureOfItsOwnIsBlurredInPlace) {
    auto const filter = Make({DrawPicture(draw, PIX_FMT_RGBA, 8, 8, 4)});
    auto own = DrawPicture(draw, PIX_FMT_RGBA, 8, 8, 4);
    void const* const object = own.get();
    effects.made[0]->onProcess = [&](auto) { return std::move(own); };
    EXPECT_EQ(filter->Read().get(), object);
}

TEST_F(FilterBlurTransparentBorderTest, MatrixOfOneOrLessChangesNothingAndCopiesNothing) {
    for (int const size : {1, 0, -8}) {
        auto const filter = Make({DrawPicture(draw, PIX_FMT_RGBA, 8, 8, 4)});
        filter->Initialize(SettingsFilterBlurTransparentBorder(size));
        EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 0));
    }
}

TEST_F(FilterBlurTransparentBorderTest, MatrixOfTwoIsTheSmallestThatBlurs) {
    auto const picture = DrawPicture(draw, PIX_FMT_RGBA, 8, 8, 4);
    Bytes const before = BytesOf(*picture);
    auto const filter = Make({picture});
    filter->Initialize(SettingsFilterBlurTransparentBorder(2));
    EXPECT_EQ(BytesOf(*filter->Read()), Reference(before, 8, 8, 3, 2));
}

TEST_F(FilterBlurTransparentBorderTest, PictureWithoutABorderIsNotCopied) {
    auto const filter = Make({DrawPicture(draw, PIX_FMT_BGRA, 8, 8, 0), DrawPicture(draw, PIX_FMT_BGRA, 8, 8, 8)});
    EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 0));
    EXPECT_TRUE(GivesTheSourcesOwn(*filter, *source, 1));
}

TEST_F(FilterBlurTransparentBorderTest, TransparentPixelWithoutAnOpaqueNeighbourKeepsItsColour) {
    auto picture = MakeVideo(0, 40, 0, PIX_FMT_RGBA, 32, 1);
    for (unsigned x = 0; x < 32; ++x) picture->GetPlane(0).GetOffsetPtr(x, 0)[1] = 77;
    u8* const opaque = picture->GetPlane(0).GetOffsetPtr(0, 0);
    opaque[1] = 200;
    opaque[3] = 255;
    auto const frame = Make({picture})->Read();
    EXPECT_EQ(frame->GetPlaneConst(0).GetOffsetPtr(4, 0)[1], 200);
    EXPECT_EQ(frame->GetPlaneConst(0).GetOffsetPtr(4, 0)[3], 0) << "it stays transparent";
    EXPECT_EQ(frame->GetPlaneConst(0).GetOffsetPtr(5, 0)[1], 77);
}

TEST_F(FilterBlurTransparentBorderTest, PictureWithoutAlphaIsNotTouchedNotEvenByTheConverter) {
    auto const filter = Make({MakeVideo(0, 40, 1, PIX_FMT_YUV420P), MakeVideo(40, 40, 1, PIX_FMT_RGB24),
                              PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 80, 40, PIX_FMT_NV12),
                              PlacedPicture::Create(IDataVideo::FRAME_ALLOC_CPU, 120, 40, PIX_FMT_NONE)});
    auto const frames = ReadAll(*filter);
    ASSERT_EQ(frames.size(), 4U);
    for (std::size_t i = 0; i < frames.size(); ++i) EXPECT_EQ(frames[i].get(), source->delivered[i]);
    EXPECT_THAT(Calls(), IsEmpty());
    EXPECT_EQ(filter->GetStatistic().Children().back()["Count"].GetInt64(), 4) << "counted all the same";
}

TEST_F(FilterBlurTransparentBorderTest, FormatOfEachPictureDecidesNotThatOfTheStream) {
    auto const filter = Make({MakeVideo(0, 40, 1, PIX_FMT_YUVA420P)});
    source->format->SetPixelFormat(PIX_FMT_YUV420P);
    auto const converted = DrawPicture(draw, PIX_FMT_ABGR, 16, 16, 4);
    Bytes const before = BytesOf(*converted);
    effects.made[0]->onProcess = [&](auto) { return converted; };
    EXPECT_EQ(BytesOf(*filter->Read()), Reference(before, 16, 16, 0, 8));
}

TEST_F(FilterBlurTransparentBorderTest, ConverterIsToldThePackedFormatsWithAlpha) {
    std::vector<PixFmt> formats;
    struct Noting : IdleEffect<IOneInputEffectVideo> {
        using IEffect::Initialize;
        explicit Noting(std::vector<PixFmt>& formats) : formats(formats) {}
        void Initialize(Settings const& settings) override {
            formats = dynamic_cast<SettingsColorSpaceConverter const&>(settings).GetFormats();
        }
        std::vector<PixFmt>& formats;
    };
    effects.factory->onCreate = [&](std::string const& classId, std::string const& implName) {
        EXPECT_EQ(classId, "SettingsColorSpaceConverter");
        EXPECT_EQ(implName, ImplNames::DEFAULT);
        return iptr<IEffect>(new Noting(formats));
    };
    Make({});
    EXPECT_THAT(formats, ElementsAre(26, 28, 25, 27));
}

TEST_F(FilterBlurTransparentBorderTest, ConverterThatGivesAnotherFormatIsAFailure) {
    auto const filter = Make({MakeVideo(0, 40, 1, PIX_FMT_YUVA420P), DrawPicture(draw, PIX_FMT_RGBA, 4, 4, 4)});
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }),
              "Transparent borders of pixel format 33 can't be blurred");
    EXPECT_NE(filter->Read(), nullptr);
}

TEST_F(FilterBlurTransparentBorderTest, NullFromTheConverterIsTheResult) {
    auto const filter = Make({DrawPicture(draw, PIX_FMT_RGBA, 4, 4, 4)});
    effects.made[0]->onProcess = [](auto) { return nullptr; };
    EXPECT_EQ(filter->Read(), nullptr);
}

TEST_F(FilterBlurTransparentBorderTest, PictureIsBroughtToWhereTheConverterWorks) {
    effects.Know("SettingsFrameDownloader", {ImplNames::OGL}, [this](auto& effect) {
        effect.onProcess = [this](auto) { return DrawPicture(draw, PIX_FMT_RGBA, 4, 4, 4); };
    });
    auto const filter = Make({PlacedPicture::Create(IDataVideo::FRAME_ALLOC_GPU, 0)});
    effects.made[0]->frameType = IDataVideo::FRAME_ALLOC_CPU;
    EXPECT_EQ(filter->Read()->GetFrameAlloc(), IDataVideo::FRAME_ALLOC_CPU);
    EXPECT_THAT(Calls(), ElementsAre("SettingsFrameDownloader/OGL: Process 0", std::string(CONVERTER) + ": Process 0"));
}

TEST_F(FilterBlurTransparentBorderTest, SettingsAreTakenAsAnObjectAlone) {
    auto const filter = Make({DrawPicture(draw, PIX_FMT_RGBA, 9, 9, 6)});
    EXPECT_EQ(MessageOf<FilterException>(
                  [&] { filter->Initialize(Settings2Property(SettingsFilterBlurTransparentBorder(4))); }),
              "Method not implemented");
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetSettings(); }), "Method not implemented");
    filter->Initialize(SettingsFilterBlurTransparentBorder(3));
    EXPECT_THROW(filter->Initialize(OtherSettings()), std::bad_cast);
    Core::Property node = Core::MakeStatistics("Tarsel::Proc::FilterBlurTransparentBorder::GetStatistic", 0, 0);
    node.SetChild("Matrix_size", 3).Add(Core::Property(std::string(CONVERTER) + "::GetStatistic"));
    EXPECT_EQ(filter->GetStatistic(), source->GetStatistic().Add(node));
    auto const drawn = DrawPicture(draw, PIX_FMT_RGBA, 9, 9, 6);
    Bytes const before = BytesOf(*drawn);
    effects.made[0]->onProcess = [&](auto) { return drawn; };
    EXPECT_EQ(BytesOf(*filter->Read()), Reference(before, 9, 9, 3, 3));
}

TEST_F(FilterBlurTransparentBorderTest, NullPartsAndMissingEnginesAreRefused) {
    auto const empty = ScriptedVideo::Create({});
    EXPECT_EQ(MessageOf<std::invalid_argument>([&] { MakeShared<FilterBlurTransparentBorder>(empty, nullptr); }),
              "effectFactory is NULL");
    EXPECT_EQ(
        MessageOf<std::invalid_argument>([&] { MakeShared<FilterBlurTransparentBorder>(nullptr, effects.factory); }),
        "parentStream is NULL.");
    effects.Know(SettingsColorSpaceConverter::CLASS_ID, {});
    EXPECT_EQ(MessageOf<FilterException>([&] { MakeShared<FilterBlurTransparentBorder>(empty, effects.factory); }),
              "There is no any implementation for SettingsColorSpaceConverter");
}

TEST_F(FilterBlurTransparentBorderTest, FormatIsAdaptedAlsoWhereItHasNoAlpha) {
    auto const filter = Make({});
    effects.made[0]->onAdapt = [](auto& format) {
        dynamic_cast<Conf::IFormatCodecVideo&>(*format).SetPixelFormat(PIX_FMT_ABGR);
    };
    for (PixFmt const stated : {PIX_FMT_YUVA420P, PIX_FMT_NONE, PIX_FMT_YUV420P}) {
        source->format->SetPixelFormat(stated);
        EXPECT_EQ(filter->GetFormatCodec()->GetPixelFormat(), PIX_FMT_ABGR);
        EXPECT_EQ(source->format->GetPixelFormat(), stated);
        EXPECT_NE(filter->GetFormatCodec(), source->format);
    }
    source->format = nullptr;
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->GetFormatCodec(); }), "Source format codec must be present");
}

TEST_F(FilterBlurTransparentBorderTest, ChangedPixelsAreLoggedAboveTheirVerbosity) {
    auto const picture = MakeVideo(0, 40, 0, PIX_FMT_RGBA, 4, 1);
    picture->GetPlane(0).GetOffsetPtr(0, 0)[3] = 1;
    auto const filter = Make({picture, picture});
    {
        LogLines const lines(4001);
        filter->Read();
        EXPECT_TRUE(lines.Has("Processed 3 pixels in "));
        EXPECT_THAT(lines.Get(google::GLOG_INFO), ElementsAre(::testing::EndsWith(" us")));
    }
    LogLines const lines(4000);
    filter->Read();
    EXPECT_FALSE(lines.Has("Processed"));
}

TEST_F(FilterBlurTransparentBorderTest, SeekAndReleaseReachTheSourceAndTheConverter) {
    auto const filter = Make({DrawPicture(draw, PIX_FMT_RGBA, 4, 4, 4)});
    source->duration = 40;
    filter->RequestSeek(50, source);
    EXPECT_THAT(source->log.Take(), ElementsAre("RequestSeek(40, context)"));
    EXPECT_THAT(Calls(), ElementsAre(std::string(CONVERTER) + ": Reset"));
    filter->DoSeek();
    EXPECT_THAT(source->log.Take(), ElementsAre("DoSeek"));
    filter->ReleaseInternalData();
    EXPECT_THAT(source->log.Take(), ElementsAre("ReleaseInternalData"));
    EXPECT_THAT(Calls(), ElementsAre(std::string(CONVERTER) + ": Reset"));
}

TEST_F(FilterBlurTransparentBorderTest, SeekPropertyHolds) {
    std::vector<iptr<IDataVideo>> pictures;
    for (int i = 0; i < 12; ++i) {
        pictures.push_back(DrawPicture(draw, PACKED[i % 4], 9, 5, 4));
        pictures.back()->SetTime(i * 40);
    }
    auto const filter = Make(pictures);
    source->duration = 480;
    Seek(*filter, 0);
    auto const straight = ReadAll(*filter);
    for (int round = 0; round < 40; ++round) {
        auto const position = static_cast<int64>(draw.Below(520));
        SCOPED_TRACE(position);
        Seek(*filter, position);
        auto index = static_cast<std::size_t>(std::min<int64>(position, 480) / 40);
        for (u32 i = draw.Below(14) + 1; i > 0; --i, ++index) {
            auto const frame = filter->Read();
            ASSERT_EQ(frame != nullptr, index < straight.size());
            if (!frame) break;
            EXPECT_EQ(frame->GetTime(), straight[index]->GetTime());
            EXPECT_EQ(BytesOf(*frame), BytesOf(*straight[index]));
        }
    }
}

TEST_F(FilterBlurTransparentBorderTest, EndsFromTheHostAndFailuresPassAndASeekBringsTheStreamBack) {
    source = ScriptedVideo::Create({Failure<FilterException>("broken"), DrawPicture(draw, PIX_FMT_RGBA, 4, 4, 4)});
    auto const filter = MakeShared<FilterBlurTransparentBorder>(source, effects.factory);
    EXPECT_EQ(MessageOf<FilterException>([&] { filter->Read(); }), "broken");
    filter->SetEndOfStream();
    EXPECT_EQ(filter->Read(), nullptr);
    Seek(*filter, 0);
    EXPECT_EQ(ReadAll(*filter).size(), 1U);
}

TEST_F(FilterBlurTransparentBorderTest, NamesItselfToVisitors) {
    auto const filter = Make({});
    Visitors::InfoCollector names;
    filter->Accept(names);
    EXPECT_THAT(names.names, ElementsAre("FilterBlurTransparentBorder", "ScriptedStream"));
}

}  // namespace
}  // namespace Tarsel::Proc
