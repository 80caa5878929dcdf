#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>

#include "contracts/Conf/PixFmtDescription.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "contracts/Proc/DataMD5.h"
#include "tests/support/Builders.h"
#include "tests/support/Matchers.h"

extern "C" {
#include <libavutil/pixfmt.h>
}

namespace Tarsel::Proc {
namespace {

using namespace Test;

u8 FirstByte(IDataVideo const& frame, unsigned plane = 0) {
    return *frame.GetPlaneConst(plane).GetData();
}

TEST(VideoData, NewFrameHasItsShapeAndNoTimes) {
    auto const frame = DataVideoFF::Create(PIX_FMT_YUV420P, {6, 4, 4, 3}, nullptr);
    EXPECT_THAT(frame, IsVideo(NO_VALUE, NO_VALUE));
    EXPECT_EQ(frame->GetFrameInfo(), (Conf::FrameInfo{6, 4, 4, 3}));
    EXPECT_EQ(frame->GetWidth(), 6);
    EXPECT_EQ(frame->GetHeight(), 4);
    EXPECT_EQ(frame->GetPixelFormat(), PIX_FMT_YUV420P);
    EXPECT_EQ(frame->GetFrameAlloc(), 0);
    EXPECT_EQ(frame->GetInterlace(), 0);
    EXPECT_EQ(GetPlanesCount(*frame), 3);
    EXPECT_FALSE(IsOGLFrame(frame));
    EXPECT_FALSE(IsOGLFrame(nullptr));
}

TEST(VideoData, PlanesStandBackToBackInTheGivenBuffer) {
    AVBufferRef* const buffer = av_buffer_allocz(6 * 4 + 2 * 3 * 2);
    u8* const data = buffer->data;
    auto const frame = DataVideoFF::Create(PIX_FMT_YUV420P, {6, 4, 1, 1}, buffer);
    EXPECT_EQ(frame->GetPlaneConst(0).GetData(), data);
    EXPECT_EQ(frame->GetPlaneConst(1).GetData(), data + 24);
    EXPECT_EQ(frame->GetPlaneConst(2).GetData(), data + 30);
    EXPECT_EQ(frame->GetPlaneConst(1).GetStride(), 3);
    EXPECT_EQ(frame->GetPlaneConst(1).GetRows(), 2);
    EXPECT_EQ(frame->GetPlane(0).GetOffsetPtr(2, 1), data + 8);
    EXPECT_EQ(frame->GetPlane(0).GetPixelBytes(), 1);
}

TEST(VideoData, BadShapesAndSmallBuffersAreRefused) {
    auto const make = [](PixFmt format, int width, int height, AVBufferRef* buffer) {
        return MessageOf<ProcException>([&] { DataVideoFF::Create(format, {width, height, 1, 1}, buffer); });
    };
    EXPECT_EQ(make(PIX_FMT_YUV420P, 0, 4, nullptr), "Can't make a frame of 0x4 in pixel format 0");
    EXPECT_EQ(make(PIX_FMT_YUV420P, 4, -4, nullptr), "Can't make a frame of 4x-4 in pixel format 0");
    EXPECT_EQ(make(PIX_FMT_NONE, 4, 4, nullptr), "Can't make a frame of 4x4 in pixel format -1");
    EXPECT_EQ(make(static_cast<PixFmt>(AV_PIX_FMT_VAAPI), 4, 4, nullptr),
              "Can't make a frame of 4x4 in pixel format " + std::to_string(AV_PIX_FMT_VAAPI));
    EXPECT_EQ(make(PIX_FMT_RGBA, 4, 4, av_buffer_alloc(63)), "Buffer is too small for a frame: 63 < 64 bytes");
    EXPECT_THROW(DataVideoFF::Create(PIX_FMT_RGBA, {2000000000, 2000000000, 1, 1}, nullptr), ProcException);
    EXPECT_EQ(MessageOf<std::invalid_argument>([] { DataVideoFF::Wrap(nullptr, 0, 0); }), "NULL frame");
}

TEST(VideoData, MissingPlaneIsRefused) {
    auto const frame = MakeVideo(0, 1, 0, PIX_FMT_RGBA);
    EXPECT_EQ(MessageOf<ProcException>([&] { frame->GetPlane(1); }), "Frame has no plane 1, it has 1");
    EXPECT_THROW(frame->GetPlaneConst(4000000000U), ProcException);
}

TEST(VideoData, PaletteFormatHasRoomForItsPalette) {
    auto const frame = DataVideoFF::Create(static_cast<PixFmt>(AV_PIX_FMT_PAL8), {4, 4, 1, 1}, nullptr);
    EXPECT_EQ(GetPlanesCount(*frame), 1);
    auto const copy = frame->Clone(true);
    EXPECT_EQ(copy->GetPixelFormat(), frame->GetPixelFormat());
}

TEST(VideoData, CutsChangeTimeAndDurationAlone) {
    auto const frame = MakeVideo(1000, 400, 7);
    std::string const picture = CalculateVideoDataMD5(frame);
    frame->CutBegin(100);
    EXPECT_THAT(frame, IsVideo(1100, 300));
    frame->Cut(50, 150);
    EXPECT_THAT(frame, IsVideo(1100, 200));
    frame->CutEnd(50);
    EXPECT_THAT(frame, IsVideo(1100, 150));
    frame->CutBegin(0);
    frame->Cut(30, 30);
    frame->CutEnd(150);
    EXPECT_THAT(frame, IsVideo(1100, 0));
    EXPECT_EQ(CalculateVideoDataMD5(frame), picture);
}

TEST(VideoData, ImpossibleCutsThrowAndChangeNothing) {
    auto const frame = MakeVideo(1000, 400);
    EXPECT_THROW(frame->CutBegin(401), ProcException);
    EXPECT_THROW(frame->CutBegin(-1), ProcException);
    EXPECT_THROW(frame->CutEnd(NO_VALUE), ProcException);
    EXPECT_THROW(frame->Cut(200, 100), ProcException);
    EXPECT_THROW(frame->Cut(-1, 100), ProcException);
    EXPECT_EQ(MessageOf<ProcException>([&] { frame->Cut(300, 401); }),
              "Can't cut [300, 401) out of an item of duration 400");
    EXPECT_THAT(frame, IsVideo(1000, 400));
    frame->SetDuration(NO_VALUE);
    EXPECT_THROW(frame->CutBegin(0), ProcException);
}

TEST(VideoData, CutOfAFrameWithoutATimeLeavesItWithout) {
    auto const frame = MakeVideo(NO_VALUE, 400);
    frame->CutBegin(100);
    EXPECT_THAT(frame, IsVideo(NO_VALUE, 300));
}

TEST(VideoData, SharingCloneHasTimesOfItsOwn) {
    auto const frame = MakeVideo(1000, 400, 3);
    auto const clone = frame->Clone(false);
    EXPECT_EQ(clone->GetPlaneConst(0).GetData(), frame->GetPlaneConst(0).GetData());
    clone->SetTime(5);
    clone->CutEnd(100);
    EXPECT_THAT(frame, IsVideo(1000, 400));
    EXPECT_THAT(clone, IsVideo(5, 300));
}

TEST(VideoData, CopyingCloneHasMemoryOfItsOwn) {
    auto const frame = MakeVideo(1000, 400, 3);
    auto const copy = frame->Clone(true);
    EXPECT_THAT(copy, IsVideo(1000, 400));
    EXPECT_NE(copy->GetPlaneConst(0).GetData(), frame->GetPlaneConst(0).GetData());
    *copy->GetPlane(0).GetData() = 9;
    EXPECT_EQ(FirstByte(*frame), 3);
}

TEST(VideoData, MakeWritableGivesTheSameObjectWhenNobodySharesIt) {
    auto const frame = MakeVideo(0, 1);
    EXPECT_EQ(frame->MakeWritable(), frame);
}

TEST(VideoData, MakeWritableCopiesASharedObjectOrASharedPicture) {
    auto const frame = MakeVideo(0, 1, 3);
    auto const second = frame;  // NOLINT: a second owner of the object
    auto const own = frame->MakeWritable();
    EXPECT_NE(own, frame);
    *own->GetPlane(0).GetData() = 9;
    EXPECT_EQ(FirstByte(*frame), 3);

    auto alone = MakeVideo(0, 1, 3);
    auto const clone = alone->Clone(false);
    auto const written = alone->MakeWritable();
    EXPECT_NE(written, alone);
    *written->GetPlane(0).GetData() = 9;
    EXPECT_EQ(FirstByte(*clone), 3);
}

TEST(VideoData, WrappedFrameKeepsCropInterlaceAndRepairsTheAspect) {
    AVFrame* const native = av_frame_alloc();
    native->format = AV_PIX_FMT_YUV420P;
    native->width = 16;
    native->height = 8;
    native->sample_aspect_ratio = {0, 1};
    native->interlaced_frame = 1;
    native->crop_left = 1;
    native->crop_top = 2;
    native->crop_right = 3;
    native->crop_bottom = 4;
    ASSERT_GE(av_frame_get_buffer(native, 64), 0);
    auto const frame = DataVideoFF::Wrap(native, 7, 8);
    EXPECT_THAT(frame, IsVideo(7, 8));
    EXPECT_EQ(frame->GetFrameInfo(), (Conf::FrameInfo{16, 8, 1, 1}));
    EXPECT_NE(frame->GetInterlace(), 0);
    EXPECT_EQ(frame->GetCrop(), (CropInfo{1, 13, 2, 4}));
    EXPECT_EQ(frame->Clone(true)->GetCrop(), (CropInfo{1, 13, 2, 4}));
}

TEST(VideoData, PixelAspectWithAZeroIsSquareHoweverTheFrameIsMade) {
    for (auto const& [num, den] : std::vector<std::pair<int, int>>{{0, 1}, {1, 0}, {0, 0}, {-4, 3}, {4, -3}}) {
        SCOPED_TRACE(num * 10 + den);
        EXPECT_EQ(DataVideoFF::Create(PIX_FMT_RGBA, {4, 2, num, den}, nullptr)->GetFrameInfo(),
                  (Conf::FrameInfo{4, 2, 1, 1}));
        AVFrame* const native = av_frame_alloc();
        native->format = AV_PIX_FMT_RGBA;
        native->width = 4;
        native->height = 2;
        native->sample_aspect_ratio = {num, den};
        ASSERT_GE(av_frame_get_buffer(native, 0), 0);
        auto const frame = DataVideoFF::Wrap(native, 0, 1);
        for (auto const& made : {frame, frame->Clone(false), frame->Clone(true), frame->MakeWritable()})
            EXPECT_EQ(made->GetFrameInfo(), (Conf::FrameInfo{4, 2, 1, 1}));
    }
    EXPECT_EQ(DataVideoFF::Create(PIX_FMT_RGBA, {4, 2, 4, 2}, nullptr)->GetFrameInfo(), (Conf::FrameInfo{4, 2, 4, 2}))
        << "not reduced";
}

TEST(VideoData, DigestIgnoresPaddingOfRows) {
    AVFrame* const native = av_frame_alloc();
    native->format = AV_PIX_FMT_YUV420P;
    native->width = 18;
    native->height = 6;
    ASSERT_GE(av_frame_get_buffer(native, 64), 0);
    std::memset(native->buf[0]->data, 0xEE, native->buf[0]->size);
    auto const padded = DataVideoFF::Wrap(native, 0, 1);
    auto const packed = MakeVideo(0, 1, 0, PIX_FMT_YUV420P, 18, 6);
    for (auto const& frame : {padded, packed}) frame->Fill(Color(200, 30, 40, 255));
    EXPECT_GT(padded->GetPlaneConst(0).GetStride(), 18);
    EXPECT_EQ(CalculateVideoDataMD5(padded), CalculateVideoDataMD5(packed));
    EXPECT_EQ(CalculateVideoDataMD5(packed).size(), 32U);
    *packed->GetPlane(2).GetOffsetPtr(8, 2) ^= 1;
    EXPECT_NE(CalculateVideoDataMD5(padded), CalculateVideoDataMD5(packed));
}

TEST(VideoData, FillPaintsEachFormatInItsOwnOrder) {
    struct Case {
        PixFmt format;
        std::vector<u8> bytes;
    };
    for (Case const& expected : {Case{PIX_FMT_RGB24, {255, 0, 128}}, Case{PIX_FMT_RGBA, {255, 0, 128, 64}},
                                 Case{PIX_FMT_ARGB, {64, 255, 0, 128}}, Case{PIX_FMT_ABGR, {64, 128, 0, 255}}}) {
        auto const frame = MakeVideo(0, 1, 1, expected.format, 5, 3);
        frame->Fill(Color(255, 0, 128, 64));
        for (unsigned x = 0; x < 5; ++x)
            for (unsigned y = 0; y < 3; ++y)
                for (std::size_t i = 0; i < expected.bytes.size(); ++i)
                    EXPECT_EQ(frame->GetPlaneConst(0).GetOffsetPtr(x, y)[i], expected.bytes[i])
                        << expected.format << " at " << x << ", " << y;
    }
}

TEST(VideoData, FillWithBlackIsLimitedRangeLumaAndMiddleChroma) {
    auto const frame = MakeVideo(0, 1, 77, PIX_FMT_YUVA420P, 5, 3);
    frame->Fill(Color::Black(Color::Transparent));
    EXPECT_EQ(*frame->GetPlaneConst(0).GetOffsetPtr(4, 2), 16);
    EXPECT_EQ(*frame->GetPlaneConst(1).GetOffsetPtr(2, 1), 128);
    EXPECT_EQ(*frame->GetPlaneConst(2).GetOffsetPtr(2, 1), 128);
    EXPECT_EQ(*frame->GetPlaneConst(3).GetOffsetPtr(4, 2), 0);
    frame->Fill(Color::Black(Color::Opaque));
    EXPECT_EQ(*frame->GetPlaneConst(3).GetOffsetPtr(4, 2), 255);
    auto const packed = MakeVideo(0, 1, 77, PIX_FMT_NV12, 5, 3);
    packed->Fill(Color(255, 255, 255, 255));
    EXPECT_EQ(*packed->GetPlaneConst(0).GetOffsetPtr(4, 2), 235);
    EXPECT_EQ(*packed->GetPlaneConst(1).GetOffsetPtr(2, 1), 128);
}

TEST(VideoData, FillRefusesFormatsWithoutPlainComponents) {
    auto const frame = DataVideoFF::Create(static_cast<PixFmt>(AV_PIX_FMT_PAL8), {4, 4, 1, 1}, nullptr);
    EXPECT_EQ(MessageOf<ProcException>([&] { frame->Fill(Color::Black(Color::Opaque)); }),
              "Can't fill a frame of pixel format pal8");
}

TEST(Plane, MakePositiveTurnsABottomUpPlane) {
    u8 bytes[] = {1, 2, 3, 4, 5, 6};
    Details::PlaneTemplate<1> plane(bytes + 4, -2, 2, 3, 1);
    EXPECT_EQ(*plane.GetOffsetPtr(1, 0), 6);
    EXPECT_EQ(*plane.GetOffsetPtr(0, 2), 1);
    plane.MakePositive();
    EXPECT_EQ(plane.GetStride(), 2);
    EXPECT_EQ(plane.GetData(), bytes);
    EXPECT_EQ(*plane.GetOffsetPtr(0, 2), 5);
    plane.MakePositive();
    EXPECT_EQ(plane.GetData(), bytes);
}

TEST(Data, MakeOwnClonesOnlyWhatOthersHoldToo) {
    auto frame = MakeVideo(1, 2);
    IDataVideo const* const address = frame.get();
    frame = MakeOwn(std::move(frame));
    EXPECT_EQ(frame.get(), address);
    auto const shared = frame;  // NOLINT: a second owner
    auto const own = MakeOwn(frame);
    EXPECT_NE(own.get(), address);
    EXPECT_THAT(own, IsVideo(1, 2));
    EXPECT_EQ(own->GetPlaneConst(0).GetData(), shared->GetPlaneConst(0).GetData());
    EXPECT_EQ(MakeOwn(iptr<IDataVideo>()), nullptr);
}

TEST(Data, GenericCloneKeepsTheKind) {
    auto const cloneOf = [](iptr<IData> const& item, bool copy) { return item->Clone(copy); };
    EXPECT_NE(dynamic_cast<IDataVideo*>(cloneOf(MakeVideo(0, 1), false).get()), nullptr);
    EXPECT_NE(dynamic_cast<IDataAudio*>(cloneOf(MakeAudio(0, 1), true).get()), nullptr);
    EXPECT_NE(dynamic_cast<IDataPacket*>(cloneOf(MakePacket(0, 0, 1, true), false).get()), nullptr);
    EXPECT_NE(dynamic_cast<IDataSubtitle*>(cloneOf(MakeSubtitle(0, 1), true).get()), nullptr);
}

}  // namespace
}  // namespace Tarsel::Proc
