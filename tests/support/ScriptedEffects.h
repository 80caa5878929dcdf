#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "contracts/Core/Exception.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ImplNames.h"
#include "tests/support/IdleEffect.h"
#include "tests/support/ScriptedEngines.h"
#include "tests/support/ScriptedStream.h"

namespace Tarsel::Test {

/// An effect that notes its calls as "NAME: CALL" and does what the test says.
template <class Base>
class ScriptedEffect : public IdleEffect<Base> {
  public:
    using Item = iptr<typename IdleEffect<Base>::Item>;

    ScriptedEffect(std::string const& name, std::shared_ptr<CallLog> log)
        : property(name), statistic(name + "::GetStatistic"), name(name), log(std::move(log)) {}

    /// In place of handing everything through.
    std::function<Item(Item)> onProcess;
    std::function<void()> onInitialize, onReset;
    std::function<void(iptr<Conf::IFormatCodec>&)> onAdapt;
    int frameType = Proc::IDataVideo::FRAME_ALLOC_ANY;
    /// What the filter says it is; the class identifier at first.
    Core::Property property;
    Core::Property statistic;

    std::string const& GetName() const { return name; }

    void Initialize(Proc::Settings const& settings) override {
        Note("Initialize settings " + settings.GetClassId());
        if (onInitialize) onInitialize();
    }
    void Initialize(Core::Property const& value) override {
        Note("Initialize property " + value.Name());
        if (onInitialize) onInitialize();
        property = value;
    }
    Core::Property GetSettings() override { return property; }
    Core::Property GetStatistic() override { return statistic; }
    void ResetEffectState() override {
        Note("Reset");
        if (onReset) onReset();
    }
    int GetProcessingFrameType() override { return frameType; }
    void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) override {
        Note("Adapt");
        if (onAdapt) onAdapt(format);
    }
    void Process(Item& item) override {
        Note(item ? "Process " + std::to_string(item->GetTime()) : std::string("Process null"));
        if (onProcess) item = onProcess(std::move(item));
    }

  private:
    void Note(std::string const& call) { log->Add(name + ": " + call); }

    std::string const name;
    std::shared_ptr<CallLog> const log;
};

/// A factory of scripted effects. A class that has been entered is made under its implementation names, as
/// "CLASS/IMPLEMENTATION"; any other is refused as a host does.
template <class Base>
class EffectsOf {
  public:
    using Effect = ScriptedEffect<Base>;

    EffectsOf() {
        factory->onCreate = [this](std::string const& classId, std::string const& implName) {
            return Create(classId, implName);
        };
        factory->onImplementations = [this](std::string const& classId) { return known[classId]; };
    }

    /// Enters a class. `onMade` sets up each effect made of it.
    void Know(std::string const& classId, std::vector<std::string> implNames = {Proc::ImplNames::TARSEL},
              std::function<void(Effect&)> onMade = nullptr) {
        known[classId] = std::move(implNames);
        setUps[classId] = std::move(onMade);
    }

    iptr<ScriptedEffectFactory> const factory = MakeShared<ScriptedEffectFactory>();
    std::shared_ptr<CallLog> const log = std::make_shared<CallLog>();
    /// All that were made, in order.
    std::vector<iptr<Effect>> made;

  private:
    iptr<Proc::IEffect> Create(std::string const& classId, std::string const& implName) {
        auto const& names = known[classId];
        bool const found = implName == Proc::ImplNames::DEFAULT
                               ? !names.empty()
                               : std::find(names.begin(), names.end(), implName) != names.end();
        if (!found) TARSEL_THROW(Proc::EffectException, "There is no any implementation for " + classId);
        iptr<Effect> const effect(new Effect(classId + "/" + implName, log));
        effect->property = Core::Property(classId);
        if (setUps[classId]) setUps[classId](*effect);
        made.push_back(effect);
        return effect;
    }

    std::map<std::string, std::vector<std::string>> known;
    std::map<std::string, std::function<void(Effect&)>> setUps;
};

/// Reads the next item, and tells whether it is the very object that the source gave as its `index`th.
template <class Stream, class Source>
bool GivesTheSourcesOwn(Stream& stream, Source const& source, std::size_t index) {
    auto const item = stream.Read();
    return item && index < source.delivered.size() && item.get() == source.delivered[index];
}

/// Settings of no fields under a name that the test chooses.
class NamedSettings final : public Proc::Settings {
  public:
    explicit NamedSettings(std::string name) : name(std::move(name)) {}
    std::string const& GetClassId() const override { return name; }

  private:
    std::string name;
};

}  // namespace Tarsel::Test
