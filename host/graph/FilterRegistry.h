#pragma once

#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "contracts/Core/Export.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IFilterFactoryRegistrator.h"

namespace Tarsel::Host {

/// The host's registry: everything that filter libraries have entered. Fill it first, then look up from any thread.
///
/// A row is named by its kind, class identifier and implementation name; for a dedicated filter the filter's name
/// stands for the class identifier. A second registration of a row silently takes the place of the first.
class TARSEL_HOST_EXPORT FilterRegistry : public Proc::IFilterFactoryRegistrator, public RefCounted {
  public:
    struct Row {
        Proc::FilterKind kind;
        /// 'a' to 'd', what the factory needs beside source and settings; '-' for a dedicated filter.
        char form;
        std::string classId;
        std::string implName;
        /// The function of a dedicated filter, or the factory of one with settings.
        std::variant<Proc::FilterFunction, Proc::ExFactory> factory;
    };

    ~FilterRegistry() override;

    /// All rows in the order of their registration.
    std::vector<Row> const& GetRows() const { return rows; }
    /// The row of that name, null when there is none. `ImplNames::DEFAULT` stands for `ImplNames::TARSEL`, and for the
    /// implementation that was registered first where a filter has none of that name.
    Row const* Find(Proc::FilterKind kind, std::string const& classId, std::string const& implName) const;
    /// The function of a dedicated filter, null when there is none.
    template <class Function>
    Function Find(Proc::FilterSlot<Function> const& slot, std::string const& implName) const {
        Row const* const row = Find(Proc::FilterKind::Dedicated, slot.name, implName);
        return row ? reinterpret_cast<Function>(std::get<Proc::FilterFunction>(row->factory)) : nullptr;
    }
    /// Implementation names of a class identifier, in the order of their registration.
    std::vector<std::string> GetImplementations(Proc::FilterKind kind, std::string const& classId) const;

    void RegisterFilterColorSpace(std::string const& implName, Proc::FilterColorSpaceFactory factory) override;
    void RegisterFilterResize(std::string const& implName, Proc::FilterResizeFactory factory) override;
    void RegisterFilterFrameRate(std::string const& implName, Proc::FilterFrameRateFactory factory) override;
    void RegisterFilterResample(std::string const& implName, Proc::FilterResampleFactory factory) override;
    void RegisterFilterAudioHistogram(std::string const& implName, Proc::FilterAudioHistogramFactory factory) override;
    void RegisterFilterAudioMixer(std::string const& implName, Proc::FilterAudioMixerFactory factory) override;
    void RegisterFilterAudioFormatter(std::string const& implName, Proc::FilterAudioFormatterFactory factory) override;
    void RegisterFilterCutController(std::string const& implName, Proc::FilterCutControllerFactory factory) override;
    void RegisterFilterRepeatController(std::string const& implName,
                                        Proc::FilterRepeatControllerFactory factory) override;
    void RegisterFilterSubtitleDrawer(std::string const& implName, Proc::FilterSubtitleDrawerFactory factory) override;
    void RegisterOverlayStream(std::string const& implName, Proc::OverlayStreamFactory factory) override;
    void RegisterFilterApplyEffectsVideo(std::string const& implName,
                                         Proc::FilterApplyEffectsVideoFactory factory) override;
    void RegisterFilterApplyEffectsAudio(std::string const& implName,
                                         Proc::FilterApplyEffectsAudioFactory factory) override;
    void RegisterCRCStreamController(std::string const& implName, Proc::CRCStreamControllerFactory factory) override;
    void RegisterFilterCacheController(std::string const& implName,
                                       Proc::FilterCacheControllerFactory factory) override;
    void RegisterCropDetector(std::string const& implName, Proc::CropDetectorFactory factory) override;
    void RegisterFilterSeekController(std::string const& implName, Proc::FilterSeekControllerFactory factory) override;
    void RegisterFilterJoinVideo(std::string const& implName, Proc::FilterJoinVideoFactory factory) override;
    void RegisterFilterJoinAudio(std::string const& implName, Proc::FilterJoinAudioFactory factory) override;
    void RegisterFilterJoinRaw(std::string const& implName, Proc::FilterJoinRawFactory factory) override;
    void RegisterSmartMapVideo(std::string const& implName, Proc::SmartMapVideoFactory factory) override;
    void RegisterSmartMapAudio(std::string const& implName, Proc::SmartMapAudioFactory factory) override;
    void RegisterFilterRepeatVideo(std::string const& implName, Proc::FilterRepeatVideoFactory factory) override;
    void RegisterFilterRepeatAudio(std::string const& implName, Proc::FilterRepeatAudioFactory factory) override;
    void RegisterFilterVolumeDetect(std::string const& implName, Proc::FilterVolumeDetectFactory factory) override;
    void RegisterFilterSceneDetect(std::string const& implName, Proc::FilterSceneDetectFactory factory) override;
    void RegisterFilterLosslessDetect(std::string const& implName, Proc::FilterLosslessDetectFactory factory) override;

  protected:
    void RegisterEx(Proc::FilterKind kind, char form, std::string const& classId, std::string const& implName,
                    Proc::ExFactory factory) override;

  private:
    template <class Function>
    void Enter(Proc::FilterSlot<Function> const& slot, std::string const& implName, Function factory) {
        Enter({Proc::FilterKind::Dedicated, '-', slot.name, implName, reinterpret_cast<Proc::FilterFunction>(factory)});
    }
    void Enter(Row row);
    Row const* FindExactly(Proc::FilterKind kind, std::string const& classId, std::string const& implName) const;

    std::vector<Row> rows;
};

/// The word for a kind in listings: "dedicated", "audio", "video", "subtitle", "raw".
TARSEL_HOST_EXPORT char const* KindName(Proc::FilterKind kind);

/// A registry with everything that the filters library offers, and the streams of the host that filters are built on.
TARSEL_HOST_EXPORT iptr<FilterRegistry const> MakeFilterRegistry();

}  // namespace Tarsel::Host
