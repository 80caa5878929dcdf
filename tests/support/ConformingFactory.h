#pragma once

#include <exception>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IFactories.h"
#include "contracts/Proc/IFilterAudioFormatter.h"
#include "contracts/Proc/IFilterResample.h"
#include "tests/support/OtherSettings.h"
#include "tests/support/ScriptedStream.h"
#include "tests/support/SoundBlocks.h"

namespace Tarsel::Test {

/// "1/48000/3": format, rate and layout.
inline std::string TextOf(Conf::SampleInfo const& info) {
    return std::to_string(info.GetSampleFormat()) + '/' + std::to_string(info.GetSampleRate()) + '/' +
           std::to_string(info.GetChannelLayout());
}

/// What the filters of one factory share.
struct ConformingPlan {
    /// All that happens to the filters, in order: "resampler 0 SetSampleInfo(1/48000/3)", "formatter 0 Read"...
    CallLog log;
    /// Converted blocks lose this many samples.
    int lostSamples = 0;
    /// Resamplers that are made from now on give blocks as they come.
    bool passOn = false;
    /// Called when a filter is made, with its name; may throw.
    std::function<void(std::string const&)> onMake;
    /// Called when a resampler gets its format, with its name; may throw.
    std::function<void(std::string const&)> onFormat;
    int resamplers = 0;
    bool formattersEnd = false;   // `IsEndOfStream` of all of them
    bool formattersReady = true;  // `FinishSeek` of all of them
};

namespace Details {

/// Passes everything on to its source.
template <class I>
class Passing : public virtual I, public RefCounted {
  public:
    Passing(iptr<Proc::IStreamAudio> source, ConformingPlan& plan, std::string name)
        : source(std::move(source)), plan(plan), name(std::move(name)) {}

    void Initialize(Core::Property const&) override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    Core::Property GetSettings() override { TARSEL_THROW(Proc::FilterException, "Method not implemented"); }
    int64 GetDuration() const override { return source->GetDuration(); }
    int64 GetPosition() override { return source->GetPosition(); }
    iptr<Proc::IDataAudio> Read() override { return source->Read(); }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override { source->RequestSeek(position, context); }
    void DoSeek() override { source->DoSeek(); }
    bool FinishSeek() override { return source->FinishSeek(); }
    iptr<Conf::IFormatCodecAudio const> GetFormatCodec() const override { return source->GetFormatCodec(); }
    Core::Property GetStatistic() override { return source->GetStatistic().Add(Core::MakeStatistics(name, 0, 0)); }
    void SetEndOfStream() override { source->SetEndOfStream(); }
    bool IsEndOfStream() override { return source->IsEndOfStream(); }
    void ReleaseInternalData() override { source->ReleaseInternalData(); }
    void Accept(Proc::IStreamVisitor& visitor) override {
        Proc::Visitors::Visit(visitor, name, Proc::Visitors::FRAME_TYPE_FILTER, nullptr);
        source->Accept(visitor);
    }
    std::string const& GetName() const { return name; }

  protected:
    void Log(std::string const& call) const { plan.log.Add(name + ' ' + call); }

    iptr<Proc::IStreamAudio> const source;
    ConformingPlan& plan;
    std::string const name;
};

class PlainResampler final : public Passing<Proc::IFilterResample> {
  public:
    using Passing::Passing;

    void SetSampleInfo(Conf::SampleInfo const& info) override {
        Log("SetSampleInfo(" + TextOf(info) + ')');
        if (plan.onFormat) plan.onFormat(name);
        target = info;
    }
    void SetFormatCodec(iptr<Conf::IFormatCodecAudio const> const& format) override {
        SetSampleInfo(format->GetSampleInfo());
    }
    iptr<Proc::IDataAudio> Read() override {
        iptr<Proc::IDataAudio> block = source->Read();
        if (!block || target == Conf::SampleInfo() || block->GetSampleInfo() == target || passesOn) return block;
        block = ConvertPlainly(*block, target);
        block->CutSamplesEnd(std::min(plan.lostSamples, block->GetSampleCount()));
        if (block->GetSampleCount() == 0) return Read();
        return block;
    }

