#include "contracts/Proc/BlendHelper.h"

#include <stdexcept>

#include "tests/Proc/VideoMixerSupport.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr int CPU = IDataVideo::FRAME_ALLOC_CPU;
constexpr int GPU = IDataVideo::FRAME_ALLOC_GPU;

/// A frame in a format and colours.
iptr<IDataVideo> Frame(PixFmt format, AVColorSpace matrix = AVCOL_SPC_BT709, AVColorRange range = AVCOL_RANGE_MPEG) {
    auto const plain = MakeVideo(0, 40000, 0, format);
    AVFrame* const frame = av_frame_clone(dynamic_cast<DataVideoFF const&>(*plain).GetAVFrame());
    frame->colorspace = matrix;
    frame->color_range = range;
    return DataVideoFF::Wrap(frame, 0, 40000);
}

class BlendHelperTest : public ::testing::Test {
  protected:
    BlendHelperTest() {
        factory->onMade = [](ScriptedBlender& blender) {
            blender.onPrepare = [](auto const& picture) { return MakeVideo(picture->GetTime() + 1000, 1); };
        };
    }
    int Prepared() const {
        int count = 0;
        for (auto const& blender : factory->made) count += blender->prepared;
        return count;
    }

    iptr<BlenderFactory> const factory = MakeShared<BlenderFactory>();
    BlendHelper helper{factory};
};

TEST_F(BlendHelperTest, ConvertsAPictureOnceForFramesThatAreAlike) {
    auto const picture = MakeVideo(7, 1);
    auto const first = helper.Prepare(*Frame(PIX_FMT_YUV420P), picture);
    EXPECT_EQ(first->GetTime(), 1007);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(helper.Prepare(*Frame(PIX_FMT_YUV420P), picture), first);
    EXPECT_EQ(Prepared(), 1);
    EXPECT_THAT(factory->asked, ElementsAre("SettingsEffectImageBlender/Tarsel"));
}

TEST_F(BlendHelperTest, ConvertsAgainForAnotherPictureFormatMatrixOrRange) {
    auto const picture = MakeVideo(7, 1);
    std::vector<iptr<IDataVideo>> const frames{Frame(PIX_FMT_YUV420P), Frame(PIX_FMT_RGBA),
                                               Frame(PIX_FMT_YUV420P, AVCOL_SPC_SMPTE170M),
                                               Frame(PIX_FMT_YUV420P, AVCOL_SPC_SMPTE170M, AVCOL_RANGE_JPEG)};
    int count = 0;
    for (auto const& frame : frames) {
        helper.Prepare(*frame, picture);
        EXPECT_EQ(Prepared(), ++count);
        helper.Prepare(*frame, picture);
        EXPECT_EQ(Prepared(), count);
    }
    EXPECT_EQ(helper.Prepare(*frames.back(), MakeVideo(8, 1))->GetTime(), 1008);
    EXPECT_EQ(Prepared(), count + 1);
}

TEST_F(BlendHelperTest, NewPictureAtTheAddressOfAnOldOneIsNotTakenForIt) {
    auto const frame = Frame(PIX_FMT_YUV420P);
    auto picture = MakeVideo(0, 1);
    for (int64 i = 0; i < 200; ++i) {
        picture = nullptr;  // only the helper holds it now; another one of the same size would come to its place
        picture = MakeVideo(i, 1);
        ASSERT_EQ(helper.Prepare(*frame, picture)->GetTime(), 1000 + i);
        ASSERT_EQ(picture->GetRefCountImpl(), 2U) << "held, so that its address isn't free";
    }
}

TEST_F(BlendHelperTest, HoldsOnePictureOnly) {
    auto const frame = Frame(PIX_FMT_YUV420P);
    auto const first = MakeVideo(1, 1), second = MakeVideo(2, 1);
    helper.Prepare(*frame, first);
    helper.Prepare(*frame, second);
    EXPECT_EQ(first->GetRefCountImpl(), 1U);
}

TEST_F(BlendHelperTest, BlenderIsThatOfThePlaceWhereTheFrameLives) {
    auto const picture = MakeVideo(7, 1);
    helper.Prepare(*PlacedPicture::Create(CPU, 0), picture);
    helper.Prepare(*PlacedPicture::Create(GPU, 0), picture);
    helper.Prepare(*PlacedPicture::Create(GPU, 40), picture);
    EXPECT_THAT(factory->asked, ElementsAre("SettingsEffectImageBlender/Tarsel", "SettingsEffectImageBlender/OGL"));
    EXPECT_EQ(Prepared(), 2);
    auto const unknown = PlacedPicture::Create(2, 0);
    EXPECT_EQ(MessageOf<FilterException>([&] { helper.Prepare(*unknown, picture); }),
              "Cannot find effect implementation for frame alloc type");
    EXPECT_EQ(MessageOf<EffectException>([&] { helper.Prepare(*unknown, picture); }),
              "Cannot find effect implementation for frame alloc type");
}

TEST_F(BlendHelperTest, FailureIsNotKept) {
    auto const frame = Frame(PIX_FMT_YUV420P);
    auto const picture = MakeVideo(7, 1);
    helper.Prepare(*frame, picture);
    auto const convert = factory->made[0]->onPrepare;
    factory->made[0]->onPrepare = [](auto const&) -> iptr<IDataVideo> { TARSEL_THROW(EffectException, "no"); };
    EXPECT_EQ(MessageOf<EffectException>([&] { helper.Prepare(*frame, MakeVideo(8, 1)); }), "no");
    factory->made[0]->onPrepare = convert;
    EXPECT_EQ(helper.Prepare(*frame, picture)->GetTime(), 1007);
}

TEST_F(BlendHelperTest, FormatAloneStandsForFramesOfUnknownColours) {
    auto const picture = MakeVideo(7, 1);
    EXPECT_EQ(helper.Prepare(PIX_FMT_YUV420P, picture), helper.Prepare(PIX_FMT_YUV420P, picture));
    EXPECT_EQ(Prepared(), 1);
    EXPECT_THROW(helper.Prepare(PIX_FMT_NONE, picture), ProcException);
}

TEST_F(BlendHelperTest, NullStaysNullAndNullFactoriesAreRefused) {
    EXPECT_EQ(helper.Prepare(PIX_FMT_YUV420P, nullptr), nullptr);
    EXPECT_EQ(helper.Prepare(*Frame(PIX_FMT_YUV420P), nullptr), nullptr);
    EXPECT_THAT(factory->asked, IsEmpty());
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { BlendHelper(nullptr); }), "effectFactory is NULL");
}

}  // namespace
}  // namespace Tarsel::Proc
