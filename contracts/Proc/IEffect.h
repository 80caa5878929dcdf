#pragma once

#include <vector>

#include "contracts/Conf/IFormatCodec.h"
#include "contracts/Core/Property.h"
#include "contracts/Core/RefCount.h"
#include "contracts/Proc/IData.h"
#include "contracts/Proc/Settings.h"
#include "contracts/Proc/TimeToProgress.h"

namespace Tarsel::Proc {

/// An engine of the host that changes items: a filter reads, the effect processes. One user at a time.
class TARSEL_CONTRACTS_EXPORT IEffect : public virtual IRefCountable {
  public:
    ~IEffect() override;
    /// Takes settings of the effect's own class; others throw `std::bad_cast`. What the effect carries over from item
    /// to item is forgotten.
    virtual void Initialize(Settings const& settings) = 0;
    /// The same from a property that is named with the class identifier of those settings; another name throws
    /// `FilterException` "Object was initialized with incorrect class (" and the name.
    virtual void Initialize(Core::Property const& property) = 0;
    virtual Core::Property GetSettings() = 0;
    /// The settings object that the effect works by. Valid until the next `Initialize`.
    virtual Settings const& GetEffectSettings() = 0;
    /// A node of its own, as a filter adds to the tree of its source.
    virtual Core::Property GetStatistic() = 0;
    /// Forgets what the effect carries over from item to item: a seek has happened.
    virtual void ResetEffectState() = 0;
    virtual TimeToProgress& GetTimeToProgress() = 0;
    virtual void SetTimeToProgress(TimeToProgress const& map) = 0;
    /// Where frames must live: one of `IDataVideo::FrameAlloc`; `FRAME_ALLOC_ANY` for sound.
    virtual int GetProcessingFrameType() = 0;
    /// Changes the format, which is the caller's own, to that of what comes out.
    virtual void AdaptFormatCodec(iptr<Conf::IFormatCodec>& format) = 0;
    /// Processes the topmost of several inputs (the last element), and gives what came of it.
    virtual iptr<IData> ProcessData(std::vector<iptr<IData>> const& inputs) = 0;
};

/// An effect on pictures of one stream.
class TARSEL_CONTRACTS_EXPORT IOneInputEffectVideo : public virtual IEffect {
  public:
    ~IOneInputEffectVideo() override;
    /// Takes the item and leaves what came of it in its place. A null input drains the effect at the end of a stream;
    /// a null result means that the effect keeps the input for later, or has nothing more.
    virtual void Process(iptr<IDataVideo>& item) = 0;
    iptr<IData> ProcessData(std::vector<iptr<IData>> const& inputs) override;
};

/// An effect on blocks of sound of one stream.
class TARSEL_CONTRACTS_EXPORT IOneInputEffectAudio : public virtual IEffect {
  public:
    ~IOneInputEffectAudio() override;
    /// As for pictures.
    virtual void Process(iptr<IDataAudio>& item) = 0;
    iptr<IData> ProcessData(std::vector<iptr<IData>> const& inputs) override;
};

}  // namespace Tarsel::Proc
