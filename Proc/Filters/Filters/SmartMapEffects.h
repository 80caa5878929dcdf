#pragma once

#include <cstddef>
#include <set>
#include <vector>

#include "Proc/Filters/Filters/TimelineWindow.h"
#include "contracts/Core/Property.h"
#include "contracts/Proc/IEffect.h"
#include "contracts/Proc/ISmartMap.h"

namespace Tarsel::Proc {

/// The effects of a smart map: where they stand, which of them act at a position, and which have been entered.
///
/// Whether an effect acts is read from its own time map at each slice, since hosts write into it. Only where to look is
/// taken from an index, so that sleeping effects cost nothing: it is made anew under `Reindex`, and `LookAgain`
/// compares it with all time maps, which whoever lets hosts near them calls. The map's lock guards all of it.
class SmartMapEffects {
  public:
    /// Throws what `MapEffect` of a map throws, and leaves the effect alone then.
    void Add(ITimeMapped const* mapped, iptr<IEffect> const& effect, int64 begin, int64 end);
    /// Throws `std::logic_error` "required unmapped effect" when there is none.
    IEffect& GetEffectData(ITimeMapped const* mapped) const;
    /// The effect that was removed; null when there was none.
    iptr<IEffect> Remove(ITimeMapped const* mapped);

    /// All of them, in mapping order.
    std::vector<iptr<IEffect>> GetAll() const;
    /// Both ends of all of them.
    void AddTimePoints(std::set<int64>& timePoints) const;
    void Reindex();
    /// The same when one of the time maps isn't as it was.
    void LookAgain();

    /// Lets the effects whose interval holds `position` work on the items of a slice, in mapping order, each on what
    /// the one before has given. An effect that gives nothing ends it: the items are none then.
    void Process(std::vector<iptr<IData>>& items, int64 position);
    /// The position has come here: effects that have been entered and end at or before it forget their state.
    void Leave(int64 position);
    /// Nothing is entered, and all forget their state.
    void ResetState();

  private:
    struct EffectData {
        ITimeMapped const* mapped;  // not owned: the handle removes its record
        iptr<IEffect> effect;
        // The index.
        std::size_t number;
        int64 begin;
        int64 end;

        bool IsHeld() const { return false; }
        bool IsIndexRight() const;
    };
    using Records = TimelineWindow<EffectData>::Records;

    /// Those that act, in mapping order.
    std::vector<iptr<IEffect>> FindActing(int64 position);
    bool IsMapped(iptr<IEffect> const& effect) const;

    Records effects;  // in mapping order
    Records byBegin;  // the same, sorted
    bool isIndexed = true;
    TimelineWindow<EffectData> window;
    std::set<iptr<IEffect>> activeEffects;
};

}  // namespace Tarsel::Proc
