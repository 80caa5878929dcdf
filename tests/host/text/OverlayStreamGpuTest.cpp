// Overlays on pictures in GPU memory: the bytes that processor memory gives.
#include <gtest/gtest.h>

#include "contracts/Proc/IOverlayStream.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;

class StandingOverlay final : public IOverlayProvider, public RefCounted {
  public:
    explicit StandingOverlay(iptr<IDataVideo> picture) : picture(std::move(picture)) {}
    void Reset() override {}
    Core::Property GetStatistic() override { return {}; }
    iptr<IDataVideo> GetOverlay(int64, Conf::FrameInfo const&, CropInfo& crop) override {
        crop = {5, 26, 3, 16};
        return picture;
    }
    void AddData(iptr<IDataSubtitle> const&) override {}
    void Clear() override {}

    iptr<IDataVideo> picture;
};

class OverlayOnGpu : public GpuTest {
  protected:
    static iptr<IOverlayStream> Make(std::vector<iptr<IDataVideo>> const& pictures, iptr<IDataVideo> const& overlay) {
        auto stream = MakeFilterFactory()->CreateOverlayStream(ScriptedVideo::Create(pictures), ImplNames::DEFAULT);
        stream->SetOverlayProvider(MakeShared<StandingOverlay>(overlay));
        SettingsSubtitleDrawer settings;
        settings.SetAlpha(200);
        stream->SetOverlaySettings(settings);
        return stream;
    }
};

TEST_F(OverlayOnGpu, GivesTheBytesOfTheProcessor) {
    std::vector<iptr<IDataVideo>> const pictures{Noise(31, 17, 1), Noise(31, 17, 2, true), Edges(31, 17)};
    auto const overlay = Noise(21, 13, 5);
    std::vector<iptr<IDataVideo>> uploaded;
    for (auto const& picture : pictures) uploaded.push_back(Upload(picture));
    auto const here = Make(pictures, overlay), there = Make(uploaded, overlay);
    for (std::size_t i = 0; i < pictures.size(); ++i) {
        auto const found = there->Read();
        EXPECT_TRUE(IsOGLFrame(found));
        EXPECT_EQ(BytesOf(*Download(found)), BytesOf(*here->Read()));
        EXPECT_EQ(BytesOf(*Download(uploaded[i])), BytesOf(*pictures[i])) << "the source's own";
    }
}

TEST_F(OverlayOnGpu, AnOverlayIsUploadedOnce) {
    std::vector<iptr<IDataVideo>> uploaded;
    for (unsigned i = 0; i < 5; ++i) uploaded.push_back(Upload(Noise(31, 17, i)));
    auto const stream = Make(uploaded, Noise(21, 13, 5));
    int64 const before = device->GetCounters().uploads;
    EXPECT_EQ(ReadAll(*stream).size(), 5U);
    EXPECT_EQ(device->GetCounters().uploads, before + 1);
}

TEST_F(OverlayOnGpu, PicturesOfBothPlacesMayComeInOneStream) {
    auto const picture = Noise(31, 17, 1), overlay = Noise(21, 13, 5);
    auto const stream = Make({picture, Upload(picture), picture}, overlay);
    auto const first = BytesOf(*stream->Read());
    EXPECT_EQ(BytesOf(*Download(stream->Read())), first);
    EXPECT_EQ(BytesOf(*stream->Read()), first);
}

}  // namespace
}  // namespace Tarsel::Host
