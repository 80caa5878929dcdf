#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "Proc/Filters/Filters/FilterVideoMixer.h"
#include "contracts/Core/Exception.h"
#include "contracts/Proc/IEffectImageBlender.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/ImplNames.h"
#include "contracts/Proc/SettingsFrameDownloader.h"
#include "tests/support/Builders.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/Matchers.h"
#include "tests/support/PlacedPicture.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A blender that draws nothing and notes everything: "Tarsel: 7 at 100,2 with 255 on 40" is the picture of time 7.
class ScriptedBlender final : public Proc::IEffectImageBlender, public RefCounted {
  public:
    ScriptedBlender(std::string name, std::shared_ptr<CallLog> log) : name(std::move(name)), log(std::move(log)) {}

    std::function<void()> onProcess;
    /// In place of handing the picture through.
    std::function<iptr<Proc::IDataVideo>(iptr<Proc::IDataVideo> const&)> onPrepare;
    int prepared = 0;
    int initialized = 0;

    void Initialize(Proc::Settings const& value) override {
        ++initialized;
        settings = dynamic_cast<Proc::SettingsEffectImageBlender const&>(value);
    }
    void Initialize(Core::Property const&) override {}
    Core::Property GetSettings() override { return {}; }
    Proc::Settings const& GetEffectSettings() override { return settings; }
    Core::Property GetStatistic() override { return {}; }
    void ResetEffectState() override {}
    Proc::TimeToProgress& GetTimeToProgress() override { return map; }
    void SetTimeToProgress(Proc::TimeToProgress const& value) override { map = value; }
    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>&) override {}
    void Process(iptr<Proc::IDataVideo>& dest, iptr<Proc::IDataVideo> const& picture) override {
        EXPECT_EQ(settings.GetMode(), Proc::BlendAlphaMode::Straight);
        if (onProcess) onProcess();
        log->Add(name + ": " + std::to_string(picture->GetTime()) + " at " + std::to_string(settings.GetX()) + "," +
                 std::to_string(settings.GetY()) + " with " + std::to_string(settings.GetAlpha()) + " on " +
                 std::to_string(dest->GetTime()));
    }
    iptr<Proc::IDataVideo> Prepare(Proc::IDataVideo const&, iptr<Proc::IDataVideo> const& picture) override {
        ++prepared;
        return onPrepare ? onPrepare(picture) : picture;
    }

  private:
    std::string const name;
    std::shared_ptr<CallLog> const log;
    Proc::SettingsEffectImageBlender settings;
    Proc::TimeToProgress map;
};

/// Brings pictures to processor memory, as a host does, and counts them.
class ScriptedDownloader final : public IdleEffect<Proc::IOneInputEffectVideo> {
  public:
    void Process(iptr<Proc::IDataVideo>& item) override {
        ++count;
        item = PlacedPicture::Create(Proc::IDataVideo::FRAME_ALLOC_CPU, item->GetTime());
    }
    inline static int count = 0;
};

/// A factory of scripted blenders, which it keeps.
class BlenderFactory final : public Proc::IEffectFactory, public RefCounted {
  public:
    std::shared_ptr<CallLog> const log = std::make_shared<CallLog>();
    mutable std::vector<iptr<ScriptedBlender>> made;
    mutable std::vector<std::string> asked;
    /// Sets up each blender that is made from then on.
    std::function<void(ScriptedBlender&)> onMade;

    iptr<Proc::IEffect> CreateEffect(std::string const& classId, std::string const&) const override {
        if (classId == Proc::SettingsFrameDownloader::CLASS_ID) return MakeShared<ScriptedDownloader>();
        TARSEL_THROW(Proc::EffectException, "There is no any implementation for " + classId);
    }
    iptr<Proc::IEffectImageBlender> CreateBlender(std::string const& classId,
                                                  std::string const& implName) const override {
        asked.push_back(classId + "/" + implName);
        made.push_back(MakeShared<ScriptedBlender>(implName, log));
        if (onMade) onMade(*made.back());
        return made.back();
    }
    std::vector<std::string> GetImplementations(std::string const&) const override { return {}; }
};

inline Proc::IFilterVideoMixer::AlphaFunction Always(int alpha) {
    return [alpha](int64) { return alpha; };
}

/// The options that `CombineStream` can't do without.
inline Core::Property Options(int64 startTime = 0, int64 x = 0, int64 y = 0,
                              std::string const& type = Proc::IFilterVideoMixer::TRANSPARENCY_TYPE_OVERLAY) {
    using Keys = Proc::IFilterVideoMixer;
    return Core::Property("Options")
        .SetChild(Keys::START_TIME, startTime)
        .SetChild(Proc::IBlend::BLENDING_POSITION_X, x)
        .SetChild(Proc::IBlend::BLENDING_POSITION_Y, y)
        .SetChild(Keys::TRANSPARENCY_TYPE, type);
}

/// Pictures of these times, each for `duration`.
inline std::vector<iptr<Proc::IDataVideo>> VideosAt(std::vector<int64> const& times, int64 duration) {
    std::vector<iptr<Proc::IDataVideo>> frames;
    for (int64 const time : times) frames.push_back(MakeVideo(time, duration));
    return frames;
}

/// A mixer over 5 frames of 40 ms, and a blender that tells what it was asked for.
class VideoMixerTest : public ::testing::Test {
  protected:
    VideoMixerTest() { Over(ScriptedVideo::Create(MakeVideos(5, 40000))); }

    void Over(iptr<ScriptedVideo> source) {
        main = std::move(source);
        mixer = MakeShared<Proc::FilterVideoMixer>(main, factory);
    }
    /// What one read draws.
    std::vector<std::string> Drawn() {
        EXPECT_NE(mixer->Read(), nullptr);
        return factory->log->Take();
    }

    iptr<BlenderFactory> const factory = MakeShared<BlenderFactory>();
    iptr<ScriptedVideo> main;
    iptr<Proc::FilterVideoMixer> mixer;
};

}  // namespace Tarsel::Test
