#include "contracts/Proc/CutWindow.h"

#include <string>

#include "contracts/Core/Exception.h"

namespace Tarsel::Proc::Details {

void CheckCut(int64 begin, int64 end, int64 duration) {
    bool const known = HasValue(begin) && HasValue(end) && HasValue(duration);
    if (known && 0 <= begin && begin <= end && end <= duration) return;
    TARSEL_THROW(ProcException, "Can't cut [" + std::to_string(begin) + ", " + std::to_string(end) +
                                    ") out of an item of duration " + std::to_string(duration));
}

void CutWindow::CutBegin(int64 length) {
    CheckCut(0, length, duration);
    time = AddTime(time, length);
    duration -= length;
}

void CutWindow::Cut(int64 begin, int64 end) {
    CheckCut(begin, end, duration);
    duration -= end - begin;
}

void CutWindow::CutEnd(int64 length) {
    CheckCut(0, length, duration);
    duration -= length;
}

}  // namespace Tarsel::Proc::Details
