#include "host/gpu/GpuDevice.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/SettingsEffectFade.h"
#include "tests/host/gpu/TwoSides.h"
#include "tests/support/ExpectThrow.h"

namespace Tarsel::Host {
namespace {

using namespace Proc;
using namespace Test;
using TestSupport::MessageOf;

/// Sets a variable of the environment until the end of the scope.
class Setting {
  public:
    Setting(char const* name, char const* value) : name(name) { ::setenv(name, value, 1); }
    ~Setting() { ::unsetenv(name); }

  private:
    char const* name;
};

/// Begins without a device.
class GpuDeviceAlone : public testing::Test {
  protected:
    void SetUp() override { KeptDevice() = nullptr; }
};

TEST_F(GpuDeviceAlone, IsOneForTheProcess) {
    auto const first = GpuDevice::Get();
    EXPECT_EQ(GpuDevice::Get(), first);
    EXPECT_FALSE(first->GetRenderer().empty());
    EXPECT_FALSE(first->GetPlatform().empty());
    EXPECT_GE(first->GetLargestSize(), 2048);
}

TEST_F(GpuDeviceAlone, LivesAsLongAsAFrameAndIsMadeAnewBehindIt) {
    std::weak_ptr<GpuDevice> watched;
    {
        auto const picture = Noise(8, 8, 1);
        auto frame = Upload(picture);
        watched = static_cast<DataVideoOGL&>(*frame).GetDevice().shared_from_this();
        EXPECT_FALSE(watched.expired());
        EXPECT_EQ(GpuDevice::Get(), watched.lock());
    }
    EXPECT_TRUE(watched.expired());
    auto const picture = Noise(8, 8, 2);
    EXPECT_EQ(BytesOf(*Download(Upload(picture))), BytesOf(*picture));
}

TEST_F(GpuDeviceAlone, IsKeptByAnEffectThatHasSeenAFrame) {
    auto const effect = MakeShared<UploadEffect>();
    auto picture = Noise(8, 8, 1);
    effect->Process(picture);
    std::weak_ptr<GpuDevice> const watched = static_cast<DataVideoOGL&>(*picture).GetDevice().shared_from_this();
    picture = nullptr;
    EXPECT_FALSE(watched.expired());
}

TEST_F(GpuDeviceAlone, EffectsAreMadeAndSetWithoutADevice) {
    Setting const none("TARSEL_GPU", "none");
    for (char const* const id :
         {"SettingsFrameUploader", "SettingsFrameDownloader", "SettingsResizer", "SettingsEffectFade",
          "SettingsEffectColor", "SettingsEffectDissolve", "SettingsEffectComposite", "SettingsEffectImageBlender"}) {
        auto const effect = MakeEffectFactory()->CreateEffect(id, ImplNames::OGL);
        ASSERT_TRUE(effect) << id;
        effect->Initialize(effect->GetSettings());
        EXPECT_EQ(effect->GetSettings().Name(), id);
    }
}

TEST_F(GpuDeviceAlone, ADeviceThatIsSwitchedOffIsAFailureThatSaysSo) {
    Setting const none("TARSEL_GPU", "none");
    auto const picture = Noise(8, 8, 1);
    EXPECT_EQ(MessageOf<EffectException>([&] { Upload(picture); }), "The GPU is switched off (TARSEL_GPU is none)");
    EXPECT_EQ(MessageOf<EffectException>([&] { GpuDevice::Get(); }), "The GPU is switched off (TARSEL_GPU is none)");
}

TEST_F(GpuDeviceAlone, AFailureIsNoStateThatStays) {
    {
        Setting const none("TARSEL_GPU", "none");
        EXPECT_THROW(GpuDevice::Get(), EffectException);
    }
    EXPECT_NE(GpuDevice::Get(), nullptr);
}

TEST_F(GpuDeviceAlone, AnUnknownChoiceIsRefused) {
    Setting const wrong("TARSEL_GPU", "fast");
    EXPECT_EQ(MessageOf<EffectException>([&] { GpuDevice::Get(); }),
              "TARSEL_GPU is \"fast\"; it can be auto, software or none");
}

TEST_F(GpuDeviceAlone, SoftwareCanBeAskedFor) {
    Setting const software("TARSEL_GPU", "software");
    auto const device = GpuDevice::Get();
    EXPECT_THAT(device->GetPlatform(), testing::StartsWith("software device"));
    auto const picture = Noise(8, 8, 1);
    EXPECT_EQ(BytesOf(*Download(Upload(picture))), BytesOf(*picture));
}

TEST_F(GpuDeviceAlone, AutoAndNothingAreTheSame) {
    auto const platformFor = [](char const* value) {
        Setting const choice("TARSEL_GPU", value);
        return GpuDevice::Get()->GetPlatform();
    };
    EXPECT_EQ(platformFor("auto"), platformFor(""));
}

TEST_F(GpuDeviceAlone, AClosedDeviceRefusesWorkAndItsFramesGoQuietly) {
    auto device = GpuDevice::Get();
    auto frame = Upload(Noise(8, 8, 1));
    auto const clone = frame->Clone(false);
    device->Close();
    device->Close();
    EXPECT_EQ(MessageOf<EffectException>([&] { Download(frame); }), "The GPU device has been closed");
    EXPECT_EQ(MessageOf<EffectException>([&] { frame->Clone(true); }), "The GPU device has been closed");
    EXPECT_EQ(MessageOf<EffectException>([&] { Upload(Noise(8, 8, 1)); }), "The GPU device has been closed");
    frame = nullptr;
    EXPECT_EQ(device->GetCounters().texturesHeld, 1);
}

/// Ends the process while a static variable that is older than the device holds a frame of it.
[[noreturn]] void ExitWithAFrame() {
    static iptr<IDataVideo> kept;
    kept = Upload(Noise(8, 8, 1));
    std::exit(static_cast<DataVideoOGL&>(*kept).GetDevice().GetCounters().texturesHeld == 1 ? 7 : 8);
}

TEST_F(GpuDeviceAlone, AFrameInAStaticVariableOutlivesTheDevice) {
    testing::GTEST_FLAG(death_test_style) = "threadsafe";
    EXPECT_EXIT(ExitWithAFrame(), testing::ExitedWithCode(7), "^$");
}

class GpuPool : public GpuTest {};

TEST_F(GpuPool, AChainMakesNoTextureForItsSecondFrame) {
    SettingsEffectFade fade;
    auto const effect = MakeSide(fade, ImplNames::OGL);
    TimeToProgress map;
    map.end = 1000000;
    effect->SetTimeToProgress(map);
    auto const run = [&](int64 time) {
        auto const picture = Noise(37, 21, 1);
        picture->SetTime(time);
        Download(AsPicture(effect->ProcessData({Upload(picture)})));
    };
    run(1);
    GpuCounters const before = device->GetCounters();
    for (int64 i = 2; i < 10; ++i) run(i);
    GpuCounters const after = device->GetCounters();
    EXPECT_EQ(after.texturesMade, before.texturesMade);
    EXPECT_EQ(after.texturesReused - before.texturesReused, 16);
    EXPECT_EQ(after.texturesHeld, before.texturesHeld);
}

TEST_F(GpuPool, TexturesOfAnotherSizeAreMade) {
    Upload(Noise(41, 21, 1));
    GpuCounters const before = device->GetCounters();
    Upload(Noise(42, 21, 1));
    Upload(Noise(41, 22, 1));
    EXPECT_EQ(device->GetCounters().texturesMade - before.texturesMade, 2);
    Upload(Noise(41, 21, 1));
    EXPECT_EQ(device->GetCounters().texturesMade - before.texturesMade, 2);
}

TEST_F(GpuPool, ATextureThatIsHeldIsntGivenOut) {
    auto const first = Noise(43, 9, 1);
    auto const second = Noise(43, 9, 2);
    auto const frame = Upload(first);
    auto const other = Upload(second);
    EXPECT_EQ(BytesOf(*Download(frame)), BytesOf(*first));
    EXPECT_EQ(BytesOf(*Download(other)), BytesOf(*second));
}

TEST_F(GpuPool, IsBounded) {
    // Each texture is 16 MiB, and a dozen of them all that the pool keeps.
    std::vector<GpuTexturePtr> textures;
    auto const take = [&] {
        for (int i = 0; i < 20; ++i) textures.push_back(device->MakeTexture(GpuFormat::RGBA8, 2048, 2048));
        textures.clear();
    };
    take();
    GpuCounters const before = device->GetCounters();
    take();
    GpuCounters const after = device->GetCounters();
    EXPECT_EQ(after.texturesReused - before.texturesReused, 12);
    EXPECT_EQ(after.texturesMade - before.texturesMade, 8);
}

TEST_F(GpuPool, AShaderThatIsNoneIsAFailureWithTheDriversWords) {
    static constexpr char WRONG[] = "#version 300 es\nvoid main() { nothing(); }\n";
    auto const target = device->MakeTexture(GpuFormat::RGBA8, 4, 4);
    std::string const text = MessageOf<EffectException>([&] {
        device->Draw({.shader = WRONG, .inputs = {}, .target = target.get(), .area = {0, 0, 4, 4}});
    });
    EXPECT_THAT(text, testing::StartsWith("A shader can't be compiled: "));
    auto const picture = Noise(8, 8, 1);
    EXPECT_EQ(BytesOf(*Download(Upload(picture))), BytesOf(*picture));
}

TEST_F(GpuPool, AFormatThatCantBeDrawnToIsAFailure) {
    static constexpr char PLAIN[] =
        "#version 300 es\nprecision highp float;\nout vec4 result;\nvoid main() { result = vec4(1.0); }\n";
    auto const read = device->MakeTexture(GpuFormat::RGBA16, 4, 4);
    std::vector<u8> bytes(64);
    EXPECT_THROW(device->Download(*read, bytes.data(), 16), EffectException);
    // The failure is told once and forgotten.
    auto const target = device->MakeTexture(GpuFormat::RGBA8, 4, 4);
    device->Draw({.shader = PLAIN, .inputs = {}, .target = target.get(), .area = {0, 0, 4, 4}});
    device->Download(*target, bytes.data(), 16);
    EXPECT_THAT(bytes, testing::Each(255));
}

}  // namespace
}  // namespace Tarsel::Host
