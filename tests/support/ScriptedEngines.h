#pragma once

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IAudioFormatter.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IResample.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// A converter of sound that notes its calls and does what the test says.
class ScriptedResample : public Proc::IResample, public RefCounted {
  public:
    using Item = iptr<Proc::IDataAudio>;

    explicit ScriptedResample(std::shared_ptr<CallLog> log) : log(std::move(log)) {}

    /// In place of handing everything through.
    std::function<Item(Item)> onProcess;
    std::function<void()> onInitialize;
    std::string implementation;
    Core::Property settings{CLASS_ID};

    void Initialize(Proc::Settings const& value) override {
        log->Add("Initialize settings " + value.GetClassId());
        if (onInitialize) onInitialize();
        settings = Proc::Settings2Property(dynamic_cast<Proc::SettingsResample const&>(value));
    }
    void Initialize(Core::Property const& property) override {
        log->Add("Initialize property " + property.Name());
        if (onInitialize) onInitialize();
        settings = property;
    }
    Core::Property GetSettings() override { return settings; }
    Proc::Settings const& GetEffectSettings() override { return other; }
    Core::Property GetStatistic() override { return {}; }
    void ResetEffectState() override { log->Add("ResetEffectState"); }
    Proc::TimeToProgress& GetTimeToProgress() override { return map; }
    void SetTimeToProgress(Proc::TimeToProgress const& value) override { map = value; }
    int GetProcessingFrameType() override { return Proc::IDataVideo::FRAME_ALLOC_ANY; }
    void SetSampleInfo(Conf::SampleInfo const& info) override {
        log->Add("SetSampleInfo(" + std::to_string(info.GetSampleFormat()) + ", " +
                 std::to_string(info.GetSampleRate()) + ", " + std::to_string(info.GetChannelLayout()) + ")");
    }
    void Process(Item& block) override {
        log->Add(block ? "Process(block)" : "Process(null)");
        if (onProcess) block = onProcess(std::move(block));
    }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override {
        log->Add("AdaptFormatCodec");
        dynamic_cast<Conf::IFormatCodecAudio&>(*format).SetSampleRate(12345);
    }

  private:
    std::shared_ptr<CallLog> log;
    OtherSettings other;
    Proc::TimeToProgress map;
};

/// A factory whose effects the test makes.
class ScriptedEffectFactory : public Proc::IEffectFactory, public RefCounted {
  public:
    std::function<iptr<Proc::IEffect>(std::string const& classId, std::string const& implName)> onCreate;
    /// In place of none.
    std::function<std::vector<std::string>(std::string const& classId)> onImplementations;

    iptr<Proc::IEffect> CreateEffect(std::string const& classId, std::string const& implName) const override {
        return onCreate(classId, implName);
    }
    iptr<Proc::IEffectImageBlender> CreateBlender(std::string const& classId, std::string const&) const override {
        TARSEL_THROW(Proc::EffectException, "There is no any implementation for " + classId);
    }
    std::vector<std::string> GetImplementations(std::string const& classId) const override {
        return onImplementations ? onImplementations(classId) : std::vector<std::string>();
    }
};

/// A cutter that notes its calls and gives what the test says.
class ScriptedAudioFormatter : public Proc::IAudioFormatter, public RefCounted {
  public:
    using Item = iptr<Proc::IDataAudio>;

    explicit ScriptedAudioFormatter(std::shared_ptr<CallLog> log) : log(std::move(log)) {}

    /// In place of giving null.
    std::function<Item(int64, bool)> onPop;
    std::vector<Item> pushed;

    void Initialize(Core::Property const& property) override { log->Add("Initialize " + property.Name()); }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override {
        log->Add("AdaptFormatCodec");
        dynamic_cast<Conf::IFormatCodecAudio&>(*format).SetSampleRate(12345);
    }
    void Push(Item const& block) override {
        log->Add("Push");
        pushed.push_back(block);
    }
    Item Pop(int64 duration, bool flush) override {
        log->Add("Pop(" + std::to_string(duration) + (flush ? ", flush)" : ")"));
        return onPop ? onPop(duration, flush) : nullptr;
    }
    void Reset(int64 time) override {
        log->Add("Reset(" + (HasValue(time) ? std::to_string(time) : std::string("no value")) + ")");
    }

  private:
    std::shared_ptr<CallLog> log;
};

/// A factory whose cutters the test makes.
class ScriptedAlgorithmFactory : public Proc::IAlgorithmFactory, public RefCounted {
  public:
    std::function<iptr<Proc::IAudioFormatter>(std::string const& classId, std::string const& implName)> onCreate;

    iptr<Proc::IAudioFormatter> CreateAudioFormatter(std::string const& classId,
                                                     std::string const& implName) const override {
        return onCreate(classId, implName);
    }
};

}  // namespace Tarsel::Test