  private:
    bool const passesOn = plan.passOn;
    Conf::SampleInfo target;
};

class PlainFormatter final : public Passing<Proc::IFilterAudioFormatter> {
  public:
    using Passing::Passing;

    void SetPacketDuration(int64) override { Log("SetPacketDuration"); }
    iptr<Proc::IDataAudio> Read() override {
        Log("Read");
        return source->Read();
    }
    void RequestSeek(int64 position, iptr<IRefCountable> context) override {
        Log("RequestSeek(" + std::to_string(position) + (context ? ", context)" : ")"));
        source->RequestSeek(position, context);
    }
    void DoSeek() override {
        Log("DoSeek");
        source->DoSeek();
    }
    bool FinishSeek() override {
        Log("FinishSeek");
        return source->FinishSeek() && plan.formattersReady;
    }
    void SetEndOfStream() override {
        Log("SetEndOfStream");
        source->SetEndOfStream();
    }
    bool IsEndOfStream() override { return source->IsEndOfStream() || plan.formattersEnd; }
    void ReleaseInternalData() override {
        Log("ReleaseInternalData");
        source->ReleaseInternalData();
    }
};

/// Carries the plan to the functions that make the filters, which have no other way in.
template <class I>
class PlanCarrier : public I, public RefCounted {
  public:
    explicit PlanCarrier(ConformingPlan& plan) : plan(plan) {}
    ConformingPlan& plan;
};

class PlanEffects final : public PlanCarrier<Proc::IEffectFactory> {
  public:
    using PlanCarrier::PlanCarrier;
    iptr<Proc::IEffect> CreateEffect(std::string const&, std::string const&) const override;
    iptr<Proc::IEffectImageBlender> CreateBlender(std::string const&, std::string const&) const override;
    std::vector<std::string> GetImplementations(std::string const&) const override { return {}; }
};

class PlanAlgorithms final : public PlanCarrier<Proc::IAlgorithmFactory> {
  public:
    using PlanCarrier::PlanCarrier;
    iptr<Proc::IAudioFormatter> CreateAudioFormatter(std::string const&, std::string const&) const override;
};

}  // namespace Details

/// Makes resamplers that convert as simply as can be, and packetisers that leave the blocks as they are: what a mixer
/// reads are the blocks of its sources. The plan outlives all that was made.
class ConformingFactory final : public Proc::IFilterFactory, public RefCounted {
  public:
    explicit ConformingFactory(ConformingPlan& plan);

    iptr<Proc::IStreamAudioEx> CreateAudio(std::string const&, std::string const&,
                                           Proc::Settings const&) const override;
    iptr<Proc::IStreamAudioEx> CreateAudio(std::string const&, std::string const&, iptr<Proc::IStreamAudio> const&,
                                           Proc::Settings const&) const override;
    iptr<Proc::IStreamVideoEx> CreateVideo(std::string const&, std::string const&, iptr<Proc::IStreamVideo> const&,
                                           Proc::Settings const&) const override;
    iptr<Proc::IStreamSubtitleEx> CreateSubtitle(std::string const&, std::string const&,
                                                 iptr<Proc::IStreamSubtitle> const&,
                                                 Proc::Settings const&) const override;
    iptr<Proc::IStreamRawEx> CreateRaw(std::string const&, std::string const&, iptr<Proc::IStreamRaw> const&,
                                       Proc::Settings const&) const override;

  protected:
    Proc::FilterFunction FindDedicated(std::string const& filter, std::string const& implName) const override;
    iptr<Proc::IEffectFactory const> GetEffectFactory() const override { return effects; }
    iptr<Proc::IAlgorithmFactory const> GetAlgorithmFactory() const override { return algorithms; }

  private:
    iptr<Proc::IEffectFactory const> const effects;
    iptr<Proc::IAlgorithmFactory const> const algorithms;
};

}  // namespace Tarsel::Test
