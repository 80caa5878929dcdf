#include "host/gpu/DataVideoOGL.h"

#include <gtest/gtest.h>

#include <cmath>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/Color.h"
#include "tests/host/gpu/GpuSupport.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using TestSupport::MessageOf;

class GpuFrame : public GpuTest {
  protected:
    iptr<IDataVideo> const picture = Noise(8, 6, 11);
    iptr<IDataVideo> frame;

    void SetUp() override {
        GpuTest::SetUp();
        frame = Upload(picture);
    }
    static GpuTexture const* TextureOf(iptr<IDataVideo> const& item) {
        return &static_cast<DataVideoOGL&>(*item).GetTexture();
    }
    int64 CopiesSince(GpuCounters const& before) const { return device->GetCounters().copies - before.copies; }
};

TEST_F(GpuFrame, HasNoPlanes) {
    EXPECT_EQ(MessageOf<ProcException>([&] { frame->GetPlane(0); }),
              "Frame has no plane 0, it is in GPU memory: download it to reach its pixels");
    EXPECT_EQ(MessageOf<ProcException>([&] { frame->GetPlaneConst(3); }),
              "Frame has no plane 3, it is in GPU memory: download it to reach its pixels");
}

TEST_F(GpuFrame, CantBeFilledFromProcessorMemory) {
    EXPECT_EQ(MessageOf<ProcException>([&] { frame->Fill(Color::Black(Color::Opaque)); }),
              "Can't fill a frame of pixel format rgba");
}

TEST_F(GpuFrame, AnEmptyCloneSharesThePictureWithoutACopy) {
    GpuCounters const before = device->GetCounters();
    auto const clone = frame->Clone(false);
    EXPECT_NE(clone, frame);
    EXPECT_EQ(TextureOf(clone), TextureOf(frame));
    EXPECT_EQ(CopiesSince(before), 0);
    EXPECT_EQ(BytesOf(*Download(clone)), BytesOf(*picture));
}

TEST_F(GpuFrame, AFullCloneHasAPictureOfItsOwn) {
    GpuCounters const before = device->GetCounters();
    auto const clone = frame->Clone(true);
    EXPECT_NE(TextureOf(clone), TextureOf(frame));
    EXPECT_EQ(CopiesSince(before), 1);
    device->Clear(static_cast<DataVideoOGL&>(*frame).GetTexture(), 1, 2, 3, 4);
    EXPECT_EQ(BytesOf(*Download(clone)), BytesOf(*picture));
    EXPECT_EQ(BytesOf(*Download(frame)), BytesOf(*Paint(8, 6, [](int, int) { return Pixel{1, 2, 3, 4}; })));
}

TEST_F(GpuFrame, TimesOfACloneAreItsOwn) {
    auto const clone = frame->Clone(false);
    clone->SetTime(77);
    clone->CutEnd(10000);
    EXPECT_EQ(frame->GetTime(), 0);
    EXPECT_EQ(frame->GetDuration(), 40000);
    EXPECT_EQ(clone->GetTime(), 77);
    EXPECT_EQ(clone->GetDuration(), 30000);
}

TEST_F(GpuFrame, CutsChangeTimesAlone) {
    frame->CutBegin(5000);
    EXPECT_EQ(frame->GetTime(), 5000);
    EXPECT_EQ(frame->GetDuration(), 35000);
    frame->Cut(1000, 2000);
    EXPECT_EQ(frame->GetTime(), 5000);
    EXPECT_EQ(frame->GetDuration(), 34000);
    EXPECT_THROW(frame->CutEnd(34001), ProcException);
    EXPECT_EQ(BytesOf(*Download(frame)), BytesOf(*picture));
}

TEST_F(GpuFrame, ALoneFrameIsWritableAsItIs) {
    GpuCounters const before = device->GetCounters();
    IDataVideo* const object = frame.get();
    iptr<IDataVideo> writable = frame->MakeWritable();
    EXPECT_EQ(writable.get(), object);
    EXPECT_EQ(CopiesSince(before), 0);
}

TEST_F(GpuFrame, AFrameThatAnotherOneHoldsBecomesACopy) {
    GpuCounters const before = device->GetCounters();
    iptr<IDataVideo> const second = frame;
    auto const writable = frame->MakeWritable();
    EXPECT_NE(writable, frame);
    EXPECT_NE(TextureOf(writable), TextureOf(frame));
    EXPECT_EQ(CopiesSince(before), 1);
    EXPECT_EQ(BytesOf(*Download(writable)), BytesOf(*picture));
}

TEST_F(GpuFrame, AFrameWhosePictureIsSharedBecomesACopy) {
    auto const clone = frame->Clone(false);
    GpuCounters const before = device->GetCounters();
    auto const writable = frame->MakeWritable();
    EXPECT_NE(TextureOf(writable), TextureOf(clone));
    EXPECT_EQ(CopiesSince(before), 1);
}

TEST_F(GpuFrame, SizesThatAreNoneAreRefused) {
    for (Conf::FrameInfo const& info : {Conf::FrameInfo{0, 5, 1, 1}, {5, 0, 1, 1}, {-1, 5, 1, 1}, {5, -7, 1, 1}})
        EXPECT_EQ(MessageOf<EffectException>([&] {
                      DataVideoOGL::Create(device, {info, 0, {}});
                  }),
                  "A picture of " + std::to_string(info.width) + "x" + std::to_string(info.height) +
                      " can't be in GPU memory, which takes 1x1 to " + std::to_string(device->GetLargestSize()) + "x" +
                      std::to_string(device->GetLargestSize()));
}

}  // namespace
}  // namespace Tarsel::Host
