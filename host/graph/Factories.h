#pragma once

#include <functional>
#include <string>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IFactories.h"
#include "host/graph/FilterRegistry.h"

namespace Tarsel::Host {

namespace Details {

/// Who makes what, under a class identifier and the name of an implementation.
template <class Maker>
class MakerTable {
  public:
    void Register(std::string const& classId, std::string const& implName, Maker maker);
    /// Null when there is none.
    Maker const* Find(std::string const& classId, std::string const& implName) const;
    std::vector<std::string> GetImplementations(std::string const& classId) const;

  private:
    struct Row {
        std::string classId;
        std::string implName;
        Maker maker;
    };

    std::vector<Row> rows;
};

}  // namespace Details

/// The host's effects: what has been registered. Fill it first, then ask it from any thread.
class TARSEL_HOST_EXPORT EffectFactory final : public Proc::IEffectFactory, public RefCounted {
  public:
    using Maker = std::function<iptr<Proc::IEffect>()>;
    using BlenderMaker = std::function<iptr<Proc::IEffectImageBlender>()>;

    ~EffectFactory() override;
    /// Enters an implementation of a class identifier. A second one of the same name takes the place of the first. A
    /// null maker throws `std::invalid_argument`.
    void Register(std::string const& classId, std::string const& implName, Maker maker);
    /// The same for a blender, which is found as an effect, too.
    void RegisterBlender(std::string const& classId, std::string const& implName, BlenderMaker maker);
    /// `ImplNames::DEFAULT` stands for `ImplNames::TARSEL`, and for the implementation that was registered first where
    /// there is none of that name.
    iptr<Proc::IEffect> CreateEffect(std::string const& classId, std::string const& implName) const override;
    iptr<Proc::IEffectImageBlender> CreateBlender(std::string const& classId,
                                                  std::string const& implName) const override;
    std::vector<std::string> GetImplementations(std::string const& classId) const override;

  private:
    Details::MakerTable<Maker> makers;
    Details::MakerTable<BlenderMaker> blenderMakers;
};

/// A factory with every effect of this host.
TARSEL_HOST_EXPORT iptr<EffectFactory const> MakeEffectFactory();

/// The host's algorithm engines: what has been registered. Fill it first, then ask it from any thread.
class TARSEL_HOST_EXPORT AlgorithmFactory final : public Proc::IAlgorithmFactory, public RefCounted {
  public:
    using AudioFormatterMaker = std::function<iptr<Proc::IAudioFormatter>()>;

    ~AlgorithmFactory() override;
    /// As for effects.
    void RegisterAudioFormatter(std::string const& classId, std::string const& implName, AudioFormatterMaker maker);
    iptr<Proc::IAudioFormatter> CreateAudioFormatter(std::string const& classId,
                                                     std::string const& implName) const override;

  private:
    Details::MakerTable<AudioFormatterMaker> audioFormatters;
};

/// A factory with every algorithm of this host.
TARSEL_HOST_EXPORT iptr<AlgorithmFactory const> MakeAlgorithmFactory();

/// Makes the filters of a registry. It holds the registry and the two factories that filters get.
class TARSEL_HOST_EXPORT FilterFactory final : public Proc::IFilterFactory, public RefCounted {
  public:
    /// Throws `std::invalid_argument` when one of the three is null.
    FilterFactory(iptr<FilterRegistry const> registry, iptr<Proc::IEffectFactory const> effects,
                  iptr<Proc::IAlgorithmFactory const> algorithms);
    ~FilterFactory() override;

    iptr<Proc::IStreamAudioEx> CreateAudio(std::string const& classId, std::string const& implName,
                                           Proc::Settings const& settings) const override;
    iptr<Proc::IStreamAudioEx> CreateAudio(std::string const& classId, std::string const& implName,
                                           iptr<Proc::IStreamAudio> const& source,
                                           Proc::Settings const& settings) const override;
    iptr<Proc::IStreamVideoEx> CreateVideo(std::string const& classId, std::string const& implName,
                                           iptr<Proc::IStreamVideo> const& source,
                                           Proc::Settings const& settings) const override;
    iptr<Proc::IStreamSubtitleEx> CreateSubtitle(std::string const& classId, std::string const& implName,
                                                 iptr<Proc::IStreamSubtitle> const& source,
                                                 Proc::Settings const& settings) const override;
    iptr<Proc::IStreamRawEx> CreateRaw(std::string const& classId, std::string const& implName,
                                       iptr<Proc::IStreamRaw> const& source,
                                       Proc::Settings const& settings) const override;

    FilterRegistry const& GetRegistry() const { return *registry; }

  protected:
    Proc::FilterFunction FindDedicated(std::string const& filter, std::string const& implName) const override;
    iptr<Proc::IEffectFactory const> GetEffectFactory() const override { return effects; }
    iptr<Proc::IAlgorithmFactory const> GetAlgorithmFactory() const override { return algorithms; }

  private:
    FilterRegistry::Row const& Require(Proc::FilterKind kind, std::string const& classId,
                                       std::string const& implName) const;

    iptr<FilterRegistry const> registry;
    iptr<Proc::IEffectFactory const> effects;
    iptr<Proc::IAlgorithmFactory const> algorithms;
};

/// The factory over everything that the filters library and this host offer.
TARSEL_HOST_EXPORT iptr<FilterFactory const> MakeFilterFactory();

}  // namespace Tarsel::Host
