#pragma once

#include "contracts/Proc/IFilterSeekController.h"
#include "contracts/Proc/IStream.h"

namespace Tarsel::Proc {

namespace Details {

template <class T>
struct JoinClassId;
template <>
struct JoinClassId<IStreamVideo> {
    static constexpr char CLASS_ID[] = "FilterJoinVideo";
};
template <>
struct JoinClassId<IStreamAudio> {
    static constexpr char CLASS_ID[] = "FilterJoinAudio";
};
template <>
struct JoinClassId<IStreamRaw> {
    static constexpr char CLASS_ID[] = "FilterJoinRaw";
};

}  // namespace Details

/// Plays several streams of one kind end to end. A join starts empty; `CLASS_ID` names its kind.
template <class T>
class TARSEL_CONTRACTS_EXPORT TIFilterJoin : public virtual T, public Details::JoinClassId<T> {
  public:
    ~TIFilterJoin() override;
    /// Appends a clip, which begins where the join has ended so far; its internal data is released. With a controller
    /// (which may be null) `IFilterSeekController::Seek` replaces the clip's own `RequestSeek` and `DoSeek`, so that
    /// clips that hold linked streams move together. A null clip throws `std::invalid_argument` "source is NULL".
    virtual void AddStream(iptr<T> const& stream, iptr<IFilterSeekController> const& controller) = 0;
};

extern template class TIFilterJoin<IStreamVideo>;
extern template class TIFilterJoin<IStreamAudio>;
extern template class TIFilterJoin<IStreamRaw>;

}  // namespace Tarsel::Proc
