#include <gtest/gtest.h>

#include "contracts/Proc/IFilterVideoMixer.h"
#include "contracts/Proc/SettingsFilterVideoMixer.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/ContactSheet.h"
#include "tests/support/ExpectThrow.h"
#include "tests/support/ScriptedStream.h"

// The video mixer as a host makes it, over frames of the GPU.
namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr int COUNT = 6;
constexpr int64 FRAME = 40000;

using Place = iptr<IDataVideo> (*)(iptr<IDataVideo>);

iptr<IDataVideo> Here(iptr<IDataVideo> picture) {
    return picture;
}

iptr<ScriptedVideo> Clip(int count, int width, int height, unsigned seed, bool opaque, Place place) {
    std::vector<iptr<IDataVideo>> frames;
    for (int i = 0; i < count; ++i) {
        auto const frame = place(Noise(width, height, seed + static_cast<unsigned>(i), opaque));
        frame->SetTime(i * FRAME);
        frame->SetDuration(FRAME);
        frames.push_back(frame);
    }
    auto clip = ScriptedVideo::Create(frames);
    clip->duration = count * FRAME;
    return clip;
}

class VideoMixerOnGpu : public GpuTest {
  protected:
    static iptr<IStreamVideoEx> Make(iptr<IStreamVideo> const& main) {
        return MakeFilterFactory()->CreateVideo(SettingsFilterVideoMixer::CLASS_ID, ImplNames::TARSEL, main,
                                                SettingsFilterVideoMixer());
    }
    static IFilterVideoMixer& MixerIn(iptr<IStreamVideoEx> const& stream) {
        return dynamic_cast<IFilterVideoMixer&>(*stream);
    }
    static IFilterVideoMixer::AlphaFunction Always(int alpha) {
        return [alpha](int64) { return alpha; };
    }
    /// The same mix with the main stream at one place and what is drawn at others.
    static std::vector<iptr<IDataVideo>> Mix(Place main, Place drawn, Place logo) {
        auto const stream = Make(Clip(COUNT, 40, 30, 1, false, main));
        IFilterVideoMixer& mixer = MixerIn(stream);
        mixer.AddStream(Clip(2, 16, 10, 50, false, drawn), 5, 7, 0, Always(200), true);
        mixer.AddStream(Clip(COUNT, 16, 10, 70, true, drawn), -6, 20, FRAME, Always(255), false);
        mixer.AddWatermark(logo(Noise(12, 12, 90)), 33, 25, 2 * FRAME, Always(128));
        mixer.AddWatermark(logo(Noise(12, 12, 91)), 100, -200, 0, Always(255));
        mixer.AddWatermark(logo(Noise(12, 12, 92)), 0, 0, 0, Always(0));
        return ReadAll(*stream);
    }
    static void ExpectSame(std::vector<iptr<IDataVideo>> const& found, std::vector<iptr<IDataVideo>> const& wanted) {
        ASSERT_EQ(found.size(), wanted.size());
        for (std::size_t i = 0; i < found.size(); ++i) {
            EXPECT_EQ(found[i]->GetTime(), wanted[i]->GetTime());
            EXPECT_EQ(found[i]->GetDuration(), wanted[i]->GetDuration());
            EXPECT_EQ(BytesOf(*Download(found[i])), BytesOf(*wanted[i])) << "frame " << i;
        }
    }
};

TEST_F(VideoMixerOnGpu, GivesTheBytesOfTheProcessorWhereverTheDrawnPicturesLive) {
    auto const wanted = Mix(Here, Here, Here);
    ASSERT_EQ(wanted.size(), static_cast<std::size_t>(COUNT));
    EXPECT_NE(BytesOf(*wanted[3]), BytesOf(*Noise(40, 30, 4))) << "something is drawn";
    ContactSheet sheet("video-mixer-gpu");
    sheet.Add(wanted[3], "frame 3, processor");
    for (Place const drawn : {&Here, &Upload})
        for (Place const logo : {&Here, &Upload}) {
            auto const found = Mix(Upload, drawn, logo);
            for (auto const& frame : found) EXPECT_TRUE(IsOGLFrame(frame));
            ExpectSame(found, wanted);
            sheet.Add(Download(found.at(3)), "frame 3, GPU: the same");
        }
}

TEST_F(VideoMixerOnGpu, PicturesOfTheGpuAreFetchedForFramesOfTheProcessor) {
    auto const found = Mix(Here, Upload, Upload);
    for (auto const& frame : found) EXPECT_FALSE(IsOGLFrame(frame));
    ExpectSame(found, Mix(Here, Here, Here));
}

TEST_F(VideoMixerOnGpu, LogoIsUploadedOnceAndFetchedOnce) {
    auto const uploads = [&](Place main, Place logo) {
        auto const stream = Make(Clip(COUNT, 40, 30, 1, false, main));
        MixerIn(stream).AddWatermark(logo(Noise(12, 12, 90)), 2, 2, 0, Always(255));
        GpuCounters const before = device->GetCounters();
        EXPECT_EQ(ReadAll(*stream).size(), static_cast<std::size_t>(COUNT));
        GpuCounters const after = device->GetCounters();
        return std::make_pair(after.uploads - before.uploads, after.downloads - before.downloads);
    };
    EXPECT_EQ(uploads(Upload, Here), std::make_pair(int64{1}, int64{0}));
    EXPECT_EQ(uploads(Here, Upload), std::make_pair(int64{0}, int64{1}));
    EXPECT_EQ(uploads(Upload, Upload), std::make_pair(int64{0}, int64{0}));
}

TEST_F(VideoMixerOnGpu, PictureKeepsItsPixelAspectThroughItsUploadAndIsRefusedForIt) {
    for (Place const place : {&Here, &Upload}) {
        auto const stream = Make(Clip(1, 40, 30, 1, false, Upload));
        auto const logo = Noise(12, 12, 90);
        InnerFrame(*logo).sample_aspect_ratio = {4, 3};
        auto const told = DataVideoFF::Wrap(av_frame_clone(&InnerFrame(*logo)), 0, FRAME);
        MixerIn(stream).AddWatermark(place(told), 2, 2, 0, Always(255));
        EXPECT_EQ(TestSupport::MessageOf<std::invalid_argument>([&] { stream->Read(); }),
                  "Aspect ratio of destination stream and blended picture does not match. Watermark must be "
                  "prepared!");
    }
}

TEST_F(VideoMixerOnGpu, FrameThatOthersHoldStaysAsItWas) {
    auto const frame = Upload(Noise(40, 30, 1));
    frame->SetTime(0);
    frame->SetDuration(FRAME);
    auto const stream = Make(ScriptedVideo::Create({frame}));
    MixerIn(stream).AddWatermark(Noise(12, 12, 90), 2, 2, 0, Always(255));
    EXPECT_NE(BytesOf(*Download(stream->Read())), BytesOf(*Noise(40, 30, 1)));
    EXPECT_EQ(BytesOf(*Download(frame)), BytesOf(*Noise(40, 30, 1)));
}

}  // namespace
}  // namespace Tarsel::Host
