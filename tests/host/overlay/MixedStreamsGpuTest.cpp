// Main streams in GPU memory, on which a graph draws.
#include "host/overlay/MixedStreams.h"

#include "host/graph/GraphReader.h"
#include "host/overlay/VideoMixerNode.h"
#include "tests/host/gpu/GpuSupport.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

constexpr int64 FRAME = 40000;
constexpr Conf::FrameInfo TOLD{32, 24, 32, 30};

/// A stream of a file that tells `TOLD`, whatever its pictures say.
iptr<ScriptedVideo> StreamOf(std::vector<iptr<IDataVideo>> const& pictures) {
    auto stream = ScriptedVideo::Create(pictures);
    stream->format->InitByPixelAspect(TOLD.width, TOLD.height, TOLD.pixelAspectNum, TOLD.pixelAspectDen);
    stream->format->SetPixelFormat(PIX_FMT_YUV420P);
    stream->duration = FRAME * static_cast<int64>(pictures.size());
    return stream;
}

iptr<IDataVideo> At(iptr<IDataVideo> const& picture, int64 time) {
    picture->SetTime(time);
    picture->SetDuration(FRAME);
    return picture;
}

DataVideoOGL const& FrameIn(IDataVideo const& picture) {
    return dynamic_cast<DataVideoOGL const&>(picture);
}

class CanvasInGpuMemory : public GpuTest {};

TEST_F(CanvasInGpuMemory, PicturesGetTheAspectOfTheirStreamAndKeepTheirTexture) {
    auto const own = At(Upload(Noise(32, 24, 1)), FRAME);
    GpuCounters const before = device->GetCounters();
    auto const stream = CanvasVideo::CreateOnGpu(StreamOf({own}));
    auto const picture = stream->Read();
    ASSERT_TRUE(IsOGLFrame(picture));
    EXPECT_EQ(picture->GetFrameInfo(), TOLD);
    EXPECT_EQ(picture->GetTime(), FRAME);
    EXPECT_EQ(picture->GetDuration(), FRAME);
    EXPECT_EQ(picture->GetCrop(), own->GetCrop());
    EXPECT_EQ(&FrameIn(*picture).GetTexture(), &FrameIn(*own).GetTexture());
    EXPECT_EQ(own->GetFrameInfo(), (Conf::FrameInfo{32, 24, 1, 1})) << "the picture of others stays as it is";
    EXPECT_EQ(device->GetCounters().copies, before.copies);
    EXPECT_EQ(device->GetCounters().downloads, before.downloads);
    EXPECT_EQ(stream->Read(), nullptr);
}

TEST_F(CanvasInGpuMemory, StrayPictureOfTheGpuGetsItToo) {
    auto const source = StreamOf({At(Upload(Noise(32, 24, 1)), 0)});
    source->format->SetPixelFormat(PIX_FMT_RGBA);
    EXPECT_EQ(CanvasVideo::Create(source)->Read()->GetFrameInfo(), TOLD);
}

/// What the mixer of a graph gives of a main stream in GPU memory and one that is drawn on it.
std::vector<iptr<IDataVideo>> Mixed(iptr<IStreamVideo> const& main, iptr<IStreamVideo> const& drawn) {
    auto const document = ParseGraph(
        R"({"sources": [{"id": 1, "file": "a", "stream": "video"}, {"id": 2, "file": "b", "stream": "video"}],
            "filters": [{"id": 9, "class": "SettingsFilterVideoMixer", "inputs": [1, 2],
                         "settings": {"Overlays": [{"X": 4, "Y": 2}]}}], "output": "null"})");
    static auto const factory = MakeFilterFactory();
    return ReadAll(*MakeVideoMixer(document.filters.at(0), *factory, {{main}, {drawn}}, true));
}

class VideoMixerNode : public GpuTest {};

TEST_F(VideoMixerNode, MainStreamInGpuMemoryHasTheAspectOfItsFile) {
    auto const ground = Noise(32, 24, 1, true);
    auto const logo = Noise(8, 6, 2, true);
    auto const drawn = ScriptedVideo::Create({At(logo->Clone(true), 0), At(logo->Clone(true), FRAME)});
    drawn->format->InitByPixelAspect(8, 6, TOLD.pixelAspectNum, TOLD.pixelAspectDen);
    drawn->format->SetPixelFormat(PIX_FMT_RGBA);
    auto const pictures =
        Mixed(StreamOf({At(Upload(ground->Clone(true)), 0), At(Upload(ground->Clone(true)), FRAME)}), drawn);
    auto wanted = BytesOf(*ground);
    auto const pixels = BytesOf(*logo);
    for (std::size_t row = 0; row < 6; ++row)
        std::copy_n(&pixels[row * 8 * 4], 8 * 4, &wanted[((row + 2) * 32 + 4) * 4]);
    ASSERT_EQ(pictures.size(), 2U);
    for (auto const& picture : pictures) {
        ASSERT_TRUE(IsOGLFrame(picture));
        EXPECT_EQ(picture->GetFrameInfo(), TOLD);
        EXPECT_EQ(BytesOf(*Download(picture)), wanted);
    }
}

}  // namespace
}  // namespace Tarsel::Host
