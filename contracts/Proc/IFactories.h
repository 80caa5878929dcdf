#pragma once

#include <string>
#include <vector>

#include "contracts/Proc/IFilterFactoryRegistrator.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

class IAudioFormatter;
class IEffect;
class IEffectImageBlender;

// The host's factories. They are handed around as `iptr<... const>` and kept by the filters that need them. None of
// them converts to another: the registration tells the forms of a filter's factory apart by them.

/// Makes effects.
class TARSEL_CONTRACTS_EXPORT IEffectFactory : public virtual IRefCountable {
  public:
    ~IEffectFactory() override;
    /// The effect of a class identifier under an implementation name; `ImplNames::DEFAULT` takes what the host holds
    /// best. Throws `EffectException` "There is no any implementation for " and the class identifier.
    virtual iptr<IEffect> CreateEffect(std::string const& classId, std::string const& implName) const = 0;
    /// The same for an image blender, which has a second input.
    virtual iptr<IEffectImageBlender> CreateBlender(std::string const& classId, std::string const& implName) const = 0;
    /// Names of the implementations of a class identifier, in the order of their registration; empty when it is
    /// unknown.
    virtual std::vector<std::string> GetImplementations(std::string const& classId) const = 0;
};

/// Makes algorithm objects: engines that work on blocks and are no effects.
class TARSEL_CONTRACTS_EXPORT IAlgorithmFactory : public virtual IRefCountable {
  public:
    ~IAlgorithmFactory() override;
    /// The cutter of audio blocks. Throws `AlgorithmException` "There is no any implementation for " and the class
    /// identifier.
    virtual iptr<IAudioFormatter> CreateAudioFormatter(std::string const& classId,
                                                       std::string const& implName) const = 0;
};

/// Makes filters by class identifier and implementation name (`ImplNames::DEFAULT`: what the host holds best). What
/// isn't registered throws `FilterException` "There is no any implementation for " and the class identifier.
class TARSEL_CONTRACTS_EXPORT IFilterFactory : public virtual IRefCountable {
  public:
    ~IFilterFactory() override;

    // Filters that take their settings as an object. Settings of another class throw `std::bad_cast`.

    /// A source of audio without an input.
    virtual iptr<IStreamAudioEx> CreateAudio(std::string const& classId, std::string const& implName,
                                             Settings const& settings) const = 0;
    virtual iptr<IStreamAudioEx> CreateAudio(std::string const& classId, std::string const& implName,
                                             iptr<IStreamAudio> const& source, Settings const& settings) const = 0;
    virtual iptr<IStreamVideoEx> CreateVideo(std::string const& classId, std::string const& implName,
                                             iptr<IStreamVideo> const& source, Settings const& settings) const = 0;
    virtual iptr<IStreamSubtitleEx> CreateSubtitle(std::string const& classId, std::string const& implName,
                                                   iptr<IStreamSubtitle> const& source,
                                                   Settings const& settings) const = 0;
    virtual iptr<IStreamRawEx> CreateRaw(std::string const& classId, std::string const& implName,
                                         iptr<IStreamRaw> const& source, Settings const& settings) const = 0;

    // Filters with an interface of their own. A filter's name stands for its class identifier.

    /// The factory function of a dedicated filter, never null: `factory->Dedicated(FilterSlots::JOIN_VIDEO, name)()`.
    template <class Function>
    Function Dedicated(FilterSlot<Function> const& slot, std::string const& implName) const {
        return reinterpret_cast<Function>(FindDedicated(slot.name, implName));
    }

    // Those that filters build around their own sources. Templates only so that a caller alone needs the interface.

    /// A converter of rate, format and layout over `source`.
    template <class Filter = IFilterResample>
    iptr<Filter> CreateResample(iptr<IStreamAudio> const& source, std::string const& implName) const {
        return Dedicated(FilterSlots::RESAMPLE, implName)(source, GetEffectFactory());
    }
    /// A cutter into blocks of one duration over `source`.
    template <class Filter = IFilterAudioFormatter>
    iptr<Filter> CreateAudioFormatter(iptr<IStreamAudio> const& source, std::string const& implName) const {
        return Dedicated(FilterSlots::AUDIO_FORMATTER, implName)(source, GetAlgorithmFactory());
    }
    /// A stream that draws what an overlay provider gives over `source`.
    template <class Stream = IOverlayStream>
    iptr<Stream> CreateOverlayStream(iptr<IStreamVideo> const& source, std::string const& implName) const {
        return Dedicated(FilterSlots::OVERLAY_STREAM, implName)(source);
    }
    /// A drawer of subtitles over `source`; `overlays` makes its engine for texts.
    template <class Filter = IFilterSubtitleDrawer>
    iptr<Filter> CreateSubtitleDrawer(iptr<IStreamVideo> const& source, iptr<IOverlayFactory const> const& overlays,
                                      std::string const& implName) const {
        return Dedicated(FilterSlots::SUBTITLE_DRAWER, implName)(iptr<IFilterFactory const>(this), source,
                                                                 GetEffectFactory(), overlays);
    }

    /// A detector of the bars around pictures.
    template <class Detector = ICropDetector>
    iptr<Detector> CreateCropDetector(std::string const& implName) const {
        return Dedicated(FilterSlots::CROP_DETECTOR, implName)(GetEffectFactory());
    }

  protected:
    /// The function registered for a dedicated filter. Throws when there is none.
    virtual FilterFunction FindDedicated(std::string const& filter, std::string const& implName) const = 0;
    /// What filters of this factory get for their effects and algorithms, never null.
    virtual iptr<IEffectFactory const> GetEffectFactory() const = 0;
    virtual iptr<IAlgorithmFactory const> GetAlgorithmFactory() const = 0;
};

}  // namespace Tarsel::Proc
