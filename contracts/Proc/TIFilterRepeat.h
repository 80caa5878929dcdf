#pragma once

#include "contracts/Core/Types.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

namespace Details {

template <class T>
struct RepeatClassId;
template <>
struct RepeatClassId<IStreamVideo> {
    static constexpr char CLASS_ID[] = "FilterRepeatVideo";
};
template <>
struct RepeatClassId<IStreamAudio> {
    static constexpr char CLASS_ID[] = "FilterRepeatAudio";
};

}  // namespace Details

/// Hands the first item of its source out again and again, the very same object each time. `U` is the interface
/// offered, `T` that of the source; `CLASS_ID` names the kind.
template <class U, class T>
class TARSEL_CONTRACTS_EXPORT TIFilterRepeat : public virtual U, public Details::RepeatClassId<T> {
  public:
    using U::Initialize;

    ~TIFilterRepeat() override;
    /// Forgets the item and the count: the next read asks the source.
    virtual void ResetRepeat() = 0;
    /// How many items are still to be handed out; a negative count never ends. 0 never ends either: a count is tested
    /// for being exactly 0 behind each item.
    virtual void SetRepeatCount(int64 count) = 0;
};

extern template class TIFilterRepeat<IStreamVideoEx, IStreamVideo>;
extern template class TIFilterRepeat<IStreamAudioEx, IStreamAudio>;

}  // namespace Tarsel::Proc
