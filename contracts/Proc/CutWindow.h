#pragma once

#include "contracts/Core/Export.h"
#include "contracts/Core/Time.h"

namespace Tarsel::Proc::Details {

/// The check that all three cuts share: throws `ProcException` unless `[begin, end)` lies in `[0, duration]`, both ends
/// and the duration known.
TARSEL_CONTRACTS_EXPORT void CheckCut(int64 begin, int64 end, int64 duration);

/// Time and duration of an item whose payload is not touched by a cut (pictures, subtitles).
class TARSEL_CONTRACTS_EXPORT CutWindow {
  public:
    int64 time = NO_VALUE;
    int64 duration = NO_VALUE;

    void CutBegin(int64 length);
    void Cut(int64 begin, int64 end);
    void CutEnd(int64 length);
};

}  // namespace Tarsel::Proc::Details
