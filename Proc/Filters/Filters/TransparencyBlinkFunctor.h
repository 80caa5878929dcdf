#pragma once

#include "contracts/Core/Time.h"

namespace Tarsel::Proc {

/// The alpha of a picture that blinks: there for a while, not there for a while. The clock starts at 0, and a period
/// begins at the frame on which the picture has changed over, so that each lasts until the first frame past its end.
///
/// Keeps a state: one object for each picture, asked in the order of the frames. It works on differences of times, so
/// that behind a seek backwards nothing changes over until the frames have come past where they were.
class TransparencyBlinkFunctor {
  public:
    TransparencyBlinkFunctor(int alpha, int64 showDuration, int64 hideDuration, bool doFade)
        : alpha(alpha), showDuration(showDuration), hideDuration(hideDuration), doFade(doFade) {}

    int operator()(int64 time) {
        int64 const period = visible ? showDuration : hideDuration;
        if (SubTime(time, lastToggle) > period) {
            lastToggle = time;
            visible = !visible;
        }
        return visible ? alpha : 0;
    }

  private:
    int alpha;
    int64 showDuration;
    int64 hideDuration;
    [[maybe_unused]] bool doFade;  // meant: taken, and the picture changes over at once all the same
    int64 lastToggle = 0;
    bool visible = true;
};

}  // namespace Tarsel::Proc
